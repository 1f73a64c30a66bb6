#include "KSTEncryptedArchiveWriter.h"

#include "KSTArchiveSources.h"
#include "KSTDeflatePipeline.h"
#include "KSTFileName.h"
#include "KSTPathText.h"
#include "KSTPermissionChecker.h"
#include "KSTUtilitiesLog.h"

#include <zip.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Entry = KSTArchiveSources::Entry;

QString failure()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

// The entry @p leaf of the open folder @p folderFd and, for a folder, everything below it,
// depth first with names in byte order; never through a link.
bool collect(const QString &base, int folderFd, const QByteArray &leaf, const QByteArray &relative,
             std::vector<Entry> &entries, QString *message)
{
    Entry entry;
    entry.relative = relative;
    if (::fstatat(folderFd, leaf.constData(), &entry.status, AT_SYMLINK_NOFOLLOW) != 0) {
        *message = failure();
        return false;
    }
    if (S_ISREG(entry.status.st_mode)) {
        entry.kind = Entry::Kind::File;
        entry.name = relative;
        entries.push_back(entry);
        return true;
    }
    if (S_ISLNK(entry.status.st_mode)) {
        entry.kind = Entry::Kind::Link;
        entry.name = relative;
        QByteArray target(4096, '\0');
        const ssize_t length =
            ::readlinkat(folderFd, leaf.constData(), target.data(), size_t(target.size()));
        if (length < 0) {
            *message = failure();
            return false;
        }
        target.truncate(length);
        entry.linkTarget = target;
        entries.push_back(entry);
        return true;
    }
    if (!S_ISDIR(entry.status.st_mode))
        return true; // FIFOs, sockets and devices hold nothing to store
    // A photo or music library (or the Music folder) inside what was chosen is never read.
    if (KSTPermissionChecker::shouldSkipPrivacyProtectedPath(base + QLatin1Char('/') +
                                                             KSTFileName::decoded(relative)))
        return true;

    entry.kind = Entry::Kind::Folder;
    entry.name = relative + '/';
    entries.push_back(entry);
    const int fd = ::openat(folderFd, leaf.constData(),
                            O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        *message = failure();
        return false;
    }
    struct stat opened = {};
    if (::fstat(fd, &opened) != 0 || opened.st_dev != entry.status.st_dev ||
        opened.st_ino != entry.status.st_ino) {
        ::close(fd);
        *message =
            QStringLiteral("%1 changed while it was read").arg(KSTFileName::decoded(relative));
        return false;
    }
    DIR *dir = ::fdopendir(fd);
    if (!dir) {
        *message = failure();
        ::close(fd);
        return false;
    }
    QList<QByteArray> names;
    while (const dirent *child = ::readdir(dir)) {
        const char *name = child->d_name;
        if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
            continue;
        names.append(QByteArray(name));
    }
    std::sort(names.begin(), names.end());
    bool ok = true;
    for (const QByteArray &name : std::as_const(names)) {
        if (!collect(base, ::dirfd(dir), name, relative + '/' + name, entries, message)) {
            ok = false;
            break;
        }
    }
    ::closedir(dir);
    return ok;
}

zip_uint32_t externalAttributes(const Entry &entry)
{
    const zip_uint32_t mode = zip_uint32_t(entry.status.st_mode) & 07777u;
    switch (entry.kind) {
    case Entry::Kind::Folder:
        return ((S_IFDIR | mode) << 16) | 0x10u; // and the MS-DOS folder bit
    case Entry::Kind::Link:
        return (S_IFLNK | 0777u) << 16;
    case Entry::Kind::File:
        break;
    }
    return (S_IFREG | mode) << 16;
}

} // namespace

KSTEncryptedArchiveWriter::Outcome KSTEncryptedArchiveWriter::write(const QString &sourcePath,
                                                                    const QByteArray &password,
                                                                    int outputFd, QString *message)
{
    const QString parent = KSTPathText::deletingLastPathComponent(sourcePath);
    const QByteArray name = KSTFileName::encoded(KSTPathText::lastPathComponent(sourcePath));
    const int parentFd =
        ::open(KSTFileName::encoded(parent).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (parentFd < 0) {
        *message = QString::fromLocal8Bit(std::strerror(errno));
        return Outcome::CannotStart;
    }
    KSTArchiveSources::Folder folder(parentFd);

    std::vector<Entry> entries;
    if (!collect(parent, parentFd, name, name, entries, message))
        return Outcome::CannotStart;
    if (entries.empty())
        return Outcome::Empty;

    std::vector<Entry> files;
    for (const Entry &entry : entries) {
        if (entry.kind == Entry::Kind::File)
            files.push_back(entry);
    }
    KSTDeflatePipeline pipeline(parentFd, std::move(files), CompressionLevel);

    KSTArchiveSources::Output output(outputFd);
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t *target = KSTArchiveSources::makeOutputSource(output, &error);
    zip_t *archive =
        target ? zip_open_from_source(target, ZIP_CREATE | ZIP_TRUNCATE, &error) : nullptr;
    if (!archive) {
        *message = QString::fromUtf8(zip_error_strerror(&error));
        if (target)
            zip_source_free(target);
        zip_error_fini(&error);
        return Outcome::CannotStart;
    }
    zip_error_fini(&error);

    const auto fail = [&](const QString &why) {
        qCInfo(lcUtilities) << "archive not written:" << why;
        *message = why;
        zip_discard(archive);
        return Outcome::Failed;
    };
    for (const Entry &entry : entries) {
        zip_int64_t index = -1;
        if (entry.kind == Entry::Kind::Folder) {
            index = zip_dir_add(archive, entry.name.constData(), ZIP_FL_ENC_GUESS);
        } else {
            zip_source_t *source =
                entry.kind == Entry::Kind::Link
                    ? zip_source_buffer(archive, entry.linkTarget.constData(),
                                        zip_uint64_t(entry.linkTarget.size()), 0)
                    : KSTArchiveSources::makeFileSource(archive, pipeline, entry);
            if (!source)
                return fail(QString::fromUtf8(zip_strerror(archive)));
            index = zip_file_add(archive, entry.name.constData(), source, ZIP_FL_ENC_GUESS);
            if (index < 0) {
                zip_source_free(source);
                return fail(QString::fromUtf8(zip_strerror(archive)));
            }
            const bool compress = entry.kind == Entry::Kind::File;
            if (zip_set_file_compression(archive, zip_uint64_t(index),
                                         compress ? ZIP_CM_DEFLATE : ZIP_CM_STORE,
                                         compress ? CompressionLevel : 0) != 0 ||
                zip_file_set_encryption(archive, zip_uint64_t(index), ZIP_EM_TRAD_PKWARE,
                                        password.constData()) != 0)
                return fail(QString::fromUtf8(zip_strerror(archive)));
        }
        if (index < 0)
            return fail(QString::fromUtf8(zip_strerror(archive)));
        if (zip_file_set_external_attributes(archive, zip_uint64_t(index), 0, ZIP_OPSYS_UNIX,
                                             externalAttributes(entry)) != 0 ||
            zip_file_set_mtime(archive, zip_uint64_t(index), entry.status.st_mtime, 0) != 0)
            return fail(QString::fromUtf8(zip_strerror(archive)));
    }
    if (zip_close(archive) != 0) {
        *message = QString::fromUtf8(zip_strerror(archive));
        zip_discard(archive);
        return Outcome::Failed;
    }
    if (!output.written())
        return Outcome::Empty;
    return Outcome::Written;
}
