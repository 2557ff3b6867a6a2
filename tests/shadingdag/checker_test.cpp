#include "SourceFile.h"
#include "shadingdag/ShadingChecker.h"
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/ShadingParser.h"

#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <sstream>

using namespace qvShadingDag;

namespace {

std::string readWhole(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    EXPECT_TRUE(stream) << file;
    return {std::istreambuf_iterator<char>(stream), {}};
}

const std::string kData = QV_TEST_DATA "diagnostics/";

/// "3:12 error, 4:1 unused-variable"
std::string summary(const std::vector<Diagnostic>& diagnostics) {
    std::string result;
    for (const Diagnostic& diagnostic : diagnostics) {
        EXPECT_EQ(diagnostic.severity == Diagnostic::kError, diagnostic.name.empty());
        EXPECT_FALSE(diagnostic.message.empty());
        EXPECT_EQ(diagnostic.message.find("kInvalid"), std::string::npos) << diagnostic.message;
        result += (result.empty() ? "" : ", ") + std::to_string(diagnostic.line) + ":" +
                  std::to_string(diagnostic.column) + " " +
                  (diagnostic.name.empty() ? "error" : diagnostic.name);
    }
    return result;
}

/// What the checker finds in `source`, which a parser must refuse exactly where there is an error.
std::string check(const std::string& source) {
    ShadingChecker checker;
    EXPECT_TRUE(checker.addLibrary(kData + "base.qvs"));
    checker.checkText("source.qvs", source);
    const std::string found = summary(checker.diagnostics());

    ShadingNodeSpec::clearLibrary();
    ShadingParser library;
    ShadingParser parser;
    EXPECT_TRUE(library.parseFile(kData + "base.qvs", false));
    const bool accepted = parser.parseText("source.qvs", source);
    // A byte order mark is an error also where the parser drops all that follows it.
    EXPECT_EQ(accepted && !source.starts_with("\xEF\xBB\xBF"), found.find("error") == std::string::npos)
        << source << parser.errorString();
    ShadingNodeSpec::clearLibrary();
    return found;
}

struct Row {
    int line = 0;
    std::string expected;
    std::string source;
};

/// The sources of the table, with what is expected of each.
std::vector<Row> readRows() {
    std::istringstream table(readWhole(kData + "sources.txt"));
    std::vector<Row> rows;
    std::string line;
    for (int number = 1; std::getline(table, line); ++number) {
        if (line.starts_with("====")) {
            rows.push_back({number, line.substr(std::min<std::size_t>(5, line.size())), ""});
        } else if (!rows.empty()) {
            rows.back().source += line + "\n";
        }
    }
    return rows;
}

TEST(ShadingChecker, FindsEachFaultAtItsPlace) {
    const std::vector<Row> rows = readRows();
    for (const Row& row : rows) {
        EXPECT_EQ(check(row.source), row.expected) << "sources.txt:" << row.line << "\n" << row.source;
    }
    EXPECT_GE(rows.size(), 100U);
}

/// Pieces of sources, put together at random: an error exactly where the parser refuses.
TEST(ShadingChecker, RefusesWhatTheParserRefuses) {
    const std::vector<Row> rows = readRows();
    std::mt19937 random(7);
    const auto below = [&](std::size_t end) { return random() % end; };
    for (int round = 0; round < 500; ++round) {
        std::string source = rows[below(rows.size())].source;
        const std::string& other = rows[below(rows.size())].source;
        for (std::size_t edits = below(3); edits > 0 && !source.empty(); --edits) {
            const std::size_t from = below(other.size());
            source.replace(below(source.size()), below(4), other, from, below(4) == 0 ? below(20) : below(4));
        }
        check(source);
        if (HasFailure()) {
            break;
        }
    }
}

// A carriage return is no column. On Windows files are read in text mode, which removes it; where
// it stays, it is one of the two characters that are lost behind a block comment.
TEST(ShadingChecker, ReadsLineEndsOfWindows) {
    struct {
        const char* source;
        const char* asBytes;
        const char* asText;
    } const rows[] = {
        {"float f(float x) {\r\n    return y;\r\n}\r\n", "2:12 error", "2:12 error"},
        {"float f(float x)\r\n{ return x }\r\n", "2:11 error", "2:11 error"},
        {"/* c */\r\nint g(int y) { return y; }\r\n", "", "1:6 comment-eats-text, 2:2 error"},
        {"// a // b\r\n\r\nint g(int y) { return y; }\r\n", "", "1:6 comment-in-comment"},
    };
    for (const auto& row : rows) {
        ShadingChecker checker;
        EXPECT_TRUE(checker.checkFile(writeSource("line_ends.qvs", row.source)));
#if defined(_WIN32)
        EXPECT_EQ(summary(checker.diagnostics()), row.asText) << row.source;
#else
        EXPECT_EQ(summary(checker.diagnostics()), row.asBytes) << row.source;
#endif
    }
}

// What stands in the notes and beside the place.
TEST(ShadingChecker, SaysWhatWasMeant) {
    struct {
        const char* source;
        const char* expected; ///< message, and the notes behind it
    } const rows[] = {
        {"float f(float normla, float x) { return normal + x + normla; }",
         "no variable is called \"normal\"; did you mean \"normla\"?"},
        {"float \xC3\xA4(float x) { return x; }", "expected the function's name, found \"\xC3\xA4\""},
        {"float f(float x) { return x; } \x1B",
         "\"\xEF\xBF\xBD\" is dropped: a header needs a \";\" or a body behind it"},
        {"float f(float3 v) { return dto(v, v); }",
         "no function is called \"dto\" | base.qvs:7:7 did you mean \"dot\"?"},
        {"float f(int i) { return sin(i); }",
         "no function \"sin\" takes (int); nothing is converted: write toFloat(...) or toInt(...) | "
         "base.qvs:6:7 sin(float): argument 1 is int, not float | base.qvs:6:29 sin(float2): argument 1 is "
         "int, not "
         "float2"},
        {"float f(float x, float y) { return scaled(x, y); }",
         "parameter \"factor\" of \"scaled\" allows constant, this value is constant:fragment | "
         "base.qvs:10:7 "
         "scaled(float, float)"},
    };
    for (const auto& row : rows) {
        ShadingChecker checker;
        checker.checkText("base.qvs", readWhole(kData + "base.qvs"));
        checker.checkText("source.qvs", row.source);
        ASSERT_EQ(checker.diagnostics().size(), 1U) << row.source;
        const Diagnostic& found = checker.diagnostics().front();
        std::string text = found.message;
        for (const DiagnosticNote& note : found.notes) {
            text += " | " + note.file + ":" + std::to_string(note.line) + ":" + std::to_string(note.column) +
                    " " + note.message;
        }
        EXPECT_EQ(text, row.expected);
        EXPECT_EQ(found.sourceLine, row.source);
    }
}

TEST(ShadingChecker, EndsItsListAndItsNesting) {
    std::string many;
    for (int i = 0; i < 120; ++i) {
        many += "float f" + std::to_string(i) + "(float x) { return y; }\n";
    }
    ShadingChecker checker;
    checker.checkText("many.qvs", many);
    checker.checkText("more.qvs", many);
    EXPECT_EQ(checker.diagnostics().size(), 100U);
    EXPECT_EQ(checker.diagnostics().back().line, 100U);

    // A line that nobody reads is not copied into each of its diagnostics.
    ShadingChecker wide;
    wide.checkText("wide.qvs", std::string(1001, ' ') + "float f(float x) { return y; }");
    ASSERT_EQ(summary(wide.diagnostics()), "1:1028 error");
    EXPECT_EQ(wide.diagnostics().front().sourceLine, "");

    const auto nested = [](std::size_t depth, const std::string& open) {
        return "float f(float x) { return " + std::string(depth, '(').replace(0, 0, open) + "x" +
               std::string(depth + (open.empty() ? 0 : 1), ')') + "; }";
    };
    EXPECT_EQ(check(nested(255, "")), "");
    EXPECT_EQ(check(nested(256, "")), "1:282 error");
    EXPECT_EQ(check(nested(100000, "sin(")), "1:285 error");
}

// A library's errors are told, its warnings are not; a checker leaves the host's library alone.
TEST(ShadingChecker, KeepsToItself) {
    const std::string file = writeSource("library.qvs", "float f(float x, float y) { return x; }\nfloat g(;");
    ShadingChecker checker;
    EXPECT_TRUE(checker.addLibrary(file));
    EXPECT_EQ(summary(checker.diagnostics()), "2:9 error");
    EXPECT_FALSE(checker.checkFile(file + ".missing"));
    EXPECT_EQ(ShadingNodeSpec::findSpecInLibrary("f"), nullptr);
}

// What a newer reading of a file changes for look-ups, and what stays for graphs.
TEST(ShadingParserReload, ReplacesTheFunctionsOfAFile) {
    const auto parse = [](const char* name, const char* text) {
        ShadingParser parser;
        EXPECT_TRUE(parser.parseText(name, text)) << parser.errorString();
    };
    parse("a.qvs", "float f(float x); float gone(float x) { return f(x); }");
    parse("b.qvs", "float f(float x) { return x; } float g(float x) { return gone(x); }");
    ShadingNodeSpec* const declared = ShadingNodeSpec::findSpecInLibrary("f");
    ShadingNodeSpec* const gone = ShadingNodeSpec::findSpecInLibrary("gone");

    ShadingParser::Replacements replaced;
    ShadingParser failing;
    EXPECT_FALSE(failing.reloadText("a.qvs", "float f(float x); float h(float x) { return y; }", replaced));
    EXPECT_TRUE(replaced.empty());
    EXPECT_EQ(failing.diagnostics().back().column, 45U);
    EXPECT_EQ(ShadingNodeSpec::findSpecInLibrary("f"), declared) << "stands before that of b.qvs again";
    EXPECT_EQ(ShadingNodeSpec::findSpecInLibrary("gone"), gone);
    EXPECT_EQ(ShadingNodeSpec::findSpecInLibrary("h"), nullptr);

    ShadingParser parser;
    EXPECT_TRUE(
        parser.reloadText("a.qvs", "float more(float x); float f(float x) { return more(x); }", replaced));
    ShadingNodeSpec* const renewed = ShadingNodeSpec::findSpecInLibrary("f");
    EXPECT_EQ(replaced, (ShadingParser::Replacements{{declared, renewed}, {gone, nullptr}}));
    EXPECT_EQ(renewed->sourceFile(), "a.qvs") << "still before that of b.qvs";
    EXPECT_EQ(ShadingNodeSpec::findSpecInLibrary("gone"), nullptr);
    ShadingNodeSpec::findSpecInLibrary("g")->expandFunctionCalls(); // calls what was replaced
    ShadingNodeSpec::clearLibrary();
    EXPECT_EQ(ShadingNodeSpec::fsNumInstances_ShadingNodeSpec, 0);
}

} // namespace
