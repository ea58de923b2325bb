#include <vexa/ome/Light_Path.h>

#include <cmath>
#include <limits>
#include <variant>

#include <gtest/gtest.h>

#include <vexa/ome/Invalid.h>
#include <vexa/testing/channel_document.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;
using Vexa::testing::channel_annotation;
using Vexa::testing::channel_xml;
using Vexa::testing::ChannelDocument;

namespace {

/// A document with a new channel and its light path.
struct LightPath : testing::Test {
    ChannelDocument document{channel_xml("")};
    Root& root = document.root;
    One_of<Light_Path>& path = document.channels.emplace_back()->light_path();
};

/// A document with one channel and this light path, which has an extension if there are two texts.
std::string with_path(std::string const& children) {
    return channel_xml(R"(<Channel ID="Channel:1"><LightPath>)" + children + "</LightPath></Channel>");
}
std::string with_path(std::string const& children, std::string const& extension) {
    return channel_xml(R"(<Channel ID="Channel:1"><LightPath><AnnotationRef ID="Annotation:2"/>)" + children +
                           "</LightPath></Channel>",
                       channel_annotation(2, "light_path", extension));
}

} // namespace

TEST_F(LightPath, WithoutFieldsIsEmpty) {
    EXPECT_FALSE(path);
    EXPECT_TRUE(path.excitation_filters().empty() && path.emission_filters().empty());
    EXPECT_FALSE(path.emission_cut_in_in_meters() || path.emission_cut_out_in_meters());
    EXPECT_FALSE(path.emission_band_in_meters());
    EXPECT_FALSE(path.primary_spherical_aberration() || path.primary_spherical_aberration_slope_z());
    EXPECT_EQ(document.channels_as_xml(), R"(<Channel ID="Channel:1"/>)");
}

TEST_F(LightPath, WritesEachFieldAndReadsItBack) {
    path.add_excitation_filter("Filter:2");
    path.add_excitation_filter("Filter:1");
    path.add_emission_filter("Filter:1");
    path.set_emission_cut_in({505, Length::nm});
    path.set_emission_cut_out({0.54, Length::um});
    path.set_primary_spherical_aberration(0.5);
    path.set_primary_spherical_aberration_slope_z(-2);
    EXPECT_EQ(document.channels_as_xml(),
              R"(<Channel ID="Channel:1"><LightPath><AnnotationRef ID="Annotation:2"/>)"
              R"(<EmissionFilterRef ID="Filter:1"/><ExcitationFilterRef ID="Filter:2"/>)"
              R"(<ExcitationFilterRef ID="Filter:1"/></LightPath></Channel>)");
    EXPECT_EQ(
        document.annotations_as_xml(),
        channel_annotation(2, "light_path",
                           R"(<extension><aberrations primary_spherical="0.5" )"
                           R"(primary_spherical_slope_z="-2"/><emission_filter_settings>)"
                           R"(<TransmittanceRange CutIn="505" CutInUnit="nm" CutOut="0.54" )"
                           R"(CutOutUnit="µm"/></emission_filter_settings><excitation_filter_settings/>)"
                           R"(<excitation_filter_settings/></extension>)"));

    ChannelDocument back(root.XML());
    EXPECT_EQ(*back.root.value(), *root.value());
    Light_Path const& found = back.channel().light_path();
    ASSERT_EQ(found.excitation_filters().size(), 2u);
    EXPECT_EQ(found.excitation_filters().front().referent(), &back.root.find_filter("Filter:2"));
    EXPECT_EQ(std::next(found.excitation_filters().begin())->referent(), &back.root.find_filter("Filter:1"));
    ASSERT_EQ(found.emission_filters().size(), 1u);
    EXPECT_EQ(found.emission_filters().front().referent(), &back.root.find_filter("Filter:1"));
    EXPECT_DOUBLE_EQ(found.emission_cut_in_in_meters().value(), 505e-9);
    EXPECT_DOUBLE_EQ(found.emission_cut_out_in_meters().value(), 540e-9);
    EXPECT_DOUBLE_EQ(found.emission_band_in_meters().value().first, 505e-9);
    EXPECT_DOUBLE_EQ(found.emission_band_in_meters().value().second, 540e-9);
    EXPECT_EQ(found.primary_spherical_aberration(), 0.5);
    EXPECT_EQ(found.primary_spherical_aberration_slope_z(), -2.0);
}

