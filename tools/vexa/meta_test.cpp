// The OME document of a file, as the commands show it.

#include <cstdint>
#include <memory>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <vexa/arrays/StackInfoImp.h>
#include <vexa/bf/FileInterface.h>
#include <vexa/bf/StackInterface.h>
#include <vexa/foundation/types.h>
#include <vexa/ome/Root.h>

#include "npy.h"
#include "run_tool.h"

namespace Vexa::tool {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using Json = nlohmann::json;
using Mode = bf::DiskFile::Mode;

constexpr char const* small_document =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<OME Creator=\"a \x1b[31mtest\"><Image ID=\"Image:1\" Name=\"only\"><Description>some text</Description>"
    "<Pixels ID=\"Pixels:1\" DimensionOrder=\"XYZTC\" Type=\"uint8\" SizeX=\"2\" SizeY=\"3\" SizeZ=\"1\" "
    "SizeT=\"1\" SizeC=\"1\"><Channel ID=\"Channel:1\"/><Channel ID=\"Channel:2\"/></Pixels></Image></OME>";

class MetaCommand : public ToolTest {
protected:
    std::string get(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"meta", "get"});
        return output(arguments);
    }
    Json json(std::vector<std::string> const& arguments) const { return Json::parse(run(arguments).out); }
    void expect_failure(std::vector<std::string> const& arguments, int code, std::string const& text) const {
        auto const result = run(arguments);
        EXPECT_EQ(result.code, code);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "vexa: " + text + "\n");
    }

    static void add(bf::FileInterface& file, int type, std::vector<unsigned long> const& shape) {
        auto const stack = file.add_stack(type, shape, false);
        std::vector<double> const samples(stack->number_of_elements());
        stack->write(types::double_, samples.data(), nullptr, samples.size());
    }
    /// A file with one stack of 2 x 3 bytes and this document.
    std::string file_of(std::string const& document) const {
        auto const file = create_file(true);
        file->open(path("made.vbf"), Mode::create);
        file->set_write_metadata_cb([&] { file->write_tag("ome_xml", document); });
        add(*file, types::uint8, {2, 3});
        file->close();
        return path("made.vbf");
    }
    std::string file_without_document() const {
        auto const file = create_file(true);
        file->open(path("plain.vbf"), Mode::create);
        add(*file, types::uint64, {2, 3});
        file->close();
        return path("plain.vbf");
    }
    /// A file with two stacks; a microscope with an objective took the first one, in two channels.
    std::string acquired() const {
        auto const file = open_file(path("acquired.vbf"), Mode::create);
        arrays::StackInfoImp info(types::uint16, {4, 3, 2});
        info.set_name("cells");
        info.set_lengths({4e-7, 3e-7, 1.0});
        auto const stack = file->add_stack(info, 0, false);
        std::vector<std::uint16_t> const samples(24);
        stack->write(types::uint16, samples.data(), nullptr, samples.size());
        add(*file, types::single, {5});
        describe(file->metadata().ome);
        file->close();
        return path("acquired.vbf");
    }
    static void describe(OME::OME& ome) {
        auto& instrument = ome.provide_first_instrument();
        instrument.microscope().manufacturer().set("Acme");
        instrument.microscope().model().set("One");
        auto& objective = *instrument.objectives().emplace_back();
        objective.model().set("Plan");
        objective.set_nominal_magnification(63);
        objective.set_lens_NA(1.4);
        objective.set_immersion(OME::Objective::Immersion::oil);
        auto& dye = *ome.provide_dyes().emplace_back();
        dye.name().set("green dye");
        auto& image = ome.images().front();
        image.set_instrument(instrument);
        image.set_objective(*objective.id.value());
        auto& channel = image.provide_first_channel();
        channel.name().set("first");
        channel.set_dye(*dye.id.value());
        channel.set_excitation_wavelength({488, OME::Length::nm});
        channel.set_emission_wavelength({0.52, OME::Length::um});
    }
};

// meta get

TEST_F(MetaCommand, HelpIsEverywhere) {
    EXPECT_THAT(output({"meta", "--help"}), HasSubstr("Exit codes:"));
    EXPECT_THAT(output({"meta", "get", "--help"}), HasSubstr("Image/0/Pixels/SizeX"));
    for (auto const& wrong :
         std::vector<std::vector<std::string>>{{"meta"},
                                               {"meta", "get"},
                                               {"meta", "get", "a", "Image", "--xml"},
                                               {"meta", "get", "a", "--json", "--xml"},
                                               {"meta", "get", "a", "Image", "--schema-order"}})
        EXPECT_EQ(run(wrong).code, 2);
}

