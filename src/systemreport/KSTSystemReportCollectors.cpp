#include "KSTSystemReportCollectors.h"

#include "KSTCodeSignature.h"
#include "KSTEnvironment.h"
#include "KSTFormatting.h"
#include "KSTHostInfo.h"
#include "KSTOverviewEngine.h"
#include "KSTPropertyList.h"
#include "KSTReadOnlyFile.h"
#include "KSTReportFolderListing.h"
#include "KSTReportMetricsStore.h"
#include "KSTReporterHistory.h"
#include "KSTStorageFigures.h"
#include "KSTSystemInfo.h"
#include "KSTSystemReportCommandRunner.h"
#include "KSTSystemReportLinuxCollectors.h"
#include "KSTSystemReportLocations.h"
#include "KSTSystemReportParsers.h"
#include "KSTToolRunner.h"
#include "KSTUtilitiesManager.h"

namespace KSTSystemReportCollectors {

namespace L = KSTSystemReportLocations;
namespace P = KSTSystemReportParsers;
using Runner = KSTSystemReportCommandRunner;

namespace {

constexpr qint64 SmallFileBytes = 1024 * 1024;
// An application folder holds a few hundred bundles; one flooded with entries is read only
// this far.
constexpr qsizetype MaximumFolderEntries = 10'000;

QByteArray readSmallFile(const QString &path)
{
    QByteArray bytes;
    if (KSTReadOnlyFile::readWholeFile(path, SmallFileBytes, &bytes) !=
        KSTReadOnlyFile::Status::Read)
        return {};
    return bytes;
}

bool isLinuxLayout()
{
    return KSTEnvironment::current().layout() == KSTLayout::Linux;
}

QString osReleaseName(const QByteArray &osRelease)
{
    QString name;
    for (const QByteArray &line : osRelease.split('\n')) {
        const qsizetype equals = line.indexOf('=');
        if (equals <= 0)
            continue;
        const QByteArray key = line.left(equals).trimmed();
        QString value = QString::fromUtf8(line.mid(equals + 1).trimmed());
        if (value.size() >= 2 && (value.startsWith(u'"') || value.startsWith(u'\'')))
            value = value.mid(1, value.size() - 2);
        if (key == "PRETTY_NAME")
            return value;
        if (key == "NAME")
            name = value;
    }
    return name;
}

// The mount of "/" in mountinfo lines: "id parent major:minor root mountpoint options …
// - fstype source superoptions".
void rootMount(const QByteArray &mountInfo, QString *fileSystem, QString *source,
               qint64 *deviceMounts)
{
    *deviceMounts = 0;
    for (const QByteArray &line : mountInfo.split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        const qsizetype dash = fields.indexOf("-");
        if (fields.size() < 5 || dash < 0 || dash + 2 >= fields.size())
            continue;
        if (fields[dash + 2].startsWith("/dev/"))
            ++*deviceMounts;
        if (fields[4] == "/") {
            *fileSystem = QString::fromUtf8(fields[dash + 1]);
            *source = QString::fromUtf8(fields[dash + 2]);
        }
    }
}

QByteArray readAt(KSTReadOnlyFile &file, qint64 offset, qint64 length)
{
    QByteArray bytes(length, Qt::Uninitialized);
    const qint64 read = file.readAt(offset, bytes.data(), length);
    bytes.resize(std::max<qint64>(0, read));
    return bytes;
}

// Whether the bundle's main executable carries a code signature that is not ad hoc.
bool signedByDeveloper(const QString &bundle, const QString &executableName)
{
    if (executableName.isEmpty() || executableName.contains(QLatin1Char('/')) ||
        executableName == QLatin1String(".") || executableName == QLatin1String(".."))
        return false;
    KSTReadOnlyFile file;
    if (!file.open(bundle + QLatin1String("/Contents/MacOS/") + executableName))
        return false;
    QByteArray header = readAt(file, 0, KSTCodeSignature::HeaderBytes);
    qint64 slice = 0;
    if (const std::optional<qint64> first = KSTCodeSignature::firstSliceOffset(header)) {
        slice = *first;
        header = readAt(file, slice, KSTCodeSignature::HeaderBytes);
    }
    const std::optional<KSTCodeSignature::Location> location =
        KSTCodeSignature::signatureLocation(header, slice);
    if (!location)
        return false;
    const QByteArray signature =
        readAt(file, location->offset, std::min(location->size, KSTCodeSignature::SignatureBytes));
    return KSTCodeSignature::kindOfSignature(signature) == KSTCodeSignature::Kind::Signed;
}

QString formatSeconds(double seconds)
{
    return QStringLiteral("%1 s").arg(QString::number(seconds, 'f', 0));
}

} // namespace

QVariantMap memoryStatsFromMeminfo(const QByteArray &meminfo, quint64 physicalBytes)
{
    QHash<QByteArray, quint64> kib;
    for (const QByteArray &line : meminfo.left(SmallFileBytes).split('\n')) {
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0)
            continue;
        const QList<QByteArray> words = line.mid(colon + 1).simplified().split(' ');
        bool ok = false;
        const quint64 value = words.value(0).toULongLong(&ok);
        if (ok)
            kib.insert(line.left(colon), value);
    }
    if (!kib.contains("MemTotal"))
        return {};
    if (physicalBytes == 0)
        physicalBytes = kib.value("MemTotal") * 1024;
    const quint64 app = kib.value("Active") * 1024;
    const quint64 wired = kib.value("Unevictable") * 1024;
    const quint64 compressed = kib.value("Zswap") * 1024;
    const quint64 swapTotal = kib.value("SwapTotal");
    const quint64 swapFree = kib.value("SwapFree");
    const quint64 swap = swapTotal > swapFree ? (swapTotal - swapFree) * 1024 : 0;
    const double used =
        physicalBytes ? double(app + wired + compressed) / double(physicalBytes) : 0;
    const P::StyledValue level = P::memoryPressure(used);
    return {{QStringLiteral("pressure"),
             QStringLiteral("%1 (%2%)").arg(level.value).arg(int(used * 100))},
            {QStringLiteral("pressureLevel"), level.style},
            {QStringLiteral("app"), KSTFormatting::formatBytesShort(app)},
            {QStringLiteral("wired"), KSTFormatting::formatBytesShort(wired)},
            {QStringLiteral("compressed"), KSTFormatting::formatBytesShort(compressed)},
            {QStringLiteral("swap"),
             swap ? KSTFormatting::formatBytesShort(swap) : QStringLiteral("0 bytes")}};
}

