#include "conversion/ProgramWriter.h"

#include "core/Exception.h"
#include "shadingdag/ShadingNode.h"
#include "shadingdag/ShadingNodeSpec.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace qvShadingDag {

namespace {

using Index = FlatProgram::Index;
constexpr Index kNone = FlatProgram::kNone;

/// A text that grows line by line and knows where its lines come from.
class TextWriter {
public:
    const ProgramTarget& target;

    TextWriter(const FlatProgram& flat, const ProgramTarget& textTarget) : target(textTarget), fFlat(flat) {}

    void begin(std::string& text, std::vector<SourceLine>& lines) {
        fText = &text;
        fLines = &lines;
    }

    TextWriter& operator<<(std::string_view text) {
        *fText += text;
        return *this;
    }

    TextWriter& operator<<(unsigned number) {
        std::array<char, 16> digits{};
        fText->append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr);
        return *this;
    }

    /// Ends a line that comes from a node, with a comment that says where it was written.
    void endLine(Index node) {
        const ShadingNode* origin = node == kNone ? nullptr : fFlat.nodes[node].origin;
        if (!origin || origin->sourceLocation().line == 0) {
            endLine();
            return;
        }
        const SourceLine line = {fileOf(origin->sourceFile()), origin->sourceLocation().line};
        *this << " // " << fCommentNames[line.file] << ":" << line.line;
        *fText += '\n';
        fLines->push_back(line);
    }

    /// Ends a line that no node stands for.
    void endLine() {
        *fText += '\n';
        fLines->push_back({});
    }

    /// Whole lines.
    void addLines(std::string_view lines) {
        *fText += lines;
        fLines->insert(fLines->end(), static_cast<std::size_t>(std::count(lines.begin(), lines.end(), '\n')),
                       SourceLine{});
    }

    std::uint32_t fileOf(const std::string& file) {
        if (&file == fLastFile) {
            return fLastPosition;
        }
        auto found = std::find(fFiles.begin(), fFiles.end(), file);
        if (found == fFiles.end()) {
            fFiles.push_back(file);
            fCommentNames.push_back(file);
            for (char& c : fCommentNames.back()) {
                c = static_cast<unsigned char>(c) < ' ' ? ' ' : c; // a comment ends with its line
            }
            found = fFiles.end() - 1;
        }
        fLastFile = &file;
        fLastPosition = static_cast<std::uint32_t>(found - fFiles.begin());
        return fLastPosition;
    }

    std::vector<std::string>& files() { return fFiles; }

private:
    const FlatProgram& fFlat;
    std::string* fText = nullptr;
    std::vector<SourceLine>* fLines = nullptr;
    std::vector<std::string> fFiles;
    std::vector<std::string> fCommentNames;
    const std::string* fLastFile = nullptr;
    std::uint32_t fLastPosition = 0;
};

std::string_view carrierName(const ProgramTarget& target, DataType type) {
    return target.typeName(carrierType(type));
}

bool inStage(const ProgramVariable& variable, ProgramStage stage) {
    return stage == kVertexProgram ? variable.inVertex : variable.inFragment;
}

bool anyInStage(const std::vector<ProgramVariable>& variables, ProgramStage stage) {
    return std::any_of(variables.begin(), variables.end(),
                       [stage](const ProgramVariable& variable) { return inStage(variable, stage); });
}

std::string_view samplerType(const ProgramVariable& map, const ProgramTarget& target) {
    const struct {
        const char* kind;
        std::string_view glsl, portable, hlsl; // portable: where only 2D, 3D and CUBE are
    } kTypes[] = {
        {"1D", "sampler1D", "sampler2D", "Texture1D"},
        {"2D", "sampler2D", "sampler2D", "Texture2D"},
        {"3D", "sampler3D", "sampler3D", "Texture3D"},
        {"CUBE", "samplerCube", "samplerCube", "TextureCube"},
        {"RECT", "sampler2DRect", "sampler2D", "Texture2D"},
    };
    for (const auto& row : kTypes) {
        if (map.kind == row.kind) {
            const bool rectangle = map.kind == "RECT" && target.id == ProgramTarget::kVulkan450;
            const bool portable = target.id == ProgramTarget::kEs300 || rectangle;
            return target.language == ProgramTarget::kHlslWords ? row.hlsl
                   : portable                                   ? row.portable
                                                                : row.glsl;
        }
    }
    return {};
}

