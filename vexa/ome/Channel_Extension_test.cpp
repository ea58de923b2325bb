#include <vexa/ome/Channel_Extension.h>

#include <cmath>
#include <limits>
#include <variant>

#include <gtest/gtest.h>

#include <vexa/json/Reader.h>
#include <vexa/ome/Invalid.h>
#include <vexa/testing/channel_document.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;
using Vexa::testing::channel_annotation;
using Vexa::testing::channel_xml;
using Vexa::testing::ChannelDocument;

namespace {

/// A document with a new channel.
struct ChannelExtension : testing::Test {
    ChannelDocument document{channel_xml("")};
    Root& root = document.root;
    Channel& channel = *document.channels.emplace_back();
};

/// A document with one channel and this extension.
std::string with_extension(std::string const& extension) {
    return channel_xml(R"(<Channel ID="Channel:1"><AnnotationRef ID="Annotation:2"/></Channel>)",
                       channel_annotation(2, "channel", extension));
}

} // namespace

TEST_F(ChannelExtension, IsMissingAtFirst) {
    Channel const& empty = channel;
    EXPECT_TRUE(empty.color_map().is_null() && empty.overlay_color_map().is_null());
    EXPECT_FALSE(empty.excitation_repetition_rate_in_hertz() || empty.excitation_delay_in_seconds());
    EXPECT_EQ(empty.deactivation_light_source(), nullptr);
    EXPECT_FALSE(empty.deactivation_wavelength_in_meters() || empty.deactivation_z_component());
    EXPECT_FALSE(empty.deactivation_repetition_rate_in_hertz() || empty.deactivation_delay_in_seconds());
    EXPECT_FALSE(empty.gating_delay_in_seconds() || empty.gating_width_in_seconds());
    EXPECT_FALSE(empty.line_accumulation() || empty.RESCUE_significance_level());
    EXPECT_FALSE(empty.signal_level_threshold() || empty.interpolation_threshold());
    EXPECT_TRUE(empty.detector_element_offsets_in_meters().empty());
    EXPECT_EQ(document.annotations_as_xml(), "");
}

TEST_F(ChannelExtension, WithoutFieldsSaysAsMuchAsNone) {
    ChannelDocument read(with_extension("<extension/>"));
    Channel const& empty = read.channel();
    EXPECT_TRUE(empty.color_map().is_null() && empty.overlay_color_map().is_null());
    EXPECT_EQ(empty.dye(), nullptr);
    EXPECT_EQ(empty.band(), nullptr);
    EXPECT_FALSE(empty.excitation_repetition_rate_in_hertz() || empty.excitation_delay_in_seconds());
    EXPECT_EQ(empty.deactivation_light_source(), nullptr);
    EXPECT_FALSE(empty.deactivation_wavelength_in_meters() || empty.deactivation_z_component());
    EXPECT_FALSE(empty.deactivation_repetition_rate_in_hertz() || empty.deactivation_delay_in_seconds());
    EXPECT_FALSE(empty.gating_delay_in_seconds() || empty.gating_width_in_seconds());
    EXPECT_FALSE(empty.line_accumulation() || empty.RESCUE_significance_level());
    EXPECT_FALSE(empty.signal_level_threshold() || empty.interpolation_threshold());
    EXPECT_TRUE(empty.detector_element_offsets_in_meters().empty());
}

