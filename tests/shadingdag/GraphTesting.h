#pragma once

#include "ThrownBy.h"
#include "shadingdag/ShadingNodeSpec.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <set>
#include <string>
#include <vector>

/// What the tests of graphs share: functions in one line, graphs as text, and the promises that
/// hold for every graph at any time.
namespace graphTesting {

using namespace qvShadingDag;

struct Parameter {
    DataType type;
    const char* name;
    CompFreqRange range;
};

inline ShadingNodeSpec* makeSpec(NodeType kind, const std::string& name,
                                 std::initializer_list<Parameter> inputs,
                                 std::initializer_list<Parameter> outputs = {{kFloat, "output", {}}}) {
    ShadingNodeSpec* spec = ShadingNodeSpec::createNew(kind);
    spec->setName(name);
    for (const Parameter& output : outputs) {
        spec->addOutput(output.type, output.name, output.range);
    }
    for (const Parameter& input : inputs) {
        spec->addInput(input.type, input.name, input.range);
    }
    return spec;
}

inline ShadingNodeSpec* declare(const std::string& name, std::initializer_list<Parameter> inputs,
                                std::initializer_list<Parameter> outputs = {{kFloat, "output", {}}}) {
    ShadingNodeSpec* spec = makeSpec(kOperationNode, name, inputs, outputs);
    spec->addToLibrary();
    return spec;
}

template <typename Iterator>
std::vector<typename Iterator::value_type>
listOf(const ShadingNodeSpec& spec, void (ShadingNodeSpec::*range)(Iterator&, Iterator&) const) {
    Iterator first;
    Iterator last;
    (spec.*range)(first, last);
    return {first, last};
}

inline std::vector<ShadingNode*> nodesOf(const ShadingNodeSpec& spec) {
    return listOf(spec, &ShadingNodeSpec::internalNodes);
}

inline std::vector<ShadingLink*> linksOf(const ShadingNodeSpec& spec) {
    return listOf(spec, &ShadingNodeSpec::internalLinks);
}

/// The value that an attribute of that name has at `node`.
inline ShadingAttribute valueOf(ShadingNode* node, const std::string& name = "output") {
    return {node, name};
}

/// The input or output of `spec` of that name.
inline ShadingAttribute parameter(const ShadingNodeSpec& spec, const std::string& name) {
    for (auto range : {&ShadingNodeSpec::inputs, &ShadingNodeSpec::outputs}) {
        for (const ShadingAttribute& attribute : listOf(spec, range)) {
            if (attribute.name() == name) {
                return attribute;
            }
        }
    }
    ADD_FAILURE() << "no parameter " << name;
    return {};
}

/// "number:source.name->dest.name range", link after link.
inline std::string linksText(const ShadingNodeSpec& spec) {
    std::string text;
    for (const ShadingLink* link : linksOf(spec)) {
        text += (text.empty() ? "" : "; ") + std::to_string(link->number()) + ":" +
                std::to_string(link->sourceNode()->number()) + "." + link->sourceAttrName() + "->" +
                std::to_string(link->destNode()->number()) + "." + link->destAttrName() + " " +
                link->compFreqRange().toString();
    }
    return text;
}

/// Everything that a host can see of a function.
inline std::string specText(const ShadingNodeSpec& spec) {
    std::string text = spec.name() + " " + std::to_string(spec.nodeType()) + "\n";
    const auto attribute = [&](const char* kind, const ShadingAttribute& shown) {
        text += std::string(kind) + " " + dataTypeName(shown.dataType()) + " " + shown.name() + " " +
                shown.compFreqRange().toString() + " at " +
                (shown.nodePtr() ? std::to_string(shown.nodePtr()->number()) : "none") + "\n";
    };
    for (const auto& shown : listOf(spec, &ShadingNodeSpec::inputs)) {
        attribute("in", shown);
    }
    for (const auto& shown : listOf(spec, &ShadingNodeSpec::outputs)) {
        attribute("out", shown);
    }
    for (const auto& shown : listOf(spec, &ShadingNodeSpec::constants)) {
        attribute("constant", shown);
    }
    for (const auto& [marker, shown] : listOf(spec, &ShadingNodeSpec::arguments)) {
        attribute(marker == kInputNode ? "argument" : "out argument", shown);
    }
    for (const ShadingNode* node : nodesOf(spec)) {
        text += std::to_string(node->number()) + " " + std::to_string(node->nodeType()) + " " + node->name() +
                " " + dataTypeName(node->dataType()) + (node->isLightSpecific() ? " light" : "");
        if (node->isCall()) {
            for (const auto& output : listOf(*node->specPtr(), &ShadingNodeSpec::outputs)) {
                text += " " + output.name() + "=" + node->compFreqRangeOfOutput(output.name()).toString();
            }
        } else {
            text += " " + node->compFreqRangeOfOutput("").toString();
        }
        text += "\n";
    }
    return text + linksText(spec);
}

/// The promises of every graph: each link is on exactly one outgoing and one incoming list, those
/// of its ends; no list leads outside the graph; lists keep the order of the links; numbers are
/// unique.
inline void checkGraph(const ShadingNodeSpec& spec) {
    std::set<const ShadingNode*> nodes;
    std::set<unsigned int> numbers;
    std::vector<const ShadingLink*> outgoing;
    std::vector<const ShadingLink*> incoming;
    const auto linkList = linksOf(spec);
    const std::set<const ShadingLink*> links(linkList.begin(), linkList.end());
    for (const ShadingNode* node : nodesOf(spec)) {
        ASSERT_TRUE(nodes.insert(node).second);
        ASSERT_TRUE(numbers.insert(node->number()).second);
        for (const auto list : {&ShadingNode::incomingLinks, &ShadingNode::outgoingLinks}) {
            unsigned int next = 0;
            for (const ShadingLink* link : (node->*list)()) {
                ASSERT_EQ(links.count(link), 1U);
                const bool in = list == &ShadingNode::incomingLinks;
                ASSERT_EQ(in ? link->destNode() : link->sourceNode(), node);
                (in ? incoming : outgoing).push_back(link);
                ASSERT_GE(link->number(), next);
                next = link->number() + 1;
            }
        }
    }
    ASSERT_EQ(links.size(), linkList.size());
    ASSERT_EQ(std::set<const ShadingLink*>(outgoing.begin(), outgoing.end()), links);
    ASSERT_EQ(std::set<const ShadingLink*>(incoming.begin(), incoming.end()), links);
    ASSERT_EQ(outgoing.size(), links.size());
    ASSERT_EQ(incoming.size(), links.size());
    numbers.clear();
    for (const ShadingLink* link : linkList) {
        ASSERT_TRUE(numbers.insert(link->number()).second);
        ASSERT_EQ(nodes.count(link->sourceNode()) + nodes.count(link->destNode()), 2U);
    }
    for (auto range : {&ShadingNodeSpec::inputs, &ShadingNodeSpec::outputs, &ShadingNodeSpec::constants}) {
        for (const ShadingAttribute& attribute : listOf(spec, range)) {
            ASSERT_EQ(nodes.count(attribute.nodePtr()), spec.nodeType() == kFunctionNode ? 1U : 0U);
        }
    }
}

/// The live objects of all five classes.
inline std::vector<int> liveObjects() {
    return {TypedConstant::fsNumInstances_TypedConstant, ShadingAttribute::fsNumInstances_ShadingAttribute,
            ShadingNode::fsNumInstances_ShadingNode, ShadingLink::fsNumInstances_ShadingLink,
            ShadingNodeSpec::fsNumInstances_ShadingNodeSpec};
}

/// A test that starts and ends with an empty library and leaves no object behind.
class GraphTest : public testing::Test {
protected:
    GraphTest() : fBefore(liveObjects()) {}
    ~GraphTest() override {
        ShadingNodeSpec::clearLibrary();
        EXPECT_EQ(liveObjects(), fBefore);
    }

private:
    std::vector<int> fBefore;
};

using OwnedSpec = std::unique_ptr<ShadingNodeSpec>;

} // namespace graphTesting
