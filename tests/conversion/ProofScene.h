#pragma once

#include "conversion/GlDriver.h"
#include "conversion/ProgramInterface.h"
#include "evaluation/Primitives.h"
#include "shadingdag/ShadingNodeSpec.h"

#include <map>
#include <string>
#include <vector>

namespace programTesting {

using namespace qvShadingDag;

/// What a function is given, by the driver and by the evaluation alike: numbers for all inputs, at
/// points or at the corners of a triangle, and maps.
///
/// Points lie in the middles of the pixels, one each, so that nothing is interpolated. The triangle
/// covers the picture and recedes: its corners have the distances 1, 3 and 2.
struct ProofScene {
    static constexpr int kWidth = 16, kHeight = 8; // whole quads

    /// For Mesa's 32-bit interpreter, which moves ints through float registers: those change numbers
    /// that look like signalling not-a-numbers.
    static inline bool fsOnlySmallInts = false;

    GlDraw::Shape shape = GlDraw::kPoints;
    int vertices = kWidth * kHeight;

    struct Input {
        std::string name;
        DataType type;
        bool perVertex = false;
        bool constant = false; ///< its value must be known to convert
        int components = 0;
        std::vector<double> values;            ///< `components` for each vertex, or once
        GlTexture::Kind kind = GlTexture::k2D; ///< of a map
    };
    std::vector<Input> inputs; ///< of the function, in its order

    /// A scene of random numbers for the inputs of a function, rounded to float: most of them between -1
    /// and 1, some larger, some whole; every fourth seed gives few different numbers. `levels` tells which
    /// inputs are given once per draw against their default.
    ProofScene(const ShadingNodeSpec& function, GlDraw::Shape shape, unsigned seed,
               const std::map<std::string, unsigned int>& levels = {});

    /// The value of an input at a pixel, counted from the lower left along the lines. Ints and bools
    /// have the last corner's value, clamped values are clamped before they are interpolated.
    double valueAt(const Input& input, int component, int pixel) const;

    /// The same numbers at points: those of the triangle's corners by turns.
    ProofScene atCorners() const;

    /// The same as draw, for programs with this interface. `hoisted` are the values that the host
    /// computes, by name. With `byPlace` names are those that SPIRV-Cross gives.
    GlDraw draw(const ProgramInterface& described, const std::map<std::string, std::vector<double>>& hoisted,
                bool byPlace) const;

    /// The clip positions of the vertices, four numbers each.
    std::vector<double> positions() const;

    /// The texture of map number `map`, and its four components at coordinates, as the driver filters.
    static GlTexture texture(GlTexture::Kind kind, int map);
    static void lookUp(GlTexture::Kind kind, int map, const double coordinates[3], double (&texel)[4]);
};

/// The kind of texture that serves lookups of this kind.
GlTexture::Kind glKind(TextureKind kind);

/// How many numbers a value of a type consists of.
int numberCount(DataType type);

} // namespace programTesting
