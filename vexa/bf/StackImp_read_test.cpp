// Reading samples at any position.

#include <vexa/bf/StackImp.h>

#include <algorithm>
#include <complex>
#include <cstdint>
#include <memory>
#include <numeric>
#include <ostream>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/bf/FileImp.h>
#include <vexa/foundation/error.h>
#include <vexa/foundation/types.h>
#include <vexa/testing/bytes.h>
#include <vexa/testing/executors.h>
#include <vexa/testing/expect_throws.h>
#include <vexa/testing/file_builder.h>
#include <vexa/testing/temporary_folder.h>

namespace {

using namespace Vexa::bf;
using namespace Vexa::testing;
namespace types = Vexa::types;
using Mode = DiskFile::Mode;
using Bytes = std::vector<unsigned char>;
using Stack = std::shared_ptr<StackInterface>;
using Range = std::pair<unsigned long, unsigned long>;

constexpr unsigned long all = StackInterface::all;
constexpr unsigned long at_end = StackInterface::at_end;
constexpr unsigned long go_on = StackInterface::go_on;

class StackReading : public ::testing::Test {
protected:
    std::shared_ptr<FileImp> open(std::vector<RawStack> const& stacks) {
        write_bytes(path, file_of(stacks));
        return open();
    }
    std::shared_ptr<FileImp> open() {
        return std::dynamic_pointer_cast<FileImp>(Vexa::open_file(path, Mode::read));
    }
    /// A file with one stack of the samples 0, 1, 2, ...
    std::shared_ptr<FileImp> with_ramp(std::size_t n, int compression = 0, unsigned long flush_block = 16) {
        auto const file = Vexa::open_file(path, Mode::create);
        auto const stack = file->add_stack(types::uint8, {n}, false);
        stack->set_compression(compression, 6);
        stack->set_flush_block_size(flush_block);
        stack->write(types::uint8, ramp(0, n).data(), nullptr, n);
        file->close();
        return open();
    }
    static Bytes ramp(std::size_t from, std::size_t n) {
        Bytes samples(n);
        std::iota(samples.begin(), samples.end(), static_cast<unsigned char>(from));
        return samples;
    }
    static Bytes read(Stack const& stack, unsigned long n, unsigned long& pos) {
        Bytes samples(n, 0xEE);
        samples.resize(stack->read(types::uint8, samples.data(), nullptr, n, pos));
        return samples;
    }
    static Bytes read_at(Stack const& stack, unsigned long n, unsigned long pos) {
        return read(stack, n, pos);
    }

