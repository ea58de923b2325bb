#include <vexa/arrays/Region.h>

#include <cstdint>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include <vexa/testing/expect_throws.h>

using Vexa::arrays::Region;
using Vexa::arrays::Slice;

namespace {

using Sizes = std::vector<std::size_t>;

constexpr std::int64_t open_end = Slice::open;
constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min() + 1;
constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();

char const* const invalid = "Cannot create slice region: Invalid slice specified.";
char const* const too_large = "Cannot create slice region: Slice too large.";
char const* const bad_order = "Cannot re-orient region: Invalid permutation specified.";

Region slice_of_ten(Slice::Range const& range) { return Region(Region({10}), Slice{range}); }

} // namespace

TEST(Slice, LeavesAllEndsOpenByDefault) {
    Slice const slice(2);
    ASSERT_EQ(slice.ranges.size(), 2u);
    EXPECT_EQ(slice.ranges[1], (Slice::Range{INT64_MIN, INT64_MIN, 1}));
    EXPECT_EQ(Slice(), Slice(0));
}

TEST(Region, OfAShapeHasAxisZeroFastest) {
    Region const region({4, 5});
    EXPECT_EQ(region.shape, (Sizes{4, 5}));
    EXPECT_EQ(region.strides, (Sizes{1, 4}));
    EXPECT_EQ(region.axes, (Sizes{0, 1}));
    EXPECT_EQ(region.first, (Sizes{0, 0}));
    EXPECT_EQ(region.step, (Sizes{1, 1}));
    EXPECT_EQ(region.full_shape, (Sizes{4, 5}));
    EXPECT_EQ(region.base_offset, 0u);
    EXPECT_EQ(Region({2, 3, 4}).strides, (Sizes{1, 2, 6}));
}

TEST(Region, OfNoAxesAndOfEmptyAxesIsEmpty) {
    EXPECT_EQ(Region(Sizes{}).strides, Sizes{});
    EXPECT_EQ(Region(Sizes{}).offset_at({}), 0u);
    EXPECT_EQ(Region({3, 0, 5}).strides, (Sizes{1, 3, 0}));
}

TEST(Region, OfAShapeBeyondSixtyFourBitsWrapsItsStrides) {
    Region const region({SIZE_MAX, 2, 3});
    EXPECT_EQ(region.strides, (Sizes{1, SIZE_MAX, SIZE_MAX - 1}));
    EXPECT_FALSE(region.lies_within(SIZE_MAX));
}

TEST(Region, FindsTheOffsetOfAPosition) {
    Region const region({4, 5});
    EXPECT_EQ(region.offset_at({0, 0}), 0u);
    EXPECT_EQ(region.offset_at({3, 4}), 19u);
    VEXA_EXPECT_THROWS(region.offset_at({1}), std::invalid_argument, "Wrong number of positions.");
}

TEST(RegionSlice, WithOpenEndsCoversTheWholeAxis) {
    Region const whole({4, 5});
    EXPECT_EQ(Region(whole, Slice(2)), whole);
    EXPECT_EQ(Region(Region({0}), Slice(1)), Region({0}));
    EXPECT_EQ(Region(Region(Sizes{}), Slice(0)), Region(Sizes{}));
}

TEST(RegionSlice, NarrowsEachAxis) {
    Region const region(Region({10, 6}), Slice{{2, 9, 3}, {1, open_end, 1}});
    EXPECT_EQ(region.shape, (Sizes{3, 5}));
    EXPECT_EQ(region.strides, (Sizes{3, 10}));
    EXPECT_EQ(region.first, (Sizes{2, 1}));
    EXPECT_EQ(region.step, (Sizes{3, 1}));
    EXPECT_EQ(region.full_shape, (Sizes{10, 6}));
    EXPECT_EQ(region.base_offset, 12u);
    EXPECT_EQ(region.offset_at({2, 4}), 12u + 6u + 40u);
}

