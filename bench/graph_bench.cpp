// Sorts, distances and expansion of large graphs. Beside each the same walk over the same graph
// held in flat arrays (offsets and targets), without nodes, lists or maps: the practical limit. The
// counter "of_limit" is the time of the operation over that of the limit, within this run.

#include "shadingdag/ShadingNodeSpec.h"

#include <benchmark/benchmark.h>

#include <ctime>
#include <memory>
#include <optional>
#include <random>
#include <unordered_map>
#include <vector>

using namespace qvShadingDag;

namespace {

constexpr unsigned int kNodes = 1000000;

using OwnedSpec = std::unique_ptr<ShadingNodeSpec>;

ShadingNodeSpec* makeSpec(NodeType kind, const std::string& name, int inputs) {
    ShadingNodeSpec* spec = ShadingNodeSpec::createNew(kind);
    spec->setName(name);
    spec->addOutput(kFloat, "output", CompFreqRange());
    for (int i = 0; i < inputs; ++i) {
        spec->addInput(kFloat, std::string(1, static_cast<char>('a' + i)), CompFreqRange());
    }
    return spec;
}

void declareOnce() {
    if (!ShadingNodeSpec::findSpecInLibrary("op1")) {
        makeSpec(kOperationNode, "op1", 1)->addToLibrary();
        makeSpec(kOperationNode, "op2", 2)->addToLibrary();
        makeSpec(kOperationNode, "op3", 3)->addToLibrary();
    }
}

/// Calls of a primitive, each over the one before it.
ShadingNodeSpec* makeChain() {
    ShadingNodeSpec* spec = makeSpec(kFunctionNode, "chain", 1);
    ShadingAttribute value = spec->input(0);
    for (unsigned int i = 2; i < kNodes; ++i) {
        value = ShadingAttribute(spec->addInternalNode("op1", {value}), "output");
    }
    ShadingNodeSpec::AttributeIterator output;
    ShadingNodeSpec::AttributeIterator last;
    spec->outputs(output, last);
    spec->connectOutput(value, *output);
    return spec;
}

/// Calls of a primitive with three inputs, each over three random earlier values.
ShadingNodeSpec* makeRandom() {
    std::mt19937 random(1);
    ShadingNodeSpec* spec = makeSpec(kFunctionNode, "random", 1);
    std::vector<ShadingAttribute> values{spec->input(0)};
    const auto any = [&] { return values[random() % values.size()]; };
    for (unsigned int i = 2; i < kNodes; ++i) {
        values.emplace_back(spec->addInternalNode("op3", {any(), any(), any()}), "output");
    }
    ShadingNodeSpec::AttributeIterator output;
    ShadingNodeSpec::AttributeIterator last;
    spec->outputs(output, last);
    spec->connectOutput(values.back(), *output);
    return spec;
}

/// A graph without its objects.
struct Flat {
    std::vector<unsigned int> offsets{0};
    std::vector<unsigned int> targets;

    Flat(const ShadingNodeSpec& spec, bool upstream) {
        ShadingNodeSpec::NodeIterator first;
        ShadingNodeSpec::NodeIterator last;
        spec.internalNodes(first, last);
        std::unordered_map<const ShadingNode*, unsigned int> positions;
        for (auto node = first; node != last; ++node) {
            positions.emplace(*node, static_cast<unsigned int>(positions.size()));
        }
        for (auto node = first; node != last; ++node) {
            for (const ShadingLink* link : upstream ? (*node)->incomingLinks() : (*node)->outgoingLinks()) {
                targets.push_back(positions[upstream ? link->sourceNode() : link->destNode()]);
            }
            offsets.push_back(static_cast<unsigned int>(targets.size()));
        }
    }

    unsigned int size() const { return static_cast<unsigned int>(offsets.size() - 1); }

