#pragma once

#include "base/Export.h"
#include "pixels/qvSysPixelFormat.h"

/// The root of the pixel arrays: a block of pixels in system memory, one of its shapes and the
/// format that describes, allocates and releases it.
///
/// An array is initialised (it owns storage, which it gives back to its format) or empty: no
/// storage, all sizes 0. It is empty when a size is 0, when the image would have more than
/// 2^31 - 1 bytes and when the format's `allocate` returns null. The format belongs to the caller
/// and must outlive the array.
///
/// Copy construction and assignment copy the whole image into storage of their own, through the
/// source's format.
class QV_EXPORT IPixelArray {
public:
    /// Gives the storage back to the format.
    virtual ~IPixelArray();

    /// In pixels.
    unsigned int width() const { return fWidth; }
    /// In pixels; 1 for a row.
    unsigned int height() const { return fHeight; }
    /// In slices, or faces; 1 for a flat image.
    unsigned int depth() const { return fDepth; }
    /// Null when the array is empty.
    void* pixels() { return fPixels; }
    /// Null when the array is empty; for reading.
    const void* pixels() const { return fPixels; }

    /// Copies depth x height x width x `bytesPerPixel` bytes from `source` into the array, though
    /// no more than the array holds; nothing from a null pointer.
    void copy(const void* source, unsigned int bytesPerPixel);

protected:
    IPixelArray() = default;
    /// An array of the given shape.
    IPixelArray(const qvSysPixelFormat& format, unsigned int width, unsigned int height, unsigned int depth);
    IPixelArray(const IPixelArray& other);
    IPixelArray& operator=(const IPixelArray& other);

    /// Whether the array has its storage.
    bool initialized() const { return fInitialized; }

    /// Takes storage of `format` for this shape, without releasing what the array holds. Without
    /// success the array has no storage and keeps its sizes. Does not set `fInitialized`.
    bool allocate(const qvSysPixelFormat& format, unsigned int width, unsigned int height,
                  unsigned int depth);
    /// Gives the storage back to the format.
    void release();

    void* fPixels = nullptr;
    unsigned int fWidth = 0;
    unsigned int fHeight = 0;
    unsigned int fDepth = 0;
    /// The size of the storage: the format may be given another type meanwhile.
    unsigned int fBytes = 0;
    const qvSysPixelFormat* fFormat = nullptr;
    bool fInitialized = false;

private:
    void swap(IPixelArray& other);
};
