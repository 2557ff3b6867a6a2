#include "shadingdag/SourceChecker.h"

#include <algorithm>
#include <utility>

namespace qvShadingDag {

namespace {

constexpr unsigned int kMaxNesting = 256; // as deep as the parser follows
constexpr std::size_t kMostCandidates = 10;

struct BinaryOperator {
    TokenType token;
    int tightness;
    const char* function;
};

constexpr BinaryOperator kBinaryOperators[] = {
    // token        tightness  function
    {kOrOr, 0, "operator||"},      {kAndAnd, 1, "operator&&"},       {kEqual, 2, "operator=="},
    {kNotEqual, 2, "operator!="},  {kLess, 3, "operator<"},          {kGreater, 3, "operator>"},
    {kLessEqual, 3, "operator<="}, {kGreaterEqual, 3, "operator>="}, {kPlus, 4, "operator+"},
    {kMinus, 4, "operator-"},      {kStar, 5, "operator*"},          {kSlash, 5, "operator/"},
    {kPercent, 5, "operator%"},
};

struct TokenFunction {
    TokenType token;
    const char* function; // empty: the operator does nothing
};

constexpr TokenFunction kPrefixes[] = {
    {kPlusPlus, "operator++"}, {kMinusMinus, "operator--"}, {kPlus, ""},
    {kMinus, "operator-"},     {kNot, "operator!"},
};

constexpr TokenFunction kAssignments[] = {
    {kAssign, ""},
    {kPlusAssign, "operator+"},
    {kMinusAssign, "operator-"},
    {kStarAssign, "operator*"},
    {kSlashAssign, "operator/"},
    {kPercentAssign, "operator%"},
};

template <typename Row, std::size_t Count>
const Row* rowOf(const Row (&rows)[Count], TokenType token) {
    const Row* found = std::find_if(rows, rows + Count, [&](const Row& row) { return row.token == token; });
    return found == rows + Count ? nullptr : found;
}

std::string quote(const std::string& text) {
    return '"' + text + '"';
}

/// An empty range on the way is forgotten when the next input comes in, as the graph has it.
CompFreqRange combine(const CompFreqRange& running, const CompFreqRange& input) {
    const unsigned int low = std::max(running.lowest(), input.lowest());
    const unsigned int high = std::max(running.highest(), input.highest());
    const bool empty = low == kInvalidFreq || high == kInvalidFreq || low > high;
    return empty ? CompFreqRange(kInvalidFreq, kInvalidFreq) : CompFreqRange(low, high);
}

CompFreqRange outputRange(const CompFreqRange& inputs, const CompFreqRange& declared) {
    const unsigned int low = std::max(inputs.lowest(), declared.lowest());
    const unsigned int high = inputs.highest();
    const bool empty = low == kInvalidFreq || high == kInvalidFreq || low > high;
    return empty ? CompFreqRange(declared.lowest(), declared.lowest()) : CompFreqRange(low, high);
}

bool fits(DataType parameter, DataType argument) {
    return parameter == argument || parameter == kUnknownType || argument == kUnknownType;
}

/// "int3" for "float3"; the type itself where it has no such relative.
DataType otherNumber(DataType type) {
    return type >= kInt && type <= kInt4 ? static_cast<DataType>(type - kInt + kFloat) : type;
}

} // namespace

std::string SourceChecker::typeName(DataType type) {
    return type == kUnknownType       ? "of unknown type"
           : type == kInvalidDataType ? "a list of more than four numbers"
                                      : dataTypeName(type);
}

SourceChecker::Value SourceChecker::constant(DataType type, Extent extent) const {
    Value value;
    value.type = type;
    value.range = CompFreqRange(kConstantFreq, kConstantFreq);
    value.extent = extent;
    return value;
}

/// {name assignment} value
SourceChecker::Value SourceChecker::readExpression() {
    struct Pending {
        std::size_t name;
        const char* function;
        Value present;
    };
    std::vector<Pending> pending;
    const std::size_t begin = token().begin;
    while (type() == kIdentifier) {
        const TokenFunction* row = rowOf(kAssignments, type(1));
        if (!row) {
            break;
        }
        const bool compound = *row->function != '\0';
        Pending next = {fPosition, row->function, {}};
        if (compound || !findVariables(text())) {
            next.present = useVariable(fPosition);
        }
        pending.push_back(std::move(next));
        fPosition += 2;
    }
    Value value = readBinary();
    for (; !pending.empty(); pending.pop_back()) {
        const Pending& last = pending.back();
        const Extent right = value.extent;
        if (*last.function != '\0') {
            std::vector<Value> arguments = {last.present, std::move(value)};
            value = call(last.function, arguments, extentOf(fTokens[last.name + 1]), right);
        }
        if (value.type == kInvalidDataType) {
            error(right, "a list has at most four numbers");
            value.type = kUnknownType;
        }
        assign(fSource.textOf(fTokens[last.name]), value, right);
    }
    value.extent = {begin, before().end};
    return value;
}

/// prefixed {operator prefixed}, with operators of every tightness: on stacks of its own, so that
/// long chains and nested ones cost no stack of the host's.
SourceChecker::Value SourceChecker::readBinary() {
    struct Pending {
        const BinaryOperator* row;
        Extent place;
    };
    std::vector<Value> operands;
    std::vector<Pending> operators;
    const auto reduce = [&] {
        std::vector<Value> arguments = {std::move(operands[operands.size() - 2]), std::move(operands.back())};
        operands.pop_back();
        const Pending pending = operators.back();
        operators.pop_back();
        const Extent whole = {arguments[0].extent.begin, arguments[1].extent.end};
        operands.back() = call(pending.row->function, arguments, pending.place, whole);
    };
    operands.push_back(readPrefixed());
    while (const BinaryOperator* row = rowOf(kBinaryOperators, type())) {
        while (!operators.empty() && operators.back().row->tightness >= row->tightness) {
            reduce();
        }
        operators.push_back({row, extentOf(token())});
        ++fPosition;
        operands.push_back(readPrefixed());
    }
    while (!operators.empty()) {
        reduce();
    }
    return std::move(operands.front());
}

/// {prefix} postfix
SourceChecker::Value SourceChecker::readPrefixed() {
    const std::size_t first = fPosition;
    while (rowOf(kPrefixes, type())) {
        ++fPosition;
    }
    const std::size_t behind = fPosition;
    Value value = readPostfix();
    for (std::size_t i = behind; i > first; --i) {
        const TokenFunction* row = rowOf(kPrefixes, fTokens[i - 1].type);
        const Extent whole = {fTokens[i - 1].begin, value.extent.end};
        if (*row->function != '\0') {
            std::vector<Value> arguments = {std::move(value)};
            value = call(row->function, arguments, extentOf(fTokens[i - 1]), whole);
        } else {
            value.extent = whole;
        }
    }
    return value;
}

/// primary ["@" pattern]
SourceChecker::Value SourceChecker::readPostfix() {
    Value value = readPrimary();
    if (type() != kAt) {
        return value;
    }
    const CheckedToken at = token();
    ++fPosition;
    const std::string pattern = type() == kIdentifier ? text() : std::string();
    const bool valid =
        !pattern.empty() && pattern.size() <= 4 && pattern.find_first_not_of("xyzwrgba") == std::string::npos;
    if (!valid) {
        giveUpAt(token(), "expected one to four letters of xyzw or rgba behind \"@\", found " + found());
    }
    const DataType indices = static_cast<DataType>(kInt + pattern.size() - 1);
    const Extent whole = {value.extent.begin, token().end};
    std::vector<Value> arguments = {std::move(value), constant(indices, extentOf(token()))};
    ++fPosition;
    return call("operator@", arguments, extentOf(at), whole);
}

SourceChecker::Value SourceChecker::readPrimary() {
    switch (type()) {
    case kOpenParen: {
        const CheckedToken open = token();
        if (fNesting >= kMaxNesting) {
            giveUpAt(open, "nested too deeply: more than 256 braces and parentheses are open");
        }
        ++fNesting;
        ++fPosition;
        Value value = readExpression();
        if (type() != kCloseParen) {
            Diagnostic& diagnostic = errorAt(token(), "expected \")\", found " + found());
            diagnostic.notes.push_back(fSource.noteAt(open.begin, "to close this \"(\""));
            throw GivenUp();
        }
        value.extent = {open.begin, token().end};
        ++fPosition;
        --fNesting;
        return value;
    }
    case kNumericLiteral:
        checkNumber();
        ++fPosition;
        return constant(kFloat, extentOf(before()));
    case kOpenBrace:
        return readList();
    case kIdentifier:
        return type(1) == kOpenParen ? readCall(true) : useVariable(fPosition++);
    default: {
        const bool keyword = type() >= kDataTypeName && type() <= kFragment;
        giveUpAt(token(), keyword ? quote(text()) + " is a keyword and no value"
                                  : "expected a value, found " + found());
    }
    }
}

/// "{" ["-"] number {"," ["-"] number} "}"
SourceChecker::Value SourceChecker::readList() {
    const CheckedToken open = token();
    int count = 0;
    do {
        ++fPosition;
        fPosition += type() == kMinus ? 1 : 0;
        if (type() != kNumericLiteral) {
            giveUpAt(token(), type() == kIdentifier || type() == kOpenParen
                                  ? "braces hold numbers only: write vec3(...) for a vector of values"
                                  : "expected a number, found " + found());
        }
        checkNumber();
        ++fPosition;
        ++count;
    } while (type() == kComma);
    if (type() != kCloseBrace) {
        giveUpAt(token(), "expected \",\" or \"}\" behind the number, found " + found());
    }
    ++fPosition;
    const DataType type = count <= 4 ? static_cast<DataType>(kFloat + count - 1) : kInvalidDataType;
    return constant(type, {open.begin, before().end});
}

/// A minus or a plus behind digits says something else than it seems to say.
void SourceChecker::checkNumber() {
    const std::string number = text();
    const std::size_t minus = number.find('-');
    if (minus != std::string::npos && minus > 0) {
        const bool exponent = number[minus - 1] == 'e' || number[minus - 1] == 'E';
        if (exponent && minus + 1 < number.size()) {
            return;
        }
        const TokenType next = type(1);
        if (next == kIdentifier || next == kNumericLiteral || next == kOpenParen || next == kOpenBrace) {
            giveUpAt(token(), "the minus belongs to the number " + quote(number) + ": put a blank before it");
        }
        const std::string lost = number.substr(minus);
        warning("minus-in-number", extentOf(token()),
                "the minus belongs to the number: " + quote(number) + " is read as " +
                    number.substr(0, minus) + ", and " + quote(lost) + " is lost; put a blank before it");
        return;
    }
    const bool exponent = number.ends_with('e') || number.ends_with('E');
    if (exponent && type(1) == kPlus && areAdjacent(fPosition) && type(2) == kNumericLiteral &&
        areAdjacent(fPosition + 1)) {
        const std::string digits = number.substr(0, number.size() - 1);
        warning("exponent-plus", {token().begin, token(2).end},
                "an exponent has no plus: " + quote(number + "+" + text(2)) + " is the sum of " + digits +
                    " and " + text(2) + "; write " + number + text(2));
    }
}

/// name "(" {argument [","]} ")"
SourceChecker::Value SourceChecker::readCall(bool valueWanted) {
    const std::size_t name = fPosition;
    const std::string function = text();
    if (fNesting >= kMaxNesting) {
        giveUpAt(token(), "nested too deeply: more than 256 braces and parentheses are open");
    }
    ++fNesting;
    fPosition += 2;
    std::vector<Value> arguments;
    std::vector<std::size_t> variables; // by argument: the token of a bare name, or 0
    while (type() != kCloseParen) {
        const bool bareName = type() == kIdentifier && (type(1) == kComma || type(1) == kCloseParen);
        variables.push_back(bareName ? fPosition : 0);
        arguments.push_back(readExpression());
        if (type() == kComma) {
            ++fPosition;
        } else if (type() != kCloseParen) {
            Diagnostic& diagnostic = errorAt(token(), "expected \",\" or \")\", found " + found());
            diagnostic.notes.push_back(
                fSource.noteAt(fTokens[name].begin, "in the arguments of " + quote(function)));
            throw GivenUp();
        }
    }
    ++fPosition;
    --fNesting;

    const Extent whole = {fTokens[name].begin, before().end};
    Value result = call(function, arguments, extentOf(fTokens[name]), whole);
    if (!fCalled) {
        for (const std::size_t variable : variables) {
            if (variable != 0) {
                forgiveVariables(variable, variable + 1);
            }
        }
        return result;
    }
    const CheckedFunction& called = *fCalled;
    const CompFreqRange inputs = fCalledRange;
    for (std::size_t i = 0; i < called.parameters.size(); ++i) {
        const CheckedParameter& parameter = called.parameters[i];
        if (!parameter.isOutput) {
            continue;
        }
        if (variables[i] == 0) {
            Diagnostic& diagnostic =
                error(arguments[i].extent, "argument " + std::to_string(i + 1) + " of " + quote(function) +
                                               " is an output and takes a variable");
            addNote(diagnostic, called, called.signature());
            continue;
        }
        const Value output = resultOf(called.earliest[i], parameter.range, parameter.type, arguments, inputs);
        assign(fSource.textOf(fTokens[variables[i]]), output, arguments[i].extent);
    }
    if (valueWanted && called.result == kVoid) {
        Diagnostic& diagnostic =
            error(whole, quote(function) + " has no result: take the value from its \"out\" parameter");
        addNote(diagnostic, called, called.signature());
        result.type = kUnknownType;
    }
    return result;
}

// Calls

void SourceChecker::addNote(Diagnostic& diagnostic, const CheckedFunction& function, std::string message) {
    DiagnosticNote note = function.place;
    note.message = std::move(message);
    diagnostic.notes.push_back(std::move(note));
}

/// The value of a call; `fCalled` is then the called function, and null where none fits.
SourceChecker::Value SourceChecker::call(const std::string& name, std::vector<Value>& arguments, Extent place,
                                         Extent whole) {
    DataType type = kUnknownType;
    fCalled = choose(name, arguments, place, type);
    Value result;
    result.extent = whole;
    if (!fCalled) {
        result.type = type;
        for (const Value& argument : arguments) {
            result.earliest.arguments |= argument.earliest.arguments;
        }
        return result;
    }
    const CheckedFunction& called = *fCalled;
    CompFreqRange running(kInvalidFreq, kInvalidFreq);
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const CheckedParameter& parameter = called.parameters[i];
        if (parameter.isOutput) {
            continue;
        }
        const bool computed = arguments[i].state == Value::kComputed;
        checkReadable(arguments[i]);
        if (computed && arguments[i].type != kUnknownType && !parameter.range.contains(arguments[i].range)) {
            Diagnostic& diagnostic =
                error(arguments[i].extent, "parameter " + quote(parameter.name) + " of " + quote(name) +
                                               " allows " + rangeName(parameter.range) + ", this value is " +
                                               rangeName(arguments[i].range));
            addNote(diagnostic, called, called.signature());
        }
        running = combine(running, arguments[i].range);
    }
    fCalledRange = running;
    result = resultOf(called.resultEarliest, called.resultRange, called.result, arguments, running);
    result.type = type;
    result.extent = whole;
    return result;
}

