#include "conversion/ProgramBorders.h"

#include "core/Exception.h"
#include "shadingdag/ShadingNode.h"
#include "shadingdag/ShadingNodeSpec.h"

#include <algorithm>
#include <cstdint>
#include <numeric>

namespace qvShadingDag {

namespace {

using Index = FlatProgram::Index;
constexpr Index kNone = FlatProgram::kNone;

constexpr const char* kKindNames[] = {"", "1D", "2D", "3D", "CUBE", "RECT"};

struct Shape {
    int rows;       // of the registers that hold it: 1 but for matrices
    int components; // of each
};

Shape shapeOf(DataType type) {
    const int width = componentCount(type);
    if (type >= kMatrix2 && type <= kMatrix4) {
        const int side = type - kMatrix2 + 2;
        return {side, side};
    }
    return {1, width};
}

/// Collects the description in the order of the function's header.
class Planner {
public:
    Planner(const PlacedProgram& placed, std::string_view function, const ProgramTarget& target,
            const PlacementOptions& options, NameTable& names)
        : fPlaced(placed), fFlat(placed.flat), fFunction(function), fTarget(target), fOptions(options),
          fNames(names) {}

    InterfacePlan plan() {
        fPlan.variables.target = fTarget.name;
        fPlan.variables.policy = fOptions.policy == kEarliestPlacement ? "earliest" : "exact";
        findKinds();
        planPosition();
        for (const PlacedProgram::Crossing& crossing : fPlaced.crossings) {
            addCrossing(crossing);
        }
        listInputsOfHoisted();
        addOutputs();
        numberAttributes();
        numberSamplers();
        numberVaryings();
        layOutBlock();
        return std::move(fPlan);
    }

private:
    using List = std::vector<ProgramVariable>;

    const FlatProgram::Node& nodeOf(Index value) const { return fFlat.nodes[fFlat.valueNode[value]]; }

    // The parameter that a value is, unchanged; -1 for any other value.
    int inputBehind(Index value) const {
        const FlatProgram::Node* node = &nodeOf(value);
        while (node->kind == FlatProgram::kIdentity || isFrequencyConversion(*node)) {
            node = &nodeOf(fFlat.arguments[node->firstArgument]);
        }
        return node->kind == FlatProgram::kInput ? static_cast<int>(node->what) : -1;
    }

    bool isFrequencyConversion(const FlatProgram::Node& node) const {
        if (node.kind != FlatProgram::kCall || node.argumentCount != 1) {
            return false;
        }
        const std::string& name = fFlat.callees[node.what].spec->name();
        for (const char* conversion :
             {"constant", "uniform", "vertex", "fragment", "perVertex", "perFragment"}) {
            if (name == conversion) {
                return fFlat.callees[node.what].primitive != nullptr;
            }
        }
        return false;
    }

    // What a value without a name of its own is called.
    std::string_view nameOf(Index value) const {
        const int input = inputBehind(value);
        if (input >= 0) {
            return fFlat.inputs[input].name;
        }
        const ShadingNode* origin = nodeOf(value).origin;
        if (origin && !origin->variableName().empty()) {
            return origin->variableName();
        }
        if (origin && !origin->originFunction().empty() && origin->originFunction() != fFunction) {
            return origin->originFunction();
        }
        const FlatProgram::Node& node = nodeOf(value);
        const std::string_view callee =
            node.kind == FlatProgram::kCall ? fFlat.callees[node.what].spec->name() : std::string_view();
        return callee.empty() || callee.starts_with("operator") ? "value" : callee;
    }

    ProgramVariable& add(List& list, std::vector<Index>& values, Index value, const char* prefix,
                         std::string_view name, DataType type) {
        ProgramVariable variable;
        variable.name = fNames.give(prefix, name);
        variable.type = type;
        list.push_back(std::move(variable));
        values.push_back(value);
        return list.back();
    }

    void findKinds() {
        fKinds.assign(fFlat.inputs.size(), kNoTexture);
        for (const std::vector<Index>* nodes : {&fPlaced.vertexNodes, &fPlaced.fragmentNodes}) {
            for (const Index index : *nodes) {
                const FlatProgram::Node& node = fFlat.nodes[index];
                const Primitive* primitive =
                    node.kind == FlatProgram::kCall ? fFlat.callees[node.what].primitive : nullptr;
                if (!primitive || primitive->texture == kNoTexture) {
                    continue;
                }
                const int input = inputBehind(fFlat.arguments[node.firstArgument]);
                if (input < 0) {
                    throwConversionError(fFlat, index, "the map of a texture lookup has to be an input");
                }
                if (fKinds[input] != kNoTexture && fKinds[input] != primitive->texture) {
                    throwConversionError(fFlat, index,
                                         "the map '" + fFlat.inputs[input].name + "' is read as " +
                                             kKindNames[fKinds[input]] + " and as " +
                                             kKindNames[primitive->texture] +
                                             ": give each kind a map of its own");
                }
                fKinds[input] = primitive->texture;
            }
        }
    }

