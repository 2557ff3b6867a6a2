// The words in which a placement gives its reasons.

#include "conversion/PlacementPasses.h"
#include "shadingdag/ShadingNode.h"
#include "shadingdag/ShadingNodeSpec.h"

namespace qvShadingDag {

namespace {

using Index = PlacedProgram::Index;

std::string placeText(const std::string& file, const FileLocation& location) {
    return file.empty() || location.line == 0 ? "" : file + ":" + std::to_string(location.line);
}

/// What people call a node: its variable, otherwise its operation; and its number.
std::string nameOf(const PlacedProgram& placed, Index n) {
    if (n == PlacedProgram::kNone) {
        return "";
    }
    const ShadingNode* origin = placed.flat.nodes[n].origin;
    const bool named = origin != nullptr && !origin->variableName().empty();
    return (named ? origin->variableName() : operationText(placed.flat, n)) + " (" + std::to_string(n) + ")";
}

std::string reasonOfInput(const PlacedProgram& placed, Index n) {
    const FlatProgram::Input& input = placed.flat.inputs[placed.flat.nodes[n].what];
    switch (placed.places[n].reason) {
    case PlacedProgram::kGivenConstant:
        return "input declared constant, its value is given";
    case PlacedProgram::kOpenConstant:
        return "input declared constant, its value is needed before conversion";
    case PlacedProgram::kOncePerDraw:
        return "input declared " + input.declared.toString() + ": delivered once per draw";
    case PlacedProgram::kMapOrMatrix:
        return "input of type " + dataTypeName(input.type) + ": delivered once per draw";
    case PlacedProgram::kHostOncePerDraw:
        return "input that the host delivers once per draw";
    case PlacedProgram::kUsedPerFragment:
        return "input declared fragment: delivered per vertex, used from the fragment on";
    default:
        return "input delivered per vertex";
    }
}

std::string reasonOfNode(const PlacedProgram& placed, Index n) {
    const PlacedProgram::Place& place = placed.places[n];
    const std::string name = nameOf(placed, place.decider);
    const bool itself = place.decider == n;
    const bool isFlat = travelsFlat(placed.flat.valueTypes[placed.flat.nodes[n].firstValue]);
    const std::string commuting = isFlat ? "not interpolated" : "affine"; // of what sank
    switch (place.reason) {
    case PlacedProgram::kWrittenLiteral:
        return "literal";
    case PlacedProgram::kFolded:
        return "constant: folded into a literal";
    case PlacedProgram::kNotFinite:
        return "constant, but not folded: no finite float";
    case PlacedProgram::kUnfolded:
        return itself ? "constant, but not folded: the primitive has no kernel"
                      : "constant, but not folded: the value of " + name + " is not known";
    case PlacedProgram::kByHost:
        return (name.empty() ? "declared uniform" : name + " is uniform") +
               ": the host computes it once per draw";
    case PlacedProgram::kNotByHost:
        return itself ? "uniform, but not hoisted: the primitive has no kernel"
                      : "uniform, but not hoisted: the host does not have " + name;
    case PlacedProgram::kDeclaredLevel:
        return "declared " + compFreqName(place.level);
    case PlacedProgram::kLatestArgument:
        return name + " is per " + compFreqName(place.level);
    case PlacedProgram::kPinned:
        return (name.empty() ? "the clip position" : name) + " needs it per vertex";
    case PlacedProgram::kRangeEnds:
        return "the range of " + name + " ends at vertex";
    case PlacedProgram::kAffine:
        return "affine in " + name + ": interpolating the result is the same";
    case PlacedProgram::kFlat:
        return name + " and the result cross without interpolation";
    case PlacedProgram::kNotShown:
        return "per vertex: neither colour nor depth needs it";
    case PlacedProgram::kInterpolated:
        return "not affine in " + name + ": interpolating the result would change the picture";
    case PlacedProgram::kSunk:
        return commuting + ", and " + name + " crosses anyway";
    case PlacedProgram::kSunkForFewer:
        return commuting + ", and fewer components cross when " + name + " does";
    default:
        return "";
    }
}

} // namespace

std::string placeOf(const ShadingNodeSpec& function) {
    return placeText(function.sourceFile(), function.sourceLocation());
}

std::string placeOf(const ShadingNode& node) {
    return placeText(node.sourceFile(), node.sourceLocation());
}

std::string placementReason(const PlacedProgram& placed, Index node) {
    const bool isInput = placed.flat.nodes[node].kind == FlatProgram::kInput;
    const bool isSplit = placed.places[node].split;
    return (isSplit ? "split: " : "") + (isInput ? reasonOfInput(placed, node) : reasonOfNode(placed, node));
}

} // namespace qvShadingDag
