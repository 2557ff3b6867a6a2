#include "imaging/ImageSize.h"
#include "imaging/Resample.h"
#include "imaging/TimageFile.h"
#include "imaging/TpixelMap.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

namespace {

TEST(ImageSize, RefusesWhatDoesNotFit31Bits) {
    EXPECT_EQ(imageBytes(3, 4, 5, 6), 360U);
    EXPECT_EQ(imageBytes(0x7fffffffU, 1, 1, 1), 0x7fffffffU);
    EXPECT_EQ(imageBytes(0x80000000U, 1, 1, 1), 0U);
    EXPECT_EQ(imageBytes(0xffffffffU, 0xffffffffU, 0xffffffffU, 0xffffffffU), 0U);
    EXPECT_EQ(imageBytes(1U << 31, 1U << 31, 4, 1), 0U) << "2^64";
    EXPECT_EQ(imageBytes(1, 0, 1, 1), 0U);
}

TEST(Tstring, ComparesWithoutCase) {
    EXPECT_TRUE(Tstring("Png").equalsIgnoringCase("pNG"));
    EXPECT_FALSE(Tstring("pn").equalsIgnoringCase("png"));
    EXPECT_FALSE(Tstring("pngx").equalsIgnoringCase("png"));
    EXPECT_TRUE(Tstring(nullptr).equalsIgnoringCase(""));
}

std::vector<int> reds(const TpixelMap& map) {
    std::vector<int> values;
    for (unsigned int i = 0; i < map.bounds().width() * map.bounds().height(); ++i) {
        values.push_back(map.pixels()[4 * i]);
    }
    return values;
}

TEST(TpixelMap, ZoomsBothWays) {
    std::vector<unsigned char> line;
    for (const int value : {0, 0, 90, 240, 240, 30}) {
        line.insert(line.end(), 4, static_cast<unsigned char>(value));
    }
    const std::pair<TportRect, std::vector<int>> table[] = {
        {{0, 0, 6, 1}, {0, 0, 90, 240, 240, 30}},
        // Tents of two source pixels' reach, 1:3:3:1; without the missing one at the ends.
        {{0, 0, 3, 1}, {13, 154, 150}},
        {{-1, 5, 0, 6}, {111}},
        {{0, 0, 12, 1}, {0, 0, 0, 23, 68, 128, 203, 240, 240, 188, 83, 30}},
        {{0, 0, 1, 3}, {111, 111, 111}},
    };
    for (const auto& [to, expected] : table) {
        TpixelMap map;
        map.setPixelPtr(line.data(), TportRect(0, 0, 6, 1));
        ASSERT_EQ(map.zoom(to), 0);
        EXPECT_EQ(reds(map), expected);
        EXPECT_EQ(map.bounds().left, to.left);
    }
    TpixelMap map;
    EXPECT_NE(map.zoom(TportRect(0, 0, 2, 2)), 0) << "without pixels";
    map.rgbaSwitch();
    map.setPixelPtr(line.data(), TportRect(0, 0, 6, 1));
    for (const TportRect& to :
         {TportRect(0, 0, 0, 1), TportRect(3, 3, 2, 2), TportRect(0, 0, 65536, 65536)}) {
        EXPECT_NE(map.zoom(to), 0);
        EXPECT_EQ(map.pixels(), line.data()) << "stays as it was";
    }
    EXPECT_NE(map.create(65536, 65536), 0);
}

bool exists(const std::string& path) {
    return std::ifstream(path).good();
}

TEST(TimageFile, NamesTheFileOnlyWhenItIsComplete) {
    const std::string path = std::string(QV_TEST_OUTPUT) + "unfinished.png";
    std::remove(path.c_str());
    std::vector<unsigned char> pixels(16, 1);
    TpixelMap map;
    map.setPixelPtr(pixels.data(), TportRect(0, 0, 2, 2));
    TimageFile file;
    EXPECT_NE(file.writePixelMap(map), 0) << "nothing begun";
    EXPECT_NE(file.close(), 0);
    EXPECT_NE(file.create(path.c_str(), 65536, 1, kNoTiffCompression, "png"), 0);
    EXPECT_NE(file.create(path.c_str(), 2, 2, TiffCompression(5), "png"), 0);
#if QV_WITH_IMAGE_FILES
    ASSERT_EQ(file.create(path.c_str(), 2, 2, kNoTiffCompression, "png"), 0);
    EXPECT_NE(file.close(), 0) << "begun and not written";
    EXPECT_FALSE(exists(path));
    ASSERT_EQ(file.create(path.c_str(), 3, 2, kNoTiffCompression, "png"), 0);
    EXPECT_NE(file.writePixelMap(map), 0) << "another size";
    {
        TimageFile abandoned;
        ASSERT_EQ(abandoned.create(path.c_str(), 2, 2, kNoTiffCompression, "png"), 0);
        EXPECT_EQ(abandoned.writePixelMap(map), 0);
    }
    EXPECT_FALSE(exists(path));
    ASSERT_EQ(file.create(path.c_str(), 2, 2, kNoTiffCompression, "png"), 0);
    EXPECT_EQ(file.writePixelMap(map), 0);
    EXPECT_FALSE(exists(path));
    EXPECT_EQ(file.close(), 0);
    EXPECT_TRUE(exists(path));
    std::string folder = QV_TEST_OUTPUT;
    folder.pop_back();
    EXPECT_NE(file.create(folder.c_str(), 2, 2, kNoTiffCompression, "bmp"), 0);
    const std::string taken = std::string(QV_TEST_OUTPUT) + "taken.png";
    std::filesystem::remove_all(taken);
    ASSERT_EQ(file.create(taken.c_str(), 2, 2, kNoTiffCompression, "png"), 0);
    EXPECT_EQ(file.writePixelMap(map), 0);
    std::filesystem::create_directory(taken);
    EXPECT_NE(file.close(), 0) << "the name is a folder's by now";
#if !defined(_WIN32)
    // A pipe is neither waited for nor replaced.
    const std::string pipe = std::string(QV_TEST_OUTPUT) + "pipe.png";
    std::remove(pipe.c_str());
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_NE(file.identifyAndOpen(pipe.c_str(), false, 0), 0);
    EXPECT_NE(file.create(pipe.c_str(), 2, 2, kNoTiffCompression, "png"), 0);
    std::remove(pipe.c_str());
#endif

    EXPECT_EQ(file.identifyAndOpen(path.c_str(), false, 0), 0);
    EXPECT_NE(file.identifyAndOpen(path.c_str(), true, 0), 0);
    EXPECT_NE(file.readPixelMap(map), 0) << "the one before is closed";
    EXPECT_NE(file.identifyAndOpen(path.c_str(), false, 1), 0);
#else
    EXPECT_NE(file.create(path.c_str(), 2, 2, kNoTiffCompression, "png"), 0);
    const std::string written = std::string(QV_TEST_DATA) + "images/linux.png";
    EXPECT_NE(file.identifyAndOpen(written.c_str(), false, 0), 0);
    EXPECT_FALSE(exists(path));
#endif
}

} // namespace
