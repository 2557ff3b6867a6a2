#pragma once

#include "shadingdag/Diagnostic.h"

#include <string>
#include <vector>

/// One line that holds a JSON object with "file", "line", "column", "length", "severity", "message",
/// "name" and "notes".
std::string diagnosticJson(const qvShadingDag::Diagnostic& diagnostic);

/// All of them, for standard error, with a last line that counts them: "2 errors and 1 warning".
/// Coloured on a terminal; empty when there is none.
std::string diagnosticsText(const std::vector<qvShadingDag::Diagnostic>& diagnostics);

/// Whether there is an error among them.
bool hasError(const std::vector<qvShadingDag::Diagnostic>& diagnostics);
