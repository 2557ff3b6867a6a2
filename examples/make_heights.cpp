// Writes the height image that the normal-map example is shown with: round hills and a ring-shaped
// wall on a plain, as grey levels.
//
//     make_heights heights.png

#include "pixels/ImageFiles.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

namespace {

constexpr unsigned short kWidth = 600; // no power of two: the example averages it down
constexpr unsigned short kHeight = 300;
constexpr int kUnit = 3; // pixels per unit of the landscape

struct Hill {
    double x, y, radius, height;
};
constexpr Hill kHills[] = {{42, 40, 36, 0.9}, {96, 26, 22, 0.7}, {86, 76, 20, 0.6}, {20, 84, 14, 0.4}};

// 0..1.
double heightAt(double x, double y) {
    double height = 0.0;
    for (const Hill& hill : kHills) {
        const double distance = std::hypot(x - hill.x, y - hill.y) / hill.radius;
        if (distance < 1.0) {
            const double slope = 1.0 - distance * distance;
            height = std::max(height, hill.height * slope * slope);
        }
    }
    const double wall = std::abs(std::hypot(x - 148, y - 54) - 32) / 9; // 0 on the ridge
    if (wall < 1.0) {
        height = std::max(height, 0.6 * (1.0 - wall * wall));
    }
    return height;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_heights image.png\n");
        return 2;
    }
    std::vector<unsigned char> pixels;
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const auto level = static_cast<unsigned char>(std::lround(
                heightAt(static_cast<double>(x) / kUnit, static_cast<double>(y) / kUnit) * 255.0));
            pixels.insert(pixels.end(), {level, level, level, 255});
        }
    }
    std::remove(argv[1]);
    writeImageToFile(pixels.data(), kWidth, kHeight, argv[1], "png");
    std::FILE* written = std::fopen(argv[1], "rb"); // writing itself reports no errors
    if (!written) {
        std::fprintf(stderr, "make_heights: cannot write '%s'\n", argv[1]);
        return 1;
    }
    std::fclose(written);
    return 0;
}
