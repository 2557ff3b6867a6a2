#include "shadingdag/Token.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <utility>

namespace qvShadingDag {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// What a literal outside the range of a double stands for: 0 when it is too small, else infinity.
/// Decided by the decimal exponent of its first digit that is not 0.
double saturated(const std::string& literal) {
    long long exponent = 0;
    bool pointSeen = false;
    bool digitSeen = false;
    std::size_t i = 0;
    for (; i < literal.size() && (isDigit(literal[i]) || literal[i] == '.'); ++i) {
        if (literal[i] == '.') {
            pointSeen = true;
        } else if (pointSeen) {
            exponent -= digitSeen || literal[i] != '0' ? 0 : 1;
            digitSeen = digitSeen || literal[i] != '0';
        } else {
            digitSeen = digitSeen || literal[i] != '0';
            exponent += digitSeen ? 1 : 0;
        }
    }
    const bool hasExponent = i < literal.size() && (literal[i] == 'e' || literal[i] == 'E');
    const bool negative = i + 1 < literal.size() && literal[i + 1] == '-';
    long long written = 0;
    for (i += negative ? 2 : 1; hasExponent && i < literal.size(); ++i) {
        written = written < std::numeric_limits<int>::max() ? written * 10 + (literal[i] - '0') : written;
    }
    exponent += negative ? -written : written;
    return exponent > 0 ? kInfinity : 0;
}

/// The longest prefix of a literal that is a number, as the C locale's `atof` reads it.
double readNumber(const std::string& literal) {
    double value = 0;
    const auto [end, error] = std::from_chars(literal.data(), literal.data() + literal.size(), value);
    return error == std::errc::result_out_of_range ? saturated(literal) : value;
}

/// `value`, which is not negative, rounded to a float; infinity from half a step above the largest.
float toFloat(double value) {
    constexpr float kLargest = std::numeric_limits<float>::max();
    if (value <= static_cast<double>(kLargest)) {
        return static_cast<float>(value);
    }
    return value < 0x1.ffffffp127 ? kLargest : std::numeric_limits<float>::infinity();
}

} // namespace

void Token::reset() {
    fType = kInvalidToken;
    fText.clear();
    fIntValue = 1;
    fFloatValue = 0;
    fDataType = kInvalidDataType;
}

void Token::setString(std::string text) {
    fText = std::move(text);
}

void Token::setNumeric(const std::string& text) {
    const double value = readNumber(text);
    fFloatValue = toFloat(value);
    if (value < 0x1p63) {
        const auto whole = static_cast<std::int64_t>(value);
        fIntValue = static_cast<unsigned int>(whole);
        fHasFraction = static_cast<double>(whole) != value;
    } else {
        fIntValue = 0;
        fHasFraction = true;
    }
}

} // namespace qvShadingDag
