#include "evaluation/GraphEvaluator.h"

#include "core/Exception.h"
#include "evaluation/BlockEvaluator.h"
#include "evaluation/FlatProgram.h"
#include "shadingdag/ShadingNodeSpec.h"

#include <algorithm>
#include <utility>

namespace qvShadingDag {

using Index = FlatProgram::Index;

/// What a GraphEvaluator holds.
class GraphEvaluation {
public:
    using Input = GraphEvaluator::Input;
    using Output = GraphEvaluator::Output;

    explicit GraphEvaluation(const ShadingNodeSpec& function)
        : fName(function.name()), fProgram(read(function)), fEvaluator(fProgram) {
        for (const FlatProgram::Input& input : fProgram.inputs) {
            fInputs.push_back({input.name, input.type, input.node != FlatProgram::kNone, {}});
        }
        for (const FlatProgram::Output& output : fProgram.outputs) {
            fOutputs.push_back({output.name, output.type});
        }
        findTextureKinds();
    }

    template <typename Check>
    void set(const std::string& name, const Check& check, const BlockEvaluator::Given& given);
    void addKernel(const std::string& signature, const HostKernel& kernel);
    void evaluate(std::size_t points);

    const FlatProgram::Node& node(std::size_t index) const;
    ShadingValue valueAt(Index value, std::size_t point) const;
    Index valueOfOutput(std::size_t output) const;

    const std::vector<Input>& inputs() const { return fInputs; }
    const std::vector<Output>& outputs() const { return fOutputs; }
    const FlatProgram& program() const { return fProgram; }
    BlockEvaluator& evaluator() { return fEvaluator; }
    const BlockEvaluator& evaluator() const { return fEvaluator; }
    std::size_t points() const { return fPoints; }

private:
    static FlatProgram read(const ShadingNodeSpec& function) {
        FlatProgram program = flatten(function);
        dropUnread(program);
        mergeEqual(program);
        return program;
    }
    void findTextureKinds();
    std::string listOfInputs() const;

