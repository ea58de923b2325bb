#include <vexa/arrays/StackInfoImp.h>

#include <cmath>
#include <cstdint>
#include <future>
#include <limits>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

#include <vexa/foundation/types.h>
#include <vexa/testing/expect_throws.h>

using namespace Vexa;
using namespace Vexa::arrays;
using Vexa::units::RuntimeValue;

namespace {

double const not_a_number = std::numeric_limits<double>::quiet_NaN();

/// A description that notes what it reports, with the doors open that a derived stack has.
class Info : public StackInfoImp {
public:
    using StackInfoImp::StackInfoImp;
    Info(Info&&) = default;

    void signal_info_changed(unsigned int mask) override {
        masks.push_back(mask);
        if (on_signal) on_signal();
    }

    using StackInfoImp::lengths_;
    using StackInfoImp::locked_;
    using StackInfoImp::set_last_axis;
    using StackInfoImp::set_shape;
    using StackInfoImp::units_;

    std::vector<unsigned int> masks;
    std::function<void()> on_signal;
};

using Masks = std::vector<unsigned int>;
using Shape = std::vector<std::size_t>;
using Numbers = std::vector<double>;
using Texts = std::vector<std::string>;
using Points = std::vector<std::pair<double, double>>;

Info make_info(Shape const& shape = {3, 2}) { return Info(types::uint16, shape); }

RuntimeValue unit(char const* text, double factor = 1.0) {
    RuntimeValue value;
    value.set_value(text, factor);
    return value;
}

} // namespace

TEST(ElementCount, OfNoAxesIsZero) { EXPECT_EQ(arrays::detail::get_product({}), 0u); }

TEST(ElementCount, IsTheProduct) {
    EXPECT_EQ(arrays::detail::get_product({7}), 7u);
    EXPECT_EQ(arrays::detail::get_product({2, 3, 4}), 24u);
    EXPECT_EQ(arrays::detail::get_product({2, 0, 4}), 0u);
    EXPECT_EQ(arrays::detail::get_product({SIZE_MAX}), SIZE_MAX);
    EXPECT_EQ(arrays::detail::get_product({std::size_t{1} << 32, (std::size_t{1} << 32) - 1}),
              0xFFFFFFFF00000000u);
}

TEST(ElementCount, BeyondSixtyFourBitsThrows) {
    VEXA_EXPECT_THROWS(arrays::detail::get_product({std::size_t{1} << 62, 4}), std::runtime_error,
                       "The product exceeds the maximum size.");
    VEXA_EXPECT_THROWS(arrays::detail::get_product({std::size_t{1} << 32, std::size_t{1} << 32, 0}),
                       std::runtime_error, "The product exceeds the maximum size.");
    EXPECT_EQ(arrays::detail::get_product({0, SIZE_MAX, SIZE_MAX}), 0u);
}

TEST(StackInfoImp, StartsWithTheDefaultsOfTypeAndShape) {
    Info const info = make_info({4, 5});
    EXPECT_EQ(info.type(), 4);
    EXPECT_EQ(info.shape(), (Shape{4, 5}));
    EXPECT_EQ(info.number_of_elements(), 20u);
    EXPECT_EQ(info.lengths(), (Numbers{4.0, 5.0}));
    EXPECT_EQ(info.offsets(), (Numbers{-0.5, -0.5}));
    EXPECT_EQ(info.labels(), (Texts{"", ""}));
    EXPECT_EQ(info.name(), "");
    EXPECT_EQ(info.description(), "");
    EXPECT_EQ(info.timestamp().time_since_epoch().count(), 0);
    EXPECT_TRUE(info.tag_keys().empty());
    EXPECT_EQ(info.stack_position(), StackPosition());
    for (std::size_t axis : {0u, 1u}) {
        EXPECT_TRUE(info.is_equidistant(axis));
        EXPECT_TRUE(info.col_labels(axis).empty());
        EXPECT_TRUE(info.xy_col_positions(axis).empty());
        EXPECT_EQ(info.units(axis), RuntimeValue());
    }
    EXPECT_EQ(info.data_units(), RuntimeValue());
}

