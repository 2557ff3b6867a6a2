#include "geometry/AABoundingBox.h"
#include "geometry/BoundingSphere.h"
#include "geometry/Frustum.h"
#include "geometry/GeometryDataIndex.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <iomanip>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using qvLinear::AffineMatrix;
using qvLinear::PointFlt;

namespace {

constexpr float kLargest = std::numeric_limits<float>::max();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

std::string text(float v) {
    std::ostringstream stream;
    stream << std::setprecision(9) << v;
    return stream.str();
}
std::string text(const PointFlt& p) {
    return text(p.x) + " " + text(p.y) + " " + text(p.z);
}
std::string text(const AABoundingBox& box) {
    return text(box.min()) + " to " + text(box.max());
}
std::string text(const BoundingSphere& sphere) {
    return text(sphere.center()) + " by " + text(sphere.radius());
}

float axis(const PointFlt& p, int i) {
    return i == 0 ? p.x : i == 1 ? p.y : p.z;
}

/// The answers to outside, inside and intersect as a word: "o", "i", "x" for each that is true.
template <class Volume, class Other>
std::string answers(const Volume& volume, const Other& other) {
    std::string word;
    word += volume.classify(IBounds::kOutside, other) ? "o" : "";
    word += volume.classify(IBounds::kInside, other) ? "i" : "";
    word += volume.classify(IBounds::kIntersect, other) ? "x" : "";
    for (int unknown : {-1, 3, 4}) {
        EXPECT_FALSE(volume.classify(static_cast<IBounds::IntersectType>(unknown), other));
    }
    return word;
}
std::string word(bool outside, bool inside, bool intersects) {
    return std::string(outside ? "o" : "") + (inside ? "i" : "") + (intersects ? "x" : "");
}

// Intervals as the sets of quarter steps that they hold.
TEST(Bounds, IntervalsHoldWhatLiesBetweenTheirEnds) {
    const AABoundingBox b;
    const float intervals[][2] = {{0.25F, 0.25F}, {0.25F, 0.5F}, {0.25F, 2},
                                  {0.5F, 1.25F},  {1.25F, 2},    {2, 2}};
    const auto holds = [](const float* r, float v, float tol) { return v >= r[0] - tol && v <= r[1] + tol; };
    for (int pair = 0; pair < 36; ++pair) {
        const float *first = intervals[pair / 6], *second = intervals[pair % 6];
        float both[2], either[2];
        b.intersection(first, second, both);
        b.unionOf(first, second, either);
        EXPECT_EQ(b.equal(first, second), first == second);
        for (float tol : {0.0F, 0.25F, 1.0F}) {
            bool within = true, common = false;
            for (float v = -4; v < 6; v += 0.25F) {
                const bool inFirst = holds(first, v, 0), inSecond = holds(second, v, tol);
                within = within && (!inFirst || inSecond);
                common = common || (inFirst && inSecond);
                EXPECT_EQ(b.contains(second[0], second[1], v, tol), inSecond);
                EXPECT_EQ(b.contains(second, v, tol), inSecond);
                EXPECT_EQ(b.contains(second[0], second[1], v), holds(second, v, 0));
                EXPECT_EQ(b.contains(second, v), holds(second, v, 0));
                EXPECT_TRUE(tol != 0 || holds(both, v, 0) == (inFirst && inSecond));
            }
            EXPECT_EQ(b.contains(first, second, tol), within); // the FIRST within the second
            EXPECT_EQ(b.intersects(first, second, tol), common);
            EXPECT_TRUE(tol != 0 ||
                        (b.contains(first, second) == within && b.intersects(first, second) == common));
            EXPECT_TRUE(tol != 0 || (both[0] <= both[1]) == common);
        }
        EXPECT_EQ(either[0], std::min(first[0], second[0]));
        EXPECT_EQ(either[1], std::max(first[1], second[1]));
        float inPlace[] = {first[0], first[1]};
        b.unionOf(inPlace, second, inPlace);
        EXPECT_TRUE(b.equal(inPlace, either));
        b.intersection(first, inPlace, inPlace);
        EXPECT_TRUE(b.equal(inPlace, first));
    }
    EXPECT_EQ(IBounds::tolerance(), -1.0F);
    IBounds::setTolerance(0.5F);
    EXPECT_EQ(IBounds::tolerance(), 0.5F);
    IBounds::setTolerance(-1.0F);
}

using Box = AABoundingBox;
using Sphere = BoundingSphere;
using P = PointFlt;

const Box kNoBox;
const Sphere kNoSphere({5, 7, 9}, -1);
const Box kAll({-kLargest, -kLargest, -kLargest}, {kLargest, kLargest, kLargest});
const Box kBox({1, 2, 3}, {4, 6, 15}), kWide({-2, 3, 5}, {3, 11, 7});
const Sphere kSphere({1, 2, 3}, 7);
const std::vector<P> kTwo = {{1, 4, 3}, {5, -1, -2}}, kSome = {{3, 5, 4}, {7, 11, 21}};

/// Hands a volume out as any of its kind.
const IBoundingPlanes& planes(const IBoundingPlanes& bounds) {
    return bounds;
}

TEST(Bounds, BoxesMadeGrownAndMerged) {
    auto* index = new GeometryDataIndex(GeometryDataIndex::kPoints, 0, {}, nullptr);
    const struct {
        const char* what;
        Box start;
        std::function<void(Box&)> change;
        Box expected;
    } rows[] = {
        {"a point", {}, [](Box& b) { b.addPoint(P(1, 2, 3)); }, {{1, 2, 3}, {1, 2, 3}}},
        {"points", {}, [](Box& b) { b.addPoints(kTwo); }, {{1, -1, -2}, {5, 4, 3}}},
        {"from a sphere", {}, [](Box& b) { b = Box(planes(kSphere)); }, {{-6, -5, -4}, {8, 9, 10}}},
        {"from no sphere", {}, [](Box& b) { b = Box(planes(kNoSphere)); }, {{6, 8, 10}, {4, 6, 8}}},
        {"from an index array", kBox, [&](Box& b) { b = Box(*index); }, {{0, 0, 0}, {0, 0, 0}}},
        {"set from one", kBox, [&](Box& b) { b.set(*index); }, kBox},
        {"set", kBox, [](Box& b) { b.set(P(-1, -2, -3), P(7, 8, 9)); }, {{-1, -2, -3}, {7, 8, 9}}},
        {"set min", kBox, [](Box& b) { b.setMin(P(1, 7, 3)); }, {{1, 7, 3}, {4, 6, 15}}},
        {"set max", kBox, [](Box& b) { b.setMax(P(4, 6, 2)); }, {{1, 2, 3}, {4, 6, 2}}},
        {"turned in x", kBox, [](Box& b) { b.setMin(P(5, 2, 3)); }, {{5, 2, 3}, {4, 6, 15}}},
        {"emptied", kBox, [](Box& b) { b.setInvalid(); }, kNoBox},
        {"sum", kBox, [](Box& b) { b = b + kWide; }, {{-2, 2, 3}, {4, 11, 15}}},
        {"sum with a sphere", kBox, [](Box& b) { b += Sphere(P(5, 1, 2), 2); }, {{1, -1, 0}, {7, 6, 15}}},
        {"with itself", kBox, [](Box& b) { b += b; }, kBox},
        {"with no box", kBox, [](Box& b) { b += kNoBox; }, kAll},
        {"nothing with itself", {}, [](Box& b) { b += b; }, kAll},
        {"with no sphere", kBox, [](Box& b) { b += kNoSphere; }, {{1, 2, 3}, {6, 8, 15}}},
        {"around a box", kBox, [](Box& b) { b.enclose(kWide); }, {{-2, 2, 3}, {4, 11, 15}}},
        {"around no box", kBox, [](Box& b) { b.enclose(kNoBox); }, kBox},
        {"nothing around a box", {}, [](Box& b) { b.enclose(kBox); }, kBox},
        {"a turned one around a box", {{9, 0, 0}, {1, 1, 1}}, [](Box& b) { b.enclose(kBox); }, kBox},
        {"nothing mapped", {}, [](Box& b) { b.transform(AffineMatrix(2.0)); }, kNoBox},
    };
    for (const auto& row : rows) {
        Box box(row.start);
        row.change(box);
        const PointFlt low = row.expected.min(), high = row.expected.max();
        EXPECT_EQ(text(box), text(row.expected)) << row.what;
        EXPECT_EQ(box.isValid(), low.x <= high.x && low.y <= high.y && low.z <= high.z) << row.what;
        EXPECT_EQ(box.boundsType(), IBounds::kAABoundingBoxType) << row.what;
    }
    index->unref();
    EXPECT_EQ(text(kNoBox.min()), text(kAll.max()));
    EXPECT_EQ(text(kNoBox.max()), text(kAll.min()));
    EXPECT_EQ(text(kNoBox.center()), "0 0 0");
    EXPECT_EQ(kNoBox.radius(), 0);
    EXPECT_EQ(text(kBox.center()), "2.5 4 9");
    EXPECT_EQ(kBox.radius(), 6.5F); // 3-4-12-13
    const Box far({kLargest, 0, -kLargest}, {kLargest, 4, -kLargest});
    EXPECT_EQ(text(far.center()), text(PointFlt(kLargest, 2, -kLargest)));
}

TEST(Bounds, SpheresMadeGrownAndMerged) {
    auto* index = new GeometryDataIndex(GeometryDataIndex::kPoints, 0, {}, nullptr);
    const Sphere far({kLargest, 0, -kLargest}, 1);
    const struct {
        const char* what;
        Sphere start;
        std::function<void(Sphere&)> change;
        Sphere expected;
    } rows[] = {
        {"new", kSphere, [](Sphere& s) { s = Sphere(); }, {{0, 0, 0}, 0}},
        {"from a box", {}, [](Sphere& s) { s = Sphere(planes(kBox)); }, {{2.5F, 4, 9}, 6.5F}},
        {"from no box", kSphere, [](Sphere& s) { s = Sphere(planes(kNoBox)); }, {{0, 0, 0}, 0}},
        {"from an index array", kSphere, [&](Sphere& s) { s = Sphere(*index); }, {{0, 0, 0}, 0}},
        {"set from one", kSphere, [&](Sphere& s) { s.set(*index); }, kSphere},
        {"set", kSphere, [](Sphere& s) { s.set(P(4, 5, 6), 8); }, {{4, 5, 6}, 8}},
        {"set centre", kSphere, [](Sphere& s) { s.setCenter(P(4, 5, 6)); }, {{4, 5, 6}, 7}},
        {"set radius", kSphere, [](Sphere& s) { s.setRadius(8); }, {{1, 2, 3}, 8}},
        {"emptied", kSphere, [](Sphere& s) { s.setInvalid(); }, {{1, 2, 3}, -1}},
        {"sum", kSphere, [](Sphere& s) { s = s + Sphere(P(4, 6, 15), 2.5F); }, {{2.5F, 4, 9}, 9.5F}},
        {"sum with a box", kSphere, [](Sphere& s) { s += kBox; }, {{1.75F, 3, 6}, 13.5F}},
        {"with itself", kSphere, [](Sphere& s) { s += s; }, {{1, 2, 3}, 14}},
        {"with no box", kSphere, [](Sphere& s) { s += kNoBox; }, {{0.5F, 1, 1.5F}, 7}},
        {"with no sphere", kSphere, [](Sphere& s) { s += kNoSphere; }, {{3, 4.5F, 6}, 6}},
        {"far away", far, [](Sphere& s) { s += s; }, {{kLargest, 0, -kLargest}, 2}},
        {"a point within", kSphere, [](Sphere& s) { s.addPoint(P(3, 5, 9)); }, kSphere},
        {"a point beyond", kSphere, [](Sphere& s) { s.addPoint(P(5, 8, 15)); }, {{3, 5, 9}, 10.5F}},
        {"points", {{3, 5, 9}, 7}, [](Sphere& s) { s.addPoints(kSome); }, {{5, 8, 15}, 10.5F}},
        {"near no sphere", kNoSphere, [](Sphere& s) { s.addPoint(P(5.5F, 7, 9)); }, kNoSphere},
        {"no float's square",
         {{0, 3e38F, 0}, 0},
         [](Sphere& s) {
             s.addPoint({0, -3e38F, 0});
         },
         {{0, -3e38F, 0}, 3e38F}},
        {"none to nothing", kNoSphere, [](Sphere& s) { s.transform(AffineMatrix(0.0)); }, {{0, 0, 0}, -1}},
        {"none mapped", kNoSphere, [](Sphere& s) { s.transform(AffineMatrix(-3.0)); }, {{-15, -21, -27}, -3}},
        {"around a point", kSphere, [](Sphere& s) { s.enclose(P(7, 11, 21)); }, {{3, 5, 9}, 14}},
        {"around one within", kSphere, [](Sphere& s) { s.enclose(P(3, 5, 9)); }, kSphere},
        {"around no x", kSphere, [](Sphere& s) { s.enclose(P(kNaN, 9, 9)); }, kSphere},
        {"around no y", kNoSphere, [](Sphere& s) { s.enclose(P(9, kNaN, 9)); }, kNoSphere},
        {"around no z", kSphere, [](Sphere& s) { s.enclose(P(9, 9, kNaN)); }, kSphere},
        {"around infinity",
         kSphere,
         [](Sphere& s) { s.enclose(P(-kInfinity, 0, 0)); },
         {{1, 2, 3}, kInfinity}},
        {"around a sphere", kSphere, [](Sphere& s) { s.enclose(Sphere(P(5, 8, 15), 7)); }, {{3, 5, 9}, 14}},
        {"around a small one", kSphere, [](Sphere& s) { s.enclose(Sphere(P(2, 3, 4), 5)); }, kSphere},
        {"around a large one",
         kSphere,
         [](Sphere& s) { s.enclose(Sphere(P(5, 8, 15), 21)); },
         {{5, 8, 15}, 21}},
        {"around no sphere", kSphere, [](Sphere& s) { s.enclose(kNoSphere); }, kSphere},
        {"nothing around a sphere", kNoSphere, [](Sphere& s) { s.enclose(kSphere); }, kSphere},
    };
    for (const auto& row : rows) {
        Sphere sphere(row.start);
        row.change(sphere);
        EXPECT_EQ(text(sphere), text(row.expected)) << row.what;
        EXPECT_EQ(sphere.isValid(), row.expected.radius() >= 0) << row.what;
        EXPECT_EQ(sphere.boundsType(), IBounds::kBoundingSphereType) << row.what;
    }
    index->unref();
}

struct Dice {
    float number() { return static_cast<float>(random() % 2001) / 100 - 10; }
    PointFlt point() { return {number(), number(), number()}; }
    /// Few different coordinates, so that volumes often touch.
    float whole(int least, int most) {
        return static_cast<float>(static_cast<int>(random() % static_cast<unsigned int>(most - least + 1)) +
                                  least);
    }
    PointFlt wholes(int least, int most) {
        return {whole(least, most), whole(least, most), whole(least, most)};
    }
    std::mt19937 random{1};
};

TEST(Bounds, EncloseContainsAllThatItWasGiven) {
    Dice dice;
    for (int round = 0; round < 200; ++round) {
        BoundingSphere around = kNoSphere;
        std::vector<BoundingSphere> given;
        for (int i = 0; i < 10; ++i) {
            const BoundingSphere before = around;
            const BoundingSphere next(dice.point(), i % 2 ? std::abs(dice.number()) / 4 : 0);
            i % 2 ? around.enclose(next) : around.enclose(next.center());
            given.push_back(next);
            // No larger than the two need.
            const float d = qvLinear::distance(before.center(), next.center());
            const float needed =
                std::max({before.radius(), next.radius(), (before.radius() + d + next.radius()) / 2});
            EXPECT_LE(around.radius(), before.isValid() ? needed * 1.000001F : next.radius());
        }
        for (const BoundingSphere& sphere : given) {
            EXPECT_FALSE(around.classify(IBounds::kOutside, sphere.center()));
            EXPECT_LE(qvLinear::distance(around.center(), sphere.center()) + sphere.radius(),
                      around.radius() * 1.000001F);
        }
        const BoundingSphere last = around;
        around.enclose(BoundingSphere(dice.point(), 1));
        EXPECT_TRUE(around.classify(IBounds::kInside, last)) << text(last) << " in " << text(around);
    }
}

TEST(Bounds, MapsAndGrowthAgainstPlainModels) {
    Dice dice;
    for (int round = 0; round < 200; ++round) {
        AffineMatrix m;
        for (unsigned int i = 0; i < 12; ++i) {
            m[i] = dice.number();
        }
        const PointFlt low = dice.point();
        const PointFlt high(low.x + std::abs(dice.number()), low.y + std::abs(dice.number()), low.z + 1);
        AABoundingBox moved(low, high), expected;
        moved.transform(m);
        for (int corner = 0; corner < 8; ++corner) {
            qvLinear::Point p(corner & 1 ? low.x : high.x, corner & 2 ? low.y : high.y,
                              corner & 4 ? low.z : high.z);
            m.preMult(p, p);
            expected.addPoint({float(p.x), float(p.y), float(p.z)});
        }
        EXPECT_LE(qvLinear::distance(moved.min(), expected.min()), 1e-4F);
        EXPECT_LE(qvLinear::distance(moved.max(), expected.max()), 1e-4F);

        BoundingSphere sphere(low, 1.5F);
        sphere.transform(m);
        qvLinear::Point center(low);
        m.preMult(center, center);
        EXPECT_LE(qvLinear::distance(sphere.center(), {float(center.x), float(center.y), float(center.z)}),
                  1e-4F);
        double longest = 0;
        for (unsigned int row = 0; row < 3; ++row) {
            longest = std::max(longest, std::hypot(m(row, 0), m(row, 1), m(row, 2)));
        }
        EXPECT_NEAR(sphere.radius(), 1.5 * longest, 1e-4);

        // The centre moves by d - r towards the point.
        BoundingSphere grown(low, 2);
        const PointFlt p(low.x + 3 + std::abs(dice.number()), low.y - 1, low.z + dice.number());
        const float d = qvLinear::distance(low, p);
        grown.addPoint(p);
        EXPECT_NEAR(grown.radius(), (d + 2) / 2, 1e-5F);
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(axis(grown.center(), i), axis(low, i) + (axis(p, i) - axis(low, i)) * (d - 2) / d,
                        1e-5F);
        }
    }
}

