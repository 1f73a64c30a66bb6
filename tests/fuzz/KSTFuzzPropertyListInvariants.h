#pragma once

#include "KSTPropertyList.h"

#include <QVariant>

#include <cstdlib>
#include <vector>

/// Whether @p tree, expanded, holds at most @p limit values (shared parts counted at every
/// use), counted without recursion.
inline bool hasAtMostValues(const QVariant &tree, qsizetype limit)
{
    std::vector<QVariant> pending{tree};
    qsizetype count = 0;
    while (!pending.empty()) {
        const QVariant value = std::move(pending.back());
        pending.pop_back();
        if (++count > limit)
            return false;
        if (value.typeId() == QMetaType::QVariantList) {
            for (const QVariant &item : value.toList())
                pending.push_back(item);
        } else if (value.typeId() == QMetaType::QVariantMap) {
            const QVariantMap map = value.toMap();
            for (auto it = map.cbegin(); it != map.cend(); ++it)
                pending.push_back(it.value());
        }
    }
    return true;
}

/// What a fuzz target checks beyond "no crash" for a tree a reader accepted: both writers
/// take it, and the binary writer's bytes read back. Only for trees of modest size: a tree
/// of shared objects written out unshared can grow past the caps (and the time a fuzzer
/// gives one input).
inline void checkWrittenTreeReadsBack(const QVariant &tree)
{
    if (!tree.isValid() || !hasAtMostValues(tree, 10'000))
        return;
    const QByteArray binary = KSTPropertyList::toBinary(tree);
    if (binary.size() <= KSTPropertyList::MaximumDataBytes &&
        !KSTPropertyList::fromData(binary).isValid())
        std::abort();
    if (!KSTPropertyList::toXml(tree).startsWith("<?xml"))
        std::abort();
}
