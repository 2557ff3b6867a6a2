#pragma once

#include "base/Export.h"

#include <string>

namespace qvShadingDag {

/// A place in a source file; line 0, column 0 where a place is not known.
struct QV_EXPORT FileLocation {
    FileLocation() = default;
    /// That line and column.
    FileLocation(unsigned int theLine, unsigned int theColumn) : line(theLine), column(theColumn) {}

    /// "line 12, column 5"
    std::string toString() const;

    unsigned int line = 1;   ///< counted from 1
    unsigned int column = 1; ///< counted from 1; a tab counts as one
};

} // namespace qvShadingDag
