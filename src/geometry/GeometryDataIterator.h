#pragma once

#include "geometry/GeometryDataIndex.h"

#include <cstdint>

/// Walks the indices of one index array and hands out the addresses of the current vertex's
/// attributes. It owns nothing and must not outlive what it walks.
///
///     for (GeometryDataIterator it(triangles, nullptr); !it.isDone(); it.next()) {
///         const auto* xyz = static_cast<const float*>(it.vertex());
///     }
///
/// The index object's array and count are read as they stand at each step; attribute arrays that it
/// is given later are served after a `reset`.
///
/// On purpose: an element is taken as `elementSize` components of 4 bytes whatever its type, so that
/// bytes, shorts and doubles are not found. An attribute without an array gives an address counted
/// from null, not to be used. Behind the last index the accessors give the addresses of vertex 0; at
/// the end of a range they give those of the vertex that follows it.
class QV_EXPORT GeometryDataIterator {
public:
    /// Walks nothing.
    GeometryDataIterator() { reset(nullptr, nullptr); }
    /// Starts as `reset` does.
    GeometryDataIterator(const GeometryDataIndex* index, const unsigned int* collections) {
        reset(index, collections);
    }

    /// Starts at the first index of `index`; nothing is walked when that, or its index array, is
    /// null. Of several arrays with the same meaning the last one is served.
    ///
    /// @param collections the collection numbers of the first and the second set of texture
    ///                    coordinates and of tangents; null: any array serves both sets
    void reset(const GeometryDataIndex* index, const unsigned int* collections);

    /// Ends the walk at `end`, or at the last index where the index object has fewer by then. False,
    /// and the walk is unranged, when `end` is above `count()`. On purpose: `start` is not looked at,
    /// so that the walk goes on from where it is.
    bool setRange(unsigned long start, unsigned long end);

    /// Goes on to the next index; stays at the end.
    void next() {
        if (!isDone()) {
            ++fPosition;
        }
    }
    /// Whether the position is at the end or behind it.
    bool isDone() const { return fPosition >= (fRangeEnd < count() ? fRangeEnd : count()); }
    /// The number of indices, whatever the range.
    unsigned long count() const { return fIndex && fIndex->indexArray() ? fIndex->indicesCount() : 0; }

    /// The address of the current vertex's position.
    void* vertex() const { return address(fVertex); }
    /// The address of its normal.
    void* normal() const { return address(fNormal); }
    /// The address of its first texture coordinates.
    void* textureCoord() const { return address(fTextureCoord); }
    /// The address of its second texture coordinates.
    void* textureCoord2() const { return address(fTextureCoord2); }
    /// The address of its colour.
    void* color() const { return address(fColor); }
    /// The address of its weight.
    void* weight() const { return address(fWeight); }
    /// The address of its first tangent.
    void* tangent() const { return address(fTangent); }
    /// The address of its second tangent.
    void* tangent2() const { return address(fTangent2); }
    /// The address of its binormal.
    void* binormal() const { return address(fBinormal); }
    /// The address of its user data.
    void* userData() const { return address(fUserData); }

protected:
    /// The current index times `size`; 0 behind the last index.
    unsigned long computeIndex(unsigned long size) const {
        return fPosition < count() ? fIndex->indexArray()[fPosition] * size : 0;
    }

private:
    struct Attribute {
        void* base = nullptr;
        unsigned long stride = 0; ///< bytes from one element to the next
    };

    // Computed as a number, because the base may be null. NOLINTBEGIN(performance-no-int-to-ptr)
    void* address(const Attribute& attribute) const {
        return reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(attribute.base) +
                                       computeIndex(attribute.stride));
    }
    // NOLINTEND(performance-no-int-to-ptr)

    static constexpr unsigned long kNoRange = ~0UL;

    const GeometryDataIndex* fIndex;
    unsigned int fPosition;
    unsigned long fRangeEnd; ///< `kNoRange` for all indices
    Attribute fVertex, fNormal, fTextureCoord, fTextureCoord2, fColor, fWeight, fTangent, fTangent2,
        fBinormal, fUserData;
};
