#include "shadingdag/FunctionTable.h"

#include "base/NearWords.h"

#include <utility>

namespace qvShadingDag {

namespace {

std::string keyOf(const std::string& name, const std::vector<DataType>& types) {
    std::string key = name + '(';
    for (const DataType type : types) {
        key += static_cast<char>(type);
    }
    return key;
}

std::vector<DataType> typesOf(const CheckedFunction& function) {
    std::vector<DataType> types;
    for (const CheckedParameter& parameter : function.parameters) {
        types.push_back(parameter.type);
    }
    return types;
}

} // namespace

std::string CheckedFunction::signature() const {
    std::string text = name + "(";
    const char* separator = "";
    for (const CheckedParameter& parameter : parameters) {
        text += separator + std::string(parameter.isOutput ? "out " : "") + dataTypeName(parameter.type);
        separator = ", ";
    }
    return text + ")";
}

const CheckedFunction& FunctionTable::add(CheckedFunction function) {
    const std::string key = keyOf(function.name, typesOf(function));
    fFunctions.push_back(std::move(function));
    const CheckedFunction* added = &fFunctions.back();
    fByName[added->name].push_back(added);
    fBySignature.try_emplace(key, added);
    if (added->isDefined) {
        fDefinitions.try_emplace(key, added);
    }
    return *added;
}

const std::vector<const CheckedFunction*>* FunctionTable::named(const std::string& name) const {
    const auto found = fByName.find(name);
    return found == fByName.end() ? nullptr : &found->second;
}

const CheckedFunction* FunctionTable::find(const std::string& name,
                                           const std::vector<DataType>& types) const {
    const auto found = fBySignature.find(keyOf(name, types));
    return found == fBySignature.end() ? nullptr : found->second;
}

const CheckedFunction* FunctionTable::findDefinition(const std::string& name,
                                                     const std::vector<DataType>& types) const {
    const auto found = fDefinitions.find(keyOf(name, types));
    return found == fDefinitions.end() ? nullptr : found->second;
}

std::vector<const CheckedFunction*> FunctionTable::nearest(const std::string& name, std::size_t most) const {
    std::vector<std::string_view> names;
    for (const CheckedFunction& function : fFunctions) {
        if (fByName.at(function.name).front() == &function) {
            names.push_back(function.name);
        }
    }
    std::vector<const CheckedFunction*> result;
    for (const std::string& found : qvString::nearWords(name, names, most)) {
        result.push_back(fByName.at(found).front());
    }
    return result;
}

} // namespace qvShadingDag
