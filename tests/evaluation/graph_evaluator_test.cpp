#include "evaluation/GraphEvaluator.h"

#include "SourceFile.h"
#include "core/Exception.h"
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/ShadingParser.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

using namespace qvShadingDag;

namespace {

using Value = ShadingValue;
using Numbers = std::vector<double>;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

void read(const std::string& path) {
    ShadingParser parser;
    if (!parser.parseFile(path, false)) {
        throw Exception(parser.errorString());
    }
}

// The functions of a test, read behind a few declarations.
class Evaluation : public testing::Test {
protected:
    ~Evaluation() override { ShadingNodeSpec::clearLibrary(); }

    static const ShadingNodeSpec& parse(const std::string& source, const std::string& name = "f") {
        ShadingNodeSpec::clearLibrary();
        read(writeSource("evaluation.qvs", R"(
float operator+(float a, float b);   float3 operator+(float3 a, float3 b);
float operator-(float a, float b);   float3 operator*(float3 a, float b);
float operator/(float a, float b);   float operator@(float3 value, constant int pattern);
float3 operator@(float3 value, constant int3 pattern);
float dot(float3 a, float3 b);       float3 vec3(float x, float y, float z);
float toFloat(int x);                float modf(float x, out float whole);
matrix3 mat3(float3 row0, float3 row1, float3 row2);  matrix3 transpose(matrix3 m);
float3 row(matrix3 m, constant float index);          float3 column(matrix3 m, constant float index);
fragment float ddx(float x);         fragment float ddy(float x);
fragment float4 tex2D(texobj map, float2 uv);         fragment float4 tex3D(texobj map, float3 uvw);
float shade(float3 n, float power);  clampu pale(float x);
)" + source));
        return *ShadingNodeSpec::findSpecInLibrary(name);
    }

    static std::string thrownBy(const std::function<void()>& action) {
        try {
            action();
        } catch (const Exception& error) {
            return error.message;
        }
        return "nothing";
    }

    static Numbers columnOf(const GraphEvaluator& evaluator, std::size_t output = 0, int component = 0) {
        const auto column = evaluator.outputColumn(output, component);
        return {column.begin(), column.end()};
    }
};

TEST_F(Evaluation, TakesDifferencesWithinQuads) {
    GraphEvaluator evaluator(
        parse("void f(float x, out float dx, out float dy) { dx = ddx(x); dy = ddy(x); }"));
    const Numbers x = {1, 4, 9, 16, 25, 36};
    evaluator.set("x", {x});
    evaluator.evaluate(5);
    EXPECT_EQ(columnOf(evaluator, 0), Numbers({3, 3, 7, 7, 0}));
    EXPECT_EQ(columnOf(evaluator, 1), Numbers({8, 12, 8, 12, 0}));
    evaluator.evaluate(6);
    EXPECT_EQ(columnOf(evaluator, 0), Numbers({3, 3, 7, 7, 11, 11}));
    EXPECT_EQ(columnOf(evaluator, 1),
              Numbers({8, 12, 8, 12, 11, 0})); // the last point stands for the upper two
    evaluator.set("x", 7);
    evaluator.evaluate(2);
    EXPECT_EQ(columnOf(evaluator, 0), Numbers({0, 0}));
}

TEST_F(Evaluation, GivesLookupsTheChangeOfTheirCoordinates) {
    GraphEvaluator evaluator(parse("float4 g(texobj map, float2 uv) { return tex2D(map, uv); }\n"
                                   "float4 f(texobj map, float2 uv) { return g(map, uv); }"));
    EXPECT_EQ(evaluator.inputs()[0].textureKinds, std::vector<TextureKind>{kTexture2D});
    evaluator.set("map", [](const TextureLookup& lookup, double(&texel)[4]) {
        texel[0] = lookup.dx[0];
        texel[1] = lookup.dx[1];
        texel[2] = lookup.dy[0];
        texel[3] = lookup.dy[1];
    });
    const Numbers u = {0, 0.25, 1, 2};
    const Numbers v = {0, 0.5, 0.75, 8};
    evaluator.set("uv", {u, v});
    evaluator.evaluate(4);
    EXPECT_EQ(evaluator.output(0, 1).toString(), "0.25 0.5 1.75 7.5");
    EXPECT_EQ(evaluator.output(0, 2).toString(), "1 7.25 1 0.75");
}

TEST_F(Evaluation, SharesColumnsOfRearrangedValues) {
    GraphEvaluator evaluator(parse(
        "void f(float a, float3 u, int3 order, out float mixed, out float3 turned, out float3 chosen) {\n"
        "    mixed = dot(vec3(a, u@z, 2), u@yxz);\n"
        "    matrix3 m = mat3(u, vec3(a, 4, 5), u@zzz);\n"
        "    turned = row(transpose(m), 1) + column(m, 2);\n"
        "    chosen = vec3(a, 2, u@x) + u;\n"
        "}"));
    Numbers a(300);
    for (std::size_t i = 0; i < a.size(); ++i) {
        a[i] = static_cast<double>(i);
    }
    evaluator.set("a", {a});
    evaluator.set("u", {10, 20, 30});
    evaluator.evaluate(a.size());
    EXPECT_EQ(evaluator.output(0, 299).toString(), "6340");      // 299 * 20 + 30 * 10 + 2 * 30 ...
    EXPECT_EQ(evaluator.output(1, 299).toString(), "50 9 60");   // (20, 4, 30) + (30, 5, 30)
    EXPECT_EQ(evaluator.output(2, 130).toString(), "140 22 40"); // (130, 2, 10) + u
    EXPECT_FALSE(evaluator.inputs()[2].isRead);
}

TEST_F(Evaluation, DeliversWhatIsGiven) {
    const struct {
        Value value;
        const char* text; // as a program receives it, in full
    } rows[] = {
        {0.1, "0.100000001"},
        {{1, -0.0, 1e-50}, "1 -0 0"},
        {{1e300, -1e300, kNan, -kNan}, "inf -inf nan nan"},
        {{kClampu2, {-3, 0.1}}, "0 0.100000001"},
        {{kClampu, {kNan}}, "nan"},
        {{kInt4, {1234567890, -7.9, 3e9, -3e9}}, "1234567890 -7 2147483647 -2147483648"},
        {{kInt, {kNan}}, "0"},
        {{kBool, {-2}}, "true"},
        {{kBool, {0}}, "false"},
        {{kMatrix2, {1, 2, 1.0 / 3, 1e10}}, "1 2 0.333333343 1e+10"},
        {{kTexObj, {1}}, ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.value.delivered().toString(), row.text);
        EXPECT_EQ(row.value.delivered().type, row.value.type);
    }
    // In columns as in single values, of doubles as of floats.
    GraphEvaluator evaluator(parse("void f(clampu c, int i, bool b, out clampu p, out int q, out bool r)"
                                   "{ p = c; q = i; r = b; }"));
    const Numbers numbers = {-3, 0.1, 7.9};
    for (const char* name : {"c", "i", "b"}) {
        evaluator.set(name, {numbers});
    }
    evaluator.evaluate(3);
    const std::vector<float> floats(numbers.begin(), numbers.end());
    for (const bool fromFloats : {false, true}) {
        EXPECT_EQ(columnOf(evaluator, 0), Numbers({0, 0.1F, 1})) << fromFloats;
        EXPECT_EQ(columnOf(evaluator, 1), Numbers({-3, 0, 7})) << fromFloats;
        EXPECT_EQ(columnOf(evaluator, 2), Numbers({1, 1, 1})) << fromFloats;
        for (const char* name : {"c", "i", "b"}) {
            evaluator.set(name, {floats});
        }
        evaluator.evaluate(3);
    }
    EXPECT_EQ(thrownBy([&] { evaluator.evaluate(4); }), "A column of input 'c' has 3 numbers for 4 points");
}

TEST_F(Evaluation, RoundsEveryStepToFloatWhereAsked) {
    GraphEvaluator evaluator(parse("void f(float a, int i, out float s, out float t)"
                                   "{ s = (a + 0.00000001) - a; t = toFloat(i) + 0; }"));
    const Numbers a(5, 1.0);
    evaluator.set("i", Value(kInt, {16777217}));
    for (const bool inColumns : {false, true}) {
        inColumns ? evaluator.set("a", {a}) : evaluator.set("a", 1);
        evaluator.setRoundsToFloat(false);
        evaluator.evaluate();
        EXPECT_NEAR(evaluator.output(0).c[0], 1e-8, 1e-15);
        EXPECT_EQ(evaluator.output(1).c[0], 16777217);
        evaluator.setRoundsToFloat(true);
        evaluator.evaluate(5);
        EXPECT_EQ(columnOf(evaluator, 0), Numbers(5, 0.0));
        EXPECT_EQ(columnOf(evaluator, 1), Numbers(5, 16777216.0));
    }
}

TEST_F(Evaluation, UsesTheHostsKernels) {
    GraphEvaluator evaluator(
        parse("float f(float a, float3 u) { return shade(vec3(a, 1, u@y), 3) + shade(u, a); }\n"));
    EXPECT_EQ(thrownBy([&] { evaluator.addKernel("shade(float4,float)", {}); }),
              "Function f calls no primitive shade(float4,float)");
    evaluator.set("u", {10, 20, 30});
    evaluator.set("a", 2);
    EXPECT_EQ(thrownBy([&] { evaluator.evaluate(); }), "There is no kernel for shade(float3,float)");
    evaluator.addKernel("shade(float3, float)", [](auto arguments, auto results, std::size_t points) {
        ASSERT_EQ(arguments.size(), 4U);
        for (std::size_t i = 0; i < points; ++i) {
            results[0][i] =
                1000 * arguments[0][i] + 100 * arguments[1][i] + 10 * arguments[2][i] + arguments[3][i];
        }
    });
    evaluator.evaluate();
    EXPECT_EQ(evaluator.output(0).c[0], 2303 + 12302);
    Numbers a(200, 2);
    evaluator.set("a", {a});
    evaluator.evaluate(200);
    EXPECT_EQ(columnOf(evaluator), Numbers(200, 2303 + 12302));

    // A clampu is clamped whoever computes it, and a kernel may take the place of qv's own.
    GraphEvaluator pale(parse("clampu f(float a) { return pale(a + 1); }"));
    pale.addKernel("pale(float)",
                   [](auto arguments, auto results, std::size_t) { results[0][0] = 3 * arguments[0][0]; });
    pale.addKernel("operator+(float,float)", [](auto, auto results, std::size_t) { results[0][0] = 0.25; });
    pale.set("a", 5);
    pale.evaluate();
    EXPECT_EQ(pale.output(0).c[0], 0.75);
    pale.addKernel("operator+(float,float)", [](auto, auto results, std::size_t) { results[0][0] = 9; });
    pale.evaluate();
    EXPECT_EQ(pale.output(0).c[0], 1);
}

TEST_F(Evaluation, KeepsTheValuesOfNodesWhereAsked) {
    GraphEvaluator evaluator(parse("vertex float late(float a) { return a; }\n"
                                   "float f(float unread, float a) { float w; float p = modf(a, w); "
                                   "return p + w + late(a) + (w + w - (w + w)) + 0.5; }"));
    evaluator.set("a", 2.25);
    evaluator.evaluate();
    EXPECT_EQ(thrownBy([&] { evaluator.nodeValue(0); }), "The value was not kept");
    evaluator.setKeepsNodeValues(true);
    evaluator.evaluate();
    std::string text;
    for (std::size_t i = 0; i < evaluator.numNodes(); ++i) {
        text += evaluator.operationOfNode(i);
        const auto values = evaluator.valuesOfNode(i);
        for (std::size_t v = 0; v < values.size(); ++v) {
            text += " " + values[v].name + "=" + evaluator.nodeValue(i, v).toString();
        }
        text += evaluator.originOfNode(i) ? "; " : " without origin; ";
    }
    EXPECT_EQ(text, "a output=2.25; modf(float,float) output=0.25 whole=2; "
                    "operator+(float,float) output=2.25; identity output=2.25; "
                    "operator+(float,float) output=4.5; operator+(float,float) output=4; "
                    "operator-(float,float) output=0; operator+(float,float) output=4.5; "
                    "0.5 output=0.5; operator+(float,float) output=5; ");
}

TEST_F(Evaluation, SaysWhatIsMissingOrWrong) {
    GraphEvaluator evaluator(parse("void f(float3 n, texobj map, float unread, out float p, out float4 q)"
                                   "{ p = dot(n, n); q = tex2D(map, {0, 0}); }"));
    const Numbers two = {1, 2};
    const struct {
        std::function<void()> action;
        const char* message;
    } rows[] = {
        {[&] { evaluator.set("m", 1); },
         "Function f has no input 'm': it has float3 n, texobj map, float unread"},
        {[&] {
             evaluator.set("n", {1, 2});
         },
         "Input 'n' is a float3, not a float2"},
        {[&] { evaluator.set("n", checkerTexture()); }, "Input 'n' is a float3, not a map"},
        {[&] { evaluator.set("map", Texture()); }, "Input 'map' was given an empty map"},
        {[&] { evaluator.set("map", 1); }, "Input 'map' is a texobj, not a float"},
        {[&] { evaluator.set("map", Value(kTexObj, {})); }, "Input 'map' is a texobj: it takes a map"},
        {[&] {
             evaluator.set("n", {two, two});
         },
         "Input 'n' is a float3 and takes 3 columns, not 2"},
        {[&] { evaluator.evaluate(); }, "Input 'n' has no value"},
        {[&] {
             evaluator.set("n", {two, two, two});
         },
         "nothing"},
        {[&] { evaluator.evaluate(); }, "Input 'map' has no value"},
        {[&] { evaluator.set("map", whiteTexture()); }, "nothing"},
        {[&] { evaluator.evaluate(3); }, "A column of input 'n' has 2 numbers for 3 points"},
        {[&] { evaluator.output(0); }, "There is no such point"},
        {[&] { evaluator.evaluate(2); }, "nothing"},
        {[&] { evaluator.output(0, 2); }, "There is no such point"},
        {[&] { evaluator.output(2); }, "There is no such output"},
        {[&] { evaluator.outputColumn(1, 4); }, "There is no such column"},
        {[&] { evaluator.evaluate(0); }, "nothing"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(thrownBy(row.action), row.message);
    }
    GraphEvaluator partial(parse("void f(float a, out float p, out float q) { p = a; }"));
    partial.set("a", 1);
    EXPECT_EQ(thrownBy([&] { partial.evaluate(); }), "Output 'q' of f is not connected");
    EXPECT_EQ(thrownBy([&] { partial.output(1); }), "The output is not connected");
    GraphEvaluator whole(parse("float f(float a) { return a; }"));
    whole.set("a", 1);
    EXPECT_EQ(thrownBy([&] { whole.evaluate(std::numeric_limits<std::size_t>::max() / 4); }).substr(0, 21),
              "There is no room for ");
}

// A chain and a fan: no recursion, and every value as long as it is needed.
TEST_F(Evaluation, TakesGraphsOfAnySize) {
    parse("float f(float a) { return a; }");
    constexpr int kNodes = 100000;
    std::unique_ptr<ShadingNodeSpec> graph(ShadingNodeSpec::createNew(kFunctionNode));
    const ShadingAttribute output = *graph->addOutput(kFloat, "output", CompFreqRange());
    const ShadingAttribute a = *graph->addInput(kFloat, "a", CompFreqRange());
    std::vector<ShadingAttribute> fan;
    ShadingAttribute value = a;
    for (int i = 0; i < kNodes; ++i) {
        value = ShadingAttribute(graph->addInternalNode("operator+", {value, a}), "output");
        if (i % 1000 == 0) {
            fan.push_back(value);
        }
    }
    for (const ShadingAttribute& early : fan) {
        value = ShadingAttribute(graph->addInternalNode("operator-", {value, early}), "output");
    }
    graph->connectOutput(value, output);
    GraphEvaluator evaluator(*graph);
    const Numbers numbers(200, 1.0);
    evaluator.set("a", {numbers});
    evaluator.evaluate(200);
    // 100001 less the sum of 2 + 1000 i for i from 0 to 99.
    EXPECT_EQ(columnOf(evaluator), Numbers(200, 100001 - 200 - 1000 * 4950.0));
}

TEST(Textures, AreReadAsTheyAreDescribed) {
    // Two columns and three rows, the lowest first: red is 10 row + column, alpha 1.
    std::vector<float> texels;
    for (int i = 0; i < 6; ++i) {
        texels.insert(texels.end(), {static_cast<float>(10 * (i / 2) + i % 2), 0.5F,
                                     i == 5 ? std::numeric_limits<float>::quiet_NaN() : 0, 1});
    }
    const Texture picture = pictureTexture(2, 3, texels.data());
    const Texture checker = checkerTexture();
    const struct {
        const Texture* texture;
        TextureKind kind;
        double u, v, w, red;
    } rows[] = {
        // The middles of texels, between two, across the edges, far away.
        {&picture, kTexture2D, 0.25, 0.5, 0, 10},
        {&picture, kTexture2D, 0.75, 1 / 6.0, 0, 1},
        {&picture, kTexture2D, 0.5, 0.5, 0, 10.5},
        {&picture, kTexture2D, 0.25, 1.0 / 3, 0, 5},
        {&picture, kTexture2D, 0, 0.5, 0, 10.5},
        {&picture, kTexture2D, 0.25, 0, 0, 10},
        {&picture, kTexture2D, -7.75, 5.5, 0, 10},
        {&picture, kTexture1D, 0.75, 99, 99, 1},
        {&picture, kTextureRECT, 0.5, 1.5, 0, 10},
        {&picture, kTextureRECT, 1, 2.5, 0, 20.5},
        {&picture, kTextureRECT, 3.5, -0.5, 0, 21},
        {&picture, kTexture2D, kNan, 0.5, 0, kNan},
        {&picture, kTexture2D, 0.5, kInf, 0, kNan},
        {&picture, kTexture3D, 0, 0, 0, kNan},
        {&picture, kTextureCUBE, 0, 0, 1, kNan},
        {&checker, kTexture1D, 0, 9, 9, 0},
        {&checker, kTexture1D, 0.125, 9, 9, 1},
        {&checker, kTexture2D, 0.124, 0.126, 0, 1},
        {&checker, kTexture2D, -0.01, 0, 0, 1},
        {&checker, kTexture2D, -0.01, -0.01, 0, 0},
        {&checker, kTexture3D, 0.2, 0.2, 0.2, 1},
        {&checker, kTextureRECT, 1.5, 0.5, 0, 1},
        {&checker, kTextureRECT, 1.5, 3.5, 0, 0},
        {&checker, kTextureCUBE, 0, 0, 1, 0},         // cells 4, 4 and 8
        {&checker, kTextureCUBE, 0.1, -0.5, 2.01, 1}, // cells 4, 3 and 8
    };
    for (const auto& row : rows) {
        double texel[4] = {-1, -1, -1, -1};
        (*row.texture)({row.kind, {row.u, row.v, row.w}, {}, {}}, texel);
        const std::string what = std::to_string(row.kind) + ": " + std::to_string(row.u) + " " +
                                 std::to_string(row.v) + " " + std::to_string(row.w);
        EXPECT_TRUE(std::isnan(row.red) ? std::isnan(texel[0]) : std::fabs(texel[0] - row.red) < 1e-12)
            << what << " gives " << texel[0];
    }
    double texel[4] = {};
    picture({kTexture2D, {0.25, 5.0 / 6, 0}, {}, {}}, texel); // beside one that holds not-a-number
    EXPECT_EQ(texel[2], 0);
    for (const Texture& nothing : {pictureTexture(0, 3, texels.data()), pictureTexture(2, 3, nullptr)}) {
        nothing({}, texel);
        EXPECT_EQ(texel[3], 0);
    }
    whiteTexture()({}, texel);
    EXPECT_EQ(texel[3], 1);
}

} // namespace
