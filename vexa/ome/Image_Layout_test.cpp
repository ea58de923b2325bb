#include <vexa/ome/Image_Layout.h>

#include <limits>

#include <gtest/gtest.h>

namespace {

using OME::Image_Layout;
using Order = OME::Image_Dimension_Order;
using Type = OME::Image_Modulo_Type;

constexpr std::uint64_t greatest = std::numeric_limits<std::uint64_t>::max();

/// 10 x 20 pixels; Z of 2 with 3 angles, C of 5, T of 7 with 2 tiles.
Image_Layout layout(Order order) {
    Image_Layout result;
    result.x = 10;
    result.y = 20;
    result.extents = {{{2, 3, Type::angle}, {5, 1, Type::none}, {7, 2, Type::tile}}};
    result.set_order(order);
    result.adjust_stride();
    return result;
}

struct Case {
    char const* name;
    Order order;
    std::vector<std::size_t> strides; ///< in pixels: X, Y, then each axis behind its sub-dimension
    std::uint64_t index;              ///< of the plane below
};
void PrintTo(Case const& c, std::ostream* os) { *os << c.name; }

struct ImageLayoutOrder : testing::TestWithParam<Case> {};

} // namespace

TEST_P(ImageLayoutOrder, GivesTheStrides) {
    EXPECT_EQ(layout(GetParam().order).pixel_strides(), GetParam().strides);
}

TEST_P(ImageLayoutOrder, FindsAPlane) {
    EXPECT_EQ(layout(GetParam().order).index_of({.z = 1, .c = 4, .t = 3, .modulo_z = 2, .modulo_t = 1}),
              GetParam().index);
}

TEST_P(ImageLayoutOrder, GivesEachPlaneAPlaceOfItsOwn) {
    auto const planes = layout(GetParam().order);
    EXPECT_EQ(planes.number_of_planes(), 2u * 3 * 5 * 7 * 2);
    for (std::uint64_t index = 0; index < planes.number_of_planes(); ++index) {
        auto const tuple = planes.tuple_at(index);
        EXPECT_TRUE(planes.contains(tuple)) << index;
        EXPECT_EQ(planes.index_of(tuple), index);
        EXPECT_EQ(planes.tuple_of(planes.steps_of(tuple)), tuple);
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, ImageLayoutOrder,
    testing::Values(
        // Z: 1 2 + 3 * 1 = 5 of 6; C: 4 of 5; T: 1 + 2 * 3 = 7 of 14
        Case{"XYZCT", Order::XYZCT, {1, 10, 200, 600, 1200, 1200, 6000, 12000}, 5 + 6 * (4 + 5 * 7)},
        Case{"XYZTC", Order::XYZTC, {1, 10, 200, 600, 1200, 2400, 16800, 16800}, 5 + 6 * (7 + 14 * 4)},
        Case{"XYCTZ", Order::XYCTZ, {1, 10, 200, 200, 1000, 2000, 14000, 42000}, 4 + 5 * (7 + 14 * 5)},
        Case{"XYCZT", Order::XYCZT, {1, 10, 200, 200, 1000, 3000, 6000, 12000}, 4 + 5 * (5 + 6 * 7)},
        Case{"XYTCZ", Order::XYTCZ, {1, 10, 200, 400, 2800, 2800, 14000, 42000}, 7 + 14 * (4 + 5 * 5)},
        Case{"XYTZC", Order::XYTZC, {1, 10, 200, 400, 2800, 8400, 16800, 16800}, 7 + 14 * (5 + 6 * 4)}));

TEST(ImageLayout, IsEmptyAtFirst) {
    Image_Layout empty;
    empty.adjust_stride();
    EXPECT_EQ(empty.number_of_planes(), 0u);
    EXPECT_EQ(empty.number_of_pixels(), 0u);
    EXPECT_FALSE(empty.contains({}));
}

TEST(ImageLayout, FindsTheAxisOfASubDimension) {
    auto const planes = layout(Order::XYZCT);
    EXPECT_EQ(planes.axis_of(Type::angle), Image_Layout::Z);
    EXPECT_EQ(planes.axis_of(Type::tile), Image_Layout::T);
    EXPECT_EQ(planes.axis_of(Type::lambda), std::nullopt);
    EXPECT_EQ(planes.modulo_plane_stride(Image_Layout::T), 30u);
    EXPECT_EQ(planes.plane_stride(Image_Layout::T), 60u);
}

TEST(ImageLayout, KnowsWhatItContains) {
    auto const planes = layout(Order::XYTZC);
    EXPECT_TRUE(planes.contains({1, 4, 6, 2, 0, 1}));
    EXPECT_FALSE(planes.contains({2, 4, 6, 2, 0, 1}));
    EXPECT_FALSE(planes.contains({1, 5, 6, 2, 0, 1}));
    EXPECT_FALSE(planes.contains({1, 4, 7, 2, 0, 1}));
    EXPECT_FALSE(planes.contains({1, 4, 6, 3, 0, 1}));
    EXPECT_FALSE(planes.contains({1, 4, 6, 2, 1, 1}));
    EXPECT_FALSE(planes.contains({1, 4, 6, 2, 0, 2}));
    EXPECT_FALSE(planes.contains({greatest, greatest, greatest, greatest, greatest, greatest}));
}

TEST(ImageLayout, LimitsNumbersThatSixtyFourBitsCannotHold) {
    Image_Layout huge;
    std::uint64_t const size = std::uint64_t{1} << 40;
    huge.x = huge.y = 4;
    huge.extents = {{{size, 1, Type::none}, {size, 1, Type::none}, {size, 1, Type::none}}};
    huge.adjust_stride();
    EXPECT_EQ(huge.number_of_planes(), greatest);
    EXPECT_EQ(huge.number_of_pixels(), std::nullopt);
    EXPECT_EQ(huge.pixel_strides(), std::nullopt);
    EXPECT_EQ(huge.index_of({.z = 5, .c = 1}), size + 5);
    EXPECT_EQ(huge.index_of({.z = 5, .t = 1}), greatest);
    EXPECT_EQ(huge.index_of({.z = size - 1, .c = size - 1, .t = size - 1}), greatest);
}

TEST(ImageLayout, HasNoPixelsWhereOneSizeIsZero) {
    Image_Layout flat;
    std::uint64_t const size = std::uint64_t{1} << 62;
    flat.x = flat.y = size;
    flat.extents = {{{size, 1, Type::none}, {0, 1, Type::none}, {size, 1, Type::none}}};
    flat.adjust_stride();
    EXPECT_EQ(flat.number_of_planes(), 0u);
    EXPECT_EQ(flat.number_of_pixels(), 0u);
    EXPECT_FALSE(flat.contains({}));
}

TEST(ImageLayout, HoldsTheGreatestNumberOfPixels) {
    Image_Layout great;
    great.x = 1;
    great.y = std::numeric_limits<long long>::max();
    great.extents = {{{2, 1, Type::none}, {1, 1, Type::none}, {1, 1, Type::none}}};
    great.adjust_stride();
    EXPECT_EQ(great.number_of_pixels(), greatest - 1);
}
