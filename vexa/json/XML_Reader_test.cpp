#include <vexa/json/XML_Reader.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/json/Writer.h>
#include <vexa/testing/expect_throws.h>

using namespace JSON;
using namespace std::string_literals;

namespace {

/// The tree as JSON text, and how reading ended: "closed", "open" or the text of the error. Documents that
/// close early show how much was left.
std::string outcome_of(Value const& tree, std::string const& end) { return dump(tree, false) + " " + end; }

std::string ending(bool closed, std::size_t left) {
    if (!closed) return "open";
    return left == 0 ? "closed" : "closed before " + std::to_string(left);
}

std::string outcome_by_characters(std::string_view text) {
    Value tree("old");
    try {
        XML_Reader reader(tree);
        std::size_t taken = 0;
        bool closed = false;
        while (!closed && taken < text.size()) closed = reader.read(text[taken++]);
        return outcome_of(tree, ending(closed, text.size() - taken));
    } catch (XML_Reader::Unexpected const& error) {
        return outcome_of(tree, error.what());
    }
}

std::string outcome_in_two(std::string_view text, std::size_t split) {
    Value tree;
    try {
        XML_Reader reader(tree);
        char const* pos = text.data();
        char const* const end = pos + text.size();
        bool const closed = reader.read(pos, pos + split) || reader.read(pos, end);
        return outcome_of(tree, ending(closed, static_cast<std::size_t>(end - pos)));
    } catch (XML_Reader::Unexpected const& error) {
        return outcome_of(tree, error.what());
    }
}

std::string outcome_by_stream(std::string const& text) {
    std::istringstream in(text);
    Value tree;
    try {
        bool const closed = XML_Reader(tree).read(in);
        EXPECT_EQ(closed, !in.fail());
        std::size_t const left = closed ? text.size() - static_cast<std::size_t>(in.tellg()) : 0;
        return outcome_of(tree, ending(closed, left));
    } catch (XML_Reader::Unexpected const& error) {
        return outcome_of(tree, error.what());
    }
}

Value read_whole(std::string_view text) {
    Value tree;
    char const* pos = text.data();
    EXPECT_TRUE(XML_Reader(tree).read(pos, pos + text.size()));
    EXPECT_EQ(pos, text.data() + text.size());
    return tree;
}

/// What stands in the tree that \p text gives, read up to its end or its error.
std::string tree_of(std::string_view text) {
    Value tree;
    try {
        XML_Reader reader(tree);
        for (char const c : text) reader.read(c);
    } catch (XML_Reader::Unexpected const&) { // only the tree counts
    }
    return dump(tree, false);
}

void expect_error(std::string const& text, std::string const& message) {
    Value tree;
    XML_Reader reader(tree);
    SCOPED_TRACE(text.substr(0, 100));
    auto const read_all = [&] {
        for (char const c : text) reader.read(c);
        return true;
    };
    VEXA_EXPECT_THROWS(read_all(), XML_Reader::Unexpected, message);
}

/// The same, and all but the last character are fine.
void expect_error_at_the_end(std::string const& text, std::string const& message) {
    expect_error(text, message);
    Value tree;
    XML_Reader reader(tree);
    for (std::size_t i = 0; i + 1 < text.size(); ++i) EXPECT_NO_THROW(reader.read(text[i])) << text;
}

constexpr char const* blanks[] = {"\t", "\n", "\v", "\f", "\r", " "};

} // namespace

TEST(XmlReader, AnElementIsAMapInTheListOfItsName) {
    EXPECT_EQ(read_whole("<a b=\"1\"/>"), Value(Map{{"a", Value(List{Value(Map{{"b", Value("1")}})})}}));
    EXPECT_EQ(tree_of("<a b=\"1\"/>"), R"({"a":[{"b":"1"}]})");
    EXPECT_EQ(tree_of("<a></a>"), R"({"a":[{}]})");
    EXPECT_EQ(tree_of("<a>x</a>"), R"({"a":[{"":"x"}]})");
    EXPECT_EQ(tree_of("<a b='1'>x</a>"), R"({"a":[{"":"x","b":"1"}]})");
}