QVariantMap bootMetrics(const QList<KSTStartupItemRecord> &items, double uptimeSeconds,
                        double previousTotalDesktopSeconds, double measuredBootToLoginSeconds)
{
    // A rough model, like the estimate: each login-time item costs about half a second, a
    // heavy one two more.
    double loginRuntime = 0;
    for (const KSTStartupItemRecord &item : items)
        loginRuntime += 0.5 + (item.impact == QLatin1String("High") ? 2.0 : 0.0);
    const double bootToLogin = measuredBootToLoginSeconds >= 0
                                   ? measuredBootToLoginSeconds
                                   : P::estimatedBootToLoginSeconds(uptimeSeconds);
    const double total = bootToLogin + loginRuntime;
    QVariantMap metrics{{QStringLiteral("bootToLogin"), formatSeconds(bootToLogin)},
                        {QStringLiteral("loginRuntime"), formatSeconds(loginRuntime)},
                        {QStringLiteral("totalDesktop"), formatSeconds(total)},
                        {QStringLiteral("totalDesktopSeconds"), total}};
    if (previousTotalDesktopSeconds > 0) {
        const double delta = total - previousTotalDesktopSeconds;
        metrics.insert(QStringLiteral("deltaSeconds"), delta);
        metrics.insert(QStringLiteral("deltaText"),
                       QStringLiteral("%1%2 s")
                           .arg(delta > 0 ? QStringLiteral("+")
                                          : (delta < 0 ? QStringLiteral("\u2212") : QString()))
                           .arg(QString::number(std::abs(delta), 'f', 1)));
    } else {
        metrics.insert(QStringLiteral("deltaText"), QStringLiteral("No prior data"));
    }
    return metrics;
}

