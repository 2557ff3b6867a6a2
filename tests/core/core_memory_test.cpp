#include "AllocationSweep.h"
#include "SourceFile.h"
#include "core/MemMappedFile.h"
#include "core/qvArray.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace {

class Numbers : public qvArray {
public:
    Numbers() : qvArray(sizeof(int), 1) {
        create(4, 1);
        for (int i = 0; i < 4; ++i) {
            *at(i) = i;
        }
    }
    using qvArray::copyElements;
    using qvArray::createAndInitialise;
    using qvArray::insertElement;

    int* at(int i) { return static_cast<int*>(address(static_cast<unsigned int>(i))); }
    std::vector<int> values() { return {at(0), at(0) + length()}; }
};

TEST(Memory, AnArrayThatGetsNoneStaysAsItWas) {
    const int more[] = {7, 8, 9};
    const std::vector<int> before{0, 1, 2, 3};
    const struct {
        const char* name;
        std::function<void(Numbers&)> change;
        std::vector<int> after;
    } rows[] = {
        {"append", [&](Numbers& a) { a.insertElement(more, 4, 3); }, {0, 1, 2, 3, 7, 8, 9}},
        {"insert its own", [](Numbers& a) { a.insertElement(a.at(1), 1, 2); }, {0, 1, 2, 1, 2, 3}},
        {"overwrite", [&](Numbers& a) { a.copyElements(3, more, 2); }, {0, 1, 2, 7, 8}},
        {"initialise", [](Numbers& a) { a.createAndInitialise(a.at(3), 5, 1); }, {3, 3, 3, 3, 3}},
    };
    for (const auto& row : rows) {
        int refused = 0;
        for (AllocationSweep sweep; sweep.next();) {
            Numbers array;
            EXPECT_TRUE(sweep.run([&] { row.change(array); })) << row.name;
            refused += array.values() != row.after ? 1 : 0;
            EXPECT_TRUE(array.values() == row.after || array.values() == before) << row.name;
        }
        EXPECT_GT(refused, 0) << row.name;
    }
    // A block that cannot be made smaller stays, and the rest is done.
    for (AllocationSweep sweep; sweep.next();) {
        Numbers array;
        sweep.run([&] { array.copyElements(0, array.at(1), 2); });
        EXPECT_EQ(array.values(), (std::vector<int>{1, 2}));
    }
}

TEST(Memory, AFileThatGetsNoneIsNotRead) {
    const std::string path = writeSource("core_memory.txt", std::string(20000, 'x'));
    int refused = 0;
    for (AllocationSweep sweep; sweep.next();) {
        MemMappedFile file;
        file.open(writeSource("core_memory_small.txt", "ab"));
        bool read = false;
        EXPECT_TRUE(sweep.run([&] { read = file.open(path); }));
        EXPECT_EQ(file.size(), read ? 20010U : 6U);
        refused += read ? 0 : 1;
    }
    EXPECT_GT(refused, 0);
}

} // namespace
