// What nodes and links need of functions: of the one that a node calls, and of the one it stands in.

#include "core/Exception.h"
#include "shadingdag/ShadingLink.h"
#include "shadingdag/ShadingNode.h"
#include "shadingdag/ShadingNodeSpec.h"

namespace qvShadingDag {

void ShadingNode::setOperator(ShadingNodeSpec* spec) {
    verifyAlways(spec && (spec->nodeType() == kOperationNode || spec->nodeType() == kFunctionNode),
                 "There is no function to call");
    fNodeType = spec->nodeType();
    fSpec = spec;
    fConstant.reset();
    fDataType = kInvalidDataType;
    fName.clear();
    markOwner();
}

void ShadingNode::markOwner() {
    if (fOwner) {
        fOwner->fNodesChanged = true;
    }
}

std::string ShadingNode::name() const {
    switch (fNodeType) {
    case kInputNode:
    case kOutputNode:
        return fName;
    case kConstantNode:
        return constant().toString();
    case kOperationNode:
    case kFunctionNode:
        return fSpec->name();
    default:
        return "invalidNodeType";
    }
}

DataType ShadingNode::dataTypeOfInput(const std::string& name) const {
    return isCall() ? fSpec->dataTypeOfInput(name) : fDataType;
}

DataType ShadingNode::dataTypeOfOutput(const std::string& name) const {
    return isCall() ? fSpec->dataTypeOfOutput(name) : fDataType;
}

void ShadingLink::setSourceAttrName(const std::string& name) {
    fSourceAttrName = name;
    if (fSourceNode && fSourceNode->isCall()) {
        const int output = fSourceNode->specPtr()->getOffsetOfOutput(name);
        if (output >= 0) {
            fSourceOutput = output;
        }
    }
}

} // namespace qvShadingDag
