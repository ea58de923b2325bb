#include <vexa/props/proparr.h>

#include <gtest/gtest.h>

#include <vexa/props/props.h>
#include <vexa/testing/expect_throws.h>

namespace {

using Extents = std::vector<unsigned long>;
constexpr unsigned long none = ~0ul;

VProparray<double> array_of(unsigned long n, Extents shape) {
    VProparray<double> array;
    array.resize(n, true);
    array.size_vector = std::move(shape);
    return array;
}

TEST(VProparray, FirstDimensionRunsFastest) {
    auto const array = array_of(6, {2, 3});
    EXPECT_EQ(array.get_idx({1, 2}, nullptr), 5u);
    EXPECT_EQ(array.get_idx({1, 0}, nullptr), 1u);
    EXPECT_EQ(array.get_pos(5, nullptr), (Extents{1, 2}));
    EXPECT_EQ(array.get_pos(2, nullptr), (Extents{0, 1}));
}

TEST(VProparray, WithoutShapeIsARow) {
    VProparray<int> const array{10, 11, 12, 13};
    EXPECT_EQ(array.get_size(true), (Extents{1, 4}));
    EXPECT_EQ(array.get_size(false), (Extents{1, 4}));
    EXPECT_EQ(array.get_idx({0, 2}, nullptr), 2u);
    EXPECT_EQ(VProparray<int>().get_size(true), (Extents{0, 0}));
}

TEST(VProparray, PositionWithoutShapeBeginsWithOneUnlessTheIndexIsZero) {
    VProparray<int> const array{10, 11, 12, 13, 14, 15};
    EXPECT_EQ(array.get_pos(5, nullptr), (Extents{1, 5}));
    EXPECT_EQ(array.get_pos(0, nullptr), (Extents{0, 0}));
    EXPECT_EQ(array.get_pos(none, nullptr), (Extents{0, 0}));
}

TEST(VProparray, StaleShapesHeal) {
    EXPECT_EQ(array_of(5, {1, 3}).get_size(true), (Extents{1, 5}));
    EXPECT_EQ(array_of(0, {1, 3}).get_size(true), (Extents{0, 0}));
    EXPECT_EQ(array_of(5, {0, 0}).get_size(true), (Extents{1, 5}));
    EXPECT_EQ(array_of(2, {5}).get_size(true), (Extents{2}));
    EXPECT_EQ(array_of(5, {1, 3}).get_size(false), (Extents{1, 3}));
}

TEST(VProparray, AShapeThatCannotHealIsAnError) {
    auto const array = array_of(5, {2, 3});
    VEXA_EXPECT_THROWS(array.get_size(true), std::runtime_error, "Invalid size vector in property array.");
    VEXA_EXPECT_THROWS(array_of(5, {1, 3, 1}).get_size(true), std::runtime_error,
                       "Invalid size vector in property array.");
    EXPECT_EQ(array.get_size(false), (Extents{2, 3}));
}

TEST(VProparray, AShapeBeyond64BitsFitsNoArray) {
    EXPECT_EQ(VProparrayBase::size({1ul << 32, 1ul << 32}), none);
    EXPECT_EQ(VProparrayBase::size({1ul << 63, 1ul << 63, 0}), 0u);
    EXPECT_EQ(VProparrayBase::size({}), 0u);
    auto const array = array_of(0, {1ul << 32, 1ul << 32});
    VEXA_EXPECT_THROWS(array.get_idx({0, 0}, nullptr), std::runtime_error,
                       "Invalid size vector in property array.");
}

TEST(VProparray, ShapesFromValues) {
    EXPECT_EQ(VProparrayBase::val2size(none, 1, 2, 3), (Extents{0, 0}));
    EXPECT_EQ(VProparrayBase::val2size(0, none, none, none), (Extents{0, 0}));
    EXPECT_EQ(VProparrayBase::val2size(7, none, 2, 3), (Extents{1, 7}));
    EXPECT_EQ(VProparrayBase::val2size(7, 0, none, 3), (Extents{7, 0}));
    EXPECT_EQ(VProparrayBase::val2size(7, 8, 9, none), (Extents{7, 8, 9}));
    EXPECT_EQ(VProparrayBase::val2size(7, 8, 9, 10), (Extents{7, 8, 9, 10}));
    EXPECT_EQ(VProparrayBase::val2pos(none, 1, 2, 3), (Extents{0, 0}));
    EXPECT_EQ(VProparrayBase::val2pos(0, none, none, none), (Extents{0, 0}));
    EXPECT_EQ(VProparrayBase::val2pos(7, none, none, none), (Extents{0, 7}));
    EXPECT_EQ(VProparrayBase::val2pos(7, 8, 9, 10), (Extents{7, 8, 9, 10}));
    unsigned long const entries[] = {4, 5, 6};
    EXPECT_EQ(VProparrayBase::ptr2size(2, entries), (Extents{4, 5}));
    EXPECT_EQ(VProparrayBase::ptr2pos(3, entries), (Extents{4, 5, 6}));
    EXPECT_EQ(VProparrayBase::ptr2size(0, nullptr), Extents());
}

TEST(VProparray, PositionInAShapeWithAZeroIsReported) {
    auto const array = array_of(0, {0, 3});
    VEXA_EXPECT_THROWS(array.get_pos(4, nullptr), std::runtime_error,
                       "Invalid size entry in VProparrayBase.");
    std::string err;
    EXPECT_EQ(array.get_pos(4, &err), (Extents{1, 4}));
    EXPECT_EQ(err, "Invalid size entry in VProparrayBase.");
    EXPECT_EQ(array_of(3, {3}).get_pos(8, nullptr), (Extents{8}));
}

TEST(VProparray, RankMessagesNameTheArraysRankFirst) {
    auto array = array_of(6, {1, 2, 3});
    VEXA_EXPECT_THROWS(array.get_idx({0, 0}, true, nullptr), std::runtime_error,
                       "Input rank '3' too low (< '2').");
    VEXA_EXPECT_THROWS(array.get_idx({0, 0, 0, 0}, nullptr), std::runtime_error,
                       "Input rank '3' too high (> '4').");
    VEXA_EXPECT_THROWS(array.get_idx({}, nullptr), std::runtime_error, "Input rank '3' too low (< '0').");
}

TEST(VProparray, ErrorsAreThrownIgnoredOrStored) {
    VProparray<int> const array{1, 2, 3};
    VEXA_EXPECT_THROWS(array.get_idx({0, 3}, nullptr), std::runtime_error, "Index 1 out of bounds. (3 >= 3)");
    EXPECT_EQ(array.get_idx({0, 3}, reinterpret_cast<std::string*>(1)), none);
    std::string err = "kept on success";
    EXPECT_EQ(array.get_idx({0, 2}, &err), 2u);
    EXPECT_EQ(err, "kept on success");
    EXPECT_EQ(array.get_idx({2, 0}, &err), none);
    EXPECT_EQ(err, "Index 0 out of bounds. (2 >= 1)");
}

TEST(VProparray, BoundsMessagePrints32SignedBits) {
    VProparray<int> const array{1, 2, 3};
    VEXA_EXPECT_THROWS(array.get_idx({0xFFFFFFFFul, 0}, nullptr), std::runtime_error,
                       "Index 0 out of bounds. (-1 >= 1)");
}

TEST(VProparray, AFilledArrayGrowsAlongItsLastDimensionOnly) {
    auto array = array_of(3, {1, 3});
    array[2] = 5.0;
    EXPECT_EQ(array.get_idx({0, 7}, true, nullptr), 7u);
    EXPECT_EQ(array.get_size(true), (Extents{1, 8}));
    EXPECT_EQ(array[2], 5.0);
    EXPECT_EQ(array[7], 0.0);
    std::string err;
    EXPECT_EQ(array.get_idx({1, 0}, true, &err), none);
    EXPECT_EQ(err, "Index 0 out of bounds. (1 >= 1)");
    EXPECT_EQ(array.size(), 8u);
}

TEST(VProparray, AHigherRankIsPaddedWithOnesWhichDoNotGrow) {
    auto array = array_of(4, {2, 2});
    EXPECT_EQ(array.get_idx({1, 1, 0}, true, nullptr), 3u);
    EXPECT_EQ(array.size_vector, (Extents{2, 2}));
    VEXA_EXPECT_THROWS(array.get_idx({0, 0, 1}, true, nullptr), std::runtime_error,
                       "Index 2 out of bounds. (1 >= 1)");
    EXPECT_EQ(array.get_idx({1, 2, 0}, true, nullptr), 5u);
    EXPECT_EQ(array.size_vector, (Extents{2, 3, 1}));
}

TEST(VProparray, AnEmptyArrayGrowsAlongAllDimensions) {
    VProparray<short> array;
    EXPECT_EQ(array.get_idx({3, 4}, true, nullptr), 19u);
    EXPECT_EQ(array.get_size(true), (Extents{4, 5}));
    EXPECT_EQ(array.size(), 20u);

    auto flat = array_of(0, {0, 5});
    EXPECT_EQ(flat.get_idx({1, 2, 3}, true, nullptr), 1u + 2u * 2u + 3u * 10u);
    EXPECT_EQ(flat.size_vector, (Extents{2, 5, 4}));
}

TEST(VProparray, GrowingBeyondTheLimitChangesNothing) {
    VProparray<unsigned char> array{1};
    constexpr unsigned long limit = VProparrayBase::largest_grown_count;
    VEXA_EXPECT_THROWS(array.get_idx({0, limit}, true, nullptr), std::runtime_error,
                       "Property array of 67108865 elements is too large.");
    VProparray<unsigned char> empty;
    VEXA_EXPECT_THROWS(empty.get_idx({1ul << 40, 1ul << 40}, true, nullptr), std::runtime_error,
                       "Property array of 18446744073709551615 elements is too large.");
    VEXA_EXPECT_THROWS(empty.get_idx({none, 0}, true, nullptr), std::runtime_error,
                       "Index 0 out of bounds. (-1 >= 0)");
    EXPECT_EQ(array.size(), 1u);
    EXPECT_EQ(empty.size(), 0u);
}

TEST(VProparray, SetSizeModes) {
    auto array = array_of(6, {2, 3});
    array[5] = 6.0;
    array.set_size({4, 4}, VProparrayBase::shape_only);
    EXPECT_EQ(array.size(), 6u);
    EXPECT_EQ(array.size_vector, (Extents{4, 4}));
    VEXA_EXPECT_THROWS(array.set_size({7}, VProparrayBase::reshape_keep), std::runtime_error,
                       "Invalid size vector in property array.");
    VEXA_EXPECT_THROWS(array.set_size({7}, VProparrayBase::shape_checked), std::runtime_error,
                       "Invalid array shape: Size does not match number of elements.");
    EXPECT_EQ(array.size_vector, (Extents{4, 4}));
    array.set_size({3, 2}, VProparrayBase::shape_checked);
    EXPECT_EQ(array.size_vector, (Extents{3, 2}));
    array.set_size({7}, VProparrayBase::reshape_keep);
    EXPECT_EQ(array.size(), 7u);
    EXPECT_EQ(array[5], 6.0);
    array.set_size(2, 4, none, none, VProparrayBase::resize_keep);
    EXPECT_EQ(array.size(), 8u);
    EXPECT_EQ(array[5], 6.0);
    array.set_size({2, 4}, VProparrayBase::resize_clear);
    EXPECT_EQ(array[5], 0.0);
}

TEST(VProparray, AnEmptyShapeClearsWithoutCheckUnlessItResizes) {
    auto array = array_of(5, {2, 3});
    array.set_size({}, VProparrayBase::shape_checked);
    EXPECT_EQ(array.size_vector, Extents());
    EXPECT_EQ(array.size(), 5u);
    array.set_size({}, VProparrayBase::reshape_keep);
    EXPECT_EQ(array.size(), 5u);
    array.set_size({}, VProparrayBase::resize_keep);
    EXPECT_EQ(array.size(), 0u);
}

TEST(VProparray, TakesItsOwnShapeAsArgument) {
    auto array = array_of(5, {2, 3});
    array.set_size(array.size_vector, VProparrayBase::resize_keep);
    EXPECT_EQ(array.size(), 6u);
    EXPECT_EQ(array.size_vector, (Extents{2, 3}));
}

TEST(VProparray, ImpossibleSizesAreRefused) {
    VProparray<double> array{1.0};
    VEXA_EXPECT_THROWS(array.set_size({1ul << 60}, VProparrayBase::resize_clear), std::runtime_error,
                       "Property array of 1152921504606846976 elements is too large.");
    VEXA_EXPECT_THROWS(array.set_size({1ul << 32, 1ul << 32}, VProparrayBase::resize_keep),
                       std::runtime_error, "Property array of 18446744073709551615 elements is too large.");
    EXPECT_EQ(array.size(), 1u);
}

TEST(VProparray, CopyTakesBitsShapeAndElements) {
    VProparray<bool> array{true, false};
    array.userbits = 42;
    array.size_vector = {2, 1};
    VProparray<bool> const copy = array;
    EXPECT_EQ(copy.userbits, 42u);
    EXPECT_EQ(copy.size_vector, (Extents{2, 1}));
    EXPECT_TRUE(copy[0]);
    EXPECT_FALSE(copy[1]);
}

} // namespace
