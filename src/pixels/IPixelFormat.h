#pragma once

#include "base/Export.h"

// The values are compared as numbers: in each of these enumerations, more is more capable.

/// The components of a pixel, in storage order, and their type.
enum ColorFormat : int {
    kInvalidColorFormat = 0,
    kRGBFixed8Format,
    kBGRFixed8Format,
    kRGBAFixed8Format, ///< the format of `qvColorFormatRGBAFixed8`
    kRGBAFloatFormat,  ///< the format of `qvColorFormatRGBAFloat`
    kBGRAFixed8Format,
    kLuminanceFixed8Format,
    kLuminanceAlphaFixed8Format,
    kDepth32Format,
};

/// The bits of a depth buffer.
enum DepthFormat : int { kNoDepth = 0, kDepth16, kDepth24, kDepth32 };

/// The bits of a stencil buffer.
enum StencilFormat : int { kNoStencil = 0, kStencil1, kStencil4, kStencil8 };

/// The samples per pixel of a buffer.
enum SamplingType : int { kSingleSample = 0, kTwoSamples, kFourSamples, kEightSamples };

/// The root of everything that describes how pixels are stored.
class QV_EXPORT IPixelFormat {
protected:
    IPixelFormat() = default;
    IPixelFormat(const IPixelFormat&) = default;
    IPixelFormat& operator=(const IPixelFormat&) = default;
    virtual ~IPixelFormat();
};
