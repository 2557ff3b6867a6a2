#include "pixels/IPixelArray.h"

#include "imaging/ImageSize.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

IPixelArray::IPixelArray(const qvSysPixelFormat& format, unsigned int width, unsigned int height,
                         unsigned int depth)
    : fFormat(&format) {
    if (allocate(format, width, height, depth)) {
        fWidth = width;
        fHeight = height;
        fDepth = depth;
        fInitialized = true;
    }
}

IPixelArray::IPixelArray(const IPixelArray& other) : fFormat(other.fFormat) {
    if (!other.fPixels) {
        fWidth = other.fWidth;
        fHeight = other.fHeight;
        fDepth = other.fDepth;
    } else if (allocate(*fFormat, other.fWidth, other.fHeight, other.fDepth)) {
        fWidth = other.fWidth;
        fHeight = other.fHeight;
        fDepth = other.fDepth;
        fInitialized = other.fInitialized;
        std::memcpy(fPixels, other.fPixels, std::min(fBytes, other.fBytes));
    }
}

IPixelArray& IPixelArray::operator=(const IPixelArray& other) {
    IPixelArray taken(other);
    swap(taken);
    return *this;
}

IPixelArray::~IPixelArray() {
    release();
    fInitialized = false;
}

void IPixelArray::copy(const void* source, unsigned int bytesPerPixel) {
    if (!source || !fPixels) {
        return;
    }
    // width x height x depth fits 31 bits: it was allocated.
    const std::uint64_t bytes = std::uint64_t{fWidth} * fHeight * fDepth * bytesPerPixel;
    std::memcpy(fPixels, source, static_cast<std::size_t>(std::min<std::uint64_t>(bytes, fBytes)));
}

bool IPixelArray::allocate(const qvSysPixelFormat& format, unsigned int width, unsigned int height,
                           unsigned int depth) {
    const bool fits = imageBytes(width, height, depth, std::max(format.pixelSize(), 1U)) > 0;
    fPixels = fits ? format.allocate(width, height, depth) : nullptr;
    fBytes = fPixels ? static_cast<unsigned int>(imageBytes(width, height, depth, format.pixelSize())) : 0;
    return fPixels != nullptr;
}

void IPixelArray::release() {
    if (fPixels && fFormat) {
        fFormat->deallocate(fPixels);
    }
    fPixels = nullptr;
    fBytes = 0;
}

void IPixelArray::swap(IPixelArray& other) {
    std::swap(fPixels, other.fPixels);
    std::swap(fWidth, other.fWidth);
    std::swap(fHeight, other.fHeight);
    std::swap(fDepth, other.fDepth);
    std::swap(fFormat, other.fFormat);
    std::swap(fInitialized, other.fInitialized);
    std::swap(fBytes, other.fBytes);
}
