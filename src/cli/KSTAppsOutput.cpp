#include "KSTAppsOutput.h"

#include "KSTFormatting.h"
#include "KSTLayoutWords.h"
#include "KSTTerminalText.h"

#include <QJsonArray>

using Info = KSTFormatting;
using KSTTerminalText::escaped;

namespace {

QJsonValue dateJson(const std::optional<QDateTime> &date)
{
    if (!date || !date->isValid())
        return QJsonValue(QJsonValue::Null);
    return date->toUTC().toString(Qt::ISODateWithMs);
}

QJsonValue bytesJson(quint64 bytes)
{
    return QJsonValue(qint64(bytes));
}

QString sizeText(const KSTInstalledAppRecord &record)
{
    const quint64 bytes =
        record.totalSizeBytes != 0 ? record.totalSizeBytes : record.bundleSizeBytes;
    return bytes == 0 ? QStringLiteral("—") : Info::formatBytes(bytes);
}

} // namespace

namespace KSTAppsOutput {

QJsonObject relatedPathJson(const KSTInstalledAppRelatedPath &relatedPath)
{
    return QJsonObject{{QStringLiteral("displayPath"), relatedPath.displayPath},
                       {QStringLiteral("path"), relatedPath.path},
                       {QStringLiteral("bytes"), bytesJson(relatedPath.bytes)},
                       {QStringLiteral("isStrongMatch"), relatedPath.isStrongMatch},
                       {QStringLiteral("isRemovable"), relatedPath.isRemovable},
                       {QStringLiteral("matchRule"), relatedPath.matchRule},
                       {QStringLiteral("matchedToken"), relatedPath.matchedToken}};
}

QJsonObject recordJson(const KSTInstalledAppRecord &record)
{
    QJsonArray related;
    for (const KSTInstalledAppRelatedPath &path : record.relatedPaths)
        related.append(relatedPathJson(path));
    return QJsonObject{
        {QStringLiteral("name"), record.name},
        {QStringLiteral("version"), record.version},
        {QStringLiteral("buildVersion"), record.buildVersion},
        {QStringLiteral("bundleIdentifier"), record.bundleIdentifier},
        {QStringLiteral("bundlePath"), record.bundlePath},
        {QStringLiteral("developer"), record.developer},
        {QStringLiteral("category"), record.category},
        {QStringLiteral("architectureLabel"), record.architectureLabel},
        {QStringLiteral("source"), qint64(record.source)},
        {QStringLiteral("bundleSizeBytes"), bytesJson(record.bundleSizeBytes)},
        {QStringLiteral("totalSizeBytes"), bytesJson(record.totalSizeBytes)},
        {QStringLiteral("installedDate"), dateJson(record.installedDate)},
        {QStringLiteral("lastOpenedDate"), dateJson(record.lastOpenedDate)},
        {QStringLiteral("relatedPaths"), related},
        {QStringLiteral("relatedPathsLoaded"), record.relatedPathsLoaded},
        {QStringLiteral("isUnused"), record.isUnused()},
    };
}

QJsonObject snapshotJson(const KSTAppInventorySnapshot &snapshot)
{
    QJsonArray apps;
    for (const KSTInstalledAppRecord &app : snapshot.apps)
        apps.append(recordJson(app));
    return QJsonObject{
        {QStringLiteral("apps"), apps},
        {QStringLiteral("scannedCount"), bytesJson(snapshot.scannedCount)},
        {QStringLiteral("totalCount"), bytesJson(snapshot.totalCount)},
        {QStringLiteral("totalBytes"), bytesJson(snapshot.totalBytes)},
        {QStringLiteral("progress"), snapshot.progress},
        {QStringLiteral("statusText"), snapshot.statusText},
        {QStringLiteral("isComplete"), snapshot.isComplete},
        {QStringLiteral("isSizeCalculationComplete"), snapshot.isSizeCalculationComplete},
        {QStringLiteral("scanDate"), dateJson(snapshot.scanDate)},
    };
}

void printInventory(QTextStream &out, const KSTAppInventorySnapshot &snapshot)
{
    qsizetype unused = 0;
    for (const KSTInstalledAppRecord &app : snapshot.apps) {
        unused += app.isUnused() ? 1 : 0;
        out << escaped(app.name).leftJustified(28) << ' ' << escaped(app.version).leftJustified(12)
            << ' ' << escaped(app.developer).leftJustified(22) << ' '
            << escaped(app.category).leftJustified(16) << ' '
            << app.architectureLabel.leftJustified(21) << ' '
            << KSTLayoutWords::current().appSourceLabel(app.source).leftJustified(9) << ' '
            << Info::formatAppManageInstalledDate(app.installedDate).leftJustified(12) << ' '
            << Info::formatAppManageLastOpened(app.lastOpenedDate).leftJustified(14) << ' '
            << sizeText(app).rightJustified(9) << "  " << escaped(app.bundlePath) << '\n';
    }
    out << snapshot.apps.size() << " app(s), " << Info::formatBytes(snapshot.totalBytes)
        << " in all (" << snapshot.totalBytes << " bytes), " << unused << " unused · "
        << snapshot.statusText << '\n';
    out.flush();
}

void printApp(QTextStream &out, const KSTInstalledAppRecord &record, const QStringList &tokens,
              const KSTAppUninstallSelection &selection)
{
    const auto field = [&out](const char *label, const QString &value) {
        out << QString::fromLatin1(label).leftJustified(14) << escaped(value) << '\n';
    };
    field("Name", record.name);
    field("Version", record.version);
    field("Build", record.buildVersion);
    field("Identifier", record.bundleIdentifier);
    field("Path", record.bundlePath);
    field("Developer", record.developer);
    field("Category", record.category);
    field("Architecture", record.architectureLabel);
    field("Source", KSTLayoutWords::current().appSourceDetailLabel(record.source));
    field("Installed", Info::formatAppManageInstalledDate(record.installedDate));
    field("Last opened", Info::formatAppManageLastOpened(record.lastOpenedDate));
    field("Unused", record.isUnused() ? QStringLiteral("yes") : QStringLiteral("no"));
    field("App size", Info::formatBytes(record.bundleSizeBytes));
    field("Total size", Info::formatBytes(record.totalSizeBytes));
    field("Tokens", tokens.join(QStringLiteral(", ")));
    out << "\nRelated files (" << record.relatedPaths.size() << "):\n";
    if (record.relatedPaths.isEmpty())
        out << "  none found\n";
    for (const KSTAppUninstallRow &row : selection.rows()) {
        if (row.isBundle)
            continue;
        out << "  " << Info::formatBytes(row.bytes).rightJustified(10) << "  "
            << (row.isStrongMatch ? "strong" : "weak  ") << "  "
            << (row.isRemovable ? "removable " : "stays     ") << escaped(row.displayPath)
            << "\n                ↳ " << escaped(row.explanation) << '\n';
    }
    out << "\nAn uninstall would move by default:\n";
    if (!selection.canUninstall())
        out << "  nothing: " << selection.unavailableReason() << '\n';
    else
        for (const QString &path : selection.uninstallPaths())
            out << "  " << escaped(path) << '\n';
    out.flush();
}

void printRows(QTextStream &out, const KSTAppUninstallSelection &selection)
{
    for (const KSTAppUninstallRow &row : selection.rows()) {
        out << (row.isTicked ? "[x] " : "[ ] ") << Info::formatBytes(row.bytes).rightJustified(10)
            << "  " << escaped(row.displayPath);
        if (row.isBundle)
            out << "  (the application)";
        else if (!row.isRemovable)
            out << "  (stays: outside the places an uninstall may touch)";
        else if (!row.isTickable)
            out << "  (fixed: another copy of the app is installed)";
        else if (!row.isStrongMatch)
            out << "  (weak match: " << escaped(row.explanation) << ')';
        out << '\n';
    }
    out.flush();
}

} // namespace KSTAppsOutput
