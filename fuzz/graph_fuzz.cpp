// Takes the bytes as a script of a host that builds, changes, expands and draws graphs, and that
// makes nodes something else by their own setters. Nothing may crash, hang or be left behind, and
// what throws must change nothing.
#include "core/Exception.h"
#include "shadingdag/Graphviz.h"
#include "shadingdag/ShadingNodeSpec.h"

#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

using namespace qvShadingDag;

namespace {

void check(bool condition) {
    if (!condition) {
        std::abort();
    }
}

constexpr const char* kNames[] = {"x", "y", "output", "o", "z"};
constexpr std::size_t kManyNodes = 300;

/// The bytes, one after the other; 0 behind the last.
class Script {
public:
    Script(const std::uint8_t* data, std::size_t size) : fData(data), fEnd(data + size) {}
    bool atEnd() const { return fData == fEnd; }
    std::size_t next(std::size_t choices) { return (atEnd() ? 0U : *fData++) % choices; }
    const char* name() { return kNames[next(std::size(kNames))]; }
    DataType type() { return next(8) == 0 ? kFloat3 : kFloat; }
    CompFreqRange range() {
        const auto lowest = static_cast<unsigned int>(next(5));
        return lowest == 0 ? CompFreqRange() : CompFreqRange(lowest, static_cast<unsigned int>(next(5)));
    }

private:
    const std::uint8_t* fData;
    const std::uint8_t* fEnd;
};

std::vector<ShadingNode*> nodesOf(const ShadingNodeSpec& function) {
    ShadingNodeSpec::NodeIterator first;
    ShadingNodeSpec::NodeIterator last;
    function.internalNodes(first, last);
    return {first, last};
}

std::vector<ShadingLink*> linksOf(const ShadingNodeSpec& function) {
    ShadingNodeSpec::LinkIterator first;
    ShadingNodeSpec::LinkIterator last;
    function.internalLinks(first, last);
    return {first, last};
}

/// Whether a full expansion stays small; one that never ends is refused and counts as small.
bool staysSmall(const ShadingNodeSpec& function, std::size_t& budget, int depth = 0) {
    for (const ShadingNode* node : nodesOf(function)) {
        if (budget-- == 0) {
            return false;
        }
        if (node->nodeType() == kFunctionNode && depth < 12 &&
            !staysSmall(*node->specPtr(), budget, depth + 1)) {
            budget = 0;
            return false;
        }
    }
    return true;
}

class Host {
public:
    explicit Host(Script& script) : fScript(script) {
        for (int inputs = 0; inputs < 4; ++inputs) {
            ShadingNodeSpec* primitive = ShadingNodeSpec::createNew(kOperationNode);
            primitive->setName("f");
            for (int i = 0; i < inputs; ++i) {
                primitive->addInput(kFloat, kNames[i], CompFreqRange());
            }
            primitive->addOutput(kFloat, "output", CompFreqRange());
            primitive->addToLibrary();
            fCallees.push_back(primitive);
        }
        begin();
    }

    void step() {
        const std::string before = convertToGraphviz(fFunction.get(), true, true);
        try {
            act();
        } catch (const Exception&) {
            check(!fLooks);
            // A call that is refused for its frequencies stays; nothing else does.
            check(fRefusalLeavesCall || convertToGraphviz(fFunction.get(), true, true) == before);
        }
        fRefusalLeavesCall = fLooks = false;
    }

private:
    void begin() {
        fFunction.reset(ShadingNodeSpec::createNew(kFunctionNode));
        fFunction->setName("f");
    }

    /// A node of the function; null while there is none.
    ShadingNode* node() {
        const auto nodes = nodesOf(*fFunction);
        return nodes.empty() ? nullptr : nodes[fScript.next(nodes.size())];
    }

    ShadingNodeSpec* callee() { return fCallees[fScript.next(fCallees.size())]; }

    ShadingAttribute value() {
        ShadingNode* source = node();
        if (!source || fScript.next(16) == 0) {
            return {"unassigned", kFloat};
        }
        return {source, source->isCall() ? fScript.name() : source->name()};
    }

