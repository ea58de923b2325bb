#include <vexa/json/Value.h>

#include <cmath>
#include <limits>
#include <string>
#include <thread>
#include <type_traits>

#include <gtest/gtest.h>

#include <vexa/testing/expect_throws.h>

using namespace JSON;
using namespace std::string_literals;

namespace {

constexpr int great_depth = 1'000'000;
/// Still far beyond what any stack would hold.
constexpr int depth_to_copy = 250'000;

/// Lists and maps in turns, \p depth containers deep, with a scalar beside each container.
Value nested(int depth, bool with_maps, Value innermost = Value()) {
    Value value = std::move(innermost);
    for (int i = 0; i < depth; ++i) {
        if (with_maps && i % 2 == 0) {
            Map map;
            map.emplace("inner", std::move(value));
            map.emplace("beside", Value(i));
            value = Value(std::move(map));
        } else {
            List list;
            list.emplace_back(std::move(value));
            list.emplace_back(i);
            value = Value(std::move(list));
        }
    }
    return value;
}

} // namespace

TEST(JsonValue, TheOrderOfItsAlternativesIsFixed) {
    static_assert(
        std::is_same_v<Value::Variant, std::variant<std::monostate, Boolean, Number, std::string,
                                                    List_Template<Value>, Map_Template<std::string, Value>>>);
    EXPECT_EQ(Value().index(), 0u);
    EXPECT_EQ(Value(nullptr).index(), 0u);
    EXPECT_EQ(Value(std::monostate()).index(), 0u);
    EXPECT_EQ(Value(Boolean(true)).index(), 1u);
    EXPECT_EQ(Value(Number(1)).index(), 2u);
    EXPECT_EQ(Value("text"s).index(), 3u);
    EXPECT_EQ(Value(List()).index(), 4u);
    EXPECT_EQ(Value(Map()).index(), 5u);
}

TEST(JsonValue, ABoolIsABooleanAndNoNumber) {
    EXPECT_TRUE(static_cast<bool>(Value(true).get<Boolean>()));
    EXPECT_EQ(Value(false), Value(Boolean(false)));
    EXPECT_FALSE(Value(true) == Value(1));
    static_assert(!std::is_constructible_v<Number, Boolean>);
    static_assert(!std::is_constructible_v<Boolean, int> && !std::is_constructible_v<Boolean, char const*>);
}

TEST(JsonValue, TextOfAnyTypeIsAString) {
    char const* const pointer = "abc";
    EXPECT_EQ(Value(pointer), Value("abc"s));
    EXPECT_EQ(Value("abc"), Value(std::string_view("abc")));
    EXPECT_EQ(Value(""), Value(std::string()));
    EXPECT_EQ(Value(L"\u00e9"s).get<std::string>(), "\xc3\xa9");
    EXPECT_EQ(Value(static_cast<wchar_t const*>(L"\u00e9")), Value(L"\u00e9"s));
    EXPECT_TRUE(Value(static_cast<char const*>(nullptr)).is_null());
    EXPECT_EQ(Value("a\0b"s).get<std::string>().size(), 3u);
}

TEST(JsonValue, NumbersThatAreNotFiniteAreStrings) {
    double const infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(Value(infinity).get<std::string>(), "Infinity");
    EXPECT_EQ(Value(-infinity).get<std::string>(), "-Infinity");
    EXPECT_EQ(Value(std::nan("")).get<std::string>(), "NaN");
    EXPECT_EQ(Value(-std::nan("")).get<std::string>(), "NaN");
    EXPECT_EQ(Value(std::numeric_limits<float>::infinity()).get<std::string>(), "Infinity");
    EXPECT_EQ(Value(Number(1.0) / Number(0.0)).get<std::string>(), "Infinity");
    EXPECT_EQ(Value(std::numeric_limits<double>::max()).index(), 2u);
}

TEST(JsonValue, PlainAccessToAnotherAlternativeThrows) {
    Value value(1);
    VEXA_EXPECT_THROWS(value.get<std::string>(), std::bad_variant_access, "bad variant access");
    VEXA_EXPECT_THROWS(std::as_const(value).get<List>(), std::bad_variant_access, "bad variant access");
    EXPECT_EQ(value.get_if<Map>(), nullptr);
    EXPECT_EQ(value.get<Number>(), Number(1));
}

TEST(JsonValue, SettingAnAlternativeReplacesTheOldOne) {
    Value value(List(3));
    value.set<std::string>(3u, 'x') += "y";
    EXPECT_EQ(value, Value("xxxy"));
    value.set<Map>();
    EXPECT_EQ(value, Value(Map()));
    value.set<Boolean>(true);
    EXPECT_EQ(value, Value(true));
    value.set<List>(2u, Value("in"));
    value.set<std::string>(value.get<List>().front().get<std::string>());
    EXPECT_EQ(value, Value("in"));
}

