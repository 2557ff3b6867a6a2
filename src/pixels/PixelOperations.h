#pragma once

#include "imaging/ImageSize.h"
#include "imaging/Resample.h"

#include <cmath>
#include <cstddef>
#include <cstring>
#include <exception>

// What the two colour formats have in common, by component type; internal to the library.

/// Whether an image may have this size: not empty, and not above what the library takes.
template <typename T>
bool isImageSize(unsigned int width, unsigned int height) {
    return imageBytes(width, height, 1, 4 * sizeof(T)) > 0;
}

/// Resizes into storage of `format`, a colour format or a system pixel format of that type; null
/// in the cases that `qvColorFormatRGBAFloat::resize` lists.
template <typename T, typename Format>
T* resizeThrough(const Format& format, const T* src, unsigned int srcWidth, unsigned int srcHeight,
                 unsigned int dstWidth, unsigned int dstHeight) {
    if (!src || (srcWidth == dstWidth && srcHeight == dstHeight) || !isImageSize<T>(srcWidth, srcHeight) ||
        !isImageSize<T>(dstWidth, dstHeight)) {
        return nullptr;
    }
    T* dst = nullptr;
    try {
        const AxisFilter columns = AxisFilter::cornerBox(srcWidth, dstWidth);
        const AxisFilter rows = AxisFilter::cornerBox(srcHeight, dstHeight);
        dst = static_cast<T*>(format.allocate(dstWidth, dstHeight, 1));
        if (dst) {
            resampleUnit(src, columns, rows, dst);
        }
        return dst;
    } catch (const std::exception&) { // no memory, or more of it than a vector can name
        if (dst) {
            format.deallocate(dst);
        }
        return nullptr;
    }
}

/// Turns heights into normals in place, as `qvColorFormatRGBAFloat::convertToNormalMap` says.
/// `component` makes a component of a number in 0..1. In double precision, so that no height
/// difference that a float holds overflows when it is squared.
template <typename T, typename Component>
void heightsToNormals(T* image, unsigned int width, unsigned int height, double scale, Component component) {
    if (!image || !isImageSize<T>(width, height)) {
        return;
    }
    const std::size_t rowLength = std::size_t{4} * width;
    T* const lastRow = image + rowLength * (height - 1);
    for (T* row = image; row != lastRow; row += rowLength) {
        T* const lastPixel = row + rowLength - 4;
        for (T* pixel = row; pixel != lastPixel; pixel += 4) {
            const double dx = (static_cast<double>(pixel[0]) - pixel[4]) * scale;
            const double dy = (static_cast<double>(pixel[0]) - pixel[rowLength]) * scale;
            const double n = 1.0 / std::sqrt(dx * dx + dy * dy + 1.0);
            pixel[0] = component((n * dx + 1.0) * 0.5);
            pixel[1] = component((n * dy + 1.0) * 0.5);
            pixel[2] = component((n + 1.0) * 0.5);
            pixel[3] = component(1.0);
        }
        if (width > 1) {
            std::memcpy(lastPixel, lastPixel - 4, 3 * sizeof(T));
        }
        lastPixel[3] = component(1.0);
    }
    if (height > 1) {
        std::memcpy(lastRow, lastRow - rowLength, rowLength * sizeof(T));
    }
}
