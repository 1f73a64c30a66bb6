// The home-folder grant of a sandboxed build: a bookmark chosen once in an open panel,
// stored in the preferences and restarted at launch. Dormant in the direct-distribution
// build, where every entry point answers as if the whole home were granted.
#include "KSTPermissionChecker.h"

#include "KSTPermissionCheckerState.h"

#include "KSTDispatch.h"
#include "KSTPreferences.h"
#include "KSTSecurityScopedBookmark.h"

#include <QDir>
#include <QFileInfo>

namespace {

// Ends access on the granted folder, keeping the folder itself.
void stopAccessLocked(KSTPermissionCheckerState &checker)
{
    if (checker.homeAccessStarted && !checker.grantedHomeURL.isEmpty())
        KSTSecurityScopedBookmark::stopAccessing(checker.grantedHomeURL);
    checker.homeAccessStarted = false;
}

} // namespace

void KSTPermissionChecker::setHomeFolderPanelPresenter(HomeFolderPanelPresenter presenter)
{
    std::lock_guard lock(KSTPermissionCheckerState::instance().presenterMutex);
    KSTPermissionCheckerState::instance().panelPresenter = std::move(presenter);
}

void KSTPermissionChecker::setAlertPresenter(AlertPresenter presenter)
{
    std::lock_guard lock(KSTPermissionCheckerState::instance().presenterMutex);
    KSTPermissionCheckerState::instance().alertPresenter = std::move(presenter);
}

void KSTPermissionChecker::requestHomeFolderAccessWithCompletion(
    std::function<void(bool granted)> completion)
{
    auto finish = [completion](bool granted) {
        if (completion)
            KSTDispatch::mainAsync([completion, granted] { completion(granted); });
    };
    HomeFolderPanelPresenter presenter;
    {
        std::lock_guard lock(KSTPermissionCheckerState::instance().presenterMutex);
        presenter = KSTPermissionCheckerState::instance().panelPresenter;
    }
    if (!presenter) {
        finish(false);
        return;
    }

    HomeFolderPanelRequest request;
    request.message =
        QStringLiteral("Select your user (home) folder so Kestrel can scan your files and apps.");
    request.prompt = QStringLiteral("Grant Access");
    request.startDirectory = realUserHomeDirectoryPath();
    presenter(request, [finish](bool accepted, const QString &path) {
        if (!accepted || path.isEmpty()) {
            finish(false);
            return;
        }
        if (!isSelectedHomeFolderURL(path)) {
            AlertPresenter alert;
            {
                std::lock_guard lock(KSTPermissionCheckerState::instance().presenterMutex);
                alert = KSTPermissionCheckerState::instance().alertPresenter;
            }
            if (alert) {
                const QString homeName = QFileInfo(realUserHomeDirectoryPath()).fileName();
                alert(QStringLiteral("Select Your Home Folder"),
                      QStringLiteral("Please choose your home folder (%1), not a subfolder or "
                                     "another location.")
                          .arg(homeName.isEmpty() ? QStringLiteral("your account name") : homeName),
                      QStringLiteral("OK"));
            }
            finish(false);
            return;
        }

        KSTPermissionCheckerState &checker = KSTPermissionCheckerState::instance();
        bool previous = false;
        {
            std::lock_guard lock(checker.homeMutex);
            previous = checker.homeAccessResolved ? checker.homeAccessCachedValue : false;
            stopAccessLocked(checker);
            checker.grantedHomeURL = path;
            checker.homeAccessStarted = KSTSecurityScopedBookmark::startAccessing(path);
        }
        const bool saved = saveHomeFolderBookmarkForURL(path);
        bool granted = false;
        {
            std::lock_guard lock(checker.homeMutex);
            granted = saved && checker.homeAccessStarted;
        }
        if (granted)
            granted = canReadGrantedHomeFolderAtURL(path);
        {
            std::lock_guard lock(checker.homeMutex);
            checker.homeAccessCachedValue = granted;
            checker.homeAccessResolved = true;
        }
        if (granted)
            clearRemindLater();
        postAccessStatusChangeIfNeeded(previous, granted);
        finish(granted);
    });
}

bool KSTPermissionChecker::saveHomeFolderBookmarkForURL(const QString &path)
{
    const QByteArray bookmark = KSTSecurityScopedBookmark::create(path);
    if (bookmark.isEmpty())
        return false;
    const auto preferences = KSTPreferences::standard();
    preferences->setValue(HomeFolderBookmarkDataKey, bookmark);
    preferences->sync();
    return true;
}

