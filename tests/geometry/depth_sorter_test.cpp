#include "geometry/DepthSorter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

using qvLinear::ProjMatrix;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

using Order = std::vector<unsigned int>;

struct DepthProbe : DepthSorter {
    using DepthSorter::depthCompareFunction;
    using DepthSorter::fsPositionXformZ;
};

/// What the sort is to give: ascending, stable, not-a-number last.
Order plainOrder(const std::vector<float>& depths) {
    Order order(depths.size());
    std::iota(order.begin(), order.end(), 0U);
    std::stable_sort(order.begin(), order.end(), [&](unsigned int a, unsigned int b) {
        return std::isnan(depths[b]) ? !std::isnan(depths[a]) : depths[a] < depths[b];
    });
    return order;
}

Order sorted(const ProjMatrix& m, const std::vector<float>& positions, const Order* indices = nullptr) {
    const auto count = static_cast<unsigned int>(positions.size() / 3);
    const std::size_t entries = indices ? indices->size() : count;
    Order order(entries + 1, 4711);
    EXPECT_TRUE(DepthSorter::sortByDepth(m, order.data(), count, positions.data(),
                                         indices ? indices->data() : nullptr,
                                         indices ? static_cast<unsigned int>(indices->size()) : 0));
    EXPECT_EQ(DepthProbe::fsPositionXformZ, nullptr);
    EXPECT_EQ(order.back(), 4711U);
    order.pop_back();
    return order;
}

std::vector<float> pointsAt(const std::vector<float>& depths) {
    std::vector<float> positions;
    for (float depth : depths) {
        positions.insert(positions.end(), {1, 2, depth});
    }
    return positions;
}

TEST(DepthSorter, SmallestDepthFirst) {
    const std::vector<float> points = {0, 0, 5, 0, 0, 1, 0, 0, 3};
    EXPECT_EQ(sorted(ProjMatrix(), points), (Order{1, 2, 0}));
    const Order chosen = {2, 0};
    EXPECT_EQ(sorted(ProjMatrix(), points, &chosen), (Order{0, 1}));

    ProjMatrix m; // z' = x - y + 2 z + 7
    m(0, 2) = 1;
    m(1, 2) = -1;
    m(2, 2) = -2;
    m(3, 2) = 7;
    EXPECT_EQ(sorted(m, {0, 0, 1, 9, 0, 0, 0, 9, 0}), (Order{2, 0, 1}));
    EXPECT_EQ(sorted(ProjMatrix(-1.0), points), (Order{0, 2, 1}));
    m = ProjMatrix();
    m(0, 2) = 1e-10; // as good as the identity: z alone counts
    EXPECT_EQ(sorted(m, {1e20F, 0, 1, 0, 0, 2}), (Order{0, 1}));
    m(0, 2) = 2e-10;
    EXPECT_EQ(sorted(m, {1e20F, 0, 1, 0, 0, 2}), (Order{1, 0}));
}

TEST(DepthSorter, NothingToDo) {
    unsigned int order[2] = {8, 9};
    const unsigned int indices[1] = {0};
    const float points[6] = {};
    const ProjMatrix m;
    EXPECT_FALSE(DepthSorter::sortByDepth(m, order, 3, nullptr, nullptr, 0));
    EXPECT_FALSE(DepthSorter::sortByDepth(m, order, 3, nullptr, indices, 0));
    EXPECT_TRUE(DepthSorter::sortByDepth(m, nullptr, 3, nullptr, nullptr, 0));
    EXPECT_TRUE(DepthSorter::sortByDepth(m, nullptr, 2, points, nullptr, 0));
    EXPECT_TRUE(DepthSorter::sortByDepth(m, order, 0, nullptr, nullptr, 0));
    EXPECT_TRUE(DepthSorter::sortByDepth(m, order, 0, points, indices, 1));
    EXPECT_TRUE(DepthSorter::sortByDepth(m, order, 2, points, indices, 0));
    if (sizeof(std::size_t) == 4) { // more than the address space holds
        EXPECT_FALSE(DepthSorter::sortByDepth(m, order, 0xFFFFFFFF, points, nullptr, 0));
        EXPECT_FALSE(DepthSorter::sortByDepth(m, order, 2, points, indices, 0x30000000));
    }
    EXPECT_EQ(order[0], 8U);
    EXPECT_EQ(order[1], 9U);
    EXPECT_EQ(DepthProbe::fsPositionXformZ, nullptr);
}

