#pragma once

/// @file
/// The arithmetic of single components, shared by the sources of the evaluation; not for hosts.

#include "core/DataType.h"

#include <cstdint>

namespace qvShadingDag {

inline bool isFloatType(DataType type) {
    return type >= kFloat && type <= kFloat4;
}
inline bool isClampuType(DataType type) {
    return type >= kClampu && type <= kClampu4;
}
inline bool isIntType(DataType type) {
    return type >= kInt && type <= kInt4;
}
inline bool isMatrixType(DataType type) {
    return type >= kMatrix2 && type <= kMatrix4;
}

/// A number as a float holds it, in double precision. A number beyond the range of float is
/// infinite, as it is where the processor converts.
inline double roundedToFloat(double x) {
    return static_cast<double>(static_cast<float>(x));
}

/// Not-a-number stays.
inline double clampedToUnit(double x) {
    const double raised = x < 0 ? 0 : x;
    return raised > 1 ? 1 : raised;
}

/// Without its fraction; the nearest 32-bit integer where it is out of range, 0 for not-a-number.
inline std::int32_t saturatedInt(double x) {
    if (!(x > INT32_MIN)) {
        return x <= INT32_MIN ? INT32_MIN : 0;
    }
    return x >= INT32_MAX ? INT32_MAX : static_cast<std::int32_t>(x);
}

} // namespace qvShadingDag
