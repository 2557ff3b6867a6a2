#pragma once

#include "base/CString.h"
#include "base/Export.h"
#include "core/DataType.h"

/// The vocabulary of the program texts: type declarations, initialisers, keywords, connector names
/// and one expression template for each operator.
///
/// One table serves the whole process, `HSLToken::hslTokens`. It is empty until its first
/// `initialize(1)`, which constructing an `HSLConvertor` calls; every class that writes text reads
/// it, and none of them locks it.
///
///     HSLToken::hslTokens.initialize(1);
///     HSLToken::hslTokens.dataString(kFloat4);                    // "float4 %s"
///     HSLToken::hslTokens.operatorString(HSLToken::kSmoothStep);  // "smoothstep(%s,%s,%s)"
///
/// Every entry is read by its position in its group, for which there are enumerators; a position outside the
/// group gives an empty string.
class QV_EXPORT HSLToken {
public:
    /// What an instruction computes. The texture lookups run in ten blocks of six: target 1D, 2D,
    /// 3D, CUBE and RECT, each with two operands (texture, coordinates) and then with four (`Grad`:
    /// the two derivatives of the coordinates, too). The suffix is the result: f float or x fixed,
    /// and its number of components.
    enum HSLOperator : int {
        kNoOperator = -1,

        kAssign = 0,
        kAdd,
        kSubtract,
        kMultiply, ///< on purpose: its template does not close its parenthesis
        kDivide,
        kDotOperator,
        kAt,
        kLess,
        kGreater,
        kAnd,
        kConditional,
        kSin,
        kCos, ///< on purpose: without a template
        kAsin,
        kAcos,
        kAtan,
        kAtan2,
        kSinh,
        kCosh,
        kTanh,
        kDegrees,
        kRadians,
        kIsFinite,
        kIsInf,
        kIsNan,
        kDot,
        kCross,
        kLength,    ///< on purpose: two operands
        kNormalize, ///< on purpose: two operands
        kDistance,
        kReflect,
        kRefract,
        kExp,
        kExp2,
        kLog,
        kLogBase,
        kLog2,
        kLog10,
        kPow,
        kSqrt,
        kRsqrt,
        kLdexp,
        kAbs,
        kCeil,
        kFloor,
        kRound,
        kFrac,
        kMin, ///< on purpose: one operand
        kMax, ///< on purpose: one operand
        kSign,
        kClamp,
        kFmod,
        kModf,
        kFrexp,
        kDdx,
        kDdy,
        kMix,
        kStep,
        kSmoothStep, ///< the last one that a vertex program accepts

        kTex1D_f1,
        kTex1D_f3,
        kTex1D_f4,
        kTex1D_x1,
        kTex1D_x3, ///< on purpose, in every block: the template of the x4 lookup
        kTex1D_x4, ///< on purpose, in every block: without a template
        kTex1DGrad_f1,
        kTex1DGrad_f3,
        kTex1DGrad_f4,
        kTex1DGrad_x1,
        kTex1DGrad_x3,
        kTex1DGrad_x4,
        kTex2D_f1,
        kTex2D_f3,
        kTex2D_f4,
        kTex2D_x1,
        kTex2D_x3,
        kTex2D_x4,
        kTex2DGrad_f1,
        kTex2DGrad_f3,
        kTex2DGrad_f4,
        kTex2DGrad_x1,
        kTex2DGrad_x3,
        kTex2DGrad_x4,
        kTex3D_f1,
        kTex3D_f3,
        kTex3D_f4,
        kTex3D_x1,
        kTex3D_x3,
        kTex3D_x4,
        kTex3DGrad_f1,
        kTex3DGrad_f3,
        kTex3DGrad_f4,
        kTex3DGrad_x1,
        kTex3DGrad_x3,
        kTex3DGrad_x4,
        kTexCUBE_f1,
        kTexCUBE_f3,
        kTexCUBE_f4,
        kTexCUBE_x1,
        kTexCUBE_x3,
        kTexCUBE_x4,
        kTexCUBEGrad_f1, ///< on purpose: the template of the x1 lookup
        kTexCUBEGrad_f3,
        kTexCUBEGrad_f4,
        kTexCUBEGrad_x1,
        kTexCUBEGrad_x3,
        kTexCUBEGrad_x4,
        kTexRECT_f1,
        kTexRECT_f3,
        kTexRECT_f4,
        kTexRECT_x1,
        kTexRECT_x3,
        kTexRECT_x4,
        kTexRECTGrad_f1,
        kTexRECTGrad_f3,
        kTexRECTGrad_f4,
        kTexRECTGrad_x1,
        kTexRECTGrad_x3,
        kTexRECTGrad_x4,
    };

