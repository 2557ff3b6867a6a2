#include "Evaluate.h"

#include "Failure.h"
#include "Functions.h"
#include "Inputs.h"
#include "Maps.h"
#include "Output.h"
#include "Values.h"

#include "core/Exception.h"
#include "evaluation/GraphEvaluator.h"

#include <algorithm>

using namespace qvShadingDag;

namespace {

using Input = GraphEvaluator::Input;

/// What a missing value would look like: "NUMBER,NUMBER,NUMBER".
std::string exampleOf(DataType type) {
    if (type == kTexObj) {
        return "@PICTURE, checker or white";
    }
    const std::string component = type == kBool ? "true or false" : "NUMBER";
    std::string text = component;
    for (int i = 1; i < componentCount(type); ++i) {
        text += "," + component;
    }
    return text;
}

const std::string* valueOf(const CommandLine& line, const std::string& name) {
    const auto given = std::find_if(line.values.begin(), line.values.end(),
                                    [&](const auto& pair) { return pair.first == name; });
    return given == line.values.end() ? nullptr : &given->second;
}

void setInputs(const CommandLine& line, const ShadingNodeSpec& spec, GraphEvaluator& evaluator) {
    for (const auto& [name, text] : line.values) {
        const ShadingValue value = readValue(text, inputNamed(spec, name));
        if (value.type != kTexObj) {
            evaluator.set(name, value);
        }
    }
    for (const Input& input : evaluator.inputs()) {
        const std::string* text = valueOf(line, input.name);
        if (!text && input.isRead) {
            throw failure(kBadCommandLine, "input '" + input.name + "' of " + signature(spec) +
                                               " has no value: " + input.name + "=" + exampleOf(input.type));
        }
        if (text && input.type == kTexObj) {
            checkMap(input.name, input.textureKinds, *text);
            evaluator.set(input.name, readMap(*text));
        }
    }
}

std::string nodeLine(const CommandLine& line, const GraphEvaluator& evaluator, std::size_t node) {
    const auto values = evaluator.valuesOfNode(node);
    std::string text = std::to_string(node) + "\t" + evaluator.operationOfNode(node);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::string* map = valueOf(line, evaluator.mapOfNode(node));
        text += "\t" + (values.size() > 1 ? values[i].name + "=" : "") +
                (map ? *map : evaluator.nodeValue(node, i).toString());
    }
    return text + "\n";
}

} // namespace

void evaluate(const CommandLine& line, const ShadingNodeSpec& spec) {
    std::string text;
    try {
        GraphEvaluator evaluator(spec);
        setInputs(line, spec, evaluator);
        evaluator.setKeepsNodeValues(line.showNodes);
        evaluator.evaluate();
        for (std::size_t node = 0; line.showNodes && node < evaluator.numNodes(); ++node) {
            text += nodeLine(line, evaluator, node);
        }
        for (std::size_t i = 0; i < evaluator.outputs().size(); ++i) {
            const std::string* map = valueOf(line, evaluator.mapOfOutput(i));
            text +=
                evaluator.outputs()[i].name + " = " + (map ? *map : evaluator.output(i).toString()) + "\n";
        }
    } catch (const Exception& error) {
        throw failure(kBadFunction,
                      line.files.front() + ": " + signature(spec) + " cannot be evaluated: " + error.message);
    }
    print(text);
}
