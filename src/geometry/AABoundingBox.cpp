#include "geometry/AABoundingBox.h"

#include "geometry/BoundingSphere.h"

#include <limits>

using qvLinear::PointFlt;

namespace {

bool within(float low, float v, float high) {
    return low <= v && v <= high;
}

/// The square of how far `v` lies outside [low, high].
double squaredExcess(float low, float v, float high) {
    double excess = 0;
    if (v < low) {
        excess = double(v) - low;
    } else if (v > high) {
        excess = double(v) - high;
    }
    return excess * excess;
}

} // namespace

AABoundingBox::AABoundingBox() : IBoundingPlanes(kAABoundingBoxType) {
    AABoundingBox::setInvalid();
}

AABoundingBox::AABoundingBox(const PointFlt& min, const PointFlt& max)
    : IBoundingPlanes(kAABoundingBoxType), fMin(min), fMax(max) {}

AABoundingBox::AABoundingBox(const IBoundingPlanes& other)
    : IBoundingPlanes(kAABoundingBoxType), fMin(other.min()), fMax(other.max()) {}

AABoundingBox::AABoundingBox(const GeometryDataIndex& /*index*/) : IBoundingPlanes(kAABoundingBoxType) {}

AABoundingBox::AABoundingBox(const AABoundingBox& other)
    : IBoundingPlanes(kAABoundingBoxType), fMin(other.min()), fMax(other.max()) {}

AABoundingBox& AABoundingBox::operator=(const AABoundingBox& other) = default;
AABoundingBox::~AABoundingBox() = default;

bool AABoundingBox::isValid() const {
    return fMin.x <= fMax.x && fMin.y <= fMax.y && fMin.z <= fMax.z;
}

void AABoundingBox::setInvalid() {
    constexpr float kLargest = std::numeric_limits<float>::max();
    fMin = PointFlt(kLargest, kLargest, kLargest);
    fMax = PointFlt(-kLargest, -kLargest, -kLargest);
}

void AABoundingBox::transform(const qvLinear::AffineMatrix& m) {
    if (!isValid()) {
        return;
    }
    const float oldMin[3] = {fMin.x, fMin.y, fMin.z};
    const float oldMax[3] = {fMax.x, fMax.y, fMax.z};
    float newMin[3];
    float newMax[3];
    for (unsigned int i = 0; i < 3; ++i) {
        double low = m(3, i);
        double high = m(3, i);
        for (unsigned int j = 0; j < 3; ++j) {
            const double e = oldMin[j] * m(j, i);
            const double f = oldMax[j] * m(j, i);
            low += e < f ? e : f;
            high += e < f ? f : e;
        }
        newMin[i] = static_cast<float>(low);
        newMax[i] = static_cast<float>(high);
    }
    fMin = PointFlt(newMin[0], newMin[1], newMin[2]);
    fMax = PointFlt(newMax[0], newMax[1], newMax[2]);
}

void AABoundingBox::addPoint(const PointFlt& p) {
    // Two tests per axis: on an empty box the first point sets both corners.
    fMin.x = p.x < fMin.x ? p.x : fMin.x;
    fMax.x = p.x > fMax.x ? p.x : fMax.x;
    fMin.y = p.y < fMin.y ? p.y : fMin.y;
    fMax.y = p.y > fMax.y ? p.y : fMax.y;
    fMin.z = p.z < fMin.z ? p.z : fMin.z;
    fMax.z = p.z > fMax.z ? p.z : fMax.z;
}

void AABoundingBox::addPoints(const std::vector<PointFlt>& points) {
    for (const PointFlt& p : points) {
        AABoundingBox::addPoint(p);
    }
}

PointFlt AABoundingBox::center() const {
    if (!isValid()) {
        return {};
    }
    // In double, where the sum of two large floats does not overflow.
    return {static_cast<float>((double(fMax.x) + fMin.x) * 0.5),
            static_cast<float>((double(fMax.y) + fMin.y) * 0.5),
            static_cast<float>((double(fMax.z) + fMin.z) * 0.5)};
}

float AABoundingBox::radius() const {
    return isValid() ? qvLinear::distance(fMax, center()) : 0.0F;
}

PointFlt AABoundingBox::min() const {
    return fMin;
}

PointFlt AABoundingBox::max() const {
    return fMax;
}

void AABoundingBox::set(const PointFlt& min, const PointFlt& max) {
    fMin = min;
    fMax = max;
}

void AABoundingBox::set(const GeometryDataIndex& /*index*/) {}

void AABoundingBox::enclose(const AABoundingBox& other) {
    if (!other.isValid()) {
        return;
    }
    if (!isValid()) {
        setInvalid(); // a host may have set corners the other way round
    }
    *this += other;
}

AABoundingBox AABoundingBox::operator+(const IBoundingPlanes& other) const {
    AABoundingBox sum(*this);
    sum += other;
    return sum;
}

AABoundingBox& AABoundingBox::operator+=(const IBoundingPlanes& other) {
    const PointFlt low = other.min();
    const PointFlt high = other.max(); // before it changes: `other` may be this box
    addPoint(low);
    addPoint(high);
    return *this;
}

bool AABoundingBox::classify(IntersectType type, const PointFlt& p) const {
    switch (type) {
    case kOutside:
        return p.x < fMin.x || p.x > fMax.x || p.y < fMin.y || p.y > fMax.y || p.z < fMin.z || p.z > fMax.z;
    case kInside:
        return within(fMin.x, p.x, fMax.x) && within(fMin.y, p.y, fMax.y) && within(fMin.z, p.z, fMax.z);
    case kIntersect:
        if (p.x == fMin.x || p.x == fMax.x) {
            return within(fMin.y, p.y, fMax.y) && within(fMin.z, p.z, fMax.z);
        }
        if (p.y == fMin.y || p.y == fMax.y) {
            return within(fMin.x, p.x, fMax.x) && within(fMin.z, p.z, fMax.z);
        }
        if (p.z == fMin.z || p.z == fMax.z) {
            // The upper bounds of the next axis, as the header says.
            return within(fMin.x, p.x, fMax.y) && within(fMin.y, p.y, fMax.z);
        }
        return false;
    }
    return false;
}

bool AABoundingBox::classify(IntersectType type, const AABoundingBox& box) const {
    const PointFlt low = box.min();
    const PointFlt high = box.max();
    const bool inside = fMin.x <= low.x && high.x <= fMax.x && fMin.y <= low.y && high.y <= fMax.y &&
                        fMin.z <= low.z && high.z <= fMax.z;
    const bool intersects = fMin.x <= high.x && low.x <= fMax.x && fMin.y <= high.y && low.y <= fMax.y &&
                            fMin.z <= high.z && low.z <= fMax.z;
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

bool AABoundingBox::classify(IntersectType type, const BoundingSphere& sphere) const {
    if (type != kIntersect) {
        return false;
    }
    const PointFlt c = sphere.center();
    const double d2 = squaredExcess(fMin.x, c.x, fMax.x) + squaredExcess(fMin.y, c.y, fMax.y) +
                      squaredExcess(fMin.z, c.z, fMax.z);
    const double r = sphere.radius();
    return d2 <= r * r;
}

bool AABoundingBox::classify(IntersectType /*type*/, const Frustum& /*frustum*/) const {
    return false;
}
