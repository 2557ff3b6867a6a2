#include "geometry/GeometryDataIndex.h"

#include <algorithm>
#include <utility>

namespace {

// Not synchronised: geometry is made on one thread.
unsigned int nextUniqueID = 0;

std::unique_ptr<unsigned int[]> copyOf(const unsigned int* indices, unsigned int count) {
    if (!indices) {
        return nullptr;
    }
    std::unique_ptr<unsigned int[]> copy(new unsigned int[count]);
    std::copy_n(indices, count, copy.get());
    return copy;
}

} // namespace

GeometryDataIndex::GeometryDataIndex(DrawPrimitiveType drawPrimitive, unsigned int indicesCount,
                                     const std::vector<const GeometryData*>& data, unsigned int* indexArray)
    : fIndexArray(indexArray), fIndicesCount(indicesCount), fUniqueID(nextUniqueID++),
      fDrawPrimitive(drawPrimitive), fDataPtrArray(data) {}

GeometryDataIndex::GeometryDataIndex(const GeometryDataIndex& other)
    : IResource(other), fIndexArray(copyOf(other.indexArray(), other.fIndicesCount)),
      fIndicesCount(other.fIndicesCount), fUniqueID(nextUniqueID++), fDrawPrimitive(other.fDrawPrimitive),
      fBoundingBox(other.fBoundingBox), fBoundingSphere(other.fBoundingSphere),
      fDataPtrArray(other.fDataPtrArray) {}

GeometryDataIndex& GeometryDataIndex::operator=(const GeometryDataIndex& other) {
    if (this == &other) {
        return *this;
    }
    std::unique_ptr<unsigned int[]> indexArray = copyOf(other.indexArray(), other.fIndicesCount);
    std::vector<const GeometryData*> data = other.fDataPtrArray;
    IResource::operator=(other);
    fIndexArray = std::move(indexArray);
    fIndicesCount = other.fIndicesCount;
    fDrawPrimitive = other.fDrawPrimitive;
    fBoundingBox = other.fBoundingBox;
    fBoundingSphere = other.fBoundingSphere;
    fDataPtrArray = std::move(data);
    return *this;
}

GeometryDataIndex::~GeometryDataIndex() = default;
