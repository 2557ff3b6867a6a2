#pragma once

/// @file
/// What the primitives compute: the kernels that the table of primitives names.
///
/// A kernel works on columns, one number per point, and is compiled for arguments that are the same
/// at every point and for those that are not, so that its loops have nothing to decide.

#include "evaluation/KernelCall.h"
#include "evaluation/Numbers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <type_traits>
#include <utility>

namespace qvShadingDag {

namespace kernels {

// ---- Shapes: how columns are walked ----

template <std::size_t stride>
using Stride = std::integral_constant<std::size_t, stride>;

/// Calls `body` with the operand's stride as a type.
template <typename Body>
void withStride(const KernelOperand& operand, const Body& body) {
    operand.stride == 0 ? body(Stride<0>()) : body(Stride<1>());
}

/// Calls `body` with a width of 1 to 4 as a type.
template <typename Body>
void withWidth(int width, const Body& body) {
    switch (width) {
    case 1:
        return body(std::integral_constant<int, 1>());
    case 2:
        return body(std::integral_constant<int, 2>());
    case 3:
        return body(std::integral_constant<int, 3>());
    default:
        return body(std::integral_constant<int, 4>());
    }
}

/// The column of a component; a scalar is used for every component.
inline const double* columnOf(const KernelOperand& operand, int component) {
    return operand.columns[operand.width == 1 ? 0 : component];
}

/// Component by component.
template <double (*compute)(double)>
void unary(const KernelCall& call, std::size_t count) {
    const KernelOperand& a = call.arguments[0];
    withStride(a, [&](auto strideA) {
        for (int c = 0; c < call.resultWidth; ++c) {
            const double* x = columnOf(a, c);
            double* __restrict out = call.results[c];
            for (std::size_t i = 0; i < count; ++i) {
                out[i] = compute(x[i * strideA]);
            }
        }
    });
}

template <double (*compute)(double, double)>
void binary(const KernelCall& call, std::size_t count) {
    const KernelOperand& a = call.arguments[0];
    const KernelOperand& b = call.arguments[1];
    withStride(a, [&](auto strideA) {
        withStride(b, [&](auto strideB) {
            for (int c = 0; c < call.resultWidth; ++c) {
                const double* x = columnOf(a, c);
                const double* y = columnOf(b, c);
                double* __restrict out = call.results[c];
                for (std::size_t i = 0; i < count; ++i) {
                    out[i] = compute(x[i * strideA], y[i * strideB]);
                }
            }
        });
    });
}

template <double (*compute)(double, double, double)>
void ternary(const KernelCall& call, std::size_t count) {
    const KernelOperand& a = call.arguments[0];
    const KernelOperand& b = call.arguments[1];
    const KernelOperand& d = call.arguments[2];
    withStride(a, [&](auto strideA) {
        withStride(b, [&](auto strideB) {
            withStride(d, [&](auto strideD) {
                for (int c = 0; c < call.resultWidth; ++c) {
                    const double* x = columnOf(a, c);
                    const double* y = columnOf(b, c);
                    const double* z = columnOf(d, c);
                    double* __restrict out = call.results[c];
                    for (std::size_t i = 0; i < count; ++i) {
                        out[i] = compute(x[i * strideA], y[i * strideB], z[i * strideD]);
                    }
                }
            });
        });
    });
}

// ---- Single components ----

inline double add(double a, double b) {
    return a + b;
}
inline double subtract(double a, double b) {
    return a - b;
}
inline double multiply(double a, double b) {
    return a * b;
}
inline double divide(double a, double b) {
    return a / b;
}
/// With the sign of the dividend.
inline double remainder(double a, double b) {
    return std::fmod(a, b);
}
inline double negate(double a) {
    return -a;
}
inline double increment(double a) {
    return a + 1;
}
inline double decrement(double a) {
    return a - 1;
}

inline double addClamped(double a, double b) {
    return clampedToUnit(a + b);
}
inline double subtractClamped(double a, double b) {
    return clampedToUnit(a - b);
}
inline double multiplyClamped(double a, double b) {
    return clampedToUnit(a * b);
}

/// Integers have 32 bits and wrap around; dividing by 0 gives 0.
inline double wrapped(std::uint64_t bits) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(bits));
}
inline std::uint64_t bitsOf(double whole) {
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(whole));
}
inline double addInt(double a, double b) {
    return wrapped(bitsOf(a) + bitsOf(b));
}
inline double subtractInt(double a, double b) {
    return wrapped(bitsOf(a) - bitsOf(b));
}
inline double multiplyInt(double a, double b) {
    return wrapped(bitsOf(a) * bitsOf(b));
}
inline double divideInt(double a, double b) {
    const auto divisor = static_cast<std::int64_t>(b);
    return divisor == 0 ? 0 : wrapped(static_cast<std::uint64_t>(static_cast<std::int64_t>(a) / divisor));
}
inline double remainderInt(double a, double b) {
    const auto divisor = static_cast<std::int64_t>(b);
    return divisor == 0 ? 0 : static_cast<double>(static_cast<std::int64_t>(a) % divisor);
}
inline double negateInt(double a) {
    return subtractInt(0, a);
}
inline double incrementInt(double a) {
    return addInt(a, 1);
}
inline double decrementInt(double a) {
    return subtractInt(a, 1);
}
inline double absInt(double a) {
    return a < 0 ? negateInt(a) : a;
}

