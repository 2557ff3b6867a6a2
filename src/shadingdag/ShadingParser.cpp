#include "shadingdag/ShadingParser.h"

#include "core/Exception.h"
#include "shadingdag/LibraryReplacement.h"
#include "shadingdag/NodeOrigin.h"
#include "shadingdag/ShadingNode.h"
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/TypedConstant.h"

#include <memory>
#include <new>
#include <utility>

namespace qvShadingDag {

struct ShadingParser::Assignment {
    std::string variable;
    ShadingAttribute present; ///< its value when the left side was read
    const char* function;     ///< of a compound assignment; empty for a plain one
    unsigned int offset;      ///< of the operator
};

namespace {

constexpr unsigned int kMaxNesting = 256;

// On purpose: this is said of every source that cannot be read, whatever its name.
constexpr const char* kNoSource = "Couldn't not find stdlib.qvs file!\n";

/// One more open compound statement, parenthesis or argument list, as long as it lives.
class Nesting {
public:
    explicit Nesting(unsigned int& depth) : fDepth(depth) {
        verifyAlways(fDepth < kMaxNesting, "Expression nested too deeply");
        ++fDepth;
    }
    ~Nesting() { --fDepth; }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;

private:
    unsigned int& fDepth;
};

unsigned int frequencyLevel(TokenType type) {
    return type >= kConstant && type <= kFragment
               ? static_cast<unsigned int>(type - kConstant) + kConstantFreq
               : kInvalidFreq;
}

/// The component that a letter of a swizzle pattern names; -1 for any other letter.
int componentIndex(char letter) {
    switch (letter) {
    case 'x':
    case 'r':
        return 0;
    case 'y':
    case 'g':
        return 1;
    case 'z':
    case 'b':
        return 2;
    case 'w':
    case 'a':
        return 3;
    default:
        return -1;
    }
}

} // namespace

bool ShadingParser::parseFile(const std::string& fileName, bool /*flag*/) {
    if (!openFile(fileName)) {
        fErrorText = kNoSource;
        return false;
    }
    return parseSource();
}

bool ShadingParser::parseText(const std::string& name, std::string_view text) {
    if (!openText(name, text)) {
        fErrorText = kNoSource;
        return false;
    }
    return parseSource();
}

bool ShadingParser::reloadFile(const std::string& fileName, Replacements& replaced) {
    LibraryReplacement replacement(fileName);
    const bool parsed = parseFile(fileName, false);
    if (parsed) {
        replaced = replacement.confirm();
    }
    return parsed;
}

bool ShadingParser::reloadText(const std::string& name, std::string_view text, Replacements& replaced) {
    LibraryReplacement replacement(name);
    const bool parsed = parseText(name, text);
    if (parsed) {
        replaced = replacement.confirm();
    }
    return parsed;
}

/// Reads the functions of what was opened last.
bool ShadingParser::parseSource() {
    fEndOfInput = false;
    fErrorText.clear();
    bool parsed = true;
    try {
        while (!fEndOfInput) {
            parseFunc();
            forgetFunction();
        }
    } catch (const Exception& error) {
        parsed = false;
        reportError(error.message);
    } catch (const std::bad_alloc&) {
        parsed = false;
        reportError("Out of memory");
    }
    if (fEndOfInput) {
        fTokens.clear(); // a file that is read behind this one starts afresh
    }
    return parsed;
}

std::string ShadingParser::errorString() {
    return std::exchange(fErrorText, std::string());
}

void ShadingParser::reportError(const std::string& message) {
    forgetFunction();
    try {
        const Token& front = token_ahead(0);
        fErrorText = "stdlib.qvs(" + front.fileLocation().toString() + ") : error " + message + "\n";
        const bool atEnd = front.type() == kEndOfInput;
        const unsigned int begin = atEnd ? sourceSize() - MemMappedFile::kEndSize : front.offset();
        addDiagnostic(Diagnostic::kError, "", begin, begin + front.length(), message);
    } catch (const std::bad_alloc&) {
        fErrorText = "Out of memory\n"; // short enough to need none
    }
}

/// A list of diagnostics for which there is no memory is left as it is.
void ShadingParser::addDiagnostic(Diagnostic::Severity severity, const char* name, unsigned int begin,
                                  unsigned int end, const std::string& message) {
    try {
        Diagnostic diagnostic;
        diagnostic.severity = severity;
        diagnostic.message = message;
        diagnostic.name = name;
        locate(diagnostic, begin, end);
        fDiagnostics.push_back(std::move(diagnostic));
    } catch (const std::bad_alloc&) {
        return;
    }
}

void ShadingParser::forgetFunction() {
    fSpec = nullptr;
    fBody.reset();
    fOrigin.reset();
    // Not clear(), which walks the table that the largest function so far has left.
    fVariables = std::unordered_map<std::string, Variable>();
}

// Tokens

Token* ShadingParser::accumulate_token() {
    Token token;
    do {
        nextToken(&token);
    } while (token.type() == kComment);
    fEndOfInput = fEndOfInput || token.type() == kEndOfInput;
    fTokens.push_back(std::move(token));
    return &fTokens.back();
}

Token ShadingParser::consume_front_token() {
    const Token& front = token_ahead(0);
    if (fTokens.empty()) {
        return front; // the end of the input
    }
    Token token = std::move(fTokens.front());
    fTokens.pop_front();
    return token;
}

const Token& ShadingParser::token_ahead(unsigned int n) {
    static const Token kEnd = [] {
        Token token;
        token.setType(kEndOfInput);
        return token;
    }();
    while (fTokens.size() <= n) {
        if (fEndOfInput) {
            return kEnd;
        }
        accumulate_token();
    }
    return fTokens[n];
}

void ShadingParser::consumeTokens(unsigned int count) {
    for (; count > 0; --count) {
        verifyAlways(!fTokens.empty(), "INTERNAL ERROR: Buffer overrun");
        fTokens.pop_front();
    }
}

// Where nodes were written

/// For the function whose name is known now and whose header starts at `offset`.
void ShadingParser::beginBody(unsigned int offset) {
    const std::string& file = fileName(offset);
    fSpec->setSource(file, location(offset));
    fBody = std::make_shared<const BodyOrigin>(BodyOrigin{file, fSpec->name()});
    fOrigin = std::make_shared<const NodeOrigin>(NodeOrigin{fBody, {}});
}

void ShadingParser::markNode(ShadingNode* node, unsigned int offset) {
    if (node) { // a declaration has no nodes
        node->fOrigin = fOrigin;
        node->fSourceLocation = location(offset);
    }
}

/// The first variable that is bound to a node's value stays with the node. The returned value is no
/// variable.
void ShadingParser::markVariable(const std::string& name, Variable& variable, const ShadingAttribute& value) {
    ShadingNode* node = value.nodePtr();
    if (node && node->fOrigin == fOrigin && name != "output") {
        if (!variable.origin) {
            variable.origin = std::make_shared<const NodeOrigin>(NodeOrigin{fBody, name});
        }
        node->fOrigin = variable.origin;
    }
}

// Variables

void ShadingParser::addVariable(const std::string& name, const ShadingAttribute& value) {
    const auto [place, isNew] = fVariables.try_emplace(name, Variable{value, {}, {}});
    markVariable(name, place->second, value);
    if (isNew || place->second.first.dataType() == value.dataType()) {
        return;
    }
    std::vector<ShadingAttribute>& others = place->second.ofOtherTypes;
    for (const ShadingAttribute& other : others) {
        if (other.dataType() == value.dataType()) {
            return;
        }
    }
    others.push_back(value);
}

bool ShadingParser::retrieveVariable(const std::string& name, ShadingAttribute& value) const {
    const auto place = fVariables.find(name);
    if (place == fVariables.end()) {
        return false;
    }
    value = place->second.first;
    return true;
}

bool ShadingParser::assignVariable(const std::string& name, const ShadingAttribute& value) {
    const auto place = fVariables.find(name);
    if (place == fVariables.end()) {
        return false;
    }
    if (place->second.first.dataType() == value.dataType()) {
        place->second.first = value;
        markVariable(name, place->second, value);
        return true;
    }
    for (ShadingAttribute& other : place->second.ofOtherTypes) {
        if (other.dataType() == value.dataType()) {
            other = value;
            markVariable(name, place->second, value);
            return true;
        }
    }
    return false;
}

// Functions

void ShadingParser::parseFunc() {
    for (;;) {
        const TokenType type = accumulate_token()->type();
        if (fEndOfInput) {
            const Token& first = fTokens.front();
            const unsigned int end = sourceSize() - MemMappedFile::kEndSize;
            if (first.type() != kEndOfInput && first.offset() < end) {
                addDiagnostic(Diagnostic::kWarning, "dropped-header", first.offset(), end,
                              "what stands here is dropped: a header needs a \";\" or a body behind it");
            }
            // On purpose: a header that nothing follows is dropped without an error.
            return;
        }
        if (type == kSemicolon) {
            parseFuncDecl();
            return;
        }
        if (type == kOpenBrace) {
            parseFuncDef();
            return;
        }
    }
}

void ShadingParser::parseFuncDecl() {
    std::unique_ptr<ShadingNodeSpec> spec(ShadingNodeSpec::createNew(kOperationNode));
    verifyAlways(spec != nullptr, "Out of memory");
    fSpec = spec.get();
    const unsigned int n = parseFuncHeader();
    verifyAlways(typeAhead(n) == kSemicolon, "Expected semicolon");
    spec->addToLibrary();
    static_cast<void>(spec.release()); // the library owns it now
    consumeTokens(n + 1);
}

void ShadingParser::parseFuncDef() {
    std::unique_ptr<ShadingNodeSpec> spec(ShadingNodeSpec::createNew(kFunctionNode));
    verifyAlways(spec != nullptr, "Out of memory");
    fSpec = spec.get();
    const unsigned int n = parseFuncHeader();
    verifyAlways(typeAhead(n) == kOpenBrace, "Expected braces");
    consumeTokens(n);

    ShadingNodeSpec::AttributeIterator parameter;
    ShadingNodeSpec::AttributeIterator last;
    for (spec->inputs(parameter, last); parameter != last; ++parameter) {
        addVariable(parameter->name(), *parameter);
    }
    for (spec->outputs(parameter, last); parameter != last; ++parameter) {
        addVariable(parameter->name(), *parameter);
    }
    parseCompoundStatement();
    for (spec->outputs(parameter, last); parameter != last; ++parameter) {
        ShadingAttribute value;
        retrieveVariable(parameter->name(), value);
        spec->connectOutput(value, *parameter);
    }
    spec->addToLibrary();
    static_cast<void>(spec.release()); // the library owns it now
}

/// [frequencies] type name "(" {argument} ")", read without consuming anything. Returns the index of
/// the token behind it.
unsigned int ShadingParser::parseFuncHeader() {
    unsigned int index = 0;
    const unsigned int start = token_ahead(0).offset();
    const CompFreqRange range = readOptionalCompFreqRange(index);
    const unsigned int typeStart = token_ahead(index).offset();
    const DataType returnType = token_ahead(index).dataType();
    verifyAlways(returnType != kInvalidDataType, "Token is not a valid return type");
    ++index;
    fSpec->setName(parseFuncName(index));
    beginBody(start);
    if (returnType != kVoid) {
        markNode(fSpec->addOutput(returnType, "output", range)->nodePtr(), typeStart);
    }
    verifyAlways(typeAhead(index) == kOpenParen, "Expected '('");
    ++index;
    while (typeAhead(index) != kCloseParen) {
        parseArgument(index);
    }
    ++index;
    verifyAlways(fSpec->numOutputs() > 0, "Function needs at least one output.");
    return index;
}

std::string ShadingParser::parseFuncName(unsigned int& index) {
    static constexpr Operator kNames[] = {
        {kPlus, "operator+"},
        {kMinus, "operator-"},
        {kStar, "operator*"},
        {kSlash, "operator/"},
        {kPercent, "operator%"},
        {kEqual, "operator=="},
        {kNotEqual, "operator!="},
        {kGreater, "operator>"},
        {kLess, "operator<"},
        {kGreaterEqual, "operator>="},
        {kLessEqual, "operator<="},
        {kOrOr, "operator||"},
        {kAndAnd, "operator&&"},
        {kPlusPlus, "operator++"},
        {kMinusMinus, "operator--"},
        {kNot, "operator!"},
        {kAt, "operator@"},
        // The conversions between computational frequencies have plain names.
        {kConstant, "constant"},
        {kUniform, "uniform"},
        {kVertex, "vertex"},
        {kFragment, "fragment"},
    };
    verifyAlways(typeAhead(index) == kIdentifier, "Invalid function name");
    const std::string& name = token_ahead(index++).stringValue();
    if (name != "operator") {
        return name;
    }
    const char* function = functionOf(typeAhead(index), kNames);
    verifyAlways(function != nullptr, "Expected valid operator symbol");
    ++index;
    return function;
}

/// ["out"] [frequencies] type name [","]
void ShadingParser::parseArgument(unsigned int& index) {
    const bool isOutput = typeAhead(index) == kOut;
    index += isOutput ? 1 : 0;
    const CompFreqRange range = readOptionalCompFreqRange(index);
    const DataType type = token_ahead(index).dataType();
    verifyAlways(type != kInvalidDataType && type != kVoid, "Not a valid data type");
    ++index;
    verifyAlways(typeAhead(index) == kIdentifier, "Expected argument name");
    const Token& name = token_ahead(index++);
    const ShadingAttribute* parameter = isOutput ? fSpec->addOutput(type, name.stringValue(), range)
                                                 : fSpec->addInput(type, name.stringValue(), range);
    markNode(parameter->nodePtr(), name.offset());
    // On purpose: the comma between two parameters may be missing.
    if (typeAhead(index) == kComma) {
        ++index;
    }
}

/// One level, or two with a colon between them; every level when there is none.
CompFreqRange ShadingParser::readOptionalCompFreqRange(unsigned int& index) {
    const unsigned int lowest = frequencyLevel(typeAhead(index));
    if (lowest == kInvalidFreq) {
        return CompFreqRange();
    }
    ++index;
    if (typeAhead(index) != kColon) {
        return CompFreqRange(lowest, lowest);
    }
    ++index;
    const unsigned int highest = frequencyLevel(typeAhead(index));
    verifyAlways(highest != kInvalidFreq, "Expected maximum frequency specifier.");
    ++index;
    // On purpose: levels in the wrong order are no error but an empty range, which no argument fits.
    return lowest > highest ? CompFreqRange(kInvalidFreq, kInvalidFreq) : CompFreqRange(lowest, highest);
}

// Statements

void ShadingParser::parseStatement() {
    if (parseDeclarationStatement() || parseCompoundStatement() || parseReturnStatement() ||
        parseVoidFunctionExpression()) {
        return;
    }
    parseAssignmentExpression();
    verifyAlways(typeAhead() == kSemicolon, "Expected a semicolon at the end of statement.");
    consume_front_token();
}

bool ShadingParser::parseDeclarationStatement() {
    if (typeAhead() != kDataTypeName) {
        return false;
    }
    const DataType type = consume_front_token().dataType();
    TokenType separator = kComma;
    while (separator == kComma) {
        verifyAlways(typeAhead() == kIdentifier,
                     "Expecting variable identifier in variable declaration block");
        const std::string name = consume_front_token().stringValue();
        if (typeAhead() == kAssign) {
            consume_front_token();
            const ShadingAttribute value = parseLogicalOrExpression();
            if (value.dataType() != type) {
                throw Exception("Variable " + name + ": cannot convert from " +
                                dataTypeName(value.dataType()) + " to " + dataTypeName(type));
            }
            addVariable(name, value);
        } else {
            addVariable(name, ShadingAttribute(name, type));
        }
        separator = typeAhead();
        verifyAlways(separator == kSemicolon || separator == kComma,
                     "Expected semicolon or comma at the end of variable declaration block");
        consume_front_token();
    }
    return true;
}

/// Opens no scope: a variable belongs to the whole function.
bool ShadingParser::parseCompoundStatement() {
    if (typeAhead() != kOpenBrace) {
        return false;
    }
    const Nesting nesting(fNesting);
    consume_front_token();
    while (typeAhead() != kCloseBrace) {
        parseStatement();
    }
    consume_front_token();
    return true;
}

/// Assigns to "output"; the last one of a body decides.
bool ShadingParser::parseReturnStatement() {
    if (typeAhead() != kReturn) {
        return false;
    }
    // On purpose: this refuses also the return of a function that has an "out" argument beside its
    // returned value, which therefore cannot be set.
    verifyAlways(fSpec->numOutputs() == 1, "Return statement isn't valid for function returning void");
    consume_front_token();
    const ShadingAttribute value = parseAssignmentExpression();
    verifyAlways(value.valid(), "Invalid expression");
    ShadingNodeSpec::AttributeIterator output;
    ShadingNodeSpec::AttributeIterator last;
    fSpec->outputs(output, last);
    if (value.dataType() != output->dataType()) {
        throw Exception("Invalid return type: " + dataTypeName(value.dataType()));
    }
    verifyAlways(typeAhead() == kSemicolon, "Expected semicolon at end of return statement");
    consume_front_token();
    // On purpose: a return in a function whose only output is an argument binds nothing.
    assignVariable("output", value);
    return true;
}

bool ShadingParser::parseVoidFunctionExpression() {
    if (typeAhead() != kIdentifier || typeAhead(1) != kOpenParen) {
        return false;
    }
    parseFuncCallExpression(false);
    verifyAlways(typeAhead() == kSemicolon, "Expected semicolon at the end of void-function call");
    consume_front_token();
    return true;
}

// Expressions

/// {name "="} expression: a loop instead of recursion, so that chains may be of any length.
ShadingAttribute ShadingParser::parseAssignmentExpression() {
    std::vector<Assignment> pending;
    Assignment next;
    while (readAssignment(next)) {
        pending.push_back(std::move(next));
    }
    ShadingAttribute value = parseLogicalOrExpression();
    for (; !pending.empty(); pending.pop_back()) {
        value = assign(pending.back(), std::move(value));
    }
    return value;
}

/// Reads a name and an assignment operator. Consumes nothing where there are none, or where the name
/// is no variable: as an expression, it then fails.
bool ShadingParser::readAssignment(Assignment& assignment) {
    static constexpr Operator kOperators[] = {
        {kAssign, ""},
        {kPlusAssign, "operator+"},
        {kMinusAssign, "operator-"},
        {kStarAssign, "operator*"},
        {kSlashAssign, "operator/"},
        {kPercentAssign, "operator%"},
    };
    if (typeAhead() != kIdentifier) {
        return false;
    }
    assignment.function = functionOf(typeAhead(1), kOperators);
    if (assignment.function == nullptr ||
        !retrieveVariable(token_ahead(0).stringValue(), assignment.present)) {
        return false;
    }
    assignment.variable = consume_front_token().stringValue();
    assignment.offset = consume_front_token().offset();
    return true;
}

ShadingAttribute ShadingParser::assign(const Assignment& assignment, ShadingAttribute right) {
    if (*assignment.function != '\0') {
        right = callValue(assignment.function, {assignment.present, right}, assignment.offset);
    }
    if (!right.valid()) {
        throw Exception("Expression returning '" + dataTypeName(right.dataType()) +
                        "' couldn't be converted to '" + dataTypeName(assignment.present.dataType()) +
                        "' (assignment to variable " + assignment.variable + ")");
    }
    if (!assignVariable(assignment.variable, right)) {
        throw Exception("Variable cannot be assigned: " + assignment.variable);
    }
    return right;
}

ShadingAttribute ShadingParser::parseLogicalOrExpression() {
    static constexpr Operator kOperators[] = {{kOrOr, "operator||"}};
    return parseLeftAssociative(kOperators, &ShadingParser::parseLogicalAndExpression);
}

ShadingAttribute ShadingParser::parseLogicalAndExpression() {
    static constexpr Operator kOperators[] = {{kAndAnd, "operator&&"}};
    return parseLeftAssociative(kOperators, &ShadingParser::parseEqualityExpression);
}

ShadingAttribute ShadingParser::parseEqualityExpression() {
    static constexpr Operator kOperators[] = {{kEqual, "operator=="}, {kNotEqual, "operator!="}};
    return parseLeftAssociative(kOperators, &ShadingParser::parseRelationalExpression);
}

ShadingAttribute ShadingParser::parseRelationalExpression() {
    static constexpr Operator kOperators[] = {
        {kLess, "operator<"},
        {kGreater, "operator>"},
        {kLessEqual, "operator<="},
        {kGreaterEqual, "operator>="},
    };
    return parseLeftAssociative(kOperators, &ShadingParser::parseAdditiveExpression);
}

ShadingAttribute ShadingParser::parseAdditiveExpression() {
    static constexpr Operator kOperators[] = {{kPlus, "operator+"}, {kMinus, "operator-"}};
    return parseLeftAssociative(kOperators, &ShadingParser::parseMultiplicativeExpression);
}

ShadingAttribute ShadingParser::parseMultiplicativeExpression() {
    static constexpr Operator kOperators[] = {
        {kStar, "operator*"},
        {kSlash, "operator/"},
        {kPercent, "operator%"},
    };
    return parseLeftAssociative(kOperators, &ShadingParser::parseCastExpression);
}

template <std::size_t Count>
const char* ShadingParser::functionOf(TokenType token, const Operator (&operators)[Count]) {
    for (const Operator& row : operators) {
        if (row.token == token) {
            return row.function;
        }
    }
    return nullptr;
}

/// operand {operator operand}
template <std::size_t Count>
ShadingAttribute ShadingParser::parseLeftAssociative(const Operator (&operators)[Count],
                                                     ShadingAttribute (ShadingParser::*parseOperand)()) {
    ShadingAttribute value = (this->*parseOperand)();
    while (const char* function = functionOf(typeAhead(), operators)) {
        const unsigned int offset = consume_front_token().offset();
        std::list<ShadingAttribute> arguments;
        arguments.push_back(std::move(value));
        arguments.push_back((this->*parseOperand)());
        value = callValue(function, arguments, offset);
    }
    return value;
}

/// The place of casts in the order of precedence; the language has none.
ShadingAttribute ShadingParser::parseCastExpression() {
    return parseUnaryExpression();
}

/// {prefix} postfix-expression: a loop instead of recursion, so that chains may be of any length.
ShadingAttribute ShadingParser::parseUnaryExpression() {
    static constexpr Operator kPrefixes[] = {
        // On purpose: "++" and "--" are calls like the others and change no variable.
        {kPlusPlus, "operator++"}, {kMinusMinus, "operator--"}, {kPlus, ""},
        {kMinus, "operator-"},     {kNot, "operator!"},
    };
    std::vector<std::pair<const char*, unsigned int>> prefixes; // with their places
    while (const char* function = functionOf(typeAhead(), kPrefixes)) {
        prefixes.emplace_back(function, consume_front_token().offset());
    }
    ShadingAttribute value = parsePostfixExpression();
    for (; !prefixes.empty(); prefixes.pop_back()) {
        const auto [function, offset] = prefixes.back();
        if (*function != '\0') {
            value = callValue(function, {value}, offset);
        }
    }
    return value;
}

ShadingAttribute ShadingParser::parsePostfixExpression() {
    ShadingAttribute value = parsePrimaryExpression();
    return typeAhead() == kAt ? parseSwizzlePostfixOperator(value) : value;
}

/// "@" and one to four letters, of "xyzw" and "rgba" as one likes.
ShadingAttribute ShadingParser::parseSwizzlePostfixOperator(const ShadingAttribute& operand) {
    constexpr const char* kExpected = "Expected valid swizzle pattern after '@' swizzle-operator (eg: @xyzw)";
    verifyAlways(typeAhead() == kAt, "Expected '@' swizzle-operator");
    const unsigned int offset = consume_front_token().offset();
    const std::string& pattern = token_ahead(0).stringValue();
    verifyAlways(typeAhead() == kIdentifier && pattern.size() <= 4, kExpected);
    int indices[4] = {-1, -1, -1, -1};
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        indices[i] = componentIndex(pattern[i]);
        verifyAlways(indices[i] >= 0, kExpected);
    }
    TypedConstant constant;
    constant.assignInts(static_cast<int>(pattern.size()), indices[0], indices[1], indices[2], indices[3]);
    const ShadingAttribute picked = constantValue(constant, consume_front_token().offset());
    return callValue("operator@", {operand, picked}, offset);
}

