#include <vexa/zinflux/Archive.h>

#include <variant>

#include <gmock/gmock.h>

#include <vexa/arrays/Array.h>
#include <vexa/arrays/Utilities.h>
#include <vexa/foundation/types.h>
#include <vexa/json/Reader.h>
#include <vexa/testing/expect_throws.h>
#include <vexa/testing/temporary_folder.h>
#include <vexa/testing/tree.h>
#include <vexa/zinflux/blob_internal.h>

namespace Zinflux {
namespace {

using namespace Vexa::testing;
using ::testing::ElementsAre;
using Stack = std::shared_ptr<Vexa::arrays::StackInterface>;
using Tree = std::map<std::string, std::string>;

class ArchiveTest : public ::testing::Test {
protected:
    ArchiveTest() { std::filesystem::create_directory(root_); }

    static std::string bytes_of_stack(Stack const& stack) {
        return {static_cast<char const*>(stack->get_data_ptr()), stack->number_of_elements()};
    }
    static Stack stack_of(std::string const& bytes) {
        auto const stack = Vexa::create_stack(Vexa::types::uint8, {bytes.size()});
        bytes.copy(static_cast<char*>(stack->get_data_ptr()), bytes.size());
        return stack;
    }
    void put_attributes(std::string const& text) const {
        std::filesystem::create_directories(root_ / "zarr" / "zfx");
        write_bytes(root_ / "zarr" / "zfx" / ".zattrs", text);
    }

