#include <vexa/foundation/box.h>

#include <cmath>
#include <limits>
#include <random>

#include <gtest/gtest.h>

using VX::Box;
using Boxes = std::vector<Box>;

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double none = std::numeric_limits<double>::quiet_NaN();
constexpr double epsilon = std::numeric_limits<double>::epsilon();

/// A box that is from low to high on x, and from 0 to 1 on the others.
Box along_x(double low, double high) { return {{low, 0, 0}, {high, 1, 1}}; }

double volume(Box const& box) {
    double product = 1;
    for (std::size_t axis = 0; axis < 3; ++axis) product *= box.high[axis] - box.low[axis];
    return product;
}

double volume(Boxes const& boxes) {
    double sum = 0;
    for (Box const& box : boxes) sum += volume(box);
    return sum;
}

bool holds(Box const& box, VX::XYZ<double> const& point) {
    for (std::size_t axis = 0; axis < 3; ++axis)
        if (point[axis] < box.low[axis] || point[axis] > box.high[axis]) return false;
    return true;
}

std::size_t count_of(Boxes const& boxes, VX::XYZ<double> const& point) {
    std::size_t count = 0;
    for (Box const& box : boxes) count += holds(box, point);
    return count;
}

/// Random boxes with whole corners from 0 to 6, so that volumes are exact. Some are sheets.
struct BoxPair : testing::TestWithParam<int> {
    std::mt19937 random{static_cast<std::mt19937::result_type>(GetParam())};

    Box box() {
        std::uniform_int_distribution<int> corner(0, 6);
        Box result;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            int const a = corner(random), b = corner(random);
            result.low[axis] = std::min(a, b);
            result.high[axis] = std::max(a, b);
        }
        return result;
    }

    /// Calls the function for the centre of every cell.
    template <typename Function>
    static void for_each_point(Function function) {
        for (int x = 0; x < 6; ++x)
            for (int y = 0; y < 6; ++y)
                for (int z = 0; z < 6; ++z) function(VX::XYZ<double>{x + 0.5, y + 0.5, z + 0.5});
    }
};

} // namespace

TEST(Xyz, HasAValueForEachAxis) {
    VX::XYZ<int> point{1, 2, 3};
    point[2] = 5;
    EXPECT_EQ(point, (VX::XYZ<int>{1, 2, 5}));
    EXPECT_EQ(point[0] + 10 * point[1], 21);
    EXPECT_EQ(VX::XYZ<double>{}, (VX::XYZ<double>{0, 0, 0}));
    static_assert(VX::Interval<int>{1, 2} != VX::Interval<int>{1, 3});
}

TEST(IsEqual, ToleratesTheTolerance) {
    EXPECT_TRUE(VX::is_equal(1, 1.5, 0.5));
    EXPECT_TRUE(VX::is_equal(-0.25, 0.25, 0.5));
    EXPECT_FALSE(VX::is_equal(1, 1.5, 0.4375));
    EXPECT_FALSE(VX::is_equal(1e308, -1e308, 1e308));
    EXPECT_TRUE(VX::is_equal(0, 0, 1e-300));
}

TEST(IsEqual, WithoutToleranceAllowsForRoundingOfTheSmallerMagnitude) {
    for (double tolerance : {0.0, -1.0, none}) {
        EXPECT_TRUE(VX::is_equal(1, 1 + 5 * epsilon, tolerance));
        EXPECT_FALSE(VX::is_equal(1, 1 + 6 * epsilon, tolerance));
        EXPECT_TRUE(VX::is_equal(-3e10 * (1 + 2 * epsilon), -3e10, tolerance));
        EXPECT_FALSE(VX::is_equal(3e10, -3e10, tolerance));
    }
    double const smallest = std::numeric_limits<double>::min();
    EXPECT_TRUE(VX::is_equal(0, smallest));
    EXPECT_FALSE(VX::is_equal(0, 2 * smallest));
    EXPECT_FALSE(VX::is_equal(0, 1e-300));
}

