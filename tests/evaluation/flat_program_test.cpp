#include "evaluation/FlatProgram.h"

#include "SourceFile.h"
#include "core/Exception.h"
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/ShadingParser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

using namespace qvShadingDag;

namespace {

void read(const std::string& path) {
    ShadingParser parser;
    if (!parser.parseFile(path, false)) {
        throw Exception(parser.errorString());
    }
}

// "0 input x; 1 sin(float) 0 @vertex": number, operation, the values read and the floor of every
// node, and behind a bar the values of the outputs.
std::string textOf(const FlatProgram& program) {
    std::string text;
    for (FlatProgram::Index i = 0; i < program.nodes.size(); ++i) {
        const FlatProgram::Node& node = program.nodes[i];
        EXPECT_EQ(program.valueNode[node.firstValue], i);
        text += std::to_string(node.firstValue) + " " + operationText(program, i);
        for (FlatProgram::Index a = 0; a < node.argumentCount; ++a) {
            EXPECT_LT(program.valueNode[program.arguments[node.firstArgument + a]], i);
            text += " " + std::to_string(program.arguments[node.firstArgument + a]);
        }
        text += node.floor > kConstantFreq ? " @" + compFreqName(node.floor) : "";
        text += node.lightSpecific ? " light" : "";
        text += "; ";
    }
    text += "|";
    for (const FlatProgram::Output& output : program.outputs) {
        text += " " + output.name + "=" +
                (output.value == FlatProgram::kNone ? "none" : std::to_string(output.value));
    }
    return text;
}

class FlatPrograms : public testing::Test {
protected:
    ~FlatPrograms() override { ShadingNodeSpec::clearLibrary(); }

