// What channels refer to: light sources, detectors, dyes and bands.

#include <vexa/ome/Channel.h>

#include <gtest/gtest.h>

#include <vexa/ome/Invalid.h>
#include <vexa/testing/channel_document.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;
using Vexa::testing::channel_annotation;
using Vexa::testing::channel_xml;
using Vexa::testing::ChannelDocument;

namespace {

/// A document with a new channel.
struct ChannelReferences : testing::Test {
    ChannelDocument document{channel_xml("")};
    Root& root = document.root;
    Channel& channel = *document.channels.emplace_back();
};

} // namespace

TEST_F(ChannelReferences, TakesTheWavelengthOfItsLightSource) {
    channel.set_light_source("LightSource:2");
    EXPECT_EQ(channel.light_source(), &root.find_light_source("LightSource:2"));
    EXPECT_EQ(document.channels_as_xml(),
              R"(<Channel ExcitationWavelength="0.775" ExcitationWavelengthUnit="µm" ID="Channel:1">)"
              R"(<LightSourceSettings ID="LightSource:2"/></Channel>)");
    channel.set_light_source("LightSource:1"); // without a unit
    EXPECT_DOUBLE_EQ(channel.excitation_wavelength_in_meters().value(), 488e-9);
    channel.set_light_source("LightSource:3"); // without a wavelength
    EXPECT_DOUBLE_EQ(channel.excitation_wavelength_in_meters().value(), 488e-9);
}

TEST_F(ChannelReferences, PrefersTheWavelengthThatIsSetForItsLightSource) {
    channel.light_source_settings().set_wavelength({500, Length::nm});
    channel.set_light_source("LightSource:1");
    EXPECT_EQ(document.channels_as_xml(),
              R"(<Channel ExcitationWavelength="500" ExcitationWavelengthUnit="nm" ID="Channel:1">)"
              R"(<LightSourceSettings ID="LightSource:1" Wavelength="500" WavelengthUnit="nm"/></Channel>)");
}

TEST_F(ChannelReferences, HasTheExcitationWavelengthOfItsLightSourceIfItHasNone) {
    auto const wavelength = [](std::string const& attribute, std::string const& settings) {
        return ChannelDocument(channel_xml("<Channel " + attribute + "><LightSourceSettings " + settings +
                                           "/></Channel>"))
            .channel()
            .excitation_wavelength_in_meters();
    };
    EXPECT_DOUBLE_EQ(wavelength("ExcitationWavelength='1'", "ID='LightSource:1' Wavelength='2'").value(),
                     1e-9);
    EXPECT_DOUBLE_EQ(wavelength("", "ID='LightSource:1' Wavelength='2'").value(), 2e-9);
    EXPECT_DOUBLE_EQ(wavelength("", "ID='LightSource:1'").value(), 488e-9);
    EXPECT_DOUBLE_EQ(wavelength("", "ID='LightSource:2'").value(), 775e-9);
    EXPECT_DOUBLE_EQ(wavelength("", "Wavelength='2'").value(), 2e-9);
    EXPECT_FALSE(wavelength("", "ID='LightSource:3'"));
    EXPECT_FALSE(wavelength("", ""));
    EXPECT_FALSE(wavelength("ExcitationWavelength='INF'", "ID='LightSource:1'"));
    EXPECT_FALSE(wavelength("", "ID='LightSource:1' Wavelength='INF'"));
    EXPECT_FALSE(wavelength("", "ID='LightSource:1' Wavelength='1' WavelengthUnit='league'"));
}

TEST_F(ChannelReferences, RefusesPartsThatAreNotThereBeforeAnythingChanges) {
    JSON::Value const before = *root.value();
    VEXA_EXPECT_THROWS(channel.set_light_source("LightSource:9"), Invalid_Argument,
                       "Unknown light source 'LightSource:9'.");
    VEXA_EXPECT_THROWS(channel.set_deactivation_light_source("LightSource:9"), Invalid_Argument,
                       "Unknown light source 'LightSource:9'.");
    VEXA_EXPECT_THROWS(channel.set_detector("Detector:9"), Invalid_Argument,
                       "Unknown detector 'Detector:9'.");
    VEXA_EXPECT_THROWS(channel.set_dye("Dye:9"), Invalid_Argument, "Unknown dye 'Dye:9'.");
    VEXA_EXPECT_THROWS(channel.set_band("Band:9"), Invalid_Argument, "Unknown band 'Band:9'.");
    VEXA_EXPECT_THROWS(channel.light_path().add_excitation_filter("Filter:9"), Invalid_Argument,
                       "Unknown filter 'Filter:9'.");
    VEXA_EXPECT_THROWS(channel.light_path().add_emission_filter("Filter:9"), Invalid_Argument,
                       "Unknown filter 'Filter:9'.");
    EXPECT_EQ(*root.value(), before);
}

