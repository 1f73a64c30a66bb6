#pragma once

#include "KSTEnvironment.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

/// One application a Linux desktop's menu shows, and what it occupies on disk.
struct KSTDesktopApplication
{
    enum class Kind {
        Package, ///< a distribution package's entry (dpkg)
        Flatpak,
        Snap,
        AppImage,
        Local, ///< an entry no package, Flatpak or snap owns
    };

    QString identifier; ///< the desktop-file ID ("org.gnome.TextEditor.desktop"); an AppImage's
                        ///< file name
    QString name;       ///< the menu name (localised), else the identifier without ".desktop"
    QString path;       ///< the entry file, or the AppImage, as found under the root
    Kind kind = Kind::Local;
    /// Applications with the same key share one payload (two entries of one package).
    QString payloadKey;
    /// A package's Installed-Size × 1024; the allocated size of a Flatpak's deployment, a
    /// .snap file or an AppImage; 0 for a local entry and for a payload that is not there.
    quint64 payloadBytes = 0;

    QString exec;                  ///< the entry's Exec line; empty for an AppImage
    QStringList categories;        ///< the entry's Categories
    QString package;               ///< the owning dpkg package (Package)
    QString flatpakId;             ///< the Flatpak's ID (Flatpak)
    bool userInstallation = false; ///< a Flatpak of the user's own installation
    /// The Flatpak's deployment (…/<id>/current/active resolved); empty when missing.
    QString deployment;
    QString snapName; ///< the snap's name (Snap)
};

/// The applications of a Linux desktop on the analysed machine, found as a menu finds them.
///
/// Entries are looked for in $XDG_DATA_HOME/applications, then each data dir's applications,
/// the user's and the system's Flatpak exports (flatpak/exports/share/applications) and
/// /var/lib/snapd/desktop/applications, each with its sub-folders (a file a/b.desktop has the
/// ID a-b.desktop). The first file of an ID wins: a user's copy, or one with Hidden=true,
/// hides the system one. An entry counts when it is a shown application
/// (KSTDesktopEntry::isShownApplication) and its TryExec, if any, is an executable file of
/// the machine: absolute, or in /usr/local/bin, /usr/bin or /bin. AppImages (ELF files with the
/// AppImage magic "AI" and type 1 or 2 at offset 8) directly inside ~/Applications and the user
/// folders count too.
///
/// Everything read is the analysed user's or machine's, so hostile: entry files through
/// KSTRootedPath (links followed inside the root only, never to the host) and read within
/// KSTDesktopEntry's cap; at most maximumEntries names per folder, maximumEntryFiles entry
/// files in all and maximumDepth folders deep; no FIFO or device is ever opened; sizes never follow
/// a link. Holds only the environment; applications() may run on any thread, and several at once.
class KSTDesktopEntryCatalog
{
public:
    /// Names read per folder, entry files taken in all, and folders deep below each place.
    static constexpr int maximumEntries = 4096;
    static constexpr int maximumEntryFiles = 16384;
    static constexpr int maximumDepth = 3;

    explicit KSTDesktopEntryCatalog(const KSTEnvironment &environment);

    /// The folders searched for entries, in precedence order, resolved under the root.
    QStringList entryFolders() const;
    /// The folders searched (one level) for AppImages: ~/Applications and the user folders
    /// that are switched on.
    QStringList appImageFolders() const;
    /// The locale names are chosen for: the running user's LC_ALL, LC_MESSAGES or LANG when
    /// the environment is that user at "/", else LANG of the machine's etc/default/locale.
    QString locale() const;

    /// Every application counted, entries in folder order (names sorted within a folder),
    /// then AppImages.
    QList<KSTDesktopApplication> applications() const;

    /// The payload key of the entries of the distribution package @p package.
    static QString packagePayloadKey(const QString &package);
    /// Whether @p header (a file's first bytes) is an AppImage's.
    static bool isAppImageHeader(const QByteArray &header);

private:
    // Whether TryExec names an executable file of the machine (true for none).
    bool tryExecExists(const QString &tryExec) const;
    // <installation>/app/<id>/current/active, the deployment the exported entry belongs to.
    void fillFlatpakPayload(KSTDesktopApplication &application, const QString &installation,
                            const QString &flatpakId) const;
    // The .snap file of the revision /snap/<name>/current names, else of the highest one.
    void fillSnapPayload(KSTDesktopApplication &application, const QString &snapName) const;
    // Owners from dpkg's lists and their Installed-Size, read once for all entries.
    void fillPackagePayloads(QList<KSTDesktopApplication> &applications,
                             const QHash<qsizetype, QStringList> &candidates,
                             const QSet<QString> &wanted) const;
    void appendAppImages(QList<KSTDesktopApplication> &applications) const;

    KSTEnvironment m_environment;
};
