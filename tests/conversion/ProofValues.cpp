#include "conversion/ProofValues.h"

#include "evaluation/KernelCall.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <string>

namespace programTesting {

namespace {

using Index = FlatProgram::Index;

// How exact the functions of GL drivers are: relative to the value, and at least absolutely. What is
// not listed is within a few units in the last place.
struct Tolerance {
    const char* name;
    double relative;
    double absolute;
};
constexpr Tolerance kTolerances[] = {
    {"acos", 1e-5, 4e-4},  {"asin", 1e-5, 4e-4}, {"atan", 1e-5, 1e-5},    {"atan2", 1e-5, 2e-5},
    {"exp", 1e-5, 0},      {"exp2", 4e-6, 0},    {"log", 1e-5, 1e-6},     {"log2", 1e-5, 1e-6},
    {"log10", 1e-5, 1e-6}, {"pow", 2e-5, 0},     {"rsqrt", 2e-5, 0},      {"normalize", 2e-5, 0},
    {"sinh", 1e-5, 1e-5},  {"cosh", 1e-5, 0},    {"tanh", 1e-5, 1e-5},    {"sin", 1e-6, 1e-6},
    {"cos", 1e-6, 1e-6},   {"ldexp", 4e-6, 0},   {"inverse", 4e-6, 1e-6}, {"tex", 1e-6, 1e-6},
};
// Sums of products, which may cancel: rounding is that of the products, of so many factors each.
struct Cancelling {
    const char* name;
    int factors;
};
constexpr Cancelling kCancelling[] = {{"operator*", 2}, {"dot", 2},     {"distance", 1}, {"cross", 2},
                                      {"mix", 2},       {"reflect", 3}, {"refract", 3},  {"determinant", 4}};
// Those whose results are exact in floats.
constexpr const char* kExact[] = {
    "operator@", "vec2",    "vec3",   "vec4",     "mat2",      "mat3",      "mat4",        "cvec2",
    "cvec3",     "cvec4",   "row",    "column",   "select",    "min",       "max",         "clamp",
    "abs",       "sign",    "step",   "floor",    "ceil",      "round",     "modf",        "frexp",
    "constant",  "uniform", "vertex", "fragment", "transpose", "perVertex", "perFragment", "toClampu"};
constexpr double kUnits = 2.4e-7; // four units in the last place

// Whether the language leaves a call open at these arguments, or targets differ there. `at(i, c)` is
// component c of argument i.
template <typename At>
bool isOpen(const std::string& name, const At& at, int width, int c) {
    if (name == "atan2") {
        return at(0, c) == 0 && at(1, c) <= 0; // there the sign of 0 decides
    }
    if (name == "pow") {
        return at(0, c) <= 0;
    }
    if (name == "fmod" || name == "operator%") { // a quotient that may be rounded to the next whole number
        const double quotient = at(0, c) / at(1, c);
        return std::fabs(quotient - std::round(quotient)) < 1e-6 * (1 + std::fabs(quotient));
    }
    if (name == "refract" && c == 0) { // where total reflection begins, and numbers cancel
        const double eta2 = at(2, 0) * at(2, 0);
        double d = 0;
        for (int i = 0; i < width; ++i) {
            d += at(0, i) * at(1, i);
        }
        return std::fabs(1 - eta2 * (1 - d * d)) < 1e-3 * (1 + eta2 * (1 + d * d));
    }
    if (name == "clamp") {
        return at(1, c) > at(2, c);
    }
    if (name == "ldexp") { // by way of a power that no float holds
        return std::fabs(at(1, c)) > 60;
    }
    if (name == "smoothstep") {
        return at(0, c) >= at(1, c);
    }
    if (name.find("texCUBE") < 3 && c == 0) { // the edges and corners of the cube
        double size[3] = {std::fabs(at(1, 0)), std::fabs(at(1, 1)), std::fabs(at(1, 2))};
        std::sort(size, size + 3);
        return size[2] - size[1] <= 1e-5 * size[2];
    }
    return false;
}

bool isFloating(DataType type) {
    return !(type == kBool || (type >= kInt && type <= kInt4) || type == kTexObj);
}

class Run {
public:
    Run(const FlatProgram& program, const ProofScene& scene) : fProgram(program), fScene(scene) {
        fFirstColumn.reserve(program.valueTypes.size());
        int columns = 0;
        for (const DataType type : program.valueTypes) {
            fFirstColumn.push_back(columns);
            columns += std::max(1, numberCount(type)); // a map is a number
        }
        fColumns.assign(columns, std::vector<double>(kPixels));
        for (std::size_t i = 0; i < scene.inputs.size(); ++i) {
            fTextures.push_back([i](const TextureLookup& lookup, double(&texel)[4]) {
                ProofScene::lookUp(glKind(lookup.kind), static_cast<int>(i), lookup.coordinates, texel);
            });
        }
    }

