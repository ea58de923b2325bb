#include <limits>

#include <gtest/gtest.h>

#include <vexa/json/Props.h>
#include <vexa/json/Reader.h>
#include <vexa/props/VexaProps.h>
#include <vexa/testing/expect_throws.h>

namespace {

using JSON::set_value;
using JSON::Value;
using Byte = unsigned char;
using Shape = std::vector<unsigned long>;
using Cells = VProparray<VProp>;
using Structs = VProparray<VPropstruct>;
using Complex = std::complex<double>;
using ComplexFloat = std::complex<float>;

constexpr double infinity = std::numeric_limits<double>::infinity();

/// What std::invalid_argument, or a type derived from it, says; the empty text if nothing was refused.
std::string refusal(VProp& prop, Value const& value) {
    try {
        set_value(value, prop);
    } catch (std::invalid_argument const& error) {
        return error.what();
    }
    return "";
}

std::string refusal(VProp& prop, char const* text) { return refusal(prop, JSON::parse(text)); }

/// What is in \p initial after the value of a text was set.
template <typename T>
T after(T initial, Value const& value) {
    VProp prop = initial;
    EXPECT_EQ(refusal(prop, value), "") << JSON::dump(value, false);
    return prop.get<T>();
}

template <typename T>
T after(T initial, char const* text) {
    return after(initial, JSON::parse(text));
}

template <typename T>
void expect_refused(T initial, Value const& value, std::string const& words) {
    VProp prop = initial;
    EXPECT_EQ(refusal(prop, value), "Property has " + words + " type") << JSON::dump(value, false);
    EXPECT_EQ(prop, VProp(initial));
}

template <typename T>
void expect_refused(T initial, char const* text, std::string const& words) {
    expect_refused(initial, JSON::parse(text), words);
}

template <typename T>
VProparray<T> shaped(VProparray<T> array, Shape const& shape) {
    array.set_size(shape, VProparrayBase::shape_checked);
    return array;
}

TEST(PropsSetValue, ScalarsOfEachType) {
    EXPECT_EQ(after(Byte{1}, "255"), 255);
    EXPECT_EQ(after(static_cast<signed char>(1), "-128"), -128);
    EXPECT_EQ(after(static_cast<unsigned short>(1), "65535"), 65535);
    EXPECT_EQ(after(static_cast<short>(1), "-32768"), -32768);
    EXPECT_EQ(after(1u, "4294967295"), 4294967295u);
    EXPECT_EQ(after(1, "-2147483648"), std::numeric_limits<int>::min());
    EXPECT_EQ(after(1ul, "18446744073709551615"), 18446744073709551615ul);
    EXPECT_EQ(after(1l, "-9223372036854775808"), std::numeric_limits<long>::min());
    EXPECT_EQ(after(1.0f, "0.5"), 0.5f);
    EXPECT_EQ(after(1.0, "0.1"), 0.1);
    EXPECT_EQ(after(false, "true"), true);
    EXPECT_EQ(after(VPropstring(L"x"), "\"\xC3\xA9\""), L"\u00E9");
    EXPECT_EQ(after(Complex(1, 1), "{\"\":2,\"i\":\"-Infinity\"}"), Complex(2, -infinity));
    EXPECT_EQ(after(ComplexFloat(1, 1), "{\"\":0.5,\"i\":2}"), ComplexFloat(0.5f, 2));
}

TEST(PropsSetValue, IntegersOutOfRangeAreRefused) {
    expect_refused(Byte{1}, "300", "8 bit unsigned integer");
    expect_refused(Byte{1}, "256", "8 bit unsigned integer");
    expect_refused(Byte{1}, "-1", "8 bit unsigned integer");
    expect_refused(static_cast<signed char>(1), "128", "8 bit signed integer");
    expect_refused(static_cast<unsigned short>(1), "65536", "16 bit unsigned integer");
    expect_refused(static_cast<short>(1), "-32769", "16 bit signed integer");
    expect_refused(1u, "4294967296", "32 bit unsigned integer");
    expect_refused(1, "2147483648", "32 bit signed integer");
    expect_refused(1ul, "-1", "64 bit unsigned integer");
    expect_refused(1l, "9223372036854775808", "64 bit signed integer");
}

TEST(PropsSetValue, RealsGoIntoIntegersThatHoldThem) {
    EXPECT_EQ(after(1, "2.0"), 2);
    EXPECT_EQ(after(1, "-0.0"), 0);
    EXPECT_EQ(after(1l, Value(-0x1p63)), std::numeric_limits<long>::min());
    EXPECT_EQ(after(1ul, Value(0x1p63)), 1ul << 63);
    expect_refused(1, "1.5", "32 bit signed integer");
    expect_refused(1, "5e-324", "32 bit signed integer");
    expect_refused(1l, Value(0x1p63), "64 bit signed integer");
    expect_refused(1ul, Value(0x1p64), "64 bit unsigned integer");
    expect_refused(1ul, Value(-1.0), "64 bit unsigned integer");
    expect_refused(1l, "\"NaN\"", "64 bit signed integer");
    expect_refused(1l, "\"Infinity\"", "64 bit signed integer");
}

TEST(PropsSetValue, IntegersGoIntoRealsThatHoldThem) {
    EXPECT_EQ(after(1.0, "9007199254740992"), 0x1p53);
    expect_refused(1.0, "9007199254740993", "64 bit real");
    expect_refused(1.0, "-9007199254740993", "64 bit real");
    EXPECT_EQ(after(1.0, "9223372036854775808"), 0x1p63);
    expect_refused(1.0, "9223372036854775807", "64 bit real");
    expect_refused(1.0, "18446744073709551615", "64 bit real");
    EXPECT_EQ(after(1.0, "-9223372036854775808"), -0x1p63);
    EXPECT_EQ(after(1.0f, "16777216"), 0x1p24f);
    expect_refused(1.0f, "16777217", "32 bit real");
    EXPECT_EQ(after(1.0f, "9223372036854775808"), 0x1p63f);
    expect_refused(1.0f, "18446744073709551615", "32 bit real");
    expect_refused(1.0f, "9223372036854775807", "32 bit real");
}

TEST(PropsSetValue, RealsGoIntoAFloatThatHoldsThem) {
    EXPECT_EQ(after(1.0f, Value(static_cast<double>(0.1f))), 0.1f);
    EXPECT_TRUE(std::signbit(after(1.0f, "-0.0")));
    EXPECT_TRUE(std::signbit(after(1.0, "-0.0")));
    EXPECT_EQ(after(1.0f, Value(0x1p-149)), 0x1p-149f);
    EXPECT_EQ(after(1.0, Value(5e-324)), 5e-324);
    expect_refused(1.0f, "0.1", "32 bit real");
    expect_refused(1.0f, "1e300", "32 bit real");
    expect_refused(1.0f, "1e-300", "32 bit real");
    expect_refused(1.0f, Value(0x1.8p-149), "32 bit real");
}

TEST(PropsSetValue, TheThreeStringsAreReals) {
    EXPECT_EQ(after(1.0, "\"Infinity\""), infinity);
    EXPECT_EQ(after(1.0f, "\"-Infinity\""), -std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isnan(after(1.0, "\"NaN\"")));
    EXPECT_TRUE(std::isnan(after(1.0f, "\"NaN\"")));
    expect_refused(1.0, "\"infinity\"", "64 bit real");
    expect_refused(1.0, "\"1\"", "64 bit real");
}

TEST(PropsSetValue, NumbersThatWereCalculatedInPlaceMayNotBeFinite) {
    Value value = 1.0;
    value.get<JSON::Number>() = JSON::Number(std::numeric_limits<double>::quiet_NaN());
    EXPECT_TRUE(std::isnan(after(1.0f, value)));
    EXPECT_TRUE(std::isnan(after(1.0, value)));
    expect_refused(1, value, "32 bit signed integer");
}

/// Every kind of value into a property of every type that doesn't take it.
TEST(PropsSetValue, WrongKindsAreRefused) {
    struct Target {
        VProp prop;
        std::string accepts;
        char const* words;
    };
    VProp nested;
    nested.set<VProp>() = 1;
    std::vector<Target> const targets{
        {true, "b", "boolean"},
        {Byte{1}, "n", "8 bit unsigned integer"},
        {1l, "n", "64 bit signed integer"},
        {1.0f, "n", "32 bit real"},
        {1.0, "n", "64 bit real"},
        {ComplexFloat(), "", "32 bit complex"},
        {Complex(), "", "64 bit complex"},
        {VPropstring(L"x"), "s", "string"},
        {VPropstruct(), "m", "structure"},
        {nested, "", "unsupported"},
        {VProp(), "0", "unsupported"},
        {vexa_EMPTY(), "0", "empty"},
        {VProparray<int>(), "l", "32 bit signed integer array"},
        {VProparray<bool>(), "l", "boolean array"},
        {VProparray<VPropstring>(), "l", "string array"},
        {VProparray<ComplexFloat>(), "l", "32 bit complex array"},
        {Cells(), "l", "array"},
        {Structs(), "l", "structure array"},
    };
    std::pair<char, char const*> const values[] = {{'0', "null"},  {'b', "true"}, {'n', "1"},
                                                   {'s', "\"x\""}, {'l', "[]"},   {'m', "{}"}};
    for (Target const& target : targets) {
        for (auto const& [kind, text] : values) {
            VProp prop = target.prop;
            bool const accepted = target.accepts.find(kind) != std::string::npos;
            EXPECT_EQ(refusal(prop, text),
                      accepted ? "" : std::string("Property has ") + target.words + " type")
                << text << " into " << target.words;
        }
    }
}

TEST(PropsSetValue, NullWritesNothing) {
    VProp empty;
    set_value(Value(), empty);
    EXPECT_TRUE(empty.empty());
    VProp nothing = vexa_EMPTY();
    set_value(Value(), nothing);
    EXPECT_TRUE(nothing.get_if<vexa_EMPTY>());
}

TEST(PropsSetValue, ComplexNumbersNeedBothParts) {
    expect_refused(Complex(1, 2), "{\"\":1}", "64 bit complex");
    expect_refused(Complex(1, 2), "{\"\":1,\"i\":\"x\"}", "64 bit complex");
    expect_refused(Complex(1, 2), "{\"\":9007199254740993,\"i\":1}", "64 bit complex");
    expect_refused(ComplexFloat(1, 2), "{\"\":16777217,\"i\":1}", "32 bit complex");
    EXPECT_EQ(after(ComplexFloat(1, 2), "{\"\":0.1,\"i\":1}"), ComplexFloat(0.1f, 1));
}

/// A value whose list failed to be made and that holds nothing at all.
Value valueless() {
    struct Thrower {
        operator JSON::List() const { throw std::runtime_error("no list"); }
    };
    Value value;
    EXPECT_THROW(value.variant().emplace<JSON::List>(Thrower()), std::runtime_error);
    EXPECT_TRUE(value.variant().valueless_by_exception());
    return Value(std::move(value));
}

TEST(PropsSetValue, AValuelessValueIsAnError) {
    VProp number = 1;
    EXPECT_THROW(set_value(valueless(), number), std::bad_variant_access);
    try {
        VProp prop = VPropstruct{{"a", 1}};
        Value map = JSON::Map();
        map.get<JSON::Map>().emplace("a", valueless());
        set_value(map, prop);
        ADD_FAILURE();
    } catch (std::bad_variant_access const& error) {
        EXPECT_STREQ(error.what(), "std::visit: variant is valueless");
    }
    VProp made;
    EXPECT_THROW(JSON::create_value(valueless(), made), std::bad_variant_access);
}

VProp sample() {
    VProp prop;
    prop["a"] = 1;
    prop["b.c"] = 2.5;
    prop["s(1).x"] = 3;
    prop["cells{1}"] = true;
    return prop;
}

TEST(PropsSetValue, StructuresAreSetMemberByMember) {
    VProp prop = sample();
    set_value(JSON::parse("{\"b\":{\"c\":3},\"a\":-7,\"s\":[{},{\"x\":9}],\"cells\":[null,false]}"), prop);
    EXPECT_EQ(prop["a"].get<int>(), -7);
    EXPECT_EQ(prop["b.c"].get<double>(), 3);
    EXPECT_EQ(prop["s(1).x"].get<int>(), 9);
    EXPECT_EQ(prop["cells{1}"].get<bool>(), false);
    set_value(JSON::parse("{}"), prop);
    EXPECT_EQ(prop["a"].get<int>(), -7);
}

TEST(PropsSetValue, AnUnknownKeyIsNamed) {
    VProp prop = sample();
    VEXA_EXPECT_THROWS(set_value(JSON::parse("{\"unknown\":1}"), prop), JSON::No_Property_Error,
                       "No property 'unknown'");
    VEXA_EXPECT_THROWS(set_value(JSON::parse("{\"b\":{\"\":1}}"), prop), std::invalid_argument,
                       "Invalid argument for parameter 'b': No property ''.");
    VEXA_EXPECT_THROWS(set_value(JSON::parse("{\"b.c\":1}"), prop), JSON::No_Property_Error,
                       "No property 'b.c'");
    VProp odd = VPropstruct{{"", 1}, {"\xC3\xA9.x", 2}};
    set_value(JSON::parse("{\"\":3,\"\xC3\xA9.x\":4}"), odd);
    EXPECT_EQ(odd.get<VPropstruct>()[0].second.get<int>(), 3);
    EXPECT_EQ(odd.get<VPropstruct>()[1].second.get<int>(), 4);
}

TEST(PropsSetValue, AFailureTellsTheWay) {
    VProp prop = sample();
    VEXA_EXPECT_THROWS(set_value(JSON::parse("{\"a\":1.5}"), prop), std::invalid_argument,
                       "Invalid argument for parameter 'a': Property has 32 bit signed integer type.");
    VEXA_EXPECT_THROWS(set_value(JSON::parse("{\"b\":{\"c\":\"x\"}}"), prop), std::invalid_argument,
                       "Invalid argument for parameter 'b': Invalid argument for parameter 'c': Property has "
                       "64 bit real type..");
    VEXA_EXPECT_THROWS(set_value(JSON::parse("{\"s\":[{},{\"x\":null}]}"), prop), std::invalid_argument,
                       "Invalid argument for parameter 's': Invalid argument for parameter '1': Invalid "
                       "argument for parameter 'x': Property has 32 bit signed integer type...");
    VEXA_EXPECT_THROWS(set_value(JSON::parse("{\"s\":[{},[]]}"), prop), std::invalid_argument,
                       "Invalid argument for parameter 's': Invalid argument for parameter '1': Property has "
                       "structure type..");
    VEXA_EXPECT_THROWS(set_value(JSON::parse("{\"s\":[{}]}"), prop), std::invalid_argument,
                       "Invalid argument for parameter 's': Property has structure array type.");
    VEXA_EXPECT_THROWS(set_value(JSON::parse("{\"cells\":[1,true]}"), prop), std::invalid_argument,
                       "Invalid argument for parameter 'cells': Property has unsupported type.");
    VProp structs = prop["s"];
    VEXA_EXPECT_THROWS(set_value(JSON::parse("[{\"x\":1},{}]"), structs), std::invalid_argument,
                       "Invalid argument for parameter '0': No property 'x'.");
}

TEST(PropsSetValue, NotesAreSkipped) {
    VProp prop = VPropstruct{{"____", 1}, {"__a", 1}, {"__note__", 1}};
    set_value(JSON::parse("{\"__meta__\":1,\"__note__\":2,\"_____\":3}"), prop);
    EXPECT_EQ(prop, VProp(VPropstruct{{"____", 1}, {"__a", 1}, {"__note__", 1}}));
    set_value(JSON::parse("{\"____\":5,\"__a\":6}"), prop);
    EXPECT_EQ(prop, VProp(VPropstruct{{"____", 5}, {"__a", 6}, {"__note__", 1}}));
    VProp none = VPropstruct();
    VEXA_EXPECT_THROWS(set_value(JSON::parse("{\"____\":1}"), none), JSON::No_Property_Error,
                       "No property '____'");
}

TEST(PropsSetValue, MembersSetBeforeAFailureStaySet) {
    VProp prop = VPropstruct{{"a", 1}, {"b", 1}, {"c", 1}};
    EXPECT_EQ(refusal(prop, "{\"a\":2,\"b\":\"x\",\"c\":2}"),
              "Invalid argument for parameter 'b': Property has 32 bit signed integer type.");
    EXPECT_EQ(prop, VProp(VPropstruct{{"a", 2}, {"b", 1}, {"c", 1}}));
    VProp array = VProparray<int>{1, 1, 1};
    EXPECT_EQ(refusal(array, "[2,1.5,2]"), "Property has 32 bit signed integer array type");
    EXPECT_EQ(array.get<VProparray<int>>(), (std::vector<int>{2, 1, 1}));
}

TEST(PropsSetValue, TheFirstOfSeveralMembersOfANameIsSet) {
    VPropstruct members{{"a", 1}, {"a", 2}};
    VProp few = members;
    set_value(JSON::parse("{\"a\":5}"), few);
    EXPECT_EQ(few.get<VPropstruct>()[0].second.get<int>(), 5);
    EXPECT_EQ(few.get<VPropstruct>()[1].second.get<int>(), 2);
}

TEST(PropsSetValue, LargeStructuresAreSetByName) {
    constexpr int count = 100000;
    VPropstruct members{{"twice", 1}, {"twice", 2}};
    JSON::Map map;
    for (int i = count; i-- > 0;) members.emplace_back("m" + std::to_string(i), 0);
    for (int i = 0; i < count; ++i) map.emplace("m" + std::to_string(i), i);
    map.emplace("twice", 3);
    VProp prop = members;
    set_value(map, prop);
    auto const& set = prop.get<VPropstruct>();
    EXPECT_EQ(set[0].second.get<int>(), 3);
    EXPECT_EQ(set[1].second.get<int>(), 2);
    for (int i = 0; i < count; ++i)
        ASSERT_EQ(set[set.size() - 1 - static_cast<std::size_t>(i)].second.get<int>(), i);
    map.emplace("n", 3);
    VEXA_EXPECT_THROWS(set_value(map, prop), JSON::No_Property_Error, "No property 'n'");
}

TEST(PropsSetValue, SharedContentIsUnsharedFirst) {
    VProp prop = sample();
    VProp const before = prop;
    set_value(JSON::parse("{\"a\":9,\"b\":{\"c\":9},\"cells\":[null,false]}"), prop);
    EXPECT_EQ(before, sample());
    EXPECT_EQ(prop["b.c"].get<double>(), 9);
}

TEST(PropsSetValue, ArraysKeepTheirShape) {
    VProp prop = shaped(VProparray<double>(6), {2, 3});
    set_value(JSON::parse("[[1,2],[3,4],[5,\"Infinity\"]]"), prop);
    EXPECT_EQ(prop.get<VProparray<double>>(), (std::vector<double>{1, 2, 3, 4, 5, infinity}));
    EXPECT_EQ(prop.get_arr(true)->get_size(false), (Shape{2, 3}));
    EXPECT_EQ(after(shaped(VProparray<bool>(2), {2, 1}), "[true,false]"), (std::vector<bool>{true, false}));
    EXPECT_EQ(after(VProparray<VPropstring>(1), "[\"x\"]")[0], L"x");
    EXPECT_EQ(after(VProparray<Complex>(1), "[{\"\":1,\"i\":2}]")[0], Complex(1, 2));
    EXPECT_EQ(after(VProparray<int>(), "[]").size(), 0u);
    EXPECT_EQ(after(shaped(VProparray<int>(), {0, 4}), "[]").get_size(false), (Shape{0, 4}));
    EXPECT_EQ(after(shaped(VProparray<Byte>(1), {1, 1, 1}), "[7]")[0], 7);
}

TEST(PropsSetValue, ListsOfAnotherLengthAreRefused) {
    expect_refused(VProparray<int>{1, 2}, "[1,2,3]", "32 bit signed integer array");
    expect_refused(VProparray<int>{1, 2}, "[1]", "32 bit signed integer array");
    expect_refused(VProparray<int>{1, 2}, "[]", "32 bit signed integer array");
    expect_refused(VProparray<int>(), "[1]", "32 bit signed integer array");
    expect_refused(VProparray<int>{1}, "[[1]]", "32 bit signed integer array");
    expect_refused(VProparray<int>{1}, "1", "32 bit signed integer array");
    expect_refused(shaped(VProparray<int>(4), {2, 2}), "[[0,0],[0]]", "32 bit signed integer array");
    expect_refused(shaped(VProparray<int>(4), {2, 2}), "[[0,0,0],[0]]", "32 bit signed integer array");
    expect_refused(shaped(VProparray<int>(4), {2, 2}), "[[0,0]]", "32 bit signed integer array");
    expect_refused(shaped(Cells(4), {2, 2}), "[[null,null],[null]]", "array");
}

TEST(PropsSetValue, WhatStandsInPlaceOfAListIsABadCast) {
    VProp matrix = shaped(VProparray<int>(4), {2, 2});
    EXPECT_THROW(set_value(JSON::parse("[[1,2],3]"), matrix), std::bad_cast);
    EXPECT_EQ(matrix.get<VProparray<int>>(), (std::vector<int>{1, 2, 0, 0}));
    VProp outer = VPropstruct{{"m", shaped(Cells(4), {2, 2})}};
    EXPECT_THROW(set_value(JSON::parse("{\"m\":[1,2]}"), outer), std::bad_cast);
}

TEST(PropsSetValue, ElementsOfMatricesOfStructuresAreNamedByTheirFlatIndex) {
    VProp prop = shaped(Structs(4), {2, 2});
    VEXA_EXPECT_THROWS(set_value(JSON::parse("[[{},{}],[{},{\"x\":1}]]"), prop), std::invalid_argument,
                       "Invalid argument for parameter '3': No property 'x'.");
    set_value(JSON::parse("[[{},{}],[{},{\"__note__\":1}]]"), prop);
}

TEST(PropsSetValue, AnArrayWithoutAValidShapeIsAnError) {
    VProparray<int> array(5);
    array.set_size({2, 3}, VProparrayBase::shape_only);
    VProp prop = array;
    VEXA_EXPECT_THROWS(set_value(JSON::parse("[1,2,3,4,5]"), prop), std::runtime_error,
                       "Invalid size vector in property array.");
}

/// What get_value() gives goes back into the tree, exactly.
TEST(PropsSetValue, TakesWhatGetValueGives) {
    VProp source = sample();
    source["float"] = 0.1f;
    source["tiny"] = std::numeric_limits<float>::denorm_min();
    source["long"] = 9007199254740993l;
    source["ulong"] = 18446744073709551615ul;
    source["nan"] = std::numeric_limits<double>::quiet_NaN();
    source["complex"] = ComplexFloat(0.1f, -std::numeric_limits<float>::infinity());
    source["matrix"] = shaped(VProparray<Byte>{1, 2, 3, 4, 5, 6}, {3, 2});
    source["texts"] = VProparray<VPropstring>{VPropstring(L"a"), VPropstring(L"\U0001F600")};
    source["empty"] = vexa_EMPTY();
    source["none"];
    VProp target = source;
    target["float"] = 1.0f;
    target["ulong"] = 0ul;
    target["matrix"].set<VProparray<Byte>>()[5] = 0;
    target["texts"].set<VProparray<VPropstring>>()[1] = VPropstring();
    Value const value = JSON::get_value(source);
    set_value(value, target);
    EXPECT_EQ(target, source);
    set_value(JSON::parse(JSON::dump(value, false)), target);
    EXPECT_EQ(target, source);
}

} // namespace
