#include <vexa/ome/Root.h>

#include <numbers>
#include <string>

#include <gtest/gtest.h>

#include <vexa/json/Bad_Access.h>
#include <vexa/json/Writer.h>
#include <vexa/ome/Image_Extension.h>
#include <vexa/testing/expect_throws.h>

using OME::Root;

namespace {

std::string const declaration = R"(<?xml version="1.0" encoding="UTF-8"?>)";
constexpr char const* head =
    R"(<OME xmlns="http://www.openmicroscopy.org/Schemas/OME/2016-06" xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" )"
    R"(xsi:schemaLocation="http://www.openmicroscopy.org/Schemas/OME/2016-06 )"
    R"(http://www.openmicroscopy.org/Schemas/OME/2016-06/ome.xsd">)";

std::string annotation(int id, std::string const& value, std::string const& namespace_text = "old") {
    return "<XMLAnnotation ID=\"Annotation:" + std::to_string(id) + "\" Namespace=\"" + namespace_text +
           "\"><Value>" + value + "</Value></XMLAnnotation>";
}

std::string refer_to(int id) { return "<AnnotationRef ID=\"Annotation:" + std::to_string(id) + "\"/>"; }

/// A document of these children and annotations, in the order in which documents are written.
std::string document(std::string const& children, std::string const& annotations) {
    return head + children + "<StructuredAnnotations>" + annotations + "</StructuredAnnotations></OME>";
}

std::string project(int annotation_id) {
    return "<Project ID=\"Project:1\">" + refer_to(annotation_id) + "</Project>";
}

std::string image(int number, std::string const& channels, std::string const& references) {
    std::string const id = std::to_string(number);
    return "<Image ID=\"Image:" + id + "\">" + references + "<Pixels ID=\"Pixels:" + id + "\">" + channels +
           "</Pixels></Image>";
}

std::string channel(int number, std::string const& references, std::string const& attributes = "") {
    return "<Channel " + attributes + "ID=\"Channel:" + std::to_string(number) + "\">" + references +
           "</Channel>";
}

std::string const two_dyes = R"(<dye description="first" display_color="4278190335" name="DAPI"/>)"
                             R"(<dye description="" display_color="4278255360" name="GFP"/>)";
std::string const rotation = R"(<rotation angle="90" angle_unit="deg"/>)";

OME::Channel& only_channel(Root& root) { return root.ome.images().front().channel(0); }

std::size_t number_of_annotations(Root const& root) { return root.ome.annotations().size(); }

} // namespace

TEST(Update, DyesOfAnOldProjectBecomeDyesAndBands) {
    Root root(document(project(1), annotation(1, two_dyes)));
    auto const& dyes = *root.ome.dyes();
    ASSERT_EQ(dyes.size(), 2u);
    auto dye = dyes.begin();
    EXPECT_EQ(*dye->name().value(), "DAPI");
    EXPECT_EQ(*dye->description().value(), "first");
    EXPECT_EQ(JSON::dump(dye->color_map(), false), R"({"blue":[[0,0,0,0],[0.5,0,0,255],[1,255,255,255]]})");
    EXPECT_EQ(JSON::dump(dye->overlay_color_map(), false), R"({"blue":[[0,0,0,0],[1,0,0,255]]})");
    ++dye;
    EXPECT_EQ(*dye->name().value(), "GFP");
    auto const& bands = *root.ome.bands();
    ASSERT_EQ(bands.size(), 2u);
    EXPECT_EQ(bands.front().first_dye(), &dyes.front());
    EXPECT_EQ(std::next(bands.begin())->first_dye(), &*dye);
    EXPECT_EQ(number_of_annotations(root), 1u);
    EXPECT_EQ(root.ome.annotations().find("Annotation:1"), root.ome.annotations().end());
}

TEST(Update, ValuesOfOldAnnotationsMayBeChildren) {
    Root root(
        document(project(1), annotation(1, "<dye><name>DAPI</name><display_color>4294901760</display_color>"
                                           "<description/></dye>")));
    ASSERT_TRUE(root.ome.dyes());
    EXPECT_EQ(*root.ome.dyes()->front().name().value(), "DAPI");
    EXPECT_FALSE(root.ome.dyes()->front().description());
    EXPECT_EQ(JSON::dump(root.ome.dyes()->front().overlay_color_map(), false),
              R"({"red":[[0,0,0,0],[1,255,0,0]]})");
}

