#include "AllocationSweep.h"
#include "hsl/HSLConvertor.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

const char* const kLongName = "aNameThatDoesNotFitIntoTheStringItself";

/// A program pair with all that belongs to it.
struct Programs {
    Programs() {
        input.addItem({kFloat3, kLongName, nullptr});
        output.addItem({kFloat4, "color0", nullptr});
        vertex.addConstant(constant());
        vertex.addInstruction({HSLToken::kAdd, kLongName, kFloat4, nullptr});
        fragment.addInstruction({HSLToken::kMultiply, HSLFragmentProgramInstruction::kWriteFloatColor});
        fragment.buildF2FConnector();
        text();
    }

    static HSLProgramConstant constant() {
        const float values[] = {0.123456F, 2, 3, 4};
        HSLProgramConstant result(kFloat4, kLongName, true);
        result.assignArray(values, 4);
        return result;
    }

    /// Everything as text, as it was built last and built afresh.
    std::string text() {
        std::string result = vertex.stringValue().asChar();
        result += fragment.stringValue().asChar();
        for (HSLStringContainer* part :
             {static_cast<HSLStringContainer*>(&input), static_cast<HSLStringContainer*>(&output),
              static_cast<HSLStringContainer*>(&vertex), static_cast<HSLStringContainer*>(&fragment)}) {
            part->buildStringValue();
            result += part->stringValue().asChar();
        }
        return result + fragment.frag2FBConnectorString().asChar();
    }

    HSLConvertor convertor; // fills the token table
    HSLApp2VtxConnector input{nullptr};
    HSLVtx2FragConnector output{nullptr};
    std::vector<HSLProgramUniformItem> uniforms{{kMatrix4, "modelViewProjection", nullptr}};
    HSLVertexProgram vertex{kLongName, input, &uniforms, output};
    HSLFragmentProgram fragment{kLongName, output, &uniforms, true};
};

TEST(Memory, WithoutItProgramsAreAsTheyWere) {
    const std::function<void(Programs&)> changes[] = {
        [](Programs& p) {
            p.input.addItem({kFloat2, kLongName, nullptr});
        },
        [](Programs& p) {
            p.output.addItem({kFloat2, kLongName, nullptr});
        },
        [](Programs& p) { p.input.setTypeName(kLongName); },
        [](Programs& p) { p.vertex.addConstant(Programs::constant()); },
        [](Programs& p) {
            p.vertex.addInstruction({HSLToken::kSin, "color0", kVoid, &p.output});
        },
        [](Programs& p) { p.fragment.addConstant(Programs::constant()); },
        [](Programs& p) {
            p.fragment.addInstruction({kFloat4, kLongName, HSLToken::kTex2D_x3});
        },
        [](Programs& p) {
            p.uniforms.push_back({kTexObj2D, kLongName, nullptr});
        },
        [](Programs& p) { p.input.buildStringValue(); },
        [](Programs& p) { p.vertex.buildStringValue(); },
        [](Programs& p) { p.fragment.buildStringValue(); },
        [](Programs& p) { p.fragment.buildF2FConnector(); },
        [](Programs& p) { const HSLVertexProgram copy(p.vertex); },
        [](Programs& p) { HSLFragmentProgram("", p.output, nullptr, false) = p.fragment; },
    };
    Programs model;
    const std::string before = model.text();
    for (const auto& change : changes) {
        Programs changed;
        change(changed);
        const std::string after = changed.text();
        int refused = 0;
        for (AllocationSweep sweep; sweep.next();) {
            Programs programs;
            const bool done = sweep.run([&] { change(programs); });
            refused += done ? 0 : 1;
            EXPECT_EQ(programs.text(), done ? after : before) << &change - changes;
        }
        EXPECT_GT(refused, 0) << &change - changes;
    }
}

} // namespace
