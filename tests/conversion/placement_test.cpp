#include "conversion/PlacedProgram.h"

#include "SourceFile.h"
#include "core/Exception.h"
#include "shadingdag/ShadingNode.h"
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/ShadingParser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

using namespace qvShadingDag;

namespace {

using Index = PlacedProgram::Index;

void read(const std::string& path) {
    ShadingParser parser;
    if (!parser.parseFile(path, false)) {
        throw Exception(parser.errorString());
    }
}

/// Reads the source behind the standard library and gives the function f; the f and g that were read
/// before are gone then.
ShadingNodeSpec& parse(const std::string& source) {
    for (const char* name : {"f", "g"}) {
        while (const ShadingNodeSpec* old = ShadingNodeSpec::findSpecInLibrary(name)) {
            delete old;
        }
    }
    read(writeSource("placement.qvs", source));
    return *ShadingNodeSpec::findSpecInLibrary("f");
}

std::string shortName(const PlacedProgram& placed, Index n) {
    const ShadingNode* origin = placed.flat.nodes[n].origin;
    if (origin && !origin->variableName().empty()) {
        return origin->variableName();
    }
    const std::string operation = operationText(placed.flat, n);
    return operation.substr(operation.rfind("operator", 0) == 0 ? 8 : 0,
                            operation.find('(') - (operation.rfind("operator", 0) == 0 ? 8 : 0));
}

/// "n:F *:V | uv v": calls by variable or function with the first letter of their level, and what
/// crosses to the fragment program; "=" before what is hoisted, "'" behind what travels flat.
std::string textOf(const PlacedProgram& placed) {
    std::string text;
    for (Index n = 0; n < placed.flat.nodes.size(); ++n) {
        const FlatProgram::NodeKind kind = placed.flat.nodes[n].kind;
        if (kind == FlatProgram::kCall || kind == FlatProgram::kIdentity) {
            const char level = "-CUVF"[placed.places[n].level];
            text += shortName(placed, n) + ":" + level + " ";
        }
    }
    text += "|";
    for (const PlacedProgram::Crossing& crossing : placed.crossings) {
        const std::string name = shortName(placed, placed.flat.valueNode[crossing.value]);
        switch (crossing.carrier) {
        case PlacedProgram::kHoisted:
            text += " =" + name;
            break;
        case PlacedProgram::kVarying:
            text += " " + name;
            break;
        case PlacedProgram::kFlatVarying:
            text += " " + name + "'";
            break;
        default:
            break;
        }
    }
    return text;
}

std::string placedText(const std::string& source, const PlacementOptions& options = {}) {
    ShadingNodeSpec& function = parse(source);
    try {
        return textOf(placeFunction(function, options));
    } catch (const PlacementFailure& failure) {
        return failure.message;
    }
}

class PlacementTest : public testing::Test {
protected:
    PlacementTest() { read(QV_STDLIB); }
    ~PlacementTest() override { ShadingNodeSpec::clearLibrary(); }
};

struct Row {
    const char* rule;
    const char* source;
    const char* exact;
    const char* earliest;
};

TEST_F(PlacementTest, smallGraphsFollowTheRules) {
    const Row rows[] = {
        {"a value runs at the latest level of its arguments; uniforms are hoisted",
         R"(float4 f(uniform float3 a, vertex float3 b) { float3 u = a * a; float3 v = u + b; return
            vec4(v, 1); })",
         "u:U v:V vec4:V | =u vec4", "u:U v:V vec4:V | =u vec4"},
        {"what is not affine runs per fragment where its range reaches that far",
         R"(float4 f(vertex float3 a, float3 b) { float3 n = normalize(a); float3 m = normalize(b);
            return vec4(n + m, 1); })",
         "n:V m:F +:F vec4:F | b n", "n:V m:V +:V vec4:V | vec4"},
        {"a product is affine in one factor at a time",
         R"(float4 f(float3 a, float3 b, uniform float3 u) { float3 p = a * u; float3 q = a * b;
            return vec4(normalize(p) + q, 1); })",
         "p:F normalize:F q:F +:F vec4:F | a b", "p:V normalize:V q:V +:V vec4:V | vec4"},
        {"mix is affine in its ends", R"(float4 f(float3 a, float3 b) { return vec4(mix(a, b, 0.5), 1); })",
         "mix:V vec4:V | vec4", "mix:V vec4:V | vec4"},
        {"mix is affine in its share",
         R"(float4 f(uniform float3 a, float t) { return vec4(mix(a, {1, 1, 1}, t), 1); })",
         "mix:V vec4:V | vec4", "mix:V vec4:V | vec4"},
        {"mix is not affine in both",
         R"(float4 f(float3 a, float t) { return vec4(mix(a, {1, 1, 1}, t), 1); })", "mix:F vec4:F | a t",
         "mix:V vec4:V | vec4"},
        {"the square of a value is not affine in it", R"(float4 f(float3 a) { return vec4(a * a, 1); })",
         "*:F vec4:F | a", "*:V vec4:V | vec4"},
        {"a level declared for the result of a function is a floor for what depends on its arguments",
         R"(fragment float3 g(float3 a) { return 2 * a + exp2(1); } float4 f(float3 a) { return
            vec4(g(a), 1); })",
         "*:F exp2:C +:F vec4:F | a", "*:F exp2:C +:F vec4:F | a"},
        {"a passed argument becomes an identity with the floor",
         R"(vertex float3 g(float3 a) { return a; } float4 f(uniform float3 a) { return vec4(g(a), 1);
            })",
         "identity:V vec4:V | vec4", "identity:V vec4:V | vec4"},
        {"the upper end of a declaration has no influence",
         R"(vertex float3 g(float3 a) { return normalize(a); } float4 f(float3 a) { return vec4(g(a),
            1); })",
         "normalize:F vec4:F | a", "normalize:V vec4:V | vec4"},
        {"the level of the placed function's own result moves nothing",
         R"(fragment float4 f(vertex float3 a) { return vec4(a, 1); })", "vec4:V | vec4", "vec4:V | vec4"},
        {"what the position needs stays at the vertex; what the colour needs as well is split where "
         "interpolation would change it",
         R"(void f(float3 a, out vertex float4 position, out float4 color) { float3 n = normalize(a);
            float3 w = n + a; position = vec4(w, 1); color = vec4(w, 0); })",
         "n:V n:F w:V w:F position:V color:F | a", "n:V w:V position:V color:V | color"},
        {"what is affine is not split",
         R"(void f(float3 a, out vertex float4 position, out float4 color) { float3 w = a * 2;
            position = vec4(w, 1); color = vec4(w, 0); })",
         "w:V position:V color:V | color", "w:V position:V color:V | color"},
        {"a perVertex keeps its arguments and itself at the vertex",
         R"(float4 f(float3 a) { float3 n = perVertex(normalize(a)); return vec4(n * n, 1); })",
         "normalize:V n:V *:F vec4:F | n", "normalize:V n:V *:V vec4:V | vec4"},
        {"what a perVertex and the colour need is split",
         R"(float4 f(float3 a) { float3 n = normalize(a); return vec4(perVertex(n) * n, 1); })",
         "n:V n:F perVertex:V *:F vec4:F | a perVertex", "n:V perVertex:V *:V vec4:V | vec4"},
        {"a perVertex of a uniform is at the vertex and not hoisted",
         R"(float4 f(uniform float3 a) { return vec4(perVertex(a), 1); })", "perVertex:V vec4:V | vec4",
         "perVertex:V vec4:V | vec4"},
        {"perFragment is a floor", R"(float4 f(float3 a) { return vec4(perFragment(a) * 2, 1); })",
         "perFragment:F *:F vec4:F | a", "perFragment:F *:F vec4:F | a"},
        {"an int that differs from vertex to vertex is affine in nothing that interpolates",
         R"(float4 f(int i, float3 a) { float x = toFloat(i); int j = i * i; return vec4(a * x,
            toFloat(j)); })",
         "x:F *:F j:F toFloat:F vec4:F | i' a", "x:V *:V j:V toFloat:V vec4:V | vec4"},
        {"a condition that differs from vertex to vertex chooses per fragment",
         R"(float4 f(bool b, float3 a) { return vec4(select(b, a, 2 * a), 1); })",
         "*:F select:F vec4:F | b' a", "*:V select:V vec4:V | vec4"},
        {"ints of ints commute with crossing",
         R"(float4 f(int i) { int j = i % i; int k = j * j; return vec4(toFloat(k)); })",
         "j:V k:V toFloat:F vec4:F | k'", "j:V k:V toFloat:V vec4:V | vec4"},
        {"arithmetic on clampu and conversion into it is not affine, taking it apart is",
         R"(float4 f(clampu4 a, clampu4 b) { clampu4 s = a + b; clampu4 m = cvec4(a@xyz, b@w); return
            toFloat(s) + toFloat(m); })",
         "s:F toFloat:F @:F @:F m:F toFloat:F +:F | a b", "s:V toFloat:V @:V @:V m:V toFloat:V +:V | +"},
        {"an affine value sinks where what it is computed from crosses anyway",
         R"(float4 f(float3 a, float3 b) { float3 s = 2 * a + 1; return vec4(normalize(a) +
            normalize(s) + normalize(b + a), 1); })",
         "normalize:F *:F s:F normalize:F +:F +:V normalize:F +:F vec4:F | a +",
         "normalize:V *:V s:V normalize:V +:V +:V normalize:V +:V vec4:V | vec4"},
        {"a cone sinks as one, and not in parts",
         R"(float4 f(float3 a, float3 b) { float3 s = 2 * a; float3 t = s + 1; float3 u = s + b;
            return vec4(normalize(a) + normalize(t) + normalize(u), 1); })",
         "normalize:F s:V t:V normalize:F +:F u:V normalize:F +:F vec4:F | a t u",
         "normalize:V s:V t:V normalize:V +:V u:V normalize:V +:V vec4:V | vec4"},
        {"several affine values of one are computed where they are read when that is less to carry",
         R"(float4 f(float2 uv, uniform texobj m) { return tex2D(m, 2 * uv) + tex2D(m, 3 * uv); })",
         "*:F tex2D:F *:F tex2D:F +:F | uv", "*:V tex2D:F *:V tex2D:F +:F | * *"},
        {"one affine value is carried, also when it is wider",
         R"(float4 f(float a) { return normalize(vec4(a)); })", "vec4:V normalize:F | vec4",
         "vec4:V normalize:V | normalize"},
        {"parts that are no more together are carried as they are",
         R"(float4 f(float4 a) { return vec4(sin(a@xy), sin(a@zw)); })", "@:V sin:F @:V sin:F vec4:F | @ @",
         "@:V sin:V @:V sin:V vec4:V | vec4"},
        {"of the values on the way the narrowest is carried",
         R"(float4 f(float4 a, uniform matrix4 m) { float2 w = (a * m)@xy; return vec4(sin(2 * w),
            sin(3 * w)); })",
         "*:V w:V *:F sin:F *:F sin:F vec4:F | w", "*:V w:V *:V sin:V *:V sin:V vec4:V | vec4"},
        {"what must stay at the vertex does not sink",
         R"(float4 f(vertex float2 uv, uniform texobj m) { return tex2D(m, 2 * uv) + tex2D(m, 3 * uv);
            })",
         "*:V tex2D:F *:V tex2D:F +:F | * *", "*:V tex2D:F *:V tex2D:F +:F | * *"},
        {"an input declared fragment crosses as it is",
         R"(float4 f(fragment float2 uv, float2 s) { float2 t = uv + s; return vec4(t, t); })",
         "t:F vec4:F | uv s", "t:F vec4:F | uv s"},
        {"outputs that are dropped move nothing",
         R"(void f(float3 a, out float4 color, out float3 extra) { float3 n = normalize(a); extra = n
            * 2; color = vec4(a, 1); })",
         "color:V n:V extra:V | color", "color:V n:V extra:V | color"},
        {"what only a dropped output needs follows what sank",
         R"(void f(float3 a, out float4 color, out float extra) { float3 y = a * 2; color = vec4(sin(a) +
            cos(y), 1); extra = y@x; })",
         "sin:F y:F cos:F +:F color:F extra:F | a", "sin:V y:V cos:V +:V color:V extra:V | color"},
        {"lookups of what a host computes need no varying",
         R"(float4 f(uniform float2 uv, uniform texobj m) { return tex2D(m, 2 * uv); })", "*:U tex2D:F | =*",
         "*:U tex2D:F | =*"},
        {"a map passed through a function with a level does not cross",
         R"(fragment texobj g(texobj m) { return m; } float4 f(float2 uv, uniform texobj m) { return
            tex2D(g(m), uv); })",
         "identity:F tex2D:F | uv", "identity:F tex2D:F | uv"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(placedText(row.source), row.exact) << row.rule;
        PlacementOptions options;
        options.policy = kEarliestPlacement;
        EXPECT_EQ(placedText(row.source, options), row.earliest) << row.rule;
    }
}

