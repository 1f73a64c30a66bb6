// The readers of the report's tools on recorded outputs of real Macs (and hand-written ones
// where no recording exists), and the report's numeric rules at their edges.
#include "KSTSystemReportParsers.h"
#include "KSTReporterCharts.h"
#include "KSTTestSupport.h"

#include <gtest/gtest.h>

namespace {

namespace P = KSTSystemReportParsers;
using Style = KSTReportRow::Style;

QString parsersRecorded(const char *name)
{
    return QString::fromUtf8(
        KSTTestSupport::readFile(KSTTestSupport::recordedMacFile(QString::fromUtf8(name))));
}

const QString ParsersDash = QStringLiteral("\u2014");

} // namespace

TEST(SystemReportParsersTest, SecurityRowsFromRecordedTools)
{
    struct Case
    {
        const char *file;
        bool flag;
        P::StyledValue row;
    } sip[] = {
        {"csrutil-status.enabled.drduh.txt", true, {QStringLiteral("Enabled"), Style::Good}},
        // Both custom configurations show the same words; the flag keeps the contains rule, so
        // one with any protection "enabled" counts as on.
        {"csrutil-status.custom.apple-silicon.macos12.5.yabai-issue1800.txt",
         true,
         {QStringLiteral("Custom configuration"), Style::Warning}},
        {"csrutil-status.custom.macos10.15.one-key-hidpi-issue79.txt",
         false,
         {QStringLiteral("Custom configuration"), Style::Warning}},
    };
    for (const Case &c : sip) {
        const QString output = parsersRecorded(c.file);
        ASSERT_FALSE(output.isEmpty()) << c.file;
        EXPECT_EQ(P::sipEnabled(output), c.flag) << c.file;
        EXPECT_EQ(P::sipRow(output), c.row) << c.file;
    }
    EXPECT_EQ(P::sipRow(QStringLiteral("System Integrity Protection status: disabled.")),
              (P::StyledValue{QStringLiteral("Disabled"), Style::Warning}));
    EXPECT_EQ(P::sipRow(QString()), (P::StyledValue{ParsersDash, Style::Normal}));

    const QString fileVault =
        parsersRecorded("fdesetup-status.on.macos10.15.6.reportFileVault.txt");
    EXPECT_TRUE(P::fileVaultOn(fileVault));
    EXPECT_FALSE(P::fileVaultOn(QStringLiteral("FileVault is Off.")));
    EXPECT_EQ(P::flagRow(fileVault, P::fileVaultOn(fileVault)).value, QStringLiteral("Enabled"));

    EXPECT_TRUE(P::gatekeeperOn(QStringLiteral("assessments enabled")));
    EXPECT_FALSE(P::gatekeeperOn(QStringLiteral("assessments disabled")));
    EXPECT_EQ(P::flagRow(QStringLiteral("assessments disabled"), false),
              (P::StyledValue{QStringLiteral("Disabled"), Style::Warning}));

    EXPECT_EQ(P::firewallRow(parsersRecorded("socketfilterfw-globalstate.enabled.drduh-2018.txt")),
              (P::StyledValue{QStringLiteral("Enabled"), Style::Good}));
    EXPECT_EQ(P::firewallRow(
                  parsersRecorded("socketfilterfw-getglobalstate.state2.mac-health-check-pr8.txt")),
              (P::StyledValue{QStringLiteral("Blocking all incoming"), Style::Good}));
    EXPECT_EQ(P::firewallRow(QStringLiteral("Firewall is disabled. (State = 0)")),
              (P::StyledValue{QStringLiteral("Disabled"), Style::Warning}));
    EXPECT_EQ(P::firewallRow(QStringLiteral("  \n")), (P::StyledValue{ParsersDash, Style::Normal}));
}

TEST(SystemReportParsersTest, BootMode)
{
    EXPECT_EQ(P::bootMode(parsersRecorded("nvram-boot-args.hac-mini-issue196.txt")),
              QStringLiteral("Normal"));
    EXPECT_EQ(P::bootMode(QStringLiteral("boot-args\t-x safe")), QStringLiteral("Special"));
    EXPECT_EQ(P::bootMode(QStringLiteral("boot-args\trecoveryos")), QStringLiteral("Special"));
    EXPECT_EQ(
        P::bootMode(QStringLiteral(
            "nvram: Error getting variable - 'boot-args': (iokit/common) data was not found")),
        QStringLiteral("Normal"));
    EXPECT_EQ(P::bootMode(QString()), QStringLiteral("Normal"));
}

