#include "evaluation/Primitives.h"

#include "evaluation/ShadingValue.h"
#include "shadingdag/ShadingNodeSpec.h"

#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace qvShadingDag {

namespace {

// The sets of inputs in which a family is affine.
constexpr AffineSets kNone{};
constexpr AffineSets kFirst{0b1};
constexpr AffineSets kEither{0b01, 0b10};        // in either of two
constexpr AffineSets kAll{0xFFFF};               // in all together
constexpr AffineSets kEndsOrShare{0b011, 0b100}; // of mix: in a and b together, or in t
constexpr AffineSets kChoices{0b110};            // of select: in a and b together

constexpr Primitive kPrimitives[] = {
    // name            results    inputs                                        affine in
    {"operator+", "F", "F F|F float|float F", kAll},
    {"operator+", "I", "I I|I int|int I", kAll},
    {"operator+", "C", "C C", kNone},
    {"operator+", "M", "M M", kAll},
    {"operator-", "F", "F F|F float|float F", kAll},
    {"operator-", "I", "I I|I int|int I", kAll},
    {"operator-", "C", "C C", kNone},
    {"operator-", "M", "M M", kAll},
    {"operator*", "F", "F F|F float|float F", kEither},
    {"operator*", "I", "I I|I int|int I", kEither},
    {"operator*", "C", "C C", kNone},
    {"operator*", "M", "M float|float M", kEither},
    {"operator*", "M", "M M", kEither},
    {"operator*", "F", "F M", kEither},
    {"operator*", "F", "M F", kEither},
    {"operator/", "F", "F F|F float|float F", kFirst},
    {"operator/", "I", "I I|I int|int I", kNone},
    {"operator/", "M", "M float", kFirst},
    {"operator%", "F", "F F|F float|float F", kNone},
    {"operator%", "I", "I I|I int|int I", kNone},
    {"operator-", "F", "F", kAll},
    {"operator-", "I", "I", kAll},
    {"operator-", "M", "M", kAll},
    {"operator++", "F", "F", kAll},
    {"operator++", "I", "I", kAll},
    {"operator--", "F", "F", kAll},
    {"operator--", "I", "I", kAll},
    {"transpose", "M", "M", kAll},
    {"determinant", "float", "M", kNone},
    {"inverse", "M", "M", kNone},

    {"operator==", "bool", "F F|C C|M M", kNone},
    {"operator==", "bool", "I I", kNone},
    {"operator==", "bool", "bool bool", kNone},
    {"operator!=", "bool", "F F|C C|M M", kNone},
    {"operator!=", "bool", "I I", kNone},
    {"operator!=", "bool", "bool bool", kNone},
    {"operator<", "bool", "float float|int int|clampu clampu", kNone},
    {"operator<=", "bool", "float float|int int|clampu clampu", kNone},
    {"operator>", "bool", "float float|int int|clampu clampu", kNone},
    {"operator>=", "bool", "float float|int int|clampu clampu", kNone},
    {"operator&&", "bool", "bool bool", kNone},
    {"operator||", "bool", "bool bool", kNone},
    {"operator!", "bool", "bool", kNone},
    {"select", "F", "bool F F", kChoices},
    {"select", "I", "bool I I", kChoices},
    {"select", "C", "bool C C", kChoices},
    {"select", "M", "bool M M", kChoices},
    {"select", "bool", "bool bool bool", kChoices},
    {"isfinite", "bool", "F", kNone},
    {"isinf", "bool", "F", kNone},
    {"isnan", "bool", "F", kNone},

    {"operator@", "F'", "F I'", kFirst},
    {"operator@", "I'", "I I'", kFirst},
    {"operator@", "C'", "C I'", kFirst},

    {"vec2", "float2", "float", kAll},
    {"vec2", "float2", "float float", kAll},
    {"vec3", "float3", "float", kAll},
    {"vec3", "float3", "float float float|float2 float|float float2", kAll},
    {"vec4", "float4", "float", kAll},
    {"vec4", "float4",
     "float float float float|float2 float float|float float2 float|float float float2|float2 float2"
     "|float3 float|float float3",
     kAll},
    {"ivec2", "int2", "int", kAll},
    {"ivec2", "int2", "int int", kAll},
    {"ivec3", "int3", "int", kAll},
    {"ivec3", "int3", "int int int", kAll},
    {"ivec4", "int4", "int", kAll},
    {"ivec4", "int4", "int int int int|int3 int", kAll},
    {"cvec2", "clampu2", "clampu", kAll},
    {"cvec2", "clampu2", "clampu clampu", kAll},
    {"cvec3", "clampu3", "clampu", kAll},
    {"cvec3", "clampu3", "clampu clampu clampu", kAll},
    {"cvec4", "clampu4", "clampu", kAll},
    {"cvec4", "clampu4", "clampu clampu clampu clampu|clampu3 clampu", kAll},
    {"mat2", "matrix2", "float", kAll},
    {"mat2", "matrix2", "float2 float2|float float float float", kAll},
    {"mat2", "matrix2", "matrix3|matrix4", kAll},
    {"mat3", "matrix3", "float", kAll},
    {"mat3", "matrix3", "float3 float3 float3|float float float float float float float float float", kAll},
    {"mat3", "matrix3", "matrix2|matrix4", kAll},
    {"mat4", "matrix4", "float", kAll},
    {"mat4", "matrix4",
     "float4 float4 float4 float4"
     "|float float float float float float float float float float float float float float float float",
     kAll},
    {"mat4", "matrix4", "matrix2|matrix3", kAll},
    {"row", "F", "M float", kFirst},
    {"column", "F", "M float", kFirst},
    {"toInt", "I", "F", kNone},
    {"toFloat", "F", "I", kNone},
    {"toClampu", "C", "F", kNone},
    {"toFloat", "F", "C", kAll},
    {"toBool", "bool", "float|int", kNone},
    {"toFloat", "float", "bool", kNone},
    {"toInt", "int", "bool", kNone},

    {"constant", "F", "F", kAll},
    {"constant", "I", "I", kAll},
    {"constant", "M", "M", kAll},
    {"constant", "bool", "bool", kAll},
    {"uniform", "F", "F", kAll},
    {"uniform", "I", "I", kAll},
    {"uniform", "M", "M", kAll},
    {"uniform", "bool", "bool", kAll},
    {"vertex", "F", "F", kAll},
    {"vertex", "I", "I", kAll},
    {"vertex", "M", "M", kAll},
    {"vertex", "bool", "bool", kAll},
    {"fragment", "F", "F", kAll},
    {"fragment", "I", "I", kAll},
    {"fragment", "M", "M", kAll},
    {"fragment", "bool", "bool", kAll},
    {"perVertex", "F", "F", kAll},
    {"perFragment", "F", "F", kAll},

    {"sin", "F", "F", kNone},
    {"cos", "F", "F", kNone},
    {"asin", "F", "F", kNone},
    {"acos", "F", "F", kNone},
    {"atan", "F", "F", kNone},
    {"sinh", "F", "F", kNone},
    {"cosh", "F", "F", kNone},
    {"tanh", "F", "F", kNone},
    {"degrees", "F", "F", kAll},
    {"radians", "F", "F", kAll},
    {"atan2", "F", "F F", kNone},
    {"exp", "F", "F", kNone},
    {"exp2", "F", "F", kNone},
    {"log", "F", "F", kNone},
    {"log2", "F", "F", kNone},
    {"log10", "F", "F", kNone},
    {"sqrt", "F", "F", kNone},
    {"rsqrt", "F", "F", kNone},
    {"pow", "F", "F F|F float", kNone},
    {"log", "F", "F F", kNone},
    {"ldexp", "F", "F F", kFirst},

    {"abs", "F", "F", kNone},
    {"abs", "I", "I", kNone},
    {"sign", "F", "F", kNone},
    {"sign", "I", "I", kNone},
    {"floor", "F", "F", kNone},
    {"ceil", "F", "F", kNone},
    {"round", "F", "F", kNone},
    {"frac", "F", "F", kNone},
    {"fmod", "F", "F F|F float", kNone},
    {"modf", "F F", "F", kNone},
    {"frexp", "float float", "float", kNone},
    {"min", "F", "F F|F float", kNone},
    {"min", "I", "I I", kNone},
    {"min", "C", "C C", kNone},
    {"max", "F", "F F|F float", kNone},
    {"max", "I", "I I", kNone},
    {"max", "C", "C C", kNone},
    {"clamp", "F", "F F F|F float float", kNone},
    {"clamp", "I", "I I I", kNone},
    {"mix", "F", "F F F|F F float", kEndsOrShare},
    {"mix", "C", "C C C", kNone},
    {"step", "F", "F F|float F", kNone},
    {"smoothstep", "F", "F F F|float float F", kNone},

    {"dot", "float", "F F", kEither},
    {"distance", "float", "F F", kNone},
    {"length", "float", "F", kNone},
    {"normalize", "F", "F", kNone},
    {"cross", "float3", "float3 float3", kEither},
    {"reflect", "F", "F F", kFirst},
    {"refract", "F", "F F float", kNone},

    {"ddx", "F", "F", kAll},
    {"ddy", "F", "F", kAll},
    {"tex1D", "T", "texobj float", kNone, kTexture1D},
    {"tex1D", "T", "texobj float float float", kNone, kTexture1D},
    {"tex2D", "T", "texobj float2", kNone, kTexture2D},
    {"tex2D", "T", "texobj float2 float2 float2", kNone, kTexture2D},
    {"tex3D", "T", "texobj float3", kNone, kTexture3D},
    {"tex3D", "T", "texobj float3 float3 float3", kNone, kTexture3D},
    {"texCUBE", "T", "texobj float3", kNone, kTextureCUBE},
    {"texCUBE", "T", "texobj float3 float3 float3", kNone, kTextureCUBE},
    {"texRECT", "T", "texobj float2", kNone, kTextureRECT},
    {"texRECT", "T", "texobj float2 float2 float2", kNone, kTextureRECT},
};

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

} // namespace qvShadingDag
