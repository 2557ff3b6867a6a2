// Expansion and replacement of calls in a ShadingNodeSpec.

#include "core/Exception.h"
#include "shadingdag/FlatGraph.h"
#include "shadingdag/GraphUndo.h"
#include "shadingdag/InputFinder.h"
#include "shadingdag/LinkSource.h"

#include <algorithm>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace qvShadingDag {

namespace {

constexpr std::uint64_t kLimit = std::uint64_t(1) << 24U; // of nodes and links, and of calls

/// The sum of numbers up to the limit; anything above counts as one more than the limit.
std::uint64_t limitedSum(std::uint64_t a, std::uint64_t b) {
    return std::min(a + b, kLimit + 1);
}

/// The links that feed the outputs of a function, in the order of the outputs; null where none
/// does.
std::vector<const ShadingLink*> outputFeeds(const ShadingNodeSpec& spec) {
    std::vector<const ShadingLink*> feeds;
    ShadingNodeSpec::AttributeIterator output;
    ShadingNodeSpec::AttributeIterator last;
    for (spec.outputs(output, last); output != last; ++output) {
        const ShadingNode* node = output->nodePtr(); // null for a primitive
        const bool isFed = node != nullptr && !node->incomingLinks().empty();
        feeds.push_back(isFed ? node->incomingLinks().front() : nullptr);
    }
    return feeds;
}

/// Whether the output of a function that `reader` reads is one of the connected ones.
template <typename Outputs>
bool reads(const ShadingLink& reader, const Outputs& connected) {
    const auto output = static_cast<std::size_t>(reader.sourceOutput()); // -1 is beyond all of them
    return output < connected.size() && connected[output];
}

template <typename Outputs>
void checkOutput(const ShadingLink& reader, const Outputs& connected) {
    if (!reads(reader, connected)) {
        throw Exception("Output is not connected: " + reader.sourceAttrName());
    }
}

/// The calls of functions in a body, in the order in which a copy of the body gets them.
std::vector<const ShadingNode*> functionCallsInOrder(const ShadingNodeSpec& function) {
    std::vector<const ShadingNode*> calls;
    const FlatGraph graph(function, true);
    for (const unsigned int slot : graph.postOrder()) {
        if (graph.node(slot)->nodeType() == kFunctionNode) {
            calls.push_back(graph.node(slot));
        }
    }
    return calls;
}

/// For each output of `from`, the position of the output of `to` that takes its place: the returned
/// value that of the returned value, the others in order. -1 where there is none.
std::vector<int> matchingOutputs(const ShadingNodeSpec& from, const ShadingNodeSpec& to) {
    const std::string returned = "output";
    ShadingNodeSpec::AttributeIterator output;
    ShadingNodeSpec::AttributeIterator last;
    std::vector<int> parameters; // the positions of `to`'s outputs but for the returned value
    int position = 0;
    for (to.outputs(output, last); output != last; ++output, ++position) {
        if (output->name() != returned) {
            parameters.push_back(position);
        }
    }
    std::vector<int> matches;
    std::size_t next = 0;
    for (from.outputs(output, last); output != last; ++output) {
        if (output->name() == returned) {
            matches.push_back(to.getOffsetOfOutput(returned));
        } else {
            matches.push_back(next < parameters.size() ? parameters[next] : -1);
            ++next;
        }
    }
    return matches;
}

} // namespace

void ShadingNodeSpec::destroyLink(ShadingLink* link) {
    link->fSourceNode->fOutgoingLinks.erase(link->fSourcePlace);
    link->fDestNode->fIncomingLinks.erase(link->fDestPlace);
    fInternalLinks.erase(link->fPlace);
    fLinkSlots[link->fSlot] = {kNoSlot, kNoSlot};
    delete link;
}

/// A node that no link joins and that is on no list of attributes.
void ShadingNodeSpec::destroyNode(ShadingNode* node) {
    fInternalNodes.erase(node->fPlace);
    fNodeSlots[node->fSlot] = nullptr;
    delete node;
}

