// What docs/architecture.md promises to hosts with several threads; scripts/check-threads runs it
// under the thread sanitizer.
#include "SourceFile.h"
#include "base/AffineMatrix.h"
#include "geometry/AABoundingBox.h"
#include "geometry/BoundingSphere.h"
#include "pixels/ImageFiles.h"
#include "shadingdag/Graphviz.h"
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/ShadingParser.h"

#include <gtest/gtest.h>

#include <list>
#include <map>
#include <string>
#include <thread>
#include <vector>

using namespace qvShadingDag;

namespace {

constexpr int kThreads = 4;

/// The text that each of several threads makes; all must be that of one alone.
template <typename Work>
void checkInThreads(const Work& work) {
    std::vector<std::string> results(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] { results[static_cast<std::size_t>(i)] = work(i); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::string alone = work(kThreads);
    EXPECT_FALSE(alone.empty());
    EXPECT_EQ(results, std::vector<std::string>(kThreads, alone));
}

TEST(Threads, LookAtFunctionsTogether) {
    ShadingParser parser;
    ASSERT_TRUE(parser.parseFile(QV_STDLIB, false)) << parser.errorString();
    checkInThreads([](int) {
        std::string text;
        ShadingNodeSpec::LibraryIterator entry;
        ShadingNodeSpec::LibraryIterator last;
        for (ShadingNodeSpec::allSpecsInLibrary(entry, last); entry != last; ++entry) {
            ShadingNodeSpec& spec = *entry->second;
            text += convertToGraphviz(&spec, true, true);
            std::list<ShadingNode*> order;
            std::map<ShadingNode*, unsigned int> distance;
            spec.fastTopoSort(&order, true);
            if (!order.empty()) {
                spec.computeDistance(order.back(), distance, true);
                spec.computeDeepestChildrenDistance(order.back(), distance, distance, true);
                spec.optimalTopoSort(distance, &order);
            }
            for (const ShadingNode* node : order) {
                text += node->name() + dataTypeName(node->dataTypeOfOutput("output")) + node->sourceFile() +
                        node->variableName() + std::to_string(distance[const_cast<ShadingNode*>(node)]);
            }
            text += ShadingNodeSpec::findSpecInLibrary(spec.name())->sourceLocation().toString();
        }
        return text;
    });
    ShadingNodeSpec::clearLibrary();
}

TEST(Threads, UseObjectsOfTheirOwn) {
    checkInThreads([](int thread) {
        std::string text;
        for (int round = 1; round < 20; ++round) {
            qvLinear::AffineMatrix turn;
            turn.rotate(round, qvLinear::Normal(1, 2, 3));
            const auto size = static_cast<float>(round);
            AABoundingBox box(qvLinear::PointFlt(-1, -2, -3), qvLinear::PointFlt(1, 2, 3 + size));
            BoundingSphere sphere(qvLinear::PointFlt(1, 1, 1), size);
            text += std::to_string(turn[1]) + std::to_string(box.max().z) + std::to_string(sphere.radius());

            std::vector<unsigned char> pixels(4 * 8 * 8, static_cast<unsigned char>(10 * round));
            const std::string path = QV_TEST_OUTPUT "threads" + std::to_string(thread) + ".png";
            writeImageToFile(pixels.data(), 8, 8, path.c_str(), "png");
            unsigned short width = 0;
            unsigned short height = 0;
            unsigned char* read = readImageFromFile(path.c_str(), width, height, true);
            text += std::to_string(width) + std::to_string(read ? read[100] : 0) + "\n";
            ::operator delete(read);
        }
        return text;
    });
}

} // namespace
