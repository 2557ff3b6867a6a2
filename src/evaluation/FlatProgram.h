#pragma once

/// @file
/// The expanded graph in flat arrays, for the passes of evaluation and conversion; not for hosts.

#include "core/DataType.h"
#include "evaluation/Primitives.h"
#include "evaluation/ShadingValue.h"
#include "shadingdag/CompFreqRange.h"

#include <cstdint>
#include <string>
#include <vector>

namespace qvShadingDag {

class ShadingNode;
class ShadingNodeSpec;

/// A function with the bodies of all that it calls in place of the calls.
///
/// Nodes stand in an order of computation: each behind those whose values it reads. A node has one
/// value, a call of a primitive with several outputs has several; values are numbered through.
/// Plain data: passes read and change it as they need.
struct FlatProgram {
    using Index = std::uint32_t;
    static constexpr Index kNone = ~0U;

    enum NodeKind : unsigned char {
        kInput,    ///< of the whole function
        kLiteral,  ///< its value is in `literals`
        kCall,     ///< of a primitive
        kIdentity, ///< passes its argument on, at its own floor
    };

    struct Node {
        NodeKind kind = kCall;
        unsigned char floor = kConstantFreq; ///< the lowest level at which it may be computed
        bool lightSpecific = false;
        Index firstArgument = 0; ///< in `arguments`
        Index argumentCount = 0;
        Index firstValue = 0; ///< in `valueTypes` and `valueNode`
        Index valueCount = 0;
        Index what = 0; ///< the place in `inputs`, `literals` or `callees`
        /// The node that it came from, in the graph of the function or of one that it calls: for an
        /// identity the call whose output passes an argument through. Null for the nodes of a
        /// declared function, which has no graph.
        const ShadingNode* origin = nullptr;
    };

    struct Callee {
        const ShadingNodeSpec* spec = nullptr;
        const Primitive* primitive = nullptr; ///< null: a primitive of the host's
    };

    struct Input {
        std::string name;
        DataType type = kInvalidDataType;
        CompFreqRange declared;
        bool lightSpecific = false;
        Index node = kNone; ///< none when no output needs it (see `dropUnread`)
    };

    struct Output {
        std::string name;
        DataType type = kInvalidDataType;
        CompFreqRange declared;
        Index value = kNone; ///< none when nothing is connected
    };

    std::vector<Node> nodes;
    std::vector<Index> arguments; ///< values
    std::vector<DataType> valueTypes;
    std::vector<Index> valueNode;
    std::vector<ShadingValue> literals; ///< maybe more than the nodes refer to
    std::vector<Callee> callees;        ///< the same
    std::vector<Input> inputs;          ///< all of the function, in the order of its header
    std::vector<Output> outputs;        ///< the same, the returned value first
};

/// The flat program of a function; of a declared one its only call. All inputs of the function are
/// there, and everything that an output of some function on the way needs.
///
/// A node's floor is what the header of its primitive declares, and what the calls that it came out
/// of do: a function with one output that is declared above constant gives that level to every node
/// of its body that depends on an argument; one with several outputs gives the level of each to the
/// node that feeds it. Where an argument is passed through, an identity carries that floor. The
/// levels that the function itself declares for its outputs move nothing.
///
/// Throws an `Exception`, and never changes a graph, when an input of a call or a needed output of
/// a body is not connected, when a function calls itself, and beyond 2^24 nodes. Takes linear time
/// in the result and does not recurse.
FlatProgram flatten(const ShadingNodeSpec& function);

/// Leaves out the nodes that no output needs. An input that is not needed stays in the list of
/// inputs, without a node.
void dropUnread(FlatProgram& program);

/// Leaves one node where several compute the same: of one kind and floor, from the same values. The
/// first stays, with its origin.
void mergeEqual(FlatProgram& program);

/// "name(type,type)": how a function is told from others of its name.
std::string signatureOf(const ShadingNodeSpec& function);

/// What a node does, for people: the name of an input, the printed value of a literal, the
/// signature of a primitive, "identity".
std::string operationText(const FlatProgram& program, FlatProgram::Index node);

} // namespace qvShadingDag
