#pragma once

#include <string>

/// The statuses that the program ends with.
enum Status : int {
    kDone = 0,
    kBadSource = 1,      ///< a source cannot be read or has an error
    kBadCommandLine = 2, ///< the command line is not understood
    kBadFunction = 3,    ///< the function is unknown, ambiguous or cannot be expanded
    kBadOutput = 4,      ///< the output cannot be written or drawn
};

/// What ends the program early; thrown.
struct Failure {
    Status status;
    std::string message; ///< for standard error, whole lines
};

/// A failure that is told in one line with the program's name before it.
inline Failure failure(Status status, const std::string& what) {
    return {status, "qvshade: " + what + "\n"};
}
