#include "geometry/Frustum.h"

#include <cmath>
#include <cstring>

using qvLinear::PointFlt;

namespace {

// Two doubles in one register, one per plane of a pair. All six planes are tested before the one
// branch that decides, which costs less than a branch per plane that is often predicted wrongly.
// Vector types are an extension of GCC and clang, and there is no other spelling beside it: no other
// compiler builds the library, and on a machine without such registers these two take two doubles.
using Two = double __attribute__((vector_size(16)));

Two load(const double (&values)[2]) {
    Two two;
    std::memcpy(&two, values, sizeof two);
    return two;
}

Two larger(Two p, Two q) {
    return p > q ? p : q;
}

/// Whether all six, which come from floats, are finite: then so is their sum, which in double no
/// float can make overflow.
bool allFinite(double a, double b, double c, double d, double e, double f) {
    return std::isfinite(a + b + c + d + e + f);
}

} // namespace

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
    fOrdinary = false;
    for (PlanePair& pair : fPlanes) {
        pair = {};
    }
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
    fOrdinary = true;
    for (unsigned int i = 0; i < 6; ++i) {
        const unsigned int column = kPlanes[i].column;
        const double sign = kPlanes[i].sign;
        const double a = m(0, 3) + sign * m(0, column);
        const double b = m(1, 3) + sign * m(1, column);
        const double c = m(2, 3) + sign * m(2, column);
        const double d = m(3, 3) + sign * m(3, column);
        const double length = std::sqrt(a * a + b * b + c * c);
        PlanePair& pair = fPlanes[i / 2];
        pair.a[i % 2] = a / length;
        pair.b[i % 2] = b / length;
        pair.c[i % 2] = c / length;
        pair.d[i % 2] = d / length;
        // Divided by an infinite length the plane is all zeros, which only the test of all corners
        // passes over; divided by a length of 0 it holds infinities or not-a-numbers.
        fOrdinary = fOrdinary && length > 0 && std::isfinite(length) && std::isfinite(d / length);
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
    for (const PlanePair& pair : fPlanes) {
        const auto behind = load(pair.a) * x + load(pair.b) * y + load(pair.c) * z + load(pair.d) < 0.0;
        if (behind[0] | behind[1]) {
            return false;
        }
    }
    return true;
}

bool Frustum::sphereInFrustum(double x, double y, double z, double r) const {
    decltype(Two() <= 0.0) behind = {};
    for (const PlanePair& pair : fPlanes) {
        behind |= load(pair.a) * x + load(pair.b) * y + load(pair.c) * z + load(pair.d) <= -r;
    }
    return !(behind[0] | behind[1]);
}

bool Frustum::boxInFrustum(double minX, double minY, double minZ, double maxX, double maxY,
                           double maxZ) const {
    if (!fOrdinary || !allFinite(minX, minY, minZ, maxX, maxY, maxZ)) {
        return testAllCorners({minX, maxX}, {minY, maxY}, {minZ, maxZ});
    }
    decltype(Two() <= 0.0) behind = {};
    for (const PlanePair& pair : fPlanes) {
        const Two a = load(pair.a);
        const Two b = load(pair.b);
        const Two c = load(pair.c);
        behind |= larger(a * minX, a * maxX) + larger(b * minY, b * maxY) + larger(c * minZ, c * maxZ) +
                      load(pair.d) <=
                  0.0;
    }
    return !(behind[0] | behind[1]);
}

bool Frustum::testAllCorners(const double (&x)[2], const double (&y)[2], const double (&z)[2]) const {
    for (unsigned int i = 0; i < 6; ++i) {
        const PlanePair& pair = fPlanes[i / 2];
        const double a = pair.a[i % 2];
        const double b = pair.b[i % 2];
        const double c = pair.c[i % 2];
        const double d = pair.d[i % 2];
        bool rejects = a != 0 || b != 0 || c != 0 || d != 0;
        for (unsigned int corner = 0; corner < 8; ++corner) {
            rejects = rejects && a * x[corner & 1] + b * y[corner >> 1 & 1] + c * z[corner >> 2] + d <= 0;
        }
        if (rejects) {
            return false;
        }
    }
    return true;
}
