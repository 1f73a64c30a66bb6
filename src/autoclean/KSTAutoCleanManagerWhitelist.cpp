// The never-touch list. Entries are kept in display form ("~/Documents") and compared in
// their expanded, cleaned form, so "~/Documents/../Documents" and the absolute path of the
// same folder are one entry.
#include "KSTAutoCleanManager.h"

#include "KSTFileName.h"
#include "KSTPermissionChecker.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <pwd.h>
#include <sys/stat.h>
#include <vector>

namespace {

QString standardized(const QString &path)
{
    return path.isEmpty() ? path : QDir::cleanPath(path);
}

QString accessibleHome()
{
    // As everywhere else, a home that cannot be determined falls back to the process's.
    const QString home = KSTPermissionChecker::accessibleUserHomeDirectoryPath();
    return home.isEmpty() ? QDir::homePath() : home;
}

// "~" and "~name", the way a shell or Foundation expands them; an unknown name stays as is.
QString expandedTilde(const QString &path)
{
    const qsizetype slash = path.indexOf(QLatin1Char('/'));
    const QString user = path.mid(1, slash < 0 ? -1 : slash - 1);
    const QString rest = slash < 0 ? QString() : path.mid(slash);
    if (user.isEmpty())
        return QDir::homePath() + rest;
    // The reentrant form: rules and the window may expand paths on different threads.
    struct passwd entry = {};
    struct passwd *found = nullptr;
    std::vector<char> buffer(16384);
    if (::getpwnam_r(QFile::encodeName(user).constData(), &entry, buffer.data(), buffer.size(),
                     &found) != 0 ||
        !found || !found->pw_dir)
        return path;
    return QFile::decodeName(found->pw_dir) + rest;
}

QString expandedAgainst(const QString &path, const QString &home)
{
    if (path.startsWith(QLatin1String("~/")))
        return home + QLatin1Char('/') + path.mid(2);
    if (path.startsWith(QLatin1Char('~')))
        return expandedTilde(path);
    return path;
}

// The form in which entries are compared. The home is passed in so that it is asked for once,
// outside the state lock (in a sandboxed build asking may resolve a bookmark).
QString standardizedExpanded(const QString &path, const QString &home)
{
    return standardized(expandedAgainst(path, home));
}

} // namespace

QString KSTAutoCleanManager::expandedPath(const QString &path)
{
    return expandedAgainst(path, accessibleHome());
}

QString KSTAutoCleanManager::displayPathForExpandedPath(const QString &path)
{
    const QString home = standardized(accessibleHome());
    if (path == home)
        return QStringLiteral("~");
    if (path.startsWith(home + QLatin1Char('/')))
        return QLatin1Char('~') + path.mid(home.size());
    return path;
}

QString KSTAutoCleanManager::normalizedWhitelistPath(const QString &path)
{
    if (path.isEmpty())
        return {};
    const QString clean = standardized(expandedPath(path));
    return clean.isEmpty() ? QString() : displayPathForExpandedPath(clean);
}

bool KSTAutoCleanManager::containsWhitelistPathEquivalentTo(const QString &path) const
{
    const QString home = accessibleHome();
    const QString target = standardizedExpanded(path, home);
    if (target.isEmpty())
        return false;
    const QStringList entries = whitelistPaths();
    return std::any_of(entries.cbegin(), entries.cend(), [&](const QString &entry) {
        return standardizedExpanded(entry, home) == target;
    });
}

bool KSTAutoCleanManager::addWhitelistPath(const QString &path)
{
    const QString normalized = normalizedWhitelistPath(path);
    if (normalized.isEmpty())
        return false;
    const QString home = accessibleHome();
    const QString target = standardizedExpanded(path, home);
    struct stat info = {};
    if (::stat(KSTFileName::encoded(target).constData(), &info) != 0)
        return false;
    const bool added = changeStoredState([&] {
        std::lock_guard lock(m_stateMutex);
        for (const QString &entry : std::as_const(m_whitelistPaths)) {
            if (standardizedExpanded(entry, home) == target)
                return false;
        }
        m_whitelistPaths << normalized;
        return true;
    });
    if (added)
        postStateChange();
    return added;
}

bool KSTAutoCleanManager::removeWhitelistPath(const QString &path)
{
    const QString home = accessibleHome();
    const QString target = standardizedExpanded(path, home);
    if (target.isEmpty())
        return false;
    const bool removed = changeStoredState([&] {
        std::lock_guard lock(m_stateMutex);
        const auto found = std::find_if(
            m_whitelistPaths.cbegin(), m_whitelistPaths.cend(),
            [&](const QString &entry) { return standardizedExpanded(entry, home) == target; });
        if (found == m_whitelistPaths.cend())
            return false;
        m_whitelistPaths.erase(found);
        return true;
    });
    if (removed)
        postStateChange();
    return removed;
}

QStringList KSTAutoCleanManager::keptAsideWhitelistPaths() const
{
    std::lock_guard lock(m_stateMutex);
    QStringList copy;
    for (const QString &entry : m_keptAsideWhitelistPaths)
        copy << entry;
    return copy;
}

bool KSTAutoCleanManager::restoreKeptAsideWhitelistPaths()
{
    const QString home = accessibleHome();
    const bool restored = changeStoredState([&] {
        std::lock_guard lock(m_stateMutex);
        if (m_keptAsideWhitelistPaths.isEmpty())
            return false;
        for (const QString &entry : std::as_const(m_keptAsideWhitelistPaths)) {
            const QString normalized = normalizedWhitelistPath(entry);
            const QString target = standardizedExpanded(entry, home);
            const bool listed = std::any_of(
                m_whitelistPaths.cbegin(), m_whitelistPaths.cend(),
                [&](const QString &kept) { return standardizedExpanded(kept, home) == target; });
            if (!normalized.isEmpty() && !listed)
                m_whitelistPaths << normalized;
        }
        m_keptAsideWhitelistPaths.clear();
        return true;
    });
    if (restored)
        postStateChange();
    return restored;
}

bool KSTAutoCleanManager::dismissKeptAsideWhitelistPaths()
{
    const bool dismissed = changeStoredState([this] {
        std::lock_guard lock(m_stateMutex);
        if (m_keptAsideWhitelistPaths.isEmpty())
            return false;
        m_keptAsideWhitelistPaths.clear();
        return true;
    });
    if (dismissed)
        postStateChange();
    return dismissed;
}

bool KSTAutoCleanManager::isWhitelistedPath(const QString &path) const
{
    const QString clean = standardized(path);
    if (clean.isEmpty())
        return false;
    const QString home = accessibleHome();
    const QStringList entries = whitelistPaths();
    return std::any_of(entries.cbegin(), entries.cend(), [&](const QString &entry) {
        const QString protectedPath = standardizedExpanded(entry, home);
        // The separator keeps "~/Downloads/Keep" from protecting "~/Downloads/Keeper".
        return clean == protectedPath || clean.startsWith(protectedPath + QLatin1Char('/'));
    });
}
