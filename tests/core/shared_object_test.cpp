#include "core/DataType.h"
#include "core/Exception.h"
#include "core/qvSharedObject.h"

#include <gtest/gtest.h>

namespace {

class Counted : public qvSharedObject {
public:
    explicit Counted(int& destroyed) : fDestroyed(destroyed) {}
    ~Counted() override { ++fDestroyed; }

private:
    int& fDestroyed;
};

struct Padding {
    virtual ~Padding() = default;
    double fPadding[4] = {};
};

class SecondBase : public Padding, public Counted {
public:
    using Counted::Counted;
};

TEST(SharedObject, CountsAndDiesOnTheLastUnref) {
    int destroyed = 0;
    auto* object = new Counted(destroyed);
    EXPECT_EQ(object->refCount(), 0);
    EXPECT_EQ(object->ref(), 1);
    EXPECT_EQ(qvSharedObject::ref(object), 2);
    EXPECT_EQ(object->unref(), 1);
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(object->unrefNoDelete(), 0);
    EXPECT_EQ(object->unrefNoDelete(), -1);
    EXPECT_EQ(object->ref(), 0);
    EXPECT_EQ(qvSharedObject::unref(object), 0);
    EXPECT_EQ(destroyed, 1);

    EXPECT_EQ(qvSharedObject::ref(nullptr), 0);
    EXPECT_EQ(qvSharedObject::unref(nullptr), 0);
}

TEST(SharedObject, FreesTheWholeObjectThroughASecondBase) {
    int destroyed = 0;
    Counted* object = new SecondBase(destroyed);
    EXPECT_EQ(object->unref(), 0);
    EXPECT_EQ(destroyed, 1);
}

TEST(SharedObject, CopiesTheCount) {
    int destroyed = 0;
    Counted source(destroyed);
    source.ref();
    source.ref();
    source.ref();
    Counted copy(source);
    EXPECT_EQ(copy.refCount(), 3);
    qvSharedObject target;
    target.ref();
    target = source;
    EXPECT_EQ(target.refCount(), 3);
}

TEST(SharedObject, DeletePrintsAndLeaksTheStorage) {
    int destroyed = 0;
    auto* object = new Counted(destroyed);
    void* volatile storage = object; // volatile: the compiler must not pair it with the new above
    testing::internal::CaptureStdout();
    delete object;
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "qvSharedObject::delete called illegally (use unref)");
    EXPECT_EQ(destroyed, 1);
    ::operator delete(storage);
}

TEST(Exception, CarriesTypeAndMessage) {
    EXPECT_EQ(Exception().type, kInternalError);
    EXPECT_EQ(Exception().message, "");
    EXPECT_EQ(Exception(kInputError).type, kInputError);
    verifyAlways(true, std::string("never seen"));
    try {
        verifyAlways(false, std::string("x"));
        FAIL() << "nothing was thrown";
    } catch (const Exception& error) {
        EXPECT_EQ(error.type, kInternalError);
        EXPECT_EQ(error.message, "x");
    }

    std::ostringstream stream;
    EXPECT_EQ(convertToString(stream), "");
    stream << "abc";
    EXPECT_EQ(convertToString(stream), "abc");
    stream.seekp(1);
    EXPECT_EQ(convertToString(stream), "a");
    EXPECT_EQ(convertToString(std::ostringstream("not written")), "");
}

TEST(DataType, SpellingsGoBothWays) {
    const char* names[] = {"void",   "bool",    "float",   "float2",  "float3",  "float4",
                           "clampu", "clampu2", "clampu3", "clampu4", "int",     "int2",
                           "int3",   "int4",    "matrix2", "matrix3", "matrix4", "texobj"};
    for (int i = 0; i < 18; ++i) {
        const auto type = static_cast<DataType>(i + 1);
        EXPECT_EQ(dataTypeName(type), names[i]);
        EXPECT_EQ(convertToDataType(names[i]), type);
    }
    for (int value : {0, 19, 27, 28, -1}) {
        EXPECT_EQ(dataTypeName(static_cast<DataType>(value)), "kInvalidDataType");
        EXPECT_EQ(dataTypeInfo(static_cast<DataType>(value)).size, 0U);
    }
    for (const char* name : {"kInvalidDataType", "", "Float", " float", "float ", "float5"}) {
        EXPECT_EQ(convertToDataType(name), kInvalidDataType) << name;
    }
}

TEST(DataType, SizesAndFlags) {
    const unsigned int sizes[] = {0, 0, 1, 4, 8, 12, 16, 1, 2, 3, 4, 4, 8, 12, 16, 16, 36, 64, 4};
    for (int value = 0; value <= kTexObj; ++value) {
        const DataTypeInfo& info = dataTypeInfo(static_cast<DataType>(value));
        EXPECT_EQ(info.size, sizes[value]) << value;
        EXPECT_EQ(info.arithmetic, value >= kFloat && value <= kInt4) << value;
        EXPECT_EQ(info.externalStorage, value == kMatrix3 || value == kMatrix4) << value;
    }
}

} // namespace
