#pragma once

#include "core/IResource.h"
#include "geometry/AABoundingBox.h"
#include "geometry/BoundingSphere.h"
#include "geometry/GeometryData.h"

#include <memory>
#include <vector>

/// One index array: the vertices of a primitive, taken from a set of attribute arrays, with the
/// bounds of what it draws.
///
///     auto* triangle = new GeometryDataIndex(GeometryDataIndex::kTriangles, 3, {points, colors},
///                                            new unsigned int[3]{0, 1, 2});
///     triangle->setBoundingBox(box); // nothing computes bounds from the data
///     triangle->ref();
///
/// The index array, from `new unsigned int[n]`, is taken over; a copy has one of its own. The
/// attribute arrays are not counted: whoever holds references on them keeps them alive.
///
/// On purpose: the reference count is copied and assigned along with everything else, so that whoever
/// assigns to an index array that has owners sets its count right.
class QV_EXPORT GeometryDataIndex : public IResource {
public:
    /// What the indices draw. The library stores it without looking at it.
    enum DrawPrimitiveType : int {
        kInvalidPrimitive = 0,
        kPoints,
        kLines,
        kLineStrip,
        kLineLoop,
        kTriangles,
        kTriangleStrip,
        kTriangleFan,
        kQuads,
        kQuadStrip,
        kPolygon,
    };

    /// @param indicesCount the number of entries in `indexArray`
    /// @param data         the attribute arrays that the indices address
    /// @param indexArray   vertex numbers, taken over, also when memory runs out; may be null
    /// @throws std::bad_alloc when memory runs out
    GeometryDataIndex(DrawPrimitiveType drawPrimitive, unsigned int indicesCount,
                      const std::vector<const GeometryData*>& data, unsigned int* indexArray);
    GeometryDataIndex(const GeometryDataIndex& other);
    /// Takes over everything but the unique number. Nothing changes when memory runs out.
    GeometryDataIndex& operator=(const GeometryDataIndex& other);

    /// Tells index arrays apart: drawn once from a counter of their own, by a copy as well.
    unsigned int uniqueID() const { return fUniqueID; }
    /// What the indices are drawn as.
    DrawPrimitiveType drawPrimitive() const { return fDrawPrimitive; }
    /// Sets what they are drawn as.
    void setDrawPrimitive(DrawPrimitiveType drawPrimitive) { fDrawPrimitive = drawPrimitive; }

    /// Invalid until it is set.
    const AABoundingBox& boundingBox() const { return fBoundingBox; }
    /// Sets the box.
    void setBoundingBox(const AABoundingBox& box) { fBoundingBox = box; }
    /// The point sphere at the origin until it is set.
    const BoundingSphere& boundingSphere() const { return fBoundingSphere; }
    /// Sets the sphere.
    void setBoundingSphere(const BoundingSphere& sphere) { fBoundingSphere = sphere; }

    /// The vertex numbers, owned by this object; may be null.
    unsigned int* indexArray() const { return fIndexArray.get(); }
    /// The number of vertex numbers.
    unsigned int indicesCount() const { return fIndicesCount; }

    /// The attribute arrays. On purpose: they are open to changes in a constant object as well, so
    /// that a group can add an attribute to the index arrays that it was given.
    std::vector<const GeometryData*>* dataPtrArrayPtr() const { return &fDataPtrArray; }

protected:
    ~GeometryDataIndex() override;

private:
    std::unique_ptr<unsigned int[]> fIndexArray;
    unsigned int fIndicesCount;
    unsigned int fUniqueID;
    DrawPrimitiveType fDrawPrimitive;
    AABoundingBox fBoundingBox;
    BoundingSphere fBoundingSphere;
    mutable std::vector<const GeometryData*> fDataPtrArray;
};