inline double less(double a, double b) {
    return a < b ? 1 : 0;
}
inline double lessEqual(double a, double b) {
    return a <= b ? 1 : 0;
}
inline double greater(double a, double b) {
    return a > b ? 1 : 0;
}
inline double greaterEqual(double a, double b) {
    return a >= b ? 1 : 0;
}
inline double logicalAnd(double a, double b) {
    return a * b;
}
inline double logicalOr(double a, double b) {
    return a + b - a * b;
}
inline double logicalNot(double a) {
    return 1 - a;
}
inline double select(double condition, double a, double b) {
    return condition != 0 ? a : b;
}

inline double same(double a) {
    return a;
}
inline double toInt(double a) {
    return saturatedInt(a);
}
inline double toBool(double a) {
    return a != 0 ? 1 : 0;
}

inline double sine(double a) {
    return std::sin(a);
}
inline double cosine(double a) {
    return std::cos(a);
}
inline double arcSine(double a) {
    return std::asin(a);
}
inline double arcCosine(double a) {
    return std::acos(a);
}
inline double arcTangent(double a) {
    return std::atan(a);
}
inline double arcTangent2(double y, double x) {
    return std::atan2(y, x);
}
inline double hyperbolicSine(double a) {
    return std::sinh(a);
}
inline double hyperbolicCosine(double a) {
    return std::cosh(a);
}
inline double hyperbolicTangent(double a) {
    return std::tanh(a);
}
inline double degrees(double a) {
    return a * (180 / std::numbers::pi);
}
inline double radians(double a) {
    return a * (std::numbers::pi / 180);
}

inline double exponential(double a) {
    return std::exp(a);
}
inline double exponential2(double a) {
    return std::exp2(a);
}
inline double logarithm(double a) {
    return std::log(a);
}
inline double logarithm2(double a) {
    return std::log2(a);
}
inline double logarithm10(double a) {
    return std::log10(a);
}
inline double logarithmToBase(double a, double base) {
    return std::log(a) / std::log(base);
}
inline double squareRoot(double a) {
    return std::sqrt(a);
}
inline double inverseSquareRoot(double a) {
    return 1 / std::sqrt(a);
}
/// Of a negative base always not-a-number, also for whole exponents.
inline double power(double base, double exponent) {
    return base < 0 ? std::numeric_limits<double>::quiet_NaN() : std::pow(base, exponent);
}
inline double scaleByPowerOf2(double a, double exponent) {
    return a * std::exp2(exponent);
}

inline double absolute(double a) {
    return std::fabs(a);
}
inline double sign(double a) {
    return (a > 0 ? 1.0 : 0.0) - (a < 0 ? 1.0 : 0.0);
}
inline double floorOf(double a) {
    return std::floor(a);
}
inline double ceiling(double a) {
    return std::ceil(a);
}
/// Halves go to the even neighbour.
inline double roundToEven(double a) {
    return std::nearbyint(a);
}
inline double fraction(double a) {
    return a - std::floor(a);
}