TEST(SystemReportParsersTest, ProfilerValuesComeFromTheirDataTypesPart)
{
    const QString text =
        parsersRecorded("system_profiler-SPSoftware-SPHardware-SPStorage-SPMemory.apple-M1Pro-"
                        "MacBookPro18,3.macos13.1.txt") +
        QStringLiteral("Graphics/Displays:\n\n    Apple M1 Pro:\n\n      Chipset Model: Apple M1 "
                       "Pro\n      Type: GPU\n      Total Number of Cores: 14\n");
    const QString hardware = P::profilerPart(text, QStringLiteral("Hardware"));
    const QString graphics = P::profilerPart(text, QStringLiteral("Graphics/Displays"));
    const QString memory = P::profilerPart(text, QStringLiteral("Memory"));
    EXPECT_EQ(P::profilerValueForKey(hardware, QStringLiteral("Chip")),
              QStringLiteral("Apple M1 Pro"));
    EXPECT_EQ(P::profilerValueForKey(hardware, QStringLiteral("Model Identifier")),
              QStringLiteral("MacBookPro18,3"));
    EXPECT_EQ(P::profilerValueForKey(hardware, QStringLiteral("Memory")), QStringLiteral("16 GB"));
    EXPECT_EQ(
        P::leadingNumber(P::profilerValueForKey(hardware, QStringLiteral("Total Number of Cores"))),
        8);
    EXPECT_EQ(
        P::leadingNumber(P::profilerValueForKey(graphics, QStringLiteral("Total Number of Cores"))),
        14);
    EXPECT_EQ(P::profilerValueForKey(graphics, QStringLiteral("Chipset Model")),
              QStringLiteral("Apple M1 Pro"));
    // The graphics part prints "Type: GPU" first in the whole text; memory's own is wanted.
    EXPECT_EQ(P::profilerValueForKey(memory, QStringLiteral("Type")), QStringLiteral("LPDDR5"));
    EXPECT_TRUE(P::profilerPart(text, QStringLiteral("Thunderbolt")).isEmpty());
    EXPECT_EQ(P::profilerValueForKey(text, QStringLiteral("No Such Key")), QString());
    EXPECT_EQ(P::leadingNumber(QStringLiteral("many")), 0);
}

TEST(SystemReportParsersTest, DiskRows)
{
    const QString info =
        parsersRecorded("diskutil-info-disk0.intel-MacBookPro15,4.macos10.14.5.txt");
    EXPECT_EQ(P::smartStatus(info), (P::StyledValue{QStringLiteral("Verified"), Style::Good}));
    EXPECT_EQ(P::smartStatus(QStringLiteral("   SMART Status:              Failing\n")),
              (P::StyledValue{QStringLiteral("Failing"), Style::Critical}));
    EXPECT_EQ(P::smartStatus(QStringLiteral("   SMART Status:              Not Supported\n")),
              (P::StyledValue{QStringLiteral("Not Supported"), Style::Warning}));
    EXPECT_EQ(P::smartStatus(QStringLiteral("Could not find disk: disk0")),
              (P::StyledValue{ParsersDash, Style::Normal}));
    EXPECT_EQ(P::wearLevel(info), QString());
    EXPECT_EQ(P::wearLevel(QStringLiteral("   Percentage Used:   3%\n")), QStringLiteral("3%"));

    EXPECT_EQ(
        P::apfsContainers(parsersRecorded("diskutil-apfs-list.disk-image-container.2020.txt")),
        QStringLiteral("1 (disk4)"));
    EXPECT_EQ(P::apfsContainers(QStringLiteral("APFS Containers (2 found)\n|\n+-- Container disk1 "
                                               "AAAA\n|   APFS Container Reference:     disk1\n"
                                               "+-- Container disk3 BBBB\n")),
              QStringLiteral("2 (disk1, disk3)"));
    EXPECT_EQ(P::apfsContainers(QStringLiteral("No APFS Containers found")), QStringLiteral("0"));
}

