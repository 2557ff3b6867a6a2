#include "conversion/Spellings.h"

#include "conversion/ProgramNames.h"

#include <algorithm>
#include <cctype>
#include <iterator>

namespace qvShadingDag {

namespace {

using Target = ProgramTarget;

struct Row {
    const char* name;
    const char* pattern;
    int output;
    const char* text;
};

// What the GLSL targets write. The storage of a matrix is row by row, which a GLSL text reads column
// by column: it sees every matrix transposed, so that constructors and elements stay as they are and
// products swap their operands.
//
// The first row that fits the arguments is taken. Where a template names an argument twice, the
// writer gives it a name.
// clang-format off
constexpr Row kRows[] = {
    {"operator+",  "CC",  0, "min($1 + $2, 1.0)"},
    {"operator+",  "**",  0, "$1 + $2"},
    {"operator-",  "CC",  0, "max($1 - $2, 0.0)"},
    {"operator-",  "*",   0, "-$1"},
    {"operator-",  "**",  0, "$1 - $2"},
    {"operator*",  "MM",  0, "$2 * $1"},
    {"operator*",  "MV",  0, "$2 * $1"},
    {"operator*",  "VM",  0, "$2 * $1"},
    {"operator*",  "**",  0, "$1 * $2"},
    {"operator/",  "Ji",  0, "qvDivide($1, $t($2))"},
    {"operator/",  "iJ",  0, "qvDivide($t($1), $2)"},
    {"operator/",  "II",  0, "qvDivide($1, $2)"},
    {"operator/",  "**",  0, "$1 / $2"},
    {"operator%",  "Ji",  0, "qvRemainder($1, $t($2))"},
    {"operator%",  "iJ",  0, "qvRemainder($t($1), $2)"},
    {"operator%",  "II",  0, "qvRemainder($1, $2)"},
    {"operator%",  "FF",  0, "$1 - $2 * trunc($1 / $2)"},
    {"operator++", "I",   0, "$1 + 1"},
    {"operator++", "F",   0, "$1 + 1.0"},
    {"operator--", "I",   0, "$1 - 1"},
    {"operator--", "F",   0, "$1 - 1.0"},

    {"transpose",   "M", 0, "$n($1)"},
    {"determinant", "M", 0, "$n($1)"},
    {"inverse",     "M", 0, "$n($1)"},

    {"operator==", "ff", 0, "$1 == $2"},
    {"operator==", "ii", 0, "$1 == $2"},
    {"operator==", "cc", 0, "$1 == $2"},
    {"operator==", "bb", 0, "$1 == $2"},
    {"operator==", "MM", 0, "$1 == $2"},
    {"operator==", "**", 0, "$1 == $2"},
    {"operator!=", "ff", 0, "$1 != $2"},
    {"operator!=", "ii", 0, "$1 != $2"},
    {"operator!=", "cc", 0, "$1 != $2"},
    {"operator!=", "bb", 0, "$1 != $2"},
    {"operator!=", "MM", 0, "$1 != $2"},
    {"operator!=", "**", 0, "$1 != $2"},
    {"operator<",  "**", 0, "$1 < $2"},
    {"operator<=", "**", 0, "$1 <= $2"},
    {"operator>",  "**", 0, "$1 > $2"},
    {"operator>=", "**", 0, "$1 >= $2"},
    {"operator&&", "bb", 0, "$1 && $2"},
    {"operator||", "bb", 0, "$1 || $2"},
    {"operator!",  "b",  0, "!$1"},

    {"select",   "b**", 0, "$1 ? $2 : $3"},
    {"isfinite", "f",   0, "abs($1) <= 3.40282347e+38"},
    {"isfinite", "V",   0, "all(lessThanEqual(abs($1), $t1(3.40282347e+38)))"},
    {"isinf",    "f",   0, "isinf($1)"},
    {"isinf",    "V",   0, "any(isinf($1))"},
    {"isnan",    "f",   0, "isnan($1)"},
    {"isnan",    "V",   0, "any(isnan($1))"},

    // A scalar has no components to choose from.
    {"operator@", "fi", 0, "$1"},
    {"operator@", "fJ", 0, "$t($1)"},
    {"operator@", "Vi", 0, "$1.$s2"},
    {"operator@", "VJ", 0, "$1.$s2"},
    {"operator@", "ii", 0, "$1"},
    {"operator@", "iJ", 0, "$t($1)"},
    {"operator@", "JI", 0, "$1.$s2"},
    {"operator@", "ci", 0, "$1"},
    {"operator@", "cJ", 0, "$t($1)"},
    {"operator@", "DI", 0, "$1.$s2"},

    {"vec2",  "f", 0, "$t($1)"},  {"vec2",  "FF",   0, "$t($*)"},
    {"vec3",  "f", 0, "$t($1)"},  {"vec3",  "FF",   0, "$t($*)"}, {"vec3",  "FFF", 0, "$t($*)"},
    {"vec4",  "f", 0, "$t($1)"},  {"vec4",  "FF",   0, "$t($*)"}, {"vec4",  "FFF", 0, "$t($*)"}, {"vec4",  "FFFF", 0, "$t($*)"},
    {"ivec2", "i", 0, "$t($1)"},  {"ivec2", "ii",   0, "$t($*)"},
    {"ivec3", "i", 0, "$t($1)"},  {"ivec3", "iii",  0, "$t($*)"},
    {"ivec4", "i", 0, "$t($1)"},  {"ivec4", "II",   0, "$t($*)"}, {"ivec4", "iiii", 0, "$t($*)"},
    {"cvec2", "c", 0, "$t($1)"},  {"cvec2", "cc",   0, "$t($*)"},
    {"cvec3", "c", 0, "$t($1)"},  {"cvec3", "ccc",  0, "$t($*)"},
    {"cvec4", "c", 0, "$t($1)"},  {"cvec4", "CC",   0, "$t($*)"}, {"cvec4", "cccc", 0, "$t($*)"},

    {"mat2", "f", 0, "$t($1)"},  {"mat2", "3", 0, "$t($1)"},  {"mat2", "4", 0, "$t($1)"},
    {"mat3", "f", 0, "$t($1)"},  {"mat3", "2", 0, "$t($1)"},  {"mat3", "4", 0, "$t($1)"},
    {"mat4", "f", 0, "$t($1)"},  {"mat4", "2", 0, "$t($1)"},  {"mat4", "3", 0, "$t($1)"},
    {"mat2", "VV",        0, "$t($*)"},
    {"mat2", "ffff",      0, "$t($*)"},
    {"mat3", "VVV",       0, "$t($*)"},
    {"mat3", "fffffffff", 0, "$t($*)"},
    {"mat4", "VVVV",      0, "$t($*)"},
    {"mat4", "ffffffffffffffff", 0, "$t($*)"},

    {"row",    "Mf", 0, "$1[$i2]"},
    {"column", "Mf", 0, "transpose($1)[$i2]"},

    {"toInt",    "F", 0, "qvToInt($1)"},
    {"toInt",    "b", 0, "int($1)"},
    {"toFloat",  "I", 0, "$t($1)"},
    {"toFloat",  "C", 0, "$1"},
    {"toFloat",  "b", 0, "float($1)"},
    {"toClampu", "F", 0, "clamp($1, 0.0, 1.0)"},
    {"toBool",   "f", 0, "$1 != 0.0"},
    {"toBool",   "i", 0, "$1 != 0"},

    {"constant",    "*", 0, "$1"},
    {"uniform",     "*", 0, "$1"},
    {"vertex",      "*", 0, "$1"},
    {"fragment",    "*", 0, "$1"},
    {"perVertex",   "F", 0, "$1"},
    {"perFragment", "F", 0, "$1"},

    {"sin",     "F", 0, "$n($1)"},
    {"cos",     "F", 0, "$n($1)"},
    {"asin",    "F", 0, "$n($1)"},
    {"acos",    "F", 0, "$n($1)"},
    {"atan",    "F", 0, "$n($1)"},
    {"sinh",    "F", 0, "$n($1)"},
    {"cosh",    "F", 0, "$n($1)"},
    {"tanh",    "F", 0, "$n($1)"},
    {"degrees", "F", 0, "$n($1)"},
    {"radians", "F", 0, "$n($1)"},
    {"atan2",   "FF", 0, "atan($1, $2)"},

    {"exp",   "F",  0, "$n($1)"},
    {"exp2",  "F",  0, "$n($1)"},
    {"log",   "F",  0, "$n($1)"},
    {"log",   "FF", 0, "log($1) / log($2)"},
    {"log2",  "F",  0, "$n($1)"},
    {"log10", "F",  0, "log($1) * 0.434294492"},
    {"sqrt",  "F",  0, "$n($1)"},
    {"rsqrt", "F",  0, "inversesqrt($1)"},
    {"pow",   "Vf", 0, "pow($1, $t($2))"},
    {"pow",   "FF", 0, "pow($1, $2)"},
    {"ldexp", "FF", 0, "$1 * exp2($2)"},

    {"abs",   "*",  0, "$n($1)"},
    {"sign",  "*",  0, "$n($1)"},
    {"floor", "F",  0, "$n($1)"},
    {"ceil",  "F",  0, "$n($1)"},
    {"round", "F",  0, "roundEven($1)"},
    {"frac",  "F",  0, "fract($1)"},
    {"fmod",  "FF", 0, "$1 - $2 * trunc($1 / $2)"},
    {"modf",  "F",  0, "$1 - trunc($1)"},
    {"modf",  "F",  1, "trunc($1)"},
    {"frexp", "f",  0, "qvMantissa($1)"},
    {"frexp", "f",  1, "qvExponent($1)"},

    {"min",   "**",  0, "$n($1, $2)"},
    {"max",   "**",  0, "$n($1, $2)"},
    {"clamp", "***", 0, "$n($1, $2, $3)"},
    {"mix",   "***", 0, "$n($1, $2, $3)"},
    {"step",  "FF",  0, "$n($1, $2)"},
    {"smoothstep", "FFF", 0, "$n($1, $2, $3)"},

    {"dot",       "VV",  0, "$n($1, $2)"},
    {"distance",  "VV",  0, "$n($1, $2)"},
    {"length",    "V",   0, "$n($1)"},
    {"normalize", "V",   0, "$n($1)"},
    {"cross",     "VV",  0, "$n($1, $2)"},
    {"reflect",   "VV",  0, "$n($1, $2)"},
    {"refract",   "VVf", 0, "$n($1, $2, $3)"},

    {"ddx", "F", 0, "dFdx($1)"},
    {"ddy", "F", 0, "dFdy($1)"},

    // Every lookup stands here once, as that of four floats.
    {"tex1D",   "tf",   0, "texture($1, $2)"},
    {"tex1D",   "tfff", 0, "textureGrad($1, $2, $3, $4)"},
    {"tex2D",   "tV",   0, "texture($1, $2)"},
    {"tex2D",   "tVVV", 0, "textureGrad($1, $2, $3, $4)"},
    {"tex3D",   "tV",   0, "texture($1, $2)"},
    {"tex3D",   "tVVV", 0, "textureGrad($1, $2, $3, $4)"},
    {"texCUBE", "tV",   0, "texture($1, $2)"},
    {"texCUBE", "tVVV", 0, "textureGrad($1, $2, $3, $4)"},
    {"texRECT", "tV",   0, "texture($1, $2)"},
    {"texRECT", "tVVV", 0, "textureGrad($1, $2, $3, $4)"},
};

// What a target writes in another way.
struct Override {
    Target::Id target;
    Row row;
};

constexpr Override kOverrides[] = {
    // A map of one dimension is one row of texels; a map in texels knows its size.
    {Target::kEs300, {"tex1D",   "tf",   0, "texture($1, vec2($2, 0.5))"}},
    {Target::kEs300, {"tex1D",   "tfff", 0, "textureGrad($1, vec2($2, 0.5), vec2($3, 0.0), vec2($4, 0.0))"}},
    {Target::kEs300, {"texRECT", "tV",   0, "texture($1, $2 / vec2(textureSize($1, 0)))"}},
    {Target::kEs300, {"texRECT", "tVVV", 0, "textureGrad($1, $2 / vec2(textureSize($1, 0)), $3 / vec2(textureSize($1, 0)), $4 / vec2(textureSize($1, 0)))"}},

    {Target::kVulkan450, {"texRECT", "tV",   0, "texture($1, $2 / vec2(textureSize($1, 0)))"}},
    {Target::kVulkan450, {"texRECT", "tVVV", 0, "textureGrad($1, $2 / vec2(textureSize($1, 0)), $3 / vec2(textureSize($1, 0)), $4 / vec2(textureSize($1, 0)))"}},

    {Target::kHlsl, {"operator*",  "MM", 0, "mul($1, $2)"}},
    {Target::kHlsl, {"operator*",  "MV", 0, "mul($1, $2)"}},
    {Target::kHlsl, {"operator*",  "VM", 0, "mul($1, $2)"}},
    {Target::kHlsl, {"operator==", "MM", 0, "qvEqual($1, $2)"}},
    {Target::kHlsl, {"operator!=", "MM", 0, "!qvEqual($1, $2)"}},
    {Target::kHlsl, {"operator==", "**", 0, "all($1 == $2)"}},
    {Target::kHlsl, {"operator!=", "**", 0, "any($1 != $2)"}},
    {Target::kHlsl, {"isfinite",   "V",  0, "all(abs($1) <= 3.40282347e+38)"}},
    {Target::kHlsl, {"operator@",  "fJ", 0, "($t)$1"}},
    {Target::kHlsl, {"operator@",  "iJ", 0, "($t)$1"}},
    {Target::kHlsl, {"operator@",  "cJ", 0, "($t)$1"}},
    {Target::kHlsl, {"operator/",  "Ji", 0, "qvDivide($1, ($t)$2)"}},
    {Target::kHlsl, {"operator/",  "iJ", 0, "qvDivide(($t)$1, $2)"}},
    {Target::kHlsl, {"operator%",  "Ji", 0, "qvRemainder($1, ($t)$2)"}},
    {Target::kHlsl, {"operator%",  "iJ", 0, "qvRemainder(($t)$1, $2)"}},
    {Target::kHlsl, {"vec2",  "f", 0, "($t)$1"}},
    {Target::kHlsl, {"vec3",  "f", 0, "($t)$1"}},
    {Target::kHlsl, {"vec4",  "f", 0, "($t)$1"}},
    {Target::kHlsl, {"ivec2", "i", 0, "($t)$1"}},
    {Target::kHlsl, {"ivec3", "i", 0, "($t)$1"}},
    {Target::kHlsl, {"ivec4", "i", 0, "($t)$1"}},
    {Target::kHlsl, {"cvec2", "c", 0, "($t)$1"}},
    {Target::kHlsl, {"cvec3", "c", 0, "($t)$1"}},
    {Target::kHlsl, {"cvec4", "c", 0, "($t)$1"}},
    {Target::kHlsl, {"mat2",  "f", 0, "float2x2($1, 0.0, 0.0, $1)"}},
    {Target::kHlsl, {"mat2",  "3", 0, "($t)$1"}},
    {Target::kHlsl, {"mat2",  "4", 0, "($t)$1"}},
    {Target::kHlsl, {"mat3",  "f", 0, "float3x3($1, 0.0, 0.0, 0.0, $1, 0.0, 0.0, 0.0, $1)"}},
    {Target::kHlsl, {"mat3",  "2", 0, "float3x3($1[0], 0.0, $1[1], 0.0, 0.0, 0.0, 1.0)"}},
    {Target::kHlsl, {"mat3",  "4", 0, "($t)$1"}},
    {Target::kHlsl, {"mat4",  "f", 0, "float4x4($1, 0.0, 0.0, 0.0, 0.0, $1, 0.0, 0.0, 0.0, 0.0, $1, 0.0, 0.0, 0.0, 0.0, $1)"}},
    {Target::kHlsl, {"mat4",  "2", 0, "float4x4($1[0], 0.0, 0.0, $1[1], 0.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 0.0, 1.0)"}},
    {Target::kHlsl, {"mat4",  "3", 0, "float4x4($1[0], 0.0, $1[1], 0.0, $1[2], 0.0, 0.0, 0.0, 0.0, 1.0)"}},
    {Target::kHlsl, {"inverse", "M",  0, "qvInverse($1)"}},
    {Target::kHlsl, {"atan2",   "FF", 0, "atan2($1, $2)"}},
    {Target::kHlsl, {"log10",   "F",  0, "log10($1)"}},
    {Target::kHlsl, {"rsqrt",   "F",  0, "rsqrt($1)"}},
    {Target::kHlsl, {"pow",     "Vf", 0, "pow($1, ($t)$2)"}},
    {Target::kHlsl, {"sign",    "*",  0, "($t)sign($1)"}},
    {Target::kHlsl, {"round",   "F",  0, "round($1)"}},
    {Target::kHlsl, {"frac",    "F",  0, "frac($1)"}},
    {Target::kHlsl, {"mix",     "***", 0, "lerp($1, $2, $3)"}},
    {Target::kHlsl, {"ddx",     "F",  0, "ddx($1)"}},
    {Target::kHlsl, {"ddy",     "F",  0, "ddy($1)"}},
    {Target::kHlsl, {"tex1D",   "tf",   0, "$1.Sample($1Sampler, $2)"}},
    {Target::kHlsl, {"tex1D",   "tfff", 0, "$1.SampleGrad($1Sampler, $2, $3, $4)"}},
    {Target::kHlsl, {"tex2D",   "tV",   0, "$1.Sample($1Sampler, $2)"}},
    {Target::kHlsl, {"tex2D",   "tVVV", 0, "$1.SampleGrad($1Sampler, $2, $3, $4)"}},
    {Target::kHlsl, {"tex3D",   "tV",   0, "$1.Sample($1Sampler, $2)"}},
    {Target::kHlsl, {"tex3D",   "tVVV", 0, "$1.SampleGrad($1Sampler, $2, $3, $4)"}},
    {Target::kHlsl, {"texCUBE", "tV",   0, "$1.Sample($1Sampler, $2)"}},
    {Target::kHlsl, {"texCUBE", "tVVV", 0, "$1.SampleGrad($1Sampler, $2, $3, $4)"}},
    {Target::kHlsl, {"texRECT", "tV",   0, "$1.Sample($1Sampler, $2 / qvSize($1))"}},
    {Target::kHlsl, {"texRECT", "tVVV", 0, "$1.SampleGrad($1Sampler, $2 / qvSize($1), $3 / qvSize($1), $4 / qvSize($1))"}},

    {Target::kCg, {"mix", "***", 0, "mix($1, $2, $3)"}},
    {Target::kCg, {"tex1D", "tf", 0, "$n($*)"}},
    {Target::kCg, {"tex1D", "tfff", 0, "$n($*)"}},
    {Target::kCg, {"tex2D", "tV", 0, "$n($*)"}},
    {Target::kCg, {"tex2D", "tVVV", 0, "$n($*)"}},
    {Target::kCg, {"tex3D", "tV", 0, "$n($*)"}},
    {Target::kCg, {"tex3D", "tVVV", 0, "$n($*)"}},
    {Target::kCg, {"texCUBE", "tV", 0, "$n($*)"}},
    {Target::kCg, {"texCUBE", "tVVV", 0, "$n($*)"}},
    {Target::kCg, {"texRECT", "tV", 0, "$n($*)"}},
    {Target::kCg, {"texRECT", "tVVV", 0, "$n($*)"}},
};

// What the kinds of texture lookups do with the four floats that they read.
struct LookupRow {
    const char* prefix;
    const char* before;
    const char* after;
};

constexpr LookupRow kLookups[] = {
    {"",   "",       ""},
    {"f1", "",       ".x"},
    {"f3", "",       ".xyz"},
    {"f4", "",       ""},
    {"x1", "clamp(", ".x, 0.0, 1.0)"},
    {"x3", "clamp(", ".xyz, 0.0, 1.0)"},
    {"x4", "clamp(", ", 0.0, 1.0)"},
};

// The functions that spellings call by name. Each needs only what stands above it.
struct HelperRow {
    const char* name;
    Target::Language language;
    DataType result;
    DataType argument;
    int arity;
    const char* text;
};

constexpr HelperRow kHelpers[] = {
    // Of divisions by 0 and of one that overflows each processor makes what it likes.
    {"qvDivide", Target::kGlslWords, kInt, kInt, 2,
     "int qvDivide(int a, int b) {\n"
     "    int divisor = b == 0 || b == -1 ? 1 : b;\n"
     "    return b == 0 ? 0 : (b == -1 ? -a : a / divisor);\n"
     "}\n"},
    {"qvRemainder", Target::kGlslWords, kInt, kInt, 2,
     "int qvRemainder(int a, int b) {\n"
     "    return b == 0 ? 0 : a - b * qvDivide(a, b);\n"
     "}\n"},
    {"qvToInt", Target::kGlslWords, kInt, kFloat, 1,
     "int qvToInt(float x) {\n"
     "    bool inside = abs(x) < 2147483648.0;\n"
     "    int limit = x > 0.0 ? 2147483647 : (x < 0.0 ? -2147483647 - 1 : 0);\n"
     "    return inside ? int(x) : limit;\n"
     "}\n"},
    // The parts of a number x = m * 2^n, read from its bits; a number without a leading one is scaled first.
    {"qvMantissa", Target::kGlslWords, kFloat, kFloat, 0,
     "float qvMantissa(float x) {\n"
     "    float y = abs(x) < 1.17549435e-38 ? x * 16777216.0 : x;\n"
     "    int bits = floatBitsToInt(y);\n"
     "    int exponent = (bits >> 23) & 255;\n"
     "    return exponent == 0 || exponent == 255 ? x : intBitsToFloat((bits & ~0x7F800000) | 0x3F000000);\n"
     "}\n"},
    {"qvExponent", Target::kGlslWords, kFloat, kFloat, 0,
     "float qvExponent(float x) {\n"
     "    bool small = abs(x) < 1.17549435e-38;\n"
     "    int exponent = (floatBitsToInt(small ? x * 16777216.0 : x) >> 23) & 255;\n"
     "    return exponent == 0 || exponent == 255 ? 0.0 : float(exponent - (small ? 150 : 126));\n"
     "}\n"},

    {"qvDivide", Target::kHlslWords, kInt, kInt, 2,
     "int qvDivide(int a, int b) {\n"
     "    int divisor = b == 0 || b == -1 ? 1 : b;\n"
     "    return b == 0 ? 0 : (b == -1 ? -a : a / divisor);\n"
     "}\n"},
    {"qvRemainder", Target::kHlslWords, kInt, kInt, 2,
     "int qvRemainder(int a, int b) {\n"
     "    return b == 0 ? 0 : a - b * qvDivide(a, b);\n"
     "}\n"},
    {"qvToInt", Target::kHlslWords, kInt, kFloat, 1,
     "int qvToInt(float x) {\n"
     "    bool inside = abs(x) < 2147483648.0;\n"
     "    int limit = x > 0.0 ? 2147483647 : (x < 0.0 ? -2147483647 - 1 : 0);\n"
     "    return inside ? int(x) : limit;\n"
     "}\n"},
    {"qvMantissa", Target::kHlslWords, kFloat, kFloat, 0,
     "float qvMantissa(float x) {\n"
     "    float y = abs(x) < 1.17549435e-38 ? x * 16777216.0 : x;\n"
     "    int bits = asint(y);\n"
     "    int exponent = (bits >> 23) & 255;\n"
     "    return exponent == 0 || exponent == 255 ? x : asfloat((bits & ~0x7F800000) | 0x3F000000);\n"
     "}\n"},
    {"qvExponent", Target::kHlslWords, kFloat, kFloat, 0,
     "float qvExponent(float x) {\n"
     "    bool isSmall = abs(x) < 1.17549435e-38;\n"
     "    int exponent = (asint(isSmall ? x * 16777216.0 : x) >> 23) & 255;\n"
     "    return exponent == 0 || exponent == 255 ? 0.0 : float(exponent - (isSmall ? 150 : 126));\n"
     "}\n"},
    // By the matrix of cofactors, which is transposed as it is written down.
    {"qvInverse", Target::kHlslWords, kMatrix4, kMatrix4, 0,
     "float2x2 qvInverse(float2x2 m) {\n"
     "    return float2x2(m[1][1], -m[0][1], -m[1][0], m[0][0]) / determinant(m);\n"
     "}\n"
     "float3x3 qvInverse(float3x3 m) {\n"
     "    return transpose(float3x3(cross(m[1], m[2]), cross(m[2], m[0]), cross(m[0], m[1]))) / determinant(m);\n"
     "}\n"
     "float4x4 qvInverse(float4x4 m) {\n"
     "    float4 a = m[0].xxxy * m[1].yzwz - m[0].yzwz * m[1].xxxy;\n"
     "    float2 b = m[0].yz * m[1].ww - m[0].ww * m[1].yz;\n"
     "    float4 c = m[2].xxxy * m[3].yzwz - m[2].yzwz * m[3].xxxy;\n"
     "    float2 d = m[2].yz * m[3].ww - m[2].ww * m[3].yz;\n"
     "    float4x4 r = float4x4(\n"
     "        dot(m[1].yzw, float3(d.y, -d.x, c.w)), -dot(m[0].yzw, float3(d.y, -d.x, c.w)),\n"
     "        dot(m[3].yzw, float3(b.y, -b.x, a.w)), -dot(m[2].yzw, float3(b.y, -b.x, a.w)),\n"
     "        -dot(m[1].xzw, float3(d.y, -c.z, c.y)), dot(m[0].xzw, float3(d.y, -c.z, c.y)),\n"
     "        -dot(m[3].xzw, float3(b.y, -a.z, a.y)), dot(m[2].xzw, float3(b.y, -a.z, a.y)),\n"
     "        dot(m[1].xyw, float3(d.x, -c.z, c.x)), -dot(m[0].xyw, float3(d.x, -c.z, c.x)),\n"
     "        dot(m[3].xyw, float3(b.x, -a.z, a.x)), -dot(m[2].xyw, float3(b.x, -a.z, a.x)),\n"
     "        -dot(m[1].xyz, float3(c.w, -c.y, c.x)), dot(m[0].xyz, float3(c.w, -c.y, c.x)),\n"
     "        -dot(m[3].xyz, float3(a.w, -a.y, a.x)), dot(m[2].xyz, float3(a.w, -a.y, a.x)));\n"
     "    return r / dot(float4(r[0][0], r[1][0], r[2][0], r[3][0]), m[0]);\n"
     "}\n"},
    {"qvEqual", Target::kHlslWords, kBool, kMatrix4, 0,
     "bool qvEqual(float2x2 a, float2x2 b) {\n"
     "    return all(a[0] == b[0]) && all(a[1] == b[1]);\n"
     "}\n"
     "bool qvEqual(float3x3 a, float3x3 b) {\n"
     "    return all(a[0] == b[0]) && all(a[1] == b[1]) && all(a[2] == b[2]);\n"
     "}\n"
     "bool qvEqual(float4x4 a, float4x4 b) {\n"
     "    return all(a[0] == b[0]) && all(a[1] == b[1]) && all(a[2] == b[2]) && all(a[3] == b[3]);\n"
     "}\n"},
    {"qvSize", Target::kHlslWords, kFloat2, kTexObj2D, 0,
     "float2 qvSize(Texture2D map) {\n"
     "    float width;\n"
     "    float height;\n"
     "    map.GetDimensions(width, height);\n"
     "    return float2(width, height);\n"
     "}\n"},
};
// clang-format on

bool isBetween(DataType type, DataType first, DataType last) {
    return type >= first && type <= last;
}

bool matchesLetter(char letter, DataType type) {
    switch (letter) {
    case 'f':
        return type == kFloat;
    case 'V':
        return isBetween(type, kFloat2, kFloat4);
    case 'F':
        return isBetween(type, kFloat, kFloat4);
    case 'i':
        return type == kInt;
    case 'J':
        return isBetween(type, kInt2, kInt4);
    case 'I':
        return isBetween(type, kInt, kInt4);
    case 'c':
        return type == kClampu;
    case 'D':
        return isBetween(type, kClampu2, kClampu4);
    case 'C':
        return isBetween(type, kClampu, kClampu4);
    case '2':
        return type == kMatrix2;
    case '3':
        return type == kMatrix3;
    case '4':
        return type == kMatrix4;
    case 'M':
        return isBetween(type, kMatrix2, kMatrix4);
    case 'b':
        return type == kBool;
    case 't':
        return type == kTexObj;
    default:
        return letter == '*';
    }
}

bool isWordCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

// Calls `found` with each word of a text.
template <class Found>
void forEachWord(std::string_view text, Found found) {
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at;
        while (end < text.size() && isWordCharacter(text[end])) {
            ++end;
        }
        if (end > at) {
            found(text.substr(at, end - at));
        }
        at = end + 1;
    }
}

struct OperatorRow {
    std::string_view text;
    Spelling::Binding binding;
};

constexpr OperatorRow kOperators[] = {
    {" ? ", Spelling::kConditional}, {" : ", Spelling::kConditional}, {" || ", Spelling::kOr},
    {" && ", Spelling::kAnd},        {" == ", Spelling::kEquality},   {" != ", Spelling::kEquality},
    {" < ", Spelling::kRelation},    {" <= ", Spelling::kRelation},   {" > ", Spelling::kRelation},
    {" >= ", Spelling::kRelation},   {" + ", Spelling::kSum},         {" - ", Spelling::kSum},
    {" * ", Spelling::kProduct},     {" / ", Spelling::kProduct},
};

// The operator that starts at `at`, with the blanks around it; null for none.
const OperatorRow* operatorAt(std::string_view text, std::size_t at) {
    for (const OperatorRow& row : kOperators) {
        if (text.substr(at).starts_with(row.text)) {
            return &row;
        }
    }
    return nullptr;
}

// How closely a whole expression sticks together: as its loosest operator outside of parentheses.
std::uint8_t bindingOf(std::string_view text) {
    std::uint8_t loosest = text.starts_with('-') || text.starts_with('!') || text.starts_with('(')
                               ? Spelling::kPrefix
                               : Spelling::kAtom;
    int depth = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const OperatorRow* found = depth == 0 ? operatorAt(text, i) : nullptr;
        loosest = found ? std::min<std::uint8_t>(loosest, found->binding) : loosest;
        depth += static_cast<int>(text[i] == '(' || text[i] == '[') -
                 static_cast<int>(text[i] == ')' || text[i] == ']');
    }
    return loosest;
}

