// TIFF files with an OME document, as the tool writes and reads them, and as another program sees them.

#include <cstdint>
#include <functional>
#include <numeric>
#include <regex>
#include <utility>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <tiffio.h>

#include <vexa/arrays/StackInfoImp.h>
#include <vexa/bf/FileInterface.h>
#include <vexa/bf/StackInterface.h>
#include <vexa/foundation/types.h>
#include <vexa/ome/Root.h>
#include <vexa/testing/ome_schema.h>

#include "npy.h"
#include "run_tool.h"
#include "tiff_image.h"

namespace Vexa::tool {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using Json = nlohmann::json;
using Mode = bf::DiskFile::Mode;
using Shape = std::vector<unsigned long>;

/// What a widely used reader of such files finds, as JSON.
constexpr char const* reader = R"(
import json, sys, tifffile
with tifffile.TiffFile(sys.argv[1]) as tif:
    pixels = tifffile.xml2dict(tif.ome_metadata)['OME']['Image']['Pixels'] if tif.is_ome else {}
    series = tif.series[0]
    print(json.dumps({'is_ome': tif.is_ome, 'big': tif.is_bigtiff, 'series': len(tif.series), 'axes': series.axes,
                      'shape': series.shape, 'type': str(series.dtype), 'pixels': pixels,
                      'samples': [abs(x) for x in series.asarray().ravel().tolist()]}))
)";
constexpr char const* python = "/usr/bin/python3"; // that of the system, which has the reader

std::string quoted(std::string const& text) { return "'" + text + "'"; }

bool has_reader() {
    static bool const found =
        std::system((python + std::string(" -c 'import tifffile' 2>/dev/null")).c_str()) == 0;
    return found;
}

template <typename T>
std::vector<T> ramp(std::size_t size) {
    std::vector<T> values(size);
    std::iota(values.begin(), values.end(), T{1});
    return values;
}

class OmeTiffFile : public ToolTest {
protected:
    /// A file with a stack of rising numbers, described by \p describe and a document changed by \p change.
    void make(int type, Shape const& shape, std::function<void(arrays::StackInfoImp&)> const& describe = {},
              std::function<void(OME::Root&)> const& change = {}) const {
        auto const file = create_file(false);
        file->open(path("a.vbf"), Mode::create);
        arrays::StackInfoImp info(type, shape);
        info.set_name("specimen");
        if (describe) describe(info);
        auto const stack = file->add_stack(info, 0, false);
        auto const samples = ramp<int>(stack->number_of_elements());
        stack->write(types::int32, samples.data(), nullptr, samples.size());
        if (change) change(file->metadata());
        file->close();
    }

    /// Write the stack as a.ome.tif.
    std::string exported(std::string const& stack = "0") const {
        output({"export", path("a.vbf"), stack, path("a.ome.tif"), "--force"});
        return path("a.ome.tif");
    }
    std::string document() const { return open_tiff(path("a.ome.tif"))->info().description; }
    std::string imported_document() const { return output({"meta", "get", "--xml", path("b.vbf")}); }

    Json read_elsewhere(std::string const& file) const {
        put_file(path("read.py"), reader);
        auto const command = quoted(python) + " " + quoted(path("read.py")) + " " + quoted(file) + " > " +
                             quoted(path("read.json"));
        EXPECT_EQ(std::system(command.c_str()), 0);
        return Json::parse(get_file(path("read.json")));
    }

    /// Pages of rising bytes, with a description.
    std::string tiff(Shape const& shape, std::string const& description, bool coloured = false) const {
        ImageInfo info;
        info.type = types::uint8;
        info.shape = shape;
        info.labels.resize(shape.size());
        if (coloured) info.labels[0] = colour_label;
        OutputFile file(path("x.ome.tif"), true);
        auto const sink = write_tiff(file, info, description);
        auto const samples = ramp<std::uint8_t>(info.elements());
        sink->write(samples.data(), samples.size());
        sink->finish();
        file.publish();
        return path("x.ome.tif");
    }

