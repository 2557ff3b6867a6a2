#include "core/Exception.h"
#include "evaluation/GraphEvaluator.h"
#include "evaluation/Primitives.h"
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/ShadingParser.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <numbers>
#include <random>
#include <set>

using namespace qvShadingDag;

namespace {

using Value = ShadingValue;
using Numbers = std::vector<double>;

constexpr double kPi = std::numbers::pi;
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kIntMin = -2147483648.0;
constexpr double kIntMax = 2147483647.0;

std::string signature(const ShadingNodeSpec& spec) {
    std::string text = spec.name() + "(";
    ShadingNodeSpec::AttributeIterator first, last;
    for (spec.inputs(first, last); first != last; ++first) {
        text += (text.back() == '(' ? "" : ",") + dataTypeName(first->dataType());
    }
    return text + ")";
}

// The declared functions of the shipped library by their inputs.
const std::map<std::string, const ShadingNodeSpec*>& declared() {
    static const std::map<std::string, const ShadingNodeSpec*> specs = [] {
        ShadingParser parser;
        if (!parser.parseFile(QV_STDLIB, false)) {
            throw Exception(parser.errorString());
        }
        std::map<std::string, const ShadingNodeSpec*> result;
        ShadingNodeSpec::LibraryIterator first, last;
        for (ShadingNodeSpec::allSpecsInLibrary(first, last); first != last; ++first) {
            if (first->second->nodeType() == kOperationNode) {
                result[signature(*first->second)] = first->second;
            }
        }
        return result;
    }();
    return specs;
}

// (0.1 + u, 0.2 + v, 0.3 + w, 4) without derivatives; what the derivatives add is 10 dx and 100 dy.
void lookUp(const TextureLookup& lookup, double (&texel)[4]) {
    for (int i = 0; i < 3; ++i) {
        texel[i] = 0.1 * (i + 1) + lookup.coordinates[i] + 10 * lookup.dx[i] + 100 * lookup.dy[i];
    }
    texel[3] = 4;
}

Numbers valueAt(const GraphEvaluator& evaluator, std::size_t point) {
    Numbers numbers;
    for (std::size_t i = 0; i < evaluator.outputs().size(); ++i) {
        const Value output = evaluator.output(i, point);
        numbers.insert(numbers.end(), output.c.begin(), output.c.begin() + output.width());
    }
    return numbers;
}

struct Row {
    const char* signature;
    std::vector<Value> inputs;
    Numbers expected;
};

Value bools(bool value) {
    return {kBool, {value ? 1.0 : 0.0}};
}
Value ints(std::initializer_list<double> values) {
    return {static_cast<DataType>(kInt + static_cast<int>(values.size()) - 1), values};
}
Value clampus(std::initializer_list<double> values) {
    return {static_cast<DataType>(kClampu + static_cast<int>(values.size()) - 1), values};
}
Value matrix(std::initializer_list<double> values) {
    return {values.size() == 4 ? kMatrix2 : values.size() == 9 ? kMatrix3 : kMatrix4, values};
}
const Value kTexture(kTexObj, {});
const Value kM2 = matrix({1, 2, 3, 4});
const Value kM3 = matrix({2, 0, 1, 1, 3, 2, 1, 1, 1});
const Value kM4 = matrix({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
// Scales by 2, 4, 8 and moves by 1, 2, 3; a permutation of the axes with determinant -1.
const Value kAffine = matrix({2, 0, 0, 0, 0, 4, 0, 0, 0, 0, 8, 0, 1, 2, 3, 1});
const Value kSwapped = matrix({0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});

// Worked by hand or taken from identities: at least one row for every family.
const std::vector<Row> kRows = {
    {"operator+(float3,float3)", {{1, 2, 3}, {0.5, -2, 4}}, {1.5, 0, 7}},
    {"operator+(float,float2)", {1, {2, 3}}, {3, 4}},
    {"operator+(int,int)", {ints({kIntMax}), ints({1})}, {kIntMin}},
    {"operator+(clampu2,clampu2)", {clampus({0.75, 0.25}), clampus({0.5, 0.5})}, {1, 0.75}},
    {"operator+(matrix2,matrix2)", {kM2, matrix({10, 20, 30, 40})}, {11, 22, 33, 44}},
    {"operator-(float2,float)", {{1, 2}, 0.5}, {0.5, 1.5}},
    {"operator-(float,float2)", {1, {2, 0.5}}, {-1, 0.5}},
    {"operator-(int2,int2)", {ints({kIntMin, 7}), ints({1, 9})}, {kIntMax, -2}},
    {"operator-(clampu,clampu)", {clampus({0.25}), clampus({0.75})}, {0}},
    {"operator-(matrix2,matrix2)", {kM2, matrix({4, 3, 2, 1})}, {-3, -1, 1, 3}},
    {"operator*(float2,float2)", {{1.5, -2}, {4, 0.5}}, {6, -1}},
    {"operator*(int,int)", {ints({65536}), ints({65536})}, {0}},
    {"operator*(int,int)", {ints({123456789}), ints({987654321})}, {-67153019}},
    {"operator*(clampu,clampu)", {clampus({0.5}), clampus({3})}, {0.5}}, // 3 is clamped when it is read
    {"operator*(matrix2,float)", {kM2, 2}, {2, 4, 6, 8}},
    {"operator*(float,matrix2)", {2, kM2}, {2, 4, 6, 8}},
    {"operator*(matrix2,matrix2)", {kM2, matrix({0, 1, 1, 0})}, {2, 1, 4, 3}},
    {"operator*(float2,matrix2)", {{1, 10}, kM2}, {31, 42}},
    {"operator*(matrix2,float2)", {kM2, {1, 10}}, {21, 43}},
    {"operator*(float4,matrix4)", {{1, 1, 1, 1}, kAffine}, {3, 6, 11, 1}},
    {"operator/(float2,float)", {{1, -3}, 4}, {0.25, -0.75}},
    {"operator/(float,float)", {1, 0}, {kInf}},
    {"operator/(int2,int2)", {ints({-7, 7}), ints({2, -2})}, {-3, -3}},
    {"operator/(int2,int2)", {ints({5, kIntMin}), ints({0, -1})}, {0, kIntMin}},
    {"operator/(matrix2,float)", {kM2, 4}, {0.25, 0.5, 0.75, 1}},
    {"operator%(float2,float2)", {{-5.5, 5.5}, {2, -2}}, {-1.5, 1.5}},
    {"operator%(int2,int2)", {ints({-7, 7}), ints({2, -2})}, {-1, 1}},
    {"operator%(int2,int2)", {ints({5, kIntMin}), ints({0, -1})}, {0, 0}},
    {"operator-(float2)", {{1, -2}}, {-1, 2}},
    {"operator-(int2)", {ints({kIntMin, 5})}, {kIntMin, -5}},
    {"operator-(matrix2)", {kM2}, {-1, -2, -3, -4}},
    {"operator++(float)", {0.5}, {1.5}},
    {"operator++(int)", {ints({kIntMax})}, {kIntMin}},
    {"operator--(float)", {0.5}, {-0.5}},
    {"operator--(int)", {ints({kIntMin})}, {kIntMax}},
    {"transpose(matrix3)", {kM3}, {2, 1, 1, 0, 3, 1, 1, 2, 1}},
    {"determinant(matrix2)", {kM2}, {-2}},
    {"determinant(matrix3)", {matrix({1, 2, 3, 0, 1, 4, 5, 6, 0})}, {1}},
    {"determinant(matrix4)", {kAffine}, {64}},
    {"determinant(matrix4)", {kSwapped}, {-1}},
    {"determinant(matrix4)", {kM4}, {0}},
    {"inverse(matrix2)", {kM2}, {-2, 1, 1.5, -0.5}},
    {"inverse(matrix3)", {matrix({1, 2, 3, 0, 1, 4, 5, 6, 0})}, {-24, 18, 5, 20, -15, -4, -5, 4, 1}},
    {"inverse(matrix4)", {kAffine}, {0.5, 0, 0, 0, 0, 0.25, 0, 0, 0, 0, 0.125, 0, -0.5, -0.5, -0.375, 1}},
    {"inverse(matrix2)", {matrix({1, 2, 2, 4})}, {kInf, -kInf, -kInf, kInf}},

    {"operator==(float2,float2)", {{1, 2}, {1, 2}}, {1}},
    {"operator==(float2,float2)", {{1, 2}, {1, 3}}, {0}},
    {"operator==(float,float)", {kNan, kNan}, {0}},
    {"operator==(int2,int2)", {ints({1, 2}), ints({2, 2})}, {0}},
    {"operator==(bool,bool)", {bools(false), bools(false)}, {1}},
    {"operator!=(float2,float2)", {{1, 2}, {1, 3}}, {1}},
    {"operator!=(float2,float2)", {{1, 2}, {1, 2}}, {0}},
    {"operator!=(matrix2,matrix2)", {kM2, kM2}, {0}},
    {"operator!=(int,int)", {ints({1}), ints({2})}, {1}},
    {"operator!=(bool,bool)", {bools(true), bools(false)}, {1}},
    {"operator<(float,float)", {1, 2}, {1}},
    {"operator<(int,int)", {ints({2}), ints({2})}, {0}},
    {"operator<=(float,float)", {2, 2}, {1}},
    {"operator<=(float,float)", {kNan, 2}, {0}},
    {"operator>(float,float)", {2, 1}, {1}},
    {"operator>(float,float)", {2, 2}, {0}},
    {"operator>=(clampu,clampu)", {clampus({2}), clampus({1})}, {1}},
    {"operator>=(float,float)", {1, 2}, {0}},
    {"operator&&(bool,bool)", {bools(true), bools(false)}, {0}},
    {"operator&&(bool,bool)", {bools(true), bools(true)}, {1}},
    {"operator||(bool,bool)", {bools(true), bools(true)}, {1}},
    {"operator||(bool,bool)", {bools(false), bools(false)}, {0}},
    {"operator||(bool,bool)", {bools(true), bools(false)}, {1}},
    {"operator!(bool)", {bools(true)}, {0}},
    {"operator!(bool)", {bools(false)}, {1}},
    {"select(bool,float2,float2)", {bools(true), {1, 2}, {3, 4}}, {1, 2}},
    {"select(bool,float2,float2)", {bools(false), {1, kNan}, {3, 4}}, {3, 4}},
    {"select(bool,int,int)", {bools(false), ints({1}), ints({2})}, {2}},
    {"select(bool,clampu,clampu)", {bools(true), clampus({0.5}), clampus({1})}, {0.5}},
    {"select(bool,matrix2,matrix2)", {bools(false), kM2, matrix({5, 6, 7, 8})}, {5, 6, 7, 8}},
    {"select(bool,bool,bool)", {bools(true), bools(false), bools(true)}, {0}},
    {"isfinite(float2)", {{1, kInf}}, {0}},
    {"isfinite(float2)", {{1, -3e38}}, {1}},
    {"isinf(float3)", {{1, kNan, 2}}, {0}},
    {"isinf(float3)", {{1, -kInf, 2}}, {1}},
    {"isnan(float2)", {{1, kInf}}, {0}},
    {"isnan(float2)", {{1, kNan}}, {1}},

    {"operator@(float3,int4)", {{5, 6, 7}, ints({2, 0, 1, 2})}, {7, 5, 6, 7}},
    {"operator@(float2,int2)", {{5, 6}, ints({3, -1})}, {6, 5}},
    {"operator@(int2,int3)", {ints({5, 6}), ints({1, 1, 0})}, {6, 6, 5}},
    {"operator@(clampu4,int)", {clampus({0, 0.25, 0.5, 1}), ints({2})}, {0.5}},
    {"vec2(float)", {3}, {3, 3}},
    {"vec2(float,float)", {3, 4}, {3, 4}},
    {"vec3(float)", {3}, {3, 3, 3}},
    {"vec3(float,float2)", {1, {2, 3}}, {1, 2, 3}},
    {"vec3(float2,float)", {{1, 2}, 3}, {1, 2, 3}},
    {"vec4(float)", {3}, {3, 3, 3, 3}},
    {"vec4(float,float2,float)", {1, {2, 3}, 4}, {1, 2, 3, 4}},
    {"vec4(float2,float2)", {{1, 2}, {3, 4}}, {1, 2, 3, 4}},
    {"vec4(float,float3)", {1, {2, 3, 4}}, {1, 2, 3, 4}},
    {"ivec2(int)", {ints({3})}, {3, 3}},
    {"ivec2(int,int)", {ints({3}), ints({4})}, {3, 4}},
    {"ivec3(int)", {ints({3})}, {3, 3, 3}},
    {"ivec3(int,int,int)", {ints({3}), ints({4}), ints({5})}, {3, 4, 5}},
    {"ivec4(int)", {ints({3})}, {3, 3, 3, 3}},
    {"ivec4(int3,int)", {ints({1, 2, 3}), ints({4})}, {1, 2, 3, 4}},
    {"cvec2(clampu)", {clampus({0.5})}, {0.5, 0.5}},
    {"cvec2(clampu,clampu)", {clampus({0.5}), clampus({2})}, {0.5, 1}},
    {"cvec3(clampu)", {clampus({0.5})}, {0.5, 0.5, 0.5}},
    {"cvec3(clampu,clampu,clampu)", {clampus({0.5}), clampus({0}), clampus({1})}, {0.5, 0, 1}},
    {"cvec4(clampu)", {clampus({0.5})}, {0.5, 0.5, 0.5, 0.5}},
    {"cvec4(clampu3,clampu)", {clampus({0, 0.25, 0.5}), clampus({1})}, {0, 0.25, 0.5, 1}},
    {"mat2(float)", {3}, {3, 0, 0, 3}},
    {"mat2(float2,float2)", {{1, 2}, {3, 4}}, {1, 2, 3, 4}},
    {"mat2(matrix4)", {kM4}, {1, 2, 5, 6}},
    {"mat3(float)", {3}, {3, 0, 0, 0, 3, 0, 0, 0, 3}},
    {"mat3(float3,float3,float3)", {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}, {1, 2, 3, 4, 5, 6, 7, 8, 9}},
    {"mat3(matrix2)", {kM2}, {1, 2, 0, 3, 4, 0, 0, 0, 1}},
    {"mat3(matrix4)", {kM4}, {1, 2, 3, 5, 6, 7, 9, 10, 11}},
    {"mat4(float)", {3}, {3, 0, 0, 0, 0, 3, 0, 0, 0, 0, 3, 0, 0, 0, 0, 3}},
    {"mat4(float4,float4,float4,float4)",
     {{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}, {13, 14, 15, 16}},
     {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}},
    {"mat4(matrix3)", {kM3}, {2, 0, 1, 0, 1, 3, 2, 0, 1, 1, 1, 0, 0, 0, 0, 1}},
    {"row(matrix3,float)", {kM3, 1}, {1, 3, 2}},
    {"row(matrix2,float)", {kM2, 7}, {3, 4}},
    {"column(matrix3,float)", {kM3, 1}, {0, 3, 1}},
    {"toInt(float3)", {{-2.75, 2.75, 0.5}}, {-2, 2, 0}},
    {"toInt(float3)", {{1e30, -1e30, kNan}}, {kIntMax, kIntMin, 0}},
    {"toFloat(int2)", {ints({16777217, -3})}, {16777217, -3}},
    {"toClampu(float3)", {{-1, 0.5, 2}}, {0, 0.5, 1}},
    {"toFloat(clampu2)", {clampus({-1, 0.5})}, {0, 0.5}},
    {"toBool(float)", {-0.25}, {1}},
    {"toBool(float)", {-0.0}, {0}},
    {"toBool(int)", {ints({2})}, {1}},
    {"toFloat(bool)", {bools(true)}, {1}},
    {"toInt(bool)", {bools(true)}, {1}},

    {"constant(float2)", {{1, 2}}, {1, 2}},
    {"constant(int)", {ints({1})}, {1}},
    {"constant(matrix2)", {kM2}, {1, 2, 3, 4}},
    {"constant(bool)", {bools(true)}, {1}},
    {"uniform(float2)", {{1, 2}}, {1, 2}},
    {"uniform(int)", {ints({1})}, {1}},
    {"uniform(matrix2)", {kM2}, {1, 2, 3, 4}},
    {"uniform(bool)", {bools(true)}, {1}},
    {"vertex(float2)", {{1, 2}}, {1, 2}},
    {"vertex(int)", {ints({1})}, {1}},
    {"vertex(matrix2)", {kM2}, {1, 2, 3, 4}},
    {"vertex(bool)", {bools(true)}, {1}},
    {"fragment(float2)", {{1, 2}}, {1, 2}},
    {"fragment(int)", {ints({1})}, {1}},
    {"fragment(matrix2)", {kM2}, {1, 2, 3, 4}},
    {"fragment(bool)", {bools(true)}, {1}},
    {"perVertex(float3)", {{1, 2, 3}}, {1, 2, 3}},
    {"perFragment(float3)", {{1, 2, 3}}, {1, 2, 3}},

    {"sin(float)", {0.5}, {0.479425538604203}},
    {"cos(float)", {0.5}, {0.8775825618903728}},
    {"asin(float2)", {{0.5, 2}}, {kPi / 6, kNan}},
    {"acos(float2)", {{0.5, -1}}, {kPi / 3, kPi}},
    {"atan(float2)", {{1, -kInf}}, {kPi / 4, -kPi / 2}},
    {"sinh(float)", {0.5}, {0.5210953054937474}},
    {"cosh(float)", {0.5}, {1.1276259652063807}},
    {"tanh(float)", {0.5}, {0.46211715726000973}},
    {"degrees(float)", {0.5}, {28.64788975654116}},
    {"radians(float)", {90}, {kPi / 2}},
    {"atan2(float3,float3)", {{1, 0, -1}, {0, -1, -1}}, {kPi / 2, kPi, -3 * kPi / 4}},
    {"exp(float)", {0.5}, {1.6487212707001282}},
    {"exp2(float2)", {{3, -0.5}}, {8, std::numbers::sqrt2 / 2}},
    {"log(float2)", {{8, 0}}, {3 * std::numbers::ln2, -kInf}},
    {"log2(float2)", {{8, -1}}, {3, kNan}},
    {"log10(float)", {1000}, {3}},
    {"sqrt(float2)", {{6.25, -1}}, {2.5, kNan}},
    {"rsqrt(float2)", {{6.25, 0}}, {0.4, kInf}},
    {"pow(float4,float4)", {{2, 0, -2, 0.25}, {10, 0, 2, -0.5}}, {1024, 1, kNan, 2}},
    {"pow(float2,float)", {{3, 0.5}, 3}, {27, 0.125}},
    {"log(float2,float2)", {{81, 0.125}, {3, 2}}, {4, -3}},
    {"ldexp(float2,float2)", {{1.5, 3}, {4, -2}}, {24, 0.75}},
    {"abs(float2)", {{-1.5, 2}}, {1.5, 2}},
    {"abs(int2)", {ints({-3, kIntMin})}, {3, kIntMin}},
    {"sign(float4)", {{-1.5, 2, 0, kNan}}, {-1, 1, 0, 0}},
    {"sign(int2)", {ints({-3, 0})}, {-1, 0}},
    {"floor(float2)", {{-1.5, 1.5}}, {-2, 1}},
    {"ceil(float2)", {{-1.5, 1.5}}, {-1, 2}},
    {"round(float4)", {{0.5, 1.5, -2.5, 2.75}}, {0, 2, -2, 3}},
    {"frac(float2)", {{-1.25, 1.25}}, {0.75, 0.25}},
    {"fmod(float3,float3)", {{-5.5, 5.5, 1}, {2, -2, 0}}, {-1.5, 1.5, kNan}},
    {"fmod(float2,float)", {{-5.5, 5.5}, 2}, {-1.5, 1.5}},
    {"modf(float2)", {{-2.25, 2.25}}, {-0.25, 0.25, -2, 2}},
    {"frexp(float)", {-6}, {-0.75, 3}},
    {"frexp(float)", {0}, {0, 0}},
    {"frexp(float)", {kInf}, {kInf, 0}},
    {"min(float3,float3)", {{1, 5, kNan}, {2, 3, 1}}, {1, 3, kNan}},
    {"min(float2,float)", {{1, 5}, 2}, {1, 2}},
    {"min(int,int)", {ints({-1}), ints({2})}, {-1}},
    {"min(clampu,clampu)", {clampus({0.75}), clampus({0.5})}, {0.5}},
    {"max(float3,float3)", {{1, 5, kNan}, {2, 3, 1}}, {2, 5, kNan}},
    {"max(int,int)", {ints({-1}), ints({2})}, {2}},
    {"max(clampu,clampu)", {clampus({0.75}), clampus({0.5})}, {0.75}},
    {"clamp(float3,float,float)", {{-1, 0.5, 2}, 0, 1}, {0, 0.5, 1}},
    {"clamp(float,float,float)", {1, 3, 2}, {2}},
    {"clamp(int,int,int)", {ints({-5}), ints({-2}), ints({2})}, {-2}},
    {"mix(float2,float2,float)", {{1, 10}, {3, 20}, 0.25}, {1.5, 12.5}},
    {"mix(float,float,float)", {1, 3, 2}, {5}},
    {"mix(clampu,clampu,clampu)", {clampus({0}), clampus({0.5}), clampus({0.5})}, {0.25}},
    {"step(float,float3)", {2, {1, 2, 3}}, {0, 1, 1}},
    {"smoothstep(float,float,float4)", {2, 4, {1, 2.5, 3, 5}}, {0, 0.15625, 0.5, 1}},
    {"dot(float3,float3)", {{1, 2, 3}, {4, -5, 6}}, {12}},
    {"dot(float4,float4)", {{1, 2, 3, 4}, {4, -5, 6, 0.5}}, {14}},
    {"distance(float3,float3)", {{1, 2, 3}, {3, 5, 9}}, {7}},
    {"length(float2)", {{3, -4}}, {5}},
    {"normalize(float3)", {{2, 3, 6}}, {2 / 7.0, 3 / 7.0, 6 / 7.0}},
    {"normalize(float2)", {{0, 0}}, {kNan, kNan}},
    {"cross(float3,float3)", {{1, 2, 3}, {4, 5, 6}}, {-3, 6, -3}},
    {"reflect(float3,float3)", {{1, 2, 3}, {0, 0, 1}}, {1, 2, -3}},
    {"reflect(float2,float2)", {{1, -3}, {0.5, 0.5}}, {2, -2}},
    {"refract(float2,float2,float)", {{0.5, -0.5}, {0, 1}, 0.5}, {0.25, -std::sqrt(0.8125)}},
    {"refract(float3,float3,float)", {{0.75, 0, -0.5}, {0, 0, 1}, 1.5}, {0, 0, 0}},
    {"ddx(float2)", {{1, 2}}, {0, 0}},
    {"ddy(float2)", {{1, 2}}, {0, 0}},

    {"tex1D(texobj,float)", {kTexture, 0.5}, {0.6, 0.2, 0.3, 4}},
    {"tex1D(texobj,float,float,float)", {kTexture, 0.5, 2, 3}, {320.6, 0.2, 0.3, 4}},
    {"x3tex1D(texobj,float)", {kTexture, 0.5}, {0.6, 0.2, 0.3}},
    {"f1tex2D(texobj,float2)", {kTexture, {0.5, 2}}, {0.6}},
    {"tex2D(texobj,float2,float2,float2)", {kTexture, {0.5, 2}, {3, 4}, {5, 6}}, {530.6, 642.2, 0.3, 4}},
    {"f3tex3D(texobj,float3)", {kTexture, {1, 2, 3}}, {1.1, 2.2, 3.3}},
    {"tex3D(texobj,float3,float3,float3)",
     {kTexture, {1, 2, 3}, {4, 5, 6}, {7, 8, 9}},
     {741.1, 852.2, 963.3, 4}},
    {"x4texCUBE(texobj,float3)", {kTexture, {1, -2, 0.5}}, {1, 0, 0.8, 1}},
    {"x1texCUBE(texobj,float3,float3,float3)", {kTexture, {1, 2, 3}, {-1, 0, 0}, {0, 0, 0}}, {0}},
    {"f4texRECT(texobj,float2)", {kTexture, {10, 20}}, {10.1, 20.2, 0.3, 4}},
    {"texRECT(texobj,float2,float2,float2)", {kTexture, {10, 20}, {1, 0}, {0, 1}}, {20.1, 120.2, 0.3, 4}},
};

TEST(Kernels, GiveTheHandWorkedValues) {
    std::set<const Primitive*> checked;
    for (const Row& row : kRows) {
        ASSERT_TRUE(declared().contains(row.signature)) << row.signature;
        const ShadingNodeSpec& spec = *declared().at(row.signature);
        checked.insert(findPrimitive(spec));
        GraphEvaluator evaluator(spec);
        for (std::size_t i = 0; i < row.inputs.size(); ++i) {
            const std::string& name = evaluator.inputs()[i].name;
            row.inputs[i].type == kTexObj ? evaluator.set(name, Texture(lookUp))
                                          : evaluator.set(name, row.inputs[i]);
        }
        evaluator.evaluate();
        const Numbers actual = valueAt(evaluator, 0);
        ASSERT_EQ(actual.size(), row.expected.size()) << row.signature;
        for (std::size_t i = 0; i < actual.size(); ++i) {
            const double expected = row.expected[i];
            const double tolerance =
                1e-6 * (row.signature[0] == 'r' || row.signature[0] == 'd') + 1e-14 * std::fabs(expected);
            EXPECT_TRUE(std::isnan(expected)
                            ? std::isnan(actual[i])
                            : actual[i] == expected || std::fabs(actual[i] - expected) <= tolerance)
                << row.signature << " " << i << ": " << actual[i] << " for " << expected;
        }
    }
    for (const Primitive& primitive : primitives()) {
        EXPECT_TRUE(checked.contains(&primitive))
            << "no row for " << primitive.name << " " << primitive.inputs;
    }
}

// A value of each type that no primitive refuses, with the awkward numbers among them.
double randomComponent(DataType type, std::mt19937& random) {
    const auto pick = static_cast<double>(random() % 1000) / 256 - 1.5;
    if (type == kBool) {
        return static_cast<double>(random() % 2);
    }
    if (type >= kInt && type <= kInt4) {
        return static_cast<double>(random() % 7) - 3;
    }
    return random() % 50 == 0 ? kNan : random() % 20 == 0 ? 0 : pick;
}

// What a column holds at a point is what the point alone gives, for every declared function, every
// choice of inputs that are the same everywhere, and a count that is no multiple of the blocks.
TEST(Kernels, GiveTheSameInColumnsAsAtOnePoint) {
    constexpr std::size_t kPoints = 133;
    std::mt19937 random(7);
    for (const auto& [name, spec] : declared()) {
        GraphEvaluator columns(*spec);
        GraphEvaluator single(*spec);
        const std::size_t count = columns.inputs().size();
        const unsigned int choices = count <= 3 ? 1U << count : 3U; // of many: none, the first, the second
        for (unsigned int sameEverywhere = 0; sameEverywhere < choices; ++sameEverywhere) {
            std::vector<std::vector<Numbers>> numbers(count);
            for (std::size_t i = 0; i < count; ++i) {
                const auto& input = columns.inputs()[i];
                if (input.type == kTexObj) {
                    const auto texture = [](const TextureLookup& lookup, double(&texel)[4]) {
                        for (int c = 0; c < 4; ++c) {
                            texel[c] = lookup.coordinates[c % 3] + c;
                        }
                    };
                    columns.set(input.name, Texture(texture));
                    single.set(input.name, Texture(texture));
                    continue;
                }
                Value value(input.type, {});
                for (int c = 0; c < value.width(); ++c) {
                    Numbers& column = numbers[i].emplace_back();
                    for (std::size_t p = 0; p < kPoints; ++p) {
                        const bool repeats = p > 0 && (sameEverywhere >> i & 1U);
                        column.push_back(repeats ? column[0] : randomComponent(input.type, random));
                    }
                    value.c[static_cast<std::size_t>(c)] = column[0];
                }
                if (sameEverywhere >> i & 1U) {
                    columns.set(input.name, value);
                } else {
                    columns.set(input.name,
                                std::vector<std::span<const double>>(numbers[i].begin(), numbers[i].end()));
                }
            }
            columns.evaluate(kPoints);
            const bool isDerivative = name.starts_with("dd");
            for (std::size_t p = 0; p < kPoints; p += isDerivative ? kPoints - 1 : 11) {
                for (std::size_t i = 0; i < count; ++i) {
                    const auto& input = single.inputs()[i];
                    Value value(input.type, {});
                    for (std::size_t c = 0; c < numbers[i].size(); ++c) {
                        value.c[c] = numbers[i][c][p];
                    }
                    if (input.type != kTexObj) {
                        single.set(input.name, value);
                    }
                }
                single.evaluate();
                const Numbers expected = valueAt(single, 0);
                const Numbers actual = valueAt(columns, p);
                for (std::size_t i = 0; i < expected.size() && !(isDerivative && p == 0); ++i) {
                    EXPECT_TRUE(actual[i] == expected[i] ||
                                (std::isnan(actual[i]) && std::isnan(expected[i])))
                        << name << " " << sameEverywhere << " point " << p << " component " << i << ": "
                        << actual[i] << " for " << expected[i];
                }
            }
        }
    }
}

} // namespace
