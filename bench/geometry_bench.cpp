// Culling, depth sorting and walking, each beside what a host would write by hand.

#include "geometry/AABoundingBox.h"
#include "geometry/BoundingSphere.h"
#include "geometry/DepthSorter.h"
#include "geometry/GeometryDataIterator.h"
#include "geometry/ParticleDataIterator.h"
#include "resources/IHWCamera.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <numeric>
#include <random>
#include <vector>

using qvLinear::PointFlt;
using qvLinear::ProjMatrix;

namespace {

// ---- Culling: 1,000,000 volumes around a camera, of which it sees a part --------------------------

constexpr unsigned int kVolumes = 1000000;

struct PlainBox {
    float min[3], max[3];
};
struct PlainSphere {
    float center[3], radius;
};
struct PlainPlane {
    double a, b, c, d;
};

struct Scene {
    IHWCamera camera;
    PlainPlane planes[6];
    std::vector<AABoundingBox> boxes;
    std::vector<BoundingSphere> spheres;
    std::vector<PlainBox> plainBoxes;
    std::vector<PlainSphere> plainSpheres;

    Scene() {
        camera.setPerspective(60, 1.5, 1, 200);
        const ProjMatrix& m = camera.projMatrix();
        for (unsigned int i = 0; i < 6; ++i) {
            const double sign = i % 2 ? 1 : -1;
            double p[4];
            for (unsigned int r = 0; r < 4; ++r) {
                p[r] = m(r, 3) + sign * m(r, i / 2);
            }
            const double length = std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
            planes[i] = {p[0] / length, p[1] / length, p[2] / length, p[3] / length};
        }
        std::mt19937 random(1);
        std::uniform_real_distribution<float> place(-100, 100), extent(0.1F, 5);
        for (unsigned int i = 0; i < kVolumes; ++i) {
            const float x = place(random), y = place(random), z = place(random) - 50;
            const float dx = extent(random), dy = extent(random), dz = extent(random);
            boxes.emplace_back(PointFlt(x, y, z), PointFlt(x + dx, y + dy, z + dz));
            plainBoxes.push_back({{x, y, z}, {x + dx, y + dy, z + dz}});
            spheres.emplace_back(PointFlt(x, y, z), dx);
            plainSpheres.push_back({{x, y, z}, dx});
        }
    }
};

Scene& scene() {
    static Scene instance;
    return instance;
}

/// The corner farthest along the normal, and out at the first plane that has it behind.
bool plainSees(const PlainPlane (&planes)[6], const PlainBox& box) {
    for (const PlainPlane& p : planes) {
        const double x = p.a > 0 ? box.max[0] : box.min[0];
        const double y = p.b > 0 ? box.max[1] : box.min[1];
        const double z = p.c > 0 ? box.max[2] : box.min[2];
        if (p.a * x + p.b * y + p.c * z + p.d <= 0) {
            return false;
        }
    }
    return true;
}

bool branchFreeSees(const PlainPlane (&planes)[6], const PlainBox& box) {
    bool sees = true;
    for (const PlainPlane& p : planes) {
        const double x = std::max(p.a * box.min[0], p.a * box.max[0]);
        const double y = std::max(p.b * box.min[1], p.b * box.max[1]);
        const double z = std::max(p.c * box.min[2], p.c * box.max[2]);
        sees &= x + y + z + p.d > 0;
    }
    return sees;
}

bool plainSees(const PlainPlane (&planes)[6], const PlainSphere& s) {
    for (const PlainPlane& p : planes) {
        if (p.a * s.center[0] + p.b * s.center[1] + p.c * s.center[2] + p.d <= -double(s.radius)) {
            return false;
        }
    }
    return true;
}

bool branchFreeSees(const PlainPlane (&planes)[6], const PlainSphere& s) {
    bool sees = true;
    for (const PlainPlane& p : planes) {
        sees &= p.a * s.center[0] + p.b * s.center[1] + p.c * s.center[2] + p.d > -double(s.radius);
    }
    return sees;
}

template <class Volume, class Sees>
void cull(benchmark::State& state, const std::vector<Volume>& volumes, Sees sees) {
    unsigned int seen = 0;
    for (auto _ : state) {
        seen = 0;
        for (const Volume& volume : volumes) {
            seen += sees(volume);
        }
        benchmark::DoNotOptimize(seen);
    }
    state.counters["seen"] = seen;
    state.SetItemsProcessed(state.iterations() * kVolumes);
}

void cullBoxes(benchmark::State& state) {
    const Scene& s = scene();
    cull(state, s.boxes, [&](const AABoundingBox& box) { return s.camera.intersects(box); });
}
void cullBoxesPlain(benchmark::State& state) {
    const Scene& s = scene();
    cull(state, s.plainBoxes, [&](const PlainBox& box) { return plainSees(s.planes, box); });
}
void cullBoxesBranchFree(benchmark::State& state) {
    const Scene& s = scene();
    cull(state, s.plainBoxes, [&](const PlainBox& box) { return branchFreeSees(s.planes, box); });
}
void cullSpheres(benchmark::State& state) {
    const Scene& s = scene();
    cull(state, s.spheres, [&](const BoundingSphere& sphere) { return s.camera.intersects(sphere); });
}
void cullSpheresPlain(benchmark::State& state) {
    const Scene& s = scene();
    cull(state, s.plainSpheres, [&](const PlainSphere& sphere) { return plainSees(s.planes, sphere); });
}
void cullSpheresBranchFree(benchmark::State& state) {
    const Scene& s = scene();
    cull(state, s.plainSpheres, [&](const PlainSphere& sphere) { return branchFreeSees(s.planes, sphere); });
}
BENCHMARK(cullBoxes)->Unit(benchmark::kMillisecond);
BENCHMARK(cullBoxesPlain)->Unit(benchmark::kMillisecond);
BENCHMARK(cullBoxesBranchFree)->Unit(benchmark::kMillisecond);
BENCHMARK(cullSpheres)->Unit(benchmark::kMillisecond);
BENCHMARK(cullSpheresPlain)->Unit(benchmark::kMillisecond);
BENCHMARK(cullSpheresBranchFree)->Unit(benchmark::kMillisecond);

// ---- Depth sorting; the second argument: 0 random, 1 nearly sorted ---------------------------------

std::vector<float> makePositions(unsigned int count, bool nearlySorted) {
    std::mt19937 random(2);
    std::uniform_real_distribution<float> place(-100, 100);
    std::vector<float> positions(std::size_t(count) * 3);
    for (float& coordinate : positions) {
        coordinate = place(random);
    }
    if (nearlySorted) { // last frame's order: neighbours have moved past each other
        for (unsigned int i = 0; i < count; ++i) {
            const float step = 200.0F / static_cast<float>(count);
            positions[3 * i + 2] = step * (static_cast<float>(i) + place(random) / 20) - 100;
        }
    }
    return positions;
}

ProjMatrix makeView() {
    qvLinear::AffineMatrix view;
    view.rotate(0.001, qvLinear::Normal(0, 1, 0));
    return ProjMatrix(view);
}

void depthSort(benchmark::State& state) {
    const auto count = static_cast<unsigned int>(state.range(0));
    const std::vector<float> positions = makePositions(count, state.range(1) != 0);
    const ProjMatrix view = makeView();
    std::vector<unsigned int> order(count);
    for (auto _ : state) {
        DepthSorter::sortByDepth(view, order.data(), count, positions.data(), nullptr, 0);
        benchmark::DoNotOptimize(order.data());
    }
}

void depthSortIndexed(benchmark::State& state) {
    const auto count = static_cast<unsigned int>(state.range(0));
    const std::vector<float> positions = makePositions(count, state.range(1) != 0);
    const ProjMatrix view = makeView();
    std::vector<unsigned int> order(count), indices(count);
    std::iota(indices.begin(), indices.end(), 0U);
    if (!state.range(1)) {
        std::shuffle(indices.begin(), indices.end(), std::mt19937(3));
    }
    for (auto _ : state) {
        DepthSorter::sortByDepth(view, order.data(), count, positions.data(), indices.data(), count);
        benchmark::DoNotOptimize(order.data());
    }
}

std::vector<float> makeKeys(const std::vector<float>& positions) {
    const ProjMatrix view = makeView();
    std::vector<float> keys(positions.size() / 3);
    for (std::size_t i = 0; i < keys.size(); ++i) {
        qvLinear::HPoint p(positions[3 * i], positions[3 * i + 1], positions[3 * i + 2], 1);
        view.preMult(p, p);
        keys[i] = static_cast<float>(p.z);
    }
    return keys;
}

// The keys are there already, which the depth sort has to compute.
void stableSortOfIndices(benchmark::State& state) {
    const auto count = static_cast<unsigned int>(state.range(0));
    const std::vector<float> keys = makeKeys(makePositions(count, state.range(1) != 0));
    std::vector<unsigned int> order(count);
    for (auto _ : state) {
        std::iota(order.begin(), order.end(), 0U);
        std::stable_sort(order.begin(), order.end(),
                         [&](unsigned int a, unsigned int b) { return keys[a] < keys[b]; });
        benchmark::DoNotOptimize(order.data());
    }
}

// Three passes over pairs, buffers at hand, keys at hand.
void bareRadixSort(benchmark::State& state) {
    struct Pair {
        std::uint32_t key, index;
    };
    const auto count = static_cast<unsigned int>(state.range(0));
    const std::vector<float> keys = makeKeys(makePositions(count, state.range(1) != 0));
    std::vector<Pair> a(count), b(count);
    std::vector<unsigned int> order(count);
    for (auto _ : state) {
        for (unsigned int i = 0; i < count; ++i) {
            const auto bits = std::bit_cast<std::uint32_t>(keys[i]);
            a[i] = {bits & 0x80000000 ? ~bits : bits | 0x80000000, i};
        }
        for (unsigned int shift = 0; shift < 33; shift += 11) {
            std::uint32_t starts[2049] = {};
            for (const Pair& pair : a) {
                ++starts[(pair.key >> shift & 2047) + 1];
            }
            std::partial_sum(starts, starts + 2049, starts);
            for (const Pair& pair : a) {
                b[starts[pair.key >> shift & 2047]++] = pair;
            }
            std::swap(a, b);
        }
        for (unsigned int i = 0; i < count; ++i) {
            order[i] = a[i].index;
        }
        benchmark::DoNotOptimize(order.data());
    }
}

void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgNames({"points", "nearlySorted"})->Unit(benchmark::kMicrosecond);
    for (int nearlySorted : {0, 1}) {
        for (int count : {100, 1000, 10000, 100000, 1000000}) {
            benchmark->Args({count, nearlySorted});
        }
    }
}
BENCHMARK(depthSort)->Apply(sizes);
BENCHMARK(depthSortIndexed)->Apply(sizes);
BENCHMARK(stableSortOfIndices)->Apply(sizes);
BENCHMARK(bareRadixSort)->Apply(sizes);

