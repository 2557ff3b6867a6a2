#include "window/windowTesting.h"

#include "window/TumbleWindowsHandler.h"

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

using Log = std::vector<std::string>;

const auto* const kOwnDesktop = testing::AddGlobalTestEnvironment(new OwnDesktop);

/// Writes down what it is told; then does what `then` says, once.
struct Recorder : MessageHandler {
    bool needsRefresh() const override {
        ++asked;
        return refresh;
    }
    void display() override { say("display"); }
    void windowMoved() override { say("moved"); }
    void resize(int width, int height) override {
        say("resize " + std::to_string(width) + " " + std::to_string(height));
    }
    void keyboard(unsigned int key) override { say("key " + std::to_string(key)); }
    void mouseButton(int button, int event, int x, int y) override {
        say("mouse " + std::to_string(button) + " " + std::to_string(event) + " " + std::to_string(x) + " " +
            std::to_string(y));
    }
    void say(const std::string& text) {
        log.push_back(text);
        if (const auto once = std::exchange(then, nullptr)) {
            once();
        }
    }
    bool heard(const std::string& text) const { return std::find(log.begin(), log.end(), text) != log.end(); }

    Log log;
    std::function<void()> then;
    bool refresh = false;
    mutable int asked = 0;
};

HWND handleOf(const SimpleWindow& window) {
    return window.windowWrapper().externalHandle();
}

/// Processes what is waiting.
ISimpleWindow::ProcessingResult drain() {
    SimpleWindow pump;
    ISimpleWindow::ProcessingResult result;
    while ((result = pump.processMessage()) == ISimpleWindow::kMessageProcessed) {
    }
    return result;
}

std::string classOf(HWND window) {
    char name[64] = "";
    GetClassNameA(window, name, sizeof name);
    return name;
}

TEST(SimpleWindow, IsCreatedHiddenWithItsClassAndClientSize) {
    Recorder handler;
    SimpleWindow first;
    SimpleWindow second;
    EXPECT_FALSE(first.windowWrapper().valid());
    ASSERT_EQ(first.create("qv first", 300, 200, &handler), ISimpleWindow::kSuccess);
    ASSERT_EQ(second.create(nullptr, 0, 0, nullptr), ISimpleWindow::kSuccess);
    EXPECT_TRUE(handler.log.empty()) << handler.log[0];

    const HWND window = handleOf(first);
    // The example's one window is the first of its process.
    const std::string stem = "qvGL_SimpleWindow";
    ASSERT_EQ(classOf(window).substr(0, stem.size()), stem);
    const int number = std::stoi(classOf(window).substr(stem.size()));
    EXPECT_EQ(classOf(handleOf(second)), stem + std::to_string(number + 1));
    EXPECT_EQ(GetClassLongA(window, GCL_STYLE), 0x23U);
    EXPECT_EQ(GetClassLongA(window, GCL_HBRBACKGROUND), 0U);
    EXPECT_EQ(GetWindowLongA(window, GWL_STYLE), 0x06CF0000);
    EXPECT_EQ(GetWindowLongA(window, GWL_EXSTYLE), 0x00040100);
    char title[32] = "";
    GetWindowTextA(window, title, sizeof title);
    EXPECT_STREQ(title, "qv first");
    RECT inner, outer;
    GetClientRect(window, &inner);
    GetWindowRect(window, &outer);
    EXPECT_EQ(inner.right, 300);
    EXPECT_EQ(inner.bottom, 200);
    EXPECT_EQ(outer.left, 0);
    EXPECT_EQ(outer.top, 0);
    EXPECT_TRUE(first.isActive());
    EXPECT_EQ(SimpleWindow::getWindow(window), &first);
    EXPECT_EQ(SimpleWindow::getHandler(window), &handler);

    // A null handler: handled without a call, the paint message included.
    second.show();
    EXPECT_EQ(SendMessageA(handleOf(second), WM_KEYDOWN, 'A', 0), 0);
    InvalidateRect(handleOf(second), nullptr, FALSE);
    SendMessageA(handleOf(second), WM_PAINT, 0, 0);
    EXPECT_FALSE(GetUpdateRect(handleOf(second), nullptr, FALSE));

    // A second window of one object.
    EXPECT_EQ(first.create("again", 10, 10, nullptr), ISimpleWindow::kRegisterClassFailed);
    EXPECT_EQ(handleOf(first), window);
    EXPECT_EQ(SimpleWindow::getHandler(window), &handler);
}

