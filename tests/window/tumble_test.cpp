#include "window/TumbleWindowsHandler.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

enum Act { kDown, kUp, kGo, kSize };

struct Step {
    Act act;
    int button; // or nothing
    int x;
    int y;
};

void play(TumbleWindowsHandler& handler, const std::vector<Step>& steps) {
    for (const Step& step : steps) {
        if (step.act == kSize) {
            handler.resize(step.x, step.y);
        } else {
            const int event = step.act == kDown ? 5 : step.act == kUp ? 4 : 6;
            handler.mouseButton(step.button, event, step.x, step.y);
        }
    }
}

TEST(Tumble, DragsBecomeViews) {
    struct Case {
        const char* what;
        std::vector<Step> steps;
        double view[12];
    };
    // A quarter turn y: x -> -z, z -> x; a quarter turn x: y -> z, z -> -y.
    const Step size{kSize, 0, 400, 200};
    const std::vector<Case> cases = {
        {"nothing", {}, {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, -10}},
        {"a move without a button", {size, {kGo, 0, 90, 90}}, {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, -10}},
        {"tumble across",
         {size, {kDown, 1, 100, 100}, {kGo, 0, 200, 100}},
         {0, 0, -1, 0, 1, 0, 1, 0, 0, 0, 0, -10}},
        {"tumble down",
         {size, {kDown, 1, 100, 100}, {kGo, 0, 100, 150}},
         {1, 0, 0, 0, 0, 1, 0, -1, 0, 0, 0, -10}},
        {"tumble both ways, measured from the start of the drag: y is turned first",
         {size, {kDown, 1, 0, 0}, {kGo, 0, 399, 9}, {kGo, 0, 100, 50}},
         {0, 1, 0, 0, 0, 1, 1, 0, 0, 0, 0, -10}},
        {"a second drag adds to the first",
         {size, {kDown, 1, 0, 0}, {kGo, 0, 100, 0}, {kUp, 1, 100, 0}, {kDown, 1, 7, 7}, {kGo, 0, 107, 7}},
         {-1, 0, 0, 0, 1, 0, 0, 0, -1, 0, 0, -10}},
        {"before any size the extent is 8",
         {{kDown, 1, 0, 0}, {kGo, 0, 2, 0}},
         {0, 0, -1, 0, 1, 0, 1, 0, 0, 0, 0, -10}},
        {"a narrow window counts as 8, its height as it is",
         {{kSize, 0, 3, 600}, {kDown, 1, 0, 0}, {kGo, 0, 2, 150}},
         {0, 1, 0, 0, 0, 1, 1, 0, 0, 0, 0, -10}},
        {"a negative position turns back",
         {size, {kDown, 1, 0, 0}, {kGo, 0, -100, 0}},
         {0, 0, 1, 0, 1, 0, -1, 0, 0, 0, 0, -10}},
        {"dolly down half a width doubles the distance",
         {size, {kDown, 1, 9, 9}, {kDown, 2, 10, 10}, {kGo, 0, 300, 210}},
         {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, -20}},
        {"dolly up a quarter of a width halves it, either button first",
         {size, {kDown, 2, 9, 9}, {kDown, 1, 10, 110}, {kGo, 0, 10, 300}, {kGo, 0, 10, 10}},
         {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, -5}},
        {"a dolly that loses the middle button goes on as a tumble from there",
         {size, {kDown, 1, 0, 0}, {kDown, 2, 0, 0}, {kGo, 0, 0, 200}, {kUp, 2, 0, 200}, {kGo, 0, 100, 200}},
         {0, 0, -1, 0, 1, 0, 1, 0, 0, 0, 0, -20}},
        {"track, from move to move",
         {size, {kDown, 2, 0, 0}, {kGo, 0, 100, 0}, {kGo, 0, 100, 50}, {kGo, 0, 140, 50}},
         {1, 0, 0, 0, 1, 0, 0, 0, 1, 3.5, -2.5, -10}},
        // The turn back of y has the columns (0, 0, -1) and (0, 1, 0): the pan (0, 0, -2.5) maps to
        // (-2.5, 0, 0), against the mouse.
        {"track after a quarter turn y",
         {size, {kDown, 1, 0, 0}, {kGo, 0, 100, 0}, {kUp, 1, 100, 0}, {kDown, 2, 0, 0}, {kGo, 0, 100, 50}},
         {0, 0, -1, 0, 1, 0, 1, 0, 0, -2.5, -2.5, -10}},
        // The turn back of x has the columns (1, 0, 0) and (0, 0, 1): the pan (2.5, 0, -2.5) maps
        // to (2.5, 2.5, 0).
        {"track after a quarter turn x",
         {size, {kDown, 1, 0, 0}, {kGo, 0, 0, 50}, {kUp, 1, 0, 50}, {kDown, 2, 0, 0}, {kGo, 0, 100, 50}},
         {1, 0, 0, 0, 0, 1, 0, -1, 0, 2.5, 2.5, -10}},
        {"a pan stays in the world while the view turns",
         {size, {kDown, 2, 0, 0}, {kGo, 0, 40, 0}, {kUp, 2, 0, 0}, {kDown, 1, 0, 0}, {kGo, 0, 100, 0}},
         {0, 0, -1, 0, 1, 0, 1, 0, 0, 0, 0, -11}},
    };
    for (const Case& c : cases) {
        TumbleWindowsHandler handler;
        play(handler, c.steps);
        const qvLinear::AffineMatrix& view = handler.viewMatrix();
        for (unsigned int i = 0; i < 12; ++i) {
            // 90 of the handler's degrees are 1.6e-4 more than a quarter turn.
            EXPECT_NEAR(view[i], c.view[i], 2e-3) << c.what << ", element " << i;
        }
    }
}

