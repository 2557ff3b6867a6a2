#pragma once

#include "base/Export.h"

/// What a simple window tells its host: derive from it, override what is of interest.
///
/// The window does not own its handler; the handler must live as long as the window reports to it.
/// A handler may hide, close or destroy its window during any of these calls.
///
///     struct Scene : MessageHandler {
///         void display() override { draw(); }
///         void keyboard(unsigned int key) override { fWireframe = key == 'W'; }
///     };
///
/// The order of the functions, with the destructor last, is that of the virtual table, which
/// compiled hosts rely on.
class QV_EXPORT MessageHandler {
public:
    /// The values of `mouseButton`'s first argument.
    enum Button : int { kNoButton = 0, kLeftButton = 1, kMiddleButton = 2, kRightButton = 3 };
    /// The values of `mouseButton`'s second argument.
    enum ButtonEvent : int { kRelease = 4, kPress = 5, kMove = 6 };

    /// Asked after every message that the window handled: whether the client area must be painted
    /// anew.
    virtual bool needsRefresh() const { return false; }
    /// The client area must be drawn.
    virtual void display() {}
    /// The window has moved on the screen.
    virtual void windowMoved() {}
    /// The client area has a new size, in pixels.
    virtual void resize(int /*width*/, int /*height*/) {}
    /// A key went down, or repeats. `key` is the system's virtual-key code.
    virtual void keyboard(unsigned int /*key*/) {}
    /// The mouse moved (`kNoButton`, `kMove`), or a button was pressed or released, at a pixel of
    /// the client area; the origin is its top left corner and y grows downwards.
    ///
    /// On purpose: the coordinates are unsigned 16-bit numbers, so that a position left of or above the
    /// client area, which a host with the mouse captured can get, reads as 65536 less its distance.
    /// Cast to `short` to have it negative.
    virtual void mouseButton(int /*button*/, int /*event*/, int /*x*/, int /*y*/) {}

    virtual ~MessageHandler();
};
