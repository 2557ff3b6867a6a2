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

    /// Decodes the first image of a file with this header into new storage of `map`. Components
    /// of 16 bits are rounded to 8. False when the file is damaged or memory runs out.
    static bool decode(const ImageHeader& header, const std::vector<unsigned char>& file, TpixelMap& map);

    /// Encodes `map` as a whole file; PNG and TIFF with alpha, JPEG and BMP without. TIFF is not
    /// compressed. False when it fails.
    static bool encode(ImageKind kind, const TpixelMap& map, std::vector<unsigned char>& file);
};

/// The byte that is nearest to a component of 16 bits.
inline unsigned char byteOf16Bits(unsigned int component) {
    return static_cast<unsigned char>((component * 255U + 32767U) / 65535U);
}

/// The quality of JPEG files, of 100; high, for textures are looked at from near.
inline constexpr int kJpegQuality = 95;