LRESULT CALLBACK refuseWindows(int code, WPARAM wParam, LPARAM lParam) {
    return code == HCBT_CREATEWND ? 1 : CallNextHookEx(nullptr, code, wParam, lParam);
}

TEST(SimpleWindow, ReportsFailuresAndLeavesNothingBehind) {
    SimpleWindow window;
    const HHOOK hook = SetWindowsHookExA(WH_CBT, refuseWindows, nullptr, GetCurrentThreadId());
    EXPECT_EQ(window.create("refused", 10, 10, nullptr), ISimpleWindow::kCreateWindowFailed);
    UnhookWindowsHookEx(hook);
    EXPECT_FALSE(window.windowWrapper().valid());
    window.show(); // nothing to show
    window.setFocus();
    EXPECT_EQ(window.create("huge", 0x80000000U, 0xFFFFFFFFU, nullptr), ISimpleWindow::kSuccess);

    Recorder handler;
    auto gone = std::make_unique<SimpleWindow>();
    ASSERT_EQ(gone->create("gone", 10, 10, &handler), ISimpleWindow::kSuccess);
    const HWND handle = handleOf(*gone);
    const std::string name = classOf(handle);
    gone->setFocus();
    handler.asked = 0;
    gone.reset();
    EXPECT_EQ(handler.asked, 0);
    WNDCLASSA unregistered;
    EXPECT_FALSE(GetClassInfoA(GetModuleHandleA(nullptr), name.c_str(), &unregistered));
    EXPECT_FALSE(IsWindow(handle));
    EXPECT_EQ(SimpleWindow::getWindow(handle), nullptr);
    EXPECT_EQ(SimpleWindow::getHandler(reinterpret_cast<HWND>(0x7777)), nullptr);
}

