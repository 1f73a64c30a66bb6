#include "KSTTrashSupport.h"

#include "KSTFileName.h"

#include <QDir>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace KSTTrashSupport {

namespace {

// @p stem shortened by whole characters (a surrogate pair stays whole) until @p stem +
// @p tail fits in @p maximumBytes; empty when even the tail alone does not fit.
QString fitted(QString stem, const QString &tail, qsizetype maximumBytes)
{
    const qsizetype tailBytes = KSTFileName::encoded(tail).size();
    while (!stem.isEmpty() && KSTFileName::encoded(stem).size() + tailBytes > maximumBytes) {
        const qsizetype cut = stem.size() >= 2 && stem.at(stem.size() - 1).isLowSurrogate() &&
                                      stem.at(stem.size() - 2).isHighSurrogate()
                                  ? 2
                                  : 1;
        stem.chop(cut);
    }
    return stem;
}

} // namespace

QString candidateName(const QString &name, bool isDirectory, int attempt, qsizetype maximumBytes)
{
    const QString number = attempt <= 1 ? QString() : QLatin1Char(' ') + QString::number(attempt);
    const qsizetype dot = isDirectory ? -1 : name.lastIndexOf(QLatin1Char('.'));
    // A leading dot names a hidden file rather than starting an extension, and a trailing
    // dot has nothing after it to keep.
    const bool hasExtension = dot > 0 && dot < name.size() - 1;
    const QString stem = hasExtension ? name.left(dot) : name;
    const QString extension = hasExtension ? name.mid(dot) : QString();
    if (KSTFileName::encoded(stem + number + extension).size() <= maximumBytes)
        return stem + number + extension;
    const QString shortStem = fitted(stem, number + extension, maximumBytes);
    if (!shortStem.isEmpty())
        return shortStem + number + extension;
    return fitted(name, number, maximumBytes) + number;
}

int renameNoReplace(const QByteArray &from, const QByteArray &to)
{
    return renameNoReplaceAt(AT_FDCWD, from, AT_FDCWD, to);
}

int exchangeAt(int folder, const QByteArray &first, const QByteArray &second)
{
#if defined(__APPLE__)
    return ::renameatx_np(folder, first.constData(), folder, second.constData(), RENAME_SWAP) == 0
               ? 0
               : errno;
#elif defined(RENAME_EXCHANGE)
    return ::renameat2(folder, first.constData(), folder, second.constData(), RENAME_EXCHANGE) == 0
               ? 0
               : errno;
#else
    Q_UNUSED(folder);
    Q_UNUSED(first);
    Q_UNUSED(second);
    return ENOSYS;
#endif
}

int renameNoReplaceAt(int fromFolder, const QByteArray &fromName, int toFolder,
                      const QByteArray &toName)
{
    int result = -1;
#if defined(__APPLE__)
    result =
        ::renameatx_np(fromFolder, fromName.constData(), toFolder, toName.constData(), RENAME_EXCL);
#elif defined(RENAME_NOREPLACE)
    result = ::renameat2(fromFolder, fromName.constData(), toFolder, toName.constData(),
                         RENAME_NOREPLACE);
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
    if (::fstatat(toFolder, toName.constData(), &existing, AT_SYMLINK_NOFOLLOW) == 0)
        return EEXIST;
    return ::renameat(fromFolder, fromName.constData(), toFolder, toName.constData()) == 0 ? 0
                                                                                           : errno;
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
