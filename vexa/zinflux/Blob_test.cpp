#include <vexa/zinflux/Archive.h>

#include <algorithm>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <csignal>

#include <gmock/gmock.h>

#include <vexa/testing/expect_throws.h>
#include <vexa/testing/temporary_folder.h>
#include <vexa/testing/tree.h>
#include <vexa/zinflux/blob_internal.h>

namespace Zinflux {
namespace {

using namespace Vexa::testing;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Tree = std::map<std::string, std::string>;

class BlobTest : public ::testing::Test {
protected:
    BlobTest() { std::filesystem::create_directory(root_); }

    static std::string pack(std::filesystem::path const& root, Blob::Header const& header = {}) {
        std::string blob(Blob::get_fs_size(root), '?');
        Blob::fs_to_buffer(header, blob.data(), blob.size(), root);
        return blob;
    }
    Blob::Header unpack(std::string const& blob) const {
        return Blob::buffer_to_fs(blob.data(), blob.size(), destination_);
    }
    /// The blob of a tree without its header.
    static std::string entries(std::string const& blob) { return blob.substr(147); }

    TemporaryFolder folder_;
    std::filesystem::path const root_ = folder_ / "root", destination_ = folder_ / "out";
};

// Literal bytes

TEST_F(BlobTest, HeaderIsWrittenFieldByField) {
    Blob::Header header;
    std::memcpy(header.signature, "ZFXDTA", 7);
    header.version = 0x04030201;
    header.creation_time = 0x1817161514131211;
    header.reserved[0] = 'a';
    header.reserved[127] = 'z';
    auto const blob = pack(root_, header);
    ASSERT_EQ(blob.size(), 155u);
    EXPECT_EQ(blob.substr(0, 20), std::string("ZFXDTA\0\x01\x02\x03\x04\x11\x12\x13\x14\x15\x16\x17\x18"
                                              "a",
                                              20));
    EXPECT_EQ(blob.substr(20, 126), zero_bytes(126));
    EXPECT_EQ(blob.substr(146), std::string("z\0\0\0\0\0\0\0\0", 9));
}

TEST_F(BlobTest, DirectoryAndFileAreWrittenByteForByte) {
    make_tree(root_, {{"d", is_a_directory}, {"d/f", "hi"}});
    EXPECT_EQ(Blob::get_fs_size(root_), 187u);
    EXPECT_EQ(entries(pack(root_)), std::string("\1\0\0\0\0\0\0\0"
                                                "d\1"
                                                "\3\0\0\0\0\0\0\0"
                                                "d/f\0"
                                                "\2\0\0\0\0\0\0\0"
                                                "hi"
                                                "\0\0\0\0\0\0\0\0",
                                                40));
}

TEST_F(BlobTest, EmptyRootHas155Bytes) {
    EXPECT_EQ(Blob::get_fs_size(root_), 155u);
    EXPECT_EQ(entries(pack(root_)), zero_bytes(8));
}

TEST_F(BlobTest, EmptyFileHasTheSizeZero) {
    make_tree(root_, {{"f", ""}});
    EXPECT_EQ(Blob::get_fs_size(root_), 173u);
    EXPECT_EQ(entries(pack(root_)), std::string("\1\0\0\0\0\0\0\0"
                                                "f\0"
                                                "\0\0\0\0\0\0\0\0"
                                                "\0\0\0\0\0\0\0\0",
                                                26));
}

TEST_F(BlobTest, RootMayEndWithASeparator) {
    make_tree(root_, {{"f", "x"}});
    EXPECT_EQ(pack(root_ / ""), pack(root_));
}

TEST_F(BlobTest, CurrentHeaderHasSignatureVersionAndTime) {
    auto const before = std::time(nullptr);
    auto const header = Blob::Header::make_current_zfxdta();
    EXPECT_EQ(std::string(header.signature, 7), std::string("ZFXDTA\0", 7));
    EXPECT_EQ(std::string(Blob::Header::zfxdta_signature, sizeof Blob::Header::zfxdta_signature),
              std::string("ZFXDTA\0", 7));
    EXPECT_EQ(header.version, 3u);
    EXPECT_GE(header.creation_time, before);
    EXPECT_LE(header.creation_time, std::time(nullptr));
    EXPECT_EQ(std::string(header.reserved, 128), zero_bytes(128));
}

TEST_F(BlobTest, UnpackingReturnsTheHeader) {
    auto bytes = blob_header(7, 1234567890123) + blob_end();
    bytes[19] = 'a';
    bytes[146] = 'z';
    auto const header = unpack(bytes);
    EXPECT_EQ(std::string(header.signature, 7), std::string("ZFXDTA\0", 7));
    EXPECT_EQ(header.version, 7u);
    EXPECT_EQ(header.creation_time, 1234567890123);
    EXPECT_EQ(header.reserved[0], 'a');
    EXPECT_EQ(header.reserved[127], 'z');
    EXPECT_EQ(std::string(header.reserved + 1, 126), zero_bytes(126));
}

TEST_F(BlobTest, UnpackingMakesWhatTheBytesSay) {
    unpack(blob_header() + std::string("\1\0\0\0\0\0\0\0"
                                       "d\1"
                                       "\3\0\0\0\0\0\0\0"
                                       "d/f\0"
                                       "\2\0\0\0\0\0\0\0"
                                       "hi"
                                       "\0\0\0\0\0\0\0\0",
                                       40));
    EXPECT_EQ(tree_of(destination_), (Tree{{"d", is_a_directory}, {"d/f", "hi"}}));
}

TEST_F(BlobTest, BytesBehindTheEndMarkDoNotCount) {
    unpack(blob_header() + blob_file("f", "x") + blob_end() + blob_file("g", "x") + "trailing");
    EXPECT_EQ(tree_of(destination_), (Tree{{"f", "x"}}));
}

// Round trips

Tree varied_tree() {
    std::string all_bytes(256, '\0');
    for (std::size_t i = 0; i < 256; ++i) all_bytes[i] = static_cast<char>(i);
    return {{"empty", ""},
            {"all bytes", all_bytes},
            {"large", std::string(100000, 'x')},
            {"zarr", is_a_directory},
            {"zarr/0.0", "chunk"},
            {"zarr/.zattrs", "{}"},
            {"zarr/deep", is_a_directory},
            {"zarr/deep/er", is_a_directory},
            {"zarr/deep/er/file", "1"},
            {"empty directory", is_a_directory},
            {"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x94\xAC", "non-ASCII"},
            {"\xFF\xFE", "no UTF-8"},
            {"line\nend", "control"},
            {std::string(255, 'n'), "longest name"}};
}

TEST_F(BlobTest, VariedTreeComesBack) {
    make_tree(root_, varied_tree());
    unpack(pack(root_));
    EXPECT_EQ(tree_of(destination_), varied_tree());
}

TEST_F(BlobTest, DeepTreeComesBack) {
    Tree tree;
    std::string path = "d";
    for (int depth = 0; depth < 200; ++depth, path += "/d") {
        tree[path] = is_a_directory;
        tree[path + "/f"] = std::to_string(depth);
    }
    make_tree(root_, tree);
    unpack(pack(root_));
    EXPECT_EQ(tree_of(destination_), tree);
}

TEST_F(BlobTest, EntriesFollowTheWalkOfTheTree) {
    make_tree(root_, varied_tree());
    std::string expected;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(root_)) {
        auto const name = entry.path().lexically_relative(root_).generic_string();
        expected += entry.is_directory() ? blob_directory(name) : blob_file(name, read_bytes(entry.path()));
    }
    EXPECT_EQ(entries(pack(root_)), expected + blob_end());
}

TEST_F(BlobTest, ExistingDestinationIsUsedAndItsFilesOverwritten) {
    make_tree(destination_, {{"d", is_a_directory}, {"d/f", "a longer content"}, {"other", "stays"}});
    unpack(blob_header() + blob_directory("d") + blob_file("d/f", "new") + blob_end());
    EXPECT_EQ(tree_of(destination_), (Tree{{"d", is_a_directory}, {"d/f", "new"}, {"other", "stays"}}));
}

TEST_F(BlobTest, DestinationIsMadeWithItsParents) {
    auto const blob = blob_header() + blob_file("f", "x") + blob_end();
    Blob::buffer_to_fs(blob.data(), blob.size(), destination_ / "a" / "b");
    EXPECT_EQ(read_bytes(destination_ / "a" / "b" / "f"), "x");
}

TEST_F(BlobTest, DirectoryEntryMakesTheDirectoriesAboveIt) {
    unpack(blob_header() + blob_directory("a/b/c") + blob_end());
    EXPECT_EQ(tree_of(destination_),
              (Tree{{"a", is_a_directory}, {"a/b", is_a_directory}, {"a/b/c", is_a_directory}}));
}

TEST_F(BlobTest, BackslashesInNamesSeparate) {
    unpack(blob_header() + blob_directory("a\\b") + blob_file("a\\b\\c", "x") + blob_end());
    EXPECT_EQ(tree_of(destination_), (Tree{{"a", is_a_directory}, {"a/b", is_a_directory}, {"a/b/c", "x"}}));
}

TEST_F(BlobTest, FileWithABackslashInItsNameDoesNotComeBack) {
    make_tree(root_, {{"a\\b", "x"}});
    auto const blob = pack(root_);
    EXPECT_EQ(entries(blob), blob_file("a\\b", "x") + blob_end());
    VEXA_EXPECT_THROWS(unpack(blob), std::runtime_error,
                       "error writing file " + (destination_ / "a/b").string() + ", 1 bytes");
}

TEST_F(BlobTest, SignatureIsNotLookedAt) {
    auto blob = blob_header() + blob_file("f", "x") + blob_end();
    blob[0] = 'Y';
    EXPECT_EQ(unpack(blob).signature[0], 'Y');
    EXPECT_EQ(tree_of(destination_), (Tree{{"f", "x"}}));
}

TEST_F(BlobTest, EmptyPartsAndDotsInNamesLeadNowhere) {
    unpack(blob_header() + blob_directory("./a//b/") + blob_directory(".") + blob_file("a/.//b/c", "x") +
           blob_end());
    EXPECT_EQ(tree_of(destination_), (Tree{{"a", is_a_directory}, {"a/b", is_a_directory}, {"a/b/c", "x"}}));
}

TEST_F(BlobTest, AnyFlagButZeroIsADirectory) {
    unpack(blob_header() + blob_name("d") + '\x80' + blob_end());
    EXPECT_EQ(tree_of(destination_), (Tree{{"d", is_a_directory}}));
}

TEST_F(BlobTest, RepeatedEntryCountsTheLastTime) {
    unpack(blob_header() + blob_file("f", "longer") + blob_directory("d") + blob_file("f", "new") +
           blob_directory("d") + blob_end());
    EXPECT_EQ(tree_of(destination_), (Tree{{"d", is_a_directory}, {"f", "new"}}));
}

TEST_F(BlobTest, SizeIsNoLimit) {
    make_tree(root_, {{"f", "content"}});
    std::string blob(Blob::get_fs_size(root_), '?');
    Blob::fs_to_buffer({}, blob.data(), 0, root_);
    EXPECT_EQ(entries(blob), blob_file("f", "content") + blob_end());
    Blob::buffer_to_fs(blob.data(), 0, destination_);
    EXPECT_EQ(tree_of(destination_), (Tree{{"f", "content"}}));
}

// Kinds of files

TEST_F(BlobTest, LinkToAFileIsPackedAsThatFile) {
    write_bytes(folder_ / "target", "behind the link");
    std::filesystem::create_symlink(folder_ / "target", root_ / "link");
    EXPECT_EQ(entries(pack(root_)), blob_file("link", "behind the link") + blob_end());
}

TEST_F(BlobTest, LinkToADirectoryIsPackedAsAnEmptyDirectory) {
    make_tree(folder_ / "target", {{"f", "x"}});
    std::filesystem::create_directory_symlink(folder_ / "target", root_ / "link");
    EXPECT_EQ(entries(pack(root_)), blob_directory("link") + blob_end());
}

TEST_F(BlobTest, LinkInACircleIsPackedAsAnEmptyDirectory) {
    std::filesystem::create_directory_symlink(root_, root_ / "self");
    EXPECT_EQ(entries(pack(root_)), blob_directory("self") + blob_end());
}

TEST_F(BlobTest, LinkThatLeadsNowhereIsRefused) {
    std::filesystem::create_symlink("nowhere", root_ / "link");
    EXPECT_THROW(Blob::get_fs_size(root_), std::filesystem::filesystem_error);
    std::string room(4096, '\0');
    EXPECT_THROW(Blob::fs_to_buffer({}, room.data(), room.size(), root_), std::filesystem::filesystem_error);
}

/// What neither a file nor a directory is.
struct Special {
    char const* name;
    void (*make)(std::filesystem::path const&);
};
void PrintTo(Special const& special, std::ostream* out) { *out << special.name; }

class SpecialFiles : public BlobTest, public ::testing::WithParamInterface<Special> {};

TEST_P(SpecialFiles, AreRefusedUnopened) {
    GetParam().make(root_ / "special");
    ASSERT_TRUE(std::filesystem::exists(root_ / "special"));
    EXPECT_THROW(Blob::get_fs_size(root_), std::filesystem::filesystem_error);
    std::string room(4096, '\0');
    EXPECT_THROW(Blob::fs_to_buffer({}, room.data(), room.size(), root_), std::filesystem::filesystem_error);
    EXPECT_THROW(Archive::pack(root_, "", ""), std::filesystem::filesystem_error);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, SpecialFiles,
    ::testing::Values(Special{"Fifo", [](auto const& path) { ::mkfifo(path.c_str(), 0600); }},
                      Special{"Socket",
                              [](auto const& path) {
                                  sockaddr_un address{};
                                  address.sun_family = AF_UNIX;
                                  path.native().copy(address.sun_path, sizeof address.sun_path - 1);
                                  int const fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
                                  ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
                                  ::close(fd);
                              }},
                      Special{"LinkToADevice",
                              [](auto const& path) { std::filesystem::create_symlink("/dev/zero", path); }}),
    [](auto const& kind) { return kind.param.name; });

// Trees that change

class ChangingTree : public BlobTest {
protected:
    /// Pack into a buffer of the size that the tree had before the change, with guards behind it.
    template <typename Change>
    void expect_refused(Change change) {
        make_tree(root_, {{"d", is_a_directory}, {"d/f", std::string(1000, 'x')}});
        auto const size = Blob::get_fs_size(root_);
        std::string room(size + 10000, '#');
        change();
        VEXA_EXPECT_THROWS(detail::fill_blob({}, room.data(), size, root_, {}), std::runtime_error,
                           "the tree " + root_.string() + " changed while it was packed");
        EXPECT_EQ(room.find_first_not_of('#', size), std::string::npos) << "written beyond the buffer";
    }
};

TEST_F(ChangingTree, GrownFileIsRefused) {
    expect_refused([&] { write_bytes(root_ / "d" / "f", std::string(5000, 'y')); });
}

TEST_F(ChangingTree, FileGrownByOneByteIsRefused) {
    expect_refused([&] { write_bytes(root_ / "d" / "f", std::string(1001, 'y')); });
}

TEST_F(ChangingTree, NewFileIsRefused) {
    expect_refused([&] { write_bytes(root_ / "d" / "g", ""); });
}

TEST_F(ChangingTree, NewDirectoryIsRefused) {
    expect_refused([&] { std::filesystem::create_directory(root_ / "e"); });
}

TEST_F(ChangingTree, LongerNameIsRefused) {
    expect_refused([&] { std::filesystem::rename(root_ / "d", root_ / "longer"); });
}

TEST_F(ChangingTree, FilledSizeTellsAboutVanishedFiles) {
    make_tree(root_, {{"f", "content"}});
    std::string room(Blob::get_fs_size(root_), '#');
    std::filesystem::remove(root_ / "f");
    EXPECT_EQ(detail::fill_blob({}, room.data(), room.size(), root_, {}), 155u);
}

TEST_F(ChangingTree, FileThatShrinksWhileItIsReadIsRefused) {
    auto const size = 2 * detail::piece_bytes;
    write_bytes(root_ / "f", std::string(size, 'x'));
    std::string room(Blob::get_fs_size(root_), '#');
    auto const shrink = [&](std::size_t) { std::filesystem::resize_file(root_ / "f", 100); };
    VEXA_EXPECT_THROWS(detail::fill_blob({}, room.data(), room.size(), root_, shrink), std::runtime_error,
                       "error writing file " + (root_ / "f").string() + ", " + std::to_string(size) +
                           " bytes");
}

TEST_F(ChangingTree, FileThatVanishesBeforeItIsOpenedIsRefused) {
    make_tree(root_, {{"a", "1"}, {"b", "2"}});
    std::string room(Blob::get_fs_size(root_), '#');
    auto const remove_all = [&](std::size_t) {
        std::filesystem::remove(root_ / "a");
        std::filesystem::remove(root_ / "b");
    };
    EXPECT_THROW(detail::fill_blob({}, room.data(), room.size(), root_, remove_all),
                 std::filesystem::filesystem_error);
}

// Failures

TEST_F(BlobTest, TreesThatCannotBeWalkedAreRefused) {
    write_bytes(folder_ / "file", "x");
    std::string room(4096, '\0');
    for (auto const& root : {folder_ / "missing", folder_ / "file", std::filesystem::path()}) {
        EXPECT_THROW(Blob::get_fs_size(root), std::filesystem::filesystem_error) << root;
        EXPECT_THROW(Blob::fs_to_buffer({}, room.data(), room.size(), root),
                     std::filesystem::filesystem_error)
            << root;
    }
}

TEST_F(BlobTest, FileWithoutItsDirectoryFails) {
    VEXA_EXPECT_THROWS(unpack(blob_header() + blob_file("no/such", "abc") + blob_end()), std::runtime_error,
                       "error writing file " + (destination_ / "no/such").string() + ", 3 bytes");
}

TEST_F(BlobTest, FileInPlaceOfADirectoryFails) {
    make_tree(destination_, {{"d", is_a_directory}});
    VEXA_EXPECT_THROWS(unpack(blob_header() + blob_file("d", "abc") + blob_end()), std::runtime_error,
                       "error writing file " + (destination_ / "d").string() + ", 3 bytes");
}

TEST_F(BlobTest, DirectoryInPlaceOfAFileFails) {
    auto const blob = blob_header() + blob_file("f", "abc") + blob_directory("f") + blob_end();
    EXPECT_THROW(unpack(blob), std::filesystem::filesystem_error);
    EXPECT_THROW(unpack(blob_header() + blob_directory("f/g") + blob_end()),
                 std::filesystem::filesystem_error);
    EXPECT_EQ(tree_of(destination_), (Tree{{"f", "abc"}}));
}

TEST_F(BlobTest, DestinationThatIsAFileFails) {
    write_bytes(destination_, "precious");
    EXPECT_THROW(unpack(blob_header() + blob_file("f", "abc") + blob_end()),
                 std::filesystem::filesystem_error);
    EXPECT_EQ(read_bytes(destination_), "precious");
}

TEST_F(BlobTest, FileThatOutgrowsTheDiskFails) {
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    auto const old = std::signal(SIGXFSZ, SIG_IGN);
    rlimit const small{1000, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    VEXA_EXPECT_THROWS(unpack(blob_header() + blob_file("f", std::string(5000, 'x')) + blob_end()),
                       std::runtime_error,
                       "error writing file " + (destination_ / "f").string() + ", 5000 bytes");
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, old);
}

} // namespace
} // namespace Zinflux
