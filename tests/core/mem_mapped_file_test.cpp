#include "SourceFile.h"
#include "ThrownBy.h"
#include "core/MemMappedFile.h"

#include <gtest/gtest.h>

namespace {

const std::string kEnd = "\xFF\n\n\n";

std::string bytesOf(const MemMappedFile& file) {
    std::string bytes;
    for (unsigned int i = 0; i < file.size(); ++i) {
        bytes += file[i];
    }
    return bytes;
}

TEST(MemMappedFile, HoldsTheFileAndItsFourBytesMore) {
    // More than a few blocks, with line ends of both kinds across their borders.
    std::string large;
    while (large.size() < 100000) {
        large += "line\r\n\xFFx\n\r";
    }
    for (const std::string& content : {std::string("ab"), std::string(), std::string("\0\xFF\r", 3), large}) {
        MemMappedFile file;
        ASSERT_TRUE(file.open(writeSource("mapped.txt", content)));
        std::string expected = content;
#if defined(_WIN32)
        for (std::size_t at = 0; (at = expected.find("\r\n", at)) != std::string::npos;) {
            expected.erase(at, 1);
        }
#endif
        EXPECT_TRUE(bytesOf(file) == expected + kEnd) << file.size();
    }
}

TEST(MemMappedFile, AppendsAndCopies) {
    MemMappedFile file;
    EXPECT_EQ(file.size(), 0U);
    ASSERT_TRUE(file.open(writeSource("mapped.txt", "ab")));
    const MemMappedFile first = file;
    ASSERT_TRUE(file.open(writeSource("mapped.txt", "c")));
    EXPECT_EQ(bytesOf(file), "ab" + kEnd + "c" + kEnd);
    EXPECT_EQ(bytesOf(first), "ab" + kEnd);

    EXPECT_FALSE(file.open(QV_TEST_OUTPUT "no such file"));
    EXPECT_FALSE(file.open(QV_TEST_OUTPUT));
    EXPECT_EQ(file.size(), 11U);
}

TEST(MemMappedFile, RefusesAnIndexBeyondTheEnd) {
    MemMappedFile file;
    ASSERT_TRUE(file.open(writeSource("mapped.txt", "ab")));
    EXPECT_EQ(file[5], '\n');
    for (unsigned long index : {6UL, 0xFFFFFFFFUL}) {
        EXPECT_EQ(thrownBy([&] { static_cast<void>(file[index]); }), "input error: ") << index;
    }
}

} // namespace
