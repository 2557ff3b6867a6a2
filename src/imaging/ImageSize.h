#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>

/// The largest image, in bytes, that the library makes on any platform.
inline constexpr std::uint64_t kMaxImageBytes = 0x7fffffff;

/// The longest side of an image that is read from or written to a file.
inline constexpr unsigned int kMaxFileSide = 65535;

/// The size in bytes of a `width` x `height` x `depth` image; 0 when one of the factors is 0 and
/// when the product exceeds `kMaxImageBytes`.
constexpr std::size_t imageBytes(unsigned int width, unsigned int height, unsigned int depth,
                                 unsigned int bytesPerPixel) {
    std::uint64_t bytes = 1;
    for (const unsigned int factor : {width, height, depth, bytesPerPixel}) {
        bytes *= factor; // at most 2^31 times 2^32
        if (bytes > kMaxImageBytes) {
            return 0;
        }
    }
    return static_cast<std::size_t>(bytes);
}
