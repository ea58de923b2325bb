#include <vexa/ome/OME_Utilities.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include <vexa/arrays/StackInfoImp.h>
#include <vexa/foundation/types.h>
#include <vexa/ome/Invalid.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/expect_throws.h>

using namespace Vexa;
using OME::Image;

namespace {

using Shape = std::vector<std::size_t>;
using Data_Type = Image::Data_Type;
using Order = Image::Dimension_Order;

/// A description whose parts need not fit together.
class Info : public arrays::StackInfoImp {
public:
    using StackInfoImp::lengths_;
    using StackInfoImp::shape_;
    using StackInfoImp::StackInfoImp;
};

Info info_of(Shape const& shape, std::vector<double> const& lengths = {}) {
    Info info(types::uint16, shape);
    if (!lengths.empty()) info.lengths_ = lengths;
    return info;
}

Image::Dimensions filled(arrays::StackInfoInterface const& info, Image::Dimensions dimensions = {}) {
    fill_shape(dimensions, info);
    return dimensions;
}

/// X, Y, Z, T and C.
Shape sizes(Image::Dimensions const& dimensions) {
    return {dimensions.x, dimensions.y, dimensions.z, dimensions.t, dimensions.c};
}

/// A document with one new image.
struct Document {
    explicit Document(Image::Dimensions const& dimensions = {})
        : image(*root.ome.images().emplace_back(dimensions, nullptr, nullptr)) {}

    OME::Root root{""};
    Image& image;
};

Data_Type type_for(int code, Data_Type before = Data_Type::bit) {
    Image::Dimensions dimensions;
    dimensions.data_type = before;
    fill_type(dimensions, arrays::StackInfoImp(code, {1}));
    return dimensions.data_type;
}

} // namespace

TEST(FillShape, AxesThatAreMissingHaveOneSample) {
    EXPECT_EQ(sizes(filled(info_of({10, 20}))), (Shape{10, 20, 1, 1, 1}));
    EXPECT_EQ(sizes(filled(info_of({7}))), (Shape{7, 1, 1, 1, 1}));
}

TEST(FillShape, TheLastAxesAreTimeAndChannel) {
    Image::Dimensions const dimensions = filled(info_of({2, 3, 4, 5, 6}));
    EXPECT_EQ(dimensions.t, 5U);
    EXPECT_EQ(dimensions.c, 6U);
    EXPECT_EQ(sizes(dimensions), (Shape{2, 3, 4, 5, 6}));
    EXPECT_EQ(dimensions.dimension_order, Order::XYZTC);
}

TEST(FillShape, LengthsOfZeroAndOneAreUnknown) {
    Image::Dimensions before;
    before.voxel_shape_in_meters = {7, 8, 9};
    Image::Dimensions const two = filled(info_of({5, 5}, {2.0, 1.0}), before);
    EXPECT_EQ(two.voxel_shape_in_meters.x, 0.4);
    EXPECT_EQ(two.voxel_shape_in_meters.y, 8);
    EXPECT_EQ(two.voxel_shape_in_meters.z, 9);
    Image::Dimensions const three = filled(info_of({5, 5, 4}, {0.0, -0.0, -2.0}), before);
    EXPECT_EQ(three.voxel_shape_in_meters.x, 7);
    EXPECT_EQ(three.voxel_shape_in_meters.y, 8);
    EXPECT_EQ(three.voxel_shape_in_meters.z, -0.5);
}

TEST(FillShape, LengthsThatAreNoNumbersGoOver) {
    constexpr double nan = std::numeric_limits<double>::quiet_NaN(),
                     inf = std::numeric_limits<double>::infinity();
    Image::Dimensions const dimensions = filled(info_of({5, 5, 5}, {nan, inf, 5}));
    EXPECT_TRUE(std::isnan(dimensions.voxel_shape_in_meters.x));
    EXPECT_EQ(dimensions.voxel_shape_in_meters.y, inf);
    EXPECT_EQ(dimensions.voxel_shape_in_meters.z, 1);
}

