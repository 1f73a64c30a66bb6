#include "KSTOverviewEngine.h"

#include "KSTEnvironment.h"
#include "KSTFormatting.h"
#include "KSTInstalledApplications.h"
#include "KSTLayoutWords.h"
#include "KSTLiveMetrics.h"
#include "KSTOverviewLocations.h"
#include "KSTOverviewLog.h"
#include "KSTPropertyList.h"
#include "KSTStorageFigures.h"
#include "KSTStorageMetrics.h"
#include "KSTToolRunner.h"

#include <QDateTime>

#include <cstring>

namespace Locations = KSTOverviewLocations;

namespace {

const QString Separator = QStringLiteral(" · ");

// The host's own description is only the analysed machine's when the root is the host's.
bool analysesHost()
{
    return KSTEnvironment::current().isHostRoot();
}

// Under another root a Linux machine describes itself in its own proc, sys and etc folders.
std::unique_ptr<KSTHostInfo> analysedLinuxMachine()
{
    const KSTEnvironment environment = KSTEnvironment::current();
    if (environment.isHostRoot() || environment.layout() != KSTLayout::Linux)
        return nullptr;
    return KSTHostInfo::linuxMachineUnder(environment.root());
}

QVariantMap rootPlist(const QString &systemPath)
{
    return KSTPropertyList::readDictionary(KSTEnvironment::current().systemPath(systemPath));
}

// "This Mac" on a Mac, "This computer" on a Linux desktop: the name of a machine that has none.
QString unnamedMachineName()
{
    QString words = KSTLayoutWords::current().thisComputer;
    if (!words.isEmpty())
        words[0] = words.at(0).toUpper();
    return words;
}

} // namespace

KSTOverviewEngine::KSTOverviewEngine(KSTApplicationBundleCatalog::PathCache bundlePaths,
                                     KSTLiveBaselines &baselines)
    : m_bundlePaths(std::move(bundlePaths)), m_baselines(&baselines)
{
}

std::shared_ptr<KSTSystemSnapshot> KSTOverviewEngine::fetchSnapshot() const
{
    auto snapshot = std::make_shared<KSTSystemSnapshot>();
    const KSTLiveMetrics live(*m_baselines);
    const QList<KSTInstalledApplication> applications =
        KSTInstalledApplications(m_bundlePaths).list();

    snapshot->machineTitle = machineTitle(systemProfilerHardwareReport());
    snapshot->specsLine = specsLine();
    snapshot->macOSVersionLine = macOSVersionLine();
    snapshot->uptimeText = uptimeText();
    bool hasBattery = false;
    snapshot->batteryText = batteryTextHasBattery(&hasBattery);
    snapshot->hasBattery = hasBattery;
    KSTStorageMetrics::populateStorageMetrics(*snapshot);
    populateMemoryMetrics(*snapshot);
    snapshot->cpuCoreCount = cpuCoreCount();
    snapshot->cpuUsageFraction = live.currentCPUUsageFraction();
    snapshot->networkInterfaceName = primaryNetworkInterfaceName();
    // A snapshot is a fresh start for the live throughput that follows it.
    live.sampleNetworkThroughputIntoDownload(nullptr, nullptr, nullptr, true);
    snapshot->networkDownloadMBps = 0;
    snapshot->networkUploadMBps = 0;
    snapshot->networkActivityFraction = 0;
    // Bundles are measured by their folders; a desktop's applications by their payloads.
    std::optional<quint64> applicationBytes;
    if (Locations::applicationCatalog(KSTEnvironment::current().layout()) ==
        Locations::ApplicationCatalog::DesktopEntries)
        applicationBytes = KSTInstalledApplications::distinctPayloadBytes(applications);
    snapshot->storageCategories = KSTStorageMetrics::storageCategoriesForUsedBytes(
        snapshot->storageUsedBytes, snapshot->storageTotalBytes, applicationBytes);
    snapshot->topApps = KSTInstalledApplications::largest(applications, TopApplicationCount);
    snapshot->installedAppCount = applications.size();
    return snapshot;
}

