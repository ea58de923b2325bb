#include <vexa/json/Props.h>

#include <limits>

#include <gtest/gtest.h>

#include <vexa/json/Reader.h>
#include <vexa/props/VexaProps.h>
#include <vexa/testing/expect_throws.h>

namespace {

using JSON::create_value;
using JSON::get_value;
using JSON::Value;
using Byte = unsigned char;
using Shape = std::vector<unsigned long>;
using Complex = std::complex<double>;
using Cells = VProparray<VProp>;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();

std::string text_of(VProp const& prop) { return JSON::dump(get_value(prop), false); }

template <typename T>
VProparray<T> shaped(VProparray<T> array, Shape const& shape) {
    array.set_size(shape, VProparrayBase::shape_checked);
    return array;
}

/// The property that a text makes.
VProp created(std::string const& text) {
    VProp prop;
    create_value(JSON::parse(text), prop);
    return prop;
}

template <typename T>
void expect_created(std::string const& text, T expected) {
    VProp const prop = created(text);
    EXPECT_EQ(prop.get_id(), Vexa::props::code_of<T>::value) << text;
    EXPECT_EQ(prop.get<T>(), expected) << text;
}

/// What std::invalid_argument, or a type derived from it, says.
template <typename Action>
std::string refusal(Action action) {
    try {
        action();
    } catch (std::invalid_argument const& error) {
        return error.what();
    }
    return "nothing was refused";
}

/// Content with a code that the library doesn't know.
struct Foreign final : VProp::placeholder {
    explicit Foreign(int id) : code(id) {}
    std::type_info const& type() const override { return typeid(Foreign); }
    std::size_t size() const override { return 0; }
    void* value_ptr() override { return this; }
    void const* value_ptr() const override { return this; }
    placeholder* clone() const override { return new Foreign(code); }
    int get_id() const override { return code; }
    int code;
};
struct ForeignProp : VProp {
    explicit ForeignProp(int code) { content = new Foreign(code); }
};

TEST(PropsGetValue, Scalars) {
    EXPECT_TRUE(get_value(VProp()).is_null());
    EXPECT_TRUE(get_value(vexa_EMPTY()).is_null());
    EXPECT_EQ(text_of(true), "true");
    EXPECT_EQ(text_of(Byte{200}), "200");
    EXPECT_EQ(text_of(static_cast<signed char>(-100)), "-100");
    EXPECT_EQ(text_of(static_cast<unsigned short>(65535)), "65535");
    EXPECT_EQ(text_of(static_cast<short>(-32768)), "-32768");
    EXPECT_EQ(text_of(4294967295u), "4294967295");
    EXPECT_EQ(text_of(-5), "-5");
    EXPECT_EQ(text_of(18446744073709551615ul), "18446744073709551615");
    EXPECT_EQ(text_of(std::numeric_limits<long>::min()), "-9223372036854775808");
    EXPECT_EQ(text_of(0.1f), "0.10000000149011612");
    EXPECT_EQ(text_of(0.1), "0.1");
    EXPECT_EQ(text_of(5e-324), "5e-324");
    EXPECT_EQ(text_of(VPropstring(L"\u00E9\U0001F600")), "\"\xC3\xA9\xF0\x9F\x98\x80\"");
}

TEST(PropsGetValue, IntegersKeepTheirSignedness) {
    EXPECT_EQ(get_value(Byte{1}).get<JSON::Number>().variant().index(), 2u);
    EXPECT_EQ(get_value(1ul).get<JSON::Number>().variant().index(), 2u);
    EXPECT_EQ(get_value(1).get<JSON::Number>().variant().index(), 1u);
    EXPECT_EQ(get_value(1l).get<JSON::Number>().variant().index(), 1u);
    EXPECT_EQ(get_value(1.0f).get<JSON::Number>().variant().index(), 0u);
    EXPECT_EQ(get_value(1.0).get<JSON::Number>().variant().index(), 0u);
}

TEST(PropsGetValue, RealsThatAreNotFiniteAreStrings) {
    EXPECT_EQ(text_of(std::numeric_limits<float>::infinity()), "\"Infinity\"");
    EXPECT_EQ(text_of(-infinity), "\"-Infinity\"");
    EXPECT_EQ(text_of(nan_value), "\"NaN\"");
    EXPECT_EQ(text_of(VProparray<float>{1, -std::numeric_limits<float>::infinity()}), "[1,\"-Infinity\"]");
}

TEST(PropsGetValue, ComplexNumbersAreMapsOfTwo) {
    EXPECT_EQ(text_of(Complex(1.5, -2)), "{\"\":1.5,\"i\":-2}");
    EXPECT_EQ(text_of(std::complex<float>(0.5f, 2)), "{\"\":0.5,\"i\":2}");
    EXPECT_EQ(text_of(Complex(infinity, nan_value)), "{\"\":\"Infinity\",\"i\":\"NaN\"}");
    EXPECT_EQ(text_of(VProparray<Complex>{{1, 2}, {3, 4}}), "[{\"\":1,\"i\":2},{\"\":3,\"i\":4}]");
}

TEST(PropsGetValue, RowsAndColumnsAreFlatLists) {
    VProparray<int> const three{1, 2, 3};
    EXPECT_EQ(text_of(three), "[1,2,3]");
    EXPECT_EQ(text_of(shaped(three, {1, 3})), "[1,2,3]");
    EXPECT_EQ(text_of(shaped(three, {3, 1})), "[1,2,3]");
    EXPECT_EQ(text_of(shaped(three, {3})), "[1,2,3]");
    EXPECT_EQ(text_of(shaped(three, {1, 1, 3, 1})), "[1,2,3]");
}

TEST(PropsGetValue, TheInnermostListRunsOverTheFirstDimension) {
    VProparray<int> const six{1, 2, 3, 4, 5, 6};
    EXPECT_EQ(text_of(shaped(six, {2, 3})), "[[1,2],[3,4],[5,6]]");
    EXPECT_EQ(text_of(shaped(six, {3, 2})), "[[1,2,3],[4,5,6]]");
    EXPECT_EQ(text_of(shaped(six, {2, 1, 3})), "[[1,2],[3,4],[5,6]]");
    EXPECT_EQ(text_of(shaped(VProparray<Byte>{1, 2, 3, 4, 5, 6, 7, 8}, {2, 2, 2})),
              "[[[1,2],[3,4]],[[5,6],[7,8]]]");
    EXPECT_EQ(text_of(shaped(VProparray<bool>{true, false, true, false}, {2, 2})),
              "[[true,false],[true,false]]");
}

TEST(PropsGetValue, OneElementIsAListOfOneAndNoneAnEmptyOne) {
    EXPECT_EQ(text_of(VProparray<double>{7}), "[7]");
    EXPECT_EQ(text_of(shaped(VProparray<double>{7}, {1, 1, 1})), "[7]");
    EXPECT_EQ(text_of(VProparray<double>()), "[]");
    EXPECT_EQ(text_of(shaped(VProparray<double>(), {0, 5})), "[]");
    EXPECT_EQ(text_of(shaped(VProparray<VPropstring>(), {3, 0})), "[]");
}

TEST(PropsGetValue, ArraysOfStringsCellsAndStructures) {
    EXPECT_EQ(text_of(VProparray<VPropstring>{VPropstring(L"a"), VPropstring(L"\u4E2D")}),
              "[\"a\",\"\xE4\xB8\xAD\"]");
    VProp nested;
    nested.set<VProp>() = 5;
    EXPECT_EQ(text_of(nested), "5");
    EXPECT_EQ(text_of(Cells{1, VProp(), Cells(), nested, VPropstruct{{"x", 2}}}), "[1,null,[],5,{\"x\":2}]");
    EXPECT_EQ(text_of(shaped(Cells{1, 2.5, true, VProp()}, {2, 2})), "[[1,2.5],[true,null]]");
    EXPECT_EQ(text_of(VProparray<VPropstruct>{{{"x", 1}}, {}}), "[{\"x\":1},{}]");
    nested.set<VProp>() = VProp();
    EXPECT_EQ(text_of(nested), "null");
}

TEST(PropsGetValue, StructuresAreMapsInTheOrderOfTheirKeys) {
    EXPECT_EQ(text_of(VPropstruct()), "{}");
    EXPECT_EQ(text_of(VPropstruct{{"b", 1}, {"a", VPropstruct{{"", 2}}}, {"\xC3\xA9 x", VProp()}}),
              "{\"a\":{\"\":2},\"b\":1,\"\xC3\xA9 x\":null}");
    EXPECT_EQ(text_of(VPropstruct{{"a", 1}, {"b", 2}, {"a", VPropstruct()}}), "{\"a\":1,\"b\":2}");
}

TEST(PropsGetValue, UnknownContentIsRefused) {
    for (int const code : {static_cast<int>(0x80000000), 0x400, 0x800, 0x40000001, 0x55})
        EXPECT_EQ(refusal([&] { get_value(ForeignProp(code)); }), "Property has unsupported type") << code;
    EXPECT_EQ(refusal([] {
                  get_value(VPropstruct{{"a", ForeignProp(0x400)}});
              }),
              "Property has unsupported type");
}

TEST(PropsGetValue, AShapeThatDoesNotFitIsAnError) {
    VProparray<int> array(5);
    array.set_size({2, 3}, VProparrayBase::shape_only);
    VEXA_EXPECT_THROWS(get_value(array), std::runtime_error, "Invalid size vector in property array.");
}

TEST(PropsCreateValue, ScalarsTakeTheSmallestOfTheLargeTypes) {
    expect_created("true", true);
    expect_created("-5", -5l);
    expect_created("5", 5l);
    expect_created("9223372036854775807", std::numeric_limits<long>::max());
    expect_created("9223372036854775808", 9223372036854775808ul);
    expect_created("18446744073709551615", 18446744073709551615ul);
    expect_created("2.0", 2l);
    expect_created("-0.0", 0l);
    expect_created("2.5", 2.5);
    expect_created("1e18", 1000000000000000000l);
    expect_created("-9223372036854775808.0", std::numeric_limits<long>::min());
    expect_created("9223372036854775808.0", 9223372036854775808ul);
    expect_created("18446744073709551616.0", 0x1p64);
    expect_created("-1e19", -1e19);
    expect_created("5e-324", 5e-324);
    expect_created("\"NaN\"", VPropstring(L"NaN"));
    expect_created("\"\xC3\xA9\"", VPropstring(L"\u00E9"));
    expect_created("\"\"", VPropstring());
}

TEST(PropsCreateValue, NumbersThatAreNotFiniteStayReals) {
    JSON::Value value = 1.0;
    value.get<JSON::Number>() = JSON::Number(infinity);
    VProp prop;
    create_value(value, prop);
    EXPECT_EQ(prop.get<double>(), infinity);
}

TEST(PropsCreateValue, NullDoesNothing) {
    VProp prop;
    create_value(Value(), prop);
    EXPECT_TRUE(prop.empty());
    prop = 5;
    create_value(Value(), prop);
    EXPECT_EQ(prop.get<int>(), 5);
    VProp const members = created("{\"a\":null}");
    EXPECT_TRUE(members["a"].empty());
}

TEST(PropsCreateValue, ListsAreRowsOfCells) {
    VProp const two = created("[1, 2]");
    EXPECT_EQ(two.get<Cells>().get_size(false), (Shape{1, 2}));
    EXPECT_EQ(two["{0}"].get<long>(), 1);
    EXPECT_EQ(two["{1}"].get<long>(), 2);
    VProp const none = created("[]");
    EXPECT_EQ(none.get<Cells>().get_size(false), (Shape{1, 0}));
    VProp const nested = created("[[1],null,[]]");
    EXPECT_EQ(nested["{0}{0}"].get<long>(), 1);
    EXPECT_TRUE(nested["{1}"].empty());
    EXPECT_EQ(nested["{2}"].get<Cells>().size(), 0u);
}

TEST(PropsCreateValue, MapsAreStructuresInTheOrderOfTheirKeys) {
    VProp const prop = created("{\"b\":1,\"a\":{\"x\":\"y\"}}");
    auto const& members = prop.get<VPropstruct>();
    ASSERT_EQ(members.size(), 2u);
    EXPECT_EQ(members[0].first, "a");
    EXPECT_EQ(members[1].first, "b");
    EXPECT_EQ(prop["a.x"].get<VPropstring>(), L"y");
    EXPECT_EQ(created("{}").get<VPropstruct>().size(), 0u);
}

TEST(PropsCreateValue, MapsOfTwoPartsAreComplex) {
    expect_created("{\"\": 1, \"i\": 2}", Complex(1, 2));
    expect_created("{\"\": \"Infinity\", \"i\": -0.5}", Complex(infinity, -0.5));
    // This part has no exact real, so the map is a structure, in which the empty key names nothing.
    VEXA_EXPECT_THROWS(created("{\"\": 9007199254740993, \"i\": 2}"), std::runtime_error,
                       "Invalid property path '': Path unexpectedly empty.");
    EXPECT_EQ(created("{\"i\": 2}").get<VPropstruct>().size(), 1u);
    expect_created("{\"\": 1, \"i\": 2, \"x\": 3}", Complex(1, 2));
}

TEST(PropsCreateValue, KeysArePaths) {
    EXPECT_EQ(text_of(created("{\"a.b\":1,\"a/c\":2}")), "{\"a\":{\"b\":1,\"c\":2}}");
    EXPECT_EQ(text_of(created("{\"a\":{\"x\":0},\"a.b\":1}")), "{\"a\":{\"b\":1,\"x\":0}}");
    EXPECT_EQ(text_of(created("{\"a{2}\":1}")), "{\"a\":[null,null,1]}");
    EXPECT_EQ(text_of(created("{\"a{1,0}\":1,\"a{1,1}\":[]}")), "{\"a\":[[null,1],[null,[]]]}");
    EXPECT_EQ(text_of(created("{\"s(1).x\":1}")), "{\"s\":[{},{\"x\":1}]}");
    EXPECT_EQ(text_of(created("{\"a\":[7],\"a{1}\":8}")), "{\"a\":[7,8]}");
    EXPECT_EQ(text_of(created("{\"a\":1,\"a.\":\"later\"}")), "{\"a\":\"later\"}");
    EXPECT_EQ(text_of(created("{\"a-b\":1,\"_\":2}")), "{\"_\":2,\"a-b\":1}");
}

TEST(PropsCreateValue, KeysThatAreNoPathsAreRefused) {
    VEXA_EXPECT_THROWS(created("{\"\":1}"), std::runtime_error,
                       "Invalid property path '': Path unexpectedly empty.");
    VEXA_EXPECT_THROWS(created("{\"\xC3\xA9\":1}"), std::runtime_error,
                       "Invalid property path '\xC3\xA9': Path contains invalid struct member name "
                       "'\xC3\xA9'.");
    VEXA_EXPECT_THROWS(created("{\"1a\":1}"), std::runtime_error,
                       "Invalid property path '1a': Path contains invalid struct member name '1a'.");
    VEXA_EXPECT_THROWS(created("[{\"a\":5,\"a.b\":1}]"), std::runtime_error,
                       "Invalid property path 'a.b': Expected a struct.");
    VEXA_EXPECT_THROWS(created("{\"a(0)\":1}"), std::runtime_error,
                       "Invalid property path 'a(0)': Path ends in struct array.");
}

TEST(PropsCreateValue, KeysCannotMakeHugeArrays) {
    VEXA_EXPECT_THROWS(created("{\"a{65536}\":1}"), std::runtime_error,
                       "Invalid property path 'a{65536}': Property array of 65537 elements is too large.");
    VEXA_EXPECT_THROWS(created("{\"a(99999999).x\":1}"), std::runtime_error,
                       "Invalid property path 'a(99999999).x': Property array of 100000000 elements is too "
                       "large.");
    VEXA_EXPECT_THROWS(created("{\"a{1,999}\":1,\"b{1,32767}\":1}"), std::runtime_error,
                       "Invalid property path 'b{1,32767}': Property array of 65536 elements is too large.");
    VEXA_EXPECT_THROWS(created("{\"a{1,999}\":1,\"a{1,32768}\":1}"), std::runtime_error,
                       "Invalid property path 'a{1,32768}': Property array of 65538 elements is too large.");
    EXPECT_EQ(created("{\"a{65535}\":1}").get<VPropstruct>()[0].second.get_arr(true)->size(), 65536u);
    EXPECT_EQ(created("{\"a{1,999}\":1,\"a{1,32767}\":1}")["a"].get_arr(true)->size(), 65536u);
}

TEST(PropsCreateValue, KeysCannotSearchForever) {
    std::string text = "{";
    for (int i = 100000; i < 110000; ++i) text += "\"a.b" + std::to_string(i) + "\":1,";
    text.back() = '}';
    VEXA_EXPECT_THROWS(created(text), std::runtime_error,
                       "Invalid property path 'a.b105792': Too many names to search.");
    JSON::Map wide;
    for (int i = 0; i < 200000; ++i) wide.emplace("b" + std::to_string(i), i);
    VProp prop;
    create_value(wide, prop);
    EXPECT_EQ(prop.get<VPropstruct>().size(), 200000u);
}

TEST(PropsCreateValue, AFailureLeavesTheHandle) {
    VProp prop = 5;
    VEXA_EXPECT_THROWS(create_value(JSON::parse("{\"a\":1,\"a b\":2}"), prop), std::runtime_error,
                       "Invalid property path 'a b': Path contains invalid struct member name 'a b'.");
    EXPECT_EQ(prop.get<int>(), 5);
    create_value(JSON::parse("[]"), prop);
    EXPECT_EQ(prop.get<Cells>().size(), 0u);
}

TEST(PropsExport, WritesIndentedText) {
    EXPECT_EQ(vexa_export_json(VPropstruct{{"b", VProparray<int>{1, 2}}, {"a", VPropstruct()}}),
              "{\n  \"a\" : {},\n  \"b\" : [\n    1,\n    2\n  ]\n}");
    EXPECT_EQ(vexa_export_json(VProp()), "null");
    EXPECT_EQ(vexa_export_json(2.5), "2.5");
}

TEST(PropsImport, ReadsTheFirstValue) {
    EXPECT_EQ(vexa_import_json("// note\n{\"a\": [1, 2.5]} rest")["a{1}"].get<double>(), 2.5);
    EXPECT_EQ(vexa_import_json("12").get<long>(), 12);
    EXPECT_TRUE(vexa_import_json("null").empty());
    EXPECT_EQ(text_of(vexa_import_json("{\"a\":1,\"a\":2}")), "{\"a\":2}");
}

TEST(PropsImport, PassesOnWhatReadingThrows) {
    VEXA_EXPECT_THROWS(vexa_import_json(""), std::runtime_error, "Incomplete Json::Value read.");
    VEXA_EXPECT_THROWS(vexa_import_json("[1"), std::runtime_error, "Incomplete Json::Value read.");
    VEXA_EXPECT_THROWS(vexa_import_json("[1,]"), JSON::Reader::Unexpected,
                       "Unexpected ']' character in value.");
    VEXA_EXPECT_THROWS(vexa_import_json("{\"a b\":1}"), std::runtime_error,
                       "Invalid property path 'a b': Path contains invalid struct member name 'a b'.");
}

constexpr int depth = 100000;

/// Lists and maps in turns, one inside the other.
std::string deep_text() {
    std::string text;
    for (int i = 0; i < depth; ++i) text += i % 2 == 0 ? "[" : "{\"a\":";
    text += "1";
    for (int i = depth; i-- > 0;) text += i % 2 == 0 ? ']' : '}';
    return text;
}

TEST(PropsDepth, DeepTextGoesToAPropertyAndBack) {
    std::string const text = deep_text();
    VProp const prop = vexa_import_json(text);
    EXPECT_EQ(text_of(prop), text);
}

TEST(PropsDepth, DeepNestedValuesAndStructureArraysAreRead) {
    VProp prop = 1;
    for (int i = 0; i < depth; ++i) {
        VProp outer;
        if (i % 2 == 0)
            outer.set<VProp>() = std::move(prop);
        else
            outer.set<VProparray<VPropstruct>>().emplace_back().emplace_back("a", std::move(prop));
        prop = std::move(outer);
    }
    EXPECT_EQ(JSON::dump(get_value(prop), false).size(), depth / 2 * std::string("[{\"a\":}]").size() + 1);
}

TEST(PropsDepth, DeepTreesAreSetAndTellTheWholeWayOfAFailure) {
    VProp prop = vexa_import_json(deep_text());
    Value const value = get_value(prop);
    JSON::set_value(value, prop);
    std::string text = deep_text();
    text.replace(text.find('1'), 1, "\"x\"");
    std::string const message = refusal([&] { JSON::set_value(JSON::parse(text), prop); });
    std::string const step = "Invalid argument for parameter 'a': ";
    EXPECT_EQ(message.size(),
              depth / 2 * (step.size() + 1) + std::string("Property has 64 bit signed integer type").size());
    EXPECT_EQ(message.substr(0, 2 * step.size()), step + step);
}

TEST(PropsDepth, DeepMapsAreMerged) {
    std::string open, close;
    for (int i = 0; i < depth; ++i) open += "{\"a\":", close += '}';
    Value target = JSON::parse(open + "{\"x\":1}" + close);
    JSON::merge(JSON::parse(open + "{\"y\":2}" + close), target, true, false, false);
    EXPECT_EQ(JSON::dump(target, false), open + "{\"x\":1,\"y\":2}" + close);
}

} // namespace
