#pragma once

#include "base/CString.h"
#include "base/Export.h"
#include "core/DataType.h"
#include "hsl/HSLStringContainer.h"

/// A named constant of a program.
///
///     const float white[] = {1, 1, 1, 1};
///     HSLProgramConstant constant(kFloat4, "white", true);
///     constant.assignArray(white, 4);
///     constant.buildStringValue();
///     constant.stringValue(); // "float4 white = { 1, 1, 1, 1 };"
class QV_EXPORT HSLProgramConstant : public HSLStringContainer {
public:
    /// Types other than `kFloat` to `kFloat4` and `kMatrix2` to `kMatrix4` become
    /// `kInvalidDataType`. An initialiser that is never assigned is written with its placeholders,
    /// "float2 k = { %g, %g };".
    HSLProgramConstant(const DataType& type, const qvString::CString& logicalName, bool withInitialiser);

    /// Takes the initialiser from the first one to four values, as many as a float type has. Returns
    /// false and changes nothing for any other type or a null pointer. `count` is not read.
    bool assignArray(const float* values, unsigned short count);
    /// The same for the 4, 9 or 16 values of a matrix type, row after row.
    bool assignMatrix(const float* values, unsigned short count);

    /// The type of the value.
    const DataType& dataType() const { return fDataType; }
    /// The name in the program text.
    const qvString::CString& logicalName() const { return fLogicalName; }
    /// The initialiser; empty for none.
    const qvString::CString& assignmentString() const { return fAssignmentString; }

    void buildStringValue() override;

private:
    bool assign(const float* values, int count);

    DataType fDataType = kInvalidDataType;
    qvString::CString fLogicalName;
    qvString::CString fAssignmentString;
};
