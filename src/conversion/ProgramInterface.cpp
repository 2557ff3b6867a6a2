#include "conversion/ProgramInterface.h"

#include "base/CString.h"

#include <cmath>

namespace qvShadingDag {

namespace {

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            result += '\\';
        }
        if (static_cast<unsigned char>(c) < ' ') {
            qvString::CString escape;
            escape.format("\\u%04x", static_cast<unsigned int>(static_cast<unsigned char>(c)));
            result += escape.asChar();
        } else {
            result += c;
        }
    }
    return result + "\"";
}

// JSON has no number for what is none.
std::string number(double value) {
    qvString::CString text;
    text.format("%.9g", value);
    return std::isfinite(value) ? text.asChar() : "null";
}

template <class Items, class Text>
std::string list(const Items& items, Text text) {
    std::string result = "[";
    for (const auto& item : items) {
        result += (result.size() > 1 ? ", " : "") + text(item);
    }
    return result + "]";
}

std::string entry(const ProgramVariable& variable, bool hoisted) {
    std::string text = "{\"name\": " + quoted(variable.name);
    const auto add = [&text](const char* key, const std::string& value) {
        text += std::string(", \"") + key + "\": " + value;
    };
    const auto addNumber = [&add](const char* key, int value) {
        if (value >= 0) {
            add(key, std::to_string(value));
        }
    };
    add("type", quoted(dataTypeName(variable.type)));
    add("input", quoted(variable.input));
    if (hoisted) {
        add("inputs", list(variable.inputs, quoted));
    }
    addNumber("location", variable.location);
    addNumber("component", variable.component);
    addNumber("binding", variable.binding);
    addNumber("offset", variable.offset);
    if (!variable.kind.empty()) {
        add("kind", quoted(variable.kind));
    }
    add("lightSpecific", variable.lightSpecific ? "true" : "false");
    if (!variable.value.empty()) {
        add("value", list(variable.value, number));
    }
    return text + "}";
}

} // namespace

std::string ProgramInterface::toJson() const {
    std::string text = "{\n  \"target\": " + quoted(target) + ",\n  \"policy\": " + quoted(policy);
    if (blockSize > 0) {
        text += ",\n  \"block\": {\"set\": " + std::to_string(blockSet) +
                ", \"binding\": " + std::to_string(blockBinding) +
                ", \"size\": " + std::to_string(blockSize) + "}";
    }
    const struct {
        const char* name;
        const std::vector<ProgramVariable>& variables;
    } lists[] = {{"attributes", attributes}, {"uniforms", uniforms}, {"hoisted", hoisted},
                 {"samplers", samplers},     {"varyings", varyings}, {"outputs", outputs}};
    for (const auto& [name, variables] : lists) {
        text += std::string(",\n  \"") + name + "\": [";
        const char* separator = "\n    ";
        for (const ProgramVariable& variable : variables) {
            text += separator + entry(variable, &variables == &hoisted);
            separator = ",\n    ";
        }
        text += variables.empty() ? "]" : "\n  ]";
    }
    return text + "\n}\n";
}

} // namespace qvShadingDag