TEST(StackInfoImp, HasNoElementsWithoutAxesAndWithAnEmptyAxis) {
    EXPECT_EQ(make_info({}).number_of_elements(), 0u);
    EXPECT_EQ(make_info({3, 0}).number_of_elements(), 0u);
    EXPECT_EQ(make_info({0, SIZE_MAX, SIZE_MAX}).lengths().size(), 3u);
}

TEST(StackInfoImp, TakesAnyRank) {
    for (std::size_t rank = 0; rank <= 20; ++rank) {
        Info info = make_info(Shape(rank, 2));
        EXPECT_EQ(info.number_of_elements(), rank == 0 ? 0u : std::size_t{1} << rank);
        EXPECT_EQ(info.lengths().size(), rank);
        VEXA_EXPECT_THROWS(info.set_length(rank, 1.0), std::invalid_argument, "Invalid axis specified.");
    }
}

TEST(StackInfoImp, RefusesAShapeBeyondSixtyFourBits) {
    VEXA_EXPECT_THROWS(make_info({std::size_t{1} << 62, 4}), std::runtime_error,
                       "The product exceeds the maximum size.");
}

TEST(StackInfoImpSetter, ReportsItsMaskOnceAndNothingForAnEqualValue) {
    struct Case {
        char const* name;
        std::function<void(Info&)> set;
        unsigned int mask;
    };
    Case const cases[] = {
        {"length", [](Info& i) { i.set_length(1, 7.0); }, 0x1},
        {"lengths",
         [](Info& i) {
             i.set_lengths({8.0, 9.0});
         },
         0x1},
        {"offset", [](Info& i) { i.set_offset(1, 7.0); }, 0x4},
        {"offsets",
         [](Info& i) {
             i.set_offsets({8.0, 9.0});
         },
         0x1},
        {"units", [](Info& i) { i.set_units(0, unit("m")); }, 0x1},
        {"data units", [](Info& i) { i.set_data_units(unit("V")); }, 0x4},
        {"column labels",
         [](Info& i) {
             i.set_col_labels(1, {"a", "b"});
         },
         0x1},
        {"label", [](Info& i) { i.set_label(0, "l"); }, 0x2},
        {"labels",
         [](Info& i) {
             i.set_labels({"p", "q"});
         },
         0x2},
        {"name", [](Info& i) { i.set_name("n"); }, 0x10},
        {"description", [](Info& i) { i.set_description("d"); }, 0x20},
        {"timestamp", [](Info& i) { i.set_timestamp(Timestamp(std::chrono::nanoseconds(5))); }, 0x40},
        {"column positions of axis 0",
         [](Info& i) {
             i.set_col_positions(0, {1, 2, 4});
         },
         0x1},
        {"column positions of axis 1",
         [](Info& i) {
             i.set_col_positions(1, {1, 2});
         },
         0x10001},
        {"xy positions",
         [](Info& i) {
             i.set_xy_col_positions(1, {{1, 2}, {3, 4}});
         },
         0x10001},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        Info info = make_info();
        c.set(info);
        EXPECT_EQ(info.masks, (Masks{c.mask}));
        c.set(info);
        EXPECT_EQ(info.masks.size(), 1u);
    }
}

TEST(StackInfoImpSetter, StoresTheValue) {
    Info info = make_info();
    info.set_name("näme");
    info.set_description("text");
    info.set_timestamp(Timestamp(std::chrono::nanoseconds(1234567890123456789)));
    info.set_label(1, "l");
    info.set_length(0, 2.5);
    info.set_offset(1, -3.0);
    info.set_units(1, unit("s"));
    info.set_data_units(unit("V", 2.0));
    info.set_col_labels(1, {"a", "b"});
    info.set_xy_col_positions(1, {{1, 2}, {3, 4}});
    EXPECT_EQ(info.name(), "näme");
    EXPECT_EQ(info.description(), "text");
    EXPECT_EQ(info.timestamp().time_since_epoch().count(), 1234567890123456789);
    EXPECT_EQ(info.labels(), (Texts{"", "l"}));
    EXPECT_EQ(info.label(1), "l");
    EXPECT_EQ(info.length(0), 2.5);
    EXPECT_EQ(info.offset(1), -3.0);
    EXPECT_EQ(info.units(1), unit("s"));
    EXPECT_EQ(info.data_units().value, 2.0);
    EXPECT_EQ(info.col_labels(1), (Texts{"a", "b"}));
    EXPECT_EQ(info.xy_col_positions(1), (Points{{1, 2}, {3, 4}}));
}

