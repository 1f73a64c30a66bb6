// The report built from a context filled with recorded tool outputs of real Macs: the cards,
// every row of the fourteen sections, the placeholder, and what must never be shown.
#include "KSTSystemReportBuilder.h"
#include "KSTSystemReportLayout.h"
#include "KSTSystemReportWords.h"
#include "KSTTestSupport.h"

#include <gtest/gtest.h>

namespace {

const QString Dash = QStringLiteral("\u2014");

QString recorded(const char *name)
{
    return QString::fromUtf8(
        KSTTestSupport::readFile(KSTTestSupport::recordedMacFile(QString::fromUtf8(name))));
}

const KSTReportRow *findRow(const KSTSystemReportSnapshot &snapshot, const QString &section,
                            const QString &label)
{
    for (const KSTReportSection &candidate : snapshot.sections)
        if (candidate.title == section)
            for (const KSTReportRow &row : candidate.rows)
                if (row.label() == label)
                    return &row;
    return nullptr;
}

KSTStartupItemRecord item(const char *name, const char *identifier, quint64 type,
                          const char *impact)
{
    KSTStartupItemRecord record;
    record.name = QString::fromUtf8(name);
    record.itemIdentifier = QString::fromUtf8(identifier);
    record.itemType = type;
    record.impact = QString::fromUtf8(impact);
    return record;
}

// An Apple-silicon Mac described by recordings, the way the collectors leave the context.
KSTReportContext recordedMacContext()
{
    KSTReportContext context;
    context.osName = QStringLiteral("macOS Ventura 13.1");
    context.buildNumber = QStringLiteral("22C65");
    context.storageTotal = 994662584320ull;
    context.storageUsed = 105423810560ull;
    context.storageFree = context.storageTotal - context.storageUsed;
    context.sipEnabled = true;
    context.fvEnabled = true;
    context.gatekeeperOn = true;
    context.externalDisksSummary = QStringLiteral("1 disk (disk4)");
    context.memoryStats = {{QStringLiteral("pressure"), QStringLiteral("Fair (62%)")},
                           {QStringLiteral("pressureLevel"), 1},
                           {QStringLiteral("app"), QStringLiteral("6 GB")},
                           {QStringLiteral("wired"), QStringLiteral("2 GB")},
                           {QStringLiteral("compressed"), QStringLiteral("1 GB")},
                           {QStringLiteral("swap"), QStringLiteral("0 bytes")}};
    context.appSignatures = {{QStringLiteral("apple"), 30},
                             {QStringLiteral("dev"), 12},
                             {QStringLiteral("unsigned"), 2},
                             {QStringLiteral("recent"), 5},
                             {QStringLiteral("outdated"), 3}};
    context.networkWeek = {{QStringLiteral("download"), quint64(3) << 30},
                           {QStringLiteral("upload"), quint64(512) << 20}};
    context.startupItems = {
        item("Keystone", "com.google.keystone.agent", KSTStartupItemRecord::LaunchAgent, "Low"),
        item("Adobe Updater", "com.adobe.agsservice", KSTStartupItemRecord::LaunchDaemon, "Medium"),
        item("Spotlight", "com.apple.Spotlight", KSTStartupItemRecord::LaunchAgent, "Low"),
    };
    context.bootMetrics = {{QStringLiteral("bootToLogin"), QStringLiteral("25 sec")},
                           {QStringLiteral("deltaText"), QStringLiteral("+3 sec")},
                           {QStringLiteral("deltaSeconds"), 3.0}};
    KSTReportMachineFacts &machine = context.machine;
    machine.hardwareModel = QStringLiteral("MacBookPro18,3");
    machine.logicalCpuCount = 8;
    machine.appleSilicon = true;
    machine.installedMemoryText = QStringLiteral("16 GB");
    machine.serialNumber = QStringLiteral("C02XK0ABCD12");
    machine.uptimeSeconds = 3 * 3600 + 7 * 60;
    machine.bootVolumeName = QStringLiteral("Macintosh HD");
    machine.fileSystem = QStringLiteral("APFS (Encrypted)");
    machine.mountedVolumeCount = 3;
    machine.legacyStartupItemCount = 0;
    machine.profilerText =
        recorded("system_profiler-SPSoftware-SPHardware-SPStorage-SPMemory.apple-M1Pro-"
                 "MacBookPro18,3.macos13.1.txt") +
        QStringLiteral("Graphics/Displays:\n\n    Apple M1 Pro:\n\n      Chipset Model: Apple M1 "
                       "Pro\n      Type: GPU\n      Total Number of Cores: 14\n");
    machine.nvramBootArgs = recorded("nvram-boot-args.hac-mini-issue196.txt");
    machine.csrutilStatus = recorded("csrutil-status.enabled.drduh.txt");
    machine.fdesetupStatus = recorded("fdesetup-status.on.macos10.15.6.reportFileVault.txt");
    machine.spctlStatus = QStringLiteral("assessments enabled");
    machine.firewallState =
        recorded("socketfilterfw-getglobalstate.state2.mac-health-check-pr8.txt");
    machine.diskutilInfoDisk0 =
        recorded("diskutil-info-disk0.intel-MacBookPro15,4.macos10.14.5.txt");
    machine.diskutilApfsList = recorded("diskutil-apfs-list.disk-image-container.2020.txt");
    machine.systemExtensionsList =
        recorded("systemextensionsctl-list.macos12.0.1.karabiner-issue2876.txt");
    machine.scutilVpnList = recorded("scutil-nc-list.L2TP.alfred-network-workflow-issue19.txt");
    machine.psOutput = QStringLiteral("  PID  %CPU COMM\n  412  12.4 mds_stores\n");
    machine.kextstatOutput = QStringLiteral("Index Refs Address Size Wired Name (Version)\n"
                                            "    1  146 0 0 0 com.apple.kpi.bsd (20.6.0)\n");
    machine.hasAirportTool = true;
    machine.airportInfo = recorded("airport-I.macos10.14.6.txt");
    return context;
}

} // namespace

