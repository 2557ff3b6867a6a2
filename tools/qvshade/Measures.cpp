#include "Measures.h"

#include "Functions.h"

#include <algorithm>
#include <list>
#include <vector>

using namespace qvShadingDag;

Measures measure(const ShadingNodeSpec& spec) {
    Measures result;
    result.nodes = numNodes(spec);
    result.links = numLinks(spec);
    std::list<ShadingNode*> order;
    spec.fastTopoSort(&order, true);
    for (const auto& [node, level] : levelsOf(order)) {
        result.depth = std::max(result.depth, level);
        if (node->isCall()) {
            ShadingNodeSpec::AttributeIterator output;
            ShadingNodeSpec::AttributeIterator last;
            node->specPtr()->outputs(output, last);
            ++result.callsAt[node->compFreqRangeOfOutput(output->name()).lowest()];
        }
    }
    return result;
}

std::map<ShadingNode*, unsigned int> distancesToOutputs(const ShadingNodeSpec& spec) {
    // One walk from all outputs, breadth first: the first way to a node is a shortest one.
    std::map<ShadingNode*, unsigned int> shortest;
    std::vector<ShadingNode*> queue;
    const auto reach = [&](ShadingNode* node, unsigned int distance) {
        // The outputs of a declaration have no nodes.
        if (node != nullptr && shortest.try_emplace(node, distance).second) {
            queue.push_back(node);
        }
    };
    ShadingNodeSpec::AttributeIterator output;
    ShadingNodeSpec::AttributeIterator last;
    for (spec.outputs(output, last); output != last; ++output) {
        reach(output->nodePtr(), 0);
    }
    for (std::size_t i = 0; i < queue.size(); ++i) {
        const unsigned int distance = shortest[queue[i]] + 1;
        for (const ShadingLink* link : queue[i]->incomingLinks()) {
            reach(link->sourceNode(), distance);
        }
    }
    return shortest;
}

std::string meaning(const ShadingNode& node) {
    switch (node.nodeType()) {
    case kInputNode:
        return "input " + dataTypeName(node.dataType()) + " " + node.name();
    case kOutputNode:
        return "output " + dataTypeName(node.dataType()) + " " + node.name();
    case kOperationNode:
    case kFunctionNode:
        return signature(*node.specPtr());
    default:
        return node.name();
    }
}

std::string lineOf(const std::string& file, const FileLocation& location, const std::string& givenFile) {
    return location.line == 0 ? "" : (file == givenFile ? "" : file + ":") + std::to_string(location.line);
}

std::map<const ShadingNode*, int> levelsOf(const std::list<ShadingNode*>& order) {
    std::map<const ShadingNode*, int> levels;
    for (const ShadingNode* node : order) {
        int& own = levels[node];
        for (const ShadingLink* link : node->incomingLinks()) {
            own = std::max(own, levels[link->sourceNode()] + 1);
        }
    }
    return levels;
}

std::string frequencies(const ShadingNode& node) {
    if (!node.isCall()) {
        return node.compFreqRangeOfOutput("output").toString();
    }
    std::string result;
    ShadingNodeSpec::AttributeIterator output;
    ShadingNodeSpec::AttributeIterator last;
    const bool several = node.specPtr()->numOutputs() > 1;
    for (node.specPtr()->outputs(output, last); output != last; ++output) {
        result += (result.empty() ? "" : ", ") + (several ? output->name() + " " : "") +
                  node.compFreqRangeOfOutput(output->name()).toString();
    }
    return result;
}
