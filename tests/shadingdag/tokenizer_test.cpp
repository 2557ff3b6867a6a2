#include "SourceFile.h"
#include "shadingdag/Tokenizer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

using namespace qvShadingDag;

namespace {

Tokenizer tokenizerOf(const std::string& source) {
    Tokenizer tokenizer;
    EXPECT_TRUE(tokenizer.openFile(writeSource("tokens.qvs", source)));
    return tokenizer;
}

const char* const kTypeNames[] = {
    "none",    "end",    "comment",  "type", "word", "number", "out", "return", "output", "constant",
    "uniform", "vertex", "fragment", ";",    ",",    "",       "?",   ":",      "(",      ")",
    "{",       "}",      "[",        "]",    "!",    "@",      "+",   "-",      "*",      "/",
    "%",       "++",     "--",       "=",    "+=",   "-=",     "*=",  "/=",     "%=",     "==",
    ">",       ">=",     "<",        "<=",   "!=",   "||",     "&&",
};

/// Every token but the two that end each file, as "type text@line:column", with one blank between.
std::string tokens(const std::string& source) {
    Tokenizer tokenizer = tokenizerOf(source);
    std::string result;
    Token token;
    while (tokenizer.nextToken(&token)->type() != kEndOfInput) {
        if (token.type() == kInvalidToken && token.stringValue() == "\xFF") {
            continue;
        }
        const FileLocation at = token.fileLocation();
        result += (result.empty() ? "" : " ") + std::string(kTypeNames[token.type()]) + " " +
                  token.stringValue() + "@" + std::to_string(at.line) + ":" + std::to_string(at.column);
    }
    EXPECT_EQ(tokenizer.nextToken(&token)->type(), kEndOfInput);
    return result;
}

TEST(Tokenizer, CutsSourcesIntoTokens) {
    const struct {
        const char* source;
        const char* expected;
    } rows[] = {
        {"", ""},
        // Every sign; those of the second line keep no text.
        {"()[]{};,:?@/", "( (@1:1 ) )@1:2 [ [@1:3 ] ]@1:4 { {@1:5 } }@1:6 ; ;@1:7 , ,@1:8 : :@1:9 ? "
                         "?@1:10 @ @@1:11 / /@1:12"},
        {"! % * < = > + -", "! @1:1 % @1:3 * @1:5 < @1:7 = @1:9 > @1:11 + @1:13 - @1:15"},
        {"!=%=*=<===>=+=-=", "!= @1:1 %= @1:3 *= @1:5 <= @1:7 == @1:9 >= @1:11 += @1:13 -= @1:15"},
        {"++--/=&&||", "++ @1:1 -- @1:3 /= /=@1:5 && &&@1:7 || ||@1:9"},
        {"a>=b a=>b", "word a@1:1 >= @1:2 word b@1:4 word a@1:6 = @1:7 > @1:8 word b@1:9"},
        {"x+++y", "word x@1:1 ++ @1:2 + @1:4 word y@1:5"},
        // Words.
        {"out return output constant uniform vertex fragment",
         "out out@1:1 return return@1:5 output output@1:12 constant constant@1:19 uniform uniform@1:28 "
         "vertex vertex@1:36 fragment "
         "fragment@1:43"},
        {"float4 Float4 float5 _x9 Out",
         "type float4@1:1 word Float4@1:8 word float5@1:15 word _x9@1:22 word Out@1:26"},
        // A character that starts no token does not move the column.
        {"a & b | c", "word a@1:1 none &@1:3 word b@1:4 none |@1:6 word c@1:7"},
        {"\"#.\x80\xC3\x01~9", "none \"@1:1 none #@1:1 none .@1:1 none \x80@1:1 none \xC3@1:1 none \x01@1:1 "
                               "none ~@1:1 number 9@1:1"},
        {"a\n   \tb\r c\n\n d", "word a@1:1 word b@2:5 word c@2:8 word d@4:2"},
        // Numbers: a minus sticks, a plus does not, a second point does not.
        {"3-2 3 - 2", "number 3-2@1:1 number 3@1:5 - @1:7 number 2@1:9"},
        {"1.5e-3 1e+5 1.2.3 .5 1E5e 0x1f",
         "number 1.5e-3@1:1 number 1e@1:8 + @1:10 number 5@1:11 number 1.2@1:13 none .@1:16 number 3@1:16 "
         "none .@1:18 number 5@1:18 number 1E5@1:20 word e@1:23 number 0@1:25 word x1f@1:26"},
        {"1-e 1e--2", "number 1-@1:1 word e@1:3 number 1e-@1:5 - @1:8 number 2@1:9"},
        // Line comments; two slashes inside one take the next line with them.
        {"a//b\nc", "word a@1:1 comment //b\n@1:2 word c@2:1"},
        {"// a // b\nxyz\nc", "comment // a // b\nxyz\n@1:1 word c@3:1"},
        {"// a // b\n\nxyz\nc", "comment // a // b\n\nxyz\n@1:1 word c@3:1"},
        {"////\nb\nc", "comment ////\nb\n@1:1 word c@3:1"},
        {"///\nb", "comment ///\n@1:1 word b@2:1"},
        // Block comments take two characters more, a line end uncounted; columns inside stand still.
        {"/* a */  b", "comment /* a */  @1:1 word b@1:3"},
        {"/**/bcd", "comment /**/bc@1:1 word d@1:3"},
        {"  /* a */\n\nb", "comment /* a */\n\n@1:3 word b@1:5"},
        {"/*\n * a\n */\n\nb", "comment /*\n * a\n */\n\n@1:1 word b@3:3"},
        {"/* // */ a\n */  b", "comment /* // */ a\n */  @1:1 word b@2:3"},
        {"/*/ a */  b/c", "comment /*/ a */  @1:1 word b@1:3 / /@1:4 word c@1:5"},
        // Comments without an end.
        {"a /* b", "word a@1:1"},
        {"a /* b * / // */", "word a@1:1"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(tokens(row.source), row.expected) << row.source;
    }
    EXPECT_EQ(tokens(std::string("a\0b", 3)), std::string("word a@1:1 none \0@1:2 word b@1:2", 32));
}

TEST(Tokenizer, ReadsNumbers) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const std::string zeros(400, '0');
    const struct {
        std::string source;
        float value;
        unsigned int whole;
        bool fraction;
    } rows[] = {
        {"7", 7, 7, false},
        {"2.0", 2, 2, false},
        {"1.5e-3", 0.0015F, 0, true},
        {"3-2", 3, 3, false},
        {"1e", 1, 1, false},
        {"1e-", 1, 1, false},
        {"1.", 1, 1, false},
        {"1.e5", 1e5F, 100000, false},
        {"1.25-3", 1.25F, 1, true},
        {"4294967301", 4294967301.F, 5, false},
        {"9223372036854775000", 9223372036854775000.F, 0xFFFFFC00U, false},
        {"9223372036854775808", 9223372036854775808.F, 0, true},
        {"3.4028235e38", std::numeric_limits<float>::max(), 0, true},
        {"3.40282351e38", std::numeric_limits<float>::max(), 0, true},
        {"3.4028235677973366e38", kInfinity, 0, true}, // half a step above the largest float
        {"3.4028235677973362e38", std::numeric_limits<float>::max(), 0, true},
        {"3.41e38", kInfinity, 0, true},
        {"1e400", kInfinity, 0, true},
        {"1e99999999999999999999", kInfinity, 0, true},
        {"1" + zeros + "e-2", kInfinity, 0, true},
        {"1" + zeros + "e-400", 1, 1, false},
        {"1e-400", 0, 0, false},
        {"1e-99999999999999999999", 0, 0, false},
        {"0." + zeros + "1", 0, 0, false},
        {"0." + zeros + "1e401", 1, 1, false},
        {"0e99999999999999999999", 0, 0, false},
        {"0." + zeros + "1-500", 0, 0, false}, // the digits behind a minus without "e" say nothing
        {"1" + zeros + "-500", kInfinity, 0, true},
        {"1" + zeros, kInfinity, 0, true},
        {"0." + zeros + "1E-500", 0, 0, false},
    };
    for (const auto& row : rows) {
        Tokenizer tokenizer = tokenizerOf(row.source);
        Token token;
        tokenizer.nextToken(&token);
        EXPECT_EQ(token.type(), kNumericLiteral) << row.source;
        EXPECT_EQ(token.floatValue(), row.value) << row.source;
        EXPECT_EQ(token.intValue(), row.whole) << row.source;
        EXPECT_EQ(token.hasFraction(), row.fraction) << row.source;
    }
}

TEST(Tokenizer, FillsTheTokenItIsGiven) {
    Tokenizer empty;
    Token token;
    EXPECT_EQ(empty.nextToken(&token), &token);
    EXPECT_EQ(token.type(), kEndOfInput);
    EXPECT_EQ(token.fileLocation().toString(), "line 1, column 1");

    Tokenizer tokenizer = tokenizerOf("0.5 matrix4\n  ");
    tokenizer.nextToken(&token);
    EXPECT_EQ(tokenizer.nextToken(&token)->dataType(), kMatrix4);
    EXPECT_EQ(token.intValue(), 1U);
    EXPECT_EQ(token.floatValue(), 0);
    EXPECT_TRUE(token.hasFraction()) << "stays from the literal before";
    tokenizer.nextToken(&token);
    EXPECT_EQ(token.stringValue(), "\xFF");
    EXPECT_EQ(token.fileLocation().toString(), "line 2, column 3");
    tokenizer.nextToken(&token);
    EXPECT_EQ(token.type(), kEndOfInput);
    EXPECT_EQ(token.fileLocation().toString(), "line 2, column 3") << "stays behind the blanks";
    EXPECT_EQ(token.stringValue(), "");
    EXPECT_EQ(token.dataType(), kInvalidDataType);

    // A second file goes on where the first ended; a copy goes its own way.
    ASSERT_TRUE(tokenizer.openFile(writeSource("tokens.qvs", "b")));
    Tokenizer copy = tokenizer;
    EXPECT_EQ(tokenizer.nextToken(&token)->stringValue(), "b");
    EXPECT_EQ(copy.nextToken(&token)->fileLocation().toString(), "line 5, column 1");
    EXPECT_FALSE(copy.openFile(QV_TEST_OUTPUT "no such file"));
}

TEST(Tokenizer, KnowsThePlacesThatAnEditorShows) {
    const struct {
        std::string source;
        const char* expected; // of each token: the first byte's line and column, the number of bytes
    } rows[] = {
        {"\xEF\xBB\xBF"
         "a b",
         "1:1+1 1:1+1 1:1+1 1:1+1 1:3+1"},
        {"a\r\n\tb", "1:1+1 2:2+1"},
        {"\xC3\xA9 b", "1:1+1 1:1+1 1:3+1"},
        {"& | \xFF b", "1:1+1 1:3+1 1:5+1 1:7+1"},
        {"/* one */\n\nb", "1:1+11 3:1+1"},
        {"/* one\n two */  // b // c\nd\ne", "1:1+16 2:10+12 4:1+1"},
        {"1.5e-3!=abc", "1:1+6 1:7+2 1:9+3"},
        {"x  /* lost", "1:1+1"},
    };
    for (const auto& row : rows) {
        Tokenizer tokenizer = tokenizerOf(row.source);
        std::string found;
        Token token;
        while (tokenizer.nextToken(&token)->type() != kEndOfInput) {
            if (token.stringValue() != "\xFF" || row.source[token.offset()] == '\xFF') {
                const FileLocation at = tokenizer.location(token.offset());
                found += (found.empty() ? "" : " ") + std::to_string(at.line) + ":" +
                         std::to_string(at.column) + "+" + std::to_string(token.length());
            }
        }
        EXPECT_EQ(found, row.expected) << row.source;
        EXPECT_EQ(token.length(), 0U);
    }
}

TEST(SourceIndex, CountsAsAnEditor) {
    const struct {
        const char* bytes;
        char columns; // one in all, one for each byte, or the end of a line
    } pieces[] = {
        {"\xEF\xBB\xBF", '1'},
        {"a", '1'},
        {"\t", '1'},
        {"\ra", 'n'},
        {"\n", 'e'},
        {"\r\n", 'e'},
        {"\xC3\xA9", '1'},
        {"\xE0\xA0\x80", '1'},
        {"\xEE\x80\x80", '1'},
        {"\xF0\x9F\x98\x80", '1'},
        {"\xF4\x8F\xBF\xBF", '1'},
        {"\xFF", 'n'},
        {"\xC1\xBF", 'n'},
        {"\xE0\x9F\x80", 'n'},
        {"\xE2\x82", 'n'},
        {"\xED\xA0\x80", 'n'},
        {"\xF0\x8F\x80\x80", 'n'},
        {"\xF4\x90\x80\x80", 'n'},
        {"\xF5\x80\x80\x80", 'n'},
    };
    std::mt19937 random(1);
    SourceIndex index;
    std::string source = "what is in no file";
    const std::size_t noFile = source.size();
    std::vector<std::string> expected;
    for (const char* name : {"first", "empty", "second"}) {
        const std::size_t first = source.size();
        FileLocation at;
        for (int i = *name == 'e' ? 3000 : 0; i < 3000; ++i) {
            const auto& piece = pieces[i == 0 ? 0 : random() % std::size(pieces)];
            for (const char* byte = piece.bytes; *byte != '\0'; ++byte) {
                expected.push_back(std::string(name) + " " + at.toString());
                at.column += piece.columns == 'n' ? 1 : 0;
            }
            at.column += piece.columns == '1' && i > 0 ? 1 : 0;
            at = piece.columns == 'e' ? FileLocation(at.line + 1, 1) : at;
            source += piece.bytes;
        }
        index.addFile(name, source.data(), static_cast<unsigned int>(first),
                      static_cast<unsigned int>(source.size()));
    }
    for (std::size_t i = 0; i <= expected.size(); ++i) {
        const auto offset = static_cast<unsigned int>(noFile + i);
        ASSERT_EQ(index.fileName(offset) + " " + index.location(source.data(), offset).toString(),
                  i < expected.size() ? expected[i] : " line 0, column 0");
    }
    EXPECT_EQ(index.location(source.data(), noFile - 1).line, 0U);
}

TEST(Tokenizer, TakesHugeTokens) {
    for (const char c : {'x', '9', '/', '*', ' '}) {
        Tokenizer tokenizer = tokenizerOf(std::string(1 << 20, c));
        Token token;
        std::size_t bytes = 0;
        while (tokenizer.nextToken(&token)->type() != kEndOfInput) {
            bytes += token.type() == kStar ? 1 : token.stringValue().size();
        }
        // The ruler of slashes is a comment that the end of the file leaves without an end.
        EXPECT_EQ(bytes, c == '/' ? 0U : c == ' ' ? 1U : (1U << 20) + 1) << c;
    }
}

} // namespace
