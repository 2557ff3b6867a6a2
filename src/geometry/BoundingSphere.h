#pragma once

#include "geometry/IBounds.h"

class AABoundingBox;
class Frustum;
class GeometryDataIndex;

/// A sphere around a centre. A plain value; valid when its radius is 0 or more.
///
/// A new sphere is the valid point sphere at the origin, so a sphere is set or emptied before it
/// grows:
///
///     BoundingSphere sphere;
///     sphere.setInvalid();                           // empty, as `enclose` sees it
///     for (const auto& p : points) { sphere.enclose(p); } // contains all of them at the end
///
/// `addPoint` and `+` are cheaper, but what they give need not contain what was there before.
/// Lengths are compared in double.
class QV_EXPORT BoundingSphere : public IBoundingPlanes {
public:
    /// Radius 0 at the origin. On purpose: a new sphere is valid, unlike a new box, so that what is
    /// added to it grows from the origin.
    BoundingSphere();
    /// The values as given, unchecked.
    BoundingSphere(const qvLinear::PointFlt& center, float radius);
    /// The other's centre and radius; the point sphere at the origin when `other` is invalid.
    explicit BoundingSphere(const IBoundingPlanes& other);
    /// On purpose: the index array is not looked at, and the result is the point sphere at the
    /// origin; the bounds of an index array are its owner's to compute.
    explicit BoundingSphere(const GeometryDataIndex& index);
    BoundingSphere(const BoundingSphere& other);
    BoundingSphere& operator=(const BoundingSphere& other);
    ~BoundingSphere() override;

    bool isValid() const override;
    /// Sets the radius to -1 and leaves the centre. On purpose: `addPoint` compares with the square of
    /// the radius, which is then 1, so that a point nearer than that leaves the sphere invalid; `set`
    /// it first, or use `enclose`.
    void setInvalid() override;
    /// Maps the centre; the radius is multiplied by the length of the longest row of the linear part.
    /// An invalid sphere stays invalid.
    void transform(const qvLinear::AffineMatrix& m) override;
    /// Grows the sphere by a point outside it. On purpose: the centre moves towards `p` by the whole
    /// distance that is missing, so that the result need not contain the old sphere; `enclose` does.
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
    /// On purpose: the index array is not looked at, so that the sphere stays as it is.
    void set(const GeometryDataIndex& index);

    /// Replaces the sphere by the smallest one around itself and `p`, up to rounding, which is always
    /// outwards: `classify` finds the point not outside and the old sphere inside. An invalid sphere
    /// becomes the point; a point with a coordinate that is not a number counts for nothing.
    void enclose(const qvLinear::PointFlt& p);
    /// Replaces the sphere by the smallest one around itself and `sphere` in the same way. An invalid
    /// sphere on either side counts for nothing.
    void enclose(const BoundingSphere& sphere);

    /// A cheap merge: the middle of both centres and the sum of both radii. On purpose: neither
    /// validity nor distance is looked at, so that the result need not contain both spheres and may be
    /// larger than needed; `enclose` bounds.
    BoundingSphere operator+(const IBoundingPlanes& other) const;
    /// Replaces this sphere by the cheap merge of both.
    BoundingSphere& operator+=(const IBoundingPlanes& other);

    /// Inside and outside: strictly. Intersect: the squares of distance and radius differ by no
    /// more than 1e-5.
    bool classify(IntersectType type, const qvLinear::PointFlt& p) const;
    /// The box's answer to the same question about this sphere. On purpose: only intersect can be
    /// true, so that a box inside the sphere gets false for inside.
    bool classify(IntersectType type, const AABoundingBox& box) const;
    /// Inside: within this sphere. Intersect: a common point. Outside: neither.
    bool classify(IntersectType type, const BoundingSphere& sphere) const;
    /// Always false: it is the frustum that classifies volumes.
    bool classify(IntersectType type, const Frustum& frustum) const;

private:
    qvLinear::PointFlt fCenter;
    float fRadius = 0;
};
