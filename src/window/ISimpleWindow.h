#pragma once

#include "base/Export.h"

class MessageHandler;
class WindowWrapper;

/// A top-level window with a message pump that the host drives; `SimpleWindow` is the one for
/// Windows, with an example.
class QV_EXPORT ISimpleWindow {
public:
    /// What `create` returns.
    enum ErrorCode : int {
        kSuccess = 0,
        kRegisterClassFailed = 1, ///< the window class could not be registered
        kCreateWindowFailed = 2,  ///< the window could not be created
    };
    /// What `processMessage` returns.
    enum ProcessingResult : int {
        kNoMessage = 0,        ///< none was waiting
        kMessageProcessed = 1, ///< one was taken from the queue and dispatched
        kQuitMessage = 2,      ///< the host's loop should end
    };

    /// Creates the window, hidden, with a client area of `width` x `height` pixels; the handler
    /// (which may be null) is told what happens to it from then on.
    virtual ErrorCode create(const char* title, unsigned int width, unsigned int height,
                             MessageHandler* handler) = 0;
    /// Shows the window.
    virtual void show() = 0;
    /// Hides the window.
    virtual void hide() = 0;
    /// Shows the window, brings it to the front and gives it the keyboard.
    virtual void setFocus() = 0;
    /// Processes one waiting message of any window of this thread. Does not wait.
    virtual ProcessingResult processMessage() = 0;
    /// The window's handle and device context, to attach a renderer; empty before `create`.
    virtual const WindowWrapper& windowWrapper() const = 0;
    virtual ~ISimpleWindow();
    /// Sleeps until a message arrives. Returns whether the wait succeeded.
    virtual bool waitMessage() = 0;
};