// ---- Machine description ----

QString KSTOverviewEngine::machineTitle()
{
    return machineTitle(systemProfilerHardwareReport());
}

QString KSTOverviewEngine::machineTitle(const QByteArray &hardwareReport)
{
    const QString model = hardwareModelName(hardwareReport);
    const QString chip = chipName(hardwareReport);
    if (!model.isEmpty() && !chip.isEmpty())
        return model + Separator + chip;
    if (!model.isEmpty())
        return model;
    return computerName();
}

QString KSTOverviewEngine::specsLine()
{
    QStringList parts;
    // A volume without a version record has no version line; no empty part then.
    const QString version = macOSVersionLine();
    if (!version.isEmpty())
        parts << version;
    parts << KSTFormatting::formatBytesShort(KSTHostInfo::current().physicalMemoryBytes()) +
                 QLatin1String(" RAM");
    quint64 capacity = 0;
    KSTStorageFigures::bootVolumeUsageTotal(&capacity, nullptr);
    if (capacity != 0)
        parts << KSTFormatting::formatBytesShort(capacity) + QLatin1String(" SSD");
    const QString serial = serialNumberText(serialNumber());
    if (!serial.isEmpty())
        parts << serial;
    return parts.join(Separator);
}

QString KSTOverviewEngine::serialNumberText(const QString &serial)
{
    if (serial.isEmpty())
        return {};
    // Masked on purpose: the line is shown and exported; the ellipsis says so.
    if (serial.size() >= 9)
        return QLatin1String("Serial ") + serial.left(8) + QStringLiteral("…");
    return QLatin1String("Serial ") + serial;
}

QString KSTOverviewEngine::macOSVersionLine()
{
    bool isMacOS = false;
    const KSTOperatingSystemVersion version = operatingSystemVersion(&isMacOS);
    // A Linux version number is no macOS release: Debian 12 is not "Monterey".
    const QString name = isMacOS ? macOSMarketingNameForMajorVersion(version.major) : QString();
    if (name.isEmpty())
        return version.versionString;
    return QStringLiteral("macOS %1 %2.%3").arg(name).arg(version.major).arg(version.minor);
}

QString KSTOverviewEngine::macOSMarketingNameForMajorVersion(qint64 majorVersion)
{
    switch (majorVersion) {
    case 11:
        return QStringLiteral("Big Sur");
    case 12:
        return QStringLiteral("Monterey");
    case 13:
        return QStringLiteral("Ventura");
    case 14:
        return QStringLiteral("Sonoma");
    case 15:
        return QStringLiteral("Sequoia");
    default:
        return {};
    }
}

KSTOperatingSystemVersion KSTOverviewEngine::operatingSystemVersion(bool *isMacOS)
{
    if (analysesHost()) {
        if (isMacOS) {
#ifdef Q_OS_MACOS
            *isMacOS = true;
#else
            *isMacOS = false;
#endif
        }
        return KSTHostInfo::current().operatingSystemVersion();
    }
    // Another root: only what the volume records, never the host's version.
    if (const std::unique_ptr<KSTHostInfo> machine = analysedLinuxMachine()) {
        if (isMacOS)
            *isMacOS = false;
        return machine->operatingSystemVersion();
    }
    const std::optional<KSTOperatingSystemVersion> recorded =
        operatingSystemVersionFromSystemVersion(rootPlist(Locations::systemVersionPlist));
    if (isMacOS)
        *isMacOS = recorded.has_value();
    return recorded.value_or(KSTOperatingSystemVersion());
}

