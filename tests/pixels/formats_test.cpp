#include "pixels/qvBufferFormat.h"
#include "pixels/qvColorFormatRGBAFixed8.h"
#include "pixels/qvColorFormatRGBAFloat.h"
#include "pixels/qvSysPixelFormat.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNotANumber = std::numeric_limits<float>::quiet_NaN();

// Takes over what a format returned.
template <typename Format, typename T>
std::vector<T> taken(const Format& format, T* pixels, std::size_t count) {
    std::vector<T> result;
    if (pixels) {
        result.assign(pixels, pixels + count);
    }
    format.deallocate(pixels);
    return result;
}

TEST(BufferFormat, ComparesAllFourFields) {
    const struct {
        qvBufferFormat format;
    } offered = {}; // which an explicit default constructor would not allow
    const qvBufferFormat& none = offered.format;
    EXPECT_EQ(none, qvBufferFormat(ColorFormat(0), DepthFormat(0), StencilFormat(0), SamplingType(0)));
    const qvBufferFormat base(ColorFormat(3), DepthFormat(1), StencilFormat(2), SamplingType(1));
    EXPECT_TRUE(base.betterOrEqualThan(base));
    for (int field = 0; field < 4; ++field) {
        qvBufferFormat more = base;
        switch (field) {
        case 0:
            more.setColorFormat(kRGBAFloatFormat);
            break;
        case 1:
            more.setDepthFormat(DepthFormat(2));
            break;
        case 2:
            more.setStencilFormat(StencilFormat(3));
            break;
        default:
            more.setSamplingType(SamplingType(2));
            break;
        }
        EXPECT_NE(more, base) << field;
        EXPECT_TRUE(base.lessCapableThan(more)) << field;
        EXPECT_FALSE(more.lessCapableThan(base)) << field;
    }
    const qvBufferFormat deeper(ColorFormat(2), DepthFormat(3), StencilFormat(2), SamplingType(1));
    EXPECT_TRUE(deeper.lessCapableThan(base) && base.lessCapableThan(deeper));
    // Compared as signed numbers.
    EXPECT_FALSE(none.lessCapableThan(qvBufferFormat(ColorFormat(-1))));
}

TEST(SysPixelFormat, TypesWithoutASizeKeepTheOneBefore) {
    qvSysPixelFormat format;
    EXPECT_EQ(format.allocate(1, 1, 1), nullptr);
    const unsigned int sizes[] = {0, 3, 3, 4, 16, 4, 1, 2, 4, 4};
    for (int type = 0; type <= 9; ++type) {
        format.setPixelType(ColorFormat(type));
        EXPECT_EQ(format.pixelSize(), sizes[type]) << type;
    }
}

TEST(Formats, RefuseSizesThatAreNoneOrTooLarge) {
    qvSysPixelFormat rgb;
    rgb.setPixelType(kRGBFixed8Format);
    const qvColorFormatRGBAFixed8 fixed8;
    const qvColorFormatRGBAFloat floats;
    const unsigned int sizes[][3] = {
        {0, 1, 1}, {1, 0, 1}, {1, 1, 0}, {46341, 46341, 1}, {65536, 65536, 1},
    };
    for (const auto& [width, height, depth] : sizes) {
        EXPECT_EQ(rgb.allocate(width, height, depth), nullptr) << width << ' ' << height << ' ' << depth;
        EXPECT_EQ(fixed8.allocate(width, height, depth), nullptr);
        EXPECT_EQ(floats.allocate(width, height, depth), nullptr);
        unsigned char byte = 0;
        float number = 0.0F;
        EXPECT_EQ(fixed8.convertFromFloat(&number, width, height, depth), nullptr);
        EXPECT_EQ(floats.convertFromFixed8(&byte, width, height, depth), nullptr);
    }
    // 2^27 float pixels are one byte too many.
    EXPECT_EQ(floats.allocate(1U << 14, 1U << 13, 1), nullptr);
}

TEST(ColorFormats, FloatsFromAllBytes) {
    std::vector<unsigned char> bytes(256);
    for (int i = 0; i < 256; ++i) {
        bytes[static_cast<std::size_t>(i)] = static_cast<unsigned char>(i);
    }
    const qvColorFormatRGBAFloat format;
    const std::vector<float> floats =
        taken(format, format.convertFromFixed8(bytes.data(), 8, 4, 2), bytes.size());
    ASSERT_EQ(floats.size(), 256U);
    for (std::size_t i = 0; i < 256; ++i) {
        EXPECT_NEAR(floats[i], (static_cast<double>(i) + 0.5) * 0.003921569, 7e-8) << i;
    }
    EXPECT_EQ(format.convertFromFixed8(nullptr, 8, 4, 2), nullptr);
}

