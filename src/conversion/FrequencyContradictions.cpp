#include "conversion/Placement.h"
#include "evaluation/FlatProgram.h"
#include "shadingdag/ShadingNode.h"
#include "shadingdag/ShadingNodeSpec.h"

namespace qvShadingDag {

std::vector<FrequencyContradiction> findFrequencyContradictions(const ShadingNodeSpec& function) {
    using Index = FlatProgram::Index;
    std::vector<FrequencyContradiction> result;
    if (function.nodeType() != kFunctionNode) {
        return result;
    }
    // With every argument constant, a node's level is the latest floor on the way to it; `guilty` is
    // the node that has that floor.
    const FlatProgram flat = flatten(function);
    std::vector<Index> guilty(flat.nodes.size());
    const auto levelOf = [&](Index node) { return flat.nodes[guilty[node]].floor; };
    for (Index n = 0; n < flat.nodes.size(); ++n) {
        const FlatProgram::Node& node = flat.nodes[n];
        guilty[n] = n;
        for (Index i = 0; i < node.argumentCount; ++i) {
            const Index argument = flat.valueNode[flat.arguments[node.firstArgument + i]];
            guilty[n] = levelOf(argument) >= levelOf(n) ? guilty[argument] : guilty[n];
        }
    }
    for (const FlatProgram::Output& output : flat.outputs) {
        const Index node =
            output.value == FlatProgram::kNone ? output.value : guilty[flat.valueNode[output.value]];
        if (node == FlatProgram::kNone || flat.nodes[node].floor <= output.declared.highest()) {
            continue;
        }
        FrequencyContradiction found;
        found.output = output.name;
        found.declared = output.declared;
        found.needed = flat.nodes[node].floor;
        found.operation = operationText(flat, node);
        if (const ShadingNode* origin = flat.nodes[node].origin) {
            found.file = origin->sourceFile();
            found.location = origin->sourceLocation();
        }
        result.push_back(found);
    }
    return result;
}

} // namespace qvShadingDag
