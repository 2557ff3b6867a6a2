#include "window/SimpleWindow.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <utility>
#include <windows.h>

unsigned int SimpleWindow::fsNextInstance = 1;
std::map<HWND, SimpleWindow*> SimpleWindow::fsWindows;

ISimpleWindow::~ISimpleWindow() = default;

/// The window procedure of all simple windows, in the order in which it takes its decisions.
struct SimpleWindow::Procedure {
    static LRESULT CALLBACK run(HWND handle, UINT message, WPARAM wParam, LPARAM lParam);

    /// Reports one message to a window's handler. Returns whether it is one that the window handles.
    static bool dispatch(SimpleWindow& window, HWND handle, UINT message, WPARAM wParam, LPARAM lParam);
    static void paint(HWND handle, MessageHandler* handler);
    static void askForRefresh(HWND handle);
    /// Takes a window that the system is done with out of the map and of its object.
    static void forget(HWND handle);
    /// Keeps the first exception of a handler, and lets it out where the caller is C++ again.
    static void keepException();
    static void rethrow();

    static inline bool fsBusy = false; // a handler is being called
    static inline std::exception_ptr fsThrown;
};

LRESULT CALLBACK SimpleWindow::Procedure::run(HWND handle, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_NCDESTROY) {
        forget(handle);
        return DefWindowProcA(handle, message, wParam, lParam);
    }
    if (fsBusy) {
        return DefWindowProcA(handle, message, wParam, lParam);
    }
    SimpleWindow* window = getWindow(handle);
    // Without a window, the message comes from inside CreateWindowExA and is nobody's yet.
    if (!window || !window->fAlive) {
        return DefWindowProcA(handle, message, wParam, lParam);
    }

    bool handled = true;
    fsBusy = true;
    try {
        handled = dispatch(*window, handle, message, wParam, lParam);
    } catch (...) {
        keepException();
    }
    fsBusy = false;
    if (!handled) {
        return DefWindowProcA(handle, message, wParam, lParam);
    }
    askForRefresh(handle);
    return 0;
}

bool SimpleWindow::Procedure::dispatch(SimpleWindow& window, HWND handle, UINT message, WPARAM wParam,
                                       LPARAM lParam) {
    MessageHandler* handler = window.fHandler;
    const int x = LOWORD(lParam); // unsigned, see MessageHandler::mouseButton
    const int y = HIWORD(lParam);
    const auto mouse = [=](int button, int event) {
        if (handler) {
            handler->mouseButton(button, event, x, y);
        }
        return true;
    };

    // Nothing here may use `window` once the handler was called: it may be gone.
    switch (message) {
    case WM_MOUSEMOVE:
        return mouse(MessageHandler::kNoButton, MessageHandler::kMove);
    case WM_LBUTTONDOWN:
        return mouse(MessageHandler::kLeftButton, MessageHandler::kPress);
    case WM_LBUTTONUP:
        return mouse(MessageHandler::kLeftButton, MessageHandler::kRelease);
    case WM_RBUTTONDOWN:
        return mouse(MessageHandler::kRightButton, MessageHandler::kPress);
    case WM_RBUTTONUP:
        return mouse(MessageHandler::kRightButton, MessageHandler::kRelease);
    case WM_MBUTTONDOWN:
        return mouse(MessageHandler::kMiddleButton, MessageHandler::kPress);
    case WM_MBUTTONUP:
        return mouse(MessageHandler::kMiddleButton, MessageHandler::kRelease);
    case WM_MOVE:
        if (handler) {
            handler->windowMoved();
        }
        return true;
    case WM_SIZE:
        if (handler) {
            handler->resize(x, y);
        }
        return true;
    case WM_ACTIVATE:
        // On purpose: the system's default is left out, so that activation alone does not bring the
        // keyboard to the window; the host calls setFocus().
        window.fActive = HIWORD(wParam) == 0;
        return true;
    case WM_PAINT:
        paint(handle, handler);
        return true;
    case WM_CLOSE:
        PostQuitMessage(0);
        window.fAlive = false;
        return true;
    case WM_KEYDOWN:
        if (handler) {
            handler->keyboard(static_cast<unsigned int>(wParam));
        }
        return true;
    case WM_KEYUP:
        return true;
    case WM_SYSCOMMAND:
        // Neither the screen saver nor power saving starts over a viewer. On purpose: the whole number
        // is compared, so that a command with one of the low four bits set, which the system keeps for
        // itself, gets the system's treatment.
        return wParam == SC_SCREENSAVE || wParam == SC_MONITORPOWER;
    default:
        return false;
    }
}

void SimpleWindow::Procedure::paint(HWND handle, MessageHandler* handler) {
    // Ends the painting, also when the handler throws.
    struct Painting {
        explicit Painting(HWND painted) : window(painted) { BeginPaint(window, &paint); }
        ~Painting() { EndPaint(window, &paint); }
        Painting(const Painting&) = delete;
        Painting& operator=(const Painting&) = delete;
        HWND window;
        PAINTSTRUCT paint;
    };
    const Painting painting(handle);
    if (handler) {
        handler->display();
    }
}

