#pragma once

#include <string>

#include <vexa/json/Writer.h>
#include <vexa/ome/Channel.h>
#include <vexa/ome/Root.h>

namespace Vexa::testing {

/// The XML of a document with light sources, detectors, filters, dyes and bands, and with these channels and
/// annotations, which have the numbers from 2 on.
inline std::string channel_xml(std::string const& channels, std::string const& annotations = "") {
    return R"(<OME>)" + channels +
           R"(<Instrument><Detector ID="Detector:1"/><Detector ID="Detector:2"/><Filter ID="Filter:1">)"
           R"(<TransmittanceRange CutIn="500" CutOut="0.55" CutOutUnit="µm"/></Filter><Filter ID="Filter:2"/>)"
           R"(<Laser ID="LightSource:1" Wavelength="488"/><Laser ID="LightSource:2" Wavelength="0.775" )"
           R"(WavelengthUnit="µm"/><Laser ID="LightSource:3"/></Instrument>)"
           R"(<Project><AnnotationRef ID="Annotation:1"/></Project><StructuredAnnotations>)"
           R"(<XMLAnnotation ID="Annotation:1" Namespace="urn:vexa/ome/project/extension"><Value><extension>)"
           R"(<band ID="Band:1"><dye_reference ID="Dye:2"/><dye_reference ID="Dye:1"/></band>)"
           R"(<band ID="Band:2"/><dye ID="Dye:1" name="Green"/><dye ID="Dye:2" name="Red"/><dye ID="Dye:3"/>)"
           R"(</extension></Value></XMLAnnotation>)" +
           annotations + "</StructuredAnnotations></OME>";
}

/// An annotation with the extension of a channel or of a light path.
inline std::string channel_annotation(int number, std::string const& owner, std::string const& extension) {
    return R"(<XMLAnnotation ID="Annotation:)" + std::to_string(number) + R"(" Namespace="urn:vexa/ome/)" +
           owner + R"(/extension"><Value>)" + extension + "</Value></XMLAnnotation>";
}

/// A document with channels right below its top element.
struct ChannelDocument {
    explicit ChannelDocument(std::string const& xml) : root(xml) { resolve_references(); }

    void resolve_references() {
        root.resolve_references();
        for (OME::Channel& each : channels) each.resolve_references();
    }
    OME::Channel& channel() { return channels.front(); }
    /// All channels as XML, which come first in a document.
    std::string channels_as_xml() const {
        std::string const all = root.XML();
        auto const begin = all.find("<Channel");
        return all.substr(begin, all.find("<Instrument") - begin);
    }
    /// The annotations but for the first one as XML, which come last.
    std::string annotations_as_xml() const {
        std::string const all = root.XML();
        std::string const end_of_annotation = "</XMLAnnotation>";
        auto const begin = all.find(end_of_annotation) + end_of_annotation.size();
        return all.substr(begin, all.find("</StructuredAnnotations>") - begin);
    }

    OME::Root root;
    OME::Array_of<OME::Channel> channels{root.ome.content, "Channel"};
};

} // namespace Vexa::testing