void ShadingNodeSpec::destroyCall(ShadingNode* node) {
    while (!node->fIncomingLinks.empty()) {
        destroyLink(node->fIncomingLinks.front());
    }
    while (!node->fOutgoingLinks.empty()) {
        destroyLink(node->fOutgoingLinks.front());
    }
    destroyNode(node);
    dropUnusedSlots();
}

/// As soon as more than half of the slots are unused: constant time for each call destroyed.
void ShadingNodeSpec::dropUnusedSlots() {
    if (fNodeSlots.size() + fLinkSlots.size() <= 2 * (fInternalNodes.size() + fInternalLinks.size())) {
        return;
    }
    fNodeSlots.clear();
    for (ShadingNode* node : fInternalNodes) {
        node->fSlot = static_cast<unsigned int>(fNodeSlots.size());
        fNodeSlots.push_back(node);
    }
    fLinkSlots.clear();
    for (ShadingLink* link : fInternalLinks) {
        link->fSlot = static_cast<unsigned int>(fLinkSlots.size());
        fLinkSlots.emplace_back(link->fSourceNode->fSlot, link->fDestNode->fSlot);
    }
}

/// Copies the body of one function into another graph, in place of a call.
///
/// 1. The body is sorted so that every node comes behind those that feed it.
/// 2. Each of its nodes gets something in the target that has its value: an input what feeds the
///    call there, a constant and a call a copy; a copied call is linked and evaluated at once.
/// 3. Every link that left the call read one of the body's outputs. It is made again, and now leaves
///    the node of the target that has the value which the body connects to that output.
/// 4. The call and its links are destroyed.
///
/// Interface and constant nodes have one value, so that it is found by node, whatever name a link
/// carries. The value of a call's copy is found by the output that a link reads; its name is that
/// of the link, which may be kept from an earlier expansion.
class BodyCopier {
public:
    explicit BodyCopier(ShadingNodeSpec& target) : fTarget(target) {}

    /// `call` and the body that it stands for have been checked. Where memory runs out, nothing changes.
    void expand(ShadingNode* call);

private:
    struct Value {
        std::optional<LinkSource> source; // of inputs and constants
        ShadingNode* copy = nullptr;      // of constants and calls
        std::size_t firstRange = 0;       // of calls: where the ranges of their outputs start
    };

    LinkSource valueBehind(const ShadingLink& link) const;
    void copyCall(const ShadingNode& node, Value& value);

    ShadingNodeSpec& fTarget;
    std::vector<Value> fValues; // by the slots of the body's nodes
    std::vector<CompFreqRange> fRanges;
};

LinkSource BodyCopier::valueBehind(const ShadingLink& link) const {
    const Value& value = fValues[FlatGraph::slotOf(*link.sourceNode())];
    if (!link.sourceNode()->isCall()) {
        return *value.source;
    }
    LinkSource source(link, value.copy);
    const auto output = static_cast<std::size_t>(link.sourceOutput()); // -1 is beyond all of them
    if (output < value.copy->specPtr()->fOutputs.size()) {
        source.range = fRanges[value.firstRange + output];
    }
    return source;
}

void BodyCopier::copyCall(const ShadingNode& node, Value& value) {
    auto copy = std::make_unique<ShadingNode>();
    copy->setOperator(node.specPtr());
    copy->fLightSpecific = node.fLightSpecific;
    copy->copyOrigin(node);
    value.copy = fTarget.addNode(std::move(copy));
    for (const ShadingLink* link : node.incomingLinks()) {
        fTarget.makeLink(valueBehind(*link), value.copy, link->destAttrName());
    }
    fTarget.evaluateCompFrequencies(value.copy);
    value.firstRange = fRanges.size();
    for (const ShadingAttribute& output : node.specPtr()->fOutputs) {
        fRanges.push_back(value.copy->compFreqRangeOfOutput(output.name()));
    }
}

