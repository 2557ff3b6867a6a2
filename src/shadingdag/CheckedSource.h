#pragma once

#include "shadingdag/Diagnostic.h"
#include "shadingdag/Token.h"
#include "shadingdag/Tokenizer.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qvShadingDag {

/// A token that knows the bytes it stands at.
struct CheckedToken {
    TokenType type = kEndOfInput;
    DataType dataType = kInvalidDataType;
    std::size_t begin = 0; ///< the offset of its first byte
    std::size_t end = 0;   ///< the offset behind its last byte
    std::size_t firstLine = 0;
};

/// A stretch of code that the reader takes for part of a comment.
struct LostText {
    const char* warning;   ///< the name of the warning
    std::size_t cause = 0; ///< what hides it: the inner `//`, the closing or the opening of the comment
    std::size_t causeLength = 2;
    std::string message;
};

/// The bytes of a source with its lines and tokens; for the checker.
class CheckedSource {
public:
    /// Cuts `text` into tokens, comments left out. A byte order mark is passed over.
    CheckedSource(std::string name, std::string text);

    const std::string& name() const { return fName; }
    std::string_view text() const { return fText; }
    bool hasByteOrderMark() const { return fBegin != 0; }
    /// The tokens, and at least three of kind `kEndOfInput` behind them.
    const std::vector<CheckedToken>& tokens() const { return fTokens; }
    const std::vector<LostText>& lostTexts() const { return fLostTexts; }

    /// The bytes of a token as valid UTF-8; of one that begins no token, the whole character.
    std::string textOf(const CheckedToken& token) const;
    /// The bytes from one offset to another as valid UTF-8, on one line and not longer than one
    /// reads at a glance.
    std::string quoted(std::size_t begin, std::size_t end) const;
    /// The number of the line, from 0, that holds the byte.
    std::size_t lineOf(std::size_t offset) const;
    /// Fills in file, line, column, length and the line's text for the bytes from `begin` to `end`.
    void locate(Diagnostic& diagnostic, std::size_t begin, std::size_t end) const;
    /// A note that points to the byte at `offset`.
    DiagnosticNote noteAt(std::size_t offset, std::string message) const;

private:
    void splitIntoLines();
    void splitIntoTokens();
    void findLostText(std::size_t begin, std::size_t end);
    std::size_t endOfComment(std::size_t begin) const;
    std::size_t skipBlanksAndComments(std::size_t at, std::size_t end) const;

    std::string fName;
    std::string fText;
    std::size_t fBegin = 0; // behind the byte order mark
    Tokenizer fTokenizer;
    std::vector<std::size_t> fLines;
    std::vector<CheckedToken> fTokens;
    std::vector<LostText> fLostTexts;
};

} // namespace qvShadingDag
