#include "shadingdag/FileLocation.h"

namespace qvShadingDag {

std::string FileLocation::toString() const {
    return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

} // namespace qvShadingDag
