#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

/// What the user asked for.
struct CommandLine {
    std::string command;                ///< "check", "list", …, "--help" or "--version"
    std::vector<std::string> libraries; ///< read before the files
    std::vector<std::string> files;
    std::optional<std::string> function;   ///< a name or a signature; none where the command can do without
    std::optional<std::string> outputFile; ///< none for standard output
    bool showTypes = false;
    bool showCompFreqs = false;
    bool fast = false;     ///< the plain order instead of the one that distances steer
    bool expanded = false; ///< the order after expansion
    bool json = false;     ///< tables and diagnostics as JSON instead of text

    // Of check.
    bool warningsAreErrors = false;  ///< a warning, too, gives the status of an error
    bool readsStandardInput = false; ///< the only file is a name for what standard input gives
    std::optional<std::string> standardInputName;
    std::vector<std::string> warningsOff; ///< the names of warnings that are not wanted

    // Of those that take values, and of those that place a function.
    using Pair = std::pair<std::string, std::string>;
    std::vector<Pair> values;      ///< NAME=VALUE
    bool showNodes = false;        ///< the values of all nodes, too
    std::vector<Pair> inputLevels; ///< --input NAME=LEVEL, the level "uniform" or "vertex"
    bool earliest = false;         ///< the policy
    bool showCost = false;
    bool pictures = false;
    std::optional<unsigned int> size; ///< of a picture, in pixels
    std::optional<std::string> shape; ///< that the picture shows

    // Of those that convert one.
    std::optional<std::string> target;
    std::optional<std::string> stage; ///< "vertex" or "fragment"; none for both
    bool showInterface = false;       ///< instead of the texts
};

/// Reads the command line; throws a `Failure` when it is not understood.
CommandLine parseCommandLine(const std::vector<std::string>& arguments);

/// What --help prints.
extern const char* const kHelp;
