#include "geometry/Frustum.h"

#include <algorithm>
#include <cmath>

using qvLinear::PointFlt;

Frustum::Frustum() {
    Frustum::setInvalid();
}

Frustum::Frustum(const qvLinear::ProjMatrix& m) : IBounds(kFrustumType) {
    recomputePlaneEquations(m);
}

Frustum::Frustum(const Frustum& /*other*/) : IBounds(kFrustumType) {
    Frustum::setInvalid();
}

Frustum& Frustum::operator=(const Frustum& other) = default;
Frustum::~Frustum() = default;

bool Frustum::isValid() const {
    return fValid;
}

void Frustum::setInvalid() {
    fValid = false;
    std::fill(std::begin(fPlanes), std::end(fPlanes), Plane{0, 0, 0, 0});
}

void Frustum::recomputePlaneEquations(const qvLinear::ProjMatrix& m) {
    constexpr struct {
        unsigned int column;
        double sign;
    } kPlanes[6] = {
        {0, -1}, // right
        {0, +1}, // left
        {1, +1}, // bottom
        {1, -1}, // top
        {2, -1}, // far
        {2, +1}, // near
    };
    for (unsigned int i = 0; i < 6; ++i) {
        const unsigned int column = kPlanes[i].column;
        const double sign = kPlanes[i].sign;
        const double a = m(0, 3) + sign * m(0, column);
        const double b = m(1, 3) + sign * m(1, column);
        const double c = m(2, 3) + sign * m(2, column);
        const double d = m(3, 3) + sign * m(3, column);
        const double length = std::sqrt(a * a + b * b + c * c);
        fPlanes[i] = {a / length, b / length, c / length, d / length};
    }
    fValid = true;
}

bool Frustum::classify(IntersectType type, const IBoundingVolume& volume) const {
    if (type != kIntersect) {
        return false;
    }
    if (volume.boundsType() == kAABoundingBoxType) {
        const PointFlt low = volume.min();
        const PointFlt high = volume.max();
        return boxInFrustum(low.x, low.y, low.z, high.x, high.y, high.z);
    }
    if (volume.boundsType() == kBoundingSphereType) {
        const PointFlt c = volume.center();
        return sphereInFrustum(c.x, c.y, c.z, volume.radius());
    }
    return false;
}

bool Frustum::pointInFrustum(double x, double y, double z) const {
    return std::none_of(std::begin(fPlanes), std::end(fPlanes),
                        [&](const Plane& plane) { return plane.distance(x, y, z) < 0; });
}

bool Frustum::sphereInFrustum(double x, double y, double z, double r) const {
    for (const Plane& plane : fPlanes) {
        if (plane.distance(x, y, z) <= -r) {
            return false;
        }
    }
    return true;
}

bool Frustum::boxInFrustum(double minX, double minY, double minZ, double maxX, double maxY,
                           double maxZ) const {
    for (const Plane& plane : fPlanes) {
        const double x[2] = {plane.a * minX, plane.a * maxX};
        const double y[2] = {plane.b * minY, plane.b * maxY};
        const double z[2] = {plane.c * minZ, plane.c * maxZ};
        const double farthest =
            (x[0] > x[1] ? x[0] : x[1]) + (y[0] > y[1] ? y[0] : y[1]) + (z[0] > z[1] ? z[0] : z[1]) + plane.d;
        if (farthest <= 0 && rejectsAllCorners(plane, x, y, z)) {
            return false;
        }
    }
    return true;
}

/// Called once the farthest corner is on or behind the plane; the products are those of the plane's
/// normal and the box's corners.
bool Frustum::rejectsAllCorners(const Plane& plane, const double (&x)[2], const double (&y)[2],
                                const double (&z)[2]) {
    if (plane.isZero()) {
        return false;
    }
    // Finite only when every term is.
    if (std::isfinite(x[0] + x[1] + y[0] + y[1] + z[0] + z[1] + plane.d)) {
        return true;
    }
    for (unsigned int corner = 0; corner < 8; ++corner) {
        if (!(x[corner & 1] + y[corner >> 1 & 1] + z[corner >> 2] + plane.d <= 0)) {
            return false;
        }
    }
    return true;
}
