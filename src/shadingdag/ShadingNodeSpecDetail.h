#pragma once

/// @file
/// Shared by the sources of ShadingNodeSpec; not for hosts.

#include "shadingdag/ShadingNodeSpec.h"

#include <cstddef>
#include <string_view>
#include <unordered_map>

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

/// Finds the first incoming link of each name; builds an index only where walking the links for
/// every input would be quadratic.
class InputFinder {
public:
    explicit InputFinder(const ShadingNode& node) : fLinks(node.incomingLinks()) {
        if (fLinks.size() > kLinksWorthAnIndex) {
            for (ShadingLink* link : fLinks) {
                fIndex.emplace(link->destAttrName(), link); // keeps the first
            }
        }
    }

    ShadingLink* find(const std::string& inputName) const {
        if (!fIndex.empty()) {
            const auto found = fIndex.find(inputName);
            return found == fIndex.end() ? nullptr : found->second;
        }
        for (ShadingLink* link : fLinks) {
            if (link->destAttrName() == inputName) {
                return link;
            }
        }
        return nullptr;
    }

private:
    static constexpr std::size_t kLinksWorthAnIndex = 16;

    const std::list<ShadingLink*>& fLinks;
    std::unordered_map<std::string_view, ShadingLink*> fIndex;
};

} // namespace qvShadingDag
