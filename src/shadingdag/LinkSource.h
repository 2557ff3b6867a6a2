#pragma once

#include "shadingdag/ShadingNodeSpec.h"

#include <string_view>

namespace qvShadingDag {

/// What a new link reads: the value as its source names it.
struct LinkSource {
    ShadingNode* node;
    std::string_view name;
    int output; // as in ShadingLink::sourceOutput
    DataType dataType;
    CompFreqRange range;

    explicit LinkSource(const ShadingAttribute& value)
        : node(value.nodePtr()), name(value.name()),
          output(node->isCall() ? node->specPtr()->getOffsetOfOutput(value.name()) : -1),
          dataType(value.dataType()), range(value.compFreqRange()) {}

    /// The value of `link`, but from the node `source`.
    LinkSource(const ShadingLink& link, ShadingNode* source)
        : node(source), name(link.sourceAttrName()), output(link.sourceOutput()), dataType(link.dataType()),
          range(link.compFreqRange()) {}
};

} // namespace qvShadingDag
