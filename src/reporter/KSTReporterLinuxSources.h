#pragma once

#include "KSTReporterAppUsageEntry.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QStringList>

/// The weekly report's sources on a machine read with the linux layout, as pure readers of
/// their bytes: dpkg's log for removals and GNOME Shell's application_state for the usage
/// fallback. Each reads at most MaximumInputBytes and never recurses. Thread-safe.
namespace KSTReporterLinuxSources {

inline constexpr qsizetype MaximumInputBytes = 1024 * 1024;

/// The packages of @p tail's "remove" and "purge" lines ("2026-11-20 10:11:12 remove
/// gimp:amd64 2.10.34-1 <none>"), without the ":<architecture>", each once, in order of
/// appearance. Nothing at all when @p tail is not strict UTF-8 (a tail cut inside a
/// character).
QStringList removedPackagesInLogTail(const QByteArray &tail);

/// The packages of @p tail's "install" lines dated at or after @p since (the line's local
/// "yyyy-MM-dd HH:mm:ss"), without the ":<architecture>", each once, in order of appearance;
/// the same UTF-8 rule.
QStringList installedPackagesInLogTail(const QByteArray &tail, const QDateTime &since);

/// GNOME Shell's application_state: the applications whose "last-seen" (seconds since the
/// epoch) is at or after @p since, most recent first, at most @p limit, each named by its
/// desktop-file ID without ".desktop" and with usage 0, barFraction 0.2 and "Last used
/// <relative day>" (as of @p now).
QList<KSTReporterAppUsageEntry> applicationStateUsage(const QByteArray &xml, const QDateTime &since,
                                                      int limit, const QDateTime &now);

} // namespace KSTReporterLinuxSources
