// The picture of a placement.

#include "conversion/PlacedProgram.h"
#include "shadingdag/ShadingNode.h"
#include "shadingdag/ShadingNodeSpec.h"

#include <charconv>
#include <iterator>
#include <string_view>

namespace qvShadingDag {

namespace {

using Index = PlacedProgram::Index;

/// By level, the invalid one first.
constexpr struct {
    const char* fill;
    const char* legend;
} kLevels[] = {
    {"white", ""},         {"#ececec", "constant: folded"}, {"#bfe3c0", "uniform: once per draw"},
    {"#b9d6f2", "vertex"}, {"#f7c8a8", "fragment"},
};

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char c : text) {
        result += c == '"' || c == '\\' ? std::string{'\\', c} : std::string(1, c);
    }
    return result + "\"";
}

/// Short, for a picture: an operator's sign, a function's name, with the variable below.
std::string labelOf(const PlacedProgram& placed, Index n) {
    const FlatProgram::Node& node = placed.flat.nodes[n];
    if (node.kind != FlatProgram::kCall) {
        return quoted(operationText(placed.flat, n));
    }
    constexpr std::string_view kOperator = "operator";
    std::string name = placed.flat.callees[node.what].spec->name();
    name = name.substr(name.rfind(kOperator, 0) == 0 ? kOperator.size() : 0);
    std::string label = quoted(name);
    const std::string variable = node.origin != nullptr ? node.origin->variableName() : "";
    if (!variable.empty()) {
        label.insert(label.size() - 1, "\\n" + variable);
    }
    return label;
}

std::string nodeLine(const PlacedProgram& placed, Index n) {
    const bool isInput = placed.flat.nodes[n].kind == FlatProgram::kInput;
    return "    " + std::to_string(n) + " [label=" + labelOf(placed, n) +
           ", shape=" + (isInput ? "box" : "ellipse") + ", fillcolor=\"" +
           kLevels[placed.places[n].level].fill + "\", tooltip=" + quoted(placementReason(placed, n)) +
           "];\n";
}

/// With the fewest digits that give the same float.
std::string literalText(const ShadingValue& value) {
    std::string text;
    for (int i = 0; i < value.width(); ++i) {
        char digits[32];
        const double component = value.c[static_cast<std::size_t>(i)];
        const std::to_chars_result end =
            std::to_chars(std::begin(digits), std::end(digits), static_cast<float>(component));
        text += (i > 0 ? " " : "") + std::string(digits, end.ptr);
    }
    return text;
}

std::string legend() {
    std::string text =
        "    label=<<table border=\"0\" cellborder=\"1\" cellspacing=\"0\" cellpadding=\"6\"><tr>";
    for (unsigned int level = kConstantFreq; level <= kFragmentFreq; ++level) {
        text += std::string("<td bgcolor=\"") + kLevels[level].fill + "\">" + kLevels[level].legend + "</td>";
    }
    return text + "</tr></table>>;\n";
}

} // namespace

std::string Placement::toGraphviz() const {
    if (!fPlaced) {
        return "";
    }
    const PlacedProgram& placed = *fPlaced;
    const FlatProgram& flat = placed.flat;
    std::string nodes;
    std::string links;
    std::vector<bool> drawn(flat.nodes.size(), false);
    int literals = 0;
    // From `value` to the node `to`; a literal is drawn beside each of its readers.
    const auto link = [&](Index value, const std::string& to, unsigned int level) {
        const Index literal = placed.literalOf[value];
        const Index from = flat.valueNode[value];
        const bool isInput = flat.nodes[from].kind == FlatProgram::kInput;
        if (literal != PlacedProgram::kNone && !isInput) {
            const std::string id = "literal" + std::to_string(literals++);
            nodes += "    " + id + " [label=" + quoted(literalText(flat.literals[literal])) +
                     ", shape=plaintext, style=\"\", tooltip=" + quoted(placementReason(placed, from)) +
                     "];\n";
            links += "    " + id + " -> " + to + ";\n";
            return;
        }
        drawn[from] = true;
        const unsigned int at = placed.places[from].level;
        links += "    " + std::to_string(from) + " -> " + to +
                 (at != level && at > kConstantFreq ? " [style=dashed]" : "") + ";\n";
    };
    for (std::size_t i = 0; i < flat.outputs.size(); ++i) {
        if (flat.outputs[i].value != PlacedProgram::kNone) {
            const std::string id = "output" + std::to_string(i);
            nodes += "    " + id + " [label=" + quoted(flat.outputs[i].name) + ", shape=box, penwidth=2];\n";
            link(flat.outputs[i].value, id, placed.places[flat.valueNode[flat.outputs[i].value]].level);
        }
    }
    for (auto n = static_cast<Index>(flat.nodes.size()); n-- > 0;) {
        const FlatProgram::Node& node = flat.nodes[n];
        if (!drawn[n]) {
            continue;
        }
        nodes += nodeLine(placed, n);
        for (Index i = 0; i < node.argumentCount; ++i) {
            link(flat.arguments[node.firstArgument + i], std::to_string(n), placed.places[n].level);
        }
    }
    return "digraph " + quoted(fFunction.name()) +
           " {\n    node [style=filled, fillcolor=white, fontname=\"Helvetica\", fontsize=11, height=0.3, "
           "width=0.4, "
           "margin=\"0.06,0.03\"];\n    edge [arrowsize=0.6];\n    nodesep=0.2;\n    ranksep=0.3;\n    "
           "fontname=\"Helvetica\";\n    fontsize=11;\n" +
           legend() + nodes + links + "}\n";
}

} // namespace qvShadingDag
