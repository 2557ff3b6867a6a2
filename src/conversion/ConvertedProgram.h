#pragma once

/// @file
/// What a conversion keeps; not for hosts.

#include "conversion/PlacedProgram.h"
#include "conversion/ProgramConvertor.h"
#include "conversion/ProgramWriter.h"

#include <memory>

namespace qvShadingDag {

struct ConvertedProgram::Data {
    std::shared_ptr<const PlacedProgram> placed;
    ProgramTexts texts;
    std::vector<FlatProgram::Index> uniformValues; ///< by uniform, `kNone` for the implied matrix
    std::vector<FlatProgram::Index> hoistedValues; ///< by hoisted value
};

} // namespace qvShadingDag
