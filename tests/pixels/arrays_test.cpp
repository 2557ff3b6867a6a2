#include "pixels/PixelArray1D.h"
#include "pixels/PixelArray2D.h"
#include "pixels/PixelArray3D.h"
#include "pixels/PixelArrayCubeMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <vector>

namespace {

constexpr unsigned char kGuard = 0xa5; // behind the storage

// Counts what it gives out; stops giving when it is told to. Promises sizes that it does not have.
class CountingFormat : public qvSysPixelFormat {
public:
    explicit CountingFormat(ColorFormat type) { setPixelType(type); }
    void* allocate(unsigned int width, unsigned int height, unsigned int depth) const override {
        const std::size_t bytes = std::size_t{width} * height * depth * pixelSize();
        void* storage = fExhausted || bytes == 0 ? nullptr : std::malloc(bytes % 1000000 + 1);
        if (storage) {
            static_cast<unsigned char*>(storage)[bytes % 1000000] = kGuard;
            ++fAllocations;
            ++fLive;
            fBytes = pixelSize() * width * height * depth;
        }
        return storage;
    }
    void deallocate(void* storage) const override {
        --fLive;
        qvSysPixelFormat::deallocate(storage);
    }

    bool fExhausted = false;
    mutable int fAllocations = 0;
    mutable int fLive = 0;
    mutable unsigned int fBytes = 0;
};

template <typename Array>
struct Open : Array {
    using Array::Array;
    using Array::initialized;
};
using Image = Open<PixelArray2D>;

void fill(Image& image, unsigned int first) {
    auto* bytes = static_cast<unsigned char*>(image.pixels());
    std::iota(bytes, bytes + std::size_t{image.width()} * image.height() * image.pixelSize(),
              static_cast<unsigned char>(first));
}

std::vector<unsigned char> bytesOf(const Image& image) {
    const auto* bytes = static_cast<const unsigned char*>(image.pixels());
    return {bytes, bytes + std::size_t{image.width()} * image.height() * image.pixelSize()};
}

template <typename Array>
void checkShape(const Array& array, unsigned int width, unsigned int height, unsigned int depth,
                const CountingFormat& format, unsigned int bytes) {
    EXPECT_TRUE(array.initialized());
    EXPECT_NE(array.pixels(), nullptr);
    EXPECT_EQ(array.width(), width);
    EXPECT_EQ(array.height(), height);
    EXPECT_EQ(array.depth(), depth);
    EXPECT_EQ(format.fBytes, bytes);
}

TEST(PixelArrays, TakeTheirShapeFromTheFormat) {
    const CountingFormat format(kRGBAFixed8Format);
    {
        checkShape(Open<PixelArray1D>(format, 5), 5, 1, 1, format, 20);
        checkShape(Image(format, 5, 3), 5, 3, 1, format, 60);
        checkShape(Open<PixelArray3D>(format, 5, 3, 2), 5, 3, 2, format, 120);
        const Open<PixelArrayCubeMap> cube(format, 16, 16);
        checkShape(cube, 16, 16, 6, format, 16 * 16 * 6 * 4);
        const Open<PixelArrayCubeMap> copy(cube);
        checkShape(copy, 16, 16, 6, format, 16 * 16 * 6 * 4);
        EXPECT_NE(copy.pixels(), cube.pixels());
    }
    EXPECT_EQ(format.fLive, 0);
    const std::unique_ptr<IPixelArray> held = std::make_unique<PixelArray3D>(format, 1, 2, 3);
    EXPECT_EQ(held->depth(), 3U);
    EXPECT_EQ(format.fLive, 1);
    EXPECT_EQ(format.fAllocations, 6);
}

TEST(PixelArrays, StayEmptyWithoutStorage) {
    const CountingFormat format(kRGBAFloatFormat);
    const qvSysPixelFormat untyped;
    CountingFormat exhausted(kRGBAFixed8Format);
    exhausted.fExhausted = true;
    Image images[] = {{format, 0, 10},       {format, 10, 0}, {format, 65536, 65536},
                      {format, 16384, 8192}, {untyped, 2, 2}, {exhausted, 2, 2}};
    for (Image& image : images) {
        EXPECT_FALSE(image.initialized());
        EXPECT_EQ(image.pixels(), nullptr);
        EXPECT_EQ(image.width() + image.height() + image.depth(), 0U);
        image.resize(4, 4);
        image.copy("", 4);
        EXPECT_FALSE(image.convertToNormalMap(1.0F));
        EXPECT_EQ(Image(image).pixels(), nullptr);
    }
    EXPECT_EQ(Open<PixelArray3D>(format, 4, 4, 0x10000000U).pixels(), nullptr);
    EXPECT_EQ(Open<PixelArrayCubeMap>(format, 8000, 8000).pixels(), nullptr);
    EXPECT_EQ(format.fAllocations, 0) << "not asked for more than 31 bits";
}

// A host's type of pixels, 5 bytes each.
TEST(PixelArrays, HoldPixelsOfAHostsOwnType) {
    struct OwnFormat : CountingFormat {
        OwnFormat() : CountingFormat(ColorFormat(99)) { setPixelSize(5); }
    };
    const OwnFormat format;
    Image image(format, 3, 1);
    fill(image, 20);
    EXPECT_EQ(bytesOf(Image(image)), bytesOf(image));
    EXPECT_EQ(bytesOf(image).size(), 15U);
}

TEST(PixelArrays, CopiesOfAnArrayAreWholeAndTheirOwn) {
    const CountingFormat format(kLuminanceAlphaFixed8Format);
    const CountingFormat otherFormat(kRGBFixed8Format);
    {
        Image image(format, 3, 2);
        fill(image, 1);
        const Image copy(image);
        Image target(otherFormat, 7, 7);
        target = image;
        target = *&target;
        const std::vector<unsigned char> expected = bytesOf(image);
        fill(image, 100);
        EXPECT_EQ(bytesOf(copy), expected);
        EXPECT_EQ(bytesOf(target), expected);
        EXPECT_EQ(target.pixelType(), kLuminanceAlphaFixed8Format);
        EXPECT_TRUE(copy.initialized() && target.initialized());
        EXPECT_EQ(otherFormat.fLive, 0);
        const std::vector<unsigned char> more(1000, 9); // no more goes in than the copied array holds
        target.copy(more.data(), 4);
        EXPECT_EQ(bytesOf(target), std::vector<unsigned char>(12, 9));
        EXPECT_EQ(static_cast<unsigned char*>(target.pixels())[12], kGuard);
        target = Image(format, 0, 0);
        EXPECT_EQ(target.pixels(), nullptr);
        EXPECT_EQ(target.width(), 0U);
        EXPECT_EQ(format.fLive, 2);
    }
    EXPECT_EQ(format.fLive, 0);
}

TEST(PixelArrays, CopyOfBytesStaysInsideTheArray) {
    const qvSysPixelFormat untyped;
    const CountingFormat format(kRGBAFixed8Format);
    Image image(format, 2, 1);
    const std::vector<unsigned char> bytes = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    fill(image, 50);
    image.copy(bytes.data(), 3);
    EXPECT_EQ(bytesOf(image), (std::vector<unsigned char>{1, 2, 3, 4, 5, 6, 56, 57}));
    image.copy(bytes.data(), 5);
    EXPECT_EQ(bytesOf(image), (std::vector<unsigned char>{1, 2, 3, 4, 5, 6, 7, 8}));
    image.copy(nullptr, 4);
}

TEST(PixelArray2D, CopyTakesTheShapeAndOneWord) {
    const CountingFormat format(kRGBAFixed8Format);
    const CountingFormat small(kLuminanceFixed8Format);
    {
        Image source(format, 2, 2);
        fill(source, 1);
        Image empty(format, 0, 0);
        empty.copy(source);
        EXPECT_TRUE(empty.initialized());
        EXPECT_EQ(bytesOf(empty)[0], 1);
        EXPECT_EQ(bytesOf(empty)[3], 4);
        EXPECT_EQ(empty.width() * 100 + empty.height() * 10 + empty.depth(), 221U);
        EXPECT_EQ(format.fLive, 2);

        // The same shape: nothing is copied and the target counts as uninitialised, with storage.
        Image same(format, 2, 2);
        fill(same, 70);
        same.copy(source);
        EXPECT_FALSE(same.initialized());
        EXPECT_EQ(bytesOf(same)[0], 70);
        EXPECT_FALSE(same.convertToNormalMap(1.0F));
        EXPECT_EQ(bytesOf(same)[2], 72);
        const Image copy(same);
        EXPECT_FALSE(copy.initialized());
        EXPECT_EQ(bytesOf(copy), bytesOf(same));

        // Images smaller than a word; another format.
        Image pixel(small, 1, 1);
        fill(pixel, 9);
        source.copy(pixel);
        EXPECT_EQ(bytesOf(source), std::vector<unsigned char>{9});
        EXPECT_EQ(source.pixelSize(), 1U);

        // From an array without storage, and when none is to be had.
        source.copy(Image(small, 0, 0));
        EXPECT_EQ(source.pixels(), nullptr);
        EXPECT_EQ(source.width(), 0U);
        EXPECT_FALSE(source.initialized());
        CountingFormat exhausted(kRGBAFixed8Format);
        Image last(exhausted, 3, 1);
        exhausted.fExhausted = true;
        same.copy(last);
        EXPECT_EQ(same.pixels(), nullptr);
        EXPECT_FALSE(same.initialized());
        EXPECT_EQ(same.width(), 3U);
        same.resize(2, 2);
        same.copy(same);
    }
    EXPECT_EQ(format.fLive, 0);
    EXPECT_EQ(small.fLive, 0);
}

TEST(PixelArray2D, ResizesThroughItsOwnFormat) {
    for (const ColorFormat type : {kRGBAFixed8Format, kRGBAFloatFormat}) {
        CountingFormat format(type);
        {
            Image image(format, 4, 4);
            std::fill_n(static_cast<unsigned char*>(image.pixels()), 16 * format.pixelSize(), 0x3f);
            const void* before = image.pixels();
            image.resize(4, 4);
            image.resize(0, 4);
            image.resize(65536, 65536);
            format.fExhausted = true;
            image.resize(2, 2);
            EXPECT_EQ(image.pixels(), before);
            EXPECT_EQ(image.width() + image.height(), 8U);
            format.fExhausted = false;
            image.resize(2, 3);
            EXPECT_EQ(image.width() * 10 + image.height(), 23U);
            EXPECT_EQ(format.fBytes, 6 * format.pixelSize());
            EXPECT_EQ(format.fLive, 1);
            EXPECT_EQ(bytesOf(image)[3], 0x3f);
            EXPECT_TRUE(image.initialized());
        }
        EXPECT_EQ(format.fLive, 0);
    }
}

TEST(PixelArray2D, OtherTypesAreNeitherResizedNorConverted) {
    for (int type = 1; type <= 8; ++type) {
        if (type == kRGBAFixed8Format || type == kRGBAFloatFormat) {
            continue;
        }
        CountingFormat format{ColorFormat(type)};
        Image image(format, 2, 2);
        fill(image, 3);
        const std::vector<unsigned char> before = bytesOf(image);
        image.resize(1, 1);
        EXPECT_FALSE(image.convertToNormalMap(1.0F));
        EXPECT_EQ(bytesOf(image), before) << type;
    }
    // A format that changes behind the array's back does not make it read beyond its storage.
    CountingFormat format(kLuminanceFixed8Format);
    Image image(format, 2, 2);
    fill(image, 3);
    format.setPixelType(kRGBAFloatFormat);
    image.resize(1, 1);
    EXPECT_FALSE(image.convertToNormalMap(1.0F));
    EXPECT_EQ(image.width(), 2U);
    EXPECT_EQ(static_cast<unsigned char*>(image.pixels())[3], 6);
}

TEST(PixelArray2D, ConvertsToNormalMaps) {
    const CountingFormat fixed8(kRGBAFixed8Format);
    const CountingFormat floats(kRGBAFloatFormat);
    Image bytes(fixed8, 2, 2);
    Image numbers(floats, 2, 2);
    std::fill_n(static_cast<unsigned char*>(bytes.pixels()), 16, 40);
    std::fill_n(static_cast<float*>(numbers.pixels()), 16, 0.25F);
    EXPECT_FALSE(bytes.convertToNormalMap(1.0F)); // converted all the same
    EXPECT_FALSE(numbers.convertToNormalMap(1.0F));
    EXPECT_EQ(static_cast<unsigned char*>(bytes.pixels())[14], 255);
    EXPECT_EQ(static_cast<float*>(numbers.pixels())[12], 0.5F);
}

} // namespace
