#include "ShaderCompilers.h"

#include <glslang/Public/ResourceLimits.h>
#include <glslang/Public/ShaderLang.h>
#include <glslang/SPIRV/GlslangToSpv.h>
#include <spirv-tools/libspirv.hpp>
#include <spirv-tools/optimizer.hpp>
#include <spirv_cross/spirv_cross_c.h>

#include <memory>

namespace programTesting {

namespace {

struct DialectRow {
    glslang::EShSource source;
    glslang::EShClient client; // whose rules hold
    int version;
    bool spirv;
    int messages;
};
constexpr int kSpirvRules = EShMsgSpvRules | EShMsgVulkanRules;
constexpr DialectRow kDialects[] = {
    {glslang::EShSourceGlsl, glslang::EShClientNone, 330, false, EShMsgDefault},
    {glslang::EShSourceGlsl, glslang::EShClientNone, 300, false, EShMsgDefault},
    {glslang::EShSourceGlsl, glslang::EShClientVulkan, 100, true, kSpirvRules},
    {glslang::EShSourceHlsl, glslang::EShClientVulkan, 100, true, kSpirvRules | EShMsgReadHlsl},
};

// glslang also logs headings without a message below them.
void appendMessages(std::string& log, const char* what, const std::string& messages) {
    if (messages.find("ERROR") != std::string::npos || messages.find("WARNING") != std::string::npos) {
        log += std::string(what) + ": " + messages;
    }
}

std::unique_ptr<glslang::TShader> parse(EShLanguage stage, const std::string& text, const DialectRow& dialect,
                                        const char* what, std::string& log) {
    auto shader = std::make_unique<glslang::TShader>(stage);
    const char* const strings[] = {text.c_str()};
    shader->setStrings(strings, 1);
    shader->setEntryPoint("main");
    shader->setEnvInput(dialect.source, stage, dialect.client, dialect.version);
    if (dialect.spirv) {
        shader->setEnvClient(glslang::EShClientVulkan, glslang::EShTargetVulkan_1_0);
        shader->setEnvTarget(glslang::EShTargetSpv, glslang::EShTargetSpv_1_0);
    }
    const bool accepted =
        shader->parse(GetDefaultResources(), 100, false, static_cast<EShMessages>(dialect.messages));
    appendMessages(log, what, shader->getInfoLog());
    if (!accepted && log.empty()) {
        log = std::string(what) + ": refused without a message\n";
    }
    return shader;
}

SpirvWords generate(const glslang::TIntermediate& stage, const char* what, std::string& log) {
    SpirvWords words;
    spv::SpvBuildLogger logger;
    glslang::SpvOptions options;
    options.disableOptimizer = true;
    glslang::GlslangToSpv(stage, words, &logger, &options);
    if (const std::string messages = logger.getAllMessages(); !messages.empty()) {
        log += std::string(what) + ": " + messages;
    }
    spvtools::SpirvTools tools(SPV_ENV_VULKAN_1_0);
    tools.SetMessageConsumer([&](spv_message_level_t, const char*, const spv_position_t&,
                                 const char* message) { log += std::string(what) + ": " + message + "\n"; });
    if (!tools.Validate(words) && log.empty()) {
        log = std::string(what) + ": not valid\n";
    }
    return words;
}

// One module handed to SPIRV-Cross; everything is released with the context.
class CrossModule {
public:
    CrossModule(const SpirvWords& words, spvc_backend backend) {
        spvc_parsed_ir parsed = nullptr;
        check(spvc_context_create(&fContext));
        check(spvc_context_parse_spirv(fContext, words.data(), words.size(), &parsed));
        check(spvc_context_create_compiler(fContext, backend, parsed, SPVC_CAPTURE_MODE_TAKE_OWNERSHIP,
                                           &fCompiler));
    }
    ~CrossModule() { spvc_context_destroy(fContext); }
    CrossModule(const CrossModule&) = delete;
    CrossModule& operator=(const CrossModule&) = delete;

