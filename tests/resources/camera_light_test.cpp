#include "MemberTable.h"
#include "geometry/AABoundingBox.h"
#include "geometry/BoundingSphere.h"
#include "resources/IHWLight.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>

using qvLinear::AffineMatrix;
using qvLinear::ProjMatrix;

namespace {

using Doubles = std::vector<double>;

Doubles extentsOf(const IHWCamera& camera) {
    Doubles e(6);
    camera.getFrustum(e[0], e[1], e[2], e[3], e[4], e[5]);
    return e;
}
template <class Matrix>
Doubles elementsOf(const Matrix& m) {
    Doubles elements;
    for (unsigned int i = 0; i < sizeof m / sizeof(double); ++i) {
        elements.push_back(m[i]);
    }
    return elements;
}
void expectNear(const Doubles& got, const Doubles& expected, const std::string& what) {
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_NEAR(got[i], expected[i], 1e-14) << what << ", element " << i;
    }
}

bool sees(const IHWCamera& camera, float x, float y, float z) {
    const float s = 0.01F;
    const bool sphere = camera.intersects(BoundingSphere({x, y, z}, s));
    EXPECT_EQ(camera.intersects(AABoundingBox({x - s, y - s, z - s}, {x + s, y + s, z + s})), sphere);
    return sphere;
}

AffineMatrix moved(double x, double y, double z) {
    AffineMatrix m;
    m.translate({x, y, z});
    return m;
}

TEST(Camera, ProjectionsOfTheFixedFunctionKind) {
    const Doubles identity = elementsOf(ProjMatrix());
    const struct {
        const char* what;
        std::function<void(IHWCamera&)> set;
        IHWCamera::CameraType type;
        Doubles extents;
        Doubles matrix; // empty: not looked at
    } rows[] = {
        {"new", [](IHWCamera&) {}, IHWCamera::kPerspective, {0, 0, 0, 0, 0, 0}, identity},
        {"frustum",
         [](IHWCamera& c) { c.setFrustum(-1, 4, 2, 10, 4, 12); },
         IHWCamera::kPerspective,
         {-1, 4, 2, 10, 4, 12},
         {1.6, 0, 0, 0, 0, 1, 0, 0, 0.6, 1.5, -2, -1, 0, 0, -12, 0}},
        {"ortho",
         [](IHWCamera& c) { c.setOrtho(-1, 4, 2, 10, 4, 12); },
         IHWCamera::kOrthographic,
         {-1, 4, 2, 10, 4, 12},
         {0.4, 0, 0, 0, 0, 0.25, 0, 0, 0, 0, -0.25, 0, -0.6, -1.5, -2, 1}},
        {"orthographic",
         [](IHWCamera& c) { c.setOrthographic(6, 0.5, 2, 7); },
         IHWCamera::kOrthographic,
         {-3, 3, -1.5, 1.5, 2, 7},
         {}},
        {"perspective",
         [](IHWCamera& c) { c.setPerspective(90, 2, 3, 10); },
         IHWCamera::kPerspective,
         {-6, 6, -3, 3, 3, 10},
         {}},
        {"type and matrix alone",
         [](IHWCamera& c) {
             c.setType(IHWCamera::kOrthographic);
             c.setProjMatrix(ProjMatrix());
         },
         IHWCamera::kOrthographic,
         {-6, 6, -3, 3, 3, 10},
         identity},
    };
    IHWCamera camera;
    EXPECT_EQ(elementsOf(camera.viewMatrix()), elementsOf(AffineMatrix()));
    for (const auto& row : rows) {
        row.set(camera);
        EXPECT_EQ(camera.cameraType(), row.type) << row.what;
        expectNear(extentsOf(camera), row.extents, row.what);
        expectNear(elementsOf(camera.projMatrix()), row.matrix, row.what);
    }
    camera.bind();
}

TEST(Camera, TheFrustumFollowsTheMatrices) {
    IHWCamera camera;
    EXPECT_TRUE(sees(camera, 99, 99, 99)); // not computed yet
    camera.setPerspective(90, 1, 1, 10);
    EXPECT_TRUE(sees(camera, 4.9F, -4.9F, -5));
    EXPECT_FALSE(sees(camera, 5.1F, 0, -5));
    EXPECT_FALSE(sees(camera, 0, 0, 5));
    EXPECT_FALSE(sees(camera, 0, 0, -10.1F));
    const AffineMatrix view = moved(0, 3, 20); // the world moves away from the eye
    camera.setViewMatrix(view);
    EXPECT_TRUE(sees(camera, 0, -3, -25));
    EXPECT_FALSE(sees(camera, 0, 0, -5));
    camera.setInvertViewFrustum(true);
    EXPECT_TRUE(sees(camera, 0, -3, -25)); // until the next change
    camera.setViewMatrix(view);
    EXPECT_FALSE(sees(camera, 0, -3, -25));
    EXPECT_TRUE(sees(camera, 0, 3, 15));

    camera.setOrtho(-1, 1, -1, 1, 0, 0); // divides by zero
    EXPECT_TRUE(sees(camera, 0, 3, 1e6F));
}

void tell(IHWCamera& c, int i) {
    c.setFrustum(-i, 1, -3, 4 * i, i, 9);
    c.setType(IHWCamera::CameraType(i + 1));
    c.setViewMatrix(moved(i, 2, 3));
    c.setProjMatrix(ProjMatrix(i + 1));
}
std::vector<Doubles> told(const IHWCamera& c) {
    const Doubles others = {double(c.cameraType()), double(sees(c, -0.5F, -2, -3)),
                            double(sees(c, -2.5F, -2, -3))};
    return {extentsOf(c), elementsOf(c.viewMatrix()), elementsOf(c.projMatrix()), others};
}