TEST_F(ChannelExtension, WritesEachFieldAndReadsItBack) {
    channel.set_acquisition_mode(Channel::Acquisition_Mode::STED_RESCUE);
    channel.set_dye("Dye:1");
    channel.set_band("Band:1");
    channel.set_color_map(JSON::parse(R"({"red": [[0, 0, 0, 0], [1, 255, 0, 0]]})"));
    channel.set_overlay_color_map(JSON::parse(R"({"o": []})"));
    channel.set_excitation_repetition_rate({80, Frequency::MHz});
    channel.set_excitation_delay({1.5, Time::ns});
    channel.set_deactivation_light_source("LightSource:2");
    channel.set_deactivation_wavelength({775, Length::nm});
    channel.set_deactivation_z_component(0.25);
    channel.set_deactivation_repetition_rate({40, Frequency::MHz});
    channel.set_deactivation_delay({-250, Time::ps});
    channel.set_gating_delay({0.75, Time::ns});
    channel.set_gating_width({8, Time::ns});
    channel.set_line_accumulation(4);
    channel.set_RESCUE_significance_level(0.05);
    channel.set_signal_level_threshold(12);
    channel.set_interpolation_threshold(-3);
    channel.add_detector_element({-100, Length::nm}, {0.2, Length::um});
    channel.add_detector_element({0, Length::nm}, {0, Length::m});
    EXPECT_EQ(document.channels_as_xml(), R"(<Channel AcquisitionMode="Other" Fluor="Red" ID="Channel:1">)"
                                          R"(<AnnotationRef ID="Annotation:2"/></Channel>)");
    EXPECT_EQ(
        document.annotations_as_xml(),
        channel_annotation(
            2, "channel",
            R"(<extension other_acquisition_mode="STED_RESCUE">)"
            R"(<RESCUE  significance_level="0.05" interpolation_threshold="-3" signal_level_threshold="12"/>)"
            R"(<band_reference ID="Band:1"/>)"
            R"(<color_map>{&quot;red&quot;:[[0,0,0,0],[1,255,0,0]]}</color_map>)"
            R"(<deactivation wavelength="775" wavelength_unit="nm" z_component="0.25">)"
            R"(<LightSourceSettings ID="LightSource:2"/><other_light_source_settings delay="-250" )"
            R"(delay_unit="ps" repetition_rate="40" repetition_rate_unit="MHz"/></deactivation>)"
            R"(<dye_reference ID="Dye:1"/><excitation><other_light_source_settings delay="1.5" )"
            R"(delay_unit="ns" repetition_rate="80" repetition_rate_unit="MHz"/></excitation>)"
            R"(<gating delay="0.75" delay_unit="ns" width="8" width_unit="ns"/><line accumulation="4"/>)"
            R"(<other_detector_settings><detector_elements offset_x="-100" offset_x_unit="nm" offset_y="0.2" )"
            R"(offset_y_unit="µm"/><detector_elements offset_x="0" offset_x_unit="nm" offset_y="0" )"
            R"(offset_y_unit="m"/></other_detector_settings>)"
            R"(<overlay_color_map>{&quot;o&quot;:[]}</overlay_color_map></extension>)"));

    ChannelDocument back(root.XML());
    EXPECT_EQ(*back.root.value(), *root.value());
    Channel const& found = back.channel();
    EXPECT_EQ(found.acquisition_mode(), Channel::Acquisition_Mode::STED_RESCUE);
    EXPECT_EQ(found.dye(), &back.root.find_dye("Dye:1"));
    EXPECT_EQ(found.band(), &back.root.find_band("Band:1"));
    EXPECT_EQ(found.color_map(), JSON::parse(R"({"red": [[0, 0, 0, 0], [1, 255, 0, 0]]})"));
    EXPECT_EQ(found.overlay_color_map(), JSON::parse(R"({"o": []})"));
    EXPECT_DOUBLE_EQ(found.excitation_repetition_rate_in_hertz().value(), 80e6);
    EXPECT_DOUBLE_EQ(found.excitation_delay_in_seconds().value(), 1.5e-9);
    EXPECT_EQ(found.deactivation_light_source(), &back.root.find_light_source("LightSource:2"));
    EXPECT_DOUBLE_EQ(found.deactivation_wavelength_in_meters().value(), 775e-9);
    EXPECT_EQ(found.deactivation_z_component(), 0.25);
    EXPECT_DOUBLE_EQ(found.deactivation_repetition_rate_in_hertz().value(), 40e6);
    EXPECT_DOUBLE_EQ(found.deactivation_delay_in_seconds().value(), -250e-12);
    EXPECT_DOUBLE_EQ(found.gating_delay_in_seconds().value(), 0.75e-9);
    EXPECT_DOUBLE_EQ(found.gating_width_in_seconds().value(), 8e-9);
    EXPECT_EQ(found.line_accumulation(), 4);
    EXPECT_EQ(found.RESCUE_significance_level(), 0.05);
    EXPECT_EQ(found.signal_level_threshold(), 12);
    EXPECT_EQ(found.interpolation_threshold(), -3);
    auto const offsets = found.detector_element_offsets_in_meters();
    ASSERT_EQ(offsets.size(), 2u);
    EXPECT_DOUBLE_EQ(offsets[0].first, -100e-9);
    EXPECT_DOUBLE_EQ(offsets[0].second, 200e-9);
    EXPECT_EQ(offsets[1], std::pair(0.0, 0.0));
}

