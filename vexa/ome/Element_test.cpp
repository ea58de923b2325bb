#include <vexa/ome/Element.h>

#include <iterator>
#include <type_traits>

#include <gtest/gtest.h>

#include <vexa/json/Reader.h>
#include <vexa/json/Writer.h>
#include <vexa/ome/One_of.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/expect_throws.h>

using namespace OME;

namespace {

std::string text(JSON::Value const& value) { return JSON::dump(value, false); }

/// An element with one field of each kind.
class Part : public Element<Object_of_Documents> {
public:
    using Element<Object_of_Documents>::Element;

    Document<long long> number{*this, "number"};
    Document<std::string> word{*this, "word"};
    One_of<Text> note{content, "note"};
};

class Whole : public Element<Object_of_Documents> {
public:
    using Element<Object_of_Documents>::Element;

    Document<JSON::Boolean> flag{*this, "flag"};
    One_of<Part> first{content, "first"};
    Array_of<Part> parts{content, "part"};
};

/// A tree with one element.
struct OmeElement : testing::Test {
    explicit OmeElement(char const* json = "null") : tree(JSON::parse(json)) {}
    JSON::Value tree;
    JSON::Proxy root{tree};
    One_of<Whole> whole{root, "whole"};
};

struct OmeFullElement : OmeElement {
    OmeFullElement()
        : OmeElement(R"({"whole":[{"flag":"true","":{"first":[{"number":"1","":{"note":[{"":"n"}]}}],)"
                     R"("part":[{"number":"2"},{"number":"3","word":"w"},{"":{}}]}}]})") {}
};

int number_of(Part const& part) { return part.number.value()->get<int>(); }

} // namespace

static_assert(!std::is_copy_constructible_v<Part> && !std::is_move_constructible_v<Part>);
static_assert(!std::is_copy_constructible_v<Array_of<Part>> && !std::is_copy_constructible_v<One_of<Part>>);
static_assert(std::is_same_v<std::iterator_traits<Array_of<Part>::iterator>::reference, Part&>);
static_assert(std::is_same_v<std::iterator_traits<Array_of<Part>::const_iterator>::reference, Part const&>);
static_assert(std::bidirectional_iterator<Array_of<Part>::iterator>);

TEST_F(OmeElement, ThatDoesNotExistIsEmptyAndCreatesNothing) {
    EXPECT_FALSE(whole);
    EXPECT_FALSE(whole.flag);
    EXPECT_FALSE(whole.first);
    EXPECT_FALSE(whole.first.note.content);
    EXPECT_TRUE(whole.parts.empty());
    EXPECT_TRUE(tree.is_null());
    whole.reset();
    whole.resolve_references();
    EXPECT_TRUE(tree.is_null());
}

TEST_F(OmeElement, IsCreatedByTheFirstWriteBelow) {
    whole.first.note.content.set("n");
    EXPECT_EQ(text(tree), R"({"whole":[{"":{"first":[{"":{"note":[{"":"n"}]}}]}}]})");
    EXPECT_TRUE(whole);
    whole.first.number.set(5);
    whole.flag.set(true);
    EXPECT_EQ(text(tree), R"({"whole":[{"":{"first":[{"":{"note":[{"":"n"}]},"number":5}]},"flag":true}]})");
}

TEST_F(OmeFullElement, ReadsItsFields) {
    EXPECT_EQ(*whole.flag.value(), JSON::Value(true));
    EXPECT_EQ(number_of(whole.first), 1);
    EXPECT_EQ(*whole.first.note.content.value(), JSON::Value("n"));
    ASSERT_EQ(whole.parts.size(), 3u);
    EXPECT_EQ(number_of(whole.parts.front()), 2);
    EXPECT_EQ(*std::next(whole.parts.begin())->word.value(), JSON::Value("w"));
}

TEST_F(OmeFullElement, ResetRemovesItWithAllFields) {
    whole.first.reset();
    EXPECT_EQ(tree.find("whole", 0, "", "first"), nullptr);
    EXPECT_FALSE(whole.first);
    EXPECT_FALSE(whole.first.number);
    EXPECT_FALSE(whole.first.note.content);
    whole.reset();
    EXPECT_EQ(text(tree), "{}");
    EXPECT_FALSE(whole.flag);
    EXPECT_TRUE(whole.parts.empty());
    whole.flag.set(false);
    whole.parts.emplace_back()->number.set(4);
    EXPECT_EQ(text(tree), R"({"whole":[{"":{"part":[{"number":4}]},"flag":false}]})");
}

