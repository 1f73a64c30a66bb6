#pragma once

#include "KSTDuplicateRemovalStep.h"
#include "KSTRemovalGuard.h"

#include <QString>
#include <QStringList>

#include <optional>

/// The program's removal step: each copy goes to the Trash of the analysed layout through
/// KSTRemovalGuard, never anywhere else.
///
/// For each removal a guard is made (beginRemoval()) whose scope is the folders the results
/// came from, never the whole disk: a copy outside them, reached through a link, inside or
/// holding a never-touch entry (KSTRemovalGuard::storedNeverTouchPaths(), which hold for every
/// tool), in the Music folder or a photo library, or no longer the file the scan saw (its
/// recorded KSTFileIdentity is the guard's expectation) stays where it is. Just before the
/// move, at least one kept copy of the group must still be the file the scan saw, reached
/// without a link; otherwise the copy stays too.
///
/// Used from one worker thread at a time, as KSTDuplicateRemovalStep says.
class KSTDuplicateTrashStep : public KSTDuplicateRemovalStep
{
public:
    /// Never-touch entries come from the preferences suite @p neverTouchSuite.
    explicit KSTDuplicateTrashStep(
        QString neverTouchSuite = QStringLiteral("com.kestrel.autoclean"));

    void beginRemoval(const QStringList &scanFolders) override;
    Outcome moveToTrash(const KSTDuplicateFileRecord &copy,
                        const QList<KSTDuplicateFileRecord> &keptCopies) override;

    /// The guard's scope for @p scanFolders: each absolute folder, cleaned, except the disk's
    /// root "/" and the analysed root, which would open the whole disk.
    static QStringList scopeForScanFolders(const QStringList &scanFolders);

private:
    QString m_neverTouchSuite;
    std::optional<KSTRemovalGuard> m_guard;
};
