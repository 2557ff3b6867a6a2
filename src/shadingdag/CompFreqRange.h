#pragma once

#include "base/Export.h"

#include <string>

namespace qvShadingDag {

/// Computational frequency levels, from the value that changes least often to the one that changes
/// most often. A lower level is computed earlier.
inline constexpr unsigned int kInvalidFreq = 0;
inline constexpr unsigned int kConstantFreq = 1; ///< known when the program is built
inline constexpr unsigned int kUniformFreq = 2;  ///< set by the application, once per draw
inline constexpr unsigned int kVertexFreq = 3;   ///< computed per vertex
inline constexpr unsigned int kFragmentFreq = 4; ///< computed per fragment

/// The keyword of a level ("vertex"); "invalid" for every value that is no level.
QV_EXPORT std::string compFreqName(unsigned int level);

/// The closed interval of computational frequencies at which a value may be computed.
///
///     CompFreqRange(kUniformFreq, kFragmentFreq).toString(); // "uniform:fragment"
///
/// [0, 0] is the empty range. Nothing else is checked.
class QV_EXPORT CompFreqRange {
public:
    /// Every level, from constant to fragment.
    CompFreqRange() = default;
    /// The levels from `lowest` to `highest`, both included.
    CompFreqRange(unsigned int lowest, unsigned int highest) : fLowest(lowest), fHighest(highest) {}

    /// The first level.
    unsigned int lowest() const { return fLowest; }
    /// The last level.
    unsigned int highest() const { return fHighest; }

    /// Whether every level of `other` lies in this range.
    bool contains(const CompFreqRange& other) const {
        return fLowest <= other.fLowest && other.fHighest <= fHighest;
    }

    /// The name of the only level, or those of both ends with a colon between them.
    std::string toString() const;

    bool operator==(const CompFreqRange& other) const = default;

private:
    unsigned int fLowest = kConstantFreq;
    unsigned int fHighest = kFragmentFreq;
};

} // namespace qvShadingDag
