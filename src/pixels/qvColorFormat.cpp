#include "pixels/qvColorFormat.h"

qvColorFormat::qvColorFormat(unsigned int bytesPerPixel, ColorFormat format)
    : fBytesPerPixel(bytesPerPixel), fColorFormat(format) {}

qvColorFormat::~qvColorFormat() = default;

void* qvColorFormat::allocate(unsigned int /*width*/, unsigned int /*height*/, unsigned int /*depth*/) const {
    return nullptr;
}

void qvColorFormat::deallocate(void* /*storage*/) const {}