TEST_F(MetaCommand, XmlIsByteForByteWhatIsStored) {
    auto const file = file_of(small_document);
    EXPECT_EQ(get({file, "--xml"}), small_document);
    auto const other = acquired();
    EXPECT_EQ(get({other, "--xml"}), open_file(other, Mode::read)->tag("ome_xml"));
}

TEST_F(MetaCommand, XmlOfADamagedDocumentIsPrintedToo) {
    EXPECT_EQ(get({file_of("<OME><Image></OME>"), "--xml"}), "<OME><Image></OME>");
}

TEST_F(MetaCommand, TreeShowsElementsAttributesAndTexts) {
    EXPECT_EQ(get({file_of(small_document)}), "OME\n"
                                              "  Creator: a \\x1b[31mtest\n"
                                              "  Image/0\n"
                                              "    ID: Image:1\n"
                                              "    Name: only\n"
                                              "    Description/0: some text\n"
                                              "    Pixels/0\n"
                                              "      DimensionOrder: XYZTC\n"
                                              "      ID: Pixels:1\n"
                                              "      SizeC: 1\n"
                                              "      SizeT: 1\n"
                                              "      SizeX: 2\n"
                                              "      SizeY: 3\n"
                                              "      SizeZ: 1\n"
                                              "      Type: uint8\n"
                                              "      Channel/0\n"
                                              "        ID: Channel:1\n"
                                              "      Channel/1\n"
                                              "        ID: Channel:2\n");
}

TEST_F(MetaCommand, PathLeadsToAnElementAListOrAnAttribute) {
    auto const file = file_of(small_document);
    EXPECT_EQ(get({file, "Image/0/Pixels/0/SizeY"}), "3\n");
    EXPECT_EQ(get({file, "Image/Pixels/SizeY"}), "3\n");
    EXPECT_EQ(get({file, "Image/0/Pixels/Channel/1"}), "Channel\n  ID: Channel:2\n");
    EXPECT_EQ(get({file, "Image/Pixels/Channel"}),
              "Channel/0\n  ID: Channel:1\nChannel/1\n  ID: Channel:2\n");
    EXPECT_EQ(get({file, "Image/Description/0"}), "Description: some text\n");
}

TEST_F(MetaCommand, PathThatLeadsNowhereIsWrongUse) {
    auto const file = file_of(small_document);
    auto const expect = [&](std::string const& way, std::string const& reason) {
        expect_failure({"meta", "get", file, way}, 2, "\"" + way + "\" leads nowhere: " + reason + ".");
    };
    expect("Dataset", "\"OME\" has no child or attribute \"Dataset\"");
    expect("Image/1", "there are 1 of \"Image\"");
    expect("Image/-1", "\"Image\" has no child or attribute \"-1\"");
    expect("Image/99999999999999999999", "\"Image\" has no child or attribute \"99999999999999999999\"");
    expect("Image//Pixels", "\"Image\" has no child or attribute \"\"");
    expect("Image/Pixels/Channel/ID", "there are 2 of \"Channel\", an index has to say which one");
    expect("Image/Name/0", "\"Name\" is a text");
}

TEST_F(MetaCommand, JsonIsOneDocument) {
    auto const file = file_of(small_document);
    auto const whole = Json::parse(get({file, "--json"}));
    EXPECT_EQ(whole["schema"], "vexa.meta/1");
    EXPECT_EQ(whole["path"], file);
    EXPECT_EQ(whole["element"], "");
    EXPECT_EQ(whole["document"]["Creator"], "a \x1b[31mtest");
    EXPECT_EQ(whole["document"][""]["Image"][0]["Name"], "only");
    EXPECT_EQ(Json::parse(get({file, "Image/0/Pixels/Channel", "--json"}))["document"],
              Json::parse(R"([{"ID": "Channel:1"}, {"ID": "Channel:2"}])"));
    EXPECT_EQ(Json::parse(get({file, "Image/Name", "--json"}))["document"], "only");
}

TEST_F(MetaCommand, BytesThatAreNoTextBecomeOne) {
    EXPECT_EQ(Json::parse(get({file_of("<OME Creator=\"\xFF\"/>"), "--json"}))["document"]["Creator"],
              "\xEF\xBF\xBD");
}

