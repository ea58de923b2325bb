#include <vexa/bf/Compacter.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/bf/FileImp.h>
#include <vexa/bf/StackImp.h>
#include <vexa/foundation/error.h>
#include <vexa/foundation/types.h>
#include <vexa/testing/bytes.h>
#include <vexa/testing/executors.h>
#include <vexa/testing/expect_throws.h>
#include <vexa/testing/file_walker.h>
#include <vexa/testing/roomy_file.h>
#include <vexa/testing/same_files.h>
#include <vexa/testing/temporary_folder.h>

namespace {

using namespace Vexa::bf;
using namespace Vexa::testing;
namespace types = Vexa::types;
namespace fs = std::filesystem;
using Mode = DiskFile::Mode;
using Vexa::copy_file_if_sparse;

constexpr unsigned long least_room = 2097152; ///< what reserve() sets aside beside the samples

class CompacterTest : public ::testing::Test {
protected:
    /// Add a stack of bytes; a reserved one has room behind it then.
    static void add(FileInterface& file, std::string const& samples, bool reserved) {
        auto const stack = file.add_stack(types::uint8, {samples.size()}, false);
        if (reserved) stack->reserve(0);
        stack->write(types::uint8, samples.data(), nullptr, samples.size());
    }

    void put_source(std::string const& bytes) { write_bytes(source, bytes); }

