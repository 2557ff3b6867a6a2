#include "CommandLine.h"

#include "Failure.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

const char* const kHelp =
    R"help(Reads files of shading functions and shows what is in them.

  qvshade check FILE...            all that is wrong in the files, read one behind the other
  qvshade list FILE [FUNCTION]     signatures, kind, nodes and links of the functions
  qvshade graph FILE FUNCTION      the function's graph
  qvshade expand FILE FUNCTION     the graph after all calls of defined functions are expanded
  qvshade order FILE FUNCTION      the order in which the graph's nodes can be computed
  qvshade stats FILE               sizes and frequencies of all graphs, before and after expansion
  qvshade eval FILE FUNCTION [NAME=VALUE]...
                                   the values of the function's outputs
  qvshade place FILE FUNCTION [NAME=VALUE]...
                                   where each node of the expanded graph is computed, and why
  qvshade render FILE FUNCTION -o OUT.png [NAME=VALUE]...
                                   the function on a shape, as hardware would draw it

FUNCTION is a name, or a signature where a name has several functions, as in
"mix(float3,float3,float)": the types of the arguments, those of outputs included. A name alone
stands for the only function of that name, or for the only one of them that is defined rather than
declared. A function that is defined twice with one signature is shown as defined first.

NAME=VALUE sets an input: a number, the components of a vector or, row by row, of a matrix with commas
between them, true or false; @PICTURE, checker or white for a texture object. place uses only those of
inputs that are declared constant.

  --types              graph, expand: write the types on the links
  --freqs              graph, expand: write types and frequencies on the links
  -o, --output OUT     graph, expand, place, render: write to a file: text for .dot; .svg and .png are
                       drawn by the program "dot" of Graphviz. Without it the text, or the table
                       of place, goes to standard output
  --nodes              eval: first a line for every node: number, operation, values
  --pictures           graph: a small picture of its value on every node, on a sphere; with -o
                       OUT.svg, .png or .html, and NAME=VALUE
  --shape sphere, --shape plane, --shape torus
                       render: what the function is drawn on; a sphere without it
  --size N             render: the picture is N pixels wide and high, 256 without it
  --cost               place: what each level costs under both policies, instead of the nodes
  --input NAME=LEVEL   place: the host delivers that input once per draw (uniform) or per vertex
                       (vertex), within its declared range; may be repeated
  --policy exact, --policy earliest
                       place: per fragment what interpolation would change (the default), or
                       everything as early as its range allows
  --optimal, --fast    order: by the distances to the outputs (the default), or the plain order
  -l, --library FILE   read this file first, for functions that the others call; may be repeated
  --format=json        check: one JSON object a line on standard output instead of text
  --werror             check: a warning gives the status of an error, too
  -W no-NAME           check: without the warnings of that name
  --stdin, --name FILE check: read standard input, as a file of that name
  --                   what follows is files and functions, also where it begins with "-"
  --help, --version    print this text, or the version

Tables have aligned columns on a terminal and tabs between the columns elsewhere.

Status: 0 all is well; 1 a file cannot be read or has an error; 2 the command line is not
understood; 3 the function is unknown, ambiguous or cannot be expanded; 4 the output cannot be
written or drawn.
)help";

namespace {

/// Which arguments and options a command takes.
struct Command {
    std::string_view name;
    std::size_t minimum; // files and function
    std::size_t maximum;
    bool drawing;
    bool ordering;
    bool checking;
    bool placing;
    bool evaluating;
    bool rendering;
};

constexpr std::size_t kAnyNumber = static_cast<std::size_t>(-1);

constexpr Command kCommands[] = {
    // name minimum maximum    drawing ordering checking placing evaluating rendering
    {"check", 1, kAnyNumber, false, false, true, false, false, false},
    {"list", 1, 2, false, false, false, false, false, false},
    {"graph", 2, kAnyNumber, true, false, false, false, false, false},
    {"expand", 2, 2, true, false, false, false, false, false},
    {"order", 2, 2, false, true, false, false, false, false},
    {"stats", 1, 1, false, false, false, false, false, false},
    {"eval", 2, kAnyNumber, false, false, false, false, true, false},
    {"place", 2, kAnyNumber, false, false, false, true, false, false},
    {"render", 2, kAnyNumber, false, false, false, true, false, true},
};

Failure misunderstood(const std::string& what) {
    return failure(kBadCommandLine, what + " (see qvshade --help)");
}

const Command& findCommand(const std::string& name) {
    for (const Command& command : kCommands) {
        if (command.name == name) {
            return command;
        }
    }
    throw misunderstood("unknown command '" + name + "'");
}

/// NAME and what stands behind the first "="; throws where there is no name, and where `pairs` has it.
CommandLine::Pair readPair(const std::string& text, const std::vector<CommandLine::Pair>& pairs) {
    const std::size_t end = text.find('=');
    if (end == 0 || end == std::string::npos) {
        throw misunderstood("'" + text + "' is no NAME=VALUE");
    }
    CommandLine::Pair pair(text.substr(0, end), text.substr(end + 1));
    for (const CommandLine::Pair& other : pairs) {
        if (other.first == pair.first) {
            throw misunderstood("'" + text + "': '" + pair.first + "' is there twice");
        }
    }
    return pair;
}

/// The side of a picture in pixels.
unsigned int readSize(const std::string& text) {
    constexpr unsigned long kLargest = 8192;
    const bool number =
        !text.empty() && text.size() < 6 && text.find_first_not_of("0123456789") == std::string::npos;
    const unsigned long size = number ? std::stoul(text) : 0;
    if (size < 1 || size > kLargest) {
        throw misunderstood("'--size' takes a number of pixels from 1 to 8192");
    }
    return static_cast<unsigned int>(size);
}

} // namespace

