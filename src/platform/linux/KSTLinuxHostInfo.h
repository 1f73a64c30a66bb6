#pragma once

#include "KSTHostInfo.h"

#include <QHash>

#include <optional>

/// The Linux host: figures read from procfs, sysfs and /etc, in the files each figure's
/// owner publishes them in. Every input folder is passed in, so a tree recorded from
/// another machine (tests/data/linux/<machine>/{proc,sys,etc}) drives every figure; the
/// defaults read the running host.
///
/// A few figures have no file behind them. For them the live call is used when the
/// matching root is the host's own, and a recorded equivalent otherwise:
/// - logicalCpuCount(): sysconf(_SC_NPROCESSORS_ONLN) with "/proc"; otherwise the cpuN
///   lines of <proc>/stat (which lists online processors only);
/// - interfaceAddresses(): getifaddrs with "/sys"; otherwise one link-layer entry per
///   <sys>/class/net/<if> in ifindex order (IFF_UP and IFF_LOOPBACK from its "flags",
///   running when up and "operstate" is up or unknown, as the kernel computes
///   IFF_RUNNING), followed by an IPv4 entry for an up loopback and for each interface
///   holding a route in <proc>/net/route;
/// - computerName(), localizedHostName(): gethostname with "/etc"; otherwise
///   <etc>/hostname.
///
/// Holds nothing but the three paths; every call is safe from any thread.
class KSTLinuxHostInfo final : public KSTHostInfo
{
public:
    explicit KSTLinuxHostInfo(const QString &procRoot = QStringLiteral("/proc"),
                              const QString &sysRoot = QStringLiteral("/sys"),
                              const QString &etcRoot = QStringLiteral("/etc"));

    /// <sys>/class/dmi/id/product_name, trimmed; empty for a firmware placeholder ("To Be
    /// Filled By O.E.M.", "System Product Name", "Default string", …). Boards without DMI
    /// (ARM) give their device-tree model (<sys>/firmware/devicetree/base/model).
    QString hardwareModel() override;
    /// The first "model name" of <proc>/cpuinfo; where there is none (ARM) its "Hardware"
    /// line (the SoC, "BCM2835"); else empty.
    QString cpuBrandString() override;
    int logicalCpuCount() override;
    /// The aggregate "cpu " line of <proc>/stat, truncated to 32 bits (the consumer takes
    /// 32-bit differences). iowait counts as idle (macOS has none; the processor was not
    /// busy), irq and softirq as system; steal and guest are not added (guest is already
    /// inside user). Nothing when the line is missing or has fewer than four numbers.
    std::optional<KSTCpuTickTotals> cpuTickTotals() override;
    /// MemTotal of <proc>/meminfo in bytes; 0 when unreadable.
    quint64 physicalMemoryBytes() override;
    /// MemTotal − MemAvailable in bytes; nothing when either is missing (kernels before
    /// 3.14 have no MemAvailable) or the two are inconsistent.
    std::optional<quint64> usedMemoryBytes() override;
    /// "btime" of <proc>/stat.
    std::optional<qint64> bootTimeSeconds() override;
    QList<KSTInterfaceAddress> interfaceAddresses() override;
    /// statistics/rx_bytes and tx_bytes of each <sys>/class/net/<if>, by name; an interface
    /// whose counters cannot be read is left out. Loopback from IFF_LOOPBACK in "flags", or
    /// the name "lo" when that is unreadable. Nothing when the folder cannot be listed.
    std::optional<QList<KSTInterfaceByteCounts>> interfaceByteCounts() override;
    /// "Wi-Fi" when <sys>/class/net/<if> has a "wireless" folder or a "phy80211" link,
    /// "Ethernet" for any other existing interface, empty for a loopback interface (macOS
    /// lists no service for lo0 either) and for an unknown one.
    QString interfaceDisplayName(const QString &bsdName) override;
    /// One map per <sys>/class/power_supply/<name> of "type" Battery whose "scope" is not
    /// "Device" (a wireless mouse's cell is no power source of the machine), in name order:
    /// "Type" "InternalBattery", "Name" (the folder name), "Current Capacity" from
    /// "capacity" (left out when unreadable), "Is Present" from "present" (left out when the
    /// file is absent), "Is Charging" (status "Charging"). A machine without the folder has
    /// no power supply class, hence no battery: an empty list. Nothing only when the folder
    /// exists but cannot be listed.
    std::optional<QList<QVariantMap>> powerSourceDescriptions() override;
    /// PRETTY_HOSTNAME of <etc>/machine-info, else the host name.
    QString computerName() override;
    QString localizedHostName() override;
    /// <sys>/class/dmi/id/product_serial (readable by root only), else the device-tree
    /// serial-number; trimmed, and empty for a firmware placeholder.
    QString serialNumber() override;
    /// <etc>/os-release, else <etc>/../usr/lib/os-release (the vendor's copy the os-release
    /// format names as fallback). versionString is PRETTY_NAME, else NAME and VERSION, else
    /// "Linux"; major.minor.patch from the leading numbers of VERSION_ID ("22.04" →
    /// 22.4.0). All empty and 0 when neither file is readable.
    KSTOperatingSystemVersion operatingSystemVersion() override;
    /// NAME of the same file ("Debian GNU/Linux"), trimmed; "Linux" when it has none.
    QString operatingSystemName() const;
    /// statvfs: f_blocks and f_bavail (the space an unprivileged user may still use) in
    /// f_frsize units.
    std::optional<KSTVolumeUsage> volumeUsage(const QString &path) override;

private:
    QString procPath(const QString &relative) const;
    QString sysPath(const QString &relative) const;
    QString hostName() const;
    QList<KSTInterfaceAddress> recordedInterfaceAddresses() const;
    // The assignments of os-release (or the vendor's copy); nothing when neither is readable.
    std::optional<QHash<QString, QString>> osReleaseValues() const;

    QString m_procRoot;
    QString m_sysRoot;
    QString m_etcRoot;
    bool m_liveProc;
    bool m_liveSys;
    bool m_liveEtc;
};
