#include "Commands.h"

#include "Check.h"
#include "Convert.h"
#include "Evaluate.h"
#include "Failure.h"
#include "Functions.h"
#include "Measures.h"
#include "Output.h"
#include "Pictures.h"
#include "Place.h"
#include "Render.h"

#include "core/Exception.h"
#include "shadingdag/Graphviz.h"

#include <list>
#include <map>

using namespace qvShadingDag;

namespace {

/// Reads the libraries and then the only file; returns the file's functions.
Functions readInput(const CommandLine& line) {
    for (const std::string& library : line.libraries) {
        readFile(library);
    }
    return readFile(line.files.front());
}

std::string kindOf(const ShadingNodeSpec& spec) {
    return spec.nodeType() == kFunctionNode ? "function" : "primitive";
}

void list(const CommandLine& line) {
    Functions functions = readInput(line);
    if (line.function) {
        functions = matchingFunctions(functions, *line.function);
    }
    // The signatures last: the longest would push every other column off the screen.
    Table table = {{"kind", "nodes", "links", "function"}};
    for (const ShadingNodeSpec* spec : functions) {
        table.push_back(
            {kindOf(*spec), std::to_string(numNodes(*spec)), std::to_string(numLinks(*spec)), header(*spec)});
    }
    printTable(table);
}

void show(const CommandLine& line, ShadingNodeSpec& spec) {
    const std::string text = convertToGraphviz(&spec, line.showTypes, line.showCompFreqs);
    if (line.outputFile) {
        writeGraph(text, *line.outputFile);
    } else {
        print(text);
    }
}

void graph(const CommandLine& line) {
    ShadingNodeSpec* spec = chooseFunction(readInput(line), *line.function);
    if (line.pictures) {
        drawPictures(line, *spec);
    } else {
        show(line, *spec);
    }
}

void expand(const CommandLine& line) {
    ShadingNodeSpec* spec = chooseFunction(readInput(line), *line.function);
    spec->expandFunctionCalls();
    show(line, *spec);
}

void order(const CommandLine& line) {
    const ShadingNodeSpec* spec = chooseFunction(readInput(line), *line.function);
    const std::map<ShadingNode*, unsigned int> distances = distancesToOutputs(*spec);
    std::list<ShadingNode*> nodes;
    if (line.fast) {
        spec->fastTopoSort(&nodes, true);
    } else {
        std::map<ShadingNode*, unsigned int> steering = distances;
        spec->optimalTopoSort(steering, &nodes);
    }
    Table table = {{"position", "node", "computes", "frequency", "distance"}};
    for (ShadingNode* node : nodes) {
        const auto distance = distances.find(node);
        table.push_back({std::to_string(table.size()), std::to_string(node->number()), meaning(*node),
                         frequencies(*node),
                         distance == distances.end() ? "none" : std::to_string(distance->second)});
    }
    printTable(table);
}

std::vector<std::string> statsRow(const ShadingNodeSpec& spec, const std::string& graph) {
    const Measures measures = measure(spec);
    std::vector<std::string> row = {signature(spec), graph};
    for (const int number : {measures.nodes, measures.links, measures.depth}) {
        row.push_back(std::to_string(number));
    }
    for (unsigned int level = kConstantFreq; level <= kFragmentFreq; ++level) {
        row.push_back(std::to_string(measures.callsAt[level]));
    }
    return row;
}

void stats(const CommandLine& line) {
    Table table = {
        {"function", "graph", "nodes", "links", "depth", "constant", "uniform", "vertex", "fragment"}};
    std::string errors;
    for (ShadingNodeSpec* spec : readInput(line)) {
        if (spec->nodeType() != kFunctionNode) {
            continue;
        }
        table.push_back(statsRow(*spec, "written"));
        try {
            spec->expandFunctionCalls();
            table.push_back(statsRow(*spec, "expanded"));
        } catch (const Exception& error) {
            errors +=
                failure(kBadFunction, signature(*spec) + " cannot be expanded: " + error.message).message;
        }
    }
    printTable(table);
    if (!errors.empty()) {
        throw Failure{kBadFunction, errors};
    }
}

void eval(const CommandLine& line) {
    evaluate(line, *chooseFunction(readInput(line), *line.function));
}

void placeNodes(const CommandLine& line) {
    const ShadingNodeSpec* spec = chooseFunction(readInput(line), *line.function);
    place(line, *spec);
}

void renderFunction(const CommandLine& line) {
    render(line, *chooseFunction(readInput(line), *line.function));
}

void convertFunction(const CommandLine& line) {
    convert(line, *chooseFunction(readInput(line), *line.function));
}

void help(const CommandLine& /*line*/) {
    print(kHelp);
}

void version(const CommandLine& /*line*/) {
    print("qvshade " QV_VERSION "\n");
}

constexpr struct {
    const char* name;
    void (*run)(const CommandLine&);
} kCommands[] = {
    {"check", check},
    {"list", list},
    {"graph", graph},
    {"expand", expand},
    {"order", order},
    {"stats", stats},
    {"eval", eval},
    {"place", placeNodes},
    {"render", renderFunction},
    {"convert", convertFunction},
    {"--help", help},
    {"--version", version},
};

} // namespace

void runCommand(const CommandLine& line) {
    for (const auto& command : kCommands) {
        if (line.command == command.name) {
            command.run(line);
        }
    }
}
