#pragma once

#include "KSTReportContext.h"

#include <QDateTime>
#include <QString>

/// The collectors of the report, one per stage, each filling its part of a context. They run
/// on the report queue, read the analysed machine only through KSTEnvironment paths,
/// KSTReadOnlyFile and the report's command runner, and never fail: what cannot be read stays
/// empty and the report shows its fallback word.
///
/// The analysed machine: on the host's root its own figures (KSTHostInfo); under another root
/// the model, brand, core count, Apple silicon, installed RAM and serial come from that
/// fetch's profiler text, while memory use, swap and uptime stay the host's. The linux layout
/// reads /etc/os-release, the kernel release, /proc/self/mountinfo and the DMI model instead
/// of the Mac's tools; a row with no counterpart there stays "—".
namespace KSTSystemReportCollectors {

/// System name, boot-volume figures, machine facts, memory figures, peripheral summaries.
void collectInstant(KSTReportContext &context);
/// The build number (sw_vers -buildVersion, else -productVersion; the kernel release on
/// linux).
void collectBuildNumber(KSTReportContext &context);
/// Startup items, boot metrics (with the metrics file's previous figure), light disk health,
/// and the tools of the launch, services, extensions and network rows.
void collectMedium(KSTReportContext &context);
/// csrutil, fdesetup, spctl and the firewall.
void collectSecurity(KSTReportContext &context);
/// The seven-day network totals from the Reporter's history and @p context.weekly.
void collectNetworkWeek(KSTReportContext &context, const QDateTime &now);
/// Counts of installed apps by signature kind and age (bundles in the three application
/// folders and one folder below). Apple's apps count by place or identifier; of the others,
/// "dev" are those signed by a developer: the fast count takes a Contents/_CodeSignature
/// folder as the sign, the full one (@p full) reads the main executable's code signature and
/// counts it only when it is there and not ad hoc. Nothing on the linux layout.
void collectAppSignatures(KSTReportContext &context, const QDateTime &now, bool full = false);
/// Crash, hang and panic reports of the user's and the system's DiagnosticReports folders
/// (".crash" and ".ips" files): "recent", "hangs", "kernelPanic", "sleepPanic", "gpuPanic",
/// "lastPanic" (and "…Style" colour hints). On the linux layout: coredumpctl and var/crash.
void collectCrashStats(KSTReportContext &context, const QDateTime &now);
/// Safari's and Chrome's extensions: "safari", "chrome" (names sorted ignoring case, joined
/// with ", ", "None" when there are none), "suspicious" (Chrome extensions whose name cannot
/// be read). On the linux layout Firefox's fill "safari" and Chromium's and Chrome's
/// profiles under ~/.config fill "chrome".
void collectBrowserExtensions(KSTReportContext &context);
/// The facts that come from the profiler text (run once per fetch by the service).
void adoptProfilerText(KSTReportContext &context, const QString &profilerText);
/// Full disk health: external disks, APFS health and the wear line. Nothing on the linux
/// layout.
void collectFullDiskHealth(KSTReportContext &context);

/// The memory figures of /proc/meminfo-style text and the physical memory: "pressure",
/// "pressureLevel", "app", "wired", "compressed", "swap".
QVariantMap memoryStatsFromMeminfo(const QByteArray &meminfo, quint64 physicalBytes);
/// Boot metrics from the startup items, the uptime and the previous total to desktop; a
/// measured boot-to-login time (systemd-analyze's, ≥ 0) replaces the uptime's estimate.
QVariantMap bootMetrics(const QList<KSTStartupItemRecord> &items, double uptimeSeconds,
                        double previousTotalDesktopSeconds, double measuredBootToLoginSeconds = -1);

} // namespace KSTSystemReportCollectors
