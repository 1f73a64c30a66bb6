// `kestrel --root R --layout linux report --json` as the real program against the fixture
// Debian ThinkPad: every row with a Linux source shows the machine's value, in the Linux
// words, and the Mac's tools are never asked.
#include "KSTFixtureLinux.h"
#include "KSTLinuxReportSources.h"
#include "KSTTestSupport.h"
#include "KSTToolRunner.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

namespace S = KSTLinuxReportSources;

namespace {

const QString Dash = QStringLiteral("\u2014");

QJsonObject rowOf(const QJsonArray &sections, const QString &section, const QString &label)
{
    for (const QJsonValue &value : sections) {
        const QJsonObject object = value.toObject();
        if (object.value("title").toString() != section)
            continue;
        for (const QJsonValue &row : object.value("rows").toArray())
            if (row.toObject().value("label").toString() == label)
                return row.toObject();
    }
    return {};
}

} // namespace

TEST(LinuxSystemReportCommandTest, JsonGivesTheFixturesValues)
{
    KSTFixtureLinux machine;
    ASSERT_TRUE(machine.isValid());
    machine.setDmi(QStringLiteral("LENOVO"), QStringLiteral("21HM0021GE"));
    S::install(machine);
    machine.addTool(QStringLiteral("/usr/bin/csrutil"), "System Integrity Protection status: "
                                                        "disabled.\n"); // a Mac's, never asked

    KSTScopedEnvironment host(KSTEnvironment::hostDefault());
    const KSTToolResult result =
        KSTToolRunner::run(QStringLiteral(KESTREL_EXECUTABLE),
                           {"--root", machine.root(), "--layout", "linux", "report", "--json"},
                           KSTToolRunner::Channels::Separate, 120'000);
    ASSERT_TRUE(result.started && !result.timedOut);
    ASSERT_EQ(result.exitCode, 0) << result.standardError.constData();
    const QJsonObject root = QJsonDocument::fromJson(result.standardOutput).object();
    EXPECT_EQ(root.value("machineTitle").toString(), QStringLiteral("21HM0021GE"));
    const QJsonArray cards = root.value("summaryCards").toArray();
    ASSERT_EQ(cards.size(), 4);
    EXPECT_EQ(cards[0].toObject().value("title").toString(), QStringLiteral("Debian GNU/Linux"));
    EXPECT_EQ(cards[0].toObject().value("detail").toString(),
              QStringLiteral("Kernel ") + S::KernelRelease);
    EXPECT_EQ(cards[3].toObject().value("value").toString(), QStringLiteral("Protected"));
    EXPECT_EQ(cards[3].toObject().value("detail").toString(),
              QStringLiteral("Kernel lockdown \u00b7 LUKS \u00b7 AppArmor / SELinux"));

    const QJsonArray sections = root.value("sections").toArray();
    ASSERT_EQ(sections.size(), 14);
    const QString system = QStringLiteral("Debian GNU/Linux Information");
    struct Expected
    {
        QString section, label, value;
        int style;
    } expected[] = {
        {system, "Debian GNU/Linux version", "Debian GNU/Linux 12 (bookworm)", 0},
        {system, "Kernel", S::KernelRelease, 0},
        {system, "Boot volume", S::RootDevice, 0},
        {system, "File system", "ext4", 0},
        {system, "Boot mode", "Normal", 0},
        {system, "Secure Boot", "Enabled", 1},
        {system, "Kernel lockdown", "Enabled", 1},
        {system, "LUKS", "Enabled", 1},
        {system, "Serial number", Dash, 0}, // root-only on Linux
        {"Storage Information", "APFS containers", Dash, 0},
        {"Storage Information", "Mounted volumes", QString::number(S::DeviceVolumes), 0},
        {"Background Services", "Running services",
         QStringLiteral("%1 running").arg(S::RunningSystemServices), 0},
        {"Background Services", "User services",
         QStringLiteral("%1 running").arg(S::RunningUserServices), 0},
        {"Kernel & System Extensions", "Kernel modules",
         QStringLiteral("%1 third-party loaded").arg(S::OutOfTreeModules), 0},
        {"Kernel & System Extensions", "System Extensions", Dash, 0},
        {"Installed Applications", "Unsigned / ad-hoc", Dash, 0},
        {"Disk Health", "Disk errors (7d)", Dash, 0},
        {"Disk Health", "SMART \u00b7 internal", Dash, 0},
        {"Security", "Kernel lockdown", "Enabled", 1},
        {"Security", "AppArmor / SELinux", "Enabled", 1},
        {"Security", "LUKS", "Enabled", 1},
        {"Security", "Secure Boot", "Enabled", 1},
        {"Security", "Firewall", "Enabled", 1},
        {"Crash & Panic Reports", "Recent crashes (7d)", S::RecentCrashes, 0},
        {"Crash & Panic Reports", "Hung apps", Dash, 0},
        {"Crash & Panic Reports", "Kernel panic", "1", 3},
        {"Network", "VPN usage", S::VpnName, 0},
        {"Network", "Wi-Fi quality", S::Wireless, 0},
        {"Browser Extensions", "Firefox", S::FirefoxExtensions, 0},
        {"Browser Extensions", "Chromium / Chrome", S::ChromiumExtensions, 0},
        {"Browser Extensions", "Suspicious / unknown", "1 (review recommended)", 2},
        {"Launch Time", "Estimated boot to login", "15 s", 0},
    };
    for (const Expected &e : expected) {
        const QJsonObject row = rowOf(sections, e.section, e.label);
        ASSERT_FALSE(row.isEmpty()) << e.section.toStdString() << " / " << e.label.toStdString();
        EXPECT_EQ(row.value("value").toString(), e.value) << e.label.toStdString();
        EXPECT_EQ(row.value("valueStyle").toInt(), e.style) << e.label.toStdString();
    }
    EXPECT_TRUE(machine.toolCalls(QStringLiteral("/usr/bin/csrutil")).isEmpty());
    // Never a word of the Mac in a title or a label.
    QStringList texts;
    for (const QJsonValue &card : cards)
        texts << card.toObject().value("title").toString();
    for (const QJsonValue &section : sections) {
        texts << section.toObject().value("title").toString();
        for (const QJsonValue &row : section.toObject().value("rows").toArray())
            texts << row.toObject().value("label").toString();
    }
    for (const char *mac : {"macOS", "SIP", "FileVault", "Gatekeeper", "Safari", "kext"})
        EXPECT_TRUE(texts.filter(QLatin1String(mac)).isEmpty()) << mac;
}
