#include "pixels/qvColorFormatRGBAFloat.h"

#include "pixels/PixelOperations.h"

#include <cstdlib>

qvColorFormatRGBAFloat::qvColorFormatRGBAFloat() : qvColorFormat(16, kRGBAFloatFormat) {}

qvColorFormatRGBAFloat::~qvColorFormatRGBAFloat() = default;

void* qvColorFormatRGBAFloat::allocate(unsigned int width, unsigned int height, unsigned int depth) const {
    const std::size_t bytes = imageBytes(width, height, depth, fBytesPerPixel);
    return bytes > 0 ? std::malloc(bytes) : nullptr;
}

void qvColorFormatRGBAFloat::deallocate(void* storage) const {
    std::free(storage);
}

void qvColorFormatRGBAFloat::setDefaultValue(const float rgba[4]) {
    std::memcpy(fDefaultValue, rgba, sizeof fDefaultValue);
}

void qvColorFormatRGBAFloat::defaultValue(float rgba[4]) const {
    std::memcpy(rgba, fDefaultValue, sizeof fDefaultValue);
}

float* qvColorFormatRGBAFloat::convertFromFixed8(const unsigned char* src, unsigned int width,
                                                 unsigned int height, unsigned int depth) const {
    const std::size_t count = imageBytes(width, height, depth, 4 * sizeof(float)) / sizeof(float);
    // An image with one size of 0 goes the way of any other: what its storage is, `allocate` decides.
    const bool none = width == 0 && height == 0 && depth == 0;
    const bool tooLarge = count == 0 && width != 0 && height != 0 && depth != 0;
    if (!src || none || tooLarge) {
        return nullptr;
    }
    auto* dst = static_cast<float*>(allocate(width, height, depth));
    if (dst) {
        constexpr float kStep = 0.003921569F;
        for (std::size_t i = 0; i < count; ++i) {
            dst[i] = (static_cast<float>(src[i]) + 0.5F) * kStep;
        }
    }
    return dst;
}

bool qvColorFormatRGBAFloat::convertToNormalMap(float* image, unsigned int width, unsigned int height,
                                                float scale) const {
    heightsToNormals(image, width, height, scale, [](double value) { return static_cast<float>(value); });
    return false; // On purpose: the answer is false on every path, so that success cannot be read from it.
}

float* qvColorFormatRGBAFloat::resize(const float* src, unsigned int srcWidth, unsigned int srcHeight,
                                      unsigned int dstWidth, unsigned int dstHeight) const {
    return resizeThrough(*this, src, srcWidth, srcHeight, dstWidth, dstHeight);
}