TEST(RegionSlice, CountsTheStepsThatFit) {
    EXPECT_EQ(slice_of_ten({0, 10, 3}).shape, Sizes{4});
    EXPECT_EQ(slice_of_ten({0, 9, 3}).shape, Sizes{3});
    EXPECT_EQ(slice_of_ten({9, 10, 3}).shape, Sizes{1});
    EXPECT_EQ(slice_of_ten({0, 10, highest}).shape, Sizes{1});
    EXPECT_EQ(slice_of_ten({open_end, 4, 2}).shape, Sizes{2});
}

TEST(RegionSlice, WithEqualEndsIsEmptyForEveryStep) {
    for (std::int64_t const step : {std::int64_t{1}, std::int64_t{-1}, std::int64_t{0}, highest, open_end}) {
        EXPECT_EQ(slice_of_ten({3, 3, step}).shape, Sizes{0});
        EXPECT_EQ(slice_of_ten({10, 10, step}).shape, Sizes{0});
    }
    EXPECT_TRUE(slice_of_ten({3, 3, 1}).lies_within(0));
}

TEST(RegionSlice, OfASliceKeepsAddingToTheOffset) {
    Region const once(Region({20}), Slice{{4, open_end, 2}});
    EXPECT_EQ(once.shape, Sizes{8});
    EXPECT_EQ(once.base_offset, 4u);
    Region const twice(once, Slice{{1, 7, 3}});
    EXPECT_EQ(twice.shape, Sizes{2});
    EXPECT_EQ(twice.base_offset, 6u);
    EXPECT_EQ(twice.strides, Sizes{6});
    EXPECT_EQ(twice.first, Sizes{6});
    EXPECT_EQ(twice.step, Sizes{6});
    EXPECT_EQ(twice.offset_at({1}), 12u);
}

TEST(RegionSlice, OfThePermutedAxesCountsPerAxisOfTheStack) {
    Region const region(Region({10, 6}).permute({1, 0}), Slice{{1, 6, 2}, {3, 4, 1}});
    EXPECT_EQ(region.shape, (Sizes{3, 1}));
    EXPECT_EQ(region.strides, (Sizes{20, 1}));
    EXPECT_EQ(region.first, (Sizes{3, 1}));
    EXPECT_EQ(region.step, (Sizes{1, 2}));
    EXPECT_EQ(region.base_offset, 13u);
}

TEST(RegionSlice, WithANegativeBoundFails) {
    for (std::int64_t const bound : {std::int64_t{-1}, std::int64_t{-10}, std::int64_t{-11}, lowest})
        for (std::int64_t const step :
             {std::int64_t{1}, std::int64_t{-1}, std::int64_t{0}, highest, lowest}) {
            VEXA_EXPECT_THROWS(slice_of_ten({bound, open_end, step}), std::runtime_error, invalid);
            VEXA_EXPECT_THROWS(slice_of_ten({open_end, bound, step}), std::runtime_error, invalid);
            VEXA_EXPECT_THROWS(slice_of_ten({bound, bound, step}), std::runtime_error, invalid);
        }
    VEXA_EXPECT_THROWS(Region(Region({0}), Slice{{-1, open_end, 1}}), std::runtime_error, invalid);
}

TEST(RegionSlice, WithBoundsOutsideTheAxisOrInTheWrongOrderFails) {
    VEXA_EXPECT_THROWS(slice_of_ten({0, 11, 1}), std::runtime_error, invalid);
    VEXA_EXPECT_THROWS(slice_of_ten({0, highest, 1}), std::runtime_error, invalid);
    VEXA_EXPECT_THROWS(slice_of_ten({11, open_end, 1}), std::runtime_error, invalid);
    VEXA_EXPECT_THROWS(slice_of_ten({11, 11, 1}), std::runtime_error, invalid);
    VEXA_EXPECT_THROWS(slice_of_ten({5, 4, 1}), std::runtime_error, invalid);
    VEXA_EXPECT_THROWS(slice_of_ten({4, 5, -1}), std::runtime_error, invalid);
    VEXA_EXPECT_THROWS(slice_of_ten({11, 4, -1}), std::runtime_error, invalid);
}

