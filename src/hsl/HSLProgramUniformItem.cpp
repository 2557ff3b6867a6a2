#include "hsl/HSLProgramUniformItem.h"

#include "hsl/HSLProgramText.h"

#include <utility>

namespace {

DataType acceptedType(DataType type) {
    switch (type) {
    case kVoid:
    case kBool:
    case kInt:
    case kInt2:
    case kInt3:
    case kInt4:
    case kTexObj:
        return kInvalidDataType;
    default:
        return type;
    }
}

} // namespace

HSLProgramUniformItem::HSLProgramUniformItem(DataType type, qvString::CString logicalName,
                                             qvShadingDag::ShadingNode* const node)
    : HSLNamedItem(acceptedType(type), std::move(logicalName), node) {}

HSLProgramUniformItem::HSLProgramUniformItem() = default;

void HSLProgramUniformItem::buildStringValue() {
    fStringValue = HSLProgramText::declaration(fDataType, fLogicalName);
}