TEST(JsonValue, PromotingNullMakesAnEmptyAlternative) {
    EXPECT_TRUE(Value().promote_as<List>().empty());
    EXPECT_TRUE(Value().promote_as<Map>().empty());
    EXPECT_TRUE(Value().promote_as<std::string>().empty());
    Value value;
    value.promote_as<Map>()["a"] = 1;
    value.promote_as<Map>()["b"] = 2;
    EXPECT_EQ(value.get<Map>().size(), 2u);
}

TEST(JsonValue, PromotingAnotherAlternativeThrowsAndChangesNothing) {
    Value value("text");
    VEXA_EXPECT_THROWS(value.promote_as<List>(), Bad_Access, "Type mismatch: found string, expected list");
    VEXA_EXPECT_THROWS(Value(1).promote_as<Map>(), Bad_Access, "Type mismatch: found number, expected map");
    VEXA_EXPECT_THROWS(Value(true).promote_as<Number>(), Bad_Access,
                       "Type mismatch: found boolean, expected number");
    EXPECT_EQ(value, Value("text"));
    EXPECT_THROW(value.promote_as<List>(), std::bad_variant_access);
}

TEST(JsonValue, PushingOntoNullMakesAListOfOne) {
    Value value;
    value.push_back(1);
    EXPECT_EQ(value, Value(List{Value(1)}));
}

TEST(JsonValue, PushingTwiceOntoAScalarMakesAListOfThree) {
    Value value("first");
    value.push_back(2);
    value.emplace_back(Value(3));
    EXPECT_EQ(value, Value(List{Value("first"), Value(2), Value(3)}));
}

TEST(JsonValue, PushingOntoAMapMakesItTheFirstElement) {
    Value value(Map{{"a", Value(1)}});
    value.push_back(nullptr);
    EXPECT_EQ(value, Value(List{Value(Map{{"a", Value(1)}}), Value()}));
}

TEST(JsonValue, PushingAValueOntoItselfAppendsACopy) {
    Value value(1);
    value.push_back(value);
    EXPECT_EQ(value, Value(List{Value(1), Value(1)}));
    value.push_back(value);
    EXPECT_EQ(value.get<List>().back(), Value(List{Value(1), Value(1)}));
    value.push_back(value.get<List>().back());
    EXPECT_EQ(value.get<List>().size(), 4u);
}

TEST(JsonValue, PushingLeavesTheElementsWhereTheyAre) {
    Value value;
    Value* const first = &value.push_back(1);
    for (int i = 0; i < 100; ++i) value.push_back(i);
    EXPECT_EQ(first, &value.get<List>().front());
}

TEST(JsonValue, AMapIsSortedByTheBytesOfItsKeys) {
    Map const map{{"b", Value(1)}, {"a", Value(2)}, {"\xc3\xa9", Value(3)}, {"B", Value(4)}, {"", Value(5)}};
    std::string order;
    for (auto const& [key, value] : map) order += key + ",";
    EXPECT_EQ(order, ",B,a,b,\xc3\xa9,");
}

TEST(JsonValue, CanBeAssignedAPartOfItself) {
    Value value(List{Value(List{Value(1), Value(2)}), Value(3)});
    Value moved = value;
    value = value.get<List>().front();
    EXPECT_EQ(value, Value(List{Value(1), Value(2)}));
    moved = std::move(moved.get<List>().front());
    EXPECT_EQ(moved, value);
    Value& same = value;
    value = same;
    EXPECT_EQ(value, moved);
    value = std::move(same);
    EXPECT_EQ(value, moved);
}

TEST(JsonValue, EqualityLooksAtAlternativeAndContents) {
    EXPECT_EQ(Value(), Value());
    EXPECT_FALSE(Value() == Value(0));
    EXPECT_FALSE(Value(1) == Value("1"));
    EXPECT_FALSE(Value(List()) == Value(Map()));
    EXPECT_EQ(Value(1), Value(1.0));
    EXPECT_EQ(Value(List{Value(1), Value("a")}), Value(List{Value(1u), Value("a")}));
    EXPECT_FALSE(Value(List{Value(1)}) == Value(List{Value(1), Value(1)}));
    EXPECT_FALSE(Value(List{Value(1), Value(2)}) == Value(List{Value(2), Value(1)}));
    EXPECT_FALSE(Value(Map{{"a", Value(1)}}) == Value(Map{{"b", Value(1)}}));
    EXPECT_FALSE(Value(Map{{"a", Value(1)}}) == Value(Map{{"a", Value(2)}}));
    EXPECT_EQ(Value(Map{{"a", Value()}}), Value(Map{{"a", Value()}}));
}

