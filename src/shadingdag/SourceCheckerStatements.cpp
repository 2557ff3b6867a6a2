#include "shadingdag/SourceChecker.h"

#include "base/NearWords.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace qvShadingDag {

namespace {

constexpr unsigned int kMaxNesting = 256; // as deep as the parser follows

std::string quote(const std::string& text) {
    return '"' + text + '"';
}

bool isAssignment(TokenType type) {
    return type >= kAssign && type <= kPercentAssign;
}

} // namespace

// Statements

void SourceChecker::readCompound() {
    const CheckedToken open = token();
    ++fPosition;
    if (++fNesting > kMaxNesting) {
        giveUpAt(open, "nested too deeply: more than 256 braces and parentheses are open");
    }
    while (!fBodyLeft && type() != kCloseBrace) {
        if (atEnd() || beginsFunction(fPosition)) {
            if (!fBracesInDoubt) {
                errorAt(open, "this \"{\" is never closed");
            }
            fBodyLeft = true;
            break;
        }
        readStatement();
    }
    --fNesting;
    fPosition += fBodyLeft ? 0 : 1;
}

void SourceChecker::readStatement() {
    const std::size_t first = fPosition;
    const unsigned int nesting = fNesting;
    const std::size_t reported = fDiagnostics.size();
    try {
        if (type() == kOpenBrace) {
            readCompound();
        } else if (skipForeignConstruct(true)) {
            return;
        } else if (type() == kIdentifier && type(1) == kDataTypeName && insteadOfQualifier(text())) {
            errorAt(token(), insteadOfQualifier(text()));
            ++fPosition;
            readDeclaration();
        } else if (reportForeignSyntax()) {
            throw GivenUp();
        } else if (reportUnknownType() || type() == kDataTypeName) {
            readDeclaration();
        } else if (type() == kReturn) {
            readReturn();
        } else if (type() == kIdentifier && type(1) == kOpenParen) {
            readCallStatement();
        } else if (type() == kSemicolon) {
            errorAt(token(), "there is nothing before this \";\"");
            ++fPosition;
        } else {
            readExpression();
            expectSemicolon("the statement");
        }
    } catch (const GivenUp&) {
        fNesting = nesting;
        withdrawErrors(reported);
        leaveStatement(first);
    }
}

/// Of what was said from `first` on, the last error stays, and the warnings that are about the text.
void SourceChecker::withdrawErrors(std::size_t first) {
    const auto last = std::prev(fDiagnostics.end());
    for (auto next = fDiagnostics.begin() + static_cast<std::ptrdiff_t>(first); next != last; ++next) {
        fErrors -= next->severity == Diagnostic::kError ? 1 : 0;
    }
    const auto isOfTypes = [](const Diagnostic& diagnostic) {
        return diagnostic.severity == Diagnostic::kError || diagnostic.name == "second-declaration";
    };
    const auto kept =
        std::remove_if(fDiagnostics.begin() + static_cast<std::ptrdiff_t>(first), last, isOfTypes);
    fDiagnostics.erase(kept, last);
}

/// A statement that begins with two names is a declaration with a type that there is not.
bool SourceChecker::reportUnknownType() {
    if (type() != kIdentifier || type(1) != kIdentifier ||
        (type(2) != kAssign && type(2) != kComma && type(2) != kSemicolon)) {
        return false;
    }
    const char* instead = insteadOfType(text());
    std::vector<std::string> types;
    for (int type = kBool; type <= kTexObj; ++type) {
        types.push_back(dataTypeName(static_cast<DataType>(type)));
    }
    const std::vector<std::string> nearest = qvString::nearWords(text(), {types.begin(), types.end()}, 1);
    errorAt(token(), instead ? std::string(instead)
                             : "no type is called " + quote(text()) +
                                   (nearest.empty() ? "" : "; did you mean " + quote(nearest.front()) + "?"));
    return true;
}