    std::vector<unsigned int> depthFirst() const {
        std::vector<bool> reached(size());
        std::vector<unsigned int> next(offsets.begin(), offsets.end() - 1);
        std::vector<unsigned int> path;
        std::vector<unsigned int> order;
        order.reserve(size());
        for (unsigned int start = 0; start < size(); ++start) {
            if (!reached[start]) {
                reached[start] = true;
                path.push_back(start);
            }
            while (!path.empty()) {
                const unsigned int node = path.back();
                if (next[node] == offsets[node + 1]) {
                    order.push_back(node);
                    path.pop_back();
                } else if (const unsigned int target = targets[next[node]++]; !reached[target]) {
                    reached[target] = true;
                    path.push_back(target);
                }
            }
        }
        return order;
    }

    std::vector<unsigned int> breadthFirst(unsigned int start) const {
        std::vector<unsigned int> distance(size(), ~0U);
        std::vector<unsigned int> queue{start};
        distance[start] = 0;
        for (std::size_t i = 0; i < queue.size(); ++i) {
            for (unsigned int t = offsets[queue[i]]; t < offsets[queue[i] + 1]; ++t) {
                if (distance[targets[t]] == ~0U) {
                    distance[targets[t]] = distance[queue[i]] + 1;
                    queue.push_back(targets[t]);
                }
            }
        }
        return distance;
    }
};

struct Case {
    OwnedSpec spec;
    Flat upstream;
    Flat downstream;

    explicit Case(ShadingNodeSpec* made) : spec(made), upstream(*made, true), downstream(*made, false) {}

    ShadingNode* input() const { return spec->input(0).nodePtr(); }
    unsigned int inputPosition() const { return 1; } // behind the output

