#pragma once

/// @file
/// Internal: which triangle is seen at which pixel.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qvShadingDag {

/// A position in clip coordinates.
struct ClipPosition {
    double x = 0;
    double y = 0;
    double z = 0;
    double w = 0;
};

/// Four pixels of one triangle, two by two. Point 0 is the lower left one, 1 the lower right one, 2
/// the upper left one, 3 the upper right one.
struct FragmentQuad {
    unsigned int triangle = 0;
    unsigned int x = 0;       ///< of the left pixels, from the left
    unsigned int y = 0;       ///< of the lower pixels, from below
    unsigned int covered = 0; ///< bit p: point p belongs to the picture; the others are for differences
};

/// Triangles on a picture, by homogeneous edge functions: none is cut at the borders of what is seen.
/// Source: Olano and Greer, 1997.
///
/// 1. A triangle's three edge functions are the cross products of two of its corners (x, y, w) in
///    window coordinates: positive inside.
/// 2. What decides whether a pixel is covered are edges between corners that were rounded to 1/256 of
///    a pixel, in whole numbers: around a common corner every pixel then belongs to exactly one
///    triangle. A triangle with a corner behind the viewer, or far outside, is decided by 1.
/// 3. Divided by the triangle's determinant, the functions' sum is 1 / w, and each one's share of the
///    sum is the weight of the corner opposite: perspective-correct interpolation.
/// 4. Behind the viewer the sum is negative; beyond the near and far planes the depth leaves its
///    range. Such pixels are left out one by one.
class Rasterizer {
public:
    Rasterizer() = default;
    /// Triangles with corners that do not exist or are no numbers are left out, and so are those
    /// without an area.
    Rasterizer(const std::vector<ClipPosition>& positions, std::span<const unsigned int> indices,
               std::size_t width, std::size_t height, bool cullsBackFaces, std::size_t rowsPerStrip);

    /// A strip is some rows of the picture; the lowest is the first.
    std::size_t numStrips() const { return fStrips.size(); }

    /// What is to be computed in a strip. `depth` is that of the picture, top row first. With
    /// `onlyNearest`, each pixel is covered by the nearest triangle that lies in front of it;
    /// otherwise by all that do not lie outside, in their order.
    std::vector<FragmentQuad> quads(std::size_t strip, const std::vector<float>& depth,
                                    bool onlyNearest) const;

    /// The weights of a triangle's corners at the four points of a square; returns the corners.
    const unsigned int* weights(const FragmentQuad& quad, double (&result)[4][3]) const;
    /// The place of a point in the picture, whose top row comes first.
    std::size_t pixelOf(const FragmentQuad& quad, std::size_t point) const;
    /// The depth of a point, 0 to 1.
    float depthOf(const FragmentQuad& quad, std::size_t point) const;

private:
    /// a x + b y + c, at the middle of a pixel.
    struct Plane {
        double a = 0;
        double b = 0;
        double c = 0;

        double at(double x, double y) const { return a * x + (b * y + c); }
    };
    /// The same in whole numbers, for points in 1/256 of a pixel.
    struct Edge {
        std::int64_t a = 0;
        std::int64_t b = 0;
        std::int64_t c = 0;
    };
    struct Triangle {
        Plane edges[3]; ///< positive inside
        Edge rounded[3];
        bool isRounded = false;
        Plane depth; ///< z / w
        unsigned int corners[3] = {};
        // The pixels that it may cover, ends excluded.
        unsigned int left = 0;
        unsigned int right = 0;
        unsigned int bottom = 0;
        unsigned int top = 0;
    };

    bool setUp(const std::vector<ClipPosition>& positions, const unsigned int* corners, bool cullsBackFaces,
               Triangle& triangle) const;
    void setBounds(const ClipPosition* const (&corners)[3], Triangle& triangle) const;
    static void roundEdges(const double (&x)[3], const double (&y)[3], Triangle& triangle);
    static bool covers(const Triangle& triangle, unsigned int x, unsigned int y);
    template <typename Use>
    void forEachPixel(std::size_t strip, const Use& use) const;

    std::size_t fWidth = 0;
    std::size_t fHeight = 0;
    std::size_t fRowsPerStrip = 0;
    std::vector<Triangle> fTriangles;
    std::vector<std::vector<unsigned int>> fStrips; // the triangles of each, in their order
};

} // namespace qvShadingDag
