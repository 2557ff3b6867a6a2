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
// compression. They need not make up for the size that the header claims. `more` are chunks.
inline Bytes png(std::uint32_t width, std::uint32_t height, unsigned char depth, unsigned char colorType,
                 const Bytes& samples, const Bytes& palette = {}, const Bytes& transparency = {},
                 const Bytes& more = {}) {
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
    file.insert(file.end(), more.begin(), more.end());
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

// A field of a TIFF file with numbers of two bytes (type 3) or four (type 4).
struct Field {
    unsigned int tag, type, count;
    std::uint32_t value;
};

// A TIFF file of one strip, with 1 or 2 (grey), 3 or 4 (RGB) samples of 8 or 16 bits, alpha
// unassociated; numbers, samples included, high byte first or last. `changes` replace fields.
inline Bytes tiff(bool bigEndian, std::uint32_t width, std::uint32_t height, unsigned int depth,
                  unsigned int samples, const Bytes& pixels, const std::vector<Field>& changes = {}) {
    constexpr std::uint32_t kBitsAt = 8, kPixelsAt = 16;
    std::vector<Field> fields = {
        {256, 4, 1, width},
        {257, 4, 1, height},
        {258, 3, samples,
         samples > 2 ? kBitsAt
                     : depth << (samples > 1 && bigEndian ? 16 : 0) |
                           (samples > 1 ? depth << (bigEndian ? 0 : 16) : 0)},
        {259, 3, 1, 1},
        {262, 3, 1, samples > 2 ? 2U : 1U},
        {273, 4, 1, kPixelsAt},
        {277, 3, 1, samples},
        {278, 4, 1, height},
        {279, 4, 1, static_cast<std::uint32_t>(pixels.size())},
    };
    if (samples % 2 == 0) {
        fields.push_back({338, 3, 1, 2});
    }
    for (const Field& change : changes) {
        std::erase_if(fields, [&](const Field& field) { return field.tag == change.tag; });
        fields.push_back(change);
    }
    std::sort(fields.begin(), fields.end(), [](const Field& a, const Field& b) { return a.tag < b.tag; });
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

// A grey JPEG file whose blocks, of two bits each, are all of the value 128.
inline Bytes jpeg(unsigned int width, unsigned int height, unsigned int restartInterval, const Bytes& scan,
                  unsigned char frame = 0xc0) {
    Bytes file = {0xff, 0xd8, 0xff, 0xdb, 0, 67, 0};
    file.insert(file.end(), 64, 1);
    file.insert(file.end(), {0xff, frame, 0, 11, 8});
    append(file, height, 2, true);
    append(file, width, 2, true);
    file.insert(file.end(), {1, 1, 0x11, 0, 0xff, 0xdd, 0, 4});
    append(file, restartInterval, 2, true);
    for (const unsigned char table : {0x00, 0x10}) { // the code 0 for the symbol 0
        file.insert(file.end(),
                    {0xff, 0xc4, 0, 20, table, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    }
    file.insert(file.end(), {0xff, 0xda, 0, 8, 1, 1, 0, 0, 63, 0});
    file.insert(file.end(), scan.begin(), scan.end());
    file.insert(file.end(), {0xff, 0xd9});
    return file;
}

} // namespace image_builders
