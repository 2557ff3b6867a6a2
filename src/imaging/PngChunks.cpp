#include "imaging/FileBytes.h"
#include "imaging/ImageHeader.h"

#include <algorithm>
#include <cstring>
#include <iterator>

// Portable Network Graphics: a signature of 8 bytes, then chunks of (length, name, data, check sum).

namespace {

// The chunks that pixels are made of, in the order in which they must come.
constexpr char kPixelChunks[][5] = {"IHDR", "PLTE", "tRNS", "IDAT", "IEND"};
constexpr std::ptrdiff_t kData = 3, kEnd = 4, kOther = 5;

// The position of a chunk's name in that table.
std::ptrdiff_t rankOf(const unsigned char* name) {
    return std::find_if(std::begin(kPixelChunks), std::end(kPixelChunks),
                        [name](const char* known) { return std::memcmp(name, known, 4) == 0; }) -
           std::begin(kPixelChunks);
}

// Moves the chunks of pixels together and drops the others, which are texts, profiles and the like.
// False when a chunk is cut off or out of order, when a second one would replace the first, when
// the data is interrupted, and when a dropped chunk is one that a decoder must understand: the
// first letter of its name is a capital.
bool keepPixelChunks(std::vector<unsigned char>& file) {
    const FileBytes bytes(file.data(), file.size(), true);
    std::uint64_t kept = 8;
    std::uint64_t chunk = 8;
    std::ptrdiff_t last = -1;
    bool interrupted = false;
    while (last != kEnd) {
        const std::uint64_t length = std::uint64_t{12} + bytes.u32(chunk);
        if (!bytes.has(chunk, length)) {
            return false;
        }
        const std::ptrdiff_t rank = rankOf(bytes.at(chunk + 4));
        if (rank == kOther) {
            constexpr unsigned int kSmallLetter = 0x20;
            if (!(bytes.u8(chunk + 4) & kSmallLetter)) {
                return false;
            }
            interrupted = last == kData;
        } else {
            if (rank < last || (rank == last && (rank != kData || interrupted))) {
                return false;
            }
            std::memmove(file.data() + kept, bytes.at(chunk), static_cast<std::size_t>(length));
            kept += length;
            last = rank;
        }
        chunk += length;
    }
    file.resize(static_cast<std::size_t>(kept));
    return true;
}

} // namespace

ImageHeader preparePng(std::vector<unsigned char>& file) {
    if (!keepPixelChunks(file)) {
        return {};
    }
    const FileBytes bytes(file.data(), file.size(), true);
    if (!bytes.matches(12, "IHDR", 4) || bytes.u32(8) != 13) {
        return {};
    }
    const unsigned int depth = bytes.u8(24);
    const unsigned int colorType = bytes.u8(25);
    constexpr unsigned int kChannels[8] = {1, 0, 3, 1, 2, 0, 4, 0};
    constexpr unsigned int kBestRatio = 1032; // Deflate makes 258 bytes of two bits
    ImageHeader header = acceptedHeader(kPngImage, bytes.u32(16), bytes.u32(20),
                                        depth * kChannels[colorType & 7], bytes.count() * 8 * kBestRatio);
    constexpr std::uint64_t kSecondChunk = 33;
    if (depth == 8 && colorType == 2) {
        // A palette may stand before it here, too, as a proposal for screens of few colours.
        std::uint64_t chunk = kSecondChunk;
        if (bytes.matches(chunk + 4, "PLTE", 4)) {
            chunk += std::uint64_t{12} + bytes.u32(chunk);
        }
        if (bytes.matches(chunk + 4, "tRNS", 4) && bytes.u32(chunk) == 6) {
            // The low bytes of three numbers.
            header.transparentColor = static_cast<int>(bytes.u8(chunk + 9) << 16 | bytes.u8(chunk + 11) << 8 |
                                                       bytes.u8(chunk + 13));
        }
    }
    return header;
}
