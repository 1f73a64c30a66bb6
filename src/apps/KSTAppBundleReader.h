#pragma once

#include "KSTAppInventorySnapshot.h"

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

/// Reads one application bundle into an inventory record: what its Info.plist (and the
/// localised InfoPlist.strings) says, where it lives, what its executable was built for, and
/// the dates the file system keeps.
///
/// Every read goes through KSTQuietFiles: no link below the analysed home or root is followed,
/// a FIFO or device never blocks, property lists and strings are capped, only the header
/// bytes of the executable are read, and nothing read updates an access time where the system
/// allows it. A bundle whose files are unreadable or malformed gets the defaults ("—", "",
/// "Other", "Unknown", no date) or, without a bundle identifier, no record at all.
///
/// Fixed macOS paths ("/System/") are compared with the bundle's path on the analysed
/// machine (without the root). All functions are stateless and thread-safe.
class KSTAppBundleReader
{
public:
    KSTAppBundleReader() = delete;

    /// The bundle's Contents/Info.plist as a dictionary; nothing when it is missing, not a
    /// regular file, malformed or not a dictionary.
    static std::optional<QVariantMap> infoDictionary(const QString &bundlePath);

    /// The record of discovery, in this order: identifier (none: no record), name, version
    /// ("—" when absent), build version, category, architecture, source, developer (fallback
    /// "Apple Inc." for system apps, else the name), installed date (birth time, or the
    /// modification time when later), last-opened date (the bundle's access time), icon;
    /// sizes 0 and related paths not loaded. Localised names are looked up for @p languages.
    static std::optional<KSTInstalledAppRecord>
    lightweightInstalledAppRecordForBundlePath(const QString &bundlePath,
                                               const QStringList &languages);
    /// The same for the analysed user's languages.
    static std::optional<KSTInstalledAppRecord>
    lightweightInstalledAppRecordForBundlePath(const QString &bundlePath);

    /// The localised CFBundleDisplayName, else CFBundleName (each from the best
    /// InfoPlist.strings for @p languages, then the Info.plist), else the bundle's file name
    /// without its extension. For an empty path: the last path component of @p fallback
    /// when it has one, else @p fallback.
    static QString displayNameForAppBundlePath(const QString &bundlePath, const QString &fallback,
                                               const QStringList &languages);
    static QString displayNameForAppBundlePath(const QString &bundlePath, const QString &fallback);

    /// 2 for a bundle below "/System/" on the analysed machine; 0 when
    /// Contents/_MASReceipt/receipt or …/rereceipt exists inside it; else 1.
    static quint64 sourceForAppBundlePath(const QString &bundlePath);

    /// The label of KSTMachOHeader for the executable named by CFBundleExecutable, read only
    /// when that name is a plain file name and the file is a regular file directly in
    /// Contents/MacOS (header bytes only); else "—".
    static QString architectureLabelForAppBundlePath(const QString &bundlePath);
    static QString architectureLabelForAppBundlePath(const QString &bundlePath,
                                                     const QVariantMap &info);

    /// The bundle's access time; nothing when it cannot be read. (Spotlight's last-used date
    /// exists only on macOS.)
    static std::optional<QDateTime> lastOpenedDateForAppBundlePath(const QString &bundlePath);

    /// Contents/Resources/<CFBundleIconFile> (".icns" added when it has no extension) when
    /// that is a regular file; else empty (the generic application symbol).
    static QString iconForAppBundlePath(const QString &bundlePath, const QVariantMap &info);

    /// Fills what discovery could not: the icon when empty, the last-opened date when
    /// missing, the architecture when empty. Nothing for a record without a bundle path.
    static void enrichAppRecordDisplayMetadata(KSTInstalledAppRecord &record);

    /// The analysed user's preferred languages: "AppleLanguages" of the home's
    /// Library/Preferences/.GlobalPreferences.plist on a Mac, else the system's UI languages.
    static QStringList userLanguages();

    /// The .lproj folder names (without the extension) tried for @p language, best first:
    /// "de-DE" gives "de-DE", "de_DE", "de" and "German". Names holding "/" or made of dots
    /// give none.
    static QStringList localizationFolderNames(const QString &language);

    /// True for a name that may be joined to a folder path: not empty, no "/", not "." or
    /// "..".
    static bool isPlainFileName(const QString &name);
};
