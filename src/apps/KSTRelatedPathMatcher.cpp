#include "KSTRelatedPathMatcher.h"

#include "KSTAppBundleReader.h"
#include "KSTAppManageLocations.h"
#include "KSTEnvironment.h"
#include "KSTPermissionChecker.h"
#include "KSTQuietFiles.h"

#include <QDir>
#include <QVariantMap>

#include <algorithm>

namespace Locations = KSTAppManageLocations;

namespace {

// A token shorter than this takes no part in containment.
constexpr qsizetype MinimumContainedToken = 2;
// The identifier's last component counts as a token from this length.
constexpr qsizetype MinimumIdentifierTail = 3;
// A bundle may embed many helpers; past this many their identifiers add nothing useful.
constexpr qsizetype MaximumEmbeddedIdentifiers = 256;

QString matcherLastComponent(const QString &path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

void appendOnce(QStringList &list, const QString &value)
{
    if (!value.isEmpty() && !list.contains(value))
        list << value;
}

bool hasBundleExtension(const QString &name)
{
    const QString extension = name.mid(name.lastIndexOf(QLatin1Char('.')) + 1);
    return name.contains(QLatin1Char('.')) &&
           (extension == QLatin1String("app") || extension == QLatin1String("appex"));
}

bool liesInsideBundle(const QString &value, const QString &macBundlePath)
{
    if (!value.startsWith(QLatin1Char('/')) || macBundlePath.isEmpty())
        return false;
    const QString clean = QDir::cleanPath(value);
    return clean.startsWith(macBundlePath + QLatin1Char('/'));
}

} // namespace

// ---- Collection ----

void KSTRelatedPathMatcher::Collection::add(const KSTInstalledAppRelatedPath &relatedPath)
{
    if (m_index.contains(relatedPath.path))
        return;
    m_index.insert(relatedPath.path, m_paths.size());
    m_paths.append(relatedPath);
}

QList<KSTInstalledAppRelatedPath> KSTRelatedPathMatcher::Collection::sortedPaths() const
{
    QList<KSTInstalledAppRelatedPath> sorted = m_paths;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const KSTInstalledAppRelatedPath &a, const KSTInstalledAppRelatedPath &b) {
                         if (a.bytes != b.bytes)
                             return a.bytes > b.bytes;
                         return a.displayPath < b.displayPath;
                     });
    return sorted;
}

// ---- Tokens ----

QStringList KSTRelatedPathMatcher::relatedPathTokensForApp(const KSTInstalledAppRecord &app)
{
    QStringList tokens;
    appendOnce(tokens, app.bundleIdentifier);
    appendOnce(tokens, app.name);
    const QString tail = matcherLastComponent(app.bundleIdentifier);
    if (tail.size() >= MinimumIdentifierTail)
        appendOnce(tokens, tail);
    for (const QString &identifier : embeddedBundleIdentifiersForAppPath(app.bundlePath))
        appendOnce(tokens, identifier);
    return tokens;
}

QStringList KSTRelatedPathMatcher::embeddedBundleIdentifiersForAppPath(const QString &appPath)
{
    QStringList identifiers;
    if (appPath.isEmpty())
        return identifiers;
    for (const QString &folder : Locations::embeddedBundleFolders)
        collectEmbeddedBundleIdentifiersUnderPath(appPath + folder, Locations::embeddedBundleDepth,
                                                  identifiers);
    return identifiers;
}

