#pragma once

#include "base/Export.h"
#include "conversion/Placement.h"
#include "evaluation/ShadingValue.h"
#include "evaluation/Texture.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace qvShadingDag {

class ProgramEvaluation;
class ShadingNodeSpec;

/// The picture that a `ProgramEvaluator` draws into.
struct RasterImage {
    /// Transparent black, as far away as can be. Throws an `Exception` of type `kInputError` beyond
    /// 2^31 - 1 bytes of colours.
    QV_EXPORT RasterImage(std::size_t imageWidth, std::size_t imageHeight);

    std::size_t width;
    std::size_t height;
    std::vector<float> color; ///< four per pixel, as the program gives them; the top row first
    std::vector<float> depth; ///< one per pixel, 0 at the near plane to 1 at the far one
};

/// Runs a placed pair of programs on the CPU as the hardware would: the uniform part once, the vertex
/// program for every vertex, then clipping, rasterisation with perspective-correct interpolation, and
/// the fragment program for every visible pixel.
///
///     ProgramEvaluator evaluator(*ShadingNodeSpec::findSpecInLibrary("litSurface"));
///     evaluator.set("light", {1, 0.9, 0.8});
///     evaluator.set("modelViewProjection", matrix);
///     evaluator.set("position", {x, y, z});
///     RasterImage image(256, 256);
///     evaluator.draw(x.size(), triangles, image);
///
/// Pixels are drawn whose middle lies inside a triangle; of a middle on an edge that two triangles
/// share, one has it. Fragments are computed in squares of two by two, for `ddx` and `ddy`. Of ints
/// and bools that cross, the triangle's last vertex counts. Clip coordinates are those of OpenGL:
/// -w to w, y upwards.
///
/// Takes linear time in the vertices, the triangles times the rows that they touch, and the pixels
/// that they cover, and memory for some rows of the picture for each thread.
class QV_EXPORT ProgramEvaluator {
public:
    /// What the pair needs from the host.
    struct Input {
        std::string name;
        DataType type = kInvalidDataType;
        bool isPerVertex = false; ///< else once per draw
    };

    /// Places the function. Throws an `Exception` of type `kInputError` with the text of
    /// `Placement::errorString` where that cannot be done, and with one of its kind when there is
    /// nothing to draw, when a colour is no number, and when two parameters have one name.
    explicit ProgramEvaluator(const ShadingNodeSpec& function, const PlacementOptions& options = {});
    ProgramEvaluator(ProgramEvaluator&& other) noexcept;
    ProgramEvaluator& operator=(ProgramEvaluator&& other) noexcept;
    ~ProgramEvaluator();

    /// The inputs that the pair reads, in the order of the header, constant ones that the options give
    /// no value included; behind them those that the implied clip position needs: `position` (a float4
    /// per vertex) and `modelViewProjection` (a matrix4).
    const std::vector<Input>& inputs() const;

    /// @name Before drawing
    /// Values stay set. Each throws when the pair reads no such input and when the value does not fit.
    /// @{

    /// One value for all vertices.
    void set(const std::string& name, const ShadingValue& value);
    /// A value per vertex: a column per component, of as many numbers as there are vertices. For a
    /// float4, a fourth column may be missing: it is then 1. The columns must live until the drawing.
    void set(const std::string& name, std::vector<std::span<const double>> columns);
    /// A map. With more than one thread, several call it at the same time.
    void set(const std::string& name, Texture texture);
    /// How many threads share the fragments; 1 at first.
    void setThreads(unsigned int threads);
    /// Is told the part of the picture that is done, from 0 to 1, now and then, by the thread that
    /// called `draw`. What it throws ends the drawing and comes out of `draw`.
    void setProgress(std::function<void(double)> progress);
    /// Whether triangles that turn their back (clockwise on the screen) are left out; at first not.
    void setCullsBackFaces(bool culls);
    /// @}

    /// Draws triangles, three indices of vertices each, in front of what lies deeper. Indices that
    /// are not below `vertices` leave their triangle out, and so do positions that are no numbers.
    /// Throws when an input has no value or fewer than `vertices`, when a primitive has no kernel, and
    /// when the sizes of the picture's vectors are not those that its constructor gave them.
    void draw(std::size_t vertices, std::span<const unsigned int> triangles, RasterImage& image);

private:
    std::unique_ptr<ProgramEvaluation> fEvaluation;
};

} // namespace qvShadingDag
