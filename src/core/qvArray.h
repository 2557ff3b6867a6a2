#pragma once

#include "base/Export.h"

#include <cstddef>

/// An untyped array that grows: a block of equally sized elements with a length, a capacity (the
/// physical size) and a growth step (the size increment) that adapts as the array grows.
///
/// Typed containers derive from it and hand elements over by address; elements are copied as raw
/// bytes, so they must not care where they lie. The array owns its block, which comes from
/// `malloc`. It is not copied.
///
///     class PointArray : public qvArray {
///     public:
///         PointArray() : qvArray(sizeof(PointFlt), 16) {}
///         void append(const PointFlt& point) { insertElement(&point, length(), 1); }
///         const PointFlt& operator[](unsigned int i) const {
///             return *static_cast<const PointFlt*>(address(i));
///         }
///     };
///
/// Nothing throws. A block holds at most 2^31 - 1 bytes on every platform; an operation that would
/// need more, or that gets no memory, leaves the array as it was.
class QV_EXPORT qvArray {
public:
    /// An empty array without storage, of elements of `elementSize` bytes.
    qvArray(unsigned int elementSize, unsigned int sizeIncrement);
    qvArray(const qvArray&) = delete;
    qvArray& operator=(const qvArray&) = delete;
    virtual ~qvArray();

    /// Replaces block and increment: `count` uninitialised elements, all of them in use. Returns 0,
    /// or 1 when the array was left as it was.
    virtual unsigned int create(unsigned int count, unsigned int sizeIncrement);

    /// Makes room for exactly `count` elements and cuts the length to that; 0 frees the block.
    /// Returns 0, or 1 when the array was left as it was.
    virtual unsigned int changePhysicalSizeTo(unsigned int count);

    /// Sets the length. New elements are uninitialised; a shorter array keeps its block. Returns 0,
    /// also when the array was left as it was (`length()` tells).
    unsigned int changeLogicalSizeTo(unsigned int n);
    /// Adds `delta` to the length, down to 0 at least. Returns 0, also when the array was left as it was.
    unsigned int changeLogicalSizeBy(int delta);

    /// Makes room for `extra` more elements than are in use.
    void buffer(unsigned int extra);
    /// Gives back the room that is not in use; an empty array frees its block.
    void pack();
    /// Empties the array and keeps its block.
    void reset() { fLength = 0; }

    bool isEmpty() const { return fLength == 0; }                 ///< Whether no element is in use.
    unsigned int length() const { return fLength; }               ///< The number of elements in use.
    unsigned int physicalSize() const { return fPhysicalSize; }   ///< The number of elements allocated.
    unsigned int sizeIncrement() const { return fSizeIncrement; } ///< The growth step in elements.
    void setSizeIncrement(unsigned int n) { fSizeIncrement = n; } ///< Sets the growth step.

    /// Takes out `count` elements, or as many as there are, from `index` on. Nothing happens when
    /// `index` is outside the array.
    void removeAt(unsigned int index, unsigned int count);
    /// Takes out the last `count` elements, or all of them.
    void removeLast(unsigned int count);

    /// Releases the block and adopts `block`, which must come from `malloc` and hold `physicalSize`
    /// elements, `length` of them in use (cut to `physicalSize`). A null block leaves the array empty.
    void setArray(void* block, unsigned int physicalSize, unsigned int length);

protected:
    /// `create`, then every element becomes a copy of the one at `value`. More than 65,535 elements
    /// and a null value leave the array as it was. Returns 0, or 1 when the array was left as it was.
    virtual unsigned int createAndInitialise(const void* value, unsigned int count,
                                             unsigned int sizeIncrement);

    /// The address of element `i`, which must be below the physical size.
    void* address(unsigned int i) { return fData + std::size_t{fElementSize} * i; }
    /// The address of element `i`, to read it.
    const void* address(unsigned int i) const { return fData + std::size_t{fElementSize} * i; }

    /// Inserts `count` elements before `position` (cut to the length). They may lie in the array
    /// itself. Costs moving the tail. Returns 0, or 1 when the array was left as it was.
    unsigned int insertElement(const void* elements, unsigned int position, unsigned int count);

    /// Overwrites from `position` on with `count` elements, which may lie in the array itself.
    /// On purpose: length and physical size both become `position + count`, so that elements behind
    /// are lost. Elements between the old length and `position` are uninitialised. Returns 0, or 1
    /// when the array was left as it was.
    unsigned int copyElements(unsigned int position, const void* source, unsigned int count);

    /// Looks for the first element with the same bytes; linear. Returns whether there is one and
    /// sets `index` to it, or to the length.
    bool findElement(const void* element, unsigned int& index) const;

    /// Takes out the first element with the same bytes. Returns whether there was one.
    bool removeElement(const void* element);

    /// Changes the size of a block from `malloc`; the block may move. Null when there is no memory.
    static char* reallocate(unsigned int oldBytes, unsigned int newBytes, char* block);

private:
    virtual unsigned int allocateArray(unsigned int count);
    virtual unsigned int expandArray(unsigned int n);

    bool isCreated() const { return fData != nullptr; }
    std::size_t offsetInBlock(const void* elements) const;

    unsigned int fLength = 0;
    unsigned int fPhysicalSize = 0;
    unsigned int fSizeIncrement;
    unsigned int fElementSize;
    char* fData = nullptr;
};