TEST(StackInfoImpSetter, OfTheCurrentTimeTakesTheClock) {
    Info info = make_info();
    auto const before = std::chrono::system_clock::now();
    info.set_timestamp();
    EXPECT_GE(info.timestamp(), before);
    EXPECT_LE(info.timestamp(), std::chrono::system_clock::now());
    EXPECT_EQ(info.masks, (Masks{0x40}));
}

TEST(StackInfoImpSetter, OfAStackPositionReportsEveryCall) {
    Info info = make_info();
    info.set_stack_position({});
    info.set_stack_position({});
    EXPECT_EQ(info.masks, (Masks{0x80, 0x80}));
}

TEST(StackInfoImpSetter, OfLengthsAndOffsetsAlwaysWritesNan) {
    Info info = make_info();
    info.set_length(0, not_a_number);
    info.set_length(0, not_a_number);
    info.set_offset(0, not_a_number);
    info.set_offset(0, not_a_number);
    info.set_lengths({not_a_number, 2.0});
    info.set_offsets({not_a_number, -0.5});
    info.set_lengths({1.0, 2.0});
    EXPECT_EQ(info.masks, (Masks{0x1, 0x1, 0x4, 0x4, 0x1, 0x1, 0x1}));
    EXPECT_EQ(info.length(0), 1.0);
    EXPECT_TRUE(std::isnan(info.offset(0)));
}

TEST(StackInfoImpSetter, OfVectorsOfAnotherSizeChangesTheEntriesThatExist) {
    Info info = make_info();
    info.set_lengths({9.0});
    EXPECT_EQ(info.lengths(), (Numbers{9.0, 2.0}));
    info.set_lengths({9.0, 8.0, 7.0});
    EXPECT_EQ(info.lengths(), (Numbers{9.0, 8.0}));
    info.set_lengths({9.0, 8.0, 6.0});
    info.set_lengths({});
    info.set_offsets({1.0, 2.0, 3.0});
    EXPECT_EQ(info.offsets(), (Numbers{1.0, 2.0}));
    info.set_labels({"a"});
    info.set_labels({"a", "b", "c"});
    info.set_labels({"a", "b", "d"});
    EXPECT_EQ(info.labels(), (Texts{"a", "b"}));
    EXPECT_EQ(info.masks, (Masks{0x1, 0x1, 0x1, 0x2, 0x2}));
}

TEST(StackInfoImpSetter, TakesItsOwnValuesAsArguments) {
    Info info = make_info();
    info.set_labels({"a", "b"});
    info.set_labels(info.labels());
    info.set_lengths(info.lengths());
    info.set_col_positions(0, info.col_positions(0));
    EXPECT_FALSE(info.is_equidistant(0));
    EXPECT_EQ(info.masks, (Masks{0x2}));
}

TEST(StackInfoImpSetter, OfAnInvalidAxisThrows) {
    Info info = make_info();
    Info const& read = info;
    std::size_t const axes[] = {2, SIZE_MAX};
    for (std::size_t const axis : axes) {
        std::function<void()> const calls[] = {
            [&] { info.set_length(axis, 1); },
            [&] { info.set_offset(axis, 1); },
            [&] { info.set_label(axis, "x"); },
            [&] { info.set_units(axis, unit("m")); },
            [&] { info.set_col_labels(axis, {}); },
            [&] { info.set_col_positions(axis, {}); },
            [&] { info.set_xy_col_positions(axis, {}); },
            [&] { read.length(axis); },
            [&] { read.offset(axis); },
            [&] { read.label(axis); },
            [&] { read.units(axis); },
            [&] { read.is_equidistant(axis); },
            [&] { read.col_labels(axis); },
            [&] { read.col_positions(axis); },
            [&] { read.col_position(axis, 0); },
            [&] { read.xy_col_positions(axis); },
            [&] { read.throw_if_invalid_axis(axis); },
        };
        for (auto const& call : calls)
            VEXA_EXPECT_THROWS(call(), std::invalid_argument, "Invalid axis specified.");
    }
    EXPECT_TRUE(info.masks.empty());
}