TEST(Tumble, DegreesAreTheSinglePrecisionOnes) {
    TumbleWindowsHandler handler;
    play(handler, {{kSize, 0, 400, 200}, {kDown, 1, 0, 0}, {kGo, 0, 100, 0}});
    EXPECT_NEAR(handler.viewMatrix()[0], -1.58405802e-4, 1e-12); // pi / 180 would give 0
}

TEST(Tumble, ModesAndRefresh) {
    struct Case {
        const char* what;
        Step step;
        int mode;
        bool refresh;
        bool sizeChanged;
    };
    const Case cases[] = {
        {"an idle move before the first view", {kGo, 0, 1, 1}, 0, true, false},
        {"resize", {kSize, 0, 40, 40}, 0, true, true},
        {"a right press", {kDown, 3, 1, 1}, 0, true, true},
        {"left press", {kDown, 1, 1, 1}, 1, false, false},
        {"a repeated press", {kDown, 1, 1, 1}, 1, false, false},
        {"drag", {kGo, 0, 2, 2}, 1, true, false},
        {"middle press", {kDown, 2, 2, 2}, 3, false, false},
        {"a move with a button", {kGo, 2, 9, 9}, 3, false, false},
        {"left release", {kUp, 1, 2, 2}, 2, false, false},
        {"middle release", {kUp, 2, 2, 2}, 0, false, false},
        {"an idle move, the view not fetched since", {kGo, 0, 3, 3}, 0, true, false},
    };
    TumbleWindowsHandler handler;
    EXPECT_TRUE(handler.needsRefresh());
    for (const Case& c : cases) {
        play(handler, {c.step});
        EXPECT_EQ(handler.mode(), c.mode) << c.what;
        EXPECT_EQ(handler.needsRefresh(), c.refresh) << c.what;
        EXPECT_EQ(handler.sizeChanged(), c.sizeChanged) << c.what;
    }
    handler.viewMatrix();
    play(handler, {{kGo, 0, 4, 4}});
    EXPECT_FALSE(handler.needsRefresh());
    handler.windowMoved();
    EXPECT_TRUE(handler.needsRefresh());
}

} // namespace