    TemporaryFolder folder;
    fs::path const source = folder / "source.vbf";
    fs::path const copy = folder / "copy.vbf";
};

// Literal bytes

TEST_F(CompacterTest, RoomGoesAndPositionsMove) {
    std::string const before = three_stacks_with_room();
    ASSERT_EQ(before.size(), 5902u + 7 + 9 + 4);
    put_source(before);
    ASSERT_TRUE(copy_file_if_sparse(source, copy));

    std::string after = before.substr(0, 1940) + before.substr(2040, 3947 - 2040) + before.substr(3997);
    put(after, 26, std::uint64_t{5752});   // the tag list
    put(after, 394, std::uint64_t{1940});  // from the first stack to the second
    put(after, 2300, std::uint64_t{3847}); // to the third
    put(after, 3743, std::uint64_t{3897}); // end of the second stack: 3997 - 100
    put(after, 3755, std::uint64_t{3847}); // end of its footer: 3947 - 100
    put(after, 5648, std::uint64_t{5752}); // end of the third stack: 5902 - 150
    put(after, 5660, std::uint64_t{5752}); // end of its footer
    EXPECT_EQ(read_bytes(copy), after);
    EXPECT_EQ(value_at<std::uint64_t>(after, 14), 34u) << "the first stack does not move";
    EXPECT_EQ(value_at<std::uint64_t>(after, 1836), 2040u) << "the end of the first stack stays";
    EXPECT_EQ(value_at<std::uint64_t>(after, 1848), 1940u) << "the end of its footer too";
    EXPECT_EQ(read_bytes(source), before);
    EXPECT_EQ(first_difference(source, copy), "");
}

TEST_F(CompacterTest, ReservedStackInTheMiddleOfThree) {
    auto const file = Vexa::open_file(source, Mode::create);
    add(*file, "abcd", false);
    add(*file, "efghij", true);
    add(*file, "klmn", false);
    file->set_tag("key", "value");
    file->close();
    auto const before = walk_file(source);
    ASSERT_EQ(before.stacks[1].footer.end_of_stack_position, 2310 + 6 + least_room);
    ASSERT_EQ(before.stacks[1].footer_end, 3852u);
    ASSERT_TRUE(copy_file_if_sparse(source, copy));

    auto const after = walk_file(copy);
    EXPECT_TRUE(after.faults.empty());
    unsigned long const gap = 2310 + 6 + least_room - 3852;
    EXPECT_EQ(after.size, before.size - gap);
    EXPECT_EQ(after.metadata_position, before.metadata_position - gap);
    EXPECT_EQ(after.stacks[0].next_stack_position, 1942u) << "nothing before the second stack moves it";
    EXPECT_EQ(after.stacks[1].next_stack_position, 3852u);
    EXPECT_EQ(after.stacks[1].footer.end_of_stack_position, 2310 + 6 + least_room);
    EXPECT_EQ(after.stacks[2].next_stack_position, 0u);
    EXPECT_EQ(after.stacks[2].footer.end_of_stack_position, after.metadata_position);
    EXPECT_EQ(after.tags.at("key"), "value");
    EXPECT_EQ(first_difference(source, copy), "");
}

TEST_F(CompacterTest, LinksBehindARoomAreReduced) {
    auto const file = Vexa::open_file(source, Mode::create);
    add(*file, "abcd", true);
    add(*file, "efgh", false);
    add(*file, "ijkl", false);
    file->close();
    unsigned long const gap = 402 + 4 + least_room - 1942;
    ASSERT_TRUE(copy_file_if_sparse(source, copy));
    auto const before = walk_file(source), after = walk_file(copy);
    for (std::size_t i : {0u, 1u})
        EXPECT_EQ(after.stacks[i].next_stack_position, before.stacks[i].next_stack_position - gap);
    EXPECT_EQ(after.stacks[1].footer.footer_end_position, before.stacks[1].footer_end - gap);
    EXPECT_EQ(first_difference(source, copy), "");
}

// Nothing to do

TEST_F(CompacterTest, FileWithoutReservedStacksIsNotCopied) {
    auto const file = Vexa::open_file(source, Mode::create);
    add(*file, "abcd", false);
    add(*file, "efgh", false);
    file->close();
    EXPECT_FALSE(copy_file_if_sparse(source, copy));
    EXPECT_FALSE(fs::exists(copy));
}

TEST_F(CompacterTest, FileWithoutStacksIsNotCopied) {
    Vexa::open_file(source, Mode::create)->close();
    EXPECT_FALSE(copy_file_if_sparse(source, copy));
    EXPECT_FALSE(fs::exists(copy));
}

TEST_F(CompacterTest, FormatVersion1IsNotCopied) {
    auto bytes = three_stacks_with_room();
    for (std::uint32_t version : {1u, 0u}) {
        put(bytes, 10, version);
        put_source(bytes);
        EXPECT_FALSE(copy_file_if_sparse(source, copy));
    }
    put(bytes, 14, std::uint64_t{5}); // whatever it holds
    put_source(bytes);
    EXPECT_FALSE(copy_file_if_sparse(source, copy));
    EXPECT_FALSE(fs::exists(copy));
}

TEST_F(CompacterTest, NothingToDoLeavesAnOldDestinationAlone) {
    put_source(roomy_file({{{types::uint8, {2}, "ab"}, 0}}));
    write_bytes(copy, "precious");
    EXPECT_FALSE(copy_file_if_sparse(source, copy));
    EXPECT_EQ(read_bytes(copy), "precious");
}

TEST_F(CompacterTest, ChainThatGoesBackWithoutRoomIsNotCopied) {
    auto bytes = roomy_file({{{types::uint8, {2}, "ab"}, 0}, {{types::uint8, {3}, "cde"}, 0}});
    std::uint64_t const first = 34, second = 1940;
    put(bytes, 14, second);
    put(bytes, second + 360, first);
    put(bytes, first + 360, std::uint64_t{0});
    put_source(bytes);
    EXPECT_FALSE(copy_file_if_sparse(source, copy));
}

// Footers of older writers

TEST_F(CompacterTest, FooterEndOfZeroCountsAsNoGap) {
    auto bytes = three_stacks_with_room();
    put(bytes, 404 + 1444, std::uint64_t{0});
    put_source(bytes);
    ASSERT_TRUE(copy_file_if_sparse(source, copy)) << "the second stack has room still";
    EXPECT_EQ(fs::file_size(copy), bytes.size() - 50);
    EXPECT_EQ(first_difference(source, copy), "");
    put(bytes, 2411 + 1444, std::uint64_t{0});
    put_source(bytes);
    fs::remove(copy);
    EXPECT_FALSE(copy_file_if_sparse(source, copy));
    EXPECT_FALSE(fs::exists(copy));
}

TEST_F(CompacterTest, FooterEndOfZeroStaysZeroWhereItMoves) {
    auto bytes = three_stacks_with_room();
    put(bytes, 2411 + 1444, std::uint64_t{0});
    put_source(bytes);
    ASSERT_TRUE(copy_file_if_sparse(source, copy));
    auto const after = read_bytes(copy);
    EXPECT_EQ(after.size(), bytes.size() - 100);
    EXPECT_EQ(value_at<std::uint64_t>(after, 2311 + 1432), 3897u);
    EXPECT_EQ(value_at<std::uint64_t>(after, 2311 + 1444), 0u);
}

TEST_F(CompacterTest, FootersThatEndBeforeTheirPositionsMoveUnchanged) {
    for (std::uint32_t size : {4u, 1000u, 1432u}) {
        RawStack old(types::uint8, {3}, "cde");
        old.footer.footer_size = size;
        old.tail = counted("X") + (size > 1424 ? counted("") : "");
        put_source(roomy_file({{{types::uint8, {2}, "ab"}, 100}, {old, 0}, {{types::uint8, {1}, "f"}, 50}}));
        fs::remove(copy);
        ASSERT_TRUE(copy_file_if_sparse(source, copy)) << size;
        EXPECT_EQ(fs::file_size(copy), fs::file_size(source) - 150);
        EXPECT_EQ(first_difference(source, copy), "") << size;
        EXPECT_EQ(Vexa::open_file(copy, Mode::read)->get_stack(1)->label(0), "X");
    }
}

TEST_F(CompacterTest, FooterWithTheFirstPositionOnlyHasItMoved) {
    RawStack old(types::uint8, {3}, "cde");
    old.footer.footer_size = 1440;
    put_source(roomy_file({{{types::uint8, {2}, "ab"}, 100}, {old, 0}}));
    ASSERT_TRUE(copy_file_if_sparse(source, copy));
    EXPECT_EQ(value_at<std::uint64_t>(read_bytes(copy), 1940 + 371 + 1432), 1940u + 371 + 1440 + 8);
    EXPECT_EQ(first_difference(source, copy), "");
}

TEST_F(CompacterTest, LongerFooterIsCopiedWhole) {
    RawStack longer(types::uint8, {3}, "cde");
    longer.footer.footer_size = 2000;
    longer.beyond = std::string(472, 'b');
    put_source(roomy_file({{longer, 10}, {longer, 10}}));
    ASSERT_TRUE(copy_file_if_sparse(source, copy));
    EXPECT_EQ(fs::file_size(copy), fs::file_size(source) - 20);
    EXPECT_EQ(first_difference(source, copy), "");
    EXPECT_TRUE(walk_file(copy).faults.empty());
}

TEST_F(CompacterTest, StackWithoutFooterHasNoGap) {
    RawStack old(types::uint8, {3}, "cde");
    old.header.stack_format_version = 0;
    old.has_footer = false;
    put_source(roomy_file({{{types::uint8, {2}, "ab"}, 100}, {old, 0}, {{types::uint8, {2}, "gh"}, 0}}));
    ASSERT_TRUE(copy_file_if_sparse(source, copy));
    EXPECT_EQ(fs::file_size(copy), fs::file_size(source) - 100);
    EXPECT_EQ(first_difference(source, copy), "");
}

TEST_F(CompacterTest, BytesBetweenAndBehindTheRecordsAreCopied) {
    auto bytes = three_stacks_with_room();
    std::uint64_t const end = 3960; // of the second stack: 37 of its 50 bytes are no room then
    put(bytes, 2411 + 1432, end);
    bytes += "and more";
    put_source(bytes);
    ASSERT_TRUE(copy_file_if_sparse(source, copy));
    auto const after = read_bytes(copy);
    EXPECT_EQ(after.size(), bytes.size() - 113);
    EXPECT_EQ(after.substr(3847, 37), std::string(37, 'r'));
    EXPECT_EQ(after.substr(after.size() - 8), "and more");
    EXPECT_EQ(first_difference(source, copy), "");
}

TEST_F(CompacterTest, FileThatWasNotClosedKeepsItsMissingPosition) {
    auto bytes = three_stacks_with_room();
    put(bytes, 26, std::uint64_t{0});
    put_source(bytes);
    ASSERT_TRUE(copy_file_if_sparse(source, copy));
    EXPECT_EQ(value_at<std::uint64_t>(read_bytes(copy), 26), 0u);
    VEXA_EXPECT_THROWS(Vexa::open_file(copy, Mode::read), std::runtime_error,
                       "File incomplete. Metadata missing.");
}

TEST_F(CompacterTest, LastStackMayHaveTheRoom) {
    put_source(roomy_file({{{types::uint8, {2}, "ab"}, 0}, {{types::uint8, {2}, "cd"}, 77}}));
    ASSERT_TRUE(copy_file_if_sparse(source, copy));
    EXPECT_EQ(fs::file_size(copy), fs::file_size(source) - 77);
    EXPECT_EQ(first_difference(source, copy), "");
}

// What is refused

TEST_F(CompacterTest, NewerStackIsRefused) {
    for (std::uint32_t version : {8u, 0xFFFFFFFFu}) {
        auto bytes = roomy_file({{{types::uint8, {2}, "ab"}, 0}});
        put(bytes, 34 + 16, version);
        put_source(bytes);
        EXPECT_NO_THROW(Vexa::open_file(source, Mode::read)) << "an ordinary reader does open it";
        VEXA_EXPECT_THROWS(copy_file_if_sparse(source, copy), VexaError,
                           "Cannot reliably compact: File stack version newer than compacter version.");
    }
    EXPECT_FALSE(fs::exists(copy));
}

TEST_F(CompacterTest, EndOfStackBeforeTheEndOfItsFooterIsRefused) {
    auto bytes = three_stacks_with_room();
    put(bytes, 404 + 1432, std::uint64_t{1939});
    put_source(bytes);
    VEXA_EXPECT_THROWS(copy_file_if_sparse(source, copy), VexaError,
                       "Cannot compact file: VBF file is corrupt: Invalid size of used data section.");
    EXPECT_FALSE(fs::exists(copy));
}

TEST_F(CompacterTest, OtherFilesAreRefused) {
    VEXA_EXPECT_THROWS(copy_file_if_sparse(source, copy), VexaError,
                       "Could not open file: No such file or directory");
    for (std::size_t at : {0u, 7u, 8u, 9u}) {
        auto bytes = three_stacks_with_room();
        bytes[at] = 'x';
        put_source(bytes);
        VEXA_EXPECT_THROWS(copy_file_if_sparse(source, copy), std::runtime_error,
                           "No VBF file header found.");
    }
    put_source("short");
    EXPECT_THROW(copy_file_if_sparse(source, copy), VexaError);
    EXPECT_FALSE(fs::exists(copy));
}

TEST_F(CompacterTest, SourceAsDestinationIsRefusedByAnyName) {
    auto const bytes = three_stacks_with_room();
    put_source(bytes);
    fs::create_symlink(source, folder / "link");
    fs::create_symlink("link", folder / "link to link");
    fs::create_hard_link(source, folder / "hard");
    fs::create_directory(folder / "inside");
    fs::create_directory_symlink(folder.path(), folder / "inside/out");
    auto const relative = fs::relative(source);
    for (fs::path const& same :
         {source, folder / "link", folder / "link to link", folder / "hard", folder / "inside/out/source.vbf",
          folder / "." / "inside" / ".." / "source.vbf", relative})
        for (auto const& [from, to] : {std::pair(source, same), std::pair(same, source)}) {
            VEXA_EXPECT_THROWS(copy_file_if_sparse(from, to), std::invalid_argument,
                               "Cannot compact a file into itself.");
            EXPECT_EQ(read_bytes(source), bytes) << same;
        }
    put_source(roomy_file({}));
    VEXA_EXPECT_THROWS(copy_file_if_sparse(source, source), std::invalid_argument,
                       "Cannot compact a file into itself.");
}

TEST_F(CompacterTest, CompactedFileCannotBeCompactedAgain) {
    put_source(three_stacks_with_room());
    ASSERT_TRUE(copy_file_if_sparse(source, copy));
    VEXA_EXPECT_THROWS(copy_file_if_sparse(copy, folder / "again.vbf"), std::runtime_error,
                       "Corrupt VBF file.");
    EXPECT_FALSE(fs::exists(folder / "again.vbf"));
}

TEST_F(CompacterTest, InterleavedStacksBesideRoomAreRefused) {
    auto const file = Vexa::open_file(source, Mode::create);
    add(*file, "abcd", true);
    WriteMode const chunk_wise = WriteModeFlags::chunk_wise;
    auto const one = file->add_stack(types::uint8, {4}, chunk_wise, false);
    auto const two = file->add_stack(types::uint8, {4}, chunk_wise, false);
    for (char const* part : {"ab", "cd"})
        for (auto const& stack : {one, two}) stack->write(types::uint8, part, nullptr, 2);
    file->close();
    ASSERT_TRUE(walk_file(source).faults.empty());
    VEXA_EXPECT_THROWS(copy_file_if_sparse(source, copy), std::runtime_error, "Corrupt VBF file.");
    EXPECT_FALSE(fs::exists(copy));
}

// The destination

TEST_F(CompacterTest, OldDestinationIsReplaced) {
    auto const bytes = three_stacks_with_room();
    put_source(bytes);
    write_bytes(copy, std::string(10000, 'o'));
    ASSERT_TRUE(copy_file_if_sparse(source, copy));
    EXPECT_EQ(fs::file_size(copy), bytes.size() - 150);
    EXPECT_EQ(first_difference(source, copy), "");
}

TEST_F(CompacterTest, DestinationThatCannotBeOpenedOrFilledIsAnError) {
    put_source(three_stacks_with_room());
    VEXA_EXPECT_THROWS(copy_file_if_sparse(source, folder / "no/such/copy.vbf"), VexaError,
                       "Could not open file: No such file or directory");
    VEXA_EXPECT_THROWS(copy_file_if_sparse(source, folder.path()), VexaError,
                       "Could not open file: Is a directory");
    EXPECT_THROW(copy_file_if_sparse(source, "/dev/full"), VexaError);
    put_source(roomy_file({{{types::uint8, {2}, "ab"}, 100}})); // fits into the stream's buffer
    VEXA_EXPECT_THROWS(copy_file_if_sparse(source, "/dev/full"), VexaError,
                       "Failed flushing data to file: No space left on device");
}

TEST_F(CompacterTest, ProgressCountsBytesAndFalseEndsIt) {
    auto const bytes = three_stacks_with_room();
    put_source(bytes);
    Compacter compacter(source, copy);
    unsigned long sum = 0, calls = 0, stop_at = 0;
    compacter.set_progress_cb([&](unsigned long n) {
        sum += n;
        return ++calls != stop_at;
    });
    ASSERT_TRUE(compacter.compact());
    EXPECT_EQ(sum, bytes.size() - 150);
    EXPECT_EQ(calls, 1u);
    stop_at = 2;
    VEXA_EXPECT_THROWS(compacter.compact(), std::runtime_error, "Cancelled by user.");
    EXPECT_EQ(calls, 2u);
    compacter.set_progress_cb({});
    EXPECT_TRUE(compacter.compact()) << "an object can be used again";
    EXPECT_EQ(first_difference(source, copy), "");
}

TEST_F(CompacterTest, SectionsOfManyBlocksAreCopiedWhole) {
    std::vector<std::uint16_t> samples(3 * (4194304 / 2) + 12345);
    std::mt19937 random(7);
    for (auto& sample : samples) sample = static_cast<std::uint16_t>(random());
    auto const file = Vexa::open_file(source, Mode::create);
    for (int i = 0; i < 2; ++i) {
        auto const stack = file->add_stack(types::uint16, {samples.size()}, false);
        stack->reserve(0);
        stack->write(types::uint16, samples.data(), nullptr, samples.size());
    }
    file->close();
    Compacter compacter(source, copy);
    std::vector<unsigned long> blocks;
    compacter.set_progress_cb([&](unsigned long n) {
        blocks.push_back(n);
        return true;
    });
    ASSERT_TRUE(compacter.compact());
    EXPECT_EQ(std::accumulate(blocks.begin(), blocks.end(), 0ul), fs::file_size(copy));
    EXPECT_LE(*std::max_element(blocks.begin(), blocks.end()), 4194304u);
    EXPECT_EQ(blocks.size(), 7u);
    EXPECT_EQ(first_difference(source, copy), "");
}

TEST_F(CompacterTest, RoomOfTenGibibytesIsPassedOver) {
    auto const file = Vexa::open_file(source, Mode::create);
    auto const stack = file->add_stack(types::uint8, {4}, false);
    stack->reserve(10ul << 30);
    stack->write(types::uint8, "abcd", nullptr, 4);
    add(*file, "efgh", false);
    file->close();
    ASSERT_GT(fs::file_size(source), 10ul << 30);
    unsigned long bytes = 0;
    Compacter compacter(source, copy);
    compacter.set_progress_cb([&](unsigned long n) { return (bytes += n) < 1 << 20; });
    ASSERT_TRUE(compacter.compact());
    EXPECT_LT(fs::file_size(copy), 10000u);
    EXPECT_EQ(first_difference(source, copy), "");
}

// Files of all kinds

/// Which stacks of a file reserve room.
enum class Rooms { first, middle, last, all, none, some };

class RandomFile {
public:
    RandomFile(fs::path const& path, Rooms rooms, unsigned seed) : random_(seed), rooms_(rooms) {
        file_ = Vexa::create_file(chance(4));
        file_->open(path, Mode::create);
        if (chance(2)) file_->set_file_desc(std::string(below(300), 'd'));
        if (chance(2)) file_->set_tag("tag", std::string(below(5000), 't'));
        if (chance(3)) file_->set_threading_support(inline_execution(2));
        unsigned long const count = 1 + below(5);
        for (unsigned long i = 0; i < count; ++i) add(i, count);
        for (auto& [stack, samples] : open_) write(*stack, samples);
        file_->close();
    }

