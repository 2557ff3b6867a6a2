#pragma once

#include "base/Export.h"
#include "base/Vectors.h"

namespace qvLinear {

/// An affine map of space: four rows of three numbers.
///
/// Rows 0 to 2 are the linear part A, row 3 is the translation T. A point is a row vector on the
/// left, p' = p A + T, so that a product reads in the order of application.
///
///     AffineMatrix m;                            // the identity
///     m.rotate(std::numbers::pi, Normal(0, 1, 0)); // appended: applied after what m did so far
///     m.translate(Vector(0, 0, -10));            // in m's own, now turned, space
class QV_EXPORT AffineMatrix {
public:
    /// `scale` on the diagonal, no translation; the identity by default.
    explicit AffineMatrix(double scale = 1.0) : fElements{scale, 0, 0, 0, scale, 0, 0, 0, scale, 0, 0, 0} {}

    /// Element `i` in storage order, row after row: 3 * row + column.
    double& operator[](unsigned int i) { return fElements[i]; }
    /// Element `i` in that order, for reading.
    double operator[](unsigned int i) const { return fElements[i]; }
    /// Element in row 0..3, column 0..2.
    double& operator()(unsigned int row, unsigned int column) { return fElements[3 * row + column]; }
    /// Element in that row and column, for reading.
    double operator()(unsigned int row, unsigned int column) const { return fElements[3 * row + column]; }

    /// Makes this the identity.
    void identity() { *this = AffineMatrix(1.0); }

    /// The full affine inverse. A linear part whose determinant is 0 gives non-finite elements.
    AffineMatrix inverse() const;

    /// Appends a right-handed rotation by `radians` about `axis` through the origin: a point is
    /// first mapped by the matrix so far and then turned. The axis is normalised; an axis of length
    /// 0 changes nothing. Source: Rodrigues' rotation formula.
    void rotate(double radians, const Normal& axis);

    /// Moves in the matrix's own space: the translation gains `v` times the linear part.
    void translate(const Vector& v);

    /// out = in A + T. `out` and `in` may be the same point.
    void preMult(Point& out, const Point& in) const {
        const AffineMatrix& m = *this;
        out = Point(in.x * m(0, 0) + in.y * m(1, 0) + in.z * m(2, 0) + m(3, 0),
                    in.x * m(0, 1) + in.y * m(1, 1) + in.z * m(2, 1) + m(3, 1),
                    in.x * m(0, 2) + in.y * m(1, 2) + in.z * m(2, 2) + m(3, 2));
    }

private:
    double fElements[12];
};

static_assert(sizeof(AffineMatrix) == 96, "no padding");

} // namespace qvLinear