TEST(XmlReader, ChildrenAreListsByTheirNames) {
    EXPECT_EQ(tree_of("<r><b>1</b><a>2</a><b>3</b><a/></r>"),
              R"({"r":[{"":{"a":[{"":"2"},{}],"b":[{"":"1"},{"":"3"}]}}]})");
    EXPECT_EQ(tree_of("<r><a><a><a>x</a></a></a></r>"),
              R"({"r":[{"":{"a":[{"":{"a":[{"":{"a":[{"":"x"}]}}]}}]}}]})");
}

TEST(XmlReader, LeadingBlanksOfATextAreDroppedAndTrailingOnesStay) {
    EXPECT_EQ(tree_of("<a> x </a>"), R"({"a":[{"":"x "}]})");
    EXPECT_EQ(tree_of("<a>\t\n\v\f\r x\t\n</a>"), R"({"a":[{"":"x\t\n"}]})");
    EXPECT_EQ(tree_of("<a> &lt; </a>"), R"({"a":[{"":"< "}]})");
    EXPECT_EQ(tree_of("<a> \n </a>"), R"({"a":[{}]})");
    EXPECT_EQ(tree_of("<a b=\" x \"></a>"), R"({"a":[{"b":" x "}]})");
}

TEST(XmlReader, PrefixesOfElementNamesAreCutOff) {
    EXPECT_EQ(tree_of("<ns:a></ns:a>"), R"({"a":[{}]})");
    EXPECT_EQ(tree_of("<ns:a></a>"), R"({"a":[{}]})");
    EXPECT_EQ(tree_of("<a></other:a>"), R"({"a":[{}]})");
    EXPECT_EQ(tree_of("<:a></a>"), R"({"a":[{}]})");
    EXPECT_EQ(tree_of("<a:b:c></x:b:c>"), R"({"b:c":[{}]})");
    EXPECT_EQ(tree_of("<a:></:>"), R"({"":[{}]})");
    EXPECT_EQ(tree_of("<r><x:a></x:a><y:a></y:a></r>"), R"({"r":[{"":{"a":[{},{}]}}]})");
    expect_error("<ns:a></b>", "Unexpected b end tag");
    expect_error("<ns:a></ns:b>", "Unexpected b end tag");
}

TEST(XmlReader, AttributeNamesKeepTheirPrefixes) {
    EXPECT_EQ(tree_of("<a xmlns:xsi=\"u\" xsi:schemaLocation='v'></a>"),
              R"({"a":[{"xmlns:xsi":"u","xsi:schemaLocation":"v"}]})");
}

TEST(XmlReader, InfinitiesGetTheirNames) {
    EXPECT_EQ(tree_of("<a b=\"INF\" c=\"-INF\" d=\"+INF\" e=\"NaN\">INF</a>"),
              R"({"a":[{"":"Infinity","b":"Infinity","c":"-Infinity","d":"+INF","e":"NaN"}]})");
    EXPECT_EQ(tree_of("<a>-INF</a>"), R"({"a":[{"":"-Infinity"}]})");
    EXPECT_EQ(tree_of("<a>INF </a>"), R"({"a":[{"":"INF "}]})");
}

// The states, row by row.

TEST(XmlReaderState, ANameGoesOnWithNameCharacters) {
    std::string const all = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-.";
    EXPECT_EQ(tree_of("<" + all + " " + all + ":x='1'"), "{\"" + all + "\":[{\"" + all + ":x\":\"1\"}]}");
    for (int c = 0; c < 256; ++c) {
        std::string const found(1, static_cast<char>(c));
        if ((all + ":/> \t\n\v\f\r").find(found) == std::string::npos)
            expect_error_at_the_end("<a" + found,
                                    c == 0 ? "Unexpected " : "Unexpected " + found + " in tag a");
    }
}

