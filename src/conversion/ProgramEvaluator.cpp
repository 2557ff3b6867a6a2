#include "conversion/ProgramEvaluator.h"

#include "conversion/PlacedProgram.h"
#include "conversion/ProgramStages.h"
#include "conversion/Rasterizer.h"
#include "core/Exception.h"
#include "evaluation/BlockEvaluator.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <exception>
#include <thread>
#include <utility>

namespace qvShadingDag {

namespace {

using Index = FlatProgram::Index;
using Given = BlockEvaluator::Given;

constexpr std::size_t kMostPixels = 0x7FFFFFFF / (4 * sizeof(float));
constexpr std::size_t kRowsPerStrip = 32; // even: squares of two by two do not cross strips

[[noreturn]] void fail(const std::string& message) {
    throw Exception(kInputError, message);
}

PlacedProgram placeOrThrow(const ShadingNodeSpec& function, const PlacementOptions& options) {
    try {
        PlacedProgram placed = placeFunction(function, options);
        checkInterface(function, placed);
        return placed;
    } catch (const PlacementFailure& failure) {
        fail(failure.message);
    }
}

std::size_t checkedPixels(std::size_t width, std::size_t height) {
    if (width != 0 && height > kMostPixels / width) {
        fail("A picture of " + std::to_string(width) + " x " + std::to_string(height) +
             " pixels is too large");
    }
    return width * height;
}

float unitRange(double depth) {
    return static_cast<float>(depth > 0 ? std::min(depth, 1.0) : 0.0); // not-a-number is 0
}

} // namespace

RasterImage::RasterImage(std::size_t imageWidth, std::size_t imageHeight)
    : width(imageWidth), height(imageHeight), color(checkedPixels(imageWidth, imageHeight) * 4),
      depth(imageWidth * imageHeight, 1) {}

/// What a ProgramEvaluator holds.
///
/// 1. The host's stage gives the hoisted values, the vertex stage clip positions and varyings.
/// 2. The rasterizer cuts the picture into strips of rows and finds for each strip which triangle is
///    seen at each pixel.
/// 3. The fragment stage computes all squares of a strip in one go.
class ProgramEvaluation {
public:
    using Input = ProgramEvaluator::Input;

    ProgramEvaluation(const ShadingNodeSpec& function, const PlacementOptions& options);

    const std::vector<Input>& inputs() const { return fInputs; }
    Given& given(const std::string& name, const char* what);
    const Input& inputOf(const Given& given) const {
        return fInputs[static_cast<std::size_t>(&given - fGiven.data())];
    }
    void draw(std::size_t vertices, std::span<const unsigned int> triangles, RasterImage& image);

    unsigned int threads = 1;
    bool cullsBackFaces = false;
    std::function<void(double)> progress;

private:
    /// A value that the vertex program hands to the fragment program.
    struct Varying {
        Index value;
        bool isFlat;
    };

    void listInputs();
    void addInput(const std::string& name, DataType type, bool isPerVertex);
    std::size_t positionOf(const std::string& name) const;
    void feed(BlockEvaluator& evaluator, const ProgramStage& stage, const std::vector<Given>& hoisted) const;
    void computeHoisted(std::vector<Given>& hoisted) const;
    std::vector<ClipPosition> clipPositions(const BlockEvaluator& vertexStage, std::size_t vertices) const;
    ClipPosition impliedPosition(std::size_t vertex) const;
    double numberAt(const Given& given, int component, std::size_t vertex) const;

    class Drawing;

    PlacedProgram fPlaced;
    std::vector<Varying> fVaryings;
    ProgramStage fHost;
    ProgramStage fVertex;
    ProgramStage fFragment;
    Index fPosition = FlatProgram::kNone; // values of the placed program
    Index fColor = FlatProgram::kNone;
    Index fDepth = FlatProgram::kNone;

