#pragma once

#include "base/Export.h"
#include "conversion/ProgramConvertor.h"
#include "evaluation/ShadingValue.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qvShadingDag {

/// A uniform as the host uploads it.
struct QV_EXPORT HostUniform {
    std::string name;     ///< in the texts
    ShadingValue value;   ///< as the programs expect it; a matrix row by row, untransposed
    int offset = -1;      ///< in the uniform block; -1 where the target has none
    bool known = false;   ///< all inputs that it depends on have been set
    bool changed = false; ///< by what was set since the values were asked for last
};

/// The values of a converted function that change once per draw: the uniforms that its programs
/// declare, and the hoisted ones, which are expressions in its inputs and are computed here.
///
///     HostUniforms host(convertor.program());
///     host.set("light", {1, 0.9, 0.8});
///     for (const HostUniform& uniform : host.values()) {
///         upload(program, uniform);
///     }
///
/// Computes in double and rounds the results to float. Only what depends on an input whose value
/// changed is computed again. A clampu input is clamped, an input that was never set is 0.
class QV_EXPORT HostUniforms {
public:
    /// For a program that a convertor has made, which the object shares.
    explicit HostUniforms(const ConvertedProgram& program);

    /// Sets an input of the function, or the matrix `modelViewProjection` that a program without a
    /// position of its own multiplies by. False, and nothing is set, when no uniform depends on such
    /// an input and when the value has another number of components than it.
    bool set(const std::string& input, const ShadingValue& value);

    /// All of them, computed where needed: first the uniforms, then the hoisted ones, each as the
    /// interface lists them.
    const std::vector<HostUniform>& values();

    /// The bytes of the uniform block, where the target has one: 32-bit floats and ints at their
    /// offsets, each row of a matrix on 16 bytes.
    std::vector<unsigned char> block();

private:
    void compute();

    ConvertedProgram fProgram;
    std::vector<ShadingValue> fValues;   // by value of the flat program
    ShadingValue fImplied;               // the matrix that stands for no input
    std::size_t fImpliedSlot = 0;        // in the next two
    std::vector<bool> fKnown;            // by value: all that it depends on has been set
    std::vector<bool> fStale;            // by value: another one than when it was last asked for
    std::vector<std::uint32_t> fValueOf; // by uniform
    std::vector<HostUniform> fUniforms;
    bool fAnyStale = true;
};

} // namespace qvShadingDag
