#include <vexa/ome/Channel.h>

#include <limits>
#include <variant>

#include <gtest/gtest.h>

#include <vexa/testing/channel_document.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;
using Vexa::testing::channel_xml;
using Vexa::testing::ChannelDocument;

namespace {

using Mode = Channel::Acquisition_Mode;

/// A document with a new channel.
struct ChannelTest : testing::Test {
    ChannelDocument document{channel_xml("")};
    Root& root = document.root;
    Channel& channel = *document.channels.emplace_back();
    std::string text() { return JSON::dump(*channel.value(), false); }
};

ChannelDocument with_attribute(std::string const& attribute) {
    return ChannelDocument(channel_xml("<Channel " + attribute + "/>"));
}

} // namespace

TEST_F(ChannelTest, WithoutFieldsIsEmpty) {
    EXPECT_EQ(text(), R"({"ID":"Channel:1"})");
    Channel const& empty = channel;
    EXPECT_FALSE(empty.name() || empty.fluor() || empty.samples_per_pixel() || empty.ND_filter());
    EXPECT_FALSE(empty.pockel_cell_setting());
    EXPECT_FALSE(empty.acquisition_mode() || empty.contrast_method() || empty.illumination_type());
    EXPECT_FALSE(empty.pinhole_size_in_meters() || empty.excitation_wavelength_in_meters());
    EXPECT_FALSE(empty.emission_wavelength_in_meters());
    EXPECT_FALSE(empty.light_source_settings() || empty.detector_settings() || empty.light_path());
    EXPECT_EQ(empty.light_source(), nullptr);
    EXPECT_EQ(empty.detector(), nullptr);
    EXPECT_EQ(empty.dye(), nullptr);
    EXPECT_EQ(empty.band(), nullptr);
    channel.clear_dye();
    channel.clear_band();
    channel.reset_color_map();
    channel.reset_overlay_color_map();
    EXPECT_EQ(document.channels_as_xml(), R"(<Channel ID="Channel:1"/>)");
    EXPECT_EQ(document.annotations_as_xml(), "");
}

TEST_F(ChannelTest, IsOpaqueWhiteByDefault) {
    EXPECT_EQ(channel.color_in_RGBA(), 0xFFFFFFFFu);
    EXPECT_EQ(channel.color_in_ARGB(), 0xFFFFFFFFu);
    EXPECT_EQ(text(), R"({"ID":"Channel:1"})");
}

