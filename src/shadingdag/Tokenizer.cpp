#include "shadingdag/Tokenizer.h"

#include "core/Exception.h"

#include <algorithm>
#include <new>
#include <string_view>

namespace qvShadingDag {

namespace {

struct Keyword {
    std::string_view text;
    TokenType type;
};

constexpr Keyword kKeywords[] = {
    {"out", kOut},         {"return", kReturn}, {"output", kOutputKeyword}, {"constant", kConstant},
    {"uniform", kUniform}, {"vertex", kVertex}, {"fragment", kFragment},
};

TokenType typeOfWord(const std::string& word) {
    for (const Keyword& keyword : kKeywords) {
        if (word == keyword.text) {
            return keyword.type;
        }
    }
    return kIdentifier;
}

} // namespace

bool Tokenizer::openFile(const std::string& fileName) {
    const unsigned int first = fSource.size();
    return fSource.open(fileName) && enter(fileName, first);
}

bool Tokenizer::openText(const std::string& name, std::string_view text) {
    const unsigned int first = fSource.size();
    return fSource.append(text) && enter(name, first);
}

void Tokenizer::locate(Diagnostic& diagnostic, unsigned int begin, unsigned int end) const {
    const char* const first = fSource.data() + begin;
    const std::string_view extent(first, std::max(begin, end) - begin);
    const std::size_t onLine = std::min(extent.find_first_of('\n'), extent.size());
    const bool endsWithReturn = onLine < extent.size() && onLine > 0 && extent[onLine - 1] == '\r';
    const FileLocation from = location(begin);
    const FileLocation to = location(begin + static_cast<unsigned int>(onLine) - (endsWithReturn ? 1 : 0));
    diagnostic.file = fileName(begin);
    diagnostic.line = from.line;
    diagnostic.column = from.column;
    diagnostic.length = std::max(to.column, from.column + 1) - from.column;
    diagnostic.sourceLine = validUtf8(fIndex.line(fSource.data(), begin));
}

/// Enters what was read last, from `first` on; without memory it is forgotten again.
bool Tokenizer::enter(const std::string& name, unsigned int first) {
    try {
        fIndex.addFile(name, fSource.data(), first, fSource.size());
    } catch (const std::bad_alloc&) {
        fSource.truncate(first);
        return false;
    }
    return true;
}

// Every read goes through charAt(), which throws at the end of the source: a token that touches
// the end is given up wherever that happens, and the end is reported in its place.
Token* Tokenizer::nextToken(Token* token) {
    token->reset();
    token->fOffset = fPosition;
    token->fLength = 0;
    if (fPosition >= fSource.size()) {
        token->setType(kEndOfInput);
        return token;
    }
    try {
        skipWhitespace();
        token->fFileLocation = FileLocation(fLine, fColumn);
        token->fOffset = fPosition;
        const char c = charAt(fPosition);
        switch (c) {
        case '(':
            processSingle(token, kOpenParen, c);
            break;
        case ')':
            processSingle(token, kCloseParen, c);
            break;
        case '{':
            processSingle(token, kOpenBrace, c);
            break;
        case '}':
            processSingle(token, kCloseBrace, c);
            break;
        case '[':
            processSingle(token, kOpenBracket, c);
            break;
        case ']':
            processSingle(token, kCloseBracket, c);
            break;
        case ';':
            processSingle(token, kSemicolon, c);
            break;
        case ',':
            processSingle(token, kComma, c);
            break;
        case ':':
            processSingle(token, kColon, c);
            break;
        case '?':
            processSingle(token, kQuestion, c);
            break;
        case '@':
            processSingle(token, kAt, c);
            break;
        case '!':
            processOpEqual(token, kNot, kNotEqual);
            break;
        case '%':
            processOpEqual(token, kPercent, kPercentAssign);
            break;
        case '*':
            processOpEqual(token, kStar, kStarAssign);
            break;
        case '<':
            processOpEqual(token, kLess, kLessEqual);
            break;
        case '=':
            processOpEqual(token, kAssign, kEqual);
            break;
        case '>':
            processOpEqual(token, kGreater, kGreaterEqual);
            break;
        case '+':
            processPlusOrMinus(token, kPlus, kPlusAssign, kPlusPlus, c);
            break;
        case '-':
            processPlusOrMinus(token, kMinus, kMinusAssign, kMinusMinus, c);
            break;
        case '&':
            processDoubled(token, kAndAnd, c);
            break;
        case '|':
            processDoubled(token, kOrOr, c);
            break;
        case '/':
            processDivide(token);
            break;
        default:
            if (isAlphabetic(c)) {
                processAlphanumeric(token);
            } else if (isNumeric(c)) {
                processNumeric(token);
            }
            break;
        }
        if (token->type() == kInvalidToken) {
            token->fText.assign(1, c);
            // On purpose: a character that starts no token does not move the column, so that what follows
            // it on its line is reported too far to the left.
            ++fPosition;
        }
        token->fLength = fPosition - token->fOffset;
    } catch (const Exception&) {
        // What has no end is used up with the rest of its file, so that a file which is read behind it
        // starts afresh; lines go on counting where it began.
        fPosition = fSource.size();
        token->setType(kEndOfInput);
    }
    return token;
}

inline void Tokenizer::nextChar() {
    ++fPosition;
    ++fColumn;
}

inline void Tokenizer::nextLine() {
    ++fLine;
    fColumn = 1;
}

/// The bytes from one index to another, both included.
inline std::string Tokenizer::stringify(unsigned int from, unsigned int to) const {
    static_cast<void>(charAt(to));
    return std::string(fSource.data() + from, fSource.data() + to + 1);
}

inline bool Tokenizer::isWhitespace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

inline bool Tokenizer::isAlphabetic(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

inline bool Tokenizer::isNumeric(char c) {
    return c >= '0' && c <= '9';
}

inline bool Tokenizer::isAlphanumeric(char c) {
    return isAlphabetic(c) || isNumeric(c);
}

inline void Tokenizer::skipWhitespace() {
    for (char c = charAt(fPosition); isWhitespace(c); c = charAt(fPosition)) {
        nextChar();
        if (c == '\n') {
            nextLine();
        }
    }
}

inline void Tokenizer::processSingle(Token* token, TokenType type, char c) {
    token->setType(type);
    token->fText.assign(1, c);
    nextChar();
}

inline void Tokenizer::processOpEqual(Token* token, TokenType single, TokenType withEqual) {
    const bool two = charAt(fPosition + 1) == '=';
    token->setType(two ? withEqual : single);
    nextChar();
    if (two) {
        nextChar();
    }
}

inline void Tokenizer::processPlusOrMinus(Token* token, TokenType single, TokenType withEqual,
                                          TokenType doubled, char c) {
    if (charAt(fPosition + 1) == c) {
        token->setType(doubled);
        nextChar();
        nextChar();
    } else {
        processOpEqual(token, single, withEqual);
    }
}

/// "&&" or "||"; one alone is not a token.
inline void Tokenizer::processDoubled(Token* token, TokenType doubled, char c) {
    if (charAt(fPosition + 1) == c) {
        token->setType(doubled);
        token->fText.assign(2, c);
        nextChar();
        nextChar();
    }
}

inline void Tokenizer::processDivide(Token* token) {
    const unsigned int start = fPosition;
    const char next = charAt(start + 1);
    if (next == '/' || next == '*') {
        const unsigned int end = next == '/' ? endOfLineComment(start + 2) : endOfBlockComment(start + 2);
        token->setString(stringify(start, end));
        token->setType(kComment);
        fPosition = end + 1;
    } else if (next == '=') {
        token->setType(kSlashAssign);
        token->setString("/=");
        nextChar();
        nextChar();
    } else {
        processSingle(token, kSlash, '/');
    }
}

inline void Tokenizer::processAlphanumeric(Token* token) {
    const unsigned int start = fPosition;
    do {
        nextChar();
    } while (isAlphanumeric(charAt(fPosition)));
    token->setString(stringify(start, fPosition - 1));
    token->fDataType = convertToDataType(token->stringValue());
    token->setType(token->fDataType != kInvalidDataType ? kDataTypeName : typeOfWord(token->stringValue()));
}

/// Digits, ".", digits, "e", "-", digits: only the first are needed, and nothing else is.
inline void Tokenizer::processNumeric(Token* token) {
    const auto skipDigits = [this] {
        while (isNumeric(charAt(fPosition))) {
            nextChar();
        }
    };
    const unsigned int start = fPosition;
    skipDigits();
    if (charAt(fPosition) == '.') {
        nextChar();
        skipDigits();
    }
    if (charAt(fPosition) == 'E' || charAt(fPosition) == 'e') {
        nextChar();
    }
    // On purpose: a minus belongs to the literal also without an exponent letter, so that "3-2" is the
    // literal 3.
    if (charAt(fPosition) == '-') {
        nextChar();
    }
    skipDigits();
    token->setString(stringify(start, fPosition - 1));
    token->setNumeric(token->stringValue());
    token->setType(kNumericLiteral);
}

/// The index of the line end that ends a line comment whose text begins at `start`; line and column
/// become those behind it. At the end of the source they stay where the comment began.
unsigned int Tokenizer::endOfLineComment(unsigned int start) {
    unsigned int lines = 1;
    for (unsigned int i = start;; ++i) {
        const char c = charAt(i);
        const char following = charAt(i + 1);
        if (c == '/' && following == '/') {
            // On purpose: two slashes inside a line comment take the next line with them, because the
            // line end behind them goes unseen and the search goes on one character further.
            while (charAt(i) != '\n') {
                ++i;
            }
            ++i;
            ++lines;
        } else if (c == '\n') {
            fLine += lines;
            fColumn = 1;
            return i;
        }
    }
}

/// The index of the last byte that goes with a block comment whose text begins at `start`; line and
/// column become those behind it, by the rules below. At the end of the source they stay where the
/// comment began.
unsigned int Tokenizer::endOfBlockComment(unsigned int start) {
    FileLocation location(fLine, fColumn);
    for (unsigned int i = start;; ++i) {
        const char c = charAt(i);
        const char following = charAt(i + 1);
        if (c == '/' && following == '/') {
            // On purpose: two slashes hide a closing pair that stands later on their line.
            while (charAt(i) != '\n') {
                ++i;
            }
            location = FileLocation(location.line + 1, 1);
        } else if (c == '*' && following == '/') {
            // On purpose: the two characters behind the closing pair are lost with the comment, and a
            // line end among them is not counted.
            fLine = location.line;
            fColumn = location.column + 2;
            return i + 3;
        } else if (c == '\n') {
            location = FileLocation(location.line + 1, 1);
        }
        // On purpose: no other character of a block comment moves the column, so that what follows it
        // on its line is reported too far to the left.
    }
}

} // namespace qvShadingDag