void KSTRelatedPathMatcher::collectEmbeddedBundleIdentifiersUnderPath(const QString &path,
                                                                      int maxDepth,
                                                                      QStringList &collection)
{
    if (maxDepth <= 0 || path.isEmpty() || collection.size() >= MaximumEmbeddedIdentifiers)
        return;
    const std::optional<QList<KSTQuietFiles::Entry>> entries =
        KSTQuietFiles::listFolder(path, false, 10'000);
    if (!entries)
        return;
    for (const KSTQuietFiles::Entry &entry : *entries) {
        if (!entry.isDirectory || collection.size() >= MaximumEmbeddedIdentifiers)
            continue;
        const QString child = path + QLatin1Char('/') + entry.name;
        if (hasBundleExtension(entry.name)) {
            const std::optional<QVariantMap> info = KSTAppBundleReader::infoDictionary(child);
            const QVariant identifier =
                info ? info->value(QStringLiteral("CFBundleIdentifier")) : QVariant();
            if (identifier.typeId() == QMetaType::QString)
                appendOnce(collection, identifier.toString());
            continue;
        }
        collectEmbeddedBundleIdentifiersUnderPath(child, maxDepth - 1, collection);
    }
}

// ---- Matches ----

std::optional<QString> KSTRelatedPathMatcher::matchingTokenForEntry(const QString &name,
                                                                    const QStringList &tokens,
                                                                    const QString &bundleIdentifier)
{
    if (name.isEmpty() || tokens.isEmpty())
        return std::nullopt;
    if (!bundleIdentifier.isEmpty() &&
        (name == bundleIdentifier || name.startsWith(bundleIdentifier + QLatin1Char('.'))))
        return bundleIdentifier;
    const QString lower = name.toLower();
    for (const QString &token : tokens) {
        if (token.size() >= MinimumContainedToken && lower.contains(token.toLower()))
            return token;
    }
    return std::nullopt;
}

bool KSTRelatedPathMatcher::relatedPathEntry(const QString &name, const QStringList &tokens,
                                             const QString &bundleIdentifier)
{
    return matchingTokenForEntry(name, tokens, bundleIdentifier).has_value();
}

bool KSTRelatedPathMatcher::relatedPathEntry(const QString &name, const QStringList &tokens)
{
    return matchingTokenForEntry(name, tokens).has_value();
}

std::optional<QString> KSTRelatedPathMatcher::matchingTokenForPath(const QString &path,
                                                                   const QStringList &tokens)
{
    if (path.isEmpty())
        return std::nullopt;
    if (std::optional<QString> token = matchingTokenForEntry(matcherLastComponent(path), tokens))
        return token;
    const QString lower = path.toLower();
    for (const QString &token : tokens) {
        if (token.size() >= MinimumContainedToken && lower.contains(token.toLower()))
            return token;
    }
    return std::nullopt;
}

bool KSTRelatedPathMatcher::relatedPath(const QString &path, const QStringList &tokens)
{
    return matchingTokenForPath(path, tokens).has_value();
}

KSTLaunchAgentJob KSTRelatedPathMatcher::launchJobAtPath(const QString &path)
{
    QByteArray bytes;
    if (KSTQuietFiles::readFile(path, KSTLaunchAgentJob::MaximumBytes, &bytes) !=
        KSTReadOnlyFile::Status::Read)
        return {};
    return KSTLaunchAgentJob::fromData(bytes);
}

std::optional<QString> KSTRelatedPathMatcher::matchingTokenForJob(const KSTLaunchAgentJob &job,
                                                                  const QStringList &tokens)
{
    for (const QString &value : job.namedStrings()) {
        if (std::optional<QString> token = matchingTokenForEntry(value, tokens))
            return token;
        if (std::optional<QString> token = matchingTokenForPath(value, tokens))
            return token;
    }
    return std::nullopt;
}

std::optional<QString>
KSTRelatedPathMatcher::matchingTokenForPlist(const QString &path, const QStringList &tokens,
                                             std::optional<KSTLaunchAgentJob> *job)
{
    const KSTLaunchAgentJob read = launchJobAtPath(path);
    if (!read.isValid)
        return std::nullopt;
    if (job)
        *job = read;
    return matchingTokenForJob(read, tokens);
}

bool KSTRelatedPathMatcher::plistAtPath(const QString &path, const QStringList &tokens)
{
    return matchingTokenForPlist(path, tokens, nullptr).has_value();
}

// ---- How sure ----

bool KSTRelatedPathMatcher::holdsIdentifierWhole(const QString &name, const QString &identifier)
{
    if (name.isEmpty() || identifier.isEmpty())
        return false;
    const QStringList parts = name.toLower().split(QLatin1Char('.'));
    const QStringList wanted = identifier.toLower().split(QLatin1Char('.'));
    if (wanted.size() > parts.size())
        return false;
    for (qsizetype start = 0; start + wanted.size() <= parts.size(); ++start) {
        if (std::equal(wanted.cbegin(), wanted.cend(), parts.cbegin() + start))
            return true;
    }
    return false;
}

bool KSTRelatedPathMatcher::isStrongMatch(const Candidate &candidate,
                                          const KSTInstalledAppRecord &app,
                                          const QStringList &installedIdentifiers)
{
    const QString name = matcherLastComponent(QDir::cleanPath(candidate.path));
    for (const QString &other : installedIdentifiers) {
        if (other.size() > app.bundleIdentifier.size() && other != app.bundleIdentifier &&
            holdsIdentifierWhole(name, other))
            return false;
    }
    if (candidate.fromExactTemplate)
        return true;
    if (holdsIdentifierWhole(name, app.bundleIdentifier))
        return true;
    if (candidate.job) {
        const QString bundle =
            QDir::cleanPath(KSTEnvironment::current().pathRelativeToRoot(app.bundlePath));
        const QString firstArgument = candidate.job->programArguments.isEmpty()
                                          ? QString()
                                          : candidate.job->programArguments.first();
        if (liesInsideBundle(candidate.job->program, bundle) ||
            liesInsideBundle(firstArgument, bundle))
            return true;
    }
    return false;
}

QString KSTRelatedPathMatcher::shortenHomePath(const QString &path)
{
    const QString home = KSTPermissionChecker::accessibleUserHomeDirectoryPath();
    if (home.isEmpty() || !path.startsWith(home))
        return path;
    return QLatin1Char('~') + path.mid(home.size());
}

QString KSTRelatedPathMatcher::explanation(const KSTInstalledAppRelatedPath &relatedPath)
{
    const QString token = relatedPath.matchedToken;
    const QString quoted = QStringLiteral("“%1”").arg(token);
    const QString rule = relatedPath.matchRule;
    if (rule == QLatin1String("receipt"))
        return QStringLiteral("Installer receipt of %1").arg(quoted);
    if (rule == QLatin1String("launchAgentProgram"))
        return QStringLiteral("Its launch job names %1").arg(quoted);
    const QString name = matcherLastComponent(relatedPath.path);
    if (rule == QLatin1String("template") || name == token ||
        name.startsWith(token + QLatin1Char('.')))
        return QStringLiteral("Named after %1").arg(quoted);
    // Containment ignores letter case, and says so.
    const QString lower = QStringLiteral("“%1”").arg(token.toLower());
    if (name.toLower().contains(token.toLower()))
        return QStringLiteral("Name contains %1").arg(lower);
    return QStringLiteral("Path contains %1").arg(lower);
}
