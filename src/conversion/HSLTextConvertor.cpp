#include "conversion/HSLTextConvertor.h"

#include "conversion/ConvertedProgram.h"
#include "core/Exception.h"
#include "shadingdag/ShadingNode.h"
#include "shadingdag/ShadingNodeSpec.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>

using qvString::CString;

namespace qvShadingDag {

namespace {

using Instruction = HSLFragmentProgramInstruction;

/// The type in the text: a clampu is a float that was clamped before.
DataType blockType(DataType type) {
    return type >= kClampu && type <= kClampu4 ? static_cast<DataType>(kFloat + (type - kClampu)) : type;
}

DataType blockType(const ProgramVariable& map) {
    static constexpr const char* kKinds[] = {"1D", "2D", "3D", "CUBE", "RECT"};
    const auto* found = std::find(std::begin(kKinds), std::end(kKinds), map.kind);
    return static_cast<DataType>(kTexObj1D + (found - std::begin(kKinds)));
}

/// Throws for a variable that the blocks cannot declare.
void refuseWhole(const std::vector<ProgramVariable>& variables, const std::string& what) {
    for (const ProgramVariable& variable : variables) {
        if (variable.type == kBool || (variable.type >= kInt && variable.type <= kInt4)) {
            throw Exception("cg has no " + what + " of type " + dataTypeName(variable.type) + ": '" +
                            (variable.input.empty() ? variable.name : variable.input) + "'");
        }
    }
}

/// The place of a node as a comment behind an expression.
std::string comment(const FlatProgram& flat, FlatProgram::Index node) {
    const ShadingNode* origin = node == FlatProgram::kNone ? nullptr : flat.nodes[node].origin;
    std::string place = origin ? placeOf(*origin) : std::string();
    std::replace(place.begin(), place.end(), '*', ' '); // the end of a comment, in a file's name
    return place.empty() ? "" : " /* " + place + " */";
}

} // namespace

struct HSLTextConvertor::Work {
    std::shared_ptr<ConvertedProgram::Data> data;
    std::vector<HostSpelling> spellings;
    InterfacePlan plan;
    std::unique_ptr<ProgramBody> bodies[2];
};

// Floats: the half of the other framebuffer would lose digits.
HSLTextConvertor::HSLTextConvertor(const ShadingNodeSpec& function, ConversionOptions options)
    : HSLConvertor(1, true), fFunction(&function), fOptions(std::move(options)) {}

HSLTextConvertor::~HSLTextConvertor() = default;

bool HSLTextConvertor::convert() {
    cleanup();
    std::string error;
    bool optionsAtFault = false;
    try {
        fill();
        return true;
    } catch (const PlacementFailure& failure) {
        error = failure.message;
        optionsAtFault = failure.fault == kOptionsFault;
    } catch (const Exception& exception) {
        error = placedMessage(*fFunction, exception.message);
    }
    cleanup();
    fError = error;
    fOptionsAtFault = optionsAtFault;
    return false;
}

void HSLTextConvertor::fill() {
    const ProgramTarget& target = ProgramTarget::cg();
    Work work;
    work.data = std::make_shared<ConvertedProgram::Data>();
    work.data->placed = std::make_shared<const PlacedProgram>(placeToConvert(*fFunction, fOptions));
    work.spellings = hostSpellings(fOptions);
    const PlacedProgram& placed = *work.data->placed;

    NameTable names(ReservedWords::of(target));
    reserveWords(names, work.spellings);
    work.plan = planInterface(placed, fFunction->name(), target, fOptions, names);
    refuseWhole(work.plan.variables.uniforms, "uniform");
    refuseWhole(work.plan.variables.hoisted, "uniform");
    refuseWhole(work.plan.variables.varyings, "varying");
    declareConnectors(work);

    CalleeSpellings spellings(placed.flat, target, work.spellings);
    for (const ProgramStage stage : {kVertexProgram, kFragmentProgram}) {
        NameTable stageNames = names;
        work.bodies[stage] =
            std::make_unique<ProgramBody>(placed, target, spellings, stageNames, fFunction->name());
        const std::string access =
            std::string(HSLToken::hslTokens.connectorName(HSLToken::kInputConnector).asChar()) + ".";
        writeBody(*work.bodies[stage], stage, placed, work.plan, target, stageNames, access);
        declareUniforms(work, stage);
        addInstructions(work, stage);
    }

    fAVConnector->buildStringValue();
    fVFConnector->buildStringValue();
    fVertexProgram->buildStringValue();
    fFragmentProgram->buildStringValue();
    fFragmentProgram->buildF2FConnector();
    const std::string passed = std::string(vfConnectorString().asChar()) + "\n";
    fTexts[kVertexProgram] = helperTexts(*work.bodies[kVertexProgram], target) +
                             avConnectorString().asChar() + "\n" + passed + vertexProgramString().asChar();
    fTexts[kFragmentProgram] = helperTexts(*work.bodies[kFragmentProgram], target) + passed +
                               fFragmentProgram->frag2FBConnectorString().asChar() + "\n" +
                               fragmentProgramString().asChar();

    fNotices = placed.notices;
    work.data->texts.variables = std::move(work.plan.variables);
    work.data->uniformValues = std::move(work.plan.uniformValues);
    work.data->hoistedValues = std::move(work.plan.hoistedValues);
    fProgram = ConvertedProgram(work.data);
}

void HSLTextConvertor::declareConnectors(const Work& work) {
    // The first item of its kind sets up the members that every connector has.
    const HSLApp2VtxConnectItem firstAttribute(kFloat, "", nullptr);
    const HSLVtx2FragConnectItem firstVarying(kFloat, "", nullptr);
    fAVConnector = new HSLApp2VtxConnector(nullptr);
    for (std::size_t i = 0; i < work.plan.variables.attributes.size(); ++i) {
        const ProgramVariable& attribute = work.plan.variables.attributes[i];
        const bool implied = work.plan.attributeValues[i] == FlatProgram::kNone;
        if (!implied || attribute.name != firstAttribute.fsVertexPosition.logicalName().asChar()) {
            fAVConnector->addItem({blockType(attribute.type), attribute.name.c_str(), nullptr});
        }
    }
    fVFConnector = new HSLVtx2FragConnector(nullptr);
    for (const ProgramVariable& varying : work.plan.variables.varyings) {
        fVFConnector->addItem({blockType(varying.type), varying.name.c_str(), nullptr});
    }
}

void HSLTextConvertor::declareUniforms(const Work& work, ProgramStage stage) {
    auto* uniforms = new std::vector<HSLProgramUniformItem>;
    (stage == kVertexProgram ? fVertexUniforms : fFragmentUniforms) = uniforms;
    for (const auto* list :
         {&work.plan.variables.uniforms, &work.plan.variables.hoisted, &work.plan.variables.samplers}) {
        for (const ProgramVariable& variable : *list) {
            if (stage == kVertexProgram ? variable.inVertex : variable.inFragment) {
                const DataType type =
                    variable.type == kTexObj ? blockType(variable) : blockType(variable.type);
                uniforms->push_back({type, variable.name.c_str(), nullptr});
            }
        }
    }
}

void HSLTextConvertor::addInstructions(const Work& work, ProgramStage stage) {
    const FlatProgram& flat = work.data->placed->flat;
    const CString name = (fFunction->name() + (stage == kVertexProgram ? "Vertex" : "Fragment")).c_str();
    if (stage == kVertexProgram) {
        fVertexProgram = new HSLVertexProgram(name, *fAVConnector, fVertexUniforms, *fVFConnector);
    } else {
        fFragmentProgram = new HSLFragmentProgram(name, *fVFConnector, fFragmentUniforms, true);
    }
    const ProgramBody& body = *work.bodies[stage];
    for (const ProgramBody::Statement& statement : body.statements()) {
        const CString target = std::string(statement.name).c_str();
        const CString value = (std::string(body.text(statement)) + comment(flat, statement.node)).c_str();
        const bool assigns = statement.type == kVoid;
        if (stage == kVertexProgram) {
            fVertexProgram->addInstruction(
                {target, blockType(statement.type), assigns ? fVFConnector : nullptr, value});
        } else if (assigns) {
            const bool depth = statement.name == ProgramTarget::cg().depth;
            fFragmentProgram->addInstruction(
                {depth ? Instruction::kWriteFloatDepth : Instruction::kWriteFloatColor, value});
        } else {
            fFragmentProgram->addInstruction({blockType(statement.type), target, value});
        }
    }
}

const CString HSLTextConvertor::conversionString() const {
    if (fTexts[kVertexProgram].empty()) {
        return {};
    }
    return bothTexts(fTexts[kVertexProgram], fTexts[kFragmentProgram]).c_str();
}

bool HSLTextConvertor::writeToFile(const CString& path) {
    return !fTexts[kVertexProgram].empty() && writeText(path.asChar(), conversionString().asChar());
}

void HSLTextConvertor::cleanup() {
    HSLConvertor::cleanup();
    fProgram = ConvertedProgram();
    for (std::string& text : fTexts) {
        text.clear();
    }
    fNotices.clear();
    fError.clear();
    fOptionsAtFault = false;
}

} // namespace qvShadingDag