    TemporaryFolder folder_;
    std::filesystem::path const root_ = folder_ / "root", destination_ = folder_ / "out";
};

// Packing

TEST_F(ArchiveTest, EmptyRootPacksTo155BytesIn13Times13) {
    auto const stack = Archive::pack(root_, "", "");
    ASSERT_TRUE(stack);
    EXPECT_EQ(stack->type(), 1);
    EXPECT_THAT(stack->shape(), ElementsAre(13, 13, 1, 1));
    auto const bytes = bytes_of_stack(stack);
    EXPECT_EQ(bytes.substr(0, 11), std::string("ZFXDTA\0\3\0\0\0", 11));
    EXPECT_EQ(bytes.substr(19), zero_bytes(150)) << "reserved bytes, end mark and the rest";
}

TEST_F(ArchiveTest, StackHoldsTheBlobAndZerosBehindIt) {
    make_tree(root_, {{"f", "content"}});
    auto const stack = Archive::pack(root_, "", "");
    EXPECT_THAT(stack->shape(), ElementsAre(14, 14, 1, 1)) << "for 180 bytes";
    EXPECT_EQ(bytes_of_stack(stack).substr(147), blob_file("f", "content") + blob_end() + zero_bytes(16));
}

TEST_F(ArchiveTest, BlobOfASquareNumberOfBytesHasRoomToSpare) {
    make_tree(root_, {{"f", "12345678901234567890123"}});
    ASSERT_EQ(Blob::get_fs_size(root_), 14u * 14u);
    EXPECT_THAT(Archive::pack(root_, "", "")->shape(), ElementsAre(15, 15, 1, 1));
}

TEST_F(ArchiveTest, TagSaysWhatIsPacked) {
    put_attributes(R"({"did": "the data", "other": 5})");
    auto const stack = Archive::pack(root_, "a label", "an archive");
    EXPECT_THAT(stack->tag_keys(), ElementsAre("zinflux"));
    EXPECT_EQ(Vexa::get_zinflux(stack), JSON::parse(R"({"aid": "an archive", "did": "the data",
        "label": "a label", "sid": "the data", "type": "data"})"));
}

TEST_F(ArchiveTest, TreeWithoutIdentifierHasAnEmptyOne) {
    auto const stack = Archive::pack(root_, "a", "b");
    EXPECT_EQ(Vexa::get_zinflux(stack),
              JSON::parse(R"({"aid": "b", "did": "", "label": "a", "sid": "", "type": "data"})"));
}

TEST_F(ArchiveTest, TreeWithABrokenIdentifierIsNotPacked) {
    put_attributes("{");
    VEXA_EXPECT_THROWS(Archive::pack(root_, "", ""), std::runtime_error, "Incomplete Json::Value read.");
    put_attributes("[]");
    VEXA_EXPECT_THROWS(Archive::pack(root_, "", ""), std::bad_variant_access, "bad variant access");
}

TEST_F(ArchiveTest, PackedTreeComesBack) {
    put_attributes(R"({"did": "x"})");
    make_tree(root_, {{"empty", ""}, {"d", is_a_directory}, {"d/f", std::string(5000, 'x')}});
    auto const header = Archive::unpack(Archive::pack(root_, "", ""), destination_);
    EXPECT_EQ(tree_of(destination_), tree_of(root_));
    EXPECT_EQ(header.version, 3u);
    EXPECT_LT(std::abs(header.creation_time - std::time(nullptr)), 600);
}

TEST_F(ArchiveTest, TreeThatGrowsMeanwhileIsNotPacked) {
    make_tree(root_, {{"a", "1"}, {"b", "2"}});
    auto const grow = [&](std::size_t) {
        for (char const* name : {"a", "b"}) write_bytes(root_ / name, std::string(100000, 'x'));
    };
    VEXA_EXPECT_THROWS(Archive::pack(root_, "", "", grow), std::runtime_error,
                       "the tree " + root_.string() + " changed while it was packed");
}

TEST_F(ArchiveTest, TreeThatShrinksMeanwhileIsNotPacked) {
    make_tree(root_, {{"a", "123"}, {"b", "456"}});
    auto const shrink = [&](std::size_t) {
        for (char const* name : {"a", "b"}) write_bytes(root_ / name, "x");
    };
    VEXA_EXPECT_THROWS(Archive::pack(root_, "", "", shrink), std::runtime_error,
                       "the tree " + root_.string() + " changed while it was packed");
}

TEST_F(ArchiveTest, MissingRootIsNotPacked) {
    EXPECT_THROW(Archive::pack(root_ / "missing", "", ""), std::filesystem::filesystem_error);
}

TEST_F(ArchiveTest, ProgressCountsTheBytesOfFiles) {
    make_tree(root_, {{"a", "123"}, {"b", ""}, {"c", std::string(detail::piece_bytes + 5, 'x')}});
    std::size_t done = 0, calls = 0;
    auto const count = [&](std::size_t n) {
        done += n;
        ++calls;
    };
    auto const stack = Archive::pack(root_, "", "", count);
    EXPECT_EQ(done, detail::piece_bytes + 8);
    EXPECT_EQ(calls, 3u);
    done = calls = 0;
    Archive::unpack(stack, destination_, count);
    EXPECT_EQ(done, detail::piece_bytes + 8);
    EXPECT_EQ(calls, 3u);
}

TEST_F(ArchiveTest, WhatProgressThrowsEndsTheWork) {
    make_tree(root_, {{"a", "1"}, {"b", "2"}});
    auto const cancel = [](std::size_t) { throw std::logic_error("enough"); };
    VEXA_EXPECT_THROWS(Archive::pack(root_, "", "", cancel), std::logic_error, "enough");
    VEXA_EXPECT_THROWS(Archive::unpack(Archive::pack(root_, "", ""), destination_, cancel), std::logic_error,
                       "enough");
    EXPECT_EQ(tree_of(destination_).size(), 1u);
}

// Unpacking

TEST_F(ArchiveTest, EmptyStackIsRefused) {
    VEXA_EXPECT_THROWS(Archive::unpack(nullptr, destination_), std::runtime_error,
                       "cannot unpack empty stack");
    VEXA_EXPECT_THROWS(Archive::unpack(Vexa::create_stack(Vexa::types::uint8, {0}), destination_),
                       std::runtime_error, "cannot unpack empty stack");
    VEXA_EXPECT_THROWS(Archive::contents(nullptr), std::runtime_error, "cannot unpack empty stack");
    EXPECT_FALSE(std::filesystem::exists(destination_));
}

TEST_F(ArchiveTest, OtherDataAreRefused) {
    for (std::string const& bytes :
         {std::string(1000, '\0'), std::string(1000, 'x'), std::string("Z"), std::string("ZFXDTA"),
          std::string("ZFXDTB\0", 7) + std::string(200, '\0'),
          std::string("ZFXDTA3") + std::string(200, '\0'),
          std::string("ZFX\0TA\0", 7) + std::string(200, '\0')}) {
        VEXA_EXPECT_THROWS(Archive::unpack(stack_of(bytes), destination_), std::runtime_error,
                           "signature mismatch");
        VEXA_EXPECT_THROWS(Archive::contents(stack_of(bytes)), std::runtime_error, "signature mismatch");
    }
    EXPECT_FALSE(std::filesystem::exists(destination_));
}

TEST_F(ArchiveTest, NothingIsReadBeyondTheStack) {
    auto const blob = blob_header() + blob_file("f", "content") + blob_end();
    for (std::size_t size = 7; size < blob.size(); ++size)
        EXPECT_THROW(Archive::unpack(stack_of(blob.substr(0, size)), destination_), std::runtime_error);
    EXPECT_FALSE(std::filesystem::exists(destination_));
    Archive::unpack(stack_of(blob), destination_);
    EXPECT_EQ(tree_of(destination_), (Tree{{"f", "content"}}));
}

TEST_F(ArchiveTest, NothingIsReadBeyondABlockThatIsSmallerThanItsStack) {
    auto const blob = blob_header() + blob_file("f", "content") + blob_end();
    auto const block = std::make_shared<Vexa::Array>(blob.size() - 1);
    blob.copy(block->data(), blob.size() - 1);
    auto const stack = std::make_shared<Vexa::arrays::StackImp>(Vexa::types::uint8,
                                                                std::vector<std::size_t>{1000, 1000}, block);
    VEXA_EXPECT_THROWS(Archive::unpack(stack, destination_), std::runtime_error,
                       "cannot unpack blob: the length of a name at byte 172 has 8 bytes, 7 are left");
}

TEST_F(ArchiveTest, BlobInWiderSamplesUnpacksToo) {
    auto const blob = blob_header() + blob_file("f", "contents") + blob_end();
    ASSERT_EQ(blob.size() % 2, 1u);
    auto const stack = Vexa::create_stack(Vexa::types::uint16, {(blob.size() + 1) / 2});
    blob.copy(static_cast<char*>(stack->get_data_ptr()), blob.size());
    Archive::unpack(stack, destination_);
    EXPECT_EQ(tree_of(destination_), (Tree{{"f", "contents"}}));
}

TEST_F(ArchiveTest, SharedStackUnpacks) {
    auto const stack = stack_of(blob_header() + blob_file("f", "x") + blob_end());
    stack->share();
    Archive::unpack(stack, destination_);
    EXPECT_EQ(tree_of(destination_), (Tree{{"f", "x"}}));
}

TEST_F(ArchiveTest, AnyVersionUnpacks) {
    EXPECT_EQ(Archive::unpack(stack_of(blob_header(99, -5) + blob_end()), destination_).version, 99u);
    EXPECT_EQ(tree_of(destination_), Tree());
}

TEST_F(ArchiveTest, ContentsListTheEntries) {
    std::vector<Blob::Entry> entries;
    auto const stack = stack_of(blob_header(3, 17) + blob_directory("d") + blob_file("d\\f", "12345") +
                                blob_end() + "behind");
    auto const contents = Archive::contents(stack, [&](auto const& entry) { entries.push_back(entry); });
    EXPECT_EQ(contents.header.creation_time, 17);
    EXPECT_EQ(contents.size, 147u + 10 + 25 + 8);
    EXPECT_EQ(contents.files, 1u);
    EXPECT_EQ(contents.directories, 1u);
    EXPECT_EQ(contents.file_bytes, 5u);
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0], (Blob::Entry{"d", true, 0}));
    EXPECT_EQ(entries[1], (Blob::Entry{"d/f", false, 5}));
    EXPECT_EQ(Archive::contents(stack).size, contents.size);
}

