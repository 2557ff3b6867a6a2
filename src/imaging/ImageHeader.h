#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// The kinds of image files.
enum ImageKind : int { kNoImage = 0, kPngImage, kTiffImage, kJpegImage, kBmpImage };

/// What the library knows of an image file before anyone decodes it.
struct ImageHeader {
    ImageKind kind = kNoImage;
    unsigned int width = 0;
    unsigned int height = 0;
    /// The colour, 0xRRGGBB, that a PNG file of 8-bit RGB names as its transparent one; -1: none.
    int transparentColor = -1;
    /// Whether the colours of a TIFF file are stored multiplied by their alpha.
    bool associatedAlpha = false;
};

/// Whether these first bytes of a file (at least four) begin one of the kinds.
ImageKind identifyImage(const unsigned char* bytes, std::size_t count);

/// Looks through the structure of a whole image file, trusting no bounds but its size, and cuts the
/// file down to what its pixels are made of: no comments, profiles, thumbnails or further images
/// reach a decoder.
///
/// The kind is `kNoImage` when the bytes are no such file, when the file is damaged or not complete,
/// when a side is 0 or above `kMaxFileSide`, when the pixels exceed `kMaxImageBytes`, and when the
/// file claims more pixels than so few bytes can hold. So a decoder is given complete files of
/// sensible sizes only, the same ones on every platform. Takes O(size) time at most. May throw
/// `std::bad_alloc`.
ImageHeader prepareImage(std::vector<unsigned char>& file);

// `prepareImage` for each kind of files, in a source of its own.
ImageHeader preparePng(std::vector<unsigned char>& file);
ImageHeader prepareTiff(std::vector<unsigned char>& file);
ImageHeader prepareJpeg(std::vector<unsigned char>& file);
ImageHeader prepareBmp(const std::vector<unsigned char>& file);

/// The header of a file of that size, unless a side or the image is too large or its pixels take
/// more than `mostBits` bits.
ImageHeader acceptedHeader(ImageKind kind, std::uint32_t width, std::uint32_t height,
                           std::uint64_t bitsPerPixel, std::uint64_t mostBits);
