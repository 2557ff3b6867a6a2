#include "AllocationSweep.h"
#include "geometry/DepthSorter.h"
#include "geometry/GeometryLogicalGroup.h"
#include "geometry/ParticleData.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <numeric>

using qvLinear::ProjMatrix;

namespace {

constexpr unsigned int kCount = 300; // more than the depth sorter keeps on the stack

/// As `new` makes one, without losing the storage when the constructor throws.
template <class Shared>
Shared* make(const std::function<Shared*(void*)>& construct) {
    void* const storage = ::operator new(sizeof(Shared));
    try {
        Shared* const made = construct(storage);
        made->ref();
        return made;
    } catch (...) {
        ::operator delete(storage);
        throw;
    }
}
template <class Shared>
Shared* copyOf(const Shared& source) {
    auto* const copy = make<Shared>([&](void* p) { return new (p) Shared(source); });
    while (copy->refCount() > 1) { // the source's came along
        copy->unref();
    }
    return copy;
}

using Arrays = std::vector<const GeometryData*>;

GeometryData* makeData(const char* name) {
    return make<GeometryData>([=](void* p) {
        return new (p) GeometryData(name, GeometryData::kVertexData, GeometryData::kFloatElement,
                                    GeometryData::kThreeElements, kCount, new float[3 * kCount]());
    });
}
GeometryDataIndex* makeIndex(const Arrays& data) {
    return make<GeometryDataIndex>([&](void* p) {
        return new (p) GeometryDataIndex(GeometryDataIndex::kLines, 2, data, new unsigned int[2]{0, 1});
    });
}
ParticleData* makeParticles(GeometryData* positions, GeometryData* velocities, GeometryData* others) {
    return make<ParticleData>([=](void* p) {
        return new (p)
            ParticleData(ParticleData::kPoint, 1, *positions, *velocities, nullptr, others, others);
    });
}

struct Unref {
    void operator()(qvSharedObject* object) const { object->unref(); }
};
template <class Shared>
using Owned = std::unique_ptr<Shared, Unref>;

/// One of everything, with names too long to be kept without memory.
struct Scene {
    Scene() {
        for (unsigned int i = 0; i < kCount; ++i) {
            static_cast<float*>(positions->data())[3 * i + 2] = static_cast<float>(i * 7 % kCount);
        }
        particles->sortByDepth(ProjMatrix(), nullptr, 0);
    }
    ~Scene() {
        particles->unref();
        for (GeometryData* data : {positions, velocities, colors}) {
            data->unref();
        }
    }
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    /// What must be as before when memory runs out.
    std::vector<std::string> state() const {
        std::vector<std::string> lines = {positions->name(), particles->name(), index->name(), group.name()};
        for (const qvSharedObject* object :
             std::initializer_list<qvSharedObject*>{positions, velocities, colors, index, particles}) {
            lines.push_back(std::to_string(object->refCount()));
        }
        lines.push_back(std::to_string(group.dataArrays().size() + 10 * index->dataPtrArrayPtr()->size()));
        lines.push_back(std::to_string(index->indicesCount()) + " of " + std::to_string(index->uniqueID()));
        lines.push_back(particles->getData(4) ? "more" : "");
        return lines;
    }

    GeometryData* positions = makeData("positions that have a name of some length");
    GeometryData* velocities = makeData("velocities that have a name of some length");
    GeometryData* colors = makeData("colors that have a name of some length");
    GeometryDataIndex* index = makeIndex({positions});
    GeometryLogicalGroup group{"a group that has a name of some length", {}, {index}};
    ParticleData* particles =
        makeParticles(positions, velocities, colors); // four arrays, which fill their vector
};

TEST(GeometryMemory, NothingIsLostWhenItRunsOut) {
    const struct {
        const char* name;
        std::function<void(Scene&)> action;
    } rows[] = {
        {"make an array", [](Scene&) { makeData("an array that has a name of some length")->unref(); }},
        {"copy an array", [](Scene& s) { copyOf(*s.positions)->unref(); }},
        {"assign an array",
         [](Scene& s) {
             const Owned<GeometryData> target(makeData("short"));
             *target = *s.positions;
             target->unref(); // the second of the references that came along
         }},
        {"make an index array", [](Scene& s) { makeIndex({s.colors})->unref(); }},
        {"copy an index array", [](Scene& s) { copyOf(*s.index)->unref(); }},
        {"assign an index array", [](Scene& s) { *Owned<GeometryDataIndex>(makeIndex({})) = *s.index; }},
        {"make a group",
         [](Scene& s) {
             const GeometryLogicalGroup group("a group that has a name of some length", {s.positions}, {});
             s.positions->ref(); // what the group took over
         }},
        {"copy a group", [](Scene& s) { const GeometryLogicalGroup copy(s.group); }},
        {"assign a group", [](Scene& s) { GeometryLogicalGroup(nullptr, {}, {}) = s.group; }},
        {"append to a group", [](Scene& s) { s.group.appendData(s.colors), s.colors->ref(); }},
        {"make particles", [](Scene& s) { makeParticles(s.positions, s.colors, s.colors)->unref(); }},
        {"copy particles", [](Scene& s) { copyOf(*s.particles)->unref(); }},
        {"assign particles",
         [](Scene& s) {
             *Owned<ParticleData>(makeParticles(s.velocities, s.colors, nullptr)) = *s.particles;
         }},
        {"add to particles", [](Scene& s) { s.particles->addData(*s.colors), s.colors->ref(); }},
    };
    for (const auto& row : rows) {
        int refused = 0;
        for (AllocationSweep sweep; sweep.next();) {
            Scene scene;
            const std::vector<std::string> before = scene.state();
            if (!sweep.run([&] { row.action(scene); })) {
                ++refused;
                EXPECT_EQ(scene.state(), before) << row.name;
            }
        }
        EXPECT_GT(refused, 0) << row.name;
    }
}

TEST(GeometryMemory, SortsThatGetNoneLeaveNoOrder) {
    for (unsigned int count : {kCount, 9000U}) {
        std::vector<float> points(3 * std::size_t(count));
        for (unsigned int i = 0; i < count; ++i) {
            points[3 * std::size_t(i) + 2] = static_cast<float>(i * 7 % count) / 3;
        }
        std::vector<unsigned int> before(count);
        std::iota(before.begin(), before.end(), 5U);
        int refused = 0;
        for (AllocationSweep sweep; sweep.next();) {
            std::vector<unsigned int> order = before;
            bool sorted = true;
            EXPECT_TRUE(sweep.run([&] {
                sorted =
                    DepthSorter::sortByDepth(ProjMatrix(), order.data(), count, points.data(), nullptr, 0);
            }));
            refused += sorted ? 0 : 1;
            EXPECT_EQ(order == before, !sorted);

            Scene scene;
            EXPECT_TRUE(sweep.run([&] { scene.particles->sortByDepth(ProjMatrix(-1.0), nullptr, 0); }));
            EXPECT_EQ(scene.particles->isSortedByDepth(), scene.particles->getIndexing() != nullptr);
            EXPECT_EQ(scene.particles->getIndexCount(), kCount);
        }
        EXPECT_GT(refused, 0);
    }
}

} // namespace
