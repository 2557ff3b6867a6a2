#pragma once

#include "imaging/TportRect.h"

#include <cstdlib>
#include <memory>

/// An image of four bytes per pixel (blue, green, red, alpha as the image files see it), tightly
/// packed, top row first. Owns its pixels or stands before a buffer of the caller's.
///
/// Operations return 0 on success, another number otherwise, and then leave the map as it was.
class TpixelMap {
public:
    /// A map without pixels.
    TpixelMap() = default;
    TpixelMap(const TpixelMap&) = delete;
    TpixelMap& operator=(const TpixelMap&) = delete;

    /// Takes storage of its own; the pixels are not initialised.
    int create(unsigned int width, unsigned int height);
    /// Stands before `pixels`, which must outlive the map or the next call of this or `create`.
    void setPixelPtr(unsigned char* pixels, const TportRect& bounds);

    unsigned char* pixels() { return fPixels; }
    const unsigned char* pixels() const { return fPixels; }
    const TportRect& bounds() const { return fBounds; }

    /// Exchanges the first and the third component of every pixel.
    void rgbaSwitch();

    /// Scales the image to the extents of `to`, into storage of its own: interpolates when
    /// enlarging, averages when reducing; each component by itself.
    int zoom(const TportRect& to);

private:
    struct Free {
        void operator()(unsigned char* storage) const { std::free(storage); }
    };

    unsigned char* fPixels = nullptr;
    TportRect fBounds;
    std::unique_ptr<unsigned char[], Free> fOwned;
};