TEST(StackInfoImpSetter, OfALockedDescriptionThrowsBeforeAllOtherChecks) {
    Info info = make_info();
    info.set_tag("k", JSON::Value("before"));
    info.locked_ = true;
    std::function<void()> const calls[] = {
        [&] { info.set_name("x"); },
        [&] { info.set_description("x"); },
        [&] { info.set_timestamp(); },
        [&] { info.set_timestamp(Timestamp()); },
        [&] { info.set_lengths({}); },
        [&] { info.set_offsets({}); },
        [&] { info.set_labels({}); },
        [&] { info.set_stack_position({}); },
        [&] { info.set_col_labels(9, {"x"}); },
        [&] { info.set_col_positions(9, {1}); },
        [&] {
            info.set_xy_col_positions(9, {{1, 1}});
        },
        [&] { info.set_length(9, 1); },
        [&] { info.set_offset(9, 1); },
        [&] { info.set_label(9, "x"); },
        [&] { info.set_units(9, unit("m")); },
        [&] { info.set_data_units(unit("m")); },
        [&] { info.throw_if_locked(); },
    };
    for (auto const& call : calls)
        VEXA_EXPECT_THROWS(call(), std::runtime_error, "Cannot set values: Object locked.");
    info.set_tag("k", JSON::Value("after"));
    info.tag("other");
    EXPECT_EQ(info.tag_keys(), (Texts{"k", "other"}));
    EXPECT_TRUE(info.masks.empty());
}

TEST(StackInfoImpColumnLabels, OfTheWrongNumberThrow) {
    Info info = make_info();
    VEXA_EXPECT_THROWS(info.set_col_labels(0, {"a"}), std::invalid_argument, "Wrong number of labels.");
    VEXA_EXPECT_THROWS(info.set_col_labels(0, Texts(4)), std::invalid_argument, "Wrong number of labels.");
    EXPECT_TRUE(info.col_labels(0).empty());
}

TEST(StackInfoImpColumnLabels, AreClearedByAnEmptyVectorWithoutAReport) {
    Info info = make_info();
    info.set_col_labels(0, {"a", "b", "c"});
    info.masks.clear();
    info.set_col_labels(0, {});
    EXPECT_TRUE(info.col_labels(0).empty());
    EXPECT_TRUE(info.masks.empty());
}

TEST(StackInfoImpColumnPositions, AreCentredOnTheOffset) {
    Info const info = make_info({4, 3});
    EXPECT_EQ(info.col_positions(0), (Numbers{-2.0, -1.0, 0.0, 1.0}));
    EXPECT_EQ(info.col_positions(1), (Numbers{-1.5, -0.5, 0.5}));
}

TEST(StackInfoImpColumnPositions, AreSummedUpStepByStep) {
    Info info = make_info({3});
    info.set_length(0, 0.3);
    info.set_offset(0, 0.0);
    double const step = 0.3 / 3.0;
    double const first = 0.0 - 0.3 * 0.5 + 0.5 * step;
    EXPECT_EQ(info.col_positions(0), (Numbers{first, first + step, first + step + step}));
}

TEST(StackInfoImpColumnPositions, StayAsGeneratedWhenTheLengthChanges) {
    Info info = make_info({2});
    EXPECT_EQ(info.col_positions(0), (Numbers{-1.0, 0.0}));
    info.set_length(0, 20.0);
    info.set_offset(0, 100.0);
    EXPECT_EQ(info.col_positions(0), (Numbers{-1.0, 0.0}));
}

TEST(StackInfoImpColumnPositions, OfAnEmptyAxisAreEmpty) {
    Info const info = make_info({0, 1});
    EXPECT_TRUE(info.col_positions(0).empty());
    EXPECT_EQ(info.col_positions(1), (Numbers{-0.5}));
}

TEST(StackInfoImpColumnPositions, GivenExplicitlyEndEquidistance) {
    Info info = make_info();
    info.set_col_positions(0, {5, 6, 9});
    EXPECT_FALSE(info.is_equidistant(0));
    EXPECT_TRUE(info.is_equidistant(1));
    EXPECT_EQ(info.col_positions(0), (Numbers{5, 6, 9}));
    EXPECT_EQ(info.col_position(0, 2), 9.0);
    info.set_col_positions(0, {});
    EXPECT_TRUE(info.is_equidistant(0));
    EXPECT_EQ(info.col_positions(0), (Numbers{-1.5, -0.5, 0.5}));
    EXPECT_EQ(info.masks, (Masks{0x1, 0x1}));
}

