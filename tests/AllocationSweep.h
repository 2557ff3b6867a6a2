#pragma once

#include <cstddef>
#include <new>

/// Lets memory run out at every allocation of an operation in turn.
///
///     for (AllocationSweep sweep; sweep.next();) {
///         Thing thing;                                   // here memory never runs out
///         if (!sweep.run([&] { thing.grow(100); })) {
///             EXPECT_EQ(thing.size(), 0U);               // std::bad_alloc came out
///         }
///     }
///
/// The first round only counts. Then every allocation within `run` fails once, alone and together
/// with all behind it; `new`, `new (std::nothrow)`, `malloc`, `calloc` and `realloc` all count. At
/// the end of each round no more blocks from `new` may be there than at its start, and nothing may
/// be deleted twice or by the wrong form of `delete`. Any exception but `std::bad_alloc` goes through
/// to the caller.
///
/// Within `run` stands only what is tested, no EXPECT. A round starts its objects afresh, so that
/// the sweep costs the square of the number of allocations: a few thousand of them are fine.
///
/// Programs that use it are made by `qv_add_sweep_test`, which links this file's `.cpp` and the
/// library's objects into them: on Windows, too, there is then one `new` for everything.
class AllocationSweep {
public:
    AllocationSweep() = default;
    AllocationSweep(const AllocationSweep&) = delete;
    AllocationSweep& operator=(const AllocationSweep&) = delete;

    /// Starts the next round; false when every allocation has failed. Ends the last round: a block
    /// that it left behind is a failure of the test, and ends the sweep.
    bool next();

    /// Calls `action` with memory that runs out. False when `std::bad_alloc` came out of it.
    template <typename Action>
    bool run(Action action) {
        const Armed armed;
        try {
            action();
        } catch (const std::bad_alloc&) {
            return false;
        }
        return true;
    }

    /// The number of blocks from `new` that are alive.
    static long liveBlocks();

private:
    struct Armed {
        Armed();
        ~Armed();
        Armed(const Armed&) = delete;
        Armed& operator=(const Armed&) = delete;
    };

    unsigned long fRound = 0;       // 0: before the first
    unsigned long fAllocations = 0; // that the first round saw
    long fLiveBefore = 0;
};
