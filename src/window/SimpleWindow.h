#pragma once

#include "window/ISimpleWindow.h"
#include "window/MessageHandler.h"
#include "window/WindowWrapper.h"

#include <map>

/// A top-level window for viewers and tools: it draws nothing, hands out its handles for a
/// renderer, and reports to a `MessageHandler`. Windows only.
///
///     Scene scene; // a MessageHandler
///     SimpleWindow window;
///     if (window.create("Viewer", 640, 480, &scene) != ISimpleWindow::kSuccess) { ... }
///     window.setFocus();
///     for (;;) {
///         const auto result = window.processMessage();
///         if (result == ISimpleWindow::kQuitMessage) { break; }
///         if (result == ISimpleWindow::kNoMessage) { window.waitMessage(); }
///     }
///
/// An object makes one window in its life: a second `create` returns `kRegisterClassFailed` and
/// leaves the window as it is. The close button destroys nothing: it ends the host's loop
/// (`kQuitMessage`), and the window goes with its object. A handler may destroy the object, which ends
/// nothing; the window alone destroyed behind the object's back, by its handle, ends the loop as the
/// close button does.
///
/// While a handler is being called, no other call to any handler begins: messages that the system
/// sends meanwhile, to whichever window, get the system's default treatment.
///
/// A C++ exception cannot cross the system's frames. One that a handler throws is kept, and leaves
/// from the next `processMessage`, of any window.
///
/// A window belongs to the thread that created it; only one thread may have windows.
class QV_EXPORT SimpleWindow : public ISimpleWindow {
public:
    /// No window yet; settles its class name, which counts the objects of the process.
    SimpleWindow();
    SimpleWindow(const SimpleWindow&) = delete;
    SimpleWindow& operator=(const SimpleWindow&) = delete;

    /// See `ISimpleWindow`. A null title is an empty one. Sides count up to 65535, and the system
    /// has a least width. The handler hears nothing while `create` runs.
    ErrorCode create(const char* title, unsigned int width, unsigned int height,
                     MessageHandler* handler) override;
    void show() override;
    void hide() override;
    void setFocus() override;
    ProcessingResult processMessage() override;
    const WindowWrapper& windowWrapper() const override { return fWrapper; }
    /// Destroys the window; the handler is not called any more.
    ~SimpleWindow() override;
    bool waitMessage() override;

    /// Whether the window was not minimised when it was last activated or deactivated.
    bool isActive() const { return fActive; }
    /// False once the window has been asked to close, or has been destroyed.
    bool isAlive() const { return fAlive; }

    /// The simple window with this handle (HWND), or null. On purpose: an unknown handle enters the
    /// map of windows with null, as every handle does whose first messages arrive during `create`, so
    /// that asking for ever new handles makes the map grow.
    static SimpleWindow* getWindow(HWND__* window);
    /// The handler of the simple window with this handle, or null.
    static MessageHandler* getHandler(HWND__* window);

private:
    struct Procedure; // the window procedure; its types need <windows.h>

    WindowWrapper fWrapper;
    MessageHandler* fHandler = nullptr;
    bool fActive = false;
    unsigned int fInstance;
    char fClassName[48];
    bool fAlive = true;
    bool fRegistered = false; // the window class

    static unsigned int fsNextInstance;
    static std::map<HWND__*, SimpleWindow*> fsWindows;
};
