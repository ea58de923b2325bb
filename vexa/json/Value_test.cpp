#include <vexa/json/Value.h>

#include <gtest/gtest.h>

#include <vexa/testing/expect_throws.h>

using namespace JSON;

TEST(JsonValue, ADefaultOneIsNull) { EXPECT_EQ(Value().index(), 0u); }
