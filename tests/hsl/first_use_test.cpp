// What holds before and at the first use of the process-wide items: one test, in a process of its own.

#include "hsl/HSLConvertor.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string built(HSLStringContainer& container) {
    container.buildStringValue();
    return container.stringValue().asChar();
}

TEST(FirstUse, FillsTheTableAndTheClassWideItemsOnce) {
    // Another profile than 1 leaves the table empty: programs are written without its words.
    { const HSLConvertor other(2, true); }
    EXPECT_EQ(HSLToken::hslTokens.profile(), 2U);
    EXPECT_TRUE(HSLToken::hslTokens.dataString(kFloat4).isEmpty());
    HSLVtx2FragConnector early(nullptr);
    EXPECT_TRUE(early.typeName().isEmpty());
    EXPECT_EQ(built(early), " \n    ;\n\n");
    HSLFragmentProgram program("p", early, nullptr, false);
    EXPECT_EQ(built(program), "   p ( \n\t \n\n\n\t \n\t ;\n\n");

    { const HSLConvertor first; }
    EXPECT_EQ(HSLToken::hslTokens.dataString(kFloat4), "float4 %s");
    { const HSLConvertor other(2, false); }
    EXPECT_EQ(HSLToken::hslTokens.profile(), 2U);
    EXPECT_EQ(HSLToken::hslTokens.dataString(kFloat4), "float4 %s");

    // No item has been constructed yet.
    HSLApp2VtxConnector input(nullptr);
    HSLVtx2FragConnector output(nullptr);
    EXPECT_EQ(built(input), "application2vertex connector AVC {\n    INVALID;\n}\n");
    EXPECT_EQ(built(output), "vertex2fragment connector VFC {\n    INVALID;\n}\n");

    EXPECT_EQ(HSLApp2VtxConnectItem::fsVertexPosition.stringValue(), "INVALID;");
    const HSLApp2VtxConnectItem firstInput(kFloat, "a", nullptr);
    EXPECT_TRUE(HSLApp2VtxConnectItem::fsVertexPosition.stringValue().isEmpty());
    EXPECT_EQ(built(input), "application2vertex connector AVC {\n    float3 vertexPosition;\n}\n");
    EXPECT_EQ(HSLApp2VtxConnectItem::fsModelViewMatrix.logicalName(), "projectionMtx");
    EXPECT_EQ(HSLApp2VtxConnectItem::fsModelViewMatrix.dataType(), kMatrix4);
    EXPECT_TRUE(HSLApp2VtxConnectItem::fsProjectionMatrix.logicalName().isEmpty());
    EXPECT_EQ(HSLApp2VtxConnectItem::fsProjectionMatrix.dataType(), kInvalidDataType);
    EXPECT_EQ(HSLVtx2FragConnectItem::fsHPosition.dataType(), kInvalidDataType);

    const HSLVtx2FragConnectItem firstOutput(kFloat, "a", nullptr);
    EXPECT_EQ(built(output), "vertex2fragment connector VFC {\n    float4 HPOS;\n}\n");

    // Later items leave the class-wide ones as the host may have changed them.
    HSLVtx2FragConnectItem::fsHPosition = HSLVtx2FragConnectItem(kHalf4, "clip", nullptr);
    const HSLVtx2FragConnectItem later(kFloat, "b", nullptr);
    EXPECT_EQ(HSLVtx2FragConnectItem::fsHPosition.logicalName(), "clip");
}

} // namespace
