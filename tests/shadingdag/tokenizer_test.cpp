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
        result += (result.empty() ? "" : " ") + std::to_string(token.type()) + " " + token.stringValue() +
                  "@" + std::to_string(at.line) + ":" + std::to_string(at.column);
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
        {"()[]{};,:?@/",
         "18 (@1:1 19 )@1:2 22 [@1:3 23 ]@1:4 20 {@1:5 21 }@1:6 13 ;@1:7 14 ,@1:8 17 :@1:9 16 "
         "?@1:10 25 @@1:11 29 /@1:12"},
        {"! % * < = > + -", "24 @1:1 30 @1:3 28 @1:5 42 @1:7 33 @1:9 40 @1:11 26 @1:13 27 @1:15"},
        {"!=%=*=<===>=+=-=", "44 @1:1 38 @1:3 36 @1:5 43 @1:7 39 @1:9 41 @1:11 34 @1:13 35 @1:15"},
        {"++--/=&&||", "31 @1:1 32 @1:3 37 /=@1:5 46 &&@1:7 45 ||@1:9"},
        {"a>=b a=>b", "4 a@1:1 41 @1:2 4 b@1:4 4 a@1:6 33 @1:7 40 @1:8 4 b@1:9"},
        {"x+++y", "4 x@1:1 31 @1:2 26 @1:4 4 y@1:5"},
        // Words.
        {"out return output constant uniform vertex fragment",
         "6 out@1:1 7 return@1:5 8 output@1:12 9 constant@1:19 10 uniform@1:28 11 vertex@1:36 12 "
         "fragment@1:43"},
        {"float4 Float4 float5 _x9 Out", "3 float4@1:1 4 Float4@1:8 4 float5@1:15 4 _x9@1:22 4 Out@1:26"},
        // A character that starts no token does not move the column.
        {"a & b | c", "4 a@1:1 0 &@1:3 4 b@1:4 0 |@1:6 4 c@1:7"},
        {"\"#.\x80\xC3\x01~9", "0 \"@1:1 0 #@1:1 0 .@1:1 0 \x80@1:1 0 \xC3@1:1 0 \x01@1:1 0 ~@1:1 5 9@1:1"},
        {"a\n   \tb\r c\n\n d", "4 a@1:1 4 b@2:5 4 c@2:8 4 d@4:2"},
        // Numbers: a minus sticks, a plus does not, a second point does not.
        {"3-2 3 - 2", "5 3-2@1:1 5 3@1:5 27 @1:7 5 2@1:9"},
        {"1.5e-3 1e+5 1.2.3 .5 1E5e 0x1f",
         "5 1.5e-3@1:1 5 1e@1:8 26 @1:10 5 5@1:11 5 1.2@1:13 0 .@1:16 5 3@1:16 "
         "0 .@1:18 5 5@1:18 5 1E5@1:20 4 e@1:23 5 0@1:25 4 x1f@1:26"},
        {"1-e 1e--2", "5 1-@1:1 4 e@1:3 5 1e-@1:5 27 @1:8 5 2@1:9"},
        // Line comments; two slashes inside one take the next line with them.
        {"a//b\nc", "4 a@1:1 2 //b\n@1:2 4 c@2:1"},
        {"// a // b\nxyz\nc", "2 // a // b\nxyz\n@1:1 4 c@3:1"},
        {"// a // b\n\nxyz\nc", "2 // a // b\n\nxyz\n@1:1 4 c@3:1"},
        {"////\nb\nc", "2 ////\nb\n@1:1 4 c@3:1"},
        {"///\nb", "2 ///\n@1:1 4 b@2:1"},
        // Block comments take two characters more, a line end uncounted; columns inside stand still.
        {"/* a */  b", "2 /* a */  @1:1 4 b@1:3"},
        {"/**/bcd", "2 /**/bc@1:1 4 d@1:3"},
        {"  /* a */\n\nb", "2 /* a */\n\n@1:3 4 b@1:5"},
        {"/*\n * a\n */\n\nb", "2 /*\n * a\n */\n\n@1:1 4 b@3:3"},
        {"/* // */ a\n */  b", "2 /* // */ a\n */  @1:1 4 b@2:3"},
        {"/*/ a */  b/c", "2 /*/ a */  @1:1 4 b@1:3 29 /@1:4 4 c@1:5"},
        // Comments without an end.
        {"a /* b", "4 a@1:1"},
        {"a /* b * / // */", "4 a@1:1"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(tokens(row.source), row.expected) << row.source;
    }
    EXPECT_EQ(tokens(std::string("a\0b", 3)), std::string("4 a@1:1 0 \0@1:2 4 b@1:2", 23));
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
