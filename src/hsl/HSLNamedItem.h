#pragma once

#include "base/CString.h"
#include "base/Export.h"
#include "core/DataType.h"
#include "hsl/HSLStringContainer.h"

namespace qvShadingDag {
class ShadingNode;
}

/// What the members of the connectors and the uniforms have in common: a typed name that stands for
/// a node of a shading graph. The node is not owned and is never looked into.
class QV_EXPORT HSLNamedItem : public HSLStringContainer {
public:
    /// The type of the value.
    DataType dataType() const { return fDataType; }
    /// The name in the program text.
    const qvString::CString& logicalName() const { return fLogicalName; }
    /// The node that the item carries; may be null.
    qvShadingDag::ShadingNode* dataNodePtr() const { return fDataNodePtr; }

protected:
    /// Type 0, an empty name and no node.
    HSLNamedItem();
    /// That type, name and node.
    HSLNamedItem(DataType type, qvString::CString logicalName, qvShadingDag::ShadingNode* node);

    /// Makes a class-wide item as if newly constructed: without a node, its text not built yet.
    void set(DataType type, const char* logicalName);

    /// Same type, name and node.
    bool equals(const HSLNamedItem& other) const;

    DataType fDataType = kInvalidDataType;
    qvString::CString fLogicalName;
    qvShadingDag::ShadingNode* fDataNodePtr = nullptr;
};
