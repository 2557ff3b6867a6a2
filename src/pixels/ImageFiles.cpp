#include "pixels/ImageFiles.h"

#include "imaging/ImageSize.h"
#include "imaging/TimageFile.h"
#include "imaging/TpixelMap.h"
#include "imaging/TportRect.h"

#include <cstring>
#include <new>

namespace {

// Null also where there is no memory for a path.
template <typename Char>
unsigned char* readImage(const Char* path, unsigned short& width, unsigned short& height, bool powerOfTwo) {
    TimageFile file;
    TpixelMap map;
    try {
        if (file.identifyAndOpen(path, false, 0) != 0 || file.readPixelMap(map) != 0) {
            return nullptr;
        }
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    map.rgbaSwitch();
    unsigned int newWidth = map.bounds().width();
    unsigned int newHeight = map.bounds().height();
    if (powerOfTwo) {
        newWidth = ceilPow2(newWidth);
        newHeight = ceilPow2(newHeight);
        if (newWidth > kMaxFileSide || newHeight > kMaxFileSide ||
            map.zoom(TportRect(0, 0, static_cast<int>(newWidth), static_cast<int>(newHeight))) != 0) {
            return nullptr;
        }
    }
    const std::size_t bytes = imageBytes(newWidth, newHeight, 1, 4);
    auto* pixels = static_cast<unsigned char*>(::operator new(bytes, std::nothrow));
    if (pixels) {
        std::memcpy(pixels, map.pixels(), bytes);
        width = static_cast<unsigned short>(newWidth);
        height = static_cast<unsigned short>(newHeight);
    }
    return pixels;
}

template <typename Char>
void writeImage(unsigned char* pixels, unsigned short width, unsigned short height, const Char* path,
                const char* fileKind) {
    try {
        TimageFile file;
        if (!pixels || file.create(path, width, height, kNoTiffCompression, fileKind) != 0) {
            return;
        }
        TpixelMap map;
        map.setPixelPtr(pixels, TportRect(0, 0, width, height));
        map.rgbaSwitch();
        if (file.writePixelMap(map) == 0) {
            file.close();
        }
    } catch (const std::bad_alloc&) { // no memory for a path: nothing is begun
    }
}

} // namespace

unsigned char* readImageFromFile(const char* path, unsigned short& width, unsigned short& height,
                                 bool powerOfTwo) {
    return readImage(path, width, height, powerOfTwo);
}

void writeImageToFile(unsigned char* pixels, unsigned short width, unsigned short height, const char* path,
                      const char* fileKind) {
    writeImage(pixels, width, height, path, fileKind);
}

#if defined(_WIN32)
unsigned char* readImageFromWidePath(const wchar_t* path, unsigned short& width, unsigned short& height,
                                     bool powerOfTwo) {
    return readImage(path, width, height, powerOfTwo);
}

void writeImageToWidePath(unsigned char* pixels, unsigned short width, unsigned short height,
                          const wchar_t* path, const char* fileKind) {
    writeImage(pixels, width, height, path, fileKind);
}
#endif

unsigned int ceilPow2(unsigned int n) {
    unsigned int power = 1;
    while (power != 0 && power < n) {
        power *= 2;
    }
    return power;
}
