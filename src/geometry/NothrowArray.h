#pragma once

// Internal: for what reports missing memory as a result instead of throwing.

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>

/// An uninitialised array; null when memory runs out or the size does not fit the address space
/// (for which `new` would throw even so).
template <class T>
std::unique_ptr<T[]> makeNothrowArray(std::uint64_t count) {
    constexpr std::uint64_t kMost = std::numeric_limits<std::ptrdiff_t>::max() / sizeof(T);
    return std::unique_ptr<T[]>(count > kMost ? nullptr
                                              : new (std::nothrow) T[static_cast<std::size_t>(count)]);
}
