#pragma once

/// @file
/// From a placed program to the texts of one target; not for hosts.

#include "conversion/PlacedProgram.h"
#include "conversion/ProgramBody.h"
#include "conversion/ProgramBorders.h"
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

/// Places a function. Throws a `PlacementFailure`, also where the value of a constant input is missing.
PlacedProgram placeToConvert(const ShadingNodeSpec& function, const PlacementOptions& options);

/// Keeps the words of the host's texts from becoming names.
void reserveWords(NameTable& names, const std::vector<HostSpelling>& hostSpellings);

/// The functions that a body calls, whole lines; empty for none.
std::string helperTexts(const ProgramBody& body, const ProgramTarget& target);

/// Writes both texts and gives the plan that they follow. Throws an `Exception` for what cannot be written.
ProgramTexts writeProgram(const PlacedProgram& placed, const ShadingNodeSpec& function,
                          const ProgramTarget& target, const PlacementOptions& options,
                          const std::vector<HostSpelling>& hostSpellings, InterfacePlan& plan);

} // namespace qvShadingDag