TEST(FillShape, LengthsOfTimeAndChannelPlayNoPart) {
    EXPECT_EQ(filled(info_of({2, 2, 2, 2, 2}, {1, 1, 1, 5, 6})).voxel_shape_in_meters, VX::XYZ<double>());
    EXPECT_EQ(filled(info_of({2, 2, 2, 2, 2}, {1, 1, 1, 5, 6})).time_increment_in_seconds, 0);
}

TEST(FillShape, MissingLengthsAreUnknown) {
    Info info = info_of({2, 4, 8});
    info.lengths_ = {6};
    Image::Dimensions const dimensions = filled(info);
    EXPECT_EQ(dimensions.voxel_shape_in_meters.x, 3);
    EXPECT_EQ(dimensions.voxel_shape_in_meters.y, 0);
    EXPECT_EQ(dimensions.voxel_shape_in_meters.z, 0);
}

TEST(FillShape, AStackWithoutSamplesChangesNothing) {
    Image::Dimensions before;
    before.dimension_order = Order::XYTZC;
    before.x = 3;
    EXPECT_EQ(filled(info_of({}), before), before);
    EXPECT_EQ(filled(info_of({0}), before), before);
    EXPECT_EQ(filled(info_of({4, 0, 5}), before), before);
    EXPECT_EQ(filled(info_of({1, 2, 3, 4, 5, 0}), before), before);
}

TEST(FillShape, MoreThanFiveAxesAreRefusedWhenTheOrderIsSet) {
    Image::Dimensions dimensions;
    dimensions.x = 3;
    VEXA_EXPECT_THROWS(fill_shape(dimensions, info_of({1, 1, 1, 1, 1, 1})), std::invalid_argument,
                       "Unsupported number of 6 dimensions");
    EXPECT_EQ(dimensions.dimension_order, Order::XYZTC);
    EXPECT_EQ(dimensions.x, 3U);
}

TEST(FillShape, AnAxisWithoutSamplesIsRefusedWhenTheOrderIsSet) {
    Info info = info_of({2, 2});
    info.shape_ = {2, 0};
    Image::Dimensions dimensions;
    VEXA_EXPECT_THROWS(fill_shape(dimensions, info), std::invalid_argument, "Unsupported zero dimension");
    EXPECT_EQ(dimensions.dimension_order, Order::XYZTC);
    info.shape_ = {1, 1, 1, 1, 1, 0};
    VEXA_EXPECT_THROWS(fill_shape(dimensions, info), std::invalid_argument, "Unsupported zero dimension");
}

TEST(FillShape, GoesByTheSizesWhateverTheType) {
    Info const info(types::none, {10, 20});
    Image::Dimensions dimensions;
    dimensions.data_type = Data_Type::int32;
    fill_type(dimensions, info);
    fill_shape(dimensions, info);
    EXPECT_EQ(dimensions.data_type, Data_Type::int32);
    EXPECT_EQ(sizes(dimensions), (Shape{10, 20, 1, 1, 1}));
}

TEST(FillType, TypesOfSamplesHaveTheirCounterparts) {
    EXPECT_EQ(type_for(0x00000001), Data_Type::uint8);
    EXPECT_EQ(type_for(0x00000002), Data_Type::int8);
    EXPECT_EQ(type_for(0x00000004), Data_Type::uint16);
    EXPECT_EQ(type_for(0x00000008), Data_Type::int16);
    EXPECT_EQ(type_for(0x00000010), Data_Type::uint32);
    EXPECT_EQ(type_for(0x00000020), Data_Type::int32);
    EXPECT_EQ(type_for(0x00000040), Data_Type::float_);
    EXPECT_EQ(type_for(0x00000080), Data_Type::double_);
    EXPECT_EQ(type_for(0x00000800), Data_Type::uint32);
    EXPECT_EQ(type_for(0x40000040), Data_Type::complex);
    EXPECT_EQ(type_for(0x40000080), Data_Type::double_complex);
}

