#include "KSTQuarantineInfo.h"

#include "KSTEnvironment.h"
#include "KSTSqliteDatabase.h"
#include "KSTUtilitiesLocations.h"
#include "KSTUtilitiesManager.h"

KSTQuarantineInfo KSTQuarantineInfo::fromAttribute(const QByteArray &value)
{
    KSTQuarantineInfo info;
    // A C string on macOS: what follows a NUL is not part of it.
    const QByteArray text =
        value.left(value.indexOf('\0') < 0 ? value.size() : value.indexOf('\0'));
    const QList<QByteArray> fields = text.split(';');
    if (fields.size() >= 3)
        info.agentName = QString::fromUtf8(fields.at(2)).trimmed();
    if (fields.size() >= 4)
        info.eventIdentifier = QString::fromUtf8(fields.at(3)).trimmed();
    return info;
}

KSTQuarantineInfo KSTQuarantineInfo::forPath(const QString &path)
{
    const std::optional<QByteArray> value =
        KSTUtilitiesManager::xattrDataForPath(path, KSTUtilitiesLocations::QuarantineAttribute);
    if (!value)
        return {};
    KSTQuarantineInfo info = fromAttribute(*value);
    info.joinDatabase(
        KSTEnvironment::current().homePath(KSTUtilitiesLocations::QuarantineDatabase));
    return info;
}

void KSTQuarantineInfo::joinDatabase(const QString &databasePath)
{
    if (eventIdentifier.isEmpty())
        return;
    KSTSqliteDatabase database(databasePath);
    if (!database.isOpen())
        return;
    KSTSqliteStatement statement = database.prepare(
        QStringLiteral("SELECT LSQuarantineAgentName, LSQuarantineAgentBundleIdentifier, "
                       "LSQuarantineDataURLString FROM LSQuarantineEvent "
                       "WHERE LSQuarantineEventIdentifier = ? COLLATE NOCASE LIMIT 1"));
    if (!statement.isValid() || !statement.bindText(1, eventIdentifier) ||
        statement.step() != KSTSqliteStatement::StepResult::Row)
        return;
    const QString name = statement.columnIsNull(0) ? QString() : statement.columnText(0);
    if (!name.isEmpty())
        agentName = name;
    agentBundleIdentifier = statement.columnIsNull(1) ? QString() : statement.columnText(1);
    dataURL = statement.columnIsNull(2) ? QString() : statement.columnText(2);
}
