#include "imaging/ImageHeader.h"

#include "imaging/FileBytes.h"
#include "imaging/ImageSize.h"

ImageKind identifyImage(const unsigned char* bytes, std::size_t count) {
    const FileBytes file(bytes, count, true);
    if (file.matches(0, "\x89PNG\r\n\x1a\n", 8)) {
        return kPngImage;
    }
    if (file.matches(0, "II*\0", 4) || file.matches(0, "MM\0*", 4)) {
        return kTiffImage;
    }
    if (file.matches(0, "\xff\xd8\xff", 3)) {
        return kJpegImage;
    }
    return file.matches(0, "BM", 2) ? kBmpImage : kNoImage;
}

ImageHeader prepareImage(std::vector<unsigned char>& file) {
    switch (identifyImage(file.data(), file.size())) {
    case kPngImage:
        return preparePng(file);
    case kTiffImage:
        return prepareTiff(file);
    case kJpegImage:
        return prepareJpeg(file);
    case kBmpImage:
        return prepareBmp(file);
    default:
        return {};
    }
}

ImageHeader acceptedHeader(ImageKind kind, std::uint32_t width, std::uint32_t height,
                           std::uint64_t bitsPerPixel, std::uint64_t mostBits) {
    if (width > kMaxFileSide || height > kMaxFileSide || imageBytes(width, height, 1, 4) == 0 ||
        bitsPerPixel * width * height > mostBits) {
        return {};
    }
    return {kind, width, height};
}
