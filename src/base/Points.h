#pragma once

#include <cmath>

namespace qvLinear {

/// A point in space, single precision.
struct PointFlt {
    PointFlt() = default;
    /// The point with these coordinates.
    PointFlt(float px, float py, float pz) : x(px), y(py), z(pz) {}

    float x = 0;
    float y = 0;
    float z = 0;
};

/// A point in space.
struct Point {
    Point() = default;
    /// The point with these coordinates.
    Point(double px, double py, double pz) : x(px), y(py), z(pz) {}
    /// The point `p`, with its coordinates as doubles.
    explicit Point(const PointFlt& p) : x(p.x), y(p.y), z(p.z) {}

    double x = 0;
    double y = 0;
    double z = 0;
};

/// A point in homogeneous coordinates.
struct HPoint {
    HPoint() = default;
    /// The point with these coordinates.
    HPoint(double px, double py, double pz, double pw) : x(px), y(py), z(pz), w(pw) {}

    double x = 0;
    double y = 0;
    double z = 0;
    double w = 0;
};

/// The Euclidean distance of two points, computed in double.
inline float distance(const PointFlt& a, const PointFlt& b) {
    const double dx = double(a.x) - b.x;
    const double dy = double(a.y) - b.y;
    const double dz = double(a.z) - b.z;
    return static_cast<float>(std::sqrt(dx * dx + dy * dy + dz * dz));
}

static_assert(sizeof(PointFlt) == 12 && sizeof(Point) == 24 && sizeof(HPoint) == 32, "no padding");

} // namespace qvLinear