    std::vector<Input> fInputs;
    std::vector<Given> fGiven;         // by input
    std::vector<std::size_t> fInputOf; // by input of the function: among fInputs
    std::size_t fImpliedPosition = 0;  // among fInputs
    std::size_t fImpliedMatrix = 0;
};

ProgramEvaluation::ProgramEvaluation(const ShadingNodeSpec& function, const PlacementOptions& options)
    : fPlaced(placeOrThrow(function, options)) {
    for (std::size_t i = 0; i < fPlaced.roles.size(); ++i) {
        Index& role = fPlaced.roles[i] == PlacedProgram::kPosition ? fPosition
                      : fPlaced.roles[i] == PlacedProgram::kColor  ? fColor
                                                                   : fDepth;
        if (fPlaced.roles[i] != PlacedProgram::kDropped) {
            role = fPlaced.flat.outputs[i].value;
        }
    }
    std::vector<Index> hoisted;
    std::vector<Index> fromVertex;
    if (fPosition != FlatProgram::kNone) {
        fromVertex.push_back(fPosition);
    }
    for (const PlacedProgram::Crossing& crossing : fPlaced.crossings) {
        if (crossing.carrier == PlacedProgram::kHoisted) {
            hoisted.push_back(crossing.value);
        } else if (crossing.carrier == PlacedProgram::kVarying ||
                   crossing.carrier == PlacedProgram::kFlatVarying) {
            fVaryings.push_back({crossing.value, crossing.carrier == PlacedProgram::kFlatVarying});
            fromVertex.push_back(crossing.value);
        }
    }
    std::vector<Index> fromFragment;
    for (const Index value : {fColor, fDepth}) {
        if (value != FlatProgram::kNone) {
            fromFragment.push_back(value);
        }
    }
    fHost = extractStage(fPlaced, fPlaced.hostNodes, hoisted);
    fVertex = extractStage(fPlaced, fPlaced.vertexNodes, fromVertex);
    fFragment = extractStage(fPlaced, fPlaced.fragmentNodes, fromFragment);
    listInputs();
}

void ProgramEvaluation::addInput(const std::string& name, DataType type, bool isPerVertex) {
    fInputs.push_back({name, type, isPerVertex});
    fGiven.emplace_back();
}

std::size_t ProgramEvaluation::positionOf(const std::string& name) const {
    const auto found =
        std::find_if(fInputs.begin(), fInputs.end(), [&](const Input& input) { return input.name == name; });
    return static_cast<std::size_t>(found - fInputs.begin());
}

void ProgramEvaluation::listInputs() {
    const bool implied = fPosition == FlatProgram::kNone;
    for (std::size_t i = 0; i < fPlaced.flat.inputs.size(); ++i) {
        const FlatProgram::Input& input = fPlaced.flat.inputs[i];
        const unsigned int level = fPlaced.delivered[i];
        // The clip position may be the only reader of the position.
        const bool isPosition = implied && input.name == "position" && level == kInvalidFreq &&
                                (input.type == kFloat3 || input.type == kFloat4) &&
                                input.declared.highest() >= kVertexFreq;
        const bool isMatrix =
            implied && input.name == "modelViewProjection" && level == kInvalidFreq && input.type == kMatrix4;
        fInputOf.push_back(fInputs.size());
        if (level == kUniformFreq || level == kVertexFreq || isPosition || isMatrix) {
            addInput(input.name, input.type, level == kVertexFreq || isPosition);
        } else if (level == kConstantFreq && input.node != FlatProgram::kNone &&
                   fPlaced.literalOf[fPlaced.flat.nodes[input.node].firstValue] == FlatProgram::kNone) {
            addInput(input.name, input.type, false);
        } else {
            fInputOf.back() = FlatProgram::kNone;
        }
    }
    if (!implied) {
        return;
    }
    const auto find = [&](const std::string& name, bool isPerVertex, const auto& fits, DataType type) {
        const std::size_t found = positionOf(name);
        if (found < fInputs.size() && fInputs[found].isPerVertex == isPerVertex &&
            fits(fInputs[found].type)) {
            return found;
        }
        addInput(name, type, isPerVertex);
        return fInputs.size() - 1;
    };
    fImpliedPosition = find(
        "position", true, [](DataType type) { return type == kFloat3 || type == kFloat4; }, kFloat4);
    fImpliedMatrix = find(
        "modelViewProjection", false, [](DataType type) { return type == kMatrix4; }, kMatrix4);
}

Given& ProgramEvaluation::given(const std::string& name, const char* what) {
    const std::size_t found = positionOf(name);
    if (found == fInputs.size()) {
        std::string message = "The programs read no " + std::string(what) + " called " + name + "; they read";
        const char* separator = " ";
        for (const Input& input : fInputs) {
            message += separator + dataTypeName(input.type) + " " + input.name;
            separator = ", ";
        }
        fail(message);
    }
    return fGiven[found];
}

/// Sets the inputs of a stage, as far as they come from the host: those of the function and the
/// hoisted values.
void ProgramEvaluation::feed(BlockEvaluator& evaluator, const ProgramStage& stage,
                             const std::vector<Given>& hoisted) const {
    for (std::size_t i = 0; i < stage.sources.size(); ++i) {
        const FlatProgram::Node& node = fPlaced.flat.nodes[fPlaced.flat.valueNode[stage.sources[i]]];
        if (node.kind == FlatProgram::kInput) {
            const std::size_t input = fInputOf[node.what];
            evaluator.given[i] = fGiven[input];
        } else {
            const auto found = std::find(fHost.results.begin(), fHost.results.end(), stage.sources[i]);
            if (found != fHost.results.end()) {
                evaluator.given[i] = hoisted[static_cast<std::size_t>(found - fHost.results.begin())];
            }
        }
    }
}

void ProgramEvaluation::computeHoisted(std::vector<Given>& hoisted) const {
    BlockEvaluator evaluator(fHost.program);
    feed(evaluator, fHost, {});
    evaluator.evaluate(1);
    for (const FlatProgram::Output& output : fHost.program.outputs) {
        Given result;
        result.isGiven = true;
        result.value.type = output.type;
        const BlockEvaluator::Columns& columns = evaluator.columnsOf(output.value);
        std::copy(columns.begin(), columns.end(), result.value.c.begin());
        result.value = result.value.delivered();
        hoisted.push_back(std::move(result));
    }
}

double ProgramEvaluation::numberAt(const Given& given, int component, std::size_t vertex) const {
    const auto c = static_cast<std::size_t>(component);
    if (given.columns.empty()) {
        const bool missing = component == 3 && given.value.type == kFloat3;
        return missing ? 1 : static_cast<float>(given.value.c[c]);
    }
    return c < given.columns.size() ? static_cast<float>(given.columns[c][vertex]) : 1;
}

/// The position, as a row, times the matrix.
ClipPosition ProgramEvaluation::impliedPosition(std::size_t vertex) const {
    const ShadingValue matrix = fGiven[fImpliedMatrix].value.delivered();
    double clip[4] = {};
    for (std::size_t row = 0; row < 4; ++row) {
        const double number = numberAt(fGiven[fImpliedPosition], static_cast<int>(row), vertex);
        for (std::size_t column = 0; column < 4; ++column) {
            clip[column] += number * matrix.c[4 * row + column];
        }
    }
    return {clip[0], clip[1], clip[2], clip[3]};
}

std::vector<ClipPosition> ProgramEvaluation::clipPositions(const BlockEvaluator& vertexStage,
                                                           std::size_t vertices) const {
    std::vector<ClipPosition> positions(vertices);
    if (fPosition == FlatProgram::kNone) {
        for (const std::size_t input : {fImpliedPosition, fImpliedMatrix}) {
            if (!fGiven[input].isGiven) {
                fail("Input " + fInputs[input].name + " has no value");
            }
        }
        for (const std::span<const double>& column : fGiven[fImpliedPosition].columns) {
            if (column.size() < vertices) {
                fail("Input position has fewer values than there are vertices");
            }
        }
        for (std::size_t i = 0; i < vertices; ++i) {
            positions[i] = impliedPosition(i);
        }
        return positions;
    }
    const double* columns = vertexStage.columnsOf(fVertex.program.outputs.front().value).data();
    for (std::size_t i = 0; i < vertices; ++i) {
        positions[i] = {columns[i], columns[vertices + i], columns[2 * vertices + i],
                        columns[3 * vertices + i]};
    }
    return positions;
}

/// One call of `draw`: what all threads read, and the strips that are left.
class ProgramEvaluation::Drawing {
public:
    Drawing(const ProgramEvaluation& pair, std::size_t vertices, std::span<const unsigned int> triangles,
            RasterImage& image)
        : fPair(pair), fImage(image), fVertexStage(pair.fVertex.program) {
        pair.computeHoisted(fHoisted);
        pair.feed(fVertexStage, pair.fVertex, fHoisted);
        fOnes.assign(vertices, 1);
        for (std::size_t i = 0; i < fVertexStage.given.size(); ++i) {
            if (pair.fVertex.program.inputs[i].type == kFloat4 && fVertexStage.given[i].columns.size() == 3) {
                fVertexStage.given[i].columns.emplace_back(fOnes);
            }
        }
        fVertexStage.evaluate(vertices);
        fVertices = vertices;
        fRasterizer = Rasterizer(pair.clipPositions(fVertexStage, vertices), triangles, image.width,
                                 image.height, pair.cullsBackFaces, kRowsPerStrip);
        const std::size_t first = pair.fPosition == FlatProgram::kNone ? 0 : 1;
        for (std::size_t i = 0; i < pair.fVaryings.size(); ++i) {
            fVaryingColumns.push_back(
                fVertexStage.columnsOf(pair.fVertex.program.outputs[first + i].value).data());
        }
    }

