#include "hsl/HSLConvertor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

using qvString::CString;
using FragmentInstruction = HSLFragmentProgramInstruction;
using Token = HSLToken;

namespace {

std::string expectedText(const char* file) {
    std::ifstream stream(std::string(QV_TEST_DATA "hsl/") + file, std::ios::binary);
    EXPECT_TRUE(stream) << file;
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::string built(HSLStringContainer& container) {
    container.buildStringValue();
    return container.stringValue().asChar();
}

std::string built(HSLStringContainer&& container) {
    return built(container);
}

qvShadingDag::ShadingNode* nodeNumber(std::size_t number) {
    static char nodes[16]; // stand-ins: nodes are compared by address and never looked into
    return reinterpret_cast<qvShadingDag::ShadingNode*>(&nodes[number]);
}

class ProgramText : public testing::Test {
protected:
    ProgramText() {
        fOutput.addItem({kFloat4, "color0", nullptr});
        fOutput.addItem({kFloat2, "uv", nullptr});
    }

    HSLConvertor fConvertor; // fills the token table
    HSLApp2VtxConnector fInput{nullptr};
    HSLVtx2FragConnector fOutput{nullptr};
    const float fRed[4] = {1, 0, 0, 1};
};

TEST_F(ProgramText, TokenTableHoldsEveryText) {
    const HSLToken& tokens = HSLToken::hslTokens;
    std::ostringstream text;
    for (int i = 0; i < 28; ++i) {
        const auto type = static_cast<DataType>(i);
        text << "data " << i << ": " << tokens.dataString(type).asChar() << " = "
             << tokens.dataAssignment(type).asChar() << "\n";
    }
    const struct {
        const char* name;
        unsigned int size;
        const CString& (HSLToken::*entry)(unsigned int) const;
    } groups[] = {
        {"frequency", 3, &HSLToken::frequencyString},   {"program", 4, &HSLToken::programString},
        {"header", 3, &HSLToken::connectorHeader},      {"connector", 3, &HSLToken::connectorString},
        {"type name", 7, &HSLToken::connectorTypeName}, {"name", 2, &HSLToken::connectorName},
        {"output", 2, &HSLToken::fragmentOutputName},
    };
    for (const auto& group : groups) {
        for (unsigned int i = 0; i < group.size; ++i) {
            text << group.name << " " << i << ": " << (tokens.*group.entry)(i).asChar() << "\n";
        }
        EXPECT_TRUE((tokens.*group.entry)(group.size).isEmpty());
        EXPECT_TRUE((tokens.*group.entry)(~0U).isEmpty());
    }
    for (int i = 0; i < 119; ++i) {
        text << "operator " << i << ": \""
             << tokens.operatorString(static_cast<Token::HSLOperator>(i)).asChar() << "\"\n";
    }
    EXPECT_EQ(text.str(), expectedText("tokens.txt"));

    for (int outside : {-1, 28, 119, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        EXPECT_TRUE(tokens.dataString(static_cast<DataType>(outside)).isEmpty());
        EXPECT_TRUE(tokens.dataAssignment(static_cast<DataType>(outside)).isEmpty());
        EXPECT_EQ(tokens.operatorString(static_cast<Token::HSLOperator>(outside)).isEmpty(), outside != 28);
    }
}

TEST_F(ProgramText, TokenTableFillsForProfile1Only) {
    HSLToken tokens;
    EXPECT_EQ(tokens.profile(), 1U);
    tokens.initialize(2);
    EXPECT_EQ(tokens.profile(), 2U);
    EXPECT_TRUE(tokens.dataString(kFloat4).isEmpty());
    tokens.initialize(1);
    EXPECT_EQ(tokens.dataString(kFloat4), "float4 %s");
    tokens.initialize(3);
    EXPECT_EQ(HSLToken(tokens).profile(), 3U);
    EXPECT_EQ(HSLToken(tokens).operatorString(Token::kSin), "sin(%s)");
}

TEST_F(ProgramText, ConnectorsWriteTheirMembers) {
    EXPECT_TRUE(fInput.stringValue().isEmpty());
    fInput.addItem({kFloat3, "normal", nullptr});
    fInput.addItem({kFloat2, "uv0", nullptr});
    HSLVtx2FragConnector output(nullptr);
    output.addItem({kFloat4, "color0", nullptr});
    std::string text = built(fInput) + built(output);
    EXPECT_EQ(fInput.findItem("uv0")->stringValue(), "float2 uv0;"); // rebuilt in place

    fInput.clear();
    fInput.setTypeName("Odd%s");
    for (const HSLApp2VtxConnectItem& item : {HSLApp2VtxConnectItem(kClampu3, "mask", nullptr),
                                              {kVoid, "x", nullptr},
                                              {kInt3, "", nullptr},
                                              {kMatrix3, "basis", nullptr},
                                              {static_cast<DataType>(99), "y", nullptr},
                                              {kHalf4, "a%sb%n", nullptr},
                                              {kHalf4, "a%sb%n", nodeNumber(1)}}) {
        EXPECT_TRUE(fInput.addItem(item));
    }
    const CString noName;
    text += built(fInput) + built(HSLVtx2FragConnector(&noName));

    for (bool floatOutput : {false, true}) {
        HSLFragmentProgram program("", output, nullptr, floatOutput);
        EXPECT_TRUE(program.frag2FBConnectorString().isEmpty());
        program.buildF2FConnector();
        text += program.frag2FBConnectorString().asChar();
    }
    EXPECT_EQ(text, expectedText("connectors.txt"));
}

template <class Connector, class Item>
void checkItems(const char* defaultName) {
    Connector connector(nullptr);
    EXPECT_TRUE(connector.addItem(Item(kFloat3, "a", nodeNumber(1))));
    EXPECT_FALSE(connector.addItem(Item(kFloat3, "a", nodeNumber(1))));
    EXPECT_TRUE(connector.addItem(Item(kFloat3, "a", nodeNumber(2))));
    EXPECT_TRUE(connector.addItem(Item(kFloat4, "a", nodeNumber(1))));
    EXPECT_TRUE(connector.addItem(Item(kFloat3, "", nodeNumber(2))));
    EXPECT_EQ(connector.itemCount(), 4U);

    const Connector& constant = connector;
    EXPECT_EQ(constant.findItem("a")->dataNodePtr(), nodeNumber(1));
    EXPECT_EQ(constant.findItem("a")->dataType(), kFloat3);
    EXPECT_EQ(connector.findItem(""), constant.findItem(CString()));
    EXPECT_EQ(connector.findItem(nodeNumber(2))->logicalName(), "a");
    EXPECT_EQ(constant.findItem(nodeNumber(3)), nullptr);
    EXPECT_EQ(connector.findItem("A"), nullptr);

    // Items stay where they are while others are added.
    const Item* first = constant.findItem("a");
    for (unsigned char name[] = "aa"; name[1] <= 'z'; ++name[1]) {
        connector.addItem(Item(kFloat, reinterpret_cast<const char*>(name), nullptr));
    }
    EXPECT_EQ(constant.findItem("a"), first);
    EXPECT_EQ(connector.itemCount(), 30U);

    connector.clear();
    EXPECT_EQ(connector.itemCount(), 0U);
    EXPECT_EQ(connector.findItem("a"), nullptr);
    EXPECT_EQ(connector.typeName(), defaultName);
}

TEST_F(ProgramText, ConnectorsKeepEqualItemsOnce) {
    checkItems<HSLApp2VtxConnector, HSLApp2VtxConnectItem>("AVC");
    checkItems<HSLVtx2FragConnector, HSLVtx2FragConnectItem>("VFC");

    const HSLApp2VtxConnectItem item(kFloat3, "a", nodeNumber(1));
    const HSLApp2VtxConnectItem sameName(kFloat4, "a", nodeNumber(2));
    const HSLApp2VtxConnectItem sameNode(kFloat3, "b", nodeNumber(1));
    EXPECT_TRUE(HSLApp2VtxConnectItem::matchesName(item, sameName));
    EXPECT_FALSE(HSLApp2VtxConnectItem::matchesName(item, sameNode));
    EXPECT_FALSE(HSLApp2VtxConnectItem::matchesDagNode(item, sameName));
    EXPECT_TRUE(HSLApp2VtxConnectItem::matchesDagNode(item, sameNode));
}

TEST_F(ProgramText, UniformsTakeWhatAParameterCanBe) {
    for (int i = -1; i <= 28; ++i) {
        const auto type = static_cast<DataType>(i);
        const bool refused = i == 0 || i == 1 || i == 2 || (i >= 11 && i <= 14) || i == 18;
        EXPECT_EQ(HSLProgramUniformItem(type, "u", nullptr).dataType(), refused ? kInvalidDataType : type)
            << i;
    }
    EXPECT_EQ(built(HSLProgramUniformItem(kFloat4, "lightColor", nullptr)), "float4 lightColor");
    EXPECT_EQ(built(HSLProgramUniformItem(kTexObj2D, "name", nullptr)), "texobj2D name");
    EXPECT_EQ(built(HSLProgramUniformItem(kInt2, "name", nullptr)), "INVALID");
}

TEST_F(ProgramText, ConstantsWriteTheirInitialiser) {
    const float infinity = std::numeric_limits<float>::infinity();
    const float one[] = {1, 0.5F, 0, 1, 0};
    const float identity[] = {1, 0, 0, 1};
    const float small[] = {-0.001F, 0.00001F};
    const float digits[] = {0.1F, 1.0F / 3, 1234567};
    const float odd[] = {std::nanf(""), -infinity, infinity, -0.0F};
    const float large = 1e10F;
    float counted[16];
    for (int i = 0; i < 16; ++i) {
        counted[i] = static_cast<float>(i);
    }
    const struct {
        const char* name;
        DataType type;
        bool withInitialiser;
        const float* values;
    } rows[] = {
        {"k0", kFloat4, false, one},     {"m", kMatrix2, true, identity}, {"k1", kFloat3, false, nullptr},
        {"k", kFloat2, true, nullptr},   {"b", kBool, true, one},         {"h", kHalf, true, one},
        {"x", kFloat, true, &large},     {"y", kFloat2, true, small},     {"z", kFloat3, true, digits},
        {"n", kMatrix3, false, counted}, {"w", kMatrix4, true, counted},  {"i", kFloat, true, &infinity},
        {"%s", kFloat4, true, odd},
    };
    std::string text;
    for (const auto& row : rows) {
        HSLProgramConstant constant(row.type, row.name, row.withInitialiser);
        const bool isVector = row.type >= kFloat && row.type <= kFloat4;
        const bool isMatrix = row.type >= kMatrix2 && row.type <= kMatrix4;
        EXPECT_EQ(constant.logicalName(), row.name);
        EXPECT_EQ(constant.assignArray(row.values, 0), isVector && row.values) << row.name;
        EXPECT_EQ(constant.assignMatrix(row.values, 99), isMatrix && row.values) << row.name;
        text += built(constant) + "\n";
    }
    EXPECT_EQ(text, expectedText("constants.txt"));
}

TEST_F(ProgramText, VertexInstructions) {
    const struct {
        int op;
        const char* name;
        DataType type;
        bool toOutput;
        const char* text;
    } rows[] = {
        {Token::kAdd, "t0", kFloat4, false, "float4 t0 = (%s + %s);"},
        {Token::kSmoothStep, "t0", kMatrix2, false, "float t0[2][2] = smoothstep(%s,%s,%s);"},
        {Token::kTex1D_f1, "t1", kFloat4, false, "float4 t1;"},
        {Token::kTexRECTGrad_x4 + 1, "t1", kFloat4, false, "float4 t1;"},
        {Token::kNoOperator, "t1", kFloat4, false, "float4 t1;"},
        {-2, "t1", kFloat4, false, "float4 t1;"},
        {Token::kCos, "c", kFloat, false, "float c;"},
        {Token::kSin, "", kTexObj, false, "INVALID = sin(%s);"},
        {Token::kSin, "%s%n", kFloat, false, "float %s%n = sin(%s);"},
        {Token::kSin, "t", static_cast<DataType>(28), false, " = sin(%s);"},
        {Token::kMultiply, "color0", kVoid, true, "outputConnector.color0 = (%s * %s;"},
        {Token::kNoOperator, "uv", kVoid, true, "outputConnector.uv;"},
        {Token::kAbs, "absent", kFloat4, true, " = abs(%s);"},
    };
    for (const auto& row : rows) {
        HSLVertexProgramInstruction instruction(static_cast<Token::HSLOperator>(row.op), row.name, row.type,
                                                row.toOutput ? &fOutput : nullptr);
        EXPECT_EQ(built(instruction), row.text);
    }
}

TEST_F(ProgramText, FragmentInstructions) {
    const struct {
        int op;
        int mask;
        const char* text;
    } writes[] = {
        {Token::kTex2D_f3, FragmentInstruction::kWriteHalfColor,
         "half outputConnector.color = f3tex2D(%s, %s);"},
        {Token::kAdd, FragmentInstruction::kWriteDepth, "float outputConnector.depth = (%s + %s);"},
        {Token::kAdd, FragmentInstruction::kWriteFloatColor, "float outputConnector.color = (%s + %s);"},
        {Token::kAdd, FragmentInstruction::kWriteFloatDepth, "float outputConnector.depth = (%s + %s);"},
        {Token::kTexCUBEGrad_f1, 4, "INVALID = x1texCUBE(%s, %s, %s, %s);"},
        {Token::kAdd, -1, "INVALID = (%s + %s);"},
        {Token::kNoOperator, FragmentInstruction::kWriteDepth, "INVALID;"},
        {-2, FragmentInstruction::kWriteDepth, "float outputConnector.depth;"},
        {119, FragmentInstruction::kWriteDepth, "float outputConnector.depth;"},
    };
    for (const auto& row : writes) {
        const auto op = static_cast<Token::HSLOperator>(row.op);
        const auto mask = static_cast<FragmentInstruction::FragmentWriteMask>(row.mask);
        EXPECT_EQ(built(FragmentInstruction(op, mask)), row.text);
    }
    EXPECT_EQ(built(FragmentInstruction(kFloat4, "t", Token::kTex2D_x3)), "float4 t = x4tex2D(%s, %s);");
    EXPECT_EQ(built(FragmentInstruction(kHalf, "%s", Token::kTex2D_x4)), "half %s;");
    EXPECT_EQ(built(FragmentInstruction(kFloat4, "t", Token::kNoOperator)), "INVALID;");
    EXPECT_TRUE(FragmentInstruction(kFloat4, "t", Token::kNoOperator).logicalName().isEmpty());
}

TEST_F(ProgramText, VertexPrograms) {
    std::vector<HSLProgramUniformItem> uniforms = {{kMatrix4, "mvp", nullptr}};
    HSLVertexProgram program("", fInput, &uniforms, fOutput);
    HSLProgramConstant red(kFloat4, "k0", true);
    red.assignArray(fRed, 4);
    EXPECT_TRUE(program.addConstant(red));
    EXPECT_TRUE(program.addInstruction({Token::kAdd, "t0", kFloat4, nullptr}));
    HSLVertexProgram copy = program; // with lists of its own, but the same uniforms
    EXPECT_TRUE(program.addInstruction({Token::kMultiply, "color0", kBool, &fOutput}));
    std::string text = built(program);
    EXPECT_EQ(text, built(program)); // again, the same
    EXPECT_EQ(uniforms[0].stringValue(), "float mvp[4][4]");
    EXPECT_EQ(built(copy).size() + std::string("\toutputConnector.color0 = (%s * %s;\n").size(), text.size());

    std::vector<HSLProgramUniformItem> none;
    text += built(HSLVertexProgram("bare", fInput, &none, fOutput));
    EXPECT_EQ(built(HSLVertexProgram("bare", fInput, nullptr, fOutput)),
              built(HSLVertexProgram("bare", fInput, &none, fOutput)));

    fInput.setTypeName("A%d");
    fOutput.setTypeName("V%s");
    uniforms = {{kTexObj2D, "map", nullptr}, {kInt, "i", nullptr}, {kFloat4, "c%s", nullptr}};
    HSLVertexProgram odd("p%n", fInput, &uniforms, fOutput);
    odd.addInstruction({Token::kTex2D_f4, "t1", kFloat4, nullptr});
    EXPECT_EQ(text + built(odd), expectedText("vertex_programs.txt"));
}

TEST_F(ProgramText, FragmentPrograms) {
    HSLFragmentProgram lookup("", fOutput, nullptr, false);
    lookup.addInstruction({static_cast<Token::HSLOperator>(72), FragmentInstruction::kWriteHalfColor});
    std::string text = built(lookup);

    std::vector<HSLProgramUniformItem> uniforms = {{kTexObj2D, "map", nullptr}, {kFloat4, "tint", nullptr}};
    HSLFragmentProgram shade("shade", fOutput, &uniforms, true);
    HSLProgramConstant red(kFloat4, "k0", true);
    red.assignArray(fRed, 4);
    EXPECT_TRUE(shade.addConstant(red));
    EXPECT_TRUE(shade.addConstant(HSLProgramConstant(kFloat2, "k1", false)));
    EXPECT_TRUE(shade.addInstruction({kFloat4, "t0", Token::kTex2D_f4}));
    EXPECT_TRUE(shade.addInstruction({Token::kMultiply, FragmentInstruction::kWriteFloatColor}));
    text += built(shade);
    EXPECT_TRUE(shade.frag2FBConnectorString().isEmpty());

    text += built(HSLFragmentProgram("bare", fOutput, nullptr, false));
    EXPECT_EQ(text, expectedText("fragment_programs.txt"));
}

TEST_F(ProgramText, ProgramsWithoutConnectorsAreEmpty) {
    struct NoVertexProgram : HSLVertexProgram {};
    struct NoFragmentProgram : HSLFragmentProgram {};
    NoVertexProgram vertex;
    vertex.addInstruction({Token::kAdd, "t0", kFloat4, nullptr});
    EXPECT_EQ(built(vertex), "");
    HSLVertexProgram& assigned = vertex;
    assigned = HSLVertexProgram("v", fInput, nullptr, fOutput);
    EXPECT_NE(built(vertex), "");
    EXPECT_EQ(built(NoFragmentProgram()), "");
}

class FilledConvertor : public HSLConvertor {
public:
    explicit FilledConvertor(std::string& destroyed) {
        static const CString name("n");
        createAVConnector(&name);
        createVertexProgram(&name);
        createVFConnector(nullptr);
        createFragmentProgram(nullptr);
        EXPECT_EQ(texts(), "|||");
        EXPECT_FALSE(fsTokensInitialized);
        fAVConnector = new Watched<HSLApp2VtxConnector>("AV ", destroyed, nullptr);
        fVertexUniforms = new std::vector<HSLProgramUniformItem>;
        fVFConnector = new Watched<HSLVtx2FragConnector>("VF ", destroyed, nullptr);
        fVertexProgram = new Watched<HSLVertexProgram>("vertex ", destroyed, "", *fAVConnector,
                                                       fVertexUniforms, *fVFConnector);
        fFragmentUniforms = new std::vector<HSLProgramUniformItem>(3, {kFloat, "u", nullptr});
        fFragmentProgram = new Watched<HSLFragmentProgram>("fragment ", destroyed, "", *fVFConnector,
                                                           fFragmentUniforms, true);
        fVertexCounter = 3;
        fFragmentCounter = 4;
        EXPECT_EQ(texts(), "|||"); // not built yet
        fVFConnector->buildStringValue();
        EXPECT_EQ(texts(), "||vertex2fragment connector VFC {\n    float4 HPOS;\n}\n|");
    }

    std::string texts() const {
        CString text;
        text.format("%s|%s|%s|%s", avConnectorString().asChar(), vertexProgramString().asChar(),
                    vfConnectorString().asChar(), fragmentProgramString().asChar());
        return text.asChar();
    }
    bool holdsNothing() const {
        return !fAVConnector && !fVertexUniforms && !fVertexProgram && !fVertexCounter && !fVFConnector &&
               !fFragmentUniforms && !fFragmentProgram && !fFragmentCounter;
    }

private:
    template <class Object>
    struct Watched : Object {
        template <class... Arguments>
        Watched(const char* name, std::string& destroyed, Arguments&&... arguments)
            : Object(std::forward<Arguments>(arguments)...), fWatchedName(name), fDestroyed(destroyed) {}
        ~Watched() override { fDestroyed += fWatchedName; }
        const char* fWatchedName;
        std::string& fDestroyed;
    };
};

TEST_F(ProgramText, ConvertorCleansUpInOrder) {
    std::string destroyed;
    {
        FilledConvertor convertor(destroyed);
        convertor.cleanup();
        EXPECT_EQ(destroyed, "AV vertex VF fragment ");
        EXPECT_TRUE(convertor.holdsNothing());
        EXPECT_EQ(convertor.texts(), "|||");
        convertor.cleanup();
    }
    { FilledConvertor convertor(destroyed); }
    EXPECT_EQ(destroyed, "AV vertex VF fragment AV vertex VF fragment ");
}

TEST_F(ProgramText, ConvertorConvertsNothing) {
    struct Named : HSLConvertor {
        using HSLConvertor::ffConnectorName;
        using HSLConvertor::HSLConvertor;
    };
    const std::string path = QV_TEST_OUTPUT "never_written.txt";
    std::remove(path.c_str());
    Named plain;
    EXPECT_FALSE(plain.convert());
    EXPECT_TRUE(plain.conversionString().isEmpty());
    EXPECT_FALSE(plain.writeToFile(path.c_str()));
    EXPECT_FALSE(std::ifstream(path));
    EXPECT_EQ(plain.ffConnectorName(), "fragout");
    const Named wide(1, true);
    EXPECT_EQ(wide.ffConnectorName(), "fragout_float");
    IShadingDagConvertor& converter = plain;
    converter = wide; // copies nothing
    EXPECT_EQ(plain.ffConnectorName(), "fragout");
    plain = Named(wide);
    EXPECT_EQ(plain.ffConnectorName(), "fragout_float");
}

} // namespace
