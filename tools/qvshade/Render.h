#pragma once

#include "CommandLine.h"

#include "shadingdag/ShadingNodeSpec.h"

/// Draws the function on a shape, as hardware would, into a PNG file.
void render(const CommandLine& line, const qvShadingDag::ShadingNodeSpec& spec);
