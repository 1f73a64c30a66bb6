#include "KSTScreenFactory.h"

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
    case KSTSectionCatalog::Utilities:
        return new KSTUtilitiesScreen(KSTUtilitiesManager::sharedManager(), parent);
    case KSTSectionCatalog::Reporter:
        return new KSTReporterScreen(*engines.systemInfo, parent);
    case KSTSectionCatalog::Duplicates:
        return new KSTDuplicatesScreen(*engines.systemInfo, parent);
    case KSTSectionCatalog::AppManage:
    default:
        // Their engines are not part of this version yet.
        return new KSTUnavailableScreen(section, parent);
    }
}