TEST(DepthSorter, TheComparisonNeverCallsTwoEqual) {
    float depths[] = {1, 2, 2};
    DepthProbe::fsPositionXformZ = depths;
    const unsigned int one = 0, two = 1, also = 2;
    EXPECT_EQ(DepthProbe::depthCompareFunction(&one, &two), -1);
    EXPECT_EQ(DepthProbe::depthCompareFunction(&two, &one), 1);
    EXPECT_EQ(DepthProbe::depthCompareFunction(&two, &also), -1);
    EXPECT_EQ(DepthProbe::depthCompareFunction(&also, &two), -1);
    DepthProbe::fsPositionXformZ = nullptr;
}

// Every size of the sort and every shape of keys: few values, one digit, all bits, odd numbers.
TEST(DepthSorter, SortsAsAStableSortDoes) {
    std::mt19937 random(3);
    const float odd[] = {0.0F, -0.0F, kInfinity, -kInfinity, kNaN, -kNaN, 1e-45F, -1e-45F, 3e38F, -3e38F};
    const std::vector<float (*)(std::mt19937&, unsigned int)> shapes = {
        [](std::mt19937& r, unsigned int) { return static_cast<float>(r() % 5) - 2; },
        [](std::mt19937& r, unsigned int) { return 1.0F + static_cast<float>(r() % 2000) * 0x1p-23F; },
        [](std::mt19937& r, unsigned int) { return r() % 2 ? 0x1p40F : 0x1p-40F; },
        [](std::mt19937& r, unsigned int) { return std::bit_cast<float>(static_cast<std::uint32_t>(r())); },
        [](std::mt19937& r, unsigned int i) { return static_cast<float>(i) + (r() % 50 ? 0.0F : 10.0F); },
        [](std::mt19937&, unsigned int i) { return static_cast<float>(i / 2); },
    };
    const ProjMatrix mirror(-1.0);
    const auto check = [&](unsigned int count, bool withOdd) { // without, some digits are all the same
        for (const auto& shape : shapes) {
            std::vector<float> depths(count);
            for (unsigned int i = 0; i < count; ++i) {
                depths[i] = !withOdd || random() % 20 ? shape(random, i) : odd[random() % std::size(odd)];
            }
            const std::vector<float> points = pointsAt(depths);
            EXPECT_EQ(sorted(ProjMatrix(), points), plainOrder(depths));

            std::vector<float> mirrored(depths);
            for (float& depth : mirrored) {
                depth = -depth;
            }
            EXPECT_EQ(sorted(mirror, points), plainOrder(mirrored));

            Order indices(count);
            std::vector<float> chosen(count);
            for (unsigned int k = 0; k < count; ++k) {
                indices[k] = random() % 10 ? random() % count : count + random() % 2 * 0x7FFFFFFF;
                chosen[k] = indices[k] < count ? -depths[indices[k]] : kNaN;
            }
            EXPECT_EQ(sorted(mirror, points, &indices), plainOrder(chosen));
        }
    };
    for (unsigned int count : {1U, 2U, 3U, 100U, 256U, 257U, 1000U, 8191U, 9000U}) {
        check(count, false);
        check(count, true);
    }
    std::vector<float> same(1000, 2.5F);
    EXPECT_EQ(sorted(ProjMatrix(), pointsAt(same)), plainOrder(same));
    same[999] = std::nextafter(2.5F, 0.0F); // a single digit differs
    EXPECT_EQ(sorted(ProjMatrix(), pointsAt(same)), plainOrder(same));
}

} // namespace