TEST_F(ChannelReferences, WithAReferenceToAMissingElementDoesNotOpen) {
    for (auto const& [children, missing] :
         {std::pair("<LightSourceSettings ID='LightSource:9'/>", "Incomplete data: missing LightSource:9."),
          std::pair("<DetectorSettings ID='Detector:9'/>", "Incomplete data: missing Detector:9."),
          std::pair("<LightPath><EmissionFilterRef ID='Filter:9'/></LightPath>",
                    "Incomplete data: missing Filter:9."),
          std::pair("<LightPath><ExcitationFilterRef ID='Filter:8'/></LightPath>",
                    "Incomplete data: missing Filter:8.")})
        VEXA_EXPECT_THROWS(ChannelDocument(channel_xml("<Channel>" + std::string(children) + "</Channel>")),
                           Invalid_Argument, missing);
}

TEST_F(ChannelReferences, RefersToADyeAndNamesIt) {
    channel.set_dye("Dye:1");
    EXPECT_EQ(channel.dye(), &root.find_dye("Dye:1"));
    EXPECT_EQ(std::as_const(channel).dye(), &root.find_dye("Dye:1"));
    EXPECT_EQ(document.channels_as_xml(),
              R"(<Channel Fluor="Green" ID="Channel:1"><AnnotationRef ID="Annotation:2"/></Channel>)");
    EXPECT_EQ(document.annotations_as_xml(),
              channel_annotation(2, "channel", R"(<extension><dye_reference ID="Dye:1"/></extension>)"));
    channel.set_dye("Dye:2");
    EXPECT_EQ(*channel.fluor().value(), JSON::Value("Red"));
    channel.set_dye("Dye:3"); // has no name
    EXPECT_FALSE(channel.fluor());
    channel.fluor().set("x");
    channel.clear_dye();
    EXPECT_EQ(channel.dye(), nullptr);
    EXPECT_FALSE(channel.fluor());
    EXPECT_EQ(document.annotations_as_xml(), channel_annotation(2, "channel", "<extension/>"));
    EXPECT_EQ(root.find_dye("Dye:3").id.count(), 1u);
}

TEST_F(ChannelReferences, RefersToABandAndNamesItsFirstDye) {
    channel.set_band("Band:1");
    EXPECT_EQ(channel.band(), &root.find_band("Band:1"));
    EXPECT_EQ(std::as_const(channel).band(), &root.find_band("Band:1"));
    EXPECT_EQ(*channel.fluor().value(), JSON::Value("Red"));
    channel.set_band("Band:2"); // has no dyes
    EXPECT_EQ(channel.band(), &root.find_band("Band:2"));
    EXPECT_EQ(*channel.fluor().value(), JSON::Value("Red"));
    EXPECT_EQ(document.annotations_as_xml(),
              channel_annotation(2, "channel", R"(<extension><band_reference ID="Band:2"/></extension>)"));
    channel.clear_band();
    EXPECT_EQ(channel.band(), nullptr);
    EXPECT_EQ(document.channels_as_xml(),
              R"(<Channel ID="Channel:1"><AnnotationRef ID="Annotation:2"/></Channel>)");
}

TEST_F(ChannelReferences, ForgetsWhatIsRemovedFromTheDocument) {
    channel.set_dye("Dye:1");
    channel.set_band("Band:1");
    channel.set_light_source("LightSource:1");
    channel.set_deactivation_light_source("LightSource:2");
    channel.set_detector("Detector:1");
    channel.light_path().add_emission_filter("Filter:1");
    root.ome.dyes()->clear();
    root.ome.bands()->clear();
    root.ome.instruments().clear();
    EXPECT_EQ(channel.dye(), nullptr);
    EXPECT_EQ(channel.band(), nullptr);
    EXPECT_EQ(channel.light_source(), nullptr);
    EXPECT_EQ(channel.deactivation_light_source(), nullptr);
    EXPECT_EQ(channel.detector(), nullptr);
    EXPECT_FALSE(channel.light_path().emission_cut_in_in_meters());
    EXPECT_DOUBLE_EQ(channel.excitation_wavelength_in_meters().value(), 488e-9);
}