// How closely an operand at [first, last) of a template must bind. Operators are taken from the left,
// so that the one on the right of its like needs parentheses, and comparisons never stand in a row.
std::uint8_t requiredBinding(std::string_view text, std::size_t first, std::size_t last) {
    const char before = first > 0 ? text[first - 1] : '\0';
    const char after = last < text.size() ? text[last] : '\0';
    if (after == '.' || after == '[' || before == '-' || before == '!' || before == ')') {
        return Spelling::kAtom;
    }
    std::uint8_t required = Spelling::kLoosest;
    if (const OperatorRow* right = operatorAt(text, last)) {
        const bool comparison =
            right->binding == Spelling::kEquality || right->binding == Spelling::kRelation;
        const bool condition = right->binding == Spelling::kConditional;
        required = static_cast<std::uint8_t>(right->binding + static_cast<int>(comparison || condition));
    }
    for (std::size_t size = 3; size <= 4 && first >= size; ++size) {
        const OperatorRow* left = operatorAt(text, first - size);
        if (left && left->text.size() == size) {
            required = std::max<std::uint8_t>(required, static_cast<std::uint8_t>(left->binding + 1));
        }
    }
    return required;
}

} // namespace

bool matchesPattern(std::string_view pattern, std::span<const DataType> inputs) {
    if (pattern.size() != inputs.size()) {
        return false;
    }
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        if (!matchesLetter(pattern[i], inputs[i])) {
            return false;
        }
    }
    return true;
}

