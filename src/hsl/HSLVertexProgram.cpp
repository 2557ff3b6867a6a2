#include "hsl/HSLVertexProgram.h"

#include "hsl/HSLApp2VtxConnector.h"
#include "hsl/HSLProgramText.h"
#include "hsl/HSLVtx2FragConnector.h"

#include <utility>

using qvString::CString;

HSLVertexProgramInstruction::HSLVertexProgramInstruction(const HSLToken::HSLOperator& op, const CString& name,
                                                         const DataType& type,
                                                         const HSLVtx2FragConnector* connector)
    : fConnector(connector) {
    if (op <= HSLToken::kSmoothStep) {
        fAssignmentString = HSLToken::hslTokens.operatorString(op);
    }
    setTarget(name, type);
}

HSLVertexProgramInstruction::HSLVertexProgramInstruction(const CString& name, const DataType& type,
                                                         const HSLVtx2FragConnector* connector,
                                                         const CString& rightHandSide)
    : fAssignmentString(rightHandSide), fConnector(connector) {
    const HSLVtx2FragConnectItem& position = HSLVtx2FragConnectItem::fsHPosition;
    if (connector && !name.isEmpty() && name == position.logicalName()) {
        fDataType = position.dataType();
        fLogicalName = HSLProgramText::outputMember(name);
    } else {
        setTarget(name, type);
    }
}

void HSLVertexProgramInstruction::setTarget(const CString& name, const DataType& type) {
    if (!fConnector) {
        fDataType = type;
        fLogicalName = name;
    } else if (const HSLVtx2FragConnectItem* item = fConnector->findItem(name)) {
        fDataType = item->dataType();
        fLogicalName = HSLProgramText::outputMember(name);
    }
}

HSLVertexProgramInstruction::HSLVertexProgramInstruction() = default;

void HSLVertexProgramInstruction::buildStringValue() {
    fStringValue = fConnector ? fLogicalName : HSLProgramText::declaration(fDataType, fLogicalName);
    HSLProgramText::appendAssignment(fStringValue, fAssignmentString);
    fStringValue.append(";");
}

HSLVertexProgram::HSLVertexProgram(const CString& name, HSLApp2VtxConnector& input,
                                   std::vector<HSLProgramUniformItem>* uniforms, HSLVtx2FragConnector& output)
    : fInputConnector(&input), fUniforms(uniforms), fOutputConnector(&output),
      fName(name.isEmpty() ? "__QVvertexProgram" : name) {}

HSLVertexProgram::HSLVertexProgram() = default;

bool HSLVertexProgram::addConstant(const HSLProgramConstant& constant) {
    fConstants.push_back(constant);
    return true;
}

bool HSLVertexProgram::addInstruction(const HSLVertexProgramInstruction& instruction) {
    fInstructions.push_back(instruction);
    return true;
}

void HSLVertexProgram::buildStringValue() {
    CString text;
    if (!fInputConnector || !fOutputConnector) {
        fStringValue = text;
        return;
    }
    const HSLToken& tokens = HSLToken::hslTokens;
    const CString outputType = fOutputConnector->typeName();
    const CString& outputName = tokens.connectorName(HSLToken::kOutputConnector);

    text.append(outputType).append(" ").append(tokens.frequencyString(HSLToken::kVertWord)).append(" ");
    text.append(tokens.programString(HSLToken::kProgramWord)).append(" ").append(fName).append(" (\n\t");
    text.append(fInputConnector->typeName()).append(" ");
    text.append(tokens.connectorName(HSLToken::kInputConnector)).append("\n");
    HSLProgramText::appendUniforms(text, fUniforms);
    text.append(tokens.programString(HSLToken::kProgramBegin)).append("\n");
    text.append("\n\t").append(outputType).append(" ").append(outputName).append(";\n");
    HSLProgramText::appendSection(text, "\n\t//***** Program constants *****\n", fConstants);
    HSLProgramText::appendSection(text, "\n\t//***** Program Instructions *****\n", fInstructions);
    HSLProgramText::appendReturn(text);
    fStringValue = std::move(text);
}
