#include "conversion/ProgramEvaluator.h"
#include "conversion/Rasterizer.h"
#include "core/Exception.h"
#include "evaluation/GraphEvaluator.h"
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/ShadingParser.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <map>
#include <numeric>
#include <random>
#include <stdexcept>

using namespace qvShadingDag;

namespace {

constexpr std::size_t kSide = 40;

/// Three vertices at different distances, and a number for each.
struct Corner {
    ClipPosition clip;
    double value;
};
constexpr Corner kCorners[3] = {
    {{-1.61, -1.83, 0.5, 2}, 1}, {{0.713, -0.517, 0.2, 0.8}, 4}, {{-0.5, 2.4, 1, 3}, -2}};
constexpr unsigned int kTriangle[3] = {0, 1, 2};

using Values = std::map<std::string, ShadingValue>;

class ProgramEvaluatorTest : public testing::Test {
protected:
    void SetUp() override {
        ShadingParser parser;
        ASSERT_TRUE(parser.parseFile(QV_STDLIB, false)) << parser.errorString();
    }
    void TearDown() override { ShadingNodeSpec::clearLibrary(); }

    static ShadingNodeSpec& function(const std::string& source) {
        static int count = 0;
        const std::string name = "f" + std::to_string(++count);
        ShadingParser parser;
        std::string text = source;
        text.replace(text.find("FUNCTION"), 8, name);
        EXPECT_TRUE(parser.parseText(name, text)) << parser.errorString();
        return *ShadingNodeSpec::findSpecInLibrary(name);
    }

    /// The picture of the triangle, with `position` its clip positions and `a` its numbers.
    static RasterImage draw(const std::string& source, PlacementPolicy policy = kExactPlacement,
                            unsigned int threads = 1, const Values& values = {}) {
        PlacementOptions options;
        options.policy = policy;
        ProgramEvaluator evaluator(function(source), options);
        std::vector<double> columns[5];
        const std::vector<double> whole = {3, 5, -7};
        for (const Corner& corner : kCorners) {
            const double numbers[5] = {corner.clip.x, corner.clip.y, corner.clip.z, corner.clip.w,
                                       corner.value};
            for (int c = 0; c < 5; ++c) {
                columns[c].push_back(numbers[c]);
            }
        }
        for (const ProgramEvaluator::Input& input : evaluator.inputs()) {
            const auto given = values.find(input.name);
            if (given != values.end()) {
                evaluator.set(input.name, given->second);
            } else if (input.name == "position" || input.name == "clip") {
                evaluator.set(input.name, std::vector<std::span<const double>>(columns, columns + 4));
            } else if (input.name == "a") {
                evaluator.set("a", std::vector<std::span<const double>>{columns[4]});
            } else if (input.name == "i") {
                evaluator.set("i", std::vector<std::span<const double>>{whole});
            } else {
                evaluator.set("modelViewProjection",
                              ShadingValue(kMatrix4, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}));
            }
        }
        evaluator.setThreads(threads);
        RasterImage image(kSide, kSide);
        evaluator.draw(3, kTriangle, image);
        return image;
    }

    /// The number that perspective-correct interpolation of the corners gives at a point of the
    /// window, from the cross products of the corners; not-a-number outside.
    static double interpolated(double x, double y, double* depth = nullptr) {
        double weights[3];
        double sum = 0;
        double value = 0;
        double z = 0;
        for (int i = 0; i < 3; ++i) {
            const ClipPosition& a = kCorners[(i + 1) % 3].clip;
            const ClipPosition& b = kCorners[(i + 2) % 3].clip;
            weights[i] = (2 * x / kSide - 1) * (a.y * b.w - a.w * b.y) +
                         (2 * y / kSide - 1) * (a.w * b.x - a.x * b.w) + (a.x * b.y - a.y * b.x);
            if (weights[i] < 0) {
                return std::nan("");
            }
            sum += weights[i];
        }
        double w = 0;
        for (int i = 0; i < 3; ++i) {
            value += weights[i] / sum * kCorners[i].value;
            z += weights[i] / sum * kCorners[i].clip.z;
            w += weights[i] / sum * kCorners[i].clip.w;
        }
        if (depth) {
            *depth = (z / w + 1) / 2;
        }
        return value;
    }
};

