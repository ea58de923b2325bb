#include <vexa/ome/Document.h>

#include <limits>

#include <gtest/gtest.h>

#include <vexa/json/Reader.h>
#include <vexa/json/Writer.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;

namespace {

/// What becomes of an attribute with this text when a document of type T is made, as JSON.
template <typename T>
std::string read(JSON::Value const& attribute) {
    JSON::Value tree;
    tree.promote_as<JSON::Map>()["a"] = attribute;
    JSON::Proxy root(tree);
    Document<T> const document(root, "a");
    return JSON::dump(*document.value(), false);
}

template <typename T>
void expect_refused(char const* text) {
    SCOPED_TRACE(text);
    VEXA_EXPECT_THROWS(read<T>(text), std::bad_variant_access, "bad variant access");
}

} // namespace

static_assert(sizeof(Document<std::string, JSON::Enum<Length>, JSON::Default<Length::nm>>) ==
              sizeof(JSON::Proxy));
static_assert(!std::is_copy_constructible_v<Document<std::string>>);

TEST(OmeDocument, ReadsIntegers) {
    EXPECT_EQ(read<long long>("12"), "12");
    EXPECT_EQ(read<long long>("-9223372036854775808"), "-9223372036854775808");
    EXPECT_EQ(read<long long>("9223372036854775807"), "9223372036854775807");
    EXPECT_EQ(read<long long>(5), "5");
    for (char const* text : {"", "-", "+1", " 1", "1 ", "1.0", "0x1", "9223372036854775808", "Infinity"})
        expect_refused<long long>(text);
}

TEST(OmeDocument, ReadsBooleans) {
    EXPECT_EQ(read<JSON::Boolean>("true"), "true");
    EXPECT_EQ(read<JSON::Boolean>("false"), "false");
    EXPECT_EQ(read<JSON::Boolean>(true), "true");
    for (char const* text : {"", "1", "0", "True", "true "}) expect_refused<JSON::Boolean>(text);
}

TEST(OmeDocument, ReadsReals) {
    EXPECT_EQ(read<JSON::Number>("2.5"), "2.5");
    EXPECT_EQ(read<double>("-1e-3"), "-0.001");
    EXPECT_EQ(read<double>("7"), "7");
    for (char const* text : {"", "+1", " 1", "1 ", "1,5", "0x1p3", "1e999", "one"}) {
        expect_refused<double>(text);
        expect_refused<JSON::Number>(text);
    }
}

TEST(OmeDocument, KeepsNonFiniteRealsAsStrings) {
    EXPECT_EQ(read<JSON::Number>("NaN"), R"("NaN")");
    EXPECT_EQ(read<JSON::Number>("nan"), R"("NaN")");
    EXPECT_EQ(read<double>("Infinity"), R"("Infinity")");
    EXPECT_EQ(read<double>("inf"), R"("Infinity")");
    EXPECT_EQ(read<double>("-Infinity"), R"("-Infinity")");
}

TEST(OmeDocument, LeavesTextAlone) {
    EXPECT_EQ(read<std::string>("12"), R"("12")");
    EXPECT_EQ(read<std::string>(""), R"("")");
}

TEST(OmeDocument, CreatesNothing) {
    JSON::Value tree;
    JSON::Proxy root(tree);
    Document<long long> const document(root, "a");
    EXPECT_FALSE(document);
    EXPECT_TRUE(tree.is_null());
}

TEST(OmeDocument, OfARestrictedEnumerationRefusesOthersWhenItIsRead) {
    JSON::Value tree = JSON::parse(R"({"a":"km","b":"m","c":"league"})");
    JSON::Proxy root(tree);
    using Range = JSON::Enum_Range<Length, Length::dam, Length::hm>;
    VEXA_EXPECT_THROWS((Document<std::string, Range>(root, "a")), std::bad_variant_access,
                       "bad variant access");
    VEXA_EXPECT_THROWS((Document<std::string, Range>(root, "c")), std::bad_variant_access,
                       "bad variant access");
    EXPECT_NO_THROW((Document<std::string, JSON::Enum_Values<Length, 1>>(root, "b")));
    Document<std::string, JSON::Enum<Length>> const plain(root, "c");
    VEXA_EXPECT_THROWS(enumerator_in<Length>(plain), std::bad_variant_access, "bad variant access");
}

