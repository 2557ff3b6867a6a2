#pragma once

#include <string>

namespace programTesting {

/// The texts of a vertex and a fragment program.
struct ShaderPair {
    std::string vertex;
    std::string fragment;
};

} // namespace programTesting