    // With a seed of 0 every result is what the kernel gives; with others it is put off by rounding: up
    // with 1, down with 2, by turns along x with 3 and along y with 4, then at random.
    void compute(unsigned seed) {
        std::mt19937 random(seed);
        fOff.assign(kPixels, 0);
        for (const FlatProgram::Node& node : fProgram.nodes) {
            for (Index value = node.firstValue; value < node.firstValue + node.valueCount; ++value) {
                std::fill_n(fColumns.begin() + fFirstColumn[value], std::max(1, width(value)),
                            std::vector<double>(kPixels));
            }
            computeNode(node);
            const double* tolerance = seed == 0 ? nullptr : toleranceOf(node);
            for (Index value = node.firstValue; value < node.firstValue + node.valueCount; ++value) {
                for (int c = 0; c < width(value); ++c) {
                    finish(fColumns[fFirstColumn[value] + c], fProgram.valueTypes[value], tolerance, seed,
                           random);
                }
            }
        }
    }

    const std::vector<double>& column(Index value, int component) const {
        return fColumns[fFirstColumn[value] + component];
    }
    // By pixel: something was not finite.
    const std::vector<char>& off() const { return fOff; }

    static constexpr int kPixels = ProofScene::kWidth * ProofScene::kHeight;
    static_assert(kPixels <= kMaxPoints);

private:
    int width(Index value) const { return numberCount(fProgram.valueTypes[value]); }

    void computeNode(const FlatProgram::Node& node) {
        fProducts.assign(kPixels, 0);
        const int first = fFirstColumn[node.firstValue];
        switch (node.kind) {
        case FlatProgram::kInput: {
            const ProofScene::Input& input = fScene.inputs[node.what];
            for (int c = 0; c < input.components; ++c) {
                for (int point = 0; point < kPixels; ++point) {
                    fColumns[first + c][point] = fScene.valueAt(input, c, pixelOf(point));
                }
            }
            if (input.components == 0) {
                fColumns[first].assign(kPixels, node.what);
            }
            break;
        }
        case FlatProgram::kLiteral:
            for (int c = 0; c < width(node.firstValue); ++c) {
                fColumns[first + c].assign(kPixels, fProgram.literals[node.what].c[c]);
            }
            break;
        case FlatProgram::kIdentity:
            for (int c = 0; c < std::max(1, width(node.firstValue)); ++c) {
                fColumns[first + c] = fColumns[fFirstColumn[fProgram.arguments[node.firstArgument]] + c];
            }
            break;
        case FlatProgram::kCall:
            computeCall(node);
        }
    }

    void computeCall(const FlatProgram::Node& node) {
        std::vector<std::vector<const double*>> columns(node.argumentCount);
        std::vector<KernelOperand> operands(node.argumentCount);
        for (Index a = 0; a < node.argumentCount; ++a) {
            const Index value = fProgram.arguments[node.firstArgument + a];
            for (int c = 0; c < width(value); ++c) {
                columns[a].push_back(fColumns[fFirstColumn[value] + c].data());
            }
            operands[a] = {columns[a].data(), width(value), 1};
        }
        std::vector<double*> results;
        for (Index value = node.firstValue; value < node.firstValue + node.valueCount; ++value) {
            for (int c = 0; c < width(value); ++c) {
                results.push_back(fColumns[fFirstColumn[value] + c].data());
            }
        }
        const Primitive& primitive = *fProgram.callees[node.what].primitive;
        KernelCall call;
        call.arguments = operands.data();
        call.argumentCount = static_cast<int>(node.argumentCount);
        call.results = results.data();
        call.resultWidth = width(node.firstValue);
        const DataType type = fProgram.valueTypes[node.firstValue];
        call.clampsResult = type >= kClampu && type <= kClampu4;
        if (primitive.texture != kNoTexture) {
            const Index map = fProgram.arguments[node.firstArgument];
            call.texture = &fTextures[static_cast<std::size_t>(fColumns[fFirstColumn[map]][0])];
        }
        primitive.kernel(call, kPixels);
        const std::string& name = fProgram.callees[node.what].spec->name();
        const auto* const cancelling = std::find_if(std::begin(kCancelling), std::end(kCancelling),
                                                    [&](const Cancelling& row) { return name == row.name; });
        for (int point = 0; point < kPixels; ++point) {
            double largest = 1;
            for (const KernelOperand& operand : operands) {
                for (int c = 0; c < operand.width; ++c) {
                    largest = std::max(largest, std::fabs(operand.at(c, point)));
                }
            }
            const bool cancels = cancelling != std::end(kCancelling);
            fProducts[point] = cancels ? kUnits * std::pow(largest, cancelling->factors) : 0;
            const auto at = [&](int argument, int c) {
                const KernelOperand& operand = operands[argument];
                return operand.at(operand.width == 1 ? 0 : c, point);
            };
            for (int c = 0; c < call.resultWidth; ++c) {
                fOff[point] = static_cast<char>(fOff[point] != 0 ||
                                                (isFloating(type) && isOpen(name, at, call.resultWidth, c)));
            }
        }
    }

