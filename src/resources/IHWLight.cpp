#include "resources/IHWLight.h"

#include <cmath>
#include <numbers>

IHWLight::IHWLight() : fConeAngle(std::numbers::pi_v<float>) {}

IHWLight::IHWLight(const IHWLight& other) = default;
IHWLight& IHWLight::operator=(const IHWLight& other) = default;
IHWLight::~IHWLight() = default;

void IHWLight::setLightType(LightType type) {
    fType = type;
}

void IHWLight::setAttenuation(float constant, float linear, float quadratic, float cubic) {
    fAttenuation[0] = constant;
    fAttenuation[1] = linear;
    fAttenuation[2] = quadratic;
    fAttenuation[3] = cubic;
}

void IHWLight::computeThresholdRadius(float intensity, float threshold, unsigned int exponent) {
    fThresholdRadius = 0;
    if (exponent == 0 || !(threshold > 0)) {
        return;
    }
    // In extended precision, where a quotient that is too large or small for a float still has a root.
    const long double r = std::fabs(static_cast<long double>(intensity)) / threshold;
    fThresholdRadius = static_cast<float>(exponent == 1 ? r : std::pow(r, 1.0L / exponent));
}
