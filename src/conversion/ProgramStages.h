#pragma once

/// @file
/// Internal: the programs of a placed function as flat programs of their own.

#include "conversion/PlacedProgram.h"
#include "evaluation/FlatProgram.h"

#include <vector>

namespace qvShadingDag {

/// One of the three programs of a placed function: what the host computes, the vertex program or the
/// fragment program. The values that cross into it are its inputs.
struct ProgramStage {
    using Index = FlatProgram::Index;

    FlatProgram program;
    std::vector<Index> sources; ///< by input: the value of the placed program that it stands for
    std::vector<Index> results; ///< by output: the same
};

/// The stage that computes `results`, values of the placed program, with `nodes` in their order.
ProgramStage extractStage(const PlacedProgram& placed, const std::vector<FlatProgram::Index>& nodes,
                          const std::vector<FlatProgram::Index>& results);

} // namespace qvShadingDag
