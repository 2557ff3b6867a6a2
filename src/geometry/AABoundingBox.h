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
    /// On purpose: the index array is not looked at, and the result is the box around the origin
    /// alone; the bounds of an index array are its owner's to compute.
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
    /// On purpose: the index array is not looked at, so that the box stays as it is.
    void set(const GeometryDataIndex& index);

    /// Grows the box so that it contains `other`. An empty (invalid) box on either side counts for
    /// nothing, unlike in `+=`.
    void enclose(const AABoundingBox& other);

    /// The box around both. On purpose: the other's validity is not looked at, so that an invalid box
    /// spreads the result over all floats, and an invalid sphere adds its centre +1 and -1. `enclose`
    /// passes over empty boxes.
    AABoundingBox operator+(const IBoundingPlanes& other) const;
    /// Replaces this box by the sum of both.
    AABoundingBox& operator+=(const IBoundingPlanes& other);

    /// Outside: beyond the closed range of any axis. Inside: within all three, faces included.
    /// Intersect: on a face, found by exact equality, x before y before z. On purpose: on a z face
    /// x is checked against min.x and max.y, and y against min.y and max.z, so that points beside the
    /// face count as on it when the box is longer on the next axis.
    bool classify(IntersectType type, const qvLinear::PointFlt& p) const;
    /// Inside: within this box, faces included. Intersect: a common point. Outside: neither.
    bool classify(IntersectType type, const AABoundingBox& box) const;
    /// Intersect: a common point. On purpose: the other questions are not worked out, so that a
    /// sphere far outside or deep inside gets false for both.
    bool classify(IntersectType type, const BoundingSphere& sphere) const;
    /// Always false: it is the frustum that classifies volumes.
    bool classify(IntersectType type, const Frustum& frustum) const;

private:
    qvLinear::PointFlt fMin;
    qvLinear::PointFlt fMax;
};