TEST_F(ChannelExtension, IsReadFromADocumentOfAnother) {
    ChannelDocument read(with_extension(
        R"(<extension><line accumulation="2"></line><gating width="3" width_unit="ns" delay="1"/>
<deactivation><LightSourceSettings ID="LightSource:1" Attenuation="0.5"/></deactivation>
<dye_reference ID="Dye:2"/><RESCUE significance_level="0.01" signal_level_threshold="7"/></extension>)"));
    Channel const& found = read.channel();
    EXPECT_EQ(found.line_accumulation(), 2);
    EXPECT_DOUBLE_EQ(found.gating_width_in_seconds().value(), 3e-9);
    EXPECT_FALSE(found.gating_delay_in_seconds());
    EXPECT_EQ(found.deactivation_light_source(), &read.root.find_light_source("LightSource:1"));
    EXPECT_DOUBLE_EQ(found.deactivation_wavelength_in_meters().value(), 488e-9);
    EXPECT_EQ(found.dye(), &read.root.find_dye("Dye:2"));
    EXPECT_EQ(found.RESCUE_significance_level(), 0.01);
    EXPECT_EQ(found.signal_level_threshold(), 7);
    EXPECT_FALSE(found.interpolation_threshold());
}

TEST_F(ChannelExtension, HasABlankInFrontOfTheSignificanceLevel) {
    channel.set_RESCUE_significance_level(0.5);
    EXPECT_EQ(
        document.annotations_as_xml(),
        channel_annotation(2, "channel", R"(<extension><RESCUE  significance_level="0.5"/></extension>)"));
    JSON::Value const* const stored = root.ome.annotations().find("Annotation:2")->contents().value();
    EXPECT_EQ(JSON::dump(*stored, false), R"({"extension":[{"":{"RESCUE":[{" significance_level":0.5}]}}]})");
    // However often it is read and written.
    std::string const xml = root.XML();
    ChannelDocument once(xml);
    EXPECT_EQ(once.root.XML(), xml);
    EXPECT_EQ(*once.root.value(), *root.value());
    once.channel().set_RESCUE_significance_level(0.25);
    ChannelDocument twice(once.root.XML());
    EXPECT_EQ(twice.channel().RESCUE_significance_level(), 0.25);
    EXPECT_EQ(
        twice.annotations_as_xml(),
        channel_annotation(2, "channel", R"(<extension><RESCUE  significance_level="0.25"/></extension>)"));
}

TEST_F(ChannelExtension, HasOneSignificanceLevelOnly) {
    ChannelDocument read(with_extension("<extension><RESCUE significance_level='0.5'/></extension>"));
    read.channel().resolve_references();
    EXPECT_EQ(JSON::dump(*read.root.ome.annotations().find("Annotation:2")->contents().value(), false),
              R"({"extension":[{"":{"RESCUE":[{" significance_level":0.5}]}}]})");
    VEXA_EXPECT_THROWS(
        ChannelDocument(with_extension("<extension><RESCUE significance_level='high'/></extension>")),
        std::bad_variant_access, "bad variant access");
}

TEST_F(ChannelExtension, HasNumbersThatMayBeNotFinite) {
    double const infinity = std::numeric_limits<double>::infinity();
    channel.set_RESCUE_significance_level(infinity);
    channel.set_deactivation_z_component(-infinity);
    EXPECT_EQ(document.annotations_as_xml(),
              channel_annotation(2, "channel",
                                 R"(<extension><RESCUE  significance_level="INF"/>)"
                                 R"(<deactivation z_component="-INF"/></extension>)"));
    ChannelDocument back(root.XML());
    EXPECT_EQ(back.channel().RESCUE_significance_level(), infinity);
    EXPECT_EQ(back.channel().deactivation_z_component(), -infinity);
    channel.set_RESCUE_significance_level(std::numeric_limits<double>::quiet_NaN());
    channel.set_deactivation_z_component(std::numeric_limits<double>::quiet_NaN());
    EXPECT_TRUE(std::isnan(channel.RESCUE_significance_level().value()));
    EXPECT_TRUE(std::isnan(channel.deactivation_z_component().value()));
    EXPECT_EQ(*ChannelDocument(root.XML()).root.value(), *root.value());
}

TEST_F(ChannelExtension, HasNoQuantitiesThatAreNotFinite) {
    double const infinity = std::numeric_limits<double>::infinity();
    channel.set_excitation_repetition_rate({infinity, Frequency::Hz});
    channel.set_excitation_delay({infinity, Time::s});
    channel.set_deactivation_repetition_rate({-infinity, Frequency::Hz});
    channel.set_deactivation_delay({infinity, Time::s});
    channel.set_deactivation_wavelength({infinity, Length::m});
    channel.set_gating_delay({infinity, Time::s});
    channel.set_gating_width({std::numeric_limits<double>::quiet_NaN(), Time::s});
    channel.add_detector_element({infinity, Length::m}, {1, Length::m});
    channel.add_detector_element({1, Length::m}, {1, Length::pixel});
    EXPECT_EQ(*ChannelDocument(root.XML()).root.value(), *root.value());
    EXPECT_FALSE(channel.excitation_repetition_rate_in_hertz() || channel.excitation_delay_in_seconds());
    EXPECT_FALSE(channel.deactivation_repetition_rate_in_hertz() || channel.deactivation_delay_in_seconds());
    EXPECT_FALSE(channel.deactivation_wavelength_in_meters());
    EXPECT_FALSE(channel.gating_delay_in_seconds() || channel.gating_width_in_seconds());
    auto const offsets = channel.detector_element_offsets_in_meters();
    ASSERT_EQ(offsets.size(), 2u);
    EXPECT_TRUE(std::isnan(offsets[0].first));
    EXPECT_EQ(offsets[0].second, 1.0);
    EXPECT_EQ(offsets[1].first, 1.0);
    EXPECT_TRUE(std::isnan(offsets[1].second));
}

TEST_F(ChannelExtension, HasNoQuantitiesWithoutAUnit) {
    ChannelDocument read(
        with_extension("<extension><excitation><other_light_source_settings delay='1' repetition_rate='2'/>"
                       "</excitation><deactivation wavelength='3'><other_light_source_settings delay='4' "
                       "repetition_rate='5'/></deactivation><gating delay='6' width='7'/>"
                       "<other_detector_settings><detector_elements offset_x='8' offset_y='9'/>"
                       "<detector_elements/></other_detector_settings></extension>"));
    Channel const& found = read.channel();
    EXPECT_FALSE(found.excitation_repetition_rate_in_hertz() || found.excitation_delay_in_seconds());
    EXPECT_FALSE(found.deactivation_repetition_rate_in_hertz() || found.deactivation_delay_in_seconds());
    EXPECT_FALSE(found.deactivation_wavelength_in_meters());
    EXPECT_FALSE(found.gating_delay_in_seconds() || found.gating_width_in_seconds());
    auto const offsets = found.detector_element_offsets_in_meters();
    ASSERT_EQ(offsets.size(), 2u);
    EXPECT_TRUE(std::isnan(offsets[0].first) && std::isnan(offsets[1].second));
}

TEST_F(ChannelExtension, IsNotMadeForUnitsWithoutAName) {
    JSON::Value const before = *root.value();
    auto const time = static_cast<Time>(7);
    auto const frequency = static_cast<Frequency>(7);
    auto const length = static_cast<Length>(7);
    auto const refused = [&](auto const& set) {
        VEXA_EXPECT_THROWS(set(), std::bad_variant_access, "bad variant access");
        EXPECT_EQ(*root.value(), before);
    };
    refused([&] { channel.set_excitation_repetition_rate({1, frequency}); });
    refused([&] { channel.set_excitation_delay({1, time}); });
    refused([&] { channel.set_deactivation_repetition_rate({1, frequency}); });
    refused([&] { channel.set_deactivation_delay({1, time}); });
    refused([&] { channel.set_deactivation_wavelength({1, length}); });
    refused([&] { channel.set_gating_delay({1, time}); });
    refused([&] { channel.set_gating_width({1, time}); });
    refused([&] { channel.add_detector_element({1, length}, {1, Length::m}); });
    refused([&] { channel.add_detector_element({1, Length::m}, {1, length}); });
}

TEST_F(ChannelExtension, TakesTheWavelengthOfTheDeactivationsLightSource) {
    channel.set_deactivation_light_source("LightSource:2");
    EXPECT_EQ(channel.deactivation_light_source(), &root.find_light_source("LightSource:2"));
    EXPECT_EQ(document.annotations_as_xml(),
              channel_annotation(2, "channel",
                                 R"(<extension><deactivation wavelength="0.775" wavelength_unit="µm">)"
                                 R"(<LightSourceSettings ID="LightSource:2"/></deactivation></extension>)"));
    channel.set_deactivation_light_source("LightSource:3"); // without a wavelength
    EXPECT_DOUBLE_EQ(channel.deactivation_wavelength_in_meters().value(), 775e-9);
    EXPECT_FALSE(channel.excitation_wavelength_in_meters());
}

TEST_F(ChannelExtension, HasTheWavelengthOfTheDeactivationsLightSourceIfItHasNone) {
    auto const wavelength = [](std::string const& attributes, std::string const& settings) {
        return ChannelDocument(with_extension("<extension><deactivation " + attributes +
                                              "><LightSourceSettings " + settings +
                                              "/></deactivation></extension>"))
            .channel()
            .deactivation_wavelength_in_meters();
    };
    EXPECT_DOUBLE_EQ(
        wavelength("wavelength='1' wavelength_unit='nm'", "ID='LightSource:1' Wavelength='2'").value(), 1e-9);
    EXPECT_DOUBLE_EQ(wavelength("", "ID='LightSource:1' Wavelength='2'").value(), 2e-9);
    EXPECT_DOUBLE_EQ(wavelength("", "ID='LightSource:1'").value(), 488e-9);
    EXPECT_FALSE(wavelength("wavelength='1'", "ID='LightSource:1'"));
    EXPECT_FALSE(wavelength("", "ID='LightSource:3'"));
}

TEST_F(ChannelExtension, HasColourMaps) {
    channel.set_color_map(JSON::parse("[1]"));
    channel.set_overlay_color_map(JSON::parse("[2]"));
    channel.reset_color_map();
    EXPECT_TRUE(channel.color_map().is_null());
    EXPECT_EQ(channel.overlay_color_map(), JSON::parse("[2]"));
    channel.reset_overlay_color_map();
    EXPECT_TRUE(channel.overlay_color_map().is_null());
    EXPECT_EQ(document.annotations_as_xml(), channel_annotation(2, "channel", "<extension/>"));
    ChannelDocument read(with_extension("<extension><color_map>{</color_map></extension>"));
    VEXA_EXPECT_THROWS(read.channel().color_map(), std::runtime_error, "Incomplete Json::Value read.");
}

TEST_F(ChannelExtension, HasIntegersOfAnySize) {
    channel.set_line_accumulation(std::numeric_limits<int>::max());
    channel.set_signal_level_threshold(std::numeric_limits<int>::min());
    EXPECT_EQ(channel.line_accumulation(), 2147483647);
    EXPECT_EQ(channel.signal_level_threshold(), -2147483648);
    ChannelDocument read(
        with_extension("<extension><line accumulation='9223372036854775807'/>"
                       "<RESCUE interpolation_threshold='-9223372036854775808'/></extension>"));
    EXPECT_EQ(read.channel().line_accumulation(), 9223372036854775807);
    EXPECT_EQ(read.channel().interpolation_threshold(), std::numeric_limits<long long>::min());
}

TEST_F(ChannelExtension, WithAReferenceToAMissingElementDoesNotOpen) {
    for (auto const& [extension, missing] :
         {std::pair("<dye_reference ID='Dye:9'/>", "Incomplete data: missing Dye:9."),
          std::pair("<band_reference ID='Band:9'/>", "Incomplete data: missing Band:9."),
          std::pair("<deactivation><LightSourceSettings ID='LightSource:9'/></deactivation>",
                    "Incomplete data: missing LightSource:9.")})
        VEXA_EXPECT_THROWS(
            ChannelDocument(with_extension("<extension>" + std::string(extension) + "</extension>")),
            Invalid_Argument, missing);
}

TEST_F(ChannelExtension, WithAReferenceToAnotherKindDoesNotOpen) {
    for (char const* extension : {"<dye_reference ID='Band:1'/>", "<band_reference ID='Dye:1'/>",
                                  "<deactivation><LightSourceSettings ID='Laser:1'/></deactivation>"})
        VEXA_EXPECT_THROWS(
            ChannelDocument(with_extension("<extension>" + std::string(extension) + "</extension>")),
            std::bad_variant_access, "bad variant access");
}
