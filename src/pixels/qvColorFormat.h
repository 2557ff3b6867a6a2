#pragma once

#include "pixels/IPixelFormat.h"

/// The root of the two image formats that the library works in. Images are tightly packed, row
/// after row, four components per pixel in the order red, green, blue, alpha; a volume is a
/// sequence of such planes.
///
/// Whatever a format returns comes from its own `allocate` and belongs to the caller, who gives
/// it back with `deallocate` of the same format.
class QV_EXPORT qvColorFormat : public IPixelFormat {
public:
    /// The order and type of the components.
    ColorFormat colorFormat() const { return fColorFormat; }

    /// Storage for an image; null in this class.
    virtual void* allocate(unsigned int width, unsigned int height, unsigned int depth) const;
    /// Releases what `allocate` returned; null is ignored.
    virtual void deallocate(void* storage) const;

protected:
    /// A format of that pixel size and order.
    qvColorFormat(unsigned int bytesPerPixel, ColorFormat format);
    qvColorFormat(const qvColorFormat&) = default;
    qvColorFormat& operator=(const qvColorFormat&) = default;
    ~qvColorFormat() override;

    unsigned int fBytesPerPixel;
    unsigned int fReserved = 0; ///< always 0
    ColorFormat fColorFormat;
};
