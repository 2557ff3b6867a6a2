#pragma once

#include "pixels/IPixelFormat.h"

/// A type of pixels in system memory, and where the pixel arrays get their storage from. A host
/// derives from it to hand out storage of its own. The arrays keep a pointer to their format: it
/// must outlive them.
///
///     qvSysPixelFormat format;
///     format.setPixelType(kRGBAFixed8Format);
///     PixelArray2D image(format, 640, 480);
class QV_EXPORT qvSysPixelFormat : public IPixelFormat {
public:
    /// Type `kInvalidColorFormat`, pixel size 0: nothing can be allocated until a type is set.
    qvSysPixelFormat() = default;
    qvSysPixelFormat(const qvSysPixelFormat&) = default;
    qvSysPixelFormat& operator=(const qvSysPixelFormat&) = default;
    ~qvSysPixelFormat() override;

    /// In bytes.
    unsigned int pixelSize() const { return fPixelSize; }
    /// The order and type of the components.
    ColorFormat pixelType() const { return fPixelType; }
    /// Sets the type and its pixel size. On purpose: a type outside `kRGBFixed8Format` to
    /// `kDepth32Format` is stored, too, and keeps the pixel size of the type before.
    void setPixelType(ColorFormat type);

    /// Storage for `width` x `height` x `depth` pixels, from `malloc`, not initialised. Null when
    /// that is no byte, more than 2^31 - 1 bytes or more than there is.
    virtual void* allocate(unsigned int width, unsigned int height, unsigned int depth) const;
    /// Releases what `allocate` returned; null is ignored.
    virtual void deallocate(void* storage) const;

protected:
    /// Sets the pixel size alone, in bytes, for a type of pixels of the host's own: a derived format
    /// calls it after `setPixelType`. Without a size the arrays cannot tell how much they hold, and
    /// their copies have no pixels.
    void setPixelSize(unsigned int bytes) { fPixelSize = bytes; }

private:
    unsigned int fPixelSize = 0;
    ColorFormat fPixelType = kInvalidColorFormat;
};
