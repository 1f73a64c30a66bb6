#pragma once

#include <QList>
#include <QString>
#include <QVariantMap>

#include <memory>
#include <optional>

/// Processor tick totals over all processors, in the kernel's units.
struct KSTCpuTickTotals
{
    quint32 user = 0;
    quint32 system = 0;
    quint32 idle = 0;
    quint32 nice = 0;
};

/// One network interface address, as getifaddrs reports it.
struct KSTInterfaceAddress
{
    QString name;
    bool isUp = false;
    bool isRunning = false;
    bool isLoopback = false;
    bool isIPv4 = false;
    bool isLinkLayer = false; ///< AF_LINK on macOS, AF_PACKET on Linux
};

/// Byte counters of one interface since boot.
struct KSTInterfaceByteCounts
{
    QString name;
    bool isLoopback = false;
    quint64 receivedBytes = 0;
    quint64 sentBytes = 0;
};

/// The operating system's version, and its own version text.
struct KSTOperatingSystemVersion
{
    int major = 0;
    int minor = 0;
    int patch = 0;
    QString versionString; ///< the platform's own text (macOS "Version 14.5 (Build 23F79)",
                           ///< Linux PRETTY_NAME of /etc/os-release)
};

/// Capacity and free space of the volume holding a path.
struct KSTVolumeUsage
{
    quint64 totalBytes = 0;
    quint64 freeBytes = 0;
};

/// Live figures of the host the program runs on: what the kernel, the power sources and the
/// network stack report. One interface, one implementation per platform (platform/linux,
/// platform/macos); engines call only this. Every figure degrades to empty/0/nothing when
/// it cannot be read, and every call is safe from any thread.
///
/// These are figures of the running host, not of an analysed root: a Mac volume mounted
/// under --root has no live processor or memory.
class KSTHostInfo
{
public:
    virtual ~KSTHostInfo();

    /// The implementation for this platform, or the one a test installed.
    static KSTHostInfo &current();
    /// Installs @p hostInfo as current (nullptr restores the platform's). For tests.
    static void setCurrentForTesting(std::shared_ptr<KSTHostInfo> hostInfo);
    /// The description a Linux machine under @p root (not "/") gives of itself: its
    /// <root>/proc, <root>/sys and <root>/etc read as the Linux host reads its own. Only the
    /// recorded figures (model, processor, os-release, host name) mean anything; nothing on a
    /// host that cannot read such a tree.
    static std::unique_ptr<KSTHostInfo> linuxMachineUnder(const QString &root);

    /// Model identifier ("MacBookPro18,3"; Linux: DMI product name). Empty when unknown.
    virtual QString hardwareModel() = 0;
    /// Processor brand ("Apple M2", "Intel(R) Core(TM) i7-…"). Empty when unknown.
    virtual QString cpuBrandString() = 0;
    /// Logical processors online; at least 1.
    virtual int logicalCpuCount() = 0;
    /// Ticks (user, system, idle, nice) summed over all processors; nothing on failure.
    virtual std::optional<KSTCpuTickTotals> cpuTickTotals() = 0;
    /// Physical memory in bytes; 0 when unknown.
    virtual quint64 physicalMemoryBytes() = 0;
    /// Memory in use in bytes (macOS: active + wired + compressed; Linux: MemTotal −
    /// MemAvailable); nothing on failure.
    virtual std::optional<quint64> usedMemoryBytes() = 0;
    /// Boot time in whole seconds since 1970; nothing on failure.
    virtual std::optional<qint64> bootTimeSeconds() = 0;
    /// Every interface address in the order the system lists them; empty on failure.
    virtual QList<KSTInterfaceAddress> interfaceAddresses() = 0;
    /// Byte counters per interface; nothing when they cannot be read at all.
    virtual std::optional<QList<KSTInterfaceByteCounts>> interfaceByteCounts() = 0;
    /// Display name of an interface ("Wi-Fi", "Ethernet"); empty when unknown.
    virtual QString interfaceDisplayName(const QString &bsdName) = 0;
    /// Power-source descriptions in the system's order, each with the keys the power-source
    /// API uses: "Current Capacity" (int percent), "Is Present" (bool, may be absent),
    /// "Is Charging" (bool), "Type" ("InternalBattery"). Nothing when the information cannot
    /// be copied; an empty list when there is none.
    virtual std::optional<QList<QVariantMap>> powerSourceDescriptions() = 0;
    /// The user-visible computer name (macOS dynamic store; Linux pretty hostname, else
    /// gethostname). Empty when unknown.
    virtual QString computerName() = 0;
    /// The host's localized name (NSHost); empty when unknown.
    virtual QString localizedHostName() = 0;
    /// The platform serial number; empty when there is none (always on Linux without DMI).
    virtual QString serialNumber() = 0;
    virtual KSTOperatingSystemVersion operatingSystemVersion() = 0;
    /// Size and free space of the file system holding @p path; nothing when unreadable.
    virtual std::optional<KSTVolumeUsage> volumeUsage(const QString &path) = 0;
};
