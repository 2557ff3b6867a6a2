#include "shadingdag/SourceChecker.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace qvShadingDag {

namespace {

constexpr unsigned int kMostErrors = 100;

struct Word {
    const char* word;
    const char* instead;
};

// What other languages have at the start of a statement or a function.
constexpr Word kForeignWords[] = {
    {"if", "there is no \"if\": write select(condition, a, b), which computes both"},
    {"else", "there is no \"else\": write select(condition, a, b), which computes both"},
    {"for", "there are no loops: write out every step"},
    {"while", "there are no loops: write out every step"},
    {"do", "there are no loops: write out every step"},
    {"switch", "there is no \"switch\": write select(condition, a, b), which computes both"},
    {"struct", "there are no structures: hand every value over as a parameter of its own"},
    {"cbuffer", "there are no buffers: hand every value over as a \"uniform\" parameter"},
};

// What other languages have before a type.
constexpr Word kForeignQualifiers[] = {
    {"const", "there is no \"const\": every value is one"},
    {"static", "there is no \"static\""},
    {"inline", "there is no \"inline\": calls are expanded"},
    {"in", "there is no \"in\": a parameter without \"out\" is an input"},
    {"inout", "there is no \"inout\": take an input and an \"out\" parameter"},
    {"varying", "there is no \"varying\": write the frequency \"vertex\""},
    {"attribute", "there is no \"attribute\": write the frequency \"vertex\""},
};

constexpr Word kForeignTypes[] = {
    {"vec2", "the type is called float2"},        {"vec3", "the type is called float3"},
    {"vec4", "the type is called float4"},        {"ivec2", "the type is called int2"},
    {"ivec3", "the type is called int3"},         {"ivec4", "the type is called int4"},
    {"mat2", "the type is called matrix2"},       {"mat3", "the type is called matrix3"},
    {"mat4", "the type is called matrix4"},       {"double", "the type is called float"},
    {"half", "the type is called float"},         {"sampler2D", "the type is called texobj"},
    {"samplerCube", "the type is called texobj"}, {"sampler1D", "the type is called texobj"},
    {"sampler3D", "the type is called texobj"},   {"float2x2", "the type is called matrix2"},
    {"float3x3", "the type is called matrix3"},   {"float4x4", "the type is called matrix4"},
    {"boolean", "the type is called bool"},       {"uint", "the type is called int"},
};

template <std::size_t Count>
const char* insteadOf(const Word (&words)[Count], const std::string& word) {
    for (const Word& row : words) {
        if (word == row.word) {
            return row.instead;
        }
    }
    return nullptr;
}

bool isFrequency(TokenType type) {
    return type >= kConstant && type <= kFragment;
}

std::string quote(const std::string& text) {
    return '"' + text + '"';
}

} // namespace

SourceChecker::SourceChecker(CheckedSource source, FunctionTable& functions,
                             std::vector<Diagnostic>& diagnostics, bool isLibrary)
    : fSource(std::move(source)), fTokens(fSource.tokens()), fFunctions(functions), fDiagnostics(diagnostics),
      fFirst(diagnostics.size()), fIsLibrary(isLibrary) {
    fErrors = static_cast<unsigned int>(
        std::count_if(diagnostics.begin(), diagnostics.end(), [](const Diagnostic& diagnostic) {
            return diagnostic.severity == Diagnostic::kError;
        }));
}

void SourceChecker::check() {
    if (fErrors >= kMostErrors) {
        return;
    }
    try {
        if (fSource.hasByteOrderMark()) {
            error({0, 0},
                  "the file begins with a byte order mark, which the reader takes for code: save it as "
                  "UTF-8 without one");
        }
        for (const LostText& lost : fSource.lostTexts()) {
            warning(lost.warning, {lost.cause, lost.cause + lost.causeLength}, lost.message);
        }
        checkSource();
    } catch (const TooManyErrors&) {
        fPosition = fTokens.size() - 1; // the list ends with the last error that it took
    }
    std::stable_sort(fDiagnostics.begin() + static_cast<std::ptrdiff_t>(fFirst), fDiagnostics.end(),
                     [](const Diagnostic& a, const Diagnostic& b) {
                         return std::tie(a.line, a.column) < std::tie(b.line, b.column);
                     });
}

