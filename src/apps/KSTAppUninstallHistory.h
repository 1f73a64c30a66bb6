#pragma once

#include "KSTFileIdentity.h"

#include <QList>
#include <QString>
#include <QStringList>

/// What the last uninstall moved to the Trash, and putting it back.
///
/// The items (where each was, where it went, what it was) are kept under the preference key
/// "KSTLastUninstallItems" of the standard preferences, paths as their bytes, so that a name
/// that is not UTF-8 comes back unchanged. Each uninstall that moved something replaces them.
///
/// Putting back moves each item still in the Trash, and still the very entry that was moved
/// (kind, device, inode; for files size and modification time), back to where it was, through
/// KSTRemovalGuard: never replacing anything there, never through a link, never a never-touch
/// entry, only within the home, the root's Applications folder and its installer receipts.
/// Items that cannot go back are skipped and named. Afterwards the list is forgotten.
///
/// Thread safety: any thread; preferences objects are made per call.
class KSTAppUninstallHistory
{
public:
    KSTAppUninstallHistory() = delete;

    struct Item
    {
        QString originalPath;
        QString trashedPath;
        KSTFileIdentity identity;

        bool operator==(const Item &) const = default;
    };

    struct PutBackResult
    {
        QStringList restoredPaths; ///< original paths the items are back at
        QStringList skippedPaths;  ///< original paths of the items left in the Trash
        QStringList reasons;       ///< why each skipped item stayed, in the same order
    };

    /// Replaces the remembered items with @p items.
    static void remember(const QList<Item> &items);
    /// The remembered items, in the order they were moved; malformed entries are left out.
    static QList<Item> lastUninstallItems();
    static void forget();

    /// Puts back the remembered items (the last moved first), then forgets them.
    static PutBackResult putBackLastUninstall();
};