ShadingAttribute ShadingParser::parsePrimaryExpression() {
    switch (typeAhead()) {
    case kOpenParen: {
        const Nesting nesting(fNesting);
        consume_front_token();
        ShadingAttribute value = parseAssignmentExpression();
        verifyAlways(typeAhead() == kCloseParen, "Expected ')' token");
        consume_front_token();
        return value;
    }
    case kNumericLiteral:
    case kOpenBrace:
        return parseNumericLiteralArray();
    case kIdentifier: {
        if (typeAhead(1) == kOpenParen) {
            return parseFuncCallExpression(true);
        }
        ShadingAttribute value;
        verifyAlways(retrieveVariable(token_ahead(0).stringValue(), value), "Unexpected variable-name");
        consume_front_token();
        return value;
    }
    default:
        throw Exception("Expected primary expression (constant, variable name or parentheses)");
    }
}

ShadingAttribute ShadingParser::parseNumericLiteralArray() {
    const unsigned int offset = token_ahead(0).offset();
    if (typeAhead() == kOpenBrace) {
        return constantValue(parseBracedNumbers(), offset);
    }
    return constantValue(TypedConstant(consume_front_token().floatValue()), offset);
}

/// "{" number {"," number} "}"; only here, a literal may have a sign.
TypedConstant ShadingParser::parseBracedNumbers() {
    float values[4] = {};
    int count = 0;
    TokenType separator = kComma;
    consume_front_token();
    while (separator == kComma) {
        const bool negative = typeAhead() == kMinus;
        if (negative) {
            consume_front_token();
        }
        verifyAlways(typeAhead() == kNumericLiteral, "Expecting numeric-literal");
        const float value = consume_front_token().floatValue();
        if (count < 4) {
            values[count] = negative ? -value : value;
        }
        count = count < 5 ? count + 1 : count;
        separator = typeAhead();
        verifyAlways(separator == kComma || separator == kCloseBrace,
                     "Expecting comma or close-braces in numeric-constant-array");
        consume_front_token();
    }
    TypedConstant constant;
    // On purpose: more than four values are no error here but a constant without a type, which fits
    // nowhere.
    if (count <= 4) {
        constant.assignFloats(count, values[0], values[1], values[2], values[3]);
    }
    return constant;
}

