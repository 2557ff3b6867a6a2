#include "GraphTesting.h"

#include "shadingdag/Graphviz.h"

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <random>

using namespace graphTesting;

namespace {

using Expansion = GraphTest;

// Computes with graphs: a primitive's output is a number made from its name, its position and the
// values of its inputs, so that two graphs that give the same numbers compute the same.
class Evaluator {
public:
    using Value = std::optional<std::uint64_t>; // none: not connected
    using Inputs = std::map<std::string, Value>;

    static std::vector<Value> outputs(const ShadingNodeSpec& spec, const Inputs& inputs) {
        Evaluator evaluator(inputs);
        std::vector<Value> values;
        for (const ShadingAttribute& output : listOf(spec, &ShadingNodeSpec::outputs)) {
            const auto& links = output.nodePtr()->incomingLinks();
            values.push_back(links.empty() ? Value() : evaluator.behind(*links.front()));
        }
        return values;
    }

private:
    explicit Evaluator(const Inputs& inputs) : fInputs(inputs) {}

    Value behind(const ShadingLink& link) {
        const ShadingNode& node = *link.sourceNode();
        if (node.nodeType() == kInputNode) {
            return fInputs.at(node.name());
        }
        if (node.nodeType() == kConstantNode) {
            return static_cast<std::uint64_t>(node.constant().getFloat(0)) + 1000;
        }
        auto [known, isNew] = fCalls.try_emplace(&node);
        if (isNew) {
            known->second = call(node);
        }
        return fCalls.at(&node).at(static_cast<std::size_t>(link.sourceOutput()));
    }

    std::vector<Value> call(const ShadingNode& node) {
        const ShadingNodeSpec& spec = *node.specPtr();
        Inputs inputs;
        for (const ShadingLink* link : node.incomingLinks()) {
            inputs.emplace(link->destAttrName(), behind(*link));
        }
        if (spec.nodeType() == kFunctionNode) {
            return outputs(spec, inputs);
        }
        std::vector<Value> values;
        for (const ShadingAttribute& output : listOf(spec, &ShadingNodeSpec::outputs)) {
            std::uint64_t value = values.size() + 1;
            for (const char c : spec.name() + output.name()) {
                value = value * 31 + static_cast<unsigned char>(c);
            }
            for (const ShadingAttribute& input : listOf(spec, &ShadingNodeSpec::inputs)) {
                value = value * 1000003 + inputs.at(input.name()).value_or(0);
            }
            values.emplace_back(value);
        }
        return values;
    }

