#pragma once

#include "core/IResource.h"

#include <memory>

/// One typed vertex-attribute array: positions, normals, texture coordinates and so on.
///
///     auto* points = new GeometryData("points", GeometryData::kVertexData, GeometryData::kFloatElement,
///                                     GeometryData::kThreeElements, 100, new float[300]);
///     points->ref(); // ours; released by unref(), never deleted
///
/// The array takes over `data`, which comes from `new T[n]` of its element type. Copies share name
/// and data, and the last one releases them; data of an element type outside the table is lent and
/// never released.
///
/// On purpose: the reference count is copied and assigned along with everything else, so that whoever
/// assigns to an array that has owners sets its count right.
class QV_EXPORT GeometryData : public IResource {
public:
    /// What the elements mean. Other values may be stored; no iterator serves them.
    enum DataType : int {
        kVertexData = 1,
        kNormalData = 2,
        kTexCoordData = 3,
        kColorData = 4,
        kWeightData = 5,
        kTangentData = 7,
        kBinormalData = 8,
        kUserData = 11,
    };

    /// The scalar type of the components.
    enum ElementType : int {
        kFloatElement = 0,
        kDoubleElement,
        kByteElement, ///< signed char
        kUnsignedByteElement,
        kShortElement,
        kUnsignedShortElement,
        kIntElement,
        kUnsignedIntElement,
    };

    /// The number of components per element; any other count may be cast in.
    enum ElementSize : int {
        kOneElement = 1,
        kTwoElements,
        kThreeElements,
        kFourElements,
    };

    /// @param name         copied; null counts as empty
    /// @param elementCount the number of elements, each of `elementSize` components
    /// @param data         taken over, also when memory runs out; may be null
    /// @throws std::bad_alloc when memory runs out
    GeometryData(const char* name, DataType dataType, ElementType elementType, ElementSize elementSize,
                 unsigned int elementCount, void* data);
    /// On purpose: a copy keeps the unique number of its source, so that both are one array to those
    /// who tell arrays apart by number.
    GeometryData(const GeometryData& other);
    /// Takes over everything from `other`, the unique number included. Nothing changes when memory runs
    /// out.
    GeometryData& operator=(const GeometryData& other);

    /// The name given at construction; empty for an array without one.
    const char* objectName() const;
    /// Drawn from a process-wide counter that starts at 0.
    unsigned int uniqueID() const { return fUniqueID; }
    /// What the array means to the one who draws.
    DataType dataType() const { return fDataType; }
    /// The type of a component.
    ElementType elementType() const { return fElementType; }
    /// The number of components of an element.
    ElementSize elementSize() const { return fElementSize; }
    /// The number of elements.
    unsigned int elementCount() const { return fElementCount; }
    /// The components, element after element; shared by all copies.
    void* data() const { return fData; }

    /// Tells arrays of the same meaning apart, such as two sets of texture coordinates; 0 at first.
    int collectionNumber() const { return fCollectionNumber; }
    /// Sets that number.
    void setCollectionNumber(int number) { fCollectionNumber = number; }

    /// The size of one component in bytes; 0 for an element type outside the table.
    unsigned int elementTypeSize() const;

protected:
    /// An empty array without a number, for derived classes to assign to.
    GeometryData();
    ~GeometryData() override;

private:
    struct Shared;

    GeometryData(std::shared_ptr<const Shared> shared, DataType dataType, ElementType elementType,
                 ElementSize elementSize, unsigned int elementCount);

    std::shared_ptr<const Shared> fShared; ///< name and data, owned by all copies together
    void* fData = nullptr;
    unsigned int fUniqueID = 0;
    int fCollectionNumber = 0;
    DataType fDataType = DataType(0);
    ElementType fElementType = kFloatElement;
    ElementSize fElementSize = ElementSize(0);
    unsigned int fElementCount = 0;
};
