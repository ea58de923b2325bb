#include "text.h"

#include <limits>

#include <gmock/gmock.h>

#include <vexa/foundation/types.h>
#include <vexa/json/Writer.h>

#include "console.h"
#include "image_testing.h"

namespace Vexa::tool {
namespace {

using ::testing::ElementsAre;

TEST(Printable, ControlCharactersAndBrokenUtf8AreEscaped) {
    EXPECT_EQ(printable("plain \xC3\xA4 \xE2\x82\xAC \xF0\x9F\x94\xAC"),
              "plain \xC3\xA4 \xE2\x82\xAC \xF0\x9F\x94\xAC");
    EXPECT_EQ(printable("a\tb\x1b\x7f"), "a\\x09b\\x1b\\x7f");
    EXPECT_EQ(printable("\xC2\x9B"), "\\xc2\\x9b");
    EXPECT_EQ(printable("\xFF\xC3"), "\\xff\\xc3");
    EXPECT_EQ(printable("\xC0\x80"), "\\xc0\\x80");
    EXPECT_EQ(printable("\xED\xA0\x80"), "\\xed\\xa0\\x80");
    EXPECT_EQ(printable("\xF4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");
    EXPECT_EQ(printable("\xE0\x80\x80\xF0\x80\x80\x80"), "\\xe0\\x80\\x80\\xf0\\x80\\x80\\x80");
}

TEST(AsUtf8, BrokenBytesAreReplaced) {
    EXPECT_EQ(as_utf8("a\xFF\n"), "a\xEF\xBF\xBD\n");
    EXPECT_EQ(as_utf8("\xC3\xA4"), "\xC3\xA4");
}

TEST(AsXml, WhatXmlDoesNotHaveIsReplaced) {
    EXPECT_EQ(as_xml("a\t\n\r \x7f\xC2\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBD\xF4\x8F\xBF\xBF"),
              "a\t\n\r \x7f\xC2\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBD\xF4\x8F\xBF\xBF");
    EXPECT_EQ(as_xml(std::string_view("\0\x1f", 2)), "\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(as_xml("\xEF\xBF\xBE\xEF\xBF\xBF"), "\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(as_xml("1 \xB5m"), "1 \xEF\xBF\xBDm");
    EXPECT_EQ(as_xml(""), "");
}

TEST(ShapeText, SlowestAxisComesFirst) {
    EXPECT_EQ(shape_text({512, 256, 64}), "64 x 256 x 512");
    EXPECT_EQ(shape_text({}), "-");
    EXPECT_THAT(parse_shape("64, 256,512"), ElementsAre(512, 256, 64));
    EXPECT_THAT(parse_shape("7"), ElementsAre(7));
    for (char const* text :
         {"", ",", "1,", "a", "1 2", "-1", "1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1", "99999999999999999999"})
        EXPECT_THROW(parse_shape(text), Failure) << text;
}

TEST(TypeText, NamesAndCodes) {
    EXPECT_EQ(type_text(types::uint16), "uint16");
    EXPECT_EQ(type_text(types::rgb_triple), "0x400");
    EXPECT_EQ(type_text(1 << 25), "0x2000000");
    EXPECT_EQ(type_from_text("single"), types::single);
    EXPECT_EQ(type_from_text("float32"), types::single);
    EXPECT_EQ(type_from_text("complex128"), types::cplx_double);
    EXPECT_EQ(type_from_text("nothing"), 0);
}

TEST(UnitText, OneIsEmpty) {
    EXPECT_EQ(unit_text(units::RuntimeValue()), "");
    units::RuntimeValue unit;
    unit.set_value("m", 1.0);
    EXPECT_EQ(unit_text(unit), "m");
    unit.valid = false;
    EXPECT_EQ(unit_text(unit), "invalid");
}

template <typename T>
std::string text_of(std::vector<T> const& numbers, int type) {
    return sample_text(numbers.data(), type) + " " + JSON::dump(sample_json(numbers.data(), type), false);
}

TEST(Samples, EveryTypeHasATextAndAJson) {
    EXPECT_EQ(text_of<std::uint8_t>({200}, types::uint8), "200 200");
    EXPECT_EQ(text_of<std::int8_t>({-5}, types::int8), "-5 -5");
    EXPECT_EQ(text_of<std::uint64_t>({18446744073709551615ull}, types::uint64),
              "18446744073709551615 18446744073709551615");
    EXPECT_EQ(text_of<std::int64_t>({std::numeric_limits<std::int64_t>::min()}, types::int64),
              "-9223372036854775808 -9223372036854775808");
    EXPECT_EQ(text_of<float>({0.1f}, types::single), "0.1 0.1");
    EXPECT_EQ(text_of<double>({-std::numeric_limits<double>::infinity()}, types::double_),
              "-inf \"-Infinity\"");
    EXPECT_EQ(sample_text(std::vector<double>{1.5, -2.0}.data(), types::cplx_double), "1.5-2j");
    EXPECT_EQ(sample_text(std::vector<float>{0.f, 2.25f}.data(), types::cplx_single), "0+2.25j");
    EXPECT_EQ(sample_text("\1\2\3", types::rgb_triple), "1/2/3");
    EXPECT_EQ(sample_json("\1\2\3", types::rgb_triple).get<JSON::List>().size(), 3u);
    EXPECT_EQ(sample_text("\1", types::logical), "1");
}

TEST(Samples, ValueOfAComplexNumberIsItsMagnitude) {
    EXPECT_EQ(sample_value(std::vector<double>{3, 4}.data(), types::cplx_double), 5.0);
    EXPECT_EQ(sample_value("\1\2\3", types::rgb_triple), 2.0);
    EXPECT_EQ(sample_value("\xFF", types::int8), -1.0);
}

TEST(ByteText, HasThreeDigits) {
    EXPECT_EQ(byte_text(0), "0 B");
    EXPECT_EQ(byte_text(1023), "1023 B");
    EXPECT_EQ(byte_text(1024), "1.00 KiB");
    EXPECT_EQ(byte_text(10 * 1024), "10.0 KiB");
    EXPECT_EQ(byte_text(100 * 1024), "100 KiB");
    EXPECT_EQ(byte_text(1 << 20), "1.00 MiB");
    EXPECT_EQ(byte_text(std::numeric_limits<std::uint64_t>::max()), "16.0 EiB");
}

} // namespace
} // namespace Vexa::tool
