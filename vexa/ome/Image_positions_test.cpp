#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include <vexa/ome/Image_Extension.h>
#include <vexa/ome/Invalid.h>
#include <vexa/ome/Modulo.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/expect_throws.h>

namespace {

using namespace ::OME;
using Point = VX::XYZ<double>;
using Points = std::vector<Point>;
using Boxes = std::vector<VX::Box>;
using Per = Image::Positions::Per;
using Type = Image_Modulo_Type;

constexpr double pi = 3.141592653589793;
VX::Box const unit_box{{0, 0, 0}, {1, 1, 1}};

/// A tile of 8 x 4 x 2 m with voxels of 1 m.
Image::Dimensions const tile{.x = 8, .y = 4, .z = 2, .voxel_shape_in_meters = {1, 1, 1}};

Image::Dimensions tiles(std::uint64_t count) {
    Image::Dimensions dimensions = tile;
    dimensions.modulo_t = count;
    dimensions.modulo_type_t = Type::tile;
    return dimensions;
}

struct ImagePositions : testing::Test {
    Root root{""};
    Image& make(Image::Dimensions const& dimensions) {
        return *root.ome.images().emplace_back<Image>(dimensions, nullptr, nullptr);
    }
    Image& make(Points const& points) {
        Image::Positions const positions{Per::tile, points};
        return *root.ome.images().emplace_back<Image>(tiles(points.size()), &positions, nullptr);
    }
};

void expect_near(Point const& found, Point const& expected) {
    for (std::size_t axis = 0; axis < 3; ++axis) EXPECT_NEAR(found[axis], expected[axis], 1e-9) << axis;
}

} // namespace

TEST_F(ImagePositions, OfOneTile) {
    Image const& image = make(Points{{5, 6, 7}});
    EXPECT_EQ(image.position_in_meters(0), (Point{5, 6, 7}));
    EXPECT_EQ(image.tile_grid_step_in_meters(), (Point{8, 4, 2}));
    EXPECT_EQ(image.tile_grid_range_in_meters(), (VX::Box{{5, 6, 7}, {5, 6, 7}}));
    EXPECT_EQ(image.tile_shape_in_meters(), (Point{8, 4, 2}));
    EXPECT_EQ(image.shape_in_meters(), (Point{8, 4, 2}));
    EXPECT_EQ(image.position_in_meters(), (Point{5, 6, 7}));
    EXPECT_EQ(image.paraxial_region(), (Boxes{{{1, 4, 6}, {9, 8, 8}}}));
    EXPECT_EQ(image.normalized_stencils(), (std::vector<Boxes>{{unit_box}}));
}

TEST_F(ImagePositions, OfTwoTilesThatOverlapByHalf) {
    Image const& image = make(Points{{0, 0, 0}, {4, 0, 0}});
    EXPECT_EQ(image.tile_grid_step_in_meters(), (Point{4, 4, 2}));
    EXPECT_EQ(image.tile_grid_range_in_meters(), (VX::Box{{0, 0, 0}, {4, 0, 0}}));
    ASSERT_EQ(image.positions_in_tile_grid().size(), 2u);
    EXPECT_EQ(image.positions_in_tile_grid()[1].x, 1);
    EXPECT_EQ(image.positions_in_tile_grid()[1].y, 0);
    EXPECT_EQ(image.positions_in_tile_grid()[1].z, 0);
    EXPECT_EQ(image.normalized_stencils()[1], (Boxes{{{0.5, 0, 0}, {1, 1, 1}}}));
    EXPECT_EQ(image.shape_in_meters(), (Point{12, 4, 2}));
    EXPECT_EQ(image.position_in_meters(), (Point{2, 0, 0}));
}

TEST_F(ImagePositions, CloserThanAVoxelAreTheSame) {
    Image const& image = make(Points{{0, 0, 0}, {0.9, 0, 0}});
    EXPECT_EQ(image.tile_grid_step_in_meters(), (Point{8, 4, 2}));
    EXPECT_EQ(image.positions_in_tile_grid()[1].x, 0);
}

