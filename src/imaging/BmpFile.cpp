#include "imaging/BmpFile.h"

#include "imaging/FileBytes.h"
#include "imaging/ImageHeader.h"
#include "imaging/ImageSize.h"
#include "imaging/TpixelMap.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <iterator>

// A file header of 14 bytes, an information header that begins with its size, masks or a palette,
// the rows of pixels. Rows fill up to four bytes; numbers have their low byte first.

namespace {

enum BmpCompression : unsigned int { kNone = 0, kRuns8 = 1, kRuns4 = 2, kMasks = 3 };

struct BmpHeader {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    bool topRowFirst = false;
    unsigned int bits = 0;
    std::uint32_t compression = kNone;
    std::uint64_t pixels = 0;       // where they begin
    std::uint64_t palette = 0;      // where it begins
    unsigned int colorBytes = 4;    // of a colour of the palette
    unsigned int paletteColors = 0; // that the file has
    std::uint64_t rowBytes = 0;     // without compression

    bool hasRuns() const { return compression == kRuns8 || compression == kRuns4; }
};

constexpr unsigned int kFileHeader = 14;
constexpr unsigned int kCoreHeader = 12; // the information header of the first version
constexpr unsigned int kInfoHeader = 40;

// False for headers that no version of the format has.
bool readHeader(const FileBytes& file, BmpHeader& header) {
    const std::uint32_t size = file.u32(kFileHeader);
    const bool core = size == kCoreHeader;
    header.pixels = file.u32(10);
    if ((!core && (size < kInfoHeader || size > 124)) || header.pixels < kFileHeader + size) {
        return false;
    }
    header.width = core ? file.u16(18) : file.u32(18);
    header.height = core ? file.u16(20) : file.u32(22);
    header.topRowFirst = !core && header.height > 0x7fffffff;
    if (header.topRowFirst) {
        header.height = 0U - header.height;
    }
    header.bits = core ? file.u16(24) : file.u16(28);
    header.compression = core ? kNone : file.u32(30);
    header.rowBytes = (std::uint64_t{header.width} * header.bits + 31) / 32 * 4;
    switch (header.bits) {
    case 1:
    case 4:
    case 8: {
        const std::uint32_t used = core ? 0 : file.u32(46);
        const std::uint32_t all = 1U << header.bits;
        header.colorBytes = core ? 3 : 4;
        header.palette = kFileHeader + size;
        header.paletteColors = static_cast<unsigned int>(std::min<std::uint64_t>(
            used == 0 ? all : std::min(used, all), (header.pixels - header.palette) / header.colorBytes));
        return header.compression == kNone ||
               (!header.topRowFirst && header.compression == (header.bits == 8   ? kRuns8
                                                              : header.bits == 4 ? kRuns4
                                                                                 : kNone));
    }
    case 16:
    case 32:
        return header.compression == kNone ||
               (header.compression == kMasks && header.pixels >= kFileHeader + kInfoHeader + 12);
    case 24:
        return header.compression == kNone;
    default:
        return false;
    }
}

// Writes pixels of the palette into a map; the first row of the file is its last.
class PaletteWriter {
public:
    PaletteWriter(const FileBytes& file, const BmpHeader& header, TpixelMap& map)
        : fFile(file), fHeader(header), fMap(map) {}

