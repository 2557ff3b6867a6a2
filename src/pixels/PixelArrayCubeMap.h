#pragma once

#include "pixels/IPixelArray.h"

/// The six faces of a cube map, `width` x `height` pixels each; the depth is 6.
class QV_EXPORT PixelArrayCubeMap : public IPixelArray {
public:
    PixelArrayCubeMap(const qvSysPixelFormat& format, unsigned int width, unsigned int height);
    PixelArrayCubeMap(const PixelArrayCubeMap&) = default;
    PixelArrayCubeMap& operator=(const PixelArrayCubeMap&) = default;
    ~PixelArrayCubeMap() override;

protected:
    PixelArrayCubeMap() = default;
};