TEST(XmlReaderState, TheEndOfAnAttributeNameMakesItsEntry) {
    EXPECT_EQ(tree_of("<a x"), R"({"a":[{}]})");
    EXPECT_EQ(tree_of("<a x="), R"({"a":[{"x":null}]})");
    EXPECT_EQ(tree_of("<a x "), R"({"a":[{"x":null}]})");
    EXPECT_EQ(tree_of("<a x=\"1"), R"({"a":[{"x":null}]})");
    expect_error("<a x=\"1\" x=\"2\"/>", "Unexpected x duplicate attribute");
    expect_error_at_the_end("<a x=\"1\" x=", "Unexpected x duplicate attribute");
    expect_error_at_the_end("<a x='1'y='2'x ", "Unexpected x duplicate attribute");
    EXPECT_EQ(tree_of("<a x=\"1\" x="), R"({"a":[{"x":"1"}]})");
    EXPECT_EQ(tree_of("<a x='1' X='2'><b x='3'></b></a>"),
              R"({"a":[{"":{"b":[{"x":"3"}]},"X":"2","x":"1"}]})");
    expect_error_at_the_end("<a x/", "Unexpected / in attribute");
    expect_error_at_the_end("<a x>", "Unexpected > in attribute");
    expect_error_at_the_end("<a x\"", "Unexpected \" in attribute");
    expect_error_at_the_end("<a \xc3", "Unexpected \xc3 in tag");
    expect_error_at_the_end("<a x\xc3", "Unexpected \xc3 in attribute");
}

TEST(XmlReaderState, TheDeclarationFillsTheProlog) {
    Value tree;
    XML_Reader reader(tree);
    auto const feed = [&reader](std::string_view text) {
        for (char const c : text) reader.read(c);
    };
    feed("<?xml version=\"1.0\" encoding='UTF-8' a=\"INF\"?>");
    EXPECT_EQ(dump(Value(reader.prolog), false), R"({"a":"Infinity","encoding":"UTF-8","version":"1.0"})");
    EXPECT_EQ(&reader.root, &tree);
    EXPECT_TRUE(tree.is_null());
    feed("<?xml x='1'?>");
    EXPECT_EQ(reader.prolog.size(), 4u);
    reader.clear();
    EXPECT_TRUE(reader.prolog.empty());
    feed("<?xml version='1.0'?><a");
    VEXA_EXPECT_THROWS(feed("><?xml version=''"), XML_Reader::Unexpected,
                       "Unexpected version duplicate attribute");
}

TEST(XmlReaderState, TheNameOfAProcessingTagIsXml) {
    EXPECT_EQ(tree_of("<?xml?><a></a>"), R"({"a":[{}]})");
    EXPECT_EQ(tree_of("<?xml ?><a></a>"), R"({"a":[{}]})");
    EXPECT_EQ(tree_of("<?xml a='1'><a></a>"), R"({"a":[{}]})");
    expect_error_at_the_end("<?php ", "Unexpected php processing tag");
    expect_error_at_the_end("<?XML ", "Unexpected XML processing tag");
    expect_error_at_the_end("<?ns:xml?", "Unexpected ns:xml processing tag");
    expect_error_at_the_end("<?xml>", "Unexpected > in tag xml");
    expect_error_at_the_end("<?xml/", "Unexpected / in tag xml");
    expect_error_at_the_end("<?xml=", "Unexpected = in tag xml");
}

TEST(XmlReaderState, TheNameOfAnEndTagIsThatOfTheInnermostElement) {
    expect_error_at_the_end("</b>", "Unexpected b end tag at the beginning");
    expect_error_at_the_end("</ns:b ", "Unexpected ns:b end tag at the beginning");
    expect_error_at_the_end("<a></b>", "Unexpected b end tag");
    expect_error_at_the_end("<a><b></a>", "Unexpected a end tag");
    expect_error_at_the_end("<a></ab>", "Unexpected ab end tag");
    expect_error_at_the_end("<a></A>", "Unexpected A end tag");
    expect_error_at_the_end("<a></a/", "Unexpected / in tag a");
    expect_error_at_the_end("<a></a?", "Unexpected ? in tag a");
    expect_error_at_the_end("<a></n:a\"", "Unexpected \" in tag a");
    EXPECT_EQ(outcome_by_characters("<a></a>"), R"({"a":[{}]} closed)");
    EXPECT_EQ(outcome_by_characters("<a></a >"), R"({"a":[{}]} closed)");
    EXPECT_EQ(outcome_by_characters("<a></a \n\t>"), R"({"a":[{}]} closed)");
    EXPECT_EQ(outcome_by_characters("<a><b></b>"), R"({"a":[{"":{"b":[{}]}}]} open)");
    EXPECT_EQ(outcome_by_characters("<a><b></b></a>"), R"({"a":[{"":{"b":[{}]}}]} closed)");
}

