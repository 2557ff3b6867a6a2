#include "conversion/ProofFunctions.h"

#include "shadingdag/ShadingNode.h"
#include "shadingdag/ShadingParser.h"
#include "shadingdag/TypedConstant.h"

#include <algorithm>
#include <list>
#include <map>
#include <random>
#include <sstream>

namespace programTesting {

namespace {

const CompFreqRange kConstantOnly(kConstantFreq, kConstantFreq);

int components(DataType type) {
    for (const DataType first : {kFloat, kClampu, kInt}) {
        if (type >= first && type <= first + 3) {
            return type - first + 1;
        }
    }
    return 1;
}

// The four whose names are keywords, which a body cannot call.
bool isConversion(const std::string& name) {
    return name == "constant" || name == "uniform" || name == "vertex" || name == "fragment";
}

bool isMatrix(DataType type) {
    return type >= kMatrix2 && type <= kMatrix4;
}

// Results in the order of their outputs; a returned value is the first.
std::vector<DataType> resultTypes(const ShadingNodeSpec& spec) {
    std::vector<DataType> types;
    ShadingNodeSpec::AttributeIterator first, last;
    for (spec.outputs(first, last); first != last; ++first) {
        types.push_back(first->dataType());
    }
    return types;
}

// Of all values of a step.
std::vector<DataType> typesOf(const ProofFunction::Step& step) {
    return step.kind == ProofFunction::kCall ? resultTypes(*step.callee) : std::vector<DataType>{step.type};
}

std::vector<ShadingAttribute> inputsOf(const ShadingNodeSpec& spec) {
    ShadingNodeSpec::AttributeIterator first, last;
    spec.inputs(first, last);
    return {first, last};
}

std::string numberText(double value) {
    std::ostringstream text;
    text.precision(9);
    text << value;
    return text.str();
}

// The function while it is built: calls by name, as a parser makes them.
class Builder {
public:
    explicit Builder(ShadingNodeSpec& spec) : fSpec(spec) {}

    ShadingAttribute literal(DataType type, const std::vector<double>& c) {
        TypedConstant constant;
        const auto at = [&](std::size_t i) { return i < c.size() ? c[i] : 0; };
        if (type == kBool) {
            constant.assignBool(at(0) > 0);
        } else if (type >= kInt && type <= kInt4) {
            constant.assignInts(components(type), static_cast<int>(at(0)), static_cast<int>(at(1)),
                                static_cast<int>(at(2)), static_cast<int>(at(3)));
        } else {
            constant.assignFloats(components(type), static_cast<float>(at(0)), static_cast<float>(at(1)),
                                  static_cast<float>(at(2)), static_cast<float>(at(3)));
        }
        return {fSpec.addInternalNode(constant), "output"};
    }
    ShadingAttribute call(const std::string& name, const std::list<ShadingAttribute>& arguments) {
        return {fSpec.addInternalNode(name, arguments), "output"};
    }

