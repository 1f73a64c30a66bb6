#pragma once

#include "KSTApplicationBundleCatalog.h"
#include "KSTDispatchGroup.h"
#include "KSTDispatchQueue.h"
#include "KSTUtilitiesManager.h"

#include <QCollator>

#include <memory>

struct KSTUtilitiesManager::Private
{
    /// Where the application search's list is kept (the service's cache).
    KSTApplicationBundleCatalog::PathCache bundlePaths;
    std::unique_ptr<KSTDispatchQueue> queue;
    KSTDispatchGroup scans;
};

/// Sorting "localized and case-insensitive": the current locale's collation, letter case
/// ignored.
namespace KSTUtilitiesOrder {

inline bool localizedCaseInsensitiveLess(const QString &a, const QString &b)
{
    thread_local QCollator collator = [] {
        QCollator made;
        made.setCaseSensitivity(Qt::CaseInsensitive);
        return made;
    }();
    return collator.compare(a, b) < 0;
}

} // namespace KSTUtilitiesOrder
