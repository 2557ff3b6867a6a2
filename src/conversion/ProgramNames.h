#pragma once

/// @file
/// The names in program texts; not for hosts.

#include "conversion/ProgramTarget.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qvShadingDag {

class SpellingTable;

/// The words that no name in a text of one target may be: keywords, type names and the functions
/// that its spellings call.
class ReservedWords {
public:
    /// Those of a target. Made once, kept for good.
    static const ReservedWords& of(const ProgramTarget& target);

    bool contains(std::string_view word) const;

    explicit ReservedWords(const ProgramTarget& target);

private:
    void add(std::string_view word);

    std::vector<std::string> fWords; // an open hash table, empty texts where there is none
};

/// The names of one text: each is given once, a name that is taken gets a number behind it. What is
/// given depends on the order of the calls and on nothing else.
///
/// Takes constant time a name, also where one name is asked for a hundred thousand times.
class NameTable {
public:
    explicit NameTable(const ReservedWords& words);
    /// A table that goes on from another one.
    NameTable(const NameTable& other);
    NameTable& operator=(const NameTable&) = delete;

    /// A name that is no keyword and was not given before: `prefix` and `wanted`, without what no
    /// language accepts (characters other than letters, digits and single underscores). The view is
    /// valid as long as the table.
    std::string_view give(std::string_view prefix, std::string_view wanted);

    /// Keeps `name` from being given.
    void reserve(std::string_view name) { take(name); }

private:
    struct Entry {
        std::uint32_t at = 0; // in fTexts
        std::uint32_t size = 0;
        std::uint32_t next = 0; // the number that is tried next behind this name; 0 for a free entry
    };

    Entry* take(std::string_view name);
    Entry& entryOf(std::string_view name);
    std::string_view textOf(const Entry& entry) const;
    void grow();

    static constexpr std::size_t kBlock = 4096;

    const ReservedWords& fWords;
    std::vector<Entry> fEntries;
    std::size_t fCount = 0;
    std::vector<std::string> fBlocks; // texts, which never move
    std::string fScratch;
};

/// A hash that is the same on every platform.
std::uint32_t hashOfName(std::string_view name);

/// Adds the words of a text that an opening parenthesis follows.
void collectCalledWords(std::string_view text, std::vector<std::string>& words);

} // namespace qvShadingDag
