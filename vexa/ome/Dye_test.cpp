#include <vexa/ome/Dye.h>

#include <limits>

#include <gtest/gtest.h>

#include <vexa/json/Reader.h>
#include <vexa/json/Writer.h>
#include <vexa/ome/Root.h>

using namespace OME;

namespace {

std::string text(JSON::Value const& value) { return JSON::dump(value, false); }

struct DyeTest : testing::Test {
    Root root{""};
    Dye& dye = *root.ome.provide_dyes().emplace_back();
};

} // namespace

TEST_F(DyeTest, NamesTheColoursItKnows) {
    EXPECT_EQ(Dye::color_name(0xFF0000FF), "blue");
    EXPECT_EQ(Dye::color_name(0xFF00FF00), "lime");
    EXPECT_EQ(Dye::color_name(0xFF00FFFF), "cyan");
    EXPECT_EQ(Dye::color_name(0xFFFF0000), "red");
    EXPECT_EQ(Dye::color_name(0xFFFF00FF), "magenta");
    EXPECT_EQ(Dye::color_name(0xFFFFA500), "orange");
    EXPECT_EQ(Dye::color_name(0xFFFFFF00), "yellow");
    EXPECT_EQ(Dye::color_name(0xFFFFFFFF), "white");
    EXPECT_EQ(Dye::color_name(0x80FF0000), "unknown");
    EXPECT_EQ(Dye::color_name(0), "unknown");
}

TEST_F(DyeTest, BuildsColourMaps) {
    EXPECT_EQ(text(Dye::RGB_node(0.25, 0x80010203)), "[0.25,1,2,3]");
    EXPECT_EQ(text(Dye::color_map(0xFFFF0000, false)),
              R"({"red":[[0,0,0,0],[0.5,255,0,0],[1,255,255,255]]})");
    EXPECT_EQ(text(Dye::color_map(0xFFFF0000, true)), R"({"red":[[0,0,0,0],[1,255,0,0]]})");
    EXPECT_EQ(text(Dye::color_map(0xFFFFFFFF, false)), R"({"white":[[0,0,0,0],[1,255,255,255]]})");
    EXPECT_EQ(text(Dye::color_map(0xFFFFFFFF, true)), R"({"white":[[0,0,0,0],[1,255,255,255]]})");
}

TEST_F(DyeTest, WithoutFieldsIsEmpty) {
    EXPECT_EQ(text(*dye.value()), R"({"ID":"Dye:1"})");
    EXPECT_FALSE(dye.name());
    EXPECT_FALSE(dye.description());
    EXPECT_FALSE(dye.lifetime_in_seconds());
    EXPECT_FALSE(dye.emission_wavelength_in_meters());
    EXPECT_TRUE(dye.color_map().is_null() && dye.overlay_color_map().is_null() && dye.record().is_null());
}

TEST_F(DyeTest, StoresEachFieldInItsPlace) {
    dye.name().set("green one");
    dye.description().set("bleaches");
    dye.set_emission_wavelength({520, Length::nm});
    dye.set_lifetime({2.5, Time::ns});
    dye.set_color_map(JSON::parse(R"({"a": 1})"));
    dye.set_overlay_color_map(JSON::parse(R"({"b": 2})"));
    dye.set_record(JSON::parse("[3]"));
    EXPECT_EQ(
        text(*dye.value()),
        R"({"":{"color_map":[{"":"{\"a\":1}"}],"description":[{"":"bleaches"}],)"
        R"("overlay_color_map":[{"":"{\"b\":2}"}],"record":[{"":"[3]"}]},"ID":"Dye:1",)"
        R"("emission_wavelength":520,"emission_wavelength_unit":"nm","lifetime":2.5,"lifetime_unit":"ns",)"
        R"("name":"green one"})");
    EXPECT_DOUBLE_EQ(dye.emission_wavelength_in_meters().value(), 520e-9);
    EXPECT_DOUBLE_EQ(dye.lifetime_in_seconds().value(), 2.5e-9);
    EXPECT_EQ(text(dye.color_map()), R"({"a":1})");
    EXPECT_EQ(text(dye.overlay_color_map()), R"({"b":2})");
    EXPECT_EQ(text(dye.record()), "[3]");
    dye.reset_color_map();
    dye.reset_overlay_color_map();
    EXPECT_TRUE(dye.color_map().is_null() && dye.overlay_color_map().is_null());
    EXPECT_EQ(dye.content.value()->find("color_map"), nullptr);
}

TEST_F(DyeTest, HasNoWavelengthIfItIsNotFinite) {
    dye.set_emission_wavelength({std::numeric_limits<double>::infinity(), Length::nm});
    EXPECT_FALSE(dye.emission_wavelength_in_meters());
    EXPECT_EQ(*dye.value()->find("emission_wavelength"), JSON::Value("Infinity"));
}

TEST_F(DyeTest, IsCopiedWithAWavelengthThatIsNotFinite) {
    dye.set_emission_wavelength({std::numeric_limits<double>::infinity(), Length::nm});
    dye.set_lifetime({std::numeric_limits<double>::quiet_NaN(), Time::ns});
    Dye& copy = *root.ome.provide_dyes().emplace_back();
    copy = dye;
    EXPECT_EQ(*copy.value(), *dye.value());
    Root target("");
    target = Root(root.XML());
    EXPECT_EQ(*target.find_dye("Dye:1").value(), *dye.value());
}

TEST_F(DyeTest, FailsOnAColourMapThatIsNoJson) {
    dye.set_color_map(1);
    dye.content.get_value().find("color_map", 0, "")->set<std::string>("{");
    EXPECT_THROW(dye.color_map(), std::exception);
}