/// type name ["=" value] {"," name ["=" value]} ";"
void SourceChecker::readDeclaration() {
    const DataType declared = type() == kDataTypeName ? token().dataType : kUnknownType;
    ++fPosition;
    for (;;) {
        if (type() != kIdentifier) {
            ++fLostNames;
            const bool keyword = type() == kDataTypeName || (type() >= kOut && type() <= kFragment);
            giveUpAt(token(), keyword ? quote(text()) + " is a keyword and cannot name a variable"
                                      : "expected a variable's name, found " + found());
        }
        const std::size_t place = fPosition;
        const std::string name = text();
        Value value;
        value.type = declared;
        value.state = Value::kUnassigned;
        value.variable = name;
        value.extent = extentOf(token());
        ++fPosition;
        if (type() == kAssign) {
            ++fPosition;
            Value initial = readBinary();
            if (initial.type != kUnknownType && declared != kUnknownType && initial.type != declared) {
                error(initial.extent, "variable " + quote(name) + " is " + dataTypeName(declared) +
                                          ", its value " + typeName(initial.type));
                initial = Value{declared, {}, {}, Value::kComputed, "", initial.extent};
            }
            initial.type = declared;
            value = std::move(initial);
        }
        declare(place, std::move(value));
        if (type() != kComma) {
            break;
        }
        ++fPosition;
    }
    expectSemicolon("the declaration");
}

/// "return" expression ";"
void SourceChecker::readReturn() {
    const CheckedToken word = token();
    const auto outputs = std::count_if(fFunction->parameters.begin(), fFunction->parameters.end(),
                                       [](const auto& parameter) { return parameter.isOutput; }) +
                         (fFunction->result != kVoid ? 1 : 0);
    if (type(1) == kSemicolon) {
        giveUpAt(word, "a \"return\" needs a value; a body ends at its \"}\" only");
    }
    if (outputs != 1) {
        giveUpAt(word, fFunction->result == kVoid
                           ? "there is no result to return: assign to the \"out\" parameters"
                           : "a function with an \"out\" parameter cannot return a value: make the result an "
                             "\"out\" parameter, too");
    }
    ++fPosition;
    const Value value = readExpression();
    DataType expected = fFunction->result;
    for (const CheckedParameter& parameter : fFunction->parameters) {
        expected = parameter.isOutput ? parameter.type : expected;
    }
    if (value.type != kUnknownType && value.type != expected) {
        error(value.extent, quote(fFunction->name) + " returns " + dataTypeName(expected) + ", this is " +
                                typeName(value.type));
    }
    expectSemicolon("the \"return\"");
    fReturned = true;
    if (fFunction->result != kVoid) {
        Value result = value;
        result.type = expected;
        fVariables["output"].front().value = std::move(result);
    }
}

/// call ";"
void SourceChecker::readCallStatement() {
    readCall(false);
    expectSemicolon("the call");
}

/// A ";" that is missing where the next statement begins is taken as read.
void SourceChecker::expectSemicolon(const char* what) {
    if (type() == kSemicolon) {
        ++fPosition;
        return;
    }
    const bool onNewLine = atEnd() || token().firstLine > before().firstLine;
    if (onNewLine || beginsStatement(fPosition)) {
        error(behindLastToken(), std::string("expected \";\" behind ") + what);
        return;
    }
    const bool step = type() == kPlusPlus || type() == kMinusMinus;
    giveUpAt(token(), step ? "there is no " + quote(text()) + " behind a value: write x " +
                                 (type() == kPlusPlus ? "+= 1" : "-= 1")
                           : std::string("expected \";\" behind ") + what + ", found " + found());
}

