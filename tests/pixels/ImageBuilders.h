#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Image files made by hand: what the library itself never writes.
namespace image_builders {

using Bytes = std::vector<unsigned char>;

inline Bytes text(const std::string& characters) {
    return {characters.begin(), characters.end()};
}

// Appends `size` bytes of a number.
inline void append(Bytes& bytes, std::uint32_t number, int size, bool bigEndian) {
    for (int i = 0; i < size; ++i) {
        bytes.push_back(static_cast<unsigned char>(number >> 8 * (bigEndian ? size - 1 - i : i)));
    }
}

inline void appendChunk(Bytes& file, const char* name, const Bytes& data) {
    append(file, static_cast<std::uint32_t>(data.size()), 4, true);
    const std::size_t start = file.size();
    file.insert(file.end(), name, name + 4);
    file.insert(file.end(), data.begin(), data.end());
    std::uint32_t crc = 0xffffffffU;
    for (std::size_t i = start; i < file.size(); ++i) {
        crc ^= file[i];
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1) ? crc >> 1 ^ 0xedb88320U : crc >> 1;
        }
    }
    append(file, ~crc, 4, true);
}

// A PNG file; `samples` are the rows as they lie in the file, without filter bytes, stored without
// compression. They need not make up for the size that the header claims.
inline Bytes png(std::uint32_t width, std::uint32_t height, unsigned char depth, unsigned char colorType,
                 const Bytes& samples, const Bytes& palette = {}, const Bytes& transparency = {}) {
    constexpr unsigned int kChannels[] = {1, 0, 3, 1, 2, 0, 4};
    const std::size_t rowBytes = (std::uint64_t{width} * depth * kChannels[colorType] + 7) / 8;
    Bytes rows;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (rowBytes == 0 || i % rowBytes == 0) {
            rows.push_back(0);
        }
        rows.push_back(samples[i]);
    }
    Bytes stream = {0x78, 0x01};
    std::uint32_t a = 1, b = 0;
    for (std::size_t i = 0; i < rows.size(); i += 0xffff) {
        const std::size_t end = std::min(rows.size(), i + 0xffff);
        stream.push_back(end == rows.size() ? 1 : 0);
        append(stream, static_cast<std::uint32_t>(end - i), 2, false);
        append(stream, ~static_cast<std::uint32_t>(end - i), 2, false);
        for (std::size_t k = i; k < end; ++k) {
            stream.push_back(rows[k]);
            a = (a + rows[k]) % 65521;
            b = (b + a) % 65521;
        }
    }
    append(stream, b << 16 | a, 4, true);

    Bytes header;
    append(header, width, 4, true);
    append(header, height, 4, true);
    header.insert(header.end(), {depth, colorType, 0, 0, 0});
    Bytes file = text("\x89PNG\r\n\x1a\n");
    appendChunk(file, "IHDR", header);
    if (!palette.empty()) {
        appendChunk(file, "PLTE", palette);
    }
    if (!transparency.empty()) {
        appendChunk(file, "tRNS", transparency);
    }
    appendChunk(file, "IDAT", stream);
    appendChunk(file, "IEND", {});
    return file;
}

// A TIFF file of one strip (not compressed unless it is said how), with 1 (grey), 3 (RGB) or 4 (with
// unassociated alpha) samples of 8 or 16 bits; numbers, samples included, high byte first or last.
inline Bytes tiff(bool bigEndian, std::uint32_t width, std::uint32_t height, unsigned int depth,
                  unsigned int samples, const Bytes& pixels, unsigned int compression = 1) {
    constexpr std::uint32_t kBitsAt = 8, kPixelsAt = 16;
    struct Field {
        unsigned int tag, type, count;
        std::uint32_t value;
    };
    std::vector<Field> fields = {
        {256, 4, 1, width},
        {257, 4, 1, height},
        {258, 3, samples, samples > 1 ? kBitsAt : depth},
        {259, 3, 1, compression},
        {262, 3, 1, samples > 1 ? 2U : 1U},
        {273, 4, 1, kPixelsAt},
        {277, 3, 1, samples},
        {278, 4, 1, height},
        {279, 4, 1, static_cast<std::uint32_t>(pixels.size())},
    };
    if (samples == 4) {
        fields.push_back({338, 3, 1, 2});
    }
    Bytes file = text(bigEndian ? "MM" : "II");
    append(file, 42, 2, bigEndian);
    append(file, static_cast<std::uint32_t>(kPixelsAt + pixels.size()), 4, bigEndian);
    for (int i = 0; i < 4; ++i) {
        append(file, depth, 2, bigEndian);
    }
    file.insert(file.end(), pixels.begin(), pixels.end());
    append(file, static_cast<std::uint32_t>(fields.size()), 2, bigEndian);
    for (const Field& field : fields) {
        append(file, field.tag, 2, bigEndian);
        append(file, field.type, 2, bigEndian);
        append(file, field.count, 4, bigEndian);
        const bool twoBytes = field.type == 3 && field.count == 1;
        append(file, field.value, twoBytes ? 2 : 4, bigEndian);
        append(file, 0, twoBytes ? 2 : 0, bigEndian);
    }
    append(file, 0, 4, bigEndian);
    return file;
}

// A bitmap; `rows` as they lie in the file, filled up to four bytes, behind the palette if there is
// one. A negative height puts the top row first; compression 1 is runs of bytes.
inline Bytes bmp(std::int32_t width, std::int32_t height, unsigned int bits, const Bytes& rows,
                 const Bytes& palette = {}, unsigned int compression = 0) {
    Bytes file = {'B', 'M'};
    const auto start = static_cast<std::uint32_t>(54 + palette.size());
    const auto size = static_cast<std::uint32_t>(rows.size());
    for (const std::uint32_t number : {start + size, 0U, start, 40U, static_cast<std::uint32_t>(width),
                                       static_cast<std::uint32_t>(height), 1U | bits << 16, compression, size,
                                       2835U, 2835U, static_cast<std::uint32_t>(palette.size() / 4), 0U}) {
        append(file, number, 4, false);
    }
    file.insert(file.end(), palette.begin(), palette.end());
    file.insert(file.end(), rows.begin(), rows.end());
    return file;
}

} // namespace image_builders
