#include "SourceFile.h"
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/ShadingParser.h"

#include <gtest/gtest.h>

#include <memory>

using namespace qvShadingDag;

namespace {

/// What the bodies below call; one line, so that they begin on line 2.
const std::string kPrelude =
    "float operator+(float a, float b); float operator-(float a, float b); float operator*(float a, float "
    "b); "
    "float operator/(float a, float b); float operator%(float a, float b); float operator-(float a); "
    "float operator++(float a); float operator--(float a); float operator!(float a); "
    "float operator<(float a, float b); float operator>(float a, float b); float operator<=(float a, float "
    "b); "
    "float operator>=(float a, float b); float operator==(float a, float b); float operator!=(float a, float "
    "b); "
    "float operator&&(float a, float b); float operator||(float a, float b); "
    "float operator@(float a, int p); float2 operator@(float2 a, int2 p); float4 operator@(float4 a, int4 "
    "p); "
    "float f(float a); void split(float2 v, out float x, out float y); float both(out float o, float a); "
    "float operator+(float3 a, float3 b); vertex float onVertex(vertex float a); float zero();\n";

class ShadingParserTest : public testing::Test {
protected:
    /// Parses `source` and returns the error text.
    std::string parse(const std::string& source) {
        ShadingParser parser;
        const bool parsed = parser.parseFile(writeSource("parser.qvs", source), false);
        const std::string error = parser.errorString();
        EXPECT_EQ(parsed, error.empty());
        EXPECT_EQ(parser.errorString(), "") << "is empty once it was read";
        return error;
    }

