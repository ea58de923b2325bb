#include "import_XML.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include <vexa/json/Writer.h>
#include <vexa/json/XML_Reader.h>
#include <vexa/ome/Root.h>
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

namespace {

/// The children of an imported document, which Root must open.
std::string imported_OME(std::string const& children) {
    std::string const text = imported("<OME>" + children + "</OME>");
    EXPECT_NO_THROW(OME::Root{import_XML("<OME>" + children + "</OME>")}) << children;
    std::string_view const start = "<OME>", end = "</OME>";
    return text.substr(start.size(), text.size() - start.size() - end.size());
}

std::string in_annotation(std::string const& contents) {
    return R"(<StructuredAnnotations><XMLAnnotation ID="Annotation:1"><Value>)" + contents +
           "</Value></XMLAnnotation></StructuredAnnotations>";
}

} // namespace

TEST(ImportXml, GlobalIdentifiersBecomeLocalOnesWhereverTheyAreReferredTo) {
    EXPECT_EQ(imported_OME(
                  "<Dataset ID='urn:lsid:a.org:Dataset:1'><ImageRef ID='urn:lsid:a.org:Image:x:2'/>"
                  "</Dataset><Image ID='urn:lsid:a.org:Image:x:2'/><Image ID='urn:lsid:b.org:Image:x:2'/>"),
              R"(<Dataset ID="Dataset:a.org:1"><ImageRef ID="Image:a.org:x:2"></ImageRef></Dataset>)"
              R"(<Image ID="Image:a.org:x:2"></Image><Image ID="Image:b.org:x:2"></Image>)");
    // Elements that Root passes through, and attributes of other names.
    EXPECT_EQ(
        imported_OME("<Plate ID='urn:lsid:a.org:Plate:1'/><FilterSet ExFilterRef='urn:lsid:a.org:Filter:1'/>"
                     "<Image AcquiredPixels='urn:lsid:a.org:Pixels:1' Name='urn:lsid:a.org:Image:1'/>"),
        R"(<Plate ID="Plate:a.org:1"></Plate><FilterSet ExFilterRef="Filter:a.org:1"></FilterSet>)"
        R"(<Image AcquiredPixels="Pixels:a.org:1" Name="urn:lsid:a.org:Image:1"></Image>)");
    std::string const contents = R"(<a ID="Objective:a.org:1" Name="urn:lsid:a.org:Objective:1"></a>)";
    EXPECT_EQ(
        imported_OME(in_annotation("<a ID='urn:lsid:a.org:Objective:1' Name='urn:lsid:a.org:Objective:1'/>")),
        in_annotation(contents));
}

TEST(ImportXml, TextsThatAreNoGlobalIdentifiersCountAsTheyAre) {
    EXPECT_EQ(
        imported_OME("<ROI ID='urn:lsid:a.org:1'/><ROI ID='urn:lsid::ROI:1'/><ROI ID='urn:lsid:a.org::1'/>"
                     "<ROI ID='urn:lsid:a.org:ROI:'/><ROI ID='urn:lsid:'/><ROI ID=''/>"),
        R"(<ROI ID="ROI:urn:lsid:a.org:1"></ROI><ROI ID="ROI:urn:lsid::ROI:1"></ROI>)"
        R"(<ROI ID="ROI:urn:lsid:a.org::1"></ROI><ROI ID="ROI:urn:lsid:a.org:ROI:"></ROI>)"
        R"(<ROI ID="ROI:urn:lsid:"></ROI><ROI ID="ROI:"></ROI>)");
    EXPECT_EQ(imported_OME("<Plate ID='urn:lsid:a.org:1'/>"), R"(<Plate ID="urn:lsid:a.org:1"></Plate>)");
    EXPECT_EQ(imported_OME("<ROI ID='urn:lsid:a.org:Region:1'/>"), R"(<ROI ID="ROI:Region:a.org:1"></ROI>)");
}