TEST(StackInfoImpColumnPositions, EqualToTheGeneratedOnesEndEquidistanceWithoutAReport) {
    Info info = make_info({2});
    info.col_positions(0);
    info.set_col_positions(0, {-1.0, 0.0});
    EXPECT_FALSE(info.is_equidistant(0));
    EXPECT_TRUE(info.masks.empty());
}

TEST(StackInfoImpColumnPositions, OfTheWrongNumberThrowAndChangeNothing) {
    Info info = make_info();
    VEXA_EXPECT_THROWS(info.set_col_positions(0, {1, 2}), std::invalid_argument,
                       "Wrong number of positions.");
    VEXA_EXPECT_THROWS(info.set_xy_col_positions(0, {{1, 2}}), std::invalid_argument,
                       "Wrong number of positions.");
    EXPECT_TRUE(info.is_equidistant(0));
    EXPECT_TRUE(info.masks.empty());
}

TEST(StackInfoImpColumnPositions, OfAnAxisThatChangedItsSizeAreMadeAnewOrDropped) {
    Info info = make_info({2, 2});
    info.col_positions(0);
    info.set_col_positions(1, {4, 5});
    info.set_xy_col_positions(1, {{1, 2}, {3, 4}});
    info.set_shape({3, 3});
    EXPECT_EQ(info.col_positions(0).size(), 3u);
    VEXA_EXPECT_THROWS(info.col_position(1, 2), std::invalid_argument, "Invalid pixel position.");
    EXPECT_TRUE(info.col_positions(1).empty());
    EXPECT_TRUE(info.xy_col_positions(1).empty());
    VEXA_EXPECT_THROWS(info.col_position(1, 0), std::invalid_argument, "Invalid pixel position.");
}

TEST(StackInfoImpColumnPositions, InAPlaneLeaveEquidistanceAlone) {
    Info info = make_info();
    info.set_xy_col_positions(0, {{1, 2}, {3, 4}, {5, 6}});
    EXPECT_TRUE(info.is_equidistant(0));
    info.set_xy_col_positions(0, {});
    EXPECT_TRUE(info.xy_col_positions(0).empty());
    EXPECT_EQ(info.masks, (Masks{0x1, 0x1}));
}

TEST(StackInfoImpColumnPosition, TakesTheOffsetAsTheLowerEdge) {
    Info info = make_info({4});
    for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(info.col_position(0, i), static_cast<double>(i));
    info.set_length(0, 2.0);
    info.set_offset(0, 10.0);
    EXPECT_EQ(info.col_position(0, 3), 11.75);
}

TEST(StackInfoImpColumnPosition, OutsideTheAxisThrows) {
    Info const info = make_info({4, 0});
    VEXA_EXPECT_THROWS(info.col_position(0, 4), std::invalid_argument, "Invalid pixel position.");
    VEXA_EXPECT_THROWS(info.col_position(0, SIZE_MAX), std::invalid_argument, "Invalid pixel position.");
    VEXA_EXPECT_THROWS(info.col_position(1, 0), std::invalid_argument, "Invalid pixel position.");
}

TEST(StackInfoImpUnits, FollowTheLastLetterOfTheLabel) {
    struct Case {
        char const* label;
        double length;
        RuntimeValue expected;
    };
    Case const cases[] = {
        {"ExpControl X", 1000.0, unit("m", 1e-6)},
        {"Y", 0.001, unit("m")},
        {"Z", 0.01, unit("m")},
        {"Z", 0.010000001, unit("m", 1e-6)},
        {"X", not_a_number, unit("m")},
        {"T", 1000.0, unit("s")},
        {"x", 1000.0, RuntimeValue()},
        {"X ", 1000.0, RuntimeValue()},
        {"", 1000.0, RuntimeValue()},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.label);
        Info info = make_info({1});
        info.set_label(0, c.label);
        info.set_length(0, c.length);
        info.masks.clear();
        EXPECT_EQ(info.units(0), c.expected);
        EXPECT_EQ(info.units(0).value, c.expected.value);
        EXPECT_TRUE(info.masks.empty());
    }
}

