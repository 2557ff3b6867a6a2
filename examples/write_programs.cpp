// Writes a pair of hardware programs for per-pixel lighting with a texture: the vertex program
// passes position and normal in eye space on, the fragment program lights every pixel with them.

#include "hsl/HSLConvertor.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#endif

using Token = HSLToken;

namespace {

// A line of a program: what it computes, where that goes, and from what.
struct VertexLine {
    HSLToken::HSLOperator op;
    DataType type; // of a new variable; kInvalidDataType: a member of the output connector
    const char* name;
    std::vector<const char*> operands;
};

struct FragmentLine {
    HSLToken::HSLOperator op;
    DataType type;
    const char* name; // of a new variable; null: the colour, which has a type of its own
    std::vector<const char*> operands;
};

// The template of a product leaves its parenthesis to the last operand, hence "uvScale)".
// clang-format off
const VertexLine kVertexLines[] = {
    {Token::kAssign,   kFloat4,          "clip",          {"outputConnector.HPOS", "mul(modelViewProj, float4(inputConnector.vertexPosition, 1))"}},
    {Token::kAdd,      kInvalidDataType, "eyePosition",   {"mul(inputConnector.vertexPosition, toEye)", "eyeOrigin"}},
    {Token::kDot,      kFloat,           "lengthSquared", {"inputConnector.normal", "inputConnector.normal"}},
    {Token::kRsqrt,    kFloat,           "inverseLength", {"lengthSquared"}},
    {Token::kMultiply, kInvalidDataType, "eyeNormal",     {"mul(inputConnector.normal, toEye)", "inverseLength)"}},
    {Token::kMultiply, kInvalidDataType, "uv",            {"inputConnector.uv0", "uvScale)"}},
};

const FragmentLine kFragmentLines[] = {
    {Token::kSubtract, kFloat3,          "toLight",         {"lightPosition", "inputConnector.eyePosition"}},
    {Token::kDot,      kFloat,           "distanceSquared", {"toLight", "toLight"}},
    {Token::kDot,      kFloat,           "lengthSquared",   {"inputConnector.eyeNormal", "inputConnector.eyeNormal"}},
    {Token::kRsqrt,    kFloat,           "scale",           {"distanceSquared * lengthSquared"}},
    {Token::kMultiply, kFloat,           "cosine",          {"dot(toLight, inputConnector.eyeNormal)", "scale)"}},
    {Token::kClamp,    kFloat,           "diffuse",         {"cosine", "0", "1"}},
    {Token::kAdd,      kFloat4,          "light",           {"ambient", "diffuse * lightColor"}},
    {Token::kTex2D_f4, kFloat4,          "texel",           {"colorMap", "inputConnector.uv"}},
    {Token::kMultiply, kInvalidDataType, nullptr,           {"texel", "light)"}},
};
// clang-format on

// Program texts keep the "%s" of their templates: puts the operands in their place, in order.
bool fillOperands(std::string& text, const std::vector<const char*>& operands) {
    std::size_t at = 0;
    for (const char* operand : operands) {
        at = text.find("%s", at);
        if (at == std::string::npos) {
            return false;
        }
        text.replace(at, 2, operand);
        at += std::strlen(operand);
    }
    return text.find("%s", at) == std::string::npos;
}

std::string textOf(HSLStringContainer& container) {
    container.buildStringValue();
    return container.stringValue().asChar();
}

HSLProgramConstant constant(DataType type, const char* name, const std::vector<float>& values) {
    HSLProgramConstant made(type, name, true);
    made.assignArray(values.data(), static_cast<unsigned short>(values.size()));
    return made;
}

} // namespace

int main() {
#if defined(_WIN32)
    _setmode(_fileno(stdout), _O_BINARY); // line feeds stay line feeds
#endif
    const HSLConvertor convertor; // sets up the words of the program texts

    HSLApp2VtxConnector input(nullptr);
    input.addItem({kFloat3, "normal", nullptr});
    input.addItem({kFloat2, "uv0", nullptr});
    HSLVtx2FragConnector passed(nullptr);
    passed.addItem({kFloat3, "eyePosition", nullptr});
    passed.addItem({kFloat3, "eyeNormal", nullptr});
    passed.addItem({kFloat2, "uv", nullptr});

    std::vector<HSLProgramUniformItem> vertexUniforms = {
        {kMatrix4, "modelViewProj", nullptr},
        {kMatrix3, "toEye", nullptr},
        {kFloat3, "eyeOrigin", nullptr},
    };
    HSLVertexProgram vertexProgram("pixelLightVertex", input, &vertexUniforms, passed);
    vertexProgram.addConstant(constant(kFloat2, "uvScale", {4, 2.5F}));
    std::vector<const char*> vertexOperands;
    for (const VertexLine& line : kVertexLines) {
        const HSLVtx2FragConnector* target = line.type == kInvalidDataType ? &passed : nullptr;
        vertexProgram.addInstruction({line.op, line.name, line.type, target});
        vertexOperands.insert(vertexOperands.end(), line.operands.begin(), line.operands.end());
    }

    std::vector<HSLProgramUniformItem> fragmentUniforms = {
        {kFloat3, "lightPosition", nullptr},
        {kFloat4, "lightColor", nullptr},
        {kTexObj2D, "colorMap", nullptr},
    };
    HSLFragmentProgram fragmentProgram("pixelLightFragment", passed, &fragmentUniforms, false);
    fragmentProgram.addConstant(constant(kFloat4, "ambient", {0.1F, 0.1F, 0.15F, 1}));
    std::vector<const char*> fragmentOperands;
    for (const FragmentLine& line : kFragmentLines) {
        fragmentProgram.addInstruction(
            line.name
                ? HSLFragmentProgramInstruction(line.type, line.name, line.op)
                : HSLFragmentProgramInstruction(line.op, HSLFragmentProgramInstruction::kWriteHalfColor));
        fragmentOperands.insert(fragmentOperands.end(), line.operands.begin(), line.operands.end());
    }
    fragmentProgram.buildF2FConnector();

    std::string vertexText = textOf(vertexProgram);
    std::string fragmentText = textOf(fragmentProgram);
    if (!fillOperands(vertexText, vertexOperands) || !fillOperands(fragmentText, fragmentOperands)) {
        std::fputs("the operands do not fit the operators\n", stderr);
        return 1;
    }
    std::printf("%s\n%s\n%s\n%s\n%s", textOf(input).c_str(), vertexText.c_str(), textOf(passed).c_str(),
                fragmentText.c_str(), fragmentProgram.frag2FBConnectorString().asChar());
    return 0;
}
