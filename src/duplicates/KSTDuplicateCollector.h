#pragma once

#include "KSTDuplicateFileCollection.h"

#include <QString>
#include <QStringList>

#include <functional>

/// The collection stage of a duplicate scan: every regular file of more than 0 bytes below
/// the scan folders, one per directory entry.
///
/// What a walk skips:
/// - hidden entries (a name starting with "."), and under the mac layout the home's Library
///   folder, which macOS flags hidden;
/// - packages: folders whose extension, in any letter case, is in
///   KSTDuplicateLocations::packageExtensions (neither entered nor, being folders, compared);
/// - privacy-protected places (KSTPermissionChecker's rule): the home's Music folder and
///   photo or music library packages, found by path, by the folder's identity inside a walk,
///   and for a scan folder also by where its path really leads (a link on the way to it is
///   resolved for this test only), so no other path reaches them;
/// - symbolic links, FIFOs, sockets and devices: only regular files count, and no link is
///   ever followed (a scan folder that is itself a link is not a folder, and is skipped);
/// - a folder already walked: repeated, nested or otherwise overlapping scan folders (a
///   folder inside another, the same folder reached twice) walk each folder once, so a file
///   is never collected twice and never pairs with itself. Hard links are different entries
///   and are collected under each name.
///
/// Scan folders themselves are walked even when hidden or packages (the user chose them), but
/// never when privacy-protected. Unreadable folders are left out without a sound.
///
/// A scan folder is opened as KSTNoFollowPath::openFolder() opens it (no link followed below
/// the analysed home or root) and stays open in the collection; every folder below it is
/// opened relative to it, following no link in any component.
///
/// Scan folders are walked one after the other. A big one is read by a few threads (up to
/// four, the calling thread among them; a small tree stays on the calling thread), so the
/// order of the collection within a scan folder is not fixed.
///
/// Thread-safe: no state of its own.
class KSTDuplicateCollector
{
public:
    KSTDuplicateCollector() = delete;

    /// Receives a status text and the running file count; called one report at a time, in
    /// the order of the counts, from whichever thread of the walk reached the count.
    using ProgressReport = std::function<void(const QString &statusText, quint64 fileCount)>;

    /// Walks @p paths in order. Reports "Scanning folders for files…" with 0 first, "Scanning
    /// folders… %@ files found" after every 100th file, and "Found %@ files — comparing
    /// duplicates…" at the end when a file was found (counts in formatCount()). When
    /// @p isCancelled answers true the walk leaves the folder it is in and starts no other;
    /// what was collected so far is returned. @p isCancelled is asked for every entry, from
    /// the walk's threads, and must be thread-safe.
    static KSTDuplicateFileCollection
    collectFileRecordsInPaths(const QStringList &paths, const std::function<bool()> &isCancelled,
                              const ProgressReport &report);

    /// True when a folder named @p name is a package (extension in the table, any case).
    static bool isPackageName(const char *name, std::size_t length);
};
