#pragma once

#include "base/Export.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace qvShadingDag {

struct KernelCall;
class ShadingNodeSpec;

/// Computes one call of a primitive for a number of points.
using Kernel = void (*)(const KernelCall& call, std::size_t points);

/// What kind of map a lookup reads.
enum TextureKind : int {
    kNoTexture = 0, ///< the primitive is no lookup
    kTexture1D,
    kTexture2D,
    kTexture3D,
    kTextureCUBE,
    kTextureRECT,
};

/// The sets of inputs in which a value is affine jointly, while the other inputs stay the same: bit
/// 0 is the first input; 0 is no set. A product has two sets of one input, a sum one set of both.
struct AffineSets {
    std::uint32_t first = 0;
    std::uint32_t second = 0;
};

/// One family of the language's primitives, the functions without a body: those of one name that
/// compute the same, whatever the widths of their arguments.
///
/// A pattern is a list of types. `F`, `I` and `C` stand for a float, int or clampu of any width, `M`
/// for a matrix of any size; all of them in one signature have one width (`M` of size n and `F` of n
/// components go together). `F'`, `I'`, `C'` have a second width. `T` is the result of a lookup,
/// whose name begins with its kind: float4 without a prefix, and clampu3 for "x3". Everything else
/// is the spelling of a type.
struct Primitive {
    const char* name;    ///< as it is declared: "operator+", "dot"; of lookups without the prefix
    const char* results; ///< the pattern of the outputs, the returned value first
    const char* inputs;  ///< the patterns of the inputs, separated by "|"

    AffineSets affine; ///< in which inputs the value is affine
    Kernel kernel;     ///< what it computes

    TextureKind texture = kNoTexture; ///< what the first input is read as
};

/// All families that qv knows, in an order that stays within a version: what else there is to say
/// about each of them may stand in a table beside this one.
QV_EXPORT std::span<const Primitive> primitives();

/// The family that a declared function belongs to, by its name and the types of all its parameters;
/// null when there is none, and for a defined function. Takes time in the length of the header.
QV_EXPORT const Primitive* findPrimitive(const ShadingNodeSpec& declared);

} // namespace qvShadingDag
