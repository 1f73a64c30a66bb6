#include "KSTReporterSources.h"
#include "KSTFormatting.h"

#include "KSTEnvironment.h"
#include "KSTLinuxPlaces.h"
#include "KSTPermissionChecker.h"
#include "KSTPropertyList.h"
#include "KSTReadOnlyFile.h"
#include "KSTReporterLinuxSources.h"
#include "KSTSqliteDatabase.h"

#include <QFileInfo>
#include <QMetaType>
#include <QRegularExpression>
#include <QStringDecoder>

#include <algorithm>

namespace KSTReporterSources {

namespace {

const QString InstallLog = QStringLiteral("/var/log/install.log");
// The linux layout's counterparts: dpkg's log, and GNOME Shell's record of when each
// application was last seen (under $XDG_DATA_HOME).
const QString DpkgLog = QStringLiteral("/var/log/dpkg.log");
const QString ApplicationState = QStringLiteral("/gnome-shell/application_state");
const QString KnowledgeDatabase =
    QStringLiteral("Library/Application Support/Knowledge/knowledgeC.db");
const QString UsageQuery = QStringLiteral(
    "SELECT ZVALUESTRING, SUM(ZENDDATE - ZSTARTDATE) FROM ZOBJECT WHERE ZSTREAMNAME = "
    "'/app/usage' AND ZSTARTDATE >= ? GROUP BY ZVALUESTRING ORDER BY 2 DESC LIMIT ?");

QString withoutExtension(const QString &fileName)
{
    const qsizetype dot = fileName.lastIndexOf(QLatin1Char('.'));
    return dot > 0 ? fileName.left(dot) : fileName;
}

QString lastPathComponent(const QString &path)
{
    QString trimmed = path;
    while (trimmed.size() > 1 && trimmed.endsWith(QLatin1Char('/')))
        trimmed.chop(1);
    return trimmed.mid(trimmed.lastIndexOf(QLatin1Char('/')) + 1);
}

} // namespace

QByteArray fileTail(const QString &path, qint64 bytes)
{
    KSTReadOnlyFile file;
    if (bytes <= 0 || !file.open(path))
        return {};
    const qint64 size = file.identity().size;
    const qint64 length = std::min(size, bytes);
    if (length <= 0)
        return {};
    QByteArray tail(length, Qt::Uninitialized);
    const qint64 read = file.readAt(size - length, tail.data(), length);
    if (read < 0)
        return {};
    tail.truncate(read);
    return tail;
}

QStringList removedApplicationsInLogTail(const QByteArray &tail)
{
    QStringDecoder decoder(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
    const QString text = decoder.decode(tail);
    if (decoder.hasError())
        return {};
    static const QRegularExpression removed(QStringLiteral("Removed\\s+(.+?)\\.app"),
                                            QRegularExpression::CaseInsensitiveOption);
    QStringList names;
    for (QStringView line : QStringView(text).split(QLatin1Char('\n'))) {
        if (!line.contains(QLatin1String("removed"), Qt::CaseInsensitive))
            continue;
        const QRegularExpressionMatch match = removed.match(line);
        const QString name = match.hasMatch() ? match.captured(1) : QString();
        if (!name.isEmpty() && !names.contains(name))
            names.append(name);
    }
    return names;
}

QStringList applicationsRemovedSince(const QDateTime &since)
{
    // Every removal in the tail counts, whatever its date: the log's own dates are not read.
    Q_UNUSED(since);
    const KSTEnvironment environment = KSTEnvironment::current();
    if (environment.layout() == KSTLayout::Linux)
        return KSTReporterLinuxSources::removedPackagesInLogTail(
            fileTail(environment.systemPath(DpkgLog), InstallLogTailBytes));
    const QString path = environment.systemPath(InstallLog);
    return removedApplicationsInLogTail(fileTail(path, InstallLogTailBytes));
}

QStringList packagesInstalledSince(const QDateTime &since)
{
    const KSTEnvironment environment = KSTEnvironment::current();
    if (environment.layout() != KSTLayout::Linux)
        return {};
    return KSTReporterLinuxSources::installedPackagesInLogTail(
        fileTail(environment.systemPath(DpkgLog), InstallLogTailBytes), since);
}

QList<KSTReporterAppUsageEntry> appUsageTimeSince(const QDateTime &since, int limit,
                                                  const std::function<bool()> &isCancelled,
                                                  const BundleLookup &lookup)
{
    QList<KSTReporterAppUsageEntry> entries =
        appUsageFromKnowledgeDatabaseSince(since, limit, lookup);
    if (!entries.isEmpty())
        return entries;
    if (isCancelled && isCancelled())
        return {};
    return appUsageFromSpotlightSince(since, limit);
}

QList<KSTReporterAppUsageEntry>
appUsageFromKnowledgeDatabaseSince(const QDateTime &since, int limit, const BundleLookup &lookup)
{
    const QString home = KSTPermissionChecker::accessibleUserHomeDirectoryPath();
    if (home.isEmpty())
        return {};
    return appUsageFromKnowledgeDatabaseAtPath(home + QLatin1Char('/') + KnowledgeDatabase, since,
                                               limit, lookup);
}

QList<KSTReporterAppUsageEntry> appUsageFromKnowledgeDatabaseAtPath(const QString &databasePath,
                                                                    const QDateTime &since,
                                                                    int limit,
                                                                    const BundleLookup &lookup)
{
    QList<KSTReporterAppUsageEntry> entries;
    if (!QFileInfo::exists(databasePath) || !since.isValid())
        return entries;
    KSTSqliteDatabase database(databasePath);
    if (!database.isOpen())
        return entries;
    KSTSqliteStatement statement = database.prepare(UsageQuery);
    if (!statement.isValid())
        return entries;
    const double sinceSeconds =
        double(since.toMSecsSinceEpoch()) / 1000.0 - double(ReferenceDateEpochSeconds);
    statement.bindDouble(1, sinceSeconds);
    statement.bindInt64(2, qint64(limit));
    double largest = 1.0;
    while (statement.step() == KSTSqliteStatement::StepResult::Row) {
        if (statement.columnIsNull(0))
            continue;
        const double seconds = statement.columnDouble(1);
        if (!(seconds > 0))
            continue;
        KSTReporterAppUsageEntry entry;
        entry.bundleIdentifier = statement.columnText(0);
        entry.usageSeconds = seconds;
        entry.bundlePath = lookup ? lookup(entry.bundleIdentifier) : QString();
        entry.name = displayNameForAppBundlePath(entry.bundlePath, entry.bundleIdentifier);
        entry.detailText = QStringLiteral("%1 this week")
                               .arg(KSTFormatting::formatApproximateUsageDuration(seconds));
        largest = std::max(largest, seconds);
        entries.append(entry);
    }
    for (KSTReporterAppUsageEntry &entry : entries)
        entry.barFraction = std::min(1.0, entry.usageSeconds / largest);
    return entries;
}

QList<KSTReporterAppUsageEntry> appUsageFromSpotlightSince(const QDateTime &since, int limit)
{
    // Only macOS keeps a last-used index of applications; a GNOME desktop keeps when each was
    // last seen.
    const KSTEnvironment environment = KSTEnvironment::current();
    if (environment.layout() != KSTLayout::Linux)
        return {};
    QByteArray bytes;
    if (KSTReadOnlyFile::readWholeFileWithoutLinks(
            environment.places()->dataHome() + ApplicationState,
            KSTReporterLinuxSources::MaximumInputBytes, &bytes) != KSTReadOnlyFile::Status::Read)
        return {};
    return KSTReporterLinuxSources::applicationStateUsage(bytes, since, limit,
                                                          QDateTime::currentDateTime());
}

QString spotlightTimeTokenForDate(const QDateTime &date)
{
    if (!date.isValid())
        return QStringLiteral("1970-01-01T00:00:00Z");
    return date.toUTC().toString(Qt::ISODate);
}

QString relativeDayTextForDate(const QDateTime &date, const QDateTime &now, const QLocale &locale)
{
    const QDate day = date.toLocalTime().date();
    const QDate today = now.toLocalTime().date();
    if (day == today)
        return QStringLiteral("today");
    if (day == today.addDays(-1))
        return QStringLiteral("yesterday");
    return locale.dayName(day.dayOfWeek(), QLocale::ShortFormat);
}

QString displayNameForAppBundlePath(const QString &bundlePath, const QString &fallback)
{
    if (bundlePath.isEmpty())
        return lastPathComponent(fallback);
    const QVariantMap info =
        KSTPropertyList::readDictionary(bundlePath + QLatin1String("/Contents/Info.plist"));
    for (const char *key : {"CFBundleDisplayName", "CFBundleName"}) {
        // A bundle's Info.plist is the bundle author's: a name of another type is no name.
        const QVariant name = info.value(QLatin1String(key));
        if (name.typeId() == QMetaType::QString && !name.toString().isEmpty())
            return name.toString();
    }
    return withoutExtension(lastPathComponent(bundlePath));
}

} // namespace KSTReporterSources
