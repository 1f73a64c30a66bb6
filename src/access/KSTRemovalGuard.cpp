#include "KSTRemovalGuard.h"

#include "KSTAccessLog.h"
#include "KSTEnvironment.h"
#include "KSTFileName.h"
#include "KSTPermissionChecker.h"
#include "KSTPreferences.h"
#include "KSTTrash.h"
#include "KSTTrashSupport.h"

#include <QDir>
#include <QRandomGenerator>
#include <QSettings>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>
#include <vector>

namespace {

// The home's own folders: the places a user keeps things in, and the Trash itself. They are
// emptied by tools now and then, never removed.
const QStringList &standardHomeFolders()
{
    static const QStringList folders = {QStringLiteral("Applications"),
                                        QStringLiteral("Desktop"),
                                        QStringLiteral("Documents"),
                                        QStringLiteral("Downloads"),
                                        QStringLiteral("Library"),
                                        QStringLiteral("Movies"),
                                        QStringLiteral("Music"),
                                        QStringLiteral("Pictures"),
                                        QStringLiteral("Public"),
                                        QStringLiteral(".Trash"),
                                        QStringLiteral("Templates"),
                                        QStringLiteral("Videos"),
                                        QStringLiteral(".cache"),
                                        QStringLiteral(".config"),
                                        QStringLiteral(".local"),
                                        QStringLiteral(".local/share"),
                                        QStringLiteral(".local/share/Trash")};
    return folders;
}

const QString NeverTouchKey = QStringLiteral("whitelistPaths");
const QString KeptAsideNeverTouchKey = QStringLiteral("whitelistPathsBeforeReset");

QString clean(const QString &path)
{
    return path.isEmpty() ? path : QDir::cleanPath(path);
}

bool isInside(const QString &path, const QString &folder)
{
    if (folder == QLatin1String("/"))
        return path.size() > 1 && path.startsWith(QLatin1Char('/'));
    return path.startsWith(folder + QLatin1Char('/'));
}

QString parentOf(const QString &path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    return slash <= 0 ? QStringLiteral("/") : path.left(slash);
}

QString resolved(const QString &path)
{
    char *real = ::realpath(KSTFileName::encoded(path).constData(), nullptr);
    if (!real)
        return {};
    const QString result = KSTFileName::decoded(real);
    ::free(real);
    return result;
}

// Device and inode only: which file, not what it holds.
bool sameFile(const KSTFileIdentity &a, const KSTFileIdentity &b)
{
    return a.device == b.device && a.inode == b.inode;
}

bool containsFile(const std::vector<KSTFileIdentity> &files, const KSTFileIdentity &file)
{
    return std::any_of(files.cbegin(), files.cend(),
                       [&file](const KSTFileIdentity &other) { return sameFile(other, file); });
}

// Every folder above and including @p resolvedPath (links already resolved), up to "/".
std::vector<KSTFileIdentity> foldersDownTo(const QString &resolvedPath)
{
    std::vector<KSTFileIdentity> folders;
    QString folder = resolvedPath;
    for (;;) {
        struct stat status = {};
        if (::stat(KSTFileName::encoded(folder).constData(), &status) == 0)
            folders.push_back(KSTFileIdentity::fromStatus(status));
        if (folder == QLatin1String("/") || folder.isEmpty())
            break;
        folder = parentOf(folder);
    }
    return folders;
}

QString expandedAgainstHome(const QString &path, const QString &home)
{
    if (path == QLatin1String("~"))
        return home;
    if (path.startsWith(QLatin1String("~/")))
        return home + path.mid(1);
    return path;
}

bool hasProtectedExtension(const char *name)
{
    const char *dot = std::strrchr(name, '.');
    if (!dot || dot == name)
        return false;
    const QByteArray extension = QByteArray(dot + 1).toLower();
    return KSTPermissionChecker::privacyProtectedExtensions().contains(extension);
}

// Whether the folder @p name in @p parentFd holds a photo or music library anywhere below,
// looked for without following links or leaving its file system.
bool holdsPrivacyProtectedPackage(int parentFd, const QByteArray &name, dev_t device)
{
    std::vector<int> pending;
    const int top =
        ::openat(parentFd, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (top < 0)
        return false;
    pending.push_back(top);
    bool found = false;
    while (!pending.empty() && !found) {
        const int fd = pending.back();
        pending.pop_back();
        DIR *dir = ::fdopendir(fd);
        if (!dir) {
            ::close(fd);
            continue;
        }
        while (const dirent *entry = ::readdir(dir)) {
            const char *child = entry->d_name;
            if (child[0] == '.' && (child[1] == '\0' || (child[1] == '.' && child[2] == '\0')))
                continue;
            bool isFolder = entry->d_type == DT_DIR;
            if (entry->d_type == DT_UNKNOWN) {
                struct stat status = {};
                isFolder = ::fstatat(::dirfd(dir), child, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
                           S_ISDIR(status.st_mode);
            }
            if (!isFolder)
                continue;
            if (hasProtectedExtension(child)) {
                found = true;
                break;
            }
            const int next =
                ::openat(::dirfd(dir), child, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (next < 0)
                continue;
            struct stat status = {};
            if (::fstat(next, &status) == 0 && status.st_dev == device)
                pending.push_back(next);
            else
                ::close(next);
        }
        ::closedir(dir);
    }
    for (const int fd : pending)
        ::close(fd);
    return found;
}

bool isMountRoot(const KSTHeldEntry &entry)
{
    struct stat parent = {};
    if (::fstat(entry.parentFd(), &parent) == 0 && parent.st_dev != entry.status().st_dev)
        return true;
#if defined(__linux__) && defined(STATX_ATTR_MOUNT_ROOT)
    struct statx extended = {};
    if (::statx(entry.parentFd(), entry.name().constData(), AT_SYMLINK_NOFOLLOW, 0, &extended) ==
            0 &&
        (extended.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT))
        return (extended.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
#endif
    return false;
}

} // namespace

KSTRemovalGuard::KSTRemovalGuard(Policy policy)
{
    const KSTEnvironment environment = KSTEnvironment::current();
    m_home = clean(KSTPermissionChecker::accessibleUserHomeDirectoryPath());
    if (m_home.isEmpty())
        m_home = clean(environment.home());
    m_root = environment.root();

    for (const QString &root : policy.scopeRoots) {
        const QString expanded = clean(expandedAgainstHome(root, m_home));
        if (expanded.startsWith(QLatin1Char('/')))
            m_scopeRoots << expanded;
    }
    if (policy.scopeRoots.isEmpty() && !m_home.isEmpty())
        m_scopeRoots << m_home;

    m_protectedFolders << QStringLiteral("/") << m_root << m_scopeRoots;
    if (!m_home.isEmpty()) {
        m_protectedFolders << m_home;
        for (const QString &folder : standardHomeFolders())
            m_protectedFolders << m_home + QLatin1Char('/') + folder;
    }

    QStringList neverTouch;
    for (const QString &path : policy.neverTouchPaths)
        neverTouch << clean(expandedAgainstHome(path, m_home));
    // The Music folder is held like a never-touch entry, so that it is also recognised as a
    // file wherever a path reaches it.
    if (!m_home.isEmpty())
        neverTouch << m_home + QLatin1String("/Music");
    for (const QString &path : std::as_const(neverTouch)) {
        if (!path.startsWith(QLatin1Char('/')))
            continue;
        NeverTouchEntry entry;
        entry.cleanPath = path;
        entry.resolvedPath = resolved(path);
        struct stat status = {};
        if (::lstat(KSTFileName::encoded(path).constData(), &status) == 0)
            entry.itself.push_back(KSTFileIdentity::fromStatus(status));
        if (::stat(KSTFileName::encoded(path).constData(), &status) == 0)
            entry.itself.push_back(KSTFileIdentity::fromStatus(status));
        if (!entry.resolvedPath.isEmpty())
            entry.holders = foldersDownTo(parentOf(entry.resolvedPath));
        m_neverTouch.push_back(std::move(entry));
    }
}

QStringList KSTRemovalGuard::storedNeverTouchPaths(const QString &suiteName)
{
    const std::unique_ptr<QSettings> settings = KSTPreferences::suite(suiteName);
    QStringList paths;
    for (const QString &key : {NeverTouchKey, KeptAsideNeverTouchKey}) {
        // INI files give a one-element list back as a plain string; toStringList() copes.
        for (const QString &path : settings->value(key).toStringList()) {
            if (!path.isEmpty() && !paths.contains(path))
                paths << path;
        }
    }
    return paths;
}

std::optional<KSTFileIdentity> KSTRemovalGuard::identityOf(const QString &path)
{
    const std::optional<struct stat> status = KSTNoFollowPath::status(path, true);
    if (!status)
        return std::nullopt;
    return KSTFileIdentity::fromStatus(*status);
}

bool KSTRemovalGuard::refuse(KSTError *error, RefusalCode code, const QString &path,
                             const QString &reason) const
{
    qCInfo(lcAccess) << "left in place:" << path << "-" << reason;
    if (error) {
        error->domain = ErrorDomain;
        error->code = code;
        error->description =
            QStringLiteral("%1 was left in place: %2").arg(KSTTrashSupport::quoted(path), reason);
        error->userInfo = {{QStringLiteral("NSFilePath"), path}};
    }
    return false;
}

QString KSTRemovalGuard::scopeRootFor(const QString &path) const
{
    QString best;
    for (const QString &root : m_scopeRoots) {
        if (isInside(path, root) && root.size() > best.size())
            best = root;
    }
    return best;
}

bool KSTRemovalGuard::isProtectedFolder(const QString &path) const
{
    return m_protectedFolders.contains(path);
}

std::optional<KSTHeldEntry> KSTRemovalGuard::admit(const QString &path,
                                                   const std::optional<KSTFileIdentity> &expected,
                                                   KSTError *error) const
{
    const QString target = clean(path);
    if (!target.startsWith(QLatin1Char('/')) || isProtectedFolder(target)) {
        refuse(error, RefusedProtectedFolder, path, QStringLiteral("it is a protected folder"));
        return std::nullopt;
    }
    const QString scope = scopeRootFor(target);
    if (scope.isEmpty()) {
        refuse(error, RefusedOutsideChoice, path,
               QStringLiteral("it lies outside the folders chosen for this task"));
        return std::nullopt;
    }
    if (KSTPermissionChecker::liesInPrivacyProtectedPlace(target)) {
        refuse(error, RefusedPrivacyProtected, path,
               QStringLiteral("it is in the Music folder or a photo or music library"));
        return std::nullopt;
    }

    std::optional<KSTHeldEntry> entry = KSTNoFollowPath::holdBeneath(scope, target);
    if (!entry) {
        const int failure = errno;
        if (failure == ENOENT) {
            refuse(error, RefusedMissing, path, QStringLiteral("it no longer exists"));
        } else if (failure == ELOOP || failure == ENOTDIR || failure == EXDEV) {
            refuse(error, RefusedThroughLink, path,
                   QStringLiteral("it is reached only through a symbolic link"));
        } else if (error) {
            *error = KSTTrashSupport::cocoaError(
                failure, path,
                QStringLiteral("%1 was left in place").arg(KSTTrashSupport::quoted(path)));
        }
        return std::nullopt;
    }
    if (isMountRoot(*entry)) {
        refuse(error, RefusedProtectedFolder, path,
               QStringLiteral("another file system is mounted there"));
        return std::nullopt;
    }

    // The same rules by file identity, so that another path to a protected entry (a hard
    // link, a bind mount, a path through a link above the home) is caught too.
    const KSTFileIdentity identity = KSTFileIdentity::fromStatus(entry->status());
    const QString resolvedParent = resolved(parentOf(target));
    const QString resolvedTarget =
        resolvedParent.isEmpty()
            ? target
            : (resolvedParent == QLatin1String("/") ? QString() : resolvedParent) +
                  QLatin1Char('/') + KSTFileName::decoded(entry->name());
    const std::vector<KSTFileIdentity> holders =
        resolvedParent.isEmpty() ? std::vector<KSTFileIdentity>() : foldersDownTo(resolvedParent);
    if (const NeverTouchEntry *hit = neverTouchHit(target, resolvedTarget, identity, holders)) {
        refuseNeverTouch(error, path, *hit);
        return std::nullopt;
    }

    if (expected && !expected->matches(identity)) {
        refuse(error, RefusedChanged, path, QStringLiteral("it changed since the scan"));
        return std::nullopt;
    }
    if (entry->isDirectory() &&
        holdsPrivacyProtectedPackage(entry->parentFd(), entry->name(), entry->status().st_dev)) {
        refuse(error, RefusedPrivacyProtected, path,
               QStringLiteral("it holds a photo or music library"));
        return std::nullopt;
    }
    return entry;
}

const KSTRemovalGuard::NeverTouchEntry *
KSTRemovalGuard::neverTouchHit(const QString &target, const QString &resolvedTarget,
                               const std::optional<KSTFileIdentity> &identity,
                               const std::vector<KSTFileIdentity> &holders) const
{
    for (const NeverTouchEntry &neverTouch : m_neverTouch) {
        bool hit = identity && (containsFile(neverTouch.itself, *identity) ||
                                containsFile(neverTouch.holders, *identity));
        for (const KSTFileIdentity &file : neverTouch.itself)
            hit =
                hit || (file.kind == KSTFileIdentity::Kind::Folder && containsFile(holders, file));
        for (const QString &form : {neverTouch.cleanPath, neverTouch.resolvedPath}) {
            if (form.isEmpty())
                continue;
            for (const QString &mine : {target, resolvedTarget}) {
                hit = hit || mine == form || isInside(mine, form) || isInside(form, mine);
            }
        }
        if (hit)
            return &neverTouch;
    }
    return nullptr;
}

bool KSTRemovalGuard::refuseNeverTouch(KSTError *error, const QString &path,
                                       const NeverTouchEntry &hit) const
{
    const bool music = hit.cleanPath == m_home + QLatin1String("/Music");
    return refuse(error, music ? RefusedPrivacyProtected : RefusedNeverTouch, path,
                  music ? QStringLiteral("it is in the Music folder or holds it")
                        : QStringLiteral("it is, holds or lies inside a never-touch item"));
}

std::optional<KSTHeldEntry> KSTRemovalGuard::recheck(KSTHeldEntry entry, KSTError *error) const
{
    // The last look before the act: still there, still the same entry.
    const KSTFileIdentity admitted = KSTFileIdentity::fromStatus(entry.status());
    if (!entry.refresh()) {
        refuse(error, RefusedMissing, entry.path(), QStringLiteral("it no longer exists"));
        return std::nullopt;
    }
    if (!admitted.matches(KSTFileIdentity::fromStatus(entry.status()))) {
        refuse(error, RefusedChanged, entry.path(), QStringLiteral("it changed since the scan"));
        return std::nullopt;
    }
    return entry;
}

bool KSTRemovalGuard::moveToTrash(const QString &path,
                                  const std::optional<KSTFileIdentity> &expected,
                                  QString *resultingPath, KSTError *error) const
{
    std::optional<KSTHeldEntry> entry = admit(path, expected, error);
    if (entry)
        entry = recheck(std::move(*entry), error);
    return entry && KSTTrash::moveToTrash(*entry, resultingPath, error);
}

bool KSTRemovalGuard::removePermanently(const QString &path,
                                        const std::optional<KSTFileIdentity> &expected,
                                        KSTError *error) const
{
    std::optional<KSTHeldEntry> entry = admit(path, expected, error);
    if (entry)
        entry = recheck(std::move(*entry), error);
    return entry && KSTTrash::removePermanently(*entry, error);
}

bool KSTRemovalGuard::replaceFile(const QString &path,
                                  const std::optional<KSTFileIdentity> &expected,
                                  const Builder &build, KSTError *error) const
{
    std::optional<KSTHeldEntry> entry = admit(path, expected, error);
    if (entry)
        entry = recheck(std::move(*entry), error);
    if (!entry)
        return false;
    if (!S_ISREG(entry->status().st_mode))
        return refuse(error, RefusedChanged, path, QStringLiteral("it is not a file"));
    const KSTFileIdentity admitted = KSTFileIdentity::fromStatus(entry->status());
    const int folder = entry->parentFd();

    // A hidden name of our own beside the file; the builder creates it exclusively.
    const QByteArray temporary =
        ".kestrel-" + QByteArray::number(QRandomGenerator::global()->generate64(), 16) + ".tmp";
    KSTError buildError;
    if (!build(folder, temporary, &buildError)) {
        if (error)
            *error =
                buildError.description.isEmpty()
                    ? KSTTrashSupport::cocoaError(
                          EIO, path,
                          QStringLiteral("%1 was left in place").arg(KSTTrashSupport::quoted(path)))
                    : buildError;
        return false;
    }
    const auto fail = [&](int failure, const QString &reason) {
        ::unlinkat(folder, temporary.constData(), 0);
        if (failure == 0)
            return refuse(error, RefusedChanged, path, reason);
        if (error)
            *error = KSTTrashSupport::cocoaError(
                failure, path,
                QStringLiteral("%1 was left in place").arg(KSTTrashSupport::quoted(path)));
        return false;
    };
    struct stat built = {};
    if (::fstatat(folder, temporary.constData(), &built, AT_SYMLINK_NOFOLLOW) != 0 ||
        !S_ISREG(built.st_mode))
        return fail(0, QStringLiteral("its replacement is not a file"));
    if (!entry->refresh() || !admitted.matches(KSTFileIdentity::fromStatus(entry->status())))
        return fail(0, QStringLiteral("it changed since the scan"));

    const int exchanged = KSTTrashSupport::exchangeAt(folder, temporary, entry->name());
    if (exchanged == 0) {
        // The entry swapped out must be the file admitted; otherwise put it back.
        struct stat displaced = {};
        if (::fstatat(folder, temporary.constData(), &displaced, AT_SYMLINK_NOFOLLOW) != 0 ||
            !admitted.matches(KSTFileIdentity::fromStatus(displaced))) {
            if (KSTTrashSupport::exchangeAt(folder, temporary, entry->name()) != 0)
                return refuse(error, RefusedChanged, path,
                              QStringLiteral("it changed while it was being replaced, and the "
                                             "entry that took its place was kept as %1")
                                  .arg(KSTFileName::decoded(temporary)));
            return fail(0, QStringLiteral("it changed since the scan"));
        }
        ::unlinkat(folder, temporary.constData(), 0);
        return true;
    }
    if (exchanged != EINVAL && exchanged != ENOSYS && exchanged != ENOTSUP)
        return fail(exchanged, {});
    // Without an atomic swap: the re-check above is the last look before the rename.
    if (::renameat(folder, temporary.constData(), folder, entry->name().constData()) != 0)
        return fail(errno, {});
    return true;
}

bool KSTRemovalGuard::moveIntoFolder(const QString &path,
                                     const std::optional<KSTFileIdentity> &expected,
                                     const QString &destinationFolder,
                                     const QString &destinationName, QString *resultingPath,
                                     KSTError *error) const
{
    const QString folder = clean(destinationFolder);
    const QString scope = scopeRootFor(folder + QLatin1String("/x"));
    if (scope.isEmpty() || destinationName.isEmpty() ||
        destinationName.contains(QLatin1Char('/')) || destinationName == QLatin1String(".") ||
        destinationName == QLatin1String("..")) {
        return refuse(error, RefusedOutsideChoice, path,
                      QStringLiteral("its destination lies outside the folders chosen"));
    }
    std::optional<KSTHeldEntry> entry = admit(path, expected, error);
    if (entry)
        entry = recheck(std::move(*entry), error);
    if (!entry)
        return false;
    const int folderFd = KSTNoFollowPath::openFolderBeneath(scope, folder);
    if (folderFd < 0) {
        const int failure = errno;
        if (failure == ELOOP || failure == ENOTDIR)
            return refuse(error, RefusedThroughLink, path,
                          QStringLiteral("its destination is reached only through a symbolic "
                                         "link"));
        if (error)
            *error = KSTTrashSupport::cocoaError(
                failure, path,
                QStringLiteral("Could not move %1").arg(KSTTrashSupport::quoted(path)));
        return false;
    }
    const int failure = KSTTrashSupport::renameNoReplaceAt(
        entry->parentFd(), entry->name(), folderFd, KSTFileName::encoded(destinationName));
    ::close(folderFd);
    if (failure != 0) {
        if (error)
            *error = KSTTrashSupport::cocoaError(
                failure, path,
                QStringLiteral("Could not move %1").arg(KSTTrashSupport::quoted(path)));
        return false;
    }
    if (resultingPath)
        *resultingPath = folder + QLatin1Char('/') + destinationName;
    return true;
}

int KSTRemovalGuard::openForOverwriting(const QString &path,
                                        const std::optional<KSTFileIdentity> &expected,
                                        KSTError *error) const
{
    std::optional<KSTHeldEntry> entry = admit(path, expected, error);
    if (entry)
        entry = recheck(std::move(*entry), error);
    if (!entry)
        return -1;
    if (!S_ISREG(entry->status().st_mode)) {
        refuse(error, RefusedChanged, path, QStringLiteral("it is not a regular file"));
        return -1;
    }
    if (entry->status().st_nlink > 1) {
        refuse(error, RefusedSharedData, path,
               QStringLiteral("its data also lives under another name"));
        return -1;
    }
    const int fd = ::openat(entry->parentFd(), entry->name().constData(),
                            O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        if (error)
            *error = KSTTrashSupport::cocoaError(
                errno, path,
                QStringLiteral("Could not open %1 for writing").arg(KSTTrashSupport::quoted(path)));
        return -1;
    }
    struct stat opened = {};
    if (::fstat(fd, &opened) != 0 || !S_ISREG(opened.st_mode) || opened.st_nlink > 1 ||
        !KSTFileIdentity::fromStatus(entry->status())
             .matches(KSTFileIdentity::fromStatus(opened))) {
        ::close(fd);
        refuse(error, RefusedChanged, path, QStringLiteral("it changed since the scan"));
        return -1;
    }
    return fd;
}

std::optional<KSTGuardedNewFile>
KSTRemovalGuard::startNewFile(const QString &path, const std::optional<KSTFileIdentity> &replaced,
                              KSTError *error) const
{
    const QString target = clean(path);
    const QString folder = parentOf(target);
    const QString scope = scopeRootFor(target);
    if (!target.startsWith(QLatin1Char('/')) || isProtectedFolder(target)) {
        refuse(error, RefusedProtectedFolder, path, QStringLiteral("it is a protected folder"));
        return std::nullopt;
    }
    if (scope.isEmpty()) {
        refuse(error, RefusedOutsideChoice, path,
               QStringLiteral("it lies outside the folders chosen for this task"));
        return std::nullopt;
    }
    if (KSTPermissionChecker::liesInPrivacyProtectedPlace(target)) {
        refuse(error, RefusedPrivacyProtected, path,
               QStringLiteral("it is in the Music folder or a photo or music library"));
        return std::nullopt;
    }
    const int folderFd = KSTNoFollowPath::openFolderBeneath(scope, folder);
    if (folderFd < 0) {
        const int failure = errno;
        if (failure == ELOOP || failure == ENOTDIR || failure == EXDEV)
            refuse(error, RefusedThroughLink, path,
                   QStringLiteral("its folder is reached only through a symbolic link"));
        else if (error)
            *error = KSTTrashSupport::cocoaError(
                failure, path,
                QStringLiteral("Could not write %1").arg(KSTTrashSupport::quoted(path)));
        return std::nullopt;
    }
    struct stat folderStatus = {};
    ::fstat(folderFd, &folderStatus);
    const QString resolvedFolder = resolved(folder);
    const QString name = target.mid(folder.size() == 1 ? 1 : folder.size() + 1);
    const QString resolvedTarget =
        resolvedFolder.isEmpty()
            ? target
            : (resolvedFolder == QLatin1String("/") ? QString() : resolvedFolder) +
                  QLatin1Char('/') + name;
    if (KSTPermissionChecker::liesInPrivacyProtectedPlace(resolvedTarget)) {
        ::close(folderFd);
        refuse(error, RefusedPrivacyProtected, path,
               QStringLiteral("it is in the Music folder or a photo or music library"));
        return std::nullopt;
    }
    std::vector<KSTFileIdentity> holders =
        foldersDownTo(resolvedFolder.isEmpty() ? folder : resolvedFolder);
    holders.push_back(KSTFileIdentity::fromStatus(folderStatus));
    if (const NeverTouchEntry *hit = neverTouchHit(target, resolvedTarget, replaced, holders)) {
        ::close(folderFd);
        refuseNeverTouch(error, path, *hit);
        return std::nullopt;
    }
    std::optional<KSTGuardedNewFile> file = KSTGuardedNewFile::start(
        folderFd, KSTFileName::encoded(name), target,
        replaced ? KSTGuardedNewFile::Mode::Replace : KSTGuardedNewFile::Mode::CreateOnly,
        replaced);
    if (!file && error) {
        *error = KSTTrashSupport::cocoaError(
            errno, path, QStringLiteral("Could not write %1").arg(KSTTrashSupport::quoted(path)));
    }
    if (!file)
        ::close(folderFd);
    return file;
}

std::optional<KSTGuardedNewFile> KSTRemovalGuard::createNewFile(const QString &path,
                                                                KSTError *error) const
{
    if (KSTNoFollowPath::status(clean(path))) {
        if (error)
            *error = KSTTrashSupport::cocoaError(
                EEXIST, path,
                QStringLiteral("Could not write %1").arg(KSTTrashSupport::quoted(path)));
        return std::nullopt;
    }
    return startNewFile(path, std::nullopt, error);
}

std::optional<KSTGuardedNewFile>
KSTRemovalGuard::replaceFile(const QString &path, const std::optional<KSTFileIdentity> &expected,
                             KSTError *error) const
{
    std::optional<KSTHeldEntry> entry = admit(path, expected, error);
    if (!entry)
        return std::nullopt;
    if (!S_ISREG(entry->status().st_mode)) {
        refuse(error, RefusedChanged, path, QStringLiteral("it is not a regular file"));
        return std::nullopt;
    }
    return startNewFile(path, KSTFileIdentity::fromStatus(entry->status()), error);
}
