#include <cstdint>
#include <numeric>

#include <sys/resource.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <vexa/bf/FileInterface.h>
#include <vexa/bf/StackInterface.h>
#include <vexa/foundation/types.h>

#include "run_tool.h"

namespace Vexa::tool {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Json = nlohmann::json;

constexpr std::uint64_t room = 2097152; ///< the least that is reserved beside the samples
constexpr std::uint64_t footer = 1528 + 8;

class Compact : public ToolTest {
protected:
    /// A file of two stacks of 1000 bytes; the first has unused room, of \p extra bytes more than the least.
    std::string sparse_file(std::uint64_t extra = 0) const {
        auto const file = create_file(true);
        file->open(path("sparse.vbf"), bf::DiskFile::Mode::create);
        std::string const samples(1000, 's');
        for (char const* name : {"roomy", "tight"}) {
            auto const stack = file->add_stack(types::uint8, {1000}, false);
            stack->set_name(name);
            if (stack->name() == "roomy") stack->reserve(extra);
            stack->write(types::uint8, samples.data(), nullptr, samples.size());
        }
        file->close();
        return path("sparse.vbf");
    }

    std::string dense_file() const {
        auto const file = create_file(true);
        file->open(path("dense.vbf"), bf::DiskFile::Mode::create);
        file->add_stack(types::uint8, {4}, false)->write(types::uint8, "abcd", nullptr, 4);
        file->close();
        return path("dense.vbf");
    }
};

TEST_F(Compact, SaysHowMuchItSavedAndKeepsAllSamples) {
    auto const file = sparse_file();
    auto const before = get_file(file);
    EXPECT_EQ(output({"compact", file, path("small.vbf")}),
              path("small.vbf") + ": 5.72 KiB in place of 2.00 MiB, 2.00 MiB saved.\n");
    EXPECT_EQ(get_file(file), before);
    EXPECT_EQ(get_file(path("small.vbf")).size(), before.size() - (room - footer));
    for (char const* stack : {"=roomy", "=tight"})
        EXPECT_EQ(output({"cat", "--raw", path("small.vbf"), stack}), std::string(1000, 's'));
    EXPECT_EQ(run({"verify", path("small.vbf")}).code, 0);
    EXPECT_THAT(names_in_folder(), ElementsAre("small.vbf", "sparse.vbf"));
}

TEST_F(Compact, JsonIsOneDocument) {
    auto const file = sparse_file();
    auto const before = get_file(file).size();
    auto const document = Json::parse(output({"compact", "--json", file, path("small.vbf")}));
    EXPECT_EQ(document, Json({{"schema", "vexa.compact/1"},
                              {"path", file},
                              {"output", path("small.vbf")},
                              {"bytes_before", before},
                              {"bytes_after", before - (room - footer)},
                              {"bytes_saved", room - footer}}));
}

TEST_F(Compact, NothingToDoIsAFindingWithoutOutput) {
    auto const file = dense_file();
    auto result = run({"compact", file, path("small.vbf")});
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.out, file + ": nothing to do, no stack has room that it does not use.\n");
    EXPECT_EQ(result.err, "");
    result = run({"compact", "--json", file, path("small.vbf")});
    EXPECT_EQ(result.code, 1);
    auto const document = Json::parse(result.out);
    EXPECT_EQ(document["output"], nullptr);
    EXPECT_EQ(document["bytes_saved"], 0);
    EXPECT_EQ(document["bytes_after"], document["bytes_before"]);
    EXPECT_THAT(names_in_folder(), ElementsAre("dense.vbf"));
}

TEST_F(Compact, NothingToDoLeavesAnOldOutputAlone) {
    put_file(path("small.vbf"), "precious");
    EXPECT_EQ(run({"compact", "--force", dense_file(), path("small.vbf")}).code, 1);
    EXPECT_EQ(get_file(path("small.vbf")), "precious");
}

TEST_F(Compact, CompactedFileHasNothingLeftToDo) {
    output({"compact", sparse_file(), path("small.vbf")});
    auto const result = run({"compact", path("small.vbf"), path("smaller.vbf")});
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.out, HasSubstr("nothing to do"));
    EXPECT_THAT(names_in_folder(), ElementsAre("small.vbf", "sparse.vbf"));
}

TEST_F(Compact, StacksThatWereWrittenInTurnAreRefusedInWords) {
    auto const file = open_file(path("turns.vbf"), bf::DiskFile::Mode::create);
    auto const roomy = file->add_stack(types::uint8, {4}, false);
    roomy->reserve(0);
    roomy->write(types::uint8, "abcd", nullptr, 4);
    bf::WriteMode const chunk_wise = bf::WriteModeFlags::chunk_wise;
    auto const one = file->add_stack(types::uint8, {4}, chunk_wise, false);
    auto const two = file->add_stack(types::uint8, {4}, chunk_wise, false);
    for (char const* part : {"ab", "cd"})
        for (auto const& stack : {one, two}) stack->write(types::uint8, part, nullptr, 2);
    file->close();
    auto const result = run({"compact", path("turns.vbf"), path("small.vbf")});
    EXPECT_EQ(result.code, 2);
    EXPECT_EQ(result.err, "vexa: " + path("turns.vbf") +
                              ": holds stacks that were written in turn; such a file can't be compacted.\n");
    EXPECT_THAT(names_in_folder(), ElementsAre("turns.vbf"));
}

