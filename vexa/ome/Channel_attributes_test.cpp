// Each attribute of each part of a channel: read from XML, held by its type, copied, and written back.

#include <ostream>
#include <string>
#include <variant>

#include <gtest/gtest.h>

#include <vexa/testing/channel_document.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;
using Vexa::testing::channel_annotation;
using Vexa::testing::channel_xml;
using Vexa::testing::ChannelDocument;

namespace {

struct Attribute {
    char const* place; ///< in the documents below
    char const* key;
    char const* text;      ///< as it stands in the XML
    char const* json;      ///< as it stands in the tree
    char const* malformed; ///< a text that is refused; null where any text will do
};

void PrintTo(Attribute const& attribute, std::ostream* os) { *os << attribute.place << ' ' << attribute.key; }

constexpr Attribute text_of(char const* place, char const* key) {
    return {place, key, "12 µ", R"("12 µ")", nullptr};
}
constexpr Attribute number(char const* place, char const* key) {
    return {place, key, "-1.5", "-1.5", "1.5 V"};
}
constexpr Attribute infinite(char const* place, char const* key) {
    return {place, key, "-INF", R"("-Infinity")", "-Infinite"};
}
constexpr Attribute integer(char const* place, char const* key) {
    return {place, key, "-9223372036854775808", "-9223372036854775808", "2.0"};
}
constexpr Attribute length_unit(char const* place, char const* key) {
    return {place, key, "µm", R"("µm")", nullptr};
}
constexpr Attribute time_unit(char const* place, char const* key) {
    return {place, key, "ps", R"("ps")", nullptr};
}
constexpr Attribute rate_unit(char const* place, char const* key) {
    return {place, key, "kHz", R"("kHz")", nullptr};
}

constexpr Attribute attributes[] = {
    text_of("channel", "Name"),
    integer("channel", "SamplesPerPixel"),
    {"channel", "IlluminationType", "NonLinear", R"("NonLinear")", nullptr},
    number("channel", "PinholeSize"),
    infinite("channel", "PinholeSize"),
    length_unit("channel", "PinholeSizeUnit"),
    {"channel", "AcquisitionMode", "FSM", R"("FSM")", "STED_RESCUE"},
    {"channel", "ContrastMethod", "DIC", R"("DIC")", nullptr},
    number("channel", "ExcitationWavelength"),
    length_unit("channel", "ExcitationWavelengthUnit"),
    number("channel", "EmissionWavelength"),
    length_unit("channel", "EmissionWavelengthUnit"),
    text_of("channel", "Fluor"),
    number("channel", "NDFilter"),
    infinite("channel", "NDFilter"),
    integer("channel", "PockelCellSetting"),
    integer("channel", "Color"),
    number("source", "Attenuation"),
    infinite("source", "Attenuation"),
    number("source", "Wavelength"),
    length_unit("source", "WavelengthUnit"),
    number("detector", "Offset"),
    number("detector", "Gain"),
    infinite("detector", "Gain"),
    number("detector", "Voltage"),
    text_of("detector", "VoltageUnit"),
    number("detector", "Zoom"),
    number("detector", "ReadOutRate"),
    text_of("detector", "ReadOutRateUnit"),
    text_of("detector", "Binning"),
    integer("detector", "Integration"),
    {"extension", "other_acquisition_mode", "STED_Probing", R"("STED_Probing")", "STED"},
    number("excitation", "repetition_rate"),
    infinite("excitation", "repetition_rate"),
    rate_unit("excitation", "repetition_rate_unit"),
    number("excitation", "delay"),
    time_unit("excitation", "delay_unit"),
    number("deactivation", "wavelength"),
    length_unit("deactivation", "wavelength_unit"),
    number("deactivation", "z_component"),
    infinite("deactivation", "z_component"),
    number("deactivation_source", "Attenuation"),
    number("deactivation_source", "Wavelength"),
    length_unit("deactivation_source", "WavelengthUnit"),
    number("deactivation_pulses", "repetition_rate"),
    rate_unit("deactivation_pulses", "repetition_rate_unit"),
    number("deactivation_pulses", "delay"),
    time_unit("deactivation_pulses", "delay_unit"),
    number("gating", "delay"),
    number("gating", "width"),
    infinite("gating", "width"),
    time_unit("gating", "delay_unit"),
    time_unit("gating", "width_unit"),
    integer("line", "accumulation"),
    number("RESCUE", "significance_level"),
    infinite("RESCUE", "significance_level"),
    integer("RESCUE", "signal_level_threshold"),
    integer("RESCUE", "interpolation_threshold"),
    number("element", "offset_x"),
    infinite("element", "offset_y"),
    number("element", "offset_y"),
    length_unit("element", "offset_x_unit"),
    length_unit("element", "offset_y_unit"),
    number("excitation_filter", "CutIn"),
    length_unit("excitation_filter", "CutInUnit"),
    number("emission_filter", "CutOut"),
    infinite("emission_filter", "CutOut"),
    length_unit("emission_filter", "CutOutUnit"),
    number("emission_filter", "Transmittance"),
    number("aberrations", "primary_spherical"),
    infinite("aberrations", "primary_spherical"),
    number("aberrations", "primary_spherical_slope_z"),
};

std::string name_of(testing::TestParamInfo<Attribute> const& info) {
    return std::string(info.param.place) + "_" + info.param.key +
           (info.param.text == std::string("-INF") ? "_infinite" : "");
}

struct ChannelAttribute : testing::TestWithParam<Attribute> {
    /// The element of this name, with the attribute if this is its place.
    std::string element(std::string const& name, std::string const& place, std::string const& children = "") {
        bool const is_here = place == GetParam().place && !text.empty();
        return "<" + name + (is_here ? " " + (GetParam().key + ("=\"" + text + "\"")) : "") + ">" + children +
               "</" + name + ">";
    }
    std::string channel() {
        return element("Channel", "channel",
                       R"(<AnnotationRef ID="Annotation:2"/>)" + element("DetectorSettings", "detector") +
                           R"(<LightPath><AnnotationRef ID="Annotation:3"/></LightPath>)" +
                           element("LightSourceSettings", "source"));
    }
    std::string extension() {
        return element("extension", "extension",
                       element("RESCUE", "RESCUE") +
                           element("deactivation", "deactivation",
                                   element("LightSourceSettings", "deactivation_source") +
                                       element("other_light_source_settings", "deactivation_pulses")) +
                           "<excitation>" + element("other_light_source_settings", "excitation") +
                           "</excitation>" + element("gating", "gating") + element("line", "line") +
                           "<other_detector_settings>" + element("detector_elements", "element") +
                           "</other_detector_settings>");
    }
    std::string path_extension() {
        return "<extension>" + element("aberrations", "aberrations") + "<emission_filter_settings>" +
               element("TransmittanceRange", "emission_filter") +
               "</emission_filter_settings><excitation_filter_settings>" +
               element("TransmittanceRange", "excitation_filter") +
               "</excitation_filter_settings></extension>";
    }
    /// A document whose attribute has this text; there is none if it is empty.
    std::string with(std::string const& attribute_text) {
        text = attribute_text;
        return channel_xml(channel(), channel_annotation(2, "channel", extension()) +
                                          channel_annotation(3, "light_path", path_extension()));
    }
    /// How often the attribute is in the channel and its annotations.
    std::size_t count_in(ChannelDocument const& document) const {
        std::string const searched = std::string(" ") + GetParam().key + "=\"" + GetParam().text + "\"";
        std::string const all = document.channels_as_xml() + document.annotations_as_xml();
        std::size_t count = 0;
        for (auto at = all.find(searched); at != all.npos; at = all.find(searched, at + 1)) ++count;
        return count;
    }
    /// Whether the channel or one of the annotations holds the attribute by its type.
    bool is_held_by(ChannelDocument& document) const {
        std::string const searched =
            std::string(GetParam().key) + "\":" + GetParam().json; // a key may have a blank in front
        std::string all = JSON::dump(*document.channel().value(), false);
        for (Annotation const& annotation : document.root.ome.annotations())
            all += JSON::dump(*annotation.value(), false);
        return all.find(searched) != all.npos;
    }