bool KSTPermissionChecker::resolveStoredHomeFolderBookmark()
{
    const QByteArray bookmark =
        KSTPreferences::standard()->value(HomeFolderBookmarkDataKey).toByteArray();
    if (bookmark.isEmpty())
        return false;
    bool stale = false;
    const QString resolved = KSTSecurityScopedBookmark::resolve(bookmark, &stale);
    if (resolved.isEmpty())
        return false;
    if (stale)
        saveHomeFolderBookmarkForURL(resolved);

    KSTPermissionCheckerState &checker = KSTPermissionCheckerState::instance();
    QString current;
    {
        std::lock_guard lock(checker.homeMutex);
        if (checker.homeAccessStarted && !checker.grantedHomeURL.isEmpty() &&
            KSTPermissionCheckerState::standardized(checker.grantedHomeURL) ==
                KSTPermissionCheckerState::standardized(resolved))
            current = checker.grantedHomeURL;
    }
    if (!current.isEmpty())
        return canReadGrantedHomeFolderAtURL(current);

    bool started = false;
    {
        std::lock_guard lock(checker.homeMutex);
        stopAccessLocked(checker);
        checker.grantedHomeURL = resolved;
        started = KSTSecurityScopedBookmark::startAccessing(resolved);
        checker.homeAccessStarted = started;
    }
    return started && canReadGrantedHomeFolderAtURL(resolved);
}

bool KSTPermissionChecker::canReadGrantedHomeFolderAtURL(const QString &path)
{
    if (path.isEmpty())
        return false;
    const QFileInfo info(path);
    if (!info.exists() || !info.isDir())
        return false;
    return info.isReadable();
}

bool KSTPermissionChecker::ensureHomeFolderAccessStarted()
{
    if (!isRunningSandboxed())
        return true;
    KSTPermissionCheckerState &checker = KSTPermissionCheckerState::instance();
    QString granted;
    bool started = false;
    {
        std::lock_guard lock(checker.homeMutex);
        granted = checker.grantedHomeURL;
        started = checker.homeAccessStarted;
    }
    if (started && !granted.isEmpty()) {
        if (canReadGrantedHomeFolderAtURL(granted))
            return true;
        std::lock_guard lock(checker.homeMutex);
        stopAccessLocked(checker);
        checker.homeAccessResolved = false;
    }
    return resolveStoredHomeFolderBookmark();
}

bool KSTPermissionChecker::restoreStoredHomeFolderAccess()
{
    KSTPermissionCheckerState &checker = KSTPermissionCheckerState::instance();
    {
        std::lock_guard lock(checker.homeMutex);
        checker.homeAccessResolved = false;
    }
    const bool granted = resolveStoredHomeFolderBookmark();
    std::lock_guard lock(checker.homeMutex);
    checker.homeAccessCachedValue = granted;
    checker.homeAccessResolved = true;
    return granted;
}

bool KSTPermissionChecker::hasHomeFolderAccess()
{
    if (!isRunningSandboxed())
        return true;
    {
        KSTPermissionCheckerState &checker = KSTPermissionCheckerState::instance();
        std::lock_guard lock(checker.homeMutex);
        if (checker.homeAccessResolved)
            return checker.homeAccessCachedValue;
    }
    return restoreStoredHomeFolderAccess();
}

QString KSTPermissionChecker::grantedHomeFolderURL()
{
    if (!hasHomeFolderAccess())
        return {};
    std::lock_guard lock(KSTPermissionCheckerState::instance().homeMutex);
    return KSTPermissionCheckerState::instance().grantedHomeURL;
}

void KSTPermissionChecker::stopHomeFolderAccessIfNeeded()
{
    std::lock_guard lock(KSTPermissionCheckerState::instance().homeMutex);
    stopAccessLocked(KSTPermissionCheckerState::instance());
}

bool KSTPermissionChecker::isSelectedHomeFolderURL(const QString &path)
{
    const QString chosen = KSTPermissionCheckerState::standardized(path);
    const QString home = KSTPermissionCheckerState::standardized(realUserHomeDirectoryPath());
    return !chosen.isEmpty() && !home.isEmpty() && chosen == home;
}
