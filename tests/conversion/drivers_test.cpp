#include "GlDriver.h"
#ifndef _WIN32
#include "ShaderCompilers.h"
#endif

#include <gtest/gtest.h>

#include <cmath>

using namespace programTesting;

namespace {

// ---- A driver that draws what the texts say; everything else is proved with it ----

const char* const kPointVertex = R"(#version 330 core
in vec4 position;
in vec3 colour;
in int number;
uniform mat4 move;
out vec3 v_colour;
flat out int v_number;
void main() {
    v_colour = colour;
    v_number = number;
    gl_Position = move * position;
}
)";
const char* const kPointFragment = R"(#version 330 core
in vec3 v_colour;
flat in int v_number;
uniform vec2 scale;
uniform sampler2D map;
out vec4 o_colour;
void main() {
    o_colour = vec4(v_colour.xy * scale, float(v_number), texture(map, v_colour.xy).z);
    gl_FragDepth = v_colour.z;
}
)";

// Skips nothing: a native machine without a driver fails, and says what to install. Under Wine the
// driver of the other architecture may be missing; the line says so.
GlDriver* driver() {
    GlDriver* found = GlDriver::get();
#ifdef _WIN32
    if (found == nullptr) {
        printf("LEFT OUT: drawing under Wine, %s\n", GlDriver::whyMissing().c_str());
    }
#else
    EXPECT_NE(found, nullptr) << GlDriver::whyMissing();
#endif
    return found;
}

TEST(GlDriver, DrawsPointsWithAttributesUniformsAndTextures) {
    GlDriver* gl = driver();
    if (gl == nullptr) {
        return;
    }
    GlDraw scene;
    scene.vertices = 2;
    scene.width = 4;
    scene.height = 2;
    // The middles of pixels (1, 1) and (3, 0), moved there by the rows of a row-vector matrix.
    scene.attributes = {{"position", 2, {-1.25, 0.5, -0.25, -0.5}},
                        {"colour", 3, {0.25, 0.5, 0.125, 0.75, 0.5, 0.875}},
                        {"number", 1, {-7, 123456}, true}};
    scene.uniforms = {{"scale", 2, {2, 4}},
                      {"move", 4, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 1}, false, 4}};
    scene.textures = {{"map", GlTexture::k2D, 2, 1, 1, {0, 0, 8, 0, 0, 0, 4, 0}}};
    GlPicture picture;
    std::string log;
    ASSERT_TRUE(drawPair(*gl, {kPointVertex, kPointFragment}, scene, picture, log)) << log;
    const float none = GlDriver::kUntouched;
    const std::vector<float> expected = {none, none, none, none,   none, none, none, none, none, none, none,
                                         none, 1.5,  2,    123456, 4,    none, none, none, none, 0.5,  2,
                                         -7,   8,    none, none,   none, none, none, none, none, none};
    EXPECT_EQ(picture.rgba, expected);
    EXPECT_EQ(picture.depth, (std::vector<float>{1, 1, 1, 0.875F, 1, 0.125F, 1, 1}));

    scene.uniforms.pop_back();
    EXPECT_FALSE(drawPair(*gl, {kPointVertex, kPointFragment}, scene, picture, log));
    EXPECT_EQ(log, "no values for the uniform move\n");
    EXPECT_EQ(gl->link({kPointVertex, "#version 330 core\nin vec2 v_colour;\nout vec4 c;\nvoid main() { c = "
                                      "v_colour.xxyy; }\n"},
                       log),
              0U);
}

// The value at a pixel of a triangle that recedes: weights over w, normalised.
TEST(GlDriver, InterpolatesInPerspective) {
    GlDriver* gl = driver();
    if (gl == nullptr) {
        return;
    }
    GlDraw scene;
    scene.shape = GlDraw::kTriangles;
    scene.vertices = 3;
    scene.width = scene.height = 8;
    scene.attributes = {{"position", 4, {-1, -1, 0, 1, 9, -3, 0, 3, -2, 6, 0, 2}},
                        {"colour", 3, {1, 0, 0, 0, 1, 0, 0, 0, 1}},
                        {"number", 1, {4, 5, 6}, true}};
    scene.uniforms = {{"scale", 2, {1, 1}},
                      {"move", 4, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}, false, 4}};
    scene.textures = {{"map", GlTexture::k2D, 1, 1, 1, {0, 0, 0, 0}}};
    GlPicture picture;
    std::string log;
    ASSERT_TRUE(drawPair(*gl, {kPointVertex, kPointFragment}, scene, picture, log)) << log;
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) {
            // In the plane of the picture the corners lie at (-1, -1), (3, -1) and (-1, 3).
            const double b = ((x + 0.5) / 4) / 4;
            const double c = ((y + 0.5) / 4) / 4;
            const double weights[] = {(1 - b - c) / 1, b / 3, c / 2};
            const double sum = weights[0] + weights[1] + weights[2];
            const float* pixel = &picture.rgba[4 * (8 * y + x)];
            EXPECT_NEAR(pixel[0], weights[0] / sum, 1e-6);
            EXPECT_NEAR(pixel[1], weights[1] / sum, 1e-6);
            EXPECT_EQ(pixel[2], 6); // flat: the last vertex's
        }
    }
}

