#include "CommandLine.h"

#include "Failure.h"

#include "base/NearWords.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>

const char* const kHelp =
    R"help(Reads files of shading functions and shows what is in them.

  qvshade check FILE...            all that is wrong in the files, read one behind the other
  qvshade list FILE [FUNCTION]     signatures, kind, nodes and links of the functions; FUNCTION may
                                   also be a pattern ("lam*") or a part of a name
  qvshade graph FILE FUNCTION      the function's graph
  qvshade expand FILE FUNCTION     the graph after all calls of defined functions are expanded
  qvshade order FILE FUNCTION      the order in which the graph's nodes can be computed
                                   (distance: links to the nearest output; level: links from the
                                   farthest node without arguments; sources: the arguments' nodes)
  qvshade stats FILE               sizes and frequencies of all graphs, before and after expansion
  qvshade eval FILE FUNCTION [NAME=VALUE]...
                                   the values of the function's outputs
  qvshade place FILE FUNCTION [NAME=VALUE]...
                                   where each node of the expanded graph is computed, and why
  qvshade convert FILE FUNCTION [NAME=VALUE]...
                                   a vertex and a fragment program that compute the function
  qvshade render FILE FUNCTION -o OUT.png [NAME=VALUE]...
                                   the function on a shape, as hardware would draw it

FUNCTION is a name, or a signature where a name has several functions, as in
"mix(float3,float3,float)": the types of the arguments, those of outputs included. A name alone
stands for the only function of that name, or for the only one of them that is defined rather than
declared. A function that is defined twice with one signature is shown as defined first.

NAME=VALUE sets an input: a number, the components of a vector or, row by row, of a matrix with commas
between them, true or false; @PICTURE, checker or white for a texture object. place and convert use
only those of inputs that are declared constant.

  --types              graph, expand: write the types on the links
  --freqs              graph, expand: write types and frequencies on the links
  -o, --output OUT     graph, expand, place, render: write to a file: text for .dot; .svg, .png and .pdf
                       are drawn by the program "dot" of Graphviz. Without it the text, or the table
                       of place, goes to standard output. convert: OUT.vert and OUT.frag (for
                       hlsl OUT.vs.hlsl and OUT.ps.hlsl; with --interface OUT.json)
  --pictures           graph: a small picture of its value on every node, on a sphere; with -o
                       OUT.svg, .png or .html, and NAME=VALUE
  --shape sphere, --shape plane, --shape torus
                       render: what the function is drawn on; a sphere without it
  --size N             render: the picture is N pixels wide and high, 256 without it
  --nodes              eval: first a line for every node: number, operation, values
  --cost               place: what each level costs under both policies, instead of the nodes
  --target TARGET      convert: glsl330 (the default), es300, vulkan450, hlsl or cg
  --stage vertex, --stage fragment
                       convert: the text of that program alone
  --interface          convert: what the programs ask of their host, as JSON, instead of the texts
  --input NAME=LEVEL   place, convert, render: the host delivers that input once per draw
                       (uniform) or per vertex (vertex), within its declared range; may be repeated
  --policy exact, --policy earliest
                       place, convert, render: per fragment what interpolation would change (the
                       default), or everything as early as its range allows
  --optimal, --fast    order: by the distances to the outputs (the default), or the plain order
  --expanded           order: of the graph after all calls of defined functions are expanded
  --json               list, order, stats, place: the table as a JSON array of objects;
                       check: as --format=json
  -l, --library FILE   read this file first, for functions that the others call; may be repeated
  --format=json        check: one JSON object a line on standard output instead of text
  --werror             check: a warning gives the status of an error, too
  -W no-NAME           check: without the warnings of that name
  --stdin, --name FILE check: read standard input, as a file of that name
  --                   what follows is files and functions, also where it begins with "-"
  -h, --help           print this text
  --version            print the version

Tables have aligned columns on a terminal and tabs between the columns elsewhere.

Status: 0 all is well; 1 a file cannot be read or has an error; 2 the command line is not
understood; 3 the function is unknown, ambiguous or cannot be expanded; 4 the output cannot be
written or drawn.
)help";

