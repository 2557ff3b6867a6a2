#include "conversion/HSLTextConvertor.h"
#include "conversion/HostUniforms.h"
#include "conversion/ProgramConvertor.h"

#include "SourceFile.h"
#include "core/Exception.h"
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/ShadingParser.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>

using namespace qvShadingDag;

namespace {

void read(const std::string& path) {
    ShadingParser parser;
    if (!parser.parseFile(path, false)) {
        throw Exception(parser.errorString());
    }
}

/// The function f of a source behind the standard library; the one before it is gone then.
ShadingNodeSpec& parse(const std::string& source) {
    delete ShadingNodeSpec::findSpecInLibrary("f");
    read(writeSource("convert.qvs", source));
    return *ShadingNodeSpec::findSpecInLibrary("f");
}

class Convertor : public testing::Test {
protected:
    static void SetUpTestSuite() { read(QV_STDLIB); }
    static void TearDownTestSuite() { ShadingNodeSpec::clearLibrary(); }
};

std::string converted(const std::string& source, const ProgramTarget& target = ProgramTarget::glsl330()) {
    ProgramConvertor convertor(parse(source), ConversionOptions(target));
    return convertor.convert() ? convertor.vertexProgram() + convertor.fragmentProgram()
                               : convertor.errorString();
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

/// "float a0, float a1, ..." and "a0 + a1 + ...".
std::string repeated(int count, const std::string& first, const std::string& second,
                     const std::string& separator) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += (i == 0 ? "" : separator) + first + std::to_string(i) + second;
    }
    return text;
}

std::string functionOf(int count, const std::string& type, const std::string& before,
                       const std::string& after) {
    return "float4 f(" + repeated(count, type + " a", "", ", ") + ") { return vec4(" +
           repeated(count, before + "a", after, " + ") + "); }";
}

} // namespace

TEST_F(Convertor, NamesAreThoseOfTheSourceButForReservedAndTakenOnes) {
    const struct {
        const char* source;
        const ProgramTarget& target;
        const char* expected; // a part of the text
    } kRows[] = {
        {"float4 f(float x) { float lerp = sin(x); return vec4(lerp, lerp, 0, 1); }",
         ProgramTarget::glsl330(), "float lerp = sin(v_x);"},
        {"float4 f(float x) { float lerp = sin(x); return vec4(lerp, lerp, 0, 1); }", ProgramTarget::hlsl(),
         "float lerpValue = sin(v_x);"},
        {"float4 f(float x) { float float3x3 = sin(x); return vec4(float3x3, float3x3, 0, 1); }",
         ProgramTarget::hlsl(), "float float3x3Value = sin(v_x);"},
        {"float4 f(float x) { float buffer = sin(x); return vec4(buffer, buffer, 0, 1); }",
         ProgramTarget::es300(), "float buffer = sin(v_x);"},
        {"float4 f(float x) { float buffer = sin(x); return vec4(buffer, buffer, 0, 1); }",
         ProgramTarget::vulkan450(), "float bufferValue = sin(v_x);"},
        {"float4 f(float __x_) { float a__b_ = sin(__x_); return vec4(a__b_, a__b_, 0, 1); }",
         ProgramTarget::glsl330(), "float a_b = sin(v_x);"},
        {"float4 f(float x) { float v_x = sin(x); return vec4(v_x, v_x, 0, 1); }", ProgramTarget::glsl330(),
         "float v_x_2 = sin(v_x);"},
        {"float4 f(float x) { float gl_x = sin(x); return vec4(gl_x, gl_x, 0, 1); }",
         ProgramTarget::glsl330(), "float tgl_x = sin(v_x);"},
        {"float4 f(float x) { float a = sin(x); float b = cos(a + x); a = cos(a); float a_2 = exp(a * b);"
         " return vec4(a, a, a_2, a_2); }",
         ProgramTarget::glsl330(), "float a_2 = cos(a);"},
    };
    for (const auto& row : kRows) {
        const std::string text = converted(row.source, row.target);
        EXPECT_TRUE(contains(text, row.expected)) << row.expected << "\n" << text;
        EXPECT_FALSE(contains(text, "__")) << text;
    }
}