TEST_F(OmeFullElement, IsCopiedFieldByField) {
    JSON::Value other_tree;
    JSON::Proxy other_root(other_tree);
    One_of<Whole> other(other_root, "copy");
    other = whole;
    EXPECT_EQ(text(other_tree), R"({"copy":[{"":{"first":[{"":{"note":[{"":"n"}]},"number":1}],)"
                                R"("part":[{"number":2},{"number":3,"word":"w"},{}]},"flag":true}]})");
    whole.flag.reset();
    whole.first.reset();
    whole.parts.erase(whole.parts.begin());
    other = whole;
    EXPECT_EQ(text(other_tree), R"({"copy":[{"":{"part":[{"number":3,"word":"w"},{}]}}]})");
    EXPECT_EQ(other.parts.size(), 2u);
    whole.reset();
    other = whole;
    EXPECT_EQ(text(other_tree), "{}");
}

TEST_F(OmeFullElement, GivesItsFieldsTheirTypes) {
    static_assert(std::is_same_v<decltype(Part::number), ::OME::Document<long long>>);
    EXPECT_EQ(text(tree), R"({"whole":[{"":{"first":[{"":{"note":[{"":"n"}]},"number":1}],)"
                          R"("part":[{"number":2},{"number":3,"word":"w"},{"":{}}]},"flag":true}]})");
}

TEST_F(OmeFullElement, AssignedToItselfStays) {
    JSON::Value const before = tree;
    whole = *&whole;
    whole.parts = *&whole.parts;
    EXPECT_EQ(tree, before);
}

TEST_F(OmeElement, CopyOfAnEmptyElementIsThere) {
    JSON::Value other_tree = JSON::parse(R"({"copy":[{}]})");
    JSON::Proxy other_root(other_tree);
    One_of<Whole> other(other_root, "copy");
    whole = other;
    EXPECT_TRUE(whole);
    EXPECT_EQ(text(tree), R"({"whole":[{}]})");
    EXPECT_TRUE(whole);
}

TEST_F(OmeFullElement, FollowsWhenItIsSet) {
    static_cast<JSON::Proxy&>(whole.element())
        .set(JSON::parse(R"({"":{"first":[{"number":7}],"part":[{"number":8}]}})"));
    EXPECT_FALSE(whole.flag);
    EXPECT_EQ(number_of(whole.first), 7);
    EXPECT_FALSE(whole.first.note);
    ASSERT_EQ(whole.parts.size(), 1u);
    EXPECT_EQ(number_of(whole.parts.front()), 8);
    whole.parts.set(JSON::parse(R"([{"number":9},{"number":10}])"));
    EXPECT_EQ(whole.parts.size(), 2u);
    whole.parts.set(JSON::List());
    EXPECT_TRUE(whole.parts.empty());
    whole.first.detail::List_of_One<Part>::set(JSON::parse(R"([{"number":1},{"number":2}])"));
    EXPECT_EQ(number_of(whole.first), 1);
    whole.first.detail::List_of_One<Part>::set(JSON::List());
    EXPECT_FALSE(whole.first.number);
    whole.first.number.set(3);
    EXPECT_EQ(text(*tree.find("whole", 0, "", "first")), R"([{"number":3}])");
    whole.content.reset();
    EXPECT_EQ(text(tree), R"({"whole":[{}]})");
    EXPECT_FALSE(whole.first);
}

TEST_F(OmeElement, FailsOnTextWhereChildrenAreWritten) {
    JSON::Value other = JSON::parse(R"({"whole":[{"":"text"}]})");
    JSON::Proxy other_root(other);
    One_of<Whole> text_only(other_root, "whole");
    EXPECT_FALSE(text_only.first);
    VEXA_EXPECT_THROWS(text_only.first.number.set(1), JSON::Bad_Access,
                       "Type mismatch: found string, expected map");
    EXPECT_EQ(text(other), R"({"whole":[{"":"text"}]})");
}

TEST_F(OmeFullElement, ArrayAppendsAndErases) {
    Part& added = *whole.parts.emplace_back();
    added.number.set(4);
    auto const second = std::next(whole.parts.begin());
    whole.parts.erase(second);
    EXPECT_EQ(text(*tree.find("whole", 0, "", "part")), R"([{"number":2},{"":{}},{"number":4}])");
    EXPECT_EQ(&*std::prev(whole.parts.end()), &added);
    whole.parts.clear();
    EXPECT_EQ(text(*tree.find("whole", 0, "", "part")), "[]");
    EXPECT_EQ(whole.parts.begin(), whole.parts.end());
}

TEST_F(OmeElement, ArrayMovesElements) {
    auto& parts = whole.parts;
    for (int i = 0; i < 4; ++i) parts.emplace_back()->number.set(i);
    Part const& last = *std::prev(parts.end());
    parts.move(std::prev(parts.end()), std::next(parts.begin()));
    EXPECT_EQ(text(*tree.find("whole", 0, "", "part")),
              R"([{"number":0},{"number":3},{"number":1},{"number":2}])");
    EXPECT_EQ(&*std::next(parts.begin()), &last);
    parts.move(parts.begin(), parts.end());
    parts.move(parts.begin(), parts.begin());
    parts.move(parts.begin(), std::next(parts.begin()));
    EXPECT_EQ(text(*tree.find("whole", 0, "", "part")),
              R"([{"number":3},{"number":1},{"number":2},{"number":0}])");
    parts.erase(std::next(parts.begin()));
    EXPECT_EQ(text(*tree.find("whole", 0, "", "part")), R"([{"number":3},{"number":2},{"number":0}])");
}

