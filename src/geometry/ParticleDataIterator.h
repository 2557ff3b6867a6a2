#pragma once

#include "geometry/ParticleData.h"

#include <algorithm>
#include <cstdint>

/// Walks particles, all of them or those that a filter names, and hands out the addresses of the
/// current particle's attributes. It owns nothing and must not outlive the particle data.
///
///     ParticleDataIterator it(smoke, nullptr, 0);
///     for (it.useParticleDataFilter(); !it.isDone(); it.next()) { draw(it.position(), it.color()); }
///
/// The data's own depth order is read as it stands at each step: after another sort the walk goes on
/// through the new order, and after `removeSortByDepth` it is at its end. For types with several
/// positions per particle that order counts positions. The walk is then over positions: `index()` is
/// the number of a position, `position()` and `userData(0)` belong to that position, and all other
/// attributes are those of the particle that it belongs to (the last one for positions left over).
/// Numbers in an order that no position has, as a sort of chosen indices may leave them, count as the
/// last position.
///
/// An attribute whose array has no data gives an address counted from null, not to be used.
class QV_EXPORT ParticleDataIterator {
public:
    /// @param filter      the numbers of the particles to walk, not owned; null: all; or the data's own
    ///                    depth order
    /// @param filterCount the number of entries in `filter`; of the data's own depth order no more
    ///                    than it has are walked
    ParticleDataIterator(const ParticleData& data, const unsigned int* filter, unsigned int filterCount) {
        reset(data, filter, filterCount);
    }
    ParticleDataIterator(const ParticleDataIterator& other);
    ParticleDataIterator& operator=(const ParticleDataIterator& other);
    virtual ~ParticleDataIterator();

    /// Starts again. On purpose: with several positions per particle `count()` is the number of
    /// velocities whatever the filter, so that behind the end of a shorter filter the numbers go on with
    /// that of the step.
    void reset(const ParticleData& data, const unsigned int* filter, unsigned int filterCount);
    /// Goes back to the first particle of the walk.
    void reset() { fPosition = 0; }
    /// On purpose: the step has no bound, so that it counts on behind the end.
    void next() { ++fPosition; }
    /// Whether the end is reached.
    bool isDone() const { return fPosition >= count(); }
    /// The number of particles that are walked; of positions in a walk over positions.
    unsigned int count() const { return fOwnOrder ? ownOrderCount() : fCount; }
    /// The positions per particle; 1 for types with one position.
    unsigned int multiCount() const { return fMultiCount; }

    /// Walks what `filter` names from here on. On purpose: a null filter empties the walk, so that only
    /// a `reset` brings all particles back.
    void setFilter(const unsigned int* filter, unsigned int filterCount);
    /// Walks the particle data's depth order; nothing when it is not sorted, or when there are several
    /// positions per particle but no particles.
    void useParticleDataFilter();

    /// The number of the current particle, or of the position in a walk over positions; the number of
    /// the step behind the end of a filter.
    unsigned int index() const {
        const unsigned int* filter = fOwnOrder ? fData->fIndexing.get() : fFilter;
        const unsigned int length = fOwnOrder ? fData->fIndexingLength : fFilterCount;
        return fPosition < length ? filter[fPosition] : fPosition;
    }

    /// The first position of the current particle, which has `multiCount()` of them.
    void* position() const {
        return fOwnOrder ? address(fPositions, ownPosition(), kTripleSize)
                         : address(fPositions, index(), std::size_t(fMultiCount) * kTripleSize);
    }
    /// The current particle's velocity.
    void* velocity() const { return address(fVelocities, particle(), kTripleSize); }
    /// Null without normals.
    void* normal() const { return fNormals ? address(fNormals, particle(), kTripleSize) : nullptr; }
    /// Null without colours.
    void* color() const {
        return fColors ? address(fColors, particle(), std::size_t(fColorSize) * 4) : nullptr;
    }
    /// Null without alphas. On purpose: null without COLOURS as well, so that alphas alone are found
    /// through `alphaData()` only.
    void* alpha() const { return fColors && fAlphas ? address(fAlphas, particle(), 4) : nullptr; }
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

    // Computed as a number, because the base may be null. NOLINTBEGIN(performance-no-int-to-ptr)
    static void* address(void* base, std::size_t element, std::size_t stride) {
        return reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(base) + element * stride);
    }
    // NOLINTEND(performance-no-int-to-ptr)

    /// Whose attributes are handed out.
    unsigned int particle() const {
        return fOwnOrder ? std::min(index() / fOrderMultiple, fLastParticle) : index();
    }
    /// In a walk through the data's own order: which position is handed out.
    unsigned int ownPosition() const { return std::min(index(), fLastPosition); }
    unsigned int ownOrderCount() const;
    void walkOwnOrder(unsigned int most);

    const ParticleData* fData;
    bool fOwnOrder;              ///< the filter is the data's own order, which may be replaced
    bool fCountsVelocities;      ///< in the data's own order: `fCount` holds whatever its length
    const unsigned int* fFilter; ///< the host's own; null when there is none
    unsigned int fFilterCount;   ///< 0 when there is none
    unsigned int fPosition;      ///< the number of the step
    unsigned int fCount;         ///< for the data's own order the most steps that it may have
    unsigned int fMultiCount = 1;
    unsigned int fOrderMultiple; ///< entries of the data's own order for one particle; 1 or more
    unsigned int fLastParticle;
    unsigned int fLastPosition;
    unsigned int fColorSize; ///< components per colour
    void* fPositions;
    void* fVelocities;
    void* fNormals;
    void* fColors;
    void* fAlphas;
};