TEST(JsonValue, CopiesAreDeep) {
    Value const original(Map{{"list", Value(List{Value(1), Value(Map{{"a", Value("b")}})})}});
    Value copy = original;
    copy.find("list", 1, "a")->set<std::string>("changed");
    EXPECT_EQ(original.get<std::string>("list", 1, "a"), "b");
    EXPECT_EQ(copy.get<std::string>("list", 1, "a"), "changed");
}

TEST(JsonValue, APathLeadsThroughKeysAndIndices) {
    Value value(Map{{"cells", Value(List{Value(1), Value(Map{{"name", Value("x")}, {"", Value(7)}})})}});
    EXPECT_EQ(value.get<std::string>("cells", 1, "name"), "x");
    EXPECT_EQ(value.get<int>("cells", 1u, ""), 7);
    EXPECT_EQ(value.get<int>("cells", 0), 1);
    EXPECT_EQ(value.get<std::string>(L"cells"s, 1, "name"s), "x");
    EXPECT_EQ(value.get<Value>("cells").index(), 4u);
    EXPECT_EQ(value.find(), &value);
    EXPECT_EQ(value.find("cells", 2), nullptr);
    EXPECT_EQ(value.find("cells", -1), nullptr);
    EXPECT_EQ(value.find("cells", "name"), nullptr);
    EXPECT_EQ(value.find(0), nullptr);
}

TEST(JsonValue, APathThatLeadsNowhereIsNamed) {
    Value const value(Map{{"cells", Value(List{Value(1)})}});
    VEXA_EXPECT_THROWS(value.get<int>("cells", 1, "name"), Bad_Access, "JSON path 'cells/1/name' not found.");
    VEXA_EXPECT_THROWS(value.get<Value>(3), Bad_Access, "JSON path '3' not found.");
    VEXA_EXPECT_THROWS(value.get<Map>("cells"), std::bad_variant_access, "bad variant access");
}

TEST(JsonValue, TheTypeHasAName) {
    EXPECT_EQ(Value().type_name(), "null");
    EXPECT_EQ(Value(true).type_name(), "boolean");
    EXPECT_EQ(Value(1).type_name(), "number");
    EXPECT_EQ(Value("").type_name(), "string");
    EXPECT_EQ(Value(List()).type_name(), "list");
    EXPECT_EQ(Value(Map()).type_name(), "map");
}

TEST(JsonValue, MovingDoesNotThrow) {
    static_assert(std::is_nothrow_move_constructible_v<Value> && std::is_nothrow_move_assignable_v<Value>);
    static_assert(std::is_nothrow_default_constructible_v<Value> && std::is_nothrow_destructible_v<Value>);
}

class DeepJsonValue : public testing::TestWithParam<bool> {};

TEST_P(DeepJsonValue, IsDestroyed) {
    Value value = nested(great_depth, GetParam());
    value = Value(1);
    EXPECT_EQ(value, Value(1));
}

TEST_P(DeepJsonValue, IsDestroyedWithAListThatHoldsIt) {
    List list;
    list.push_back(nested(depth_to_copy, GetParam()));
    list.clear();
    EXPECT_TRUE(list.empty());
}

TEST_P(DeepJsonValue, IsCopiedAndCompared) {
    Value value = nested(depth_to_copy, GetParam());
    Value const copy = value;
    EXPECT_TRUE(copy == value);
    Value* innermost = &value;
    while (innermost->index() >= 4)
        innermost = innermost->index() == 4 ? innermost->find(0) : innermost->find("inner");
    *innermost = Value("other");
    EXPECT_FALSE(copy == value);
}

TEST_P(DeepJsonValue, IsDestroyedInAThread) {
    Value value = nested(depth_to_copy, GetParam());
    std::thread([inside = std::move(value)]() mutable { Value const gone = std::move(inside); }).join();
}

INSTANTIATE_TEST_SUITE_P(Kinds, DeepJsonValue, testing::Bool(),
                         [](auto const& kind) { return std::string(kind.param ? "ListsAndMaps" : "Lists"); });

TEST(JsonValue, AWideTreeBelowTheRecursionLimitIsDestroyedWhole) {
    // Binary trees at the end of a chain: many containers wait at once, with equal keys in different maps.
    Value leaves(1);
    for (int i = 0; i < 12; ++i) {
        Map map{{"left", leaves}, {"right", leaves}};
        leaves = Value(List{Value(std::move(map)), Value("beside")});
    }
    Value const value = nested(200, true, leaves);
    Value const copy = value;
    EXPECT_TRUE(copy == value);
}
