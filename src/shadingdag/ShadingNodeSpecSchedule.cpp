// The orders and distances of ShadingNodeSpec.

#include "shadingdag/FlatGraph.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <utility>

namespace qvShadingDag {

namespace {

using SlotOfNode = std::pair<ShadingNode*, unsigned int>;

/// The nodes in `slots` by their addresses: in the order of the maps of distances, where a run of
/// look-ups and insertions stays in the cache.
std::vector<SlotOfNode> byAddress(const FlatGraph& graph, const std::vector<unsigned int>& slots) {
    std::vector<SlotOfNode> nodes;
    nodes.reserve(slots.size());
    for (const unsigned int slot : slots) {
        nodes.emplace_back(graph.node(slot), slot);
    }
    std::sort(nodes.begin(), nodes.end(),
              [](const SlotOfNode& a, const SlotOfNode& b) { return std::less<>()(a.first, b.first); });
    return nodes;
}

void appendNodes(std::list<ShadingNode*>& result, const FlatGraph& graph,
                 const std::vector<unsigned int>& slots) {
    std::list<ShadingNode*> nodes;
    for (const unsigned int slot : slots) {
        nodes.push_back(graph.node(slot));
    }
    result.splice(result.end(), nodes);
}

} // namespace

void ShadingNodeSpec::fastTopoSort(std::list<ShadingNode*>* result, bool upstream) const {
    if (result) {
        const FlatGraph graph(*this, upstream);
        appendNodes(*result, graph, graph.postOrder());
    }
}

void ShadingNodeSpec::optimalTopoSort(std::map<ShadingNode*, unsigned int>& distance,
                                      std::list<ShadingNode*>* result) const {
    topoSortByDistance(distance, result, true, true);
}

void ShadingNodeSpec::topoSortByDistance(std::map<ShadingNode*, unsigned int>& distance,
                                         std::list<ShadingNode*>* result, bool onlyFromEnds,
                                         bool farthestFirst) const {
    if (!result) {
        return;
    }
    FlatGraph graph(*this, true);
    std::vector<bool> feeds(graph.size()); // another node
    for (const auto& [source, dest] : fLinkSlots) {
        if (source != kNoSlot) {
            feeds[source] = true;
        }
    }

    // 1. The key of each node that feeds another: a smaller key is visited first.
    std::vector<unsigned int> feeding;
    for (unsigned int slot = 0; slot < graph.size(); ++slot) {
        if (feeds[slot]) {
            feeding.push_back(slot);
        }
    }
    std::vector<unsigned int> keys(graph.size());
    for (const auto& [node, slot] : byAddress(graph, feeding)) {
        const unsigned int length = distance.try_emplace(node, 0).first->second;
        keys[slot] = farthestFirst ? ~length : length;
    }

    // 2. Each node's feeding nodes by key, then by the order of the links.
    const auto byKey = [&](unsigned int a, unsigned int b) { return keys[a] < keys[b]; };
    std::vector<std::pair<std::uint64_t, unsigned int>> sorted; // key and place in one number, slot
    for (unsigned int slot = 0; slot < graph.size(); ++slot) {
        unsigned int* const first = graph.neighboursBegin(slot);
        unsigned int* const last = graph.neighboursEnd(slot);
        if (std::is_sorted(first, last, byKey)) {
            continue;
        }
        sorted.clear();
        for (const unsigned int* feeder = first; feeder != last; ++feeder) {
            const auto key = static_cast<std::uint64_t>(keys[*feeder]) << 32U;
            sorted.emplace_back(key + static_cast<std::uint64_t>(feeder - first), *feeder);
        }
        std::sort(sorted.begin(), sorted.end());
        std::transform(sorted.begin(), sorted.end(), first, [](const auto& entry) { return entry.second; });
    }

    // 3. Depth first.
    const auto isEnd = [&](unsigned int slot) { return !feeds[slot]; };
    appendNodes(*result, graph, onlyFromEnds ? graph.postOrder(isEnd) : graph.postOrder());
}

void ShadingNodeSpec::computeDistance(ShadingNode* start, std::map<ShadingNode*, unsigned int>& distance,
                                      bool upstream) const {
    checkOwns(start);
    const FlatGraph graph(*this, upstream);
    const auto known = distance.find(start);
    std::vector<unsigned int> lengths(graph.size());
    std::vector<bool> reached(graph.size());
    std::vector<unsigned int> queue{start->fSlot};
    lengths[start->fSlot] = known == distance.end() ? 0 : known->second;
    reached[start->fSlot] = true;
    for (std::size_t i = 0; i < queue.size(); ++i) {
        const unsigned int slot = queue[i];
        const unsigned int next = lengths[slot] + (lengths[slot] != ~0U ? 1 : 0);
        for (const unsigned int* n = graph.neighboursBegin(slot); n != graph.neighboursEnd(slot); ++n) {
            if (!reached[*n]) {
                reached[*n] = true;
                lengths[*n] = next;
                queue.push_back(*n);
            }
        }
    }
    queue.erase(queue.begin()); // the start is not written
    auto hint = distance.begin();
    for (const auto& [node, slot] : byAddress(graph, queue)) {
        hint = std::next(distance.insert_or_assign(hint, node, lengths[slot]));
    }
}

void ShadingNodeSpec::computeDeepestChildrenDistance(ShadingNode* node,
                                                     std::map<ShadingNode*, unsigned int>& distance,
                                                     std::map<ShadingNode*, unsigned int>& result,
                                                     bool upstream) const {
    checkOwns(node);
    const FlatGraph graph(*this, upstream);
    const std::vector<unsigned int> order = graph.postOrderFrom(node->fSlot);
    const std::vector<SlotOfNode> nodes = byAddress(graph, order);
    std::vector<unsigned int> deepest(graph.size(), 0);
    for (const auto& [reached, slot] : nodes) {
        const auto known = distance.find(reached);
        deepest[slot] = known == distance.end() ? 0 : known->second;
    }
    for (const unsigned int slot : order) {
        for (const unsigned int* n = graph.neighboursBegin(slot); n != graph.neighboursEnd(slot); ++n) {
            deepest[slot] = std::max(deepest[slot], deepest[*n]);
        }
    }
    auto hint = result.begin();
    for (const auto& [reached, slot] : nodes) {
        hint = std::next(result.insert_or_assign(hint, reached, deepest[slot]));
    }
}

} // namespace qvShadingDag