TEST(IsEqual, KnowsInfinityAndNoNaN) {
    EXPECT_TRUE(VX::is_equal(inf, inf));
    EXPECT_TRUE(VX::is_equal(-inf, -inf, 1));
    EXPECT_FALSE(VX::is_equal(inf, -inf));
    EXPECT_FALSE(VX::is_equal(inf, 1e308));
    EXPECT_FALSE(VX::is_equal(inf, -inf, 1e308));
    EXPECT_FALSE(VX::is_equal(none, none));
    EXPECT_FALSE(VX::is_equal(none, none, inf));
    EXPECT_FALSE(VX::is_equal(none, 0, 1));
}

TEST(BoxComplement, OfABoxInTheMiddleHasSixPieces) {
    Box const outer{{0, 0, 0}, {3, 3, 3}}, inner{{1, 1, 1}, {2, 2, 2}};
    EXPECT_EQ(VX::complement(outer, inner), (Boxes{{{0, 0, 0}, {1, 3, 3}},
                                                   {{2, 0, 0}, {3, 3, 3}},
                                                   {{1, 0, 0}, {2, 1, 3}},
                                                   {{1, 2, 0}, {2, 3, 3}},
                                                   {{1, 1, 0}, {2, 2, 1}},
                                                   {{1, 1, 2}, {2, 2, 3}}}));
    EXPECT_EQ(VX::complement(inner, outer), Boxes());
    EXPECT_EQ(VX::complement(outer, outer), Boxes());
}

TEST(BoxComplement, OfABoxBesideIsTheBox) {
    EXPECT_EQ(VX::complement(along_x(0, 1), along_x(1, 2)), Boxes{along_x(0, 1)});
    EXPECT_EQ(VX::complement(along_x(0, 1), along_x(5, 6)), Boxes{along_x(0, 1)});
    EXPECT_EQ(VX::complement(along_x(0, 2), along_x(1, 3)), Boxes{along_x(0, 1)});
}

TEST(BoxComplement, NeglectsSlicesWithinTheTolerance) {
    // What would be left, and what would be taken away.
    EXPECT_EQ(VX::complement(along_x(0, 10), along_x(0.5, 20), 0.5), Boxes());
    EXPECT_EQ(VX::complement(along_x(0, 10), along_x(0.75, 20), 0.5), Boxes{along_x(0, 0.75)});
    EXPECT_EQ(VX::complement(along_x(0, 10), along_x(-5, 0.5), 0.5), Boxes{along_x(0, 10)});
    EXPECT_EQ(VX::complement(along_x(0, 10), along_x(4, 4.5), 0.5), Boxes{along_x(0, 10)});
    EXPECT_EQ(VX::complement(along_x(1, 10), along_x(1 + 3 * epsilon, 20)), Boxes());
}

TEST(BoxComplement, OfASheetIsTakenWhereItLies) {
    Box const sheet{{0, 0, 0}, {2, 2, 0}};
    EXPECT_EQ(VX::complement(sheet, sheet), Boxes());
    EXPECT_EQ(VX::complement(sheet, {{1, 0, 0}, {3, 2, 0}}), (Boxes{{{0, 0, 0}, {1, 2, 0}}}));
    EXPECT_EQ(VX::complement(sheet, {{0, 0, -1}, {3, 2, 0}}), Boxes()); // on the face
    EXPECT_EQ(VX::complement(sheet, {{0, 0, 0.5}, {3, 2, 1}}), Boxes{sheet});
    EXPECT_EQ(VX::complement(sheet, {{0, 0, 0.5}, {3, 2, 1}}, 0.5), Boxes());
    EXPECT_EQ(VX::complement({{0, 0, -1}, {2, 2, 1}}, sheet), (Boxes{{{0, 0, -1}, {2, 2, 1}}}));
}

TEST(BoxComplement, OfAnEmptyBoxIsNothing) {
    Box const empty = along_x(2, 1);
    EXPECT_EQ(VX::complement(empty, along_x(5, 6)), Boxes());
    EXPECT_EQ(VX::complement(along_x(0, 3), empty), Boxes{along_x(0, 3)});
    EXPECT_EQ(VX::intersect(along_x(0, 3), empty), Boxes());
    EXPECT_EQ(VX::intersect(empty, along_x(0, 3)), Boxes());
    EXPECT_EQ(VX::unite(along_x(0, 3), empty), Boxes{along_x(0, 3)});
    EXPECT_EQ(VX::unite(empty, along_x(0, 3)), Boxes{along_x(0, 3)});
    EXPECT_EQ(VX::unite(empty, empty), Boxes());
}

