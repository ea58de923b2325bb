#include <vexa/foundation/types.h>

#include <gtest/gtest.h>

#include <vexa/testing/expect_throws.h>

TEST(TypeSize, TakesTheCodeExactlyAsGiven) {
    EXPECT_EQ(vexa_dt_get_size(0x00000001), 1u);
    EXPECT_EQ(vexa_dt_get_size(0x40000080), 16u);
    EXPECT_EQ(vexa_dt_get_size(static_cast<int>(0x80000001)), 0u);
    EXPECT_EQ(vexa_dt_get_size(0x40000001), 0u);
}

TEST(TypeName, OfACodeWithoutANameThrows) {
    EXPECT_EQ(vexa_dt_get_size(0x400), 3u);
    VEXA_EXPECT_THROWS(vexa_dt_get_name(0x400), std::runtime_error,
                       "Map entry not found and no default specified.");
}
