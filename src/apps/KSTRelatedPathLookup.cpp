#include "KSTRelatedPathLookup.h"

#include "KSTAppBundleReader.h"
#include "KSTAppInventoryEngine.h"
#include "KSTAppManageLocations.h"
#include "KSTAppUninstaller.h"
#include "KSTDesktopRelatedPaths.h"
#include "KSTEnvironment.h"
#include "KSTNoFollowPath.h"
#include "KSTPermissionChecker.h"
#include "KSTQuietFiles.h"
#include "KSTStorageFigures.h"

#include <QDir>

namespace Locations = KSTAppManageLocations;
using Checker = KSTPermissionChecker;
using Matcher = KSTRelatedPathMatcher;

namespace {

// A hostile or huge /private/var/folders must not take unbounded memory.
constexpr qsizetype MaximumTemporaryEntries = 500'000;

QString lookupLastComponent(const QString &path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

QString accessibleHome()
{
    return QDir::cleanPath(Checker::accessibleUserHomeDirectoryPath());
}

QString userSystemPath(const QString &macPath)
{
    const KSTEnvironment environment = KSTEnvironment::current();
    if (!macPath.contains(QLatin1String("%1")))
        return environment.systemPath(macPath);
    if (environment.loginName().isEmpty())
        return {};
    return environment.systemPath(macPath.arg(environment.loginName()));
}

QStringList entriesOf(const QString &folder)
{
    QStringList paths;
    if (folder.isEmpty())
        return paths;
    const std::optional<QList<KSTQuietFiles::Entry>> entries =
        KSTQuietFiles::listFolder(folder, false);
    if (!entries)
        return paths;
    for (const KSTQuietFiles::Entry &entry : *entries)
        paths << folder + QLatin1Char('/') + entry.name;
    return paths;
}

QList<QPair<QString, QString>> entriesByName(const QString &folder)
{
    QList<QPair<QString, QString>> byName;
    for (const QString &path : entriesOf(folder))
        byName.append({lookupLastComponent(path), path});
    return byName;
}

// Every entry up to @p depth levels below @p folder, depth first in listing order.
void collectEntries(const QString &folder, int depth, QStringList &paths)
{
    if (depth <= 0 || paths.size() >= MaximumTemporaryEntries)
        return;
    const std::optional<QList<KSTQuietFiles::Entry>> entries =
        KSTQuietFiles::listFolder(folder, false, MaximumTemporaryEntries);
    if (!entries)
        return;
    for (const KSTQuietFiles::Entry &entry : *entries) {
        if (paths.size() >= MaximumTemporaryEntries)
            return;
        const QString path = folder + QLatin1Char('/') + entry.name;
        paths << path;
        if (entry.isDirectory)
            collectEntries(path, depth - 1, paths);
    }
}

bool isDirectory(const QString &path)
{
    const std::optional<struct stat> status = KSTNoFollowPath::status(path);
    return status && S_ISDIR(status->st_mode);
}

bool isPlistName(const QString &name)
{
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot > 0 && QStringView(name).mid(dot + 1) == QLatin1String("plist");
}

// The candidate a launch-agent or shared-folder entry gives: by its name, else by the launch
// job it holds (read when the index was built).
std::optional<Matcher::Candidate> jobCandidate(const QString &path, const QStringList &tokens,
                                               const KSTRelatedPathScanIndex &index,
                                               const QString &nameRule, const QString &jobRule)
{
    Matcher::Candidate candidate{path, nameRule, {}, false, std::nullopt};
    const auto job = index.launchJobsByPath.constFind(path);
    if (job != index.launchJobsByPath.cend())
        candidate.job = job.value();
    if (const std::optional<QString> token =
            Matcher::matchingTokenForEntry(lookupLastComponent(path), tokens)) {
        candidate.matchedToken = *token;
        return candidate;
    }
    if (!candidate.job)
        return std::nullopt;
    const std::optional<QString> token = Matcher::matchingTokenForJob(*candidate.job, tokens);
    if (!token)
        return std::nullopt;
    candidate.matchRule = jobRule;
    candidate.matchedToken = *token;
    return candidate;
}

void readLaunchJobs(const QStringList &paths, QHash<QString, KSTLaunchAgentJob> &jobs)
{
    for (const QString &path : paths) {
        if (!isPlistName(lookupLastComponent(path)))
            continue;
        const KSTLaunchAgentJob job = Matcher::launchJobAtPath(path);
        if (job.isValid)
            jobs.insert(path, job);
    }
}

} // namespace

KSTRelatedPathLookup::KSTRelatedPathLookup(KSTAppInventoryEngine &engine) : m_engine(&engine) {}

// ---- The index ----

std::shared_ptr<const KSTRelatedPathScanIndex> KSTRelatedPathLookup::relatedPathScanIndex()
{
    const KSTAppInventoryEngine::Hooks &hooks = m_engine->hooks();
    if (std::shared_ptr<const KSTRelatedPathScanIndex> cached = hooks.cachedRelatedPathIndex())
        return cached;
    // Built outside the service's lock, which the main thread takes; this one only look-ups
    // share, so that two first look-ups build the index once.
    std::lock_guard lock(m_buildMutex);
    if (std::shared_ptr<const KSTRelatedPathScanIndex> cached = hooks.cachedRelatedPathIndex())
        return cached;
    std::shared_ptr<const KSTRelatedPathScanIndex> index =
        buildRelatedPathScanIndex(installedBundleIdentifiers());
    hooks.storeRelatedPathIndex(index);
    return index;
}

QStringList KSTRelatedPathLookup::installedBundleIdentifiers() const
{
    QStringList identifiers;
    if (const auto cached = m_engine->hooks().cachedInventory()) {
        for (const KSTInstalledAppRecord &app : cached->apps)
            identifiers << app.bundleIdentifier;
    } else {
        for (const QString &path : m_engine->collectApplicationBundlePaths()) {
            const QVariant identifier = KSTAppBundleReader::infoDictionary(path)
                                            .value_or(QVariantMap())
                                            .value(QStringLiteral("CFBundleIdentifier"));
            if (identifier.typeId() == QMetaType::QString)
                identifiers << identifier.toString();
        }
    }
    identifiers.removeAll(QString());
    identifiers.removeDuplicates();
    return identifiers;
}

std::shared_ptr<KSTRelatedPathScanIndex>
KSTRelatedPathLookup::buildRelatedPathScanIndex(const QStringList &installedBundleIdentifiers)
{
    auto index = std::make_shared<KSTRelatedPathScanIndex>();
    const QString home = accessibleHome();
    index->containerPathsByName = entriesByName(home + QLatin1Char('/') + Locations::containers);
    index->groupContainerPathsByName =
        entriesByName(home + QLatin1Char('/') + Locations::groupContainers);
    index->launchAgentPaths = entriesOf(userSystemPath(Locations::launchAgents));
    for (const QString &folder : Locations::sharedFolders) {
        const QString path = userSystemPath(folder);
        if (!path.isEmpty() && isDirectory(path))
            index->sharedMiscPaths << entriesOf(path);
    }
    const QString temporary = userSystemPath(Locations::temporaryFolders);
    if (isDirectory(temporary))
        collectEntries(QDir::cleanPath(temporary), Locations::temporaryFolderDepth,
                       index->varFolderPaths);
    readLaunchJobs(index->launchAgentPaths, index->launchJobsByPath);
    readLaunchJobs(index->sharedMiscPaths, index->launchJobsByPath);
    index->installedBundleIdentifiers = installedBundleIdentifiers;
    index->builtDate = QDateTime::currentDateTimeUtc();
    return index;
}

// ---- Look-ups ----

void KSTRelatedPathLookup::loadRelatedPathsForApp(
    const KSTInstalledAppRecord &record,
    std::function<void(const QList<KSTInstalledAppRelatedPath> &)> completion)
{
    if (!completion)
        return;
    const KSTAppInventoryEngine::Hooks &hooks = m_engine->hooks();
    if (record.relatedPathsLoaded) {
        hooks.onMain([completion, paths = record.relatedPaths] { completion(paths); });
        return;
    }
    m_engine->performSoon([this, &hooks, record, completion] {
        const QList<KSTInstalledAppRelatedPath> paths = relatedPathsForInstalledApp(record);
        m_engine->updateRecord(record.bundlePath, [&paths](KSTInstalledAppRecord &stored) {
            applyRelatedPaths(stored, paths);
        });
        hooks.onMain([completion, paths] { completion(paths); });
    });
}

QList<KSTInstalledAppRelatedPath>
KSTRelatedPathLookup::relatedPathsForInstalledApp(const KSTInstalledAppRecord &app)
{
    return relatedPathsForInstalledApp(app, *relatedPathScanIndex());
}

QList<KSTInstalledAppRelatedPath>
KSTRelatedPathLookup::relatedPathsForInstalledApp(const KSTInstalledAppRecord &app,
                                                  const KSTRelatedPathScanIndex &index)
{
    const QStringList &installed = index.installedBundleIdentifiers;
    if (KSTAppInventoryEngine::usesDesktopEntries())
        return KSTDesktopRelatedPaths::relatedPathsForApp(app, installed);
    const QStringList tokens = Matcher::relatedPathTokensForApp(app);
    Matcher::Collection collection;
    addDirectRelatedPathsForApp(app, tokens, installed, collection);

    const auto addByName = [&](const QList<QPair<QString, QString>> &entries, const QString &rule) {
        for (const auto &[name, path] : entries) {
            if (const std::optional<QString> token =
                    Matcher::matchingTokenForEntry(name, tokens, app.bundleIdentifier))
                addRelatedPathCandidate({path, rule, *token, false, std::nullopt}, app, installed,
                                        collection);
        }
    };
    addByName(index.containerPathsByName, QStringLiteral("container"));
    addByName(index.groupContainerPathsByName, QStringLiteral("groupContainer"));

    for (const QString &path : index.launchAgentPaths) {
        if (std::optional<Matcher::Candidate> candidate =
                jobCandidate(path, tokens, index, QStringLiteral("launchAgent"),
                             QStringLiteral("launchAgentProgram")))
            addRelatedPathCandidate(*candidate, app, installed, collection);
    }
    for (const QString &path : index.sharedMiscPaths) {
        if (std::optional<Matcher::Candidate> candidate =
                jobCandidate(path, tokens, index, QStringLiteral("sharedFolder"),
                             QStringLiteral("sharedFolder")))
            addRelatedPathCandidate(*candidate, app, installed, collection);
    }

    // Temporary folders are matched with the identifier alone: names would match far too much.
    QStringList narrow;
    if (!app.bundleIdentifier.isEmpty()) {
        narrow << app.bundleIdentifier;
        const QString tail = lookupLastComponent(app.bundleIdentifier);
        if (tail.size() >= 3 && tail != app.bundleIdentifier)
            narrow << tail;
    }
    if (!narrow.isEmpty()) {
        const KSTEnvironment environment = KSTEnvironment::current();
        for (const QString &path : index.varFolderPaths) {
            if (const std::optional<QString> token =
                    Matcher::matchingTokenForPath(environment.pathRelativeToRoot(path), narrow))
                addRelatedPathCandidate(
                    {path, QStringLiteral("temporaryFolder"), *token, false, std::nullopt}, app,
                    installed, collection);
        }
    }
    return collection.sortedPaths();
}

void KSTRelatedPathLookup::addDirectRelatedPathsForApp(
    const KSTInstalledAppRecord &app, const QStringList &tokens,
    const QStringList &installedIdentifiers, KSTRelatedPathMatcher::Collection &collection)
{
    const QString home = accessibleHome();
    for (const QString &token : tokens) {
        // A token is one path component or nothing: "../../Documents" fills no template.
        if (!KSTAppBundleReader::isPlainFileName(token))
            continue;
        const bool exact = token == app.bundleIdentifier || token == app.name;
        for (const QString &pattern : Locations::directTemplates) {
            const QString folder =
                home + QLatin1Char('/') + pattern.left(pattern.lastIndexOf(QLatin1Char('/')));
            const QString path = QDir::cleanPath(home + QLatin1Char('/') + pattern.arg(token));
            if (!path.startsWith(folder + QLatin1Char('/')))
                continue;
            addRelatedPathCandidate({path, QStringLiteral("template"), token, exact, std::nullopt},
                                    app, installedIdentifiers, collection);
        }
    }
    if (!KSTAppBundleReader::isPlainFileName(app.bundleIdentifier))
        return;
    const KSTEnvironment environment = KSTEnvironment::current();
    for (const QString &pattern : Locations::receiptTemplates) {
        const QString folder = QDir::cleanPath(
            environment.systemPath(pattern.left(pattern.lastIndexOf(QLatin1Char('/')))));
        const QString path =
            QDir::cleanPath(environment.systemPath(pattern.arg(app.bundleIdentifier)));
        if (!path.startsWith(folder + QLatin1Char('/')))
            continue;
        addRelatedPathCandidate(
            {path, QStringLiteral("receipt"), app.bundleIdentifier, true, std::nullopt}, app,
            installedIdentifiers, collection);
    }
}

void KSTRelatedPathLookup::addRelatedPathCandidate(
    const KSTRelatedPathMatcher::Candidate &candidate, const KSTInstalledAppRecord &app,
    const QStringList &installedIdentifiers, KSTRelatedPathMatcher::Collection &collection,
    bool computeFullSize)
{
    if (candidate.path.isEmpty() || !candidate.path.startsWith(QLatin1Char('/')))
        return;
    const QString path = QDir::cleanPath(candidate.path);
    if (collection.contains(path) || isNeverListed(path))
        return;
    // Never through a link: a link is an entry of its own, sized and moved as the link.
    const std::optional<struct stat> status = KSTNoFollowPath::status(path);
    if (!status)
        return;
    quint64 bytes = 0;
    if (S_ISDIR(status->st_mode))
        bytes = computeFullSize ? KSTStorageFigures::directorySizeAtPath(path)
                                : quint64(status->st_blocks) * 512u;
    else
        bytes = fileSizeAtPath(path);
    if (computeFullSize && bytes == 0)
        return;
    KSTInstalledAppRelatedPath related;
    related.path = path;
    related.displayPath = Matcher::shortenHomePath(path);
    related.bytes = bytes;
    related.matchRule = candidate.matchRule;
    related.matchedToken = candidate.matchedToken;
    related.identity = KSTFileIdentity::fromStatus(*status);
    related.isRemovable = KSTAppUninstaller::isSafeUninstallPath(path);
    related.isStrongMatch = Matcher::isStrongMatch(candidate, app, installedIdentifiers);
    collection.add(related);
}

quint64 KSTRelatedPathLookup::fileSizeAtPath(const QString &path)
{
    return Checker::fileSizeAtAccessiblePath(path);
}

bool KSTRelatedPathLookup::isNeverListed(const QString &path)
{
    const QString home = accessibleHome();
    if (home.isEmpty())
        return false;
    const QString clean = QDir::cleanPath(path);
    const QString library = home + QLatin1Char('/') + Locations::library;
    if (clean == home || clean == library)
        return true;
    const qsizetype slash = clean.lastIndexOf(QLatin1Char('/'));
    if (slash > 0 && clean.left(slash) == library)
        return true;
    for (const QString &folder : Locations::neverListedHomeFolders) {
        if (clean == home + QLatin1Char('/') + folder)
            return true;
    }
    return false;
}

void KSTRelatedPathLookup::applyRelatedPaths(KSTInstalledAppRecord &record,
                                             const QList<KSTInstalledAppRelatedPath> &paths)
{
    record.relatedPaths = paths;
    record.relatedPathsLoaded = true;
    if (record.bundleSizeBytes != 0) {
        quint64 total = record.bundleSizeBytes;
        for (const KSTInstalledAppRelatedPath &related : paths)
            total += related.bytes;
        record.totalSizeBytes = total;
    }
}
