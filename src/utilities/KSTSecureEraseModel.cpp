#include "KSTSecureEraseModel.h"

#include "KSTEraseRules.h"
#include "KSTFileName.h"
#include "KSTFormatting.h"
#include "KSTUtilitiesLocations.h"
#include "KSTUtilitiesManager.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Counts the entry @p name of the open folder @p folderFd and what lies below it.
void count(int folderFd, const char *name, dev_t device, const QStringList &kept, bool isVolume,
           KSTSecureEraseModel::Preview &preview)
{
    struct stat status = {};
    if (::fstatat(folderFd, name, &status, AT_SYMLINK_NOFOLLOW) != 0)
        return;
    if (S_ISREG(status.st_mode) && status.st_nlink == 1) {
        ++preview.filesToOverwrite;
        preview.bytesToOverwrite += quint64(status.st_size);
        return;
    }
    if (!S_ISDIR(status.st_mode) || status.st_dev != device) {
        ++preview.entriesOnlyRemoved;
        return;
    }
    const int fd = ::openat(folderFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    DIR *dir = fd < 0 ? nullptr : ::fdopendir(fd);
    if (!dir) {
        if (fd >= 0)
            ::close(fd);
        return;
    }
    if (!isVolume)
        ++preview.entriesOnlyRemoved; // the folder itself
    while (const dirent *entry = ::readdir(dir)) {
        const char *child = entry->d_name;
        if (child[0] == '.' && (child[1] == '\0' || (child[1] == '.' && child[2] == '\0')))
            continue;
        if (isVolume && kept.contains(QString::fromUtf8(child)))
            continue;
        count(::dirfd(dir), child, device, {}, false, preview);
    }
    ::closedir(dir);
}

} // namespace

KSTSecureEraseModel::KSTSecureEraseModel(KSTUtilitiesManager &manager) : m_manager(manager) {}

QStringList KSTSecureEraseModel::methodMenuTitles()
{
    return {QStringLiteral("Quick Erase (1-pass)"), QStringLiteral("Secure Erase (3-pass)"),
            QStringLiteral("DoD 5220.22-M (7-pass)")};
}

quint64 KSTSecureEraseModel::passesForMenuIndex(int index)
{
    switch (index) {
    case 1:
        return 3;
    case 2:
        return 7;
    default:
        return 1;
    }
}

QString KSTSecureEraseModel::dropAreaText()
{
    return QStringLiteral("Drag files, folders, or a volume here to securely erase");
}

QString KSTSecureEraseModel::honestyText()
{
    return QStringLiteral("On SSDs and copy-on-write file systems (APFS, Btrfs) overwriting "
                          "cannot promise that older copies of the data are gone: the drive or "
                          "the file system may keep them elsewhere.");
}

std::optional<QString> KSTSecureEraseModel::refusalForPaths(const QStringList &paths) const
{
    for (const QString &path : paths) {
        const QString standardized = KSTUtilitiesManager::standardizedPath(path);
        if (m_manager.isProtectedSystemPath(standardized))
            return QStringLiteral("Cannot erase protected path: %1").arg(standardized);
    }
    return std::nullopt;
}

KSTSecureEraseModel::Preview KSTSecureEraseModel::preview(const QStringList &paths) const
{
    Preview preview;
    for (const QString &path : paths) {
        const QString standardized = KSTUtilitiesManager::standardizedPath(path);
        const qsizetype slash = standardized.lastIndexOf(QLatin1Char('/'));
        const QString folder = slash <= 0 ? QStringLiteral("/") : standardized.left(slash);
        const int fd =
            ::open(KSTFileName::encoded(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd < 0)
            continue;
        struct stat status = {};
        const QByteArray name = KSTFileName::encoded(standardized.mid(slash + 1));
        if (::fstatat(fd, name.constData(), &status, AT_SYMLINK_NOFOLLOW) == 0)
            count(fd, name.constData(), status.st_dev, KSTEraseRules::volumeEntriesKept(),
                  m_manager.isVolumeMountPoint(standardized), preview);
        ::close(fd);
    }
    return preview;
}

QString KSTSecureEraseModel::previewText(const Preview &preview)
{
    return QStringLiteral("%1 file(s), %2 to overwrite; %3 item(s) only removed")
        .arg(QString::number(preview.filesToOverwrite),
             KSTFormatting::formatBytes(preview.bytesToOverwrite),
             QString::number(preview.entriesOnlyRemoved));
}

QString KSTSecureEraseModel::confirmationMessage()
{
    return QStringLiteral("Permanently erase selected items?");
}

QString KSTSecureEraseModel::confirmationInformativeText(const QStringList &paths) const
{
    for (const QString &path : paths) {
        if (m_manager.isVolumeMountPoint(path))
            return QStringLiteral("All files on the selected volume will be securely overwritten "
                                  "and deleted. This cannot be undone.");
    }
    return QStringLiteral(
        "Selected files and folders will be securely overwritten and deleted. This cannot be "
        "undone.");
}

bool KSTSecureEraseModel::start(
    const QStringList &paths, int methodIndex, std::function<void(const QString &)> progress,
    std::function<void(bool success, const std::optional<KSTError> &)> finished)
{
    if (*m_erasing)
        return false;
    *m_erasing = true;
    m_manager.secureErasePaths(paths, passesForMenuIndex(methodIndex), std::move(progress),
                               [erasing = m_erasing, finished = std::move(finished)](
                                   bool success, const std::optional<KSTError> &error) {
                                   *erasing = false;
                                   if (finished)
                                       finished(success, error);
                               });
    return true;
}

QString KSTSecureEraseModel::resultText(bool success, const std::optional<KSTError> &error)
{
    if (success)
        return QStringLiteral("Erase completed.");
    if (error && !error->description.isEmpty())
        return error->description;
    return QStringLiteral("Erase failed.");
}
