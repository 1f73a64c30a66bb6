#pragma once

#include <QSettings>
#include <QString>

#include <memory>

/// Kestrel's own persistent preferences, on QSettings: the standard user preferences
/// ("KSTHomeFolderBookmarkData", "KSTFolderAccessRemindLater", "KSTUserOpenedFDASettings")
/// and named suites ("com.kestrel.autoclean").
///
/// macOS: the native defaults domains. Linux: INI files in directory(), which follows
/// $XDG_CONFIG_HOME at every call, so tests point it at a temporary folder.
///
/// Each call returns a fresh QSettings object, to be used by one thread; objects for the same
/// domain on different threads see each other's writes after sync(), and their writes to
/// different keys are merged, not lost.
///
/// Reading values back: the INI files return every scalar as a string and a one-element
/// string list as a plain string, so read with the QVariant converters rather than by type:
/// value(key).toBool(), .toULongLong(), .toStringList() (which gives a one-element list from
/// the plain string and an empty list for an absent key). Dates (QDateTime) round-trip
/// exactly, time zone and milliseconds included.
class KSTPreferences
{
public:
    /// The standard domain, "com.kestrel.Kestrel".
    static std::unique_ptr<QSettings> standard();
    /// A named suite, a file of its own; the standard domain when @p suiteName is empty. On
    /// Linux, characters of @p suiteName other than letters, digits, '.', '-' and '_' become
    /// '_' in the file name.
    static std::unique_ptr<QSettings> suite(const QString &suiteName);
    /// Folder of the INI files on Linux: $XDG_CONFIG_HOME/kestrel, else (unset, empty or
    /// relative, which the XDG rules say to ignore) ~/.config/kestrel. Read at every call.
    static QString directory();

    static constexpr const char *StandardDomain = "com.kestrel.Kestrel";
};
