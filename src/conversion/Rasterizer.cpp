#include "conversion/Rasterizer.h"

#include <algorithm>
#include <cmath>

namespace qvShadingDag {

namespace {

constexpr std::int64_t kSteps = 256;            // of a pixel
constexpr double kFarOutside = 1024.0 * 1024.0; // in pixels; products of whole numbers must fit

} // namespace

Rasterizer::Rasterizer(const std::vector<ClipPosition>& positions, std::span<const unsigned int> indices,
                       std::size_t width, std::size_t height, bool cullsBackFaces, std::size_t rowsPerStrip)
    : fWidth(width), fHeight(height), fRowsPerStrip(rowsPerStrip),
      fStrips((height + rowsPerStrip - 1) / rowsPerStrip) {
    for (std::size_t i = 0; i + 3 <= indices.size(); i += 3) {
        Triangle triangle;
        if (!setUp(positions, &indices[i], cullsBackFaces, triangle)) {
            continue;
        }
        for (std::size_t strip = triangle.bottom / rowsPerStrip; strip * rowsPerStrip < triangle.top;
             ++strip) {
            fStrips[strip].push_back(static_cast<unsigned int>(fTriangles.size()));
        }
        fTriangles.push_back(triangle);
    }
}

bool Rasterizer::setUp(const std::vector<ClipPosition>& positions, const unsigned int* corners,
                       bool cullsBackFaces, Triangle& triangle) const {
    const ClipPosition* clip[3];
    double x[3];
    double y[3];
    double w[3];
    for (int i = 0; i < 3; ++i) {
        triangle.corners[i] = corners[i];
        if (corners[i] >= positions.size()) {
            return false;
        }
        clip[i] = &positions[corners[i]];
        x[i] = (clip[i]->x + clip[i]->w) * (0.5 * static_cast<double>(fWidth));
        y[i] = (clip[i]->y + clip[i]->w) * (0.5 * static_cast<double>(fHeight));
        w[i] = clip[i]->w;
    }
    for (int i = 0; i < 3; ++i) {
        const int j = (i + 1) % 3;
        const int k = (i + 2) % 3;
        triangle.edges[i] = {y[j] * w[k] - y[k] * w[j], x[k] * w[j] - x[j] * w[k], x[j] * y[k] - x[k] * y[j]};
    }
    const Plane& first = triangle.edges[0];
    const double determinant = x[0] * first.a + y[0] * first.b + w[0] * first.c;
    if (!std::isfinite(determinant) || determinant == 0 || (cullsBackFaces && determinant < 0)) {
        return false;
    }
    for (int i = 0; i < 3; ++i) {
        Plane& edge = triangle.edges[i];
        triangle.depth.a += edge.a * clip[i]->z / determinant;
        triangle.depth.b += edge.b * clip[i]->z / determinant;
        triangle.depth.c += edge.c * clip[i]->z / determinant;
        if (determinant < 0) {
            edge = {-edge.a, -edge.b, -edge.c};
        }
    }
    setBounds(clip, triangle);
    return triangle.left < triangle.right && triangle.bottom < triangle.top;
}

/// The box of the corners on the screen; the whole picture where one is not in front of the viewer.
void Rasterizer::setBounds(const ClipPosition* const (&corners)[3], Triangle& triangle) const {
    triangle.right = static_cast<unsigned int>(fWidth);
    triangle.top = static_cast<unsigned int>(fHeight);
    double x[3];
    double y[3];
    bool near = true;
    for (int i = 0; i < 3; ++i) {
        if (!(corners[i]->w > 0)) {
            return;
        }
        x[i] = (corners[i]->x / corners[i]->w + 1) * 0.5 * static_cast<double>(fWidth);
        y[i] = (corners[i]->y / corners[i]->w + 1) * 0.5 * static_cast<double>(fHeight);
        near = near && std::fabs(x[i]) < kFarOutside && std::fabs(y[i]) < kFarOutside;
    }
    if (near) {
        roundEdges(x, y, triangle);
    }
    const double low[2] = {std::min({x[0], x[1], x[2]}), std::min({y[0], y[1], y[2]})};
    const double high[2] = {std::max({x[0], x[1], x[2]}), std::max({y[0], y[1], y[2]})};
    // A pixel more than the corners say: they are rounded otherwise than the edges are.
    const auto clamped = [](double place, std::size_t most) {
        return static_cast<unsigned int>(std::clamp(place, 0.0, static_cast<double>(most)));
    };
    triangle.left = clamped(std::floor(low[0]) - 1, fWidth);
    triangle.right = clamped(std::ceil(high[0]) + 1, fWidth);
    triangle.bottom = clamped(std::floor(low[1]) - 1, fHeight);
    triangle.top = clamped(std::ceil(high[1]) + 1, fHeight);
}

void Rasterizer::roundEdges(const double (&x)[3], const double (&y)[3], Triangle& triangle) {
    std::int64_t wholeX[3];
    std::int64_t wholeY[3];
    for (int i = 0; i < 3; ++i) {
        wholeX[i] = std::llround(x[i] * kSteps);
        wholeY[i] = std::llround(y[i] * kSteps);
    }
    const std::int64_t area =
        (wholeX[1] - wholeX[0]) * (wholeY[2] - wholeY[0]) - (wholeX[2] - wholeX[0]) * (wholeY[1] - wholeY[0]);
    const std::int64_t sign = area < 0 ? -1 : 1;
    for (int i = 0; i < 3; ++i) {
        const int j = (i + 1) % 3;
        const int k = (i + 2) % 3;
        Edge& edge = triangle.rounded[i];
        edge.a = sign * (wholeY[j] - wholeY[k]);
        edge.b = sign * (wholeX[k] - wholeX[j]);
        edge.c = -(edge.a * wholeX[j] + edge.b * wholeY[j]);
    }
    triangle.isRounded = true;
}

/// A point on an edge is inside where the inside lies to its right, or above it.
inline bool Rasterizer::covers(const Triangle& triangle, unsigned int column, unsigned int row) {
    const double x = column + 0.5;
    const double y = row + 0.5;
    const auto onInnerSide = [](auto value, auto a, auto b) {
        return value > 0 || (value == 0 && (a > 0 || (a == 0 && b > 0)));
    };
    double sum = 0;
    for (int i = 0; i < 3; ++i) {
        const Plane& plane = triangle.edges[i];
        const double value = plane.at(x, y);
        sum += value;
        if (triangle.isRounded) {
            const Edge& edge = triangle.rounded[i];
            const std::int64_t whole = edge.a * (std::int64_t{column} * kSteps + kSteps / 2) +
                                       edge.b * (std::int64_t{row} * kSteps + kSteps / 2) + edge.c;
            if (!onInnerSide(whole, edge.a, edge.b)) {
                return false;
            }
        } else if (!onInnerSide(value, plane.a, plane.b)) {
            return false;
        }
    }
    const double depth = triangle.depth.at(x, y);
    return sum > 0 && depth >= -1 && depth <= 1;
}

/// Calls `use(triangle, x, y)` for every pixel of the strip that a triangle covers.
template <typename Use>
void Rasterizer::forEachPixel(std::size_t strip, const Use& use) const {
    const auto low = static_cast<unsigned int>(strip * fRowsPerStrip);
    const auto high = static_cast<unsigned int>(std::min((strip + 1) * fRowsPerStrip, fHeight));
    for (const unsigned int index : fStrips[strip]) {
        const Triangle& triangle = fTriangles[index];
        for (unsigned int y = std::max(low, triangle.bottom); y < std::min(high, triangle.top); ++y) {
            for (unsigned int x = triangle.left; x < triangle.right; ++x) {
                if (covers(triangle, x, y)) {
                    use(index, x, y);
                }
            }
        }
    }
}

std::vector<FragmentQuad> Rasterizer::quads(std::size_t strip, const std::vector<float>& depth,
                                            bool onlyNearest) const {
    constexpr unsigned int kNone = ~0U;
    const std::size_t firstRow = strip * fRowsPerStrip;
    const std::size_t rows = std::min(fRowsPerStrip, fHeight - firstRow);
    const std::size_t quadsPerRow = (fWidth + 1) / 2;
    std::vector<FragmentQuad> result;
    const auto placeOf = [&](unsigned int x, unsigned int y) { return (fHeight - 1 - y) * fWidth + x; };

    if (!onlyNearest) {
        // By square, the last entry of `result` for the triangle that is being walked.
        std::vector<unsigned int> entries(quadsPerRow * ((rows + 1) / 2), kNone);
        forEachPixel(strip, [&](unsigned int triangle, unsigned int x, unsigned int y) {
            unsigned int& entry = entries[(y - firstRow) / 2 * quadsPerRow + x / 2];
            if (entry == kNone || result[entry].triangle != triangle) {
                entry = static_cast<unsigned int>(result.size());
                result.push_back({triangle, x & ~1U, y & ~1U, 0});
            }
            result[entry].covered |= 1U << ((y & 1U) * 2 + (x & 1U));
        });
        return result;
    }

    std::vector<unsigned int> seen(rows * fWidth, kNone);
    std::vector<double> nearest(rows * fWidth);
    for (std::size_t row = 0; row < rows; ++row) {
        for (std::size_t x = 0; x < fWidth; ++x) {
            nearest[row * fWidth + x] =
                2.0 *
                    depth[placeOf(static_cast<unsigned int>(x), static_cast<unsigned int>(firstRow + row))] -
                1;
        }
    }
    forEachPixel(strip, [&](unsigned int triangle, unsigned int x, unsigned int y) {
        const std::size_t place = (y - firstRow) * fWidth + x;
        const double z = fTriangles[triangle].depth.at(x + 0.5, y + 0.5);
        if (z < nearest[place]) {
            nearest[place] = z;
            seen[place] = triangle;
        }
    });
    for (std::size_t row = 0; row < rows; row += 2) {
        for (std::size_t x = 0; x < fWidth; x += 2) {
            const std::size_t first = result.size();
            for (unsigned int p = 0; p < 4; ++p) {
                const std::size_t px = x + (p & 1U);
                const std::size_t py = row + p / 2;
                const unsigned int triangle = px < fWidth && py < rows ? seen[py * fWidth + px] : kNone;
                if (triangle == kNone) {
                    continue;
                }
                std::size_t entry = first;
                while (entry < result.size() && result[entry].triangle != triangle) {
                    ++entry;
                }
                if (entry == result.size()) {
                    result.push_back({triangle, static_cast<unsigned int>(x),
                                      static_cast<unsigned int>(firstRow + row), 0});
                }
                result[entry].covered |= 1U << p;
            }
        }
    }
    return result;
}

const unsigned int* Rasterizer::weights(const FragmentQuad& quad, double (&result)[4][3]) const {
    const Triangle& triangle = fTriangles[quad.triangle];
    for (unsigned int p = 0; p < 4; ++p) {
        const double x = quad.x + (p & 1U) + 0.5;
        const double y = quad.y + (p >> 1U) + 0.5;
        double sum = 0;
        for (int i = 0; i < 3; ++i) {
            result[p][i] = triangle.edges[i].at(x, y);
            sum += result[p][i];
        }
        for (double& weight : result[p]) {
            weight /= sum;
        }
    }
    return triangle.corners;
}

std::size_t Rasterizer::pixelOf(const FragmentQuad& quad, std::size_t point) const {
    return (fHeight - 1 - (quad.y + point / 2)) * fWidth + quad.x + (point & 1U);
}

float Rasterizer::depthOf(const FragmentQuad& quad, std::size_t point) const {
    const double z = fTriangles[quad.triangle].depth.at(quad.x + static_cast<double>(point & 1U) + 0.5,
                                                        quad.y + static_cast<double>(point >> 1U) + 0.5);
    return static_cast<float>((z + 1) / 2);
}

} // namespace qvShadingDag