    /// Every object that parsing made is gone with the library.
    void TearDown() override {
        ShadingNodeSpec::clearLibrary();
        EXPECT_EQ(TypedConstant::fsNumInstances_TypedConstant, 0);
        EXPECT_EQ(ShadingAttribute::fsNumInstances_ShadingAttribute, 0);
        EXPECT_EQ(ShadingNode::fsNumInstances_ShadingNode, 0);
        EXPECT_EQ(ShadingLink::fsNumInstances_ShadingLink, 0);
        EXPECT_EQ(ShadingNodeSpec::fsNumInstances_ShadingNodeSpec, 0);
    }
};

/// A value as a term: inputs and constants by name, calls as "name#number(arguments)".
std::string term(const ShadingLink* link) {
    const ShadingNode* node = link->sourceNode();
    std::string result = node->name();
    if (node->isCall()) {
        result = (result.rfind("operator", 0) == 0 ? result.substr(8) : result) + "#" +
                 std::to_string(node->number());
        std::string separator = "(";
        for (const ShadingLink* incoming : node->incomingLinks()) {
            result += separator + term(incoming);
            separator = ",";
        }
        result += separator == "(" ? "()" : ")";
    }
    return result +
           (link->sourceAttrName() != "output" && node->isCall() ? "." + link->sourceAttrName() : "");
}

/// What each output of the function stands for, as "name=term", with "; " between.
std::string terms(const std::string& function) {
    const ShadingNodeSpec* spec = ShadingNodeSpec::findSpecInLibrary(function);
    if (spec == nullptr) {
        return "no such function";
    }
    std::string result;
    ShadingNodeSpec::AttributeIterator output;
    ShadingNodeSpec::AttributeIterator last;
    for (spec->outputs(output, last); output != last; ++output) {
        const std::list<ShadingLink*>& links = output->nodePtr()->incomingLinks();
        result +=
            (result.empty() ? "" : "; ") + output->name() + "=" + (links.empty() ? "" : term(links.front()));
    }
    return result;
}

TEST_F(ShadingParserTest, ReadsHeaders) {
    const struct {
        const char* source;
        const char* expected; // parameters in source order, then the outputs
    } rows[] = {
        {"", ""},
        {"// only a comment", ""},
        {"/* only a comment", ""},
        {"float dropped(float a", ""},
        {"float4 operator+(float4 a, float4 b);", "operator+ 4: float4 a constant:fragment, float4 b "
                                                  "constant:fragment -> float4 output constant:fragment\n"},
        {"vertex float3 f(uniform:fragment float3 x);",
         "f 4: float3 x uniform:fragment -> float3 output vertex\n"},
        {"uniform:uniform float f();", "f 4: -> float output uniform\n"},
        {"fragment:vertex float f();", "f 4: -> float output invalid\n"},
        {"void f(float a float2 b, out constant int c,);",
         "f 4: float a constant:fragment, float2 b constant:fragment, out int c constant -> int c "
         "constant\n"},
        {"float f(out bool b, texobj t);", "f 4: out bool b constant:fragment, texobj t constant:fragment -> "
                                           "float output constant:fragment, bool b "
                                           "constant:fragment\n"},
        {"uniform float operator vertex(); float operator@(); float operator--();",
         "operator-- 4: -> float output constant:fragment\noperator@ 4: -> float output constant:fragment\n"
         "vertex 4: -> float output uniform\n"},
        {"float f() {} float f();",
         "f 5: -> float output constant:fragment\nf 4: -> float output constant:fragment\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(parse(row.source), "") << row.source;
        std::string found;
        ShadingNodeSpec::LibraryIterator entry;
        ShadingNodeSpec::LibraryIterator last;
        for (ShadingNodeSpec::allSpecsInLibrary(entry, last); entry != last; ++entry) {
            const auto describe = [](const ShadingAttribute& attribute) {
                return dataTypeName(attribute.dataType()) + " " + attribute.name() + " " +
                       attribute.compFreqRange().toString();
            };
            const ShadingNodeSpec& spec = *entry->second;
            EXPECT_TRUE(spec.isFullySpecified());
            found += spec.name() + " " + std::to_string(spec.nodeType()) + ":";
            std::string separator = " ";
            ShadingNodeSpec::ArgumentIterator argument;
            ShadingNodeSpec::ArgumentIterator lastArgument;
            for (spec.arguments(argument, lastArgument); argument != lastArgument; ++argument) {
                found +=
                    separator + (argument->first == kOutputNode ? "out " : "") + describe(argument->second);
                separator = ", ";
            }
            separator = " -> ";
            ShadingNodeSpec::AttributeIterator output;
            ShadingNodeSpec::AttributeIterator lastOutput;
            for (spec.outputs(output, lastOutput); output != lastOutput; ++output) {
                found += separator + describe(*output);
                separator = ", ";
            }
            found += "\n";
        }
        EXPECT_EQ(found, row.expected) << row.source;
        ShadingNodeSpec::clearLibrary();
    }
}

TEST_F(ShadingParserTest, BuildsGraphsFromBodies) {
    ASSERT_EQ(parse(kPrelude), "");
    const struct {
        const char* body; // of a function "float t(float a, float b, float c, float2 v)"
        const char* expected;
    } rows[] = {
        {"", "output="},
        {"return a;", "output=a"},
        {"return a; return b;", "output=b"},
        {"return a + b * c;", "output=+#6(a,*#5(b,c))"},
        {"return a - b - c;", "output=-#6(-#5(a,b),c)"},
        {"return a / (b % c);", "output=/#6(a,%#5(b,c))"},
        {"return a || b && c == a < b + c * a;", "output=||#10(a,&&#9(b,==#8(c,<#7(a,+#6(b,*#5(c,a))))))"},
        {"return a > b >= c <= a != b;", "output=!=#8(<=#7(>=#6(>#5(a,b),c),a),b)"},
        {"return - -a + !-+a;", "output=+#9(-#6(-#5(a)),!#8(-#7(a)))"},
        {"return ++a - --b; ", "output=-#7(++#5(a),--#6(b))"},
        {"return 3 - 2;", "output=-#7(3,2)"},
        {"return 3-2;", "output=3"},
        {"return (1.5e-3);", "output=0.0015"},
        // Swizzles: operand, pattern, call.
        {"return -a@x;", "output=-#7(@#6(a,0))"},
        {"float2 w = v@xg, u = {1, -2.5}; return f(3 + 1) + a;", "output=+#12(f#11(+#10(3,1)),a)"},
        {"return both(a, 1)@r;", "output=@#8(both#6(1),0)"},
        // Assignments bind from right to left; the left side has the value it had before.
        {"float x, y; x = y = a; return x + y;", "output=+#5(a,a)"},
        {"a += b; return a;", "output=+#5(a,b)"},
        {"a -= a *= a /= b %= c; return a + b;", "output=+#9(-#8(a,*#7(a,/#6(a,%#5(b,c)))),%#5(b,c))"},
        {"return a = b;", "output=b"},
        {"float x = 1, y = x + 1; { x = 2; float z = y; } return x + z;", "output=+#9(2,+#7(1,1))"},
        // The first entry of a name wins, the first of name and type where the type counts.
        {"float x = a; float x = b; return x;", "output=a"},
        {"float x = a; float2 x = {1, 2}; x = {3, 4}; x = b; return x;", "output=b"},
        {"float2 a; a = c; a = v; return a;", "output=c"},
        // Output arguments.
        {"float x, y; split(v, x, y); return x - y;", "output=-#6(split#5(v).x,split#5(v).y)"},
        {"both(b, a); return f(b) + both(b, c);", "output=+#8(f#6(both#5(a).o),both#7(c))"},
        {"f(a); zero(); return zero();", "output=zero#7()"},
        {"return f(a,);", "output=f#5(a)"},
        {"float x; float y = x; x = a; return x;", "output=a"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(parse(std::string("float t(float a, float b, float c, float2 v)\n{ ") + row.body + " }"),
                  "")
            << row.body;
        EXPECT_EQ(terms("t"), row.expected) << row.body;
        delete ShadingNodeSpec::findSpecInLibrary("t");
    }
    EXPECT_EQ(
        parse("void u(float a, out float x, out float2 y) { float2 w = {1, 2}; y = w; x = a; x = x + 1; }"),
        "");
    EXPECT_EQ(terms("u"), "x=+#5(a,1); y={1,2}");
    EXPECT_EQ(parse("void p(float4 v, out float4 x, out float4 y) { x = v@zgba; y = v@xywr; }"), "");
    EXPECT_EQ(terms("p"), "x=@#4(v,{2,1,2,3}); y=@#6(v,{0,1,3,0})");
    EXPECT_EQ(parse("void r(out float x) { x = 1; return 2; }"), "");
    EXPECT_EQ(terms("r"), "x=1") << "a return binds nothing where the output is an argument";
}

TEST_F(ShadingParserTest, ReportsTheFirstErrorAndItsPlace) {
    const struct {
        const char* source;
        const char* expected; // "line:column message"
    } rows[] = {
        // Headers are read without being consumed: the place is their first token.
        {"  float f float a);", "2:3 Expected '('"},
        {"\nfoo f();", "3:1 Token is not a valid return type"},
        {"vertex: float f();", "2:1 Expected maximum frequency specifier."},
        {"float float2();", "2:1 Invalid function name"},
        {";", "2:1 Token is not a valid return type"},
        {"float operator[(float a);", "2:1 Expected valid operator symbol"},
        {"float operator=(float a);", "2:1 Expected valid operator symbol"},
        {"float operator;", "2:1 Expected valid operator symbol"},
        {"float f(void a);", "2:1 Not a valid data type"},
        {"float f(out a);", "2:1 Not a valid data type"},
        {"float f(float;", "2:1 Expected argument name"},
        {"float f(float output);", "2:1 Expected argument name"},
        {"float f(float a;", "2:1 Not a valid data type"},
        {"void f(float a);", "2:1 Function needs at least one output."},
        {"float f(float a) 1;", "2:1 Expected semicolon"},
        {"float f(float a) 1 {", "2:1 Expected braces"},
        // Bodies are consumed as they are read.
        {"float t(float a) {", "2:19 Expected primary expression (constant, variable name or parentheses)"},
        {"float t(float a) { return a", "2:28 Expected semicolon at end of return statement"},
        {"float t(float a) { /* ",
         "2:20 Expected primary expression (constant, variable name or parentheses)"},
        {"float t(float a) { y; }", "2:20 Unexpected variable-name"},
        {"float t(float a) { y = a; }", "2:20 Unexpected variable-name"},
        {"float t(float a) { a = y; }", "2:24 Unexpected variable-name"},
        {"float t(float a) { return output; }",
         "2:27 Expected primary expression (constant, variable name or parentheses)"},
        {"float t(float a) { a a }", "2:22 Expected a semicolon at the end of statement."},
        {"float t(float a) { float 1; }", "2:26 Expecting variable identifier in variable declaration block"},
        {"float t(float a) { float x y; }",
         "2:28 Expected semicolon or comma at the end of variable declaration block"},
        {"float t(float a) { float2 x = a; }", "2:32 Variable x: cannot convert from float to float2"},
        {"float t(float a) { float x = {1,2,3,4,5}; }",
         "2:41 Variable x: cannot convert from kInvalidDataType to float"},
        {"float t(float a) { float x = a = a; }",
         "2:32 Expected semicolon or comma at the end of variable declaration block"},
        {"void t(out float a, out float b) { return a; }",
         "2:36 Return statement isn't valid for function returning void"},
        {"float t(out float a) { return a; }",
         "2:24 Return statement isn't valid for function returning void"},
        {"float t() { return {1,2,3,4,5}; }", "2:31 Invalid expression"},
        {"float t() { return {1,2}; }", "2:25 Invalid return type: float2"},
        {"float t(float a) { return a }", "2:29 Expected semicolon at end of return statement"},
        {"float t(float a) { f(a) + a; }", "2:25 Expected semicolon at the end of void-function call"},
        {"float t(float a) { a = {1,2,3,4,5}; }", "2:35 Expression returning 'kInvalidDataType' couldn't be "
                                                  "converted to 'float' (assignment to variable a)"},
        {"float t(float a) { a = {1,2}; }", "2:29 Variable cannot be assigned: a"},
        {"float t(float3 a) { a += a; }", "2:27 Variable cannot be assigned: a"},
        {"float t(float a) { a = (a; }", "2:26 Expected ')' token"},
        {"float t(float a) { a = a@xyzwx; }",
         "2:26 Expected valid swizzle pattern after '@' swizzle-operator (eg: @xyzw)"},
        {"float t(float a) { a = a@q; }",
         "2:26 Expected valid swizzle pattern after '@' swizzle-operator (eg: @xyzw)"},
        {"float t(float a) { a = a@1; }",
         "2:26 Expected valid swizzle pattern after '@' swizzle-operator (eg: @xyzw)"},
        {"float t(float a) { a = a@x@x; }", "2:27 Expected a semicolon at the end of statement."},
        {"float t(float a) { a = {1 2}; }", "2:27 Expecting comma or close-braces in numeric-constant-array"},
        {"float t(float a) { a = {}; }", "2:25 Expecting numeric-literal"},
        {"float t(float a) { a = {+1}; }", "2:25 Expecting numeric-literal"},
        {"float t(float a) { f(a; }", "2:23 Expecting ',' or ')' within function-call argument list"},
        {"float t(float a) { f(,a); }",
         "2:22 Expected primary expression (constant, variable name or parentheses)"},
        {"float t(float a) { g(a, a); }", "2:27 No match for function: g(float, float)"},
        {"float t(float a) { a = a + {1,2}; }", "2:33 No match for function: operator+(float, float2)"},
        {"float t(float a) { a = +1 - -{1,2}; }", "2:35 No match for function: operator-(float2)"},
        {"float t(float a, float2 v) { split(v, a, a + 1); }",
         "2:48 Argument 3 is an output, and must be mapped to a variable"},
        {"float t(float a, float2 v) { split(v, (a), a); }",
         "2:46 Argument 2 is an output, and must be mapped to a variable"},
        {"float t(float a) { float x; return f(x); }", "2:40 Variable used before it is assigned: x"},
        {"float t(out float o) { o = f(o); }", "2:32 Variable used before it is assigned: o"},
        {"float t(fragment float a) { a = onVertex(a); }",
         "2:44 Allowable computational frequency range of vertex couldn't accomodate fragment"},
        {"float t(float2 v) { float x, y; x = split(v, x, y); }",
         "2:51 Comp freq range not found for attribute output"},
        {"float t() { float x; return x; }\nfloat u();", "3:1 Variable used before it is assigned: x"},
    };
    for (const auto& row : rows) {
        const std::string error = parse(kPrelude + row.source);
        const std::string expected = row.expected;
        const std::size_t colon = expected.find(':');
        const std::size_t blank = expected.find(' ');
        EXPECT_EQ(error, "stdlib.qvs(line " + expected.substr(0, colon) + ", column " +
                             expected.substr(colon + 1, blank - colon - 1) + ") : error " +
                             expected.substr(blank + 1) + "\n")
            << row.source;
        EXPECT_EQ(ShadingNodeSpec::findSpecInLibrary("t"), nullptr);
        EXPECT_NE(ShadingNodeSpec::findSpecInLibrary("zero"), nullptr) << "what was read before stays";
        TearDown();
    }
}

TEST_F(ShadingParserTest, ReadsFilesOneBehindTheOther) {
    ShadingParser parser;
    EXPECT_FALSE(parser.parseFile(QV_TEST_OUTPUT "no such file", true));
    EXPECT_EQ(parser.errorString(), "Couldn't not find stdlib.qvs file!\n");
    EXPECT_FALSE(parser.parseFile(QV_TEST_OUTPUT, true));
    EXPECT_EQ(parser.errorString(), "Couldn't not find stdlib.qvs file!\n");

    EXPECT_TRUE(parser.parseFile(writeSource("parser.qvs", "float a();\nfloat dropped("), true));
    EXPECT_TRUE(parser.parseFile(writeSource("parser.qvs", "float b(float x) { return x; }"), true));
    EXPECT_EQ(terms("b"), "output=x");
    // What has no end goes with its file.
    EXPECT_TRUE(parser.parseFile(writeSource("parser.qvs", "float a2(); /* lost"), true));
    EXPECT_TRUE(parser.parseFile(writeSource("parser.qvs", "float b2(float x) { return x; }"), true));
    EXPECT_EQ(terms("b2"), "output=x");
    // The rest of a file with an error is read with the next file.
    EXPECT_FALSE(parser.parseFile(writeSource("parser.qvs", "float c() { return y; }\nfloat d();"), true));
    EXPECT_EQ(parser.errorString(), "stdlib.qvs(line 11, column 20) : error Unexpected variable-name\n");
    ShadingParser copy = parser;
    EXPECT_FALSE(copy.parseFile(writeSource("parser.qvs", "float e();"), true));
    EXPECT_EQ(copy.errorString(),
              "stdlib.qvs(line 11, column 20) : error Token is not a valid return type\n");
}

/// The origin of each node, as "name at line:column of the function in its file, first variable".
std::string origins(const ShadingNodeSpec& spec) {
    const auto place = [](const auto& from) {
        const std::string& file = from.sourceFile();
        return file.substr(file.rfind('/') + 1) + ":" + std::to_string(from.sourceLocation().line) + ":" +
               std::to_string(from.sourceLocation().column);
    };
    std::string text = place(spec) + "\n";
    ShadingNodeSpec::NodeIterator node;
    ShadingNodeSpec::NodeIterator last;
    for (spec.internalNodes(node, last); node != last; ++node) {
        text += (*node)->name() + " " + place(**node) + " " + (*node)->originFunction() + " " +
                (*node)->variableName() + "\n";
    }
    return text;
}

TEST_F(ShadingParserTest, TellsWhereNodesWereWritten) {
    const auto read = [](const char* file, const std::string& source) {
        ShadingParser parser;
        EXPECT_TRUE(parser.parseFile(writeSource(file, source), false)) << parser.errorString();
    };
    read("primitives.qvs", kPrelude + "\t\tfloat last();");
    read("functions.qvs", "/* The colour \xC3\xA9. */\r\n\r\n"
                          "float inner(float x,\r\n\tout float y) {\r\n"
                          "\tfloat z = x + 1, unused = z; y = -z;\r\n}\r\n"
                          "/* \xC3\xA9 */  float lit(float a, float light) { return a; }");
    read("main.qvs", "  vertex:fragment float outer(float p, float2 q) {\n"
                     "    float a, b; split(q, a, b);\n"
                     "    float s = p@x, t; p += {2}; p = p; both(t, f(p));\n"
                     "    return zero() < a * b; }\n");
    const auto find = [](const char* name) { return ShadingNodeSpec::findSpecInLibrary(name); };
    EXPECT_EQ(origins(*find("last")), "primitives.qvs:2:3\n");
    const std::string outer = "main.qvs:1:3\n"
                              "output main.qvs:1:19 outer \n"
                              "p main.qvs:1:37 outer p\n"
                              "q main.qvs:1:47 outer q\n"
                              "split main.qvs:2:17 outer a\n"
                              "0 main.qvs:3:17 outer \n"
                              "operator@ main.qvs:3:16 outer s\n"
                              "2 main.qvs:3:28 outer \n"
                              "operator+ main.qvs:3:25 outer p\n"
                              "f main.qvs:3:48 outer \n"
                              "both main.qvs:3:40 outer t\n"
                              "zero main.qvs:4:12 outer \n"
                              "operator* main.qvs:4:23 outer \n"
                              "operator< main.qvs:4:19 outer \n";
    EXPECT_EQ(origins(*find("outer")), outer);
    const std::unique_ptr<ShadingNodeSpec> copy(find("outer")->clone());
    EXPECT_EQ(origins(*copy), outer);

    // A function of the host: the bodies that are copied into it keep theirs.
    const std::unique_ptr<ShadingNodeSpec> host(ShadingNodeSpec::createNew(kFunctionNode));
    const ShadingAttribute x = *host->addInput(kFloat, "x", CompFreqRange());
    ShadingNode* call = host->addInternalNode("f", {x});
    call->setSource("host", FileLocation(7, 9), "made", "here");
    host->replaceOperationNode(call, find("lit"), true);
    host->addInternalNode("inner", {x, x});
    const std::string inputs = ":0:0\n"
                               "x :0:0  \n";
    const std::string light = "light functions.qvs:7:35 lit light\n";
    EXPECT_EQ(origins(*host), inputs + "lit host:7:9 made here\n" + light + "inner :0:0  \n");
    host->expandFunctionCalls();
    EXPECT_EQ(origins(*host), inputs + light +
                                  "1 functions.qvs:5:16 inner \n"
                                  "operator+ functions.qvs:5:14 inner z\n"
                                  "operator- functions.qvs:5:35 inner y\n");
}

std::string repeated(int count, const std::string& text) {
    std::string result;
    result.reserve(text.size() * static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

TEST_F(ShadingParserTest, BoundsNesting) {
    ASSERT_EQ(parse(kPrelude), "");
    const struct {
        const char* open;
        const char* close;
    } rows[] = {
        {"(", ")"},
        {"f(", ")"},
        {"a + (", ")"},
        {"a || a && a == a < a + a * - - - (", ")"},
        {"a = (", ")"},
        {"- - - f(a = a += ", ")"},
        {"both(a, a * ", ")"},
    };
    // The body is one level; the value inside adds none.
    for (const auto& row : rows) {
        for (const int levels : {254, 255, 256, 100000}) {
            const std::string error = parse("float t(float a) { a = " + repeated(levels, row.open) + "a" +
                                            repeated(levels, row.close) + "; }");
            EXPECT_EQ(error.find("Expression nested too deeply") != std::string::npos, levels > 255)
                << row.open;
            EXPECT_EQ(error.empty(), levels <= 255) << error;
            delete ShadingNodeSpec::findSpecInLibrary("t");
        }
    }
    for (const int levels : {127, 128}) {
        const std::string error =
            parse("float t(float a) {" + repeated(levels, "{") + "a = " + repeated(128, "(") + "a" +
                  repeated(128, ")") + ";" + repeated(levels, "}") + "}");
        EXPECT_EQ(error.empty(), levels == 127) << error;
        delete ShadingNodeSpec::findSpecInLibrary("t");
    }
    EXPECT_EQ(parse("float t(float a) " + repeated(257, "{") + repeated(257, "}")),
              "stdlib.qvs(line 1, column 274) : error Expression nested too deeply\n");
}

TEST_F(ShadingParserTest, TakesChainsOfAnyLength) {
    ASSERT_EQ(parse(kPrelude), "");
    constexpr int kCount = 50000;
    const struct {
        const char* begin;
        const char* link;
        const char* end;
        int nodes;
    } rows[] = {
        {"a = a", " + a", "", kCount}, {"", "a = ", "a", 0},
        {"", "a += ", "a", kCount},    {"a = ", "- ", "a", kCount},
        {"a = ", "+ ", "a", 0},        {"", "{ a = a; } ", "a", 0},
        {"a = {1", ", 1", "}; a", -1}, {"", "float a = a; float2 a = v; ", "a", 0},
    };
    for (const auto& row : rows) {
        const std::string error = parse(std::string("float t(float a, float2 v) { ") + row.begin +
                                        repeated(kCount, row.link) + row.end + "; return a; }");
        EXPECT_EQ(error.empty(), row.nodes >= 0) << row.link << error;
        const ShadingNodeSpec* spec = ShadingNodeSpec::findSpecInLibrary("t");
        ASSERT_EQ(spec != nullptr, row.nodes >= 0);
        if (spec != nullptr) {
            ShadingNodeSpec::NodeIterator first;
            ShadingNodeSpec::NodeIterator last;
            spec->internalNodes(first, last);
            EXPECT_EQ(std::distance(first, last), row.nodes + 3) << row.link;
            delete spec;
        }
    }
    std::string manyVariables = "float t(float a) { ";
    for (int i = 0; i < kCount; ++i) {
        const std::string name = "v" + std::to_string(i);
        manyVariables += "float " + name + " = a; " + name + " = " + name + "; ";
    }
    EXPECT_EQ(parse(manyVariables + "return v0; }"), "");

    // As many outputs: of a call and of the function that calls; the first one of a name counts.
    std::string outputs;
    std::string call = "w(a";
    for (int i = 0; i < kCount; ++i) {
        const std::string name = "v" + std::to_string(i);
        outputs += ", out float " + name;
        call += ", " + name;
    }
    EXPECT_EQ(parse("void w(float a" + outputs + "); void c(float a" + outputs + ") { " + call +
                    "); v1 = v49998 + v49999; }"),
              "");
    const std::string found = terms("c");
    EXPECT_EQ(found.substr(0, 36), "v0=w#50001(a).v0; v1=+#50002(w#50001");
    EXPECT_EQ(found.substr(found.size() - 26), "; v49999=w#50001(a).v49999");
    EXPECT_EQ(parse("void twice(float a" + outputs + ", out int v40000);"), "");
    const ShadingNodeSpec* twice = ShadingNodeSpec::findSpecInLibrary("twice");
    EXPECT_EQ(twice->getOffsetOfOutput("v40000"), 40000);
    EXPECT_EQ(twice->dataTypeOfOutput("v40000"), kFloat);
    EXPECT_EQ(twice->getOffsetOfOutput("output"), -1);
    EXPECT_EQ(twice->dataTypeOfOutput("output"), kInvalidDataType);
}

TEST_F(ShadingParserTest, SurvivesWhatIsNoSource) {
    std::string noise;
    unsigned int state = 1;
    for (int i = 0; i < 200000; ++i) {
        state = state * 1664525U + 1013904223U;
        noise += static_cast<char>(state >> 24 == 0x1A ? 0 : state >> 24); // 0x1A ends a text on Windows
    }
    EXPECT_NE(parse(noise), "");
    const std::string longName(1 << 20, 'n');
    EXPECT_EQ(parse("float " + longName + "(float a) { return " + longName + "; }"),
              "stdlib.qvs(line 1, column 1048602) : error Unexpected variable-name\n");
    EXPECT_EQ(parse("float " + longName + "(float a) { return a; }"), "");
    EXPECT_EQ(terms(longName), "output=a");
}

} // namespace
