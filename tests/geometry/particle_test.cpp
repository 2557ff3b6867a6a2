#include "counted_data.h"
#include "geometry/ParticleDataIterator.h"

#include <gtest/gtest.h>

#include <memory>

using qvLinear::ProjMatrix;

namespace {

struct Unref {
    void operator()(qvSharedObject* object) const { object->unref(); }
};
using Particles = std::unique_ptr<ParticleData, Unref>;

/// Particles at these depths, over arrays that belong to them alone.
Particles particlesAt(const std::vector<float>& depths,
                      ParticleData::ParticleType type = ParticleData::kPoint, unsigned int velocities = 4) {
    const auto count = static_cast<unsigned int>(depths.size());
    auto* positions = referenced(new CountedData("positions", GeometryData::kVertexData, count));
    auto* velocityData = referenced(new CountedData("velocities", GeometryData::kUserData, velocities));
    for (unsigned int i = 0; i < count; ++i) {
        static_cast<float*>(positions->data())[3 * i + 2] = depths[i];
    }
    Particles particles(
        referenced(new ParticleData(type, 1.5F, *positions, *velocityData, nullptr, nullptr, nullptr)));
    positions->unref();
    velocityData->unref();
    return particles;
}

std::vector<unsigned int> walk(ParticleDataIterator& it) {
    std::vector<unsigned int> numbers;
    for (it.reset(); !it.isDone(); it.next()) {
        numbers.push_back(it.index());
    }
    it.next();
    it.index(); // behind the end: nothing is read
    return numbers;
}

using Numbers = std::vector<unsigned int>;

TEST(ParticleData, NumbersItsArrays) {
    auto* positions = referenced(new CountedData("positions"));
    auto* colors = referenced(new CountedData("colors"));
    auto* alphas = referenced(new CountedData("alphas"));
    const Particles particles(referenced(
        new ParticleData(ParticleData::kSprite, 1, *positions, *positions, nullptr, nullptr, alphas)));
    EXPECT_EQ(positions->refCount(), 3);
    EXPECT_EQ(particles->getData(0), positions);
    EXPECT_EQ(particles->getData(1), positions);
    EXPECT_EQ(particles->getData(2), alphas);
    EXPECT_EQ(particles->getData(3), nullptr);
    particles->addData(*colors); // takes over our reference
    EXPECT_EQ(particles->getDataIndex("colors"), 3);
    EXPECT_EQ(particles->getDataIndex("positions"), 0);
    for (const char* name : {"color", "colors2", ""}) {
        EXPECT_EQ(particles->getDataIndex(name), -1) << name;
    }
    positions->unref();
    alphas->unref();
}

TEST(ParticleData, StoresWhatItIsTold) {
    const Particles particles = particlesAt({1});
    EXPECT_EQ(particles->particleType(), ParticleData::kPoint);
    EXPECT_EQ(particles->size(), 1.5F);
    EXPECT_EQ(particles->blendType(), 0);
    EXPECT_FALSE(particles->wantDepthSort());
    EXPECT_EQ(particles->drawType(), GeometryDataIndex::kPoints);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(particles->color()[i], 1);
    }
    const float rgba[] = {0.1F, 0.2F, 0.3F, 0.4F};
    particles->setColor(rgba);
    particles->setColor(nullptr);
    particles->setSize(3);
    particles->setBlendType(ParticleData::kAdditiveBlend);
    particles->setWantDepthSort(true);
    particles->setDrawType(GeometryDataIndex::kQuads);
    EXPECT_EQ(particles->color()[3], 0.4F);
    EXPECT_EQ(particles->size(), 3);
    EXPECT_EQ(particles->blendType(), ParticleData::kAdditiveBlend);
    EXPECT_TRUE(particles->wantDepthSort());
    EXPECT_EQ(particles->drawType(), GeometryDataIndex::kQuads);
}

