#pragma once

#include "geometry/IBounds.h"

class AABoundingBox;
class Frustum;
class GeometryDataIndex;

/// A sphere around a centre. A plain value; valid when its radius is 0 or more.
///
/// A new sphere is the valid point sphere at the origin, so a sphere is set before it grows:
///
///     BoundingSphere sphere(points.front(), 0);
///     sphere.addPoints(points);
///
/// Lengths are compared in double.
class QV_EXPORT BoundingSphere : public IBoundingPlanes {
public:
    /// Radius 0 at the origin: on purpose valid, unlike a new box.
    BoundingSphere();
    /// The values as given, unchecked.
    BoundingSphere(const qvLinear::PointFlt& center, float radius);
    /// The other's centre and radius; the point sphere at the origin when `other` is invalid.
    explicit BoundingSphere(const IBoundingPlanes& other);
    /// On purpose: only the type is set; the bounds of an index array are its owner's to compute.
    explicit BoundingSphere(const GeometryDataIndex& index);
    BoundingSphere(const BoundingSphere& other);
    BoundingSphere& operator=(const BoundingSphere& other);
    ~BoundingSphere() override;

    bool isValid() const override;
    /// Sets the radius to -1 and leaves the centre. Set a radius before adding points again: on
    /// purpose they are compared with the square of the radius, which is 1.
    void setInvalid() override;
    /// Moves the centre; the radius grows by the longest row of the linear part.
    void transform(const qvLinear::AffineMatrix& m) override;
    /// Grows the sphere by a point outside it. On purpose: the centre moves towards `p` by the whole
    /// distance that is missing, and the result need not contain the old sphere.
    void addPoint(const qvLinear::PointFlt& p) override;
    void addPoints(const std::vector<qvLinear::PointFlt>& points) override;
    qvLinear::PointFlt center() const override;
    float radius() const override;
    /// The corners of the enclosing cube, whether or not the sphere is valid.
    qvLinear::PointFlt min() const override;
    qvLinear::PointFlt max() const override;

    /// Sets centre and radius.
    void set(const qvLinear::PointFlt& center, float radius);
    /// Sets the centre.
    void setCenter(const qvLinear::PointFlt& center) { fCenter = center; }
    /// Sets the radius.
    void setRadius(float radius) { fRadius = radius; }
    /// On purpose: does nothing, as the constructor from an index array.
    void set(const GeometryDataIndex& index);

    /// A cheap merge: the middle of both centres and the sum of both radii, valid or not. On
    /// purpose: it is not the smallest sphere around both.
    BoundingSphere operator+(const IBoundingPlanes& other) const;
    /// The same in place.
    BoundingSphere& operator+=(const IBoundingPlanes& other);

    /// Inside and outside: strictly. Intersect: the squares of distance and radius differ by no
    /// more than 1e-5.
    bool classify(IntersectType type, const qvLinear::PointFlt& p) const;
    /// The box's answer to the same question about this sphere: on purpose only intersect can be
    /// true.
    bool classify(IntersectType type, const AABoundingBox& box) const;
    /// Inside: within this sphere. Intersect: a common point. Outside: neither.
    bool classify(IntersectType type, const BoundingSphere& sphere) const;
    /// Always false: it is the frustum that classifies volumes.
    bool classify(IntersectType type, const Frustum& frustum) const;

private:
    qvLinear::PointFlt fCenter;
    float fRadius = 0;
};