    void act() {
        ShadingNodeSpec& f = *fFunction;
        const std::size_t action = fScript.next(22);
        ShadingNode* n = node();
        if (nodesOf(f).size() > kManyNodes && action < 8) {
            return;
        }
        switch (action) {
        case 0:
            f.addInput(fScript.type(), fScript.name(), fScript.range());
            break;
        case 1:
            f.addOutput(fScript.type(), fScript.name(), fScript.range());
            break;
        case 2:
            f.addInternalNode(TypedConstant(static_cast<float>(fScript.next(9))));
            break;
        case 3:
        case 4:
        case 5: {
            std::list<ShadingAttribute> arguments;
            for (std::size_t i = fScript.next(4); i > 0; --i) {
                arguments.push_back(value());
            }
            fRefusalLeavesCall = true;
            f.addInternalNode("f", arguments);
            break;
        }
        case 6: {
            const ShadingAttribute from = value();
            f.connectOutput(from,
                            n ? ShadingAttribute(n, n->name()) : ShadingAttribute(fScript.name(), kFloat));
            break;
        }
        case 7:
            f.addToLibrary();
            fCallees.push_back(fFunction.release());
            begin();
            break;
        case 8:
            changeNode(n);
            break;
        case 9:
            changeNode(callee());
            break;
        case 10:
        case 11:
            if (!n || !n->isCall() || nodesOf(f).size() + nodesOf(*n->specPtr()).size() < 10 * kManyNodes) {
                f.expandNode(n);
            }
            break;
        case 12: {
            std::size_t budget = 5000;
            if (staysSmall(f, budget)) {
                f.expandFunctionCalls();
            }
            break;
        }
        case 13:
        case 14:
            f.replaceOperationNode(n, callee(), fScript.next(2) == 0);
            break;
        case 15:
            fFunction.reset(f.clone());
            break;
        case 16:
            fFunction.reset(callee()->clone());
            break;
        case 17: {
            const auto links = linksOf(f);
            if (!links.empty()) {
                ShadingLink* link = links[fScript.next(links.size())];
                fScript.next(2) == 0 ? link->setSourceAttrName(fScript.name())
                                     : link->setDestAttrName(fScript.name());
            }
            break;
        }
        case 18:
            f.evaluateCompFrequencies(n);
            break;
        case 19:
            f.evaluateAllCompFrequencies();
            break;
        default:
            fLooks = true;
            look(n);
        }
    }

    /// A node of a function that others may call.
    void changeNode(ShadingNodeSpec* function) {
        const auto nodes = nodesOf(*function);
        if (!nodes.empty()) {
            changeNode(nodes[fScript.next(nodes.size())]);
        }
    }

    void changeNode(ShadingNode* n) {
        if (!n) {
            return;
        }
        const ShadingNode* other = node();
        switch (fScript.next(6)) {
        case 0:
            n->setInput(fScript.type(), fScript.name());
            break;
        case 1:
            n->setOutput(fScript.type(), fScript.name());
            break;
        case 2:
            n->setConstant(TypedConstant(1, 2));
            break;
        case 3:
            n->setOperator(callee());
            break;
        case 4:
            *n = ShadingNode();
            break;
        default:
            *n = other ? *other : ShadingNode();
        }
    }

    /// Must not throw, whatever the graph.
    void look(ShadingNode* n) {
        std::list<ShadingNode*> order;
        std::map<ShadingNode*, unsigned int> distance;
        const bool upstream = fScript.next(2) == 0;
        fFunction->fastTopoSort(&order, upstream);
        check(order.size() == nodesOf(*fFunction).size());
        if (n) {
            fFunction->computeDistance(n, distance, upstream);
            fFunction->computeDeepestChildrenDistance(n, distance, distance, upstream);
        }
        fFunction->optimalTopoSort(distance, &order);
    }

    Script& fScript;
    std::vector<ShadingNodeSpec*> fCallees; // in the library
    std::unique_ptr<ShadingNodeSpec> fFunction;
    bool fRefusalLeavesCall = false;
    bool fLooks = false;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    {
        Script script(data, size);
        Host host(script);
        for (int steps = 0; !script.atEnd() && steps < 400; ++steps) {
            host.step();
        }
    }
    ShadingNodeSpec::clearLibrary();
    check(TypedConstant::fsNumInstances_TypedConstant == 0);
    check(ShadingAttribute::fsNumInstances_ShadingAttribute == 0);
    check(ShadingNode::fsNumInstances_ShadingNode == 0);
    check(ShadingLink::fsNumInstances_ShadingLink == 0);
    check(ShadingNodeSpec::fsNumInstances_ShadingNodeSpec == 0);
    return 0;
}