TEST(SystemReportBuilderTest, PlaceholderHasEveryCardSectionAndRowLoading)
{
    const KSTSystemReportSnapshot placeholder = KSTSystemReportLayout::placeholderSnapshot();
    EXPECT_EQ(placeholder.generatedSubtitle, QStringLiteral("Preparing system report\u2026"));
    ASSERT_EQ(placeholder.summaryCards.size(), 4);
    ASSERT_EQ(placeholder.sections.size(), 14);
    int rows = 0;
    for (const KSTReportSection &section : placeholder.sections) {
        EXPECT_EQ(section.subtitle, section.title == QLatin1String("Installed Applications")
                                        ? QStringLiteral("Loading\u2026")
                                        : QString());
        for (const KSTReportRow &row : section.rows) {
            EXPECT_EQ(row.value(), QStringLiteral("Loading\u2026"));
            ++rows;
        }
    }
    EXPECT_EQ(rows, 11 + 8 + 4 + 6 + 5 + 4 + 5 + 5 + 6 + 6 + 5 + 6 + 3 + 5);
    EXPECT_EQ(placeholder.summaryCards[3].title, QStringLiteral("Security"));
    EXPECT_EQ(placeholder.summaryCards[3].iconColor, QStringLiteral("amber"));
    EXPECT_EQ(placeholder.sections[7].title, QStringLiteral("Kernel & System Extensions"));
    EXPECT_EQ(placeholder.sections[7].iconColor, QStringLiteral("sky"));
}