TEST(BoxComplement, TakesACornerThatIsNaNForNoBound) {
    auto const with_z = [](double low, double high) { return Box{{0, 0, low}, {1, 1, high}}; };
    EXPECT_EQ(VX::complement(with_z(none, none), with_z(none, none)), Boxes());
    EXPECT_EQ(VX::complement(with_z(0, 1), with_z(none, none)), Boxes());
    EXPECT_EQ(VX::complement(with_z(0, 3), with_z(none, 1)), Boxes{with_z(1, 3)});
    EXPECT_EQ(VX::complement(with_z(0, 3), with_z(-inf, 1)), Boxes{with_z(1, 3)});
    EXPECT_EQ(VX::complement(with_z(-inf, inf), with_z(0, 1)), (Boxes{with_z(-inf, 0), with_z(1, inf)}));
    Boxes const pieces = VX::complement(with_z(none, none), with_z(0, 1));
    ASSERT_EQ(pieces.size(), 2u);
    EXPECT_TRUE(std::isnan(pieces[0].low.z) && pieces[0].high.z == 0);
    EXPECT_TRUE(pieces[1].low.z == 1 && std::isnan(pieces[1].high.z));
}

TEST(BoxTouch, KnowsGapsFromFaces) {
    EXPECT_TRUE(VX::touch(along_x(0, 1), along_x(1, 2)));
    EXPECT_FALSE(VX::touch(along_x(0, 1), along_x(1.5, 2)));
    EXPECT_TRUE(VX::touch(along_x(0, 1), along_x(1.5, 2), 0.5));
    EXPECT_TRUE(VX::touch(along_x(0, 1), along_x(1 + 5 * epsilon, 2)));
    EXPECT_FALSE(VX::touch(along_x(0, 1), {{0, 0, 1.5}, {1, 1, 2}}));
    EXPECT_TRUE(VX::touch(along_x(none, none), along_x(7, 8)));
    EXPECT_FALSE(VX::touch(along_x(inf, inf), along_x(7, 8)));
}

TEST(BoxFitTogether, NeedsTwoAxesToAgreeAndTheThirdToTouch) {
    EXPECT_TRUE(VX::fit_together(along_x(0, 1), along_x(1, 3)));
    EXPECT_TRUE(VX::fit_together(along_x(0, 2), along_x(0, 2)));
    EXPECT_FALSE(VX::fit_together(along_x(0, 1), along_x(1.25, 3)));
    EXPECT_TRUE(VX::fit_together(along_x(0, 1), along_x(1.25, 3), 0.25));
    EXPECT_FALSE(VX::fit_together(along_x(0, 1), {{1, 0, 0}, {2, 1, 2}}));
    EXPECT_TRUE(VX::fit_together(along_x(0, 1), {{1, 0, 0}, {2, 1, 1.25}}, 0.25));
    EXPECT_FALSE(VX::fit_together(along_x(0, 1), {{1, 0, 0.5}, {2, 1, 1.5}}, 0.25));
    EXPECT_TRUE(VX::fit_together({{0, 0, none}, {1, 1, none}}, {{1, 0, none}, {2, 1, none}}));
}

TEST(BoxUnite, MakesOneBoxWhereThatIsTheUnion) {
    EXPECT_EQ(VX::unite(along_x(0, 1), along_x(1, 3)), Boxes{along_x(0, 3)});
    EXPECT_EQ(VX::unite(along_x(1, 3), along_x(0, 1.25), 0.5), Boxes{along_x(0, 3)});
    EXPECT_EQ(VX::unite(along_x(0, 1), along_x(2, 3)), (Boxes{along_x(0, 1), along_x(2, 3)}));
    Box const large{{-1, -1, -1}, {5, 5, 5}};
    EXPECT_EQ(VX::unite(large, along_x(0, 1)), Boxes{large});
    EXPECT_EQ(VX::unite(along_x(0, 1), large), Boxes{large});
    EXPECT_EQ(VX::unite(along_x(0, 2), {{1, 0, 0}, {3, 1, 2}}),
              (Boxes{along_x(0, 2), {{2, 0, 0}, {3, 1, 2}}, {{1, 0, 1}, {2, 1, 2}}}));
}

