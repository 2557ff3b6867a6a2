#pragma once

#include <string>
#include <utility>

/// A path as the system takes it; empty for a null pointer.
///
/// Elsewhere than on Windows a path is a string of bytes, nearly always UTF-8, and is taken as it
/// is. On Windows paths are UTF-16; one of `char` is converted from the process's code page, which is
/// UTF-8 when the program's manifest says so.
class FilePath {
public:
#if defined(_WIN32)
    using Char = wchar_t;
    FilePath(const wchar_t* path) : fPath(path ? path : L"") {} // NOLINT(google-explicit-constructor)
#else
    using Char = char;
#endif
    FilePath() = default;
    FilePath(const char* path);                                        // NOLINT(google-explicit-constructor)
    FilePath(std::basic_string<Char> path) : fPath(std::move(path)) {} // NOLINT(google-explicit-constructor)

    bool isEmpty() const {
        return fPath.empty();
    }
    const Char* c_str() const {
        return fPath.c_str();
    }
    const std::basic_string<Char>& text() const {
        return fPath;
    }

private:
    std::basic_string<Char> fPath;
};
