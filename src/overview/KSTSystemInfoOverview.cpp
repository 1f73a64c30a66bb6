// The Overview's operations of the scan-service frame: thin wrappers of its slot. The build
// runs on the utility pool inside the home grant; the cache has no age limit.
#include "KSTSystemInfo.h"

#include "KSTPermissionChecker.h"
#include "KSTSystemSnapshot.h"

void KSTSystemInfo::fetchSnapshotAsync(SystemSnapshotCompletion completion)
{
    KSTScanSlot<KSTSystemSnapshot>::Fetch how;
    how.run = [this](std::function<void()> block) {
        onGlobalPool(KSTQualityOfService::Utility, std::move(block));
    };
    how.deliver = [this](std::function<void()> block) { onMain(std::move(block)); };
    how.around = [](const std::function<std::shared_ptr<KSTSystemSnapshot>()> &build) {
        std::shared_ptr<KSTSystemSnapshot> result;
        KSTPermissionChecker::performWithGrantedHomeFolderAccess([&] { result = build(); });
        return result;
    };
    m_overview.fetch(how, std::move(completion));
}

std::shared_ptr<KSTSystemSnapshot> KSTSystemInfo::fetchSnapshot()
{
    return m_overview.build(m_overview.generation());
}

void KSTSystemInfo::cancelOverviewSnapshotFetch()
{
    m_overview.cancel();
}

void KSTSystemInfo::invalidateOverviewCache()
{
    m_overview.invalidate();
}

KSTSystemInfo::SystemSnapshotPtr KSTSystemInfo::cachedOverviewSnapshotIfAvailable()
{
    return m_overview.cached();
}

quint64 KSTSystemInfo::overviewFetchGeneration() const
{
    return m_overview.generation();
}
