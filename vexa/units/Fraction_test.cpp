#include <vexa/units/Fraction.h>

#include <limits>
#include <ostream>

#include <gtest/gtest.h>

namespace Vexa::units::detail {

void PrintTo(Fraction const& fraction, std::ostream* os) {
    *os << fraction.numerator << '/' << fraction.denominator;
}

namespace {

constexpr std::int32_t smallest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t largest = std::numeric_limits<std::int32_t>::max();

Fraction reduced(std::int32_t numerator, std::int32_t denominator) {
    Fraction fraction(numerator, denominator);
    fraction.reduce();
    return fraction;
}

TEST(FractionReduce, OfZeroGivesZeroOverOne) {
    EXPECT_EQ(reduced(0, 7), Fraction(0, 1));
    EXPECT_EQ(reduced(0, -7), Fraction(0, 1));
    EXPECT_EQ(reduced(0, 0), Fraction(0, 1));
    EXPECT_EQ(reduced(0, smallest), Fraction(0, 1));
}

TEST(FractionReduce, OverZeroGivesOneOverZero) {
    EXPECT_EQ(reduced(5, 0), Fraction(1, 0));
    EXPECT_EQ(reduced(-5, 0), Fraction(1, 0));
    EXPECT_EQ(reduced(smallest, 0), Fraction(1, 0));
}

TEST(FractionReduce, DividesByTheCommonDivisor) {
    EXPECT_EQ(reduced(6, 4), Fraction(3, 2));
    EXPECT_EQ(reduced(1512000, 1512000), Fraction(1, 1));
    EXPECT_EQ(reduced(-3024000, 1512000), Fraction(-2, 1));
    EXPECT_EQ(reduced(largest, largest), Fraction(1, 1));
}

TEST(FractionReduce, LeavesTheSignWhereTheRemaindersPutIt) {
    EXPECT_EQ(reduced(-1, 2), Fraction(1, -2));
    EXPECT_EQ(reduced(1, -2), Fraction(1, -2));
    EXPECT_EQ(reduced(-2, 3), Fraction(-2, 3));
    EXPECT_EQ(reduced(2, -3), Fraction(-2, 3));
    EXPECT_EQ(reduced(-3, 2), Fraction(3, -2));
    EXPECT_EQ(reduced(-1, -2), Fraction(1, 2));
    EXPECT_EQ(reduced(1, -1), Fraction(-1, 1));
}

TEST(FractionReduce, GivesBothWaysOfWritingAValueTheSamePair) {
    for (std::int32_t numerator = -40; numerator <= 40; ++numerator)
        for (std::int32_t denominator = -40; denominator <= 40; ++denominator) {
            if (denominator == 0) continue;
            Fraction const result = reduced(numerator, denominator);
            EXPECT_EQ(result, reduced(-numerator, -denominator));
            EXPECT_EQ(result, reduced(result.numerator, result.denominator));
            EXPECT_EQ(result.numerator * denominator, numerator * result.denominator);
        }
}

TEST(FractionReduce, OfTheExtremesOf32BitsIsDefined) {
    EXPECT_EQ(reduced(smallest, -1), Fraction(smallest, 1)); // 2^31 wraps
    EXPECT_EQ(reduced(-1, smallest), Fraction(1, smallest)); // so does 1 / 2^31
    EXPECT_EQ(reduced(smallest, 1), Fraction(smallest, 1));
    EXPECT_EQ(reduced(1, smallest), Fraction(1, smallest));
    EXPECT_EQ(reduced(smallest, smallest), Fraction(1, 1));
    EXPECT_EQ(reduced(smallest, 2), Fraction(-1073741824, 1));
    EXPECT_EQ(reduced(smallest, largest), Fraction(smallest, -largest));
    EXPECT_EQ(reduced(largest, smallest), Fraction(-largest, smallest));
}

TEST(FractionArithmetic, CrossMultipliesAndReduces) {
    EXPECT_EQ(Fraction(1, 2) + Fraction(1, 3), Fraction(5, 6));
    EXPECT_EQ(Fraction(1, 2) - Fraction(1, 2), Fraction(0, 1));
    EXPECT_EQ(Fraction(1, -2) + Fraction(1, 1), Fraction(1, 2));
    EXPECT_EQ(Fraction(0, 1) - Fraction(1, 2), Fraction(1, -2));
    EXPECT_EQ(Fraction(2, 3) * Fraction(3, 2), Fraction(1, 1));
    EXPECT_EQ(Fraction(1, 0) + Fraction(1, 1), Fraction(1, 0));
    EXPECT_EQ(Fraction(0, 1) * Fraction(1, 0), Fraction(0, 1));
}

TEST(FractionArithmetic, WrapsWhereItLeaves32Bits) {
    EXPECT_EQ(Fraction(largest, 1) + Fraction(1, 1), Fraction(smallest, 1));
    EXPECT_EQ(Fraction(smallest, 1) - Fraction(1, 1), Fraction(largest, 1));
    EXPECT_EQ(Fraction(65536, 1) * Fraction(65536, 1), Fraction(0, 1));
    EXPECT_EQ(Fraction(1, 65536) * Fraction(1, 65536), Fraction(1, 0));
    EXPECT_EQ(Fraction(smallest, 1) * Fraction(-1, 1), Fraction(smallest, 1));
    EXPECT_EQ(Fraction(smallest, smallest) + Fraction(smallest, smallest), Fraction(0, 1));
    EXPECT_EQ(Fraction(65537, 1) * Fraction(65537, 1), Fraction(131073, 1));
}

struct Reading {
    char const* text;
    Fraction result;
};
void PrintTo(Reading const& reading, std::ostream* os) { *os << '"' << reading.text << '"'; }

class FractionParse : public testing::TestWithParam<Reading> {};

TEST_P(FractionParse, ReadsTheTextWithoutReducing) {
    Fraction fraction(9, 9);
    ASSERT_TRUE(fraction.parse(GetParam().text));
    EXPECT_EQ(fraction, GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(Numbers, FractionParse,
                         testing::Values(Reading{"3", {3, 1}}, Reading{"-3", {-3, 1}}, Reading{"007", {7, 1}},
                                         Reading{"", {0, 1}}, Reading{"-", {0, 1}}));
INSTANTIATE_TEST_SUITE_P(Fractions, FractionParse,
                         testing::Values(Reading{"1/2", {1, 2}}, Reading{"(1/2)", {1, 2}},
                                         Reading{"1/2)", {1, 2}}, Reading{"(-1/2)", {-1, 2}},
                                         Reading{"2/4", {2, 4}}, Reading{"1/0", {1, 0}},
                                         Reading{"1/", {1, 0}}, Reading{"/2", {0, 2}}, Reading{"/", {0, 0}},
                                         Reading{"(/)", {0, 0}}));
INSTANTIATE_TEST_SUITE_P(BeyondTheRange, FractionParse,
                         testing::Values(Reading{"2147483647", {largest, 1}},
                                         Reading{"2147483648", {smallest, 1}},
                                         Reading{"-2147483648", {smallest, 1}}, Reading{"4294967298", {2, 1}},
                                         Reading{"99999999999999999999", {-1, 1}},
                                         Reading{"-99999999999999999999", {1, 1}},
                                         Reading{"1/99999999999999999999", {1, -1}}));

class FractionRefusal : public testing::TestWithParam<char const*> {};

TEST_P(FractionRefusal, LeavesTheFractionAlone) {
    Fraction fraction(8, 9);
    EXPECT_FALSE(fraction.parse(GetParam()));
    EXPECT_EQ(fraction, Fraction(8, 9));
}

INSTANTIATE_TEST_SUITE_P(Texts, FractionRefusal,
                         testing::Values("(3)", "(1/2", "(", ")", "3)", "()", "1/2))", "(1/2))", "((1/2))",
                                         "+3", " 3", "3 ", "--3", "1/-2", "1/2/3", "1/2 ", "1.5", "x", "0x10",
                                         "-(1/2)"));

TEST(FractionParseText, WithAZeroByteFails) {
    Fraction fraction;
    EXPECT_FALSE(fraction.parse(std::string("3\0", 2)));
}

} // namespace
} // namespace Vexa::units::detail
