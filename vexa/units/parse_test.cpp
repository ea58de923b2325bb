#include <vexa/units/BaseUnit.h>

#include <algorithm>
#include <chrono>
#include <clocale>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace Vexa::units {
namespace {

using detail::Fraction;
using Exponents = std::array<Fraction, 9>;
using Numbers = std::array<int, 9>;

Exponents whole(Numbers const& numbers) {
    Exponents exponents;
    std::transform(numbers.begin(), numbers.end(), exponents.begin(),
                   [](int number) { return Fraction(number, 1); });
    return exponents;
}

constexpr Numbers none{}, metre{1}, mass{0, 1}, second{0, 0, 1}, hertz{0, 0, -1}, speed{1, 0, -1};

struct Reading {
    std::string text;
    double value;
    Numbers exponents;
};
void PrintTo(Reading const& reading, std::ostream* os) { *os << '"' << reading.text << '"'; }

class UnitText : public testing::TestWithParam<Reading> {};

TEST_P(UnitText, Parses) {
    RuntimeValue result;
    result.valid = false;
    ASSERT_TRUE(BaseUnit::parse(GetParam().text, result));
    EXPECT_TRUE(result.valid);
    EXPECT_DOUBLE_EQ(result.value, GetParam().value);
    EXPECT_TRUE(result.exponents == whole(GetParam().exponents));
}

INSTANTIATE_TEST_SUITE_P(
    Units, UnitText,
    testing::Values(Reading{"m", 1, metre}, Reading{"kg", 1, mass}, Reading{"g", 0.001, mass},
                    Reading{"t", 1000, mass}, Reading{"h", 3600, second}, Reading{"Bq", 1, hertz},
                    Reading{"Ci", 3.7e10, hertz}, Reading{"Pa", 1, {-1, 1, -2}}, Reading{"barn", 1e-28, {2}},
                    Reading{"e", 1.60217733e-19, {0, 0, 1, 1}},
                    Reading{"deg", 0.017453292519943295, {0, 0, 0, 0, 0, 0, 0, 1}},
                    Reading{"G", 1e-4, {0, 1, -2, -1}}, Reading{"T", 1, {0, 1, -2, -1}}));
INSTANTIATE_TEST_SUITE_P(Prefixes, UnitText,
                         testing::Values(Reading{"km", 1000, metre}, Reading{"mg", 1e-6, mass},
                                         Reading{"kt", 1e6, mass}, Reading{"ms", 0.001, second},
                                         Reading{"kh", 3.6e6, second}, Reading{"cm", 0.01, metre},
                                         Reading{"um", 1e-6, metre}, Reading{"\xC2\xB5m", 1e-6, metre},
                                         Reading{"\xCE\xBCm", 1e-6, metre}, Reading{"hg", 0.1, mass},
                                         Reading{"ht", 1e5, mass}, Reading{"ds", 0.1, second},
                                         Reading{"Ym", 1e24, metre}, Reading{"ym", 1e-24, metre},
                                         Reading{"kangstrom", 1e-7, metre}, Reading{"mm", 0.001, metre}));
INSTANTIATE_TEST_SUITE_P(PrefixesAlone, UnitText,
                         testing::Values(Reading{"k", 1000, none}, Reading{"5k", 5000, none},
                                         Reading{"\xC2\xB5", 1e-6, none}, Reading{"u", 1e-6, none},
                                         Reading{"M", 1e6, none}, Reading{"3 Z", 3e21, none},
                                         Reading{"c", 0.01, none}, Reading{"d", 0.1, none}));
INSTANTIATE_TEST_SUITE_P(
    Numbers, UnitText,
    testing::Values(Reading{"1e3m", 1000, metre}, Reading{"1 eV", 1.60217733e-19, {2, 1, -2}},
                    Reading{"2.5 mm", 0.0025, metre}, Reading{"-2.5", -2.5, none}, Reading{"+2.5", 2.5, none},
                    Reading{"0", 0, none}, Reading{"-.5m", -0.5, metre}, Reading{"1.", 1, none},
                    Reading{"1E-3", 0.001, none}, Reading{"7   m", 7, metre}, Reading{"  m", 1, metre},
                    Reading{" ", 1, none}, Reading{"5 ", 5, none},
                    Reading{"1e3e", 1.60217733e-16, {0, 0, 1, 1}},
                    Reading{"1e5eV", 1.60217733e-14, {2, 1, -2}}, Reading{"00012", 12, none},
                    Reading{"1e3k", 1e6, none}));
INSTANTIATE_TEST_SUITE_P(NumbersWithAnUnreadEnd, UnitText,
                         testing::Values(Reading{"1e+", 1, none}, Reading{"2e-m", 2, metre},
                                         Reading{"1e2.5m", 100, metre}, Reading{".5.5", 0.5, none}));
INSTANTIATE_TEST_SUITE_P(
    Operators, UnitText,
    testing::Values(Reading{"5 m/s^2", 5, {1, 0, -2}}, Reading{"2*3", 6, none}, Reading{"m^1/2", 0.5, metre},
                    Reading{"m^3", 1, {3}}, Reading{"1/s", 1, hertz}, Reading{"8/4/2", 1, none},
                    Reading{"8/4*2", 4, none}, Reading{"8/(4*2)", 1, none},
                    Reading{"2.5 mm/s^2", 0.0025, {1, 0, -2}}, Reading{"m^-1", 1, {-1}},
                    Reading{"(2 m)^2", 4, {2}}, Reading{"m^2^3", 1, {6}}, Reading{"m^", 1, none},
                    Reading{"5^", 1, none}, Reading{"m^-", 1, none}, Reading{"km^2", 1e6, {2}},
                    Reading{"m* s", 1, {1, 0, 1}}, Reading{"5 m^2", 25, {2}}, Reading{"5*m^2", 5, {2}}));
INSTANTIATE_TEST_SUITE_P(Brackets, UnitText,
                         testing::Values(Reading{"(m)", 1, metre}, Reading{"((m))", 1, metre},
                                         Reading{"(m/s)", 1, speed}, Reading{"1/(s)", 1, hertz},
                                         Reading{"m/(s*(2*(2)))", 0.25, speed},
                                         Reading{"m*(s)", 1, {1, 0, 1}}, Reading{"m^(4/2)", 1, {2}}));

class BadUnitText : public testing::TestWithParam<char const*> {};

TEST_P(BadUnitText, IsRefusedAndLeavesTheResultAlone) {
    RuntimeValue result(7.0);
    EXPECT_FALSE(BaseUnit::parse(GetParam(), result));
    EXPECT_TRUE(result.valid);
    EXPECT_EQ(result.value, 7.0);
    EXPECT_TRUE(result.is_dimensionless());
}

INSTANTIATE_TEST_SUITE_P(Names, BadUnitText,
                         testing::Values("", "x", "M m", "metre", "KM", "a", "am", "da", "\xC2", "\xB5m",
                                         "mx", "kk", "kkm", "inf", "nan", "\tm"));
INSTANTIATE_TEST_SUITE_P(Prefixes, BadUnitText,
                         testing::Values("Mg", "Gg", "mt", "dt", "ks", "hs", "Ms", "kkg", "mkg",
                                         "\xC2\xB5kg"));
INSTANTIATE_TEST_SUITE_P(Blanks, BadUnitText,
                         testing::Values("m ", "5 m ", "m s", "m/s ", "m /s", "5 (m)", "m\t", "5\tm"));
INSTANTIATE_TEST_SUITE_P(Numbers, BadUnitText,
                         testing::Values("1eV", "1e", "1e m", "1.2.3", "+", "-", ".", "..", "--5", "+-5",
                                         "-e+5", "5,5", "0x10", "1e+-5", "1e5.5.5", "1_000"));
INSTANTIATE_TEST_SUITE_P(Operators, BadUnitText,
                         testing::Values("/s", "s/", "*", "/", "^", "^2", "m**s", "m//s", "m^x", "m^1.5",
                                         "m^+2", "m^s", "m^2^x", "m*", "2^(m)"));
INSTANTIATE_TEST_SUITE_P(Brackets, BadUnitText,
                         testing::Values("(m)*(s)", "(m", "m)", "()", "(())", ")(", "(", ")", "m^(3)", "m^()",
                                         "m^4/2)", "(m)^(1/2)", "m)(s", "(m))", "((m)", "m/(s", "m/s)",
                                         "2(m)", "(2)m"));

TEST(UnitParse, ReadsAFractionalPowerInBrackets) {
    RuntimeValue result;
    ASSERT_TRUE(BaseUnit::parse("4m^(1/2)", result));
    EXPECT_EQ(result.value, 2.0);
    EXPECT_EQ(result.exponents[0], Fraction(1, 2));
    ASSERT_TRUE(BaseUnit::parse("s^(-1/2)", result));
    EXPECT_EQ(result.exponents[2], Fraction(1, -2));
    ASSERT_TRUE(BaseUnit::parse("m^(1/0)", result));
    EXPECT_EQ(result.exponents[0], Fraction(1, 0));
}

TEST(UnitParse, OfANameThatStandsTwiceGivesTheFirstRow) {
    RuntimeValue result;
    ASSERT_TRUE(BaseUnit::parse("Bq", result));
    EXPECT_TRUE(result == BaseUnit::get_unit_array()[25]);
}

TEST(UnitParse, ComputesPrefixTimesNumberTimesUnitInThisOrder) {
    RuntimeValue result;
    ASSERT_TRUE(BaseUnit::parse("0.3 mg", result));
    EXPECT_EQ(result.value, std::pow(10.0, -3) * 0.3 * 0.001);
    ASSERT_TRUE(BaseUnit::parse("1e308 kt", result)); // the prefix comes first, so this leaves the range
    EXPECT_EQ(result.value, std::numeric_limits<double>::infinity());
}

TEST(UnitParse, OfNumbersBeyondTheRangeGivesInfinityOrZero) {
    RuntimeValue result;
    ASSERT_TRUE(BaseUnit::parse("1e999", result));
    EXPECT_EQ(result.value, std::numeric_limits<double>::infinity());
    ASSERT_TRUE(BaseUnit::parse("-1e999 m", result));
    EXPECT_EQ(result.value, -std::numeric_limits<double>::infinity());
    ASSERT_TRUE(BaseUnit::parse("1e-999", result));
    EXPECT_EQ(result.value, 0.0);
    ASSERT_TRUE(BaseUnit::parse("4.9406564584124654e-324", result));
    EXPECT_EQ(result.value, std::numeric_limits<double>::denorm_min());
}

TEST(UnitParse, OfTextWithAZeroByteFails) {
    RuntimeValue result;
    EXPECT_FALSE(BaseUnit::parse(std::string("m\0", 2), result));
    EXPECT_FALSE(BaseUnit::parse(std::string("5\0m", 3), result));
    EXPECT_FALSE(BaseUnit::parse(std::string(1, '\0'), result));
}

TEST(UnitParse, TakesAPointForTheDecimalPointInEveryLocale) {
    std::string const before = std::setlocale(LC_NUMERIC, nullptr);
    for (char const* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "C.UTF-8"})
        if (std::setlocale(LC_NUMERIC, name)) break;
    RuntimeValue result;
    EXPECT_TRUE(BaseUnit::parse("2.5 m", result));
    EXPECT_EQ(result.value, 2.5);
    EXPECT_EQ(result.format(3, 1, 0, 0), "2.50 m");
    std::setlocale(LC_NUMERIC, before.c_str());
}

