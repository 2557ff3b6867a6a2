#include "conversion/ProofFunctions.h"
#include "conversion/ProofRun.h"
#include "core/Exception.h"
#ifndef _WIN32
#include "conversion/ShaderCompilers.h"
#endif

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>

using namespace programTesting;

namespace {

// Null under Wine without a driver, which is the one check that may be left out.
GlDriver* driver() {
    GlDriver* found = GlDriver::get();
#ifdef _WIN32
    ProofScene::fsOnlySmallInts = true;
    if (found == nullptr) {
        std::printf("LEFT OUT: drawing under Wine, %s\n", GlDriver::whyMissing().c_str());
    }
#else
    EXPECT_NE(found, nullptr) << GlDriver::whyMissing();
#endif
    return found;
}

// The driver that compiles every program to machine code takes a hundred times as long as the one that
// interprets: it draws what matters most, the other one everything.
bool isQuick(GlDriver& gl) {
    return gl.description().find("softpipe") != std::string::npos;
}

void report(const char* what, const ProofCounts& counts) {
    std::printf("%s: %d draws, %ld pixels compared, %ld left out, worst %.3g of what is allowed (%s)\n", what,
                counts.functions, counts.compared, counts.leftOut, counts.worst,
                counts.worstFunction.c_str());
}

unsigned numberFromEnvironment(const char* name, unsigned otherwise) {
    const char* text = std::getenv(name);
    return text == nullptr ? otherwise : static_cast<unsigned>(std::strtoul(text, nullptr, 10));
}

// Draws one made-up function; a failure is shown as the smallest function that fails.
bool proves(GlDriver& gl, const ProofFunction& function, const ProofSettings& settings, ProofCounts& counts) {
    const auto faultOf = [&](const ProofFunction& candidate, ProofCounts& sum) {
        return proveDrawing(gl, *candidate.build(), settings, sum);
    };
    const double before = counts.worst;
    const std::string fault = faultOf(function, counts);
    if (counts.worst > before) {
        counts.worstFunction = function.what;
    }
    if (fault.empty()) {
        return true;
    }
    const ProofFunction smallest = minimize(function, [&](const ProofFunction& candidate) {
        try {
            ProofCounts sum;
            return !faultOf(candidate, sum).empty() && sum.functions > 0;
        } catch (const Exception&) {
            return false; // no function at all
        }
    });
    ProofCounts sum;
    ADD_FAILURE() << settings.target->name << ", policy " << settings.policy << ", shape " << settings.shape
                  << "\n"
                  << smallest.source() << faultOf(smallest, sum);
    return false;
}

#ifndef _WIN32

// ---- Accepted ----

TEST(ProgramTexts, AreAcceptedAndLinked) {
    ASSERT_GT(standardLibrary().size(), 900U);
    int pairs = 0;
    int faults = 0;
    for (const ShadingNodeSpec* spec : standardLibrary()) {
        const ProofFunction wrapper = wrap(*spec);
        const std::unique_ptr<ShadingNodeSpec> function = wrapper.build();
        const ProofScene scene(*function, GlDraw::kPoints, 1);
        for (const PlacementPolicy policy : {kExactPlacement, kEarliestPlacement}) {
            ProofSettings settings;
            settings.policy = policy;
            ProgramConvertor convertor(*function, optionsFor(settings, scene));
            if (!convertor.convert()) {
                ++faults;
                ADD_FAILURE() << wrapper.what << ": " << convertor.errorString();
                continue;
            }
            for (const Dialect dialect : {kGlsl330, kEs300, kVulkan450, kHlsl}) {
                const ProgramTarget& target = ProgramTarget::at(static_cast<ProgramTarget::Id>(dialect));
                const bool written = convertor.convertFor(target);
                const ShaderPair pair{convertor.vertexProgram(), convertor.fragmentProgram()};
                const std::string log = written ? compilePair(dialect, pair).log : convertor.errorString();
                ++pairs;
                if (!log.empty()) {
                    ++faults;
                    ADD_FAILURE() << target.name << ": " << wrapper.source() << log << pair.vertex
                                  << pair.fragment;
                }
                ASSERT_LT(faults, 20);
            }
        }
    }
    std::printf("%d pairs accepted\n", pairs);
}

// The compilers as people run them say the same.
TEST(ProgramTexts, AreAcceptedByTheCommandLineTools) {
    ASSERT_FALSE(standardLibrary().empty());
    const char* const commands[][2] = {
        {"glslangValidator -l $.vert $.frag", ""},
        {"glslangValidator -l $.vert $.frag", ""},
        {"glslangValidator -V --target-env vulkan1.0 -o $.spv $.vert && spirv-val --target-env vulkan1.0 "
         "$.spv",
         "glslangValidator -V --target-env vulkan1.0 -o $.spv $.frag && spirv-val --target-env vulkan1.0 "
         "$.spv"},
        {"glslangValidator -D -V -e main -S vert -o $.spv $.vert && spirv-val --target-env vulkan1.0 $.spv",
         "glslangValidator -D -V -e main -S frag -o $.spv $.frag && spirv-val --target-env vulkan1.0 $.spv"},
    };
    for (const char* name : {"triplanarTexture", "surface", "toPolar"}) {
        const std::unique_ptr<ShadingNodeSpec> function =
            wrap(*ShadingNodeSpec::findSpecInLibrary(name)).build();
        for (int target = ProgramTarget::kGlsl330; target <= ProgramTarget::kHlsl; ++target) {
            ProgramConvertor convertor(
                *function, ConversionOptions(ProgramTarget::at(static_cast<ProgramTarget::Id>(target))));
            ASSERT_TRUE(convertor.convert()) << convertor.errorString();
            const std::string base = QV_TEST_OUTPUT "tools";
            std::ofstream(base + ".vert", std::ios::binary) << convertor.vertexProgram();
            std::ofstream(base + ".frag", std::ios::binary) << convertor.fragmentProgram();
            for (std::string command : commands[target]) {
                for (std::size_t at = command.find('$'); at != std::string::npos; at = command.find('$')) {
                    command.replace(at, 1, base);
                }
                EXPECT_EQ(command.empty() ? 0 : std::system((command + " >" + base + ".log").c_str()), 0)
                    << command << "\n"
                    << convertor.vertexProgram() << convertor.fragmentProgram();
            }
        }
    }
}

#endif

// ---- Drawn ----

struct DrawingCase {
    const char* what;
    ProgramTarget::Id target;
    PlacementPolicy policy;
    GlDraw::Shape shape;
};
// Under Wine a part of it, for the way there and not for the functions.
constexpr DrawingCase kDrawingCases[] = {
    {"exact in perspective", ProgramTarget::kGlsl330, kExactPlacement, GlDraw::kTriangles},
#ifndef _WIN32
    {"exact", ProgramTarget::kGlsl330, kExactPlacement, GlDraw::kPoints},
    {"earliest", ProgramTarget::kGlsl330, kEarliestPlacement, GlDraw::kPoints},
    {"vulkan450", ProgramTarget::kVulkan450, kExactPlacement, GlDraw::kPoints},
    {"hlsl", ProgramTarget::kHlsl, kExactPlacement, GlDraw::kPoints},
#endif
};

TEST(ProgramTexts, DrawWhatTheFunctionsCompute) {
    GlDriver* gl = driver();
    if (gl == nullptr) {
        return;
    }
    for (const DrawingCase& test : kDrawingCases) {
        ProofSettings settings;
        settings.target = &ProgramTarget::at(test.target);
        settings.policy = test.policy;
        settings.shape = test.shape;
        ProofCounts counts;
        int faults = 0;
        for (const ShadingNodeSpec* spec : standardLibrary()) {
            // What is declared per vertex stays there, and the picture is that of its interpolation.
            const bool perVertex = test.shape == GlDraw::kTriangles && spec->name() == "vertex";
            if ((spec->nodeType() == kFunctionNode || isQuick(*gl)) && !perVertex) {
                faults += !proves(*gl, wrap(*spec), settings, counts);
                if (takesMatrices(*spec)) {
                    faults += !proves(*gl, wrap(*spec, true), settings, counts);
                }
            }
            ASSERT_LT(faults, 20);
        }
        report(test.what, counts);
        if (!isQuick(*gl)) {
            break;
        }
    }
}

// Computed as early as possible the picture is another one, but still the one of the evaluator that does
// as hardware would.
TEST(ProgramTexts, DrawWhatTheProgramEvaluatorDraws) {
    GlDriver* gl = driver();
    if (gl == nullptr) {
        return;
    }
    ProofCounts counts;
    ProofCounts unused;
    int differing = 0;
    for (const ShadingNodeSpec* spec : standardLibrary()) {
        if (spec->nodeType() != kFunctionNode) {
            continue;
        }
        const std::unique_ptr<ShadingNodeSpec> function = wrap(*spec).build();
        ProofSettings settings;
        settings.policy = kEarliestPlacement;
        const ProofScene scene(*function, GlDraw::kTriangles, 1);
        const ConversionOptions options = optionsFor(settings, scene);
        ProgramConvertor convertor(*function, options);
        ASSERT_TRUE(convertor.convert()) << convertor.errorString();
        GlPicture picture;
        ASSERT_EQ(drawConverted(*gl, convertor, scene, picture), "");
        ++counts.functions;
        // Both know the same numbers as not to be counted, and how far rounding goes.
        ProofValues values = evaluateScene(flatten(*function), scene);
        differing += !difference(values, picture, unused).empty();
        evaluateAsHardware(*function, options, scene, values);
        EXPECT_EQ(difference(values, picture, counts), "")
            << wrap(*spec).source() << convertor.vertexProgram() << convertor.fragmentProgram();
    }
    report("earliest in perspective", counts);
    std::printf("%d differ from what computing per pixel gives\n", differing);
    EXPECT_GE(differing, 100);
}

TEST(ProgramTexts, DrawWhatRandomGraphsCompute) {
    GlDriver* gl = driver();
    if (gl == nullptr) {
        return;
    }
    const unsigned first = numberFromEnvironment("QV_PROOF_SEED", 1);
#ifdef _WIN32
    const unsigned usual = 50;
#else
    const unsigned usual = isQuick(*gl) ? 500 : 40;
#endif
    const unsigned count = numberFromEnvironment("QV_PROOF_COUNT", usual);
    ProofCounts counts;
    int faults = 0;
    for (unsigned seed = first; seed < first + count && faults < 5; ++seed) {
        const ProofFunction function = randomFunction(seed, 4 + static_cast<int>(seed % 21));
        ProofSettings settings;
        settings.seed = seed;
        settings.shape = seed % 2 == 0 ? GlDraw::kTriangles : GlDraw::kPoints;
        try {
            faults += !proves(*gl, function, settings, counts);
        } catch (const Exception& exception) {
            ADD_FAILURE() << function.source() << exception.message;
        }
    }
    report("random graphs", counts);
}

} // namespace