TEST(Update, DoesNothingASecondTime) {
    std::string const old = document(image(1, channel(1, refer_to(3)), refer_to(2)) + project(1),
                                     annotation(1, two_dyes) + annotation(2, rotation) +
                                         annotation(3, R"(<lines accumulation="4"/>)"));
    Root root(old);
    std::string const updated = root.XML();
    EXPECT_NE(updated, declaration + old);
    root.update();
    EXPECT_EQ(root.XML(), updated);
    EXPECT_EQ(Root(updated).XML(), updated);
}

TEST(Update, DocumentsOfThisReleaseStayAsTheyAre) {
    std::string const text = document(
        image(1, channel(1, refer_to(2), R"(Fluor="GFP" )"), refer_to(3)) + project(1),
        annotation(
            1,
            R"(<extension><band ID="Band:7"><dye_reference ID="Dye:3"/></band><dye ID="Dye:3" name="GFP"/></extension>)",
            "urn:vexa/ome/project/extension") +
            annotation(2, R"(<extension><band_reference ID="Band:7"/></extension>)",
                       "urn:vexa/ome/channel/extension") +
            annotation(3, R"(<extension angle="90" angle_unit="deg"/>)", "urn:vexa/ome/image/extension") +
            annotation(4, R"(<lines accumulation="2"/><rotation angle="1" angle_unit="rad"/>)",
                       "nobody refers to it"));
    EXPECT_EQ(Root(text).XML(), declaration + text);
}

TEST(Update, AnnotationsWithoutTheExpectedValuesAreLeftAlone) {
    for (char const* value :
         {R"(<dye display_color="1" name="DAPI"/>)", R"(<dye description="" name="DAPI"/>)",
          R"(<dye description="" display_color="1"/>)", "<dyes/>", "text",
          R"(<dye description="" display_color="1" name="DAPI"/><dye name="GFP"/>)"}) {
        Root const root(document(project(1), annotation(1, value)));
        EXPECT_FALSE(root.ome.dyes()) << value;
        EXPECT_EQ(number_of_annotations(root), 1u) << value;
    }
    for (char const* value :
         {R"(<rotation angle="90"/>)", R"(<rotation angle_unit="deg"/>)", "<rotation/>"}) {
        Root const root(document(image(1, "", refer_to(1)), annotation(1, value)));
        EXPECT_FALSE(root.ome.images().front().extension()) << value;
        EXPECT_EQ(number_of_annotations(root), 1u) << value;
    }
    for (char const* value : {"<lines/>", "<gating/>", R"(<gating delay_unit="s"/>)", "<deactivation/>"}) {
        Root root(document(image(1, channel(1, refer_to(1)), ""), annotation(1, value)));
        EXPECT_FALSE(only_channel(root).line_accumulation()) << value;
        EXPECT_EQ(number_of_annotations(root), 1u) << value;
    }
}

TEST(Update, TextsThatAreNoNumbersKeepTheDocumentFromOpening) {
    std::string const dye =
        document(project(1), annotation(1, R"(<dye description="" display_color="red" name=""/>)"));
    VEXA_EXPECT_THROWS(Root{dye}, std::invalid_argument, "stoul");
    std::string const angle =
        document(image(1, "", refer_to(1)), annotation(1, R"(<rotation angle="steep" angle_unit="deg"/>)"));
    VEXA_EXPECT_THROWS(Root{angle}, std::invalid_argument, "stod");
    std::string const lines =
        document(image(1, channel(1, refer_to(1)), ""), annotation(1, R"(<lines accumulation="many"/>)"));
    VEXA_EXPECT_THROWS(Root{lines}, std::invalid_argument, "stoi");
    std::string const huge = document(image(1, channel(1, refer_to(1)), ""),
                                      annotation(1, R"(<lines accumulation="9999999999"/>)"));
    VEXA_EXPECT_THROWS(Root{huge}, std::out_of_range, "stoi");
}

