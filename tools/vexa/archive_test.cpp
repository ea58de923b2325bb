#include <algorithm>
#include <csignal>
#include <limits>

#include <sys/stat.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <vexa/arrays/Utilities.h>
#include <vexa/bf/FileInterface.h>
#include <vexa/foundation/types.h>
#include <vexa/json/Reader.h>
#include <vexa/testing/tree.h>
#include <vexa/zinflux/Archive.h>

#include "run_tool.h"

namespace Vexa::tool {
namespace {

using namespace Vexa::testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using Json = nlohmann::json;
using Tree = std::map<std::string, std::string>;

class ArchiveCommand : public ToolTest {
protected:
    ArchiveCommand() : ToolTest("archive") {}

    void expect_failure(std::vector<std::string> const& arguments, int code, std::string const& text) const {
        auto const result = run(arguments);
        EXPECT_EQ(result.code, code);
        EXPECT_EQ(result.err, "vexa: " + text + "\n");
    }
    Tree small_tree() const {
        Tree const tree{{"zarr", is_a_directory},
                        {"zarr/0.0", "chunk"},
                        {"zarr/zfx", is_a_directory},
                        {"zarr/zfx/.zattrs", R"({"did": "the data"})"},
                        {"\xC3\xA4\x1b", ""}};
        make_tree(path("specimen"), tree);
        return tree;
    }
    /// A file whose stacks are "plain" and the archives of the given blobs.
    std::string file_of(std::vector<std::string> const& blobs) const {
        auto const file = open_file(path("made.vbf"), bf::DiskFile::Mode::create);
        auto const plain = file->add_stack(types::uint8, {2}, false);
        plain->set_name("plain");
        plain->write(types::uint8, "ab", nullptr, 2);
        for (auto const& blob : blobs) {
            auto const stack = file->add_stack(types::uint8, {blob.size(), 1, 1, 1}, false);
            stack->set_name("blob of " + std::to_string(blob.size()));
            stack->set_tag("zinflux", JSON::parse(R"({"label": "made", "sid": "s", "did": "d"})"));
            stack->write(types::uint8, blob.data(), nullptr, blob.size());
        }
        file->close();
        return path("made.vbf");
    }
};

TEST_F(ArchiveCommand, HelpIsEverywhere) {
    for (std::string const command : {"", "pack", "ls", "extract"}) {
        auto const arguments = command.empty() ? std::vector<std::string>{"--help"}
                                               : std::vector{command, std::string("--help")};
        EXPECT_THAT(output(arguments), HasSubstr("Exit codes:")) << command;
    }
    for (auto const& wrong : std::vector<std::vector<std::string>>{
             {}, {"dance"}, {"pack"}, {"pack", "a"}, {"ls"}, {"extract", "a"}, {"ls", "--nonsense", "a"}})
        EXPECT_EQ(run(wrong).code, 2);
}

TEST_F(ArchiveCommand, PackedTreeIsExtractedUnchanged) {
    auto const tree = small_tree();
    output({"pack", path("specimen"), path("a.vbf")});
    output({"extract", path("a.vbf"), path("out")});
    EXPECT_EQ(tree_of(path("out")), tree);
    EXPECT_THAT(names_in_folder(), ElementsAre("a.vbf", "out", "specimen"));
    EXPECT_EQ(runner_.run({"verify", path("a.vbf")}).code, 0);
}

TEST_F(ArchiveCommand, EmptyFolderIsPackedToo) {
    std::filesystem::create_directory(path("empty"));
    output({"pack", path("empty"), path("a.vbf"), "-j", "4"});
    output({"extract", path("a.vbf"), path("out/"), "-j", "4"});
    EXPECT_EQ(tree_of(path("out")), Tree());
    auto const stack = Json::parse(runner_.run({"info", path("a.vbf"), "--json"}).out)["stacks"][0];
    EXPECT_EQ(stack["shape"], Json({13, 13, 1, 1}));
    EXPECT_EQ(stack["type"], "uint8");
    EXPECT_EQ(stack["name"], "empty");
    EXPECT_EQ(stack["tags"], Json({{"zinflux", "json"}}));
}

TEST_F(ArchiveCommand, NoiseIsPackedWithThreadsToo) {
    auto const bytes = noise(3 << 20);
    make_tree(path("noise"), {{"f", bytes}});
    for (char const* level : {"0", "1", "9"}) {
        output({"pack", "-f", "-j", "4", "--level", level, path("noise"), path("a.vbf")});
        output({"extract", "-f", "-j", "4", path("a.vbf"), path("out")});
        EXPECT_EQ(tree_of(path("out")), (Tree{{"f", bytes}})) << level;
    }
}

TEST_F(ArchiveCommand, LsPrintsEntriesBelowTheirArchive) {
    small_tree();
    output({"pack", path("specimen"), path("a.vbf"), "--aid", "id 5"});
    auto const text = output({"ls", path("a.vbf")});
    EXPECT_THAT(text, HasSubstr("archive 0 \"specimen\": 3 files, 2 directories, 24 B, packed 20"));
    EXPECT_THAT(text, HasSubstr("\naid: id 5\ndid: the data\nsid: the data\nlabel: specimen\n"));
    EXPECT_THAT(text, HasSubstr("\n           -  zarr/\n"));
    EXPECT_THAT(text, HasSubstr("\n           5  zarr/0.0\n"));
    EXPECT_THAT(text, HasSubstr("\n           0  \xC3\xA4\\x1b\n"));
}

TEST_F(ArchiveCommand, LsJsonIsOneDocument) {
    auto const blob = blob_header(3, 17) + blob_directory("d") + blob_file("d/\xFF", "123") + blob_end();
    auto const document = Json::parse(output({"ls", "--json", file_of({blob})}));
    EXPECT_EQ(document, Json::parse(R"({"schema": "vexa.archive-ls/1", "path": ")" + path("made.vbf") +
                                    R"(", "archives": [{"index": 1, "name": "blob of 188",
        "tag": {"label": "made", "did": "d", "sid": "s"}, "data_aid": "", "liveview_sid": "s",
        "version": 3, "creation_time": 17, "blob_bytes": 188, "entries": [
            {"name": "d", "type": "directory"}, {"name": "d/)"
                                    "\xEF\xBF\xBD"
                                    R"(", "type": "file", "size": 3}]}]})"));
}

TEST_F(ArchiveCommand, TimesBeyondAllCalendarsAreNumbers) {
    auto const blob = blob_header(3, std::numeric_limits<std::int64_t>::max()) + blob_end();
    EXPECT_THAT(output({"ls", file_of({blob})}), HasSubstr("packed 9223372036854775807 s after 1970\n"));
}

TEST_F(ArchiveCommand, LabelAndIdentifierAreTaken) {
    small_tree();
    output({"pack", path("specimen") + "/", path("a.vbf")});
    auto tag = Json::parse(output({"ls", "--json", path("a.vbf")}))["archives"][0]["tag"];
    EXPECT_EQ(tag["label"], "specimen");
    EXPECT_THAT(tag["aid"].get<std::string>(),
                MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}"));
    output({"pack", "-f", path("specimen"), path("a.vbf"), "--label", "my label", "--aid", "my id"});
    tag = Json::parse(output({"ls", "--json", path("a.vbf")}))["archives"][0]["tag"];
    EXPECT_EQ(tag, Json({{"aid", "my id"},
                         {"did", "the data"},
                         {"label", "my label"},
                         {"sid", "the data"},
                         {"type", "data"}}));
}

TEST_F(ArchiveCommand, ArchiveAmongOthersIsNamed) {
    auto const file = file_of({blob_header() + blob_file("one", "1") + blob_end(),
                               blob_header() + blob_file("three", "3") + blob_end()});
    expect_failure({"extract", file, path("out")}, 2, file + ": has 2 archives; --stack says which one.");
    output({"extract", file, path("out"), "--stack", "2"});
    EXPECT_EQ(tree_of(path("out")), (Tree{{"three", "3"}}));
    output({"extract", file, path("out2"), "-s", "=blob of 176"});
    EXPECT_EQ(tree_of(path("out2")), (Tree{{"one", "1"}}));
    expect_failure({"extract", file, path("out3"), "-s", "0"}, 2,
                   "Stack 0 is no archive: it has no tag \"zinflux\".");
    expect_failure({"ls", file, "-s", "3"}, 2, "There is no stack 3, the file has 3.");
    EXPECT_THAT(output({"ls", file}), HasSubstr("archive 2"));
    auto const one = output({"ls", file, "-s", "1"});
    EXPECT_THAT(one, HasSubstr("one"));
    EXPECT_THAT(one, Not(HasSubstr("three")));
    EXPECT_THAT(names_in_folder(), ElementsAre("made.vbf", "out", "out2"));
}

TEST_F(ArchiveCommand, FileWithoutArchivesHasNone) {
    auto const file = file_of({});
    expect_failure({"ls", file}, 3, file + ": holds no archive.");
    expect_failure({"extract", file, path("out")}, 3, file + ": holds no archive.");
    put_file(path("text"), "some text that is long enough to hold a header");
    expect_failure({"ls", path("text")}, 3, path("text") + ": No VBF file header found.");
    expect_failure({"extract", path("missing"), path("out")}, 3,
                   path("missing") + ": cannot be read: No such file or directory");
}

TEST_F(ArchiveCommand, ExistingOutputsNeedForce) {
    small_tree();
    put_file(path("a.vbf"), "precious");
    expect_failure({"pack", path("specimen"), path("a.vbf")}, 2,
                   path("a.vbf") + ": exists already; --force replaces it.");
    EXPECT_EQ(get_file(path("a.vbf")), "precious");
    output({"pack", "-f", path("specimen"), path("a.vbf")});
    make_tree(path("out"),
              {{"mine", "stays"}, {"zarr", is_a_directory}, {"zarr/0.0", "much longer than it was"}});
    expect_failure({"extract", path("a.vbf"), path("out")}, 2,
                   path("out") + ": exists already; --force unpacks into it.");
    output({"extract", "-f", path("a.vbf"), path("out")});
    auto tree = small_tree();
    tree["mine"] = "stays";
    EXPECT_EQ(tree_of(path("out")), tree);
    expect_failure({"extract", "-f", path("a.vbf"), path("a.vbf")}, 2, path("a.vbf") + ": not a folder.");
}

TEST_F(ArchiveCommand, FoldersThatCannotBePackedAreNoInput) {
    EXPECT_EQ(run({"pack", path("missing"), path("a.vbf")}).code, 3);
    put_file(path("file"), "x");
    EXPECT_EQ(run({"pack", path("file"), path("a.vbf")}).code, 3);
    std::filesystem::create_directory(path("d"));
    ASSERT_EQ(::mkfifo(path("d/fifo").c_str(), 0600), 0);
    auto const result = run({"pack", path("d"), path("a.vbf")});
    EXPECT_EQ(result.code, 3);
    EXPECT_THAT(result.err, HasSubstr(path("d/fifo")));
    EXPECT_THAT(names_in_folder(), ElementsAre("d", "file"));
}

TEST_F(ArchiveCommand, BrokenIdentifierIsNamed) {
    small_tree();
    auto const attributes = path("specimen/zarr/zfx/.zattrs");
    put_file(attributes, "[]");
    expect_failure({"pack", path("specimen"), path("a.vbf")}, 3,
                   attributes + ": expected an object with a text under \"did\".");
    put_file(attributes, "{");
    expect_failure({"pack", path("specimen"), path("a.vbf")}, 3,
                   attributes + ": Incomplete Json::Value read.");
}

TEST_F(ArchiveCommand, OutputInsideTheTreeIsNotPacked) {
    auto const tree = small_tree();
    output({"pack", path("specimen"), path("specimen/a.vbf")});
    output({"extract", path("specimen/a.vbf"), path("out")});
    EXPECT_EQ(tree_of(path("out")), tree);
}

TEST_F(ArchiveCommand, OutputThatCannotBeWrittenIsAFailedOutput) {
    small_tree();
    EXPECT_EQ(run({"pack", path("specimen"), path("no/such/a.vbf")}).code, 5);
    output({"pack", path("specimen"), path("a.vbf")});
    expect_failure({"extract", path("a.vbf"), path("no/such")}, 5,
                   path("no/such") + ": cannot be written: No such file or directory");
}

TEST_F(ArchiveCommand, HostileArchiveIsDamageAndLeavesNothing) {
    for (auto const& [name, reason] : Tree{{"../evil", "the name has a part \"..\""},
                                           {"..\\evil", "the name has a part \"..\""},
                                           {path("evil"), "the name is absolute"}}) {
        auto const file =
            file_of({blob_header() + blob_file("good", "x") + blob_file(name, "x") + blob_end()});
        auto const text = file + ": cannot unpack \"" + name + "\": " + reason;
        expect_failure({"extract", file, path("out")}, 4, text);
        expect_failure({"ls", file}, 4, text);
        EXPECT_THAT(names_in_folder(), ElementsAre("made.vbf"));
    }
}

TEST_F(ArchiveCommand, LinkInTheFolderIsNotFollowed) {
    auto const file = file_of({blob_header() + blob_file("link", "evil") + blob_end()});
    put_file(path("precious"), "as it was");
    std::filesystem::create_directory(path("out"));
    std::filesystem::create_symlink("../precious", path("out/link"));
    expect_failure({"extract", "-f", file, path("out")}, 5,
                   path("out") + ": cannot unpack \"link\": \"link\" in the destination is a symbolic link");
    EXPECT_EQ(get_file(path("precious")), "as it was");
}

TEST_F(ArchiveCommand, DamagedArchiveDoesNotHideTheOthers) {
    auto const file =
        file_of({blob_header() + blob_name("cut"), blob_header() + blob_file("good", "") + blob_end()});
    auto const text = file + ": cannot unpack blob: the kind of an entry at byte 158 has 1 bytes, 0 are left";
    auto const result = run({"ls", file});
    EXPECT_EQ(result.code, 4);
    EXPECT_THAT(result.out, HasSubstr("good"));
    EXPECT_EQ(result.err, "vexa: " + text + "\n");
    auto const archives = Json::parse(run({"ls", "--json", file}).out)["archives"];
    EXPECT_EQ(archives[0], Json({{"index", 1}, {"error", text}}));
    EXPECT_EQ(archives[1]["entries"][0]["name"], "good");
}

TEST_F(ArchiveCommand, ShapeThatTheFileCannotHoldIsDamage) {
    {
        auto const file = open_file(path("large.vbf"), bf::DiskFile::Mode::create);
        bf::WriteMode const no_padding = bf::WriteModeFlags::no_padding;
        auto const stack = file->add_stack(types::uint8, {100000, 100000, 1, 1}, no_padding, false);
        stack->set_tag("zinflux", JSON::parse("{}"));
        stack->write(types::uint8, "ab", nullptr, 2);
        stack->truncate();
        file->close();
    }
    auto contents = get_file(path("large.vbf"));
    expect_failure({"ls", path("large.vbf")}, 4,
                   path("large.vbf") + ": the archive in stack 0 is not complete.");
    // The footer says that all samples were written.
    auto const record = Json::parse(runner_.run({"info", "--json", path("large.vbf")}).out)["stacks"][0];
    auto const footer =
        record["data_start_position"].get<std::size_t>() + record["data_length"].get<std::size_t>();
    put(contents, footer + 1452, std::uint64_t{0});
    put_file(path("large.vbf"), contents);
    expect_failure({"extract", path("large.vbf"), path("out")}, 4,
                   path("large.vbf") + ": the archive in stack 0 is not complete.");
}

TEST_F(ArchiveCommand, InterruptedExtractLeavesNothing) {
    make_tree(path("large"), {{"hole", ""}});
    std::filesystem::resize_file(path("large/hole"), std::uintmax_t{256} << 20);
    output({"pack", path("large"), path("a.vbf")});
    auto const interrupt = [&](pid_t child) {
        while (names_in_folder().size() < 3) ::usleep(1000);
        ::kill(child, SIGINT);
    };
    auto const result = runner_.run({"archive", "extract", path("a.vbf"), path("out")}, interrupt);
    EXPECT_EQ(result.code, 130);
    EXPECT_THAT(names_in_folder(), ElementsAre("a.vbf", "large"));
}

TEST_F(ArchiveCommand, SampleTreesComeBackUnchanged) {
    auto const samples = sample_folder() / "zarr";
    if (!std::filesystem::exists(samples))
        GTEST_SKIP() << "There is no folder of sample trees at " << samples;
    std::vector<std::filesystem::path> trees{samples};
    for (auto const& entry : std::filesystem::recursive_directory_iterator(samples))
        if (entry.is_directory() && entry.path().extension() == ".zarr") trees.push_back(entry.path());
    ASSERT_GE(trees.size(), 5u);
    for (auto const& tree : trees) {
        SCOPED_TRACE(tree);
        output({"pack", "-f", tree.string(), path("a.vbf")});
        std::filesystem::remove_all(path("out"));
        output({"extract", path("a.vbf"), path("out")});
        auto const unpacked = tree_of(path("out"));
        EXPECT_FALSE(unpacked.empty());
        EXPECT_TRUE(unpacked == tree_of(tree));
        EXPECT_EQ(runner_.run({"verify", path("a.vbf")}).code, 0);
    }
}

} // namespace
} // namespace Vexa::tool
