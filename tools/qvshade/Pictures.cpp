#include "Pictures.h"

#include "Failure.h"
#include "Functions.h"
#include "Inputs.h"
#include "Output.h"
#include "OutputFiles.h"
#include "Scene.h"

#include "core/Exception.h"
#include "evaluation/GraphEvaluator.h"
#include "pixels/ImageFiles.h"
#include "shadingdag/ShadingLink.h"
#include "shadingdag/ShadingNode.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <numbers>
#include <random>

using namespace qvShadingDag;

namespace {

constexpr std::size_t kSide = 96; // pixels of a picture; even, for squares of two by two
constexpr int kShownSide = 64;    // points

/// A sphere of radius 1 as it is seen from far away, pixel by pixel, in squares of two by two from
/// below. Points beyond the rim have the values of the rim and are not shown.
struct SpherePixels {
    SpherePixels() {
        for (std::size_t y = 0; y < kSide; y += 2) {
            for (std::size_t x = 0; x < kSide; x += 2) {
                for (std::size_t p = 0; p < 4; ++p) {
                    add(x + p % 2, y + p / 2);
                }
            }
        }
    }

    std::vector<std::span<const double>> attribute(const std::string& name, DataType type) const {
        const auto found = columns.find(name);
        const auto width = static_cast<std::size_t>(componentCount(type));
        if (found == columns.end() || type < kFloat2 || type > kFloat4) {
            return {};
        }
        std::vector<std::span<const double>> result(found->second.begin(), found->second.end());
        if (name == "position" && width == 4) {
            result.emplace_back(ones);
        }
        return result.size() == width ? result : std::vector<std::span<const double>>();
    }

    std::size_t count() const { return pixels.size(); }

    std::vector<std::size_t> pixels; ///< by point, top row first
    std::vector<bool> shown;         ///< by point

private:
    void add(std::size_t column, std::size_t row) {
        const double right = (static_cast<double>(column) + 0.5) / kSide * 2.04 - 1.02;
        const double up = (static_cast<double>(row) + 0.5) / kSide * 2.04 - 1.02;
        const double radius = std::hypot(right, up);
        const double scale = radius > 1 ? 1 / radius : 1;
        const double x = right * scale;
        const double y = up * scale;
        const double z = std::sqrt(std::max(0.0, 1 - x * x - y * y));
        const double ring = std::hypot(x, z);
        const double eye = std::hypot(x, y, 3.5 - z);
        pixels.push_back((kSide - 1 - row) * kSide + column);
        shown.push_back(radius <= 1);
        append("position", {x, y, z});
        append("normal", {x, y, z});
        append("tangent", {ring > 0 ? z / ring : 1, 0, ring > 0 ? -x / ring : 0});
        append("uv",
               {std::atan2(x, z) / (2 * std::numbers::pi) + 0.5, std::asin(y) / std::numbers::pi + 0.5});
        append("toLight", {1.0 / 3, 2.0 / 3, 2.0 / 3});
        append("toEye", {-x / eye, -y / eye, (3.5 - z) / eye});
        ones.push_back(1);
    }

    void append(const std::string& name, std::initializer_list<double> values) {
        std::vector<std::vector<double>>& target = columns[name];
        target.resize(values.size());
        auto column = target.begin();
        for (const double value : values) {
            (column++)->push_back(value);
        }
    }