#ifndef _WIN32

// ---- Compilers that accept what is right and refuse what is wrong ----

struct CompilerCase {
    const char* what;
    Dialect dialect;
    ShaderPair pair;
    const char* message; // part of the log; empty: accepted
};

const char* const kBlockVertex = R"(#version 450
layout(location = 0) in vec4 position;
layout(location = 0, component = 1) out vec2 a;
layout(set = 0, binding = 0) uniform Block { mat4 move; };
void main() { gl_Position = move * position; a = gl_Position.xy + position.xy; }
)";

const CompilerCase kCompilerCases[] = {
    {"a pair", kGlsl330, {kPointVertex, kPointFragment}, ""},
    {"a varying of two types",
     kGlsl330,
     {kPointVertex,
      "#version 330 core\nin vec2 v_colour;\nout vec4 c;\nvoid main() { c = v_colour.xxyy; }\n"},
     "v_colour"},
    {"an unknown name",
     kEs300,
     {"#version 300 es\nin vec4 a_p;\nvoid main() { gl_Position = a_p; }\n",
      "#version 300 es\nprecision highp float;\nout vec4 c;\nvoid main() { c = unknown; }\n"},
     "fragment: ERROR: 0:4: 'unknown'"},
    {"no precision for a float",
     kEs300,
     {"#version 300 es\nin vec4 a_p;\nvoid main() { gl_Position = a_p; }\n",
      "#version 300 es\nout vec4 c;\nvoid main() { c = vec4(1); }\n"},
     "precision"},
    {"components of one location",
     kVulkan450,
     {kBlockVertex,
      "#version 450\nlayout(location = 0, component = 1) in vec2 a;\nlayout(location = 0) out vec4 c;\n"
      "void main() { c = a.xyxy; }\n"},
     ""},
    {"a varying without a location",
     kVulkan450,
     {kBlockVertex,
      "#version 450\nin vec2 a;\nlayout(location = 0) out vec4 c;\nvoid main() { c = a.xyxy; }\n"},
     "location"},
    {"two stages",
     kHlsl,
     {"cbuffer Block : register(b0) { row_major float4x4 move; };\n"
      "struct In { float4 position : ATTRIBUTE0; };\n"
      "struct Out { float2 a : TEXCOORD0; float4 position : SV_Position; };\n"
      "Out main(In i) {\n"
      "Out o; o.position = mul(i.position, move); o.a = o.position.xy + i.position.xy; return o; }\n",
      "struct In { float2 a : TEXCOORD0; };\n"
      "float4 main(In i) : SV_Target0 { return i.a.xyxy; }\n"},
     ""},
    {"a vector of the wrong width",
     kHlsl,
     {"float4 main(float4 p : ATTRIBUTE0) : SV_Position { return float3(p.xyz); }\n",
      "float4 main() : SV_Target0 { return float4(1, 1, 1, 1); }\n"},
     "ERROR"},
};

TEST(ReferenceCompilers, TellRightFromWrong) {
    for (const CompilerCase& test : kCompilerCases) {
        const CompiledPair compiled = compilePair(test.dialect, test.pair);
        EXPECT_EQ(compiled.log.empty(), *test.message == '\0') << test.what << ": " << compiled.log;
        EXPECT_NE(compiled.log.find(test.message), std::string::npos) << test.what << ": " << compiled.log;
    }
}

TEST(ReferenceCompilers, BringVulkanAndHlslBackToTheDriver) {
    GlDriver* gl = driver();
    ASSERT_NE(gl, nullptr);
    for (const CompilerCase& test : kCompilerCases) {
        if (test.dialect < kVulkan450 || *test.message != '\0') {
            continue;
        }
        std::string log;
        const CompiledPair compiled = compilePair(test.dialect, test.pair);
        const ShaderPair pair = toGlsl330(compiled, log);
        EXPECT_EQ(inputComponents(compiled.fragment), 2);
        GlDraw scene;
        scene.vertices = 1;
        scene.attributes = {{"attribute0", 4, {0.25, -0.5, 0, 1}}};
        std::vector<float> move = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, -0.25, 0.5, 0, 1};
        scene.blocks = {{"block0", {}}};
        scene.blocks[0].bytes.resize(64);
        std::copy_n(reinterpret_cast<const unsigned char*>(move.data()), 64, scene.blocks[0].bytes.begin());
        GlPicture picture;
        ASSERT_TRUE(drawPair(*gl, pair, scene, picture, log)) << log << pair.vertex << pair.fragment;
        EXPECT_EQ(picture.rgba, (std::vector<float>{0.25, -0.5, 0.25, -0.5})) << test.what;
    }
}

#endif

} // namespace