void BodyCopier::expand(ShadingNode* call) {
    const FlatGraph body(*call->specPtr(), true);
    const auto feeds = outputFeeds(*call->specPtr());
    const InputFinder callInputs(*call);
    fValues.assign(body.size(), Value());
    fRanges.clear();
    GraphUndo undo(fTarget);

    for (const unsigned int slot : body.postOrder()) {
        const ShadingNode& node = *body.node(slot);
        Value& value = fValues[slot];
        if (node.isCall()) {
            copyCall(node, value);
        } else if (node.nodeType() == kInputNode) {
            const ShadingLink* feed = callInputs.find(node.fName);
            value.source.emplace(*feed, feed->sourceNode());
        } else if (node.nodeType() == kConstantNode) {
            value.copy = fTarget.addInternalNode(node.constant());
            value.copy->fLightSpecific = node.fLightSpecific;
            value.copy->copyOrigin(node);
            value.source.emplace(fTarget.fConstants.back());
        }
    }

    for (const ShadingLink* link : call->outgoingLinks()) {
        const LinkSource value = valueBehind(*feeds[static_cast<std::size_t>(link->sourceOutput())]);
        // On purpose: the new link keeps the type and the source attribute name of the old one, which need
        // not be those of what it now reads.
        LinkSource source(*link, value.node);
        source.output = value.output;
        source.range = value.range;
        fTarget.makeLink(source, link->destNode(), link->destAttrName());
    }
    undo.keep();
    fTarget.destroyCall(call);
}

/// Finds out, before anything is changed, whether all calls of a function can be expanded. Each
/// function is looked at once, behind those that it calls.
class ExpansionCheck {
public:
    explicit ExpansionCheck(const ShadingNodeSpec& function);

private:
    struct Body {
        bool finished = false;
        std::uint64_t calls = 0;        // that are expanded on the way
        std::uint64_t added = 0;        // nodes and links that a copy of the body adds
        std::uint64_t addedByCalls = 0; // what all copies for its calls add, those for theirs included
        std::vector<bool> connected;    // by output: whether its value is there in the end
    };

    const Body& calledBody(const ShadingNode& call) const { return fBodies.at(call.specPtr()); }
    void visit(const ShadingNodeSpec& function);
    void finish(const ShadingNodeSpec& function, Body& body) const;
    void checkSize(const ShadingNodeSpec& function, const Body& whole) const;

    std::unordered_map<const ShadingNodeSpec*, Body> fBodies;
};

ExpansionCheck::ExpansionCheck(const ShadingNodeSpec& function) {
    visit(function);
    checkSize(function, fBodies[&function]);
    for (const ShadingLink* link : function.fInternalLinks) {
        if (link->sourceNode()->nodeType() == kFunctionNode) {
            checkOutput(*link, calledBody(*link->sourceNode()).connected);
        }
    }
}

/// Depth first through the calls, without recursion.
void ExpansionCheck::visit(const ShadingNodeSpec& function) {
    struct Step {
        const ShadingNodeSpec* function;
        ShadingNodeSpec::NodeIterator node;
    };
    std::vector<Step> path;
    const auto enter = [&](const ShadingNodeSpec& next) {
        next.checkIfChanged();
        path.push_back({&next, next.fInternalNodes.begin()});
    };
    fBodies[&function];
    enter(function);
    while (!path.empty()) {
        auto& [current, place] = path.back();
        if (place == current->fInternalNodes.end()) {
            finish(*current, fBodies[current]);
            path.pop_back();
            continue;
        }
        const ShadingNode& node = **place++;
        if (node.nodeType() == kFunctionNode) {
            const auto [body, isNew] = fBodies.try_emplace(node.specPtr());
            if (isNew) {
                enter(*node.specPtr());
            } else if (!body->second.finished) {
                throw Exception("Function calls itself: " + node.specPtr()->fName);
            }
        }
    }
}

