#include "conversion/ProgramBorders.h"

namespace qvShadingDag {

namespace {

using Index = FlatProgram::Index;
constexpr Index kNone = FlatProgram::kNone;

bool isWhole(DataType type) {
    return type == kBool || (type >= kInt && type <= kInt4);
}

/// The border of one body.
class Border {
public:
    Border(ProgramBody& body, const InterfacePlan& plan, const ProgramTarget& target, std::string_view access)
        : fBody(body), fPlan(plan), fTarget(target), fAccess(access) {}

    void provideUniforms(ProgramStage stage) const {
        provideAll(fPlan.variables.uniforms, fPlan.uniformValues, "");
        provideAll(fPlan.variables.hoisted, fPlan.hoistedValues, "");
        if (stage == kFragmentProgram) {
            provideAll(fPlan.variables.samplers, fPlan.samplerValues, "");
        }
    }

    void provideAttributes(NameTable& names) const {
        for (std::size_t i = 0; i < fPlan.variables.attributes.size(); ++i) {
            const ProgramVariable& attribute = fPlan.variables.attributes[i];
            if (attribute.type >= kClampu && attribute.type <= kClampu4) {
                fBody.provideAs(fPlan.attributeValues[i], names.give("", attribute.input), "clamp(",
                                std::string(fAccess) + attribute.name, ", 0.0, 1.0)");
            } else {
                provide(attribute, fPlan.attributeValues[i], fAccess);
            }
        }
    }

    void provideVaryings() const { provideAll(fPlan.variables.varyings, fPlan.varyingValues, fAccess); }

    void assignVaryings() const {
        for (std::size_t i = 0; i < fPlan.variables.varyings.size(); ++i) {
            const ProgramVariable& varying = fPlan.variables.varyings[i];
            const bool isBool = varying.type == kBool;
            fBody.assign({fPlan.varyingValues[i], varying.name, isBool ? "int(" : "", isBool ? ")" : ""});
        }
    }

    void assignOutputs(const FlatProgram& flat, ProgramStage stage) const {
        for (std::size_t i = 0; i < fPlan.variables.outputs.size(); ++i) {
            const ProgramVariable& output = fPlan.variables.outputs[i];
            if (stage == kVertexProgram ? output.inVertex : output.inFragment) {
                ProgramBody::Assignment assignment = {fPlan.outputValues[i], output.name, "", ""};
                const DataType type = flat.valueTypes[assignment.value];
                if (fPlan.outputRoles[i] == PlacedProgram::kColor && type != kFloat4 && type != kClampu4) {
                    widen(assignment, type);
                }
                fBody.assign(std::move(assignment));
            }
        }
    }

    void assignImpliedPosition() const {
        const ProgramVariable& attribute = fPlan.variables.attributes[fPlan.impliedPosition];
        const std::string& matrix = fPlan.variables.uniforms[fPlan.impliedMatrix].name;
        std::string position = std::string(fAccess) + attribute.name;
        if (attribute.type != kFloat4) {
            position = std::string(fTarget.typeName(kFloat4)) + "(" + position + ", 1.0)";
        }
        fBody.append(fPlan.position, fTarget.language == ProgramTarget::kGlslWords
                                         ? matrix + " * " + position
                                         : "mul(" + position + ", " + matrix + ")");
    }

private:
    void provideAll(const std::vector<ProgramVariable>& variables, const std::vector<Index>& values,
                    std::string_view access) const {
        for (std::size_t i = 0; i < variables.size(); ++i) {
            provide(variables[i], values[i], access);
        }
    }

    // A bool crosses as an int.
    void provide(const ProgramVariable& variable, Index value, std::string_view access) const {
        if (value == kNone) {
            return;
        }
        const std::string name = std::string(access) + variable.name;
        if (variable.type == kBool) {
            fBody.provide(value, name + " != 0", Spelling::kEquality);
        } else {
            fBody.provide(value, name);
        }
    }

    // A colour of fewer components, or of whole numbers: what is missing is 0, 0, 0, 1.
    void widen(ProgramBody::Assignment& assignment, DataType type) const {
        static constexpr const char* kMissing[] = {", 0.0, 0.0, 1.0)", ", 0.0, 1.0)", ", 1.0)", ")"};
        const int width = componentCount(type);
        assignment.before = std::string(fTarget.typeName(kFloat4)) + "(";
        assignment.after = kMissing[width - 1];
        if (isWhole(type)) {
            const auto floats = static_cast<DataType>(kFloat + width - 1);
            assignment.before += std::string(fTarget.typeName(floats)) + "(";
            assignment.after.insert(0, ")");
        }
    }

    ProgramBody& fBody;
    const InterfacePlan& fPlan;
    const ProgramTarget& fTarget;
    std::string_view fAccess;
};

} // namespace

DataType carrierType(DataType type) {
    return type == kBool ? kInt : type;
}

void writeBody(ProgramBody& body, ProgramStage stage, const PlacedProgram& placed, const InterfacePlan& plan,
               const ProgramTarget& target, NameTable& names, std::string_view access) {
    const Border border(body, plan, target, access);
    border.provideUniforms(stage);
    if (stage == kVertexProgram) {
        border.provideAttributes(names);
        border.assignVaryings();
    } else {
        border.provideVaryings();
    }
    border.assignOutputs(placed.flat, stage);
    body.write(stage == kVertexProgram ? placed.vertexNodes : placed.fragmentNodes);
    if (stage == kVertexProgram && plan.impliedMatrix >= 0) {
        border.assignImpliedPosition();
    }
}

} // namespace qvShadingDag