TEST(SystemReportParsersTest, ExtensionsServicesAndProcesses)
{
    const P::SystemExtensions extensions = P::systemExtensions(
        parsersRecorded("systemextensionsctl-list.macos12.0.1.karabiner-issue2876.txt"));
    EXPECT_EQ(extensions.active, 2);
    EXPECT_EQ(extensions.blocked, 0);
    EXPECT_EQ(extensions.providers, QStringList{QStringLiteral("G43BCU2T37")});
    const P::SystemExtensions waiting = P::systemExtensions(
        QStringLiteral("*\t\tABC\tcom.x.y (1/1)\tY\t[activated waiting for user]\n"
                       "\t\tDEF\tcom.x.z (1/1)\tZ\t[terminated waiting to uninstall on reboot]\n"));
    EXPECT_EQ(waiting.active, 0);
    EXPECT_EQ(waiting.blocked, 2);

    EXPECT_EQ(P::thirdPartyKexts(QStringLiteral(
                  "Index Refs Address            Size       Wired      Name (Version) UUID\n"
                  "    1  146 0                  0          0          com.apple.kpi.bsd (20.6.0)\n"
                  "  170    0 0xffffff7f8447a000 0x5000     0x5000     "
                  "com.vendor.driver.Thing (1.2) 1234 <5 4 3>\n")),
              1);
    EXPECT_EQ(P::thirdPartyKexts(QString()), 0);

    EXPECT_EQ(P::launchctlServiceCount(QStringLiteral(
                  "system = {\n\ttype = system\n\tservices = {\n\t\t0\t-\tcom.apple.a\n"
                  "\t\t123\t-\tcom.vendor.b\n\t\t0\t78\tcom.apple.c\n\t}\n"
                  "\tendpoints = {\n\t\t\"x\" = 0\n\t}\n}\n")),
              3);
    EXPECT_EQ(
        P::launchctlServiceCount(parsersRecorded("launchctl-dumpstate.system-domain-head10.txt")),
        0);

    EXPECT_EQ(P::highCpuProcess(QStringLiteral("  PID  %CPU COMM\n    1   0.3 launchd\n"
                                               "  412  87.6 Google Chrome He\n  500   4.0 x\n")),
              QStringLiteral("Google Chrome He (88%)"));
    EXPECT_EQ(P::highCpuProcess(QStringLiteral("  PID  %CPU COMM\n    1   4.9 launchd\n")),
              QStringLiteral("None detected"));
    EXPECT_EQ(P::highCpuProcess(QStringLiteral("  PID  %CPU COMM\n    1   5.0 launchd\n")),
              QStringLiteral("launchd (5%)"));

    EXPECT_EQ(
        P::connectedVpn(parsersRecorded("scutil-nc-list.L2TP.alfred-network-workflow-issue19.txt")),
        QStringLiteral("None detected"));
    EXPECT_EQ(P::connectedVpn(
                  QStringLiteral("* (Disconnected)   A PPP --> L2TP \"Home\" [PPP:L2TP]\n"
                                 "* (Connected)      B VPN (com.x) \"Work VPN\" [VPN:com.x]\n")),
              QStringLiteral("Work VPN"));
}

TEST(SystemReportParsersTest, WifiQualityBands)
{
    // The recording: RSSI -66 over a -90 noise floor, 24 dB.
    EXPECT_EQ(P::wifiQuality(parsersRecorded("airport-I.macos10.14.6.txt")),
              QStringLiteral("Good \u00b7 -66 dBm"));
    const struct
    {
        int rssi;
        int noise;
        QString shown;
    } cases[] = {
        {-75, -90, QStringLiteral("Fair \u00b7 -75 dBm")},
        {-74, -90, QStringLiteral("Good \u00b7 -74 dBm")},
        {-64, -90, QStringLiteral("Excellent \u00b7 -64 dBm")},
        {0, -90, ParsersDash},
    };
    for (const auto &c : cases)
        EXPECT_EQ(P::wifiQuality(QStringLiteral("     agrCtlRSSI: %1\n    agrCtlNoise: %2\n")
                                     .arg(c.rssi)
                                     .arg(c.noise)),
                  c.shown);
    EXPECT_EQ(P::wifiQuality(QString()), ParsersDash);
}

TEST(SystemReportParsersTest, SerialMasks)
{
    EXPECT_EQ(P::maskedSerial(QStringLiteral("C02XK0ABCD12")),
              QStringLiteral("\u2022\u2022\u2022\u2022\u2022\u2022\u2022\u2022CD12"));
    EXPECT_EQ(P::maskedSerial(QStringLiteral("ABC")), QString(8, QChar(0x2022)));
    EXPECT_EQ(P::maskedSerial(QStringLiteral("ABCD")), QString(8, QChar(0x2022)) + "ABCD");
}

