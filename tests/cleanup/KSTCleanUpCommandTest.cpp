// `kestrel --root R cleanup` run as the real program against a fixture Mac: the snapshot
// and a removal compared with golden documents, the readable forms, the question on
// standard input and the usage errors.
#include "KSTFixtureMac.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>

#include <gtest/gtest.h>

namespace {

constexpr qint64 MiB = 1024 * 1024;

struct ProgramRun
{
    int status = -1;
    QString out;
    QString err;
};

class CleanUpCommandTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mac.isValid());
        QFile backupInfo(KSTTestSupport::recordedMacFile(
            QStringLiteral("iOS-backup-Info.plist.iPhone9,3-iOS14.3.mvt.bplist")));
        QFile finderRecords(KSTTestSupport::recordedMacFile(
            QStringLiteral("DS_Store.Trash.NOdoff-gitPractice.bin")));
        ASSERT_TRUE(backupInfo.open(QIODevice::ReadOnly));
        ASSERT_TRUE(finderRecords.open(QIODevice::ReadOnly));

        mac.writeSizedHomeFile(QStringLiteral("Library/Caches/org.example.tool/blob"), 8192);
        mac.writeSizedHomeFile(QStringLiteral("Library/Caches/com.apple.Safari/blob"), 4096);
        mac.writeSizedHomeFile(QStringLiteral("Library/Application Support/Slack/data"), 4096);
        mac.writeSizedHomeFile(QStringLiteral("Library/Logs/app.log"), 4096);
        mac.writeHomeFile(QStringLiteral(".Trash/.DS_Store"), finderRecords.readAll());
        mac.writeSizedHomeFile(QStringLiteral(".Trash/old.txt"), 4096);
        mac.writeSizedHomeFile(QStringLiteral("Downloads/setup.dmg"), 8192);
        mac.writeSizedHomeFile(QStringLiteral("Downloads/movie.mp4.download"), 4096);
        mac.writeSizedHomeFile(QStringLiteral("Downloads/report.pdf"), 4096);
        mac.writeSizedHomeFile(QStringLiteral("Pictures/Screenshots/shot.png"), 4096);
        const QString backupPlist = mac.writeHomeFile(
            QStringLiteral(
                "Library/Application Support/MobileSync/Backup/00008030-AAAA/Info.plist"),
            backupInfo.readAll());
        KSTFixtureMac::setModified(backupPlist,
                                   QDateTime(QDate(2021, 12, 3), QTime(19, 33), Qt::UTC));
        writeSparseHomeFile(QStringLiteral("Movies/holiday.mov"), 60 * MiB);
        writeSparseHomeFile(QStringLiteral("Desktop/disk.iso"), 55 * MiB);

        mac.linkHostTool(QStringLiteral("/usr/bin/find"));
        mac.linkHostTool(QStringLiteral("/usr/bin/wc"));
        mac.addTool(QStringLiteral("/usr/bin/tmutil"),
                    "com.apple.TimeMachine.2024-03-01-101010.local\n"
                    "com.apple.TimeMachine.2024-03-02-101010.local\n");
    }

    void writeSparseHomeFile(const QString &homeRelative, qint64 bytes)
    {
        QFile file(mac.writeHomeFile(homeRelative, "head"));
        ASSERT_TRUE(file.open(QIODevice::ReadWrite) && file.resize(bytes));
    }

    ProgramRun run(QStringList arguments, const QByteArray &input = {})
    {
        arguments.prepend(mac.root());
        arguments.prepend(QStringLiteral("--root"));
        QProcess process;
        // Backup names carry a local time.
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("TZ"), QStringLiteral("UTC"));
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(KESTREL_EXECUTABLE), arguments);
        process.write(input);
        process.closeWriteChannel();
        ProgramRun result;
        if (!process.waitForFinished(120'000))
            return result;
        result.status = process.exitCode();
        result.out = QString::fromUtf8(process.readAllStandardOutput());
        result.err = QString::fromUtf8(process.readAllStandardError());
        return result;
    }

    // The fixture's root as "<root>" and the host's figures masked, so the document is the
    // same on every machine.
    QJsonObject masked(const QString &json) const
    {
        QString text = json;
        text.replace(mac.root(), QStringLiteral("<root>"));
        QJsonObject document = QJsonDocument::fromJson(text.toUtf8()).object();
        EXPECT_GT(document.value(QStringLiteral("storageTotalBytes")).toInteger(), 0);
        EXPECT_TRUE(QDateTime::fromString(document.value(QStringLiteral("scanDate")).toString(),
                                          Qt::ISODateWithMs)
                        .isValid());
        document.insert(QStringLiteral("storageTotalBytes"), QStringLiteral("<host>"));
        document.insert(QStringLiteral("scanDate"), QStringLiteral("<date>"));
        return document;
    }

    static QJsonObject golden(const char *name)
    {
        QFile file(KSTTestSupport::testDataPath(QStringLiteral("cleanup/") + QLatin1String(name)));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name;
        return QJsonDocument::fromJson(file.readAll()).object();
    }

    KSTFixtureMac mac;
};

TEST_F(CleanUpCommandTest, JsonIsTheSnapshotWithTheRecordsPropertyNames)
{
    const ProgramRun scan = run({QStringLiteral("--json"), QStringLiteral("cleanup")});
    ASSERT_EQ(scan.status, 0) << scan.err.toStdString();
    const QJsonObject actual = masked(scan.out);
    EXPECT_EQ(actual, golden("fixture-mac-cleanup.json"))
        << QJsonDocument(actual).toJson().toStdString();
}

