// Makes a normal map of a height image: reads the image, averages it down to a size of powers of
// two, turns its red component into normals and writes them as PNG.
//
//     normal_map heights.png normals.png [scale]
//
// The scale stretches the heights: 1 makes the step from black to white as high as a pixel is
// wide. The default is 16.

#include "pixels/ImageFiles.h"
#include "pixels/PixelArray2D.h"
#include "pixels/qvColorFormatRGBAFloat.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <vector>

namespace {

// A height image as floats, which keep what averaging finds between two grey levels; empty when
// there is none to read.
PixelArray2D readHeights(const qvSysPixelFormat& format, const char* path) {
    unsigned short width = 0;
    unsigned short height = 0;
    unsigned char* bytes = readImageFromFile(path, width, height, false);
    const qvColorFormatRGBAFloat floatFormat;
    float* floats = floatFormat.convertFromFixed8(bytes, width, height, 1);
    PixelArray2D heights(format, floats ? width : 0, height);
    heights.copy(floats, format.pixelSize());
    floatFormat.deallocate(floats);
    ::operator delete(bytes);
    return heights;
}

// Normals of 0..1 as bytes; a conversion of the formats would not scale them by 255.
std::vector<unsigned char> bytesOf(const PixelArray2D& normals) {
    const auto* floats = static_cast<const float*>(normals.pixels());
    std::vector<unsigned char> bytes(std::size_t{4} * normals.width() * normals.height());
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<unsigned char>(std::lround(floats[i] * 255.0F));
    }
    return bytes;
}

unsigned int floorPow2(unsigned int n) {
    return ceilPow2(n + 1) / 2;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3 && argc != 4) {
        std::fprintf(stderr, "usage: normal_map heights normals.png [scale]\n");
        return 2;
    }
    const float scale = argc == 4 ? std::strtof(argv[3], nullptr) : 16.0F;

    qvSysPixelFormat format;
    format.setPixelType(kRGBAFloatFormat);
    PixelArray2D image = readHeights(format, argv[1]);
    if (!image.pixels()) {
        std::fprintf(stderr, "normal_map: cannot read an image from '%s'\n", argv[1]);
        return 1;
    }
    const unsigned int width = floorPow2(image.width());
    const unsigned int height = floorPow2(image.height());
    image.resize(width, height);
    image.convertToNormalMap(scale); // its answer is always false
    if (image.width() != width || image.height() != height) {
        std::fprintf(stderr, "normal_map: not enough memory\n");
        return 1;
    }

    std::vector<unsigned char> normals = bytesOf(image);
    std::remove(argv[2]); // what is there afterwards is what was written
    writeImageToFile(normals.data(), static_cast<unsigned short>(width), static_cast<unsigned short>(height),
                     argv[2], "png");
    std::FILE* written = std::fopen(argv[2], "rb");
    if (!written) {
        std::fprintf(stderr, "normal_map: cannot write '%s'\n", argv[2]);
        return 1;
    }
    std::fclose(written);
    std::printf("%s: %u x %u\n", argv[2], width, height);
    return 0;
}
