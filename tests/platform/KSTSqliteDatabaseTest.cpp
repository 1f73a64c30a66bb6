#include "KSTSqliteDatabase.h"

#include "KSTHostileFiles.h"
#include "KSTTestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sqlite3.h>

#include <future>

using namespace Qt::StringLiterals;
using StepResult = KSTSqliteStatement::StepResult;

namespace {

using KSTTestSupport::readFile;

// Builds the database with the C API directly, so the wrapper is checked against SQLite
// itself rather than against its own writes.
class KSTSqliteDatabaseTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_dir.isValid());
        sqlite3 *db = nullptr;
        ASSERT_EQ(sqlite3_open(QFile::encodeName(m_path).constData(), &db), SQLITE_OK);
        const int created = sqlite3_exec(db, R"sql(
            CREATE TABLE apps (name TEXT, size INTEGER, rating REAL, icon BLOB, note TEXT);
            INSERT INTO apps VALUES ('Safari', 12345678901, 4.5, x'00FF10', NULL);
            INSERT INTO apps VALUES ('Grüße App', -3, 0.25, x'', 'ok');
            INSERT INTO apps VALUES ('O''Brien Tool', 7, NULL, NULL, 'quote');
        )sql",
                                         nullptr, nullptr, nullptr);
        sqlite3_close(db);
        ASSERT_EQ(created, SQLITE_OK);
    }

    QTemporaryDir m_dir;
    QString m_path = m_dir.filePath(u"apps.db"_s);
};

TEST_F(KSTSqliteDatabaseTest, ReadsRowsOfEveryColumnTypeThroughABoundParameter)
{
    KSTSqliteDatabase db(m_path);
    ASSERT_TRUE(db.isOpen()) << qPrintable(db.lastError());
    KSTSqliteStatement statement =
        db.prepare(u"SELECT name, size, rating, icon, note FROM apps WHERE name = ?"_s);
    ASSERT_TRUE(statement.isValid()) << qPrintable(db.lastError());
    ASSERT_TRUE(statement.bindText(1, u"Safari"_s));
    ASSERT_EQ(statement.step(), StepResult::Row);
    EXPECT_EQ(statement.columnCount(), 5);
    EXPECT_EQ(statement.columnText(0), u"Safari"_s);
    EXPECT_EQ(statement.columnInt64(1), 12345678901LL);
    EXPECT_DOUBLE_EQ(statement.columnDouble(2), 4.5);
    EXPECT_EQ(statement.columnBlob(3), QByteArray("\x00\xff\x10", 3));
    EXPECT_TRUE(statement.columnIsNull(4));
    EXPECT_FALSE(statement.columnIsNull(0));
    EXPECT_EQ(statement.step(), StepResult::Done);
}

TEST_F(KSTSqliteDatabaseTest, BoundValuesAreNeitherSqlNorMangled)
{
    KSTSqliteDatabase db(m_path);
    const std::pair<QString, std::optional<qint64>> rows[] = {
        {u"Grüße App"_s, -3},
        {u"O'Brien Tool"_s, 7},
        {u"x' OR '1'='1"_s, std::nullopt},
    };
    for (const auto &[name, size] : rows) {
        KSTSqliteStatement statement = db.prepare(u"SELECT size FROM apps WHERE name = ?1"_s);
        ASSERT_TRUE(statement.bindText(1, name));
        ASSERT_EQ(statement.step(), size ? StepResult::Row : StepResult::Done) << qPrintable(name);
        if (size) {
            EXPECT_EQ(statement.columnInt64(0), *size) << qPrintable(name);
        }
    }

    KSTSqliteStatement byNumber = db.prepare(u"SELECT name FROM apps WHERE size = ?"_s);
    ASSERT_TRUE(byNumber.bindInt64(1, 12345678901LL));
    ASSERT_EQ(byNumber.step(), StepResult::Row);
    EXPECT_EQ(byNumber.columnText(0), u"Safari"_s);
    EXPECT_FALSE(byNumber.bindText(2, u"no such parameter"_s));
}