    static const Case& chain() {
        declareOnce();
        static const Case made(makeChain());
        return made;
    }
    static const Case& random() {
        declareOnce();
        static const Case made(makeRandom());
        return made;
    }
};

/// The processor time that `action` takes.
double secondsOf(const auto& action) {
    const std::clock_t start = std::clock();
    action();
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

/// Runs both in turn; the time shown is that of `operation`. What they leave behind is destroyed
/// outside of the time.
template <typename Operation, typename Limit>
void compare(benchmark::State& state, const Operation& operation, const Limit& limit) {
    double operationTime = 0;
    double limitTime = 0;
    for ([[maybe_unused]] auto iteration : state) {
        std::optional<decltype(operation())> result;
        const double seconds = secondsOf([&] { result.emplace(operation()); });
        benchmark::DoNotOptimize(result);
        state.SetIterationTime(seconds);
        operationTime += seconds;
        limitTime += secondsOf([&] { benchmark::DoNotOptimize(limit()); });
    }
    state.counters["of_limit"] = operationTime / limitTime;
}

using Order = std::list<ShadingNode*>;
using Distances = std::map<ShadingNode*, unsigned int>;

/// "list_of_limit" is the part of the result: filling a list with as many pointers. The block in
/// front makes the allocator collect what the list before it left, as the operation's blocks do.
void fastTopoSort(benchmark::State& state, const Case& (*graph)()) {
    const Case& made = graph();
    double listTime = 0;
    compare(
        state,
        [&] {
            Order order;
            made.spec->fastTopoSort(&order, true);
            return order;
        },
        [&] { return made.upstream.depthFirst(); });
    for (int i = 0; i < 10; ++i) {
        Order order;
        listTime += secondsOf([&] {
            ::operator delete(::operator new(kNodes * sizeof(unsigned int)));
            for (unsigned int n = 0; n < kNodes; ++n) {
                order.push_back(nullptr);
            }
        });
    }
    const double limitTime = secondsOf([&] {
        for (int i = 0; i < 10; ++i) {
            benchmark::DoNotOptimize(made.upstream.depthFirst());
        }
    });
    state.counters["list_of_limit"] = listTime / limitTime;
}

void optimalTopoSort(benchmark::State& state, const Case& (*graph)()) {
    const Case& made = graph();
    Distances distance;
    made.spec->computeDistance(made.input(), distance, false);
    compare(
        state,
        [&] {
            Order order;
            made.spec->optimalTopoSort(distance, &order);
            return order;
        },
        [&] { return made.upstream.depthFirst(); });
}

void computeDistance(benchmark::State& state, const Case& (*graph)()) {
    const Case& made = graph();
    compare(
        state,
        [&] {
            Distances distance;
            made.spec->computeDistance(made.input(), distance, false);
            return distance;
        },
        [&] { return made.downstream.breadthFirst(made.inputPosition()); });
}

void computeDeepestChildrenDistance(benchmark::State& state, const Case& (*graph)()) {
    const Case& made = graph();
    Distances distance;
    made.spec->computeDistance(made.input(), distance, false);
    compare(
        state,
        [&] {
            Distances deepest;
            made.spec->computeDeepestChildrenDistance(made.input(), distance, deepest, false);
            return deepest;
        },
        [&] { return made.downstream.depthFirst(); });
}

BENCHMARK_CAPTURE(fastTopoSort, chain, Case::chain)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(fastTopoSort, random, Case::random)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(optimalTopoSort, chain, Case::chain)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(optimalTopoSort, random, Case::random)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(computeDistance, chain, Case::chain)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(computeDistance, random, Case::random)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(computeDeepestChildrenDistance, random, Case::random)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

/// Calls of a function of fifty nodes, each over the one before it; the limit copies the body's flat
/// arrays as often. "ns_per_call" is the same for every count as long as the cost is linear.
void expandFunctionCalls(benchmark::State& state) {
    declareOnce();
    if (!ShadingNodeSpec::findSpecInLibrary("fifty")) {
        ShadingNodeSpec* fifty = makeSpec(kFunctionNode, "fifty", 1);
        std::mt19937 random(2);
        std::vector<ShadingAttribute> values{fifty->input(0)};
        const auto any = [&] { return values[random() % values.size()]; };
        for (int i = 0; i < 48; ++i) {
            values.emplace_back(fifty->addInternalNode("op2", {any(), any()}), "output");
        }
        ShadingNodeSpec::AttributeIterator output;
        ShadingNodeSpec::AttributeIterator last;
        fifty->outputs(output, last);
        fifty->connectOutput(values.back(), *output);
        fifty->addToLibrary();
    }
    const Flat body(*ShadingNodeSpec::findSpecInLibrary("fifty"), true);
    const OwnedSpec nested(makeSpec(kFunctionNode, "nested", 1));
    ShadingAttribute value = nested->input(0);
    for (int i = 0; i < state.range(0); ++i) {
        value = ShadingAttribute(nested->addInternalNode("fifty", {value}), "output");
    }
    double seconds = 0;
    double limitSeconds = 0;
    for ([[maybe_unused]] auto iteration : state) {
        const OwnedSpec expanded(nested->clone());
        const double time = secondsOf([&] { expanded->expandFunctionCalls(); });
        state.SetIterationTime(time);
        seconds += time;
        limitSeconds += secondsOf([&] {
            Flat copies = body;
            for (int i = 1; i < state.range(0); ++i) {
                const unsigned int base = copies.size();
                for (const unsigned int position : body.depthFirst()) {
                    for (unsigned int t = body.offsets[position]; t < body.offsets[position + 1]; ++t) {
                        copies.targets.push_back(base + body.targets[t]);
                    }
                    copies.offsets.push_back(static_cast<unsigned int>(copies.targets.size()));
                }
            }
            benchmark::DoNotOptimize(copies.targets.data());
        });
    }
    state.counters["of_limit"] = seconds / limitSeconds;
    state.counters["ns_per_call"] =
        1e9 * seconds / (static_cast<double>(state.iterations()) * static_cast<double>(state.range(0)));
}

BENCHMARK(expandFunctionCalls)
    ->Arg(1000)
    ->Arg(2000)
    ->Arg(5000)
    ->Arg(10000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
