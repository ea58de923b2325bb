#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include <vexa/props/VexaProps.h>
#include <vexa/props/type_list_internal.h>
#include <vexa/testing/expect_throws.h>

namespace {

using Vexa::props::code_of;
using Shape = std::vector<unsigned long>;
using Byte = unsigned char;
using ComplexFloat = std::complex<float>;
using Complex = std::complex<double>;

constexpr int array_flag = Vexa::types::array_flag;
constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

template <typename To>
To cast(VProp const& src) {
    To value{};
    vexa_prop_cast(src, &value, code_of<To>::value);
    return value;
}

template <typename To>
std::vector<To> elements(VProp const& src) {
    return cast<VProparray<To>>(src);
}

TEST(PropCast, RealsLoseTheirFraction) {
    EXPECT_EQ(cast<int>(3.9), 3);
    EXPECT_EQ(cast<int>(-3.9), -3);
    EXPECT_EQ(cast<signed char>(-3.9f), -3);
    EXPECT_EQ(cast<unsigned long>(0x1p63), 0x8000000000000000ul);
    EXPECT_EQ(cast<long>(-0x1p63), std::numeric_limits<long>::min());
    EXPECT_EQ(cast<unsigned int>(4294967295.5), 4294967295u);
    EXPECT_EQ(cast<unsigned int>(3e9f), 3000000000u);
    EXPECT_EQ(cast<int>(-0.5), 0);
    EXPECT_EQ(cast<int>(5e-324), 0);
}

TEST(PropCast, WhatDoesNotFitWraps) {
    EXPECT_EQ(cast<Byte>(300.0), 44);
    EXPECT_EQ(cast<Byte>(300), 44);
    EXPECT_EQ(cast<Byte>(-1), 255);
    EXPECT_EQ(cast<signed char>(Byte{200}), -56);
    EXPECT_EQ(cast<unsigned short>(-1.0), 65535);
    EXPECT_EQ(cast<unsigned int>(-1.0), 4294967295u);
    EXPECT_EQ(cast<unsigned long>(-1.0), 18446744073709551615ul);
    EXPECT_EQ(cast<int>(18446744073709551615ul), -1);
    EXPECT_EQ(cast<long>(18446744073709551615ul), -1);
}

TEST(PropCast, RealsWithoutAnIntegerHaveAFixedResult) {
    for (double const value : {nan_value, infinity, -infinity, 1e300}) {
        EXPECT_EQ(cast<int>(value), std::numeric_limits<int>::min()) << value;
        EXPECT_EQ(cast<long>(value), std::numeric_limits<long>::min()) << value;
        EXPECT_EQ(cast<unsigned long>(value), 0x8000000000000000ul) << value;
        EXPECT_EQ(cast<unsigned int>(value), 0u) << value;
        EXPECT_EQ(cast<short>(value), 0) << value;
        EXPECT_EQ(cast<Byte>(static_cast<float>(value)), 0) << value;
    }
    EXPECT_EQ(cast<int>(3e9), std::numeric_limits<int>::min());
}

TEST(PropCast, NumbersBecomeTheNearestReal) {
    EXPECT_EQ(cast<double>(9007199254740993l), 9007199254740992.0);
    EXPECT_EQ(cast<double>(18446744073709551615ul), 18446744073709551616.0);
    EXPECT_EQ(cast<float>(16777217), 16777216.0f);
    EXPECT_EQ(cast<float>(0.1), 0.1f);
    EXPECT_EQ(cast<double>(0.1f), 0.10000000149011612);
    EXPECT_EQ(cast<float>(1e300), std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isnan(cast<float>(nan_value)));
    EXPECT_TRUE(std::signbit(cast<float>(-0.0)));
}

TEST(PropCast, BooleansAreZeroAndOne) {
    EXPECT_EQ(cast<Byte>(true), 1);
    EXPECT_EQ(cast<long>(true), 1);
    EXPECT_EQ(cast<double>(true), 1.0);
    EXPECT_EQ(cast<float>(false), 0.0f);
    EXPECT_TRUE(cast<bool>(true));
    EXPECT_FALSE(cast<bool>(false));
}

TEST(PropCast, AllNumbersButZeroAreTrue) {
    EXPECT_FALSE(cast<bool>(0.0));
    EXPECT_FALSE(cast<bool>(-0.0));
    EXPECT_TRUE(cast<bool>(nan_value));
    EXPECT_TRUE(cast<bool>(0.1f));
    EXPECT_TRUE(cast<bool>(5e-324));
    EXPECT_TRUE(cast<bool>(256));
    EXPECT_TRUE(cast<bool>(1ul << 63));
    EXPECT_FALSE(cast<bool>(Byte{0}));
}

TEST(PropCast, RealsBecomeComplexWithoutAnImaginaryPart) {
    EXPECT_EQ(cast<Complex>(Byte{7}), Complex(7, 0));
    EXPECT_EQ(cast<ComplexFloat>(-2.5), ComplexFloat(-2.5f, 0));
    EXPECT_EQ(cast<Complex>(18446744073709551615ul), Complex(0x1p64, 0));
    EXPECT_EQ(cast<Complex>(ComplexFloat(1.5f, -2.5f)), Complex(1.5, -2.5));
    EXPECT_EQ(cast<ComplexFloat>(Complex(0.1, 1e300)),
              ComplexFloat(0.1f, std::numeric_limits<float>::infinity()));
}

/// What each pair of scalar types gives for the value 1, with the code of the source in front.
template <typename From, typename To>
void check_pair() {
    bool const castable =
        Vexa::props::is_complex_type<To> ? !std::is_same_v<From, bool> : std::is_arithmetic_v<From>;
    VProp const scalar = From(1);
    VProparray<From> source(2, From(1));
    source.set_size({2, 1}, VProparrayBase::shape_checked);
    VProp const array = source;
    SCOPED_TRACE(std::string(vexa_dt_get_name(code_of<From>::value)) + " to " +
                 vexa_dt_get_name(code_of<To>::value));
    if (!castable) {
        VEXA_EXPECT_THROWS(cast<To>(scalar), std::runtime_error, "Invalid cast.");
        VEXA_EXPECT_THROWS(cast<To>(array), std::runtime_error, "Invalid cast.");
        VEXA_EXPECT_THROWS(cast<VProparray<To>>(scalar), std::runtime_error, "Invalid cast.");
        VEXA_EXPECT_THROWS(cast<VProparray<To>>(array), std::runtime_error, "Invalid cast.");
        return;
    }
    EXPECT_EQ(cast<To>(scalar), To(1));
    EXPECT_EQ(elements<To>(array), std::vector<To>(2, To(1)));
    EXPECT_EQ(cast<VProparray<To>>(array).get_size(true), (Shape{2, 1}));
    EXPECT_EQ(elements<To>(scalar), std::vector<To>(1, To(1)));
    EXPECT_EQ(cast<VProparray<To>>(scalar).get_size(true), (Shape{1, 1}));
    VEXA_EXPECT_THROWS(cast<To>(array), std::runtime_error, "Cannot cast from array to scalar.");
}

template <typename... Types>
struct Pairs {
    template <typename From>
    static void check_from() {
        (check_pair<From, Types>(), ...);
    }
    static void check_all() { (check_from<Types>(), ...); }
};

TEST(PropCast, EveryPairOfNumbers) {
    Pairs<Byte, signed char, unsigned short, short, unsigned int, int, float, double, unsigned long, long,
          bool, ComplexFloat, Complex>::check_all();
}

TEST(PropCast, WhatIsNoNumberHasNoCast) {
    VProp nested;
    nested.set<VProp>() = 1;
    for (VProp const& src :
         {VProp(), VProp(vexa_EMPTY()), VProp(VPropstring(L"1")), VProp(VPropstruct()), nested,
          VProp(VProparray<VProp>{1}), VProp(VProparray<VPropstring>(1)), VProp(VProparray<VPropstruct>())}) {
        VEXA_EXPECT_THROWS(cast<double>(src), std::runtime_error, "Invalid cast.");
        VEXA_EXPECT_THROWS(cast<VProparray<bool>>(src), std::runtime_error, "Invalid cast.");
        VEXA_EXPECT_THROWS(cast<Complex>(src), std::runtime_error, "Invalid cast.");
    }
    VEXA_EXPECT_THROWS(cast<VPropstring>(1), std::runtime_error, "Invalid cast.");
    VEXA_EXPECT_THROWS(cast<VProp>(1), std::runtime_error, "Invalid cast.");
    VEXA_EXPECT_THROWS(cast<VPropstruct>(1), std::runtime_error, "Invalid cast.");
    VEXA_EXPECT_THROWS(cast<vexa_EMPTY>(1), std::runtime_error, "Invalid cast.");
    VEXA_EXPECT_THROWS(cast<VProparray<VProp>>(1), std::runtime_error, "Invalid cast.");
    for (int const code : {0, 0x400, 0x800, 0x40000001, array_flag, array_flag | 0x40000}) {
        double untouched = 5;
        VEXA_EXPECT_THROWS(vexa_prop_cast(1, &untouched, code), std::runtime_error, "Invalid cast.");
        EXPECT_EQ(untouched, 5);
    }
}

TEST(PropCast, ArraysKeepTheirShape) {
    VProparray<float> source{1, 2, 3, 4, 5, 6};
    source.set_size({2, 3}, VProparrayBase::shape_checked);
    VProparray<double> target{7};
    target.userbits = 4;
    vexa_prop_cast(source, &target, 0x80 | array_flag);
    EXPECT_EQ(target.get_size(true), (Shape{2, 3}));
    EXPECT_EQ(target, (std::vector<double>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(target.userbits, 4u);
}

TEST(PropCast, ArraysOfBooleansInBothDirections) {
    EXPECT_EQ(elements<bool>(VProparray<double>{0.0, nan_value, -1}), (std::vector<bool>{false, true, true}));
    EXPECT_EQ(elements<short>(VProparray<bool>{true, false}), (std::vector<short>{1, 0}));
    EXPECT_EQ(elements<bool>(VProparray<bool>{true, false}), (std::vector<bool>{true, false}));
    EXPECT_EQ(elements<unsigned int>(VProparray<double>{3e9, -1, 2.5, nan_value}),
              (std::vector<unsigned int>{3000000000u, 4294967295u, 2, 0}));
}

TEST(PropCast, EmptyArraysStayEmpty) {
    auto const target = cast<VProparray<int>>(VProparray<double>());
    EXPECT_EQ(target.size(), 0u);
    EXPECT_EQ(target.get_size(true), (Shape{0, 0}));
    VProparray<double> rows;
    rows.set_size({0, 5}, VProparrayBase::shape_checked);
    EXPECT_EQ(cast<VProparray<bool>>(rows).get_size(true), (Shape{0, 5}));
}

TEST(PropCast, AnArrayWithoutAValidShapeLeavesTheTarget) {
    VProparray<double> source(5);
    source.set_size({2, 3}, VProparrayBase::shape_only);
    VProparray<int> target{7};
    VEXA_EXPECT_THROWS(vexa_prop_cast(source, &target, 0x20 | array_flag), std::runtime_error,
                       "Invalid size vector in property array.");
    EXPECT_EQ(target, std::vector<int>{7});
}

TEST(PropCast, AnArrayIsLeftAloneByACastIntoItself) {
    VProp p = VProparray<double>{1, 2};
    vexa_prop_cast(p, &p.set<VProparray<double>>(), 0x80 | array_flag);
    EXPECT_EQ(p.get<VProparray<double>>(), (std::vector<double>{1, 2}));
}

template <typename T>
void expect_read(std::string const& text, T expected) {
    VProp const p = vexa_string2val(text, code_of<T>::value);
    EXPECT_EQ(p.get_id(), code_of<T>::value) << text;
    EXPECT_EQ(p.get<T>(), expected) << text;
}

TEST(StringToValue, ReadsEachScalarType) {
    expect_read<Byte>("65", 65);
    expect_read<signed char>("-65", -65);
    expect_read<unsigned short>("65535", 65535);
    expect_read<short>("-32768", -32768);
    expect_read<unsigned int>("4294967295", 4294967295u);
    expect_read<int>(" 12 34", 12);
    expect_read<unsigned long>("18446744073709551615", 18446744073709551615ul);
    expect_read<long>("-9223372036854775808", std::numeric_limits<long>::min());
    expect_read<float>("0.1", 0.1f);
    expect_read<double>("2.5e3 and more", 2500);
    expect_read<double>("-Inf", -infinity);
    expect_read<float>("Inf", std::numeric_limits<float>::infinity());
    expect_read<bool>("1", true);
    expect_read<bool>("0", false);
    expect_read<ComplexFloat>("(1.5,-2)", ComplexFloat(1.5f, -2));
    expect_read<Complex>("(1,-Inf)x", Complex(1, -infinity));
    EXPECT_TRUE(std::isnan(vexa_string2val("NaN", 0x80).get<double>()));
    EXPECT_TRUE(vexa_string2val("x", 0).empty());
    EXPECT_TRUE(vexa_string2val("x", 0x40000).get_if<vexa_EMPTY>());
    expect_read<VPropstring>("\xC3\xA9 x", VPropstring(L"\u00E9 x"));
    expect_read<VPropstring>("", VPropstring());
}

TEST(StringToValue, WhatCannotBeReadIsZero) {
    expect_read<int>("abc", 0);
    expect_read<int>("", 0);
    expect_read<Byte>("300", 0);
    expect_read<Byte>("x", 0);
    expect_read<unsigned int>("-1", 0);
    expect_read<long>("9223372036854775808", 0);
    expect_read<double>("inf", 0);
    expect_read<bool>("true", false);
    expect_read<bool>("2", false);
    expect_read<Complex>("(1,2", Complex());
    expect_read<Complex>("1", Complex());
}

TEST(StringToValue, RefusesAllOtherTypes) {
    for (int const code : {0x20 | array_flag, 0x20000 | array_flag, 0x4000, 0x8000, 0x400, 0x800, 0x40000001,
                           array_flag, 0x30, -1, 0x40000 | array_flag})
        VEXA_EXPECT_THROWS(vexa_string2val("5", code), std::runtime_error,
                           "Conversion of string to invalid type.");
}

TEST(ValueToString, WritesEachScalarType) {
    EXPECT_EQ(vexa_val2string(VProp()), "");
    EXPECT_EQ(vexa_val2string(vexa_EMPTY()), "");
    EXPECT_EQ(vexa_val2string(Byte{65}), "65");
    EXPECT_EQ(vexa_val2string(static_cast<signed char>(-65)), "-65");
    EXPECT_EQ(vexa_val2string(static_cast<unsigned short>(65535)), "65535");
    EXPECT_EQ(vexa_val2string(static_cast<short>(-1)), "-1");
    EXPECT_EQ(vexa_val2string(4294967295u), "4294967295");
    EXPECT_EQ(vexa_val2string(-12), "-12");
    EXPECT_EQ(vexa_val2string(18446744073709551615ul), "18446744073709551615");
    EXPECT_EQ(vexa_val2string(std::numeric_limits<long>::min()), "-9223372036854775808");
    EXPECT_EQ(vexa_val2string(true), "1");
    EXPECT_EQ(vexa_val2string(false), "0");
    EXPECT_EQ(vexa_val2string(0.1f), "0.10000000149011612");
    EXPECT_EQ(vexa_val2string(0.1), "0.10000000000000001");
    EXPECT_EQ(vexa_val2string(-infinity), "-Inf");
    EXPECT_EQ(vexa_val2string(nan_value), "NaN");
    EXPECT_EQ(vexa_val2string(ComplexFloat(1.5f, -2)), "(1.5,-2)");
    EXPECT_EQ(vexa_val2string(Complex(infinity, 0)), "(Inf,0)");
    EXPECT_EQ(vexa_val2string(VPropstring(L"\u00E9 x")), "\xC3\xA9 x");
}

TEST(ValueToString, SeparatesTheElementsOfArraysByBlanks) {
    EXPECT_EQ(vexa_val2string(VProparray<int>{1, 2, 3}), "1 2 3");
    VProparray<Byte> matrix{1, 2, 3, 4};
    matrix.set_size({2, 2}, VProparrayBase::shape_checked);
    EXPECT_EQ(vexa_val2string(matrix), "1 2 3 4");
    EXPECT_EQ(vexa_val2string(VProparray<bool>{true, false}), "1 0");
    EXPECT_EQ(vexa_val2string(VProparray<double>{nan_value, 2.5}), "NaN 2.5");
    EXPECT_EQ(vexa_val2string(VProparray<Complex>{{1, 2}, {3, 4}}), "(1,2) (3,4)");
    EXPECT_EQ(vexa_val2string(VProparray<VPropstring>{VPropstring(L"a b"), VPropstring(L"c")}), "a b c");
    EXPECT_EQ(vexa_val2string(VProparray<float>()), "");
    EXPECT_EQ(vexa_val2string(VProparray<long>{7}), "7");
}

TEST(ValueToString, ContainersHaveNoText) {
    VProp nested;
    nested.set<VProp>() = 1;
    for (VProp const& value :
         {VProp(VPropstruct()), nested, VProp(VProparray<VProp>()), VProp(VProparray<VPropstruct>(2))})
        VEXA_EXPECT_THROWS(vexa_val2string(value), std::runtime_error,
                           "Conversion of unknown type to string.");
}

TEST(ValueToString, ReadsBackAsTheSameValue) {
    for (VProp const& value :
         {VProp(Byte{7}), VProp(-5), VProp(0.1), VProp(0.1f), VProp(nan_value), VProp(-infinity),
          VProp(5e-324), VProp(Complex(-0.0, 1e300)), VProp(true), VProp(VPropstring(L"\u4E2D"))})
        EXPECT_EQ(vexa_string2val(vexa_val2string(value), value.get_id()), value) << vexa_val2string(value);
}

} // namespace
