#include <vexa/json/Value_Cast.h>

#include <cmath>
#include <limits>

#include <boost/uuid/string_generator.hpp>
#include <gtest/gtest.h>

#include <vexa/json/Uuid.h>
#include <vexa/testing/expect_throws.h>

using namespace JSON;

namespace {

enum class Colour { red, green, blue };

constexpr double infinity = std::numeric_limits<double>::infinity();

template <typename T>
std::optional<T> read(Value const& value) {
    return Value_Cast<T, 0>::to_if(value);
}

} // namespace

template <>
struct JSON::String_Cast<Colour, 0> {
    static std::string from(Colour colour) { return colour == Colour::red ? "red" : "green"; }
    static std::optional<Colour> to_if(std::string const& text) {
        if (text == "red") return Colour::red;
        if (text == "green") return Colour::green;
        return std::nullopt;
    }
};

TEST(JsonRealCast, TakesNumbersInAnyAlternative) {
    EXPECT_EQ(read<double>(Value(2.5)), 2.5);
    EXPECT_EQ(read<double>(Value(-3)), -3.0);
    EXPECT_EQ(read<double>(Value(3u)), 3.0);
    EXPECT_EQ(read<float>(Value(2.5)), 2.5f);
    EXPECT_EQ(read<float>(Value(0.1)), 0.1f);
    EXPECT_EQ(read<float>(Value(0.1f)), 0.1f);
}

TEST(JsonRealCast, RefusesIntegersThatAreNotExact) {
    EXPECT_EQ(read<double>(Value(9007199254740992)), 9007199254740992.0);
    EXPECT_EQ(read<double>(Value(9007199254740993)), std::nullopt);
    EXPECT_EQ(read<double>(Value(-9007199254740993)), std::nullopt);
    EXPECT_EQ(read<double>(Value(std::numeric_limits<long long>::min())), -9223372036854775808.0);
    EXPECT_EQ(read<double>(Value(std::numeric_limits<long long>::max())), std::nullopt);
    EXPECT_EQ(read<double>(Value(std::numeric_limits<unsigned long long>::max())), std::nullopt);
    EXPECT_EQ(read<double>(Value(9223372036854775808u)), 9223372036854775808.0);
    EXPECT_EQ(read<float>(Value(16777216)), 16777216.0f);
    EXPECT_EQ(read<float>(Value(16777217)), std::nullopt);
    VEXA_EXPECT_THROWS((Value_Cast<double, 0>::to(Value(9007199254740993))), Bad_Access,
                       "Type mismatch: found 9007199254740993, expected double");
    VEXA_EXPECT_THROWS(Value(16777217).get<float>(), Bad_Access,
                       "Type mismatch: found 16777217, expected float");
}

TEST(JsonRealCast, AFiniteRealDoesNotBecomeAnInfiniteFloat) {
    EXPECT_EQ(read<float>(Value(1e300)), std::nullopt);
    EXPECT_EQ(read<float>(Value(-1e300)), std::nullopt);
    EXPECT_EQ(read<float>(Value(1e-300)), 0.0f);
}

TEST(JsonRealCast, TakesTheThreeStringsOfNonFiniteNumbers) {
    EXPECT_EQ(read<double>(Value(infinity)), infinity);
    EXPECT_EQ(read<double>(Value("-Infinity")), -infinity);
    EXPECT_TRUE(std::isnan(read<double>(Value("NaN")).value()));
    EXPECT_EQ(read<float>(Value("Infinity")), std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isnan(Value("NaN").get<float>()));
}

TEST(JsonRealCast, RefusesAllElse) {
    for (Value const& value : {Value("infinity"), Value("+Infinity"), Value("nan"), Value("1"), Value(""),
                               Value(), Value(true), Value(List()), Value(Map())}) {
        EXPECT_EQ(read<double>(value), std::nullopt);
        EXPECT_EQ(read<float>(value), std::nullopt);
    }
    VEXA_EXPECT_THROWS(Value().get<double>(), Bad_Access, "Type mismatch: found null, expected double");
    VEXA_EXPECT_THROWS(Value("1").get<float>(), Bad_Access, "Type mismatch: found string, expected float");
}

