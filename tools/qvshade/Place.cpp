#include "Place.h"

#include "Failure.h"
#include "Output.h"
#include "Values.h"

using namespace qvShadingDag;

namespace {

void placeOrFail(Placement& placement) {
    if (!placement.place()) {
        throw failure(placement.fault() == kOptionsFault ? kBadCommandLine : kBadFunction,
                      placement.errorString());
    }
}

std::string lineOf(const PlacedNode& node, const std::string& givenFile) {
    if (node.location.line == 0) {
        return "";
    }
    return (node.file == givenFile ? "" : node.file + ":") + std::to_string(node.location.line);
}

void printNodes(const Placement& placement, const std::string& givenFile) {
    Table table = {{"node", "operation", "level", "reason", "line", "variable"}};
    for (int i = 0; i < placement.numNodes(); ++i) {
        const PlacedNode node = placement.node(i);
        table.push_back({std::to_string(i), node.operation, compFreqName(node.level), node.reason,
                         lineOf(node, givenFile), node.variable});
    }
    printTable(table);
}

void printCost(PlacementOptions options, const ShadingNodeSpec& spec) {
    Table table = {{"level"}, {}, {}, {}, {}};
    for (unsigned int level = kConstantFreq; level <= kFragmentFreq; ++level) {
        table[level].push_back(compFreqName(level));
    }
    for (const PlacementPolicy policy : {kExactPlacement, kEarliestPlacement}) {
        options.policy = policy;
        Placement placement(spec, options);
        placeOrFail(placement);
        const std::string name = policy == kExactPlacement ? "exact " : "earliest ";
        for (const char* column : {"operations", "lookups", "values", "components"}) {
            table.front().push_back(name + column);
        }
        for (unsigned int level = kConstantFreq; level <= kFragmentFreq; ++level) {
            const PlacementCost cost = placement.cost(level);
            for (const int number : {cost.operations, cost.lookups, cost.values}) {
                table[level].push_back(std::to_string(number));
            }
            const std::string limit =
                level == kVertexFreq ? " of " + std::to_string(Placement::kVaryingComponents) : "";
            table[level].push_back(std::to_string(cost.components) + limit);
        }
    }
    printTable(table);
}

} // namespace

PlacementOptions placementOptions(const CommandLine& line, const ShadingNodeSpec& spec) {
    PlacementOptions options;
    options.policy = line.earliest ? kEarliestPlacement : kExactPlacement;
    for (const auto& [name, level] : line.inputLevels) {
        options.inputLevels[name] = level == "uniform" ? kUniformFreq : kVertexFreq;
    }
    for (const auto& [name, text] : line.values) {
        options.constants[name] = readValue(text, inputNamed(spec, name));
    }
    return options;
}

void checkPlacement(const ShadingNodeSpec& spec, const PlacementOptions& options) {
    Placement placement(spec, options);
    placeOrFail(placement);
}

void place(const CommandLine& line, const ShadingNodeSpec& spec) {
    const PlacementOptions options = placementOptions(line, spec);
    if (line.showCost) {
        printCost(options, spec);
        return;
    }
    Placement placement(spec, options);
    placeOrFail(placement);
    if (line.outputFile) {
        writeGraph(placement.toGraphviz(), *line.outputFile);
    } else {
        printNodes(placement, line.files.front());
    }
}
