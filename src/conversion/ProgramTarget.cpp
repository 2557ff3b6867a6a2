#include "conversion/ProgramTarget.h"

#include <iterator>

namespace qvShadingDag {

namespace {

using Target = ProgramTarget;

// clang-format off
constexpr ProgramTarget kTargets[] = {
    // id                 name         words               spelled like       version              fragment precision
    //   sampler  block  explicit  binding  attributes  samplers  components  locations  position       depth           colour   endings
    {Target::kGlsl330,   "glsl330",   Target::kGlslWords, Target::kNoTarget, "#version 330 core\n", "",
         false,   false, false,    0,       16,         16,       60,         0,         "gl_Position", "gl_FragDepth", "",      ".vert", ".frag"},
    {Target::kEs300,     "es300",     Target::kGlslWords, Target::kNoTarget, "#version 300 es\n",   "precision highp float;\nprecision highp int;\n",
         true,    false, false,    0,       16,         16,       60,         0,         "gl_Position", "gl_FragDepth", "",      ".vert", ".frag"},
    {Target::kVulkan450, "vulkan450", Target::kGlslWords, Target::kNoTarget, "#version 450\n",      "",
         false,   true,  true,     1,       16,         16,       64,         16,        "gl_Position", "gl_FragDepth", "",      ".vert", ".frag"},
    {Target::kHlsl,      "hlsl",      Target::kHlslWords, Target::kNoTarget, "",                    "",
         false,   true,  true,     0,       16,         16,       60,         0,         "",            "",             "",      ".vs.hlsl", ".ps.hlsl"},
    {Target::kCg,        "cg",        Target::kHlslWords, Target::kHlsl,     "",                    "",
         false,   false, false,    0,       16,         16,       60,         0,         "HPOS",        "depth",        "color", ".vert", ".frag"},
};

struct TypeRow {
    DataType type;
    std::string_view names[2]; // by ProgramTarget::Language
};

constexpr TypeRow kTypes[] = {
    {kInvalidDataType, {"",      ""}},
    {kVoid,            {"",      ""}},
    {kBool,            {"bool",  "bool"}},
    {kFloat,           {"float", "float"}},
    {kFloat2,          {"vec2",  "float2"}},
    {kFloat3,          {"vec3",  "float3"}},
    {kFloat4,          {"vec4",  "float4"}},
    {kClampu,          {"float", "float"}},
    {kClampu2,         {"vec2",  "float2"}},
    {kClampu3,         {"vec3",  "float3"}},
    {kClampu4,         {"vec4",  "float4"}},
    {kInt,             {"int",   "int"}},
    {kInt2,            {"ivec2", "int2"}},
    {kInt3,            {"ivec3", "int3"}},
    {kInt4,            {"ivec4", "int4"}},
    {kMatrix2,         {"mat2",  "float2x2"}},
    {kMatrix3,         {"mat3",  "float3x3"}},
    {kMatrix4,         {"mat4",  "float4x4"}},
};
// clang-format on

constexpr bool rowsStandInOrder() {
    for (std::size_t i = 0; i < std::size(kTargets); ++i) {
        if (kTargets[i].id != static_cast<int>(i)) {
            return false;
        }
    }
    for (std::size_t i = 0; i < std::size(kTypes); ++i) {
        if (kTypes[i].type != static_cast<int>(i)) {
            return false;
        }
    }
    return std::size(kTargets) == Target::kNumTargets;
}
static_assert(rowsStandInOrder());

} // namespace

std::string_view ProgramTarget::typeName(DataType type) const {
    const bool known = type >= 0 && static_cast<std::size_t>(type) < std::size(kTypes);
    return known ? kTypes[type].names[language] : std::string_view();
}

const ProgramTarget& ProgramTarget::glsl330() {
    return at(kGlsl330);
}

const ProgramTarget& ProgramTarget::es300() {
    return at(kEs300);
}

const ProgramTarget& ProgramTarget::vulkan450() {
    return at(kVulkan450);
}

const ProgramTarget& ProgramTarget::hlsl() {
    return at(kHlsl);
}

const ProgramTarget& ProgramTarget::cg() {
    return at(kCg);
}

const ProgramTarget* ProgramTarget::find(std::string_view name) {
    for (const ProgramTarget& target : kTargets) {
        if (name == target.name) {
            return &target;
        }
    }
    return nullptr;
}

const ProgramTarget& ProgramTarget::at(Id id) {
    return kTargets[id];
}

} // namespace qvShadingDag