TEST(JsonIntegerCast, TakesNumbersInRange) {
    EXPECT_EQ(read<int>(Value(2147483647)), 2147483647);
    EXPECT_EQ(read<int>(Value(-2147483648LL)), -2147483648LL);
    EXPECT_EQ(read<int>(Value(2147483648)), std::nullopt);
    EXPECT_EQ(read<int>(Value(2147483648u)), std::nullopt);
    EXPECT_EQ(read<int>(Value(3.0)), 3);
    EXPECT_EQ(read<int>(Value(3.5)), std::nullopt);
    EXPECT_EQ(read<int>(Value(2147483648.0)), std::nullopt);
    EXPECT_EQ(read<int>(Value(-2147483648.0)), -2147483648LL);
    EXPECT_EQ(read<unsigned char>(Value(-1)), std::nullopt);
    EXPECT_EQ(read<unsigned char>(Value(255u)), 255);
}

TEST(JsonIntegerCast, KnowsTheLimitsOf64Bits) {
    EXPECT_EQ(read<long long>(Value(9223372036854775808.0)), std::nullopt);
    EXPECT_EQ(read<long long>(Value(-9223372036854775808.0)), std::numeric_limits<long long>::min());
    EXPECT_EQ(read<long long>(Value(9223372036854775808u)), std::nullopt);
    EXPECT_EQ(read<unsigned long long>(Value(18446744073709551616.0)), std::nullopt);
    EXPECT_EQ(read<unsigned long long>(Value(18446744073709549568.0)), 18446744073709549568u);
    EXPECT_EQ(read<unsigned long long>(Value(-0.0)), 0u);
    EXPECT_EQ(read<unsigned long long>(Value(-1.0)), std::nullopt);
}

TEST(JsonIntegerCast, RefusesAllButNumbers) {
    for (Value const& value : {Value("3"), Value("Infinity"), Value(), Value(true), Value(List())})
        EXPECT_EQ(read<int>(value), std::nullopt);
    VEXA_EXPECT_THROWS(Value(true).get<int>(), Bad_Access,
                       "Type mismatch: found boolean, expected signed integer");
    VEXA_EXPECT_THROWS(Value(-1).get<unsigned>(), Bad_Access,
                       "Type mismatch: found -1, expected unsigned integer");
}

TEST(JsonBooleanCast, TakesBooleansAlone) {
    EXPECT_EQ(read<bool>(Value(true)), true);
    EXPECT_EQ(read<bool>(Value(1)), std::nullopt);
    VEXA_EXPECT_THROWS(Value(1).get<bool>(), std::bad_variant_access, "bad variant access");
}

TEST(NarrowCast, IsExactOrThrows) {
    EXPECT_EQ(narrow_cast<signed char>(-128), -128);
    EXPECT_EQ(narrow_cast<unsigned short>(Number(65535.0)), 65535);
    EXPECT_EQ(narrow_cast<float>(Number(0.1)), 0.1f);
    VEXA_EXPECT_THROWS(narrow_cast<unsigned char>(300), Bad_Access,
                       "Type mismatch: found 300, expected unsigned integer");
    VEXA_EXPECT_THROWS(narrow_cast<int>(1.5), Bad_Access,
                       "Type mismatch: found 1.5, expected signed integer");
    VEXA_EXPECT_THROWS(narrow_cast<int>(std::nan("")), Bad_Access,
                       "Type mismatch: found nan, expected signed integer");
    VEXA_EXPECT_THROWS(narrow_cast<unsigned>(infinity), Bad_Access,
                       "Type mismatch: found inf, expected unsigned integer");
}

TEST(JsonComplexCast, IsAMapOfTwoParts) {
    EXPECT_EQ(Value(std::complex<double>(1.5, -2)), Value(Map{{"", Value(1.5)}, {"i", Value(-2)}}));
    EXPECT_EQ(Value(std::complex<float>(0, std::numeric_limits<float>::infinity())),
              Value(Map{{"", Value(0)}, {"i", Value("Infinity")}}));
}

