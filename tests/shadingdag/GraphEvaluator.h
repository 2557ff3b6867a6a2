#pragma once

#include "shadingdag/ShadingNodeSpec.h"

#include <array>
#include <initializer_list>
#include <vector>

/// A value of the shading language, in double precision. Vectors lie in the first components,
/// matrices row by row, a bool is 0 or 1; a texture object has no components.
struct Value {
    Value() = default;
    Value(double x) : Value(kFloat, {x}) {}
    Value(double x, double y) : Value(kFloat2, {x, y}) {}
    Value(double x, double y, double z) : Value(kFloat3, {x, y, z}) {}
    Value(double x, double y, double z, double w) : Value(kFloat4, {x, y, z, w}) {}
    Value(DataType ofType, std::initializer_list<double> values);

    /// How many of the components the type uses.
    int width() const;

    DataType type = kInvalidDataType;
    std::array<double, 16> c{};
};

/// The values of the outputs of a function, return value first, for the given values of its inputs.
///
/// Walks the links of a defined function's graph; a declared function is computed by its name.
/// Every texture holds the colour (0.1 + u/2 + v/5, 0.2 + 0.3 v, 0.3 + u v/10, 1 - u/4), and from one
/// fragment to the next a value doubles along x, and its components change by those in reverse
/// order along y. Throws `std::runtime_error` for a primitive that it does not know and for an
/// input or an output that nothing feeds.
std::vector<Value> evaluate(const qvShadingDag::ShadingNodeSpec& function, const std::vector<Value>& inputs);
