#pragma once

#include "shadingdag/CheckedSource.h"
#include "shadingdag/Diagnostic.h"
#include "shadingdag/FunctionTable.h"

#include <string>
#include <unordered_map>
#include <vector>

namespace qvShadingDag {

/// Reads one source by the grammar of the `ShadingParser`, but goes on behind every fault.
///
/// 1. Before a statement is read, its tokens are searched for what people bring along from other
///    languages ("?:", "[ ]", ".x"): that is then the one fault of the statement, whatever types
///    would say before it.
/// 2. A fault in the grammar gives the statement up and is its one fault: what was said of the types
///    before it is withdrawn. Reading goes on behind its ";" or before what can only begin a
///    statement or a function. Variables in it count as declared, assigned and used.
/// 3. A fault in types leaves the value of unknown type, which fits everywhere.
/// 4. A function whose header cannot be read is not judged, nor are calls of its name.
/// 5. Warnings of what is unused or missing need a body without an error.
/// 6. What follows a body or a failed header and holds a "}" or a ")" too many is the rest of it, and
///    one fault with what ended it early.
class SourceChecker {
public:
    SourceChecker(CheckedSource source, FunctionTable& functions, std::vector<Diagnostic>& diagnostics,
                  bool isLibrary);

    /// Reads the source and appends what it finds, sorted by place.
    void check();

private:
    /// Thrown where a statement or header is given up; what is wrong has been reported.
    struct GivenUp {};
    /// Thrown when the list of errors is full.
    struct TooManyErrors {};

    /// The bytes of an expression or a token.
    struct Extent {
        std::size_t begin = 0;
        std::size_t end = 0;
    };

    /// What is known of the value of an expression.
    struct Value {
        enum State { kComputed, kUnassigned, kUntouchedOutput };

        DataType type = kUnknownType;
        CompFreqRange range;
        Earliest earliest;
        State state = kComputed;
        std::string variable; // of a value that is not computed yet
        Extent extent;
    };

    struct Variable {
        enum Kind { kInput, kOutput, kLocal };

        Value value;
        std::size_t place = 0; // of its declaration
        Kind kind = kLocal;
        bool used = false;
    };
    /// All variables of a name, in the order of their declarations; one of each type.
    using Variables = std::vector<Variable>;

    // Tokens.
    const CheckedToken& token(std::size_t ahead = 0) const;
    TokenType type(std::size_t ahead = 0) const { return token(ahead).type; }
    const CheckedToken& before() const { return fTokens[fPosition - 1]; }
    bool atEnd() const { return type() == kEndOfInput; }
    std::string text(std::size_t ahead = 0) const { return fSource.textOf(token(ahead)); }
    std::string found(std::size_t ahead = 0) const;
    bool areAdjacent(std::size_t position) const;
    bool beginsFunction(std::size_t position) const;
    bool beginsStatement(std::size_t position) const;
    void skipBalanced();

    // Reports.
    Diagnostic& error(Extent extent, std::string message);
    Diagnostic& errorAt(const CheckedToken& token, std::string message);
    Diagnostic& warning(const char* name, Extent extent, std::string message);
    [[noreturn]] void giveUp(Extent extent, std::string message);
    [[noreturn]] void giveUpAt(const CheckedToken& token, std::string message);
    static Extent extentOf(const CheckedToken& token) { return {token.begin, token.end}; }
    Extent behindLastToken() const { return {before().end, before().end}; }

    // Functions.
    void checkSource();
    void readTopLevel();
    void readFunction();
    void readHeader(CheckedFunction& function);
    void readParameter(CheckedFunction& function);
    CompFreqRange readRange();
    std::string readFunctionName();
    void skipFailedFunction();
    void skipRestOfFunction();
    void readBody(CheckedFunction& function);
    void declareParameters(const CheckedFunction& function);
    void finishBody(CheckedFunction& function);
    void warnOfTwins(const CheckedFunction& function);
    bool skipForeignConstruct(bool inBody);
    static const char* insteadOfQualifier(const std::string& word);
    static const char* insteadOfType(const std::string& word);

    // Statements.
    void readCompound();
    void readStatement();
    void readDeclaration();
    bool reportUnknownType();
    void withdrawErrors(std::size_t first);
    void readReturn();
    void readCallStatement();
    void expectSemicolon(const char* what);
    bool reportForeignSyntax();
    void skipRestOfStatement(std::size_t first);
    void leaveStatement(std::size_t first);
    void forgiveVariables(std::size_t first, std::size_t last);

    // Variables.
    void declare(std::size_t name, Value value);
    void assign(const std::string& name, const Value& value, Extent extent);
    Variables* findVariables(const std::string& name);
    std::string nearestVariable(const std::string& name) const;
    Value useVariable(std::size_t name);
    void checkReadable(Value& value);

    // Expressions.
    Value readExpression();
    Value readBinary();
    Value readPrefixed();
    Value readPostfix();
    Value readPrimary();
    Value readList();
    Value readCall(bool valueWanted);
    void checkNumber();
    Value constant(DataType type, Extent extent) const;

    // Calls.
    Value call(const std::string& name, std::vector<Value>& arguments, Extent place, Extent whole);
    const CheckedFunction* choose(const std::string& name, const std::vector<Value>& arguments, Extent place,
                                  DataType& result);
    void reportNoMatch(const std::string& name, const std::vector<Value>& arguments, Extent place);
    Value resultOf(const Earliest& own, const CompFreqRange& declared, DataType type,
                   const std::vector<Value>& arguments, const CompFreqRange& range) const;
    static void addNote(Diagnostic& diagnostic, const CheckedFunction& function, std::string message);
    static std::string typeName(DataType type);
    static std::string rangeName(const CompFreqRange& range);

    CheckedSource fSource;
    const std::vector<CheckedToken>& fTokens;
    FunctionTable& fFunctions;
    std::vector<Diagnostic>& fDiagnostics;
    std::size_t fFirst; // of this source in the list
    bool fIsLibrary;
    unsigned int fErrors = 0;

    std::size_t fPosition = 0;
    std::size_t fLastEnd = 0; // behind the last token that can end a header
    bool fSkipStray = false;  // a function was taken to end early: what follows is no new fault
    unsigned int fNesting = 0;

    // Of the function that is being read.
    CheckedFunction* fFunction = nullptr;
    const CheckedFunction* fCalled = nullptr; // by the call read last
    CompFreqRange fCalledRange;
    std::unordered_map<std::string, Variables> fVariables;
    bool fBodyLeft = false;      // a "}" is missing: the body is over
    bool fBracesInDoubt = false; // a statement that was given up may hold a brace of the body
    unsigned int fLostNames = 0; // of variables, in declarations that could not be read
    unsigned int fErrorsBefore = 0;
    std::size_t fNamePlace = 0;
    std::vector<std::size_t> fParameterPlaces;
    Extent fResultFrequency;
    std::vector<Extent> fParameterFrequencies;
    bool fReturned = false;
};

} // namespace qvShadingDag
