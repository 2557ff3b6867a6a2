#include "conversion/ProofScene.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

namespace programTesting {

namespace {

bool isBetween(DataType type, DataType first, DataType last) {
    return type >= first && type <= last;
}
bool isFlat(DataType type) {
    return type == kBool || isBetween(type, kInt, kInt4);
}
bool isMatrix(DataType type) {
    return isBetween(type, kMatrix2, kMatrix4);
}
int sideOf(DataType type) {
    return isMatrix(type) ? type - kMatrix2 + 2 : 1;
}

// The corners of the triangle on the picture and their distances.
constexpr double kCorners[3][2] = {{-1, -1}, {3, -1}, {-1, 3}};
constexpr double kDistances[3] = {1, 3, 2};

// With `small` few different numbers, many of which are equal.
double randomNumber(std::mt19937& random, DataType type, bool small) {
    if (small) {
        const int third = static_cast<int>(random() % 3) - 1;
        return type == kBool || isBetween(type, kClampu, kClampu4) ? std::abs(third) : third;
    }
    const auto unit = [&] { return static_cast<double>(random() >> 8) / (1 << 24); };
    const unsigned kind = random() % 8;
    if (type == kBool) {
        return kind % 2;
    }
    if (isFlat(type)) {
        return kind == 0 && !ProofScene::fsOnlySmallInts ? static_cast<std::int32_t>(random())
                                                         : static_cast<int>(random() % 21) - 10;
    }
    if (isBetween(type, kClampu, kClampu4)) {
        return static_cast<float>(kind == 0 ? 3 * unit() - 1 : unit()); // some to be clamped
    }
    const double value = kind == 0   ? static_cast<int>(random() % 7) - 3
                         : kind <= 2 ? 8 * unit() - 4
                         : kind <= 5 ? unit()
                                     : 2 * unit() - 1;
    return static_cast<float>(value);
}

// Where the lookups of a name that holds "tex1D" and so on read.
struct KindName {
    const char* name;
    GlTexture::Kind kind;
};
constexpr KindName kKinds[] = {{"1D", GlTexture::k1D},
                               {"2D", GlTexture::k2D},
                               {"3D", GlTexture::k3D},
                               {"CUBE", GlTexture::kCube},
                               {"RECT", GlTexture::kRect}};

constexpr int kTexels = 4; // a side

// Smooth enough to be filtered, and another in each component and map; some texels leave the unit range.
double texelAt(int map, int x, int y, int z, int component) {
    return static_cast<float>(0.5 + 0.7 * std::sin(1.7 * x + 2.3 * y + 1.1 * z + 0.9 * component + map));
}

} // namespace

GlTexture::Kind glKind(TextureKind kind) {
    constexpr GlTexture::Kind kKindOf[] = {GlTexture::k2D, GlTexture::k1D,   GlTexture::k2D,
                                           GlTexture::k3D, GlTexture::kCube, GlTexture::kRect};
    return kKindOf[kind];
}

int numberCount(DataType type) {
    if (isMatrix(type)) {
        return sideOf(type) * sideOf(type);
    }
    for (const DataType first : {kFloat, kClampu, kInt}) {
        if (isBetween(type, first, static_cast<DataType>(first + 3))) {
            return type - first + 1;
        }
    }
    return type == kBool ? 1 : 0;
}

ProofScene::ProofScene(const ShadingNodeSpec& function, GlDraw::Shape sceneShape, unsigned seed,
                       const std::map<std::string, unsigned int>& levels)
    : shape(sceneShape), vertices(sceneShape == GlDraw::kPoints ? kWidth * kHeight : 3) {
    std::mt19937 random(seed);
    ShadingNodeSpec::AttributeIterator first, last;
    for (function.inputs(first, last); first != last; ++first) {
        Input input;
        input.name = first->name();
        input.type = first->dataType();
        input.components = numberCount(input.type);
        const auto level = levels.find(input.name);
        input.perVertex = level != levels.end() ? level->second == kVertexFreq
                                                : first->compFreqRange().highest() > kUniformFreq &&
                                                      input.components > 0 && !isMatrix(input.type);
        input.constant = first->compFreqRange() == CompFreqRange(kConstantFreq, kConstantFreq);
        for (int i = 0; i < input.components * (input.perVertex ? vertices : 1); ++i) {
            // A vector of equal numbers is often equal to another.
            const bool small = seed % 4 == 3;
            double value = small && i % input.components != 0 && !isMatrix(input.type)
                               ? input.values.back()
                               : randomNumber(random, input.type, small);
            if (isMatrix(input.type)) { // near the identity, so that inverses are not huge
                value = static_cast<float>(0.25 * value + (i % (sideOf(input.type) + 1) == 0));
            }
            input.values.push_back(value);
        }
        inputs.push_back(input);
    }
}

double ProofScene::valueAt(const Input& input, int component, int pixel) const {
    const auto given = [&](int vertex) {
        const double value = input.values[std::size_t(vertex) * input.components + component];
        return isBetween(input.type, kClampu, kClampu4) ? std::clamp(value, 0.0, 1.0) : value;
    };
    if (!input.perVertex) {
        return given(0);
    }
    if (shape == GlDraw::kPoints) {
        return given(pixel);
    }
    if (isFlat(input.type)) {
        return given(2);
    }
    const double b = (pixel % kWidth + 0.5) / kWidth / 2;
    const double c = (pixel / kWidth + 0.5) / kHeight / 2;
    const double weights[] = {(1 - b - c) / kDistances[0], b / kDistances[1], c / kDistances[2]};
    double sum = 0;
    double total = 0;
    for (int corner = 0; corner < 3; ++corner) {
        sum += weights[corner] * given(corner);
        total += weights[corner];
    }
    return sum / total;
}

ProofScene ProofScene::atCorners() const {
    ProofScene result = *this;
    result.shape = GlDraw::kPoints;
    result.vertices = kWidth * kHeight;
    for (Input& input : result.inputs) {
        const std::size_t given = input.values.size();
        for (std::size_t i = given; input.perVertex && i < std::size_t(kWidth) * kHeight * input.components;
             ++i) {
            input.values.push_back(input.values[i % given]);
        }
    }
    return result;
}

std::vector<double> ProofScene::positions() const {
    std::vector<double> result;
    const bool points = shape == GlDraw::kPoints;
    for (int vertex = 0; vertex < vertices; ++vertex) {
        const double w = points ? 1 : kDistances[vertex];
        const double x = points ? (vertex % kWidth + 0.5) / kWidth * 2 - 1 : kCorners[vertex][0];
        const double y = points ? (vertex / kWidth + 0.5) / kHeight * 2 - 1 : kCorners[vertex][1];
        result.insert(result.end(), {x * w, y * w, 0, w});
    }
    return result;
}

GlDraw ProofScene::draw(const ProgramInterface& described,
                        const std::map<std::string, std::vector<double>>& hoisted, bool byPlace) const {
    GlDraw draw;
    draw.shape = shape;
    draw.vertices = vertices;
    draw.width = kWidth;
    draw.height = kHeight;
    const auto find = [&](const std::string& name) -> const Input* {
        const auto found = std::find_if(inputs.begin(), inputs.end(),
                                        [&](const Input& input) { return input.name == name; });
        return found == inputs.end() ? nullptr : &*found;
    };
    for (const ProgramVariable& attribute : described.attributes) {
        const std::string name = byPlace ? "attribute" + std::to_string(attribute.location) : attribute.name;
        const Input* input = find(attribute.input);
        GlNumbers numbers{name, numberCount(attribute.type), {}, isFlat(attribute.type), 1};
        if (input != nullptr) {
            numbers.values = input->values;
        } else { // the implied position
            numbers.values = positions();
        }
        draw.attributes.push_back(numbers);
    }
    GlBlock block{"block" + std::to_string(described.blockBinding), {}};
    block.bytes.resize(static_cast<std::size_t>(std::max(described.blockSize, 0)));
    const auto addUniform = [&](const ProgramVariable& uniform, const std::vector<double>& values) {
        const int side = sideOf(uniform.type);
        const int count = numberCount(uniform.type);
        draw.uniforms.push_back({uniform.name, count, values, isFlat(uniform.type), side});
        for (int i = 0; uniform.offset >= 0 && i < count; ++i) {
            const std::size_t at = uniform.offset + (side == 1 ? 4 * i : 16 * (i / side) + 4 * (i % side));
            const auto number = static_cast<float>(values[i]);
            const auto whole = static_cast<std::int32_t>(isFlat(uniform.type) ? values[i] : 0);
            if (at + 4 <= block.bytes.size()) {
                std::memcpy(&block.bytes[at],
                            isFlat(uniform.type) ? static_cast<const void*>(&whole) : &number, 4);
            }
        }
    };
    for (const ProgramVariable& uniform : described.uniforms) {
        if (const Input* input = find(uniform.input)) {
            std::vector<double> values = input->values;
            if (isBetween(input->type, kClampu, kClampu4)) { // the host clamps
                for (double& value : values) {
                    value = std::clamp(value, 0.0, 1.0);
                }
            }
            addUniform(uniform, values);
        } else { // the implied matrix
            addUniform(uniform, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
        }
    }
    for (const ProgramVariable& value : described.hoisted) {
        if (const auto found = hoisted.find(value.name); found != hoisted.end()) {
            addUniform(value, found->second);
        }
    }
    draw.blocks.push_back(block);
    for (const ProgramVariable& sampler : described.samplers) {
        const auto* kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                        [&](const KindName& row) { return sampler.kind == row.name; });
        const Input* input = find(sampler.input);
        if (kind == std::end(kKinds) || input == nullptr) {
            continue;
        }
        // Where a target has no maps of one dimension or in texels, a flat map with that content
        // takes their place.
        const bool flat =
            described.target != "glsl330" &&
            (kind->kind == GlTexture::kRect || (kind->kind == GlTexture::k1D && described.target == "es300"));
        GlTexture map = texture(kind->kind, static_cast<int>(input - inputs.data()));
        map.repeats = kind->kind != GlTexture::kRect;
        map.kind = flat ? GlTexture::k2D : map.kind;
        map.sampler = byPlace ? "sampler" + std::to_string(sampler.binding) : sampler.name;
        draw.textures.push_back(map);
        const std::string name = map.sampler;
        for (int i = 0; byPlace && i < 8; ++i) { // where its size alone is read
            map.sampler = name + "size" + std::to_string(i);
            draw.textures.push_back(map);
        }
    }
    return draw;
}

GlTexture ProofScene::texture(GlTexture::Kind kind, int map) {
    GlTexture result;
    result.kind = kind;
    // The faces of a cube have one colour each.
    const int side = kind == GlTexture::kCube ? 1 : kTexels;
    result.width = side;
    result.height = kind == GlTexture::k1D ? 1 : side;
    result.depth = kind == GlTexture::k3D ? side : kind == GlTexture::kCube ? 6 : 1;
    for (int z = 0; z < result.depth; ++z) {
        for (int y = 0; y < result.height; ++y) {
            for (int x = 0; x < result.width; ++x) {
                for (int c = 0; c < 4; ++c) {
                    result.texels.push_back(static_cast<float>(texelAt(map, x, y, z, c)));
                }
            }
        }
    }
    return result;
}

void ProofScene::lookUp(GlTexture::Kind kind, int map, const double coordinates[3], double (&texel)[4]) {
    if (kind == GlTexture::kCube) {
        int axis = 0;
        for (int i = 1; i < 3; ++i) {
            axis = std::fabs(coordinates[i]) > std::fabs(coordinates[axis]) ? i : axis;
        }
        for (int c = 0; c < 4; ++c) {
            texel[c] = texelAt(map, 0, 0, 2 * axis + (coordinates[axis] < 0), c);
        }
        return;
    }
    const int dimensions = kind == GlTexture::k1D ? 1 : kind == GlTexture::k3D ? 3 : 2;
    double base[3] = {};
    double share[3] = {};
    for (int i = 0; i < dimensions; ++i) {
        double at = coordinates[i] * (kind == GlTexture::kRect ? 1 : kTexels) - 0.5;
        if (kind == GlTexture::kRect) { // no repetition
            at = std::clamp(at, 0.0, kTexels - 1.0);
        }
        base[i] = std::floor(at);
        share[i] = at - base[i];
    }
    for (int c = 0; c < 4; ++c) {
        texel[c] = 0;
    }
    for (int corner = 0; corner < (1 << dimensions); ++corner) {
        int at[3] = {};
        double weight = 1;
        for (int i = 0; i < dimensions; ++i) {
            const bool upper = (corner >> i & 1) != 0;
            const double place = std::isfinite(base[i]) ? base[i] + upper : 0;
            at[i] = static_cast<int>(place - std::floor(place / kTexels) * kTexels) % kTexels;
            weight *= upper ? share[i] : 1 - share[i];
        }
        for (int c = 0; c < 4; ++c) {
            texel[c] += weight * texelAt(map, at[0], at[1], at[2], c);
        }
    }
}

} // namespace programTesting