    ToolRun import_tiff() const { return run({"import", path("x.ome.tif"), path("b.vbf"), "--force"}); }
    std::vector<int> samples(std::string const& stack = "0") const {
        output({"export", path("b.vbf"), stack, path("b.npy"), "--force"});
        auto const source = open_image(path("b.npy"));
        std::vector<int> values;
        for (auto const value : read_all<std::uint8_t>(*source)) values.push_back(value);
        return values;
    }
    Shape shape_of(std::size_t stack = 0) const {
        return Json::parse(output({"info", path("b.vbf"), "--json"}))["stacks"][stack]["shape"].get<Shape>();
    }
    /// Import what can't be taken as the document says: all pages become one stack.
    void expect_plain(std::string const& reason) const {
        auto const result = import_tiff();
        EXPECT_EQ(result.code, 0);
        EXPECT_THAT(result.err, HasSubstr(reason));
        EXPECT_EQ(Json::parse(output({"info", path("b.vbf"), "--json"}))["stacks"].size(), 1U);
        EXPECT_THAT(imported_document(), Not(HasSubstr("Channel")));
    }
};

std::string pixels_document(std::string const& pixels, std::string const& content) {
    return "<OME xmlns=\"http://www.openmicroscopy.org/Schemas/OME/2016-06\"><Image ID=\"Image:0\" "
           "Name=\"i\">"
           "<Pixels ID=\"Pixels:0\" " +
           pixels + ">" + content + "</Pixels></Image></OME>";
}

constexpr char const* small = "DimensionOrder=\"XYCZT\" Type=\"uint8\" SizeX=\"2\" SizeY=\"1\" SizeZ=\"2\" "
                              "SizeC=\"2\" SizeT=\"1\"";

void in_micrometres(arrays::StackInfoImp& info) {
    units::RuntimeValue micrometre;
    micrometre.set_value("um", 1.0);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        info.set_units(axis, micrometre);
        info.set_length(axis, 0.1 * static_cast<double>((axis + 1) * info.shape()[axis]));
    }
}

// Export

TEST_F(OmeTiffFile, OpensElsewhereWithItsAxesSizesAndChannels) {
    make(types::uint16, {5, 4, 3, 1, 2}, in_micrometres, [](OME::Root& root) {
        OME::Image& image = root.ome.images().front();
        image.provide_first_channel().name().set(JSON::Value("nuclei"));
        image.add_channels(image); // a second one
        image.channel(1).name().set(JSON::Value("actin \xc3\xa9"));
    });
    exported();
    EXPECT_EQ(std::system(
                  ("tiffinfo " + quoted(path("a.ome.tif")) + " > " + quoted(path("info")) + " 2>&1").c_str()),
              0);
    EXPECT_THAT(get_file(path("info")), Not(HasSubstr("Warning")));
    Vexa::testing::OmeSchema const schema(sample_folder() / "ome");
    if (schema.missing().empty()) {
        EXPECT_EQ(schema.faults_of(document()), "");
    }
    if (!has_reader()) GTEST_SKIP() << "needs python3-tifffile";
    auto found = read_elsewhere(path("a.ome.tif"));
    EXPECT_EQ(found["is_ome"], true);
    EXPECT_EQ(found["big"], false);
    EXPECT_EQ(found["series"], 1);
    EXPECT_EQ(found["axes"], "CZYX");
    EXPECT_EQ(found["shape"], Json({2, 3, 4, 5}));
    EXPECT_EQ(found["type"], "uint16");
    EXPECT_EQ(found["samples"], Json(ramp<int>(120)));
    auto& pixels = found["pixels"];
    EXPECT_EQ(pixels["PhysicalSizeX"], 0.1);
    EXPECT_EQ(pixels["PhysicalSizeY"], 0.2);
    EXPECT_EQ(pixels["PhysicalSizeZ"], 0.3);
    EXPECT_EQ(pixels["PhysicalSizeXUnit"], "\xc2\xb5m");
    EXPECT_EQ(pixels["DimensionOrder"], "XYZTC");
    EXPECT_EQ(pixels["Channel"][0]["Name"], "nuclei");
    EXPECT_EQ(pixels["Channel"][1]["Name"], "actin \xc3\xa9");
    EXPECT_EQ(pixels["TiffData"], Json({{"IFD", 0}, {"PlaneCount", 6}}));
}

