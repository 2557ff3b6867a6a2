#pragma once

#include "geometry/IBounds.h"

class BoundingSphere;
class Frustum;
class GeometryDataIndex;

/// A box along the axes, between a lowest and a highest corner. A plain value.
///
/// A new box is invalid (empty) and grows with the points it is given:
///
///     AABoundingBox box;
///     box.addPoints(points);
///     box.transform(objectToWorld);
///     if (camera.intersects(box)) { draw(); }
///
/// The box is valid when no coordinate of `min()` is above that of `max()`; a single point is a
/// valid box. Nothing keeps a host from setting corners the other way round.
class QV_EXPORT AABoundingBox : public IBoundingPlanes {
public:
    /// An invalid box.
    AABoundingBox();
    /// The corners as given, unchecked.
    AABoundingBox(const qvLinear::PointFlt& min, const qvLinear::PointFlt& max);
    /// The box around `other`: its `min()` and `max()`. An invalid sphere gives an invalid box.
    explicit AABoundingBox(const IBoundingPlanes& other);
    /// On purpose: only the type is set; the bounds of an index array are its owner's to compute.
    explicit AABoundingBox(const GeometryDataIndex& index);
    AABoundingBox(const AABoundingBox& other);
    AABoundingBox& operator=(const AABoundingBox& other);
    ~AABoundingBox() override;

    bool isValid() const override;
    /// Makes the box empty, so that the next point added becomes both corners.
    void setInvalid() override;
    /// The box around the image of this one: exact, computed in double. An invalid box stays as it
    /// is. Source: J. Arvo, "Transforming axis-aligned bounding boxes", Graphics Gems, 1990.
    void transform(const qvLinear::AffineMatrix& m) override;
    void addPoint(const qvLinear::PointFlt& p) override;
    void addPoints(const std::vector<qvLinear::PointFlt>& points) override;
    /// Halfway between the corners; the origin for an invalid box.
    qvLinear::PointFlt center() const override;
    /// Half the diagonal; 0 for an invalid box.
    float radius() const override;
    qvLinear::PointFlt min() const override;
    qvLinear::PointFlt max() const override;

    /// Sets both corners.
    void set(const qvLinear::PointFlt& min, const qvLinear::PointFlt& max);
    /// Sets the lower corner.
    void setMin(const qvLinear::PointFlt& min) { fMin = min; }
    /// Sets the upper corner.
    void setMax(const qvLinear::PointFlt& max) { fMax = max; }
    /// On purpose: does nothing, as the constructor from an index array.
    void set(const GeometryDataIndex& index);

    /// The box around both. On purpose: the other's validity is not looked at. An invalid box
    /// spreads the result over all floats, an invalid sphere adds its centre +1 and -1.
    AABoundingBox operator+(const IBoundingPlanes& other) const;
    /// The same in place.
    AABoundingBox& operator+=(const IBoundingPlanes& other);

    /// Outside: beyond the closed range of any axis. Inside: within all three, faces included.
    /// Intersect: on a face, found by exact equality, x before y before z. On purpose: on a z face
    /// x is checked against min.x and max.y, and y against min.y and max.z.
    bool classify(IntersectType type, const qvLinear::PointFlt& p) const;
    /// Inside: within this box, faces included. Intersect: a common point. Outside: neither.
    bool classify(IntersectType type, const AABoundingBox& box) const;
    /// Intersect: a common point. On purpose: the other questions are answered with false.
    bool classify(IntersectType type, const BoundingSphere& sphere) const;
    /// Always false: it is the frustum that classifies volumes.
    bool classify(IntersectType type, const Frustum& frustum) const;

private:
    qvLinear::PointFlt fMin;
    qvLinear::PointFlt fMax;
};
