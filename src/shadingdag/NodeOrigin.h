#pragma once

#include <memory>
#include <string>

namespace qvShadingDag {

/// The function in whose body a node was written.
struct BodyOrigin {
    std::string file;
    std::string function;
};

/// Where a node comes from, but for its line and column; shared by all nodes that have it in common,
/// in whatever functions they stand.
struct NodeOrigin {
    std::shared_ptr<const BodyOrigin> body;
    std::string variable; // the first one bound to the node's value; empty without one
};

} // namespace qvShadingDag