TEST(XmlReaderState, AStartTagNeedsAHolderOfElements) {
    expect_error_at_the_end("<a>x<b/", "Unexpected b after value");
    expect_error("<a>x<b/></a>", "Unexpected b after value");
    expect_error_at_the_end("<a>x<n:b>", "Unexpected n:b after value");
    EXPECT_EQ(tree_of("<a>x<b/"), R"({"a":[{"":"x"}]})");
    Value tree;
    XML_Reader reader(tree);
    tree = Value("text");
    for (char const c : "<n:a"s) reader.read(c);
    VEXA_EXPECT_THROWS(reader.read('>'), XML_Reader::Unexpected, "Unexpected n:a after content");
    EXPECT_EQ(tree, Value("text"));
}

TEST(XmlReaderState, WhatMayFollowTheNameOfAStartTag) {
    EXPECT_EQ(outcome_by_characters("<a>"), R"({"a":[{}]} open)");
    EXPECT_EQ(outcome_by_characters("<a><b/></a>"), R"({"a":[{"":{"b":[{}]}}]} closed)");
    EXPECT_EQ(outcome_by_characters("<a><b /></a>"), R"({"a":[{"":{"b":[{}]}}]} closed)");
    for (char const* blank : blanks) EXPECT_EQ(tree_of("<a"s + blank + "b='1'"), R"({"a":[{"b":"1"}]})");
    expect_error_at_the_end("<a?", "Unexpected ? in tag a");
    expect_error_at_the_end("<a=", "Unexpected = in tag a");
    expect_error_at_the_end("<a<", "Unexpected < in tag a");
    expect_error_at_the_end("<n:a\xc3", "Unexpected \xc3 in tag a");
}

TEST(XmlReaderState, AnAttributeIsNameEqualSignAndQuotedValue) {
    EXPECT_EQ(tree_of("<a b\t=\n\"1\"c='2' \v d = \r \f '3'>"), R"({"a":[{"b":"1","c":"2","d":"3"}]})");
    EXPECT_EQ(tree_of("<a b=''>"), R"({"a":[{"b":""}]})");
    expect_error_at_the_end("<a b==", "Unexpected = in attribute");
    expect_error_at_the_end("<a b = =", "Unexpected = in attribute");
    expect_error_at_the_end("<a b\"", "Unexpected \" in attribute");
    expect_error_at_the_end("<a b '", "Unexpected ' in attribute");
    expect_error_at_the_end("<a b=1", "Unexpected 1 in attribute");
    expect_error_at_the_end("<a b c", "Unexpected c in attribute");
    expect_error_at_the_end("<a b=>", "Unexpected > in attribute");
    expect_error_at_the_end("<?xml b?", "Unexpected ? in attribute");
}

TEST(XmlReaderState, ATagWithAttributesEnds) {
    EXPECT_EQ(outcome_by_characters("<a b='1'/>"), R"({"a":[{"b":"1"}]} closed)");
    EXPECT_EQ(outcome_by_characters("<a />"), R"({"a":[{}]} closed)");
    EXPECT_EQ(outcome_by_characters("<a b='1' />"), R"({"a":[{"b":"1"}]} closed)");
    EXPECT_EQ(outcome_by_characters("<a b='1'>"), R"({"a":[{"b":"1"}]} open)");
    EXPECT_EQ(outcome_by_characters("<r><a b='1'/></r>"), R"({"r":[{"":{"a":[{"b":"1"}]}}]} closed)");
    for (char const* blank : blanks)
        EXPECT_EQ(tree_of("<a b='1'"s + blank + blank + "c='2'"), R"({"a":[{"b":"1","c":"2"}]})");
}

TEST(XmlReaderState, NothingElseStandsBetweenAttributes) {
    for (char const* found : {"_", ":", "1", "-", ".", "=", "\"", "'", "<", "&", "?", "!", "\xc3"})
        expect_error_at_the_end("<a "s + found, "Unexpected "s + found + " in tag");
    for (char const* found : {"x", "/", "?", " ", "<"}) { // behind what only > may follow
        expect_error_at_the_end("<a b='1'/"s + found, "Unexpected "s + found + " in tag");
        expect_error_at_the_end("<r><a/"s + found, "Unexpected "s + found + " in tag");
        expect_error_at_the_end("<?xml b='1'?"s + found, "Unexpected "s + found + " in tag");
        expect_error_at_the_end("<?xml?"s + found, "Unexpected "s + found + " in tag");
    }
    for (char const* found : {"x", "/", "?"})
        expect_error_at_the_end("<a></a "s + found, "Unexpected "s + found + " in tag");
    expect_error_at_the_end("<?xml b='1'/", "Unexpected / in tag");
}