    TemporaryFolder folder;
    std::filesystem::path const path = folder / "a.vbf";
};

// Positions

TEST_F(StackReading, GoesOnFromTheStartOfAFreshStack) {
    auto const stack = with_ramp(10)->get_stack(0);
    VEXA_EXPECT_THROWS(read_at(stack, 1, 0), std::runtime_error,
                       "Cannot access File_Stack, file has been closed.");
    auto const file = open();
    auto const held = file->get_stack(0);
    unsigned long pos = go_on;
    EXPECT_EQ(read(held, 4, pos), ramp(0, 4));
    EXPECT_EQ(pos, 4u);
    pos = go_on;
    EXPECT_EQ(read(held, 3, pos), ramp(4, 3));
    EXPECT_EQ(pos, 7u);
    unsigned long elsewhere = 1;
    EXPECT_EQ(read(held, 2, elsewhere), ramp(1, 2));
    pos = go_on;
    EXPECT_EQ(read(held, 1, pos), ramp(3, 1)) << "behind the last read, wherever that was";
}

TEST_F(StackReading, TellsTheEndByItsPosition) {
    auto const file = with_ramp(10);
    auto const stack = file->get_stack(0);
    unsigned long pos = 6;
    EXPECT_EQ(read(stack, 100, pos), ramp(6, 4));
    EXPECT_EQ(pos, at_end);
    std::string const text = "Invalid position (-1) passed. Possible reason: Last read call exhausted data.";
    VEXA_EXPECT_THROWS(read(stack, 1, pos), std::runtime_error, text);
    pos = go_on;
    VEXA_EXPECT_THROWS(read(stack, 1, pos), std::runtime_error, text);
    EXPECT_EQ(read_at(stack, 10, 0), ramp(0, 10)) << "and can start again";
}

TEST_F(StackReading, AtTheVeryEndDeliversNothing) {
    auto const file = with_ramp(10);
    unsigned long pos = 10;
    EXPECT_EQ(read(file->get_stack(0), 3, pos), Bytes{});
    EXPECT_EQ(pos, at_end);
    pos = 11;
    VEXA_EXPECT_THROWS(read(file->get_stack(0), 3, pos), std::runtime_error, "Invalid position in segment.");
    pos = all - 2;
    VEXA_EXPECT_THROWS(read(file->get_stack(0), 3, pos), std::runtime_error, "Invalid position in segment.");
    EXPECT_EQ(pos, all - 2) << "unchanged by a failure";
}

TEST_F(StackReading, OfNoSamplesKeepsThePosition) {
    auto const file = with_ramp(10);
    unsigned long pos = 3;
    EXPECT_EQ(file->get_stack(0)->read(types::uint8, nullptr, nullptr, 0, pos), 0u);
    EXPECT_EQ(pos, 3u);
}

TEST_F(StackReading, OfAllSamplesReadsTheRest) {
    auto const file = with_ramp(10);
    unsigned long pos = 8;
    Bytes samples(2);
    EXPECT_EQ(file->get_stack(0)->read(types::uint8, samples.data(), nullptr, all, pos), 2u);
    EXPECT_EQ(samples, ramp(8, 2));
}

TEST_F(StackReading, OfAWholeStackTellsHowMany) {
    auto const file = with_ramp(10);
    Bytes samples(10);
    EXPECT_EQ(file->get_stack(0)->read(types::uint8, samples.data(), nullptr), 10u);
    EXPECT_EQ(samples, ramp(0, 10));
}

TEST_F(StackReading, RestoresTheStream) {
    auto const file = with_ramp(100, 1);
    file->seek(5);
    read_at(file->get_stack(0), 30, 40);
    EXPECT_EQ(file->tell(), 5u);
    EXPECT_THROW(read_at(file->get_stack(0), 30, 101), std::runtime_error);
    EXPECT_EQ(file->tell(), 5u);
}

TEST_F(StackReading, OfAStackThatIsNotCompleteIsRefused) {
    auto const file = std::make_shared<FileImp>(false);
    file->open(path, Mode::create);
    auto const stack = file->add_stack(types::uint8, {2}, false);
    std::string const text = "Stack not committed to disk. Cannot read.";
    VEXA_EXPECT_THROWS(read_at(stack, 1, 0), std::runtime_error, text);
    stack->write(types::uint8, ramp(0, 1).data(), nullptr, 1);
    VEXA_EXPECT_THROWS(read_at(stack, 1, 0), std::runtime_error, text);
    VEXA_EXPECT_THROWS(read_at(stack, 1, at_end), std::runtime_error,
                       "Invalid position (-1) passed. Possible reason: Last read call exhausted data.");
    stack->truncate();
    EXPECT_EQ(read_at(stack, 2, 0), (Bytes{0, 0}));
}

TEST_F(StackReading, NeedsABuffer) {
    auto const file = with_ramp(4);
    VEXA_EXPECT_THROWS(file->get_stack(0)->read(types::uint8, nullptr, nullptr), std::runtime_error,
                       "No buffer given.");
}

struct Storage {
    char const* name;
    int compression;
    unsigned long flush_block;
    unsigned long threads;
};

void PrintTo(Storage const& storage, std::ostream* os) { *os << storage.name; }

class StackReadingAnywhere : public StackReading, public ::testing::WithParamInterface<Storage> {};

TEST_P(StackReadingAnywhere, DeliversWhatStandsThere) {
    std::size_t const size = 1000;
    auto const file = with_ramp(size, GetParam().compression, GetParam().flush_block);
    boost::asio::thread_pool pool(3);
    file->set_threading_support(pooled_execution(GetParam().threads, pool));
    auto const stack = file->get_stack(0);
    unsigned const seed = 4711;
    std::mt19937 random(seed);
    for (int i = 0; i < 200; ++i) {
        unsigned long const pos = random() % (size + 1);
        unsigned long const n = random() % 3 ? random() % 50 : random() % size;
        unsigned long const delivered = std::min(n, size - pos);
        unsigned long after = pos;
        ASSERT_EQ(read(stack, n, after), ramp(pos, delivered)) << "seed " << seed << ", round " << i;
        ASSERT_EQ(after, pos + n >= size ? at_end : pos + n);
    }
}

INSTANTIATE_TEST_SUITE_P(Storages, StackReadingAnywhere,
                         ::testing::Values(Storage{"plain", 0, 0, 1}, Storage{"one zlib stream", 1, 0, 1},
                                           Storage{"blocks", 1, 16, 1}, Storage{"blocks, threads", 1, 16, 4},
                                           Storage{"blocks of an exact part", 1, 100, 3},
                                           Storage{"one block", 1, 1000, 2},
                                           Storage{"blocks larger than the stack", 1, 5000, 2}));

TEST_F(StackReading, OfManyStacksInTurn) {
    auto const file = std::make_shared<FileImp>(false);
    file->open(path, Mode::create);
    file->default_compression_type = 1;
    file->default_write_mode = WriteModeFlags::chunk_wise;
    std::vector<Stack> stacks;
    for (int i = 0; i < 3; ++i) stacks.push_back(file->add_stack(types::uint8, {600}, false));
    for (std::size_t part = 0; part < 6; ++part)
        for (std::size_t i = 0; i < 3; ++i)
            stacks[i]->write(types::uint8, ramp(part * 100 + i, 100).data(), nullptr, 100);
    auto const check = [](FileInterface& from) {
        for (std::size_t pos : {0u, 70u, 570u, 200u, 0u, 599u, 300u})
            for (std::size_t i = 0; i < 3; ++i)
                EXPECT_EQ(read_at(from.get_stack(i), 30, pos),
                          ramp(pos + i, std::min<std::size_t>(30, 600 - pos)))
                    << "stack " << i << " at " << pos;
    };
    check(*file);
    file->close();
    check(*open());
    auto const modified = Vexa::open_file(path, Mode::modify);
    check(*modified);
}

/// A reader in a writable file must find its way across the pieces of a section, in both directions.
TEST_F(StackReading, AcrossChunksOfAWritableFile) {
    auto const file = Vexa::open_file(path, Mode::create);
    file->default_write_mode = WriteModeFlags::chunk_wise;
    auto const a = file->add_stack(types::uint8, {8}, false);
    auto const b = file->add_stack(types::uint8, {8}, false);
    for (std::size_t i = 0; i < 4; ++i) {
        a->write(types::uint8, ramp(2 * i, 2).data(), nullptr, 2);
        b->write(types::uint8, ramp(100 + 2 * i, 2).data(), nullptr, 2);
    }
    for (unsigned long pos : {1u, 5u, 3u, 0u}) EXPECT_EQ(read_at(a, 3, pos), ramp(pos, 3)) << pos;
    EXPECT_EQ(read_at(a, 8, 0), ramp(0, 8));
    EXPECT_EQ(read_at(b, 8, 0), ramp(100, 8));
    file->close();
}

// Types

TEST_F(StackReading, ConvertsToTheTypeOfTheBuffer) {
    auto const file = with_ramp(5);
    std::vector<double> samples(5);
    file->get_stack(0)->read(types::double_, samples.data(), nullptr);
    EXPECT_EQ(samples, (std::vector<double>{0, 1, 2, 3, 4}));
}

TEST_F(StackReading, SplitsComplexSamples) {
    std::complex<float> const stored[] = {{1, -2}, {3, -4}};
    RawStack raw(types::cplx_single, {2}, {reinterpret_cast<char const*>(stored), sizeof stored});
    auto const file = open({raw});
    auto const stack = file->get_stack(0);
    float re[2];
    float im[2];
    stack->read(types::single, re, im);
    EXPECT_EQ(re[0], 1.0f);
    EXPECT_EQ(re[1], 3.0f);
    EXPECT_EQ(im[0], -2.0f);
    EXPECT_EQ(im[1], -4.0f);
    std::complex<double> whole[2];
    stack->read(types::cplx_double, whole, nullptr);
    EXPECT_EQ(whole[1], (std::complex<double>{3, -4}));
    VEXA_EXPECT_THROWS(stack->read(types::cplx_single, whole, im), std::runtime_error,
                       "Imaginary buffer passed but buffer type is already complex.");
    VEXA_EXPECT_THROWS(stack->read(types::single, re, nullptr), std::runtime_error,
                       "Invalid on-the-fly conversion from 'cplx_single' to 'single'.");
    VEXA_EXPECT_THROWS(stack->read(types::logical, re, im), std::runtime_error,
                       "Invalid on-the-fly conversion from 'cplx_single' to 'cplx_logical'.");
}

TEST_F(StackReading, OfRealSamplesHasNoImaginaryParts) {
    auto const file = with_ramp(2);
    float re[2];
    float im[2];
    VEXA_EXPECT_THROWS(file->get_stack(0)->read(types::single, re, im), std::runtime_error,
                       "Imaginary buffer passed but stack is not complex.");
}

TEST_F(StackReading, OfTypesWithoutElementSizeIsRefusedButTheyAreListed) {
    for (int type : {types::struct_, types::char_, 0x40000001, 0, static_cast<int>(0x80000001), 3}) {
        auto const file = open({RawStack(type, {2}, "ab"), RawStack(types::uint8, {2}, "cd")});
        ASSERT_EQ(file->get_num_stacks(), 2u);
        EXPECT_EQ(file->get_stack(0)->type(), type);
        VEXA_EXPECT_THROWS(read_at(file->get_stack(0), 2, 0), std::runtime_error,
                           "Unknown type of elements.");
        Bytes samples(16);
        unsigned long pos = 0;
        VEXA_EXPECT_THROWS(file->get_stack(1)->read(type, samples.data(), nullptr, 2, pos),
                           std::runtime_error, "Unknown type of elements.");
        EXPECT_EQ(read_at(file->get_stack(1), 2, 0), (Bytes{'c', 'd'}));
    }
}

TEST_F(StackReading, ReportsEachBlockBeforeItIsRead) {
    auto const file = with_ramp(10);
    std::vector<unsigned long> reports;
    file->set_chunk_size(4);
    file->set_progress_cb([&](unsigned long bytes) {
        reports.push_back(bytes);
        return reports.size() < 3;
    });
    unsigned long pos = 0;
    VEXA_EXPECT_THROWS(read(file->get_stack(0), 10, pos), std::runtime_error, "Cancelled by user.");
    EXPECT_EQ(reports, (std::vector<unsigned long>{4, 4, 2}));
    EXPECT_EQ(pos, 0u);
    file->set_chunk_size(0);
    file->set_progress_cb({});
    EXPECT_EQ(read_at(file->get_stack(0), 10, 0), ramp(0, 10));
}

// Samples that are not on disk

TEST_F(StackReading, OfADataLessStackDeliversZerosForEverWithoutReadingTheFile) {
    RawStack raw(types::uint8, {4}, "");
    auto const file = open({raw});
    write_bytes(path, "");
    auto const stack = file->get_stack(0);
    unsigned long pos = 0;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(read(stack, 10, pos), Bytes(4));
        EXPECT_EQ(pos, 0u);
    }
    pos = 3;
    EXPECT_EQ(read(stack, 10, pos), Bytes(1));
    pos = go_on;
    EXPECT_EQ(read(stack, 10, pos), Bytes(4));
    RawStack complex_raw(types::cplx_double, {2}, "");
    double re[2] = {1, 1};
    double im[2] = {1, 1};
    auto const complex_file = open({complex_raw});
    complex_file->get_stack(0)->read(types::double_, re, im);
    EXPECT_EQ(re[1], 0.0);
    EXPECT_EQ(im[1], 0.0);
}

