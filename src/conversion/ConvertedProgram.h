#pragma once

/// @file
/// What a conversion keeps; not for hosts.

#include "conversion/PlacedProgram.h"
#include "conversion/ProgramConvertor.h"
#include "conversion/ProgramWriter.h"

#include <memory>
#include <string>
#include <vector>

namespace qvShadingDag {

struct ConvertedProgram::Data {
    std::shared_ptr<const PlacedProgram> placed;
    ProgramTexts texts;
    std::vector<FlatProgram::Index> uniformValues; ///< by uniform, `kNone` for the implied matrix
    std::vector<FlatProgram::Index> hoistedValues; ///< by hoisted value
};

/// The spellings that the host added, read.
std::vector<HostSpelling> hostSpellings(const ConversionOptions& options);

/// "FILE:LINE: FUNCTION: what", with the place of the function.
std::string placedMessage(const ShadingNodeSpec& function, const std::string& what);

/// Both texts, each behind a line that names it.
std::string bothTexts(const std::string& vertexText, const std::string& fragmentText);

/// False when the file cannot be written.
bool writeText(const char* path, const std::string& text);

} // namespace qvShadingDag
