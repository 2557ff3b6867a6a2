#pragma once

#include <string>
#include <vector>

/// What stands in a table, as text and as JSON.
struct Cell {
    std::string text;
    std::string json;

    Cell(const char* words);
    Cell(const std::string& words);
    Cell(int number);
    /// A number that is shown with words behind it, or as words alone.
    Cell(std::string words, int number);
    /// Numbers with blanks between them; in JSON an array.
    Cell(const std::vector<int>& numbers);
    /// Nothing that is known, shown as `words`; in JSON null.
    static Cell none(const std::string& words);
};

/// The rows of a table; the first row is the heading.
using Table = std::vector<std::vector<Cell>>;

/// Standard streams write the bytes that they are given, on every platform.
void useBinaryStreams();

/// Whether what goes to standard error may be coloured: a terminal shows it, and the user has not
/// said no.
bool errorsAreColoured();

/// Writes to standard output; throws a `Failure` when that fails.
void print(const std::string& text);

/// Prints a table: as JSON, or else aligned below a bold heading on a terminal, with tabs between
/// columns elsewhere.
void printTable(const Table& table, bool json);

/// The table as text, aligned (the last column as it comes) or with tabs.
std::string tableText(const Table& table, bool aligned);

/// The table as a JSON array with an object for each row, a line each; the heading has the names.
std::string tableJson(const Table& table);

/// `text` as a JSON string, quotes included; bytes that are no UTF-8 are replaced.
std::string jsonString(const std::string& text);

/// The ending of a file's name in lower case, with its point.
std::string endingOf(const std::string& file);

/// The picture of the DOT text `graph` in a format of Graphviz's ("svg"); `file` is what a `Failure`
/// names.
std::string drawGraph(const std::string& graph, const std::string& format, const std::string& file);

/// Writes the DOT text `graph` to `file` as text (.dot) or picture (.svg, .png, .pdf). Throws a `Failure`
/// when the file's ending is another, when Graphviz is missing and when writing fails; `file` is then
/// as it was.
void writeGraph(const std::string& graph, const std::string& file);
