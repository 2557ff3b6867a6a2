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
/// references of its own. Null members are allowed and skipped.
class QV_EXPORT GeometryLogicalGroup {
public:
    /// @param name null counts as empty
    GeometryLogicalGroup(const char* name, const std::vector<const GeometryData*>& data,
                         const std::vector<const GeometryDataIndex*>& indices);
    GeometryLogicalGroup(const GeometryLogicalGroup& other);
    GeometryLogicalGroup& operator=(const GeometryLogicalGroup& other);
    ~GeometryLogicalGroup();

    /// The name of the group.
    const std::string& name() const { return fName; }

    /// The first array of that meaning and collection number, in group order; null when there is
    /// none. Linear in the number of arrays.
    const GeometryData* geometryDataPtr(GeometryData::DataType type, int collection) const;

    /// Adds an array and takes over a reference of it; null is ignored. On purpose: of the index
    /// arrays only the first one learns about it.
    void appendData(const GeometryData* data);

    /// The vertex arrays; their references are the group's.
    const std::vector<const GeometryData*>& dataArrays() const { return fData; }
    /// The index arrays; their references are the group's.
    const std::vector<const GeometryDataIndex*>& indexArrays() const { return fIndices; }

private:
    std::string fName;
    std::vector<const GeometryData*> fData;
    std::vector<const GeometryDataIndex*> fIndices;
};
