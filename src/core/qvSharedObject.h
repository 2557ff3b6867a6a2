#pragma once

#include "base/Export.h"

#include <cstddef>
#include <new>

/// The base of every object that several owners share: an intrusive reference count.
///
/// An object starts with the count 0; its creator calls `ref()`, everyone who keeps it calls
/// `ref()`, and everyone who drops it calls `unref()`. The last `unref()` destroys it. `delete`
/// is not the way to free a shared object and says so.
///
///     auto* box = new SharedBox; // count 0
///     box->ref();                // 1: ours
///     scene.add(box);            // 2: the scene's, too
///     box->unref();              // 1: the scene keeps it alive
///
/// Counting is not synchronised: one thread at a time.
class QV_EXPORT qvSharedObject {
public:
    qvSharedObject() = default;
    /// On purpose: a copy starts with the count of its source, not with 0.
    qvSharedObject(const qvSharedObject& other) = default;
    /// On purpose: the source's count overwrites the target's own, whoever holds references to it.
    qvSharedObject& operator=(const qvSharedObject& other) = default;
    virtual ~qvSharedObject();

    /// Adds a reference. Returns the new count.
    int ref() { return ++fRefCount; }
    /// Adds a reference to what may be null, which gives 0.
    static int ref(qvSharedObject* object) { return object ? object->ref() : 0; }

    /// Drops a reference. Destroys the object when none is left (also when there was none before)
    /// and returns 0; otherwise returns the new count.
    int unref();
    /// Drops a reference to what may be null, which gives 0.
    static int unref(qvSharedObject* object) { return object ? object->unref() : 0; }

    /// Drops a reference without ever destroying the object. Returns the new count, which may be
    /// negative.
    int unrefNoDelete() { return --fRefCount; }

    /// The number of references.
    int refCount() const { return fRefCount; }

    /// Allocates through the global allocation function. Where the constructor throws, the storage
    /// goes to `operator delete` below, which leaks it: let constructors of shared objects not throw
    /// once they have storage, or accept that. There is no `new (std::nothrow)`.
    static void* operator new(std::size_t size);
    /// Types that need more alignment than every allocation has cannot be shared objects: the last
    /// `unref()` would release their storage as if it had been allocated without it.
    static void* operator new(std::size_t size, std::align_val_t alignment) = delete;
    /// Construction in place, as standard containers do it.
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    /// On purpose: `delete` runs the destructor, prints a warning to standard output and leaks the
    /// storage.
    static void operator delete(void* storage);
    /// Ends a construction in place that threw.
    static void operator delete(void*, void*) noexcept {}

private:
    int fRefCount = 0;
};
