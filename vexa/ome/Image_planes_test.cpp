#include <algorithm>
#include <limits>
#include <set>

#include <gtest/gtest.h>

#include <vexa/ome/Invalid.h>
#include <vexa/ome/Modulo.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/expect_throws.h>

namespace {

using namespace ::OME;
using Order = Image::Dimension_Order;
using Type = Image_Modulo_Type;
using Indices = std::array<long long, 3>;

constexpr std::uint64_t greatest = std::numeric_limits<std::uint64_t>::max();

Indices indices(Plane const& plane) {
    return {plane.z().value_or(-1).get<long long>(), plane.c().value_or(-1).get<long long>(),
            plane.t().value_or(-1).get<long long>()};
}

std::vector<Indices> all_indices(Image const& image) {
    std::vector<Indices> all;
    for (Plane const& plane : image.planes()) all.push_back(indices(plane));
    return all;
}

struct ImagePlanes : testing::Test {
    Root root{""};
    Image& make(Image::Dimensions const& dimensions) {
        return *root.ome.images().emplace_back<Image>(dimensions, nullptr, nullptr);
    }
};

/// Sizes that only a file would have.
struct ImageOfAbsurdSize : testing::Test {
    Root root{
        R"(<OME><Image><Pixels SizeX="1" SizeY="1" SizeZ="1152921504606846976" SizeC="9223372036854775807" )"
        R"(SizeT="9223372036854775807"><Plane DeltaT="7"/><Plane ExposureTime="1"/></Pixels></Image></OME>)"};
    Image& image = root.ome.images().front();
};

struct ImageGrowth : ImagePlanes, testing::WithParamInterface<Order> {};

} // namespace

TEST_F(ImagePlanes, AreMadeUpToTheOneThatIsAskedFor) {
    Image& image = make({.z = 2, .c = 3, .t = 2});
    EXPECT_EQ(std::as_const(image).plane({.z = 0, .c = 1}), nullptr);
    EXPECT_EQ(indices(image.plane({.z = 0, .c = 1})), (Indices{0, 1, 0}));
    EXPECT_EQ(all_indices(image), (std::vector<Indices>{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}));
    EXPECT_EQ(std::as_const(image).plane({.z = 1}), &image.plane({.z = 1}));
    image.insert_plane({.z = 1, .c = 2, .t = 1});
    EXPECT_EQ(image.planes().size(), 12u);
    EXPECT_EQ(&image.insert_plane({.z = 1, .c = 2, .t = 1}), &image.plane({.z = 1, .c = 2, .t = 1}));
    EXPECT_EQ(image.planes().size(), 12u);
}

TEST_F(ImagePlanes, BearTheirIndicesWithTheirSubDimensions) {
    Image& image = make({.dimension_order = Order::XYCZT,
                         .z = 2,
                         .t = 2,
                         .modulo_z = 3,
                         .modulo_t = 5,
                         .modulo_type_z = Type::angle,
                         .modulo_type_t = Type::tile});
    EXPECT_EQ(indices(image.plane({.z = 1, .t = 1, .modulo_z = 2, .modulo_t = 3})), (Indices{5, 0, 8}));
    EXPECT_EQ(image.planes().size(), 54u);
}

TEST_F(ImagePlanes, AreFoundFromBothEnds) {
    Image& image = make({.t = 9});
    image.insert_plane({.t = 8});
    for (std::uint64_t t = 0; t < 9; ++t)
        EXPECT_EQ(indices(*std::as_const(image).plane({.t = t})), (Indices{0, 0, static_cast<long long>(t)}));
}

