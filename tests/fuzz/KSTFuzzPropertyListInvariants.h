#pragma once

#include "KSTPropertyList.h"

#include <QVariant>

#include <cstdlib>

/// What a fuzz target checks beyond "no crash" for a tree a reader accepted: both writers
/// take it, and the binary writer's bytes read back (when they are within the size cap; a
/// tree of shared objects written out unshared may not be).
inline void checkWrittenTreeReadsBack(const QVariant &tree)
{
    if (!tree.isValid())
        return;
    const QByteArray binary = KSTPropertyList::toBinary(tree);
    if (binary.size() <= KSTPropertyList::MaximumDataBytes &&
        !KSTPropertyList::fromData(binary).isValid())
        std::abort();
    if (!KSTPropertyList::toXml(tree).startsWith("<?xml"))
        std::abort();
}
