#include "shadingdag/Graphviz.h"

#include "shadingdag/ShadingLink.h"
#include "shadingdag/ShadingNode.h"
#include "shadingdag/ShadingNodeSpec.h"

#include <string_view>

namespace qvShadingDag {

namespace {

void appendInterface(std::string& text, const ShadingAttribute& attribute) {
    text += "\tnode" + std::to_string(attribute.nodePtr()->number()) + "[label=\"";
    text += dataTypeName(attribute.dataType()) + " " + attribute.name() + "\",shape=box];\n";
}

void appendConstant(std::string& text, const ShadingNode& node) {
    text += "\tnode" + std::to_string(node.number()) + "[label=\"" + node.name() + "\",shape=diamond];\n";
}

void appendCall(std::string& text, const ShadingNode& node) {
    constexpr std::string_view kOperator = "operator";
    std::string label = node.name();
    const bool isOperator = label.starts_with(kOperator);
    if (isOperator) {
        label.erase(0, kOperator.size());
    }
    text += "\tnode" + std::to_string(node.number()) + " [label=\"" + label + "\"";
    text += isOperator ? ",shape=circle,fontsize=20" : ",shape=ellipse";
    text += "];\n";
}

void appendLink(std::string& text, const ShadingLink& link, bool showTypes, bool showCompFreqs) {
    const ShadingNode& source = *link.sourceNode();
    const ShadingNode& dest = *link.destNode();
    text += "\tnode" + std::to_string(source.number()) + " -> node" + std::to_string(dest.number());
    text += " [label=\"";
    if (showTypes && source.nodeType() != kInputNode && source.nodeType() != kOutputNode) {
        text += dataTypeName(link.dataType());
        if (showCompFreqs) {
            text += "\\n" + link.compFreqRange().toString();
        }
    }
    text += "\"";
    if (dest.nodeType() != kOutputNode) {
        text += ",headlabel=\"" + link.destAttrName() + "\"";
    }
    if (link.sourceAttrName() != "output" && source.isCall()) {
        text += ",taillabel=\"" + link.sourceAttrName() + "\"";
    }
    text += ",labeldistance=1.2,labelangle=-40];\n";
}

} // namespace

std::string convertToGraphviz(ShadingNodeSpec* spec, bool showTypes, bool showCompFreqs) {
    if (!spec) {
        return {};
    }
    std::string text = "digraph " + spec->name() + "\n{\n";
    if (spec->nodeType() == kFunctionNode) {
        ShadingNodeSpec::AttributeIterator attribute;
        ShadingNodeSpec::AttributeIterator lastAttribute;
        for (spec->inputs(attribute, lastAttribute); attribute != lastAttribute; ++attribute) {
            appendInterface(text, *attribute);
        }
        for (spec->outputs(attribute, lastAttribute); attribute != lastAttribute; ++attribute) {
            appendInterface(text, *attribute);
        }
        for (spec->constants(attribute, lastAttribute); attribute != lastAttribute; ++attribute) {
            appendConstant(text, *attribute->nodePtr());
        }
        ShadingNodeSpec::NodeIterator node;
        ShadingNodeSpec::NodeIterator lastNode;
        for (spec->internalNodes(node, lastNode); node != lastNode; ++node) {
            if ((*node)->isCall()) {
                appendCall(text, **node);
            }
        }
        ShadingNodeSpec::LinkIterator link;
        ShadingNodeSpec::LinkIterator lastLink;
        for (spec->internalLinks(link, lastLink); link != lastLink; ++link) {
            appendLink(text, **link, showTypes, showCompFreqs);
        }
    }
    text += "}\n";
    return text;
}

std::string convertToGraphviz(const std::string& functionName, bool showTypes, bool showCompFreqs) {
    return convertToGraphviz(ShadingNodeSpec::findSpecInLibrary(functionName), showTypes, showCompFreqs);
}

} // namespace qvShadingDag
