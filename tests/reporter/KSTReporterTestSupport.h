#pragma once

#include "KSTTestSupport.h"

#include <QDateTime>
#include <QVariantList>
#include <QVariantMap>

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
