// `kestrel --root R apps …` run as the real program against a fixture Mac: the documents'
// keys, the progress lines, one app's details, every usage error (nothing moves on them), the
// question, partial success, a running instance asked to quit first, and putting back.
#include "KSTFixtureMac.h"
#include "KSTProgramProcess.h"
#include "KSTTestSupport.h"
#include "KSTTreeListing.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QSet>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <spawn.h>
#include <sys/wait.h>

extern char **environ;

namespace {

QSet<QString> keysOf(const QJsonObject &object)
{
    const QStringList keys = object.keys();
    return QSet<QString>(keys.cbegin(), keys.cend());
}

const QSet<QString> RecordKeys = {
    "name",           "version",         "buildVersion",       "bundleIdentifier",
    "bundlePath",     "developer",       "category",           "architectureLabel",
    "source",         "bundleSizeBytes", "totalSizeBytes",     "installedDate",
    "lastOpenedDate", "relatedPaths",    "relatedPathsLoaded", "isUnused"};

class AppsCommandTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mac.isValid() && settings.isValid());
        notes = addApp("Notes", "com.example.notes", "Applications");
        go = addApp("Go", "com.example.go", "Users/alice/Applications");
        chess = addApp("Chess", "com.apple.Chess", "System/Applications");
        for (const char *file :
             {"Library/Caches/com.example.notes/c", "Library/Preferences/com.example.notes.plist",
              "Library/Containers/com.google.Chrome/x", "Library/Caches/com.example.go/c",
              "Library/Containers/com.apple.Chess/x"})
            mac.writeSizedHomeFile(QString::fromUtf8(file), 4096);
        mac.writeFile(QStringLiteral("Users/Shared/com.example.notes/shared"), "shared");
    }

    QString addApp(const char *name, const char *identifier, const char *location)
    {
        KSTFixtureMac::App app;
        app.name = QString::fromUtf8(name);
        app.bundleIdentifier = QString::fromUtf8(identifier);
        app.location = QString::fromUtf8(location);
        app.resourceBytes = 8192;
        return mac.addApp(app);
    }

    KSTProgramRun kestrel(const QStringList &arguments, const QByteArray &input = {}) const
    {
        KSTProgramOptions options;
        options.input = input;
        for (const char *name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME"})
            options.environment.insert(QString::fromLatin1(name), settings.path());
        return KSTTestSupport::runProgram(QStringLiteral(KESTREL_EXECUTABLE),
                                          QStringList{"--root", mac.root()} + arguments, options);
    }

    KSTTreeListing listing() const
    {
        return KSTTestSupport::listTree(QFile::encodeName(mac.root()));
    }

    QStringList changes(const KSTTreeListing &before) const
    {
        return KSTTestSupport::treeDifferences(before, listing(),
                                               [](const QByteArray &) { return false; });
    }

    KSTFixtureMac mac;
    QTemporaryDir settings;
    QString notes;
    QString go;
    QString chess;
};

TEST_F(AppsCommandTest, TheInventoryDocumentUsesThePropertyNamesAndReportsProgress)
{
    const KSTProgramRun run = kestrel({"--json", "apps", "--progress"});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    const QJsonObject document = run.json().object();
    EXPECT_EQ(keysOf(document),
              (QSet<QString>{"apps", "scannedCount", "totalCount", "totalBytes", "progress",
                             "statusText", "isComplete", "isSizeCalculationComplete", "scanDate"}));
    EXPECT_EQ(document.value("statusText").toString(), QStringLiteral("Scan complete"));
    EXPECT_TRUE(document.value("isSizeCalculationComplete").toBool());
    const QJsonArray apps = document.value("apps").toArray();
    ASSERT_EQ(apps.size(), 3);
    qint64 total = 0;
    for (const QJsonValue &app : apps) {
        EXPECT_EQ(keysOf(app.toObject()), RecordKeys);
        EXPECT_GT(app.toObject().value("bundleSizeBytes").toInteger(), 0);
        total += app.toObject().value("bundleSizeBytes").toInteger();
        EXPECT_TRUE(QDateTime::fromString(app.toObject().value("installedDate").toString(),
                                          Qt::ISODateWithMs)
                        .isValid());
    }
    EXPECT_EQ(document.value("totalBytes").toInteger(), total);

    const QStringList lines = run.err.split('\n', Qt::SkipEmptyParts);
    ASSERT_GE(lines.size(), 5) << run.err.toStdString();
    EXPECT_EQ(lines.mid(0, 4),
              (QStringList{"Discovering applications…", "Scanning apps… 1/3", "Scanning apps… 3/3",
                           "Calculating application size… 0/3"}));
    EXPECT_EQ(lines.last(), QStringLiteral("Scan complete"));
    EXPECT_EQ(QStringList(lines).removeDuplicates(), 0);

    const KSTProgramRun readable = kestrel({"apps"});
    ASSERT_EQ(readable.status, 0);
    const QStringList rows = readable.out.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(rows.size(), 4);
    EXPECT_TRUE(rows.at(0).contains(mac.root()));
    EXPECT_TRUE(rows.last().startsWith("3 app(s), ")) << rows.last().toStdString();
    EXPECT_TRUE(readable.err.isEmpty());
}

