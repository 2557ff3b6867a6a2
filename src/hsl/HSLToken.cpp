#include "hsl/HSLToken.h"

#include <cstddef>

using qvString::CString;

namespace {

struct DataRow {
    DataType type;
    const char* declaration;
    const char* assignment;
};

// clang-format off
constexpr DataRow kDataRows[] = {
    {kInvalidDataType, "INVALID",         "INVALID"},
    {kVoid,            "INVALID",         "INVALID"},
    {kBool,            "bool %s",         "INVALID"},
    {kFloat,           "float %s",        "%g"},
    {kFloat2,          "float2 %s",       "{ %g, %g }"},
    {kFloat3,          "float3 %s",       "{ %g, %g, %g }"},
    {kFloat4,          "float4 %s",       "{ %g, %g, %g, %g }"},
    // On purpose: all clamped types are declared with one component.
    {kClampu,          "clampu1 %s",      "INVALID"},
    {kClampu2,         "clampu1 %s",      "INVALID"},
    {kClampu3,         "clampu1 %s",      "INVALID"},
    {kClampu4,         "clampu1 %s",      "INVALID"},
    {kInt,             "fixed %s",        "INVALID"},
    {kInt2,            "fixed2 %s",       "INVALID"},
    {kInt3,            "fixed3 %s",       "INVALID"},
    {kInt4,            "fixed4 %s",       "INVALID"},
    // On purpose: only the 2x2 initialiser has no blank before its closing braces.
    {kMatrix2,         "float %s[2][2]",  "{{ %g, %g }, { %g, %g}}"},
    {kMatrix3,         "float %s[3][3]",  "{{ %g, %g, %g }, { %g, %g, %g }, { %g, %g, %g }}"},
    {kMatrix4,         "float %s[4][4]",  "{{ %g, %g, %g, %g }, { %g, %g, %g, %g }, { %g, %g, %g, %g }, { %g, %g, %g, %g }}"},
    {kTexObj,          "INVALID",         "INVALID"},
    {kTexObj1D,        "texobj1D %s",     "INVALID"},
    {kTexObj2D,        "texobj2D %s",     "INVALID"},
    {kTexObj3D,        "texobj3D %s",     "INVALID"},
    {kTexObjCUBE,      "texobjCUBE %s",   "INVALID"},
    {kTexObjRECT,      "texobjRECT %s",   "INVALID"},
    {kHalf,            "half %s",         "%g"},
    {kHalf2,           "half2 %s",        "{ %g, %g }"},
    {kHalf3,           "half3 %s",        "{ %g, %g, %g }"},
    {kHalf4,           "half4 %s",        "{ %g, %g, %g, %g }"},
};

constexpr const char* kFrequencyStrings[] = {"uniform", "vert", "frag"};
constexpr const char* kProgramStrings[] = {"program", "return", "{", "}"};
constexpr const char* kConnectorHeaders[] = {
    "application2vertex connector %s",
    "vertex2fragment connector %s",
    "fragment2framebuffer connector %s",
};
constexpr const char* kConnectorStrings[] = {"{", "}", "%s.%s"};

struct OperatorRow {
    HSLToken::HSLOperator op;
    const char* text;
};

constexpr OperatorRow kOperatorRows[] = {
    {HSLToken::kAssign,         "%s = %s"},
    {HSLToken::kAdd,            "(%s + %s)"},
    {HSLToken::kSubtract,       "(%s - %s)"},
    {HSLToken::kMultiply,       "(%s * %s"}, // On purpose: the parenthesis stays open.
    {HSLToken::kDivide,         "(%s / %s)"},
    {HSLToken::kDotOperator,    "(%s (.) %s)"},
    {HSLToken::kAt,             "@%s"},
    {HSLToken::kLess,           "(%s < %s)"},
    {HSLToken::kGreater,        "(%s > %s)"},
    {HSLToken::kAnd,            "(%s && %s)"},
    {HSLToken::kConditional,    "(%s ? %s : %s)"},
    {HSLToken::kSin,            "sin(%s)"},
    {HSLToken::kCos,            ""}, // On purpose: no template.
    {HSLToken::kAsin,           "asin(%s)"},
    {HSLToken::kAcos,           "acos(%s)"},
    {HSLToken::kAtan,           "atan(%s)"},
    {HSLToken::kAtan2,          "atan2(%s,%s)"},
    {HSLToken::kSinh,           "sinh(%s)"},
    {HSLToken::kCosh,           "cosh(%s)"},
    {HSLToken::kTanh,           "tanh(%s)"},
    {HSLToken::kDegrees,        "degrees(%s)"},
    {HSLToken::kRadians,        "radians(%s)"},
    {HSLToken::kIsFinite,       "isfinite(%s)"},
    {HSLToken::kIsInf,          "isinf(%s)"},
    {HSLToken::kIsNan,          "isnan(%s)"},
    {HSLToken::kDot,            "dot(%s,%s)"},
    {HSLToken::kCross,          "cross(%s,%s)"},
    {HSLToken::kLength,         "length(%s,%s)"},    // On purpose: two operands.
    {HSLToken::kNormalize,      "normalize(%s,%s)"}, // On purpose: two operands.
    {HSLToken::kDistance,       "distance(%s,%s)"},
    {HSLToken::kReflect,        "reflect(%s,%s)"},
    {HSLToken::kRefract,        "refract(%s,%s,%s)"},
    {HSLToken::kExp,            "exp(%s)"},
    {HSLToken::kExp2,           "exp2(%s)"},
    {HSLToken::kLog,            "log(%s)"},
    {HSLToken::kLogBase,        "log(%s,%s)"},
    {HSLToken::kLog2,           "log2(%s)"},
    {HSLToken::kLog10,          "log10(%s)"},
    {HSLToken::kPow,            "pow(%s,%s)"},
    {HSLToken::kSqrt,           "sqrt(%s)"},
    {HSLToken::kRsqrt,          "rsqrt(%s)"},
    {HSLToken::kLdexp,          "ldexp(%s,%s)"},
    {HSLToken::kAbs,            "abs(%s)"},
    {HSLToken::kCeil,           "ceil(%s)"},
    {HSLToken::kFloor,          "floor(%s)"},
    {HSLToken::kRound,          "round(%s)"},
    {HSLToken::kFrac,           "frac(%s)"},
    {HSLToken::kMin,            "min(%s)"}, // On purpose: one operand.
    {HSLToken::kMax,            "max(%s)"}, // On purpose: one operand.
    {HSLToken::kSign,           "sign(%s)"},
    {HSLToken::kClamp,          "clamp(%s,%s,%s)"},
    {HSLToken::kFmod,           "fmod(%s,%s)"},
    {HSLToken::kModf,           "modf(%s,%s,%s)"},
    {HSLToken::kFrexp,          "frexp(%s,%s,%s)"},
    {HSLToken::kDdx,            "ddx(%s)"},
    {HSLToken::kDdy,            "ddy(%s)"},
    {HSLToken::kMix,            "mix(%s,%s,%s)"},
    {HSLToken::kStep,           "step(%s,%s)"},
    {HSLToken::kSmoothStep,     "smoothstep(%s,%s,%s)"},

    // On purpose: in every block of lookups x3 has the text of x4, and x4 has none.
    // On purpose: the target of this block is in lower case.
    {HSLToken::kTex1D_f1,       "f1tex1d(%s, %s)"},
    {HSLToken::kTex1D_f3,       "f3tex1d(%s, %s)"},
    {HSLToken::kTex1D_f4,       "f4tex1d(%s, %s)"},
    {HSLToken::kTex1D_x1,       "x1tex1d(%s, %s)"},
    {HSLToken::kTex1D_x3,       "x4tex1d(%s, %s)"},
    {HSLToken::kTex1D_x4,       ""},

    {HSLToken::kTex1DGrad_f1,   "f1tex1D(%s, %s, %s, %s)"},
    {HSLToken::kTex1DGrad_f3,   "f3tex1D(%s, %s, %s, %s)"},
    {HSLToken::kTex1DGrad_f4,   "f4tex1D(%s, %s, %s, %s)"},
    {HSLToken::kTex1DGrad_x1,   "x1tex1D(%s, %s, %s, %s)"},
    {HSLToken::kTex1DGrad_x3,   "x4tex1D(%s, %s, %s, %s)"},
    {HSLToken::kTex1DGrad_x4,   ""},

    {HSLToken::kTex2D_f1,       "f1tex2D(%s, %s)"},
    {HSLToken::kTex2D_f3,       "f3tex2D(%s, %s)"},
    {HSLToken::kTex2D_f4,       "f4tex2D(%s, %s)"},
    {HSLToken::kTex2D_x1,       "x1tex2D(%s, %s)"},
    {HSLToken::kTex2D_x3,       "x4tex2D(%s, %s)"},
    {HSLToken::kTex2D_x4,       ""},

    {HSLToken::kTex2DGrad_f1,   "f1tex2D(%s, %s, %s, %s)"},
    {HSLToken::kTex2DGrad_f3,   "f3tex2D(%s, %s, %s, %s)"},
    {HSLToken::kTex2DGrad_f4,   "f4tex2D(%s, %s, %s, %s)"},
    {HSLToken::kTex2DGrad_x1,   "x1tex2D(%s, %s, %s, %s)"},
    {HSLToken::kTex2DGrad_x3,   "x4tex2D(%s, %s, %s, %s)"},
    {HSLToken::kTex2DGrad_x4,   ""},

    {HSLToken::kTex3D_f1,       "f1tex3D(%s, %s)"},
    {HSLToken::kTex3D_f3,       "f3tex3D(%s, %s)"},
    {HSLToken::kTex3D_f4,       "f4tex3D(%s, %s)"},
    {HSLToken::kTex3D_x1,       "x1tex3D(%s, %s)"},
    {HSLToken::kTex3D_x3,       "x4tex3D(%s, %s)"},
    {HSLToken::kTex3D_x4,       ""},

    {HSLToken::kTex3DGrad_f1,   "f1tex3D(%s, %s, %s, %s)"},
    {HSLToken::kTex3DGrad_f3,   "f3tex3D(%s, %s, %s, %s)"},
    {HSLToken::kTex3DGrad_f4,   "f4tex3D(%s, %s, %s, %s)"},
    {HSLToken::kTex3DGrad_x1,   "x1tex3D(%s, %s, %s, %s)"},
    {HSLToken::kTex3DGrad_x3,   "x4tex3D(%s, %s, %s, %s)"},
    {HSLToken::kTex3DGrad_x4,   ""},

    {HSLToken::kTexCUBE_f1,     "f1texCUBE(%s, %s)"},
    {HSLToken::kTexCUBE_f3,     "f3texCUBE(%s, %s)"},
    {HSLToken::kTexCUBE_f4,     "f4texCUBE(%s, %s)"},
    {HSLToken::kTexCUBE_x1,     "x1texCUBE(%s, %s)"},
    {HSLToken::kTexCUBE_x3,     "x4texCUBE(%s, %s)"},
    {HSLToken::kTexCUBE_x4,     ""},

    {HSLToken::kTexCUBEGrad_f1, "x1texCUBE(%s, %s, %s, %s)"}, // On purpose: the text of x1.
    {HSLToken::kTexCUBEGrad_f3, "f3texCUBE(%s, %s, %s, %s)"},
    {HSLToken::kTexCUBEGrad_f4, "f4texCUBE(%s, %s, %s, %s)"},
    {HSLToken::kTexCUBEGrad_x1, "x1texCUBE(%s, %s, %s, %s)"},
    {HSLToken::kTexCUBEGrad_x3, "x4texCUBE(%s, %s, %s, %s)"},
    {HSLToken::kTexCUBEGrad_x4, ""},

    {HSLToken::kTexRECT_f1,     "f1texRECT(%s, %s)"},
    {HSLToken::kTexRECT_f3,     "f3texRECT(%s, %s)"},
    {HSLToken::kTexRECT_f4,     "f4texRECT(%s, %s)"},
    {HSLToken::kTexRECT_x1,     "x1texRECT(%s, %s)"},
    {HSLToken::kTexRECT_x3,     "x4texRECT(%s, %s)"},
    {HSLToken::kTexRECT_x4,     ""},

    {HSLToken::kTexRECTGrad_f1, "f1texRECT(%s, %s, %s, %s)"},
    {HSLToken::kTexRECTGrad_f3, "f3texRECT(%s, %s, %s, %s)"},
    {HSLToken::kTexRECTGrad_f4, "f4texRECT(%s, %s, %s, %s)"},
    {HSLToken::kTexRECTGrad_x1, "x1texRECT(%s, %s, %s, %s)"},
    {HSLToken::kTexRECTGrad_x3, "x4texRECT(%s, %s, %s, %s)"},
    {HSLToken::kTexRECTGrad_x4, ""},
};
// clang-format on

constexpr const char* kConnectorTypeNames[] = {"fragout", "fragout_float", "vf30",     "AVC",
                                               "VFC",     "FFC",           "FFC_float"};
constexpr const char* kConnectorNames[] = {"inputConnector", "outputConnector"};
constexpr const char* kFragmentOutputNames[] = {"color", "depth"};

constexpr bool rowsStandInOrder() {
    int position = 0;
    for (const DataRow& row : kDataRows) {
        if (row.type != position++) {
            return false;
        }
    }
    position = 0;
    for (const OperatorRow& row : kOperatorRows) {
        if (row.op != position++) {
            return false;
        }
    }
    return true;
}
static_assert(rowsStandInOrder() && std::size(kDataRows) == 28 && std::size(kOperatorRows) == 119);

template <std::size_t N>
void fill(CString (&group)[N], const char* const (&texts)[N]) {
    for (std::size_t i = 0; i < N; ++i) {
        group[i] = texts[i];
    }
}

template <std::size_t N>
const CString& entry(const CString (&group)[N], unsigned int position) {
    static const CString none;
    return position < N ? group[position] : none;
}

} // namespace

