#include "shadingdag/CompFreqRange.h"

namespace qvShadingDag {

std::string compFreqName(unsigned int level) {
    constexpr const char* kNames[] = {"invalid", "constant", "uniform", "vertex", "fragment"};
    return kNames[level <= kFragmentFreq ? level : kInvalidFreq];
}

std::string CompFreqRange::toString() const {
    std::string text = compFreqName(fLowest);
    if (fHighest != fLowest) {
        text += ':';
        text += compFreqName(fHighest);
    }
    return text;
}

} // namespace qvShadingDag
