#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>

#include <optional>

/// Pure readers of what a Linux machine's report sources hold: kernel files, configuration
/// files and the JSON or text its tools print. Every function reads at most
/// MaximumInputBytes of its input and walks nested JSON with its own stack, so hostile input
/// costs bounded time and memory. Thread-safe.
namespace KSTLinuxReportParsers {

inline constexpr qsizetype MaximumInputBytes = 4 * 1024 * 1024;

/// The mounted file systems of `findmnt -J -o TARGET,SOURCE,FSTYPE`.
struct Mounts
{
    QString rootSource;        ///< the source of "/" ("/dev/vda", "/dev/mapper/luks-…")
    QString rootFileSystem;    ///< its type ("ext4")
    qint64 deviceVolumes = -1; ///< mounts whose source is a "/dev/" device; -1: no answer
};
Mounts findmntMounts(const QByteArray &json);

/// `lsblk -J -o NAME,TYPE,FSTYPE,MOUNTPOINTS` (or the older MOUNTPOINT): whether the device
/// mounted at "/" lies on a "crypt" device or a "crypto_LUKS" one; nullopt when no device is
/// mounted at "/" or the text is not lsblk's.
std::optional<bool> rootOnLuks(const QByteArray &json);

/// sys/kernel/security/lockdown ("none [integrity] confidentiality"): the bracketed word of
/// its first line; "" when there is none.
QString lockdownMode(const QByteArray &text);

/// An efivars variable (four attribute bytes, then the value): whether its first value byte
/// is 1; nullopt when it is shorter than five bytes.
std::optional<bool> efiFlag(const QByteArray &variable);

/// A "KEY=value" setting of a shell-style file such as ufw.conf or os-release, unquoted;
/// nullopt when the key is not set.
std::optional<QString> shellSetting(const QByteArray &text, const QByteArray &key);

/// Lines of `systemctl list-units --no-legend --plain` naming a unit (a first word with a
/// "." in it).
qint64 unitCount(const QByteArray &listUnitsOutput);

/// /proc/modules: the loaded modules and, of them, those built outside the kernel's tree
/// (taint letters holding "O" or "E").
struct Modules
{
    qint64 loaded = 0;
    qint64 outOfTree = 0;
};
Modules loadedModules(const QByteArray &procModules);

/// `coredumpctl --json=short`: the dumps of the seven days before @p now, and the distinct
/// program names among them (the base name of "exe", else "comm"), in order of appearance.
struct Coredumps
{
    qint64 recent = 0;
    QStringList names;
};
Coredumps recentCoredumps(const QByteArray &json, const QDateTime &now);

/// `systemd-analyze`: the seconds after its last "=" on the "Startup finished" line
/// ("1min 2.5s", "8.301s", "950ms"); nullopt when there is none.
std::optional<double> startupSeconds(const QByteArray &text);

/// `nmcli -t -f NAME,TYPE connection show --active`: the name of the first active "vpn" or
/// "wireguard" connection ("\:" is a colon within a name), else "None detected".
QString activeVpn(const QByteArray &nmcliOutput);

/// /proc/net/wireless: "<Fair|Good|Excellent> · <level> dBm" for the first interface, from
/// its signal level and noise; "—" when no interface has a level.
QString wirelessQuality(const QByteArray &procNetWireless);

/// A Firefox profile's extensions.json: the names of the user's own extensions (type
/// "extension", location "app-profile"), in their order.
QStringList firefoxExtensions(const QByteArray &json);

} // namespace KSTLinuxReportParsers
