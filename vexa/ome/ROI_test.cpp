#include <vexa/ome/ROI.h>

#include <limits>
#include <optional>
#include <variant>

#include <gtest/gtest.h>

#include <vexa/json/Writer.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;

namespace {

using Triple = VX::XYZ<double>;

/// A region with a line and two rectangles, and a folder that refers to it.
char const* const full = R"(<OME><Folder ID="Folder:1"><ROIRef ID="ROI:3"/></Folder>
<ROI ID="ROI:3" Name="n"><Description>d</Description><Union><Line ID="Shape:1" X1="1"/>
<Rectangle ID="Shape:2" X="5"><AnnotationRef ID="Annotation:2"/></Rectangle><Rectangle ID="Shape:x"/></Union></ROI>
<StructuredAnnotations><XMLAnnotation ID="Annotation:2" Namespace="urn:vexa/ome/rectangle/extension"><Value>
<extension position_x_unit="km"/></Value></XMLAnnotation></StructuredAnnotations></OME>)";

struct RoiTest : testing::Test {
    Root root{""};
    ROI& region = *root.ome.ROIs().emplace_back();
    std::string text() { return JSON::dump(*region.value(), false); }

    void expect_no_single_rectangle() {
        ROI const& reader = region;
        EXPECT_EQ(reader.single_rectangle(), nullptr);
        using Refusal = ROI::ROI_is_not_Single_Rectangle;
        char const* const refusal = "ROI is not single rectangle";
        VEXA_EXPECT_THROWS(reader.rotation_angle_in_radians(), Refusal, refusal);
        VEXA_EXPECT_THROWS(reader.position_in_meters(), Refusal, refusal);
        VEXA_EXPECT_THROWS(reader.shape_in_meters(), Refusal, refusal);
    }
    void expect_no_setting() {
        JSON::Value const before = *root.value();
        EXPECT_EQ(region.single_rectangle(), nullptr);
        using Refusal = ROI::ROI_is_not_Single_Rectangle;
        char const* const refusal = "ROI is not single rectangle";
        VEXA_EXPECT_THROWS((region.set_rotation_angle_in_radians(1), 0), Refusal, refusal);
        VEXA_EXPECT_THROWS((region.set_position_in_meters({}), 0), Refusal, refusal);
        VEXA_EXPECT_THROWS((region.set_shape_in_meters({}), 0), Refusal, refusal);
        EXPECT_EQ(*root.value(), before);
    }
};

} // namespace

static_assert(std::is_base_of_v<Invalid_Argument, ROI::ROI_is_not_Single_Rectangle>);

TEST_F(RoiTest, WithoutShapesIsNoRectangle) {
    EXPECT_EQ(text(), R"({"ID":"ROI:1"})");
    EXPECT_FALSE(region.name() || region.description());
    EXPECT_TRUE(region.lines().empty() && region.rectangles().empty());
    expect_no_single_rectangle();
    EXPECT_EQ(text(), R"({"ID":"ROI:1"})");
}

TEST_F(RoiTest, MakesItsRectangleWhenItIsSet) {
    region.set_shape_in_meters({1, 2, 3});
    ASSERT_NE(region.single_rectangle(), nullptr);
    EXPECT_EQ(region.rectangles().size(), 1u);
    EXPECT_EQ(region.shape_in_meters(), (Triple{1, 2, 3}));
    EXPECT_EQ(region.position_in_meters(), std::nullopt);
    EXPECT_EQ(region.rotation_angle_in_radians(), 0);
    Rectangle const* const made = region.single_rectangle();
    region.set_position_in_meters({4, 5, 6});
    region.set_rotation_angle_in_radians(0.25);
    EXPECT_EQ(std::as_const(region).single_rectangle(), made);
    EXPECT_EQ(region.position_in_meters(), (Triple{4, 5, 6}));
    EXPECT_EQ(region.rotation_angle_in_radians(), 0.25);
    region.rectangles().clear();
    region.set_position_in_meters({7, 8, 9});
    EXPECT_EQ(region.position_in_meters(), (Triple{7, 8, 9}));
    region.rectangles().clear();
    region.set_rotation_angle_in_radians(-1);
    EXPECT_EQ(region.rotation_angle_in_radians(), -1);
}