TEST(FillType, NoTypeChangesNothing) { EXPECT_EQ(type_for(0, Data_Type::uint16), Data_Type::uint16); }

TEST(FillType, TypesWithoutCounterpartAreUnsupported) {
    for (int const code : {0x00000400, 0x00001000, 0x00002000, 0x00010000})
        VEXA_EXPECT_THROWS(type_for(code), OME::Invalid_Argument, "Unsupported OME image type");
}

TEST(FillType, OtherCodesAreUnknown) {
    VEXA_EXPECT_THROWS(type_for(3), std::invalid_argument, "Unknown Vexa type '3'.");
    VEXA_EXPECT_THROWS(type_for(0x8000), std::invalid_argument, "Unknown Vexa type '32768'.");
    VEXA_EXPECT_THROWS(type_for(0x40000001), std::invalid_argument, "Unknown Vexa type '1073741825'.");
    VEXA_EXPECT_THROWS(type_for(types::array_flag | types::uint8), std::invalid_argument,
                       "Unknown Vexa type '-2147483647'.");
}

TEST(WhyNoImage, IsEmptyForAStackThatAnImageCanDescribe) {
    EXPECT_EQ(why_no_image(info_of({10, 20})), "");
    EXPECT_EQ(why_no_image(info_of({2, 3, 4, 5, 6}, {1, 0, -1, 5, 6})), "");
    EXPECT_EQ(why_no_image(arrays::StackInfoImp(types::rgb_word, {1})), "");
    EXPECT_EQ(why_no_image(arrays::StackInfoImp(types::cplx_double, {})), "");
    EXPECT_EQ(why_no_image(arrays::StackInfoImp(types::none, {10, 20})), "");
}

TEST(WhyNoImage, TellsWhatFillingTheImageWouldThrow) {
    for (int const code : {types::rgb_triple, types::int64, types::uint64, types::logical})
        EXPECT_EQ(why_no_image(arrays::StackInfoImp(code, {1})), "Unsupported OME image type");
    EXPECT_EQ(why_no_image(arrays::StackInfoImp(3, {1})), "Unknown Vexa type '3'.");
    EXPECT_EQ(why_no_image(info_of({1, 1, 1, 1, 1, 1})), "Unsupported number of 6 dimensions");
    Info info = info_of({2, 2});
    info.shape_ = {2, 0};
    EXPECT_EQ(why_no_image(info), "Unsupported zero dimension");
}

TEST(WhyNoImage, TheTypeComesFirst) {
    EXPECT_EQ(why_no_image(arrays::StackInfoImp(types::uint64, {1, 1, 1, 1, 1, 1})),
              "Unsupported OME image type");
}

TEST(WhyNoImage, AStackThatGrowsHasASizeTooLate) { EXPECT_EQ(why_no_image(info_of({1, 2, 3, 4, 5, 0})), ""); }

TEST(StackType, DataTypesHaveTheirCodes) {
    EXPECT_EQ(stack_type(Data_Type::bit), 0x00000002);
    EXPECT_EQ(stack_type(Data_Type::int8), 0x00000002);
    EXPECT_EQ(stack_type(Data_Type::int16), 0x00000008);
    EXPECT_EQ(stack_type(Data_Type::int32), 0x00000020);
    EXPECT_EQ(stack_type(Data_Type::uint8), 0x00000001);
    EXPECT_EQ(stack_type(Data_Type::uint16), 0x00000004);
    EXPECT_EQ(stack_type(Data_Type::uint32), 0x00000010);
    EXPECT_EQ(stack_type(Data_Type::float_), 0x00000040);
    EXPECT_EQ(stack_type(Data_Type::double_), 0x00000080);
    EXPECT_EQ(stack_type(Data_Type::complex), 0x40000040);
    EXPECT_EQ(stack_type(Data_Type::double_complex), 0x40000080);
}

