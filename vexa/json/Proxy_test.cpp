#include <vexa/json/Proxy.h>

#include <iterator>
#include <stdexcept>
#include <type_traits>

#include <gtest/gtest.h>

#include <vexa/json/Reader.h>
#include <vexa/json/Writer.h>
#include <vexa/testing/expect_throws.h>

using namespace JSON;

namespace {

/// Counts its signals.
class Signalling : public Proxy {
public:
    using Proxy::Proxy;
    void signal() override { ++signals; }

    int signals = 0;
};

std::string text(Value const& value) { return dump(value, false); }

List::iterator entry(Value& list, int index) { return std::next(list.get<List>().begin(), index); }

} // namespace

static_assert(!std::is_copy_constructible_v<Proxy> && !std::is_move_constructible_v<Proxy>);
static_assert(std::has_virtual_destructor_v<Proxy>);

TEST(Proxy, SeesWhatTheTreeHolds) {
    Value tree = parse(R"({"a":{"b":[1,2]}})");
    Proxy root(tree), a(root, "a"), b(a, "b"),
        second(b, entry(tree.get<Map>().at("a").get<Map>().at("b"), 1));
    EXPECT_EQ(root.value(), &tree);
    EXPECT_TRUE(a);
    EXPECT_TRUE(b.has_value());
    EXPECT_EQ(*second.value(), Value(2));
    EXPECT_EQ(second.parent(), &b);
    EXPECT_EQ(&second.root(), &root);
    EXPECT_EQ(&std::as_const(second).root(), &root);
    EXPECT_EQ(root.parent(), nullptr);
    EXPECT_STREQ(a.key(), "a");
    EXPECT_EQ(second.key(), nullptr);
    EXPECT_TRUE(second.position());
    EXPECT_FALSE(b.position());
}

TEST(Proxy, OnAMissingKeyCreatesNothingUntilAWrite) {
    Value tree;
    Proxy root(tree), a(root, "a"), b(a, ""), c(b, std::nullopt), d(c, "d");
    EXPECT_FALSE(d);
    EXPECT_FALSE(d.has_value());
    EXPECT_EQ(d.value(), nullptr);
    EXPECT_EQ(d.value_or(Value("none")), Value("none"));
    EXPECT_EQ(text(tree), "null");
    d.set(1);
    EXPECT_EQ(text(tree), R"({"a":{"":[{"d":1}]}})");
    EXPECT_EQ(*d.value(), Value(1));
    EXPECT_EQ(d.value_or(Value("none")), Value(1));
    EXPECT_TRUE(a.has_value() && b.has_value() && c.has_value());
    EXPECT_TRUE(c.position());
}

TEST(Proxy, AppendsAnEntryThatDoesNotExist) {
    Value tree = parse("[1]");
    Proxy root(tree), next(root, std::nullopt);
    next.get_value();
    EXPECT_EQ(text(tree), "[1,null]");
    next.set(2);
    next.set(3);
    EXPECT_EQ(text(tree), "[1,3]");
}

TEST(Proxy, CannotWriteThroughAnotherKindOfValue) {
    Value tree = parse(R"({"a":"text"})");
    Proxy root(tree), a(root, "a"), below(a, "b"), entry(a, std::nullopt);
    VEXA_EXPECT_THROWS(below.set(1), Bad_Access, "Type mismatch: found string, expected map");
    VEXA_EXPECT_THROWS(entry.set(1), Bad_Access, "Type mismatch: found string, expected list");
    EXPECT_EQ(text(tree), R"({"a":"text"})");
    EXPECT_FALSE(below.has_value());
}

TEST(Proxy, SignalsChangesOnly) {
    Value tree = parse(R"({"a":1})");
    Proxy root(tree);
    Signalling a(root, "a");
    a.set(1);
    a.set(1.0); // the same number
    EXPECT_EQ(a.signals, 0);
    a.set("1");
    EXPECT_EQ(a.signals, 1);
    a.set(2, true);
    EXPECT_EQ(a.signals, 1);
    EXPECT_EQ(text(tree), R"({"a":2})");
    a.reset();
    EXPECT_EQ(a.signals, 2);
    a.reset();
    EXPECT_EQ(a.signals, 2);
}

TEST(Proxy, SetToNullCreatesANullWithoutASignal) {
    Value tree;
    Proxy root(tree);
    Signalling a(root, "a");
    a.set(Value());
    EXPECT_EQ(text(tree), R"({"a":null})");
    EXPECT_EQ(a.signals, 0);
}

TEST(Proxy, ResetRemovesTheKey) {
    Value tree = parse(R"({"a":1,"b":2})");
    Proxy root(tree), a(root, "a");
    a.reset();
    EXPECT_FALSE(a);
    EXPECT_EQ(text(tree), R"({"b":2})");
    a.set(3);
    EXPECT_EQ(text(tree), R"({"a":3,"b":2})");
}

