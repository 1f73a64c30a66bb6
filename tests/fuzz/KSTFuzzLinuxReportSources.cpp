// The System Report's readers of a Linux machine's sources (findmnt and lsblk JSON, kernel
// files, ufw.conf, systemctl, /proc/modules, coredumpctl, systemd-analyze, nmcli,
// /proc/net/wireless, Firefox's extensions.json), fed the same bytes each.
#include "KSTLinuxReportParsers.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    namespace LP = KSTLinuxReportParsers;
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const LP::Mounts mounts = LP::findmntMounts(bytes);
    if (mounts.deviceVolumes < -1 || (mounts.deviceVolumes < 0 && !mounts.rootSource.isEmpty()))
        std::abort();
    LP::rootOnLuks(bytes);
    const QString mode = LP::lockdownMode(bytes);
    if (mode.contains(QLatin1Char('[')) || mode.contains(QLatin1Char(']')))
        std::abort();
    if (LP::efiFlag(bytes).has_value() != (bytes.size() >= 5))
        std::abort();
    if (const std::optional<QString> value = LP::shellSetting(bytes, "ENABLED"))
        if (value->contains(QLatin1Char('\n')))
            std::abort();
    if (LP::unitCount(bytes) < 0)
        std::abort();
    const LP::Modules modules = LP::loadedModules(bytes);
    if (modules.outOfTree < 0 || modules.outOfTree > modules.loaded)
        std::abort();
    const LP::Coredumps dumps =
        LP::recentCoredumps(bytes, QDateTime::fromSecsSinceEpoch(1'800'000'000));
    if (dumps.recent < 0 || dumps.names.size() > dumps.recent)
        std::abort();
    if (const std::optional<double> seconds = LP::startupSeconds(bytes))
        if (!std::isfinite(*seconds) || *seconds < 0)
            std::abort();
    if (LP::activeVpn(bytes).contains(QLatin1Char('\n')) || LP::wirelessQuality(bytes).isEmpty())
        std::abort();
    LP::firefoxExtensions(bytes);
    return 0;
}
