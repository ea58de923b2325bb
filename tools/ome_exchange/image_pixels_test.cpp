#include "image_pixels.h"

#include <string>

#include <gtest/gtest.h>

#include <vexa/ome/Root.h>

#include "export_XML.h"

namespace {

/// The image of a document with these pixels, to be changed.
class Pixels {
public:
    explicit Pixels(std::string const& content, std::string const& attributes = "")
        : tree_(*OME::Root("<OME><Image ID='Image:1'><Pixels ID='Pixels:1'" + attributes + ">" + content +
                           "</Pixels></Image></OME>")
                     .value()) {}

    JSON::Value& image() { return *OME::image_at(tree_, 0); }
    /// The element in the order of the schema.
    std::string xml() const {
        std::string const text = OME::export_XML(tree_), begin = R"(ID="Pixels:1")", end = "</Image>";
        auto const at = text.find(begin) + begin.size();
        return text.substr(at, text.find(end) - at);
    }

private:
    JSON::Value tree_;
};

} // namespace

TEST(ImagePixels, SamplesMoveFromTheDocumentIntoPages) {
    Pixels pixels(R"(<Channel ID="Channel:1"/><BinData Length="1">AA==</BinData><TiffData IFD="7"/>)"
                  R"(<Plane TheC="0"/>)",
                  R"( BigEndian="true")");
    OME::set_TIFF_pages(pixels.image(), 12);
    EXPECT_EQ(pixels.xml(),
              R"(><Channel ID="Channel:1"/><TiffData IFD="0" PlaneCount="12"/><Plane TheC="0"/></Pixels>)");
    OME::set_metadata_only(pixels.image());
    EXPECT_EQ(pixels.xml(), R"(><Channel ID="Channel:1"/><MetadataOnly/><Plane TheC="0"/></Pixels>)");
}

TEST(ImagePixels, WithoutChildrenGetOne) {
    Pixels pixels("");
    OME::set_metadata_only(pixels.image());
    EXPECT_EQ(pixels.xml(), "><MetadataOnly/></Pixels>");
}

TEST(ImagePixels, ChannelsOfSeveralSamplesAreDivided) {
    Pixels pixels(R"(<Channel Name="a" ID="Channel:1" SamplesPerPixel="2"><LightPath/></Channel>)"
                  R"(<Channel ID="Channel:1:1" Color="7"/>)");
    OME::split_channels(pixels.image(), 2);
    EXPECT_EQ(pixels.xml(), R"(><Channel ID="Channel:1" Name="a" SamplesPerPixel="1"><LightPath/></Channel>)"
                            R"(<Channel ID="Channel:1:1_" Name="a" SamplesPerPixel="1"/>)"
                            R"(<Channel Color="7" ID="Channel:1:1" SamplesPerPixel="1"/>)"
                            R"(<Channel Color="7" ID="Channel:1:1:1" SamplesPerPixel="1"/></Pixels>)");
}

TEST(ImagePixels, ThreeSamplesAreRedGreenAndBlue) {
    Pixels pixels(R"(<Channel ID="Channel:1"/>)");
    OME::split_channels(pixels.image(), 3);
    EXPECT_EQ(pixels.xml(), R"(><Channel Color="-16776961" ID="Channel:1" SamplesPerPixel="1"/>)"
                            R"(<Channel Color="16711935" ID="Channel:1:1" SamplesPerPixel="1"/>)"
                            R"(<Channel Color="65535" ID="Channel:1:2" SamplesPerPixel="1"/></Pixels>)");
    Pixels coloured(R"(<Channel ID="Channel:1" Color="5"/>)");
    OME::split_channels(coloured.image(), 3);
    EXPECT_NE(coloured.xml().find(R"(Color="5" ID="Channel:1:2")"), std::string::npos);
}

TEST(ImagePixels, ChannelsOfOneSampleStayAsTheyAre) {
    Pixels pixels(R"(<Channel ID="Channel:1"/>)");
    OME::split_channels(pixels.image(), 1);
    EXPECT_EQ(pixels.xml(), R"(><Channel ID="Channel:1"/></Pixels>)");
    Pixels none("<MetadataOnly/>");
    OME::split_channels(none.image(), 3);
    EXPECT_EQ(none.xml(), "><MetadataOnly/></Pixels>");
}

TEST(ImagePixels, MissingChannelsAreMadeAndOthersDropped) {
    Pixels pixels(R"(<Channel ID="Channel:1" Name="a"/>)");
    OME::provide_channels(pixels.image(), 2, 3);
    EXPECT_EQ(pixels.xml(), R"(><Channel ID="Channel:1" Name="a" SamplesPerPixel="3"/>)"
                            R"(<Channel ID="Channel:1_" SamplesPerPixel="3"/></Pixels>)");
    OME::provide_channels(pixels.image(), 1, 4);
    EXPECT_EQ(pixels.xml(), R"(><Channel ID="Channel:1" Name="a" SamplesPerPixel="4"/></Pixels>)");
}

TEST(ImagePixels, DocumentsWithoutThemStayAsTheyAre) {
    for (JSON::Value const& tree :
         {JSON::Value(), JSON::Value(JSON::Map{{"OME", JSON::List{JSON::Map()}}}),
          JSON::Value(JSON::Map{{"OME", JSON::List{JSON::Map{{"", JSON::Map{{"Image", JSON::List()}}}}}}})}) {
        JSON::Value same = tree;
        EXPECT_EQ(OME::image_at(same, 0), nullptr);
        EXPECT_TRUE(same == tree);
    }
    JSON::Value image = JSON::Map{{"", JSON::Map{{"Pixels", JSON::List{"text"}}}}};
    JSON::Value const before = image;
    OME::set_metadata_only(image);
    OME::set_TIFF_pages(image, 1);
    OME::split_channels(image, 3);
    OME::provide_channels(image, 1, 3);
    EXPECT_TRUE(image == before);
}
