#include "shadingdag/GraphUndo.h"

namespace qvShadingDag {

GraphUndo::GraphUndo(ShadingNodeSpec& function)
    : fFunction(function), fLinks(function.fInternalLinks.size()), fNodes(function.fInternalNodes.size()),
      fConstants(function.fConstants.size()), fInputs(function.fInputs.size()),
      fArguments(function.fArguments.size()), fNextNodeNumber(function.fNextNodeNumber),
      fNextLinkNumber(function.fNextLinkNumber) {}

GraphUndo::~GraphUndo() {
    if (fKept) {
        return;
    }
    while (fFunction.fInternalLinks.size() > fLinks) {
        fFunction.destroyLink(fFunction.fInternalLinks.back());
    }
    while (fFunction.fInternalNodes.size() > fNodes) {
        fFunction.destroyNode(fFunction.fInternalNodes.back());
    }
    fFunction.fConstants.resize(fConstants);
    fFunction.fInputs.resize(fInputs);
    fFunction.fArguments.resize(fArguments);
    fFunction.fNextNodeNumber = fNextNodeNumber;
    fFunction.fNextLinkNumber = fNextLinkNumber;
    fFunction.dropUnusedSlots();
}

} // namespace qvShadingDag
