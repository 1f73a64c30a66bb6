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
/// domain on different threads see each other's writes after sync().
class KSTPreferences
{
public:
    /// The standard domain, "com.kestrel.Kestrel".
    static std::unique_ptr<QSettings> standard();
    /// A named suite; the standard domain when @p suiteName is empty.
    static std::unique_ptr<QSettings> suite(const QString &suiteName);
    /// Folder of the INI files on Linux: $XDG_CONFIG_HOME/kestrel, else ~/.config/kestrel.
    static QString directory();

    static constexpr const char *StandardDomain = "com.kestrel.Kestrel";
};
