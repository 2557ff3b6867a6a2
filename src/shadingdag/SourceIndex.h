#pragma once

#include "base/Export.h"
#include "shadingdag/FileLocation.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qvShadingDag {

/// The number of bytes of the UTF-8 code point at the start of `text`, which is not empty; 1 where
/// there is no valid one, which leaves a byte of 0x80 or above alone.
unsigned int codePointLength(std::string_view text);

/// The text with the replacement character U+FFFD for every byte that is no valid UTF-8.
QV_EXPORT std::string validUtf8(std::string_view text);

/// Tells lines and columns of a source as an editor counts them.
///
/// The source is one run of bytes that holds one or several files, each behind the other. Lines
/// count from 1 in every file, columns in Unicode code points from 1: a tab is one, a byte that is
/// no valid UTF-8 is one, a byte order mark at the start of a file and a carriage return in front of
/// a line feed are none.
///
/// Entering a file takes linear time and about a tenth of its size; after that, any place is found
/// in constant time.
class QV_EXPORT SourceIndex {
public:
    /// Longer lines are not written by people, and nobody wants to be shown them.
    static constexpr std::size_t kLongestLine = 1000;

    /// Enters the file whose bytes lie from `source[first]` up to `source[end]`, behind all files
    /// entered before. Changes nothing when there is no memory, which it throws.
    void addFile(const std::string& name, const char* source, unsigned int first, unsigned int end);

    /// The name of the file that holds the byte at `offset`; empty when none does.
    const std::string& fileName(unsigned int offset) const;

    /// The place, within its file, of the character that the byte at `offset` belongs to; line 0 and
    /// column 0 when no file holds it.
    FileLocation location(const char* source, unsigned int offset) const;

    /// The line that holds the byte at `offset`, without its end and without a byte order mark; empty
    /// when no file holds it, and for a line of more than `kLongestLine` bytes on either side of the
    /// byte. Takes constant time.
    std::string_view line(const char* source, unsigned int offset) const;

private:
    /// A place that is known. There is one in every stretch of some bytes.
    struct Mark {
        unsigned int offset;
        FileLocation location;
    };
    struct File {
        std::string name;
        unsigned int first;
        unsigned int end;
        std::vector<Mark> marks;
    };

    const File* fileOf(unsigned int offset) const;
    static void step(const File& file, const char* source, Mark& mark);

    std::vector<File> fFiles;
};

} // namespace qvShadingDag
