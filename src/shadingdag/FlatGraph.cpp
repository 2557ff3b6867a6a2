#include "shadingdag/FlatGraph.h"

namespace qvShadingDag {

FlatGraph::FlatGraph(const ShadingNodeSpec& spec, bool upstream) {
    fNodes.assign(spec.fInternalNodes.begin(), spec.fInternalNodes.end());
    for (unsigned int position = 0; position < size(); ++position) {
        fNodes[position]->fMark = position;
    }
    fOffsets.reserve(fNodes.size() + 1);
    fNeighbours.reserve(spec.fInternalLinks.size());
    for (const ShadingNode* node : fNodes) {
        fOffsets.push_back(static_cast<unsigned int>(fNeighbours.size()));
        if (upstream) {
            for (const ShadingLink* link : node->incomingLinks()) {
                fNeighbours.push_back(link->sourceNode()->fMark);
            }
        } else {
            for (const ShadingLink* link : node->outgoingLinks()) {
                fNeighbours.push_back(link->destNode()->fMark);
            }
        }
    }
    fOffsets.push_back(static_cast<unsigned int>(fNeighbours.size()));
}

FlatGraph::FlatGraph(ShadingNode* start, bool upstream) {
    // A mark is the node's position only when the node stands there: no mark needs to be reset.
    const auto positionOf = [this](ShadingNode* node) {
        if (node->fMark >= fNodes.size() || fNodes[node->fMark] != node) {
            node->fMark = size();
            fNodes.push_back(node);
        }
        return node->fMark;
    };
    positionOf(start);
    for (unsigned int position = 0; position < size(); ++position) {
        fOffsets.push_back(static_cast<unsigned int>(fNeighbours.size()));
        const ShadingNode* node = fNodes[position];
        if (upstream) {
            for (const ShadingLink* link : node->incomingLinks()) {
                fNeighbours.push_back(positionOf(link->sourceNode()));
            }
        } else {
            for (const ShadingLink* link : node->outgoingLinks()) {
                fNeighbours.push_back(positionOf(link->destNode()));
            }
        }
    }
    fOffsets.push_back(static_cast<unsigned int>(fNeighbours.size()));
}

} // namespace qvShadingDag
