#include "hsl/HSLProgramConstant.h"

#include "hsl/HSLProgramText.h"
#include "hsl/HSLToken.h"

#include <algorithm>

namespace {

bool isVector(DataType type) {
    return type >= kFloat && type <= kFloat4;
}

bool isMatrix(DataType type) {
    return type >= kMatrix2 && type <= kMatrix4;
}

} // namespace

HSLProgramConstant::HSLProgramConstant(const DataType& type, const qvString::CString& logicalName,
                                       bool withInitialiser)
    : fLogicalName(logicalName) {
    if (isVector(type) || isMatrix(type)) {
        fDataType = type;
        if (withInitialiser) {
            fAssignmentString = HSLToken::hslTokens.dataAssignment(type);
        }
    }
}

bool HSLProgramConstant::assignArray(const float* values, unsigned short /*count*/) {
    return isVector(fDataType) && assign(values, fDataType - kFloat + 1);
}

bool HSLProgramConstant::assignMatrix(const float* values, unsigned short /*count*/) {
    const int rows = fDataType - kMatrix2 + 2;
    return isMatrix(fDataType) && assign(values, rows * rows);
}

bool HSLProgramConstant::assign(const float* values, int count) {
    if (!values) {
        return false;
    }
    double v[16] = {};
    std::copy(values, values + count, v);
    // The initialiser takes as many as its type has components.
    fAssignmentString.format(HSLToken::hslTokens.dataAssignment(fDataType).asChar(), v[0], v[1], v[2], v[3],
                             v[4], v[5], v[6], v[7], v[8], v[9], v[10], v[11], v[12], v[13], v[14], v[15]);
    return true;
}

void HSLProgramConstant::buildStringValue() {
    fStringValue = HSLProgramText::declaration(fDataType, fLogicalName);
    HSLProgramText::appendAssignment(fStringValue, fAssignmentString);
    fStringValue.append(";");
}
