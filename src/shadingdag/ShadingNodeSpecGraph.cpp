// Nodes, links and ranges of a ShadingNodeSpec.

#include "core/Exception.h"
#include "shadingdag/FlatGraph.h"
#include "shadingdag/GraphUndo.h"
#include "shadingdag/InputFinder.h"
#include "shadingdag/LinkSource.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace qvShadingDag {

namespace {

/// The next `push_back` needs no memory.
template <typename Element>
void makeRoomForOne(std::vector<Element>& elements) {
    if (elements.size() == elements.capacity()) {
        elements.reserve(std::max<std::size_t>(16, 2 * elements.size()));
    }
}

bool isEmpty(unsigned int low, unsigned int high) {
    return low == kInvalidFreq || high == kInvalidFreq || low > high;
}

/// A result can be computed no earlier than its most frequent input: both ends take the maximum.
CompFreqRange combine(const CompFreqRange& running, const CompFreqRange& input) {
    const unsigned int low = std::max(running.lowest(), input.lowest());
    const unsigned int high = std::max(running.highest(), input.highest());
    return isEmpty(low, high) ? CompFreqRange(kInvalidFreq, kInvalidFreq) : CompFreqRange(low, high);
}

/// The range of an output from that of the inputs.
/// On purpose: the highest level that the output declares takes no part, so that a result may have
/// later levels than its function declares.
CompFreqRange outputRange(const CompFreqRange& inputs, const CompFreqRange& declared) {
    const unsigned int low = std::max(inputs.lowest(), declared.lowest());
    const unsigned int high = inputs.highest();
    return isEmpty(low, high) ? CompFreqRange(declared.lowest(), declared.lowest())
                              : CompFreqRange(low, high);
}

std::string noMatchMessage(const std::string& functionName, const std::list<ShadingAttribute>& args) {
    std::string message = "No match for function: " + functionName + "(";
    const char* separator = "";
    for (const ShadingAttribute& arg : args) {
        message += separator + dataTypeName(arg.dataType());
        separator = ", ";
    }
    return message + ")";
}

} // namespace

ShadingNodeSpec* ShadingNodeSpec::clone() const {
    checkIfChanged();
    std::unique_ptr<ShadingNodeSpec> copy(new ShadingNodeSpec(fNodeType));
    copy->fName = fName;
    copy->setSource(fSourceFile, fSourceLocation);
    copy->fFullySpecified = fFullySpecified;

    std::vector<ShadingNode*> nodes(fNodeSlots.size()); // the copies, by the slots of the originals
    for (const ShadingNode* node : fInternalNodes) {
        auto newNode = std::make_unique<ShadingNode>();
        newNode->copyMeaning(*node);
        ShadingNode* copied = copy->addNode(std::move(newNode));
        copied->fNumber = node->fNumber;
        nodes[node->fSlot] = copied;
    }
    for (const ShadingLink* link : fInternalLinks) {
        ShadingLink* copied = copy->makeLink(LinkSource(*link, nodes[link->fSourceNode->fSlot]),
                                             nodes[link->fDestNode->fSlot], link->fDestAttrName);
        copied->fNumber = link->fNumber;
    }
    copy->fNextNodeNumber = fNextNodeNumber;
    copy->fNextLinkNumber = fNextLinkNumber;

    const auto moveToCopy = [&](ShadingAttribute& attribute) {
        const ShadingNode* node = attribute.nodePtr();
        attribute.setNodePtr(node && node->fOwner == this ? nodes[node->fSlot] : nullptr);
    };
    copy->fInputs = fInputs;
    for (const ShadingAttribute& output : fOutputs) {
        copy->fOutputs.push_back(output);
        copy->indexLastOutput();
    }
    copy->fConstants = fConstants;
    copy->fArguments = fArguments;
    std::for_each(copy->fInputs.begin(), copy->fInputs.end(), moveToCopy);
    std::for_each(copy->fOutputs.begin(), copy->fOutputs.end(), moveToCopy);
    std::for_each(copy->fConstants.begin(), copy->fConstants.end(), moveToCopy);
    for (auto& argument : copy->fArguments) {
        moveToCopy(argument.second);
    }
    return copy.release();
}

