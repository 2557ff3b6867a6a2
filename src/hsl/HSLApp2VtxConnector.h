#pragma once

#include "base/CString.h"
#include "base/Export.h"
#include "core/DataType.h"
#include "hsl/HSLNamedItem.h"
#include "hsl/HSLStringContainer.h"

#include <cstddef>
#include <deque>

/// A member of the connector from the application to the vertex program, written as
/// "float3 normal;".
class QV_EXPORT HSLApp2VtxConnectItem : public HSLNamedItem {
public:
    /// The type is kept as it is; the node is not owned and may be null. The first construction
    /// sets up the class-wide items.
    HSLApp2VtxConnectItem(DataType type, qvString::CString logicalName,
                          qvShadingDag::ShadingNode* const node);

    /// Same type, name and node.
    bool operator==(const HSLApp2VtxConnectItem& other) const { return equals(other); }
    /// Same name.
    static bool matchesName(const HSLApp2VtxConnectItem& a, const HSLApp2VtxConnectItem& b);
    /// Same node.
    static bool matchesDagNode(const HSLApp2VtxConnectItem& a, const HSLApp2VtxConnectItem& b);

    void buildStringValue() override;

    /// The first member of every connector, "float3 vertexPosition;"; of type 0 and without a name
    /// until the first item is constructed.
    static HSLApp2VtxConnectItem fsVertexPosition;
    /// On purpose: this one ends up named "projectionMtx", and `fsProjectionMatrix` stays empty.
    static HSLApp2VtxConnectItem fsModelViewMatrix;
    static HSLApp2VtxConnectItem fsProjectionMatrix;

protected:
    HSLApp2VtxConnectItem();
};

/// What the application hands to the vertex program: a named record of items, in the order in which
/// they were added.
///
///     HSLApp2VtxConnector input(nullptr); // "AVC"
///     input.addItem(HSLApp2VtxConnectItem(kFloat3, "normal", nullptr));
///     input.buildStringValue();
///
/// Adding and finding walk over all n items: O(n), with a name compared only where type and node
/// are the same.
class QV_EXPORT HSLApp2VtxConnector : public HSLStringContainer {
public:
    /// The default type name, "AVC", for a null pointer only; an empty name stays empty.
    explicit HSLApp2VtxConnector(const qvString::CString* typeName);

    /// Sets the name of the connector's type.
    void setTypeName(const qvString::CString& typeName) { fTypeName = typeName; }
    /// The name of the connector's type.
    qvString::CString typeName() const { return fTypeName; }

    /// Adds a copy of the item at the end. Returns false, and adds nothing, when an equal item (type,
    /// name and node) is there.
    bool addItem(const HSLApp2VtxConnectItem& item);

    /// The first item of that name or node; null when there is none. The pointer is valid until
    /// `clear()` and the end of the connector.
    HSLApp2VtxConnectItem* findItem(const qvString::CString& logicalName);
    /// The same for the node.
    HSLApp2VtxConnectItem* findItem(qvShadingDag::ShadingNode* const node);
    /// The same for reading.
    const HSLApp2VtxConnectItem* findItem(const qvString::CString& logicalName) const;
    /// The same for the node, for reading.
    const HSLApp2VtxConnectItem* findItem(qvShadingDag::ShadingNode* const node) const;

    /// The number of items.
    std::size_t itemCount() const { return fItems.size(); }
    /// Destroys all items; the type name stays.
    void clear() { fItems.clear(); }

    void buildStringValue() override;

private:
    qvString::CString fTypeName;
    std::deque<HSLApp2VtxConnectItem> fItems; // items keep their addresses
};
