#pragma once

#include "core/DataType.h"
#include "shadingdag/CompFreqRange.h"
#include "shadingdag/Diagnostic.h"

#include <cstdint>
#include <list>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace qvShadingDag {

/// The type of an expression that an error has left without one: it fits everywhere.
inline constexpr DataType kUnknownType = static_cast<DataType>(-1);

/// A parameter of a function that the checker has read.
struct CheckedParameter {
    std::string name;
    DataType type = kUnknownType;
    CompFreqRange range;
    bool isOutput = false;
};

/// When an output can be computed at the earliest: at a level of its own, and no earlier than the
/// arguments that it uses, one bit each (the last bit stands for all arguments from there on).
struct Earliest {
    unsigned int level = kConstantFreq;
    std::uint64_t arguments = 0;

    static std::uint64_t bitOf(std::size_t argument) {
        return std::uint64_t{1} << (argument < 63 ? argument : 63);
    }
    void wait(const Earliest& other) {
        level = level > other.level ? level : other.level;
        arguments |= other.arguments;
    }
};

/// The interface of a function that the checker has read.
struct CheckedFunction {
    std::string name;
    std::vector<CheckedParameter> parameters;
    DataType result = kVoid;
    CompFreqRange resultRange;
    bool isDefined = false;
    Earliest resultEarliest;
    std::vector<Earliest> earliest; ///< by parameter; of outputs
    DiagnosticNote place;           ///< of its name

    /// "dot(float3, float3)"
    std::string signature() const;
};

/// The functions that the checker has read, in their order.
class FunctionTable {
public:
    /// Adds a function and returns it; it stays where it is.
    const CheckedFunction& add(CheckedFunction function);
    /// All functions of a name; null when there is none.
    const std::vector<const CheckedFunction*>* named(const std::string& name) const;
    /// The first function with exactly these parameter types; null when there is none.
    const CheckedFunction* find(const std::string& name, const std::vector<DataType>& types) const;
    /// The first definition with these parameter types; null when there is none.
    const CheckedFunction* findDefinition(const std::string& name, const std::vector<DataType>& types) const;

    /// From now on calls of that name are no errors: what it stands for could not be read.
    void giveUp(const std::string& name) { fGivenUp.insert(name); }
    bool isGivenUp(const std::string& name) const { return fGivenUp.contains(name); }

    /// The functions whose names look most like `name`, one for each name, nearest first; at most
    /// `most`.
    std::vector<const CheckedFunction*> nearest(const std::string& name, std::size_t most) const;

private:
    std::list<CheckedFunction> fFunctions;
    std::unordered_map<std::string, std::vector<const CheckedFunction*>> fByName;
    std::unordered_map<std::string, const CheckedFunction*> fBySignature;
    std::unordered_map<std::string, const CheckedFunction*> fDefinitions;
    std::unordered_set<std::string> fGivenUp;
};

} // namespace qvShadingDag
