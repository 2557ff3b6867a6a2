#include "geometry/AABoundingBox.h"
#include "geometry/BoundingSphere.h"
#include "geometry/Frustum.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

using qvLinear::PointFlt;
using qvLinear::ProjMatrix;

namespace {

struct FrustumProbe : Frustum {
    using Frustum::Frustum;
    using Frustum::pointInFrustum;
    std::array<double, 4> plane(unsigned int i) const {
        const PlanePair& pair = planes(i / 2);
        return {pair.a[i % 2], pair.b[i % 2], pair.c[i % 2], pair.d[i % 2]};
    }
};

bool touches(const Frustum& frustum, const IBoundingVolume& volume) {
    return frustum.classify(IBounds::kIntersect, volume);
}

/// The eight corners, plane by plane.
bool plainTouches(const FrustumProbe& frustum, const AABoundingBox& box) {
    const PointFlt low = box.min();
    const PointFlt high = box.max();
    for (unsigned int i = 0; i < 6; ++i) {
        const std::array<double, 4> p = frustum.plane(i);
        if (p[0] == 0 && p[1] == 0 && p[2] == 0 && p[3] == 0) {
            continue;
        }
        bool allBehind = true;
        for (double x : {low.x, high.x}) {
            for (double y : {low.y, high.y}) {
                for (double z : {low.z, high.z}) {
                    allBehind = allBehind && p[0] * x + p[1] * y + p[2] * z + p[3] <= 0;
                }
            }
        }
        if (allBehind) {
            return false;
        }
    }
    return true;
}

bool plainTouches(const FrustumProbe& frustum, const BoundingSphere& sphere) {
    const PointFlt c = sphere.center();
    for (unsigned int i = 0; i < 6; ++i) {
        const std::array<double, 4> p = frustum.plane(i);
        if (p[0] * c.x + p[1] * c.y + p[2] * c.z + p[3] <= -double(sphere.radius())) {
            return false;
        }
    }
    return true;
}

TEST(Frustum, PlanesOfTheIdentity) {
    const FrustumProbe frustum((ProjMatrix()));
    const std::array<double, 4> planes[6] = {
        {-1, 0, 0, 1}, {1, 0, 0, 1}, {0, 1, 0, 1}, {0, -1, 0, 1}, {0, 0, -1, 1}, {0, 0, 1, 1},
    };
    for (unsigned int i = 0; i < 6; ++i) {
        EXPECT_EQ(frustum.plane(i), planes[i]) << i;
    }
    EXPECT_EQ(frustum.boundsType(), IBounds::kFrustumType);
    EXPECT_TRUE(frustum.isValid());
    // A point on a plane is inside; a sphere or box that only touches one from outside is not.
    EXPECT_TRUE(frustum.pointInFrustum(1, -1, 1));
    EXPECT_FALSE(touches(frustum, BoundingSphere({2, 0, 0}, 1)));
    EXPECT_TRUE(touches(frustum, BoundingSphere({2, 0, 0}, 1.0001F)));
    EXPECT_FALSE(touches(frustum, AABoundingBox({1, -1, -1}, {2, 1, 1})));
    EXPECT_TRUE(touches(frustum, AABoundingBox({0.999F, -1, -1}, {2, 1, 1})));
    for (IBounds::IntersectType type : {IBounds::kInside, IBounds::kOutside}) {
        EXPECT_FALSE(frustum.classify(type, BoundingSphere({0, 0, 0}, 0.5F)));
        EXPECT_FALSE(frustum.classify(type, AABoundingBox({-1, -1, -1}, {1, 1, 1})));
    }
}

// Each plane is normalised, and proportional to what clip coordinates say: w - x, w + x, w + y, ...
TEST(Frustum, PlanesAreThoseOfTheClipCoordinates) {
    std::mt19937 random(5);
    const auto number = [&] { return static_cast<double>(random() % 2001) / 100 - 10; };
    for (int round = 0; round < 100; ++round) {
        ProjMatrix m;
        for (unsigned int i = 0; i < 16; ++i) {
            m[i] = number();
        }
        const FrustumProbe frustum(m);
        double distances[6][2], clips[6][2];
        for (int k : {0, 1}) {
            const double x = number(), y = number(), z = number();
            qvLinear::HPoint p(x, y, z, 1);
            m.preMult(p, p);
            const double clip[6] = {p.w - p.x, p.w + p.x, p.w + p.y, p.w - p.y, p.w - p.z, p.w + p.z};
            bool inside = true;
            for (unsigned int i = 0; i < 6; ++i) {
                const auto plane = frustum.plane(i);
                distances[i][k] = plane[0] * x + plane[1] * y + plane[2] * z + plane[3];
                clips[i][k] = clip[i];
                inside = inside && clip[i] >= 0;
                EXPECT_NEAR(std::hypot(plane[0], plane[1], plane[2]), 1, 1e-12);
                EXPECT_GE(distances[i][k] * clip[i], 0) << i;
            }
            EXPECT_EQ(frustum.pointInFrustum(x, y, z), inside);
        }
        for (int i = 0; i < 6; ++i) {
            EXPECT_NEAR(distances[i][0] * clips[i][1], distances[i][1] * clips[i][0], 1e-7) << i;
        }
    }
}

TEST(Frustum, CopiesAreInvalidAndAssignmentsAreNot) {
    Frustum frustum((ProjMatrix()));
    const BoundingSphere outside({9, 0, 0}, 1);
    Frustum copy(frustum);
    EXPECT_EQ(copy.boundsType(), IBounds::kFrustumType);
    EXPECT_FALSE(copy.isValid());
    EXPECT_TRUE(touches(copy, outside));
    Frustum assigned;
    EXPECT_EQ(assigned.boundsType(), IBounds::kInvalidBoundsType);
    EXPECT_FALSE(assigned.isValid());
    assigned = frustum;
    EXPECT_EQ(assigned.boundsType(), IBounds::kFrustumType);
    EXPECT_TRUE(assigned.isValid());
    EXPECT_FALSE(touches(assigned, outside));
    frustum.setInvalid();
    EXPECT_FALSE(frustum.isValid());
    EXPECT_TRUE(touches(frustum, outside));
    frustum.recomputePlaneEquations(ProjMatrix());
    EXPECT_TRUE(frustum.isValid());
}

TEST(Frustum, ZeroPlanesRejectNothingButEmptySpheres) {
    const Frustum frustum;
    const float inf = std::numeric_limits<float>::infinity();
    EXPECT_TRUE(touches(frustum, AABoundingBox({1, 1, 1}, {1, 1, 1})));
    EXPECT_TRUE(touches(frustum, AABoundingBox()));
    EXPECT_TRUE(touches(frustum, AABoundingBox({-inf, 0, 0}, {inf, 1, 1})));
    EXPECT_TRUE(touches(frustum, BoundingSphere({1, 1, 1}, 1e-30F)));
    EXPECT_FALSE(touches(frustum, BoundingSphere({1, 1, 1}, 0)));
}

/// A volume of no known type.
class OtherVolume : public IBoundingVolume {
public:
    bool isValid() const override { return true; }
    void setInvalid() override {}
    void transform(const qvLinear::AffineMatrix&) override {}
    void addPoint(const PointFlt&) override {}
    void addPoints(const std::vector<PointFlt>&) override {}
    PointFlt center() const override { return {}; }
    float radius() const override { return 1; }
    PointFlt min() const override { return {}; }
    PointFlt max() const override { return {}; }
};

TEST(Frustum, OtherVolumesNeverTouch) {
    EXPECT_FALSE(touches(Frustum(ProjMatrix()), OtherVolume()));
}

// Tame, wild and broken numbers: what the shortcut answers is what all eight corners answer.
TEST(Frustum, AnswersAsAllCornersDo) {
    std::mt19937 random(7);
    const float special[] = {0.0F,
                             -0.0F,
                             1.0F,
                             -1.0F,
                             std::numeric_limits<float>::denorm_min(),
                             std::numeric_limits<float>::max(),
                             -std::numeric_limits<float>::max(),
                             std::numeric_limits<float>::infinity(),
                             -std::numeric_limits<float>::infinity(),
                             std::numeric_limits<float>::quiet_NaN()};
    const auto tame = [&] { return static_cast<float>(random() % 4001) / 1000 - 2; };
    const auto number = [&](unsigned int wildness) -> float {
        switch (random() % 8 < wildness ? random() % 2 : 2) {
        case 0:
            return special[random() % std::size(special)];
        case 1:
            return std::bit_cast<float>(static_cast<std::uint32_t>(random()));
        default:
            return tame();
        }
    };
    int answers[2] = {0, 0};
    for (int round = 0; round < 4000; ++round) {
        const unsigned int matrixWildness = round % 4 == 0 ? 1 : 0;
        ProjMatrix m;
        for (unsigned int i = 0; i < 16; ++i) {
            m[i] = number(matrixWildness);
            if (round % 16 == 1) {
                m[i] *= 1e300; // normals of infinite length
            }
        }
        const FrustumProbe frustum(m);
        for (int k = 0; k < 25; ++k) {
            const unsigned int wildness = k % 3;
            const PointFlt low(number(wildness), number(wildness), number(wildness));
            PointFlt high(number(wildness), number(wildness), number(wildness));
            if (k % 5 == 0) {
                high = PointFlt(low.x + 0.01F, low.y + 0.01F, low.z + 0.01F);
            }
            const AABoundingBox box(low, high);
            ASSERT_EQ(touches(frustum, box), plainTouches(frustum, box)) << round << " " << k;
            const BoundingSphere sphere(low, high.x);
            ASSERT_EQ(touches(frustum, sphere), plainTouches(frustum, sphere)) << round << " " << k;
            ++answers[touches(frustum, box)];
        }
    }
    EXPECT_GT(answers[0], 10000);
    EXPECT_GT(answers[1], 10000);
}

} // namespace
