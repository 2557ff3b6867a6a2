#pragma once

/// @file
/// From a placed program to the texts of one target; not for hosts.

#include "conversion/PlacedProgram.h"
#include "conversion/ProgramBody.h"
#include "conversion/ProgramInterface.h"
#include "conversion/ProgramTarget.h"

#include <cstdint>
#include <string>
#include <vector>

namespace qvShadingDag {

class ShadingNodeSpec;

/// The line of the source that a line of a program text comes from.
struct SourceLine {
    std::uint32_t file = 0; ///< in `ProgramTexts::files`
    std::uint32_t line = 0; ///< counted from 1; 0 for none
};

/// What writing gives.
struct ProgramTexts {
    std::string texts[2];             ///< of the vertex and of the fragment program
    std::vector<SourceLine> lines[2]; ///< of each line of them
    std::vector<std::string> files;
    ProgramInterface variables;
};

/// What the programs exchange with the host and with each other: the public description, and what
/// the two bodies need to know of it.
struct InterfacePlan {
    ProgramInterface variables;
    std::vector<FlatProgram::Index> varyingValues;   ///< by varying
    std::vector<FlatProgram::Index> attributeValues; ///< by attribute; `kNone` for one that is implied
    std::vector<FlatProgram::Index> uniformValues;   ///< by uniform
    std::vector<FlatProgram::Index> hoistedValues;
    std::vector<FlatProgram::Index> samplerValues;
    std::vector<FlatProgram::Index> outputValues; ///< by output
    std::vector<PlacedProgram::Role> outputRoles; ///< the same
    int impliedPosition = -1; ///< the attribute that is multiplied by the matrix; -1 for none
    int impliedMatrix = -1;   ///< and the uniform
};

/// Lists what the programs exchange, names it and numbers it. Throws where a limit of the target is
/// passed and where one map is read as two kinds.
InterfacePlan planInterface(const PlacedProgram& placed, const ProgramTarget& target,
                            const PlacementOptions& options, NameTable& names);

/// Writes both texts and gives the plan that they follow. Throws an `Exception` for what cannot be written.
ProgramTexts writeProgram(const PlacedProgram& placed, const ShadingNodeSpec& function,
                          const ProgramTarget& target, const PlacementOptions& options,
                          const std::vector<HostSpelling>& hostSpellings, InterfacePlan& plan);

} // namespace qvShadingDag