TEST(Update, ValuesWithoutATextAndUnknownUnitsDoSoToo) {
    std::string const empty = document(image(1, "", refer_to(1)),
                                       annotation(1, R"(<rotation angle_unit="deg"><angle/></rotation>)"));
    VEXA_EXPECT_THROWS(Root{empty}, JSON::Bad_Access, "JSON path 'rotation/angle' not found.");
    std::string const unit =
        document(image(1, "", refer_to(1)), annotation(1, R"(<rotation angle="1" angle_unit="turn"/>)"));
    EXPECT_THROW(Root{unit}, std::bad_variant_access);
    std::string const no_unit =
        document(image(1, channel(1, refer_to(1)), ""), annotation(1, R"(<gating delay="1"/>)"));
    VEXA_EXPECT_THROWS(Root{no_unit}, JSON::Bad_Access, "JSON path 'gating/delay_unit' not found.");
}

TEST(Update, OldRotationMovesIntoTheExtensionOfTheImage) {
    Root root(document(image(1, "", refer_to(1)), annotation(1, rotation)));
    auto const& image = root.ome.images().front();
    EXPECT_DOUBLE_EQ(image.rotation_angle_in_radians(), std::numbers::pi / 2);
    EXPECT_EQ(number_of_annotations(root), 1u);
    EXPECT_TRUE(root.ome.annotations().front().has_namespace("urn:vexa/ome/image/extension"));
}

TEST(Update, RotationThatIsThereComesBeforeTheOldOne) {
    Root root(document(image(1, "", refer_to(1) + refer_to(2)),
                       annotation(1, rotation) + annotation(2, R"(<extension angle="45" angle_unit="deg"/>)",
                                                            "urn:vexa/ome/image/extension")));
    EXPECT_DOUBLE_EQ(root.ome.images().front().rotation_angle_in_radians(), std::numbers::pi / 4);
    EXPECT_EQ(number_of_annotations(root), 1u);
}

TEST(Update, OldValuesInAnAnnotationOfTheNewNamespaceAreTakenOutOfIt) {
    Root root(document(image(1, "", refer_to(1)), annotation(1, rotation, "urn:vexa/ome/image/extension")));
    EXPECT_DOUBLE_EQ(root.ome.images().front().rotation_angle_in_radians(), std::numbers::pi / 2);
    EXPECT_EQ(number_of_annotations(root), 1u);
    EXPECT_EQ(root.XML().find("rotation"), std::string::npos);
}

TEST(Update, ImagesThatShareAnOldAnnotationAllTakeIt) {
    Root const root(document(image(1, "", refer_to(1)) + image(2, "", refer_to(1)), annotation(1, rotation)));
    for (auto const& image : root.ome.images())
        EXPECT_DOUBLE_EQ(image.rotation_angle_in_radians(), std::numbers::pi / 2);
    EXPECT_EQ(number_of_annotations(root), 2u);
    EXPECT_EQ(root.ome.annotations().find("Annotation:1"), root.ome.annotations().end());
}

TEST(Update, AnnotationThatOthersReferToStaysForThem) {
    Root const root(
        document("<Folder ID=\"Folder:1\">" + refer_to(1) + "</Folder>" + image(1, "", refer_to(1)),
                 annotation(1, rotation)));
    EXPECT_EQ(number_of_annotations(root), 2u);
    EXPECT_NE(root.ome.annotations().find("Annotation:1"), root.ome.annotations().end());
}

TEST(Update, ImageWithoutOldDataEndsTheWalkUnlessTheProjectHadSome) {
    std::string const images = image(1, "", refer_to(2)) + image(2, "", "") + image(3, "", refer_to(3));
    std::string const rotations = annotation(2, rotation) + annotation(3, rotation);
    Root const stopped(document(images, rotations));
    EXPECT_TRUE(stopped.ome.images().front().extension());
    EXPECT_EQ(number_of_annotations(stopped), 2u);
    EXPECT_NE(stopped.ome.annotations().find("Annotation:3"), stopped.ome.annotations().end());
    Root const whole(document(images + project(1), annotation(1, two_dyes) + rotations));
    EXPECT_EQ(whole.ome.annotations().find("Annotation:3"), whole.ome.annotations().end());
}

