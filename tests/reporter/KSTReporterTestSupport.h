#pragma once

#include "KSTTestSupport.h"

#include <QDateTime>
#include <QVariantList>
#include <QVariantMap>

#include <QFile>

#include <sqlite3.h>

#include <ctime>
#include <optional>

/// Makes @p zone the process's local time zone for one scope (TZ), so that calendar-day
/// arithmetic can be tested across daylight-saving changes.
class KSTScopedTimeZone
{
public:
    explicit KSTScopedTimeZone(const char *zone) : m_variable("TZ", QByteArray(zone)) { ::tzset(); }
    ~KSTScopedTimeZone() { ::tzset(); }

private:
    KSTScopedEnvironmentVariable m_variable;
};

/// A local date and time "yyyy-MM-ddTHH:mm" in the current zone.
inline QDateTime localTime(const char *text)
{
    return QDateTime::fromString(QString::fromLatin1(text), Qt::ISODate);
}

/// One history record with the six keys; a figure left out is not written.
inline QVariantMap historyRecord(const QString &day, std::optional<qint64> storageUsed,
                                 std::optional<qint64> networkIn = 0,
                                 std::optional<qint64> networkOut = 0)
{
    QVariantMap record{{QStringLiteral("day"), day},
                       {QStringLiteral("filesAdded"), qint64(0)},
                       {QStringLiteral("trashCount"), qint64(0)}};
    if (storageUsed)
        record.insert(QStringLiteral("storageUsed"), *storageUsed);
    if (networkIn)
        record.insert(QStringLiteral("networkIn"), *networkIn);
    if (networkOut)
        record.insert(QStringLiteral("networkOut"), *networkOut);
    return record;
}

/// One application-usage row of a knowledge database: a foreground period.
struct KSTKnowledgeUsageRow
{
    std::optional<QString> bundleIdentifier; ///< NULL when nothing
    QDateTime start;
    double seconds = 0;
    QString stream = QStringLiteral("/app/usage");
};

/// Writes a knowledge database with the ZOBJECT table the usage query reads; false on failure.
inline bool writeKnowledgeDatabase(const QString &path, const QList<KSTKnowledgeUsageRow> &rows)
{
    QFile::remove(path);
    if (!KSTTestSupport::writeFile(path, {}) || !QFile::remove(path))
        return false; // the folders exist now
    sqlite3 *db = nullptr;
    if (sqlite3_open(QFile::encodeName(path).constData(), &db) != SQLITE_OK) {
        sqlite3_close(db);
        return false;
    }
    bool ok = sqlite3_exec(db,
                           "CREATE TABLE ZOBJECT (Z_PK INTEGER PRIMARY KEY, ZSTREAMNAME VARCHAR, "
                           "ZVALUESTRING VARCHAR, ZSTARTDATE TIMESTAMP, ZENDDATE TIMESTAMP)",
                           nullptr, nullptr, nullptr) == SQLITE_OK;
    for (const KSTKnowledgeUsageRow &row : rows) {
        sqlite3_stmt *statement = nullptr;
        ok = ok && sqlite3_prepare_v2(db,
                                      "INSERT INTO ZOBJECT (ZSTREAMNAME, ZVALUESTRING, ZSTARTDATE, "
                                      "ZENDDATE) VALUES (?, ?, ?, ?)",
                                      -1, &statement, nullptr) == SQLITE_OK;
        if (!ok)
            break;
        const double start = double(row.start.toSecsSinceEpoch() - 978'307'200);
        const QByteArray stream = row.stream.toUtf8();
        const QByteArray identifier = row.bundleIdentifier.value_or(QString()).toUtf8();
        sqlite3_bind_text(statement, 1, stream.constData(), -1, SQLITE_TRANSIENT);
        if (row.bundleIdentifier)
            sqlite3_bind_text(statement, 2, identifier.constData(), -1, SQLITE_TRANSIENT);
        else
            sqlite3_bind_null(statement, 2);
        sqlite3_bind_double(statement, 3, start);
        sqlite3_bind_double(statement, 4, start + row.seconds);
        ok = sqlite3_step(statement) == SQLITE_DONE;
        sqlite3_finalize(statement);
    }
    sqlite3_close(db);
    return ok;
}