TEST(SystemReportBuilderTest, SecurityCardFollowsItsTwoRules)
{
    // Each protection: 'Y' on, 'N' off, '?' its tool gave no answer (as on Linux).
    const struct
    {
        const char *sipFileVaultGatekeeper;
        const char *value;
        const char *detail;
    } cases[] = {
        {"YYY", "Protected", "SIP \u00b7 FileVault \u00b7 Gatekeeper"},
        {"YYN", "Review needed", "SIP \u00b7 FileVault \u00b7 Gatekeeper"},
        {"YNY", "Review needed", "Some protections off"},
        {"NYY", "Review needed", "Some protections off"},
        {"???", "\u2014", "\u2014"},
        {"YY?", "\u2014", "SIP \u00b7 FileVault \u00b7 Gatekeeper"},
        {"?YY", "\u2014", "\u2014"},
        {"??N", "Review needed", "\u2014"},
        {"N??", "Review needed", "Some protections off"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.sipFileVaultGatekeeper);
        const char *states = c.sipFileVaultGatekeeper;
        KSTReportContext context;
        auto set = [](char state, QString *output, bool *on) {
            *output = state == '?' ? QString() : QStringLiteral("a tool's answer");
            *on = state == 'Y';
        };
        set(states[0], &context.machine.csrutilStatus, &context.sipEnabled);
        set(states[1], &context.machine.fdesetupStatus, &context.fvEnabled);
        set(states[2], &context.machine.spctlStatus, &context.gatekeeperOn);
        const KSTReportSummaryCard card =
            KSTSystemReportBuilder::buildSnapshotFromContext(context).summaryCards.at(3);
        EXPECT_EQ(card.value, QString::fromUtf8(c.value));
        EXPECT_EQ(card.detail, QString::fromUtf8(c.detail));
    }
}