/// The first argument where one of them is not-a-number: a value that is limited by numbers stays
/// not-a-number.
inline double minimum(double a, double b) {
    return b < a ? b : a;
}
inline double maximum(double a, double b) {
    return a < b ? b : a;
}
inline double clamp(double x, double low, double high) {
    return minimum(maximum(x, low), high);
}
inline double mix(double a, double b, double t) {
    return a + (b - a) * t;
}
inline double mixClamped(double a, double b, double t) {
    return clampedToUnit(mix(a, b, t));
}
inline double step(double edge, double x) {
    return x >= edge ? 1 : 0;
}
inline double smoothstep(double low, double high, double x) {
    const double t = clampedToUnit((x - low) / (high - low));
    return t * t * (3 - 2 * t);
}

// ---- Whole values ----

inline bool allEqual(const KernelCall& call, std::size_t point) {
    for (int c = 0; c < call.arguments[0].width; ++c) {
        if (call.arguments[0].at(c, point) != call.arguments[1].at(c, point)) {
            return false;
        }
    }
    return true;
}

template <bool wanted>
void equality(const KernelCall& call, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        call.results[0][i] = allEqual(call, i) == wanted ? 1 : 0;
    }
}

inline double finite(double a) {
    return std::isfinite(a) ? 1 : 0;
}
inline double infinite(double a) {
    return std::isinf(a) ? 1 : 0;
}
inline double notANumber(double a) {
    return std::isnan(a) ? 1 : 0;
}

/// Whether `test` holds for some component, or `all` of them.
template <double (*test)(double), bool all>
void testComponents(const KernelCall& call, std::size_t count) {
    const KernelOperand& a = call.arguments[0];
    for (std::size_t i = 0; i < count; ++i) {
        double found = all ? 1 : 0;
        for (int c = 0; c < a.width; ++c) {
            found = all ? found * test(a.at(c, i)) : std::max(found, test(a.at(c, i)));
        }
        call.results[0][i] = found;
    }
}

inline void swizzle(const KernelCall& call, std::size_t count) {
    const KernelOperand& value = call.arguments[0];
    const KernelOperand& pattern = call.arguments[1];
    for (int c = 0; c < call.resultWidth; ++c) {
        for (std::size_t i = 0; i < count; ++i) {
            call.results[c][i] = value.at(placeOf(pattern.at(c, i), value.width), i);
        }
    }
}

/// All components of all arguments, one after the other.
inline void join(const KernelCall& call, std::size_t count) {
    int result = 0;
    for (int a = 0; a < call.argumentCount; ++a) {
        for (int c = 0; c < call.arguments[a].width && result < call.resultWidth; ++c, ++result) {
            for (std::size_t i = 0; i < count; ++i) {
                call.results[result][i] = call.arguments[a].at(c, i);
            }
        }
    }
}

/// One value for all components.
inline void repeat(const KernelCall& call, std::size_t count) {
    unary<same>(call, count);
}

inline void diagonalMatrix(const KernelCall& call, std::size_t count) {
    const int side = sideOfMatrix(call.resultWidth);
    for (int c = 0; c < call.resultWidth; ++c) {
        for (std::size_t i = 0; i < count; ++i) {
            call.results[c][i] = c % (side + 1) == 0 ? call.arguments[0].at(0, i) : 0;
        }
    }
}

/// The upper left part of a larger matrix, or a smaller one in the identity.
inline void resizedMatrix(const KernelCall& call, std::size_t count) {
    const KernelOperand& m = call.arguments[0];
    const int side = sideOfMatrix(call.resultWidth);
    const int from = sideOfMatrix(m.width);
    for (int c = 0; c < call.resultWidth; ++c) {
        const int row = c / side;
        const int column = c % side;
        for (std::size_t i = 0; i < count; ++i) {
            call.results[c][i] = row < from && column < from ? m.at(row * from + column, i)
                                 : row == column             ? 1
                                                             : 0;
        }
    }
}

template <bool isRow>
void lineOfMatrix(const KernelCall& call, std::size_t count) {
    const KernelOperand& m = call.arguments[0];
    const int side = call.resultWidth;
    for (int c = 0; c < side; ++c) {
        for (std::size_t i = 0; i < count; ++i) {
            const int line = placeOf(call.arguments[1].at(0, i), side);
            call.results[c][i] = isRow ? m.at(line * side + c, i) : m.at(c * side + line, i);
        }
    }
}

inline void transpose(const KernelCall& call, std::size_t count) {
    const int side = sideOfMatrix(call.resultWidth);
    for (int c = 0; c < call.resultWidth; ++c) {
        for (std::size_t i = 0; i < count; ++i) {
            call.results[c][i] = call.arguments[0].at(c % side * side + c / side, i);
        }
    }
}

