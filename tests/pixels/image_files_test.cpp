#include "ImageBuilders.h"
#include "pixels/ImageFiles.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <new>
#include <string>
#include <vector>

namespace {

using image_builders::Bytes;

struct Picture {
    unsigned int width = 0;
    unsigned int height = 0;
    Bytes pixels; // empty: nothing was read
};

std::string outputPath(const std::string& name) {
    return QV_TEST_OUTPUT + name;
}

void save(const std::string& path, const Bytes& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

Bytes load(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

Picture read(const std::string& path, bool powerOfTwo = false) {
    unsigned short width = 7777;
    unsigned short height = 8888;
    Picture picture;
    if (unsigned char* pixels = readImageFromFile(path.c_str(), width, height, powerOfTwo)) {
        picture = {width, height, Bytes(pixels, pixels + std::size_t{4} * width * height)};
        ::operator delete(pixels);
    } else {
        EXPECT_EQ(width, 7777) << path;
        EXPECT_EQ(height, 8888) << path;
    }
    return picture;
}

Picture readBytes(const Bytes& bytes) {
    const std::string path = outputPath("image.tmp.bin");
    save(path, bytes);
    return read(path);
}

void write(Picture picture, const std::string& path, const char* kind) {
    writeImageToFile(picture.pixels.data(), static_cast<unsigned short>(picture.width),
                     static_cast<unsigned short>(picture.height), path.c_str(), kind);
}

// Every pixel differs from its neighbours, gently enough for JPEG; alpha begins with 0, where a
// premultiplied file would lose the colour, and jumps.
Picture pattern(unsigned int width, unsigned int height) {
    Picture picture{width, height, {}};
    for (unsigned int y = 0; y < height; ++y) {
        for (unsigned int x = 0; x < width; ++x) {
            for (const unsigned int c : {40 + 3 * x, 10 + 16 * y, 255 - 2 * x - 8 * y, 60 * (x + y)}) {
                picture.pixels.push_back(static_cast<unsigned char>(c));
            }
        }
    }
    return picture;
}

// The largest difference of a colour component; alpha must be that of `expected`, or 255.
int difference(const Picture& read, const Picture& expected, bool alpha) {
    if (read.width != expected.width || read.height != expected.height) {
        return 1000;
    }
    int most = 0;
    for (std::size_t i = 0; i < expected.pixels.size(); ++i) {
        const int wanted = i % 4 < 3 || alpha ? expected.pixels[i] : 255;
        most = std::max(most, std::abs(read.pixels[i] - wanted) * (i % 4 < 3 ? 1 : 1000));
    }
    return most;
}

struct Kind {
    const char* fileKind;
    bool alpha;
    int tolerance;
    std::size_t signature; // bytes that tell the kind
    const char* start;
};
constexpr Kind kKinds[] = {
    {"png", true, 0, 8, "\x89PNG\r\n\x1a\n"},
    {"tif", true, 0, 2, "II"},
    {"bmp", false, 0, 2, "BM"},
    {"jpg", false, 24, 3, "\xff\xd8\xff"},
};

TEST(ImageFiles, RoundTrips) {
    for (const Kind& kind : kKinds) {
        for (const auto& [width, height] : {std::pair{13U, 9U}, {1U, 1U}, {1U, 5U}, {64U, 1U}}) {
            const Picture picture = pattern(width, height);
            const std::string path = outputPath(std::string("round_trip.") + kind.fileKind);
            save(path, Bytes(100000, 'x')); // written over completely
            write(picture, path, kind.fileKind);
            const Picture back = read(path);
            EXPECT_LE(difference(back, picture, kind.alpha), kind.tolerance) << kind.fileKind << ' ' << width;
            const Bytes file = load(path);
            EXPECT_EQ(std::string(file.begin(), file.begin() + static_cast<long>(kind.signature)),
                      std::string(kind.start, kind.signature));
        }
    }
}

#if !defined(_WIN32) // where the whole path is limited
TEST(ImageFiles, WritesToTheLongestNames) {
    const Picture picture = pattern(2, 2);
    const std::string path = outputPath(std::string(251, 'n') + ".png");
    std::remove(path.c_str());
    write(picture, path, "png");
    EXPECT_EQ(read(path).pixels, picture.pixels);
    std::remove(path.c_str());
}
#endif

// Files that the two back ends wrote from pattern(5, 4), each read by both.
TEST(ImageFiles, ReadsWhatTheOtherPlatformWrote) {
    const Picture picture = pattern(5, 4);
    for (const Kind& kind : kKinds) {
        write(picture, outputPath(std::string("exchange.") + kind.fileKind), kind.fileKind);
        for (const char* platform : {"linux", "windows"}) {
            const std::string path = std::string(QV_TEST_DATA) + "images/" + platform + "." + kind.fileKind;
            EXPECT_LE(difference(read(path), picture, kind.alpha), kind.tolerance) << path;
        }
    }
}

TEST(ImageFiles, ConvertsOtherFormsOnReading) {
    using namespace image_builders;
    const Bytes grey8 = {0, 1, 128, 255, 77, 200};
    // 16 bits, rounded: 0x0080 is just below half a step, 0x0081 above; 0xfeff is 253.999 + ...
    const Bytes grey16 = {0x00, 0x80, 0x00, 0x81, 0xff, 0x7e, 0xff, 0x7f, 0x80, 0x80, 0x12, 0x34};
    const Bytes rounded = {0, 1, 254, 255, 128, 18};
    const auto grey = [](const Bytes& values) {
        Bytes pixels;
        for (const unsigned char value : values) {
            pixels.insert(pixels.end(), {value, value, value, 255});
        }
        return pixels;
    };
    const Bytes rgb16 = {0x00, 0x80, 0x00, 0x81, 0xff, 0x7f, 0x12, 0x34, 0xff, 0xff, 0x00, 0x00};
    const Bytes rgbOf16 = {0, 1, 255, 255, 18, 255, 0, 255};
    const Bytes rgba16 = {0x00, 0x80, 0x00, 0x81, 0xff, 0x7f, 0x00, 0x81,
                          0x12, 0x34, 0xff, 0xff, 0x00, 0x00, 0x00, 0x00};
    const Bytes rgbaOf16 = {0, 1, 255, 1, 18, 255, 0, 0};
    const auto swapped = [](Bytes values) {
        for (std::size_t i = 0; i < values.size(); i += 2) {
            std::swap(values[i], values[i + 1]);
        }
        return values;
    };
    const Bytes palette = {10, 20, 30, 40, 50, 60};
    const Bytes ofPalette = {40, 50, 60, 255, 10, 20, 30, 255, 40, 50, 60, 255};

    const struct {
        const char* name;
        Bytes file;
        unsigned int width, height;
        Bytes pixels;
    } table[] = {
        {"grey PNG", png(3, 2, 8, 0, grey8), 3, 2, grey(grey8)},
        {"16-bit grey PNG", png(3, 2, 16, 0, grey16), 3, 2, grey(rounded)},
        {"16-bit RGB PNG", png(2, 1, 16, 2, rgb16), 2, 1, rgbOf16},
        {"16-bit RGBA PNG", png(2, 1, 16, 6, rgba16), 2, 1, rgbaOf16},
        {"RGB PNG", png(2, 1, 8, 2, {1, 2, 3, 4, 5, 6}), 2, 1, {1, 2, 3, 255, 4, 5, 6, 255}},
        {"grey and alpha PNG", png(2, 1, 8, 4, {9, 0, 8, 7}), 2, 1, {9, 9, 9, 0, 8, 8, 8, 7}},
        {"palette PNG", png(3, 1, 8, 3, {1, 0, 1}, palette), 3, 1, ofPalette},
        {"RGB PNG, one colour transparent",
         png(2, 1, 8, 2, {1, 2, 3, 4, 5, 6}, {}, {0, 4, 0, 5, 0, 6}),
         2,
         1,
         {1, 2, 3, 255, 4, 5, 6, 0}},
        {"grey PNG, one transparent", png(2, 1, 8, 0, {7, 8}, {}, {0, 7}), 2, 1, {7, 7, 7, 0, 8, 8, 8, 255}},
        {"palette PNG with alpha",
         png(3, 1, 8, 3, {1, 0, 1}, palette, {9}),
         3,
         1,
         {40, 50, 60, 255, 10, 20, 30, 9, 40, 50, 60, 255}},
        {"one-bit PNG", png(3, 1, 1, 0, {0xa0}), 3, 1, grey({255, 0, 255})},
        {"grey TIFF", tiff(true, 3, 2, 8, 1, grey8), 3, 2, grey(grey8)},
        {"16-bit grey TIFF", tiff(false, 3, 2, 16, 1, swapped(grey16)), 3, 2, grey(rounded)},
        {"16-bit RGB TIFF", tiff(false, 2, 1, 16, 3, swapped(rgb16)), 2, 1, rgbOf16},
        {"16-bit RGBA TIFF", tiff(false, 2, 1, 16, 4, swapped(rgba16)), 2, 1, rgbaOf16},
        {"RGB TIFF", tiff(false, 2, 1, 8, 3, {1, 2, 3, 4, 5, 6}), 2, 1, {1, 2, 3, 255, 4, 5, 6, 255}},
        {"24-bit BMP", bmp(2, 1, 24, {3, 2, 1, 6, 5, 4, 0, 0}), 2, 1, {1, 2, 3, 255, 4, 5, 6, 255}},
        {"BMP, top row first", bmp(1, -2, 24, {3, 2, 1, 0, 6, 5, 4, 0}), 1, 2, {1, 2, 3, 255, 4, 5, 6, 255}},
        {"TIFF of runs", tiff(true, 4, 1, 8, 1, {0xfe, 7, 0x00, 9}, 32773), 4, 1, grey({7, 7, 7, 9})},
        {"palette BMP", bmp(3, 1, 8, {1, 0, 1, 0}, {30, 20, 10, 0, 60, 50, 40, 0}), 3, 1, ofPalette},
        {"BMP of runs", bmp(3, 1, 8, {1, 1, 1, 0, 1, 1, 0, 1}, {30, 20, 10, 0, 60, 50, 40, 0}, 1), 3, 1,
         ofPalette},
        {"BMP, old header",
         text(std::string("BM\x1e\0\0\0\0\0\0\0\x1a\0\0\0\x0c\0\0\0\1\0\1\0\1\0\x18\0\3\2\1\0", 30)),
         1,
         1,
         {1, 2, 3, 255}},
        {"32-bit BMP is opaque", bmp(2, 1, 32, {3, 2, 1, 0, 6, 5, 4, 9}), 2, 1, {1, 2, 3, 255, 4, 5, 6, 255}},
    };
    for (const auto& row : table) {
        const Picture picture = readBytes(row.file);
        EXPECT_EQ(picture.width, row.width) << row.name;
        EXPECT_EQ(picture.height, row.height) << row.name;
        EXPECT_EQ(picture.pixels, row.pixels) << row.name;
    }
}

TEST(ImageFiles, RefusesWhatIsNoImage) {
    using namespace image_builders;
    const Bytes pixel = {1, 2, 3, 4};
    Bytes headerAsPixels = bmp(1, 1, 32, pixel);
    headerAsPixels[10] = 0;
    const std::pair<const char*, Bytes> table[] = {
        {"empty", {}},
        {"text", text("a text that somebody named .png")},
        {"drawing commands", text("push graphic-context\nviewbox 0 0 9 9\nimage over 0,0 0,0 '/etc/motd'\n")},
        {"vector drawing", text("<?xml version=\"1.0\"?><svg width=\"9\" height=\"9\"></svg>")},
        {"PostScript", text("%!PS-Adobe-3.0\nshowpage\n")},
        {"portable pixel map", text("P3 1 1 255 1 2 3\n")},
        {"GIF", text("GIF89a\1\0\1\0")},
        {"signatures alone: PNG", text("\x89PNG\r\n\x1a\n")},
        {"BM and text", text("BMW 2002 touring, a text that begins like a bitmap and goes on for a while")},
        {"II* and text", text(std::string("II*\0abcdefghijklmnopqrstuvwxyz", 30))},
        {"JPEG without data", {0xff, 0xd8, 0xff, 0xd9}},
        {"PNG of 65535 x 65535", png(65535, 65535, 8, 6, pixel)},
        {"PNG of 65536 x 1", png(65536, 1, 8, 0, Bytes(65536))},
        {"PNG of 0 x 1", png(0, 1, 8, 6, pixel)},
        {"PNG of 20000 x 20000", png(20000, 20000, 8, 6, pixel)},
        {"PNG of 2^32-1 x 2^32-1", png(0xffffffffU, 0xffffffffU, 8, 6, pixel)},
        {"PNG with too few rows", png(1, 3, 8, 6, pixel)},
        {"TIFF of 65535 x 65535", tiff(true, 65535, 65535, 8, 4, pixel)},
        {"TIFF of 20000 x 20000", tiff(true, 20000, 20000, 8, 4, pixel)},
        {"BMP of 65535 x 65535", bmp(65535, 65535, 32, pixel)},
        {"BMP of 20000 x 20000", bmp(20000, 20000, 32, pixel)},
        {"BMP of -2^31 rows", bmp(1, -2147483647 - 1, 32, pixel)},
        {"TIFF of runs, 60000 x 8000", tiff(true, 60000, 8000, 8, 1, pixel, 32773)},
        {"BMP of runs without data", bmp(3, 1, 8, {}, Bytes(8), 1)},
        {"BMP of runs, 60000 x 8000", bmp(60000, 8000, 8, {0, 1}, Bytes(8), 1)},
        {"BMP of no bits", bmp(1, 1, 0, pixel)},
        {"BMP whose pixels are its header", headerAsPixels},
    };
    for (const auto& [name, file] : table) {
        EXPECT_TRUE(readBytes(file).pixels.empty()) << name;
    }
    for (const char* path :
         {"", "no-such-file.png", "no-such-folder/image.png", "png:image.tmp.bin", "-", "|ls"}) {
        EXPECT_TRUE(read(path).pixels.empty()) << path;
    }
    EXPECT_TRUE(read(outputPath("")).pixels.empty()) << "a folder";
    unsigned short side = 0;
    EXPECT_EQ(readImageFromFile(nullptr, side, side, false), nullptr);
}

// Cut at every length, no file is an image; with any byte damaged, it is read or refused, and
// nothing else happens.
TEST(ImageFiles, SurvivesDamage) {
    for (const Kind& kind : kKinds) {
        for (const char* platform : {"linux", "windows"}) {
            const Bytes file = load(std::string(QV_TEST_DATA) + "images/" + platform + "." + kind.fileKind);
            ASSERT_FALSE(file.empty());
            const std::size_t step = QV_DAMAGE_STEP;
            for (std::size_t length = file.size() - 1; length < file.size(); length -= step) {
                EXPECT_TRUE(
                    readBytes(Bytes(file.begin(), file.begin() + static_cast<long>(length))).pixels.empty())
                    << platform << ' ' << kind.fileKind << " cut at " << length;
            }
            for (std::size_t i = 0; i < file.size(); i += step) {
                for (const int damage : {0x00, 0xff, 0x80}) {
                    Bytes damaged = file;
                    damaged[i] = static_cast<unsigned char>(damage == 0x80 ? damaged[i] ^ 0x80 : damage);
                    const Picture picture = readBytes(damaged);
                    EXPECT_LE(picture.width * picture.height, 1U << 24);
                }
            }
        }
    }
}

TEST(ImageFiles, RoundsUpToPowersOfTwo) {
    Picture ramp{3, 2, {}};
    for (const int value : {0, 100, 200, 50, 150, 250}) {
        ramp.pixels.insert(ramp.pixels.end(), {static_cast<unsigned char>(value), 0, 255,
                                               static_cast<unsigned char>(255 - value)});
    }
    const std::string path = outputPath("power_of_two.png");
    write(ramp, path, "png");
    const Picture picture = read(path, true);
    ASSERT_EQ(picture.width * 10 + picture.height, 42U);
    // Four pixels over three: centres at -1/8, 5/8, 11/8 and 17/8 of the source.
    const int expected[] = {0, 63, 138, 200, 50, 113, 188, 250};
    for (std::size_t i = 0; i < 8; ++i) {
        EXPECT_EQ(picture.pixels[4 * i], expected[i]) << i;
        EXPECT_EQ(picture.pixels[4 * i + 1], 0);
        EXPECT_EQ(picture.pixels[4 * i + 2], 255);
        EXPECT_NEAR(picture.pixels[4 * i + 3], 255 - expected[i], 1) << i; // ties go up in both
    }

    write(pattern(4, 8), path, "png");
    EXPECT_EQ(read(path, true).pixels, pattern(4, 8).pixels) << "powers of two stay as they are";
    write(Picture{32769, 1, Bytes(32769 * 4)}, path, "png");
    EXPECT_EQ(read(path).width, 32769U);
    EXPECT_TRUE(read(path, true).pixels.empty()) << "65,536 pixels do not fit";
    write(Picture{65535, 1, Bytes(65535 * 4, 9)}, path, "png");
    EXPECT_EQ(read(path).width, 65535U);
}

TEST(ImageFiles, CeilPow2) {
    const std::pair<unsigned int, unsigned int> table[] = {
        {0, 1},
        {1, 1},
        {2, 2},
        {3, 4},
        {5, 8},
        {8, 8},
        {65535, 65536},
        {0x7fffffffU, 0x80000000U},
        {0x80000000U, 0x80000000U},
        {0x80000001U, 0},
        {0xffffffffU, 0},
    };
    for (const auto& [n, expected] : table) {
        EXPECT_EQ(ceilPow2(n), expected) << n;
    }
}

TEST(ImageFiles, WritingReordersTheCallersBuffer) {
    const std::string path = outputPath("reordered.png");
    Bytes pixels = {1, 2, 3, 4, 5, 6, 7, 8};
    writeImageToFile(pixels.data(), 2, 1, path.c_str(), "PNG");
    EXPECT_EQ(pixels, (Bytes{3, 2, 1, 4, 7, 6, 5, 8}));

    // What cannot be begun leaves the buffer, and what was there before.
    const Bytes before = load(path);
    writeImageToFile(pixels.data(), 2, 1, path.c_str(), "gif");
    writeImageToFile(pixels.data(), 2, 1, path.c_str(), "pngx");
    writeImageToFile(pixels.data(), 2, 1, path.c_str(), nullptr);
    writeImageToFile(pixels.data(), 0, 1, path.c_str(), "png");
    writeImageToFile(pixels.data(), 2, 1, nullptr, "png");
    writeImageToFile(pixels.data(), 2, 1, outputPath("no-such-folder/a.png").c_str(), "png");
    writeImageToFile(nullptr, 2, 1, path.c_str(), "png");
    EXPECT_EQ(pixels, (Bytes{3, 2, 1, 4, 7, 6, 5, 8}));
    EXPECT_EQ(load(path), before);
}

} // namespace