std::string SourceChecker::rangeName(const CompFreqRange& range) {
    return range == CompFreqRange(kInvalidFreq, kInvalidFreq) ? "no frequency" : range.toString();
}

SourceChecker::Value SourceChecker::resultOf(const Earliest& own, const CompFreqRange& declared,
                                             DataType type, const std::vector<Value>& arguments,
                                             const CompFreqRange& range) const {
    Value result;
    result.type = type;
    result.range = outputRange(range, declared);
    result.earliest.level = own.level;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if ((own.arguments & Earliest::bitOf(i)) != 0) {
            result.earliest.wait(arguments[i].earliest);
        }
    }
    return result;
}

/// The first function whose parameters have the types of the arguments. Where a type is unknown,
/// the only one that can be meant; null where there are several, with their result where they agree
/// on one. Reports when there is none.
const CheckedFunction* SourceChecker::choose(const std::string& name, const std::vector<Value>& arguments,
                                             Extent place, DataType& result) {
    std::vector<DataType> types;
    bool unknown = false;
    for (const Value& argument : arguments) {
        types.push_back(argument.type);
        unknown = unknown || argument.type == kUnknownType;
    }
    if (!unknown) {
        if (const CheckedFunction* found = fFunctions.find(name, types)) {
            result = found->result;
            return found;
        }
        if (!fFunctions.isGivenUp(name)) {
            reportNoMatch(name, arguments, place);
        }
        return nullptr;
    }
    const CheckedFunction* only = nullptr;
    std::size_t count = 0;
    bool agree = true;
    if (const auto* candidates = fFunctions.named(name)) {
        for (const CheckedFunction* candidate : *candidates) {
            const bool match = std::equal(
                candidate->parameters.begin(), candidate->parameters.end(), types.begin(), types.end(),
                [](const CheckedParameter& parameter, DataType type) { return fits(parameter.type, type); });
            if (match) {
                agree = count == 0 || (agree && only->result == candidate->result);
                only = count == 0 ? candidate : only;
                ++count;
            }
        }
    }
    if (count == 0 && !fFunctions.isGivenUp(name)) {
        reportNoMatch(name, arguments, place);
    }
    result = count > 0 && agree ? only->result : kUnknownType;
    return count == 1 ? only : nullptr;
}

