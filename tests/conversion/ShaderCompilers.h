#pragma once

#include "ShaderPair.h"

#include <cstdint>
#include <string>
#include <vector>

namespace programTesting {

/// What a program text is written in.
enum Dialect : int { kGlsl330, kEs300, kVulkan450, kHlsl };

using SpirvWords = std::vector<std::uint32_t>;

/// What the reference compiler makes of a pair: the messages, empty when both texts are accepted,
/// linked and valid, and SPIR-V of both where the dialect has it (`kVulkan450` and `kHlsl`).
struct CompiledPair {
    std::string log;
    SpirvWords vertex, fragment;
};

/// Compiles and links a pair with glslang; SPIR-V goes through the validator of SPIRV-Tools too.
/// Warnings count as refusals.
CompiledPair compilePair(Dialect dialect, const ShaderPair& pair);

/// The number of instructions in the functions of a module after `spirv-opt -O`; 0 when the optimizer
/// refuses it. Declarations, names and decorations are not counted.
std::size_t instructionsAfterOptimizing(const SpirvWords& module);

/// The components of a module's input variables at locations, of a fragment program: what it receives
/// from the vertex program. A location counts as wide as the vector declared there.
int inputComponents(const SpirvWords& module);

/// The pair as GLSL 3.30, by SPIRV-Cross: varyings are named after their locations, vertex attributes
/// `attribute0` and so on after theirs, blocks `block0` and samplers `sampler1` after their bindings, with
/// "size0" and so on behind them where only the size of the map is read.
/// Empty texts and a message in `log` where it cannot.
ShaderPair toGlsl330(const CompiledPair& pair, std::string& log);

} // namespace programTesting
