#include "core/Exception.h"

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
    return stream.str();
}