TEST(ParticleData, SortsByDepth) {
    const Particles particles = particlesAt({4, 2, 3, 1});
    ParticleDataIterator it(*particles, nullptr, 0);
    EXPECT_EQ(walk(it), (Numbers{0, 1, 2, 3}));
    it.useParticleDataFilter();
    EXPECT_EQ(walk(it), (Numbers{})); // not sorted yet

    particles->sortByDepth(ProjMatrix(), nullptr, 0);
    EXPECT_TRUE(particles->isSortedByDepth());
    EXPECT_EQ(particles->getIndexCount(), 4U);
    it.useParticleDataFilter();
    EXPECT_EQ(walk(it), (Numbers{3, 1, 2, 0}));

    particles->sortByDepth(ProjMatrix(-1.0), particles->getIndexing(), 4);
    it.useParticleDataFilter();
    EXPECT_EQ(walk(it), (Numbers{3, 2, 1, 0})); // in the order so far

    const unsigned int chosen[] = {0, 3};
    particles->sortByDepth(ProjMatrix(), chosen, 2);
    EXPECT_EQ(particles->getIndexCount(), 4U); // of positions
    it.useParticleDataFilter();
    EXPECT_EQ(walk(it), (Numbers{1, 0})); // in the chosen indices
    it.setFilter(particles->getIndexing(), particles->getIndexCount());
    EXPECT_EQ(walk(it), (Numbers{1, 0}));
    it.reset(*particles, particles->getIndexing(), particles->getIndexCount());
    EXPECT_EQ(walk(it), (Numbers{1, 0}));

    const unsigned int many[] = {0, 1, 2, 3, 0, 1};
    particles->sortByDepth(ProjMatrix(), many, 6);
    it.useParticleDataFilter();
    EXPECT_EQ(walk(it).size(), 4U);

    particles->sortByDepth(ProjMatrix(), chosen, 0);
    EXPECT_FALSE(particles->isSortedByDepth());
    EXPECT_EQ(particles->getIndexing(), nullptr);
    EXPECT_EQ(particles->getIndexCount(), 4U);
    particles->sortByDepth(ProjMatrix(), nullptr, 0);
    particles->removeSortByDepth();
    EXPECT_FALSE(particles->isSortedByDepth());
    EXPECT_EQ(particles->getIndexing(), nullptr);
    EXPECT_EQ(particles->getIndexCount(), 0U);
}

TEST(ParticleData, RefusesPositionsThatItCannotSort) {
    auto* velocities = referenced(new CountedData("velocities"));
    const struct {
        GeometryData::ElementType type;
        GeometryData::ElementSize size;
        unsigned int count;
        void* data;
    } rows[] = {
        {GeometryData::kFloatElement, GeometryData::kTwoElements, 4, new float[8]},
        {GeometryData::kShortElement, GeometryData::kFourElements, 4, new short[16]},
        {GeometryData::kDoubleElement, GeometryData::kOneElement, 4, new double[4]},
        {GeometryData::kFloatElement, GeometryData::kThreeElements, 4, nullptr},
        {GeometryData::kFloatElement, GeometryData::kThreeElements, 0, nullptr},
    };
    for (const auto& row : rows) {
        auto* positions = referenced(
            new GeometryData("", GeometryData::kVertexData, row.type, row.size, row.count, row.data));
        const Particles particles(referenced(
            new ParticleData(ParticleData::kPoint, 1, *positions, *velocities, nullptr, nullptr, nullptr)));
        positions->unref();
        particles->sortByDepth(ProjMatrix(), nullptr, 0);
        EXPECT_FALSE(particles->isSortedByDepth());
        EXPECT_EQ(particles->getIndexing(), nullptr);
        EXPECT_EQ(particles->getIndexCount(), row.count);
    }
    velocities->unref();
}

TEST(ParticleData, CopiesStandOnTheirOwn) {
    {
        Particles source = particlesAt({4, 2, 3, 1});
        source->setDrawType(GeometryDataIndex::kLines);
        source->setSize(7);
        source->sortByDepth(ProjMatrix(), nullptr, 0);
        const Particles copy(new ParticleData(*source)); // and its count
        const Particles target = particlesAt({9, 8});
        *target = *copy;
        *target = *static_cast<const ParticleData*>(target.get());
        EXPECT_EQ(CountedData::fsAlive, 2);
        source->setDrawType(GeometryDataIndex::kQuads);
        source.reset();
        for (const ParticleData* particles : {copy.get(), target.get()}) {
            EXPECT_EQ(particles->drawType(), GeometryDataIndex::kLines);
            EXPECT_EQ(particles->size(), 7);
            EXPECT_TRUE(particles->isSortedByDepth());
            ParticleDataIterator it(*particles, nullptr, 0);
            it.useParticleDataFilter();
            EXPECT_EQ(walk(it), (Numbers{3, 1, 2, 0}));
            EXPECT_EQ(static_cast<float*>(it.positionData())[2], 4);
        }
    }
    EXPECT_EQ(CountedData::fsAlive, 0);
}

