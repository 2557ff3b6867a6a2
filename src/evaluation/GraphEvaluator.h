#pragma once

#include "base/Export.h"
#include "core/DataType.h"
#include "evaluation/Primitives.h"
#include "evaluation/ShadingValue.h"
#include "evaluation/Texture.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace qvShadingDag {

class GraphEvaluation;
class ShadingNode;
class ShadingNodeSpec;

/// Computes a primitive of the host's at `points` points: a column of numbers per component, the
/// arguments one after the other, texture objects left out, and likewise the outputs. The columns of
/// the results lie apart from those of the arguments.
using HostKernel = std::function<void(std::span<const double* const> arguments,
                                      std::span<double* const> results, std::size_t points)>;

/// The values of a function's outputs, for one point or for many at once.
///
///     GraphEvaluator evaluator(*ShadingNodeSpec::findSpecInLibrary("lambert"));
///     evaluator.set("n", {0, 0, 1});
///     evaluator.set("l", {0.6, 0, 0.8});
///     evaluator.evaluate();
///     evaluator.output(0).toString(); // "0.8" but for the rounding to float
///
/// The function may be defined or declared, expanded or not; it is read once, by the constructor,
/// and must live on. Everything is computed in double precision from numbers that were rounded to
/// float. Points come in quads, the four fragments of a square: lower left, lower right, upper left,
/// upper right. `ddx` and `ddy` are the differences within a quad; the last one is filled up with the
/// last point. A value of type clampu is clamped where it is read and wherever it is computed.
///
/// Takes time in nodes times points, and memory for the values that are still needed at any time, in
/// blocks of points. What is wrong with inputs and kernels is an `Exception` of type `kInputError`;
/// what is wrong with the graph (a function that calls itself, an input of a call that nothing feeds)
/// is thrown by the constructor.
class QV_EXPORT GraphEvaluator {
public:
    /// An input of the function.
    struct Input {
        std::string name;
        DataType type = kInvalidDataType;
        bool isRead = false;                   ///< some output depends on it
        std::vector<TextureKind> textureKinds; ///< how a texture object is read, each kind once
    };
    /// A value with a name: an output of the function or of a node.
    struct Output {
        std::string name;
        DataType type = kInvalidDataType;
    };

    /// Throws when the function's calls cannot be put in place of each other (see
    /// ShadingNodeSpec::expandFunctionCalls).
    explicit GraphEvaluator(const ShadingNodeSpec& function);
    GraphEvaluator(GraphEvaluator&& other) noexcept;
    GraphEvaluator& operator=(GraphEvaluator&& other) noexcept;
    ~GraphEvaluator();

    /// @name Before an evaluation
    /// Inputs keep what was set. All inputs of one name get it.
    /// @{

    /// In the order of the header.
    const std::vector<Input>& inputs() const;
    /// One value at all points. Throws when there is no such input, and when its type is another.
    void set(const std::string& name, const ShadingValue& value);
    /// A value for each point: one column per component, which must live until the evaluation and
    /// hold as many numbers as there are points then. Floats are read faster than doubles, which are
    /// rounded. Throws when there is no such input, and when its type has another number of
    /// components.
    void set(const std::string& name, std::vector<std::span<const float>> columns);
    /// The same with doubles.
    void set(const std::string& name, std::vector<std::span<const double>> columns);
    /// A map. Throws when there is no such input, and when it is no texture object.
    void set(const std::string& name, Texture texture);
    /// How a primitive is computed, by its signature: `"shade(float4,float)"`. Comes before qv's own.
    /// Throws when the function calls no such primitive.
    void addKernel(const std::string& signature, const HostKernel& kernel);
    /// Whether every step is rounded to float; at first not.
    void setRoundsToFloat(bool rounds);
    /// Whether the values of all nodes are kept; at first not. Takes memory for all of them.
    void setKeepsNodeValues(bool keeps);
    /// @}

    /// Computes the outputs. Throws when an input that is read has no value, when a column is too
    /// short, when an output is not connected, and when a primitive has no kernel.
    void evaluate(std::size_t points = 1);

    /// @name After an evaluation
    /// @{

    /// The returned value first.
    const std::vector<Output>& outputs() const;
    /// The value of an output at one point. Throws when there is none.
    ShadingValue output(std::size_t output, std::size_t point = 0) const;
    /// The input whose map an output passes on, by name; empty for an output of numbers.
    std::string mapOfOutput(std::size_t output) const;
    /// One component of an output at all points. Throws when there is none.
    std::span<const double> outputColumn(std::size_t output, int component) const;

    /// How many nodes there are: those that some output needs, equal ones once, in the order in which
    /// they are computed.
    std::size_t numNodes() const;
    /// What a node does: the name of an input, the printed value of a literal, the signature of a
    /// primitive, "identity" where a call passes an argument through.
    std::string operationOfNode(std::size_t node) const;
    /// The node of the graph that it came from; null for a declared function.
    const ShadingNode* originOfNode(std::size_t node) const;
    /// The names and types of its values: one, of the name "output", unless it has several.
    std::vector<Output> valuesOfNode(std::size_t node) const;
    /// One of its values at one point. Throws when there is none, or when none were kept.
    ShadingValue nodeValue(std::size_t node, std::size_t value = 0, std::size_t point = 0) const;
    /// The input whose map a node is or passes on, by name; empty for a node with numbers.
    std::string mapOfNode(std::size_t node) const;
    /// @}

private:
    std::unique_ptr<GraphEvaluation> fEvaluation;
};

} // namespace qvShadingDag
