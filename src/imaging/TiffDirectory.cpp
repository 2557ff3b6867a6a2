#include "imaging/FileBytes.h"
#include "imaging/ImageHeader.h"
#include "imaging/ImageSize.h"

#include <algorithm>
#include <array>
#include <iterator>

// Tagged Image File Format: a directory of (tag, type, count, value or its place) tells where the
// strips or tiles of the image lie. Source: TIFF 6.0 and its supplements.

namespace {

// The fields that pixels are made of, by tag. What is not listed reaches no decoder: orientation
// (pixels are taken as they are stored), names, profiles, further directories.
enum TiffField : unsigned int {
    kWidth,
    kHeight,
    kBits,
    kCompression,
    kColors,
    kFillOrder,
    kStrips,
    kSamples,
    kRowsPerStrip,
    kStripBytes,
    kPlanes,
    kFax3Options,
    kFax4Options,
    kPredictor,
    kPalette,
    kTileWidth,
    kTileHeight,
    kTiles,
    kTileBytes,
    kExtraSamples,
    kSampleFormat,
    kJpegTables,
    kChromaWeights,
    kChromaSharing,
    kChromaPlace,
    kBlackAndWhite,
    kFieldCount
};
constexpr unsigned int kTags[kFieldCount] = {256, 257, 258, 259, 262, 266, 273, 277, 278, 279, 284, 292, 293,
                                             317, 320, 322, 323, 324, 325, 338, 339, 347, 529, 530, 531, 532};

enum TiffColors : unsigned int {
    kWhiteIsZero,
    kBlackIsZero,
    kRgb,
    kPaletteColors,
    kMask,
    kInks,
    kLumaChroma
};
enum TiffMethod : unsigned int {
    kPlain = 1,
    kFaxRuns = 2,
    kFax3 = 3,
    kFax4 = 4,
    kStrings = 5,
    kJpeg = 7,
    kDeflate = 8,
    kOldDeflate = 32946,
    kByteRuns = 32773
};

constexpr unsigned int kTypeSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
constexpr unsigned int kShortType = 3;

class TiffDirectory {
public:
    explicit TiffDirectory(std::vector<unsigned char>& file)
        : fFile(file), fBigEndian(file[0] == 'M'), fBytes(file.data(), file.size(), fBigEndian) {}

    /// The header of the file, which gets a directory of its own; `kNoImage` for a damaged one.
    ImageHeader prepare();

private:
    struct Field {
        bool present = false;
        std::uint64_t entry = 0;
        std::uint64_t place = 0; // of its first value
        std::uint32_t count = 0;
        unsigned int size = 0; // of a value
    };

    bool readFields();
    bool readColors();
    bool hasAllBlocks() const;
    std::uint64_t bytesOf(std::uint32_t width, std::uint32_t height) const;
    void widenPalette();
    void writeDirectory();

    std::uint32_t value(TiffField field, std::uint32_t index, std::uint32_t missing) const {
        const Field& f = fFields[field];
        if (index >= f.count) {
            return missing;
        }
        const std::uint64_t place = f.place + std::uint64_t{index} * f.size;
        return f.size == 4 ? fBytes.u32(place) : f.size == 2 ? fBytes.u16(place) : fBytes.u8(place);
    }
    std::uint32_t value(TiffField field, std::uint32_t missing) const { return value(field, 0, missing); }
    void put(std::uint64_t place, std::uint32_t number, unsigned int size) {
        for (unsigned int i = 0; i < size; ++i) {
            fFile[static_cast<std::size_t>(place + i)] =
                static_cast<unsigned char>(number >> 8 * (fBigEndian ? size - 1 - i : i));
        }
    }

