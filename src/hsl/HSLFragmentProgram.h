#pragma once

#include "base/CString.h"
#include "base/Export.h"
#include "core/DataType.h"
#include "hsl/HSLProgramConstant.h"
#include "hsl/HSLProgramUniformItem.h"
#include "hsl/HSLStringContainer.h"
#include "hsl/HSLToken.h"

#include <vector>

class HSLVtx2FragConnector;

/// A line of a fragment program: a new variable or an output of the program, and the operator
/// template that it is assigned, "float4 t0 = f4tex2D(%s, %s);".
///
/// The placeholders stay in the text; the host puts the operands in their place, in order.
class QV_EXPORT HSLFragmentProgramInstruction : public HSLStringContainer {
public:
    /// The output that an instruction writes.
    enum FragmentWriteMask : int {
        kWriteHalfColor,  ///< "half outputConnector.color"; on purpose a scalar, as all four
        kWriteDepth,      ///< "float outputConnector.depth"
        kWriteFloatColor, ///< "float outputConnector.color"
        kWriteFloatDepth, ///< "float outputConnector.depth"
    };

    /// A write to an output; a mask that is none of the four leaves type 0 and an empty name.
    /// Operator -1 leaves everything empty; any other value that is no operator gives no right-hand
    /// side.
    HSLFragmentProgramInstruction(const HSLToken::HSLOperator& op, const FragmentWriteMask& mask);

    /// A new variable. Operator -1 leaves everything empty, type and name included.
    HSLFragmentProgramInstruction(const DataType& type, const qvString::CString& name,
                                  const HSLToken::HSLOperator& op);

    /// A write to an output with any expression on the right-hand side, which is written as it
    /// stands, and without a declaration: "outputConnector.color = ...".
    HSLFragmentProgramInstruction(const FragmentWriteMask& mask, const qvString::CString& rightHandSide);

    /// A new variable with any expression on the right-hand side.
    HSLFragmentProgramInstruction(const DataType& type, const qvString::CString& name,
                                  const qvString::CString& rightHandSide);

    /// The name of the variable or output.
    const qvString::CString& logicalName() const { return fLogicalName; }
    /// The right-hand side; empty for none.
    const qvString::CString& assignmentString() const { return fAssignmentString; }

    /// On purpose: writes a declaration for outputs with an operator, too.
    void buildStringValue() override;

protected:
    /// An instruction without type, name and right-hand side.
    HSLFragmentProgramInstruction();

private:
    void setOutput(const FragmentWriteMask& mask);

    DataType fDataType = kInvalidDataType;
    qvString::CString fLogicalName;
    qvString::CString fAssignmentString;
    bool fDeclares = true;
};

/// A fragment program: its connector, uniforms, constants and instructions, and the connector from
/// it to the framebuffer.
///
/// The connector and the list of uniforms stay the host's and must outlive the program; copies of
/// a program share them. Constants and instructions are the program's own, in the order in which
/// they were added.
///
///     HSLFragmentProgram program("light", input, &uniforms, false);
///     program.addInstruction({HSLToken::kTex2D_f4, HSLFragmentProgramInstruction::kWriteHalfColor});
///     program.buildStringValue();
///     program.buildF2FConnector();
///     program.frag2FBConnectorString(); // "fragment2framebuffer connector FFC {\n..."
class QV_EXPORT HSLFragmentProgram : public HSLStringContainer {
public:
    /// An empty name becomes "__QVfragmentProgram"; `uniforms` may be null; `floatOutput` chooses a
    /// framebuffer of floats instead of halves.
    HSLFragmentProgram(const qvString::CString& name, HSLVtx2FragConnector& input,
                       std::vector<HSLProgramUniformItem>* uniforms, bool floatOutput);

    /// Adds a copy at the end; always true.
    bool addConstant(const HSLProgramConstant& constant);
    /// Adds a copy at the end; always true.
    bool addInstruction(const HSLFragmentProgramInstruction& instruction);

    /// Writes the connector to the framebuffer, which is no part of the program's own text.
    void buildF2FConnector();
    /// The text that `buildF2FConnector()` wrote; empty before that.
    qvString::CString frag2FBConnectorString() const { return fFrag2FBConnectorString; }

    /// Writes the program and rebuilds its uniforms, constants and instructions in place, but not
    /// its connector. Empty for a program without a connector.
    void buildStringValue() override;

protected:
    /// Without connector, uniforms and name.
    HSLFragmentProgram();

private:
    const qvString::CString& outputType() const;

    HSLVtx2FragConnector* fInputConnector = nullptr;
    std::vector<HSLProgramUniformItem>* fUniforms = nullptr;
    qvString::CString fFrag2FBConnectorString;
    bool fFloatOutput = false;
    std::vector<HSLProgramConstant> fConstants;
    std::vector<HSLFragmentProgramInstruction> fInstructions;
    qvString::CString fName;
};
