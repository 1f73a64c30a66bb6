#pragma once

#include <QList>
#include <QString>

/// The running instances of an application bundle, and the polite request to quit.
///
/// An instance is a process of the analysed user whose executable lies inside the bundle
/// folder: on Linux, a process whose /proc/PID/exe resolves below the bundle's real path (so
/// under --root the host's own copy of an application elsewhere is never one). Asking to
/// quit is polite only: SIGTERM, which a program may handle to save its work, never SIGKILL.
/// Thread-safe.
namespace KSTRunningApplications {

/// The process ids of user @p userId whose executable lies inside the folder @p bundlePath,
/// in ascending order; empty when the bundle does not exist or no process runs from it.
QList<qint64> instancesOfBundle(const QString &bundlePath, uint userId);

/// Sends each process a polite request to quit (SIGTERM). Returns how many were sent.
int requestQuit(const QList<qint64> &processIds);

/// True while process @p processId runs (a zombie waiting for its parent has finished).
bool isRunning(qint64 processId);

} // namespace KSTRunningApplications
