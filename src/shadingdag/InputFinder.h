#pragma once

#include "core/Exception.h"
#include "shadingdag/ShadingNodeSpec.h"

#include <cstddef>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>

namespace qvShadingDag {

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

/// Throws when an input of a call has no link.
inline void checkInputs(const ShadingNode& call) {
    const InputFinder finder(call);
    ShadingNodeSpec::AttributeIterator input;
    ShadingNodeSpec::AttributeIterator last;
    for (call.specPtr()->inputs(input, last); input != last; ++input) {
        if (!finder.find(input->name())) {
            throw Exception("Input is not connected: " + input->name());
        }
    }
}

} // namespace qvShadingDag
