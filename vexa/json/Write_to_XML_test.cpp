#include <vexa/json/Write_to_XML.h>

#include <algorithm>
#include <limits>
#include <span>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <vexa/json/XML_Reader.h>
#include <vexa/testing/expect_throws.h>

using namespace JSON;
using namespace std::string_literals;

namespace {

constexpr char const* header = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

std::string written(Value const& tree) {
    std::ostringstream out;
    write_to_XML(tree, out);
    EXPECT_TRUE(out.good());
    return out.str();
}

Value root(Value element) { return Value(Map{{"a", Value(List{std::move(element)})}}); }
Value with_attribute(Value value) { return root(Value(Map{{"b", std::move(value)}})); }
Value with_content(Value value) { return root(Value(Map{{"", std::move(value)}})); }
Value children(Map map) { return with_content(Value(std::move(map))); }

/// The attribute's and the text's form, which are the same.
std::string form(Value const& value) {
    std::string const text = written(with_content(value));
    std::string const attribute = written(with_attribute(value));
    std::string const before = header + "<a>"s, behind = "</a>";
    EXPECT_TRUE(text.starts_with(before) && text.ends_with(behind)) << text;
    std::string const found = text.substr(before.size(), text.size() - before.size() - behind.size());
    EXPECT_EQ(attribute, header + ("<a b=\"" + found + "\"/>"));
    return found;
}

Value read(std::string const& text) {
    Value tree;
    char const* pos = text.data();
    XML_Reader(tree).read(pos, pos + text.size());
    EXPECT_EQ(pos, text.data() + text.size());
    return tree;
}

void expect_refused(Value const& tree, std::string const& output, std::string const& message) {
    std::ostringstream out;
    VEXA_EXPECT_THROWS((write_to_XML(tree, out), true), std::invalid_argument, message);
    EXPECT_EQ(out.str(), output);
}

} // namespace

TEST(WriteToXml, WhatWasReadComesBack) {
    for (char const* text :
         {"<a b=\"1\"/>", "<a>x </a>", "<a/>", "<r><b>1</b><b/><c d=\"&lt;\" e=\"\">&amp;</c></r>",
          "<a xmlns:xsi=\"u\" xsi:schemaLocation=\"v\"/>", "<a b=\"INF\" c=\"-INF\">INF</a>",
          "<a>\xc3\xa9\xff]]&gt;</a>", "<_a><_b><_c>&quot;&apos;</_c></_b></_a>"})
        EXPECT_EQ(written(read(text)), header + std::string(text));
    EXPECT_EQ(written(read("<?xml version='1.0'?>\n<a>\n  <b x = '1'>\n</b>\n</a>")),
              header + "<a><b x=\"1\"/></a>"s);
    EXPECT_EQ(written(read("<a></a>")), header + "<a/>"s);
    EXPECT_EQ(written(read("<a> x </a>")), header + "<a>x </a>"s);
}

TEST(WriteToXml, ChildrenAndAttributesComeInTheOrderOfTheirNames) {
    EXPECT_EQ(written(read("<r z='1' y='2' B='3'><b>1</b><a>2</a><b>3</b><C/></r>")),
              header + "<r B=\"3\" y=\"2\" z=\"1\"><C/><a>2</a><b>1</b><b>3</b></r>"s);
}

namespace {

/// Writes the children of `r` as z, a, m and those of `m` as b, a.
std::span<std::string_view const> order_of_two(std::string_view element) {
    static constexpr std::string_view of_r[] = {"z", "a", "m"}, of_m[] = {"b", "a"};
    if (element == "r") return of_r;
    if (element == "m") return of_m;
    return {};
}

std::string ordered(std::string const& text) {
    std::ostringstream out;
    write_to_XML(read(text), out, &order_of_two);
    EXPECT_EQ(read(out.str()), read(text));
    return out.str().substr(std::string_view(header).size());
}

} // namespace