// The declarations around the bodies of the GLSL targets, and the opening of main.
void declareGlsl(TextWriter& out, const ProgramInterface& variables, ProgramStage stage) {
    const ProgramTarget& target = out.target;
    if (stage == kFragmentProgram) {
        out.addLines(target.precision);
        std::vector<std::string_view> types;
        for (const ProgramVariable& map : variables.samplers) {
            const std::string_view type = samplerType(map, target);
            if (target.samplerPrecision && map.inFragment &&
                std::find(types.begin(), types.end(), type) == types.end()) {
                types.push_back(type);
                out << "precision highp " << type << ";";
                out.endLine();
            }
        }
    }
    const auto declareUniforms = [&](const char* before) {
        for (const auto* list : {&variables.uniforms, &variables.hoisted}) {
            for (const ProgramVariable& uniform : *list) {
                if (target.uniformBlock || inStage(uniform, stage)) {
                    out << before << carrierName(target, uniform.type) << " " << uniform.name << ";";
                    out.endLine();
                }
            }
        }
    };
    if (!target.uniformBlock) {
        declareUniforms("uniform ");
    } else if (anyInStage(variables.uniforms, stage) || anyInStage(variables.hoisted, stage)) {
        out.addLines("layout(std140, set = 0, binding = 0) uniform Uniforms {\n");
        declareUniforms("    ");
        out.addLines("};\n");
    }
    for (const ProgramVariable& map : variables.samplers) {
        if (inStage(map, stage)) {
            if (target.explicitInterface) {
                out << "layout(set = 0, binding = " << static_cast<unsigned>(map.binding) << ") ";
            }
            out << "uniform " << samplerType(map, target) << " " << map.name << ";";
            out.endLine();
        }
    }
    if (stage == kVertexProgram) {
        for (const ProgramVariable& attribute : variables.attributes) {
            out << "layout(location = " << static_cast<unsigned>(attribute.location) << ") in "
                << carrierName(target, attribute.type) << " " << attribute.name << ";";
            out.endLine();
        }
    }
    for (const ProgramVariable& varying : variables.varyings) {
        if (target.explicitInterface) {
            out << "layout(location = " << static_cast<unsigned>(varying.location);
            if (varying.component > 0) {
                out << ", component = " << static_cast<unsigned>(varying.component);
            }
            out << ") ";
        }
        out << (varying.flat ? "flat " : "") << (stage == kVertexProgram ? "out " : "in ")
            << carrierName(target, varying.type) << " " << varying.name << ";";
        out.endLine();
    }
    for (const ProgramVariable& output : variables.outputs) {
        if (stage == kFragmentProgram && output.location >= 0) {
            out << "layout(location = " << static_cast<unsigned>(output.location) << ") out "
                << target.typeName(output.type) << " " << output.name << ";";
            out.endLine();
        }
    }
    out.endLine();
}

// The same for HLSL: a constant buffer with its offsets, maps with their samplers.
void declareHlsl(TextWriter& out, const ProgramInterface& variables, ProgramStage stage) {
    const ProgramTarget& target = out.target;
    if (anyInStage(variables.uniforms, stage) || anyInStage(variables.hoisted, stage)) {
        out.addLines("cbuffer Uniforms : register(b0) {\n");
        for (const auto* list : {&variables.uniforms, &variables.hoisted}) {
            for (const ProgramVariable& uniform : *list) {
                const bool matrix = uniform.type >= kMatrix2 && uniform.type <= kMatrix4;
                out << (matrix ? "    row_major " : "    ") << carrierName(target, uniform.type) << " "
                    << uniform.name << " : packoffset(c" << static_cast<unsigned>(uniform.offset / 16);
                static constexpr std::string_view kParts[] = {"", ".y", ".z", ".w"};
                out << kParts[uniform.offset % 16 / 4] << ");";
                out.endLine();
            }
        }
        out.addLines("};\n");
    }
    for (const ProgramVariable& map : variables.samplers) {
        if (inStage(map, stage)) {
            const auto binding = static_cast<unsigned>(map.binding);
            out << samplerType(map, target) << " " << map.name << " : register(t" << binding << ");";
            out.endLine();
            out << "SamplerState " << map.name << "Sampler : register(s" << binding << ");";
            out.endLine();
        }
    }
    out.endLine();
}

