#pragma once

#include "base/Export.h"
#include "core/DataType.h"
#include "evaluation/ShadingValue.h"
#include "shadingdag/CompFreqRange.h"
#include "shadingdag/FileLocation.h"

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace qvShadingDag {

class ShadingNodeSpec;
struct PlacedProgram;

/// How a placement uses the freedom that the ranges leave.
enum PlacementPolicy : int {
    /// The picture is that of computing per fragment: what interpolation would change is computed
    /// there where its range allows it.
    kExactPlacement = 0,
    /// Every value as early as its range allows; interpolation may change the picture.
    kEarliestPlacement,
};

/// What a host says about the function that it has placed or converted.
///
///     PlacementOptions options;
///     options.inputLevels["light"] = kUniformFreq; // delivered once per draw
///     options.constants["samples"] = 4;            // the value of a constant input
struct PlacementOptions {
    PlacementPolicy policy = kExactPlacement;
    /// How the host delivers inputs, where it is not as they are declared: by name, `kUniformFreq`
    /// (once per draw) or `kVertexFreq`. It must lie within the declared range.
    std::map<std::string, unsigned int> inputLevels;
    /// The values of inputs that are declared constant, by name. Those of other inputs change nothing.
    std::map<std::string, ShadingValue> constants;
};

/// Whose fault it is that a function cannot be placed.
enum PlacementFault : int {
    kNoFault = 0,
    kFunctionFault, ///< the function cannot be placed at all
    kOptionsFault,  ///< it has no such input, or the input cannot be delivered or set so
};

/// How a value gets to those that do not compute it.
enum ValueCarrier : int {
    kAttributeCarrier = 0, ///< an input, from the host, per vertex
    kUniformCarrier,       ///< an input, from the host, once per draw
    kHoistedCarrier,       ///< computed by the host, once per draw
    kVaryingCarrier,       ///< from the vertex to the fragment program, interpolated
    kFlatCarrier,          ///< the same, but the last vertex's: ints and bools
};

/// A node of a function that was placed. Literals, inputs and calls of primitives are nodes; a node
/// that is computed both per vertex and per fragment is two.
struct PlacedNode {
    std::string operation; ///< the value of a literal, the name of an input, a primitive's signature
    unsigned int level = kInvalidFreq; ///< `kConstantFreq` to `kFragmentFreq`
    std::string reason;                ///< why it is there, in words
    int decider = -1;                  ///< the number of the node that decided it; -1 without one
    std::vector<int> arguments;        ///< the numbers of the nodes that it reads, in order
    std::string file;                  ///< where it was written; empty when unknown
    FileLocation location{0, 0};       ///< in that file; 0, 0 when unknown
    std::string variable;              ///< the one that was bound to it first; empty without one
};

/// A value that crosses, see `ValueCarrier`.
struct PlacedCrossing {
    int node = -1;  ///< the number of the node that has it
    int output = 0; ///< which of the node's values
    DataType type = kInvalidDataType;
    ValueCarrier carrier = kUniformCarrier;
    bool intoVertex = false;   ///< the vertex program reads it
    bool intoFragment = false; ///< the fragment program reads it
};

/// What one level costs. What only dropped outputs need is not computed, and costs nothing.
struct PlacementCost {
    int operations = 0; ///< calls of primitives computed there, lookups included
    int lookups = 0;    ///< texture lookups among them
    int values = 0;     ///< that cross to the next level; of the fragment level, the outputs
    int components = 0; ///< of those values together
};

/// The place of every node of a function: which the host computes once per draw, which the vertex
/// program, which the fragment program; what crosses from one to the next; and why.
///
///     Placement placement(*ShadingNodeSpec::findSpecInLibrary("litSurface"));
///     if (!placement.place()) {
///         return fail(placement.errorString());
///     }
///     for (int i = 0; i < placement.numNodes(); ++i) {
///         const PlacedNode node = placement.node(i);
///         std::cout << node.operation << ": " << compFreqName(node.level) << ", " << node.reason << '\n';
///     }
///
/// The function is not changed. It must live as long as the placement is asked for its nodes.
class QV_EXPORT Placement {
public:
    /// What varying components every target has room for.
    static constexpr int kVaryingComponents = 60;

    /// Nothing is placed before `place`.
    explicit Placement(const ShadingNodeSpec& function, const PlacementOptions& options = {});
    ~Placement();
    Placement(const Placement&) = delete;
    Placement& operator=(const Placement&) = delete;

    /// Places the function; false when it cannot be placed, and nothing is there then. Takes linear
    /// time in the nodes of the expanded function.
    bool place();

    /// What is wrong, with the file, the line and the function, and what to write instead; one
    /// sentence or more without a line feed. Empty after a success.
    const std::string& errorString() const { return fError; }
    /// Whether the function or the options are at fault.
    PlacementFault fault() const { return fFault; }

    /// How many nodes the outputs read; 0 before `place`.
    int numNodes() const;
    /// Node `number`, from 0, in order of computation. Throws when there is none.
    PlacedNode node(int number) const;
    /// What crosses, in the order of the nodes.
    std::vector<PlacedCrossing> crossings() const;
    /// What the nodes of a level cost; all 0 for a level that is none.
    PlacementCost cost(unsigned int level) const;

    /// A `digraph` in the DOT language, with a colour per level and a legend. Literals that a folded
    /// node took in are left out.
    std::string toGraphviz() const;

private:
    const ShadingNodeSpec& fFunction;
    PlacementOptions fOptions;
    std::unique_ptr<PlacedProgram> fPlaced;
    std::string fError;
    PlacementFault fFault = kNoFault;
};

/// An output that is declared for an earlier level than its value can be computed at.
struct FrequencyContradiction {
    std::string output;
    CompFreqRange declared;
    unsigned int needed = kInvalidFreq; ///< the level of the value when every argument is constant
    std::string operation;              ///< what needs it: the signature of a primitive
    std::string file;                   ///< where that was written; empty when unknown
    FileLocation location{0, 0};        ///< in that file; 0, 0 when unknown
};

/// The contradictions in the header of a defined function, in the order of its outputs; none for a
/// declared one. They are no error: placement goes by what a body needs. Throws an `Exception` where
/// the function cannot be expanded. Takes linear time in the nodes of the expanded function.
QV_EXPORT std::vector<FrequencyContradiction> findFrequencyContradictions(const ShadingNodeSpec& function);

} // namespace qvShadingDag