void SourceChecker::reportNoMatch(const std::string& name, const std::vector<Value>& arguments,
                                  Extent place) {
    const bool isOperator =
        name.starts_with("operator") && name.size() > 8 && !std::isalnum(static_cast<unsigned char>(name[8]));
    const std::string shown = isOperator ? name.substr(8) : name;
    const auto* candidates = fFunctions.named(name);
    const auto isList = [](const Value& argument) { return argument.type == kInvalidDataType; };
    const auto list = std::find_if(arguments.begin(), arguments.end(), isList);
    if (candidates && list != arguments.end()) {
        error(list->extent, "a list has at most four numbers");
        return;
    }
    if (!candidates) {
        fFunctions.giveUp(name);
        Diagnostic& diagnostic =
            error(place, (isOperator ? "no operator is called " : "no function is called ") + quote(shown));
        if (isOperator) {
            diagnostic.message += "; the standard library declares the operators: read it first";
            return;
        }
        const auto nearest = fFunctions.nearest(name, kMostCandidates);
        for (const CheckedFunction* function : nearest) {
            addNote(diagnostic, *function, "did you mean " + quote(function->name) + "?");
        }
        return;
    }
    std::string types;
    for (const Value& argument : arguments) {
        types +=
            (types.empty() ? "" : ", ") + (argument.type == kUnknownType ? "?" : dataTypeName(argument.type));
    }
    Diagnostic& diagnostic = error(place, (isOperator ? "no operator " : "no function ") + quote(shown) +
                                              " takes (" + types + ")");

    struct Candidate {
        std::size_t differences;
        const CheckedFunction* function;
        std::string what;
    };
    std::vector<Candidate> nearest;
    bool onlyWholeNumbers = false;
    for (const CheckedFunction* function : *candidates) {
        const std::size_t wanted = function->parameters.size();
        Candidate candidate = {0, function, ""};
        if (wanted != arguments.size()) {
            const std::size_t more =
                wanted > arguments.size() ? wanted - arguments.size() : arguments.size() - wanted;
            candidate.differences = 100 + more;
            candidate.what = "takes " + std::to_string(wanted) + (wanted == 1 ? " argument" : " arguments");
        } else {
            bool numbers = true;
            for (std::size_t i = 0; i < wanted; ++i) {
                const DataType parameter = function->parameters[i].type;
                const DataType argument = arguments[i].type;
                if (fits(parameter, argument)) {
                    continue;
                }
                numbers = numbers && otherNumber(parameter) == otherNumber(argument);
                if (candidate.differences++ == 0) {
                    candidate.what = "argument " + std::to_string(i + 1) + " is " + dataTypeName(argument) +
                                     ", not " + dataTypeName(parameter);
                }
            }
            onlyWholeNumbers = onlyWholeNumbers || numbers;
        }
        nearest.push_back(std::move(candidate));
    }
    std::stable_sort(nearest.begin(), nearest.end(),
                     [](const Candidate& a, const Candidate& b) { return a.differences < b.differences; });
    nearest.resize(std::min(nearest.size(), kMostCandidates));
    if (onlyWholeNumbers) {
        diagnostic.message += "; nothing is converted: write toFloat(...) or toInt(...)";
    }
    for (const Candidate& candidate : nearest) {
        addNote(diagnostic, *candidate.function, candidate.function->signature() + ": " + candidate.what);
    }
}

} // namespace qvShadingDag
