#include <vexa/units/RuntimeValue.h>

#include <limits>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include <vexa/units/BaseUnit.h>

namespace Vexa::units {
namespace {

using detail::Fraction;

constexpr double infinity = std::numeric_limits<double>::infinity();

RuntimeValue quantity(double number, std::string const& unit) {
    RuntimeValue value(unit);
    value.value = number;
    return value;
}

struct Printing {
    double value; ///< in base units
    std::string dimension;
    unsigned int digits;
    int flags;
    std::string value_text;
    std::string unit_text;
};
void PrintTo(Printing const& printing, std::ostream* os) {
    *os << printing.value << ' ' << printing.dimension << ", " << printing.digits << " digits, flags "
        << printing.flags;
}

class UnitFormat : public testing::TestWithParam<Printing> {};

TEST_P(UnitFormat, PrintsNumberAndUnit) {
    Printing const& p = GetParam();
    RuntimeValue const value = quantity(p.value, p.dimension);
    std::string value_text = "before";
    std::string unit_text = "before";
    value.format(value_text, unit_text, p.digits, p.flags, -3, 3);
    EXPECT_EQ(value_text, p.value_text);
    EXPECT_EQ(unit_text, p.unit_text);
    EXPECT_EQ(value.format(p.digits, p.flags, -3, 3),
              p.value_text + ((p.flags & 1) ? " " : "") + p.unit_text);
}

INSTANTIATE_TEST_SUITE_P(
    Masses, UnitFormat,
    testing::Values(Printing{2.5, "kg", 4, 2, "2.500", "kg"}, Printing{0.0025, "kg", 4, 2, "2.500", "g"},
                    Printing{2500, "kg", 4, 2, "2.500", "t"}, Printing{2.5, "kg", 4, 0, "2.500", "kg"},
                    Printing{0.0025, "kg", 4, 0, "2.500e-3", "kg"},
                    Printing{2500, "kg", 4, 0, "2.500e3", "kg"}, Printing{2.5e6, "kg", 4, 2, "2.500", "kt"},
                    Printing{2.5e-6, "kg", 4, 2, "2.500", "mg"}, Printing{999, "kg", 3, 2, "999", "kg"},
                    Printing{1000, "kg", 3, 2, "1.00", "t"}, Printing{-2500, "kg", 4, 2, "-2.500e6", "g"}));
INSTANTIATE_TEST_SUITE_P(
    Prefixes, UnitFormat,
    testing::Values(Printing{0.000123, "m", 3, 2, "123", "\xC2\xB5m"},
                    Printing{-0.000123, "m", 3, 2, "-123", "\xC2\xB5m"},
                    Printing{0.000123, "m", 3, 0, "1.23e-4", "m"}, Printing{12345, "s", 3, 2, "1.23e4", "s"},
                    Printing{12345, "m", 3, 2, "12.3", "km"}, Printing{1234567, "m", 3, 2, "1.23e6", "m"},
                    Printing{1.5e-24, "m", 2, 2, "1.5", "ym"}, Printing{1.5e-26, "m", 2, 2, "0.015", "ym"},
                    Printing{1.5e-27, "m", 2, 2, "1.5e-27", "m"}, Printing{1.5e-17, "m", 2, 2, "15", "am"},
                    Printing{2.5e9, "s^-1", 2, 2, "2.5", "GHz"},
                    Printing{2.5e28, "s^-1", 2, 2, "2.5e28", "Hz"},
                    Printing{5e-5, "rad", 1, 2, "0.05", "mrad"}, Printing{0.002, "sr", 2, 2, "2.0e-3", "sr"},
                    Printing{1.5, "m", 2, 2, "1.5", "m"}, Printing{999, "m", 3, 2, "999", "m"}));
INSTANTIATE_TEST_SUITE_P(Tenths, UnitFormat,
                         testing::Values(Printing{0.5, "m", 2, 2, "500", "mm"},
                                         Printing{0.5, "m", 2, 3, "0.50", "m"},
                                         Printing{0.05, "m", 2, 3, "50", "mm"},
                                         Printing{0.1, "m", 1, 3, "0.1", "m"}));
INSTANTIATE_TEST_SUITE_P(PlainNumbers, UnitFormat,
                         testing::Values(Printing{1500, "1", 2, 2, "1.5e3", ""},
                                         Printing{1500, "1", 2, 6, "1.5", "k"},
                                         Printing{1500, "1", 2, 4, "1.5e3", ""},
                                         Printing{15, "1", 3, 1, "15.0", ""},
                                         Printing{1e-6, "1", 1, 7, "1", "\xC2\xB5"}));
INSTANTIATE_TEST_SUITE_P(Products, UnitFormat,
                         testing::Values(Printing{2, "m/s", 2, 2, "2.0", "m/s"},
                                         Printing{2000, "m/s", 2, 3, "2.0e3", "m/s"},
                                         Printing{0.5, "kg*m^3/s^2", 1, 0, "0.5", "m^3*kg/s^2"},
                                         Printing{2, "1/m", 2, 0, "2.0", "/m"},
                                         Printing{2, "1/m", 2, 1, "2.0", "1/m"},
                                         Printing{2, "1/(m*A^2)", 2, 1, "2.0", "1/m/A^2"},
                                         Printing{2, "m^(1/2)", 2, 0, "2.0", "m^(1/2)"},
                                         Printing{2, "m^(-2/3)", 2, 0, "2.0", "/m^(2/3)"},
                                         Printing{2, "rad*sr/cd/mol/K", 2, 0, "2.0", "rad*sr/K/mol/cd"},
                                         Printing{2, "m^-2147483648", 1, 0, "2", "/m^2147483648"}));
INSTANTIATE_TEST_SUITE_P(
    Zero, UnitFormat,
    testing::Values(Printing{0, "m", 3, 2, "0.00", "m"}, Printing{-0.0, "m", 1, 2, "0", "m"},
                    Printing{0, "kg", 2, 2, "0.0", "g"}, Printing{0, "kg", 2, 0, "0.0", "kg"},
                    Printing{0, "m/s", 2, 0, "0.0", "m/s"}, Printing{0, "1", 2, 7, "0.0", ""}));
INSTANTIATE_TEST_SUITE_P(
    Digits, UnitFormat,
    testing::Values(Printing{1.5, "A", 16, 0, "1.500000000000000", "A"},
                    Printing{1.5, "A", 17, 0, "1.500000000000000", "A"},
                    Printing{1.5, "A", 4294967295u, 0, "1.500000000000000", "A"},
                    Printing{1.25, "A", 0, 0, "1", "A"}, Printing{0, "A", 0, 0, "0", "A"},
                    Printing{0.01, "A", 1, 0, "0.01", "A"}, Printing{0.0625, "A", 2, 0, "0.062", "A"},
                    Printing{999, "A", 1, 0, "999", "A"}, Printing{1000, "A", 1, 0, "1e3", "A"},
                    Printing{9.9999, "A", 3, 0, "10.0", "A"}, Printing{9.996, "A", 3, 0, "10.00", "A"}));
INSTANTIATE_TEST_SUITE_P(NumbersAtTheEndOfTheRange, UnitFormat,
                         testing::Values(Printing{1.5e308, "A", 2, 2, "1.5e308", "A"},
                                         Printing{-1.5e308, "A", 2, 0, "-1.5e308", "A"},
                                         Printing{2.5e-308, "A", 2, 2, "2.5e-308", "A"},
                                         Printing{4.9406564584124654e-324, "A", 3, 0, "4.94e-324", "A"},
                                         Printing{4.9406564584124654e-324, "A", 3, 2, "4.94e-324", "A"},
                                         Printing{infinity, "A", 3, 2, "inf", "A"},
                                         Printing{-infinity, "m/s", 3, 1, "-inf", "m/s"},
                                         Printing{infinity, "kg", 3, 2, "inf", "t"},
                                         Printing{std::numeric_limits<double>::quiet_NaN(), "m", 3, 2, "nan",
                                                  "m"}));

TEST(UnitFormat, DropsTheSignOfADenominator) {
    RuntimeValue value(2.0);
    value.exponents[2] = Fraction(1, -2);
    EXPECT_EQ(value.format(2, 0, 0, 0), "2.0s^(1/2)");
    EXPECT_EQ(RuntimeValue("2 s^(-1/2)").exponents[2], Fraction(1, -2));
}

TEST(UnitFormat, OfAnInvalidValueIsThatOfAProductWithoutFactors) {
    EXPECT_EQ(RuntimeValue("no unit").format(2, 0, 0, 0), "1.0");
    EXPECT_EQ(RuntimeValue("no unit").format(2, 1, 0, 0), "1.0 1");
}

TEST(UnitFormat, OfADimensionlessNumberInTextFormEndsWithTheBlank) {
    EXPECT_EQ(RuntimeValue(15.0).format(2, 1, 0, 0), "15 ");
}

TEST(UnitFormat, IgnoresTheLimitsOfTheCaller) {
    RuntimeValue const value("12.3 km");
    EXPECT_EQ(value.format(3, 2, 0, 0), "12.3km");
    EXPECT_EQ(value.format(3, 2, 24, -24), "12.3km");
    EXPECT_EQ(RuntimeValue("5 km/s").format(1, 2, -24, 24), "5e3m/s");
}

TEST(UnitFormat, ReadsBackWithSixteenDigits) {
    for (char const* unit : {"m", "kg", "s", "A", "Hz", "m/s^2", "m*kg/s^(2/3)", "1"})
        for (double number : {1.0, 0.1, -12.345678901234567, 6.02214076e14, 1.0 / 3, 1e-9, 1e300, -1e-300})
            for (int flags : {0, 1, 2, 3}) {
                RuntimeValue const value = quantity(number, unit);
                std::string text = value.format(16, flags, 0, 0);
                if (text.ends_with(' ')) text.pop_back();
                EXPECT_TRUE(RuntimeValue(text) == value) << text;
            }
}

TEST(UnitFormat, WithAPowerInFrontReadsBackWithThePowerOfTheNumber) {
    std::string const text = RuntimeValue("5*A^2").format(2, 1, 0, 0);
    EXPECT_EQ(text, "5.0 A^2");
    EXPECT_EQ(RuntimeValue(text).value, 25.0);
}

TEST(UnitFormat, OfAPlainNumberWithPrefixMayReadBackAsAUnit) {
    std::string const text = RuntimeValue(0.002).format(1, 6, 0, 0);
    EXPECT_EQ(text, "2m");
    EXPECT_TRUE(RuntimeValue(text) == RuntimeValue("2 m"));
}

TEST(UnitFormat, WithExaNeedsTheBlankToReadBack) {
    RuntimeValue const value = quantity(2e18, "A");
    EXPECT_EQ(value.format(1, 2, 0, 0), "2EA");
    EXPECT_FALSE(RuntimeValue("2EA").valid);
    EXPECT_EQ(value.format(1, 3, 0, 0), "2 EA");
    EXPECT_TRUE(RuntimeValue("2 EA") == value);
}

TEST(UnitFormat, WithAttoDoesNotReadBack) {
    std::string const text = quantity(1.5e-17, "m").format(2, 2, 0, 0);
    EXPECT_EQ(text, "15am");
    EXPECT_FALSE(RuntimeValue(text).valid);
}

} // namespace
} // namespace Vexa::units
