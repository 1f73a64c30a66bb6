#pragma once

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

/// One reclaimable thing: a folder, a file, or an amount inside a folder.
struct KSTCleanUpItem
{
    QString name;        ///< label shown in lists
    QString displayPath; ///< path shown under the name, home abbreviated to "~"; may be empty
    QString filePath;    ///< absolute path acted on at removal ("/" for local snapshots)
    quint64 bytes = 0;
    bool nameOnlyInList = false; ///< the list shows the name without the path line
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
