#include "hsl/HSLNamedItem.h"

#include <utility>

HSLNamedItem::HSLNamedItem() = default;

HSLNamedItem::HSLNamedItem(DataType type, qvString::CString logicalName, qvShadingDag::ShadingNode* node)
    : fDataType(type), fLogicalName(std::move(logicalName)), fDataNodePtr(node) {}

void HSLNamedItem::set(DataType type, const char* logicalName) {
    fDataType = type;
    fLogicalName = logicalName;
    fDataNodePtr = nullptr;
    fStringValue = "";
}

bool HSLNamedItem::equals(const HSLNamedItem& other) const {
    return fDataType == other.fDataType && fDataNodePtr == other.fDataNodePtr &&
           fLogicalName == other.fLogicalName;
}