    void run() {
        const std::size_t strips = fRasterizer.numStrips();
        const std::size_t wanted = std::min<std::size_t>(fPair.threads, strips);
        std::vector<std::thread> helpers;
        helpers.reserve(wanted);
        for (std::size_t i = 1; i < wanted; ++i) {
            try {
                helpers.emplace_back([this] { work(false); });
            } catch (const std::exception&) {
                break; // the others do it alone
            }
        }
        work(true);
        for (std::thread& helper : helpers) {
            helper.join();
        }
        if (fError) {
            std::rethrow_exception(fError);
        }
    }

private:
    void work(bool tellsProgress) {
        try {
            BlockEvaluator evaluator(fPair.fFragment.program);
            fPair.feed(evaluator, fPair.fFragment, fHoisted);
            for (std::size_t strip = fNext++; strip < fRasterizer.numStrips(); strip = fNext++) {
                drawStrip(strip, evaluator);
                ++fDone;
                if (tellsProgress && fPair.progress) {
                    fPair.progress(static_cast<double>(fDone) / static_cast<double>(fRasterizer.numStrips()));
                }
            }
        } catch (...) {
            if (!fFailed.exchange(true)) {
                fError = std::current_exception();
            }
            fNext = fRasterizer.numStrips();
        }
    }

