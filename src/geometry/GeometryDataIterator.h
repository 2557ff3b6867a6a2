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
/// On purpose: an element is taken as `elementSize` components of 4 bytes, whatever its type. An
/// attribute without an array gives an address counted from null, not to be used. At the end the
/// accessors give the addresses of vertex 0.
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

    /// Ends the walk at `end`. On purpose: it goes on from the current position, not from `start`,
    /// and never ends when that already lies behind `end`. False, and the walk is unranged, when
    /// `end` is above `count()`.
    bool setRange(unsigned long start, unsigned long end);

    /// Goes on to the next index; stays at the end.
    void next() {
        if (fPosition < fEnd) {
            ++fPosition;
        }
    }
    /// Whether the end is reached.
    bool isDone() const { return fPosition == fEnd; }
    /// The number of indices, whatever the range.
    unsigned long count() const { return fCount; }

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
    /// The current index times `size`; 0 at the end.
    unsigned long computeIndex(unsigned long size) const {
        return fPosition < fCount ? fIndexArray[fPosition] * size : 0;
    }

private:
    struct Attribute {
        void* base = nullptr;
        unsigned long stride = 0; ///< bytes from one element to the next
    };

    // Computed as a number, because the base may be null.
    void* address(const Attribute& attribute) const {
        return reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(attribute.base) +
                                       computeIndex(attribute.stride));
    }

    const unsigned int* fIndexArray;
    unsigned int fPosition;
    unsigned long fCount;
    unsigned long fEnd; ///< where the walk ends: the end of the range, or the count
    Attribute fVertex, fNormal, fTextureCoord, fTextureCoord2, fColor, fWeight, fTangent, fTangent2,
        fBinormal, fUserData;
};
