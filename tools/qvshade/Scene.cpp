#include "Scene.h"

#include "Failure.h"

#include "geometry/GeometryData.h"
#include "geometry/GeometryDataIndex.h"
#include "resources/IHWCamera.h"
#include "resources/IHWLight.h"

#include <cmath>
#include <numbers>

using namespace qvShadingDag;

namespace {

/// A point of a surface with two parameters.
struct SurfacePoint {
    double position[3];
    double normal[3];
    double tangent[3]; ///< the direction of growing u
};

using Surface = SurfacePoint (*)(double u, double v);

SurfacePoint spherePoint(double u, double v) {
    const double longitude = 2 * std::numbers::pi * (u - 0.5);
    const double latitude = std::numbers::pi * (v - 0.5);
    const double ring = std::cos(latitude);
    const double x = ring * std::sin(longitude);
    const double y = std::sin(latitude);
    const double z = ring * std::cos(longitude);
    return {{x, y, z}, {x, y, z}, {std::cos(longitude), 0, -std::sin(longitude)}};
}

SurfacePoint planePoint(double u, double v) {
    return {{2 * u - 1, 2 * v - 1, 0}, {0, 0, 1}, {1, 0, 0}};
}

SurfacePoint torusPoint(double u, double v) {
    constexpr double kRing = 0.75;
    constexpr double kTube = 0.3;
    const double around = 2 * std::numbers::pi * (u - 0.5);
    const double along = 2 * std::numbers::pi * v;
    const double normal[3] = {std::cos(along) * std::sin(around), std::sin(along),
                              std::cos(along) * std::cos(around)};
    const double radius = kRing + kTube * std::cos(along);
    return {{radius * std::sin(around), kTube * normal[1], radius * std::cos(around)},
            {normal[0], normal[1], normal[2]},
            {std::cos(around), 0, -std::sin(around)}};
}

// Few enough vertices that what is computed per vertex can be told from what is computed per pixel.
constexpr struct {
    const char* name;
    Surface surface;
    unsigned int columns;
    unsigned int rows;
    double turn; ///< in degrees, about x
} kShapes[] = {
    // name   surface      columns  rows  turn
    {"sphere", spherePoint, 48, 24, 0},
    {"plane", planePoint, 8, 8, 0},
    {"torus", torusPoint, 64, 32, 35},
};

/// A lamp that only shines; nothing binds it.
class DirectionalLight : public IHWLight {
public:
    explicit DirectionalLight(const qvLinear::Vector& direction) {
        IHWLight::setLightType(kDirectionalLight);
        setWorldDir(direction);
    }
    void bind() override {}
    void unbind() override {}
    void enable(bool on) override { fEnabled = on; }
    bool isEnabled() const override { return fEnabled; }

private:
    bool fEnabled = true;
};

ShadingValue valueOf(const qvLinear::ProjMatrix& matrix) {
    ShadingValue value(kMatrix4, {});
    for (unsigned int i = 0; i < 16; ++i) {
        value.c[i] = matrix[i];
    }
    return value;
}

/// Keeps an array alive for as long as a scene needs it.
GeometryData* counted(const char* name, GeometryData::DataType type, unsigned int width,
                      const std::vector<float>& numbers) {
    auto* copy = new float[numbers.size()];
    std::copy(numbers.begin(), numbers.end(), copy);
    auto* data = new GeometryData(name, type, GeometryData::kFloatElement,
                                  static_cast<GeometryData::ElementSize>(width),
                                  static_cast<unsigned int>(numbers.size() / width), copy);
    data->ref();
    return data;
}

void normalize(double (&v)[3]) {
    const double length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    for (double& component : v) {
        component /= length;
    }
}

} // namespace