TEST_F(ChannelTest, WritesEachFieldAndReadsItBack) {
    channel.name().set("first µ");
    channel.samples_per_pixel().set(1);
    channel.set_illumination_type(Channel::Illumination_Type::epifluorescence);
    channel.set_pinhole_size({50, Length::um});
    channel.set_acquisition_mode(Mode::laser_scanning_confocal_microscopy);
    channel.set_contrast_method(Channel::Contrast_Method::fluorescence);
    channel.set_excitation_wavelength({488, Length::nm});
    channel.set_emission_wavelength({0.52, Length::um});
    channel.fluor().set("Green");
    channel.ND_filter().set(0.25);
    channel.pockel_cell_setting().set(-3);
    channel.set_color_in_RGBA(0x00FF00FF);
    channel.set_light_source("LightSource:3");
    channel.light_source_settings().attenuation().set(0.125);
    channel.light_source_settings().set_wavelength({640, Length::nm});
    channel.set_detector("Detector:2");
    Detector_Settings& settings = channel.detector_settings();
    settings.offset().set(-0.5);
    settings.gain().set(2.5);
    settings.voltage().set(600);
    settings.voltage_unit().set("V");
    settings.zoom().set(3);
    settings.read_out_rate().set(10);
    settings.read_out_rate_unit().set("MHz");
    settings.binning().set("2x2");
    settings.integration().set(4);
    channel.light_path().add_excitation_filter("Filter:2");
    EXPECT_EQ(
        document.channels_as_xml(),
        R"(<Channel AcquisitionMode="LaserScanningConfocalMicroscopy" Color="16711935" )"
        R"(ContrastMethod="Fluorescence" EmissionWavelength="0.52" EmissionWavelengthUnit="µm" )"
        R"(ExcitationWavelength="488" ExcitationWavelengthUnit="nm" Fluor="Green" ID="Channel:1" )"
        R"(IlluminationType="Epifluorescence" NDFilter="0.25" Name="first µ" PinholeSize="50" )"
        R"(PinholeSizeUnit="µm" PockelCellSetting="-3" SamplesPerPixel="1">)"
        R"(<DetectorSettings Binning="2x2" Gain="2.5" ID="Detector:2" Integration="4" Offset="-0.5" )"
        R"(ReadOutRate="10" ReadOutRateUnit="MHz" Voltage="600" VoltageUnit="V" Zoom="3"/>)"
        R"(<LightPath><AnnotationRef ID="Annotation:2"/><ExcitationFilterRef ID="Filter:2"/></LightPath>)"
        R"(<LightSourceSettings Attenuation="0.125" ID="LightSource:3" Wavelength="640" )"
        R"(WavelengthUnit="nm"/></Channel>)");

    ChannelDocument back(root.XML());
    EXPECT_EQ(*back.root.value(), *root.value());
    Channel const& found = back.channel();
    EXPECT_EQ(*found.name().value(), JSON::Value("first µ"));
    EXPECT_EQ(*found.samples_per_pixel().value(), JSON::Value(1));
    EXPECT_EQ(found.illumination_type(), Channel::Illumination_Type::epifluorescence);
    EXPECT_DOUBLE_EQ(found.pinhole_size_in_meters().value(), 50e-6);
    EXPECT_EQ(found.acquisition_mode(), Mode::laser_scanning_confocal_microscopy);
    EXPECT_EQ(found.contrast_method(), Channel::Contrast_Method::fluorescence);
    EXPECT_DOUBLE_EQ(found.excitation_wavelength_in_meters().value(), 488e-9);
    EXPECT_DOUBLE_EQ(found.emission_wavelength_in_meters().value(), 520e-9);
    EXPECT_EQ(*found.fluor().value(), JSON::Value("Green"));
    EXPECT_EQ(*found.ND_filter().value(), JSON::Value(0.25));
    EXPECT_EQ(*found.pockel_cell_setting().value(), JSON::Value(-3));
    EXPECT_EQ(found.color_in_RGBA(), 0x00FF00FFu);
    EXPECT_EQ(found.light_source(), &back.root.find_light_source("LightSource:3"));
    EXPECT_EQ(*found.light_source_settings().attenuation().value(), JSON::Value(0.125));
    EXPECT_DOUBLE_EQ(found.light_source_settings().wavelength_in_meters().value(), 640e-9);
    EXPECT_EQ(found.detector(), &back.root.find_detector("Detector:2"));
    Detector_Settings const& detector = found.detector_settings();
    EXPECT_EQ(*detector.offset().value(), JSON::Value(-0.5));
    EXPECT_EQ(*detector.gain().value(), JSON::Value(2.5));
    EXPECT_EQ(*detector.voltage().value(), JSON::Value(600));
    EXPECT_EQ(*detector.voltage_unit().value(), JSON::Value("V"));
    EXPECT_EQ(*detector.zoom().value(), JSON::Value(3));
    EXPECT_EQ(*detector.read_out_rate().value(), JSON::Value(10));
    EXPECT_EQ(*detector.read_out_rate_unit().value(), JSON::Value("MHz"));
    EXPECT_EQ(*detector.binning().value(), JSON::Value("2x2"));
    EXPECT_EQ(*detector.integration().value(), JSON::Value(4));
    ASSERT_EQ(found.light_path().excitation_filters().size(), 1u);
    EXPECT_EQ(found.light_path().excitation_filters().front().referent(), &back.root.find_filter("Filter:2"));
}

