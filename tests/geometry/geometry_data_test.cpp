#include "counted_data.h"
#include "geometry/GeometryDataIterator.h"
#include "geometry/GeometryLogicalIterator.h"

#include <gtest/gtest.h>

namespace {

using Arrays = std::vector<const GeometryData*>;

/// Where an accessor points, in floats behind `data`.
std::ptrdiff_t offset(const void* address, const GeometryData* data) {
    return static_cast<const float*>(address) - static_cast<const float*>(data->data());
}

TEST(GeometryData, HoldsWhatItWasGiven) {
    auto* first = referenced(new CountedData("points"));
    auto* second =
        referenced(new CountedData("colors", GeometryData::kColorData, 2, GeometryData::kFourElements));
    EXPECT_EQ(second->uniqueID(), first->uniqueID() + 1);
    EXPECT_STREQ(second->objectName(), "colors");
    EXPECT_EQ(second->name(), "colors");
    EXPECT_EQ(second->dataType(), GeometryData::kColorData);
    EXPECT_EQ(second->elementType(), GeometryData::kFloatElement);
    EXPECT_EQ(second->elementSize(), 4);
    EXPECT_EQ(second->elementCount(), 2U);
    EXPECT_EQ(second->collectionNumber(), 0);
    first->unref();
    second->unref();
    EXPECT_EQ(CountedData::fsAlive, 0);

    auto* index = referenced(new CountedIndex({}));
    EXPECT_EQ(index->name(), "");
    index->setName("body");
    EXPECT_EQ(index->name(), "body");
    index->unref();
}

// The address sanitizer sees whether each array is released, once, and as what it was made.
TEST(GeometryData, ReleasesEveryElementType) {
    float lent[2] = {};
    const struct {
        int type;
        void* data;
        unsigned int size;
    } rows[] = {
        {GeometryData::kFloatElement, new float[2], 4},
        {GeometryData::kDoubleElement, new double[2], 8},
        {GeometryData::kByteElement, new signed char[2], 1},
        {GeometryData::kUnsignedByteElement, new unsigned char[2], 1},
        {GeometryData::kShortElement, new short[2], 2},
        {GeometryData::kUnsignedShortElement, new unsigned short[2], 2},
        {GeometryData::kIntElement, new int[2], 4},
        {GeometryData::kUnsignedIntElement, new unsigned int[2], 4},
        {GeometryData::kFloatElement, nullptr, 4},
        {8, lent, 0},
        {-1, lent, 0},
    };
    for (const auto& row : rows) {
        auto* data = referenced(new GeometryData(nullptr, GeometryData::kUserData,
                                                 static_cast<GeometryData::ElementType>(row.type),
                                                 GeometryData::kTwoElements, 1, row.data));
        EXPECT_EQ(data->elementTypeSize(), row.size);
        EXPECT_STREQ(data->objectName(), "");
        data->unref();
    }
}

/// An array made the way derived classes make one.
class EmptyData : public GeometryData {};

TEST(GeometryData, CopiesShareNameAndData) {
    auto* source = referenced(new CountedData("points"));
    source->setCollectionNumber(3);
    auto* copy = new GeometryData(*source); // and its count
    auto* target = referenced(new EmptyData);
    EXPECT_STREQ(target->objectName(), "");
    EXPECT_EQ(target->data(), nullptr);
    static_cast<GeometryData&>(*target) = *copy;
    const unsigned int number = source->uniqueID();
    source->unref();
    for (const GeometryData* data :
         {static_cast<const GeometryData*>(copy), static_cast<const GeometryData*>(target)}) {
        EXPECT_STREQ(data->objectName(), "points");
        EXPECT_EQ(data->uniqueID(), number);
        EXPECT_EQ(data->collectionNumber(), 3);
        EXPECT_EQ(data->elementCount(), 4U);
        EXPECT_EQ(static_cast<float*>(data->data())[11], 0.0F);
    }
    copy->unref();
    EXPECT_EQ(static_cast<float*>(target->data())[0], 0.0F);
    target->unref();
}

TEST(GeometryDataIndex, CopiesOwnTheirIndices) {
    auto* source = referenced(new CountedIndex({nullptr}, {5, 6, 7}));
    EXPECT_FALSE(source->boundingBox().isValid());
    EXPECT_EQ(source->boundingSphere().radius(), 0);
    source->setBoundingBox(AABoundingBox({1, 1, 1}, {2, 2, 2}));
    source->setBoundingSphere(BoundingSphere({1, 1, 1}, 4));
    source->setDrawPrimitive(GeometryDataIndex::kLines);
    auto* copy = new GeometryDataIndex(*source);
    auto* target = referenced(new CountedIndex({}, {1}));
    *static_cast<GeometryDataIndex*>(target) = *source;
    *static_cast<GeometryDataIndex*>(target) = *target;
    EXPECT_NE(copy->uniqueID(), source->uniqueID());
    source->indexArray()[2] = 0;
    source->unref();
    for (GeometryDataIndex* index : {copy, static_cast<GeometryDataIndex*>(target)}) {
        EXPECT_EQ(index->drawPrimitive(), GeometryDataIndex::kLines);
        ASSERT_EQ(index->indicesCount(), 3U);
        EXPECT_EQ(index->indexArray()[2], 7U);
        EXPECT_EQ(index->boundingBox().max().x, 2);
        EXPECT_EQ(index->boundingSphere().radius(), 4);
        EXPECT_EQ(index->dataPtrArrayPtr()->size(), 1U);
        index->unref();
    }
    auto* none = referenced(new GeometryDataIndex(GeometryDataIndex::kPoints, 9, {}, nullptr));
    auto* copyOfNone = new GeometryDataIndex(*none);
    EXPECT_EQ(copyOfNone->indexArray(), nullptr);
    none->unref();
    copyOfNone->unref();
    EXPECT_EQ(CountedIndex::fsAlive, 0);
}

TEST(GeometryLogicalGroup, OwnsOneReferenceOfEachMember) {
    auto* points = referenced(new CountedData("points"));
    auto* texture = referenced(new CountedData("texture", GeometryData::kTexCoordData));
    auto* texture1 = referenced(new CountedData("texture1", GeometryData::kTexCoordData));
    texture1->setCollectionNumber(1);
    auto* body = referenced(new CountedIndex({points}));
    auto* lid = referenced(new CountedIndex({points}));
    {
        GeometryLogicalGroup group("teapot", {points, nullptr, texture, texture1}, {body, lid, nullptr});
        EXPECT_EQ(group.name(), "teapot");
        EXPECT_EQ(group.geometryDataPtr(GeometryData::kTexCoordData, 0), texture);
        EXPECT_EQ(group.geometryDataPtr(GeometryData::kTexCoordData, 1), texture1);
        EXPECT_EQ(group.geometryDataPtr(GeometryData::kTexCoordData, 2), nullptr);
        EXPECT_EQ(group.geometryDataPtr(GeometryData::kNormalData, 0), nullptr);

        auto* colors = referenced(new CountedData("colors", GeometryData::kColorData));
        group.appendData(colors);
        group.appendData(nullptr);
        EXPECT_EQ(group.geometryDataPtr(GeometryData::kColorData, 0), colors);
        EXPECT_EQ(*body->dataPtrArrayPtr(), (Arrays{points, colors}));
        EXPECT_EQ(*lid->dataPtrArrayPtr(), (Arrays{points}));

        auto* other = referenced(new CountedData("other"));
        GeometryLogicalGroup assigned(nullptr, {other}, {});
        assigned.appendData(referenced(new CountedData("more"))); // no index array to learn about it
        EXPECT_EQ(CountedData::fsAlive, 6);
        {
            const GeometryLogicalGroup copy(group);
            assigned = copy;
            const GeometryLogicalGroup& self = assigned;
            assigned = self;
            EXPECT_EQ(CountedData::fsAlive, 4);
            EXPECT_EQ(points->refCount(), 3);
            EXPECT_EQ(body->refCount(), 3);
        }
        EXPECT_EQ(points->refCount(), 2);
        EXPECT_EQ(assigned.name(), "teapot");
    }
    EXPECT_EQ(CountedData::fsAlive, 0);
    EXPECT_EQ(CountedIndex::fsAlive, 0);
}

TEST(GeometryLogicalIterator, WalksTheIndexArrays) {
    auto* body = referenced(new CountedIndex({}));
    auto* lid = referenced(new CountedIndex({}));
    const GeometryLogicalGroup group("teapot", {}, {body, lid});
    GeometryLogicalIterator it(&group);
    EXPECT_EQ(it.count(), 2U);
    for (const GeometryDataIndex* expected : {body, lid}) {
        EXPECT_FALSE(it.isDone());
        EXPECT_EQ(it.dataIndexPointer(), expected);
        it.next();
    }
    it.next();
    EXPECT_TRUE(it.isDone());
    EXPECT_EQ(it.dataIndexPointer(), nullptr);
    it.reset(nullptr);
    EXPECT_TRUE(it.isDone());
    EXPECT_EQ(it.dataIndexPointer(), nullptr);
    EXPECT_TRUE(GeometryLogicalIterator().isDone());
}

TEST(GeometryDataIterator, HandsOutTheAttributesOfEachVertex) {
    using Iterator = GeometryDataIterator;
    const struct {
        int type;
        void* (Iterator::*accessor)() const;
    } rows[] = {
        {GeometryData::kVertexData, &Iterator::vertex},
        {GeometryData::kNormalData, &Iterator::normal},
        {GeometryData::kTexCoordData, &Iterator::textureCoord},
        {GeometryData::kTexCoordData, &Iterator::textureCoord2},
        {GeometryData::kColorData, &Iterator::color},
        {GeometryData::kWeightData, &Iterator::weight},
        {GeometryData::kTangentData, &Iterator::tangent},
        {GeometryData::kTangentData, &Iterator::tangent2},
        {GeometryData::kBinormalData, &Iterator::binormal},
        {GeometryData::kUserData, &Iterator::userData},
    };
    for (const auto& row : rows) {
        // The later array of a type replaces the earlier one; unknown types and null are skipped.
        const auto type = static_cast<GeometryData::DataType>(row.type);
        auto* earlier = referenced(new CountedData("earlier", type));
        auto* later = referenced(new CountedData("later", type, 4, GeometryData::kTwoElements));
        auto* strange = referenced(new CountedData("strange", GeometryData::DataType(6)));
        auto* index = referenced(new CountedIndex({earlier, nullptr, later, strange}, {2, 0, 3}));
        Iterator it(index, nullptr);
        EXPECT_EQ(it.count(), 3U);
        for (std::ptrdiff_t expected : {4, 0, 6, 0}) { // and at the end vertex 0
            EXPECT_EQ(offset((it.*row.accessor)(), later), expected) << row.type;
            it.next();
        }
        EXPECT_TRUE(it.isDone());
        for (const auto& other : rows) {
            EXPECT_EQ((it.*other.accessor)() == nullptr, other.type != row.type) << other.type;
        }
        for (qvSharedObject* object :
             {static_cast<qvSharedObject*>(index), static_cast<qvSharedObject*>(earlier),
              static_cast<qvSharedObject*>(later), static_cast<qvSharedObject*>(strange)}) {
            object->unref();
        }
    }
}

TEST(GeometryDataIterator, CollectionsChooseTheSets) {
    for (GeometryData::DataType type : {GeometryData::kTexCoordData, GeometryData::kTangentData}) {
        auto* zero = referenced(new CountedData("zero", type));
        auto* one = referenced(new CountedData("one", type));
        one->setCollectionNumber(1);
        auto* index = referenced(new CountedIndex({zero, one}, {0}));
        const struct {
            unsigned int collections[2];
            const GeometryData *first, *second;
        } rows[] = {
            {{0, 1}, zero, one},     {{1, 0}, one, zero},        {{1, 1}, one, one},
            {{2, 0}, nullptr, zero}, {{5, 6}, nullptr, nullptr},
        };
        for (const auto& row : rows) {
            const GeometryDataIterator it(index, row.collections);
            const bool texture = type == GeometryData::kTexCoordData;
            EXPECT_EQ(texture ? it.textureCoord() : it.tangent(), row.first ? row.first->data() : nullptr);
            EXPECT_EQ(texture ? it.textureCoord2() : it.tangent2(),
                      row.second ? row.second->data() : nullptr);
        }
        index->unref();
        zero->unref();
        one->unref();
    }
}

TEST(GeometryDataIterator, RangesOnlySayWhereToStop) {
    const auto steps = [](GeometryDataIterator& it) {
        unsigned int count = 0;
        for (; !it.isDone(); it.next()) {
            ++count;
        }
        it.next();
        EXPECT_TRUE(it.isDone());
        return count;
    };
    auto* index = referenced(new CountedIndex({}, std::vector<unsigned int>(10, 0)));
    GeometryDataIterator it(index, nullptr);
    EXPECT_TRUE(it.setRange(5, 8));
    EXPECT_EQ(steps(it), 8U);
    EXPECT_EQ(it.count(), 10U);
    EXPECT_FALSE(it.setRange(0, 11));
    EXPECT_EQ(steps(it), 2U); // unranged, from where it stands
    EXPECT_TRUE(it.setRange(0, 3));
    EXPECT_FALSE(it.isDone()); // never is, behind the end of its range
    it.next();
    EXPECT_FALSE(it.isDone());
    it.reset(index, nullptr);
    EXPECT_EQ(steps(it), 10U);
    index->unref();

    EXPECT_TRUE(GeometryDataIterator().isDone());
    auto* none = referenced(new GeometryDataIndex(GeometryDataIndex::kPoints, 9, {}, nullptr));
    it.reset(none, nullptr);
    EXPECT_EQ(steps(it), 0U);
    EXPECT_EQ(it.vertex(), nullptr);
    none->unref();
}

} // namespace