std::optional<KSTOperatingSystemVersion>
KSTOverviewEngine::operatingSystemVersionFromSystemVersion(const QVariantMap &systemVersion)
{
    const QString product = systemVersion.value(QStringLiteral("ProductVersion")).toString();
    if (product.isEmpty())
        return std::nullopt;
    KSTOperatingSystemVersion version;
    const QStringList parts = product.split(QLatin1Char('.'));
    int *const fields[] = {&version.major, &version.minor, &version.patch};
    for (qsizetype index = 0; index < parts.size() && index < 3; ++index)
        *fields[index] = parts.at(index).toInt();
    // NSProcessInfo's operatingSystemVersionString has this form.
    version.versionString = QStringLiteral("Version ") + product;
    const QString build = systemVersion.value(QStringLiteral("ProductBuildVersion")).toString();
    if (!build.isEmpty())
        version.versionString += QStringLiteral(" (Build ") + build + QLatin1Char(')');
    return version;
}

QString KSTOverviewEngine::computerName()
{
    if (analysesHost()) {
        KSTHostInfo &host = KSTHostInfo::current();
        const QString name = host.computerName();
        if (!name.isEmpty())
            return name;
        const QString localized = host.localizedHostName();
        return localized.isEmpty() ? unnamedMachineName() : localized;
    }
    if (const std::unique_ptr<KSTHostInfo> machine = analysedLinuxMachine()) {
        const QString name = machine->computerName().trimmed();
        return name.isEmpty() ? unnamedMachineName() : name;
    }
    const QVariantMap preferences = rootPlist(Locations::systemConfigurationPreferences);
    const QString stored = preferences.value(QStringLiteral("System"))
                               .toMap()
                               .value(QStringLiteral("System"))
                               .toMap()
                               .value(QStringLiteral("ComputerName"))
                               .toString()
                               .trimmed();
    return stored.isEmpty() ? unnamedMachineName() : stored;
}

QString KSTOverviewEngine::hardwareModelName(const QByteArray &hardwareReport)
{
    QString model = systemProfilerValueInOutput(hardwareReport, QStringLiteral("Model Name"));
    if (model.isEmpty())
        model = sysctlStringForName("hw.model");
    if (model.isEmpty())
        model = computerName();
    return model;
}

QString KSTOverviewEngine::chipName(const QByteArray &hardwareReport)
{
    QString chip = systemProfilerValueInOutput(hardwareReport, QStringLiteral("Chip"));
    if (chip.isEmpty())
        chip = systemProfilerValueInOutput(hardwareReport, QStringLiteral("Processor Name"));
    if (chip.isEmpty())
        chip = sysctlStringForName("machdep.cpu.brand_string");
    return chip;
}

QByteArray KSTOverviewEngine::systemProfilerHardwareReport()
{
    // Under another root this is the volume's recorded tool; a missing tool gives nothing,
    // never the host's.
    QByteArray report =
        KSTToolRunner::pipeOpen(Locations::systemProfilerHardwareLine, {Locations::systemProfiler},
                                SystemProfilerTimeoutMs);
    if (report.isEmpty())
        qCInfo(lcOverview) << "no hardware report: the profiler is missing, failed or timed out";
    return report;
}

QString KSTOverviewEngine::systemProfilerValueForKey(const QString &key)
{
    // Not cached: the caller decides how often to ask.
    return systemProfilerValueInOutput(systemProfilerHardwareReport(), key);
}

QString KSTOverviewEngine::systemProfilerValueInOutput(const QByteArray &output, const QString &key)
{
    const QString prefix = key + QLatin1Char(':');
    const QStringList lines = QString::fromUtf8(output).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        const QString trimmed = line.trimmed();
        if (trimmed.startsWith(prefix))
            return trimmed.mid(prefix.size()).trimmed();
    }
    return {};
}

QString KSTOverviewEngine::sysctlStringForName(const char *name)
{
    if (!name)
        return {};
    const std::unique_ptr<KSTHostInfo> machine = analysedLinuxMachine();
    if (!analysesHost() && !machine)
        return {};
    KSTHostInfo &host = machine ? *machine : KSTHostInfo::current();
    if (std::strcmp(name, "hw.model") == 0)
        return host.hardwareModel().trimmed();
    if (std::strcmp(name, "machdep.cpu.brand_string") == 0)
        return host.cpuBrandString().trimmed();
    return {};
}

