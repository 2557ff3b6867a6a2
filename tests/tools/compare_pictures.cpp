// compare_pictures A.png B.png: status 0 when both are the same but for isolated components that differ
// by one, as the same picture drawn on two platforms does.
#include "pixels/ImageFiles.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

struct Picture {
    explicit Picture(const char* path) {
        unsigned char* pixels = readImageFromFile(path, width, height, false);
        if (!pixels) {
            std::fprintf(stderr, "cannot read %s\n", path);
            std::exit(2);
        }
        bytes.assign(pixels, pixels + static_cast<std::size_t>(4) * width * height);
        ::operator delete(pixels);
    }

    unsigned short width = 0;
    unsigned short height = 0;
    std::vector<unsigned char> bytes;
};

} // namespace

int main(int argc, char** argv) {
    constexpr std::size_t kIsolated = 500; // one in so many
    if (argc != 3) {
        return 2;
    }
    const Picture a(argv[1]);
    const Picture b(argv[2]);
    if (a.width != b.width || a.height != b.height) {
        std::printf("%d x %d and %d x %d pixels\n", a.width, a.height, b.width, b.height);
        return 1;
    }
    std::size_t byOne = 0;
    std::size_t byMore = 0;
    for (std::size_t i = 0; i < a.bytes.size(); ++i) {
        const int difference = std::abs(a.bytes[i] - b.bytes[i]);
        byOne += difference == 1;
        byMore += difference > 1;
    }
    std::puts(("of " + std::to_string(a.bytes.size()) + " components " + std::to_string(byOne) +
               " differ by one, " + std::to_string(byMore) + " by more")
                  .c_str());
    return byMore > 0 || byOne * kIsolated > a.bytes.size() ? 1 : 0;
}
