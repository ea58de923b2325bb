#include <vexa/ome/Band.h>

#include <gtest/gtest.h>

#include <vexa/json/Writer.h>
#include <vexa/ome/Invalid.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;

namespace {

struct BandTest : testing::Test {
    Root root{""};
    Dye& dye = *root.ome.provide_dyes().emplace_back();
    Band& band = *root.ome.provide_bands().emplace_back();
};

} // namespace

TEST_F(BandTest, WithoutDyesHasNoWavelength) {
    EXPECT_EQ(band.first_dye(), nullptr);
    EXPECT_FALSE(band.emission_wavelength_in_meters());
}

TEST_F(BandTest, HasItsOwnWavelengthOrElseThatOfItsFirstDye) {
    dye.set_emission_wavelength({2, Length::m});
    band.add_dye("Dye:1");
    EXPECT_EQ(band.first_dye(), &dye);
    EXPECT_EQ(band.emission_wavelength_in_meters(), 2.0);
    band.set_emission_wavelength({3, Length::km});
    EXPECT_EQ(band.emission_wavelength_in_meters(), 3000.0);
}

TEST_F(BandTest, CannotAddAnUnknownDye) {
    VEXA_EXPECT_THROWS(band.add_dye("Dye:7"), Invalid_Argument, "Unknown dye 'Dye:7'.");
    EXPECT_EQ(JSON::dump(*band.value(), false), R"({"ID":"Band:1"})");
}

TEST_F(BandTest, HasAType) {
    EXPECT_FALSE(band.type());
    band.set_type(Band::Type::TCSPC);
    EXPECT_EQ(band.type(), Band::Type::TCSPC);
    EXPECT_EQ(*band.value()->find("type"), JSON::Value("TCSPC"));
    band.set_type(Band::Type::plain);
    EXPECT_EQ(*band.value()->find("type"), JSON::Value("Plain"));
    EXPECT_EQ(static_cast<int>(Band::Type::plain), 0);
    EXPECT_EQ(static_cast<int>(Band::Type::TCSPC), 1);
}

TEST_F(BandTest, FindsItsDyesAgainWhenItIsRead) {
    band.add_dye("Dye:1");
    band.name().set("first");
    band.description().set("text");
    band.set_color_map(1);
    band.set_overlay_color_map(2);
    Root const copy(root.XML());
    Band const& read = copy.find_band("Band:1");
    ASSERT_NE(read.first_dye(), nullptr);
    EXPECT_EQ(read.first_dye(), &copy.find_dye("Dye:1"));
    EXPECT_EQ(*read.name().value(), JSON::Value("first"));
    EXPECT_EQ(*read.description().value(), JSON::Value("text"));
    EXPECT_EQ(read.color_map(), JSON::Value(1));
    EXPECT_EQ(read.overlay_color_map(), JSON::Value(2));
}

TEST_F(BandTest, ForgetsADyeThatIsErased) {
    band.add_dye("Dye:1");
    root.ome.dyes()->remove("Dye:1");
    EXPECT_EQ(band.first_dye(), nullptr);
    EXPECT_FALSE(band.emission_wavelength_in_meters());
}