    void drawStrip(std::size_t strip, BlockEvaluator& evaluator) {
        // A depth of the program's own is known only when the fragment is computed.
        const bool ownDepth = fPair.fDepth != FlatProgram::kNone;
        const std::vector<FragmentQuad> quads = fRasterizer.quads(strip, fImage.depth, !ownDepth);
        if (quads.empty()) {
            return;
        }
        const std::size_t points = 4 * quads.size();
        std::vector<double> columns = interpolate(quads);
        for (std::size_t i = 0, column = 0; i < fPair.fVaryings.size(); ++i) {
            const int width = componentCount(fPair.fPlaced.flat.valueTypes[fPair.fVaryings[i].value]);
            std::vector<std::span<const double>> spans;
            for (int c = 0; c < width; ++c, ++column) {
                spans.emplace_back(columns.data() + column * points, points);
            }
            const auto& sources = fPair.fFragment.sources;
            for (std::size_t input = 0; input < sources.size(); ++input) {
                if (sources[input] == fPair.fVaryings[i].value) {
                    evaluator.given[input].isGiven = true;
                    evaluator.given[input].columns = spans;
                }
            }
        }
        evaluator.evaluate(points);
        store(quads, evaluator, ownDepth);
    }

    /// The varyings at the four points of every square, column behind column.
    std::vector<double> interpolate(const std::vector<FragmentQuad>& quads) const {
        const std::size_t points = 4 * quads.size();
        std::size_t width = 0;
        for (const Varying& varying : fPair.fVaryings) {
            width += static_cast<std::size_t>(componentCount(fPair.fPlaced.flat.valueTypes[varying.value]));
        }
        std::vector<double> columns(width * points);
        if (columns.empty()) {
            return columns;
        }
        for (std::size_t q = 0; q < quads.size(); ++q) {
            double weights[4][3];
            const unsigned int* corners = fRasterizer.weights(quads[q], weights);
            double* target = columns.data() + 4 * q;
            for (std::size_t i = 0; i < fPair.fVaryings.size(); ++i) {
                const int components =
                    componentCount(fPair.fPlaced.flat.valueTypes[fPair.fVaryings[i].value]);
                const double* source = fVaryingColumns[i];
                for (int c = 0; c < components; ++c, source += fVertices, target += points) {
                    const double a = source[corners[0]];
                    const double b = source[corners[1]];
                    const double last = source[corners[2]];
                    for (int p = 0; p < 4; ++p) {
                        target[p] = fPair.fVaryings[i].isFlat
                                        ? last
                                        : a * weights[p][0] + b * weights[p][1] + last * weights[p][2];
                    }
                }
            }
        }
        return columns;
    }

    void store(const std::vector<FragmentQuad>& quads, const BlockEvaluator& evaluator, bool ownDepth) {
        const std::size_t points = 4 * quads.size();
        const auto& outputs = fPair.fFragment.program.outputs;
        const bool hasColor = fPair.fColor != FlatProgram::kNone;
        const double* colors = hasColor ? evaluator.columnsOf(outputs.front().value).data() : nullptr;
        const int width = hasColor ? componentCount(outputs.front().type) : 0;
        const double* depths = ownDepth ? evaluator.columnsOf(outputs.back().value).data() : nullptr;
        for (std::size_t q = 0; q < quads.size(); ++q) {
            for (std::size_t p = 0; p < 4; ++p) {
                if ((quads[q].covered >> p & 1U) == 0) {
                    continue;
                }
                const std::size_t point = 4 * q + p;
                const std::size_t pixel = fRasterizer.pixelOf(quads[q], p);
                const float depth = depths ? unitRange(depths[point]) : fRasterizer.depthOf(quads[q], p);
                if (depths && depth >= fImage.depth[pixel]) {
                    continue;
                }
                fImage.depth[pixel] = depth;
                for (int c = 0; hasColor && c < 4; ++c) {
                    fImage.color[4 * pixel + static_cast<std::size_t>(c)] =
                        c < width ? static_cast<float>(colors[static_cast<std::size_t>(c) * points + point])
                                  : static_cast<float>(c == 3);
                }
            }
        }
    }

