#include "geometry/ParticleDataIterator.h"

#include <algorithm>

ParticleDataIterator::ParticleDataIterator(const ParticleDataIterator& other) = default;
ParticleDataIterator& ParticleDataIterator::operator=(const ParticleDataIterator& other) = default;
ParticleDataIterator::~ParticleDataIterator() = default;

void ParticleDataIterator::reset(const ParticleData& data, const unsigned int* filter,
                                 unsigned int filterCount) {
    fData = &data;
    setFilter(filter, filterCount);
    fPosition = 0;

    const GeometryData& positions = *data.fDataArrays[ParticleData::kPositions];
    const GeometryData& velocities = *data.fDataArrays[ParticleData::kVelocities];
    fPositions = positions.data();
    if (data.fParticleType == ParticleData::kMultiPoint || data.fParticleType == ParticleData::kMultiStreak) {
        fCount = velocities.elementCount();
        fMultiCount = fCount ? positions.elementCount() / fCount : 1;
    } else if (!filter) {
        fCount = positions.elementCount();
    }
    fVelocities = velocities.data();

    const auto optional = [&](int number) { return number > 0 ? data.getData(number) : nullptr; };
    const GeometryData* normals = optional(data.fNormals);
    const GeometryData* colors = optional(data.fColors);
    const GeometryData* alphas = optional(data.fAlphas);
    fNormals = normals ? normals->data() : nullptr;
    fColors = colors ? colors->data() : nullptr;
    fColorSize = colors ? colors->elementSize() : 0;
    fAlphas = alphas ? alphas->data() : nullptr;
}

void ParticleDataIterator::setFilter(const unsigned int* filter, unsigned int filterCount) {
    // An order of chosen indices may have fewer entries than getIndexCount() says.
    const bool ownOrder = filter && filter == fData->getIndexing();
    fFilter = filter;
    fFilterCount = ownOrder ? std::min(filterCount, fData->fIndexingLength) : filterCount;
    fCount = filter ? fFilterCount : 0;
}

void ParticleDataIterator::useParticleDataFilter() {
    setFilter(fData->getIndexing(), fData->getIndexCount());
}

void* ParticleDataIterator::userData(unsigned int number) const {
    const GeometryData* data = fData->getData(number);
    return data ? address(data->data(), std::size_t(data->elementSize()) * data->elementTypeSize()) : nullptr;
}
