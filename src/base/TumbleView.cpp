#include "base/TumbleView.h"

#include <algorithm>

using qvLinear::AffineMatrix;
using qvLinear::Normal;
using qvLinear::Vector;

namespace {

// On purpose: this single-precision value is about 0.01 % more than pi / 180, so that a quarter turn
// is 1.6e-4 radians more than one.
constexpr double kRadiansPerDegree = 0.017455052584409714;

const Normal kXAxis(1, 0, 0);
const Normal kYAxis(0, 1, 0);
const Normal kZAxis(0, 0, 1);

Vector scaled(const Vector& v, double factor) {
    return Vector(v.x * factor, v.y * factor, v.z * factor);
}

} // namespace

void TumbleView::resize(int width, int height) {
    fWidth = std::max(width, kLeastExtent);
    fHeight = std::max(height, kLeastExtent);
}

void TumbleView::begin(Mode mode, int x, int y) {
    fMode = mode;
    fAnchorX = fX = x;
    fAnchorY = fY = y;
    fSavedDistance = fDistance;
    fSavedAngles = fAngles;
}

void TumbleView::drag(int x, int y) {
    fX = x;
    fY = y;
    switch (fMode) {
    case kIdle:
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
}

void TumbleView::tumble() {
    fAngles.x = static_cast<float>(deltaY() * 360 / fHeight + fSavedAngles.x);
    fAngles.y = static_cast<float>(deltaX() * 360 / fWidth + fSavedAngles.y);
    fAngles.z = fSavedAngles.z;
}

void TumbleView::track() {
    AffineMatrix back;
    back.rotate(-(fAngles.y * kRadiansPerDegree), kYAxis);
    back.rotate(-(fAngles.x * kRadiansPerDegree), kXAxis);
    back.rotate(-(fAngles.z * kRadiansPerDegree), kZAxis);
    // On purpose: the columns, not the rows, of the turn back are taken for the screen's axes, which
    // they are as long as the view is not tumbled; after a quarter turn about y the scene moves
    // against the mouse.
    Vector right(back[0], back[3], back[6]);
    Vector up(back[1], back[4], back[7]);
    right.normalize();
    up.normalize();
    const double unitsPerExtent = 10;
    right = scaled(right, deltaX() / fWidth * unitsPerExtent);
    up = scaled(up, deltaY() / fHeight * unitsPerExtent);
    fPan = Vector(fPan.x + right.x - up.x, fPan.y + right.y - up.y, fPan.z + right.z - up.z);
    fAnchorX = fX; // the next move is measured from here
    fAnchorY = fY;
}

void TumbleView::dolly() {
    fDistance = static_cast<float>((deltaY() * 2 / fWidth + 1) * fSavedDistance);
}

double TumbleView::deltaX() const {
    return static_cast<double>(fX) - fAnchorX;
}

double TumbleView::deltaY() const {
    return static_cast<double>(fY) - fAnchorY;
}

const AffineMatrix& TumbleView::matrix() const {
    if (fMatrixDirty) {
        fMatrix = AffineMatrix();
        fMatrix.rotate(fAngles.y * kRadiansPerDegree, kYAxis);
        fMatrix.rotate(fAngles.x * kRadiansPerDegree, kXAxis);
        fMatrix.rotate(fAngles.z * kRadiansPerDegree, kZAxis);
        // The world's direction towards the eye: a translation is made in the world's, turned, space.
        const Vector towardsEye(fMatrix[2], fMatrix[5], fMatrix[8]);
        fMatrix.translate(scaled(towardsEye, -static_cast<double>(fDistance)));
        fMatrix.translate(fPan);
        fMatrixDirty = false;
    }
    return fMatrix;
}
