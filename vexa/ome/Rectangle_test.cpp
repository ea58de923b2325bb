#include <vexa/ome/Rectangle.h>

#include <limits>
#include <variant>

#include <gtest/gtest.h>

#include <vexa/json/Writer.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;

namespace {

using Triple = VX::XYZ<double>;

/// A document with one rectangle and its annotation.
std::string document(std::string const& attributes, std::string const& extension) {
    return "<OME><ROI><Union><Rectangle " + attributes +
           R"(><AnnotationRef ID="Annotation:4"/></Rectangle></Union></ROI><StructuredAnnotations>)"
           R"(<XMLAnnotation ID="Annotation:4" Namespace="urn:vexa/ome/rectangle/extension"><Value><extension )" +
           extension + "/></Value></XMLAnnotation></StructuredAnnotations></OME>";
}

struct RectangleTest : testing::Test {
    Root root{""};
    ROI& region = *root.ome.ROIs().emplace_back();
    Rectangle& rectangle = *region.rectangles().emplace_back();
    std::string text() { return JSON::dump(*rectangle.value(), false); }
    std::string extension() { return JSON::dump(*root.ome.annotations().front().contents().value(), false); }
};

constexpr char const* length_units[] = {"position_x_unit", "position_y_unit", "position_z_unit",
                                        "size_x_unit",     "size_y_unit",     "size_z_unit"};

struct RectangleUnit : testing::TestWithParam<int> {
    /// The number that belongs to the unit, where all numbers are 6.
    static std::optional<double> value_in(Root const& root) {
        Rectangle const& rectangle = root.ome.ROIs().front().rectangles().front();
        std::optional<double> const values[] = {
            rectangle.position_x_in_meters(), rectangle.position_y_in_meters(),
            rectangle.position_z_in_meters(), rectangle.size_x_in_meters(),
            rectangle.size_y_in_meters(),     rectangle.size_z_in_meters()};
        return values[GetParam()];
    }
    static Root with(std::string const& unit) {
        return Root(document("X='6' Y='6' Width='6' Height='6'",
                             "position_z='6' size_z='6' " + std::string(length_units[GetParam()]) + unit));
    }
};

} // namespace

TEST_F(RectangleTest, WithoutFieldsIsEmpty) {
    EXPECT_EQ(text(), R"({"ID":"Shape:1"})");
    EXPECT_FALSE(rectangle.x() || rectangle.y() || rectangle.width() || rectangle.height());
    EXPECT_FALSE(rectangle.position_in_meters());
    EXPECT_FALSE(rectangle.shape_in_meters());
    EXPECT_EQ(rectangle.rotation_angle_in_radians(), 0);
    EXPECT_TRUE(root.ome.annotations().empty());
}

TEST_F(RectangleTest, StoresEachFieldInItsPlace) {
    rectangle.set_position_in_meters({1.5, -2.5, 3.5});
    rectangle.set_shape_in_meters({4, 5, 6});
    rectangle.set_rotation_angle_in_radians(0);
    rectangle.the_z().set(7);
    std::string const xml = root.XML();
    EXPECT_EQ(
        xml.substr(xml.find("<ROI")),
        R"(<ROI ID="ROI:1"><Union><Rectangle Height="5" ID="Shape:1" TheZ="7" Width="4" X="1.5" Y="-2.5">)"
        R"(<AnnotationRef ID="Annotation:1"/><Transform A00="1" A01="0" A02="0" A10="0" A11="1" A12="0"/>)"
        R"(</Rectangle></Union></ROI><StructuredAnnotations><XMLAnnotation ID="Annotation:1" )"
        R"(Namespace="urn:vexa/ome/rectangle/extension"><Value><extension position_x_unit="m" )"
        R"(position_y_unit="m" position_z="3.5" position_z_unit="m" size_x_unit="m" size_y_unit="m" size_z="6" )"
        R"(size_z_unit="m"/></Value></XMLAnnotation></StructuredAnnotations></OME>)");
    Root const read(xml);
    EXPECT_EQ(*read.value(), *root.value());
    Rectangle const& again = read.ome.ROIs().front().rectangles().front();
    EXPECT_EQ(again.position_in_meters(), (Triple{1.5, -2.5, 3.5}));
    EXPECT_EQ(again.shape_in_meters(), (Triple{4, 5, 6}));
    EXPECT_EQ(again.position_x_in_meters(), 1.5);
    EXPECT_EQ(again.position_y_in_meters(), -2.5);
    EXPECT_EQ(again.position_z_in_meters(), 3.5);
    EXPECT_EQ(again.size_x_in_meters(), 4);
    EXPECT_EQ(again.size_y_in_meters(), 5);
    EXPECT_EQ(again.size_z_in_meters(), 6);
    EXPECT_EQ(real_in(again.x()), 1.5);
    EXPECT_EQ(real_in(again.y()), -2.5);
    EXPECT_EQ(real_in(again.width()), 4);
    EXPECT_EQ(real_in(again.height()), 5);
}