void ExpansionCheck::finish(const ShadingNodeSpec& function, Body& body) const {
    for (const ShadingNode* node : function.fInternalNodes) {
        if (node->nodeType() == kConstantNode) {
            body.added = limitedSum(body.added, 1);
        }
        if (!node->isCall()) {
            continue;
        }
        checkInputs(*node);
        body.added = limitedSum(body.added, 1 + node->incomingLinks().size());
        if (node->nodeType() == kFunctionNode) {
            const Body& called = calledBody(*node);
            body.calls = limitedSum(body.calls, called.calls + 1);
            body.addedByCalls = limitedSum(body.addedByCalls, limitedSum(called.added, called.addedByCalls));
        }
        // What feeds a call of the body is needed wherever the body goes; what feeds its outputs
        // only where they are read.
        for (const ShadingLink* link : node->incomingLinks()) {
            if (link->sourceNode()->nodeType() == kFunctionNode) {
                checkOutput(*link, calledBody(*link->sourceNode()).connected);
            }
        }
    }
    for (const ShadingLink* feed : outputFeeds(function)) {
        const bool fromFunction = feed && feed->sourceNode()->nodeType() == kFunctionNode;
        body.connected.push_back(feed &&
                                 (!fromFunction || reads(*feed, calledBody(*feed->sourceNode()).connected)));
    }
    body.finished = true;
}

/// Where everything that is ever added stays below the limit, so does what is there at any time.
/// Otherwise the expansion is gone through in numbers: a call's copies are there before the call goes.
void ExpansionCheck::checkSize(const ShadingNodeSpec& function, const Body& whole) const {
    const auto check = [&](std::uint64_t number, const char* what) {
        if (number > kLimit) {
            throw Exception("Expansion gives more than " + std::to_string(kLimit) + what + function.fName);
        }
    };
    check(whole.calls, " calls: ");
    std::uint64_t alive = function.fInternalNodes.size() + function.fInternalLinks.size();
    if (alive + whole.addedByCalls <= kLimit) {
        return;
    }
    std::deque<const ShadingNode*> waiting;
    for (const ShadingNode* node : function.fInternalNodes) {
        if (node->nodeType() == kFunctionNode) {
            waiting.push_back(node);
        }
    }
    std::unordered_map<const ShadingNodeSpec*, std::vector<const ShadingNode*>> callsOf;
    for (; !waiting.empty(); waiting.pop_front()) {
        const ShadingNode& call = *waiting.front();
        const auto [calls, isNew] = callsOf.try_emplace(call.specPtr());
        if (isNew) {
            calls->second = functionCallsInOrder(*call.specPtr());
        }
        alive += calledBody(call).added;
        check(alive, " nodes and links: ");
        waiting.insert(waiting.end(), calls->second.begin(), calls->second.end());
        alive -= 1 + call.incomingLinks().size();
    }
}

void ShadingNodeSpec::expandNode(ShadingNode* callNode) {
    checkOwns(callNode);
    if (callNode->fNodeType != kFunctionNode) {
        return;
    }
    checkIfChanged();
    callNode->fSpec->checkIfChanged();
    checkInputs(*callNode);
    for (const ShadingNode* node : callNode->fSpec->fInternalNodes) {
        if (node->isCall()) {
            checkInputs(*node);
        }
    }
    const auto feeds = outputFeeds(*callNode->fSpec);
    for (const ShadingLink* link : callNode->fOutgoingLinks) {
        checkOutput(*link, feeds);
    }
    BodyCopier(*this).expand(callNode);
}

void ShadingNodeSpec::expandFunctionCalls() {
    const ExpansionCheck check(*this);
    BodyCopier copier(*this);
    // New calls come to the end of the list: one walk meets them all.
    for (auto place = fInternalNodes.begin(); place != fInternalNodes.end();) {
        if ((*place)->fNodeType != kFunctionNode) {
            ++place;
            continue;
        }
        const bool isFirst = place == fInternalNodes.begin();
        const auto previous = isFirst ? place : std::prev(place);
        copier.expand(*place);
        place = isFirst ? fInternalNodes.begin() : std::next(previous);
    }
}

