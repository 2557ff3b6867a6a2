#include "core/Exception.h"
#include "evaluation/GraphEvaluator.h"
#include "shadingdag/Graphviz.h"
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/ShadingParser.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <memory>
#include <numbers>
#include <set>
#include <sstream>

using namespace qvShadingDag;
using std::abs, std::acos, std::cos, std::exp, std::floor, std::log, std::pow, std::sin, std::sqrt, std::tan;

namespace {

constexpr double kPi = std::numbers::pi;

using Value = ShadingValue;
using Numbers = std::vector<double>;
using Specs = std::vector<ShadingNodeSpec*>;

// The functions of the shipped library, read once.
const Specs& library() {
    static const Specs specs = [] {
        ShadingNodeSpec::clearLibrary();
        ShadingParser parser;
        if (!parser.parseFile(QV_STDLIB, false)) {
            ADD_FAILURE() << parser.errorString();
        }
        Specs result;
        ShadingNodeSpec::LibraryIterator first, last;
        for (ShadingNodeSpec::allSpecsInLibrary(first, last); first != last; ++first) {
            result.push_back(first->second);
        }
        return result;
    }();
    return specs;
}

std::vector<DataType> inputTypes(const ShadingNodeSpec& spec) {
    std::vector<DataType> types;
    ShadingNodeSpec::AttributeIterator first, last;
    for (spec.inputs(first, last); first != last; ++first) {
        types.push_back(first->dataType());
    }
    return types;
}

std::string signature(const ShadingNodeSpec& spec) {
    std::string text = spec.name() + "(";
    for (const DataType type : inputTypes(spec)) {
        text += " " + dataTypeName(type);
    }
    return text + " )";
}

Specs definitions() {
    Specs result;
    for (ShadingNodeSpec* spec : library()) {
        if (spec->nodeType() == kFunctionNode) {
            result.push_back(spec);
        }
    }
    return result;
}

// The colour (0.1 + u/2 + v/5, 0.2 + 0.3 v, 0.3 + u v/10, 1 - u/4).
void lookUp(const TextureLookup& lookup, double (&texel)[4]) {
    const double u = lookup.coordinates[0];
    const double v = lookup.coordinates[1];
    const Numbers colour = {0.1 + 0.5 * u + 0.2 * v, 0.2 + 0.3 * v, 0.3 + 0.1 * u * v, 1 - 0.25 * u};
    std::copy(colour.begin(), colour.end(), texel);
}

void expectNear(const Numbers& actual, const Numbers& expected, const std::string& what) {
    ASSERT_EQ(actual.size(), expected.size()) << what;
    for (std::size_t i = 0; i < actual.size(); ++i) {
        EXPECT_NEAR(actual[i], expected[i], 1e-5 * (1 + abs(expected[i]))) << what << " component " << i;
    }
}

// ---- Reference formulas, written from their sources in another form than the library's ----

Numbers normalized(double x, double y, double z) {
    const double length = std::hypot(x, y, z);
    return {x / length, y / length, z / length};
}

double fadeOf(double t) {
    return 6 * pow(t, 5) - 15 * pow(t, 4) + 10 * pow(t, 3);
}

int permuted(int x) {
    return (34 * x + 1) * x % 289;
}

double latticeHash(double x, double y) {
    const auto wrapped = [](double k) { return (static_cast<int>(k) % 289 + 289) % 289; };
    return permuted((permuted(wrapped(x)) + wrapped(y)) % 289) / 288.0;
}

// Bilinear in the faded coordinates; `corner` gives what one lattice point adds at (x, y) from it.
template <typename Corner>
double latticeNoise(double x, double y, Corner corner) {
    double sum = 0;
    for (int j = 0; j < 2; ++j) {
        for (int i = 0; i < 2; ++i) {
            const double fx = x - floor(x) - i;
            const double fy = y - floor(y) - j;
            sum += fadeOf(1 - abs(fx)) * fadeOf(1 - abs(fy)) *
                   corner(latticeHash(floor(x) + i, floor(y) + j), fx, fy);
        }
    }
    return sum;
}

double valueNoiseOf(double x, double y) {
    return latticeNoise(x, y, [](double hash, double, double) { return hash; });
}

double gradientNoiseOf(double x, double y) {
    return latticeNoise(x, y, [](double hash, double fx, double fy) {
        return cos(2 * kPi * hash) * fx + sin(2 * kPi * hash) * fy;
    });
}

double turbulenceOf(double x, double y) {
    double sum = 0;
    for (double f = 1; f <= 8; f *= 2) {
        sum += 0.5 / f * abs(gradientNoiseOf(f * x, f * y));
    }
    return sum;
}

double fresnelOf(double cosine, double f0) {
    return f0 + (1 - f0) * pow(1 - cosine, 5);
}

double srgbOf(double x) {
    return x <= 0.0031308 ? 12.92 * x : 1.055 * pow(x, 1 / 2.4) - 0.055;
}

double ggxDensity(double nh, double alpha) {
    const double t = (1 - nh * nh) / (nh * nh);
    return 1 / (kPi * alpha * alpha * pow(nh, 4) * pow(1 + t / (alpha * alpha), 2));
}

double beckmannDensity(double nh, double m) {
    return exp(-pow(tan(acos(nh)) / m, 2)) / (kPi * m * m * pow(nh, 4));
}

double smithG1(double cosine, double alpha) {
    return 2 * cosine / (cosine + sqrt(alpha * alpha + (1 - alpha * alpha) * cosine * cosine));
}

double heitzVisibility(double nl, double nv, double alpha) {
    const double a2 = alpha * alpha;
    return 0.5 / (nl * sqrt(a2 + (1 - a2) * nv * nv) + nv * sqrt(a2 + (1 - a2) * nl * nl));
}

double hableOf(double x) {
    return (x * (0.15 * x + 0.1 * 0.5) + 0.2 * 0.02) / (x * (0.15 * x + 0.5) + 0.2 * 0.3) - 0.02 / 0.3;
}

double softLightOf(double base, double top) {
    if (top <= 0.5) {
        return base - (1 - 2 * top) * base * (1 - base);
    }
    const double d = base <= 0.25 ? ((16 * base - 12) * base + 4) * base : sqrt(base);
    return base + (2 * top - 1) * (d - base);
}

// ---- One or more points of every definition ----

struct Point {
    const char* function;
    std::vector<Value> inputs;
    Numbers expected;
    std::vector<Value> dx = {}; // how the inputs change to the fragment on the right, where they do
    std::vector<Value> dy = {}; // and to the one above
};

// All components of all outputs, one after the other.
Numbers flatValue(const ShadingNodeSpec& spec, const Point& point) {
    GraphEvaluator evaluator(spec);
    std::vector<Numbers> quads; // the numbers of one component at four fragments
    quads.reserve(256);
    for (std::size_t i = 0; i < point.inputs.size(); ++i) {
        const std::string& name = evaluator.inputs()[i].name;
        const Value& input = point.inputs[i];
        if (input.type == kTexObj) {
            evaluator.set(name, Texture(lookUp));
        } else if (point.dx.empty()) {
            evaluator.set(name, input);
        } else {
            std::vector<std::span<const double>> columns;
            for (std::size_t c = 0; c < static_cast<std::size_t>(input.width()); ++c) {
                const double x = input.c[c];
                const double dx = point.dx[i].c[c];
                const double dy = point.dy[i].c[c];
                columns.emplace_back(quads.emplace_back(Numbers{x, x + dx, x + dy, x + dx + dy}));
            }
            evaluator.set(name, columns);
        }
    }
    evaluator.evaluate(point.dx.empty() ? 1 : 4);
    Numbers numbers;
    for (std::size_t i = 0; i < evaluator.outputs().size(); ++i) {
        const Value output = evaluator.output(i);
        numbers.insert(numbers.end(), output.c.begin(), output.c.begin() + output.width());
    }
    return numbers;
}

const Value kTexture(kTexObj, {});
// A normal along z; lights and eyes in the x-z and y-z planes, and one light below the surface.
const Value kN(0, 0, 1), kL(0.6, 0, 0.8), kV(0, 0.6, 0.8), kV2(0.8, 0, 0.6), kBelow(0.6, 0, -0.8);
const double kNH = 1.6 / sqrt(3.28), kVH = 1.64 / sqrt(3.28); // of the half vector of kL and kV
const Value kX(1, 0, 0), kY(0, 1, 0);
const Value kQuarterTurnZ(0, 0, sqrt(0.5), sqrt(0.5)); // a quaternion
// Scales by 2, 3, 4 and shifts by 5, 6, 7; its inverse; a shear of y along x; a projection (w = z).
const Value kAffine(kMatrix4, {2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 4, 0, 5, 6, 7, 1});
const Value kInverse(kMatrix4, {0.5, 0, 0, 0, 0, 1 / 3.0, 0, 0, 0, 0, 0.25, 0, -2.5, -2, -1.75, 1});
const Value kInverseShear(kMatrix4, {1, 0, 0, 0, -1, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
const Value kProjection(kMatrix4, {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1, 1, 0, 0, -1, 0});

const std::vector<Point> kShaping = {
    {"pi", {}, {kPi}},
    {"saturate", {1.5}, {1}},
    {"saturate", {{-1, 1.5}}, {0, 1}},
    {"saturate", {{-1, 0.5, 2}}, {0, 0.5, 1}},
    {"saturate", {{-1, 0.5, 2, 1}}, {0, 0.5, 1, 1}},
    {"tan", {0.7}, {tan(0.7)}},
    {"trunc", {-2.7}, {-2}},
    {"square", {-3}, {9}},
    {"cube", {-3}, {-27}},
    {"pow4", {3}, {81}},
    {"pow5", {-3}, {-243}},
    {"unmix", {2, 6, 3}, {0.25}},
    {"unmix", {{2, 0, 0}, {6, 1, 2}, {3, 2, -1}}, {0.25, 2, -0.5}},
    {"remap", {3, 2, 6, 10, 20}, {12.5}},
    {"remap", {{3, 1, 0}, {2, 0, 0}, {6, 2, 1}, {10, 0, 5}, {20, 4, 6}}, {12.5, 2, 5}},
    {"linearStep", {2, 6, 3}, {0.25}},
    {"linearStep", {2, 6, 7}, {1}},
    {"smootherStep", {2, 6, 3}, {fadeOf(0.25)}},
    {"bias", {0.5, 0.3}, {0.3}},
    {"bias", {0.25, 0.3}, {0.09}},
    {"gain", {0.25, 0.3}, {0.5 * 0.7}},
    {"gain", {0.75, 0.3}, {1 - 0.5 * 0.7}},
    {"gain", {0.52, 0.3}, {1 - 0.5 * pow(0.96, log(0.7) / log(0.5))}},
    {"fastBias", {0.5, 0.3}, {0.3}},
    {"fastBias", {0.25, 0.3}, {0.25 / ((1 / 0.3 - 2) * 0.75 + 1)}},
    {"fastGain", {0.25, 0.3}, {0.5 * 0.5 / ((1 / 0.7 - 2) * 0.5 + 1)}}, // half of a fast bias by 1 - g
    {"fastGain", {0.52, 0.3}, {1 - 0.5 * 0.96 / ((1 / 0.7 - 2) * 0.04 + 1)}},
    {"pulse", {1, 2, 1.5}, {1}},
    {"pulse", {1, 2, 2}, {0}},
    {"smoothPulse", {0, 1, 2, 4, 0.5}, {0.5}},
    {"smoothPulse", {0, 1, 2, 4, 2.5}, {1 - (3 - 0.5) / 16}},
    {"triangleWave", {2.25}, {0.5}},
    {"triangleWave", {-0.4}, {0.8}},
    {"squareWave", {3.2, 0.3}, {1}},
    {"squareWave", {3.4, 0.3}, {0}},
    {"sineWave", {0.25}, {1}},
    {"wrap", {-1, 2, 5}, {2}},
    {"wrap", {7.5, 2, 5}, {4.5}},
    {"mirror", {6, 2, 5}, {4}},
    {"mirror", {1.5, 2, 5}, {2.5}},
    {"gaussian", {2, 1.5}, {exp(-4 / 4.5)}},
    {"quantize", {0.6, 4}, {2 / 3.0}},
    {"quantize", {1, 4}, {1}},
    {"hermite", {1, 2, 3, -1, 0.5}, {1.5 + 0.125 * 4}},
    {"hermite", {1, 2, 3, -1, 0.25}, {0.84375 * 1 + 0.140625 * 3 + 0.15625 * 2 - 0.046875 * -1}},
    {"catmullRom", {1, 2, 4, 6, 0.5}, {(-1 + 9 * 2 + 9 * 4 - 6) / 16.0}},
    {"ramp", {{0, 0, 0}, {1, 2, 3}, {2, 0, 1}, 0.25}, {0.5, 1, 1.5}},
    {"ramp", {{0, 0, 0}, {1, 2, 3}, {2, 0, 1}, 0.75}, {1.5, 1, 2}},
    {"ramp", {{0, 0, 0}, {1, 2, 3}, {2, 0, 1}, {4, 4, 4}, 0.5}, {1.5, 1, 2}},
    {"ramp", {{0, 0, 0}, {1, 2, 3}, {2, 0, 1}, {4, 4, 4}, 5}, {4, 4, 4}},
};

const std::vector<Point> kSpace = {
    {"transformPoint", {{1, 2, 3}, kAffine}, {7, 12, 19}},
    {"transformVector", {{1, 2, 3}, kAffine}, {2, 6, 12}},
    {"transformNormal", {{1, 1, 1}, kInverse}, normalized(1 / 2.0, 1 / 3.0, 1 / 4.0)},
    {"transformNormal", {kY, kInverseShear}, {0, 1, 0}},
    {"transformNormal", {kX, kInverseShear}, normalized(1, -1, 0)},
    {"perspectiveDivide", {{1, 2, 4}}, {0.25, 0.5}},
    {"perspectiveDivide", {{1, 2, 4, 8}}, {0.125, 0.25, 0.5}},
    {"projectPoint", {{1, 2, 4}, kProjection}, {0.5, 1, 0.75}},
    {"clipToTexture", {{1, -2, 3, 4}}, {0.625, 0.25}},
    {"linearDepth", {100.0 / 99 * (5 - 1) / 5, 1, 100}, {5}},
    {"linearDepth", {0, 1, 100}, {1}},
    {"rotationX", {kPi / 6}, {1, 0, 0, 0, sqrt(0.75), 0.5, 0, -0.5, sqrt(0.75)}},
    {"rotationY", {kPi / 6}, {sqrt(0.75), 0, -0.5, 0, 1, 0, 0.5, 0, sqrt(0.75)}},
    {"rotationZ", {kPi / 6}, {sqrt(0.75), 0.5, 0, -0.5, sqrt(0.75), 0, 0, 0, 1}},
    {"scaling", {{2, 3, 4}}, {2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 4, 0, 0, 0, 0, 1}},
    {"translation", {{2, 3, 4}}, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 2, 3, 4, 1}},
    {"rotate", {{2, 3}, kPi / 6}, {2 * sqrt(0.75) - 1.5, 1 + 3 * sqrt(0.75)}},
    {"rotate", {{1, 2, 3}, kN, kPi / 2}, {-2, 1, 3}},
    {"rotate", {{1, 2, 3}, kX, kPi / 2}, {1, -3, 2}},
    {"rotate", {{1, 2, 3}, kQuarterTurnZ}, {-2, 1, 3}},
    {"projectOnto", {{1, 2, 3}, {0, 4, 0}}, {0, 2, 0}},
    {"rejectFrom", {{1, 2, 3}, {0, 2, 0}}, {1, 0, 3}},
    {"faceForward", {kN, kL}, {0, 0, -1}},
    {"faceForward", {kN, kBelow}, {0, 0, 1}},
    {"angleBetween", {{2, 0, 0}, {3, 3, 0}}, {kPi / 4}},
    {"toPolar", {{-3, 3}}, {sqrt(18), 0.75 * kPi}},
    {"fromPolar", {sqrt(18), 0.75 * kPi}, {-3, 3}},
    {"sphericalDirection", {kPi / 3, kPi / 2}, {0, sqrt(0.75), 0.5}},
    {"orthonormalBasis",
     {{0.48, 0.6, 0.64}},
     {1 - 0.2304 / 1.64, -0.288 / 1.64, -0.48, -0.288 / 1.64, 1 - 0.36 / 1.64, -0.6}},
    {"orthonormalBasis",
     {{0.48, 0.6, -0.64}},
     {1 - 0.2304 / 1.64, -0.288 / 1.64, 0.48, 0.288 / 1.64, 0.36 / 1.64 - 1, -0.6}},
    {"toTangentSpace", {{1, 2, 3}, kY, kN, kX}, {2, 3, 1}},
    {"fromTangentSpace", {{2, 3, 1}, kY, kN, kX}, {1, 2, 3}},
    {"directionTo", {{1, 1, 1}, {1, 4, 5}}, {0, 0.6, 0.8}},
};

const std::vector<Point> kLighting = {
    {"lambert", {kN, kL}, {0.8}},
    {"lambert", {kN, kBelow}, {0}},
    {"halfLambert", {kN, kL}, {0.81}},
    {"halfLambert", {kN, kBelow}, {0.01}},
    {"wrapDiffuse", {kN, kL, 0.5}, {1.3 / 1.5}},
    {"wrapDiffuse", {kN, kBelow, 0.5}, {0}},
    {"orenNayar", {kN, kL, kV, 0.5}, {0.8 * (1 - 0.5 * 0.25 / 0.58)}},
    // Light and eye on one side: the greater angle has the sine 0.8, the smaller the tangent 0.75.
    {"orenNayar", {kN, kL, kV2, 0.5}, {0.8 * (1 - 0.5 * 0.25 / 0.58 + 0.45 * 0.25 / 0.34 * 0.8 * 0.75)}},
    {"minnaert", {kN, kL, kV2, 1.7}, {pow(0.8, 1.7) * pow(0.6, 0.7)}},
    {"lommelSeeliger", {kN, kL, kV2}, {0.8 / 1.4}},
    {"lommelSeeliger", {kN, kX, kY}, {0}},
    {"orenNayar", {kN, kX, kX, 0.5}, {0}},
    {"burley",
     {kN, {0.96, 0, 0.28}, {0, 0.96, 0.28}, 0.7}, // the square of l.h is (1 + l.v) / 2
     {0.28 * pow(1 + (0.5 + 1.4 * 0.5392 - 1) * pow(0.72, 5), 2)}},
    {"hemisphere", {kN, kL, {1, 2, 3}, {0, 0, 1}}, {0.9, 1.8, 2.8}},
    {"toon", {kN, kL, 0.8, 0.2}, {0.5}},
    {"toon", {kN, kL, 0.6, 0.2}, {1}},
    {"toonBands", {kN, kL, 3}, {1}},
    {"toonBands", {kN, kV2, 3}, {0.5}},
    {"coolToWarm", {kN, kBelow, {0, 0, 1}, {1, 1, 0}}, {0.1, 0.1, 0.9}},
    {"halfVector", {kL, kV}, normalized(0.6, 0.6, 1.6)},
    {"phong", {kN, kL, kV, 5}, {pow(0.64, 5)}},
    {"phong", {kN, kBelow, {-0.6, 0, -0.8}, 5}, {0}},
    {"phong", {kN, kL, {0.8, 0, -0.6}, 1.5}, {0}}, // no power of a negative number
    {"blinnPhong", {kN, kL, kV, 5}, {pow(kNH, 5)}},
    {"blinnPhong", {kN, {0.8, 0, -0.6}, kV, 5}, {0}},
    {"blinnPhongScale", {10}, {12 / (2 * kPi)}},
    {"normalReflectance", {1.5}, {0.04}},
    {"fresnelSchlick", {0.04, 0.3}, {fresnelOf(0.3, 0.04)}},
    {"fresnelSchlick", {{0.04, 0.5, 1}, 0.3}, {fresnelOf(0.3, 0.04), fresnelOf(0.3, 0.5), 1}},
    {"fresnelDielectric", {1, 1.5}, {0.04}},
    // Brewster's angle: the parallel part vanishes, and the two rays are at a right angle.
    {"fresnelDielectric", {1 / sqrt(3.25), 1.5}, {0.5 * pow((1 - 1.5 * 1.5) / (1 + 1.5 * 1.5), 2)}},
    {"fresnelDielectric", {0.5, 1 / 1.5}, {1}},
    {"distributionBeckmann", {0.9, 0.4}, {beckmannDensity(0.9, 0.4)}},
    {"distributionGGX", {0.9, 0.4}, {ggxDensity(0.9, 0.4)}},
    {"geometryCookTorrance", {0.3, 0.6, 0.7, 0.8}, {2 * 0.7 * 0.3 / 0.8}},
    {"geometryCookTorrance", {0.9, 0.8, 0.9, 0.9}, {1}},
    {"smithLambda", {0.6, 0.4}, {1 / smithG1(0.6, 0.4) - 1}},
    {"smithGGX", {0.6, 0.8, 0.4}, {smithG1(0.6, 0.4) * smithG1(0.8, 0.4)}},
    {"smithCorrelatedGGX", {0.6, 0.8, 0.4}, {4 * 0.6 * 0.8 * heitzVisibility(0.6, 0.8, 0.4)}},
    {"cookTorrance",
     {kN, kL, kV, {0.9, 0.5, 0.04}, 0.4},
     {fresnelOf(kVH, 0.9) * beckmannDensity(kNH, 0.4) / (4 * 0.8),
      fresnelOf(kVH, 0.5) * beckmannDensity(kNH, 0.4) / (4 * 0.8),
      fresnelOf(kVH, 0.04) * beckmannDensity(kNH, 0.4) / (4 * 0.8)}}, // nothing in shadow: G = 1
    {"cookTorrance", {kN, kX, kY, {0.9, 0.5, 0.04}, 0.4}, {0, 0, 0}},
    {"cookTorrance", {kN, kBelow, kV, {0.9, 0.5, 0.04}, 0.4}, {0, 0, 0}},
    {"ggx",
     {kN, kL, kV, {0.9, 0.5, 0.04}, 0.5},
     {fresnelOf(kVH, 0.9) * ggxDensity(kNH, 0.25) * heitzVisibility(0.8, 0.8, 0.25) * 0.8,
      fresnelOf(kVH, 0.5) * ggxDensity(kNH, 0.25) * heitzVisibility(0.8, 0.8, 0.25) * 0.8,
      fresnelOf(kVH, 0.04) * ggxDensity(kNH, 0.25) * heitzVisibility(0.8, 0.8, 0.25) * 0.8}},
    {"ward", {kN, kL, kV2, kX, kY, 0.5, 0.2}, {exp(-4) * sqrt(0.8 / 0.6) / (4 * kPi * 0.5 * 0.2)}},
    {"ward",
     {kN, kL, kV, kX, kY, 0.5, 0.2},
     {exp(-(0.36 / 0.25 + 0.36 / 0.04) / 2.56) / (4 * kPi * 0.5 * 0.2)}},
    {"hairDiffuse", {kX, kL}, {0.8}},
    {"hairDiffuse", {kX, {1.0001, 0, 0}}, {0}},
    {"hairSpecular", {kX, {-0.6, 0, 0.8}, kV2, 5}, {pow(0.96, 5)}},
    {"rim", {kN, kL, 3}, {0.008}},
    {"distanceAttenuation", {2, 1, 0.5, 0.75}, {0.2}},
    {"windowedAttenuation", {2, 4}, {pow(15 / 16.0, 2) / 5}},
    {"windowedAttenuation", {5, 4}, {0}},
    {"spotAttenuation", {kL, {-0.6, 0, -0.8}, 0.9, 0.5}, {1}},
    {"spotAttenuation", {kL, {0, 0, -1}, 0.9, 0.7}, {0.5}},
    {"spotFalloff", {kL, {0, 0, -1}, 3}, {0.512}},
    {"fogLinear", {3, 2, 6}, {0.75}},
    {"fogExp", {3, 0.5}, {exp(-1.5)}},
    {"fogExp2", {3, 0.5}, {exp(-2.25)}},
    {"applyFog", {{1, 2, 3}, {0, 0, 1}, 0.25}, {0.25, 0.5, 1.5}},
    {"henyeyGreenstein", {0.3, 0}, {1 / (4 * kPi)}},
    {"henyeyGreenstein", {0.3, 0.5}, {0.75 / (4 * kPi * pow(0.95, 1.5))}},
    {"plastic",
     {kN, kL, kV, {1, 0, 0.5}, {0.2, 0.4, 0}, 5, {2, 1, 1}},
     {2 * (0.8 + 0.2 * pow(kNH, 5)), 0.4 * pow(kNH, 5), 0.4}},
    {"surface",
     {kN, kL, kV, {1, 0, 0.5}, 0.25, 0.5, {2, 1, 1}},
     {2 * (0.6 + kPi * fresnelOf(kVH, 0.28) * ggxDensity(kNH, 0.25) * heitzVisibility(0.8, 0.8, 0.25) * 0.8),
      kPi* fresnelOf(kVH, 0.03) * ggxDensity(kNH, 0.25) * heitzVisibility(0.8, 0.8, 0.25) * 0.8,
      0.3 + kPi* fresnelOf(kVH, 0.155) * ggxDensity(kNH, 0.25) * heitzVisibility(0.8, 0.8, 0.25) * 0.8}},
};

const std::vector<Point> kColour = {
    {"luminance", {{1, 2, 3}}, {0.2126 + 1.4304 + 0.2166}},
    {"luma", {{1, 2, 3}}, {0.299 + 1.174 + 0.342}},
    {"linearToSrgb", {0.002}, {0.02584}},
    {"linearToSrgb", {0.01}, {srgbOf(0.01)}},
    {"linearToSrgb", {{0, 1, 0.2}}, {0, 1, srgbOf(0.2)}},
    {"srgbToLinear", {0.02584}, {0.002}},
    {"srgbToLinear", {srgbOf(0.004)}, {0.004}},
    {"srgbToLinear", {{0, 1, srgbOf(0.2)}}, {0, 1, 0.2}},
    {"gammaEncode", {{0.25, 1, -1}, 2}, {0.5, 1, 0}},
    {"gammaDecode", {{0.5, 1, -1}, 2}, {0.25, 1, 0}},
    {"rgbToHsv", {{0.2, 0.4, 0.6}}, {210 / 360.0, 2 / 3.0, 0.6}},
    {"rgbToHsv", {{0.8, 0.2, 0.4}}, {340 / 360.0, 0.75, 0.8}},
    {"rgbToHsv", {{0.2, 0.6, 0.4}}, {150 / 360.0, 2 / 3.0, 0.6}},
    {"rgbToHsv", {{0.6, 0.4, 0.2}}, {30 / 360.0, 2 / 3.0, 0.6}},
    {"rgbToHsv", {{0.5, 0.5, 0.5}}, {0, 0, 0.5}},
    {"rgbToHsv", {{0, 0, 0}}, {0, 0, 0}},
    {"hsvToRgb", {{210 / 360.0, 2 / 3.0, 0.6}}, {0.2, 0.4, 0.6}},
    {"hsvToRgb", {{340 / 360.0, 0.75, 0.8}}, {0.8, 0.2, 0.4}},
    {"hsvToRgb", {{0.25, 1, 1}}, {0.5, 1, 0}},
    {"hslToRgb", {{210 / 360.0, 0.5, 0.4}}, {0.2, 0.4, 0.6}},
    {"rgbToHsl", {{0.2, 0.4, 0.6}}, {210 / 360.0, 0.5, 0.4}},
    {"rgbToHsl", {{0.6, 0.4, 0.2}}, {30 / 360.0, 0.5, 0.4}},
    {"rgbToHsl", {{0.2, 0.6, 0.4}}, {150 / 360.0, 0.5, 0.4}},
    {"rgbToHsl", {{0.4, 0.2, 0.6}}, {270 / 360.0, 0.5, 0.4}},
    {"rgbToHsl", {{1, 1, 1}}, {0, 0, 1}},
    {"rgbToYcbcr", {{1, 0, 0}}, {0.299, -0.299 / 1.772, 0.5}},
    {"rgbToYcbcr", {{0, 0, 1}}, {0.114, 0.5, -0.114 / 1.402}},
    {"ycbcrToRgb", {{0.299, -0.299 / 1.772, 0.5}}, {1, 0, 0}},
    {"ycbcrToRgb", {{0.114, 0.5, -0.114 / 1.402}}, {0, 0, 1}},
    {"ycbcrToRgb", {{0.587, -0.587 / 1.772, -0.587 / 1.402}}, {0, 1, 0}},
    {"rgbToXyz", {{1, 1, 1}}, {0.9505, 1, 1.089}},
    {"rgbToXyz", {{1, 0, 0}}, {0.4124, 0.2126, 0.0193}},
    {"xyzToRgb", {{0, 1, 0}}, {-1.5372, 1.8758, -0.204}},
    {"xyzToRgb", {{1, 0, 1}}, {2.742, -0.9274, 1.1127}},
    {"labCurve", {0.02}, {std::cbrt(0.02)}},
    {"labCurve", {0.005}, {0.005 * 841 / 108 + 4 / 29.0}},
    {"xyzToLab", {{0.95047, 1, 1.08883}}, {100, 0, 0}},
    {"xyzToLab",
     {{0.2, 0.3, 0.1}},
     {116 * std::cbrt(0.3) - 16, 500 * (std::cbrt(0.2 / 0.95047) - std::cbrt(0.3)),
      200 * (std::cbrt(0.3) - std::cbrt(0.1 / 1.08883))}},
    {"saturation", {{1, 0, 0}, 0.5}, {0.5 + 0.1063, 0.1063, 0.1063}},
    {"hueShift", {{0.1, 0.2, 0.3}, 2 * kPi / 3}, {0.3, 0.1, 0.2}},
    {"contrast", {{0.5, 1, 0}, 2, 0.25}, {0.75, 1.75, -0.25}},
    {"invert", {{0, 0.25, 1}}, {1, 0.75, 0}},
    {"grade", {{0.5, 1, 0}, {2, 1, 1}, {0.5, 0, -1}, {2, 3, 1}}, {2.25, 1, 0}},
    {"exposure", {{0.5, 1, 0}, -2}, {0.125, 0.25, 0}},
    {"cosinePalette", {0.25, {0.5, 0.5, 0}, {0.5, 1, 1}, {1, 1, 0}, {0, 1 / 12.0, 1 / 6.0}}, {0.5, 0, 0.5}},
    {"vignette", {{0.5, 0.5}, 0.5, 0.8}, {1}},
    {"vignette", {{0.75, 0.5}, 0.5, 0.8}, {0.6}},
    {"reinhard", {{0, 1, 3}}, {0, 0.5, 0.75}},
    {"reinhard", {{0, 1, 4}, 4}, {0, 0.5 * 17 / 16, 1}},
    {"exponentialTone", {{0, 1, 2}, 0.5}, {0, 1 - exp(-0.5), 1 - exp(-1)}},
    {"hableCurve", {{0, 1, 2}}, {0, hableOf(1), hableOf(2)}},
    {"hable", {{1, 2, 11.2}}, {hableOf(1) / hableOf(11.2), hableOf(2) / hableOf(11.2), 1}},
    {"narkowicz", {{0, 1, 9}}, {0, 2.54 / 3.16, 1}},
    {"blendMultiply", {{0.5, 1, 0}, {0.5, 0.25, 1}}, {0.25, 0.25, 0}},
    {"blendScreen", {{0.5, 1, 0}, {0.5, 0.25, 0.25}}, {0.75, 1, 0.25}},
    {"blendHardLight", {{0.4, 0.4, 0.9}, {0.25, 0.75, 0.52}}, {0.2, 0.7, 0.904}},
    {"blendOverlay", {{0.25, 0.75, 0.52}, {0.4, 0.4, 0.9}}, {0.2, 0.7, 0.904}},
    {"blendDarken", {{0.4, 1, 0}, {0.5, 0.25, 0}}, {0.4, 0.25, 0}},
    {"blendLighten", {{0.4, 1, 0}, {0.5, 0.25, 0}}, {0.5, 1, 0}},
    {"blendDodge", {{0.2, 0, 0.5}, {0.5, 1, 0.75}}, {0.4, 0, 1}},
    {"blendBurn", {{0.8, 1, 0.5}, {0.5, 0, 0.25}}, {0.6, 1, 0}},
    {"blendSoftLight",
     {{0.4, 0.1, 0.26}, {0.25, 0.52, 1}},
     {softLightOf(0.4, 0.25), softLightOf(0.1, 0.52), softLightOf(0.26, 1)}},
    {"blendDifference", {{0.5, 1, 0}, {0.75, 0.25, 0}}, {0.25, 0.75, 0}},
    {"blendExclusion", {{0.5, 1, 0}, {0.75, 0.25, 0}}, {0.5, 0.75, 0}},
    {"blendAdd", {{0.5, 1, 0}, {0.75, 0.25, 0}}, {1, 1, 0}},
    {"blendLinearBurn", {{0.5, 1, 0}, {0.75, 0.25, 0}}, {0.25, 0.25, 0}},
    {"premultiply", {{0.4, 1, 0, 0.5}}, {0.2, 0.5, 0, 0.5}},
    {"unpremultiply", {{0.25, 0.5, 0, 0.5}}, {0.5, 1, 0, 0.5}},
    {"unpremultiply", {{0, 0, 0, 0}}, {0, 0, 0, 0}},
    {"over", {{0.4, 0, 0, 0.5}, {0, 0.2, 0.6, 0.8}}, {0.4, 0.1, 0.3, 0.9}},
    {"inside", {{0.4, 0, 0, 0.5}, {0, 0.2, 0.6, 0.8}}, {0.32, 0, 0, 0.4}},
    {"outside", {{0.4, 0, 0, 0.5}, {0, 0.2, 0.6, 0.8}}, {0.08, 0, 0, 0.1}},
    {"atop", {{0.4, 0, 0, 0.5}, {0, 0.2, 0.6, 0.8}}, {0.32, 0.1, 0.3, 0.8}},
    {"either", {{0.4, 0, 0, 0.5}, {0, 0.2, 0.6, 0.8}}, {0.08, 0.1, 0.3, 0.5}},
};

const std::vector<Point> kMapping = {
    {"transformUv", {{0.5, 0.25}, {2, 4}, {0.5, -1}}, {1.5, 0}},
    {"rotateUv", {{1, 0.5}, {0.5, 0.5}, kPi / 2}, {0.5, 1}},
    {"tileUv", {{0.3, 0.75}, {5, 3}}, {0.5, 0.25}},
    {"flipUv", {{0.3, 0.25}}, {0.3, 0.75}},
    {"flipbookUv", {{0.5, 0.25}, 5, 4, 2}, {1.5 / 4, 1.25 / 2}},
    {"sphericalUv", {{0, 0.6, 0.8}}, {0.75, acos(0.6) / kPi}},
    {"sphericalUv", {{1, 0, 0}}, {0.5, 0.5}},
    {"sphericalUvDirection", {{1 / 3.0, 1 / 6.0}}, {0.25, sqrt(0.75), -sqrt(0.1875)}},
    {"cylindricalUv", {{0, 7, -2}}, {0.25, 7}},
    {"planarUv", {{1, 2, 3}, kY, {1, 0, 1}}, {2, 4}},
    {"mirrorBallUv", {{0.48, 0.36, 0.8}}, {0.5 + 0.24 / sqrt(3.6), 0.5 + 0.18 / sqrt(3.6)}},
    {"paraboloidUv", {{0, 0.6, 0.8}}, {0.5, 0.5 + 0.5 / 3}},
    {"octahedralEncode", {{0, 0.6, 0.8}}, {0, 0.6 / 1.4}},
    {"octahedralEncode", {{-0.48, 0.36, -0.8}}, {0.36 / 1.64 - 1, 1 - 0.48 / 1.64}},
    {"octahedralDecode", {{0.36 / 1.64 - 1, 1 - 0.48 / 1.64}}, {-0.48, 0.36, -0.8}},
    {"octahedralEncode", {{0.6, 0, -0.8}}, {1, 0.8 / 1.4}},
    {"octahedralDecode", {{0, -0.6 / 1.4}}, {0, -0.6, 0.8}},
    {"parallaxOffset", {{0.5, 0.25}, 0.5, 0.1, -0.02, {0.6, 0, 0.8}}, {0.5 + 0.03 * 0.75, 0.25}},
    {"limitedParallaxOffset", {{0.5, 0.25}, 0.5, 0.1, -0.02, {0.6, 0, 0.8}}, {0.5 + 0.03 * 0.6, 0.25}},
    {"parallaxUv", {kTexture, {0.8, 0.25}, 0.1, -0.02, {0.6, 0, 0.8}}, {0.8 + 0.035 * 0.6, 0.25}},
    {"mipLevel", {{0.25, 0.5}, {64, 64}}, {5}, {{0.25, 0}, {0, 0}}, {{0, 0.5}, {0, 0}}},
    {"mipLevel", {{0.25, 0.5}, {64, 32}}, {4.5}, {{0.25, 0.5}, {0, 0}}, {{0.125, 0}, {0, 0}}},
    {"mipLevel", {{0.25, 0.5}, {1, 0.5}}, {0}, {{0.25, 0}, {0, 0}}, {{0, 0.5}, {0, 0}}},
    {"projectedTexture", {kTexture, {2, 4, 9, 4}}, {0.55, 0.5, 0.35, 0.875}},
    {"triplanarWeights", {{0.6, 0, -0.8}, 1}, {0.6 / 1.4, 0, 0.8 / 1.4}},
    {"triplanarTexture",
     {kTexture, {1, 2, 3}, {0.48, 0.64, 0.6}, 2}, // lookups at (2, 3), (3, 1) and (1, 2)
     {0.2304 * 1.7 + 0.4096 * 1.8 + 0.36 * 1, 0.2304 * 1.1 + 0.4096 * 0.5 + 0.36 * 0.8,
      0.2304 * 0.9 + 0.4096 * 0.6 + 0.36 * 0.5, 0.2304 * 0.5 + 0.4096 * 0.25 + 0.36 * 0.75}},
    {"packNormal", {{-1, 0, 1}}, {0, 0.5, 1}},
    {"unpackNormal", {{0, 0.5, 1}}, {-1, 0, 1}},
    {"unpackNormal", {{0.8, 0.5}}, {0.6, 0, 0.8}},
    {"scaleNormal", {{0.6, 0, 0.8}, 2}, normalized(1.2, 0, 0.8)},
    {"blendNormals", {{0.6, 0, 0.8}, {0, 0.6, 0.8}}, normalized(0.6, 0.6, 0.64)},
    {"reorientNormal", {{0.6, 0, 0.8}, {0, 0.6, 0.8}}, {0.48, 0.6, 0.64}},
    // The turn that takes z to the coarse normal takes the fine one beyond it, in one plane.
    {"reorientNormal", {{0.6, 0, 0.8}, {0.6, 0, 0.8}}, {0.96, 0, 0.28}},
    {"normalFromMap", {kTexture, {0.8, 1}, kX, kN, kY}, normalized(0.4, -0.24, 0)},
    {"normalFromHeight", {kTexture, {0.3, 0.4}, {0.1, 0.2}, 5}, normalized(-5 * 0.1, -5 * 0.08, 1)},
    // A floor along x and -z whose height grows by 1/4 and 1/8: the normal leans the other way.
    {"bumpNormal",
     {kY, {1, 0, 0}, 0.5},
     normalized(-0.25, 1, 0.125),
     {{0, 0, 0}, {2, 0, 0}, 0.5},
     {{0, 0, 0}, {0, 0, -2}, 0.25}},
    {"checker", {{0.5, 0.5}}, {0}},
    {"checker", {{-0.5, 2.5}}, {1}},
    {"checker", {{1.5, 1.5}}, {0}},
    {"grid", {{2.04, 0.5}, 0.1}, {1}},
    {"grid", {{0.5, 3.96}, 0.1}, {1}},
    {"grid", {{2.052, 0.5}, 0.1}, {0}},
    {"grid", {{0.5, 3.948}, 0.1}, {0}},
    {"grid", {{2.5, 0.93}, 0.1}, {0}},
    {"dots", {{3.31, 1.5}, 0.2}, {1}},
    {"dots", {{3.5, 1.31}, 0.2}, {1}},
    {"dots", {{3.7, 1.3}, 0.2}, {0}},
    {"brick", {{1.2, 0.6}, {1, 0.5}, 0.1}, {1}}, // a row shifted by half
    {"brick", {{0.52, 1.6}, {1, 0.5}, 0.1}, {0}},
    {"brick", {{0.52, 0.1}, {1, 0.5}, 0.1}, {1}},
    {"brick", {{0.052, 0.1}, {1, 0.5}, 0.1}, {1}},
    {"brick", {{0.96, 0.1}, {1, 0.5}, 0.1}, {0}},
    {"brick", {{0.3, 0.455}, {1, 0.5}, 0.1}, {0}},
    {"brick", {{0.3, 0.045}, {1, 0.5}, 0.1}, {0}},
    {"rings", {{3, -4.5}}, {std::hypot(3, 4.5) - 5}},
    {"mod289", {-3}, {286}},
    {"permute", {288}, {33}}, // of 288, which is -1: 34 - 1
    {"hash", {{-5, 300}}, {latticeHash(-5, 300)}},
    {"fade", {{0.25, 0.5}}, {fadeOf(0.25), 0.5}},
    {"valueNoise", {{1.3, -2.6}}, {valueNoiseOf(1.3, -2.6)}},
    {"cornerSlope", {{1, 2}, {1.5, 2}}, {0.5 * cos(2 * kPi * latticeHash(1, 2))}},
    {"gradientNoise", {{1.3, -2.6}}, {gradientNoiseOf(1.3, -2.6)}},
    {"fractalNoise",
     {{1.3, -2.6}},
     {valueNoiseOf(1.3, -2.6) / 2 + valueNoiseOf(2.6, -5.2) / 4 + valueNoiseOf(5.2, -10.4) / 8 +
      valueNoiseOf(10.4, -20.8) / 16}},
    {"turbulence", {{1.3, -2.6}}, {turbulenceOf(1.3, -2.6)}},
    {"marble", {{1.3, -2.6}, 0.7}, {0.5 + 0.5 * sin(2 * kPi * (1.3 + 0.7 * turbulenceOf(1.3, -2.6)))}},
};

const std::vector<Point> allPoints() {
    std::vector<Point> points;
    for (const auto* part : {&kShaping, &kSpace, &kLighting, &kColour, &kMapping}) {
        points.insert(points.end(), part->begin(), part->end());
    }
    return points;
}

// The definition that a point is about, by name and by the types of the inputs.
ShadingNodeSpec* find(const Point& point) {
    for (ShadingNodeSpec* spec : definitions()) {
        const std::vector<DataType> types = inputTypes(*spec);
        if (spec->name() == point.function &&
            std::equal(types.begin(), types.end(), point.inputs.begin(), point.inputs.end(),
                       [](DataType type, const Value& input) { return type == input.type; })) {
            return spec;
        }
    }
    return nullptr;
}

TEST(StandardLibrary, IsReadWithoutAnError) {
    ASSERT_FALSE(library().empty());
    EXPECT_GE(definitions().size(), 70U);
    EXPECT_GE(library().size() - definitions().size(), 350U);
}

TEST(StandardLibrary, HasNoSignatureTwice) {
    std::set<std::string> seen;
    for (const ShadingNodeSpec* spec : library()) {
        EXPECT_TRUE(seen.insert(signature(*spec)).second) << signature(*spec);
    }
}

TEST(StandardLibrary, EveryDefinitionIsItsFormula) {
    std::set<const ShadingNodeSpec*> checked;
    for (const Point& point : allPoints()) {
        const ShadingNodeSpec* spec = find(point);
        if (spec == nullptr) {
            ADD_FAILURE() << "no definition for a point of " << point.function;
            continue;
        }
        checked.insert(spec);
        expectNear(flatValue(*spec, point), point.expected, signature(*spec));
    }
    for (const ShadingNodeSpec* spec : definitions()) {
        EXPECT_TRUE(checked.contains(spec)) << "no point for " << signature(*spec);
    }
}

TEST(StandardLibrary, ClonesHaveTheValueAndTheTextOfTheirSource) {
    for (const Point& point : allPoints()) {
        ShadingNodeSpec* spec = find(point);
        ASSERT_NE(spec, nullptr) << point.function;
        const std::unique_ptr<ShadingNodeSpec> copy(spec->clone());
        EXPECT_EQ(flatValue(*copy, point), flatValue(*spec, point)) << point.function;
        const std::string text = convertToGraphviz(spec, true, true);
        EXPECT_NE(text.find(" -> node"), std::string::npos) << text;
        EXPECT_EQ(convertToGraphviz(copy.get(), true, true), text);
    }
}

TEST(StandardLibrary, ExpansionKeepsEveryValue) {
    for (const Point& point : allPoints()) {
        const ShadingNodeSpec* spec = find(point);
        ASSERT_NE(spec, nullptr) << point.function;
        const std::unique_ptr<ShadingNodeSpec> expanded(spec->clone());
        expanded->expandFunctionCalls();
        ShadingNodeSpec::NodeIterator first, last;
        for (expanded->internalNodes(first, last); first != last; ++first) {
            EXPECT_NE((*first)->nodeType(), kFunctionNode) << signature(*spec) << ": " << (*first)->name();
        }
        EXPECT_EQ(flatValue(*expanded, point), flatValue(*spec, point)) << signature(*spec);
        const std::unique_ptr<ShadingNodeSpec> copy(expanded->clone());
        EXPECT_EQ(flatValue(*copy, point), flatValue(*spec, point)) << signature(*spec);
    }
}

TEST(StandardLibrary, TextureFunctionsRunPerFragment) {
    for (const ShadingNodeSpec* spec : definitions()) {
        const std::vector<DataType> types = inputTypes(*spec);
        if (std::find(types.begin(), types.end(), kTexObj) == types.end()) {
            continue;
        }
        ShadingNodeSpec::AttributeIterator first, last;
        for (spec->outputs(first, last); first != last; ++first) {
            EXPECT_EQ(first->compFreqRange(), CompFreqRange(kFragmentFreq, kFragmentFreq))
                << signature(*spec);
        }
    }
}

// The reference's examples are read one after the other behind the library. A comment "error: …" is
// the message that an example ends with; a comment "gives …" the value of the function it stands in.
TEST(LanguageReference, ExamplesAreTrue) {
    ASSERT_FALSE(library().empty());
    std::string reference = QV_STDLIB;
    reference.replace(reference.rfind("stdlib/stdlib.qvs"), std::string::npos, "docs/shading-language.md");
    std::ifstream file(reference);
    std::string line;
    int examples = 0;
    int values = 0;
    while (std::getline(file, line)) {
        if (line != "```qvs") {
            continue;
        }
        std::string source;
        std::string error;
        std::map<std::string, double> expected;
        std::string function;
        while (std::getline(file, line) && line != "```") {
            source += line + "\n";
            if (line.starts_with("float ")) {
                function = line.substr(6, line.find('(') - 6);
            }
            if (const std::size_t at = line.find("// gives "); at != std::string::npos) {
                expected[function] = std::stod(line.substr(at + 9));
            }
            if (line.starts_with("// error: ")) {
                error = line.substr(10);
            }
        }
        const std::string path = QV_TEST_OUTPUT "example.qvs";
        std::ofstream(path, std::ios::binary) << source;
        ShadingParser parser;
        EXPECT_EQ(parser.parseFile(path, false), error.empty()) << source;
        const std::string message = parser.errorString();
        EXPECT_EQ(message.substr(0, message.size() - !message.empty()).ends_with(" : error " + error),
                  !error.empty())
            << source << message;
        for (const auto& [name, value] : expected) {
            ASSERT_NE(ShadingNodeSpec::findSpecInLibrary(name), nullptr) << name;
            expectNear(flatValue(*ShadingNodeSpec::findSpecInLibrary(name), {name.c_str(), {}, {}}), {value},
                       name);
            ++values;
        }
        ++examples;
    }
    EXPECT_GE(examples, 15);
    EXPECT_GE(values, 5);
}

} // namespace
