#include "KSTReporterEngine.h"

#include "KSTApplicationBundleCatalog.h"
#include "KSTHostInfo.h"
#include "KSTInstalledApplications.h"
#include "KSTLiveMetrics.h"
#include "KSTNotificationCenter.h"
#include "KSTPermissionChecker.h"
#include "KSTPropertyList.h"
#include "KSTQuietFiles.h"
#include "KSTReporterCharts.h"
#include "KSTReporterSources.h"
#include "KSTStorageFigures.h"

#include <QMetaType>
#include <QSet>

#include <algorithm>

namespace {

const QString ScanningText = QStringLiteral("Scanning in background…");
const QString NoDelta = QStringLiteral("—");
constexpr qint64 SecondsPerDay = 86'400;
constexpr qint64 SecondsPerWeek = 7 * SecondsPerDay;

void announceHistoryUpdate(const KSTReporterHistory::UpdateResult &result)
{
    KSTNotificationCenter::defaultCenter().post(
        KSTReporterEngine::HistoryDidUpdateNotification, nullptr,
        {{QStringLiteral("written"), result.written},
         {QStringLiteral("reason"), result.reason},
         {QStringLiteral("keptDamagedPath"), result.keptDamagedPath}});
}

} // namespace

KSTReporterEngine::KSTReporterEngine(Hooks hooks) : m_hooks(std::move(hooks)) {}

bool KSTReporterEngine::isCancelled(quint64 generation) const
{
    return m_hooks.isCancelled && m_hooks.isCancelled(generation);
}

std::shared_ptr<KSTReporterSnapshot>
KSTReporterEngine::fetchReporterSnapshotWithGeneration(quint64 generation) const
{
    const QDateTime now = QDateTime::currentDateTime();
    const QDateTime weekStart = weekStartForDate(now);
    auto snapshot = std::make_shared<KSTReporterSnapshot>();
    snapshot->dateRangeText = formattedDateRange(weekStart, now);
    if (isCancelled(generation))
        return nullptr;

    const QList<KSTAppUsageInfo> installed = applicationsInstalledSince(weekStart);
    snapshot->appsInstalledCount = quint64(installed.size());
    snapshot->appsInstalledSummary = joinedAppNames(installed, InstalledSummaryLimit,
                                                    QStringLiteral("No new installs this week"));
    const QStringList removed = KSTReporterSources::applicationsRemovedSince(weekStart);
    snapshot->appsRemovedCount = quint64(removed.size());
    snapshot->appsRemovedSummary = joinedStrings(removed, RemovedSummaryLimit,
                                                 QStringLiteral("No removals detected this week"));

    quint64 total = 0;
    quint64 used = 0;
    KSTStorageFigures::bootVolumeUsageTotal(&total, &used);
    // No source measures files or folders per week yet: the report keeps fixed values.
    snapshot->filesAddedCount = 0;
    snapshot->filesRemovedCount = 0;
    snapshot->filesAddedDeltaText = NoDelta;
    snapshot->filesRemovedDeltaText = NoDelta;
    snapshot->diskNetChangeBytes = 0;

    KSTLiveMetrics::networkByteCounts(&snapshot->networkDownloadBytes,
                                      &snapshot->networkUploadBytes);
    snapshot->networkPeriodText = networkPeriodDescription();

    announceHistoryUpdate(KSTReporterHistory::updateReporterHistoryForDate(
        now, used, snapshot->networkDownloadBytes, snapshot->networkUploadBytes, 0, 0));
    fillCharts(*snapshot, total, now);

    // Each bundle's Info.plist is read once, and only when the database has rows.
    std::optional<QHash<QString, QString>> bundles;
    snapshot->appUsageEntries = KSTReporterSources::appUsageTimeSince(
        weekStart, UsageEntryLimit, [this, generation] { return isCancelled(generation); },
        [this, &bundles](const QString &identifier) {
            if (!bundles)
                bundles = bundlePathsByIdentifier();
            return bundles->value(identifier);
        });
    snapshot->isPartial = false;
    return snapshot;
}

std::shared_ptr<KSTReporterSnapshot> KSTReporterEngine::fetchReporterSnapshotPartial() const
{
    const QDateTime now = QDateTime::currentDateTime();
    auto snapshot = std::make_shared<KSTReporterSnapshot>();
    snapshot->dateRangeText = formattedDateRange(weekStartForDate(now), now);
    quint64 total = 0;
    quint64 used = 0;
    KSTStorageFigures::bootVolumeUsageTotal(&total, &used);
    KSTLiveMetrics::networkByteCounts(&snapshot->networkDownloadBytes,
                                      &snapshot->networkUploadBytes);
    snapshot->networkPeriodText = networkPeriodDescription();
    fillCharts(*snapshot, total, now);
    snapshot->filesAddedDeltaText = NoDelta;
    snapshot->filesRemovedDeltaText = NoDelta;
    snapshot->appsInstalledSummary = ScanningText;
    snapshot->appsRemovedSummary = ScanningText;
    snapshot->isPartial = true;
    return snapshot;
}

void KSTReporterEngine::fillCharts(KSTReporterSnapshot &snapshot, quint64 totalBytes,
                                   const QDateTime &now)
{
    const QVariantList records = KSTReporterHistory::reporterHistoryRecords();
    snapshot.diskDailyFractions =
        KSTReporterCharts::dailyStorageFractionsFromHistory(records, totalBytes, ChartDays, now);
    snapshot.diskDayLabels = KSTReporterCharts::dayLabelsForLastDays(ChartDays, now);
    snapshot.networkDailyDownloadFractions =
        KSTReporterCharts::dailyNetworkFractionsFromHistory(records, true, ChartDays, now);
    snapshot.networkDailyUploadFractions =
        KSTReporterCharts::dailyNetworkFractionsFromHistory(records, false, ChartDays, now);
    snapshot.networkDayLabels = snapshot.diskDayLabels;
}