TEST(StackInfoImpUnits, AreStoredAtTheFirstLookAndStay) {
    Info info = make_info({1});
    info.set_label(0, "X");
    info.set_length(0, 1000.0);
    EXPECT_TRUE(info.units_[0].is_dimensionless());
    EXPECT_EQ(info.units(0).value, 1e-6);
    EXPECT_FALSE(info.units_[0].is_dimensionless());
    info.set_label(0, "T");
    info.set_length(0, 0.001);
    EXPECT_EQ(info.units(0), unit("m", 1e-6));
}

TEST(StackInfoImpUnits, ThatWereSetAreLeftAlone) {
    Info info = make_info({1});
    info.set_label(0, "X");
    info.set_units(0, unit("V"));
    EXPECT_EQ(info.units(0), unit("V"));
}

TEST(StackInfoImpTag, OfAMissingKeyThrowsWhenConstAndIsMadeOtherwise) {
    Info info = make_info();
    Info const& read = info;
    VEXA_EXPECT_THROWS(read.tag("k"), std::out_of_range, "map::at");
    EXPECT_TRUE(info.tag_keys().empty());
    EXPECT_EQ(info.tag("k").index(), 0u);
    EXPECT_EQ(read.tag("k").index(), 0u);
    EXPECT_EQ(info.tag_keys(), (Texts{"k"}));
    EXPECT_TRUE(info.masks.empty());
}

TEST(StackInfoImpTag, IsReplacedAndListedInOrderOfTheKeys) {
    Info info = make_info();
    info.set_tag("b", JSON::Value("one"));
    info.set_tag("b", JSON::Value("two"));
    info.set_tag("a", VProp());
    info.set_tag("", VProp());
    EXPECT_EQ(info.tag_keys(), (Texts{"", "a", "b"}));
    EXPECT_EQ(std::get<JSON::Value>(info.tag("b")), JSON::Value("two"));
}

TEST(StackInfoImpDeferring, ReportsAllMasksOnceAtTheOutermostEnd) {
    Info info = make_info();
    for (int i = 0; i < 3; ++i) info.beg_defer_info_update_signals();
    info.set_name("n");
    info.set_length(0, 9);
    info.set_offset(0, 9);
    info.end_defer_info_update_signals(true);
    info.end_defer_info_update_signals(false);
    EXPECT_TRUE(info.masks.empty());
    info.end_defer_info_update_signals(true);
    EXPECT_EQ(info.masks, (Masks{0x15}));
    info.end_defer_info_update_signals(true);
    info.set_name("m");
    EXPECT_EQ(info.masks, (Masks{0x15, 0x10}));
}

TEST(StackInfoImpDeferring, WithoutChangesReportsNothing) {
    Info info = make_info();
    info.beg_defer_info_update_signals();
    info.set_name("");
    info.end_defer_info_update_signals(true);
    EXPECT_TRUE(info.masks.empty());
}

TEST(StackInfoImpDeferring, LetsAListenerChangeTheDescriptionDirectly) {
    Info info = make_info();
    info.on_signal = [&info] { info.set_description("d"); };
    info.beg_defer_info_update_signals();
    info.set_name("n");
    info.end_defer_info_update_signals(true);
    EXPECT_EQ(info.masks, (Masks{0x10, 0x20}));
}

TEST(StackInfoImpDeferring, LetsAListenerDeferChangesOfItsOwn) {
    Info info = make_info();
    info.on_signal = [&info] {
        info.beg_defer_info_update_signals();
        info.set_description("d");
        info.set_label(0, "l");
        info.end_defer_info_update_signals(true);
    };
    info.beg_defer_info_update_signals();
    info.set_name("n");
    info.end_defer_info_update_signals(true);
    EXPECT_EQ(info.masks, (Masks{0x10, 0x22}));
}

