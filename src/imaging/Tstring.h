#pragma once

#include <string>

/// A short name as the image files take it. A null pointer is the empty string.
class Tstring {
public:
    Tstring() = default;
    Tstring(const char* text) : fText(text ? text : "") {} // NOLINT(google-explicit-constructor)

    /// Whether both are equal when the case of the letters A to Z, whatever the locale, is ignored.
    bool equalsIgnoringCase(const char* other) const {
        const char* own = fText.c_str();
        while (*own && lower(*own) == lower(*other)) {
            ++own;
            ++other;
        }
        return lower(*own) == lower(*other);
    }

private:
    static char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

    std::string fText;
};
