#include "core/qvArray.h"
#include "core/qvBitField.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

// Elements of any trivially copyable type; opens what only derived classes may use.
template <typename T>
class Array : public qvArray {
public:
    explicit Array(unsigned int sizeIncrement) : qvArray(sizeof(T), sizeIncrement) {}
    using qvArray::address;
    using qvArray::copyElements;
    using qvArray::createAndInitialise;
    using qvArray::findElement;
    using qvArray::insertElement;
    using qvArray::removeElement;

    void append(const T& value) { insertElement(&value, length(), 1); }
    const T* data() const { return static_cast<const T*>(address(0)); }
    std::vector<T> values() const {
        return length() ? std::vector<T>(data(), data() + length()) : std::vector<T>();
    }
};

void fill(Array<int>& array, unsigned int count) {
    array.create(count, 0);
    for (unsigned int i = 0; i < count; ++i) {
        *static_cast<int*>(array.address(i)) = static_cast<int>(i);
    }
}

using Ints = std::vector<int>;
constexpr unsigned int kTooMany = 0x20000000; // of 4 bytes: one more than a block can hold

TEST(Array, GrowsByTheIncrementThatAdapts) {
    // How far an array of the given capacity grows for a length, and what becomes of the increment.
    const struct {
        unsigned int created, increment, length, physicalSize, newIncrement;
    } rows[] = {
        {0, 0, 1, 1, 1},     // an increment of 0 counts as 1
        {0, 10, 25, 30, 10}, // the first allocation does not adapt
        {0, 10, 10, 10, 10},
        {10, 10, 25, 30, 10},
        {4, 4, 20, 20, 6},
        {4, 5, 20, 24, 5},
        {10, 16, 11, 26, 16}, // an increment of at least the length is added whole
        {3, 0, 5, 5, 2},      // 1 < 1.25: 1 + trunc(1.25)
        {8, 2, 8, 8, 2},
        {8, 2, 3, 8, 2},
        {4, 0x7FFFFFFF, 5, 4, 0x7FFFFFFF}, // the step does not fit: left as it was
        {4, 1, kTooMany, 4, 1},
    };
    for (const auto& row : rows) {
        Array<int> array(row.increment);
        if (row.created) {
            array.create(row.created, row.increment);
        }
        EXPECT_EQ(array.changeLogicalSizeTo(row.length), 0U);
        EXPECT_EQ(array.physicalSize(), row.physicalSize) << row.created << " to " << row.length;
        EXPECT_EQ(array.sizeIncrement(), row.newIncrement) << row.created << " to " << row.length;
        EXPECT_EQ(array.length(), row.length <= row.physicalSize ? row.length : row.created);
    }
}

TEST(Array, SizesChangeWithoutWrapping) {
    Array<int> array(4);
    fill(array, 6);
    const int* block = array.data();
    array.changeLogicalSizeBy(-2);
    EXPECT_EQ(array.values(), (Ints{0, 1, 2, 3}));
    EXPECT_EQ(array.data(), block);
    array.buffer(0xFFFFFFFF);
    array.buffer(2);
    EXPECT_EQ(array.physicalSize(), 6U);
    array.buffer(3);
    EXPECT_EQ(array.physicalSize(), 7U);
    array.pack();
    EXPECT_EQ(array.physicalSize(), 4U);
    EXPECT_EQ(array.changePhysicalSizeTo(kTooMany), 1U);
    EXPECT_EQ(array.create(kTooMany, 9), 1U);
    EXPECT_EQ(array.sizeIncrement(), 0U);
    EXPECT_EQ(array.values(), (Ints{0, 1, 2, 3}));
    EXPECT_EQ(array.create(2, 9), 0U); // releases the block
    EXPECT_EQ(array.length(), 2U);
    EXPECT_EQ(array.sizeIncrement(), 9U);
    array.changeLogicalSizeBy(-2147483647 - 1);
    EXPECT_TRUE(array.isEmpty());
    EXPECT_EQ(array.physicalSize(), 2U);
    array.pack();
    EXPECT_EQ(array.physicalSize(), 0U);
    array.changeLogicalSizeTo(3);
    EXPECT_EQ(array.create(0, 1), 0U);
    EXPECT_EQ(array.physicalSize(), 0U);
}