TEST_F(RectangleTest, HasTheUnitsOfItsExtension) {
    Root const read(document("X='1' Y='2' Width='3' Height='4'",
                             "position_x_unit='mm' position_y_unit='µm' size_x_unit='km' size_y_unit='nm' "
                             "position_z='5' position_z_unit='cm' size_z='6' size_z_unit='m'"));
    Rectangle const& again = read.ome.ROIs().front().rectangles().front();
    EXPECT_DOUBLE_EQ(again.position_x_in_meters().value(), 1e-3);
    EXPECT_DOUBLE_EQ(again.position_y_in_meters().value(), 2e-6);
    EXPECT_DOUBLE_EQ(again.position_z_in_meters().value(), 5e-2);
    EXPECT_DOUBLE_EQ(again.size_x_in_meters().value(), 3e3);
    EXPECT_DOUBLE_EQ(again.size_y_in_meters().value(), 4e-9);
    EXPECT_DOUBLE_EQ(again.size_z_in_meters().value(), 6);
}

TEST_F(RectangleTest, HasNoMetersWithoutAnExtension) {
    Root const read("<OME><ROI><Union><Rectangle X='1' Y='2' Width='3' Height='4'/></Union></ROI></OME>");
    Rectangle const& again = read.ome.ROIs().front().rectangles().front();
    EXPECT_FALSE(again.position_x_in_meters() || again.size_y_in_meters());
    EXPECT_FALSE(again.position_z_in_meters() || again.size_z_in_meters());
    EXPECT_EQ(real_in(again.x()), 1);
}

TEST_F(RectangleTest, HasNoPositionUnlessAllOfItIsThere) {
    Root const read(document("X='1' Y='2' Width='3' Height='4'",
                             "position_x_unit='m' position_y_unit='m' position_z_unit='m' "
                             "size_x_unit='m' size_y_unit='m' size_z='1' size_z_unit='pixel'"));
    Rectangle const& again = read.ome.ROIs().front().rectangles().front();
    EXPECT_EQ(again.position_x_in_meters(), 1.0);
    EXPECT_FALSE(again.position_in_meters());
    EXPECT_FALSE(again.shape_in_meters());
}

TEST_F(RectangleTest, StoresNonFiniteNumbersAsTheirStrings) {
    double const infinity = std::numeric_limits<double>::infinity();
    rectangle.set_position_in_meters({infinity, -infinity, std::numeric_limits<double>::quiet_NaN()});
    EXPECT_EQ(*rectangle.x().value(), JSON::Value("Infinity"));
    EXPECT_EQ(*rectangle.y().value(), JSON::Value("-Infinity"));
    EXPECT_NE(extension().find(R"("position_z":"NaN")"), std::string::npos);
    EXPECT_FALSE(rectangle.position_x_in_meters() || rectangle.position_z_in_meters());
    Root const read(root.XML());
    EXPECT_EQ(*read.value(), *root.value());
    Root copy("");
    copy = root;
    EXPECT_EQ(*copy.value(), *root.value());
}

TEST_F(RectangleTest, RefusesAMalformedExtension) {
    for (char const* attribute : {"position_z='high'", "size_z=''"})
        VEXA_EXPECT_THROWS(Root(document("", attribute)), std::bad_variant_access, "bad variant access");
}

TEST_F(RectangleTest, IsCopiedWithAnExtensionOfItsOwn) {
    rectangle.set_position_in_meters({1, 2, 3});
    rectangle.set_rotation_angle_in_radians(0.5);
    Rectangle& second = *region.rectangles().emplace_back();
    second = rectangle;
    second.reset_ID();
    EXPECT_EQ(*second.id.value(), JSON::Value("Shape:2"));
    EXPECT_EQ(second.position_in_meters(), (Triple{1, 2, 3}));
    EXPECT_EQ(second.rotation_angle_in_radians(), 0.5);
    EXPECT_EQ(root.ome.annotations().size(), 2u);
    second.set_position_in_meters({4, 5, 6});
    EXPECT_EQ(rectangle.position_in_meters(), (Triple{1, 2, 3}));
}

TEST_F(RectangleTest, ResetRemovesItsExtension) {
    rectangle.set_shape_in_meters({1, 2, 3});
    rectangle.reset();
    EXPECT_TRUE(root.ome.annotations().empty());
    EXPECT_TRUE(root.registry().numbers<Shape>().all().empty());
    EXPECT_TRUE(root.registry().numbers<Annotation>().all().empty());
}

TEST_P(RectangleUnit, IsTheUnitOfItsNumber) {
    EXPECT_EQ(value_in(with("='km'")), 6000);
    EXPECT_EQ(value_in(with("='pixel'")), std::nullopt);
    EXPECT_EQ(value_in(with("='reference frame'")), std::nullopt);
    EXPECT_EQ(value_in(with("='parsec'")), std::nullopt);
    EXPECT_EQ(value_in(with("_is_missing='m'")), std::nullopt);
    EXPECT_EQ(with("='parsec'").XML(), Root(with("='parsec'").XML()).XML());
}

INSTANTIATE_TEST_SUITE_P(All, RectangleUnit, testing::Range(0, 6),
                         [](auto const& unit) { return std::string(length_units[unit.param]); });
