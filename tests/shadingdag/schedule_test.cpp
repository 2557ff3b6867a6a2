#include "GraphTesting.h"

#include <algorithm>
#include <functional>
#include <map>
#include <random>

using namespace graphTesting;

namespace {

using Schedule = GraphTest;
using Distances = std::map<ShadingNode*, unsigned int>;
using Order = std::list<ShadingNode*>;

std::string numbers(const Order& order) {
    std::string text;
    for (const ShadingNode* node : order) {
        text += (text.empty() ? "" : " ") + std::to_string(node->number());
    }
    return text;
}

std::string distances(const Distances& distance) {
    std::map<unsigned int, unsigned int> byNumber;
    for (const auto& [node, length] : distance) {
        byNumber[node->number()] = length;
    }
    std::string text;
    for (const auto& [number, length] : byNumber) {
        text += (text.empty() ? "" : " ") + std::to_string(number) + ":" + std::to_string(length);
    }
    return text;
}

std::vector<ShadingNode*> neighbours(const ShadingNode* node, bool upstream) {
    std::vector<ShadingNode*> found;
    for (const ShadingLink* link : upstream ? node->incomingLinks() : node->outgoingLinks()) {
        found.push_back(upstream ? link->sourceNode() : link->destNode());
    }
    return found;
}

// The sorts and distances in their plainest form.
struct Plain {
    using Steer = std::function<void(std::vector<ShadingNode*>&)>;
    explicit Plain(
        const ShadingNodeSpec& graph, Steer steering = [](auto&) {})
        : spec(graph), steer(steering) {}

    const ShadingNodeSpec& spec;
    Steer steer;
    std::set<ShadingNode*> reached;
    Order order;

    void visit(ShadingNode* node, bool upstream) {
        if (reached.insert(node).second) {
            auto next = neighbours(node, upstream);
            steer(next);
            for (ShadingNode* neighbour : next) {
                visit(neighbour, upstream);
            }
            order.push_back(node);
        }
    }

