#pragma once

#include "base/Export.h"
#include "base/qvLinear.h"

/// Orders points by their depth after a projection, for drawing them back to front or front to
/// back.
///
///     std::vector<unsigned int> order(count);
///     DepthSorter::sortByDepth(objectToEye, order.data(), count, xyz, nullptr, 0);
///     for (unsigned int i : order) { draw(i); } // smallest depth first
///
/// Not reentrant: one sort at a time in the whole process.
class QV_EXPORT DepthSorter {
public:
    /// Writes the order of ascending depth into `order`. The depth of a point (x, y, z) is the third
    /// component of (x, y, z, 1) `m`, without a division by w, as a float.
    ///
    /// Without `indices`, `order` receives the numbers 0 to `count` - 1 of the `count` points, and
    /// for an `m` within `epsilonTol` of the identity the depth is z itself. With `indices`, the depths
    /// are worked out for the identity as well, and `order` receives the positions 0 to `indexCount` - 1 in
    /// `indices`: the caller reads `indices[order[j]]`.
    ///
    /// Equal depths keep their order, on every platform; -0 and +0 are equal. Depths that are not a
    /// number come last, in their order; an index that is not below `count` is never followed and
    /// counts as such a depth. The time grows linearly with the number of points; sorting takes 20
    /// bytes for each while it runs, and nothing from the heap for 256 points or fewer.
    ///
    /// @param m          maps points to the space in which z is the depth
    /// @param order      `count` entries, or `indexCount` with `indices`; null: nothing is done
    /// @param count      the number of points; 0: nothing is done
    /// @param positions  three floats per point
    /// @param indices    the numbers of the points to sort, or null for all
    /// @param indexCount the number of entries in `indices`
    /// @return false when `positions` is null although there is something to do, or when memory runs
    ///         out; `order` is then as it was
    static bool sortByDepth(const qvLinear::ProjMatrix& m, unsigned int* order, unsigned int count,
                            const float* positions, const unsigned int* indices, unsigned int indexCount);

protected:
    /// The definition of the order, for `qsort` over element numbers: -1 when the depth of `*a` is
    /// not above that of `*b`, otherwise 1. On purpose: never 0, so that of equal depths the first
    /// comes first. `sortByDepth` does not call it, because `qsort` need not be stable.
    static int depthCompareFunction(const void* a, const void* b);

    /// The depth of each element during a sort; null otherwise.
    static float* fsPositionXformZ;
};
