// Reading and writing of XML through a tree of values, beside two libraries that build trees of their own.

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include <malloc.h>
#include <pugixml.hpp>
#include <tinyxml2.h>

#include <vexa/json/Write_to_XML.h>
#include <vexa/json/XML_Reader.h>

#include "bench.h"

namespace {

using Vexa::bench::Clock;
using Vexa::bench::keep;

/// The description of an image with \p planes planes, as acquisition programs write it.
std::string image_document(int planes) {
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                       "<OME xmlns=\"http://www.openmicroscopy.org/Schemas/OME/2016-06\">\n"
                       "  <Image ID=\"Image:0\" Name=\"specimen &amp; reference\">\n"
                       "    <Description>A stack of planes &lt;test&gt;</Description>\n"
                       "    <Pixels ID=\"Pixels:0\" DimensionOrder=\"XYZCT\" Type=\"uint16\">\n";
    auto const add = [&text](auto const&... parts) { ((text += parts), ...); };
    for (int i = 0; i < planes; ++i) {
        std::string const number = std::to_string(i);
        add("      <TiffData FirstC=\"0\" FirstT=\"", number, "\" FirstZ=\"0\" IFD=\"", number,
            "\" PlaneCount=\"1\">\n        <UUID FileName=\"specimen_", number,
            ".ome.tif\">urn:uuid:0a5b1c2d-3e4f-4a6b-8c7d-", std::to_string(100000000000 + i),
            "</UUID>\n      </TiffData>\n");
        add("      <Plane TheZ=\"0\" TheT=\"", number, "\" TheC=\"0\" DeltaT=\"", std::to_string(0.125 * i),
            "\" DeltaTUnit=\"s\" ExposureTime=\"0.05\" ExposureTimeUnit=\"s\" PositionX=\"1041.25\" "
            "PositionXUnit=\"\xc2\xb5m\" PositionY=\"-22.75\" PositionYUnit=\"\xc2\xb5m\">\n"
            "        <AnnotationRef ID=\"Annotation:",
            number, "\"/>\n      </Plane>\n");
    }
    add("    </Pixels>\n  </Image>\n</OME>\n");
    return text;
}

JSON::Value read(std::string const& text) {
    JSON::Value tree;
    char const* pos = text.data();
    JSON::XML_Reader(tree).read(pos, pos + text.size());
    return tree;
}

JSON::Value read_stream(std::string const& text) {
    std::istringstream in(text);
    JSON::Value tree;
    JSON::XML_Reader(tree).read(in);
    return tree;
}

void parse_with_tinyxml2(std::string const& text) {
    tinyxml2::XMLDocument document;
    document.Parse(text.data(), text.size());
    keep(document.RootElement());
}

void parse_with_pugixml(std::string const& text) {
    pugi::xml_document document;
    document.load_buffer(text.data(), text.size());
    keep(document.document_element());
}

/// Give back what the call before has freed, so that both sides begin as a program does that opens a file.
void start_with_fresh_heap() { malloc_trim(0); }

struct Document {
    std::string text;
    JSON::Value tree;
    tinyxml2::XMLDocument other;
};

void compare_reading(Vexa::bench::Table& table, std::shared_ptr<Document> const& document) {
    table.compare({.name = "xml read 50 MB, to tinyxml2",
                   .target = 1.2,
                   .candidate = [document] { keep(read(document->text)); },
                   .baseline = [document] { parse_with_tinyxml2(document->text); },
                   .before = start_with_fresh_heap,
                   .clock = Clock::thread});
    table.compare({.name = "xml read 50 MB, to pugixml",
                   .target = 0.2,
                   .candidate = [document] { keep(read(document->text)); },
                   .baseline = [document] { parse_with_pugixml(document->text); },
                   .before = start_with_fresh_heap,
                   .clock = Clock::thread});
    // Nothing is read here: the nodes of the tree, made and freed.
    table.compare({.name = "xml copy of the tree of 50 MB, to tinyxml2 reading",
                   .candidate = [document] { keep(JSON::Value(document->tree)); },
                   .baseline = [document] { parse_with_tinyxml2(document->text); },
                   .before = start_with_fresh_heap,
                   .clock = Clock::thread});
    table.compare({.name = "xml read 50 MB from a stream, to tinyxml2",
                   .candidate = [document] { keep(read_stream(document->text)); },
                   .baseline = [document] { parse_with_tinyxml2(document->text); },
                   .before = start_with_fresh_heap,
                   .clock = Clock::thread});
}

void write_to_memory(JSON::Value const& tree) {
    std::ostringstream out;
    JSON::write_to_XML(tree, out);
    keep(out.view().size());
}

void print_to_memory(tinyxml2::XMLDocument const& document) {
    tinyxml2::XMLPrinter printer(nullptr, true);
    document.Print(&printer);
    keep(printer.CStrSize());
}

void write_to_file(JSON::Value const& tree) {
    std::ofstream out("/dev/null");
    JSON::write_to_XML(tree, out);
}

void print_to_file(tinyxml2::XMLDocument const& document) {
    std::unique_ptr<FILE, int (*)(FILE*)> const file(std::fopen("/dev/null", "w"), &std::fclose);
    tinyxml2::XMLPrinter printer(file.get(), true);
    document.Print(&printer);
}

/// What the stream takes of the time.
void pass_to_memory(std::string const& text) {
    constexpr std::size_t piece = 8192;
    std::ostringstream out;
    for (std::size_t at = 0; at < text.size(); at += piece)
        out.write(text.data() + at, static_cast<std::streamsize>(std::min(piece, text.size() - at)));
    keep(out.view().size());
}

void compare_writing(Vexa::bench::Table& table, std::shared_ptr<Document> const& document) {
    table.compare({.name = "xml write 50 MB to a file, to tinyxml2",
                   .target = 1.2,
                   .candidate = [document] { write_to_file(document->tree); },
                   .baseline = [document] { print_to_file(document->other); },
                   .clock = Clock::thread});
    table.compare({.name = "xml write 50 MB to memory, to tinyxml2",
                   .target = 1.2,
                   .candidate = [document] { write_to_memory(document->tree); },
                   .baseline = [document] { print_to_memory(document->other); },
                   .before = start_with_fresh_heap,
                   .clock = Clock::thread});
    table.compare({.name = "xml text of 50 MB to memory, to tinyxml2 writing",
                   .candidate = [document] { pass_to_memory(document->text); },
                   .baseline = [document] { print_to_memory(document->other); },
                   .before = start_with_fresh_heap,
                   .clock = Clock::thread});
}

/// A fifth of the planes takes a fifth of the time or more: at least 5/6 as fast per plane when there are many.
void compare_sizes(Vexa::bench::Table& table, std::shared_ptr<Document> const& large, int planes) {
    auto const small = std::make_shared<std::string>(image_document(planes / 5));
    table.compare({.name = "xml read 50 MB, to itself at 10 MB",
                   .target = 5.0 / 6,
                   .candidate = [large] { keep(read(large->text)); },
                   .baseline = [small] { keep(read(*small)); },
                   .before = start_with_fresh_heap,
                   .scale = 5,
                   .clock = Clock::thread});
}

} // namespace

int main(int argc, char** argv) {
    constexpr int planes = 100'000;
    Vexa::bench::Table table(argc, argv);
    auto const document = std::make_shared<Document>();
    document->text = image_document(planes);
    document->tree = read(document->text);
    document->other.Parse(document->text.data(), document->text.size());
    compare_reading(table, document);
    compare_writing(table, document);
    compare_sizes(table, document, planes);
    return table.run();
}
