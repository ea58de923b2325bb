#include <functional>
#include <limits>
#include <variant>

#include <gtest/gtest.h>

#include <vexa/json/Writer.h>
#include <vexa/ome/Image_Extension.h>
#include <vexa/ome/Invalid.h>
#include <vexa/ome/Modulo.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/expect_throws.h>

namespace {

using namespace ::OME;
using Dimensions = Image::Dimensions;
using Order = Image::Dimension_Order;
using Type = Image_Modulo_Type;
using Sizes = std::vector<std::size_t>;

constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

/// 10 x 20 pixels; Z of 2 with 3 angles, C of 5, T of 7 with 2 tiles.
Dimensions divided(Order order = Order::XYZCT) {
    Dimensions dimensions{.data_type = Image::Data_Type::uint16,
                          .dimension_order = order,
                          .x = 10,
                          .y = 20,
                          .z = 2,
                          .c = 5,
                          .t = 7,
                          .modulo_z = 3,
                          .modulo_t = 2,
                          .voxel_shape_in_meters = {1e-7, 2e-7, 3e-7},
                          .time_increment_in_seconds = 0.5,
                          .modulo_type_z = Type::angle,
                          .modulo_type_t = Type::tile,
                          .modulo_step_z = 30};
    dimensions.modulo_start_z = 15;
    dimensions.modulo_start_t = 0;
    return dimensions;
}

struct ImageShape : testing::Test {
    Root root{""};
    Image& make(Dimensions const& dimensions, Image::Positions const* positions = nullptr,
                Image const* pattern = nullptr) {
        return *root.ome.images().emplace_back<Image>(dimensions, positions, pattern);
    }
    /// Nothing is left of an image that can't be made.
    template <typename Error>
    void expect_refused(Dimensions const& dimensions, char const* text,
                        Image::Positions const* positions = nullptr, Image const* pattern = nullptr) {
        JSON::Value const before = *root.value();
        std::size_t const images = root.ome.images().size();
        VEXA_EXPECT_THROWS(make(dimensions, positions, pattern), Error, text);
        EXPECT_EQ(root.ome.images().size(), images);
        EXPECT_EQ(root.ome.annotations().size(), pattern ? 1u : 0u);
        if (images > 0) {
            EXPECT_EQ(*root.value(), before);
        }
    }
};

struct ImageOrder : ImageShape, testing::WithParamInterface<std::pair<Order, Sizes>> {};

} // namespace

TEST_F(ImageShape, IsStoredByTheConstructor) {
    Image const& image = make(divided());
    std::string const xml = root.XML();
    EXPECT_EQ(
        xml.substr(xml.find("<Image")),
        R"(<Image ID="Image:1"><AnnotationRef ID="Annotation:1"/><Pixels DimensionOrder="XYZCT" ID="Pixels:1" )"
        R"(PhysicalSizeX="1e-07" PhysicalSizeXUnit="m" PhysicalSizeY="2e-07" PhysicalSizeYUnit="m" )"
        R"(PhysicalSizeZ="3e-07" PhysicalSizeZUnit="m" SizeC="5" SizeT="14" SizeX="10" SizeY="20" SizeZ="6" )"
        R"(TimeIncrement="0.5" TimeIncrementUnit="s" Type="uint16"><MetadataOnly/></Pixels></Image>)"
        R"(<StructuredAnnotations><XMLAnnotation ID="Annotation:1" )"
        R"(Namespace="openmicroscopy.org/omero/dimension/modulo"><Value>)"
        R"(<Modulo namespace="http://www.openmicroscopy.org/Schemas/Additions/2011-09">)"
        R"(<ModuloAlongT End="1" Start="0" Step="1" Type="tile"/>)"
        R"(<ModuloAlongZ End="75" Start="15" Step="30" Type="angle"/></Modulo></Value></XMLAnnotation>)"
        R"(</StructuredAnnotations></OME>)");
    EXPECT_EQ(image.dimensions(), divided());
    EXPECT_EQ(image.size(), 84000u);
    EXPECT_EQ(image.tile_shape_in_voxels(), (VX::XYZ<std::uint64_t>{10, 20, 2}));
    EXPECT_TRUE(image.planes().empty());
    Root const read(xml);
    EXPECT_EQ(read.ome.images().front().dimensions(), divided());
    EXPECT_EQ(*read.value(), *root.value());
}

