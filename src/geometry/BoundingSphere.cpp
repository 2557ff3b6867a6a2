#include "geometry/BoundingSphere.h"

#include "geometry/AABoundingBox.h"

#include <algorithm>
#include <cmath>
#include <limits>

using qvLinear::PointFlt;
using qvLinear::Vector;

namespace {

Vector difference(const PointFlt& a, const PointFlt& b) {
    return {double(a.x) - b.x, double(a.y) - b.y, double(a.z) - b.z};
}

double squaredLength(const Vector& v) {
    return v.x * v.x + v.y * v.y + v.z * v.z;
}

/// The least radius with which `classify` finds the sphere (c, r) inside one around `center`, and
/// the point c not outside.
float radiusAround(const PointFlt& center, const PointFlt& c, float r) {
    const double d2 = squaredLength(difference(center, c));
    const double needed = std::sqrt(d2) + r;
    const auto radius = static_cast<float>(needed);
    // To the next float where rounding went inwards.
    return radius < needed || double(radius) * radius < d2
               ? std::nextafter(radius, std::numeric_limits<float>::infinity())
               : radius;
}

/// How far apart the squares of distance and radius are for a point on the surface.
constexpr float kSurfaceTolerance = 1.0e-5F;

} // namespace

BoundingSphere::BoundingSphere() : IBoundingPlanes(kBoundingSphereType) {}

BoundingSphere::BoundingSphere(const PointFlt& center, float radius)
    : IBoundingPlanes(kBoundingSphereType), fCenter(center), fRadius(radius) {}

BoundingSphere::BoundingSphere(const IBoundingPlanes& other) : IBoundingPlanes(kBoundingSphereType) {
    if (other.isValid()) {
        fCenter = other.center();
        fRadius = other.radius();
    }
}

BoundingSphere::BoundingSphere(const GeometryDataIndex& /*index*/) : IBoundingPlanes(kBoundingSphereType) {}

BoundingSphere::BoundingSphere(const BoundingSphere& other)
    : IBoundingPlanes(kBoundingSphereType), fCenter(other.fCenter), fRadius(other.fRadius) {}

BoundingSphere& BoundingSphere::operator=(const BoundingSphere& other) = default;
BoundingSphere::~BoundingSphere() = default;

bool BoundingSphere::isValid() const {
    return fRadius >= 0;
}

void BoundingSphere::setInvalid() {
    fRadius = -1.0F;
}

void BoundingSphere::transform(const qvLinear::AffineMatrix& m) {
    qvLinear::Point c(fCenter);
    m.preMult(c, c);
    fCenter = PointFlt(static_cast<float>(c.x), static_cast<float>(c.y), static_cast<float>(c.z));
    double longest = 0;
    for (unsigned int row = 0; row < 3; ++row) {
        longest = std::max(longest, squaredLength({m(row, 0), m(row, 1), m(row, 2)}));
    }
    const auto scaled = static_cast<float>(fRadius * std::sqrt(longest));
    // -0 would be valid: an invalid radius that shrinks to nothing stays as it was.
    fRadius = fRadius < 0 && scaled == 0 ? fRadius : scaled;
}

void BoundingSphere::addPoint(const PointFlt& p) {
    const double r = fRadius;
    const double d2 = squaredLength(difference(p, fCenter));
    if (d2 <= r * r) {
        return;
    }
    const double d = std::sqrt(d2);
    const double a = r / d;
    const double b = (d - r) / d;
    fCenter =
        PointFlt(static_cast<float>(a * fCenter.x + b * p.x), static_cast<float>(a * fCenter.y + b * p.y),
                 static_cast<float>(a * fCenter.z + b * p.z));
    fRadius = static_cast<float>((d + r) * 0.5);
}

void BoundingSphere::addPoints(const std::vector<PointFlt>& points) {
    for (const PointFlt& p : points) {
        addPoint(p);
    }
}

PointFlt BoundingSphere::center() const {
    return fCenter;
}

float BoundingSphere::radius() const {
    return fRadius;
}

PointFlt BoundingSphere::min() const {
    return {fCenter.x - fRadius, fCenter.y - fRadius, fCenter.z - fRadius};
}

PointFlt BoundingSphere::max() const {
    return {fCenter.x + fRadius, fCenter.y + fRadius, fCenter.z + fRadius};
}

void BoundingSphere::set(const PointFlt& center, float radius) {
    fCenter = center;
    fRadius = radius;
}

void BoundingSphere::set(const GeometryDataIndex& /*index*/) {}

void BoundingSphere::enclose(const PointFlt& p) {
    enclose(BoundingSphere(p, 0));
}

void BoundingSphere::enclose(const BoundingSphere& sphere) {
    const PointFlt c = sphere.fCenter;
    const float r = sphere.fRadius;
    const double d2 = squaredLength(difference(c, fCenter));
    if (!sphere.isValid() || std::isnan(c.x) || std::isnan(c.y) || std::isnan(c.z)) {
        return;
    }
    const double d = std::sqrt(d2);
    if (!isValid() || d + fRadius <= r) {
        *this = sphere;
        return;
    }
    if (d + r <= fRadius && (r > 0 || d2 <= double(fRadius) * fRadius)) {
        return;
    }
    // The new diameter reaches from the far side of the one to the far side of the other.
    const double share = ((d + r - fRadius) * 0.5) / d;
    const auto between = [share](float from, float to) {
        return static_cast<float>(from + (double(to) - from) * share);
    };
    const PointFlt middle =
        std::isfinite(d) ? PointFlt(between(fCenter.x, c.x), between(fCenter.y, c.y), between(fCenter.z, c.z))
                         : fCenter;
    fRadius = std::max(radiusAround(middle, fCenter, fRadius), radiusAround(middle, c, r));
    fCenter = middle;
}

BoundingSphere BoundingSphere::operator+(const IBoundingPlanes& other) const {
    BoundingSphere sum(*this);
    sum += other;
    return sum;
}

BoundingSphere& BoundingSphere::operator+=(const IBoundingPlanes& other) {
    const float r = other.radius();
    const PointFlt c = other.center();
    // In double, where the sum of two large floats does not overflow.
    fCenter = PointFlt(static_cast<float>((double(c.x) + fCenter.x) * 0.5),
                       static_cast<float>((double(c.y) + fCenter.y) * 0.5),
                       static_cast<float>((double(c.z) + fCenter.z) * 0.5));
    fRadius = r + fRadius;
    return *this;
}

bool BoundingSphere::classify(IntersectType type, const PointFlt& p) const {
    const double d2 = squaredLength(difference(fCenter, p));
    const double r2 = double(fRadius) * fRadius;
    switch (type) {
    case kOutside:
        return r2 < d2;
    case kInside:
        return r2 > d2;
    case kIntersect:
        return (d2 > r2 ? d2 - r2 : r2 - d2) <= kSurfaceTolerance;
    }
    return false;
}

bool BoundingSphere::classify(IntersectType type, const AABoundingBox& box) const {
    return box.classify(type, *this);
}

bool BoundingSphere::classify(IntersectType type, const BoundingSphere& sphere) const {
    const double d = difference(fCenter, sphere.center()).length();
    const double r = fRadius;
    const double otherR = sphere.radius();
    const bool inside = d + otherR <= r;
    const bool intersects = d <= r + otherR;
    switch (type) {
    case kOutside:
        return !inside && !intersects;
    case kInside:
        return inside;
    case kIntersect:
        return intersects;
    }
    return false;
}

bool BoundingSphere::classify(IntersectType /*type*/, const Frustum& /*frustum*/) const {
    return false;
}
