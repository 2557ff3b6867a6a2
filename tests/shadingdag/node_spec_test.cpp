#include "GraphTesting.h"
#include "MemberTable.h"

#include "shadingdag/Graphviz.h"

#include <functional>

using namespace graphTesting;

namespace {

using NodeSpec = GraphTest;
using Graphviz = GraphTest;

TEST(ShadingNode, StandsForWhatItWasSetTo) {
    const std::vector<int> before = liveObjects();
    {
        const OwnedSpec spec(makeSpec(kOperationNode, "dot", {{kFloat3, "a", {}}, {kInt, "b", {}}},
                                      {{kFloat, "output", {}}, {kFloat2, "second", {}}}));
        ShadingNode node;
        EXPECT_EQ(node.name(), "invalidNodeType");
        EXPECT_EQ(node.compFreqRangeOfOutput("any"), CompFreqRange(0, 0));
        EXPECT_THROW(node.constant(), Exception);
        EXPECT_THROW(node.setOperator(nullptr), Exception);

        node.setConstant(TypedConstant(1, 2));
        const ShadingNode copy(node);
        EXPECT_NE(&copy.constant(), &node.constant()) << "a copy holds a constant of its own";
        node.setConstant(node.constant());
        EXPECT_EQ(node.name(), "{1,2}");
        EXPECT_EQ(node.dataTypeOfOutput("any"), kFloat2);
        EXPECT_EQ(node.compFreqRangeOfOutput("any"), CompFreqRange(1, 1));
        node.setConstant(TypedConstant());
        EXPECT_EQ(node.dataTypeOfOutput("output"), kInvalidDataType);

        node.setOperator(spec.get());
        EXPECT_EQ(node.nodeType(), kOperationNode);
        EXPECT_EQ(node.name(), "dot");
        EXPECT_EQ(node.dataTypeOfInput("b"), kInt);
        EXPECT_EQ(node.dataTypeOfInput("output"), kInvalidDataType);
        EXPECT_EQ(node.dataTypeOfOutput("second"), kFloat2);
        EXPECT_EQ(thrownBy([&] { node.compFreqRangeOfOutput("anything"); }),
                  "Comp freq range not found for attribute anything");
        EXPECT_EQ(thrownBy([&] { ShadingAttribute(&node, "anything"); }),
                  "Comp freq range not found for attribute anything");
        node.addOutputCompFreqRange("output", CompFreqRange(2, 2));
        node.addOutputCompFreqRange("output", CompFreqRange(3, 4));
        EXPECT_EQ(node.compFreqRangeOfOutput("output"), CompFreqRange(3, 4));

        node.setOutput(kInt4, "o");
        node = copy;
        EXPECT_EQ(node.name(), "{1,2}");
        EXPECT_EQ(copy.name(), "{1,2}");
    }
    EXPECT_EQ(liveObjects(), before);
}

// Only functions make links; whoever derives from one gets a link without a graph.
class LooseLink : public ShadingLink {
public:
    void become(const ShadingLink& other) { ShadingLink::operator=(other); }
};

std::string endsOf(const LooseLink& link) {
    const auto end = [](const ShadingNode* node) { return node ? std::to_string(node->number()) : "none"; };
    return end(link.sourceNode()) + " to " + end(link.destNode());
}

TEST_F(NodeSpec, LinksAndNodesAreCopiedWhole) {
    declare("two", {{kFloat, "a", {}}}, {{kFloat, "c", {}}, {kFloat, "d", {}}});
    declare("one", {{kFloat, "a", {}}});
    const OwnedSpec spec(makeSpec(kFunctionNode, "f", {{kFloat, "x", {}}}));
    const ShadingAttribute x = parameter(*spec, "x");
    ShadingNode* two = spec->addInternalNode("two", {x, x, x});
    ShadingNode* one = spec->addInternalNode("one", {valueOf(two, "d")});
    spec->connectOutput(valueOf(one), parameter(*spec, "output"));
    const std::vector<ShadingLink*> made = linksOf(*spec);

    MemberTable<LooseLink> links;
    // Ends, number and the output that is read can only be had from a link that a function made.
    links.add(
        "ends", [&](LooseLink& l, int i) { l.become(*made[static_cast<unsigned int>(i)]); }, endsOf);
    links.add(
        "number", [](LooseLink&, int) {}, &LooseLink::number);
    links.add(
        "source", [](LooseLink& l, int i) { l.setSourceAttrName(i == 1 ? "a" : "b"); },
        &LooseLink::sourceAttrName);
    links.add(
        "output", [](LooseLink&, int) {},
        [](const LooseLink& l) { return 10 * static_cast<int>(l.number()) + l.sourceOutput(); });
    links.add(
        "dest", [](LooseLink& l, int i) { l.setDestAttrName(i == 1 ? "a" : "b"); }, &LooseLink::destAttrName);
    links.add(
        "type", [](LooseLink& l, int i) { l.setDataType(i == 1 ? kFloat : kInt); }, &LooseLink::dataType);
    links.add(
        "range",
        [](LooseLink& l, int i) {
            l.setCompFreqRange({1, i == 1 ? 2U : 3U});
        },
        [](const LooseLink& l) { return l.compFreqRange().toString(); });
    links.checkCopies();
    links.checkAssignments();

    const auto constant = [](ShadingNode& n) { n.setConstant(TypedConstant(1, 2)); };
    const auto call = [&](ShadingNode& n) { n.setOperator(two->specPtr()); };
    const auto input = [](ShadingNode& n) { n.setInput(kFloat4, "c"); };
    const auto output = [](ShadingNode& n) { n.setOutput(kInt, "d"); };
    const std::function<void(ShadingNode&)> kinds[][2] = {{constant, call}, {call, input}, {input, output}};
    for (const auto& pair : kinds) {
        MemberTable<ShadingNode> nodes;
        nodes.add(
            "lists", [&](ShadingNode& n, int i) { n = i == 1 ? *one : *x.nodePtr(); },
            [](const ShadingNode& n) { return n.incomingLinks().size() + 3 * n.outgoingLinks().size(); });
        nodes.add(
            "kind", [&](ShadingNode& n, int i) { pair[i - 1](n); }, &ShadingNode::nodeType);
        nodes.add(
            "number", [](ShadingNode&, int) {}, &ShadingNode::number);
        nodes.add(
            "name", [](ShadingNode&, int) {}, &ShadingNode::name);
        nodes.add(
            "type", [](ShadingNode&, int) {}, [](const ShadingNode& n) { return n.dataTypeOfOutput("c"); });
        nodes.add(
            "range",
            [](ShadingNode& n, int i) {
                n.addOutputCompFreqRange("c", {1, i + 1U});
            },
            [](const ShadingNode& n) { return n.compFreqRangeOfOutput("c").toString(); });
        nodes.add(
            "light", [](ShadingNode& n, int i) { n.setLightSpecific(i == 1); },
            [](const ShadingNode& n) { return n.isLightSpecific() ? n.nodeType() : -n.nodeType(); });
        nodes.add(
            "source",
            [](ShadingNode& n, int i) {
                n.setSource(i == 1 ? "a" : "b", {1, 1U + i}, i == 1 ? "f" : "g", i == 1 ? "v" : "w");
            },
            [](const ShadingNode& n) {
                return n.sourceFile() + n.sourceLocation().toString() + n.originFunction() + n.variableName();
            });
        nodes.checkCopies();
        nodes.checkAssignments();
    }
}

TEST_F(NodeSpec, ListsItsParameters) {
    const OwnedSpec spec(makeSpec(kFunctionNode, "f", {{kFloat, "x", {2, 4}}, {kInt, "y", {}}},
                                  {{kFloat, "output", {}}, {kFloat3, "side", {}}}));
    checkGraph(*spec);
    EXPECT_EQ(specText(*spec), "f 5\n"
                               "in float x uniform:fragment at 2\n"
                               "in int y constant:fragment at 3\n"
                               "out float output constant:fragment at 0\n"
                               "out float3 side constant:fragment at 1\n"
                               "out argument float3 side constant:fragment at 1\n"
                               "argument float x uniform:fragment at 2\n"
                               "argument int y constant:fragment at 3\n"
                               "0 2 output float constant:fragment\n"
                               "1 2 side float3 constant:fragment\n"
                               "2 1 x float uniform:fragment\n"
                               "3 1 y int constant:fragment\n");
    EXPECT_EQ(spec->numInputs(), 2);
    EXPECT_EQ(spec->numOutputs(), 2);
    EXPECT_EQ(spec->input(1).name(), "y");
    EXPECT_EQ(thrownBy([&] { spec->input(2); }), "Function f has no input number 2");
    EXPECT_EQ(thrownBy([&] { spec->input(-1); }), "Function f has no input number -1");
    spec->addInternalNode(TypedConstant(1, 2));
    EXPECT_EQ(spec->dataTypeOfConstant("output"), kFloat2);
    EXPECT_EQ(spec->dataTypeOfConstant("x"), kInvalidDataType);
    EXPECT_EQ(spec->getOffsetOfInput("y"), 1);
    ShadingAttribute found("untouched", kBool);
    EXPECT_EQ(spec->getOffsetOfInput("side", found), -1);
    EXPECT_EQ(found.name(), "untouched");
    EXPECT_EQ(spec->getOffsetOfInput("y", found), 1);
    EXPECT_EQ(found.dataType(), kInt);
    EXPECT_EQ(spec->dataTypeOfOutput("side"), kFloat3);
    EXPECT_EQ(spec->dataTypeOfOutput("x"), kInvalidDataType);
    EXPECT_FALSE(spec->isFullySpecified());
    EXPECT_TRUE(spec->isProperlyConnected());
    for (const int kind : {-1, 0, 1, 2, 3, 6}) {
        EXPECT_EQ(ShadingNodeSpec::createNew(static_cast<NodeType>(kind)), nullptr);
    }
}

// The class comment's example, with what addInput and addOutput return.
TEST_F(NodeSpec, TakesParametersForTheirValues) {
    declare("op", {{kFloat, "a", {}}, {kFloat, "b", {}}});
    const OwnedSpec spec(ShadingNodeSpec::createNew(kFunctionNode));
    const ShadingAttribute* x = spec->addInput(kFloat, "x", {2, 2});
    const ShadingAttribute* y = spec->addInput(kFloat, "y", {});
    const ShadingAttribute* first = spec->addOutput(kFloat, "first", {});
    const ShadingAttribute* second = spec->addOutput(kFloat, "second", {});
    spec->connectOutput({spec->addInternalNode("op", {x, y}), "output"}, first);
    spec->connectOutput(x, second);
    EXPECT_EQ(linksText(*spec), "0:0.x->4.a uniform; 1:1.y->4.b constant:fragment; "
                                "2:4.output->2.first uniform:fragment; 3:0.x->3.second uniform");
}

TEST_F(NodeSpec, ResolvesCallsByExactTypes) {
    ShadingNodeSpec* scalar = declare("mul", {{kFloat, "a", {}}, {kFloat, "b", {}}});
    ShadingNodeSpec* vector =
        declare("mul", {{kFloat3, "a", {}}, {kFloat3, "b", {}}}, {{kFloat3, "output", {}}});
    ShadingNodeSpec* same = declare("mul", {{kFloat3, "c", {}}, {kFloat3, "d", {}}});
    declare("mulch", {});
    declare("nothing", {}, {{kFloat, "output", {3, 4}}});
    scalar->addToLibrary(); // a second time

    ShadingNodeSpec::LibraryIterator first;
    ShadingNodeSpec::LibraryIterator last;
    ShadingNodeSpec::findSpecsInLibrary("mul", first, last);
    std::vector<ShadingNodeSpec*> found;
    for (; first != last; ++first) {
        found.push_back(first->second);
    }
    EXPECT_EQ(found, (std::vector<ShadingNodeSpec*>{scalar, vector, same}));
    std::string names;
    for (ShadingNodeSpec::allSpecsInLibrary(first, last); first != last; ++first) {
        names += first->first + " ";
    }
    EXPECT_EQ(names, "mul mul mul mulch nothing ");
    EXPECT_EQ(ShadingNodeSpec::findSpecInLibrary("mul"), scalar);
    EXPECT_EQ(ShadingNodeSpec::findSpecInLibrary("mu"), nullptr);
    EXPECT_TRUE(scalar->isFullySpecified());

    const OwnedSpec spec(makeSpec(kFunctionNode, "f", {{kFloat, "x", {}}, {kFloat3, "v", {}}}));
    const ShadingAttribute x = parameter(*spec, "x");
    const ShadingAttribute v = parameter(*spec, "v");
    EXPECT_EQ(spec->addInternalNode("mul", {v, v})->specPtr(), vector);
    EXPECT_EQ(spec->addInternalNode("mul", {x, x})->specPtr(), scalar);
    EXPECT_EQ(valueOf(spec->addInternalNode("nothing", {})).compFreqRange(), CompFreqRange(3, 3));
    const std::string text = specText(*spec);
    EXPECT_EQ(thrownBy([&] {
                  spec->addInternalNode("mul", {x, v});
              }),
              "No match for function: mul(float, float3)");
    EXPECT_EQ(thrownBy([&] { spec->addInternalNode("mul", {x}); }), "No match for function: mul(float)");
    EXPECT_EQ(thrownBy([&] { spec->addInternalNode("nothing", {x}); }),
              "No match for function: nothing(float)");
    EXPECT_EQ(thrownBy([&] { spec->addInternalNode("none", {}); }), "No match for function: none()");
    EXPECT_EQ(specText(*spec), text);
    EXPECT_EQ(spec->addInternalNode(TypedConstant(1.0F))->number(), 6U) << "no number was used up";
    checkGraph(*spec);

    delete vector; // leaves the library
    EXPECT_EQ(spec->addInternalNode("mul", {v, v})->specPtr(), same);
}

TEST_F(NodeSpec, ChecksTheFrequenciesOfArguments) {
    declare("late", {{kFloat, "a", {}}, {kFloat, "b", {3, 4}}});
    const OwnedSpec spec(makeSpec(kFunctionNode, "f",
                                  {{kFloat, "any", {}}, {kFloat, "pixel", {4, 4}}, {kFloat, "bad", {0, 0}}}));
    const ShadingAttribute any = parameter(*spec, "any");
    const ShadingAttribute pixel = parameter(*spec, "pixel");
    const ShadingAttribute bad = parameter(*spec, "bad");
    const ShadingNode* call = spec->addInternalNode("late", {any, pixel});
    EXPECT_EQ(call->compFreqRangeOfOutput("output"), CompFreqRange(4, 4));
    EXPECT_EQ(
        thrownBy([&] {
            spec->addInternalNode("late", {pixel, any});
        }),
        "Allowable computational frequency range of vertex:fragment couldn't accomodate constant:fragment");
    EXPECT_EQ(thrownBy([&] {
                  spec->addInternalNode("late", {bad, any});
              }),
              "Allowable computational frequency range of constant:fragment couldn't accomodate invalid");
    // The call and the links made before the failure stay.
    EXPECT_EQ(linksText(*spec),
              "0:1.any->4.a constant:fragment; 1:2.pixel->4.b fragment; 2:2.pixel->5.a fragment");
    EXPECT_EQ(nodesOf(*spec).size(), 7U);
    checkGraph(*spec);
    const OwnedSpec copy(spec->clone());
    EXPECT_EQ(linksText(*copy), linksText(*spec)) << "an unfinished graph can be cloned";
}

TEST_F(NodeSpec, RefusesValuesThatAreNotThere) {
    declare("split", {{kFloat, "x", {}}}, {{kFloat, "whole", {}}, {kFloat, "rest", {}}});
    const OwnedSpec spec(
        makeSpec(kFunctionNode, "f", {{kFloat, "x", {}}}, {{kFloat, "o", {}}, {kFloat, "p", {}}}));
    const OwnedSpec other(makeSpec(kFunctionNode, "g", {{kFloat, "y", {}}}));
    const ShadingAttribute x = parameter(*spec, "x");
    const ShadingAttribute o = parameter(*spec, "o");
    const ShadingAttribute y = parameter(*other, "y");
    const ShadingAttribute unassigned("t", kFloat);
    const std::string text = specText(*spec);

    // "split" takes (out whole, out rest, x): anything goes where it only writes.
    const std::string assigned = "Variable used before it is assigned: ";
    EXPECT_EQ(thrownBy([&] { spec->addInternalNode("split", {x, x, unassigned}); }), assigned + "t");
    EXPECT_EQ(thrownBy([&] { spec->addInternalNode("split", {x, x, o}); }), assigned + "o");
    EXPECT_EQ(thrownBy([&] {
                  spec->addInternalNode("split", {x, x, y});
              }),
              "The value is not in the graph of function f: y");
    EXPECT_EQ(thrownBy([&] { spec->connectOutput(unassigned, o); }), assigned + "t");
    EXPECT_EQ(thrownBy([&] { spec->connectOutput(y, o); }), "The value is not in the graph of function f: y");
    for (const ShadingAttribute& noOutput : {x, unassigned, y, parameter(*other, "output")}) {
        EXPECT_EQ(thrownBy([&] { spec->connectOutput(x, noOutput); }),
                  "Function f has no output to connect: " + noOutput.name());
    }
    EXPECT_EQ(thrownBy([&] { spec->evaluateCompFrequencies(nullptr); }),
              "The node is not in the graph of function f");
    EXPECT_EQ(thrownBy([&] { spec->evaluateCompFrequencies(y.nodePtr()); }),
              "The node is not in the graph of function f");
    EXPECT_EQ(specText(*spec), text);

    ShadingNode* split = spec->addInternalNode("split", {o, unassigned, x});
    spec->connectOutput(o, o);
    spec->connectOutput(o, ShadingAttribute("p", kFloat));
    EXPECT_EQ(linksText(*spec), "0:2.x->3.x constant:fragment")
        << "an output without a value stays unconnected";
    spec->connectOutput(valueOf(split, "rest"), ShadingAttribute("p", kFloat));
    EXPECT_EQ(linksText(*spec), "0:2.x->3.x constant:fragment; 1:3.rest->1.p constant:fragment");
    EXPECT_EQ(spec->inputLinkOfNode(split, "x"), linksOf(*spec)[0]);
    EXPECT_EQ(spec->inputLinkOfNode(split, "y"), nullptr);
    EXPECT_EQ(spec->inputLinkOfNode(nullptr, "x"), nullptr);
    EXPECT_EQ(other->inputLinkOfNode(split, "x"), nullptr);
    checkGraph(*spec);

    linksOf(*spec)[0]->setDestAttrName("elsewhere");
    EXPECT_EQ(thrownBy([&] { spec->evaluateCompFrequencies(split); }), "Input is not connected: x");
    ShadingLink* rest = linksOf(*spec)[1];
    EXPECT_EQ(rest->sourceOutput(), 1);
    rest->setSourceAttrName("whole");
    EXPECT_EQ(rest->sourceOutput(), 0);
    rest->setSourceAttrName("unknown");
    EXPECT_EQ(rest->sourceOutput(), 0);
}

TEST_F(NodeSpec, EvaluatesFrequencies) {
    // The ranges of three inputs, in order, and the declared and resulting range of the output.
    const struct {
        CompFreqRange inputs[3];
        CompFreqRange declared;
        CompFreqRange result;
    } rows[] = {
        {{{1, 1}, {3, 4}, {1, 1}}, {1, 4}, {3, 4}}, {{{1, 1}, {3, 4}, {1, 1}}, {4, 4}, {4, 4}},
        {{{1, 2}, {1, 1}, {1, 1}}, {3, 4}, {3, 3}}, // low 3 above high 2
        {{{1, 4}, {2, 4}, {1, 3}}, {1, 1}, {2, 4}}, // the declared highest takes no part
        {{{0, 0}, {0, 0}, {2, 3}}, {1, 4}, {2, 3}}, // an empty range in the middle is forgotten
        {{{2, 3}, {4, 1}, {1, 1}}, {1, 4}, {1, 1}}, // [4, 3] became [0, 0], then [1, 1] came
        {{{2, 3}, {1, 1}, {4, 1}}, {2, 4}, {2, 2}}, // empty at the end: the declared lowest
        {{{1, 1}, {1, 1}, {1, 1}}, {0, 0}, {1, 1}}, {{{0, 0}, {0, 0}, {0, 0}}, {0, 0}, {0, 0}},
    };
    for (const auto& row : rows) {
        declare("f", {{kFloat, "a", {}}, {kFloat, "b", {}}, {kFloat, "c", {}}},
                {{kFloat, "output", row.declared}});
        const OwnedSpec spec(makeSpec(kFunctionNode, "g", {{kFloat, "x", {}}}));
        const ShadingAttribute x = parameter(*spec, "x");
        ShadingNode* call = spec->addInternalNode("f", {x, x, x});
        int i = 0;
        for (ShadingLink* link : call->incomingLinks()) {
            link->setCompFreqRange(row.inputs[i++]);
        }
        spec->evaluateCompFrequencies(call);
        EXPECT_EQ(call->compFreqRangeOfOutput("output"), row.result) << &row - rows;
        ShadingNodeSpec::clearLibrary();
    }
}

TEST_F(NodeSpec, FindsTheFirstOfManyInputs) {
    // Enough inputs for the index, two of them with one name: the first link counts for both.
    ShadingNodeSpec* wide = makeSpec(kOperationNode, "wide", {});
    const OwnedSpec spec(makeSpec(kFunctionNode, "g", {{kFloat, "x", {}}, {kFloat, "pixel", {4, 4}}}));
    std::list<ShadingAttribute> args;
    for (int i = 0; i < 40; ++i) {
        wide->addInput(kFloat, i == 39 ? "p0" : "p" + std::to_string(i), CompFreqRange());
        args.push_back(parameter(*spec, i == 39 ? "pixel" : "x"));
    }
    wide->addToLibrary();
    ShadingNode* call = spec->addInternalNode("wide", args);
    EXPECT_EQ(call->compFreqRangeOfOutput("output"), CompFreqRange(1, 4)) << "the pixel goes unseen";
    (*std::next(call->incomingLinks().begin(), 20))->setDestAttrName("q");
    EXPECT_EQ(thrownBy([&] { spec->evaluateCompFrequencies(call); }), "Input is not connected: p20");
}

// float f(uniform float x, out float3 side) with all kinds of nodes in it.
ShadingNodeSpec* makeSample() {
    declare("operator*", {{kFloat, "a", {}}, {kFloat, "b", {}}});
    declare("operato", {{kFloat, "a", {}}}, {{kFloat3, "wide", {3, 4}}, {kFloat, "rest", {}}});
    ShadingNodeSpec* spec = makeSpec(kFunctionNode, "f", {{kFloat, "x", {2, 2}}},
                                     {{kFloat, "output", {}}, {kFloat3, "side", {}}});
    const ShadingAttribute x = parameter(*spec, "x");
    const ShadingAttribute half = valueOf(spec->addInternalNode(TypedConstant(0.5F)));
    spec->addInternalNode(TypedConstant(1, 0, 0, 1));
    const ShadingAttribute product = valueOf(spec->addInternalNode("operator*", {x, half}));
    ShadingNode* call = spec->addInternalNode("operato", {parameter(*spec, "side"), product, product});
    spec->connectOutput(valueOf(call, "rest"), parameter(*spec, "output"));
    spec->connectOutput(valueOf(call, "wide"), parameter(*spec, "side"));
    return spec;
}

TEST_F(NodeSpec, ClonesDeeply) {
    ShadingNodeSpec* original = makeSample();
    nodesOf(*original)[2]->setLightSpecific(true);
    original->addToLibrary();
    OwnedSpec copy(original->clone());
    EXPECT_EQ(specText(*copy), specText(*original));
    EXPECT_TRUE(copy->isFullySpecified());
    checkGraph(*copy);
    for (const auto& [marker, argument] : listOf(*copy, &ShadingNodeSpec::arguments)) {
        EXPECT_EQ(argument.nodePtr(), parameter(*copy, argument.name()).nodePtr()) << marker;
    }
    const std::string text = specText(*original);
    delete original;
    EXPECT_EQ(specText(*copy), text);
    EXPECT_EQ(ShadingNodeSpec::findSpecInLibrary("f"), nullptr);
    EXPECT_EQ(copy->addInternalNode(TypedConstant(2.0F))->number(), 7U) << "the counters go on";
    copy->addToLibrary();
    EXPECT_EQ(ShadingNodeSpec::findSpecInLibrary("f"), copy.release());
    const OwnedSpec declaration(ShadingNodeSpec::findSpecInLibrary("operato")->clone());
    EXPECT_EQ(specText(*declaration), specText(*ShadingNodeSpec::findSpecInLibrary("operato")));
}

TEST_F(Graphviz, WritesEveryKindOfNode) {
    const OwnedSpec spec(makeSample());
    const std::string head = "digraph f\n{\n"
                             "\tnode2[label=\"float x\",shape=box];\n"
                             "\tnode0[label=\"float output\",shape=box];\n"
                             "\tnode1[label=\"float3 side\",shape=box];\n"
                             "\tnode3[label=\"0.5\",shape=diamond];\n"
                             "\tnode4[label=\"{1,0,0,1}\",shape=diamond];\n"
                             "\tnode5 [label=\"*\",shape=circle,fontsize=20];\n"
                             "\tnode6 [label=\"operato\",shape=ellipse];\n";
    const std::string angle = ",labeldistance=1.2,labelangle=-40];\n";
    const auto links = [&](const char* constant, const char* product, const char* rest, const char* wide) {
        return std::string("\tnode2 -> node5 [label=\"\",headlabel=\"a\"") + angle + //
               "\tnode3 -> node5 [label=\"" + constant + "\",headlabel=\"b\"" + angle +
               "\tnode5 -> node6 [label=\"" + product + "\",headlabel=\"a\"" + angle +
               "\tnode6 -> node0 [label=\"" + rest + "\",taillabel=\"rest\"" + angle +
               "\tnode6 -> node1 [label=\"" + wide + "\",taillabel=\"wide\"" + angle + "}\n";
    };
    const std::string plain = head + links("", "", "", "");
    EXPECT_EQ(convertToGraphviz(spec.get(), false, false), plain);
    EXPECT_EQ(convertToGraphviz(spec.get(), false, true), plain);
    EXPECT_EQ(convertToGraphviz(spec.get(), true, false), head + links("float", "float", "float", "float3"));
    EXPECT_EQ(convertToGraphviz(spec.get(), true, true),
              head + links("float\\nconstant", "float\\nuniform", "float\\nuniform", "float3\\nvertex"));

    EXPECT_EQ(convertToGraphviz("operator*", true, true), "digraph operator*\n{\n}\n");
    EXPECT_EQ(convertToGraphviz("none", true, true), "");
    EXPECT_EQ(convertToGraphviz(nullptr, true, true), "");
}

} // namespace
