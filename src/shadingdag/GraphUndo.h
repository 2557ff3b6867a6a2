#pragma once

#include "shadingdag/ShadingNodeSpec.h"

#include <cstddef>

namespace qvShadingDag {

/// Takes back everything that was added to a function since it was made, unless the change is kept:
/// for changes of several steps, any of which may throw. Nothing may be destroyed meanwhile.
class GraphUndo {
public:
    explicit GraphUndo(ShadingNodeSpec& function);
    GraphUndo(const GraphUndo&) = delete;
    GraphUndo& operator=(const GraphUndo&) = delete;
    ~GraphUndo();

    /// What was added stays.
    void keep() { fKept = true; }

private:
    ShadingNodeSpec& fFunction;
    std::size_t fLinks;
    std::size_t fNodes;
    std::size_t fConstants;
    std::size_t fInputs;
    std::size_t fArguments;
    unsigned int fNextNodeNumber;
    unsigned int fNextLinkNumber;
    bool fKept = false;
};

} // namespace qvShadingDag