    // Points go in quads of 2 x 2 pixels: lower left, lower right, upper left, upper right.
    static int pixelOf(int point) {
        const int quad = point / 4;
        const int x = 2 * (quad % (ProofScene::kWidth / 2)) + point % 2;
        const int y = 2 * (quad / (ProofScene::kWidth / 2)) + point / 2 % 2;
        return y * ProofScene::kWidth + x;
    }

public:
    static std::vector<int> pixels() {
        std::vector<int> result;
        for (int point = 0; point < kPixels; ++point) {
            result.push_back(pixelOf(point));
        }
        return result;
    }

private:
    const double* toleranceOf(const FlatProgram::Node& node) {
        fTolerance[0] = kUnits;
        fTolerance[1] = 0;
        if (node.kind == FlatProgram::kLiteral || node.kind == FlatProgram::kIdentity) {
            return nullptr;
        }
        if (node.kind == FlatProgram::kInput) {
            // Interpolation rounds numbers as large as the corners'.
            for (const double value : fScene.inputs[node.what].values) {
                fTolerance[1] = std::max(fTolerance[1], kUnits * std::fabs(value));
            }
            return fScene.shape == GlDraw::kPoints || !fScene.inputs[node.what].perVertex ? nullptr
                                                                                          : fTolerance;
        }
        const std::string name = fProgram.callees[node.what].spec->name();
        if (std::find(std::begin(kExact), std::end(kExact), name) != std::end(kExact)) {
            return nullptr;
        }
        for (const Tolerance& row : kTolerances) {
            if (name == row.name || (std::strcmp(row.name, "tex") == 0 && name.find("tex") < 3)) {
                fTolerance[0] = row.relative;
                fTolerance[1] = row.absolute;
            }
        }
        return fTolerance;
    }

    void finish(std::vector<double>& column, DataType type, const double* tolerance, unsigned seed,
                std::mt19937& random) {
        const bool floating = isFloating(type);
        for (int point = 0; point < kPixels; ++point) {
            double& value = column[point];
            if (floating && tolerance != nullptr) {
                const bool up = seed <= 2   ? seed == 1
                                : seed <= 4 ? (point >> (seed - 3)) % 2 == 0
                                            : random() % 2 == 0;
                const double sign = up ? 1 : -1;
                value += sign * (std::fabs(value) * tolerance[0] + tolerance[1] + fProducts[point]);
            }
            if (floating && !(std::fabs(value) < 1e18)) {
                fOff[point] = 1;
            }
        }
    }

    const FlatProgram& fProgram;
    const ProofScene& fScene;
    std::vector<int> fFirstColumn; // by value
    std::vector<std::vector<double>> fColumns;
    std::vector<Texture> fTextures; // by input
    std::vector<char> fOff;
    std::vector<double> fProducts; // by point: how far cancelled products put a result off
    double fTolerance[2] = {};
};

} // namespace

int derivativeDepth(const FlatProgram& program) {
    std::vector<int> depths; // by node
    for (const FlatProgram::Node& node : program.nodes) {
        int depth = 0;
        for (Index a = 0; a < node.argumentCount; ++a) {
            depth = std::max(depth, depths[program.valueNode[program.arguments[node.firstArgument + a]]]);
        }
        const bool isDerivative =
            node.kind == FlatProgram::kCall && program.callees[node.what].spec->name().starts_with("dd");
        depths.push_back(depth + static_cast<int>(isDerivative));
    }
    return depths.empty() ? 0 : *std::max_element(depths.begin(), depths.end());
}

ProofValues evaluateScene(const FlatProgram& program, const ProofScene& scene) {
    constexpr unsigned kRuns = 10;
    ProofValues values;
    values.colours.resize(4 * Run::kPixels);
    values.spread.resize(4 * Run::kPixels);
    values.leftOut.resize(Run::kPixels);
    const Index colour = program.outputs[0].value;
    const std::vector<int> pixels = Run::pixels();
    const int derivatives = derivativeDepth(program);
    Run run(program, scene);
    for (unsigned seed = 0; seed <= kRuns; ++seed) {
        run.compute(seed);
        for (int point = 0; point < Run::kPixels; ++point) {
            const int pixel = pixels[point];
            for (int c = 0; c < 4; ++c) {
                const double value = run.column(colour, c)[point];
                double& exact = values.colours[4 * pixel + c];
                double& spread = values.spread[4 * pixel + c];
                exact = seed == 0 ? value : exact;
                spread = std::max(spread, std::fabs(value - exact));
                if (run.off()[point] != 0 || !(spread <= 1e-2 * (0.1 + std::fabs(exact)))) {
                    values.leftOut[pixel] = 1;
                }
                // Drivers take the difference of either row, or column, for a whole quad.
                if (derivatives > 1 || (derivatives == 1 && point % 4 != 2)) {
                    values.leftOut[pixel] = 1;
                }
            }
        }
    }
    return values;
}

} // namespace programTesting