// What an HLSL program takes and gives are the parameters of its main. The clip position comes behind
// the varyings, so that these have the same registers in both programs.
void openHlsl(TextWriter& out, const ProgramInterface& variables, ProgramStage stage,
              std::string_view position) {
    const ProgramTarget& target = out.target;
    out << "void main(";
    std::string_view separator;
    const auto parameter = [&](std::string_view before, DataType type, std::string_view name,
                               std::string_view semantic, int number) {
        out << separator << before << carrierName(target, type) << " " << name << " : " << semantic;
        if (number >= 0) {
            out << static_cast<unsigned>(number);
        }
        separator = ", ";
    };
    if (stage == kVertexProgram) {
        for (const ProgramVariable& attribute : variables.attributes) {
            parameter("in ", attribute.type, attribute.name, "TEXCOORD", attribute.location);
        }
    }
    for (const ProgramVariable& varying : variables.varyings) {
        const std::string_view direction = stage == kVertexProgram ? "out " : "in ";
        parameter(stage == kFragmentProgram && varying.flat ? "nointerpolation in " : direction, varying.type,
                  varying.name, "TEXCOORD", varying.location);
    }
    if (stage == kVertexProgram) {
        parameter("out ", kFloat4, position, "SV_Position", -1);
    } else {
        for (const ProgramVariable& output : variables.outputs) {
            if (output.inFragment) {
                parameter("out ", output.type, output.name, output.location >= 0 ? "SV_Target" : "SV_Depth",
                          output.location);
            }
        }
    }
    out.addLines(") {\n");
}

void openGlsl(TextWriter& out, const ProgramInterface& /*variables*/, ProgramStage /*stage*/,
              std::string_view /*position*/) {
    out.addLines("void main() {\n");
}

/// What a target writes around the body in a way of its own.
struct Frame {
    void (*declare)(TextWriter& out, const ProgramInterface& variables, ProgramStage stage);
    void (*open)(TextWriter& out, const ProgramInterface& variables, ProgramStage stage,
                 std::string_view position);
};

constexpr Frame kFrames[] = {{declareGlsl, openGlsl}, {declareHlsl, openHlsl}}; // by language

// A helper, and where it is for scalars its overloads for vectors, which call it for each component.
void appendHelper(std::string& text, const HelperFunction& helper, unsigned widths,
                  const ProgramTarget& target) {
    text += helper.text;
    static constexpr std::string_view kParameters[] = {"a", "b"};
    static constexpr std::string_view kComponents[] = {".x", ".y", ".z", ".w"};
    for (int width = 2; width <= 4; ++width) {
        if ((widths >> (width - 1) & 1U) == 0) {
            continue;
        }
        const std::string_view result = target.typeName(static_cast<DataType>(helper.result + width - 1));
        const std::string_view argument = target.typeName(static_cast<DataType>(helper.argument + width - 1));
        text.append(result).append(" ").append(helper.name).append("(");
        for (int i = 0; i < helper.arity; ++i) {
            text.append(i == 0 ? "" : ", ").append(argument).append(" ").append(kParameters[i]);
        }
        text.append(") {\n    return ").append(result).append("(");
        for (int component = 0; component < width; ++component) {
            text.append(component == 0 ? "" : ", ").append(helper.name).append("(");
            for (int i = 0; i < helper.arity; ++i) {
                text.append(i == 0 ? "" : ", ").append(kParameters[i]).append(kComponents[component]);
            }
            text += ')';
        }
        text += ");\n}\n";
    }
}

/// One conversion to one target.
class ProgramWriter {
public:
    ProgramWriter(const PlacedProgram& placed, const ShadingNodeSpec& function, const ProgramTarget& target,
                  const PlacementOptions& options, const std::vector<HostSpelling>& hostSpellings,
                  InterfacePlan& plan)
        : fPlaced(placed), fFunction(function), fTarget(target), fOptions(options),
          fHostSpellings(hostSpellings), fSpellings(placed.flat, target, hostSpellings),
          fOut(placed.flat, target), fPlan(plan) {}

