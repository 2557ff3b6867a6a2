#include "Maps.h"

#include "Failure.h"

#include "pixels/ImageFiles.h"

#include <cstddef>
#include <memory>
#include <vector>

using namespace qvShadingDag;

namespace {

struct ReleasePixels {
    void operator()(unsigned char* pixels) const { ::operator delete(pixels); }
};

Texture readPicture(const std::string& file) {
    unsigned short width = 0;
    unsigned short height = 0;
    const std::unique_ptr<unsigned char, ReleasePixels> pixels(
        readImageFromFile(file.c_str(), width, height, false));
    if (!pixels) {
        throw failure(kBadSource, "cannot read picture '" + file + "'");
    }
    // The file's top row comes first, the map's lowest one.
    const std::size_t rowSize = static_cast<std::size_t>(width) * 4;
    std::vector<float> texels;
    texels.reserve(rowSize * height);
    for (std::size_t row = height; row-- > 0;) {
        for (std::size_t i = row * rowSize; i < (row + 1) * rowSize; ++i) {
            texels.push_back(static_cast<float>(pixels.get()[i]) / 255);
        }
    }
    return pictureTexture(width, height, texels.data());
}

} // namespace

Texture readMap(const std::string& text) {
    return text == "checker" ? checkerTexture()
           : text == "white" ? whiteTexture()
                             : readPicture(text.substr(1));
}
