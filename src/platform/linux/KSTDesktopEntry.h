#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

/// The [Desktop Entry] group of a freedesktop desktop entry file (`*.desktop`): what decides
/// whether a menu shows the application and under which name.
///
/// The file is the analysed machine's, so it is hostile input: parse() looks at no more than
/// maximumFileBytes, skips lines longer than maximumLineBytes, reads only the first group when
/// it is [Desktop Entry] (an action's Name is never the application's), keeps the first value
/// of a key, and unescapes \s \n \t \r \\ in string values. Pure and thread-safe.
struct KSTDesktopEntry
{
    static constexpr qint64 maximumFileBytes = 512 * 1024;
    static constexpr qsizetype maximumLineBytes = 16 * 1024;

    bool valid = false; ///< the file starts (after comments) with the [Desktop Entry] group
    QString type;       ///< "Application", "Link", "Directory"
    QString name;       ///< Name localised for the locale given to parse(), else Name
    QString exec;
    QString tryExec;
    bool noDisplay = false;
    bool hidden = false;
    QString flatpakId;        ///< X-Flatpak: the Flatpak that exported the entry
    QString snapInstanceName; ///< X-SnapInstanceName: the snap that installed it
    /// MimeType: the types the application opens, in file order, empty items dropped.
    QStringList mimeTypes;
    /// False when X-GNOME-Autostart-enabled=false: an autostart entry the user switched off.
    bool autostartEnabled = true;
    QStringList categories; ///< Categories, split at ";" (empty items dropped)

    /// Whether a menu lists the application: an Application, neither NoDisplay nor Hidden.
    /// TryExec is the caller's to check, on the machine the entry belongs to.
    bool isShownApplication() const;

    /// Parses @p contents. @p locale is a POSIX locale ("de_DE.UTF-8", "sr_RS@latin", "C");
    /// Name[lang_COUNTRY@MODIFIER], Name[lang_COUNTRY], Name[lang@MODIFIER], Name[lang] are
    /// tried in that order before Name.
    static KSTDesktopEntry parse(const QByteArray &contents, const QString &locale = {});
};
