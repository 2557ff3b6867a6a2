// Rules 9 and 10 of PlacementPasses.h: literals, the host, and the two programs.

#include "conversion/PlacementPasses.h"

#include "evaluation/KernelCall.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace qvShadingDag {

namespace {

using Index = PlacedProgram::Index;
using Place = PlacedProgram::Place;
constexpr Index kNone = PlacedProgram::kNone;

} // namespace

// ==== 9. Folding and hoisting

namespace {
/// Whether every component of a value is one that a program text can write.
bool isWritable(const ShadingValue& value) {
    if (value.type == kInvalidDataType || isMap(value.type)) {
        return false;
    }
    const ShadingValue delivered = value.delivered();
    return std::all_of(delivered.c.begin(), delivered.c.begin() + delivered.width(),
                       [](double component) { return std::isfinite(component); });
}

/// Computes a constant node into literals behind those that are there, in double precision. What it
/// gives is the reason that the node has then.
PlacedProgram::Reason foldNode(PlacedProgram& placed, const FlatProgram::Node& node) {
    FlatProgram& flat = placed.flat;
    std::vector<ShadingValue> arguments;
    for (Index i = 0; i < node.argumentCount; ++i) {
        arguments.push_back(flat.literals[placed.literalOf[flat.arguments[node.firstArgument + i]]]);
    }
    std::vector<ShadingValue> results = arguments; // of an identity
    if (node.kind == FlatProgram::kCall) {
        results.clear();
        for (Index i = 0; i < node.valueCount; ++i) {
            results.push_back(ShadingValue(flat.valueTypes[node.firstValue + i], {}));
        }
        if (!computeCall(flat.callees[node.what], arguments.data(), results.data(), results.size())) {
            return PlacedProgram::kUnfolded;
        }
    }
    if (!std::all_of(results.begin(), results.end(), isWritable)) {
        return PlacedProgram::kNotFinite;
    }
    for (Index i = 0; i < node.valueCount; ++i) {
        placed.literalOf[node.firstValue + i] = static_cast<Index>(flat.literals.size());
        flat.literals.push_back(results[i]);
    }
    return PlacedProgram::kFolded;
}

/// The first node among the arguments that `use` accepts.
template <typename Use>
Index findArgument(const FlatProgram& flat, const FlatProgram::Node& node, const Use& use) {
    for (Index i = 0; i < node.argumentCount; ++i) {
        const Index argument = flat.valueNode[flat.arguments[node.firstArgument + i]];
        if (use(argument)) {
            return argument;
        }
    }
    return kNone;
}

} // namespace

void foldConstants(PlacedProgram& placed) {
    FlatProgram& flat = placed.flat;
    const std::size_t written = flat.literals.size();
    for (Index n = 0; n < flat.nodes.size(); ++n) {
        const FlatProgram::Node& node = flat.nodes[n];
        Place& place = placed.places[n];
        if (node.kind == FlatProgram::kLiteral) {
            placed.literalOf[node.firstValue] = node.what;
        }
        if (place.level != kConstantFreq || node.kind == FlatProgram::kLiteral ||
            node.kind == FlatProgram::kInput) {
            continue;
        }
        const auto isOpen = [&](Index a) { return placed.literalOf[flat.nodes[a].firstValue] == kNone; };
        place.decider = findArgument(flat, node, isOpen);
        place.reason = place.decider == kNone ? foldNode(placed, node) : PlacedProgram::kUnfolded;
        if (place.decider == kNone && place.reason == PlacedProgram::kUnfolded) {
            place.decider = n; // it has no kernel itself
        }
    }
    // Rounded last: what is computed from a folded value is computed from all its digits.
    for (std::size_t i = written; i < flat.literals.size(); ++i) {
        flat.literals[i] = flat.literals[i].delivered();
    }
}

void hoistUniforms(PlacedProgram& placed) {
    const FlatProgram& flat = placed.flat;
    std::vector<char> onHost(flat.nodes.size(), 0); // the host can have its values
    for (Index n = 0; n < flat.nodes.size(); ++n) {
        const FlatProgram::Node& node = flat.nodes[n];
        Place& place = placed.places[n];
        const auto depends = [&](Index a) { return placed.places[a].lightSpecific; };
        place.lightSpecific = node.lightSpecific || findArgument(flat, node, depends) != kNone ||
                              (node.kind == FlatProgram::kInput && flat.inputs[node.what].lightSpecific);
        if (place.level > kUniformFreq) {
            continue;
        }
        if (node.kind == FlatProgram::kInput || node.kind == FlatProgram::kLiteral) {
            onHost[n] = isMap(flat.valueTypes[node.firstValue]) ? 0 : 1;
            continue;
        }
        const bool hasKernel = node.kind != FlatProgram::kCall || flat.callees[node.what].primitive;
        const Index missing = hasKernel ? findArgument(flat, node, [&](Index a) { return !onHost[a]; }) : n;
        onHost[n] = missing == kNone ? 1 : 0;
        if (place.level == kUniformFreq) {
            place.hoisted = missing == kNone;
            place.reason = place.hoisted ? PlacedProgram::kByHost : PlacedProgram::kNotByHost;
            place.decider = place.hoisted ? place.decider : missing;
        }
    }
}

