#pragma once

#include "geometry/IBounds.h"

/// The six clip planes of a projection, and the question whether a volume touches what they
/// enclose.
///
///     Frustum frustum(objectToEye * projection);
///     if (frustum.classify(IBounds::kIntersect, box)) { draw(); }
///
/// Planes are kept in the order right, left, bottom, top, far, near, with normals of length 1 that
/// point inwards. A matrix that leaves a plane without a normal gives it non-finite numbers; such a
/// plane rejects nothing.
class QV_EXPORT Frustum : public IBounds {
public:
    /// An invalid frustum. On purpose: its type is `kInvalidBoundsType`, and stays so when planes are
    /// computed, so that only an assignment makes it a `kFrustumType`.
    Frustum();
    /// The planes of `m`.
    explicit Frustum(const qvLinear::ProjMatrix& m);
    /// On purpose: the source's planes do not come along, so that the copy is invalid and rejects
    /// nothing until its own are computed.
    Frustum(const Frustum& other);
    /// Copies type, planes and validity.
    Frustum& operator=(const Frustum& other);
    ~Frustum() override;

    bool isValid() const override;
    /// Makes the frustum invalid and all planes zero.
    void setInvalid() override;

    /// Takes the planes from `m`, which maps points to clip coordinates. Source: G. Gribb and
    /// K. Hartmann, "Fast extraction of viewing frustum planes from the world-view-projection
    /// matrix", 2001.
    void recomputePlaneEquations(const qvLinear::ProjMatrix& m);

    /// Whether a box or a sphere touches the frustum, for `kIntersect`; false for any other question
    /// and any other volume. A volume near an edge of the frustum may be reported as touching
    /// although it is outside. On purpose: the validity of the frustum is not looked at, so that an
    /// invalid one, whose planes are zero, rejects no box and no sphere of positive radius.
    bool classify(IntersectType type, const IBoundingVolume& volume) const;

protected:
    /// Two planes: right and left, bottom and top, or far and near. The signed distance of a point is
    /// a x + b y + c z + d, positive inside.
    struct PlanePair {
        double a[2], b[2], c[2], d[2];
    };
    /// The planes from which the three tests below answer.
    const PlanePair& planes(unsigned int pair) const { return fPlanes[pair]; }

    /// Whether no plane has the point behind it; a point on a plane is inside.
    bool pointInFrustum(double x, double y, double z) const;
    /// Whether the sphere reaches in front of every plane; one that only touches a plane is outside.
    bool sphereInFrustum(double x, double y, double z, double r) const;
    /// Whether no plane has all eight corners of the box on or behind it. Corners with a distance
    /// that is not a number are not behind, and a plane of four zeros rejects nothing.
    ///
    /// For finite planes and a finite box one corner per plane is tried: the one with the larger
    /// product of normal and coordinate on each axis. (The sign of the normal does not tell which
    /// that is, because a box may have its corners the other way round.) Its computed distance is the
    /// largest of the eight, rounding included, because a rounded sum never falls when a term grows.
    /// Everything else is tried with all eight.
    bool boxInFrustum(double minX, double minY, double minZ, double maxX, double maxY, double maxZ) const;

private:
    bool testAllCorners(const double (&x)[2], const double (&y)[2], const double (&z)[2]) const;

    PlanePair fPlanes[3];
    bool fValid;
    bool fOrdinary; ///< every plane is finite and has a normal; only then is one corner enough
};
