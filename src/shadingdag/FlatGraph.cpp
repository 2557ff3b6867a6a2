#include "shadingdag/FlatGraph.h"

namespace qvShadingDag {

FlatGraph::FlatGraph(const ShadingNodeSpec& spec, bool upstream)
    : fNodes(spec.fNodeSlots), fSize(static_cast<unsigned int>(fNodes.size())), fOffsets(fSize + 2),
      fNeighbours(spec.fInternalLinks.size()) {
    // The run of the node in slot i is to lie from fOffsets[i] up to fOffsets[i + 1].
    // 1. Count the neighbours of slot i in fOffsets[i + 2].
    // 2. Sum up: fOffsets[i + 1] is then where the run of slot i begins.
    // 3. Put each neighbour where fOffsets[i + 1] points and move that on: in the end it points behind
    //    the run, which is where the next one begins.
    const auto forEachLink = [&](const auto& use) {
        for (const auto& [source, dest] : spec.fLinkSlots) {
            if (source != ShadingNodeSpec::kNoSlot) {
                upstream ? use(dest, source) : use(source, dest);
            }
        }
    };
    forEachLink([this](unsigned int from, unsigned int) { ++fOffsets[from + 2]; });
    for (unsigned int slot = 1; slot < fSize; ++slot) {
        fOffsets[slot + 1] += fOffsets[slot];
    }
    forEachLink([this](unsigned int from, unsigned int to) { fNeighbours[fOffsets[from + 1]++] = to; });
}

void FlatGraph::walkFrom(unsigned int start, Walk& walk) const {
    walk.reached[start] = true;
    walk.path.push_back(start);
    while (!walk.path.empty()) {
        const unsigned int node = walk.path.back();
        const unsigned int end = fOffsets[node + 1];
        unsigned int i = walk.next[node];
        while (i < end && walk.reached[fNeighbours[i]]) {
            ++i;
        }
        if (i < end) {
            const unsigned int neighbour = fNeighbours[i];
            walk.next[node] = i + 1;
            walk.reached[neighbour] = true;
            walk.path.push_back(neighbour);
        } else {
            walk.path.pop_back();
            walk.order.push_back(node);
        }
    }
}

std::vector<unsigned int> FlatGraph::postOrderFrom(unsigned int start) const {
    Walk walk(*this);
    walkFrom(start, walk);
    return std::move(walk.order);
}

} // namespace qvShadingDag
