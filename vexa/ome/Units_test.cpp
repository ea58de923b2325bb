#include <vexa/ome/Units.h>

#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/json/Writer.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

template <typename Unit>
using Table = std::vector<std::pair<char const*, long long>>;

template <typename Unit>
void expect_table(Table<Unit> const& table) {
    auto const& map = JSON::String_Cast<Unit>::map();
    EXPECT_EQ(map.names().size(), table.size());
    for (auto const& [name, scale] : table) {
        EXPECT_EQ(JSON::Value(name).get<Unit>(), static_cast<Unit>(scale)) << name;
        EXPECT_EQ(JSON::Value(static_cast<Unit>(scale)), JSON::Value(name)) << name;
    }
}

} // namespace

static_assert(std::is_same_v<std::underlying_type_t<Length>, std::int64_t>);
static_assert(std::is_same_v<std::underlying_type_t<Time>, std::int64_t>);
static_assert(std::is_same_v<std::underlying_type_t<Frequency>, std::int64_t>);
static_assert(std::is_same_v<std::underlying_type_t<Angle>, std::int64_t>);
static_assert(std::is_aggregate_v<Quantity<Length>>);
template <typename Unit>
concept Has_coherent_unit = requires(Quantity<Unit> quantity) {
    quantity.value_in_coherent_SI();
};
static_assert(Has_coherent_unit<Length> && Has_coherent_unit<Time> && Has_coherent_unit<Frequency>);
static_assert(!Has_coherent_unit<Angle>);

TEST(OmeUnits, OfLengthHaveTheirNamesAndScales) {
    expect_table<Length>({{"m", 1},
                          {"Em", 1000000000000000000},
                          {"Pm", 1000000000000000},
                          {"Tm", 1000000000000},
                          {"Gm", 1000000000},
                          {"Mm", 1000000},
                          {"km", 1000},
                          {"hm", 100},
                          {"dam", 10},
                          {"dm", -10},
                          {"cm", -100},
                          {"mm", -1000},
                          {"\xC2\xB5m", -1000000},
                          {"nm", -1000000000},
                          {"pm", -1000000000000},
                          {"fm", -1000000000000000},
                          {"am", -1000000000000000000},
                          {"pixel", 0},
                          {"reference frame", -1}});
}

TEST(OmeUnits, OfTimeHaveTheirNamesAndScales) {
    expect_table<Time>({{"s", 1},
                        {"Es", 1000000000000000000},
                        {"Ps", 1000000000000000},
                        {"Ts", 1000000000000},
                        {"Gs", 1000000000},
                        {"Ms", 1000000},
                        {"ks", 1000},
                        {"hs", 100},
                        {"das", 10},
                        {"ds", -10},
                        {"cs", -100},
                        {"ms", -1000},
                        {"\xC2\xB5s", -1000000},
                        {"ns", -1000000000},
                        {"ps", -1000000000000},
                        {"fs", -1000000000000000},
                        {"as", -1000000000000000000},
                        {"min", 60},
                        {"h", 3600},
                        {"d", 86400}});
}

TEST(OmeUnits, OfFrequencyHaveTheirNamesAndScales) {
    expect_table<Frequency>({{"Hz", 1},
                             {"EHz", 1000000000000000000},
                             {"PHz", 1000000000000000},
                             {"THz", 1000000000000},
                             {"GHz", 1000000000},
                             {"MHz", 1000000},
                             {"kHz", 1000},
                             {"hHz", 100},
                             {"daHz", 10},
                             {"dHz", -10},
                             {"cHz", -100},
                             {"mHz", -1000},
                             {"\xC2\xB5Hz", -1000000},
                             {"nHz", -1000000000},
                             {"pHz", -1000000000000},
                             {"fHz", -1000000000000000},
                             {"aHz", -1000000000000000000}});
}

TEST(OmeUnits, OfAngleHaveTheirNamesAndNumbers) {
    expect_table<Angle>({{"rad", 1}, {"deg", -57}, {"gon", -64}});
}

TEST(OmeQuantity, ConvertsToTheCoherentUnit) {
    EXPECT_EQ((Quantity<Length>{5, Length::um}.value_in_coherent_SI()), 5e-6);
    EXPECT_EQ((Quantity<Length>{5, Length::um}.value_in_coherent_SI()), 5 * -1.0 / -1000000);
    EXPECT_EQ((Quantity<Length>{3, Length::km}.value_in_coherent_SI()), 3000.0);
    EXPECT_EQ((Quantity<Length>{7, Length::m}.value_in_coherent_SI()), 7.0);
    EXPECT_EQ((Quantity<Time>{2, Time::h}.value_in_coherent_SI()), 7200.0);
    EXPECT_EQ((Quantity<Time>{-4, Time::ds}.value_in_coherent_SI()), -0.4);
    EXPECT_EQ((Quantity<Frequency>{80, Frequency::MHz}.value_in_coherent_SI()), 8e7);
    EXPECT_EQ((Quantity<Length>{infinity, Length::nm}.value_in_coherent_SI()), infinity);
}

