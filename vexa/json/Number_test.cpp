#include <vexa/json/Number.h>

#include <cmath>
#include <limits>
#include <type_traits>

#include <gtest/gtest.h>

using JSON::Number;

namespace {

using Signed = long long;
using Unsigned = unsigned long long;

constexpr Signed least = std::numeric_limits<Signed>::min();
constexpr Signed greatest = std::numeric_limits<Signed>::max();
constexpr Unsigned greatest_unsigned = std::numeric_limits<Unsigned>::max();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

/// The number holds this very alternative and value.
template <typename T>
testing::AssertionResult holds(Number const& number, T value) {
    T const* held = std::get_if<T>(&number.variant());
    if (!held) return testing::AssertionFailure() << "alternative " << number.variant().index();
    if (*held != value) return testing::AssertionFailure() << "value " << *held;
    return testing::AssertionSuccess();
}

} // namespace

TEST(JsonNumber, TheOrderOfItsAlternativesIsFixed) {
    static_assert(std::is_same_v<Number::Variant, std::variant<double, long long, unsigned long long>>);
    EXPECT_EQ(Number(1.0).variant().index(), 0u);
    EXPECT_EQ(Number(1).variant().index(), 1u);
    EXPECT_EQ(Number(1u).variant().index(), 2u);
}

TEST(JsonNumber, TakesTheSignednessOfTheIntegerItIsMadeOf) {
    EXPECT_TRUE(holds(Number(), Signed{0}));
    EXPECT_TRUE(holds(Number(short{-3}), Signed{-3}));
    EXPECT_TRUE(holds(Number(static_cast<unsigned char>(200)), Unsigned{200}));
    EXPECT_TRUE(holds(Number(least), least));
    EXPECT_TRUE(holds(Number(greatest_unsigned), greatest_unsigned));
    EXPECT_TRUE(holds(Number(0.5f), 0.5));
    static_assert(!std::is_constructible_v<Number, bool>);
}

TEST(JsonNumber, ComparesByValueNotByAlternative) {
    EXPECT_TRUE(Number(1) == Number(1.0));
    EXPECT_TRUE(Number(1u) == Number(1));
    EXPECT_TRUE(Number(0.0) == Number(-0.0));
    EXPECT_FALSE(Number(1) == Number(1.5));
    EXPECT_TRUE(Number(1) < Number(1.5));
    EXPECT_TRUE(Number(2u) > Number(1.5));
}

TEST(JsonNumber, ComparesIntegersOfDifferentSignednessExactly) {
    EXPECT_TRUE(Number(-1) < Number(Unsigned{0}));
    EXPECT_TRUE(Number(Unsigned{0}) > Number(-1));
    EXPECT_FALSE(Number(-1) == Number(greatest_unsigned));
    EXPECT_TRUE(Number(least) < Number(greatest_unsigned));
    EXPECT_TRUE(Number(greatest) < Number(Unsigned{greatest} + 1));
    EXPECT_TRUE(Number(Unsigned{greatest}) == Number(greatest));
}

TEST(JsonNumber, ComparesAnIntegerWithARealAsTwoReals) {
    Signed const odd = 9007199254740993; // 2^53 + 1, which rounds down
    EXPECT_TRUE(Number(odd) == Number(9007199254740992.0));
    EXPECT_TRUE(Number(odd) > Number(odd - 1));
    EXPECT_TRUE(Number(greatest_unsigned) == Number(18446744073709551616.0));
}

TEST(JsonNumber, NanIsTrueAndUnorderedAgainstEverything) {
    EXPECT_TRUE(static_cast<bool>(Number(not_a_number)));
    for (Number const& other : {Number(not_a_number), Number(0), Number(1u), Number(infinity)}) {
        EXPECT_TRUE((Number(not_a_number) <=> other) == std::partial_ordering::unordered);
        EXPECT_TRUE((other <=> Number(not_a_number)) == std::partial_ordering::unordered);
        EXPECT_FALSE(Number(not_a_number) == other);
    }
}