TEST(XmlReaderState, ATagBeginsWithItsName) {
    for (char const* name : {"a", "Z", "_"})
        EXPECT_EQ(tree_of("<"s + name + ">"), "{\""s + name + "\":[{}]}");
    EXPECT_EQ(tree_of("<:b>"), R"({"b":[{}]})");
    for (char const* found : {"1", "-", ".", " ", "<", ">", "!", "&", "=", "\xc3"}) {
        for (char const* before : {"<", "</", "<?", "<a>x<", "<a><?"})
            expect_error_at_the_end(before + std::string(found), "Unexpected "s + found + " in tag name");
    }
    expect_error_at_the_end("<??", "Unexpected ? in tag name");
    expect_error_at_the_end("<?/", "Unexpected / in tag name");
    expect_error_at_the_end("<a><//", "Unexpected / in tag name");
    expect_error_at_the_end("<a></?", "Unexpected ? in tag name");
}

TEST(XmlReaderState, OutsideOfTagsThereAreOnlyBlanks) {
    EXPECT_EQ(tree_of("\t\n\v\f\r <a></a>"), R"({"a":[{}]})");
    EXPECT_EQ(tree_of("\n<?xml a='1'?>\n<a></a>"), R"({"a":[{}]})");
    for (char const* found : {"x", ">", "/", "&", "\"", "\xef", "\xff"}) {
        expect_error_at_the_end(found, "Unexpected "s + found + " at the beginning");
        expect_error_at_the_end("<?xml?>"s + found, "Unexpected "s + found + " at the beginning");
        expect_error_at_the_end("<a><b></b> "s + found, "Unexpected "s + found + " at the beginning");
        expect_error_at_the_end("<a><b x=''/> "s + found, "Unexpected "s + found + " at the beginning");
        expect_error_at_the_end("<a><?xml?>"s + found, "Unexpected "s + found + " at the beginning");
        expect_error_at_the_end("<a></a> "s + found, "Unexpected "s + found + " at the beginning");
    }
}

TEST(XmlReaderState, ReferencesStandForFiveCharacters) {
    EXPECT_EQ(tree_of("<a b='&lt;&gt;&amp;&apos;&quot;'>x&lt;&gt;&amp;&apos;&quot;y</a>"),
              R"({"a":[{"":"x<>&'\"y","b":"<>&'\""}]})");
    EXPECT_EQ(tree_of("<a>&amp;lt;</a>"), R"({"a":[{"":"&lt;"}]})");
    expect_error_at_the_end("<a>&bogus;", "Unexpected &bogus; reference");
    expect_error_at_the_end("<a b='&bogus;", "Unexpected &bogus; reference");
    expect_error_at_the_end("<a>&#65;", "Unexpected &#65; reference");
    expect_error_at_the_end("<a>&;", "Unexpected &; reference");
    expect_error_at_the_end("<a>&LT;", "Unexpected &LT; reference");
    expect_error_at_the_end("<a>&lt</a><b c='1'>;", "Unexpected &lt</a><b c='1'>; reference");
    expect_error_at_the_end("<a b='&' c=';", "Unexpected &' c='; reference");
    expect_error_at_the_end("<a>&amp&;", "Unexpected &amp&; reference");
    EXPECT_EQ(outcome_by_characters("<a>&lt</a>"), R"({"a":[{}]} open)");
}