/// The product of an a by n and an n by b matrix, `rows` and `columns` being a and b; a vector is a
/// matrix of one row on the left and of one column on the right.
template <bool leftIsRow, bool rightIsColumn>
void matrixProduct(const KernelCall& call, std::size_t count) {
    const KernelOperand& left = call.arguments[0];
    const KernelOperand& right = call.arguments[1];
    const int side = leftIsRow ? left.width : sideOfMatrix(left.width);
    const int rows = leftIsRow ? 1 : side;
    const int columns = rightIsColumn ? 1 : side;
    withWidth(side, [&](auto width) {
        constexpr std::size_t n = width;
        withStride(left, [&](auto strideL) {
            withStride(right, [&](auto strideR) {
                for (int r = 0; r < rows; ++r) {
                    for (int c = 0; c < columns; ++c) {
                        std::array<const double*, n> x;
                        std::array<const double*, n> y;
                        for (std::size_t k = 0; k < n; ++k) {
                            x[k] = left.columns[r * n + k];
                            y[k] = right.columns[k * columns + c];
                        }
                        double* __restrict out = call.results[r * columns + c];
                        for (std::size_t i = 0; i < count; ++i) {
                            double sum = x[0][i * strideL] * y[0][i * strideR];
                            for (std::size_t k = 1; k < n; ++k) {
                                sum += x[k][i * strideL] * y[k][i * strideR];
                            }
                            out[i] = sum;
                        }
                    }
                }
            });
        });
    });
}

using Elements = std::array<double, 16>;

inline double determinantOf(const Elements& m, int side) {
    if (side == 2) {
        return m[0] * m[3] - m[1] * m[2];
    }
    if (side == 3) {
        return m[0] * (m[4] * m[8] - m[5] * m[7]) - m[1] * (m[3] * m[8] - m[5] * m[6]) +
               m[2] * (m[3] * m[7] - m[4] * m[6]);
    }
    // By the determinants of the upper and of the lower two rows.
    const auto upper = [&](std::size_t i, std::size_t j) { return m[i] * m[4 + j] - m[j] * m[4 + i]; };
    const auto lower = [&](std::size_t i, std::size_t j) {
        return m[8 + i] * m[12 + j] - m[8 + j] * m[12 + i];
    };
    return upper(0, 1) * lower(2, 3) - upper(0, 2) * lower(1, 3) + upper(0, 3) * lower(1, 2) +
           upper(1, 2) * lower(0, 3) - upper(1, 3) * lower(0, 2) + upper(2, 3) * lower(0, 1);
}

/// The determinant of the matrix without one row and one column.
inline double minorOf(const Elements& m, int side, int row, int column) {
    Elements rest{};
    std::size_t filled = 0;
    for (int r = 0; r < side; ++r) {
        for (int c = 0; c < side; ++c) {
            if (r != row && c != column) {
                rest[filled++] = m[static_cast<std::size_t>(r) * static_cast<std::size_t>(side) +
                                   static_cast<std::size_t>(c)];
            }
        }
    }
    return side == 2 ? rest[0] : determinantOf(rest, side - 1);
}

inline Elements elementsAt(const KernelOperand& m, std::size_t point) {
    Elements elements{};
    for (int c = 0; c < m.width; ++c) {
        elements[static_cast<std::size_t>(c)] = m.at(c, point);
    }
    return elements;
}

inline void determinant(const KernelCall& call, std::size_t count) {
    const KernelOperand& m = call.arguments[0];
    for (std::size_t i = 0; i < count; ++i) {
        call.results[0][i] = determinantOf(elementsAt(m, i), sideOfMatrix(m.width));
    }
}

/// The adjugate over the determinant; without an inverse what that gives.
inline void inverse(const KernelCall& call, std::size_t count) {
    const int side = sideOfMatrix(call.resultWidth);
    for (std::size_t i = 0; i < count; ++i) {
        const Elements m = elementsAt(call.arguments[0], i);
        const double whole = determinantOf(m, side);
        for (int r = 0; r < side; ++r) {
            for (int c = 0; c < side; ++c) {
                const double cofactor = minorOf(m, side, c, r);
                call.results[r * side + c][i] = ((r + c) % 2 == 0 ? cofactor : -cofactor) / whole;
            }
        }
    }
}