void collectInstant(KSTReportContext &context)
{
    const KSTEnvironment environment = KSTEnvironment::current();
    KSTReportMachineFacts &machine = context.machine;
    if (context.sys)
        if (const auto overview = context.sys->cachedOverviewSnapshotIfAvailable())
            context.osName = overview->macOSVersionLine;
    if (isLinuxLayout())
        context.osName =
            osReleaseName(KSTSystemReportLinuxCollectors::readMachineFile(L::OsRelease));
    if (context.osName.isEmpty())
        context.osName = KSTOverviewEngine::macOSVersionLine();

    quint64 total = 0;
    quint64 used = 0;
    KSTStorageFigures::bootVolumeUsageTotal(&total, &used);
    context.storageTotal = total;
    context.storageUsed = used;
    context.storageFree = total > used ? total - used : 0;

    machine.linuxLayout = isLinuxLayout();
    KSTHostInfo &host = KSTHostInfo::current();
    if (environment.isHostRoot()) {
        machine.hardwareModel = host.hardwareModel();
        machine.cpuBrand = host.cpuBrandString();
        machine.logicalCpuCount = host.logicalCpuCount();
        machine.physicalMemoryBytes = host.physicalMemoryBytes();
        machine.serialNumber = host.serialNumber();
        machine.appleSilicon = machine.cpuBrand.startsWith(QLatin1String("Apple"));
    }
    if (isLinuxLayout()) {
        const QString model =
            QString::fromUtf8(KSTSystemReportLinuxCollectors::readMachineFile(L::DmiProductName))
                .trimmed();
        if (!model.isEmpty())
            machine.hardwareModel = model;
        QString source;
        rootMount(KSTSystemReportLinuxCollectors::readMachineFile(L::MountInfo),
                  &machine.fileSystem, &source, &machine.mountedVolumeCount);
        machine.bootVolumeName = source;
        KSTSystemReportLinuxCollectors::collectInstant(context);
    } else {
        machine.mountedVolumeCount =
            KSTReportFolderListing::entryCount(environment.systemPath(QStringLiteral("/Volumes")));
    }
    // Live figures are always the host's.
    if (const std::optional<qint64> boot = host.bootTimeSeconds())
        machine.uptimeSeconds = std::max<qint64>(0, QDateTime::currentSecsSinceEpoch() - *boot);
    context.memoryStats = memoryStatsFromMeminfo(
        readSmallFile(L::HostMemInfo), environment.isHostRoot() ? machine.physicalMemoryBytes : 0);
}

void collectBuildNumber(KSTReportContext &context)
{
    if (isLinuxLayout()) {
        context.buildNumber =
            QString::fromUtf8(KSTSystemReportLinuxCollectors::readMachineFile(L::KernelRelease))
                .trimmed();
        return;
    }
    context.buildNumber = Runner::shellOutput(L::SwVers, {QStringLiteral("-buildVersion")});
    if (context.buildNumber.isEmpty())
        context.buildNumber = Runner::shellOutput(L::SwVers, {QStringLiteral("-productVersion")});
}

void collectMedium(KSTReportContext &context)
{
    const KSTEnvironment environment = KSTEnvironment::current();
    KSTReportMachineFacts &machine = context.machine;
    context.startupItems = KSTUtilitiesManager::sharedManager().scanStartupItems();
    machine.legacyStartupItemCount =
        KSTReportFolderListing::entryCount(environment.systemPath(L::LegacyStartupItems));
    if (machine.legacyStartupItemCount < 0 && !isLinuxLayout())
        machine.legacyStartupItemCount = 0; // no folder: no legacy items
    if (isLinuxLayout())
        KSTSystemReportLinuxCollectors::collectMedium(context);
    const double previous = KSTReportMetricsStore::loadPreviousBootMetrics()
                                .value(QStringLiteral("lastTotalDesktopSeconds"))
                                .toDouble();
    context.bootMetrics = bootMetrics(context.startupItems, double(machine.uptimeSeconds), previous,
                                      machine.startupSeconds.value_or(-1));

    if (isLinuxLayout()) {
        // procps refuses "-c" beside "-o"; its "comm" is already the name without arguments.
        machine.psOutput =
            Runner::shellOutput(L::Ps, {QStringLiteral("-Aeo"), QStringLiteral("pid,pcpu,comm")});
        return; // the Mac's tools below have no Linux counterpart
    }
    machine.diskutilInfoDisk0 = Runner::shellOutputWithTimeout(
        L::DiskutilTimeoutSeconds, L::Diskutil, {QStringLiteral("info"), QStringLiteral("disk0")});
    const P::StyledValue smart = P::smartStatus(machine.diskutilInfoDisk0);
    context.diskHealth.insert(QStringLiteral("internalSMART"), smart.value);
    context.diskHealth.insert(QStringLiteral("internalSMARTStyle"), smart.style);

    machine.nvramBootArgs = Runner::shellOutput(L::Nvram, {QStringLiteral("boot-args")});
    machine.launchctlSystem =
        Runner::shellOutput(L::Launchctl, {QStringLiteral("print"), QStringLiteral("system")});
    machine.launchctlUser =
        Runner::shellOutput(L::Launchctl, {QStringLiteral("print"),
                                           QStringLiteral("gui/%1").arg(environment.userId())});
    // "-c" keeps only the command's name: never its arguments.
    machine.psOutput =
        Runner::shellOutput(L::Ps, {QStringLiteral("-Aceo"), QStringLiteral("pid,pcpu,comm")});
    machine.kextstatOutput = Runner::shellOutput(L::Kextstat);
    machine.systemExtensionsList =
        Runner::shellOutput(L::SystemExtensionsCtl, {QStringLiteral("list")});
    machine.scutilVpnList =
        Runner::shellOutput(L::Scutil, {QStringLiteral("--nc"), QStringLiteral("list")});
    machine.hasAirportTool = !KSTToolRunner::resolvedToolPath(L::Airport).isEmpty();
    if (machine.hasAirportTool)
        machine.airportInfo = Runner::shellOutput(L::Airport, {QStringLiteral("-I")});
}

