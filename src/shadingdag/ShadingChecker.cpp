#include "shadingdag/ShadingChecker.h"

#include "core/MemMappedFile.h"
#include "shadingdag/FunctionTable.h"
#include "shadingdag/SourceChecker.h"

namespace qvShadingDag {

ShadingChecker::ShadingChecker() : fFunctions(std::make_unique<FunctionTable>()) {}

ShadingChecker::~ShadingChecker() = default;

bool ShadingChecker::addLibrary(const std::string& fileName) {
    return readFile(fileName, true);
}

bool ShadingChecker::checkFile(const std::string& fileName) {
    return readFile(fileName, false);
}

void ShadingChecker::checkText(const std::string& name, const std::string& text) {
    SourceChecker(CheckedSource(name, text), *fFunctions, fDiagnostics, false).check();
}

const std::vector<Diagnostic>& ShadingChecker::diagnostics() const {
    return fDiagnostics;
}

bool ShadingChecker::readFile(const std::string& fileName, bool isLibrary) {
    MemMappedFile file;
    if (!file.open(fileName)) {
        return false;
    }
    std::string text(file.data(), file.size() - MemMappedFile::kEndSize);
    SourceChecker(CheckedSource(fileName, std::move(text)), *fFunctions, fDiagnostics, isLibrary).check();
    return true;
}

} // namespace qvShadingDag
