#pragma once

#include "base/Export.h"
#include "base/ProjMatrix.h"
#include "core/DataType.h"

#include <string>

namespace qvShadingDag {

/// A literal value of the shading language with its type.
///
///     TypedConstant color(1, 0.5F, 0, 1);
///     color.dataType(); // kFloat4
///     color.toString(); // "{1,0.5,0,1}"
///
/// Scalars and vectors lie in an area of four 32-bit words. A matrix3 or matrix4 is held on the
/// heap and owned by the constant.
///
/// On purpose: `clear`, `assignBool` and assignment do not free a matrix that the constant holds; it is
/// lost unless `release` is called before them.
class QV_EXPORT TypedConstant {
public:
    /// The number of live objects.
    static int fsNumInstances_TypedConstant;

    /// An uninitialised constant: type `kInvalidDataType`.
    TypedConstant();
    /// A float.
    explicit TypedConstant(float x);
    /// A float2.
    TypedConstant(float x, float y);
    /// A float3.
    TypedConstant(float x, float y, float z);
    /// A float4.
    TypedConstant(float x, float y, float z, float w);
    /// A matrix4.
    explicit TypedConstant(const qvLinear::ProjMatrix& matrix);
    /// Holds a matrix of its own.
    TypedConstant(const TypedConstant& other);
    /// Takes a copy of the other's value, also of its matrix. Frees nothing that was held before.
    TypedConstant& operator=(const TypedConstant& other);
    ~TypedConstant();

    /// Releases what is held and becomes a float.
    void set(float x);
    /// Releases what is held and becomes a float2.
    void set(float x, float y);
    /// Releases what is held and becomes a float3.
    void set(float x, float y, float z);
    /// Releases what is held and becomes a float4.
    void set(float x, float y, float z, float w);
    /// Releases what is held and becomes a matrix4. Without memory there is a matrix4 without a value.
    void set(const qvLinear::ProjMatrix& matrix);

    /// Becomes a bool. Frees nothing.
    void assignBool(bool value);
    /// Becomes a float to float4 of the first `count` values; the words behind them stay as they
    /// were. Throws an input error without a text, and changes nothing, unless `count` is 1 to 4.
    void assignFloats(int count, float a, float b, float c, float d);
    /// Becomes an int to int4 of the first `count` values, in the same way.
    void assignInts(int count, int a, int b, int c, int d);

    /// Word `i` of the value area, read as a float; 0 behind the fourth.
    float getFloat(unsigned int i) const;
    /// Word `i` of the value area, read as an integer (a bool is 0 or 1); 0 behind the fourth.
    int getInt(unsigned int i) const;
    /// The matrix that is held. Throws when there is none.
    const qvLinear::ProjMatrix& matrix() const;

    /// The type of the value; `kInvalidDataType` without one.
    DataType dataType() const { return fDataType; }
    /// Whether there is a value: the type is not `kInvalidDataType`.
    bool initialized() const { return fDataType != kInvalidDataType; }
    /// Whether a value of this type is held on the heap.
    bool externalStorage() const { return dataTypeInfo(fDataType).externalStorage; }

    /// Makes the constant uninitialised. Frees nothing.
    void clear() { fDataType = kInvalidDataType; }
    /// Frees the matrix, if one is held, and makes the constant uninitialised.
    void release();

    /// The value as the shading language writes it: "0.5", "{1,0,0,1}", six significant digits
    /// whatever the locale; "inf", "-inf" and "nan" for what it cannot write. Empty for every type but the
    /// float and int families.
    std::string toString() const;

private:
    union {
        unsigned int fWords[4];
        qvLinear::ProjMatrix* fMatrix;
    };
    DataType fDataType = kInvalidDataType;
};

} // namespace qvShadingDag
