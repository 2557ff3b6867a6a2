#include "pixels/qvColorFormatRGBAFixed8.h"

#include "pixels/PixelOperations.h"

#include <cstdlib>

namespace {

// 0 outside the range in which the integer part fits 32 bits, and for not-a-number.
unsigned char byteOf(float value) {
    const double shifted = static_cast<double>(value) + 0.5;
    const double inRange = shifted > -2147483649.0 && shifted < 2147483648.0 ? shifted : 0.0;
    return static_cast<unsigned char>(0U - static_cast<unsigned int>(static_cast<int>(inRange)));
}

} // namespace

qvColorFormatRGBAFixed8::qvColorFormatRGBAFixed8() : qvColorFormat(4, kRGBAFixed8Format) {}

qvColorFormatRGBAFixed8::~qvColorFormatRGBAFixed8() = default;

void* qvColorFormatRGBAFixed8::allocate(unsigned int width, unsigned int height, unsigned int depth) const {
    const std::size_t bytes = imageBytes(width, height, depth, fBytesPerPixel);
    return bytes > 0 ? std::malloc(bytes) : nullptr;
}

void qvColorFormatRGBAFixed8::deallocate(void* storage) const {
    std::free(storage);
}

void qvColorFormatRGBAFixed8::setDefaultValue(const unsigned char rgba[4]) {
    std::memcpy(fDefaultValue, rgba, sizeof fDefaultValue);
}

void qvColorFormatRGBAFixed8::defaultValue(unsigned char rgba[4]) const {
    std::memcpy(rgba, fDefaultValue, sizeof fDefaultValue);
}

unsigned char* qvColorFormatRGBAFixed8::convertFromFloat(const float* src, unsigned int width,
                                                         unsigned int height, unsigned int depth) const {
    const std::size_t count = imageBytes(width, height, depth, 4 * sizeof(float)) / sizeof(float);
    // An image with one size of 0 goes the way of any other: what its storage is, `allocate` decides.
    const bool none = width == 0 && height == 0 && depth == 0;
    const bool tooLarge = count == 0 && width != 0 && height != 0 && depth != 0;
    if (!src || none || tooLarge) {
        return nullptr;
    }
    auto* dst = static_cast<unsigned char*>(allocate(width, height, depth));
    if (dst) {
        for (std::size_t i = 0; i < count; ++i) {
            dst[i] = byteOf(src[i]);
        }
    }
    return dst;
}

bool qvColorFormatRGBAFixed8::convertToNormalMap(unsigned char* image, unsigned int width,
                                                 unsigned int height, float scale) const {
    heightsToNormals(image, width, height, scale * (1.0 / 255.0),
                     [](double value) { return nearestByte(value * 255.0); });
    return false; // On purpose: the answer is false on every path, so that success cannot be read from it.
}

unsigned char* qvColorFormatRGBAFixed8::resize(const unsigned char* src, unsigned int srcWidth,
                                               unsigned int srcHeight, unsigned int dstWidth,
                                               unsigned int dstHeight) const {
    return resizeThrough(*this, src, srcWidth, srcHeight, dstWidth, dstHeight);
}