// Every pixel holds the function of the interpolated number, by both policies where it is affine;
// by the exact one also where it is not.
TEST_F(ProgramEvaluatorTest, InterpolatesInPerspective) {
    struct {
        const char* source;
        double (*expected)(double a);
        bool earliestIsExact;
    } const rows[] = {
        {"float4 FUNCTION(float a) { return vec4(a, 1 + 2 * a, 0, 1); }", [](double a) { return a; }, true},
        {"float3 FUNCTION(float a) { return vec3(a * a); }", [](double a) { return a * a; }, false},
        {"float FUNCTION(float a) { return sin(perVertex(a) * 0.5); }",
         [](double a) { return std::sin(a / 2); }, false},
    };
    for (const auto& row : rows) {
        for (const PlacementPolicy policy : {kExactPlacement, kEarliestPlacement}) {
            const RasterImage image = draw(row.source, policy);
            int inside = 0;
            double worst = 0;
            for (std::size_t y = 0; y < kSide; ++y) {
                for (std::size_t x = 0; x < kSide; ++x) {
                    double depth = 0;
                    const double a = interpolated(x + 0.5, y + 0.5, &depth);
                    const std::size_t pixel = (kSide - 1 - y) * kSide + x;
                    EXPECT_EQ(image.color[4 * pixel + 3], std::isnan(a) ? 0 : 1) << x << ' ' << y;
                    if (!std::isnan(a)) {
                        ++inside;
                        EXPECT_NEAR(image.depth[pixel], depth, 1e-6);
                        worst = std::max(worst, std::fabs(image.color[4 * pixel] - row.expected(a)));
                    }
                }
            }
            EXPECT_GT(inside, 300);
            if (policy == kExactPlacement || row.earliestIsExact) {
                EXPECT_LT(worst, 1e-5) << row.source;
            } else {
                EXPECT_GT(worst, 0.05) << row.source << ": the control";
            }
        }
    }
}

// What is special: derivatives within squares, the last vertex of what is flat, a depth of the
// program's own, a clip position of its own, a uniform part, components that are missing.
TEST_F(ProgramEvaluatorTest, RunsWhatHardwareRuns) {
    struct {
        const char* source;
        PlacementPolicy policy;
        double (*expected)(double a, double right, double up);
    } const rows[] = {
        {"float FUNCTION(float a) { return ddx(a); }", kExactPlacement,
         [](double a, double right, double) { return right - a; }},
        {"float FUNCTION(float a) { return ddy(a); }", kExactPlacement,
         [](double a, double, double up) { return up - a; }},
        {"float FUNCTION(float a, int i) { return a + toFloat(i + i); }", kExactPlacement,
         [](double a, double, double) { return a - 14; }},
        {"float FUNCTION(float a, uniform float u) { return a * sin(u * 2); }", kExactPlacement,
         [](double a, double, double) { return a * std::sin(6.0); }},
        {"void FUNCTION(float4 clip, float a, out vertex float4 position, out float color) { position = "
         "clip; color = a; }",
         kExactPlacement, [](double a, double, double) { return a; }},
    };
    for (const auto& row : rows) {
        const RasterImage image = draw(row.source, row.policy, 1, {{"u", 3.0}});
        int compared = 0;
        for (std::size_t y = 0; y < kSide; y += 2) {
            for (std::size_t x = 0; x < kSide; x += 2) {
                const double a = interpolated(x + 0.5, y + 0.5);
                const double right = interpolated(x + 1.5, y + 0.5);
                const double up = interpolated(x + 0.5, y + 1.5);
                if (!std::isnan(a + right + up)) {
                    const std::size_t pixel = (kSide - 1 - y) * kSide + x;
                    EXPECT_NEAR(image.color[4 * pixel], row.expected(a, right, up), 1e-5) << row.source;
                    EXPECT_EQ(image.color[4 * pixel + 1], 0);
                    ++compared;
                }
            }
        }
        EXPECT_GT(compared, 60);
    }
}