TEST_P(ImageOrder, DecidesTheSequenceOfStorage) {
    auto const& [order, shape] = GetParam();
    make(divided(order));
    Root const read(root.XML());
    Image const& image = read.ome.images().front();
    EXPECT_EQ(image.storage_shape(), shape);
    Sizes const strides = image.stride();
    ASSERT_EQ(strides.size(), 8u);
    EXPECT_EQ(strides[0], 1u);
    EXPECT_EQ(strides[1], 10u);
    EXPECT_EQ(strides[2], 200u);
    EXPECT_EQ(strides[4], 200 * shape[2]);
    EXPECT_EQ(strides[6], 200 * shape[2] * shape[3]);
    EXPECT_EQ(image.size(), 200 * shape[2] * shape[3] * shape[4]);
}

INSTANTIATE_TEST_SUITE_P(All, ImageOrder,
                         testing::Values(std::pair(Order::XYZCT, Sizes{10, 20, 6, 5, 14}),
                                         std::pair(Order::XYZTC, Sizes{10, 20, 6, 14, 5}),
                                         std::pair(Order::XYCTZ, Sizes{10, 20, 5, 14, 6}),
                                         std::pair(Order::XYCZT, Sizes{10, 20, 5, 6, 14}),
                                         std::pair(Order::XYTCZ, Sizes{10, 20, 14, 5, 6}),
                                         std::pair(Order::XYTZC, Sizes{10, 20, 14, 6, 5})));

TEST_F(ImageShape, OfOnePixelIsTheDefault) {
    Image const& image = make({});
    EXPECT_EQ(image.dimensions(), Dimensions{});
    EXPECT_EQ(image.size(), 1u);
    EXPECT_EQ(image.data_type(), Image::Data_Type::bit);
    EXPECT_EQ(image.modulo(), nullptr);
    EXPECT_EQ(image.stride(), (Sizes{1, 1, 1, 1, 1, 1, 1, 1}));
}

TEST_F(ImageShape, DiffersInEachField) {
    std::function<void(Dimensions&)> const changes[] = {[](auto& d) { d.data_type = Image::Data_Type::int8; },
                                                        [](auto& d) { d.dimension_order = Order::XYTZC; },
                                                        [](auto& d) { d.x = 1; },
                                                        [](auto& d) { d.y = 1; },
                                                        [](auto& d) { d.z = 1; },
                                                        [](auto& d) { d.c = 1; },
                                                        [](auto& d) { d.t = 1; },
                                                        [](auto& d) { d.modulo_z = 1; },
                                                        [](auto& d) { d.modulo_c = 2; },
                                                        [](auto& d) { d.modulo_t = 1; },
                                                        [](auto& d) { d.voxel_shape_in_meters.z = 1; },
                                                        [](auto& d) { d.time_increment_in_seconds = 1; },
                                                        [](auto& d) { d.modulo_type_z = Type::tile; },
                                                        [](auto& d) { d.modulo_type_c = Type::tile; },
                                                        [](auto& d) { d.modulo_type_t = Type::none; },
                                                        [](auto& d) { d.modulo_step_z = 2; },
                                                        [](auto& d) { d.modulo_step_c = 2; },
                                                        [](auto& d) { d.modulo_step_t = 2; },
                                                        [](auto& d) { d.modulo_start_z = 2; },
                                                        [](auto& d) { d.modulo_start_c = 2; },
                                                        [](auto& d) { d.modulo_start_t = JSON::Value(); }};
    for (auto const& change : changes) {
        Dimensions changed = divided();
        change(changed);
        EXPECT_FALSE(changed == divided());
    }
    EXPECT_EQ(divided(), divided());
}

TEST_F(ImageShape, TakesDatesAndRotationFromAPattern) {
    Image& pattern = make(divided());
    JSON::Time_Point const day{std::chrono::seconds(1709208000)};
    pattern.set_acquisition_date(day);
    pattern.set_acquisition_end_date(day + std::chrono::hours(1));
    pattern.set_rotation_angle_in_degrees(30);
    Image const& image = make(pattern.dimensions(), nullptr, &pattern);
    EXPECT_EQ(image.acquisition_date(), day);
    EXPECT_EQ(image.acquisition_end_date(), day + std::chrono::hours(1));
    EXPECT_EQ(image.rotation_angle_in_degrees(), 30.0);
    EXPECT_EQ(root.ome.annotations().size(), 4u);
}

