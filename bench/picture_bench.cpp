// A sphere of 512 x 512 pixels on one thread, with the seven surfaces of surfaces.qvs, beside the same
// formulas written by hand (surfaces_by_hand.cpp) in the same rasterizer; both take turns within this
// run. "of_by_hand" is the median time of the evaluator over that of the loop at -O2.

#include "conversion/ProgramEvaluator.h"
#include "conversion/Rasterizer.h"
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/ShadingParser.h"
#include "surfaces_by_hand.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <numbers>
#include <span>
#include <string>
#include <vector>

using namespace qvShadingDag;

namespace {

constexpr std::size_t kSide = 512;
constexpr std::size_t kRowsPerStrip = 32;

struct Surface {
    const char* name;
    SurfaceLoop SurfacesByHand::*byHand;
    std::vector<const char*> perPoint; // n, l, v, p, uv: the first inputs, in the order of the header
    std::vector<double> uniforms;
    std::size_t width = 3;
};

const Surface kSurfaces[] = {
    {"highlight", &SurfacesByHand::highlight, {"n", "l", "v"}, {0.5, 0.25, 0.125, 20}},
    {"metal", &SurfacesByHand::metal, {"n", "l", "v"}, {0.75, 0.5, 0.25, 0.5}},
    {"matt", &SurfacesByHand::matt, {"n", "l", "v"}, {0.5}, 1},
    {"tones", &SurfacesByHand::tones, {"n", "l"}, {0, 0, 1, 1, 0.5, 0}},
    {"landscape",
     &SurfacesByHand::landscape,
     {"n", "p"},
     {0.5, 0.75, 1, 0.25, 0.125, 0, 0.5, 0.5, 0.5, 0.25}},
    {"wall", &SurfacesByHand::wall, {"uv", "n", "l"}, {0.5, 0.25, 0.125, 0.75, 0.75, 0.5}},
    {"cloth", &SurfacesByHand::cloth, {"n", "l", "v"}, {0.5, 0.25, 0.75, 0.375}},
};

using Columns = std::vector<std::vector<double>>;

/// A sphere of radius 0.9 that fills the picture, seen from far away.
struct Sphere {
    Sphere() {
        constexpr unsigned int kColumns = 48;
        constexpr unsigned int kRows = 24;
        for (unsigned int j = 0; j <= kRows; ++j) {
            for (unsigned int i = 0; i <= kColumns; ++i) {
                addVertex(static_cast<double>(i) / kColumns, static_cast<double>(j) / kRows);
                if (i < kColumns && j < kRows) {
                    const unsigned int corner = j * (kColumns + 1) + i;
                    const unsigned int above = corner + kColumns + 1;
                    indices.insert(indices.end(), {corner, corner + 1, above + 1, corner, above + 1, above});
                }
            }
        }
    }

    const Columns& named(const std::string& name) const {
        return name == "uv" ? uv : name == "l" ? light : name == "v" ? eye : normal; // "p": of radius 1
    }

    Columns clip = Columns(4);
    Columns normal = Columns(3);
    Columns light = Columns(3);
    Columns eye = Columns(3);
    Columns uv = Columns(2);
    std::vector<unsigned int> indices;

private:
    static void add(Columns& columns, std::initializer_list<double> numbers) {
        auto column = columns.begin();
        for (const double number : numbers) {
            (column++)->push_back(static_cast<float>(number));
        }
    }

