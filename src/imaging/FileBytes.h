#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

/// Numbers out of the bytes of a file. Bytes beyond its end read as 0.
class FileBytes {
public:
    FileBytes(const unsigned char* bytes, std::size_t count, bool bigEndian)
        : fBytes(bytes), fCount(count), fBigEndian(bigEndian) {}

    std::uint64_t count() const { return fCount; }
    const unsigned char* at(std::uint64_t offset) const { return fBytes + offset; }
    /// Whether `length` bytes lie at `offset`.
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
        return fBigEndian ? first << 8 | second : second << 8 | first;
    }
    std::uint32_t u32(std::uint64_t offset) const {
        const std::uint32_t first = u16(offset);
        const std::uint32_t second = u16(offset + 2);
        return fBigEndian ? first << 16 | second : second << 16 | first;
    }

private:
    const unsigned char* fBytes;
    std::size_t fCount;
    bool fBigEndian;
};
