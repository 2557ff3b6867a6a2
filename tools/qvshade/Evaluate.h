#pragma once

#include "CommandLine.h"

#include "shadingdag/ShadingNodeSpec.h"

/// Prints the values of the function's outputs, and before them those of its nodes where the command
/// line asks for it.
void evaluate(const CommandLine& line, const qvShadingDag::ShadingNodeSpec& spec);
