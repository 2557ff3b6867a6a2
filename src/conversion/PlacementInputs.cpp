// Rules 1 and 2 of PlacementPasses.h: what the host delivers, and what becomes of the outputs.

#include "conversion/PlacementPasses.h"

#include "evaluation/Numbers.h"
#include "shadingdag/ShadingNodeSpec.h"

#include <algorithm>
#include <set>
#include <string>

namespace qvShadingDag {

namespace {

using Index = PlacedProgram::Index;
using Place = PlacedProgram::Place;
constexpr Index kNone = PlacedProgram::kNone;

} // namespace

void refuseFunction(const ShadingNodeSpec& function, const std::string& what) {
    const std::string place = placeOf(function);
    throw PlacementFailure{kFunctionFault,
                           (place.empty() ? "" : place + ": ") + function.name() + ": " + what};
}

// ==== 1. Delivery

namespace {

[[noreturn]] void refuseOption(const ShadingNodeSpec& function, const std::string& what) {
    throw PlacementFailure{kOptionsFault, function.name() + ": " + what};
}

std::string declarationOf(const FlatProgram::Input& input, const std::string& range) {
    return "'" + range + " " + dataTypeName(input.type) + " " + input.name + "'";
}

bool isDeclaredConstant(const FlatProgram::Input& input) {
    return input.declared.highest() == kConstantFreq && !isMap(input.type);
}

/// Once per draw, whatever is declared: no vertex or fragment carries one.
bool isDeliveredOncePerDraw(const FlatProgram::Input& input) {
    return isMap(input.type) || isMatrixType(input.type);
}

void checkDeclaration(const ShadingNodeSpec& function, const FlatProgram::Input& input) {
    const CompFreqRange& declared = input.declared;
    const std::string name = "input '" + input.name + "' ";
    if (declared.lowest() < kConstantFreq || declared.highest() > kFragmentFreq ||
        declared.lowest() > declared.highest()) {
        // The reader keeps no trace of the two ends of a range that is upside down.
        refuseFunction(function, name + "is declared with an empty range, such as fragment:vertex: write " +
                                     declarationOf(input, isDeliveredOncePerDraw(input) ? "uniform"
                                                                                        : "vertex:fragment"));
    }
    if (isDeliveredOncePerDraw(input) && !isDeclaredConstant(input) &&
        !declared.contains(CompFreqRange(kUniformFreq, kUniformFreq))) {
        const bool matrix = isMatrixType(input.type);
        const std::string n = std::to_string(input.type - kMatrix2 + 2);
        refuseFunction(function, name + "is declared " + declared.toString() + ", but a " +
                                     dataTypeName(input.type) + " is delivered once per draw: write " +
                                     declarationOf(input, "uniform") +
                                     (matrix ? ", or its " + n + " rows as inputs 'vertex float" + n + " " +
                                                   input.name + "0' and so on, joined by mat" + n
                                             : ""));
    }
}

/// The level at which the host delivers an input, from what it says about it.
unsigned int hostLevel(const ShadingNodeSpec& function, const FlatProgram::Input& input, unsigned int level) {
    const std::string name = "input '" + input.name + "' ";
    const std::string word = compFreqName(level);
    if (level != kUniformFreq && level != kVertexFreq) {
        refuseOption(function, name + "cannot be delivered '" + word + "': inputs are uniform or vertex");
    }
    if (isDeclaredConstant(input)) {
        refuseOption(function, name + "is declared constant: it has a value, and is not delivered " + word);
    }
    if (level == kVertexFreq && isDeliveredOncePerDraw(input)) {
        refuseOption(function, name + "is a " + dataTypeName(input.type) +
                                   ", which is delivered once per draw, not vertex");
    }
    const bool allowed = level == kVertexFreq ? input.declared.highest() >= kVertexFreq
                                              : input.declared.contains(CompFreqRange(level, level));
    if (!allowed) {
        refuseOption(function,
                     name + "is declared " + input.declared.toString() + " and cannot be delivered " + word);
    }
    return level;
}

/// A Place of an input: range, level and reason.
Place deliver(const FlatProgram::Input& input, unsigned int hostSays, bool hasValue) {
    Place place;
    const auto set = [&](unsigned int lowest, unsigned int highest, PlacedProgram::Reason reason) {
        place.lowest = static_cast<unsigned char>(lowest);
        place.highest = static_cast<unsigned char>(highest);
        place.level = place.lowest;
        place.reason = reason;
    };
    const unsigned int highest = input.declared.highest();
    if (isDeclaredConstant(input)) {
        set(kConstantFreq, kConstantFreq,
            hasValue ? PlacedProgram::kGivenConstant : PlacedProgram::kOpenConstant);
    } else if (isDeliveredOncePerDraw(input)) {
        set(kUniformFreq, kUniformFreq, PlacedProgram::kMapOrMatrix);
    } else if (highest <= kUniformFreq) {
        set(kUniformFreq, kUniformFreq, PlacedProgram::kOncePerDraw);
    } else if (hostSays == kUniformFreq) {
        set(kUniformFreq, kUniformFreq, PlacedProgram::kHostOncePerDraw);
    } else if (input.declared.lowest() == kFragmentFreq) {
        set(kFragmentFreq, kFragmentFreq, PlacedProgram::kUsedPerFragment);
    } else {
        set(kVertexFreq, highest, PlacedProgram::kPerVertex);
    }
    return place;
}

std::string listOfInputs(const FlatProgram& flat) {
    std::string text;
    for (const FlatProgram::Input& input : flat.inputs) {
        text += (text.empty() ? "" : ", ") + dataTypeName(input.type) + " " + input.name;
    }
    return text.empty() ? "none" : text;
}

const FlatProgram::Input* findInput(const FlatProgram& flat, const std::string& name) {
    const auto found = std::find_if(flat.inputs.begin(), flat.inputs.end(),
                                    [&](const FlatProgram::Input& input) { return input.name == name; });
    return found == flat.inputs.end() ? nullptr : &*found;
}

const FlatProgram::Input& namedInput(const ShadingNodeSpec& function, const FlatProgram& flat,
                                     const std::string& name) {
    const FlatProgram::Input* input = findInput(flat, name);
    if (!input) {
        refuseOption(function, "there is no input '" + name + "'; the inputs are: " + listOfInputs(flat));
    }
    return *input;
}

} // namespace

void deliverInputs(PlacedProgram& placed, const ShadingNodeSpec& function, const PlacementOptions& options) {
    FlatProgram& flat = placed.flat;
    for (const auto& [name, level] : options.inputLevels) {
        hostLevel(function, namedInput(function, flat, name), level);
    }
    for (const auto& [name, value] : options.constants) {
        const FlatProgram::Input& input = namedInput(function, flat, name);
        if (isDeclaredConstant(input) && value.type != input.type) {
            refuseOption(function, "input '" + name + "' is a " + dataTypeName(input.type) +
                                       ", its value a " + dataTypeName(value.type));
        }
    }
    placed.places.assign(flat.nodes.size(), Place());
    placed.literalOf.assign(flat.valueNode.size(), kNone);
    for (const FlatProgram::Input& input : flat.inputs) {
        checkDeclaration(function, input);
        if (input.node == kNone) {
            continue;
        }
        const auto says = options.inputLevels.find(input.name);
        const auto value = options.constants.find(input.name);
        const bool hasValue = value != options.constants.end() && isDeclaredConstant(input);
        placed.places[input.node] =
            deliver(input, says == options.inputLevels.end() ? kInvalidFreq : says->second, hasValue);
        if (hasValue) {
            placed.literalOf[flat.nodes[input.node].firstValue] = static_cast<Index>(flat.literals.size());
            flat.literals.push_back(value->second.delivered());
        }
    }
}

// ==== 2. Outputs

void assignRoles(PlacedProgram& placed, const ShadingNodeSpec& function) {
    const auto& outputs = placed.flat.outputs;
    bool returned = false; // something feeds the returned value
    for (const FlatProgram::Output& output : outputs) {
        const bool isReturned = output.name == "output";
        if (output.value == kNone && !(isReturned && outputs.size() > 1)) {
            refuseFunction(function, "nothing is assigned to the output '" + output.name + "'");
        }
        returned = returned || (isReturned && output.value != kNone);
    }
    for (const FlatProgram::Output& output : outputs) {
        PlacedProgram::Role role = PlacedProgram::kDropped;
        std::string why = "it is neither the colour nor the position nor the depth";
        if (output.name == "output") {
            role = output.value == kNone ? PlacedProgram::kDropped : PlacedProgram::kColor;
            why = "nothing is assigned to it";
        } else if (output.name == "color") {
            role = returned ? PlacedProgram::kDropped : PlacedProgram::kColor;
            why = "the returned value is the colour";
        } else if (output.name == "position") {
            const bool perVertex = output.declared.lowest() <= kVertexFreq;
            role = output.type == kFloat4 && perVertex ? PlacedProgram::kPosition : PlacedProgram::kDropped;
            why = "a clip position is declared 'out vertex float4 position'";
        } else if (output.name == "depth") {
            role = output.type == kFloat ? PlacedProgram::kDepth : PlacedProgram::kDropped;
            why = "a depth is declared 'out float depth'";
        }
        placed.roles.push_back(role);
        if (role == PlacedProgram::kDropped) {
            placed.notices.push_back("output '" + output.name + "' is dropped: " + why);
        }
    }
}

// ==== 3. Both

void checkInterface(const ShadingNodeSpec& function, const PlacedProgram& placed) {
    // The host names inputs, and texts and interface name all parameters.
    std::set<std::string> names;
    ShadingNodeSpec::ArgumentIterator parameter;
    ShadingNodeSpec::ArgumentIterator last;
    for (function.arguments(parameter, last); parameter != last; ++parameter) {
        if (!names.insert(parameter->second.name()).second) {
            refuseFunction(function,
                           "two parameters have the name '" + parameter->second.name() + "': rename one");
        }
    }
    const auto dropped = std::count(placed.roles.begin(), placed.roles.end(), PlacedProgram::kDropped);
    if (static_cast<std::size_t>(dropped) == placed.roles.size()) {
        refuseFunction(function, "there is nothing to draw: give out a colour ('return' or 'color'), a "
                                 "'position' or a 'depth'");
    }
    for (std::size_t i = 0; i < placed.roles.size(); ++i) {
        const FlatProgram::Output& output = placed.flat.outputs[i];
        if (placed.roles[i] == PlacedProgram::kColor && output.type >= kMatrix2) {
            refuseFunction(function, "the output '" + output.name + "' is a " + dataTypeName(output.type) +
                                         ", which is no colour: give out a float to float4");
        }
    }
}

} // namespace qvShadingDag
