// The orders and distances of ShadingNodeSpec.

#include "shadingdag/FlatGraph.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <utility>

namespace qvShadingDag {

namespace {

/// Calls `use(node, position)` for all nodes by their addresses: in the order of the maps, where a
/// run of look-ups and insertions stays in the cache.
template <typename Use>
void forEachByAddress(const std::vector<ShadingNode*>& nodes, const Use& use) {
    std::vector<std::pair<ShadingNode*, unsigned int>> sorted;
    sorted.reserve(nodes.size());
    for (ShadingNode* node : nodes) {
        sorted.emplace_back(node, static_cast<unsigned int>(sorted.size()));
    }
    const auto before = [](const auto& a, const auto& b) { return std::less<>()(a.first, b.first); };
    if (!std::is_sorted(sorted.begin(), sorted.end(), before)) {
        std::sort(sorted.begin(), sorted.end(), before);
    }
    for (const auto& [node, position] : sorted) {
        use(node, position);
    }
}

} // namespace

void ShadingNodeSpec::fastTopoSort(std::list<ShadingNode*>* result, bool upstream) const {
    if (!result) {
        return;
    }
    const FlatGraph graph(*this, upstream);
    for (const unsigned int position : graph.postOrder()) {
        result->push_back(graph.nodes()[position]);
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
    const auto& nodes = graph.nodes();
    const auto isEnd = [&](unsigned int position) { return nodes[position]->outgoingLinks().empty(); };

    // 1. The key of each node that feeds another: a smaller key is visited first.
    std::vector<unsigned int> keys(nodes.size());
    forEachByAddress(nodes, [&](ShadingNode* node, unsigned int position) {
        if (!isEnd(position)) {
            const unsigned int length = distance.try_emplace(node, 0).first->second;
            keys[position] = farthestFirst ? ~length : length;
        }
    });

    // 2. Each node's feeding nodes by key, then by the order of the links.
    std::vector<std::pair<std::uint64_t, unsigned int>> feeders; // key and place in one number, node
    for (unsigned int position = 0; position < graph.size(); ++position) {
        unsigned int* const first = graph.neighboursBegin(position);
        unsigned int* const last = graph.neighboursEnd(position);
        const auto byKey = [&](unsigned int a, unsigned int b) { return keys[a] < keys[b]; };
        if (std::is_sorted(first, last, byKey)) {
            continue;
        }
        feeders.clear();
        for (const unsigned int* feeder = first; feeder != last; ++feeder) {
            const auto key = static_cast<std::uint64_t>(keys[*feeder]) << 32U;
            feeders.emplace_back(key + static_cast<std::uint64_t>(feeder - first), *feeder);
        }
        std::sort(feeders.begin(), feeders.end());
        std::transform(feeders.begin(), feeders.end(), first, [](const auto& entry) { return entry.second; });
    }

    // 3. Depth first.
    const auto order = onlyFromEnds ? graph.postOrder(isEnd) : graph.postOrder();
    for (const unsigned int position : order) {
        result->push_back(nodes[position]);
    }
}

void ShadingNodeSpec::computeDistance(ShadingNode* start, std::map<ShadingNode*, unsigned int>& distance,
                                      bool upstream) const {
    checkOwns(start);
    const FlatGraph graph(start, upstream);
    const auto known = distance.find(start);
    std::vector<unsigned int> lengths{known == distance.end() ? 0 : known->second};
    lengths.reserve(graph.size());
    for (unsigned int position = 0; position < graph.size(); ++position) {
        const unsigned int next = lengths[position] + (lengths[position] != ~0U ? 1 : 0);
        for (const unsigned int* n = graph.neighboursBegin(position); n != graph.neighboursEnd(position);
             ++n) {
            // Positions are in breadth-first order: the first step to a node is a shortest way.
            if (*n == lengths.size()) {
                lengths.push_back(next);
            }
        }
    }
    auto hint = distance.begin();
    forEachByAddress(graph.nodes(), [&](ShadingNode* node, unsigned int position) {
        if (position > 0) {
            hint = std::next(distance.insert_or_assign(hint, node, lengths[position]));
        }
    });
}

void ShadingNodeSpec::computeDeepestChildrenDistance(ShadingNode* node,
                                                     std::map<ShadingNode*, unsigned int>& distance,
                                                     std::map<ShadingNode*, unsigned int>& result,
                                                     bool upstream) const {
    checkOwns(node);
    const FlatGraph graph(node, upstream);
    std::vector<unsigned int> deepest(graph.size(), 0);
    forEachByAddress(graph.nodes(), [&](ShadingNode* reached, unsigned int position) {
        const auto known = distance.find(reached);
        deepest[position] = known == distance.end() ? 0 : known->second;
    });
    for (const unsigned int position : graph.postOrder()) {
        for (const unsigned int* n = graph.neighboursBegin(position); n != graph.neighboursEnd(position);
             ++n) {
            deepest[position] = std::max(deepest[position], deepest[*n]);
        }
    }
    auto hint = result.begin();
    forEachByAddress(graph.nodes(), [&](ShadingNode* reached, unsigned int position) {
        hint = std::next(result.insert_or_assign(hint, reached, deepest[position]));
    });
}

} // namespace qvShadingDag