TEST(Proxy, ResetOfAnEntryLeavesTheOthersValid) {
    Value tree = parse("[1,2,3]");
    Proxy root(tree), first(root, entry(tree, 0)), second(root, entry(tree, 1)), third(root, entry(tree, 2));
    List::iterator const first_position = *first.position();
    second.reset();
    EXPECT_EQ(text(tree), "[1,3]");
    EXPECT_FALSE(second.position());
    EXPECT_EQ(second.value(), nullptr);
    EXPECT_EQ(*first_position, Value(1));
    third.set("three");
    first.set("one");
    EXPECT_EQ(text(tree), R"(["one","three"])");
    second.set("again, at the end");
    EXPECT_EQ(text(tree), R"(["one","three","again, at the end"])");
}

TEST(Proxy, CannotResetARootWithAValue) {
    Value tree(1), null;
    Proxy root(tree), empty(null);
    VEXA_EXPECT_THROWS(root.reset(), std::invalid_argument, "Cannot reset root model");
    EXPECT_EQ(tree, Value(1));
    EXPECT_NO_THROW(empty.reset());
}

TEST(Proxy, OwnsATreeThatWasMovedIn) {
    Value tree = parse(R"({"a":1})");
    Proxy root(std::move(tree)), a(root, "a");
    EXPECT_EQ(*a.value(), Value(1));
    a.set(2);
    EXPECT_EQ(text(*root.value()), R"({"a":2})");
}

TEST(Proxy, AssignmentCopiesTheValueAndNotThePlace) {
    Value tree = parse(R"({"a":[1],"b":2})");
    Proxy root(tree), a(root, "a"), b(root, "b"), c(root, "c");
    b = a;
    EXPECT_EQ(text(tree), R"({"a":[1],"b":[1]})");
    EXPECT_STREQ(b.key(), "b");
    a = c;
    EXPECT_EQ(text(tree), R"({"b":[1]})");
    c = b;
    b = *&b;
    EXPECT_EQ(text(tree), R"({"b":[1],"c":[1]})");
    c = root;
    EXPECT_EQ(text(tree), R"({"b":[1],"c":{"b":[1],"c":[1]}})");
}

TEST(Proxy, SetPositionPointsToAnotherEntry) {
    Value tree = parse(R"([{"a":1},{"a":2}])");
    Proxy root(tree), item(root, entry(tree, 0)), a(item, "a");
    item.set_position(entry(tree, 1));
    EXPECT_EQ(*a.value(), Value(2));
    item.set_position(std::nullopt);
    EXPECT_FALSE(item.has_value());
    EXPECT_FALSE(a.has_value());
    a.set(3);
    EXPECT_EQ(text(tree), R"([{"a":1},{"a":2},{"a":3}])");
}

TEST(Proxy, FieldsFollowWhenTheirParentIsSet) {
    Value tree = parse(R"({"a":{"b":1,"c":2}})");
    Proxy root(tree), a(root, "a"), b(a, "b"), c(a, "c"), d(a, "d");
    a.set(parse(R"({"b":{"d":1},"d":3})"));
    EXPECT_EQ(text(*b.value()), R"({"d":1})");
    EXPECT_FALSE(c);
    EXPECT_EQ(*d.value(), Value(3));
    a.set(*b.value()); // a part of what is replaced
    EXPECT_EQ(text(tree), R"({"a":{"d":1}})");
    EXPECT_FALSE(b);
    EXPECT_EQ(*d.value(), Value(1));
}

TEST(Proxy, FieldsFollowWhenTheirParentIsReset) {
    Value tree = parse(R"({"a":{"b":{"c":1}}})");
    Proxy root(tree), a(root, "a"), b(a, "b"), c(b, "c");
    a.reset();
    EXPECT_FALSE(b);
    EXPECT_FALSE(c);
    c.set(2);
    EXPECT_EQ(text(tree), R"({"a":{"b":{"c":2}}})");
}

TEST(Proxy, ViewsOfOnePlaceStayRightWhenOneIsReset) {
    Value tree = parse(R"({"a":{"b":1}})");
    Proxy root(tree), a(root, "a"), same(root, "a"), b(same, "b");
    a.reset();
    EXPECT_FALSE(same);
    EXPECT_FALSE(b);
    b.set(2);
    EXPECT_EQ(text(tree), R"({"a":{"b":2}})");
}

TEST(Proxy, MayBeDestroyedInAnyOrderBeforeItsParent) {
    Value tree = parse(R"({"a":1,"b":2})");
    Proxy root(tree);
    auto a = std::make_unique<Proxy>(root, "a");
    auto b = std::make_unique<Proxy>(root, "b");
    a.reset();
    root.set(parse(R"({"b":3})"));
    EXPECT_EQ(*b->value(), Value(3));
    b.reset();
    root.set(parse("{}"));
    EXPECT_EQ(text(tree), "{}");
}

TEST(Proxy, ResetFieldsTakesTheLastFirst) {
    struct Noting : Proxy {
        Noting(Proxy& holder, char const* under, std::string& to) : Proxy(holder, under), notes(to) {}
        void reset() override {
            notes += key();
            Proxy::reset();
        }
        std::string& notes;
    };
    std::string notes;
    Value tree = parse(R"({"a":1,"b":2,"c":3})");
    Proxy root(tree);
    Noting a(root, "a", notes), b(root, "b", notes);
    root.reset_fields();
    EXPECT_EQ(notes, "ba");
    EXPECT_EQ(text(tree), R"({"c":3})");
}
