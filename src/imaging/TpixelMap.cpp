#include "imaging/TpixelMap.h"

#include "imaging/ImageSize.h"
#include "imaging/Resample.h"

#include <new>
#include <utility>

int TpixelMap::create(unsigned int width, unsigned int height) {
    const std::size_t bytes = imageBytes(width, height, 1, 4);
    auto* storage = bytes > 0 ? static_cast<unsigned char*>(std::malloc(bytes)) : nullptr;
    if (!storage) {
        return 1;
    }
    fOwned.reset(storage);
    fPixels = storage;
    fBounds = TportRect(0, 0, static_cast<int>(width), static_cast<int>(height));
    return 0;
}

void TpixelMap::setPixelPtr(unsigned char* pixels, const TportRect& bounds) {
    fOwned.reset();
    fPixels = pixels;
    fBounds = bounds;
}

void TpixelMap::rgbaSwitch() {
    if (!fPixels) {
        return;
    }
    const std::size_t bytes = imageBytes(fBounds.width(), fBounds.height(), 1, 4);
    for (std::size_t i = 0; i < bytes; i += 4) {
        std::swap(fPixels[i], fPixels[i + 2]);
    }
}

int TpixelMap::zoom(const TportRect& to) {
    const unsigned int width = fBounds.width();
    const unsigned int height = fBounds.height();
    if (!fPixels || imageBytes(width, height, 1, 4) == 0) {
        return 1;
    }
    if (to.width() == width && to.height() == height) {
        fBounds = to;
        return 0;
    }
    try {
        TpixelMap zoomed;
        if (zoomed.create(to.width(), to.height()) != 0) {
            return 1;
        }
        resampleBytes(fPixels, AxisFilter::tent(width, to.width()), AxisFilter::tent(height, to.height()),
                      zoomed.fPixels);
        fOwned = std::move(zoomed.fOwned);
        fPixels = fOwned.get();
        fBounds = to;
        return 0;
    } catch (const std::bad_alloc&) {
        return 1;
    }
}