TEST(ParticleDataIterator, HandsOutTheAttributesOfEachParticle) {
    CountedData* arrays[5];
    const char* names[] = {"positions", "velocities", "normals", "colors", "alphas"};
    for (int i = 0; i < 5; ++i) {
        arrays[i] =
            referenced(new CountedData(names[i], GeometryData::kUserData, 4,
                                       i == 3 ? GeometryData::kFourElements : GeometryData::kThreeElements));
    }
    const auto offset = [&](const void* address, int array) {
        return static_cast<const float*>(address) - static_cast<const float*>(arrays[array]->data());
    };
    const unsigned int filter[] = {2};
    {
        const Particles particles(referenced(new ParticleData(ParticleData::kStreak, 1, *arrays[0],
                                                              *arrays[1], arrays[2], arrays[3], arrays[4])));
        const ParticleDataIterator it(*particles, filter, 1);
        EXPECT_EQ(it.count(), 1U);
        EXPECT_EQ(it.multiCount(), 1U);
        EXPECT_EQ(offset(it.position(), 0), 6);
        EXPECT_EQ(offset(it.velocity(), 1), 6);
        EXPECT_EQ(offset(it.normal(), 2), 6);
        EXPECT_EQ(offset(it.color(), 3), 8);
        EXPECT_EQ(offset(it.alpha(), 4), 2);
        EXPECT_EQ(offset(it.userData(3), 3), 8);
        EXPECT_EQ(offset(it.userData(4), 4), 6);
        EXPECT_EQ(it.userData(5), nullptr);
        EXPECT_EQ(it.velocityData(), arrays[1]->data());
        EXPECT_EQ(it.normalData(), arrays[2]->data());
        EXPECT_EQ(it.colorData(), arrays[3]->data());
        EXPECT_EQ(it.alphaData(), arrays[4]->data());
    }
    {
        const Particles particles(referenced(
            new ParticleData(ParticleData::kPoint, 1, *arrays[0], *arrays[1], nullptr, nullptr, arrays[4])));
        const ParticleDataIterator it(*particles, nullptr, 0);
        EXPECT_EQ(it.normal(), nullptr);
        EXPECT_EQ(it.color(), nullptr);
        EXPECT_EQ(it.alpha(), nullptr); // no colours
        EXPECT_EQ(it.alphaData(), arrays[4]->data());
    }
    for (CountedData* array : arrays) {
        array->unref();
    }
    EXPECT_EQ(CountedData::fsAlive, 0);
}

TEST(ParticleDataIterator, WalksFilters) {
    const Particles particles = particlesAt({4, 2, 3, 1});
    const unsigned int filter[] = {3, 0};
    ParticleDataIterator it(*particles, filter, 2);
    EXPECT_EQ(walk(it), (Numbers{3, 0}));
    it.setFilter(filter, 1);
    EXPECT_EQ(walk(it), (Numbers{3}));
    it.setFilter(nullptr, 5);
    EXPECT_EQ(walk(it), (Numbers{}));
    it.reset(*particles, nullptr, 5);
    EXPECT_EQ(walk(it), (Numbers{0, 1, 2, 3}));
}

TEST(ParticleDataIterator, SeveralPositionsPerParticle) {
    const unsigned int filter[] = {2};
    for (ParticleData::ParticleType type : {ParticleData::kMultiPoint, ParticleData::kMultiStreak}) {
        const Particles particles = particlesAt(std::vector<float>(30, 1.0F), type, 10);
        ParticleDataIterator it(*particles, filter, 1); // one entry for ten particles
        EXPECT_EQ(it.count(), 10U);
        EXPECT_EQ(it.multiCount(), 3U);
        EXPECT_EQ(static_cast<char*>(it.position()) - static_cast<char*>(it.positionData()), 72);
        EXPECT_EQ(walk(it), (Numbers{2, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
        const Particles plain = particlesAt({1, 2});
        it.reset(*plain, nullptr, 0);
        EXPECT_EQ(it.count(), 2U);
        EXPECT_EQ(it.multiCount(), 3U); // left as it was
        const Particles none = particlesAt({1}, type, 0);
        it.reset(*none, nullptr, 0);
        EXPECT_EQ(it.count(), 0U);
        EXPECT_EQ(it.multiCount(), 1U);
    }
}

} // namespace