TEST(ImportXml, IdentifiersGetTheWordOfTheirType) {
    EXPECT_EQ(
        imported_OME(
            "<Instrument ID='Microscope'><Laser ID='Arc:1'/><Arc ID='2'/><Dichroic ID='3'/></Instrument>"
            "<Image ID='0'><InstrumentRef ID='Microscope'/><Pixels ID='0'><Channel ID='Image:0'>"
            "<LightSourceSettings ID='Arc:1'/></Channel></Pixels></Image><ROI ID='ROI:1'/>"),
        R"(<Instrument ID="Instrument:Microscope"><Laser ID="LightSource:Arc:1"></Laser>)"
        R"(<Arc ID="LightSource:2"></Arc><Dichroic ID="3"></Dichroic></Instrument>)"
        R"(<Image ID="Image:0"><InstrumentRef ID="Instrument:Microscope"></InstrumentRef><Pixels ID="Pixels:0">)"
        R"(<Channel ID="Channel:Image:0"><LightSourceSettings ID="LightSource:Arc:1"></LightSourceSettings>)"
        R"(</Channel></Pixels></Image><ROI ID="ROI:1"></ROI>)");
    std::string const contents = R"(<Image ID="0"><Value ID="1"></Value></Image>)";
    EXPECT_EQ(imported_OME(in_annotation(contents)), in_annotation(contents));
    EXPECT_EQ(imported("<a><Image ID='0'/></a>"), R"(<a><Image ID="0"></Image></a>)");
}

TEST(ImportXml, IdentifiersNeverBecomeTheSame) {
    EXPECT_EQ(
        imported_OME("<Folder><ROIRef ID='1'/><ROIRef ID='ROI:1'/></Folder><ROI ID='ROI:1'/><ROI ID='1'/>"),
        R"(<Folder><ROIRef ID="ROI:1"></ROIRef><ROIRef ID="ROI:1_"></ROIRef></Folder>)"
        R"(<ROI ID="ROI:1_"></ROI><ROI ID="ROI:1"></ROI>)");
    EXPECT_EQ(
        imported_OME("<ROI ID='ROI:a:1'/><ROI ID='urn:lsid:a:ROI:1'/><ROI ID='ROI:a:1_'/><ROI ID='a:1'/>"),
        R"(<ROI ID="ROI:a:1"></ROI><ROI ID="ROI:a:1_"></ROI><ROI ID="ROI:a:1__"></ROI>)"
        R"(<ROI ID="ROI:a:1___"></ROI>)");
    EXPECT_EQ(imported_OME("<ROI ID='1'/><ROI ID='1'/>"), R"(<ROI ID="ROI:1"></ROI><ROI ID="ROI:1"></ROI>)");
    EXPECT_EQ(imported_OME("<Image ID='1'><Pixels ID='1'/></Image><Plate ID='1'/>"),
              R"(<Image ID="Image:1"><Pixels ID="Pixels:1"></Pixels></Image><Plate ID="1"></Plate>)");
}

TEST(ImportXml, NumbersAndBooleansBecomePlain) {
    EXPECT_EQ(
        imported_OME(
            "<Image><Pixels SizeX=' +5 ' PhysicalSizeX='&#9;+0.5&#10;' PhysicalSizeY='+INF' "
            "PhysicalSizeZ=' NaN' TimeIncrement='-INF' Interleaved='1' BigEndian=' 0 '>"
            "<Plane PositionX='+000000043420.9400' PositionY='+.5e+1' TheZ='007'/></Pixels></Image>"),
        R"(<Image><Pixels SizeX="5" PhysicalSizeX="0.5" PhysicalSizeY="INF" PhysicalSizeZ="NaN" )"
        R"(TimeIncrement="-INF" Interleaved="true" BigEndian="false">)"
        R"(<Plane PositionX="000000043420.9400" PositionY=".5e+1" TheZ="007"></Plane></Pixels></Image>)");
    std::string const name = "<Image Name=\" +5 \"><Description>+5 </Description></Image>";
    EXPECT_EQ(imported_OME(name), name);
    std::string const contents = R"(<a SizeX="+5" BigEndian="1"></a>)";
    EXPECT_EQ(imported_OME(in_annotation(contents)), in_annotation(contents));
    EXPECT_EQ(imported("<a SizeX='+5'/>"), R"(<a SizeX="+5"></a>)");
}