// ---- Walking 1,000,000 vertices or particles: positions and colours are summed ---------------------

constexpr unsigned int kElements = 1000000;

GeometryData* makeArray(const char* name, GeometryData::DataType type, GeometryData::ElementSize size) {
    auto* data = new GeometryData(name, type, GeometryData::kFloatElement, size, kElements,
                                  new float[kElements * size]());
    data->ref();
    return data;
}

void walkVertices(benchmark::State& state) {
    auto* points = makeArray("points", GeometryData::kVertexData, GeometryData::kThreeElements);
    auto* colors = makeArray("colors", GeometryData::kColorData, GeometryData::kFourElements);
    auto* indices = new unsigned int[kElements];
    std::iota(indices, indices + kElements, 0U);
    auto* index = new GeometryDataIndex(GeometryDataIndex::kPoints, kElements, {points, colors}, indices);
    index->ref();
    for (auto _ : state) {
        float sum = 0;
        for (GeometryDataIterator it(index, nullptr); !it.isDone(); it.next()) {
            sum += static_cast<const float*>(it.vertex())[2] + static_cast<const float*>(it.color())[0];
        }
        benchmark::DoNotOptimize(sum);
    }
    index->unref();
    colors->unref();
    points->unref();
}

void walkVerticesBare(benchmark::State& state) {
    const std::vector<float> points(kElements * 3), colors(kElements * 4);
    std::vector<unsigned int> indices(kElements);
    std::iota(indices.begin(), indices.end(), 0U);
    for (auto _ : state) {
        float sum = 0;
        for (unsigned int i : indices) {
            sum += points[3 * i + 2] + colors[4 * i];
        }
        benchmark::DoNotOptimize(sum);
    }
}

void walkParticles(benchmark::State& state) {
    auto* positions = makeArray("positions", GeometryData::kVertexData, GeometryData::kThreeElements);
    auto* colors = makeArray("colors", GeometryData::kColorData, GeometryData::kFourElements);
    auto* particles =
        new ParticleData(ParticleData::kPoint, 1, *positions, *positions, nullptr, colors, nullptr);
    particles->ref();
    std::vector<unsigned int> filter(kElements);
    std::iota(filter.begin(), filter.end(), 0U);
    for (auto _ : state) {
        float sum = 0;
        for (ParticleDataIterator it(*particles, filter.data(), kElements); !it.isDone(); it.next()) {
            sum += static_cast<const float*>(it.position())[2] + static_cast<const float*>(it.color())[0];
        }
        benchmark::DoNotOptimize(sum);
    }
    particles->unref();
    colors->unref();
    positions->unref();
}
BENCHMARK(walkVertices)->Unit(benchmark::kMicrosecond);
BENCHMARK(walkParticles)->Unit(benchmark::kMicrosecond);
BENCHMARK(walkVerticesBare)->Unit(benchmark::kMicrosecond);

} // namespace
