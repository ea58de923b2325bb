#include "region.h"

#include <limits>

#include <gmock/gmock.h>

#include "image_testing.h"

namespace Vexa::tool {
namespace {

using ::testing::ElementsAre;

AxisRange all(std::uint64_t n) { return {0, n, 1, false}; }
AxisRange one(std::uint64_t i) { return {i, 1, 1, true}; }

TEST(Region, EmptyTextTakesEverything) {
    EXPECT_THAT(parse_region("", {5, 4}), ElementsAre(all(5), all(4)));
    EXPECT_THAT(parse_region("[]", {5, 4}), ElementsAre(all(5), all(4)));
}

TEST(Region, SlowestAxisComesFirst) {
    EXPECT_THAT(parse_region("3, :, 100:200", {512, 256, 64}),
                ElementsAre(AxisRange{100, 100}, all(256), one(3)));
    EXPECT_THAT(parse_region("[3,:,100:200]", {512, 256, 64}),
                ElementsAre(AxisRange{100, 100}, all(256), one(3)));
}

TEST(Region, AxesNotNamedAreTakenWhole) {
    EXPECT_THAT(parse_region("2", {5, 4, 3}), ElementsAre(all(5), all(4), one(2)));
}

TEST(Region, DotsStandForTheAxesBetween) {
    EXPECT_THAT(parse_region("..., 1", {5, 4, 3}), ElementsAre(one(1), all(4), all(3)));
    EXPECT_THAT(parse_region("0, ..., 1", {5, 4, 3}), ElementsAre(one(1), all(4), one(0)));
    EXPECT_THAT(parse_region("0, 1, 2, ...", {5, 4, 3}), ElementsAre(one(2), one(1), one(0)));
    EXPECT_THAT(parse_region("...", {}), ElementsAre());
}

TEST(Region, NegativeNumbersCountFromTheEnd) {
    EXPECT_THAT(parse_region("-1", {5}), ElementsAre(one(4)));
    EXPECT_THAT(parse_region("-5", {5}), ElementsAre(one(0)));
    EXPECT_THAT(parse_region("-3:-1", {5}), ElementsAre(AxisRange{2, 2}));
    EXPECT_THAT(parse_region("-9:", {5}), ElementsAre(all(5)));
}

TEST(Region, EndsAreCutToTheAxis) {
    EXPECT_THAT(parse_region("3:99", {5}), ElementsAre(AxisRange{3, 2}));
    EXPECT_THAT(parse_region("7:9", {5}), ElementsAre(AxisRange{5, 0}));
    EXPECT_THAT(parse_region("3:1", {5}), ElementsAre(AxisRange{3, 0}));
}

TEST(Region, StepsCountWhatTheyTake) {
    EXPECT_THAT(parse_region("::2", {5}), ElementsAre(AxisRange{0, 3, 2}));
    EXPECT_THAT(parse_region("1:5:2", {5}), ElementsAre(AxisRange{1, 2, 2}));
    EXPECT_THAT(parse_region("::9223372036854775807", {5}),
                ElementsAre(AxisRange{0, 1, 9223372036854775807ull}));
}

TEST(Region, WhatMakesNoSenseIsRefused) {
    VEXA_EXPECT_FAILURE(parse_region("1,2", {5}), Exit::wrong_use,
                        "The region names 2 axes and the stack has 1.");
    VEXA_EXPECT_FAILURE(parse_region("5", {5}), Exit::wrong_use, "The index 5 lies outside of an axis of 5.");
    VEXA_EXPECT_FAILURE(parse_region("-6", {5}), Exit::wrong_use,
                        "The index -6 lies outside of an axis of 5.");
    VEXA_EXPECT_FAILURE(parse_region("-9223372036854775808", {5}), Exit::wrong_use,
                        "The index -9223372036854775808 lies outside of an axis of 5.");
    VEXA_EXPECT_FAILURE(parse_region("x", {5}), Exit::wrong_use, "\"x\" is no index or range of a region.");
    VEXA_EXPECT_FAILURE(parse_region("1,", {5, 5}), Exit::wrong_use,
                        "\"\" is no index or range of a region.");
    VEXA_EXPECT_FAILURE(parse_region("1:2:3:4", {5}), Exit::wrong_use,
                        "\"1:2:3:4\" is no index or range of a region.");
    VEXA_EXPECT_FAILURE(parse_region("::0", {5}), Exit::wrong_use, "Steps of a region must be 1 or more.");
    VEXA_EXPECT_FAILURE(parse_region("::-1", {5}), Exit::wrong_use, "Steps of a region must be 1 or more.");
    VEXA_EXPECT_FAILURE(parse_region("..., ...", {5}), Exit::wrong_use,
                        "A region may have one \"...\" only.");
    VEXA_EXPECT_FAILURE(parse_region("99999999999999999999", {5}), Exit::wrong_use,
                        "\"99999999999999999999\" is no index or range of a region.");
}

TEST(Region, ShapeLeavesSingleIndicesOut) {
    auto const region = parse_region("1, :, ::2", {5, 4, 3});
    EXPECT_THAT(region_shape(region), ElementsAre(3, 4));
    EXPECT_EQ(region_size(region), 12u);
    EXPECT_EQ(region_size(parse_region("1:1", {5})), 0u);
    EXPECT_EQ(region_size({}), 0u);
}

std::vector<std::pair<std::uint64_t, std::uint64_t>> runs(std::string_view text,
                                                          std::vector<unsigned long> const& shape) {
    std::vector<std::pair<std::uint64_t, std::uint64_t>> result;
    for_each_run(parse_region(text, shape), shape, [&](std::uint64_t position, std::uint64_t length) {
        result.emplace_back(position, length);
    });
    return result;
}

TEST(Region, RunsComeInTheOrderOfTheStack) {
    EXPECT_THAT(runs("1, 0:2, 1:4", {5, 4, 3}), ElementsAre(std::pair(21, 3), std::pair(26, 3)));
    EXPECT_THAT(runs(":, ::2, ::2", {3, 3, 2}),
                ElementsAre(std::pair(0, 3), std::pair(6, 3), std::pair(9, 3), std::pair(15, 3)));
    EXPECT_THAT(runs("3", {5}), ElementsAre(std::pair(3, 1)));
    EXPECT_THAT(runs("1:1", {5}), ElementsAre());
}

} // namespace
} // namespace Vexa::tool
