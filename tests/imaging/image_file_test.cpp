#include "imaging/ImageHeader.h"
#include "imaging/ImageSize.h"
#include "imaging/Resample.h"
#include "imaging/TimageFile.h"
#include "imaging/TpixelMap.h"
#include "pixels/ImageBuilders.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

#if !defined(_WIN32)
#include <csignal>
#include <sys/resource.h>
#include <unistd.h>
#endif

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
        {{0, 0, 2, 2}, {53, 169, 53, 169}},
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

using image_builders::Bytes;

// Just as many pixels as so few bytes can hold, and more.
TEST(ImageHeader, BoundsThePixelsByTheBytes) {
    const auto sizeOf = [](Bytes file) { return static_cast<unsigned int>(file.size()); };
    const auto accepts = [](Bytes file) { return prepareImage(file).kind != kNoImage; };
    const std::pair<unsigned int, unsigned int> table[] = {{0, 1}, {1, 0}};
    for (const auto& [more, accepted] : table) {
        const auto png = [](unsigned int height) {
            return image_builders::png(1032, height, 8, 0, Bytes(10));
        };
        EXPECT_EQ(accepts(png(sizeOf(png(1)) + more)), accepted != 0);
        const auto runs = [](unsigned int height) {
            return image_builders::bmp(32768, static_cast<int>(height), 8, {0, 1}, Bytes(8), 1);
        };
        EXPECT_EQ(accepts(runs(2 * sizeOf(runs(1)) + more)), accepted != 0);
        const auto strings = [](unsigned int height) {
            return image_builders::tiff(false, 4096, height, 8, 1, Bytes(10), {{259, 3, 1, 5}});
        };
        EXPECT_EQ(accepts(strings(sizeOf(strings(1)) + more)), accepted != 0);
        const auto fax = [](unsigned int width, unsigned int height) {
            return image_builders::tiff(true, width, height, 1, 1, Bytes(2000), {{259, 3, 1, 4}});
        };
        EXPECT_EQ(accepts(fax(65535 + more, 1)), accepted != 0);
        EXPECT_EQ(accepts(fax(1, 65535 + more)), accepted != 0);
        EXPECT_EQ(accepts(fax(23170 + more, 23170)), accepted != 0) << "2^31 - 1 bytes";
        const auto plain = [&](unsigned int bytes) {
            return image_builders::tiff(true, 3, 2, 8, 3, Bytes(bytes), {{278, 4, 1, 0xffffffffU}});
        };
        EXPECT_EQ(accepts(plain(18 - more)), accepted != 0);
    }
    // Decoders see no more than the pixels.
    Bytes comments = {0xff, 0xfe, 0, 4, 'n', 'o'};
    Bytes jpeg = image_builders::jpeg(16, 8, 0, {0x0f});
    const Bytes bare = jpeg;
    jpeg.insert(jpeg.begin() + 2, comments.begin(), comments.end());
    jpeg.insert(jpeg.end(), 9, 'x');
    EXPECT_EQ(prepareImage(jpeg).width, 16U);
    EXPECT_EQ(jpeg, bare);
    Bytes texts;
    image_builders::appendChunk(texts, "tEXt", Bytes(50));
    Bytes png = image_builders::png(1, 1, 8, 0, {5}, {}, {}, texts);
    EXPECT_EQ(prepareImage(png).width, 1U);
    EXPECT_EQ(png, image_builders::png(1, 1, 8, 0, {5}));
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

#if QV_WITH_IMAGE_FILES && !defined(_WIN32)

namespace fs = std::filesystem;

int modeOf(const fs::path& path) {
    return static_cast<int>(fs::status(path).permissions()) & 0777;
}

bool write(const fs::path& path) {
    std::vector<unsigned char> pixels(3000, 1);
    TpixelMap map;
    map.setPixelPtr(pixels.data(), TportRect(0, 0, 25, 30));
    TimageFile file;
    return file.create(path.c_str(), 25, 30, kNoTiffCompression, "bmp") == 0 &&
           file.writePixelMap(map) == 0 && file.close() == 0;
}

TEST(OutputFile, KeepsLinksModesAndWhatIsReadOnly) {
    const fs::path folder = fs::temp_directory_path() / ("qv-output-" + std::to_string(getpid()));
    fs::create_directories(folder / "inner");
    const fs::path target = folder / "inner" / "target.bmp";
    const auto refill = [&](int mode) {
        fs::remove(target);
        std::ofstream(target) << std::string(5000, 'x');
        fs::permissions(target, fs::perms(mode));
    };
    const auto isImage = [](const fs::path& path) { return fs::file_size(path) == 54 + 76 * 30; };
    const auto entries = [&] { return std::distance(fs::directory_iterator(folder / "inner"), {}); };

    fs::create_symlink("inner/link", folder / "link");
    fs::create_symlink(target, folder / "inner" / "link");
    refill(0640);
    EXPECT_TRUE(write(folder / "link"));
    EXPECT_TRUE(fs::is_symlink(folder / "link") && fs::is_symlink(folder / "inner" / "link"));
    EXPECT_TRUE(isImage(target));
    EXPECT_EQ(modeOf(target), 0640);
    fs::remove(target);
    EXPECT_TRUE(write(folder / "link")) << "the file behind the link is made";
    EXPECT_TRUE(isImage(target));

    fs::create_symlink("round", folder / "round");
    EXPECT_FALSE(write(folder / "round")) << "a circle of links";

    refill(0444);
    EXPECT_FALSE(write(target));
    EXPECT_EQ(fs::file_size(target), 5000U);

    // On a full disk the old file stays, and nothing else.
    refill(0600);
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit = {};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit small = {1000, limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    EXPECT_FALSE(write(target));
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_EQ(fs::file_size(target), 5000U);
    EXPECT_EQ(entries(), 2);

    // What an earlier process of this number left behind is passed over.
    const std::string start = "qv-" + std::to_string(getpid()) + "-";
    for (int i = 0; i < 60; ++i) {
        std::ofstream(folder / "inner" / (start + std::to_string(i) + ".tmp")) << "old";
    }
    EXPECT_TRUE(write(target));
    EXPECT_EQ(entries(), 62);

    // Where the folder takes no further file the one that is there is written over; a superuser
    // steps down for that.
    refill(0666);
    fs::permissions(folder / "inner", fs::perms(0555));
    const bool superuser = geteuid() == 0;
    ASSERT_TRUE(!superuser || seteuid(65534) == 0);
    {
        TimageFile abandoned;
        EXPECT_EQ(abandoned.create(target.c_str(), 2, 2, kNoTiffCompression, "png"), 0);
    }
    EXPECT_EQ(fs::file_size(target), 5000U);
    EXPECT_TRUE(write(target));
    EXPECT_FALSE(write(folder / "inner" / "new.bmp"));
    ASSERT_TRUE(!superuser || seteuid(0) == 0);
    EXPECT_TRUE(isImage(target));
    EXPECT_EQ(entries(), 62);
    fs::permissions(folder / "inner", fs::perms(0755));
    fs::remove_all(folder);
}

#endif

} // namespace
