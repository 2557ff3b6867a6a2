#include "MemberTable.h"
#include "counted_data.h"
#include "geometry/GeometryDataIterator.h"
#include "geometry/GeometryLogicalIterator.h"

#include <gtest/gtest.h>

#include <tuple>
#include <type_traits>

namespace {

using Arrays = std::vector<const GeometryData*>;

/// Where an accessor points, in floats behind `data`.
std::ptrdiff_t offset(const void* address, const GeometryData* data) {
    return static_cast<const float*>(address) - static_cast<const float*>(data->data());
}

struct Unref {
    void operator()(qvSharedObject* object) const { object->unref(); }
};

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
        EXPECT_EQ(data->data(), row.data);
        EXPECT_STREQ(data->objectName(), "");
        data->unref();
    }
}

/// An array made the way derived classes make one.
class EmptyData : public GeometryData {};

TEST(GeometryData, CopiesShareEverything) {
    GeometryData* const sources[3] = {
        referenced(new EmptyData),
        referenced(new CountedData("points")),
        referenced(new GeometryData("colors", GeometryData::kColorData, GeometryData::kDoubleElement,
                                    GeometryData::kFourElements, 2, new double[8])),
    };
    EXPECT_EQ(sources[2]->uniqueID(), sources[1]->uniqueID() + 1);
    const auto assign = [&](EmptyData& d, int i) {
        static_cast<GeometryData&>(d) = *sources[i];
        d.setCollectionNumber(3 + i);
    };
    const auto told = [](const GeometryData& d) {
        const std::vector<unsigned int> numbers = {d.uniqueID(),
                                                   unsigned(d.dataType()),
                                                   unsigned(d.elementType()),
                                                   unsigned(d.elementSize()),
                                                   d.elementCount(),
                                                   unsigned(d.collectionNumber())};
        return std::tuple(std::string(d.objectName()), d.name(), d.data(), numbers);
    };
    MemberTable<EmptyData, Unref> members;
    members.add("all", assign, told);
    members.checkCopies();
    members.checkAssignments();
    EXPECT_EQ(told(*sources[0]), std::tuple("", "", nullptr, std::vector<unsigned int>(6, 0)));
    const auto last = members.make(1);
    sources[2]->ref();
    static_cast<GeometryData&>(*last) = *sources[2];
    EXPECT_EQ(told(*last), told(*sources[2]));
    EXPECT_EQ(last->refCount(), 2); // copied along
    last->unref();
    sources[2]->unref();
    static_cast<GeometryData&>(*last) = *sources[1];
    for (GeometryData* source : sources) {
        EXPECT_EQ(source->unref(), 0);
    }
    EXPECT_EQ(static_cast<float*>(last->data())[11], 0.0F); // the last copy releases the data
}

class TestIndex : public GeometryDataIndex {
public:
    TestIndex() : GeometryDataIndex(kPoints, 0, {}, nullptr) {}
};

TEST(GeometryDataIndex, CopiesOwnTheirIndices) {
    const auto tell = [](TestIndex& index, int i) {
        const GeometryData* const none[2] = {};
        auto* from = referenced(new CountedIndex({}, {5U, 6U, 7U + static_cast<unsigned int>(i)}));
        static_cast<GeometryDataIndex&>(index) = *from;
        from->unref();
        index.setName(std::string(static_cast<std::size_t>(i), 'n'));
        index.setDrawPrimitive(GeometryDataIndex::DrawPrimitiveType(i + 2));
        index.setBoundingBox(AABoundingBox({1, 2, 3}, {4, 5, 5.0F + static_cast<float>(i)}));
        index.setBoundingSphere(BoundingSphere({1, 2, 3}, 5.0F + static_cast<float>(i)));
        index.dataPtrArrayPtr()->assign(none, none + i);
    };
    const auto told = [](const GeometryDataIndex& i) {
        const std::vector<float> bounds = {i.boundingBox().min().y, i.boundingBox().max().z,
                                           i.boundingSphere().center().y, i.boundingSphere().radius()};
        return std::tuple(std::vector<unsigned int>(i.indexArray(), i.indexArray() + i.indicesCount()),
                          i.name(), int(i.drawPrimitive()), bounds, i.dataPtrArrayPtr()->size());
    };
    MemberTable<TestIndex, Unref> m;
    m.add("all", tell, told);
    m.checkCopies();
    m.checkAssignments();

    const auto fresh = m.make(0), source = m.make(1);
    EXPECT_EQ(std::get<0>(told(*source)), (std::vector<unsigned int>{5, 6, 8}));
    EXPECT_FALSE(fresh->boundingBox().isValid());
    EXPECT_EQ(fresh->boundingSphere().radius(), 0);
    const std::unique_ptr<TestIndex, Unref> copy(new TestIndex(*source));
    const unsigned int number = fresh->uniqueID();
    EXPECT_GT(copy->uniqueID(), number); // a copy draws one
    *fresh = *source;
    EXPECT_EQ(fresh->uniqueID(), number); // an assignment keeps its own
    copy->ref();
    *fresh = *copy;
    EXPECT_EQ(fresh->refCount(), copy->refCount()); // copied along
    copy->unref();
    fresh->unref();
    EXPECT_EQ(CountedIndex::fsAlive, 0);
}