TEST_F(AppsCommandTest, ShowGivesTheSizedRecordItsRelatedPathsAndTheDefaultSelection)
{
    const KSTProgramRun run = kestrel({"--json", "apps", "show", "com.example.go"});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    const QJsonObject app = run.json().object();
    EXPECT_EQ(keysOf(app), (RecordKeys + QSet<QString>{"relatedPathTokens", "uninstallPaths"}));
    EXPECT_TRUE(app.value("relatedPathsLoaded").toBool());
    EXPECT_GT(app.value("bundleSizeBytes").toInteger(), 0);
    EXPECT_EQ(app.value("relatedPathTokens").toArray(), (QJsonArray{"com.example.go", "Go"}));
    QStringList weak;
    for (const QJsonValue &related : app.value("relatedPaths").toArray()) {
        const QJsonObject object = related.toObject();
        EXPECT_EQ(keysOf(object), (QSet<QString>{"displayPath", "path", "bytes", "isStrongMatch",
                                                 "isRemovable", "matchRule", "matchedToken"}));
        if (!object.value("isStrongMatch").toBool())
            weak << object.value("displayPath").toString();
    }
    EXPECT_EQ(weak, QStringList{"~/Library/Containers/com.google.Chrome"});
    EXPECT_EQ(app.value("uninstallPaths").toArray(),
              (QJsonArray{mac.homePath("Library/Caches/com.example.go"), go}));

    const KSTProgramRun readable = kestrel({"apps", "show", go});
    ASSERT_EQ(readable.status, 0) << readable.err.toStdString();
    EXPECT_TRUE(readable.out.contains("Name contains “go”")) << readable.out.toStdString();
}

TEST_F(AppsCommandTest, BadUsageExitsTwoAndMovesNothing)
{
    addApp("Notes", "com.example.notes", "Users/alice/Desktop");
    const KSTTreeListing before = listing();
    const struct
    {
        const char *name;
        QStringList arguments;
        const char *says;
    } cases[] = {
        {"unknownIdentifier",
         {"apps", "uninstall", "com.example.nobody", "--yes"},
         "com.example.nobody"},
        {"unknownPath", {"apps", "show", mac.path("Applications/Nobody.app")}, "Nobody.app"},
        {"twoBundles", {"apps", "uninstall", "com.example.notes", "--yes"}, "Desktop/Notes.app"},
        {"notListed", {"apps", "uninstall", go, "--include", "~/Documents", "--yes"}, "Documents"},
        {"notRemovable",
         {"apps", "uninstall", notes, "--include", mac.path("Users/Shared/com.example.notes"),
          "--yes"},
         "Users/Shared"},
        {"theBundleItself", {"apps", "uninstall", go, "--exclude", go, "--yes"}, "Go.app"},
        {"withAnotherCopy",
         {"apps", "uninstall", notes, "--include", "~/Library/Caches/com.example.notes", "--yes"},
         "another copy"},
        {"noApp", {"apps", "show"}, "needs one APP"},
        {"strayArgument", {"apps", "extra"}, "extra"},
    };
    for (const auto &usage : cases) {
        const KSTProgramRun run = kestrel(usage.arguments);
        EXPECT_EQ(run.status, 2) << usage.name << run.err.toStdString();
        EXPECT_TRUE(run.err.contains(QString::fromUtf8(usage.says)))
            << usage.name << run.err.toStdString();
    }
    EXPECT_EQ(changes(before), QStringList());
}

TEST_F(AppsCommandTest, DeclinedOrSystemUninstallsFailAndMoveNothing)
{
    const KSTTreeListing before = listing();
    const KSTProgramRun declined = kestrel({"--json", "apps", "uninstall", notes}, "n\n");
    EXPECT_EQ(declined.status, 1);
    EXPECT_TRUE(declined.err.contains("Uninstall “Notes”?"));
    EXPECT_TRUE(declined.err.contains("Cancelled."));
    EXPECT_FALSE(declined.json().object().value("success").toBool());

    const KSTProgramRun system =
        kestrel({"--json", "apps", "uninstall", "com.apple.Chess", "--yes"});
    EXPECT_EQ(system.status, 1);
    const QJsonObject document = system.json().object();
    EXPECT_EQ(keysOf(document),
              (QSet<QString>{"success", "removedCount", "uninstallPaths", "error"}));
    const QJsonObject error = document.value("error").toObject();
    EXPECT_EQ(error.value("code").toInt(), 100);
    EXPECT_EQ(error.value("domain").toString(), QStringLiteral("KSTSystemInfo"));
    EXPECT_EQ(error.value("description").toString(),
              QStringLiteral("System apps cannot be uninstalled."));
    EXPECT_EQ(changes(before), QStringList());
}

