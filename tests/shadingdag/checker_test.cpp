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

} // namespace
