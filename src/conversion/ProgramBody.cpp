#include "conversion/ProgramBody.h"

#include "core/Exception.h"
#include "shadingdag/ShadingNode.h"
#include "shadingdag/ShadingNodeSpec.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <numeric>

namespace qvShadingDag {

namespace {

constexpr std::size_t kLongestOperand = 72;

bool sameLine(const ShadingNode* a, const ShadingNode* b) {
    return a && b && a->sourceLocation().line == b->sourceLocation().line &&
           (&a->sourceFile() == &b->sourceFile() || a->sourceFile() == b->sourceFile());
}

} // namespace

void throwConversionError(const FlatProgram& flat, FlatProgram::Index node, const std::string& what) {
    const ShadingNode* origin = node == FlatProgram::kNone ? nullptr : flat.nodes[node].origin;
    if (origin && !origin->sourceFile().empty()) {
        throw Exception(what + " (" + origin->sourceFile() + ":" +
                        std::to_string(origin->sourceLocation().line) + ")");
    }
    throw Exception(what);
}

CalleeSpellings::CalleeSpellings(const FlatProgram& flat, const ProgramTarget& target,
                                 const std::vector<HostSpelling>& hostSpellings)
    : fFlat(flat), fTable(SpellingTable::of(target)), fHostSpellings(hostSpellings),
      fFound(flat.callees.size()) {}

const Spelling* CalleeSpellings::find(FlatProgram::Index callee, FlatProgram::Index output) {
    Found& found = fFound[callee];
    if (!found.known) {
        found.known = true;
        const auto& [spec, primitive] = fFlat.callees[callee];
        if (!fHostSpellings.empty()) {
            const std::string signature = signatureOf(*spec);
            for (const HostSpelling& host : fHostSpellings) {
                if (host.signature == signature && host.spelling.output < 2) {
                    found.spellings[host.spelling.output] = &host.spelling;
                }
            }
        }
        if (primitive && !(found.spellings[0] && found.spellings[1])) {
            fInputs.clear();
            ShadingNodeSpec::AttributeIterator first;
            ShadingNodeSpec::AttributeIterator last;
            for (spec->inputs(first, last); first != last; ++first) {
                fInputs.push_back(first->dataType());
            }
            for (int i = 0; i < 2; ++i) { // what the host does not spell
                if (!found.spellings[i]) {
                    found.spellings[i] = fTable.find(spec->name(), fInputs, i);
                }
            }
        }
    }
    return output < 2 ? found.spellings[output] : nullptr;
}

ProgramBody::ProgramBody(const PlacedProgram& placed, const ProgramTarget& target, CalleeSpellings& spellings,
                         NameTable& names, std::string_view function)
    : fPlaced(placed), fFlat(placed.flat), fTarget(target), fSpellings(spellings), fNames(names),
      fFunction(function), fExpressions(fFlat.valueTypes.size()), fReads(fFlat.valueTypes.size()),
      fRoots(fFlat.valueTypes.size()), fHelpers(SpellingTable::of(target).helpers().size()) {
    std::iota(fRoots.begin(), fRoots.end(), Index(0));
}

ProgramBody::Expression ProgramBody::endExpression(std::size_t start, std::uint8_t binding) const {
    return {static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(fText.size() - start), true,
            binding, fLookup};
}

void ProgramBody::provide(Index value, std::string_view text, Spelling::Binding binding) {
    const std::size_t start = fText.size();
    fText += text;
    fExpressions[value] = endExpression(start, binding);
}

void ProgramBody::provideAs(Index value, std::string_view name, std::string_view before,
                            std::string_view text, std::string_view after) {
    const std::size_t start = fText.size();
    fText.append(before).append(text).append(after);
    fStatements.push_back({fFlat.valueTypes[value], fFlat.valueNode[value], name,
                           static_cast<std::uint32_t>(start),
                           static_cast<std::uint32_t>(fText.size() - start)});
    provide(value, name);
}

void ProgramBody::append(std::string_view target, std::string_view text) {
    fStatements.push_back({kVoid, kNone, target, static_cast<std::uint32_t>(fText.size()),
                           static_cast<std::uint32_t>(text.size())});
    fText += text;
}

std::string_view ProgramBody::textOf(Index value) {
    const Expression& expression = expressionOf(value);
    return std::string_view(fText).substr(expression.at, expression.size);
}

bool ProgramBody::isAlias(const FlatProgram::Node& node) {
    if (node.kind != FlatProgram::kCall) {
        return node.kind == FlatProgram::kIdentity;
    }
    const Spelling* spelling = node.valueCount == 1 ? fSpellings.find(node.what, 0) : nullptr;
    return spelling && spelling->identity;
}

void ProgramBody::write(const std::vector<Index>& nodes) {
    for (const Index node : nodes) {
        if (isAlias(fFlat.nodes[node])) {
            fRoots[fFlat.nodes[node].firstValue] = fRoots[fFlat.arguments[fFlat.nodes[node].firstArgument]];
        }
    }
    countReads(nodes);
    for (const Index node : nodes) {
        writeNode(node);
    }
    for (Assignment& assignment : fAssignments) {
        if (!assignment.done) {
            writeAssignment(assignment, expressionOf(assignment.value), fFlat.valueNode[assignment.value]);
        }
    }
}

void ProgramBody::countReads(const std::vector<Index>& nodes) {
    for (Index i = 0; i < fAssignments.size(); ++i) {
        provideLiteral(fAssignments[i].value);
        Reads& reads = fReads[fRoots[fAssignments[i].value]];
        ++reads.count;
        reads.assignment = i;
    }
    for (std::size_t i = nodes.size(); i-- > 0;) {
        const FlatProgram::Node& node = fFlat.nodes[nodes[i]];
        if (isAlias(node)) {
            continue;
        }
        for (Index output = 0; output < node.valueCount; ++output) {
            if (fReads[node.firstValue + output].count == 0) {
                continue;
            }
            const Spelling* spelling = fSpellings.find(node.what, output);
            if (!spelling) {
                throwConversionError(fFlat, nodes[i],
                                     "there is no spelling of " +
                                         signatureOf(*fFlat.callees[node.what].spec) + " for " +
                                         fTarget.name + ": add one to the options");
            }
            const Index count = std::min<Index>(node.argumentCount, Spelling::kMaxArguments);
            for (Index argument = 0; argument < count; ++argument) {
                if (spelling->uses[argument] > 0) {
                    provideLiteral(fFlat.arguments[node.firstArgument + argument]);
                    Reads& reads = fReads[fRoots[fFlat.arguments[node.firstArgument + argument]]];
                    reads.count += spelling->uses[argument];
                    reads.reader = nodes[i];
                }
            }
        }
    }
}

void ProgramBody::writeNode(Index index) {
    const FlatProgram::Node& node = fFlat.nodes[index];
    if (isAlias(node)) {
        return;
    }
    for (Index output = 0; output < node.valueCount; ++output) {
        const Index value = node.firstValue + output;
        if (fReads[value].count == 0) {
            continue;
        }
        const Spelling& spelling = *fSpellings.find(node.what, output);
        const std::size_t start = fText.size();
        fLookup = spelling.lookup;
        writeCall(node, spelling, fFlat.valueTypes[value]);
        keep(index, value, endExpression(start, spelling.binding));
        fLookup = false;
    }
}

void ProgramBody::writeCall(const FlatProgram::Node& node, const Spelling& spelling, DataType result) {
    for (const Spelling::Piece& piece : spelling.pieces) {
        switch (piece.kind) {
        case Spelling::kText:
            fText.append(spelling.text, piece.first, piece.size);
            break;
        case Spelling::kArgument:
            writeOperand(node, piece);
            break;
        case Spelling::kAllArguments:
            for (Index i = 0; i < node.argumentCount; ++i) {
                fText += i == 0 ? "" : ", ";
                writeOperand(node,
                             {Spelling::kArgument, Spelling::kLoosest, static_cast<std::uint16_t>(i), 0, 0});
            }
            break;
        case Spelling::kResultType:
            fText += fTarget.typeName(result);
            break;
        case Spelling::kArgumentType:
            fText += fTarget.typeName(fFlat.valueTypes[fFlat.arguments[node.firstArgument + piece.argument]]);
            break;
        case Spelling::kIndex: {
            const DataType matrix = fFlat.valueTypes[fFlat.arguments[node.firstArgument]];
            const double last = matrix - kMatrix2 + 1;
            const double wanted = literalArgument(node, piece.argument).c[0];
            fText += static_cast<char>('0' + static_cast<int>(wanted > 0 ? std::min(wanted, last) : 0));
            break;
        }
        case Spelling::kComponents: {
            const ShadingValue& pattern = literalArgument(node, piece.argument);
            const int last = componentCount(fFlat.valueTypes[fFlat.arguments[node.firstArgument]]) - 1;
            for (int i = 0; i < pattern.width(); ++i) {
                fText += "xyzw"[static_cast<int>(std::clamp(pattern.c[i], 0.0, static_cast<double>(last)))];
            }
            break;
        }
        }
    }
    for (const std::uint16_t helper : spelling.helpers) {
        useHelper(helper, result);
    }
    if (spelling.hostHelper &&
        std::find(fHostHelpers.begin(), fHostHelpers.end(), spelling.hostHelper) == fHostHelpers.end()) {
        fHostHelpers.push_back(spelling.hostHelper);
    }
}

void ProgramBody::writeOperand(const FlatProgram::Node& node, const Spelling::Piece& piece) {
    if (piece.argument >= node.argumentCount) {
        throw Exception("a spelling of " + fFlat.callees[node.what].spec->name() +
                        " names more arguments than there are");
    }
    const Expression operand = expressionOf(fFlat.arguments[node.firstArgument + piece.argument]);
    const bool enclosed = operand.binding < piece.binding;
    if (enclosed) {
        fText += '(';
    }
    fText.append(fText, operand.at, operand.size);
    if (enclosed) {
        fText += ')';
    }
    fLookup = fLookup || operand.lookup;
}

const ProgramBody::Expression& ProgramBody::expressionOf(Index value) {
    const Expression& expression = fExpressions[fRoots[value]];
    if (!expression.known) {
        throwConversionError(fFlat, fFlat.valueNode[value], "a value is read before it is computed");
    }
    return expression;
}

// What a node's value becomes: an operand, an assignment or a variable.
void ProgramBody::keep(Index node, Index value, Expression expression) {
    const Reads& reads = fReads[value];
    if (reads.count == 1 && reads.assignment != kNone) {
        writeAssignment(fAssignments[reads.assignment], expression, node);
    } else if (reads.count == 1 && standsAtReader(node, reads, expression)) {
        fExpressions[value] = expression;
    } else {
        const std::string_view name = fNames.give("", wantedName(fFlat.nodes[node]));
        fStatements.push_back({fFlat.valueTypes[value], node, name, expression.at, expression.size});
        provide(value, name);
        fExpressions[value].lookup = false;
    }
}

bool ProgramBody::standsAtReader(Index node, const Reads& reads, const Expression& expression) {
    const ShadingNode* origin = fFlat.nodes[node].origin;
    if (expression.size > kLongestOperand || !origin || !origin->variableName().empty() ||
        !sameLine(origin, fFlat.nodes[reads.reader].origin)) {
        return false;
    }
    return !expression.lookup || !fSpellings.find(fFlat.nodes[reads.reader].what, 0)->conditional;
}

std::string_view ProgramBody::wantedName(const FlatProgram::Node& node) const {
    if (!node.origin) {
        return "t";
    }
    if (!node.origin->variableName().empty()) {
        return node.origin->variableName();
    }
    const std::string& function = node.origin->originFunction();
    return function.empty() || function == fFunction ? std::string_view("t") : std::string_view(function);
}

void ProgramBody::writeAssignment(Assignment& assignment, const Expression& expression, Index node) {
    assignment.done = true;
    const std::size_t start = fText.size();
    fText += assignment.before;
    fText.append(fText, expression.at, expression.size);
    fText += assignment.after;
    fStatements.push_back({kVoid, node, assignment.target, static_cast<std::uint32_t>(start),
                           static_cast<std::uint32_t>(fText.size() - start)});
}

// A helper for vectors calls the one for scalars, which calls what stands above it.
void ProgramBody::useHelper(std::uint16_t helper, DataType result) {
    const HelperFunction& function = SpellingTable::of(fTarget).helpers()[helper];
    const int width = function.arity == 0 ? 1 : componentCount(result);
    fHelpers[helper] |= static_cast<std::uint8_t>(1U | 1U << (width - 1));
    for (const std::uint16_t other : function.helpers) {
        fHelpers[other] |= 1U;
    }
}

const ShadingValue& ProgramBody::literalArgument(const FlatProgram::Node& node,
                                                 std::uint16_t argument) const {
    const Index value = fRoots[fFlat.arguments[node.firstArgument + argument]];
    const Index literal = fPlaced.literalOf[value];
    if (literal == kNone) {
        throwConversionError(fFlat, fFlat.valueNode[value],
                             "argument " + std::to_string(argument + 1) + " of " +
                                 signatureOf(*fFlat.callees[node.what].spec) + " has to be a literal");
    }
    return fFlat.literals[literal];
}

void ProgramBody::provideLiteral(Index value) {
    const Index root = fRoots[value];
    const Index literal = fPlaced.literalOf[root];
    if (literal != kNone && !fExpressions[root].known) {
        const std::size_t start = fText.size();
        appendLiteral(fFlat.literals[literal]);
        fExpressions[root] = endExpression(start, fText[start] == '-' ? Spelling::kPrefix : Spelling::kAtom);
    }
}

// A vector of equal components is written with one, where the target's constructor spreads it.
void ProgramBody::appendLiteral(const ShadingValue& value) {
    const int width = value.width();
    if (width == 1) {
        appendNumber(value.c[0], value.type);
        return;
    }
    const bool spread =
        fTarget.language == ProgramTarget::kGlslWords && value.type < kMatrix2 &&
        std::all_of(value.c.begin(), value.c.begin() + width, [&value](double c) {
            return std::bit_cast<std::uint64_t>(c) == std::bit_cast<std::uint64_t>(value.c[0]);
        });
    fText.append(fTarget.typeName(value.type)).append("(");
    for (int i = 0; i < (spread ? 1 : width); ++i) {
        fText += i == 0 ? "" : ", ";
        appendNumber(value.c[i], value.type);
    }
    fText += ')';
}

void ProgramBody::appendNumber(double number, DataType type) {
    std::array<char, 32> digits{};
    if (type == kBool) {
        fText += number != 0 ? "true" : "false";
    } else if (type >= kInt && type <= kInt4) {
        if (number <= INT32_MIN) {
            fText += "(-2147483647 - 1)"; // a minus belongs to no number, and 2147483648 is none
            return;
        }
        fText.append(
            digits.data(),
            std::to_chars(digits.data(), digits.data() + digits.size(), static_cast<int>(number)).ptr);
    } else if (!std::isfinite(static_cast<float>(number))) {
        const bool glsl = fTarget.language == ProgramTarget::kGlslWords;
        fText += glsl ? "uintBitsToFloat(" : "asfloat(";
        fText += std::isnan(number) ? "0x7FC00000u)" : number > 0 ? "0x7F800000u)" : "0xFF800000u)";
    } else {
        const char* end =
            std::to_chars(digits.data(), digits.data() + digits.size(), static_cast<float>(number)).ptr;
        const std::string_view text(digits.data(), static_cast<std::size_t>(end - digits.data()));
        fText += text;
        if (text.find_first_of(".e") == std::string_view::npos) {
            fText += ".0";
        }
    }
}

} // namespace qvShadingDag