TEST(ColorFormats, BytesFromFloats) {
    const std::pair<float, int> table[] = {
        {0.0F, 0},
        {0.49F, 0},
        {0.49999997F, 0}, // plus 0.5 is 1 in single precision
        {0.5F, 255},
        {1.0F, 255},
        {1.5F, 254},
        {2.49F, 254},
        {254.5F, 1},
        {255.5F, 0},
        {256.5F, 255},
        {-0.49F, 0},
        {-1.49F, 0},
        {-1.5F, 1},
        {-2.5F, 2},
        {8388609.0F, 255},
        {2147483520.0F, 128},
        {2147483648.0F, 0},
        {-2147483648.0F, 255},
        {-2147483904.0F, 0},
        {1e30F, 0},
        {kInfinity, 0},
        {-kInfinity, 0},
        {kNotANumber, 0},
        {-kNotANumber, 0},
    };
    std::vector<float> floats;
    for (const auto& [value, byte] : table) {
        floats.push_back(value);
    }
    ASSERT_EQ(floats.size() % 4, 0U);
    const auto pixels = static_cast<unsigned int>(floats.size() / 4);
    const qvColorFormatRGBAFixed8 format;
    const std::vector<unsigned char> bytes =
        taken(format, format.convertFromFloat(floats.data(), pixels, 1, 1), floats.size());
    ASSERT_EQ(bytes.size(), floats.size());
    for (std::size_t i = 0; i < floats.size(); ++i) {
        EXPECT_EQ(bytes[i], table[i].second) << table[i].first;
    }
    EXPECT_EQ(format.convertFromFloat(nullptr, 1, 1, 1), nullptr);
}

// A format that gives out too little: results come from the format's own allocation.
class Exhausted : public qvColorFormatRGBAFloat {
public:
    void* allocate(unsigned int width, unsigned int height, unsigned int depth) const override {
        ++fAllocations;
        return fAllocations > 1 ? nullptr : qvColorFormatRGBAFloat::allocate(width, height, depth);
    }
    mutable int fAllocations = 0;
};

TEST(ColorFormats, TakeResultsFromTheirOwnAllocation) {
    const Exhausted format;
    const std::vector<unsigned char> bytes(16, 7);
    const std::vector<float> floats = taken(format, format.convertFromFixed8(bytes.data(), 2, 2, 1), 16);
    EXPECT_EQ(floats.size(), 16U);
    EXPECT_EQ(format.convertFromFixed8(bytes.data(), 2, 2, 1), nullptr);
    EXPECT_EQ(format.resize(floats.data(), 2, 2, 4, 4), nullptr);
    EXPECT_EQ(format.fAllocations, 3);
    // Only an image of no size at all does not ask.
    EXPECT_EQ(format.convertFromFixed8(bytes.data(), 0, 0, 0), nullptr);
    EXPECT_EQ(format.fAllocations, 3);
    EXPECT_EQ(format.convertFromFixed8(bytes.data(), 2, 0, 1), nullptr);
    EXPECT_EQ(format.fAllocations, 4);
}

// The weight of source pixel `i` in the footprint from `start` to `end`.
double weightOf(int i, double start, double end) {
    if (start > i) {
        return std::min(i + 1.0, end) - start;
    }
    return end < i + 1.0 ? end - i : 1.0;
}

// The rule as it is stated: two loops over the footprint of every pixel.
std::vector<double> plainResize(const std::vector<double>& src, int width, int height, int newWidth,
                                int newHeight) {
    std::vector<double> dst;
    const double sx = static_cast<double>(width) / newWidth;
    const double sy = static_cast<double>(height) / newHeight;
    for (int y = 0; y < newHeight; ++y) {
        for (int x = 0; x < newWidth; ++x) {
            const double top = (y - 0.5) * sy, bottom = (y + 0.5) * sy;
            const double left = (x - 0.5) * sx, right = (x + 0.5) * sx;
            const int lastRow =
                std::floor(bottom) > height ? height - 1 : static_cast<int>(std::floor(bottom));
            const int lastColumn =
                std::floor(right) > width ? width - 1 : static_cast<int>(std::floor(right));
            double sums[4] = {};
            double weights = 0.0;
            for (int row = std::max(0, static_cast<int>(std::floor(top))); row <= lastRow; ++row) {
                for (int column = std::max(0, static_cast<int>(std::floor(left))); column <= lastColumn;
                     ++column) {
                    if (row == height || column == width) {
                        continue;
                    }
                    const double weight = weightOf(row, top, bottom) * weightOf(column, left, right);
                    weights += weight;
                    for (int c = 0; c < 4; ++c) {
                        sums[c] += weight * src[static_cast<std::size_t>(4 * (row * width + column) + c)];
                    }
                }
            }
            for (const double sum : sums) {
                dst.push_back(std::clamp((weights != 0.0 ? sum / weights : sum) + 1.0e-5, 0.0, 1.0));
            }
        }
    }
    return dst;
}