TEST_F(MetaCommand, SchemaOrderIsThatOfTheSchema) {
    auto const file = acquired();
    auto const stored = get({file, "--xml"}), ordered = get({file, "--schema-order"});
    // By their names images come before instruments, and the schema wants them behind.
    EXPECT_LT(stored.find("<Image "), stored.find("<Instrument "));
    EXPECT_GT(ordered.find("<Image "), ordered.find("<Instrument "));
    EXPECT_NE(ordered.find("<Image "), std::string::npos);
}

TEST_F(MetaCommand, DeepDocumentsArePrinted) {
    constexpr std::size_t depth = 100000;
    std::string document;
    for (std::size_t i = 0; i < depth; ++i) document += "<a>";
    for (std::size_t i = 0; i < depth; ++i) document += "</a>";
    auto const file = file_of(document);
    auto const text = get({file});
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), depth);
    EXPECT_GT(get({file, "--json"}).size(), depth);
    EXPECT_EQ(run({"info", file}).code, 0);
}

TEST_F(MetaCommand, FileWithoutDocumentIsToldInWords) {
    auto const file = file_without_document();
    for (char const* option : {"--xml", "--json", "--schema-order"})
        expect_failure({"meta", "get", file, option}, 3, file + ": holds no OME document.");
    EXPECT_EQ(json({"info", file, "--json"})["ome"], nullptr);
    EXPECT_THAT(output({"info", file}), Not(HasSubstr("OME")));
    EXPECT_THAT(output({"verify", file}), Not(HasSubstr("OME")));
}

TEST_F(MetaCommand, EmptyDocumentIsDamaged) {
    expect_failure({"meta", "get", file_of("")}, 4, path("made.vbf") + ": The document is empty.");
}

// A damaged document

TEST_F(MetaCommand, DamagedDocumentIsToldAndTheRestGoesOn) {
    auto const file = file_of("<OME><Image></OME>");
    expect_failure({"meta", "get", file}, 4, file + ": Unexpected OME end tag");
    expect_failure({"meta", "get", file, "--schema-order"}, 4, file + ": Unexpected OME end tag");
    auto const info = run({"info", file});
    EXPECT_EQ(info.code, 4);
    EXPECT_THAT(info.out, HasSubstr("stack 0"));
    EXPECT_THAT(info.out, HasSubstr("OME document\n  damaged: Unexpected OME end tag\n"));
    EXPECT_EQ(json({"info", file, "--json"})["ome"], Json({{"error", "Unexpected OME end tag"}}));
    EXPECT_EQ(json({"info", file, "--json"})["stacks"].size(), 1u);
    auto const verify = run({"verify", file});
    EXPECT_EQ(verify.code, 4);
    EXPECT_THAT(verify.out, HasSubstr("good\n  OME document: damaged\n    error: Unexpected OME end tag\n"));
    EXPECT_EQ(json({"verify", file, "--json"})["ome"]["error"], "Unexpected OME end tag");
    EXPECT_EQ(run({"cat", file, "0"}).code, 0);
    EXPECT_EQ(run({"ls", file}).code, 0);
}

TEST_F(MetaCommand, ReferenceToNothingIsDamageThatTheTreeStillShows) {
    auto const file =
        file_of("<OME><Image ID=\"Image:1\"><InstrumentRef ID=\"Instrument:5\"/></Image></OME>");
    EXPECT_THAT(get({file}), HasSubstr("InstrumentRef/0\n      ID: Instrument:5\n"));
    EXPECT_EQ(run({"verify", file}).code, 4);
    EXPECT_EQ(run({"info", file}).code, 4);
}

// info

TEST_F(MetaCommand, InfoSumsTheDocumentUp) {
    auto const text = output({"info", acquired()});
    auto const at = text.find("OME document\n");
    ASSERT_NE(at, std::string::npos) << text;
    EXPECT_EQ(text.substr(at),
              "OME document\n"
              "  image 0 \"cells\": 1 x 1 x 2 x 3 x 4, type uint16, voxels of - x 0.1 x 0.1 um, instrument "
              "Instrument:1, objective Objective:1\n"
              "    channel 0 \"first\", dye green dye, excitation 488 nm, emission 520 nm\n"
              "  image 1: 1 x 1 x 1 x 1 x 5, type float, voxels of - x - x 1 m\n"
              "  Instrument:1 \"Acme One\": 0 light sources, 0 detectors, 0 filters\n"
              "    Objective:1 \"Plan\", magnification 63, NA 1.4, immersion Oil\n");
}

