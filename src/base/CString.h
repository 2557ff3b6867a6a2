#pragma once

#include "base/Export.h"

#include <string>

#if defined(__clang__)
#define QV_PRINTF_LIKE(formatAt, argumentsAt) __attribute__((format(printf, formatAt, argumentsAt)))
#elif defined(__GNUC__)
#define QV_PRINTF_LIKE(formatAt, argumentsAt) __attribute__((format(gnu_printf, formatAt, argumentsAt)))
#else
#define QV_PRINTF_LIKE(formatAt, argumentsAt)
#endif

namespace qvString {

/// A string of characters that owns its text; what the program texts are made of.
///
///     qvString::CString line;
///     line.format("float4 %s = { %g, %g, %g, %g };", name.asChar(), r, g, b, 1.0);
///     line.append("\n");
///     std::fputs(line.asChar(), stdout);
///
/// A null `const char*` counts as an empty text everywhere. Arguments may lie inside the string
/// itself. Appending costs amortised the length of what is appended.
class QV_EXPORT CString {
public:
    /// An empty text.
    CString() = default;
    /// A copy of the text.
    CString(const char* text); // NOLINT(google-explicit-constructor): texts are handed over as they are
    CString(const CString& other);
    CString(CString&& other) noexcept;
    CString& operator=(const CString& other);
    CString& operator=(CString&& other) noexcept;
    CString& operator=(const char* text);
    ~CString();

    /// Replaces the text.
    CString& assign(const char* text);
    /// Replaces the text by that of `other`, which may be this string.
    CString& assign(const CString& other);

    /// Adds to the end of the text.
    CString& append(const char* text);
    /// Adds the text of `other`, which may be this string.
    CString& append(const CString& other);

    /// Replaces the text with `pattern`, its conversions filled as by `printf`; the result may have
    /// any length, and the string itself may be among the arguments.
    ///
    /// The text is the same on every platform and in every locale: the decimal point is ".", an
    /// exponent has at least two digits ("1e+10"), numbers that are none are "inf" and "nan", a null
    /// string is "(null)". The conversions are `d i u o x X c s p e E f F g G a A %` with flags,
    /// width, precision (`*` included) and length modifiers; `long double` is printed with the
    /// precision of `double`. At any other conversion (`%n`, `%ls`, `%lc`) the filling ends: the rest of
    /// the pattern is copied as it stands.
    CString& format(const char* pattern, ...) QV_PRINTF_LIKE(2, 3);

    /// The text; valid until the string changes.
    const char* asChar() const { return fText.c_str(); }
    /// Whether there is no character.
    bool isEmpty() const { return fText.empty(); }

    /// Same text, byte by byte.
    friend bool operator==(const CString& a, const CString& b) { return a.fText == b.fText; }

private:
    std::string fText;
};

} // namespace qvString
