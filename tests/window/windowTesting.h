#pragma once

/// @file
/// What the window tests share: a desktop of their own, the pump, and the user's hands.

#include "window/SimpleWindow.h"

#include <cstdio>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <windows.h>

/// A desktop of the test's own, so that Wine programs running beside it do not matter.
class OwnDesktop : public testing::Environment {
public:
    void SetUp() override {
        fsName = "qv-" + std::to_string(GetCurrentProcessId());
        fDesktop = CreateDesktopA(fsName.c_str(), nullptr, nullptr, 0, GENERIC_ALL, nullptr);
        ASSERT_TRUE(SetThreadDesktop(fDesktop));
    }
    static inline std::string fsName;

private:
    HDESK fDesktop = nullptr;
};
/// Processes messages until `done`, for ten seconds at most.
inline bool pumpUntil(const std::function<bool()>& done) {
    SimpleWindow pump;
    const DWORD start = GetTickCount();
    while (!done()) {
        if (GetTickCount() - start > 10000) {
            return false;
        }
        if (pump.processMessage() == ISimpleWindow::kNoMessage) {
            MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_ALLINPUT);
        }
    }
    return true;
}

/// Has the runner of this test carry out the command.
inline void xdotool(const std::string& command) {
    std::printf("xdotool %s\n", command.c_str());
    std::fflush(stdout);
}

/// The screen position of a client pixel, as xdotool takes it.
inline std::string at(HWND window, int x, int y) {
    POINT point = {x, y};
    ClientToScreen(window, &point);
    return " " + std::to_string(point.x) + " " + std::to_string(point.y) + " ";
}