TEST(RegionSlice, WithAStepOfZeroOverSamplesFails) {
    VEXA_EXPECT_THROWS(slice_of_ten({0, 1, 0}), std::runtime_error, invalid);
    VEXA_EXPECT_THROWS(slice_of_ten({open_end, open_end, 0}), std::runtime_error, invalid);
}

TEST(RegionSlice, WithAStepBelowZeroStartsAtTheLowerBound) {
    Region const one = slice_of_ten({7, 3, -4});
    EXPECT_EQ(one.shape, Sizes{1});
    EXPECT_EQ(one.base_offset, 3u);
    EXPECT_EQ(one.first, Sizes{3});
    EXPECT_EQ(one.strides, Sizes{SIZE_MAX - 3});
    EXPECT_EQ(one.step, Sizes{SIZE_MAX - 3});
    EXPECT_EQ(slice_of_ten({4, 3, -1}).shape, Sizes{1});
    EXPECT_EQ(slice_of_ten({5, 3, -1}).shape, Sizes{0});
    EXPECT_EQ(slice_of_ten({open_end, open_end, lowest}).shape, Sizes{1});
    EXPECT_EQ(slice_of_ten({open_end, open_end, open_end}).shape, Sizes{1});
    VEXA_EXPECT_THROWS(slice_of_ten({6, 3, -1}), std::runtime_error, too_large);
    VEXA_EXPECT_THROWS(slice_of_ten({open_end, open_end, -1}), std::runtime_error, too_large);
    VEXA_EXPECT_THROWS(slice_of_ten({open_end, open_end, -4}), std::runtime_error, too_large);
}

TEST(RegionSlice, OfAHugeAxisDoesNotWrap) {
    Region const huge({SIZE_MAX});
    EXPECT_EQ(Region(huge, Slice(1)).shape, Sizes{SIZE_MAX});
    EXPECT_EQ(Region(huge, Slice{{highest, open_end, 1}}).shape,
              Sizes{SIZE_MAX - static_cast<std::size_t>(highest)});
    EXPECT_EQ(Region(huge, Slice{{0, open_end, highest}}).shape, Sizes{3});
    EXPECT_EQ(Region(huge, Slice{{open_end, open_end, open_end}}).shape, Sizes{0});
    VEXA_EXPECT_THROWS(Region(huge, Slice{{open_end, open_end, -1}}), std::runtime_error, too_large);
}

TEST(RegionSlice, WithAnotherRankFails) {
    char const* const ranks = "Cannot create slice region: Slice ranks do not match.";
    VEXA_EXPECT_THROWS(Region(Region({4, 5}), Slice(1)), std::runtime_error, ranks);
    VEXA_EXPECT_THROWS(Region(Region({4, 5}), Slice(3)), std::runtime_error, ranks);
    VEXA_EXPECT_THROWS(Region(Region(Sizes{}), Slice(1)), std::runtime_error, ranks);
}

TEST(RegionPermute, ReordersTheAxes) {
    Region const region = Region({2, 3, 4}).permute({2, 0, 1});
    EXPECT_EQ(region.shape, (Sizes{4, 2, 3}));
    EXPECT_EQ(region.strides, (Sizes{6, 1, 2}));
    EXPECT_EQ(region.axes, (Sizes{2, 0, 1}));
    EXPECT_EQ(region.full_shape, (Sizes{2, 3, 4}));
    EXPECT_EQ(region.permute({1, 2, 0}), Region({2, 3, 4}));
}

TEST(RegionPermute, KeepsTheOffsetsOfAllSamples) {
    Region const sliced(Region({5, 6, 7}), Slice{{1, 5, 2}, {2, 6, 1}, {0, 7, 3}});
    Region const permuted = sliced.permute({1, 2, 0});
    for (std::size_t x = 0; x < 2; ++x)
        for (std::size_t y = 0; y < 4; ++y)
            for (std::size_t z = 0; z < 3; ++z)
                EXPECT_EQ(permuted.offset_at({y, z, x}), sliced.offset_at({x, y, z}));
}

