#pragma once

/// @file
/// Shared by the sources of ShadingNodeSpec; not for hosts.

#include "shadingdag/ShadingNodeSpec.h"

#include <utility>
#include <vector>

namespace qvShadingDag {

/// A graph seen in one direction, in flat arrays: nodes are their slots in the function, the
/// neighbours of each a run of slots in the order of its links.
///
/// A walk over it takes a fraction of the time of one over nodes, lists and links, each step of
/// which waits for memory.
class FlatGraph {
public:
    FlatGraph(const ShadingNodeSpec& spec, bool upstream);

    /// How many slots there are, unused ones included.
    unsigned int size() const { return fSize; }
    bool isUsed(unsigned int slot) const { return fNodes[slot] != nullptr; }
    ShadingNode* node(unsigned int slot) const { return fNodes[slot]; }
    static unsigned int slotOf(const ShadingNode& node) { return node.fSlot; }

    /// The slots of the neighbours of the node in a slot.
    const unsigned int* neighboursBegin(unsigned int slot) const {
        return fNeighbours.data() + fOffsets[slot];
    }
    const unsigned int* neighboursEnd(unsigned int slot) const {
        return fNeighbours.data() + fOffsets[slot + 1];
    }
    unsigned int* neighboursBegin(unsigned int slot) { return fNeighbours.data() + fOffsets[slot]; }
    unsigned int* neighboursEnd(unsigned int slot) { return fNeighbours.data() + fOffsets[slot + 1]; }

    /// All nodes, each behind all that it reaches, where links do not go in a circle. Depth first walks
    /// start from every node in turn that `startsWalk(slot)` accepts and that no walk has reached
    /// before; the order is that in which they leave the nodes for the last time.
    template <typename Starts>
    std::vector<unsigned int> postOrder(const Starts& startsWalk) const;
    /// The order of walks from every node.
    std::vector<unsigned int> postOrder() const {
        return postOrder([](unsigned int) { return true; });
    }
    /// The order of the walk from one node: of all that can be reached from it.
    std::vector<unsigned int> postOrderFrom(unsigned int start) const;

private:
    /// How far a walk has come.
    struct Walk {
        explicit Walk(const FlatGraph& graph)
            : reached(graph.size()), next(graph.fOffsets.begin(), graph.fOffsets.begin() + graph.size()) {
            order.reserve(graph.size());
        }

        std::vector<bool> reached;
        std::vector<unsigned int> next;  // where it goes on at each node
        std::vector<unsigned int> path;  // from its start to where it is
        std::vector<unsigned int> order; // the nodes left for good
    };

    void walkFrom(unsigned int start, Walk& walk) const;

    const std::vector<ShadingNode*>& fNodes;
    unsigned int fSize; // when the graph was read: nodes may be added meanwhile
    std::vector<unsigned int> fOffsets;
    std::vector<unsigned int> fNeighbours;
};

template <typename Starts>
std::vector<unsigned int> FlatGraph::postOrder(const Starts& startsWalk) const {
    Walk walk(*this);
    for (unsigned int start = 0; start < size(); ++start) {
        if (!walk.reached[start] && isUsed(start) && startsWalk(start)) {
            walkFrom(start, walk);
        }
    }
    return std::move(walk.order);
}

} // namespace qvShadingDag
