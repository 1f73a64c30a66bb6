// `kestrel duplicates` run in-process against fixture homes: the JSON document with the
// records' property names, the readable summary, progress lines on standard error, and the
// folders it refuses. Also the streaming JSON writer the command prints with.
#include "KSTCliContext.h"
#include "KSTCommandLineRun.h"
#include "KSTDuplicateEngine.h"
#include "KSTDuplicateTestSupport.h"
#include "KSTFileName.h"
#include "KSTJsonTextWriter.h"
#include "KSTMachineTest.h"
#include "KSTSystemInfo.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace KSTDuplicateTestSupport;

namespace {

const QDateTime Day1(QDate(2022, 3, 4), QTime(5, 6, 7), Qt::UTC);
const QDateTime Day2(QDate(2023, 3, 4), QTime(5, 6, 7), Qt::UTC);

class DuplicatesCommandTest : public KSTMachineTest
{
protected:
    static void SetUpTestSuite() { KSTDuplicateEngine::install(KSTSystemInfo::shared()); }

    void SetUp() override
    {
        KSTMachineTest::SetUp();
        mac.writeHomeFile(QStringLiteral("Pictures/new.jpg"), contentOfSize(1500, 1), Day2);
        mac.writeHomeFile(QStringLiteral("Pictures/old/\"quoted\".jpg"), contentOfSize(1500, 1),
                          Day1);
        mac.writeHomeFile(QStringLiteral("Pictures/alone.png"), contentOfSize(1500, 2), Day1);
        mac.writeHomeFile(QStringLiteral("Downloads/setup.zip"), contentOfSize(700, 3), Day1);
        mac.writeHomeFile(QStringLiteral("Downloads/setup (1).zip"), contentOfSize(700, 3), Day1);
    }

