// Channels that are copied within a document and into another one, and channels that are removed.

#include <string>

#include <gtest/gtest.h>

#include <vexa/json/Reader.h>
#include <vexa/ome/Channel_Extension.h>
#include <vexa/ome/Invalid.h>
#include <vexa/testing/channel_document.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;
using Vexa::testing::channel_xml;
using Vexa::testing::ChannelDocument;

namespace {

void fill(Channel& channel) {
    channel.name().set("full");
    channel.set_acquisition_mode(Channel::Acquisition_Mode::STED_RESCUE);
    channel.set_dye("Dye:1");
    channel.set_band("Band:1");
    channel.set_color_map(JSON::parse("[1]"));
    channel.set_light_source("LightSource:1");
    channel.set_detector("Detector:1");
    channel.set_deactivation_light_source("LightSource:2");
    channel.set_RESCUE_significance_level(0.05);
    channel.add_detector_element({1, Length::nm}, {2, Length::nm});
    channel.light_path().add_emission_filter("Filter:1");
    channel.light_path().add_excitation_filter("Filter:2");
    channel.light_path().set_emission_cut_in({505, Length::nm});
    channel.light_path().set_primary_spherical_aberration(0.5);
}

/// A document with one channel that has all kinds of parts.
struct ChannelCopy : testing::Test {
    ChannelCopy() { fill(channel); }

    ChannelDocument document{channel_xml("")};
    Root& root = document.root;
    Channel& channel = *document.channels.emplace_back();
};

/// The annotation of this class that a channel, or its light path, refers to.
std::string annotation_of(JSON::Value const& element) {
    return element.get<std::string>("", "AnnotationRef", 0, "ID");
}
std::string annotation_of(Channel const& channel) { return annotation_of(*channel.value()); }
std::string annotation_of(Light_Path const& path) { return annotation_of(*path.value()); }

void expect_refers_to_parts_of(Root& root, Channel& channel) {
    EXPECT_EQ(channel.dye(), &root.find_dye("Dye:1"));
    EXPECT_EQ(channel.band(), &root.find_band("Band:1"));
    EXPECT_EQ(channel.light_source(), &root.find_light_source("LightSource:1"));
    EXPECT_EQ(channel.detector(), &root.find_detector("Detector:1"));
    EXPECT_EQ(channel.deactivation_light_source(), &root.find_light_source("LightSource:2"));
    EXPECT_EQ(channel.light_path().emission_filters().front().referent(), &root.find_filter("Filter:1"));
    EXPECT_EQ(channel.light_path().excitation_filters().front().referent(), &root.find_filter("Filter:2"));
}

void expect_is_full(Channel const& channel) {
    EXPECT_EQ(*channel.name().value(), JSON::Value("full"));
    EXPECT_EQ(*channel.fluor().value(), JSON::Value("Red"));
    EXPECT_EQ(channel.acquisition_mode(), Channel::Acquisition_Mode::STED_RESCUE);
    EXPECT_EQ(channel.color_map(), JSON::parse("[1]"));
    EXPECT_EQ(channel.RESCUE_significance_level(), 0.05);
    EXPECT_EQ(channel.detector_element_offsets_in_meters().size(), 1u);
    EXPECT_DOUBLE_EQ(channel.deactivation_wavelength_in_meters().value(), 775e-9);
    EXPECT_DOUBLE_EQ(channel.light_path().emission_cut_in_in_meters().value(), 505e-9);
    EXPECT_EQ(channel.light_path().primary_spherical_aberration(), 0.5);
}

} // namespace

TEST_F(ChannelCopy, InTheSameDocumentHasAnnotationsOfItsOwnAndSharesTheRest) {
    std::string const before = JSON::dump(*channel.value(), false);
    Channel& copy = *document.channels.emplace_back();
    copy = channel;
    copy.reset_ID();
    EXPECT_EQ(*copy.id.value(), JSON::Value("Channel:2"));
    expect_is_full(copy);
    expect_refers_to_parts_of(root, copy);
    EXPECT_EQ(root.ome.annotations().size(), 5u);
    EXPECT_EQ(annotation_of(channel), "Annotation:2");
    EXPECT_EQ(annotation_of(channel.light_path()), "Annotation:3");
    EXPECT_EQ(annotation_of(copy), "Annotation:4");
    EXPECT_EQ(annotation_of(copy.light_path()), "Annotation:5");
    EXPECT_EQ(root.find_dye("Dye:1").id.count(), 4u); // itself, a band, two channels
    EXPECT_EQ(root.find_light_source("LightSource:1").id.count(), 3u);
    EXPECT_EQ(root.find_filter("Filter:1").id.count(), 3u);

    copy.set_RESCUE_significance_level(0.5);
    copy.clear_dye();
    copy.light_path().set_primary_spherical_aberration(2);
    EXPECT_EQ(JSON::dump(*channel.value(), false), before);
    expect_is_full(channel);
    expect_refers_to_parts_of(root, channel);

    ChannelDocument back(root.XML());
    EXPECT_EQ(*back.root.value(), *root.value());
    expect_is_full(back.channel());
    expect_refers_to_parts_of(back.root, back.channel());
    Channel const& copy_back = *std::next(back.channels.begin());
    EXPECT_EQ(copy_back.RESCUE_significance_level(), 0.5);
    EXPECT_EQ(copy_back.light_path().primary_spherical_aberration(), 2.0);
    EXPECT_EQ(copy_back.dye(), nullptr);
}