// Tokens

const CheckedToken& SourceChecker::token(std::size_t ahead) const {
    return fTokens[std::min(fPosition + ahead, fTokens.size() - 1)];
}

/// What stands where something else was expected.
std::string SourceChecker::found(std::size_t ahead) const {
    return type(ahead) == kEndOfInput ? "the end of the file" : quote(text(ahead));
}

/// Whether nothing stands between a token and the one behind it.
bool SourceChecker::areAdjacent(std::size_t position) const {
    return position + 1 < fTokens.size() && fTokens[position].end == fTokens[position + 1].begin &&
           fTokens[position + 1].type != kEndOfInput;
}

/// [frequencies] type name "("
bool SourceChecker::beginsFunction(std::size_t position) const {
    const auto typeAt = [&](std::size_t at) { return fTokens[std::min(at, fTokens.size() - 1)].type; };
    if (isFrequency(typeAt(position))) {
        position += typeAt(position + 1) == kColon && isFrequency(typeAt(position + 2)) ? 3 : 1;
    }
    if (typeAt(position) != kDataTypeName || typeAt(position + 1) != kIdentifier) {
        return false;
    }
    const bool isOperator = fSource.textOf(fTokens[position + 1]) == "operator";
    return typeAt(position + (isOperator ? 3 : 2)) == kOpenParen;
}

/// Whether a token cannot go on with a statement that has begun before it.
bool SourceChecker::beginsStatement(std::size_t position) const {
    const TokenType type = fTokens[position].type;
    const bool onNewLine = position > 0 && fTokens[position].firstLine > fTokens[position - 1].firstLine;
    return type == kCloseBrace || type == kEndOfInput || type == kReturn || type == kOut ||
           (onNewLine && (type == kDataTypeName || isFrequency(type)));
}

/// Goes behind the bracket that closes the one at the present token.
void SourceChecker::skipBalanced() {
    const bool inBraces = type() == kOpenBrace;
    std::size_t depth = 0;
    do {
        switch (type()) {
        case kOpenBrace:
            if (!inBraces) {
                return;
            }
            ++depth;
            break;
        case kOpenParen:
            depth += inBraces ? 0 : 1;
            break;
        case kCloseParen:
            depth -= inBraces ? 0 : 1;
            break;
        case kCloseBrace:
            if (!inBraces) {
                return;
            }
            --depth;
            break;
        case kEndOfInput:
            return;
        default:
            if (inBraces && beginsFunction(fPosition)) {
                return;
            }
        }
        ++fPosition;
    } while (depth > 0);
}

// Reports

Diagnostic& SourceChecker::error(Extent extent, std::string message) {
    if (fErrors == kMostErrors) {
        throw TooManyErrors();
    }
    ++fErrors;
    Diagnostic diagnostic;
    diagnostic.severity = Diagnostic::kError;
    diagnostic.message = std::move(message);
    fSource.locate(diagnostic, extent.begin, extent.end);
    fDiagnostics.push_back(std::move(diagnostic));
    return fDiagnostics.back();
}

Diagnostic& SourceChecker::errorAt(const CheckedToken& token, std::string message) {
    return error(extentOf(token), std::move(message));
}

Diagnostic& SourceChecker::warning(const char* name, Extent extent, std::string message) {
    static Diagnostic unseen;
    if (fIsLibrary) {
        unseen.notes.clear();
        return unseen;
    }
    Diagnostic diagnostic;
    diagnostic.severity = Diagnostic::kWarning;
    diagnostic.message = std::move(message);
    diagnostic.name = name;
    fSource.locate(diagnostic, extent.begin, extent.end);
    fDiagnostics.push_back(std::move(diagnostic));
    return fDiagnostics.back();
}

void SourceChecker::giveUp(Extent extent, std::string message) {
    error(extent, std::move(message));
    throw GivenUp();
}

