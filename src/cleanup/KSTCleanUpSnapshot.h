#pragma once

#include "KSTFileIdentity.h"

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

/// One entry a clean-up item stands for, as the scan saw it: removal acts on exactly this
/// entry, and leaves it when it is no longer what the scan saw.
struct KSTCleanUpTarget
{
    QString path;
    std::optional<KSTFileIdentity> identity;
    quint64 bytes = 0; ///< its share of the item's bytes
};

/// One reclaimable thing: a folder, a file, or a set of entries inside a folder.
struct KSTCleanUpItem
{
    QString name;        ///< label shown in lists
    QString displayPath; ///< path shown under the name, home abbreviated to "~"; may be empty
    QString filePath;    ///< the path the item is known by ("/" for local snapshots)
    quint64 bytes = 0;
    bool nameOnlyInList = false; ///< the list shows the name without the path line
    /// What removal moves. Empty for the Mac Trash (emptied, not moved), the local snapshots
    /// and the placeholders; one entry for a folder or file item; the entries found for the
    /// Installer Packages and the Downloads folder's contents.
    QList<KSTCleanUpTarget> targets;
};

/// One of the four fixed categories of the Clean Up screen.
struct KSTCleanUpCategory
{
    QString categoryType;        ///< "systemJunk", "trashes", "largeFiles", "removable"
    QString name;                ///< "System Junks", "Trashes", "Large Files", "Removable Data"
    QString categoryDescription; ///< the card's subtitle
    QList<KSTCleanUpItem> items; ///< the short list shown on the card
    std::optional<QList<KSTCleanUpItem>> allItems; ///< every item, for review; may be unset
    quint64 totalBytes = 0;

    /// allItems when it holds at least one item, else items. Selection and removal use it.
    QList<KSTCleanUpItem> reviewItems() const
    {
        return allItems && !allItems->isEmpty() ? *allItems : items;
    }
};

/// What one clean-up scan found.
struct KSTCleanUpSnapshot
{
    QList<KSTCleanUpCategory> categories; ///< always four, in the fixed order
    quint64 totalReclaimableBytes = 0;
    quint64 storageTotalBytes = 0;
    quint64 filesAnalyzed = 0; ///< an estimate; never 0 in a complete snapshot
    QDateTime scanDate;
    bool isPartial = false; ///< true for the placeholder delivered before the scan
};