    /// What lies beyond the image is left out. False when the palette has no such colour.
    bool put(std::uint64_t x, std::uint64_t y, unsigned int index) {
        if (index >= fHeader.paletteColors) {
            return false;
        }
        if (x < fHeader.width && y < fHeader.height) {
            const std::uint64_t row = fHeader.topRowFirst ? y : fHeader.height - 1 - y;
            unsigned char* pixel = fMap.pixels() + 4 * (row * fHeader.width + x);
            std::memcpy(pixel, fFile.at(fHeader.palette + std::uint64_t{index} * fHeader.colorBytes), 3);
            pixel[3] = 255;
        }
        return true;
    }

private:
    const FileBytes& fFile;
    const BmpHeader& fHeader;
    TpixelMap& fMap;
};

bool readPaletteRows(const FileBytes& file, const BmpHeader& header, TpixelMap& map) {
    PaletteWriter writer(file, header, map);
    const unsigned int perByte = 8 / header.bits;
    const unsigned int mask = (1U << header.bits) - 1;
    for (std::uint64_t y = 0; y < header.height; ++y) {
        for (std::uint64_t x = 0; x < header.width; ++x) {
            const unsigned int byte = file.u8(header.pixels + y * header.rowBytes + x / perByte);
            const auto shift = static_cast<unsigned int>(8 - header.bits * (x % perByte + 1));
            if (!writer.put(x, y, byte >> shift & mask)) {
                return false;
            }
        }
    }
    return true;
}

// Runs are pairs of bytes: (count, indices), or 0 and a command. 0 ends the row, 1 the image, 2
// moves on by the next two bytes; more is the count of indices that follow one by one, filled up
// to two bytes. With 4 bits a byte holds two indices, which a run repeats in turn.
bool readRuns(const FileBytes& file, const BmpHeader& header, TpixelMap& map) {
    PaletteWriter writer(file, header, map);
    for (std::uint64_t y = 0; y < header.height; ++y) {
        for (std::uint64_t x = 0; x < header.width; ++x) {
            if (!writer.put(x, y, 0)) {
                return false;
            }
        }
    }
    const unsigned int perByte = 8 / header.bits;
    const auto indexOf = [&](unsigned int byte, unsigned int i) {
        return perByte == 1 ? byte : i % 2 == 0 ? byte >> 4 : byte & 15;
    };
    std::uint64_t x = 0;
    std::uint64_t y = 0;
    std::uint64_t at = header.pixels;
    while (file.has(at, 2)) {
        const unsigned int count = file.u8(at);
        const unsigned int second = file.u8(at + 1);
        at += 2;
        if (count > 0) {
            for (unsigned int i = 0; i < count; ++i, ++x) {
                if (!writer.put(x, y, indexOf(second, i))) {
                    return false;
                }
            }
        } else if (second == 0) {
            x = 0;
            ++y;
        } else if (second == 1) {
            return true;
        } else if (second == 2) {
            x += file.u8(at);
            y += file.u8(at + 1);
            at += 2;
        } else {
            const unsigned int bytes = (second + perByte - 1) / perByte;
            if (!file.has(at, bytes)) {
                return false;
            }
            for (unsigned int i = 0; i < second; ++i, ++x) {
                if (!writer.put(x, y, indexOf(file.u8(at + i / perByte), i))) {
                    return false;
                }
            }
            at += (bytes + 1) / 2 * 2;
        }
    }
    return false; // the end is missing
}

// A component of a pixel, by the mask of its bits.
struct Component {
    unsigned int shift = 0;
    std::uint32_t most = 0;