void SourceChecker::giveUpAt(const CheckedToken& token, std::string message) {
    giveUp(extentOf(token), std::move(message));
}

// Functions

void SourceChecker::checkSource() {
    for (std::size_t i = 0; i < fTokens.size(); ++i) {
        if (fTokens[i].type == kSemicolon || fTokens[i].type == kOpenBrace) {
            fLastEnd = i + 1;
        }
    }
    while (!atEnd()) {
        readTopLevel();
    }
}

void SourceChecker::readTopLevel() {
    const std::size_t first = fPosition;
    if (beginsFunction(fPosition)) {
        fSkipStray = false;
    }
    if (fPosition >= fLastEnd) {
        if (!fSkipStray) {
            const std::size_t end = fTokens[fTokens.size() - 4].end;
            warning("dropped-header", {token().begin, end},
                    type() == kCloseBrace
                        ? "this \"}\" closes nothing; it is dropped with all that follows it"
                        : quote(fSource.quoted(token().begin, end)) +
                              " is dropped: a header needs a \";\" or a body behind it");
        }
        fPosition = fTokens.size() - 1;
        return;
    }
    if (type() == kDataTypeName || isFrequency(type())) {
        readFunction();
        return;
    }
    if (skipForeignConstruct(false)) {
        return;
    }
    if (!fSkipStray) {
        const std::string word = text();
        const char* qualifier = insteadOfQualifier(word);
        const char* foreignType = insteadOf(kForeignTypes, word);
        const std::string message = type() == kCloseBrace  ? "this \"}\" closes nothing"
                                    : type() == kSemicolon ? "there is nothing before this \";\""
                                    : word == "#"          ? "there is no preprocessor"
                                    : qualifier            ? std::string(qualifier)
                                    : foreignType          ? std::string(foreignType)
                                                           : "expected a function's type, found " + found();
        errorAt(token(), message);
    }
    if (type() == kCloseBrace || type() == kSemicolon) {
        ++fPosition;
        return;
    }
    const bool wholeLine = text() == "#";
    const bool qualifier = insteadOfQualifier(text()) != nullptr;
    const std::size_t line = token().firstLine;
    ++fPosition;
    if (qualifier && beginsFunction(fPosition)) {
        return;
    }
    while (wholeLine && !atEnd() && token().firstLine == line) {
        ++fPosition;
    }
    if (!wholeLine) {
        // A name in the place of the type may be the type that was meant.
        const bool named =
            fTokens[first].type == kIdentifier && type() == kIdentifier && type(1) == kOpenParen;
        if (named) {
            fFunctions.giveUp(text());
        }
        skipFailedFunction();
    }
}

/// header (";" | body)
void SourceChecker::readFunction() {
    CheckedFunction function;
    fFunction = &function;
    fErrorsBefore = fErrors;
    fParameterPlaces.clear();
    fParameterFrequencies.clear();
    fVariables.clear();
    try {
        readHeader(function);
    } catch (const GivenUp&) {
        if (!function.name.empty()) {
            fFunctions.giveUp(function.name);
        }
        skipFailedFunction();
        skipRestOfFunction();
        return;
    }
    if (type() == kOpenBrace) {
        function.isDefined = true;
        warnOfTwins(function);
        readBody(function);
    } else if (type() == kSemicolon) {
        ++fPosition;
    } else if (atEnd() || beginsFunction(fPosition)) {
        error(behindLastToken(), "expected \";\" or a body behind the header");
    } else {
        const bool semantic = type() == kColon;
        errorAt(token(), semantic ? "there are no semantics: the name of an output says what it is"
                                  : "expected \";\" or a body behind the header, found " + found());
        fFunctions.giveUp(function.name);
        skipFailedFunction();
        skipRestOfFunction();
        return;
    }
    if (!function.isDefined) {
        std::uint64_t all = 0;
        for (std::size_t i = 0; i < function.parameters.size(); ++i) {
            all |= function.parameters[i].isOutput ? 0 : Earliest::bitOf(i);
        }
        const auto declared = [&](const CompFreqRange& range) {
            return Earliest{std::max(range.lowest(), kConstantFreq), all};
        };
        function.resultEarliest = declared(function.resultRange);
        for (const CheckedParameter& parameter : function.parameters) {
            function.earliest.push_back(declared(parameter.range));
        }
    }
    fFunctions.add(std::move(function));
    fFunction = nullptr;
}

