#include "keep_images.h"

#include <regex>
#include <string>

#include <gtest/gtest.h>

#include <vexa/ome/Root.h>

#include "export_XML.h"

namespace {

std::string const image_1 = R"(<Image ID="Image:1"><ROIRef ID="ROI:1"/><ROIRef ID="ROI:3"/></Image>)";
std::string const image_2 = R"(<Image ID="Image:2"><AnnotationRef ID="Annotation:1"/><ROIRef ID="ROI:2"/>)"
                            R"(<ROIRef ID="ROI:3"/></Image>)";

/// What images get on reading, which plays no part here.
std::string without_pixels(std::string const& xml) {
    std::regex const in_between("><Pixels ID=\"[^\"]*\"/></Image>"), in_front("<Pixels ID=\"[^\"]*\"/>");
    return std::regex_replace(std::regex_replace(xml, in_between, "/>"), in_front, "");
}

/// The content of a document of which images are kept; "none" if nothing is left.
std::string kept(std::string const& content, std::vector<bool> const& keep) {
    OME::Root const root("<OME>" + content + "</OME>");
    JSON::Value tree = *root.value();
    OME::keep_images(tree, keep);
    std::string const text = OME::export_XML(tree);
    EXPECT_TRUE(*OME::Root(text).value() == tree) << "opens, and refers to nothing that is missing";
    std::string const end = "xsd\">";
    auto const begin = text.find(end);
    if (begin == std::string::npos) return "none";
    return without_pixels(
        text.substr(begin + end.size(), text.size() - begin - end.size() - std::string("</OME>").size()));
}

} // namespace

TEST(KeepImages, WithoutAChoiceEverythingStays) {
    std::string const content = R"(<Image ID="Image:1"/><Image ID="Image:2"/>)";
    EXPECT_EQ(kept(content, {}), content);
    EXPECT_EQ(kept(content, {true}), content);
    EXPECT_EQ(kept(content, {true, true, false}), content);
}

TEST(KeepImages, ImagesAreTakenOutByTheirPlace) {
    std::string const content = R"(<Image ID="Image:3"/><Image ID="Image:1"/><Image ID="Image:2"/>)";
    EXPECT_EQ(kept(content, {false, true, false}), R"(<Image ID="Image:1"/>)");
    EXPECT_EQ(kept(content, {true, false}), R"(<Image ID="Image:3"/><Image ID="Image:2"/>)");
    EXPECT_EQ(kept(content, {false, false, false}), "none");
}

TEST(KeepImages, ReferencesToThemGoToo) {
    EXPECT_EQ(kept(R"(<Dataset ID="Dataset:1"><ImageRef ID="Image:1"/><ImageRef ID="Image:2"/></Dataset>)"
                   R"(<Dataset ID="Dataset:2"><ImageRef ID="Image:2"/></Dataset>)"
                   R"(<Folder ID="Folder:1"><ImageRef ID="Image:2"/></Folder>)"
                   R"(<Image ID="Image:1"/><Image ID="Image:2"/>)",
                   {true, false}),
              R"(<Dataset ID="Dataset:1"><ImageRef ID="Image:1"/></Dataset><Dataset ID="Dataset:2"/>)"
              R"(<Folder ID="Folder:1"/><Image ID="Image:1"/>)");
}

TEST(KeepImages, RegionsAndAnnotationsOfOthersStay) {
    EXPECT_EQ(kept(image_1 + image_2 +
                       R"(<ROI ID="ROI:1"/><ROI ID="ROI:2"/><ROI ID="ROI:3"/><ROI ID="ROI:4"/>)"
                       R"(<StructuredAnnotations><TagAnnotation ID="Annotation:1"/>)"
                       R"(<TagAnnotation ID="Annotation:2"/></StructuredAnnotations>)",
                   {true, false}),
              image_1 + R"(<StructuredAnnotations><TagAnnotation ID="Annotation:2"/></StructuredAnnotations>)"
                        R"(<ROI ID="ROI:1"/><ROI ID="ROI:3"/><ROI ID="ROI:4"/>)");
}

TEST(KeepImages, WhatOnlyTheyNeedGoesWithThem) {
    std::string const shared = R"(<ROI ID="ROI:1"/>)";
    EXPECT_EQ(
        kept(R"(<Image ID="Image:1"><ROIRef ID="ROI:1"/></Image>)"
             R"(<Image ID="Image:2"><ROIRef ID="ROI:1"/><ROIRef ID="ROI:2"/></Image>)" +
                 shared +
                 R"(<ROI ID="ROI:2"><AnnotationRef ID="Annotation:1"/></ROI><StructuredAnnotations>)"
                 R"(<TagAnnotation ID="Annotation:1"><AnnotationRef ID="Annotation:2"/></TagAnnotation>)"
                 R"(<TagAnnotation ID="Annotation:2"/></StructuredAnnotations>)",
             {true, false}),
        R"(<Image ID="Image:1"><ROIRef ID="ROI:1"/></Image><StructuredAnnotations/>)" + shared);
}

TEST(KeepImages, ExtensionsForgetSourceImages) {
    std::string const xml =
        kept(R"(<Image ID="Image:1"><AnnotationRef ID="Annotation:1"/></Image><Image ID="Image:2"/>)"
             R"(<Image ID="Image:3"/><StructuredAnnotations><XMLAnnotation ID="Annotation:1" )"
             R"(Namespace="urn:vexa/ome/image/extension"><Value><extension><source_image ID="Image:2"/>)"
             R"(<source_image ID="Image:3"/></extension></Value></XMLAnnotation></StructuredAnnotations>)",
             {true, false, true});
    EXPECT_EQ(xml.find("Image:2"), std::string::npos) << xml;
    EXPECT_NE(xml.find(R"(<source_image ID="Image:3"/></extension>)"), std::string::npos) << xml;
}

TEST(KeepImages, InstrumentsAndDyesStay) {
    std::string const content = R"(<Instrument ID="Instrument:1"/><Image ID="Image:1"/>)";
    EXPECT_EQ(
        kept(content + R"(<Image ID="Image:2"><InstrumentRef ID="Instrument:1"/></Image>)", {true, false}),
        content);
}

TEST(KeepImages, DocumentsOfAnyDepthAreSearched) {
    std::string content;
    constexpr int depth = 100'000;
    for (int i = 0; i < depth; ++i) content += "<a>";
    content += R"(<b ID="Image:2"/>)";
    for (int i = 0; i < depth; ++i) content += "</a>";
    OME::Root const root("<OME>" + content + R"(<Image ID="Image:1"/><Image ID="Image:2"/></OME>)");
    JSON::Value tree = *root.value();
    OME::keep_images(tree, {true, false});
    std::string const text = OME::export_XML(tree);
    EXPECT_EQ(text.find("Image:2"), std::string::npos);
    EXPECT_NE(text.find("Image:1"), std::string::npos);
}

TEST(KeepImages, TreesWithoutImagesStayAsTheyAre) {
    for (JSON::Value const& tree :
         {JSON::Value(), JSON::Value(JSON::Map()), JSON::Value(JSON::Map{{"OME", 1}}),
          JSON::Value(JSON::Map{{"OME", JSON::List()}})}) {
        JSON::Value same = tree;
        OME::keep_images(same, {false});
        EXPECT_TRUE(same == tree);
    }
}