// Identifiers

TEST_F(ArchiveTest, DidIsReadFromTheAttributes) {
    for (auto const& [text, did] : Tree{{R"({"did": "abc"})", "abc"},
                                        {R"({"did": ""})", ""},
                                        {R"({"did": null})", ""},
                                        {R"({"sid": "abc"})", ""},
                                        {"{}", ""},
                                        {"null", ""},
                                        {R"(/* by hand */ {"did": "ä"} rest)", "ä"}}) {
        put_attributes(text);
        EXPECT_EQ(Archive::read_did(root_), did) << text;
    }
}

TEST_F(ArchiveTest, AttributesThatAreNoObjectAreRefused) {
    for (char const* text : {"[]", "5 ", "\"did\"", "true", R"([{"did": "abc"}])", R"({"did": 5})",
                             R"({"did": ["abc"]})", R"({"did": true})"}) {
        put_attributes(text);
        VEXA_EXPECT_THROWS(Archive::read_did(root_), std::bad_variant_access, "bad variant access");
    }
}

TEST_F(ArchiveTest, MissingAndIncompleteAttributesAreRefused) {
    VEXA_EXPECT_THROWS(Archive::read_did(root_), std::runtime_error, "Incomplete Json::Value read.");
    for (char const* text : {"", "{", R"({"did": "abc)"}) {
        put_attributes(text);
        VEXA_EXPECT_THROWS(Archive::read_did(root_), std::runtime_error, "Incomplete Json::Value read.");
    }
    put_attributes("{did}");
    EXPECT_THROW(Archive::read_did(root_), JSON::Reader::Unexpected);
}