TEST(SimpleWindow, HearsOfMouseKeysMovesAndSizes) {
    Recorder handlers[2];
    SimpleWindow windows[2];
    for (int i : {0, 1}) {
        ASSERT_EQ(windows[i].create(i ? "qv right" : "qv left", 300, 200, &handlers[i]), 0);
        SetWindowPos(handleOf(windows[i]), nullptr, 350 * i, 0, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
        windows[i].show();
        EXPECT_TRUE(pumpUntil([&] { return handlers[i].heard("display"); })) << i;
        EXPECT_TRUE(handlers[i].heard("resize 300 200") && handlers[i].heard("moved"));
    }

    // Buttons: left, middle, right; only the window under the mouse hears of them.
    for (int i : {1, 0}) {
        windows[i].setFocus();
        drain();
        handlers[0].log.clear();
        handlers[1].log.clear();
        xdotool("mousemove" + at(handleOf(windows[i]), 10, 20) + "click 1 click 2 click 3 key a");
        EXPECT_TRUE(pumpUntil([&] { return handlers[i].heard("key 65"); }));
        Log heard;
        for (const std::string& line : handlers[i].log) {
            if (line != "display" && (heard.empty() || line != heard.back())) {
                heard.push_back(line);
            }
        }
        EXPECT_EQ(heard, (Log{"mouse 0 6 10 20", "mouse 1 5 10 20", "mouse 1 4 10 20", "mouse 2 5 10 20",
                              "mouse 2 4 10 20", "mouse 3 5 10 20", "mouse 3 4 10 20", "key 65"}));
        for (const std::string& line : handlers[1 - i].log) {
            EXPECT_TRUE(line == "display" || line == "moved") << line;
        }
    }

    handlers[0].log.clear();
    xdotool("search --name qv.left windowmove 30 260 windowsize 320 240");
    EXPECT_TRUE(pumpUntil([&] { return handlers[0].heard("resize 320 240"); }));
    EXPECT_TRUE(pumpUntil([&] { return handlers[0].heard("moved"); }));
    handlers[0].log.clear();
    windows[0].hide();
    EXPECT_FALSE(IsWindowVisible(handleOf(windows[0])));

    // The keyboard's way to close ends the host's loop but leaves the window.
    windows[1].setFocus();
    drain();
    xdotool("mousemove" + at(handleOf(windows[1]), 10, 20) + "key alt+F4");
    EXPECT_TRUE(pumpUntil([&] { return !windows[1].isAlive(); }));
    EXPECT_EQ(drain(), ISimpleWindow::kQuitMessage);
    EXPECT_EQ(drain(), ISimpleWindow::kNoMessage);
    EXPECT_TRUE(windows[0].isAlive() && IsWindow(handleOf(windows[1])));
    handlers[1].log.clear();
    SendMessageA(handleOf(windows[1]), WM_KEYDOWN, 'A', 0);
    EXPECT_TRUE(handlers[1].log.empty());
    // Asked once more, the system destroys it; the object notices.
    SendMessageA(handleOf(windows[1]), WM_CLOSE, 0, 0);
    EXPECT_FALSE(windows[1].windowWrapper().valid());
    EXPECT_EQ(drain(), ISimpleWindow::kNoMessage);
}

TEST(SimpleWindow, DispatchesWhatAMouseCannotSend) {
    Recorder handler;
    SimpleWindow window;
    ASSERT_EQ(window.create("qv sent", 200, 100, &handler), 0);
    window.show();
    drain();
    const struct {
        UINT message;
        WPARAM wParam;
        LPARAM lParam;
        bool handled;
        Log heard;
    } cases[] = {
        {WM_MOUSEMOVE, 0, MAKELPARAM(-1, -2), true, {"mouse 0 6 65535 65534"}},
        {WM_SIZE, SIZE_RESTORED, MAKELPARAM(40000, 7), true, {"resize 40000 7"}},
        {WM_KEYDOWN, VK_F5, 0, true, {"key 116"}},
        {WM_KEYUP, VK_F5, 0, true, {}},
        {WM_CHAR, 'a', 0, false, {}},
        {WM_MOUSEWHEEL, 0, 0, false, {}},
        {WM_SYSCOMMAND, SC_SCREENSAVE, 0, true, {}},
        {WM_SYSCOMMAND, SC_MONITORPOWER, 2, true, {}},
        {WM_SYSCOMMAND, SC_MONITORPOWER + 1, 2, false, {}},
        {WM_PAINT, 0, 0, true, {"display"}},
    };
    for (const auto& c : cases) {
        for (bool refresh : {false, true}) {
            SCOPED_TRACE(std::to_string(c.message) + (refresh ? " refresh" : ""));
            ValidateRect(handleOf(window), nullptr);
            handler.refresh = refresh;
            handler.asked = 0;
            handler.log.clear();
            EXPECT_EQ(SendMessageA(handleOf(window), c.message, c.wParam, c.lParam), 0);
            EXPECT_EQ(handler.log, c.heard);
            EXPECT_EQ(handler.asked, c.handled);
            EXPECT_EQ(GetUpdateRect(handleOf(window), nullptr, FALSE) != 0, c.handled && refresh);
        }
    }
    handler.refresh = false; // otherwise one painting asks for the next
    SendMessageA(handleOf(window), WM_ACTIVATE, MAKEWPARAM(WA_ACTIVE, 1), 0);
    EXPECT_FALSE(window.isActive());
    SendMessageA(handleOf(window), WM_ACTIVATE, MAKEWPARAM(WA_INACTIVE, 0), 0);
    EXPECT_TRUE(window.isActive());

    // A window of the class that no object knows: everything is the system's, closing included.
    const HWND stranger = CreateWindowExA(0, classOf(handleOf(window)).c_str(), "", WS_OVERLAPPEDWINDOW, 0, 0,
                                          90, 90, nullptr, nullptr, GetModuleHandleA(nullptr), nullptr);
    handler.log.clear();
    SendMessageA(stranger, WM_KEYDOWN, 'A', 0);
    SendMessageA(stranger, WM_CLOSE, 0, 0);
    EXPECT_FALSE(IsWindow(stranger));
    EXPECT_TRUE(handler.log.empty());
    EXPECT_EQ(drain(), ISimpleWindow::kNoMessage);
}

TEST(SimpleWindow, SurvivesWhatHandlersDo) {
    Recorder bystander;
    SimpleWindow other;
    ASSERT_EQ(other.create("qv other", 200, 100, &bystander), 0);

    // The window and its handler go during a call; the next window is heard as before.
    constexpr UINT kFocus = 0;
    for (UINT message :
         {UINT{WM_MOUSEMOVE}, UINT{WM_MOVE}, UINT{WM_SIZE}, UINT{WM_PAINT}, UINT{WM_KEYDOWN}, kFocus}) {
        auto handler = std::make_unique<Recorder>();
        auto window = std::make_unique<SimpleWindow>();
        ASSERT_EQ(window->create("qv doomed", 200, 100, handler.get()), 0);
        handler->then = [&] {
            window.reset();
            handler.reset();
        };
        if (message == kFocus) {
            window->setFocus();
        } else {
            SendMessageA(handleOf(*window), message, 0, 0);
        }
        EXPECT_EQ(window, nullptr) << message;
        bystander.log.clear();
        SendMessageA(handleOf(other), WM_KEYDOWN, 'A', 0);
        EXPECT_EQ(bystander.log, Log{"key 65"});
        EXPECT_EQ(drain(), ISimpleWindow::kNoMessage); // which ends no loop
    }

    // During a call no other call begins.
    Recorder handler;
    SimpleWindow window;
    ASSERT_EQ(window.create("qv busy", 200, 100, &handler), 0);
    bystander.log.clear();
    handler.then = [&] {
        SendMessageA(handleOf(other), WM_KEYDOWN, 'A', 0);
        SendMessageA(handleOf(window), WM_KEYDOWN, 'B', 0);
    };
    SendMessageA(handleOf(window), WM_KEYDOWN, 'C', 0);
    EXPECT_EQ(handler.log, Log{"key 67"});
    EXPECT_TRUE(bystander.log.empty());

    // An exception waits for the next processMessage and stops nothing, nor the end of the loop.
    drain();
    handler.then = [] { throw std::runtime_error("out of paint"); };
    SendMessageA(handleOf(window), WM_PAINT, 0, 0);
    SendMessageA(handleOf(window), WM_KEYDOWN, 'D', 0);
    EXPECT_EQ(handler.log.back(), "key 68");
    PostQuitMessage(0);
    EXPECT_THROW(drain(), std::runtime_error);
    EXPECT_EQ(drain(), ISimpleWindow::kQuitMessage);

    // A handler that destroys the window behind its object ends the loop; the object can go later.
    SimpleWindow lost;
    ASSERT_EQ(lost.create("qv lost", 200, 100, &handler), 0);
    handler.then = [&] { DestroyWindow(handleOf(lost)); };
    SendMessageA(handleOf(lost), WM_KEYDOWN, 'L', 0);
    EXPECT_FALSE(lost.isAlive() || lost.windowWrapper().valid());
    EXPECT_EQ(drain(), ISimpleWindow::kQuitMessage);
    EXPECT_EQ(drain(), ISimpleWindow::kNoMessage);

    // Closing from inside.
    handler.then = [&] { PostMessageA(handleOf(window), WM_CLOSE, 0, 0); };
    PostMessageA(handleOf(window), WM_KEYDOWN, 'E', 0);
    EXPECT_TRUE(window.waitMessage());
    EXPECT_EQ(drain(), ISimpleWindow::kQuitMessage);
}

TEST(WindowWrapper, EachHasAContextOfItsOwn) {
    const HWND plain =
        CreateWindowExA(0, "STATIC", "", WS_POPUP, 0, 0, 50, 50, nullptr, nullptr, nullptr, nullptr);
    const HDC given = CreateCompatibleDC(nullptr);
    const WindowWrapper wrapper(plain, given);
    WindowWrapper copy(wrapper);
    const HDC copied = copy.internalHandle();
    EXPECT_EQ(copy.externalHandle(), plain);
    EXPECT_TRUE(copy.valid() && copied != given && copied != wrapper.internalHandle());
    copy = WindowWrapper(nullptr, given);
    EXPECT_EQ(WindowFromDC(copied), nullptr); // given back
    EXPECT_EQ(WindowWrapper(copy).internalHandle(), given);
    copy.release();
    EXPECT_FALSE(copy.valid());
    EXPECT_TRUE(DeleteDC(given)); // nobody took it
    DestroyWindow(plain);
}

TEST(Tumble, FollowsARealDrag) {
    TumbleWindowsHandler handler;
    SimpleWindow window;
    ASSERT_EQ(window.create("qv tumble", 400, 200, &handler), 0);
    window.setFocus();
    const HWND handle = handleOf(window);
    xdotool("mousemove" + at(handle, 100, 100) + "mousedown 1 mousemove" + at(handle, 200, 100));
    EXPECT_TRUE(pumpUntil([&] { return handler.viewMatrix()(0, 2) < -0.999; }));
    EXPECT_EQ(handler.mode(), TumbleWindowsHandler::kTumble);
    xdotool("mouseup 1");
    EXPECT_TRUE(pumpUntil([&] { return handler.mode() == TumbleWindowsHandler::kIdle; }));
    EXPECT_NEAR(handler.viewMatrix()(2, 0), 1, 1e-3);
}

} // namespace
