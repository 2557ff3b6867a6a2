#include "Values.h"

#include "Failure.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <system_error>

using namespace qvShadingDag;

namespace {

bool readNumber(const std::string& text, int& number) {
    const char* end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, number);
    return result.ec == std::errc() && result.ptr == end;
}

/// What is too large or too small for its type is infinity or next to 0, as in a source.
bool readNumber(const std::string& text, double& number) {
    const char* end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, number);
    if (result.ec == std::errc::result_out_of_range) {
        number = std::strtod(text.c_str(), nullptr);
        return result.ptr == end;
    }
    return result.ec == std::errc() && result.ptr == end;
}

/// One component; false where the text is none of the type.
bool readComponent(const std::string& text, DataType type, double& component) {
    if (type == kBool) {
        component = text == "true" ? 1 : 0;
        return text == "true" || text == "false";
    }
    if (type >= kInt && type <= kInt4) {
        int whole = 0;
        const bool read = readNumber(text, whole);
        component = whole;
        return read;
    }
    return readNumber(text, component);
}

Failure badValue(const ShadingAttribute& input, const std::string& what) {
    return failure(kBadCommandLine,
                   "input '" + dataTypeName(input.dataType()) + " " + input.name() + "': " + what);
}

} // namespace

const ShadingAttribute& inputNamed(const ShadingNodeSpec& spec, const std::string& name) {
    std::string all;
    ShadingNodeSpec::AttributeIterator input;
    ShadingNodeSpec::AttributeIterator last;
    for (spec.inputs(input, last); input != last; ++input) {
        if (input->name() == name) {
            return *input;
        }
        all += (all.empty() ? "" : ", ") + dataTypeName(input->dataType()) + " " + input->name();
    }
    throw failure(kBadCommandLine, "'" + spec.name() + "' has no input '" + name +
                                       "'; its inputs are: " + (all.empty() ? "none" : all));
}

bool isMapName(const std::string& text) {
    return text == "checker" || text == "white" || text.starts_with("@");
}

ShadingValue readValue(const std::string& text, const ShadingAttribute& input) {
    if (isMapName(text) != (input.dataType() == kTexObj)) {
        throw badValue(input, isMapName(text) ? "'" + text + "' is a map"
                                              : "it takes @FILE, checker or white, not '" + text + "'");
    }
    ShadingValue value(input.dataType(), {});
    if (input.dataType() == kTexObj) {
        return value;
    }
    const int width = value.width();
    int count = 0;
    for (std::size_t start = 0; start <= text.size(); ++count) {
        const std::size_t end = std::min(text.find(',', start), text.size());
        const std::string component = text.substr(start, end - start);
        double number = 0;
        if (!readComponent(component, value.type, number)) {
            throw badValue(input, std::string("'").append(component).append("' in '").append(text).append(
                                      "' is no component of that type"));
        }
        if (count < width) {
            value.c[static_cast<std::size_t>(count)] = number;
        }
        start = end + 1;
    }
    if (count != width) {
        throw badValue(input, "it takes " + std::to_string(width) + " components, not the " +
                                  std::to_string(count) + " of '" + text + "'");
    }
    return value.delivered();
}