TEST_F(ImagePlanes, OutsideOfTheImageAreNone) {
    Image& image = make({.z = 2, .t = 2});
    for (Image::ZCT_Tuple const& tuple : {Image::ZCT_Tuple{.z = 2},
                                          {.c = 1},
                                          {.t = 2},
                                          {.modulo_z = 1},
                                          {.modulo_c = 1},
                                          {.modulo_t = greatest}}) {
        EXPECT_EQ(std::as_const(image).plane(tuple), nullptr);
        VEXA_EXPECT_THROWS(image.plane(tuple), std::out_of_range, "Plane is outside of the image.");
        VEXA_EXPECT_THROWS(image.insert_plane(tuple), std::out_of_range, "Plane is outside of the image.");
    }
    EXPECT_TRUE(image.planes().empty());
    Image& empty = *root.ome.images().emplace_back();
    VEXA_EXPECT_THROWS(empty.plane({}), std::out_of_range, "Plane is outside of the image.");
}

TEST_F(ImagePlanes, AreVisitedInTheSequenceOfStorage) {
    Image& image = make({.dimension_order = Order::XYTCZ, .z = 2, .c = 2, .t = 3});
    std::vector<Indices> visited;
    image.for_each_plane({.z = 0, .c = 1, .t = 1},
                         {.z = 2, .c = 2, .t = 3, .modulo_z = 1, .modulo_c = 1, .modulo_t = 1},
                         [&](Plane& plane) { visited.push_back(indices(plane)); });
    EXPECT_EQ(visited, (std::vector<Indices>{{0, 1, 1}, {0, 1, 2}, {1, 1, 1}, {1, 1, 2}}));
    EXPECT_EQ(image.planes().size(), 12u);
}

TEST_F(ImagePlanes, ThatAreMissingAreLeftOutWhereTheImageIsConst) {
    Image& image = make({.t = 5});
    image.insert_plane({.t = 2});
    int visited = 0;
    std::as_const(image).for_each_plane([&](Plane const&) { ++visited; });
    EXPECT_EQ(visited, 3);
    image.for_each_plane([&](Plane&) { ++visited; });
    EXPECT_EQ(visited, 8);
}

TEST_F(ImagePlanes, OfAnEmptyBoxOrBeyondTheImageAreNotVisited) {
    Image& image = make({.z = 2, .t = 2});
    auto const fail = [](Plane const&) { ADD_FAILURE(); };
    Image::ZCT_Tuple const end = image.end();
    EXPECT_EQ(end, (Image::ZCT_Tuple{2, 1, 2, 1, 1, 1}));
    image.for_each_plane({.z = 1}, {.z = 1, .c = 1, .t = 2, .modulo_z = 1, .modulo_c = 1, .modulo_t = 1},
                         fail);
    image.for_each_plane({.z = 2}, end, fail);
    image.for_each_plane(end, {}, fail);
    image.for_each_plane({}, {.z = 2, .c = 1, .t = 2}, fail); // has no step of the sub-dimensions
    std::as_const(image).for_each_plane({.t = greatest}, {greatest, greatest, greatest, 1, 1, 1}, fail);
    EXPECT_TRUE(image.planes().empty());
    int visited = 0;
    image.for_each_plane({.t = 1}, {greatest, greatest, greatest, greatest, greatest, greatest},
                         [&](Plane&) { ++visited; });
    EXPECT_EQ(visited, 2);
}

TEST_F(ImageOfAbsurdSize, VisitsThePlanesThatAreThere) {
    int visited = 0;
    std::as_const(image).for_each_plane([&](Plane const&) { ++visited; });
    EXPECT_EQ(visited, 2);
    EXPECT_EQ(image.delta_t(0, 0), 7.0);
    EXPECT_EQ(image.start_t(0, 0), 7.0);
    EXPECT_EQ(image.start_t(9, 9), std::nullopt);
}

