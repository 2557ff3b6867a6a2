#include "geometry/DepthSorter.h"

#include "geometry/NothrowArray.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <numeric>

using qvLinear::ProjMatrix;

float* DepthSorter::fsPositionXformZ = nullptr;

// The sort has three steps:
//   1. The depth of every element, as a float.
//   2. An unsigned key per depth that compares as the depth does.
//   3. Few elements: the pairs (key, element number) sorted as single 64-bit numbers. Many: a
//      least-significant-digit radix sort of the pairs, which is stable; digits that all keys share
//      are skipped.
namespace {

constexpr unsigned int kFew = 256;

// Wide digits take fewer passes, narrow ones fewer counters to clear and add up.
constexpr unsigned int kMany = 8192;
constexpr unsigned int kNarrowDigit = 8;
constexpr unsigned int kWideDigit = 11; // 3 x 11 covers 32 bits; 2048 counters stay in the first cache

constexpr std::uint32_t kNotANumberKey = 0xFFFFFFFF; // above the key of +infinity

static_assert(std::numeric_limits<float>::is_iec559 && sizeof(float) == 4);

/// Negative floats fall as their bits rise, and lie below the others.
std::uint32_t keyOf(float depth) {
    if (std::isnan(depth)) {
        return kNotANumberKey;
    }
    const auto bits = std::bit_cast<std::uint32_t>(depth + 0.0F); // -0 + 0 is +0
    return bits ^ ((0 - (bits >> 31)) | 0x80000000); // no branch: random signs would mispredict it
}

/// A key in the high half, the element's number in the low half.
using Pair = std::uint64_t;

Pair pairOf(const float* depths, unsigned int element) {
    return Pair(keyOf(depths[element])) << 32 | element;
}

template <unsigned int kDigitBits>
unsigned int digitOf(Pair pair, unsigned int digit) {
    return static_cast<unsigned int>(pair >> (32 + digit * kDigitBits)) & ((1U << kDigitBits) - 1);
}

/// The third component of `(x, y, z, 1) m`, computed as `ProjMatrix::preMult` does.
class DepthOf {
public:
    explicit DepthOf(const ProjMatrix& m) : fX(m(0, 2)), fY(m(1, 2)), fZ(m(2, 2)), fW(m(3, 2)) {}

    float operator()(const float* p) const {
        return static_cast<float>(p[0] * fX + p[1] * fY + p[2] * fZ + fW);
    }

private:
    double fX, fY, fZ, fW;
};

void computeDepths(float* depths, const ProjMatrix& m, const float* positions, unsigned int count) {
    if (equivalent(ProjMatrix(1.0), m, qvLinear::epsilonTol)) {
        for (std::size_t i = 0; i < count; ++i) {
            depths[i] = positions[3 * i + 2];
        }
        return;
    }
    const DepthOf depthOf(m);
    for (std::size_t i = 0; i < count; ++i) {
        depths[i] = depthOf(positions + 3 * i);
    }
}

void computeIndexedDepths(float* depths, const ProjMatrix& m, const float* positions, unsigned int count,
                          const unsigned int* indices, unsigned int indexCount) {
    // On purpose: the identity is not looked for here, so that a matrix near it moves these depths.
    const DepthOf depthOf(m);
    for (std::size_t k = 0; k < indexCount; ++k) {
        depths[k] = indices[k] < count ? depthOf(positions + std::size_t(3) * indices[k])
                                       : std::numeric_limits<float>::quiet_NaN();
    }
}

void sortFew(unsigned int* order, const float* depths, unsigned int count) {
    Pair pairs[kFew];
    for (unsigned int i = 0; i < count; ++i) {
        pairs[i] = pairOf(depths, i);
    }
    std::sort(pairs, pairs + count); // no two are equal, so that any sort is stable
    for (unsigned int i = 0; i < count; ++i) {
        order[i] = static_cast<std::uint32_t>(pairs[i]);
    }
}

/// What a radix sort of many elements finds out before it moves any.
template <unsigned int kDigitBits>
struct Plan {
    static constexpr unsigned int kDigits = (32 + kDigitBits - 1) / kDigitBits;

