#pragma once

#include "conversion/ProgramTarget.h"
#include "core/DataType.h"

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qvShadingDag {

/// How a primitive is written in a program text. Inside the library only.
///
/// A spelling is a template over the arguments of a call:
///
///     $1 to $9  an argument             $*   all arguments, separated by commas
///     $t        the type of the result  $t2  the type of argument 2
///     $n        the name of the primitive
///     $i2       the whole number that the literal argument 2 is
///     $s2       the components that the literal argument 2 names, as in "xyz"
struct Spelling {
    enum PieceKind : std::uint8_t {
        kText,
        kArgument,
        kAllArguments,
        kResultType,
        kArgumentType,
        kIndex,
        kComponents
    };

    /// How closely operators bind, in the order of the target languages.
    enum Binding : std::uint8_t {
        kLoosest,
        kConditional = kLoosest,
        kOr,
        kAnd,
        kEquality,
        kRelation,
        kSum,
        kProduct,
        kPrefix,
        kAtom,
    };

    struct Piece {
        PieceKind kind;
        std::uint8_t binding;      ///< of an argument: how closely it must bind to need no parentheses
        std::uint16_t argument;    ///< counted from 0
        std::uint16_t first, size; ///< of a text
    };

    static constexpr std::size_t kMaxArguments = 16;

    std::string pattern; ///< one letter for each input, see `matchesPattern`
    std::string text;    ///< the template without "$n"
    std::vector<Piece> pieces;
    std::vector<std::uint16_t> helpers; ///< functions that the text calls, by position
    int output = 0;                     ///< which output of the call it gives
    std::uint8_t binding = kAtom;       ///< how closely its parts stick together
    bool identity = false;              ///< the text is its first argument

    std::array<std::uint8_t, kMaxArguments> uses{}; ///< how often the text names each argument
    const std::string* hostHelper = nullptr;        ///< functions that a host's spelling calls
    bool lookup = false;      ///< a lookup or a derivative: to be computed whatever a condition says
    bool conditional = false; ///< may leave an operand uncomputed
};

/// A function that stands in front of the program where a spelling calls it.
struct HelperFunction {
    std::string name;
    std::string text;  ///< of the function for scalars
    DataType result;   ///< of that
    DataType argument; ///< of every parameter of that
    int arity;         ///< 0: for scalars only; otherwise called for each component of wider vectors
    std::vector<std::uint16_t> helpers; ///< that it calls itself
};

/// What one target writes for every primitive of the standard library. Made once, kept for good.
class SpellingTable {
public:
    /// The table of a target.
    static const SpellingTable& of(const ProgramTarget& target);

    /// What gives the output `output` of a primitive; null when there is no spelling. The time is
    /// that of a look-up by name and of the rows of that name.
    const Spelling* find(std::string_view name, std::span<const DataType> inputs, int output = 0) const;

    const std::vector<HelperFunction>& helpers() const { return fHelpers; }

    /// The position of the helper of that name; -1 when there is none.
    int findHelper(std::string_view name) const;

    /// Adds the functions and types that the texts call.
    void collectCalledWords(std::vector<std::string>& words) const;

    explicit SpellingTable(const ProgramTarget& target);

private:
    struct Group {
        std::string name;
        std::vector<Spelling> rows;
    };

    const Group* findGroup(std::string_view name) const;
    void add(const std::string& name, const char* pattern, int output, const std::string& text);

    std::vector<Group> fGroups;
    std::vector<std::uint32_t> fBuckets; // positions of groups + 1, by hash of the name
    std::vector<HelperFunction> fHelpers;
};

/// Reads a template. `name` is what "$n" stands for.
Spelling parseSpelling(std::string_view name, std::string_view text);

/// Whether types fit a pattern, which has one letter for each input:
/// f float, V float2 to float4, F either · i, J, I the same for int · c, D, C for clampu ·
/// M matrices · b bool · t maps · * any number of anything.
bool matchesPattern(std::string_view pattern, std::span<const DataType> inputs);

} // namespace qvShadingDag