    std::map<std::string, std::vector<std::vector<double>>> columns;
    std::vector<double> ones;
};

/// The values of one output of a node at all points.
struct NodeValue {
    DataType type = kInvalidDataType;
    std::vector<std::vector<double>> columns;
};

/// A folder of its own that goes with all that is in it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::random_device random;
        do {
            fPath = std::filesystem::temp_directory_path() / ("qvshade-" + std::to_string(random()));
        } while (!std::filesystem::create_directory(fPath));
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(fPath, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string file(const std::string& name) const { return (fPath / name).string(); }

private:
    std::filesystem::path fPath;
};

std::string shortNumber(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3g", value);
    return std::isnan(value) ? "nan" : text;
}

bool isMatrix(DataType type) {
    return type >= kMatrix2 && type <= kMatrix4;
}

/// The least and the greatest finite component at the points that are shown.
struct Range {
    double low = 0;
    double high = 0;
    bool hasNumbers = false;
    bool hasOthers = false; ///< not-a-number or infinite
};

Range rangeOf(const NodeValue& value, const SpherePixels& sphere) {
    Range range;
    for (const auto& column : value.columns) {
        for (std::size_t i = 0; i < column.size(); ++i) {
            if (!sphere.shown[i]) {
                continue;
            }
            if (!std::isfinite(column[i])) {
                range.hasOthers = true;
                continue;
            }
            range.low = range.hasNumbers ? std::min(range.low, column[i]) : column[i];
            range.high = range.hasNumbers ? std::max(range.high, column[i]) : column[i];
            range.hasNumbers = true;
        }
    }
    return range;
}

/// Colours as they are, clamped; vectors with components below 0 as half of them and a half, brought to
/// 0..1. A number is grey, its range brought to 0..1 where it leaves that. What is no number is magenta.
std::vector<unsigned char> pictureOf(const NodeValue& value, const Range& range, const SpherePixels& sphere) {
    std::vector<unsigned char> bytes(kSide * kSide * 4);
    const std::size_t width = value.columns.size();
    const bool single = width == 1;
    const bool stretched = single && range.high > range.low && (range.low < 0 || range.high > 1);
    const bool halved = !single && range.low < 0;
    const double extent = std::max({-range.low, range.high, 1.0});
    const auto shade = [&](double number) {
        const double unit = stretched ? (number - range.low) / (range.high - range.low)
                            : halved  ? number / extent / 2 + 0.5
                                      : number;
        return static_cast<unsigned char>(std::lround(255 * std::clamp(unit, 0.0, 1.0)));
    };
    for (std::size_t i = 0; i < sphere.count(); ++i) {
        if (!sphere.shown[i]) {
            continue;
        }
        unsigned char* pixel = &bytes[4 * sphere.pixels[i]];
        pixel[3] = 255;
        for (std::size_t c = 0; c < 3; ++c) {
            const double number = single ? value.columns[0][i] : c < width ? value.columns[c][i] : 0;
            if (!std::isfinite(number)) {
                pixel[0] = pixel[2] = 255;
                pixel[1] = 0;
                break;
            }
            pixel[c] = shade(number);
        }
    }
    return bytes;
}

std::string textOf(const NodeValue& value, const Range& range) {
    std::string text;
    if (isMatrix(value.type)) {
        const std::size_t side = value.type == kMatrix2 ? 2 : value.type == kMatrix3 ? 3 : 4;
        for (std::size_t row = 0; row < side; ++row) {
            for (std::size_t column = 0; column < side; ++column) {
                text += (column > 0 ? " " : "") + shortNumber(value.columns[row * side + column][0]);
            }
            text += row + 1 < side ? "\n" : "";
        }
        return text;
    }
    const bool single = value.columns.size() == 1;
    if (range.hasNumbers && (single || range.low < 0 || range.high > 1)) {
        const std::string low = shortNumber(range.low);
        const std::string high = shortNumber(range.high);
        text = low == high ? low : low + " to " + high;
    }
    if (range.hasOthers) {
        text += text.empty() ? "no number" : ", and no number";
    }
    return text;
}

std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        result += c == '&'    ? "&amp;"
                  : c == '<'  ? "&lt;"
                  : c == '>'  ? "&gt;"
                  : c == '"'  ? "&quot;"
                  : c == '\n' ? "<BR/>"
                              : std::string(1, c);
    }
    return result;
}

std::string base64(const std::string& bytes) {
    constexpr const char* kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        unsigned int group = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            group = group << 8 | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0U);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            text += i + k <= bytes.size() ? kDigits[group >> (18 - 6 * k) & 63] : '=';
        }
    }
    return text;
}