TEST(JsonNumber, IsTrueIfItIsNotZero) {
    EXPECT_FALSE(static_cast<bool>(Number(0)));
    EXPECT_FALSE(static_cast<bool>(Number(0u)));
    EXPECT_FALSE(static_cast<bool>(Number(-0.0)));
    EXPECT_TRUE(static_cast<bool>(Number(-1)));
    EXPECT_TRUE(static_cast<bool>(Number(std::numeric_limits<double>::denorm_min())));
    EXPECT_TRUE(static_cast<bool>(Number(-infinity)));
}

TEST(JsonNumber, ArithmeticTakesTheAlternativeFromBothSides) {
    EXPECT_TRUE(holds(Number(1.5) + Number(1), 2.5));
    EXPECT_TRUE(holds(Number(1u) + Number(1.5), 2.5));
    EXPECT_TRUE(holds(Number(1.5) * Number(2.0), 3.0));
    EXPECT_TRUE(holds(Number(2) + Number(3), Signed{5}));
    EXPECT_TRUE(holds(Number(2) + Number(3u), Unsigned{5}));
    EXPECT_TRUE(holds(Number(2u) + Number(3), Unsigned{5}));
    EXPECT_TRUE(holds(Number(2u) * Number(3u), Unsigned{6}));
    EXPECT_TRUE(holds(Number(2) - Number(3), Signed{-1}));
}

TEST(JsonNumber, IntegersWrap) {
    EXPECT_TRUE(holds(Number(Signed{-1}) + Number(Unsigned{1}), Unsigned{0}));
    EXPECT_TRUE(holds(Number(Unsigned{0}) - Number(1), greatest_unsigned));
    EXPECT_TRUE(holds(Number(greatest) + Number(1), least));
    EXPECT_TRUE(holds(Number(least) - Number(1), greatest));
    EXPECT_TRUE(holds(Number(least) * Number(-1), least));
    EXPECT_TRUE(holds(Number(greatest_unsigned) * Number(greatest_unsigned), Unsigned{1}));
}

TEST(JsonNumber, IntegersDivideTowardsZeroAndRealsByTheirRules) {
    EXPECT_TRUE(holds(Number(7) / Number(2), Signed{3}));
    EXPECT_TRUE(holds(Number(-7) / Number(2), Signed{-3}));
    EXPECT_TRUE(holds(Number(least) / Number(-1), least));
    EXPECT_TRUE(holds(Number(-1) / Number(2u), greatest_unsigned / 2));
    EXPECT_TRUE(holds(Number(7) / Number(2.0), 3.5));
    EXPECT_TRUE(holds(Number(1.0) / Number(0), infinity));
    EXPECT_TRUE(holds(Number(1) / Number(-0.0), -infinity));
}

TEST(JsonNumber, AssigningOperatorsChangeTheAlternativeToo) {
    Number number(6);
    EXPECT_TRUE(holds(number += 1u, Unsigned{7}));
    EXPECT_TRUE(holds(number -= 2, Unsigned{5}));
    EXPECT_TRUE(holds(number *= 0.5, 2.5));
    EXPECT_TRUE(holds(number /= 2, 1.25));
}

TEST(JsonNumber, TheMagnitudeKeepsTheAlternative) {
    EXPECT_TRUE(holds(Number(Signed{-3}).absolute(), Signed{3}));
    EXPECT_TRUE(holds(Number(Signed{3}).absolute(), Signed{3}));
    EXPECT_TRUE(holds(Number(greatest_unsigned).absolute(), greatest_unsigned));
    EXPECT_TRUE(holds(Number(-2.5).absolute(), 2.5));
    EXPECT_TRUE(holds(Number(-infinity).absolute(), infinity));
    EXPECT_TRUE(holds(Number(least).absolute(), least));
    EXPECT_FALSE(std::signbit(std::get<double>(Number(-0.0).absolute().variant())));
    EXPECT_FALSE(std::signbit(std::get<double>(Number(-not_a_number).absolute().variant())));
}

TEST(JsonNumber, AsARealRoundsToTheNearest) {
    EXPECT_EQ(Number(-2).to_double(), -2.0);
    EXPECT_EQ(Number(greatest_unsigned).to_double(), 18446744073709551616.0);
    EXPECT_EQ(Number(0.1).to_double(), 0.1);
}
