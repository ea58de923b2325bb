// What the images of real OME-XML documents say, which are kept outside of the project, if they are there. The
// expected values were read from the documents by eye.

#include <filesystem>
#include <memory>
#include <string>
#include <variant>

#include <gtest/gtest.h>

#include <vexa/ome/Invalid.h>
#include <vexa/ome/Modulo.h>
#include <vexa/ome/Root.h>

#include "import_XML.h"
#include "shared_documents.h"

namespace {

using Sizes = std::vector<std::size_t>;
using OME::Image;

std::string text_of(std::filesystem::path const& path) {
    return OME::import_XML(Vexa::testing::read_bytes(path));
}

class OmeImages : public Vexa::testing::SharedDocuments {
protected:
    /// The first image of a document.
    Image const& open(char const* name) {
        return open_text(text_of(Vexa::testing::shared_documents() / name));
    }
    Image const& open_text(std::string const& text) {
        root_ = std::make_unique<OME::Root>(text);
        return root_->ome.images().front();
    }
    /// Of the document that was opened last.
    OME::Root const& root() const { return *root_; }

private:
    std::unique_ptr<OME::Root> root_;
};

} // namespace

TEST_F(OmeImages, OfTheSameReleaseOpen) {
    int opened = 0;
    for (auto const& entry :
         std::filesystem::directory_iterator(Vexa::testing::shared_documents() / "2016-06")) {
        if (!entry.path().filename().string().ends_with(".ome.xml")) continue;
        EXPECT_NO_THROW({
            OME::Root const root(text_of(entry.path()));
            for (Image const& image : root.ome.images()) {
                EXPECT_GT(image.size(), 0u) << entry.path();
                EXPECT_TRUE(image.data_type()) << entry.path();
            }
            EXPECT_EQ(*OME::Root(root.XML()).value(), *root.value()) << entry.path();
        }) << entry.path();
        ++opened;
    }
    EXPECT_GT(opened, 0);
}

TEST_F(OmeImages, HaveSizesInTheirOrder) {
    Image const& series = open("2016-06/multi-channel-z-series.ome.xml");
    EXPECT_EQ(*series.name().value(), JSON::Value("18x24y5z1t2c8b-text"));
    EXPECT_EQ(series.storage_shape(), (Sizes{18, 24, 2, 1, 5}));
    EXPECT_EQ(series.dimensions().dimension_order, Image::Dimension_Order::XYCTZ);
    ASSERT_EQ(series.number_of_channels(), 2u);
    EXPECT_EQ(series.channel(0).color_in_RGBA(), 0x80000000u);
    EXPECT_TRUE(series.acquisition_date());
    Image const& only = open("2016-06/metadata-only.ome.xml");
    EXPECT_EQ(only.storage_shape(), (Sizes{18, 24, 5, 1, 5}));
    EXPECT_TRUE(only.is_metadata_only());
    EXPECT_TRUE(only.planes().empty());
}

TEST_F(OmeImages, HaveChannelsAndObjectives) {
    Image const& image = open("2016-06/spim.ome.xml");
    EXPECT_EQ(*image.name().value(), JSON::Value("Spim Sample Tile 1 Angle 1"));
    EXPECT_EQ(image.storage_shape(), (Sizes{6, 4, 2, 2, 2}));
    EXPECT_DOUBLE_EQ(image.voxel_size_x_in_meters().value(), 0.01); // 10000 µm
    ASSERT_EQ(image.number_of_channels(), 2u);
    EXPECT_EQ(*image.channel(1).fluor().value(), JSON::Value("Green-OME"));
    EXPECT_EQ(image.channel(1).color_in_RGBA(), 0x00ff00ffu); // 16711935
    EXPECT_EQ(image.channel(0).color_in_RGBA(), 0xffffffffu);
    EXPECT_EQ(image.objective_settings().medium(), OME::Objective::Immersion::oil);
    EXPECT_NE(image.objective_settings().referent(), nullptr);
    EXPECT_NE(image.instrument(), nullptr);
    EXPECT_EQ(image.first_plane_exposure_time(), 500.0);
    Image const& channels = open("2016-06/multi-channel.ome.xml");
    EXPECT_EQ(channels.storage_shape(), (Sizes{6, 4, 3, 1, 1}));
    EXPECT_EQ(channels.channel(2).acquisition_mode(),
              OME::Channel::Acquisition_Mode::multi_photon_microscopy);
    EXPECT_EQ(channels.channel(0).color_in_RGBA(), 0xff0000ffu); // -16776961
    EXPECT_EQ(channels.channel(2).color_in_RGBA(), 0x0000ffffu); // 65535
}