/// name "(" [argument {"," argument}] ")"
ShadingAttribute ShadingParser::parseFuncCallExpression(bool valueWanted) {
    const Nesting nesting(fNesting);
    verifyAlways(typeAhead() == kIdentifier, "Expected function name");
    const unsigned int offset = token_ahead(0).offset();
    const std::string function = consume_front_token().stringValue();
    if (typeAhead() != kOpenParen) {
        throw Exception("Expected '(' after function named " + function);
    }
    consume_front_token();
    std::list<ShadingAttribute> arguments;
    std::vector<std::string> variables; // by argument; empty where that is no bare name
    while (typeAhead() != kCloseParen) {
        const bool bareName =
            typeAhead() == kIdentifier && (typeAhead(1) == kComma || typeAhead(1) == kCloseParen);
        variables.push_back(bareName ? token_ahead(0).stringValue() : std::string());
        arguments.push_back(parseAssignmentExpression());
        verifyAlways(typeAhead() == kComma || typeAhead() == kCloseParen,
                     "Expecting ',' or ')' within function-call argument list");
        if (typeAhead() == kComma) {
            consume_front_token();
        }
    }
    consume_front_token();
    ShadingNode* node = fSpec->addInternalNode(function, arguments);
    if (node == nullptr) {
        throw Exception("Invalid function call: " + function);
    }
    markNode(node, offset);
    assignOutputArguments(node, variables);
    return valueWanted ? ShadingAttribute(node, "output") : ShadingAttribute();
}

