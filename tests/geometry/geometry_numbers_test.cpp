#include "counted_data.h"

#include <gtest/gtest.h>

TEST(GeometryData, NumbersStartAtZero) {
    for (unsigned int i = 0; i < 3; ++i) {
        auto* index = referenced(new CountedIndex({})); // counts for itself
        auto* data = referenced(new CountedData("points"));
        EXPECT_EQ(data->uniqueID(), i);
        EXPECT_EQ(index->uniqueID(), i);
        index->unref();
        data->unref();
    }
}
