#pragma once

#include "KSTReportContext.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

/// The report's collectors for a machine read with the linux layout: the same stages as
/// KSTSystemReportCollectors, filling the linux fields of KSTReportMachineFacts (and the
/// context's crash figures) from the analysed root's kernel files, configuration and tools.
///
/// Files are read only when regular, never through a link (at the file or a folder on the
/// way) that leaves the analysed root, and at most SmallFileBytes; tools run through the
/// report's command runner and count only when they succeed. Nothing is run with raised
/// rights: a source only root may read stays unset and its row shows "—". Thread-safe as the
/// other collectors are (one context per caller).
namespace KSTSystemReportLinuxCollectors {

inline constexpr qint64 SmallFileBytes = 1024 * 1024;

/// The bytes of the analysed machine's file at @p absolutePath ("/proc/modules") under the
/// current root, or empty as above.
QByteArray readMachineFile(const QString &absolutePath, qint64 maximumBytes = SmallFileBytes);

/// os-release's NAME, the root's mount and volume count (findmnt, else mountinfo) and the
/// kernel command line (for the boot mode).
void collectInstant(KSTReportContext &context);
/// Running system and user services, kernel modules, the startup time, VPN and Wi-Fi.
void collectMedium(KSTReportContext &context);
/// Kernel lockdown, LUKS under "/", AppArmor or SELinux, the firewall and Secure Boot.
void collectSecurity(KSTReportContext &context);
/// Program crashes of the last seven days from coredumpctl and var/crash, kernel crash dumps
/// (folders of var/crash) of the last 90 days, in the keys the Mac's reports use.
void collectCrashStats(KSTReportContext &context, const QDateTime &now);

} // namespace KSTSystemReportLinuxCollectors
