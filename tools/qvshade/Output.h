#pragma once

#include <string>
#include <vector>

/// Rows of texts; the first row is the heading.
using Table = std::vector<std::vector<std::string>>;

/// Standard streams write the bytes that they are given, on every platform.
void useBinaryStreams();

/// Whether what goes to standard error may be coloured: a terminal shows it, and the user has not
/// said no.
bool errorsAreColoured();

/// Writes to standard output; throws a `Failure` when that fails.
void print(const std::string& text);

/// Prints a table: aligned below a bold heading on a terminal, with tabs between columns elsewhere.
void printTable(const Table& table);

/// The table as text, aligned (the last column as it comes) or with tabs.
std::string tableText(const Table& table, bool aligned);

/// The ending of a file's name in lower case, with its point.
std::string endingOf(const std::string& file);

/// The picture of the DOT text `graph` in a format of Graphviz's ("svg"); `file` is what a `Failure`
/// names.
std::string drawGraph(const std::string& graph, const std::string& format, const std::string& file);

/// Writes the DOT text `graph` to `file` as text (.dot) or picture (.svg, .png). Throws a `Failure`
/// when the file's ending is another, when Graphviz is missing and when writing fails; `file` is then
/// as it was.
void writeGraph(const std::string& graph, const std::string& file);