TEST_F(OmeTiffFile, EveryTypeOfAnImageOpensElsewhere) {
    if (!has_reader()) GTEST_SKIP() << "needs python3-tifffile";
    auto const expect = [&](int type, char const* name, char const* ome) {
        make(type, {3, 2});
        auto found = read_elsewhere(exported());
        EXPECT_EQ(found["type"], name);
        EXPECT_EQ(found["samples"], Json({1, 2, 3, 4, 5, 6})) << name;
        EXPECT_EQ(found["pixels"]["Type"], ome);
    };
    expect(types::uint8, "uint8", "uint8");
    expect(types::int8, "int8", "int8");
    expect(types::uint16, "uint16", "uint16");
    expect(types::int16, "int16", "int16");
    expect(types::uint32, "uint32", "uint32");
    expect(types::int32, "int32", "int32");
    expect(types::single, "float32", "float");
    expect(types::double_, "float64", "double");
    expect(types::cplx_single, "complex64", "complex");
    expect(types::cplx_double, "complex128", "double-complex");
}

TEST_F(OmeTiffFile, SizesThatNobodySetAreLeftOut) {
    make(types::uint16, {5, 4, 3});
    exported();
    EXPECT_THAT(document(), Not(HasSubstr("PhysicalSize")));
    EXPECT_THAT(document(), Not(HasSubstr("TimeIncrement")));
}

TEST_F(OmeTiffFile, SizesInTheDocumentHold) {
    make(types::uint16, {5, 4, 3}, in_micrometres,
         [](OME::Root& root) { root.ome.images().front().set_voxel_size_x_in_meters(7e-9); });
    exported();
    EXPECT_THAT(document(), HasSubstr(R"(PhysicalSizeX="0.007" PhysicalSizeXUnit="µm" PhysicalSizeY="0.2")"));
}

TEST_F(OmeTiffFile, HasTheImageOfItsStackOnly) {
    auto const file = create_file(false);
    file->open(path("a.vbf"), Mode::create);
    for (std::uint8_t value = 1; value <= 3; ++value) {
        arrays::StackInfoImp info(types::uint8, {2, value});
        info.set_name(std::string(1, static_cast<char>('a' + value)));
        auto const stack = file->add_stack(info, 0, false);
        std::vector<std::uint8_t> const samples(stack->number_of_elements(), value);
        stack->write(types::uint8, samples.data(), nullptr, samples.size());
    }
    file->metadata().ome.provide_first_instrument().microscope();
    file->close();
    exported("1");
    EXPECT_THAT(document(), HasSubstr(R"(<Image ID="Image:2" Name="c">)"));
    EXPECT_THAT(document(), HasSubstr(R"(<Instrument ID="Instrument:1")"));
    EXPECT_THAT(document(), Not(HasSubstr("Image:1")));
    EXPECT_THAT(document(), Not(HasSubstr("Image:3")));
    EXPECT_EQ(all_bytes(*open_tiff(path("a.ome.tif"))), "\2\2\2\2");
}

TEST_F(OmeTiffFile, SizesOfStacksThatHaveGrownAreThoseOfTheStack) {
    auto const file = create_file(false);
    file->open(path("a.vbf"), Mode::create);
    auto const stack = file->add_stack(types::uint8, {3, 2, 0}, false);
    auto const samples = ramp<std::uint8_t>(24);
    stack->write(types::uint8, samples.data(), nullptr, samples.size());
    stack->write_end(types::uint8);
    file->close();
    exported();
    EXPECT_THAT(document(), HasSubstr(R"(SizeC="1" SizeT="1" SizeX="3" SizeY="2" SizeZ="4" Type="uint8")"));
    EXPECT_THAT(document(), HasSubstr(R"(PlaneCount="4")"));
}

TEST_F(OmeTiffFile, OrderOfTheImageHoldsWhereItFits) {
    make(types::uint8, {2, 2, 3, 4}, {}, [](OME::Root& root) {
        root = OME::Root(pixels_document("DimensionOrder=\"XYTCZ\" Type=\"uint8\" SizeX=\"2\" SizeY=\"2\" "
                                         "SizeT=\"3\" SizeC=\"4\" SizeZ=\"1\"",
                                         "<MetadataOnly/>"));
    });
    exported();
    EXPECT_THAT(document(), HasSubstr(R"(DimensionOrder="XYTCZ")"));
    if (!has_reader()) GTEST_SKIP() << "needs python3-tifffile";
    auto found = read_elsewhere(path("a.ome.tif"));
    EXPECT_EQ(found["axes"], "CTYX");
    EXPECT_EQ(found["shape"], Json({4, 3, 2, 2}));
}

