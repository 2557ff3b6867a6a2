#include "core/DataType.h"

#include <string_view>

namespace {

struct DataTypeRow {
    std::string_view name; // knows its length: comparing mostly ends there
    DataTypeInfo info;
};

// One row per value from kInvalidDataType to kTexObj.
constexpr DataTypeRow kDataTypes[] = {
    // name              size  arithmetic  externalStorage
    {"kInvalidDataType", {0, false, false}},
    {"void", {0, false, false}},
    {"bool", {1, false, false}},
    {"float", {4, true, false}},
    {"float2", {8, true, false}},
    {"float3", {12, true, false}},
    {"float4", {16, true, false}},
    {"clampu", {1, true, false}},
    {"clampu2", {2, true, false}},
    {"clampu3", {3, true, false}},
    {"clampu4", {4, true, false}},
    {"int", {4, true, false}},
    {"int2", {8, true, false}},
    {"int3", {12, true, false}},
    {"int4", {16, true, false}},
    {"matrix2", {16, false, false}},
    {"matrix3", {36, false, true}},
    {"matrix4", {64, false, true}},
    {"texobj", {4, false, false}},
};

const DataTypeRow& rowOf(DataType type) {
    const int value = type;
    return kDataTypes[value >= kVoid && value <= kTexObj ? value : kInvalidDataType];
}

} // namespace

std::string dataTypeName(DataType type) {
    return std::string(rowOf(type).name);
}

DataType convertToDataType(const std::string& name) {
    for (int value = kVoid; value <= kTexObj; ++value) {
        if (name == kDataTypes[value].name) {
            return static_cast<DataType>(value);
        }
    }
    return kInvalidDataType;
}

const DataTypeInfo& dataTypeInfo(DataType type) {
    return rowOf(type).info;
}
