#include "KSTSystemReportBuilder.h"

#include "KSTFormatting.h"
#include "KSTSystemReportLayout.h"
#include "KSTSystemReportParsers.h"
#include "KSTSystemReportWords.h"

#include <QLocale>

namespace P = KSTSystemReportParsers;

namespace {

const QString Dash = QStringLiteral("\u2014");

KSTReportRow row(const QString &value, qint64 style = KSTReportRow::Normal)
{
    return KSTReportRow::rowWithLabel(QString(), value, style);
}

KSTReportRow row(const P::StyledValue &value)
{
    return row(value.value, value.style);
}

QString text(const QVariantMap &map, const char *key, const QString &fallback = Dash)
{
    const QString value = map.value(QString::fromUtf8(key)).toString();
    return value.isEmpty() ? fallback : value;
}

qint64 style(const QVariantMap &map, const char *key)
{
    return map.value(QString::fromUtf8(key)).toLongLong();
}

QString count(qint64 number, const char *unit)
{
    return QStringLiteral("%1 %2").arg(number).arg(QString::fromUtf8(unit));
}

// A count that exists only when its tool printed something.
QString countFromTool(const QString &output, qint64 number, const char *unit)
{
    return output.trimmed().isEmpty() ? Dash : count(number, unit);
}

qint64 itemsOfType(const KSTReportContext &context, quint64 type)
{
    qint64 total = 0;
    for (const KSTStartupItemRecord &item : context.startupItems)
        total += item.itemType == type ? 1 : 0;
    return total;
}

QString firstItemRated(const KSTReportContext &context, const char *impact)
{
    for (const KSTStartupItemRecord &item : context.startupItems)
        if (item.impact == QLatin1String(impact))
            return item.name;
    return {};
}

QString secureBoot(const KSTReportContext &context, qint64 *rowStyle)
{
    const KSTReportMachineFacts &machine = context.machine;
    *rowStyle = KSTReportRow::Good;
    if (machine.appleSilicon && machine.profilerText.contains(QLatin1String("Full Security")))
        return QStringLiteral("\u2713 Full Security");
    if (machine.appleSilicon && machine.profilerText.contains(QLatin1String("Reduced Security"))) {
        *rowStyle = KSTReportRow::Warning;
        return QStringLiteral("Reduced Security");
    }
    if (machine.csrutilStatus.trimmed().isEmpty()) {
        *rowStyle = KSTReportRow::Normal;
        return Dash;
    }
    if (P::sipEnabled(machine.csrutilStatus))
        return QStringLiteral("\u2713 Full Security");
    *rowStyle = KSTReportRow::Warning;
    return QStringLiteral("Reduced");
}

// A protection the linux layout read from a file or a tool: on, off or not known.
P::StyledValue flag(const std::optional<bool> &on)
{
    if (!on)
        return {Dash, KSTReportRow::Normal};
    return *on ? P::StyledValue{QStringLiteral("Enabled"), KSTReportRow::Good}
               : P::StyledValue{QStringLiteral("Disabled"), KSTReportRow::Warning};
}

std::optional<bool> lockdownOn(const KSTReportMachineFacts &machine)
{
    if (machine.lockdownMode.isEmpty())
        return std::nullopt;
    return machine.lockdownMode != QLatin1String("none");
}

QString runningCount(qint64 units)
{
    return units < 0 ? Dash : count(units, "running");
}

QString installedMemory(const KSTReportContext &context)
{
    const KSTReportMachineFacts &machine = context.machine;
    if (!machine.installedMemoryText.isEmpty())
        return machine.installedMemoryText;
    return machine.physicalMemoryBytes
               ? KSTFormatting::formatBytesShort(machine.physicalMemoryBytes)
               : Dash;
}

} // namespace

QString KSTSystemReportBuilder::profilerValue(const KSTReportContext &context, const QString &part,
                                              const QString &key)
{
    return P::profilerValueForKey(P::profilerPart(context.machine.profilerText, part), key);
}

QString KSTSystemReportBuilder::chipName(const KSTReportContext &context, const QString &chipHint)
{
    QString chip = chipHint.trimmed();
    if (chip.isEmpty())
        chip = profilerValue(context, QStringLiteral("Hardware"), QStringLiteral("Chip"));
    if (chip.isEmpty())
        chip = context.machine.cpuBrand.trimmed();
    if (chip.isEmpty() && context.machine.appleSilicon)
        chip = QStringLiteral("Apple Silicon");
    return chip;
}