TEST(RegionPermute, OfAnOrderThatDoesNotNameEachAxisOnceFails) {
    Region const region({2, 3});
    for (Sizes const& order :
         {Sizes{}, Sizes{0}, Sizes{0, 0}, Sizes{0, 2}, Sizes{1, 0, 2}, Sizes{0, SIZE_MAX}})
        VEXA_EXPECT_THROWS(region.permute(order), std::runtime_error, bad_order);
    EXPECT_EQ(Region(Sizes{}).permute({}), Region(Sizes{}));
}

TEST(Region, WhoseVectorsDoNotFitTogetherIsNeitherSlicedNorPermuted) {
    std::vector<Region> broken(5, Region({4, 5}));
    broken[0].strides.pop_back();
    broken[1].axes.pop_back();
    broken[2].axes[1] = 2;
    broken[3].first.pop_back();
    broken[4].step.clear();
    for (Region const& region : broken) {
        VEXA_EXPECT_THROWS(Region(region, Slice(2)), std::invalid_argument, "Invalid axis specified.");
        VEXA_EXPECT_THROWS(region.permute({1, 0}), std::invalid_argument, "Invalid axis specified.");
    }
}

TEST(RegionLiesWithin, IsTrueUpToItsLastSample) {
    EXPECT_TRUE(Region({4, 5}).lies_within(20));
    EXPECT_FALSE(Region({4, 5}).lies_within(19));
    EXPECT_TRUE(Region(Region({10}), Slice{{1, 8, 3}}).lies_within(8));
    EXPECT_FALSE(Region(Region({10}), Slice{{1, 8, 3}}).lies_within(7));
    EXPECT_FALSE(Region({1}).lies_within(0));
    EXPECT_TRUE(Region({0}).lies_within(0));
    EXPECT_TRUE(Region(Sizes{}).lies_within(0));
}

TEST(RegionLiesWithin, SeesStridesThatLeadBack) {
    Region region({4});
    region.strides[0] = SIZE_MAX;
    region.base_offset = 3;
    EXPECT_TRUE(region.lies_within(4));
    EXPECT_FALSE(region.lies_within(3));
    region.base_offset = 2;
    EXPECT_FALSE(region.lies_within(100));
}

TEST(RegionLiesWithin, IsFalseForWhatDoesNotFitTogether) {
    Region region({4, 5});
    region.strides.pop_back();
    EXPECT_FALSE(region.lies_within(1000));
    region = Region({4, 5});
    region.strides = {SIZE_MAX / 2, SIZE_MAX / 2};
    EXPECT_FALSE(region.lies_within(SIZE_MAX));
    region.strides = {std::size_t{1} << 63, 1};
    EXPECT_FALSE(region.lies_within(SIZE_MAX));
    region = Region({4, 5});
    region.base_offset = SIZE_MAX;
    EXPECT_FALSE(region.lies_within(SIZE_MAX));
}

TEST(RegionSlice, OfRandomRangesSelectsWhatALoopSelects) {
    std::mt19937 random(20261121);
    SCOPED_TRACE("seed 20261121");
    for (int round = 0; round < 2000; ++round) {
        auto const n = static_cast<std::int64_t>(random() % 12);
        auto const begin = static_cast<std::int64_t>(random() % 14);
        auto const end = static_cast<std::int64_t>(random() % 14);
        auto const step = static_cast<std::int64_t>(1 + random() % 5);
        Region const whole({static_cast<std::size_t>(n)});
        if (begin > end || end > n) {
            VEXA_EXPECT_THROWS(Region(whole, Slice{{begin, end, step}}), std::runtime_error, invalid);
            continue;
        }
        Region const region(whole, Slice{{begin, end, step}});
        std::size_t count = 0;
        for (std::int64_t i = begin; i < end; i += step)
            EXPECT_EQ(region.offset_at({count++}), static_cast<std::size_t>(i));
        EXPECT_EQ(region.shape[0], count);
    }
}
