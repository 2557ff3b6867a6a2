#pragma once

#include "base/Export.h"
#include "shadingdag/Diagnostic.h"

#include <memory>
#include <string>
#include <vector>

namespace qvShadingDag {

class FunctionTable;

/// Finds all that is wrong in sources of shading functions, in one run.
///
/// A `ShadingParser` stops at the first error; a checker goes on at the next statement and the next
/// function, and warns of what is accepted with another meaning than its writer had in mind. It
/// keeps a table of its own of the functions that it has read: the function library of the host is
/// neither used nor changed.
///
///     ShadingChecker checker;
///     checker.addLibrary("stdlib.qvs");
///     checker.checkFile("surface.qvs");
///     for (const Diagnostic& diagnostic : checker.diagnostics()) {
///         show(diagnostic);
///     }
///
/// A source has an error here exactly where a parser that has read the same files refuses it. Takes
/// linear time in the size of the sources, but for the look-up of near names in errors.
class QV_EXPORT ShadingChecker {
public:
    ShadingChecker();
    ~ShadingChecker();
    ShadingChecker(const ShadingChecker&) = delete;
    ShadingChecker& operator=(const ShadingChecker&) = delete;

    /// Reads functions that later files call. Its errors are reported, its warnings are not. False
    /// when the file cannot be read.
    bool addLibrary(const std::string& fileName);
    /// Checks a file; the functions of earlier files are known to it. False when the file cannot be
    /// read.
    bool checkFile(const std::string& fileName);
    /// Checks `text` as the contents of a file of that name.
    void checkText(const std::string& name, const std::string& text);

    /// What was found so far, file by file, by the places in each. At most a hundred errors are
    /// reported; behind them the list ends.
    const std::vector<Diagnostic>& diagnostics() const;

private:
    bool readFile(const std::string& fileName, bool isLibrary);

    std::unique_ptr<FunctionTable> fFunctions;
    std::vector<Diagnostic> fDiagnostics;
};

} // namespace qvShadingDag
