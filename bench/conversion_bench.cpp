// Program texts: how many calls a second from an expanded graph to both texts, flat from 1,000 calls
// to 100,000; the whole road from a surface's source to both texts; a further target of a placed
// surface. Beside the road from source to text the usual one, where its libraries are there: GLSL by
// glslang to SPIR-V, and by SPIRV-Cross to HLSL and ES text, of the same programs and of a pair that
// says nothing.

#include "conversion/ProgramConvertor.h"
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/ShadingParser.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <regex>
#include <string>
#include <vector>

#if defined(QV_PEERS)
#include <glslang/Public/ResourceLimits.h>
#include <glslang/Public/ShaderLang.h>
#include <glslang/SPIRV/GlslangToSpv.h>
#include <spirv_cross/spirv_cross_c.h>
#endif

using namespace qvShadingDag;

namespace {

void check(bool done, const std::string& error) {
    if (!done) {
        std::cerr << error << "\n";
        std::exit(1);
    }
}

void parse(const std::string& file) {
    ShadingParser parser;
    const bool read = parser.parseFile(file, false);
    check(read, parser.errorString());
}

void readLibraryOnce() {
    if (!ShadingNodeSpec::findSpecInLibrary("saturate")) {
        parse(QV_STDLIB);
    }
}

/// The surfaces: the files, each with one function named after it.
const std::vector<std::filesystem::path>& surfaces() {
    static const std::vector<std::filesystem::path> files = [] {
        std::vector<std::filesystem::path> found;
        for (const auto& entry : std::filesystem::directory_iterator(QV_SURFACES)) {
            if (entry.path().extension() == ".qvs") {
                found.push_back(entry.path());
            }
        }
        std::sort(found.begin(), found.end());
        return found;
    }();
    return files;
}

std::string nameOf(const std::filesystem::path& file) {
    return file.stem().string();
}

void forgetSurfaces() {
    for (const auto& file : surfaces()) {
        delete ShadingNodeSpec::findSpecInLibrary(nameOf(file));
    }
}

/// A function of `count` calls of primitives, expanded: calls of one function of 24, each reading
/// what the one before gave.
ShadingNodeSpec& expandedGraph(int count) {
    const std::string name = "chain" + std::to_string(count);
    std::string source = "float3 link(float3 n, uniform float k) {\n"
                         "    float3 x = normalize(n) * k + sin(n);\n"
                         "    float3 y = max(abs(x), n) * dot(x, n) - floor(x);\n"
                         "    float3 z = cross(x, y) + reflect(y, x) * length(x + y);\n"
                         "    return mix(x, y + z, k) + cos(z) * 0.5 + exp(-x);\n"
                         "}\n";
    source += "float3 " + name + "(float3 n, uniform float k) {\n    float3 x = n;\n";
    for (int i = 0; i < count / 24; ++i) {
        source += "    x = link(x, k);\n";
    }
    const std::string file = std::filesystem::temp_directory_path().string() + "/" + name + ".qvs";
    std::ofstream(file, std::ios::binary) << source << "    return x;\n}\n";
    parse(file);
    std::filesystem::remove(file);
    ShadingNodeSpec& function = *ShadingNodeSpec::findSpecInLibrary(name);
    function.expandFunctionCalls();
    return function;
}

void calls(benchmark::State& state) {
    readLibraryOnce();
    ShadingNodeSpec& graph = expandedGraph(static_cast<int>(state.range(0)));
    ProgramConvertor convertor(graph);
    for (auto _ : state) {
        check(convertor.convert(), convertor.errorString());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    delete &graph;
    delete ShadingNodeSpec::findSpecInLibrary("link");
}
BENCHMARK(calls)->RangeMultiplier(10)->Range(1000, 100000);

void placedToFurtherTarget(benchmark::State& state) {
    readLibraryOnce();
    std::vector<ProgramConvertor> convertors;
    for (const auto& file : surfaces()) {
        parse(file.string());
        convertors.emplace_back(*ShadingNodeSpec::findSpecInLibrary(nameOf(file)));
        check(convertors.back().convert(), convertors.back().errorString());
    }
    const ProgramTarget& target = ProgramTarget::at(static_cast<ProgramTarget::Id>(state.range(0)));
    for (auto _ : state) {
        for (ProgramConvertor& convertor : convertors) {
            check(convertor.convertFor(target), convertor.errorString());
        }
    }
    state.SetLabel(target.name);
    state.SetItemsProcessed(state.iterations() * static_cast<int>(convertors.size()));
    forgetSurfaces();
}
BENCHMARK(placedToFurtherTarget)->DenseRange(ProgramTarget::kGlsl330, ProgramTarget::kHlsl);

void sourceToTexts(benchmark::State& state) {
    readLibraryOnce();
    for (auto _ : state) {
        for (const auto& file : surfaces()) {
            parse(file.string());
            ProgramConvertor convertor(*ShadingNodeSpec::findSpecInLibrary(nameOf(file)));
            check(convertor.convert(), convertor.errorString());
            benchmark::DoNotOptimize(convertor.vertexProgram().data());
        }
        forgetSurfaces();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int>(surfaces().size()));
}
BENCHMARK(sourceToTexts);

#if defined(QV_PEERS)
std::vector<unsigned int> toSpirv(EShLanguage stage, const std::string& text) {
    glslang::TShader shader(stage);
    const char* source = text.c_str();
    shader.setStrings(&source, 1);
    shader.setEnvInput(glslang::EShSourceGlsl, stage, glslang::EShClientVulkan, 100);
    shader.setEnvClient(glslang::EShClientVulkan, glslang::EShTargetVulkan_1_0);
    shader.setEnvTarget(glslang::EShTargetSpv, glslang::EShTargetSpv_1_0);
    const bool parsed = shader.parse(GetDefaultResources(), 450, false, EShMsgDefault);
    check(parsed, shader.getInfoLog());
    glslang::TProgram program;
    program.addShader(&shader);
    const bool linked = program.link(EShMsgDefault);
    check(linked, program.getInfoLog());
    std::vector<unsigned int> words;
    glslang::GlslangToSpv(*program.getIntermediate(stage), words);
    return words;
}

std::size_t toText(spvc_backend backend, const std::vector<unsigned int>& words) {
    spvc_context context = nullptr;
    spvc_context_create(&context);
    spvc_parsed_ir ir = nullptr;
    spvc_context_parse_spirv(context, words.data(), words.size(), &ir);
    spvc_compiler compiler = nullptr;
    spvc_context_create_compiler(context, backend, ir, SPVC_CAPTURE_MODE_TAKE_OWNERSHIP, &compiler);
    spvc_compiler_options options = nullptr;
    spvc_compiler_create_compiler_options(compiler, &options);
    if (backend == SPVC_BACKEND_HLSL) {
        spvc_compiler_options_set_uint(options, SPVC_COMPILER_OPTION_HLSL_SHADER_MODEL, 50);
    } else {
        spvc_compiler_options_set_uint(options, SPVC_COMPILER_OPTION_GLSL_VERSION, 310);
        spvc_compiler_options_set_bool(options, SPVC_COMPILER_OPTION_GLSL_ES, SPVC_TRUE);
    }
    spvc_compiler_install_compiler_options(compiler, options);
    const char* text = nullptr;
    const bool written = spvc_compiler_compile(compiler, &text) == SPVC_SUCCESS;
    check(written, spvc_context_get_last_error_string(context));
    const std::size_t size = std::string(text).size();
    spvc_context_destroy(context);
    return size;
}

/// ES text has no components: what shares a location gets one of its own.
std::string unpacked(const std::string& text) {
    static const std::regex kShared("location = (\\d+), component = (\\d)");
    return std::regex_replace(text, kShared, "location = 2$1$2");
}

void usualRoad(benchmark::State& state) {
    glslang::InitializeProcess();
    readLibraryOnce();
    std::vector<std::string> vertex;
    std::vector<std::string> fragment;
    for (const auto& file : surfaces()) {
        if (state.range(0) == 0) {
            vertex.emplace_back("#version 450\nvoid main() { gl_Position = vec4(0.0); }\n");
            fragment.emplace_back(
                "#version 450\nlayout(location = 0) out vec4 c;\nvoid main() { c = vec4(0.0); }\n");
            continue;
        }
        parse(file.string());
        ProgramConvertor convertor(*ShadingNodeSpec::findSpecInLibrary(nameOf(file)),
                                   ConversionOptions(ProgramTarget::vulkan450()));
        check(convertor.convert(), convertor.errorString());
        vertex.push_back(unpacked(convertor.vertexProgram()));
        fragment.push_back(unpacked(convertor.fragmentProgram()));
    }
    for (auto _ : state) {
        for (std::size_t i = 0; i < vertex.size(); ++i) {
            for (const auto& words :
                 {toSpirv(EShLangVertex, vertex[i]), toSpirv(EShLangFragment, fragment[i])}) {
                for (const spvc_backend backend : {SPVC_BACKEND_HLSL, SPVC_BACKEND_GLSL}) {
                    benchmark::DoNotOptimize(toText(backend, words));
                }
            }
        }
    }
    state.SetLabel(state.range(0) == 0 ? "pairs that say nothing" : "the surfaces");
    state.SetItemsProcessed(state.iterations() * static_cast<int>(vertex.size()));
    forgetSurfaces();
}
BENCHMARK(usualRoad)->Arg(0)->Arg(1);
#endif

} // namespace