/// The parts in a row.
std::string joined(std::initializer_list<std::string> parts) {
    std::string result;
    for (std::string const& part : parts) result += part;
    return result;
}

// ---- all short texts, beside the grammar written down as plainly as possible

constexpr std::size_t nowhere = std::string::npos;

/// The last of the operators outside brackets; fails on brackets that do not add up.
bool find_last(std::string const& text, char const* operators, std::size_t& at) {
    int depth = 0;
    at = nowhere;
    for (std::size_t i = text.size(); i-- > 0;) {
        depth += (text[i] == ')') - (text[i] == '(');
        if (depth == 0 && std::string(operators).find(text[i]) != nowhere) {
            at = i;
            return true;
        }
    }
    return depth == 0;
}

bool parse_plainly(std::string const& text, RuntimeValue& result) {
    if (text.empty()) return false;
    if (text.size() >= 2 && text.front() == '(' && text.back() == ')')
        return parse_plainly(text.substr(1, text.size() - 2), result);

    std::size_t at = nowhere;
    if (!find_last(text, "*/", at)) return false;
    if (at != nowhere) {
        RuntimeValue left, right;
        if (!parse_plainly(text.substr(0, at), left) || !parse_plainly(text.substr(at + 1), right))
            return false;
        result = text[at] == '*' ? left *= right : left /= right;
        return true;
    }
    if (!find_last(text, "^", at)) return false;
    if (at != nowhere) {
        RuntimeValue left;
        Fraction power(1, 1);
        if (!parse_plainly(text.substr(0, at), left) || !power.parse(text.substr(at + 1))) return false;
        result = left ^= power;
        return true;
    }
    return text.find_first_of("()") == nowhere && BaseUnit::parse(text, result);
}

