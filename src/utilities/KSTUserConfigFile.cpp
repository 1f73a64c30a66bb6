#include "KSTUserConfigFile.h"

#include "KSTFileName.h"
#include "KSTGuardedNewFile.h"
#include "KSTNoFollowPath.h"
#include "KSTPathText.h"
#include "KSTReadOnlyFile.h"
#include "KSTRemovalGuard.h"

#include <QDir>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool fail(KSTError *error, const KSTError &failure)
{
    if (error)
        *error = failure;
    return false;
}

// Makes @p folder and the missing folders above it, up to an existing one, never through a
// link (each parent is opened without following one).
bool makeFolders(const QString &folder, KSTError *error)
{
    const std::optional<struct stat> status = KSTNoFollowPath::status(folder);
    if (status)
        return S_ISDIR(status->st_mode) ||
               fail(error, {KSTRemovalGuard::ErrorDomain,
                            KSTRemovalGuard::RefusedThroughLink,
                            QStringLiteral("“%1” is not a folder.").arg(folder),
                            {}});
    const QString parent = KSTPathText::deletingLastPathComponent(folder);
    if (parent == folder || !makeFolders(parent, error))
        return false;
    const int parentFd = KSTNoFollowPath::openFolder(parent, true);
    if (parentFd < 0)
        return fail(error, KSTError::fromErrno(errno, parent));
    const QByteArray name = KSTFileName::encoded(KSTPathText::lastPathComponent(folder));
    const int made = ::mkdirat(parentFd, name.constData(), 0700);
    const int savedErrno = errno;
    ::close(parentFd);
    if (made != 0 && savedErrno != EEXIST)
        return fail(error, KSTError::fromErrno(savedErrno, folder));
    return true;
}

} // namespace

std::optional<KSTUserConfigFile::Contents>
KSTUserConfigFile::read(const QString &path, qint64 maximumBytes, KSTError *error)
{
    const QString clean = QDir::cleanPath(path);
    const std::optional<struct stat> status = KSTNoFollowPath::status(clean);
    if (!status)
        return Contents{};
    if (S_ISLNK(status->st_mode)) {
        fail(error,
             {KSTRemovalGuard::ErrorDomain,
              KSTRemovalGuard::RefusedThroughLink,
              QStringLiteral("“%1” is a symbolic link; it is never written through.").arg(clean),
              {}});
        return std::nullopt;
    }
    KSTReadOnlyFile file;
    if (!file.open(clean) || file.identity().size > maximumBytes) {
        fail(error, KSTError::fromErrno(errno ? errno : EINVAL, clean));
        return std::nullopt;
    }
    QByteArray bytes(qsizetype(file.identity().size), '\0');
    if (file.read(bytes.data(), bytes.size()) != bytes.size()) {
        fail(error, KSTError::fromErrno(errno ? errno : EIO, clean));
        return std::nullopt;
    }
    const std::optional<KSTFileIdentity> identity = KSTRemovalGuard::identityOf(clean);
    if (!identity || identity->inode != file.identity().inode ||
        identity->device != file.identity().device) {
        fail(error, {KSTRemovalGuard::ErrorDomain,
                     KSTRemovalGuard::RefusedChanged,
                     QStringLiteral("“%1” changed while it was read.").arg(clean),
                     {}});
        return std::nullopt;
    }
    return Contents{bytes, identity};
}

bool KSTUserConfigFile::write(const QString &scope, const QString &path, const Contents &before,
                              const QByteArray &bytes, KSTError *error)
{
    const QString clean = QDir::cleanPath(path);
    if (!makeFolders(KSTPathText::deletingLastPathComponent(clean), error))
        return false;
    const KSTRemovalGuard guard(
        {{QDir::cleanPath(scope)}, KSTRemovalGuard::storedNeverTouchPaths()});
    KSTError guardError;
    std::optional<KSTGuardedNewFile> file =
        before.identity ? guard.replaceFile(clean, before.identity, &guardError)
                        : guard.createNewFile(clean, &guardError);
    if (!file)
        return fail(error, guardError);
    for (qsizetype done = 0; done < bytes.size();) {
        const ssize_t written =
            ::write(file->fd(), bytes.constData() + done, size_t(bytes.size() - done));
        if (written <= 0)
            return fail(error, KSTError::fromErrno(written < 0 ? errno : EIO, clean));
        done += written;
    }
    if (!file->commit(&guardError))
        return fail(error, guardError);
    return true;
}
