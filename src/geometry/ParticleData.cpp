#include "geometry/ParticleData.h"

#include "geometry/DepthSorter.h"
#include "geometry/NothrowArray.h"

#include <algorithm>
#include <new>
#include <utility>

namespace {

/// Whether three floats can be read from every element. Of element types outside the table only the
/// host knows.
bool holdsFloatTriples(const GeometryData& data) {
    const unsigned int size = data.elementTypeSize();
    return size == 0 || data.elementSize() >= int((3 * sizeof(float) + size - 1) / size);
}

/// An index object for arrays without indices; its reference count is 0. Made by hand, because a `new`
/// whose constructor throws would lose the storage of a shared object.
GeometryDataIndex* makeIndex(GeometryDataIndex::DrawPrimitiveType type,
                             const std::vector<const GeometryData*>& data) {
    void* const storage = ::operator new(sizeof(GeometryDataIndex));
    try {
        return new (storage) GeometryDataIndex(type, 0, data, nullptr);
    } catch (...) {
        ::operator delete(storage);
        throw;
    }
}

} // namespace

// The constructors take their references last, when nothing can fail any more.

ParticleData::ParticleData(const ParticleType& type, float size, GeometryData& positions,
                           GeometryData& velocities, GeometryData* normals, GeometryData* colors,
                           GeometryData* alphas)
    : fParticleType(type), fDataArrays{&positions, &velocities}, fSize(size) {
    fNormals = appendOptional(normals);
    fColors = appendOptional(colors);
    fAlphas = appendOptional(alphas);
    fDataIndex.reset(makeIndex(GeometryDataIndex::kPoints, {fDataArrays.begin(), fDataArrays.end()}));
    refArrays();
}

ParticleData::ParticleData(const ParticleData& other)
    : IResource(other), fParticleType(other.fParticleType), fBlendType(other.fBlendType),
      fIndexCount(other.fIndexCount), fSortedByDepth(other.fSortedByDepth),
      fWantDepthSort(other.fWantDepthSort), fDataArrays(other.fDataArrays),
      // Built anew: a copy of the index would start with the source's reference count.
      fDataIndex(makeIndex(other.drawType(), *other.fDataIndex->dataPtrArrayPtr())), fSize(other.fSize),
      fNormals(other.fNormals), fColors(other.fColors), fAlphas(other.fAlphas) {
    std::copy(std::begin(other.fColor), std::end(other.fColor), fColor);
    // The analyser does not see that fDataIndex owns what makeIndex returned.
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks)
    if (other.fIndexing) {
        fIndexing.reset(new unsigned int[other.fIndexingLength]);
        std::copy_n(other.fIndexing.get(), other.fIndexingLength, fIndexing.get());
        fIndexingLength = other.fIndexingLength;
    }
    refArrays();
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

/// The number of the array; -1 when it is null.
int ParticleData::appendOptional(GeometryData* data) {
    if (!data) {
        return -1;
    }
    fDataArrays.push_back(data);
    return static_cast<int>(fDataArrays.size()) - 1;
}

void ParticleData::refArrays() {
    for (GeometryData* data : fDataArrays) {
        data->ref();
    }
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
