#pragma once

#include "conversion/ProgramEvaluator.h"
#include "evaluation/ShadingValue.h"

#include <span>
#include <string>
#include <vector>

class GeometryData;
class GeometryDataIndex;

/// What surfaces are shown on: a shape before a camera, in the light of one lamp far away.
///
/// The sphere has the radius 1, the plane lies in -1..1 and faces +z, the torus has the radii 0.75
/// and 0.3 and is turned by 35 degrees about x. The camera stands at (0, 0, 3.5), looks at the middle
/// and sees 40 degrees; the light comes from the direction (1, 2, 2) / 3.
class Scene {
public:
    /// "sphere", "plane" or "torus"; throws a `Failure` for any other name.
    explicit Scene(const std::string& shape);
    ~Scene();
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    std::size_t numVertices() const { return fVertices; }
    /// Three vertices for each triangle, counterclockwise as seen from outside.
    std::span<const unsigned int> triangles() const;

    /// The columns of what the shape has under a name, as wide as the type wants them: "position",
    /// "normal", "tangent", "uv", "toLight" or "toEye", all in the shape's own space. Empty when it
    /// has nothing of that name and type.
    std::vector<std::span<const double>> attribute(const std::string& name, DataType type) const;
    /// What is the same everywhere: "modelViewProjection" and "modelView", of the camera, and "toLight";
    /// a value without a type when the name or the type is another.
    qvShadingDag::ShadingValue value(const std::string& name, DataType type) const;

private:
    /// Columns of numbers that an array of vertex data gives, or that follow from the scene.
    struct Attribute {
        std::string name;
        std::vector<std::vector<double>> columns;
    };

    void addColumns(const GeometryData& data);
    void addDirections(const double (&toLight)[3], const double (&eye)[3]);

    std::size_t fVertices = 0;
    std::vector<GeometryData*> fData; // each with one reference of ours
    GeometryDataIndex* fIndices = nullptr;
    std::vector<Attribute> fAttributes;
    std::vector<double> fOnes;
    qvShadingDag::ShadingValue fModelView;
    qvShadingDag::ShadingValue fModelViewProjection;
    qvShadingDag::ShadingValue fToLight;
};
