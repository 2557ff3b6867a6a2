#pragma once

/// @file
/// Shared by the sources of the function library; not for hosts.

#include "shadingdag/ShadingNodeSpec.h"

#include <string>
#include <utility>
#include <vector>

namespace qvShadingDag {

/// Takes the functions of a file out of the look-up while the file is read again. The functions
/// themselves live on: graphs may call them. Unless the replacement is confirmed, all is as it was in
/// the end.
///
///     LibraryReplacement replacement("surface.qvs");
///     if (readAgain()) {
///         pairs = replacement.confirm();
///     }
class LibraryReplacement {
public:
    explicit LibraryReplacement(const std::string& file);
    ~LibraryReplacement();
    LibraryReplacement(const LibraryReplacement&) = delete;
    LibraryReplacement& operator=(const LibraryReplacement&) = delete;

    /// Lets the functions that were read meanwhile take the places of the old ones, and returns each
    /// old function with the new one of the same name and parameters; null where there is none.
    std::vector<std::pair<ShadingNodeSpec*, ShadingNodeSpec*>> confirm();

private:
    /// A function that was taken out, and the one behind it under the same name that was not.
    struct Old {
        ShadingNodeSpec* spec;
        ShadingNodeSpec* following;
    };

    std::vector<ShadingNodeSpec*> functionsOfFile() const;
    static void move(ShadingNodeSpec& spec, std::multimap<std::string, ShadingNodeSpec*>& home,
                     const ShadingNodeSpec* following);

    std::string fFile;
    std::vector<Old> fOld;
    bool fConfirmed = false;
};

} // namespace qvShadingDag
