#include "evaluation/Texture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>

namespace qvShadingDag {

namespace {

/// Two neighbouring texels along one axis and the share of the second.
struct Neighbours {
    std::size_t first = 0;
    std::size_t second = 0;
    double share = 0;
};

/// At a position in texels, the middle of the first texel being 0.5. A position that is not finite
/// gives a share that is not-a-number.
Neighbours neighboursAt(double position, std::size_t size) {
    const auto texels = static_cast<double>(size);
    const double whole = std::floor(position - 0.5);
    const double wrapped = whole - std::floor(whole / texels) * texels;
    Neighbours result;
    result.share = position - 0.5 - whole;
    // Rounding of huge positions may leave the range by one.
    result.first = wrapped >= 0 && wrapped < texels ? static_cast<std::size_t>(wrapped) : 0;
    result.second = result.first + 1 == size ? 0 : result.first + 1;
    return result;
}

/// From a to b; exactly a at 0, whatever b holds.
double between(double a, double b, double share) {
    return share == 0 ? a : a + (b - a) * share;
}

class Picture {
public:
    Picture(std::size_t width, std::size_t height, const float* texels)
        : fWidth(width), fHeight(height), fTexels(texels, texels + 4 * width * height) {}

    void look(const TextureLookup& lookup, double (&texel)[4]) const {
        const bool inTexels = lookup.kind == kTextureRECT;
        const double u = lookup.coordinates[0] * (inTexels ? 1 : static_cast<double>(fWidth));
        const double v = lookup.coordinates[1] * (inTexels ? 1 : static_cast<double>(fHeight));
        const Neighbours x = neighboursAt(u, fWidth);
        const Neighbours y = lookup.kind == kTexture1D ? Neighbours() : neighboursAt(v, fHeight);
        for (std::size_t c = 0; c < 4; ++c) {
            const double low = between(at(x.first, y.first, c), at(x.second, y.first, c), x.share);
            const double high = between(at(x.first, y.second, c), at(x.second, y.second, c), x.share);
            texel[c] = between(low, high, y.share);
        }
    }

private:
    double at(std::size_t x, std::size_t y, std::size_t c) const {
        return static_cast<double>(fTexels[4 * (y * fWidth + x) + c]);
    }

    std::size_t fWidth;
    std::size_t fHeight;
    std::vector<float> fTexels;
};

/// The coordinates in cells of the checker; how many there are.
int cellsOf(const TextureLookup& lookup, std::array<double, 3>& cells) {
    std::copy(lookup.coordinates, lookup.coordinates + 3, cells.begin());
    const int count = lookup.kind == kTexture1D                                  ? 1
                      : lookup.kind == kTexture2D || lookup.kind == kTextureRECT ? 2
                                                                                 : 3;
    if (lookup.kind == kTextureCUBE) {
        const double largest = std::max({std::fabs(cells[0]), std::fabs(cells[1]), std::fabs(cells[2])});
        for (double& cell : cells) {
            cell = 0.5 + 0.5 * cell / largest;
        }
    }
    if (lookup.kind != kTextureRECT) {
        for (double& cell : cells) {
            cell *= 8;
        }
    }
    return count;
}

} // namespace

Texture pictureTexture(std::size_t width, std::size_t height, const float* texels) {
    const bool isEmpty = width == 0 || height == 0 || !texels;
    const auto picture = isEmpty ? nullptr : std::make_shared<const Picture>(width, height, texels);
    return [picture](const TextureLookup& lookup, double(&texel)[4]) {
        if (lookup.kind == kTexture3D || lookup.kind == kTextureCUBE) {
            std::fill(texel, texel + 4, std::numeric_limits<double>::quiet_NaN());
        } else if (!picture) {
            std::fill(texel, texel + 4, 0.0);
        } else {
            picture->look(lookup, texel);
        }
    };
}

Texture checkerTexture() {
    return [](const TextureLookup& lookup, double(&texel)[4]) {
        std::array<double, 3> cells{};
        const int count = cellsOf(lookup, cells);
        double sum = 0;
        for (int i = 0; i < count; ++i) {
            sum += std::floor(cells[static_cast<std::size_t>(i)]);
        }
        std::fill(texel, texel + 3, std::fabs(std::fmod(sum, 2)));
        texel[3] = 1;
    };
}

Texture whiteTexture() {
    return [](const TextureLookup&, double(&texel)[4]) { std::fill(texel, texel + 4, 1.0); };
}

} // namespace qvShadingDag