TEST_F(ImagePositions, OfARotatedImageHaveTheSameGrid) {
    Image& image = make(Points{{0, 0, 0}, {4, 0, 0}, {4, 4, 0}});
    image.set_rotation_angle_in_degrees(30);
    double const c = std::cos(pi / 6), s = std::sin(pi / 6);
    image.set_position_in_meters(
        {Per::tile, {{0, 0, 0}, {4 * c, 4 * s, 0}, {4 * c - 4 * s, 4 * s + 4 * c, 0}}});
    expect_near(image.tile_grid_step_in_meters(), {4, 4, 2});
    expect_near(image.tile_grid_range_in_meters().high, {4, 4, 0});
    EXPECT_EQ(image.positions_in_tile_grid()[2].x, 1);
    EXPECT_EQ(image.positions_in_tile_grid()[2].y, 1);
    expect_near(image.position_in_meters(), {2 * c - 2 * s, 2 * s + 2 * c, 0});
}

TEST_F(ImagePositions, FollowTheRotationAndTheVoxels) {
    Image& image = make(Points{{0, 0, 0}, {0, 4, 0}});
    EXPECT_EQ(image.tile_grid_step_in_meters(), (Point{8, 4, 2}));
    image.set_rotation_angle_in_degrees(90);
    expect_near(image.tile_grid_step_in_meters(), {4, 4, 2});
    image.set_rotation_angle_in_degrees(0);
    image.set_voxel_size_z_in_meters(5);
    EXPECT_EQ(image.tile_shape_in_meters(), (Point{8, 4, 10}));
    EXPECT_EQ(image.tile_grid_step_in_meters(), (Point{8, 4, 10}));
    image.set_voxel_shape_in_meters({0, 0, 0});
    EXPECT_EQ(image.shape_in_meters(), (Point{0, 4, 0}));
}

TEST_F(ImagePositions, WithoutAVoxelShapeHaveAGrid) {
    Image& image = make(Points{{0, 0, 0}, {3, 0, 0}});
    image.set_voxel_shape_in_meters({0, 0, 0});
    EXPECT_EQ(image.positions_in_tile_grid().size(), 2u);
    EXPECT_EQ(image.normalized_stencils().size(), 2u);
    EXPECT_EQ(image.shape_in_meters(), (Point{3, 0, 0}));
}

TEST_F(ImagePositions, AreReadFromTheFirstPlaneOfEachTile) {
    Root const read(
        R"(<OME><Image><Pixels SizeX="1" SizeY="1" SizeZ="2" SizeC="1" SizeT="3">)"
        R"(<Plane PositionX="1" PositionXUnit="mm" PositionY="2" PositionYUnit="mm" PositionZ="3" PositionZUnit="mm"/>)"
        R"(<Plane PositionX="9" PositionXUnit="mm"/><Plane PositionX="4" PositionXUnit="mm"/></Pixels>)"
        R"(<AnnotationRef ID="Annotation:1"/></Image><StructuredAnnotations><XMLAnnotation ID="Annotation:1" )"
        R"(Namespace="openmicroscopy.org/omero/dimension/modulo"><Value><Modulo>)"
        R"(<ModuloAlongT Type="tile" Start="0" End="2"/></Modulo></Value></XMLAnnotation></StructuredAnnotations></OME>)");
    Image const& image = read.ome.images().front();
    ASSERT_EQ(image.positions_in_meters().size(), 2u); // the third tile has no plane
    expect_near(image.position_in_meters(0), {1e-3, 2e-3, 3e-3});
    EXPECT_NEAR(image.position_in_meters(1).x, 4e-3, 1e-9);
    EXPECT_TRUE(std::isnan(image.position_in_meters(1).y));
    EXPECT_TRUE(std::isnan(image.position_in_meters(1).z));
    VEXA_EXPECT_THROWS(image.position_in_meters(2), std::out_of_range, "Image has no tile 2.");
    expect_near(image.tile_grid_range_in_meters().high, {4e-3, 2e-3, 3e-3}); // what isn't known counts as 0
    expect_near(image.tile_grid_range_in_meters().low, {1e-3, 0, 0});
}

