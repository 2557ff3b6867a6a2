#include "geometry/GeometryLogicalGroup.h"

#include <utility>

namespace {

// Members are constant for the group's users; counting is not part of their value.
template <class Member>
void refAll(const std::vector<const Member*>& members) {
    for (const Member* member : members) {
        qvSharedObject::ref(const_cast<Member*>(member));
    }
}

template <class Member>
void unrefAll(const std::vector<const Member*>& members) {
    for (const Member* member : members) {
        qvSharedObject::unref(const_cast<Member*>(member));
    }
}

} // namespace

GeometryLogicalGroup::GeometryLogicalGroup(const char* name, const std::vector<const GeometryData*>& data,
                                           const std::vector<const GeometryDataIndex*>& indices)
    : fName(name ? name : ""), fData(data), fIndices(indices) {}

GeometryLogicalGroup::GeometryLogicalGroup(const GeometryLogicalGroup& other)
    : fName(other.fName), fData(other.fData), fIndices(other.fIndices) {
    refAll(fIndices);
    refAll(fData);
}

GeometryLogicalGroup::GeometryLogicalGroup(GeometryLogicalGroup&& other) noexcept = default;

GeometryLogicalGroup& GeometryLogicalGroup::operator=(const GeometryLogicalGroup& other) {
    return *this = GeometryLogicalGroup(other);
}

GeometryLogicalGroup& GeometryLogicalGroup::operator=(GeometryLogicalGroup&& other) noexcept {
    std::swap(fName, other.fName);
    std::swap(fData, other.fData);
    std::swap(fIndices, other.fIndices);
    return *this;
}

GeometryLogicalGroup::~GeometryLogicalGroup() {
    unrefAll(fIndices);
    unrefAll(fData);
}

const GeometryData* GeometryLogicalGroup::geometryDataPtr(GeometryData::DataType type, int collection) const {
    for (const GeometryData* data : fData) {
        if (data && data->dataType() == type && data->collectionNumber() == collection) {
            return data;
        }
    }
    return nullptr;
}

void GeometryLogicalGroup::appendData(const GeometryData* data) {
    if (!data) {
        return;
    }
    fData.push_back(data);
    try {
        if (!fIndices.empty() && fIndices.front()) {
            fIndices.front()->dataPtrArrayPtr()->push_back(data);
        }
    } catch (...) {
        fData.pop_back();
        throw;
    }
}
