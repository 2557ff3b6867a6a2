#include "pixels/qvBufferFormat.h"

IPixelFormat::~IPixelFormat() = default;

qvBufferFormat::qvBufferFormat(ColorFormat color, DepthFormat depth, StencilFormat stencil,
                               SamplingType sampling)
    : fColorFormat(color), fDepthFormat(depth), fStencilFormat(stencil), fSamplingType(sampling) {}

qvBufferFormat::~qvBufferFormat() = default;

bool qvBufferFormat::lessCapableThan(const qvBufferFormat& other) const {
    return other.fColorFormat > fColorFormat || other.fDepthFormat > fDepthFormat ||
           other.fStencilFormat > fStencilFormat || other.fSamplingType > fSamplingType;
}

bool qvBufferFormat::operator==(const qvBufferFormat& other) const {
    return fColorFormat == other.fColorFormat && fDepthFormat == other.fDepthFormat &&
           fStencilFormat == other.fStencilFormat && fSamplingType == other.fSamplingType;
}
