#pragma once

#include "KSTError.h"
#include "KSTFileIdentity.h"
#include "KSTGuardedNewFile.h"
#include "KSTNoFollowPath.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <vector>

/// The one gate every deletion, move to the Trash, overwrite or rename of a user's file
/// passes: Clean Up's removal and Trash emptying, the auto-clean rules, the duplicate
/// finder's removal and linking, and every later tool.
///
/// It decides on the file system, never on names or labels. An entry is admitted only when
/// all of these hold:
/// - it lies strictly inside one of the folders the user chose (the analysed home unless the
///   policy names others), and it is reached from that folder without following a symbolic
///   link in any component; a link is acted on as the link, never through;
/// - it is not the root, the analysed root, the home, ~/Library, one of the home's standard
///   folders (Desktop, Documents, Downloads, …, .Trash), a chosen folder itself, nor the root
///   of a mounted file system;
/// - it is not a never-touch entry, does not lie inside one and does not contain one, compared
///   both by clean path and as files (device and inode of the entry and of the entry a path
///   resolves to);
/// - it is not the home's Music folder, nor inside it, nor inside a photo or music library
///   package, and a folder does not hold such a package;
/// - when the caller knows what its scan saw, the entry still has that kind, device and inode
///   (and for files and links the size and modification time).
/// The status is read again right before the act itself, and the act is made relative to
/// the folder held open when the entry was reached.
///
/// Refusals and failures are errors in the domain "KSTRemovalGuard" (codes below) or, for
/// what the file system refuses, "NSCocoaErrorDomain"; every description names the path and
/// the reason. A guard is cheap to make; make one per operation (the never-touch entries are
/// looked up when it is made). Thread-safe for concurrent const use.
class KSTRemovalGuard
{
public:
    static inline const QString ErrorDomain = QStringLiteral("KSTRemovalGuard");

    enum RefusalCode : qint64 {
        RefusedThroughLink = 1,      ///< a symbolic link (or a non-folder) on the way
        RefusedOutsideChoice = 2,    ///< not inside the folders the user chose
        RefusedProtectedFolder = 3,  ///< the root, the home, a standard folder, a mount point
        RefusedNeverTouch = 4,       ///< is, lies inside or holds a never-touch entry
        RefusedPrivacyProtected = 5, ///< Music, a photo or music library, or holds one
        RefusedChanged = 6,          ///< not the entry the scan saw any more
        RefusedMissing = 7,          ///< nothing there (any more)
        /// a file with other hard links: overwriting it would change data under a name
        /// nobody chose
        RefusedSharedData = 8,
    };

    struct Policy
    {
        /// The folders the user chose; nothing outside them is touched. Empty: the analysed
        /// home.
        QStringList scopeRoots;
        /// Never-touch entries: absolute paths, "~/…" meaning the analysed home.
        QStringList neverTouchPaths;
    };

    explicit KSTRemovalGuard(Policy policy = {});

    /// The never-touch entries the user keeps for Auto Clean in the preferences suite
    /// @p suiteName, including a list kept aside by a launch reset until the user dismisses
    /// it; they hold for every tool.
    static QStringList
    storedNeverTouchPaths(const QString &suiteName = QStringLiteral("com.kestrel.autoclean"));

    /// What a scan should record of @p path to have it recognised later: the entry reached
    /// without following a link (as admit() reaches it); nothing when that fails.
    static std::optional<KSTFileIdentity> identityOf(const QString &path);

    /// Applies every rule to @p path and holds the entry; nothing (and @p error) when any
    /// rule refuses it.
    std::optional<KSTHeldEntry> admit(const QString &path,
                                      const std::optional<KSTFileIdentity> &expected = {},
                                      KSTError *error = nullptr) const;

    /// Moves @p path to the Trash (KSTTrash) once admitted.
    bool moveToTrash(const QString &path, const std::optional<KSTFileIdentity> &expected = {},
                     QString *resultingPath = nullptr, KSTError *error = nullptr) const;

    /// Deletes @p path for good once admitted: a folder with its contents, never entering a
    /// link or another file system on the way.
    bool removePermanently(const QString &path, const std::optional<KSTFileIdentity> &expected = {},
                           KSTError *error = nullptr) const;

