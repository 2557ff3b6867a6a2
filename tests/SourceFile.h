#pragma once

#include <fstream>
#include <string>

/// Writes `bytes` as they are to a file of the test's output folder and returns its path.
inline std::string writeSource(const std::string& name, const std::string& bytes) {
    const std::string path = QV_TEST_OUTPUT + name;
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}
