#include "base/AffineMatrix.h"

namespace qvLinear {

AffineMatrix AffineMatrix::inverse() const {
    const AffineMatrix& m = *this;
    // The inverse of the linear part is its adjugate over its determinant.
    AffineMatrix result;
    for (unsigned int row = 0; row < 3; ++row) {
        const unsigned int r1 = (row + 1) % 3;
        const unsigned int r2 = (row + 2) % 3;
        for (unsigned int column = 0; column < 3; ++column) {
            const unsigned int c1 = (column + 1) % 3;
            const unsigned int c2 = (column + 2) % 3;
            result(column, row) = m(r1, c1) * m(r2, c2) - m(r1, c2) * m(r2, c1);
        }
    }
    const double determinant = m(0, 0) * result(0, 0) + m(0, 1) * result(1, 0) + m(0, 2) * result(2, 0);
    for (unsigned int i = 0; i < 9; ++i) {
        result[i] /= determinant;
    }
    // p = (p' - T) A^-1.
    for (unsigned int column = 0; column < 3; ++column) {
        result(3, column) =
            0 - (m(3, 0) * result(0, column) + m(3, 1) * result(1, column) + m(3, 2) * result(2, column));
    }
    return result;
}

void AffineMatrix::rotate(double radians, const Normal& axis) {
    Vector a(axis.x, axis.y, axis.z);
    if (a.length() == 0) {
        return;
    }
    a.normalize();
    const double c = std::cos(radians);
    const double s = std::sin(radians);
    const double t = 1 - c;
    // Transposed against the usual column form, because points are row vectors.
    const double turn[3][3] = {
        {t * a.x * a.x + c, t * a.x * a.y + s * a.z, t * a.x * a.z - s * a.y},
        {t * a.x * a.y - s * a.z, t * a.y * a.y + c, t * a.y * a.z + s * a.x},
        {t * a.x * a.z + s * a.y, t * a.y * a.z - s * a.x, t * a.z * a.z + c},
    };
    for (unsigned int row = 0; row < 4; ++row) {
        const double x = (*this)(row, 0);
        const double y = (*this)(row, 1);
        const double z = (*this)(row, 2);
        for (unsigned int column = 0; column < 3; ++column) {
            (*this)(row, column) = x * turn[0][column] + y * turn[1][column] + z * turn[2][column];
        }
    }
}

void AffineMatrix::translate(const Vector& v) {
    for (unsigned int column = 0; column < 3; ++column) {
        (*this)(3, column) += v.x * (*this)(0, column) + v.y * (*this)(1, column) + v.z * (*this)(2, column);
    }
}

} // namespace qvLinear
