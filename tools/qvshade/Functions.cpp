#include "Functions.h"

#include "Diagnostics.h"
#include "Failure.h"

#include "base/NearWords.h"
#include "shadingdag/ShadingChecker.h"
#include "shadingdag/ShadingParser.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <string_view>

using namespace qvShadingDag;

namespace {

Functions allFunctions() {
    ShadingNodeSpec::LibraryIterator entry;
    ShadingNodeSpec::LibraryIterator last;
    Functions result;
    for (ShadingNodeSpec::allSpecsInLibrary(entry, last); entry != last; ++entry) {
        result.push_back(entry->second);
    }
    return result;
}

/// The functions that `read` adds to the library.
template <typename Read>
Functions addWith(const Read& read) {
    const Functions before = allFunctions();
    read();
    const std::set<const ShadingNodeSpec*> known(before.begin(), before.end());
    Functions added;
    for (ShadingNodeSpec* spec : allFunctions()) {
        if (known.count(spec) == 0) {
            added.push_back(spec);
        }
    }
    return added;
}

/// A parameter or result as a header has it; every frequency goes without saying.
std::string declaration(const ShadingAttribute& attribute) {
    const CompFreqRange range = attribute.compFreqRange();
    return (range == CompFreqRange() ? "" : range.toString() + " ") + dataTypeName(attribute.dataType());
}

template <typename Condition>
Functions select(const Functions& functions, const Condition& condition) {
    Functions result;
    std::copy_if(functions.begin(), functions.end(), std::back_inserter(result),
                 [&](const ShadingNodeSpec* spec) { return condition(*spec); });
    return result;
}

std::string withoutBlanks(std::string text) {
    std::erase(text, ' ');
    return text;
}

/// The functions that have the name or the signature.
Functions exactlyNamed(const Functions& functions, const std::string& wanted) {
    const std::string compact = withoutBlanks(wanted);
    return select(functions, [&](const ShadingNodeSpec& spec) {
        return spec.name() == wanted || signature(spec) == compact;
    });
}

/// Whether the pattern stands for all of the text: "*" for any letters, "?" for any one letter.
bool fitsPattern(const std::string& text, const std::string& pattern) {
    std::size_t at = 0;
    std::size_t star = std::string::npos; // the last one; what follows it is tried ever farther behind
    std::size_t behindStar = 0;
    for (std::size_t i = 0; i < text.size();) {
        if (at < pattern.size() && (pattern[at] == '*')) {
            star = at++;
            behindStar = i;
        } else if (at < pattern.size() && (pattern[at] == '?' || pattern[at] == text[i])) {
            ++at;
            ++i;
        } else if (star != std::string::npos) {
            at = star + 1;
            i = ++behindStar;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', at) == std::string::npos;
}

constexpr std::size_t kMostSuggestions = 10;

/// "; there are NAME(TYPES), ..." for a name that other signatures have, "; did you mean NAME, ...?"
/// for one that looks like others; empty without either.
std::string suggestions(const Functions& functions, const std::string& wanted) {
    const std::string name = withoutBlanks(wanted.substr(0, wanted.find('(')));
    std::string text;
    std::size_t count = 0;
    for (const ShadingNodeSpec* spec : exactlyNamed(functions, name)) {
        if (count++ < kMostSuggestions) {
            text += (text.empty() ? "; there are " : ", ") + signature(*spec);
        }
    }
    if (count > 0) {
        return text + (count > kMostSuggestions
                           ? " and " + std::to_string(count - kMostSuggestions) + " others"
                           : "");
    }
    std::vector<std::string_view> names;
    for (const ShadingNodeSpec* spec : functions) {
        if (names.empty() || names.back() != spec->name()) { // overloads stand side by side
            names.push_back(spec->name());
        }
    }
    for (const std::string& other : qvString::nearWords(name, names, kMostSuggestions)) {
        text += (text.empty() ? "; did you mean " : ", ") + other;
    }
    return text + (text.empty() ? "" : "?");
}

bool isDefined(const ShadingNodeSpec* spec) {
    return spec->nodeType() == kFunctionNode;
}

} // namespace

Functions addToLibrary(const std::string& file, const std::string* text) {
    ShadingParser parser;
    return addWith([&] { text ? parser.parseText(file, *text) : parser.parseFile(file, false); });
}

Functions readFile(const std::string& file) {
    static std::vector<std::string> earlier; // what the functions of the file may call
    ShadingParser parser;
    bool read = false;
    Functions added = addWith([&] { read = parser.parseFile(file, false); });
    if (!read) {
        // An error in the source has a place; a file that cannot be read has none.
        if (parser.diagnostics().empty()) {
            throw failure(kBadSource, "cannot read '" + file + "'");
        }
        ShadingChecker checker;
        for (const std::string& library : earlier) {
            checker.addLibrary(library);
        }
        checker.addLibrary(file);
        throw Failure{kBadSource, diagnosticsText(hasError(checker.diagnostics()) ? checker.diagnostics()
                                                                                  : parser.diagnostics())};
    }
    earlier.push_back(file);
    return added;
}

Functions listedFunctions(const Functions& functions, const std::string& wanted) {
    Functions found = exactlyNamed(functions, wanted);
    if (found.empty() && !wanted.empty()) {
        const bool pattern = wanted.find_first_of("*?") != std::string::npos;
        found = select(functions, [&](const ShadingNodeSpec& spec) {
            return pattern ? fitsPattern(spec.name(), wanted) : spec.name().find(wanted) != std::string::npos;
        });
    }
    return found.empty() ? matchingFunctions(functions, wanted) : found;
}

Functions matchingFunctions(const Functions& functions, const std::string& wanted) {
    Functions result = exactlyNamed(functions, wanted);
    if (result.empty()) {
        throw failure(kBadFunction, "no function '" + wanted + "'" + suggestions(functions, wanted));
    }
    return result;
}

ShadingNodeSpec* chooseFunction(const Functions& functions, const std::string& wanted) {
    Functions found = matchingFunctions(functions, wanted);
    if (std::any_of(found.begin(), found.end(), isDefined)) {
        std::erase_if(found, [](const ShadingNodeSpec* spec) { return !isDefined(spec); });
    }
    std::string others;
    for (const ShadingNodeSpec* spec : found) {
        if (signature(*spec) != signature(*found.front())) {
            others += ", " + signature(*spec);
        }
    }
    if (!others.empty()) {
        throw failure(kBadFunction,
                      "'" + wanted + "' stands for several functions: " + signature(*found.front()) + others);
    }
    return found.front();
}

std::string signature(const ShadingNodeSpec& spec) {
    ShadingNodeSpec::ArgumentIterator argument;
    ShadingNodeSpec::ArgumentIterator last;
    std::string types;
    for (spec.arguments(argument, last); argument != last; ++argument) {
        types += (types.empty() ? "" : ",") + dataTypeName(argument->second.dataType());
    }
    return spec.name() + "(" + types + ")";
}

std::string header(const ShadingNodeSpec& spec) {
    ShadingNodeSpec::AttributeIterator output;
    ShadingNodeSpec::AttributeIterator lastOutput;
    spec.outputs(output, lastOutput);
    const bool returns = output != lastOutput && output->name() == "output";
    std::string text = (returns ? declaration(*output) : "void") + " " + spec.name() + "(";

    ShadingNodeSpec::ArgumentIterator argument;
    ShadingNodeSpec::ArgumentIterator lastArgument;
    std::string separator;
    for (spec.arguments(argument, lastArgument); argument != lastArgument; ++argument) {
        text += separator + (argument->first == kOutputNode ? "out " : "") + declaration(argument->second) +
                " " + argument->second.name();
        separator = ", ";
    }
    return text + ")";
}

int numNodes(const ShadingNodeSpec& spec) {
    ShadingNodeSpec::NodeIterator first;
    ShadingNodeSpec::NodeIterator last;
    spec.internalNodes(first, last);
    return static_cast<int>(std::distance(first, last));
}

int numLinks(const ShadingNodeSpec& spec) {
    ShadingNodeSpec::LinkIterator first;
    ShadingNodeSpec::LinkIterator last;
    spec.internalLinks(first, last);
    return static_cast<int>(std::distance(first, last));
}