TEST_F(OmeElement, ArrayAppendsElementsThatCanBeWritten) {
    whole.parts.emplace_back();
    EXPECT_EQ(text(tree), R"({"whole":[{"":{"part":[{}]}}]})");
}

TEST_F(OmeElement, ArrayIsUnchangedIfAnElementCannotBeMade) {
    struct Failing : Part {
        Failing(JSON::Proxy& parent, Position position, int code) : Part(parent, position) { throw code; }
    };
    whole.parts.emplace_back()->number.set(1);
    EXPECT_THROW(whole.parts.emplace_back<Failing>(3), int);
    EXPECT_EQ(whole.parts.size(), 1u);
    EXPECT_EQ(text(*tree.find("whole", 0, "", "part")), R"([{"number":1}])");
}

TEST_F(OmeElement, ArrayNeedsAList) {
    JSON::Value other = JSON::parse(R"({"a":"text"})");
    JSON::Proxy other_root(other);
    VEXA_EXPECT_THROWS(Array_of<Part>(other_root, "a"), JSON::Bad_Access,
                       "Type mismatch: found string, expected list");
    VEXA_EXPECT_THROWS(whole.parts.set("text"), std::bad_variant_access, "bad variant access");
}

TEST_F(OmeFullElement, ArrayWithoutIdentifiersFindsNothing) {
    EXPECT_EQ(whole.parts.find("Part:1"), whole.parts.end());
    EXPECT_EQ(std::as_const(whole).parts.find(1), std::as_const(whole).parts.end());
    EXPECT_FALSE(whole.parts.remove("Part:1"));
}

TEST_F(OmeElement, OfAManufacturerHasFourAttributes) {
    Manufacturer_Specification_with_ID<void> made(root, std::nullopt);
    JSON::Value list;
    JSON::Proxy list_root(list);
    Manufacturer_Specification_with_ID<void> maker(list_root, std::nullopt);
    maker.manufacturer().set("a");
    maker.model().set("b");
    maker.serial_number().set("c");
    maker.lot_number().set("d");
    EXPECT_EQ(text(list), R"([{"LotNumber":"d","Manufacturer":"a","Model":"b","SerialNumber":"c"}])");
}

TEST(OmeArray, FindsBesideAnIdentifierThatIsNoText) {
    Root root("");
    auto& datasets = root.ome.datasets();
    datasets.emplace_back()->set(JSON::Map{{"ID", 5}});
    auto const good = datasets.emplace_back();
    JSON::Value const id(*good->id.value());
    for (int again = 0; again < 3; ++again) EXPECT_EQ(datasets.find(id), good);
}

TEST(OmeArray, FindsByIdentifierWhateverHasChanged) {
    Root root("");
    auto& datasets = root.ome.datasets();
    for (int i = 0; i < 5; ++i) datasets.emplace_back();
    for (int again = 0; again < 3; ++again) EXPECT_EQ(&*datasets.find("Dataset:1"), &datasets.front());
    datasets.front().id.set("Dataset:9");
    for (int again = 0; again < 3; ++again) {
        EXPECT_EQ(datasets.find("Dataset:1"), datasets.end());
        EXPECT_EQ(&*datasets.find("Dataset:9"), &datasets.front());
    }
    datasets.emplace_back()->id.set("Dataset:9");
    for (int again = 0; again < 3; ++again) EXPECT_EQ(&*datasets.find("Dataset:9"), &datasets.front());
    EXPECT_TRUE(datasets.remove("Dataset:9"));
    for (int again = 0; again < 3; ++again) EXPECT_EQ(std::next(datasets.find("Dataset:9")), datasets.end());
    datasets.front().id.set_actual("name");
    for (int again = 0; again < 3; ++again) EXPECT_EQ(&*datasets.find("Dataset:name"), &datasets.front());
    EXPECT_EQ(datasets.find(5), datasets.end());
    EXPECT_EQ(&*std::as_const(datasets).find("Dataset:name"), &datasets.front());
}

TEST(OmeArray, FindsTheFirstOfTwoThatChangedPlaces) {
    Root root("");
    auto& datasets = root.ome.datasets();
    for (int i = 0; i < 2; ++i) datasets.emplace_back()->id.set("Dataset:7");
    for (int again = 0; again < 3; ++again) EXPECT_EQ(datasets.find("Dataset:7"), datasets.begin());
    datasets.move(std::next(datasets.begin()), datasets.begin());
    for (int again = 0; again < 3; ++again) EXPECT_EQ(datasets.find("Dataset:7"), datasets.begin());
}