TEST_F(ImageShape, MayComeFromAPatternWithoutAStartOrWithUnknownSizes) {
    Root const other(
        R"(<OME><Image><Pixels SizeX="4" PhysicalSizeX="1" PhysicalSizeXUnit="pixel"/><AnnotationRef ID="Annotation:1"/></Image>)"
        R"(<StructuredAnnotations><XMLAnnotation ID="Annotation:1" )"
        R"(Namespace="openmicroscopy.org/omero/dimension/modulo"><Value><Modulo><ModuloAlongZ Type="angle"/></Modulo>)"
        R"(</Value></XMLAnnotation></StructuredAnnotations></OME>)");
    Image const& pattern = other.ome.images().front();
    EXPECT_EQ(pattern.dimensions().modulo_start_z, JSON::Value());
    Image const& image = make(pattern.dimensions(), nullptr, &pattern);
    EXPECT_EQ(image.dimensions().modulo_start_z, JSON::Value(0));
    EXPECT_EQ(image.dimensions().y, 0u);
}

TEST_F(ImageShape, MustMatchThePattern) {
    Image const& pattern = make(divided());
    Dimensions other = divided();
    other.t = 8;
    expect_refused<Invalid_Data>(other, "Pattern does not match dimensions.", nullptr, &pattern);
    other = divided();
    other.modulo_step_z = 31;
    expect_refused<Invalid_Data>(other, "Pattern does not match dimensions.", nullptr, &pattern);
}

TEST_F(ImageShape, MustMatchThePositions) {
    using Per = Image::Positions::Per;
    Image::Positions const one{Per::tile, {{1, 2, 3}}};
    expect_refused<Invalid_Data>(divided(), "Positions do not match dimensions.", &one);
    Image::Positions const two{Per::plane, {{1, 2, 3}, {4, 5, 6}}};
    expect_refused<Invalid_Data>(divided(), "Positions do not match dimensions.", &two);
    Image::Positions const none{Per::plane, {}};
    expect_refused<Invalid_Data>(divided(), "Positions do not match dimensions.", &none);
}

TEST_F(ImageShape, MakesAllPlanesForPositions) {
    using Per = Image::Positions::Per;
    Image::Positions const per_tile{Per::tile, {{1, 2, 3}, {4, 5, 6}}};
    Image& image = make(divided(), &per_tile);
    EXPECT_EQ(image.planes().size(), 420u);
    EXPECT_EQ(image.positions_in_meters(), per_tile.in_meters);
    EXPECT_EQ(image.plane({.z = 1, .modulo_t = 1}).position_in_meters(), (VX::XYZ<double>{4, 5, 6}));
    Dimensions const small{.z = 3};
    Image::Positions const per_plane{Per::plane, {{1, 2, 3}, {1, 2, 4}, {1, 2, 5}}};
    Image& stack = make(small, &per_plane);
    EXPECT_EQ(stack.plane({.z = 2}).position_in_meters(), (VX::XYZ<double>{1, 2, 5}));
    EXPECT_EQ(stack.positions().in_meters, per_plane.in_meters);
    EXPECT_EQ(stack.positions().per, Per::plane);
}

TEST_F(ImageShape, RefusesSubDimensionsThatAreNone) {
    Dimensions dimensions = divided();
    dimensions.modulo_z = 0;
    expect_refused<Invalid_Data>(dimensions, "Invalid size modulo Z.");
    dimensions = divided();
    dimensions.modulo_c = 2; // has no type
    expect_refused<Invalid_Data>(dimensions, "Invalid size modulo C.");
    dimensions = divided();
    dimensions.t = std::uint64_t{1} << 62;
    expect_refused<Invalid_Data>(dimensions, "Invalid size modulo T.");
    dimensions = divided();
    dimensions.modulo_type_t = static_cast<Type>(7);
    expect_refused<Invalid_Argument>(dimensions, "Unsupported modulo type 7.");
    dimensions = divided();
    dimensions.modulo_step_z = 0;
    expect_refused<Invalid_Data>(dimensions, "Invalid step modulo Z.");
    dimensions.modulo_step_z = not_a_number;
    expect_refused<Invalid_Data>(dimensions, "Invalid step modulo Z.");
    dimensions = divided();
    dimensions.modulo_start_z = "here";
    expect_refused<Invalid_Data>(dimensions, "Invalid range modulo Z.");
    dimensions.modulo_start_z = 1e300;
    expect_refused<Invalid_Data>(dimensions, "Invalid range modulo Z.");
    dimensions.modulo_start_z = "NaN";
    expect_refused<Invalid_Data>(dimensions, "Invalid range modulo Z.");
}