TEST(JsonComplexCast, NeedsBothParts) {
    using C = std::complex<double>;
    EXPECT_EQ(read<C>(Value(Map{{"", Value(1)}, {"i", Value("-Infinity")}})), C(1, -infinity));
    EXPECT_EQ(read<C>(Value(Map{{"", Value(1)}})), std::nullopt);
    EXPECT_EQ(read<C>(Value(Map{{"i", Value(1)}})), std::nullopt);
    EXPECT_EQ(read<C>(Value(Map{{"", Value(1)}, {"i", Value("1")}})), std::nullopt);
    EXPECT_EQ(read<C>(Value(Map{{"", Value(1)}, {"i", Value()}})), std::nullopt);
    EXPECT_EQ(read<C>(Value(1)), std::nullopt);
    EXPECT_EQ(read<C>(Value(List{Value(1), Value(2)})), std::nullopt);
    VEXA_EXPECT_THROWS(Value(1).get<C>(), Bad_Access, "Type mismatch: found number, expected complex");
}

TEST(JsonComplexCast, AnIntegerPartCountsOnlyIfItIsExact) {
    Value const value(Map{{"", Value(16777217)}, {"i", Value(0)}});
    EXPECT_EQ(read<std::complex<float>>(value), std::nullopt);
    EXPECT_EQ(read<std::complex<double>>(value), std::complex<double>(16777217, 0));
}

TEST(JsonPathCast, IsAStringInUtf8) {
    std::filesystem::path const path("/data/\xc3\xa9.vbf");
    EXPECT_EQ(Value(path).get<std::string>(), "/data/\xc3\xa9.vbf");
    EXPECT_EQ(Value(path).get<std::filesystem::path>(), path);
    EXPECT_EQ(read<std::filesystem::path>(Value(1)), std::nullopt);
    VEXA_EXPECT_THROWS(Value(1).get<std::filesystem::path>(), std::bad_variant_access, "bad variant access");
}

TEST(JsonWideCast, ConvertsKeysAndStrings) {
    std::string const key = Key_Cast<wchar_t const*, 0>::from(L"\u00b5m");
    EXPECT_EQ(key, "\xc2\xb5m");
    EXPECT_EQ((Key_Cast<std::wstring, 0>::to_if(Value(key))), L"\u00b5m");
    EXPECT_EQ((Key_Cast<std::wstring, 0>::to_if(Value(1))), std::nullopt);
    EXPECT_EQ((Key_Cast<wchar_t const*, 0>::to_if(Value())), std::nullopt);
    EXPECT_EQ(Value(key).get<std::wstring>(), L"\u00b5m");
    VEXA_EXPECT_THROWS(Value(1).get<std::wstring>(), std::bad_variant_access, "bad variant access");
}

TEST(JsonUuidCast, ReadsBackWhatItWrites) {
    auto const uuid = boost::uuids::string_generator()("01234567-89ab-cdef-0123-456789abcdef");
    EXPECT_EQ(Value(uuid).get<std::string>(), "01234567-89ab-cdef-0123-456789abcdef");
    EXPECT_EQ(Value(uuid).get<boost::uuids::uuid>(), uuid);
    EXPECT_EQ(Value("{01234567-89AB-CDEF-0123-456789ABCDEF}").get<boost::uuids::uuid>(), uuid);
    EXPECT_EQ(Value("0123456789abcdef0123456789abcdef").get<boost::uuids::uuid>(), uuid);
}

TEST(JsonUuidCast, RefusesOtherTexts) {
    for (char const* text :
         {"", "{", "01234567", "01234567-89ab-cdef-0123-456789abcdeg",
          "01234567-89ab-cdef-0123-456789abcdef0", "{01234567-89ab-cdef-0123-456789abcdef"})
        EXPECT_EQ(read<boost::uuids::uuid>(Value(text)), std::nullopt) << text;
    EXPECT_EQ(read<boost::uuids::uuid>(Value(1)), std::nullopt);
    VEXA_EXPECT_THROWS(Value("x").get<boost::uuids::uuid>(), std::bad_variant_access, "bad variant access");
}

TEST(JsonStringCast, EnumerationsAreStrings) {
    EXPECT_EQ(Value(Colour::red), Value("red"));
    EXPECT_EQ((Value("green").get<Colour, 0>()), Colour::green);
    VEXA_EXPECT_THROWS(Value("blue").get<Colour>(), std::bad_variant_access, "bad variant access");
    VEXA_EXPECT_THROWS(Value(1).get<Colour>(), std::bad_variant_access, "bad variant access");
}