Spelling parseSpelling(std::string_view name, std::string_view text) {
    Spelling result;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t mark = text.find("$n", at);
        result.text.append(text.substr(at, mark - at));
        if (mark == std::string_view::npos) {
            break;
        }
        result.text.append(name);
        at = mark + 2;
    }
    const std::string& whole = result.text;
    const auto charAt = [&whole](std::size_t i) { return i < whole.size() ? whole[i] : '\0'; };
    std::size_t textStart = 0;
    const auto endText = [&](std::size_t end) {
        if (end > textStart) {
            result.pieces.push_back({Spelling::kText, Spelling::kLoosest, 0,
                                     static_cast<std::uint16_t>(textStart),
                                     static_cast<std::uint16_t>(end - textStart)});
        }
    };
    for (std::size_t at = 0; at < whole.size();) {
        if (whole[at] != '$') {
            ++at;
            continue;
        }
        const auto digit = [&](std::size_t i) { return static_cast<std::uint16_t>(charAt(i) - '1'); };
        Spelling::Piece piece = {Spelling::kText, Spelling::kLoosest, 0, 0, 0};
        std::size_t size = 2;
        switch (const char c = charAt(at + 1)) {
        case '*':
            piece.kind = Spelling::kAllArguments;
            break;
        case 't':
            piece.kind = Spelling::kResultType;
            if (charAt(at + 2) >= '1' && charAt(at + 2) <= '9') {
                piece.kind = Spelling::kArgumentType;
                piece.argument = digit(at + 2);
                size = 3;
            }
            break;
        case 'i':
        case 's':
            piece.kind = c == 'i' ? Spelling::kIndex : Spelling::kComponents;
            piece.argument = digit(at + 2);
            size = 3;
            break;
        default:
            if (c < '1' || c > '9') {
                ++at; // a dollar of the target's own
                continue;
            }
            piece.kind = Spelling::kArgument;
            piece.argument = digit(at + 1);
            piece.binding = requiredBinding(whole, at, at + 2);
        }
        endText(at);
        result.pieces.push_back(piece);
        at += size;
        textStart = at;
    }
    endText(whole.size());
    for (const Spelling::Piece& piece : result.pieces) {
        for (std::size_t i = 0; i < Spelling::kMaxArguments; ++i) {
            result.uses[i] +=
                static_cast<std::uint8_t>(piece.kind == Spelling::kAllArguments ||
                                          (piece.kind == Spelling::kArgument && piece.argument == i));
        }
    }
    result.binding = bindingOf(whole);
    for (const char* mark : {" ? ", " && ", " || "}) {
        result.conditional = result.conditional || whole.find(mark) != std::string::npos;
    }
    result.identity = whole == "$1";
    return result;
}

