#include "Inputs.h"

#include "Failure.h"

#include "evaluation/GraphEvaluator.h"

#include <cstdio>

using namespace qvShadingDag;

ShadingValue usualValue(DataType type) {
    const bool isMatrix = type >= kMatrix2 && type <= kMatrix4;
    const bool isWhole = type == kBool || (type >= kInt && type <= kInt4);
    const int side = type - kMatrix2 + 2;
    ShadingValue value(type, {});
    for (int i = 0; i < value.width(); ++i) {
        const bool onDiagonal = isMatrix && i % (side + 1) == 0;
        value.c[static_cast<std::size_t>(i)] = isMatrix ? (onDiagonal ? 1 : 0) : isWhole ? 1 : 0.5;
    }
    return value;
}

void checkMap(const std::string& name, const std::vector<TextureKind>& kinds, const std::string& text) {
    for (const TextureKind kind : kinds) {
        if (text.front() == '@' && (kind == kTexture3D || kind == kTextureCUBE)) {
            throw failure(kBadCommandLine,
                          "input '" + name + "' is read as a " + (kind == kTexture3D ? "3D" : "CUBE") +
                              " map: it takes checker or white, a picture serves 1D, 2D and RECT lookups");
        }
    }
}

void checkMaps(const CommandLine& line, const ShadingNodeSpec& spec) {
    const GraphEvaluator evaluator(spec);
    for (const GraphEvaluator::Input& input : evaluator.inputs()) {
        for (const auto& [name, text] : line.values) {
            if (name == input.name) {
                checkMap(name, input.textureKinds, text);
            }
        }
    }
}

void tellMissing(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        std::fputs(("qvshade: input '" + name + "' was not given\n").c_str(), stderr);
    }
}