// ==== 10. Programs

void assignPrograms(PlacedProgram& placed) {
    enum Reader : unsigned char { kHost = 1, kVertex = 2, kFragment = 4 };
    const FlatProgram& flat = placed.flat;
    std::vector<unsigned char> readers(flat.valueNode.size(), 0); // by value
    placed.delivered.assign(flat.inputs.size(), kInvalidFreq);
    for (std::vector<Index>* list : {&placed.hostNodes, &placed.vertexNodes, &placed.fragmentNodes}) {
        list->reserve(flat.nodes.size());
    }
    for (std::size_t i = 0; i < flat.outputs.size(); ++i) {
        if (placed.roles[i] != PlacedProgram::kDropped) {
            const bool position = placed.roles[i] == PlacedProgram::kPosition;
            readers[flat.outputs[i].value] |= position ? kVertex : kFragment;
        }
    }
    const auto cross = [&](Index value, PlacedProgram::Carrier carrier, bool intoVertex, bool intoFragment) {
        placed.crossings.push_back({value, carrier, intoVertex, intoFragment});
    };
    const auto crossOn = [&](Index value) {
        const bool flatly = travelsFlat(flat.valueTypes[value]);
        cross(value, flatly ? PlacedProgram::kFlatVarying : PlacedProgram::kVarying, false, true);
    };
    for (auto n = static_cast<Index>(flat.nodes.size()); n-- > 0;) {
        const FlatProgram::Node& node = flat.nodes[n];
        const Place& place = placed.places[n];
        unsigned char by = 0; // who reads any of its values
        for (Index i = node.valueCount; i-- > 0;) {
            const Index value = node.firstValue + i;
            const unsigned char its = readers[value];
            const bool intoVertex = (its & kVertex) != 0;
            const bool intoFragment = (its & kFragment) != 0;
            by |= its;
            if (placed.literalOf[value] != kNone || (its & (kVertex | kFragment)) == 0) {
                continue;
            }
            const bool isInput = node.kind == FlatProgram::kInput;
            if (place.level == kUniformFreq && (isInput || place.hoisted)) {
                cross(value, isInput ? PlacedProgram::kUniform : PlacedProgram::kHoisted, intoVertex,
                      intoFragment);
            } else if (intoFragment &&
                       (place.level == kVertexFreq || (isInput && place.level == kFragmentFreq)) &&
                       !isMap(flat.valueTypes[value])) {
                crossOn(value);
            }
            if (isInput && place.level >= kVertexFreq) {
                cross(value, PlacedProgram::kAttribute, true, false);
            }
        }
        if (by == 0 || placed.literalOf[node.firstValue] != kNone) {
            if (by != 0 && node.kind == FlatProgram::kInput) {
                placed.delivered[node.what] = kConstantFreq;
            }
            continue;
        }
        if (node.kind == FlatProgram::kInput) {
            placed.delivered[node.what] = std::min<unsigned char>(place.level, kVertexFreq);
            continue;
        }
        // Who computes it: the host what it hoists, otherwise each that reads it or, from the vertex
        // on, the program of its level.
        unsigned char in = place.level == kFragmentFreq ? kFragment : kVertex;
        if (place.level <= kUniformFreq) {
            in = place.hoisted ? static_cast<unsigned char>(kHost) : by;
        }
        const bool passesMap = node.kind == FlatProgram::kIdentity && isMap(flat.valueTypes[node.firstValue]);
        in = passesMap ? by : in;
        for (Index i = 0; i < node.argumentCount; ++i) {
            readers[flat.arguments[node.firstArgument + i]] |= in;
        }
        for (const auto& [reader, list] : {std::pair{kHost, &placed.hostNodes},
                                           {kVertex, &placed.vertexNodes},
                                           {kFragment, &placed.fragmentNodes}}) {
            if ((in & reader) != 0 && !passesMap) {
                list->push_back(n);
            }
        }
    }
    std::reverse(placed.crossings.begin(), placed.crossings.end());
    for (std::vector<Index>* list : {&placed.hostNodes, &placed.vertexNodes, &placed.fragmentNodes}) {
        std::reverse(list->begin(), list->end());
    }
}

} // namespace qvShadingDag