TEST_F(OmeTiffFile, StacksWithoutADocumentGetOne) {
    auto const file = create_file(true);
    file->open(path("a.vbf"), Mode::create);
    arrays::StackInfoImp info(types::uint8, {2, 3});
    info.set_name("no document");
    auto const stack = file->add_stack(info, 0, false);
    stack->write(types::uint8, ramp<std::uint8_t>(6).data(), nullptr, 6);
    file->close();
    exported();
    EXPECT_THAT(document(), HasSubstr(R"(Name="no document")"));
    EXPECT_THAT(document(), HasSubstr(R"(SizeX="2" SizeY="3" SizeZ="1" Type="uint8">)"));
}

TEST_F(OmeTiffFile, DocumentsThatCannotBeUsedAreLeftOutWithAWarning) {
    auto const export_with = [&](std::string const& document) {
        auto const file = create_file(true);
        file->open(path("a.vbf"), Mode::create);
        file->set_write_metadata_cb([&] { file->write_tag("ome_xml", document); });
        auto const stack = file->add_stack(types::uint8, {2, 3}, false);
        stack->write(types::uint8, ramp<std::uint8_t>(6).data(), nullptr, 6);
        file->close();
        auto const result = run({"export", path("a.vbf"), "0", path("a.ome.tif"), "--force"});
        EXPECT_EQ(result.code, 0);
        EXPECT_THAT(this->document(), HasSubstr(R"(SizeX="2" SizeY="3")"));
        return result.err;
    };
    EXPECT_THAT(export_with("<OME><a b></OME>"), HasSubstr("a.vbf: the document is left out: "));
    EXPECT_THAT(export_with("<OME></OME>"),
                HasSubstr("the document is left out: it has 0 images, the file has 1 stacks.\n"));
    // Nothing is said of texts that are left out too.
    EXPECT_THAT(
        export_with("<OME x:a=\"b\" Creator=\"c\x01\"><Image ID=\"Image:1\"/></OME>"),
        AllOf(HasSubstr("a.vbf: the document is left out: Cannot export XML: "), Not(HasSubstr("U+FFFD"))));
}

TEST_F(OmeTiffFile, TextsThatXmlCannotHoldAreMendedWithAWarning) {
    std::string const warning =
        "vexa: " + path("a.vbf") +
        ": texts of the document have characters that XML doesn't have; they became U+FFFD.\n";
    arrays::StackInfoImp info(types::uint8, {2, 3});
    info.set_description("0.1 \xB5m\x01, 20 \xC2\xB0");
    // Without a document in the file, which gets one for the stack, and with one.
    for (bool const without_document : {true, false}) {
        auto const file = create_file(without_document);
        file->open(path("a.vbf"), Mode::create);
        file->add_stack(info, 0, false)->write(types::uint8, ramp<std::uint8_t>(6).data(), nullptr, 6);
        file->close();
        auto const result = run({"export", path("a.vbf"), "0", path("a.ome.tif"), "--force"});
        EXPECT_EQ(result.code, 0);
        EXPECT_EQ(result.err, warning);
        EXPECT_THAT(document(),
                    HasSubstr("<Description>0.1 \xEF\xBF\xBDm\xEF\xBF\xBD, 20 \xC2\xB0</Description>"));
    }
    auto const ordered = run({"meta", "get", path("a.vbf"), "--schema-order"});
    EXPECT_EQ(ordered.code, 0);
    EXPECT_EQ(ordered.err, warning);
    EXPECT_THAT(ordered.out, HasSubstr("0.1 \xEF\xBF\xBDm\xEF\xBF\xBD, 20 \xC2\xB0"));
}

TEST_F(OmeTiffFile, StacksThatNoImageCanDescribeAreRefused) {
    auto const expect_refused = [&](int type, Shape const& shape, std::string const& reason) {
        auto const file = create_file(true);
        file->open(path("a.vbf"), Mode::create);
        auto const stack = file->add_stack(type, shape, false);
        stack->write(types::uint8, ramp<std::uint8_t>(8).data(), nullptr, stack->number_of_elements());
        file->close();
        auto const result = run({"export", path("a.vbf"), "0", path("a.ome.tif")});
        EXPECT_EQ(result.code, 2);
        EXPECT_EQ(result.err,
                  "vexa: No OME image can describe the stack: " + reason + ". A .tif file can hold more.\n");
        EXPECT_THAT(names_in_folder(), ElementsAre("a.vbf"));
    };
    expect_refused(types::uint64, {2, 3}, "Unsupported OME image type");
    expect_refused(types::uint8, {1, 2, 1, 2, 1, 2}, "Unsupported number of 6 dimensions");
}

