#include "KSTScreenFactory.h"

#include "KSTAppManageScreen.h"
#include "KSTAutoCleanScreen.h"
#include "KSTCleanUpScreen.h"
#include "KSTOverviewScreen.h"
#include "KSTSectionCatalog.h"
#include "KSTUnavailableScreen.h"

KSTToolScreen *KSTScreenFactory::makeScreenForSection(int section, const KSTShellEngines &engines,
                                                      QWidget *parent)
{
    switch (section) {
    case KSTSectionCatalog::Overview:
        return new KSTOverviewScreen(*engines.systemInfo, engines.liveSampler, parent);
    case KSTSectionCatalog::CleanUp:
        return new KSTCleanUpScreen(*engines.systemInfo, parent);
    case KSTSectionCatalog::AutoClean:
        return new KSTAutoCleanScreen(*engines.autoCleanManager, parent);
    case KSTSectionCatalog::AppManage:
        if (engines.appInventoryEngine)
            return new KSTAppManageScreen(*engines.appInventoryEngine, parent);
        return new KSTUnavailableScreen(section, parent);
    case KSTSectionCatalog::Reporter:
    case KSTSectionCatalog::Duplicates:
    case KSTSectionCatalog::Utilities:
    default:
        // Their engines are not part of this version yet.
        return new KSTUnavailableScreen(section, parent);
    }
}
