#pragma once

#include "KSTReportRow.h"

#include <QDateTime>
#include <QString>
#include <QVariantList>
#include <QVariantMap>

/// Pure readers of the text the report's tools print, and the report's small rules. Every
/// function reads at most MaximumInputCharacters of its input and never recurses, so a tool
/// printing garbage (or a lot of it) costs bounded time and memory. Thread-safe.
namespace KSTSystemReportParsers {

inline constexpr qsizetype MaximumInputCharacters = 4 * 1024 * 1024;

/// A value and its colour hint for one styled row.
struct StyledValue
{
    QString value;
    qint64 style = KSTReportRow::Normal;
    bool operator==(const StyledValue &) const = default;
};

// ---- system_profiler ----
/// The part of a system_profiler text for one data type: from its unindented title line
/// ("Hardware:", "Graphics/Displays:", "Memory:") to the next unindented title; empty when
/// the title is not there.
QString profilerPart(const QString &profilerText, const QString &title);
/// What follows the first ":" of the first line containing "<key>:", trimmed; "" when none.
QString profilerValueForKey(const QString &text, const QString &key);
/// The leading number of a value such as "8 (6 performance and 2 efficiency)"; 0 when none.
int leadingNumber(const QString &value);

/// The devices of a profiler part (USB or Thunderbolt): the names of the entries that carry a
/// "Product ID:" or "Device Name:" line, as "<count> (<names joined by ", ">)"; "" when none.
QString profilerDevicesSummary(const QString &part);

// ---- security tools ----
/// csrutil status: SIP counts as on when the text holds "enabled" (any case).
bool sipEnabled(const QString &csrutilOutput);
/// fdesetup status: FileVault counts as on when the text holds "on" (any case).
bool fileVaultOn(const QString &fdesetupOutput);
/// spctl --status: Gatekeeper counts as on when the text holds "enabled" (any case).
bool gatekeeperOn(const QString &spctlOutput);
/// The SIP row: "Enabled" (1) / "Disabled" (2), "Custom configuration" (2) for csrutil's
/// "unknown (Custom Configuration)", "—" without output.
StyledValue sipRow(const QString &csrutilOutput);
/// A flag row for Gatekeeper or FileVault: "Enabled" (1) / "Disabled" (2), "—" without output.
StyledValue flagRow(const QString &output, bool on);
/// The firewall row from socketfilterfw --getglobalstate: "(State = 2)" is "Blocking all
/// incoming" (1), "enabled" is "Enabled" (1), other output "Disabled" (2), none "—".
StyledValue firewallRow(const QString &socketfilterfwOutput);
/// nvram boot-args: "Special" when it mentions "recovery" or "safe", else "Normal".
QString bootMode(const QString &nvramOutput);

// ---- disks ----
/// The value after "SMART Status:" as printed: "Verified" (1), "Failing" (3), others (2);
/// "—" (0) without such a line.
StyledValue smartStatus(const QString &diskutilInfoOutput);
/// The "percentage used" or "available spare" line's value of diskutil info; "" when none.
QString wearLevel(const QString &diskutilInfoOutput);
/// diskutil apfs list: "<count> (<identifiers joined by ", ">)" over the lines whose text
/// after the tree marks begins "Container "; "0" when there is none.
QString apfsContainers(const QString &diskutilApfsListOutput);

// ---- extensions, services, processes ----
struct SystemExtensions
{
    qint64 active = 0;     ///< extension rows whose bracketed state holds "enabled"
    qint64 blocked = 0;    ///< rows "terminated waiting to uninstall" or "waiting for user"
    QStringList providers; ///< the distinct team identifiers of the extension rows
};
SystemExtensions systemExtensions(const QString &systemextensionsctlOutput);
/// kextstat: loaded bundles whose identifier does not start "com.apple.".
qint64 thirdPartyKexts(const QString &kextstatOutput);
/// launchctl print <domain>: the number of entries of its "services = {" block.
qint64 launchctlServiceCount(const QString &launchctlPrintOutput);
/// ps -Aceo pid,pcpu,comm: "<name> (<share>%)" for the process with the highest share when
/// it is at least 5 %, else "None detected".
QString highCpuProcess(const QString &psOutput);
/// scutil --nc list: the quoted name of the first service whose status is "(Connected)",
/// else "None detected".
QString connectedVpn(const QString &scutilOutput);
/// airport -I: "<Fair|Good|Excellent> · <rssi> dBm" from agrCtlRSSI and agrCtlNoise; "—"
/// when the RSSI is 0 or missing.
QString wifiQuality(const QString &airportOutput);

// ---- the report's rules ----
/// "••••••••" and the serial's last four characters; the bullets alone below four.
QString maskedSerial(const QString &serial);
/// The level of a used-memory fraction: above 0.85 Critical (3), above 0.7 Warning (2), above
/// 0.55 Fair (1), else Normal (0), with its word.
StyledValue memoryPressure(double usedFraction);
/// The boot-to-login estimate for an uptime in seconds (negative: unknown boot time).
double estimatedBootToLoginSeconds(double uptimeSeconds);
/// Seven-day download and upload from the Reporter's daily cumulative counters ("networkIn",
/// "networkOut" per "day"), days ending on @p now's calendar day: "download", "upload"
/// (byte counts as quint64).
QVariantMap networkSevenDayTotals(const QVariantList &historyRecords, const QDateTime &now);

} // namespace KSTSystemReportParsers