void ShadingNodeSpec::internalNodes(NodeIterator& first, NodeIterator& last) const {
    first = fInternalNodes.begin();
    last = fInternalNodes.end();
}

void ShadingNodeSpec::internalLinks(LinkIterator& first, LinkIterator& last) const {
    first = fInternalLinks.begin();
    last = fInternalLinks.end();
}

ShadingNode* ShadingNodeSpec::addNode(std::unique_ptr<ShadingNode> node) {
    makeRoomForOne(fNodeSlots);
    ShadingNode* added = node.get();
    added->fPlace = fInternalNodes.insert(fInternalNodes.end(), added);
    // Nothing fails from here on.
    static_cast<void>(node.release()); // the function owns it now
    added->fOwner = this;
    added->fNumber = fNextNodeNumber++;
    added->fSlot = static_cast<unsigned int>(fNodeSlots.size());
    fNodeSlots.push_back(added);
    return added;
}

ShadingLink* ShadingNodeSpec::makeLink(const LinkSource& from, ShadingNode* dest,
                                       const std::string& destName) {
    struct Destroy {
        void operator()(const ShadingLink* unused) const { delete unused; }
    };
    std::unique_ptr<ShadingLink, Destroy> made(new ShadingLink);
    ShadingLink* link = made.get();
    link->fSourceAttrName = from.name;
    link->fDestAttrName = destName;
    makeRoomForOne(fLinkSlots);
    std::list<ShadingLink*> place(1, link);
    std::list<ShadingLink*> sourcePlace(1, link);
    std::list<ShadingLink*> destPlace(1, link);
    // Nothing fails from here on.
    static_cast<void>(made.release()); // the function owns it now
    link->fNumber = fNextLinkNumber++;
    link->fSourceNode = from.node;
    link->fDestNode = dest;
    link->fSourceOutput = from.output;
    link->fCompFreqRange = from.range;
    link->fDataType = from.dataType;
    link->fPlace = place.begin();
    link->fSourcePlace = sourcePlace.begin();
    link->fDestPlace = destPlace.begin();
    fInternalLinks.splice(fInternalLinks.end(), place);
    from.node->fOutgoingLinks.splice(from.node->fOutgoingLinks.end(), sourcePlace);
    dest->fIncomingLinks.splice(dest->fIncomingLinks.end(), destPlace);
    link->fSlot = static_cast<unsigned int>(fLinkSlots.size());
    fLinkSlots.emplace_back(from.node->fSlot, dest->fSlot);
    return link;
}

void ShadingNodeSpec::checkOwns(const ShadingNode* node) const {
    if (!node || node->fOwner != this) {
        throw Exception("The node is not in the graph of function " + fName);
    }
}

/// A variable that nothing was assigned to has no node, an output that nothing was assigned to is
/// still its own output node.
void ShadingNodeSpec::checkReadable(const ShadingAttribute& value) const {
    const ShadingNode* node = value.nodePtr();
    if (!node || node->nodeType() == kOutputNode) {
        throw Exception("Variable used before it is assigned: " + value.name());
    }
    if (node->fOwner != this) {
        throw Exception("The value is not in the graph of function " + fName + ": " + value.name());
    }
}

ShadingNode* ShadingNodeSpec::addInternalNode(const TypedConstant& constant) {
    auto node = std::make_unique<ShadingNode>();
    node->setConstant(constant);
    std::list<ShadingAttribute> entry;
    entry.emplace_back(node.get(), "output");
    ShadingNode* added = addNode(std::move(node));
    fConstants.splice(fConstants.end(), entry);
    return added;
}

