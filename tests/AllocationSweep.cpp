#include "AllocationSweep.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

// The linker leads every call of malloc and its kind from the program's own objects to __wrap_malloc
// and __real_malloc to malloc (--wrap).
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void* __wrap_malloc(std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
void* __wrap_realloc(void* block, std::size_t size);
}

namespace {

// Plain data, ready before any constructor runs.
bool armed = false;
unsigned long allocations = 0; // since it was armed
unsigned long failing = 0;     // which of them fails; 0: none
bool failingForGood = false;   // and all behind it
long live = 0;

/// What stands in front of every block from `new`.
struct alignas(std::max_align_t) Header {
    std::uint64_t form;
};
constexpr std::uint64_t kSingle = 0x51E91EB10C4A11CEU;
constexpr std::uint64_t kArray = 0xA88A4B10C4A11CEDU;
constexpr std::uint64_t kDeleted = 0xDE1E7EDB10C4DEADU;

bool runsOut() {
    if (!armed) {
        return false;
    }
    ++allocations;
    return failing != 0 && (allocations == failing || (failingForGood && allocations > failing));
}

void* allocate(std::size_t size, std::uint64_t form) noexcept {
    if (size > SIZE_MAX - sizeof(Header) || runsOut()) {
        return nullptr;
    }
    auto* header = static_cast<Header*>(__real_malloc(sizeof(Header) + size));
    if (header == nullptr) {
        return nullptr;
    }
    header->form = form;
    ++live;
    return header + 1;
}

void* allocateOrThrow(std::size_t size, std::uint64_t form) {
    void* block = allocate(size, form);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void release(void* block, std::uint64_t form) noexcept {
    if (block == nullptr) {
        return;
    }
    Header* header = static_cast<Header*>(block) - 1;
    if (header->form != form) {
        std::fputs(header->form == kDeleted ? "a block was deleted twice\n" : "the wrong form of delete\n",
                   stderr);
        std::abort();
    }
    header->form = kDeleted;
    --live;
    std::free(header);
}

} // namespace

void* __wrap_malloc(std::size_t size) {
    return runsOut() ? nullptr : __real_malloc(size);
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
    return runsOut() ? nullptr : __real_calloc(count, size);
}

void* __wrap_realloc(void* block, std::size_t size) {
    return runsOut() ? nullptr : __real_realloc(block, size);
}

void* operator new(std::size_t size) {
    return allocateOrThrow(size, kSingle);
}
void* operator new[](std::size_t size) {
    return allocateOrThrow(size, kArray);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size, kSingle);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size, kArray);
}
void operator delete(void* block) noexcept {
    release(block, kSingle);
}
void operator delete[](void* block) noexcept {
    release(block, kArray);
}
void operator delete(void* block, std::size_t) noexcept {
    release(block, kSingle);
}
void operator delete[](void* block, std::size_t) noexcept {
    release(block, kArray);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    release(block, kSingle);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
    release(block, kArray);
}

bool AllocationSweep::next() {
    // The first exception of a thread needs memory of the runtime's own, which ends the process without.
    try {
        throw std::bad_alloc();
    } catch (const std::bad_alloc&) { // the memory is there from now on
    }
    if (fRound == 1) {
        EXPECT_GT(allocations, 0U) << "nothing was run that needs memory";
        fAllocations = allocations;
    } else if (fRound > 1 && live != fLiveBefore) {
        ADD_FAILURE() << live - fLiveBefore << " blocks are left after allocation " << failing << " of "
                      << fAllocations << (failingForGood ? " and all behind it" : "") << " failed";
        return false;
    }
    // Each allocation takes two rounds: alone, and with all behind it.
    failing = fRound / 2 + fRound % 2;
    failingForGood = fRound % 2 == 0;
    if (fRound > 0 && failing > fAllocations) {
        return false;
    }
    ++fRound;
    allocations = 0;
    fLiveBefore = live;
    return true;
}

AllocationSweep::Armed::Armed() {
    armed = true;
}

AllocationSweep::Armed::~Armed() {
    armed = false;
}

long AllocationSweep::liveBlocks() {
    return live;
}
