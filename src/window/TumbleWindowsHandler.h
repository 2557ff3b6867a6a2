#pragma once

#include "base/AffineMatrix.h"
#include "window/MessageHandler.h"

/// Turns mouse drags in a simple window into a view: the left button tumbles the scene about its
/// origin, the middle button tracks (pans), both together dolly (move closer and farther).
///
/// Hand it to `SimpleWindow::create`, itself or a class of the host's derived from it that draws:
///
///     struct Viewer : TumbleWindowsHandler {
///         void display() override { camera.setViewMatrix(viewMatrix()); draw(); }
///     };
///
/// The view maps a point p of the world, a row vector, to p V; the eye is at the origin and looks
/// along -z. A new handler looks at the world's origin from 10 units away.
class QV_EXPORT TumbleWindowsHandler : public MessageHandler {
public:
    /// What a drag does at the moment.
    enum Mode : int { kIdle = 0, kTumble = 1, kTrack = 2, kDolly = 3 };

    TumbleWindowsHandler() = default;

    /// Whether the view has changed, or the window has moved or changed its size, since the last
    /// press or release that began or ended a drag.
    bool needsRefresh() const override { return fRefresh; }
    void windowMoved() override { fRefresh = true; }
    /// Takes over the size of the window. Sides below 8 count as 8.
    void resize(int width, int height) override;
    /// Follows the buttons and the mouse, in pixels. A drag before the first `resize` is measured
    /// against a window of 8 x 8.
    ///
    /// A tumble turns by 360 degrees over the window's extent. A dolly multiplies the distance by
    /// one more than twice the way down in window widths; up from there brings the eye closer, and
    /// beyond half a width through the origin. A track moves by 10 units over the window's extent.
    void mouseButton(int button, int event, int x, int y) override;

    /// The present view. Works it out only when a drag has changed it.
    const qvLinear::AffineMatrix& viewMatrix() const;

    /// What a drag does at the moment.
    Mode mode() const { return fMode; }
    /// Whether `resize` was called since the mode last changed.
    bool sizeChanged() const { return fSizeChanged; }

private:
    struct Angles { ///< about the three axes, in degrees
        float x = 0;
        float y = 0;
        float z = 0;
    };

    void changeMode(Mode mode, int x, int y);
    void tumble();
    void track();
    void dolly();
    /// The way from the anchor, in pixels.
    double deltaX() const;
    double deltaY() const;
    /// The window's extents, before the first `resize` the least.
    double width() const;
    double height() const;

    Mode fMode = kIdle;
    int fAnchorX = 0;
    int fAnchorY = 0;
    int fX = 0;
    int fY = 0;
    int fWidth = 0;
    int fHeight = 0;
    bool fLeftDown = false;
    bool fMiddleDown = false;
    bool fSizeChanged = false;
    Angles fAngles;
    Angles fSavedAngles;
    float fDistance = 10;
    float fSavedDistance = 10;
    qvLinear::Vector fPan;
    mutable qvLinear::AffineMatrix fView;
    qvLinear::AffineMatrix fBase;
    mutable bool fMatrixDirty = true;
    bool fRefresh = true;
};