std::string readBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The graph of a function, and the values that its nodes have on the sphere: one evaluation gives
/// them all, of a copy whose every value is an output.
class PictureGraph {
public:
    PictureGraph(const CommandLine& line, const ShadingNodeSpec& spec) : fCopy(spec.clone()) {
        addOutputs();
        GraphEvaluator evaluator(*fCopy);
        const Scene scene("sphere");
        fMissing = setInputs(
            line, spec, evaluator, evaluator.inputs(),
            [](const GraphEvaluator::Input& input) { return input.isRead; },
            [&](const GraphEvaluator::Input& input) {
                const auto columns = fSphere.attribute(input.name, input.type);
                const ShadingValue value = scene.value(input.name, input.type);
                if (!columns.empty()) {
                    evaluator.set(input.name, columns);
                } else if (value.type != kInvalidDataType) {
                    evaluator.set(input.name, value);
                }
                return !columns.empty() || value.type != kInvalidDataType;
            });
        evaluator.evaluate(fSphere.count());
        for (std::size_t i = 0; i < fOutputs.size(); ++i) {
            NodeValue& value = fValues[fOutputs[i]];
            value.type = evaluator.outputs()[i].type;
            for (int c = 0; c < componentCount(value.type); ++c) {
                const auto column = evaluator.outputColumn(i, c);
                value.columns.emplace_back(column.begin(), column.end());
            }
        }
    }

    const std::vector<std::string>& missing() const { return fMissing; }

    /// The graph in the DOT language; its pictures are files in `folder`, whose paths are appended to
    /// `files`.
    std::string text(const TemporaryFolder& folder, std::vector<std::string>& files) const {
        std::string result = "digraph " + fCopy->name() +
                             "\n{\n\tnode [shape=plain, fontname=\"Helvetica\", fontsize=10];\n"
                             "\tedge [fontname=\"Helvetica\", fontsize=9, arrowsize=0.6];\n";
        ShadingNodeSpec::NodeIterator node;
        ShadingNodeSpec::NodeIterator last;
        for (fCopy->internalNodes(node, last); node != last; ++node) {
            if (isShown(**node)) {
                result += nodeText(**node, folder, files);
            }
        }
        ShadingNodeSpec::LinkIterator link;
        ShadingNodeSpec::LinkIterator lastLink;
        for (fCopy->internalLinks(link, lastLink); link != lastLink; ++link) {
            if (isShown(*(*link)->destNode())) {
                const bool named = (*link)->destNode()->isCall();
                result += "\tnode" + std::to_string((*link)->sourceNode()->number()) + " -> node" +
                          std::to_string((*link)->destNode()->number()) +
                          (named ? " [label=\"" + (*link)->destAttrName() + "\"]" : "") + ";\n";
            }
        }
        return result + "}\n";
    }

private:
    /// A node and the position of one of its outputs.
    using Place = std::pair<const ShadingNode*, int>;

    void addOutputs() {
        ShadingNodeSpec::AttributeIterator attribute;
        ShadingNodeSpec::AttributeIterator lastAttribute;
        for (fCopy->outputs(attribute, lastAttribute); attribute != lastAttribute; ++attribute) {
            fOutputs.emplace_back(attribute->nodePtr(), 0);
        }
        ShadingNodeSpec::NodeIterator node;
        ShadingNodeSpec::NodeIterator last;
        std::vector<ShadingNode*> nodes;
        for (fCopy->internalNodes(node, last); node != last; ++node) {
            if ((*node)->nodeType() != kOutputNode) {
                nodes.push_back(*node);
            }
        }
        for (ShadingNode* source : nodes) {
            if (!source->isCall()) {
                addOutput(source, source->nodeType() == kConstantNode ? "output" : source->name(), 0);
                continue;
            }
            int position = 0;
            for (source->specPtr()->outputs(attribute, lastAttribute); attribute != lastAttribute;
                 ++attribute) {
                addOutput(source, attribute->name(), position++);
            }
        }
    }

    void addOutput(ShadingNode* source, const std::string& name, int position) {
        const ShadingAttribute value(source, name);
        if (componentCount(value.dataType()) == 0) {
            return; // a map
        }
        const ShadingAttribute* output =
            fCopy->addOutput(value.dataType(), "value" + std::to_string(fOutputs.size()), CompFreqRange());
        fAdded.push_back(output->nodePtr());
        fCopy->connectOutput(value, *output);
        fOutputs.emplace_back(source, position);
    }

