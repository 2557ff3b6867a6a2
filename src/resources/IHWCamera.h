#pragma once

#include "geometry/Frustum.h"

/// The hardware's camera: a view matrix, a projection matrix in the convention of OpenGL's
/// fixed-function `glFrustum` and `glOrtho`, and a frustum that follows every change of either.
///
///     IHWCamera camera;
///     camera.setPerspective(60, 4.0 / 3.0, 0.1, 1000);
///     camera.setViewMatrix(worldToEye);
///     if (camera.intersects(box)) { draw(); }
///
/// Extents that coincide divide by zero: the matrix then holds infinities and not-a-numbers, and
/// planes made of them reject nothing. A back end derives from the class and overrides `bind()`.
class QV_EXPORT IHWCamera {
public:
    /// The kind of projection.
    enum CameraType : int {
        kPerspective = 0,
        kOrthographic = 1,
    };

    /// Perspective, both matrices the identity, the frustum not yet computed, all extents 0.
    IHWCamera();
    /// A copy culls like its source.
    IHWCamera(const IHWCamera& other);
    IHWCamera& operator=(const IHWCamera& other);
    virtual ~IHWCamera();

    /// Makes the camera the current one; does nothing here.
    virtual void bind();

    /// The kind of projection that was set last.
    CameraType cameraType() const { return fType; }
    /// Sets the kind without touching the matrices.
    void setType(CameraType type) { fType = type; }

    /// The map between world and eye space.
    const qvLinear::AffineMatrix& viewMatrix() const { return fViewMatrix; }
    /// Sets it and brings the frustum in step.
    void setViewMatrix(const qvLinear::AffineMatrix& matrix);
    /// The map from eye space to clip coordinates.
    const qvLinear::ProjMatrix& projMatrix() const { return fProjMatrix; }
    /// Leaves type and extents as they are.
    void setProjMatrix(const qvLinear::ProjMatrix& matrix);

    /// Whether the inverse of the view matrix is what maps to eye space. Takes effect with the next
    /// change of a matrix.
    void setInvertViewFrustum(bool invert) { fInvertViewFrustum = invert; }

    /// A perspective projection from the window on the near plane.
    void setFrustum(double left, double right, double bottom, double top, double nearPlane, double farPlane);
    /// A parallel projection of a box.
    void setOrtho(double left, double right, double bottom, double top, double nearPlane, double farPlane);
    /// A symmetric `setFrustum`. `aspect` widens the vertical extent into the horizontal one.
    /// @param fovyDegrees the whole vertical angle
    void setPerspective(double fovyDegrees, double aspect, double nearPlane, double farPlane);
    /// A symmetric `setOrtho`. On purpose: the height is `width` times `aspect`, so that the same
    /// picture takes the reciprocal of the aspect that `setPerspective` takes.
    void setOrthographic(double width, double aspect, double nearPlane, double farPlane);
    /// The extents in the order in which `setFrustum` takes them.
    void getFrustum(double& left, double& right, double& bottom, double& top, double& nearPlane,
                    double& farPlane) const;

    /// Whether a box or a sphere touches what the camera sees, as `Frustum::classify` answers it.
    bool intersects(const IBoundingVolume& volume) const {
        return fFrustum.classify(IBounds::kIntersect, volume);
    }

protected:
    /// Takes the frustum's planes from the product of view and projection.
    void recomputeFrustum();

private:
    void setExtents(CameraType type, double left, double right, double bottom, double top, double nearPlane,
                    double farPlane);

    CameraType fType = kPerspective;
    double fLeft = 0;
    double fRight = 0;
    double fTop = 0;
    double fBottom = 0;
    double fNear = 0;
    double fFar = 0;
    qvLinear::AffineMatrix fViewMatrix;
    qvLinear::ProjMatrix fProjMatrix;
    Frustum fFrustum;
    bool fInvertViewFrustum = false;
};