TEST_F(MetaCommand, InfoJsonHasTheDocumentBesideTheOldKeys) {
    auto const document = json({"info", acquired(), "--json"});
    EXPECT_EQ(document["schema"], "vexa.info/1");
    EXPECT_EQ(document["stacks"].size(), 2u);
    auto const& ome = document["ome"];
    ASSERT_EQ(ome["images"].size(), 2u);
    auto const& image = ome["images"][0];
    EXPECT_EQ(image["name"], "cells");
    EXPECT_EQ(image["shape"], Json({4, 3, 2, 1, 1}));
    EXPECT_EQ(image["type"], "uint16");
    EXPECT_EQ(image["voxel_shape"][2], nullptr);
    EXPECT_EQ(image["objective"], "Objective:1");
    EXPECT_EQ(image["channels"][0]["fluor"], "green dye");
    EXPECT_NEAR(image["channels"][0]["excitation_wavelength"].get<double>(), 488e-9, 1e-15);
    EXPECT_EQ(ome["images"][1]["name"], nullptr);
    EXPECT_EQ(ome["instruments"][0]["microscope"], "Acme One");
    EXPECT_EQ(ome["instruments"][0]["objectives"][0]["lens_NA"], 1.4);
}

TEST_F(MetaCommand, InfoOfOneStackShowsItsImageOnly) {
    auto const text = output({"info", acquired(), "1"});
    EXPECT_THAT(text, HasSubstr("image 1"));
    EXPECT_THAT(text, Not(HasSubstr("cells")));
}

// verify

TEST_F(MetaCommand, DocumentThatAgreesIsGood) {
    EXPECT_THAT(output({"verify", acquired()}), HasSubstr("  OME document: good\n"));
    EXPECT_EQ(json({"verify", acquired(), "--json"})["ome"],
              Json({{"error", ""}, {"disagreements", Json::array()}}));
    EXPECT_EQ(run({"verify", file_of(small_document)}).code, 0);
}

TEST_F(MetaCommand, OtherNumberOfImagesIsAFinding) {
    auto const result = run({"verify", file_of("<OME/>")});
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.out, HasSubstr("  OME document: disagrees\n"
                                      "    finding: the document has 0 images, the file has 1 stacks\n"));
}

TEST_F(MetaCommand, OtherShapeAndTypeAreFindings) {
    auto document = std::string(small_document);
    document.replace(document.find("SizeY=\"3\""), 9, "SizeY=\"7\"");
    document.replace(document.find("\"uint8\""), 7, "\"float\"");
    auto const file = file_of(document);
    auto const result = run({"verify", file});
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.out,
                HasSubstr("    finding: image 0 has 1 x 1 x 1 x 7 x 2 samples, stack 0 has 3 x 2\n"
                          "    finding: image 0 has samples of float, stack 0 of uint8\n"));
    auto const json_result = json({"verify", file, "--json"});
    EXPECT_EQ(json_result["exit_code"], 1);
    EXPECT_EQ(json_result["ome"]["disagreements"].size(), 2u);
}

TEST_F(MetaCommand, StackThatHasGrownAgrees) {
    auto const file = open_file(path("grown.vbf"), Mode::create);
    auto const stack = file->add_stack(types::uint8, {2, 0}, false);
    stack->write(types::uint8, "abcdef", nullptr, 6);
    stack->write_end(types::uint8);
    file->close();
    EXPECT_THAT(output({"verify", path("grown.vbf")}), HasSubstr("  OME document: good\n"));
}

TEST_F(MetaCommand, StackWhoseTypeCameLaterAgrees) {
    auto const file = open_file(path("typed.vbf"), Mode::create);
    file->add_stack(0, {2, 3}, false)->write(types::uint16, "abcdefghijkl", nullptr, 6);
    file->close();
    EXPECT_EQ(run({"verify", path("typed.vbf")}).code, 0);
}

TEST_F(MetaCommand, StackWithoutImageIsAFinding) {
    auto const file = open_file(path("bare.vbf"), Mode::create);
    EXPECT_THROW(file->add_stack(types::uint64, {2}, false), std::invalid_argument);
    std::vector<std::uint64_t> const samples(2);
    file->get_stack(0)->write(types::uint64, samples.data(), nullptr, 2);
    file->close();
    auto const result = run({"verify", path("bare.vbf")});
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.out, HasSubstr("the document has 0 images, the file has 1 stacks"));
}

