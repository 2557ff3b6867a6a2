#include "geometry/AABoundingBox.h"
#include "geometry/BoundingSphere.h"
#include "resources/IHWLight.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

using qvLinear::AffineMatrix;
using qvLinear::ProjMatrix;
using qvLinear::Vector;

namespace {

void expectMatrix(const ProjMatrix& m, const std::vector<double>& elements) {
    for (unsigned int i = 0; i < 16; ++i) {
        EXPECT_NEAR(m[i], elements[i], 1e-15) << i;
    }
}

void expectExtents(const IHWCamera& camera, const std::vector<double>& expected) {
    std::vector<double> e(6);
    camera.getFrustum(e[0], e[1], e[2], e[3], e[4], e[5]);
    for (unsigned int i = 0; i < 6; ++i) {
        EXPECT_NEAR(e[i], expected[i], 1e-14) << i;
    }
}

bool sees(const IHWCamera& camera, float x, float y, float z) {
    return camera.intersects(BoundingSphere({x, y, z}, 0.01F)) &&
           camera.intersects(
               AABoundingBox({x - 0.01F, y - 0.01F, z - 0.01F}, {x + 0.01F, y + 0.01F, z + 0.01F}));
}

TEST(Camera, ProjectionsOfTheFixedFunctionKind) {
    IHWCamera camera;
    EXPECT_EQ(camera.cameraType(), IHWCamera::kPerspective);
    expectMatrix(camera.projMatrix(), {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
    EXPECT_EQ(camera.viewMatrix()[0], 1);

    camera.setOrtho(-1, 1, -1, 1, -1, 1);
    EXPECT_EQ(camera.cameraType(), IHWCamera::kOrthographic);
    expectMatrix(camera.projMatrix(), {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, -1, 0, 0, 0, 0, 1});
    camera.setOrtho(1, 3, 2, 6, 4, 12);
    expectMatrix(camera.projMatrix(), {1, 0, 0, 0, 0, 0.5, 0, 0, 0, 0, -0.25, 0, -2, -2, -2, 1});

    camera.setFrustum(-1, 1, -1, 1, 1, 3);
    EXPECT_EQ(camera.cameraType(), IHWCamera::kPerspective);
    expectMatrix(camera.projMatrix(), {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, -2, -1, 0, 0, -3, 0});
    camera.setFrustum(1, 3, 2, 6, 4, 12);
    expectMatrix(camera.projMatrix(), {4, 0, 0, 0, 0, 2, 0, 0, 2, 2, -2, -1, 0, 0, -12, 0});
    expectExtents(camera, {1, 3, 2, 6, 4, 12});

    camera.setPerspective(90, 2, 1, 10);
    expectExtents(camera, {-2, 2, -1, 1, 1, 10});
    camera.setOrthographic(4, 0.5, 0, 1);
    expectExtents(camera, {-2, 2, -1, 1, 0, 1});

    camera.setProjMatrix(ProjMatrix(3.0));
    camera.setType(IHWCamera::kPerspective);
    EXPECT_EQ(camera.cameraType(), IHWCamera::kPerspective);
    EXPECT_EQ(camera.projMatrix()[0], 3);
    expectExtents(camera, {-2, 2, -1, 1, 0, 1});
    camera.bind();
}

TEST(Camera, TheFrustumFollowsTheMatrices) {
    IHWCamera camera;
    EXPECT_TRUE(sees(camera, 99, 99, 99)); // not computed yet
    camera.setPerspective(90, 1, 1, 10);
    EXPECT_TRUE(sees(camera, 0, 0, -5));
    EXPECT_TRUE(sees(camera, 4.9F, -4.9F, -5));
    EXPECT_FALSE(sees(camera, 5.1F, 0, -5));
    EXPECT_FALSE(sees(camera, 0, 0, 5));
    EXPECT_FALSE(sees(camera, 0, 0, -10.1F));

    AffineMatrix view;
    view.translate(Vector(0, 0, 20)); // the world moves away from the eye
    camera.setViewMatrix(view);
    EXPECT_TRUE(sees(camera, 0, 0, -25));
    EXPECT_FALSE(sees(camera, 0, 0, -5));
    camera.setInvertViewFrustum(true);
    EXPECT_TRUE(sees(camera, 0, 0, -25)); // until the next change
    camera.setViewMatrix(view);
    EXPECT_FALSE(sees(camera, 0, 0, -25));
    EXPECT_TRUE(sees(camera, 0, 0, 15));

    camera.setOrtho(-1, 1, -1, 1, 0, 0); // divides by zero
    EXPECT_TRUE(sees(camera, 0, 0, 1e6F));
}

TEST(Camera, CopiesCullLikeTheirSource) {
    IHWCamera camera;
    camera.setPerspective(90, 1, 1, 10);
    camera.setInvertViewFrustum(true);
    const IHWCamera copy(camera);
    IHWCamera assigned;
    assigned = copy;
    for (const IHWCamera* twin : {&copy, const_cast<const IHWCamera*>(&assigned)}) {
        EXPECT_TRUE(sees(*twin, 0, 0, -5));
        EXPECT_FALSE(sees(*twin, 0, 0, 5));
        expectExtents(*twin, {-1, 1, -1, 1, 1, 10});
        EXPECT_EQ(twin->projMatrix()[11], -1);
    }
    AffineMatrix view;
    view.translate(Vector(0, 0, 20));
    assigned.setViewMatrix(view);
    EXPECT_TRUE(sees(assigned, 0, 0, 15)); // inverts as its source does
}

class Light : public IHWLight {
public:
    void bind() override {}
    void unbind() override {}
    void enable(bool on) override { fOn = on; }
    bool isEnabled() const override { return fOn; }
    void addProjector(IHWCamera* camera) { fProjectors.push_back(camera); }

private:
    bool fOn = false;
};

TEST(Light, Defaults) {
    const Light light;
    EXPECT_EQ(light.ambientColor(), TportColor(0, 0, 0, 1));
    EXPECT_EQ(light.diffuseColor(), TportColor(1, 1, 1, 1));
    EXPECT_EQ(light.specularColor(), TportColor(1, 1, 1, 1));
    EXPECT_EQ(light.ambientColor().type, 0);
    EXPECT_EQ(light.spotCutoff(), 180);
    EXPECT_EQ(light.spotExponent(), 0);
    EXPECT_EQ(light.constantAttenuation(), 1);
    EXPECT_EQ(light.linearAttenuation(), 0);
    EXPECT_EQ(light.quadraticAttenuation(), 0);
    EXPECT_EQ(light.cubicAttenuation(), 0);
    EXPECT_EQ(light.coneAngle(), 3.14159274F);
    EXPECT_EQ(light.penumbraAngle(), 0);
    EXPECT_EQ(light.dropOff(), 0);
    EXPECT_TRUE(equivalent(light.matrix(), ProjMatrix(1.0), 0));
    EXPECT_EQ(light.worldDir().length(), 0);
    EXPECT_EQ(light.worldPos().z, 0);
    EXPECT_EQ(light.type(), IHWLight::kPointLight);
    EXPECT_EQ(light.projector(0), nullptr);
    EXPECT_EQ(light.thresholdRadius(), 0);
}

TEST(Light, StoresAndCopiesWhatItIsTold) {
    IHWCamera camera;
    Light light;
    light.setAmbientColor({0.1F, 0, 0});
    light.setDiffuseColor({0.2F, 0, 0});
    light.setSpecularColor({0.3F, 0, 0});
    light.setSpotCutoff(10);
    light.setSpotExponent(2);
    light.setAttenuation(3, 4, 5, 6);
    light.setConeAngle(7);
    light.setPenumbraAngle(8);
    light.setDropOff(9);
    light.setMatrix(ProjMatrix(10.0));
    light.setWorldDir({0, 0, 11});
    light.setWorldPos({0, 0, 12});
    light.setLightType(IHWLight::kAreaLight);
    light.addProjector(&camera);
    light.computeThresholdRadius(13, 1, 1);
    Light assigned;
    assigned = light;
    const Light copy(assigned);
    EXPECT_EQ(copy.ambientColor().red, 0.1F);
    EXPECT_EQ(copy.diffuseColor().red, 0.2F);
    EXPECT_EQ(copy.specularColor().red, 0.3F);
    const float values[] = {copy.spotCutoff(),        copy.spotExponent(),         copy.constantAttenuation(),
                            copy.linearAttenuation(), copy.quadraticAttenuation(), copy.cubicAttenuation(),
                            copy.coneAngle(),         copy.penumbraAngle(),        copy.dropOff(),
                            float(copy.matrix()[0]),  float(copy.worldDir().z),    float(copy.worldPos().z),
                            copy.thresholdRadius()};
    const float expected[] = {10, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13};
    for (unsigned int i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(values[i], expected[i]) << i;
    }
    EXPECT_EQ(copy.type(), IHWLight::kAreaLight);
    EXPECT_EQ(copy.projector(0), &camera);
    EXPECT_EQ(copy.projector(1), nullptr);

    light.setSpotConeAngle(90);
    EXPECT_EQ(light.spotCutoff(), 45);
    EXPECT_EQ(light.coneAngle(), 7);
}

TEST(Light, ThresholdRadius) {
    const struct {
        float intensity, threshold;
        unsigned int exponent;
        float radius;
    } rows[] = {
        {100, 1, 2, 10}, {100, 1, 1, 100},
        {-8, 1, 3, 2},   {5, 0, 2, 0},
        {5, 1, 0, 0},    {5, -1, 2, 0},
        {50, 2, 2, 5},   {3e38F, 1, 4, 4.16179145e9F},
        {0, 1, 2, 0},    {5, std::numeric_limits<float>::quiet_NaN(), 2, 0},
    };
    Light light;
    for (const auto& row : rows) {
        light.computeThresholdRadius(row.intensity, row.threshold, row.exponent);
        EXPECT_EQ(light.thresholdRadius(), row.radius) << row.intensity << " " << row.exponent;
    }
}

} // namespace
