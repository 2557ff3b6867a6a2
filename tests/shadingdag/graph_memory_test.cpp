#include "AllocationSweep.h"
#include "GraphTesting.h"
#include "SourceFile.h"
#include "shadingdag/Graphviz.h"
#include "shadingdag/ShadingParser.h"

#include <functional>
#include <map>

using namespace graphTesting;

namespace {

/// With calls of calls, several outputs, and more outputs than are found without an index.
const char* const kSource =
    "float operator+(float a, float b); float3 operator@(float3 a, int3 p);\n"
    "void split(float3 v, out float first, out float3 rest);\n"
    "float lit(float a, float3 light, float anotherLightWithALongName);\n"
    "float inner(float x, out float side) { float sum = x + 0.5; side = sum + x; }\n"
    "float whole(float3 v, float theSecondParameterOfThisFunction) {\n"
    "    float x; float3 y = v@zyx; /* read */  \n"
    "    split(y, x, y);\n"
    "    return x + theSecondParameterOfThisFunction + one(x);\n"
    "}\n"
    "void many(float a, out float b, out float c, out float d, out float e, out float f, out float g,\n"
    "    out float h, out float i, out float j, out float k, out float l, out float m, out float n,\n"
    "    out float o, out float p, out float q, out float r, out float b) { q = a; }\n";

std::string sourceFor(const std::string& name) {
    std::string source = kSource;
    source.insert(source.find("float inner"), "float one(float a) { return a + a; }\n");
    // The returned value of a function with an out argument stays unconnected.
    source.replace(source.find("float inner"), 5, "void");
    return writeSource(name, source);
}

using Memory = GraphTest;

TEST_F(Memory, WithoutItAFileIsNotRead) {
    const std::string path = sourceFor("graph_memory.qvs");
    for (AllocationSweep sweep; sweep.next(); ShadingNodeSpec::clearLibrary()) {
        bool read = false;
        std::string error;
        const bool finished = sweep.run([&] {
            ShadingParser parser;
            read = parser.parseFile(path, false);
            error = parser.errorString();
        });
        EXPECT_EQ(read, finished && error.empty());
        EXPECT_TRUE(!finished || read || error.ends_with("Out of memory\n") ||
                    error == "Couldn't not find stdlib.qvs file!\n")
            << error;
        ShadingNodeSpec::LibraryIterator entry;
        ShadingNodeSpec::LibraryIterator last;
        for (ShadingNodeSpec::allSpecsInLibrary(entry, last); entry != last; ++entry) {
            checkGraph(*entry->second);
        }
    }
}

TEST_F(Memory, WithoutItAFileThatIsReadAgainStaysAsItIs) {
    const auto library = [] {
        std::string text;
        ShadingNodeSpec::LibraryIterator entry;
        ShadingNodeSpec::LibraryIterator last;
        for (ShadingNodeSpec::allSpecsInLibrary(entry, last); entry != last; ++entry) {
            text += specText(*entry->second);
        }
        return text;
    };
    const std::string path = sourceFor("graph_memory.qvs");
    for (AllocationSweep sweep; sweep.next(); ShadingNodeSpec::clearLibrary()) {
        ShadingParser parser;
        ASSERT_TRUE(parser.parseFile(path, false));
        const std::string before = library();
        bool read = false;
        sweep.run([&] {
            ShadingParser again;
            ShadingParser::Replacements replaced;
            read = again.reloadFile(path, replaced);
        });
        EXPECT_EQ(library(), before) << read;
    }
}

/// Lets memory run out in `change` of a function that `make` makes: afterwards the function is as it
/// was, or all is done. `mayStop` allows for a change that is half done and leaves a sound graph.
void sweepChange(const std::string& name, const std::function<ShadingNodeSpec*()>& make,
                 const std::function<void(ShadingNodeSpec&)>& change, bool mayStop = false) {
    const OwnedSpec model(make());
    const std::string before = specText(*model);
    change(*model);
    const std::string after = specText(*model);
    int refused = 0;
    for (AllocationSweep sweep; sweep.next();) {
        const OwnedSpec spec(make());
        if (!sweep.run([&] { change(*spec); })) {
            ++refused;
            EXPECT_TRUE(mayStop || specText(*spec) == before) << name;
            checkGraph(*spec);
            change(*spec); // what was taken back left no trace
        }
        EXPECT_EQ(specText(*spec), after) << name;
        checkGraph(*spec);
    }
    EXPECT_GT(refused, 0) << name;
}

ShadingNode* callOf(const ShadingNodeSpec& spec, const std::string& name) {
    for (ShadingNode* node : nodesOf(spec)) {
        if (node->isCall() && node->name() == name) {
            return node;
        }
    }
    return nullptr;
}

TEST_F(Memory, WithoutItAFunctionStaysAsItIs) {
    ShadingParser parser;
    ASSERT_TRUE(parser.parseFile(sourceFor("graph_memory.qvs"), false)) << parser.errorString();
    const auto whole = [] { return ShadingNodeSpec::findSpecInLibrary("whole")->clone(); };
    const auto many = [] { return ShadingNodeSpec::findSpecInLibrary("many")->clone(); };
    using Spec = ShadingNodeSpec;
    const auto x = [](Spec& s) { return parameter(s, "theSecondParameterOfThisFunction"); };

    sweepChange("clone", whole, [](Spec& s) { delete s.clone(); });
    sweepChange("add to the library", whole, [](Spec& s) { s.addToLibrary(); });
    sweepChange("add an input", whole, [](Spec& s) { s.addInput(kFloat, "anInputWithALongName", {}); });
    sweepChange("add an output", many, [](Spec& s) { s.addOutput(kFloat, "anOutputWithALongName", {}); });
    sweepChange("add a constant", whole, [](Spec& s) { s.addInternalNode(TypedConstant(1, 2)); });
    sweepChange("add a matrix", whole,
                [](Spec& s) { s.addInternalNode(TypedConstant(qvLinear::ProjMatrix(2))); });
    sweepChange("add a call", whole, [&](Spec& s) { s.addInternalNode("inner", {x(s), x(s)}); });
    sweepChange("connect", whole, [&](Spec& s) { s.connectOutput(x(s), parameter(s, "output")); });
    sweepChange("expand a call", whole, [](Spec& s) { s.expandNode(callOf(s, "one")); });
    sweepChange(
        "expand all",
        [] {
            Spec* spec = makeSpec(kFunctionNode, "f", {{kFloat3, "v", {}}, {kFloat, "x", {}}});
            const ShadingAttribute f = parameter(*spec, "x");
            ShadingNode* call = spec->addInternalNode("whole", {parameter(*spec, "v"), f});
            spec->addInternalNode("inner", {valueOf(call), f});
            spec->connectOutput(valueOf(call), parameter(*spec, "output"));
            return spec;
        },
        [](Spec& s) { s.expandFunctionCalls(); }, true);
    Spec* lit = Spec::findSpecInLibrary("lit");
    sweepChange("replace with extra inputs", whole,
                [&](Spec& s) { s.replaceOperationNode(callOf(s, "one"), lit, true); });
    Spec* split = Spec::findSpecInLibrary("split");
    sweepChange(
        "replace where ranges are taken over",
        [&] {
            Spec* spec = whole();
            callOf(*spec, "split")->incomingLinks().front()->setDestAttrName("elsewhere");
            return spec;
        },
        [&](Spec& s) { s.replaceOperationNode(callOf(s, "split"), split, true); });
}

TEST_F(Memory, WithoutItNodesAreAsTheyWere) {
    declare("callee", {{kFloat, "a", {}}}, {{kFloat, "anOutputWithALongName", {}}, {kFloat, "b", {}}});
    const std::string longName = "a name that does not fit into the string itself";
    const OwnedSpec spec(makeSpec(kFunctionNode, "f", {{kFloat, "x", {}}}));
    const ShadingAttribute x = parameter(*spec, "x");
    const ShadingNode* call = spec->addInternalNode("callee", {x, x, x});
    ShadingNode matrix;
    matrix.setConstant(TypedConstant(qvLinear::ProjMatrix(2)));
    const std::function<void(ShadingNode&)> changes[] = {
        [&](ShadingNode& n) { n.setInput(kFloat, longName); },
        [&](ShadingNode& n) { n.setConstant(matrix.constant()); },
        [&](ShadingNode& n) { n = matrix; },
        [&](ShadingNode& n) { n = *call; },
        [&](ShadingNode& n) {
            n.setSource(longName, {1, 1}, longName, longName);
        },
    };
    for (const auto& change : changes) {
        for (const bool owned : {true, false}) {
            for (AllocationSweep sweep; sweep.next();) {
                const OwnedSpec copy(spec->clone());
                ShadingNode loose(*call);
                ShadingNode& node = owned ? *nodesOf(*copy).back() : loose;
                if (!sweep.run([&] { change(node); })) {
                    EXPECT_EQ(node.name() + node.sourceFile(), "callee");
                    EXPECT_EQ(node.outgoingLinks().size() + node.incomingLinks().size(), 1U);
                    EXPECT_EQ(node.compFreqRangeOfOutput("anOutputWithALongName"), CompFreqRange(1, 4));
                }
            }
        }
    }
}

TEST_F(Memory, WithoutItOrdersAndDrawingsLeaveNothingBehind) {
    ShadingParser parser;
    ASSERT_TRUE(parser.parseFile(sourceFor("graph_memory.qvs"), false)) << parser.errorString();
    const OwnedSpec spec(ShadingNodeSpec::findSpecInLibrary("whole")->clone());
    ShadingNode* output = parameter(*spec, "output").nodePtr();
    using Distances = std::map<ShadingNode*, unsigned int>;
    const std::function<void(std::list<ShadingNode*>&, Distances&)> actions[] = {
        [&](auto& order, auto&) { spec->fastTopoSort(&order, true); },
        [&](auto& order, auto& distance) { spec->optimalTopoSort(distance, &order); },
        [&](auto&, auto& distance) { spec->computeDistance(output, distance, true); },
        [&](auto&, auto& distance) {
            spec->computeDeepestChildrenDistance(output, distance, distance, true);
        },
        [&](auto&, auto&) { spec->evaluateAllCompFrequencies(); },
        [&](auto&, auto&) { EXPECT_FALSE(convertToGraphviz(spec.get(), true, true).empty()); },
    };
    const std::string before = specText(*spec);
    for (const auto& action : actions) {
        int refused = 0;
        for (AllocationSweep sweep; sweep.next();) {
            std::list<ShadingNode*> order{output};
            Distances distance;
            if (!sweep.run([&] { action(order, distance); })) {
                ++refused;
                EXPECT_EQ(order.size(), 1U) << "an order is appended whole";
            }
        }
        EXPECT_GT(refused, 0);
    }
    EXPECT_EQ(specText(*spec), before);
}

} // namespace
