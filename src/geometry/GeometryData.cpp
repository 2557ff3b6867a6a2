#include "geometry/GeometryData.h"

#include <iterator>
#include <string>
#include <utility>

namespace {

template <class T>
void releaseArray(void* data) {
    delete[] static_cast<T*>(data);
}

/// For data that is only lent.
void leaveArray(void* /*data*/) {}

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
    using Elements = std::unique_ptr<void, void (*)(void*)>;

    /// Owns the elements from the first line on, so that they are released whatever fails.
    static std::shared_ptr<const Shared> of(const char* name, ElementType type, void* data) {
        const ElementTypeRow* row = rowOf(type);
        Elements elements(data, row ? row->release : leaveArray);
        return std::make_shared<const Shared>(name ? name : "", std::move(elements));
    }

    Shared(const char* objectName, Elements&& owned) : name(objectName), elements(std::move(owned)) {}

    std::string name;
    Elements elements;
};

GeometryData::GeometryData(const char* name, DataType dataType, ElementType elementType,
                           ElementSize elementSize, unsigned int elementCount, void* data)
    : GeometryData(Shared::of(name, elementType, data), dataType, elementType, elementSize, elementCount) {}

GeometryData::GeometryData(std::shared_ptr<const Shared> shared, DataType dataType, ElementType elementType,
                           ElementSize elementSize, unsigned int elementCount)
    : IResource(shared->name), fShared(std::move(shared)), fData(fShared->elements.get()),
      fUniqueID(nextUniqueID++), fDataType(dataType), fElementType(elementType), fElementSize(elementSize),
      fElementCount(elementCount) {}

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