SpellingTable::SpellingTable(const ProgramTarget& target) {
    std::vector<const ProgramTarget*> lines; // the target, and those that it is spelled like
    for (const ProgramTarget* at = &target;; at = &ProgramTarget::at(at->spelledLike)) {
        lines.push_back(at);
        if (at->spelledLike == ProgramTarget::kNoTarget) {
            break;
        }
    }
    for (const HelperRow& row : kHelpers) {
        if (row.language == target.language) {
            HelperFunction helper = {row.name, row.text, row.result, row.argument, row.arity, {}};
            forEachWord(helper.text, [&](std::string_view word) {
                const int other = findHelper(word);
                if (other >= 0 &&
                    std::find(helper.helpers.begin(), helper.helpers.end(), other) == helper.helpers.end()) {
                    helper.helpers.push_back(static_cast<std::uint16_t>(other));
                }
            });
            fHelpers.push_back(std::move(helper));
        }
    }
    const auto textOf = [&lines](const Row& row) {
        for (const ProgramTarget* line : lines) {
            for (const Override& other : kOverrides) {
                if (other.target == line->id && other.row.output == row.output &&
                    std::string_view(other.row.name) == row.name &&
                    std::string_view(other.row.pattern) == row.pattern) {
                    return other.row.text;
                }
            }
        }
        return row.text;
    };
    for (const Row& row : kRows) {
        const std::string text = textOf(row);
        if (!std::string_view(row.name).starts_with("tex")) {
            add(row.name, row.pattern, row.output, text);
            continue;
        }
        for (const LookupRow& lookup : kLookups) {
            if (text.starts_with("$n")) { // a function for each kind of result
                const std::string prefix = *lookup.prefix ? lookup.prefix : "f4";
                add(lookup.prefix + std::string(row.name), row.pattern, row.output,
                    prefix + row.name + text.substr(2));
                continue;
            }
            add(std::string(lookup.prefix) + row.name, row.pattern, row.output,
                lookup.before + text + lookup.after);
        }
    }
    fBuckets.assign(1024, 0);
    for (std::size_t i = 0; i < fGroups.size(); ++i) {
        std::size_t bucket = hashOfName(fGroups[i].name) % fBuckets.size();
        while (fBuckets[bucket] != 0) {
            bucket = (bucket + 1) % fBuckets.size();
        }
        fBuckets[bucket] = static_cast<std::uint32_t>(i + 1);
    }
}

