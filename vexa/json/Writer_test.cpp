#include <vexa/json/Writer.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <sstream>

#include <gtest/gtest.h>

#include <vexa/json/Reader.h>

using namespace JSON;
using namespace std::string_literals;

namespace {

std::string compact(Value const& value) { return dump(value, false); }

Value example() { return Value(Map{{"b", Value(List{Value(1), Value(2)})}, {"a", Value(Map())}}); }

} // namespace

TEST(JsonWriter, ScalarsInCompactForm) {
    EXPECT_EQ(compact(Value()), "null");
    EXPECT_EQ(compact(Value(true)), "true");
    EXPECT_EQ(compact(Value(false)), "false");
    EXPECT_EQ(compact(Value("text")), "\"text\"");
    EXPECT_EQ(compact(Value(-5)), "-5");
    EXPECT_EQ(compact(Value(std::numeric_limits<unsigned long long>::max())), "18446744073709551615");
    EXPECT_EQ(compact(Value(std::numeric_limits<long long>::min())), "-9223372036854775808");
}

TEST(JsonWriter, RealsAreTheShortestTextThatReadsBack) {
    EXPECT_EQ(compact(Value(2.0)), "2");
    EXPECT_EQ(compact(Value(0.1)), "0.1");
    EXPECT_EQ(compact(Value(-2.5)), "-2.5");
    EXPECT_EQ(compact(Value(-0.0)), "-0");
    EXPECT_EQ(compact(Value(1e100)), "1e+100");
    EXPECT_EQ(compact(Value(1e5)), "1e+05");
    EXPECT_EQ(compact(Value(5e-324)), "5e-324");
    EXPECT_EQ(compact(Value(1.7976931348623157e308)), "1.7976931348623157e+308");
    EXPECT_EQ(compact(Value(9007199254740993.0)), "9007199254740992");
}

TEST(JsonWriter, WholeRealsBeyondTheIntegersHaveAnExponent) {
    EXPECT_EQ(compact(Value(0x1p64)), "1.8446744073709552e+19");
    EXPECT_EQ(compact(Value(-0x1p64)), "-1.8446744073709552e+19");
    EXPECT_EQ(compact(Value(0x1p63)), "9223372036854775808");
    EXPECT_EQ(compact(Value(-0x1p63)), "-9223372036854775808");
    for (double const real : {0x1p63, -0x1p63, 0x1p64, -0x1p64, std::nextafter(0x1p64, 0),
                              std::nextafter(-0x1p63, -1e30), 123456789012345678901.0, 1e22, -1e22})
        EXPECT_EQ(parse(compact(Value(real))), Value(real)) << real;
}

TEST(JsonWriter, RealsReadBackAsTheSameValue) {
    constexpr unsigned seed = 7;
    std::mt19937_64 random(seed);
    for (int i = 0; i < 20'000; ++i) {
        double const real = std::bit_cast<double>(std::uint64_t{random()});
        if (!std::isfinite(real)) continue;
        EXPECT_EQ(parse(compact(Value(real))), Value(real)) << real;
    }
}

TEST(JsonWriter, NumbersThatBecameInfiniteInPlaceAreWrittenAsStrings) {
    Value value(1.0);
    value.get<Number>() /= Number(0.0);
    EXPECT_EQ(compact(value), "\"Infinity\"");
    value.get<Number>() *= -1;
    EXPECT_EQ(compact(value), "\"-Infinity\"");
    value.get<Number>() *= 0;
    EXPECT_EQ(compact(value), "\"NaN\"");
}