TEST_F(ImageOfAbsurdSize, MakesNoMorePlanesThanItCanHold) {
    std::uint64_t const last = (std::uint64_t{1} << 60) - 1;
    VEXA_EXPECT_THROWS(image.insert_plane({.z = last}), Invalid_Argument,
                       "Image can't hold plane 1152921504606846975.");
    VEXA_EXPECT_THROWS(image.plane({.z = 4194304}), Invalid_Argument, "Image can't hold plane 4194304.");
    VEXA_EXPECT_THROWS(image.plane({.z = last, .c = 5, .t = 1}), Invalid_Argument,
                       "Image can't hold plane 18446744073709551614.");
    VEXA_EXPECT_THROWS(image.for_each_plane([](Plane&) {}), Invalid_Argument,
                       "Image can't hold plane 18446744073709551614.");
    VEXA_EXPECT_THROWS(image.set_position_in_meters(VX::XYZ<double>{}), Invalid_Argument,
                       "Image can't hold plane 18446744073709551614.");
    VEXA_EXPECT_THROWS(image.add_t(), Invalid_Data, "Image is too large.");
    VEXA_EXPECT_THROWS(image.add_modulo_t(Type::tile, {}), Invalid_Data, "Image is too large.");
    EXPECT_EQ(image.planes().size(), 2u);
    EXPECT_EQ(image.modulo(), nullptr);
    EXPECT_EQ(*Root(root.XML()).value(), *root.value());
}

TEST_F(ImagePlanes, TellTheirTimes) {
    Image& image = make({.z = 2, .c = 2, .t = 2});
    EXPECT_EQ(image.delta_t(0, 0), std::nullopt);
    EXPECT_EQ(image.first_plane_exposure_time(), std::nullopt);
    image.plane({}).set_exposure_time({20, ::OME::Time::ms});
    image.plane({.z = 0, .c = 1, .t = 1}).set_delta_t({5, ::OME::Time::s});
    image.plane({.z = 1, .c = 1, .t = 1}).set_delta_t({4500, ::OME::Time::ms});
    EXPECT_DOUBLE_EQ(image.first_plane_exposure_time().value(), 0.02);
    EXPECT_EQ(image.delta_t(1, 1), 5.0);
    EXPECT_EQ(image.start_t(1, 1), 4.5);
    EXPECT_EQ(image.start_t(0, 1), std::nullopt);
    EXPECT_EQ(image.start_t(2, 0), std::nullopt);
    EXPECT_EQ(image.start_t(greatest, greatest), std::nullopt);
    EXPECT_EQ(image.delta_t(greatest, 0), std::nullopt);
}

/// Each plane is where its indices say, and keeps what it held.
TEST_P(ImageGrowth, KeepsThePlanesInTheirPlaces) {
    Image& image = make({.dimension_order = GetParam(), .z = 2, .c = 3, .t = 2});
    for (std::uint64_t t = 0; t < 2; ++t)
        image.plane({.z = 1, .c = 2, .t = t}).set_delta_t({10.0 + static_cast<double>(t), ::OME::Time::s});
    std::size_t const before = image.planes().size();
    EXPECT_EQ(before, 12u);
    image.add_t();
    EXPECT_EQ(image.planes().size(), 18u);
    EXPECT_EQ(image.dimensions().t, 3u);
    for (std::uint64_t index = 0; index < 18; ++index) {
        auto const tuple = image.layout().tuple_at(index);
        EXPECT_EQ(indices(image.plane(tuple)),
                  (Indices{static_cast<long long>(tuple.z), static_cast<long long>(tuple.c),
                           static_cast<long long>(tuple.t)}));
    }
    EXPECT_EQ(image.plane({.z = 1, .c = 2, .t = 0}).delta_t(), 10.0);
    EXPECT_EQ(image.plane({.z = 1, .c = 2, .t = 1}).delta_t(), 11.0);
    EXPECT_EQ(image.plane({.z = 1, .c = 2, .t = 2}).delta_t(), std::nullopt);
    Root const read(root.XML());
    EXPECT_EQ(*read.value(), *root.value());
    EXPECT_EQ(read.ome.images().front().dimensions(), image.dimensions());
}

