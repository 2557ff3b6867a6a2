#include "base/ProjMatrix.h"

namespace qvLinear {

ProjMatrix::ProjMatrix(const AffineMatrix& affine) {
    for (unsigned int row = 0; row < 4; ++row) {
        for (unsigned int column = 0; column < 3; ++column) {
            (*this)(row, column) = affine(row, column);
        }
        (*this)(row, 3) = row == 3 ? 1.0 : 0.0;
    }
}

ProjMatrix operator*(const ProjMatrix& a, const ProjMatrix& b) {
    ProjMatrix result;
    for (unsigned int row = 0; row < 4; ++row) {
        for (unsigned int column = 0; column < 4; ++column) {
            result(row, column) = a(row, 0) * b(0, column) + a(row, 1) * b(1, column) +
                                  a(row, 2) * b(2, column) + a(row, 3) * b(3, column);
        }
    }
    return result;
}

bool equivalent(const ProjMatrix& a, const ProjMatrix& b, double tolerance) {
    for (unsigned int i = 0; i < 16; ++i) {
        // Written so that not-a-number fails.
        if (!(std::fabs(a[i] - b[i]) <= tolerance)) {
            return false;
        }
    }
    return true;
}

} // namespace qvLinear