// What is refused, with the text behind "FILE:LINE: f: ".
TEST_F(PlacementTest, refusalsSayWhatToWrite) {
    struct {
        const char* source;
        const char* message;
    } rows[] = {
        {"float4 f(fragment:vertex float2 uv) { return {1, 2, 3, 4}; }",
         "input 'uv' is declared with an empty range, such as fragment:vertex: write 'vertex:fragment float2 "
         "uv'"},
        {"float4 f(fragment:vertex texobj m) { return {1, 2, 3, 4}; }",
         "input 'm' is declared with an empty range, such as fragment:vertex: write 'uniform texobj m'"},
        {"float4 f(vertex texobj m, float2 uv) { return tex2D(m, uv); }",
         "input 'm' is declared vertex, but a texobj is delivered once per draw: write 'uniform texobj m'"},
        {"float4 f(constant texobj m, float2 uv) { return tex2D(m, uv); }",
         "input 'm' is declared constant, but a texobj is delivered once per draw: write 'uniform texobj m'"},
        {"float3 f(float3 a, vertex:fragment matrix3 m) { return a * m; }",
         "input 'm' is declared vertex:fragment, but a matrix3 is delivered once per draw: write 'uniform "
         "matrix3 m', or its 3 rows as inputs 'vertex float3 m0' and so on, joined by mat3"},
        {"void f(float3 a, out float4 color, out float3 b) { color = vec4(a, 1); }",
         "nothing is assigned to the output 'b'"},
        {"void f(float2 uv, uniform texobj m, out vertex float4 position) {\n position = 2 *\n tex2D(m, uv); "
         "}",
         "position is computed per vertex and needs tex2D(texobj,float2) (placement.qvs:3), a texture "
         "lookup, "
         "which exists per fragment only: pass what it gives as an input per vertex; the chain is position "
         "<- "
         "operator*(float,float4) (placement.qvs:2) <- tex2D(texobj,float2) (placement.qvs:3)"},
        {"void f(fragment float4 a, out vertex float4 position) { position = a; }",
         "position is computed per vertex and needs a (placement.qvs:1), which is declared fragment: write "
         "'vertex:fragment float4 a'; the chain is position <- a (placement.qvs:1)"},
        {"float4 f(float a) { return perVertex(vec4(ddx(a))); }",
         "perVertex(float4) (placement.qvs:1), like a position, is computed per vertex and needs ddx(float) "
         "(placement.qvs:1), which exists per fragment only: compute what the position needs without it; the "
         "chain is perVertex(float4) (placement.qvs:1) <- vec4(float) (placement.qvs:1) <- ddx(float) "
         "(placement.qvs:1)"},
        {"fragment float4 g(float4 a) { return a * a; } void f(float4 a, out vertex float4 position) { "
         "position = g(a) + a; position = position + a; position = position + a; position = position + a; "
         "position = position + a; position = position + a; }",
         "position is computed per vertex and needs operator*(float4,float4) (placement.qvs:1), which came "
         "out "
         "of a function that is declared fragment: declare it without that level, or write what the position "
         "needs without it; the chain is position <- operator+(float4,float4) (placement.qvs:1) <- "
         "operator+(float4,float4) (placement.qvs:1) <- ... <- operator+(float4,float4) (placement.qvs:1) <- "
         "operator+(float4,float4) (placement.qvs:1) <- operator*(float4,float4) (placement.qvs:1)"},
    };
    for (const auto& row : rows) {
        for (const PlacementPolicy policy : {kExactPlacement, kEarliestPlacement}) {
            PlacementOptions options;
            options.policy = policy;
            std::string text = placedText(row.source, options);
            for (std::size_t i = 0; (i = text.find(QV_TEST_OUTPUT, i)) != std::string::npos;) {
                text.erase(i, std::string(QV_TEST_OUTPUT).size());
            }
            EXPECT_EQ(text, std::string("placement.qvs:1: f: ") + row.message) << row.source;
        }
    }
}

