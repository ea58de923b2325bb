#include <vexa/json/Format.h>

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized" // g++ 12 mistakes parts of std::regex under sanitizers
#endif
#include <regex>

#include <gtest/gtest.h>

#include <vexa/json/Reader.h>

using namespace JSON;

namespace {

template <typename T>
bool matches(char const* text) {
    return std::regex_match(text, std::regex(type_pattern<T>()));
}

} // namespace

TEST(TypePattern, IsTheTextOfEachType) {
    EXPECT_EQ(type_pattern<std::monostate>(), "(null)");
    EXPECT_EQ(type_pattern<Boolean>(), "(false|true)");
    EXPECT_EQ(type_pattern<long long>(), "([+-]?[0-9]+)");
    EXPECT_EQ(type_pattern<Number>(), "([+-]?(?:(?:[0-9]+[.]?[0-9]*)|(?:[.][0-9]+))(?:[eE][+-]?[0-9]+)?)");
    EXPECT_EQ(type_pattern<std::string>(), "");
    EXPECT_EQ(type_pattern<List>(), "");
    EXPECT_EQ(type_pattern<Map>(), "");
    EXPECT_EQ(&type_pattern<Number>(), &type_pattern<Number>());
}

TEST(TypePattern, MatchesWhatItDescribes) {
    for (char const* text : {"0", "-1.", "+.5", "1e9", "2.5E-3"}) EXPECT_TRUE(matches<Number>(text)) << text;
    for (char const* text : {"", ".", "e9", "1e", "NaN"}) EXPECT_FALSE(matches<Number>(text)) << text;
    EXPECT_TRUE(matches<long long>("-12"));
    EXPECT_FALSE(matches<long long>("1.0"));
    EXPECT_TRUE(matches<Boolean>("true"));
    EXPECT_FALSE(matches<Boolean>("1"));
}

TEST(Format, HasAPatternForEachUnit) {
    EXPECT_EQ(Format<Degree>::unit_pattern(), "°?");
    EXPECT_EQ(Format<Percentage>::unit_pattern(), "\\s?%?");
    EXPECT_EQ(Format<Pixel>::unit_pattern(), "\\s?(?:px)?");
}

TEST(Format, DisplaysTheValueWithItsUnit) {
    EXPECT_EQ(Format<Degree>::display(45), "45°");
    EXPECT_EQ(Format<Percentage>::display(12.5), "12.5 %");
    EXPECT_EQ(Format<Pixel>::display(-3), "-3 px");
    EXPECT_EQ(Format<Degree>::display("Infinity"), "Infinity°");
    EXPECT_EQ(Format<Pixel>::display(parse("[1,2]")), "[1,2] px");
}

TEST(QuantityPrefix, HasAFactorForEachPowerOfAThousand) {
    auto const& factors = Quantity::prefix_factors();
    std::map<std::string, double> const expected{
        {"y", 1e-24}, {"z", 1e-21},       {"a", 1e-18}, {"f", 1e-15}, {"p", 1e-12}, {"n", 1e-9},
        {"u", 1e-6},  {"\xC2\xB5", 1e-6}, {"m", 1e-3},  {"", 1.0},    {"k", 1e3},   {"M", 1e6},
        {"G", 1e9},   {"T", 1e12},        {"P", 1e15},  {"E", 1e18},  {"Z", 1e21},  {"Y", 1e24}};
    EXPECT_EQ(factors, expected);
    EXPECT_FALSE(factors.contains("h") || factors.contains("da") || factors.contains("d") ||
                 factors.contains("c"));
}

TEST(QuantityPrefix, PatternListsThePrefixes) {
    EXPECT_EQ(Quantity::prefix_pattern(), "([yzafpnumkMGTPEZY\\x{00B5}]?)");
}