TEST(BoxUnite, KeepsBoundsThatAreUnknown) {
    Box const united = VX::unite({{0, 0, none}, {1, 1, none}}, {{1, 0, none}, {2, 1, none}}).front();
    EXPECT_TRUE(std::isnan(united.low.z) && std::isnan(united.high.z));
    EXPECT_EQ(united.high.x, 2);
    EXPECT_EQ(VX::enclosing(along_x(0, 1), along_x(-inf, -2)), along_x(-inf, 1));
    Box const half = VX::enclosing(along_x(0, 1), along_x(none, 3));
    EXPECT_TRUE(std::isnan(half.low.x) && half.high.x == 3);
    EXPECT_TRUE(std::isnan(VX::enclosing(along_x(none, 3), along_x(0, 1)).low.x));
}

TEST(BoxIntersect, IsWhatBothHave) {
    EXPECT_EQ(VX::intersect(along_x(0, 2), along_x(1, 3)), Boxes{along_x(1, 2)});
    EXPECT_EQ(VX::intersect(along_x(0, 2), along_x(2, 3)), Boxes());
    EXPECT_EQ(VX::intersect(along_x(0, 2), along_x(1.75, 3), 0.25), Boxes());
    EXPECT_EQ(VX::intersect(along_x(0, 2), along_x(1, 1)), Boxes{along_x(1, 1)});
    EXPECT_EQ(VX::intersect(along_x(1.25, 1.25), along_x(1, 1), 0.5), Boxes{along_x(1, 1.25)});
    EXPECT_EQ(VX::intersect(along_x(none, 2), along_x(1, inf)), Boxes{along_x(1, 2)});
}

TEST_P(BoxPair, IsCutIntoPiecesThatCoverTheDifferenceOnce) {
    for (int i = 0; i < 50; ++i) {
        Box const a = box(), b = box();
        Boxes const pieces = VX::complement(a, b), common = VX::intersect(a, b);
        ASSERT_EQ(volume(pieces) + volume(common), volume(a));
        ASSERT_LE(pieces.size(), 6u);
        for_each_point([&](VX::XYZ<double> const& point) {
            ASSERT_EQ(count_of(pieces, point), holds(a, point) && !holds(b, point) ? 1u : 0u);
            ASSERT_EQ(count_of(common, point), holds(a, point) && holds(b, point) ? 1u : 0u);
        });
    }
}

TEST_P(BoxPair, IsUnitedInBoxesThatDoNotOverlap) {
    for (int i = 0; i < 50; ++i) {
        Box const a = box(), b = box();
        Boxes const all = VX::unite(a, b);
        ASSERT_EQ(volume(all), volume(a) + volume(b) - volume(VX::intersect(a, b)));
        for_each_point([&](VX::XYZ<double> const& point) {
            ASSERT_EQ(count_of(all, point), holds(a, point) || holds(b, point) ? 1u : 0u);
        });
        ASSERT_TRUE(all.size() > 1 || all.front() == VX::enclosing(a, b));
    }
}

TEST_P(BoxPair, IsLeftAloneByWhatDoesNotTouch) {
    for (int i = 0; i < 200; ++i) {
        Box const a = box(), b = box(), c = box();
        for (double tolerance : {0.0, 0.5, 1.0, 2.0}) {
            if (!VX::touch(a, b, tolerance)) {
                ASSERT_EQ(VX::complement(a, b, tolerance), Boxes{a});
                ASSERT_EQ(VX::intersect(a, b, tolerance), Boxes());
            } else {
                ASSERT_TRUE(VX::touch(a, VX::enclosing(b, c), tolerance));
            }
            for (Box const& piece : VX::complement(a, b, tolerance)) ASSERT_EQ(VX::enclosing(piece, a), a);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, BoxPair, testing::Range(0, 20));
