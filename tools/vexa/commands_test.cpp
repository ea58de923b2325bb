#include <complex>
#include <cstdint>
#include <numeric>

#include <sys/resource.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <vexa/bf/FileInterface.h>
#include <vexa/bf/StackInterface.h>
#include <vexa/foundation/types.h>

#include "npy.h"
#include "run_tool.h"

namespace Vexa::tool {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using Json = nlohmann::json;

class Commands : public ToolTest {
protected:
    /// A file with a stack "ramp" of 4 x 3 x 2 samples of 16 bits, values 0 to 23, and a complex one "wave".
    std::string two_stacks() const {
        auto const file = open_file(path("two.vbf"), bf::DiskFile::Mode::create);
        auto const ramp = file->add_stack(types::uint16, {4, 3, 2}, false);
        ramp->set_name("ramp");
        ramp->set_description("counts up");
        ramp->set_compression(1, 6);
        units::RuntimeValue unit;
        unit.set_value("m", 1e-6);
        ramp->set_units(0, unit);
        ramp->set_length(0, 2.0);
        ramp->set_tag("made by", JSON::Value("a test"));
        std::vector<std::uint16_t> values(24);
        std::iota(values.begin(), values.end(), std::uint16_t{0});
        ramp->write(types::uint16, values.data(), nullptr, values.size());
        auto const wave = file->add_stack(types::cplx_single, {2}, false);
        wave->set_name("wave");
        std::vector<std::complex<float>> const waves{{1.5f, -2.f},
                                                     {std::numeric_limits<float>::infinity(), 0.f}};
        wave->write(types::cplx_single, waves.data(), nullptr, 2);
        file->set_tag("note", "12345");
        file->close();
        return path("two.vbf");
    }

    /// Change bytes of a file.
    static void damage(std::string const& file, std::size_t at, std::string const& bytes) {
        auto contents = get_file(file);
        ASSERT_LE(at + bytes.size(), contents.size());
        contents.replace(at, bytes.size(), bytes);
        put_file(file, contents);
    }

    Json info(std::string const& file) const { return Json::parse(output({"info", file, "--json"})); }
};

TEST_F(Commands, HelpIsEverywhere) {
    for (std::string const command : {"", "ls", "info", "cat", "import", "export", "compact", "verify"}) {
        auto const arguments = command.empty() ? std::vector<std::string>{"--help"}
                                               : std::vector{command, std::string("--help")};
        auto const text = output(arguments);
        EXPECT_THAT(text, HasSubstr("--help")) << command;
        EXPECT_THAT(text, HasSubstr("Exit codes:")) << command;
    }
}

TEST_F(Commands, WrongArgumentsAreWrongUse) {
    EXPECT_EQ(run({}).code, 2);
    EXPECT_EQ(run({"dance"}).code, 2);
    EXPECT_EQ(run({"ls"}).code, 2);
    EXPECT_EQ(run({"ls", "--nonsense", "x"}).code, 2);
    EXPECT_EQ(run({"cat", "x", "0", "--raw", "--json"}).code, 2);
    EXPECT_EQ(run({"import", "a", "b", "-j", "0"}).code, 2);
}

TEST_F(Commands, LsPrintsALineForEachStack) {
    auto const text = output({"ls", two_stacks()});
    EXPECT_THAT(text, HasSubstr("index  name  shape      type"));
    EXPECT_THAT(text, ::testing::ContainsRegex("    0  ramp  2 x 3 x 4  uint16 .* complete\n"));
    EXPECT_THAT(text, ::testing::ContainsRegex("    1  wave  2          cplx_single .* complete\n"));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3);
}

TEST_F(Commands, LsGoesOnBehindABadFileAndReturnsTheWorstCode) {
    auto const good = two_stacks();
    put_file(path("bad.vbf"), "some text that is long enough to hold a header");
    auto const result = run({"ls", path("bad.vbf"), good, path("missing.vbf")});
    EXPECT_EQ(result.code, 3);
    EXPECT_THAT(result.out, HasSubstr("ramp"));
    EXPECT_EQ(result.err, "vexa: " + path("bad.vbf") + ": No VBF file header found.\nvexa: " +
                              path("missing.vbf") + ": cannot be read: No such file or directory\n");
}

