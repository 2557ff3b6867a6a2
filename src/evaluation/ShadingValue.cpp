#include "evaluation/ShadingValue.h"

#include "evaluation/Numbers.h"
#include "shadingdag/TypedConstant.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace qvShadingDag {

namespace {

// By type, from kInvalidDataType to kTexObj.
constexpr signed char kComponentCounts[] = {0, 0, 1, 1, 2, 3, 4, 1, 2, 3, 4, 1, 2, 3, 4, 4, 9, 16, 0};

} // namespace

int componentCount(DataType type) {
    const int value = type;
    return value >= 0 && value <= kTexObj ? kComponentCounts[value] : 0;
}

ShadingValue::ShadingValue(DataType valueType, std::initializer_list<double> values) : type(valueType) {
    const auto used = std::min(values.size(), static_cast<std::size_t>(width()));
    std::copy_n(values.begin(), used, c.begin());
}

ShadingValue::ShadingValue(const TypedConstant& constant) : type(constant.dataType()) {
    const int count = width();
    if (constant.externalStorage()) {
        const int side = count == 9 ? 3 : 4;
        for (int i = 0; i < count; ++i) {
            const auto row = static_cast<unsigned int>(i / side);
            c[i] = constant.matrix()(row, static_cast<unsigned int>(i % side));
        }
    } else {
        const bool whole = type == kBool || isIntType(type);
        for (int i = 0; i < count; ++i) {
            const auto word = static_cast<unsigned int>(i);
            c[i] = whole ? constant.getInt(word) : static_cast<double>(constant.getFloat(word));
        }
    }
    *this = delivered();
}

ShadingValue ShadingValue::delivered() const {
    ShadingValue result(type, {});
    for (int i = 0; i < width(); ++i) {
        result.c[i] = type == kBool        ? static_cast<double>(c[i] != 0)
                      : isIntType(type)    ? static_cast<double>(saturatedInt(c[i]))
                      : isClampuType(type) ? clampedToUnit(roundedToFloat(c[i]))
                                           : roundedToFloat(c[i]);
    }
    return result;
}

std::string ShadingValue::toString() const {
    std::string text;
    for (int i = 0; i < width(); ++i) {
        const double number = c[i];
        text += i == 0 ? "" : " ";
        if (type == kBool) {
            text += number != 0 ? "true" : "false";
        } else if (std::isnan(number)) {
            text += "nan"; // without the sign that some platforms print
        } else {
            char digits[32];
            const int precision = isIntType(type) ? 10 : 9; // an int has at most ten digits
            text.append(digits, std::to_chars(digits, digits + sizeof digits, number,
                                              std::chars_format::general, precision)
                                    .ptr);
        }
    }
    return text;
}

} // namespace qvShadingDag
