#include "geometry/ParticleDataIterator.h"

#include <algorithm>

namespace {

bool severalPositions(const ParticleData& data) {
    return data.particleType() == ParticleData::kMultiPoint ||
           data.particleType() == ParticleData::kMultiStreak;
}

} // namespace

ParticleDataIterator::ParticleDataIterator(const ParticleDataIterator& other) = default;
ParticleDataIterator& ParticleDataIterator::operator=(const ParticleDataIterator& other) = default;
ParticleDataIterator::~ParticleDataIterator() = default;

void ParticleDataIterator::reset(const ParticleData& data, const unsigned int* filter,
                                 unsigned int filterCount) {
    const GeometryData& positions = *data.fDataArrays[ParticleData::kPositions];
    const GeometryData& velocities = *data.fDataArrays[ParticleData::kVelocities];
    const unsigned int positionCount = positions.elementCount();
    const bool several = severalPositions(data);
    const unsigned int particleCount = several ? velocities.elementCount() : positionCount;

    fData = &data;
    fMultiCount = several && particleCount ? positionCount / particleCount : 1;
    fOrderMultiple = std::max(fMultiCount, 1U);
    fLastParticle = std::max(particleCount, 1U) - 1;
    fLastPosition = std::max(positionCount, 1U) - 1;
    setFilter(filter, filterCount);
    fPosition = 0;
    fCountsVelocities = several;
    if (several || !filter) {
        fCount = particleCount;
    }

    const auto optional = [&](int number) { return number > 0 ? data.getData(number) : nullptr; };
    const GeometryData* normals = optional(data.fNormals);
    const GeometryData* colors = optional(data.fColors);
    const GeometryData* alphas = optional(data.fAlphas);
    fPositions = positions.data();
    fVelocities = velocities.data();
    fNormals = normals ? normals->data() : nullptr;
    fColors = colors ? colors->data() : nullptr;
    fColorSize = colors ? colors->elementSize() : 0;
    fAlphas = alphas ? alphas->data() : nullptr;
}

void ParticleDataIterator::setFilter(const unsigned int* filter, unsigned int filterCount) {
    if (filter && filter == fData->getIndexing()) {
        walkOwnOrder(filterCount);
        return;
    }
    fOwnOrder = false;
    fFilter = filter;
    fFilterCount = filter ? filterCount : 0;
    fCount = fFilterCount;
}

void ParticleDataIterator::useParticleDataFilter() {
    walkOwnOrder(fData->fDataArrays[ParticleData::kPositions]->elementCount());
}

void ParticleDataIterator::walkOwnOrder(unsigned int most) {
    const bool noParticles =
        severalPositions(*fData) && fData->fDataArrays[ParticleData::kVelocities]->elementCount() == 0;
    fOwnOrder = true;
    fCountsVelocities = false;
    fFilter = nullptr;
    fFilterCount = 0;
    fCount = noParticles ? 0 : most;
}

unsigned int ParticleDataIterator::ownOrderCount() const {
    const unsigned int length = fData->fIndexingLength;
    return fCountsVelocities && length ? fCount : std::min(fCount, length);
}

void* ParticleDataIterator::userData(unsigned int number) const {
    const GeometryData* data = fData->getData(number);
    if (!data) {
        return nullptr;
    }
    const bool byPosition = fOwnOrder && number == ParticleData::kPositions;
    return address(data->data(), byPosition ? ownPosition() : particle(),
                   std::size_t(data->elementSize()) * data->elementTypeSize());
}
