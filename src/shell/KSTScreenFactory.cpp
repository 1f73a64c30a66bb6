#include "KSTScreenFactory.h"

#include "KSTAutoCleanViewController.h"
#include "KSTCleanUpViewController.h"
#include "KSTOverviewViewController.h"
#include "KSTSectionCatalog.h"
#include "KSTUnavailableViewController.h"

KSTToolScreen *KSTScreenFactory::makeScreenForSection(int section, const KSTShellEngines &engines,
                                                      QWidget *parent)
{
    switch (section) {
    case KSTSectionCatalog::Overview:
        return new KSTOverviewViewController(*engines.systemInfo, engines.liveSampler, parent);
    case KSTSectionCatalog::CleanUp:
        return new KSTCleanUpViewController(*engines.systemInfo, parent);
    case KSTSectionCatalog::AutoClean:
        return new KSTAutoCleanViewController(*engines.autoCleanManager, parent);
    case KSTSectionCatalog::Reporter:
    case KSTSectionCatalog::Duplicates:
    case KSTSectionCatalog::AppManage:
    case KSTSectionCatalog::Utilities:
    default:
        // Their engines are not part of this version yet.
        return new KSTUnavailableViewController(section, parent);
    }
}
