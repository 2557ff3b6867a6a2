#include "base/qvLinear.h"

#include <gtest/gtest.h>

#include <limits>
#include <numbers>

using namespace qvLinear;

namespace {

void expectPoint(const Point& p, double x, double y, double z) {
    EXPECT_NEAR(p.x, x, 1e-12);
    EXPECT_NEAR(p.y, y, 1e-12);
    EXPECT_NEAR(p.z, z, 1e-12);
}

Point map(const AffineMatrix& m, double x, double y, double z) {
    Point p(x, y, z);
    m.preMult(p, p); // in place
    return p;
}

TEST(Linear, PointsAreRowVectorsWithTheTranslationInTheLastRow) {
    AffineMatrix m(2.0);
    m[9] = 10;
    m(3, 1) = 20;
    m(0, 2) = 1; // x feeds z
    expectPoint(map(m, 1, 2, 3), 12, 24, 7);

    const ProjMatrix p(m);
    EXPECT_EQ(p[12], 10);
    EXPECT_EQ(p(0, 2), 1);
    HPoint h(1, 2, 3, 1);
    p.preMult(h, h);
    EXPECT_EQ(h.x, 12);
    EXPECT_EQ(h.y, 24);
    EXPECT_EQ(h.z, 7);
    EXPECT_EQ(h.w, 1);
    m.identity();
    expectPoint(map(m, 1, 2, 3), 1, 2, 3);
}

TEST(Linear, RotationsAreAppendedAndRightHanded) {
    constexpr double kQuarter = std::numbers::pi / 2;
    const struct {
        Normal axis;
        Point in, out;
    } rows[] = {
        {{0, 0, 5}, {1, 0, 0}, {0, 1, 0}}, // the length of the axis does not matter
        {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}},
        {{0, 1, 0}, {0, 0, 1}, {1, 0, 0}},
        {{0, 0, 0}, {1, 2, 3}, {1, 2, 3}},
    };
    for (const auto& row : rows) {
        AffineMatrix m;
        m.rotate(kQuarter, row.axis);
        expectPoint(map(m, row.in.x, row.in.y, row.in.z), row.out.x, row.out.y, row.out.z);
    }
    AffineMatrix m;
    m.translate(Vector(1, 0, 0));
    m.rotate(kQuarter, Normal(0, 0, 1)); // appended: turns the translation, too
    expectPoint(map(m, 0, 0, 0), 0, 1, 0);
    m.translate(Vector(1, 0, 0)); // in the turned space
    expectPoint(map(m, 0, 0, 0), 0, 2, 0);
}

TEST(Linear, TheInverseUndoesTheMap) {
    AffineMatrix m(3.0);
    m.rotate(0.7, Normal(1, -2, 0.5));
    m.translate(Vector(4, 5, -6));
    m(0, 1) += 0.25; // not only a similarity
    const AffineMatrix inverse = m.inverse();
    const Point p = map(m, 7, -8, 9);
    expectPoint(map(inverse, p.x, p.y, p.z), 7, -8, 9);
    EXPECT_TRUE(equivalent(ProjMatrix(inverse) * ProjMatrix(m), ProjMatrix(1.0), 1e-12));
    EXPECT_FALSE(std::isfinite(AffineMatrix(0.0).inverse()[0]));
    for (unsigned int i = 9; i < 12; ++i) {
        EXPECT_FALSE(std::signbit(AffineMatrix().inverse()[i])) << i; // no -0 in the translation
    }
}

TEST(Linear, ProductsApplyTheLeftFactorFirst) {
    AffineMatrix move;
    move.translate(Vector(1, 2, 3));
    ProjMatrix scale(2.0);
    scale[15] = 1;
    HPoint h(0, 0, 0, 1);
    (ProjMatrix(move) * scale).preMult(h, h);
    EXPECT_EQ(h.x, 2);
    EXPECT_EQ(h.y, 4);
    EXPECT_EQ(h.z, 6);
    EXPECT_EQ(h.w, 1);
}

TEST(Linear, EquivalenceIsInclusiveAndFailsForNotANumber) {
    ProjMatrix m;
    m[7] = 0.5;
    EXPECT_TRUE(equivalent(m, ProjMatrix(), 0.5));
    EXPECT_FALSE(equivalent(m, ProjMatrix(), 0.49));
    m[7] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(equivalent(m, m, 1));
    EXPECT_EQ(epsilonTol, 1e-10);
}

TEST(Linear, LengthsAndDistances) {
    AffineMatrix turned;
    turned.rotate(0.7, Normal(2, -3, 6));
    // Also where squares are no doubles; 5e-324 is the least of all.
    for (double scale : {5e-324, 1e-300, 1e-160, 1e-136, 1.0, 1e135, 1e160, 1e300}) {
        Vector v(2 * scale, -3 * scale, 6 * scale);
        EXPECT_NEAR(v.length() / scale, 7, 1e-14) << scale;
        AffineMatrix m;
        m.rotate(0.7, Normal(v.x, v.y, v.z));
        EXPECT_TRUE(equivalent(ProjMatrix(m), ProjMatrix(turned), 1e-15)) << scale;
        v.normalize();
        EXPECT_NEAR(v.x, 2.0 / 7, 1e-15) << scale;
        EXPECT_NEAR(v.y, -3.0 / 7, 1e-15) << scale;
        EXPECT_NEAR(v.z, 6.0 / 7, 1e-15) << scale;
    }
    Vector zero;
    zero.normalize();
    EXPECT_EQ(zero.length(), 0);
    EXPECT_EQ(Vector(1, -std::numeric_limits<double>::infinity(), 2).length(),
              std::numeric_limits<double>::infinity());
    EXPECT_EQ(distance(PointFlt(1, 1, 1), PointFlt(3, 4, 7)), 7.0F);
    EXPECT_EQ(distance(PointFlt(3e38F, 0, 0), PointFlt()), 3e38F); // its square is no float
}

} // namespace