void SpellingTable::add(const std::string& name, const char* pattern, int output, const std::string& text) {
    auto group = std::find_if(fGroups.begin(), fGroups.end(),
                              [&name](const Group& candidate) { return candidate.name == name; });
    if (group == fGroups.end()) {
        fGroups.push_back({name, {}});
        group = fGroups.end() - 1;
    }
    Spelling spelling = parseSpelling(name, text);
    spelling.pattern = pattern;
    spelling.output = output;
    spelling.lookup = name == "ddx" || name == "ddy" || pattern[0] == 't';
    forEachWord(spelling.text, [&](std::string_view word) {
        const int helper = findHelper(word);
        if (helper >= 0) {
            spelling.helpers.push_back(static_cast<std::uint16_t>(helper));
        }
    });
    group->rows.push_back(std::move(spelling));
}

void SpellingTable::collectCalledWords(std::vector<std::string>& words) const {
    for (const Group& group : fGroups) {
        for (const Spelling& row : group.rows) {
            qvShadingDag::collectCalledWords(row.text, words);
        }
    }
    for (const HelperFunction& helper : fHelpers) {
        qvShadingDag::collectCalledWords(helper.text, words);
    }
}

int SpellingTable::findHelper(std::string_view name) const {
    for (std::size_t i = 0; i < fHelpers.size(); ++i) {
        if (fHelpers[i].name == name) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

const SpellingTable::Group* SpellingTable::findGroup(std::string_view name) const {
    for (std::size_t bucket = hashOfName(name) % fBuckets.size(); fBuckets[bucket] != 0;
         bucket = (bucket + 1) % fBuckets.size()) {
        const Group& group = fGroups[fBuckets[bucket] - 1];
        if (group.name == name) {
            return &group;
        }
    }
    return nullptr;
}

const Spelling* SpellingTable::find(std::string_view name, std::span<const DataType> inputs,
                                    int output) const {
    if (const Group* group = findGroup(name)) {
        for (const Spelling& row : group->rows) {
            if (row.output == output && matchesPattern(row.pattern, inputs)) {
                return &row;
            }
        }
    }
    return nullptr;
}

const SpellingTable& SpellingTable::of(const ProgramTarget& target) {
    static const SpellingTable tables[] = {
        SpellingTable(ProgramTarget::glsl330()), SpellingTable(ProgramTarget::es300()),
        SpellingTable(ProgramTarget::vulkan450()), SpellingTable(ProgramTarget::hlsl()),
        SpellingTable(ProgramTarget::cg())};
    return tables[target.id];
}

} // namespace qvShadingDag