    bool has_room() const { return has_room_; }

private:
    using Samples = std::vector<std::uint16_t>;

    unsigned long below(unsigned long n) { return random_() % n; }
    bool chance(unsigned long one_in) { return below(one_in) == 0; }

    bool reserves(unsigned long i, unsigned long count) {
        switch (rooms_) {
        case Rooms::first: return i == 0;
        case Rooms::middle: return i == count / 2;
        case Rooms::last: return i + 1 == count;
        case Rooms::all: return true;
        case Rooms::none: return false;
        case Rooms::some: break;
        }
        return chance(2);
    }

    void add(unsigned long i, unsigned long count) {
        bool const reserved = reserves(i, count);
        unsigned long const kind = reserved ? 0 : below(4);
        std::vector<unsigned long> shape{1 + below(40), 1 + below(60)};
        Samples samples(shape[0] * shape[1]);
        std::iota(samples.begin(), samples.end(), static_cast<std::uint16_t>(below(1000)));
        if (kind == 1) shape[1] = 0; // grows
        WriteMode mode;
        mode.set(WriteModeFlags::chunk_wise, kind == 2);
        auto const stack = file_->add_stack(types::uint16, shape, mode, kind == 3);
        describe(*stack);
        if (kind == 3) return stack->write_end(types::uint16);
        if (reserved) {
            stack->reserve(below(10000));
            has_room_ = true;
            // What stays open is finished when others stand behind it.
            if (chance(2)) return open_.emplace_back(stack, samples), void();
        }
        write(*stack, samples);
        if (kind == 1) stack->write_end(types::uint16);
    }

