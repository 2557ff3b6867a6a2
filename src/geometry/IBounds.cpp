#include "geometry/IBounds.h"

float IBounds::fsTolerance = -1.0F;

IBounds::~IBounds() = default;
IBounds::IBounds(const IBounds& other) = default;
IBounds& IBounds::operator=(const IBounds& other) = default;

float IBounds::tolerance() {
    return fsTolerance;
}

void IBounds::setTolerance(float tolerance) {
    fsTolerance = tolerance;
}

void IBounds::intersection(const float* a, const float* b, float* out) const {
    const float low = a[0] > b[0] ? a[0] : b[0];
    const float high = a[1] < b[1] ? a[1] : b[1];
    out[0] = low;
    out[1] = high;
}

void IBounds::unionOf(const float* a, const float* b, float* out) const {
    const float low = a[0] < b[0] ? a[0] : b[0];
    const float high = a[1] > b[1] ? a[1] : b[1];
    out[0] = low;
    out[1] = high;
}

IBoundingVolume::IBoundingVolume(const IBoundingVolume& other) = default;
IBoundingVolume& IBoundingVolume::operator=(const IBoundingVolume& other) = default;
IBoundingVolume::~IBoundingVolume() = default;

IBoundingPlanes::IBoundingPlanes(const IBoundingPlanes& other) = default;
IBoundingPlanes& IBoundingPlanes::operator=(const IBoundingPlanes& other) = default;
IBoundingPlanes::~IBoundingPlanes() = default;
