#pragma once

#include "pixels/IPixelArray.h"

/// A volume: `depth` images behind each other.
class QV_EXPORT PixelArray3D : public IPixelArray {
public:
    /// Slices of that size in storage of `format`, which must outlive them; empty without storage.
    PixelArray3D(const qvSysPixelFormat& format, unsigned int width, unsigned int height, unsigned int depth);
    PixelArray3D(const PixelArray3D&) = default;
    PixelArray3D& operator=(const PixelArray3D&) = default;
    ~PixelArray3D() override;

protected:
    PixelArray3D() = default;
};
