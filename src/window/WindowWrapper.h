#pragma once

#include "base/Export.h"

// <windows.h> calls pointers to these HWND and HDC; a host need not include it for this header.
struct HWND__;
struct HDC__;

/// A window of the system together with a device context to draw into it. Windows only.
///
/// The wrapper owns its device context, not the window: every wrapper of a window fetches a
/// context of its own and gives it back.
///
///     WindowWrapper target = window.windowWrapper();
///     if (target.valid()) {
///         attachRenderer(target.internalHandle());
///     }
class QV_EXPORT WindowWrapper {
public:
    /// No window and no device context.
    WindowWrapper() = default;
    /// Wraps `window` with a device context fetched from it. On purpose: `dc` counts without a window
    /// only, where it is kept as it is and stays its owner's.
    WindowWrapper(HWND__* window, HDC__* dc);
    /// Wraps the same window with a device context of its own; without a window, a plain copy.
    WindowWrapper(const WindowWrapper& other);
    /// Becomes a copy of `other`; the context that this wrapper held before is given back.
    WindowWrapper& operator=(const WindowWrapper& other);
    /// Releases the device context.
    virtual ~WindowWrapper();

    /// Gives the device context back to the window, if there is one, and forgets both.
    void release();

    /// Whether there is a device context.
    bool valid() const { return fContext != nullptr; }
    /// The window (HWND), or null.
    HWND__* externalHandle() const { return fWindow; }
    /// The device context (HDC), or null.
    HDC__* internalHandle() const { return fContext; }

private:
    HWND__* fWindow = nullptr;
    HDC__* fContext = nullptr;
};
