#pragma once

#include "base/CString.h"
#include "base/Export.h"
#include "core/DataType.h"
#include "hsl/HSLProgramConstant.h"
#include "hsl/HSLProgramUniformItem.h"
#include "hsl/HSLStringContainer.h"
#include "hsl/HSLToken.h"

#include <vector>

class HSLApp2VtxConnector;
class HSLVtx2FragConnector;

/// A line of a vertex program: a new variable or a member of the output connector, and the operator
/// template that it is assigned, "float4 t0 = (%s + %s);".
///
/// The placeholders stay in the text; the host puts the operands in their place, in order.
class QV_EXPORT HSLVertexProgramInstruction : public HSLStringContainer {
public:
    /// Without a connector the line declares `name` with `type`. With one it assigns the connector's
    /// item of that name, whose type replaces `type`; a connector without such an item leaves type 0
    /// and an empty name. The connector is not owned.
    ///
    /// Texture lookups, which fragment programs alone can do, and values that are no operator leave
    /// the line without a right-hand side.
    HSLVertexProgramInstruction(const HSLToken::HSLOperator& op, const qvString::CString& name,
                                const DataType& type, const HSLVtx2FragConnector* connector);

    /// The same with any expression on the right-hand side, which is written as it stands. With a
    /// connector the line may also assign its class-wide member, the clip position "HPOS".
    HSLVertexProgramInstruction(const qvString::CString& name, const DataType& type,
                                const HSLVtx2FragConnector* connector,
                                const qvString::CString& rightHandSide);

    /// The name of the variable or of the connector's item.
    const qvString::CString& logicalName() const { return fLogicalName; }
    /// The right-hand side; empty for none.
    const qvString::CString& assignmentString() const { return fAssignmentString; }

    void buildStringValue() override;

protected:
    HSLVertexProgramInstruction();

private:
    void setTarget(const qvString::CString& name, const DataType& type);

    DataType fDataType = kInvalidDataType;
    qvString::CString fLogicalName;
    qvString::CString fAssignmentString;
    const HSLVtx2FragConnector* fConnector = nullptr;
};

/// A vertex program: its connectors, uniforms, constants and instructions.
///
/// The connectors and the list of uniforms stay the host's and must outlive the program; copies of
/// a program share them. Constants and instructions are the program's own, in the order in which
/// they were added.
///
///     HSLVertexProgram program("light", input, &uniforms, output);
///     program.addInstruction(HSLVertexProgramInstruction(HSLToken::kAdd, "t0", kFloat4, nullptr));
///     program.buildStringValue();
///     program.stringValue(); // "VFC vert program light (\n\tAVC inputConnector\n..."
class QV_EXPORT HSLVertexProgram : public HSLStringContainer {
public:
    /// An empty name becomes "__QVvertexProgram"; `uniforms` may be null.
    HSLVertexProgram(const qvString::CString& name, HSLApp2VtxConnector& input,
                     std::vector<HSLProgramUniformItem>* uniforms, HSLVtx2FragConnector& output);

    /// Adds a copy at the end; always true.
    bool addConstant(const HSLProgramConstant& constant);
    /// Adds a copy at the end; always true.
    bool addInstruction(const HSLVertexProgramInstruction& instruction);

    /// Writes the program and rebuilds its uniforms, constants and instructions in place, but not
    /// its connectors. Empty for a program without connectors.
    void buildStringValue() override;

protected:
    /// Without connectors, uniforms and name.
    HSLVertexProgram();

private:
    HSLApp2VtxConnector* fInputConnector = nullptr;
    std::vector<HSLProgramUniformItem>* fUniforms = nullptr;
    HSLVtx2FragConnector* fOutputConnector = nullptr;
    std::vector<HSLProgramConstant> fConstants;
    std::vector<HSLVertexProgramInstruction> fInstructions;
    qvString::CString fName;
};