ShadingNode* ShadingNodeSpec::addInternalNode(const std::string& functionName,
                                              const std::list<ShadingAttribute>& args) {
    const auto [first, last] = fLibrary.equal_range(functionName);
    const auto match =
        std::find_if(first, last, [&](const auto& entry) { return entry.second->matchArguments(args); });
    if (match == last) {
        throw Exception(noMatchMessage(functionName, args));
    }
    ShadingNodeSpec* spec = match->second;

    auto arg = args.begin();
    for (const auto& [marker, parameter] : spec->fArguments) {
        if (marker == kInputNode) {
            checkReadable(*arg);
        }
        ++arg;
    }

    GraphUndo undo(*this);
    auto newNode = std::make_unique<ShadingNode>();
    newNode->setOperator(spec);
    ShadingNode* node = addNode(std::move(newNode));
    arg = args.begin();
    for (const auto& [marker, parameter] : spec->fArguments) {
        if (marker == kInputNode) {
            const CompFreqRange& allowed = parameter.compFreqRange();
            if (!allowed.contains(arg->compFreqRange())) {
                const std::string message = "Allowable computational frequency range of " +
                                            allowed.toString() + " couldn't accomodate " +
                                            arg->compFreqRange().toString();
                undo.keep();
                throw Exception(message);
            }
            makeLink(LinkSource(*arg), node, parameter.name());
        }
        ++arg;
    }
    evaluateCompFrequencies(node);
    undo.keep();
    return node;
}

void ShadingNodeSpec::connectOutput(const ShadingAttribute& from, const ShadingAttribute& to) {
    ShadingNode* output = to.nodePtr();
    if (!output) {
        const auto found =
            std::find_if(fOutputs.begin(), fOutputs.end(),
                         [&](const ShadingAttribute& candidate) { return candidate.name() == to.name(); });
        output = found == fOutputs.end() ? nullptr : found->nodePtr();
    }
    if (!output || output->fOwner != this || output->fNodeType != kOutputNode || output->fName != to.name()) {
        throw Exception("Function " + fName + " has no output to connect: " + to.name());
    }
    if (from.nodePtr() && from.nodePtr()->fOwner == this && from.nodePtr()->nodeType() == kOutputNode) {
        return;
    }
    checkReadable(from);
    makeLink(LinkSource(from), output, to.name());
}

ShadingLink* ShadingNodeSpec::inputLinkOfNode(const ShadingNode* node, const std::string& inputName) const {
    if (!node || node->fOwner != this) {
        return nullptr;
    }
    const auto& links = node->incomingLinks();
    const auto found = std::find_if(links.begin(), links.end(), [&](const ShadingLink* link) {
        return link->destAttrName() == inputName;
    });
    return found == links.end() ? nullptr : *found;
}

void ShadingNodeSpec::evaluateCompFrequencies(ShadingNode* node) {
    checkOwns(node);
    if (const ShadingAttribute* missing = evaluateWhereConnected(*node)) {
        throw Exception("Input is not connected: " + missing->name());
    }
}

void ShadingNodeSpec::evaluateAllCompFrequencies() {
    for (const ShadingNode* node : fInternalNodes) {
        if (node->isCall()) {
            checkInputs(*node);
        }
    }
    const FlatGraph graph(*this, true);
    std::vector<CompFreqRange> ranges;
    for (const unsigned int slot : graph.postOrder()) {
        ShadingNode& node = *graph.node(slot);
        if (!node.isCall()) {
            continue;
        }
        evaluateWhereConnected(node);
        ranges.clear();
        for (const ShadingAttribute& output : node.fSpec->fOutputs) {
            ranges.push_back(node.compFreqRangeOfOutput(output.name()));
        }
        for (ShadingLink* link : node.fOutgoingLinks) {
            const auto output = static_cast<std::size_t>(link->fSourceOutput); // -1 is beyond all of them
            if (output < ranges.size()) {
                link->fCompFreqRange = ranges[output];
            }
        }
    }
}

/// Evaluates the ranges of a call; returns the first input that is not connected, if there is one,
/// and then changes nothing.
const ShadingAttribute* ShadingNodeSpec::evaluateWhereConnected(ShadingNode& node) {
    if (!node.isCall()) {
        return nullptr;
    }
    // On purpose: an empty range on the way is forgotten when the next input comes in, so that only the
    // last inputs can leave the result empty.
    CompFreqRange running(kInvalidFreq, kInvalidFreq);
    const InputFinder finder(node);
    for (const ShadingAttribute& input : node.fSpec->fInputs) {
        const ShadingLink* link = finder.find(input.name());
        if (!link) {
            return &input;
        }
        running = combine(running, link->fCompFreqRange);
    }
    for (const ShadingAttribute& output : node.fSpec->fOutputs) {
        node.addOutputCompFreqRange(output.name(), outputRange(running, output.compFreqRange()));
    }
    return nullptr;
}

} // namespace qvShadingDag
