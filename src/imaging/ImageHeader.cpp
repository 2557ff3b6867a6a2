#include "imaging/ImageHeader.h"

#include "imaging/ImageSize.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace {

// Numbers out of a file; 0 beyond its end.
class Bytes {
public:
    Bytes(const unsigned char* bytes, std::size_t count) : fBytes(bytes), fCount(count) {}

    std::uint64_t count() const { return fCount; }
    bool has(std::uint64_t offset, std::uint64_t length) const {
        return offset <= fCount && length <= fCount - offset;
    }
    bool matches(std::uint64_t offset, const char* text, std::size_t length) const {
        return has(offset, length) && std::memcmp(fBytes + offset, text, length) == 0;
    }
    unsigned int u8(std::uint64_t offset) const {
        return offset < fCount ? fBytes[static_cast<std::size_t>(offset)] : 0;
    }
    unsigned int u16(std::uint64_t offset) const {
        const unsigned int first = u8(offset);
        const unsigned int second = u8(offset + 1);
        return bigEndian ? first << 8 | second : second << 8 | first;
    }
    std::uint32_t u32(std::uint64_t offset) const {
        const std::uint32_t first = u16(offset);
        const std::uint32_t second = u16(offset + 2);
        return bigEndian ? first << 16 | second : second << 16 | first;
    }

    bool bigEndian = true;

private:
    const unsigned char* fBytes;
    std::size_t fCount;
};

constexpr ImageHeader kRefused{};

// The header, unless its size is out of bounds or takes more than `mostBits` bits of pixels.
ImageHeader accepted(ImageKind kind, std::uint32_t width, std::uint32_t height, std::uint64_t bitsPerPixel,
                     std::uint64_t mostBits) {
    if (width > kMaxFileSide || height > kMaxFileSide || imageBytes(width, height, 1, 4) == 0 ||
        bitsPerPixel * width * height > mostBits) {
        return kRefused;
    }
    return {kind, width, height};
}

// Portable Network Graphics: chunks of (length, name, data, check sum) from IHDR to IEND.
ImageHeader readPng(const Bytes& file) {
    if (!file.matches(12, "IHDR", 4)) {
        return kRefused;
    }
    std::uint64_t chunk = 8;
    std::uint64_t transparency = 0;
    while (!file.matches(chunk + 4, "IEND", 4)) {
        if (file.matches(chunk + 4, "tRNS", 4) && file.u32(chunk) == 6) {
            transparency = chunk + 8;
        }
        chunk += std::uint64_t{12} + file.u32(chunk);
        if (!file.has(chunk, 12)) {
            return kRefused;
        }
    }
    constexpr unsigned int kChannels[8] = {1, 0, 3, 1, 2, 0, 4, 0};
    const unsigned int bits = file.u8(24) * kChannels[file.u8(25) & 7];
    // Deflate makes 258 bytes of two bits at best.
    ImageHeader header = accepted(kPngImage, file.u32(16), file.u32(20), bits, file.count() * 8 * 1032);
    if (transparency != 0 && file.u8(24) == 8 && file.u8(25) == 2) {
        // The low bytes of three numbers.
        header.transparentColor = static_cast<int>(
            file.u8(transparency + 1) << 16 | file.u8(transparency + 3) << 8 | file.u8(transparency + 5));
    }
    return header;
}

// Joint Photographic Experts Group: segments of (0xFF, marker, length, data), entropy-coded data
// behind each start of scan, up to the end of image.
ImageHeader readJpeg(const Bytes& file) {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    bool scanned = false;
    bool huffman = true;
    for (std::uint64_t at = 2; at < file.count();) {
        const unsigned int marker = file.u8(at + 1);
        if (file.u8(at) != 0xff || marker == 0xff) {
            // A fill byte before a marker, or entropy-coded data.
            if (file.u8(at) != 0xff && !scanned) {
                return kRefused;
            }
            ++at;
        } else if (marker == 0xd9) {
            // A block of 8 x 8 pixels takes a bit at least.
            return scanned ? accepted(kJpegImage, width, height, 1, file.count() * (huffman ? 512 : 65536))
                           : kRefused;
        } else if (marker == 0 || marker == 1 || (marker >= 0xd0 && marker <= 0xd7)) {
            at += 2; // a stuffed byte or a marker without data
        } else {
            if (marker >= 0xc0 && marker <= 0xcf && marker != 0xc4 && marker != 0xc8 && marker != 0xcc) {
                huffman = marker < 0xc8;
                height = file.u16(at + 5);
                width = file.u16(at + 7);
            }
            scanned = scanned || marker == 0xda;
            at += 2 + std::max(file.u16(at + 2), 2U);
        }
    }
    return kRefused;
}

