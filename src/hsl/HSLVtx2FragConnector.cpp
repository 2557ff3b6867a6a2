#include "hsl/HSLVtx2FragConnector.h"

#include "hsl/HSLProgramText.h"
#include "hsl/HSLToken.h"

#include <algorithm>
#include <utility>

HSLVtx2FragConnectItem HSLVtx2FragConnectItem::fsHPosition;

HSLVtx2FragConnectItem::HSLVtx2FragConnectItem(DataType type, qvString::CString logicalName,
                                               qvShadingDag::ShadingNode* const node)
    : HSLNamedItem(type, std::move(logicalName), node) {
    if (fsHPosition.fDataType == kInvalidDataType) {
        fsHPosition.set(kFloat4, "HPOS");
    }
}

HSLVtx2FragConnectItem::HSLVtx2FragConnectItem() = default;

void HSLVtx2FragConnectItem::buildStringValue() {
    fStringValue = HSLProgramText::declaration(fDataType, fLogicalName);
    fStringValue.append(";");
}

HSLVtx2FragConnector::HSLVtx2FragConnector(const qvString::CString* typeName)
    : fTypeName(typeName ? *typeName : HSLToken::hslTokens.connectorTypeName(HSLToken::kVFC)) {}

HSLVtx2FragConnector::HSLVtx2FragConnector() = default;

bool HSLVtx2FragConnector::addItem(const HSLVtx2FragConnectItem& item) {
    if (std::find(fItems.begin(), fItems.end(), item) != fItems.end()) {
        return false;
    }
    fItems.push_back(item);
    return true;
}

HSLVtx2FragConnectItem* HSLVtx2FragConnector::findItem(const qvString::CString& logicalName) {
    return HSLProgramText::find(fItems, logicalName);
}

HSLVtx2FragConnectItem* HSLVtx2FragConnector::findItem(qvShadingDag::ShadingNode* const node) {
    return HSLProgramText::find(fItems, node);
}

const HSLVtx2FragConnectItem* HSLVtx2FragConnector::findItem(const qvString::CString& logicalName) const {
    return HSLProgramText::find(fItems, logicalName);
}

const HSLVtx2FragConnectItem* HSLVtx2FragConnector::findItem(qvShadingDag::ShadingNode* const node) const {
    return HSLProgramText::find(fItems, node);
}

void HSLVtx2FragConnector::buildStringValue() {
    fStringValue = HSLProgramText::connector(HSLToken::hslTokens.connectorHeader(HSLToken::kVtx2FragHeader),
                                             fTypeName, HSLVtx2FragConnectItem::fsHPosition, fItems);
}
