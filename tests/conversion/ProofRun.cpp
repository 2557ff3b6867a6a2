#include "conversion/ProofRun.h"

#include "conversion/HostUniforms.h"
#include "conversion/ProgramEvaluator.h"
#include "core/Exception.h"
#ifndef _WIN32
#include "conversion/ShaderCompilers.h"
#endif

#include <algorithm>
#include <cmath>
#include <span>
#include <sstream>

namespace programTesting {

namespace {

ShadingValue valueOf(const ProofScene::Input& input) {
    ShadingValue value(input.type, {});
    std::copy_n(input.values.begin(), input.components, value.c.begin());
    return value;
}

} // namespace

ConversionOptions optionsFor(const ProofSettings& settings, const ProofScene& scene) {
    ConversionOptions options(*settings.target);
    options.policy = settings.policy;
    options.inputLevels = settings.levels;
    for (const ProofScene::Input& input : scene.inputs) {
        if (input.constant) {
            options.constants[input.name] = valueOf(input);
        }
    }
    return options;
}

std::string drawTexts(GlDriver& driver, const ShaderPair& pair, const ProgramInterface& described,
                      const std::map<std::string, std::vector<double>>& hoisted, const ProofScene& scene,
                      GlPicture& picture) {
    std::string log;
    ShaderPair glsl = pair;
    bool byPlace = false;
#ifndef _WIN32
    if (described.target == "vulkan450" || described.target == "hlsl") {
        const CompiledPair compiled = compilePair(described.target == "hlsl" ? kHlsl : kVulkan450, pair);
        log = compiled.log;
        glsl = log.empty() ? toGlsl330(compiled, log) : ShaderPair();
        byPlace = true;
    }
#endif
    if (log.empty()) {
        drawPair(driver, glsl, scene.draw(described, hoisted, byPlace), picture, log);
    }
    return log.empty() ? "" : log + glsl.vertex + glsl.fragment;
}

std::string drawConverted(GlDriver& driver, const ProgramConvertor& convertor, const ProofScene& scene,
                          GlPicture& picture) {
    HostUniforms host(convertor.program());
    for (const ProofScene::Input& input : scene.inputs) {
        if (!input.perVertex && input.components > 0) {
            host.set(input.name, valueOf(input));
        }
    }
    std::map<std::string, std::vector<double>> hoisted;
    for (const HostUniform& uniform : host.values()) {
        hoisted[uniform.name].assign(uniform.value.c.begin(),
                                     uniform.value.c.begin() + uniform.value.width());
    }
    return drawTexts(driver, {convertor.vertexProgram(), convertor.fragmentProgram()},
                     convertor.programInterface(), hoisted, scene, picture);
}

void evaluateAsHardware(const ShadingNodeSpec& function, const PlacementOptions& options,
                        const ProofScene& scene, ProofValues& values) {
    ProgramEvaluator evaluator(function, options);
    std::vector<std::vector<double>> columns;
    columns.reserve(4 * (scene.inputs.size() + 1)); // the evaluator keeps views of them
    const auto setColumns = [&](const std::string& name, int components, const std::vector<double>& numbers) {
        std::vector<std::span<const double>> views;
        for (int c = 0; c < components; ++c) {
            std::vector<double>& column = columns.emplace_back();
            for (std::size_t i = c; i < numbers.size(); i += components) {
                column.push_back(numbers[i]);
            }
            views.emplace_back(column);
        }
        evaluator.set(name, views);
    };
    for (const ProgramEvaluator::Input& wanted : evaluator.inputs()) {
        const auto input =
            std::find_if(scene.inputs.begin(), scene.inputs.end(),
                         [&](const ProofScene::Input& candidate) { return candidate.name == wanted.name; });
        if (input == scene.inputs.end()) {
            if (wanted.isPerVertex) {
                setColumns(wanted.name, 4, scene.positions());
            } else {
                evaluator.set(wanted.name,
                              ShadingValue(kMatrix4, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}));
            }
        } else if (input->components == 0) {
            const auto map = static_cast<int>(input - scene.inputs.begin());
            evaluator.set(wanted.name, [map](const TextureLookup& lookup, double(&texel)[4]) {
                ProofScene::lookUp(glKind(lookup.kind), map, lookup.coordinates, texel);
            });
        } else if (wanted.isPerVertex) {
            setColumns(wanted.name, input->components, input->values);
        } else {
            evaluator.set(wanted.name, valueOf(*input));
        }
    }
    const ProofValues corners = evaluateScene(flatten(function), scene.atCorners());
    const bool usable = std::count(corners.leftOut.begin(), corners.leftOut.begin() + 3, 0) == 3;
    RasterImage image(ProofScene::kWidth, ProofScene::kHeight);
    const unsigned int triangle[] = {0, 1, 2};
    evaluator.draw(3, triangle, image);
    for (int y = 0; y < ProofScene::kHeight; ++y) {
        for (int i = 0; i < 4 * ProofScene::kWidth; ++i) {
            const double colour = image.color[(ProofScene::kHeight - 1 - y) * 4 * ProofScene::kWidth + i];
            const int at = y * 4 * ProofScene::kWidth + i;
            values.colours[at] = colour;
            for (int corner = 0; corner < 3; ++corner) {
                values.spread[at] = std::max(values.spread[at], corners.spread[4 * corner + i % 4]);
            }
            values.leftOut[at / 4] =
                static_cast<char>(values.leftOut[at / 4] != 0 || !usable || !std::isfinite(colour));
        }
    }
}

std::string difference(const ProofValues& values, const GlPicture& picture, ProofCounts& counts) {
    std::string fault;
    for (std::size_t pixel = 0; pixel < values.leftOut.size(); ++pixel) {
        if (values.leftOut[pixel] != 0) {
            ++counts.leftOut;
            continue;
        }
        ++counts.compared;
        for (std::size_t i = 4 * pixel; i < 4 * pixel + 4; ++i) {
            const double expected = values.colours[i];
            const double allowed = 1e-6 + 1e-5 * std::fabs(expected) + 5 * values.spread[i];
            const double off = std::fabs(picture.rgba[i] - expected) / allowed;
            counts.worst = std::max(counts.worst, off);
            if (!(off <= 1) && fault.empty()) {
                std::ostringstream text;
                text.precision(9);
                text << "pixel " << pixel << " component " << i % 4 << " is " << picture.rgba[i] << ", not "
                     << expected << " (within " << allowed << ")\n";
                fault = text.str();
            }
        }
    }
    return fault;
}

std::string proveDrawing(GlDriver& driver, const ShadingNodeSpec& function, const ProofSettings& settings,
                         ProofCounts& counts) {
    FlatProgram flat = flatten(function);
    dropUnread(flat);
    const ProofScene scene(function, derivativeDepth(flat) > 0 ? GlDraw::kTriangles : settings.shape,
                           settings.seed, settings.levels);
    ProgramConvertor convertor(function, optionsFor(settings, scene));
    if (!convertor.convert()) {
        return convertor.errorString();
    }
    ++counts.functions;
    GlPicture picture;
    std::string fault = drawConverted(driver, convertor, scene, picture);
    if (fault.empty()) {
        fault = difference(evaluateScene(flat, scene), picture, counts);
    }
    return fault.empty() ? "" : fault + convertor.vertexProgram() + convertor.fragmentProgram();
}

} // namespace programTesting
