#include <vexa/units/BaseUnit.h>

#include <algorithm>
#include <limits>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace Vexa::units {
namespace {

using detail::Fraction;
using Exponents = std::array<Fraction, 9>;

Exponents whole(std::array<int, 9> const& numbers) {
    Exponents exponents;
    std::transform(numbers.begin(), numbers.end(), exponents.begin(),
                   [](int number) { return Fraction(number, 1); });
    return exponents;
}

// ---- the table

struct Row {
    char const* name;
    std::array<int, 9> exponents;
    double value;
    int min_prefix;
    int max_prefix;
};

constexpr Row rows[] = {
    {"m", {1}, 1, -24, 3},
    {"kg", {0, 1}, 1, 0, 0},
    {"s", {0, 0, 1}, 1, -24, 0},
    {"A", {0, 0, 0, 1}, 1, -24, 24},
    {"K", {0, 0, 0, 0, 1}, 1, -24, 0},
    {"mol", {0, 0, 0, 0, 0, 1}, 1, -24, 0},
    {"cd", {0, 0, 0, 0, 0, 0, 1}, 1, -24, 24},
    {"rad", {0, 0, 0, 0, 0, 0, 0, 1}, 1, -3, 0},
    {"sr", {0, 0, 0, 0, 0, 0, 0, 0, 1}, 1, 0, 0},
    {"", {}, 1, -24, 24},
    {"Hz", {0, 0, -1}, 1, -24, 24},
    {"N", {1, 1, -2}, 1, -24, 24},
    {"Pa", {-1, 1, -2}, 1, -24, 24},
    {"J", {2, 1, -2}, 1, -24, 24},
    {"W", {2, 1, -3}, 1, -24, 24},
    {"C", {0, 0, 1, 1}, 1, -24, 24},
    {"V", {2, 1, -3, -1}, 1, -24, 24},
    {"F", {-2, -1, 4, 2}, 1, -24, 24},
    {"ohm", {2, 1, -3, -2}, 1, -24, 24},
    {"S", {-2, -1, 3, 2}, 1, -24, 24},
    {"Wb", {2, 1, -2, -1}, 1, -24, 24},
    {"T", {0, 1, -2, -1}, 1, -24, 24},
    {"H", {2, 1, -2, -2}, 1, -24, 24},
    {"lm", {0, 0, 0, 0, 0, 0, 1, 0, 1}, 1, -24, 24},
    {"lux", {-2, 0, 0, 0, 0, 0, 1, 0, 1}, 1, -24, 24},
    {"Bq", {0, 0, -1}, 1, -24, 24},
    {"Gy", {2, 0, -2}, 1, -24, 24},
    {"g", {0, 1}, 0.001, -24, 3},
    {"t", {0, 1}, 1000, 0, 24},
    {"deg", {0, 0, 0, 0, 0, 0, 0, 1}, 0.017453292519943295, 0, 0},
    {"pc", {1}, 3.0856775807e16, -24, 24},
    {"angstrom", {1}, 1e-10, 0, 0},
    {"fermi", {1}, 1e-15, 0, 0},
    {"barn", {2}, 1e-28, 0, 0},
    {"h", {0, 0, 1}, 3600, 0, 0},
    {"e", {0, 0, 1, 1}, 1.60217733e-19, 0, 0},
    {"eV", {2, 1, -2}, 1.60217733e-19, -24, 24},
    {"bar", {-1, 1, -2}, 100000, -24, 24},
    {"G", {0, 1, -2, -1}, 0.0001, -24, 24},
    {"Bq", {0, 0, -1}, 1, -24, 24},
    {"Ci", {0, 0, -1}, 3.7e10, -24, 24},
};

TEST(UnitTable, HoldsTheseRowsInThisOrder) {
    auto const& table = BaseUnit::get_unit_array();
    ASSERT_EQ(table.size(), 41u);
    ASSERT_EQ(std::size(rows), 41u);
    for (std::size_t i = 0; i < table.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(table[i].name, rows[i].name);
        EXPECT_TRUE(table[i].valid);
        EXPECT_TRUE(table[i].exponents == whole(rows[i].exponents));
        EXPECT_EQ(table[i].value, rows[i].value);
        EXPECT_EQ(table[i].min_prefix, rows[i].min_prefix);
        EXPECT_EQ(table[i].max_prefix, rows[i].max_prefix);
    }
}

TEST(UnitTable, IsTheSameAtEveryCall) { EXPECT_EQ(&BaseUnit::get_unit_array(), &BaseUnit::get_unit_array()); }

// ---- the prefixes

TEST(GetPrefix, GivesTheTextOfEveryExponent) {
    std::pair<int, char const*> const prefixes[] = {
        {-24, "y"}, {-21, "z"}, {-18, "a"}, {-15, "f"}, {-12, "p"}, {-9, "n"}, {-6, "\xC2\xB5"},
        {-3, "m"},  {-2, "c"},  {-1, "d"},  {2, "h"},   {3, "k"},   {6, "M"},  {9, "G"},
        {12, "T"},  {15, "P"},  {18, "E"},  {21, "Z"},  {24, "Y"}};
    for (int exponent = -30; exponent <= 30; ++exponent) {
        auto const* const found = std::find_if(std::begin(prefixes), std::end(prefixes),
                                               [&](auto const& prefix) { return prefix.first == exponent; });
        std::string const expected = found == std::end(prefixes) ? "" : found->second;
        EXPECT_EQ(BaseUnit::get_prefix(exponent, false), expected) << exponent;
        EXPECT_EQ(BaseUnit::get_prefix(exponent, true), exponent == -6 ? "u" : expected) << exponent;
    }
    EXPECT_EQ(BaseUnit::get_prefix(std::numeric_limits<int>::min(), true), "");
    EXPECT_EQ(BaseUnit::get_prefix(1000, true), "");
}

struct Match {
    int exponent;
    int length;
    bool operator==(Match const&) const = default;
};
void PrintTo(Match const& match, std::ostream* os) { *os << match.exponent << " in " << match.length; }

Match match(std::string const& name) {
    Match result{0, -1};
    result.exponent = BaseUnit::match_prefix(name, result.length);
    return result;
}

TEST(MatchPrefix, KnowsTheseFirstBytesAndNoOthers) {
    std::string const letters = "EGMPTYZcdfhkmnpuyz";
    int const exponents[] = {18, 9, 6, 15, 12, 24, 21, -2, -1, -15, 2, 3, -3, -9, -12, -6, -24, -21};
    for (int byte = 0; byte < 256; ++byte) {
        std::string const name(1, static_cast<char>(byte));
        auto const at = letters.find(name);
        Match const expected = at == std::string::npos ? Match{1000, 0} : Match{exponents[at], 1};
        EXPECT_EQ(match(name), expected) << byte;
        EXPECT_EQ(match(name + "x"), expected) << byte;
    }
}

TEST(MatchPrefix, KnowsBothCharactersForMicro) {
    EXPECT_EQ(match("\xC2\xB5m"), (Match{-6, 2}));
    EXPECT_EQ(match("\xCE\xBCm"), (Match{-6, 2}));
    EXPECT_EQ(match("\xC2\xB5"), (Match{-6, 2}));
    EXPECT_EQ(match("\xC2"), (Match{1000, 0}));
    EXPECT_EQ(match("\xC2\xBC"), (Match{1000, 0}));
}

TEST(MatchPrefix, OfAnEmptyNameIsZero) { EXPECT_EQ(match(""), (Match{0, 0})); }

TEST(MatchPrefix, DoesNotKnowAttoAlthoughItIsPrinted) {
    EXPECT_EQ(BaseUnit::get_prefix(-18, false), "a");
    EXPECT_EQ(match("am"), (Match{1000, 0}));
}

} // namespace
} // namespace Vexa::units