TEST_F(Commands, LsJsonIsOneDocument) {
    auto const document = Json::parse(output({"ls", "--json", two_stacks()}));
    EXPECT_EQ(document["schema"], "vexa.ls/1");
    auto const& stacks = document["files"][0]["stacks"];
    ASSERT_EQ(stacks.size(), 2u);
    EXPECT_EQ(stacks[0]["shape"], Json({4, 3, 2}));
    EXPECT_EQ(stacks[0]["sample_bytes"], 48);
    EXPECT_EQ(stacks[1]["state"], "complete");
}

TEST_F(Commands, FileThatWasNotClosedIsDamaged) {
    {
        auto const file = open_file(path("open.vbf"), bf::DiskFile::Mode::create);
        auto const stack = file->add_stack(types::uint8, {4}, false);
        stack->write(types::uint8, "abcd", nullptr, 4);
        file->flush();
        std::filesystem::copy_file(path("open.vbf"), path("cut.vbf"));
        file->close();
    }
    for (char const* command : {"ls", "info"}) {
        auto const result = run({command, path("cut.vbf")});
        EXPECT_EQ(result.code, 4);
        EXPECT_THAT(result.err, HasSubstr(path("cut.vbf") + ": "));
    }
}

TEST_F(Commands, InfoJsonHasEveryFieldOfTheContract) {
    auto const file = two_stacks();
    auto const document = info(file);
    EXPECT_EQ(document["schema"], "vexa.info/1");
    EXPECT_EQ(document["path"], file);
    EXPECT_EQ(document["format_version"], 2);
    EXPECT_EQ(document["description"], "");
    EXPECT_GT(document["metadata_position"], 26);
    EXPECT_EQ(document["tags"]["note"], 5);
    ASSERT_EQ(document["stacks"].size(), 2u);
    auto const& ramp = document["stacks"][0];
    for (char const* key : {"index",           "name",
                            "description",     "type",
                            "type_code",       "shape",
                            "lengths",         "offsets",
                            "labels",          "units",
                            "unit_exponents",  "unit_factors",
                            "data_unit",       "tags",
                            "compression",     "compression_level",
                            "data_less",       "variable_size",
                            "stack_position",  "data_start_position",
                            "data_length",     "samples_written",
                            "elements",        "flush_block_size",
                            "flush_positions", "chunk_records",
                            "status"})
        EXPECT_TRUE(ramp.contains(key)) << key;
    EXPECT_EQ(ramp["name"], "ramp");
    EXPECT_EQ(ramp["description"], "counts up");
    EXPECT_EQ(ramp["type"], "uint16");
    EXPECT_EQ(ramp["type_code"], 4);
    EXPECT_EQ(ramp["shape"], Json({4, 3, 2}));
    EXPECT_EQ(ramp["lengths"], Json({2.0, 3.0, 2.0}));
    EXPECT_EQ(ramp["offsets"], Json({-0.5, -0.5, -0.5}));
    EXPECT_EQ(ramp["labels"], Json({"", "", ""}));
    EXPECT_EQ(ramp["units"][1], "");
    EXPECT_EQ(ramp["unit_exponents"][0][0], Json({1, 1}));
    EXPECT_EQ(ramp["unit_exponents"][0][1], Json({0, 1}));
    EXPECT_EQ(ramp["unit_exponents"][0].size(), 9u);
    EXPECT_EQ(ramp["unit_factors"], Json({1e-6, 1.0, 1.0}));
    EXPECT_EQ(ramp["tags"], Json({{"made by", "json"}}));
    EXPECT_EQ(ramp["compression"], 1);
    EXPECT_EQ(ramp["compression_level"], 6);
    EXPECT_EQ(ramp["data_less"], false);
    EXPECT_EQ(ramp["variable_size"], false);
    EXPECT_EQ(ramp["stack_position"], 34);
    EXPECT_EQ(ramp["data_start_position"], 34 + 368 + 4 + 9);
    EXPECT_EQ(ramp["samples_written"], 24);
    EXPECT_EQ(ramp["elements"], 24);
    EXPECT_EQ(ramp["chunk_records"], Json::array());
    EXPECT_EQ(ramp["status"], 0);
}

TEST_F(Commands, InfoOfOneStackLeavesTheOthersOut) {
    auto const file = two_stacks();
    auto const document = Json::parse(output({"info", file, "=wave", "--json"}));
    ASSERT_EQ(document["stacks"].size(), 1u);
    EXPECT_EQ(document["stacks"][0]["index"], 1);
    auto const text = output({"info", file, "0"});
    EXPECT_THAT(text, HasSubstr("ramp"));
    EXPECT_THAT(text, HasSubstr("tag made by: \"a test\""));
    EXPECT_THAT(text, Not(HasSubstr("wave")));
}

