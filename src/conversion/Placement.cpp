#include "conversion/Placement.h"

#include "conversion/PlacementPasses.h"
#include "core/Exception.h"
#include "shadingdag/ShadingNode.h"
#include "shadingdag/ShadingNodeSpec.h"

#include <utility>

namespace qvShadingDag {

namespace {

using Index = PlacedProgram::Index;

FlatProgram flatProgramOf(const ShadingNodeSpec& function) {
    const std::string place = placeOf(function);
    const std::string who = (place.empty() ? "" : place + ": ") + function.name() + ": ";
    if (function.nodeType() != kFunctionNode) {
        throw PlacementFailure{kFunctionFault, who + "a declared function has no body to place"};
    }
    try {
        FlatProgram flat = flatten(function);
        dropUnread(flat);
        mergeEqual(flat);
        return flat;
    } catch (const Exception& error) {
        throw PlacementFailure{kFunctionFault, who + error.message};
    }
}

bool isLookup(const FlatProgram& flat, const FlatProgram::Node& node) {
    const Primitive* primitive =
        node.kind == FlatProgram::kCall ? flat.callees[node.what].primitive : nullptr;
    return primitive != nullptr && primitive->texture != kNoTexture;
}

} // namespace

void placeFlatProgram(PlacedProgram& placed, const ShadingNodeSpec& function,
                      const PlacementOptions& options) {
    deliverInputs(placed, function, options);
    assignRoles(placed, function);
    evaluateRanges(placed);
    markNeeds(placed);
    placeNodes(placed, function, options.policy);
    if (options.policy == kExactPlacement) {
        splitNodes(placed);
        sinkAffine(placed);
    }
    foldConstants(placed);
    hoistUniforms(placed);
    assignPrograms(placed);
}

PlacedProgram placeFunction(const ShadingNodeSpec& function, const PlacementOptions& options) {
    PlacedProgram placed;
    placed.flat = flatProgramOf(function);
    placeFlatProgram(placed, function, options);
    return placed;
}

Placement::Placement(const ShadingNodeSpec& function, const PlacementOptions& options)
    : fFunction(function), fOptions(options) {}

Placement::~Placement() = default;

bool Placement::place() {
    fPlaced.reset();
    fError.clear();
    fFault = kNoFault;
    try {
        fPlaced = std::make_unique<PlacedProgram>(placeFunction(fFunction, fOptions));
    } catch (const PlacementFailure& failure) {
        fError = failure.message;
        fFault = failure.fault;
    }
    return fPlaced != nullptr;
}

int Placement::numNodes() const {
    return fPlaced ? static_cast<int>(fPlaced->flat.nodes.size()) : 0;
}

PlacedNode Placement::node(int number) const {
    verifyAlways(number >= 0 && number < numNodes(), "There is no such node in the placement");
    const auto n = static_cast<Index>(number);
    const FlatProgram& flat = fPlaced->flat;
    const FlatProgram::Node& node = flat.nodes[n];
    PlacedNode result;
    result.operation = operationText(flat, n);
    result.level = fPlaced->places[n].level;
    result.reason = placementReason(*fPlaced, n);
    result.decider = static_cast<int>(fPlaced->places[n].decider); // none becomes -1
    for (Index i = 0; i < node.argumentCount; ++i) {
        result.arguments.push_back(static_cast<int>(flat.valueNode[flat.arguments[node.firstArgument + i]]));
    }
    if (node.origin) {
        result.file = node.origin->sourceFile();
        result.location = node.origin->sourceLocation();
        result.variable = node.origin->variableName();
    }
    return result;
}

std::vector<PlacedCrossing> Placement::crossings() const {
    std::vector<PlacedCrossing> result;
    for (const PlacedProgram::Crossing& crossing :
         fPlaced ? fPlaced->crossings : std::vector<PlacedProgram::Crossing>()) {
        const Index node = fPlaced->flat.valueNode[crossing.value];
        result.push_back(
            {static_cast<int>(node), static_cast<int>(crossing.value - fPlaced->flat.nodes[node].firstValue),
             fPlaced->flat.valueTypes[crossing.value], static_cast<ValueCarrier>(crossing.carrier),
             crossing.intoVertex, crossing.intoFragment});
    }
    return result;
}

PlacementCost Placement::cost(unsigned int level) const {
    PlacementCost cost;
    if (!fPlaced) {
        return cost;
    }
    const FlatProgram& flat = fPlaced->flat;
    for (Index n = 0; n < flat.nodes.size(); ++n) {
        const PlacedProgram::Place& place = fPlaced->places[n];
        const bool runs = place.pinned || place.shown; // not for a dropped output alone
        if (runs && place.level == level && flat.nodes[n].kind == FlatProgram::kCall) {
            ++cost.operations;
            cost.lookups += isLookup(flat, flat.nodes[n]) ? 1 : 0;
        }
    }
    const auto count = [&](DataType type) {
        ++cost.values;
        cost.components += componentCount(type);
    };
    for (const PlacedProgram::Crossing& crossing : fPlaced->crossings) {
        const bool fromVertex =
            crossing.carrier == PlacedProgram::kVarying || crossing.carrier == PlacedProgram::kFlatVarying;
        const bool fromHost =
            crossing.carrier == PlacedProgram::kUniform || crossing.carrier == PlacedProgram::kHoisted;
        if ((level == kVertexFreq && fromVertex) || (level == kUniformFreq && fromHost)) {
            count(flat.valueTypes[crossing.value]);
        }
    }
    for (std::size_t i = 0; level == kFragmentFreq && i < flat.outputs.size(); ++i) {
        if (fPlaced->roles[i] == PlacedProgram::kColor || fPlaced->roles[i] == PlacedProgram::kDepth) {
            count(flat.outputs[i].type);
        }
    }
    return cost;
}

} // namespace qvShadingDag
