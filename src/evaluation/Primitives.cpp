#include "evaluation/Primitives.h"

#include "evaluation/KernelCall.h"
#include "evaluation/Kernels.h"
#include "evaluation/ShadingValue.h"
#include "shadingdag/ShadingNodeSpec.h"

#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace qvShadingDag {

namespace {

using namespace kernels;

// The sets of inputs in which a family is affine.
constexpr AffineSets kNone{};
constexpr AffineSets kFirst{0b1};
constexpr AffineSets kEither{0b01, 0b10};        // in either of two
constexpr AffineSets kAll{0xFFFF};               // in all together
constexpr AffineSets kEndsOrShare{0b011, 0b100}; // of mix: in a and b together, or in t
constexpr AffineSets kChoices{0b110};            // of select: in a and b together

// clang-format off
constexpr Primitive kPrimitives[] = {
    // name          results     inputs                                affine in     kernel
    {"operator+",    "F",        "F F|F float|float F",                kAll,         binary<add>},
    {"operator+",    "I",        "I I|I int|int I",                    kAll,         binary<addInt>},
    {"operator+",    "C",        "C C",                                kNone,        binary<addClamped>},
    {"operator+",    "M",        "M M",                                kAll,         binary<add>},
    {"operator-",    "F",        "F F|F float|float F",                kAll,         binary<subtract>},
    {"operator-",    "I",        "I I|I int|int I",                    kAll,         binary<subtractInt>},
    {"operator-",    "C",        "C C",                                kNone,        binary<subtractClamped>},
    {"operator-",    "M",        "M M",                                kAll,         binary<subtract>},
    {"operator*",    "F",        "F F|F float|float F",                kEither,      binary<multiply>},
    {"operator*",    "I",        "I I|I int|int I",                    kEither,      binary<multiplyInt>},
    {"operator*",    "C",        "C C",                                kNone,        binary<multiplyClamped>},
    {"operator*",    "M",        "M float|float M",                    kEither,      binary<multiply>},
    {"operator*",    "M",        "M M",                                kEither,      matrixProduct<false, false>},
    {"operator*",    "F",        "F M",                                kEither,      matrixProduct<true, false>},
    {"operator*",    "F",        "M F",                                kEither,      matrixProduct<false, true>},
    {"operator/",    "F",        "F F|F float|float F",                kFirst,       binary<divide>},
    {"operator/",    "I",        "I I|I int|int I",                    kNone,        binary<divideInt>},
    {"operator/",    "M",        "M float",                            kFirst,       binary<divide>},
    {"operator%",    "F",        "F F|F float|float F",                kNone,        binary<remainder>},
    {"operator%",    "I",        "I I|I int|int I",                    kNone,        binary<remainderInt>},
    {"operator-",    "F",        "F",                                  kAll,         unary<negate>},
    {"operator-",    "I",        "I",                                  kAll,         unary<negateInt>},
    {"operator-",    "M",        "M",                                  kAll,         unary<negate>},
    {"operator++",   "F",        "F",                                  kAll,         unary<increment>},
    {"operator++",   "I",        "I",                                  kAll,         unary<incrementInt>},
    {"operator--",   "F",        "F",                                  kAll,         unary<decrement>},
    {"operator--",   "I",        "I",                                  kAll,         unary<decrementInt>},
    {"transpose",    "M",        "M",                                  kAll,         transpose},
    {"determinant",  "float",    "M",                                  kNone,        determinant},
    {"inverse",      "M",        "M",                                  kNone,        inverse},

    {"operator==",   "bool",     "F F|C C|M M",                        kNone,        equality<true>},
    {"operator==",   "bool",     "I I",                                kNone,        equality<true>},
    {"operator==",   "bool",     "bool bool",                          kNone,        equality<true>},
    {"operator!=",   "bool",     "F F|C C|M M",                        kNone,        equality<false>},
    {"operator!=",   "bool",     "I I",                                kNone,        equality<false>},
    {"operator!=",   "bool",     "bool bool",                          kNone,        equality<false>},
    {"operator<",    "bool",     "float float|int int|clampu clampu",  kNone,        binary<less>},
    {"operator<=",   "bool",     "float float|int int|clampu clampu",  kNone,        binary<lessEqual>},
    {"operator>",    "bool",     "float float|int int|clampu clampu",  kNone,        binary<greater>},
    {"operator>=",   "bool",     "float float|int int|clampu clampu",  kNone,        binary<greaterEqual>},
    {"operator&&",   "bool",     "bool bool",                          kNone,        binary<logicalAnd>},
    {"operator||",   "bool",     "bool bool",                          kNone,        binary<logicalOr>},
    {"operator!",    "bool",     "bool",                               kNone,        unary<logicalNot>},
    {"select",       "F",        "bool F F",                           kChoices,     ternary<select>},
    {"select",       "I",        "bool I I",                           kChoices,     ternary<select>},
    {"select",       "C",        "bool C C",                           kChoices,     ternary<select>},
    {"select",       "M",        "bool M M",                           kChoices,     ternary<select>},
    {"select",       "bool",     "bool bool bool",                     kChoices,     ternary<select>},
    {"isfinite",     "bool",     "F",                                  kNone,        testComponents<finite, true>},
    {"isinf",        "bool",     "F",                                  kNone,        testComponents<infinite, false>},
    {"isnan",        "bool",     "F",                                  kNone,        testComponents<notANumber, false>},

    {"operator@",    "F'",       "F I'",                               kFirst,       swizzle},
    {"operator@",    "I'",       "I I'",                               kFirst,       swizzle},
    {"operator@",    "C'",       "C I'",                               kFirst,       swizzle},

    {"vec2",         "float2",   "float",                              kAll,         repeat},
    {"vec2",         "float2",   "float float",                        kAll,         join},
    {"vec3",         "float3",   "float",                              kAll,         repeat},
    {"vec3",         "float3",   "float float float|float2 float|float float2",
                                                                       kAll,         join},
    {"vec4",         "float4",   "float",                              kAll,         repeat},
    {"vec4",         "float4",   "float float float float|float2 float float|float float2 float"
                                 "|float float float2|float2 float2|float3 float|float float3",
                                                                       kAll,         join},
    {"ivec2",        "int2",     "int",                                kAll,         repeat},
    {"ivec2",        "int2",     "int int",                            kAll,         join},
    {"ivec3",        "int3",     "int",                                kAll,         repeat},
    {"ivec3",        "int3",     "int int int",                        kAll,         join},
    {"ivec4",        "int4",     "int",                                kAll,         repeat},
    {"ivec4",        "int4",     "int int int int|int3 int",           kAll,         join},
    {"cvec2",        "clampu2",  "clampu",                             kAll,         repeat},
    {"cvec2",        "clampu2",  "clampu clampu",                      kAll,         join},
    {"cvec3",        "clampu3",  "clampu",                             kAll,         repeat},
    {"cvec3",        "clampu3",  "clampu clampu clampu",               kAll,         join},
    {"cvec4",        "clampu4",  "clampu",                             kAll,         repeat},
    {"cvec4",        "clampu4",  "clampu clampu clampu clampu|clampu3 clampu",
                                                                       kAll,         join},
    {"mat2",         "matrix2",  "float",                              kAll,         diagonalMatrix},
    {"mat2",         "matrix2",  "float2 float2|float float float float",
                                                                       kAll,         join},
    {"mat2",         "matrix2",  "matrix3|matrix4",                    kAll,         resizedMatrix},
    {"mat3",         "matrix3",  "float",                              kAll,         diagonalMatrix},
    {"mat3",         "matrix3",  "float3 float3 float3"
                                 "|float float float float float float float float float",
                                                                       kAll,         join},
    {"mat3",         "matrix3",  "matrix2|matrix4",                    kAll,         resizedMatrix},
    {"mat4",         "matrix4",  "float",                              kAll,         diagonalMatrix},
    {"mat4",         "matrix4",  "float4 float4 float4 float4"
                                 "|float float float float float float float float float float float float float float float float",
                                                                       kAll,         join},
    {"mat4",         "matrix4",  "matrix2|matrix3",                    kAll,         resizedMatrix},
    {"row",          "F",        "M float",                            kFirst,       lineOfMatrix<true>},
    {"column",       "F",        "M float",                            kFirst,       lineOfMatrix<false>},
    {"toInt",        "I",        "F",                                  kNone,        unary<toInt>},
    {"toFloat",      "F",        "I",                                  kNone,        unary<same>},
    {"toClampu",     "C",        "F",                                  kNone,        unary<clampedToUnit>},
    {"toFloat",      "F",        "C",                                  kAll,         unary<same>},
    {"toBool",       "bool",     "float|int",                          kNone,        unary<toBool>},
    {"toFloat",      "float",    "bool",                               kNone,        unary<same>},
    {"toInt",        "int",      "bool",                               kNone,        unary<same>},

    {"constant",     "F",        "F",                                  kAll,         unary<same>},
    {"constant",     "I",        "I",                                  kAll,         unary<same>},
    {"constant",     "M",        "M",                                  kAll,         unary<same>},
    {"constant",     "bool",     "bool",                               kAll,         unary<same>},
    {"uniform",      "F",        "F",                                  kAll,         unary<same>},
    {"uniform",      "I",        "I",                                  kAll,         unary<same>},
    {"uniform",      "M",        "M",                                  kAll,         unary<same>},
    {"uniform",      "bool",     "bool",                               kAll,         unary<same>},
    {"vertex",       "F",        "F",                                  kAll,         unary<same>},
    {"vertex",       "I",        "I",                                  kAll,         unary<same>},
    {"vertex",       "M",        "M",                                  kAll,         unary<same>},
    {"vertex",       "bool",     "bool",                               kAll,         unary<same>},
    {"fragment",     "F",        "F",                                  kAll,         unary<same>},
    {"fragment",     "I",        "I",                                  kAll,         unary<same>},
    {"fragment",     "M",        "M",                                  kAll,         unary<same>},
    {"fragment",     "bool",     "bool",                               kAll,         unary<same>},
    {"perVertex",    "F",        "F",                                  kAll,         unary<same>},
    {"perFragment",  "F",        "F",                                  kAll,         unary<same>},

    {"sin",          "F",        "F",                                  kNone,        unary<sine>},
    {"cos",          "F",        "F",                                  kNone,        unary<cosine>},
    {"asin",         "F",        "F",                                  kNone,        unary<arcSine>},
    {"acos",         "F",        "F",                                  kNone,        unary<arcCosine>},
    {"atan",         "F",        "F",                                  kNone,        unary<arcTangent>},
    {"sinh",         "F",        "F",                                  kNone,        unary<hyperbolicSine>},
    {"cosh",         "F",        "F",                                  kNone,        unary<hyperbolicCosine>},
    {"tanh",         "F",        "F",                                  kNone,        unary<hyperbolicTangent>},
    {"degrees",      "F",        "F",                                  kAll,         unary<degrees>},
    {"radians",      "F",        "F",                                  kAll,         unary<radians>},
    {"atan2",        "F",        "F F",                                kNone,        binary<arcTangent2>},
    {"exp",          "F",        "F",                                  kNone,        unary<exponential>},
    {"exp2",         "F",        "F",                                  kNone,        unary<exponential2>},
    {"log",          "F",        "F",                                  kNone,        unary<logarithm>},
    {"log2",         "F",        "F",                                  kNone,        unary<logarithm2>},
    {"log10",        "F",        "F",                                  kNone,        unary<logarithm10>},
    {"sqrt",         "F",        "F",                                  kNone,        unary<squareRoot>},
    {"rsqrt",        "F",        "F",                                  kNone,        unary<inverseSquareRoot>},
    {"pow",          "F",        "F F|F float",                        kNone,        binary<power>},
    {"log",          "F",        "F F",                                kNone,        binary<logarithmToBase>},
    {"ldexp",        "F",        "F F",                                kFirst,       binary<scaleByPowerOf2>},

    {"abs",          "F",        "F",                                  kNone,        unary<absolute>},
    {"abs",          "I",        "I",                                  kNone,        unary<absInt>},
    {"sign",         "F",        "F",                                  kNone,        unary<sign>},
    {"sign",         "I",        "I",                                  kNone,        unary<sign>},
    {"floor",        "F",        "F",                                  kNone,        unary<floorOf>},
    {"ceil",         "F",        "F",                                  kNone,        unary<ceiling>},
    {"round",        "F",        "F",                                  kNone,        unary<roundToEven>},
    {"frac",         "F",        "F",                                  kNone,        unary<fraction>},
    {"fmod",         "F",        "F F|F float",                        kNone,        binary<remainder>},
    {"modf",         "F F",      "F",                                  kNone,        splitFraction},
    {"frexp",        "float float","float",                             kNone,        splitExponent},
    {"min",          "F",        "F F|F float",                        kNone,        binary<minimum>},
    {"min",          "I",        "I I",                                kNone,        binary<minimum>},
    {"min",          "C",        "C C",                                kNone,        binary<minimum>},
    {"max",          "F",        "F F|F float",                        kNone,        binary<maximum>},
    {"max",          "I",        "I I",                                kNone,        binary<maximum>},
    {"max",          "C",        "C C",                                kNone,        binary<maximum>},
    {"clamp",        "F",        "F F F|F float float",                kNone,        ternary<clamp>},
    {"clamp",        "I",        "I I I",                              kNone,        ternary<clamp>},
    {"mix",          "F",        "F F F|F F float",                    kEndsOrShare, ternary<mix>},
    {"mix",          "C",        "C C C",                              kNone,        ternary<mixClamped>},
    {"step",         "F",        "F F|float F",                        kNone,        binary<step>},
    {"smoothstep",   "F",        "F F F|float float F",                kNone,        ternary<smoothstep>},

    {"dot",          "float",    "F F",                                kEither,      dot},
    {"distance",     "float",    "F F",                                kNone,        distance},
    {"length",       "float",    "F",                                  kNone,        length},
    {"normalize",    "F",        "F",                                  kNone,        normalize},
    {"cross",        "float3",   "float3 float3",                      kEither,      cross},
    {"reflect",      "F",        "F F",                                kFirst,       reflect},
    {"refract",      "F",        "F F float",                          kNone,        refract},

    {"ddx",          "F",        "F",                                  kAll,         derivative<changeAlongX>},
    {"ddy",          "F",        "F",                                  kAll,         derivative<changeAlongY>},
    {"tex1D",        "T",        "texobj float",                       kNone,        lookUp<kTexture1D, false>, kTexture1D},
    {"tex1D",        "T",        "texobj float float float",           kNone,        lookUp<kTexture1D, true>, kTexture1D},
    {"tex2D",        "T",        "texobj float2",                      kNone,        lookUp<kTexture2D, false>, kTexture2D},
    {"tex2D",        "T",        "texobj float2 float2 float2",        kNone,        lookUp<kTexture2D, true>, kTexture2D},
    {"tex3D",        "T",        "texobj float3",                      kNone,        lookUp<kTexture3D, false>, kTexture3D},
    {"tex3D",        "T",        "texobj float3 float3 float3",        kNone,        lookUp<kTexture3D, true>, kTexture3D},
    {"texCUBE",      "T",        "texobj float3",                      kNone,        lookUp<kTextureCUBE, false>, kTextureCUBE},
    {"texCUBE",      "T",        "texobj float3 float3 float3",        kNone,        lookUp<kTextureCUBE, true>, kTextureCUBE},
    {"texRECT",      "T",        "texobj float2",                      kNone,        lookUp<kTextureRECT, false>, kTextureRECT},
    {"texRECT",      "T",        "texobj float2 float2 float2",        kNone,        lookUp<kTextureRECT, true>, kTextureRECT},
};
// clang-format on

struct LookupPrefix {
    const char* prefix;
    DataType result;
};

constexpr LookupPrefix kLookupPrefixes[] = {
    {"", kFloat4},   {"f1", kFloat},   {"f3", kFloat3},  {"f4", kFloat4},
    {"x1", kClampu}, {"x3", kClampu3}, {"x4", kClampu4},
};

/// Cuts `text` at every `separator`.
std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (std::size_t end = 0; end != std::string_view::npos;) {
        end = text.find(separator);
        parts.push_back(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return parts;
}

/// The type that a word of a pattern stands for, at the first and second width given; invalid where
/// there is none.
DataType typeOf(std::string_view word, int width, int secondWidth, DataType lookupResult) {
    const bool second = word.size() == 2 && word[1] == '\'';
    const int n = second ? secondWidth : width;
    if (word.size() == (second ? 2U : 1U)) {
        switch (word[0]) {
        case 'F':
            return static_cast<DataType>(kFloat + n - 1);
        case 'I':
            return static_cast<DataType>(kInt + n - 1);
        case 'C':
            return static_cast<DataType>(kClampu + n - 1);
        case 'M':
            return n < 2 ? kInvalidDataType : static_cast<DataType>(kMatrix2 + n - 2);
        case 'T':
            return lookupResult;
        default:
            break;
        }
    }
    return convertToDataType(std::string(word));
}

/// All signatures of all families, by name, inputs and outputs.
class SignatureIndex {
public:
    SignatureIndex() {
        for (const Primitive& primitive : kPrimitives) {
            for (const std::string_view inputs : split(primitive.inputs, '|')) {
                addPattern(primitive, inputs);
            }
        }
    }

    const Primitive* find(const std::string& key) const {
        const auto found = fSignatures.find(key);
        return found == fSignatures.end() ? nullptr : found->second;
    }

    /// The name, and a character per type, the outputs behind the inputs.
    static void append(std::string& key, DataType type) { key += static_cast<char>(type); }

private:
    void addPattern(const Primitive& primitive, std::string_view inputs) {
        const bool hasSecond = inputs.find('\'') != std::string_view::npos;
        for (int width = 1; width <= 4; ++width) {
            for (int second = 1; second <= (hasSecond ? 4 : 1); ++second) {
                if (primitive.texture == kNoTexture) {
                    add(primitive, primitive.name, inputs, width, second, kInvalidDataType);
                } else if (width == 1) {
                    for (const auto& [prefix, result] : kLookupPrefixes) {
                        add(primitive, std::string(prefix) + primitive.name, inputs, width, second, result);
                    }
                }
            }
        }
    }

    void add(const Primitive& primitive, std::string key, std::string_view inputs, int width, int second,
             DataType lookupResult) {
        for (const std::string_view pattern : {inputs, std::string_view(primitive.results)}) {
            key += '\0';
            for (const std::string_view word : split(pattern, ' ')) {
                const DataType type = typeOf(word, width, second, lookupResult);
                if (type == kInvalidDataType) {
                    return; // there is no matrix of one row
                }
                append(key, type);
            }
        }
        fSignatures.emplace(std::move(key), &primitive); // keeps the first: "F F" and "F float" meet
    }

    std::unordered_map<std::string, const Primitive*> fSignatures;
};

} // namespace

std::span<const Primitive> primitives() {
    return kPrimitives;
}

const Primitive* findPrimitive(const ShadingNodeSpec& declared) {
    static const SignatureIndex index;
    if (declared.nodeType() != kOperationNode) {
        return nullptr;
    }
    std::string key = declared.name();
    ShadingNodeSpec::AttributeIterator first;
    ShadingNodeSpec::AttributeIterator last;
    key += '\0';
    for (declared.inputs(first, last); first != last; ++first) {
        SignatureIndex::append(key, first->dataType());
    }
    key += '\0';
    declared.outputs(first, last);
    if (first == last || first->name() != "output") {
        return nullptr; // every primitive returns a value, which comes first
    }
    for (; first != last; ++first) {
        SignatureIndex::append(key, first->dataType());
    }
    return index.find(key);
}

View viewOf(const Primitive& primitive) {
    static constexpr std::pair<Kernel, View> kViews[] = {
        {unary<same>, View::kSame},
        {join, View::kJoin},
        {repeat, View::kRepeat},
        {swizzle, View::kSwizzle},
        {lineOfMatrix<true>, View::kRow},
        {lineOfMatrix<false>, View::kColumn},
        {kernels::transpose, View::kTranspose},
    };
    for (const auto& [kernel, view] : kViews) {
        if (primitive.kernel == kernel) {
            return view;
        }
    }
    return View::kNone;
}

int placeOf(double index, int size) {
    return std::clamp(static_cast<int>(saturatedInt(index)), 0, size - 1);
}

bool computeCall(const FlatProgram::Callee& callee, const ShadingValue* arguments, ShadingValue* results,
                 std::size_t resultCount) {
    ShadingNodeSpec::AttributeIterator input;
    ShadingNodeSpec::AttributeIterator last;
    callee.spec->inputs(input, last);
    if (!callee.primitive || callee.primitive->texture != kNoTexture) {
        return false;
    }
    constexpr std::size_t kMaxArguments = 16;
    constexpr std::size_t kMaxComponents = 16;
    const double* columns[kMaxArguments][kMaxComponents];
    KernelOperand operands[kMaxArguments];
    double* resultColumns[2 * kMaxComponents];
    KernelCall call;
    call.arguments = operands;
    for (; input != last; ++input, ++call.argumentCount) {
        const ShadingValue& value = arguments[call.argumentCount];
        KernelOperand& operand = operands[call.argumentCount];
        operand = {columns[call.argumentCount], value.width(), 0};
        for (int c = 0; c < operand.width; ++c) {
            columns[call.argumentCount][c] = &value.c[static_cast<std::size_t>(c)];
        }
    }
    double** column = resultColumns;
    for (std::size_t r = 0; r < resultCount; ++r) {
        for (int c = 0; c < results[r].width(); ++c) {
            *column++ = &results[r].c[static_cast<std::size_t>(c)];
        }
    }
    call.results = resultColumns;
    call.resultWidth = results[0].width();
    callee.primitive->kernel(call, 1);
    return true;
}

} // namespace qvShadingDag