    void describe(StackInterface& stack) {
        auto const shape = stack.shape();
        stack.set_name(std::string(below(20), 'n'));
        stack.set_description(std::string(below(500), 'd'));
        stack.set_compression(static_cast<int>(below(2)), static_cast<int>(below(10)));
        stack.set_flush_block_size(400 + below(1000));
        if (chance(2)) stack.set_labels({"x", "y"});
        if (chance(3)) stack.set_units(0, Vexa::units::RuntimeValue("um"));
        if (chance(3)) stack.set_col_positions(0, std::vector<double>(shape[0], 1.5));
        if (chance(3)) stack.set_col_labels(0, std::vector<std::string>(shape[0], "column"));
        if (chance(3)) stack.set_xy_col_positions(0, {shape[0], {0.5, -1.0}});
        if (chance(2)) stack.set_tag("json", JSON::Value(std::string(below(2000), 'j')));
        VProp tree;
        tree["number"].set<double>() = 0.5;
        if (chance(3)) stack.set_tag("tree", tree);
    }

    void write(StackInterface& stack, Samples const& samples) {
        unsigned long const split = below(samples.size());
        if (split != 0) stack.write(types::uint16, samples.data(), nullptr, split);
        bool const chunk_wise = dynamic_cast<StackImp&>(stack).write_mode().test(WriteModeFlags::chunk_wise);
        if (chunk_wise) file_->write_tag("between", std::string(below(100), 'b'));
        stack.write(types::uint16, samples.data() + split, nullptr, samples.size() - split);
    }

