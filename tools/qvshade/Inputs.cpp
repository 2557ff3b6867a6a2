#include "Inputs.h"

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

void tellMissing(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        std::fputs(("qvshade: input '" + name + "' was not given\n").c_str(), stderr);
    }
}