TEST_F(ImageShape, RefusesWhatHasNoPlaceInADocument) {
    Dimensions dimensions = divided();
    dimensions.data_type = static_cast<Image::Data_Type>(11);
    expect_refused<std::bad_variant_access>(dimensions, "bad variant access");
    dimensions = divided();
    dimensions.dimension_order = static_cast<Order>(6);
    expect_refused<std::bad_variant_access>(dimensions, "bad variant access");
    dimensions = divided();
    dimensions.x = std::uint64_t{1} << 63;
    expect_refused<std::bad_variant_access>(dimensions, "bad variant access");
}

TEST_F(ImageShape, MayBeTooLargeToBeCounted) {
    std::string const size = "1152921504606846976"; // 2^60
    Root const read(R"(<OME><Image><Pixels SizeX=")" + size + R"(" SizeY=")" + size + R"(" SizeZ=")" + size +
                    R"(" SizeC="9223372036854775807" SizeT="1"/></Image></OME>)");
    Image const& image = read.ome.images().front();
    std::size_t const number = std::size_t{1} << 60;
    EXPECT_EQ(image.storage_shape(), (Sizes{number, number, number, 9223372036854775807u, 1}));
    VEXA_EXPECT_THROWS(image.size(), Invalid_Data, "Image is too large.");
    VEXA_EXPECT_THROWS(image.stride(), Invalid_Data, "Image is too large.");
}

TEST_F(ImageShape, FollowsTheDocumentWhenItIsAdjusted) {
    Image& image = make(divided());
    image.modulo()->set_range_c(Type::lambda, {500, 10, 540, "nm"});
    EXPECT_EQ(image.dimensions().modulo_c, 1u);
    image.adjust_dimensions();
    image.adjust_shape();
    image.adjust_stride();
    EXPECT_EQ(image.dimensions().modulo_c, 5u);
    EXPECT_EQ(image.dimensions().c, 1u);
    EXPECT_EQ(image.stride(), (Sizes{1, 10, 200, 600, 1200, 6000, 6000, 12000}));
    JSON::Value const other = *make({.x = 3}).value();
    image.set(other);
    EXPECT_EQ(image.storage_shape(), (Sizes{3, 1, 1, 1, 1}));
}

TEST_F(ImageShape, HasAStepOfLifetimes) {
    Image& image = make({.c = 2, .modulo_c = 4, .modulo_type_c = Type::lifetime, .modulo_step_c = 2e-9});
    EXPECT_EQ(image.lifetime_increment_in_seconds(), 2e-9);
    image.set_lifetime_increment_in_seconds(3e-9);
    EXPECT_EQ(image.lifetime_increment_in_seconds(), 3e-9);
    EXPECT_EQ(image.modulo()->range_c(), (Image::Modulo::Range{0, 3e-9, 3 * 3e-9, "s"}));
    EXPECT_EQ(image.dimensions().modulo_c, 4u);
    VEXA_EXPECT_THROWS(image.set_lifetime_increment_in_seconds(0), Invalid_Data, "Invalid step modulo C.");
    VEXA_EXPECT_THROWS(image.set_lifetime_increment_in_seconds(not_a_number), Invalid_Data,
                       "Invalid step modulo C.");
    EXPECT_EQ(image.lifetime_increment_in_seconds(), 3e-9);
}

TEST_F(ImageShape, ConvertsTheStepOfLifetimes) {
    Image& image = make({.t = 2, .modulo_t = 3, .modulo_type_t = Type::lifetime});
    image.modulo()->set_range_t(Type::lifetime, {1000, 500, 2000, "ms"});
    EXPECT_EQ(image.lifetime_increment_in_seconds(), 0.5);
    image.set_lifetime_increment_in_seconds(0.25);
    EXPECT_EQ(image.modulo()->range_t(), (Image::Modulo::Range{1, 0.25, 1.5, "s"}));
    image.modulo()->along(Image_Layout::T).unit.set("furlong");
    EXPECT_FALSE(image.lifetime_increment_in_seconds());
}

TEST_F(ImageShape, HasNoStepOfLifetimesWithoutThem) {
    Image& image = make(divided());
    EXPECT_FALSE(image.lifetime_increment_in_seconds());
    VEXA_EXPECT_THROWS(image.set_lifetime_increment_in_seconds(1), Invalid_Argument,
                       "No modulo of type lifetime.");
}