/// Gives the outputs of `to` the ranges of the outputs of `from` that they take the place of, and
/// any other output its lowest declared level.
void ShadingNodeSpec::takeOverRanges(const ShadingNode& from, const std::vector<int>& matchingOutputs,
                                     ShadingNode& to) {
    std::vector<const std::string*> names;
    for (const ShadingAttribute& output : to.fSpec->fOutputs) {
        const unsigned int lowest = output.compFreqRange().lowest();
        to.addOutputCompFreqRange(output.name(), CompFreqRange(lowest, lowest));
        names.push_back(&output.name());
    }
    auto match = matchingOutputs.begin();
    for (const ShadingAttribute& output : from.fSpec->fOutputs) {
        const auto range = from.fOutputRanges.find(output.name());
        if (*match >= 0 && range != from.fOutputRanges.end()) {
            to.addOutputCompFreqRange(*names[static_cast<std::size_t>(*match)], range->second);
        }
        ++match;
    }
}

ShadingNode* ShadingNodeSpec::replaceOperationNode(ShadingNode* node, ShadingNodeSpec* replacement,
                                                   bool allowExtraInputs) {
    if (!node || node->fOwner != this || !node->isCall() || !replacement ||
        (replacement->fNodeType != kOperationNode && replacement->fNodeType != kFunctionNode)) {
        return nullptr;
    }
    checkIfChanged();

    // 1. Compatibility.
    const ShadingNodeSpec& old = *node->fSpec;
    auto argument = replacement->fArguments.begin();
    for (const auto& [marker, parameter] : old.fArguments) {
        if (argument == replacement->fArguments.end() || argument->first != marker ||
            argument->second.dataType() != parameter.dataType()) {
            return nullptr;
        }
        ++argument;
    }
    const auto firstExtra = argument;
    const auto lastExtra = replacement->fArguments.end();
    const bool hasExtra = firstExtra != lastExtra;
    if (old.dataTypeOfOutput("output") != replacement->dataTypeOfOutput("output") ||
        (hasExtra && (!allowExtraInputs || fNodeType != kFunctionNode))) {
        return nullptr;
    }
    std::unordered_set<std::string_view> inputNames;
    if (hasExtra) {
        for (const ShadingAttribute& input : fInputs) {
            inputNames.insert(input.name());
        }
    }
    for (argument = firstExtra; argument != lastExtra; ++argument) {
        if (argument->first == kInputNode && !inputNames.insert(argument->second.name()).second) {
            return nullptr;
        }
    }

    // 2. The new call.
    GraphUndo undo(*this);
    auto newCall = std::make_unique<ShadingNode>();
    newCall->setOperator(replacement);
    newCall->copyOrigin(*node);
    ShadingNode* call = addNode(std::move(newCall));

    // 3. Its links.
    const auto outputs = matchingOutputs(old, *replacement);
    for (const ShadingLink* link : node->fIncomingLinks) {
        makeLink(LinkSource(*link, link->fSourceNode), call, link->fDestAttrName);
    }
    for (const ShadingLink* link : node->fOutgoingLinks) {
        LinkSource source(*link, call);
        const auto output = static_cast<std::size_t>(link->fSourceOutput);
        source.output = output < outputs.size() ? outputs[output] : -1;
        makeLink(source, link->fDestNode, link->fDestAttrName);
    }

    // 4. What the replacement needs in addition.
    for (argument = firstExtra; argument != lastExtra; ++argument) {
        const auto& [marker, parameter] = *argument;
        if (marker == kInputNode) {
            ShadingNode* input =
                addInput(parameter.dataType(), parameter.name(), parameter.compFreqRange())->nodePtr();
            input->setLightSpecific(true);
            if (parameter.nodePtr()) {
                input->copyOrigin(*parameter.nodePtr());
            }
            makeLink(LinkSource(ShadingAttribute(input, "output")), call, parameter.name());
        }
    }
    if (evaluateWhereConnected(*call)) {
        takeOverRanges(*node, outputs, *call);
    }

    // 5. The old call.
    undo.keep();
    destroyCall(node);
    return call;
}

} // namespace qvShadingDag