TEST(ColorFormats, ResizeIsTheWeightedSumOverTheFootprint) {
    const int shapes[][4] = {
        {1, 1, 3, 2},    {2, 2, 1, 1},    {4, 4, 2, 2},   {7, 5, 3, 4},     {3, 4, 7, 5},
        {16, 1, 1, 16},  {1, 9, 5, 2},    {32, 32, 8, 8}, {33, 29, 12, 7},  {12, 7, 33, 29},
        {100, 3, 99, 3}, {99, 3, 100, 3}, {5, 64, 5, 1},  {40, 40, 13, 80},
    };
    std::mt19937 random(5);
    for (const auto& [width, height, newWidth, newHeight] : shapes) {
        const std::size_t count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4;
        std::vector<unsigned char> bytes(count);
        std::vector<float> floats(count);
        std::vector<double> ofBytes(count);
        std::vector<double> ofFloats(count);
        for (std::size_t i = 0; i < count; ++i) {
            bytes[i] = static_cast<unsigned char>(random());
            ofBytes[i] = bytes[i] / 255.0;
            floats[i] = static_cast<float>(random() % 10000) / 8000.0F - 0.125F; // also beyond 0..1
            ofFloats[i] = static_cast<double>(floats[i]);
        }
        const auto [w, h, nw, nh] = std::array<unsigned int, 4>{
            static_cast<unsigned int>(width), static_cast<unsigned int>(height),
            static_cast<unsigned int>(newWidth), static_cast<unsigned int>(newHeight)};
        const std::size_t newCount = std::size_t{nw} * nh * 4;

        const qvColorFormatRGBAFloat floatFormat;
        const std::vector<float> resized =
            taken(floatFormat, floatFormat.resize(floats.data(), w, h, nw, nh), newCount);
        const std::vector<double> expected = plainResize(ofFloats, width, height, newWidth, newHeight);
        ASSERT_EQ(resized.size(), expected.size());
        for (std::size_t i = 0; i < newCount; ++i) {
            // The sums are in double precision: only the last rounding to float remains.
            ASSERT_NEAR(static_cast<double>(resized[i]), expected[i], 3.1e-8) << w << 'x' << h << ' ' << i;
        }

        const qvColorFormatRGBAFixed8 format8;
        const std::vector<unsigned char> resized8 =
            taken(format8, format8.resize(bytes.data(), w, h, nw, nh), newCount);
        const std::vector<double> expected8 = plainResize(ofBytes, width, height, newWidth, newHeight);
        ASSERT_EQ(resized8.size(), expected8.size());
        for (std::size_t i = 0; i < newCount; ++i) {
            ASSERT_NEAR(resized8[i], expected8[i] * 255.0, 0.5 + 1e-9) << w << 'x' << h << ' ' << i;
        }
    }
}

