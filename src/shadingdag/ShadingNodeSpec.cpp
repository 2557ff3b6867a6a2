#include "shadingdag/ShadingNodeSpec.h"

#include "core/Exception.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

namespace qvShadingDag {

int ShadingNodeSpec::fsNumInstances_ShadingNodeSpec = 0;

namespace {

constexpr const char* kReturned = "output"; // the name of the value that a function returns

template <typename Attributes>
int offsetOf(const Attributes& attributes, const std::string& name) {
    int offset = 0;
    for (const ShadingAttribute& attribute : attributes) {
        if (attribute.name() == name) {
            return offset;
        }
        ++offset;
    }
    return -1;
}

template <typename Attributes>
DataType dataTypeOf(const Attributes& attributes, const std::string& name) {
    for (const ShadingAttribute& attribute : attributes) {
        if (attribute.name() == name) {
            return attribute.dataType();
        }
    }
    return kInvalidDataType;
}

} // namespace

// Construction and destruction

ShadingNodeSpec::ShadingNodeSpec(NodeType kind) : fNodeType(kind) {
    ++fsNumInstances_ShadingNodeSpec;
}

ShadingNodeSpec* ShadingNodeSpec::createNew(NodeType kind) {
    return kind == kOperationNode || kind == kFunctionNode ? new (std::nothrow) ShadingNodeSpec(kind)
                                                           : nullptr;
}

ShadingNodeSpec::~ShadingNodeSpec() {
    if (fHome) {
        fHome->erase(fLibraryPlace);
    }
    for (const ShadingLink* link : fInternalLinks) {
        delete link;
    }
    for (const ShadingNode* node : fInternalNodes) {
        delete node;
    }
    --fsNumInstances_ShadingNodeSpec;
}

void ShadingNodeSpec::setSource(const std::string& file, const FileLocation& location) {
    fSourceFile = file;
    fSourceLocation = location;
}

// The interface

const ShadingAttribute* ShadingNodeSpec::addParameter(NodeType kind, DataType type, const std::string& name,
                                                      const CompFreqRange& range) {
    std::list<ShadingAttribute> parameter;
    parameter.emplace_back(name, type);
    parameter.back().setCompFreqRange(range);
    std::list<std::pair<NodeType, ShadingAttribute>> argument;
    if (kind == kInputNode || name != kReturned) {
        argument.emplace_back(kind, parameter.back());
    }
    if (fNodeType == kFunctionNode) {
        auto node = std::make_unique<ShadingNode>();
        node->becomeInterface(kind, type, name);
        node->addOutputCompFreqRange(name, range);
        parameter.back().setNodePtr(addNode(std::move(node)));
        if (!argument.empty()) {
            argument.back().second.setNodePtr(parameter.back().nodePtr());
        }
    }
    // Nothing fails from here on.
    auto& parameters = kind == kInputNode ? fInputs : fOutputs;
    fArguments.splice(fArguments.end(), argument);
    parameters.splice(parameters.end(), parameter);
    return &parameters.back();
}

const ShadingAttribute* ShadingNodeSpec::addInput(DataType type, const std::string& name,
                                                  const CompFreqRange& range) {
    return addParameter(kInputNode, type, name, range);
}

/// A value is looked up by the name of its output: walking them each time would be quadratic where a
/// function has many. Without memory for the index they are walked all the same.
void ShadingNodeSpec::indexLastOutput() {
    constexpr std::size_t kOutputsWorthAnIndex = 16;
    if (fOutputs.size() < kOutputsWorthAnIndex) {
        return;
    }
    int offset = fOutputIndex.empty() ? 0 : numOutputs() - 1;
    auto output = std::prev(fOutputs.end(), numOutputs() - offset);
    try {
        for (; output != fOutputs.end(); ++output) {
            fOutputIndex.try_emplace(output->name(), offset++, output->dataType()); // keeps the first
        }
    } catch (const std::bad_alloc&) {
        fOutputIndex.clear();
    }
}

const ShadingAttribute* ShadingNodeSpec::addOutput(DataType type, const std::string& name,
                                                   const CompFreqRange& range) {
    const ShadingAttribute* output = addParameter(kOutputNode, type, name, range);
    indexLastOutput();
    return output;
}

const ShadingAttribute& ShadingNodeSpec::input(int i) const {
    if (i < 0 || i >= numInputs()) {
        throw Exception("Function " + fName + " has no input number " + std::to_string(i));
    }
    return *std::next(fInputs.begin(), i);
}

void ShadingNodeSpec::inputs(AttributeIterator& first, AttributeIterator& last) const {
    first = fInputs.begin();
    last = fInputs.end();
}

void ShadingNodeSpec::outputs(AttributeIterator& first, AttributeIterator& last) const {
    first = fOutputs.begin();
    last = fOutputs.end();
}

void ShadingNodeSpec::constants(AttributeIterator& first, AttributeIterator& last) const {
    first = fConstants.begin();
    last = fConstants.end();
}

void ShadingNodeSpec::arguments(ArgumentIterator& first, ArgumentIterator& last) const {
    first = fArguments.begin();
    last = fArguments.end();
}

bool ShadingNodeSpec::matchArguments(const std::list<ShadingAttribute>& args) const {
    return std::equal(fArguments.begin(), fArguments.end(), args.begin(), args.end(),
                      [](const auto& argument, const ShadingAttribute& arg) {
                          return argument.second.dataType() == arg.dataType();
                      });
}

int ShadingNodeSpec::getOffsetOfInput(const std::string& name) const {
    return offsetOf(fInputs, name);
}

int ShadingNodeSpec::getOffsetOfInput(const std::string& name, ShadingAttribute& found) const {
    const int offset = offsetOf(fInputs, name);
    if (offset >= 0) {
        found = input(offset);
    }
    return offset;
}

int ShadingNodeSpec::getOffsetOfOutput(const std::string& name) const {
    if (fOutputIndex.empty()) {
        return offsetOf(fOutputs, name);
    }
    const auto found = fOutputIndex.find(name);
    return found == fOutputIndex.end() ? -1 : found->second.first;
}

DataType ShadingNodeSpec::dataTypeOfInput(const std::string& name) const {
    return dataTypeOf(fInputs, name);
}

DataType ShadingNodeSpec::dataTypeOfOutput(const std::string& name) const {
    if (fOutputIndex.empty()) {
        return dataTypeOf(fOutputs, name);
    }
    const auto found = fOutputIndex.find(name);
    return found == fOutputIndex.end() ? kInvalidDataType : found->second.second;
}

DataType ShadingNodeSpec::dataTypeOfConstant(const std::string& name) const {
    return dataTypeOf(fConstants, name);
}

} // namespace qvShadingDag
