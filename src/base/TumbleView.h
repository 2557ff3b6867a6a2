#pragma once

#include "base/AffineMatrix.h"

/// A view that drags turn: they tumble the scene about its origin, track (pan) it, or dolly the eye
/// closer and farther. It knows pixels and nothing of windows; `TumbleWindowsHandler` feeds it from
/// the mouse in a `SimpleWindow`, and a host with windows of another kind feeds it itself:
///
///     TumbleView view;
///     view.resize(640, 480);
///     view.begin(TumbleView::kTumble, 100, 100); // a button went down
///     view.drag(180, 100);                       // 80 of 640 pixels across: 45 degrees about y
///     view.begin(TumbleView::kIdle, 180, 100);   // and up again
///     camera.setViewMatrix(view.matrix());
///
/// The view maps a point p of the world, a row vector, to p V; the eye is at the origin and looks
/// along -z. A new view looks at the world's origin from 10 units away.
class QV_EXPORT TumbleView {
public:
    /// What a drag does.
    enum Mode : int { kIdle = 0, kTumble = 1, kTrack = 2, kDolly = 3 };

    /// Takes over the size of the window, in pixels. Sides below 8 count as 8, which is also the size
    /// at first.
    void resize(int width, int height);

    /// Begins a drag of that kind at a pixel, y growing downwards; `kIdle` ends the drag.
    void begin(Mode mode, int x, int y);

    /// Takes the drag on to a pixel; an idle view stays as it is.
    ///
    /// A tumble turns by 360 degrees over the window's extent, measured from where the drag began. A
    /// dolly multiplies the distance that it began with by one more than twice the way down in window
    /// widths; up from there brings the eye closer, and beyond half a width through the origin. On
    /// purpose: the way down of a dolly counts against the width, so that a wide window takes a longer
    /// drag. A track moves by 10 units over the window's extent, from move to move.
    void drag(int x, int y);

    /// What a drag does at the moment.
    Mode mode() const { return fMode; }
    /// Whether a drag has changed the view since `matrix` was last called; true at first.
    bool isChanged() const { return fMatrixDirty; }
    /// The present view. Works it out only when a drag has changed it.
    const qvLinear::AffineMatrix& matrix() const;

private:
    struct Angles { ///< about the three axes, in degrees
        float x = 0;
        float y = 0;
        // On purpose: no drag turns about z, so that this angle stays 0 and its rotations have no
        // effect; it is carried along so that the view is a full set of angles.
        float z = 0;
    };

    void tumble();
    void track();
    void dolly();
    /// The way from the anchor, in pixels.
    double deltaX() const;
    double deltaY() const;

    static constexpr int kLeastExtent = 8;

    Mode fMode = kIdle;
    int fAnchorX = 0;
    int fAnchorY = 0;
    int fX = 0;
    int fY = 0;
    double fWidth = kLeastExtent;
    double fHeight = kLeastExtent;
    Angles fAngles;
    Angles fSavedAngles;
    float fDistance = 10;
    float fSavedDistance = 10;
    qvLinear::Vector fPan;
    mutable qvLinear::AffineMatrix fMatrix;
    mutable bool fMatrixDirty = true;
};
