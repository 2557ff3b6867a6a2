#pragma once

#include "base/Export.h"
#include "core/DataType.h"

#include <array>
#include <initializer_list>
#include <string>

namespace qvShadingDag {

class TypedConstant;

/// How many numbers a value of a type consists of: 1 for a bool, 9 for a matrix3; 0 for a texture
/// object and for everything that is no type of a value.
QV_EXPORT int componentCount(DataType type);

/// One value of the shading language, in double precision.
///
///     ShadingValue light(1, 0.9, 0.8);
///     light.toString(); // "1 0.9 0.8"
///
/// The components of a vector are the first ones, a matrix lies row by row, a bool is 0 or 1. The
/// components that the type does not use are 0 unless a host writes them.
struct QV_EXPORT ShadingValue {
    /// Without a type.
    ShadingValue() = default;
    /// A float to float4 of these components.
    ShadingValue(double x)
        : ShadingValue(kFloat, {x}) {} // NOLINT(google-explicit-constructor): a number is a value
    /// The same for a float2.
    ShadingValue(double x, double y) : ShadingValue(kFloat2, {x, y}) {}
    /// The same for a float3.
    ShadingValue(double x, double y, double z) : ShadingValue(kFloat3, {x, y, z}) {}
    /// The same for a float4.
    ShadingValue(double x, double y, double z, double w) : ShadingValue(kFloat4, {x, y, z, w}) {}
    /// A value of any type; what is missing is 0, what is too much is left out.
    ShadingValue(DataType valueType, std::initializer_list<double> values);
    /// The value of a literal. Without a type when the literal holds none.
    explicit ShadingValue(const TypedConstant& constant);

    /// How many components the type uses.
    int width() const { return componentCount(type); }

    /// The value as a program receives it: rounded to float, a clampu clamped to the unit range, an
    /// int cut to 32 bits (saturated; 0 for not-a-number), a bool 1 for what is not 0.
    ShadingValue delivered() const;

    /// A bool as "true" or "false", an int in full, every other component with nine significant
    /// digits ("%.9g"), not-a-number and infinities as "nan", "inf", "-inf"; components separated
    /// by blanks, a matrix row by row.
    std::string toString() const;

    DataType type = kInvalidDataType;
    std::array<double, 16> c{}; ///< the components
};

} // namespace qvShadingDag