    // Without an output for it, the clip position is a per-vertex input `position`, the function's own
    // where it has one, through a uniform matrix `modelViewProjection`.
    void planPosition() {
        fImplied = std::find(fPlaced.roles.begin(), fPlaced.roles.end(), PlacedProgram::kPosition) ==
                   fPlaced.roles.end();
        if (!fImplied) {
            return;
        }
        for (std::size_t i = 0; i < fFlat.inputs.size(); ++i) {
            const FlatProgram::Input& input = fFlat.inputs[i];
            if (input.name == "position" && (input.type == kFloat3 || input.type == kFloat4) &&
                isPerVertex(i)) {
                fPositionInput = static_cast<int>(i);
            }
            if (input.name == "modelViewProjection" && input.type == kMatrix4 &&
                input.declared.highest() != kConstantFreq) {
                fMatrixInput = static_cast<int>(i);
            }
        }
        // An input that the graph reads comes with its crossing.
        if (fPositionInput < 0 || !crosses(fPositionInput, PlacedProgram::kAttribute)) {
            addImpliedPosition();
            fPlan.impliedPosition = 0;
        }
        if (fMatrixInput < 0 || !crosses(fMatrixInput, PlacedProgram::kUniform)) {
            addUniform(kNone, "modelViewProjection", kMatrix4).inVertex = true;
            fPlan.impliedMatrix = 0;
        }
    }

    void addImpliedPosition() {
        const bool own = fPositionInput >= 0;
        ProgramVariable& position =
            addAttribute(kNone, "position", own ? fFlat.inputs[fPositionInput].type : kFloat4);
        position.lightSpecific = own && fFlat.inputs[fPositionInput].lightSpecific;
        if (!own && fTarget.id == ProgramTarget::kCg) {
            position.name = "vertexPosition"; // the first member of every connector
            position.type = kFloat3;
        }
    }

    bool isPerVertex(std::size_t input) const {
        if (fPlaced.delivered[input] != kInvalidFreq) {
            return fPlaced.delivered[input] == kVertexFreq;
        }
        const FlatProgram::Input& unread = fFlat.inputs[input];
        const auto wanted = fOptions.inputLevels.find(unread.name);
        return wanted != fOptions.inputLevels.end() ? wanted->second == kVertexFreq
                                                    : unread.declared.highest() >= kVertexFreq;
    }

    bool crosses(int input, PlacedProgram::Carrier carrier) const {
        return std::any_of(fPlaced.crossings.begin(), fPlaced.crossings.end(),
                           [&](const PlacedProgram::Crossing& crossing) {
                               const FlatProgram::Node& node = nodeOf(crossing.value);
                               return crossing.carrier == carrier && node.kind == FlatProgram::kInput &&
                                      static_cast<int>(node.what) == input;
                           });
    }

    ProgramVariable& addAttribute(Index value, std::string_view name, DataType type) {
        ProgramVariable& variable =
            add(fPlan.variables.attributes, fPlan.attributeValues, value, "a_", name, type);
        variable.input = name;
        variable.inVertex = true;
        return variable;
    }

    ProgramVariable& addUniform(Index value, std::string_view name, DataType type) {
        ProgramVariable& variable =
            add(fPlan.variables.uniforms, fPlan.uniformValues, value, "u_", name, type);
        variable.input = name;
        return variable;
    }