// What a host may say about its inputs, with the text behind "f: "; empty where it is allowed.
TEST_F(PlacementTest, hostsSayHowInputsComeWithinTheirRanges) {
    const std::string source =
        "float4 f(float3 plain, uniform float3 once, uniform:vertex float3 either, "
        "vertex float3 normal, vertex:fragment float3 smooth, fragment float3 late, "
        "constant float count, constant:uniform float share, matrix3 m, texobj map) { "
        "return vec4(plain + once + either + normal + smooth + late + count + share, 1); }";
    constexpr unsigned int u = kUniformFreq;
    constexpr unsigned int v = kVertexFreq;
    struct {
        const char* input;
        unsigned int level;
        const char* message;
    } const rows[] = {
        {"plain", u, ""},
        {"plain", v, ""},
        {"once", u, ""},
        {"once", v, "input 'once' is declared uniform and cannot be delivered vertex"},
        {"either", u, ""},
        {"either", v, ""},
        {"normal", u, "input 'normal' is declared vertex and cannot be delivered uniform"},
        {"normal", v, ""},
        {"smooth", u, "input 'smooth' is declared vertex:fragment and cannot be delivered uniform"},
        {"late", u, "input 'late' is declared fragment and cannot be delivered uniform"},
        {"late", v, ""},
        {"count", u, "input 'count' is declared constant: it has a value, and is not delivered uniform"},
        {"count", v, "input 'count' is declared constant: it has a value, and is not delivered vertex"},
        {"share", v, "input 'share' is declared constant:uniform and cannot be delivered vertex"},
        {"m", u, ""},
        {"m", v, "input 'm' is a matrix3, which is delivered once per draw, not vertex"},
        {"map", v, "input 'map' is a texobj, which is delivered once per draw, not vertex"},
        {"plain", kFragmentFreq,
         "input 'plain' cannot be delivered 'fragment': inputs are uniform or vertex"},
        {"none", u,
         "there is no input 'none'; the inputs are: float3 plain, float3 once, float3 either, float3 normal, "
         "float3 smooth, float3 late, float count, float share, matrix3 m, texobj map"},
    };
    parse(source);
    for (const auto& row : rows) {
        PlacementOptions options;
        options.inputLevels[row.input] = row.level;
        Placement placement(*ShadingNodeSpec::findSpecInLibrary("f"), options);
        const bool allowed = row.message[0] == '\0';
        EXPECT_EQ(placement.place(), allowed) << row.input;
        EXPECT_EQ(placement.fault(), allowed ? kNoFault : kOptionsFault);
        EXPECT_EQ(placement.errorString(), allowed ? "" : std::string("f: ") + row.message);
        EXPECT_EQ(placement.numNodes() > 0, allowed);
    }
    PlacementOptions options;
    options.constants["count"] = ShadingValue(1, 2);
    Placement placement(*ShadingNodeSpec::findSpecInLibrary("f"), options);
    EXPECT_FALSE(placement.place());
    EXPECT_EQ(placement.errorString(), "f: input 'count' is a float, its value a float2");
}

