#pragma once

#include "CommandLine.h"

#include "shadingdag/ShadingNodeSpec.h"

/// Draws the graph of a function with a small picture of its value on every node, into one file
/// (.svg, .png or .html).
void drawPictures(const CommandLine& line, const qvShadingDag::ShadingNodeSpec& spec);