TEST(GeometryLogicalGroup, OwnsOneReferenceOfEachMember) {
    static_assert(std::is_nothrow_move_constructible_v<GeometryLogicalGroup> &&
                  std::is_nothrow_move_assignable_v<GeometryLogicalGroup>);
    auto* points = referenced(new CountedData("points"));
    auto* texture = referenced(new CountedData("texture", GeometryData::kTexCoordData));
    auto* texture1 = referenced(new CountedData("texture1", GeometryData::kTexCoordData));
    texture1->setCollectionNumber(1);
    auto* body = referenced(new CountedIndex({points}));
    auto* lid = referenced(new CountedIndex({points}));
    {
        GeometryLogicalGroup group("teapot", {points, nullptr, texture, texture1}, {body, lid, nullptr});
        EXPECT_EQ(group.geometryDataPtr(GeometryData::kTexCoordData, 0), texture);
        EXPECT_EQ(group.geometryDataPtr(GeometryData::kTexCoordData, 1), texture1);
        EXPECT_EQ(group.geometryDataPtr(GeometryData::kTexCoordData, 2), nullptr);
        EXPECT_EQ(group.geometryDataPtr(GeometryData::kNormalData, 0), nullptr);

        auto* colors = referenced(new CountedData("colors", GeometryData::kColorData));
        group.appendData(colors);
        group.appendData(nullptr);
        EXPECT_EQ(group.dataArrays(), (Arrays{points, nullptr, texture, texture1, colors}));
        EXPECT_EQ(*body->dataPtrArrayPtr(), (Arrays{points, colors}));
        EXPECT_EQ(*lid->dataPtrArrayPtr(), (Arrays{points}));

        GeometryLogicalGroup assigned(nullptr, {referenced(new CountedData("other"))}, {});
        EXPECT_EQ(assigned.name(), "");
        assigned.appendData(referenced(new CountedData("more"))); // no index array to learn about it
        GeometryLogicalGroup headless(nullptr, {}, {nullptr});
        headless.appendData(referenced(new CountedData("third"))); // nor here
        EXPECT_EQ(CountedData::fsAlive, 7);
        const auto expectTeapot = [&](const GeometryLogicalGroup& g, int references) {
            EXPECT_EQ(g.name(), "teapot");
            EXPECT_EQ(g.dataArrays(), group.dataArrays());
            EXPECT_EQ(g.indexArrays(), group.indexArrays());
            EXPECT_EQ(points->refCount(), references);
            EXPECT_EQ(body->refCount(), references);
        };
        {
            GeometryLogicalGroup copy(group);
            assigned = copy;
            const GeometryLogicalGroup& self = assigned;
            assigned = self;
            EXPECT_EQ(CountedData::fsAlive, 5);
            expectTeapot(assigned, 3);
            const GeometryLogicalGroup moved(std::move(copy));
            expectTeapot(moved, 3);
            headless = GeometryLogicalGroup(moved);
            expectTeapot(headless, 4);
        }
        expectTeapot(assigned, 3);
    }
    EXPECT_EQ(CountedData::fsAlive, 0);
    EXPECT_EQ(CountedIndex::fsAlive, 0);
}

TEST(GeometryLogicalIterator, WalksTheIndexArraysThatThereAre) {
    auto* body = referenced(new CountedIndex({}));
    auto* lid = referenced(new CountedIndex({}));
    GeometryLogicalGroup group("teapot", {}, {body, lid});
    GeometryLogicalIterator it(&group);
    for (const GeometryDataIndex* expected : {body, lid}) {
        EXPECT_EQ(it.count(), 2U);
        EXPECT_FALSE(it.isDone());
        EXPECT_EQ(it.dataIndexPointer(), expected);
        it.next();
    }
    it.next();
    EXPECT_TRUE(it.isDone());
    EXPECT_EQ(it.dataIndexPointer(), nullptr);
    it.reset(&group);
    it.next();
    EXPECT_EQ(it.dataIndexPointer(), lid);
    group = GeometryLogicalGroup("", {}, {});
    EXPECT_TRUE(it.isDone());
    EXPECT_EQ(it.dataIndexPointer(), nullptr);
    EXPECT_TRUE(GeometryLogicalIterator().isDone());
    EXPECT_EQ(GeometryLogicalIterator().count(), 0U);
}

