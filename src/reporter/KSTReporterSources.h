#pragma once

#include "KSTReporterAppUsageEntry.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QLocale>
#include <QString>
#include <QStringList>

#include <functional>

/// Where the weekly report's removals and application usage come from, on the analysed
/// machine (KSTEnvironment), each failing to an empty list without an error:
/// - removals: the installer log <root>/var/log/install.log (dpkg's <root>/var/log/dpkg.log
///   with the linux layout), of which only the last InstallLogTailBytes are ever read (one
///   seek and one read; a large log is never read or mapped whole);
/// - usage: the knowledge database Library/Application Support/Knowledge/knowledgeC.db of
///   the accessible home, opened read-only and immutable (never written, never checkpointed);
/// - when it has nothing: the last-used metadata index, which only macOS keeps; with the
///   linux layout GNOME Shell's $XDG_DATA_HOME/gnome-shell/application_state (elsewhere the
///   fallback yields nothing).
/// Safe from any thread; nothing is shared between calls.
namespace KSTReporterSources {

/// Looks up an installed bundle's path for a bundle identifier; empty when none.
using BundleLookup = std::function<QString(const QString &bundleIdentifier)>;

/// The application names removed according to the installer log's tail, first appearance
/// first; see removedApplicationsInLogTail().
QStringList applicationsRemovedSince(const QDateTime &since);
/// With the linux layout: the packages dpkg's log tail says were installed since @p since
/// (see KSTReporterLinuxSources); empty with the mac layout.
QStringList packagesInstalledSince(const QDateTime &since);
/// For each line of @p tail containing "removed" (any case), the text between the first
/// "Removed" + white space and the following ".app" (any case); each name once, in order of
/// appearance. Nothing at all when @p tail is not strict UTF-8 (a tail cut inside a
/// character).
QStringList removedApplicationsInLogTail(const QByteArray &tail);
/// The last @p bytes bytes of the regular file @p path (all of a smaller one); empty when it
/// is missing, not a regular file, reached through a final link or unreadable.
QByteArray fileTail(const QString &path, qint64 bytes);

/// The knowledge database's usage entries, else the metadata index's (unless @p isCancelled
/// says the scan was superseded meanwhile).
QList<KSTReporterAppUsageEntry> appUsageTimeSince(const QDateTime &since, int limit,
                                                  const std::function<bool()> &isCancelled,
                                                  const BundleLookup &lookup);
/// Up to @p limit applications by their summed foreground time since @p since, most used
/// first: rows without an identifier or with a sum of 0 or less are skipped; the most used
/// has barFraction 1. Detail "<approximate duration> this week".
QList<KSTReporterAppUsageEntry>
appUsageFromKnowledgeDatabaseSince(const QDateTime &since, int limit, const BundleLookup &lookup);
/// The same from a database at @p databasePath.
QList<KSTReporterAppUsageEntry> appUsageFromKnowledgeDatabaseAtPath(const QString &databasePath,
                                                                    const QDateTime &since,
                                                                    int limit,
                                                                    const BundleLookup &lookup);
/// Applications the metadata index saw used since @p since (macOS; GNOME Shell's
/// application_state with the linux layout; empty elsewhere), each with usage 0, barFraction
/// 0.2 and "Last used <relative day>" or "Recently used".
QList<KSTReporterAppUsageEntry> appUsageFromSpotlightSince(const QDateTime &since, int limit);
/// The index query's time token: ISO 8601 with the zone ("2024-03-04T00:00:00Z");
/// "1970-01-01T00:00:00Z" for an invalid date.
QString spotlightTimeTokenForDate(const QDateTime &date);

/// "today", "yesterday", else the abbreviated weekday name in @p locale.
QString relativeDayTextForDate(const QDateTime &date,
                               const QDateTime &now = QDateTime::currentDateTime(),
                               const QLocale &locale = QLocale());
/// A non-empty @p bundlePath: its Info.plist's CFBundleDisplayName, else CFBundleName, else
/// its file name without the extension. An empty path: the last path component of
/// @p fallback.
QString displayNameForAppBundlePath(const QString &bundlePath, const QString &fallback);

/// The knowledge database's reference date, 2001-01-01 00:00 UTC, in seconds since 1970.
inline constexpr qint64 ReferenceDateEpochSeconds = 978'307'200;
/// How much of the installer log's end is read.
inline constexpr qint64 InstallLogTailBytes = 65'536;

} // namespace KSTReporterSources
