#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

class KSTFixtureLinux;

/// What the System Report reads on a fixture Linux machine: a ThinkPad running Debian 12 from
/// LUKS and LVM. The tools answer with the outputs of tests/data/linux/tools/built (written
/// for this machine in each tool's format, not recordings); the kernel and configuration
/// files are written in place. Shared by the report's tests and the command test, so both
/// read the same machine. The values it leads to are the constants below.
namespace KSTLinuxReportSources {

/// Installs every source on @p machine; coredumps and the kernel crash folder are dated
/// relative to @p now.
void install(KSTFixtureLinux &machine, const QDateTime &now = QDateTime::currentDateTime());

/// A built output of tests/data/linux/tools/built.
QByteArray builtOutput(const QString &name);
/// A recording of tests/data/linux/tools.
QByteArray recordedOutput(const QString &name);

inline const QString KernelRelease = QStringLiteral("6.1.0-28-amd64");
inline const QString RootDevice = QStringLiteral("/dev/mapper/debian--vg-root");
inline constexpr qint64 DeviceVolumes = 4;
inline constexpr qint64 RunningSystemServices = 8;
inline constexpr qint64 RunningUserServices = 5;
inline constexpr qint64 OutOfTreeModules = 2;
inline const QString RecentCrashes = QStringLiteral("3 (nautilus, firefox-esr)");
inline const QString VpnName = QStringLiteral("Office: Berlin");
inline const QString Wireless = QStringLiteral("Excellent \u00b7 -56 dBm");
inline const QString FirefoxExtensions =
    QStringLiteral("Bitwarden - Free Password Manager, uBlock Origin");
inline const QString ChromiumExtensions = QStringLiteral("Dark Reader");
inline constexpr int KernelCrashAgeDays = 20;

} // namespace KSTLinuxReportSources
