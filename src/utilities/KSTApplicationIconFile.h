#pragma once

#include <QByteArray>
#include <QString>
#include <QVariantMap>

/// Where an application's icon is drawn from: a file on the analysed machine, found without
/// drawing anything (the window loads it). Every answer is a regular file reached from the
/// analysed root (or home) without following a symbolic link anywhere below it, so an icon
/// name written by an app's author can never lead outside; "" when there is none.
class KSTApplicationIconFile
{
public:
    /// A Mac bundle's icon (Contents/Resources/<CFBundleIconFile>, ".icns" added when the
    /// name has no extension) or a desktop entry's (a path ending in ".desktop", read
    /// through iconFromDesktopEntry()). @p info is the bundle's Info.plist; unused for a
    /// desktop entry.
    static QString forApplication(const QString &path, const QVariantMap &info);
    static QString forBundle(const QString &bundlePath, const QVariantMap &info);

    /// The Icon= value of a desktop entry's [Desktop Entry] group; "" when there is none.
    /// Pure.
    static QString iconValueOfDesktopEntry(const QByteArray &contents);
    /// The desktop entry at @p path (at most 64 KiB, a regular file not reached through a
    /// final link) resolved by iconFileForIconValue().
    static QString iconFromDesktopEntry(const QString &path);
    /// An Icon= value as a file: an absolute path is the analysed machine's (under its root);
    /// a name is looked for in the home's and the system's hicolor themes (IconThemeSizes,
    /// then png, svg, xpm) and then in the pixmaps folder. A name with a "/" or one that is
    /// "." or ".." finds nothing.
    static QString iconFileForIconValue(const QString &value);

    /// Largest desktop entry read.
    static constexpr qint64 MaximumDesktopEntryBytes = 64 * 1024;
};
