// Secure erase: the job on the background queue and the per-item operations.
#include "KSTUtilitiesManager.h"
#include "KSTUtilitiesManagerPrivate.h"

#include "KSTDispatch.h"
#include "KSTEraseRules.h"
#include "KSTFileName.h"
#include "KSTMountedVolumes.h"
#include "KSTPathText.h"
#include "KSTSecureEraser.h"

#include <fcntl.h>
#include <unistd.h>

namespace {

KSTError protectedError(const QString &standardized)
{
    return KSTUtilitiesManager::makeError(
        KSTUtilitiesManager::ProtectedErasePath,
        QStringLiteral("Cannot erase protected system path: %1").arg(standardized));
}

// A path on a file system of kernel state (/proc, /sys, …) is the running system, not data:
// the chosen folder itself, or the folder holding the chosen entry.
bool isOnKernelStateFileSystem(const QString &path)
{
    // The chosen entry is never followed if it is a link; the folders leading to it are the
    // user's own route.
    const std::pair<QString, int> folders[] = {{path, O_NOFOLLOW},
                                               {KSTPathText::deletingLastPathComponent(path), 0}};
    for (const auto &[folder, flags] : folders) {
        const int fd = ::open(KSTFileName::encoded(folder).constData(),
                              O_RDONLY | O_DIRECTORY | O_CLOEXEC | flags);
        if (fd < 0)
            continue;
        const bool kernel = KSTMountedVolumes::isKernelStateFileSystem(fd);
        ::close(fd);
        if (kernel)
            return true;
    }
    return false;
}

} // namespace

void KSTUtilitiesManager::secureErasePaths(const QStringList &paths, quint64 passes,
                                           ProgressCallback progress, EraseCompletion completion)
{
    d->queue->async([this, paths, passes, progress = std::move(progress),
                     completion = std::move(completion)] {
        KSTSecureEraser eraser(passes);
        std::optional<KSTError> failure;
        for (const QString &path : paths) {
            const QString standardized = standardizedPath(path);
            if (isProtectedSystemPath(standardized) || isOnKernelStateFileSystem(standardized)) {
                failure = protectedError(standardized);
                break;
            }
            if (progress) {
                const QString text =
                    QStringLiteral("Erasing %1…").arg(KSTPathText::lastPathComponent(standardized));
                KSTDispatch::mainAsync([progress, text] { progress(text); });
            }
            KSTError error;
            if (!eraser.erasePath(standardized, &error)) {
                failure = error;
                break;
            }
        }
        if (completion)
            KSTDispatch::mainAsync([completion, failure] { completion(!failure, failure); });
    });
}

bool KSTUtilitiesManager::secureErasePath(const QString &path, quint64 passes,
                                          KSTError *error) const
{
    return KSTSecureEraser(passes).erasePath(standardizedPath(path), error);
}

bool KSTUtilitiesManager::secureEraseDirectoryAtPath(const QString &path, quint64 passes,
                                                     KSTError *error) const
{
    return KSTSecureEraser(passes).eraseDirectory(standardizedPath(path), error);
}

bool KSTUtilitiesManager::secureEraseVolumeAtPath(const QString &path, quint64 passes,
                                                  KSTError *error) const
{
    return KSTSecureEraser(passes).eraseVolume(standardizedPath(path), error);
}

bool KSTUtilitiesManager::secureEraseFileAtPath(const QString &path, quint64 passes,
                                                KSTError *error) const
{
    return KSTSecureEraser(passes).eraseFile(standardizedPath(path), error);
}

bool KSTUtilitiesManager::isVolumeMountPoint(const QString &path) const
{
    return KSTEraseRules::isVolumeMountPoint(path);
}

bool KSTUtilitiesManager::isProtectedSystemPath(const QString &path) const
{
    return KSTEraseRules::isProtectedSystemPath(path);
}

QString KSTUtilitiesManager::standardizedPath(const QString &path)
{
    return KSTEraseRules::standardizedPath(path);
}