TEST_F(Convertor, LimitsAreRefusedWithTheWordForThem) {
    const struct {
        int count;
        const char* type;
        const char* before;
        const char* after;
        const ProgramTarget& target;
        const char* expected; // in the error; empty for none
    } kRows[] = {
        {15, "float", "", "", ProgramTarget::glsl330(), ""}, // the position is the sixteenth
        {16, "float", "", "", ProgramTarget::glsl330(), "too many attributes: 17 where glsl330 has 16"},
        {15, "float4", "sin(", "@x)", ProgramTarget::glsl330(), ""},
        {15, "uniform texobj", "texCUBE(", ", {1, 2, 3})@x", ProgramTarget::es300(), ""},
        {17, "uniform texobj", "texCUBE(", ", {1, 2, 3})@x", ProgramTarget::es300(),
         "too many samplers: 17 where es300 has 16"},
    };
    for (const auto& row : kRows) {
        const std::string text =
            converted(functionOf(row.count, row.type, row.before, row.after), row.target);
        EXPECT_TRUE(row.expected[0] ? contains(text, row.expected) : contains(text, "main()")) << text;
    }
    // In vulkan450 four numbers share a location.
    const std::string many = "float4 f(" + repeated(12, "float3 a", "", ", ") + ") { return " +
                             repeated(12, "vec4(perVertex(sin(a", ")), 1)", " * ") + " * " +
                             repeated(12, "perVertex(cos(a", "@x))", " * ") + "; }";
    EXPECT_TRUE(contains(converted(many, ProgramTarget::vulkan450()),
                         "layout(location = 14, component = 3) in float v_"));
    const std::string widest = "float4 f(" + repeated(9, "float4 a", "", ", ") + ") { return " +
                               repeated(9, "perVertex(sin(a", "))", " * ") + " * " +
                               repeated(9, "perVertex(cos(a", "))", " * ") + "; }";
    for (const ProgramTarget* target : {&ProgramTarget::glsl330(), &ProgramTarget::vulkan450()}) {
        const std::string error = converted(widest, *target);
        EXPECT_TRUE(contains(error, "varying") && contains(error, "the widest is")) << error;
    }
}

TEST_F(Convertor, HostsAddSpellings) {
    const std::string source =
        "float4 shade(float4 c, float x);\n"
        "float4 f(float4 c, float x) { float4 myShade = shade(c, x + 1); return myShade * sin(x); }";
    ConversionOptions options(ProgramTarget::glsl330());
    ShadingNodeSpec& function = parse(source);
    ProgramConvertor without(function, options);
    EXPECT_FALSE(without.convert());
    EXPECT_TRUE(
        contains(without.errorString(), "convert.qvs:2: f: there is no spelling of shade(float4,float)"))
        << without.errorString();
    EXPECT_EQ(without.vertexProgram() + without.conversionString().asChar(), "");

    options.addSpelling("shade(float4, float)", "myShade($1, $2).$t",
                        "vec4 replaced() { return vec4(0.0); }");
    options.addSpelling("shade(float4, float)", "$1 * myShade($2)", "float myShade(float x) { return x; }");
    options.addSpelling("sin(float)", "sin(2.0 * $1)");
    ProgramConvertor convertor(function, options);
    ASSERT_TRUE(convertor.convert()) << convertor.errorString();
    const std::string text = convertor.vertexProgram() + convertor.fragmentProgram();
    EXPECT_TRUE(contains(text, "float myShade(float x) { return x; }\n\nvoid main()")) << text;
    EXPECT_TRUE(contains(text, " = v_c * myShade(v_x + 1.0);")) << text;
    EXPECT_TRUE(contains(text, "sin(2.0 * v_x)")) << text;
    EXPECT_FALSE(contains(text, "replaced")) << text;
    delete ShadingNodeSpec::findSpecInLibrary("shade");
}

