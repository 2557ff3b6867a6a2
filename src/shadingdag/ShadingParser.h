#pragma once

#include "base/Export.h"
#include "shadingdag/CompFreqRange.h"
#include "shadingdag/Diagnostic.h"
#include "shadingdag/ShadingAttribute.h"
#include "shadingdag/Tokenizer.h"

#include <cstddef>
#include <deque>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace qvShadingDag {

class ShadingNode;
class ShadingNodeSpec;
class TypedConstant;
struct BodyOrigin;
struct NodeOrigin;

/// Reads a source file of shading functions into the function library.
///
/// A declaration ("float4 operator+(float4 a, float4 b);") becomes a primitive, a definition (a
/// header and a body in braces) a function with a graph: every operator, call, swizzle and literal
/// of the body is a node, and a variable is a name for the value that was assigned last. The first
/// error ends the reading; what was read before it stays in the library, which owns it.
///
///     ShadingParser parser;
///     if (!parser.parseFile("stdlib.qvs", false)) {
///         std::cerr << parser.errorString();
///     }
///
/// Use one parser per file. A second file that is given to the same parser is read behind the first:
/// its lines go on counting, and after an error what is left of the first file comes before it.
///
/// Parsing changes the function library and the counts of live objects: one thread at a time in the
/// whole process may parse, and none may look at functions meanwhile.
class QV_EXPORT ShadingParser : public Tokenizer {
public:
    ShadingParser() = default;

    /// Reads a whole file; false at the first error, which `errorString()` tells. The flag has no
    /// effect.
    bool parseFile(const std::string& fileName, bool flag);

    /// Reads `text`, as it is on every platform, as a file called `name`.
    bool parseText(const std::string& name, std::string_view text);

    /// An old function and the one that took its place; null where the new reading has none of its
    /// name and parameters.
    using Replacements = std::vector<std::pair<ShadingNodeSpec*, ShadingNodeSpec*>>;
    /// Reads a file again in place of what a file of that name had put into the library. The old
    /// functions leave the look-up but live until the library is cleared, so that graphs which call
    /// them stay whole. At an error, false: the library is then as it was.
    bool reloadFile(const std::string& fileName, Replacements& replaced);
    /// The same from memory (see `parseText`).
    bool reloadText(const std::string& name, std::string_view text, Replacements& replaced);

    /// What was found in the sources read so far: the error, if one ended the reading, with its place
    /// as an editor counts, and warnings of what the reader comes across anyway. A `ShadingChecker`
    /// finds all errors and warnings.
    const std::vector<Diagnostic>& diagnostics() const { return fDiagnostics; }

    /// The text of the last error, with its place and a line feed; it is empty after that.
    std::string errorString();

private:
    // Tokens.
    Token* accumulate_token();
    Token consume_front_token();
    const Token& token_ahead(unsigned int n);
    TokenType typeAhead(unsigned int n = 0) { return token_ahead(n).type(); }
    void consumeTokens(unsigned int count);

    // Where nodes were written.
    struct Variable;
    void beginBody(unsigned int offset);
    void markNode(ShadingNode* node, unsigned int offset);
    void markVariable(const std::string& name, Variable& variable, const ShadingAttribute& value);

    // Variables.
    void addVariable(const std::string& name, const ShadingAttribute& value);
    bool retrieveVariable(const std::string& name, ShadingAttribute& value) const;
    bool assignVariable(const std::string& name, const ShadingAttribute& value);

    // Functions.
    void parseFunc();
    void parseFuncDecl();
    void parseFuncDef();
    unsigned int parseFuncHeader();
    std::string parseFuncName(unsigned int& index);
    void parseArgument(unsigned int& index);
    CompFreqRange readOptionalCompFreqRange(unsigned int& index);
    void forgetFunction();
    bool parseSource();
    void reportError(const std::string& message);
    void addDiagnostic(Diagnostic::Severity severity, const char* name, unsigned int begin, unsigned int end,
                       const std::string& message);

    // Statements.
    void parseStatement();
    bool parseDeclarationStatement();
    bool parseCompoundStatement();
    bool parseReturnStatement();
    bool parseVoidFunctionExpression();

    // Expressions, from the lowest precedence to the highest.
    struct Operator {
        TokenType token;
        const char* function;
    };
    struct Assignment; // the left side of one
    ShadingAttribute parseAssignmentExpression();
    ShadingAttribute parseLogicalOrExpression();
    ShadingAttribute parseLogicalAndExpression();
    ShadingAttribute parseEqualityExpression();
    ShadingAttribute parseRelationalExpression();
    ShadingAttribute parseAdditiveExpression();
    ShadingAttribute parseMultiplicativeExpression();
    ShadingAttribute parseCastExpression();
    ShadingAttribute parseUnaryExpression();
    ShadingAttribute parsePostfixExpression();
    ShadingAttribute parseSwizzlePostfixOperator(const ShadingAttribute& operand);
    ShadingAttribute parsePrimaryExpression();
    ShadingAttribute parseNumericLiteralArray();
    ShadingAttribute parseFuncCallExpression(bool valueWanted);

    template <std::size_t Count>
    static const char* functionOf(TokenType token, const Operator (&operators)[Count]);
    template <std::size_t Count>
    ShadingAttribute parseLeftAssociative(const Operator (&operators)[Count],
                                          ShadingAttribute (ShadingParser::*parseOperand)());
    bool readAssignment(Assignment& assignment);
    ShadingAttribute assign(const Assignment& assignment, ShadingAttribute right);
    void assignOutputArguments(ShadingNode* call, const std::vector<std::string>& variables);
    TypedConstant parseBracedNumbers();
    ShadingAttribute constantValue(const TypedConstant& constant, unsigned int offset);
    ShadingAttribute callValue(const std::string& function, const std::list<ShadingAttribute>& arguments,
                               unsigned int offset);

    /// What a name of a function stands for: the first entry of the name, and those first ones of
    /// further types that declarations of the same name added. Later ones are never found.
    struct Variable {
        ShadingAttribute first;
        std::vector<ShadingAttribute> ofOtherTypes;
        std::shared_ptr<const NodeOrigin> origin; ///< of the nodes whose first variable it is
    };

    bool fEndOfInput = false;
    std::string fErrorText;
    std::vector<Diagnostic> fDiagnostics;
    std::deque<Token> fTokens; ///< the front is the next token that is not consumed yet
    ShadingNodeSpec* fSpec = nullptr;
    std::unordered_map<std::string, Variable> fVariables;
    std::shared_ptr<const BodyOrigin> fBody;   ///< the function that is being read
    std::shared_ptr<const NodeOrigin> fOrigin; ///< of its nodes that no variable is bound to
    unsigned int fNesting = 0;                 ///< open compound statements, parentheses and argument lists
};

} // namespace qvShadingDag
