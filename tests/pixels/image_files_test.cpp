#include "ImageBuilders.h"
#include "pixels/ImageFiles.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
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

// The fields of the headers, as other programs see them.
TEST(ImageFiles, WritesWhatIsPromised) {
    std::map<std::string, Bytes> files;
    for (const Kind& kind : kKinds) {
        const std::string path = outputPath(std::string("promised.") + kind.fileKind);
        write(pattern(5, 3), path, kind.fileKind);
        files[kind.fileKind] = load(path);
    }
    const Bytes& png = files["png"];
    EXPECT_EQ(Bytes(png.begin() + 16, png.begin() + 26), (Bytes{0, 0, 0, 5, 0, 0, 0, 3, 8, 6}));
    const Bytes& bmp = files["bmp"];
    EXPECT_EQ(Bytes(bmp.begin() + 10, bmp.begin() + 34),
              (Bytes{54, 0, 0, 0, 40, 0, 0, 0, 5, 0, 0, 0, 3, 0, 0, 0, 1, 0, 24, 0, 0, 0, 0, 0}));
    EXPECT_EQ(bmp.size(), 54U + 3 * 16);
    EXPECT_EQ(bmp[2], bmp.size());
    const Bytes& tiff = files["tif"];
    const auto number = [&tiff](std::size_t at) {
        return tiff[at] | static_cast<unsigned int>(tiff[at + 1]) << 8;
    };
    std::map<unsigned int, unsigned int> fields;
    const std::size_t directory = number(4);
    for (std::size_t i = 0; i < number(directory); ++i) {
        fields[number(directory + 2 + 12 * i)] = number(directory + 10 + 12 * i);
    }
    EXPECT_EQ(fields[259], 1U) << "not compressed";
    EXPECT_EQ(fields[338], 2U) << "alpha is not multiplied in";
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

// That many chunks of one name, with 1000 bytes each.
Bytes chunks(const char* name, int count) {
    Bytes bytes;
    for (int i = 0; i < count; ++i) {
        image_builders::appendChunk(bytes, name, Bytes(1000, 'x'));
    }
    return bytes;
}

Bytes masks(std::uint32_t red, std::uint32_t green, std::uint32_t blue) {
    Bytes bytes;
    for (const std::uint32_t mask : {red, green, blue}) {
        image_builders::append(bytes, mask, 4, false);
    }
    return bytes;
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
    const Bytes colors = {30, 20, 10, 0, 60, 50, 40, 0};
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
        {"TIFF of runs", tiff(true, 4, 1, 8, 1, {0xfe, 7, 0x00, 9}, {{259, 3, 1, 32773}}), 4, 1,
         grey({7, 7, 7, 9})},
        {"palette BMP", bmp(3, 1, 8, {1, 0, 1, 0}, colors), 3, 1, ofPalette},
        {"BMP of runs", bmp(3, 1, 8, {1, 1, 1, 0, 1, 1, 0, 1}, colors, 1), 3, 1, ofPalette},
        {"BMP, old header",
         text(std::string("BM\x1e\0\0\0\0\0\0\0\x1a\0\0\0\x0c\0\0\0\1\0\1\0\1\0\x18\0\3\2\1\0", 30)),
         1,
         1,
         {1, 2, 3, 255}},
        {"32-bit BMP is opaque", bmp(2, 1, 32, {3, 2, 1, 0, 6, 5, 4, 9}), 2, 1, {1, 2, 3, 255, 4, 5, 6, 255}},
        {"TIFF to be turned and with a name",
         tiff(false, 1, 2, 8, 1, {1, 2}, {{274, 3, 1, 6}, {270, 4, 1, 0}}), 1, 2, grey({1, 2})},
        {"grey TIFF, alpha multiplied in",
         tiff(true, 3, 1, 8, 2, {9, 0, 50, 100, 60, 20}, {{338, 3, 1, 1}}),
         3,
         1,
         {9, 9, 9, 0, 128, 128, 128, 100, 255, 255, 255, 20}},
        {"RGB TIFF, alpha multiplied in",
         tiff(false, 1, 1, 8, 4, {10, 20, 30, 128}, {{338, 3, 1, 1}}),
         1,
         1,
         {20, 40, 60, 128}},
        {"PNG with texts", png(1, 1, 8, 0, {5}, {}, {}, chunks("tEXt", 30)), 1, 1, grey({5})},
        {"JPEG", jpeg(16, 8, 0, {0x0f}), 16, 8, grey(Bytes(128, 128))},
        {"JPEG with restarts", jpeg(16, 8, 1, {0x3f, 0xff, 0xff, 0xd0, 0x3f}), 16, 8, grey(Bytes(128, 128))},
        {"16-bit BMP",
         bmp(2, 1, 16, {0xff, 0x7f, 0x34, 0x12}),
         2,
         1,
         {255, 255, 255, 255, 33, 140, 165, 255}},
        {"BMP with masks",
         bmp(2, 1, 16, {0xff, 0xff, 0x34, 0x12}, masks(0xf800, 0x7e0, 0x1f), 3),
         2,
         1,
         {255, 255, 255, 255, 16, 69, 165, 255}},
        {"BMP of 10 bits, without green",
         bmp(1, 1, 32, {0xff, 1, 0xf0, 0x3f}, masks(0x3ff00000, 0, 0x3ff), 3),
         1,
         1,
         {255, 0, 127, 255}},
        {"4-bit BMP", bmp(3, 1, 4, {0x10, 0x10, 0, 0}, colors), 3, 1, ofPalette},
        {"1-bit BMP, top row first",
         bmp(1, -2, 1, {0x80, 0, 0, 0, 0, 0, 0, 0}, colors),
         1,
         2,
         {40, 50, 60, 255, 10, 20, 30, 255}},
        // Runs of 4 bits in turn, a single row, a way past pixels, left-overs, a run beyond the row.
        {"4-bit BMP of runs", bmp(3, 1, 4, {3, 0x10, 0, 1}, colors, 2), 3, 1, ofPalette},
        {"4-bit BMP of single indices", bmp(3, 1, 4, {0, 3, 0x10, 0x10, 0, 1}, colors, 2), 3, 1, ofPalette},
        {"BMP of single indices", bmp(3, 1, 8, {0, 3, 1, 0, 1, 0, 0, 1}, colors, 1), 3, 1, ofPalette},
        {"BMP of runs with gaps",
         bmp(1, 3, 8, {9, 1, 0, 2, 0, 1, 0, 0, 1, 1, 0, 1}, colors, 1),
         1,
         3,
         {40, 50, 60, 255, 10, 20, 30, 255, 40, 50, 60, 255}},
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
    Bytes runsBeyond = bmp(1, 1, 8, {1, 0, 0, 1}, Bytes(8), 1);
    runsBeyond[13] = 0x7f;
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
        {"TIFF of runs, 60000 x 8000", tiff(true, 60000, 8000, 8, 1, pixel, {{259, 3, 1, 32773}})},
        {"BMP of runs without data", bmp(3, 1, 8, {}, Bytes(8), 1)},
        {"BMP of runs, 60000 x 8000", bmp(60000, 8000, 8, {0, 1}, Bytes(8), 1)},
        {"BMP of no bits", bmp(1, 1, 0, pixel)},
        {"BMP whose pixels are its header", headerAsPixels},
        {"BMP of runs that lie beyond the file", runsBeyond},
        {"TIFF of a pixel in a huge tile",
         tiff(true, 1, 1, 8, 1, pixel,
              {{259, 3, 1, 5}, {322, 4, 1, 40000}, {323, 4, 1, 40000}, {324, 4, 1, 8}, {325, 4, 1, 4}})},
        {"BMP with an index beyond its palette", bmp(1, 1, 8, {2, 0, 0, 0}, Bytes(8))},
        {"BMP of runs without an end", bmp(1, 1, 8, {1, 1}, Bytes(8), 1)},
        {"BMP of runs beyond its palette", bmp(1, 1, 8, {1, 2, 0, 1}, Bytes(8), 1)},
        {"BMP of runs, top row first", bmp(1, -1, 8, {1, 1, 0, 1}, Bytes(8), 1)},
        {"BMP of runs cut within indices", bmp(3, 1, 8, {0, 3, 1}, Bytes(8), 1)},
        {"BMP with a mask in two parts", bmp(1, 1, 32, pixel, masks(0xf0f, 0, 0), 3)},
        {"PNG with an index beyond its palette", png(1, 1, 8, 3, {2}, Bytes(6))},
        {"PNG with a chunk that must be understood", png(1, 1, 8, 0, {5}, {}, {}, chunks("ABCD", 1))},
        {"PNG with a second header", png(1, 1, 8, 0, {5}, {}, {}, chunks("IHDR", 1))},
        {"PNG with data before the palette", png(1, 1, 8, 3, {0}, Bytes(6), {}, chunks("IDAT", 1))},
        {"TIFF with a short strip", tiff(true, 3, 2, 8, 3, Bytes(17))},
        {"TIFF without its second strip", tiff(true, 3, 2, 8, 3, Bytes(18), {{278, 4, 1, 1}})},
        {"TIFF with an empty strip", tiff(true, 1, 1, 8, 1, {}, {{259, 3, 1, 5}})},
        {"TIFF of rows without an end", tiff(true, 1, 1, 8, 1, pixel, {{278, 4, 1, 0}})},
        {"TIFF of CIELAB", tiff(true, 1, 1, 8, 3, pixel, {{262, 3, 1, 8}})},
        {"TIFF without its palette", tiff(true, 1, 1, 8, 1, pixel, {{262, 3, 1, 3}})},
        {"JPEG with a block missing", jpeg(24, 8, 0, {0x0f})},
        {"JPEG with a restart missing", jpeg(16, 8, 1, {0x0f, 0x3f})},
        {"JPEG with an interval missing", jpeg(24, 8, 1, {0x3f, 0xff, 0xd0, 0x3f})},
        {"JPEG of arithmetic coding", jpeg(16, 8, 0, {0x0f}, 0xc9)},
    };
    for (const auto& [name, file] : table) {
        EXPECT_TRUE(readBytes(file).pixels.empty()) << name;
    }
    for (const char* path :
         {"", "no-such-file.png", "no-such-folder/image.png", "png:image.tmp.bin", "-", "|ls"}) {
        EXPECT_TRUE(read(path).pixels.empty()) << path;
    }
    EXPECT_TRUE(read(outputPath("")).pixels.empty()) << "a folder";
    const std::string sparse = outputPath("sparse.png");
    save(sparse, text("\x89PNG\r\n\x1a\n"));
    std::filesystem::resize_file(sparse, std::uintmax_t{1} << 31);
    EXPECT_TRUE(read(sparse).pixels.empty()) << "2^31 bytes";
    std::filesystem::remove(sparse);
    unsigned short side = 0;
    EXPECT_EQ(readImageFromFile(nullptr, side, side, false), nullptr);
#if defined(_WIN32)
    Bytes picture = pattern(2, 2).pixels;
    const std::wstring path = std::filesystem::path(outputPath("")).wstring() + L"\u5f71\u03b1.png";
    writeImageToWidePath(picture.data(), 2, 2, path.c_str(), "png");
    unsigned char* back = readImageFromWidePath(path.c_str(), side, side, false);
    EXPECT_TRUE(back && side == 2);
    ::operator delete(back);
    EXPECT_EQ(readImageFromWidePath(nullptr, side, side, false), nullptr);
    std::filesystem::remove(path);
#endif
}

// Cut at every length, no file is an image; with any byte damaged, it is read or refused, and
// nothing else happens.
TEST(ImageFiles, SurvivesDamage) {
    for (const Kind& kind : kKinds) {
        for (const char* platform : {"linux", "windows", "progressive"}) {
            if (platform[0] == 'p' && kind.fileKind[0] != 'j') {
                continue;
            }
            const Bytes file = load(std::string(QV_TEST_DATA) + "images/" + platform + "." + kind.fileKind);
            ASSERT_FALSE(file.empty());
            const std::size_t step = QV_DAMAGE_STEP;
            for (std::size_t length = file.size() - 1; length < file.size(); length -= step) {
                EXPECT_TRUE(
                    readBytes(Bytes(file.begin(), file.begin() + static_cast<long>(length))).pixels.empty())
                    << platform << ' ' << kind.fileKind << " cut at " << length;
            }
            if (file[0] == 0xff) { // the scan is cut, the end is there
                Bytes shortened(file.begin(), file.end() - 20);
                shortened.insert(shortened.end(), {0xff, 0xd9});
                EXPECT_TRUE(readBytes(shortened).pixels.empty());
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