TEST_F(ChannelCopy, InAnotherDocumentRefersToThePartsThere) {
    ChannelDocument target("");
    target.root = root;
    target.channels = document.channels;
    target.resolve_references();
    expect_is_full(target.channel());
    expect_refers_to_parts_of(target.root, target.channel());
    EXPECT_NE(target.channel().detector(), channel.detector());
    EXPECT_EQ(*target.root.value(), *root.value());

    ChannelDocument back(target.root.XML());
    EXPECT_EQ(*back.root.value(), *root.value());
    expect_is_full(back.channel());
    expect_refers_to_parts_of(back.root, back.channel());
}

TEST_F(ChannelCopy, OutlivesItsSource) {
    ChannelDocument target(channel_xml(""));
    {
        ChannelDocument source(root.XML());
        target.channels = source.channels;
    }
    target.resolve_references();
    expect_is_full(target.channel());
    expect_refers_to_parts_of(target.root, target.channel());
}

TEST_F(ChannelCopy, InADocumentThatLacksAPartCannotBeResolved) {
    ChannelDocument target(channel_xml(""));
    target.root.ome.dyes()->remove("Dye:1");
    target.channels = document.channels;
    VEXA_EXPECT_THROWS(target.resolve_references(), Invalid_Argument, "Incomplete data: missing Dye:1.");
}

TEST_F(ChannelCopy, InADocumentWithoutAnInstrumentStaysUnresolved) {
    ChannelDocument target("");
    target.channels = document.channels;
    target.resolve_references();
    EXPECT_EQ(target.channel().detector(), nullptr);
    EXPECT_EQ(target.channel().dye(), nullptr);
    expect_is_full(target.channel());
    EXPECT_EQ(*target.channel().detector_settings().id.value(), JSON::Value("Detector:1"));
}

TEST_F(ChannelCopy, OfAnEmptyChannelIsEmpty) {
    Channel& empty = *document.channels.emplace_back();
    channel = empty;
    EXPECT_EQ(JSON::dump(*channel.value(), false), R"({"":{"AnnotationRef":[]},"ID":"Channel:2"})");
    EXPECT_EQ(document.annotations_as_xml(), "");
    EXPECT_EQ(root.find_dye("Dye:1").id.count(), 2u);
    EXPECT_EQ(root.find_filter("Filter:1").id.count(), 1u);
    EXPECT_EQ(root.find_light_source("LightSource:2").id.count(), 1u);
}

TEST_F(ChannelCopy, OntoItselfChangesNothing) {
    JSON::Value const before = *root.value();
    channel = *&channel;
    EXPECT_EQ(*root.value(), before);
    expect_refers_to_parts_of(root, channel);
}

TEST_F(ChannelCopy, OntoAFullChannelReplacesItsAnnotations) {
    Channel& second = *document.channels.emplace_back();
    fill(second);
    second.set_RESCUE_significance_level(0.5);
    second = channel;
    expect_is_full(second);
    expect_refers_to_parts_of(root, second);
    EXPECT_EQ(root.ome.annotations().size(), 5u);
    EXPECT_EQ(*ChannelDocument(root.XML()).root.value(), *root.value());
}

TEST_F(ChannelCopy, ResetRemovesItsAnnotationsAndReferences) {
    channel.reset();
    EXPECT_EQ(document.annotations_as_xml(), "");
    EXPECT_TRUE(root.registry().numbers<Channel>().all().empty());
    EXPECT_EQ(root.find_dye("Dye:1").id.count(), 2u);
    EXPECT_EQ(root.find_band("Band:1").id.count(), 1u);
    EXPECT_EQ(root.find_detector("Detector:1").id.count(), 1u);
    EXPECT_EQ(root.find_light_source("LightSource:1").id.count(), 1u);
    EXPECT_EQ(root.find_light_source("LightSource:2").id.count(), 1u);
    EXPECT_EQ(root.find_filter("Filter:1").id.count(), 1u);
    EXPECT_FALSE(channel.name());
    EXPECT_EQ(channel.dye(), nullptr);
}

TEST_F(ChannelCopy, SharesAnAnnotationThatTwoChannelsOfAFileName) {
    std::string xml = root.XML();
    std::string const one = document.channels_as_xml();
    xml.insert(xml.find(one), one);
    ChannelDocument read(xml);
    ASSERT_EQ(read.channels.size(), 2u);
    Channel& second = *std::next(read.channels.begin());
    second.set_RESCUE_significance_level(0.5);
    EXPECT_EQ(read.channel().RESCUE_significance_level(), 0.5);
    read.channel().reset();
    EXPECT_EQ(second.RESCUE_significance_level(), 0.5);
    EXPECT_EQ(second.dye(), &read.root.find_dye("Dye:1"));
}