struct Probe : GeometryDataIterator {
    using GeometryDataIterator::computeIndex;
    using GeometryDataIterator::GeometryDataIterator;
};

// Three arrays of one meaning and different collections, walked with every choice of collections.
TEST(GeometryDataIterator, HandsOutTheAttributesOfEachVertex) {
    using Accessor = void* (GeometryDataIterator::*)() const;
    using It = GeometryDataIterator;
    const struct {
        int type;
        Accessor first, second; // the same where there is one set
    } rows[] = {
        {GeometryData::kVertexData, &It::vertex, &It::vertex},
        {GeometryData::kNormalData, &It::normal, &It::normal},
        {GeometryData::kTexCoordData, &It::textureCoord, &It::textureCoord2},
        {GeometryData::kColorData, &It::color, &It::color},
        {GeometryData::kWeightData, &It::weight, &It::weight},
        {GeometryData::kTangentData, &It::tangent, &It::tangent2},
        {GeometryData::kBinormalData, &It::binormal, &It::binormal},
        {GeometryData::kUserData, &It::userData, &It::userData},
        {6, nullptr, nullptr},
    };
    const std::vector<std::vector<unsigned int>> choices = {{}, {0, 1}, {1, 0}, {1, 1}, {2, 0}, {5, 6}};
    Probe it;
    for (const auto& row : rows) {
        CountedData* arrays[3];
        for (int number : {0, 1, 2}) { // the later ones with two components
            arrays[number] = referenced(
                new CountedData("array", GeometryData::DataType(row.type), 4,
                                number ? GeometryData::kTwoElements : GeometryData::kThreeElements));
            arrays[number]->setCollectionNumber(number);
        }
        auto* index = referenced(new CountedIndex({arrays[0], nullptr, arrays[1], arrays[2]}, {2, 0, 3}));
        for (const auto& collections : choices) {
            it.reset(index, collections.empty() ? nullptr : collections.data()); // forgets the type before
            for (unsigned int vertex : {2U, 0U, 3U, 0U}) {                       // and at the end vertex 0
                EXPECT_EQ(it.computeIndex(100), 100 * vertex);
                for (const auto& other : rows) {
                    for (int set : {0, 1}) {
                        const Accessor accessor = set ? other.second : other.first;
                        const unsigned int chosen =
                            row.first == row.second || collections.empty() ? 2 : collections[set];
                        if (accessor && (other.type != row.type || chosen > 2)) {
                            EXPECT_EQ((it.*accessor)(), nullptr) << row.type << " " << other.type;
                        } else if (accessor) {
                            EXPECT_EQ(offset((it.*accessor)(), arrays[chosen]), vertex * (chosen ? 2 : 3))
                                << row.type;
                        }
                    }
                }
                it.next();
            }
        }
        for (qvSharedObject* object :
             std::initializer_list<qvSharedObject*>{index, arrays[0], arrays[1], arrays[2]}) {
            object->unref();
        }
    }
    EXPECT_EQ(CountedData::fsAlive, 0);
}

TEST(GeometryDataIterator, WalksWhatIsThere) {
    GeometryDataIterator it;
    EXPECT_TRUE(it.isDone());
    const auto steps = [&it] {
        unsigned int count = 0;
        for (; !it.isDone(); it.next()) {
            ++count;
        }
        it.next();
        EXPECT_TRUE(it.isDone());
        return count;
    };
    auto* index = referenced(new CountedIndex({}, std::vector<unsigned int>(10, 0)));
    auto* shorter = referenced(new CountedIndex({}, {9, 8, 7, 6}));
    auto* none = referenced(new GeometryDataIndex(GeometryDataIndex::kPoints, 9, {}, nullptr));
    auto& array = static_cast<GeometryDataIndex&>(*index);
    it.reset(index, nullptr);
    EXPECT_TRUE(it.setRange(5, 8));
    EXPECT_EQ(steps(), 8U);
    EXPECT_EQ(it.count(), 10U);
    EXPECT_FALSE(it.setRange(0, 11));
    EXPECT_EQ(steps(), 2U); // unranged, from where it stands
    EXPECT_TRUE(it.setRange(0, 3));
    EXPECT_TRUE(it.isDone()); // behind the end
    EXPECT_TRUE(it.setRange(0, 10));
    it.reset(index, nullptr);
    EXPECT_TRUE(it.setRange(0, 8));
    array = *shorter;
    EXPECT_EQ(it.count(), 4U);
    EXPECT_EQ(steps(), 4U); // the range is cut to what is there
    array = *none;
    EXPECT_EQ(it.count(), 0U);
    EXPECT_TRUE(it.isDone());
    EXPECT_EQ(it.vertex(), nullptr);
    for (GeometryDataIndex* object : std::initializer_list<GeometryDataIndex*>{index, shorter, none}) {
        object->unref();
    }
}

} // namespace