TEST_F(Commands, NonFiniteNumbersAreTexts) {
    {
        auto const file = open_file(path("nan.vbf"), bf::DiskFile::Mode::create);
        auto const stack = file->add_stack(types::uint8, {1, 1}, false);
        stack->set_lengths({std::numeric_limits<double>::infinity(), 1.0});
        stack->set_offsets(
            {-std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()});
        stack->write(types::uint8, "a", nullptr, 1);
        file->close();
    }
    auto const stack = info(path("nan.vbf"))["stacks"][0];
    EXPECT_EQ(stack["lengths"], Json({"Infinity", 1.0}));
    EXPECT_EQ(stack["offsets"], Json({"-Infinity", "NaN"}));
}

TEST_F(Commands, NamesThatAreNoTextArePrintedSafely) {
    {
        auto const file = open_file(path("odd.vbf"), bf::DiskFile::Mode::create);
        auto const stack = file->add_stack(types::uint8, {1}, false);
        stack->set_name("a\x1b[31m\xFF\n\xC3\xA4");
        stack->write(types::uint8, "a", nullptr, 1);
        file->close();
    }
    EXPECT_THAT(output({"ls", path("odd.vbf")}), HasSubstr("a\\x1b[31m\\xff\\x0a\xC3\xA4"));
    EXPECT_EQ(info(path("odd.vbf"))["stacks"][0]["name"], "a\x1b[31m\xEF\xBF\xBD\n\xC3\xA4");
}

TEST_F(Commands, UnknownTypeIsListedAndItsSamplesAreRefused) {
    auto const file = two_stacks();
    damage(file, 34 + 324, std::string("\0\0\4\0", 4)); // the type "empty"
    auto const document = info(file);
    EXPECT_EQ(document["stacks"][0]["type"], "empty");
    damage(file, 34 + 324, std::string("\0\0\0\2", 4)); // no type at all
    EXPECT_EQ(info(file)["stacks"][0]["type"], nullptr);
    EXPECT_EQ(info(file)["stacks"][0]["type_code"], 0x2000000);
    EXPECT_THAT(output({"ls", file}), HasSubstr("unreadable"));
    auto const result = run({"cat", file, "0"});
    EXPECT_EQ(result.code, 3);
    EXPECT_EQ(result.err, "vexa: Samples of type 0x2000000 have no size and can't be read.\n");
}

TEST_F(Commands, CatPrintsALineForEachLine) {
    auto const file = two_stacks();
    EXPECT_EQ(output({"cat", file, "0"}),
              "0 1 2 3\n4 5 6 7\n8 9 10 11\n12 13 14 15\n16 17 18 19\n20 21 22 23\n");
    EXPECT_EQ(output({"cat", file, "=ramp", "1, 0:2, 1:3"}), "13 14\n17 18\n");
    EXPECT_EQ(output({"cat", file, "0", "-1, :, ::3"}), "12 15\n16 19\n20 23\n");
    EXPECT_EQ(output({"cat", file, "0", "1,2,3"}), "23\n");
    EXPECT_EQ(output({"cat", file, "0", "1:1"}), "");
    EXPECT_EQ(output({"cat", file, "0", "0, 0, ::100000000"}), "0\n");
    EXPECT_EQ(output({"cat", file, "1"}), "1.5-2j inf+0j\n");
}

TEST_F(Commands, CatRawPrintsLittleEndianBytes) {
    EXPECT_EQ(output({"cat", "--raw", two_stacks(), "0", "0, 0, 1:3"}), std::string("\1\0\2\0", 4));
}

TEST_F(Commands, CatJsonHoldsTheSamples) {
    auto const file = two_stacks();
    auto const ramp = Json::parse(output({"cat", "--json", file, "0", "1, 0:2, 1:3"}));
    EXPECT_EQ(ramp["schema"], "vexa.cat/1");
    EXPECT_EQ(ramp["type"], "uint16");
    EXPECT_EQ(ramp["shape"], Json({2, 2}));
    EXPECT_EQ(ramp["samples"], Json({13, 14, 17, 18}));
    auto const wave = Json::parse(output({"cat", "--json", file, "1"}));
    EXPECT_EQ(wave["samples"], Json({{1.5, -2.0}, {"Infinity", 0.0}}));
}

