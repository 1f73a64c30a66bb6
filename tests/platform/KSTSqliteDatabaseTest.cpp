#include "KSTSqliteDatabase.h"

#include "KSTTestSupport.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sqlite3.h>

namespace {

// Builds a database with the C API directly, so the wrapper is checked against SQLite
// itself rather than against its own writes.
bool createDatabase(const QString &path, const char *sql)
{
    sqlite3 *db = nullptr;
    bool ok = sqlite3_open_v2(QFile::encodeName(path).constData(), &db,
                              SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) == SQLITE_OK;
    char *message = nullptr;
    ok = ok && sqlite3_exec(db, sql, nullptr, nullptr, &message) == SQLITE_OK;
    if (message)
        ADD_FAILURE() << message;
    sqlite3_free(message);
    sqlite3_close(db);
    return ok;
}

class KSTSqliteDatabaseTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_dir.isValid());
        m_path = m_dir.filePath(QStringLiteral("apps.db"));
        ASSERT_TRUE(createDatabase(m_path, R"sql(
            CREATE TABLE apps (name TEXT, size INTEGER, rating REAL, icon BLOB, note TEXT);
            INSERT INTO apps VALUES ('Safari', 12345678901, 4.5, x'00FF10', NULL);
            INSERT INTO apps VALUES ('Grüße App', -3, 0.25, x'', 'ok');
            INSERT INTO apps VALUES ('O''Brien Tool', 7, NULL, NULL, 'quote');
        )sql"));
    }

    QTemporaryDir m_dir;
    QString m_path;
};

TEST_F(KSTSqliteDatabaseTest, ReadsRowsOfEveryColumnTypeThroughABoundParameter)
{
    KSTSqliteDatabase db(m_path);
    ASSERT_TRUE(db.isOpen()) << qPrintable(db.lastError());
    KSTSqliteStatement statement = db.prepare(
        QStringLiteral("SELECT name, size, rating, icon, note FROM apps WHERE name = ?"));
    ASSERT_TRUE(statement.isValid()) << qPrintable(db.lastError());
    ASSERT_TRUE(statement.bindText(1, QStringLiteral("Safari")));
    ASSERT_EQ(statement.step(), KSTSqliteStatement::StepResult::Row);
    EXPECT_EQ(statement.columnCount(), 5);
    EXPECT_EQ(statement.columnText(0), QStringLiteral("Safari"));
    EXPECT_EQ(statement.columnInt64(1), 12345678901LL);
    EXPECT_DOUBLE_EQ(statement.columnDouble(2), 4.5);
    EXPECT_EQ(statement.columnBlob(3), QByteArray("\x00\xff\x10", 3));
    EXPECT_TRUE(statement.columnIsNull(4));
    EXPECT_FALSE(statement.columnIsNull(0));
    EXPECT_EQ(statement.step(), KSTSqliteStatement::StepResult::Done);
}

TEST_F(KSTSqliteDatabaseTest, BoundTextIsNeitherSqlNorMangled)
{
    KSTSqliteDatabase db(m_path);
    KSTSqliteStatement statement =
        db.prepare(QStringLiteral("SELECT size FROM apps WHERE name = ?1"));
    ASSERT_TRUE(statement.isValid());
    const struct
    {
        QString name;
        KSTSqliteStatement::StepResult result;
        qint64 size;
    } rows[] = {
        {QStringLiteral("Grüße App"), KSTSqliteStatement::StepResult::Row, -3},
        {QStringLiteral("O'Brien Tool"), KSTSqliteStatement::StepResult::Row, 7},
        {QStringLiteral("x' OR '1'='1"), KSTSqliteStatement::StepResult::Done, 0},
    };
    for (const auto &row : rows) {
        // A fresh statement per row: re-binding a stepped statement needs a reset, which the
        // wrapper leaves to a new prepare.
        statement = db.prepare(QStringLiteral("SELECT size FROM apps WHERE name = ?1"));
        ASSERT_TRUE(statement.bindText(1, row.name));
        ASSERT_EQ(statement.step(), row.result) << qPrintable(row.name);
        if (row.result == KSTSqliteStatement::StepResult::Row) {
            EXPECT_EQ(statement.columnInt64(0), row.size) << qPrintable(row.name);
        }
    }

    KSTSqliteStatement byNumber =
        db.prepare(QStringLiteral("SELECT name FROM apps WHERE size = ? AND note = ?"));
    ASSERT_TRUE(byNumber.bindInt64(1, 7));
    ASSERT_TRUE(byNumber.bindText(2, QStringLiteral("quote")));
    ASSERT_EQ(byNumber.step(), KSTSqliteStatement::StepResult::Row);
    EXPECT_EQ(byNumber.columnText(0), QStringLiteral("O'Brien Tool"));
    EXPECT_FALSE(byNumber.bindText(3, QStringLiteral("no such parameter")));
}