TEST(StackType, OfNoDataTypeIsRefused) {
    VEXA_EXPECT_THROWS(stack_type(static_cast<Data_Type>(11)), OME::Invalid_Argument,
                       "Unknown OME image data type '11'.");
}

TEST(StackType, ComesBackFromAllTypesButBits) {
    for (int index = 1; index <= 10; ++index) {
        auto const type = static_cast<Data_Type>(index);
        EXPECT_EQ(type_for(stack_type(type)), type);
    }
    EXPECT_EQ(type_for(stack_type(Data_Type::bit)), Data_Type::int8);
}

TEST(StackType, IsReadFromTheImage) {
    Image::Dimensions dimensions;
    dimensions.data_type = Data_Type::uint16;
    EXPECT_EQ(stack_type(Document(dimensions).image), 0x00000004);
    OME::Root const without("<OME><Image ID='Image:1'/></OME>");
    VEXA_EXPECT_THROWS(stack_type(*without.ome.images().begin()), OME::Invalid_Argument,
                       "Unknown OME image data type 'null'.");
}

TEST(StackSize, IsThatOfTheStackTheImageWasMadeFor) {
    EXPECT_EQ(stack_size(Document(filled(info_of({2, 3, 4, 5, 6}))).image), (Shape{2, 3, 4, 5, 6}));
    EXPECT_EQ(stack_size(Document(filled(info_of({10, 20}))).image), (Shape{10, 20, 1, 1, 1}));
}

TEST(StackSize, FollowsTheOrderOfTheImage) {
    OME::Root const root(
        R"(<OME><Image ID="Image:1"><Pixels DimensionOrder="XYCTZ" SizeX="2" SizeY="3" SizeZ="4")"
        R"( SizeT="5" SizeC="6"/></Image></OME>)");
    EXPECT_EQ(stack_size(*root.ome.images().begin()), (Shape{2, 3, 6, 5, 4}));
}

TEST(FillImage, TakesNameDescriptionAndDate) {
    arrays::StackInfoImp info(types::uint8, {1});
    info.set_name("n\xc3\xa9");
    info.set_description("d");
    info.set_timestamp(arrays::Timestamp(std::chrono::seconds(1'000'000'000)));
    Document document;
    fill_name(document.image, info);
    fill_description(document.image, info);
    fill_acquisition_date(document.image, info);
    EXPECT_EQ(*document.image.name().value(), JSON::Value("n\xc3\xa9"));
    EXPECT_EQ(*document.image.description().value(), JSON::Value("d"));
    EXPECT_EQ(document.image.acquisition_date(), info.timestamp());
}

TEST(FillImage, WhatTheStackDoesNotKnowStays) {
    arrays::StackInfoImp const info(types::uint8, {1});
    Document document;
    document.image.name().set(JSON::Value("n"));
    document.image.description().set(JSON::Value("d"));
    arrays::Timestamp const date(std::chrono::seconds(7));
    document.image.set_acquisition_date(date);
    fill_name(document.image, info);
    fill_description(document.image, info);
    fill_acquisition_date(document.image, info);
    EXPECT_EQ(*document.image.name().value(), JSON::Value("n"));
    EXPECT_EQ(*document.image.description().value(), JSON::Value("d"));
    EXPECT_EQ(document.image.acquisition_date(), date);
}

TEST(FillImage, OfAStackThatKnowsNothingAddsNothing) {
    arrays::StackInfoImp const info(types::uint8, {1});
    Document document;
    std::string const before = document.root.XML();
    fill_name(document.image, info);
    fill_description(document.image, info);
    fill_acquisition_date(document.image, info);
    EXPECT_EQ(document.root.XML(), before);
}

TEST(FillImage, ADateBeforeTheEpochIsADate) {
    arrays::StackInfoImp info(types::uint8, {1});
    info.set_timestamp(arrays::Timestamp(std::chrono::seconds(-1)));
    Document document;
    fill_acquisition_date(document.image, info);
    EXPECT_EQ(document.image.acquisition_date(), info.timestamp());
}
