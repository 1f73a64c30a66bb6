#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>
#include <sys/stat.h>

/// An entry reached without following a symbolic link: its folder held open, its name in
/// that folder and what it was when reached. Acting through parentFd() and name() (renameat,
/// unlinkat, openat) acts on exactly that entry, even if a folder on the way is swapped for
/// a link afterwards. Move-only; closes the folder when destroyed.
class KSTHeldEntry
{
public:
    KSTHeldEntry() = default;
    KSTHeldEntry(int parentFd, QByteArray name, QString path, const struct stat &status);
    ~KSTHeldEntry();
    KSTHeldEntry(KSTHeldEntry &&other) noexcept;
    KSTHeldEntry &operator=(KSTHeldEntry &&other) noexcept;
    KSTHeldEntry(const KSTHeldEntry &) = delete;
    KSTHeldEntry &operator=(const KSTHeldEntry &) = delete;

    int parentFd() const { return m_parentFd; }
    /// The entry's own name (its bytes), never "", "." or "..".
    const QByteArray &name() const { return m_name; }
    /// The absolute, clean path it was reached by.
    const QString &path() const { return m_path; }
    /// lstat() of the entry when it was reached (or last refreshed).
    const struct stat &status() const { return m_status; }
    bool isDirectory() const { return S_ISDIR(m_status.st_mode); }
    bool isSymbolicLink() const { return S_ISLNK(m_status.st_mode); }

    /// Reads the entry's status again; false (and errno set) when it is gone.
    bool refresh();

private:
    int m_parentFd = -1;
    QByteArray m_name;
    QString m_path;
    struct stat m_status = {};
};

/// Opening what lies below the analysed home or root without following a symbolic link on
/// the way. A link above that base (a home under /home that links elsewhere, /tmp on a Mac)
/// is the machine's own layout and is followed; a link below it is someone's content and
/// is never followed, in any component. The kernel's openat2() with RESOLVE_BENEATH and
/// RESOLVE_NO_SYMLINKS does the walk where it exists; elsewhere each component is opened
/// with O_NOFOLLOW relative to the one before.
///
/// Failures return -1 / nothing with errno set: ELOOP or ENOTDIR for a link met on the way,
/// ENOENT, EACCES as the file system says. Thread-safe.
namespace KSTNoFollowPath {

/// The folder below which no link may be followed for @p path: the current environment's
/// home when @p path is it or lies inside it, else its root when that is not "/" and holds
/// @p path; else "/" when @p strictAtHostRoot, or else the path's own parent folder (so only
/// the last component is protected, for reading the host's system places, whose folders
/// are often links). @p path must be absolute and clean.
QString baseFor(const QString &path, bool strictAtHostRoot);

/// Opens the folder @p path read-only (O_DIRECTORY) following no link below
/// baseFor(path, strictAtHostRoot). The caller closes the descriptor.
int openFolder(const QString &path, bool strictAtHostRoot = false);

/// Opens the folder @p path, which is @p base or lies inside it, following no link below
/// @p base.
int openFolderBeneath(const QString &base, const QString &path);

/// Opens @p relative (a clean relative path, "" for the folder itself) below the open folder
/// @p baseFd with @p flags, following no link on the way. With O_PATH | O_NOFOLLOW a final
/// link is opened as the link.
int openBeneath(int baseFd, const QByteArray &relative, int flags);

/// The component walk openBeneath() falls back to where the kernel has no openat2(): each
/// component opened with O_NOFOLLOW relative to the one before, ".." refused.
int openBeneathByWalk(int baseFd, const QByteArray &relative, int flags);

/// Holds the entry at @p path: its parent opened as openFolder() does, the entry itself
/// read with lstat relative to it. A link is held as the link. Nothing for "/" or a path that
/// is not absolute.
std::optional<KSTHeldEntry> hold(const QString &path, bool strictAtHostRoot = false);

/// Holds the entry at @p path, which must lie strictly inside the folder @p base: @p base is
/// opened as it stands (links in or above it followed), everything below it without
/// following a link.
std::optional<KSTHeldEntry> holdBeneath(const QString &base, const QString &path);

/// The names in the folder @p path (without "." and ".."), read through openFolder(): a
/// folder reached through a link lists nothing. Names are decoded losslessly
/// (KSTFileName); @p skipHidden leaves out names starting with ".". Listing order.
std::optional<QStringList> listFolder(const QString &path, bool skipHidden);

/// lstat() of @p path reached as hold() reaches it; nothing when that fails.
std::optional<struct stat> status(const QString &path, bool strictAtHostRoot = false);

} // namespace KSTNoFollowPath
