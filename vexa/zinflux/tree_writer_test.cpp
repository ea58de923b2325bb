// Blobs from strangers: whatever they say, nothing is read beyond them and nothing is written outside.

#include <vexa/zinflux/tree_writer_internal.h>

#include <atomic>
#include <cstdint>
#include <limits>
#include <thread>

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>

#include <gmock/gmock.h>

#include <vexa/testing/expect_throws.h>
#include <vexa/testing/temporary_folder.h>
#include <vexa/testing/tree.h>

namespace Zinflux::detail {
namespace {

using namespace Vexa::testing;
using Tree = std::map<std::string, std::string>;

class HostileBlob : public ::testing::Test {
protected:
    HostileBlob() { make_tree(outside_, {{"precious", "as it was"}}); }
    ~HostileBlob() override { EXPECT_EQ(tree_of(outside_), (Tree{{"precious", "as it was"}})); }

    /// Unpack from memory of exactly that size.
    void unpack(std::string const& blob) const {
        std::vector<char> const exact(blob.begin(), blob.end());
        write_tree(exact.data(), exact.size(), destination_, {});
    }
    /// The whole blob is refused, also what stands before the fault.
    void expect_refused(std::string const& entries, std::string const& text) const {
        VEXA_EXPECT_THROWS(unpack(blob_header() + entries), std::runtime_error, text);
        EXPECT_FALSE(std::filesystem::exists(destination_));
    }
    void expect_name_refused(std::string const& name, std::string const& text) const {
        SCOPED_TRACE(name);
        expect_refused(blob_file("good", "x") + blob_file(name, "evil") + blob_end(), text);
        expect_refused(blob_file("good", "x") + blob_directory(name) + blob_end(), text);
    }

