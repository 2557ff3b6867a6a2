#include "Check.h"

#include "Diagnostics.h"
#include "Failure.h"
#include "Functions.h"
#include "Output.h"

#include "shadingdag/ShadingChecker.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

using namespace qvShadingDag;

namespace {

std::string readStandardInput() {
    std::string text;
    char block[4096];
    for (std::size_t count = 0; (count = std::fread(block, 1, sizeof block, stdin)) != 0;) {
        text.append(block, count);
    }
    return text;
}

/// Drops the warnings that are switched off.
std::vector<Diagnostic> wanted(std::vector<Diagnostic> diagnostics, const std::vector<std::string>& off) {
    std::erase_if(diagnostics, [&](const Diagnostic& diagnostic) {
        return diagnostic.severity == Diagnostic::kWarning &&
               std::find(off.begin(), off.end(), diagnostic.name) != off.end();
    });
    return diagnostics;
}

std::string sizes(const std::string& file, const Functions& functions) {
    int defined = 0;
    long long nodes = 0;
    long long links = 0;
    for (const ShadingNodeSpec* spec : functions) {
        defined += spec->nodeType() == kFunctionNode ? 1 : 0;
        nodes += numNodes(*spec);
        links += numLinks(*spec);
    }
    return file + ": " + std::to_string(functions.size()) + " functions, " + std::to_string(defined) +
           " of them defined, with " + std::to_string(nodes) + " nodes and " + std::to_string(links) +
           " links\n";
}

} // namespace

void check(const CommandLine& line) {
    ShadingChecker checker;
    std::string unreadable;
    const auto readable = [&](const std::string& file, bool known) {
        if (!known) {
            unreadable += failure(kBadSource, "cannot read '" + file + "'").message;
        }
        return known;
    };
    for (const std::string& library : line.libraries) {
        if (readable(library, checker.addLibrary(library))) {
            addToLibrary(library);
        }
    }
    const std::string standardInput = line.readsStandardInput ? readStandardInput() : std::string();
    std::string summaries;
    for (const std::string& file : line.files) {
        const std::size_t before = checker.diagnostics().size();
        if (line.readsStandardInput) {
            checker.checkText(file, standardInput);
        } else if (!readable(file, checker.checkFile(file))) {
            continue;
        }
        const std::vector<Diagnostic> found(
            checker.diagnostics().begin() + static_cast<std::ptrdiff_t>(before), checker.diagnostics().end());
        const Functions functions =
            line.readsStandardInput ? addToLibrary(file, &standardInput) : addToLibrary(file);
        if (!hasError(found)) {
            summaries += sizes(file, functions);
        }
    }

    const std::vector<Diagnostic> diagnostics = wanted(checker.diagnostics(), line.warningsOff);
    std::string errors = unreadable;
    if (line.json) {
        for (const Diagnostic& diagnostic : diagnostics) {
            print(diagnosticJson(diagnostic));
        }
    } else {
        print(summaries);
        errors += diagnosticsText(diagnostics);
    }
    const bool failed =
        !unreadable.empty() || hasError(diagnostics) || (line.warningsAreErrors && !diagnostics.empty());
    throw Failure{failed ? kBadSource : kDone, errors};
}