    std::vector<unsigned char>& fFile;
    bool fBigEndian;
    FileBytes fBytes;
    std::array<Field, kFieldCount> fFields;
    std::uint32_t fWidth = 0;
    std::uint32_t fHeight = 0;
    unsigned int fBitsPerSample = 1;
    unsigned int fSamples = 1;
    unsigned int fColors = kBlackIsZero;
    bool fAlpha = false;
};

// The fields of the first directory; false when one of them lies outside the file.
bool TiffDirectory::readFields() {
    const std::uint64_t directory = fBytes.u32(4);
    const unsigned int entries = fBytes.u16(directory);
    if (!fBytes.has(directory, 2 + 12 * std::uint64_t{entries} + 4)) {
        return false;
    }
    for (unsigned int i = 0; i < entries; ++i) {
        const std::uint64_t entry = directory + 2 + 12 * std::uint64_t{i};
        const unsigned int type = fBytes.u16(entry + 2);
        Field field;
        field.present = true;
        field.entry = entry;
        field.count = fBytes.u32(entry + 4);
        field.size = type < std::size(kTypeSizes) ? kTypeSizes[type] : 0;
        const std::uint64_t bytes = std::uint64_t{field.count} * field.size;
        field.place = bytes <= 4 ? entry + 8 : fBytes.u32(entry + 8);
        if (!fBytes.has(field.place, bytes)) {
            return false; // also for what is dropped: the file is not complete
        }
        const auto* const tag = std::find(std::begin(kTags), std::end(kTags), fBytes.u16(entry));
        if (tag == std::end(kTags)) {
            continue;
        }
        if (bytes == 0) {
            return false;
        }
        fFields[static_cast<std::size_t>(tag - std::begin(kTags))] = field;
    }
    fWidth = value(kWidth, 0);
    fHeight = value(kHeight, 0);
    fBitsPerSample = value(kBits, 1);
    fSamples = value(kSamples, 1);
    fColors = value(kColors, kMask);
    return fBitsPerSample - 1 < 64 && fSamples - 1 < 64;
}

// What the samples of a pixel mean. The first one behind those of the colours is alpha.
bool TiffDirectory::readColors() {
    unsigned int samples = 0;
    switch (fColors) {
    case kWhiteIsZero:
    case kBlackIsZero:
    case kPaletteColors:
        samples = 1;
        break;
    case kRgb:
    case kLumaChroma:
        samples = 3;
        break;
    case kInks:
        samples = 4;
        break;
    default: // masks, and the colour spaces of laboratories
        return false;
    }
    fAlpha = fSamples > samples;
    const Field& palette = fFields[kPalette];
    return fSamples >= samples && (fColors != kPaletteColors || (fBitsPerSample <= 16 && palette.size == 2 &&
                                                                 palette.count >= 3U << fBitsPerSample));
}

// The bytes of a strip or tile of that size that is not compressed.
std::uint64_t TiffDirectory::bytesOf(std::uint32_t width, std::uint32_t height) const {
    if (value(kPlanes, 1) == 2) {
        return (std::uint64_t{width} * fBitsPerSample + 7) / 8 * height;
    }
    if (fColors == kLumaChroma) {
        const std::uint64_t across = std::clamp(value(kChromaSharing, 0, 2), 1U, 4U);
        const std::uint64_t down = std::clamp(value(kChromaSharing, 1, 2), 1U, 4U);
        const std::uint64_t clusters = (width + across - 1) / across;
        return (clusters * (across * down + 2) * fBitsPerSample + 7) / 8 * ((height + down - 1) / down);
    }
    return (std::uint64_t{width} * fSamples * fBitsPerSample + 7) / 8 * height;
}

// Whether the strips or tiles cover the image, lie in the file and, as far as can be told without
// decoding them, are long enough.
bool TiffDirectory::hasAllBlocks() const {
    const bool tiled = fFields[kTiles].present;
    const TiffField places = tiled ? kTiles : kStrips;
    const TiffField lengths = tiled ? kTileBytes : kStripBytes;
    const std::uint32_t width = tiled ? value(kTileWidth, 0) : fWidth;
    const std::uint32_t height =
        tiled ? value(kTileHeight, 0) : std::min(value(kRowsPerStrip, fHeight), fHeight);
    // A tile may be larger than a small image, though not at any cost.
    constexpr std::uint64_t kSmallArea = 1U << 20;
    const std::uint64_t area = std::uint64_t{width} * height;
    if (width == 0 || height == 0 || area > std::max(kSmallArea, std::uint64_t{4} * fWidth * fHeight)) {
        return false;
    }
    const std::uint64_t wide = (std::uint64_t{fWidth} + width - 1) / width;
    const std::uint64_t high = (std::uint64_t{fHeight} + height - 1) / height;
    const std::uint64_t blocks = wide * high * (value(kPlanes, 1) == 2 ? fSamples : 1);
    const auto isUsable = [this, blocks](TiffField field) {
        return fFields[field].count >= blocks && (fFields[field].size == 2 || fFields[field].size == 4);
    };
    if (!isUsable(places) || !isUsable(lengths)) {
        return false;
    }
    for (std::uint64_t i = 0; i < blocks; ++i) {
        const auto index = static_cast<std::uint32_t>(i);
        const std::uint32_t length = value(lengths, index, 0);
        const std::uint64_t row = i / wide % high;
        const std::uint32_t rows =
            tiled ? height
                  : static_cast<std::uint32_t>(std::min<std::uint64_t>(height, fHeight - row * height));
        const std::uint64_t needed = value(kCompression, 1) == kPlain ? bytesOf(width, rows) : 1;
        if (length < needed || !fBytes.has(value(places, index, 0), length)) {
            return false;
        }
    }
    return true;
}

// Some old files have colours of 8 bits in their palette, where 16 are asked for.
void TiffDirectory::widenPalette() {
    const Field& palette = fFields[kPalette];
    std::uint32_t most = 0;
    for (std::uint32_t i = 0; i < palette.count; ++i) {
        most = std::max(most, value(kPalette, i, 0));
    }
    for (std::uint32_t i = 0; i < palette.count && most < 256; ++i) {
        put(palette.place + 2 * std::uint64_t{i}, value(kPalette, i, 0) * 257, 2);
    }
}

// Puts a directory of the fields that are kept behind the file and makes it the only one. Alpha is
// declared to be stored beside the colours, whatever it is: decoders do not agree on the rest.
void TiffDirectory::writeDirectory() {
    unsigned int count = 0;
    std::size_t at = (fFile.size() + 1) / 2 * 2;
    put(4, static_cast<std::uint32_t>(at), 4);
    fFile.resize(at + 2 + 12 * std::size_t{kFieldCount} + 4); // zeros at its end: no further directory
    const std::size_t directory = at;
    at += 2;
    for (unsigned int i = 0; i < kFieldCount; ++i) {
        if (i == kExtraSamples ? !fAlpha : !fFields[i].present) {
            continue;
        }
        if (i == kExtraSamples) {
            constexpr unsigned int kUnassociatedAlpha = 2;
            put(at, kTags[i], 2);
            put(at + 2, kShortType, 2);
            put(at + 4, 1, 4);
            put(at + 8, kUnassociatedAlpha, 2);
        } else {
            std::copy_n(fFile.begin() + static_cast<std::ptrdiff_t>(fFields[i].entry), 12,
                        fFile.begin() + static_cast<std::ptrdiff_t>(at));
        }
        at += 12;
        ++count;
    }
    put(directory, count, 2);
}

ImageHeader TiffDirectory::prepare() {
    if (!readFields() || !readColors()) {
        return {};
    }
    std::uint64_t bitsPerPixel = std::uint64_t{fBitsPerSample} * fSamples;
    std::uint64_t bestRatio = 4096;
    switch (value(kCompression, 1)) {
    case kPlain: // shared colour components make up for 4 at most
        bestRatio = 4;
        break;
    case kStrings: // at best 12 bits for the longest string of its table
    case kJpeg:
    case kDeflate:
    case kOldDeflate:
    case kByteRuns:
        break;
    case kFaxRuns:
    case kFax3:
    case kFax4: // at best a bit for a row
        bitsPerPixel = 1;
        bestRatio = 65536;
        break;
    default:
        return {};
    }
    ImageHeader header =
        acceptedHeader(kTiffImage, fWidth, fHeight, bitsPerPixel, fBytes.count() * 8 * bestRatio);
    if (header.kind == kNoImage || !hasAllBlocks()) {
        return {};
    }
    constexpr unsigned int kAssociatedAlpha = 1;
    header.associatedAlpha = fAlpha && value(kExtraSamples, 0) == kAssociatedAlpha;
    if (fColors == kPaletteColors) {
        widenPalette();
    }
    writeDirectory();
    return header;
}

} // namespace

ImageHeader prepareTiff(std::vector<unsigned char>& file) {
    return TiffDirectory(file).prepare();
}