TEST_F(RoiTest, WithALineOrTwoRectanglesIsNotSingle) {
    region.set_shape_in_meters({1, 2, 3});
    region.lines().emplace_back();
    expect_no_single_rectangle();
    expect_no_setting();
    region.lines().clear();
    EXPECT_EQ(region.shape_in_meters(), (Triple{1, 2, 3}));
    region.rectangles().emplace_back();
    expect_no_single_rectangle();
    expect_no_setting();
    region.rectangles().clear();
    region.lines().emplace_back();
    expect_no_single_rectangle();
    expect_no_setting();
}

TEST_F(RoiTest, MakesNoRectangleForARotationByNoNumber) {
    VEXA_EXPECT_THROWS(region.set_rotation_angle_in_radians(std::numeric_limits<double>::quiet_NaN()),
                       std::bad_variant_access, "bad variant access");
    EXPECT_EQ(text(), R"({"ID":"ROI:1"})");
}

TEST_F(RoiTest, StoresEachFieldInItsPlace) {
    region.name().set("n");
    region.description().set("dµ");
    region.lines().emplace_back()->x1().set(1);
    region.rectangles().emplace_back()->x().set(2);
    std::string const xml = root.XML();
    EXPECT_EQ(xml.substr(xml.find("<ROI")),
              R"(<ROI ID="ROI:1" Name="n"><Description>dµ</Description><Union><Line ID="Shape:1" X1="1"/>)"
              R"(<Rectangle ID="Shape:2" X="2"/></Union></ROI></OME>)");
    Root const read(xml);
    EXPECT_EQ(*read.value(), *root.value());
    ROI const& again = read.ome.ROIs().front();
    EXPECT_EQ(*again.name().value(), JSON::Value("n"));
    EXPECT_EQ(*again.description().value(), JSON::Value("dµ"));
    EXPECT_EQ(again.lines().size(), 1u);
    EXPECT_EQ(real_in(again.rectangles().front().x()), 2);
}

TEST_F(RoiTest, IsReadWithItsShapesAndTheirAnnotations) {
    Root const read(full);
    ROI const& again = read.ome.ROIs().front();
    EXPECT_EQ(*again.name().value(), JSON::Value("n"));
    EXPECT_EQ(*again.description().value(), JSON::Value("d"));
    EXPECT_EQ(real_in(again.lines().front().x1()), 1);
    EXPECT_EQ(again.rectangles().size(), 2u);
    EXPECT_EQ(again.rectangles().front().position_x_in_meters(), 5000);
    EXPECT_EQ(read.registry().numbers<ROI>().count(3), 2u);
    EXPECT_EQ(read.registry().numbers<Shape>().all().size(), 2u);
    EXPECT_EQ(*Root(read.XML()).value(), *read.value());
}

TEST_F(RoiTest, IsRefusedWithAnIdentifierOfAnotherTypeOrAMissingAnnotation) {
    VEXA_EXPECT_THROWS(Root("<OME><ROI ID='Shape:1'/></OME>"), std::bad_variant_access, "bad variant access");
    VEXA_EXPECT_THROWS(Root("<OME><ROI><Union><Line ID='ROI:1'/></Union></ROI></OME>"),
                       std::bad_variant_access, "bad variant access");
    VEXA_EXPECT_THROWS(Root("<OME><Folder><ROIRef ID='ROI:1'/></Folder></OME>"), Invalid_Argument,
                       "Incomplete data: missing ROI:1.");
}

TEST_F(RoiTest, IsCopiedWithIdentifiersOfItsOwn) {
    Root read(full);
    ROI const& source = read.ome.ROIs().front();
    ROI const& copy = *read.ome.ROIs().emplace_back(source);
    EXPECT_EQ(
        JSON::dump(*copy.value(), false),
        R"({"":{"Description":[{"":"d"}],"Union":[{"":{"Line":[{"ID":"Shape:3","X1":1}],)"
        R"("Rectangle":[{"":{"AnnotationRef":[{"ID":"Annotation:3"}]},"ID":"Shape:4","X":5},{"ID":"Shape:5"}]}}]},)"
        R"("ID":"ROI:4","Name":"n"})");
    EXPECT_EQ(*source.id.value(), JSON::Value("ROI:3"));
    EXPECT_EQ(copy.rectangles().front().position_x_in_meters(), 5000);
    EXPECT_EQ(read.ome.annotations().size(), 2u);
    EXPECT_EQ(*Root(read.XML()).value(), *read.value());
    read.ome.ROIs().remove("ROI:3"); // and its annotation stays, as it does for any element that is erased
    EXPECT_EQ(copy.rectangles().front().position_x_in_meters(), 5000);
}