TEST(ImportXml, WhatIsNoNumberDoesNotBecomeOne) {
    EXPECT_EQ(imported("<OME><Plane TheZ='+-5' TheC='++5' TheT='+' DeltaT=' '/><Pixels BigEndian='2' "
                       "Interleaved='+1'/></OME>"),
              R"(<OME><Plane TheZ="+-5" TheC="++5" TheT="+" DeltaT=""></Plane><Pixels BigEndian="2" )"
              R"(Interleaved="+1"></Pixels></OME>)");
}

TEST(ImportXml, WrappersOfOlderReleasesBecomeWhatTheyHold) {
    EXPECT_EQ(
        imported_OME("<Instrument><LightSource ID='LightSource:1' Power='2'> <Laser Type='Gas'>"
                     "<Pump ID='LightSource:2'/></Laser><AnnotationRef ID='Annotation:1'/></LightSource>"
                     "<LightSource ID='LightSource:2'><Arc/></LightSource></Instrument>"),
        R"(<Instrument><Laser ID="LightSource:1" Power="2" Type="Gas"><Pump ID="LightSource:2"></Pump>)"
        R"(<AnnotationRef ID="Annotation:1"></AnnotationRef></Laser><Arc ID="LightSource:2"></Arc></Instrument>)");
    EXPECT_EQ(
        imported_OME("<ROI><Union><Shape ID='Shape:1' TheZ='+1'><Rectangle X='+1'/><Transform A00='1'/>"
                     "</Shape></Union></ROI>"),
        R"(<ROI><Union><Rectangle ID="Shape:1" TheZ="1" X="1"><Transform A00="1"></Transform></Rectangle>)"
        R"(</Union></ROI>)");
}

TEST(ImportXml, OtherWrappersStay) {
    for (std::string const text :
         {R"(<LightSource></LightSource>)", R"(<LightSource><Pump></Pump></LightSource>)",
          R"(<LightSource><AnnotationRef></AnnotationRef><Laser></Laser></LightSource>)",
          R"(<LightSource Type="1"><Laser Type="2"></Laser></LightSource>)",
          R"(<Shape><Path></Path><Line></Line></Shape>)", R"(<Shape><Laser></Laser></Shape>)"})
        EXPECT_EQ(imported("<OME>" + text + "</OME>"), "<OME>" + text + "</OME>");
    EXPECT_EQ(imported("<a><Shape><Line/></Shape></a>"), "<a><Shape><Line></Line></Shape></a>");
    EXPECT_EQ(imported("<OME><Shape><Line/><Line/></Shape></OME>"), "<OME><Line><Line></Line></Line></OME>");
    std::string const contents = "<Shape><Line></Line></Shape>";
    EXPECT_EQ(imported_OME(in_annotation(contents)), in_annotation(contents));
    std::vector<std::string> dropped;
    EXPECT_EQ(import_XML("<OME><Shape>a<Line>b</Line>c</Shape></OME>", &dropped),
              std::string(header) + "<OME><Line></Line></OME>");
    EXPECT_EQ(dropped, (std::vector<std::string>{"Shape: a", "Line: b", "Line: c"}));
}

TEST(ImportXml, TheInstrumentInUseComesFirst) {
    std::string const
        first = R"(<Instrument ID="Instrument:1"></Instrument>)",
        project = "<Project></Project>",
        second = R"(<Instrument ID="Instrument:2"><Detector ID="Detector:1"></Detector></Instrument>)",
        third = R"(<Instrument ID="Instrument:3"></Instrument>)";
    auto const image = [](std::string const& number) {
        return R"(<Image><InstrumentRef ID="Instrument:)" + number + R"("></InstrumentRef></Image>)";
    };
    EXPECT_EQ(imported_OME(first + project + second + third + image("2") + image("3")),
              second + first + project + third + image("2") + image("3"));
    EXPECT_EQ(imported_OME(first + second + image("1")), first + second + image("1"));
    EXPECT_EQ(imported_OME(first + second), first + second);
    EXPECT_EQ(imported_OME(image("2") + first + second), image("2") + second + first);
    EXPECT_EQ(imported("<OME><InstrumentRef ID='Instrument:2'/>" + first + second + image("4") + "</OME>"),
              R"(<OME><InstrumentRef ID="Instrument:2"></InstrumentRef>)" + first + second + image("4") +
                  "</OME>");
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
