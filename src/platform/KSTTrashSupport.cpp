#include "KSTTrashSupport.h"

#include <QDir>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace KSTTrashSupport {

QString candidateName(const QString &name, bool isDirectory, int attempt)
{
    if (attempt <= 1)
        return name;
    const QString number = QLatin1Char(' ') + QString::number(attempt);
    const qsizetype dot = isDirectory ? -1 : name.lastIndexOf(QLatin1Char('.'));
    // A leading dot names a hidden file rather than starting an extension, and a trailing
    // dot has nothing after it to keep.
    if (dot <= 0 || dot == name.size() - 1)
        return name + number;
    return name.left(dot) + number + name.mid(dot);
}

int renameNoReplace(const QByteArray &from, const QByteArray &to)
{
    int result = -1;
#if defined(__APPLE__)
    result = ::renamex_np(from.constData(), to.constData(), RENAME_EXCL);
#elif defined(RENAME_NOREPLACE)
    result = ::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE);
#else
    errno = ENOSYS;
#endif
    if (result == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS && errno != ENOTSUP)
        return errno;
    // A file system without the atomic form: a small window remains between the check and
    // the rename, which is the best the kernel offers there.
    struct stat existing = {};
    if (::lstat(to.constData(), &existing) == 0)
        return EEXIST;
    return ::rename(from.constData(), to.constData()) == 0 ? 0 : errno;
}

KSTError cocoaError(int errorNumber, const QString &path, const QString &message)
{
    // Foundation's NSFileNoSuchFileError, NSFileWriteNoPermissionError,
    // NSFileWriteFileExistsError, NSFileWriteOutOfSpaceError, NSFileWriteVolumeReadOnlyError
    // and NSFileWriteUnknownError.
    qint64 code = 512;
    switch (errorNumber) {
    case ENOENT:
        code = 4;
        break;
    case EACCES:
    case EPERM:
        code = 513;
        break;
    case EEXIST:
        code = 516;
        break;
    case ENOSPC:
        code = 640;
        break;
    case EROFS:
        code = 642;
        break;
    default:
        break;
    }
    KSTError error;
    error.domain = QStringLiteral("NSCocoaErrorDomain");
    error.code = code;
    error.description =
        message + QLatin1String(": ") + QString::fromLocal8Bit(std::strerror(errorNumber));
    error.userInfo.insert(QStringLiteral("NSFilePath"), path);
    error.userInfo.insert(QStringLiteral("NSPOSIXErrorCode"), errorNumber);
    return error;
}

QString quoted(const QString &path)
{
    return QStringLiteral("“") + path + QStringLiteral("”");
}

QString absoluteCleanPath(const QString &path)
{
    if (path.isEmpty())
        return path;
    return QDir::cleanPath(QDir::isAbsolutePath(path) ? path
                                                      : QDir::current().absoluteFilePath(path));
}

} // namespace KSTTrashSupport
