#include "Commands.h"

#include "Functions.h"
#include "Output.h"

#include "shadingdag/Graphviz.h"

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

void check(const CommandLine& line) {
    for (const std::string& library : line.libraries) {
        readFile(library);
    }
    for (const std::string& file : line.files) {
        int defined = 0;
        long long nodes = 0;
        long long links = 0;
        const Functions functions = readFile(file);
        for (const ShadingNodeSpec* spec : functions) {
            defined += spec->nodeType() == kFunctionNode ? 1 : 0;
            nodes += numNodes(*spec);
            links += numLinks(*spec);
        }
        print(file + ": " + std::to_string(functions.size()) + " functions, " + std::to_string(defined) +
              " of them defined, with " + std::to_string(nodes) + " nodes and " + std::to_string(links) +
              " links\n");
    }
}

void list(const CommandLine& line) {
    Functions functions = readInput(line);
    if (!line.function.empty()) {
        functions = matchingFunctions(functions, line.function);
    }
    Table table = {{"function", "kind", "nodes", "links"}};
    for (const ShadingNodeSpec* spec : functions) {
        table.push_back(
            {header(*spec), kindOf(*spec), std::to_string(numNodes(*spec)), std::to_string(numLinks(*spec))});
    }
    printTable(table);
}

void show(const CommandLine& line, ShadingNodeSpec& spec) {
    const std::string text = convertToGraphviz(&spec, line.showTypes, line.showCompFreqs);
    if (line.outputFile.empty()) {
        print(text);
    } else {
        writeGraph(text, line.outputFile);
    }
}

void graph(const CommandLine& line) {
    show(line, *chooseFunction(readInput(line), line.function));
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
    {"check", check}, {"list", list}, {"graph", graph}, {"--help", help}, {"--version", version},
};

} // namespace

void runCommand(const CommandLine& line) {
    for (const auto& command : kCommands) {
        if (line.command == command.name) {
            command.run(line);
        }
    }
}
