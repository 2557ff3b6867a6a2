#pragma once

#include "base/Export.h"
#include "base/qvLinear.h"

#include <vector>

/// What takes part in bounding and culling: volumes that enclose things and the frustum that they
/// are tested against. All coordinates of one test are in one common space.
///
/// Beside the type of a bound, the class offers helpers for closed intervals, each held as an
/// array of two floats {low, high}:
///
///     float a[2] = {0, 1}, b[2] = {1, 2}, both[2];
///     box.intersects(a, b);      // true: touching intervals intersect
///     box.unionOf(a, b, both);   // {0, 2}
class QV_EXPORT IBounds {
public:
    /// What an object is. On purpose: no class uses the values 0 to 3, which hosts never see.
    enum BoundsType : int {
        kInvalidBoundsType = -1,
        kAABoundingBoxType = 4,
        kBoundingSphereType = 5,
        kFrustumType = 6,
    };

    /// The question that `classify(type, other)` asks of this object and the other one. Any other
    /// value is answered with false.
    enum IntersectType : int {
        kOutside = 0,   ///< does the other lie outside this one (disjoint from it)?
        kInside = 1,    ///< does the other lie inside this one?
        kIntersect = 2, ///< do they touch or overlap (a point: does it lie on the surface)?
    };

    /// Whether the object encloses anything at all.
    virtual bool isValid() const = 0;
    /// Makes the object empty.
    virtual void setInvalid() = 0;

protected:
    virtual ~IBounds();

public:
    IBounds(const IBounds& other);
    IBounds& operator=(const IBounds& other);

    /// What kind of bounds this is.
    BoundsType boundsType() const { return fBoundsType; }

    /// A setting that hosts share, initially -1. The library only stores it: the helpers below take
    /// their tolerance as an argument.
    static float tolerance();
    /// Sets that setting.
    static void setTolerance(float tolerance);

    /// Whether low <= v <= high.
    bool contains(float low, float high, float v) const { return low <= v && v <= high; }
    /// Whether low - tol <= v <= high + tol.
    bool contains(float low, float high, float v, float tol) const {
        return low - tol <= v && v <= high + tol;
    }
    /// Whether `v` lies in the interval `range`.
    bool contains(const float* range, float v) const { return contains(range[0], range[1], v); }
    /// Whether `v` lies in the interval `range`, widened by `tol` at both ends.
    bool contains(const float* range, float v, float tol) const {
        return contains(range[0], range[1], v, tol);
    }

    /// On purpose: it is the FIRST interval that is looked for within the second, so that
    /// `contains({1, 2}, {0, 5})` is true.
    bool contains(const float* a, const float* b) const { return b[0] <= a[0] && a[1] <= b[1]; }
    /// Whether the first interval lies within the second when that is widened by `tol` at both ends.
    bool contains(const float* a, const float* b, float tol) const {
        return b[0] - tol <= a[0] && a[1] <= b[1] + tol;
    }

    /// Whether the intervals have a point in common.
    bool intersects(const float* a, const float* b) const { return a[0] <= b[1] && b[0] <= a[1]; }
    /// Whether they have a point in common when the second is widened by `tol` at both ends.
    bool intersects(const float* a, const float* b, float tol) const {
        return a[0] <= b[1] + tol && b[0] - tol <= a[1];
    }

    /// The common part, which is empty (low above high) for disjoint intervals. `out` may be `a` or
    /// `b`.
    void intersection(const float* a, const float* b, float* out) const;
    /// The smallest interval around both. `out` may be `a` or `b`.
    void unionOf(const float* a, const float* b, float* out) const;
    /// Whether both ends are exactly the same.
    bool equal(const float* a, const float* b) const { return a[0] == b[0] && a[1] == b[1]; }

protected:
    /// An object of type `kInvalidBoundsType`.
    IBounds() = default;
    /// An object of that type.
    explicit IBounds(BoundsType type) : fBoundsType(type) {}

private:
    BoundsType fBoundsType = kInvalidBoundsType;

    static float fsTolerance;
};

/// A volume that encloses points: it grows, moves, and tells its extent.
class QV_EXPORT IBoundingVolume : public IBounds {
public:
    IBoundingVolume(const IBoundingVolume& other);
    IBoundingVolume& operator=(const IBoundingVolume& other);

protected:
    ~IBoundingVolume() override;

public:
    /// Replaces the volume by one around its image under `m`.
    virtual void transform(const qvLinear::AffineMatrix& m) = 0;
    /// Grows the volume so that it contains `p`.
    virtual void addPoint(const qvLinear::PointFlt& p) = 0;
    /// Adds the points one after the other.
    virtual void addPoints(const std::vector<qvLinear::PointFlt>& points) = 0;
    /// The middle of the volume.
    virtual qvLinear::PointFlt center() const = 0;
    /// The distance from the middle to the farthest point.
    virtual float radius() const = 0;
    /// The lowest coordinates on each axis.
    virtual qvLinear::PointFlt min() const = 0;
    /// The highest coordinates on each axis.
    virtual qvLinear::PointFlt max() const = 0;

protected:
    IBoundingVolume() = default;
    /// An object of that type.
    explicit IBoundingVolume(BoundsType type) : IBounds(type) {}
};

/// A bounding volume that can be merged with any other of its kind; the box and the sphere are.
class QV_EXPORT IBoundingPlanes : public IBoundingVolume {
public:
    IBoundingPlanes(const IBoundingPlanes& other);
    IBoundingPlanes& operator=(const IBoundingPlanes& other);

protected:
    IBoundingPlanes() = default;
    /// An object of that type.
    explicit IBoundingPlanes(BoundsType type) : IBoundingVolume(type) {}
    ~IBoundingPlanes() override;
};
