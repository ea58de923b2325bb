#include <vexa/ome/Filter.h>

#include <variant>

#include <gtest/gtest.h>

#include <vexa/json/Writer.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;

namespace {

struct FilterTest : testing::Test {
    Root root{""};
    Filter& filter = *root.ome.provide_filters().emplace_back();
    std::string text() { return JSON::dump(*filter.value(), false); }
};

} // namespace

TEST_F(FilterTest, WithoutFieldsIsEmpty) {
    EXPECT_FALSE(filter.type());
    EXPECT_FALSE(filter.filter_wheel());
    EXPECT_FALSE(filter.transmittance_range());
    EXPECT_FALSE(filter.cut_in_in_meters());
    EXPECT_FALSE(filter.cut_out_in_meters());
    EXPECT_FALSE(filter.transmittance_range().cut_in_tolerance_in_meters());
    EXPECT_FALSE(filter.transmittance_range().cut_out_tolerance_in_meters());
    EXPECT_FALSE(filter.transmittance_range().transmittance());
    EXPECT_EQ(text(), R"({"ID":"Filter:1"})");
}

TEST_F(FilterTest, HasAType) {
    char const* const names[] = {"Dichroic",  "LongPass",       "ShortPass", "BandPass",
                                 "MultiPass", "NeutralDensity", "Tuneable",  "Other"};
    for (int i = 0; i < 8; ++i) {
        Filter::Type const type{i};
        filter.set_type(type);
        EXPECT_EQ(*filter.value()->find("Type"), JSON::Value(names[i]));
        EXPECT_EQ(Root(root.XML()).find_filter("Filter:1").type(), type);
    }
    VEXA_EXPECT_THROWS(filter.set_type(static_cast<Filter::Type>(8)), std::bad_variant_access,
                       "bad variant access");
    EXPECT_EQ(filter.type(), Filter::Type::other);
}

TEST_F(FilterTest, OfAnUnknownTypeOpensAndFailsWhenTheTypeIsRead) {
    Root const read(R"(<OME><Instrument><Filter Type="Sieve"/></Instrument></OME>)");
    VEXA_EXPECT_THROWS(read.find_filter("Filter:1").type(), std::bad_variant_access, "bad variant access");
    EXPECT_NE(read.XML().find(R"(Type="Sieve")"), std::string::npos);
}

TEST_F(FilterTest, HasItsEdgesInTheTransmittanceRange) {
    filter.set_cut_in({500, Length::nm});
    filter.set_cut_out({0.55, Length::um});
    EXPECT_EQ(
        text(),
        R"({"":{"TransmittanceRange":[{"CutIn":500,"CutInUnit":"nm","CutOut":0.55,"CutOutUnit":"µm"}]},)"
        R"("ID":"Filter:1"})");
    EXPECT_DOUBLE_EQ(filter.cut_in_in_meters().value(), 5e-7);
    EXPECT_DOUBLE_EQ(filter.cut_out_in_meters().value(), 5.5e-7);
    EXPECT_EQ(filter.transmittance_range().cut_in_in_meters(), filter.cut_in_in_meters());
    EXPECT_EQ(filter.transmittance_range().cut_out_in_meters(), filter.cut_out_in_meters());
    filter.transmittance_range().reset();
    EXPECT_FALSE(filter.cut_in_in_meters());
    EXPECT_EQ(text(), R"({"":{},"ID":"Filter:1"})");
}

TEST_F(FilterTest, HasTolerancesAndATransmittance) {
    Transmittance_Range& range = filter.transmittance_range();
    range.set_cut_in_tolerance({1, Length::nm});
    range.set_cut_out_tolerance({2, Length::pm});
    range.transmittance().set(0.95);
    EXPECT_EQ(text(),
              R"({"":{"TransmittanceRange":[{"CutInTolerance":1,"CutInToleranceUnit":"nm",)"
              R"("CutOutTolerance":2,"CutOutToleranceUnit":"pm","Transmittance":0.95}]},"ID":"Filter:1"})");
    EXPECT_DOUBLE_EQ(range.cut_in_tolerance_in_meters().value(), 1e-9);
    EXPECT_DOUBLE_EQ(range.cut_out_tolerance_in_meters().value(), 2e-12);
    EXPECT_FALSE(range.cut_in_in_meters());
}

TEST_F(FilterTest, HasEdgesInNanometersWithoutAUnit) {
    Root const read(
        R"(<OME><Instrument><Filter><TransmittanceRange CutIn="400" CutOut="700" CutInTolerance="4" )"
        R"(CutOutTolerance="7"/></Filter></Instrument></OME>)");
    Filter const& found = read.find_filter("Filter:1");
    EXPECT_DOUBLE_EQ(found.cut_in_in_meters().value(), 4e-7);
    EXPECT_DOUBLE_EQ(found.cut_out_in_meters().value(), 7e-7);
    EXPECT_DOUBLE_EQ(found.transmittance_range().cut_in_tolerance_in_meters().value(), 4e-9);
    EXPECT_DOUBLE_EQ(found.transmittance_range().cut_out_tolerance_in_meters().value(), 7e-9);
    EXPECT_EQ(read.XML().find("Unit"), std::string::npos);
}

TEST_F(FilterTest, MakesNoRangeForAUnitWithoutAName) {
    VEXA_EXPECT_THROWS(filter.set_cut_in({1, static_cast<Length>(5)}), std::bad_variant_access,
                       "bad variant access");
    VEXA_EXPECT_THROWS(filter.set_cut_out({1, static_cast<Length>(5)}), std::bad_variant_access,
                       "bad variant access");
    EXPECT_EQ(text(), R"({"ID":"Filter:1"})");
}

TEST_F(FilterTest, StoresItsWheel) {
    filter.filter_wheel().set("wheel 2");
    EXPECT_EQ(text(), R"({"FilterWheel":"wheel 2","ID":"Filter:1"})");
}