    // The positions in the small groups.
    /// Positions of `frequencyString`.
    enum FrequencyWord : unsigned int { kUniformWord, kVertWord, kFragWord };
    /// Positions of `programString`.
    enum ProgramWord : unsigned int { kProgramWord, kReturnWord, kProgramBegin, kProgramEnd };
    /// Positions of `connectorHeader`.
    enum ConnectorHeader : unsigned int { kApp2VtxHeader, kVtx2FragHeader, kFrag2FBHeader };
    /// Positions of `connectorString`.
    enum ConnectorWord : unsigned int { kConnectorBegin, kConnectorEnd, kMemberAccess };
    /// Positions of `connectorTypeName`.
    enum ConnectorType : unsigned int { kFragOut, kFragOutFloat, kVF30, kAVC, kVFC, kFFC, kFFCFloat };
    /// Positions of `connectorName`.
    enum ConnectorName : unsigned int { kInputConnector, kOutputConnector };
    /// Positions of `fragmentOutputName`.
    enum FragmentOutput : unsigned int { kColor, kDepth };

    /// The process-wide table.
    static HSLToken hslTokens;

    /// All strings empty, profile 1.
    HSLToken();
    HSLToken(const HSLToken& other);
    HSLToken& operator=(const HSLToken& other);
    ~HSLToken();

    /// Stores the profile and, for profile 1, fills the table. Any other profile leaves the strings
    /// as they were.
    void initialize(unsigned int profile);

    /// The declaration of a variable of a type, with "%s" for its name; "INVALID" for a type that
    /// cannot be declared.
    qvString::CString dataString(DataType type) const;
    /// The initialiser of a type, with one "%g" for each component, matrices row after row;
    /// "INVALID" for a type that has none.
    qvString::CString dataAssignment(DataType type) const;

    /// 0 "uniform", 1 "vert", 2 "frag".
    const qvString::CString& frequencyString(unsigned int position) const;
    /// 0 "program", 1 "return", 2 "{", 3 "}".
    const qvString::CString& programString(unsigned int position) const;
    /// The heads of the connectors with "%s" for the type name: 0 application to vertex, 1 vertex
    /// to fragment, 2 fragment to framebuffer.
    const qvString::CString& connectorHeader(unsigned int position) const;
    /// 0 "{", 1 "}", 2 the access to a member, "%s.%s".
    const qvString::CString& connectorString(unsigned int position) const;
    /// The expression template of an operator, with one "%s" for each operand; may be empty.
    const qvString::CString& operatorString(HSLOperator op) const;
    /// 0 "fragout", 1 "fragout_float", 2 "vf30", 3 "AVC", 4 "VFC", 5 "FFC", 6 "FFC_float".
    const qvString::CString& connectorTypeName(unsigned int position) const;
    /// 0 "inputConnector", 1 "outputConnector".
    const qvString::CString& connectorName(unsigned int position) const;
    /// 0 "color", 1 "depth".
    const qvString::CString& fragmentOutputName(unsigned int position) const;
    /// The profile last given to `initialize`.
    unsigned int profile() const { return fProfile; }

private:
    qvString::CString fDataStrings[kHalf4 + 1];
    qvString::CString fDataAssignments[kHalf4 + 1];
    qvString::CString fFrequencyStrings[3];
    qvString::CString fProgramStrings[4];
    qvString::CString fConnectorHeaders[3];
    qvString::CString fConnectorStrings[3];
    qvString::CString fOperatorStrings[kTexRECTGrad_x4 + 1];
    qvString::CString fConnectorTypeNames[7];
    qvString::CString fConnectorNames[2];
    qvString::CString fFragmentOutputNames[2];
    unsigned int fProfile = 1;
};