    std::mt19937 random_;
    Rooms rooms_;
    std::shared_ptr<FileInterface> file_;
    std::vector<std::pair<std::shared_ptr<StackInterface>, Samples>> open_;
    bool has_room_ = false;
};

class CompactedFiles : public CompacterTest, public ::testing::WithParamInterface<Rooms> {};

TEST_P(CompactedFiles, ReadBackEqual) {
    for (unsigned seed = 1; seed <= 12; ++seed) {
        SCOPED_TRACE(seed);
        RandomFile const file(source, GetParam(), seed);
        auto const bytes = read_bytes(source);
        fs::remove(copy);
        ASSERT_EQ(copy_file_if_sparse(source, copy), file.has_room());
        ASSERT_EQ(read_bytes(source), bytes);
        ASSERT_EQ(fs::exists(copy), file.has_room());
        if (!file.has_room()) continue;
        auto const before = walk_file(source), after = walk_file(copy);
        unsigned long gaps = 0;
        for (auto const& stack : before.stacks) gaps += stack.footer.end_of_stack_position - stack.footer_end;
        EXPECT_EQ(after.size, before.size - gaps);
        EXPECT_TRUE(after.faults.empty());
        EXPECT_EQ(first_difference(source, copy), "");
        for (auto const& stack : after.stacks)
            EXPECT_TRUE(read_section(*open_bytes(copy), stack).faults.empty());
    }
}

std::string name_of(::testing::TestParamInfo<Rooms> const& info) {
    static char const* const names[] = {"First", "Middle", "Last", "All", "None", "Some"};
    return names[static_cast<int>(info.param)];
}

INSTANTIATE_TEST_SUITE_P(WithRoom, CompactedFiles,
                         ::testing::Values(Rooms::first, Rooms::middle, Rooms::last, Rooms::all, Rooms::none,
                                           Rooms::some),
                         name_of);

} // namespace
