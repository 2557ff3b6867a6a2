#pragma once

#include "base/Points.h"

namespace qvLinear {

/// A direction with a length.
struct Vector {
    Vector() = default;
    /// The vector with these components.
    Vector(double vx, double vy, double vz) : x(vx), y(vy), z(vz) {}

    /// The Euclidean length, also where the squares of the components would overflow or vanish.
    double length() const {
        const double squares = x * x + y * y + z * z;
        if (squares > 0x1p-900 && squares < 0x1p+900) {
            return std::sqrt(squares);
        }
        // A power of two changes the exponents alone.
        const double scale = squares < 1 ? 0x1p+600 : 0x1p-600;
        const double a = x * scale;
        const double b = y * scale;
        const double c = z * scale;
        return std::sqrt(a * a + b * b + c * c) / scale;
    }

    /// Scales the vector to length 1, in place. A zero vector stays.
    void normalize() {
        const double size = length();
        if (size != 0) {
            x /= size;
            y /= size;
            z /= size;
        }
    }

    double x = 0;
    double y = 0;
    double z = 0;
};

/// A direction with a length, single precision.
struct VectorFlt {
    VectorFlt() = default;
    /// The vector with these components.
    VectorFlt(float vx, float vy, float vz) : x(vx), y(vy), z(vz) {}

    float x = 0;
    float y = 0;
    float z = 0;
};

/// A direction whose length carries no meaning, such as an axis of rotation.
struct Normal {
    Normal() = default;
    /// The vector with these components; it need not have length 1.
    Normal(double nx, double ny, double nz) : x(nx), y(ny), z(nz) {}

    double x = 0;
    double y = 0;
    double z = 0;
};

static_assert(sizeof(Vector) == 24 && sizeof(VectorFlt) == 12 && sizeof(Normal) == 24, "no padding");

} // namespace qvLinear