/// [frequencies] type name "(" {parameter} ")"
void SourceChecker::readHeader(CheckedFunction& function) {
    const std::size_t first = fPosition;
    function.resultRange = readRange();
    const bool hasFrequency = fPosition > first; // a file may begin with the type
    if (type() != kDataTypeName) {
        const char* foreign = insteadOf(kForeignTypes, text());
        giveUpAt(token(), foreign ? foreign : "expected a type, found " + found());
    }
    function.result = token().dataType;
    fResultFrequency = hasFrequency ? Extent{fTokens[first].begin, before().end} : extentOf(token());
    ++fPosition;
    fNamePlace = fPosition;
    function.place = fSource.noteAt(token().begin, "");
    function.name = readFunctionName();
    if (type() != kOpenParen) {
        const bool global = type() == kAssign || type() == kSemicolon || type() == kComma;
        giveUpAt(token(), global ? "there are no variables outside functions: hand " + quote(function.name) +
                                       " over as a parameter, or write a function that returns it"
                                 : "expected \"(\" behind the function's name, found " + found());
    }
    const CheckedToken open = token();
    ++fPosition;
    while (type() != kCloseParen) {
        const bool goesOn = type() == kSemicolon &&
                            (type(1) == kDataTypeName || type(1) == kOut || isFrequency(type(1))) &&
                            !beginsFunction(fPosition + 1);
        if (goesOn) {
            errorAt(token(), "parameters have commas between them");
            ++fPosition;
            continue;
        }
        if (atEnd() || type() == kOpenBrace || type() == kSemicolon) {
            Diagnostic& diagnostic = errorAt(token(), "expected \")\", found " + found());
            diagnostic.notes.push_back(fSource.noteAt(open.begin, "the parameters begin here"));
            throw GivenUp();
        }
        readParameter(function);
    }
    ++fPosition;
    const bool hasOutput =
        function.result != kVoid || std::any_of(function.parameters.begin(), function.parameters.end(),
                                                [](const auto& parameter) { return parameter.isOutput; });
    if (!hasOutput) {
        giveUpAt(fTokens[fNamePlace],
                 "a function needs an output: a type before its name, or an \"out\" parameter");
    }
}

std::string SourceChecker::readFunctionName() {
    std::string name = text();
    if (type() == kDataTypeName || isFrequency(type()) || type() == kOut || type() == kReturn ||
        type() == kOutputKeyword) {
        giveUpAt(token(), quote(name) + " is a keyword and cannot name a function");
    }
    if (type() != kIdentifier) {
        giveUpAt(token(), "expected the function's name, found " + found());
    }
    ++fPosition;
    if (name != "operator") {
        return name;
    }
    static constexpr TokenType kSymbols[] = {
        kPlus,         kMinus,     kStar, kSlash,  kPercent,  kEqual,      kNotEqual, kGreater, kLess,
        kGreaterEqual, kLessEqual, kOrOr, kAndAnd, kPlusPlus, kMinusMinus, kNot,      kAt};
    const bool frequency = isFrequency(type());
    if (!frequency && std::find(std::begin(kSymbols), std::end(kSymbols), type()) == std::end(kSymbols)) {
        giveUpAt(token(), "expected an operator, found " + found());
    }
    const std::string symbol = text();
    ++fPosition;
    return frequency ? symbol : name + symbol; // the conversions between frequencies have plain names
}