void collectSecurity(KSTReportContext &context)
{
    if (isLinuxLayout())
        return KSTSystemReportLinuxCollectors::collectSecurity(context);
    KSTReportMachineFacts &machine = context.machine;
    machine.csrutilStatus = Runner::shellOutputWithTimeout(L::SecurityTimeoutSeconds, L::Csrutil,
                                                           {QStringLiteral("status")});
    machine.fdesetupStatus = Runner::shellOutputWithTimeout(L::SecurityTimeoutSeconds, L::Fdesetup,
                                                            {QStringLiteral("status")});
    machine.spctlStatus = Runner::shellOutputWithTimeout(L::GatekeeperTimeoutSeconds, L::Spctl,
                                                         {QStringLiteral("--status")});
    machine.firewallState = Runner::shellOutputWithTimeout(
        L::SecurityTimeoutSeconds, L::SocketFilterFirewall, {QStringLiteral("--getglobalstate")});
    context.sipEnabled = P::sipEnabled(machine.csrutilStatus);
    context.fvEnabled = P::fileVaultOn(machine.fdesetupStatus);
    context.gatekeeperOn = P::gatekeeperOn(machine.spctlStatus);
}

void collectNetworkWeek(KSTReportContext &context, const QDateTime &now)
{
    context.networkWeek =
        P::networkSevenDayTotals(KSTReporterHistory::readHistoryAtPath(
                                     KSTReporterHistory::reporterHistoryPathWithoutCreating())
                                     .records,
                                 now);
    // The weekly report ranks applications but keeps no per-domain traffic, so "topDomain"
    // stays absent and its row shows "—" rather than a guess.
    if (!context.weekly.appUsageEntries.isEmpty()) {
        const KSTReporterAppUsageEntry &top = context.weekly.appUsageEntries.first();
        context.networkWeek.insert(QStringLiteral("topApp"),
                                   QStringLiteral("%1 (%2)").arg(top.name, top.detailText));
    }
}

void adoptProfilerText(KSTReportContext &context, const QString &profilerText)
{
    KSTReportMachineFacts &machine = context.machine;
    machine.profilerText = profilerText;
    const QString hardware = P::profilerPart(profilerText, QStringLiteral("Hardware"));
    context.usbDevicesSummary =
        P::profilerDevicesSummary(P::profilerPart(profilerText, QStringLiteral("USB")));
    QString thunderbolt = P::profilerPart(profilerText, QStringLiteral("Thunderbolt/USB4"));
    if (thunderbolt.isEmpty())
        thunderbolt = P::profilerPart(profilerText, QStringLiteral("Thunderbolt"));
    context.thunderboltDevicesSummary = P::profilerDevicesSummary(thunderbolt);
    const QString memory = P::profilerValueForKey(hardware, QStringLiteral("Memory"));
    if (!memory.isEmpty())
        machine.installedMemoryText = memory;
    if (KSTEnvironment::current().isHostRoot() || isLinuxLayout())
        return;
    // Under another root the profiler describes the analysed Mac.
    machine.hardwareModel = P::profilerValueForKey(hardware, QStringLiteral("Model Identifier"));
    const QString chip = P::profilerValueForKey(hardware, QStringLiteral("Chip"));
    machine.appleSilicon = chip.startsWith(QLatin1String("Apple"));
    machine.cpuBrand =
        chip.isEmpty() ? P::profilerValueForKey(hardware, QStringLiteral("Processor Name")) : chip;
    machine.logicalCpuCount =
        P::leadingNumber(P::profilerValueForKey(hardware, QStringLiteral("Total Number of Cores")));
    machine.serialNumber =
        P::profilerValueForKey(hardware, QStringLiteral("Serial Number (system)"));
}