TEST(Channel, IsReadFromADocumentOfAnother) {
    ChannelDocument document(channel_xml(
        R"(<Channel ID="Channel:0:1" Name="Alexa" AcquisitionMode="STED" PinholeSize="1" PinholeSizeUnit="mm" )"
        R"(ExcitationWavelength="561.5" EmissionWavelength="610" Color="-16776961" NDFilter="1e-2">
  <LightSourceSettings ID="LightSource:1"></LightSourceSettings>
  <DetectorSettings ID="Detector:1" Gain="1.0" Binning="1x1"/>
  <LightPath><EmissionFilterRef ID="Filter:1"/></LightPath>
</Channel>)"));
    Channel& channel = document.channel();
    EXPECT_EQ(*channel.id.value(), JSON::Value("Channel:0:1"));
    EXPECT_EQ(*channel.name().value(), JSON::Value("Alexa"));
    EXPECT_EQ(channel.acquisition_mode(), Mode::STED);
    EXPECT_EQ(channel.pinhole_size_in_meters(), 1e-3);
    EXPECT_DOUBLE_EQ(channel.excitation_wavelength_in_meters().value(), 561.5e-9);
    EXPECT_DOUBLE_EQ(channel.emission_wavelength_in_meters().value(), 610e-9);
    EXPECT_EQ(channel.color_in_RGBA(), 0xFF0000FFu);
    EXPECT_EQ(*channel.ND_filter().value(), JSON::Value(0.01));
    EXPECT_EQ(channel.light_source(), &document.root.find_light_source("LightSource:1"));
    EXPECT_EQ(channel.detector(), &document.root.find_detector("Detector:1"));
    EXPECT_EQ(channel.light_path().emission_filters().front().referent(),
              &document.root.find_filter("Filter:1"));
    EXPECT_EQ(document.annotations_as_xml(), "");
}

TEST_F(ChannelTest, StoresColoursAsSignedIntegers) {
    struct {
        unsigned rgba, argb;
        long long stored;
    } const colours[] = {{0, 0, 0},
                         {0x01020304, 0x04010203, 0x01020304},
                         {0x7FFFFFFF, 0xFF7FFFFF, 2147483647},
                         {0x80000000, 0x00800000, -2147483648},
                         {0xFF0000FF, 0xFFFF0000, -16776961},
                         {0xFFFFFFFF, 0xFFFFFFFF, -1}};
    for (auto const& colour : colours) {
        channel.set_color_in_RGBA(colour.rgba);
        EXPECT_EQ(*channel.value()->find("Color"), JSON::Value(colour.stored));
        EXPECT_EQ(channel.color_in_RGBA(), colour.rgba);
        EXPECT_EQ(channel.color_in_ARGB(), colour.argb);
        channel.set_color_in_RGBA(1);
        channel.set_color_in_ARGB(colour.argb);
        EXPECT_EQ(channel.color_in_RGBA(), colour.rgba);
    }
}

TEST_F(ChannelTest, HasNoColourOutsideOf32Bits) {
    EXPECT_EQ(with_attribute("Color='-2147483648'").channel().color_in_RGBA(), 0x80000000u);
    for (char const* color : {"2147483648", "4294967295", "-2147483649", "9223372036854775807"}) {
        ChannelDocument wide = with_attribute("Color='" + std::string(color) + "'");
        VEXA_EXPECT_THROWS(wide.channel().color_in_RGBA(), std::bad_variant_access, "bad variant access");
        VEXA_EXPECT_THROWS(wide.channel().color_in_ARGB(), std::bad_variant_access, "bad variant access");
    }
    for (char const* color : {"9223372036854775808", "red", "1.5", ""})
        VEXA_EXPECT_THROWS(with_attribute("Color='" + std::string(color) + "'"), std::bad_variant_access,
                           "bad variant access");
}

TEST_F(ChannelTest, HasQuantitiesInTheirUsualUnitsWithoutAUnit) {
    ChannelDocument plain =
        with_attribute("PinholeSize='50' ExcitationWavelength='488' EmissionWavelength='520'");
    EXPECT_DOUBLE_EQ(plain.channel().pinhole_size_in_meters().value(), 50e-6);
    EXPECT_DOUBLE_EQ(plain.channel().excitation_wavelength_in_meters().value(), 488e-9);
    EXPECT_DOUBLE_EQ(plain.channel().emission_wavelength_in_meters().value(), 520e-9);
    EXPECT_EQ(plain.channels_as_xml().find("Unit"), std::string::npos);
}

TEST_F(ChannelTest, HasNoQuantityThatIsNotFiniteOrHasNoFactor) {
    double const infinity = std::numeric_limits<double>::infinity();
    channel.set_pinhole_size({infinity, Length::um});
    channel.set_excitation_wavelength({-infinity, Length::nm});
    channel.set_emission_wavelength({std::numeric_limits<double>::quiet_NaN(), Length::nm});
    EXPECT_FALSE(channel.pinhole_size_in_meters() || channel.excitation_wavelength_in_meters() ||
                 channel.emission_wavelength_in_meters());
    EXPECT_EQ(document.channels_as_xml(),
              R"(<Channel EmissionWavelength="NaN" EmissionWavelengthUnit="nm" ExcitationWavelength="-INF" )"
              R"(ExcitationWavelengthUnit="nm" ID="Channel:1" PinholeSize="INF" PinholeSizeUnit="µm"/>)");
    EXPECT_EQ(*ChannelDocument(root.XML()).root.value(), *root.value());
    channel.set_pinhole_size({2, Length::pixel});
    channel.set_emission_wavelength({2, Length::reference_frame});
    EXPECT_FALSE(channel.pinhole_size_in_meters() || channel.emission_wavelength_in_meters());
}

TEST_F(ChannelTest, RefusesUnitsWithoutANameBeforeAnythingChanges) {
    JSON::Value const before = *root.value();
    Quantity<Length> const nameless{1, static_cast<Length>(5)};
    VEXA_EXPECT_THROWS(channel.set_pinhole_size(nameless), std::bad_variant_access, "bad variant access");
    VEXA_EXPECT_THROWS(channel.set_excitation_wavelength(nameless), std::bad_variant_access,
                       "bad variant access");
    VEXA_EXPECT_THROWS(channel.set_emission_wavelength(nameless), std::bad_variant_access,
                       "bad variant access");
    EXPECT_EQ(*root.value(), before);
}
