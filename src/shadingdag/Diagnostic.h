#pragma once

#include <string>
#include <vector>

namespace qvShadingDag {

/// A place that a diagnostic points to beside its own.
struct DiagnosticNote {
    std::string file;        ///< empty where there is no place
    unsigned int line = 0;   ///< counted from 1
    unsigned int column = 0; ///< in code points, counted from 1
    std::string message;
};

/// What is wrong with a source of shading functions, or what a reader of it would not expect.
///
/// Lines and columns are those of an editor: both count from 1, a column is a Unicode code point, a
/// tab is one column, and a byte order mark and the carriage return of a line end are none. A byte
/// that is no valid UTF-8 is one column. All texts are valid UTF-8.
struct Diagnostic {
    /// What the reader refuses is an error; what it accepts with another meaning is a warning.
    enum Severity : int { kError, kWarning };

    Severity severity = kError;
    std::string file; ///< as it was named to the reader
    unsigned int line = 1;
    unsigned int column = 1;
    unsigned int length = 1; ///< in code points, at least 1; ends with the line at the latest
    std::string message;
    std::string name; ///< of a warning: "unused-variable"; an error has none
    std::vector<DiagnosticNote> notes;
    std::string sourceLine; ///< the line itself, without its end; empty where it is very long
};

} // namespace qvShadingDag