namespace {

constexpr std::string_view kWarningNames[] = {
    "minus-in-number", "exponent-plus",     "comment-in-comment", "comment-eats-text",  "unclosed-comment",
    "dropped-header",  "second-definition", "hidden-definition",  "second-declaration", "same-parameter",
    "missing-return",  "unassigned-output", "unused-variable",    "unused-parameter",   "frequency",
};

// The commands as bits, to say which of them take an option.
enum CommandBits : unsigned int {
    kCheck = 1U << 0U,
    kList = 1U << 1U,
    kGraph = 1U << 2U,
    kExpand = 1U << 3U,
    kOrder = 1U << 4U,
    kStats = 1U << 5U,
    kEval = 1U << 6U,
    kPlace = 1U << 7U,
    kRender = 1U << 8U,
    kConvert = 1U << 9U,
    kAll = ~0U,
};

constexpr std::size_t kAnyNumber = static_cast<std::size_t>(-1);

struct Command {
    std::string_view name;
    unsigned int bit;
    std::size_t minimum; // of files and function
    std::size_t maximum;
    bool takesValues; // NAME=VALUE behind the function
};

constexpr Command kCommands[] = {
    // name    bit      minimum  maximum  values
    {"check", kCheck, 1, kAnyNumber, false},
    {"list", kList, 1, 2, false},
    {"graph", kGraph, 2, 2, true},
    {"expand", kExpand, 2, 2, false},
    {"order", kOrder, 2, 2, false},
    {"stats", kStats, 1, 1, false},
    {"eval", kEval, 2, 2, true},
    {"place", kPlace, 2, 2, true},
    {"convert", kConvert, 2, 2, true},
    {"render", kRender, 2, 2, true},
};

Failure misunderstood(const std::string& what) {
    return failure(kBadCommandLine, what + " (see qvshade --help)");
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

// What an option does to the command line.

template <bool CommandLine::*member, bool value = true>
void set(CommandLine& line, const std::string& /*value*/) {
    line.*member = value;
}

template <std::optional<std::string> CommandLine::*member>
void store(CommandLine& line, const std::string& value) {
    line.*member = value;
}

template <std::vector<std::string> CommandLine::*member>
void append(CommandLine& line, const std::string& value) {
    (line.*member).push_back(value);
}

void showFrequencies(CommandLine& line, const std::string& /*value*/) {
    line.showTypes = true; // without types, frequencies are not shown
    line.showCompFreqs = true;
}

void chooseFormat(CommandLine& line, const std::string& format) {
    line.json = format == "json";
}

void choosePolicy(CommandLine& line, const std::string& policy) {
    line.earliest = policy == "earliest";
}

void switchWarningOff(CommandLine& line, const std::string& off) {
    if (!off.starts_with("no-")) {
        throw misunderstood("'-W' takes no-NAME, the name of a warning");
    }
    const std::string name = off.substr(3);
    if (std::find(std::begin(kWarningNames), std::end(kWarningNames), name) == std::end(kWarningNames)) {
        const std::vector<std::string> nearest =
            qvString::nearWords(name, {std::begin(kWarningNames), std::end(kWarningNames)}, 1);
        throw misunderstood("no warning is called '" + name + "'" +
                            (nearest.empty() ? "" : "; did you mean " + nearest.front() + "?"));
    }
    line.warningsOff.push_back(name);
}

void deliverInput(CommandLine& line, const std::string& text) {
    line.inputLevels.push_back(readPair(text, line.inputLevels));
    const std::string& level = line.inputLevels.back().second;
    if (level != "uniform" && level != "vertex") {
        throw misunderstood("'--input' takes NAME=uniform or NAME=vertex");
    }
}

/// The side of a picture in pixels.
void storeSize(CommandLine& line, const std::string& text) {
    constexpr unsigned long kLargest = 8192;
    const bool number = text.size() < 6 && text.find_first_not_of("0123456789") == std::string::npos;
    const unsigned long size = number ? std::stoul(text) : 0;
    if (size < 1 || size > kLargest) {
        throw misunderstood("'--size' takes a number of pixels from 1 to 8192");
    }
    line.size = static_cast<unsigned int>(size);
}

enum Takes { kNothing, kOne, kMany };

struct Option {
    std::string_view name;
    std::string_view shortName; // empty without one
    unsigned int commands;      // bits
    Takes takes;                // whether a value follows, and whether the option may be repeated
    std::string_view value;     // what it is; the words to choose from with "|" between them
    void (*apply)(CommandLine& line, const std::string& value);
};

constexpr Option kOptions[] = {
    // name         short  commands                  takes     value                apply
    {"--library", "-l", kAll, kMany, "file name", append<&CommandLine::libraries>},
    {"--output", "-o", kGraph | kExpand | kPlace | kConvert | kRender, kOne, "file name",
     store<&CommandLine::outputFile>},
    {"--types", "", kGraph | kExpand, kNothing, "", set<&CommandLine::showTypes>},
    {"--freqs", "", kGraph | kExpand, kNothing, "", showFrequencies},
    {"--optimal", "", kOrder, kNothing, "", set<&CommandLine::fast, false>},
    {"--fast", "", kOrder, kNothing, "", set<&CommandLine::fast>},
    {"--expanded", "", kOrder, kNothing, "", set<&CommandLine::expanded>},
    {"--json", "", kCheck | kList | kOrder | kStats | kPlace, kNothing, "", set<&CommandLine::json>},
    {"--nodes", "", kEval, kNothing, "", set<&CommandLine::showNodes>},
    {"--cost", "", kPlace, kNothing, "", set<&CommandLine::showCost>},
    {"--input", "", kPlace | kConvert | kRender, kMany, "value", deliverInput},
    {"--policy", "", kPlace | kConvert | kRender, kOne, "exact|earliest", choosePolicy},
    {"--pictures", "", kGraph, kNothing, "", set<&CommandLine::pictures>},
    {"--shape", "", kRender, kOne, "sphere|plane|torus", store<&CommandLine::shape>},
    {"--size", "", kRender, kOne, "value", storeSize},
    {"--target", "", kConvert, kOne, "glsl330|es300|vulkan450|hlsl|cg", store<&CommandLine::target>},
    {"--stage", "", kConvert, kOne, "vertex|fragment", store<&CommandLine::stage>},
    {"--interface", "", kConvert, kNothing, "", set<&CommandLine::showInterface>},
    {"--format", "", kCheck, kOne, "text|json", chooseFormat},
    {"--werror", "", kCheck, kNothing, "", set<&CommandLine::warningsAreErrors>},
    {"", "-W", kCheck, kMany, "value", switchWarningOff},
    {"--stdin", "", kCheck, kNothing, "", set<&CommandLine::readsStandardInput>},
    {"--name", "", kCheck, kOne, "file name", store<&CommandLine::standardInputName>},
};

/// Options that cannot both be followed, and why.
constexpr struct {
    std::string_view one;
    std::string_view other;
    const char* why;
} kContradictions[] = {
    {"--optimal", "--fast", "'--optimal' and '--fast' are different orders"},
    {"--pictures", "--types", "'--pictures' shows values, '--types' the types of links"},
    {"--pictures", "--freqs", "'--pictures' shows values, '--freqs' the frequencies of links"},
    {"--cost", "--output", "'--cost' prints a table, '-o' draws a picture"},
    {"--json", "--output", "'--json' prints a table, '-o' draws a picture"},
    {"--json", "--format", "'--json' is '--format=json'"},
    {"--cost", "--policy", "'--cost' shows both policies"},
    {"--interface", "--stage", "'--interface' is that of both programs"},
};

const Command& findCommand(const std::string& name) {
    for (const Command& command : kCommands) {
        if (command.name == name) {
            return command;
        }
    }
    throw misunderstood("unknown command '" + name + "'");
}

const Option& findOption(const Command& command, std::string_view name) {
    for (const Option& option : kOptions) {
        if ((option.commands & command.bit) != 0 && (name == option.name || name == option.shortName)) {
            return option;
        }
    }
    throw misunderstood("'" + std::string(command.name) + "' has no option '" + std::string(name) + "'");
}

/// Throws when the option lets its user choose among words, and `value` is none of them.
void checkChoice(const Option& option, const std::string& value) {
    if (option.value.find('|') == std::string_view::npos) {
        return;
    }
    std::string words;
    for (std::size_t start = 0; start <= option.value.size();) {
        const std::size_t end = std::min(option.value.find('|', start), option.value.size());
        const std::string_view word = option.value.substr(start, end - start);
        if (word == value) {
            return;
        }
        const bool last = end == option.value.size();
        words += (words.empty() ? "" : last ? " or " : ", ") + std::string(word);
        start = end + 1;
    }
    throw misunderstood("'" + std::string(option.name) + "' takes " + words);
}

/// Reads options, and what stands between them.
class OptionReader {
public:
    OptionReader(const Command& command, CommandLine& line) : fCommand(command), fLine(line) {}

    /// Follows the options and returns the other arguments.
    std::vector<std::string> read(const std::vector<std::string>& arguments) {
        std::vector<std::string> operands;
        bool onlyOperands = false; // behind "--"
        for (auto next = arguments.begin(); next != arguments.end(); ++next) {
            if (onlyOperands || next->empty() || next->front() != '-') {
                operands.push_back(*next);
            } else if (*next == "--") {
                onlyOperands = true;
            } else {
                next = readOption(next, arguments.end());
            }
        }
        for (const auto& pair : kContradictions) {
            if (isGiven(pair.one) && isGiven(pair.other)) {
                throw misunderstood(pair.why);
            }
        }
        return operands;
    }

private:
    using Arguments = std::vector<std::string>::const_iterator;

    /// Follows one option, "--name VALUE", "--name=VALUE" or "-n VALUE"; returns its last argument.
    Arguments readOption(Arguments argument, Arguments end) {
        const std::size_t nameEnd =
            argument->starts_with("--") ? std::min(argument->find('='), argument->size()) : argument->size();
        const std::string name = argument->substr(0, nameEnd);
        const Option& option = findOption(fCommand, name);
        std::string value;
        const bool attached = nameEnd < argument->size();
        if (option.takes == kNothing && attached) {
            throw misunderstood("'" + name + "' takes no value");
        }
        if (option.takes != kNothing) {
            if (!attached && ++argument == end) {
                throw missingValue(option, name);
            }
            value = attached ? argument->substr(nameEnd + 1) : *argument;
            if (value.empty()) {
                throw missingValue(option, name);
            }
            checkChoice(option, value);
        }
        if (option.takes == kOne && isGiven(option.name)) {
            throw misunderstood("'" + name + "' is there twice");
        }
        fGiven.push_back(&option);
        option.apply(fLine, value);
        return argument;
    }

    static Failure missingValue(const Option& option, const std::string& name) {
        const bool choice = option.value.find('|') != std::string_view::npos;
        return misunderstood("'" + name + "' needs a " + (choice ? "value" : std::string(option.value)));
    }

    bool isGiven(std::string_view name) const {
        return std::any_of(fGiven.begin(), fGiven.end(),
                           [&](const Option* option) { return option->name == name; });
    }

    const Command& fCommand;
    CommandLine& fLine;
    std::vector<const Option*> fGiven;
};

/// The only file of "check --stdin" is the name that its diagnostics show.
void nameStandardInput(const CommandLine& line, std::vector<std::string>& operands) {
    if (line.readsStandardInput && !operands.empty()) {
        throw misunderstood("'--stdin' takes the place of the files; '--name' says what it is called");
    }
    if (line.standardInputName && !line.readsStandardInput) {
        throw misunderstood("'--name' goes with '--stdin'");
    }
    if (line.readsStandardInput) {
        operands.push_back(line.standardInputName.value_or("stdin"));
    }
}

} // namespace

CommandLine parseCommandLine(const std::vector<std::string>& arguments) {
    CommandLine result;
    const auto endOfOptions = std::find(arguments.begin(), arguments.end(), "--");
    const auto help = std::find_if(arguments.begin(), endOfOptions, [](const std::string& argument) {
        return argument == "--help" || argument == "-h" || argument == "--version";
    });
    if (help != endOfOptions) {
        result.command = *help == "-h" ? "--help" : *help;
        return result;
    }
    if (arguments.empty()) {
        throw misunderstood("no command");
    }
    const Command& command = findCommand(arguments.front());
    result.command = command.name;
    std::vector<std::string> operands =
        OptionReader(command, result).read({arguments.begin() + 1, arguments.end()});
    nameStandardInput(result, operands);
    const bool takesValues = command.takesValues && (command.bit != kGraph || result.pictures);
    while (takesValues && operands.size() > command.minimum) {
        const auto first = operands.begin() + static_cast<std::ptrdiff_t>(command.minimum);
        result.values.push_back(readPair(*first, result.values));
        operands.erase(first);
    }
    if (operands.size() < command.minimum || operands.size() > command.maximum) {
        throw misunderstood("'" + result.command + "' with " + std::to_string(operands.size()) +
                            " arguments");
    }
    if (command.bit != kCheck && operands.size() == 2) {
        result.function = operands.back();
        operands.pop_back();
    }
    result.files = operands;
    return result;
}