TEST_F(ImagePositions, OfAnImageWithoutPlanesAreNone) {
    Image const& image = make(tile);
    EXPECT_TRUE(image.positions_in_meters().empty());
    EXPECT_TRUE(image.positions().in_meters.empty());
    EXPECT_EQ(image.positions().per, Per::tile);
    VEXA_EXPECT_THROWS(image.position_in_meters(0), std::out_of_range, "Image has no tile 0.");
    EXPECT_EQ(image.shape_in_meters(), (Point{8, 4, 2}));
    EXPECT_TRUE(image.positions_in_tile_grid().empty());
    EXPECT_TRUE(root.ome.images().emplace_back()->positions_in_meters().empty());
}

TEST_F(ImagePositions, OfAbsurdlyManyTilesAreThoseOfItsPlanes) {
    Root const read(
        R"(<OME><Image><Pixels SizeX="1" SizeY="1" SizeZ="1" SizeC="1" SizeT="1152921504606846976">)"
        R"(<Plane/><Plane/></Pixels><AnnotationRef ID="Annotation:1"/></Image><StructuredAnnotations>)"
        R"(<XMLAnnotation ID="Annotation:1" Namespace="openmicroscopy.org/omero/dimension/modulo"><Value><Modulo>)"
        R"(<ModuloAlongT Type="tile" Start="1" End="1152921504606846976"/></Modulo></Value></XMLAnnotation>)"
        R"(</StructuredAnnotations></OME>)");
    Image const& image = read.ome.images().front();
    EXPECT_EQ(image.layout().extents[Image_Layout::T].modulo_size, 1152921504606846976u);
    EXPECT_EQ(image.positions_in_meters().size(), 2u);
    EXPECT_EQ(image.positions_in_tile_grid().size(), 2u);
}

TEST_F(ImagePositions, AreSetOneByOne) {
    Image& image = make(tiles(3));
    image.set_position_in_meters({.z = 0}, 1, {1, 2, 3});
    EXPECT_EQ(image.planes().size(), 3u);
    EXPECT_EQ(image.position_in_meters(1), (Point{1, 2, 3}));
    EXPECT_TRUE(std::isnan(image.position_in_meters(0).x));
    image.set_position_in_meters({.z = 1}, 2, {4, 5, 6});
    EXPECT_EQ(image.plane({.z = 1, .modulo_t = 2}).position_in_meters(), (Point{4, 5, 6}));
    image.set_position_in_meters({}, 0, {7, 8, 9});
    EXPECT_EQ(image.position_in_meters(0), (Point{7, 8, 9}));
    VEXA_EXPECT_THROWS(image.set_position_in_meters({}, 3, {}), std::out_of_range,
                       "Plane is outside of the image.");
    Image& divided_c = make({.modulo_c = 2, .modulo_type_c = Type::tile});
    divided_c.set_position_in_meters({}, 1, {1, 1, 1});
    EXPECT_EQ(divided_c.plane({.modulo_c = 1}).position_in_meters(), (Point{1, 1, 1}));
    Image& divided_z = make({.modulo_z = 2, .modulo_type_z = Type::tile});
    divided_z.set_position_in_meters({}, 1, {1, 1, 1});
    EXPECT_EQ(divided_z.plane({.modulo_z = 1}).position_in_meters(), (Point{1, 1, 1}));
}

TEST_F(ImagePositions, AreSetForAllPlanes) {
    Image& image = make(Points{{0, 0, 0}, {4, 0, 0}});
    EXPECT_EQ(image.tile_grid_step_in_meters().x, 4);
    image.set_position_in_meters(Point{1, 2, 3});
    EXPECT_EQ(image.planes().size(), 4u);
    EXPECT_EQ(image.positions_in_meters(), (Points{{1, 2, 3}, {1, 2, 3}}));
    EXPECT_EQ(image.tile_grid_step_in_meters().x, 8);
    Image& empty = make(tile);
    empty.set_position_in_meters(Point{1, 2, 3});
    EXPECT_EQ(empty.planes().size(), 2u);
}