KSTSystemReportSnapshot
KSTSystemReportBuilder::buildSnapshotFromContext(const KSTReportContext &context,
                                                 const QString &chipHint, const QDateTime &now)
{
    namespace L = KSTSystemReportLayout;
    const KSTReportMachineFacts &machine = context.machine;
    KSTSystemReportSnapshot snapshot;
    snapshot.generatedAt = now;
    snapshot.machineTitle = !machine.hardwareModel.isEmpty() ? machine.hardwareModel
                            : machine.linuxLayout
                                ? (context.osName.isEmpty() ? Dash : context.osName)
                                : QStringLiteral("Mac");
    const QString chip = chipName(context, chipHint);
    const QString chipShown = chip.isEmpty() ? QStringLiteral("Apple Silicon") : chip;
    snapshot.generatedSubtitle =
        context.weekly.isPartial
            ? QStringLiteral("Scanning\u2026 \u00b7 %1 \u00b7 %2")
                  .arg(snapshot.machineTitle, chipShown)
            : QStringLiteral("Generated %1 \u00b7 %2 \u00b7 %3")
                  .arg(QLocale::c().toString(now, QStringLiteral("MMM d, yyyy \u00b7 h:mm AP")),
                       snapshot.machineTitle, chipShown);

    const int gpuCores = P::leadingNumber(profilerValue(
        context, QStringLiteral("Graphics/Displays"), QStringLiteral("Total Number of Cores")));
    const QString build = context.buildNumber.isEmpty() ? Dash : context.buildNumber;
    const QString osName = context.osName.isEmpty() ? Dash : context.osName;
    const QList<L::CardShape> &cards = L::cards();
    // A protection whose source gave no answer (a root-only one on Linux) is neither on nor
    // off: a known one that is off still calls for review, otherwise the card shows the
    // absent value rather than a verdict.
    const struct
    {
        bool answered, on;
    } sipState{machine.linuxLayout ? !machine.lockdownMode.isEmpty()
                                   : !machine.csrutilStatus.trimmed().isEmpty(),
               context.sipEnabled},
        fileVaultState{machine.linuxLayout ? machine.rootEncrypted.has_value()
                                           : !machine.fdesetupStatus.trimmed().isEmpty(),
                       context.fvEnabled},
        gatekeeperState{machine.linuxLayout ? machine.accessControlOn.has_value()
                                            : !machine.spctlStatus.trimmed().isEmpty(),
                        context.gatekeeperOn};
    const bool sipOrFileVaultOff =
        (sipState.answered && !sipState.on) || (fileVaultState.answered && !fileVaultState.on);
    const bool sipAndFileVaultKnown = sipState.answered && fileVaultState.answered;
    const QString securityValue =
        sipOrFileVaultOff || (gatekeeperState.answered && !gatekeeperState.on)
            ? QStringLiteral("Review needed")
        : !sipAndFileVaultKnown || !gatekeeperState.answered ? Dash
                                                             : QStringLiteral("Protected");
    const QString securityDetail = sipOrFileVaultOff ? QStringLiteral("Some protections off")
                                   : !sipAndFileVaultKnown
                                       ? Dash
                                       : QStringLiteral("SIP \u00b7 FileVault \u00b7 Gatekeeper");
    snapshot.summaryCards = {
        KSTReportSummaryCard::summaryCard(
            cards[0].title, cards[0].symbolName, cards[0].iconColor, osName,
            (machine.linuxLayout ? QStringLiteral("Kernel %1") : QStringLiteral("Build %1"))
                .arg(build)),
        KSTReportSummaryCard::summaryCard(cards[1].title, cards[1].symbolName, cards[1].iconColor,
                                          chipShown,
                                          QStringLiteral("%1-core CPU \u00b7 %2-core GPU")
                                              .arg(machine.logicalCpuCount)
                                              .arg(gpuCores)),
        KSTReportSummaryCard::summaryCard(
            cards[2].title, cards[2].symbolName, cards[2].iconColor,
            QStringLiteral("%1 free").arg(KSTFormatting::formatBytesShort(context.storageFree)),
            QStringLiteral("of %1 total")
                .arg(KSTFormatting::formatBytesShort(context.storageTotal))),
        // Gatekeeper decides the value but, as the detail says, not the detail.
        KSTReportSummaryCard::summaryCard(cards[3].title, cards[3].symbolName, cards[3].iconColor,
                                          securityValue, securityDetail),
    };

    const QList<L::SectionShape> &shapes = L::sections();
    // A Linux machine's SSD model, external disks and buses have no source here.
    const auto macOnly = [&](const QString &value) { return machine.linuxLayout ? Dash : value; };
    qint64 secureBootStyle = 0;
    QString secureBootText = secureBoot(context, &secureBootStyle);
    if (machine.linuxLayout) {
        const P::StyledValue linuxSecureBoot = flag(machine.secureBootOn);
        secureBootText = linuxSecureBoot.value;
        secureBootStyle = linuxSecureBoot.style;
    }
    const P::StyledValue sip =
        machine.linuxLayout ? flag(lockdownOn(machine)) : P::sipRow(machine.csrutilStatus);
    const P::StyledValue fileVault = machine.linuxLayout
                                         ? flag(machine.rootEncrypted)
                                         : P::flagRow(machine.fdesetupStatus, context.fvEnabled);
    const P::StyledValue gatekeeper = machine.linuxLayout
                                          ? flag(machine.accessControlOn)
                                          : P::flagRow(machine.spctlStatus, context.gatekeeperOn);
    const P::StyledValue firewall =
        machine.linuxLayout ? flag(machine.firewallOn) : P::firewallRow(machine.firewallState);
    const QString bootMode = machine.linuxLayout && machine.nvramBootArgs.isEmpty()
                                 ? Dash
                                 : P::bootMode(machine.nvramBootArgs);
    const QString serial =
        machine.serialNumber.isEmpty() ? Dash : P::maskedSerial(machine.serialNumber);
    const QString uptime = machine.uptimeSeconds < 0
                               ? Dash
                               : KSTFormatting::formatDuration(double(machine.uptimeSeconds));
    snapshot.sections.append(L::section(
        shapes[0],
        {row(osName), row(build),
         row(machine.bootVolumeName.isEmpty()
                 ? (machine.linuxLayout ? Dash : QStringLiteral("Macintosh HD"))
                 : machine.bootVolumeName),
         row(machine.fileSystem), row(bootMode), row(secureBootText, secureBootStyle), row(sip),
         row(fileVault), row(machine.hardwareModel), row(serial), row(uptime)}));

    const QString memoryType =
        profilerValue(context, QStringLiteral("Memory"), QStringLiteral("Type"));
    QString gpu = profilerValue(context, QStringLiteral("Graphics/Displays"),
                                QStringLiteral("Chipset Model"));
    if (gpu.isEmpty())
        gpu = machine.linuxLayout    ? Dash
              : machine.appleSilicon ? QStringLiteral("Apple GPU")
                                     : QStringLiteral("Integrated GPU");
    const QString ssdModel =
        profilerValue(context, QStringLiteral("NVMExpress"), QStringLiteral("Model"));
    const QString capacity =
        context.storageTotal ? KSTFormatting::formatBytesShort(context.storageTotal) : Dash;
    snapshot.sections.append(L::section(
        shapes[1],
        {row(chip.isEmpty()
                 ? Dash
                 : QStringLiteral("%1 (%2-core)").arg(chip).arg(machine.logicalCpuCount)),
         row(memoryType.isEmpty()
                 ? installedMemory(context)
                 : QStringLiteral("%1 %2").arg(installedMemory(context), memoryType)),
         row(gpuCores > 0 ? QStringLiteral("%1 (%2-core)").arg(gpu).arg(gpuCores) : gpu),
         row(ssdModel.isEmpty() ? macOnly(QStringLiteral("%1 SSD").arg(capacity))
                                : QStringLiteral("%1 (%2)").arg(ssdModel, capacity)),
         row(context.externalDisksSummary.isEmpty() ? macOnly(QStringLiteral("None detected"))
                                                    : context.externalDisksSummary),
         row(P::smartStatus(machine.diskutilInfoDisk0)),
         row(context.thunderboltDevicesSummary.isEmpty() ? macOnly(QStringLiteral("None"))
                                                         : context.thunderboltDevicesSummary),
         row(context.usbDevicesSummary.isEmpty() ? macOnly(QStringLiteral("None"))
                                                 : context.usbDevicesSummary)}));

    snapshot.sections.append(L::section(
        shapes[2],
        {row(KSTFormatting::formatBytesShort(context.storageFree)),
         row(KSTFormatting::formatBytesShort(context.storageUsed)),
         row(machine.diskutilApfsList.trimmed().isEmpty()
                 ? Dash
                 : P::apfsContainers(machine.diskutilApfsList)),
         row(machine.mountedVolumeCount < 0 ? Dash
                                            : QString::number(machine.mountedVolumeCount))}));

    const QVariantMap &memory = context.memoryStats;
    snapshot.sections.append(
        L::section(shapes[3], {row(installedMemory(context)),
                               row(text(memory, "pressure"), style(memory, "pressureLevel")),
                               row(text(memory, "app")), row(text(memory, "wired")),
                               row(text(memory, "compressed")), row(text(memory, "swap"))}));

    QString slowing = firstItemRated(context, "High");
    if (slowing.isEmpty())
        slowing = firstItemRated(context, "Medium");
    snapshot.sections.append(L::section(
        shapes[4], {row(count(itemsOfType(context, KSTStartupItemRecord::LaunchAgent), "items")),
                    row(count(itemsOfType(context, KSTStartupItemRecord::LaunchDaemon), "items")),
                    row(count(itemsOfType(context, KSTStartupItemRecord::LoginItem), "items")),
                    row(machine.legacyStartupItemCount < 0
                            ? Dash
                            : QStringLiteral("%1 (legacy)").arg(machine.legacyStartupItemCount)),
                    row(slowing.isEmpty() ? QStringLiteral("None detected") : slowing)}));

    qint64 thirdParty = 0;
    for (const KSTStartupItemRecord &item : context.startupItems)
        thirdParty += item.itemIdentifier.startsWith(QLatin1String("com.apple")) ? 0 : 1;
    snapshot.sections.append(L::section(
        shapes[5],
        {row(machine.linuxLayout
                 ? runningCount(machine.runningSystemUnits)
                 : countFromTool(machine.launchctlSystem,
                                 P::launchctlServiceCount(machine.launchctlSystem), "running")),
         row(machine.linuxLayout
                 ? runningCount(machine.runningUserUnits)
                 : countFromTool(machine.launchctlUser,
                                 P::launchctlServiceCount(machine.launchctlUser), "running")),
         row(QString::number(thirdParty)),
         row(machine.psOutput.trimmed().isEmpty() ? Dash : P::highCpuProcess(machine.psOutput))}));

    const QVariantMap &apps = context.appSignatures;
    const bool appsKnown = !apps.isEmpty();
    auto appCount = [&](const char *key) {
        return appsKnown ? count(apps.value(QString::fromUtf8(key)).toLongLong(), "apps") : Dash;
    };
    const qint64 unsignedApps = apps.value(QStringLiteral("unsigned")).toLongLong();
    const qint64 totalApps = apps.value(QStringLiteral("apple")).toLongLong() +
                             apps.value(QStringLiteral("dev")).toLongLong() + unsignedApps;
    snapshot.sections.append(
        L::section(shapes[6],
                   {row(appCount("apple")), row(appCount("dev")),
                    row(appCount("unsigned"),
                        appsKnown ? (unsignedApps > 0 ? KSTReportRow::Warning : KSTReportRow::Good)
                                  : KSTReportRow::Normal),
                    row(appCount("recent")), row(appCount("outdated"))},
                   appsKnown ? QStringLiteral("%1 apps").arg(totalApps) : QString()));

    const P::SystemExtensions extensions = P::systemExtensions(machine.systemExtensionsList);
    const bool extensionsKnown = !machine.systemExtensionsList.trimmed().isEmpty();
    const qint64 kexts =
        machine.linuxLayout ? machine.outOfTreeModules : P::thirdPartyKexts(machine.kextstatOutput);
    const bool kextsKnown = machine.linuxLayout ? machine.loadedModules >= 0
                                                : !machine.kextstatOutput.trimmed().isEmpty();
    snapshot.sections.append(L::section(
        shapes[7], {row(machine.linuxLayout    ? Dash
                        : machine.appleSilicon ? QStringLiteral("Apple Silicon")
                                               : QStringLiteral("Intel")),
                    row(!kextsKnown ? Dash
                                    : (kexts ? count(kexts, "third-party loaded")
                                             : QStringLiteral("0 loaded"))),
                    row(extensionsKnown ? count(extensions.active, "active") : Dash),
                    row(extensionsKnown ? QString::number(extensions.providers.size()) : Dash),
                    row(extensionsKnown ? QString::number(extensions.blocked) : Dash,
                        extensions.blocked > 0 ? KSTReportRow::Warning : KSTReportRow::Normal)}));

    snapshot.sections.append(L::section(
        shapes[8],
        {row(sip), row(gatekeeper), row(fileVault), row(secureBootText, secureBootStyle),
         row(firewall),
         row(appsKnown ? QStringLiteral("%1 apps").arg(unsignedApps) : Dash,
             appsKnown && unsignedApps > 0 ? KSTReportRow::Warning : KSTReportRow::Normal)}));

    const QVariantMap &crashes = context.crashStats;
    snapshot.sections.append(L::section(
        shapes[9], {row(text(crashes, "recent")), row(text(crashes, "hangs")),
                    row(text(crashes, "kernelPanic"), style(crashes, "kernelPanicStyle")),
                    row(text(crashes, "sleepPanic"), style(crashes, "sleepPanicStyle")),
                    row(text(crashes, "gpuPanic"), style(crashes, "gpuPanicStyle")),
                    row(text(crashes, "lastPanic"))}));

    const QVariantMap &disks = context.diskHealth;
    snapshot.sections.append(L::section(
        shapes[10], {row(text(disks, "internalSMART"), style(disks, "internalSMARTStyle")),
                     row(text(disks, "externalSMART"), style(disks, "externalSMARTStyle")),
                     row(text(disks, "apfsHealth"), style(disks, "apfsHealthStyle")),
                     row(text(disks, "diskErrors")), row(text(disks, "wearLevel"))}));

    const QVariantMap &network = context.networkWeek;
    auto bytes = [&](const char *key) {
        const QVariant value = network.value(QString::fromUtf8(key));
        return value.isValid() ? KSTFormatting::formatBytesShort(value.toULongLong()) : Dash;
    };
    snapshot.sections.append(L::section(
        shapes[11],
        {row(bytes("download")), row(bytes("upload")), row(text(network, "topApp")),
         row(text(network, "topDomain")),
         row(machine.linuxLayout                         ? machine.vpnName
             : machine.scutilVpnList.trimmed().isEmpty() ? Dash
                                                         : P::connectedVpn(machine.scutilVpnList)),
         row(machine.linuxLayout      ? machine.wirelessQuality
             : machine.hasAirportTool ? P::wifiQuality(machine.airportInfo)
                                      : Dash)}));

    const QVariantMap &browsers = context.browserExtensions;
    const qint64 suspicious = browsers.value(QStringLiteral("suspicious")).toLongLong();
    snapshot.sections.append(
        L::section(shapes[12],
                   {row(text(browsers, "safari")), row(text(browsers, "chrome")),
                    row(browsers.isEmpty() ? Dash
                        : suspicious > 0 ? QStringLiteral("%1 (review recommended)").arg(suspicious)
                                         : QStringLiteral("0"),
                        suspicious > 0 ? KSTReportRow::Warning : KSTReportRow::Normal)}));

    const QVariantMap &boot = context.bootMetrics;
    QString recommendation = QStringLiteral("No changes suggested");
    if (const QString high = firstItemRated(context, "High"); !high.isEmpty()) {
        recommendation = QStringLiteral("Disable %1 at login").arg(high);
    } else {
        for (const KSTStartupItemRecord &item : context.startupItems)
            if (item.name.contains(QLatin1String("Adobe"), Qt::CaseInsensitive)) {
                recommendation = QStringLiteral("Disable Adobe CCXProcess at login");
                break;
            }
    }
    snapshot.sections.append(L::section(
        shapes[13],
        {row(text(boot, "bootToLogin")), row(text(boot, "loginRuntime")),
         row(text(boot, "totalDesktop")),
         row(text(boot, "deltaText"), boot.value(QStringLiteral("deltaSeconds")).toDouble() > 0.5
                                          ? KSTReportRow::Critical
                                          : KSTReportRow::Normal),
         row(recommendation)}));
    if (machine.linuxLayout)
        KSTSystemReportWords::relabelForLinux(snapshot, machine.osFamilyName);
    return snapshot;
}