TEST(ColorFormats, ResizeCentresTheFootprintOnTheCorner) {
    const qvColorFormatRGBAFloat format;
    const std::vector<float> image = {0.5F, 0.25F, -1.0F, 2.0F, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    const std::vector<float> half = taken(format, format.resize(image.data(), 2, 2, 1, 1), 4);
    EXPECT_EQ(half, (std::vector<float>{0.50001F, 0.25001F, 0.0F, 1.0F}));
    // 1e-5 of 255 decides: 97/195 and 98/197 lie on either side of 0.49745.
    for (const unsigned int count : {195U, 197U}) {
        std::vector<unsigned char> line(std::size_t{8} * count);
        std::fill_n(line.begin(), std::size_t{4} * (count / 2), 1);
        const qvColorFormatRGBAFixed8 bytes;
        EXPECT_EQ(taken(bytes, bytes.resize(line.data(), 2 * count, 1, 1, 1), 4)[0], count == 197 ? 1 : 0);
    }
    // Pixels that weigh nothing do not spoil the sum, and not-a-number becomes 0.
    std::vector<float> spoilt = image;
    spoilt[4] = spoilt[9] = spoilt[14] = kInfinity;
    spoilt[1] = kNotANumber;
    EXPECT_EQ(taken(format, format.resize(spoilt.data(), 2, 2, 1, 1), 4),
              (std::vector<float>{0.50001F, 0.0F, 0.0F, 1.0F}));
}

TEST(ColorFormats, ResizeRefuses) {
    const qvColorFormatRGBAFloat floatFormat;
    const qvColorFormatRGBAFixed8 format8;
    const std::vector<float> floats(16);
    const std::vector<unsigned char> bytes(16);
    const unsigned int shapes[][4] = {
        {2, 2, 2, 2}, {0, 2, 2, 2},         {2, 0, 2, 2},         {2, 2, 0, 2},
        {2, 2, 2, 0}, {2, 2, 65536, 65536}, {65536, 65536, 2, 2},
    };
    for (const auto& [w, h, nw, nh] : shapes) {
        EXPECT_EQ(floatFormat.resize(floats.data(), w, h, nw, nh), nullptr) << w << ' ' << h << ' ' << nw;
        EXPECT_EQ(format8.resize(bytes.data(), w, h, nw, nh), nullptr) << w << ' ' << h << ' ' << nw;
    }
    EXPECT_EQ(floatFormat.resize(nullptr, 2, 2, 1, 1), nullptr);
    EXPECT_EQ(format8.resize(nullptr, 2, 2, 1, 1), nullptr);
    if (sizeof(void*) == 4) { // elsewhere there may be memory enough
        EXPECT_EQ(format8.resize(bytes.data(), 1, 1, 500000000, 1), nullptr) << "no memory for the weights";
        EXPECT_EQ(format8.resize(bytes.data(), 1, 1, 1, 500000000), nullptr);
    }
}

TEST(ColorFormats, NormalMaps) {
    // Heights of a 3 x 3 image in the red components, hand-worked normals below.
    const double heights[9] = {0.0, 0.5, 0.5, 1.0, 0.5, 0.0, 0.25, 0.25, 0.25};
    constexpr double kScale = 2.0;
    std::vector<float> floats;
    std::vector<unsigned char> bytes;
    for (const double height : heights) {
        floats.insert(floats.end(), {static_cast<float>(height), 0.1F, 0.2F, 0.3F});
        bytes.insert(bytes.end(), {static_cast<unsigned char>(height * 255), 1, 2, 3});
    }
    const double slopes[2][2][2] = {{{-1, -2}, {0, 0}}, {{1, 1.5}, {1, 0.5}}}; // times the scale
    std::vector<double> normals(36, 1.0);
    for (std::size_t y = 0; y < 2; ++y) {
        for (std::size_t x = 0; x < 3; ++x) {
            const double* slope = slopes[y][std::min<std::size_t>(x, 1)];
            const double length = std::sqrt(slope[0] * slope[0] + slope[1] * slope[1] + 1.0);
            double* normal = &normals[4 * (3 * y + x)];
            normal[0] = (slope[0] / length + 1) / 2;
            normal[1] = (slope[1] / length + 1) / 2;
            normal[2] = (1 / length + 1) / 2;
        }
    }
    std::copy_n(normals.begin() + 12, 12, normals.begin() + 24);

    EXPECT_FALSE(qvColorFormatRGBAFloat().convertToNormalMap(floats.data(), 3, 3, kScale));
    EXPECT_FALSE(qvColorFormatRGBAFixed8().convertToNormalMap(bytes.data(), 3, 3, kScale));
    for (std::size_t i = 0; i < normals.size(); ++i) {
        EXPECT_NEAR(static_cast<double>(floats[i]), normals[i], 1e-7) << i;
        // Half heights are not whole bytes: 127 for 127.5.
        EXPECT_NEAR(bytes[i], normals[i] * 255, 1.0) << i;
    }
    // A flat surface: 127.5 is rounded up.
    std::vector<unsigned char> flat(16, 40);
    qvColorFormatRGBAFixed8().convertToNormalMap(flat.data(), 2, 2, 1.0F);
    for (std::size_t i = 0; i < 16; ++i) {
        EXPECT_EQ(flat[i], i % 4 < 2 ? 128 : 255) << i;
    }
    // Whatever the numbers, they end as bytes.
    for (const float scale : {kInfinity, kNotANumber, 1e38F}) {
        std::vector<unsigned char> steep = {0, 0, 0, 0, 255, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
        EXPECT_FALSE(qvColorFormatRGBAFixed8().convertToNormalMap(steep.data(), 2, 2, scale));
        EXPECT_EQ(steep[3], 255);
    }
    EXPECT_FALSE(qvColorFormatRGBAFloat().convertToNormalMap(nullptr, 3, 3, 1.0F));
    EXPECT_FALSE(qvColorFormatRGBAFixed8().convertToNormalMap(nullptr, 3, 3, 1.0F));
}

TEST(ColorFormats, NormalMapsStayInsideThinImages) {
    const unsigned int shapes[][2] = {{1, 1}, {1, 3}, {3, 1}, {0, 3}, {3, 0}};
    for (const auto& [width, height] : shapes) {
        std::vector<float> image(20, 7.0F); // a pixel before, up to three, a pixel behind
        qvColorFormatRGBAFloat().convertToNormalMap(image.data() + 4, width, height, 1.0F);
        for (std::size_t i = 0; i < image.size(); ++i) {
            const bool alphaOfColumn = width == 1 && height == 3 && i >= 4 && i < 16 && i % 4 == 3;
            EXPECT_EQ(image[i], alphaOfColumn ? 1.0F : 7.0F) << width << 'x' << height << ' ' << i;
        }
    }
}

} // namespace