TEST(StackInfoImpCopy, TakesTheWholeDescription) {
    Info source = make_info({3, 2});
    source.set_name("n");
    source.set_description("d");
    source.set_timestamp(Timestamp(std::chrono::nanoseconds(77)));
    source.set_lengths({1.5, not_a_number});
    source.set_offsets({4.0, 5.0});
    source.set_labels({"plain", "StageX"});
    source.set_col_labels(0, {"a", "b", "c"});
    source.set_units(0, unit("V", 3.0));
    source.set_col_positions(1, {7, 9});
    source.set_xy_col_positions(0, {{1, 2}, {3, 4}, {5, 6}});
    source.set_data_units(unit("A"));
    source.set_tag("json", JSON::Value("j"));
    source.set_tag("prop", VProp(5));
    source.safe_tags().lock()->emplace("safe", Tag());
    source.locked_ = true;

    StackInfoImp const copy(source, 0);
    EXPECT_EQ(copy.type(), 4);
    EXPECT_EQ(copy.shape(), (Shape{3, 2}));
    EXPECT_EQ(copy.name(), "n");
    EXPECT_EQ(copy.description(), "d");
    EXPECT_EQ(copy.timestamp().time_since_epoch().count(), 77);
    EXPECT_EQ(copy.length(0), 1.5);
    EXPECT_TRUE(std::isnan(copy.length(1)));
    EXPECT_EQ(copy.offsets(), (Numbers{4.0, 5.0}));
    EXPECT_EQ(copy.labels(), (Texts{"plain", "StageX"}));
    EXPECT_EQ(copy.col_labels(0), (Texts{"a", "b", "c"}));
    EXPECT_EQ(copy.units(0), unit("V", 3.0));
    EXPECT_EQ(copy.units(1), unit("m"));
    EXPECT_TRUE(copy.is_equidistant(0));
    EXPECT_FALSE(copy.is_equidistant(1));
    EXPECT_EQ(copy.col_positions(1), (Numbers{7, 9}));
    EXPECT_EQ(copy.xy_col_positions(0), (Points{{1, 2}, {3, 4}, {5, 6}}));
    EXPECT_EQ(copy.data_units(), unit("A"));
    EXPECT_EQ(copy.tag_keys(), (Texts{"json", "prop"}));
    copy.throw_if_locked();
    EXPECT_TRUE(const_cast<StackInfoImp&>(copy).safe_tags().lock()->empty());
}

TEST(StackInfoImpCopy, TakesAnotherType) {
    EXPECT_EQ(StackInfoImp(make_info(), types::single).type(), 0x40);
    EXPECT_EQ(StackInfoImp(make_info(), 0).type(), 4);
}

TEST(StackInfoImpCopy, DoesNotRememberGeneratedPositions) {
    Info source = make_info({2});
    source.col_positions(0);
    source.set_length(0, 20.0);
    StackInfoImp const copy(source, 0);
    EXPECT_EQ(source.col_positions(0), (Numbers{-1.0, 0.0}));
    EXPECT_EQ(copy.col_positions(0), (Numbers{-5.5, 4.5}));
}

TEST(StackInfoImpCopy, HasTagsOfItsOwn) {
    Info source = make_info();
    source.set_tag("json", JSON::Value("j"));
    source.set_tag("prop", VProp(5));
    StackInfoImp copy(source, 0);
    std::get<JSON::Value>(copy.tag("json")) = JSON::Value("changed");
    std::get<VProp>(copy.tag("prop")) = VProp(6);
    copy.set_tag("new", VProp());
    EXPECT_EQ(std::get<JSON::Value>(source.tag("json")), JSON::Value("j"));
    EXPECT_EQ(std::get<VProp>(source.tag("prop")), VProp(5));
    EXPECT_EQ(source.tag_keys(), (Texts{"json", "prop"}));
}

TEST(StackInfoImpMove, TakesEveryFieldWithTheLock) {
    Info source = make_info({3, 2});
    source.set_name("n");
    source.set_col_positions(1, {7, 9});
    source.set_tag("k", JSON::Value("v"));
    source.safe_tags().lock()->emplace("safe", Tag(JSON::Value("s")));
    source.beg_defer_info_update_signals();
    source.set_label(0, "l");
    source.locked_ = true;

    Info moved(std::move(source));
    EXPECT_EQ(moved.name(), "n");
    EXPECT_EQ(moved.shape(), (Shape{3, 2}));
    EXPECT_EQ(moved.number_of_elements(), 6u);
    EXPECT_EQ(moved.col_positions(1), (Numbers{7, 9}));
    EXPECT_EQ(std::get<JSON::Value>(moved.tag("k")), JSON::Value("v"));
    EXPECT_EQ(std::get<JSON::Value>(*moved.safe_tags().lock()->at("safe").lock()), JSON::Value("s"));
    VEXA_EXPECT_THROWS(moved.throw_if_locked(), std::runtime_error, "Cannot set values: Object locked.");
    moved.masks.clear();
    moved.end_defer_info_update_signals(true);
    EXPECT_EQ(moved.masks, (Masks{0x2}));
}

