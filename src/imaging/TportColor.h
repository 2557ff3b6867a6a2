#pragma once

/// A colour that travels between libraries: four components, usually in the unit range, and the
/// model that they belong to.
///
///     TportColor warm(1.0F, 0.9F, 0.7F);
struct TportColor {
    /// Other models may be cast in; the library stores the number without converting anything.
    enum ColorType : int {
        kRGBA = 0,
    };

    /// Opaque black.
    TportColor() = default;
    /// The colour with these components.
    TportColor(float redValue, float greenValue, float blueValue, float alphaValue = 1.0F,
               ColorType colorType = kRGBA)
        : type(colorType), red(redValue), green(greenValue), blue(blueValue), alpha(alphaValue) {}

    bool operator==(const TportColor& other) const = default;

    ColorType type = kRGBA;
    float red = 0;
    float green = 0;
    float blue = 0;
    float alpha = 1;
};
