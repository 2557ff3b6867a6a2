#include "geometry/GeometryData.h"

#include <iterator>
#include <string>

namespace {

template <class T>
void releaseArray(void* data) {
    delete[] static_cast<T*>(data);
}

struct ElementTypeRow {
    unsigned int size;
    void (*release)(void* data);
};

// One row per element type.
constexpr ElementTypeRow kElementTypes[] = {
    {4, releaseArray<float>},          // kFloatElement
    {8, releaseArray<double>},         // kDoubleElement
    {1, releaseArray<signed char>},    // kByteElement
    {1, releaseArray<unsigned char>},  // kUnsignedByteElement
    {2, releaseArray<short>},          // kShortElement
    {2, releaseArray<unsigned short>}, // kUnsignedShortElement
    {4, releaseArray<int>},            // kIntElement
    {4, releaseArray<unsigned int>},   // kUnsignedIntElement
};

/// Null for an element type outside the table.
const ElementTypeRow* rowOf(GeometryData::ElementType type) {
    const int value = type;
    return value >= 0 && value < int(std::size(kElementTypes)) ? &kElementTypes[value] : nullptr;
}

// Not synchronised: geometry is made on one thread.
unsigned int nextUniqueID = 0;

} // namespace

struct GeometryData::Shared {
    Shared(const char* objectName, void* elements, ElementType elementType)
        : name(objectName ? objectName : ""), data(elements), type(elementType) {}
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;
    ~Shared() {
        if (const ElementTypeRow* row = rowOf(type)) {
            row->release(data);
        }
    }

    std::string name;
    void* data;
    ElementType type;
};

GeometryData::GeometryData(const char* name, DataType dataType, ElementType elementType,
                           ElementSize elementSize, unsigned int elementCount, void* data)
    : IResource(name ? name : ""), fShared(std::make_shared<const Shared>(name, data, elementType)),
      fData(data), fUniqueID(nextUniqueID++), fDataType(dataType), fElementType(elementType),
      fElementSize(elementSize), fElementCount(elementCount) {}

GeometryData::GeometryData() = default;
GeometryData::GeometryData(const GeometryData& other) = default;
GeometryData& GeometryData::operator=(const GeometryData& other) = default;
GeometryData::~GeometryData() = default;

const char* GeometryData::objectName() const {
    return fShared ? fShared->name.c_str() : "";
}

unsigned int GeometryData::elementTypeSize() const {
    const ElementTypeRow* row = rowOf(fElementType);
    return row ? row->size : 0;
}