    std::string fName;
    FlatProgram fProgram;
    BlockEvaluator fEvaluator;
    std::vector<Input> fInputs;
    std::vector<Output> fOutputs;
    std::size_t fPoints = 0;
};

/// Of the maps that lookups read, through identities.
void GraphEvaluation::findTextureKinds() {
    std::vector<Index> inputs(fProgram.valueTypes.size(), FlatProgram::kNone); // by value
    for (const FlatProgram::Node& node : fProgram.nodes) {
        const Index* arguments = fProgram.arguments.data() + node.firstArgument;
        if (node.kind == FlatProgram::kInput) {
            inputs[node.firstValue] = node.what;
        } else if (node.kind == FlatProgram::kIdentity) {
            inputs[node.firstValue] = inputs[arguments[0]];
        } else if (node.kind == FlatProgram::kCall) {
            const Primitive* primitive = fProgram.callees[node.what].primitive;
            if (!primitive || primitive->texture == kNoTexture ||
                inputs[arguments[0]] == FlatProgram::kNone) {
                continue;
            }
            auto& kinds = fInputs[inputs[arguments[0]]].textureKinds;
            if (std::find(kinds.begin(), kinds.end(), primitive->texture) == kinds.end()) {
                kinds.push_back(primitive->texture);
            }
        }
    }
}

std::string GraphEvaluation::listOfInputs() const {
    std::string list;
    for (const Input& input : fInputs) {
        list += (list.empty() ? "" : ", ") + dataTypeName(input.type) + " " + input.name;
    }
    return list.empty() ? "it has none" : "it has " + list;
}

template <typename Check>
void GraphEvaluation::set(const std::string& name, const Check& check, const BlockEvaluator::Given& given) {
    bool isKnown = false;
    for (std::size_t i = 0; i < fInputs.size(); ++i) {
        if (fInputs[i].name == name) {
            check(fInputs[i]);
            fEvaluator.given[i] = given;
            fEvaluator.given[i].isGiven = true;
            isKnown = true;
        }
    }
    if (!isKnown) {
        throw Exception(kInputError, "Function " + fName + " has no input '" + name + "': " + listOfInputs());
    }
}

void GraphEvaluation::addKernel(const std::string& signature, const HostKernel& kernel) {
    std::string compact = signature;
    std::erase(compact, ' ');
    bool isKnown = false;
    for (std::size_t i = 0; i < fProgram.callees.size(); ++i) {
        std::string known = signatureOf(*fProgram.callees[i].spec);
        std::erase(known, ' ');
        if (known == compact) {
            fEvaluator.hostKernels[i] = kernel;
            isKnown = true;
        }
    }
    if (!isKnown) {
        throw Exception(kInputError, "Function " + fName + " calls no primitive " + signature);
    }
}

void GraphEvaluation::evaluate(std::size_t points) {
    for (const FlatProgram::Output& output : fProgram.outputs) {
        if (output.value == FlatProgram::kNone) {
            throw Exception(kInputError, "Output '" + output.name + "' of " + fName + " is not connected");
        }
    }
    fPoints = 0; // until it is done
    fEvaluator.evaluate(points);
    fPoints = points;
}

const FlatProgram::Node& GraphEvaluation::node(std::size_t index) const {
    verifyAlways(index < fProgram.nodes.size(), "There is no such node");
    return fProgram.nodes[index];
}

Index GraphEvaluation::valueOfOutput(std::size_t output) const {
    verifyAlways(output < fProgram.outputs.size(), "There is no such output");
    return fProgram.outputs[output].value;
}

ShadingValue GraphEvaluation::valueAt(Index value, std::size_t point) const {
    verifyAlways(point < fPoints, "There is no such point");
    ShadingValue result(fProgram.valueTypes[value], {});
    const BlockEvaluator::Columns& columns = fEvaluator.columnsOf(value);
    const auto width = static_cast<std::size_t>(result.width());
    verifyAlways(columns.size() == width * fPoints, "The value was not kept");
    for (std::size_t c = 0; c < width; ++c) {
        result.c[c] = columns[c * fPoints + point];
    }
    return result;
}

GraphEvaluator::GraphEvaluator(const ShadingNodeSpec& function)
    : fEvaluation(std::make_unique<GraphEvaluation>(function)) {}
GraphEvaluator::GraphEvaluator(GraphEvaluator&& other) noexcept = default;
GraphEvaluator& GraphEvaluator::operator=(GraphEvaluator&& other) noexcept = default;
GraphEvaluator::~GraphEvaluator() = default;

const std::vector<GraphEvaluator::Input>& GraphEvaluator::inputs() const {
    return fEvaluation->inputs();
}

void GraphEvaluator::set(const std::string& name, const ShadingValue& value) {
    BlockEvaluator::Given given;
    given.value = value;
    const auto check = [&](const Input& input) {
        if (input.type != value.type || input.type == kTexObj) {
            throw Exception(
                kInputError,
                "Input '" + name + "' is a " + dataTypeName(input.type) +
                    (input.type == value.type ? ": it takes a map" : ", not a " + dataTypeName(value.type)));
        }
    };
    fEvaluation->set(name, check, given);
}

namespace {

/// Throws unless there is a column for every component.
auto columnCheck(const std::string& name, std::size_t columns) {
    return [&name, columns](const GraphEvaluator::Input& input) {
        const auto width = static_cast<std::size_t>(componentCount(input.type));
        if (columns != width || width == 0) {
            throw Exception(kInputError, "Input '" + name + "' is a " + dataTypeName(input.type) +
                                             " and takes " + std::to_string(width) + " columns, not " +
                                             std::to_string(columns));
        }
    };
}

} // namespace

void GraphEvaluator::set(const std::string& name, std::vector<std::span<const float>> columns) {
    BlockEvaluator::Given given;
    given.floats = std::move(columns);
    fEvaluation->set(name, columnCheck(name, given.floats.size()), given);
}

void GraphEvaluator::set(const std::string& name, std::vector<std::span<const double>> columns) {
    BlockEvaluator::Given given;
    given.columns = std::move(columns);
    fEvaluation->set(name, columnCheck(name, given.columns.size()), given);
}

void GraphEvaluator::set(const std::string& name, Texture texture) {
    BlockEvaluator::Given given;
    given.texture = std::move(texture);
    const auto check = [&](const Input& input) {
        if (input.type != kTexObj) {
            throw Exception(kInputError,
                            "Input '" + name + "' is a " + dataTypeName(input.type) + ", not a map");
        }
        if (!given.texture) {
            throw Exception(kInputError, "Input '" + name + "' was given an empty map");
        }
    };
    fEvaluation->set(name, check, given);
}

void GraphEvaluator::addKernel(const std::string& signature, const HostKernel& kernel) {
    fEvaluation->addKernel(signature, kernel);
}

void GraphEvaluator::setRoundsToFloat(bool rounds) {
    fEvaluation->evaluator().roundsToFloat = rounds;
}

void GraphEvaluator::setKeepsNodeValues(bool keeps) {
    fEvaluation->evaluator().keepsAll = keeps;
}

void GraphEvaluator::evaluate(std::size_t points) {
    fEvaluation->evaluate(points);
}

const std::vector<GraphEvaluator::Output>& GraphEvaluator::outputs() const {
    return fEvaluation->outputs();
}

ShadingValue GraphEvaluator::output(std::size_t output, std::size_t point) const {
    const Index value = fEvaluation->valueOfOutput(output);
    verifyAlways(value != FlatProgram::kNone, "The output is not connected");
    return fEvaluation->valueAt(value, point);
}

std::string GraphEvaluator::mapOfOutput(std::size_t output) const {
    const Index value = fEvaluation->valueOfOutput(output);
    return value == FlatProgram::kNone ? "" : mapOfNode(fEvaluation->program().valueNode[value]);
}

std::span<const double> GraphEvaluator::outputColumn(std::size_t output, int component) const {
    const Index value = fEvaluation->valueOfOutput(output);
    const int width = componentCount(fEvaluation->outputs()[output].type);
    verifyAlways(value != FlatProgram::kNone && component >= 0 && component < width,
                 "There is no such column");
    const auto& columns = fEvaluation->evaluator().columnsOf(value);
    const std::size_t points = fEvaluation->points();
    return {columns.data() + static_cast<std::size_t>(component) * points, points};
}

std::size_t GraphEvaluator::numNodes() const {
    return fEvaluation->program().nodes.size();
}

std::string GraphEvaluator::operationOfNode(std::size_t node) const {
    fEvaluation->node(node);
    return operationText(fEvaluation->program(), static_cast<Index>(node));
}

const ShadingNode* GraphEvaluator::originOfNode(std::size_t node) const {
    return fEvaluation->node(node).origin;
}

std::vector<GraphEvaluator::Output> GraphEvaluator::valuesOfNode(std::size_t index) const {
    const FlatProgram& program = fEvaluation->program();
    const FlatProgram::Node& node = fEvaluation->node(index);
    std::vector<Output> values;
    if (node.kind == FlatProgram::kCall) {
        ShadingNodeSpec::AttributeIterator first;
        ShadingNodeSpec::AttributeIterator last;
        for (program.callees[node.what].spec->outputs(first, last); first != last; ++first) {
            values.push_back({first->name(), first->dataType()});
        }
    } else {
        values.push_back({"output", program.valueTypes[node.firstValue]});
    }
    return values;
}

ShadingValue GraphEvaluator::nodeValue(std::size_t index, std::size_t value, std::size_t point) const {
    const FlatProgram::Node& node = fEvaluation->node(index);
    verifyAlways(value < node.valueCount, "The node has no such value");
    return fEvaluation->valueAt(node.firstValue + static_cast<Index>(value), point);
}

std::string GraphEvaluator::mapOfNode(std::size_t index) const {
    const FlatProgram& program = fEvaluation->program();
    const FlatProgram::Node* node = &fEvaluation->node(index);
    while (node->kind == FlatProgram::kIdentity) {
        node = &program.nodes[program.valueNode[program.arguments[node->firstArgument]]];
    }
    const bool isMap = node->kind == FlatProgram::kInput && program.inputs[node->what].type == kTexObj;
    return isMap ? program.inputs[node->what].name : "";
}

} // namespace qvShadingDag
