#include "core/qvArray.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

constexpr std::uint64_t kMaxBytes = 0x7FFFFFFF;
constexpr std::uint64_t kMaxCount = 0xFFFFFFFF;
constexpr std::size_t kOutside = SIZE_MAX;

// Whether a block can hold that many elements.
bool fits(std::uint64_t count, unsigned int elementSize) {
    return count <= kMaxCount && count * elementSize <= kMaxBytes;
}

// Blocks of no bytes would not be told from a failure.
unsigned int blockBytes(unsigned int count, unsigned int elementSize) {
    return std::max(count * elementSize, 1U);
}

// The usual element sizes as direct stores.
void storeElement(char* target, const void* source, unsigned int size) {
    switch (size) {
    case 1:
        *target = *static_cast<const char*>(source);
        break;
    case 4:
        std::memcpy(target, source, 4);
        break;
    case 8:
        std::memcpy(target, source, 8);
        break;
    case 12:
        std::memcpy(target, source, 12);
        break;
    default:
        std::memcpy(target, source, size);
    }
}

} // namespace

qvArray::qvArray(unsigned int elementSize, unsigned int sizeIncrement)
    : fSizeIncrement(sizeIncrement), fElementSize(elementSize) {}

qvArray::~qvArray() {
    std::free(fData);
}

unsigned int qvArray::create(unsigned int count, unsigned int sizeIncrement) {
    const unsigned int oldIncrement = std::exchange(fSizeIncrement, sizeIncrement);
    if (allocateArray(count) != 0) {
        fSizeIncrement = oldIncrement;
        return 1;
    }
    return 0;
}

unsigned int qvArray::changePhysicalSizeTo(unsigned int count) {
    if (count == 0) {
        std::free(std::exchange(fData, nullptr));
        fPhysicalSize = fLength = 0;
        return 0;
    }
    if (!fits(count, fElementSize)) {
        return 1;
    }
    char* block = reallocate(blockBytes(fPhysicalSize, fElementSize), blockBytes(count, fElementSize), fData);
    if (!block && count <= fPhysicalSize) {
        block = fData; // large enough
    }
    if (!block) {
        return 1;
    }
    fData = block;
    fPhysicalSize = count;
    fLength = std::min(fLength, count);
    return 0;
}

unsigned int qvArray::changeLogicalSizeTo(unsigned int n) {
    if (n != 0) {
        expandArray(n);
    } else {
        fLength = 0;
    }
    return 0;
}

unsigned int qvArray::changeLogicalSizeBy(int delta) {
    const std::int64_t n = std::int64_t{fLength} + delta;
    return n > std::int64_t{kMaxCount}
               ? 0
               : changeLogicalSizeTo(static_cast<unsigned int>(std::max<std::int64_t>(n, 0)));
}

void qvArray::buffer(unsigned int extra) {
    const std::uint64_t n = std::uint64_t{fLength} + extra;
    if (n > fPhysicalSize && n <= kMaxCount) {
        changePhysicalSizeTo(static_cast<unsigned int>(n));
    }
}

void qvArray::pack() {
    if (fPhysicalSize > fLength) {
        changePhysicalSizeTo(fLength);
    }
}

void qvArray::removeAt(unsigned int index, unsigned int count) {
    if (index >= fLength) {
        return;
    }
    const unsigned int last = fLength - 1;
    if (index == last) {
        // On purpose: the last element is removed even when `count` is 0.
        fLength = last;
        return;
    }
    count = std::min(count, fLength - index);
    char* target = fData + std::size_t{fElementSize} * index;
    const std::size_t removed = std::size_t{fElementSize} * count;
    std::memmove(target, target + removed, std::size_t{fElementSize} * (fLength - index - count));
    fLength -= count;
}

void qvArray::removeLast(unsigned int count) {
    if (fLength <= count) {
        fLength = 0;
    } else {
        removeAt(fLength - count, count);
    }
}

void qvArray::setArray(void* block, unsigned int physicalSize, unsigned int length) {
    if (block && block == fData) {
        fData = nullptr; // handed back to its owner: nothing to release
    }
    changePhysicalSizeTo(0);
    if (block) {
        fData = static_cast<char*>(block);
        fPhysicalSize = physicalSize;
        fLength = std::min(length, physicalSize);
    }
}

unsigned int qvArray::createAndInitialise(const void* value, unsigned int count, unsigned int sizeIncrement) {
    if (!value || count > 0xFFFF) {
        return 1;
    }
    // The value may lie in the block that `create` replaces.
    char* oldData = std::exchange(fData, nullptr);
    if (create(count, sizeIncrement) != 0) {
        fData = oldData;
        return 1;
    }
    for (unsigned int i = 0; i < fLength; ++i) {
        storeElement(fData + std::size_t{fElementSize} * i, value, fElementSize);
    }
    std::free(oldData);
    return 0;
}

