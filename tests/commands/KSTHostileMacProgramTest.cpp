// The real program on a Mac whose files and tools are out to hurt it: crafted property lists
// as the Info.plist of applications in ~/Downloads, FIFOs where plists and databases belong,
// huge sparse files, tools that print without end or never finish, and names that would drive
// the terminal. Every command and the window must end within their time-outs with valid
// output, and Ctrl-C must take the tools it started with it.
#include "KSTApplicationInfo.h"
#include "KSTFixtureMac.h"
#include "KSTHostileFiles.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>

namespace {

constexpr qint64 GiB = 1024ll * 1024 * 1024;
const QString SystemProfiler = QStringLiteral("/usr/sbin/system_profiler");
const QString Find = QStringLiteral("/usr/bin/find");
const QString Tmutil = QStringLiteral("/usr/bin/tmutil");
const QString Backup = QStringLiteral("Library/Application Support/MobileSync/Backup/");

// Alive means running: a zombie left to its new parent has finished all the same.
bool processIsRunning(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return false;
    const QByteArray line = stat.readAll();
    const qsizetype state = line.lastIndexOf(')') + 2;
    return state > 1 && state < line.size() && line.at(state) != 'Z' && line.at(state) != 'X';
}

class HostileMacTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mac.isValid() && scratch.isValid());
        KSTFixtureMac::App pages;
        pages.name = QStringLiteral("Pages");
        pages.bundleIdentifier = QStringLiteral("com.apple.iWork.Pages");
        mac.addApp(pages);

        // Applications in Downloads whose Info.plist is crafted, a FIFO or 4 GiB.
        const std::pair<const char *, QByteArray> crafted[] = {
            {"Nul", KSTHostileFiles::nulKeyBinaryPlist()},
            {"DeepBinary", KSTHostileFiles::nestedArraysBinaryPlist(100'000)},
            {"DeepXml", KSTHostileFiles::nestedArraysXmlPlist(100'000)},
            {"Entities", KSTHostileFiles::entityExpansionXmlPlist()},
            {"Shared", KSTHostileFiles::sharedArraysBinaryPlist(8, 16)},
        };
        for (const auto &[name, plist] : crafted)
            mac.writeHomeFile(infoPlist(name), plist);
        ASSERT_TRUE(KSTHostileFiles::makeFifo(mac.homePath(infoPlist("Fifo"))));
        // A real Info.plist followed by 4 GiB of holes.
        KSTFixtureMac::App huge;
        huge.name = QStringLiteral("Huge");
        huge.bundleIdentifier = QStringLiteral("com.example.huge");
        huge.location = QStringLiteral("Downloads");
        huge.inHome = true;
        const QString hugeApp = mac.addApp(huge);
        const QString hugeInfo = hugeApp + QStringLiteral("/Contents/Info.plist");
        ASSERT_TRUE(
            KSTHostileFiles::makeSparseFile(hugeInfo, 4 * GiB, KSTTestSupport::readFile(hugeInfo)));

        // FIFOs where the privacy database, the probes and the computer name belong, and an
        // iPhone backup whose property lists are a FIFO and a 4 GiB file.
        for (const QString &fifo :
             {mac.homePath(QStringLiteral("Library/Application Support/com.apple.TCC/TCC.db")),
              mac.homePath(QStringLiteral("Library/Messages/chat.db")),
              mac.homePath(QStringLiteral("Library/Safari/Bookmarks.plist")),
              mac.path(QStringLiteral("Library/Preferences/SystemConfiguration/preferences.plist")),
              mac.homePath(Backup + QStringLiteral("00008030-FIFO/Info.plist")),
              mac.homePath(Backup + QStringLiteral("00008030-FIFO/Manifest.plist"))})
            ASSERT_TRUE(KSTHostileFiles::makeFifo(fifo)) << fifo.toStdString();
        ASSERT_TRUE(KSTHostileFiles::makeSparseFile(
            mac.homePath(Backup + QStringLiteral("00008030-HUGE/Info.plist")), 4 * GiB,
            BackupInfoHead));
        mac.writeSizedHomeFile(Backup + QStringLiteral("00008030-HUGE/Manifest.db"), 4096);

        // A name that would forge a line and clear the screen, and a huge sparse movie.
        mac.writeSizedHomeFile(QStringLiteral("Downloads/evil\n  Mac Trash\x1b[2J.download"), 4096);
        ASSERT_TRUE(KSTHostileFiles::makeSparseFile(mac.homePath(QStringLiteral("Movies/huge.mov")),
                                                    5 * GiB));

        // Tools that flood or hang; the profiler's report would also retitle the terminal.
        mac.addToolScript(SystemProfiler, "echo '      Model Name: Evil\x1b]0;pwned\x07 Book'\n"
                                          "echo '      Chip: Apple M3'\n");
        mac.addToolScript(Tmutil, "exec yes com.apple.TimeMachine.2024-03-01-101010.local\n");
        mac.addToolScript(Find, "echo $$ > \"$0.pid\"\nexec sleep 600\n");
        mac.linkHostTool(QStringLiteral("/usr/bin/wc"));
    }

    static QString infoPlist(const char *app)
    {
        return QStringLiteral("Downloads/%1.app/Contents/Info.plist").arg(QLatin1String(app));
    }

    // Runs Kestrel on the machine; the tools' time-outs are cut to three seconds unless
    // @p keepTimeouts. -1 when it did not end within two minutes.
    int run(const QStringList &arguments, bool keepTimeouts = false)
    {
        QProcess process;
        process.setProcessEnvironment(environment(keepTimeouts));
        process.start(QStringLiteral(KESTREL_EXECUTABLE),
                      QStringList({"--root", mac.root()}) + arguments);
        if (!process.waitForFinished(120'000)) {
            process.kill();
            process.waitForFinished();
            return -1;
        }
        out = QString::fromUtf8(process.readAllStandardOutput());
        err = QString::fromUtf8(process.readAllStandardError());
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

    QProcessEnvironment environment(bool keepTimeouts) const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), scratch.filePath("config"));
        if (keepTimeouts)
            environment.remove(QStringLiteral("KESTREL_TOOL_TIMEOUT_MS"));
        else
            environment.insert(QStringLiteral("KESTREL_TOOL_TIMEOUT_MS"), QStringLiteral("3000"));
        return environment;
    }

    static const QByteArray BackupInfoHead;

    KSTFixtureMac mac;
    QTemporaryDir scratch;
    QString out;
    QString err;
};

const QByteArray HostileMacTest::BackupInfoHead =
    "<?xml version=\"1.0\"?><plist><dict><key>Device Name</key><string>iPhone</string></dict>"
    "</plist>";

TEST_F(HostileMacTest, OverviewCountsOnlyTheRealApplicationWhateverTheProfilerDoes)
{
    ASSERT_EQ(run({"--json", "overview"}), 0) << err.toStdString();
    const QJsonObject overview = QJsonDocument::fromJson(out.toUtf8()).object();
    EXPECT_EQ(overview.value("installedAppCount").toInt(), 1) << out.toStdString();
    EXPECT_EQ(overview.value("topApps").toArray().size(), 1);
    EXPECT_EQ(overview.value("machineTitle").toString(),
              QStringLiteral("Evil\x1b]0;pwned\x07 Book · Apple M3"));

    // Read by a person, the title's control characters are shown, not obeyed.
    ASSERT_EQ(run({"overview"}), 0) << err.toStdString();
    EXPECT_TRUE(out.startsWith(QStringLiteral("Evil\\x1B]0;pwned\\x07 Book · Apple M3\n")))
        << out.toStdString();
    EXPECT_FALSE(out.contains(QChar(0x1b)));

    // A profiler that floods or hangs leaves the title to the fallbacks (the computer name is
    // behind a FIFO too).
    for (const char *script : {"exec yes '      Model Name: Flood'\n", "exec sleep 600\n"}) {
        mac.addToolScript(SystemProfiler, script);
        ASSERT_EQ(run({"--json", "overview"}), 0) << script << err.toStdString();
        EXPECT_EQ(QJsonDocument::fromJson(out.toUtf8()).object().value("machineTitle"),
                  QStringLiteral("This Mac"))
            << script;
    }
}

TEST_F(HostileMacTest, CleanUpEndsWithoutTheHangingAndFloodingToolsAndShowsNamesSafely)
{
    ASSERT_EQ(run({"--json", "cleanup"}), 0) << err.toStdString();
    QStringList names;
    for (const QJsonValue &category :
         QJsonDocument::fromJson(out.toUtf8()).object().value("categories").toArray()) {
        const QJsonObject object = category.toObject();
        const QJsonArray items = object.value("allItems").isArray()
                                     ? object.value("allItems").toArray()
                                     : object.value("items").toArray();
        for (const QJsonValue &item : items)
            names << item.toObject().value("name").toString();
    }
    // find hung and tmutil flooded: no large file, no snapshot; neither backup is readable.
    EXPECT_FALSE(names.contains(QStringLiteral("huge.mov"))) << names.join(", ").toStdString();
    EXPECT_FALSE(names.contains(QStringLiteral("Time Machine Snapshots")));
    EXPECT_FALSE(names.join(' ').contains(QStringLiteral("iPhone")));
    EXPECT_TRUE(names.contains(QStringLiteral("evil\n  Mac Trash\x1b[2J.download")));

    ASSERT_EQ(run({"cleanup"}), 0) << err.toStdString();
    EXPECT_FALSE(out.contains(QChar(0x1b)));
    EXPECT_TRUE(out.contains(QStringLiteral("evil\\n  Mac Trash\\x1B[2J.download")))
        << out.toStdString();
    // The forged line never appears as a line of its own.
    EXPECT_FALSE(out.contains(QStringLiteral("\n  Mac Trash\x1b")));
}

TEST_F(HostileMacTest, AppsEndsWithFifosAndHugeFilesInBundlesAndShowsNamesSafely)
{
    // An application whose name would forge a line and clear the screen, whose executable
    // and localised strings are FIFOs or 4 GiB, among launch agents and containers that are
    // FIFOs too.
    KSTFixtureMac::App evil;
    evil.name = QStringLiteral("Evil");
    evil.bundleIdentifier = QStringLiteral("com.example.evil");
    evil.architectures = {};
    evil.infoPlistFormat = KSTFixtureMac::PlistFormat::Binary; // XML cannot hold an escape
    evil.extraInfo = {
        {QStringLiteral("CFBundleDisplayName"), QStringLiteral("Evil\n  Pages\x1b[2J")},
        {QStringLiteral("CFBundleDevelopmentRegion"), QStringLiteral("fr")},
        {QStringLiteral("LSApplicationCategoryType"),
         QStringLiteral("public.app-category.x\x1b]0;pwned\x07")}};
    const QString bundle = mac.addApp(evil);
    ASSERT_TRUE(KSTHostileFiles::makeFifo(bundle + QStringLiteral("/Contents/MacOS/Evil")));
    ASSERT_TRUE(KSTHostileFiles::makeFifo(
        bundle + QStringLiteral("/Contents/Resources/en.lproj/InfoPlist.strings")));
    ASSERT_TRUE(KSTHostileFiles::makeSparseFile(
        bundle + QStringLiteral("/Contents/Resources/fr.lproj/InfoPlist.strings"), 4 * GiB,
        "\"CFBundleDisplayName\" = \"Huge\";"));
    ASSERT_TRUE(KSTHostileFiles::makeFifo(
        mac.homePath(QStringLiteral("Library/LaunchAgents/com.example.evil.agent.plist"))));
    ASSERT_TRUE(KSTHostileFiles::makeFifo(
        mac.homePath(QStringLiteral("Library/Containers/com.example.evil"))));
    mac.writeHomeFile(QStringLiteral("Library/LaunchAgents/com.example.deep.plist"),
                      KSTHostileFiles::nestedArraysXmlPlist(100'000));

    ASSERT_EQ(run({"--json", "apps"}), 0) << err.toStdString();
    QStringList names;
    for (const QJsonValue &app :
         QJsonDocument::fromJson(out.toUtf8()).object().value("apps").toArray())
        names << app.toObject().value("name").toString();
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (QStringList{"Evil\n  Pages\x1b[2J", "Pages"}));

    ASSERT_EQ(run({"apps"}), 0) << err.toStdString();
    EXPECT_FALSE(out.contains(QChar(0x1b)));
    EXPECT_TRUE(out.contains(QStringLiteral("Evil\\n  Pages\\x1B[2J"))) << out.toStdString();
    EXPECT_TRUE(out.contains(QStringLiteral("X\\x1B]0;pwned\\x07"))) << out.toStdString();

    ASSERT_EQ(run({"apps", "show", "com.example.evil"}), 0) << err.toStdString();
    EXPECT_FALSE(out.contains(QChar(0x1b)));
    EXPECT_TRUE(out.contains(QStringLiteral("Architecture  —"))) << out.toStdString();
}

TEST_F(HostileMacTest, AccessAnswersWithFifosForTheDatabaseAndTheProbes)
{
    ASSERT_EQ(run({"--json", "access"}), 0) << err.toStdString();
    const QJsonObject access = QJsonDocument::fromJson(out.toUtf8()).object();
    EXPECT_FALSE(access.value("hasFullDiskAccess").toBool(true));
    EXPECT_EQ(access.value("fullDiskAccessStatus").toInt(), 1);
    EXPECT_EQ(QDir(mac.homePath(QStringLiteral("Library/Application Support/com.apple.TCC")))
                  .entryList(QDir::Files | QDir::System),
              QStringList{QStringLiteral("TCC.db")});
}

TEST_F(HostileMacTest, TheWindowStartsAndShowsEachScreenWithItsData)
{
    const auto screenshot = [this](const char *section, const QString &name) {
        const QString picture = scratch.filePath(name);
        EXPECT_EQ(run({"--screenshot", picture, "--section", section}), 0)
            << name.toStdString() << ": " << err.toStdString();
        EXPECT_TRUE(out.contains(QStringLiteral("Saved"))) << out.toStdString();
        EXPECT_FALSE(QImage(picture).isNull()) << name.toStdString();
    };
    // With FIFOs for the privacy database and the probes: the gate asks for access.
    screenshot("0", QStringLiteral("overview.png"));
    screenshot("2", QStringLiteral("gate.png"));
    // With access granted the Clean Up screen scans instead of asking for it.
    QFile::remove(mac.homePath(QStringLiteral("Library/Application Support/com.apple.TCC/TCC.db")));
    mac.writePrivacyDatabase({{KSTApplicationInfo::bundleIdentifier(), 2}});
    screenshot("2", QStringLiteral("cleanup.png"));
}

TEST_F(HostileMacTest, InterruptingCleanUpEndsTheFindItStarted)
{
    mac.addTool(Tmutil, {}); // straight on to the large-file search
    QProcess process;
    process.setProcessEnvironment(environment(true));
    process.start(QStringLiteral(KESTREL_EXECUTABLE),
                  {QStringLiteral("--root"), mac.root(), QStringLiteral("cleanup")});
    ASSERT_TRUE(process.waitForStarted());
    const QString pidFile = mac.root() + Find + QStringLiteral(".pid");
    qint64 find = 0;
    const bool started = KSTTestSupport::pumpUntil(
        [&] {
            find = KSTTestSupport::readFile(pidFile).trimmed().toLongLong();
            return find > 0;
        },
        60'000);
    ::kill(pid_t(process.processId()), SIGINT);
    const bool ended = process.waitForFinished(30'000);
    if (!ended)
        process.kill();
    ASSERT_TRUE(started) << "find never ran";
    ASSERT_TRUE(ended) << "Ctrl-C did not end Kestrel";
    // Ended by the signal, as the shell expects of an interrupted command.
    EXPECT_EQ(process.exitStatus(), QProcess::CrashExit);
    EXPECT_TRUE(KSTTestSupport::pumpUntil([find] { return !processIsRunning(find); }, 5'000))
        << "find " << find << " is still running";
    if (processIsRunning(find))
        ::kill(pid_t(find), SIGKILL);
}

} // namespace

TEST_F(HostileMacTest, SystemReportEndsWithoutTheHangingAndFloodingToolsAndShowsTextSafely)
{
    // A process whose name would retitle the terminal tops the processor list.
    mac.addToolScript(QStringLiteral("/bin/ps"),
                      "printf '  PID  %%CPU COMM\\n    7  99.0 evil\\033]0;pwned\\007name\\n'\n");
    mac.addToolScript(QStringLiteral("/usr/sbin/diskutil"), "exec yes 'SMART Status: Flood'\n");
    mac.addToolScript(QStringLiteral("/usr/sbin/nvram"), "echo $$ > \"$0.pid\"\nexec sleep 600\n");
    ASSERT_EQ(run({"report"}), 0) << err.toStdString();
    EXPECT_FALSE(out.contains(QChar(0x1b)));
    EXPECT_TRUE(
        out.contains(QStringLiteral("\n  High CPU service: evil\\x1B]0;pwned\\x07name (99%)\n")))
        << out.toStdString();
    EXPECT_TRUE(out.contains(QStringLiteral("\n  SMART status: \u2014\n"))) << out.toStdString();
    EXPECT_TRUE(out.contains(QLatin1String("\n  Boot mode: Normal\n")));
    const qint64 nvram = KSTTestSupport::readFile(mac.root() + "/usr/sbin/nvram.pid").toLongLong();
    ASSERT_GT(nvram, 0);
    EXPECT_FALSE(processIsRunning(nvram));

    ASSERT_EQ(run({"--json", "report"}), 0) << err.toStdString();
    EXPECT_EQ(QJsonDocument::fromJson(out.toUtf8()).object().value("sections").toArray().size(),
              14);
}