// Windows bitmaps: a file header of 14 bytes, an information header that begins with its size, the
// pixels; rows fill up to four bytes.
ImageHeader readBmp(Bytes file) {
    file.bigEndian = false;
    const std::uint32_t pixels = file.u32(10);
    const std::uint32_t headerSize = file.u32(14);
    const bool core = headerSize == 12;
    if ((!core && (headerSize < 40 || headerSize > 124)) || pixels < 14 + headerSize) {
        return kRefused;
    }
    const std::uint32_t width = core ? file.u16(18) : file.u32(18);
    std::uint32_t height = core ? file.u16(20) : file.u32(22);
    if (!core && height > 0x7fffffff) {
        height = 0U - height; // top row first
    }
    const unsigned int bits = core ? file.u16(24) : file.u16(28);
    const std::uint32_t compression = core ? 0 : file.u32(30);
    if (compression == 1 || compression == 2) {
        // Runs: two bytes skip a row at best.
        return file.has(pixels, std::max(file.u32(34), 2U))
                   ? accepted(kBmpImage, width, height, 1, file.count() * 65536)
                   : kRefused;
    }
    const std::uint64_t rowBytes = (std::uint64_t{width} * bits + 31) / 32 * 4;
    if (bits == 0 || (compression != 0 && compression != 3) || width > kMaxFileSide ||
        height > kMaxFileSide || !file.has(pixels, rowBytes * height)) {
        return kRefused;
    }
    return accepted(kBmpImage, width, height, bits, file.count() * 8);
}

// Tagged Image File Format: a directory of (tag, type, count, value or its place) tells where the
// strips or tiles of the image lie.
ImageHeader readTiff(Bytes file) {
    file.bigEndian = file.u8(0) == 'M';
    constexpr unsigned int kTypeSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
    struct Field {
        std::uint64_t place = 0;
        std::uint32_t count = 0;
        unsigned int size = 0;
    };
    Field width, height, bits, compression, samples, offsets, lengths;

    const std::uint64_t directory = file.u32(4);
    const unsigned int entries = file.u16(directory);
    if (!file.has(directory, 2 + 12 * std::uint64_t{entries} + 4)) {
        return kRefused;
    }
    for (unsigned int i = 0; i < entries; ++i) {
        const std::uint64_t entry = directory + 2 + 12 * std::uint64_t{i};
        const unsigned int type = file.u16(entry + 2);
        Field field;
        field.count = file.u32(entry + 4);
        field.size = type < std::size(kTypeSizes) ? kTypeSizes[type] : 0;
        const std::uint64_t bytes = std::uint64_t{field.count} * field.size;
        field.place = bytes <= 4 ? entry + 8 : file.u32(entry + 8);
        if (!file.has(field.place, bytes)) {
            return kRefused;
        }
        switch (file.u16(entry)) {
        case 256:
            width = field;
            break;
        case 257:
            height = field;
            break;
        case 258:
            bits = field;
            break;
        case 259:
            compression = field;
            break;
        case 277:
            samples = field;
            break;
        case 273: // strips
        case 324: // tiles
            offsets = field;
            break;
        case 279:
        case 325:
            lengths = field;
            break;
        default:
            break;
        }
    }
    const auto value = [&file](const Field& field, std::uint32_t index, std::uint32_t missing) {
        if (index >= field.count) {
            return missing;
        }
        const std::uint64_t place = field.place + std::uint64_t{index} * field.size;
        return field.size == 4 ? file.u32(place) : field.size == 2 ? file.u16(place) : file.u8(place);
    };
    if (offsets.count == 0 || (offsets.size != 2 && offsets.size != 4)) {
        return kRefused;
    }
    for (std::uint32_t i = 0; i < offsets.count; ++i) {
        if (!file.has(value(offsets, i, 0), value(lengths, i, 1))) {
            return kRefused;
        }
    }
    std::uint64_t bitsPerPixel =
        std::uint64_t{std::clamp(value(bits, 0, 1), 1U, 64U)} * std::clamp(value(samples, 0, 1), 1U, 64U);
    std::uint64_t ratio = 0;
    switch (value(compression, 0, 1)) {
    case 1: // none; shared colour components make up for 4 at most
        ratio = 4;
        break;
    case 5:     // LZW: at best 12 bits for the longest string of its table
    case 8:     // Deflate
    case 32946: // Deflate
    case 32773: // runs of bytes
        ratio = 4096;
        break;
    default: // fax and the like: at best a bit per row
        bitsPerPixel = 1;
        ratio = 65536;
        break;
    }
    return accepted(kTiffImage, value(width, 0, 0), value(height, 0, 0), bitsPerPixel,
                    file.count() * 8 * ratio);
}

} // namespace

ImageKind identifyImage(const unsigned char* bytes, std::size_t count) {
    const Bytes file(bytes, count);
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

ImageHeader readImageHeader(const unsigned char* bytes, std::size_t count) {
    const Bytes file(bytes, count);
    switch (identifyImage(bytes, count)) {
    case kPngImage:
        return readPng(file);
    case kTiffImage:
        return readTiff(file);
    case kJpegImage:
        return readJpeg(file);
    case kBmpImage:
        return readBmp(file);
    default:
        return kRefused;
    }
}
