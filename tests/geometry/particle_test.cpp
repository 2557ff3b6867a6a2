#include "MemberTable.h"
#include "counted_data.h"
#include "geometry/ParticleDataIterator.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <tuple>

using qvLinear::ProjMatrix;

namespace {

struct Unref {
    void operator()(qvSharedObject* object) const { object->unref(); }
};
using Particles = std::unique_ptr<ParticleData, Unref>;
using Numbers = std::vector<unsigned int>;

/// The five arrays of a set: positions, velocities, normals, colours of four floats, alphas.
struct Arrays {
    Arrays(const std::vector<float>& depths, unsigned int velocities) {
        for (int i = 0; i < 5; ++i) {
            const auto count = i == 0 ? static_cast<unsigned int>(depths.size()) : velocities;
            data[i] = referenced(new CountedData("array", GeometryData::kUserData, count,
                                                 GeometryData::ElementSize(i == 3   ? 4
                                                                           : i == 4 ? 1
                                                                                    : 3)));
        }
        for (std::size_t i = 0; i < depths.size(); ++i) {
            static_cast<float*>(data[0]->data())[3 * i + 2] = depths[i];
        }
    }
    ~Arrays() {
        for (CountedData* array : data) {
            array->unref();
        }
    }
    Arrays(const Arrays&) = delete;
    Arrays& operator=(const Arrays&) = delete;

    Particles particles(ParticleData::ParticleType type = ParticleData::kPoint) const {
        return Particles(
            referenced(new ParticleData(type, 1.5F, *data[0], *data[1], data[2], data[3], data[4])));
    }
    /// The element of an array at which an address points; -1 for null.
    std::ptrdiff_t element(int array, const void* address) const {
        const auto* base = static_cast<const float*>(data[array]->data());
        return address ? (static_cast<const float*>(address) - base) / data[array]->elementSize() : -1;
    }

