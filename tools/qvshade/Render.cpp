#include "Render.h"

#include "Failure.h"
#include "Functions.h"
#include "Inputs.h"
#include "Output.h"
#include "OutputFiles.h"
#include "Place.h"
#include "Scene.h"

#include "conversion/ProgramEvaluator.h"
#include "core/Exception.h"
#include "pixels/ImageFiles.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <thread>

using namespace qvShadingDag;

namespace {

constexpr unsigned int kUsualSize = 256;

/// A line that says how far the drawing is, on a terminal, once it has taken a second.
class ProgressLine {
public:
    ~ProgressLine() {
        if (fShown) {
            std::fputs("\r\033[K", stderr);
        }
    }
    void show(double part) {
        const auto now = std::chrono::steady_clock::now();
        if (errorsAreColoured() && now - fStart > std::chrono::seconds(1)) {
            std::fprintf(stderr, "\rrendering: %.0f %%", 100 * part);
            fShown = true;
        }
    }

private:
    std::chrono::steady_clock::time_point fStart = std::chrono::steady_clock::now();
    bool fShown = false;
};

/// Whether a file ends as a PNG does. The image library reports no errors: when nothing can be
/// written, or no more, the file is empty or ends too early.
bool isWholePng(const std::string& path) {
    const std::string end("\0\0\0\0IEND\xae\x42\x60\x82", 12);
    std::ifstream file(path, std::ios::binary);
    std::string read(end.size(), ' ');
    file.seekg(-static_cast<std::streamoff>(end.size()), std::ios::end);
    return file.read(read.data(), static_cast<std::streamsize>(read.size())) && read == end;
}

std::vector<unsigned char> bytesOf(const RasterImage& image) {
    std::vector<unsigned char> bytes;
    bytes.reserve(image.color.size());
    for (const float component : image.color) {
        const double unit = component > 0 ? std::min<double>(component, 1) : 0; // not-a-number is 0
        bytes.push_back(static_cast<unsigned char>(std::lround(255 * unit)));
    }
    return bytes;
}

ProgramEvaluator evaluatorOf(const ShadingNodeSpec& spec, const PlacementOptions& options) {
    try {
        return ProgramEvaluator(spec, options);
    } catch (const Exception& error) {
        throw failure(kBadFunction, error.message);
    }
}

} // namespace

void render(const CommandLine& line, const ShadingNodeSpec& spec) {
    const Scene scene(line.shape.value_or("sphere"));
    const unsigned int size = line.size.value_or(kUsualSize);
    if (!line.outputFile) {
        throw failure(kBadCommandLine, "'render' needs -o OUT.png");
    }
    if (endingOf(*line.outputFile) != ".png") {
        throw failure(kBadOutput, "cannot write '" + *line.outputFile + "': a picture is a .png file");
    }
    const PlacementOptions options = placementOptions(line, spec);
    checkPlacement(spec, options);
    RasterImage image(size, size);
    std::vector<std::string> missing;
    ProgramEvaluator evaluator = evaluatorOf(spec, options);
    try {
        missing = setInputs(
            line, spec, evaluator, evaluator.inputs(), [](const ProgramEvaluator::Input&) { return true; },
            [&](const ProgramEvaluator::Input& input) {
                const auto columns = scene.attribute(input.name, input.type);
                const ShadingValue value = scene.value(input.name, input.type);
                const bool perVertex = input.isPerVertex && !columns.empty();
                if (perVertex) {
                    evaluator.set(input.name, columns);
                } else if (value.type != kInvalidDataType) {
                    evaluator.set(input.name, value);
                }
                return perVertex || value.type != kInvalidDataType;
            });
        evaluator.setThreads(std::thread::hardware_concurrency());
        evaluator.setCullsBackFaces(line.shape.value_or("sphere") != "plane");
        ProgressLine progress;
        evaluator.setProgress([&](double part) { progress.show(part); });
        evaluator.draw(scene.numVertices(), scene.triangles(), image);
    } catch (const Exception& error) {
        throw failure(kBadFunction,
                      line.files.front() + ": " + signature(spec) + " cannot be rendered: " + error.message);
    }

    std::vector<unsigned char> bytes = bytesOf(image);
    OutputFiles files;
    const std::string path = files.reserve(*line.outputFile);
    writeImageToFile(bytes.data(), static_cast<unsigned short>(size), static_cast<unsigned short>(size),
                     path.c_str(), "png");
    if (!isWholePng(path)) {
        throw failure(kBadOutput, "cannot write '" + *line.outputFile + "'");
    }
    files.commit();
    tellMissing(missing);
}
