#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

/// The assignments of an xdg-user-dirs file (`~/.config/user-dirs.dirs`), as a shell would read
/// the lines xdg-user-dirs writes: `XDG_MUSIC_DIR="$HOME/Music"` or `XDG_MUSIC_DIR="/srv/music"`.
///
/// The file is the analysed user's, so it is hostile input: at most maximumFileBytes are ever
/// read (a larger file, a FIFO or a device is not read at all), lines longer than
/// maximumLineBytes are skipped, and only double-quoted values that start with "$HOME" (then
/// "/" or the end) or "/" count; a backslash keeps the next character as it is. A later line
/// replaces an earlier one of the same key. Safe from any thread.
class KSTUserDirsFile
{
public:
    static constexpr qint64 maximumFileBytes = 64 * 1024;
    static constexpr qsizetype maximumLineBytes = 4096;

    /// One assignment's value.
    struct Value
    {
        /// True for "$HOME/…": path is then relative to the home ("" for the home itself).
        bool relativeToHome = false;
        /// The unescaped path: home-relative without the leading "/" when relativeToHome,
        /// else absolute as the analysed machine spells it. Never cleaned here.
        QString path;
    };

    /// Values by the key's middle part ("DESKTOP" for XDG_DESKTOP_DIR), parsed from @p contents.
    static QHash<QString, Value> parse(const QByteArray &contents);
    /// The same, reading the file at @p path within the caps; empty when it cannot be read.
    /// A link at @p path is followed only when @p followFinalLink: under another machine's
    /// root an absolute link would lead out of it.
    static QHash<QString, Value> read(const QString &path, bool followFinalLink);
};