Scene::Scene(const std::string& shape) {
    const auto* row = kShapes;
    while (row != std::end(kShapes) && shape != row->name) {
        ++row;
    }
    if (row == std::end(kShapes)) {
        throw failure(kBadCommandLine, "there is no shape '" + shape + "': take sphere, plane or torus");
    }

    std::vector<float> positions;
    std::vector<float> normals;
    std::vector<float> tangents;
    std::vector<float> uvs;
    const auto append = [](std::vector<float>& to, const double(&from)[3]) {
        for (const double number : from) {
            to.push_back(static_cast<float>(number));
        }
    };
    for (unsigned int j = 0; j <= row->rows; ++j) {
        for (unsigned int i = 0; i <= row->columns; ++i) {
            const double u = static_cast<double>(i) / row->columns;
            const double v = static_cast<double>(j) / row->rows;
            const SurfacePoint point = row->surface(u, v);
            append(positions, point.position);
            append(normals, point.normal);
            append(tangents, point.tangent);
            uvs.push_back(static_cast<float>(u));
            uvs.push_back(static_cast<float>(v));
        }
    }
    fVertices = positions.size() / 3;
    fData = {counted("position", GeometryData::kVertexData, 3, positions),
             counted("normal", GeometryData::kNormalData, 3, normals),
             counted("tangent", GeometryData::kTangentData, 3, tangents),
             counted("uv", GeometryData::kTexCoordData, 2, uvs)};

    const unsigned int count = 6 * row->columns * row->rows;
    auto* indices = new unsigned int[count];
    unsigned int* next = indices;
    for (unsigned int j = 0; j < row->rows; ++j) {
        for (unsigned int i = 0; i < row->columns; ++i) {
            const unsigned int corner = j * (row->columns + 1) + i;
            const unsigned int above = corner + row->columns + 1;
            for (const unsigned int vertex : {corner, corner + 1, above + 1, corner, above + 1, above}) {
                *next++ = vertex;
            }
        }
    }
    fIndices =
        new GeometryDataIndex(GeometryDataIndex::kTriangles, count, {fData.begin(), fData.end()}, indices);
    fIndices->ref();

    qvLinear::AffineMatrix model;
    model.rotate(row->turn * std::numbers::pi / 180, qvLinear::Normal(1, 0, 0));
    IHWCamera camera;
    camera.setPerspective(40, 1, 0.5, 20);
    qvLinear::AffineMatrix view;
    view.translate(qvLinear::Vector(0, 0, -3.5));
    camera.setViewMatrix(view);
    const qvLinear::ProjMatrix modelView =
        qvLinear::ProjMatrix(model) * qvLinear::ProjMatrix(camera.viewMatrix());
    fModelView = valueOf(modelView);
    fModelViewProjection = valueOf(modelView * camera.projMatrix());

    const DirectionalLight light(qvLinear::Vector(-1.0 / 3, -2.0 / 3, -2.0 / 3));
    const qvLinear::AffineMatrix toShape = model.inverse();
    qvLinear::Point lamp(-light.worldDir().x, -light.worldDir().y, -light.worldDir().z);
    qvLinear::Point eye(0, 0, 3.5);
    toShape.preMult(lamp, lamp); // without a translation, a direction turns like a point
    toShape.preMult(eye, eye);

    for (GeometryData* data : fData) {
        addColumns(*data);
    }
    addDirections({lamp.x, lamp.y, lamp.z}, {eye.x, eye.y, eye.z});
    fToLight = ShadingValue(lamp.x, lamp.y, lamp.z);
    fOnes.assign(fVertices, 1);
}

Scene::~Scene() {
    if (fIndices) {
        fIndices->unref();
    }
    for (GeometryData* data : fData) {
        data->unref();
    }
}

std::span<const unsigned int> Scene::triangles() const {
    return {fIndices->indexArray(), fIndices->indicesCount()};
}

void Scene::addColumns(const GeometryData& data) {
    Attribute attribute{data.objectName(), {}};
    const auto* numbers = static_cast<const float*>(data.data());
    for (int c = 0; c < data.elementSize(); ++c) {
        std::vector<double> column;
        for (std::size_t i = 0; i < data.elementCount(); ++i) {
            column.push_back(
                numbers[i * static_cast<std::size_t>(data.elementSize()) + static_cast<std::size_t>(c)]);
        }
        attribute.columns.push_back(std::move(column));
    }
    fAttributes.push_back(std::move(attribute));
}

/// To a lamp far away and to the eye, from every vertex; of length 1.
void Scene::addDirections(const double (&toLight)[3], const double (&eye)[3]) {
    const std::vector<std::vector<double>> positions = fAttributes.front().columns;
    Attribute lights{"toLight", std::vector<std::vector<double>>(3)};
    Attribute eyes{"toEye", std::vector<std::vector<double>>(3)};
    for (std::size_t i = 0; i < fVertices; ++i) {
        double toEye[3];
        for (std::size_t c = 0; c < 3; ++c) {
            toEye[c] = eye[c] - positions[c][i];
        }
        normalize(toEye);
        for (std::size_t c = 0; c < 3; ++c) {
            lights.columns[c].push_back(toLight[c]);
            eyes.columns[c].push_back(toEye[c]);
        }
    }
    fAttributes.push_back(std::move(lights));
    fAttributes.push_back(std::move(eyes));
}

std::vector<std::span<const double>> Scene::attribute(const std::string& name, DataType type) const {
    const auto width = static_cast<std::size_t>(componentCount(type));
    for (const Attribute& attribute : fAttributes) {
        if (attribute.name != name || type < kFloat || type > kFloat4) {
            continue;
        }
        std::vector<std::span<const double>> columns(attribute.columns.begin(), attribute.columns.end());
        if (name == "position" && width == 4) {
            columns.emplace_back(fOnes);
        }
        if (columns.size() == width) {
            return columns;
        }
    }
    return {};
}

ShadingValue Scene::value(const std::string& name, DataType type) const {
    const ShadingValue& value = name == "modelView"             ? fModelView
                                : name == "modelViewProjection" ? fModelViewProjection
                                                                : fToLight;
    const bool known = &value != &fToLight || name == "toLight";
    return known && type == value.type ? value : ShadingValue();
}
