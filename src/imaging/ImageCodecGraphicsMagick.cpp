#include "imaging/ImageCodec.h"
#include "imaging/ImageSize.h"
#include "imaging/TpixelMap.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include <magick/api.h>

// The library is handed blocks of memory whose kind is known: no path, no prefix of a path and no
// content makes it choose a coder of its own, start a program or open another file.

namespace {

// The state of one call of the library.
class Errors {
public:
    Errors() { GetExceptionInfo(&fInfo); }
    Errors(const Errors&) = delete;
    Errors& operator=(const Errors&) = delete;
    ~Errors() { DestroyExceptionInfo(&fInfo); }

    ExceptionInfo* info() { return &fInfo; }
    /// Warnings are no failure: readers warn about fields that they do not know.
    bool failed() const { return fInfo.severity >= ErrorException; }

private:
    ExceptionInfo fInfo;
};

struct Release {
    void operator()(Image* image) const { DestroyImageList(image); }
    void operator()(ImageInfo* info) const { DestroyImageInfo(info); }
    void operator()(void* block) const { MagickFree(block); }
};
using OwnedImage = std::unique_ptr<Image, Release>;
using OwnedInfo = std::unique_ptr<ImageInfo, Release>;
using OwnedBlock = std::unique_ptr<void, Release>;

// What the library holds for a pixel: four components, an index, and the coefficients or the strip
// that its decoder works on.
constexpr std::size_t kPixelBytes = sizeof(PixelPacket) + sizeof(IndexPacket) + 8;

// The library ends the process where memory runs out for its small things. So it is only called
// when there is enough for the pixels, and this much more.
constexpr std::size_t kSpareBytes = std::size_t{16} << 20;

bool hasMemoryFor(unsigned int width, unsigned int height) {
    // Volatile, because a compiler may leave out an allocation that nobody uses.
    void* volatile block = std::malloc(kSpareBytes + kPixelBytes * width * height);
    const bool enough = block != nullptr;
    std::free(block);
    return enough;
}

// Limits hold for the whole process; one that the host has set lower stays.
void limit(ResourceType resource, magick_int64_t most) {
    if (GetMagickResourceLimit(resource) > most) {
        SetMagickResourceLimit(resource, most);
    }
}

// Once per process; the host's signal handlers stay as they are.
bool startLibrary() {
    static const bool fsStarted = [] {
        Errors errors;
        if (InitializeMagickEx(nullptr, MAGICK_OPT_NO_SIGNAL_HANDER, errors.info()) == MagickFail) {
            return false;
        }
        constexpr auto kMostPixels = static_cast<magick_int64_t>(kMaxImageBytes / 4);
        limit(WidthResource, kMaxFileSide);
        limit(HeightResource, kMaxFileSide);
        limit(PixelsResource, kMostPixels);
        limit(MemoryResource,
              kMostPixels * static_cast<magick_int64_t>(sizeof(PixelPacket) + sizeof(IndexPacket)));
        limit(DiskResource, 0);    // pixels stay in memory
        limit(ThreadsResource, 1); // qv runs on the host's thread
        return true;
    }();
    return fsStarted;
}

const char* coderOf(ImageKind kind) {
    switch (kind) {
    case kPngImage:
        return "PNG";
    case kTiffImage:
        return "TIFF";
    default:
        return "JPEG";
    }
}

OwnedInfo infoFor(ImageKind kind) {
    OwnedInfo info(CloneImageInfo(nullptr));
    std::snprintf(info->magick, sizeof info->magick, "%s", coderOf(kind));
    info->subimage = 0;
    info->subrange = 1; // the first image only
    return info;
}

} // namespace

bool ImageCodec::available() {
    return true;
}

bool ImageCodec::decode(const ImageHeader& header, const std::vector<unsigned char>& file, TpixelMap& map) {
    if (map.create(header.width, header.height) != 0 || !hasMemoryFor(header.width, header.height) ||
        !startLibrary()) {
        return false;
    }
    Errors errors;
    const OwnedInfo info = infoFor(header.kind);
    const OwnedImage image(BlobToImage(info.get(), file.data(), file.size(), errors.info()));
    if (!image || errors.failed() || image->columns != header.width || image->rows != header.height) {
        return false;
    }
    if (!IsRGBCompatibleColorspace(image->colorspace) && !TransformColorspace(image.get(), RGBColorspace)) {
        return false;
    }
    static_assert(MaxRGB == 65535, "components of 16 bits");
    unsigned char* out = map.pixels();
    for (unsigned int y = 0; y < header.height; ++y) {
        const PixelPacket* row =
            AcquireImagePixels(image.get(), 0, static_cast<long>(y), header.width, 1, errors.info());
        if (!row) {
            return false;
        }
        for (const PixelPacket* pixel = row; pixel != row + header.width; ++pixel, out += 4) {
            const unsigned int alpha = image->matte ? MaxRGB - pixel->opacity : MaxRGB;
            storePixel(out, pixel->blue, pixel->green, pixel->red, alpha, header.associatedAlpha);
            // The library compares the transparent colour of 8 bits with components of 16.
            if ((out[2] << 16 | out[1] << 8 | out[0]) == header.transparentColor) {
                out[3] = 0;
            }
        }
    }
    return true;
}

bool ImageCodec::encode(ImageKind kind, const TpixelMap& map, std::vector<unsigned char>& file) {
    if (!hasMemoryFor(map.bounds().width(), map.bounds().height()) || !startLibrary()) {
        return false;
    }
    Errors errors;
    const OwnedImage image(ConstituteImage(map.bounds().width(), map.bounds().height(), "BGRA", CharPixel,
                                           map.pixels(), errors.info()));
    if (!image || errors.failed()) {
        return false;
    }
    const OwnedInfo info = infoFor(kind);
    info->compression = kind == kTiffImage ? NoCompression : UndefinedCompression;
    if (kind == kJpegImage) {
        info->quality = kJpegQuality;
    }
    image->compression = info->compression;
    image->matte = kind != kJpegImage;
    AddDefinition(info.get(), "tiff", "alpha", "unassociated", errors.info());
    std::snprintf(image->magick, sizeof image->magick, "%s", info->magick);
    std::size_t length = 0;
    const OwnedBlock block(ImageToBlob(info.get(), image.get(), &length, errors.info()));
    if (!block || errors.failed() || image->exception.severity >= ErrorException) {
        return false;
    }
    const auto* bytes = static_cast<const unsigned char*>(block.get());
    file.assign(bytes, bytes + length);
    return true;
}
