#pragma once

/// @file
/// What the bodies of the two programs have at their borders; not for hosts.

#include "conversion/PlacedProgram.h"
#include "conversion/ProgramBody.h"
#include "conversion/ProgramInterface.h"
#include "conversion/ProgramNames.h"
#include "conversion/ProgramTarget.h"

#include <string>
#include <string_view>
#include <vector>

namespace qvShadingDag {

/// What the programs exchange with the host and with each other: the public description, and what
/// the two bodies need to know of it. The lists of values run beside those of the description.
struct InterfacePlan {
    ProgramInterface variables;
    std::vector<FlatProgram::Index> attributeValues; ///< `kNone` for one that is implied
    std::vector<FlatProgram::Index> uniformValues;   ///< the same
    std::vector<FlatProgram::Index> hoistedValues;
    std::vector<FlatProgram::Index> samplerValues;
    std::vector<FlatProgram::Index> varyingValues;
    std::vector<FlatProgram::Index> outputValues;
    std::vector<PlacedProgram::Role> outputRoles;
    std::string position;     ///< what the clip position is assigned to
    int impliedPosition = -1; ///< the attribute that is multiplied by the matrix; -1 for none
    int impliedMatrix = -1;   ///< and the uniform
};

/// Lists what the programs exchange, names it and numbers it. Throws where a limit of the target is
/// passed, where one map is read as two kinds and where there is nothing to draw.
InterfacePlan planInterface(const PlacedProgram& placed, std::string_view function,
                            const ProgramTarget& target, const PlacementOptions& options, NameTable& names);

/// The type of a variable at the border of a program, where a bool is an int.
DataType carrierType(DataType type);

/// Tells a body what it has when it starts and what it has to assign, and writes it. `access` stands
/// in front of the names of attributes in the vertex and of varyings in the fragment program.
void writeBody(ProgramBody& body, ProgramStage stage, const PlacedProgram& placed, const InterfacePlan& plan,
               const ProgramTarget& target, NameTable& names, std::string_view access);

} // namespace qvShadingDag
