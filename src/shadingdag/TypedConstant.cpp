#include "shadingdag/TypedConstant.h"

#include "core/Exception.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <new>

namespace qvShadingDag {

int TypedConstant::fsNumInstances_TypedConstant = 0;

namespace {

// The type with `count` components whose family starts at `first`.
DataType vectorType(DataType first, int count) {
    return static_cast<DataType>(first + count - 1);
}

void checkCount(int count) {
    if (count < 1 || count > 4) {
        throw Exception(kInputError);
    }
}

void appendNumber(std::string& text, float value) {
    if (std::isnan(value)) {
        text += "nan"; // of either sign
        return;
    }
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof(digits), value, std::chars_format::general, 6);
    text.append(digits, end.ptr);
}

void appendNumber(std::string& text, int value) {
    text += std::to_string(value);
}

template <typename Component>
std::string componentsToString(int count, const unsigned int* words) {
    std::string text;
    if (count > 1) {
        text += '{';
    }
    for (int i = 0; i < count; ++i) {
        if (i > 0) {
            text += ',';
        }
        appendNumber(text, std::bit_cast<Component>(words[i]));
    }
    if (count > 1) {
        text += '}';
    }
    return text;
}

} // namespace

TypedConstant::TypedConstant() : fWords{} {
    ++fsNumInstances_TypedConstant;
}

TypedConstant::TypedConstant(float x) : TypedConstant() {
    set(x);
}

TypedConstant::TypedConstant(float x, float y) : TypedConstant() {
    set(x, y);
}

TypedConstant::TypedConstant(float x, float y, float z) : TypedConstant() {
    set(x, y, z);
}

TypedConstant::TypedConstant(float x, float y, float z, float w) : TypedConstant() {
    set(x, y, z, w);
}

TypedConstant::TypedConstant(const qvLinear::ProjMatrix& matrix) : TypedConstant() {
    set(matrix);
}

TypedConstant::TypedConstant(const TypedConstant& other) : TypedConstant() {
    *this = other;
}

TypedConstant& TypedConstant::operator=(const TypedConstant& other) {
    if (this == &other) {
        return *this;
    }
    if (other.externalStorage()) {
        fMatrix = other.fMatrix ? new qvLinear::ProjMatrix(*other.fMatrix) : nullptr;
    } else {
        for (int i = 0; i < 4; ++i) {
            fWords[i] = other.fWords[i];
        }
    }
    fDataType = other.fDataType;
    return *this;
}

TypedConstant::~TypedConstant() {
    release();
    --fsNumInstances_TypedConstant;
}

void TypedConstant::set(float x) {
    assignFloats(1, x, 0, 0, 0);
}

void TypedConstant::set(float x, float y) {
    assignFloats(2, x, y, 0, 0);
}

void TypedConstant::set(float x, float y, float z) {
    assignFloats(3, x, y, z, 0);
}

void TypedConstant::set(float x, float y, float z, float w) {
    assignFloats(4, x, y, z, w);
}

void TypedConstant::set(const qvLinear::ProjMatrix& matrix) {
    auto* copy = new (std::nothrow) qvLinear::ProjMatrix(matrix); // first: `matrix` may be our own
    release();
    fDataType = kMatrix4;
    fMatrix = copy;
}

void TypedConstant::assignBool(bool value) {
    fDataType = kBool;
    fWords[0] = value ? 1 : 0;
}

void TypedConstant::assignFloats(int count, float a, float b, float c, float d) {
    checkCount(count);
    release();
    const float values[] = {a, b, c, d};
    for (int i = 0; i < count; ++i) {
        fWords[i] = std::bit_cast<unsigned int>(values[i]);
    }
    fDataType = vectorType(kFloat, count);
}

void TypedConstant::assignInts(int count, int a, int b, int c, int d) {
    checkCount(count);
    release();
    const int values[] = {a, b, c, d};
    for (int i = 0; i < count; ++i) {
        fWords[i] = std::bit_cast<unsigned int>(values[i]);
    }
    fDataType = vectorType(kInt, count);
}

float TypedConstant::getFloat(unsigned int i) const {
    return i < 4 ? std::bit_cast<float>(fWords[i]) : 0.0F;
}

int TypedConstant::getInt(unsigned int i) const {
    return i < 4 ? std::bit_cast<int>(fWords[i]) : 0;
}

const qvLinear::ProjMatrix& TypedConstant::matrix() const {
    verifyAlways(externalStorage() && fMatrix, "The constant holds no matrix");
    return *fMatrix;
}

void TypedConstant::release() {
    if (externalStorage()) {
        delete fMatrix;
        fMatrix = nullptr;
    }
    fDataType = kInvalidDataType;
}

std::string TypedConstant::toString() const {
    if (fDataType >= kFloat && fDataType <= kFloat4) {
        return componentsToString<float>(fDataType - kFloat + 1, fWords);
    }
    if (fDataType >= kInt && fDataType <= kInt4) {
        return componentsToString<int>(fDataType - kInt + 1, fWords);
    }
    return {};
}

} // namespace qvShadingDag
