// The picture of a placement.

#include "conversion/PlacedProgram.h"
#include "shadingdag/ShadingNode.h"
#include "shadingdag/ShadingNodeSpec.h"

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
    const FlatProgram::Node& node = placed.flat.nodes[n];
    const bool folded = placed.literalOf[node.firstValue] != PlacedProgram::kNone;
    std::string shape = node.kind == FlatProgram::kInput ? "box" : "ellipse";
    std::string label = labelOf(placed, n);
    if (folded && node.kind != FlatProgram::kInput) {
        shape = "plaintext";
        label = quoted(placed.flat.literals[placed.literalOf[node.firstValue]].toString());
    }
    return "    " + std::to_string(n) + " [label=" + label + ", shape=" + shape +
           (shape == "plaintext"
                ? ", style=\"\""
                : std::string(", fillcolor=\"") + kLevels[placed.places[n].level].fill + "\"") +
           ", tooltip=" + quoted(placementReason(placed, n)) + "];\n";
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
    const auto link = [&](Index value, const std::string& to, bool crosses) {
        links += "    " + std::to_string(flat.valueNode[value]) + " -> " + to +
                 (crosses ? " [style=dashed]" : "") + ";\n";
        drawn[flat.valueNode[value]] = true;
    };
    for (std::size_t i = 0; i < flat.outputs.size(); ++i) {
        if (flat.outputs[i].value != PlacedProgram::kNone) {
            const std::string id = "out" + std::to_string(i);
            nodes += "    " + id + " [label=" + quoted(flat.outputs[i].name) + ", shape=box, penwidth=2];\n";
            link(flat.outputs[i].value, id, false);
        }
    }
    for (auto n = static_cast<Index>(flat.nodes.size()); n-- > 0;) {
        const FlatProgram::Node& node = flat.nodes[n];
        if (!drawn[n]) {
            continue;
        }
        nodes += nodeLine(placed, n);
        if (placed.literalOf[node.firstValue] != PlacedProgram::kNone) {
            continue;
        }
        for (Index i = 0; i < node.argumentCount; ++i) {
            const Index value = flat.arguments[node.firstArgument + i];
            const PlacedProgram::Place& from = placed.places[flat.valueNode[value]];
            link(value, std::to_string(n),
                 from.level >= kUniformFreq && from.level != placed.places[n].level);
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