/// ["out"] [frequencies] type name [","]
void SourceChecker::readParameter(CheckedFunction& function) {
    const std::string word = text();
    CheckedParameter parameter;
    const std::size_t first = token().begin;
    if (type() == kOut) {
        parameter.isOutput = true;
        ++fPosition;
    }
    parameter.range = readRange();
    const Extent frequency = {first, before().end};
    if (type() != kDataTypeName || token().dataType == kVoid) {
        const char* qualifier = insteadOfQualifier(text());
        const char* foreign = insteadOf(kForeignTypes, text());
        giveUpAt(token(), type() == kDataTypeName
                              ? "\"void\" is no type of a parameter: leave the parentheses empty"
                          : qualifier ? std::string(qualifier)
                          : foreign   ? std::string(foreign)
                                      : "expected a parameter's type, found " + found());
    }
    parameter.type = token().dataType;
    ++fPosition;
    if (type() != kIdentifier) {
        const bool keyword = type() == kOutputKeyword || isFrequency(type()) || type() == kDataTypeName;
        giveUpAt(token(), keyword ? quote(text()) + " is a keyword and cannot name a parameter"
                                  : "expected the parameter's name, found " + found());
    }
    parameter.name = text();
    fParameterPlaces.push_back(fPosition);
    fParameterFrequencies.push_back(frequency.end > first ? frequency : extentOf(fTokens[fPosition - 1]));
    ++fPosition;
    if (type() == kAssign) {
        giveUpAt(token(), "a parameter has no default value: write a second function that hands it over");
    }
    if (type() == kOpenBracket) {
        giveUpAt(token(), "there are no arrays");
    }
    function.parameters.push_back(std::move(parameter));
    if (type() == kComma) {
        ++fPosition;
    }
}

/// One level, or two with a colon between them; every level when there is none.
CompFreqRange SourceChecker::readRange() {
    if (!isFrequency(type())) {
        return CompFreqRange();
    }
    const auto level = [this] { return static_cast<unsigned int>(type() - kConstant) + kConstantFreq; };
    const unsigned int lowest = level();
    ++fPosition;
    if (type() != kColon) {
        return CompFreqRange(lowest, lowest);
    }
    ++fPosition;
    if (!isFrequency(type())) {
        giveUpAt(token(), "expected a frequency behind \":\", found " + found());
    }
    const unsigned int highest = level();
    ++fPosition;
    return lowest > highest ? CompFreqRange(kInvalidFreq, kInvalidFreq) : CompFreqRange(lowest, highest);
}

/// Goes behind a function that was not understood: behind its ";" or body, or before the next one.
void SourceChecker::skipFailedFunction() {
    while (!atEnd()) {
        if (type() == kSemicolon) {
            ++fPosition;
            return;
        }
        if (type() == kOpenBrace) {
            skipBalanced();
            return;
        }
        if (fPosition > 0 && token().firstLine > before().firstLine && beginsFunction(fPosition)) {
            return;
        }
        ++fPosition;
    }
}

/// Goes behind what a "}" or a fault that came too early has left of a function: all before the next
/// one, where a bracket is closed there that was not opened there. An error unless the function has
/// one.
void SourceChecker::skipRestOfFunction() {
    if (fPosition >= fLastEnd || beginsFunction(fPosition)) {
        return;
    }
    std::ptrdiff_t braces = 0;
    std::ptrdiff_t parentheses = 0;
    bool isRest = false;
    std::size_t end = fPosition;
    for (; fTokens[end].type != kEndOfInput && !beginsFunction(end); ++end) {
        braces += fTokens[end].type == kOpenBrace ? 1 : fTokens[end].type == kCloseBrace ? -1 : 0;
        parentheses += fTokens[end].type == kOpenParen ? 1 : fTokens[end].type == kCloseParen ? -1 : 0;
        isRest = isRest || braces < 0 || parentheses < 0;
    }
    if (!isRest) {
        return;
    }
    if (fErrors == fErrorsBefore) {
        const bool brace = type() == kCloseBrace;
        Diagnostic& diagnostic = errorAt(token(), brace ? "this \"}\" closes nothing"
                                                        : "expected a function's type, found " + found());
        diagnostic.notes.push_back(fSource.noteAt(before().begin, "the function ends here"));
    }
    fPosition = end;
}

