#include <vexa/ome/Light_Source.h>

#include <limits>
#include <variant>

#include <gtest/gtest.h>

#include <vexa/json/Writer.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;

namespace {

struct LightSourceTest : testing::Test {
    Root root{""};
    Light_Source& source = *root.ome.provide_light_sources().emplace_back();
    std::string text() { return JSON::dump(*source.value(), false); }
};

} // namespace

TEST_F(LightSourceTest, WithoutFieldsIsEmpty) {
    EXPECT_EQ(text(), R"({"ID":"LightSource:1"})");
    EXPECT_FALSE(source.power() || source.power_unit() || source.type() || source.laser_medium());
    EXPECT_FALSE(source.frequency_multiplication() || source.tuneable() || source.pulse() ||
                 source.pockel_cell());
    EXPECT_FALSE(source.manufacturer() || source.model() || source.serial_number() || source.lot_number());
    EXPECT_FALSE(source.wavelength_in_meters());
    EXPECT_FALSE(source.repetition_rate_in_hertz());
}

TEST_F(LightSourceTest, IsWrittenAsALaser) {
    EXPECT_EQ(JSON::dump(*root.ome.instruments().value(), false),
              R"([{"":{"Laser":[{"ID":"LightSource:1"}]},"ID":"Instrument:1"}])");
}

TEST_F(LightSourceTest, StoresEachFieldInItsPlace) {
    source.manufacturer().set("maker");
    source.model().set("m");
    source.serial_number().set("s");
    source.lot_number().set("l");
    source.power().set(20);
    source.power_unit().set("mW");
    source.type().set("SolidState");
    source.laser_medium().set("Argon");
    source.frequency_multiplication().set(2);
    source.tuneable().set(false);
    source.pulse().set("CW");
    source.pockel_cell().set(true);
    source.set_wavelength({0.5, Length::um});
    source.set_repetition_rate({80, Frequency::MHz});
    EXPECT_EQ(text(),
              R"({"FrequencyMultiplication":2,"ID":"LightSource:1","LaserMedium":"Argon","LotNumber":"l",)"
              R"("Manufacturer":"maker","Model":"m","PockelCell":true,"Power":20,"PowerUnit":"mW",)"
              R"("Pulse":"CW","RepetitionRate":80,"RepetitionRateUnit":"MHz","SerialNumber":"s",)"
              R"("Tuneable":false,"Type":"SolidState","Wavelength":0.5,"WavelengthUnit":"µm"})");
    EXPECT_DOUBLE_EQ(source.wavelength_in_meters().value(), 5e-7);
    EXPECT_DOUBLE_EQ(source.repetition_rate_in_hertz().value(), 8e7);
    Root const read(root.XML());
    EXPECT_EQ(*read.value(), *root.value());
}

TEST_F(LightSourceTest, HasNumbersInNanometersAndHertzWithoutAUnit) {
    Root const read(R"(<OME><Instrument><Laser Wavelength="488" RepetitionRate="50"/></Instrument></OME>)");
    Light_Source const& laser = read.find_light_source("LightSource:1");
    EXPECT_DOUBLE_EQ(laser.wavelength_in_meters().value(), 488e-9);
    EXPECT_EQ(laser.repetition_rate_in_hertz(), 50.0);
    EXPECT_EQ(read.XML().find("Unit"), std::string::npos);
}

TEST_F(LightSourceTest, HasNoWavelengthWithoutANumberOrAKnownUnitOrIfItIsNotFinite) {
    for (char const* attributes :
         {R"(WavelengthUnit="nm")", R"(Wavelength="1" WavelengthUnit="pixel")",
          R"(Wavelength="1" WavelengthUnit="league")", R"(Wavelength="INF")", R"(Wavelength="NaN")"}) {
        Root const read("<OME><Instrument><Laser " + std::string(attributes) + "/></Instrument></OME>");
        EXPECT_FALSE(read.find_light_source("LightSource:1").wavelength_in_meters()) << attributes;
    }
    source.set_repetition_rate({-std::numeric_limits<double>::infinity(), Frequency::Hz});
    EXPECT_EQ(text(), R"({"ID":"LightSource:1","RepetitionRate":"-Infinity","RepetitionRateUnit":"Hz"})");
    EXPECT_FALSE(source.repetition_rate_in_hertz());
}

TEST_F(LightSourceTest, RefusesValuesOfAnotherType) {
    VEXA_EXPECT_THROWS(source.power().set("20"), std::bad_variant_access, "bad variant access");
    VEXA_EXPECT_THROWS(source.frequency_multiplication().set(1.5), std::bad_variant_access,
                       "bad variant access");
    VEXA_EXPECT_THROWS(source.tuneable().set("true"), std::bad_variant_access, "bad variant access");
    VEXA_EXPECT_THROWS(source.type().set(1), std::bad_variant_access, "bad variant access");
    VEXA_EXPECT_THROWS(source.set_wavelength({1, static_cast<Length>(7)}), std::bad_variant_access,
                       "bad variant access");
    EXPECT_EQ(text(), R"({"ID":"LightSource:1"})");
}

TEST_F(LightSourceTest, RefusesAMultiplicationBeyondItsRangeWhenItIsRead) {
    VEXA_EXPECT_THROWS(
        Root(R"(<OME><Instrument><Laser FrequencyMultiplication="9223372036854775808"/></Instrument></OME>)"),
        std::bad_variant_access, "bad variant access");
}