TEST(SystemReportBuilderTest, EveryRowOfARecordedMac)
{
    const QDateTime now(QDate(2026, 11, 14), QTime(14, 5));
    const KSTSystemReportSnapshot snapshot =
        KSTSystemReportBuilder::buildSnapshotFromContext(recordedMacContext(), {}, now);
    EXPECT_EQ(snapshot.machineTitle, QStringLiteral("MacBookPro18,3"));
    EXPECT_EQ(snapshot.generatedSubtitle,
              QStringLiteral("Generated Nov 14, 2026 \u00b7 2:05 PM \u00b7 MacBookPro18,3 \u00b7 "
                             "Apple M1 Pro"));
    ASSERT_EQ(snapshot.summaryCards.size(), 4);
    EXPECT_EQ(snapshot.summaryCards[0].detail, QStringLiteral("Build 22C65"));
    EXPECT_EQ(snapshot.summaryCards[1].value, QStringLiteral("Apple M1 Pro"));
    EXPECT_EQ(snapshot.summaryCards[1].detail, QStringLiteral("8-core CPU \u00b7 14-core GPU"));
    EXPECT_EQ(snapshot.summaryCards[2].value, QStringLiteral("828 GB free"));
    EXPECT_EQ(snapshot.summaryCards[2].detail, QStringLiteral("of 926 GB total"));
    EXPECT_EQ(snapshot.summaryCards[3].value, QStringLiteral("Protected"));

    const struct
    {
        const char *section;
        const char *label;
        QString value;
        qint64 style;
    } rows[] = {
        {"macOS Information", "macOS version", QStringLiteral("macOS Ventura 13.1"), 0},
        {"macOS Information", "Build number", QStringLiteral("22C65"), 0},
        {"macOS Information", "Boot volume", QStringLiteral("Macintosh HD"), 0},
        {"macOS Information", "File system", QStringLiteral("APFS (Encrypted)"), 0},
        {"macOS Information", "Boot mode", QStringLiteral("Normal"), 0},
        {"macOS Information", "Secure Boot", QStringLiteral("\u2713 Full Security"), 1},
        {"macOS Information", "SIP status", QStringLiteral("Enabled"), 1},
        {"macOS Information", "FileVault", QStringLiteral("Enabled"), 1},
        {"macOS Information", "Model identifier", QStringLiteral("MacBookPro18,3"), 0},
        {"macOS Information", "Serial number", QString(8, QChar(0x2022)) + "CD12", 0},
        {"macOS Information", "Uptime", QStringLiteral("3h 7m"), 0},
        {"Hardware Information", "CPU", QStringLiteral("Apple M1 Pro (8-core)"), 0},
        {"Hardware Information", "Memory", QStringLiteral("16 GB LPDDR5"), 0},
        {"Hardware Information", "GPU", QStringLiteral("Apple M1 Pro (14-core)"), 0},
        {"Hardware Information", "Internal SSD", QStringLiteral("926 GB SSD"), 0},
        {"Hardware Information", "External disks", QStringLiteral("1 disk (disk4)"), 0},
        {"Hardware Information", "SMART status", QStringLiteral("Verified"), 1},
        {"Hardware Information", "Thunderbolt devices", QStringLiteral("None"), 0},
        {"Hardware Information", "USB devices", QStringLiteral("None"), 0},
        {"Storage Information", "Free space", QStringLiteral("828 GB"), 0},
        {"Storage Information", "Used space", QStringLiteral("98 GB"), 0},
        {"Storage Information", "APFS containers", QStringLiteral("1 (disk4)"), 0},
        {"Storage Information", "Mounted volumes", QStringLiteral("3"), 0},
        {"Memory Information", "Installed RAM", QStringLiteral("16 GB"), 0},
        {"Memory Information", "Memory pressure", QStringLiteral("Fair (62%)"), 1},
        {"Memory Information", "Swap used", QStringLiteral("0 bytes"), 0},
        {"Launch Items", "LaunchAgents", QStringLiteral("2 items"), 0},
        {"Launch Items", "LaunchDaemons", QStringLiteral("1 items"), 0},
        {"Launch Items", "Login Items", QStringLiteral("0 items"), 0},
        {"Launch Items", "Startup Items", QStringLiteral("0 (legacy)"), 0},
        {"Launch Items", "Slowing startup", QStringLiteral("Adobe Updater"), 0},
        {"Background Services", "Running daemons", Dash, 0},
        {"Background Services", "Third-party services", QStringLiteral("2"), 0},
        {"Background Services", "High CPU service", QStringLiteral("mds_stores (12%)"), 0},
        {"Installed Applications", "Apple-signed", QStringLiteral("30 apps"), 0},
        {"Installed Applications", "Unsigned / ad-hoc", QStringLiteral("2 apps"), 2},
        {"Installed Applications", "Outdated (>1yr)", QStringLiteral("3 apps"), 0},
        {"Kernel & System Extensions", "Architecture", QStringLiteral("Apple Silicon"), 0},
        {"Kernel & System Extensions", "Legacy kexts", QStringLiteral("0 loaded"), 0},
        {"Kernel & System Extensions", "System Extensions", QStringLiteral("2 active"), 0},
        {"Kernel & System Extensions", "Providers", QStringLiteral("1"), 0},
        {"Kernel & System Extensions", "Blocked / needs approval", QStringLiteral("0"), 0},
        {"Security", "SIP", QStringLiteral("Enabled"), 1},
        {"Security", "Gatekeeper", QStringLiteral("Enabled"), 1},
        {"Security", "Firewall", QStringLiteral("Blocking all incoming"), 1},
        {"Security", "Unsigned software", QStringLiteral("2 apps"), 2},
        {"Crash & Panic Reports", "Recent crashes (7d)", Dash, 0},
        {"Disk Health", "SMART \u00b7 internal", Dash, 0},
        {"Network", "Download (7d)", QStringLiteral("3 GB"), 0},
        {"Network", "Upload (7d)", QStringLiteral("512 MB"), 0},
        {"Network", "VPN usage", QStringLiteral("None detected"), 0},
        {"Network", "Wi-Fi quality", QStringLiteral("Good \u00b7 -66 dBm"), 0},
        {"Browser Extensions", "Suspicious / unknown", Dash, 0},
        {"Launch Time", "Estimated boot to login", QStringLiteral("25 sec"), 0},
        {"Launch Time", "Vs. last week", QStringLiteral("+3 sec"), 3},
        {"Launch Time", "Recommendation", QStringLiteral("Disable Adobe CCXProcess at login"), 0},
    };
    for (const auto &expected : rows) {
        const KSTReportRow *row = findRow(snapshot, QString::fromUtf8(expected.section),
                                          QString::fromUtf8(expected.label));
        ASSERT_NE(row, nullptr) << expected.section << " / " << expected.label;
        EXPECT_EQ(row->value(), expected.value) << expected.label;
        EXPECT_EQ(row->valueStyle(), expected.style) << expected.label;
    }
    EXPECT_EQ(findRow(snapshot, QStringLiteral("Installed Applications"),
                      QStringLiteral("Apple-signed")) != nullptr,
              true);
    EXPECT_EQ(snapshot.sections[6].subtitle, QStringLiteral("44 apps"));

    // Nothing identifying leaves the report: not the serial, not the Wi-Fi network.
    const QString exported = snapshot.plainTextExport();
    EXPECT_FALSE(exported.contains(QLatin1String("C02XK0AB")));
    EXPECT_FALSE(exported.contains(QLatin1String("SnazzleDazzle")));
    EXPECT_FALSE(exported.contains(QLatin1String("3c:37:86")));
}