TEST_F(RoiTest, IsCopiedFromADocumentThatThenGoesAway) {
    std::optional<Root> source(full);
    ROI& copy = *root.ome.ROIs().emplace_back(source->ome.ROIs().front());
    source.reset();
    EXPECT_EQ(*copy.id.value(), JSON::Value("ROI:2"));
    EXPECT_EQ(copy.rectangles().front().position_x_in_meters(), 5000);
    copy.rectangles().front().set_position_in_meters({1, 2, 3});
    EXPECT_EQ(root.ome.annotations().size(), 1u);
    root.resolve_references();
    EXPECT_EQ(*Root(root.XML()).value(), *root.value());
    copy = *root.ome.ROIs().emplace_back();
    EXPECT_TRUE(copy.lines().empty() && copy.rectangles().empty());
    EXPECT_TRUE(root.registry().numbers<Shape>().all().empty());
}

TEST_F(RoiTest, IsCopiedWithItsDocument) {
    Root const source(full);
    Root copy(full);
    copy = source;
    EXPECT_EQ(copy.ome.ROIs().size(), 1u);
    EXPECT_EQ(*copy.ome.ROIs().front().id.value(), JSON::Value("ROI:3"));
    EXPECT_EQ(copy.ome.ROIs().front().rectangles().front().position_x_in_meters(), 5000);
    EXPECT_EQ(copy.registry().numbers<ROI>().count(3), 2u);
    EXPECT_EQ(*Root(copy.XML()).value(), *copy.value());
    Root empty("");
    copy = empty;
    EXPECT_TRUE(copy.ome.ROIs().empty());
    EXPECT_EQ(copy.XML().find("<ROI"), std::string::npos);
}

TEST_F(RoiTest, CopiesLackShapesWithoutAClass) {
    Root const source("<OME><ROI><Union><Ellipse ID='Shape:1'/><Rectangle X='1'/></Union></ROI></OME>");
    EXPECT_NE(source.ome.ROIs().front().single_rectangle(), nullptr);
    EXPECT_NE(source.XML().find("Ellipse"), std::string::npos);
    Root copy("");
    copy = source;
    EXPECT_EQ(copy.XML().find("Ellipse"), std::string::npos);
}

TEST_F(RoiTest, TakesFreshIdentifiersWithItsShapes) {
    region.lines().emplace_back();
    region.rectangles().emplace_back();
    region.reset_ID();
    EXPECT_EQ(
        text(),
        R"({"":{"Union":[{"":{"Line":[{"ID":"Shape:3"}],"Rectangle":[{"ID":"Shape:4"}]}}]},"ID":"ROI:1"})");
}

TEST_F(RoiTest, IsReferredToByFolders) {
    Folder& folder = root.ome.provide_first_folder();
    ROI& second = *root.ome.ROIs().emplace_back();
    folder.add(region);
    folder.add(second);
    EXPECT_EQ(JSON::dump(*folder.content.value(), false), R"({"ROIRef":[{"ID":"ROI:1"},{"ID":"ROI:2"}]})");
    EXPECT_EQ(*Root(root.XML()).value(), *root.value());
    folder.remove(region);
    folder.remove(region); // not in the list
    EXPECT_EQ(JSON::dump(*folder.content.value(), false), R"({"ROIRef":[{"ID":"ROI:2"}]})");
    EXPECT_EQ(region.id.count(), 1u);
    EXPECT_EQ(second.id.count(), 2u);
    Folder& copy = *root.ome.folders().emplace_back();
    copy = folder;
    EXPECT_EQ(second.id.count(), 3u);
    root.ome.ROIs().clear();
    EXPECT_EQ(root.registry().numbers<ROI>().count(2), 2u); // the references stay, and are unresolved
    VEXA_EXPECT_THROWS((root.resolve_references(), 0), Invalid_Argument, "Incomplete data: missing ROI:2.");
}

TEST_F(RoiTest, IsGoneWhenTheDocumentIsCleared) {
    Root read(full);
    read.ome.clear();
    EXPECT_EQ(read.XML().find("<ROI"), std::string::npos);
    EXPECT_TRUE(read.ome.ROIs().empty());
    EXPECT_TRUE(read.registry().numbers<ROI>().all().empty());
    EXPECT_TRUE(read.registry().numbers<Shape>().all().empty());
    EXPECT_TRUE(read.registry().numbers<Annotation>().all().empty());
}