// What the rules promise for every placement, told from the outside.
void checkPlacement(const PlacedProgram& placed, PlacementPolicy policy) {
    const FlatProgram& flat = placed.flat;
    std::set<std::pair<Index, int>> crossing; // value and level it comes from
    std::vector<std::set<Index>> readers(flat.nodes.size());
    std::set<Index> shownValues;
    for (const PlacedProgram::Crossing& c : placed.crossings) {
        EXPECT_TRUE(crossing.emplace(c.value, c.carrier).second) << "crosses twice";
        const DataType type = flat.valueTypes[c.value];
        const bool varying = c.carrier == PlacedProgram::kVarying || c.carrier == PlacedProgram::kFlatVarying;
        EXPECT_FALSE(varying && type == kTexObj);
        EXPECT_EQ(c.carrier == PlacedProgram::kFlatVarying,
                  varying && (type == kBool || (type >= kInt && type <= kInt4)));
        EXPECT_EQ(placed.literalOf[c.value], PlacedProgram::kNone) << "a literal crosses";
    }
    for (Index n = 0; n < flat.nodes.size(); ++n) {
        for (Index i = 0; i < flat.nodes[n].argumentCount; ++i) {
            const Index from = flat.valueNode[flat.arguments[flat.nodes[n].firstArgument + i]];
            EXPECT_LT(from, n);
            readers[from].insert(n);
        }
    }
    for (std::size_t i = 0; i < flat.outputs.size(); ++i) {
        if (placed.roles[i] == PlacedProgram::kColor || placed.roles[i] == PlacedProgram::kDepth) {
            shownValues.insert(flat.outputs[i].value);
        }
    }
    const auto isRead = [&](const std::vector<Index>& program, Index value) {
        return std::any_of(program.begin(), program.end(), [&](Index n) {
            const auto first = flat.arguments.begin() + flat.nodes[n].firstArgument;
            return std::find(first, first + flat.nodes[n].argumentCount, value) !=
                   first + flat.nodes[n].argumentCount;
        });
    };
    for (const PlacedProgram::Crossing& c : placed.crossings) {
        if (c.carrier == PlacedProgram::kVarying || c.carrier == PlacedProgram::kFlatVarying) {
            EXPECT_TRUE(isRead(placed.fragmentNodes, c.value) || shownValues.count(c.value))
                << "crosses unread";
        }
    }
    for (const std::vector<Index>* program : {&placed.vertexNodes, &placed.fragmentNodes}) {
        for (const Index n : *program) {
            const unsigned int level = program == &placed.vertexNodes ? kVertexFreq : kFragmentFreq;
            EXPECT_LE(placed.places[n].level, level);
            // Everything that a program reads it computes, or it crosses, or it is a literal.
            for (Index i = 0; i < flat.nodes[n].argumentCount; ++i) {
                const Index value = flat.arguments[flat.nodes[n].firstArgument + i];
                const bool computed =
                    std::find(program->begin(), program->end(), flat.valueNode[value]) != program->end();
                const bool fromHost = crossing.count({value, PlacedProgram::kUniform}) +
                                          crossing.count({value, PlacedProgram::kHoisted}) >
                                      0;
                const bool fromVertex = crossing.count({value, PlacedProgram::kVarying}) +
                                            crossing.count({value, PlacedProgram::kFlatVarying}) >
                                        0;
                const bool attribute = crossing.count({value, PlacedProgram::kAttribute}) > 0;
                const int ways = (placed.literalOf[value] != PlacedProgram::kNone) + computed + fromHost +
                                 (level == kVertexFreq ? attribute : fromVertex);
                EXPECT_EQ(ways, 1) << operationText(flat, n) << " argument " << i;
            }
        }
    }
    for (Index n = 0; n < flat.nodes.size(); ++n) {
        const PlacedProgram::Place& place = placed.places[n];
        const FlatProgram::Node& node = flat.nodes[n];
        EXPECT_GE(place.level, place.lowest);
        EXPECT_LE(place.level, place.highest);
        EXPECT_NE(placementReason(placed, n), "");
        EXPECT_TRUE(!place.pinned || place.level <= kVertexFreq);
        if (node.kind == FlatProgram::kInput || node.kind == FlatProgram::kLiteral) {
            continue;
        }
        unsigned int earliest = node.floor;
        bool interpolates = false;
        for (Index i = 0; i < node.argumentCount; ++i) {
            const PlacedProgram::Place& argument =
                placed.places[flat.valueNode[flat.arguments[node.firstArgument + i]]];
            earliest = std::max<unsigned int>(earliest, argument.level);
            interpolates = interpolates || argument.level == kVertexFreq;
        }
        const bool sank =
            place.reason == PlacedProgram::kSunk || place.reason == PlacedProgram::kSunkForFewer;
        const bool moved = place.reason == PlacedProgram::kInterpolated;
        EXPECT_GE(place.level, earliest) << "earlier than it may";
        EXPECT_TRUE(place.level == earliest || sank || moved) << "later than it must";
        if (policy == kEarliestPlacement) {
            EXPECT_EQ(place.level, place.lowest);
        }
        // (its interpolated argument may have sunk below it since)
        EXPECT_TRUE(!moved || (place.shown && !place.pinned && (interpolates || earliest == kFragmentFreq)));
        // What may be per fragment and is shown stays at the vertex only for a reason of rule 6.
        const bool free = place.shown && !place.pinned && place.highest == kFragmentFreq;
        if (policy == kExactPlacement && free && place.level == kVertexFreq) {
            EXPECT_TRUE(place.reason == PlacedProgram::kAffine || place.reason == PlacedProgram::kFlat);
        }
        for (const Index reader : readers[n]) {
            const PlacedProgram::Place& its = placed.places[reader];
            EXPECT_TRUE(!sank || its.level == kFragmentFreq) << "sank below a reader";
        }
    }
}