TEST(SystemReportBuilderTest, PartialWeeklyAndUnknownMachine)
{
    KSTReportContext context;
    context.weekly.isPartial = true;
    const KSTSystemReportSnapshot snapshot =
        KSTSystemReportBuilder::buildSnapshotFromContext(context, QStringLiteral("  Apple M3  "));
    EXPECT_EQ(snapshot.machineTitle, QStringLiteral("Mac"));
    EXPECT_EQ(snapshot.generatedSubtitle,
              QStringLiteral("Scanning\u2026 \u00b7 Mac \u00b7 Apple M3"));

    // With nothing collected, tools that gave nothing show the dash, never a guess.
    const KSTSystemReportSnapshot empty = KSTSystemReportBuilder::buildSnapshotFromContext({});
    EXPECT_EQ(empty.generatedSubtitle.section(QStringLiteral(" \u00b7 "), -1),
              QStringLiteral("Apple Silicon"));
    for (const auto &[section, label] : {std::pair{"macOS Information", "SIP status"},
                                         {"macOS Information", "Secure Boot"},
                                         {"Security", "Firewall"},
                                         {"Security", "Gatekeeper"},
                                         {"Network", "Wi-Fi quality"},
                                         {"Network", "VPN usage"},
                                         {"Kernel & System Extensions", "Legacy kexts"},
                                         {"Hardware Information", "SMART status"},
                                         {"macOS Information", "Serial number"}}) {
        const KSTReportRow *row =
            findRow(empty, QString::fromUtf8(section), QString::fromUtf8(label));
        ASSERT_NE(row, nullptr) << label;
        EXPECT_EQ(row->value(), Dash) << label;
    }
}

TEST(SystemReportBuilderTest, ALinuxMachineGetsNoMacFallbackWords)
{
    KSTReportContext context;
    context.osName = QStringLiteral("Debian GNU/Linux 12 (bookworm)");
    context.storageTotal = quint64(256) << 30;
    context.machine.linuxLayout = true;
    const KSTSystemReportSnapshot linux = KSTSystemReportBuilder::buildSnapshotFromContext(context);
    EXPECT_EQ(linux.machineTitle, QStringLiteral("Debian GNU/Linux 12 (bookworm)"));
    context.machine.linuxLayout = false;
    const KSTSystemReportSnapshot mac = KSTSystemReportBuilder::buildSnapshotFromContext(context);
    EXPECT_EQ(mac.machineTitle, QStringLiteral("Mac"));
    const struct
    {
        const char *section;
        const char *label;
        const char *onMac;
    } rows[] = {
        {"macOS Information", "Boot volume", "Macintosh HD"},
        {"macOS Information", "Boot mode", "Normal"},
        {"Hardware Information", "GPU", "Integrated GPU"},
        {"Hardware Information", "Internal SSD", "256 GB SSD"},
        {"Hardware Information", "External disks", "None detected"},
        {"Hardware Information", "Thunderbolt devices", "None"},
        {"Hardware Information", "USB devices", "None"},
        {"Kernel & System Extensions", "Architecture", "Intel"},
    };
    for (const auto &row : rows) {
        const QString section = QString::fromUtf8(row.section);
        const QString label = QString::fromUtf8(row.label);
        const QString linuxSection = KSTSystemReportWords::linuxText(section, QString());
        ASSERT_NE(findRow(linux, linuxSection, label), nullptr) << row.label;
        EXPECT_EQ(findRow(linux, linuxSection, label)->value(), Dash) << row.label;
        EXPECT_EQ(findRow(mac, section, label)->value(), QString::fromUtf8(row.onMac)) << row.label;
    }
}