TEST(XmlReaderState, ValuesTakeAllCharactersButTheirEnd) {
    EXPECT_EQ(tree_of("<a b='\"<>\n;=/?!\xff'>' \" > ; = / ? ! \xff\xc3\xa9</a>"),
              "{\"a\":[{\"\":\"' \\\" > ; = / ? ! \xff\xc3\xa9\",\"b\":\"\\\"<>\\n;=/?!\xff\"}]}");
    EXPECT_EQ(tree_of("<a b=\"'\">"), R"({"a":[{"b":"'"}]})");
    EXPECT_EQ(tree_of("<a>\0</a>"s), R"({"a":[{"":"\u0000"}]})");
}

TEST(XmlReaderState, TheEndOfAText) {
    EXPECT_EQ(tree_of("<a>x"), R"({"a":[{}]})");
    EXPECT_EQ(tree_of("<a>x<"), R"({"a":[{"":"x"}]})");
    EXPECT_EQ(tree_of("<a> <"), R"({"a":[{}]})");
    EXPECT_EQ(tree_of("<a>\n <b/>\n <c/>\n</a>"), R"({"a":[{"":{"b":[{}],"c":[{}]}}]})");
}

TEST(XmlReaderState, TextBehindAnEmptyChildReplacesTheChildren) {
    EXPECT_EQ(outcome_by_characters("<a b='1'><b/><c k='1'/><d><e/></d><f/>x</a>"),
              R"({"a":[{"":"x","b":"1"}]} closed)");
    EXPECT_EQ(tree_of("<r><a><b/>x</a><a>y</a></r>"), R"({"r":[{"":{"a":[{"":"x"},{"":"y"}]}}]})");
    expect_error_at_the_end("<a><b/>x<c>", "Unexpected c after value");
    expect_error_at_the_end("<a><b></b>x", "Unexpected x at the beginning");
    expect_error_at_the_end("<a><b k=''/>x", "Unexpected x at the beginning");
    expect_error_at_the_end("<a><b />x", "Unexpected x at the beginning");
}

TEST(XmlReader, WhatIsNotOfItsLanguageIsAnError) {
    expect_error_at_the_end("<!", "Unexpected ! in tag name");
    expect_error("<a><!-- comment --></a>", "Unexpected ! in tag name");
    expect_error("<a><![CDATA[x]]></a>", "Unexpected ! in tag name");
    expect_error("<!DOCTYPE a><a></a>", "Unexpected ! in tag name");
    expect_error("\xef\xbb\xbf<a></a>", "Unexpected \xef at the beginning");
    expect_error("<\xc3\xa9></\xc3\xa9>", "Unexpected \xc3 in tag name");
}

// The root element and what comes behind it.

TEST(XmlReader, AnEmptyRootWithoutAttributesIsNotReportedAsClosed) {
    EXPECT_EQ(outcome_by_characters("<a/>"), R"({"a":[{}]} open)");
    EXPECT_EQ(outcome_by_stream("<a/> \n "), R"({"a":[{}]} open)");
    EXPECT_EQ(outcome_by_characters("<a/> \n <b x='1'/>"), R"({"a":[{}],"b":[{"x":"1"}]} closed)");
    expect_error_at_the_end("<a/></a>", "Unexpected a end tag at the beginning");
    expect_error_at_the_end("<a/> x y<", "Unexpected x y at the beginning");
    EXPECT_EQ(tree_of("<a/> x y<"), R"({"a":[{}]})");
}

TEST(XmlReader, ReadsOnBehindTheRoot) {
    EXPECT_EQ(tree_of("<a></a><b c='1'/> \n<a>x</a>"), R"({"a":[{},{"":"x"}],"b":[{"c":"1"}]})");
    EXPECT_EQ(outcome_by_characters("<a></a><b/>"), R"({"a":[{}]} closed before 4)");
    expect_error_at_the_end("<a></a></a>", "Unexpected a end tag at the beginning");
    Value tree;
    XML_Reader reader(tree);
    int closed = 0;
    for (char const c : "<a></a><b x=''/><?xml?><a><c></c></a>"s) closed += reader.read(c) ? 1 : 0;
    EXPECT_EQ(closed, 3);
}

TEST(XmlReader, ATextThatEndsEarlyIsNoError) {
    std::string const text = "<?xml version='1.0'?><r a='1'><b c='&lt;'>x&gt;y</b><d/></r>";
    for (std::size_t size = 0; size < text.size(); ++size) {
        EXPECT_TRUE(outcome_by_characters(text.substr(0, size)).ends_with(" open")) << size;
        EXPECT_EQ(outcome_by_stream(text.substr(0, size)), outcome_by_characters(text.substr(0, size)));
    }
}

TEST(XmlReader, AFailureStays) {
    Value tree;
    XML_Reader reader(tree);
    std::string const text = "<a x='1'>&bogus;y</a>";
    char const* pos = text.data();
    char const* const end = pos + text.size();
    char const* const message = "Unexpected &bogus; reference";
    VEXA_EXPECT_THROWS(reader.read(pos, end), XML_Reader::Unexpected, message);
    EXPECT_EQ(pos - text.data(), 16);
    EXPECT_EQ(dump(tree, false), R"({"a":[{"x":"1"}]})");
    VEXA_EXPECT_THROWS(reader.read('<'), XML_Reader::Unexpected, message);
    VEXA_EXPECT_THROWS(reader.read(pos, end), XML_Reader::Unexpected, message);
    std::istringstream in("<a></a>");
    VEXA_EXPECT_THROWS(reader.read(in), XML_Reader::Unexpected, message);
    reader.clear();
    VEXA_EXPECT_THROWS(reader.read(' '), XML_Reader::Unexpected, message);
    EXPECT_EQ(dump(tree, false), R"({"a":[{"x":"1"}]})");
}

TEST(XmlReader, ClearsItsTargetAtOnce) {
    Value tree(List{Value(1)});
    XML_Reader reader(tree);
    EXPECT_TRUE(tree.is_null());
    char const* pos = nullptr;
    EXPECT_FALSE(reader.read(pos, pos));
    EXPECT_TRUE(tree.is_null());
}

// Pieces and streams.

class XmlReaderPieces : public testing::TestWithParam<char const*> {};

TEST_P(XmlReaderPieces, DoNotChangeTheOutcome) {
    std::string_view const text = GetParam();
    std::string const whole = outcome_by_characters(text);
    EXPECT_EQ(outcome_by_stream(std::string(text)), whole);
    for (std::size_t split = 0; split <= text.size(); ++split)
        EXPECT_EQ(outcome_in_two(text, split), whole) << "split at " << split;
    // Any prefix too: it is another document, open or an error.
    for (std::size_t size = 0; size < text.size(); ++size)
        EXPECT_EQ(outcome_in_two(text.substr(0, size), 0), outcome_by_characters(text.substr(0, size)))
            << "first " << size;
}

INSTANTIATE_TEST_SUITE_P(
    Documents, XmlReaderPieces,
    testing::Values(
        "", "  ", "<a/>", "<a></a>", "<a b=\"1\"/>", "<a> x </a>", "<a></a><b></b>", "<a/>x<",
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<n:r a = '1'b=\"2\">\n  <c d='&lt;&amp;'  />\n"
        "  <c>some text, longer than a word &quot;quoted&quot; and more \xc3\xa9</c  >\n  <e/>\n</n:r>\n",
        "<r><a/><a/>text</r>", "<r><a x='INF'>-INF</a><b>INFINITE</b></r>", "<a x='1' x='2'/>",
        "<a longer_name_than_a_word='longer value than a word, by far' longer_name_than_a_word=''/>",
        "<a><b></b> x</a>", "<a>x<b/></a>", "<a>&bogus;</a>", "<a b='&x' c=';'/>", "<a></b>", "</a>",
        "<a b c='1'/>", "<a b=1/>", "<a =''/>", "<a b='1'c='2'/>", "<a b='1'?/>", "<a b='1'/ >", "<a></a b>",
        "<?xml?><a>\t\n\v\f\r&gt;  </a>", "<?pi x?>", "<!-- x -->", "<a><![CDATA[x]]></a>", "x",
        "<a b='\xff\x80<>&apos;\"'>\x80\xff>'\"]]></a> tail", "<r>&amp;&amp;<", "<:></:>",
        "<a b='a\nb'\n>\n</a>"));

TEST(XmlReaderStream, StandsBehindTheEndTag) {
    std::istringstream in(" <a>1</a><b x='>'/>\n<c>2</c>\n");
    Value tree;
    EXPECT_TRUE(XML_Reader(tree).read(in));
    EXPECT_EQ(dump(tree, false), R"({"a":[{"":"1"}]})");
    EXPECT_EQ(in.peek(), '<');
    EXPECT_TRUE(XML_Reader(tree).read(in));
    EXPECT_EQ(dump(tree, false), R"({"b":[{"x":">"}]})");
    EXPECT_EQ(in.peek(), '\n');
    EXPECT_TRUE(XML_Reader(tree).read(in));
    EXPECT_EQ(dump(tree, false), R"({"c":[{"":"2"}]})");
    EXPECT_TRUE(in.good());
    EXPECT_FALSE(XML_Reader(tree).read(in));
    EXPECT_TRUE(in.eof() && in.fail());
    EXPECT_FALSE(XML_Reader(tree).read(in));
    EXPECT_TRUE(tree.is_null());
}

TEST(XmlReaderStream, ADocumentMayGoOnInTheNextStream) {
    Value tree;
    XML_Reader reader(tree);
    std::istringstream first("<a b='1"), second("2'>x</a>");
    EXPECT_FALSE(reader.read(first));
    EXPECT_TRUE(reader.read(second));
    EXPECT_EQ(dump(tree, false), R"({"a":[{"":"x","b":"12"}]})");
}

TEST(XmlReaderStream, LongTextsReadWhole) {
    for (std::size_t const size : {4094u, 4095u, 4096u, 4097u, 100'000u}) {
        std::string const text(size, 'x');
        std::istringstream in("<a b='" + text + "'>" + text + "</a>tail");
        Value tree;
        EXPECT_TRUE(XML_Reader(tree).read(in));
        EXPECT_TRUE(tree ==
                    Value(Map{{"a", Value(List{Value(Map{{"", Value(text)}, {"b", Value(text)}})})}}));
        EXPECT_EQ(in.get(), 't');
    }
}

TEST(XmlReaderStream, ABufferThatThrowsEndsTheText) {
    struct Throwing : std::streambuf {
        char text[4] = {'<', 'a', '>', 'x'};
        Throwing() { setg(text, text, text + 4); }
        int_type underflow() override { throw 1; }
    } buffer;
    std::istream in(&buffer);
    Value tree;
    EXPECT_FALSE(XML_Reader(tree).read(in));
    EXPECT_TRUE(in.bad());
    EXPECT_EQ(dump(tree, false), R"({"a":[{}]})");
}

// Hostile sizes.

TEST(XmlReader, AnyDepthReads) {
    constexpr std::size_t depth = 1'000'000;
    std::string text;
    for (std::size_t i = 0; i < depth; ++i) text += "<a>";
    text += "x";
    for (std::size_t i = 0; i < depth; ++i) text += "</a>";
    Value const tree = read_whole(text);
    Value const copy = tree;
    EXPECT_TRUE(copy == tree);
    std::size_t found = 0;
    for (Value const* place = &tree; (place = place->find("a", 0)); ++found)
        if (!(place = place->find(""))) break;
    EXPECT_EQ(found, depth);
}

TEST(XmlReader, ADeepTextThatFailsIsDestroyed) {
    std::string text;
    for (int i = 0; i < 100'000; ++i) text += "<a b='1'>";
    Value tree;
    char const* pos = text.data();
    XML_Reader reader(tree);
    EXPECT_FALSE(reader.read(pos, pos + text.size()));
    VEXA_EXPECT_THROWS((reader.read('x'), reader.read('<'), reader.read('b'), reader.read('>')),
                       XML_Reader::Unexpected, "Unexpected b after value");
}

TEST(XmlReader, DeepChildrenAreReplacedByAText) {
    std::string text = "<r>";
    for (int i = 0; i < 100'000; ++i) text += "<a>";
    for (int i = 0; i < 100'000; ++i) text += "</a>";
    text += "<b/>x</r>";
    EXPECT_EQ(dump(read_whole(text), false), R"({"r":[{"":"x"}]})");
}

TEST(XmlReader, LongNamesAndValuesRead) {
    std::string const name(10'000'000, 'n');
    Value const tree = read_whole("<p:" + name + " " + name + "='" + name + "'></" + name + ">");
    Value const* place = tree.find(name, 0, name);
    ASSERT_TRUE(place);
    EXPECT_TRUE(*place == Value(name));
}

TEST(XmlReader, AMillionAttributesRead) {
    constexpr int count = 1'000'000;
    std::string text = "<a";
    for (int i = 0; i < count; ++i) text += " x" + std::to_string(i * 7919LL % count) + "=''";
    Value const tree = read_whole(text + "/>");
    EXPECT_EQ(tree.find("a", 0)->get<Map>().size(), 1'000'000u);
    expect_error(text + " x77='1'/>", "Unexpected x77 duplicate attribute");
}
