#pragma once

#include "geometry/ParticleData.h"

#include <cstdint>

/// Walks particles, all of them or those that a filter names, and hands out the addresses of the
/// current particle's attributes. It owns nothing and must not outlive the particle data.
///
///     ParticleDataIterator it(smoke, nullptr, 0);
///     for (it.useParticleDataFilter(); !it.isDone(); it.next()) { draw(it.position(), it.color()); }
///
/// An attribute whose array has no data gives an address counted from null, not to be used.
class QV_EXPORT ParticleDataIterator {
public:
    /// @param filter      the numbers of the particles to walk, not owned; null: all
    /// @param filterCount the number of entries in `filter`; of the data's own depth order no more
    ///                    than it has
    ParticleDataIterator(const ParticleData& data, const unsigned int* filter, unsigned int filterCount) {
        reset(data, filter, filterCount);
    }
    ParticleDataIterator(const ParticleDataIterator& other);
    ParticleDataIterator& operator=(const ParticleDataIterator& other);
    virtual ~ParticleDataIterator();

    /// Starts again. With several positions per particle, `count()` is the number of velocities,
    /// whatever the filter, and `multiCount()` the positions for each. On purpose: for other types
    /// `multiCount()` is left as it was.
    void reset(const ParticleData& data, const unsigned int* filter, unsigned int filterCount);
    /// Goes back to the first particle of the walk.
    void reset() { fPosition = 0; }
    /// On purpose without a bound.
    void next() { ++fPosition; }
    /// Whether the end is reached.
    bool isDone() const { return fPosition >= fCount; }
    /// The number of particles that are walked.
    unsigned int count() const { return fCount; }
    /// The positions per particle; 1 at first.
    unsigned int multiCount() const { return fMultiCount; }

    /// Walks what `filter` names from here on. On purpose: a null filter empties the walk.
    void setFilter(const unsigned int* filter, unsigned int filterCount);
    /// Walks the particle data's depth order; nothing when it is not sorted.
    void useParticleDataFilter();

    /// The number of the current particle; the position itself behind the end of a filter.
    unsigned int index() const {
        return fFilter && fPosition < fFilterCount ? fFilter[fPosition] : fPosition;
    }

    /// The first position of the current particle, which has `multiCount()` of them.
    void* position() const { return address(fPositions, std::size_t(fMultiCount) * kTripleSize); }
    /// The current particle's velocity.
    void* velocity() const { return address(fVelocities, kTripleSize); }
    /// Null without normals.
    void* normal() const { return fNormals ? address(fNormals, kTripleSize) : nullptr; }
    /// Null without colours.
    void* color() const { return fColors ? address(fColors, std::size_t(fColorSize) * 4) : nullptr; }
    /// On purpose: null without COLOURS, whether or not there are alphas.
    void* alpha() const { return fColors ? address(fAlphas, 4) : nullptr; }
    /// The current particle's element of the array with this number; null when there is none.
    void* userData(unsigned int number) const;

    /// The whole array of positions.
    void* positionData() const { return fPositions; }
    /// The whole array of velocities.
    void* velocityData() const { return fVelocities; }
    /// The whole array of normals; may be null.
    void* normalData() const { return fNormals; }
    /// The whole array of colours; may be null.
    void* colorData() const { return fColors; }
    /// The whole array of alphas; may be null.
    void* alphaData() const { return fAlphas; }

private:
    static constexpr std::size_t kTripleSize = 3 * sizeof(float);

    // Computed as a number, because the base may be null.
    void* address(void* base, std::size_t stride) const {
        return reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(base) + index() * stride);
    }

    const ParticleData* fData;
    const unsigned int* fFilter;
    unsigned int fFilterCount;
    unsigned int fPosition;
    unsigned int fCount;
    unsigned int fMultiCount = 1;
    unsigned int fColorSize; ///< components per colour
    void* fPositions;
    void* fVelocities;
    void* fNormals;
    void* fColors;
    void* fAlphas;
};
