#include <vexa/testing/file_walker.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <random>

#include <gmock/gmock.h>
#include <zlib.h>

#include <vexa/testing/expect_throws.h>
#include <vexa/testing/temporary_folder.h>

namespace Vexa::testing {
namespace {

using Bytes = std::vector<std::uint8_t>;

template <typename T>
void put(Bytes& to, T value) {
    auto const at = to.size();
    to.resize(at + sizeof value);
    std::memcpy(to.data() + at, &value, sizeof value);
}

template <typename T>
void patch(Bytes& in, std::size_t at, T value) {
    ASSERT_LE(at + sizeof value, in.size());
    std::memcpy(in.data() + at, &value, sizeof value);
}

void put_text(Bytes& to, std::string_view text) { to.insert(to.end(), text.begin(), text.end()); }

void put_counted(Bytes& to, std::string_view text) {
    put(to, static_cast<std::uint32_t>(text.size()));
    put_text(to, text);
}

/// A file header with an empty description; the positions come later.
Bytes file_header(std::string_view description = "") {
    Bytes file;
    put_text(file, "VEXA_BF\n\xFF\xFF");
    put(file, std::uint32_t{2});
    put(file, std::uint64_t{0});
    put(file, static_cast<std::uint32_t>(description.size()));
    put_text(file, description);
    put(file, std::uint64_t{0});
    return file;
}

struct Recipe {
    std::vector<std::uint32_t> shape;
    std::uint32_t type = 1;
    std::uint32_t compression_type = 0;
    std::int32_t level = 0;
    Bytes section{};
    std::uint64_t samples = 0;
    std::uint64_t block_size = 0;
    std::vector<std::uint64_t> flush_positions{};
    std::vector<std::uint64_t> chunk_records{}; ///< pairs, flat
    std::uint32_t footer_size = 1528;
};

Bytes footer(Recipe const& recipe, std::uint64_t position) {
    Bytes block;
    put(block, recipe.footer_size);
    block.resize(124 + 4);
    for (int unit = 0; unit < 16; ++unit) {
        for (int i = 0; i < 9; ++i) {
            put(block, std::int32_t{0});
            put(block, std::int32_t{1});
        }
        put(block, 1.0);
    }
    put(block, static_cast<std::uint64_t>(recipe.flush_positions.size()));
    put(block, recipe.block_size);
    put(block, std::uint64_t{4 + 8 + 3 + 5});
    put(block, std::uint64_t{0}); // the end of the stack, patched below
    put(block, std::uint32_t{0});
    put(block, std::uint64_t{0}); // the end of the footer, patched below
    put(block, recipe.samples);
    put(block, static_cast<std::uint64_t>(recipe.chunk_records.size() / 2));
    block.resize(1528);
    block.resize(recipe.footer_size);
    for (std::size_t axis = 0; axis < recipe.shape.size(); ++axis) put_counted(block, axis == 0 ? "X" : "");
    for (auto position_of_flush : recipe.flush_positions) put(block, position_of_flush);
    put_counted(block, "key");
    put_counted(block, "value");
    put(block, std::uint32_t{0});
    for (auto value : recipe.chunk_records) put(block, value);
    if (recipe.footer_size >= 1452) {
        patch(block, 1432, position + block.size());
        patch(block, 1444, position + block.size());
    }
    return block;
}

/// Append a stack and link it at \p link.
/// \return the position of the next link
std::size_t add_stack(Bytes& file, std::size_t link, Recipe const& recipe) {
    auto const position = file.size();
    patch(file, link, static_cast<std::uint64_t>(position));
    put_text(file, "VEXA_BF_STACK\n\xFF\xFF");
    put(file, std::uint32_t{7});
    put(file, static_cast<std::uint32_t>(recipe.shape.size()));
    for (std::size_t i = 0; i < 15; ++i) put(file, i < recipe.shape.size() ? recipe.shape[i] : 0u);
    for (std::size_t i = 0; i < 15; ++i) put(file, 2.0 * static_cast<double>(i));
    for (std::size_t i = 0; i < 15; ++i) put(file, -0.5);
    put(file, recipe.type);
    put(file, recipe.compression_type);
    put(file, recipe.level);
    put(file, std::uint32_t{4});
    put(file, std::uint32_t{5});
    put(file, std::uint64_t{1});
    put(file, static_cast<std::uint64_t>(recipe.section.size()));
    put(file, std::uint64_t{0});
    EXPECT_EQ(file.size(), position + 368);
    put_text(file, "name");
    put_text(file, "about");
    file.insert(file.end(), recipe.section.begin(), recipe.section.end());
    auto const end = footer(recipe, file.size());
    file.insert(file.end(), end.begin(), end.end());
    return position + 360;
}

void add_tags(Bytes& file, std::size_t metadata_link = 26) {
    patch(file, metadata_link, static_cast<std::uint64_t>(file.size()));
    put_counted(file, "a");
    put_counted(file, "bcd");
    put(file, std::uint32_t{0});
}

Bytes samples(std::size_t n) {
    Bytes values(n);
    std::mt19937 random(7);
    for (auto& value : values) value = static_cast<std::uint8_t>(random() % 5);
    return values;
}

/// One zlib stream with a full flush behind each block.
Bytes deflated(Bytes const& data, std::size_t block, std::vector<std::uint64_t>& marks,
               int flush = Z_FULL_FLUSH) {
    z_stream z{};
    EXPECT_EQ(deflateInit(&z, 6), Z_OK);
    Bytes out(2 * data.size() + 1024);
    z.next_out = out.data();
    z.avail_out = static_cast<uInt>(out.size());
    z.next_in = const_cast<Bytef*>(data.data());
    std::size_t left = data.size();
    for (; left >= block; left -= block) {
        z.avail_in = static_cast<uInt>(block);
        EXPECT_EQ(deflate(&z, flush), Z_OK);
        marks.push_back(z.total_out);
    }
    z.avail_in = static_cast<uInt>(left);
    EXPECT_EQ(deflate(&z, Z_FINISH), Z_STREAM_END);
    out.resize(z.total_out);
    deflateEnd(&z);
    return out;
}

std::vector<std::string> texts(std::vector<WalkedFault> const& faults) {
    std::vector<std::string> result;
    for (auto const& fault : faults) result.push_back(fault.text);
    return result;
}

WalkedFile walk(Bytes const& bytes) { return walk_file(*bytes_in_memory(bytes)); }

Recipe plain_recipe() { return {.shape = {3, 2}, .section = {1, 2, 3, 4, 5, 6}, .samples = 6}; }

Recipe zipped_recipe(std::size_t bytes = 1000, std::size_t block = 300) {
    Recipe recipe{.shape = {static_cast<std::uint32_t>(bytes)}, .compression_type = 1, .level = 6};
    recipe.samples = bytes;
    recipe.block_size = block;
    recipe.section = deflated(samples(bytes), block, recipe.flush_positions);
    return recipe;
}

Bytes file_with(Recipe const& recipe) {
    auto file = file_header();
    add_stack(file, 14, recipe);
    add_tags(file);
    return file;
}

WalkedSection section_of(Bytes const& file) {
    auto const source = bytes_in_memory(file);
    return read_section(*source, walk_file(*source).stacks.at(0));
}

constexpr std::size_t first_footer = 34 + 368 + 9; ///< plus the section's length

TEST(FileWalker, EmptyFileIsNoVbfFile) {
    auto const file = walk({});
    EXPECT_FALSE(file.is_vbf);
    EXPECT_THAT(texts(file.faults),
                ::testing::ElementsAre("the file header needs 26 bytes and the file has 0 left"));
}

TEST(FileWalker, FileWithoutStacksHasHeaderAndTags) {
    auto bytes = file_header("hello");
    add_tags(bytes, 31);
    auto const file = walk(bytes);
    EXPECT_TRUE(file.is_vbf);
    EXPECT_TRUE(file.closed);
    EXPECT_EQ(file.format_version, 2u);
    EXPECT_EQ(file.description, "hello");
    EXPECT_EQ(file.metadata_position, 39u);
    EXPECT_EQ(file.metadata_end, bytes.size());
    EXPECT_THAT(file.tags, ::testing::ElementsAre(::testing::Pair("a", "bcd")));
    EXPECT_TRUE(file.stacks.empty());
    EXPECT_TRUE(file.faults.empty());
}

TEST(FileWalker, FileOfVersionOneHasNoMetadata) {
    auto bytes = file_header();
    patch(bytes, 10, std::uint32_t{1});
    bytes.resize(26);
    add_stack(bytes, 14, plain_recipe());
    auto const file = walk(bytes);
    EXPECT_TRUE(file.closed);
    ASSERT_EQ(file.stacks.size(), 1u);
    EXPECT_EQ(file.stacks[0].position, 26u);
    EXPECT_TRUE(file.faults.empty());
}

TEST(FileWalker, UnclosedFileStillShowsItsStacks) {
    auto bytes = file_header();
    add_stack(bytes, 14, plain_recipe());
    auto const file = walk(bytes);
    EXPECT_FALSE(file.closed);
    EXPECT_EQ(file.stacks.size(), 1u);
    EXPECT_TRUE(file.faults.empty());
}

TEST(FileWalker, EveryFieldOfAPlainStackIsRead) {
    auto const bytes = file_with(plain_recipe());
    auto const file = walk(bytes);
    ASSERT_EQ(file.stacks.size(), 1u);
    auto const& stack = file.stacks[0];
    EXPECT_EQ(stack.position, 34u);
    EXPECT_EQ(stack.stack_format_version, 7u);
    EXPECT_EQ(stack.rank, 2u);
    EXPECT_EQ(stack.shape[0], 3u);
    EXPECT_EQ(stack.shape[1], 2u);
    EXPECT_EQ(stack.lengths[1], 2.0);
    EXPECT_EQ(stack.offsets[0], -0.5);
    EXPECT_EQ(stack.type, 1u);
    EXPECT_EQ(stack.has_data, 1u);
    EXPECT_EQ(stack.name, "name");
    EXPECT_EQ(stack.description, "about");
    EXPECT_EQ(stack.data_start_position, 34u + 368 + 9);
    EXPECT_EQ(stack.footer_position, first_footer + 6);
    EXPECT_TRUE(stack.footer_found);
    EXPECT_EQ(stack.footer.footer_size, 1528u);
    EXPECT_EQ(stack.footer.samples_written, 6u);
    EXPECT_EQ(stack.footer.units[14].exponents[8], std::make_pair(0, 1));
    EXPECT_EQ(stack.footer.data_unit.factor, 1.0);
    EXPECT_THAT(stack.labels, ::testing::ElementsAre("X", ""));
    EXPECT_THAT(stack.tags, ::testing::ElementsAre(::testing::Pair("key", "value")));
    EXPECT_EQ(stack.elements, 6u);
    EXPECT_EQ(stack.samples_on_disk, 6u);
    EXPECT_THAT(stack.data, ::testing::ElementsAre(WalkedRange{411, 417}));
    EXPECT_TRUE(file.faults.empty());
    EXPECT_EQ(section_bytes(*bytes_in_memory(bytes), stack), (Bytes{1, 2, 3, 4, 5, 6}));
}

TEST(FileWalker, ShortFooterLeavesTheLaterFieldsAtTheirDefaults) {
    auto recipe = plain_recipe();
    recipe.footer_size = 1432;
    auto const file = walk(file_with(recipe));
    ASSERT_EQ(file.stacks.size(), 1u);
    EXPECT_EQ(file.stacks[0].footer.samples_written, 0u);
    EXPECT_EQ(file.stacks[0].samples_on_disk, 6u);
    EXPECT_THAT(file.stacks[0].labels, ::testing::ElementsAre("X", ""));
    EXPECT_TRUE(file.faults.empty());
}

TEST(FileWalker, LongFooterIsSkippedBeyondWhatIsKnown) {
    auto recipe = plain_recipe();
    recipe.footer_size = 2000;
    auto const file = walk(file_with(recipe));
    ASSERT_EQ(file.stacks.size(), 1u);
    EXPECT_THAT(file.stacks[0].labels, ::testing::ElementsAre("X", ""));
    EXPECT_TRUE(file.faults.empty());
}

TEST(FileWalker, StackFormatZeroHasNoFooter) {
    auto bytes = file_with(plain_recipe());
    patch(bytes, 34 + 16, std::uint32_t{0});
    auto const file = walk(bytes);
    ASSERT_EQ(file.stacks.size(), 1u);
    EXPECT_FALSE(file.stacks[0].footer_found);
    EXPECT_EQ(file.stacks[0].samples_on_disk, 6u);
    EXPECT_EQ(section_of(bytes).sample_bytes, 6u);
}

TEST(FileWalker, ChainOfTwoStacksIsFollowed) {
    auto bytes = file_header();
    auto const link = add_stack(bytes, 14, plain_recipe());
    add_stack(bytes, link, zipped_recipe());
    add_tags(bytes);
    auto const file = walk(bytes);
    ASSERT_EQ(file.stacks.size(), 2u);
    EXPECT_EQ(file.stacks[0].next_stack_position, file.stacks[1].position);
    EXPECT_TRUE(file.faults.empty());
}

TEST(FileWalker, ChainThatComesBackEnds) {
    auto bytes = file_with(plain_recipe());
    patch(bytes, 34 + 360, std::uint64_t{34});
    auto const file = walk(bytes);
    EXPECT_EQ(file.stacks.size(), 1u);
    ASSERT_EQ(file.faults.size(), 1u);
    EXPECT_EQ(file.faults[0].position, 394u);
    EXPECT_EQ(file.faults[0].text, "the chain of stacks comes back to position 34");
}

TEST(FileWalker, LinkBehindTheEndIsAFault) {
    auto bytes = file_with(plain_recipe());
    patch(bytes, 34 + 360, std::uint64_t{1} << 62);
    EXPECT_THAT(texts(walk(bytes).faults),
                ::testing::ElementsAre("a stack is linked at position 4611686018427387904, behind the end"));
}

TEST(FileWalker, RankAboveFifteenIsAFault) {
    auto bytes = file_with(plain_recipe());
    patch(bytes, 34 + 20, std::uint32_t{16});
    EXPECT_THAT(texts(walk(bytes).faults), ::testing::ElementsAre("stack 0: the rank is 16"));
}

TEST(FileWalker, FooterOfThreeBytesIsAFault) {
    auto bytes = file_with(plain_recipe());
    patch(bytes, first_footer + 6, std::uint32_t{3});
    EXPECT_THAT(texts(walk(bytes).faults), ::testing::Contains("stack 0: the footer has 3 bytes"));
}

TEST(FileWalker, FooterForANewerReaderIsAFault) {
    auto bytes = file_with(plain_recipe());
    patch(bytes, first_footer + 6 + 1440, std::uint32_t{7});
    EXPECT_TRUE(walk(bytes).faults.empty());
    patch(bytes, first_footer + 6 + 1440, std::uint32_t{0xFFFFFFFF});
    EXPECT_TRUE(walk(bytes).faults.empty());
    patch(bytes, first_footer + 6 + 1440, std::uint32_t{8});
    EXPECT_THAT(texts(walk(bytes).faults), ::testing::Contains("stack 0: a reader of version 8 is needed"));
}

TEST(FileWalker, WrongEndOfTheFooterIsAFault) {
    auto bytes = file_with(plain_recipe());
    patch(bytes, first_footer + 6 + 1444, std::uint64_t{77});
    EXPECT_THAT(texts(walk(bytes).faults),
                ::testing::ElementsAre(::testing::HasSubstr("stack 0: the footer ends at")));
}

TEST(FileWalker, ShapeBeyondSixtyFourBitsIsAFault) {
    auto bytes = file_with(plain_recipe());
    patch(bytes, 34 + 20, std::uint32_t{3});
    for (std::size_t axis = 0; axis < 3; ++axis) patch(bytes, 34 + 24 + 4 * axis, 0xFFFFFFFFu);
    auto const file = walk(bytes);
    EXPECT_THAT(texts(file.faults),
                ::testing::Contains("stack 0: the shape has more samples than 64 bits count"));
    EXPECT_EQ(file.stacks[0].elements, 0u);
}

TEST(FileWalker, DataSectionBehindTheEndIsAFault) {
    auto bytes = file_with(plain_recipe());
    patch(bytes, 34 + 352, ~std::uint64_t{0});
    EXPECT_THAT(texts(walk(bytes).faults),
                ::testing::ElementsAre(::testing::HasSubstr(
                    "stack 0: the data section has 18446744073709551615 bytes and the file")));
}

TEST(FileWalker, StacksThatShareBytesAreAFault) {
    auto bytes = file_header();
    auto const link = add_stack(bytes, 14, plain_recipe());
    auto inner = plain_recipe();
    add_stack(bytes, link, inner);
    add_tags(bytes);
    auto const second = walk(bytes).stacks.at(1).position;
    patch(bytes, 26, std::uint64_t{second});
    EXPECT_THAT(texts(walk(bytes).faults), ::testing::Not(::testing::IsEmpty()));
    patch(bytes, 26,
          std::uint64_t{first_footer + 6 + 1528}); // the axis labels: read as a tag list of one key
    EXPECT_THAT(texts(walk(bytes).faults), ::testing::Contains(::testing::HasSubstr("overlaps")));
}

TEST(FileWalker, ChunkedSectionIsReadInItsPieces) {
    auto recipe = plain_recipe();
    recipe.section = {1, 2, 99, 3, 4, 99, 99, 5, 6, 99};
    recipe.chunk_records = {2, 3, 4, 7};
    auto const bytes = file_with(recipe);
    auto const file = walk(bytes);
    EXPECT_TRUE(file.faults.empty());
    EXPECT_THAT(file.stacks.at(0).data,
                ::testing::ElementsAre(WalkedRange{411, 413}, WalkedRange{414, 416}, WalkedRange{418, 420}));
    EXPECT_EQ(section_bytes(*bytes_in_memory(bytes), file.stacks[0]), (Bytes{1, 2, 3, 4, 5, 6}));
}

struct BadRecords {
    char const* name;
    std::vector<std::uint64_t> records;
};
void PrintTo(BadRecords const& bad, std::ostream* os) { *os << bad.name; }

class FileWalkerRecords : public ::testing::TestWithParam<BadRecords> {};

TEST_P(FileWalkerRecords, AreAFaultAndTheSectionIsNotRead) {
    auto recipe = plain_recipe();
    recipe.chunk_records = GetParam().records;
    auto const bytes = file_with(recipe);
    auto const file = walk(bytes);
    EXPECT_THAT(texts(file.faults), ::testing::Contains(::testing::HasSubstr("does not fit behind")));
    EXPECT_THAT(texts(section_of(bytes).faults), ::testing::ElementsAre("the data section can't be found"));
}

INSTANTIATE_TEST_SUITE_P(Bad, FileWalkerRecords,
                         ::testing::Values(BadRecords{"Descending", {4, 5, 2, 6}},
                                           BadRecords{"Overlapping", {4, 3}},
                                           BadRecords{"BehindTheEnd", {1, 700}},
                                           BadRecords{"Wrapping", {~std::uint64_t{0}, ~std::uint64_t{0}}}),
                         [](auto const& test) { return test.param.name; });

TEST(FileWalker, CompressedSectionInflatesToItsSamples) {
    auto const bytes = file_with(zipped_recipe());
    auto const file = walk(bytes);
    EXPECT_TRUE(file.faults.empty());
    EXPECT_EQ(file.stacks.at(0).flush_positions.size(), 3u);
    EXPECT_EQ(section_bytes(*bytes_in_memory(bytes), file.stacks[0]), samples(1000));
    EXPECT_TRUE(section_of(bytes).faults.empty());
}

TEST(FileWalker, LastFlushPositionMayBeMissingWhenTheDataEndOnABlock) {
    auto recipe = zipped_recipe(900, 300);
    ASSERT_EQ(recipe.flush_positions.size(), 3u);
    EXPECT_TRUE(walk(file_with(recipe)).faults.empty());
    recipe.flush_positions.pop_back();
    EXPECT_TRUE(walk(file_with(recipe)).faults.empty());
    EXPECT_TRUE(section_of(file_with(recipe)).faults.empty());
    recipe.flush_positions.pop_back();
    EXPECT_THAT(texts(walk(file_with(recipe)).faults),
                ::testing::ElementsAre("stack 0: 1 flush positions for 3 full blocks"));
}

TEST(FileWalker, WrongAdlerIsAFault) {
    auto recipe = zipped_recipe();
    recipe.section.back() ^= 1;
    EXPECT_THAT(texts(section_of(file_with(recipe)).faults),
                ::testing::ElementsAre("zlib says: incorrect data check"));
}

TEST(FileWalker, FlushPositionInTheMiddleOfABlockIsAFault) {
    auto recipe = zipped_recipe();
    --recipe.flush_positions[1];
    EXPECT_THAT(texts(section_of(file_with(recipe)).faults), ::testing::SizeIs(1));
}

TEST(FileWalker, BlockThatLeansOnTheOneBeforeIsAFault) {
    Recipe recipe{.shape = {4000}, .compression_type = 1, .level = 6};
    recipe.samples = 4000;
    recipe.block_size = 1000;
    Bytes noise(1000);
    std::mt19937 random(3);
    for (auto& value : noise) value = static_cast<std::uint8_t>(random());
    Bytes data;
    for (int i = 0; i < 4; ++i) data.insert(data.end(), noise.begin(), noise.end());
    recipe.section = deflated(data, 1000, recipe.flush_positions, Z_SYNC_FLUSH);
    EXPECT_THAT(
        texts(section_of(file_with(recipe)).faults),
        ::testing::ElementsAre("the block does not stand alone, zlib says: invalid distance too far back"));
}

TEST(FileWalker, DescendingFlushPositionsAreAFaultInBothPasses) {
    auto recipe = zipped_recipe();
    std::swap(recipe.flush_positions[0], recipe.flush_positions[1]);
    EXPECT_THAT(texts(walk(file_with(recipe)).faults),
                ::testing::Contains(::testing::HasSubstr("comes behind")));
    EXPECT_THAT(texts(section_of(file_with(recipe)).faults), ::testing::SizeIs(1));
}

TEST(FileWalker, MissingAndSurplusSamplesAreFaults) {
    auto recipe = zipped_recipe();
    recipe.samples = 999;
    EXPECT_THAT(texts(section_of(file_with(recipe)).faults),
                ::testing::ElementsAre("the section inflates to more than its 999 bytes"));
    recipe.samples = 1001;
    EXPECT_THAT(texts(section_of(file_with(recipe)).faults),
                ::testing::ElementsAre("the section inflates to 1000 bytes where the samples need 1001"));
    auto plain = plain_recipe();
    plain.samples = 7;
    EXPECT_THAT(texts(section_of(file_with(plain)).faults),
                ::testing::ElementsAre("the section has 6 bytes where the samples need 7"));
}

TEST(FileWalker, SectionCutShortIsAFault) {
    auto recipe = zipped_recipe();
    recipe.section.resize(recipe.section.size() - 5);
    EXPECT_THAT(texts(section_of(file_with(recipe)).faults),
                ::testing::ElementsAre("the compressed data is not finished where the section ends"));
    recipe = zipped_recipe();
    recipe.section.push_back(0);
    EXPECT_THAT(texts(section_of(file_with(recipe)).faults),
                ::testing::ElementsAre("the compressed data ends before the section does"));
}

TEST(FileWalker, TypeWithoutElementSizeIsAFaultOnlyForTheSamples) {
    auto recipe = plain_recipe();
    recipe.type = 0x40000;
    EXPECT_TRUE(walk(file_with(recipe)).faults.empty());
    EXPECT_THAT(texts(section_of(file_with(recipe)).faults),
                ::testing::ElementsAre("the type 0x40000 has no element size"));
}

TEST(FileWalker, EveryTruncationAndEveryFlippedByteIsSurvived) {
    auto bytes = file_header("d");
    bytes.resize(27 + 8);
    auto const link = add_stack(bytes, 14, zipped_recipe(200, 64));
    auto chunked = plain_recipe();
    chunked.chunk_records = {2, 2, 4, 4};
    add_stack(bytes, link, chunked);
    add_tags(bytes, 27);
    ASSERT_TRUE(walk(bytes).faults.empty());
    for (std::size_t n = 0; n < bytes.size(); ++n) {
        auto const file = walk(Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(n)));
        EXPECT_FALSE(file.faults.empty()) << n;
    }
    for (std::size_t n = 0; n < bytes.size(); ++n)
        for (auto const value : Bytes{0x00, 0x7F, 0xFF}) {
            auto damaged = bytes;
            damaged[n] = value;
            auto const source = bytes_in_memory(damaged);
            for (auto const& stack : walk_file(*source).stacks) read_section(*source, stack);
        }
}

TEST(FileWalker, PathsAreReadAsBytesAre) {
    TemporaryFolder folder;
    auto const bytes = file_with(zipped_recipe());
    {
        std::ofstream out(folder / "a.vbf", std::ios::binary);
        out.write(reinterpret_cast<char const*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    EXPECT_EQ(walk_file(folder / "a.vbf").stacks.size(), 1u);
    EXPECT_EQ(section_bytes(folder / "a.vbf", 0), samples(1000));
    VEXA_EXPECT_THROWS(walk_file(folder / "none"), std::runtime_error,
                       "Cannot open " + (folder / "none").string() + ": No such file or directory");
    VEXA_EXPECT_THROWS(walk_file(folder.path()), std::runtime_error,
                       "Cannot open " + folder.path().string() + ": Is a directory");
}

} // namespace
} // namespace Vexa::testing