TEST(StackInfoImpSafeTags, MayBeUsedByTwoThreads) {
    Info info = make_info();
    auto const work = [&info](std::string const& key) {
        for (int i = 0; i < 100; ++i) {
            auto const tags = info.safe_tags().lock();
            *(*tags)[key].lock() = JSON::Value("x");
            *(*tags)["shared"].lock() = JSON::Value(key);
        }
    };
    std::thread first(work, "a");
    std::thread second(work, "b");
    first.join();
    second.join();
    EXPECT_EQ(info.safe_tags().lock()->size(), 3u);
}

TEST(StackInfoImpSafeTags, AreDestroyedWhenTheirHolderIsDone) {
    std::optional<Info> info(make_info());
    std::promise<void> locked;
    bool finished = false;
    std::thread holder([&locked, &finished, &tags = info->safe_tags()] {
        auto const held = tags.lock();
        locked.set_value();
        for (int i = 0; i < 100; ++i) std::this_thread::yield();
        held->emplace("k", Tag());
        finished = true;
    });
    locked.get_future().wait();
    info.reset();
    EXPECT_TRUE(finished);
    holder.join();
}

TEST(StackInfoImpDerived, ChangesTheShapeAlsoWhenLocked) {
    Info info = make_info({3, 2});
    info.set_offset(0, 1.0);
    info.set_label(1, "second");
    info.masks.clear();
    info.locked_ = true;
    info.set_shape({3, 4, 5});
    EXPECT_EQ(info.number_of_elements(), 60u);
    EXPECT_EQ(info.lengths(), (Numbers{3.0, 2.0, 1.0}));
    EXPECT_EQ(info.offsets(), (Numbers{1.0, -0.5, -0.5}));
    EXPECT_EQ(info.labels(), (Texts{"", "second", ""}));
    EXPECT_TRUE(info.is_equidistant(2));
    EXPECT_TRUE(info.col_labels(2).empty());
    EXPECT_EQ(info.units(2), RuntimeValue());
    info.set_shape({});
    EXPECT_EQ(info.number_of_elements(), 0u);
    EXPECT_TRUE(info.lengths().empty());
    EXPECT_TRUE(info.masks.empty());
}

TEST(StackInfoImpDerived, KeepsAllWhenTheNewShapeIsTooLarge) {
    Info info = make_info({3, 2});
    VEXA_EXPECT_THROWS(info.set_shape({SIZE_MAX, 2, 1}), std::runtime_error,
                       "The product exceeds the maximum size.");
    VEXA_EXPECT_THROWS(info.set_last_axis(SIZE_MAX, 1.0), std::runtime_error,
                       "The product exceeds the maximum size.");
    EXPECT_EQ(info.shape(), (Shape{3, 2}));
    EXPECT_EQ(info.number_of_elements(), 6u);
    EXPECT_EQ(info.lengths(), (Numbers{3.0, 2.0}));
}

TEST(StackInfoImpDerived, GrowsItsLastAxisAlsoWhenLocked) {
    Info info = make_info({3, 0});
    info.locked_ = true;
    info.set_last_axis(4, 2.0);
    info.set_last_axis(5, 2.0);
    EXPECT_EQ(info.shape(), (Shape{3, 5}));
    EXPECT_EQ(info.number_of_elements(), 15u);
    EXPECT_EQ(info.lengths(), (Numbers{3.0, 2.0}));
    EXPECT_EQ(info.masks, (Masks{0x1}));
    Info flat = make_info({});
    flat.set_last_axis(4, 2.0);
    EXPECT_EQ(flat.number_of_elements(), 0u);
    Info line = make_info({0});
    line.set_last_axis(SIZE_MAX, 2.0);
    EXPECT_EQ(line.number_of_elements(), SIZE_MAX);
}
