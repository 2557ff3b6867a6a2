#pragma once

#include "base/Export.h"
#include "core/DataType.h"

#include <string>
#include <vector>

namespace qvShadingDag {

/// The two programs of a pair.
enum ProgramStage : int {
    kVertexProgram = 0,
    kFragmentProgram,
};

/// What a pair of programs asks of its host, and what passes between the two.
///
///     for (const ProgramVariable& map : convertor.programInterface().samplers) {
///         glUniform1i(glGetUniformLocation(program, map.name.c_str()), map.binding);
///     }
///
/// Types are those of the shading language. A bool travels as an int; a clampu is a float in the
/// text. A matrix takes its numbers row by row.
struct QV_EXPORT ProgramVariable {
    std::string name; ///< in the texts
    DataType type = kInvalidDataType;
    /// The parameter of the function that it stands for; of an output its name. Empty for a varying
    /// that carries anything but an unchanged parameter, and for a hoisted value.
    std::string input;
    int location = -1;  ///< of attributes, varyings and colours; -1 for none
    int component = -1; ///< of a varying that shares its location: where it starts there, from 0
    int binding = -1;   ///< of samplers; -1 for none
    int offset = -1;    ///< in bytes, in the uniform block; -1 where there is none
    std::string kind;   ///< of samplers: "1D", "2D", "3D", "CUBE" or "RECT"
    bool flat = false;  ///< of varyings: not interpolated, the value of the provoking vertex
    bool lightSpecific = false;
    bool inVertex = false;           ///< the vertex text names it
    bool inFragment = false;         ///< the fragment text names it
    std::vector<std::string> inputs; ///< of a hoisted value: the parameters that it depends on
    std::vector<double> value;       ///< of a hoisted value: its numbers, where the host has put them
};

/// The same, sorted by what it is.
struct QV_EXPORT ProgramInterface {
    std::string target; ///< the name of the target
    std::string policy; ///< "exact" or "earliest"
    std::vector<ProgramVariable> attributes;
    std::vector<ProgramVariable> uniforms; ///< what the texts declare, but for hoisted values and maps
    std::vector<ProgramVariable> hoisted;  ///< values that `HostUniforms` computes
    std::vector<ProgramVariable> samplers;
    std::vector<ProgramVariable> varyings;
    std::vector<ProgramVariable> outputs; ///< those of the function that the programs write

    int blockSize = 0; ///< of the uniform block, in bytes; 0 where the target has none
    int blockSet = 0;  ///< the descriptor set of the block and of the samplers
    int blockBinding = 0;

    /// As JSON, one entry a line.
    std::string toJson() const;
};

} // namespace qvShadingDag