TEST_F(LightPath, IsReadFromADocumentOfAnother) {
    ChannelDocument read(with_path(
        R"(<ExcitationFilterRef ID="Filter:2"/><DichroicRef ID="Dichroic:1"/><EmissionFilterRef ID="Filter:1"/>)",
        R"(<extension><aberrations primary_spherical_slope_z="1e3"></aberrations>
<emission_filter_settings><TransmittanceRange CutOut="600" Transmittance="0.5"/></emission_filter_settings>
</extension>)"));
    Light_Path const& found = read.channel().light_path();
    EXPECT_EQ(found.excitation_filters().front().referent(), &read.root.find_filter("Filter:2"));
    EXPECT_DOUBLE_EQ(found.emission_cut_in_in_meters().value(), 500e-9); // of the filter
    EXPECT_DOUBLE_EQ(found.emission_cut_out_in_meters().value(), 600e-9);
    EXPECT_FALSE(found.primary_spherical_aberration());
    EXPECT_EQ(found.primary_spherical_aberration_slope_z(), 1000.0);
    EXPECT_NE(read.root.XML().find(R"(<DichroicRef ID="Dichroic:1"/>)"), std::string::npos);
}

TEST_F(LightPath, HasTheEdgesOfItsFirstEmissionFilterUntilOthersAreSet) {
    path.add_emission_filter("Filter:1");
    path.add_emission_filter("Filter:2");
    EXPECT_DOUBLE_EQ(path.emission_cut_in_in_meters().value(), 500e-9);
    EXPECT_DOUBLE_EQ(path.emission_cut_out_in_meters().value(), 550e-9);
    path.set_emission_cut_in({510, Length::nm});
    EXPECT_DOUBLE_EQ(path.emission_band_in_meters().value().first, 510e-9);
    EXPECT_DOUBLE_EQ(path.emission_band_in_meters().value().second, 550e-9);
    path.set_emission_band({520, Length::nm}, {530, Length::nm});
    EXPECT_DOUBLE_EQ(path.emission_cut_in_in_meters().value(), 520e-9);
    EXPECT_DOUBLE_EQ(path.emission_cut_out_in_meters().value(), 530e-9);
    // The filter itself is shared, and stays.
    EXPECT_DOUBLE_EQ(root.find_filter("Filter:1").cut_in_in_meters().value(), 500e-9);
    EXPECT_FALSE(root.find_filter("Filter:2").cut_in_in_meters());
}

TEST_F(LightPath, HasNoBandWithOneEdge) {
    path.add_emission_filter("Filter:2");
    EXPECT_FALSE(path.emission_band_in_meters());
    path.set_emission_cut_in({1, Length::nm});
    EXPECT_FALSE(path.emission_band_in_meters());
    path.set_emission_cut_out({2, Length::pixel});
    EXPECT_FALSE(path.emission_cut_out_in_meters() || path.emission_band_in_meters());
    path.set_emission_cut_out({std::numeric_limits<double>::infinity(), Length::nm});
    EXPECT_FALSE(path.emission_cut_out_in_meters() || path.emission_band_in_meters());
}

TEST_F(LightPath, WithoutAnEmissionFilterHasNoEdgesToSet) {
    path.add_excitation_filter("Filter:1");
    JSON::Value const before = *root.value();
    VEXA_EXPECT_THROWS(path.set_emission_cut_in({1, Length::nm}), Invalid_Argument, "No emission filter.");
    VEXA_EXPECT_THROWS(path.set_emission_cut_out({1, Length::nm}), Invalid_Argument, "No emission filter.");
    VEXA_EXPECT_THROWS(path.set_emission_band({1, Length::nm}, {2, Length::nm}), Invalid_Argument,
                       "No emission filter.");
    EXPECT_EQ(*root.value(), before);
    EXPECT_FALSE(path.emission_cut_in_in_meters() || path.emission_band_in_meters());
    ChannelDocument read(with_path("", "<extension><emission_filter_settings><TransmittanceRange CutIn='1' "
                                       "CutOut='2'/></emission_filter_settings></extension>"));
    EXPECT_FALSE(read.channel().light_path().emission_cut_in_in_meters());
    EXPECT_FALSE(read.channel().light_path().emission_band_in_meters());
}

TEST_F(LightPath, RefusesUnitsWithoutANameBeforeAnythingChanges) {
    ChannelDocument read(with_path("<EmissionFilterRef ID='Filter:1'/>"));
    Light_Path& bare = read.channel().light_path();
    JSON::Value const before = *read.root.value();
    Quantity<Length> const nameless{1, static_cast<Length>(5)}, fine{1, Length::nm};
    VEXA_EXPECT_THROWS(bare.set_emission_cut_in(nameless), std::bad_variant_access, "bad variant access");
    VEXA_EXPECT_THROWS(bare.set_emission_cut_out(nameless), std::bad_variant_access, "bad variant access");
    VEXA_EXPECT_THROWS(bare.set_emission_band(nameless, fine), std::bad_variant_access, "bad variant access");
    VEXA_EXPECT_THROWS(bare.set_emission_band(fine, nameless), std::bad_variant_access, "bad variant access");
    EXPECT_EQ(*read.root.value(), before);
}

TEST_F(LightPath, KeepsSettingsInLineWithFiltersThatHadNone) {
    ChannelDocument read(with_path("<EmissionFilterRef ID='Filter:1'/><EmissionFilterRef ID='Filter:2'/>"));
    read.channel().light_path().add_emission_filter("Filter:2");
    EXPECT_EQ(read.annotations_as_xml(),
              channel_annotation(2, "light_path",
                                 "<extension><emission_filter_settings/><emission_filter_settings/>"
                                 "<emission_filter_settings/></extension>"));
    ChannelDocument bare(with_path("<EmissionFilterRef ID='Filter:2'/>"));
    bare.channel().light_path().set_emission_cut_in({7, Length::nm});
    EXPECT_DOUBLE_EQ(bare.channel().light_path().emission_cut_in_in_meters().value(), 7e-9);
}

TEST_F(LightPath, GivesNewFiltersNoSettingsOfOthers) {
    ChannelDocument read(with_path("", "<extension><emission_filter_settings><TransmittanceRange CutIn='1'/>"
                                       "</emission_filter_settings><emission_filter_settings/></extension>"));
    Light_Path& path_of_another = read.channel().light_path();
    path_of_another.add_emission_filter("Filter:2");
    EXPECT_FALSE(path_of_another.emission_cut_in_in_meters());
    EXPECT_EQ(read.annotations_as_xml(),
              channel_annotation(2, "light_path", "<extension><emission_filter_settings/></extension>"));
}

TEST_F(LightPath, HasAberrationsThatMayBeNotFinite) {
    double const infinity = std::numeric_limits<double>::infinity();
    path.set_primary_spherical_aberration(infinity);
    path.set_primary_spherical_aberration_slope_z(std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(document.annotations_as_xml(),
              channel_annotation(2, "light_path",
                                 R"(<extension><aberrations primary_spherical="INF" )"
                                 R"(primary_spherical_slope_z="NaN"/></extension>)"));
    ChannelDocument back(root.XML());
    EXPECT_EQ(back.channel().light_path().primary_spherical_aberration(), infinity);
    EXPECT_TRUE(std::isnan(back.channel().light_path().primary_spherical_aberration_slope_z().value()));
}

TEST_F(LightPath, ResetRemovesItsExtension) {
    path.add_emission_filter("Filter:1");
    path.set_primary_spherical_aberration(1);
    path.reset();
    EXPECT_FALSE(path);
    EXPECT_EQ(document.channels_as_xml(), R"(<Channel ID="Channel:1"/>)");
    EXPECT_EQ(document.annotations_as_xml(), "");
    EXPECT_EQ(root.find_filter("Filter:1").id.count(), 1u);
}