    bool isShown(const ShadingNode& node) const {
        return std::find(fAdded.begin(), fAdded.end(), &node) == fAdded.end();
    }

    std::string nodeText(const ShadingNode& node, const TemporaryFolder& folder,
                         std::vector<std::string>& files) const {
        std::string cells;
        for (int position = 0; fValues.contains({&node, position}); ++position) {
            const NodeValue& value = fValues.at({&node, position});
            const Range range = rangeOf(value, fSphere);
            const std::string text = textOf(value, range);
            if (!isMatrix(value.type)) {
                files.push_back(folder.file(std::to_string(files.size()) + ".png"));
                std::vector<unsigned char> picture = pictureOf(value, range, fSphere);
                writeImageToFile(picture.data(), kSide, kSide, files.back().c_str(), "png");
                const std::string side = std::to_string(kShownSide);
                cells.append("<TR><TD BGCOLOR=\"#b0b0b0\" FIXEDSIZE=\"TRUE\" WIDTH=\"").append(side);
                cells.append("\" HEIGHT=\"").append(side).append("\"><IMG SCALE=\"TRUE\" SRC=\"");
                cells.append(escaped(files.back())).append("\"/></TD></TR>");
            }
            if (!text.empty()) {
                cells += "<TR><TD>" + escaped(text) + "</TD></TR>";
            }
        }
        const bool interface = node.nodeType() == kInputNode || node.nodeType() == kOutputNode;
        std::string name = (interface ? dataTypeName(node.dataType()) + " " : "") + node.name();
        if (node.isCall() && name.starts_with("operator")) {
            name.erase(0, std::string("operator").size());
        }
        const std::string colour = node.nodeType() == kInputNode    ? "#dbe9f6"
                                   : node.nodeType() == kOutputNode ? "#fbe3d0"
                                                                    : "#ffffff";
        return "\tnode" + std::to_string(node.number()) +
               " [label=<<TABLE BORDER=\"1\" CELLBORDER=\"0\" CELLSPACING=\"0\" CELLPADDING=\"2\" "
               "BGCOLOR=\"" +
               colour + "\"><TR><TD><B>" + escaped(name) + "</B></TD></TR>" + cells + "</TABLE>>];\n";
    }

    std::unique_ptr<ShadingNodeSpec> fCopy;
    SpherePixels fSphere;
    std::vector<Place> fOutputs; // by output of the copy
    std::vector<const ShadingNode*> fAdded;
    std::map<Place, NodeValue> fValues;
    std::vector<std::string> fMissing;
};

} // namespace

void drawPictures(const CommandLine& line, const ShadingNodeSpec& spec) {
    const std::string ending = line.outputFile ? endingOf(*line.outputFile) : "";
    if (ending != ".svg" && ending != ".png" && ending != ".html") {
        throw failure(line.outputFile ? kBadOutput : kBadCommandLine,
                      "'--pictures' needs -o OUT with the ending .svg, .png or .html");
    }
    std::string picture;
    std::vector<std::string> missing;
    try {
        const PictureGraph graph(line, spec);
        const TemporaryFolder folder;
        std::vector<std::string> files;
        picture = drawGraph(graph.text(folder, files), ending == ".png" ? "png" : "svg", *line.outputFile);
        for (const std::string& file : files) {
            const std::string name = escaped(file);
            const std::string inside = "data:image/png;base64," + base64(readBytes(file));
            for (std::size_t at = picture.find(name); ending != ".png" && at != std::string::npos;
                 at = picture.find(name, at + inside.size())) {
                picture.replace(at, name.size(), inside);
            }
        }
        missing = graph.missing();
    } catch (const Exception& error) {
        throw failure(kBadFunction,
                      line.files.front() + ": " + signature(spec) + " cannot be shown: " + error.message);
    }
    if (ending == ".html") {
        picture = "<!DOCTYPE html>\n<html lang=\"en\">\n<head><meta charset=\"utf-8\"><title>" +
                  escaped(spec.name()) + "</title></head>\n<body>\n" + picture.substr(picture.find("<svg")) +
                  "</body>\n</html>\n";
    }
    OutputFiles output;
    output.add(*line.outputFile, picture);
    output.commit();
    tellMissing(missing);
}
