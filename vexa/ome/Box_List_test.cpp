#include <vexa/ome/Box_List.h>

#include <limits>
#include <random>

#include <gtest/gtest.h>

using OME::Box_List;
using VX::Box;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

struct BoxListTest : testing::TestWithParam<int> {
    std::mt19937 random{static_cast<std::mt19937::result_type>(GetParam())};

    int up_to(int most) { return std::uniform_int_distribution<int>(0, most)(random); }
    double corner() {
        static constexpr double odd[] = {infinity, -infinity, 1e300,
                                         -1e300,   0.0,       std::numeric_limits<double>::quiet_NaN()};
        return up_to(50) == 0 ? odd[up_to(5)] : up_to(400) * 0.125;
    }
    Box box() {
        Box result;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            result.low[axis] = corner();
            result.high[axis] = up_to(50) == 0 ? corner() : result.low[axis] + up_to(16) * 0.125;
        }
        return result;
    }
    static std::vector<std::size_t> by_walking(Box_List const& list, Box const& box, double tolerance) {
        std::vector<std::size_t> found;
        for (std::size_t i = 0; i < list.boxes().size(); ++i)
            if (VX::touch(list.boxes()[i], box, tolerance)) found.push_back(i);
        return found;
    }
};

} // namespace

TEST(BoxList, WithoutBoxesFindsNone) { EXPECT_TRUE(Box_List().touching({{0, 0, 0}, {1, 1, 1}}).empty()); }

TEST(BoxList, FindsInAscendingOrder) {
    Box_List list;
    for (int i = 999; i >= 0; --i) list.push_back({{i + 0.0, 0, 0}, {i + 1.0, 1, 1}});
    EXPECT_EQ(list.touching({{500.5, 0, 0}, {501.5, 1, 1}}), (std::vector<std::size_t>{498, 499}));
    EXPECT_EQ(list.touching({{500, 0, 0}, {501, 1, 1}}), (std::vector<std::size_t>{498, 499, 500}));
    EXPECT_TRUE(list.touching({{500, 2, 0}, {501, 3, 1}}).empty());
    EXPECT_EQ(list.touching({{-5, -5, -5}, {2000, 5, 5}}).size(), 1000u);
}

TEST(BoxList, TakesAnyNumberOfEqualBoxes) {
    Box_List list;
    Box const box{{0, 0, 0}, {0, 0, 0}};
    for (int i = 0; i < 1000; ++i) list.push_back(box);
    EXPECT_EQ(list.touching(box).size(), 1000u);
    for (int i = 0; i < 1000; ++i) list.pop_back();
    EXPECT_TRUE(list.boxes().empty());
    EXPECT_TRUE(list.touching(box).empty());
    list.push_back(box);
    EXPECT_EQ(list.touching(box), std::vector<std::size_t>{0});
}

TEST_P(BoxListTest, FindsWhatAWalkFindsHoweverItGrowsAndShrinks) {
    double const tolerance = GetParam() % 3 * 0.125;
    Box_List list(tolerance);
    std::vector<Box> expected;
    for (int turn = 0; turn < 60; ++turn) {
        for (int i = up_to(60); i > 0; --i) {
            expected.push_back(box());
            list.push_back(expected.back());
        }
        for (int i = up_to(turn % 10 ? 20 : 300); i > 0 && !expected.empty(); --i) {
            expected.pop_back();
            list.pop_back();
        }
        ASSERT_EQ(list.boxes().size(), expected.size());
        for (int i = 0; i < 20; ++i) {
            Box const wanted = box();
            ASSERT_EQ(list.touching(wanted), by_walking(list, wanted, tolerance));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, BoxListTest, testing::Range(0, 12));