/// Of functions with the same parameters the first one is called, whatever comes later.
void SourceChecker::warnOfTwins(const CheckedFunction& function) {
    std::vector<DataType> types;
    for (const CheckedParameter& parameter : function.parameters) {
        types.push_back(parameter.type);
    }
    const CheckedFunction* first = fFunctions.find(function.name, types);
    if (!first) {
        return;
    }
    const CheckedFunction* definition = fFunctions.findDefinition(function.name, types);
    Diagnostic& diagnostic =
        definition
            ? warning("second-definition", extentOf(fTokens[fNamePlace]),
                      quote(function.signature()) + " is defined a second time; calls take the first")
            : warning("hidden-definition", extentOf(fTokens[fNamePlace]),
                      quote(function.signature()) +
                          " is declared before it is defined; calls take the declaration, which has no "
                          "body");
    DiagnosticNote note = (definition ? definition : first)->place;
    note.message = definition ? "the first definition" : "the declaration";
    diagnostic.notes.push_back(std::move(note));
}

void SourceChecker::readBody(CheckedFunction& function) {
    declareParameters(function);
    fBodyLeft = false;
    fReturned = false;
    fNesting = 0;
    fBracesInDoubt = false;
    fLostNames = 0;
    readCompound();
    if (!fBodyLeft) {
        skipRestOfFunction();
    }
    finishBody(function);
    fSkipStray = fBodyLeft;
}

void SourceChecker::declareParameters(const CheckedFunction& function) {
    const auto add = [&](const CheckedParameter& parameter, std::size_t i) {
        Variable variable;
        variable.kind = parameter.isOutput ? Variable::kOutput : Variable::kInput;
        variable.place = fParameterPlaces[i];
        variable.value.type = parameter.type;
        variable.value.range = parameter.range;
        variable.value.variable = parameter.name;
        if (parameter.isOutput) {
            variable.value.state = Value::kUntouchedOutput;
        } else {
            variable.value.earliest = {kConstantFreq, Earliest::bitOf(i)};
        }
        Variables& variables = fVariables[parameter.name];
        if (!variables.empty()) {
            Diagnostic& diagnostic = warning("same-parameter", extentOf(fTokens[fParameterPlaces[i]]),
                                             "two parameters are called " + quote(parameter.name) +
                                                 "; the name stands for one of them");
            diagnostic.notes.push_back(
                fSource.noteAt(fTokens[variables.front().place].begin, "the other parameter"));
            variable.used = true;
        }
        variables.push_back(std::move(variable));
    };
    for (const bool outputs : {false, true}) {
        for (std::size_t i = 0; i < function.parameters.size(); ++i) {
            if (function.parameters[i].isOutput == outputs) {
                add(function.parameters[i], i);
            }
        }
    }
    if (function.result != kVoid) {
        Variable result;
        result.kind = Variable::kOutput;
        result.place = fNamePlace;
        result.value.type = function.result;
        result.value.range = function.resultRange;
        result.value.state = Value::kUntouchedOutput;
        result.value.variable = "output";
        fVariables["output"].push_back(std::move(result));
    }
}

