#include "shadingdag/FlatGraph.h"

namespace qvShadingDag {

FlatGraph::FlatGraph(const ShadingNodeSpec& spec, bool upstream)
    : fNodes(spec.fNodeSlots), fSize(static_cast<unsigned int>(fNodes.size())), fOffsets(fSize + 2),
      fNeighbours(spec.fInternalLinks.size()) {
    // Counted two places further on and summed up, each offset is the start of the run before it;
    // filling the runs moves it to its end, where the next one starts.
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

void FlatGraph::walk(unsigned int start, std::vector<unsigned int>& next, std::vector<unsigned int>& path,
                     std::vector<unsigned int>& order) const {
    path.push_back(start);
    next[start] = fOffsets[start];
    while (!path.empty()) {
        const unsigned int node = path.back();
        const unsigned int end = fOffsets[node + 1];
        unsigned int i = next[node];
        while (i < end && next[fNeighbours[i]] != kUnreached) {
            ++i;
        }
        if (i < end) {
            const unsigned int neighbour = fNeighbours[i];
            next[node] = i + 1;
            next[neighbour] = fOffsets[neighbour];
            path.push_back(neighbour);
        } else {
            next[node] = end;
            path.pop_back();
            order.push_back(node);
        }
    }
}

std::vector<unsigned int> FlatGraph::postOrderFrom(unsigned int start) const {
    std::vector<unsigned int> next(size(), kUnreached);
    std::vector<unsigned int> path;
    std::vector<unsigned int> order;
    walk(start, next, path, order);
    return order;
}

} // namespace qvShadingDag
