#pragma once

#include "base/Export.h"
#include "core/MemMappedFile.h"
#include "shadingdag/Diagnostic.h"
#include "shadingdag/FileLocation.h"
#include "shadingdag/SourceIndex.h"
#include "shadingdag/Token.h"

#include <string>
#include <string_view>

namespace qvShadingDag {

/// Cuts a source file into tokens, comments included.
///
/// It reports no errors: a character that starts no token becomes a `kInvalidToken` that carries
/// it (so does the byte 0xFF that ends every file), and whatever runs into the end of the source
/// becomes `kEndOfInput`, again and again.
///
///     Tokenizer tokenizer;
///     Token token;
///     if (tokenizer.openFile("stdlib.qvs")) {
///         while (tokenizer.nextToken(&token)->type() != kEndOfInput) { … }
///     }
class QV_EXPORT Tokenizer {
public:
    /// Reads the file behind what was read before, without going back: the tokens of a second file
    /// follow those of the first, and so do their locations. False when the file cannot be read.
    bool openFile(const std::string& fileName);

    /// Reads `text`, as it is on every platform, like a file of that name.
    bool openText(const std::string& name, std::string_view text);

    /// Fills `*token` with the next token and returns `token`.
    Token* nextToken(Token* token);

    /// The file that holds the byte of that number (see `Token::offset`), as `openFile` was told to
    /// open it; empty when none does.
    const std::string& fileName(unsigned int offset) const { return fIndex.fileName(offset); }
    /// The place of that byte in its file, as an editor counts (see `SourceIndex`).
    FileLocation location(unsigned int offset) const { return fIndex.location(fSource.data(), offset); }
    /// Fills in file, line, column and length for the bytes from `begin` to `end`, and the line's text.
    void locate(Diagnostic& diagnostic, unsigned int begin, unsigned int end) const;
    /// How many bytes were read, those behind each file included.
    unsigned int sourceSize() const { return fSource.size(); }

private:
    bool enter(const std::string& name, unsigned int first);
    void nextChar();
    void nextLine();
    char charAt(unsigned int index) const { return fSource[index]; }
    std::string stringify(unsigned int from, unsigned int to) const;

    static bool isWhitespace(char c);
    static bool isAlphabetic(char c);
    static bool isNumeric(char c);
    static bool isAlphanumeric(char c);

    void skipWhitespace();
    void processSingle(Token* token, TokenType type, char c);
    void processOpEqual(Token* token, TokenType single, TokenType withEqual);
    void processPlusOrMinus(Token* token, TokenType single, TokenType withEqual, TokenType doubled, char c);
    void processDoubled(Token* token, TokenType doubled, char c);
    void processDivide(Token* token);
    void processAlphanumeric(Token* token);
    void processNumeric(Token* token);
    unsigned int endOfLineComment(unsigned int start);
    unsigned int endOfBlockComment(unsigned int start);

    MemMappedFile fSource;
    SourceIndex fIndex;
    unsigned int fLine = 1;
    unsigned int fColumn = 1;
    unsigned int fPosition = 0;
};

} // namespace qvShadingDag
