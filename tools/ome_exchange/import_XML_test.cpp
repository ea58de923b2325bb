#include "import_XML.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include <vexa/json/Writer.h>
#include <vexa/json/XML_Reader.h>
#include <vexa/testing/expect_throws.h>

using namespace std::string_literals;
using OME::import_XML;

namespace {

constexpr std::string_view header = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

/// The text behind the header, which the reader must take.
std::string imported(std::string_view text) {
    std::string const result = import_XML(text);
    EXPECT_TRUE(result.starts_with(header));
    JSON::Value tree;
    char const* pos = result.data();
    EXPECT_TRUE(JSON::XML_Reader(tree).read(pos, pos + result.size()));
    EXPECT_EQ(pos, result.data() + result.size());
    return result.substr(header.size());
}

void expect_refused(std::string_view text, std::string const& place_and_reason) {
    VEXA_EXPECT_THROWS(import_XML(text), std::runtime_error, "Cannot import XML, " + place_and_reason);
}

std::string utf16(std::u16string_view text, bool big) {
    std::string bytes = big ? "\xfe\xff" : "\xff\xfe";
    for (char16_t const unit : text) {
        char const low = static_cast<char>(unit & 0xFF), high = static_cast<char>(unit >> 8);
        bytes += big ? high : low;
        bytes += big ? low : high;
    }
    return bytes;
}

} // namespace

TEST(ImportXml, PlainDocumentsKeepTheirOrderAndText) {
    EXPECT_EQ(imported("<a b=\"1\" c='2'><z>x</z><y/><z> y </z></a>"),
              "<a b=\"1\" c=\"2\"><z>x</z><y></y><z> y </z></a>");
    EXPECT_EQ(imported("<a/>"), "<a></a>");
    EXPECT_EQ(imported("<?xml version='1.0'?>\n<a>\n  <b/>\n</a>\n"), "<a><b></b></a>");
}

TEST(ImportXml, CommentsInstructionsAndTheDocumentTypeAreLeftOut) {
    EXPECT_EQ(imported("<!-- 1 --><?xml-stylesheet href='x'?><!DOCTYPE a SYSTEM 'no-such-file'>"
                       "<a>x<!-- <b> -->y<?php z?></a><!-- 2 -->"),
              "<a>xy</a>");
    EXPECT_EQ(imported("<!DOCTYPE a PUBLIC 'p' 'http://localhost:1/x.dtd'><a/>"), "<a></a>");
}

TEST(ImportXml, SectionsAndReferencesBecomeText) {
    EXPECT_EQ(imported("<a b='&#65;&#xe9;&lt;'><![CDATA[<&>]]>&#x1F600;&quot;</a>"),
              "<a b=\"A\xc3\xa9&lt;\">&lt;&amp;&gt;\xf0\x9f\x98\x80&quot;</a>");
    EXPECT_EQ(imported("<a><![CDATA[]]></a>"), "<a></a>");
    EXPECT_EQ(imported("<a b='x&#10;y&#9;z'/>"), "<a b=\"x\ny\tz\"></a>");
}

TEST(ImportXml, TextBesideChildrenIsLeftOutAndNamed) {
    std::vector<std::string> dropped;
    std::string const text = import_XML("<p>one <b>two</b> three<c/>\n <d> <e/>four</d></p>", &dropped);
    EXPECT_EQ(text, std::string(header) + "<p><b>two</b><c></c><d><e></e></d></p>");
    EXPECT_EQ(dropped, (std::vector<std::string>{"p: one ", "p:  three", "d: four"}));
    EXPECT_EQ(imported("<a> \n\t</a>"), "<a></a>");
}