TEST_F(ProgramEvaluatorTest, LetsTheProgramDecideAboutDepth) {
    ProgramEvaluator evaluator(
        function("void FUNCTION(float4 clip, float a, out vertex float4 position, out float "
                 "color, out float depth) { color = a; depth = 1 - a; position = clip; }"));
    // The second triangle is nearer by its positions, the first by its own depth.
    const std::vector<double> x = {-1, 3, -1, -1, 3, -1};
    const std::vector<double> y = {-1, -1, 3, -1, -1, 3};
    const std::vector<double> z = {0.5, 0.5, 0.5, -0.5, -0.5, -0.5};
    const std::vector<double> w(6, 1.0);
    const std::vector<double> a = {0.75, 0.75, 0.75, 0.25, 0.25, 0.25};
    for (const ProgramEvaluator::Input& input : evaluator.inputs()) {
        if (input.name == "a") {
            evaluator.set("a", std::vector<std::span<const double>>{a});
        } else if (input.name == "position" || input.name == "clip") {
            evaluator.set(input.name, std::vector<std::span<const double>>{x, y, z, w});
        } else {
            evaluator.set(input.name,
                          ShadingValue(kMatrix4, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}));
        }
    }
    RasterImage image(5, 3);
    const unsigned int triangles[] = {0, 1, 2, 3, 4, 5, 0, 1, 9};
    evaluator.draw(6, triangles, image);
    for (std::size_t pixel = 0; pixel < 15; ++pixel) {
        EXPECT_EQ(image.color[4 * pixel], 0.75F);
        EXPECT_EQ(image.depth[pixel], 0.25F);
    }
}

TEST_F(ProgramEvaluatorTest, GivesTheSamePictureOnAnyNumberOfThreads) {
    const std::string source = "float3 FUNCTION(float a) { return normalize(vec3(sin(a), cos(a), a)); }";
    const RasterImage one = draw(source);
    EXPECT_EQ(draw(source, kExactPlacement, 3).color, one.color);
    EXPECT_EQ(draw(source, kExactPlacement, 64).depth, one.depth);
}

TEST_F(ProgramEvaluatorTest, SaysWhatIsMissing) {
    const auto errorOf = [](const auto& use) {
        try {
            use();
        } catch (const Exception& error) {
            EXPECT_EQ(error.type, kInputError);
            return error.message;
        }
        return std::string();
    };
    ProgramEvaluator evaluator(function(
        "float FUNCTION(float a, uniform float u, texobj m) { return a + u + f1tex2D(m, vec2(a)); }"));
    RasterImage image(4, 4);
    const std::vector<double> short1 = {1, 2};
    EXPECT_EQ(
        errorOf([&] { evaluator.set("b", ShadingValue(1)); }),
        "The programs read no input called b; they read float a, float u, texobj m, float4 position, matrix4 "
        "modelViewProjection");
    EXPECT_EQ(errorOf([&] { evaluator.set("u", ShadingValue(1, 2)); }), "Input u is float, its value float2");
    EXPECT_EQ(errorOf([&] { evaluator.set("u", std::vector<std::span<const double>>{short1}); }),
              "Input u is delivered once per draw: it takes one value");
    EXPECT_EQ(errorOf([&] {
                  evaluator.set("a", std::vector<std::span<const double>>{short1, short1});
              }),
              "Input a has 1 components, its columns are 2");
    EXPECT_EQ(errorOf([&] { evaluator.set("a", whiteTexture()); }), "Input a is no map");
    EXPECT_NE(errorOf([&] { evaluator.draw(3, kTriangle, image); }), "");
    EXPECT_NE(errorOf([] { RasterImage(65536, 65536); }), "");
    image.width = 5;
    EXPECT_EQ(errorOf([&] { evaluator.draw(3, kTriangle, image); }),
              "The picture's colours and depths are not those of 5 x 4 pixels");

    struct {
        const char* source;
        const char* error; // behind the function's name
    } const rows[] = {
        {"matrix2 FUNCTION(uniform matrix2 m) { return m; }",
         "the output 'output' is a matrix2, which is no colour: give out a float to float4"},
        {"texobj FUNCTION(texobj m) { return m; }",
         "the output 'output' is a texobj, which is no colour: give out a float to float4"},
        {"void FUNCTION(float a, out float x) { x = a; }",
         "there is nothing to draw: give out a colour ('return' or 'color'), a 'position' or a 'depth'"},
        {"float FUNCTION(float a, float a) { return a; }", "two parameters have the name 'a': rename one"},
        {"void FUNCTION(float a, out float color, out float color) { color = a; }",
         "two parameters have the name 'color': rename one"},
    };
    for (const auto& row : rows) {
        const std::string error = errorOf([&] { ProgramEvaluator unused(function(row.source)); });
        EXPECT_TRUE(error.ends_with(": " + std::string(row.error))) << error;
    }
}