TEST_F(CleanUpCommandTest, CleanMovesTheSelectionAndEmptiesTheMacTrash)
{
    const ProgramRun clean =
        run({QStringLiteral("--json"), QStringLiteral("cleanup"), QStringLiteral("clean"),
             QStringLiteral("--yes"), QStringLiteral("--category"), QStringLiteral("trashes"),
             QStringLiteral("--item"),
             mac.homePath(QStringLiteral("Library/Caches/org.example.tool"))});
    ASSERT_EQ(clean.status, 0) << clean.err.toStdString();
    EXPECT_EQ(QJsonDocument::fromJson(clean.out.toUtf8()).object(),
              golden("fixture-mac-cleanup-clean.json"))
        << clean.out.toStdString();
    // The confirmation goes to standard error, so standard output stays one document.
    EXPECT_TRUE(clean.err.startsWith(QStringLiteral("Clean 24.0 KB?\n3 selected item(s) will be "
                                                    "moved to the Trash or permanently removed "
                                                    "from the Mac Trash.\n")))
        << clean.err.toStdString();

    QStringList trash = QDir(mac.homePath(QStringLiteral(".Trash")))
                            .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    trash.sort();
    EXPECT_EQ(trash, (QStringList{".DS_Store", "movie.mp4.download", "org.example.tool"}));
    EXPECT_TRUE(QFileInfo::exists(mac.homePath(QStringLiteral("Downloads/report.pdf"))));

    // The next scan starts afresh and no longer finds them.
    const ProgramRun rescan = run({QStringLiteral("--json"), QStringLiteral("cleanup")});
    ASSERT_EQ(rescan.status, 0);
    EXPECT_FALSE(rescan.out.contains(QLatin1String("org.example.tool")));
}

TEST_F(CleanUpCommandTest, ReadableFormsAndTheQuestion)
{
    const ProgramRun summary = run({QStringLiteral("cleanup")});
    ASSERT_EQ(summary.status, 0) << summary.err.toStdString();
    // The first line carries the host volume's capacity.
    const qsizetype firstLineEnd = summary.out.indexOf(QLatin1Char('\n'));
    EXPECT_TRUE(summary.out.left(firstLineEnd)
                    .contains(QRegularExpression(QStringLiteral(
                        "^4 GB reclaimable of \\d+(\\.\\d)? [KMGT]?B · 8 files analyzed$"))))
        << summary.out.toStdString();
    QFile golden(KSTTestSupport::testDataPath(QStringLiteral("cleanup/fixture-mac-cleanup.txt")));
    ASSERT_TRUE(golden.open(QIODevice::ReadOnly));
    EXPECT_EQ(summary.out.mid(firstLineEnd + 1).replace(mac.root(), QStringLiteral("<root>")),
              QString::fromUtf8(golden.readAll()))
        << summary.out.toStdString();

    // Anything but y or yes cancels, and nothing is touched.
    const QString movie = mac.homePath(QStringLiteral("Movies/holiday.mov"));
    for (const QByteArray &answer : {QByteArray("n\n"), QByteArray("\n"), QByteArray()}) {
        const ProgramRun asked = run({QStringLiteral("cleanup"), QStringLiteral("clean"),
                                      QStringLiteral("--category"), QStringLiteral("largeFiles")},
                                     answer);
        EXPECT_EQ(asked.status, 1) << answer.constData();
        EXPECT_TRUE(asked.out.startsWith(QStringLiteral(
            "Clean 115 MB?\n2 selected item(s) will be moved to the Trash or permanently removed "
            "from the Mac Trash.\nClean? [y/N] Cancelled.\n")))
            << asked.out.toStdString();
        EXPECT_TRUE(QFileInfo::exists(movie));
    }
    const ProgramRun yes =
        run({QStringLiteral("cleanup"), QStringLiteral("clean"), QStringLiteral("--item"), movie},
            "YES\n");
    EXPECT_EQ(yes.status, 0) << yes.err.toStdString();
    EXPECT_TRUE(yes.out.endsWith(QStringLiteral("Removed 1 item(s), 60 MB (62914560 bytes)\n")))
        << yes.out.toStdString();
    EXPECT_TRUE(QFileInfo::exists(mac.homePath(QStringLiteral(".Trash/holiday.mov"))));
}

TEST_F(CleanUpCommandTest, UnknownSelectionsAreUsageErrors)
{
    const QStringList clean = {QStringLiteral("cleanup"), QStringLiteral("clean"),
                               QStringLiteral("--yes")};
    for (const QStringList &extra :
         {QStringList{}, QStringList{"--category", "junk"},
          QStringList{"--item", mac.homePath(QStringLiteral("Downloads/report.pdf"))},
          QStringList{"--category"}, QStringList{"--category", "trashes", "extra"}}) {
        const ProgramRun result = run(clean + extra);
        EXPECT_EQ(result.status, 2) << extra.join(QLatin1Char(' ')).toStdString();
        EXPECT_TRUE(result.out.isEmpty()) << result.out.toStdString();
    }
    EXPECT_EQ(run({QStringLiteral("cleanup"), QStringLiteral("everything")}).status, 2);
    EXPECT_TRUE(QFileInfo::exists(mac.homePath(QStringLiteral(".Trash/old.txt"))));
}

} // namespace