TEST(OmeDocument, GivesTheEnumeratorItHolds) {
    JSON::Value tree;
    JSON::Proxy root(tree);
    Document<std::string, JSON::Enum<Time>> unit(root, "unit");
    Document<std::string, JSON::Enum<Time>, JSON::Default<Time::s>> with_default(root, "other");
    EXPECT_EQ(enumerator_in<Time>(unit), std::nullopt);
    EXPECT_EQ(enumerator_in<Time>(with_default), Time::s);
    unit.set(Time::min);
    EXPECT_EQ(enumerator_in<Time>(unit), Time::min);
}

TEST(OmeDocument, GivesAnEnumeratorThatTheSchemaDoesNotKnow) {
    JSON::Value tree;
    JSON::Proxy root(tree);
    Document<std::string, JSON::Enum<Time>> standard(root, "standard"), extended(root, "extended");
    EXPECT_EQ(enumerator_in(standard, Time::d, &extended), std::nullopt);
    standard.set(Time::d);
    EXPECT_EQ(enumerator_in(standard, Time::d, nullptr), Time::d);
    EXPECT_EQ(enumerator_in(standard, Time::d, &extended), Time::d);
    extended.set(Time::ps);
    EXPECT_EQ(enumerator_in(standard, Time::d, &extended), Time::ps);
    EXPECT_EQ(enumerator_in(standard, Time::h, &extended), Time::d);
}

TEST(OmeDocument, GivesTheIntegerItHolds) {
    JSON::Value tree = JSON::parse(R"({"least":"-9223372036854775808"})");
    JSON::Proxy root(tree);
    Document<long long> integer(root, "integer");
    Document<long long, JSON::Default<-1>> with_default(root, "other");
    EXPECT_EQ(integer_in(integer), std::nullopt);
    EXPECT_EQ(integer_in(with_default), -1);
    EXPECT_EQ(integer_in(Document<long long>(root, "least")), std::numeric_limits<long long>::min());
    integer.set(3);
    EXPECT_EQ(integer_in(integer), 3);
    Document<JSON::Number> number(root, "number");
    for (JSON::Value const& none : {JSON::Value(1.5), JSON::Value(1e300),
                                    JSON::Value(std::numeric_limits<unsigned long long>::max())}) {
        number.set(none);
        EXPECT_EQ(integer_in(number), std::nullopt);
    }
    Document<std::string> text(root, "text");
    text.set("3");
    EXPECT_EQ(integer_in(text), std::nullopt);
}

TEST(OmeDocument, GivesAndTakesAnyNumber) {
    JSON::Value tree;
    JSON::Proxy root(tree);
    Document<JSON::Number> number(root, "number");
    EXPECT_EQ(real_in(number), std::nullopt);
    store_real(1.5, number);
    EXPECT_EQ(real_in(number), 1.5);
    store_real(-std::numeric_limits<double>::infinity(), number);
    EXPECT_EQ(JSON::dump(tree, false), R"({"number":"-Infinity"})");
    EXPECT_EQ(real_in(number), -std::numeric_limits<double>::infinity());
    Document<std::string> text(root, "text");
    text.set("1");
    EXPECT_EQ(real_in(text), std::nullopt);
}

TEST(OmeDocument, HoldsJsonAsText) {
    JSON::Value tree;
    JSON::Proxy root(tree);
    Document<std::string> text(root, "text");
    EXPECT_TRUE(JSON_in(text).is_null());
    store_JSON(JSON::parse(R"({"a": [1, 2]})"), text);
    EXPECT_EQ(*text.value(), JSON::Value(R"({"a":[1,2]})"));
    EXPECT_EQ(JSON_in(text), JSON::parse(R"({"a":[1,2]})"));
}