unsigned int qvArray::insertElement(const void* elements, unsigned int position, unsigned int count) {
    position = std::min(position, fLength);
    const std::uint64_t newLength = std::uint64_t{fLength} + count;
    if (!elements || !fits(newLength, fElementSize)) {
        return count == 0 ? 0 : 1;
    }
    const std::size_t begin = std::size_t{fElementSize} * position;
    const std::size_t end = std::size_t{fElementSize} * fLength;
    const std::size_t bytes = std::size_t{fElementSize} * count;
    const std::size_t offset = offsetInBlock(elements);
    if (offset != kOutside && offset + bytes > end) {
        return 1; // elements that are not in use
    }
    if (expandArray(static_cast<unsigned int>(newLength)) != 0) {
        return 1;
    }
    if (bytes == 0) {
        return 0;
    }
    std::memmove(fData + begin + bytes, fData + begin, end - begin);
    if (offset != kOutside) {
        // What lay behind the position has moved up by the size of the gap.
        const std::size_t front = offset < begin ? std::min(bytes, begin - offset) : 0;
        std::memcpy(fData + begin, fData + offset, front);
        std::memcpy(fData + begin + front, fData + offset + front + bytes, bytes - front);
    } else if (count == 1) {
        storeElement(fData + begin, elements, fElementSize);
    } else {
        std::memcpy(fData + begin, elements, bytes);
    }
    return 0;
}

unsigned int qvArray::copyElements(unsigned int position, const void* source, unsigned int count) {
    const std::uint64_t newLength = std::uint64_t{position} + count;
    if (!fits(newLength, fElementSize) || (!source && count != 0)) {
        return 1;
    }
    const std::size_t begin = std::size_t{fElementSize} * position;
    const std::size_t bytes = std::size_t{fElementSize} * count;
    const std::size_t offset = offsetInBlock(source);
    if (offset != kOutside && offset + bytes > std::size_t{fElementSize} * fPhysicalSize) {
        return 1;
    }
    // From the array itself: where the block shrinks, the copy must come first, because the source
    // may lie in the part that is given back.
    const bool shrinks = newLength <= fPhysicalSize;
    if (offset != kOutside && shrinks) {
        std::memmove(fData + begin, fData + offset, bytes);
    }
    if (changePhysicalSizeTo(static_cast<unsigned int>(newLength)) != 0) {
        return 1;
    }
    fLength = fPhysicalSize;
    if (bytes != 0 && offset == kOutside) {
        std::memcpy(fData + begin, source, bytes);
    } else if (bytes != 0 && !shrinks) {
        std::memmove(fData + begin, fData + offset, bytes);
    }
    return 0;
}

bool qvArray::findElement(const void* element, unsigned int& index) const {
    index = fLength;
    if (!element) {
        return false;
    }
    if (fElementSize == 4) {
        std::uint32_t wanted;
        std::memcpy(&wanted, element, 4);
        for (unsigned int i = 0; i < fLength; ++i) {
            std::uint32_t found;
            std::memcpy(&found, fData + std::size_t{4} * i, 4);
            if (found == wanted) {
                index = i;
                return true;
            }
        }
        return false;
    }
    for (unsigned int i = 0; i < fLength; ++i) {
        if (std::memcmp(address(i), element, fElementSize) == 0) {
            index = i;
            return true;
        }
    }
    return false;
}

bool qvArray::removeElement(const void* element) {
    unsigned int index;
    if (!findElement(element, index)) {
        return false;
    }
    removeAt(index, 1);
    return true;
}

char* qvArray::reallocate(unsigned int /*oldBytes*/, unsigned int newBytes, char* block) {
    return static_cast<char*>(std::realloc(block, newBytes));
}

unsigned int qvArray::allocateArray(unsigned int count) {
    char* block = nullptr;
    if (count != 0) {
        block = fits(count, fElementSize) ? reallocate(0, blockBytes(count, fElementSize), nullptr) : nullptr;
        if (!block) {
            return 1;
        }
    }
    std::free(std::exchange(fData, block));
    fLength = fPhysicalSize = count;
    return 0;
}

// 1. Enough room: only the length changes, also downwards.
// 2. Otherwise the capacity grows by the increment (at least 1), or by the smallest multiple of it
//    that reaches n where the increment is below n.
// 3. The first allocation leaves the increment alone.
// 4. Every later one raises it by a quarter when it has fallen below a quarter of the length, so
//    that appending costs constant time per element in the long run.
unsigned int qvArray::expandArray(unsigned int n) {
    if (fPhysicalSize >= n) {
        fLength = n;
        return 0;
    }
    const unsigned int increment = std::max(fSizeIncrement, 1U);
    const std::uint64_t steps = increment >= n ? 1 : (n - fPhysicalSize - 1) / increment + 1;
    const std::uint64_t capacity = fPhysicalSize + steps * increment;
    if (!fits(capacity, fElementSize)) {
        return 1;
    }
    const bool first = !isCreated();
    const auto count = static_cast<unsigned int>(capacity);
    if ((first ? allocateArray(count) : changePhysicalSizeTo(count)) != 0) {
        return 1;
    }
    fLength = n;
    fSizeIncrement = increment;
    if (!first && increment < 0x7FFFFFFF && increment < n * 0.25) {
        fSizeIncrement = 1 + static_cast<unsigned int>(increment * 1.25);
    }
    return 0;
}

// The distance in bytes from the start of the block, or kOutside.
std::size_t qvArray::offsetInBlock(const void* elements) const {
    const auto distance =
        reinterpret_cast<std::uintptr_t>(elements) - reinterpret_cast<std::uintptr_t>(fData);
    return isCreated() && distance < std::size_t{fElementSize} * fPhysicalSize ? distance : kOutside;
}
