#include "KSTSecureEraseModel.h"

#include "KSTUtilitiesManager.h"

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
    if (m_erasing)
        return false;
    m_erasing = true;
    m_manager.secureErasePaths(
        paths, passesForMenuIndex(methodIndex), std::move(progress),
        [this, finished = std::move(finished)](bool success, const std::optional<KSTError> &error) {
            m_erasing = false;
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
