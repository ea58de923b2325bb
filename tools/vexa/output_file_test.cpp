#include "output_file.h"

#include <csignal>

#include <sys/resource.h>
#include <sys/stat.h>

#include <vexa/foundation/types.h>
#include <vexa/testing/temporary_folder.h>

#include "image_testing.h"
#include "npy.h"
#include "raw.h"

namespace Vexa::tool {
namespace {

using Vexa::testing::TemporaryFolder;

std::size_t entries(std::filesystem::path const& folder) {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

TEST(OutputFile, TargetAppearsOnlyWhenItIsPublished) {
    TemporaryFolder folder;
    OutputFile output(folder / "a", false);
    put_file(output.path(), "text");
    EXPECT_FALSE(std::filesystem::exists(folder / "a"));
    EXPECT_EQ(output.path().parent_path(), folder.path());
    output.publish();
    EXPECT_EQ(get_file(folder / "a"), "text");
    EXPECT_EQ(entries(folder.path()), 1u);
}

TEST(OutputFile, OutputThatIsGivenUpLeavesNothing) {
    TemporaryFolder folder;
    { OutputFile output(folder / "a", false); }
    EXPECT_EQ(entries(folder.path()), 0u);
}

TEST(OutputFile, ExistingTargetIsRefusedWithoutForce) {
    TemporaryFolder folder;
    put_file(folder / "a", "old");
    VEXA_EXPECT_FAILURE(OutputFile(folder / "a", false), Exit::wrong_use,
                        (folder / "a").string() + ": exists already; --force replaces it.");
    {
        OutputFile given_up(folder / "a", true);
        put_file(given_up.path(), "new");
    }
    EXPECT_EQ(get_file(folder / "a"), "old");
    OutputFile output(folder / "a", true);
    put_file(output.path(), "new");
    output.publish();
    EXPECT_EQ(get_file(folder / "a"), "new");
}

TEST(OutputFile, TargetThatComesIntoBeingMeanwhileIsNotReplaced) {
    TemporaryFolder folder;
    {
        OutputFile output(folder / "a", false);
        put_file(folder / "a", "other");
        VEXA_EXPECT_FAILURE(output.publish(), Exit::wrong_use,
                            (folder / "a").string() + ": exists already; --force replaces it.");
    }
    EXPECT_EQ(get_file(folder / "a"), "other");
    EXPECT_EQ(entries(folder.path()), 1u);
}

TEST(OutputFile, FolderIsNoTarget) {
    TemporaryFolder folder;
    VEXA_EXPECT_FAILURE(OutputFile(folder.path(), true), Exit::wrong_use,
                        folder.path().string() + ": not an ordinary file.");
    VEXA_EXPECT_FAILURE(OutputFile(folder / "none" / "a", false), Exit::output_failed,
                        (folder / "none" / "a").string() + ": cannot be written: No such file or directory");
}

TEST(OutputFile, NewFileHasOrdinaryPermissions) {
    TemporaryFolder folder;
    auto const before = ::umask(022);
    OutputFile output(folder / "a", false);
    output.publish();
    ::umask(before);
    EXPECT_EQ(std::filesystem::status(folder / "a").permissions(), std::filesystem::perms(0644));
}

TEST(OutputFile, FullDiskIsAFailure) {
    TemporaryFolder folder;
    OutputFile output(folder / "a", false);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    auto const old = std::signal(SIGXFSZ, SIG_IGN);
    rlimit const small{1 << 16, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    std::string const bytes(1 << 20, 'x');
    auto const attempt = [&] {
        auto const sink = write_bytes(output, "", 1);
        sink->write(bytes.data(), bytes.size());
        sink->finish();
    };
    VEXA_EXPECT_FAILURE(attempt(), Exit::output_failed,
                        (folder / "a").string() + ": cannot be written: File too large");
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, old);
}

} // namespace
} // namespace Vexa::tool
