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
inline const QString KernelCommandLine = QStringLiteral("/proc/cmdline");
inline const QString Findmnt = QStringLiteral("/usr/bin/findmnt");
inline const QStringList FindmntArguments = {QStringLiteral("-J"), QStringLiteral("-o"),
                                             QStringLiteral("TARGET,SOURCE,FSTYPE")};
inline const QString Lsblk = QStringLiteral("/usr/bin/lsblk");
inline const QStringList LsblkArguments = {QStringLiteral("-J"), QStringLiteral("-o"),
                                           QStringLiteral("NAME,TYPE,FSTYPE,MOUNTPOINTS")};
inline const QString Lockdown = QStringLiteral("/sys/kernel/security/lockdown");
inline const QString AppArmorEnabled = QStringLiteral("/sys/module/apparmor/parameters/enabled");
inline const QString SelinuxEnforce = QStringLiteral("/sys/fs/selinux/enforce");
inline const QString UfwConf = QStringLiteral("/etc/ufw/ufw.conf");
// A firewall service counts as on when enabled: a link in a target's wants folder.
inline const QStringList FirewallUnitLinks = {
    QStringLiteral("/etc/systemd/system/multi-user.target.wants/firewalld.service"),
    QStringLiteral("/etc/systemd/system/sysinit.target.wants/nftables.service"),
    QStringLiteral("/etc/systemd/system/multi-user.target.wants/nftables.service")};
inline const QStringList FirewallUnits = {
    QStringLiteral("/usr/lib/systemd/system/firewalld.service"),
    QStringLiteral("/lib/systemd/system/firewalld.service"),
    QStringLiteral("/usr/lib/systemd/system/nftables.service"),
    QStringLiteral("/lib/systemd/system/nftables.service")};
inline const QString EfiFolder = QStringLiteral("/sys/firmware/efi");
inline const QString SecureBootVariable =
    QStringLiteral("/sys/firmware/efi/efivars/SecureBoot-8be4df61-93ca-11d2-aa0d-00e098032b8c");
inline const QString Systemctl = QStringLiteral("/usr/bin/systemctl");
inline const QStringList RunningServicesArguments = {
    QStringLiteral("list-units"),      QStringLiteral("--type=service"),
    QStringLiteral("--state=running"), QStringLiteral("--no-legend"),
    QStringLiteral("--plain"),         QStringLiteral("--no-pager")};
inline const QString ProcModules = QStringLiteral("/proc/modules");
inline const QString Coredumpctl = QStringLiteral("/usr/bin/coredumpctl");
inline const QString CrashFolder = QStringLiteral("/var/crash");
inline const QString SystemdAnalyze = QStringLiteral("/usr/bin/systemd-analyze");
inline const QString Nmcli = QStringLiteral("/usr/bin/nmcli");
inline const QStringList NmcliArguments = {
    QStringLiteral("-t"),         QStringLiteral("-f"),   QStringLiteral("NAME,TYPE"),
    QStringLiteral("connection"), QStringLiteral("show"), QStringLiteral("--active")};
inline const QString ProcNetWireless = QStringLiteral("/proc/net/wireless");
// Browser profiles, relative to the analysed home.
inline const QString FirefoxProfiles = QStringLiteral(".mozilla/firefox");
inline const QStringList ChromiumProfiles = {QStringLiteral(".config/chromium"),
                                             QStringLiteral(".config/google-chrome")};
// The host's memory figures, on every layout.
inline const QString HostMemInfo = QStringLiteral("/proc/meminfo");

} // namespace KSTSystemReportLocations
