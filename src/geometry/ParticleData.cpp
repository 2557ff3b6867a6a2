#include "geometry/ParticleData.h"

#include "geometry/DepthSorter.h"
#include "geometry/NothrowArray.h"

#include <algorithm>
#include <utility>

namespace {

/// Whether three floats can be read from every element. Of element types outside the table only the
/// host knows.
bool holdsFloatTriples(const GeometryData& data) {
    const unsigned int size = data.elementTypeSize();
    return size == 0 || data.elementSize() >= int((3 * sizeof(float) + size - 1) / size);
}

} // namespace

ParticleData::ParticleData(const ParticleType& type, float size, GeometryData& positions,
                           GeometryData& velocities, GeometryData* normals, GeometryData* colors,
                           GeometryData* alphas)
    : fParticleType(type), fSize(size) {
    append(positions);
    append(velocities);
    fNormals = appendOptional(normals);
    fColors = appendOptional(colors);
    fAlphas = appendOptional(alphas);
    const std::vector<const GeometryData*> data(fDataArrays.begin(), fDataArrays.end());
    // On purpose: its reference count stays 0.
    fDataIndex.reset(new GeometryDataIndex(GeometryDataIndex::kPoints, 0, data, nullptr));
}

ParticleData::ParticleData(const ParticleData& other)
    : IResource(other), fParticleType(other.fParticleType), fBlendType(other.fBlendType),
      fIndexCount(other.fIndexCount), fSortedByDepth(other.fSortedByDepth),
      fWantDepthSort(other.fWantDepthSort),
      // Built anew: a copy of the index would start with the source's reference count.
      fDataIndex(new GeometryDataIndex(other.drawType(), 0, *other.fDataIndex->dataPtrArrayPtr(), nullptr)),
      fSize(other.fSize), fNormals(other.fNormals), fColors(other.fColors), fAlphas(other.fAlphas) {
    std::copy(std::begin(other.fColor), std::end(other.fColor), fColor);
    if (other.fIndexing) {
        fIndexing.reset(new unsigned int[other.fIndexingLength]);
        std::copy_n(other.fIndexing.get(), other.fIndexingLength, fIndexing.get());
        fIndexingLength = other.fIndexingLength;
    }
    for (GeometryData* data : other.fDataArrays) {
        append(*data);
    }
}

ParticleData& ParticleData::operator=(const ParticleData& other) {
    if (this != &other) {
        ParticleData copy(other);
        IResource::operator=(other);
        swap(copy);
    }
    return *this;
}

ParticleData::~ParticleData() {
    fDataIndex.reset();
    for (GeometryData* data : fDataArrays) {
        data->unref();
    }
}

/// Exchanges everything but the resource base.
void ParticleData::swap(ParticleData& other) {
    std::swap(fParticleType, other.fParticleType);
    std::swap(fBlendType, other.fBlendType);
    std::swap(fIndexing, other.fIndexing);
    std::swap(fIndexCount, other.fIndexCount);
    std::swap(fIndexingLength, other.fIndexingLength);
    std::swap(fSortedByDepth, other.fSortedByDepth);
    std::swap(fWantDepthSort, other.fWantDepthSort);
    std::swap(fDataArrays, other.fDataArrays);
    std::swap(fDataIndex, other.fDataIndex);
    std::swap(fSize, other.fSize);
    std::swap(fColor, other.fColor);
    std::swap(fNormals, other.fNormals);
    std::swap(fColors, other.fColors);
    std::swap(fAlphas, other.fAlphas);
}

void ParticleData::append(GeometryData& data) {
    fDataArrays.push_back(&data);
    data.ref();
}

/// The number of the array; -1 when it is null.
int ParticleData::appendOptional(GeometryData* data) {
    if (!data) {
        return -1;
    }
    append(*data);
    return static_cast<int>(fDataArrays.size()) - 1;
}

void ParticleData::setColor(const float* rgba) {
    if (rgba) {
        std::copy_n(rgba, 4, fColor);
    }
}

void ParticleData::addData(const GeometryData& data) {
    fDataArrays.push_back(const_cast<GeometryData*>(&data));
}

int ParticleData::getDataIndex(const std::string& name) const {
    for (std::size_t i = 0; i < fDataArrays.size(); ++i) {
        if (name == fDataArrays[i]->objectName()) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

const GeometryData* ParticleData::getData(unsigned int number) const {
    return number < fDataArrays.size() ? fDataArrays[number] : nullptr;
}

void ParticleData::sortByDepth(const qvLinear::ProjMatrix& m, const unsigned int* indices,
                               unsigned int count) {
    // Kept to the end, because `indices` may be the order so far.
    const std::unique_ptr<unsigned int[]> previous = std::move(fIndexing);
    removeSortByDepth();
    const GeometryData& positions = *fDataArrays[kPositions];
    fIndexCount = positions.elementCount();
    const unsigned int length = indices ? count : fIndexCount;
    if (fIndexCount == 0 || length == 0 || !holdsFloatTriples(positions)) {
        return;
    }
    std::unique_ptr<unsigned int[]> order = makeNothrowArray<unsigned int>(length);
    if (order && DepthSorter::sortByDepth(m, order.get(), fIndexCount,
                                          static_cast<const float*>(positions.data()), indices, count)) {
        fIndexing = std::move(order);
        fIndexingLength = length;
        fSortedByDepth = true;
    }
}

void ParticleData::removeSortByDepth() {
    fIndexing.reset();
    fIndexingLength = 0;
    fIndexCount = 0;
    fSortedByDepth = false;
}