TEST_F(StackReading, ZeroesWhatWasNeverWritten) {
    RawStack raw(types::uint8, {6}, "ab");
    raw.footer.samples_written = 2;
    auto const file = open({raw});
    auto const stack = file->get_stack(0);
    EXPECT_EQ(read_at(stack, 6, 0), (Bytes{'a', 'b', 0, 0, 0, 0}));
    EXPECT_EQ(read_at(stack, 2, 1), (Bytes{'b', 0}));
    unsigned long pos = 3;
    EXPECT_EQ(read(stack, 2, pos), (Bytes{0, 0}));
    EXPECT_EQ(pos, 5u);
    EXPECT_EQ(read(stack, 2, pos), (Bytes{0}));
    EXPECT_EQ(pos, at_end);

    std::complex<float> const stored{1, 2};
    RawStack complex_raw(types::cplx_single, {2}, {reinterpret_cast<char const*>(&stored), sizeof stored});
    complex_raw.footer.samples_written = 1;
    double re[2] = {9, 9};
    double im[2] = {9, 9};
    auto const complex_file = open({complex_raw});
    complex_file->get_stack(0)->read(types::double_, re, im);
    EXPECT_EQ(re[0], 1.0);
    EXPECT_EQ(im[0], 2.0);
    EXPECT_EQ(re[1], 0.0);
    EXPECT_EQ(im[1], 0.0);
}

