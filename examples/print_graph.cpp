#include "shadingdag/Graphviz.h"
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/ShadingParser.h"

#include <iostream>

int main(int argc, char** argv) {
    qvShadingDag::ShadingParser parser;
    if (argc < 3 || !parser.parseFile(argv[1], false)) {
        std::cerr << (argc < 3 ? "usage: print_graph FILE FUNCTION\n" : parser.errorString());
        return 1;
    }
    std::cout << qvShadingDag::convertToGraphviz(argv[2], true, true);
    qvShadingDag::ShadingNodeSpec::clearLibrary();
}