    void addCrossing(const PlacedProgram::Crossing& crossing) {
        const Index value = crossing.value;
        const DataType type = fFlat.valueTypes[value];
        const FlatProgram::Node& node = nodeOf(value);
        const int input = node.kind == FlatProgram::kInput ? static_cast<int>(node.what) : -1;
        ProgramVariable* variable = nullptr;
        switch (crossing.carrier) {
        case PlacedProgram::kAttribute:
            variable = &addAttribute(value, fFlat.inputs[input].name, type);
            if (fImplied && input == fPositionInput) {
                fPlan.impliedPosition = static_cast<int>(fPlan.variables.attributes.size()) - 1;
            }
            break;
        case PlacedProgram::kUniform:
            if (type == kTexObj) {
                variable = &add(fPlan.variables.samplers, fPlan.samplerValues, value, "u_",
                                fFlat.inputs[input].name, type);
                variable->input = fFlat.inputs[input].name;
                const TextureKind kind = fKinds[input] == kNoTexture ? kTexture2D : fKinds[input];
                variable->kind = kKindNames[kind];
                if (fTarget.id == ProgramTarget::kHlsl) {
                    fNames.reserve(variable->name + "Sampler");
                }
            } else {
                variable = &addUniform(value, fFlat.inputs[input].name, type);
                if (fImplied && input == fMatrixInput) {
                    fPlan.impliedMatrix = static_cast<int>(fPlan.variables.uniforms.size()) - 1;
                    variable->inVertex = true;
                }
            }
            break;
        case PlacedProgram::kHoisted:
            variable = &add(fPlan.variables.hoisted, fPlan.hoistedValues, value, "u_", nameOf(value), type);
            break;
        case PlacedProgram::kVarying:
        case PlacedProgram::kFlatVarying:
            variable = &add(fPlan.variables.varyings, fPlan.varyingValues, value, "v_", nameOf(value), type);
            variable->flat = crossing.carrier == PlacedProgram::kFlatVarying;
            variable->inVertex = true;
            if (inputBehind(value) >= 0) {
                variable->input = fFlat.inputs[inputBehind(value)].name;
            }
            break;
        }
        variable->inVertex = variable->inVertex || crossing.intoVertex;
        variable->inFragment = variable->inFragment || crossing.intoFragment;
        variable->lightSpecific = fPlaced.places[fFlat.valueNode[value]].lightSpecific ||
                                  (input >= 0 && fFlat.inputs[input].lightSpecific);
    }

    // The parameters that each hoisted value depends on, as bits that arguments hand to their readers.
    void listInputsOfHoisted() {
        if (fPlan.hoistedValues.empty()) {
            return;
        }
        const std::size_t words = (fFlat.inputs.size() + 63) / 64;
        std::vector<std::uint64_t> masks(fFlat.nodes.size() * words);
        for (std::size_t i = 0; i < fFlat.inputs.size(); ++i) {
            if (fFlat.inputs[i].node != kNone) {
                masks[fFlat.inputs[i].node * words + i / 64] |= std::uint64_t(1) << (i % 64);
            }
        }
        for (const Index index : fPlaced.hostNodes) {
            const FlatProgram::Node& node = fFlat.nodes[index];
            for (Index argument = 0; argument < node.argumentCount; ++argument) {
                const Index source = fFlat.valueNode[fFlat.arguments[node.firstArgument + argument]];
                for (std::size_t word = 0; word < words; ++word) {
                    masks[index * words + word] |= masks[source * words + word];
                }
            }
        }
        for (std::size_t i = 0; i < fPlan.hoistedValues.size(); ++i) {
            const Index node = fFlat.valueNode[fPlan.hoistedValues[i]];
            for (std::size_t input = 0; input < fFlat.inputs.size(); ++input) {
                if ((masks[node * words + input / 64] >> (input % 64) & 1) != 0) {
                    fPlan.variables.hoisted[i].inputs.push_back(fFlat.inputs[input].name);
                }
            }
        }
    }

    std::string outputName(const char* fixed, const char* wanted) {
        return *fixed ? std::string(fixed) : std::string(fNames.give("o_", wanted));
    }

    void addOutputs() {
        for (std::size_t i = 0; i < fFlat.outputs.size(); ++i) {
            const FlatProgram::Output& output = fFlat.outputs[i];
            if (fPlaced.roles[i] == PlacedProgram::kDropped) {
                continue;
            }
            ProgramVariable variable;
            variable.input = output.name;
            variable.lightSpecific = fPlaced.places[fFlat.valueNode[output.value]].lightSpecific;
            switch (fPlaced.roles[i]) {
            case PlacedProgram::kPosition:
                variable.name = outputName(fTarget.position, "position");
                fPlan.position = variable.name;
                variable.type = kFloat4;
                variable.inVertex = true;
                break;
            case PlacedProgram::kDepth:
                variable.name = outputName(fTarget.depth, "depth");
                variable.type = kFloat;
                variable.inFragment = true;
                break;
            default:
                variable.name = outputName(fTarget.color, "color");
                variable.type = kFloat4;
                variable.location = 0;
                variable.inFragment = true;
                break;
            }
            fPlan.variables.outputs.push_back(std::move(variable));
            fPlan.outputValues.push_back(output.value);
            fPlan.outputRoles.push_back(fPlaced.roles[i]);
        }
        if (fImplied) {
            fPlan.position = outputName(fTarget.position, "position");
        }
    }

    void refuse(const std::string& what, std::size_t there, std::size_t allowed,
                const std::string& hint) const {
        throw Exception("too many " + what + ": " + std::to_string(there) + " where " + fTarget.name +
                        " has " + std::to_string(allowed) + hint);
    }