TEST(ImportXml, NamesBecomeThoseOfTheReader) {
    EXPECT_EQ(imported("<ns:a xmlns:ns='u' ns:x='1'><b:c/></ns:a>"),
              "<a xmlns:ns=\"u\" ns:x=\"1\"><c></c></a>");
    EXPECT_EQ(imported("<\xc3\xa9t\xc3\xa9 \xc3\xa0='1' _y='2' :z='3'/>"),
              "<_x00E9_t_x00E9_ x_x00E0_=\"1\" x_y=\"2\" x:z=\"3\"></_x00E9_t_x00E9_>");
    EXPECT_EQ(imported("<\xe4\xb8\xad/>"), "<_x4E2D_></_x4E2D_>");
    EXPECT_EQ(imported("<a:b:c/>"), "<b_x003A_c></b_x003A_c>");
    EXPECT_EQ(imported("<a:/>"), "<a_x003A_></a_x003A_>");
    EXPECT_EQ(imported("<a:1/>"), "<_1></_1>");
    expect_refused("<a _y='1' x_y='2'/>", "line 1, column 20: attribute names that become the same");
}

TEST(ImportXml, EncodingsBecomeUtf8) {
    EXPECT_EQ(imported("\xef\xbb\xbf<a>\xc2\xb5</a>"), "<a>\xc2\xb5</a>");
    EXPECT_EQ(imported("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xb5</a>"), "<a>\xc2\xb5</a>");
    EXPECT_EQ(imported("<?xml version='1.0' encoding='windows-1252'?><a>\x80\xb5</a>"),
              "<a>\xe2\x82\xac\xc2\xb5</a>");
    EXPECT_EQ(imported(utf16(u"<?xml version='1.0' encoding='UTF-16'?><a>\u00b5\U0001F600</a>", false)),
              "<a>\xc2\xb5\xf0\x9f\x98\x80</a>");
    EXPECT_EQ(imported(utf16(u"<a>\u00b5</a>", true)), "<a>\xc2\xb5</a>");
    expect_refused("<?xml version='1.0' encoding='Shift_JIS'?><a/>", "line 1, column 31: unknown encoding");
    expect_refused("<?xml version='1.0' encoding='none'?><a/>", "line 1, column 31: unknown encoding");
    expect_refused("<a>\xff</a>", "line 1, column 4: not well-formed (invalid token)");
}

TEST(ImportXml, DeclarationsAndTheirEntitiesAreRefused) {
    expect_refused("<!DOCTYPE a [<!ENTITY b 'c'>]><a>&b;</a>",
                   "line 1, column 13: declarations in the document type are not supported");
    expect_refused("<!DOCTYPE a [<!ENTITY b SYSTEM '/etc/passwd'>]><a>&b;</a>",
                   "line 1, column 13: declarations in the document type are not supported");
    expect_refused("<a>&b;</a>", "line 1, column 4: undefined entity");
    expect_refused("<!DOCTYPE a SYSTEM 'x'><a>&b;</a>", "line 1, column 30: undefined entity &b;");
}

TEST(ImportXml, WhatIsNotWellFormedIsRefused) {
    expect_refused("", "line 1, column 1: no element found");
    expect_refused("x", "line 1, column 1: syntax error");
    expect_refused("<a>", "line 1, column 4: no element found");
    expect_refused("<a>\n</b>", "line 2, column 3: mismatched tag");
    expect_refused("<a/><b/>", "line 1, column 5: junk after document element");
    expect_refused("<a b='1' b='2'/>", "line 1, column 10: duplicate attribute");
    expect_refused("<a>\x01</a>", "line 1, column 4: not well-formed (invalid token)");
    expect_refused("<a>\0</a>"s, "line 1, column 4: not well-formed (invalid token)");
    expect_refused("<a>&#0;</a>", "line 1, column 4: reference to invalid character number");
}

TEST(ImportXml, AnyDepthAndSizeIsImported) {
    std::string deep;
    for (int i = 0; i < 1'000'000; ++i) deep += "<a>";
    deep += "x";
    for (int i = 0; i < 1'000'000; ++i) deep += "</a>";
    EXPECT_TRUE(import_XML(deep) == std::string(header) + deep);

    std::string wide = "<a";
    for (int i = 0; i < 200'000; ++i) wide += " x" + std::to_string(i) + "=\"\"";
    wide += "></a>";
    EXPECT_TRUE(import_XML(wide) == std::string(header) + wide);

    std::string const text = "<a>" + std::string(20'000'000, 'x') + "</a>";
    EXPECT_TRUE(import_XML(text) == std::string(header) + text);
}
