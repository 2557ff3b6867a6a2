#include "Output.h"

#include "Failure.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#else
#include <csignal>
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

/// The file's ending in lower case, with its point.
std::string endingOf(const std::string& file) {
    std::string ending = std::filesystem::path(file).extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ending;
}

bool programExists(const std::string& name) {
#if defined(_WIN32)
    constexpr char kSeparator = ';';
    const std::string file = name + ".exe";
#else
    constexpr char kSeparator = ':';
    const std::string& file = name;
#endif
    const char* path = std::getenv("PATH");
    std::istringstream folders(path == nullptr ? "" : path);
    for (std::string folder; std::getline(folders, folder, kSeparator);) {
        std::error_code ignored;
        if (std::filesystem::is_regular_file(std::filesystem::path(folder) / file, ignored)) {
            return true;
        }
    }
    return false;
}

/// `text` as one word of the shell's.
std::string quoted(const std::string& text) {
#if defined(_WIN32)
    return "\"" + text + "\""; // no file name has a quote there
#else
    std::string result = "'";
    for (const char c : text) {
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return result + "'";
#endif
}

/// Makes any name of the graph one that Graphviz accepts: "operator+" and "node" are none as they are.
std::string withQuotedName(const std::string& graph) {
    const std::size_t start = graph.find(' ') + 1;
    const std::size_t end = graph.find('\n');
    return graph.substr(0, start) + "\"" + graph.substr(start, end - start) + "\"" + graph.substr(end);
}

void draw(const std::string& graph, const std::string& format, const std::string& file) {
    if (!programExists("dot")) {
        throw failure(kBadOutput, "cannot draw: the program 'dot' of Graphviz is not installed");
    }
    const std::string command = "dot -T" + format + " -o " + quoted(file);
#if defined(_WIN32)
    std::FILE* dot = _popen(command.c_str(), "wb");
#else
    std::signal(SIGPIPE, SIG_IGN); // a program that ends early is a failure, not our end
    std::FILE* dot = popen(command.c_str(), "w");
#endif
    const std::string text = withQuotedName(graph);
    const bool written = dot != nullptr && std::fwrite(text.data(), 1, text.size(), dot) == text.size();
#if defined(_WIN32)
    const bool drawn = dot != nullptr && _pclose(dot) == 0 && written;
#else
    const bool drawn = dot != nullptr && pclose(dot) == 0 && written;
#endif
    if (!drawn) {
        throw failure(kBadOutput, "'dot' could not draw '" + file + "'");
    }
}

} // namespace

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

void printTable(const Table& table) {
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
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    std::string text;
    for (const auto& row : table) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            const bool last = i + 1 == row.size();
            text += row[i];
            if (last) {
                text += "\n";
            } else if (aligned) {
                text.append(widths[i] - row[i].size() + 2, ' ');
            } else {
                text += "\t";
            }
        }
    }
    return text;
}

void writeGraph(const std::string& graph, const std::string& file) {
    const std::string ending = endingOf(file);
    if (ending == ".svg" || ending == ".png") {
        draw(graph, ending.substr(1), file);
    } else if (ending == ".dot") {
        std::ofstream stream(file, std::ios::binary);
        if (!(stream << graph << std::flush)) {
            throw failure(kBadOutput, "cannot write '" + file + "'");
        }
    } else {
        throw failure(kBadOutput, "'" + file + "' ends neither in .dot nor in .svg nor in .png");
    }
}
