#pragma once

#include "pixels/qvColorFormat.h"

/// Images of four floats per pixel, usually 0..1.
///
///     qvColorFormatRGBAFloat format;
///     float* image = format.convertFromFixed8(bytes, 640, 480, 1);
///     ...
///     format.deallocate(image);
class QV_EXPORT qvColorFormatRGBAFloat : public qvColorFormat {
public:
    qvColorFormatRGBAFloat();
    qvColorFormatRGBAFloat(const qvColorFormatRGBAFloat&) = default;
    qvColorFormatRGBAFloat& operator=(const qvColorFormatRGBAFloat&) = default;
    ~qvColorFormatRGBAFloat() override;

    /// `width` x `height` x `depth` x 16 bytes, not initialised; null when that is none or more
    /// than 2^31 - 1.
    void* allocate(unsigned int width, unsigned int height, unsigned int depth) const override;
    void deallocate(void* storage) const override;

    /// The value of a pixel that nothing else is known of; (0, 0, 0, 0) at first.
    void setDefaultValue(const float rgba[4]);
    /// Gives that value.
    void defaultValue(float rgba[4]) const;

    /// A new image with the components of an 8-bit image of the same shape. On purpose:
    /// (byte + 0.5) / 255, so that 0 gives about 0.00196 and 255 about 1.00196.
    ///
    /// Null when `src` is null, when all three sizes are 0, when the result would have more than
    /// 2^31 - 1 bytes and when `allocate` gives no storage, as it does for a single size of 0.
    float* convertFromFixed8(const unsigned char* src, unsigned int width, unsigned int height,
                             unsigned int depth) const;

    /// Turns the heights in the red components into the normals of the surface, in place. With
    /// the differences dx and dy of a height to its right and lower neighbours times `scale`, the
    /// pixel becomes the unit normal along (dx, dy, 1), moved from -1..1 to 0..1, and alpha 1.
    /// The last pixel of a row takes the normal of the one before, the last row that of the row
    /// above.
    ///
    /// In an image one pixel wide the heights themselves stay (alpha becomes 1, the last row
    /// copies the one above); one that is one pixel high stays as it is. A null or empty image
    /// and one of more than 2^31 - 1 bytes are left alone.
    /// On purpose: false on every path; success cannot be read from it.
    bool convertToNormalMap(float* image, unsigned int width, unsigned int height, float scale) const;

    /// A new image with the pixels of `src` averaged over boxes. On purpose: the box of pixel
    /// (x, y) is centred on (x, y) times the ratio of the sizes, not on the middle of the pixels
    /// that it stands for; 1e-5 is added to each component, which is then clamped to 0..1.
    ///
    /// Null when `src` is null, a size is 0, the size does not change, or no storage is to be
    /// had. Takes O(source + destination) time; the sums are exact to the last bit or two of a
    /// float, whatever the sizes.
    float* resize(const float* src, unsigned int srcWidth, unsigned int srcHeight, unsigned int dstWidth,
                  unsigned int dstHeight) const;

private:
    float fDefaultValue[4] = {};
};
