#pragma once

#include "pixels/IPixelArray.h"

/// A line of pixels; height and depth are 1.
class QV_EXPORT PixelArray1D : public IPixelArray {
public:
    /// A row of that size in storage of `format`, which must outlive it; empty without storage.
    PixelArray1D(const qvSysPixelFormat& format, unsigned int width);
    PixelArray1D(const PixelArray1D&) = default;
    PixelArray1D& operator=(const PixelArray1D&) = default;
    ~PixelArray1D() override;

protected:
    PixelArray1D() = default;
};