TEST(WriteToXml, ChildrenComeInTheOrderThatIsAskedFor) {
    EXPECT_EQ(ordered("<r><a>1</a><m/><z>2</z><a>3</a></r>"), "<r><z>2</z><a>1</a><a>3</a><m/></r>");
    EXPECT_EQ(ordered("<r><m><a/><b/><m><b/><a/></m></m></r>"), "<r><m><b/><a/><m><b/><a/></m></m></r>");
    EXPECT_EQ(ordered("<r><a/></r>"), "<r><a/></r>");
    EXPECT_EQ(ordered("<r>x</r>"), "<r>x</r>");
}

TEST(WriteToXml, ChildrenThatTheOrderLeavesOutComeBehindByTheirNames) {
    EXPECT_EQ(ordered("<r><y/><n/><a/><z/><b/></r>"), "<r><z/><a/><b/><n/><y/></r>");
    EXPECT_EQ(ordered("<r><y/><n/><B/></r>"), "<r><B/><n/><y/></r>");
    EXPECT_EQ(ordered("<r><x><z/><a/></x></r>"), "<r><x><a/><z/></x></r>");
}

TEST(WriteToXml, ScalarsHaveOneFormInAttributesAndTexts) {
    EXPECT_EQ(form(Value(true)), "true");
    EXPECT_EQ(form(Value(false)), "false");
    EXPECT_EQ(form(Value(-5)), "-5");
    EXPECT_EQ(form(Value(0)), "0");
    EXPECT_EQ(form(Value(std::numeric_limits<unsigned long long>::max())), "18446744073709551615");
    EXPECT_EQ(form(Value(std::numeric_limits<long long>::min())), "-9223372036854775808");
    EXPECT_EQ(form(Value(0.1)), "0.1");
    EXPECT_EQ(form(Value(2.0)), "2");
    EXPECT_EQ(form(Value(-0.0)), "-0");
    EXPECT_EQ(form(Value(1e100)), "1e+100");
    EXPECT_EQ(form(Value(0x1p64)), "18446744073709551616");
    EXPECT_EQ(form(Value(5e-324)), "5e-324");
    EXPECT_EQ(form(Value("")), "");
    EXPECT_EQ(form(Value(" x ")), " x ");
}

TEST(WriteToXml, InfinitiesHaveTheirShortNames) {
    EXPECT_EQ(form(Value("Infinity")), "INF");
    EXPECT_EQ(form(Value("-Infinity")), "-INF");
    EXPECT_EQ(form(Value(std::numeric_limits<double>::infinity())), "INF");
    EXPECT_EQ(form(Value("NaN")), "NaN");
    EXPECT_EQ(form(Value("Infinity ")), "Infinity ");
    EXPECT_EQ(form(Value("INF")), "INF");
    Value number(-1.0);
    number.get<Number>() /= Number(0.0);
    EXPECT_EQ(form(number), "-INF");
    number.get<Number>() *= 0;
    EXPECT_EQ(form(number), "NaN");
}

TEST(WriteToXml, FiveCharactersBecomeReferences) {
    EXPECT_EQ(form(Value("\"&'<>")), "&quot;&amp;&apos;&lt;&gt;");
    EXPECT_EQ(form(Value("\n\t\r\x01\x7f\x80\xff=/;%")), "\n\t\r\x01\x7f\x80\xff=/;%");
    EXPECT_EQ(form(Value("\0x"s)), "\0x"s);
}

TEST(WriteToXml, EveryByteComesBackAtEveryPlace) {
    for (int byte = 0; byte < 256; ++byte) {
        for (std::size_t before = 1; before < 19; ++before) {
            std::string text(before, '%');
            text += static_cast<char>(byte);
            text += "\xa6.=?;!+#$%xyz";
            EXPECT_EQ(read(written(with_attribute(Value(text)))), with_attribute(Value(text)));
            EXPECT_EQ(read(written(with_content(Value(text)))), with_content(Value(text)));
        }
    }
}

TEST(WriteToXml, ContentThatIsEmpty) {
    EXPECT_EQ(written(root(Value(Map()))), header + "<a/>"s);
    EXPECT_EQ(written(with_content(Value(Map()))), header + "<a/>"s);
    EXPECT_EQ(written(with_content(Value(""))), header + "<a></a>"s);
    EXPECT_EQ(written(children({{"b", Value(List())}})), header + "<a></a>"s);
    EXPECT_EQ(written(children({{"b", Value(List())}, {"c", Value(List{Value(Map())})}})),
              header + "<a><c/></a>"s);
}

