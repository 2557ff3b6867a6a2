#include "pixels/qvSysPixelFormat.h"

#include "imaging/ImageSize.h"

#include <cstdlib>

qvSysPixelFormat::~qvSysPixelFormat() = default;

void qvSysPixelFormat::setPixelType(ColorFormat type) {
    fPixelType = type;
    switch (type) {
    case kRGBFixed8Format:
    case kBGRFixed8Format:
        fPixelSize = 3;
        break;
    case kRGBAFixed8Format:
    case kBGRAFixed8Format:
    case kDepth32Format:
        fPixelSize = 4;
        break;
    case kRGBAFloatFormat:
        fPixelSize = 16;
        break;
    case kLuminanceFixed8Format:
        fPixelSize = 1;
        break;
    case kLuminanceAlphaFixed8Format:
        fPixelSize = 2;
        break;
    default:
        break;
    }
}

void* qvSysPixelFormat::allocate(unsigned int width, unsigned int height, unsigned int depth) const {
    const std::size_t bytes = imageBytes(width, height, depth, fPixelSize);
    return bytes > 0 ? std::malloc(bytes) : nullptr;
}

void qvSysPixelFormat::deallocate(void* storage) const {
    std::free(storage);
}
