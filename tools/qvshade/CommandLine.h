#pragma once

#include <optional>
#include <string>
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
    bool fast = false; ///< the plain order instead of the one that distances steer
};

/// Reads the command line; throws a `Failure` when it is not understood.
CommandLine parseCommandLine(const std::vector<std::string>& arguments);

/// What --help prints.
extern const char* const kHelp;