TEST_F(Compact, OutputIsReplacedWithForceOnly) {
    auto const file = sparse_file();
    put_file(path("small.vbf"), "precious");
    auto const result = run({"compact", file, path("small.vbf")});
    EXPECT_EQ(result.code, 2);
    EXPECT_EQ(result.err, "vexa: " + path("small.vbf") + ": exists already; --force replaces it.\n");
    EXPECT_EQ(get_file(path("small.vbf")), "precious");
    output({"compact", "-f", file, path("small.vbf")});
    EXPECT_GT(get_file(path("small.vbf")).size(), 4000u);
}

TEST_F(Compact, SameFileIsWrongUseAlsoWithForce) {
    auto const file = sparse_file();
    auto const before = get_file(file);
    std::filesystem::create_hard_link(file, path("hard.vbf"));
    std::filesystem::create_symlink(file, path("link.vbf"));
    for (auto const& same : {file, path("hard.vbf"), path("link.vbf")}) {
        auto const result = run({"compact", "--force", file, same});
        EXPECT_EQ(result.code, 2);
        EXPECT_EQ(result.err, "vexa: IN and OUT are the same file.\n");
        EXPECT_EQ(get_file(file), before);
    }
}

TEST_F(Compact, OtherInputsAreRefused) {
    put_file(path("text"), "some text that is long enough to hold a header");
    put_file(path("short"), "text");
    for (char const* name : {"text", "short"}) {
        auto const result = run({"compact", path(name), path("small.vbf")});
        EXPECT_EQ(result.code, 3);
        EXPECT_EQ(result.err, "vexa: " + path(name) + ": No VBF file header found.\n");
    }
    EXPECT_EQ(run({"compact", path("missing"), path("small.vbf")}).code, 3);
    EXPECT_EQ(run({"compact", folder_.path().string(), path("small.vbf")}).code, 3);
    EXPECT_EQ(run({"compact", path("text")}).code, 2);
    auto bytes = get_file(sparse_file());
    bytes[34] = 'x';
    put_file(path("damaged.vbf"), bytes);
    auto const result = run({"compact", path("damaged.vbf"), path("small.vbf")});
    EXPECT_EQ(result.code, 4);
    EXPECT_EQ(result.err, "vexa: " + path("damaged.vbf") + ": Corrupt VBF file.\n");
    EXPECT_THAT(names_in_folder(), ElementsAre("damaged.vbf", "short", "sparse.vbf", "text"));
}

TEST_F(Compact, OutputThatFailsLeavesNothing) {
    auto const file = sparse_file();
    auto const limit = [] {
        rlimit const small{3000, 3000};
        ::setrlimit(RLIMIT_FSIZE, &small);
    };
    auto const result = runner_.run({"compact", file, path("small.vbf")}, {}, limit);
    EXPECT_EQ(result.code, 5) << result.err;
    EXPECT_THAT(result.err, HasSubstr(path("small.vbf") + ": Failed "));
    EXPECT_EQ(run({"compact", file, path("no/such/small.vbf")}).code, 5);
    EXPECT_THAT(names_in_folder(), ElementsAre("sparse.vbf"));
}

TEST_F(Compact, InterruptLeavesNothing) {
    // What stands behind the tags is copied too: a hole, too large to be done before the interrupt comes.
    auto const file = sparse_file();
    std::filesystem::resize_file(file, std::uintmax_t{16} << 30);
    auto const interrupt = [&](pid_t child) {
        while (names_in_folder().size() < 2) ::usleep(1000);
        ::kill(child, SIGINT);
    };
    EXPECT_EQ(runner_.run({"compact", file, path("small.vbf")}, interrupt).code, 130);
    EXPECT_THAT(names_in_folder(), ElementsAre("sparse.vbf"));
}

TEST_F(Compact, TenGibibytesNeedLittleMemory) {
    auto const file = sparse_file(std::uint64_t{10} << 30);
    auto const limit = [] {
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
        rlimit const small{64 << 20, 64 << 20};
        ::setrlimit(RLIMIT_DATA, &small);
#endif
    };
    auto const result = runner_.run({"compact", file, path("small.vbf")}, {}, limit);
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(result.out, path("small.vbf") + ": 5.72 KiB in place of 10.0 GiB, 10.0 GiB saved.\n");
    EXPECT_EQ(run({"verify", path("small.vbf")}).code, 0);
}

} // namespace
} // namespace Vexa::tool