TEST(Update, OldGroupsOfAChannelMoveIntoItsExtension) {
    Root root(document(
        image(1, channel(1, refer_to(1)), "") +
            R"(<Instrument ID="Instrument:1"><Laser ID="LightSource:4"/></Instrument>)",
        annotation(
            1,
            R"(<lines accumulation=" 4 times"/><gating delay="0.5" delay_unit="ns" width="8" width_unit="ns"/>)"
            R"(<deactivation wavelength="775" wavelength_unit="nm" z_component="0.25">)"
            R"(<LightSourceSettings Attenuation="0.5" ID="LightSource:4" Wavelength="774"/></deactivation>)")));
    OME::Channel& channel = only_channel(root);
    EXPECT_EQ(channel.line_accumulation(), 4);
    EXPECT_DOUBLE_EQ(channel.gating_delay_in_seconds().value(), 0.5e-9);
    EXPECT_DOUBLE_EQ(channel.gating_width_in_seconds().value(), 8e-9);
    EXPECT_DOUBLE_EQ(channel.deactivation_wavelength_in_meters().value(), 775e-9);
    EXPECT_EQ(channel.deactivation_z_component(), 0.25);
    EXPECT_EQ(channel.deactivation_light_source(), &root.ome.light_sources()->front());
    EXPECT_EQ(number_of_annotations(root), 1u);
    std::string const text = root.XML();
    EXPECT_NE(
        text.find(
            R"(<LightSourceSettings Attenuation="0.5" ID="LightSource:4" Wavelength="774" WavelengthUnit="nm"/>)"),
        std::string::npos)
        << text;
    EXPECT_EQ(Root(text).XML(), text);
}

TEST(Update, ChannelIsTiedToTheBandOfTheDyeThatItNames) {
    Root root(
        document(image(1, channel(1, "", R"(Fluor="GFP" )"), "") + project(1), annotation(1, two_dyes)));
    OME::Band const* band = only_channel(root).band();
    ASSERT_TRUE(band);
    EXPECT_EQ(band, &*std::next(root.ome.bands()->begin()));
}

TEST(Update, ChannelIsTiedToTheBandOfTheDyeThatItRefersTo) {
    std::string const dyes =
        R"(<extension><dye ID="Dye:1" name="DAPI"/><dye ID="Dye:2" name="GFP"/></extension>)";
    Root root(document(image(1, channel(1, refer_to(2), R"(Fluor="DAPI" )"), "") + project(1),
                       annotation(1, dyes, "urn:vexa/ome/project/extension") +
                           annotation(2, R"(<extension><dye_reference ID="Dye:2"/></extension>)",
                                      "urn:vexa/ome/channel/extension")));
    ASSERT_TRUE(only_channel(root).band());
    EXPECT_EQ(*only_channel(root).band()->first_dye()->name().value(), "GFP");
    EXPECT_EQ(*only_channel(root).fluor().value(), "GFP");
}

TEST(Update, ChannelWithoutAKnownDyeStaysWithoutBand) {
    Root root(document(image(1, channel(1, "", R"(Fluor="Cy5" )") + channel(2, ""), "") + project(1),
                       annotation(1, two_dyes)));
    EXPECT_FALSE(only_channel(root).band());
    EXPECT_FALSE(root.ome.images().front().channel(1).band());
}

TEST(Update, ProjectsWithBandsOrWithoutDyesGetNoBands) {
    Root root("");
    EXPECT_FALSE(root.ome.provide_first_project().update_2());
    root.ome.provide_bands().emplace_back();
    root.ome.provide_dyes().emplace_back();
    EXPECT_FALSE(root.ome.first_project()->update_2());
    EXPECT_EQ(root.ome.bands()->size(), 1u);
}

TEST(Update, EmptyListOfDyesGivesAnEmptyListOfBands) {
    Root root("");
    root.ome.provide_dyes().set(JSON::List());
    EXPECT_TRUE(root.ome.first_project()->update_2());
    EXPECT_TRUE(root.ome.bands()->empty());
    EXPECT_FALSE(root.ome.first_project()->update_2());
}
