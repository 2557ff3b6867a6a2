// What every host relies on, across the border of a library that was built elsewhere: strings,
// exceptions, static data, derived classes, and each family once.
//
//     host STDLIB-FILE SCRATCH-FOLDER [TRUE]    TRUE: this qv reads image files

#include "core/DataType.h"
#include "core/Exception.h"
#include "core/qvArray.h"
#include "core/qvBitField.h"
#include "geometry/AABoundingBox.h"
#include "pixels/ImageFiles.h"
#include "resources/IHWCamera.h"
#include "shadingdag/Graphviz.h"
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/ShadingParser.h"

#include <algorithm>
#include <cstdio>
#include <new>
#include <string>
#include <typeinfo>

using qvShadingDag::ShadingNode;
using qvShadingDag::ShadingNodeSpec;
using qvShadingDag::ShadingParser;

namespace {

int failures = 0;

void check(bool condition, const char* what) {
    std::printf("%s %s\n", condition ? "ok    " : "FAILED", what);
    failures += condition ? 0 : 1;
}

class IntArray : public qvArray {
public:
    IntArray() : qvArray(sizeof(int), 4) {}
    void append(int value) { insertElement(&value, length(), 1); }
    int operator[](unsigned int i) const { return *static_cast<const int*>(address(i)); }
};

bool throwsWhatIsCaughtHere() {
    try {
        verifyAlways(false, std::string("a message longer than what a string keeps in place"));
    } catch (const Exception& error) {
        return error.type == kInternalError &&
               error.message == "a message longer than what a string keeps in place";
    }
    return false;
}

void readShadingLibrary(const char* stdlib) {
    const int before = ShadingNode::fsNumInstances_ShadingNode;
    ShadingParser parser;
    const bool parsed = parser.parseFile(stdlib, false);
    check(parsed, "the standard library is read");
    if (!parsed) {
        std::printf("%s\n", parser.errorString().c_str());
    }
    check(ShadingNode::fsNumInstances_ShadingNode > before + 1000, "static data members are shared");
    check(ShadingNodeSpec::findSpecInLibrary("operator+") != nullptr, "functions are found");
    check(qvShadingDag::convertToGraphviz("operator+", true, true).starts_with("digraph"),
          "graphs are drawn");
    ShadingNodeSpec::clearLibrary();
    check(ShadingNode::fsNumInstances_ShadingNode == before, "no node is left over");

    check(!parser.parseFile("no such file", false) && !parser.errorString().empty(), "errors are reported");
}

void cull() {
    // The camera looks along -z, 90 degrees in both directions.
    IHWCamera camera;
    camera.setPerspective(90, 1, 1, 100);
    const AABoundingBox ahead({-1, -1, -11}, {1, 1, -9});
    const AABoundingBox behind({-1, -1, 9}, {1, 1, 11});
    const AABoundingBox aside({20, -1, -11}, {22, 1, -9});
    check(camera.intersects(ahead) && !camera.intersects(behind) && !camera.intersects(aside),
          "boxes are culled");
}

void readImage(const std::string& folder, bool supported) {
    const unsigned char pixels[] = {255, 0, 0, 255, 1, 2, 3, 4};
    unsigned char buffer[8];
    std::copy_n(pixels, 8, buffer);
    const std::string path = folder + "/image.png";
    writeImageToFile(buffer, 2, 1, path.c_str(), "png");
    unsigned short width = 0;
    unsigned short height = 0;
    unsigned char* image = readImageFromFile(path.c_str(), width, height, false);
    if (!supported) {
        check(!image && width == 0 && height == 0, "images are refused");
        return;
    }
    check(image && width == 2 && height == 1 && std::equal(pixels, pixels + 8, image), "images are read");
    ::operator delete(image);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: host STDLIB-FILE SCRATCH-FOLDER [TRUE]\n");
        return 2;
    }
    check(dataTypeName(kFloat3) == "float3", "strings come across");
    check(throwsWhatIsCaughtHere(), "exceptions come across");

    IntArray array;
    array.append(7);
    array.append(9);
    const qvArray& base = array;
    check(array[1] == 9 && typeid(base) == typeid(IntArray), "classes can be derived from");
    check(qvBitField16(5).allSet(0, 2), "bit fields work");

    readShadingLibrary(argv[1]);
    cull();
    readImage(argv[2], argc > 3 && std::string(argv[3]) == "TRUE");
    return failures == 0 ? 0 : 1;
}
