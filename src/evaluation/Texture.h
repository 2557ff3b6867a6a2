#pragma once

#include "base/Export.h"
#include "evaluation/Primitives.h"

#include <cstddef>
#include <functional>
#include <vector>

namespace qvShadingDag {

/// One lookup at one point.
struct TextureLookup {
    TextureKind kind = kTexture2D;
    /// u, uv, uvw or a direction; RECT in texels, the others in 0..1. What the kind does not use is 0.
    double coordinates[3] = {};
    double dx[3] = {}; ///< how the coordinates change from one fragment to the next along x
    double dy[3] = {}; ///< the same along y
};

/// A map: gives the four components of a lookup.
using Texture = std::function<void(const TextureLookup& lookup, double (&texel)[4])>;

/// A map from a picture of `width` by `height` texels of four floats each, the lowest row first, each
/// from the left. The picture is copied.
///
/// Lookups are bilinear and repeat beyond the edges; (0, 0) is the lower left corner, the middle of
/// a texel gives exactly that texel, and the derivatives play no part. A 1D lookup reads the lowest
/// row, RECT counts in texels. 3D and CUBE lookups read nothing but give four times not-a-number.
/// An empty picture gives 0.
QV_EXPORT Texture pictureTexture(std::size_t width, std::size_t height, const float* texels);

/// Sharp cells, eight per unit of each coordinate: black where the sum of the cells' numbers is
/// even, else white; alpha is 1. RECT has cells of one texel, CUBE those of the direction divided by
/// its largest component and brought to 0..1.
QV_EXPORT Texture checkerTexture();

/// 1 everywhere.
QV_EXPORT Texture whiteTexture();

} // namespace qvShadingDag
