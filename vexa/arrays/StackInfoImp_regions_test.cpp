#include <vexa/arrays/StackInfoImp.h>

#include <cstdint>

#include <gtest/gtest.h>

#include <vexa/arrays/Region.h>
#include <vexa/foundation/types.h>
#include <vexa/testing/expect_throws.h>

using namespace Vexa;
using namespace Vexa::arrays;

namespace {

using Shape = std::vector<std::size_t>;
using Numbers = std::vector<double>;
using Texts = std::vector<std::string>;
using Points = std::vector<std::pair<double, double>>;

char const* const no_match = "Cannot transform meta-data: Source and destination slice shapes do not match.";

/// Notes what is reported.
class Info : public StackInfoImp {
public:
    using StackInfoImp::StackInfoImp;
    void signal_info_changed(unsigned int mask) override { masks.push_back(mask); }
    using StackInfoImp::locked_;

    std::vector<unsigned int> masks;
};

/// 6 by 4 samples, 12 by 8 long.
StackInfoImp make_source() {
    StackInfoImp info(types::uint16, {6, 4});
    info.set_lengths({12.0, 8.0});
    info.set_offsets({100.0, 200.0});
    info.set_labels({"first", "second"});
    return info;
}

/// Of the region of make_source(): columns 1, 3, 5 and rows 2, 3.
Region part_of_source() { return Region(Region({6, 4}), Slice{{1, 6, 2}, {2, 4, 1}}); }

} // namespace

TEST(StackInfoImpRegion, OfThePartIsAsLongAsThePart) {
    StackInfoImp const source = make_source();
    StackInfoImp const part(source, part_of_source(), Region({3, 2}), 0);
    EXPECT_EQ(part.shape(), (Shape{3, 2}));
    EXPECT_EQ(part.type(), 4);
    EXPECT_EQ(part.lengths(), (Numbers{3 * 2.0 * 2, 2 * 2.0}));
    EXPECT_EQ(part.offsets(), (Numbers{100.0 + 1 * 2.0, 200.0 + 2 * 2.0}));
    EXPECT_EQ(part.labels(), (Texts{"first", "second"}));
}

TEST(StackInfoImpRegion, MovesTimeUnitsAndColumns) {
    StackInfoImp source = make_source();
    source.set_timestamp(Timestamp(std::chrono::nanoseconds(9)));
    source.set_data_units(units::RuntimeValue("V"));
    source.set_units(0, units::RuntimeValue("s"));
    source.set_col_labels(0, {"a", "b", "c", "d", "e", "f"});
    source.set_col_positions(1, {1, 2, 4, 8});
    source.set_xy_col_positions(1, {{0, 0}, {1, 1}, {2, 2}, {3, 3}});
    source.set_name("not copied");
    source.set_description("not copied");
    source.set_tag("not", JSON::Value("copied"));

    StackInfoImp const part(source, part_of_source(), Region({3, 2}), types::single);
    EXPECT_EQ(part.type(), types::single);
    EXPECT_EQ(part.timestamp().time_since_epoch().count(), 9);
    EXPECT_EQ(part.data_units(), units::RuntimeValue("V"));
    EXPECT_EQ(part.units(0), units::RuntimeValue("s"));
    EXPECT_EQ(part.col_labels(0), (Texts{"b", "d", "f"}));
    EXPECT_TRUE(part.col_labels(1).empty());
    EXPECT_TRUE(part.is_equidistant(0));
    EXPECT_FALSE(part.is_equidistant(1));
    EXPECT_EQ(part.col_positions(1), (Numbers{4, 8}));
    EXPECT_EQ(part.xy_col_positions(1), (Points{{2, 2}, {3, 3}}));
    EXPECT_EQ(part.name(), "");
    EXPECT_EQ(part.description(), "");
    EXPECT_TRUE(part.tag_keys().empty());
}

TEST(StackInfoImpRegion, PutsThePartIntoALargerStack) {
    StackInfoImp source = make_source();
    source.set_col_labels(0, {"a", "b", "c", "d", "e", "f"});
    Region const destination(Region({9, 10}), Slice{{2, 9, 3}, {4, 6, 1}});
    StackInfoImp const large(source, part_of_source(), destination, 0);
    EXPECT_EQ(large.shape(), (Shape{9, 10}));
    EXPECT_EQ(large.col_labels(0), (Texts{"", "", "b", "", "", "d", "", "", "f"}));
    EXPECT_EQ(large.lengths(), (Numbers{9 * 2.0 * 2, 10 * 2.0}));
    EXPECT_EQ(large.offsets(), (Numbers{102.0 - 36.0 / 9 * 2, 204.0 - 20.0 / 10 * 4}));
}

TEST(StackInfoImpRegion, FollowsThePermutedAxesOfTheSource) {
    StackInfoImp const source = make_source();
    Region const permuted = part_of_source().permute({1, 0});
    StackInfoImp const part(source, permuted, Region(permuted.shape), 0);
    EXPECT_EQ(part.shape(), (Shape{2, 3}));
    EXPECT_EQ(part.labels(), (Texts{"second", "first"}));
    EXPECT_EQ(part.lengths(), (Numbers{4.0, 12.0}));
    EXPECT_EQ(part.offsets(), (Numbers{204.0, 102.0}));
}