    Order sort(bool upstream, bool onlyFromEnds = false) {
        for (ShadingNode* node : nodesOf(spec)) {
            if (!onlyFromEnds || node->outgoingLinks().empty()) {
                visit(node, upstream);
            }
        }
        return order;
    }
};

// A function with `count` calls of primitives over random earlier values. Replacing some of them
// mixes the order of the list.
ShadingNodeSpec* makeRandom(std::mt19937& random, int count) {
    ShadingNodeSpec* spec = makeSpec(kFunctionNode, "random", {{kFloat, "x", {}}, {kFloat, "y", {}}},
                                     {{kFloat, "output", {}}, {kFloat, "side", {}}});
    std::vector<ShadingAttribute> values{parameter(*spec, "x"), parameter(*spec, "y"),
                                         valueOf(spec->addInternalNode(TypedConstant(1.0F)))};
    const auto any = [&] { return values[random() % values.size()]; };
    for (int i = 0; i < count; ++i) {
        std::list<ShadingAttribute> args;
        for (unsigned int n = random() % 4; n > 0; --n) {
            args.push_back(any());
        }
        values.push_back(valueOf(spec->addInternalNode("op" + std::to_string(args.size()), args)));
    }
    spec->connectOutput(any(), parameter(*spec, "output"));
    spec->connectOutput(any(), parameter(*spec, "side"));
    for (ShadingNode* node : nodesOf(*spec)) {
        if (node->isCall() && random() % 3 == 0) {
            spec->replaceOperationNode(node, node->specPtr(), false);
        }
    }
    return spec;
}

void declareOperations() {
    declare("op0", {});
    declare("op1", {{kFloat, "a", {}}});
    declare("op2", {{kFloat, "a", {}}, {kFloat, "b", {}}});
    declare("op3", {{kFloat, "a", {}}, {kFloat, "b", {}}, {kFloat, "c", {}}});
}

TEST_F(Schedule, OrdersAGraphWhoseListIsInReverse) {
    declareOperations();
    // 0: output, 1: x, 2 = op1(x), 3 = op2(2, x), 4 = op3(3, 2, x) -> output
    const OwnedSpec spec(makeSpec(kFunctionNode, "f", {{kFloat, "x", {}}}));
    const ShadingAttribute x = parameter(*spec, "x");
    ShadingNode* two = spec->addInternalNode("op1", {x});
    ShadingNode* three = spec->addInternalNode("op2", {valueOf(two), x});
    ShadingNode* four = spec->addInternalNode("op3", {valueOf(three), valueOf(two), x});
    spec->connectOutput(valueOf(four), parameter(*spec, "output"));
    ShadingNode* five = spec->replaceOperationNode(three, three->specPtr(), false);
    ShadingNode* six = spec->replaceOperationNode(two, two->specPtr(), false);
    const std::vector<ShadingNode*> nodes = nodesOf(*spec);
    EXPECT_EQ(numbers({nodes.begin(), nodes.end()}), "0 1 4 5 6");
    EXPECT_EQ(linksText(*spec), "5:1.x->4.c constant:fragment; 6:4.output->0.output constant:fragment; "
                                "8:1.x->5.b constant:fragment; 9:5.output->4.a constant:fragment; "
                                "10:1.x->6.a constant:fragment; 11:6.output->4.b constant:fragment; "
                                "12:6.output->5.a constant:fragment");

    const auto fast = [&](bool upstream) {
        Order order;
        spec->fastTopoSort(&order, upstream);
        return numbers(order);
    };
    EXPECT_EQ(fast(true), "1 6 5 4 0"); // node 4 is fed by 1, 5, 6 in that order
    EXPECT_EQ(fast(false), "0 4 5 6 1");

    Distances distance;
    spec->computeDistance(nodes[0], distance, true);
    EXPECT_EQ(distances(distance), "1:2 4:1 5:2 6:2") << "the start is not written";
    Order order;
    spec->optimalTopoSort(distance, &order);
    EXPECT_EQ(numbers(order), "1 6 5 4 0");
    distance[six] = 3;
    distance[nodes[1]] = 0;
    distance[five] = 2;
    order.clear();
    spec->optimalTopoSort(distance, &order);
    EXPECT_EQ(numbers(order), "1 6 5 4 0");
    order.clear();
    spec->topoSortByDistance(distance, &order, true, false);
    EXPECT_EQ(numbers(order), "1 6 5 4 0");

    Distances deepest;
    spec->computeDeepestChildrenDistance(four, distance, deepest, true);
    EXPECT_EQ(distances(deepest), "1:0 4:3 5:3 6:3");
}

// Independent feeding nodes: the order is all that their distances say.
TEST_F(Schedule, VisitsTheFarthestFeederFirst) {
    declareOperations();
    const OwnedSpec spec(makeSpec(kFunctionNode, "f", {}));
    std::list<ShadingAttribute> args;
    for (int i = 0; i < 3; ++i) {
        args.push_back(valueOf(spec->addInternalNode("op0", {})));
    }
    ShadingNode* loose = spec->addInternalNode("op0", {});
    ShadingNode* sum = spec->addInternalNode("op3", args);
    const auto order = [&](Distances distance, bool onlyFromEnds, bool farthestFirst) {
        Order result;
        spec->topoSortByDistance(distance, &result, onlyFromEnds, farthestFirst);
        return numbers(result);
    };
    ShadingNode* a = args.front().nodePtr();
    ShadingNode* b = std::next(args.begin())->nodePtr();
    ShadingNode* c = args.back().nodePtr();
    EXPECT_EQ(numbers({a, b, c, loose, sum}), "1 2 3 4 5");
    EXPECT_EQ(order({}, true, true), "0 4 1 2 3 5");
    EXPECT_EQ(order({{b, 1}, {c, 0x80000001}}, true, true), "0 4 3 2 1 5");
    EXPECT_EQ(order({{b, 1}, {c, 0x80000001}}, true, false), "0 4 1 2 3 5");
    EXPECT_EQ(order({{a, 2}, {b, 1}, {c, 2}}, true, false), "0 4 2 1 3 5");
    EXPECT_EQ(order({{c, 1}}, false, true), "0 1 2 3 4 5") << "list order, nothing left to steer";
    Distances distance{{b, 5}};
    Order result;
    spec->optimalTopoSort(distance, &result);
    EXPECT_EQ(distances(distance), "1:0 2:5 3:0") << "feeding nodes are added, ends are not";
}

TEST_F(Schedule, CountsToTheLargestNumberAndNoFurther) {
    declareOperations();
    const OwnedSpec spec(makeSpec(kFunctionNode, "f", {{kFloat, "x", {}}}));
    const ShadingAttribute x = parameter(*spec, "x");
    const ShadingAttribute one = valueOf(spec->addInternalNode("op1", {x}));
    // An output that is connected twice: both values come before it.
    spec->connectOutput(one, parameter(*spec, "output"));
    spec->connectOutput(x, parameter(*spec, "output"));
    ShadingNode* output = nodesOf(*spec)[0];
    for (const unsigned int start : {~0U, ~0U - 1}) {
        Distances distance{{output, start}};
        spec->computeDistance(output, distance, true);
        EXPECT_EQ(distances(distance), "0:" + std::to_string(start) + " 1:4294967295 2:4294967295");
        for (const bool farthestFirst : {true, false}) {
            distance = {{x.nodePtr(), 1}, {one.nodePtr(), 2}};
            Order order;
            spec->topoSortByDistance(distance, &order, true, farthestFirst);
            EXPECT_EQ(numbers(order), "1 2 0");
        }
    }
}

TEST_F(Schedule, RefusesWhatIsNotThere) {
    const OwnedSpec spec(makeSpec(kFunctionNode, "f", {{kFloat, "x", {}}}));
    const OwnedSpec other(makeSpec(kFunctionNode, "g", {{kFloat, "x", {}}}));
    ShadingNode* foreign = nodesOf(*other).front();
    Distances distance;
    for (ShadingNode* node : {foreign, static_cast<ShadingNode*>(nullptr)}) {
        const std::string message = "The node is not in the graph of function f";
        EXPECT_EQ(thrownBy([&] { spec->computeDistance(node, distance, true); }), message);
        EXPECT_EQ(thrownBy([&] { spec->computeDeepestChildrenDistance(node, distance, distance, true); }),
                  message);
        EXPECT_EQ(thrownBy([&] { spec->expandNode(node); }), message);
        EXPECT_EQ(spec->replaceOperationNode(node, spec.get(), true), nullptr);
    }
    spec->fastTopoSort(nullptr, true);
    spec->optimalTopoSort(distance, nullptr);
    EXPECT_TRUE(distance.empty());
}

TEST_F(Schedule, MatchesThePlainAlgorithmsOnRandomGraphs) {
    declareOperations();
    std::mt19937 random(1);
    for (int round = 0; round < 60; ++round) {
        const OwnedSpec spec(makeRandom(random, round));
        checkGraph(*spec);
        const auto nodes = nodesOf(*spec);
        for (const bool upstream : {true, false}) {
            Order order;
            spec->fastTopoSort(&order, upstream);
            EXPECT_EQ(numbers(order), numbers(Plain(*spec).sort(upstream)));

            ShadingNode* start = nodes[random() % nodes.size()];
            Distances distance;
            if (round % 2 == 0) {
                distance[start] = 7;
            }
            Distances expected = distance;
            std::list<ShadingNode*> queue{start};
            std::set<ShadingNode*> reached{start};
            for (; !queue.empty(); queue.pop_front()) {
                for (ShadingNode* next : neighbours(queue.front(), upstream)) {
                    if (reached.insert(next).second) {
                        expected[next] =
                            (queue.front() == start ? round % 2 == 0 ? 7 : 0 : expected[queue.front()]) + 1;
                        queue.push_back(next);
                    }
                }
            }
            spec->computeDistance(start, distance, upstream);
            EXPECT_EQ(distances(distance), distances(expected));

            // The largest distance that each node reaches, from scratch for each.
            distance.clear();
            for (ShadingNode* node : nodes) {
                if (random() % 4 != 0) {
                    distance[node] = random() % 1000;
                }
            }
            Distances deepest;
            for (ShadingNode* node : reached) {
                Plain from(*spec);
                from.visit(node, upstream);
                for (ShadingNode* below : from.order) {
                    const auto known = distance.find(below);
                    deepest[node] = std::max(deepest[node], known == distance.end() ? 0 : known->second);
                }
            }
            Distances result;
            spec->computeDeepestChildrenDistance(start, distance, result, upstream);
            EXPECT_EQ(distances(result), distances(deepest));
            Distances both = distance;
            spec->computeDeepestChildrenDistance(start, both, both, upstream);
            deepest.insert(distance.begin(), distance.end());
            EXPECT_EQ(distances(both), distances(deepest)) << "one map for both";

            if (round % 3 == 0) {
                distance[start] = ~0U; // nothing overflows
            }
            for (const bool farthestFirst : {true, false}) {
                for (const bool onlyFromEnds : {true, false}) {
                    Plain plain(*spec, [&](auto& next) {
                        std::stable_sort(next.begin(), next.end(), [&](ShadingNode* a, ShadingNode* b) {
                            const unsigned int da = distance.count(a) != 0 ? distance[a] : 0;
                            const unsigned int db = distance.count(b) != 0 ? distance[b] : 0;
                            return farthestFirst ? da > db : da < db;
                        });
                    });
                    Distances used = distance;
                    order.clear();
                    spec->topoSortByDistance(used, &order, onlyFromEnds, farthestFirst);
                    EXPECT_EQ(numbers(order), numbers(plain.sort(true, onlyFromEnds)));
                    if (farthestFirst && onlyFromEnds) {
                        Order optimal;
                        spec->optimalTopoSort(used, &optimal);
                        EXPECT_EQ(optimal, order);
                    }
                    for (ShadingNode* node : nodes) {
                        EXPECT_EQ(used.count(node),
                                  node->outgoingLinks().empty() ? distance.count(node) : 1U);
                    }
                }
            }
        }
    }
}

TEST_F(Schedule, AMillionNodesInAChain) {
    declareOperations();
    const unsigned int count = 1000000;
    const OwnedSpec spec(makeSpec(kFunctionNode, "f", {{kFloat, "x", {}}}));
    ShadingAttribute value = parameter(*spec, "x");
    for (unsigned int i = 0; i < count; ++i) {
        value = valueOf(spec->addInternalNode("op1", {value}));
    }
    spec->connectOutput(value, parameter(*spec, "output"));
    ShadingNode* output = nodesOf(*spec)[0];
    ShadingNode* input = nodesOf(*spec)[1];

    Distances distance;
    spec->computeDistance(output, distance, true);
    EXPECT_EQ(distance[input], count + 1);
    Order order;
    spec->optimalTopoSort(distance, &order);
    EXPECT_EQ(order.size(), count + 2);
    EXPECT_EQ(order.front(), input);
    EXPECT_EQ(order.back(), output);
    spec->computeDeepestChildrenDistance(output, distance, distance, true);
    EXPECT_EQ(distance[output], count + 1);
    order.clear();
    spec->fastTopoSort(&order, false); // from the output's end of the chain to the input's
    EXPECT_EQ(order.front(), output);
    EXPECT_EQ(order.back(), input);
}

} // namespace