// Every place of a point and of another box on each of three unlike axes.
TEST(Bounds, BoxesClassifyByTheirAxes) {
    const float low[] = {1, 2, -3}, high[] = {5, 4, 9}; // x is longer than y, z than both
    const AABoundingBox box({1, 2, -3}, {5, 4, 9});
    const auto place = [&](int i, int k) { // 2 and 5 are the ends
        const float at[] = {low[i] - 4,      low[i] - 0.5F, low[i],         low[i] + 0.5F,
                            high[i] - 0.25F, high[i],       high[i] + 0.5F, high[i] + 5};
        return at[k];
    };
    for (int k = 0; k < 8 * 8 * 8; ++k) {
        const float p[] = {place(0, k % 8), place(1, k / 8 % 8), place(2, k / 64)};
        const auto within = [&](int i, float most) { return p[i] >= low[i] && p[i] <= most; };
        bool inside = true;
        for (int i = 0; i < 3; ++i) {
            inside = inside && within(i, high[i]);
        }
        bool surface = false;
        for (int i = 2; i >= 0; --i) { // the first axis with equality decides
            if (p[i] == low[i] || p[i] == high[i]) {
                surface = i == 0   ? within(1, high[1]) && within(2, high[2])
                          : i == 1 ? within(0, high[0]) && within(2, high[2])
                                   : within(0, high[1]) && within(1, high[2]); // each to the next axis
            }
        }
        EXPECT_EQ(answers(box, PointFlt(p[0], p[1], p[2])), word(!inside, inside, surface)) << k;
    }
    const int ends[][2] = {{0, 1}, {0, 2}, {1, 4}, {2, 5}, {2, 3}, {3, 4}, {4, 5}, {1, 6}, {5, 6}, {6, 7}};
    for (int k = 0; k < 1000; ++k) {
        const int* e[] = {ends[k % 10], ends[k / 10 % 10], ends[k / 100]};
        const AABoundingBox other({place(0, e[0][0]), place(1, e[1][0]), place(2, e[2][0])},
                                  {place(0, e[0][1]), place(1, e[1][1]), place(2, e[2][1])});
        bool inside = true, touches = true;
        for (const int* end : e) {
            inside = inside && end[0] >= 2 && end[1] <= 5;
            touches = touches && end[0] <= 5 && end[1] >= 2;
        }
        EXPECT_EQ(answers(box, other), word(!touches, inside, touches)) << k;
    }
    EXPECT_EQ(answers(box, kNoBox), "i"); // nothing lies within everything
    EXPECT_EQ(answers(kNoBox, box), "o");
    EXPECT_EQ(answers(box, Frustum(qvLinear::ProjMatrix())), "");
    EXPECT_EQ(answers(BoundingSphere({1, 2, 3}, 1), Frustum(qvLinear::ProjMatrix())), "");
}

