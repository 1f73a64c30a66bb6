#include "KSTSecureEraser.h"

#include "KSTEraseRules.h"
#include "KSTFileName.h"
#include "KSTMountedVolumes.h"
#include "KSTPathText.h"
#include "KSTRemovalGuard.h"
#include "KSTTrashSupport.h"
#include "KSTUtilitiesLocations.h"
#include "KSTUtilitiesManager.h"

#include <openssl/rand.h>

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

KSTError missingError(const QString &path)
{
    KSTError error = KSTTrashSupport::cocoaError(
        ENOENT, path,
        QStringLiteral("The file %1 couldn’t be opened because there is no such file.")
            .arg(KSTTrashSupport::quoted(KSTPathText::lastPathComponent(path))));
    error.domain = KSTUtilitiesManager::CocoaErrorDomain;
    error.code = KSTUtilitiesManager::FileNoSuchFileError;
    return error;
}

KSTError fileError(int failure, const QString &path, const QString &what)
{
    return KSTTrashSupport::cocoaError(failure, path, what.arg(KSTTrashSupport::quoted(path)));
}

// The names of the folder at @p path (hidden ones too), listed through the folder reached
// without following a link in its last component; nothing when it cannot be listed.
std::optional<QList<QByteArray>> namesIn(const QString &path, dev_t *device, int *failure)
{
    const int fd = ::open(KSTFileName::encoded(path).constData(),
                          O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
        *failure = errno;
        return std::nullopt;
    }
    struct stat status = {};
    ::fstat(fd, &status);
    *device = status.st_dev;
    DIR *dir = ::fdopendir(fd);
    if (!dir) {
        *failure = errno;
        ::close(fd);
        return std::nullopt;
    }
    QList<QByteArray> names;
    while (const dirent *entry = ::readdir(dir)) {
        const char *name = entry->d_name;
        if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
            continue;
        names.append(QByteArray(name));
    }
    ::closedir(dir);
    return names;
}

} // namespace

KSTSecureEraser::KSTSecureEraser(quint64 passes)
    : m_passes(passes), m_neverTouch(KSTRemovalGuard::storedNeverTouchPaths())
{
}

KSTSecureEraser::~KSTSecureEraser() = default;

const KSTRemovalGuard &KSTSecureEraser::guardFor(const QString &scope)
{
    std::shared_ptr<KSTRemovalGuard> &guard = m_guards[scope];
    if (!guard)
        guard = std::make_shared<KSTRemovalGuard>(KSTRemovalGuard::Policy{{scope}, m_neverTouch});
    return *guard;
}

bool KSTSecureEraser::fillForPass(char *buffer, qint64 length, quint64 pass, quint64 passes)
{
    if (pass + 1 == passes)
        return RAND_bytes(reinterpret_cast<unsigned char *>(buffer), int(length)) == 1;
    std::memset(buffer, pass % 2 == 1 ? 0xFF : 0x00, size_t(length));
    return true;
}

bool KSTSecureEraser::erasePath(const QString &path, KSTError *error)
{
    struct stat status = {};
    if (::lstat(KSTFileName::encoded(path).constData(), &status) != 0) {
        if (error)
            *error = missingError(path);
        return false;
    }
    const QString parent = KSTPathText::deletingLastPathComponent(path);
    if (S_ISDIR(status.st_mode) && KSTEraseRules::isVolumeMountPoint(path))
        return eraseVolume(path, error);
    // The chosen entry itself must be one the guard would remove, before anything in it is
    // touched.
    const KSTRemovalGuard &outer = guardFor(parent);
    if (!outer.admit(path, std::nullopt, error))
        return false;
    if (S_ISDIR(status.st_mode))
        return eraseDirectory(path, error);
    if (S_ISREG(status.st_mode))
        return overwriteAndRemove(outer, path, error);
    return outer.removePermanently(path, std::nullopt, error);
}

bool KSTSecureEraser::eraseDirectory(const QString &path, KSTError *error)
{
    dev_t device = 0;
    int failure = 0;
    const std::optional<QList<QByteArray>> names = namesIn(path, &device, &failure);
    if (!names) {
        if (error)
            *error = fileError(failure, path, QStringLiteral("Could not list %1"));
        return false;
    }
    if (!eraseContents(guardFor(path), path, {}, device, error))
        return false;
    return guardFor(KSTPathText::deletingLastPathComponent(path))
        .removePermanently(path, std::nullopt, error);
}