    ProgramTexts write() {
        NameTable names(ReservedWords::of(fTarget));
        reserveWords(names, fHostSpellings);
        fPlan = planInterface(fPlaced, fFunction.name(), fTarget, fOptions, names);
        for (const ProgramStage stage : {kVertexProgram, kFragmentProgram}) {
            NameTable stageNames = names;
            ProgramBody body(fPlaced, fTarget, fSpellings, stageNames, fFunction.name());
            writeBody(body, stage, fPlaced, fPlan, fTarget, stageNames, "");
            writeText(stage, body);
        }
        fTexts.files = std::move(fOut.files());
        fTexts.variables = fPlan.variables;
        return std::move(fTexts);
    }

private:
    void writeText(ProgramStage stage, const ProgramBody& body) {
        fOut.begin(fTexts.texts[stage], fTexts.lines[stage]);
        fOut.addLines(fTarget.version);
        fOut << "// The " << (stage == kVertexProgram ? "vertex" : "fragment") << " program of "
             << fFunction.name() << ".";
        fOut.endLine();
        const Frame& frame = kFrames[fTarget.language];
        frame.declare(fOut, fPlan.variables, stage);
        const std::string helpers = helperTexts(body, fTarget);
        if (!helpers.empty()) {
            fOut.addLines(helpers);
            fOut.endLine();
        }
        frame.open(fOut, fPlan.variables, stage, fPlan.position);
        for (const ProgramBody::Statement& statement : body.statements()) {
            fOut << "    ";
            if (statement.type != kVoid) {
                fOut << fTarget.typeName(statement.type) << " ";
            }
            fOut << statement.name << " = " << body.text(statement) << ";";
            fOut.endLine(statement.node);
        }
        fOut.addLines("}\n");
    }

    const PlacedProgram& fPlaced;
    const ShadingNodeSpec& fFunction;
    const ProgramTarget& fTarget;
    const PlacementOptions& fOptions;
    const std::vector<HostSpelling>& fHostSpellings;
    CalleeSpellings fSpellings;
    TextWriter fOut;
    InterfacePlan& fPlan;
    ProgramTexts fTexts;
};

} // namespace

void reserveWords(NameTable& names, const std::vector<HostSpelling>& hostSpellings) {
    std::vector<std::string> words = {"Uniforms"}; // the block's own name
    for (const HostSpelling& host : hostSpellings) {
        collectCalledWords(host.spelling.text, words);
        collectCalledWords(host.helper, words);
    }
    for (const std::string& word : words) {
        names.reserve(word);
    }
}

std::string helperTexts(const ProgramBody& body, const ProgramTarget& target) {
    std::string text;
    const SpellingTable& table = SpellingTable::of(target);
    for (std::size_t i = 0; i < body.helpers().size(); ++i) {
        if (body.helpers()[i] != 0) {
            appendHelper(text, table.helpers()[i], body.helpers()[i], target);
        }
    }
    for (const std::string* helper : body.hostHelpers()) {
        text += *helper;
        text += helper->empty() || helper->back() == '\n' ? "" : "\n";
    }
    return text;
}

PlacedProgram placeToConvert(const ShadingNodeSpec& function, const PlacementOptions& options) {
    PlacedProgram placed = placeFunction(function, options);
    checkInterface(function, placed);
    for (std::size_t i = 0; i < placed.flat.inputs.size(); ++i) {
        const FlatProgram::Input& input = placed.flat.inputs[i];
        if (placed.delivered[i] == kConstantFreq &&
            placed.literalOf[placed.flat.nodes[input.node].firstValue] == kNone) {
            const std::string place = placeOf(function);
            throw PlacementFailure{kOptionsFault, (place.empty() ? "" : place + ": ") + function.name() +
                                                      ": the constant input '" + input.name + "' (" +
                                                      dataTypeName(input.type) +
                                                      ") needs a value before it is converted"};
        }
    }
    return placed;
}

ProgramTexts writeProgram(const PlacedProgram& placed, const ShadingNodeSpec& function,
                          const ProgramTarget& target, const PlacementOptions& options,
                          const std::vector<HostSpelling>& hostSpellings, InterfacePlan& plan) {
    return ProgramWriter(placed, function, target, options, hostSpellings, plan).write();
}

} // namespace qvShadingDag
