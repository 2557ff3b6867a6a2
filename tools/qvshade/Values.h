#pragma once

#include "evaluation/ShadingValue.h"
#include "shadingdag/ShadingNodeSpec.h"

#include <string>

/// The input of that name; throws a `Failure` that lists the inputs when there is none.
const qvShadingDag::ShadingAttribute& inputNamed(const qvShadingDag::ShadingNodeSpec& spec,
                                                 const std::string& name);

/// The value of an input, as NAME=VALUE gives it. Throws a `Failure` that says what the input takes.
qvShadingDag::ShadingValue readValue(const std::string& text, const qvShadingDag::ShadingAttribute& input);

/// Whether the text names a map: "@FILE", "checker" or "white".
bool isMapName(const std::string& text);
