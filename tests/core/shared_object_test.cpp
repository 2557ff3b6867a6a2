#include "ThrownBy.h"
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
    EXPECT_EQ(thrownBy([] { verifyAlways(true, std::string("never seen")); }), "nothing");
    EXPECT_EQ(thrownBy([] { verifyAlways(false, std::string("x")); }), "x");
    EXPECT_EQ(thrownBy([] { verifyAlways(false, "y"); }), "y");

    std::ostringstream stream;
    EXPECT_EQ(convertToString(stream), "");
    stream << "abc";
    EXPECT_EQ(convertToString(stream), "abc");
    stream.seekp(1);
    EXPECT_EQ(convertToString(stream), "a");
    EXPECT_EQ(convertToString(std::ostringstream("not written")), "");
}

TEST(DataType, SpellingsGoBothWays) {
    for (int value = kVoid; value <= kTexObj; ++value) {
        const auto type = static_cast<DataType>(value);
        EXPECT_EQ(convertToDataType(dataTypeName(type)), type);
    }
    for (int value : {-1, 0, 19, 27, 28}) {
        EXPECT_EQ(dataTypeName(static_cast<DataType>(value)), "kInvalidDataType");
        EXPECT_EQ(dataTypeInfo(static_cast<DataType>(value)).size, 0U);
    }
    for (const char* name : {"kInvalidDataType", "", "Float", " float", "float ", "float5"}) {
        EXPECT_EQ(convertToDataType(name), kInvalidDataType) << name;
    }
    // Size in bytes, whether arithmetic, whether on the heap: one type of each kind.
    const struct {
        DataType type;
        const char* text;
    } rows[] = {{kVoid, "void 000"},        {kBool, "bool 100"},        {kFloat3, "float3 1210"},
                {kClampu3, "clampu3 310"},  {kInt4, "int4 1610"},       {kMatrix2, "matrix2 1600"},
                {kMatrix3, "matrix3 3601"}, {kMatrix4, "matrix4 6401"}, {kTexObj, "texobj 400"}};
    for (const auto& row : rows) {
        const DataTypeInfo& info = dataTypeInfo(row.type);
        EXPECT_EQ(dataTypeName(row.type) + " " + std::to_string(info.size) + (info.arithmetic ? "1" : "0") +
                      (info.externalStorage ? "1" : "0"),
                  row.text);
    }
}

} // namespace