TEST_F(Convertor, ALineOfTheTextLeadsToTheSource) {
    ShadingNodeSpec& function = parse("float4 f(float x) {\n"
                                      "    float s = sin(x);\n"
                                      "    return vec4(s, s, 0, 1);\n"
                                      "}\n");
    const std::string file = function.sourceFile();
    ProgramConvertor convertor(function);
    ASSERT_TRUE(convertor.convert());
    std::string lines; // of the fragment text: number, and the source
    for (unsigned int line = 0; line < 12; ++line) {
        const std::string source = convertor.sourceOfLine(kFragmentProgram, line);
        lines += source.empty() ? "" : std::to_string(line) + "=" + source.substr(file.size()) + " ";
    }
    EXPECT_EQ(lines, "7=:2 8=:3 ") << convertor.fragmentProgram();
    EXPECT_EQ(convertor.explainLog(
                  "0:7(12): error: no\n0(8) : warning, 10:7 stays, 0:1 too\nERROR: 0:7: '' : 0:999999999999"),
              file + ":2(12): error: no\n" + file + ":3 : warning, 10:7 stays, 0:1 too\nERROR: " + file +
                  ":2: '' : 0:999999999999");
    EXPECT_EQ(convertor.sourceOfLine(kVertexProgram, 4000000000U), "");
}

TEST_F(Convertor, FurtherTargetsAreTheSameAsConvertedAnew) {
    ShadingNodeSpec& function =
        parse("float4 f(float3 n, uniform float k) { return vec4(normalize(n) * exp(k), 1); }");
    ProgramConvertor convertor(function, ConversionOptions(ProgramTarget::glsl330()));
    EXPECT_FALSE(convertor.convertFor(ProgramTarget::hlsl()));
    ASSERT_TRUE(convertor.convert());
    ASSERT_TRUE(convertor.convertFor(ProgramTarget::hlsl()));
    ProgramConvertor other(function, ConversionOptions(ProgramTarget::hlsl()));
    ASSERT_TRUE(other.convert());
    EXPECT_STREQ(convertor.conversionString().asChar(), other.conversionString().asChar());
    EXPECT_EQ(convertor.programInterface().toJson(), other.programInterface().toJson());

    const std::string path = QV_TEST_OUTPUT "both_programs.txt";
    ASSERT_TRUE(convertor.writeToFile(path.c_str()));
    std::ifstream file(path, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), convertor.conversionString().asChar());
    EXPECT_FALSE(convertor.writeToFile(QV_TEST_OUTPUT "nowhere/programs.txt"));
    EXPECT_FALSE(convertor.convertFor(ProgramTarget::cg()));
    EXPECT_FALSE(convertor.writeToFile(path.c_str()));
}

