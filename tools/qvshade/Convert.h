#pragma once

#include "CommandLine.h"

#include "shadingdag/ShadingNodeSpec.h"

/// Prints the vertex and the fragment program of the function, or what they ask of their host, or
/// writes that to files.
void convert(const CommandLine& line, const qvShadingDag::ShadingNodeSpec& spec);
