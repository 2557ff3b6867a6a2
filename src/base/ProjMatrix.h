#pragma once

#include "base/AffineMatrix.h"

namespace qvLinear {

/// A projective map of space: sixteen numbers, four rows of four.
///
/// A point is a row vector on the left, p' = p M, with the translation in elements 12 to 14. That
/// is the same storage as OpenGL's column-major matrices, which multiply from the other side.
class QV_EXPORT ProjMatrix {
public:
    /// `diagonal` on the diagonal; the identity by default.
    explicit ProjMatrix(double diagonal = 1.0)
        : fElements{diagonal, 0, 0, 0, 0, diagonal, 0, 0, 0, 0, diagonal, 0, 0, 0, 0, diagonal} {}
    /// The map `affine`, with a last column of (0, 0, 0, 1).
    explicit ProjMatrix(const AffineMatrix& affine);

    /// Element `i` in storage order, row after row: 4 * row + column.
    double& operator[](unsigned int i) { return fElements[i]; }
    /// Element `i` in that order, for reading.
    double operator[](unsigned int i) const { return fElements[i]; }
    /// Element in row 0..3, column 0..3.
    double& operator()(unsigned int row, unsigned int column) { return fElements[4 * row + column]; }
    /// Element in that row and column, for reading.
    double operator()(unsigned int row, unsigned int column) const { return fElements[4 * row + column]; }

    /// out = in M, without a division by w. `out` and `in` may be the same point.
    void preMult(HPoint& out, const HPoint& in) const {
        const ProjMatrix& m = *this;
        out = HPoint(in.x * m(0, 0) + in.y * m(1, 0) + in.z * m(2, 0) + in.w * m(3, 0),
                     in.x * m(0, 1) + in.y * m(1, 1) + in.z * m(2, 1) + in.w * m(3, 1),
                     in.x * m(0, 2) + in.y * m(1, 2) + in.z * m(2, 2) + in.w * m(3, 2),
                     in.x * m(0, 3) + in.y * m(1, 3) + in.z * m(2, 3) + in.w * m(3, 3));
    }

private:
    double fElements[16];
};

static_assert(sizeof(ProjMatrix) == 128, "no padding");

/// The tolerance below which the library takes two matrix elements as equal.
inline constexpr double epsilonTol = 1e-10;

/// The map that applies `a` first and `b` second: the matrix product a b.
QV_EXPORT ProjMatrix operator*(const ProjMatrix& a, const ProjMatrix& b);

/// Whether no element of `a` differs from that of `b` by more than `tolerance`. Not-a-number
/// differs from everything.
QV_EXPORT bool equivalent(const ProjMatrix& a, const ProjMatrix& b, double tolerance);

} // namespace qvLinear