/// Judges the outputs and variables at the end of a body.
void SourceChecker::finishBody(CheckedFunction& function) {
    const auto bound = [&](const std::string& name) -> Value& { return fVariables[name].front().value; };
    const auto checkAssigned = [&](const std::string& name) {
        const Value& value = bound(name);
        if (value.state == Value::kUnassigned) {
            error(value.extent, "variable " + quote(value.variable) + " is used before it is assigned");
        }
    };
    const bool hasResult = function.result != kVoid;
    if (hasResult) {
        checkAssigned("output");
    }
    for (const CheckedParameter& parameter : function.parameters) {
        if (parameter.isOutput) {
            checkAssigned(parameter.name);
        }
    }

    const bool judged = fErrors == fErrorsBefore;
    const auto finishOutput = [&](const Value& value, const CompFreqRange& declared, Extent place) {
        Earliest earliest = value.state == Value::kComputed ? value.earliest : Earliest();
        const bool empty = declared.highest() == kInvalidFreq;
        if (judged && !empty && earliest.level > declared.highest()) {
            warning("frequency", place,
                    "declared " + declared.toString() + ", but the body can compute this value per " +
                        compFreqName(earliest.level) + " at the earliest");
        }
        earliest.level = std::max({earliest.level, declared.lowest(), kConstantFreq});
        return earliest;
    };
    if (hasResult) {
        const Value& value = bound("output");
        const bool alone = std::none_of(function.parameters.begin(), function.parameters.end(),
                                        [](const auto& parameter) { return parameter.isOutput; });
        if (judged && value.state == Value::kUntouchedOutput) {
            warning("missing-return", extentOf(before()),
                    alone ? quote(function.name) + " returns no value: a \"return\" is missing"
                          : quote(function.name) + " returns no value, and cannot with an \"out\" parameter: "
                                                   "make the result one, too");
        }
        function.resultEarliest = finishOutput(value, function.resultRange, fResultFrequency);
    }
    for (std::size_t i = 0; i < function.parameters.size(); ++i) {
        const CheckedParameter& parameter = function.parameters[i];
        if (!parameter.isOutput) {
            function.earliest.emplace_back();
            continue;
        }
        const Value& value = bound(parameter.name);
        if (judged && value.state == Value::kUntouchedOutput) {
            warning("unassigned-output", extentOf(fTokens[fParameterPlaces[i]]),
                    "nothing is assigned to the output " + quote(parameter.name) +
                        (fReturned ? "; \"return\" binds nothing in a function without a result" : ""));
        }
        function.earliest.push_back(finishOutput(value, parameter.range, fParameterFrequencies[i]));
    }
    if (!judged) {
        return;
    }
    for (const auto& [name, variables] : fVariables) {
        for (const Variable& variable : variables) {
            if (!variable.used && variable.kind != Variable::kOutput) {
                const bool input = variable.kind == Variable::kInput;
                warning(input ? "unused-parameter" : "unused-variable", extentOf(fTokens[variable.place]),
                        (input ? "parameter " : "variable ") + quote(name) + " is never used");
            }
        }
    }
}

/// What to write instead of a word that other languages have before a type; null for any other word.
const char* SourceChecker::insteadOfQualifier(const std::string& word) {
    return insteadOf(kForeignQualifiers, word);
}

/// What a type of another language is called; null for any other word.
const char* SourceChecker::insteadOfType(const std::string& word) {
    return insteadOf(kForeignTypes, word);
}

/// A construct of another language, with its parentheses and bodies, is one fault.
bool SourceChecker::skipForeignConstruct(bool inBody) {
    const std::string word = type() == kIdentifier ? text() : std::string();
    const char* instead = insteadOf(kForeignWords, word);
    const bool parenthesised = word == "if" || word == "for" || word == "while" || word == "switch";
    if (!instead || fFunctions.named(word) || (parenthesised && type(1) != kOpenParen) ||
        (!parenthesised && type(1) == kAssign)) {
        return false;
    }
    const std::size_t first = fPosition;
    errorAt(token(), instead);
    bool more = true;
    while (more) {
        const bool isDo = text() == "do";
        const bool isRecord = text() == "struct" || text() == "cbuffer";
        ++fPosition;
        if (isRecord && type() == kIdentifier) {
            ++fPosition;
        }
        if (type() == kOpenParen) {
            skipBalanced();
        }
        const std::string next = type() == kIdentifier ? text() : std::string();
        if (insteadOf(kForeignWords, next)) {
            continue;
        }
        if (type() == kOpenBrace) {
            skipBalanced();
        } else {
            while (!atEnd() && type() != kSemicolon && type() != kCloseBrace) {
                ++fPosition;
            }
        }
        if (type() == kSemicolon && (isRecord || fTokens[fPosition - 1].type != kCloseBrace)) {
            ++fPosition;
        }
        const std::string behind = type() == kIdentifier ? text() : std::string();
        more = behind == "else" || (isDo && behind == "while");
    }
    if (inBody) {
        forgiveVariables(first, fPosition);
    }
    return true;
}

} // namespace qvShadingDag