    KSTProgramRun kestrel(const QStringList &arguments)
    {
        return runKestrelInProcess(QStringList{QStringLiteral("--root"), mac.root()} + arguments);
    }
};

TEST_F(DuplicatesCommandTest, JsonHasTheSnapshotsPropertyNames)
{
    const KSTProgramRun run = kestrel({"duplicates", "--json", "--quiet", "--path", "~/Pictures"});
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    EXPECT_TRUE(run.err.isEmpty());
    const QJsonObject snapshot = run.json().object();
    EXPECT_EQ(
        QStringList(snapshot.keys()),
        (QStringList{"categories", "filesScanned", "isScanning", "scanDate", "scanPaths",
                     "scanProgress", "statusText", "totalGroupCount", "totalReclaimableBytes"}));
    EXPECT_EQ(snapshot.value("scanPaths").toArray(), QJsonArray{mac.homePath("Pictures")});
    EXPECT_EQ(snapshot.value("filesScanned").toInteger(), 3);
    EXPECT_EQ(snapshot.value("totalGroupCount").toInteger(), 1);
    EXPECT_EQ(snapshot.value("totalReclaimableBytes").toInteger(), 1500);
    EXPECT_EQ(snapshot.value("scanProgress").toDouble(), 1.0);
    EXPECT_FALSE(snapshot.value("isScanning").toBool());
    EXPECT_TRUE(snapshot.value("statusText").isNull());
    EXPECT_TRUE(
        QDateTime::fromString(snapshot.value("scanDate").toString(), Qt::ISODateWithMs).isValid());

    const QJsonArray categories = snapshot.value("categories").toArray();
    ASSERT_EQ(categories.size(), 6);
    const QJsonObject photos = categories.at(1).toObject();
    EXPECT_EQ(QStringList(photos.keys()), (QStringList{"categoryType", "groupCount", "groups",
                                                       "name", "reclaimableBytes", "symbol"}));
    EXPECT_EQ(photos.value("symbol").toString(), QStringLiteral("photo.on.rectangle"));
    const QJsonObject group = photos.value("groups").toArray().at(0).toObject();
    EXPECT_EQ(QStringList(group.keys()), (QStringList{"categoryType", "fileName", "fileSize",
                                                      "files", "hashKey", "reclaimableBytes"}));
    EXPECT_EQ(group.value("hashKey").toString(), expectedHashKey(contentOfSize(1500, 1)));
    const QJsonArray files = group.value("files").toArray();
    ASSERT_EQ(files.size(), 2);
    const QJsonObject older = files.at(1).toObject();
    EXPECT_EQ(QStringList(older.keys()),
              (QStringList{"bytes", "modificationDate", "path", "selectionReason"}));
    EXPECT_EQ(older.value("path").toString(), mac.homePath("Pictures/old/\"quoted\".jpg"));
    EXPECT_EQ(older.value("modificationDate").toString(), Day1.toString(Qt::ISODateWithMs));
    EXPECT_EQ(older.value("selectionReason").toString(), QStringLiteral("olderCopy"));
    EXPECT_EQ(files.at(0).toObject().value("selectionReason").toString(), QStringLiteral("newest"));
}

TEST_F(DuplicatesCommandTest, SummaryMarksTheKeptCopyAndProgressGoesToStandardError)
{
    const KSTProgramRun run = kestrel({"duplicates"}); // Pictures and Downloads
    ASSERT_EQ(run.status, 0) << run.err.toStdString();
    EXPECT_TRUE(run.out.startsWith(
        QStringLiteral("2 duplicate groups, 2.1 KB reclaimable, 5 files scanned\nFolders: ")))
        << run.out.toStdString();
    EXPECT_TRUE(run.out.contains(QStringLiteral("  setup (1).zip: 2 copies of 700.0 B")));
    EXPECT_TRUE(run.out.contains(QStringLiteral("    keep    2023-")));
    EXPECT_TRUE(run.out.contains(mac.homePath("Pictures/new.jpg") + QStringLiteral("  (newest)")));
    EXPECT_TRUE(run.out.contains(mac.homePath("Pictures/old/\"quoted\".jpg") +
                                 QStringLiteral("  (an older copy)")));
    const QStringList lines = run.err.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_FALSE(lines.isEmpty());
    EXPECT_EQ(lines.first(), QStringLiteral("Preparing scan…"));
    EXPECT_TRUE(lines.contains(QStringLiteral("Analyzing 5 files for duplicates…")));
    EXPECT_EQ(lines.last(), QStringLiteral("Finalizing results…"));

    const KSTProgramRun none = kestrel({"duplicates", "--quiet", "--path", "~/Pictures/old"});
    ASSERT_EQ(none.status, 0);
    EXPECT_TRUE(none.err.isEmpty());
    EXPECT_TRUE(none.out.endsWith(QStringLiteral("\nNo duplicate files found\n")));
}

TEST_F(DuplicatesCommandTest, FoldersThatCannotBeScannedAreBadUsage)
{
    ASSERT_EQ(::symlink(QFile::encodeName(mac.homePath("Pictures")).constData(),
                        QFile::encodeName(mac.homePath("PicturesLink")).constData()),
              0);
    struct Case
    {
        const char *path;
        const char *message;
    };
    const Case cases[] = {
        {"~/Missing", "no such folder"},
        {"~/Pictures/new.jpg", "not a folder"},
        {"~/PicturesLink", "is a symbolic link"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.path);
        const KSTProgramRun run = kestrel({"duplicates", "--path", "~/Pictures", "--path", c.path});
        EXPECT_EQ(run.status, 2);
        EXPECT_TRUE(run.out.isEmpty());
        EXPECT_TRUE(run.err.contains(QLatin1String(c.message))) << run.err.toStdString();
        EXPECT_FALSE(run.err.contains(QStringLiteral("Preparing scan…"))); // nothing scanned
    }
    EXPECT_EQ(kestrel({"duplicates", "--path"}).status, 2);
    EXPECT_EQ(kestrel({"duplicates", "remove"}).status, 2);
}

TEST_F(DuplicatesCommandTest, AnUnreadableFolderIsNamedAndLeftOut)
{
    // Root reads every folder: the run then acts as nobody, who may enter the fixture.
    const bool asRoot = ::geteuid() == 0;
    if (asRoot) {
        ASSERT_EQ(::chmod(QFile::encodeName(mac.root()).constData(), 0755), 0);
    }
    const QString locked = mac.homePath("Downloads");
    ASSERT_EQ(::chmod(QFile::encodeName(locked).constData(), 0), 0);
    if (asRoot) {
        ASSERT_EQ(::seteuid(65534), 0);
    }
    const KSTProgramRun run =
        kestrel({"duplicates", "--quiet", "--path", "~/Downloads", "--path", "~/Pictures"});
    if (asRoot) {
        ASSERT_EQ(::seteuid(0), 0);
    }
    ::chmod(QFile::encodeName(locked).constData(), 0700);
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.err.contains(QStringLiteral("cannot read the folder ") + locked))
        << run.err.toStdString();
    EXPECT_TRUE(run.out.startsWith(QStringLiteral("1 duplicate group,"))) << run.out.toStdString();
}