    const ProgramEvaluation& fPair;
    RasterImage& fImage;
    std::vector<Given> fHoisted;
    std::vector<double> fOnes; // the last component of positions that were given three
    BlockEvaluator fVertexStage;
    std::size_t fVertices = 0;
    Rasterizer fRasterizer;
    std::vector<const double*> fVaryingColumns;
    std::atomic<std::size_t> fNext = 0;
    std::atomic<std::size_t> fDone = 0;
    std::atomic<bool> fFailed = false;
    std::exception_ptr fError;
};

void ProgramEvaluation::draw(std::size_t vertices, std::span<const unsigned int> triangles,
                             RasterImage& image) {
    const std::size_t pixels = checkedPixels(image.width, image.height);
    if (image.color.size() != 4 * pixels || image.depth.size() != pixels) {
        fail("The picture's colours and depths are not those of " + std::to_string(image.width) + " x " +
             std::to_string(image.height) + " pixels");
    }
    if (vertices == 0 || triangles.size() < 3 || pixels == 0) {
        return;
    }
    Drawing(*this, vertices, triangles, image).run();
}

// The interface

ProgramEvaluator::ProgramEvaluator(const ShadingNodeSpec& function, const PlacementOptions& options)
    : fEvaluation(std::make_unique<ProgramEvaluation>(function, options)) {}

ProgramEvaluator::ProgramEvaluator(ProgramEvaluator&& other) noexcept = default;
ProgramEvaluator& ProgramEvaluator::operator=(ProgramEvaluator&& other) noexcept = default;
ProgramEvaluator::~ProgramEvaluator() = default;

const std::vector<ProgramEvaluator::Input>& ProgramEvaluator::inputs() const {
    return fEvaluation->inputs();
}

void ProgramEvaluator::set(const std::string& name, const ShadingValue& value) {
    Given& given = fEvaluation->given(name, "input");
    const Input& input = fEvaluation->inputOf(given);
    const bool position = name == "position" && input.type == kFloat4 && value.type == kFloat3;
    if (value.type != input.type && !position) {
        fail("Input " + name + " is " + dataTypeName(input.type) + ", its value " + dataTypeName(value.type));
    }
    given = Given();
    given.isGiven = true;
    given.value = value;
    if (position) {
        given.value = ShadingValue(value.c[0], value.c[1], value.c[2], 1);
    }
}

void ProgramEvaluator::set(const std::string& name, std::vector<std::span<const double>> columns) {
    Given& given = fEvaluation->given(name, "input");
    const Input& input = fEvaluation->inputOf(given);
    const auto width = static_cast<std::size_t>(componentCount(input.type));
    const bool homogeneous = input.type == kFloat4 && columns.size() == 3;
    if (!input.isPerVertex) {
        fail("Input " + name + " is delivered once per draw: it takes one value");
    }
    if (columns.size() != width && !homogeneous) {
        fail("Input " + name + " has " + std::to_string(width) + " components, its columns are " +
             std::to_string(columns.size()));
    }
    given = Given();
    given.isGiven = true;
    given.columns = std::move(columns);
}

void ProgramEvaluator::set(const std::string& name, Texture texture) {
    Given& given = fEvaluation->given(name, "map");
    if (fEvaluation->inputOf(given).type != kTexObj) {
        fail("Input " + name + " is no map");
    }
    given = Given();
    given.isGiven = true;
    given.texture = std::move(texture);
}

void ProgramEvaluator::setThreads(unsigned int threads) {
    fEvaluation->threads = std::max(threads, 1U);
}

void ProgramEvaluator::setProgress(std::function<void(double)> progress) {
    fEvaluation->progress = std::move(progress);
}

void ProgramEvaluator::setCullsBackFaces(bool culls) {
    fEvaluation->cullsBackFaces = culls;
}

void ProgramEvaluator::draw(std::size_t vertices, std::span<const unsigned int> triangles,
                            RasterImage& image) {
    fEvaluation->draw(vertices, triangles, image);
}

} // namespace qvShadingDag
