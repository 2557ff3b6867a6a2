#include "imaging/TimageFile.h"

#include "imaging/BmpFile.h"
#include "imaging/ImageCodec.h"
#include "imaging/ImageSize.h"
#include "imaging/TpixelMap.h"

#include <memory>
#include <new>

namespace {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

// The whole file, when it begins like an image. The size is asked for before anything is allocated.
bool readFile(const FilePath& path, std::vector<unsigned char>& bytes) {
    const std::unique_ptr<std::FILE, CloseFile> file(openOrdinaryFile(path));
    unsigned char start[8];
    if (!file || identifyImage(start, std::fread(start, 1, sizeof start, file.get())) == kNoImage ||
        std::fseek(file.get(), 0, SEEK_END) != 0) {
        return false;
    }
    const long size = std::ftell(file.get());
    if (size <= 0 || static_cast<unsigned long>(size) > kMaxImageBytes) {
        return false;
    }
    std::rewind(file.get());
    bytes.resize(static_cast<std::size_t>(size));
    return std::fread(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
}

ImageKind kindOf(const Tstring& fileKind) {
    constexpr struct {
        const char* name;
        ImageKind kind;
    } kKinds[] = {{"png", kPngImage}, {"tif", kTiffImage}, {"jpg", kJpegImage}, {"bmp", kBmpImage}};
    for (const auto& row : kKinds) {
        if (fileKind.equalsIgnoringCase(row.name)) {
            return row.kind;
        }
    }
    return kNoImage;
}

// What every operation returns when it could not do its work.
constexpr int kFailed = 1;

} // namespace

int TimageFile::identifyAndOpen(const FilePath& path, bool forWriting, int imageIndex) {
    fHeader = ImageHeader();
    fBytes.clear();
    if (forWriting || imageIndex != 0 || !ImageCodec::available()) {
        return kFailed;
    }
    try {
        if (readFile(path, fBytes)) {
            fHeader = prepareImage(fBytes);
        }
    } catch (const std::bad_alloc&) { // the header stays empty
    }
    return fHeader.kind != kNoImage ? 0 : kFailed;
}

int TimageFile::readPixelMap(TpixelMap& map) const {
    try {
        switch (fHeader.kind) {
        case kNoImage:
            return kFailed;
        case kBmpImage:
            return decodeBmp(fBytes, map) ? 0 : kFailed;
        default:
            return ImageCodec::decode(fHeader, fBytes, map) ? 0 : kFailed;
        }
    } catch (const std::bad_alloc&) {
        return kFailed;
    }
}

int TimageFile::create(const FilePath& path, unsigned int width, unsigned int height,
                       TiffCompression compression, const Tstring& fileKind) {
    fFile.discard();
    fHeader = {kindOf(fileKind), width, height};
    if (fHeader.kind == kNoImage || compression != kNoTiffCompression || width > kMaxFileSide ||
        height > kMaxFileSide || imageBytes(width, height, 1, 4) == 0 || !ImageCodec::available()) {
        return kFailed;
    }
    return fFile.begin(path) ? 0 : kFailed;
}

int TimageFile::writePixelMap(const TpixelMap& map) {
    if (!fFile.isBegun() || !map.pixels() || map.bounds().width() != fHeader.width ||
        map.bounds().height() != fHeader.height) {
        return kFailed;
    }
    try {
        std::vector<unsigned char> bytes;
        if (fHeader.kind == kBmpImage) {
            encodeBmp(map, bytes);
        } else if (!ImageCodec::encode(fHeader.kind, map, bytes)) {
            return kFailed;
        }
        return fFile.write(bytes.data(), bytes.size()) ? 0 : kFailed;
    } catch (const std::bad_alloc&) {
        return kFailed;
    }
}

int TimageFile::close() {
    return fFile.finish() ? 0 : kFailed;
}
