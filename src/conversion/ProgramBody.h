#pragma once

/// @file
/// The lines between the braces of a program text; not for hosts.

#include "conversion/PlacedProgram.h"
#include "conversion/ProgramNames.h"
#include "conversion/ProgramTarget.h"
#include "conversion/Spellings.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qvShadingDag {

/// A spelling that a host adds for a primitive of its own, or in place of one of ours.
struct HostSpelling {
    std::string signature; ///< "shade(float4,float)"
    Spelling spelling;
    std::string helper; ///< functions that it calls, whole lines; may be empty
};

/// The spellings of the callees of a flat program, looked up when they are first asked for.
class CalleeSpellings {
public:
    CalleeSpellings(const FlatProgram& flat, const ProgramTarget& target,
                    const std::vector<HostSpelling>& hostSpellings);

    /// How output `output` of a callee is written; null when there is no spelling.
    const Spelling* find(FlatProgram::Index callee, FlatProgram::Index output);

private:
    struct Found {
        const Spelling* spellings[2] = {nullptr, nullptr};
        bool known = false;
    };

    const FlatProgram& fFlat;
    const SpellingTable& fTable;
    const std::vector<HostSpelling>& fHostSpellings;
    std::vector<Found> fFound;
    std::vector<DataType> fInputs;
};

/// Turns the nodes that one of the two programs computes into statements, in one pass from behind
/// that counts how often values are read and one from the front that writes.
///
/// 1. A node that only hands its argument on, as a conversion between frequencies, leaves no trace.
/// 2. A value that is read once, has no name in the source and comes from the line of its reader
///    stands where it is read, as long as the line stays short.
/// 3. A value that nothing but an output of the program reads is assigned to it at once.
/// 4. Every other value becomes a variable, called after the one of the source or else after the
///    function that it was returned from.
class ProgramBody {
public:
    using Index = FlatProgram::Index;
    static constexpr Index kNone = FlatProgram::kNone;

    struct Statement {
        DataType type; ///< of a new variable; `kVoid` for an assignment
        Index node;    ///< whose line of the source it is; `kNone` for no line
        std::string_view name;
        std::uint32_t at, size; ///< of the right-hand side, in `text`
    };

    /// `target = before value after`.
    struct Assignment {
        Index value;
        std::string target;
        std::string before, after;
        bool done = false;
    };

    ProgramBody(const PlacedProgram& placed, const ProgramTarget& target, CalleeSpellings& spellings,
                NameTable& names, std::string_view function);

    /// A value that is there when the program starts.
    void provide(Index value, std::string_view text, Spelling::Binding binding = Spelling::kAtom);
    /// The same under a name of its own, as `before text after`.
    void provideAs(Index value, std::string_view name, std::string_view before, std::string_view text,
                   std::string_view after);
    /// An output of the program.
    void assign(Assignment assignment) { fAssignments.push_back(std::move(assignment)); }
    /// A statement behind all others that no node stands for.
    void append(std::string_view target, std::string_view text);

    /// Writes the statements. Throws where a primitive has no spelling.
    void write(const std::vector<Index>& nodes);

    const std::vector<Statement>& statements() const { return fStatements; }
    std::string_view text(const Statement& statement) const {
        return std::string_view(fText).substr(statement.at, statement.size);
    }
    /// The text of a value that was provided or written, for what comes behind the statements.
    std::string_view textOf(Index value);

    /// The helpers that the statements call, by position in the table: bit n for those of n + 1
    /// components. And the host's texts.
    const std::vector<std::uint8_t>& helpers() const { return fHelpers; }
    const std::vector<const std::string*>& hostHelpers() const { return fHostHelpers; }

private:
    struct Expression {
        std::uint32_t at = 0, size = 0;
        bool known = false;
        std::uint8_t binding = Spelling::kAtom;
        bool lookup = false; ///< holds one that a condition must not leave out
    };

    struct Reads {
        std::uint32_t count = 0;
        Index reader = kNone;     ///< the node that reads it, when only one does
        Index assignment = kNone; ///< the assignment that does
    };

    bool isAlias(const FlatProgram::Node& node);
    void countReads(const std::vector<Index>& nodes);
    void writeNode(Index node);
    void writeCall(const FlatProgram::Node& node, const Spelling& spelling, DataType result);
    void writeOperand(const FlatProgram::Node& node, const Spelling::Piece& piece);
    void keep(Index node, Index value, Expression expression);
    bool standsAtReader(Index node, const Reads& reads, const Expression& expression);
    void writeAssignment(Assignment& assignment, const Expression& expression, Index node);
    void useHelper(std::uint16_t helper, DataType result);
    std::string_view wantedName(const FlatProgram::Node& node) const;
    const Expression& expressionOf(Index value);
    void provideLiteral(Index value);
    void appendLiteral(const ShadingValue& value);
    void appendNumber(double number, DataType type);
    Expression endExpression(std::size_t start, std::uint8_t binding) const;
    const ShadingValue& literalArgument(const FlatProgram::Node& node, std::uint16_t argument) const;

    const PlacedProgram& fPlaced;
    const FlatProgram& fFlat;
    const ProgramTarget& fTarget;
    CalleeSpellings& fSpellings;
    NameTable& fNames;
    std::string_view fFunction;

    std::string fText;
    std::vector<Expression> fExpressions; // by value
    std::vector<Reads> fReads;            // by value
    std::vector<Index> fRoots;            // by value: the value that an alias hands on
    std::vector<Assignment> fAssignments;
    std::vector<Statement> fStatements;
    std::vector<std::uint8_t> fHelpers;
    std::vector<const std::string*> fHostHelpers;
    bool fLookup = false; // what is being written holds a lookup
};

/// Throws with the place of a node, the function and what is wrong.
[[noreturn]] void throwConversionError(const FlatProgram& flat, FlatProgram::Index node,
                                       const std::string& what);

} // namespace qvShadingDag
