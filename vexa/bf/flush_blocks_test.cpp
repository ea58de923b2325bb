#include <vexa/bf/flush_blocks_internal.h>

#include <random>

#include <gtest/gtest.h>

namespace {

using Vexa::bf::choose_flush_block_size;

TEST(FlushBlocks, OfASmallStackAreTheWholeStack) {
    EXPECT_EQ(choose_flush_block_size({100, 100}, 4), 40000u);
    EXPECT_EQ(choose_flush_block_size({7}, 1), 7u);
    EXPECT_EQ(choose_flush_block_size({}, 8), 8u);
}

TEST(FlushBlocks, AreWholeLinesOrPlanesThatFit) {
    EXPECT_EQ(choose_flush_block_size({256, 256, 10}, 1), 65536u);
    EXPECT_EQ(choose_flush_block_size({256, 256, 10}, 4), 262144u);
    EXPECT_EQ(choose_flush_block_size({100, 1000, 50}, 2), 200000u);
}

TEST(FlushBlocks, OfLargePlanesDivideThemEvenly) {
    EXPECT_EQ(choose_flush_block_size({512, 512, 3}, 2), 262144u);
    EXPECT_EQ(choose_flush_block_size({1024, 1024}, 2), 262144u);
    EXPECT_EQ(choose_flush_block_size({1000, 300}, 1), 150000u);
    EXPECT_EQ(choose_flush_block_size({1000, 999}, 1), 111000u) << "nine blocks; 333000 would be too much";
}

TEST(FlushBlocks, OfAnAxisThatCannotBeDividedAreAboutTheSmallestSize) {
    EXPECT_EQ(choose_flush_block_size({1000, 307}, 1), 307000u / 4);
    EXPECT_EQ(choose_flush_block_size({262147}, 1), 262147u / 4);
}

TEST(FlushBlocks, AreNotUsedWhereTheLastAxisIsStillEmpty) {
    EXPECT_EQ(choose_flush_block_size({100, 100, 0}, 4), 0u);
    EXPECT_EQ(choose_flush_block_size({0}, 4), 0u);
    EXPECT_EQ(choose_flush_block_size({256, 256, 0}, 1), 65536u) << "planes of 64 KiB stop before it";
    EXPECT_EQ(choose_flush_block_size({10, 10}, 0), 0u) << "a type without element size";
}

TEST(FlushBlocks, AreChosenAtOnceForTheLargestShapes) {
    EXPECT_EQ(choose_flush_block_size({65535, 0xFFFFFFFF}, 1), 65535u * 3);
    EXPECT_EQ(choose_flush_block_size({0xFFFFFFFFFFFFFFFF}, 16), 16u * 3 * 17 * 257);
    EXPECT_EQ(choose_flush_block_size({2, 0x7FFFFFFFFFFFFFFF}, 16),
              choose_flush_block_size({0x7FFFFFFFFFFFFFFF}, 32));
}

/// The definition, which walks over all divisors.
unsigned long by_definition(std::vector<unsigned long> const& shape, unsigned long element_size) {
    unsigned long s = element_size;
    unsigned long axis = 1;
    for (unsigned long const size : shape) {
        if (s >= 65536) break;
        s *= size;
        axis = size;
    }
    if (s <= 262144) return s;
    for (unsigned long d = 2;; ++d) {
        unsigned long const q = s / d;
        if (q > 262144) continue;
        if (q < 65536) return s / (d - 1);
        if (axis % d == 0) return q;
    }
}

TEST(FlushBlocks, FollowTheirDefinition) {
    std::mt19937_64 random(20240607);
    for (int i = 0; i < 2000; ++i) {
        unsigned long const element = 1ul << random() % 5;
        std::vector<unsigned long> shape;
        for (unsigned long n = 1 + random() % 4; n != 0; --n)
            shape.push_back(random() % 8 == 0 ? random() % 2000000 : random() % 3000);
        ASSERT_EQ(choose_flush_block_size(shape, element), by_definition(shape, element)) << "round " << i;
    }
}

} // namespace
