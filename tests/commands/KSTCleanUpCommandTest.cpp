// `kestrel --root R cleanup` run as the real program against a fixture Mac: the snapshot
// and a removal compared with golden documents, the readable forms, the question on
// standard input and the usage errors.
#include "KSTDebianDesktop.h"
#include "KSTFixtureLinux.h"
#include "KSTFixtureMac.h"
#include "KSTProgramProcess.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr qint64 MiB = 1024 * 1024;
using KSTTestSupport::readFile;

class CleanUpCommandTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mac.isValid());
        for (const char *file : {"Library/Caches/org.example.tool/blob", "Downloads/setup.dmg"})
            mac.writeSizedHomeFile(file, 8192);
        for (const char *file :
             {"Library/Caches/com.apple.Safari/blob", "Library/Application Support/Slack/data",
              "Library/Logs/app.log", ".Trash/old.txt", "Downloads/movie.mp4.download",
              "Downloads/report.pdf", "Pictures/Screenshots/shot.png"})
            mac.writeSizedHomeFile(file, 4096);
        mac.writeHomeFile(".Trash/.DS_Store", readFile(KSTTestSupport::recordedMacFile(
                                                  "DS_Store.Trash.NOdoff-gitPractice.bin")));
        KSTFixtureMac::setModified(
            mac.writeHomeFile(
                "Library/Application Support/MobileSync/Backup/00008030-AAAA/Info.plist",
                readFile(KSTTestSupport::recordedMacFile(
                    "iOS-backup-Info.plist.iPhone9,3-iOS14.3.mvt.bplist"))),
            QDateTime(QDate(2021, 12, 3), QTime(19, 33), Qt::UTC));
        for (const auto &[file, bytes] :
             {std::pair{"Movies/holiday.mov", 60 * MiB}, std::pair{"Desktop/disk.iso", 55 * MiB}}) {
            QFile sparse(mac.writeHomeFile(file, "head"));
            ASSERT_TRUE(sparse.open(QIODevice::ReadWrite) && sparse.resize(bytes));
        }
        mac.linkHostTool("/usr/bin/find");
        mac.linkHostTool("/usr/bin/wc");
        mac.addTool("/usr/bin/tmutil", "com.apple.TimeMachine.2024-03-01-101010.local\n"
                                       "com.apple.TimeMachine.2024-03-02-101010.local\n");
    }

    // The program in a process of its own (this executable is apart from the scans' tests:
    // ThreadSanitizer cannot follow QProcess's children), answering @p input when asked.
    // @p program, when given, runs Kestrel on the command line that follows it.
    KSTProgramRun run(const QStringList &arguments, const QByteArray &input = {},
                      const QStringList &program = {},
                      const QProcessEnvironment &extra = QProcessEnvironment(),
                      const QString &executable = QStringLiteral(KESTREL_EXECUTABLE))
    {
        KSTProgramOptions options;
        options.prefix = program;
        options.environment = extra;
        options.input = input;
        return KSTTestSupport::runProgram(executable, QStringList{"--root", mac.root()} + arguments,
                                          options);
    }

    // The fixture's root as "<root>" and the host's figures masked, so the document is the
    // same on every machine.
    QJsonObject masked(const QString &json) const
    {
        QJsonObject document =
            QJsonDocument::fromJson(QString(json).replace(mac.root(), "<root>").toUtf8()).object();
        EXPECT_GT(document.value("storageTotalBytes").toInteger(), 0);
        EXPECT_TRUE(QDateTime::fromString(document.value("scanDate").toString(), Qt::ISODateWithMs)
                        .isValid());
        document.insert("storageTotalBytes", "<host>");
        document.insert("scanDate", "<date>");
        return document;
    }

    // The golden document @p name; with KESTREL_UPDATE_GOLDEN set, @p actual is written there
    // first, so a deliberate change of output is one run away (and shows in the diff).
    static QByteArray golden(const char *name, const QByteArray &actual = {})
    {
        const QString path = KSTTestSupport::testDataPath(QLatin1String("cleanup/") + name);
        if (!actual.isEmpty() && qEnvironmentVariableIsSet("KESTREL_UPDATE_GOLDEN"))
            KSTTestSupport::writeFile(path, actual);
        return readFile(path);
    }

    KSTFixtureMac mac;
};

