#pragma once

#include <QString>
#include <QStringList>

/// Every tool and place the System Report reads, in one table, with the time-outs its tools
/// get. Paths starting with "/" are the analysed Mac's (tools run as <root><path>); the others
/// are relative to the analysed home. The host's /proc files are read only on the host's root.
namespace KSTSystemReportLocations {

inline const QString SwVers = QStringLiteral("/usr/bin/sw_vers");
inline const QString Csrutil = QStringLiteral("/usr/bin/csrutil");
inline const QString Fdesetup = QStringLiteral("/usr/bin/fdesetup");
inline const QString Spctl = QStringLiteral("/usr/sbin/spctl");
inline const QString SocketFilterFirewall =
    QStringLiteral("/usr/libexec/ApplicationFirewall/socketfilterfw");
inline const QString Nvram = QStringLiteral("/usr/sbin/nvram");
inline const QString Diskutil = QStringLiteral("/usr/sbin/diskutil");
inline const QString Launchctl = QStringLiteral("/bin/launchctl");
inline const QString Ps = QStringLiteral("/bin/ps");
inline const QString Kextstat = QStringLiteral("/usr/sbin/kextstat");
inline const QString SystemExtensionsCtl = QStringLiteral("/usr/bin/systemextensionsctl");
inline const QString Scutil = QStringLiteral("/usr/sbin/scutil");
inline const QString Airport = QStringLiteral(
    "/System/Library/PrivateFrameworks/Apple80211.framework/Versions/Current/Resources/airport");
inline const QString SystemProfiler = QStringLiteral("/usr/sbin/system_profiler");
inline const QStringList ProfilerDataTypes = {
    QStringLiteral("SPHardwareDataType"), QStringLiteral("SPDisplaysDataType"),
    QStringLiteral("SPMemoryDataType"),   QStringLiteral("SPNVMeDataType"),
    QStringLiteral("SPUSBDataType"),      QStringLiteral("SPThunderboltDataType"),
    QStringLiteral("SPiBridgeDataType")};

inline constexpr int DefaultTimeoutSeconds = 8;
inline constexpr int SecurityTimeoutSeconds = 4;
inline constexpr int GatekeeperTimeoutSeconds = 3;
inline constexpr int DiskutilTimeoutSeconds = 6;
inline constexpr int ProfilerTimeoutSeconds = 15;

inline const QString LegacyStartupItems = QStringLiteral("/Library/StartupItems");
inline const QStringList ApplicationFolders = {QStringLiteral("/Applications"),
                                               QStringLiteral("/System/Applications")};
inline const QString HomeApplications = QStringLiteral("Applications");

// The linux layout's counterparts, read from the analysed root.
inline const QString OsRelease = QStringLiteral("/etc/os-release");
inline const QString KernelRelease = QStringLiteral("/proc/sys/kernel/osrelease");
inline const QString MountInfo = QStringLiteral("/proc/self/mountinfo");
inline const QString DmiProductName = QStringLiteral("/sys/class/dmi/id/product_name");
// The host's memory figures, on every layout.
inline const QString HostMemInfo = QStringLiteral("/proc/meminfo");

} // namespace KSTSystemReportLocations
