// Converts a surface into a vertex and a fragment program, and gives the numbers that a host uploads
// once per draw.

#include "conversion/HostUniforms.h"
#include "conversion/ProgramConvertor.h"
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/ShadingParser.h"

#include <cstdio>
#include <string>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#endif

using namespace qvShadingDag;

namespace {

int fail(const std::string& message) {
    std::fprintf(stderr, "%s\n", message.c_str());
    return 1;
}

// What a renderer would do with its graphics interface.
void link(const std::string& vertexProgram, const std::string& fragmentProgram) {
    std::printf("%s\n%s\n", vertexProgram.c_str(), fragmentProgram.c_str());
}

void upload(const HostUniform& uniform) {
    std::printf("%s = %s\n", uniform.name.c_str(), uniform.value.toString().c_str());
}

} // namespace

// convert_surface STDLIB SURFACES FUNCTION
int main(int argc, char** argv) {
#if defined(_WIN32)
    _setmode(_fileno(stdout), _O_BINARY); // line feeds stay line feeds
#endif
    if (argc != 4) {
        return fail("convert_surface STDLIB SURFACES FUNCTION");
    }
    // clang-format off: the documents show these lines as they stand here
    ShadingParser library, surface; // one parser a file
    if (!library.parseFile(argv[1], false))
        return fail(library.errorString());
    if (!surface.parseFile(argv[2], false))
        return fail(surface.errorString());
    const ShadingNodeSpec* function = ShadingNodeSpec::findSpecInLibrary(argv[3]);
    if (!function)
        return fail("no function '" + std::string(argv[3]) + "'");
    ConversionOptions options(ProgramTarget::glsl330());
    ProgramConvertor convertor(*function, options);
    if (!convertor.convert())
        return fail(convertor.errorString());
    link(convertor.vertexProgram(), convertor.fragmentProgram());
    HostUniforms host(convertor.program());
    host.set("light", {1, 0.9, 0.8});
    host.set("shininess", 20);
    for (const HostUniform& uniform : host.values()) {
        upload(uniform);
    }
    // clang-format on
    ShadingNodeSpec::clearLibrary();
    return 0;
}