    const Inputs& fInputs;
    std::map<const ShadingNode*, std::vector<Value>> fCalls;
};

std::vector<Evaluator::Value> evaluate(const ShadingNodeSpec& spec) {
    Evaluator::Inputs inputs;
    for (const ShadingAttribute& input : listOf(spec, &ShadingNodeSpec::inputs)) {
        inputs.emplace(input.name(), inputs.size() + 1);
    }
    return Evaluator::outputs(spec, inputs);
}

ShadingNode* firstCall(const ShadingNodeSpec& spec, const std::string& name) {
    for (ShadingNode* node : nodesOf(spec)) {
        if (node->isCall() && node->name() == name) {
            return node;
        }
    }
    ADD_FAILURE() << "no call of " << name;
    return nullptr;
}

// (out s, out c, x), both computed by a primitive.
void declareSinCos() {
    declare("sincos", {{kFloat, "x", {}}}, {{kFloat, "s", {}}, {kFloat, "c", {3, 4}}});
    declare("op", {{kFloat, "a", {}}, {kFloat, "b", {}}});
}

// float f(x, y), out side: output = op(c of sincos(x), 2), side = y.
ShadingNodeSpec* defineBody() {
    declareSinCos();
    ShadingNodeSpec* f = makeSpec(kFunctionNode, "f", {{kFloat, "x", {}}, {kFloat, "y", {}}},
                                  {{kFloat, "output", {}}, {kFloat, "side", {}}});
    const ShadingAttribute x = parameter(*f, "x");
    ShadingNode* trig = f->addInternalNode("sincos", {x, x, x});
    trig->setLightSpecific(true);
    const ShadingAttribute two = valueOf(f->addInternalNode(TypedConstant(2.0F)));
    two.nodePtr()->setLightSpecific(true);
    f->connectOutput(valueOf(f->addInternalNode("op", {valueOf(trig, "c"), two})), parameter(*f, "output"));
    f->connectOutput(parameter(*f, "y"), parameter(*f, "side"));
    f->addToLibrary();
    return f;
}

TEST_F(Expansion, PutsTheBodyInPlaceOfTheCall) {
    defineBody();
    // g(p, uniform q) = op(f.output, f.side) with f(side, q, p).
    const OwnedSpec g(makeSpec(kFunctionNode, "g", {{kFloat, "p", {}}, {kFloat, "q", {2, 2}}}));
    const ShadingAttribute p = parameter(*g, "p");
    const ShadingAttribute q = parameter(*g, "q");
    ShadingNode* call = g->addInternalNode("f", {p, q, p}); // (out side, x, y)
    ShadingNode* op = g->addInternalNode("op", {valueOf(call), valueOf(call, "side")});
    g->connectOutput(valueOf(op), parameter(*g, "output"));
    g->connectOutput(valueOf(call), parameter(*g, "output"));
    EXPECT_EQ(linksText(*g), "0:2.q->3.x uniform; 1:1.p->3.y constant:fragment; "
                             "2:3.output->4.a uniform:fragment; 3:3.side->4.b uniform:fragment; "
                             "4:4.output->0.output uniform:fragment; 5:3.output->0.output uniform:fragment");
    const auto before = evaluate(*g);

    g->expandNode(op); // no call of a function
    g->expandNode(nodesOf(*g)[1]);
    EXPECT_EQ(linksOf(*g).size(), 6U);
    g->expandNode(call);
    checkGraph(*g);
    // The side of f is p itself, and its links keep the name "side"; "output" is that of op, not c.
    EXPECT_EQ(specText(*g), "g 5\n"
                            "in float p constant:fragment at 1\n"
                            "in float q uniform at 2\n"
                            "out float output constant:fragment at 0\n"
                            "constant float output constant at 6\n"
                            "argument float p constant:fragment at 1\n"
                            "argument float q uniform at 2\n"
                            "0 2 output float constant:fragment\n"
                            "1 1 p float constant:fragment\n"
                            "2 1 q float uniform\n"
                            "4 4 op kInvalidDataType output=uniform:fragment\n"
                            "5 4 sincos kInvalidDataType light s=uniform c=vertex\n"
                            "6 3 2 float light constant\n"
                            "7 4 op kInvalidDataType output=vertex\n"
                            "4:4.output->0.output uniform:fragment; 6:2.q->5.x uniform; "
                            "7:5.c->7.a vertex; 8:6.output->7.b constant; 9:7.output->4.a vertex; "
                            "10:1.side->4.b constant:fragment; 11:7.output->0.output vertex");
    EXPECT_EQ(evaluate(*g), before);
    const OwnedSpec copy(g->clone());
    EXPECT_EQ(specText(*copy), specText(*g)) << "also of a graph whose ranges were not evaluated again";

    // The ranges behind the call, where the body had others than the function declares.
    g->evaluateAllCompFrequencies();
    EXPECT_EQ(linksText(*g), "4:4.output->0.output vertex:fragment; 6:2.q->5.x uniform; "
                             "7:5.c->7.a vertex; 8:6.output->7.b constant; 9:7.output->4.a vertex; "
                             "10:1.side->4.b constant:fragment; 11:7.output->0.output vertex");
    EXPECT_EQ(op->compFreqRangeOfOutput("output"), CompFreqRange(3, 4));
    linksOf(*g)[1]->setDestAttrName("elsewhere");
    linksOf(*g)[3]->setCompFreqRange({4, 4});
    const std::string text = specText(*g);
    EXPECT_EQ(thrownBy([&] { g->evaluateAllCompFrequencies(); }), "Input is not connected: x");
    EXPECT_EQ(specText(*g), text);
}

// A kept source name need not exist on the node that the link leaves; the value is found all the
// same, by a later expansion and in a copied body.
TEST_F(Expansion, FindsValuesBehindKeptNames) {
    declareSinCos();
    ShadingNodeSpec* inner = makeSpec(kFunctionNode, "inner", {{kFloat, "x", {}}},
                                      {{kFloat, "first", {}}, {kFloat, "second", {}}});
    const ShadingAttribute x = parameter(*inner, "x");
    ShadingNode* trig = inner->addInternalNode("sincos", {x, x, x});
    inner->connectOutput(valueOf(trig, "s"), parameter(*inner, "second"));
    inner->connectOutput(valueOf(trig, "c"), parameter(*inner, "first"));
    inner->addToLibrary();

    ShadingNodeSpec* outer =
        makeSpec(kFunctionNode, "outer", {{kFloat, "x", {}}}, {{kFloat, "output", {}}, {kFloat, "s", {}}});
    const ShadingAttribute y = parameter(*outer, "x");
    ShadingNode* call = outer->addInternalNode("inner", {y, y, y});
    outer->connectOutput(valueOf(call, "second"), parameter(*outer, "output"));
    outer->connectOutput(valueOf(call, "first"), parameter(*outer, "s")); // the name of another output below
    outer->addToLibrary();

    const OwnedSpec top(makeSpec(kFunctionNode, "top", {{kFloat, "x", {}}}));
    const ShadingAttribute z = parameter(*top, "x");
    ShadingNode* both = top->addInternalNode("outer", {z, z});
    ShadingNode* op = top->addInternalNode("op", {valueOf(both), valueOf(both, "s")});
    top->connectOutput(valueOf(op), parameter(*top, "output"));
    const auto before = evaluate(*top);

    const OwnedSpec stepwise(top->clone());
    stepwise->expandNode(firstCall(*stepwise, "outer"));
    EXPECT_EQ(evaluate(*stepwise), before);
    stepwise->expandNode(firstCall(*stepwise, "inner"));
    EXPECT_EQ(evaluate(*stepwise), before);
    checkGraph(*stepwise);

    outer->expandNode(call); // now the body of "outer" has kept names: first reads c, second reads s
    EXPECT_EQ(evaluate(*top), before);
    const OwnedSpec copy(top->clone());
    copy->expandFunctionCalls();
    checkGraph(*copy);
    EXPECT_EQ(evaluate(*copy), before);
    std::string names;
    for (const ShadingLink* link : firstCall(*copy, "op")->incomingLinks()) {
        EXPECT_EQ(link->sourceNode()->name(), "sincos");
        names += link->sourceAttrName() + std::to_string(link->sourceOutput()) +
                 link->compFreqRange().toString() + " ";
    }
    EXPECT_EQ(names, "output0constant:fragment s1vertex:fragment ");
    copy->evaluateCompFrequencies(firstCall(*copy, "op"));
}

TEST_F(Expansion, PassesValuesThroughAndExpandsItself) {
    declareSinCos();
    ShadingNodeSpec* id = makeSpec(kFunctionNode, "id", {{kFloat, "x", {}}});
    id->connectOutput(parameter(*id, "x"), parameter(*id, "output"));
    id->addToLibrary();
    const OwnedSpec spec(makeSpec(kFunctionNode, "f", {{kFloat, "x", {2, 3}}}));
    ShadingAttribute value = parameter(*spec, "x");
    for (int i = 0; i < 3; ++i) {
        value = valueOf(spec->addInternalNode("id", {value}));
    }
    spec->connectOutput(value, parameter(*spec, "output"));
    spec->expandFunctionCalls();
    EXPECT_EQ(nodesOf(*spec).size(), 2U);
    EXPECT_EQ(linksText(*spec), "6:1.output->0.output uniform:vertex");

    // A function that calls itself can be expanded one level at a time, never for good.
    ShadingNodeSpec* loop = makeSpec(kFunctionNode, "loop", {{kFloat, "x", {}}});
    loop->addToLibrary();
    const ShadingAttribute x = parameter(*loop, "x");
    ShadingNode* again = loop->addInternalNode("loop", {valueOf(loop->addInternalNode("op", {x, x}))});
    loop->connectOutput(valueOf(again), parameter(*loop, "output"));
    loop->expandNode(again);
    checkGraph(*loop);
    EXPECT_EQ(linksText(*loop), "0:1.x->2.a constant:fragment; 1:1.x->2.b constant:fragment; "
                                "4:2.output->4.a constant:fragment; 5:2.output->4.b constant:fragment; "
                                "6:4.output->5.x constant:fragment; 7:5.output->0.output constant:fragment");
    const std::string text = specText(*loop);
    EXPECT_EQ(thrownBy([&] { loop->expandFunctionCalls(); }), "Function calls itself: loop");
    const OwnedSpec caller(makeSpec(kFunctionNode, "caller", {{kFloat, "x", {}}}));
    caller->addInternalNode("loop", {parameter(*caller, "x")});
    EXPECT_EQ(thrownBy([&] { caller->expandFunctionCalls(); }), "Function calls itself: loop");
    EXPECT_EQ(specText(*loop), text);
    EXPECT_EQ(nodesOf(*caller).size(), 3U);
}

// name0, name1, …: each calls the one before twice; the first computes something or passes through.
ShadingNodeSpec* declareDoubling(const std::string& name, int levels, bool computes) {
    for (int i = 0; i <= levels; ++i) {
        ShadingNodeSpec* spec = makeSpec(kFunctionNode, name + std::to_string(i), {{kFloat, "x", {}}});
        ShadingAttribute value = parameter(*spec, "x");
        if (i > 0) {
            const std::string previous = name + std::to_string(i - 1);
            value = valueOf(spec->addInternalNode(previous, {value}));
            value = valueOf(spec->addInternalNode(previous, {value}));
        } else if (computes) {
            value = valueOf(spec->addInternalNode("op", {value, value}));
        }
        spec->connectOutput(value, parameter(*spec, "output"));
        spec->addToLibrary();
    }
    return ShadingNodeSpec::findSpecInLibrary(name + std::to_string(levels));
}

// `count` calls of a function of `size` calls with two links each.
OwnedSpec makeWide(const std::string& name, int count, int size) {
    for (int level = 0; level < 2; ++level) {
        ShadingNodeSpec* spec = makeSpec(kFunctionNode, name + std::to_string(level), {{kFloat, "x", {}}});
        const ShadingAttribute x = parameter(*spec, "x");
        for (int i = 0; i < (level == 0 ? size : count); ++i) {
            level == 0 ? spec->addInternalNode("op", {x, x}) : spec->addInternalNode(name + "0", {x});
        }
        if (level == 1) {
            return OwnedSpec(spec);
        }
        spec->connectOutput(x, parameter(*spec, "output"));
        spec->addToLibrary();
    }
    return nullptr;
}

TEST_F(Expansion, RefusesToExplode) {
    declareSinCos();
    const std::string refused = "Expansion gives more than 16777216 ";
    const auto check = [&](ShadingNodeSpec& spec, const std::string& expected) {
        const std::string text = specText(spec);
        EXPECT_EQ(thrownBy([&] { spec.expandFunctionCalls(); }), expected);
        EXPECT_EQ(specText(spec), text);
    };
    check(*declareDoubling("sum", 59, true), refused + "calls: sum59");
    check(*declareDoubling("id", 59, false), refused + "calls: id59");
    // Two nodes in the end, and more than the limit on the way there: before the last level 2^23 calls
    // with a link each.
    check(*ShadingNodeSpec::findSpecInLibrary("id23"), refused + "nodes and links: id23");
    check(*makeWide("wide", 4100, 4100), refused + "nodes and links: wide1");
    for (const char* name : {"sum10", "id10"}) {
        ShadingNodeSpec* small = ShadingNodeSpec::findSpecInLibrary(name);
        small->expandFunctionCalls();
        EXPECT_EQ(nodesOf(*small).size(), *name == 's' ? 1026U : 2U);
        checkGraph(*small);
    }
}

TEST_F(Expansion, ChecksEverythingBeforeItStarts) {
    declareSinCos();
    // half(out a, out b, x) connects only b; users read one, the other, or both through a function.
    ShadingNodeSpec* half =
        makeSpec(kFunctionNode, "half", {{kFloat, "x", {}}}, {{kFloat, "a", {}}, {kFloat, "b", {}}});
    half->connectOutput(parameter(*half, "x"), parameter(*half, "b"));
    half->addToLibrary();
    ShadingNodeSpec* relay =
        makeSpec(kFunctionNode, "relay", {{kFloat, "x", {}}}, {{kFloat, "a", {}}, {kFloat, "b", {}}});
    const ShadingAttribute y = parameter(*relay, "x");
    ShadingNode* inRelay = relay->addInternalNode("half", {y, y, y});
    relay->connectOutput(valueOf(inRelay, "a"), parameter(*relay, "a"));
    relay->connectOutput(valueOf(inRelay, "b"), parameter(*relay, "b"));
    relay->addToLibrary();
    ShadingNodeSpec* user = makeSpec(kFunctionNode, "user", {{kFloat, "x", {}}});
    const ShadingAttribute w = parameter(*user, "x");
    const ShadingAttribute unset = valueOf(user->addInternalNode("relay", {w, w, w}), "a");
    user->addInternalNode("op", {w, unset}); // its value goes nowhere, but the call is there
    user->addToLibrary();

    for (const std::string name : {"half", "relay"}) {
        for (const char* output : {"a", "b"}) {
            const OwnedSpec spec(makeSpec(kFunctionNode, "f", {{kFloat, "x", {}}}));
            const ShadingAttribute x = parameter(*spec, "x");
            ShadingNode* call = spec->addInternalNode(name, {x, x, x});
            spec->connectOutput(valueOf(call, output), parameter(*spec, "output"));
            const OwnedSpec single(spec->clone());
            const std::string text = specText(*spec);
            const bool fine = *output == 'b';
            const std::string expected = fine ? "nothing" : "Output is not connected: a";
            EXPECT_EQ(thrownBy([&] { spec->expandFunctionCalls(); }), expected);
            EXPECT_EQ(thrownBy([&] { single->expandNode(firstCall(*single, name)); }),
                      name == "half" ? expected : "nothing")
                << "one level is fine";
            if (!fine) {
                EXPECT_EQ(specText(*spec), text);
            } else {
                EXPECT_EQ(nodesOf(*spec).size(), 2U);
                EXPECT_EQ(linksOf(*spec).back()->sourceNode(), x.nodePtr());
            }
            checkGraph(*spec);
            checkGraph(*single);
        }
    }
    const OwnedSpec reader(makeSpec(kFunctionNode, "f", {{kFloat, "x", {}}}));
    reader->addInternalNode("user", {parameter(*reader, "x")});
    EXPECT_EQ(thrownBy([&] { reader->expandFunctionCalls(); }), "Output is not connected: a");

    // Inputs that are not connected: of the call, of a call in the body, of one further down.
    ShadingLink* inside = linksOf(*relay)[0];
    const OwnedSpec spec(makeSpec(kFunctionNode, "f", {{kFloat, "x", {}}}));
    const ShadingAttribute x = parameter(*spec, "x");
    ShadingNode* call = spec->addInternalNode("relay", {x, x, x});
    const OwnedSpec above(makeSpec(kFunctionNode, "g", {}));
    for (ShadingLink* broken : {linksOf(*spec)[0], inside}) {
        broken->setDestAttrName("elsewhere");
        const std::string text = specText(*spec);
        EXPECT_EQ(thrownBy([&] { spec->expandNode(call); }), "Input is not connected: x");
        EXPECT_EQ(thrownBy([&] { spec->expandFunctionCalls(); }), "Input is not connected: x");
        EXPECT_EQ(specText(*spec), text);
        broken->setDestAttrName("x");
    }
    spec->expandFunctionCalls();
    EXPECT_EQ(nodesOf(*spec).size(), 2U);
}

TEST_F(Expansion, ReplacesACall) {
    declareSinCos();
    declare("op2", {{kFloat, "c", {}}, {kFloat, "d", {}}}, {{kFloat, "output", {4, 4}}});
    declare("vector", {{kFloat, "a", {}}, {kFloat3, "b", {}}});
    declare("returns", {{kFloat, "a", {}}, {kFloat, "b", {}}}, {{kFloat3, "output", {}}});
    declare("one", {{kFloat, "a", {}}});
    declare("out", {{kFloat, "a", {}}}, {{kFloat, "output", {}}, {kFloat, "b", {}}});
    declare("lit", {{kFloat, "a", {}}, {kFloat, "b", {}}, {kFloat3, "light", {3, 3}}});
    const OwnedSpec spec(makeSpec(kFunctionNode, "f", {{kFloat, "x", {2, 2}}}));
    const ShadingAttribute x = parameter(*spec, "x");
    ShadingNode* node = spec->addInternalNode("op", {x, x});
    ShadingNode* reader = spec->addInternalNode("one", {valueOf(node)});
    spec->connectOutput(valueOf(reader), parameter(*spec, "output"));
    const auto find = [](const char* name) { return ShadingNodeSpec::findSpecInLibrary(name); };

    const std::string text = specText(*spec);
    for (const char* other : {"vector", "returns", "one", "out", "sincos", "lit"}) {
        EXPECT_EQ(spec->replaceOperationNode(node, find(other), std::string(other) != "lit"), nullptr)
            << other;
    }
    EXPECT_EQ(spec->replaceOperationNode(node, nullptr, true), nullptr);
    EXPECT_EQ(spec->replaceOperationNode(x.nodePtr(), find("op"), true), nullptr);
    EXPECT_EQ(specText(*spec), text);

    // Names differ: links keep theirs, the range is taken over.
    node = spec->replaceOperationNode(node, find("op2"), false);
    EXPECT_EQ(node->compFreqRangeOfOutput("output"), CompFreqRange(2, 2));
    checkGraph(*spec);
    EXPECT_EQ(linksText(*spec), "3:3.output->0.output uniform; 4:1.x->4.a uniform; "
                                "5:1.x->4.b uniform; 6:4.output->3.a uniform");
    // More inputs: the function gains them.
    node = spec->replaceOperationNode(node, find("lit"), true);
    checkGraph(*spec);
    EXPECT_EQ(node->compFreqRangeOfOutput("output"), CompFreqRange(3, 3)) << "all inputs are found by name";
    EXPECT_EQ(linksText(*spec), "3:3.output->0.output uniform; 7:1.x->5.a uniform; 8:1.x->5.b uniform; "
                                "9:5.output->3.a uniform; 10:6.output->5.light vertex");
    EXPECT_EQ(spec->numInputs(), 2);
    EXPECT_EQ(spec->input(1).dataType(), kFloat3);
    EXPECT_TRUE(spec->input(1).nodePtr()->isLightSpecific());

    // An extra input of a name that is taken: once among the function's own, once among the new ones.
    declare("again", {{kFloat, "a", {}}, {kFloat, "b", {}}, {kFloat3, "light", {}}, {kFloat, "x", {}}});
    declare("twice",
            {{kFloat, "a", {}}, {kFloat, "b", {}}, {kFloat3, "light", {}}, {kInt, "n", {}}, {kInt, "n", {}}});
    const std::string before = specText(*spec);
    for (const char* other : {"again", "twice"}) {
        EXPECT_EQ(spec->replaceOperationNode(node, find(other), true), nullptr) << other;
    }
    EXPECT_EQ(specText(*spec), before);
}

// Nodes whose own setters made them something else: what then does not fit together is refused as a
// target and as a body, and can still be ordered and drawn.
TEST_F(Expansion, ChecksFunctionsWhoseNodesWereChanged) {
    declareSinCos();
    ShadingNodeSpec* id = makeSpec(kFunctionNode, "id", {{kFloat, "x", {}}});
    id->connectOutput(parameter(*id, "x"), parameter(*id, "output"));
    id->addToLibrary();
    ShadingNodeSpec* op = ShadingNodeSpec::findSpecInLibrary("op");
    const struct {
        const char* message; // "": fits together
        std::function<void(std::vector<ShadingNode*>&, ShadingNodeSpec&)> change;
    } rows[] = {
        {"", [](auto& n, auto&) { n[1]->setInput(kFloat3, "x"); }},
        {"", [](auto& n, auto&) { n[2]->setConstant(TypedConstant(1, 2)); }},
        {"", [&](auto& n, auto&) { n[3]->setOperator(op); }},
        {"node 1 (op) was x", [&](auto& n, auto&) { n[1]->setOperator(op); }},
        {"node 2 (op) was output", [&](auto& n, auto&) { n[2]->setOperator(op); }},
        {"node 2 (c) was output", [](auto& n, auto&) { n[2]->setInput(kFloat, "c"); }},
        {"node 1 (x) was x", [](auto& n, auto&) { n[1]->setOutput(kFloat, "x"); }},
        {"node 0 (output) was output", [](auto& n, auto&) { n[0]->setInput(kFloat, "output"); }},
        {"node 1 (renamed) was x", [](auto& n, auto&) { n[1]->setInput(kFloat, "renamed"); }},
        {"node 0 (renamed) was output", [](auto& n, auto&) { n[0]->setOutput(kFloat, "renamed"); }},
        {"node 1 (1) was x", [](auto& n, auto&) { n[1]->setConstant(TypedConstant(1.0F)); }},
        {"node 3 (x) is in no list", [](auto& n, auto&) { n[3]->setInput(kFloat, "x"); }},
        {"node 3 (1) is in no list", [](auto& n, auto&) { n[3]->setConstant(TypedConstant(1.0F)); }},
        {"node 3 (output) is in no list", [](auto& n, auto&) { n[3]->setOutput(kFloat, "output"); }},
        {"node 3 (2) is in no list", [](auto& n, auto&) { *n[3] = *n[2]; }},
        {"node 3 (invalidNodeType) is in no list", [](auto& n, auto&) { *n[3] = ShadingNode(); }},
        {"node 1 (invalidNodeType) was x", [](auto& n, auto&) { *n[1] = ShadingNode(); }},
        {"a link leaves node 0 (output)",
         [](auto& n, auto& spec) {
             n[0]->setInput(kFloat, "output");
             spec.addInternalNode("op", {valueOf(n[0]), valueOf(n[0])});
             n[0]->setOutput(kFloat, "output");
         }},
        {"links go in a circle",
         [](auto& n, auto& spec) {
             n[1]->setOutput(kFloat, "x");
             spec.connectOutput(valueOf(n[3]), ShadingAttribute(n[1], "x"));
             n[1]->setInput(kFloat, "x");
         }},
    };
    for (const auto& row : rows) {
        // 0: output, 1: x, 2: 2, 3: op(x, 2), 4: id(3) -> output
        ShadingNodeSpec* spec = makeSpec(kFunctionNode, "f", {{kFloat, "x", {}}});
        const ShadingAttribute two = valueOf(spec->addInternalNode(TypedConstant(2.0F)));
        const ShadingAttribute sum = valueOf(spec->addInternalNode("op", {parameter(*spec, "x"), two}));
        ShadingNode* last = spec->addInternalNode("id", {sum});
        spec->connectOutput(valueOf(last), parameter(*spec, "output"));
        spec->addToLibrary();
        const OwnedSpec caller(makeSpec(kFunctionNode, "caller", {{kFloat, "x", {}}}));
        ShadingNode* call = caller->addInternalNode("f", {parameter(*caller, "x")});
        std::vector<ShadingNode*> nodes = nodesOf(*spec);
        row.change(nodes, *spec);

        const std::string text = convertToGraphviz(spec, true, true);
        const std::string links = linksText(*spec) + linksText(*caller);
        const bool fits = *row.message == '\0';
        const std::string message =
            std::string("The nodes of function f were changed and do not fit together: ") + row.message;
        EXPECT_EQ(thrownBy([&] { delete spec->clone(); }), fits ? "nothing" : message);
        if (!fits) {
            EXPECT_EQ(thrownBy([&] { spec->expandNode(last); }), message);
            EXPECT_EQ(thrownBy([&] { spec->expandFunctionCalls(); }), message);
            EXPECT_EQ(thrownBy([&] { spec->replaceOperationNode(last, id, false); }), message);
            EXPECT_EQ(thrownBy([&] { caller->expandNode(call); }), message);
            EXPECT_EQ(thrownBy([&] { caller->expandFunctionCalls(); }), message);
        }
        std::map<ShadingNode*, unsigned int> distance;
        std::list<ShadingNode*> order;
        spec->fastTopoSort(&order, true);
        EXPECT_EQ(order.size(), nodesOf(*spec).size());
        spec->computeDistance(nodes[0], distance, true);
        spec->computeDeepestChildrenDistance(nodes[0], distance, distance, false);
        spec->optimalTopoSort(distance, &order);
        EXPECT_EQ(convertToGraphviz(spec, true, true), text);
        EXPECT_EQ(linksText(*spec) + linksText(*caller), links);
        checkGraph(*caller);
        caller->expandNode(fits ? call : nodesOf(*caller)[0]);
        checkGraph(*caller);
        delete spec;
    }
}

// Outputs of other names are matched by position, the returned value with the returned value.
TEST_F(Expansion, ReplacesOutputsByPosition) {
    declare("from", {}, {{kFloat, "output", {1, 1}}, {kFloat, "a", {2, 2}}, {kFloat, "b", {3, 3}}});
    declare("to", {}, {{kFloat, "b", {}}, {kFloat, "output", {}}, {kFloat, "c", {}}, {kInt, "more", {4, 4}}});
    declare("sink", {{kFloat, "x", {}}, {kFloat, "y", {}}, {kFloat, "z", {}}});
    const OwnedSpec spec(makeSpec(kFunctionNode, "f", {}));
    const ShadingAttribute any("any", kFloat);
    ShadingNode* from = spec->addInternalNode("from", {any, any});
    spec->addInternalNode("sink", {valueOf(from), valueOf(from, "a"), valueOf(from, "b")});
    linksOf(*spec)[0]->setDestAttrName("x");
    ShadingNode* to = spec->replaceOperationNode(from, ShadingNodeSpec::findSpecInLibrary("to"), true);
    std::string text;
    for (const ShadingLink* link : to->outgoingLinks()) {
        text += link->sourceAttrName() + std::to_string(link->sourceOutput()) + " ";
    }
    EXPECT_EQ(text, "output1 a0 b2 ");
}

// Functions that call functions that call ... 20,000 deep, on a small stack.
TEST_F(Expansion, FollowsDeepNesting) {
    declareSinCos();
    ShadingNodeSpec* last = nullptr;
    for (int i = 0; i < 20000; ++i) {
        last = makeSpec(kFunctionNode, "f" + std::to_string(i), {{kFloat, "x", {}}});
        ShadingAttribute value = parameter(*last, "x");
        if (i > 0) {
            value = valueOf(last->addInternalNode("f" + std::to_string(i - 1), {value}));
        }
        last->connectOutput(valueOf(last->addInternalNode("op", {value, value})), parameter(*last, "output"));
        last->addToLibrary();
    }
    last->expandFunctionCalls();
    EXPECT_EQ(nodesOf(*last).size(), 20002U);
    checkGraph(*last);
}

// A library of random functions, then random operations on one of them: after each the graph keeps
// its promises and computes what it did; when an operation throws, nothing has changed.
TEST_F(Expansion, SurvivesRandomOperations) {
    std::mt19937 random(20);
    int refused = 0;
    for (int round = 0; round < 40; ++round) {
        declareSinCos();
        ShadingNodeSpec* spec = nullptr;
        const CompFreqRange ranges[] = {{1, 4}, {1, 1}, {2, 3}, {3, 4}};
        for (int i = 0; i < 5; ++i) {
            spec = makeSpec(kFunctionNode, "f" + std::to_string(i), {{kFloat, "x", {}}, {kFloat, "y", {}}},
                            {{kFloat, "output", {}}, {kFloat, "side", ranges[random() % 4]}});
            std::vector<ShadingAttribute> values{
                parameter(*spec, "x"), parameter(*spec, "y"),
                valueOf(spec->addInternalNode(TypedConstant(static_cast<float>(i))))};
            const auto any = [&] { return values[random() % values.size()]; };
            for (unsigned int calls = random() % 5; calls > 0; --calls) {
                const unsigned int callee = random() % 4;
                ShadingNode* node = nullptr;
                if (callee == 0) {
                    node = spec->addInternalNode("op", {any(), any()});
                } else if (callee == 1) {
                    node = spec->addInternalNode("sincos", {any(), any(), any()});
                    values.push_back(valueOf(node, "s"));
                    values.push_back(valueOf(node, "c"));
                    continue;
                } else if (i > 0) {
                    node = spec->addInternalNode(
                        "f" + std::to_string(random() % static_cast<unsigned int>(i)), {any(), any(), any()});
                    values.push_back(valueOf(node, "side"));
                } else {
                    continue;
                }
                values.push_back(valueOf(node));
            }
            for (const char* output : {"output", "side"}) {
                if (random() % 12 != 0) {
                    spec->connectOutput(any(), parameter(*spec, output));
                }
            }
            spec->addToLibrary();
        }
        OwnedSpec work(spec->clone());
        const auto expected = evaluate(*work);
        for (int step = 0; step < 30; ++step) {
            const auto nodes = nodesOf(*work);
            ShadingNode* node = nodes[random() % nodes.size()];
            const std::string text = specText(*work);
            const std::string error = thrownBy([&] {
                switch (random() % 8) {
                case 0:
                    work->replaceOperationNode(node, node->specPtr(), true);
                    break;
                case 1:
                    work.reset(work->clone());
                    EXPECT_EQ(linksText(*work), text.substr(text.size() - linksText(*work).size()));
                    break;
                case 2:
                    if (step > 15) {
                        work->expandFunctionCalls();
                    }
                    break;
                default:
                    work->expandNode(node);
                }
            });
            if (error != "nothing") {
                ++refused;
                EXPECT_EQ(error.substr(0, 25), "Output is not connected: ");
                EXPECT_EQ(specText(*work), text);
            }
            checkGraph(*work);
            ASSERT_EQ(evaluate(*work), expected) << round << " " << step;
        }
        ShadingNodeSpec::clearLibrary();
    }
    EXPECT_GT(refused, 0);
}

} // namespace
