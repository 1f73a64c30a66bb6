#include "KSTDuplicateTrashStep.h"

#include "KSTEnvironment.h"

#include <QDir>

KSTDuplicateTrashStep::KSTDuplicateTrashStep(QString neverTouchSuite)
    : m_neverTouchSuite(std::move(neverTouchSuite))
{
}

QStringList KSTDuplicateTrashStep::scopeForScanFolders(const QStringList &scanFolders)
{
    const QString root = QDir::cleanPath(KSTEnvironment::current().root());
    QStringList scope;
    for (const QString &folder : scanFolders) {
        if (!folder.startsWith(QLatin1Char('/')))
            continue;
        const QString clean = QDir::cleanPath(folder);
        if (clean == QLatin1String("/") || clean == root || scope.contains(clean))
            continue;
        scope << clean;
    }
    return scope;
}

void KSTDuplicateTrashStep::beginRemoval(const QStringList &scanFolders)
{
    const QStringList scope = scopeForScanFolders(scanFolders);
    // An empty scope would mean the whole home to the guard; nothing chosen means nothing
    // may be removed.
    if (scope.isEmpty()) {
        m_guard.reset();
        return;
    }
    m_guard.emplace(
        KSTRemovalGuard::Policy{scope, KSTRemovalGuard::storedNeverTouchPaths(m_neverTouchSuite)});
}

KSTDuplicateRemovalStep::Outcome
KSTDuplicateTrashStep::moveToTrash(const KSTDuplicateFileRecord &copy,
                                   const QList<KSTDuplicateFileRecord> &keptCopies)
{
    if (!m_guard)
        return {Result::Refused,
                QStringLiteral("It lies outside the folders chosen for this task, so it was left "
                               "in place.")};
    if (copy.identity.inode == 0)
        return {Result::Refused, QStringLiteral("The scan recorded nothing to recognise the file "
                                                "by, so it was left in place.")};
    if (!firstUnchanged(keptCopies))
        return {Result::KeptCopyChanged, keptCopyChangedReason()};

    KSTError error;
    if (m_guard->moveToTrash(copy.path, copy.identity, nullptr, &error))
        return {Result::Moved, {}};
    if (error.domain == KSTRemovalGuard::ErrorDomain) {
        if (error.code == KSTRemovalGuard::RefusedChanged ||
            error.code == KSTRemovalGuard::RefusedMissing)
            return {Result::FileChanged, fileChangedReason()};
        return {Result::Refused, error.description};
    }
    return {Result::Failed, error.description.isEmpty()
                                ? QStringLiteral("The file could not be moved to the Trash.")
                                : error.description};
}
