// Placement of flat programs, from 1,000 nodes to 1,000,000. Beside it one bare pass over the same
// arrays, each node at the latest level of its arguments: the counter "of_pass" is the time of the
// whole placement over that of this pass, within this run. Flattening is measured apart.

#include "conversion/PlacementPasses.h"
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/ShadingParser.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <memory>
#include <random>
#include <vector>

using namespace qvShadingDag;

namespace {

using Index = FlatProgram::Index;
/// Processor time: others may use the machine as well.
double secondsSince(std::clock_t start) {
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

void readLibraryOnce() {
    if (!ShadingNodeSpec::findSpecInLibrary("saturate")) {
        ShadingParser parser;
        if (!parser.parseFile(QV_STDLIB, false)) {
            std::cerr << parser.errorString();
            std::exit(1);
        }
    }
}

/// A sum of terms of forty calls each, as surfaces have them: of inputs of every level, of literals and
/// of what was computed before in the term.
std::unique_ptr<ShadingNodeSpec> makeFunction(int nodes, unsigned int seed) {
    readLibraryOnce();
    std::mt19937 random(seed);
    std::unique_ptr<ShadingNodeSpec> spec(ShadingNodeSpec::createNew(kFunctionNode));
    spec->setName("sum");
    spec->addOutput(kFloat3, "output", CompFreqRange());
    std::vector<ShadingAttribute> inputs;
    for (const CompFreqRange range : {CompFreqRange(), CompFreqRange(kUniformFreq, kUniformFreq),
                                      CompFreqRange(kVertexFreq, kVertexFreq), CompFreqRange()}) {
        inputs.push_back(*spec->addInput(kFloat3, "in" + std::to_string(inputs.size()), range));
    }
    inputs.emplace_back(spec->addInternalNode(TypedConstant(1, 2, 3)), "output");
    const auto call = [&](const char* name, const std::list<ShadingAttribute>& arguments) {
        return ShadingAttribute(spec->addInternalNode(name, arguments), "output");
    };
    ShadingAttribute sum = inputs.front();
    for (int made = 0; made < nodes;) {
        std::vector<ShadingAttribute> values = inputs;
        const auto any = [&] { return values[random() % values.size()]; };
        for (int i = 0; i < 40 && made < nodes; ++i, ++made) {
            const ShadingAttribute last = i == 0 ? any() : values.back();
            switch (random() % 6) {
            case 0:
                values.push_back(call("operator*", {last, any()}));
                break;
            case 1:
                values.push_back(call("normalize", {last}));
                break;
            case 2:
                values.push_back(call("cross", {last, any()}));
                break;
            default:
                values.push_back(call("operator+", {last, any()}));
                break;
            }
        }
        sum = call("operator+", {sum, values.back()});
        ++made;
    }
    ShadingNodeSpec::AttributeIterator output;
    ShadingNodeSpec::AttributeIterator last;
    spec->outputs(output, last);
    spec->connectOutput(sum, *output);
    return spec;
}

FlatProgram flatProgramOf(const ShadingNodeSpec& spec) {
    FlatProgram flat = flatten(spec);
    dropUnread(flat);
    mergeEqual(flat);
    return flat;
}

int barePass(const FlatProgram& flat, std::vector<unsigned char>& levels) {
    int fragment = 0;
    for (Index n = 0; n < flat.nodes.size(); ++n) {
        const FlatProgram::Node& node = flat.nodes[n];
        unsigned char level = node.kind == FlatProgram::kInput ? kVertexFreq : node.floor;
        for (Index i = 0; i < node.argumentCount; ++i) {
            level = std::max(level, levels[flat.valueNode[flat.arguments[node.firstArgument + i]]]);
        }
        levels[n] = level;
        fragment += level == kFragmentFreq ? 1 : 0;
    }
    return fragment;
}

/// Functions of one size, different ones by turns: the processor would learn a small one by heart.
void BM_placement(benchmark::State& state) {
    constexpr int kNodesTogether = 100000;
    std::vector<std::unique_ptr<ShadingNodeSpec>> specs;
    std::vector<FlatProgram> programs;
    const auto size = static_cast<int>(state.range(0));
    for (int made = 0; made < std::max(kNodesTogether, size); made += size) {
        specs.push_back(makeFunction(size, static_cast<unsigned int>(specs.size())));
        programs.push_back(flatProgramOf(*specs.back()));
    }
    std::vector<unsigned char> levels(programs.front().nodes.size() * 2);
    PlacementOptions options;
    double nodes = 0;
    double placing = 0;
    double passing = 0;
    std::size_t next = 0;
    for (auto _ : state) {
        const FlatProgram& flat = programs[next];
        PlacedProgram placed;
        placed.flat = flat;
        std::clock_t start = std::clock();
        placeFlatProgram(placed, *specs[next], options);
        const double seconds = secondsSince(start);
        benchmark::DoNotOptimize(placed.crossings.data());
        start = std::clock();
        benchmark::DoNotOptimize(barePass(flat, levels));
        passing += secondsSince(start);
        placing += seconds;
        nodes += static_cast<double>(flat.nodes.size());
        next = (next + 1) % programs.size();
        state.SetIterationTime(seconds);
    }
    state.counters["ns_per_node"] = placing / nodes * 1e9;
    state.counters["nodes_per_s"] = nodes / placing;
    state.counters["of_pass"] = placing / passing;
}
BENCHMARK(BM_placement)
    ->RangeMultiplier(10)
    ->Range(1000, 1000000)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

void BM_flattening(benchmark::State& state) {
    const auto spec = makeFunction(static_cast<int>(state.range(0)), 1);
    std::size_t nodes = 0;
    for (auto _ : state) {
        nodes = flatProgramOf(*spec).nodes.size();
    }
    state.counters["nodes_per_s"] =
        benchmark::Counter(static_cast<double>(nodes), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_flattening)->RangeMultiplier(10)->Range(1000, 1000000)->Unit(benchmark::kMicrosecond);

} // namespace
