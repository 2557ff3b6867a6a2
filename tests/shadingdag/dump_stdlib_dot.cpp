// Writes the DOT text of every defined function of a shading source to standard output, so that
// the texts of two platforms can be compared byte by byte: dump_stdlib_dot FILE

#include "shadingdag/Graphviz.h"
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/ShadingParser.h"

#include <cstdio>
#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif

using namespace qvShadingDag;

int main(int argc, char** argv) {
#ifdef _WIN32
    _setmode(_fileno(stdout), _O_BINARY);
#endif
    if (argc != 2) {
        std::fputs("usage: dump_stdlib_dot FILE\n", stderr);
        return 2;
    }
    ShadingParser parser;
    if (!parser.parseFile(argv[1], false)) {
        std::fputs(parser.errorString().c_str(), stderr);
        return 1;
    }
    ShadingNodeSpec::LibraryIterator first, last;
    for (ShadingNodeSpec::allSpecsInLibrary(first, last); first != last; ++first) {
        const std::string text = convertToGraphviz(first->second, true, true);
        std::fwrite(text.data(), 1, text.size(), stdout);
    }
    ShadingNodeSpec::clearLibrary();
    return std::fflush(stdout) == 0 ? 0 : 1;
}
