#include <vexa/json/Schema.h>

#include <limits>
#include <type_traits>

#include <gtest/gtest.h>

#include <vexa/json/Reader.h>
#include <vexa/json/Writer.h>
#include <vexa/testing/expect_throws.h>

using namespace JSON;

namespace {

enum class Kind { camera, counter, other, array };
enum class Twice { one, two };
enum class Shared { one, two };

std::string text(Value const& value) { return dump(value, false); }

constexpr char const* bad = "bad variant access";

} // namespace

template <>
struct JSON::String_Cast<Kind, 0> : JSON::Enum_Cast<Kind> {
    static Map const& map() {
        static Map const names{{Kind::camera, "Camera"},
                               {Kind::counter, "Counter"},
                               {Kind::other, "Other"},
                               {Kind::array, "Array"}};
        return names;
    }
};
template <>
struct JSON::String_Cast<Twice, 0> : JSON::Enum_Cast<Twice> {
    static Map const& map() {
        static Map const names{{Twice::one, "one"}, {Twice::two, "two"}, {Twice::two, "three"}};
        return names;
    }
};
template <>
struct JSON::String_Cast<Shared, 0> : JSON::Enum_Cast<Shared> {
    static Map const& map() {
        static Map const names{{Shared::one, "one"}, {Shared::two, "one"}};
        return names;
    }
};

static_assert(sizeof(Document<std::string, Enum_Range<Kind, 0, 2>, Default<Kind::other>>) == sizeof(Proxy));
static_assert(sizeof(Document<List, Item<Proxy>, Max_Items<1>>) == sizeof(Proxy));
static_assert(std::is_base_of_v<Keyword, Max_Items<1>> && std::is_base_of_v<Keyword, Default<1>>);
static_assert(std::is_base_of_v<Keyword, Enum<Kind>> && !std::is_base_of_v<Keyword, Item<Proxy>>);
static_assert(std::is_base_of_v<Item<>, Item<Proxy>> && std::is_base_of_v<Default<>, Default<1>>);
static_assert(std::is_base_of_v<Enum<Kind>, Enum_Range<Kind, 0, 2>>);
static_assert(std::is_base_of_v<Enum<Kind>, Enum_Values<Kind, 0, 2>>);
static_assert(std::is_base_of_v<String_Cast<Kind, 0>, Enum<Kind>>);
static_assert(std::is_empty_v<Schema<std::string, Enum<Kind>>>);
static_assert(!std::is_copy_constructible_v<Document<Map>>);

/// The rows of the table of types, each with one value of each kind.
template <typename T>
std::string accepted() {
    std::string result;
    for (Value const& value : {Value(), Value(true), Value(1), Value("x"), Value(List()), Value(Map())}) {
        Value tree;
        Proxy root(tree);
        Document<T> document(root, "a");
        try {
            document.set(value);
            result += std::string(value.type_name()) + " ";
            EXPECT_EQ(*document.value(), value);
        } catch (std::bad_variant_access const& refusal) {
            EXPECT_STREQ(refusal.what(), bad);
            EXPECT_TRUE(tree.is_null());
        }
    }
    return result;
}

TEST(JsonDocument, TakesItsOwnAlternativeOnly) {
    EXPECT_EQ(accepted<Map>(), "map ");
    EXPECT_EQ(accepted<List>(), "list ");
    EXPECT_EQ(accepted<std::string>(), "string ");
    EXPECT_EQ(accepted<Number>(), "number ");
    EXPECT_EQ(accepted<long long>(), "number ");
    EXPECT_EQ(accepted<double>(), "number ");
    EXPECT_EQ(accepted<Boolean>(), "boolean ");
}

TEST(JsonDocument, OfIntegersTakesWholeNumbersInRange) {
    Value tree;
    Proxy root(tree);
    Document<long long> document(root, "a");
    VEXA_EXPECT_THROWS(document.set(1.5), std::bad_variant_access, bad);
    VEXA_EXPECT_THROWS(document.set(9223372036854775808.0), std::bad_variant_access, bad);
    VEXA_EXPECT_THROWS(document.set(9223372036854775808ull), std::bad_variant_access, bad);
    VEXA_EXPECT_THROWS(document.set(std::numeric_limits<double>::infinity()), std::bad_variant_access, bad);
    EXPECT_TRUE(tree.is_null());
    document.set(2.0);
    EXPECT_EQ(text(tree), R"({"a":2})");
    document.set(-9223372036854775808.0);
    EXPECT_EQ(document.value()->get<long long>(), std::numeric_limits<long long>::min());
    document.set(9223372036854775807ull);
    EXPECT_EQ(document.value()->get<long long>(), std::numeric_limits<long long>::max());
}

TEST(JsonDocument, RefusesAValueWithoutContent) {
    struct Failing {
        operator Map() const { throw 1; }
    };
    Value broken;
    try {
        broken.variant().emplace<Map>(Failing());
    } catch (int) {
    }
    ASSERT_TRUE(broken.variant().valueless_by_exception());
    Value tree;
    Proxy root(tree);
    Document<std::string> document(root, "a");
    VEXA_EXPECT_THROWS(document.set(broken), std::bad_variant_access, "std::visit: variant is valueless");
}