/// Calls `body` with the columns of a vector, as many as its width of 1 to 4 says.
template <int width>
std::array<const double*, width> columnsOf(const KernelOperand& operand) {
    std::array<const double*, width> columns{};
    std::copy_n(operand.columns, width, columns.begin());
    return columns;
}

template <std::size_t width>
inline double dotAt(const std::array<const double*, width>& a, std::size_t i,
                    const std::array<const double*, width>& b, std::size_t j) {
    double sum = a[0][i] * b[0][j];
    for (std::size_t c = 1; c < width; ++c) {
        sum += a[c][i] * b[c][j];
    }
    return sum;
}

inline void dot(const KernelCall& call, std::size_t count) {
    const KernelOperand& a = call.arguments[0];
    const KernelOperand& b = call.arguments[1];
    withWidth(a.width, [&](auto width) {
        withStride(a, [&](auto strideA) {
            withStride(b, [&](auto strideB) {
                const auto x = columnsOf<width>(a);
                const auto y = columnsOf<width>(b);
                double* __restrict out = call.results[0];
                for (std::size_t i = 0; i < count; ++i) {
                    out[i] = dotAt(x, i * strideA, y, i * strideB);
                }
            });
        });
    });
}

inline void distance(const KernelCall& call, std::size_t count) {
    const KernelOperand& a = call.arguments[0];
    const KernelOperand& b = call.arguments[1];
    withWidth(a.width, [&](auto width) {
        withStride(a, [&](auto strideA) {
            withStride(b, [&](auto strideB) {
                const auto x = columnsOf<width>(a);
                const auto y = columnsOf<width>(b);
                double* __restrict out = call.results[0];
                for (std::size_t i = 0; i < count; ++i) {
                    double sum = 0;
                    for (std::size_t c = 0; c < width; ++c) {
                        const double difference = x[c][i * strideA] - y[c][i * strideB];
                        sum += difference * difference;
                    }
                    out[i] = std::sqrt(sum);
                }
            });
        });
    });
}

inline void length(const KernelCall& call, std::size_t count) {
    const KernelOperand& a = call.arguments[0];
    withWidth(a.width, [&](auto width) {
        withStride(a, [&](auto stride) {
            const auto x = columnsOf<width>(a);
            double* __restrict out = call.results[0];
            for (std::size_t i = 0; i < count; ++i) {
                out[i] = std::sqrt(dotAt(x, i * stride, x, i * stride));
            }
        });
    });
}

inline void normalize(const KernelCall& call, std::size_t count) {
    const KernelOperand& a = call.arguments[0];
    withWidth(a.width, [&](auto width) {
        withStride(a, [&](auto stride) {
            const auto x = columnsOf<width>(a);
            double lengths[kMaxPoints];
            for (std::size_t i = 0; i < count; ++i) {
                lengths[i] = std::sqrt(dotAt(x, i * stride, x, i * stride));
            }
            for (std::size_t c = 0; c < width; ++c) {
                const double* column = x[c];
                double* __restrict out = call.results[c];
                for (std::size_t i = 0; i < count; ++i) {
                    out[i] = column[i * stride] / lengths[i];
                }
            }
        });
    });
}

inline void cross(const KernelCall& call, std::size_t count) {
    const KernelOperand& a = call.arguments[0];
    const KernelOperand& b = call.arguments[1];
    withStride(a, [&](auto strideA) {
        withStride(b, [&](auto strideB) {
            for (int c = 0; c < 3; ++c) {
                const int j = (c + 1) % 3;
                const int k = (c + 2) % 3;
                const double* aj = a.columns[j];
                const double* ak = a.columns[k];
                const double* bj = b.columns[j];
                const double* bk = b.columns[k];
                double* __restrict out = call.results[c];
                for (std::size_t i = 0; i < count; ++i) {
                    out[i] = aj[i * strideA] * bk[i * strideB] - ak[i * strideA] * bj[i * strideB];
                }
            }
        });
    });
}

