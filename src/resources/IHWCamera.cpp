#include "resources/IHWCamera.h"

#include <cmath>

using qvLinear::AffineMatrix;
using qvLinear::ProjMatrix;

IHWCamera::IHWCamera() = default;

IHWCamera::IHWCamera(const IHWCamera& other)
    : fType(other.fType), fLeft(other.fLeft), fRight(other.fRight), fTop(other.fTop), fBottom(other.fBottom),
      fNear(other.fNear), fFar(other.fFar), fViewMatrix(other.fViewMatrix), fProjMatrix(other.fProjMatrix),
      fInvertViewFrustum(other.fInvertViewFrustum) {
    fFrustum = other.fFrustum; // unlike a copy, an assignment brings the planes along
}

IHWCamera& IHWCamera::operator=(const IHWCamera& other) = default;
IHWCamera::~IHWCamera() = default;

void IHWCamera::bind() {}

void IHWCamera::setViewMatrix(const AffineMatrix& matrix) {
    fViewMatrix = matrix;
    recomputeFrustum();
}

void IHWCamera::setProjMatrix(const ProjMatrix& matrix) {
    fProjMatrix = matrix;
    recomputeFrustum();
}

void IHWCamera::setFrustum(double left, double right, double bottom, double top, double nearPlane,
                           double farPlane) {
    setExtents(kPerspective, left, right, bottom, top, nearPlane, farPlane);
    ProjMatrix m(0.0);
    m[0] = 2 * nearPlane / (right - left);
    m[5] = 2 * nearPlane / (top - bottom);
    m[8] = (right + left) / (right - left);
    m[9] = (top + bottom) / (top - bottom);
    m[10] = (nearPlane + farPlane) / (nearPlane - farPlane);
    m[11] = -1;
    m[14] = 2 * nearPlane * farPlane / (nearPlane - farPlane);
    setProjMatrix(m);
}

void IHWCamera::setOrtho(double left, double right, double bottom, double top, double nearPlane,
                         double farPlane) {
    setExtents(kOrthographic, left, right, bottom, top, nearPlane, farPlane);
    ProjMatrix m(0.0);
    m[0] = 2 / (right - left);
    m[5] = 2 / (top - bottom);
    m[10] = -2 / (farPlane - nearPlane);
    m[12] = -(right + left) / (right - left);
    m[13] = -(top + bottom) / (top - bottom);
    m[14] = -(farPlane + nearPlane) / (farPlane - nearPlane);
    m[15] = 1;
    setProjMatrix(m);
}

void IHWCamera::setPerspective(double fovyDegrees, double aspect, double nearPlane, double farPlane) {
    constexpr double kHalfDegree = 0.008726646259971648; // pi / 360
    const double top = std::tan(fovyDegrees * kHalfDegree) * nearPlane;
    const double bottom = -top;
    setFrustum(bottom * aspect, top * aspect, bottom, top, nearPlane, farPlane);
}

void IHWCamera::setOrthographic(double width, double aspect, double nearPlane, double farPlane) {
    const double h = width * 0.5;
    setOrtho(-h, h, -h * aspect, h * aspect, nearPlane, farPlane);
}

void IHWCamera::getFrustum(double& left, double& right, double& bottom, double& top, double& nearPlane,
                           double& farPlane) const {
    left = fLeft;
    right = fRight;
    bottom = fBottom;
    top = fTop;
    nearPlane = fNear;
    farPlane = fFar;
}

void IHWCamera::setExtents(CameraType type, double left, double right, double bottom, double top,
                           double nearPlane, double farPlane) {
    fType = type;
    fLeft = left;
    fRight = right;
    fTop = top;
    fBottom = bottom;
    fNear = nearPlane;
    fFar = farPlane;
}

void IHWCamera::recomputeFrustum() {
    const ProjMatrix view(fInvertViewFrustum ? fViewMatrix.inverse() : fViewMatrix);
    fFrustum.recomputePlaneEquations(view * fProjMatrix);
}
