#include "AllocationSweep.h"
#include "pixels/ImageFiles.h"
#include "pixels/PixelArray2D.h"
#include "pixels/qvColorFormatRGBAFixed8.h"
#include "pixels/qvColorFormatRGBAFloat.h"

#include <gtest/gtest.h>

#include <new>
#include <string>
#include <vector>

namespace {

// Without memory there are the documented results, never an exception.
TEST(PixelMemory, ConversionsAnswerNull) {
    const qvColorFormatRGBAFloat floats;
    const qvColorFormatRGBAFixed8 bytes;
    const std::vector<unsigned char> pixels(64, 100);
    for (AllocationSweep sweep; sweep.next();) {
        float* image = nullptr;
        unsigned char* small = nullptr;
        float* wide = nullptr;
        EXPECT_TRUE(sweep.run([&] {
            image = floats.convertFromFixed8(pixels.data(), 4, 4, 1);
            small = bytes.resize(pixels.data(), 4, 4, 1, 3);
            wide = floats.resize(image, 4, 4, 9, 1);
        }));
        EXPECT_TRUE(image || !wide);
        floats.deallocate(image);
        bytes.deallocate(small);
        floats.deallocate(wide);
    }
}

TEST(PixelMemory, ArraysStayWholeOrEmpty) {
    qvSysPixelFormat format;
    format.setPixelType(kRGBAFixed8Format);
    for (AllocationSweep sweep; sweep.next();) {
        EXPECT_TRUE(sweep.run([&] {
            PixelArray2D image(format, 4, 4);
            PixelArray2D other(image);
            other.resize(2, 2);
            image = other;
            image.copy(PixelArray2D(format, 3, 3));
            if (image.pixels() == nullptr) {
                image.resize(1, 1);
            }
        }));
    }
}

#if QV_WITH_IMAGE_FILES
TEST(PixelMemory, FilesAreReadAndWrittenWholeOrNot) {
    for (const char* kind : {"bmp", "png"}) {
        const std::string path = std::string(QV_TEST_OUTPUT) + "memory." + kind;
        std::vector<unsigned char> pixels(60, 90);
        writeImageToFile(pixels.data(), 5, 3, path.c_str(), kind);
        for (AllocationSweep sweep; sweep.next();) {
            unsigned short width = 0, height = 0;
            unsigned char* image = nullptr;
            unsigned char* now = nullptr;
            EXPECT_TRUE(sweep.run([&] {
                writeImageToFile(pixels.data(), 5, 3, path.c_str(), kind);
                image = readImageFromFile(path.c_str(), width, height, true);
            }));
            EXPECT_TRUE(!image || width * height == 32) << kind;
            ::operator delete(image);
            now = readImageFromFile(path.c_str(), width, height, false);
            EXPECT_TRUE(now && width * height == 15) << "the file is as it was";
            ::operator delete(now);
        }
    }
}
#endif

} // namespace