/// i - 2 (n . i) n.
inline void reflect(const KernelCall& call, std::size_t count) {
    const KernelOperand& incident = call.arguments[0];
    const KernelOperand& normal = call.arguments[1];
    withWidth(incident.width, [&](auto width) {
        withStride(incident, [&](auto strideI) {
            withStride(normal, [&](auto strideN) {
                const auto in = columnsOf<width>(incident);
                const auto n = columnsOf<width>(normal);
                double twice[kMaxPoints];
                for (std::size_t i = 0; i < count; ++i) {
                    twice[i] = 2 * dotAt(n, i * strideN, in, i * strideI);
                }
                for (std::size_t c = 0; c < width; ++c) {
                    const double* x = in[c];
                    const double* y = n[c];
                    double* __restrict out = call.results[c];
                    for (std::size_t i = 0; i < count; ++i) {
                        out[i] = x[i * strideI] - twice[i] * y[i * strideN];
                    }
                }
            });
        });
    });
}

/// With d = n . i and k = 1 - eta^2 (1 - d^2): 0 where k is below 0, else eta i - (eta d + sqrt k) n.
inline void refract(const KernelCall& call, std::size_t count) {
    const KernelOperand& incident = call.arguments[0];
    const KernelOperand& normal = call.arguments[1];
    for (std::size_t i = 0; i < count; ++i) {
        const double eta = call.arguments[2].at(0, i);
        double d = 0;
        for (int c = 0; c < incident.width; ++c) {
            d += normal.at(c, i) * incident.at(c, i);
        }
        const double k = 1 - eta * eta * (1 - d * d);
        for (int c = 0; c < incident.width; ++c) {
            call.results[c][i] =
                k < 0 ? 0 : eta * incident.at(c, i) - (eta * d + std::sqrt(k)) * normal.at(c, i);
        }
    }
}

/// The fraction, then the whole part.
inline void splitFraction(const KernelCall& call, std::size_t count) {
    const int width = call.resultWidth;
    for (int c = 0; c < width; ++c) {
        for (std::size_t i = 0; i < count; ++i) {
            call.results[c][i] = std::modf(call.arguments[0].at(c, i), &call.results[width + c][i]);
        }
    }
}

/// The mantissa, then the exponent; of what is not finite the number itself and 0.
inline void splitExponent(const KernelCall& call, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const double x = call.arguments[0].at(0, i);
        int exponent = 0;
        call.results[0][i] = std::isfinite(x) ? std::frexp(x, &exponent) : x;
        call.results[1][i] = exponent;
    }
}

// ---- Points of a quad ----
//
// Points 4 q to 4 q + 3 are lower left, lower right, upper left and upper right of the 2 x 2
// fragments of a quad. A single point stands for four equal ones.

inline std::size_t left(std::size_t point) {
    return point & ~std::size_t(1);
}
inline std::size_t below(std::size_t point) {
    return point & ~std::size_t(2);
}

inline double changeAlongX(const KernelOperand& value, int component, std::size_t point, std::size_t count) {
    return count == 1 ? 0 : value.at(component, left(point) + 1) - value.at(component, left(point));
}
inline double changeAlongY(const KernelOperand& value, int component, std::size_t point, std::size_t count) {
    return count == 1 ? 0 : value.at(component, below(point) + 2) - value.at(component, below(point));
}

template <double (*change)(const KernelOperand&, int, std::size_t, std::size_t)>
void derivative(const KernelCall& call, std::size_t count) {
    for (int c = 0; c < call.resultWidth; ++c) {
        for (std::size_t i = 0; i < count; ++i) {
            call.results[c][i] = change(call.arguments[0], c, i, count);
        }
    }
}

template <TextureKind kind, bool givesDerivatives>
void lookUp(const KernelCall& call, std::size_t count) {
    const KernelOperand& coordinates = call.arguments[1];
    TextureLookup lookup;
    lookup.kind = kind;
    for (std::size_t i = 0; i < count; ++i) {
        for (int c = 0; c < coordinates.width; ++c) {
            lookup.coordinates[c] = coordinates.at(c, i);
            lookup.dx[c] =
                givesDerivatives ? call.arguments[2].at(c, i) : changeAlongX(coordinates, c, i, count);
            lookup.dy[c] =
                givesDerivatives ? call.arguments[3].at(c, i) : changeAlongY(coordinates, c, i, count);
        }
        double texel[4] = {};
        (*call.texture)(lookup, texel);
        for (int c = 0; c < call.resultWidth; ++c) {
            call.results[c][i] = call.clampsResult ? clampedToUnit(texel[c]) : texel[c];
        }
    }
}

} // namespace kernels

} // namespace qvShadingDag