TEST(JsonWriter, StringsAreEscapedWhereTheyMustBe) {
    EXPECT_EQ(compact(Value("\"\\/")), "\"\\\"\\\\/\"");
    EXPECT_EQ(compact(Value("\b\t\n\f\r")), "\"\\b\\t\\n\\f\\r\"");
    EXPECT_EQ(compact(Value("\0\x01\x0b\x1f\x20"s)), "\"\\u0000\\u0001\\u000b\\u001f \"");
    EXPECT_EQ(compact(Value("\x7f\x80\xc3\xa9\xff")), "\"\x7f\x80\xc3\xa9\xff\"");
    EXPECT_EQ(compact(Value("")), "\"\"");
    EXPECT_EQ(compact(Value(Map{{"a\"b\n", Value(1)}})), "{\"a\\\"b\\n\":1}");
}

TEST(JsonWriter, EveryByteReadsBackAtEveryPlaceOfAString) {
    for (int byte = 0; byte < 256; ++byte) {
        for (std::size_t before = 0; before < 18; ++before) {
            std::string text(before, 'a');
            text += static_cast<char>(byte);
            text += "\xa0zzzzzzzzzzz";
            EXPECT_EQ(parse(compact(Value(text))), Value(text)) << byte << " after " << before;
        }
    }
}

TEST(JsonWriter, TheTwoFormsOfContainers) {
    EXPECT_EQ(dump(example(), false), "{\"a\":{},\"b\":[1,2]}");
    EXPECT_EQ(dump(example(), true), "{\n  \"a\" : {},\n  \"b\" : [\n    1,\n    2\n  ]\n}");
    EXPECT_EQ(dump(Value(List()), true), "[]");
    EXPECT_EQ(dump(Value(Map()), false), "{}");
    EXPECT_EQ(dump(Value(List{Value(List()), Value(Map{{"", Value()}})}), true),
              "[\n  [],\n  {\n    \"\" : null\n  }\n]");
    EXPECT_EQ(dump(Value(1), true), "1");
}

TEST(JsonWriter, AStreamFlagChoosesTheForm) {
    std::ostringstream out;
    out << example();
    EXPECT_EQ(out.str(), dump(example(), false));
    out.str("");
    out << std::noskipws << example();
    EXPECT_EQ(out.str(), dump(example(), true));
    out.str("");
    out << std::skipws << example();
    EXPECT_EQ(out.str(), dump(example(), false));
}

TEST(JsonWriter, WritesPartsAtItsIndentation) {
    std::ostringstream out;
    Writer writer(out, 4, false);
    writer(List{Value(1), Value(Map{{"a", Value(2)}})});
    EXPECT_EQ(out.str(), "[\n      1,\n      {\n        \"a\" : 2\n      }\n    ]");
    EXPECT_EQ(writer.indent, 4);
    out.str("");
    writer(Map{{"a", Value(2)}});
    writer("x\ny"s);
    EXPECT_EQ(out.str(), "{\n      \"a\" : 2\n    }\"x\\ny\"");
    out.str("");
    Writer(out, 0, true)(List{Value(1), Value("b")});
    EXPECT_EQ(out.str(), "[1,\"b\"]");
}

TEST(JsonWriter, LongTextsGoOutInPiecesAndWhole) {
    List list;
    for (int i = 0; i < 30'000; ++i) list.emplace_back(i);
    list.emplace_back(std::string(100'000, '\n'));
    Value const value(std::move(list));
    std::ostringstream out;
    out << value;
    EXPECT_TRUE(out.str() == dump(value, false));
    EXPECT_TRUE(parse(out.str()) == value);
}

TEST(JsonWriter, AStreamThatFailsStaysFailed) {
    std::ostringstream out;
    out.setstate(std::ios_base::failbit);
    out << example();
    EXPECT_TRUE(out.fail());
    EXPECT_EQ(out.str(), "");
}

TEST(JsonWriter, ReadingBackBothFormsGivesTheSameValue) {
    Value const value(List{Value(Map{{"x", Value(1.5)}, {"y", Value(List{Value(), Value(true)})}}),
                           Value("\xf0\x9f\x98\x80"), Value(std::numeric_limits<double>::infinity()),
                           Value(3.0)});
    EXPECT_EQ(parse(dump(value, true)), value);
    EXPECT_EQ(parse(dump(value, false)), value);
}