    std::array<CountedData*, 5> data;
};

Numbers walk(ParticleDataIterator it) {
    Numbers numbers;
    for (it.reset(); !it.isDone(); it.next()) {
        numbers.push_back(it.index());
    }
    EXPECT_EQ(numbers.size(), it.count());
    it.next();
    it.index(); // behind the end: nothing is read
    return numbers;
}

TEST(ParticleData, NumbersItsArrays) {
    auto* positions = referenced(new CountedData("positions"));
    auto* colors = referenced(new CountedData("colors"));
    auto* alphas = referenced(new CountedData("alphas"));
    const Particles particles(referenced(
        new ParticleData(ParticleData::kSprite, 1, *positions, *positions, nullptr, nullptr, alphas)));
    EXPECT_EQ(positions->refCount(), 3);
    EXPECT_EQ(alphas->refCount(), 2);
    particles->addData(*colors); // takes over our reference
    EXPECT_EQ(colors->refCount(), 1);
    const GeometryData* const expected[] = {positions, positions, alphas, colors, nullptr};
    for (unsigned int i = 0; i < 5; ++i) {
        EXPECT_EQ(particles->getData(i), expected[i]) << i;
    }
    const std::pair<const char*, int> names[] = {{"colors", 3}, {"positions", 0}, {"alphas", 2},
                                                 {"color", -1}, {"colors2", -1},  {"", -1}};
    for (const auto& [name, number] : names) {
        EXPECT_EQ(particles->getDataIndex(name), number) << name;
    }
    const ParticleDataIterator it(*particles, nullptr, 0);
    EXPECT_EQ(it.normal(), nullptr);
    EXPECT_EQ(it.color(), nullptr);
    EXPECT_EQ(it.alpha(), nullptr); // no colours
    EXPECT_EQ(it.alphaData(), alphas->data());
    const Particles opaque(referenced(
        new ParticleData(ParticleData::kSprite, 1, *positions, *positions, positions, positions, nullptr)));
    EXPECT_EQ(ParticleDataIterator(*opaque, nullptr, 0).alpha(), nullptr); // no alphas
    positions->unref();
    alphas->unref();
}

/// Made over the arrays of the test that runs.
class TestParticles : public ParticleData {
public:
    TestParticles() : ParticleData(kTube, 1.5F, *fsData[0], *fsData[1], nullptr, nullptr, nullptr) {}
    static inline std::array<CountedData*, 5> fsData;
};

TEST(ParticleData, CopiesStandOnTheirOwn) {
    {
        const Arrays fresh({0, 0}, 2);
        TestParticles::fsData = fresh.data;
        const Arrays first({3, 1, 2}, 3), second({9, 5, 7, 6}, 4);
        Particles sources[3] = {nullptr, first.particles(ParticleData::kSprite),
                                second.particles(ParticleData::kStreak)};
        const unsigned int chosen[] = {0, 3, 1};
        sources[1]->sortByDepth(ProjMatrix(), nullptr, 0);
        sources[2]->sortByDepth(ProjMatrix(), chosen, 3);
        const auto tell = [&](TestParticles& p, int i) {
            static_cast<ParticleData&>(p) = *sources[i];
            const float rgba[] = {0.25F, 0.5F * static_cast<float>(i), 0.75F, 0};
            p.setColor(rgba);
            p.setColor(nullptr);
            p.setSize(2.5F * static_cast<float>(i));
            p.setBlendType(ParticleData::ParticleBlend(i));
            p.setWantDepthSort(i == 1);
            p.setDrawType(GeometryDataIndex::DrawPrimitiveType(i + 3));
            p.setName(std::string(static_cast<std::size_t>(i), 'n'));
        };
        const auto arrays = [](const ParticleData& p) {
            const ParticleDataIterator it(p, nullptr, 0);
            return std::array{it.positionData(), it.velocityData(), it.normalData(), it.colorData(),
                              it.alphaData()};
        };
        const auto told = [](const ParticleData& p) {
            ParticleDataIterator it(p, nullptr, 0);
            it.useParticleDataFilter();
            return std::tuple(int(p.particleType()), walk(it), p.isSortedByDepth(), p.getIndexCount(),
                              p.size(), int(p.blendType()), p.wantDepthSort(),
                              std::vector<float>(p.color(), p.color() + 4), int(p.drawType()), p.name());
        };
        MemberTable<TestParticles, Unref> m;
        m.add("members", tell, told);
        m.add(
            "arrays", [](auto&, int) {}, arrays);
        m.checkCopies();
        m.checkAssignments();
        EXPECT_EQ(told(*m.make(0)),
                  std::tuple(6, Numbers(), false, 0U, 1.5F, 0, false, std::vector<float>(4, 1.0F), 1, ""));
        for (int i : {1, 2}) {
            const auto target = m.make(3 - i);
            static_cast<ParticleData&>(*target) = *sources[i];
            EXPECT_EQ(told(*target), told(*sources[i]));
            EXPECT_EQ(arrays(*target), arrays(*sources[i]));
        }
        sources[1]->ref();
        const auto target = m.make(2);
        static_cast<ParticleData&>(*target) = *sources[1];
        EXPECT_EQ(target->refCount(), 2); // copied along
        target->unref();
        sources[1]->unref();
    }
    EXPECT_EQ(CountedData::fsAlive, 0);
}

// One iterator walks the order as it stands, whatever becomes of it.
TEST(ParticleData, SortsByDepth) {
    const Arrays arrays({4, 2, 3, 1}, 4);
    const Particles particles = arrays.particles();
    ParticleDataIterator it(*particles, nullptr, 0);
    EXPECT_EQ(walk(it), (Numbers{0, 1, 2, 3}));
    it.useParticleDataFilter();
    EXPECT_EQ(walk(it), (Numbers{}));
    const struct {
        const char* what;
        double scale;
        bool ofTheOrder;
        Numbers chosen;
        Numbers order;
    } rows[] = {
        {"all", 1, false, {}, {3, 1, 2, 0}},
        {"in the order so far", -1, true, {3, 1, 2, 0}, {3, 2, 1, 0}},
        {"some", 1, false, {0, 3}, {1, 0}}, // positions in the chosen indices
        {"more than there are", 1, false, {0, 1, 2, 3, 0, 1}, {3, 1, 5, 2}},
        {"all again", -1, false, {}, {0, 2, 1, 3}},
    };
    for (const auto& row : rows) {
        const Numbers chosen = row.chosen;
        particles->sortByDepth(ProjMatrix(row.scale),
                               row.ofTheOrder   ? particles->getIndexing()
                               : chosen.empty() ? nullptr
                                                : chosen.data(),
                               static_cast<unsigned int>(chosen.size()));
        EXPECT_TRUE(particles->isSortedByDepth()) << row.what;
        EXPECT_EQ(particles->getIndexCount(), 4U) << row.what;
        EXPECT_EQ(walk(it), row.order) << row.what;
        for (it.reset(); !it.isDone(); it.next()) { // a number that no position has is the last one
            EXPECT_EQ(arrays.element(0, it.position()), std::min(it.index(), 3U)) << row.what;
        }
        const unsigned int* order = particles->getIndexing();
        ParticleDataIterator other(*particles, order, 4);
        EXPECT_EQ(walk(other), row.order) << row.what;
        other.reset(*particles, order, 1);
        EXPECT_EQ(walk(other), Numbers{row.order[0]}) << row.what;
        other.setFilter(order, 2);
        EXPECT_EQ(walk(other), (Numbers{row.order[0], row.order[1]})) << row.what;
    }
    const unsigned int none[] = {0};
    particles->sortByDepth(ProjMatrix(), none, 0);
    EXPECT_FALSE(particles->isSortedByDepth());
    EXPECT_EQ(particles->getIndexing(), nullptr);
    EXPECT_EQ(particles->getIndexCount(), 4U);
    EXPECT_EQ(walk(it), (Numbers{}));
    particles->sortByDepth(ProjMatrix(), nullptr, 0);
    particles->removeSortByDepth();
    EXPECT_FALSE(particles->isSortedByDepth());
    EXPECT_EQ(particles->getIndexing(), nullptr);
    EXPECT_EQ(particles->getIndexCount(), 0U);
    EXPECT_EQ(walk(it), (Numbers{}));
}

TEST(ParticleData, RefusesPositionsThatItCannotSort) {
    auto* velocities = referenced(new CountedData("velocities"));
    const struct {
        GeometryData::ElementType type;
        int size;
        unsigned int count;
        void* data;
        bool sorts;
    } rows[] = {
        {GeometryData::kFloatElement, 2, 4, new float[8], false},
        {GeometryData::kFloatElement, 3, 4, new float[12](), true},
        {GeometryData::kShortElement, 5, 4, new short[20], false},
        {GeometryData::kShortElement, 6, 4, new short[24](), true},
        {GeometryData::kDoubleElement, 1, 4, new double[4], false},
        {GeometryData::kDoubleElement, 2, 3, new double[6](), true}, // not read as doubles, but all there
        {GeometryData::kFloatElement, 3, 4, nullptr, false},
        {GeometryData::kFloatElement, 3, 0, nullptr, false},
    };
    for (const auto& row : rows) {
        auto* positions =
            referenced(new GeometryData("", GeometryData::kVertexData, row.type,
                                        GeometryData::ElementSize(row.size), row.count, row.data));
        const Particles particles(referenced(
            new ParticleData(ParticleData::kPoint, 1, *positions, *velocities, nullptr, nullptr, nullptr)));
        positions->unref();
        particles->sortByDepth(ProjMatrix(), nullptr, 0);
        EXPECT_EQ(particles->isSortedByDepth(), row.sorts) << row.type << " " << row.size;
        EXPECT_EQ(particles->getIndexing() != nullptr, row.sorts);
        EXPECT_EQ(particles->getIndexCount(), row.count);
    }
    velocities->unref();
}

TEST(ParticleDataIterator, WalksFilters) {
    const Arrays arrays({4, 2, 3, 1}, 4);
    const Particles particles = arrays.particles();
    const unsigned int filter[] = {3, 0};
    ParticleDataIterator it(*particles, filter, 2);
    EXPECT_EQ(walk(it), (Numbers{3, 0}));
    for (std::ptrdiff_t p : {3, 0}) {
        const void* const addresses[] = {it.position(), it.velocity(), it.normal(), it.color(), it.alpha()};
        for (int array = 0; array < 5; ++array) {
            EXPECT_EQ(arrays.element(array, addresses[array]), p) << array;
            EXPECT_EQ(it.userData(static_cast<unsigned int>(array)), addresses[array]) << array;
        }
        EXPECT_EQ(it.userData(5), nullptr);
        it.next();
    }
    const void* const bases[] = {it.positionData(), it.velocityData(), it.normalData(), it.colorData(),
                                 it.alphaData()};
    for (int array = 0; array < 5; ++array) {
        EXPECT_EQ(bases[array], arrays.data[array]->data()) << array;
    }
    it.setFilter(filter, 1);
    EXPECT_EQ(walk(it), (Numbers{3}));
    it.setFilter(nullptr, 5);
    EXPECT_EQ(walk(it), (Numbers{}));
    it.reset(*particles, nullptr, 5);
    EXPECT_EQ(walk(it), (Numbers{0, 1, 2, 3}));
}

TEST(ParticleDataIterator, SeveralPositionsPerParticle) {
    const unsigned int filter[] = {1};
    const struct {
        unsigned int positions, velocities, multiple;
        Numbers walk;         // with a filter of one particle
        Numbers ownWalk;      // through the own order, which is from behind
        Numbers ownParticles; // whose the attributes are
    } rows[] = {
        {6, 3, 2, {1, 1, 2}, {5, 4, 3, 2, 1, 0}, {2, 2, 1, 1, 0, 0}},
        {7, 2, 3, {1, 1}, {6, 5, 4, 3, 2, 1, 0}, {1, 1, 1, 1, 0, 0, 0}}, // one is left over
        {2, 4, 0, {1, 1, 2, 3}, {1, 0}, {1, 0}},
        {3, 0, 1, {}, {}, {}},
    };
    for (const auto& row : rows) {
        std::vector<float> depths;
        for (unsigned int i = 0; i < row.positions; ++i) {
            depths.push_back(-float(i));
        }
        for (ParticleData::ParticleType type : {ParticleData::kMultiPoint, ParticleData::kMultiStreak}) {
            const Arrays arrays(depths, row.velocities);
            const Particles particles = arrays.particles(type);
            ParticleDataIterator it(*particles, filter, 1);
            EXPECT_EQ(it.multiCount(), row.multiple);
            EXPECT_EQ(walk(it), row.walk);
            for (; !it.isDone(); it.next()) {
                EXPECT_EQ(arrays.element(0, it.position()), it.index() * row.multiple);
                EXPECT_EQ(arrays.element(0, it.userData(0)), it.index());
                EXPECT_EQ(arrays.element(1, it.velocity()), it.index());
            }
            it.setFilter(filter, 1);
            EXPECT_EQ(walk(it), Numbers{1});

            particles->sortByDepth(ProjMatrix(), nullptr, 0);
            ParticleDataIterator handed(*particles, particles->getIndexing(), particles->getIndexCount());
            EXPECT_EQ(handed.count(), row.velocities);
            it.useParticleDataFilter();
            EXPECT_EQ(walk(it), row.ownWalk);
            std::size_t step = 0;
            for (it.reset(); !it.isDone(); it.next(), handed.next(), ++step) {
                const void* const addresses[] = {it.velocity(), it.normal(), it.color(), it.alpha()};
                EXPECT_EQ(arrays.element(0, it.position()), row.ownWalk[step]);
                EXPECT_EQ(it.userData(0), it.position());
                for (int array = 1; array < 5; ++array) {
                    EXPECT_EQ(arrays.element(array, addresses[array - 1]), row.ownParticles[step]);
                    EXPECT_EQ(it.userData(static_cast<unsigned int>(array)), addresses[array - 1]);
                }
                EXPECT_EQ(handed.position(), it.position());
                EXPECT_EQ(handed.color(), it.color());
            }
            it.setFilter(particles->getIndexing(), 1);
            EXPECT_EQ(walk(it), Numbers(row.ownWalk.begin(), row.ownWalk.begin() + !row.ownWalk.empty()));
            particles->sortByDepth(ProjMatrix(), filter, 1); // one entry
            handed.useParticleDataFilter();
            EXPECT_EQ(walk(handed), row.velocities ? Numbers{0} : Numbers());
            handed.reset(*particles, particles->getIndexing(), 1);
            particles->removeSortByDepth();
            EXPECT_TRUE(handed.isDone() && it.isDone());

            const Particles plain = arrays.particles(); // of another type
            it.reset(*plain, nullptr, 0);
            EXPECT_EQ(it.count(), row.positions);
            EXPECT_EQ(it.multiCount(), 1U);
        }
    }
}

} // namespace