HSLToken HSLToken::hslTokens;

HSLToken::HSLToken() = default;
HSLToken::HSLToken(const HSLToken& other) = default;
HSLToken& HSLToken::operator=(const HSLToken& other) = default;
HSLToken::~HSLToken() = default;

void HSLToken::initialize(unsigned int profile) {
    fProfile = profile;
    if (profile != 1) {
        return;
    }
    for (const DataRow& row : kDataRows) {
        fDataStrings[row.type] = row.declaration;
        fDataAssignments[row.type] = row.assignment;
    }
    fill(fFrequencyStrings, kFrequencyStrings);
    fill(fProgramStrings, kProgramStrings);
    fill(fConnectorHeaders, kConnectorHeaders);
    fill(fConnectorStrings, kConnectorStrings);
    for (const OperatorRow& row : kOperatorRows) {
        fOperatorStrings[row.op] = row.text;
    }
    fill(fConnectorTypeNames, kConnectorTypeNames);
    fill(fConnectorNames, kConnectorNames);
    fill(fFragmentOutputNames, kFragmentOutputNames);
}

// A negative type or operator becomes a position beyond every group.

CString HSLToken::dataString(DataType type) const {
    return entry(fDataStrings, static_cast<unsigned int>(type));
}

CString HSLToken::dataAssignment(DataType type) const {
    return entry(fDataAssignments, static_cast<unsigned int>(type));
}

const CString& HSLToken::frequencyString(unsigned int position) const {
    return entry(fFrequencyStrings, position);
}

const CString& HSLToken::programString(unsigned int position) const {
    return entry(fProgramStrings, position);
}

const CString& HSLToken::connectorHeader(unsigned int position) const {
    return entry(fConnectorHeaders, position);
}

const CString& HSLToken::connectorString(unsigned int position) const {
    return entry(fConnectorStrings, position);
}

const CString& HSLToken::operatorString(HSLOperator op) const {
    return entry(fOperatorStrings, static_cast<unsigned int>(op));
}

const CString& HSLToken::connectorTypeName(unsigned int position) const {
    return entry(fConnectorTypeNames, position);
}

const CString& HSLToken::connectorName(unsigned int position) const {
    return entry(fConnectorNames, position);
}

const CString& HSLToken::fragmentOutputName(unsigned int position) const {
    return entry(fFragmentOutputNames, position);
}
