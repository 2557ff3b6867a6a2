#pragma once

#include "pixels/IPixelArray.h"

/// The six faces of a cube map, `width` x `height` pixels each; the depth is 6.
class QV_EXPORT PixelArrayCubeMap : public IPixelArray {
public:
    /// Faces of that size in storage of `format`, which must outlive them; empty without storage.
    PixelArrayCubeMap(const qvSysPixelFormat& format, unsigned int width, unsigned int height);
    PixelArrayCubeMap(const PixelArrayCubeMap&) = default;
    PixelArrayCubeMap& operator=(const PixelArrayCubeMap&) = default;
    ~PixelArrayCubeMap() override;

protected:
    PixelArrayCubeMap() = default;
};
