/// @file
/// A viewer in one window: a knot of points in its bounding box, in wireframe.
///
/// The left button tumbles, the middle button tracks, both together dolly; Escape or the close
/// button ends. It shows how a window, a tumble handler and a camera work together; a host with
/// graphics hardware would attach it where this one draws with GDI.

#include "geometry/AABoundingBox.h"
#include "resources/IHWCamera.h"
#include "window/SimpleWindow.h"
#include "window/TumbleWindowsHandler.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <string>
#include <vector>
#include <windows.h>

using qvLinear::HPoint;
using qvLinear::PointFlt;
using qvLinear::ProjMatrix;

namespace {

constexpr COLORREF kBackground = RGB(18, 21, 28);
constexpr double kNearPlane = 0.1;
constexpr double kFarPlane = 100;

/// A colour between two, `t` from 0 to 1.
COLORREF mix(COLORREF a, COLORREF b, double t) {
    t = std::clamp(t, 0.0, 1.0);
    const auto channel = [t](int from, int to) {
        return static_cast<int>(std::lround(from + (to - from) * t));
    };
    return RGB(channel(GetRValue(a), GetRValue(b)), channel(GetGValue(a), GetGValue(b)),
               channel(GetBValue(a), GetBValue(b)));
}

/// A picture in memory that is painted in one go, so that nothing flickers. It is `kScale` times
/// as large as the window in both directions: shrinking it smooths the lines.
class Canvas {
public:
    static constexpr int kScale = 3;

    Canvas(HDC target, int width, int height)
        : fTarget(target), fWidth(width), fHeight(height), fContext(CreateCompatibleDC(target)),
          fBitmap(CreateCompatibleBitmap(target, width * kScale, height * kScale)),
          fBefore(SelectObject(fContext, fBitmap)) {
        const RECT all = {0, 0, width * kScale, height * kScale};
        SetDCBrushColor(fContext, kBackground);
        FillRect(fContext, &all, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
    }
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;
    ~Canvas() {
        SelectObject(fContext, fBefore);
        DeleteObject(fBitmap);
        DeleteDC(fContext);
    }

    /// Positions and thickness in pixels of the window.
    void line(double x1, double y1, double x2, double y2, double thickness, COLORREF color) {
        const HPEN pen = CreatePen(PS_SOLID, scaled(thickness), color);
        const HGDIOBJ before = SelectObject(fContext, pen);
        MoveToEx(fContext, scaled(x1), scaled(y1), nullptr);
        LineTo(fContext, scaled(x2), scaled(y2));
        SelectObject(fContext, before);
        DeleteObject(pen);
    }

    void disc(double x, double y, double radius, COLORREF color) {
        SelectObject(fContext, GetStockObject(NULL_PEN));
        SelectObject(fContext, GetStockObject(DC_BRUSH));
        SetDCBrushColor(fContext, color);
        Ellipse(fContext, scaled(x - radius), scaled(y - radius), scaled(x + radius) + 1,
                scaled(y + radius) + 1);
    }

    /// Puts the picture into the window.
    void present() {
        SetStretchBltMode(fTarget, HALFTONE);
        SetBrushOrgEx(fTarget, 0, 0, nullptr);
        StretchBlt(fTarget, 0, 0, fWidth, fHeight, fContext, 0, 0, fWidth * kScale, fHeight * kScale,
                   SRCCOPY);
    }

private:
    static int scaled(double pixels) { return static_cast<int>(std::lround(pixels * kScale)); }

    HDC fTarget;
    int fWidth;
    int fHeight;
    HDC fContext;
    HBITMAP fBitmap;
    HGDIOBJ fBefore;
};

/// A line of the scene; one with equal ends is a dot.
struct Stroke {
    PointFlt from;
    PointFlt to;
    double thickness; // a line's in pixels at the box's centre, a dot's radius in units of the world
    COLORREF color;
};

/// A trefoil knot with dots along it, and the edges of its bounding box.
class Scene {
public:
    Scene() {
        constexpr int kPieces = 180;
        std::vector<PointFlt> points;
        for (int i = 0; i < kPieces; ++i) {
            const double t = 2 * std::numbers::pi * i / kPieces;
            points.emplace_back(static_cast<float>(std::sin(t) + 2 * std::sin(2 * t)),
                                static_cast<float>(0.5 + std::cos(t) - 2 * std::cos(2 * t)),
                                static_cast<float>(-1.2 * std::sin(3 * t)));
        }
        fBox.addPoints(points);

        for (int i = 0; i < kPieces; ++i) {
            const double around = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * i / kPieces);
            const COLORREF color = mix(RGB(64, 196, 255), RGB(255, 138, 101), around);
            const PointFlt& point = points[i];
            fStrokes.push_back({point, points[(i + 1) % kPieces], 3, color});
            if (i % 9 == 0) {
                fStrokes.push_back({point, point, 0.11, mix(color, RGB(255, 255, 255), 0.6)});
            }
        }

        // Bits 0 to 2 of a corner's number choose max over min; edges join corners one bit apart.
        // In pieces, so that a near piece can hide a far one.
        const PointFlt low = fBox.min();
        const PointFlt high = fBox.max();
        const auto corner = [&](int number) {
            return PointFlt(number & 1 ? high.x : low.x, number & 2 ? high.y : low.y,
                            number & 4 ? high.z : low.z);
        };
        constexpr int kEdgePieces = 16;
        for (int number = 0; number < 8; ++number) {
            for (int bit = 1; bit < 8; bit *= 2) {
                if (number & bit) {
                    continue;
                }
                const PointFlt a = corner(number);
                const PointFlt b = corner(number | bit);
                const auto between = [&](int piece) {
                    const float t = static_cast<float>(piece) / kEdgePieces;
                    return PointFlt(a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t, a.z + (b.z - a.z) * t);
                };
                for (int piece = 0; piece < kEdgePieces; ++piece) {
                    fStrokes.push_back({between(piece), between(piece + 1), 1.2, RGB(150, 160, 178)});
                }
            }
        }
    }