TEST_F(StackReading, TakesTheSizeOfTheStackWhereMoreSamplesAreClaimed) {
    RawStack raw(types::uint8, {2}, "ab");
    raw.footer.samples_written = all;
    auto const file = open({raw});
    EXPECT_EQ(read_at(file->get_stack(0), 5, 0), (Bytes{'a', 'b'}));
}

// Flush blocks and their place in the file

TEST_F(StackReading, AcceptsAListOfFlushPositionsWithoutTheLast) {
    auto file = with_ramp(64, 1);
    std::string bytes = read_bytes(path);
    std::size_t const footer = 34 + 368 + value_at<std::uint64_t>(bytes, 34 + 352);
    ASSERT_EQ(value_at<std::uint64_t>(bytes, footer + 1408), 4u);
    put(bytes, footer + 1408, std::uint64_t{3});
    bytes.erase(footer + 1528 + 4 + 3 * 8, 8);
    std::size_t const metadata = bytes.size() - 4;
    put(bytes, 26, std::uint64_t{metadata});
    file->close();
    write_bytes(path, bytes);
    for (unsigned long threads : {1ul, 3ul}) {
        file = open();
        file->set_threading_support(inline_execution(threads));
        EXPECT_EQ(read_at(file->get_stack(0), 64, 0), ramp(0, 64));
        EXPECT_EQ(read_at(file->get_stack(0), 5, 50), ramp(50, 5));
    }
}

