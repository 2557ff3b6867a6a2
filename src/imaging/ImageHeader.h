#pragma once

#include <cstddef>

/// The kinds of image files.
enum ImageKind : int { kNoImage = 0, kPngImage, kTiffImage, kJpegImage, kBmpImage };

/// What the library knows of an image file before anyone decodes it.
struct ImageHeader {
    ImageKind kind = kNoImage;
    unsigned int width = 0;
    unsigned int height = 0;
    /// The colour, 0xRRGGBB, that a PNG file of 8-bit RGB names as its transparent one; -1: none.
    int transparentColor = -1;
};

/// Whether these first bytes of a file (at least four) begin one of the kinds.
ImageKind identifyImage(const unsigned char* bytes, std::size_t count);

/// Looks through the structure of a whole image file, with no other bounds trusted than `count`.
///
/// The kind is `kNoImage` when the bytes are no such file, when the file is not complete, when a
/// side is 0 or above `kMaxFileSide`, when the pixels exceed `kMaxImageBytes`, and when it claims
/// more pixels than so few bytes can hold. So a decoder is given complete files of sensible sizes
/// only, the same ones on every platform. Takes O(`count`) time at most.
ImageHeader readImageHeader(const unsigned char* bytes, std::size_t count);
