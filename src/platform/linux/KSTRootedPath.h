#pragma once

#include <QString>

/// Resolving a path of the analysed machine as that machine would, with its root as "/":
/// every symbolic link on the way is followed, an absolute target starts again at the root
/// and ".." never climbs above it. Flatpak exports its entries through relative links and
/// deploys through the links current and active, so these must be followed, but under a
/// root other than "/" a link must never lead to the host's own files.
///
/// The resolution reads the links with lstat()/readlink() and gives a path with no link left
/// in it below the root; opening it afterwards with KSTNoFollowPath (which refuses any link
/// below the root) fails rather than follows if the tree changed in between. Thread-safe.
namespace KSTRootedPath {

/// At most this many links are followed in one resolution (as the kernel's MAXSYMLINKS).
constexpr int maximumLinks = 40;

/// The host path of @p path with every link resolved inside @p root. @p root is absolute and
/// clean ("/" allowed); @p path is absolute and lies in @p root. Empty when a component is
/// missing, a non-final component is not a folder, or too many links are met.
QString resolve(const QString &root, const QString &path);

} // namespace KSTRootedPath