TEST(OmeQuantity, OfAUnitWithoutAFactorHasOnlyZero) {
    EXPECT_EQ((Quantity<Length>{0, Length::pixel}.value_in_coherent_SI()), 0.0);
    EXPECT_EQ((Quantity<Length>{0, Length::reference_frame}.value_in_coherent_SI()), 0.0);
    EXPECT_EQ((Quantity<Length>{5, Length::pixel}.value_in_coherent_SI()), std::nullopt);
    EXPECT_EQ((Quantity<Length>{5, Length::reference_frame}.value_in_coherent_SI()), std::nullopt);
}

TEST(OmeUnits, HaveAFactorToEachOther) {
    EXPECT_EQ(get_factor_to(Length::m, Length::mm), 1e-3);
    EXPECT_EQ(get_factor_to(Length::nm, Length::nm), 1.0);
    EXPECT_EQ(get_factor_to(Length::km, Length::m), 1e-3);
    EXPECT_DOUBLE_EQ(get_factor_to(Length::nm, Length::um).value(), 1000.0);
    EXPECT_EQ(get_factor_to(Time::min, Time::h), 60.0);
    EXPECT_EQ(get_factor_to(Frequency::Hz, Frequency::kHz), 1000.0);
}

TEST(OmeUnits, WithoutAFactorHaveNoneOnEitherSide) {
    EXPECT_EQ(get_factor_to(Length::reference_frame, Length::m), std::nullopt);
    EXPECT_EQ(get_factor_to(Length::m, Length::reference_frame), std::nullopt);
    EXPECT_EQ(get_factor_to(Length::pixel, Length::m), std::nullopt);
    EXPECT_EQ(get_factor_to(Length::m, Length::pixel), std::nullopt);
    EXPECT_EQ(get_factor_to(Length::reference_frame, Length::reference_frame), std::nullopt);
}

TEST(OmeAngle, IsConvertedByItsUnit) {
    EXPECT_EQ(angle_in_radians({2, Angle::rad}), 2.0);
    EXPECT_EQ(angle_in_radians({2, Angle::deg}), 2 * 0.017453292519943295);
    EXPECT_EQ(angle_in_radians({2, Angle::gon}), 2 * 0.015707963267948967);
    EXPECT_EQ(angle_in_radians({0, Angle::gon}), 0.0);
    EXPECT_EQ(angle_in_radians({2, static_cast<Angle>(5)}), 0.0);
}

TEST(OmeQuantity, IsReadFromANumberAndTheNameOfAUnit) {
    JSON::Value tree;
    JSON::Proxy root(tree), value(root, "value"), unit(root, "unit");
    EXPECT_FALSE(Quantity<Length>::from(value, unit));
    value.set(2.5);
    EXPECT_FALSE(Quantity<Length>::from(value, unit));
    unit.set("nm");
    auto const quantity = Quantity<Length>::from(value, unit);
    ASSERT_TRUE(quantity);
    EXPECT_EQ(quantity->value, 2.5);
    EXPECT_EQ(quantity->unit, Length::nm);
    EXPECT_FALSE(Quantity<Time>::from(value, unit));
    unit.set(3);
    EXPECT_FALSE(Quantity<Length>::from(value, unit));
    unit.set("nm");
    value.set("2.5");
    EXPECT_FALSE(Quantity<Length>::from(value, unit));
}

TEST(OmeQuantity, IsStoredWithTheNameOfItsUnit) {
    JSON::Value tree;
    JSON::Proxy root(tree), value(root, "value"), unit(root, "unit");
    Quantity<Length>{2.5, Length::reference_frame}.store(value, unit);
    EXPECT_EQ(JSON::dump(tree, false), R"({"unit":"reference frame","value":2.5})");
    Quantity<Time>{-infinity, Time::us}.store(value, unit);
    EXPECT_EQ(JSON::dump(tree, false), "{\"unit\":\"\xC2\xB5s\",\"value\":\"-Infinity\"}");
    VEXA_EXPECT_THROWS((Quantity<Time>{1, static_cast<Time>(7)}.store(value, unit)), std::bad_variant_access,
                       "bad variant access");
    EXPECT_EQ(JSON::dump(tree, false), "{\"unit\":\"\xC2\xB5s\",\"value\":\"-Infinity\"}");
}

TEST(OmeQuantity, InCoherentUnitsIsEmptyUnlessItIsAFiniteNumber) {
    JSON::Value tree;
    JSON::Proxy root(tree), value(root, "value"), unit(root, "unit");
    EXPECT_EQ(in_coherent_SI<Length>(value, unit), std::nullopt);
    Quantity<Length>{3, Length::mm}.store(value, unit);
    EXPECT_EQ(in_coherent_SI<Length>(value, unit), 3e-3);
    unit.set("pixel");
    EXPECT_EQ(in_coherent_SI<Length>(value, unit), std::nullopt);
    unit.set("m");
    value.set("Infinity");
    EXPECT_EQ(in_coherent_SI<Length>(value, unit), std::nullopt);
    value.set("NaN");
    EXPECT_EQ(in_coherent_SI<Length>(value, unit), std::nullopt);
}