QString KSTOverviewEngine::serialNumber()
{
    return analysesHost() ? KSTHostInfo::current().serialNumber() : QString();
}

// ---- Live host figures ----

QString KSTOverviewEngine::uptimeText()
{
    const std::optional<qint64> boot = KSTHostInfo::current().bootTimeSeconds();
    if (!boot)
        return QStringLiteral("Uptime unavailable");
    return uptimeTextForSeconds(QDateTime::currentSecsSinceEpoch() - *boot);
}

QString KSTOverviewEngine::uptimeTextForSeconds(qint64 seconds)
{
    // A boot time in the future (a clock set back) reads as just booted.
    const qint64 uptime = std::max<qint64>(0, seconds);
    const qint64 days = uptime / 86400;
    const qint64 withinDay = uptime % 86400;
    if (days >= 1)
        return QStringLiteral("Uptime %1d %2h").arg(days).arg(withinDay / 3600);
    if (withinDay < 3600)
        return QStringLiteral("Uptime %1m").arg(withinDay / 60);
    return QStringLiteral("Uptime %1h %2m").arg(withinDay / 3600).arg(withinDay % 3600 / 60);
}

std::optional<QString> KSTOverviewEngine::batteryTextHasBattery(bool *hasBattery)
{
    if (hasBattery)
        *hasBattery = false;
    const std::optional<QList<QVariantMap>> sources =
        KSTHostInfo::current().powerSourceDescriptions();
    if (!sources)
        return std::nullopt;
    for (const QVariantMap &source : *sources) {
        if (source.isEmpty() || !source.contains(QStringLiteral("Current Capacity")))
            continue;
        const QVariant present = source.value(QStringLiteral("Is Present"));
        if (present.isValid() && !present.toBool())
            continue;
        if (hasBattery)
            *hasBattery = true;
        const int percent = source.value(QStringLiteral("Current Capacity")).toInt();
        if (source.value(QStringLiteral("Is Charging")).toBool())
            return QStringLiteral("Battery %1% · Charging").arg(percent);
        return QStringLiteral("Battery %1%").arg(percent);
    }
    return std::nullopt;
}

void KSTOverviewEngine::populateMemoryMetrics(KSTSystemSnapshot &snapshot)
{
    const quint64 total = KSTHostInfo::current().physicalMemoryBytes();
    const quint64 used = quint64(KSTLiveMetrics::currentMemoryUsageFraction() * double(total));
    snapshot.memoryTotalBytes = total;
    snapshot.memoryUsedBytes = used;
    snapshot.memoryUsedFraction = total == 0 ? 0 : double(used) / double(total);
}

qint64 KSTOverviewEngine::cpuCoreCount()
{
    return KSTHostInfo::current().logicalCpuCount();
}

QString KSTOverviewEngine::primaryNetworkInterfaceName()
{
    const QString bsdName = primaryNetworkInterfaceBSDName();
    if (bsdName.isEmpty())
        return QStringLiteral("Network");
    // The host answers empty for an interface it has no service for, which is the "no
    // match" case: the BSD name itself is then the best name there is.
    const QString display = KSTHostInfo::current().interfaceDisplayName(bsdName);
    return display.isEmpty() ? bsdName : display;
}

QString KSTOverviewEngine::primaryNetworkInterfaceBSDName()
{
    QString last;
    for (const KSTInterfaceAddress &address : KSTHostInfo::current().interfaceAddresses()) {
        if (address.name.isEmpty() || !address.isUp || !address.isRunning || address.isLoopback ||
            !address.isIPv4)
            continue;
        if (address.name.startsWith(QLatin1String("en")))
            return address.name;
        last = address.name;
    }
    return last.isEmpty() ? QStringLiteral("en0") : last;
}