TEST_F(CleanUpCommandTest, JsonIsTheSnapshotWithTheRecordsPropertyNames)
{
    const KSTProgramRun scan = run({"--json", "cleanup"});
    ASSERT_EQ(scan.status, 0) << scan.err.toStdString();
    const QJsonObject actual = masked(scan.out);
    EXPECT_EQ(actual, QJsonDocument::fromJson(
                          golden("fixture-mac-cleanup.json", QJsonDocument(actual).toJson()))
                          .object())
        << QJsonDocument(actual).toJson().toStdString();
}

TEST_F(CleanUpCommandTest, CleanMovesTheSelectionAndEmptiesTheMacTrash)
{
    const KSTProgramRun clean = run({"--json", "cleanup", "clean", "--yes", "--category", "trashes",
                                     "--item", mac.homePath("Library/Caches/org.example.tool")});
    ASSERT_EQ(clean.status, 0) << clean.err.toStdString();
    EXPECT_EQ(clean.json().object(),
              QJsonDocument::fromJson(
                  golden("fixture-mac-cleanup-clean.json", QJsonDocument(clean.json()).toJson()))
                  .object())
        << clean.out.toStdString();
    // The confirmation goes to standard error, so standard output stays one document.
    EXPECT_TRUE(clean.err.startsWith("Clean 24.0 KB?\n3 selected item(s) will be moved to the "
                                     "Trash or permanently removed from the Mac Trash.\n"))
        << clean.err.toStdString();

    EXPECT_EQ(QDir(mac.homePath(".Trash"))
                  .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name),
              (QStringList{".DS_Store", "movie.mp4.download", "org.example.tool"}));
    EXPECT_TRUE(QFileInfo::exists(mac.homePath("Downloads/report.pdf")));

    // The next scan starts afresh and no longer finds them.
    const KSTProgramRun rescan = run({"--json", "cleanup"});
    ASSERT_EQ(rescan.status, 0);
    EXPECT_FALSE(rescan.out.contains("org.example.tool"));
}

TEST_F(CleanUpCommandTest, ReadableFormsAndTheQuestion)
{
    const KSTProgramRun summary = run({"cleanup"});
    ASSERT_EQ(summary.status, 0) << summary.err.toStdString();
    // The first line carries the host volume's capacity.
    const qsizetype firstLineEnd = summary.out.indexOf(QLatin1Char('\n'));
    EXPECT_TRUE(summary.out.left(firstLineEnd)
                    .contains(QRegularExpression(QStringLiteral(
                        "^4 GB reclaimable of \\d+(\\.\\d)? [KMGT]?B · 8 files analyzed$"))))
        << summary.out.toStdString();
    EXPECT_EQ(summary.out.mid(firstLineEnd + 1).replace(mac.root(), "<root>"),
              QString::fromUtf8(
                  golden("fixture-mac-cleanup.txt",
                         summary.out.mid(firstLineEnd + 1).replace(mac.root(), "<root>").toUtf8())))
        << summary.out.toStdString();

    // Anything but y or yes cancels, and nothing is touched.
    const QString movie = mac.homePath("Movies/holiday.mov");
    for (const QByteArray &answer : {QByteArray("n\n"), QByteArray("\n"), QByteArray()}) {
        const KSTProgramRun asked = run({"cleanup", "clean", "--category", "largeFiles"}, answer);
        EXPECT_EQ(asked.status, 1) << answer.constData();
        EXPECT_TRUE(asked.out.startsWith(
            "Clean 115 MB?\n2 selected item(s) will be moved to the Trash or permanently removed "
            "from the Mac Trash.\nClean? [y/N] Cancelled.\n"))
            << asked.out.toStdString();
        EXPECT_TRUE(QFileInfo::exists(movie));
    }
    const KSTProgramRun yes = run({"cleanup", "clean", "--item", movie}, "YES\n");
    EXPECT_EQ(yes.status, 0) << yes.err.toStdString();
    EXPECT_TRUE(yes.out.endsWith("Removed 1 item(s), 60 MB (62914560 bytes)\n"))
        << yes.out.toStdString();
    EXPECT_TRUE(QFileInfo::exists(mac.homePath(".Trash/holiday.mov")));
}

