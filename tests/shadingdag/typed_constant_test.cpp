#include "ThrownBy.h"
#include "shadingdag/ShadingAttribute.h"
#include "shadingdag/ShadingNode.h"
#include "shadingdag/TypedConstant.h"

#include <gtest/gtest.h>

#include <clocale>
#include <limits>
#include <map>

using namespace qvShadingDag;

namespace {

TypedConstant ints(int count, int a, int b, int c, int d) {
    TypedConstant constant;
    constant.assignInts(count, a, b, c, d);
    return constant;
}

TEST(TypedConstant, PrintsTheValue) {
    TypedConstant boolean;
    boolean.assignBool(true);
    const struct {
        TypedConstant constant;
        DataType type;
        const char* text;
    } rows[] = {
        {TypedConstant(0.5F), kFloat, "0.5"},
        {TypedConstant(1, -2), kFloat2, "{1,-2}"},
        {TypedConstant(1, 2, 3), kFloat3, "{1,2,3}"},
        {TypedConstant(1, 0.5F, 0, 2), kFloat4, "{1,0.5,0,2}"},
        {TypedConstant(1e10F), kFloat, "1e+10"},
        {TypedConstant(1e-5F), kFloat, "1e-05"},
        {TypedConstant(123456.0F), kFloat, "123456"},
        {TypedConstant(1234567.0F), kFloat, "1.23457e+06"},
        {TypedConstant(-0.0F), kFloat, "-0"},
        {TypedConstant(std::numeric_limits<float>::infinity()), kFloat, "inf"},
        {TypedConstant(std::numeric_limits<float>::quiet_NaN()), kFloat, "nan"},
        {TypedConstant(1, -std::numeric_limits<float>::quiet_NaN()), kFloat2, "{1,nan}"},
        {TypedConstant(-std::numeric_limits<float>::infinity()), kFloat, "-inf"},
        {TypedConstant(std::numeric_limits<float>::max()), kFloat, "3.40282e+38"},
        {ints(1, -7, 0, 0, 0), kInt, "-7"},
        {ints(2, 1, 2, 9, 9), kInt2, "{1,2}"},
        {ints(4, 0, 1, 2, -1), kInt4, "{0,1,2,-1}"},
        {TypedConstant(), kInvalidDataType, ""},
        {boolean, kBool, ""},
        {TypedConstant(qvLinear::ProjMatrix()), kMatrix4, ""},
    };
    for (const char* locale : {"C", "de_DE.UTF-8", "German"}) {
        std::setlocale(LC_ALL, locale); // where it is installed
        for (const auto& row : rows) {
            EXPECT_EQ(row.constant.dataType(), row.type) << row.text;
            EXPECT_EQ(row.constant.toString(), row.text);
        }
    }
    std::setlocale(LC_ALL, "C");
}

TEST(TypedConstant, TakesOneToFourComponents) {
    TypedConstant constant(5, 6, 7, 8);
    constant.assignFloats(3, 1, 2, 3, 9);
    EXPECT_EQ(constant.toString(), "{1,2,3}");
    EXPECT_EQ(constant.getFloat(3), 8) << "the word behind the last value stays";
    EXPECT_EQ(constant.getFloat(4), 0);
    EXPECT_EQ(ints(2, 5, -6, 0, 0).getInt(1), -6);
    EXPECT_EQ(constant.getInt(4), 0);
    for (int count : {0, 5, -1}) {
        for (bool floats : {true, false}) {
            EXPECT_EQ(thrownBy([&] {
                          floats ? constant.assignFloats(count, 9, 9, 9, 9)
                                 : constant.assignInts(count, 9, 9, 9, 9);
                      }),
                      "input error: ")
                << count;
        }
    }
    EXPECT_EQ(constant.toString(), "{1,2,3}") << "a refused assignment changes nothing";
}

TEST(TypedConstant, OwnsItsMatrix) {
    const int before = TypedConstant::fsNumInstances_TypedConstant;
    {
        qvLinear::ProjMatrix two(2);
        TypedConstant original(two);
        TypedConstant copy(original);
        EXPECT_EQ(TypedConstant::fsNumInstances_TypedConstant, before + 2);
        EXPECT_TRUE(copy.externalStorage());
        EXPECT_NE(&copy.matrix(), &original.matrix());
        copy.release();
        EXPECT_FALSE(copy.initialized());
        EXPECT_THROW(copy.matrix(), Exception);
        EXPECT_EQ(original.matrix()(3, 3), 2);

        original.set(original.matrix()); // from its own storage
        EXPECT_EQ(original.matrix()(0, 0), 2);
        const TypedConstant& self = original;
        original = self;
        EXPECT_EQ(original.matrix()(0, 0), 2);
        original.set(1.5F); // frees the matrix: the leak checker watches
        EXPECT_EQ(original.getFloat(0), 1.5F);

        // clear and assignBool free nothing: whoever holds the address still can.
        for (bool useClear : {true, false}) {
            TypedConstant leaking(two);
            const qvLinear::ProjMatrix* held = &leaking.matrix();
            useClear ? leaking.clear() : leaking.assignBool(true);
            EXPECT_EQ((*held)(0, 0), 2);
            delete held;
        }
        TypedConstant target(two);
        const qvLinear::ProjMatrix* held = &target.matrix();
        target = TypedConstant(qvLinear::ProjMatrix(3));
        EXPECT_EQ((*held)(0, 0), 2) << "assignment frees nothing that the target held";
        EXPECT_EQ(target.matrix()(0, 0), 3);
        delete held;
    }
    EXPECT_EQ(TypedConstant::fsNumInstances_TypedConstant, before);
}

TEST(CompFreqRange, PrintsItsEnds) {
    EXPECT_EQ(CompFreqRange().toString(), "constant:fragment");
    EXPECT_EQ(CompFreqRange(3, 3).toString(), "vertex");
    EXPECT_EQ(CompFreqRange(2, 4).toString(), "uniform:fragment");
    EXPECT_EQ(CompFreqRange(0, 0).toString(), "invalid");
    EXPECT_EQ(CompFreqRange(5, 1).toString(), "invalid:constant");
}

TEST(ShadingAttribute, IsAKeyByNodeAndName) {
    const int before = ShadingAttribute::fsNumInstances_ShadingAttribute;
    {
        ShadingAttribute empty;
        EXPECT_FALSE(empty.valid());
        EXPECT_FALSE(ShadingAttribute("", kFloat).valid());
        EXPECT_FALSE(ShadingAttribute("x", kInvalidDataType).valid());
        EXPECT_TRUE(ShadingAttribute("x", kFloat).valid());
        EXPECT_EQ(empty.compFreqRange(), CompFreqRange(kConstantFreq, kFragmentFreq));
        EXPECT_FALSE(ShadingAttribute(static_cast<const ShadingAttribute*>(nullptr)).valid());

        ShadingNode nodes[2];
        nodes[0].setInput(kFloat3, "in");
        nodes[1].setConstant(TypedConstant(1.0F));
        std::map<ShadingAttribute, int> keys;
        const ShadingAttribute attributes[] = {
            {"x", kFloat}, {"x", kInt}, {"xy", kFloat}, {"\xC3", kFloat}, {&nodes[0], "x"}, {&nodes[1], "x"},
        };
        for (const ShadingAttribute& attribute : attributes) {
            keys.emplace(&attribute, 0);
        }
        EXPECT_EQ(keys.size(), 5U) << "the two without a node named x are one key";
        EXPECT_TRUE(attributes[0] < attributes[2]);
        EXPECT_TRUE(attributes[2] < attributes[3]) << "bytes are unsigned";
        EXPECT_EQ(attributes[4].dataType(), kFloat3);
        EXPECT_EQ(attributes[4].compFreqRange(), CompFreqRange(0, 0));
        EXPECT_EQ(attributes[5].compFreqRange(), CompFreqRange(1, 1));
        EXPECT_THROW(ShadingAttribute(static_cast<ShadingNode*>(nullptr), "x"), Exception);
    }
    EXPECT_EQ(ShadingAttribute::fsNumInstances_ShadingAttribute, before);
}

} // namespace
