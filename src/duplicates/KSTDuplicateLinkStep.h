#pragma once

#include "KSTDuplicateSnapshot.h"
#include "KSTRemovalGuard.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

/// Frees the space of a duplicate copy while keeping its path: the copy becomes a clone of a
/// kept copy (the file system shares their blocks; each stays a file of its own, and writing
/// to one never changes the other) or, only when asked, a hard link to it (one file under two
/// names, permissions and dates included).
///
/// For each copy, through the removal guard (KSTRemovalGuard::replaceFile(), scope the
/// scanned folders, the stored never-touch entries, the copy's recorded identity):
/// 1. a kept copy that is still the file the scan saw is opened without following a link;
///    none: the copy stays (KeptCopyChanged);
/// 2. the copy must still be the file the scan saw, on the same file system as that kept copy,
///    and (for a hard link) with the same permissions and owner;
/// 3. the replacement is built under a temporary name beside the copy: a clone (FICLONE) with
///    the copy's permissions, owner and dates, or a hard link to the kept copy;
/// 4. it is compared byte for byte with the copy just before it takes the copy's place.
/// Any failure leaves the copy as it was. The bytes freed are those of the copy's blocks no
/// other file shares (KSTFileClone::exclusiveBytes()), when the copy had no other name.
///
/// Used from one thread at a time.
class KSTDuplicateLinkStep
{
public:
    enum class Kind {
        Clone,    ///< a copy-on-write clone of the kept copy
        HardLink, ///< another name of the kept copy
    };

    enum class Result {
        Linked,          ///< the copy now shares the kept copy's data
        AlreadySameFile, ///< the copy already was the kept copy under another name
        FileChanged,     ///< the copy is no longer the file the scan saw; it stays
        KeptCopyChanged, ///< no kept copy is still the file the scan saw; the copy stays
        Refused,         ///< the guard or a rule above refused (reason says why); it stays
        Failed,          ///< building the replacement failed (reason says why); it stays
    };

    struct Outcome
    {
        Result result = Result::Failed;
        QString reason;         ///< a readable sentence for anything but Linked
        quint64 bytesFreed = 0; ///< for Linked
    };

    /// Never-touch entries come from the preferences suite @p neverTouchSuite.
    explicit KSTDuplicateLinkStep(
        Kind kind, QString neverTouchSuite = QStringLiteral("com.kestrel.autoclean"));

    Kind kind() const { return m_kind; }

    /// Makes the guard for one run over results from @p scanFolders (see
    /// KSTDuplicateTrashStep::scopeForScanFolders()).
    void beginLinking(const QStringList &scanFolders);
    /// Replaces @p copy with a link to the first of @p keptCopies still unchanged (see above).
    Outcome replaceWithLink(const KSTDuplicateFileRecord &copy,
                            const QList<KSTDuplicateFileRecord> &keptCopies);

private:
    Kind m_kind;
    QString m_neverTouchSuite;
    std::optional<KSTRemovalGuard> m_guard;
};