TEST(Array, RemovesByPosition) {
    const struct {
        unsigned int index, count;
        Ints left;
    } rows[] = {
        {0, 2, {2, 3, 4}},       {1, 0xFFFFFFFF, {0}},    {3, 5, {0, 1, 2}},
        {3, 1, {0, 1, 2, 4}},    {4, 5, {0, 1, 2, 3}},    {4, 0, {0, 1, 2, 3}},
        {2, 0, {0, 1, 2, 3, 4}}, {5, 1, {0, 1, 2, 3, 4}}, {0xFFFFFFFF, 1, {0, 1, 2, 3, 4}},
    };
    for (const auto& row : rows) {
        Array<int> array(0);
        fill(array, 5);
        array.removeAt(row.index, row.count);
        EXPECT_EQ(array.values(), row.left) << row.index << ", " << row.count;
        EXPECT_EQ(array.physicalSize(), 5U);
    }
    Array<int> array(0);
    array.removeAt(0, 1);
    fill(array, 5);
    array.removeLast(0);
    array.removeLast(2);
    EXPECT_EQ(array.values(), (Ints{0, 1, 2}));
    array.removeLast(4);
    EXPECT_TRUE(array.isEmpty());
}

// Random insertions and removals, with elements from outside and from the array itself, against
// the standard vector.
template <unsigned int Size>
void checkAgainstVector() {
    struct Element {
        unsigned char bytes[Size];
        bool operator==(const Element&) const = default;
    };
    std::mt19937 random(Size);
    Array<Element> array(0);
    std::vector<Element> expected;
    for (int step = 0; step < 3000; ++step) {
        const unsigned int position = random() % (static_cast<unsigned int>(expected.size()) + 2);
        const unsigned int at = std::min(position, static_cast<unsigned int>(expected.size()));
        const bool own = !expected.empty() && random() % 2;
        const unsigned int from = own ? random() % static_cast<unsigned int>(expected.size()) : 0;
        std::vector<Element> added(1 + random() % 3);
        for (Element& element : added) {
            std::generate(std::begin(element.bytes), std::end(element.bytes), std::ref(random));
        }
        if (own) {
            added.assign(expected.begin() + from,
                         expected.begin() + std::min<std::ptrdiff_t>(from + 3, std::ssize(expected)));
        }
        const void* source = own ? array.address(from) : added.data();
        ASSERT_EQ(array.insertElement(source, position, static_cast<unsigned int>(added.size())), 0U);
        expected.insert(expected.begin() + at, added.begin(), added.end());
        if (step % 3 == 0) {
            const unsigned int count = random() % 5;
            array.removeAt(at, count);
            const bool last = at + 1 == expected.size();
            const auto end = std::min<std::size_t>(at + (last ? 1 : count), expected.size());
            expected.erase(expected.begin() + at, expected.begin() + static_cast<std::ptrdiff_t>(end));
        }
        ASSERT_TRUE(array.values() == expected) << "step " << step << " with " << Size << " bytes";
        if (!expected.empty()) {
            unsigned int index;
            EXPECT_TRUE(array.findElement(&expected.back(), index));
            EXPECT_EQ(index, std::find(expected.begin(), expected.end(), expected.back()) - expected.begin());
        }
    }
}

TEST(Array, InsertsLikeAVector) {
    checkAgainstVector<1>();
    checkAgainstVector<4>();
    checkAgainstVector<7>();
    checkAgainstVector<8>();
    checkAgainstVector<12>();
}

