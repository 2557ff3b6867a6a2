#pragma once

#include "evaluation/Texture.h"

#include <string>

/// The map that "@FILE", "checker" or "white" names. Throws a `Failure` when the picture cannot be
/// read.
qvShadingDag::Texture readMap(const std::string& text);