TEST(ShortUnitText, IsReadAsTheGrammarSays) {
    std::string const bytes = "m2()*/^";
    constexpr std::size_t longest = 6;
    std::vector<std::string> texts{""};
    for (std::size_t i = 0; i < texts.size(); ++i) {
        RuntimeValue expected, result;
        bool const reads = parse_plainly(texts[i], expected);
        ASSERT_EQ(BaseUnit::parse(texts[i], result), reads) << texts[i];
        bool const both_nan = std::isnan(result.value) && std::isnan(expected.value);
        ASSERT_TRUE(result.value == expected.value || both_nan) << texts[i];
        ASSERT_TRUE(result.exponents == expected.exponents) << texts[i];
        if (texts[i].size() == longest) continue;
        for (char const byte : bytes) texts.push_back(joined({texts[i], std::string(1, byte)}));
    }
}

// ---- long texts: no depth exhausts the stack, no form costs more than its length

std::string repeated(std::string const& text, std::size_t count) {
    std::string result;
    for (std::size_t i = 0; i < count; ++i) result += text;
    return result;
}

constexpr std::size_t many = 100000;

TEST(LongUnitText, OfManyFactorsParses) {
    RuntimeValue result;
    ASSERT_TRUE(BaseUnit::parse(joined({"m", repeated("/m*m", many)}), result));
    EXPECT_EQ(result.exponents[0], Fraction(1, 1));
    ASSERT_TRUE(BaseUnit::parse(joined({"1", repeated("*1", many)}), result));
    EXPECT_EQ(result.value, 1.0);
}

