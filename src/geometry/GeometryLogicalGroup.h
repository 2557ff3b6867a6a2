#pragma once

#include "geometry/GeometryDataIndex.h"

#include <string>
#include <vector>

/// A named object made of attribute arrays and the index arrays that draw from them.
///
///     GeometryLogicalGroup teapot("teapot", {points, normals}, {body, lid}); // takes over a reference each
///     teapot.appendData(colors);                                            // this one as well
///
/// The group owns one reference of each member and drops it in its destructor; a copy takes
/// references of its own. So a member must be referenced before it is handed over (`ref()`): a new
/// object has the count 0, and would be gone with the first of two groups that hold it. Null members
/// are allowed and skipped.
class QV_EXPORT GeometryLogicalGroup {
public:
    /// Takes over one reference of each member.
    ///
    /// @param name null counts as empty
    /// @throws std::bad_alloc when memory runs out; the references are then still the caller's
    GeometryLogicalGroup(const char* name, const std::vector<const GeometryData*>& data,
                         const std::vector<const GeometryDataIndex*>& indices);
    GeometryLogicalGroup(const GeometryLogicalGroup& other);
    /// Leaves `other` without members.
    GeometryLogicalGroup(GeometryLogicalGroup&& other) noexcept;
    GeometryLogicalGroup& operator=(const GeometryLogicalGroup& other);
    /// Leaves `other` with the members that this group had.
    GeometryLogicalGroup& operator=(GeometryLogicalGroup&& other) noexcept;
    ~GeometryLogicalGroup();

    /// The name of the group.
    const std::string& name() const { return fName; }

    /// The first array of that meaning and collection number, in group order; null when there is
    /// none. Linear in the number of arrays.
    const GeometryData* geometryDataPtr(GeometryData::DataType type, int collection) const;

    /// Adds an array and takes over a reference of it; null is ignored. On purpose: the array is added
    /// to the first index array only, so that the others draw without it.
    ///
    /// @throws std::bad_alloc when memory runs out; nothing is added, and the reference is still the
    ///         caller's
    void appendData(const GeometryData* data);

    /// The attribute arrays; their references are the group's.
    const std::vector<const GeometryData*>& dataArrays() const { return fData; }
    /// The index arrays; their references are the group's.
    const std::vector<const GeometryDataIndex*>& indexArrays() const { return fIndices; }

private:
    std::string fName;
    std::vector<const GeometryData*> fData;
    std::vector<const GeometryDataIndex*> fIndices;
};
