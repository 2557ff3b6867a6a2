#pragma once

#include <string>

/// A path or a short name as the image files take it: characters of the system's code page. A
/// null pointer is the empty string.
class Tstring {
public:
    Tstring() = default;
    Tstring(const char* text) : fText(text ? text : "") {} // NOLINT(google-explicit-constructor)

    bool isEmpty() const { return fText.empty(); }
    const char* asChar() const { return fText.c_str(); }

    /// Whether both are equal when the case of the letters A to Z, whatever the locale, is ignored.
    bool equalsIgnoringCase(const char* other) const {
        const char* own = asChar();
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