TEST_F(ImagePositions, MustBeAsManyAsTilesOrPlanes) {
    Image& image = make(tiles(3));
    VEXA_EXPECT_THROWS(image.set_position_in_meters({Per::tile, Points(2)}), Invalid_Argument,
                       "Need positions per tile.");
    VEXA_EXPECT_THROWS(image.set_position_in_meters({Per::plane, Points(3)}), Invalid_Argument,
                       "Need positions per plane.");
    EXPECT_TRUE(image.planes().empty());
    image.set_position_in_meters(
        {Per::plane, {{0, 0, 0}, {0, 0, 1}, {4, 0, 0}, {4, 0, 1}, {8, 0, 0}, {8, 0, 1}}});
    EXPECT_EQ(image.positions_in_meters(), (Points{{0, 0, 0}, {4, 0, 0}, {8, 0, 0}}));
    image.set_position_in_meters({Per::tile, {{1, 1, 1}, {2, 2, 2}, {3, 3, 3}}});
    EXPECT_EQ(image.positions().in_meters,
              (Points{{1, 1, 1}, {1, 1, 1}, {2, 2, 2}, {2, 2, 2}, {3, 3, 3}, {3, 3, 3}}));
}

TEST_F(ImagePositions, MakeAnImageThatIsTheSame) {
    Image const& image = make(Points{{0, 0, 0}, {4, 0, 0}});
    Image::Positions const positions = image.positions();
    Image const& same = *root.ome.images().emplace_back<Image>(image.dimensions(), &positions, &image);
    EXPECT_EQ(same.positions_in_meters(), image.positions_in_meters());
    EXPECT_EQ(same.normalized_stencils(), image.normalized_stencils());
}

TEST_F(ImagePositions, OfNewTilesJoinTheGrid) {
    Image& image = make(tile);
    image.set_position_in_meters(Point{0, 0, 0});
    for (int i = 1; i <= 5; ++i) {
        EXPECT_EQ(image.positions_in_tile_grid().size(), static_cast<std::size_t>(i));
        image.add_modulo_t(Type::tile, {4.0 * i, 0, 0});
    }
    EXPECT_EQ(image.positions_in_tile_grid().back().x, 5);
    EXPECT_EQ(image.shape_in_meters(), (Point{28, 4, 2}));
    image.adjust(); // and is made anew
    EXPECT_EQ(image.positions_in_tile_grid().back().x, 5);
}

TEST_F(ImagePositions, ChangeTheGridWhenTheyAreSetAnew) {
    Image& image = make(Points{{0, 0, 0}, {4, 0, 0}, {8, 0, 0}});
    EXPECT_EQ(image.tile_grid_step_in_meters().x, 4);
    image.plane({.modulo_t = 1}).set_position_x_in_meters(2);
    EXPECT_EQ(image.tile_grid_step_in_meters().x, 2);
    image.for_each_plane([](Plane& plane) { plane.set_position_x_in_meters(0); });
    EXPECT_EQ(image.tile_grid_step_in_meters().x, 8);
    EXPECT_EQ(image.tile_grid_range_in_meters().high.x, 0);
    image.plane({.modulo_t = 2}).set_position_x_in_meters(5);
    EXPECT_EQ(image.tile_grid_range_in_meters().high.x, 5);
}

TEST_F(ImagePositions, OfANewAxisOfTilesReplaceTheOthers) {
    Image& image =
        make({.dimension_order = Image::Dimension_Order::XYTZC, .modulo_z = 2, .modulo_type_z = Type::tile});
    image.set_position_in_meters({Per::tile, {{0, 0, 0}, {1, 0, 0}}});
    EXPECT_EQ(image.positions_in_meters().size(), 2u);
    image.add_modulo_t(Type::tile, {7, 0, 0});
    // T is the faster axis now.
    EXPECT_EQ(image.positions_in_meters(), (Points{{0, 0, 0}, {7, 0, 0}}));
}
