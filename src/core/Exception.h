#pragma once

#include "base/Export.h"

#include <sstream>
#include <string>

/// What an `Exception` is about.
enum ExceptionType : int {
    kInternalError = 0, ///< a consistency check inside the library failed
    kInputError = 1,    ///< what the library was given is wrong
};

/// The only exception that the library throws; by value, caught by value or const reference.
struct QV_EXPORT Exception {
    /// An internal error with the given message.
    Exception(std::string text); // NOLINT(google-explicit-constructor): thrown from plain texts
    /// An error of the given kind.
    Exception(ExceptionType kind = kInternalError, std::string text = "");
    Exception(const Exception& other);
    Exception& operator=(const Exception& other);
    ~Exception();

    ExceptionType type;
    std::string message;
};

/// Throws `Exception(message)` (an internal error) unless `condition` holds; in every build.
QV_EXPORT void verifyAlways(bool condition, const std::string& message);

/// Throws in the same way; the text becomes a string only when the check fails.
inline void verifyAlways(bool condition, const char* message) {
    if (!condition) [[unlikely]] {
        throw Exception(std::string(message));
    }
}

/// Exactly the characters written into `stream` so far: those before its put position.
QV_EXPORT std::string convertToString(const std::ostringstream& stream);
