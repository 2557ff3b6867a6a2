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
    }

    /// Goes on to the next index array; stays at the end.
    void next() {
        if (!isDone()) {
            ++fPosition;
        }
    }
    /// Whether the position is at the end or behind it.
    bool isDone() const { return fPosition >= count(); }
    /// The number of index arrays that the group has.
    unsigned long count() const {
        return fGroup ? static_cast<unsigned long>(fGroup->indexArrays().size()) : 0;
    }

    /// The index array at the current position; null at the end.
    const GeometryDataIndex* dataIndexPointer() const {
        return isDone() ? nullptr : fGroup->indexArrays()[fPosition];
    }

private:
    unsigned int fPosition;
    const GeometryLogicalGroup* fGroup;
};
