#include <vexa/props/props.h>

#include <gtest/gtest.h>

#include <vexa/testing/expect_throws.h>

TEST(VProp, AnEmptyHandleHasCodeZeroAndIsNoArray) {
    VProp p;
    EXPECT_TRUE(p.empty());
    EXPECT_EQ(p.get_id(), 0);
    EXPECT_EQ(p.get_arr(false), nullptr);
    VEXA_EXPECT_THROWS(p.get_arr(true), std::runtime_error, "Type mismatch: expected 'array' type.");
}

TEST(VProp, SetCreatesAZeroAndRefusesAnotherType) {
    VProp p;
    EXPECT_EQ(p.set<double>(), 0.0);
    EXPECT_EQ(p.get_id(), 0x80);
    VProp i = 7;
    VEXA_EXPECT_THROWS(i.set<double>(), std::runtime_error, "Type mismatch: found int32, expected double");
    EXPECT_EQ(i.get<int>(), 7);
}
