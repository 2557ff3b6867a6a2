#include "Place.h"

#include "Failure.h"
#include "Measures.h"
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

void printNodes(const Placement& placement, const CommandLine& line) {
    Table table = {{"node", "operation", "level", "reason", "line", "variable"}};
    for (int i = 0; i < placement.numNodes(); ++i) {
        const PlacedNode node = placement.node(i);
        table.push_back({i, node.operation, compFreqName(node.level), node.reason,
                         lineOf(node.file, node.location, line.files.front()), node.variable});
    }
    printTable(table, line.json);
}

void printCost(PlacementOptions options, const ShadingNodeSpec& spec, bool json) {
    Table table = {{"level"}, {}, {}, {}, {}};
    for (unsigned int level = kConstantFreq; level <= kFragmentFreq; ++level) {
        table[level].emplace_back(compFreqName(level));
    }
    for (const PlacementPolicy policy : {kExactPlacement, kEarliestPlacement}) {
        options.policy = policy;
        Placement placement(spec, options);
        placeOrFail(placement);
        const std::string name = policy == kExactPlacement ? "exact " : "earliest ";
        for (const char* column : {"operations", "lookups", "values", "components"}) {
            table.front().emplace_back(name + column);
        }
        for (unsigned int level = kConstantFreq; level <= kFragmentFreq; ++level) {
            const PlacementCost cost = placement.cost(level);
            for (const int number : {cost.operations, cost.lookups, cost.values}) {
                table[level].emplace_back(number);
            }
            const std::string limit =
                level == kVertexFreq ? " of " + std::to_string(Placement::kVaryingComponents) : "";
            table[level].emplace_back(std::to_string(cost.components) + limit, cost.components);
        }
    }
    printTable(table, json);
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
        printCost(options, spec, line.json);
        return;
    }
    Placement placement(spec, options);
    placeOrFail(placement);
    if (line.outputFile) {
        writeGraph(placement.toGraphviz(), *line.outputFile);
    } else {
        printNodes(placement, line);
    }
}