TEST_F(Commands, StacksThatDoNotExistAreWrongUse) {
    auto const file = two_stacks();
    EXPECT_EQ(run({"cat", file, "2"}).err, "vexa: There is no stack 2, the file has 2.\n");
    EXPECT_EQ(run({"cat", file, "=x"}).err, "vexa: There is no stack with the name \"x\".\n");
    EXPECT_EQ(run({"cat", file, "x"}).err,
              "vexa: \"x\" is neither the index of a stack nor \"=\" and its name.\n");
    for (char const* stack : {"2", "=x", "x", "0x"}) EXPECT_EQ(run({"cat", file, stack}).code, 2);
    EXPECT_EQ(run({"cat", file, "0", "0,0,0,0"}).code, 2);
}

TEST_F(Commands, DamagedSamplesAreDamage) {
    auto const file = two_stacks();
    auto const start = info(file)["stacks"][0]["data_start_position"].get<std::size_t>();
    damage(file, start + 3, "\xFF\xFF\xFF");
    auto const result = run({"cat", file, "0"});
    EXPECT_EQ(result.code, 4);
    EXPECT_THAT(result.err, HasSubstr(file + ": "));
    EXPECT_EQ(run({"export", file, "0", path("out.npy")}).code, 4);
    EXPECT_THAT(names_in_folder(), ElementsAre("two.vbf"));
}

TEST_F(Commands, VerifyOfAGoodFileIsDone) {
    auto const file = two_stacks();
    auto const text = output({"verify", file});
    EXPECT_THAT(text, HasSubstr("stack 0 \"ramp\": 48 B in"));
    EXPECT_THAT(text, HasSubstr("good"));
    auto const document = Json::parse(output({"verify", "--json", "-j", "2", file}));
    EXPECT_EQ(document["schema"], "vexa.verify/1");
    EXPECT_EQ(document["closed"], true);
    EXPECT_EQ(document["exit_code"], 0);
    EXPECT_EQ(document["faults"], Json::array());
    EXPECT_EQ(document["stacks"][0]["sample_bytes"], 48);
    EXPECT_EQ(document["stacks"][0]["error"], "");
}

TEST_F(Commands, VerifyTellsWhereDataAreDamaged) {
    auto const file = two_stacks();
    auto const stack = info(file)["stacks"][0];
    auto const end =
        stack["data_start_position"].get<std::size_t>() + stack["data_length"].get<std::size_t>();
    damage(file, end - 1, "\x55"); // the checksum
    auto const result = run({"verify", file});
    EXPECT_EQ(result.code, 4);
    EXPECT_THAT(result.out, HasSubstr("zlib says: incorrect data check"));
    EXPECT_THAT(result.out, HasSubstr("stack 1 \"wave\": 16 B in 16 B, good"));
    EXPECT_EQ(Json::parse(run({"verify", "--json", file}).out)["exit_code"], 4);
}

TEST_F(Commands, VerifyOfAFileThatReadsButIsNotRightIsAFinding) {
    auto const file = two_stacks();
    auto const stack = info(file)["stacks"][0];
    auto const footer =
        stack["data_start_position"].get<std::size_t>() + stack["data_length"].get<std::size_t>();
    damage(file, footer + 1444, "\x01");
    auto const result = run({"verify", file});
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.out, HasSubstr("the footer ends at"));
}

TEST_F(Commands, VerifyOfOtherFilesGivesTheReason) {
    put_file(path("text"), "some text");
    EXPECT_EQ(run({"verify", path("text")}).code, 3);
    EXPECT_EQ(run({"verify", path("missing")}).code, 3);
    EXPECT_EQ(run({"verify", folder_.path().string()}).code, 3);
    auto const file = two_stacks();
    damage(file, 26, std::string(8, '\0'));
    auto const result = run({"verify", file});
    EXPECT_EQ(result.code, 4);
    EXPECT_THAT(result.out, HasSubstr("the file is not closed; 2 stacks can be reached"));
}

TEST_F(Commands, VerifyWithoutTheEndOfAFileIsDamage) {
    auto const contents = get_file(two_stacks());
    put_file(path("cut.vbf"), contents.substr(0, contents.size() / 2));
    EXPECT_EQ(run({"verify", path("cut.vbf")}).code, 4);
}

