#include "shadingdag/FunctionTable.h"

#include <algorithm>
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
    const std::size_t limit = typingErrors(name) + 1;
    std::vector<std::pair<std::size_t, const CheckedFunction*>> found;
    for (const CheckedFunction& function : fFunctions) {
        if (fByName.at(function.name).front() == &function) {
            const std::size_t distance = editDistance(name, function.name, limit);
            if (distance < limit) {
                found.emplace_back(distance, &function);
            }
        }
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<const CheckedFunction*> result;
    for (std::size_t i = 0; i < std::min(most, found.size()); ++i) {
        result.push_back(found[i].second);
    }
    return result;
}

// The optimal string alignment distance, row by row: Damerau, 1964, and Wagner and Fischer, 1974.
std::size_t editDistance(const std::string& a, const std::string& b, std::size_t limit) {
    if (std::max(a.size(), b.size()) - std::min(a.size(), b.size()) >= limit) {
        return limit;
    }
    std::vector<std::size_t> beforeLast;
    std::vector<std::size_t> last(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) {
        last[j] = j;
    }
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const bool same = a[i - 1] == b[j - 1];
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (same ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
            }
        }
        beforeLast = std::move(last);
        last = row;
    }
    return std::min(last[b.size()], limit);
}

} // namespace qvShadingDag
