#include "base/CString.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>

using qvString::CString;

namespace {

// Patterns come from tables, as in the library, so that the compiler does not judge them.
template <class... Arguments>
std::string formatted(const char* pattern, Arguments... arguments) {
    return CString().format(pattern, arguments...).asChar();
}

template <class... Arguments>
std::string printed(const char* pattern, Arguments... arguments) {
    char text[2000];
    EXPECT_LT(std::snprintf(text, sizeof text, pattern, arguments...), int(sizeof text));
    return text;
}

TEST(CString, HoldsAndCompares) {
    CString empty;
    EXPECT_TRUE(empty.isEmpty());
    EXPECT_STREQ(empty.asChar(), "");
    EXPECT_EQ(CString(static_cast<const char*>(nullptr)), empty);

    CString text("abc");
    CString copy = text;
    text.append("d").append(copy).append(static_cast<const char*>(nullptr));
    EXPECT_STREQ(text.asChar(), "abcdabc");
    EXPECT_STREQ(copy.asChar(), "abc");
    EXPECT_FALSE(text == copy);
    EXPECT_EQ(text, "abcdabc");
    copy = "";
    EXPECT_TRUE(copy.isEmpty());
    EXPECT_EQ(copy.assign(text), text);
}

TEST(CString, ArgumentsMayLieInTheString) {
    CString text("0123456789abcdefghij");
    text.append(text).append(text.asChar() + 30);
    EXPECT_STREQ(text.asChar(), "0123456789abcdefghij0123456789abcdefghijabcdefghij");
    text.assign(text.asChar() + 45);
    EXPECT_STREQ(text.asChar(), "fghij");
    text = text.asChar() + 2;
    text.format("%s + %s = %%", text.asChar(), text.asChar());
    EXPECT_STREQ(text.asChar(), "hij + hij = %");
}

TEST(CString, FormatsAnyLength) {
    const std::string long1(100000, 'x');
    const std::string expected = "<" + long1 + "|" + long1 + std::string(7, ' ') + ">";
    EXPECT_EQ(formatted("<%s|%-100007s>", long1.c_str(), long1.c_str()), expected);
    EXPECT_EQ(formatted("%.400f", 1e300), printed("%.400f", 1e300));
}

#if !defined(_WIN32) // where printf itself strays from the C standard
TEST(CString, FormatsAsPrintf) {
    for (const char* flags : {"", "-", "+", " ", "0", "#", "-#", "+0", "#0", "-+"}) {
        for (const char* size : {"", "1", "12", ".0", ".1", ".9", "14.3", "30.17"}) {
            const std::string start = std::string("[%") + flags + size;
            for (const char* conversion : {"e]", "E]", "f]", "g]", "G]"}) {
                const std::string pattern = start + conversion;
                for (double value : {0.0, -0.0, 1.0, 0.5, -1234567.0, 99999.95, 1e10, 1e-5, 1e-4, 1.0 / 3,
                                     1e100, 5e-324, DBL_MAX}) {
                    EXPECT_EQ(formatted(pattern.c_str(), value), printed(pattern.c_str(), value)) << pattern;
                }
            }
            for (const char* conversion : {"d]", "i]", "u]", "x]", "X]", "o]"}) {
                const std::string pattern = start + conversion;
                for (int value : {0, 1, -1, 255, INT_MAX, INT_MIN}) {
                    EXPECT_EQ(formatted(pattern.c_str(), value), printed(pattern.c_str(), value))
                        << pattern << value;
                }
            }
            const std::string pattern = start + "s]";
            EXPECT_EQ(formatted(pattern.c_str(), "text"), printed(pattern.c_str(), "text")) << pattern;
        }
    }
}
#endif

TEST(CString, ReadsArgumentsOfEveryLength) {
    EXPECT_EQ(formatted("%hhd %hd %ld %lld %jd %td %d", 257, 65537, -3L, LLONG_MIN, std::intmax_t(-5),
                        std::ptrdiff_t(-6), 7),
              "1 1 -3 -9223372036854775808 -5 -6 7");
    EXPECT_EQ(formatted("%hhu %hu %lu %llX %ju %zu %zd %tu %u", 257U, 65537U, 3UL, ULLONG_MAX,
                        std::uintmax_t(5), std::size_t(6), std::size_t(7), std::ptrdiff_t(8), 9U),
              "1 1 3 FFFFFFFFFFFFFFFF 5 6 7 8 9");
    EXPECT_EQ(
        formatted("%*d|%-*d|%*d|%.*f|%.*f|%c%3c|%Lg", 4, 1, 4, 2, -4, 3, 1, 0.25, -1, 0.25, 'a', 'b', 0.5L),
        "   1|2   |3   |0.2|0.250000|a  b|0.5");
    EXPECT_EQ(formatted("%p %a %.1A", reinterpret_cast<void*>(0x1aU), 1.0, 0.5), "0x1a 0x1p+0 0X1.0P-1");
    const char unterminated[2] = {'o', 'k'};
    EXPECT_EQ(formatted("%.2s %s", unterminated, static_cast<const char*>(nullptr)), "ok (null)");
    // Behind what cannot be filled, nothing is.
    EXPECT_EQ(formatted("%d %n %d", 1, 2), "1 %n %d");
    EXPECT_EQ(formatted("%d %ls %d", 1, 2), "1 %ls %d");
    EXPECT_EQ(formatted("%d %lc", 1), "1 %lc");
    EXPECT_EQ(formatted("%d%", 1), "1%");
    EXPECT_EQ(formatted(nullptr, 0), "");
}

TEST(CString, GeneralNumbersMatchPrintfEverywhere) {
    std::mt19937_64 random(20240229);
    for (int i = 0; i < 20000; ++i) {
        const std::uint64_t bits = random();
        float narrow;
        double wide;
        std::memcpy(&narrow, &bits, sizeof narrow);
        std::memcpy(&wide, &bits, sizeof wide);
        const double rounded = std::round(double(narrow) * 1000) / 1000; // many trailing zeros
        for (double value : {double(narrow), wide, rounded, double(i) / 100}) {
            if (!std::isnan(value)) {
                ASSERT_EQ(formatted("%g", value), printed("%g", value));
            }
        }
    }
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(formatted("%g %g %G %g %05g", nan, std::copysign(nan, -1), nan, infinity, -infinity),
              "nan nan NAN inf  -inf");
    EXPECT_EQ(formatted("%g %g %g %g %#g", 1e10, 1e-10, 1e100, 999999.5, 999999.5),
              "1e+10 1e-10 1e+100 1e+06 1.00000e+06");
}

TEST(CString, NumbersDoNotFollowTheLocale) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    const char* comma = std::setlocale(LC_ALL, "de_DE.UTF-8");
    if (!comma) {
        comma = std::setlocale(LC_ALL, "German"); // its name on Windows
    }
    const std::string theirs = printed("%g", 1.5);
    const std::string ours = formatted("%g %.2f %#x %d", 1.5, 1234567.25, 255, 1234567);
    std::setlocale(LC_ALL, before.c_str());
    EXPECT_EQ(ours, "1.5 1234567.25 0xff 1234567");
    EXPECT_TRUE(comma) << "no locale with a decimal comma; Debian's package locales has one";
    EXPECT_EQ(theirs, "1,5");
}

} // namespace
