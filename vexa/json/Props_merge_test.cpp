#include <gtest/gtest.h>

#include <vexa/json/Props.h>
#include <vexa/json/Reader.h>
#include <vexa/testing/expect_throws.h>

namespace {

using JSON::Value;

constexpr bool add = true, append = true, replace = true;

/// The text of \p target after \p source was merged into it.
std::string merged(std::string const& source, std::string const& target, bool adds, bool appends,
                   bool replaces) {
    Value result = JSON::parse(target);
    JSON::merge(JSON::parse(source), result, adds, appends, replaces);
    return JSON::dump(result, false);
}

TEST(PropsMerge, ValuesThatMeetAreReplacedOrRefused) {
    EXPECT_EQ(merged("{\"a\":1}", "{\"a\":2}", !add, !append, replace), "{\"a\":1}");
    VEXA_EXPECT_THROWS(merged("{\"a\":1}", "{\"a\":2}", add, append, !replace), std::invalid_argument,
                       "Cannot merge '1' into '2'.");
    VEXA_EXPECT_THROWS(merged("2", "2", add, append, !replace), std::invalid_argument,
                       "Cannot merge '2' into '2'.");
    VEXA_EXPECT_THROWS(merged("{\"b\":[1]}", "\"text\"", add, append, !replace), std::invalid_argument,
                       "Cannot merge '{\"b\":[1]}' into '\"text\"'.");
    VEXA_EXPECT_THROWS(merged("[{}]", "{}", add, append, !replace), std::invalid_argument,
                       "Cannot merge '[{}]' into '{}'.");
    EXPECT_EQ(merged("[1]", "{\"a\":2}", !add, append, replace), "[1]");
    EXPECT_EQ(merged("{\"a\":{\"b\":1}}", "{\"a\":5}", !add, append, replace), "{\"a\":{\"b\":1}}");
}

TEST(PropsMerge, NullInTheSourceChangesNothing) {
    EXPECT_EQ(merged("null", "5", add, append, replace), "5");
    EXPECT_EQ(merged("null", "null", add, append, replace), "null");
    EXPECT_EQ(merged("{\"a\":null}", "{\"a\":1}", add, append, replace), "{\"a\":1}");
    EXPECT_EQ(merged("{\"a\":null}", "{}", add, append, replace), "{\"a\":null}");
}

TEST(PropsMerge, NullInTheTargetIsReplacedOrStays) {
    EXPECT_EQ(merged("{\"a\":1}", "null", !add, !append, replace), "{\"a\":1}");
    EXPECT_EQ(merged("{\"a\":1}", "null", add, append, !replace), "null");
    EXPECT_EQ(merged("{\"a\":[1]}", "{\"a\":null}", add, append, !replace), "{\"a\":null}");
}

TEST(PropsMerge, NewKeysAreAddedOrDropped) {
    EXPECT_EQ(merged("{\"a\":{\"x\":1},\"c\":3}", "{\"a\":{},\"b\":2}", add, !append, !replace),
              "{\"a\":{\"x\":1},\"b\":2,\"c\":3}");
    EXPECT_EQ(merged("{\"a\":{\"x\":1},\"c\":3}", "{\"a\":{},\"b\":2}", !add, append, replace),
              "{\"a\":{},\"b\":2}");
    EXPECT_EQ(merged("{\"\":1,\"\xC3\xA9\":2}", "{}", add, !append, !replace), "{\"\":1,\"\xC3\xA9\":2}");
    EXPECT_EQ(merged("{}", "{\"a\":1}", add, append, replace), "{\"a\":1}");
}

TEST(PropsMerge, ListsAreAppendedReplacedOrRefused) {
    EXPECT_EQ(merged("[1]", "[2]", !add, append, replace), "[2,1]");
    EXPECT_EQ(merged("[1]", "[2]", !add, append, !replace), "[2,1]");
    EXPECT_EQ(merged("[]", "[]", !add, append, !replace), "[]");
    EXPECT_EQ(merged("{\"a\":[null,{}]}", "{\"a\":[1]}", !add, append, !replace), "{\"a\":[1,null,{}]}");
    EXPECT_EQ(merged("[1]", "[2]", add, !append, replace), "[1]");
    VEXA_EXPECT_THROWS(merged("[1]", "[2]", add, !append, !replace), std::invalid_argument,
                       "Cannot merge '[1]' into '[2]'.");
}

TEST(PropsMerge, WhatWasMergedBeforeAFailureStays) {
    Value target = JSON::parse("{\"b\":1,\"d\":{}}");
    EXPECT_THROW(JSON::merge(JSON::parse("{\"a\":1,\"b\":2,\"c\":3}"), target, add, append, !replace),
                 std::invalid_argument);
    EXPECT_EQ(JSON::dump(target, false), "{\"a\":1,\"b\":1,\"d\":{}}");
}

TEST(PropsMerge, AValueMergesWithItselfAndWithItsParts) {
    Value list = JSON::parse("[1,[2]]");
    JSON::merge(list, list, add, append, !replace);
    EXPECT_EQ(JSON::dump(list, false), "[1,[2],1,[2]]");
    Value map = JSON::parse("{\"a\":{\"b\":1}}");
    JSON::merge(map, map, add, append, replace);
    EXPECT_EQ(JSON::dump(map, false), "{\"a\":{\"b\":1}}");
    JSON::merge(map, *map.find("a"), add, append, replace);
    EXPECT_EQ(JSON::dump(map, false), "{\"a\":{\"a\":{\"b\":1},\"b\":1}}");
    JSON::merge(*map.find("a", "a"), *map.find("a", "b"), add, append, replace);
    EXPECT_EQ(JSON::dump(map, false), "{\"a\":{\"a\":{\"b\":1},\"b\":{\"b\":1}}}");
    JSON::merge(*map.find("a"), map, !add, append, replace);
    EXPECT_EQ(JSON::dump(map, false), "{\"a\":{\"a\":{\"b\":1},\"b\":1}}");
    map = JSON::parse("{\"a\":{\"a\":1,\"b\":2}}");
    JSON::merge(*map.find("a"), map, add, append, replace);
    EXPECT_EQ(JSON::dump(map, false), "{\"a\":1,\"b\":2}");
}

} // namespace
