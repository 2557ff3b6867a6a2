#include "conversion/ProgramStages.h"

namespace qvShadingDag {

namespace {

using Index = FlatProgram::Index;

/// Copies what a stage needs, node by node.
class StageBuilder {
public:
    explicit StageBuilder(const PlacedProgram& placed)
        : fPlaced(placed), fValues(placed.flat.valueTypes.size(), FlatProgram::kNone) {
        fStage.program.literals = placed.flat.literals;
        fStage.program.callees = placed.flat.callees;
    }

    void copyNode(Index index) {
        const FlatProgram& flat = fPlaced.flat;
        const FlatProgram::Node& node = flat.nodes[index];
        // The inputs that it reads come before it.
        std::vector<Index> arguments;
        for (Index i = 0; i < node.argumentCount; ++i) {
            arguments.push_back(valueOf(flat.arguments[node.firstArgument + i]));
        }
        FlatProgram& program = fStage.program;
        FlatProgram::Node copy = node;
        copy.firstArgument = static_cast<Index>(program.arguments.size());
        program.arguments.insert(program.arguments.end(), arguments.begin(), arguments.end());
        copy.firstValue = addValues(&flat.valueTypes[node.firstValue], node.valueCount);
        for (Index v = 0; v < node.valueCount; ++v) {
            fValues[node.firstValue + v] = copy.firstValue + v;
        }
        program.nodes.push_back(copy);
    }

    void addResult(Index value) {
        fStage.program.outputs.push_back(
            {"", fPlaced.flat.valueTypes[value], CompFreqRange(), valueOf(value)});
        fStage.results.push_back(value);
    }

    ProgramStage take() { return std::move(fStage); }

private:
    Index addValues(const DataType* types, Index count) {
        FlatProgram& program = fStage.program;
        const auto first = static_cast<Index>(program.valueTypes.size());
        program.valueTypes.insert(program.valueTypes.end(), types, types + count);
        program.valueNode.insert(program.valueNode.end(), count, static_cast<Index>(program.nodes.size()));
        return first;
    }

    /// A map that an identity passes on is the map itself.
    Index mapBehind(Index value) const {
        const FlatProgram& flat = fPlaced.flat;
        while (flat.valueTypes[value] == kTexObj && flat.nodes[flat.valueNode[value]].argumentCount == 1) {
            value = flat.arguments[flat.nodes[flat.valueNode[value]].firstArgument];
        }
        return value;
    }

    /// The value in the stage that stands for a value of the placed program: what was copied before, a
    /// literal, or else an input.
    Index valueOf(Index placedValue) {
        const Index value = mapBehind(placedValue);
        if (fValues[value] != FlatProgram::kNone) {
            return fValues[value];
        }
        FlatProgram& program = fStage.program;
        FlatProgram::Node node;
        const Index literal = fPlaced.literalOf[value];
        if (literal != FlatProgram::kNone) {
            node.kind = FlatProgram::kLiteral;
            node.what = literal;
        } else {
            node.kind = FlatProgram::kInput;
            node.what = static_cast<Index>(program.inputs.size());
            FlatProgram::Input input;
            input.type = fPlaced.flat.valueTypes[value];
            input.node = static_cast<Index>(program.nodes.size());
            program.inputs.push_back(input);
            fStage.sources.push_back(value);
        }
        node.firstArgument = static_cast<Index>(program.arguments.size());
        node.firstValue = addValues(&fPlaced.flat.valueTypes[value], 1);
        node.valueCount = 1;
        program.nodes.push_back(node);
        return fValues[value] = node.firstValue;
    }

    const PlacedProgram& fPlaced;
    ProgramStage fStage;
    std::vector<Index> fValues; // by value of the placed program
};

} // namespace

ProgramStage extractStage(const PlacedProgram& placed, const std::vector<Index>& nodes,
                          const std::vector<Index>& results) {
    StageBuilder builder(placed);
    for (const Index node : nodes) {
        builder.copyNode(node);
    }
    for (const Index value : results) {
        builder.addResult(value);
    }
    return builder.take();
}

} // namespace qvShadingDag