TEST_F(OmeImages, HavePlanesWithPositions) {
    Image const& image = open("ome-types/MMStack.ome.xml");
    EXPECT_EQ(image.storage_shape(), (Sizes{256, 256, 3, 5, 2}));
    EXPECT_EQ(image.data_type(), Image::Data_Type::uint16);
    EXPECT_EQ(*image.channel(2).name().value(), JSON::Value("FITC"));
    EXPECT_DOUBLE_EQ(image.voxel_size_z_in_meters().value(), 1.75e-6);
    EXPECT_DOUBLE_EQ(image.time_increment_in_seconds().value(), 1e-3);
    EXPECT_EQ(image.planes().size(), 30u);
    EXPECT_DOUBLE_EQ(image.delta_t(0, 0).value(), 0.117);
    EXPECT_DOUBLE_EQ(image.delta_t(1, 0).value(), 0.172);
    EXPECT_DOUBLE_EQ(image.position_in_meters(0).x, -256e-6);
    EXPECT_DOUBLE_EQ(image.position_in_meters(0).z, -4e-6);
    EXPECT_DOUBLE_EQ(image.tile_shape_in_meters().x, 512e-6);
}

TEST_F(OmeImages, HaveLifetimesAlongC) {
    Image const& image = open("ome-types-history/FLIM-ModuloAlongC.ome.xml");
    EXPECT_EQ(image.storage_shape(), (Sizes{180, 150, 1, 16, 1}));
    EXPECT_EQ(image.dimensions().c, 2u);
    EXPECT_EQ(image.dimensions().modulo_c, 8u);
    EXPECT_EQ(image.dimensions().modulo_type_c, OME::Image_Modulo_Type::lifetime);
    EXPECT_DOUBLE_EQ(image.lifetime_increment_in_seconds().value(), 1e-12);
    EXPECT_EQ(image.modulo()->range_c(), (Image::Modulo::Range{1, 1, 8, "ps"}));
}

TEST_F(OmeImages, OfOtherReleasesAndProgramsOpen) {
    int opened = 0;
    for (auto const& entry :
         std::filesystem::recursive_directory_iterator(Vexa::testing::shared_documents())) {
        if (!entry.path().filename().string().ends_with(".ome.xml")) continue;
        OME::Root const root(text_of(entry.path()));
        for (Image const& image : root.ome.images()) {
            EXPECT_EQ(image.storage_shape().size(), 5u) << entry.path();
            image.shape_in_meters();
        }
        ++opened;
    }
    EXPECT_GT(opened, 0);
}

TEST_F(OmeImages, FindTheirInstrumentsByAnyIdentifier) {
    Image const& plain = open("ome-types/MMStack.ome.xml"); // "Microscope"
    ASSERT_TRUE(plain.instrument());
    EXPECT_EQ(*plain.instrument()->id.value(), JSON::Value("Instrument:Microscope"));
    EXPECT_EQ(*root().find_detector("Detector:Camera").id.value(), JSON::Value("Detector:Camera"));

    open("ome-types/tubhiswt.ome.xml"); // "urn:lsid:loci.wisc.edu:Detector:OWS1"
    EXPECT_EQ(*root().find_detector("Detector:loci.wisc.edu:OWS1").model().value(), JSON::Value("H7422"));
    EXPECT_EQ(*root().find_detector("Detector:loci.wisc.edu:OWS2").model().value(), JSON::Value("1024TLD"));
    EXPECT_EQ(*root().find_light_source("LightSource:loci.wisc.edu:OWS1").manufacturer().value(),
              JSON::Value("Spectral Physics"));
}

TEST_F(OmeImages, HavePositionsWithALeadingPlus) {
    Image const& image = open("ome-types/ome_ns.ome.xml");
    JSON::Map const& plane = image.planes().front().value()->get<JSON::Map>(); // "+000000043420.9400"
    EXPECT_EQ(plane.at("PositionX"), JSON::Value(43420.94));
    EXPECT_EQ(plane.at("PositionZ"), JSON::Value(9799.29));
}

TEST_F(OmeImages, OfOlderReleasesFindTheirLightSourcesAndShapes) {
    open("older/2015-01/instrument-units-default.ome.xml");
    OME::Light_Source const& laser = root().find_light_source("LightSource:0");
    EXPECT_EQ(*laser.model().value(), JSON::Value("Ruby60"));
    EXPECT_DOUBLE_EQ(laser.wavelength_in_meters().value(), 590.5e-9);

    open("older/2015-01/ROI.ome.xml");
    ASSERT_EQ(root().ome.ROIs().size(), 3u);
    auto region = root().ome.ROIs().begin();
    EXPECT_TRUE((*region).lines().empty());
    EXPECT_EQ((*++region).lines().size(), 1u);
    EXPECT_EQ((*region).lines().front().id.value()->get<std::string>(), "Shape:5");
    EXPECT_EQ((*++region).rectangles().size(), 1u);
    EXPECT_EQ((*region).rectangles().front().id.value()->get<std::string>(), "Shape:3");
}

TEST_F(OmeImages, FindTheDetectorsOfALaterInstrument) {
    Image const& image = open("ome-types/seq0000xy01c1.ome.xml");
    EXPECT_EQ(*image.instrument()->id.value(), JSON::Value("Instrument:1"));
    EXPECT_EQ(root().ome.first_instrument(), image.instrument());
    EXPECT_EQ(*root().find_objective("Objective:1").model().value(), JSON::Value("Plan Apo ? 10x"));
    EXPECT_EQ(root().ome.instruments().size(), 2u);
}
