#pragma once

#include "KSTDuplicateSnapshot.h"
#include "KSTFileIdentity.h"
#include "KSTFileName.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <QFile>
#include <QtEndian>

#include <fcntl.h>
#include <unistd.h>

/// Helpers shared by the Duplicates tests: file contents and the digests a scan must find,
/// computed with Qt's own SHA-256 rather than the engine's.
namespace KSTDuplicateTestSupport {

/// @p size bytes that depend on @p seed (different seeds give different bytes everywhere).
inline QByteArray contentOfSize(qsizetype size, quint32 seed)
{
    QByteArray data(size, Qt::Uninitialized);
    quint64 state = 0x9e3779b97f4a7c15ull * (seed + 1);
    for (qsizetype index = 0; index < size; ++index) {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        data[index] = char(state >> 56);
    }
    return data;
}

inline QByteArray sizePrefix(quint64 size)
{
    QByteArray prefix(8, Qt::Uninitialized);
    qToLittleEndian<quint64>(size, prefix.data());
    return prefix;
}

inline QString sha256Hex(const QByteArray &data)
{
    return QString::fromLatin1(QCryptographicHash::hash(data, QCryptographicHash::Sha256).toHex());
}

/// The hashKey a group of files with @p content must have: the size-prefixed digest of the
/// whole file up to 512 KiB, the plain digest of the whole file above.
inline QString expectedHashKey(const QByteArray &content)
{
    if (content.size() <= 524288)
        return sha256Hex(sizePrefix(quint64(content.size())) + content);
    return sha256Hex(content);
}

/// Writes @p contents to the file whose name is exactly the bytes @p encodedPath (its folder
/// must exist); false on failure.
inline bool writeBytes(const QByteArray &encodedPath, const QByteArray &contents)
{
    const int fd = ::open(encodedPath.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return false;
    const bool written =
        ::write(fd, contents.constData(), size_t(contents.size())) == contents.size();
    return ::close(fd) == 0 && written;
}

/// A record of the file at @p path as a walk would make it.
inline KSTDuplicateFileRecord recordOf(const QString &path)
{
    KSTDuplicateFileRecord record;
    record.path = path;
    const std::optional<KSTFileIdentity> identity =
        KSTFileIdentity::ofEntry(AT_FDCWD, KSTFileName::encoded(path).constData());
    if (identity) {
        record.bytes = quint64(identity->size);
        record.modificationDate =
            QDateTime::fromMSecsSinceEpoch(identity->modifiedMilliseconds(), Qt::UTC);
        record.identity = *identity;
    }
    return record;
}

} // namespace KSTDuplicateTestSupport