std::string npy_of(std::string const& descr, std::string const& shape, std::string const& data) {
    std::string header = "{'descr': '" + descr + "', 'fortran_order': False, 'shape': " + shape + ", }";
    header.resize((10 + header.size() + 64) / 64 * 64 - 10, ' ');
    header.back() = '\n';
    std::string file("\x93NUMPY\1\0", 8);
    file += static_cast<char>(header.size() & 0xFF);
    file += static_cast<char>(header.size() >> 8);
    return file + header + data;
}

std::string ramp_bytes(std::size_t n) {
    std::string bytes(n, '\0');
    for (std::size_t i = 0; i < n; ++i) bytes[i] = static_cast<char>(i * 7);
    return bytes;
}

TEST_F(Commands, ImportedArrayIsExportedUnchanged) {
    struct Case {
        char const* descr;
        std::size_t size;
    };
    for (auto const& [descr, size] :
         {Case{"|u1", 1}, Case{"<u2", 2}, Case{"<u4", 4}, Case{"<u8", 8}, Case{"|i1", 1}, Case{"<i2", 2},
          Case{"<i4", 4}, Case{"<i8", 8}, Case{"<f4", 4}, Case{"<f8", 8}, Case{"<c8", 8}, Case{"<c16", 16}}) {
        auto const bytes = npy_of(descr, "(2, 3, 4)", ramp_bytes(24 * size));
        put_file(path("a.npy"), bytes);
        output({"import", "--force", path("a.npy"), path("a.vbf")});
        output({"export", "--force", path("a.vbf"), "0", path("b.npy")});
        EXPECT_EQ(get_file(path("b.npy")), bytes) << descr;
        EXPECT_EQ(run({"verify", path("a.vbf")}).code, 0) << descr;
    }
}

TEST_F(Commands, ImportNamesTheStackAndTakesALevel) {
    put_file(path("cells.npy"), npy_of("|u1", "(8, 8)", std::string(64, '\0')));
    output({"import", path("cells.npy"), path("a.vbf")});
    auto stack = info(path("a.vbf"))["stacks"][0];
    EXPECT_EQ(stack["name"], "cells");
    EXPECT_EQ(stack["compression"], 1);
    EXPECT_LT(stack["data_length"], 64);
    output({"import", path("cells.npy"), path("b.vbf"), "--level", "0", "--name", "other", "--description",
            "text"});
    stack = info(path("b.vbf"))["stacks"][0];
    EXPECT_EQ(stack["name"], "other");
    EXPECT_EQ(stack["description"], "text");
    EXPECT_EQ(stack["compression"], 0);
    EXPECT_EQ(stack["data_length"], 64);
}

TEST_F(Commands, EmptyArraysSurvive) {
    for (char const* shape : {"(0, 4)", "(4, 0)", "(0,)"}) {
        auto const bytes = npy_of("<f8", shape, "");
        put_file(path("a.npy"), bytes);
        output({"import", "--force", path("a.npy"), path("a.vbf")});
        output({"export", "--force", path("a.vbf"), "0", path("b.npy")});
        EXPECT_EQ(get_file(path("b.npy")), bytes) << shape;
    }
}

TEST_F(Commands, TargetsAreReplacedWithForceOnly) {
    put_file(path("a.npy"), npy_of("|u1", "(4,)", "abcd"));
    put_file(path("a.vbf"), "precious");
    auto const result = run({"import", path("a.npy"), path("a.vbf")});
    EXPECT_EQ(result.code, 2);
    EXPECT_EQ(result.err, "vexa: " + path("a.vbf") + ": exists already; --force replaces it.\n");
    EXPECT_EQ(get_file(path("a.vbf")), "precious");
    output({"import", "-f", path("a.npy"), path("a.vbf")});
    EXPECT_EQ(run({"export", path("a.vbf"), "0", path("a.npy")}).code, 2);
    EXPECT_EQ(run({"export", path("a.vbf"), "0", path("a.raw")}).code, 0);
    std::filesystem::remove(path("a.raw"));
    EXPECT_EQ(run({"export", path("a.vbf"), "0", path("a.raw")}).code, 2) << "the JSON file is there";
    EXPECT_THAT(names_in_folder(), ElementsAre("a.json", "a.npy", "a.vbf"));
}

