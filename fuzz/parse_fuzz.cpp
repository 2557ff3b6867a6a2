// Parses arbitrary bytes as a source. Nothing may crash, hang or be left behind.
#include "shadingdag/Graphviz.h"
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/ShadingParser.h"

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include <unistd.h>

using namespace qvShadingDag;

namespace {

/// The file that is parsed: one per process, as fuzzing runs several.
struct SourceFile {
    ~SourceFile() { unlink(path.c_str()); }
    const std::string path = "/tmp/qv_parse_fuzz_" + std::to_string(getpid()) + ".qvs";
};

void check(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void drawEverything() {
    ShadingNodeSpec::LibraryIterator entry;
    ShadingNodeSpec::LibraryIterator last;
    for (ShadingNodeSpec::allSpecsInLibrary(entry, last); entry != last; ++entry) {
        check(!convertToGraphviz(entry->second, true, true).empty());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const SourceFile source;
    std::ofstream(source.path, std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    {
        ShadingParser parser;
        const bool parsed = parser.parseFile(source.path, false);
        check(parsed == parser.errorString().empty());
        drawEverything();
    }
    ShadingNodeSpec::clearLibrary();
    check(TypedConstant::fsNumInstances_TypedConstant == 0);
    check(ShadingAttribute::fsNumInstances_ShadingAttribute == 0);
    check(ShadingNode::fsNumInstances_ShadingNode == 0);
    check(ShadingLink::fsNumInstances_ShadingLink == 0);
    check(ShadingNodeSpec::fsNumInstances_ShadingNodeSpec == 0);
    return 0;
}