TEST(InferDataAid, IsTheAidOrTheDidThatIsTheSid) {
    auto const infer = [](char const* tag) { return Archive::infer_data_aid(JSON::parse(tag)); };
    EXPECT_EQ(infer(R"({"did":"a","sid":"a"})"), "a");
    EXPECT_EQ(infer(R"({"did":"a","sid":"b"})"), "");
    EXPECT_EQ(infer(R"({"aid":"c"})"), "c");
    EXPECT_EQ(infer(R"({"aid":"c","did":"a","sid":"b"})"), "c");
    EXPECT_EQ(infer(R"({"aid":"","did":"a","sid":"a"})"), "a");
    EXPECT_EQ(infer(R"({"aid":5,"did":"a","sid":"a"})"), "a");
    EXPECT_EQ(infer(R"({"did":"a"})"), "");
    EXPECT_EQ(infer(R"({"sid":"a"})"), "");
    EXPECT_EQ(infer(R"({"did":5,"sid":5})"), "");
    for (char const* tag : {"{}", "null", "[]", "\"aid\"", "5 ", "true"}) EXPECT_EQ(infer(tag), "") << tag;
}

TEST(InferLiveviewSid, IsTheSidThatIsNotTheDid) {
    auto const infer = [](char const* tag) { return Archive::infer_liveview_sid(JSON::parse(tag)); };
    EXPECT_EQ(infer(R"({"did":"a","sid":"b"})"), "b");
    EXPECT_EQ(infer(R"({"did":"a","sid":"a"})"), "");
    EXPECT_EQ(infer(R"({"sid":"b"})"), "b");
    EXPECT_EQ(infer(R"({"did":"a"})"), "");
    EXPECT_EQ(infer(R"({"did":5,"sid":"b"})"), "b");
    EXPECT_EQ(infer(R"({"did":"a","sid":5})"), "");
    for (char const* tag : {"{}", "null", "[]", "\"sid\"", "5 ", "true"}) EXPECT_EQ(infer(tag), "") << tag;
}

// The tag

TEST(GetZinflux, IsACopyOfTheTag) {
    auto const stack = Vexa::create_stack(Vexa::types::uint8, {1});
    stack->set_tag("zinflux", JSON::parse(R"({"aid": "x"})"));
    auto tag = Vexa::get_zinflux(stack);
    EXPECT_EQ(tag, JSON::parse(R"({"aid": "x"})"));
    tag = nullptr;
    EXPECT_EQ(Vexa::get_zinflux(stack), JSON::parse(R"({"aid": "x"})"));
}

TEST(GetZinflux, WithoutTheTagFailsAndLeavesOne) {
    auto const stack = Vexa::create_stack(Vexa::types::uint8, {1});
    VEXA_EXPECT_THROWS(Vexa::get_zinflux(stack), std::bad_variant_access,
                       "std::get: wrong index for variant");
    EXPECT_THAT(stack->tag_keys(), ElementsAre("zinflux"));
    EXPECT_TRUE(std::holds_alternative<VProp>(std::as_const(*stack).tag("zinflux")));
}

TEST(GetZinflux, OfAnotherKindOfTagFails) {
    auto const stack = Vexa::create_stack(Vexa::types::uint8, {1});
    stack->set_tag("zinflux", VProp());
    VEXA_EXPECT_THROWS(Vexa::get_zinflux(stack), std::bad_variant_access,
                       "std::get: wrong index for variant");
}

TEST(GetZinflux, OfNothingIsRefused) {
    VEXA_EXPECT_THROWS(Vexa::get_zinflux(nullptr), std::invalid_argument, "No stack given.");
}

} // namespace
} // namespace Zinflux
