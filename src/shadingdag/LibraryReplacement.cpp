#include "shadingdag/LibraryReplacement.h"

#include <algorithm>
#include <iterator>

namespace qvShadingDag {

LibraryReplacement::LibraryReplacement(const std::string& file) : fFile(file) {
    for (ShadingNodeSpec* spec : functionsOfFile()) {
        auto next = std::next(spec->fLibraryPlace);
        while (next != ShadingNodeSpec::fLibrary.end() && next->second->sourceFile() == fFile) {
            ++next;
        }
        const bool sameName =
            next != ShadingNodeSpec::fLibrary.end() && next->first == spec->fLibraryPlace->first;
        fOld.push_back({spec, sameName ? next->second : nullptr});
    }
    for (const Old& old : fOld) {
        move(*old.spec, ShadingNodeSpec::fReplaced, nullptr);
    }
}

LibraryReplacement::~LibraryReplacement() {
    if (fConfirmed) {
        return;
    }
    // Without a list of them, for which there may be no memory.
    for (auto entry = ShadingNodeSpec::fLibrary.begin(); entry != ShadingNodeSpec::fLibrary.end();) {
        const ShadingNodeSpec* spec = (entry++)->second;
        if (spec->sourceFile() == fFile) {
            delete spec; // leaves the library
        }
    }
    for (const Old& old : fOld) {
        move(*old.spec, ShadingNodeSpec::fLibrary, old.following);
    }
}

std::vector<std::pair<ShadingNodeSpec*, ShadingNodeSpec*>> LibraryReplacement::confirm() {
    const std::vector<ShadingNodeSpec*> added = functionsOfFile();
    const auto sameTypes = [](const ShadingNodeSpec& a, const ShadingNodeSpec& b) {
        return std::equal(a.fArguments.begin(), a.fArguments.end(), b.fArguments.begin(), b.fArguments.end(),
                          [](const auto& x, const auto& y) {
                              return x.first == y.first && x.second.dataType() == y.second.dataType();
                          });
    };
    std::multimap<std::string, ShadingNodeSpec*> byName;
    for (ShadingNodeSpec* spec : added) {
        byName.emplace(spec->name(), spec);
    }
    std::vector<std::pair<ShadingNodeSpec*, ShadingNodeSpec*>> pairs;
    for (const Old& old : fOld) {
        const auto [first, last] = byName.equal_range(old.spec->name());
        const auto found =
            std::find_if(first, last, [&](const auto& entry) { return sameTypes(*entry.second, *old.spec); });
        pairs.emplace_back(old.spec, found == last ? nullptr : found->second);
    }
    // Of two functions that fit a call the first is taken: the new ones stand before those of later
    // files, as the old ones did.
    std::multimap<std::string, ShadingNodeSpec*> following;
    for (const Old& old : fOld) {
        following.emplace(old.spec->name(), old.following);
    }
    for (ShadingNodeSpec* spec : added) {
        const auto place = following.lower_bound(spec->name());
        if (place != following.end() && place->first == spec->name() && place->second) {
            move(*spec, ShadingNodeSpec::fLibrary, place->second);
        }
    }
    fConfirmed = true;
    return pairs;
}

std::vector<ShadingNodeSpec*> LibraryReplacement::functionsOfFile() const {
    std::vector<ShadingNodeSpec*> result;
    for (const auto& entry : ShadingNodeSpec::fLibrary) {
        if (entry.second->sourceFile() == fFile) {
            result.push_back(entry.second);
        }
    }
    return result;
}

/// Takes no memory: the entry itself moves.
void LibraryReplacement::move(ShadingNodeSpec& spec, std::multimap<std::string, ShadingNodeSpec*>& home,
                              const ShadingNodeSpec* following) {
    auto entry = spec.fHome->extract(spec.fLibraryPlace);
    spec.fLibraryPlace =
        following ? home.insert(following->fLibraryPlace, std::move(entry)) : home.insert(std::move(entry));
    spec.fHome = &home;
}

} // namespace qvShadingDag
