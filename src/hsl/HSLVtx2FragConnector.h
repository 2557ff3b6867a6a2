#pragma once

#include "base/CString.h"
#include "base/Export.h"
#include "core/DataType.h"
#include "hsl/HSLNamedItem.h"
#include "hsl/HSLStringContainer.h"

#include <cstddef>
#include <deque>

/// A member of the connector from the vertex to the fragment program, written as "float4 color0;".
class QV_EXPORT HSLVtx2FragConnectItem : public HSLNamedItem {
public:
    /// The type is kept as it is; the node is not owned and may be null. The first construction
    /// sets up the class-wide item.
    HSLVtx2FragConnectItem(DataType type, qvString::CString logicalName,
                           qvShadingDag::ShadingNode* const node);

    /// Same type, name and node.
    bool operator==(const HSLVtx2FragConnectItem& other) const { return equals(other); }

    void buildStringValue() override;

    /// The first member of every connector, "float4 HPOS;"; of type 0 and without a name until the
    /// first item is constructed.
    static HSLVtx2FragConnectItem fsHPosition;

protected:
    HSLVtx2FragConnectItem();
};

/// What the vertex program hands to the fragment program: a named record of items, in the order in which
/// they were added.
///
///     HSLVtx2FragConnector output(nullptr); // "VFC"
///     output.addItem(HSLVtx2FragConnectItem(kFloat4, "color0", nullptr));
///     output.buildStringValue();
///
/// Adding and finding walk over all n items: O(n), with a name compared only where type and node
/// are the same.
class QV_EXPORT HSLVtx2FragConnector : public HSLStringContainer {
public:
    /// The default type name, "VFC", for a null pointer only; an empty name stays empty.
    explicit HSLVtx2FragConnector(const qvString::CString* typeName);

    /// Sets the name of the connector's type.
    void setTypeName(const qvString::CString& typeName) { fTypeName = typeName; }
    /// The name of the connector's type.
    qvString::CString typeName() const { return fTypeName; }

    /// Adds a copy of the item at the end. Returns false, and adds nothing, when an equal item (type,
    /// name and node) is there.
    bool addItem(const HSLVtx2FragConnectItem& item);

    /// The first item of that name or node; null when there is none. The pointer is valid until
    /// `clear()` and the end of the connector.
    HSLVtx2FragConnectItem* findItem(const qvString::CString& logicalName);
    /// The same for the node.
    HSLVtx2FragConnectItem* findItem(qvShadingDag::ShadingNode* const node);
    /// The same for reading.
    const HSLVtx2FragConnectItem* findItem(const qvString::CString& logicalName) const;
    /// The same for the node, for reading.
    const HSLVtx2FragConnectItem* findItem(qvShadingDag::ShadingNode* const node) const;

    /// The number of items.
    std::size_t itemCount() const { return fItems.size(); }
    /// Destroys all items; the type name stays.
    void clear() { fItems.clear(); }

    void buildStringValue() override;

protected:
    /// Without a type name.
    HSLVtx2FragConnector();

private:
    qvString::CString fTypeName;
    std::deque<HSLVtx2FragConnectItem> fItems; // items keep their addresses
};