// The linux layout's protections decide the rows and the Security card as the Mac's tools
// do; an unknown one is "—", never a verdict. Each: 'Y' on, 'N' off, '?' not read.
TEST(SystemReportBuilderTest, LinuxProtectionsAndTheirWords)
{
    auto state = [](char c) -> std::optional<bool> {
        return c == '?' ? std::nullopt : std::optional<bool>(c == 'Y');
    };
    const struct
    {
        const char *lockdownLuksAccess;
        const char *card;
        const char *detail;
    } cases[] = {
        {"YYY", "Protected", "Kernel lockdown \u00b7 LUKS \u00b7 AppArmor / SELinux"},
        {"NYY", "Review needed", "Some protections off"},
        {"YYN", "Review needed", "Kernel lockdown \u00b7 LUKS \u00b7 AppArmor / SELinux"},
        {"Y?Y", "\u2014", "\u2014"},
        {"???", "\u2014", "\u2014"},
    };
    for (const auto &c : cases) {
        KSTReportContext context;
        context.machine.linuxLayout = true;
        context.machine.osFamilyName = QStringLiteral("Fedora Linux");
        const char lockdown = c.lockdownLuksAccess[0];
        context.machine.lockdownMode = lockdown == '?'   ? QString()
                                       : lockdown == 'Y' ? QStringLiteral("integrity")
                                                         : QStringLiteral("none");
        context.sipEnabled = lockdown == 'Y';
        context.machine.rootEncrypted = state(c.lockdownLuksAccess[1]);
        context.fvEnabled = c.lockdownLuksAccess[1] == 'Y';
        context.machine.accessControlOn = state(c.lockdownLuksAccess[2]);
        context.gatekeeperOn = c.lockdownLuksAccess[2] == 'Y';
        const KSTSystemReportSnapshot snapshot =
            KSTSystemReportBuilder::buildSnapshotFromContext(context);
        EXPECT_EQ(snapshot.summaryCards[0].title, QStringLiteral("Fedora Linux"));
        EXPECT_EQ(snapshot.summaryCards[3].value, QString::fromUtf8(c.card))
            << c.lockdownLuksAccess;
        EXPECT_EQ(snapshot.summaryCards[3].detail, QString::fromUtf8(c.detail))
            << c.lockdownLuksAccess;
        const KSTReportRow *lockdownRow =
            findRow(snapshot, QStringLiteral("Security"), QStringLiteral("Kernel lockdown"));
        ASSERT_NE(lockdownRow, nullptr);
        EXPECT_EQ(lockdownRow->value(), lockdown == '?'   ? Dash
                                        : lockdown == 'Y' ? QStringLiteral("Enabled")
                                                          : QStringLiteral("Disabled"));
        EXPECT_EQ(lockdownRow->valueStyle(), lockdown == '?' ? 0 : lockdown == 'Y' ? 1 : 2);
        EXPECT_NE(findRow(snapshot, QStringLiteral("Fedora Linux Information"),
                          QStringLiteral("Fedora Linux version")),
                  nullptr);
    }
}