    TemporaryFolder folder_;
    std::filesystem::path const destination_ = folder_ / "out", outside_ = folder_ / "outside";
};

// Names

TEST_F(HostileBlob, AbsoluteNameIsRefused) {
    auto const path = (outside_ / "evil").string();
    expect_name_refused(path, "cannot unpack \"" + path + "\": the name is absolute");
    expect_name_refused("/", "cannot unpack \"/\": the name is absolute");
    expect_name_refused("\\evil", "cannot unpack \"\\evil\": the name is absolute");
    expect_name_refused("\\\\host\\share", "cannot unpack \"\\\\host\\share\": the name is absolute");
}

TEST_F(HostileBlob, NameThatLeadsUpIsRefused) {
    for (std::string const name :
         {"..", "../outside/precious", "a/..", "a/../../outside/precious", "a/..//b", "..\\outside\\precious",
          "a\\..\\..\\outside\\precious", "a/..\\b", "a\\../b"})
        expect_name_refused(name, "cannot unpack \"" + name + "\": the name has a part \"..\"");
}

TEST_F(HostileBlob, NameWithDotsInAPartIsAName) {
    unpack(blob_header() + blob_file("..a", "1") + blob_file("a..", "2") + blob_file("...", "3") +
           blob_end());
    EXPECT_EQ(tree_of(destination_), (Tree{{"..a", "1"}, {"a..", "2"}, {"...", "3"}}));
}

TEST_F(HostileBlob, NameWithAZeroByteIsRefused) {
    expect_name_refused(std::string("a\0b", 3), "cannot unpack \"a\\x00b\": the name has a zero byte");
    expect_name_refused(std::string("\0", 1), "cannot unpack \"\\x00\": the name has a zero byte");
    expect_name_refused(std::string("a\0/../../outside/precious", 25),
                        "cannot unpack \"a\\x00/../../outside/precious\": the name has a zero byte");
}

TEST_F(HostileBlob, NameWithALongPartIsRefused) {
    auto const part = std::string(256, 'x');
    auto const shown = "cannot unpack \"" + std::string(100, 'x') + "...\": ";
    expect_name_refused(part, shown + "the name has a part of 256 bytes, 255 are allowed");
    expect_name_refused(part + "/a", shown + "the name has a part of 256 bytes, 255 are allowed");
}

TEST_F(HostileBlob, LongNameIsRefused) {
    std::string name;
    while (name.size() < 4096) name += "12345/7/";
    name.resize(4096, 'x');
    expect_name_refused(name, "cannot unpack \"" + name.substr(0, 100) +
                                  "...\": the name has 4096 bytes, 4095 are allowed");
}

TEST_F(HostileBlob, FileWithoutALastPartIsRefused) {
    for (std::string const name : {".", "a/", "a/.", "a\\", "a\\."})
        expect_refused(blob_directory("a") + blob_file(name, "x") + blob_end(),
                       "cannot unpack \"" + name + "\": not the name of a file");
}

TEST_F(HostileBlob, ControlCharactersDoNotReachTheMessage) {
    expect_name_refused("\x1b[2J\n/..", "cannot unpack \"\\x1b[2J\\x0a/..\": the name has a part \"..\"");
}

// Symbolic links in the destination

TEST_F(HostileBlob, FileInPlaceOfALinkIsRefused) {
    std::filesystem::create_directory(destination_);
    std::filesystem::create_symlink("../outside/precious", destination_ / "link");
    VEXA_EXPECT_THROWS(unpack(blob_header() + blob_file("link", "evil") + blob_end()), std::runtime_error,
                       "cannot unpack \"link\": \"link\" in the destination is a symbolic link");
    std::filesystem::create_symlink("../outside/new", destination_ / "dangling");
    VEXA_EXPECT_THROWS(unpack(blob_header() + blob_file("dangling", "evil") + blob_end()), std::runtime_error,
                       "cannot unpack \"dangling\": \"dangling\" in the destination is a symbolic link");
}

TEST_F(HostileBlob, NameThroughALinkIsRefused) {
    std::filesystem::create_directories(destination_ / "d");
    std::filesystem::create_directory_symlink("../../outside", destination_ / "d" / "link");
    std::string const text = "\": \"d/link\" in the destination is a symbolic link";
    VEXA_EXPECT_THROWS(unpack(blob_header() + blob_file("d/link/evil", "x") + blob_end()), std::runtime_error,
                       "cannot unpack \"d/link/evil" + text);
    VEXA_EXPECT_THROWS(unpack(blob_header() + blob_directory("d/link/evil") + blob_end()), std::runtime_error,
                       "cannot unpack \"d/link/evil" + text);
    VEXA_EXPECT_THROWS(unpack(blob_header() + blob_directory("d/link") + blob_end()), std::runtime_error,
                       "cannot unpack \"d/link" + text);
    VEXA_EXPECT_THROWS(unpack(blob_header() + blob_file("d\\link\\precious", "x") + blob_end()),
                       std::runtime_error, "cannot unpack \"d/link/precious" + text);
}

TEST_F(HostileBlob, DestinationItselfMayBeALink) {
    std::filesystem::create_directory(folder_ / "real");
    std::filesystem::create_directory_symlink("real", destination_);
    unpack(blob_header() + blob_file("f", "x") + blob_end());
    EXPECT_EQ(tree_of(folder_ / "real"), (Tree{{"f", "x"}}));
}

TEST_F(HostileBlob, LinkThatComesAndGoesIsNeverFollowed) {
    std::filesystem::create_directories(destination_ / "d");
    auto const spare = folder_ / "spare";
    std::filesystem::create_directory_symlink(outside_, spare);
    std::atomic<bool> stop{false};
    std::thread swapper([&] {
        while (!stop)
            ::renameat2(AT_FDCWD, spare.c_str(), AT_FDCWD, (destination_ / "d").c_str(), RENAME_EXCHANGE);
    });
    auto const blob = blob_header() + blob_directory("d") + blob_file("d/evil", "x") +
                      blob_directory("d/sub") + blob_file("d/precious", "x") + blob_end();
    int refused = 0;
    for (int i = 0; i < 500; ++i) {
        try {
            unpack(blob);
        } catch (std::runtime_error const&) {
            ++refused;
        }
    }
    stop = true;
    swapper.join();
    RecordProperty("refused", refused);
}

TEST_F(HostileBlob, FileInPlaceOfAFifoIsRefusedWithoutWaiting) {
    std::filesystem::create_directory(destination_);
    ASSERT_EQ(::mkfifo((destination_ / "fifo").c_str(), 0600), 0);
    auto const blob = blob_header() + blob_file("fifo", "x") + blob_end();
    std::string const text = "cannot unpack \"fifo\": \"fifo\" in the destination is no ordinary file";
    VEXA_EXPECT_THROWS(unpack(blob), std::runtime_error, text);
    Descriptor const reader(::open((destination_ / "fifo").c_str(), O_RDONLY | O_NONBLOCK));
    VEXA_EXPECT_THROWS(unpack(blob), std::runtime_error, text);
}

// Lengths

TEST_F(HostileBlob, NegativeNameLengthIsRefused) {
    expect_refused(bytes_of(std::int64_t{-1}) + blob_end(),
                   "cannot unpack blob: the name at byte 155 has the negative length -1");
    expect_refused(bytes_of(std::numeric_limits<std::int64_t>::min()) + blob_end(),
                   "cannot unpack blob: the name at byte 155 has the negative length -9223372036854775808");
}

TEST_F(HostileBlob, NameBeyondTheEndIsRefused) {
    expect_refused(bytes_of(std::int64_t{9}) + blob_end(),
                   "cannot unpack blob: the name at byte 155 has 9 bytes, 8 are left");
    expect_refused(bytes_of(std::numeric_limits<std::int64_t>::max()) + blob_end(),
                   "cannot unpack blob: the name at byte 155 has 9223372036854775807 bytes, 8 are left");
}

TEST_F(HostileBlob, NegativeFileSizeIsRefused) {
    expect_refused(blob_name("f") + '\0' + bytes_of(std::int64_t{-5}) + blob_end(),
                   "cannot unpack \"f\": the size -5 is negative");
}

TEST_F(HostileBlob, FileBeyondTheEndIsRefused) {
    expect_refused(blob_name("f") + '\0' + bytes_of(std::int64_t{9}) + blob_end(),
                   "cannot unpack \"f\": the file has 9 bytes, 8 are left");
    expect_refused(blob_name("f") + '\0' + bytes_of(std::numeric_limits<std::int64_t>::max()) + blob_end(),
                   "cannot unpack \"f\": the file has 9223372036854775807 bytes, 8 are left");
}

TEST_F(HostileBlob, BlobThatEndsAnywhereIsRefused) {
    auto const whole = blob_header() + blob_directory("d") + blob_file("d/f", "content") + blob_end();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_THROW(unpack(whole.substr(0, size)), std::runtime_error) << size;
        EXPECT_FALSE(std::filesystem::exists(destination_)) << size;
    }
    unpack(whole);
    EXPECT_EQ(tree_of(destination_), (Tree{{"d", is_a_directory}, {"d/f", "content"}}));
}

TEST_F(HostileBlob, MissingPartsAreNamed) {
    VEXA_EXPECT_THROWS(unpack(blob_header().substr(0, 146)), std::runtime_error,
                       "cannot unpack blob: the header at byte 0 has 147 bytes, 146 are left");
    expect_refused("", "cannot unpack blob: the length of a name at byte 147 has 8 bytes, 0 are left");
    expect_refused(blob_name("d"),
                   "cannot unpack blob: the kind of an entry at byte 156 has 1 bytes, 0 are left");
    expect_refused(blob_name("f") + '\0' + "123",
                   "cannot unpack blob: the size of a file at byte 157 has 8 bytes, 3 are left");
    expect_refused(blob_file("f", "x") + "1234567",
                   "cannot unpack blob: the length of a name at byte 166 has 8 bytes, 7 are left");
}

} // namespace
} // namespace Zinflux::detail
