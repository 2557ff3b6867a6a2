#include "hsl/HSLApp2VtxConnector.h"

#include "hsl/HSLProgramText.h"
#include "hsl/HSLToken.h"

#include <algorithm>
#include <utility>

HSLApp2VtxConnectItem HSLApp2VtxConnectItem::fsVertexPosition;
HSLApp2VtxConnectItem HSLApp2VtxConnectItem::fsModelViewMatrix;
HSLApp2VtxConnectItem HSLApp2VtxConnectItem::fsProjectionMatrix;

HSLApp2VtxConnectItem::HSLApp2VtxConnectItem(DataType type, qvString::CString logicalName,
                                             qvShadingDag::ShadingNode* const node)
    : HSLNamedItem(type, std::move(logicalName), node) {
    if (fsVertexPosition.fDataType == kInvalidDataType) {
        fsVertexPosition.set(kFloat3, "vertexPosition");
        fsModelViewMatrix.set(kMatrix4, "modelViewMtx");
        // On purpose: the projection's name goes to the model-view item, too.
        fsModelViewMatrix.set(kMatrix4, "projectionMtx");
    }
}

HSLApp2VtxConnectItem::HSLApp2VtxConnectItem() = default;

bool HSLApp2VtxConnectItem::matchesName(const HSLApp2VtxConnectItem& a, const HSLApp2VtxConnectItem& b) {
    return a.fLogicalName == b.fLogicalName;
}

bool HSLApp2VtxConnectItem::matchesDagNode(const HSLApp2VtxConnectItem& a, const HSLApp2VtxConnectItem& b) {
    return a.fDataNodePtr == b.fDataNodePtr;
}

void HSLApp2VtxConnectItem::buildStringValue() {
    fStringValue = HSLProgramText::declaration(fDataType, fLogicalName);
    fStringValue.append(";");
}

HSLApp2VtxConnector::HSLApp2VtxConnector(const qvString::CString* typeName)
    : fTypeName(typeName ? *typeName : HSLToken::hslTokens.connectorTypeName(HSLToken::kAVC)) {}

bool HSLApp2VtxConnector::addItem(const HSLApp2VtxConnectItem& item) {
    if (std::find(fItems.begin(), fItems.end(), item) != fItems.end()) {
        return false;
    }
    fItems.push_back(item);
    return true;
}

HSLApp2VtxConnectItem* HSLApp2VtxConnector::findItem(const qvString::CString& logicalName) {
    return HSLProgramText::find(fItems, logicalName);
}

HSLApp2VtxConnectItem* HSLApp2VtxConnector::findItem(qvShadingDag::ShadingNode* const node) {
    return HSLProgramText::find(fItems, node);
}

const HSLApp2VtxConnectItem* HSLApp2VtxConnector::findItem(const qvString::CString& logicalName) const {
    return HSLProgramText::find(fItems, logicalName);
}

const HSLApp2VtxConnectItem* HSLApp2VtxConnector::findItem(qvShadingDag::ShadingNode* const node) const {
    return HSLProgramText::find(fItems, node);
}

void HSLApp2VtxConnector::buildStringValue() {
    fStringValue = HSLProgramText::connector(HSLToken::hslTokens.connectorHeader(HSLToken::kApp2VtxHeader),
                                             fTypeName, HSLApp2VtxConnectItem::fsVertexPosition, fItems);
}
