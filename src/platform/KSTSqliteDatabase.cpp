#include "KSTSqliteDatabase.h"

#include "KSTReadOnlyFile.h"

#include <QFile>
#include <QUrl>

#include <sqlite3.h>

#include <utility>

KSTSqliteStatement::~KSTSqliteStatement()
{
    sqlite3_finalize(m_statement);
}

KSTSqliteStatement::KSTSqliteStatement(KSTSqliteStatement &&other) noexcept
    : m_statement(std::exchange(other.m_statement, nullptr))
{
}

KSTSqliteStatement &KSTSqliteStatement::operator=(KSTSqliteStatement &&other) noexcept
{
    if (this != &other) {
        sqlite3_finalize(m_statement);
        m_statement = std::exchange(other.m_statement, nullptr);
    }
    return *this;
}

bool KSTSqliteStatement::bindText(int index, const QString &value)
{
    if (!m_statement)
        return false;
    const QByteArray utf8 = value.toUtf8();
    return sqlite3_bind_text(m_statement, index, utf8.constData(), int(utf8.size()),
                             SQLITE_TRANSIENT) == SQLITE_OK;
}

bool KSTSqliteStatement::bindInt64(int index, qint64 value)
{
    return m_statement && sqlite3_bind_int64(m_statement, index, value) == SQLITE_OK;
}

bool KSTSqliteStatement::bindDouble(int index, double value)
{
    return m_statement && sqlite3_bind_double(m_statement, index, value) == SQLITE_OK;
}

KSTSqliteStatement::StepResult KSTSqliteStatement::step()
{
    if (!m_statement)
        return StepResult::Error;
    switch (sqlite3_step(m_statement)) {
    case SQLITE_ROW:
        return StepResult::Row;
    case SQLITE_DONE:
        return StepResult::Done;
    default:
        return StepResult::Error;
    }
}

int KSTSqliteStatement::columnCount() const
{
    return m_statement ? sqlite3_column_count(m_statement) : 0;
}

bool KSTSqliteStatement::columnIsNull(int column) const
{
    return !m_statement || sqlite3_column_type(m_statement, column) == SQLITE_NULL;
}

int KSTSqliteStatement::columnInt(int column) const
{
    return m_statement ? sqlite3_column_int(m_statement, column) : 0;
}

qint64 KSTSqliteStatement::columnInt64(int column) const
{
    return m_statement ? sqlite3_column_int64(m_statement, column) : 0;
}

double KSTSqliteStatement::columnDouble(int column) const
{
    return m_statement ? sqlite3_column_double(m_statement, column) : 0.0;
}

QString KSTSqliteStatement::columnText(int column) const
{
    if (!m_statement)
        return {};
    // The text pointer must be fetched before the byte count (SQLite's documented order).
    const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(m_statement, column));
    return QString::fromUtf8(text, sqlite3_column_bytes(m_statement, column));
}

QByteArray KSTSqliteStatement::columnBlob(int column) const
{
    if (!m_statement)
        return {};
    const void *blob = sqlite3_column_blob(m_statement, column);
    return QByteArray(static_cast<const char *>(blob), sqlite3_column_bytes(m_statement, column));
}

KSTSqliteDatabase::KSTSqliteDatabase(const QString &path)
{
    // SQLite opens the file itself, blocking on a FIFO; so the path is checked first, on a
    // non-blocking open of its own.
    if (!KSTReadOnlyFile::isReadableRegularFile(path)) {
        m_openError = QStringLiteral("%1 is not a readable regular file.").arg(path);
        return;
    }
    // immutable=1: the file is read as it lies, without locks, journals or the -wal and -shm
    // files a read of a WAL database would otherwise create beside it. A database that is not
    // one is only noticed at the first prepare, which is where callers look for failure anyway.
    const QByteArray uri =
        "file://" + QUrl::toPercentEncoding(QFile::encodeName(path), "/") + "?immutable=1";
    sqlite3 *db = nullptr;
    const int rc =
        sqlite3_open_v2(uri.constData(), &db,
                        SQLITE_OPEN_READONLY | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX, nullptr);
    if (rc == SQLITE_OK) {
        m_db = db;
        return;
    }
    m_openError =
        db ? QString::fromUtf8(sqlite3_errmsg(db)) : QString::fromUtf8(sqlite3_errstr(rc));
    sqlite3_close(db);
}

KSTSqliteDatabase::~KSTSqliteDatabase()
{
    // Statements are independent objects; _v2 defers the close until the last one is
    // finalised instead of failing with SQLITE_BUSY.
    sqlite3_close_v2(m_db);
}

QString KSTSqliteDatabase::lastError() const
{
    if (!m_db)
        return m_openError;
    return QString::fromUtf8(sqlite3_errmsg(m_db));
}

KSTSqliteStatement KSTSqliteDatabase::prepare(const QString &sql)
{
    if (!m_db)
        return KSTSqliteStatement();
    const QByteArray utf8 = sql.toUtf8();
    sqlite3_stmt *statement = nullptr;
    if (sqlite3_prepare_v2(m_db, utf8.constData(), int(utf8.size()), &statement, nullptr) !=
        SQLITE_OK) {
        sqlite3_finalize(statement);
        return KSTSqliteStatement();
    }
    return KSTSqliteStatement(statement);
}