TEST_F(Convertor, HostUniformsComputeWhatDependsOnWhatChanged) {
    ShadingNodeSpec& function =
        parse("float4 f(float3 n, uniform float3 light, uniform clampu tint, uniform int count, matrix3 m,\n"
              "         uniform bool on) {\n"
              "    float3 doubled = light * 2;\n"
              "    float3 dimmed = doubled * toFloat(tint);\n"
              "    float3 all = (n + doubled) * m * toFloat(count) + select(on, dimmed, light);\n"
              "    return vec4(normalize(all), 1);\n"
              "}");
    ProgramConvertor convertor(function, ConversionOptions(ProgramTarget::vulkan450()));
    ASSERT_TRUE(convertor.convert()) << convertor.errorString();
    HostUniforms host(convertor.program());
    const auto state = [&host](bool changedOnly) {
        std::string text;
        for (const HostUniform& uniform : host.values()) {
            if (uniform.changed || !changedOnly) {
                text += uniform.name + (uniform.known ? "=" : "~") + uniform.value.toString() + "; ";
            }
        }
        return text;
    };
    host.values(); // from here on, changes
    EXPECT_TRUE(host.set("light", {1, 0.5, 0.25}));
    EXPECT_EQ(state(true), "u_doubled=2 1 0.5; u_select~1 0.5 0.25; ");
    EXPECT_TRUE(host.set("light", {1, 0.5, 0.25}));
    EXPECT_EQ(state(true), "");
    EXPECT_TRUE(host.set("tint", 7));
    EXPECT_TRUE(host.set("on", ShadingValue(kBool, {1})));
    EXPECT_TRUE(host.set("count", ShadingValue(kInt, {-3})));
    EXPECT_EQ(state(true), "u_toFloat=-3; u_select=2 1 0.5; ");
    EXPECT_TRUE(host.set("m", ShadingValue(kMatrix3, {1, 2, 3, 4, 5, 6, 7, 8, 9})));
    EXPECT_TRUE(host.set("modelViewProjection", ShadingValue(kMatrix4, {1})));
    EXPECT_FALSE(host.set("n", {1, 2, 3}));        // per vertex
    EXPECT_FALSE(host.set("nothing", 1));          // no input
    EXPECT_FALSE(host.set("light", {1, 2, 3, 4})); // too wide
    EXPECT_EQ(state(true), "u_modelViewProjection=1 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0; u_m=1 2 3 4 5 6 7 8 9; ");

    const std::vector<unsigned char> block = host.block();
    ASSERT_EQ(block.size(), static_cast<std::size_t>(convertor.programInterface().blockSize));
    const auto number = [&block](int offset) {
        float value = 0;
        std::memcpy(&value, block.data() + offset, sizeof(value));
        return value;
    };
    const int matrix = convertor.programInterface().uniforms[1].offset;
    EXPECT_EQ(matrix, 64);
    EXPECT_EQ(number(matrix + 8), 3);
    EXPECT_EQ(number(matrix + 16), 4); // each row on 16 bytes
    EXPECT_EQ(number(matrix + 40), 9);
    EXPECT_TRUE(HostUniforms(ConvertedProgram()).values().empty());
}

TEST_F(Convertor, BlocksCarryAWholeProgram) {
    ShadingNodeSpec& function =
        parse("void f(float3 n, clampu3 tint, texobj map, float2 uv, out float4 color, out float depth) {\n"
              "    depth = 1;\n"
              "    color = vec4(normalize(n) * toFloat(tint) + f3tex2D(map, uv), -uv@x);\n"
              "}");
    EXPECT_EQ(function.numOutputs(), 2);
    HSLTextConvertor convertor(function);
    EXPECT_FALSE(convertor.writeToFile(QV_TEST_OUTPUT "cg.txt"));
    ASSERT_TRUE(convertor.convert()) << convertor.errorString();
    ASSERT_TRUE(convertor.convert()) << convertor.errorString(); // again, in place of the first
    const std::string text = convertor.conversionString().asChar();
    for (const char* part : {
             "    float3 vertexPosition;\n    float3 a_n;\n    float3 a_tint;\n    float2 a_uv;\n",
             "\tfloat3 tint = clamp(inputConnector.a_tint, 0.0, 1.0) /* ",
             "\toutputConnector.HPOS = mul(float4(inputConnector.vertexPosition, 1.0), "
             "u_modelViewProjection);\n",
             "\t, texobj2D u_map)\n",
             "f3tex2D(u_map, inputConnector.v_uv)",
             "\toutputConnector.depth = 1.0",
         }) {
        EXPECT_TRUE(contains(text, part)) << part << "\n" << text;
    }
    EXPECT_EQ(convertor.programInterface().attributes[0].name, "vertexPosition");
    convertor.cleanup();
    EXPECT_EQ(convertor.vertexProgram() + convertor.conversionString().asChar(), "");
}