TEST_F(CleanUpCommandTest, UnknownSelectionsAreUsageErrors)
{
    const QString report = mac.homePath("Downloads/report.pdf");
    for (const QStringList &arguments :
         {QStringList{"cleanup", "clean", "--yes"},
          QStringList{"cleanup", "clean", "--yes", "--category", "junk"},
          QStringList{"cleanup", "clean", "--yes", "--item", report},
          QStringList{"cleanup", "clean", "--yes", "--category"},
          QStringList{"cleanup", "clean", "--yes", "--category", "trashes", "extra"},
          QStringList{"cleanup", "everything"}}) {
        const KSTProgramRun result = run(arguments);
        EXPECT_EQ(result.status, 2) << arguments.join(' ').toStdString();
        EXPECT_TRUE(result.out.isEmpty()) << result.out.toStdString();
    }
    EXPECT_TRUE(QFileInfo::exists(mac.homePath(".Trash/old.txt")));
}

TEST_F(CleanUpCommandTest, UnreadableFoldersContributeNothingAndTheScanGoesOn)
{
    const QString partial = mac.homePath("Library/Caches/com.example.partial");
    const QString readable =
        mac.writeSizedHomeFile("Library/Caches/com.example.partial/a.bin", 8192);
    mac.writeSizedHomeFile("Library/Caches/com.example.partial/locked/secret.bin", 4096);
    mac.writeSizedHomeFile("Library/Caches/com.example.locked/secret.bin", 4096);
    mac.writeSizedHomeFile("Documents/Private/secret.bin", 4096);
    const QStringList locked = {partial + "/locked",
                                mac.homePath("Library/Caches/com.example.locked"),
                                mac.homePath("Documents/Private")};
    const auto lock = [&locked](mode_t mode) {
        for (const QString &folder : locked)
            ASSERT_EQ(::chmod(QFile::encodeName(folder).constData(), mode), 0);
    };
    lock(0);

    // Root reads everything, so the scan then runs as nobody, owning the fixture and its
    // settings folder.
    // The build tree may sit in a private folder (a clone under /root), so nobody runs a copy.
    QStringList program;
    QProcessEnvironment settings;
    QTemporaryDir xdg;
    KSTProgramForOtherUser copy;
    QString executable = QStringLiteral(KESTREL_EXECUTABLE);
    if (::geteuid() == 0) {
        if (!QFileInfo::exists("/usr/bin/setpriv"))
            GTEST_SKIP() << "running as root without setpriv to drop to another user";
        ASSERT_TRUE(xdg.isValid());
        copy = KSTTestSupport::programForOtherUser(executable);
        ASSERT_FALSE(copy.program.isEmpty());
        executable = copy.program;
        settings = copy.environment;
        for (const QString &owned : {mac.root(), xdg.path()})
            ASSERT_EQ(KSTTestSupport::runHostTool("chown", {"-R", "-h", "65534:65534", owned}), 0);
        program = QStringList{"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "--"};
        for (const char *name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
            settings.insert(name, xdg.path());
    }
    const KSTProgramRun scan = run({"--json", "cleanup"}, {}, program, settings, executable);
    lock(0700);
    ASSERT_EQ(scan.status, 0) << scan.err.toStdString();

    QMap<QString, qint64> junk;
    qsizetype largeFiles = -1;
    for (const QJsonValue &category : scan.json().object().value("categories").toArray()) {
        const QJsonObject object = category.toObject();
        const QJsonArray items = object.value("allItems").isArray()
                                     ? object.value("allItems").toArray()
                                     : object.value("items").toArray();
        if (object.value("categoryType") == "systemJunk") {
            for (const QJsonValue &item : items)
                junk.insert(item.toObject().value("name").toString(),
                            item.toObject().value("bytes").toInteger());
        } else if (object.value("categoryType") == "largeFiles") {
            largeFiles = items.size();
        }
    }
    // What could be read is counted; a folder that could not be read at all is not listed.
    EXPECT_EQ(junk.value("Caches. com.example.partial"),
              qint64(KSTTestSupport::allocatedBytesOf(readable)));
    EXPECT_FALSE(junk.contains("Caches. com.example.locked"));
    EXPECT_TRUE(junk.contains("Caches. org.example.tool"));
    // find stopped at Documents/Private with status 1, so its whole answer was dropped.
    EXPECT_EQ(largeFiles, 0);
}

} // namespace

namespace {

// `kestrel --root R --layout linux cleanup` on the Debian desktop: the desktop's places and its
// freedesktop Trash are read; emptying the Trash clears its folders.
class CleanUpLinuxCommandTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(machine.isValid());
        KSTDebianDesktop::populate(machine);
        for (const char *file : {".var/app/org.gimp.GIMP/cache/gegl/tile",
                                 "Downloads/film.mkv.part", "Downloads/setup.crdownload"})
            machine.writeSizedHomeFile(QString::fromLatin1(file), 8192);
        machine.linkHostTool("/usr/bin/find");
    }

    KSTProgramRun run(const QStringList &arguments)
    {
        return KSTTestSupport::runProgram(
            QStringLiteral(KESTREL_EXECUTABLE),
            QStringList{"--root", machine.root(), "--layout", "linux"} + arguments, {});
    }

    static QStringList itemNames(const QJsonObject &document, const char *type)
    {
        QStringList names;
        for (const QJsonValue &category : document.value("categories").toArray()) {
            const QJsonObject object = category.toObject();
            if (object.value("categoryType") != QLatin1String(type))
                continue;
            const QJsonArray items = object.value("allItems").isArray()
                                         ? object.value("allItems").toArray()
                                         : object.value("items").toArray();
            for (const QJsonValue &item : items)
                names << item.toObject().value("name").toString();
        }
        names.sort();
        return names;
    }

    QStringList trashEntries(const char *folder) const
    {
        return QDir(machine.homePath(".local/share/Trash/") + folder)
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
    }

    KSTFixtureLinux machine;
};

