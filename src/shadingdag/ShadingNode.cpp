#include "shadingdag/ShadingNode.h"

#include "core/Exception.h"
#include "shadingdag/NodeOrigin.h"

namespace qvShadingDag {

namespace {

const std::string kUnknown;

} // namespace

int ShadingNode::fsNumInstances_ShadingNode = 0;

ShadingNode::ShadingNode() {
    ++fsNumInstances_ShadingNode;
}

ShadingNode::ShadingNode(const ShadingNode& other)
    : fNumber(other.fNumber), fIncomingLinks(other.fIncomingLinks), fOutgoingLinks(other.fOutgoingLinks) {
    copyMeaning(other);
    ++fsNumInstances_ShadingNode;
}

ShadingNode& ShadingNode::operator=(const ShadingNode& other) {
    if (this == &other) {
        return *this;
    }
    if (fOwner) {
        copyMeaning(other);
        markOwner();
        return *this;
    }
    std::list<ShadingLink*> incoming = other.fIncomingLinks;
    std::list<ShadingLink*> outgoing = other.fOutgoingLinks;
    copyMeaning(other);
    fNumber = other.fNumber;
    fIncomingLinks.swap(incoming);
    fOutgoingLinks.swap(outgoing);
    return *this;
}

ShadingNode::~ShadingNode() {
    --fsNumInstances_ShadingNode;
}

/// What needs memory comes first, so that a copy for which there is none changes nothing.
void ShadingNode::copyMeaning(const ShadingNode& other) {
    auto constant = other.fConstant ? std::make_unique<TypedConstant>(*other.fConstant) : nullptr;
    std::string name = other.fName;
    auto outputRanges = other.fOutputRanges;
    fConstant = std::move(constant);
    fName.swap(name);
    fOutputRanges.swap(outputRanges);
    fNodeType = other.fNodeType;
    fSpec = other.fSpec;
    fDataType = other.fDataType;
    fOwnRange = other.fOwnRange;
    fLightSpecific = other.fLightSpecific;
    copyOrigin(other);
}

void ShadingNode::copyOrigin(const ShadingNode& other) {
    fSourceLocation = other.fSourceLocation;
    fOrigin = other.fOrigin;
}

void ShadingNode::becomeInterface(NodeType kind, DataType type, const std::string& name) {
    fName = name;
    fNodeType = kind;
    fSpec = nullptr;
    fConstant.reset();
    fDataType = type;
    markOwner();
}

void ShadingNode::setInput(DataType type, const std::string& name) {
    becomeInterface(kInputNode, type, name);
}

void ShadingNode::setOutput(DataType type, const std::string& name) {
    becomeInterface(kOutputNode, type, name);
}

void ShadingNode::setConstant(const TypedConstant& constant) {
    auto copy = std::make_unique<TypedConstant>(constant); // first: `constant` may be our own
    fNodeType = kConstantNode;
    fSpec = nullptr;
    fDataType = copy->dataType();
    fName.clear();
    fConstant = std::move(copy);
    addOutputCompFreqRange("output", CompFreqRange(kConstantFreq, kConstantFreq));
    markOwner();
}

const TypedConstant& ShadingNode::constant() const {
    verifyAlways(fConstant != nullptr, "The node holds no constant");
    return *fConstant;
}

void ShadingNode::addOutputCompFreqRange(const std::string& name, const CompFreqRange& range) {
    if (isCall()) {
        fOutputRanges.insert_or_assign(name, range);
    } else {
        fOwnRange = range;
    }
}

CompFreqRange ShadingNode::compFreqRangeOfOutput(const std::string& name) const {
    if (!isCall()) {
        return fOwnRange;
    }
    const auto found = fOutputRanges.find(name);
    if (found == fOutputRanges.end()) {
        throw Exception("Comp freq range not found for attribute " + name);
    }
    return found->second;
}

const std::string& ShadingNode::sourceFile() const {
    return fOrigin ? fOrigin->body->file : kUnknown;
}

const std::string& ShadingNode::originFunction() const {
    return fOrigin ? fOrigin->body->function : kUnknown;
}

const std::string& ShadingNode::variableName() const {
    return fOrigin ? fOrigin->variable : kUnknown;
}

void ShadingNode::setSource(const std::string& file, const FileLocation& location,
                            const std::string& function, const std::string& variable) {
    const auto body = std::make_shared<const BodyOrigin>(BodyOrigin{file, function});
    fOrigin = std::make_shared<const NodeOrigin>(NodeOrigin{body, variable});
    fSourceLocation = location;
}

} // namespace qvShadingDag
