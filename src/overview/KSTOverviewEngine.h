#pragma once

#include "KSTApplicationBundleCatalog.h"
#include "KSTLiveBaselines.h"

#include "KSTHostInfo.h"
#include "KSTSystemSnapshot.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>

class KSTSystemInfo;

/// The Overview engine: builds the one KSTSystemSnapshot the Overview screen shows, field by
/// field, and plugs that build into the scan-service frame (install()).
///
/// Where the figures come from:
/// - The machine analysed is the current KSTEnvironment. On the host's own root ("/") the
///   description (model, chip, serial, computer name, version) is the host's, read through
///   KSTHostInfo and, where the platform has it, system_profiler.
/// - Under another root (a Mac volume mounted elsewhere, a fixture Mac) the description
///   comes from that volume: its recorded system_profiler (<root>/usr/sbin/system_profiler),
///   its System/Library/CoreServices/SystemVersion.plist and the computer name in its
///   Library/Preferences/SystemConfiguration/preferences.plist. The host's model, processor
///   brand and serial describe another machine there, so they count as unknown and the
///   fallbacks apply ("This Mac", no serial). A Linux machine under another root describes
///   itself instead: the model from its DMI, the processor from its cpuinfo, the version
///   from its os-release and the name from its etc/hostname (KSTHostInfo::linuxMachineUnder).
/// - Live figures (processor, memory, network, uptime, battery, processor count) are always
///   the running host's: a volume has none.
///
/// Every probe degrades to a fixed text or 0 rather than failing: an empty model, chip,
/// serial or marketing name, "Uptime unavailable", no battery text, "en0" and "Network".
/// Every operation may be called from any thread; the field operations are stateless class
/// operations. The engine never holds the frame: install() gives it the frame's bundle cache.
class KSTOverviewEngine
{
public:
    /// Keeps the application search's list in @p bundlePaths and measures live figures
    /// against @p baselines, which must outlive this object.
    KSTOverviewEngine(KSTApplicationBundleCatalog::PathCache bundlePaths,
                      KSTLiveBaselines &baselines);

    /// Installs fetchSnapshot() of an engine keeping its bundle list in @p systemInfo's cache
    /// and measuring against @p baselines as @p systemInfo's Overview builder. Both must outlive
    /// every fetch it starts (the shared ones always do).
    static void install(KSTSystemInfo &systemInfo,
                        KSTLiveBaselines &baselines = KSTLiveBaselines::shared());

    /// A complete snapshot, in this order: title (from one run of system_profiler), specs line,
    /// version line, uptime, battery, storage, memory, processor count and load, interface name, a
    /// fresh network baseline (the three network figures 0), storage categories, the five largest
    /// applications and the number of applications. Blocks for as long as sizing every bundle
    /// takes.
    std::shared_ptr<KSTSystemSnapshot> fetchSnapshot() const;

    // ---- Machine description ----

