#pragma once

#include "pixels/IPixelArray.h"

/// An image.
///
///     PixelArray2D image(format, 512, 512); // kRGBAFixed8Format
///     image.copy(bytes, 4);
///     image.resize(256, 256);
///     image.convertToNormalMap(8.0F);
class QV_EXPORT PixelArray2D : public IPixelArray {
public:
    /// An image of that size in storage of `format`, which must outlive it; empty without storage.
    PixelArray2D(const qvSysPixelFormat& format, unsigned int width, unsigned int height);
    PixelArray2D(const PixelArray2D&) = default;
    PixelArray2D& operator=(const PixelArray2D&) = default;
    ~PixelArray2D() override;

    /// In bytes; that of the format (0 without one).
    unsigned int pixelSize() const { return fFormat ? fFormat->pixelSize() : 0; }
    /// That of the format.
    ColorFormat pixelType() const { return fFormat ? fFormat->pixelType() : kInvalidColorFormat; }

    using IPixelArray::copy;
    /// Takes the shape of `other`. On purpose: the image is not copied, for which there is the
    /// assignment. Between arrays of the same format and size nothing is copied and this array
    /// counts as uninitialised from then on; otherwise it gets new storage through the format of
    /// `other` and the first four bytes of the image.
    void copy(const PixelArray2D& other);

    /// Turns heights into normals in place, for `kRGBAFixed8Format` and `kRGBAFloatFormat`.
    /// On purpose: false on every path, as the conversion of the format returns it; nothing is done
    /// when the array is uninitialised or has another type.
    bool convertToNormalMap(float scale);

    /// Averages the image into storage of the given size, for `kRGBAFixed8Format` and
    /// `kRGBAFloatFormat`, which it takes from the array's own format; see
    /// `qvColorFormatRGBAFloat::resize`. Nothing changes when there is no storage, the size is
    /// 0 or the present one, the type is another or no storage is to be had.
    void resize(unsigned int newWidth, unsigned int newHeight);

protected:
    PixelArray2D() = default;

private:
    template <typename T>
    void resizeAs(unsigned int newWidth, unsigned int newHeight);
};
