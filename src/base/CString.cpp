#include "base/CString.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>
#include <utility>

namespace qvString {

// `format` is our own because the C libraries differ in the texts of exponents, infinities and
// decimal points, and this library's texts must not. A conversion is handled in three steps:
// 1. its directive (flags, width, precision, length, conversion) is parsed;
// 2. its argument becomes a prefix (sign, "0x") and a body of digits or characters;
// 3. both are padded to the width.
// The list of arguments is started by `format`; some of the integer types may be the same type.
// NOLINTBEGIN(clang-analyzer-valist.Uninitialized,bugprone-branch-clone)
namespace {

struct Directive {
    bool left = false;      // -
    bool plus = false;      // +
    bool blank = false;     // ' '
    bool alternate = false; // #
    bool zeros = false;     // 0
    int width = 0;
    int precision = -1;  // -1: none given
    char length = 0;     // h l j z t L, 'H' for hh, 'q' for ll
    char conversion = 0; // 0: the pattern ended
};

struct Arguments {
    va_list list;
};

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

int parseNumber(const char*& at) {
    int number = 0;
    for (; isDigit(*at); ++at) {
        number = number > (INT_MAX - 9) / 10 ? INT_MAX : number * 10 + (*at - '0');
    }
    return number;
}

void parseFlags(const char*& at, Directive& directive) {
    for (;; ++at) {
        switch (*at) {
        case '-':
            directive.left = true;
            break;
        case '+':
            directive.plus = true;
            break;
        case ' ':
            directive.blank = true;
            break;
        case '#':
            directive.alternate = true;
            break;
        case '0':
            directive.zeros = true;
            break;
        default:
            return;
        }
    }
}

void parseWidth(const char*& at, Directive& directive, Arguments& arguments) {
    if (*at != '*') {
        directive.width = parseNumber(at);
        return;
    }
    ++at;
    const int width = va_arg(arguments.list, int);
    directive.left = directive.left || width < 0;
    directive.width = width < 0 ? -std::max(width, -INT_MAX) : width;
}

void parsePrecision(const char*& at, Directive& directive, Arguments& arguments) {
    if (*at != '.') {
        return;
    }
    ++at;
    if (*at == '*') {
        ++at;
        directive.precision = std::max(va_arg(arguments.list, int), -1);
    } else {
        directive.precision = parseNumber(at);
    }
}

void parseLength(const char*& at, Directive& directive) {
    if (*at == '\0' || !std::strchr("hljztL", *at)) {
        return;
    }
    directive.length = *at++;
    if (directive.length == 'h' && *at == 'h') {
        directive.length = 'H';
        ++at;
    } else if (directive.length == 'l' && *at == 'l') {
        directive.length = 'q';
        ++at;
    }
}

// Reads what stands behind a "%", up to and with the conversion's letter.
Directive parseDirective(const char*& at, Arguments& arguments) {
    Directive directive;
    parseFlags(at, directive);
    parseWidth(at, directive, arguments);
    parsePrecision(at, directive, arguments);
    parseLength(at, directive);
    directive.conversion = *at;
    if (*at) {
        ++at;
    }
    return directive;
}

void appendPadded(std::string& text, const Directive& directive, bool zeros, std::string_view prefix,
                  std::string_view body) {
    const std::size_t used = prefix.size() + body.size();
    const auto width = static_cast<std::size_t>(directive.width);
    const std::size_t fill = width > used ? width - used : 0;
    if (!directive.left && !zeros) {
        text.append(fill, ' ');
    }
    text.append(prefix);
    if (!directive.left && zeros) {
        text.append(fill, '0');
    }
    text.append(body);
    if (directive.left) {
        text.append(fill, ' ');
    }
}

const char* signOf(const Directive& directive, bool negative) {
    return negative ? "-" : directive.plus ? "+" : directive.blank ? " " : "";
}

void makeUpper(std::string& text) {
    for (char& c : text) {
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
}

// --- integers

std::intmax_t nextSigned(char length, Arguments& arguments) {
    switch (length) {
    case 'H':
        return static_cast<signed char>(va_arg(arguments.list, int));
    case 'h':
        return static_cast<short>(va_arg(arguments.list, int));
    case 'l':
        return va_arg(arguments.list, long);
    case 'q':
        return va_arg(arguments.list, long long);
    case 'j':
        return va_arg(arguments.list, std::intmax_t);
    case 'z':
        return va_arg(arguments.list, std::make_signed_t<std::size_t>);
    case 't':
        return va_arg(arguments.list, std::ptrdiff_t);
    default:
        return va_arg(arguments.list, int);
    }
}

std::uintmax_t nextUnsigned(char length, Arguments& arguments) {
    switch (length) {
    case 'H':
        return static_cast<unsigned char>(va_arg(arguments.list, unsigned int));
    case 'h':
        return static_cast<unsigned short>(va_arg(arguments.list, unsigned int));
    case 'l':
        return va_arg(arguments.list, unsigned long);
    case 'q':
        return va_arg(arguments.list, unsigned long long);
    case 'j':
        return va_arg(arguments.list, std::uintmax_t);
    case 'z':
        return va_arg(arguments.list, std::size_t);
    case 't':
        return va_arg(arguments.list, std::make_unsigned_t<std::ptrdiff_t>);
    default:
        return va_arg(arguments.list, unsigned int);
    }
}

void appendInteger(std::string& text, const Directive& directive, std::uintmax_t magnitude, int base,
                   std::string prefix) {
    char digits[24]; // 22 octal digits of 64 bits at most
    const auto end = std::to_chars(digits, digits + sizeof digits, magnitude, base).ptr;
    std::string body(digits, end);
    if (magnitude == 0 && directive.precision == 0) {
        body.clear();
    }
    const auto least = static_cast<std::size_t>(std::max(directive.precision, 0));
    if (body.size() < least) {
        body.insert(0, least - body.size(), '0');
    }
    if (directive.alternate && base == 8 && (body.empty() || body[0] != '0')) {
        body.insert(0, 1, '0');
    }
    if (directive.alternate && base == 16 && magnitude != 0) {
        prefix = "0x";
    }
    if (directive.conversion == 'X') {
        makeUpper(prefix);
        makeUpper(body);
    }
    appendPadded(text, directive, directive.zeros && directive.precision < 0, prefix, body);
}

// --- floating-point numbers

std::string digitsOf(double magnitude, std::chars_format style, int precision) {
    // 309 digits before the point, or a leading digit and an exponent; 16 more are ample.
    const std::size_t room =
        (style == std::chars_format::fixed ? 325U : 32U) + static_cast<std::size_t>(precision);
    std::string digits(room, '\0');
    char* const begin = digits.data();
    digits.resize(static_cast<std::size_t>(
        std::to_chars(begin, begin + room, magnitude, style, precision).ptr - begin));
    return digits;
}

std::string hexDigitsOf(double magnitude, int precision) {
    if (precision >= 0) {
        return digitsOf(magnitude, std::chars_format::hex, precision);
    }
    char digits[32];
    return {digits, std::to_chars(digits, digits + sizeof digits, magnitude, std::chars_format::hex).ptr};
}

// General style with its trailing zeros: `precision` significant digits, scientific when the
// exponent is below -4 or not below the precision.
std::string fullGeneralDigitsOf(double magnitude, int precision) {
    std::string digits = digitsOf(magnitude, std::chars_format::scientific, precision - 1);
    const char* exponentAt = digits.c_str() + digits.find('e') + 1;
    const int sign = *exponentAt++ == '-' ? -1 : 1;
    const int exponent = sign * parseNumber(exponentAt);
    return exponent < -4 || exponent >= precision
               ? digits
               : digitsOf(magnitude, std::chars_format::fixed, precision - 1 - exponent);
}

std::string finiteBody(const Directive& directive, char style, double magnitude) {
    const int precision = directive.precision < 0 ? 6 : directive.precision;
    std::string body;
    switch (style) {
    case 'e':
        body = digitsOf(magnitude, std::chars_format::scientific, precision);
        break;
    case 'f':
        body = digitsOf(magnitude, std::chars_format::fixed, precision);
        break;
    case 'a':
        body = hexDigitsOf(magnitude, directive.precision);
        break;
    default:
        body = directive.alternate ? fullGeneralDigitsOf(magnitude, std::max(precision, 1))
                                   : digitsOf(magnitude, std::chars_format::general, std::max(precision, 1));
    }
    if (directive.alternate && body.find('.') == std::string::npos) {
        body.insert(std::min(body.find_first_of(style == 'a' ? "p" : "e"), body.size()), 1, '.');
    }
    return body;
}

void appendFloat(std::string& text, const Directive& directive, double value) {
    const bool upper = directive.conversion < 'a';
    const char style = upper ? static_cast<char>(directive.conversion - 'A' + 'a') : directive.conversion;
    // The sign bit of a not-a-number depends on compiler and processor: it is not printed.
    std::string prefix = signOf(directive, std::signbit(value) && !std::isnan(value));
    std::string body;
    if (std::isfinite(value)) {
        prefix += style == 'a' ? "0x" : "";
        body = finiteBody(directive, style, std::fabs(value));
    } else {
        body = std::isnan(value) ? "nan" : "inf";
    }
    if (upper) {
        makeUpper(prefix);
        makeUpper(body);
    }
    appendPadded(text, directive, directive.zeros && std::isfinite(value), prefix, body);
}

// --- characters

void appendString(std::string& text, const Directive& directive, const char* string) {
    if (!string) {
        string = "(null)";
    }
    std::size_t length = 0;
    if (directive.precision < 0) {
        length = std::strlen(string);
    } else { // what lies behind the precision need not be there
        const auto limit = static_cast<std::size_t>(directive.precision);
        while (length < limit && string[length]) {
            ++length;
        }
    }
    appendPadded(text, directive, false, "", {string, length});
}

// Appends the next argument; false for a conversion that is not known.
bool appendConversion(std::string& text, const Directive& directive, Arguments& arguments) {
    switch (directive.conversion) {
    case 'd':
    case 'i': {
        const std::intmax_t value = nextSigned(directive.length, arguments);
        const auto bits = static_cast<std::uintmax_t>(value);
        appendInteger(text, directive, value < 0 ? 0 - bits : bits, 10, signOf(directive, value < 0));
        return true;
    }
    case 'u':
        appendInteger(text, directive, nextUnsigned(directive.length, arguments), 10, "");
        return true;
    case 'o':
        appendInteger(text, directive, nextUnsigned(directive.length, arguments), 8, "");
        return true;
    case 'x':
    case 'X':
        appendInteger(text, directive, nextUnsigned(directive.length, arguments), 16, "");
        return true;
    case 'p': {
        const auto address = reinterpret_cast<std::uintptr_t>(va_arg(arguments.list, void*));
        appendInteger(text, directive, address, 16, "0x");
        return true;
    }
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
        appendFloat(text, directive,
                    directive.length == 'L' ? static_cast<double>(va_arg(arguments.list, long double))
                                            : va_arg(arguments.list, double));
        return true;
    case 'c': {
        if (directive.length == 'l') {
            return false;
        }
        const char c = static_cast<char>(va_arg(arguments.list, int));
        appendPadded(text, directive, false, "", {&c, c ? 1U : 0U});
        return true;
    }
    case 's':
        if (directive.length == 'l') {
            return false;
        }
        appendString(text, directive, va_arg(arguments.list, const char*));
        return true;
    case '%':
        text += '%';
        return true;
    default:
        return false;
    }
}

std::string formatted(const char* pattern, Arguments& arguments) {
    std::string text;
    const char* at = pattern;
    while (const char* percent = std::strchr(at, '%')) {
        text.append(at, percent);
        at = percent + 1;
        const Directive directive = parseDirective(at, arguments);
        if (!appendConversion(text, directive, arguments)) {
            at = percent;
            break;
        }
    }
    return text.append(at);
}

const char* orEmpty(const char* text) {
    return text ? text : "";
}

} // namespace
// NOLINTEND(clang-analyzer-valist.Uninitialized,bugprone-branch-clone)

CString::CString(const char* text) : fText(orEmpty(text)) {}
CString::CString(const CString& other) = default;
CString::CString(CString&& other) noexcept = default;
CString& CString::operator=(const CString& other) = default;
CString& CString::operator=(CString&& other) noexcept = default;
CString::~CString() = default;

CString& CString::operator=(const char* text) {
    return assign(text);
}

CString& CString::assign(const char* text) {
    fText.assign(orEmpty(text));
    return *this;
}

CString& CString::assign(const CString& other) {
    fText = other.fText;
    return *this;
}

CString& CString::append(const char* text) {
    fText.append(orEmpty(text));
    return *this;
}

CString& CString::append(const CString& other) {
    fText.append(other.fText);
    return *this;
}

CString& CString::format(const char* pattern, ...) {
    Arguments arguments;
    va_start(arguments.list, pattern);
    std::string text = formatted(orEmpty(pattern), arguments); // built apart: an argument may be our own text
    va_end(arguments.list);
    fText = std::move(text);
    return *this;
}

} // namespace qvString
