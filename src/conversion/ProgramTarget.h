#pragma once

#include "base/Export.h"
#include "core/DataType.h"

#include <string_view>

namespace qvShadingDag {

/// One language that program texts are written in: a row of plain facts. What else a target writes
/// in its own way is its spellings of the primitives and one function for the declarations around
/// the body.
///
///     const ProgramTarget* target = ProgramTarget::find("es300"); // null for a name that is none
///     target->typeName(kFloat3);                                  // "vec3"
struct QV_EXPORT ProgramTarget {
    /// The position of a target in the table.
    enum Id : int { kGlsl330, kEs300, kVulkan450, kHlsl, kCg, kNumTargets, kNoTarget = -1 };

    /// Whose words for types, literals and matrices a target uses.
    enum Language : int { kGlslWords, kHlslWords };

    Id id;
    const char* name;        ///< as `qvshade convert --target` takes it
    Language language;       ///< words for types and literals
    Id spelledLike;          ///< whose spellings hold where the target has none of its own
    const char* version;     ///< the first lines of both texts
    const char* precision;   ///< what follows in the fragment text
    bool samplerPrecision;   ///< every sampler type that is used gets a precision of its own
    bool uniformBlock;       ///< uniforms and hoisted values stand in one block
    bool explicitInterface;  ///< varyings and samplers carry their numbers in the text
    unsigned samplerBinding; ///< the binding of the first sampler

    unsigned maxAttributes;        ///< registers for attributes
    unsigned maxSamplers;          ///< of the fragment program
    unsigned maxVaryingComponents; ///< 32-bit numbers from the vertex to the fragment program
    unsigned maxVaryingLocations;  ///< of four numbers each, filled up by packing; 0 for no packing

    const char* position; ///< what the clip position is assigned to; empty: an output with a name of its own
    const char* depth;    ///< the same for the depth
    const char* color;    ///< the same for the colour

    const char* vertexEnding;   ///< of the file of a vertex text
    const char* fragmentEnding; ///< of the file of a fragment text

    /// The name of a type in this target's text; empty for one without values (`kVoid`).
    std::string_view typeName(DataType type) const;

    /// OpenGL 3.3.
    static const ProgramTarget& glsl330();
    /// OpenGL ES 3.0 and WebGL 2.
    static const ProgramTarget& es300();
    /// GLSL for Vulkan, to be translated to SPIR-V.
    static const ProgramTarget& vulkan450();
    /// HLSL, shader model 5, Direct3D 11.
    static const ProgramTarget& hlsl();
    /// The text of the blocks of `HSLConvertor`; written by `HSLTextConvertor`.
    static const ProgramTarget& cg();

    /// The target of that name; null when there is none.
    static const ProgramTarget* find(std::string_view name);
    /// The target at a position.
    static const ProgramTarget& at(Id id);
};

} // namespace qvShadingDag