void SimpleWindow::Procedure::askForRefresh(HWND handle) {
    // Found anew: the handler may have destroyed the window, and itself with it.
    const auto found = fsWindows.find(handle);
    if (found == fsWindows.end() || !found->second || !found->second->fHandler) {
        return;
    }
    bool refresh = false;
    try {
        refresh = found->second->fHandler->needsRefresh();
    } catch (...) {
        keepException();
    }
    if (refresh) {
        InvalidateRect(handle, nullptr, FALSE);
    }
}

void SimpleWindow::Procedure::forget(HWND handle) {
    const auto found = fsWindows.find(handle);
    if (found == fsWindows.end()) {
        return;
    }
    SimpleWindow* window = found->second;
    fsWindows.erase(found);
    if (!window) {
        return;
    }
    window->fWrapper.release();
    if (window->fAlive) { // neither closed before nor destroyed by its object: nobody else ends the loop
        window->fAlive = false;
        PostQuitMessage(0);
    }
}

void SimpleWindow::Procedure::keepException() {
    if (!fsThrown) {
        fsThrown = std::current_exception();
    }
}

void SimpleWindow::Procedure::rethrow() {
    if (fsThrown) {
        std::rethrow_exception(std::exchange(fsThrown, nullptr));
    }
}

SimpleWindow::SimpleWindow() : fInstance(fsNextInstance++) {
    std::snprintf(fClassName, sizeof fClassName, "qvGL_SimpleWindow%u", fInstance);
}

SimpleWindow::ErrorCode SimpleWindow::create(const char* title, unsigned int width, unsigned int height,
                                             MessageHandler* handler) {
    const HINSTANCE module = GetModuleHandleA(nullptr);
    WNDCLASSA windowClass = {};
    windowClass.style = CS_VREDRAW | CS_HREDRAW | CS_OWNDC;
    windowClass.lpfnWndProc = Procedure::run;
    windowClass.hInstance = module;
    windowClass.hIcon = LoadIconA(nullptr, IDI_WINLOGO);
    windowClass.hCursor = LoadCursorA(nullptr, IDC_ARROW);
    windowClass.lpszClassName = fClassName;
    // Fails for a second window of the same object, too: its class is there already.
    if (!RegisterClassA(&windowClass)) {
        return kRegisterClassFailed;
    }

    // More pixels than WM_SIZE can report would only overflow on the way.
    const auto side = [](unsigned int pixels) { return static_cast<LONG>(std::min(pixels, 65535U)); };
    RECT outer = {0, 0, side(width), side(height)};
    const DWORD extendedStyle = WS_EX_APPWINDOW | WS_EX_WINDOWEDGE;
    AdjustWindowRectEx(&outer, WS_OVERLAPPEDWINDOW, FALSE, extendedStyle);
    const HWND window = CreateWindowExA(
        extendedStyle, fClassName, title, WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN | WS_CLIPSIBLINGS, 0, 0,
        outer.right - outer.left, outer.bottom - outer.top, nullptr, nullptr, module, nullptr);
    if (!window) {
        UnregisterClassA(fClassName, module); // nothing stays behind, and create may be tried again
        return kCreateWindowFailed;
    }

    fRegistered = true;
    fActive = true;
    fWrapper = WindowWrapper(window, nullptr);
    fsWindows[window] = this;
    fHandler = handler;
    return kSuccess;
}

void SimpleWindow::show() {
    ShowWindow(fWrapper.externalHandle(), SW_SHOW);
}

void SimpleWindow::hide() {
    ShowWindow(fWrapper.externalHandle(), SW_HIDE);
}

void SimpleWindow::setFocus() {
    const HWND window = fWrapper.externalHandle();
    show(); // the handler hears of it, and may destroy this object
    if (window) {
        SetForegroundWindow(window);
        SetFocus(window);
    }
}

SimpleWindow::ProcessingResult SimpleWindow::processMessage() {
    MSG message;
    ProcessingResult result = kNoMessage;
    if (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) {
        if (message.message == WM_QUIT) {
            if (Procedure::fsThrown) { // instead of the result; the loop hears of its end the next time
                PostQuitMessage(static_cast<int>(message.wParam));
            }
            result = kQuitMessage;
        } else {
            TranslateMessage(&message);
            DispatchMessageA(&message);
            result = kMessageProcessed;
        }
    }
    Procedure::rethrow();
    return result;
}

SimpleWindow::~SimpleWindow() {
    fAlive = false; // the window's last messages are not the handler's, which may be gone
    if (const HWND window = fWrapper.externalHandle()) {
        fWrapper.release();
        DestroyWindow(window);
        fsWindows.erase(window);
    }
    if (fRegistered) {
        UnregisterClassA(fClassName, GetModuleHandleA(nullptr));
    }
}

bool SimpleWindow::waitMessage() {
    return WaitMessage() != 0;
}

SimpleWindow* SimpleWindow::getWindow(HWND window) {
    return fsWindows[window];
}

MessageHandler* SimpleWindow::getHandler(HWND window) {
    const SimpleWindow* found = getWindow(window);
    return found ? found->fHandler : nullptr;
}
