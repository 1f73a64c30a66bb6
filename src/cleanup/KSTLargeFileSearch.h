#pragma once

#include "KSTCleanUpSnapshot.h"
#include "KSTFileIdentity.h"
#include "KSTPermissionChecker.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

/// The Large Files of a clean-up scan: files of at least a threshold size in the analysed
/// user's folder, outside its Library (and the Trash). Under the linux layout the search
/// leaves out the hidden folders directly in the home (the XDG homes, the Trash, Flatpak's
/// ~/.var), ~/snap and every folder it cannot read, as KSTCleanUpLocations::table() says.
///
/// Where it searches is the access layer's answer (KSTPermissionChecker::homeSearchScope()):
/// outside a sandbox the whole user folder, in a sandbox the granted home's fixed subfolders.
/// Each folder is searched by find(1), run as <root>/usr/bin/find with fixed arguments
/// (findArguments()); its output is used only when it exits with status 0, so a find that met
/// an unreadable folder (status 1) yields nothing for that folder. Each candidate is then
/// sized with KSTPermissionChecker::fileSizeAtAccessiblePath() (a file's length, so a sparse
/// file counts its logical size) and kept when it reaches the threshold.
///
/// Cancellation (the predicate it is made with) is checked per searched folder, per
/// output line and per sized path; the search then returns what it has.
/// Thread safety: blocking; any thread but the main one.
class KSTLargeFileSearch
{
public:
    /// Whether generation G should stop; callable from any thread.
    using CancellationCheck = std::function<bool(quint64 generation)>;

    /// Stops a generation's loop once @p isCancelled says so; an empty predicate never stops.
    explicit KSTLargeFileSearch(CancellationCheck isCancelled);

    /// find(1) gets this long before it is stopped (and its output is dropped): a whole
    /// home on a slow disk takes minutes, but a hung volume must not hold the scan forever.
    static constexpr int FindTimeoutMs = 20 * 60 * 1000;

    /// Items (name the file name, display path shortened, nameOnlyInList) of every candidate
    /// of at least @p threshold bytes that acceptedLargeFile() accepts, largest first, equal
    /// sizes by name.
    QList<KSTCleanUpItem> scanLargeFilesOverBytes(quint64 threshold, quint64 generation) const;
    /// The first @p limit items of scanLargeFilesOverBytes() (all when fewer).
    QList<KSTCleanUpItem> largeFilesOverBytes(quint64 threshold, qsizetype limit,
                                              quint64 generation) const;
    /// The byte total of scanLargeFilesOverBytes().
    quint64 largeFilesTotalBytesOver(quint64 threshold, quint64 generation) const;

    /// Candidate paths: find's output for each folder of searchScope(), in order.
    QStringList largeFilePathsOverBytes(quint64 threshold, quint64 generation) const;

    /// The arguments for the user folder: findArguments(userFolder(), userFolder(), …).
    static QStringList findArgumentsForThreshold(quint64 threshold);
    /// With the mac layout ten arguments: @p root, "-path", @p home's Library, "-prune", "-o",
    /// "-type", "f", "-size", "+<N>M" with N = threshold / 1 MiB (at least 1), "-print0". With
    /// the linux layout the prune is "-type d ( -path <home>/.* -o -path <home>/snap -o !
    /// -readable ) -prune -o" (the home's path escaped for find's patterns,
    /// findPatternEscaped()).
    static QStringList findArguments(const QString &root, const QString &home, quint64 threshold);
    /// @p path with find's pattern characters ("*", "?", "[", "\") escaped by a backslash,
    /// so that -path matches it literally.
    static QString findPatternEscaped(const QString &path);
    /// find's output as paths: NUL-separated names decoded losslessly (KSTFileName), nothing
    /// trimmed, empty ones dropped; stops (with what it has) when @p isCancelled answers true.
    static QStringList pathsFromFindOutput(const QByteArray &output,
                                           const std::function<bool()> &isCancelled);

    /// The user folder a plain build searches: /Users/<login> under the root with the mac
    /// layout (where a Mac volume keeps it, whatever home was given), the environment's home
    /// with the linux layout.
    static QString userFolder();
    /// Where the search reads, as the access layer answers for userFolder().
    static KSTPermissionChecker::HomeSearchScope searchScope();
    /// The home of searchScope(), clean: what a result must lie in.
    static QString searchedHome();
    /// What the scan saw of @p path when it may be offered as a large file: a clean path
    /// strictly inside @p home, outside its Library and Trash and outside privacy-protected
    /// places, naming a regular file reached without following a link. Nothing otherwise.
    static std::optional<KSTFileIdentity> acceptedLargeFile(const QString &path,
                                                            const QString &home);

private:
    bool isCancelled(quint64 generation) const;

    CancellationCheck m_isCancelled;
};
