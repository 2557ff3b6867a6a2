#pragma once

#include "shadingdag/ShadingNodeSpec.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace programTesting {

using namespace qvShadingDag;

/// A function that the proofs make up, as a list of values: inputs, literals and calls. Values are
/// numbered through in the order of `steps`; a call has one for each output.
struct ProofFunction {
    enum Kind { kInput, kLiteral, kCall };
    struct Step {
        Kind kind;
        DataType type = kInvalidDataType;        ///< of an input or a literal
        CompFreqRange range;                     ///< as an input is declared
        std::vector<double> literal;             ///< its components
        const ShadingNodeSpec* callee = nullptr; ///< of a call
        std::vector<int> arguments;              ///< values; an input may stand behind its reader
        int firstResult = 0;                     ///< the value that is its first output
    };

    std::string what; ///< the signature that it is about, or the seed that it came from
    std::vector<Step> steps;
    std::vector<int> shown; ///< the values that the colour is a weighted sum of

    /// Each appends a step and returns its value, of a call that of the first output.
    int addInput(DataType type, const CompFreqRange& range = CompFreqRange());
    int addLiteral(DataType type, std::vector<double> components);
    int addCall(const ShadingNodeSpec* callee, std::vector<int> arguments);

    /// The type of every value.
    std::vector<DataType> valueTypes() const;
    int numInputs() const;

    /// The function in the library's terms, called "proof", with the float4 output "output" and inputs
    /// i0, i1, …; not in the library. Throws an `Exception` where a call is not possible.
    std::unique_ptr<ShadingNodeSpec> build() const;
    /// The same as text of the shading language, for people.
    std::string source() const;
    /// Leaves out the steps that `shown` does not need.
    void dropUnread();
};

/// All functions of stdlib.qvs, which is read once; those with the same name stay in the order of the
/// file. Empty when it cannot be read.
const std::vector<ShadingNodeSpec*>& standardLibrary();

/// "name(type,type)".
std::string signature(const ShadingNodeSpec& spec);

/// One call of `spec`: its arguments are inputs of the wrapper, declared as far as the parameters
/// demand, or literals where a program text needs them so (swizzles, rows and columns). With
/// `matricesFromRows` a matrix is made from rows that vary, so that the programs and not the host
/// compute with it.
ProofFunction wrap(const ShadingNodeSpec& spec, bool matricesFromRows = false);

/// Whether that makes a difference.
bool takesMatrices(const ShadingNodeSpec& spec);

/// A typed graph of about `size` calls of primitives; the same for the same seed.
ProofFunction randomFunction(unsigned seed, int size);

/// The smallest function found from `start` for which `fails` still holds, as it does for `start`.
ProofFunction minimize(ProofFunction start, const std::function<bool(const ProofFunction&)>& fails);

} // namespace programTesting
