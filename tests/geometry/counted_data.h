#pragma once

#include "geometry/GeometryDataIndex.h"

#include <algorithm>
#include <cstddef>
#include <vector>

/// An attribute array of float triples that tells how many of its kind are alive.
class CountedData : public GeometryData {
public:
    explicit CountedData(const char* name, DataType type = kVertexData, unsigned int count = 4,
                         ElementSize size = kThreeElements)
        : GeometryData(name, type, kFloatElement, size, count, new float[std::size_t(count) * size]()) {
        ++fsAlive;
    }
    static inline int fsAlive = 0;

protected:
    ~CountedData() override { --fsAlive; }
};

class CountedIndex : public GeometryDataIndex {
public:
    explicit CountedIndex(const std::vector<const GeometryData*>& data,
                          std::vector<unsigned int> indices = {2, 0})
        : GeometryDataIndex(kTriangles, static_cast<unsigned int>(indices.size()), data,
                            new unsigned int[indices.size()]) {
        std::copy(indices.begin(), indices.end(), indexArray());
        ++fsAlive;
    }
    static inline int fsAlive = 0;

protected:
    ~CountedIndex() override { --fsAlive; }
};

/// With one reference, the caller's.
template <class Shared>
Shared* referenced(Shared* object) {
    object->ref();
    return object;
}
