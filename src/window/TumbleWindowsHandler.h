#pragma once

#include "base/TumbleView.h"
#include "window/MessageHandler.h"

/// Turns mouse drags in a simple window into a view: the left button tumbles the scene about its
/// origin, the middle button tracks (pans), both together dolly (move closer and farther). The view
/// itself is a `TumbleView`, which says by how much.
///
/// Hand it to `SimpleWindow::create`, itself or a class of the host's derived from it that draws:
///
///     struct Viewer : TumbleWindowsHandler {
///         void display() override { camera.setViewMatrix(viewMatrix()); draw(); }
///     };
class QV_EXPORT TumbleWindowsHandler : public MessageHandler {
public:
    /// What a drag does at the moment.
    using Mode = TumbleView::Mode;
    using enum TumbleView::Mode;

    TumbleWindowsHandler() = default;

    /// Whether the view has changed, or the window has moved or changed its size, since the last
    /// press or release that began or ended a drag.
    bool needsRefresh() const override { return fRefresh; }
    void windowMoved() override { fRefresh = true; }
    /// Takes over the size of the window. Sides below 8 count as 8.
    void resize(int width, int height) override;
    /// Follows the buttons and the mouse, in pixels. A drag before the first `resize` is measured
    /// against a window of 8 x 8.
    void mouseButton(int button, int event, int x, int y) override;

    /// The present view. Works it out only when a drag has changed it.
    const qvLinear::AffineMatrix& viewMatrix() const { return fView.matrix(); }

    /// What a drag does at the moment.
    Mode mode() const { return fView.mode(); }
    /// Whether `resize` was called since the mode last changed.
    bool sizeChanged() const { return fSizeChanged; }

private:
    TumbleView fView;
    bool fLeftDown = false;
    bool fMiddleDown = false;
    bool fSizeChanged = false;
    bool fRefresh = true;
};