    // What each type becomes in the colour: all components of a vector, those of a matrix times a
    // vector of different weights.
    ShadingAttribute colourOf(const ShadingAttribute& value) {
        const DataType type = value.dataType();
        if (isMatrix(type)) {
            const int side = type - kMatrix2 + 2;
            return colourOf(call("operator*", {value, literal(static_cast<DataType>(kFloat + side - 1),
                                                              {1, 0.375, -0.625, 0.25})}));
        }
        switch (type) {
        case kFloat:
            return call("vec4", {value, literal(kFloat3, {0, 0, 1})});
        case kFloat2:
            return call("vec4", {value, literal(kFloat2, {0, 1})});
        case kFloat3:
            return call("vec4", {value, literal(kFloat, {1})});
        case kFloat4:
            return value;
        default:
            return colourOf(call("toFloat", {value}));
        }
    }

private:
    ShadingNodeSpec& fSpec;
};

} // namespace

// ---- Functions ----

std::vector<DataType> ProofFunction::valueTypes() const {
    std::vector<DataType> types;
    for (const Step& step : steps) {
        const std::vector<DataType> results = typesOf(step);
        types.insert(types.end(), results.begin(), results.end());
    }
    return types;
}

int ProofFunction::numInputs() const {
    return static_cast<int>(
        std::count_if(steps.begin(), steps.end(), [](const Step& step) { return step.kind == kInput; }));
}

int ProofFunction::addInput(DataType type, const CompFreqRange& range) {
    const auto value = static_cast<int>(valueTypes().size());
    steps.push_back({kInput, type, range, {}, nullptr, {}, value});
    return value;
}

int ProofFunction::addLiteral(DataType type, std::vector<double> c) {
    const auto value = static_cast<int>(valueTypes().size());
    steps.push_back({kLiteral, type, {}, std::move(c), nullptr, {}, value});
    return value;
}

int ProofFunction::addCall(const ShadingNodeSpec* callee, std::vector<int> arguments) {
    const auto value = static_cast<int>(valueTypes().size());
    steps.push_back({kCall, kInvalidDataType, {}, {}, callee, std::move(arguments), value});
    return value;
}

std::unique_ptr<ShadingNodeSpec> ProofFunction::build() const {
    std::unique_ptr<ShadingNodeSpec> spec(ShadingNodeSpec::createNew(kFunctionNode));
    spec->setName("proof");
    const ShadingAttribute output = *spec->addOutput(kFloat4, "output", CompFreqRange());
    Builder builder(*spec);
    std::vector<ShadingAttribute> values(valueTypes().size());
    int inputs = 0;
    for (const Step& step : steps) {
        if (step.kind == kInput) {
            values[step.firstResult] = *spec->addInput(step.type, "i" + std::to_string(inputs++), step.range);
        } else if (step.kind == kLiteral) {
            values[step.firstResult] = builder.literal(step.type, step.literal);
        }
    }
    for (const Step& step : steps) {
        if (step.kind != kCall) {
            continue;
        }
        std::list<ShadingAttribute> arguments;
        auto argument = step.arguments.begin();
        ShadingNodeSpec::ArgumentIterator first, last;
        for (step.callee->arguments(first, last); first != last; ++first) {
            arguments.push_back(first->first == kInputNode
                                    ? values[*argument++]
                                    : ShadingAttribute("result", first->second.dataType()));
        }
        ShadingNode* node = spec->addInternalNode(step.callee->name(), arguments);
        auto value = values.begin() + step.firstResult;
        ShadingNodeSpec::AttributeIterator result, end;
        for (step.callee->outputs(result, end); result != end; ++result) {
            *value++ = ShadingAttribute(node, result->name());
        }
    }
    ShadingAttribute colour;
    double weight = 1;
    for (const int value : shown) {
        ShadingAttribute part = builder.colourOf(values[value]);
        if (colour.valid()) {
            part = builder.call("operator*", {part, builder.literal(kFloat, {weight})});
            part = builder.call("operator+", {colour, part});
        }
        colour = part;
        weight *= 0.375;
    }
    spec->connectOutput(colour, output);
    return spec;
}

std::string ProofFunction::source() const {
    const std::vector<DataType> types = valueTypes();
    std::vector<std::string> names(types.size());
    std::string header;
    std::string body;
    int inputs = 0;
    for (const Step& step : steps) {
        std::string& name = names[step.firstResult];
        if (step.kind == kInput) {
            name = "i" + std::to_string(inputs++);
            header += header.empty() ? "" : ", ";
            header += step.range == CompFreqRange() ? "" : step.range.toString() + " ";
            header += dataTypeName(step.type) + " " + name;
        } else if (step.kind == kLiteral) {
            for (const double c : step.literal) {
                name += (name.empty() ? "{" : ", ") + numberText(c);
            }
            name += "}";
        }
    }
    for (const Step& step : steps) {
        if (step.kind != kCall) {
            continue;
        }
        const int result = step.firstResult;
        for (std::size_t i = 0; i < typesOf(step).size(); ++i) {
            names[result + i] = "v" + std::to_string(result + i);
        }
        const bool returns = step.callee->getOffsetOfOutput("output") >= 0;
        int out = result + static_cast<int>(returns);
        std::string arguments;
        auto argument = step.arguments.begin();
        ShadingNodeSpec::ArgumentIterator first, last;
        for (step.callee->arguments(first, last); first != last; ++first) {
            arguments += arguments.empty() ? "" : ", ";
            if (first->first != kInputNode) {
                body += "    " + dataTypeName(types[out]) + " " + names[out] + ";\n";
            }
            arguments += first->first == kInputNode ? names[*argument++] : names[out++];
        }
        const std::string& name = step.callee->name();
        const std::string symbol = name.starts_with("operator") ? name.substr(8) : "";
        body += "    " + (returns ? dataTypeName(types[result]) + " " + names[result] + " = " : "");
        if (symbol == "@") {
            body += names[step.arguments[0]] + "@";
            for (const Step& pattern : steps) {
                if (pattern.firstResult == step.arguments[1]) {
                    for (const double c : pattern.literal) {
                        body += "xyzw"[static_cast<int>(c)];
                    }
                }
            }
        } else if (!symbol.empty() && step.arguments.size() == 2) {
            body += names[step.arguments[0]] + " " + symbol + " " + names[step.arguments[1]];
        } else {
            body += (symbol.empty() ? name : symbol) + "(" + arguments + ")";
        }
        body += ";\n";
    }
    body += "    // shown:";
    for (const int value : shown) {
        body += " " + names[value];
    }
    return "// " + what + "\nfloat4 proof(" + header + ") {\n" + body + "\n}\n";
}

void ProofFunction::dropUnread() {
    std::vector<char> needed(valueTypes().size(), 0);
    for (const int value : shown) {
        needed[value] = 1;
    }
    const auto isNeeded = [&](const Step& step) {
        const auto first = needed.begin() + step.firstResult;
        return std::find(first, first + static_cast<int>(typesOf(step).size()), 1) !=
               first + static_cast<int>(typesOf(step).size());
    };
    for (auto step = steps.rbegin(); step != steps.rend(); ++step) {
        if (step->kind == kCall && isNeeded(*step)) {
            for (const int argument : step->arguments) {
                needed[argument] = 1;
            }
        }
    }
    std::vector<int> places(needed.size(), -1);
    std::vector<Step> kept;
    int values = 0;
    for (Step& step : steps) {
        if (isNeeded(step)) {
            const auto count = static_cast<int>(typesOf(step).size());
            for (int i = 0; i < count; ++i) {
                places[step.firstResult + i] = values + i;
            }
            step.firstResult = values;
            values += count;
            kept.push_back(step);
        }
    }
    for (Step& step : kept) {
        for (int& argument : step.arguments) {
            argument = places[argument];
        }
    }
    for (int& value : shown) {
        value = places[value];
    }
    steps = kept;
}

// ---- The standard library ----

const std::vector<ShadingNodeSpec*>& standardLibrary() {
    static const std::vector<ShadingNodeSpec*> specs = [] {
        ShadingNodeSpec::clearLibrary();
        ShadingParser parser;
        std::vector<ShadingNodeSpec*> result;
        if (!parser.parseFile(QV_STDLIB, false)) {
            return result;
        }
        ShadingNodeSpec::LibraryIterator first, last;
        for (ShadingNodeSpec::allSpecsInLibrary(first, last); first != last; ++first) {
            result.push_back(first->second);
        }
        return result;
    }();
    return specs;
}

std::string signature(const ShadingNodeSpec& spec) {
    std::string text = spec.name() + "(";
    for (const ShadingAttribute& input : inputsOf(spec)) {
        text += (text.back() == '(' ? "" : ",") + dataTypeName(input.dataType());
    }
    return text + ")";
}

bool takesMatrices(const ShadingNodeSpec& spec) {
    const std::vector<ShadingAttribute> parameters = inputsOf(spec);
    return std::any_of(parameters.begin(), parameters.end(), [](const ShadingAttribute& parameter) {
        return isMatrix(parameter.dataType()) && parameter.compFreqRange().highest() == kFragmentFreq;
    });
}

ProofFunction wrap(const ShadingNodeSpec& spec, bool matricesFromRows) {
    ProofFunction function;
    function.what = signature(spec);
    const std::vector<ShadingAttribute> parameters = inputsOf(spec);
    const auto literalFor = [&](const ShadingAttribute& parameter, int variant) {
        std::vector<double> c;
        for (int i = 0; i < components(parameter.dataType()); ++i) {
            // Swizzles in another order than the components', rows and columns first and last.
            const DataType value = parameters[0].dataType();
            const int width = isMatrix(value) ? value - kMatrix2 + 2 : components(value);
            c.push_back(isMatrix(value) ? variant * (width - 1) : (width - 1 + i * (width - 1)) % width);
        }
        return function.addLiteral(parameter.dataType(), c);
    };
    std::vector<int> inputs;
    bool literals = false;
    for (const ShadingAttribute& parameter : parameters) {
        const CompFreqRange& range = parameter.compFreqRange();
        const bool literal = range == kConstantOnly && parameters.size() > 1;
        literals = literals || literal;
        if (matricesFromRows && isMatrix(parameter.dataType())) {
            const int side = parameter.dataType() - kMatrix2 + 2;
            std::vector<int> rows;
            for (int row = 0; row < side; ++row) {
                rows.push_back(function.addInput(static_cast<DataType>(kFloat + side - 1)));
            }
            for (const ShadingNodeSpec* maker : standardLibrary()) {
                if (maker->name() == "mat" + std::to_string(side) && maker->numInputs() == side &&
                    components(maker->input(0).dataType()) == side) {
                    inputs.push_back(function.addCall(maker, rows));
                }
            }
            continue;
        }
        // As late as the parameter allows, in as many registers as there are.
        unsigned level = range.highest();
        if (level >= kVertexFreq && (isMatrix(parameter.dataType()) || inputs.size() >= 12)) {
            level = kUniformFreq;
        }
        const CompFreqRange declared = level == kFragmentFreq ? CompFreqRange() : CompFreqRange(level, level);
        inputs.push_back(literal ? -1 : function.addInput(parameter.dataType(), declared));
    }
    const bool variants = literals && isMatrix(parameters[0].dataType());
    for (int variant = 0; variant <= static_cast<int>(variants); ++variant) {
        std::vector<int> arguments = inputs;
        for (std::size_t i = 0; i < arguments.size(); ++i) {
            if (arguments[i] < 0) {
                arguments[i] = literalFor(parameters[i], variant);
            }
        }
        const int first = function.addCall(&spec, arguments);
        for (std::size_t i = 0; i < resultTypes(spec).size(); ++i) {
            function.shown.push_back(first + static_cast<int>(i));
        }
    }
    return function;
}

// ---- Random graphs ----

ProofFunction randomFunction(unsigned seed, int size) {
    // All that a body can call with values that are not literals, one name as likely as another.
    static const std::vector<std::vector<const ShadingNodeSpec*>> families = [] {
        std::map<std::string, std::vector<const ShadingNodeSpec*>> byName;
        for (const ShadingNodeSpec* spec : standardLibrary()) {
            const bool moves = isConversion(spec->name()) || spec->name() == "perVertex";
            if (spec->nodeType() == kOperationNode && !moves) {
                byName[spec->name()].push_back(spec);
            }
        }
        std::vector<std::vector<const ShadingNodeSpec*>> result;
        for (auto& [name, specs] : byName) {
            result.push_back(specs);
        }
        return result;
    }();
    // The generator's own numbers: the distributions differ between libraries.
    std::mt19937 random(seed);
    const auto below = [&](std::size_t n) { return static_cast<int>(random() % n); };

    ProofFunction function;
    function.what = "random function " + std::to_string(seed) + " of size " + std::to_string(size);
    constexpr int kMostInputs = 8;
    std::map<std::string, int> maps; // a map is read as one kind only
    std::multimap<DataType, int> unread;
    for (int call = 0; call < size; ++call) {
        // Of a few, the one that can read most of what no call has read yet.
        const ShadingNodeSpec* callee = nullptr;
        std::size_t mostRead = 0;
        for (int i = 0; i < 6; ++i) {
            const std::vector<const ShadingNodeSpec*>& family = families[below(families.size())];
            const ShadingNodeSpec* candidate = family[below(family.size())];
            std::size_t read = 1;
            for (const ShadingAttribute& parameter : inputsOf(*candidate)) {
                read += unread.contains(parameter.dataType());
            }
            if (read > mostRead) {
                callee = candidate;
                mostRead = read;
            }
        }
        const std::vector<ShadingAttribute> parameters = inputsOf(*callee);
        std::vector<int> arguments;
        for (const ShadingAttribute& parameter : parameters) {
            const DataType type = parameter.dataType();
            if (parameter.compFreqRange() == kConstantOnly) {
                const DataType value = parameters[0].dataType();
                const int width = isMatrix(value) ? value - kMatrix2 + 2 : components(value);
                std::vector<double> c;
                for (int i = 0; i < components(type); ++i) {
                    c.push_back(below(width));
                }
                arguments.push_back(function.addLiteral(type, c));
                continue;
            }
            if (type == kTexObj) {
                // One map for each kind: what stands behind "tex" in the name, up to the digits.
                const std::string kind = callee->name().substr(callee->name().find("tex"));
                if (!maps.contains(kind)) {
                    maps[kind] = function.addInput(kTexObj);
                }
                arguments.push_back(maps[kind]);
                continue;
            }
            if (const auto found = unread.find(type); found != unread.end()) {
                arguments.push_back(found->second);
                unread.erase(found);
                continue;
            }
            std::vector<int> fitting;
            const std::vector<DataType> types = function.valueTypes();
            for (std::size_t value = 0; value < types.size(); ++value) {
                if (types[value] == type) {
                    fitting.push_back(static_cast<int>(value));
                }
            }
            if (!fitting.empty() && (below(4) != 0 || function.numInputs() >= kMostInputs)) {
                arguments.push_back(fitting[below(fitting.size())]);
            } else if (function.numInputs() < kMostInputs || isMatrix(type) || type == kBool) {
                const bool uniform = below(3) == 0;
                arguments.push_back(function.addInput(type, uniform && !isMatrix(type)
                                                                ? CompFreqRange(kUniformFreq, kUniformFreq)
                                                                : CompFreqRange()));
            } else {
                std::vector<double> c;
                for (int i = 0; i < components(type); ++i) {
                    c.push_back(type >= kInt && type <= kInt4 ? below(9) - 4 : below(33) / 16.0 - 1);
                }
                const bool clampu = type >= kClampu && type <= kClampu4;
                const int literal =
                    function.addLiteral(clampu ? static_cast<DataType>(type - kClampu + kFloat) : type, c);
                arguments.push_back(literal);
                if (clampu) {
                    for (const ShadingNodeSpec* spec : standardLibrary()) {
                        if (spec->name() == "toClampu" && resultTypes(*spec)[0] == type) {
                            arguments.back() = function.addCall(spec, {literal});
                        }
                    }
                }
            }
        }
        int result = function.addCall(callee, arguments);
        for (const DataType type : resultTypes(*callee)) {
            unread.emplace(type, result++);
        }
    }
    for (const auto& [type, value] : unread) {
        function.shown.push_back(value);
    }
    std::sort(function.shown.begin(), function.shown.end(), std::greater<>());
    function.shown.resize(std::min<std::size_t>(function.shown.size(), 3));
    function.dropUnread();
    return function;
}

// ---- Minimal functions ----

ProofFunction minimize(ProofFunction start, const std::function<bool(const ProofFunction&)>& fails) {
    const auto tryInstead = [&](ProofFunction candidate) {
        candidate.dropUnread();
        const auto size = [](const ProofFunction& f) {
            return 2 * f.steps.size() - f.numInputs() + f.shown.size();
        };
        if (size(candidate) >= size(start) || !fails(candidate)) {
            return false;
        }
        start = std::move(candidate);
        return true;
    };
    const auto makeSmaller = [&] {
        const std::vector<DataType> types = start.valueTypes();
        const auto last = static_cast<int>(types.size()) - 1;
        for (std::size_t i = 0; start.shown.size() > 1 && i < start.shown.size(); ++i) {
            ProofFunction candidate = start;
            candidate.shown.erase(candidate.shown.begin() + static_cast<std::ptrdiff_t>(i));
            if (tryInstead(candidate)) {
                return true;
            }
        }
        // What an earlier step gives is shown instead of the last one.
        for (int value = 0; value <= last; ++value) {
            ProofFunction candidate = start;
            candidate.shown = {value};
            if (types[value] != kTexObj && tryInstead(candidate)) {
                return true;
            }
        }
        // A value is replaced by another of its type that stands before it, or by a new input.
        for (int value = last; value >= 0; --value) {
            for (int other = 0; other <= value; ++other) {
                ProofFunction candidate = start;
                const int instead = other < value ? other : candidate.addInput(types[value]);
                if (other < value && types[other] != types[value]) {
                    continue;
                }
                for (ProofFunction::Step& step : candidate.steps) {
                    std::replace(step.arguments.begin(), step.arguments.end(), value, instead);
                }
                std::replace(candidate.shown.begin(), candidate.shown.end(), value, instead);
                if (tryInstead(candidate)) {
                    return true;
                }
            }
        }
        return false;
    };
    start.dropUnread();
    while (makeSmaller()) {
    }
    return start;
}

} // namespace programTesting