bool KSTSecureEraser::eraseVolume(const QString &path, KSTError *error)
{
    dev_t device = 0;
    int failure = 0;
    if (!namesIn(path, &device, &failure)) {
        if (error)
            *error = fileError(failure, path, QStringLiteral("Could not list %1"));
        return false;
    }
    return eraseContents(guardFor(path), path, KSTEraseRules::volumeEntriesKept(), device, error);
}

bool KSTSecureEraser::eraseFile(const QString &path, KSTError *error)
{
    return overwriteAndRemove(guardFor(KSTPathText::deletingLastPathComponent(path)), path, error);
}

bool KSTSecureEraser::eraseContents(const KSTRemovalGuard &guard, const QString &folder,
                                    const QStringList &kept, dev_t device, KSTError *error)
{
    // The folder is read again through the guard's held entries below; this listing only
    // names them.
    dev_t listed = 0;
    int failure = 0;
    const std::optional<QList<QByteArray>> names = namesIn(folder, &listed, &failure);
    if (!names || listed != device) {
        if (error)
            *error =
                fileError(names ? EXDEV : failure, folder, QStringLiteral("Could not list %1"));
        return false;
    }
    for (const QByteArray &name : *names) {
        const QString decoded = KSTFileName::decoded(name);
        if (kept.contains(decoded))
            continue;
        const QString child =
            (folder == QLatin1String("/") ? QString() : folder) + QLatin1Char('/') + decoded;
        if (!eraseInside(guard, child, device, error))
            return false;
    }
    return true;
}

bool KSTSecureEraser::eraseInside(const KSTRemovalGuard &guard, const QString &path, dev_t device,
                                  KSTError *error)
{
    std::optional<KSTHeldEntry> entry = guard.admit(path, std::nullopt, error);
    if (!entry)
        return false;
    if (entry->isDirectory()) {
        // Another file system mounted inside what was chosen is never entered.
        if (entry->status().st_dev != device) {
            if (error)
                *error = fileError(EXDEV, path,
                                   QStringLiteral("%1 was left in place: another file system is "
                                                  "mounted there"));
            return false;
        }
        entry.reset();
        return eraseContents(guard, path, {}, device, error) &&
               guard.removePermanently(path, std::nullopt, error);
    }
    const bool regular = S_ISREG(entry->status().st_mode);
    entry.reset();
    if (regular)
        return overwriteAndRemove(guard, path, error);
    // Links, FIFOs, sockets and devices hold no data of their own: removed as they are.
    return guard.removePermanently(path, std::nullopt, error);
}

bool KSTSecureEraser::overwriteAndRemove(const KSTRemovalGuard &guard, const QString &path,
                                         KSTError *error)
{
    KSTError openError;
    const int fd = guard.openForOverwriting(path, std::nullopt, &openError);
    if (fd < 0) {
        // A refusal stops the job; a file shared with another name, or one that cannot be
        // opened for writing, is only removed.
        if (openError.domain == KSTRemovalGuard::ErrorDomain &&
            openError.code != KSTRemovalGuard::RefusedSharedData) {
            if (error)
                *error = openError;
            return false;
        }
        return guard.removePermanently(path, std::nullopt, error);
    }
    if (KSTMountedVolumes::isKernelStateFileSystem(fd)) {
        ::close(fd);
        if (error)
            *error = KSTUtilitiesManager::makeError(
                KSTUtilitiesManager::ProtectedErasePath,
                QStringLiteral("Cannot erase protected system path: %1").arg(path));
        return false;
    }
    struct stat status = {};
    ::fstat(fd, &status);
    const qint64 size = qint64(status.st_size);
    std::unique_ptr<char[]> buffer(new char[size_t(ChunkBytes)]);
    for (quint64 pass = 0; pass < m_passes; ++pass) {
        for (qint64 offset = 0; offset < size;) {
            const qint64 length = std::min(ChunkBytes, size - offset);
            bool ok = fillForPass(buffer.get(), length, pass, m_passes);
            ssize_t written = ok ? ::pwrite(fd, buffer.get(), size_t(length), off_t(offset)) : -1;
            if (written <= 0) {
                const int failure = ok ? (written < 0 ? errno : EIO) : EIO;
                ::close(fd);
                if (error)
                    *error = fileError(failure, path, QStringLiteral("Could not overwrite %1"));
                return false;
            }
            offset += written;
        }
        if (::fsync(fd) != 0 && errno != EINVAL) {
            const int failure = errno;
            ::close(fd);
            if (error)
                *error = fileError(failure, path, QStringLiteral("Could not overwrite %1"));
            return false;
        }
    }
    ::fstat(fd, &status);
    ::close(fd);
    return guard.removePermanently(path, KSTFileIdentity::fromStatus(status), error);
}