TEST_F(StackReading, IgnoresFlushPositionsBehindTheLastSample) {
    auto file = with_ramp(64, 1);
    std::string bytes = read_bytes(path);
    put(bytes, 34 + 24, 40u); // a shorter stack than was compressed, as a cancelled write may leave it
    std::size_t const footer = 34 + 368 + value_at<std::uint64_t>(bytes, 34 + 352);
    put(bytes, footer + 1452, std::uint64_t{40});
    file->close();
    write_bytes(path, bytes);
    file = open();
    EXPECT_EQ(read_at(file->get_stack(0), 64, 0), ramp(0, 40));
    EXPECT_EQ(read_at(file->get_stack(0), 64, 33), ramp(33, 7));
}

TEST_F(StackReading, TellsWhereCompressedBlocksStand) {
    auto const file = with_ramp(40, 1);
    auto const stack = file->get_stack(0);
    std::string const bytes = read_bytes(path);
    std::size_t const start = 34 + 368;
    std::size_t const footer = start + value_at<std::uint64_t>(bytes, 34 + 352);
    auto const first = value_at<std::uint64_t>(bytes, footer + 1528 + 4);
    auto const second = value_at<std::uint64_t>(bytes, footer + 1528 + 12);
    using Ranges = std::vector<Range>;
    EXPECT_EQ(stack->get_aligned_compressed_chunk_ranges({0, 16}), (Ranges{{start + 2, start + first}}));
    EXPECT_EQ(stack->get_aligned_compressed_chunk_ranges({0, 32}), (Ranges{{start + 2, start + second}}));
    EXPECT_EQ(stack->get_aligned_compressed_chunk_ranges({16, 32}),
              (Ranges{{start + first, start + second}}));
    std::string const text = "Requested range is not flush point aligned, empty or has not yet been written";
    for (Range const& bad : {Range{0, 15}, Range{1, 16}, Range{16, 16}, Range{0, 48}, Range{48, 16},
                             Range{0, all}, Range{all, 0}, Range{0, 0}})
        VEXA_EXPECT_THROWS(stack->get_aligned_compressed_chunk_ranges(bad), std::runtime_error, text);
}