// What the host is told stops the drawing when it throws, on any number of threads.
TEST_F(ProgramEvaluatorTest, StopsWhenTheHostSaysSo) {
    ProgramEvaluator evaluator(function("float FUNCTION() { return 1; }"));
    evaluator.set("position", ShadingValue(0, 0, 0, 1));
    evaluator.set("modelViewProjection",
                  ShadingValue(kMatrix4, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}));
    evaluator.setThreads(2);
    RasterImage image(4, 256);
    double last = 0;
    evaluator.setProgress([&](double part) { last = part; });
    evaluator.draw(3, kTriangle, image);
    EXPECT_GT(last, 0);
    EXPECT_LE(last, 1);
    evaluator.setProgress([](double) { throw std::runtime_error("stop"); });
    EXPECT_THROW(evaluator.draw(3, kTriangle, image), std::runtime_error);
}

// A fan around a point covers every pixel once, whatever the corners are, also behind the viewer.
TEST(Rasterizer, CoversEveryPixelOnce) {
    std::mt19937 random(11);
    const auto number = [&] { return (static_cast<double>(random() % 2001) - 1000) / 500; };
    const auto countPixels = [](const std::vector<ClipPosition>& positions,
                                const std::vector<unsigned int>& indices) {
        const Rasterizer rasterizer(positions, indices, 17, 12, false, 4);
        std::vector<int> counts(17 * 12);
        for (std::size_t strip = 0; strip < rasterizer.numStrips(); ++strip) {
            for (const FragmentQuad& quad : rasterizer.quads(strip, std::vector<float>(17 * 12, 1), false)) {
                for (unsigned int p = 0; p < 4; ++p) {
                    counts[rasterizer.pixelOf(quad, p) * (quad.covered >> p & 1U)] += quad.covered >> p & 1U;
                }
            }
        }
        return counts;
    };
    for (int round = 0; round < 200; ++round) {
        // A square that is larger than the picture, cut into a fan around a point of it; some corners
        // lie on the middles of pixels.
        std::vector<ClipPosition> positions = {{number() / 3, number() / 3, 0, 1}};
        if (round % 2 == 0) {
            positions[0] = {2 * ((random() % 17) + 0.5) / 17 - 1, 2 * ((random() % 12) + 0.5) / 12 - 1, 0, 1};
        }
        const double corners[8][2] = {{-2, -2}, {0, -3}, {2, -2}, {3, 0}, {2, 2}, {0, 3}, {-2, 2}, {-3, 0}};
        std::vector<unsigned int> indices;
        for (unsigned int i = 0; i < 8; ++i) {
            const double w = 0.5 + static_cast<double>(random() % 100) / 50;
            positions.push_back({corners[i][0] * w, corners[i][1] * w, 0, w});
            indices.insert(indices.end(), {0, i + 1, (i + 1) % 8 + 1});
            if (random() % 2 == 0) {
                std::swap(indices.back(), indices[indices.size() - 2]); // turned the other way
            }
        }
        EXPECT_EQ(countPixels(positions, indices), std::vector<int>(17 * 12, 1)) << round;
    }
    // A corner behind the viewer: the same pixels as the part in front of it.
    for (int round = 0; round < 100; ++round) {
        const ClipPosition a = {number(), number(), 0, 1};
        const ClipPosition b = {number(), number(), 0, 1.5};
        const ClipPosition behind = {number(), number(), 0, -1};
        const auto cut = [&](const ClipPosition& from) { // where w is small, but above 0
            const double t = (from.w - 1e-9) / (from.w - behind.w);
            return ClipPosition{from.x + t * (behind.x - from.x), from.y + t * (behind.y - from.y), 0, 1e-9};
        };
        const std::vector<int> whole = countPixels({a, b, behind}, {0, 1, 2});
        const std::vector<int> parts = countPixels({a, b, cut(b), cut(a)}, {0, 1, 2, 0, 2, 3});
        // Corners that are rounded move an edge over the middle of a pixel now and then.
        const int different = std::inner_product(whole.begin(), whole.end(), parts.begin(), 0, std::plus<>(),
                                                 std::not_equal_to<>());
        EXPECT_LE(different, 2) << round;
    }
}

} // namespace
