#include "hsl/HSLProgramText.h"

#include "hsl/HSLProgramUniformItem.h"
#include "hsl/HSLToken.h"

using qvString::CString;

CString HSLProgramText::declaration(DataType type, const CString& name) {
    CString text;
    text.format(HSLToken::hslTokens.dataString(type).asChar(), name.asChar());
    return text;
}

CString HSLProgramText::outputMember(const CString& name) {
    const HSLToken& tokens = HSLToken::hslTokens;
    CString text;
    text.format(tokens.connectorString(HSLToken::kMemberAccess).asChar(),
                tokens.connectorName(HSLToken::kOutputConnector).asChar(), name.asChar());
    return text;
}

void HSLProgramText::appendAssignment(CString& text, const CString& assignment) {
    if (!assignment.isEmpty()) {
        text.append(" = ").append(assignment);
    }
}

void HSLProgramText::appendUniforms(CString& text, std::vector<HSLProgramUniformItem>* uniforms) {
    if (!uniforms) {
        return;
    }
    for (HSLProgramUniformItem& uniform : *uniforms) {
        text.append("\t, ").append(rebuilt(uniform));
        // On purpose: only the last uniform closes the parameter list; without uniforms it stays open.
        text.append(&uniform == &uniforms->back() ? ")\n" : "\n");
    }
}

void HSLProgramText::appendReturn(CString& text) {
    const HSLToken& tokens = HSLToken::hslTokens;
    text.append("\t").append(tokens.programString(HSLToken::kReturnWord)).append(" ");
    text.append(tokens.connectorName(HSLToken::kOutputConnector)).append(";\n");
    text.append(tokens.programString(HSLToken::kProgramEnd)).append("\n");
}

void HSLProgramText::openConnector(CString& text, const CString& header, const CString& typeName) {
    text.format(header.asChar(), typeName.asChar());
    text.append(" ").append(HSLToken::hslTokens.connectorString(HSLToken::kConnectorBegin)).append("\n");
}

void HSLProgramText::closeConnector(CString& text) {
    text.append(HSLToken::hslTokens.connectorString(HSLToken::kConnectorEnd)).append("\n");
}
