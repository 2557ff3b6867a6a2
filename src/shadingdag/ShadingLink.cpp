#include "shadingdag/ShadingLink.h"

namespace qvShadingDag {

int ShadingLink::fsNumInstances_ShadingLink = 0;

ShadingLink::ShadingLink() {
    reset();
    ++fsNumInstances_ShadingLink;
}

ShadingLink::ShadingLink(const ShadingLink& other) : ShadingLink() {
    *this = other;
}

// Nothing is owned, so that a link may be assigned to itself.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
ShadingLink& ShadingLink::operator=(const ShadingLink& other) {
    fSourceNode = other.fSourceNode;
    fDestNode = other.fDestNode;
    fNumber = other.fNumber;
    fSourceOutput = other.fSourceOutput;
    fSourceAttrName = other.fSourceAttrName;
    fDestAttrName = other.fDestAttrName;
    fCompFreqRange = other.fCompFreqRange;
    fDataType = other.fDataType;
    return *this;
}

ShadingLink::~ShadingLink() {
    --fsNumInstances_ShadingLink;
}

void ShadingLink::reset() {
    fSourceAttrName.clear();
    fDestAttrName.clear();
    fDataType = kInvalidDataType;
    fCompFreqRange = CompFreqRange(kInvalidFreq, kInvalidFreq);
}

} // namespace qvShadingDag
