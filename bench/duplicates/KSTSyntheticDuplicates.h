#pragma once

#include "KSTDuplicateSnapshot.h"

#include <memory>

/// A scan result made up in memory for the group list benchmark: no disk is touched.
namespace KSTSyntheticDuplicates {

struct Shape
{
    int groupCount = 50000;
    /// Every group in one category ("others") instead of spread over the six.
    bool singleCategory = false;
    quint32 seed = 20261124;
};

/// @p shape.groupCount groups of 2 to 4 copies each, with home-folder paths, sizes from a few
/// KiB to a few hundred MiB (most small), dates over five years, newest copy first, and the
/// six categories in their fixed order holding about 30/20/10/15/10/15 % of the groups.
std::shared_ptr<KSTDuplicateSnapshot> makeSnapshot(const Shape &shape);

} // namespace KSTSyntheticDuplicates