TEST_F(KSTSqliteDatabaseTest, NeverWrites)
{
    const QByteArray before = readFile(m_path);
    {
        KSTSqliteDatabase db(m_path);
        ASSERT_TRUE(db.isOpen());
        for (const QString &sql : {u"INSERT INTO apps (name) VALUES ('Intruder')"_s,
                                   u"DELETE FROM apps"_s, u"CREATE TABLE other (x)"_s}) {
            KSTSqliteStatement statement = db.prepare(sql);
            // Either refused at prepare or at step; never done.
            if (statement.isValid()) {
                EXPECT_EQ(statement.step(), StepResult::Error) << qPrintable(sql);
            }
            EXPECT_FALSE(db.lastError().isEmpty());
        }
    }
    EXPECT_EQ(readFile(m_path), before);
}

TEST_F(KSTSqliteDatabaseTest, MissingOrFakeFilesFailCleanlyAndAreNotCreated)
{
    const QString missing = m_dir.filePath(u"missing.db"_s);
    const QString fake = m_dir.filePath(u"TCC.db"_s);
    ASSERT_TRUE(KSTTestSupport::writeFile(
        fake, QByteArray("Not a database, only text that pretends to be one.\n").repeated(40)));
    for (const QString &path : {missing, fake}) {
        KSTSqliteDatabase db(path);
        KSTSqliteStatement statement = db.prepare(u"SELECT * FROM access"_s);
        EXPECT_FALSE(statement.isValid());
        EXPECT_FALSE(db.lastError().isEmpty());
        EXPECT_EQ(statement.step(), StepResult::Error);
        EXPECT_TRUE(statement.columnIsNull(0));
        EXPECT_EQ(statement.columnText(0), QString());
    }
    EXPECT_FALSE(QFileInfo::exists(missing));
}

// A read of a WAL database normally creates its -wal and -shm files beside it; on a volume
// being analysed nothing may appear.
TEST_F(KSTSqliteDatabaseTest, WalDatabaseIsReadWithoutCreatingAnythingBesideIt)
{
    const QString wal = m_dir.filePath(u"knowledgeC.db"_s);
    sqlite3 *writer = nullptr;
    ASSERT_EQ(sqlite3_open(QFile::encodeName(wal).constData(), &writer), SQLITE_OK);
    const int created = sqlite3_exec(writer,
                                     "PRAGMA journal_mode=WAL; CREATE TABLE events (name TEXT); "
                                     "INSERT INTO events VALUES ('launch');",
                                     nullptr, nullptr, nullptr);
    sqlite3_close(writer); // the last connection checkpoints and removes -wal and -shm
    ASSERT_EQ(created, SQLITE_OK);
    ASSERT_EQ(readFile(wal).at(18), 2) << "not in WAL mode";
    const QDir dir(m_dir.path());
    const QStringList before = dir.entryList(QDir::Files);
    const QByteArray contents = readFile(wal);

    // What the guard is for: a plain read-only open leaves files behind while it reads.
    sqlite3 *plain = nullptr;
    ASSERT_EQ(
        sqlite3_open_v2(QFile::encodeName(wal).constData(), &plain, SQLITE_OPEN_READONLY, nullptr),
        SQLITE_OK);
    sqlite3_exec(plain, "SELECT count(*) FROM events", nullptr, nullptr, nullptr);
    EXPECT_NE(dir.entryList(QDir::Files), before);
    sqlite3_close(plain);
    for (const char *suffix : {"-wal", "-shm"})
        QFile::remove(wal + QLatin1String(suffix));

    {
        KSTSqliteDatabase db(wal);
        KSTSqliteStatement statement = db.prepare(u"SELECT name FROM events"_s);
        ASSERT_TRUE(statement.isValid()) << qPrintable(db.lastError());
        ASSERT_EQ(statement.step(), StepResult::Row);
        EXPECT_EQ(statement.columnText(0), u"launch"_s);
        EXPECT_EQ(dir.entryList(QDir::Files), before);
    }
    EXPECT_EQ(dir.entryList(QDir::Files), before);
    EXPECT_EQ(readFile(wal), contents);
}