TEST_F(KSTSqliteDatabaseTest, NeverWrites)
{
    const QByteArray before = [this] {
        QFile file(m_path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }();
    {
        KSTSqliteDatabase db(m_path);
        ASSERT_TRUE(db.isOpen());
        const QString writes[] = {
            QStringLiteral("INSERT INTO apps (name) VALUES ('Intruder')"),
            QStringLiteral("DELETE FROM apps"),
            QStringLiteral("CREATE TABLE other (x)"),
        };
        for (const QString &sql : writes) {
            KSTSqliteStatement statement = db.prepare(sql);
            // Either refused at prepare or at step; never done.
            if (statement.isValid()) {
                EXPECT_EQ(statement.step(), KSTSqliteStatement::StepResult::Error)
                    << qPrintable(sql);
            }
            EXPECT_FALSE(db.lastError().isEmpty());
        }
    }
    QFile file(m_path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), before);
}

TEST_F(KSTSqliteDatabaseTest, MissingFileIsNotCreatedAndFailsCleanly)
{
    const QString missing = m_dir.filePath(QStringLiteral("missing.db"));
    KSTSqliteDatabase db(missing);
    EXPECT_FALSE(db.isOpen());
    EXPECT_FALSE(db.lastError().isEmpty());
    KSTSqliteStatement statement = db.prepare(QStringLiteral("SELECT 1"));
    EXPECT_FALSE(statement.isValid());
    EXPECT_EQ(statement.step(), KSTSqliteStatement::StepResult::Error);
    EXPECT_FALSE(QFileInfo::exists(missing));
}

TEST_F(KSTSqliteDatabaseTest, ATextFileOpensButFailsToPrepare)
{
    const QString fake = m_dir.filePath(QStringLiteral("TCC.db"));
    ASSERT_TRUE(KSTTestSupport::writeFile(
        fake,
        QByteArray("This is not a database, only text that pretends to be one.\n").repeated(40)));
    KSTSqliteDatabase db(fake);
    KSTSqliteStatement statement = db.prepare(QStringLiteral("SELECT * FROM access"));
    EXPECT_FALSE(statement.isValid());
    EXPECT_FALSE(db.lastError().isEmpty());
    EXPECT_EQ(statement.columnText(0), QString());
    EXPECT_TRUE(statement.columnIsNull(0));
}

TEST_F(KSTSqliteDatabaseTest, MovedStatementsKeepWorkingAfterTheDatabaseCloses)
{
    KSTSqliteStatement kept;
    {
        KSTSqliteDatabase db(m_path);
        KSTSqliteStatement first = db.prepare(QStringLiteral("SELECT count(*) FROM apps"));
        kept = std::move(first);
        EXPECT_FALSE(first.isValid());
    }
    ASSERT_TRUE(kept.isValid());
    ASSERT_EQ(kept.step(), KSTSqliteStatement::StepResult::Row);
    EXPECT_EQ(kept.columnInt(0), 3);
}

// The recorded privacy database of macOS 10.15 predates the auth_value column (added in
// macOS 11) and holds no kTCCServiceSystemPolicyAllFiles rows: the modern query must fail to
// prepare, and the 10.15 form answers for a client that has a row.
TEST(KSTSqliteDatabaseRecorded, AnswersPrivacyQueriesOfTheMacOS1015Schema)
{
    const QString copy =
        KSTTestSupport::testDataPath(QStringLiteral("macos/TCC.macos10.15.plaso-test.db"));
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("TCC.db"));
    ASSERT_TRUE(QFile::copy(copy, path));
    KSTSqliteDatabase db(path);
    ASSERT_TRUE(db.isOpen()) << qPrintable(db.lastError());

    KSTSqliteStatement modern =
        db.prepare(QStringLiteral("SELECT auth_value FROM access WHERE service = "
                                  "'kTCCServiceSystemPolicyAllFiles' AND client = ? LIMIT 1"));
    EXPECT_FALSE(modern.isValid());
    EXPECT_TRUE(db.lastError().contains(QLatin1String("auth_value"))) << qPrintable(db.lastError());

    const struct
    {
        const char *service;
        const char *client;
        KSTSqliteStatement::StepResult result;
    } rows[] = {
        {"kTCCServiceSystemPolicyDownloadsFolder", "com.spotify.client",
         KSTSqliteStatement::StepResult::Row},
        {"kTCCServiceCamera", "com.google.Chrome", KSTSqliteStatement::StepResult::Row},
        {"kTCCServiceSystemPolicyAllFiles", "com.spotify.client",
         KSTSqliteStatement::StepResult::Done},
        {"kTCCServiceCamera", "com.spotify.client", KSTSqliteStatement::StepResult::Done},
    };
    for (const auto &row : rows) {
        KSTSqliteStatement statement = db.prepare(
            QStringLiteral("SELECT allowed FROM access WHERE service = ? AND client = ? LIMIT 1"));
        ASSERT_TRUE(statement.isValid()) << qPrintable(db.lastError());
        ASSERT_TRUE(statement.bindText(1, QString::fromLatin1(row.service)));
        ASSERT_TRUE(statement.bindText(2, QString::fromLatin1(row.client)));
        ASSERT_EQ(statement.step(), row.result) << row.service << " " << row.client;
        if (row.result == KSTSqliteStatement::StepResult::Row) {
            EXPECT_EQ(statement.columnInt(0), 1) << row.service << " " << row.client;
        }
    }
}

} // namespace
