#include "window/TumbleWindowsHandler.h"

#include <algorithm>

using qvLinear::AffineMatrix;
using qvLinear::Normal;
using qvLinear::Vector;

namespace {

constexpr int kLeastExtent = 8;

// On purpose: this single-precision value is about 0.01 % more than pi / 180.
constexpr double kRadiansPerDegree = 0.017455052584409714;

const Normal kXAxis(1, 0, 0);
const Normal kYAxis(0, 1, 0);
const Normal kZAxis(0, 0, 1);

Vector scaled(const Vector& v, double factor) {
    return Vector(v.x * factor, v.y * factor, v.z * factor);
}

} // namespace

void TumbleWindowsHandler::resize(int width, int height) {
    fWidth = std::max(width, kLeastExtent);
    fHeight = std::max(height, kLeastExtent);
    fSizeChanged = true;
    fRefresh = true;
}

void TumbleWindowsHandler::mouseButton(int button, int event, int x, int y) {
    if (button != kNoButton || event != kMove) {
        const bool changes = event == kPress || event == kRelease;
        if (button == kLeftButton && changes) {
            fLeftDown = event == kPress;
        } else if (button == kMiddleButton && changes) {
            fMiddleDown = event == kPress;
        }
        const Mode mode = fLeftDown ? (fMiddleDown ? kDolly : kTumble) : (fMiddleDown ? kTrack : kIdle);
        if (mode != fMode) {
            changeMode(mode, x, y);
        }
        return;
    }

    fX = x;
    fY = y;
    switch (fMode) {
    case kIdle:
        fRefresh = fMatrixDirty;
        return;
    case kTumble:
        tumble();
        break;
    case kTrack:
        track();
        break;
    case kDolly:
        dolly();
        break;
    }
    fMatrixDirty = true;
    fRefresh = true;
}

void TumbleWindowsHandler::changeMode(Mode mode, int x, int y) {
    fMode = mode;
    fAnchorX = fX = x;
    fAnchorY = fY = y;
    fSavedDistance = fDistance;
    fSavedAngles = fAngles;
    fSizeChanged = false;
    fRefresh = false;
}

void TumbleWindowsHandler::tumble() {
    fAngles.x = static_cast<float>(deltaY() * 360 / height() + fSavedAngles.x);
    fAngles.y = static_cast<float>(deltaX() * 360 / width() + fSavedAngles.y);
    fAngles.z = fSavedAngles.z;
}

void TumbleWindowsHandler::track() {
    AffineMatrix back;
    back.rotate(-(fAngles.y * kRadiansPerDegree), kYAxis);
    back.rotate(-(fAngles.x * kRadiansPerDegree), kXAxis);
    back.rotate(-(fAngles.z * kRadiansPerDegree), kZAxis);
    // On purpose: the columns, not the rows, of the turn back. They are the screen's axes as long
    // as the view is not tumbled; after a quarter turn about y the scene moves against the mouse.
    Vector right(back[0], back[3], back[6]);
    Vector up(back[1], back[4], back[7]);
    right.normalize();
    up.normalize();
    const double unitsPerExtent = 10;
    right = scaled(right, deltaX() / width() * unitsPerExtent);
    up = scaled(up, deltaY() / height() * unitsPerExtent);
    fPan = Vector(fPan.x + right.x - up.x, fPan.y + right.y - up.y, fPan.z + right.z - up.z);
    // From move to move, where the other two measure from the drag's start.
    fAnchorX = fX;
    fAnchorY = fY;
}

void TumbleWindowsHandler::dolly() {
    // On purpose: the way down counts against the width.
    fDistance = static_cast<float>((deltaY() * 2 / width() + 1) * fSavedDistance);
}

double TumbleWindowsHandler::deltaX() const {
    return static_cast<double>(fX) - fAnchorX;
}

double TumbleWindowsHandler::deltaY() const {
    return static_cast<double>(fY) - fAnchorY;
}

double TumbleWindowsHandler::width() const {
    return std::max(fWidth, kLeastExtent);
}

double TumbleWindowsHandler::height() const {
    return std::max(fHeight, kLeastExtent);
}

const AffineMatrix& TumbleWindowsHandler::viewMatrix() const {
    if (fMatrixDirty) {
        fView = fBase;
        fView.rotate(fAngles.y * kRadiansPerDegree, kYAxis);
        fView.rotate(fAngles.x * kRadiansPerDegree, kXAxis);
        fView.rotate(fAngles.z * kRadiansPerDegree, kZAxis);
        // The world's direction towards the eye; the translation is in the world's, turned, space.
        const Vector towardsEye(fView[2], fView[5], fView[8]);
        fView.translate(scaled(towardsEye, -static_cast<double>(fDistance)));
        fView.translate(fPan);
        fMatrixDirty = false;
    }
    return fView;
}