TEST_F(StackReading, TellsWhereCompressedBlocksStandWhileTheyAreWritten) {
    auto const file = Vexa::open_file(path, Mode::create);
    auto const stack = file->add_stack(types::uint8, {64}, false);
    VEXA_EXPECT_THROWS(stack->get_aligned_compressed_chunk_ranges({0, 16}), std::runtime_error,
                       "Requested range is not flush point aligned, empty or has not yet been written");
    stack->set_compression(1, 1);
    stack->set_flush_block_size(16);
    stack->write(types::uint8, ramp(0, 40).data(), nullptr, 40);
    auto const ranges = stack->get_aligned_compressed_chunk_ranges({0, 32});
    ASSERT_EQ(ranges.size(), 1u);
    EXPECT_EQ(ranges[0].first, 34u + 368 + 2);
    VEXA_EXPECT_THROWS(stack->get_aligned_compressed_chunk_ranges({0, 48}), std::runtime_error,
                       "Requested range is not flush point aligned, empty or has not yet been written");
    stack->truncate();
    EXPECT_EQ(stack->get_aligned_compressed_chunk_ranges({0, 32}), ranges);
    file->close();
}

// Damage, found by the first read of the stack

class StackDamage : public StackReading {
protected:
    /// The second of two stacks is damaged.
    void expect_refused(RawStack const& raw, std::string const& text) {
        auto const file = open({RawStack(types::uint8, {2}, "ok"), raw});
        ASSERT_EQ(file->get_num_stacks(), 2u);
        Bytes samples(64);
        unsigned long pos = 0;
        for (int i = 0; i < 2; ++i)
            VEXA_EXPECT_THROWS(file->get_stack(1)->read(types::uint8, samples.data(), nullptr, 2, pos),
                               std::runtime_error, text);
        EXPECT_EQ(read_at(file->get_stack(0), 2, 0), (Bytes{'o', 'k'}));
    }
    static std::string pairs(std::vector<Range> const& values) {
        std::string bytes;
        for (auto const& [first, second] : values) bytes += bytes_of(first) + bytes_of(second);
        return bytes;
    }
};

