#pragma once

#include <QByteArray>
#include <QString>

#include <memory>

struct sqlite3;
struct sqlite3_stmt;

/// A read-only SQLite prepared statement; finalised on destruction.
class KSTSqliteStatement
{
public:
    enum class StepResult { Row, Done, Error };

    KSTSqliteStatement() = default;
    ~KSTSqliteStatement();
    KSTSqliteStatement(KSTSqliteStatement &&other) noexcept;
    KSTSqliteStatement &operator=(KSTSqliteStatement &&other) noexcept;
    KSTSqliteStatement(const KSTSqliteStatement &) = delete;
    KSTSqliteStatement &operator=(const KSTSqliteStatement &) = delete;

    /// False when the prepare failed.
    bool isValid() const { return m_statement != nullptr; }

    /// Binds a text parameter (1-based) as a transient copy.
    bool bindText(int index, const QString &value);
    bool bindInt64(int index, qint64 value);
    bool bindDouble(int index, double value);

    StepResult step();

    int columnCount() const;
    bool columnIsNull(int column) const;
    int columnInt(int column) const;
    qint64 columnInt64(int column) const;
    double columnDouble(int column) const;
    QString columnText(int column) const;
    QByteArray columnBlob(int column) const;

private:
    friend class KSTSqliteDatabase;
    explicit KSTSqliteStatement(sqlite3_stmt *statement) : m_statement(statement) {}
    sqlite3_stmt *m_statement = nullptr;
};

/// A SQLite database of the analysed machine, opened read-only and immutable
/// (SQLITE_OPEN_READONLY, "immutable=1"): the system databases Kestrel reads (privacy,
/// knowledge) are never written, and nothing is ever created beside them, not even the -wal
/// and -shm files of a database in WAL mode. Immutable also means that changes still in a
/// WAL file beside it are not seen. Only a regular file is opened (a FIFO never blocks).
/// Closed on destruction. One object is used by one thread at a time.
class KSTSqliteDatabase
{
public:
    /// Opens @p path read-only. A missing file is not created, and a path that is not a
    /// regular file is not opened; check isOpen().
    explicit KSTSqliteDatabase(const QString &path);
    ~KSTSqliteDatabase();
    KSTSqliteDatabase(const KSTSqliteDatabase &) = delete;
    KSTSqliteDatabase &operator=(const KSTSqliteDatabase &) = delete;

    bool isOpen() const { return m_db != nullptr; }
    /// The last SQLite error text, for diagnostics.
    QString lastError() const;

    /// Prepares @p sql; an invalid statement when the database is not open or the SQL fails
    /// to prepare (for instance a missing table, or a file that is not a database).
    KSTSqliteStatement prepare(const QString &sql);

private:
    sqlite3 *m_db = nullptr;
    QString m_openError;
};
