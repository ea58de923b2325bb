#include "export_XML.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include <vexa/testing/expect_throws.h>

#include "import_XML.h"

using namespace std::string_literals;

namespace {

std::string const start = R"(<?xml version="1.0" encoding="UTF-8"?><OME )"
                          R"(xmlns="http://www.openmicroscopy.org/Schemas/OME/2016-06" )"
                          R"(xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" )"
                          R"(xsi:schemaLocation="http://www.openmicroscopy.org/Schemas/OME/2016-06 )"
                          R"(http://www.openmicroscopy.org/Schemas/OME/2016-06/ome.xsd">)";

/// The children of the exported document, which must read back to the same tree.
std::string exported(OME::Root const& root) {
    std::string const text = OME::export_XML(root);
    EXPECT_TRUE(*OME::Root(text).value() == *root.value()) << text;
    EXPECT_TRUE(*OME::Root(OME::import_XML(text)).value() == *root.value()) << text;
    EXPECT_TRUE(text.starts_with(start) && text.ends_with("</OME>"));
    return text.substr(start.size(), text.size() - start.size() - std::string_view("</OME>").size());
}

std::string exported(std::string const& children) {
    return exported(OME::Root("<OME>" + children + "</OME>"));
}

std::string with_contents(std::string const& contents) {
    return R"(<StructuredAnnotations><XMLAnnotation ID="Annotation:1"><Value>)" + contents +
           "</Value></XMLAnnotation></StructuredAnnotations>";
}

void expect_refused(OME::Root const& root, std::string const& message) {
    VEXA_EXPECT_THROWS(OME::export_XML(root), std::invalid_argument, message);
}

void expect_creator_refused(std::string const& creator, std::string const& shown) {
    expect_refused(OME::Root("<OME Creator='" + creator + "'/>"),
                   "Cannot export XML: not well-formed (invalid token) behind "
                   "'<?xml version=\"1.0\" encoding=\"UTF-8\"?><OME Creator=\"" +
                       shown + "'");
}

} // namespace

TEST(ExportXml, ChildrenComeInTheOrderOfTheSchema) {
    EXPECT_EQ(
        exported(
            R"(<ROI ID="ROI:1"><AnnotationRef ID="Annotation:1"/><Description>d</Description><Union/></ROI>)"
            R"(<Image ID="Image:1"><Pixels ID="Pixels:1"><Plane/><MetadataOnly/><Channel ID="Channel:1"><LightPath/><DetectorSettings/>)"
            R"(</Channel></Pixels><Description>i</Description><AcquisitionDate>a</AcquisitionDate></Image>)"
            R"(<Dataset ID="Dataset:1"/><Project ID="Project:1"/>)"),
        R"(<Project ID="Project:1"/><Dataset ID="Dataset:1"/>)"
        R"(<Image ID="Image:1"><AcquisitionDate>a</AcquisitionDate><Description>i</Description><Pixels ID="Pixels:1">)"
        R"(<Channel ID="Channel:1">)"
        R"(<DetectorSettings/><LightPath/></Channel><MetadataOnly/><Plane/></Pixels></Image>)"
        R"(<ROI ID="ROI:1"><Union/><AnnotationRef ID="Annotation:1"/><Description>d</Description></ROI>)");
}

TEST(ExportXml, LightSourcesOfAllKindsStandTogether) {
    EXPECT_EQ(
        exported(
            R"(<Instrument ID="Instrument:1"><Arc ID="LightSource:3"/><Filter ID="Filter:1"/>)"
            R"(<Laser ID="LightSource:2"><Pump ID="LightSource:3"/></Laser><Objective ID="Objective:1"/>)"
            R"(<Laser ID="LightSource:1"/><Detector ID="Detector:1"/><Filament ID="LightSource:4"/>)"
            R"(<FilterSet ID="FilterSet:1"/><Microscope/></Instrument>)"),
        R"(<Instrument ID="Instrument:1"><Microscope/><Laser ID="LightSource:2"><Pump ID="LightSource:3"/>)"
        R"(</Laser><Laser ID="LightSource:1"/><Arc ID="LightSource:3"/><Filament ID="LightSource:4"/>)"
        R"(<Detector ID="Detector:1"/><Objective ID="Objective:1"/><FilterSet ID="FilterSet:1"/>)"
        R"(<Filter ID="Filter:1"/></Instrument>)");
}

