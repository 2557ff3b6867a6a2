#include "Output.h"

#include "Failure.h"
#include "OutputFiles.h"
#include "Process.h"

#include "shadingdag/SourceIndex.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#else
#include <unistd.h>
#endif

namespace {

bool onTerminal() {
#if defined(_WIN32)
    return _isatty(_fileno(stdout)) != 0;
#else
    return isatty(STDOUT_FILENO) != 0;
#endif
}

/// Windows consoles show the escape sequences of bold text as they are.
bool boldHeadings() {
#if defined(_WIN32)
    return false;
#else
    return std::getenv("NO_COLOR") == nullptr;
#endif
}

bool errorsOnTerminal() {
#if defined(_WIN32)
    return false;
#else
    return isatty(STDERR_FILENO) != 0;
#endif
}

/// Makes any name of the graph one that Graphviz accepts: "operator+" and "node" are none as they are.
/// A name in quotes stays.
std::string withQuotedName(const std::string& graph) {
    const std::size_t start = graph.find(' ') + 1;
    const std::size_t end = graph.find('\n');
    if (graph.compare(start, 1, "\"") == 0) {
        return graph;
    }
    return graph.substr(0, start) + "\"" + graph.substr(start, end - start) + "\"" + graph.substr(end);
}

} // namespace

std::string endingOf(const std::string& file) {
    std::string ending = std::filesystem::path(file).extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ending;
}

// The text goes through pipes, so that no file name can be taken for an option and a full disk is
// noticed by us.
std::string drawGraph(const std::string& graph, const std::string& format, const std::string& file) {
    const std::string dot = findProgram("dot");
    if (dot.empty()) {
        throw failure(kBadOutput, "cannot draw: the program 'dot' of Graphviz is not installed");
    }
    std::string picture;
    if (!runProgram(dot, "-T" + format, withQuotedName(graph), picture) || picture.empty()) {
        throw failure(kBadOutput, "'dot' could not draw '" + file + "'");
    }
    return picture;
}

bool errorsAreColoured() {
    return errorsOnTerminal() && boldHeadings();
}

void useBinaryStreams() {
#if defined(_WIN32)
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
#endif
}

void print(const std::string& text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
        throw failure(kBadOutput, "cannot write to standard output");
    }
}

Cell::Cell(const char* words) : Cell(std::string(words)) {}

Cell::Cell(const std::string& words) : text(words), json(jsonString(words)) {}

Cell::Cell(int number) : text(std::to_string(number)), json(text) {}

Cell::Cell(std::string words, int number) : text(std::move(words)), json(std::to_string(number)) {}

Cell::Cell(const std::vector<int>& numbers) {
    for (const int number : numbers) {
        text += (text.empty() ? "" : " ") + std::to_string(number);
        json += (json.empty() ? "" : ", ") + std::to_string(number);
    }
    json = "[" + json + "]";
}

Cell Cell::none(const std::string& words) {
    Cell cell(words);
    cell.json = "null";
    return cell;
}

void printTable(const Table& table, bool json) {
    if (json) {
        print(tableJson(table));
        return;
    }
    const bool aligned = onTerminal();
    std::string text = tableText(table, aligned);
    if (aligned && boldHeadings()) {
        text = "\x1b[1m" + text.insert(text.find('\n'), "\x1b[0m");
    }
    print(text);
}

std::string tableText(const Table& table, bool aligned) {
    std::vector<std::size_t> widths;
    for (const auto& row : table) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].text.size());
        }
    }
    std::string text;
    for (const auto& row : table) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            const bool last = i + 1 == row.size();
            text += row[i].text;
            if (last) {
                text += "\n";
            } else if (aligned) {
                text.append(widths[i] - row[i].text.size() + 2, ' ');
            } else {
                text += "\t";
            }
        }
    }
    return text;
}

std::string tableJson(const Table& table) {
    std::string text;
    for (std::size_t row = 1; row < table.size(); ++row) {
        std::string object;
        for (std::size_t i = 0; i < table[row].size(); ++i) {
            object += (i == 0 ? "" : ", ") + table.front()[i].json + ": " + table[row][i].json;
        }
        text += (row == 1 ? "{" : ",\n{") + object + "}";
    }
    return "[" + text + "]\n";
}

std::string jsonString(const std::string& text) {
    std::string result = "\"";
    for (const char c : qvShadingDag::validUtf8(text)) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            result += std::string("\\") + c;
        } else if (byte < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", byte);
            result += escape;
        } else {
            result += c;
        }
    }
    return result + "\"";
}

void writeGraph(const std::string& graph, const std::string& file) {
    const std::string ending = endingOf(file);
    std::string bytes;
    if (ending == ".svg" || ending == ".png" || ending == ".pdf") {
        bytes = drawGraph(graph, ending.substr(1), file);
    } else if (ending == ".dot") {
        bytes = graph;
    } else {
        throw failure(kBadOutput, "'" + file + "' does not end in .dot, .svg, .png or .pdf");
    }
    OutputFiles files;
    files.add(file, bytes);
    files.commit();
}