TEST_F(KSTSqliteDatabaseTest, AFifoInPlaceOfTheDatabaseIsNotOpened)
{
    const QString fifo = m_dir.filePath(u"TCC.db"_s);
    ASSERT_TRUE(KSTHostileFiles::makeFifo(fifo));
    auto opening = std::async(std::launch::async, [&fifo] {
        KSTSqliteDatabase db(fifo);
        return std::pair{db.isOpen() || db.prepare(u"SELECT 1"_s).isValid(), db.lastError()};
    });
    if (opening.wait_for(std::chrono::seconds(10)) != std::future_status::ready) {
        ADD_FAILURE() << "the FIFO blocked the open";
        QFile writer(fifo);
        writer.open(QIODevice::WriteOnly);
    }
    const auto [opened, error] = opening.get();
    EXPECT_FALSE(opened);
    EXPECT_TRUE(error.contains(u"not a readable regular file"_s)) << qPrintable(error);
}

TEST_F(KSTSqliteDatabaseTest, MovedStatementsKeepWorkingAfterTheDatabaseCloses)
{
    KSTSqliteStatement kept;
    {
        KSTSqliteDatabase db(m_path);
        KSTSqliteStatement first = db.prepare(u"SELECT count(*) FROM apps"_s);
        kept = std::move(first);
        EXPECT_FALSE(first.isValid());
    }
    ASSERT_TRUE(kept.isValid());
    ASSERT_EQ(kept.step(), StepResult::Row);
    EXPECT_EQ(kept.columnInt(0), 3);
}

// The recorded privacy database of macOS 10.15 predates the auth_value column (added in
// macOS 11) and holds no kTCCServiceSystemPolicyAllFiles rows: the modern query must fail to
// prepare, and the 10.15 form answers for a client that has a row.
TEST(KSTSqliteDatabaseRecorded, AnswersPrivacyQueriesOfTheMacOS1015Schema)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath(u"TCC.db"_s);
    ASSERT_TRUE(
        QFile::copy(KSTTestSupport::testDataPath(u"macos/TCC.macos10.15.plaso-test.db"_s), path));
    KSTSqliteDatabase db(path);
    ASSERT_TRUE(db.isOpen()) << qPrintable(db.lastError());

    EXPECT_FALSE(db.prepare(u"SELECT auth_value FROM access WHERE client = ?"_s).isValid());
    EXPECT_TRUE(db.lastError().contains("auth_value"_L1)) << qPrintable(db.lastError());

    const std::tuple<const char *, const char *, StepResult> rows[] = {
        {"kTCCServiceSystemPolicyDownloadsFolder", "com.spotify.client", StepResult::Row},
        {"kTCCServiceCamera", "com.google.Chrome", StepResult::Row},
        {"kTCCServiceSystemPolicyAllFiles", "com.spotify.client", StepResult::Done},
    };
    for (const auto &[service, client, result] : rows) {
        KSTSqliteStatement statement =
            db.prepare(u"SELECT allowed FROM access WHERE service = ? AND client = ? LIMIT 1"_s);
        ASSERT_TRUE(statement.isValid()) << qPrintable(db.lastError());
        ASSERT_TRUE(statement.bindText(1, QString::fromLatin1(service)));
        ASSERT_TRUE(statement.bindText(2, QString::fromLatin1(client)));
        ASSERT_EQ(statement.step(), result) << service << " " << client;
        if (result == StepResult::Row) {
            EXPECT_EQ(statement.columnInt(0), 1) << service << " " << client;
        }
    }
}

} // namespace
