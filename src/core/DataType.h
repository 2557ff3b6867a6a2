#pragma once

#include "base/Export.h"

#include <string>

/// The type of every value that the shading language, the shading graph and the program texts
/// handle. The numbers are fixed; within a family the component count grows by one from member to
/// member.
enum DataType : int {
    kInvalidDataType = 0,
    kVoid,
    kBool,
    kFloat,
    kFloat2,
    kFloat3,
    kFloat4,
    kClampu, ///< a float clamped to the unit range
    kClampu2,
    kClampu3,
    kClampu4,
    kInt,
    kInt2,
    kInt3,
    kInt4,
    kMatrix2,
    kMatrix3,
    kMatrix4,
    kTexObj, ///< the last type of the shading language

    // Known to program texts only; without a spelling in the shading language.
    kTexObj1D,
    kTexObj2D,
    kTexObj3D,
    kTexObjCUBE,
    kTexObjRECT,
    kHalf,
    kHalf2,
    kHalf3,
    kHalf4,
};

/// The storage of a value of a type.
struct DataTypeInfo {
    unsigned int size;    ///< in bytes
    bool arithmetic;      ///< floats, clamped floats and integers
    bool externalStorage; ///< a `TypedConstant` keeps the value on the heap
};

/// The spelling of a type of the shading language ("float3"); "kInvalidDataType" for any other
/// value.
QV_EXPORT std::string dataTypeName(DataType type);

/// The type with exactly this spelling; `kInvalidDataType` when there is none.
QV_EXPORT DataType convertToDataType(const std::string& name);

/// The storage of a type of the shading language; that of `kInvalidDataType` for any other value.
QV_EXPORT const DataTypeInfo& dataTypeInfo(DataType type);