TEST_F(AppsCommandTest, TicksAsAskedAndReportsWhatTheGuardLeftAsAWarning)
{
    // A never-touch entry among the ticked files: the rest goes, and the command says so.
    const QString preferences = mac.homePath("Library/Preferences/com.example.notes.plist");
    ASSERT_EQ(kestrel({"autoclean", "whitelist", "add", preferences}).status, 0);
    const KSTProgramRun run = kestrel({"--json", "apps", "uninstall", notes, "--yes"});
    EXPECT_EQ(run.status, 0) << run.err.toStdString();
    const QJsonObject document = run.json().object();
    EXPECT_TRUE(document.value("success").toBool());
    EXPECT_EQ(document.value("removedCount").toInt(), 2);
    const QJsonObject error = document.value("error").toObject();
    EXPECT_EQ(error.value("code").toInt(), 104);
    EXPECT_EQ(error.value("failedPaths").toArray(), QJsonArray{preferences});
    EXPECT_TRUE(run.err.contains("Removed 2 item(s), but some related files could not be deleted. "
                                 "(KSTSystemInfo error 104)"));
    EXPECT_TRUE(QFile::exists(preferences));
    EXPECT_TRUE(QFile::exists(mac.path("Users/Shared/com.example.notes/shared")));

    const KSTProgramRun chosen = kestrel({"apps", "uninstall", "com.example.go", "--include",
                                          "~/Library/Containers/com.google.Chrome", "--exclude",
                                          mac.homePath("Library/Caches/com.example.go"), "--yes"});
    EXPECT_EQ(chosen.status, 0) << chosen.err.toStdString();
    EXPECT_TRUE(chosen.out.contains("[x]     4.0 KB  ~/Library/Containers/com.google.Chrome"))
        << chosen.out.toStdString();
    EXPECT_FALSE(QFile::exists(mac.homePath("Library/Containers/com.google.Chrome")));
    EXPECT_TRUE(QFile::exists(mac.homePath("Library/Caches/com.example.go/c")));
    EXPECT_FALSE(QFile::exists(go));
}

TEST_F(AppsCommandTest, ARunningInstanceIsAskedToQuitFirst)
{
    const QString executable = notes + "/Contents/MacOS/Notes";
    ASSERT_TRUE(QFile::remove(executable));
    ASSERT_TRUE(QFile::copy(QStringLiteral("/bin/sleep"), executable));
    const QByteArray program = QFile::encodeName(executable);
    char *const arguments[] = {const_cast<char *>(program.constData()), const_cast<char *>("60"),
                               nullptr};
    pid_t instance = 0;
    ASSERT_EQ(::posix_spawn(&instance, program.constData(), nullptr, nullptr, arguments, environ),
              0);

    const KSTProgramRun run = kestrel({"apps", "uninstall", notes, "--yes"});
    int status = 0;
    const pid_t ended = ::waitpid(instance, &status, WNOHANG);
    if (ended == 0) { // still running: the test must not leave it behind
        ::kill(instance, SIGKILL);
        ::waitpid(instance, &status, 0);
        FAIL() << "the running instance was not asked to quit";
    }
    EXPECT_EQ(run.status, 0) << run.err.toStdString();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
    EXPECT_FALSE(QFile::exists(notes));
    EXPECT_TRUE(QFile::exists(mac.homePath(".Trash/Notes.app/Contents/MacOS/Notes")));
}

TEST_F(AppsCommandTest, UndoPutsBackTheLastUninstallOnce)
{
    const KSTTreeListing before = listing();
    ASSERT_EQ(kestrel({"apps", "uninstall", "com.example.go", "--yes"}).status, 0);
    EXPECT_FALSE(QFile::exists(go));

    const KSTProgramRun declined = kestrel({"apps", "undo"}, "no\n");
    EXPECT_EQ(declined.status, 1);
    EXPECT_FALSE(QFile::exists(go));

    const KSTProgramRun undo = kestrel({"--json", "apps", "undo", "--yes"});
    ASSERT_EQ(undo.status, 0) << undo.err.toStdString();
    QStringList restored;
    for (const QJsonValue &path : undo.json().object().value("restoredPaths").toArray())
        restored << path.toString();
    std::sort(restored.begin(), restored.end());
    EXPECT_EQ(restored, (QStringList{mac.homePath("Applications/Go.app"),
                                     mac.homePath("Library/Caches/com.example.go")}));
    EXPECT_TRUE(undo.json().object().value("skippedPaths").toArray().isEmpty());
    EXPECT_EQ(changes(before), QStringList());

    const KSTProgramRun again = kestrel({"apps", "undo", "--yes"});
    EXPECT_EQ(again.status, 1);
    EXPECT_TRUE(again.out.contains("Nothing to put back"));
}

} // namespace
