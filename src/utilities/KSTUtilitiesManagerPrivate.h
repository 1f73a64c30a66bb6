#pragma once

#include "KSTDispatchGroup.h"
#include "KSTDispatchQueue.h"
#include "KSTUtilitiesManager.h"

#include <QCollator>

#include <memory>

class KSTSystemInfo;

struct KSTUtilitiesManager::Private
{
    KSTSystemInfo *systemInfo = nullptr;
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