    void addVertex(double u, double v) {
        const double longitude = 2 * std::numbers::pi * (u - 0.5);
        const double latitude = std::numbers::pi * (v - 0.5);
        const double x = std::cos(latitude) * std::sin(longitude);
        const double y = std::sin(latitude);
        const double z = std::cos(latitude) * std::cos(longitude);
        add(clip, {0.9 * x, 0.9 * y, -0.9 * z, 1});
        add(normal, {x, y, z});
        add(light, {1.0 / 3, 2.0 / 3, 2.0 / 3});
        add(eye, {0, 0, 1});
        add(uv, {u, v});
    }
};

/// What one would write for one surface.
void drawByHand(const Sphere& sphere, const Surface& surface, RasterImage& image) {
    const std::size_t vertices = sphere.clip[0].size();
    std::vector<ClipPosition> positions(vertices);
    for (std::size_t i = 0; i < vertices; ++i) {
        positions[i] = {sphere.clip[0][i], sphere.clip[1][i], sphere.clip[2][i], sphere.clip[3][i]};
    }
    const Rasterizer rasterizer(positions, sphere.indices, kSide, kSide, true, kRowsPerStrip);
    std::vector<const double*> sources;
    for (const char* name : surface.perPoint) {
        for (const auto& column : sphere.named(name)) {
            sources.push_back(column.data());
        }
    }
    for (std::size_t strip = 0; strip < rasterizer.numStrips(); ++strip) {
        const std::vector<FragmentQuad> quads = rasterizer.quads(strip, image.depth, true);
        const std::size_t points = 4 * quads.size();
        std::vector<float> columns(sources.size() * points);
        std::vector<double> results(surface.width * points);
        std::vector<const float*> columnPlaces;
        std::vector<double*> resultPlaces;
        for (std::size_t c = 0; c < sources.size(); ++c) {
            columnPlaces.push_back(columns.data() + c * points);
        }
        for (std::size_t c = 0; c < surface.width; ++c) {
            resultPlaces.push_back(results.data() + c * points);
        }
        for (std::size_t q = 0; q < quads.size(); ++q) {
            double weights[4][3];
            const unsigned int* corners = rasterizer.weights(quads[q], weights);
            for (std::size_t c = 0; c < sources.size(); ++c) {
                for (std::size_t p = 0; p < 4; ++p) {
                    columns[c * points + 4 * q + p] = static_cast<float>(
                        sources[c][corners[0]] * weights[p][0] + sources[c][corners[1]] * weights[p][1] +
                        sources[c][corners[2]] * weights[p][2]);
                }
            }
        }
        (plain::surfaces.*surface.byHand)(columnPlaces.data(), surface.uniforms.data(), resultPlaces.data(),
                                          points);
        for (std::size_t point = 0; point < points; ++point) {
            if ((quads[point / 4].covered >> point % 4 & 1U) != 0) {
                const std::size_t pixel = rasterizer.pixelOf(quads[point / 4], point % 4);
                image.depth[pixel] = rasterizer.depthOf(quads[point / 4], point % 4);
                for (std::size_t c = 0; c < 4; ++c) {
                    image.color[4 * pixel + c] = c < surface.width
                                                     ? static_cast<float>(results[c * points + point])
                                                     : static_cast<float>(c == 3);
                }
            }
        }
    }
}

ProgramEvaluator evaluatorOf(const Surface& surface, const Sphere& sphere) {
    const ShadingNodeSpec& function = *ShadingNodeSpec::findSpecInLibrary(surface.name);
    PlacementOptions options;
    std::vector<std::pair<std::string, ShadingValue>> uniforms;
    std::size_t position = 0;
    std::size_t number = 0;
    ShadingNodeSpec::AttributeIterator input;
    ShadingNodeSpec::AttributeIterator last;
    for (function.inputs(input, last); input != last; ++input) {
        if (position++ < surface.perPoint.size()) {
            continue;
        }
        options.inputLevels[input->name()] = kUniformFreq;
        ShadingValue value(input->dataType(), {});
        for (int c = 0; c < value.width(); ++c) {
            value.c[static_cast<std::size_t>(c)] = surface.uniforms[number++];
        }
        uniforms.emplace_back(input->name(), value);
    }
    ProgramEvaluator evaluator(function, options);
    const auto spans = [](const Columns& columns) {
        return std::vector<std::span<const double>>(columns.begin(), columns.end());
    };
    for (const auto& [name, value] : uniforms) {
        evaluator.set(name, value);
    }
    for (const char* name : surface.perPoint) {
        evaluator.set(name, spans(sphere.named(name)));
    }
    evaluator.set("position", spans(sphere.clip));
    evaluator.set("modelViewProjection",
                  ShadingValue(kMatrix4, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}));
    evaluator.setCullsBackFaces(true);
    return evaluator;
}

template <typename Work>
double secondsOf(const Work& work) {
    std::timespec start;
    std::timespec end;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &start);
    work();
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &end);
    return static_cast<double>(end.tv_sec - start.tv_sec) +
           1e-9 * static_cast<double>(end.tv_nsec - start.tv_nsec);
}

double medianOf(std::vector<double> numbers) {
    std::sort(numbers.begin(), numbers.end());
    return numbers[numbers.size() / 2];
}

void drawSurface(benchmark::State& state, const Surface& surface) {
    static const bool isRead = [] {
        for (const char* file : {QV_STDLIB, QV_SURFACES_FILE}) {
            ShadingParser parser;
            if (!parser.parseFile(file, false)) {
                std::fputs(parser.errorString().c_str(), stderr);
                std::exit(1);
            }
        }
        return true;
    }();
    benchmark::DoNotOptimize(isRead);
    const Sphere sphere;
    ProgramEvaluator evaluator = evaluatorOf(surface, sphere);
    std::vector<double> own;
    std::vector<double> byHand;
    RasterImage image(kSide, kSide);
    RasterImage expected(kSide, kSide);
    while (state.KeepRunning()) {
        image = RasterImage(kSide, kSide);
        expected = RasterImage(kSide, kSide);
        own.push_back(secondsOf([&] { evaluator.draw(sphere.clip[0].size(), sphere.indices, image); }));
        state.SetIterationTime(own.back());
        byHand.push_back(secondsOf([&] { drawByHand(sphere, surface, expected); }));
    }
    std::size_t covered = 0;
    for (std::size_t i = 0; i < image.color.size(); ++i) {
        covered += i % 4 == 3 && image.color[i] == 1;
        // A step may lie on the other side of a pixel where the hand's interpolation is rounded.
        const bool different = std::fabs(image.color[i] - expected.color[i]) > 1e-4 * (1 + image.color[i]);
        if (different && surface.name != std::string("wall")) {
            state.SkipWithError("the loop draws something else");
            return;
        }
    }
    state.counters["million_pixels_per_s"] = static_cast<double>(covered) / medianOf(own) / 1e6;
    state.counters["of_by_hand"] = medianOf(own) / medianOf(byHand);
}

const bool registered = [] {
    for (const Surface& surface : kSurfaces) {
        benchmark::RegisterBenchmark(surface.name,
                                     [&surface](benchmark::State& state) { drawSurface(state, surface); })
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
    }
    return true;
}();

} // namespace