TEST_F(Commands, FailedImportsLeaveNothingAndNameTheReason) {
    put_file(path("short.npy"), npy_of("<u2", "(400,)", "abcd"));
    put_file(path("a.jpg"), "");
    EXPECT_EQ(run({"import", path("short.npy"), path("out.vbf")}).code, 4);
    EXPECT_EQ(run({"import", path("missing.npy"), path("out.vbf")}).code, 3);
    EXPECT_EQ(run({"import", path("a.jpg"), path("out.vbf")}).code, 2);
    EXPECT_EQ(run({"import", path("a.raw"), path("out.vbf")}).code, 2);
    put_file(path("ok.npy"), npy_of("|u1", "(4,)", "abcd"));
    auto const result = run({"import", path("ok.npy"), path("no/such/out.vbf")});
    EXPECT_EQ(result.code, 5);
    EXPECT_EQ(result.err,
              "vexa: " + path("no/such/out.vbf") + ": cannot be written: No such file or directory\n");
    EXPECT_THAT(names_in_folder(), ElementsAre("a.jpg", "ok.npy", "short.npy"));
}

TEST_F(Commands, DiskThatIsFullIsAFailedOutput) {
    put_file(path("a.npy"), npy_of("|u1", "(1000000,)", std::string(1000000, 'x')));
    auto const limit = [] {
        rlimit const small{100000, 100000};
        ::setrlimit(RLIMIT_FSIZE, &small);
    };
    auto result = runner_.run({"import", "--level", "0", path("a.npy"), path("a.vbf")}, {}, limit);
    EXPECT_EQ(result.code, 5);
    EXPECT_THAT(result.err, HasSubstr("File too large"));
    EXPECT_THAT(names_in_folder(), ElementsAre("a.npy"));
    output({"import", path("a.npy"), path("a.vbf")});
    for (char const* name : {"b.npy", "b.raw", "b.tif"}) {
        result = runner_.run({"export", path("a.vbf"), "0", path(name)}, {}, limit);
        EXPECT_EQ(result.code, 5) << name << result.err;
    }
    EXPECT_THAT(names_in_folder(), ElementsAre("a.npy", "a.vbf"));
}

TEST_F(Commands, StandardOutputThatFailsIsAFailedOutput) {
    auto const file = two_stacks();
    auto const full = [] {
        int const device = ::open("/dev/full", O_WRONLY);
        ::dup2(device, STDOUT_FILENO);
    };
    for (char const* command : {"ls", "info", "verify"})
        EXPECT_EQ(runner_.run({command, file}, {}, full).code, 5) << command;
    EXPECT_EQ(runner_.run({"cat", file, "0"}, {}, full).code, 5);
}

TEST_F(Commands, InterruptedImportLeavesNothing) {
    // A file with a hole, large enough that it can't be done before the interrupt comes.
    put_file(path("a.raw"), "");
    std::filesystem::resize_file(path("a.raw"), std::uintmax_t{16} << 30);
    auto const interrupt = [&](pid_t child) {
        while (names_in_folder().size() < 2) ::usleep(1000);
        ::kill(child, SIGINT);
    };
    auto const result = runner_.run(
        {"import", path("a.raw"), path("a.vbf"), "--shape", "4096,2048,2048", "--type", "uint8"}, interrupt);
    EXPECT_EQ(result.code, 130);
    EXPECT_THAT(names_in_folder(), ElementsAre("a.raw"));
}

TEST_F(Commands, RawFilesGoWithTheirJson) {
    auto const file = two_stacks();
    output({"export", file, "0", path("a.raw")});
    auto const raw = get_file(path("a.raw"));
    EXPECT_EQ(raw.size(), 48u);
    auto const sidecar = Json::parse(get_file(path("a.json")));
    EXPECT_EQ(sidecar["schema"], "vexa.raw/1");
    EXPECT_EQ(sidecar["type"], "uint16");
    EXPECT_EQ(sidecar["shape"], Json({4, 3, 2}));
    output({"import", path("a.raw"), path("b.vbf")});
    EXPECT_EQ(output({"cat", "--raw", path("b.vbf"), "0"}), raw);
    auto const stack = info(path("b.vbf"))["stacks"][0];
    EXPECT_EQ(stack["shape"], Json({4, 3, 2}));
    EXPECT_NEAR(stack["lengths"][0].get<double>(), 2e-6, 1e-12);
    output({"import", "-f", path("a.raw"), path("b.vbf"), "--shape", "24", "--type", "int16"});
    EXPECT_EQ(info(path("b.vbf"))["stacks"][0]["type"], "int16");
    EXPECT_EQ(run({"import", "-f", path("a.raw"), path("b.vbf"), "--shape", "25", "--type", "int16"}).code,
              4);
    EXPECT_EQ(run({"import", "-f", path("a.raw"), path("b.vbf"), "--shape", "24"}).code, 2);
    EXPECT_EQ(run({"import", "-f", path("a.raw"), path("b.vbf"), "--shape", "24", "--type", "int17"}).code,
              2);
    EXPECT_EQ(run({"import", "-f", path("a.raw"), path("b.vbf"), "--shape", "2x12", "--type", "int16"}).code,
              2);
    for (char const* text :
         {"", "[]", "{}", "{\"schema\": \"vexa.raw/1\"}", "{\"schema\": 1}",
          "{\"byte_order\":\"little\",\"schema\":\"vexa.raw/1\",\"shape\":[-1],\"type\":\"uint16\"}"}) {
        put_file(path("a.json"), text);
        EXPECT_EQ(run({"import", "-f", path("a.raw"), path("b.vbf")}).code, 4) << text;
    }
}

