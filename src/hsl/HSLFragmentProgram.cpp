#include "hsl/HSLFragmentProgram.h"

#include "hsl/HSLProgramText.h"
#include "hsl/HSLVtx2FragConnector.h"

#include <utility>

using qvString::CString;

HSLFragmentProgramInstruction::HSLFragmentProgramInstruction(const HSLToken::HSLOperator& op,
                                                             const FragmentWriteMask& mask) {
    if (op == HSLToken::kNoOperator) {
        return;
    }
    setOutput(mask);
    fAssignmentString = HSLToken::hslTokens.operatorString(op);
}

HSLFragmentProgramInstruction::HSLFragmentProgramInstruction(const FragmentWriteMask& mask,
                                                             const CString& rightHandSide)
    : fAssignmentString(rightHandSide), fDeclares(false) {
    setOutput(mask);
}

void HSLFragmentProgramInstruction::setOutput(const FragmentWriteMask& mask) {
    const HSLToken& tokens = HSLToken::hslTokens;
    const CString& color = tokens.fragmentOutputName(HSLToken::kColor);
    const CString& depth = tokens.fragmentOutputName(HSLToken::kDepth);
    switch (mask) {
    case kWriteHalfColor:
        fDataType = kHalf;
        fLogicalName = HSLProgramText::outputMember(color);
        break;
    case kWriteFloatColor:
        fDataType = kFloat;
        fLogicalName = HSLProgramText::outputMember(color);
        break;
    case kWriteDepth:
    case kWriteFloatDepth:
        fDataType = kFloat;
        fLogicalName = HSLProgramText::outputMember(depth);
        break;
    }
}

HSLFragmentProgramInstruction::HSLFragmentProgramInstruction(const DataType& type, const CString& name,
                                                             const HSLToken::HSLOperator& op) {
    if (op == HSLToken::kNoOperator) {
        return;
    }
    fDataType = type;
    fLogicalName = name;
    fAssignmentString = HSLToken::hslTokens.operatorString(op);
}

HSLFragmentProgramInstruction::HSLFragmentProgramInstruction(const DataType& type, const CString& name,
                                                             const CString& rightHandSide)
    : fDataType(type), fLogicalName(name), fAssignmentString(rightHandSide) {}

HSLFragmentProgramInstruction::HSLFragmentProgramInstruction() = default;

void HSLFragmentProgramInstruction::buildStringValue() {
    fStringValue = fDeclares ? HSLProgramText::declaration(fDataType, fLogicalName) : fLogicalName;
    HSLProgramText::appendAssignment(fStringValue, fAssignmentString);
    fStringValue.append(";");
}

HSLFragmentProgram::HSLFragmentProgram(const CString& name, HSLVtx2FragConnector& input,
                                       std::vector<HSLProgramUniformItem>* uniforms, bool floatOutput)
    : fInputConnector(&input), fUniforms(uniforms), fFloatOutput(floatOutput),
      fName(name.isEmpty() ? "__QVfragmentProgram" : name) {}

HSLFragmentProgram::HSLFragmentProgram() = default;

bool HSLFragmentProgram::addConstant(const HSLProgramConstant& constant) {
    fConstants.push_back(constant);
    return true;
}

bool HSLFragmentProgram::addInstruction(const HSLFragmentProgramInstruction& instruction) {
    fInstructions.push_back(instruction);
    return true;
}

const CString& HSLFragmentProgram::outputType() const {
    return HSLToken::hslTokens.connectorTypeName(fFloatOutput ? HSLToken::kFFCFloat : HSLToken::kFFC);
}

void HSLFragmentProgram::buildF2FConnector() {
    const HSLToken& tokens = HSLToken::hslTokens;
    const CString& color = tokens.fragmentOutputName(HSLToken::kColor);
    const CString& depth = tokens.fragmentOutputName(HSLToken::kDepth);

    // On purpose: other than the connectors before it, this one indents with a tab and ends in "};".
    CString text;
    text.format(tokens.connectorHeader(HSLToken::kFrag2FBHeader).asChar(), outputType().asChar());
    text.append(" ").append(tokens.connectorString(HSLToken::kConnectorBegin)).append("\n");
    text.append("\t")
        .append(HSLProgramText::declaration(fFloatOutput ? kFloat4 : kHalf4, color))
        .append(";\n");
    text.append("\t").append(HSLProgramText::declaration(kFloat, depth)).append(";\n");
    text.append(tokens.connectorString(HSLToken::kConnectorEnd)).append(";\n");
    fFrag2FBConnectorString = std::move(text);
}

void HSLFragmentProgram::buildStringValue() {
    CString text;
    if (!fInputConnector) {
        fStringValue = text;
        return;
    }
    const HSLToken& tokens = HSLToken::hslTokens;

    text.append(outputType()).append(" ").append(tokens.frequencyString(HSLToken::kFragWord)).append(" ");
    // On purpose: a blank behind the parenthesis, which the vertex program has not.
    text.append(tokens.programString(HSLToken::kProgramWord)).append(" ").append(fName).append(" ( \n\t");
    text.append(fInputConnector->typeName()).append(" ");
    text.append(tokens.connectorName(HSLToken::kInputConnector)).append("\n");
    HSLProgramText::appendUniforms(text, fUniforms);
    text.append(tokens.programString(HSLToken::kProgramBegin)).append("\n");
    // On purpose: no semicolon behind the output, which the vertex program has.
    text.append("\n\t").append(outputType()).append(" ");
    text.append(tokens.connectorName(HSLToken::kOutputConnector)).append("\n");
    HSLProgramText::appendSection(text, "\n\t//***** Fragment program constants *****\n", fConstants);
    HSLProgramText::appendSection(text, "\n\t//***** Program Instructions *****\n", fInstructions);
    HSLProgramText::appendReturn(text);
    fStringValue = std::move(text);
}