/// Looks for what people bring along from other languages in the tokens of the statement; reports
/// the first.
bool SourceChecker::reportForeignSyntax() {
    const auto typeAt = [&](std::size_t at) { return fTokens[std::min(at, fTokens.size() - 1)].type; };
    const auto textAt = [&](std::size_t at) { return fSource.textOf(fTokens[at]); };
    for (std::size_t i = fPosition; typeAt(i) != kSemicolon && typeAt(i) != kEndOfInput; ++i) {
        if (i > fPosition && beginsStatement(i) && typeAt(i) != kCloseBrace) {
            return false;
        }
        const CheckedToken& here = fTokens[i];
        const bool afterOperand =
            i > fPosition && (typeAt(i - 1) == kIdentifier || typeAt(i - 1) == kCloseParen ||
                              typeAt(i - 1) == kNumericLiteral);
        switch (here.type) {
        case kQuestion:
            errorAt(here, "there is no \"?:\": write select(condition, a, b), which computes both");
            return true;
        case kOpenBracket:
            errorAt(here,
                    "there is no \"[ ]\": write v@x for a component, row(m, 0) for the row of a matrix");
            return true;
        case kDataTypeName:
            if (i > fPosition && typeAt(i + 1) == kOpenParen) {
                const std::string name = textAt(i);
                const bool vector = here.dataType >= kFloat2 && here.dataType <= kFloat4;
                errorAt(here, quote(name) + " is a type, not a function: " +
                                  (vector ? "write vec" + name.substr(5) + "(...), or numbers in braces"
                                          : "write a function that converts, as toFloat, toInt or mat3"));
                return true;
            }
            if (i == fPosition + 1 && typeAt(fPosition) == kOpenParen && typeAt(i + 1) == kCloseParen) {
                errorAt(here, "there are no casts: write a function that converts, as toFloat or toInt");
                return true;
            }
            break;
        case kConstant:
        case kUniform:
        case kVertex:
        case kFragment:
            errorAt(here,
                    typeAt(i + 1) == kOpenParen
                        ? quote(textAt(i)) + " is a keyword, not a function: write perVertex or perFragment"
                        : "a frequency stands before a parameter or a result only");
            return true;
        case kNumericLiteral:
            if (areAdjacent(i) && typeAt(i + 1) == kIdentifier && !textAt(i).ends_with('-')) {
                error({here.begin, fTokens[i + 1].end}, textAt(i) == "0" && textAt(i + 1).starts_with('x')
                                                            ? "numbers are decimal"
                                                            : "a number has no suffix: write " + textAt(i) +
                                                                  " without " + quote(textAt(i + 1)));
                return true;
            }
            break;
        case kAt:
            if (typeAt(i + 1) == kIdentifier && isAssignment(typeAt(i + 2)) &&
                typeAt(fPosition) != kDataTypeName) {
                errorAt(here, "nothing is assigned to a swizzle: build the whole vector anew");
                return true;
            }
            break;
        case kInvalidToken: {
            const std::string character = textAt(i);
            if (character == "." && typeAt(i + 1) == kNumericLiteral && areAdjacent(i)) {
                const bool inNumber = afterOperand && areAdjacent(i - 1) && typeAt(i - 1) == kNumericLiteral;
                if (inNumber) {
                    const std::string number = textAt(i - 1);
                    error(extentOf(fTokens[i - 1]),
                          "the minus belongs to the number " + quote(number) + ": put a blank before it");
                } else {
                    error({here.begin, fTokens[i + 1].end},
                          "a number begins with a digit: write 0." + textAt(i + 1));
                }
            } else if (character == "." && typeAt(i + 1) == kIdentifier) {
                errorAt(here, "there is no \".\": write @" + textAt(i + 1) + " for components");
            } else if (character == "#") {
                errorAt(here, "there is no preprocessor");
            } else {
                errorAt(here, "no token of the language begins with " + quote(character));
            }
            return true;
        }
        case kOpenBrace:
            if (i == fPosition) {
                return false;
            }
            break;
        case kCloseBrace:
            if (typeAt(i + 1) != kSemicolon && typeAt(i + 1) != kComma && typeAt(i + 1) != kCloseParen &&
                fTokens[std::min(i + 1, fTokens.size() - 1)].firstLine > here.firstLine) {
                return false; // of the body, where a ";" is missing
            }
            break;
        default:
            break;
        }
    }
    return false;
}