TEST(SystemReportParsersTest, MemoryLevelsAtTheirEdges)
{
    const struct
    {
        double fraction;
        const char *word;
        Style style;
    } cases[] = {
        {0.55, "Normal", Style::Normal},   {0.5501, "Fair", Style::Good},
        {0.70, "Fair", Style::Good},       {0.701, "Warning", Style::Warning},
        {0.85, "Warning", Style::Warning}, {0.8501, "Critical", Style::Critical},
    };
    for (const auto &c : cases)
        EXPECT_EQ(P::memoryPressure(c.fraction),
                  (P::StyledValue{QString::fromUtf8(c.word), c.style}))
            << c.fraction;
}

TEST(SystemReportParsersTest, BootEstimates)
{
    EXPECT_DOUBLE_EQ(P::estimatedBootToLoginSeconds(3), 3);
    EXPECT_DOUBLE_EQ(P::estimatedBootToLoginSeconds(1000), 25);
    EXPECT_DOUBLE_EQ(P::estimatedBootToLoginSeconds(10000), 45);
    EXPECT_DOUBLE_EQ(P::estimatedBootToLoginSeconds(5), 10.075);
    EXPECT_DOUBLE_EQ(P::estimatedBootToLoginSeconds(-1), 12); // boot time unknown
}

TEST(SystemReportParsersTest, SevenDayNetworkTotalsAddOnlyRises)
{
    const QDateTime now(QDate(2026, 11, 14), QTime(12, 0));
    auto record = [&](int daysAgo, quint64 in, quint64 out) {
        return QVariantMap{
            {QStringLiteral("day"), KSTReporterCharts::historyDayKeyForDate(now.addDays(-daysAgo))},
            {QStringLiteral("networkIn"), in},
            {QStringLiteral("networkOut"), out}};
    };
    // Day 6 is only the baseline; a reboot drops the counters (adds nothing); a missing day
    // counts as 0, so the day after it adds its whole counter.
    const QVariantList history = {record(7, 999, 999), record(6, 100, 50), record(5, 300, 80),
                                  record(4, 40, 10),   record(2, 90, 30),  record(1, 95, 20),
                                  record(0, 100, 25)};
    const QVariantMap totals = P::networkSevenDayTotals(history, now);
    EXPECT_EQ(totals.value(QStringLiteral("download")).toULongLong(),
              200u + 0u + 0u + 90u + 5u + 5u);
    EXPECT_EQ(totals.value(QStringLiteral("upload")).toULongLong(), 30u + 0u + 0u + 30u + 0u + 5u);
    EXPECT_EQ(P::networkSevenDayTotals({}, now).value(QStringLiteral("download")).toULongLong(),
              0u);
}

TEST(SystemReportParsersTest, UsbAndThunderboltDevicesFromTheirParts)
{
    const QString profiler = QStringLiteral(
        "USB:\n\n    USB 3.1 Bus:\n\n      Host Controller Driver: AppleT8103USBXHCI\n\n"
        "        USB2.0 Hub:\n\n          Product ID: 0x0610\n          Vendor ID: 0x05e3\n\n"
        "            Magic Keyboard:\n\n              Product ID: 0x029c\n\n"
        "Thunderbolt/USB4:\n\n    Thunderbolt/USB4 Bus 0:\n\n      Vendor Name: Apple Inc.\n"
        "      Device Name: MacBook Pro\n\n        Status: Device connected\n\n"
        "    Thunderbolt/USB4 Bus 1:\n\n      Vendor Name: Apple Inc.\n"
        "      Device Name: Studio Display\n");
    EXPECT_EQ(P::profilerDevicesSummary(P::profilerPart(profiler, QStringLiteral("USB"))),
              QStringLiteral("2 (USB2.0 Hub, Magic Keyboard)"));
    EXPECT_EQ(
        P::profilerDevicesSummary(P::profilerPart(profiler, QStringLiteral("Thunderbolt/USB4"))),
        QStringLiteral("2 (MacBook Pro, Studio Display)"));
    EXPECT_EQ(P::profilerDevicesSummary(QStringLiteral("USB 3.1 Bus:\n  Speed: Up to 5 Gb/s\n")),
              QString());
}
