#include "shadingdag/SourceIndex.h"

#include "core/MemMappedFile.h"

#include <algorithm>
#include <utility>

namespace qvShadingDag {

namespace {

constexpr unsigned int kBytesPerMark = 128;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kReplacement = "\xEF\xBF\xBD"; // U+FFFD

} // namespace

// Ranges of the second byte as in table 3-7 of the Unicode standard.
unsigned int codePointLength(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0xC2 || lead > 0xF4) {
        return 1;
    }
    const unsigned int length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (text.size() < length) {
        return 1;
    }
    const unsigned char lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const unsigned char highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    bool valid = byte(1) >= lowest && byte(1) <= highest;
    for (unsigned int i = 2; i < length; ++i) {
        valid = valid && (byte(i) & 0xC0U) == 0x80;
    }
    return valid ? length : 1;
}

std::string validUtf8(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const unsigned int length = codePointLength(text);
        const bool valid = length > 1 || static_cast<unsigned char>(text.front()) < 0x80;
        result += valid ? text.substr(0, length) : kReplacement;
        text.remove_prefix(length);
    }
    return result;
}

void SourceIndex::addFile(const std::string& name, const char* source, unsigned int first, unsigned int end) {
    File file{name, first, end, {}};
    file.marks.reserve((end - first) / kBytesPerMark + 1);
    Mark mark{first, FileLocation()};
    for (unsigned int next = first; mark.offset < end; step(file, source, mark)) {
        if (mark.offset >= next) {
            file.marks.push_back(mark);
            next += kBytesPerMark;
        }
    }
    fFiles.push_back(std::move(file));
}

/// Moves a mark over one character.
void SourceIndex::step(const File& file, const char* source, Mark& mark) {
    const std::string_view rest(source + mark.offset, file.end - mark.offset);
    if (rest[0] == '\n') {
        ++mark.offset;
        mark.location = FileLocation(mark.location.line + 1, 1);
        return;
    }
    const bool unseen =
        rest.starts_with("\r\n") || (mark.offset == file.first && rest.starts_with(kByteOrderMark));
    mark.offset += codePointLength(rest);
    mark.location.column += unseen ? 0 : 1;
}

const SourceIndex::File* SourceIndex::fileOf(unsigned int offset) const {
    const auto behind =
        std::upper_bound(fFiles.begin(), fFiles.end(), offset,
                         [](unsigned int wanted, const File& file) { return wanted < file.end; });
    return behind != fFiles.end() && behind->first <= offset ? &*behind : nullptr;
}

const std::string& SourceIndex::fileName(unsigned int offset) const {
    static const std::string kNone;
    const File* file = fileOf(offset);
    return file ? file->name : kNone;
}

FileLocation SourceIndex::location(const char* source, unsigned int offset) const {
    const File* file = fileOf(offset);
    if (!file) {
        return {0, 0};
    }
    auto start = file->marks.begin() + (offset - file->first) / kBytesPerMark;
    // A character of several bytes may reach into the stretch, whose mark then lies behind it.
    if (start == file->marks.end() || start->offset > offset) {
        --start;
    }
    Mark mark = *start;
    for (Mark next = mark; next.offset <= offset; step(*file, source, next)) {
        mark = next;
    }
    return mark.location;
}

std::string_view SourceIndex::line(const char* source, unsigned int offset) const {
    const File* file = fileOf(offset);
    if (!file) {
        return {};
    }
    const unsigned int written = file->end - file->first - MemMappedFile::kEndSize;
    const std::string_view text(source + file->first, written);
    const std::size_t at = std::min(offset - file->first, written);
    const std::size_t first = at > kLongestLine ? at - kLongestLine : 0;
    const std::size_t before = text.substr(first, at - first).rfind('\n');
    const std::size_t behind = text.substr(at, kLongestLine + 1).find('\n');
    const bool begins = before != std::string_view::npos || first == 0;
    const bool ends = behind != std::string_view::npos || text.size() - at <= kLongestLine;
    if (!begins || !ends) {
        return {};
    }
    std::size_t begin = before == std::string_view::npos ? 0 : first + before + 1;
    if (begin == 0 && text.starts_with(kByteOrderMark)) {
        begin = kByteOrderMark.size();
    }
    const std::size_t end = behind == std::string_view::npos ? text.size() : at + behind;
    std::string_view result = text.substr(begin, std::max(begin, end) - begin);
    if (result.ends_with('\r')) {
        result.remove_suffix(1);
    }
    return result;
}

} // namespace qvShadingDag