/// Goes behind a statement that was given up.
void SourceChecker::leaveStatement(std::size_t first) {
    std::ptrdiff_t lists = 0; // that were open where the statement was given up
    for (std::size_t i = first; i < fPosition; ++i) {
        lists += fTokens[i].type == kOpenBrace ? 1 : fTokens[i].type == kCloseBrace ? -1 : 0;
    }
    while (!atEnd() && type() != kSemicolon && (type() != kCloseBrace || lists-- > 0)) {
        if (fPosition > first && type() != kCloseBrace &&
            (beginsFunction(fPosition) || beginsStatement(fPosition))) {
            break;
        }
        if (type() == kOpenBrace) {
            skipBalanced();
        } else {
            ++fPosition;
        }
    }
    if (type() == kSemicolon) {
        ++fPosition;
        skipRestOfStatement(first);
    }
    std::ptrdiff_t depth = 0;
    for (std::size_t i = first; i < fPosition; ++i) {
        depth += fTokens[i].type == kOpenBrace ? 1 : fTokens[i].type == kCloseBrace ? -1 : 0;
        fBracesInDoubt = fBracesInDoubt || (depth > 0 && fTokens[i].type == kSemicolon);
    }
    fBracesInDoubt = fBracesInDoubt || depth != 0 || atEnd();
    forgiveVariables(first, fPosition);
}

/// A ";" in the place of a "," or of a name splits a statement: what follows it then begins with
/// what cannot begin one, or closes a parenthesis too many.
void SourceChecker::skipRestOfStatement(std::size_t first) {
    const auto depthAfter = [&](std::size_t from, std::size_t end, std::ptrdiff_t depth) {
        for (std::size_t i = from; i < end; ++i) {
            depth += fTokens[i].type == kOpenParen ? 1 : fTokens[i].type == kCloseParen ? -1 : 0;
        }
        return depth;
    };
    std::size_t end = fPosition;
    while (fTokens[end].type != kSemicolon && fTokens[end].type != kOpenBrace && !beginsStatement(end)) {
        ++end;
    }
    const bool inParentheses = depthAfter(first, fPosition, 0) > 0;
    const bool isRest = type() == kAssign || type() == kComma ||
                        (inParentheses && (type() == kSemicolon || depthAfter(fPosition, end, 0) < 0));
    if (isRest && fTokens[end].type == kSemicolon) {
        fPosition = end + 1;
    }
}

/// From here on the variables in a stretch of tokens count as declared, assigned and used.
void SourceChecker::forgiveVariables(std::size_t first, std::size_t last) {
    bool declaring = first < fTokens.size() && fTokens[first].type == kDataTypeName;
    const DataType declared = declaring ? fTokens[first].dataType : kUnknownType;
    for (std::size_t i = first; i < last; ++i) {
        if (fTokens[i].type != kIdentifier) {
            continue;
        }
        const std::string name = fSource.textOf(fTokens[i]);
        const bool behindType = i > first && fTokens[i - 1].type == kDataTypeName;
        const bool isAssigned = fTokens[i + 1].type == kAssign;
        const bool behindComma = declaring && i > first && fTokens[i - 1].type == kComma;
        Variables* variables = findVariables(name);
        if (!variables && (behindType || behindComma || isAssigned)) {
            Variable variable;
            variable.place = i;
            variable.value.type = behindType    ? fTokens[i - 1].dataType
                                  : behindComma ? declared
                                                : kUnknownType;
            fVariables[name].push_back(std::move(variable));
            variables = findVariables(name);
        }
        if (variables) {
            for (Variable& variable : *variables) {
                variable.used = true;
                variable.value.state = Value::kComputed;
            }
        }
    }
}

// Variables

SourceChecker::Variables* SourceChecker::findVariables(const std::string& name) {
    const auto found = fVariables.find(name);
    return found == fVariables.end() ? nullptr : &found->second;
}