TEST(JsonDocument, WithADefaultAlwaysHasAValueAndNeverWritesIt) {
    Value tree;
    Proxy root(tree);
    Document<Boolean, Default<false>> flag(root, "flag");
    Document<Number, Default<-1>> number(root, "number");
    Document<std::string, Enum<Kind>, Default<Kind::other>> kind(root, "kind");
    EXPECT_TRUE(flag);
    EXPECT_TRUE(number.has_value());
    EXPECT_EQ(*flag.value(), Value(false));
    EXPECT_EQ(*number.value(), Value(-1));
    EXPECT_EQ(*kind.value(), Value("Other"));
    EXPECT_EQ(kind.value_or(Value("none")), Value("Other"));
    EXPECT_TRUE(tree.is_null());
    number.set(5);
    EXPECT_EQ(*number.value(), Value(5));
    EXPECT_EQ(text(tree), R"({"number":5})");
    number.reset();
    EXPECT_EQ(*number.value(), Value(-1));
    EXPECT_EQ(text(tree), "{}");
}

TEST(JsonDocument, AssignmentDoesNotCopyADefault) {
    Value tree = parse(R"({"a":1})");
    Proxy root(tree);
    Document<Number, Default<-1>> a(root, "a"), b(root, "b");
    a = b;
    EXPECT_EQ(text(tree), "{}");
    b.set(2);
    a = b;
    EXPECT_EQ(text(tree), R"({"a":2,"b":2})");
}

TEST(JsonDocument, AssignmentIsChecked) {
    Value tree = parse(R"({"a":1,"b":"text"})");
    Proxy root(tree), text_view(root, "b");
    Document<Number> a(root, "a");
    VEXA_EXPECT_THROWS(a.Proxy::operator=(text_view), std::bad_variant_access, bad);
    EXPECT_EQ(text(tree), R"({"a":1,"b":"text"})");
}

TEST(JsonDocument, OfARangeOfEnumeratorsRefusesTheOthers) {
    Value tree;
    Proxy root(tree);
    Document<std::string, Enum_Range<Kind, 0, 2>> kind(root, "kind");
    VEXA_EXPECT_THROWS(kind.set("Array"), std::bad_variant_access, bad);
    VEXA_EXPECT_THROWS(kind.set("Lens"), std::bad_variant_access, bad);
    VEXA_EXPECT_THROWS(kind.set(2), std::bad_variant_access, bad);
    EXPECT_TRUE(tree.is_null());
    kind.set("Camera");
    kind.set("Other");
    EXPECT_EQ(kind.value()->get<Kind>(), Kind::other);
}

TEST(JsonDocument, OfSomeEnumeratorsRefusesTheOthers) {
    Value tree;
    Proxy root(tree);
    Document<std::string, Enum_Values<Kind, 3, 0>> kind(root, "kind");
    VEXA_EXPECT_THROWS(kind.set("Counter"), std::bad_variant_access, bad);
    kind.set("Array");
    kind.set(Kind::camera);
    EXPECT_EQ(text(tree), R"({"kind":"Camera"})");
}

TEST(JsonDocument, OfAPlainEnumerationTakesAnyStringAndFailsWhenItIsRead) {
    Value tree;
    Proxy root(tree);
    Document<std::string, Enum<Kind>> kind(root, "kind");
    kind.set("Lens");
    EXPECT_EQ(text(tree), R"({"kind":"Lens"})");
    VEXA_EXPECT_THROWS(kind.value()->get<Kind>(), std::bad_variant_access, bad);
    VEXA_EXPECT_THROWS(kind.set(1), std::bad_variant_access, bad);
}

TEST(JsonDocument, SetOfAListDoesNotCountItsEntries) {
    Value tree;
    Proxy root(tree);
    Document<List, Item<Proxy>, Max_Items<1>> list(root, "list");
    list.set(parse("[1,2]"));
    EXPECT_EQ(text(tree), R"({"list":[1,2]})");
}

TEST(EnumCast, TranslatesBothWays) {
    EXPECT_EQ(Value(Kind::counter), Value("Counter"));
    EXPECT_EQ(Value("Array").get<Kind>(), Kind::array);
    EXPECT_EQ(String_Cast<Kind>::to_if("Other"), Kind::other);
    EXPECT_EQ(String_Cast<Kind>::to_if("other"), std::nullopt);
    EXPECT_EQ(String_Cast<Kind>::map().names().size(), 4u);
    EXPECT_EQ(String_Cast<Kind>::map().enumerators().at("Camera"), Kind::camera);
}

TEST(EnumCast, FailsForWhatHasNoName) {
    VEXA_EXPECT_THROWS(Value(static_cast<Kind>(4)), std::bad_variant_access, bad);
    VEXA_EXPECT_THROWS(Value("Lens").get<Kind>(), std::bad_variant_access, bad);
    VEXA_EXPECT_THROWS(Value(1).get<Kind>(), std::bad_variant_access, bad);
}

TEST(EnumCast, WithARepeatedEnumeratorFailsOnFirstUse) {
    VEXA_EXPECT_THROWS(String_Cast<Twice>::map(), std::invalid_argument,
                       "Duplicate enumeration key '1' for string value 'three'.");
}

TEST(EnumCast, WithARepeatedNameFailsOnFirstUse) {
    VEXA_EXPECT_THROWS(Value(Shared::one), std::invalid_argument,
                       "Duplicate string key 'one' for enumeration value '1'.");
}
