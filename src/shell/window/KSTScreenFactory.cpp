#include "KSTScreenFactory.h"

#include "KSTAppManageScreen.h"
#include "KSTAutoCleanScreen.h"
#include "KSTCleanUpScreen.h"
#include "KSTDuplicatesScreen.h"
#include "KSTOverviewScreen.h"
#include "KSTReporterScreen.h"
#include "KSTSectionCatalog.h"
#include "KSTUnavailableScreen.h"
#include "KSTUtilitiesManager.h"
#include "KSTUtilitiesScreen.h"

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
            return new KSTAppManageScreen(*engines.systemInfo, *engines.appInventoryEngine, parent);
        return new KSTUnavailableScreen(section, parent);
    case KSTSectionCatalog::Utilities:
        return new KSTUtilitiesScreen(KSTUtilitiesManager::sharedManager(), parent);
    case KSTSectionCatalog::Reporter:
        return new KSTReporterScreen(*engines.systemInfo, parent);
    case KSTSectionCatalog::Duplicates:
        return new KSTDuplicatesScreen(*engines.systemInfo, parent);
    default:
        return new KSTUnavailableScreen(section, parent);
    }
}
