// The function library.

#include "shadingdag/ShadingNodeSpec.h"

#include <tuple>

namespace qvShadingDag {

std::multimap<std::string, ShadingNodeSpec*> ShadingNodeSpec::fLibrary;
std::multimap<std::string, ShadingNodeSpec*> ShadingNodeSpec::fReplaced;

namespace {

/// Frees the library's functions when the process ends; made after the library, hence destroyed
/// before it.
struct LibraryKeeper {
    ~LibraryKeeper() { ShadingNodeSpec::clearLibrary(); }
} libraryKeeper;

} // namespace

void ShadingNodeSpec::addToLibrary() {
    if (!fHome) {
        fLibraryPlace = fLibrary.emplace(fName, this); // behind those of the same name
        fFullySpecified = true;
        fHome = &fLibrary;
    }
}

ShadingNodeSpec* ShadingNodeSpec::findSpecInLibrary(const std::string& name) {
    const auto found = fLibrary.lower_bound(name); // the first one, where `find` may give any
    return found != fLibrary.end() && found->first == name ? found->second : nullptr;
}

void ShadingNodeSpec::findSpecsInLibrary(const std::string& name, LibraryIterator& first,
                                         LibraryIterator& last) {
    std::tie(first, last) = fLibrary.equal_range(name);
}

void ShadingNodeSpec::allSpecsInLibrary(LibraryIterator& first, LibraryIterator& last) {
    first = fLibrary.begin();
    last = fLibrary.end();
}

void ShadingNodeSpec::clearLibrary() {
    for (auto* home : {&fLibrary, &fReplaced}) {
        const auto specs = std::move(*home);
        home->clear();
        for (const auto& entry : specs) {
            entry.second->fHome = nullptr;
            delete entry.second;
        }
    }
}

} // namespace qvShadingDag
