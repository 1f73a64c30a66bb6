#pragma once

#include "KSTCleanUpSnapshot.h"

#include <QList>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <optional>

/// The iOS and iPadOS device backups in Library/Application Support/MobileSync/Backup, as
/// items of the clean-up scan's Removable Data.
///
/// A backup folder counts when its Info.plist can be read, or else when its Manifest.plist
/// can be read and has a "Lockdown" value; anything else (no plists, malformed ones, a
/// manifest without "Lockdown") is skipped, as is a backup of size 0. Hidden entries are
/// skipped. The list keeps the folder listing's order.
///
/// Thread safety: blocking; any thread but the main one. Cancellation stops the loop with
/// the backups found so far.
class KSTIOSBackupCatalog
{
public:
    /// Whether generation G should stop; callable from any thread.
    using CancellationCheck = std::function<bool(quint64 generation)>;

    /// Stops a generation's loop once @p isCancelled says so; an empty predicate never stops.
    explicit KSTIOSBackupCatalog(CancellationCheck isCancelled);

    /// One item per backup: name the display name, displayPath the backup folder's own name
    /// (the device identifier), the folder as filePath, nameOnlyInList, its size.
    QList<KSTCleanUpItem> iosBackupItemsWithGeneration(quint64 generation) const;

    /// "<device> (<date label>)", or the device name alone when the label is empty;
    /// "Unknown" (without a date) when the device name is empty. The device is Info.plist's
    /// "Device Name" when @p info was read, else Manifest.plist's Lockdown → DeviceName.
    static QString iosBackupDisplayNameWithInfoDict(const std::optional<QVariantMap> &info,
                                                    const std::optional<QVariantMap> &manifest,
                                                    const QString &referencePlistPath);
    /// The modification time of the plist at @p path in local time, "yyyy-MM-dd HH:mm"
    /// (ASCII digits whatever the locale); empty when it has none or (in a sandbox) cannot
    /// be reached.
    static QString backupDateLabelForPlistAtPath(const QString &path);

private:
    CancellationCheck m_isCancelled;
};
