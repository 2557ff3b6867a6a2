#pragma once

#include "base/qvLinear.h"
#include "imaging/TportColor.h"
#include "resources/IHWCamera.h"

#include <vector>

/// The description of a light that a host hands to its renderer: colours, spot and attenuation
/// parameters, placement, and the cameras through which it projects.
///
/// The class holds and hands out data. The renderer's own light derives from it, supplies the four
/// pure virtual operations and fills `fProjectors`:
///
///     class SpotLight : public IHWLight {
///     public:
///         explicit SpotLight(IHWCamera& shadow) { fProjectors.push_back(&shadow); } // not owned
///         void bind() override { ... }
///         ...
///     };
class QV_EXPORT IHWLight {
public:
    /// What the light shines like.
    enum LightType : int {
        kAmbientLight = 0,
        kDirectionalLight,
        kPointLight, ///< the default
        kSpotLight,
        kAreaLight,
    };

    virtual ~IHWLight();

    /// Sets what the light shines like.
    virtual void setLightType(LightType type);
    /// Makes the light's state current on the hardware.
    virtual void bind() = 0;
    /// Takes it off the hardware.
    virtual void unbind() = 0;
    /// Switches the light on or off.
    virtual void enable(bool on) = 0;
    /// Whether the light is switched on.
    virtual bool isEnabled() const = 0;

    /// What the light shines like.
    LightType type() const { return fType; }

    /// The ambient colour; opaque black at first.
    const TportColor& ambientColor() const { return fAmbientColor; }
    /// The diffuse colour; white at first.
    const TportColor& diffuseColor() const { return fDiffuseColor; }
    /// The specular colour; white at first.
    const TportColor& specularColor() const { return fSpecularColor; }
    /// Sets the ambient colour.
    void setAmbientColor(const TportColor& color) { fAmbientColor = color; }
    /// Sets the diffuse colour.
    void setDiffuseColor(const TportColor& color) { fDiffuseColor = color; }
    /// Sets the specular colour.
    void setSpecularColor(const TportColor& color) { fSpecularColor = color; }

    /// Half the opening of the spot, in degrees; 180 for no spot.
    float spotCutoff() const { return fSpotCutoff; }
    /// Sets that angle.
    void setSpotCutoff(float degrees) { fSpotCutoff = degrees; }
    /// Sets the cutoff to half of the full opening `angle`. On purpose: `coneAngle()` stays,
    /// so that the two may contradict each other.
    void setSpotConeAngle(float angle) { fSpotCutoff = angle * 0.5F; }
    /// How sharply a spot falls off from its axis; 0 for not at all.
    float spotExponent() const { return fSpotExponent; }
    /// Sets that exponent.
    void setSpotExponent(float exponent) { fSpotExponent = exponent; }

    /// The part of the attenuation that is the same at every distance; 1 at first.
    float constantAttenuation() const { return fAttenuation[0]; }
    /// The factor of the distance; 0 at first.
    float linearAttenuation() const { return fAttenuation[1]; }
    /// The factor of its square; 0 at first.
    float quadraticAttenuation() const { return fAttenuation[2]; }
    /// The factor of its cube; 0 at first.
    float cubicAttenuation() const { return fAttenuation[3]; }
    /// Sets all four factors.
    void setAttenuation(float constant, float linear, float quadratic, float cubic);

    /// In radians; pi at first.
    float coneAngle() const { return fConeAngle; }
    /// Sets that angle.
    void setConeAngle(float angle) { fConeAngle = angle; }
    /// The angle over which the edge of the cone fades; 0 at first.
    float penumbraAngle() const { return fPenumbraAngle; }
    /// Sets that angle.
    void setPenumbraAngle(float angle) { fPenumbraAngle = angle; }
    /// How the light falls off from the axis to the edge of the cone; 0 at first.
    float dropOff() const { return fDropOff; }
    /// Sets that factor.
    void setDropOff(float dropOff) { fDropOff = dropOff; }

    /// The placement of the light.
    const qvLinear::ProjMatrix& matrix() const { return fMatrix; }
    /// Sets the placement.
    void setMatrix(const qvLinear::ProjMatrix& matrix) { fMatrix = matrix; }
    /// The direction in world space.
    const qvLinear::Vector& worldDir() const { return fWorldDir; }
    /// Sets that direction.
    void setWorldDir(const qvLinear::Vector& direction) { fWorldDir = direction; }
    /// The position in world space.
    const qvLinear::Point& worldPos() const { return fWorldPos; }
    /// Sets that position.
    void setWorldPos(const qvLinear::Point& position) { fWorldPos = position; }

    /// The i-th camera through which the light projects; null when there is none.
    IHWCamera* projector(unsigned int i) const { return i < fProjectors.size() ? fProjectors[i] : nullptr; }

    /// The distance beyond which the light no longer matters; 0 until it is computed.
    float thresholdRadius() const { return fThresholdRadius; }
    /// Finds the distance at which an intensity that falls off with the `exponent`-th power of the
    /// distance drops to `threshold`: (|intensity| / threshold) ^ (1 / exponent), computed in extended
    /// precision. It is 0 for an exponent of 0 and for a threshold that is not above 0.
    void computeThresholdRadius(float intensity, float threshold, unsigned int exponent);

protected:
    IHWLight();
    /// Every field is copied; both lights then project through the same cameras.
    IHWLight(const IHWLight& other);
    IHWLight& operator=(const IHWLight& other);

private:
    TportColor fAmbientColor{0, 0, 0, 1};
    TportColor fDiffuseColor{1, 1, 1, 1};
    TportColor fSpecularColor{1, 1, 1, 1};
    float fSpotCutoff = 180;
    float fSpotExponent = 0;
    float fAttenuation[4] = {1, 0, 0, 0};
    float fConeAngle;
    float fPenumbraAngle = 0;
    float fDropOff = 0;
    qvLinear::ProjMatrix fMatrix;
    qvLinear::Vector fWorldDir;
    qvLinear::Point fWorldPos;
    LightType fType = kPointLight;

protected:
    /// Four numbers for derived classes; nothing here looks at them.
    float fUserValue[4] = {0, 0, 1, 0};
    /// The cameras, not owned.
    std::vector<IHWCamera*> fProjectors;

private:
    float fThresholdRadius = 0;
};
