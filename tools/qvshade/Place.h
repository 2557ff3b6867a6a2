#pragma once

#include "CommandLine.h"

#include "conversion/Placement.h"
#include "shadingdag/ShadingNodeSpec.h"

/// What the command line says about the placement of a function: the policy, how inputs are delivered
/// and the values of constant ones. Throws a `Failure` where the function has no such input, or none
/// of that type.
qvShadingDag::PlacementOptions placementOptions(const CommandLine& line,
                                                const qvShadingDag::ShadingNodeSpec& spec);

/// Throws a `Failure` where the function cannot be placed so.
void checkPlacement(const qvShadingDag::ShadingNodeSpec& spec, const qvShadingDag::PlacementOptions& options);

/// Prints where each node of the function is computed and why, draws that, or prints what it costs.
void place(const CommandLine& line, const qvShadingDag::ShadingNodeSpec& spec);
