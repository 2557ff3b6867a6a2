#pragma once

#include "core/IResource.h"
#include "geometry/GeometryData.h"
#include "geometry/GeometryDataIndex.h"

#include <memory>
#include <string>
#include <vector>

/// A particle system as it is drawn: attribute arrays, one size and colour, and the order in which
/// to draw.
///
///     auto* smoke = new ParticleData(ParticleData::kPoint, 2.0F, positions, velocities,
///                                    nullptr, nullptr, nullptr);
///     smoke->ref();
///     smoke->sortByDepth(objectToEye, nullptr, 0);
///     ParticleDataIterator it(*smoke, smoke->getIndexing(), smoke->getIndexCount());
///     for (; !it.isDone(); it.next()) { draw(it.position()); }
///
/// The arrays of the constructor are counted: the caller keeps its own references. Every copy has
/// its own order and takes its own references. Positions, velocities and normals are three floats
/// each, alphas one.
///
/// Constructors, copies and `addData` throw std::bad_alloc when memory runs out, with nothing changed
/// and every reference where it was.
///
/// On purpose: the reference count is copied and assigned along with everything else, so that whoever
/// assigns to particle data that has owners sets its count right.
class QV_EXPORT ParticleData : public IResource {
public:
    /// How the particles are drawn. The library looks only at the two types with several positions
    /// per particle.
    enum ParticleType : int {
        kPoint = 0,
        kMultiPoint = 1, ///< several positions per particle
        kStreak = 2,
        kMultiStreak = 3, ///< several positions per particle
        kSprite,
        kSphere,
        kTube,
    };

    /// How the particles are blended. The library stores it without looking at it.
    enum ParticleBlend : int {
        kNoBlend = 0,
        kAlphaBlend,
        kAdditiveBlend,
    };

    /// The arrays get the numbers 0 (positions), 1 (velocities) and then, for those that are not
    /// null, the next free ones in the order of the arguments.
    ParticleData(const ParticleType& type, float size, GeometryData& positions, GeometryData& velocities,
                 GeometryData* normals, GeometryData* colors, GeometryData* alphas);
    ParticleData(const ParticleData& other);
    ParticleData& operator=(const ParticleData& other);
    ~ParticleData() override;

    /// How the particles are drawn.
    ParticleType particleType() const { return fParticleType; }

    /// The depth order, null when not sorted. With chosen indices it holds positions in those
    /// indices, and as many entries as were chosen.
    const unsigned int* getIndexing() const { return fIndexing.get(); }
    /// The number of positions that were there to sort, also when the sort could not be done; 0
    /// before a sort and after `removeSortByDepth`. On purpose: it counts the positions after a sort of
    /// chosen indices as well, so that the order may have fewer entries than this says.
    unsigned int getIndexCount() const { return fIndexCount; }

    /// The size of a particle, in the units of the positions.
    float size() const { return fSize; }
    /// Sets the size.
    void setSize(float size) { fSize = size; }
    /// Red, green, blue, alpha; opaque white at first.
    const float* color() const { return fColor; }
    /// Copies four floats; null is ignored.
    void setColor(const float* rgba);
    /// How the particles are blended.
    ParticleBlend blendType() const { return fBlendType; }
    /// Sets how they are blended.
    void setBlendType(ParticleBlend blend) { fBlendType = blend; }

    /// Whether there is a depth order.
    bool isSortedByDepth() const { return fSortedByDepth; }
    /// A request to whoever draws; the library only stores it.
    bool wantDepthSort() const { return fWantDepthSort; }
    /// Sets the request.
    void setWantDepthSort(bool want) { fWantDepthSort = want; }

    /// The primitive with which the particles are drawn; points at first.
    GeometryDataIndex::DrawPrimitiveType drawType() const { return fDataIndex->drawPrimitive(); }
    /// Sets that primitive.
    void setDrawType(GeometryDataIndex::DrawPrimitiveType type) { fDataIndex->setDrawPrimitive(type); }

    /// Appends an array and takes over the caller's reference, unless it throws.
    void addData(const GeometryData& data);
    /// The number of the first array with exactly this object name; -1 when there is none. Linear
    /// in the number of arrays.
    int getDataIndex(const std::string& name) const;
    /// The array with this number; null when there is none.
    const GeometryData* getData(unsigned int number) const;

    /// Replaces the order by that of ascending depth, as `DepthSorter::sortByDepth` finds it for the
    /// positions, or for those among them that `indices` names, which may be the order so far. Nothing is
    /// sorted, and `isSortedByDepth()` is false, without positions or chosen indices, without position data
    /// or when its elements are smaller than three floats, and when memory runs out.
    void sortByDepth(const qvLinear::ProjMatrix& m, const unsigned int* indices, unsigned int count);
    /// Drops the order.
    void removeSortByDepth();

private:
    friend class ParticleDataIterator;

    int appendOptional(GeometryData* data);
    void refArrays();
    void swap(ParticleData& other);

    struct Unref {
        void operator()(GeometryDataIndex* index) const { index->unref(); }
    };

    /// Positions in `fDataArrays`; -1 for an array that is absent.
    enum : int { kPositions = 0, kVelocities = 1 };

    ParticleType fParticleType;
    ParticleBlend fBlendType = kNoBlend;
    std::unique_ptr<unsigned int[]> fIndexing;
    unsigned int fIndexCount = 0;
    unsigned int fIndexingLength = 0; ///< the number of entries in `fIndexing`
    bool fSortedByDepth = false;
    bool fWantDepthSort = false;
    std::vector<GeometryData*> fDataArrays; ///< one reference each
    std::unique_ptr<GeometryDataIndex, Unref> fDataIndex;
    float fSize;
    float fColor[4] = {1, 1, 1, 1};
    int fNormals = -1;
    int fColors = -1;
    int fAlphas = -1;
};