TEST_F(OmeTiffFile, ColoursSideBySideAreSamplesOfAPixel) {
    tiff({3, 4, 2}, "", true);
    EXPECT_EQ(run({"import", path("x.ome.tif"), path("a.vbf")}).code, 0);
    exported();
    EXPECT_THAT(document(), HasSubstr(R"(SizeC="3" SizeT="1" SizeX="4" SizeY="2" SizeZ="1" Type="uint8">)"
                                      R"(<Channel ID="Channel:0" SamplesPerPixel="3"/>)"));
    if (!has_reader()) GTEST_SKIP() << "needs python3-tifffile";
    auto found = read_elsewhere(path("a.ome.tif"));
    EXPECT_EQ(found["axes"], "YXS");
    EXPECT_EQ(found["shape"], Json({2, 4, 3}));
    EXPECT_EQ(found["samples"], Json(ramp<int>(24)));
}

TEST_F(OmeTiffFile, IsBigWhereTheSamplesOrThePagesNeedIt) {
    auto const version = [&](Shape const& shape) {
        ImageInfo info;
        info.type = types::uint8;
        info.shape = shape;
        OutputFile file(path("x.tif"), true);
        auto const sink = write_shaped_tiff(file, info);
        return get_file(file.path()).substr(0, 4);
    };
    using namespace std::string_literals;
    EXPECT_EQ(version({4, 4}), "II*\0"s);
    EXPECT_EQ(version({1 << 16, 1 << 15}), "II*\0"s);
    EXPECT_EQ(version({1 << 16, 1 << 16}), "II+\0"s);
    EXPECT_EQ(version({1, 1, 1 << 23}), "II+\0"s) << "8 MiB of samples, each with a page of its own";
}

// Import

TEST_F(OmeTiffFile, WhatIsExportedComesBackWithItsDocument) {
    make(types::uint8, {5, 4, 3, 2, 2}, in_micrometres, [](OME::Root& root) {
        root.ome.provide_first_instrument().microscope();
        root.ome.images().front().description().set(JSON::Value("a description"));
        root.ome.images().front().provide_first_channel().name().set(JSON::Value("nuclei"));
    });
    auto const written = get_file(exported());
    EXPECT_EQ(output({"import", path("a.ome.tif"), path("b.vbf")}), "");
    EXPECT_EQ(shape_of(), (Shape{5, 4, 3, 2, 2}));
    EXPECT_EQ(samples(), ramp<int>(240));
    EXPECT_THAT(imported_document(), HasSubstr(R"(<Instrument ID="Instrument:1")"));
    EXPECT_THAT(imported_document(), HasSubstr("<Description>a description</Description>"));
    EXPECT_THAT(imported_document(), HasSubstr("<MetadataOnly/>"));
    EXPECT_THAT(imported_document(), Not(HasSubstr("TiffData")));
    auto stack = Json::parse(output({"info", path("b.vbf"), "--json"}))["stacks"][0];
    EXPECT_EQ(stack["name"], "specimen");
    EXPECT_EQ(stack["description"], "a description");
    EXPECT_DOUBLE_EQ(stack["lengths"][2].get<double>(), 9e-7);
    EXPECT_EQ(stack["units"][2], "m");
    EXPECT_THAT(output({"verify", path("b.vbf")}), HasSubstr("OME document: good"));
    output({"export", path("b.vbf"), "0", path("a.ome.tif"), "--force"});
    EXPECT_EQ(get_file(path("a.ome.tif")), written);
}

TEST_F(OmeTiffFile, PlanesAreFoundInAnyPage) {
    tiff({2, 1, 6},
         pixels_document(small, R"(<TiffData FirstZ="1" FirstC="1" IFD="1"/><TiffData FirstZ="0" FirstC="0" )"
                                R"(IFD="5"/><TiffData FirstC="1" IFD="2" PlaneCount="2"/>)"));
    auto const result = import_tiff();
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(shape_of(), (Shape{2, 1, 2, 2}));
    EXPECT_THAT(samples(), ElementsAre(11, 12, 5, 6, 7, 8, 3, 4));
}