TEST(ExportXml, ShapesAndAnnotationsStandByTheirKinds) {
    EXPECT_EQ(
        exported(
            R"(<ROI ID="ROI:1"><Union><Rectangle ID="Shape:1"/><Line ID="Shape:2"/><Rectangle ID="Shape:3">)"
            R"(<AnnotationRef ID="Annotation:1"/><Transform/></Rectangle></Union></ROI>)"
            R"(<StructuredAnnotations><TagAnnotation ID="Annotation:2"><Value>t</Value><Description>d)"
            R"(</Description></TagAnnotation><LongAnnotation ID="Annotation:3"/></StructuredAnnotations>)"),
        R"(<StructuredAnnotations><LongAnnotation ID="Annotation:3"/><TagAnnotation ID="Annotation:2"><Description>d)"
        R"(</Description><Value>t</Value></TagAnnotation></StructuredAnnotations>)"
        R"(<ROI ID="ROI:1"><Union><Line ID="Shape:2"/><Rectangle ID="Shape:1"/><Rectangle ID="Shape:3">)"
        R"(<Transform/><AnnotationRef ID="Annotation:1"/></Rectangle></Union></ROI>)");
}

TEST(ExportXml, ChildrenThatTheSchemaDoesNotNameComeBehindTheOthers) {
    EXPECT_EQ(
        exported(
            R"(<Zoo/><ROI ID="ROI:1"/><Ark/><Rights><RightsHeld>a</RightsHeld><RightsHolder>b</RightsHolder></Rights>)"),
        R"(<Rights><RightsHolder>b</RightsHolder><RightsHeld>a</RightsHeld></Rights><ROI ID="ROI:1"/><Ark/><Zoo/>)");
}