    std::uint32_t buckets[kDigits][1U << kDigitBits] = {}; ///< their sizes, later where each begins
    unsigned int digits[kDigits];                          ///< those that take a pass, lowest first
    unsigned int passes = 0;
};

/// Fills in the sizes of the buckets. Returns whether the elements are in order as they stand.
template <unsigned int kDigitBits>
bool countDigits(Plan<kDigitBits>& plan, const float* depths, unsigned int count) {
    bool ascending = true;
    Pair previous = 0;
    for (unsigned int i = 0; i < count; ++i) {
        const Pair pair = pairOf(depths, i);
        ascending &= previous <= pair;
        previous = pair;
        for (unsigned int digit = 0; digit < plan.kDigits; ++digit) {
            ++plan.buckets[digit][digitOf<kDigitBits>(pair, digit)];
        }
    }
    return ascending;
}

/// Chooses the passes, and turns the sizes of their buckets into starts. A digit that `any` of the
/// elements shares with all others takes no pass.
template <unsigned int kDigitBits>
void choosePasses(Plan<kDigitBits>& plan, Pair any, unsigned int count) {
    for (unsigned int digit = 0; digit < plan.kDigits; ++digit) {
        if (plan.buckets[digit][digitOf<kDigitBits>(any, digit)] == count) {
            continue;
        }
        std::uint32_t sum = 0;
        for (std::uint32_t& bucket : plan.buckets[digit]) {
            const std::uint32_t size = bucket;
            bucket = sum;
            sum += size;
        }
        plan.digits[plan.passes++] = digit;
    }
}

/// Sorts by one digit: `next(i)` is the i-th pair, `put(slot, pair)` stores it. `starts` is where
/// each bucket begins, and is used up.
template <unsigned int kDigitBits, class Next, class Put>
void distribute(unsigned int count, unsigned int digit, std::uint32_t* starts, Next next, Put put) {
    for (unsigned int i = 0; i < count; ++i) {
        const Pair pair = next(i);
        put(starts[digitOf<kDigitBits>(pair, digit)]++, pair);
    }
}

/// The passes over `storage`, which has room for the pairs twice, or once where there are two passes
/// only: the first pass reads the depths, the last one writes the order.
template <unsigned int kDigitBits>
void runPasses(Plan<kDigitBits>& plan, unsigned int* order, const float* depths, unsigned int count,
               Pair* storage) {
    for (unsigned int pass = 0; pass < plan.passes; ++pass) {
        Pair* const target = storage + (pass % 2 ? count : 0);
        const Pair* const source = storage + (pass % 2 ? 0 : count);
        const auto fromDepths = [&](unsigned int i) { return pairOf(depths, i); };
        const auto fromPairs = [&](unsigned int i) { return source[i]; };
        const auto toPairs = [&](std::uint32_t slot, Pair pair) { target[slot] = pair; };
        const auto toOrder = [&](std::uint32_t slot, Pair pair) {
            order[slot] = static_cast<std::uint32_t>(pair);
        };
        const auto run = [&](auto next, auto put) {
            distribute<kDigitBits>(count, plan.digits[pass], plan.buckets[plan.digits[pass]], next, put);
        };
        const bool last = pass + 1 == plan.passes;
        if (pass == 0) {
            last ? run(fromDepths, toOrder) : run(fromDepths, toPairs);
        } else {
            last ? run(fromPairs, toOrder) : run(fromPairs, toPairs);
        }
    }
}

/// False when memory runs out.
template <unsigned int kDigitBits>
bool sortMany(unsigned int* order, const float* depths, unsigned int count) {
    Plan<kDigitBits> plan;
    if (countDigits(plan, depths, count)) {
        std::iota(order, order + count, 0U);
        return true;
    }
    choosePasses(plan, pairOf(depths, 0), count);
    const std::unique_ptr<Pair[]> storage =
        makeNothrowArray<Pair>(std::uint64_t(std::min(plan.passes - 1, 2U)) * count);
    if (storage) {
        runPasses(plan, order, depths, count, storage.get());
    }
    return storage != nullptr;
}

/// Lends the depths to the comparison function for as long as a sort runs.
class Lend {
public:
    Lend(float*& place, float* depths) : fPlace(place) { fPlace = depths; }
    Lend(const Lend&) = delete;
    Lend& operator=(const Lend&) = delete;
    ~Lend() { fPlace = nullptr; }

private:
    float*& fPlace;
};

} // namespace

bool DepthSorter::sortByDepth(const ProjMatrix& m, unsigned int* order, unsigned int count,
                              const float* positions, const unsigned int* indices, unsigned int indexCount) {
    const unsigned int elements = indices ? indexCount : count;
    if (!order || count == 0) {
        return true;
    }
    if (!positions) {
        return false;
    }
    if (elements == 0) {
        return true;
    }

    float few[kFew];
    std::unique_ptr<float[]> many;
    if (elements > kFew) {
        many = makeNothrowArray<float>(elements);
        if (!many) {
            return false;
        }
    }
    float* const depths = many ? many.get() : few;
    const Lend lend(fsPositionXformZ, depths);

    if (indices) {
        computeIndexedDepths(depths, m, positions, count, indices, indexCount);
    } else {
        computeDepths(depths, m, positions, count);
    }
    if (elements <= kFew) {
        sortFew(order, depths, elements);
        return true;
    }
    return elements < kMany ? sortMany<kNarrowDigit>(order, depths, elements)
                            : sortMany<kWideDigit>(order, depths, elements);
}

int DepthSorter::depthCompareFunction(const void* a, const void* b) {
    const float depthA = fsPositionXformZ[*static_cast<const unsigned int*>(a)];
    const float depthB = fsPositionXformZ[*static_cast<const unsigned int*>(b)];
    return depthA <= depthB ? -1 : 1;
}
