#include "KSTTreeListing.h"

#include <QCryptographicHash>
#include <QStringList>

#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QByteArray fileDigest(int folder, const char *name)
{
    const int fd = ::openat(folder, name, O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return "unreadable";
    QCryptographicHash hash(QCryptographicHash::Sha256);
    char buffer[65536];
    for (;;) {
        const ssize_t read = ::read(fd, buffer, sizeof buffer);
        if (read <= 0)
            break;
        hash.addData(QByteArrayView(buffer, read));
    }
    ::close(fd);
    return hash.result().toHex();
}

void listFolder(int fd, const QByteArray &prefix, KSTTreeListing &listing)
{
    DIR *dir = ::fdopendir(fd);
    if (!dir) {
        ::close(fd);
        return;
    }
    while (const dirent *entry = ::readdir(dir)) {
        const QByteArray name(entry->d_name);
        if (name == "." || name == "..")
            continue;
        const QByteArray path = prefix.isEmpty() ? name : prefix + '/' + name;
        struct stat info = {};
        if (::fstatat(::dirfd(dir), entry->d_name, &info, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        if (S_ISDIR(info.st_mode)) {
            listing.insert(path, "folder");
            const int child = ::openat(::dirfd(dir), entry->d_name,
                                       O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (child >= 0)
                listFolder(child, path, listing);
        } else if (S_ISLNK(info.st_mode)) {
            char target[4096];
            const ssize_t length =
                ::readlinkat(::dirfd(dir), entry->d_name, target, sizeof target - 1);
            listing.insert(path, "link " + QByteArray(target, length < 0 ? 0 : length));
        } else if (S_ISREG(info.st_mode)) {
            listing.insert(path, "file " + QByteArray::number(qint64(info.st_size)) + ' ' +
                                     fileDigest(::dirfd(dir), entry->d_name));
        } else if (S_ISFIFO(info.st_mode)) {
            listing.insert(path, "fifo");
        } else {
            listing.insert(path, "other");
        }
    }
    ::closedir(dir);
}

} // namespace

namespace KSTTestSupport {

KSTTreeListing listTree(const QByteArray &folder)
{
    KSTTreeListing listing;
    const int fd = ::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0)
        listFolder(fd, {}, listing);
    return listing;
}

QStringList treeDifferences(const KSTTreeListing &before, const KSTTreeListing &after,
                            const std::function<bool(const QByteArray &path)> &ignore)
{
    QStringList differences;
    for (auto it = before.cbegin(); it != before.cend(); ++it) {
        if (ignore(it.key()))
            continue;
        const QByteArray now = after.value(it.key(), "missing");
        if (now != it.value())
            differences << QString::fromLatin1(it.key().toPercentEncoding("/ ")) + ": " +
                               QString::fromLatin1(it.value()) + " -> " + QString::fromLatin1(now);
    }
    for (auto it = after.cbegin(); it != after.cend(); ++it) {
        if (!before.contains(it.key()) && !ignore(it.key()))
            differences << QString::fromLatin1(it.key().toPercentEncoding("/ ")) + ": new " +
                               QString::fromLatin1(it.value());
    }
    return differences;
}

} // namespace KSTTestSupport
