// Prints the program texts of every function of the standard library, on every target and under both
// policies, or the values of the functions. Both platforms must print the same texts, and the same
// values but for the last places of the C library's functions:
//
//   dump_programs texts
//   dump_programs values
//   dump_programs compare FILE OTHER     of values; of primitives they may lie 4 places apart

#include "conversion/ProofFunctions.h"
#include "conversion/ProofRun.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif

using namespace programTesting;

namespace {

int printTexts() {
    int failed = 0;
    for (const ShadingNodeSpec* spec : standardLibrary()) {
        const std::unique_ptr<ShadingNodeSpec> function = wrap(*spec).build();
        const ProofScene scene(*function, GlDraw::kPoints, 1);
        for (const PlacementPolicy policy : {kExactPlacement, kEarliestPlacement}) {
            ProofSettings settings;
            settings.policy = policy;
            ProgramConvertor convertor(*function, optionsFor(settings, scene));
            bool written = convertor.convert();
            for (int target = ProgramTarget::kGlsl330; target <= ProgramTarget::kHlsl; ++target) {
                written = written &&
                          convertor.convertFor(ProgramTarget::at(static_cast<ProgramTarget::Id>(target)));
                std::printf("==== %s\n%s%s%s%s", signature(*spec).c_str(), convertor.vertexProgram().c_str(),
                            convertor.fragmentProgram().c_str(),
                            convertor.programInterface().toJson().c_str(), convertor.errorString().c_str());
            }
            failed += !written;
        }
    }
    return failed == 0 && !standardLibrary().empty() ? 0 : 1;
}

int printValues() {
    for (const ShadingNodeSpec* spec : standardLibrary()) {
        const std::unique_ptr<ShadingNodeSpec> function = wrap(*spec).build();
        const ProofValues values =
            evaluateScene(flatten(*function), ProofScene(*function, GlDraw::kPoints, 1));
        std::printf("%s %s\n", spec->nodeType() == kOperationNode ? "primitive" : "function",
                    signature(*spec).c_str());
        for (std::size_t i = 0; i < values.colours.size(); ++i) {
            if (values.leftOut[i / 4] == 0) {
                std::printf("%.17g\n", values.colours[i]);
            } else {
                std::printf("left out\n");
            }
        }
    }
    return standardLibrary().empty() ? 1 : 0;
}

// How many numbers lie between two of one sign.
double placesApart(double a, double b) {
    std::int64_t bits[2] = {};
    std::memcpy(&bits[0], &a, sizeof a);
    std::memcpy(&bits[1], &b, sizeof b);
    return std::fabs(static_cast<double>(bits[0] - bits[1]));
}

int compareValues(const char* path, const char* otherPath) {
    std::ifstream file(path);
    std::ifstream other(otherPath);
    std::string line;
    std::string otherLine;
    std::string function;
    double worst = 0;
    int numbers = 0;
    while (std::getline(file, line) && std::getline(other, otherLine)) {
        if (line.find('(') != std::string::npos) {
            function = line;
        }
        if (line == otherLine) {
            continue;
        }
        char* end = nullptr;
        const double a = std::strtod(line.c_str(), &end);
        const double b = std::strtod(otherLine.c_str(), nullptr);
        // What a definition makes of its functions' last places is not limited by places.
        const bool primitive = function.starts_with("primitive");
        const double places =
            primitive ? placesApart(a, b) : std::fabs(a - b) / (1e-11 * (1 + std::fabs(a))) * 4;
        ++numbers;
        worst = primitive ? std::max(worst, places) : worst;
        if (end == line.c_str() || !(places <= 4)) {
            std::printf("%s: %s and %s\n", function.c_str(), line.c_str(), otherLine.c_str());
            return 1;
        }
    }
    std::printf("%d numbers differ, by %g places at most in primitives\n", numbers, worst);
    return file.eof() && !std::getline(other, otherLine) && !function.empty() ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
#ifdef _WIN32
    _setmode(_fileno(stdout), _O_BINARY);
#endif
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "texts" || command == "values") {
        return command == "texts" ? printTexts() : printValues();
    }
    return command == "compare" && argc == 4 ? compareValues(argv[2], argv[3]) : 2;
}