TEST_F(Commands, PngNeedsOnePlaneAndStatesItsContrast) {
    auto const file = two_stacks();
    EXPECT_EQ(run({"export", file, "0", path("a.png")}).code, 2);
    EXPECT_EQ(run({"export", file, "0", path("a.png"), "--plane", "2"}).code, 2);
    EXPECT_EQ(run({"export", file, "0", path("a.png"), "--plane", "0:2"}).code, 2);
    EXPECT_EQ(run({"export", file, "0", path("a.png"), "--plane", "1", "--range", "5"}).code, 2);
    EXPECT_EQ(run({"export", file, "0", path("a.npy"), "--plane", "1"}).code, 2);
    auto result = run({"export", file, "0", path("a.png"), "--plane", "1"});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.err, "vexa: " + path("a.png") + ": black is 12, white is 23.\n");
    EXPECT_EQ(get_file(path("a.png")).substr(0, 8), "\x89PNG\r\n\x1a\n");
    result =
        run({"export", "-f", file, "0", path("a.png"), "--plane", "1", "--range", "0,100", "--bits", "16"});
    EXPECT_EQ(result.err, "vexa: " + path("a.png") + ": black is 0, white is 100.\n");
    EXPECT_EQ(get_file(path("a.png")).substr(16, 9), std::string("\0\0\0\4\0\0\0\3\x10", 9));
}

TEST_F(Commands, NoiseIsImportedWithThreadsToo) {
    auto const bytes = npy_of("|u1", "(4, 1024, 1024)", noise(4 << 20));
    put_file(path("a.npy"), bytes);
    output({"import", "-j", "4", path("a.npy"), path("a.vbf")});
    output({"export", "-j", "4", path("a.vbf"), "0", path("b.npy")});
    EXPECT_EQ(get_file(path("b.npy")), bytes);
}

TEST_F(Commands, ColoursShowOnATerminalOnly) {
    auto const file = two_stacks();
    auto const on_terminal = [&](bool no_color) {
        int const master = ::posix_openpt(O_RDWR | O_NOCTTY);
        EXPECT_EQ(::grantpt(master), 0);
        EXPECT_EQ(::unlockpt(master), 0);
        std::string const name = ::ptsname(master);
        std::string text;
        runner_.run(
            {"ls", file},
            [&](pid_t) {
                char buffer[4096];
                while (text.find("wave") == std::string::npos ||
                       text.find("complete", text.find("wave")) == std::string::npos) {
                    auto const n = ::read(master, buffer, sizeof buffer);
                    if (n <= 0) break;
                    text.append(buffer, static_cast<std::size_t>(n));
                }
            },
            [&] {
                int const terminal = ::open(name.c_str(), O_RDWR);
                ::dup2(terminal, STDOUT_FILENO);
                if (no_color)
                    ::setenv("NO_COLOR", "1", 1);
                else
                    ::unsetenv("NO_COLOR");
            });
        ::close(master);
        return text;
    };
    EXPECT_THAT(on_terminal(false), HasSubstr("\x1b[1m"));
    EXPECT_THAT(on_terminal(true), Not(HasSubstr("\x1b[")));
    EXPECT_THAT(output({"ls", file}), Not(HasSubstr("\x1b[")));
}

} // namespace
} // namespace Vexa::tool
