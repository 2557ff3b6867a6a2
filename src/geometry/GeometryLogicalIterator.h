#pragma once

#include "geometry/GeometryLogicalGroup.h"

/// Walks the index arrays of a group, which it does not own and must not outlive.
///
///     for (GeometryLogicalIterator it(&group); !it.isDone(); it.next()) { draw(it.dataIndexPointer()); }
class QV_EXPORT GeometryLogicalIterator {
public:
    /// Walks nothing when `group` is null.
    explicit GeometryLogicalIterator(const GeometryLogicalGroup* group = nullptr) { reset(group); }

    /// Starts at the first index array of `group`; walks nothing when it is null.
    void reset(const GeometryLogicalGroup* group) {
        fGroup = group;
        fPosition = 0;
        fCount = group ? static_cast<unsigned long>(group->indexArrays().size()) : 0;
    }

    /// Goes on to the next index array; stays at the end.
    void next() {
        if (fPosition < fCount) {
            ++fPosition;
        }
    }
    /// Whether the end is reached.
    bool isDone() const { return fPosition == fCount; }
    /// The number of index arrays.
    unsigned long count() const { return fCount; }

    /// The index array at the current position; null at the end.
    const GeometryDataIndex* dataIndexPointer() const {
        return fGroup && fPosition < fGroup->indexArrays().size() ? fGroup->indexArrays()[fPosition]
                                                                  : nullptr;
    }

private:
    unsigned int fPosition;
    unsigned long fCount;
    const GeometryLogicalGroup* fGroup;
};