TEST_F(OmeTiffFile, PagesFollowTheOrderOfDimensionsWithoutFurtherWord) {
    for (char const* const data : {"<TiffData/>", R"(<TiffData PlaneCount="4"/>)",
                                   R"(<TiffData IFD="0" )"
                                   R"(PlaneCount="4"/>)"}) {
        tiff({2, 1, 4}, pixels_document(small, data));
        EXPECT_EQ(import_tiff().err, "");
        EXPECT_THAT(samples(), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
    }
}

TEST_F(OmeTiffFile, NamesOfElementsMayHaveAPrefix) {
    std::string const plain = pixels_document(small, "<TiffData/>");
    std::string const names = std::regex_replace(plain, std::regex("<(/?)"), "<$1ome:");
    tiff({2, 1, 4}, std::regex_replace(names, std::regex("xmlns="), "xmlns:ome="));
    EXPECT_EQ(import_tiff().err, "");
    EXPECT_EQ(shape_of(), (Shape{2, 1, 2, 2}));
    EXPECT_THAT(imported_document(), HasSubstr("<Image ID=\"Image:0\" Name=\"i\">"));
}

TEST_F(OmeTiffFile, EachImageBecomesAStack) {
    std::string const second =
        R"(</Pixels></Image><Image ID="Image:1" Name="j"><Pixels ID="Pixels:1" )"
        R"(DimensionOrder="XYZCT" Type="uint8" SizeX="2" SizeY="1" SizeZ="1" SizeC="1" )"
        R"(SizeT="2"><TiffData IFD="0"/><TiffData IFD="5" FirstT="1"/>)";
    tiff({2, 1, 6}, pixels_document(small, R"(<TiffData IFD="1" PlaneCount="4"/>)" + second));
    EXPECT_EQ(import_tiff().err, "");
    EXPECT_THAT(samples("=i"), ElementsAre(3, 4, 5, 6, 7, 8, 9, 10));
    EXPECT_THAT(samples("=j"), ElementsAre(1, 2, 11, 12));
    EXPECT_EQ(shape_of(1), (Shape{2, 1, 1, 1, 2}));
    EXPECT_THAT(output({"verify", path("b.vbf")}), HasSubstr("OME document: good"));
    auto const named = run({"import", path("x.ome.tif"), path("c.vbf"), "--name", "n"});
    EXPECT_EQ(named.code, 2);
    EXPECT_EQ(named.err,
              "vexa: --name and --description are for one stack; " + path("x.ome.tif") + " has 2.\n");
}

TEST_F(OmeTiffFile, ChosenNamesStandInTheDocumentToo) {
    tiff({2, 1, 4}, pixels_document(small, "<TiffData/>"));
    EXPECT_EQ(run({"import", path("x.ome.tif"), path("b.vbf"), "--name", "n", "--description", "d"}).code, 0);
    EXPECT_THAT(imported_document(), HasSubstr(R"(Name="n"><Description>d</Description>)"));
}

TEST_F(OmeTiffFile, WhatHasNoClassComesAlong) {
    auto document = pixels_document(small, "<TiffData/>");
    std::string const experimenter = R"(<Experimenter ID="Experimenter:1" UserName="u"/>)";
    document.insert(document.find("<Image"), experimenter);
    document.insert(document.find("<Pixels"), R"(<ExperimenterRef ID="Experimenter:1"/>)");
    tiff({2, 1, 4}, document);
    EXPECT_EQ(import_tiff().err, "");
    EXPECT_THAT(imported_document(), HasSubstr(experimenter));
    EXPECT_THAT(imported_document(), HasSubstr(R"(<ExperimenterRef ID="Experimenter:1"/>)"));
    output({"export", path("b.vbf"), "0", path("a.ome.tif")});
    EXPECT_THAT(this->document(), HasSubstr(experimenter));
}

TEST_F(OmeTiffFile, ImagesInOtherFilesAreLeftOut) {
    std::string const mine = R"(<TiffData IFD="0" PlaneCount="4"><UUID FileName="renamed.ome.tif">urn:uuid:)"
                             R"(00000000-0000-0000-0000-000000000001</UUID></TiffData>)";
    std::string const other =
        R"(</Pixels></Image><Image ID="Image:1"><Pixels ID="Pixels:1" SizeX="2" SizeY="1" )"
        R"(SizeZ="2" SizeC="2" SizeT="1" Type="uint8" DimensionOrder="XYCZT"><TiffData)"
        R"( IFD="0" PlaneCount="4"><UUID FileName="b">urn:uuid:00000000-0000-0000-0000-)"
        R"(000000000002</UUID></TiffData>)";
    auto document = pixels_document(small, mine + other);
    document.insert(4, R"( UUID="urn:uuid:00000000-0000-0000-0000-000000000001")");
    tiff({2, 1, 4}, document);
    EXPECT_THAT(import_tiff().err,
                HasSubstr("image 1 of the document is left out: planes of it are in other files"));
    EXPECT_THAT(samples(), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
    EXPECT_THAT(imported_document(), Not(HasSubstr("Image:1")));
}

TEST_F(OmeTiffFile, SamplesSideBySideBecomeChannels) {
    std::string const content = R"(<Channel ID="Channel:0:0" Name="c" SamplesPerPixel="3"/><TiffData/>)";
    tiff({3, 2, 1, 2},
         pixels_document(
             "DimensionOrder=\"XYCZT\" Type=\"uint8\" SizeX=\"2\" SizeY=\"1\" SizeZ=\"2\" SizeC=\"3\" "
             "SizeT=\"1\"",
             content),
         true);
    EXPECT_EQ(import_tiff().err, "");
    EXPECT_EQ(shape_of(), (Shape{2, 1, 3, 2}));
    EXPECT_THAT(samples(), ElementsAre(1, 4, 2, 5, 3, 6, 7, 10, 8, 11, 9, 12));
    EXPECT_THAT(imported_document(),
                HasSubstr(R"(<Channel Color="65535" ID="Channel:0:0:2" Name="c" SamplesPerPixel="1"/>)"));
    tiff({3, 2, 1, 2},
         pixels_document(
             "DimensionOrder=\"XYZCT\" Type=\"uint8\" SizeX=\"2\" SizeY=\"1\" SizeZ=\"2\" SizeC=\"3\" "
             "SizeT=\"1\"",
             content),
         true);
    EXPECT_EQ(import_tiff().err, "");
    EXPECT_EQ(shape_of(), (Shape{2, 1, 2, 3}));
    EXPECT_THAT(samples(), ElementsAre(1, 4, 7, 10, 2, 5, 8, 11, 3, 6, 9, 12));
}

TEST_F(OmeTiffFile, PlanesOfColoursBecomeChannels) {
    {
        auto* const file = TIFFOpen(path("x.ome.tif").c_str(), "w");
        auto const document =
            pixels_document("DimensionOrder=\"XYCZT\" Type=\"uint8\" SizeX=\"2\" SizeY=\"1\" "
                            "SizeZ=\"1\" SizeC=\"3\" SizeT=\"1\"",
                            "<TiffData/>");
        for (auto const& [tag, value] : {std::pair{TIFFTAG_IMAGEWIDTH, 2},
                                         {TIFFTAG_IMAGELENGTH, 1},
                                         {TIFFTAG_SAMPLESPERPIXEL, 3},
                                         {TIFFTAG_BITSPERSAMPLE, 8},
                                         {TIFFTAG_PLANARCONFIG, PLANARCONFIG_SEPARATE},
                                         {TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB}})
            TIFFSetField(file, static_cast<std::uint32_t>(tag), value);
        TIFFSetField(file, TIFFTAG_IMAGEDESCRIPTION, document.c_str());
        for (std::uint16_t sample = 0; sample < 3; ++sample) {
            std::uint8_t row[] = {static_cast<std::uint8_t>(10 * sample),
                                  static_cast<std::uint8_t>(10 * sample + 1)};
            EXPECT_EQ(TIFFWriteScanline(file, row, 0, sample), 1);
        }
        TIFFClose(file);
    }
    EXPECT_EQ(import_tiff().err, "");
    EXPECT_EQ(shape_of(), (Shape{2, 1, 3}));
    EXPECT_THAT(samples(), ElementsAre(0, 1, 10, 11, 20, 21));
}

TEST_F(OmeTiffFile, DocumentsThatDoNotFitThePagesAreLeftOut) {
    auto const expect = [&](std::string const& pixels, std::string const& content,
                            std::string const& reason) {
        tiff({2, 1, 4}, pixels_document(pixels, content));
        expect_plain("x.ome.tif: image 0 of the document is left out: " + reason + ".\n");
        EXPECT_THAT(samples(), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
    };
    auto const sized = [](std::string const& x, std::string const& z, std::string const& type = "uint8") {
        return "DimensionOrder=\"XYZCT\" SizeC=\"1\" SizeT=\"1\" SizeY=\"1\" SizeX=\"" + x + "\" SizeZ=\"" +
               z + "\" Type=\"" + type + "\"";
    };
    expect(sized("3", "4"), "<TiffData/>", "its planes have 1 x 3 pixels, page 0 has 1 x 2");
    expect(sized("2", "4", "int8"), "<TiffData/>", "its samples are int8, those of page 0 uint8");
    expect(sized("2", "4"), "", "the document names no pages for it");
    expect(sized("2", "4"), R"(<TiffData IFD="4"/>)", "it needs page 4, the file has 4");
    expect(sized("2", "4"), R"(<TiffData IFD="18446744073709551615"/>)",
           "it needs page 18446744073709551615, the file has 4");
    expect(sized("2", "4"), R"(<TiffData IFD="-1"/>)", R"("-1" is no IFD)");
    expect(sized("2", "4"), R"(<TiffData IFD="18446744073709551616"/>)",
           R"("18446744073709551616" is no IFD)");
    expect(sized("2", "4"), R"(<TiffData PlaneCount="5"/>)", "it has no place for 5 planes from page 0 on");
    expect(sized("2", "4"), R"(<TiffData FirstZ="4"/>)", "the document has pages for planes outside of it");
    expect(sized("2", "4"), R"(<TiffData PlaneCount="3"/>)", "1 of its planes are in no page");
    expect(sized("2", "5"), "<TiffData/>", "it has more planes than the 4 pages of the file hold");
    expect(sized("2", "9223372036854775807"), "<TiffData/>",
           "it has more planes than the 4 pages of the file hold");
    expect(sized("2", "0"), "<TiffData/>", "it has no planes");
}

TEST_F(OmeTiffFile, PagesOfOtherImagesMayDiffer) {
    // The second page has other pixels; only an image that needs it is left out.
    auto* const file = TIFFOpen(path("x.ome.tif").c_str(), "w");
    auto const document = pixels_document("DimensionOrder=\"XYZCT\" Type=\"uint8\" SizeX=\"2\" SizeY=\"1\" "
                                          "SizeZ=\"1\" SizeC=\"1\" SizeT=\"1\"",
                                          R"(<TiffData IFD="0"/>)");
    for (int width = 2; width <= 3; ++width) {
        TIFFSetField(file, TIFFTAG_IMAGEWIDTH, width);
        TIFFSetField(file, TIFFTAG_IMAGELENGTH, 1);
        TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, 8);
        if (width == 2) TIFFSetField(file, TIFFTAG_IMAGEDESCRIPTION, document.c_str());
        std::uint8_t row[] = {7, 8, 9};
        EXPECT_EQ(TIFFWriteScanline(file, row, 0, 0), 1);
        EXPECT_EQ(TIFFWriteDirectory(file), 1);
    }
    TIFFClose(file);
    EXPECT_EQ(import_tiff().err, "");
    EXPECT_THAT(samples(), ElementsAre(7, 8));
}

TEST_F(OmeTiffFile, DamagedDocumentsAreLeftOut) {
    for (auto const& [text, reason] : std::vector<std::pair<std::string, std::string>>{
             {"<OME><Image></OME>", "the OME document is left out: Cannot import XML"},
             {"<OME/>", "the OME document is left out, since none of its images is in the file."},
             {"<?xml version=\"1.0\"?><OME><Image ID='Image:0'><ROIRef ID='ROI:7'/></Image></OME>",
              "the OME document is left out: Incomplete data: missing ROI:7."}}) {
        tiff({2, 1, 4}, text);
        expect_plain(reason);
        EXPECT_THAT(samples(), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
    }
}

TEST_F(OmeTiffFile, TruncatedFilesAreFailuresOrLeaveTheDocumentOut) {
    tiff({2, 1, 4}, pixels_document(small, "<TiffData/>"));
    auto const bytes = get_file(path("x.ome.tif"));
    for (std::size_t size = 0; size < bytes.size(); size += 37) {
        put_file(path("x.ome.tif"), bytes.substr(0, size));
        auto const code = import_tiff().code;
        EXPECT_TRUE(code == 0 || code == 3 || code == 4) << size << ": " << code;
    }
}

} // namespace
} // namespace Vexa::tool
