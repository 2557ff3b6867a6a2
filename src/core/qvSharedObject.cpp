#include "core/qvSharedObject.h"

#include <cstdio>
#include <new>

qvSharedObject::~qvSharedObject() = default;

int qvSharedObject::unref() {
    if (--fRefCount > 0) {
        return fRefCount;
    }
    // With several bases the storage does not begin at this base but at the whole object.
    void* storage = dynamic_cast<void*>(this);
    this->~qvSharedObject();
    ::operator delete(storage);
    return 0;
}

void* qvSharedObject::operator new(std::size_t size) {
    return ::operator new(size);
}

void qvSharedObject::operator delete(void* /*storage*/) {
    std::printf("qvSharedObject::delete called illegally (use unref)");
}