QDateTime KSTReporterEngine::weekStartForDate(const QDateTime &now)
{
    return now.toLocalTime().date().addDays(-(ChartDays - 1)).startOfDay();
}

QString KSTReporterEngine::formattedDateRange(const QDateTime &from, const QDateTime &to,
                                              const QLocale &locale)
{
    return QStringLiteral("%1 – %2").arg(
        locale.toString(from.toLocalTime().date(), QStringLiteral("MMM d")),
        locale.toString(to.toLocalTime().date(), QStringLiteral("MMM d, yyyy")));
}

QString KSTReporterEngine::networkPeriodDescription()
{
    const std::optional<qint64> boot = KSTHostInfo::current().bootTimeSeconds();
    if (!boot)
        return networkPeriodDescriptionForUptime(std::nullopt);
    return networkPeriodDescriptionForUptime(QDateTime::currentSecsSinceEpoch() - *boot);
}

QString KSTReporterEngine::networkPeriodDescriptionForUptime(std::optional<qint64> uptimeSeconds)
{
    if (!uptimeSeconds)
        return QStringLiteral("Total this week");
    if (*uptimeSeconds < SecondsPerWeek)
        return QStringLiteral("Since last boot · %1d")
            .arg(std::max<qint64>(1, *uptimeSeconds / SecondsPerDay));
    return QStringLiteral("Total since last boot");
}

QString KSTReporterEngine::deltaTextForCurrent(quint64 current, quint64 previous,
                                               const QString &suffix)
{
    if (previous != 0) {
        const double change = (double(current) - double(previous)) / double(previous) * 100.0;
        return QString::asprintf("%+.0f%% ", change) + suffix;
    }
    if (current != 0)
        return QStringLiteral("New activity · %1").arg(suffix);
    return QStringLiteral("No prior data · %1").arg(suffix);
}

QString KSTReporterEngine::joinedAppNames(const QList<KSTAppUsageInfo> &apps, qsizetype limit,
                                          const QString &emptyText)
{
    QStringList names;
    for (const KSTAppUsageInfo &app : apps)
        names.append(app.name);
    return joinedStrings(names, limit, emptyText);
}

QString KSTReporterEngine::joinedStrings(const QStringList &strings, qsizetype limit,
                                         const QString &emptyText)
{
    if (strings.isEmpty())
        return emptyText;
    return strings.first(std::clamp<qsizetype>(limit, 0, strings.size()))
        .join(QStringLiteral(", "));
}

std::optional<QDateTime> KSTReporterEngine::installDateOfBundle(const QString &bundlePath)
{
    const std::optional<KSTQuietFiles::Times> times = KSTQuietFiles::timesOf(bundlePath);
    if (!times)
        return std::nullopt;
    if (times->modification && (!times->birth || *times->modification > *times->birth))
        return times->modification;
    return times->birth;
}

QList<KSTAppUsageInfo> KSTReporterEngine::applicationsInstalledSince(const QDateTime &since) const
{
    QList<KSTAppUsageInfo> installed;
    QSet<QString> payloads;
    // The Overview's applications: a Mac's bundles, a Linux desktop's menu entries and
    // AppImages, each dated by its own file.
    for (const KSTInstalledApplication &application :
         KSTInstalledApplications(m_hooks.bundlePaths).listUnsized()) {
        const QString &path = application.usage.bundlePath;
        const std::optional<QDateTime> date = installDateOfBundle(path);
        if (!date || *date < since)
            continue;
        KSTAppUsageInfo app;
        app.name = application.usage.name;
        app.bundlePath = path;
        app.sizeBytes = 0;
        installed.append(app);
        payloads.insert(application.payloadKey);
    }
    // A Linux machine's package installs count too, once beside an entry of the same name or
    // of that package.
    for (const QString &package : KSTReporterSources::packagesInstalledSince(since)) {
        if (payloads.contains(KSTInstalledApplications::packagePayloadKey(package)) ||
            std::any_of(installed.begin(), installed.end(), [&](const KSTAppUsageInfo &app) {
                return app.name.compare(package, Qt::CaseInsensitive) == 0;
            }))
            continue;
        KSTAppUsageInfo app;
        app.name = package;
        app.sizeBytes = 0;
        installed.append(app);
    }
    std::stable_sort(
        installed.begin(), installed.end(),
        [](const KSTAppUsageInfo &a, const KSTAppUsageInfo &b) { return a.name < b.name; });
    return installed;
}

QString KSTReporterEngine::bundlePathForIdentifier(const QString &bundleIdentifier) const
{
    return bundlePathsByIdentifier().value(bundleIdentifier);
}

QHash<QString, QString> KSTReporterEngine::bundlePathsByIdentifier() const
{
    QHash<QString, QString> paths;
    for (const QString &path :
         KSTApplicationBundleCatalog(m_hooks.bundlePaths).applicationBundlePaths()) {
        const QVariant identifier =
            KSTPropertyList::readDictionary(path + QLatin1String("/Contents/Info.plist"))
                .value(QStringLiteral("CFBundleIdentifier"));
        if (identifier.typeId() == QMetaType::QString && !identifier.toString().isEmpty() &&
            !paths.contains(identifier.toString()))
            paths.insert(identifier.toString(), path);
    }
    return paths;
}

QString KSTReporterEngine::shortenHomePath(const QString &path)
{
    const QString home = KSTPermissionChecker::accessibleUserHomeDirectoryPath();
    if (home.isEmpty() || !path.startsWith(home))
        return path;
    return QLatin1Char('~') + path.mid(home.size());
}