    std::string text;
};

} // namespace

TEST_P(ChannelAttribute, IsReadByItsTypeAndWrittenBack) {
    ChannelDocument document(with(GetParam().text));
    EXPECT_TRUE(is_held_by(document));
    EXPECT_EQ(count_in(document), 1u);
    EXPECT_EQ(*ChannelDocument(document.root.XML()).root.value(), *document.root.value());
}

TEST_P(ChannelAttribute, IsCopiedWithItsChannel) {
    ChannelDocument source(with(GetParam().text)), target(channel_xml(""));
    target.channels = source.channels;
    target.resolve_references();
    EXPECT_EQ(target.channels_as_xml(), source.channels_as_xml());
    EXPECT_EQ(target.annotations_as_xml(), source.annotations_as_xml());
    EXPECT_EQ(count_in(target), 1u);
}

TEST_P(ChannelAttribute, IsNotWrittenWhereItIsMissing) {
    ChannelDocument source(with("")), target(with(GetParam().text));
    EXPECT_EQ(count_in(source), 0u);
    target.channels = source.channels;
    target.resolve_references();
    EXPECT_EQ(count_in(target), 0u);
    EXPECT_EQ(*ChannelDocument(target.root.XML()).root.value(), *target.root.value());
}

TEST_P(ChannelAttribute, KeepsTheDocumentFromOpeningIfItIsMalformed) {
    if (!GetParam().malformed) {
        EXPECT_NO_THROW(ChannelDocument(with("no such thing")));
        return;
    }
    VEXA_EXPECT_THROWS(ChannelDocument(with(GetParam().malformed)), std::bad_variant_access,
                       "bad variant access");
}

INSTANTIATE_TEST_SUITE_P(All, ChannelAttribute, testing::ValuesIn(attributes), name_of);