/// Gives the variables that stand for a call's output arguments their new values.
void ShadingParser::assignOutputArguments(ShadingNode* call, const std::vector<std::string>& variables) {
    ShadingNodeSpec::ArgumentIterator argument;
    ShadingNodeSpec::ArgumentIterator last;
    call->specPtr()->arguments(argument, last);
    for (std::size_t i = 0; argument != last; ++argument, ++i) {
        if (argument->first != kOutputNode) {
            continue;
        }
        if (variables[i].empty()) {
            throw Exception("Argument " + std::to_string(i + 1) +
                            " is an output, and must be mapped to a variable");
        }
        assignVariable(variables[i], ShadingAttribute(call, argument->second.name()));
    }
}

ShadingAttribute ShadingParser::constantValue(const TypedConstant& constant, unsigned int offset) {
    ShadingNode* node = fSpec->addInternalNode(constant);
    markNode(node, offset);
    return ShadingAttribute(node, "output");
}

ShadingAttribute ShadingParser::callValue(const std::string& function,
                                          const std::list<ShadingAttribute>& arguments, unsigned int offset) {
    ShadingNode* node = fSpec->addInternalNode(function, arguments);
    markNode(node, offset);
    return ShadingAttribute(node, "output");
}

} // namespace qvShadingDag