CommandLine parseCommandLine(const std::vector<std::string>& arguments) {
    CommandLine result;
    const auto endOfOptions = std::find(arguments.begin(), arguments.end(), "--");
    const auto help = std::find_if(arguments.begin(), endOfOptions, [](const std::string& argument) {
        return argument == "--help" || argument == "--version";
    });
    if (help != endOfOptions) {
        result.command = *help;
        return result;
    }
    if (arguments.empty()) {
        throw misunderstood("no command");
    }
    const Command& command = findCommand(arguments.front());
    result.command = command.name;
    std::vector<std::string> operands;
    bool onlyOperands = false; // behind "--"
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        const auto value = [&]() -> const std::string& {
            if (i + 1 == arguments.size() || arguments[i + 1].empty()) {
                const bool file = argument != "-W" && argument != "--input" && argument != "--policy" &&
                                  argument != "--size" && argument != "--shape";
                throw misunderstood("'" + argument + "' needs a " + (file ? "file name" : "value"));
            }
            return arguments[++i];
        };
        if (onlyOperands || argument.empty() || argument.front() != '-') {
            operands.push_back(argument);
        } else if (argument == "--") {
            onlyOperands = true;
        } else if (argument == "-l" || argument == "--library") {
            result.libraries.push_back(value());
        } else if (command.drawing && argument == "--types") {
            result.showTypes = true;
        } else if (command.drawing && argument == "--freqs") {
            result.showTypes = true; // without types, frequencies are not shown
            result.showCompFreqs = true;
        } else if ((command.drawing || command.placing) && (argument == "-o" || argument == "--output")) {
            result.outputFile = value();
        } else if (command.checking && argument.starts_with("--format=")) {
            result.json = argument == "--format=json";
            if (!result.json && argument != "--format=text") {
                throw misunderstood("'" + argument + "': the formats are text and json");
            }
        } else if (command.checking && argument == "--werror") {
            result.warningsAreErrors = true;
        } else if (command.checking && argument == "-W") {
            const std::string& off = value();
            if (!off.starts_with("no-")) {
                throw misunderstood("'-W' takes no-NAME, the name of a warning");
            }
            result.warningsOff.push_back(off.substr(3));
        } else if (command.checking && argument == "--stdin") {
            result.readsStandardInput = true;
        } else if (command.checking && argument == "--name") {
            operands.push_back(value());
        } else if (command.evaluating && argument == "--nodes") {
            result.showNodes = true;
        } else if (command.name == "graph" && argument == "--pictures") {
            result.pictures = true;
        } else if (command.rendering && argument == "--shape") {
            result.shape = value();
        } else if (command.rendering && argument == "--size") {
            result.size = readSize(value());
        } else if (command.name == "place" && argument == "--cost") {
            result.showCost = true;
        } else if (command.placing && argument == "--input") {
            result.inputLevels.push_back(readPair(value(), result.inputLevels));
            const std::string& level = result.inputLevels.back().second;
            if (level != "uniform" && level != "vertex") {
                throw misunderstood("'--input' takes NAME=uniform or NAME=vertex");
            }
        } else if (command.placing && argument == "--policy") {
            const std::string& policy = value();
            result.earliest = policy == "earliest";
            if (!result.earliest && policy != "exact") {
                throw misunderstood("'--policy' takes exact or earliest");
            }
        } else if (command.ordering && (argument == "--fast" || argument == "--optimal")) {
            result.fast = argument == "--fast";
        } else {
            throw misunderstood("'" + result.command + "' has no option '" + argument + "'");
        }
    }
    if (result.readsStandardInput && operands.empty()) {
        operands.push_back("stdin");
    }
    if (result.readsStandardInput && operands.size() > 1) {
        throw misunderstood("'--stdin' takes the place of the files; '--name' says what it is called");
    }
    while ((command.placing || command.evaluating || result.pictures) && operands.size() > command.minimum) {
        const auto first = operands.begin() + static_cast<std::ptrdiff_t>(command.minimum);
        result.values.push_back(readPair(*first, result.values));
        operands.erase(first);
    }
    if (result.showCost && result.outputFile) {
        throw misunderstood("'--cost' prints a table, '-o' draws a picture");
    }
    if (result.pictures && result.showTypes) {
        throw misunderstood("'--pictures' shows values, '--types' and '--freqs' the types of links");
    }
    if (operands.size() < command.minimum ||
        operands.size() > (command.name == "graph" ? 2 : command.maximum)) {
        throw misunderstood("'" + result.command + "' with " + std::to_string(operands.size()) +
                            " arguments");
    }
    if (command.name != "check" && operands.size() == 2) {
        result.function = operands.back();
        operands.pop_back();
    }
    result.files = operands;
    return result;
}
