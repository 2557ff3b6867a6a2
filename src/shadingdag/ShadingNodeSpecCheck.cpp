// Whether a function whose nodes were changed by their own setters still fits together.

#include "core/Exception.h"
#include "shadingdag/FlatGraph.h"

#include <algorithm>
#include <vector>

namespace qvShadingDag {

namespace {

std::string described(const ShadingNode& node) {
    return "node " + std::to_string(node.number()) + " (" + node.name() + ")";
}

/// Whether links go in a circle: taking away the nodes that nothing feeds, again and again, then
/// leaves some.
bool hasCircle(const FlatGraph& downstream) {
    std::vector<unsigned int> feeds(downstream.size());
    const auto forEachReader = [&](unsigned int slot, const auto& use) {
        std::for_each(downstream.neighboursBegin(slot), downstream.neighboursEnd(slot), use);
    };
    for (unsigned int slot = 0; slot < downstream.size(); ++slot) {
        forEachReader(slot, [&](unsigned int reader) { ++feeds[reader]; });
    }
    std::vector<unsigned int> fedByNothing;
    for (unsigned int slot = 0; slot < downstream.size(); ++slot) {
        if (feeds[slot] == 0) {
            fedByNothing.push_back(slot);
        }
    }
    for (std::size_t i = 0; i < fedByNothing.size(); ++i) {
        forEachReader(fedByNothing[i], [&](unsigned int reader) {
            if (--feeds[reader] == 0) {
                fedByNothing.push_back(reader);
            }
        });
    }
    return fedByNothing.size() < downstream.size();
}

} // namespace

void ShadingNodeSpec::throwChanged(const std::string& what) const {
    throw Exception("The nodes of function " + fName + " were changed and do not fit together: " + what);
}

/// 1. Every entry of the lists of inputs, outputs and constants has a node of that kind and name.
/// 2. Every node of these kinds has an entry, and no node is of no kind.
/// 3. No link leaves an output.
/// 4. The links do not go in a circle.
void ShadingNodeSpec::checkIfChanged() const {
    if (!fNodesChanged) {
        return;
    }
    std::vector<bool> listed(fNodeSlots.size());
    const auto checkList = [&](const std::list<ShadingAttribute>& list, NodeType kind) {
        for (const ShadingAttribute& entry : list) {
            const ShadingNode* node = entry.nodePtr();
            if (!node) {
                continue; // the interface of a declared function
            }
            if (node->fNodeType != kind || (kind != kConstantNode && node->fName != entry.name())) {
                throwChanged(described(*node) + " was " + entry.name());
            }
            listed[node->fSlot] = true;
        }
    };
    checkList(fInputs, kInputNode);
    checkList(fOutputs, kOutputNode);
    checkList(fConstants, kConstantNode);
    for (const ShadingNode* node : fInternalNodes) {
        if (node->fNodeType == kInvalidNodeType || (!node->isCall() && !listed[node->fSlot])) {
            throwChanged(described(*node) + " is in no list");
        }
        if (node->fNodeType == kOutputNode && !node->fOutgoingLinks.empty()) {
            throwChanged("a link leaves " + described(*node));
        }
    }
    if (hasCircle(FlatGraph(*this, false))) {
        throwChanged("links go in a circle");
    }
    fNodesChanged = false;
}

} // namespace qvShadingDag
