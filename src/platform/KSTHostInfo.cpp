#include "KSTHostInfo.h"

#ifdef Q_OS_MACOS
#include "macos/KSTMacHostInfo.h"
using KSTPlatformHostInfo = KSTMacHostInfo;
#else
#include "linux/KSTLinuxHostInfo.h"
using KSTPlatformHostInfo = KSTLinuxHostInfo;
#endif

#include <mutex>
#include <vector>

namespace {

// A test installs its host before engines run and restores the platform's after they are
// done. current() hands out plain references, so a replaced host is retired rather than
// destroyed: a reference taken just before a replacement stays valid until exit.
struct CurrentHostInfo
{
    std::mutex mutex;
    std::shared_ptr<KSTHostInfo> installed;
    std::vector<std::shared_ptr<KSTHostInfo>> retired;
};

CurrentHostInfo &currentHostInfoStore()
{
    static CurrentHostInfo store;
    return store;
}

KSTHostInfo &platformHostInfo()
{
    static KSTPlatformHostInfo hostInfo;
    return hostInfo;
}

} // namespace

KSTHostInfo::~KSTHostInfo() = default;

KSTHostInfo &KSTHostInfo::current()
{
    CurrentHostInfo &store = currentHostInfoStore();
    std::lock_guard lock(store.mutex);
    if (store.installed)
        return *store.installed;
    return platformHostInfo();
}

std::unique_ptr<KSTHostInfo> KSTHostInfo::linuxMachineUnder(const QString &root)
{
#ifdef Q_OS_MACOS
    Q_UNUSED(root)
    return nullptr;
#else
    return std::make_unique<KSTLinuxHostInfo>(
        root + QLatin1String("/proc"), root + QLatin1String("/sys"), root + QLatin1String("/etc"));
#endif
}

void KSTHostInfo::setCurrentForTesting(std::shared_ptr<KSTHostInfo> hostInfo)
{
    CurrentHostInfo &store = currentHostInfoStore();
    std::lock_guard lock(store.mutex);
    if (store.installed)
        store.retired.push_back(std::move(store.installed));
    store.installed = std::move(hostInfo);
}