// compact

TEST_F(MetaCommand, CompactedFileKeepsItsDocument) {
    auto const file = open_file(path("roomy.vbf"), Mode::create);
    auto const stack = file->add_stack(types::uint8, {4}, false);
    stack->reserve(0);
    stack->write(types::uint8, "abcd", nullptr, 4);
    file->add_stack(types::uint8, {4}, false)->write(types::uint8, "efgh", nullptr, 4);
    file->close();
    output({"compact", path("roomy.vbf"), path("small.vbf")});
    EXPECT_EQ(get({path("small.vbf"), "--xml"}), get({path("roomy.vbf"), "--xml"}));
    EXPECT_EQ(run({"verify", path("small.vbf")}).code, 0);
}

// import

class MetaImport : public MetaCommand {
protected:
    /// Import raw zeros.
    ToolRun import(std::string const& type, std::string const& shape, std::size_t bytes) const {
        put_file(path("in.raw"), std::string(bytes, '\0'));
        return run({"import", path("in.raw"), path("out.vbf"), "--type", type, "--shape", shape, "--force"});
    }
};

TEST_F(MetaImport, ImageHasNameAndDescription) {
    put_file(path("in.raw"), std::string(12, '\0'));
    output({"import", path("in.raw"), path("out.vbf"), "--type", "uint16", "--shape", "2,3", "--name",
            "cells", "--description", "of today"});
    EXPECT_EQ(get({path("out.vbf"), "Image/Name"}), "cells\n");
    EXPECT_EQ(get({path("out.vbf"), "Image/Description/0"}), "Description: of today\n");
    EXPECT_EQ(get({path("out.vbf"), "Image/Pixels/SizeX"}), "3\n");
    EXPECT_EQ(run({"verify", path("out.vbf")}).code, 0);
}

TEST_F(MetaImport, EachTypeThatOmeKnowsHasAnImage) {
    for (auto const& [type, size] : {std::pair("uint8", 1),
                                     {"int8", 1},
                                     {"uint16", 2},
                                     {"int16", 2},
                                     {"uint32", 4},
                                     {"int32", 4},
                                     {"single", 4},
                                     {"double", 8},
                                     {"cplx_single", 8},
                                     {"cplx_double", 16}}) {
        auto const result = import(type, "2,3", 6u * static_cast<std::size_t>(size));
        EXPECT_EQ(result.code, 0) << type << result.err;
        EXPECT_EQ(result.err, "") << type;
        EXPECT_THAT(output({"verify", path("out.vbf")}), HasSubstr("OME document: good")) << type;
    }
}

TEST_F(MetaImport, OtherTypesComeWithoutDocumentAndALineThatSaysSo) {
    for (auto const& [type, size] : {std::pair("uint64", 8), {"int64", 8}, {"logical", 1}}) {
        auto const result = import(type, "2,3", 6u * static_cast<std::size_t>(size));
        EXPECT_EQ(result.code, 0) << type;
        EXPECT_EQ(result.err,
                  "vexa: " + path("out.vbf") +
                      ": has no OME document, which can't describe the stack: Unsupported OME image type\n");
        EXPECT_EQ(run({"verify", path("out.vbf")}).code, 0) << type;
        EXPECT_EQ(run({"meta", "get", path("out.vbf")}).code, 3);
    }
}

TEST_F(MetaImport, SixAxesComeWithoutDocument) {
    auto const result = import("uint8", "1,1,1,1,2,3", 6);
    EXPECT_EQ(result.code, 0);
    EXPECT_THAT(result.err, HasSubstr("Unsupported number of 6 dimensions\n"));
    EXPECT_EQ(run({"verify", path("out.vbf")}).code, 0);
}

TEST_F(MetaImport, FiveAxesHaveTimeAndChannels) {
    EXPECT_EQ(import("uint8", "2,3,1,1,2", 12).code, 0);
    EXPECT_EQ(get({path("out.vbf"), "Image/Pixels/SizeC"}), "2\n");
    EXPECT_EQ(get({path("out.vbf"), "Image/Pixels/SizeT"}), "3\n");
}

TEST_F(MetaImport, StackWithoutSamplesIsImported) {
    auto const result = import("uint8", "3,0", 0);
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(run({"verify", path("out.vbf")}).code, 0);
}

} // namespace
} // namespace Vexa::tool
