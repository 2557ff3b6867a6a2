#include "core/Exception.h"

#include <algorithm>
#include <cstddef>
#include <ios>
#include <utility>

Exception::Exception(std::string text) : type(kInternalError), message(std::move(text)) {}

Exception::Exception(ExceptionType kind, std::string text) : type(kind), message(std::move(text)) {}

Exception::Exception(const Exception& other) = default;
Exception& Exception::operator=(const Exception& other) = default;
Exception::~Exception() = default;

void verifyAlways(bool condition, const std::string& message) {
    if (!condition) [[unlikely]] {
        throw Exception(message);
    }
}

std::string convertToString(const std::ostringstream& stream) {
    // The stream's own text may be longer than what was written: it keeps a text that the stream
    // started with and what lies behind a put position that was moved back.
    std::string text = stream.str();
    const auto written = stream.rdbuf()->pubseekoff(0, std::ios_base::cur, std::ios_base::out);
    text.resize(std::min(text.size(), static_cast<std::size_t>(std::max<std::streamoff>(written, 0))));
    return text;
}