TEST(ExportXml, ContentsOfAnnotationsStayAsTheyAre) {
    std::string const contents = with_contents(
        R"(<a b="1" xmlns=""><c>x</c><d/><d e=""/></a><svg xlink:href="#x" xmlns="urn:s" xmlns:xlink="urn:x"/>)");
    EXPECT_EQ(exported(contents), contents);
    EXPECT_EQ(exported(with_contents("<z/><extension><z/><y/></extension>")),
              with_contents("<extension><y/><z/></extension><z/>"));
    EXPECT_EQ(exported(with_contents("text")), with_contents("text"));
}

TEST(ExportXml, OfAnEmptyDocumentIsAnEmptyElement) {
    std::string const expected = start.substr(0, start.size() - 1) + "/>";
    EXPECT_EQ(OME::export_XML(OME::Root("")), expected);
    EXPECT_EQ(OME::export_XML(OME::Root(expected)), expected);
}

TEST(ExportXml, TypedValuesHaveTheFormOfTheSchema) {
    EXPECT_EQ(
        exported(R"(<Instrument ID="Instrument:1"><Laser ID="LightSource:1" FrequencyMultiplication="2")"
                 R"( Power="1e-1" RepetitionRate="INF" Tuneable="true" Wavelength="4.880E2"/></Instrument>)"),
        R"(<Instrument ID="Instrument:1"><Laser FrequencyMultiplication="2" ID="LightSource:1" Power="0.1")"
        R"( RepetitionRate="INF" Tuneable="true" Wavelength="488"/></Instrument>)");
}

TEST(ExportXml, TextsKeepTheirCharacters) {
    std::string const project =
        R"(<Project ID="Project:1" Name="&lt;µ &amp; 试验 😀&gt;"><Description>&quot;é&apos; x </Description></Project>)";
    EXPECT_EQ(exported(project), project);
}

TEST(ExportXml, CharactersThatXmlDoesNotAllowAreRefused) {
    expect_creator_refused("a\x01", "a");
    expect_creator_refused("\xff", "");
    expect_creator_refused("\xed\xa0\x80", "");
    expect_creator_refused("\0"s, "");
    expect_creator_refused("\xc3\xa9\xef\xbf\xbf", "??");
}

TEST(ExportXml, NamesThatXmlDoesNotAllowAreRefused) {
    std::string const before = start.substr(start.size() - 60);
    expect_refused(OME::Root("<OME><a x:b='1'/></OME>"),
                   "Cannot export XML: unbound prefix behind '" + before + "'");
    expect_refused(OME::Root("<OME><x:1></x:1></OME>"),
                   "Cannot export XML: not well-formed (invalid token) behind '" + before.substr(1) + "<'");
}

TEST(ExportXml, NamesThatWouldLoseAPrefixOnReadingAreRefused) {
    std::string const text = start + "<xsi:b/>";
    expect_refused(OME::Root("<OME><a:xsi:b></a:xsi:b></OME>"),
                   "Cannot export XML: element name with a prefix behind '" + text.substr(text.size() - 60) +
                       "'");
}

TEST(ExportXml, NamespacesWithBlanksAreAllowed) {
    OME::Root const root("<OME><a xmlns='b c d'><e></e></a></OME>");
    EXPECT_EQ(OME::export_XML(root), start + "<a xmlns=\"b c d\"><e/></a></OME>");
}

TEST(ExportXml, ADocumentWithAnotherRootIsRefused) {
    try {
        OME::export_XML(OME::Root("<a/>"));
        FAIL();
    } catch (std::invalid_argument const& error) {
        EXPECT_TRUE(std::string(error.what()).starts_with("Invalid XML root element: {\"OME\":[{"))
            << error.what();
    }
}

TEST(ExportXml, AnyDepthIsExported) {
    constexpr int depth = 300'000;
    std::string contents;
    for (int i = 0; i < depth; ++i) contents += "<a>";
    contents += "x";
    for (int i = 0; i < depth; ++i) contents += "</a>";
    OME::Root const root("<OME>" + with_contents(contents) + "</OME>");
    EXPECT_TRUE(OME::export_XML(root) == start + with_contents(contents) + "</OME>");
}

TEST(ExportXml, UnknownPhysicalSizesAreLeftOutWithTheirUnits) {
    auto const pixels = [](std::string const& attributes) {
        return R"(<Image ID="Image:1"><Pixels ID="Pixels:1")" + attributes + "/></Image>";
    };
    auto const of = [&](std::string const& x, std::string const& y, std::string const& z) {
        std::string const unit = R"(" PhysicalSizeXUnit="m" PhysicalSizeY=")";
        return OME::export_XML(OME::Root(
            "<OME>" + pixels(" PhysicalSizeX=\"" + x + unit + y + "\" PhysicalSizeZ=\"" + z + "\"") +
            "</OME>"));
    };
    EXPECT_EQ(of("0", "NaN", "-1"), start + pixels("") + "</OME>");
    EXPECT_EQ(of("-0.0", "-INF", "2"), start + pixels(R"( PhysicalSizeZ="2")") + "</OME>");
    EXPECT_EQ(of("1e-300", "INF", "-1e-300"),
              start + pixels(R"( PhysicalSizeX="1e-300" PhysicalSizeXUnit="m" PhysicalSizeY="INF")") +
                  "</OME>");
}

TEST(ExportXml, UnknownPhysicalSizesStayInTheTree) {
    OME::Root const root("<OME><Image ID='Image:7'><Pixels ID='Pixels:1' PhysicalSizeY='0'/></Image>"
                         "<Image ID='Image:8'><Pixels ID='Pixels:2' PhysicalSizeY='1'/></Image></OME>");
    std::string const before = root.XML();
    EXPECT_EQ(OME::export_XML(root),
              start + R"(<Image ID="Image:7"><Pixels ID="Pixels:1"/></Image>)"
                      R"(<Image ID="Image:8"><Pixels ID="Pixels:2" PhysicalSizeY="1"/></Image></OME>)");
    EXPECT_EQ(root.XML(), before);
    EXPECT_NE(before.find("PhysicalSizeY=\"0\""), before.npos);
}

TEST(ExportXml, PhysicalSizesElsewhereStay) {
    std::string const contents = with_contents(R"(<Image><Pixels PhysicalSizeX="0"/></Image>)");
    EXPECT_EQ(exported(contents), contents);
}