    static ShadingNodeSpec& parse(const std::string& source, const std::string& name = "f") {
        ShadingNodeSpec::clearLibrary();
        read(writeSource("flat.qvs", "float operator+(float a, float b);\n"
                                     "float sin(float x);\n"
                                     "float split(float x, out float rest);\n"
                                     "fragment float ddx(float x);\n" +
                                         source));
        return *ShadingNodeSpec::findSpecInLibrary(name);
    }
};

TEST_F(FlatPrograms, HoldTheBodiesOfAllCalls) {
    const struct {
        const char* source;
        const char* text;
        const char* merged; // what is left without unread and equal nodes
    } rows[] = {
        {"float f(float a, float unread) { return sin(a) + sin(a); }",
         "0 a; 1 unread; 2 sin(float) 0; 3 sin(float) 0; 4 operator+(float,float) 2 3; | output=4",
         "0 a; 1 sin(float) 0; 2 operator+(float,float) 1 1; | output=2"},
        {"float f(float a) { return 0.5 + 0.5; }",
         "0 a; 1 0.5; 2 0.5; 3 operator+(float,float) 1 2; | output=3",
         "0 0.5; 1 operator+(float,float) 0 0; | output=1"},
        {"void f(float a, out float part, out float rest) { part = split(a, rest); }",
         "0 a; 1 split(float,float) 0; | part=1 rest=2", "0 a; 1 split(float,float) 0; | part=1 rest=2"},
        {"float g(float a) { return sin(a); }\n"
         "float h(float a) { return g(a) + g(1); }\n"
         "float f(float a) { return h(h(a)); }",
         "0 a; 1 sin(float) 0; 2 1; 3 sin(float) 2; 4 operator+(float,float) 1 3; "
         "5 sin(float) 4; 6 1; 7 sin(float) 6; 8 operator+(float,float) 5 7; | output=8",
         "0 a; 1 sin(float) 0; 2 1; 3 sin(float) 2; 4 operator+(float,float) 1 3; "
         "5 sin(float) 4; 6 operator+(float,float) 5 3; | output=6"},
        {"void f(float a, out float same, out float never) { same = a; }", "0 a; | same=0 never=none",
         "0 a; | same=0 never=none"},
    };
    for (const auto& row : rows) {
        FlatProgram program = flatten(parse(row.source));
        EXPECT_EQ(textOf(program), row.text) << row.source;
        dropUnread(program);
        mergeEqual(program);
        EXPECT_EQ(textOf(program), row.merged) << row.source;
        EXPECT_EQ(program.inputs.size(), ShadingNodeSpec::findSpecInLibrary("f")->numInputs());
        for (const FlatProgram::Input& input : program.inputs) {
            EXPECT_TRUE(input.node == FlatProgram::kNone ||
                        program.nodes[input.node].kind == FlatProgram::kInput);
        }
    }
}

TEST_F(FlatPrograms, KeepTheLevelsThatCallsAskFor) {
    const struct {
        const char* source;
        const char* text;
    } rows[] = {
        // The primitive's own, whatever it reads.
        {"float f(float a) { return ddx(a) + ddx(1); }",
         "0 a; 1 ddx(float) 0 @fragment; 2 1; 3 ddx(float) 2 @fragment; 4 operator+(float,float) 1 3; "
         "| output=4"},
        // One output: every node that depends on an argument, none that does not.
        {"vertex float g(float a) { return sin(a) + sin(1); }\nfloat f(float a) { return g(a) + sin(a); }",
         "0 a; 1 sin(float) 0 @vertex; 2 1; 3 sin(float) 2; 4 operator+(float,float) 1 3 @vertex; "
         "5 sin(float) 0; 6 operator+(float,float) 4 5; | output=6"},
        // Nothing comes from the whole function, also where it is called elsewhere.
        {"fragment float f(float a) { return sin(a); }", "0 a; 1 sin(float) 0; | output=1"},
        // Through calls: only what depends on the argument of the call that asks.
        {"float h(float a) { return sin(a) + 1; }\n"
         "fragment float g(float a) { return h(a) + h(2); }\n"
         "vertex float e(float a) { return g(3) + h(a); }\nfloat f(float a) { return e(a); }",
         "0 a; 1 3; 2 sin(float) 1 @fragment; 3 1; 4 operator+(float,float) 2 3 @fragment; "
         "5 2; 6 sin(float) 5; 7 1; 8 operator+(float,float) 6 7; 9 operator+(float,float) 4 8 @fragment; "
         "10 sin(float) 0 @vertex; 11 1; 12 operator+(float,float) 10 11 @vertex; "
         "13 operator+(float,float) 9 12 @vertex; | output=13"},
        // The higher of two levels holds, whichever call is the outer one.
        {"vertex float h(float a) { return sin(a); }\nfragment float g(float a) { return h(a); }\n"
         "vertex float e(float a) { return g(a) + a; }\nfloat f(float a) { return e(a); }",
         "0 a; 1 sin(float) 0 @fragment; 2 operator+(float,float) 1 0 @vertex; | output=2"},
        // An argument that is passed through gets a node of its own.
        {"vertex float g(float a) { return a; }\nfragment float h(float a) { return g(a); }\n"
         "float f(float a) { return h(a) + g(1); }",
         "0 a; 1 identity 0 @fragment; 2 1; 3 identity 2 @vertex; 4 operator+(float,float) 1 3; | output=4"},
        // Several outputs: the node that feeds each.
        {"void g(float a, out fragment float p, out float q, out vertex float r)"
         "{ q = sin(a); p = q + a; r = a; }\n"
         "float f(float a) { float p; float q; float r; g(a, p, q, r); return p + q + r; }",
         "0 a; 1 sin(float) 0; 2 operator+(float,float) 1 0 @fragment; 3 identity 0 @vertex; "
         "4 operator+(float,float) 2 1; 5 operator+(float,float) 4 3; | output=5"},
    };
    for (const auto& row : rows) {
        FlatProgram program = flatten(parse(row.source));
        EXPECT_EQ(textOf(program), row.text) << row.source;
        // Merging keeps levels apart.
        mergeEqual(program);
        int floors = 0;
        for (const FlatProgram::Node& node : program.nodes) {
            floors += node.floor > kConstantFreq;
        }
        const std::string text = row.text;
        EXPECT_EQ(floors, std::count(text.begin(), text.end(), '@')) << row.source;
    }
}

TEST_F(FlatPrograms, RefuseWhatHasNoValue) {
    const auto thrown = [](const ShadingNodeSpec& spec) {
        try {
            flatten(spec);
        } catch (const Exception& error) {
            return error.message;
        }
        return std::string("nothing");
    };
    EXPECT_EQ(thrown(parse("void g(float a, out float same, out float never) { same = a; }\n"
                           "float f(float a) { float s; float n; g(a, s, n); return sin(n); }")),
              "Output is not connected: never of g");
    EXPECT_EQ(thrown(parse("void g(float a, out float same, out float never) { same = a; }\n"
                           "float f(float a) { float s; float n; g(a, s, n); return sin(s); }")),
              "nothing");

    // What only a host can build: a call without an argument, a function that calls itself.
    ShadingNodeSpec& f = parse("float f(float a) { return sin(a); }");
    const auto nodeOf = [](const ShadingNodeSpec& spec) {
        ShadingNodeSpec::NodeIterator first;
        ShadingNodeSpec::NodeIterator last;
        for (spec.internalNodes(first, last); !(*first)->isCall(); ++first) {
        }
        return *first;
    };
    ShadingNode* call = nodeOf(f);
    call->incomingLinks().front()->setDestAttrName("y");
    EXPECT_EQ(thrown(f), "Input is not connected: x of sin");
    call->incomingLinks().front()->setDestAttrName("x");

    // What a link reads must be an output of the call, and what feeds a call must have a value.
    ShadingNodeSpec& late = parse("float f(float a) { return sin(sin(a)); }");
    nodeOf(late)->setOutput(kFloat, "late");
    EXPECT_EQ(thrown(late), "Node 2 of f has no value to read: late");
    ShadingNodeSpec& links = parse("void f(float a, out float rest) { float part = split(a, rest); }");
    nodeOf(links)->setOperator(ShadingNodeSpec::findSpecInLibrary("sin"));
    EXPECT_EQ(thrown(links), "The value that is read from a call of sin is none of its outputs");
    ShadingNodeSpec& nothing = parse("float f(float a) { return sin(sin(a)); }");
    nodeOf(nothing)->setConstant(TypedConstant());
    EXPECT_EQ(thrown(nothing), "A constant of f holds no value");

    ShadingNodeSpec& g = parse("float g(float x) { return sin(x); }\nfloat h(float a) { return g(a); }", "g");
    nodeOf(g)->setOperator(ShadingNodeSpec::findSpecInLibrary("h"));
    nodeOf(g)->incomingLinks().front()->setDestAttrName("a");
    nodeOf(g)->addOutputCompFreqRange("output", CompFreqRange());
    EXPECT_EQ(thrown(*ShadingNodeSpec::findSpecInLibrary("h")), "Function calls itself: h");

    std::string source = "float f0(float a) { return sin(a); }\n";
    for (int i = 1; i <= 30; ++i) {
        const std::string before = "f" + std::to_string(i - 1);
        source += "float f" + std::to_string(i) + "(float a) { return " + before + "(" + before + "(a)); }\n";
    }
    EXPECT_EQ(thrown(parse(source, "f30")), "Expansion gives more than 16777216 nodes: f30");
    EXPECT_EQ(flatten(*ShadingNodeSpec::findSpecInLibrary("f12")).nodes.size(), 4097U);
}

// A chain through many functions, and one through many nodes, each on a small stack.
TEST_F(FlatPrograms, DoNotRecurse) {
    std::string source = "float f0(float a) { return sin(a); }\n";
    constexpr int kFunctions = 5000;
    for (int i = 1; i <= kFunctions; ++i) {
        source +=
            "float f" + std::to_string(i) + "(float a) { return sin(f" + std::to_string(i - 1) + "(a)); }\n";
    }
    FlatProgram program = flatten(parse(source, "f" + std::to_string(kFunctions)));
    EXPECT_EQ(program.nodes.size(), kFunctions + 2U);

    ShadingNodeSpec& f = parse("float f(float a);", "f");
    std::unique_ptr<ShadingNodeSpec> chain(ShadingNodeSpec::createNew(kFunctionNode));
    const ShadingAttribute output = *chain->addOutput(kFloat, "output", CompFreqRange());
    ShadingAttribute value = *chain->addInput(kFloat, "a", CompFreqRange());
    for (int i = 0; i < 200000; ++i) {
        value = ShadingAttribute(chain->addInternalNode(f.name(), {value}), "output");
    }
    chain->connectOutput(value, output);
    program = flatten(*chain);
    dropUnread(program);
    mergeEqual(program);
    EXPECT_EQ(program.nodes.size(), 200001U);
    EXPECT_EQ(program.callees.front().primitive, nullptr);
}

TEST_F(FlatPrograms, KnowEveryPrimitiveOfTheLibrary) {
    ShadingNodeSpec::clearLibrary();
    read(QV_STDLIB);
    ShadingNodeSpec::LibraryIterator first;
    ShadingNodeSpec::LibraryIterator last;
    int declared = 0;
    for (ShadingNodeSpec::allSpecsInLibrary(first, last); first != last; ++first) {
        const ShadingNodeSpec& spec = *first->second;
        const Primitive* primitive = findPrimitive(spec);
        EXPECT_EQ(primitive != nullptr, spec.nodeType() == kOperationNode) << signatureOf(spec);
        if (primitive) {
            ++declared;
            EXPECT_TRUE(spec.name().ends_with(primitive->name)) << signatureOf(spec);
            // A declared function is a program of its inputs and one call.
            const FlatProgram program = flatten(spec);
            EXPECT_EQ(program.nodes.size(), static_cast<std::size_t>(spec.numInputs()) + 1);
            EXPECT_EQ(program.outputs.back().value + 1, program.valueTypes.size());
        }
    }
    EXPECT_EQ(declared, 712);

    const struct {
        const char* signature;
        const char* results;
        const char* inputs;
        TextureKind texture;
    } rows[] = {
        {"operator*(float3,matrix3)", "F", "F M", kNoTexture},
        {"operator*(matrix3,float3)", "F", "M F", kNoTexture},
        {"operator*(matrix3,matrix3)", "M", "M M", kNoTexture},
        {"operator*(float,float)", "F", "F F|F float|float F", kNoTexture},
        {"operator*(clampu2,clampu2)", "C", "C C", kNoTexture},
        {"operator@(int2,int4)", "I'", "I I'", kNoTexture},
        {"log(float2,float2)", "F", "F F", kNoTexture},
        {"modf(float2,float2)", "F F", "F", kNoTexture},
        {"x3texCUBE(texobj,float3,float3,float3)", "T", "texobj float3 float3 float3", kTextureCUBE},
    };
    for (const auto& row : rows) {
        ShadingNodeSpec::allSpecsInLibrary(first, last);
        const auto found = std::find_if(
            first, last, [&](const auto& entry) { return signatureOf(*entry.second) == row.signature; });
        ASSERT_NE(found, last) << row.signature;
        const Primitive* primitive = findPrimitive(*found->second);
        EXPECT_STREQ(primitive->results, row.results) << row.signature;
        EXPECT_STREQ(primitive->inputs, row.inputs) << row.signature;
        EXPECT_EQ(primitive->texture, row.texture) << row.signature;
    }

    // What the library does not declare, or declares with another result.
    parse("float2 sin(float2 x, float2 y);\nint cos(float x);\nfloat dots(float x, float y);", "dots");
    for (const char* name : {"split", "cos", "dots"}) {
        EXPECT_EQ(findPrimitive(*ShadingNodeSpec::findSpecInLibrary(name)), nullptr) << name;
    }
}

} // namespace