    void numberAttributes() {
        List& attributes = fPlan.variables.attributes;
        if (attributes.size() > fTarget.maxAttributes) {
            refuse("attributes", attributes.size(), fTarget.maxAttributes,
                   ": deliver some inputs once per draw");
        }
        for (std::size_t i = 0; i < attributes.size(); ++i) {
            attributes[i].location = static_cast<int>(i);
        }
    }

    void numberSamplers() {
        List& samplers = fPlan.variables.samplers;
        if (samplers.size() > fTarget.maxSamplers) {
            refuse("samplers", samplers.size(), fTarget.maxSamplers, "");
        }
        for (std::size_t i = 0; i < samplers.size(); ++i) {
            samplers[i].binding = static_cast<int>(fTarget.samplerBinding + i);
        }
    }

    void numberVaryings() {
        List& varyings = fPlan.variables.varyings;
        std::size_t components = 0;
        const ProgramVariable* widest = nullptr;
        for (const ProgramVariable& varying : varyings) {
            const int width = componentCount(varying.type);
            components += static_cast<std::size_t>(width);
            widest = !widest || width > componentCount(widest->type) ? &varying : widest;
        }
        const auto tooMany = [&](const std::string& unit, std::size_t there, std::size_t allowed) {
            refuse("varying " + unit, there, allowed,
                   "; the widest is '" + widest->name + "' with " +
                       std::to_string(componentCount(widest->type)));
        };
        if (components > fTarget.maxVaryingComponents) {
            tooMany("components", components, fTarget.maxVaryingComponents);
        }
        const std::size_t locations = fTarget.maxVaryingLocations == 0 ? numberInTurn() : packVaryings();
        if (fTarget.maxVaryingLocations != 0 && locations > fTarget.maxVaryingLocations) {
            tooMany("locations", locations, fTarget.maxVaryingLocations);
        }
    }

    std::size_t numberInTurn() {
        int location = 0;
        for (ProgramVariable& varying : fPlan.variables.varyings) {
            varying.location = location;
            location += shapeOf(varying.type).rows;
        }
        return static_cast<std::size_t>(location);
    }

    // The widest first, each into the first location with room for it. A matrix has its locations for
    // itself, and what is not interpolated shares none with what is.
    std::size_t packVaryings() {
        struct Location {
            int used;
            bool flat;
        };
        std::vector<Location> locations;
        List& varyings = fPlan.variables.varyings;
        std::vector<std::size_t> order(varyings.size());
        std::iota(order.begin(), order.end(), std::size_t(0));
        std::stable_sort(order.begin(), order.end(), [&varyings](std::size_t a, std::size_t b) {
            return componentCount(varyings[a].type) > componentCount(varyings[b].type);
        });
        for (const std::size_t i : order) {
            ProgramVariable& varying = varyings[i];
            const auto [rows, width] = shapeOf(varying.type);
            auto place = locations.end();
            if (rows == 1) {
                place =
                    std::find_if(locations.begin(), locations.end(), [&, columns = width](const Location& l) {
                        return l.flat == varying.flat && l.used + columns <= 4;
                    });
            }
            varying.location = static_cast<int>(place - locations.begin());
            if (place == locations.end()) {
                locations.insert(locations.end(), static_cast<std::size_t>(rows),
                                 {rows > 1 ? 4 : width, varying.flat});
            } else {
                varying.component = place->used;
                place->used += width;
            }
        }
        return locations.size();
    }

    // Numbers and vectors on multiples of their size (three as four), each row of a matrix on one of
    // 16 bytes: what a std140 block does, and what an offset of HLSL can say.
    void layOutBlock() {
        if (!fTarget.uniformBlock) {
            return;
        }
        int offset = 0;
        for (List* list : {&fPlan.variables.uniforms, &fPlan.variables.hoisted}) {
            for (ProgramVariable& variable : *list) {
                const auto [rows, width] = shapeOf(variable.type);
                const int alignment = rows > 1 || width > 2 ? 16 : 4 * width;
                variable.offset = (offset + alignment - 1) / alignment * alignment;
                offset = variable.offset + (rows > 1 ? 16 * rows : 4 * width);
            }
        }
        fPlan.variables.blockSize = (offset + 15) / 16 * 16;
    }

    const PlacedProgram& fPlaced;
    const FlatProgram& fFlat;
    std::string_view fFunction;
    const ProgramTarget& fTarget;
    const PlacementOptions& fOptions;
    NameTable& fNames;
    InterfacePlan fPlan;
    std::vector<TextureKind> fKinds; // by input
    bool fImplied = false;
    int fPositionInput = -1;
    int fMatrixInput = -1;
};

} // namespace

InterfacePlan planInterface(const PlacedProgram& placed, std::string_view function,
                            const ProgramTarget& target, const PlacementOptions& options, NameTable& names) {
    return Planner(placed, function, target, options, names).plan();
}

} // namespace qvShadingDag