void collectFullDiskHealth(KSTReportContext &context)
{
    if (isLinuxLayout())
        return; // diskutil has no counterpart read here: the rows stay "—"
    const QString external =
        Runner::shellOutputWithTimeout(L::DiskutilTimeoutSeconds, L::Diskutil,
                                       {QStringLiteral("list"), QStringLiteral("external")});
    QStringList externalDisks;
    for (const QString &line : external.split(QLatin1Char('\n')))
        if (line.startsWith(QLatin1String("/dev/disk")))
            externalDisks.append(line.section(QLatin1Char(' '), 0, 0).mid(5));
    context.diskHealth.insert(QStringLiteral("externalSMART"),
                              external.isEmpty()        ? QStringLiteral("\u2014")
                              : externalDisks.isEmpty() ? QStringLiteral("no external")
                                                        : QStringLiteral("%1 disk(s): %2")
                                                              .arg(externalDisks.size())
                                                              .arg(externalDisks.join(u", ")));
    if (!externalDisks.isEmpty())
        context.externalDisksSummary = externalDisks.join(u", ");
    context.machine.diskutilApfsList = Runner::shellOutputWithTimeout(
        L::DiskutilTimeoutSeconds, L::Diskutil, {QStringLiteral("apfs"), QStringLiteral("list")});
    if (!context.machine.diskutilApfsList.isEmpty()) {
        const bool flagged =
            context.machine.diskutilApfsList.contains(QLatin1String("error"), Qt::CaseInsensitive);
        context.diskHealth.insert(QStringLiteral("apfsHealth"),
                                  flagged ? QStringLiteral("Errors reported")
                                          : QStringLiteral("No errors"));
        context.diskHealth.insert(QStringLiteral("apfsHealthStyle"),
                                  flagged ? KSTReportRow::Critical : KSTReportRow::Good);
    }
    context.diskHealth.insert(QStringLiteral("diskErrors"), QStringLiteral("0"));
    const QString wear = P::wearLevel(context.machine.diskutilInfoDisk0);
    if (!wear.isEmpty())
        context.diskHealth.insert(QStringLiteral("wearLevel"), wear);
}

void collectAppSignatures(KSTReportContext &context, const QDateTime &now, bool full)
{
    // Signed bundles are a Mac's; a Linux machine's rows stay "—" rather than "0 apps".
    if (isLinuxLayout())
        return;
    const KSTEnvironment environment = KSTEnvironment::current();
    QStringList folders;
    for (const QString &folder : L::ApplicationFolders)
        folders.append(environment.systemPath(folder));
    folders.append(environment.homePath(L::HomeApplications));

    QList<KSTReportFolderEntry> bundles;
    for (const QString &folder : folders) {
        for (const KSTReportFolderEntry &entry :
             KSTReportFolderListing::entries(folder, MaximumFolderEntries)) {
            if (!entry.isFolder)
                continue;
            if (entry.name.endsWith(QLatin1String(".app"))) {
                bundles.append(entry);
                continue;
            }
            for (const KSTReportFolderEntry &inner :
                 KSTReportFolderListing::entries(entry.path, MaximumFolderEntries))
                if (inner.isFolder && inner.name.endsWith(QLatin1String(".app")))
                    bundles.append(inner);
        }
    }
    qint64 apple = 0, developer = 0, unsignedCount = 0, recent = 0, outdated = 0;
    for (const KSTReportFolderEntry &entry : bundles) {
        const QString &bundle = entry.path;
        const QString onMac = environment.pathRelativeToRoot(bundle);
        const QVariantMap info =
            KSTPropertyList::readDictionary(bundle + QLatin1String("/Contents/Info.plist"));
        const QString identifier = info.value(QStringLiteral("CFBundleIdentifier")).toString();
        if (onMac.startsWith(QLatin1String("/System/")) ||
            onMac.startsWith(QLatin1String("/Library/Apple/")) ||
            identifier.startsWith(QLatin1String("com.apple.")))
            ++apple;
        else if (full ? signedByDeveloper(
                            bundle, info.value(QStringLiteral("CFBundleExecutable")).toString())
                      : KSTReportFolderListing::isFolder(bundle +
                                                         QLatin1String("/Contents/_CodeSignature")))
            ++developer;
        else
            ++unsignedCount;
        const qint64 age = entry.modified.secsTo(now);
        if (age > 365 * 86'400)
            ++outdated;
        else if (age <= 30 * 86'400)
            ++recent;
    }
    context.appSignatures = {{QStringLiteral("apple"), apple},
                             {QStringLiteral("dev"), developer},
                             {QStringLiteral("unsigned"), unsignedCount},
                             {QStringLiteral("recent"), recent},
                             {QStringLiteral("outdated"), outdated}};
}

} // namespace KSTSystemReportCollectors
