#pragma once

#include "KSTCleanUpEngine.h"
#include "KSTCleanUpSnapshot.h"
#include "KSTSystemInfo.h"

#include <QStringList>

#include <gtest/gtest.h>

#include <memory>

#include <ostream>

constexpr quint64 MiB = 1024 * 1024;

// Clean-up items compare field by field and print whole in failure messages, so a test states
// the item it expects in one line.
inline bool operator==(const KSTCleanUpItem &a, const KSTCleanUpItem &b)
{
    return a.name == b.name && a.displayPath == b.displayPath && a.filePath == b.filePath &&
           a.bytes == b.bytes && a.nameOnlyInList == b.nameOnlyInList;
}

inline void PrintTo(const KSTCleanUpItem &item, std::ostream *stream)
{
    *stream << '{' << item.name.toStdString() << ", " << item.displayPath.toStdString() << ", "
            << item.filePath.toStdString() << ", " << item.bytes
            << (item.nameOnlyInList ? ", name only}" : "}");
}

// An engine stopped by @p info's Clean Up generation, as install() wires it.
inline KSTCleanUpEngine engineFor(KSTSystemInfo &info)
{
    return KSTCleanUpEngine(
        [&info](quint64 generation) { return info.isCleanUpScanCancelled(generation); });
}

inline QStringList namesOf(const QList<KSTCleanUpItem> &items)
{
    QStringList names;
    for (const KSTCleanUpItem &item : items)
        names << item.name;
    return names;
}

inline quint64 bytesOf(const QList<KSTCleanUpItem> &items)
{
    quint64 total = 0;
    for (const KSTCleanUpItem &item : items)
        total += item.bytes;
    return total;
}

// The category of @p type in @p snapshot; a test failure and an empty category when it has none.
inline KSTCleanUpCategory categoryOfType(const std::shared_ptr<KSTCleanUpSnapshot> &snapshot,
                                         const char *type)
{
    for (const KSTCleanUpCategory &category :
         snapshot ? snapshot->categories : QList<KSTCleanUpCategory>()) {
        if (category.categoryType == QLatin1String(type))
            return category;
    }
    ADD_FAILURE() << "no category " << type;
    return {};
}
