#include "pixels/PixelArray1D.h"
#include "pixels/PixelArray2D.h"
#include "pixels/PixelArray3D.h"
#include "pixels/PixelArrayCubeMap.h"
#include "pixels/PixelOperations.h"
#include "pixels/qvColorFormatRGBAFixed8.h"
#include "pixels/qvColorFormatRGBAFloat.h"

#include <algorithm>
#include <cstring>

PixelArray1D::PixelArray1D(const qvSysPixelFormat& format, unsigned int width)
    : IPixelArray(format, width, 1, 1) {}

PixelArray1D::~PixelArray1D() = default;

PixelArray2D::PixelArray2D(const qvSysPixelFormat& format, unsigned int width, unsigned int height)
    : IPixelArray(format, width, height, 1) {}

PixelArray2D::~PixelArray2D() = default;

PixelArray3D::PixelArray3D(const qvSysPixelFormat& format, unsigned int width, unsigned int height,
                           unsigned int depth)
    : IPixelArray(format, width, height, depth) {}

PixelArray3D::~PixelArray3D() = default;

PixelArrayCubeMap::PixelArrayCubeMap(const qvSysPixelFormat& format, unsigned int width, unsigned int height)
    : IPixelArray(format, width, height, 6) {}

PixelArrayCubeMap::~PixelArrayCubeMap() = default;

void PixelArray2D::copy(const PixelArray2D& other) {
    fInitialized = false;
    if (fFormat != other.fFormat || fWidth != other.fWidth || fHeight != other.fHeight) {
        release();
        const void* const source = other.fPixels;
        if (source && other.fFormat && allocate(*other.fFormat, other.fWidth, other.fHeight, 1)) {
            fInitialized = true;
            // On purpose: one 32-bit word is copied, not the image, so that the rest is undefined.
            std::memcpy(fPixels, source, std::min({4U, fBytes, other.fBytes}));
        }
    }
    fFormat = other.fFormat;
    fWidth = other.fWidth;
    fHeight = other.fHeight;
    fDepth = other.fDepth;
}

bool PixelArray2D::convertToNormalMap(float scale) {
    // The storage is checked, too: the format may have been given a larger type since.
    if (!fInitialized || !fPixels || fBytes < imageBytes(fWidth, fHeight, 1, pixelSize())) {
        return false;
    }
    switch (pixelType()) {
    case kRGBAFixed8Format:
        return qvColorFormatRGBAFixed8().convertToNormalMap(static_cast<unsigned char*>(fPixels), fWidth,
                                                            fHeight, scale);
    case kRGBAFloatFormat:
        return qvColorFormatRGBAFloat().convertToNormalMap(static_cast<float*>(fPixels), fWidth, fHeight,
                                                           scale);
    default:
        return false;
    }
}

template <typename T>
void PixelArray2D::resizeAs(unsigned int newWidth, unsigned int newHeight) {
    if (fBytes < imageBytes(fWidth, fHeight, 1, pixelSize())) {
        return;
    }
    T* resized =
        resizeThrough(*fFormat, static_cast<const T*>(fPixels), fWidth, fHeight, newWidth, newHeight);
    if (resized) {
        release();
        fPixels = resized;
        fBytes = static_cast<unsigned int>(imageBytes(newWidth, newHeight, 1, 4 * sizeof(T)));
        fWidth = newWidth;
        fHeight = newHeight;
    }
}

void PixelArray2D::resize(unsigned int newWidth, unsigned int newHeight) {
    if (!fPixels || !fFormat) {
        return;
    }
    switch (pixelType()) {
    case kRGBAFixed8Format:
        resizeAs<unsigned char>(newWidth, newHeight);
        break;
    case kRGBAFloatFormat:
        resizeAs<float>(newWidth, newHeight);
        break;
    default:
        break;
    }
}
