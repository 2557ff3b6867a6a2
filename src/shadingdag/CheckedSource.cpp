#include "shadingdag/CheckedSource.h"

#include "shadingdag/Tokenizer.h"

#include <algorithm>
#include <utility>

namespace qvShadingDag {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// Valid UTF-8 that a terminal shows: also for control characters there is a replacement.
std::string readable(std::string_view bytes) {
    constexpr const char* kReplacement = "\xEF\xBF\xBD"; // U+FFFD
    std::string result;
    for (const char c : validUtf8(bytes)) {
        const auto byte = static_cast<unsigned char>(c);
        const bool control = (byte < 0x20 && c != '\t') || byte == 0x7F;
        result += control ? std::string(kReplacement) : std::string(1, c);
    }
    return result;
}

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

} // namespace

CheckedSource::CheckedSource(std::string name, std::string text)
    : fName(std::move(name)), fText(std::move(text)),
      fBegin(fText.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0) {
    splitIntoLines();
    splitIntoTokens();
}

void CheckedSource::splitIntoLines() {
    fLines.push_back(0);
    for (std::size_t i = fText.find('\n'); i != std::string::npos; i = fText.find('\n', i + 1)) {
        fLines.push_back(i + 1);
    }
}

void CheckedSource::splitIntoTokens() {
    const bool read = fTokenizer.openText(fName, fText);
    std::size_t position = 0;
    std::size_t line = 0;
    Token token;
    while (read && fTokenizer.nextToken(&token)->type() != kEndOfInput && token.offset() < fText.size()) {
        if (token.offset() < fBegin) {
            continue;
        }
        CheckedToken checked;
        checked.type = token.type();
        checked.dataType = token.dataType();
        checked.begin = token.offset();
        checked.end = std::min<std::size_t>(checked.begin + token.length(), fText.size());
        position = checked.end;
        if (checked.type == kComment) {
            findLostText(checked.begin, checked.end);
            continue;
        }
        while (line + 1 < fLines.size() && fLines[line + 1] <= checked.begin) {
            ++line;
        }
        checked.firstLine = line;
        fTokens.push_back(checked);
    }
    // What the tokenizer gave up at the end of the source can only be a comment that never closes.
    const std::size_t rest = fText.find_first_not_of(" \t\r\n", std::max(position, fBegin));
    if (read && rest != std::string::npos && token.type() == kEndOfInput) {
        findLostText(rest, std::string::npos);
    }
    CheckedToken end;
    end.begin = end.end = fText.size();
    end.firstLine = fLines.size() - 1;
    fTokens.insert(fTokens.end(), 3, end);
}

/// The offset behind the comment that begins at `begin`, as its writer sees it; the end of the text
/// when it never closes.
std::size_t CheckedSource::endOfComment(std::size_t begin) const {
    const bool wholeLine = fText.compare(begin, 2, "//") == 0;
    const std::size_t end = wholeLine ? fText.find('\n', begin) : fText.find("*/", begin + 2);
    return end == std::string::npos ? fText.size() : end + (wholeLine ? 0 : 2);
}

/// The offset of the first byte of code from `at` on, as a writer sees it; `end` when there is none
/// before it, and behind it where a comment reaches beyond it.
std::size_t CheckedSource::skipBlanksAndComments(std::size_t at, std::size_t end) const {
    while (at < end) {
        if (isBlank(fText[at])) {
            ++at;
        } else if (fText.compare(at, 2, "//") == 0 || fText.compare(at, 2, "/*") == 0) {
            at = endOfComment(at);
        } else {
            break;
        }
    }
    return at;
}

/// Compares where the reader lets a comment end with where its writer does.
void CheckedSource::findLostText(std::size_t begin, std::size_t end) {
    const bool closed = end != std::string::npos;
    end = std::min(end, fText.size());
    const bool wholeLine = fText.compare(begin, 2, "//") == 0;
    const std::size_t seenEnd = endOfComment(begin);
    if (!closed && !wholeLine && seenEnd == fText.size() && !fText.ends_with("*/")) {
        fLostTexts.push_back(
            {"unclosed-comment", begin, 2, "this comment is never closed; everything behind it is dropped"});
        return;
    }
    const std::size_t lost = skipBlanksAndComments(seenEnd, end);
    if (lost == end || seenEnd >= end) {
        return;
    }
    // The reader ends a line comment without an inner "//" where its writer does. A block comment
    // takes two more bytes with it, and more only where an inner "//" hides its end.
    if (!wholeLine && closed && end <= seenEnd + 2) {
        const bool comment = lost > end;
        fLostTexts.push_back({"comment-eats-text", seenEnd - 2, 2,
                              comment ? "the two characters behind \"*/\" are lost, here \"" +
                                            quoted(seenEnd, end) + "\", and a comment begins with them"
                                      : "the two characters behind \"*/\" are lost, here \"" +
                                            quoted(seenEnd, end) + "\"; put a blank line behind it"});
        return;
    }
    if (lost > end) {
        return;
    }
    const std::size_t slashes = std::min(fText.find("//", begin + 2), seenEnd);
    const std::string what = quoted(lost, end);
    fLostTexts.push_back(
        {"comment-in-comment", slashes, 2,
         wholeLine ? "\"//\" inside a line comment takes the next line with it; \"" + what + "\" is lost"
                   : "\"//\" inside a block comment hides the \"*/\" on its line; \"" + what + "\" is lost"});
}

std::string CheckedSource::quoted(std::size_t begin, std::size_t end) const {
    constexpr std::size_t kLongest = 40;
    std::string_view bytes = std::string_view(fText).substr(begin, end - begin);
    const std::size_t first = bytes.find_first_not_of(" \t\r\n");
    const std::string_view::size_type last = bytes.find_last_not_of(" \t\r\n");
    bytes = first == std::string_view::npos ? std::string_view() : bytes.substr(first, last - first + 1);
    const std::string_view firstLine = bytes.substr(0, bytes.find_first_of("\r\n"));
    std::size_t length = 0;
    for (std::size_t count = 0; count < kLongest && length < firstLine.size(); ++count) {
        length += codePointLength(firstLine.substr(length));
    }
    return readable(firstLine.substr(0, length)) + (length < bytes.size() ? "..." : "");
}

std::string CheckedSource::textOf(const CheckedToken& token) const {
    const std::string_view rest = std::string_view(fText).substr(token.begin);
    const std::size_t length = token.end - token.begin;
    // What begins no token is taken byte by byte.
    const bool character = token.type == kInvalidToken && length == 1;
    return readable(rest.substr(0, character ? codePointLength(rest) : length));
}

std::size_t CheckedSource::lineOf(std::size_t offset) const {
    return static_cast<std::size_t>(std::upper_bound(fLines.begin(), fLines.end(), offset) - fLines.begin() -
                                    1);
}

void CheckedSource::locate(Diagnostic& diagnostic, std::size_t begin, std::size_t end) const {
    fTokenizer.locate(diagnostic, static_cast<unsigned int>(begin), static_cast<unsigned int>(end));
}

DiagnosticNote CheckedSource::noteAt(std::size_t offset, std::string message) const {
    const FileLocation place = fTokenizer.location(static_cast<unsigned int>(offset));
    return {fName, place.line, place.column, std::move(message)};
}

} // namespace qvShadingDag
