#include "shadingdag/ShadingAttribute.h"

#include "core/Exception.h"
#include "shadingdag/ShadingNode.h"

#include <functional>
#include <utility>

namespace qvShadingDag {

int ShadingAttribute::fsNumInstances_ShadingAttribute = 0;

ShadingAttribute::ShadingAttribute() {
    ++fsNumInstances_ShadingAttribute;
}

ShadingAttribute::ShadingAttribute(const std::string& name, DataType type) : fName(name), fDataType(type) {
    ++fsNumInstances_ShadingAttribute;
}

ShadingAttribute::ShadingAttribute(ShadingNode* node, const std::string& name) : fName(name), fNode(node) {
    if (!node) {
        throw Exception("There is no node for attribute " + name);
    }
    fDataType = node->dataTypeOfOutput(name);
    fCompFreqRange = node->compFreqRangeOfOutput(name);
    ++fsNumInstances_ShadingAttribute; // last: an object whose constructor throws is never destroyed
}

ShadingAttribute::ShadingAttribute(const ShadingAttribute& other)
    : fName(other.fName), fDataType(other.fDataType), fNode(other.fNode),
      fCompFreqRange(other.fCompFreqRange) {
    ++fsNumInstances_ShadingAttribute;
}

ShadingAttribute::ShadingAttribute(ShadingAttribute&& other) noexcept
    : fName(std::move(other.fName)), fDataType(other.fDataType), fNode(other.fNode),
      fCompFreqRange(other.fCompFreqRange) {
    ++fsNumInstances_ShadingAttribute;
}

ShadingAttribute::ShadingAttribute(const ShadingAttribute* other) : ShadingAttribute() {
    if (other) {
        *this = *other;
    }
}

ShadingAttribute& ShadingAttribute::operator=(const ShadingAttribute& other) = default;
ShadingAttribute& ShadingAttribute::operator=(ShadingAttribute&& other) noexcept = default;

ShadingAttribute::~ShadingAttribute() {
    --fsNumInstances_ShadingAttribute;
}

bool ShadingAttribute::operator<(const ShadingAttribute& other) const {
    if (fNode != other.fNode) {
        return std::less<>()(fNode, other.fNode);
    }
    return fName < other.fName;
}

} // namespace qvShadingDag
