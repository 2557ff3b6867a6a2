#pragma once

#include "imaging/ImageHeader.h"

#include <cstddef>
#include <vector>

class TpixelMap;

/// The platform's image library, from memory to memory: the Windows Imaging Component on Windows,
/// GraphicsMagick elsewhere, or none. Nothing else in qv sees which.
class ImageCodec {
public:
    /// Whether there is an image library in this build.
    static bool available();

    /// Decodes a PNG, TIFF or JPEG file that `prepareImage` has accepted into new storage of `map`.
    /// Components of 16 bits are rounded to 8. False when the file is damaged or memory runs out.
    static bool decode(const ImageHeader& header, const std::vector<unsigned char>& file, TpixelMap& map);

    /// Encodes `map` as a whole PNG, TIFF or JPEG file; JPEG without alpha, TIFF not compressed.
    /// False when it fails.
    static bool encode(ImageKind kind, const TpixelMap& map, std::vector<unsigned char>& file);
};

/// The byte that is nearest to a component of 16 bits.
inline unsigned char byteOf16Bits(unsigned int component) {
    return static_cast<unsigned char>((component * 255U + 32767U) / 65535U);
}

/// A component of 16 bits that was stored multiplied by its alpha, without it; as it is where alpha
/// is 0.
inline unsigned int withoutAlpha(unsigned int component, unsigned int alpha) {
    constexpr unsigned int kMost = 65535;
    if (alpha == 0) {
        return component;
    }
    return component >= alpha ? kMost : (component * kMost + alpha / 2) / alpha;
}

/// Stores a pixel of 16-bit components in the four bytes of a pixel map.
inline void storePixel(unsigned char* out, unsigned int blue, unsigned int green, unsigned int red,
                       unsigned int alpha, bool associatedAlpha) {
    out[0] = byteOf16Bits(associatedAlpha ? withoutAlpha(blue, alpha) : blue);
    out[1] = byteOf16Bits(associatedAlpha ? withoutAlpha(green, alpha) : green);
    out[2] = byteOf16Bits(associatedAlpha ? withoutAlpha(red, alpha) : red);
    out[3] = byteOf16Bits(alpha);
}

/// The quality of JPEG files, of 100; high, for textures are looked at from near.
inline constexpr int kJpegQuality = 95;