TEST(WriteToXml, NamesGoOutAsTheyAre) {
    EXPECT_EQ(written(Value(Map{{"", Value(List{Value(Map{{"<", Value(1)}})})}})), header + "< <=\"1\"/>"s);
    EXPECT_EQ(written(children({{"", Value(List{Value(Map())})}})), header + "<a></></a>"s);
}

TEST(WriteToXml, TheRootIsOneElement) {
    std::string const message = "Invalid XML root element: ";
    Value const element(List{Value(Map())});
    expect_refused(Value(), "", message + "null");
    expect_refused(Value("x"), "", message + "\"x\"");
    expect_refused(element, "", message + "[{}]");
    expect_refused(Value(Map()), "", message + "{}");
    expect_refused(Value(Map{{"a", element}, {"b", element}}), "", message + R"({"a":[{}],"b":[{}]})");
    expect_refused(Value(Map{{"a", Value(Map())}}), "", message + R"({"a":{}})");
    expect_refused(Value(Map{{"a", Value(List())}}), "", message + R"({"a":[]})");
    expect_refused(Value(Map{{"a", Value(List{Value(Map()), Value("x")})}}), "",
                   message + R"({"a":[{},"x"]})");
}

TEST(WriteToXml, ElementsAreMapsInLists) {
    std::string const before = header + "<a>"s;
    expect_refused(root(Value("x")), header, "Invalid XML element: \"x\"");
    expect_refused(root(Value()), header, "Invalid XML element: null");
    expect_refused(children({{"b", Value(List{Value(Map()), Value(1.5)})}}), before + "<b/>",
                   "Invalid XML element: 1.5");
    expect_refused(children({{"b", Value(Map{{"x", Value(true)}})}}), before,
                   "Invalid array of XML elements: {\"x\":true}");
    expect_refused(children({{"b", Value(List{Value(Map())})}, {"c", Value()}}), before + "<b/>",
                   "Invalid array of XML elements: null");
}

TEST(WriteToXml, AttributesAndTextsAreScalars) {
    expect_refused(with_attribute(Value()), header + "<a b=\""s, "Invalid XML attribute: null");
    expect_refused(with_attribute(Value(List{Value(1)})), header + "<a b=\""s, "Invalid XML attribute: [1]");
    expect_refused(with_attribute(Value(Map())), header + "<a b=\""s, "Invalid XML attribute: {}");
    expect_refused(with_content(Value()), header + "<a>"s, "Invalid XML content: null");
    expect_refused(with_content(Value(List())), header + "<a>"s, "Invalid XML content: []");
}

TEST(WriteToXml, AnUnfinishedAttributeCannotBeWritten) {
    expect_refused(read("<a a='1' b="), header + "<a a=\"1\" b=\""s, "Invalid XML attribute: null");
}

TEST(WriteToXml, AStreamThatFailsStaysFailed) {
    struct Short : std::streambuf {
        std::string text;
        std::streamsize xsputn(char const* s, std::streamsize n) override {
            auto const fitting =
                std::min<std::streamsize>(n, 10'000 - static_cast<std::streamsize>(text.size()));
            text.append(s, static_cast<std::size_t>(fitting));
            return fitting;
        }
        int_type overflow(int_type) override { return traits_type::eof(); }
    } buffer;
    Value const tree = with_attribute(Value(std::string(100'000, 'x')));
    std::ostream out(&buffer);
    write_to_XML(tree, out);
    EXPECT_TRUE(out.bad());
    EXPECT_EQ(buffer.text, written(tree).substr(0, 10'000));
    std::ostream failing(&buffer);
    failing.exceptions(std::ios_base::badbit);
    EXPECT_THROW(write_to_XML(tree, failing), std::ios_base::failure);
}

TEST(WriteToXml, AnyDepthIsWritten) {
    constexpr std::size_t depth = 1'000'000;
    std::string text;
    for (std::size_t i = 0; i < depth; ++i) text += "<a b=\"\">";
    text += "x";
    for (std::size_t i = 0; i < depth; ++i) text += "</a>";
    EXPECT_TRUE(written(read(text)) == header + text);
}