TEST_F(StackDamage, OfChunkRecordsIsToldByTheFirstRead) {
    for (auto const& records : std::vector<std::vector<Range>>{{{1, 3}, {0, 4}}, // logical not sorted
                                                               {{1, 5}, {2, 4}}, // file not sorted
                                                               {{2, 3}, {6, 5}}, // overlap
                                                               {{3, 1}},         // overlaps the first
                                                               {{all, all}},     // wraps
                                                               {{0, 1}, {0, all}}}) {
        RawStack raw(types::uint8, {4}, "abcdefgh");
        raw.footer.chunk_record_count = records.size();
        raw.tail += pairs(records);
        expect_refused(raw, "Invalid chunk records.");
    }
}

TEST_F(StackDamage, OfFlushPositionsIsToldByTheFirstRead) {
    for (auto const& positions :
         std::vector<std::vector<std::uint64_t>>{{3, 3}, {4, 2}, {0, 4}, {4, 9}, {4, all}}) {
        RawStack raw(types::uint8, {4}, "abcdefgh");
        raw.header.compression_type = 1;
        raw.header.compression_level = 1;
        raw.footer.flush_block_size = 2;
        raw.footer.flush_position_count = positions.size();
        raw.tail = counted("");
        for (std::uint64_t position : positions) raw.tail += bytes_of(position);
        raw.tail += counted("");
        expect_refused(raw, "Invalid flush positions.");
    }
}

TEST_F(StackDamage, OfTheSectionIsToldByTheRead) {
    RawStack short_section(types::uint8, {4}, "abc");
    auto file = open({short_section});
    VEXA_EXPECT_THROWS(read_at(file->get_stack(0), 4, 0), std::runtime_error,
                       "Trying to read beyond segment boundary.");
    EXPECT_EQ(read_at(file->get_stack(0), 3, 0), (Bytes{'a', 'b', 'c'}));

    RawStack no_zlib(types::uint8, {4}, "abcdefgh");
    no_zlib.header.compression_type = 1;
    no_zlib.header.compression_level = 1;
    expect_refused(no_zlib, "ZIP inflation failed: Z_DATA_ERROR.");
    no_zlib.header.compression_type = 2;
    expect_refused(no_zlib, "Invalid compression type specified.");
    no_zlib.header.compression_type = -1;
    expect_refused(no_zlib, "Invalid compression type specified.");
}

TEST_F(StackDamage, OfASizeBeyondAnyMemoryIsToldByTheRead) {
    RawStack raw(types::double_, {0x80000000, 0x80000000, 2}, "abcdefgh");
    expect_refused(raw, "Invalid stack size: Larger than the addressable memory.");
}

TEST_F(StackDamage, OfTheLengthOfASectionWithoutFooterIsToldByTheRead) {
    RawStack raw(types::uint8, {50}, "");
    raw.header.stack_format_version = 0;
    raw.header.data_length = 100;
    raw.has_footer = false;
    auto const file = open({raw});
    EXPECT_THROW(read_at(file->get_stack(0), 50, 0), std::exception);
    EXPECT_NO_THROW(read_at(file->get_stack(0), 4, 50));
}

TEST_F(StackDamage, InTheMiddleOfCompressedDataLeavesTheRestReadable) {
    auto file = with_ramp(64, 1);
    std::string bytes = read_bytes(path);
    std::size_t const footer = 34 + 368 + value_at<std::uint64_t>(bytes, 34 + 352);
    auto const second = value_at<std::uint64_t>(bytes, footer + 1528 + 4);
    bytes[34 + 368 + second] = '\x06'; // no such kind of block
    file->close();
    write_bytes(path, bytes);
    file = open();
    auto const stack = file->get_stack(0);
    EXPECT_THROW(read_at(stack, 64, 0), std::runtime_error);
    EXPECT_EQ(read_at(stack, 10, 40), ramp(40, 10));
    EXPECT_THROW(read_at(stack, 10, 20), std::runtime_error);
    EXPECT_EQ(read_at(stack, 16, 0), ramp(0, 16));
}

} // namespace
