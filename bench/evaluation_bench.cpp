// Values of seven surfaces at many points, beside loops of the same formulas written by hand
// (surfaces_by_hand.cpp), which take turns with the evaluator within this run: "of_by_hand" is the
// median time of the evaluator over that of the loop at -O2, "of_native" over that of the loop at -O3
// -march=native. The inputs are set anew each time: reading them in belongs to the price. And the
// flat program of a lit surface, which everything else starts from.

#include "evaluation/GraphEvaluator.h"
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/ShadingParser.h"
#include "surfaces_by_hand.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <random>
#include <span>
#include <vector>

using namespace qvShadingDag;

namespace {

constexpr std::size_t kPoints = 16384;

using FloatColumns = std::vector<std::vector<float>>;
using Columns = std::vector<std::vector<double>>;

struct Surface {
    const char* name;
    SurfaceLoop SurfacesByHand::*byHand;
    std::size_t perPoint; // the first inputs; the others are the same everywhere
    std::vector<double> uniforms;
};

const Surface kSurfaces[] = {
    {"highlight", &SurfacesByHand::highlight, 3, {0.5, 0.25, 0.125, 20}},
    {"metal", &SurfacesByHand::metal, 3, {0.75, 0.5, 0.25, 0.5}},
    {"matt", &SurfacesByHand::matt, 3, {0.5}},
    {"tones", &SurfacesByHand::tones, 2, {0, 0, 1, 1, 0.5, 0}},
    {"landscape", &SurfacesByHand::landscape, 2, {0.5, 0.75, 1, 0.25, 0.125, 0, 0.5, 0.5, 0.5, 0.25}},
    {"wall", &SurfacesByHand::wall, 3, {0.5, 0.25, 0.125, 0.75, 0.75, 0.5}},
    {"cloth", &SurfacesByHand::cloth, 3, {0.5, 0.25, 0.75, 0.375}},
};

void readOnce() {
    static const bool isRead = [] {
        for (const char* file : {QV_STDLIB, QV_SURFACE, QV_SURFACES_FILE}) {
            ShadingParser parser;
            if (!parser.parseFile(file, false)) {
                std::fputs(parser.errorString().c_str(), stderr);
                std::exit(1);
            }
        }
        return true;
    }();
    benchmark::DoNotOptimize(isRead);
}

/// Unit vectors around +z, and positions and coordinates of a few units.
FloatColumns randomColumns(const GraphEvaluator& evaluator, std::size_t inputs) {
    std::mt19937 random(3);
    const auto number = [&] { return static_cast<double>(random() % 65536) / 32768 - 1; };
    FloatColumns columns;
    for (std::size_t i = 0; i < inputs; ++i) {
        const auto width = static_cast<std::size_t>(componentCount(evaluator.inputs()[i].type));
        const std::size_t first = columns.size();
        columns.resize(first + width, std::vector<float>(kPoints));
        for (std::size_t p = 0; p < kPoints; ++p) {
            double numbers[3] = {number(), number(), 1.5 + number()};
            const double length = width == 2 ? 0.25 : std::hypot(numbers[0], numbers[1], numbers[2]);
            for (std::size_t c = 0; c < width; ++c) {
                columns[first + c][p] = static_cast<float>(numbers[c] / length);
            }
        }
    }
    return columns;
}

double secondsOf(const std::function<void()>& work) {
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

void evaluateColumns(GraphEvaluator& evaluator, const Surface& surface, const FloatColumns& columns) {
    std::size_t column = 0;
    std::size_t uniform = 0;
    for (std::size_t i = 0; i < evaluator.inputs().size(); ++i) {
        const auto& input = evaluator.inputs()[i];
        const auto width = static_cast<std::size_t>(componentCount(input.type));
        if (i < surface.perPoint) {
            evaluator.set(input.name, std::vector<std::span<const float>>(
                                          columns.begin() + static_cast<std::ptrdiff_t>(column),
                                          columns.begin() + static_cast<std::ptrdiff_t>(column + width)));
            column += width;
        } else {
            ShadingValue value(input.type, {});
            std::copy_n(surface.uniforms.begin() + static_cast<std::ptrdiff_t>(uniform), width,
                        value.c.begin());
            evaluator.set(input.name, value);
            uniform += width;
        }
    }
    evaluator.evaluate(kPoints);
}

void evaluateSurface(benchmark::State& state, const Surface& surface) {
    readOnce();
    GraphEvaluator evaluator(*ShadingNodeSpec::findSpecInLibrary(surface.name));
    const FloatColumns columns = randomColumns(evaluator, surface.perPoint);
    std::vector<const float*> points;
    for (const auto& column : columns) {
        points.push_back(column.data());
    }
    const auto width = static_cast<std::size_t>(componentCount(evaluator.outputs()[0].type));
    Columns results(width, std::vector<double>(kPoints));
    std::vector<double*> resultColumns;
    for (auto& column : results) {
        resultColumns.push_back(column.data());
    }
    const auto byHand = [&](const SurfacesByHand& surfaces) {
        return secondsOf([&] {
            (surfaces.*surface.byHand)(points.data(), surface.uniforms.data(), resultColumns.data(), kPoints);
            benchmark::ClobberMemory();
        });
    };
    std::vector<double> own;
    std::vector<double> plainLoop;
    std::vector<double> nativeLoop;
    while (state.KeepRunning()) {
        const double seconds = secondsOf([&] { evaluateColumns(evaluator, surface, columns); });
        state.SetIterationTime(seconds);
        own.push_back(seconds);
        nativeLoop.push_back(byHand(native::surfaces));
        plainLoop.push_back(byHand(plain::surfaces));
    }
    for (std::size_t c = 0; c < width; ++c) {
        const auto column = evaluator.outputColumn(0, static_cast<int>(c));
        for (std::size_t p = 0; p < kPoints; ++p) {
            if (!(std::fabs(column[p] - results[c][p]) <= 1e-6 * (1 + std::fabs(results[c][p])))) {
                state.SkipWithError("the loop computes something else");
                return;
            }
        }
    }
    state.counters["million_points_per_s"] = kPoints / medianOf(own) / 1e6;
    state.counters["of_by_hand"] = medianOf(own) / medianOf(plainLoop);
    state.counters["of_native"] = medianOf(own) / medianOf(nativeLoop);
}

/// What it takes before the first point: expansion, dropping, merging.
void readFunction(benchmark::State& state) {
    readOnce();
    const ShadingNodeSpec& surface = *ShadingNodeSpec::findSpecInLibrary("litSurface");
    std::size_t nodes = 0;
    for (auto _ : state) {
        nodes = GraphEvaluator(surface).numNodes();
    }
    state.counters["nodes"] = static_cast<double>(nodes);
}
BENCHMARK(readFunction)->Unit(benchmark::kMicrosecond);

const bool registered = [] {
    for (const Surface& surface : kSurfaces) {
        benchmark::RegisterBenchmark(surface.name,
                                     [&surface](benchmark::State& state) { evaluateSurface(state, surface); })
            ->UseManualTime()
            ->Unit(benchmark::kMicrosecond);
    }
    return true;
}();

} // namespace
