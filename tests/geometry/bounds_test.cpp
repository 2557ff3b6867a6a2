#include "geometry/AABoundingBox.h"
#include "geometry/BoundingSphere.h"
#include "geometry/Frustum.h"
#include "geometry/GeometryDataIndex.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>

using qvLinear::AffineMatrix;
using qvLinear::PointFlt;

namespace {

constexpr float kLargest = std::numeric_limits<float>::max();

void expectPoint(const PointFlt& p, float x, float y, float z) {
    EXPECT_EQ(p.x, x);
    EXPECT_EQ(p.y, y);
    EXPECT_EQ(p.z, z);
}

/// The answers to outside, inside and intersect as a word: "o", "i", "x" for each that is true.
template <class Volume, class Other>
std::string answers(const Volume& volume, const Other& other) {
    std::string text;
    text += volume.classify(IBounds::kOutside, other) ? "o" : "";
    text += volume.classify(IBounds::kInside, other) ? "i" : "";
    text += volume.classify(IBounds::kIntersect, other) ? "x" : "";
    for (int unknown : {-1, 3, 4}) {
        EXPECT_FALSE(volume.classify(static_cast<IBounds::IntersectType>(unknown), other));
    }
    return text;
}

TEST(Bounds, Intervals) {
    const AABoundingBox b;
    float low[] = {0, 1}, high[] = {1, 2}, wide[] = {0, 5}, far[] = {2, 3}, out[2];
    EXPECT_TRUE(b.contains(0.0F, 1.0F, 1.0F) && b.contains(low, 0.0F));
    EXPECT_FALSE(b.contains(0.0F, 1.0F, 1.5F) || b.contains(low, -0.5F));
    EXPECT_TRUE(b.contains(0.0F, 1.0F, 1.5F, 0.5F) && b.contains(low, -0.5F, 0.5F));
    EXPECT_FALSE(b.contains(0.0F, 1.0F, 1.5F, 0.25F) || b.contains(low, -0.5F, 0.25F));
    EXPECT_TRUE(b.contains(high, wide)); // the first within the second
    EXPECT_FALSE(b.contains(wide, high));
    EXPECT_TRUE(b.contains(wide, high, 3.0F));
    EXPECT_FALSE(b.contains(wide, high, 2.5F));
    EXPECT_TRUE(b.intersects(low, high));
    EXPECT_FALSE(b.intersects(low, far));
    EXPECT_TRUE(b.intersects(low, far, 1.0F) && b.intersects(far, low, 1.0F));
    EXPECT_FALSE(b.intersects(low, far, 0.5F) || b.intersects(far, low, 0.5F));
    EXPECT_TRUE(b.equal(low, low));
    EXPECT_FALSE(b.equal(low, wide));

    const struct {
        const float *a, *b;
        float both[2], either[2];
    } rows[] = {
        {low, far, {2, 1}, {0, 3}},
        {far, low, {2, 1}, {0, 3}},
        {wide, high, {1, 2}, {0, 5}},
        {high, wide, {1, 2}, {0, 5}},
    };
    for (const auto& row : rows) {
        b.intersection(row.a, row.b, out);
        EXPECT_TRUE(b.equal(out, row.both));
        b.unionOf(row.a, row.b, out);
        EXPECT_TRUE(b.equal(out, row.either));
    }
    b.unionOf(low, far, low); // in place
    EXPECT_EQ(low[0], 0);
    EXPECT_EQ(low[1], 3);

    EXPECT_EQ(IBounds::tolerance(), -1.0F);
    IBounds::setTolerance(0.5F);
    EXPECT_EQ(IBounds::tolerance(), 0.5F);
    IBounds::setTolerance(-1.0F);
}

TEST(Box, GrowsFromNothing) {
    AABoundingBox box;
    EXPECT_EQ(box.boundsType(), IBounds::kAABoundingBoxType);
    EXPECT_FALSE(box.isValid());
    expectPoint(box.min(), kLargest, kLargest, kLargest);
    expectPoint(box.max(), -kLargest, -kLargest, -kLargest);
    expectPoint(box.center(), 0, 0, 0);
    EXPECT_EQ(box.radius(), 0);
    box.transform(AffineMatrix(2.0));
    expectPoint(box.min(), kLargest, kLargest, kLargest);

    box.addPoint({1, 2, 3});
    EXPECT_TRUE(box.isValid());
    EXPECT_EQ(box.radius(), 0);
    box.addPoints({{5, 0, 3}, {3, 1, -1}});
    expectPoint(box.min(), 1, 0, -1);
    expectPoint(box.max(), 5, 2, 3);
    expectPoint(box.center(), 3, 1, 1);
    EXPECT_EQ(box.radius(), 3);

    box.set({-kLargest, 0, 0}, {kLargest, 0, 0});
    expectPoint(box.center(), 0, 0, 0);
    box.setMin({kLargest, 0, 0});
    expectPoint(box.center(), kLargest, 0, 0);
    box.setMax({1, 0, 0});
    EXPECT_FALSE(box.isValid());
}

TEST(Sphere, GrowsTheCheapWay) {
    BoundingSphere sphere;
    EXPECT_EQ(sphere.boundsType(), IBounds::kBoundingSphereType);
    EXPECT_TRUE(sphere.isValid());
    sphere.set({0, 0, 0}, 1);
    sphere.addPoint({0.6F, 0, 0});
    EXPECT_EQ(sphere.radius(), 1);
    sphere.addPoint({3, 0, 0});
    expectPoint(sphere.center(), 2, 0, 0);
    EXPECT_EQ(sphere.radius(), 2);
    sphere.addPoints({{2, 6, 0}, {2, 4, 0}});
    expectPoint(sphere.center(), 2, 4, 0); // and (0, 0, 0) is outside by now
    EXPECT_EQ(sphere.radius(), 4);
    expectPoint(sphere.min(), -2, 0, -4);
    expectPoint(sphere.max(), 6, 8, 4);

    sphere.setInvalid();
    EXPECT_FALSE(sphere.isValid());
    expectPoint(sphere.center(), 2, 4, 0);
    sphere.addPoint({2.5F, 4, 0}); // inside the square of -1
    EXPECT_EQ(sphere.radius(), -1);

    sphere.set({3e38F, 0, 0}, 0);
    sphere.addPoint({-3e38F, 0, 0}); // the square of the distance is no float
    EXPECT_EQ(sphere.radius(), 3e38F);
}

TEST(Bounds, Merge) {
    AABoundingBox box({0, 0, 0}, {1, 1, 1});
    const BoundingSphere sphere({3, 0, 0}, 1);
    AABoundingBox sum = box + sphere;
    expectPoint(sum.min(), 0, -1, -1);
    expectPoint(sum.max(), 4, 1, 1);
    expectPoint(box.max(), 1, 1, 1);
    sum += sum;
    expectPoint(sum.max(), 4, 1, 1);
    sum += AABoundingBox();
    expectPoint(sum.min(), -kLargest, -kLargest, -kLargest);
    expectPoint(sum.max(), kLargest, kLargest, kLargest);
    AABoundingBox nothing;
    nothing += nothing; // as nothing + nothing
    expectPoint(nothing.min(), -kLargest, -kLargest, -kLargest);
    BoundingSphere invalid({5, 5, 5}, 0);
    invalid.setInvalid();
    box += invalid;
    expectPoint(box.min(), 0, 0, 0);
    expectPoint(box.max(), 6, 6, 6);

    BoundingSphere unit({0, 0, 0}, 1);
    const BoundingSphere middle = unit + BoundingSphere({4, 0, 0}, 1);
    expectPoint(middle.center(), 2, 0, 0);
    EXPECT_EQ(middle.radius(), 2);
    unit += unit;
    EXPECT_EQ(unit.radius(), 2);
    unit += AABoundingBox(); // centre 0 and radius 0
    EXPECT_EQ(unit.radius(), 2);
}

TEST(Bounds, ConvertIntoEachOther) {
    const AABoundingBox cube(static_cast<const IBoundingPlanes&>(BoundingSphere({1, 2, 3}, 1)));
    EXPECT_EQ(cube.boundsType(), IBounds::kAABoundingBoxType);
    expectPoint(cube.min(), 0, 1, 2);
    const BoundingSphere around(static_cast<const IBoundingPlanes&>(AABoundingBox({0, 0, 0}, {2, 4, 4})));
    EXPECT_EQ(around.boundsType(), IBounds::kBoundingSphereType);
    expectPoint(around.center(), 1, 2, 2);
    EXPECT_EQ(around.radius(), 3);
    const BoundingSphere none(static_cast<const IBoundingPlanes&>(AABoundingBox()));
    EXPECT_TRUE(none.isValid());
    EXPECT_EQ(none.radius(), 0);
    BoundingSphere invalid;
    invalid.setInvalid();
    EXPECT_FALSE(AABoundingBox(invalid).isValid());

    auto* index = new GeometryDataIndex(GeometryDataIndex::kPoints, 0, {}, nullptr);
    AABoundingBox box(*index);
    EXPECT_EQ(box.boundsType(), IBounds::kAABoundingBoxType);
    box.set({1, 1, 1}, {2, 2, 2});
    box.set(*index);
    expectPoint(box.min(), 1, 1, 1);
    BoundingSphere sphere(*index);
    EXPECT_EQ(sphere.boundsType(), IBounds::kBoundingSphereType);
    sphere.set({1, 1, 1}, 2);
    sphere.set(*index);
    EXPECT_EQ(sphere.radius(), 2);
    index->unref();

    box = AABoundingBox({7, 7, 7}, {8, 8, 8});
    expectPoint(AABoundingBox(box).max(), 8, 8, 8);
    sphere.setCenter({7, 7, 7});
    sphere.setRadius(9);
    BoundingSphere assigned;
    assigned = BoundingSphere(sphere);
    expectPoint(assigned.center(), 7, 7, 7);
    EXPECT_EQ(assigned.radius(), 9);
}

TEST(Bounds, Transform) {
    AffineMatrix mirror(1.0);
    mirror(0, 0) = -2;
    mirror.translate(qvLinear::Vector(1, 0, 0));
    AABoundingBox box({1, 2, 3}, {4, 5, 6});
    box.transform(mirror);
    expectPoint(box.min(), -10, 2, 3);
    expectPoint(box.max(), -4, 5, 6);
    BoundingSphere sphere({1, 2, 3}, 1.5F);
    sphere.transform(mirror);
    expectPoint(sphere.center(), -4, 2, 3);
    EXPECT_EQ(sphere.radius(), 3);

    // Against the eight corners.
    std::mt19937 random(1);
    const auto number = [&] { return double(random() % 2001) / 100 - 10; };
    for (int round = 0; round < 200; ++round) {
        AffineMatrix m;
        for (unsigned int i = 0; i < 12; ++i) {
            m[i] = number();
        }
        float lows[3], highs[3];
        for (int axis = 0; axis < 3; ++axis) {
            lows[axis] = static_cast<float>(number());
            highs[axis] = lows[axis] + static_cast<float>(std::abs(number()));
        }
        AABoundingBox moved({lows[0], lows[1], lows[2]}, {highs[0], highs[1], highs[2]});
        moved.transform(m);
        AABoundingBox expected;
        for (int corner = 0; corner < 8; ++corner) {
            qvLinear::Point p(corner & 1 ? lows[0] : highs[0], corner & 2 ? lows[1] : highs[1],
                              corner & 4 ? lows[2] : highs[2]);
            m.preMult(p, p);
            expected.addPoint({float(p.x), float(p.y), float(p.z)});
        }
        EXPECT_LE(qvLinear::distance(moved.min(), expected.min()), 1e-4F);
        EXPECT_LE(qvLinear::distance(moved.max(), expected.max()), 1e-4F);
    }
}

TEST(Box, Classifies) {
    const AABoundingBox box({0, 0, 0}, {1, 2, 3});
    const struct {
        PointFlt p;
        const char* answers;
    } points[] = {
        {{0.5F, 0.5F, 0.5F}, "i"}, {{1, 2, 3}, "ix"},      {{0, 1, 1}, "ix"}, // x faces
        {{1, 2.5F, 1}, "o"},     // on the plane of one, not on it
        {{1, 1, 3.5F}, "o"},     //
        {{0.5F, 2, 1}, "ix"},    // y faces
        {{1.5F, 0, 1}, "o"},     //
        {{0.5F, 0, -1}, "o"},    //
        {{0.5F, 1, 3}, "ix"},    // z faces
        {{1.5F, 0.5F, 3}, "ox"}, // x against max.y
        {{0.5F, 2.5F, 0}, "ox"}, // y against max.z
        {{2.5F, 0.5F, 3}, "o"},    {{0.5F, 3.5F, 0}, "o"}, {{-1, 1, 1}, "o"}, {{0.5F, 1, 4}, "o"},
    };
    for (const auto& row : points) {
        EXPECT_EQ(answers(box, row.p), row.answers) << row.p.x << " " << row.p.y << " " << row.p.z;
    }
    EXPECT_EQ(answers(box, AABoundingBox({0, 1, 1}, {1, 2, 3})), "ix");
    EXPECT_EQ(answers(box, AABoundingBox({1, 2, 3}, {4, 4, 4})), "x");
    EXPECT_EQ(answers(box, AABoundingBox({0, 0, 3.5F}, {1, 1, 4})), "o");
    EXPECT_EQ(answers(box, AABoundingBox()), "i"); // nothing lies within everything
    EXPECT_EQ(answers(AABoundingBox(), box), "o");
    EXPECT_EQ(answers(box, BoundingSphere({0.5F, 1, 1}, 0.1F)), "x");
    EXPECT_EQ(answers(box, BoundingSphere({4, -4, 1}, 5)), "x"); // 3-4-5 from the edge
    EXPECT_EQ(answers(box, BoundingSphere({4, -4, 1}, 4.9F)), "");
    EXPECT_EQ(answers(box, Frustum(qvLinear::ProjMatrix())), "");
}

TEST(Sphere, Classifies) {
    const BoundingSphere sphere({0, 0, 0}, 1);
    EXPECT_EQ(answers(sphere, PointFlt(0.5F, 0, 0)), "i");
    EXPECT_EQ(answers(sphere, PointFlt(0, 1, 0)), "x");
    EXPECT_EQ(answers(sphere, PointFlt(0, 1.0000025F, 0)), "ox");
    EXPECT_EQ(answers(sphere, PointFlt(0, 0, 0.9999975F)), "ix");
    EXPECT_EQ(answers(sphere, PointFlt(0, 0, 1.00001F)), "o");
    EXPECT_EQ(answers(sphere, BoundingSphere({0.5F, 0, 0}, 0.5F)), "ix");
    EXPECT_EQ(answers(sphere, BoundingSphere({3, 0, 0}, 2)), "x");
    EXPECT_EQ(answers(sphere, BoundingSphere({3, 0, 0}, 1.9F)), "o");
    EXPECT_EQ(answers(sphere, AABoundingBox({1, 0, 0}, {2, 1, 1})), "x");
    EXPECT_EQ(answers(sphere, AABoundingBox({2, 0, 0}, {3, 1, 1})), "");
    EXPECT_EQ(answers(sphere, Frustum(qvLinear::ProjMatrix())), "");
}

} // namespace
