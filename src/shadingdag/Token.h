#pragma once

#include "base/Export.h"
#include "core/DataType.h"
#include "shadingdag/FileLocation.h"

#include <string>

namespace qvShadingDag {

/// The kinds of tokens of the shading language. The numbers are fixed.
enum TokenType : int {
    kInvalidToken = 0, ///< a character that starts no token
    kEndOfInput = 1,
    kComment = 2,
    kDataTypeName = 3, ///< "float3"
    kIdentifier = 4,
    kNumericLiteral = 5,
    kOut = 6,           ///< "out"
    kReturn = 7,        ///< "return"
    kOutputKeyword = 8, ///< "output"

    // The computational frequencies, in rising order.
    kConstant = 9,
    kUniform = 10,
    kVertex = 11,
    kFragment = 12,

    kSemicolon = 13,
    kComma = 14,
    kQuestion = 16,
    kColon = 17,
    kOpenParen = 18,
    kCloseParen = 19,
    kOpenBrace = 20,
    kCloseBrace = 21,
    kOpenBracket = 22,
    kCloseBracket = 23,
    kNot = 24,
    kAt = 25,
    kPlus = 26,
    kMinus = 27,
    kStar = 28,
    kSlash = 29,
    kPercent = 30,
    kPlusPlus = 31,
    kMinusMinus = 32,
    kAssign = 33,
    kPlusAssign = 34,
    kMinusAssign = 35,
    kStarAssign = 36,
    kSlashAssign = 37,
    kPercentAssign = 38,
    kEqual = 39,
    kGreater = 40,
    kGreaterEqual = 41,
    kLess = 42,
    kLessEqual = 43,
    kNotEqual = 44,
    kOrOr = 45,
    kAndAnd = 46,
};

/// One token of a source, with its text, its value and where it stands; filled by a `Tokenizer`.
class QV_EXPORT Token {
public:
    /// An invalid token without a text.
    Token() = default;

    /// What the token is.
    TokenType type() const { return fType; }
    /// Sets what the token is.
    void setType(TokenType type) { fType = type; }

    /// The characters as they stand in the source; empty for operators of "!", "%", "*", "<", "=",
    /// ">", "+" and "-", whose type says it all.
    const std::string& stringValue() const { return fText; }

    /// The low 32 bits of a literal's whole part (0 when that part needs more than 64 bits); 1 for
    /// any other token.
    unsigned int intValue() const { return fIntValue; }

    /// The value of a literal; 0 for any other token.
    float floatValue() const { return fFloatValue; }

    /// The type that a `kDataTypeName` names; `kInvalidDataType` for any other token.
    DataType dataType() const { return fDataType; }

    /// Whether the literal read last is not a whole number.
    bool hasFraction() const { return fHasFraction; }

    /// Where the first character stands, as error texts count: columns in bytes, and comments as
    /// described at `Tokenizer`. `Tokenizer::location` tells the place that an editor shows.
    const FileLocation& fileLocation() const { return fFileLocation; }

    /// Where the first byte stands, counted from 0 over all that the tokenizer has read.
    unsigned int offset() const { return fOffset; }
    /// The number of bytes that were used up for the token; 0 at the end of the input.
    unsigned int length() const { return fLength; }

    /// Back to a new token, but for the location, the bytes and the fraction flag, which stay.
    void reset();

private:
    friend class Tokenizer;

    void setString(std::string text);
    void setNumeric(const std::string& text);

    TokenType fType = kInvalidToken;
    std::string fText;
    FileLocation fFileLocation;
    unsigned int fOffset = 0;
    unsigned int fLength = 0;
    unsigned int fIntValue = 1; // On purpose: a token that is no literal has the integer value 1, not 0.
    float fFloatValue = 0;
    DataType fDataType = kInvalidDataType;
    bool fHasFraction = false;
};

} // namespace qvShadingDag