TEST(JsonTextWriterTest, WritesWhatAJsonReaderReadsBack)
{
    const QString awkward = QStringLiteral("quote \" backslash \\ tab \t newline \n bell \a "
                                           "nul-free ünïcødé 🙂 end");
    QString text;
    QTextStream stream(&text);
    KSTJsonTextWriter json(stream);
    json.beginObject();
    json.key(QStringLiteral("name"));
    json.value(awkward);
    json.key(QStringLiteral("empty"));
    json.beginArray();
    json.endArray();
    json.key(QStringLiteral("list"));
    json.beginArray();
    json.value(quint64(18446744073709551615ull));
    json.value(0.42);
    json.value(true);
    json.nullValue();
    json.beginObject();
    json.endObject();
    json.endArray();
    json.endObject();
    stream.flush();

    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8(), &error);
    ASSERT_EQ(error.error, QJsonParseError::NoError) << text.toStdString();
    const QJsonObject object = document.object();
    EXPECT_EQ(object.value("name").toString(), awkward);
    EXPECT_TRUE(object.value("empty").toArray().isEmpty());
    const QJsonArray list = object.value("list").toArray();
    ASSERT_EQ(list.size(), 5);
    EXPECT_DOUBLE_EQ(list.at(1).toDouble(), 0.42);
    EXPECT_TRUE(list.at(2).toBool());
    EXPECT_TRUE(list.at(3).isNull());
    EXPECT_TRUE(text.contains(QStringLiteral("18446744073709551615"))); // written exactly
    EXPECT_TRUE(text.contains(QStringLiteral("\\u0007")));
    EXPECT_TRUE(text.startsWith(QStringLiteral("{\n    \"name\": ")));
    EXPECT_TRUE(text.endsWith(QStringLiteral("\n}\n")));
}

TEST(JsonTextWriterTest, NamesThatAreNotUtf8AreWrittenAsTheirBytes)
{
    // The same escapes as every other command's JSON, so one reader gets the bytes back.
    const QString name = KSTFileName::decoded(QByteArray("/x/caf\xe9 \xf0\x9f\x98\x80 \xff"));
    QString streamed;
    QTextStream stream(&streamed);
    KSTJsonTextWriter json(stream);
    json.beginArray();
    json.value(name);
    json.endArray();
    stream.flush();
    EXPECT_TRUE(streamed.contains(QStringLiteral("caf\\udce9 \U0001F600 \\udcff")))
        << streamed.toStdString();

    QString printed;
    QTextStream printedStream(&printed);
    KSTCliContext context({}, true, printedStream, printedStream);
    context.printJson(QJsonArray{name});
    printedStream.flush();
    EXPECT_EQ(printed.simplified(), streamed.simplified());
}

TEST(JsonTextWriterTest, DatesAreWrittenAsQtWritesThemInUtc)
{
    // Dates a file system can hold: the epoch, before it, leap days, the edges of the years
    // written directly, and beyond them (where Qt itself is asked); in UTC and in an offset.
    const qint64 Day = 86400000;
    const QDateTime dates[] = {
        QDateTime::fromMSecsSinceEpoch(0, Qt::UTC),
        QDateTime::fromMSecsSinceEpoch(-1, Qt::UTC),
        QDateTime::fromMSecsSinceEpoch(-Day - 999, Qt::UTC),
        QDateTime::fromMSecsSinceEpoch(1700000000123, Qt::UTC),
        QDateTime(QDate(2024, 2, 29), QTime(23, 59, 59, 999), Qt::UTC),
        QDateTime(QDate(2000, 2, 29), QTime(0, 0), Qt::UTC),
        QDateTime(QDate(2100, 3, 1), QTime(12, 0, 0, 5), Qt::UTC),
        QDateTime(QDate(1000, 1, 1), QTime(0, 0), Qt::UTC),
        QDateTime(QDate(999, 12, 31), QTime(23, 59, 59, 999), Qt::UTC),
        QDateTime(QDate(9999, 12, 31), QTime(23, 59, 59, 999), Qt::UTC),
        QDateTime(QDate(10000, 1, 1), QTime(0, 0), Qt::UTC),
        QDateTime(QDate(1601, 1, 1), QTime(0, 0), Qt::UTC),
        QDateTime(QDate(2024, 6, 15), QTime(8, 30, 0, 250), Qt::OffsetFromUTC, 7200),
        QDateTime::currentDateTimeUtc(),
    };
    for (const QDateTime &date : dates) {
        SCOPED_TRACE(date.toString(Qt::ISODateWithMs).toStdString());
        EXPECT_EQ(KSTJsonTextWriter::isoDate(date), date.toUTC().toString(Qt::ISODateWithMs));
    }
    EXPECT_EQ(KSTJsonTextWriter::isoDate(QDateTime()), QString());
}

} // namespace
