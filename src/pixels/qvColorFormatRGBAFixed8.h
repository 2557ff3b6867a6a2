#pragma once

#include "pixels/qvColorFormat.h"

/// Images of four bytes per pixel.
///
///     qvColorFormatRGBAFixed8 format;
///     unsigned char* half = format.resize(image, 512, 512, 256, 256);
///     ...
///     format.deallocate(half);
class QV_EXPORT qvColorFormatRGBAFixed8 : public qvColorFormat {
public:
    qvColorFormatRGBAFixed8();
    qvColorFormatRGBAFixed8(const qvColorFormatRGBAFixed8&) = default;
    qvColorFormatRGBAFixed8& operator=(const qvColorFormatRGBAFixed8&) = default;
    ~qvColorFormatRGBAFixed8() override;

    /// `width` x `height` x `depth` x 4 bytes, not initialised; null when that is none or more
    /// than 2^31 - 1.
    void* allocate(unsigned int width, unsigned int height, unsigned int depth) const override;
    void deallocate(void* storage) const override;

    /// The value of a pixel that nothing else is known of; (0, 0, 0, 0) at first.
    void setDefaultValue(const unsigned char rgba[4]);
    /// Gives that value.
    void defaultValue(unsigned char rgba[4]) const;

    /// A new image with the components of a float image of the same shape. On purpose: a byte is
    /// not the value scaled by 255 but minus the integer part of value + 0.5, modulo 256, so that
    /// 0..1 gives 0 below 0.5 and 255 from there on. Values whose integer part exceeds 32 bits
    /// and not-a-number give 0.
    ///
    /// Null when `src` is null, when all three sizes are 0, when the source would have more than
    /// 2^31 - 1 bytes and when `allocate` gives no storage, as it does for a single size of 0.
    unsigned char* convertFromFloat(const float* src, unsigned int width, unsigned int height,
                                    unsigned int depth) const;

    /// Turns the heights in the red components into the normals of the surface, in place; see
    /// `qvColorFormatRGBAFloat::convertToNormalMap`. 255 stands for 1 in heights and normals; the
    /// normals are rounded to the nearest byte.
    /// On purpose: false on every path.
    bool convertToNormalMap(unsigned char* image, unsigned int width, unsigned int height, float scale) const;

    /// The image in another size; see `qvColorFormatRGBAFloat::resize`. 255 stands for 1; the
    /// result is rounded to the nearest byte.
    unsigned char* resize(const unsigned char* src, unsigned int srcWidth, unsigned int srcHeight,
                          unsigned int dstWidth, unsigned int dstHeight) const;

private:
    unsigned char fDefaultValue[4] = {};
};