TEST(Array, RefusesWhatDoesNotFitOrExist) {
    Array<int> array(0);
    fill(array, 3);
    const int value = 7;
    EXPECT_EQ(array.insertElement(&value, 0, 0xFFFFFFFF), 1U);
    EXPECT_EQ(array.insertElement(nullptr, 0, 1), 1U);
    EXPECT_EQ(array.insertElement(array.address(2), 0, 2), 1U);
    EXPECT_EQ(array.copyElements(0xFFFFFFFF, &value, 1), 1U);
    EXPECT_EQ(array.copyElements(0, nullptr, 1), 1U);
    EXPECT_EQ(array.copyElements(0, array.address(2), 2), 1U);
    EXPECT_EQ(array.createAndInitialise(&value, 65536, 1), 1U);
    EXPECT_EQ(array.createAndInitialise(nullptr, 1, 1), 1U);
    EXPECT_EQ(array.values(), (Ints{0, 1, 2}));
    unsigned int index = 0;
    EXPECT_FALSE(array.findElement(&value, index));
    EXPECT_EQ(index, 3U);
    EXPECT_FALSE(array.removeElement(&value));
    EXPECT_FALSE(array.findElement(nullptr, index));
    EXPECT_TRUE(array.removeElement(array.address(1)));
    EXPECT_EQ(array.insertElement(nullptr, 0, 0), 0U);
    EXPECT_EQ(array.values(), (Ints{0, 2}));

    struct Page {
        char bytes[0x10000];
    };
    Array<Page> pages(1);
    const auto page = std::make_unique<Page>(Page{"first"});
    const auto other = std::make_unique<Page>(Page{"other"});
    pages.append(*page);
    EXPECT_EQ(pages.createAndInitialise(pages.address(0), 0xFFFF, 7), 1U);
    EXPECT_FALSE(pages.findElement(other.get(), index));
    EXPECT_EQ(index, 1U);
    EXPECT_TRUE(pages.findElement(page.get(), index));
    EXPECT_EQ(pages.sizeIncrement(), 1U);
}

TEST(Array, CopiesFillsAndAdopts) {
    Array<int> array(0);
    const Ints source{7, 8, 9};
    array.copyElements(0, source.data(), 3);
    array.copyElements(2, source.data(), 3);
    EXPECT_EQ(array.values(), (Ints{7, 8, 7, 8, 9}));
    array.copyElements(1, array.address(3), 2); // from the part that is given back
    EXPECT_EQ(array.values(), (Ints{7, 8, 9}));
    EXPECT_EQ(array.physicalSize(), 3U);
    array.copyElements(2, array.address(0), 3);
    EXPECT_EQ(array.values(), (Ints{7, 8, 7, 8, 9}));

    EXPECT_EQ(array.createAndInitialise(array.address(4), 65535, 2), 0U);
    EXPECT_EQ(array.values(), Ints(65535, 9));
    EXPECT_EQ(array.sizeIncrement(), 2U);

    auto* block = static_cast<int*>(std::malloc(4 * sizeof(int)));
    block[0] = 5;
    array.setArray(block, 4, 1);
    EXPECT_EQ(array.values(), Ints{5});
    array.setArray(block, 4, 9); // the same block again, with too large a length
    EXPECT_EQ(array.length(), 4U);
    EXPECT_EQ(array.data(), block);
    array.setArray(nullptr, 4, 4);
    EXPECT_EQ(array.physicalSize(), 0U);
    EXPECT_TRUE(array.isEmpty());
}

template <unsigned int N>
constexpr bool keepsItsBits() {
    qvBitField<N> field;
    field[0] = true;
    field[N - 1] = field[0];
    field.set(N); // outside
    const bool set = field.anySet(N, 1, N - 1) && !field.anySet(1, N) && field.allSet(0, N - 1) &&
                     !field.allSet(0, 0, 0, N);
    field[0].flip();
    const bool cleared = !field[0] && field[N - 1];
    field.clear(N - 1);
    const bool empty = field.isEmpty();
    field.setAll();
    bool all = true;
    for (unsigned int bit = 0; bit < N; ++bit) {
        all = all && field[bit];
        field.clear(bit);
    }
    return set && cleared && empty && all && field.isEmpty(); // setAll left nothing behind the last bit
}

TEST(BitField, HoldsItsBitsInTheFewestWords) {
    static_assert(sizeof(qvBitField16) == 2 && sizeof(qvBitField32) == 4 && sizeof(qvBitField64) == 8);
    static_assert(sizeof(qvBitField<65>) == 16 && sizeof(qvBitField<3>) == 2 && sizeof(qvBitField<33>) == 8);
    static_assert(keepsItsBits<5>() && keepsItsBits<16>() && keepsItsBits<17>() && keepsItsBits<32>());
    static_assert(keepsItsBits<48>() && keepsItsBits<64>() && keepsItsBits<65>() && keepsItsBits<200>());
    EXPECT_EQ(qvBitField<5>(0xFF).value(), 0x1F);
    qvBitField32 field;
    field[31] = true;
    EXPECT_EQ(field.value(), 0x80000000U);
    EXPECT_EQ(field, qvBitField32(0x80000000U));
}

} // namespace
