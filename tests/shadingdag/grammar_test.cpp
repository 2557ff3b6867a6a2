#include "shadingdag/Tokenizer.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>

using namespace qvShadingDag;

namespace {

struct Pattern {
    std::string scope;
    std::regex expression;
};

/// The text of the member `key` of the object on a line; empty when it has none.
std::string member(const std::string& line, const std::string& key) {
    std::string raw = line.substr(std::min(line.find("\"" + key + "\": \""), line.size()));
    raw = raw.substr(std::min(key.size() + 5, raw.size()));
    std::string result;
    for (std::size_t i = 0; i < raw.size() && raw[i] != '"'; ++i) {
        result += raw[raw[i] == '\\' ? ++i : i];
    }
    return result;
}

/// What a grammar must call a token of each kind.
std::string scopeOf(const Token& token) {
    const TokenType type = token.type();
    return type == kComment                    ? "comment"
           : type == kDataTypeName             ? "storage.type"
           : type == kNumericLiteral           ? "constant.numeric"
           : type == kReturn                   ? "keyword.control"
           : type == kOutputKeyword            ? "keyword.other"
           : type >= kOut && type <= kFragment ? "storage.modifier"
           : type == kSemicolon || type == kComma || type == kColon ||
                   (type >= kOpenParen && type <= kCloseBrace)
               ? "punctuation"
               : "keyword.operator";
}

// Editors colour what the tokenizer reads: every token of the standard library, as far as a grammar
// of regular expressions can know.
TEST(TextMateGrammar, ColoursTheStandardLibrary) {
    std::ifstream grammar(QV_TEST_DATA "../../editors/qvs.tmLanguage.json");
    std::vector<Pattern> patterns;
    for (std::string line; std::getline(grammar, line);) {
        std::string expression = member(line, "match");
        if (line.find("\"begin\"") != std::string::npos) {
            expression = member(line, "begin");
        }
        if (!expression.empty()) {
            patterns.push_back({member(line, "name"), std::regex(expression)});
        }
    }
    ASSERT_EQ(patterns.size(), 12U);

    std::ifstream file(QV_STDLIB);
    std::map<std::string, int> seen;
    bool afterAt = false;
    for (std::string line; std::getline(file, line);) {
        Tokenizer tokenizer;
        Token token;
        ASSERT_TRUE(tokenizer.openText("line", line));
        for (tokenizer.nextToken(&token); token.type() != kEndOfInput && token.offset() < line.size();
             tokenizer.nextToken(&token)) {
            std::string scope;
            std::smatch match;
            std::size_t earliest = std::string::npos;
            const auto from = line.cbegin() + token.offset();
            for (const Pattern& pattern : patterns) {
                if (std::regex_search(from, line.cend(), match, pattern.expression) &&
                    static_cast<std::size_t>(match.position()) < earliest) {
                    earliest = static_cast<std::size_t>(match.position());
                    scope = pattern.scope;
                }
            }
            ASSERT_EQ(earliest, 0U) << line << " at " << token.offset();
            const bool word = token.type() == kIdentifier;
            if (!(afterAt && word)) { // coloured with the "@" before it
                const std::string expected = word ? "" : scopeOf(token);
                const bool swizzle = scope.starts_with("variable.other.member");
                const bool name = scope.starts_with("variable") || scope.starts_with("entity") ||
                                  scope.starts_with("keyword.other");
                EXPECT_TRUE(word ? name : scope.starts_with(expected) || swizzle)
                    << line << " at " << token.offset() << ": " << scope;
                ++seen[scope];
            }
            afterAt = token.type() == kAt;
        }
    }
    EXPECT_GT(seen["storage.type.qvs"], 1000);
    EXPECT_GT(seen["variable.other.member.qvs"], 20);
    EXPECT_GT(seen["entity.name.function.qvs"], 500);
}

} // namespace