    /// Makes the replacement of a file under a temporary name in the file's own folder:
    /// @p folderFd is that folder, held open, and @p temporaryName a name no entry has yet,
    /// which the builder creates with O_EXCL. On failure it removes what it made and returns
    /// false with @p error.
    using Builder =
        std::function<bool(int folderFd, const QByteArray &temporaryName, KSTError *error)>;

    /// Replaces the regular file @p path, admitted as for the other acts and matching
    /// @p expected, with the file @p build makes beside it: once built (it must be a regular
    /// file), and the file re-checked, the two are swapped in one step where the file system
    /// can (the entry swapped out is then checked once more and the swap undone when it is not
    /// the file admitted), else the new file is renamed over it; then the old file's name is
    /// deleted. On any failure the file stays as it was and the temporary entry is removed.
    /// The replacement is the caller's to make equal to the file (its content, permissions
    /// and dates): the guard only decides whether the file may be replaced at all.
    bool replaceFile(const QString &path, const std::optional<KSTFileIdentity> &expected,
                     const Builder &build, KSTError *error = nullptr) const;

    /// Moves @p path into @p destinationFolder (inside the chosen folders, reached without a
    /// link) as @p destinationName, never replacing anything there. Both ends are checked.
    bool moveIntoFolder(const QString &path, const std::optional<KSTFileIdentity> &expected,
                        const QString &destinationFolder, const QString &destinationName,
                        QString *resultingPath = nullptr, KSTError *error = nullptr) const;

    /// Opens @p path for overwriting in place once admitted: a regular file with no other hard
    /// link, opened write-only relative to its held folder, never through a link and never
    /// blocking, and only when the opened file is the entry admitted (and, when given,
    /// @p expected). Returns the descriptor, which the caller closes. On failure returns -1
    /// and fills @p error: a refusal in this class's domain, or what the file system said
    /// (NSCocoaErrorDomain) when the file exists but cannot be opened for writing.
    int openForOverwriting(const QString &path, const std::optional<KSTFileIdentity> &expected,
                           KSTError *error = nullptr) const;

    /// Starts a new file at @p path, which must not exist: every rule admit() applies holds
    /// for @p path, and its folder is reached from the chosen folder without a link. The file
    /// appears at @p path only once committed, never replacing anything there.
    std::optional<KSTGuardedNewFile> createNewFile(const QString &path,
                                                   KSTError *error = nullptr) const;

    /// Starts replacing the file at @p path, admitted as for removal (with @p expected): the
    /// new contents are written unseen and renamed over it when committed, and only while it
    /// is still the entry admitted.
    std::optional<KSTGuardedNewFile> replaceFile(const QString &path,
                                                 const std::optional<KSTFileIdentity> &expected,
                                                 KSTError *error = nullptr) const;

private:
    struct NeverTouchEntry
    {
        QString cleanPath;
        QString resolvedPath;                 // with links resolved, when it exists
        std::vector<KSTFileIdentity> itself;  // the entry and what it resolves to
        std::vector<KSTFileIdentity> holders; // every folder above the resolved entry
    };

    bool refuse(KSTError *error, RefusalCode code, const QString &path,
                const QString &reason) const;
    QString scopeRootFor(const QString &path) const;
    bool isProtectedFolder(const QString &path) const;
    std::optional<KSTHeldEntry> recheck(KSTHeldEntry entry, KSTError *error) const;
    const NeverTouchEntry *neverTouchHit(const QString &target, const QString &resolvedTarget,
                                         const std::optional<KSTFileIdentity> &identity,
                                         const std::vector<KSTFileIdentity> &holders) const;
    bool refuseNeverTouch(KSTError *error, const QString &path, const NeverTouchEntry &hit) const;
    std::optional<KSTGuardedNewFile> startNewFile(const QString &path,
                                                  const std::optional<KSTFileIdentity> &replaced,
                                                  KSTError *error) const;

    QString m_home;
    QString m_root;
    QStringList m_scopeRoots;
    QStringList m_protectedFolders;
    std::vector<NeverTouchEntry> m_neverTouch;
};
