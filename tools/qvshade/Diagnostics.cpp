#include "Diagnostics.h"

#include "Output.h"

#include <algorithm>
#include <cstdio>

using namespace qvShadingDag;

namespace {

constexpr const char* kBold = "\033[1m";
constexpr const char* kRed = "\033[1;31m";
constexpr const char* kMagenta = "\033[1;35m";
constexpr const char* kGreen = "\033[1;32m";
constexpr const char* kPlain = "\033[0m";

std::string painted(const char* colour, const std::string& text, bool coloured) {
    return coloured ? colour + text + kPlain : text;
}

std::string placeText(const std::string& file, unsigned int line, unsigned int column) {
    return file + ":" + std::to_string(line) + ":" + std::to_string(column) + ":";
}

const char* severityName(const Diagnostic& diagnostic) {
    return diagnostic.severity == Diagnostic::kError ? "error" : "warning";
}

bool continuesCodePoint(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80;
}

/// Blanks as wide as the line is up to the column, with its tabs, and the marks behind them.
std::string caretLine(const Diagnostic& diagnostic) {
    std::string result;
    unsigned int column = 1;
    for (std::size_t i = 0; i < diagnostic.sourceLine.size() && column < diagnostic.column; ++i) {
        if (!continuesCodePoint(diagnostic.sourceLine[i])) {
            result += diagnostic.sourceLine[i] == '\t' ? '\t' : ' ';
            ++column;
        }
    }
    result.append(diagnostic.column - column, ' ');
    return result + "^" + std::string(diagnostic.length - 1, '~');
}

std::string counted(std::ptrdiff_t count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string placeJson(const std::string& file, unsigned int line, unsigned int column) {
    return "\"file\": " + jsonString(file) + ", \"line\": " + std::to_string(line) +
           ", \"column\": " + std::to_string(column);
}

/// As compilers print it: place, severity and message, the line, a caret below the place, the notes.
std::string diagnosticText(const Diagnostic& diagnostic, bool coloured) {
    const bool error = diagnostic.severity == Diagnostic::kError;
    std::string text =
        painted(kBold, placeText(diagnostic.file, diagnostic.line, diagnostic.column), coloured) + " " +
        painted(error ? kRed : kMagenta, std::string(severityName(diagnostic)) + ":", coloured) + " " +
        diagnostic.message + (error ? "" : " [" + diagnostic.name + "]") + "\n";
    const bool tooLong = diagnostic.sourceLine.empty() && (diagnostic.column > 1 || diagnostic.length > 1);
    if (!tooLong) {
        text += diagnostic.sourceLine + "\n" + painted(kGreen, caretLine(diagnostic), coloured) + "\n";
    }
    for (const DiagnosticNote& note : diagnostic.notes) {
        text += painted(kBold, placeText(note.file, note.line, note.column), coloured) +
                " note: " + note.message + "\n";
    }
    return text;
}

} // namespace

std::string diagnosticJson(const Diagnostic& diagnostic) {
    std::string notes;
    for (const DiagnosticNote& note : diagnostic.notes) {
        notes += (notes.empty() ? "{" : ", {") + placeJson(note.file, note.line, note.column) +
                 ", \"message\": " + jsonString(note.message) + "}";
    }
    return "{" + placeJson(diagnostic.file, diagnostic.line, diagnostic.column) +
           ", \"length\": " + std::to_string(diagnostic.length) + ", \"severity\": \"" +
           severityName(diagnostic) + "\", \"message\": " + jsonString(diagnostic.message) +
           ", \"name\": " + jsonString(diagnostic.name) + ", \"notes\": [" + notes + "]}\n";
}

std::string diagnosticsText(const std::vector<Diagnostic>& diagnostics) {
    const bool coloured = errorsAreColoured();
    std::string text;
    std::ptrdiff_t errors = 0;
    for (const Diagnostic& diagnostic : diagnostics) {
        text += diagnosticText(diagnostic, coloured);
        errors += diagnostic.severity == Diagnostic::kError ? 1 : 0;
    }
    const auto warnings = static_cast<std::ptrdiff_t>(diagnostics.size()) - errors;
    return text.empty() ? text
                        : text + counted(errors, "error") + " and " + counted(warnings, "warning") + "\n";
}

bool hasError(const std::vector<Diagnostic>& diagnostics) {
    return std::any_of(diagnostics.begin(), diagnostics.end(), [](const Diagnostic& diagnostic) {
        return diagnostic.severity == Diagnostic::kError;
    });
}
