#include <vexa/units/RuntimeValue.h>

#include <cmath>
#include <limits>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include <vexa/units/BaseUnit.h>

namespace Vexa::units {
namespace {

using detail::Fraction;

constexpr double infinity = std::numeric_limits<double>::infinity();

RuntimeValue operator*(RuntimeValue left, RuntimeValue const& right) { return left *= right; }

/// The state after a failed parse or an illegal operation.
void expect_invalid(RuntimeValue const& value) {
    EXPECT_FALSE(value.valid);
    EXPECT_EQ(value.value, 1.0);
    EXPECT_TRUE((value.exponents == std::array<Fraction, 9>{}));
}

TEST(RuntimeValue, IsADimensionlessOneByDefault) {
    RuntimeValue const value;
    EXPECT_TRUE(value.valid);
    EXPECT_EQ(value.value, 1.0);
    for (Fraction const& exponent : value.exponents) EXPECT_EQ(exponent, Fraction(0, 1));
    EXPECT_TRUE(value.is_dimensionless());
}

TEST(RuntimeValue, HasAVirtualDestructor) { EXPECT_TRUE(std::has_virtual_destructor_v<RuntimeValue>); }

TEST(RuntimeValue, TakesANumber) {
    RuntimeValue value(2.5);
    EXPECT_TRUE(value.is_dimensionless());
    EXPECT_EQ(value.value, 2.5);
    value = RuntimeValue("5 m");
    value = -1.0;
    EXPECT_TRUE(value.is_dimensionless());
    EXPECT_EQ(value.value, -1.0);
    value = RuntimeValue("no unit");
    value = 3.0;
    EXPECT_TRUE(value.valid);
}

TEST(RuntimeValue, TakesText) {
    RuntimeValue value("2 km");
    EXPECT_TRUE(value.valid);
    EXPECT_EQ(value.value, 2000.0);
    EXPECT_EQ(value.exponents[0], Fraction(1, 1));
    value = std::string("3 s");
    EXPECT_EQ(value.value, 3.0);
    EXPECT_EQ(value.exponents[0], Fraction(0, 1));
    EXPECT_EQ(value.exponents[2], Fraction(1, 1));
}

TEST(RuntimeValue, OfBadTextIsInvalid) {
    expect_invalid(RuntimeValue("no unit"));
    expect_invalid(RuntimeValue(""));
    RuntimeValue value("5 m");
    value = std::string("5 m ");
    expect_invalid(value);
}

TEST(RuntimeValue, TakesTypedConstants) {
    RuntimeValue const newton = N;
    EXPECT_EQ(newton.value, 1.0);
    EXPECT_EQ(newton.exponents[0], Fraction(1, 1));
    EXPECT_EQ(newton.exponents[1], Fraction(1, 1));
    EXPECT_EQ(newton.exponents[2], Fraction(-2, 1));
    EXPECT_EQ(RuntimeValue(angstrom).value, 1e-10);
    EXPECT_EQ(RuntimeValue(h).value, 3600.0);
}

TEST(RuntimeValue, ReducesTheFixedPointExponentsOfATypedValue) {
    RuntimeValue const value =
        Value<756000, -756000, 504000, -1008000, 1, 0, 3024000, -3024000, 2147483647>{7};
    EXPECT_EQ(value.value, 7.0);
    EXPECT_TRUE(value.valid);
    std::array<Fraction, 9> const expected{
        {{1, 2}, {1, -2}, {1, 3}, {-2, 3}, {1, 1512000}, {0, 1}, {2, 1}, {-2, 1}, {2147483647, 1512000}}};
    EXPECT_TRUE(value.exponents == expected);
}

TEST(TypedConstants, HaveTheFixedPointExponentsOfTheirDimension) {
    EXPECT_TRUE((std::is_same_v<decltype(m), Value<1512000, 0, 0, 0, 0, 0, 0, 0, 0> const>));
    EXPECT_TRUE((std::is_same_v<decltype(Hz), Value<0, 0, -1512000, 0, 0, 0, 0, 0, 0> const>));
    EXPECT_TRUE((std::is_same_v<decltype(barn), Value<3024000, 0, 0, 0, 0, 0, 0, 0, 0> const>));
    EXPECT_TRUE((std::is_same_v<decltype(Gy), Value<3024000, 0, -3024000, 0, 0, 0, 0, 0, 0> const>));
    static_assert(eV.value == 1.60217733e-19);
}

TEST(RuntimeValueClear, RestoresTheDefault) {
    RuntimeValue value("no unit");
    value.value = 5;
    value.exponents[3] = Fraction(1, 2);
    value.clear();
    EXPECT_TRUE(value.is_dimensionless());
    EXPECT_EQ(value.value, 1.0);
}

TEST(RuntimeValueSetValue, LeavesValidAlone) {
    RuntimeValue value("no unit");
    value.set_value(RuntimeValue("m").exponents, 4.0);
    EXPECT_FALSE(value.valid);
    EXPECT_EQ(value.value, 4.0);
    EXPECT_EQ(value.exponents[0], Fraction(1, 1));
    value.clear();
    value.set_value(RuntimeValue("s").exponents, 2.0);
    EXPECT_TRUE(value.is_compatible(RuntimeValue("s")));
}

TEST(RuntimeValueSetValue, FromTextMultipliesByTheFactor) {
    RuntimeValue value;
    value.set_value("m", 1e-6);
    EXPECT_TRUE(value == RuntimeValue("um"));
    value.set_value("2 km", 3.0);
    EXPECT_EQ(value.value, 6000.0);
    value.set_value("no unit", 3.0);
    EXPECT_FALSE(value.valid);
    EXPECT_EQ(value.value, 3.0);
}

TEST(RuntimeValueArithmetic, MultipliesAndDividesDimensions) {
    RuntimeValue value("6 m");
    value /= RuntimeValue("2 s");
    EXPECT_EQ(value.value, 3.0);
    EXPECT_TRUE(value.is_compatible(RuntimeValue("m/s")));
    value *= RuntimeValue("4 s");
    EXPECT_EQ(value.value, 12.0);
    EXPECT_TRUE(value.is_compatible(m));
    RuntimeValue const& itself = value;
    value /= itself;
    EXPECT_TRUE(value.is_dimensionless());
    EXPECT_EQ(value.value, 1.0);
}

TEST(RuntimeValueArithmetic, WithAnInvalidRightSideIsInvalid) {
    RuntimeValue const invalid("no unit");
    RuntimeValue value("6 m");
    expect_invalid(value *= invalid);
    value = RuntimeValue("6 m");
    expect_invalid(value /= invalid);
    value = RuntimeValue("6 m");
    expect_invalid(value += invalid);
    value = RuntimeValue("6 m");
    expect_invalid(value -= invalid);
}

TEST(RuntimeValueArithmetic, WithAnInvalidLeftSideStaysInvalid) {
    RuntimeValue value("no unit");
    value *= RuntimeValue("6 m");
    EXPECT_FALSE(value.valid);
    EXPECT_EQ(value.value, 6.0);
    value /= RuntimeValue("2 m");
    EXPECT_FALSE(value.valid);
    value ^= Fraction(2, 1);
    EXPECT_FALSE(value.valid);
    value += RuntimeValue(1.0);
    expect_invalid(value);
}

TEST(RuntimeValueArithmetic, AddsAndSubtractsCompatibleValues) {
    RuntimeValue value("1 km");
    value += RuntimeValue("1 m");
    EXPECT_EQ(value.value, 1001.0);
    value -= RuntimeValue("1 km");
    EXPECT_EQ(value.value, 1.0);
    EXPECT_TRUE(value.is_compatible(m));
}

TEST(RuntimeValueArithmetic, AddingIncompatibleValuesIsInvalid) {
    RuntimeValue value("1 m");
    expect_invalid(value += RuntimeValue("1 s"));
    value = RuntimeValue("1 rad");
    expect_invalid(value -= RuntimeValue(1.0));
}

TEST(RuntimeValueArithmetic, ByZeroGivesTheFloatingPointResultAndStaysValid) {
    RuntimeValue value("1 m");
    value /= RuntimeValue("0 s");
    EXPECT_TRUE(value.valid);
    EXPECT_EQ(value.value, infinity);
    value = 0.0;
    value /= RuntimeValue(0.0);
    EXPECT_TRUE(value.valid);
    EXPECT_TRUE(std::isnan(value.value));
}

TEST(RuntimeValueArithmetic, RaisesToARationalPower) {
    RuntimeValue value("9*m^2");
    value ^= Fraction(1, 2);
    EXPECT_EQ(value.value, 3.0);
    EXPECT_EQ(value.exponents[0], Fraction(1, 1));
    value ^= Fraction(-2, 4);
    EXPECT_EQ(value.exponents[0], Fraction(1, -2));
    EXPECT_DOUBLE_EQ(value.value, 1 / std::sqrt(3.0));
    value = RuntimeValue("-8 m");
    value ^= Fraction(1, 3);
    EXPECT_TRUE(std::isnan(value.value));
    EXPECT_TRUE(value.valid);
}

TEST(RuntimeValueArithmetic, RaisedToAPowerOverZeroIsDefined) {
    RuntimeValue value("2 m");
    value ^= Fraction(1, 0);
    EXPECT_EQ(value.exponents[0], Fraction(1, 0));
    EXPECT_EQ(value.exponents[1], Fraction(0, 1));
    EXPECT_EQ(value.value, infinity);
}

TEST(RuntimeValueArithmetic, WrapsExponentsAt32Bits) {
    RuntimeValue value("m^2147483647");
    value *= m;
    EXPECT_EQ(value.exponents[0], Fraction(std::numeric_limits<std::int32_t>::min(), 1));
    value ^= Fraction(-1, 1);
    EXPECT_EQ(value.exponents[0], Fraction(std::numeric_limits<std::int32_t>::min(), 1));
    EXPECT_TRUE(value.valid);
}

TEST(RuntimeValueEquality, AllowsForADifferenceOfOneInABillion) {
    EXPECT_TRUE(RuntimeValue(1.0) == RuntimeValue(1.0 + 1e-10));
    EXPECT_TRUE(RuntimeValue(-1.0) == RuntimeValue(-1.0 - 1e-10));
    EXPECT_FALSE(RuntimeValue(1.0) == RuntimeValue(1.0 + 1e-8));
    EXPECT_FALSE(RuntimeValue(1.0) == RuntimeValue(-1.0));
    EXPECT_TRUE(RuntimeValue(1e-300) == RuntimeValue(1e-300));
    EXPECT_TRUE(RuntimeValue("1000 m") == RuntimeValue("1 km"));
}

TEST(RuntimeValueEquality, ComparesTheDifferenceWithBothNumbers) {
    EXPECT_FALSE(RuntimeValue(1e9 + 1) == RuntimeValue(1e9));
    EXPECT_FALSE(RuntimeValue(1e9) == RuntimeValue(1e9 + 1));
    EXPECT_TRUE(RuntimeValue(1e9 + 2) == RuntimeValue(1e9 + 1));
}

TEST(RuntimeValueEquality, OfZeroHoldsForZeroOnly) {
    EXPECT_TRUE(RuntimeValue(0.0) == RuntimeValue(0.0));
    EXPECT_TRUE(RuntimeValue(0.0) == RuntimeValue(-0.0));
    EXPECT_FALSE(RuntimeValue(0.0) == RuntimeValue(1e-300));
    EXPECT_FALSE(RuntimeValue(1e-300) == RuntimeValue(0.0));
}

TEST(RuntimeValueEquality, NeedsValidValuesOfOneDimension) {
    EXPECT_FALSE(RuntimeValue("1 m") == RuntimeValue("1 s"));
    EXPECT_FALSE(RuntimeValue("1 m") == RuntimeValue(1.0));
    RuntimeValue const invalid("no unit");
    EXPECT_FALSE(invalid == RuntimeValue(1.0));
    EXPECT_FALSE(RuntimeValue(1.0) == invalid);
    EXPECT_FALSE(invalid == invalid);
    EXPECT_TRUE(invalid != invalid);
}

TEST(RuntimeValueEquality, OfNanAndInfinityIsFalse) {
    RuntimeValue const nan(std::nan(""));
    EXPECT_FALSE(nan == nan);
    EXPECT_FALSE(nan == RuntimeValue(1.0));
    EXPECT_FALSE(RuntimeValue(1.0) == nan);
    EXPECT_FALSE(RuntimeValue(infinity) == RuntimeValue(infinity));
}

TEST(RuntimeValueDimension, OfAnAngleIsOneOfItsOwn) {
    EXPECT_FALSE(RuntimeValue(rad).is_dimensionless());
    EXPECT_FALSE(RuntimeValue(sr).is_dimensionless());
    EXPECT_TRUE(RuntimeValue("180 deg").is_compatible(rad));
}

TEST(RuntimeValueDimension, OfAnInvalidValueFitsNothing) {
    RuntimeValue const invalid("no unit");
    EXPECT_FALSE(invalid.is_dimensionless());
    EXPECT_FALSE(invalid.is_compatible(RuntimeValue()));
    EXPECT_FALSE(RuntimeValue().is_compatible(invalid));
}

TEST(RuntimeValueDimension, CountsWhateverTheNumberIs) {
    EXPECT_TRUE(RuntimeValue("5 m").is_compatible(RuntimeValue("3 km")));
    EXPECT_TRUE(RuntimeValue("N").is_compatible(RuntimeValue("kg*m/s^2")));
}

TEST(RuntimeValueAsDouble, IsTheNumberIfDimensionless) {
    double const number = RuntimeValue("6 m") * RuntimeValue("0.5/m");
    EXPECT_EQ(number, 3.0);
    EXPECT_TRUE(std::isnan(static_cast<double>(RuntimeValue("6 m"))));
    EXPECT_TRUE(std::isnan(static_cast<double>(RuntimeValue("no unit"))));
}

TEST(SingleUnit, IsTheFirstRowOfTheDimension) {
    auto const& table = BaseUnit::get_unit_array();
    EXPECT_EQ(RuntimeValue("1 Ci").is_single_unit(), &table[10]);
    EXPECT_EQ(RuntimeValue("Bq").is_single_unit(), &table[10]);
    EXPECT_EQ(RuntimeValue("5 kg").is_single_unit(), &table[27]);
    EXPECT_EQ(RuntimeValue("5 t").is_single_unit(), &table[27]);
    EXPECT_EQ(RuntimeValue(3.0).is_single_unit(), &table[9]);
    EXPECT_EQ(RuntimeValue("2 pc").is_single_unit(), &table[0]);
    EXPECT_EQ(RuntimeValue("m^2").is_single_unit(), &table[33]);
    EXPECT_EQ(RuntimeValue("m/s").is_single_unit(), nullptr);
    EXPECT_EQ(RuntimeValue("no unit").is_single_unit(), nullptr);
}

TEST(SingleUnit, TellsItsName) {
    std::string name = "before";
    EXPECT_FALSE(RuntimeValue("m/s").is_single_unit(name));
    EXPECT_EQ(name, "before");
    EXPECT_TRUE(RuntimeValue("5 kg").is_single_unit(name));
    EXPECT_EQ(name, "g");
    EXPECT_TRUE(RuntimeValue("1 Ci").is_single_unit(name));
    EXPECT_EQ(name, "Hz");
    EXPECT_TRUE(RuntimeValue(2.0).is_single_unit(name));
    EXPECT_EQ(name, "");
}

TEST(BaseUnitObject, IsAValueOfItsUnit) {
    BaseUnit const inch("in", RuntimeValue("2.54 cm"), -3, 3);
    EXPECT_EQ(inch.name, "in");
    EXPECT_EQ(inch.min_prefix, -3);
    EXPECT_EQ(inch.max_prefix, 3);
    EXPECT_DOUBLE_EQ(inch.value, 0.0254);
    EXPECT_TRUE(inch.is_compatible(m));
}

} // namespace
} // namespace Vexa::units
