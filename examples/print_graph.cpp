#include "shadingdag/Graphviz.h"
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/ShadingParser.h"

#include <iostream>

// print_graph FILE... FUNCTION: a file may call functions of those before it.
int main(int argc, char** argv) {
    for (int i = 1; i + 1 < argc; ++i) {
        qvShadingDag::ShadingParser parser; // one for each file; the functions go to one library
        if (!parser.parseFile(argv[i], false)) {
            std::cerr << argv[i] << ": " << parser.errorString();
            return 1;
        }
    }
    const std::string function = argc > 2 ? argv[argc - 1] : "";
    const std::string graph = qvShadingDag::convertToGraphviz(function, true, true);
    qvShadingDag::ShadingNodeSpec::clearLibrary();
    if (graph.empty()) {
        std::cerr << "no function '" << function << "'\n";
        return 1;
    }
    std::cout << graph;
}