TEST(LongUnitText, OfManyPowersParses) {
    RuntimeValue result;
    ASSERT_TRUE(BaseUnit::parse(joined({"m", repeated("^1", many)}), result));
    EXPECT_EQ(result.exponents[0], Fraction(1, 1));
}

TEST(LongUnitText, OfDeepBracketsParses) {
    RuntimeValue result;
    ASSERT_TRUE(BaseUnit::parse(joined({repeated("(", many), "m", repeated(")", many)}), result));
    EXPECT_EQ(result.exponents[0], Fraction(1, 1));
    ASSERT_TRUE(BaseUnit::parse(joined({repeated("1*(", many), "m", repeated(")", many)}), result));
    EXPECT_EQ(result.exponents[0], Fraction(1, 1));
    ASSERT_TRUE(BaseUnit::parse(joined({"1*", repeated("(", many), "m", repeated(")^1", many)}), result));
    EXPECT_EQ(result.exponents[0], Fraction(1, 1));
}

TEST(LongUnitText, OfOneKindOfByteIsRefusedOrReadInTimeProportionalToItsLength) {
    auto const start = std::chrono::steady_clock::now();
    for (int byte = 0; byte < 256; ++byte) {
        RuntimeValue result;
        bool const read = BaseUnit::parse(std::string(many, static_cast<char>(byte)), result);
        EXPECT_EQ(read, byte == ' ' || (byte >= '0' && byte <= '9')) << byte;
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

TEST(LongUnitText, WithAManyDigitNumberParses) {
    RuntimeValue result;
    std::string const zeros(many, '0');
    ASSERT_TRUE(BaseUnit::parse(joined({"0.", zeros, "1e", std::to_string(many + 1), " m"}), result));
    EXPECT_EQ(result.value, 1.0);
    ASSERT_TRUE(BaseUnit::parse(joined({"m^", zeros, "2"}), result));
    EXPECT_EQ(result.exponents[0], Fraction(2, 1));
}

} // namespace
} // namespace Vexa::units