    const AABoundingBox& box() const { return fBox; }
    const std::vector<Stroke>& strokes() const { return fStrokes; }

private:
    AABoundingBox fBox;
    std::vector<Stroke> fStrokes;
};

/// Draws the scene through a camera, the far strokes first.
void draw(const Scene& scene, const IHWCamera& camera, Canvas& canvas, int width, int height) {
    const ProjMatrix toClip = ProjMatrix(camera.viewMatrix()) * camera.projMatrix();
    const auto project = [&](const PointFlt& p) {
        HPoint clip;
        toClip.preMult(clip, HPoint(p.x, p.y, p.z, 1)); // its w is the distance along the view
        return HPoint((clip.x / clip.w + 1) * width / 2, (1 - clip.y / clip.w) * height / 2, clip.z, clip.w);
    };

    struct Drawn {
        HPoint from;
        HPoint to;
        double depth;
        const Stroke* stroke;
    };
    std::vector<Drawn> visible;
    visible.reserve(scene.strokes().size());
    for (const Stroke& stroke : scene.strokes()) {
        const HPoint from = project(stroke.from);
        const HPoint to = project(stroke.to);
        // The strokes are short: one that reaches behind the near plane can go as a whole.
        if (from.w > kNearPlane && to.w > kNearPlane) {
            visible.push_back({from, to, (from.w + to.w) / 2, &stroke});
        }
    }
    std::sort(visible.begin(), visible.end(),
              [](const Drawn& a, const Drawn& b) { return a.depth > b.depth; });
    if (visible.empty()) {
        return;
    }

    const double farthest = visible.front().depth;
    const double depthRange = std::max(farthest - visible.back().depth, 1e-6);
    const double pixelsPerUnit = camera.projMatrix()[5] * height / 2; // at a distance of 1
    for (const Drawn& d : visible) {
        const COLORREF color =
            mix(mix(kBackground, d.stroke->color, 0.3), d.stroke->color, (farthest - d.depth) / depthRange);
        const bool dot = d.from.x == d.to.x && d.from.y == d.to.y;
        if (dot) {
            canvas.disc(d.from.x, d.from.y, d.stroke->thickness * pixelsPerUnit / d.depth, color);
        } else {
            const double thickness = d.stroke->thickness * std::clamp(10 / d.depth, 0.4, 4.0);
            canvas.line(d.from.x, d.from.y, d.to.x, d.to.y, thickness, color);
        }
    }
}

/// The handler: tumbling comes from the base class; this one draws, and talks to the window.
class Viewer : public TumbleWindowsHandler {
public:
    explicit Viewer(SimpleWindow& window) : fWindow(window) {}

    /// The base class wants to be drawn as long as a drag lasts; once for each change will do.
    bool needsRefresh() const override { return fChanged && TumbleWindowsHandler::needsRefresh(); }

    void display() override {
        fChanged = false;
        fCamera.setViewMatrix(viewMatrix());
        Canvas canvas(fWindow.windowWrapper().internalHandle(), fWidth, fHeight);
        if (fCamera.intersects(fScene.box())) {
            draw(fScene, fCamera, canvas, fWidth, fHeight);
        }
        canvas.present();
    }

    void resize(int width, int height) override {
        TumbleWindowsHandler::resize(width, height);
        fChanged = true;
        fWidth = std::max(width, 1); // a minimised window has no size
        fHeight = std::max(height, 1);
        const double aspect = static_cast<double>(fWidth) / fHeight;
        fCamera.setPerspective(45, aspect, kNearPlane, kFarPlane);
    }

    void mouseButton(int button, int event, int x, int y) override {
        const HWND window = fWindow.windowWrapper().externalHandle();
        const Mode before = mode();
        // Signed again: while the mouse is captured, it may be left of the window or above it.
        TumbleWindowsHandler::mouseButton(button, event, static_cast<short>(x), static_cast<short>(y));
        fChanged = true;
        if (mode() != before) {
            // With the mouse captured, a release outside the window arrives, too.
            if (mode() == kIdle) {
                ReleaseCapture();
            } else {
                SetFocus(window);
                SetCapture(window);
            }
            showMode();
        }
    }

    void keyboard(unsigned int key) override {
        if (key == VK_ESCAPE) {
            PostMessageA(fWindow.windowWrapper().externalHandle(), WM_CLOSE, 0, 0);
        }
    }

    void showMode() const {
        static const char* const names[] = {"drag to tumble, middle to track, both to dolly", "tumble",
                                            "track", "dolly"};
        const std::string title = std::string("qv - ") + names[mode()];
        SetWindowTextA(fWindow.windowWrapper().externalHandle(), title.c_str());
    }

private:
    SimpleWindow& fWindow;
    Scene fScene;
    IHWCamera fCamera;
    int fWidth = 1;
    int fHeight = 1;
    bool fChanged = true;
};

} // namespace

int main() {
    SimpleWindow window;
    Viewer viewer(window);
    if (window.create("qv", 640, 480, &viewer) != ISimpleWindow::kSuccess) {
        MessageBoxA(nullptr, "The window could not be created.", "qv", MB_ICONERROR);
        return 1;
    }
    viewer.showMode();
    window.setFocus();
    for (;;) {
        const auto result = window.processMessage();
        if (result == ISimpleWindow::kQuitMessage) {
            return 0;
        }
        if (result == ISimpleWindow::kNoMessage) {
            window.waitMessage();
        }
    }
}