// Whole numbers, where distances can be compared without rounding.
TEST(Bounds, SpheresClassifyByTheirDistances) {
    Dice dice;
    const auto square = [](float v) { return v * v; };
    int seen[3] = {};
    for (int round = 0; round < 20000; ++round) {
        const BoundingSphere sphere(dice.wholes(-4, 4), dice.whole(0, 6));
        const PointFlt c = sphere.center(), p = dice.wholes(-4, 4);
        const float r = sphere.radius(), s = dice.whole(0, 4);
        const float d2 = square(c.x - p.x) + square(c.y - p.y) + square(c.z - p.z);
        ASSERT_EQ(answers(sphere, p), word(d2 > r * r, d2 < r * r, d2 == r * r))
            << text(sphere) << ", " << text(p);
        const bool inside = r >= s && d2 <= square(r - s), touches = d2 <= square(r + s);
        ASSERT_EQ(answers(sphere, BoundingSphere(p, s)), word(!touches, inside, touches))
            << text(sphere) << ", " << text(p) << " by " << s;

        const PointFlt low = dice.wholes(-5, 3);
        const AABoundingBox box(
            low, {low.x + dice.whole(0, 5), low.y + dice.whole(0, 5), low.z + dice.whole(0, 5)});
        float gap = 0;
        for (int i = 0; i < 3; ++i) {
            gap += square(axis(c, i) - std::clamp(axis(c, i), axis(box.min(), i), axis(box.max(), i)));
        }
        const std::string expected = word(false, false, gap <= r * r);
        ASSERT_EQ(answers(box, sphere), expected) << text(box) << ", " << text(sphere);
        ASSERT_EQ(answers(sphere, box), expected) << text(box) << ", " << text(sphere);
        seen[0] += d2 == r * r;
        seen[1] += d2 == square(r + s);
        seen[2] += gap == r * r;
    }
    EXPECT_GT(std::min({seen[0], seen[1], seen[2]}), 100);

    // Squares that differ by exactly the tolerance, and by one bit more; the tolerance is absolute.
    const BoundingSphere point({0, 0, 0}, 0);
    EXPECT_EQ(answers(point, PointFlt(510 * 0x1p-20F, 1954 * 0x1p-20F, 2630 * 0x1p-20F)), "ox");
    EXPECT_EQ(answers(point, PointFlt(508 * 0x1p-20F, 818 * 0x1p-20F, 3173 * 0x1p-20F)), "o");
    EXPECT_EQ(answers(BoundingSphere({0, 0, 0}, 1), PointFlt(0, 0, 0.9999975F)), "ix");
    EXPECT_EQ(answers(BoundingSphere({0, 0, 0}, 1), PointFlt(0, 1.0000025F, 0)), "ox");
    EXPECT_EQ(answers(BoundingSphere({0, 0, 0}, 1), PointFlt(0, 0.99999F, 0)), "i");
}

} // namespace