/// Of several variables of a name, reading finds the first, and assigning the first of the type.
void SourceChecker::declare(std::size_t place, Value value) {
    const std::string name = fSource.textOf(fTokens[place]);
    Variables& variables = fVariables[name];
    Variable variable;
    variable.place = place;
    variable.value = std::move(value);
    if (!variables.empty()) {
        const Variable& first = variables.front();
        Diagnostic& diagnostic =
            warning("second-declaration", extentOf(fTokens[place]),
                    quote(name) + " is declared a second time; the name goes on to stand for the first");
        diagnostic.notes.push_back(fSource.noteAt(fTokens[first.place].begin, first.kind == Variable::kLocal
                                                                                  ? "the first declaration"
                                                                                  : "the parameter"));
        variable.used = true;
        const bool known = std::any_of(variables.begin(), variables.end(), [&](const Variable& other) {
            return other.value.type == variable.value.type;
        });
        if (known) {
            return;
        }
    }
    variables.push_back(std::move(variable));
}

void SourceChecker::assign(const std::string& name, const Value& value, Extent extent) {
    Variables* variables = findVariables(name);
    if (!variables) {
        return;
    }
    for (Variable& variable : *variables) {
        DataType& type = variable.value.type;
        if (value.type == kUnknownType || type == kUnknownType || type == value.type) {
            const DataType kept = type == kUnknownType ? value.type : type;
            variable.value = value;
            variable.value.type = kept;
            return;
        }
    }
    error(extent, "variable " + quote(name) + " is " + typeName(variables->front().value.type) +
                      ", the assigned value " + typeName(value.type));
    variables->front().value.state = Value::kComputed;
}

/// The variable whose name looks most like `name`, the first of several by their letters; empty
/// when none does.
std::string SourceChecker::nearestVariable(const std::string& name) const {
    constexpr std::size_t kMostNames = 10000; // a hint is not worth the time of more
    if (fVariables.size() > kMostNames) {
        return "";
    }
    std::vector<std::string_view> names;
    for (const auto& [other, entries] : fVariables) {
        if (other != "output") {
            names.push_back(other);
        }
    }
    std::sort(names.begin(), names.end());
    const std::vector<std::string> nearest = qvString::nearWords(name, names, 1);
    return nearest.empty() ? "" : nearest.front();
}

SourceChecker::Value SourceChecker::useVariable(std::size_t place) {
    const std::string name = fSource.textOf(fTokens[place]);
    Variables* variables = findVariables(name);
    if (!variables) {
        std::string message = "no variable is called " + quote(name);
        const std::string nearest = nearestVariable(name);
        if (name == "true" || name == "false") {
            message = "there are no literals of bool: write a comparison, as 0 < 1";
        } else if (fFunctions.named(name)) {
            message += "; " + quote(name) + " is a function, and its arguments are missing";
        } else if (!nearest.empty()) {
            message += "; did you mean " + quote(nearest) + "?";
        }
        if (fLostNames > 0) {
            --fLostNames; // a declaration that was reported has lost this name, most likely
        } else {
            errorAt(fTokens[place], message);
        }
        Variable unknown;
        unknown.place = place;
        unknown.used = true;
        fVariables[name].push_back(std::move(unknown));
        variables = findVariables(name);
    }
    variables->front().used = true;
    Value value = variables->front().value;
    value.extent = extentOf(fTokens[place]);
    if (value.state == Value::kComputed) {
        value.variable = name;
    }
    return value;
}

/// A value that is handed on must have been computed; what is missing is reported once.
void SourceChecker::checkReadable(Value& value) {
    if (value.state == Value::kComputed) {
        return;
    }
    error(value.extent, "variable " + quote(value.variable) + " is used before it is assigned");
    value.state = Value::kComputed;
    if (Variables* variables = findVariables(value.variable)) {
        variables->front().value.state = Value::kComputed;
    }
}

} // namespace qvShadingDag