TEST_F(CleanUpLinuxCommandTest, ListsTheDesktopsPlacesAndEmptiesTheTrashThroughItsFolders)
{
    // Which folders are listed is CleanUpLinuxTest's; here the program reads the desktop's.
    const KSTProgramRun scan = run({"--json", "cleanup"});
    ASSERT_EQ(scan.status, 0) << scan.err.toStdString();
    const QJsonObject document = scan.json().object();
    EXPECT_TRUE(itemNames(document, "systemJunk").contains("Caches. org.gimp.GIMP"));
    EXPECT_EQ(itemNames(document, "trashes"),
              (QStringList{"Trash", "film.mkv.part", "setup.crdownload"}));
    ASSERT_EQ(trashEntries("files"), (QStringList{"draft.odt", "old notes.txt"}));

    // Emptying the Trash alone: its folders stay, empty, and the two items are counted.
    const QString trash = machine.homePath(".local/share/Trash");
    const KSTProgramRun empty = run({"--json", "cleanup", "clean", "--yes", "--item", trash});
    ASSERT_EQ(empty.status, 0) << empty.err.toStdString();
    EXPECT_EQ(empty.json().object().value("itemsRemoved").toInteger(), 2)
        << empty.out.toStdString();
    EXPECT_TRUE(
        empty.err.contains("will be moved to the Trash or permanently removed from the Trash."))
        << empty.err.toStdString();
    for (const char *folder : {"files", "info"}) {
        EXPECT_TRUE(QFileInfo(trash + "/" + folder).isDir()) << folder;
        EXPECT_TRUE(trashEntries(folder).isEmpty()) << folder;
    }
}

} // namespace
