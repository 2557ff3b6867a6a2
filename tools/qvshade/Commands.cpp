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
        functions = listedFunctions(functions, *line.function);
    }
    // The signatures last: the longest would push every other column off the screen.
    Table table = {{"kind", "nodes", "links", "function"}};
    for (const ShadingNodeSpec* spec : functions) {
        table.push_back({kindOf(*spec), numNodes(*spec), numLinks(*spec), header(*spec)});
    }
    printTable(table, line.json);
}

void show(const CommandLine& line, ShadingNodeSpec& spec) {
    const std::string text = convertToGraphviz(&spec, line.showTypes, line.showCompFreqs);
    if (line.outputFile) {
        writeGraph(text, *line.outputFile);
    } else {
        print(text);
    }
}

/// The function to draw; a primitive cannot be drawn.
ShadingNodeSpec* functionWithGraph(const CommandLine& line) {
    ShadingNodeSpec* spec = chooseFunction(readInput(line), *line.function);
    if (spec->nodeType() != kFunctionNode) {
        throw failure(kBadFunction,
                      signature(*spec) + " is declared without a body: a primitive has no graph");
    }
    return spec;
}

void graph(const CommandLine& line) {
    ShadingNodeSpec* spec = functionWithGraph(line);
    if (line.pictures) {
        drawPictures(line, *spec);
    } else {
        show(line, *spec);
    }
}

void expand(const CommandLine& line) {
    ShadingNodeSpec* spec = functionWithGraph(line);
    spec->expandFunctionCalls();
    show(line, *spec);
}

/// The numbers of the nodes that a node takes its arguments from, in the order of the arguments.
std::vector<int> sourcesOf(const ShadingNode& node) {
    std::vector<int> numbers;
    const auto add = [&](const std::string* argument) {
        for (const ShadingLink* link : node.incomingLinks()) {
            if (!argument || link->destAttrName() == *argument) {
                numbers.push_back(static_cast<int>(link->sourceNode()->number()));
            }
        }
    };
    if (!node.isCall()) {
        add(nullptr);
        return numbers;
    }
    ShadingNodeSpec::AttributeIterator input;
    ShadingNodeSpec::AttributeIterator last;
    for (node.specPtr()->inputs(input, last); input != last; ++input) {
        add(&input->name());
    }
    return numbers;
}

void order(const CommandLine& line) {
    ShadingNodeSpec* spec = chooseFunction(readInput(line), *line.function);
    if (line.expanded) {
        spec->expandFunctionCalls();
    }
    const std::map<ShadingNode*, unsigned int> distances = distancesToOutputs(*spec);
    std::list<ShadingNode*> nodes;
    if (line.fast) {
        spec->fastTopoSort(&nodes, true);
    } else {
        std::map<ShadingNode*, unsigned int> steering = distances;
        spec->optimalTopoSort(steering, &nodes);
    }
    const std::map<const ShadingNode*, int> levels = levelsOf(nodes);
    Table table = {
        {"position", "node", "computes", "frequency", "distance", "level", "sources", "line", "variable"}};
    for (ShadingNode* node : nodes) {
        const auto distance = distances.find(node);
        table.push_back(
            {static_cast<int>(table.size()), static_cast<int>(node->number()), meaning(*node),
             frequencies(*node),
             distance == distances.end() ? Cell::none("none") : Cell(static_cast<int>(distance->second)),
             levels.at(node), sourcesOf(*node),
             lineOf(node->sourceFile(), node->sourceLocation(), line.files.front()), node->variableName()});
    }
    printTable(table, line.json);
}

std::vector<Cell> statsRow(const ShadingNodeSpec& spec, const std::string& graph) {
    const Measures measures = measure(spec);
    std::vector<Cell> row = {signature(spec), graph};
    for (const int number : {measures.nodes, measures.links, measures.depth}) {
        row.emplace_back(number);
    }
    for (unsigned int level = kConstantFreq; level <= kFragmentFreq; ++level) {
        row.emplace_back(measures.callsAt[level]);
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
    printTable(table, line.json);
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
