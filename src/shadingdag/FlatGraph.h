#pragma once

/// @file
/// Shared by the sources of ShadingNodeSpec; not for hosts.

#include "shadingdag/ShadingNodeSpec.h"

#include <vector>

namespace qvShadingDag {

/// The part of a graph that an operation walks, copied into flat arrays: nodes become positions,
/// the neighbours of each a run of positions in the order of its links.
///
/// While it is filled, the mark of each node holds its position. A walk over the arrays costs a
/// fraction of one over the lists, whose every step waits for memory.
class FlatGraph {
public:
    /// All nodes, in list order.
    FlatGraph(const ShadingNodeSpec& spec, bool upstream);
    /// `start` and all nodes that can be reached from it, breadth first.
    FlatGraph(ShadingNode* start, bool upstream);

    unsigned int size() const { return static_cast<unsigned int>(fNodes.size()); }
    const std::vector<ShadingNode*>& nodes() const { return fNodes; }

    /// The neighbours of the node at `position`.
    const unsigned int* neighboursBegin(unsigned int position) const {
        return fNeighbours.data() + fOffsets[position];
    }
    const unsigned int* neighboursEnd(unsigned int position) const {
        return fNeighbours.data() + fOffsets[position + 1];
    }
    unsigned int* neighboursBegin(unsigned int position) { return fNeighbours.data() + fOffsets[position]; }
    unsigned int* neighboursEnd(unsigned int position) { return fNeighbours.data() + fOffsets[position + 1]; }

    /// Depth first from each node in turn that no walk has reached yet and that `startsWalk` accepts:
    /// the positions in the order in which the walks leave them for good, hence behind all that
    /// they reach.
    template <typename Starts>
    std::vector<unsigned int> postOrder(const Starts& startsWalk) const;
    /// The same from every node.
    std::vector<unsigned int> postOrder() const {
        return postOrder([](unsigned int) { return true; });
    }

private:
    std::vector<ShadingNode*> fNodes;
    std::vector<unsigned int> fOffsets; // one more than nodes
    std::vector<unsigned int> fNeighbours;
};

template <typename Starts>
std::vector<unsigned int> FlatGraph::postOrder(const Starts& startsWalk) const {
    constexpr unsigned int kUnreached = ~0U;
    std::vector<unsigned int> next(size(), kUnreached); // where each node's walk goes on
    std::vector<unsigned int> path;
    std::vector<unsigned int> order;
    order.reserve(size());
    for (unsigned int start = 0; start < size(); ++start) {
        if (next[start] != kUnreached || !startsWalk(start)) {
            continue;
        }
        next[start] = fOffsets[start];
        path.push_back(start);
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
    return order;
}

} // namespace qvShadingDag
