// Clean Up's operations of the scan-service frame: thin wrappers of its slot. Only a
// complete snapshot is served from the cache; a scan shows four "Scanning…" categories first
// and runs on com.kestrel.cleanup inside the home grant.
#include "KSTSystemInfo.h"

#include "KSTCleanUpSnapshot.h"
#include "KSTPermissionChecker.h"

namespace {

KSTCleanUpCategory placeholderCategory(const QString &categoryType, const QString &name)
{
    KSTCleanUpCategory category;
    category.categoryType = categoryType;
    category.name = name;
    category.categoryDescription = QStringLiteral("Scanning…");
    KSTCleanUpItem item;
    item.name = QStringLiteral("Scanning in background…");
    category.items = {item};
    return category;
}

bool isComplete(const KSTCleanUpSnapshot &snapshot, const QDateTime &)
{
    return !snapshot.isPartial;
}

} // namespace

void KSTSystemInfo::fetchCleanUpSnapshotAsync(CleanUpSnapshotCompletion completion)
{
    if (!completion)
        return;
    KSTPermissionChecker::prepareHomeFolderAccessForScan();

    KSTScanSlot<KSTCleanUpSnapshot>::Fetch how;
    how.reusable = isComplete;
    how.placeholder = [] { return CleanUpSnapshotPtr(fetchCleanUpSnapshotPartial()); };
    how.run = [this](std::function<void()> block) { m_cleanUpQueue->async(std::move(block)); };
    how.deliver = [this](std::function<void()> block) { onMain(std::move(block)); };
    how.around = [](const std::function<std::shared_ptr<KSTCleanUpSnapshot>()> &build) {
        std::shared_ptr<KSTCleanUpSnapshot> result;
        // Without the grant the scan would find nothing; the placeholder stays and the
        // screen asks for access.
        KSTPermissionChecker::performWithHomeFolderAccessForScan([&] { result = build(); });
        return result;
    };
    how.finish = [](KSTCleanUpSnapshot &snapshot) { snapshot.isPartial = false; };
    m_cleanUp.fetch(how, std::move(completion));
}

std::shared_ptr<KSTCleanUpSnapshot>
KSTSystemInfo::fetchCleanUpSnapshotWithGeneration(quint64 generation)
{
    return m_cleanUp.build(generation);
}

std::shared_ptr<KSTCleanUpSnapshot> KSTSystemInfo::fetchCleanUpSnapshotPartial()
{
    auto snapshot = std::make_shared<KSTCleanUpSnapshot>();
    snapshot->scanDate = QDateTime::currentDateTimeUtc();
    snapshot->isPartial = true;
    snapshot->categories = {
        placeholderCategory(QStringLiteral("systemJunk"), QStringLiteral("System Junks")),
        placeholderCategory(QStringLiteral("trashes"), QStringLiteral("Trashes")),
        placeholderCategory(QStringLiteral("largeFiles"), QStringLiteral("Large Files")),
        placeholderCategory(QStringLiteral("removable"), QStringLiteral("Removable Data")),
    };
    return snapshot;
}

void KSTSystemInfo::cancelCleanUpScan()
{
    m_cleanUp.cancel();
}

bool KSTSystemInfo::isCleanUpScanCancelled(quint64 generation) const
{
    return m_cleanUp.isCancelled(generation);
}

void KSTSystemInfo::invalidateCleanUpCache()
{
    m_cleanUp.invalidate();
}

KSTSystemInfo::CleanUpSnapshotPtr KSTSystemInfo::cachedCleanUpSnapshotIfComplete()
{
    return m_cleanUp.cachedIf(isComplete);
}

quint64 KSTSystemInfo::cleanUpScanGeneration() const
{
    return m_cleanUp.generation();
}

KSTSystemInfo::CleanUpSnapshotPtr KSTSystemInfo::cachedCleanUpSnapshot() const
{
    return m_cleanUp.cached();
}

void KSTSystemInfo::setCachedCleanUpSnapshot(CleanUpSnapshotPtr snapshot)
{
    m_cleanUp.setCached(std::move(snapshot));
}

QDateTime KSTSystemInfo::cachedCleanUpSnapshotDate() const
{
    return m_cleanUp.cachedDate();
}