    /// "<model> · <chip>" when both are known; else the model; else computerName(). Runs
    /// system_profiler once.
    static QString machineTitle();
    /// The same from a hardware report already captured (systemProfilerHardwareReport()).
    static QString machineTitle(const QByteArray &hardwareReport);
    /// The version line (when there is one), "<memory> RAM", "<capacity> SSD" (when the volume's
    /// capacity is known; the capacity, not the used space, whatever the disk) and the serial
    /// ("Serial ABCDEFGH…" masked to 8 characters when longer than 8; whole otherwise; left out
    /// when unknown), joined with " · ".
    static QString specsLine();
    /// "macOS <name> <major>.<minor>" for a macOS version with a marketing name; otherwise
    /// the platform's own version text ("Version 16.0 (Build 25A1)", a Linux PRETTY_NAME),
    /// which may be empty when nothing is known.
    static QString macOSVersionLine();
    /// "Big Sur", "Monterey", "Ventura", "Sonoma", "Sequoia" for 11 to 15; empty otherwise.
    static QString macOSMarketingNameForMajorVersion(qint64 majorVersion);
    /// The computer's name (host: the user-visible name, else the host name; another root:
    /// the name its preferences store); "This Mac" when there is none.
    static QString computerName();
    /// The hardware report's "Model Name", else the model identifier, else computerName().
    static QString hardwareModelName(const QByteArray &hardwareReport);
    /// The hardware report's "Chip", else its "Processor Name", else the processor brand,
    /// else empty.
    static QString chipName(const QByteArray &hardwareReport);
    /// What `system_profiler SPHardwareDataType` prints, run now; empty when the tool is not
    /// available, or when it hangs past SystemProfilerTimeoutMs or prints more than the tool
    /// runner's output limit. A snapshot runs it once and reads every field from it.
    static QByteArray systemProfilerHardwareReport();
    /// The value after "<key>:" on the first line of `system_profiler SPHardwareDataType`
    /// that starts with it (lines and value trimmed); empty when the tool is not available.
    /// The tool runs anew on every call.
    static QString systemProfilerValueForKey(const QString &key);
    /// The same lookup in a captured report (pure; for recorded outputs).
    static QString systemProfilerValueInOutput(const QByteArray &output, const QString &key);
    /// The host's answer to the sysctl names the Overview asks ("hw.model",
    /// "machdep.cpu.brand_string"), trimmed; empty for any other name, when unknown, and
    /// under another root (a Linux machine's there: its DMI model and cpuinfo processor).
    static QString sysctlStringForName(const char *name);
    /// The platform serial number; empty when unknown and under another root.
    static QString serialNumber();
    /// The serial as the specs line shows it: "Serial <first 8>…" when longer than 8
    /// characters, "Serial <serial>" otherwise, empty for an empty serial.
    static QString serialNumberText(const QString &serial);
    /// The analysed machine's operating-system version, and whether it is macOS (only then
    /// does the marketing-name table apply).
    static KSTOperatingSystemVersion operatingSystemVersion(bool *isMacOS);
    /// A SystemVersion.plist's dictionary as a version: ProductVersion's numbers and the
    /// platform's own text "Version 14.5 (Build 23F79)". Nothing without ProductVersion.
    static std::optional<KSTOperatingSystemVersion>
    operatingSystemVersionFromSystemVersion(const QVariantMap &systemVersion);

    // ---- Live host figures ----

    /// "Uptime 2d 5h", "Uptime 3h 7m", "Uptime 59m"; "Uptime unavailable" when the boot time
    /// cannot be read.
    static QString uptimeText();
    /// The uptime text for @p seconds since boot (negative counts as 0).
    static QString uptimeTextForSeconds(qint64 seconds);
    /// "Battery 80%" or "Battery 80% · Charging" for the first present power source with a
    /// capacity; nothing, and @p hasBattery false, when there is none. @p hasBattery may be
    /// null.
    static std::optional<QString> batteryTextHasBattery(bool *hasBattery);
    /// memoryTotalBytes = physical memory, memoryUsedBytes = the used fraction × physical
    /// memory (truncated), memoryUsedFraction = used ÷ total (0 when total is 0).
    static void populateMemoryMetrics(KSTSystemSnapshot &snapshot);
    /// Logical processors.
    static qint64 cpuCoreCount();
    /// The display name of the primary interface ("Wi-Fi", "Ethernet"); its BSD name when
    /// the system has no display name for it; "Network" for an empty BSD name.
    static QString primaryNetworkInterfaceName();
    /// The first up, running, non-loopback interface with an IPv4 address whose name starts
    /// with "en"; else the last such interface; else "en0".
    static QString primaryNetworkInterfaceBSDName();

    /// The number of largest applications a snapshot lists.
    static constexpr qsizetype TopApplicationCount = 5;
    /// How long system_profiler may take: it answers in a second or two, and the Overview
    /// waits for it.
    static constexpr int SystemProfilerTimeoutMs = 20'000;

private:
    KSTApplicationBundleCatalog::PathCache m_bundlePaths;
    KSTLiveBaselines *m_baselines;
};