    explicit Component(std::uint32_t mask)
        : shift(mask == 0 ? 0U : static_cast<unsigned int>(std::countr_zero(mask))), most(mask >> shift) {}
    /// Whether the bits of the mask lie side by side.
    bool usable() const { return (most & (most + 1)) == 0; }
    /// Scaled to 0..255 and rounded; 0 for a component without bits.
    unsigned char byteOf(std::uint32_t pixel) const {
        const std::uint32_t value = pixel >> shift & most;
        if (most == 0 || most == 255) {
            return static_cast<unsigned char>(value);
        }
        return static_cast<unsigned char>((std::uint64_t{value} * 255 + most / 2) / most);
    }
};

bool readColorRows(const FileBytes& file, const BmpHeader& header, TpixelMap& map) {
    const bool masks = header.compression == kMasks;
    const bool words = header.bits == 16;
    constexpr std::uint64_t kMaskPlace = kFileHeader + kInfoHeader; // red, green, blue
    const Component red(masks ? file.u32(kMaskPlace) : words ? 0x7c00 : 0xff0000);
    const Component green(masks ? file.u32(kMaskPlace + 4) : words ? 0x3e0 : 0xff00);
    const Component blue(masks ? file.u32(kMaskPlace + 8) : words ? 0x1f : 0xff);
    if (!red.usable() || !green.usable() || !blue.usable()) {
        return false;
    }
    const unsigned int bytes = header.bits / 8;
    unsigned char* out = map.pixels();
    for (std::uint32_t row = 0; row < header.height; ++row) {
        const std::uint32_t y = header.topRowFirst ? row : header.height - 1 - row;
        std::uint64_t at = header.pixels + y * header.rowBytes;
        for (std::uint32_t x = 0; x < header.width; ++x, at += bytes, out += 4) {
            const std::uint32_t pixel = words ? file.u16(at) : file.u32(at);
            out[0] = blue.byteOf(pixel);
            out[1] = green.byteOf(pixel);
            out[2] = red.byteOf(pixel);
            out[3] = 255;
        }
    }
    return true;
}

} // namespace

ImageHeader prepareBmp(const std::vector<unsigned char>& file) {
    const FileBytes bytes(file.data(), file.size(), false);
    BmpHeader header;
    if (!readHeader(bytes, header) || header.width > kMaxFileSide || header.height > kMaxFileSide) {
        return {};
    }
    if (header.hasRuns()) {
        constexpr std::uint64_t kBestRatio = 65536; // two bytes skip a row
        if (!bytes.has(header.pixels, std::max(bytes.u32(34), 2U))) {
            return {};
        }
        return acceptedHeader(kBmpImage, header.width, header.height, 1, bytes.count() * kBestRatio);
    }
    if (!bytes.has(header.pixels, header.rowBytes * header.height)) {
        return {};
    }
    return acceptedHeader(kBmpImage, header.width, header.height, header.bits, bytes.count() * 8);
}

bool decodeBmp(const std::vector<unsigned char>& file, TpixelMap& map) {
    const FileBytes bytes(file.data(), file.size(), false);
    BmpHeader header;
    if (!readHeader(bytes, header) || map.create(header.width, header.height) != 0) {
        return false;
    }
    if (header.hasRuns()) {
        return readRuns(bytes, header, map);
    }
    return header.bits <= 8 ? readPaletteRows(bytes, header, map) : readColorRows(bytes, header, map);
}

void encodeBmp(const TpixelMap& map, std::vector<unsigned char>& file) {
    const unsigned int width = map.bounds().width();
    const unsigned int height = map.bounds().height();
    const std::size_t rowBytes = (std::size_t{3} * width + 3) / 4 * 4;
    constexpr unsigned int kPixels = kFileHeader + kInfoHeader;
    constexpr unsigned int kPerMetre = 2835; // 72 pixels per inch
    file.assign(kPixels + rowBytes * height, 0);

    const auto size = static_cast<std::uint32_t>(file.size());
    const std::uint32_t numbers[] = {
        size,           0,         kPixels,   kInfoHeader, width, height, 1U | 24U << 16, kNone,
        size - kPixels, kPerMetre, kPerMetre, 0,           0};
    file[0] = 'B';
    file[1] = 'M';
    for (std::size_t i = 0; i < std::size(numbers) * 4; ++i) {
        file[2 + i] = static_cast<unsigned char>(numbers[i / 4] >> 8 * (i % 4));
    }
    const unsigned char* pixel = map.pixels();
    for (unsigned int y = 0; y < height; ++y) {
        unsigned char* out = file.data() + kPixels + (height - 1 - y) * rowBytes;
        for (unsigned int x = 0; x < width; ++x, pixel += 4, out += 3) {
            std::memcpy(out, pixel, 3);
        }
    }
}