TEST(StackInfoImpRegion, TakesThePixelSizeOfTheSourceAxisForAPermutedDestination) {
    StackInfoImp const source = make_source();
    // Axis 0 of the source goes to axis 1 here, from index 5 on; axis 1 goes to axis 0.
    Region const destination = Region(Region({4, 11}), Slice{{0, 4, 1}, {5, 11, 1}}).permute({1, 0});
    StackInfoImp const large(source, Region({6, 4}), destination, 0);
    EXPECT_EQ(large.shape(), (Shape{4, 11}));
    EXPECT_EQ(large.lengths(), (Numbers{4 * 2.0, 11 * 2.0}));
    // When axis 1 gets its offset, axis 0 still has its first length 4 for 4 samples.
    EXPECT_EQ(large.offset(1), 100.0 - 4.0 / 4 * 5);
    EXPECT_EQ(large.offset(0), 200.0);
}

TEST(StackInfoImpRegion, WithoutADestinationNeedsTheWholeShape) {
    StackInfoImp const source = make_source();
    StackInfoImp const whole(source, Region({6, 4}), 0);
    EXPECT_EQ(whole.shape(), (Shape{6, 4}));
    EXPECT_EQ(whole.lengths(), source.lengths());
    EXPECT_EQ(whole.offsets(), source.offsets());
    EXPECT_EQ(StackInfoImp(source, Region({6, 4}), types::int8).type(), types::int8);
    VEXA_EXPECT_THROWS(StackInfoImp(source, part_of_source(), 0), std::runtime_error, no_match);
}

TEST(StackInfoImpRegion, OfShapesThatDifferThrows) {
    StackInfoImp const source = make_source();
    VEXA_EXPECT_THROWS(StackInfoImp(source, part_of_source(), Region({2, 3}), 0), std::runtime_error,
                       no_match);
    VEXA_EXPECT_THROWS(StackInfoImp(source, part_of_source(), Region({3}), 0), std::runtime_error, no_match);
    VEXA_EXPECT_THROWS(StackInfoImp(source, Region({3}), Region({3, 1}), 0), std::runtime_error, no_match);
}

TEST(StackInfoImpRegion, OfAnEmptyPartHasNoLength) {
    StackInfoImp const source = make_source();
    StackInfoImp const part(source, Region(Region({6, 4}), Slice{{3, 3, 1}, {0, 4, 1}}), Region({0, 4}), 0);
    EXPECT_EQ(part.number_of_elements(), 0u);
    EXPECT_EQ(part.lengths(), (Numbers{0.0, 8.0}));
    EXPECT_EQ(part.offsets(), (Numbers{106.0, 200.0}));
}

TEST(StackInfoImpRegion, OfRankZeroIsEmpty) {
    StackInfoImp const source(types::uint8, {});
    EXPECT_EQ(StackInfoImp(source, Region(Shape{}), 0).number_of_elements(), 0u);
    EXPECT_EQ(StackInfoImp(source, Region(Shape{}), Region(Shape{}), 0).shape(), Shape{});
}

TEST(StackInfoImpRegion, ThatDoesNotLieInItsStackThrows) {
    StackInfoImp source = make_source();
    source.set_col_labels(0, {"a", "b", "c", "d", "e", "f"});
    Region outside({6, 4});
    outside.axes = {0, 2};
    VEXA_EXPECT_THROWS(StackInfoImp(source, outside, Region({6, 4}), 0), std::invalid_argument,
                       "Invalid axis specified.");
    outside.axes = {0};
    VEXA_EXPECT_THROWS(StackInfoImp(source, outside, Region({6, 4}), 0), std::invalid_argument,
                       "Invalid axis specified.");
    VEXA_EXPECT_THROWS(StackInfoImp(source, Region({7, 4}), Region({7, 4}), 0), std::invalid_argument,
                       "Invalid pixel position.");
    Region far({6, 4});
    far.first[0] = SIZE_MAX;
    VEXA_EXPECT_THROWS(StackInfoImp(source, far, Region({6, 4}), 0), std::invalid_argument,
                       "Invalid pixel position.");
    VEXA_EXPECT_THROWS(StackInfoImp(source, Region({6, 4}), far, 0), std::invalid_argument,
                       "Invalid pixel position.");
}

TEST(StackInfoImpInitialize, ReportsAllButLengthsAndOffsets) {
    StackInfoImp source = make_source();
    source.set_timestamp(Timestamp(std::chrono::nanoseconds(9)));
    source.set_col_positions(1, {1, 2, 4, 8});
    source.set_data_units(units::RuntimeValue("V"));
    Info info(types::uint8, {6, 4});
    info.initialize(source, Region({6, 4}), nullptr);
    EXPECT_EQ(info.masks, (std::vector<unsigned int>{0x40, 0x2, 0x10001, 0x2, 0x4}));
    EXPECT_EQ(info.lengths(), (Numbers{12.0, 8.0}));
}

TEST(StackInfoImpInitialize, OfALockedDescriptionThrows) {
    StackInfoImp const source = make_source();
    Info info(types::uint8, {6, 4});
    info.locked_ = true;
    VEXA_EXPECT_THROWS(info.initialize(source, Region({6, 4}), nullptr), std::runtime_error,
                       "Cannot set values: Object locked.");
    EXPECT_EQ(info.lengths(), (Numbers{6.0, 4.0}));
}

TEST(StackInfoImpInitialize, KeepsTheColumnsThatNothingMovesTo) {
    StackInfoImp source = make_source();
    source.set_col_labels(0, {"a", "b", "c", "d", "e", "f"});
    Info info(types::uint8, {8, 2});
    info.set_col_labels(0, {"1", "2", "3", "4", "5", "6", "7", "8"});
    Region const destination(Region({8, 2}), Slice{{0, 3, 1}, {0, 2, 1}});
    info.initialize(source, part_of_source(), &destination);
    EXPECT_EQ(info.col_labels(0), (Texts{"b", "d", "f", "4", "5", "6", "7", "8"}));
}
