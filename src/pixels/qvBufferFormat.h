#pragma once

#include "pixels/IPixelFormat.h"

/// What a rendering buffer offers: colour, depth, stencil and multisampling. A host compares the
/// formats at hand with the one it needs:
///
///     const qvBufferFormat needed(kRGBAFixed8Format, kDepth24, kStencil8);
///     if (offered.betterOrEqualThan(needed)) ...
class QV_EXPORT qvBufferFormat : public IPixelFormat {
public:
    /// A buffer of those parts; none by default.
    qvBufferFormat(ColorFormat color = kInvalidColorFormat, // NOLINT(google-explicit-constructor)
                   DepthFormat depth = kNoDepth, StencilFormat stencil = kNoStencil,
                   SamplingType sampling = kSingleSample);
    qvBufferFormat(const qvBufferFormat&) = default;
    qvBufferFormat& operator=(const qvBufferFormat&) = default;
    ~qvBufferFormat() override;

    /// The format of the colours.
    ColorFormat colorFormat() const { return fColorFormat; }
    /// The format of the depths.
    DepthFormat depthFormat() const { return fDepthFormat; }
    /// The format of the stencil.
    StencilFormat stencilFormat() const { return fStencilFormat; }
    /// The kind of multisampling.
    SamplingType samplingType() const { return fSamplingType; }
    /// Sets the format of the colours.
    void setColorFormat(ColorFormat format) { fColorFormat = format; }
    /// Sets the format of the depths.
    void setDepthFormat(DepthFormat format) { fDepthFormat = format; }
    /// Sets the format of the stencil.
    void setStencilFormat(StencilFormat format) { fStencilFormat = format; }
    /// Sets the kind of multisampling.
    void setSamplingType(SamplingType type) { fSamplingType = type; }

    /// Whether `other` exceeds this format in at least one of the four fields. Two formats may
    /// each be less capable than the other.
    bool lessCapableThan(const qvBufferFormat& other) const;
    /// Whether `other` exceeds this format in none of the four fields.
    bool betterOrEqualThan(const qvBufferFormat& other) const { return !lessCapableThan(other); }

    bool operator==(const qvBufferFormat& other) const;
    /// Whether they differ in at least one of the four fields.
    bool operator!=(const qvBufferFormat& other) const { return !(*this == other); }

private:
    ColorFormat fColorFormat;
    DepthFormat fDepthFormat;
    StencilFormat fStencilFormat;
    SamplingType fSamplingType;
};