TEST_F(PlacementTest, everyDefinitionKeepsThePromises) {
    int placed = 0;
    ShadingNodeSpec::LibraryIterator entry;
    ShadingNodeSpec::LibraryIterator last;
    for (ShadingNodeSpec::allSpecsInLibrary(entry, last); entry != last; ++entry) {
        if (entry->second->nodeType() != kFunctionNode) {
            continue;
        }
        for (const PlacementPolicy policy : {kExactPlacement, kEarliestPlacement}) {
            SCOPED_TRACE(signatureOf(*entry->second));
            PlacementOptions options;
            options.policy = policy;
            const PlacedProgram first = placeFunction(*entry->second, options);
            checkPlacement(first, policy);
            EXPECT_EQ(textOf(first), textOf(placeFunction(*entry->second, options)));
            ++placed;
        }
    }
    EXPECT_GT(placed, 300);
}

// "output needs level: operation line", output after output.
TEST_F(PlacementTest, headersThatTheirBodiesContradictAreFound) {
    struct {
        const char* source;
        const char* found;
    } const rows[] = {
        {"vertex float4 f(texobj m, float2 uv) {\n return 2 * tex2D(m, uv); }",
         "output needs fragment: tex2D(texobj,float2) 2; "},
        {"uniform float f(float x) { return perVertex(x); }", "output needs vertex: perVertex(float) 1; "},
        {"vertex float3 g(float3 x) { return x; }\n constant:uniform float3 f(float3 x) { return g(x) * x; }",
         "output needs vertex: identity 2; "},
        {"void f(texobj m, float2 uv, out vertex float a, out vertex float b, out float c) {\n a = uv@x;\n"
         " b = f1tex2D(m, uv);\n c = b; }",
         "b needs fragment: f1tex2D(texobj,float2) 3; "},
        {"vertex float3 f(fragment float3 x) { return x; }", ""},
        {"vertex:fragment float4 f(texobj m, float2 uv) { return tex2D(m, uv); }", ""},
    };
    for (const auto& row : rows) {
        std::string text;
        for (const FrequencyContradiction& found : findFrequencyContradictions(parse(row.source))) {
            text += found.output + " needs " + compFreqName(found.needed) + ": " + found.operation + " " +
                    std::to_string(found.location.line) + "; ";
        }
        EXPECT_EQ(text, row.found) << row.source;
    }
    EXPECT_TRUE(findFrequencyContradictions(*ShadingNodeSpec::findSpecInLibrary("dot")).empty());
}

} // namespace
