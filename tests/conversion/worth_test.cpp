// What the programs are worth beside those that a careful person writes: the surfaces of
// tests/data/surfaces, each written in the shading language and by hand in GLSL for Vulkan.

#include "conversion/ProgramConvertor.h"
#include "conversion/ProofFunctions.h"
#include "conversion/ShaderCompilers.h"
#include "shadingdag/ShadingParser.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <sstream>

using namespace programTesting;

namespace {

constexpr const char* kSurfaces[] = {"highlight", "spotlight", "metal",     "clay",   "drawing", "cartoon",
                                     "bumps",     "rock",      "landscape", "bricks", "velvet"};

std::string readFile(const std::string& name) {
    std::ifstream file(std::string(QV_TEST_DATA) + "surfaces/" + name, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

TEST(Worth, NearlyTheInstructionsAndNoMoreVaryingsThanByHand) {
    ASSERT_FALSE(standardLibrary().empty());
    double logarithms = 0;
    for (const std::string name : kSurfaces) {
        ShadingParser parser;
        ASSERT_TRUE(parser.parseFile(std::string(QV_TEST_DATA) + "surfaces/" + name + ".qvs", false))
            << parser.errorString();
        ProgramConvertor convertor(*ShadingNodeSpec::findSpecInLibrary(name),
                                   ConversionOptions(ProgramTarget::vulkan450()));
        ASSERT_TRUE(convertor.convert()) << convertor.errorString();
        const ShaderPair texts{convertor.vertexProgram(), convertor.fragmentProgram()};
        const CompiledPair ours = compilePair(kVulkan450, texts);
        const CompiledPair byHand =
            compilePair(kVulkan450, {readFile(name + ".vert"), readFile(name + ".frag")});
        ASSERT_EQ(ours.log + byHand.log, "") << name;
        const auto count = [](const CompiledPair& pair) {
            const std::size_t vertex = instructionsAfterOptimizing(pair.vertex);
            const std::size_t fragment = instructionsAfterOptimizing(pair.fragment);
            EXPECT_GT(std::min(vertex, fragment), 0U);
            return static_cast<double>(vertex + fragment);
        };
        const double ratio = count(ours) / count(byHand);
        const int components = inputComponents(ours.fragment);
        const int componentsByHand = inputComponents(byHand.fragment);
        std::printf("%-10s %3.0f instructions, by hand %3.0f: %.3f; %2d varying components, by hand %2d\n",
                    name.c_str(), count(ours), count(byHand), ratio, components, componentsByHand);
        EXPECT_LE(ratio, 1.2) << texts.vertex << texts.fragment;
        EXPECT_LE(components, componentsByHand) << texts.vertex << texts.fragment;
        logarithms += std::log(ratio);
    }
    const double mean = std::exp(logarithms / std::size(kSurfaces));
    std::printf("geometric mean %.3f\n", mean);
    EXPECT_LE(mean, 1.05);
}

} // namespace