/// Of the 12 planes that there would be, 5 are in the list.
TEST_P(ImageGrowth, FillsUpAListThatIsTooShort) {
    Image& image = make({.dimension_order = GetParam(), .z = 2, .c = 3, .t = 2});
    image.insert_plane(image.layout().tuple_at(4));
    image.add_t();
    std::set<Indices> found;
    for (Indices const& plane : all_indices(image)) found.insert(plane);
    EXPECT_EQ(image.planes().size(), 18u);
    EXPECT_EQ(found.size(), 18u);
}

TEST_P(ImageGrowth, AddsStepsToASubDimension) {
    Image& image = make({.dimension_order = GetParam(), .z = 2, .t = 2});
    image.insert_plane({.z = 1, .t = 1}).set_delta_t({1, ::OME::Time::s});
    image.add_modulo_t(Type::tile, {1, 2, 3});
    image.add_modulo_t(Type::tile, {4, 5, 6});
    EXPECT_EQ(image.dimensions().t, 2u);
    EXPECT_EQ(image.dimensions().modulo_t, 3u);
    EXPECT_EQ(image.modulo()->range_t(), (Image::Modulo::Range{0, 1, 2, {}}));
    EXPECT_EQ(image.planes().size(), 12u);
    EXPECT_EQ(image.plane({.z = 1, .t = 1}).delta_t(), 1.0);
    EXPECT_FALSE(image.plane({.z = 1, .t = 1}).position_in_meters());
    for (std::uint64_t t = 0; t < 2; ++t)
        for (std::uint64_t z = 0; z < 2; ++z) {
            EXPECT_EQ(image.plane({.z = z, .t = t, .modulo_t = 1}).position_in_meters(),
                      (VX::XYZ<double>{1, 2, 3}));
            EXPECT_EQ(image.plane({.z = z, .t = t, .modulo_t = 2}).position_in_meters(),
                      (VX::XYZ<double>{4, 5, 6}));
        }
    Root const read(root.XML());
    EXPECT_EQ(*read.value(), *root.value());
    EXPECT_EQ(read.ome.images().front().dimensions(), image.dimensions());
}

INSTANTIATE_TEST_SUITE_P(All, ImageGrowth,
                         testing::Values(Order::XYZCT, Order::XYZTC, Order::XYCTZ, Order::XYCZT, Order::XYTCZ,
                                         Order::XYTZC));

TEST_F(ImagePlanes, AreMadeForTheFirstTimePointOfAnImageWithout) {
    Image& image = make({.z = 2, .t = 0});
    EXPECT_EQ(image.size(), 0u);
    image.add_t();
    EXPECT_EQ(all_indices(image), (std::vector<Indices>{{0, 0, 0}, {1, 0, 0}}));
}

TEST_F(ImagePlanes, RefuseAnotherSubDimensionBeforeAnythingChanges) {
    Image& image = make({.t = 2, .modulo_t = 2, .modulo_type_t = Type::phase});
    JSON::Value const before = *root.value();
    VEXA_EXPECT_THROWS(image.add_modulo_t(Type::tile, {}), Invalid_Argument,
                       "Modulo along T already has type phase.");
    VEXA_EXPECT_THROWS(image.add_modulo_t(Type::none, {}), Invalid_Argument, "Unsupported modulo type 0.");
    EXPECT_EQ(*root.value(), before);
}

TEST_F(ImagePlanes, OfAnotherProgramMayBeMoreThanTheSizesSay) {
    Root read(
        R"(<OME><Image><Pixels SizeX="1" SizeY="1" SizeZ="1" SizeC="1" SizeT="2" DimensionOrder="XYTZC">)"
        R"(<Plane DeltaT="1"/><Plane DeltaT="2"/><Plane DeltaT="3"/><Plane DeltaT="4"/></Pixels></Image></OME>)");
    Image& image = read.ome.images().front();
    int visited = 0;
    std::as_const(image).for_each_plane([&](Plane const&) { ++visited; });
    EXPECT_EQ(visited, 2);
    image.add_t();
    EXPECT_EQ(image.planes().size(), 4u);
    EXPECT_EQ(image.plane({.t = 2}).delta_t(), 3.0);
}