    std::string error() const {
        return !fFailed              ? ""
               : fContext == nullptr ? "no context"
                                     : spvc_context_get_last_error_string(fContext);
    }
    void check(spvc_result result) { fFailed = fFailed || result != SPVC_SUCCESS; }
    spvc_compiler compiler() const { return fCompiler; }

    std::vector<spvc_reflected_resource> resources(spvc_resource_type type) {
        spvc_resources all = nullptr;
        const spvc_reflected_resource* list = nullptr;
        std::size_t count = 0;
        if (!fFailed) {
            check(spvc_compiler_create_shader_resources(fCompiler, &all));
        }
        if (!fFailed) {
            check(spvc_resources_get_resource_list_for_type(all, type, &list, &count));
        }
        return {list, list + count};
    }
    unsigned decoration(SpvId id, SpvDecoration which) const {
        return spvc_compiler_get_decoration(fCompiler, id, which);
    }
    int width(const spvc_reflected_resource& resource) const {
        return static_cast<int>(
            spvc_type_get_vector_size(spvc_compiler_get_type_handle(fCompiler, resource.type_id)));
    }
    bool isInteger(const spvc_reflected_resource& resource) const {
        return spvc_type_get_basetype(spvc_compiler_get_type_handle(fCompiler, resource.type_id)) ==
               SPVC_BASETYPE_INT32;
    }

private:
    spvc_context fContext = nullptr;
    spvc_compiler fCompiler = nullptr;
    bool fFailed = false;
};

// GLSL 3.30 joins varyings by name, and has no locations for them.
void nameByLocation(CrossModule& module, spvc_resource_type type, const char* prefix, bool keepLocation) {
    for (const spvc_reflected_resource& variable : module.resources(type)) {
        const unsigned location = module.decoration(variable.id, SpvDecorationLocation);
        const unsigned component = module.decoration(variable.id, SpvDecorationComponent);
        std::string name = prefix + std::to_string(location);
        if (component != 0) {
            name += "at" + std::to_string(component);
        }
        spvc_compiler_set_name(module.compiler(), variable.id, name.c_str());
        spvc_compiler_unset_decoration(module.compiler(), variable.id, SpvDecorationComponent);
        if (!keepLocation) {
            spvc_compiler_unset_decoration(module.compiler(), variable.id, SpvDecorationLocation);
            if (module.isInteger(variable)) { // HLSL says so on one side only
                spvc_compiler_set_decoration(module.compiler(), variable.id, SpvDecorationFlat, 1);
            }
        }
    }
}

void nameByBinding(CrossModule& module, const std::vector<spvc_reflected_resource>& resources,
                   const char* prefix, bool typeToo) {
    for (const spvc_reflected_resource& resource : resources) {
        const std::string name =
            prefix + std::to_string(module.decoration(resource.id, SpvDecorationBinding));
        spvc_compiler_set_name(module.compiler(), resource.id, name.c_str());
        if (typeToo) { // a block is found by the name of its type
            spvc_compiler_set_name(module.compiler(), resource.base_type_id, name.c_str());
            spvc_compiler_set_name(module.compiler(), resource.id, (name + "_").c_str());
        }
    }
}

std::string stageToGlsl(const SpirvWords& words, bool vertex, std::string& log) {
    CrossModule module(words, SPVC_BACKEND_GLSL);
    nameByLocation(module, SPVC_RESOURCE_TYPE_STAGE_INPUT, vertex ? "attribute" : "varying", vertex);
    nameByLocation(module, SPVC_RESOURCE_TYPE_STAGE_OUTPUT, vertex ? "varying" : "colour", !vertex);
    nameByBinding(module, module.resources(SPVC_RESOURCE_TYPE_UNIFORM_BUFFER), "block", true);
    nameByBinding(module, module.resources(SPVC_RESOURCE_TYPE_SAMPLED_IMAGE), "sampler", false);
    if (module.error().empty()) {
        // HLSL has textures and samplers apart; a pair of them is called after the texture. One that is
        // only asked for its size has no sampler, and gets one.
        SpvId dummy = 0;
        module.check(spvc_compiler_build_dummy_sampler_for_combined_images(module.compiler(), &dummy));
        module.check(spvc_compiler_build_combined_image_samplers(module.compiler()));
        const spvc_combined_image_sampler* pairs = nullptr;
        std::size_t count = 0;
        int sizes = 0;
        module.check(spvc_compiler_get_combined_image_samplers(module.compiler(), &pairs, &count));
        for (std::size_t i = 0; i < count; ++i) {
            const unsigned binding = module.decoration(pairs[i].image_id, SpvDecorationBinding);
            std::string name = "sampler" + std::to_string(binding);
            if (dummy != 0 && pairs[i].sampler_id == dummy) {
                name += "size" + std::to_string(sizes++);
            }
            spvc_compiler_set_name(module.compiler(), pairs[i].combined_id, name.c_str());
        }
        spvc_compiler_options options = nullptr;
        module.check(spvc_compiler_create_compiler_options(module.compiler(), &options));
        spvc_compiler_options_set_uint(options, SPVC_COMPILER_OPTION_GLSL_VERSION, 330);
        spvc_compiler_options_set_bool(options, SPVC_COMPILER_OPTION_GLSL_ES, SPVC_FALSE);
        spvc_compiler_options_set_bool(options, SPVC_COMPILER_OPTION_GLSL_ENABLE_420PACK_EXTENSION,
                                       SPVC_FALSE);
        module.check(spvc_compiler_install_compiler_options(module.compiler(), options));
    }
    const char* text = "";
    if (module.error().empty()) {
        module.check(spvc_compiler_compile(module.compiler(), &text));
    }
    log += module.error();
    return module.error().empty() ? text : "";
}

} // namespace

CompiledPair compilePair(Dialect dialect, const ShaderPair& pair) {
    static const bool started = glslang::InitializeProcess(); // its tables live as long as the process
    CompiledPair result;
    if (!started) {
        result.log = "glslang does not start\n";
        return result;
    }
    const DialectRow& row = kDialects[dialect];
    const auto vertex = parse(EShLangVertex, pair.vertex, row, "vertex", result.log);
    const auto fragment = parse(EShLangFragment, pair.fragment, row, "fragment", result.log);
    if (!result.log.empty()) {
        return result;
    }
    glslang::TProgram program;
    program.addShader(vertex.get());
    program.addShader(fragment.get());
    const bool linked = program.link(static_cast<EShMessages>(row.messages));
    appendMessages(result.log, "link", program.getInfoLog());
    if (!linked && result.log.empty()) {
        result.log = "link: refused without a message\n";
    }
    if (result.log.empty() && row.spirv) {
        result.vertex = generate(*program.getIntermediate(EShLangVertex), "vertex", result.log);
        result.fragment = generate(*program.getIntermediate(EShLangFragment), "fragment", result.log);
    }
    return result;
}

std::size_t instructionsAfterOptimizing(const SpirvWords& module) {
    spvtools::Optimizer optimizer(SPV_ENV_VULKAN_1_0);
    optimizer.RegisterPerformancePasses();
    SpirvWords optimized;
    if (!optimizer.Run(module.data(), module.size(), &optimized)) {
        return 0;
    }
    // Behind a header of five words, each instruction begins with its length and its number.
    std::size_t count = 0;
    bool inFunction = false;
    for (std::size_t at = 5; at < optimized.size(); at += optimized[at] >> SpvWordCountShift) {
        inFunction = inFunction || (optimized[at] & SpvOpCodeMask) == SpvOpFunction;
        count += inFunction;
    }
    return count;
}

int inputComponents(const SpirvWords& module) {
    CrossModule cross(module, SPVC_BACKEND_NONE);
    int components = 0;
    for (const spvc_reflected_resource& input : cross.resources(SPVC_RESOURCE_TYPE_STAGE_INPUT)) {
        components += cross.width(input);
    }
    return components;
}

ShaderPair toGlsl330(const CompiledPair& pair, std::string& log) {
    ShaderPair result{stageToGlsl(pair.vertex, true, log), stageToGlsl(pair.fragment, false, log)};
    return log.empty() ? result : ShaderPair();
}

} // namespace programTesting