TEST(Camera, CopiesCullLikeTheirSource) {
    MemberTable<IHWCamera> members;
    members.add(
        "all", [](IHWCamera& c, int i) { tell(c, i); }, [](const IHWCamera& c) { return told(c); });
    members.checkCopies();
    members.checkAssignments();

    IHWCamera camera;
    camera.setPerspective(90, 1, 1, 10);
    camera.setInvertViewFrustum(true);
    IHWCamera copy(camera), assigned;
    assigned = camera;
    for (IHWCamera* twin : {&copy, &assigned}) { // inverts as its source does
        twin->setViewMatrix(moved(0, 0, 20));
        EXPECT_TRUE(sees(*twin, 0, 0, 15));
    }
}

class Light : public IHWLight {
public:
    void bind() override {}
    void unbind() override {}
    void enable(bool) override {}
    bool isEnabled() const override { return false; }
    void setProjectors(const std::vector<IHWCamera*>& cameras) { fProjectors = cameras; }
    void setUserValue(float f) { fUserValue[0] = fUserValue[3] = f; }
    std::string userValue() const {
        std::ostringstream text;
        text << fUserValue[0] << " " << fUserValue[1] << " " << fUserValue[2] << " " << fUserValue[3];
        return text.str();
    }
};

IHWCamera cameras[3];

void tell(Light& l, int i) {
    const auto f = static_cast<float>(i);
    l.setAmbientColor({0.5F * f, 2, 3, 4});
    l.setDiffuseColor({5, 0.25F * f, 6, 7});
    l.setSpecularColor({8, 9, 0.125F * f, 10});
    l.setSpotCutoff(11 * f);
    l.setSpotExponent(12 * f);
    l.setAttenuation(13 * f, 14 * f, 15 * f, 16 * f);
    l.setConeAngle(17 * f);
    l.setPenumbraAngle(18 * f);
    l.setDropOff(19 * f);
    l.setMatrix(ProjMatrix(20.0 * i));
    l.setWorldDir({21, 22.0 * i, 23});
    l.setWorldPos({24, 25, 26.0 * i});
    l.setLightType(IHWLight::LightType(i + 2));
    l.setUserValue(f);
    l.setProjectors({&cameras[0], &cameras[i]});
    l.computeThresholdRadius(f, 2, 1);
}
std::string told(const Light& l) {
    std::ostringstream text;
    for (const TportColor& c : {l.ambientColor(), l.diffuseColor(), l.specularColor()}) {
        text << c.red << " " << c.green << " " << c.blue << " " << c.alpha << " " << c.type << ", ";
    }
    text << l.spotCutoff() << " " << l.spotExponent() << ", " << l.constantAttenuation() << " "
         << l.linearAttenuation() << " " << l.quadraticAttenuation() << " " << l.cubicAttenuation() << ", "
         << l.coneAngle() << " " << l.penumbraAngle() << " " << l.dropOff() << ", "
         << testing::PrintToString(elementsOf(l.matrix())) << ", " << l.worldDir().x << " " << l.worldDir().y
         << " " << l.worldDir().z << ", " << l.worldPos().x << " " << l.worldPos().y << " " << l.worldPos().z
         << ", " << l.type() << ", " << l.userValue() << ", cameras";
    for (unsigned int i = 0; l.projector(i); ++i) {
        text << " " << l.projector(i) - cameras;
    }
    text << ", radius " << l.thresholdRadius();
    return text.str();
}

TEST(Light, KeepsAndCopiesWhatItIsTold) {
    MemberTable<Light> members;
    members.add(
        "all", [](Light& l, int i) { tell(l, i); }, [](const Light& l) { return told(l); });
    members.checkCopies();
    members.checkAssignments();
    EXPECT_EQ(told(Light()), "0 0 0 1 0, 1 1 1 1 0, 1 1 1 1 0, 180 0, 1 0 0 0, 3.14159 0 0, "
                             "{ 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1 }, 0 0 0, 0 0 0, 2, 0 0 1 0, "
                             "cameras, radius 0");
    EXPECT_EQ(told(*members.make(2)), "1 2 3 4 0, 5 0.5 6 7 0, 8 9 0.25 10 0, 22 24, 26 28 30 32, 34 36 38, "
                                      "{ 40, 0, 0, 0, 0, 40, 0, 0, 0, 0, 40, 0, 0, 0, 0, 40 }, 21 44 23, "
                                      "24 25 52, 4, 2 0 1 2, cameras 0 2, radius 1");
    Light light;
    light.setSpotConeAngle(90);
    EXPECT_EQ(light.spotCutoff(), 45);
    EXPECT_EQ(light.coneAngle(), 3.14159274F);
}

TEST(Light, ThresholdRadius) {
    const struct {
        float intensity, threshold;
        unsigned int exponent;
        float radius;
    } rows[] = {
        {100, 1, 2, 10},
        {100, 1, 1, 100},
        {-8, 1, 3, 2},
        {5, 0, 2, 0},
        {5, 1, 0, 0},
        {5, -1, 2, 0},
        {50, 2, 2, 5},
        {50, 2, 1, 25},
        {3e38F, 1, 4, 4.16179145e9F},
        {0, 1, 2, 0},
        {5, std::numeric_limits<float>::quiet_NaN(), 2, 0},
        {0x1p100F, 0x1p-100F, 2, 0x1p100F}, // the quotient is no float
        {0x1p-100F, 0x1p100F, 4, 0x1p-50F},
        {1, 3, 2, 0.577350259F},
    };
    Light light;
    for (const auto& row : rows) {
        light.computeThresholdRadius(row.intensity, row.threshold, row.exponent);
        EXPECT_EQ(light.thresholdRadius(), row.radius) << row.intensity << " " << row.exponent;
    }
}

} // namespace
