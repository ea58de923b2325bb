#include <vexa/bf/ZippedSegment.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <vexa/bf/ChunkedSegment.h>
#include <vexa/foundation/error.h>
#include <vexa/testing/counting_device.h>
#include <vexa/testing/executors.h>
#include <vexa/testing/expect_throws.h>
#include <vexa/testing/failing_device.h>
#include <vexa/testing/memory_device.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Vexa::bf::ThreadingSupport;
using Vexa::bf::ZippedSegment;
using Vexa::testing::CountingDevice;
using Vexa::testing::FailingDevice;
using Vexa::testing::MemoryDevice;

namespace {

using Bytes = std::vector<unsigned char>;

constexpr unsigned long all_ones = ~0ul;
constexpr unsigned long start = 7;

/// Bytes that deflate shrinks to about two thirds, the same for each seed.
Bytes samples(std::size_t n, unsigned seed = 1) {
    std::mt19937 engine(seed);
    Bytes bytes(n);
    for (auto& byte : bytes) byte = static_cast<unsigned char>((engine() & 7u) * (engine() & 7u));
    return bytes;
}

Bytes noise(std::size_t n) {
    std::mt19937 engine(1);
    Bytes bytes(n);
    for (auto& byte : bytes) byte = static_cast<unsigned char>(engine());
    return bytes;
}

/// A written section, at `start` of a device.
struct Section {
    MemoryDevice file{Bytes(start, 0xee)};
    unsigned long segment_size = 0;
    unsigned long uncompressed_size = 0;
    unsigned long block_size = 0;
    std::vector<unsigned long> flush_positions;
    int level = 1;

    Bytes compressed() const {
        return {file.bytes.begin() + start, file.bytes.begin() + static_cast<long>(start + segment_size)};
    }
    void open(ZippedSegment& segment, Vexa::bf::DiskFileAccess& device) const {
        segment.initialize(device, level, start, segment_size, uncompressed_size);
        if (block_size) segment.set_flush_positions(flush_positions, block_size);
    }
};

struct Writing {
    int level = 1;
    unsigned long block_size = 0;
    ThreadingSupport threads{};
    std::vector<std::size_t> cuts{};
};

Section write_section(Bytes const& data, Writing const& how) {
    Section section;
    section.level = how.level;
    section.block_size = how.block_size;
    section.uncompressed_size = data.size();
    section.file.threading = how.threads;
    section.file.seek(start);
    ZippedSegment segment;
    segment.initialize(section.file, how.level);
    segment.set_flush_block_size(how.block_size);
    std::size_t from = 0;
    for (std::size_t const cut : how.cuts) {
        segment.write(data.data() + from, cut - from);
        from = cut;
    }
    segment.write(data.data() + from, data.size() - from);
    EXPECT_EQ(segment.tell(), data.size());
    section.segment_size = segment.write_end();
    section.flush_positions = segment.flush_positions();
    EXPECT_EQ(section.file.bytes.size(), start + section.segment_size);
    return section;
}

Bytes plain_uncompress(Bytes const& compressed, std::size_t size) {
    Bytes out(size + 1);
    uLongf length = out.size();
    uLong input = compressed.size();
    EXPECT_EQ(::uncompress2(out.data(), &length, compressed.data(), &input), Z_OK);
    EXPECT_EQ(input, compressed.size());
    out.resize(length);
    return out;
}

Bytes read(ZippedSegment& segment, unsigned long n) {
    Bytes out(n, 0xcc);
    segment.read(out.data(), n);
    return out;
}

Bytes part(Bytes const& bytes, std::size_t from, std::size_t n) {
    return {bytes.begin() + static_cast<long>(from), bytes.begin() + static_cast<long>(from + n)};
}

Bytes read_whole(Section& section, ThreadingSupport threads) {
    section.file.threading = std::move(threads);
    ZippedSegment segment;
    section.open(segment, section.file);
    return read(segment, section.uncompressed_size);
}

/// Collects warnings while it lives.
struct Warnings {
    Warnings() {
        VexaError::set_global_warning_callback([this](VexaError const& e) { texts.emplace_back(e.what()); });
    }
    ~Warnings() { VexaError::set_global_warning_callback(nullptr); }
    std::vector<std::string> texts;
};

} // namespace

// Literal bytes

TEST(ZippedSegment, LevelZeroIsThePlainBytes) {
    Section section = write_section({1, 2, 3}, {.level = 0, .block_size = 2});
    EXPECT_EQ(section.compressed(), (Bytes{1, 2, 3}));
    EXPECT_THAT(section.flush_positions, IsEmpty());
    EXPECT_EQ(section.segment_size, 3u);
}

TEST(ZippedSegment, ANegativeLevelIsNoCompression) {
    EXPECT_EQ(write_section({1, 2, 3}, {.level = -1}).compressed(), (Bytes{1, 2, 3}));
}

TEST(ZippedSegment, AnEmptySectionIsAHeaderAnEmptyBlockAndTheChecksumOfNothing) {
    Bytes const expected{0x78, 0x01, 0x03, 0x00, 0x00, 0x00, 0x00, 0x01};
    EXPECT_EQ(write_section({}, {}).compressed(), expected);
    EXPECT_EQ(
        write_section({}, {.block_size = 1000, .threads = Vexa::testing::inline_execution(3)}).compressed(),
        expected);
    EXPECT_THAT(write_section({}, {.level = 0}).compressed(), IsEmpty());
}

TEST(ZippedSegment, AFullFlushEndsEachFullBlockWithItsMarker) {
    Bytes const data = samples(3000);
    for (unsigned long const threads : {1ul, 2ul}) {
        Section const section =
            write_section(data, {.block_size = 1000, .threads = Vexa::testing::inline_execution(threads)});
        Bytes const bytes = section.compressed();
        ASSERT_EQ(section.flush_positions.size(), 3u);
        for (unsigned long const position : section.flush_positions)
            EXPECT_EQ(part(bytes, position - 4, 4), (Bytes{0x00, 0x00, 0xff, 0xff}));
        uLong const checksum = ::adler32(1, data.data(), static_cast<uInt>(data.size()));
        Bytes const trailer{static_cast<unsigned char>(checksum >> 24),
                            static_cast<unsigned char>(checksum >> 16),
                            static_cast<unsigned char>(checksum >> 8), static_cast<unsigned char>(checksum)};
        EXPECT_EQ(part(bytes, bytes.size() - 4, 4), trailer);
        // An exact multiple of the block size leaves an empty last block.
        EXPECT_EQ(part(bytes, section.flush_positions.back(), 2), (Bytes{0x03, 0x00}));
        EXPECT_EQ(section.flush_positions.back() + 6, bytes.size());
    }
}

TEST(ZippedSegment, AStoredStreamOfOtherOriginIsRead) {
    Bytes bytes(start, 0);
    for (int const byte : std::initializer_list<int>{0x78, 0x01, 0x01, 0x03, 0x00, 0xfc, 0xff, 'a', 'b', 'c',
                                                     0x02, 0x4d, 0x01, 0x27})
        bytes.push_back(static_cast<unsigned char>(byte));
    MemoryDevice file(bytes);
    ZippedSegment segment;
    segment.initialize(file, 1, start, 14, 3);
    EXPECT_EQ(read(segment, 3), (Bytes{'a', 'b', 'c'}));
    EXPECT_EQ(segment.tell(), 3u);
}

// Round trips

namespace {

struct RoundTrip {
    int level;
    std::size_t size;
    unsigned long block_size;
};
void PrintTo(RoundTrip const& r, std::ostream* os) {
    *os << "level " << r.level << " size " << r.size << " block " << r.block_size;
}

std::string round_trip_name(::testing::TestParamInfo<RoundTrip> const& info) {
    return "Level" + std::to_string(info.param.level) + "Size" + std::to_string(info.param.size) + "Block" +
           std::to_string(info.param.block_size);
}

class ZippedSegmentRoundTrip : public ::testing::TestWithParam<RoundTrip> {
protected:
    void check(Section& section, Bytes const& data, boost::asio::thread_pool& pool) {
        auto const [level, size, block_size] = GetParam();
        if (level > 0) {
            EXPECT_EQ(plain_uncompress(section.compressed(), size), data);
            EXPECT_EQ(section.flush_positions.size(), block_size ? size / block_size : 0);
        }
        for (unsigned long const readers : {1ul, 2ul, 4ul, 7ul})
            EXPECT_TRUE(read_whole(section, Vexa::testing::pooled_execution(readers, pool)) == data)
                << readers;
        // A list without an entry for a full last block is read too.
        if (level > 0 && block_size && size && size % block_size == 0) {
            section.flush_positions.pop_back();
            for (unsigned long const readers : {1ul, 2ul, 4ul})
                EXPECT_TRUE(read_whole(section, Vexa::testing::inline_execution(readers)) == data) << readers;
        }
    }
};

} // namespace

TEST_P(ZippedSegmentRoundTrip, OfAnyNumberOfStreamsReadsBackWithAnyOther) {
    auto const [level, size, block_size] = GetParam();
    boost::asio::thread_pool pool(3);
    Bytes const data = samples(size);
    std::mt19937 engine(static_cast<unsigned>(size));
    for (unsigned long const writers : {1ul, 2ul, 4ul, 7ul}) {
        for (int const cuts : {0, 1, 17}) {
            Writing how{level, block_size, Vexa::testing::pooled_execution(writers, pool), {}};
            for (int i = 0; i < cuts; ++i) how.cuts.push_back(engine() % (size + 1));
            std::sort(how.cuts.begin(), how.cuts.end());
            Section section = write_section(data, how);
            check(section, data, pool);
        }
    }
    pool.join();
}

INSTANTIATE_TEST_SUITE_P(
    All, ZippedSegmentRoundTrip,
    ::testing::Values(RoundTrip{0, 0, 0}, RoundTrip{0, 1, 0}, RoundTrip{0, 100'000, 1000},
                      RoundTrip{1, 0, 1000}, RoundTrip{1, 1, 1000}, RoundTrip{1, 999, 1000},
                      RoundTrip{1, 1000, 1000}, RoundTrip{1, 1001, 1000}, RoundTrip{1, 16'000, 1000},
                      RoundTrip{1, 123'456, 10'000}, RoundTrip{1, 123'456, 0}, RoundTrip{2, 50'000, 7000},
                      RoundTrip{3, 50'000, 7000}, RoundTrip{4, 50'000, 7000}, RoundTrip{5, 50'000, 7000},
                      RoundTrip{6, 50'000, 7000}, RoundTrip{7, 50'000, 7000}, RoundTrip{8, 50'000, 7000},
                      RoundTrip{9, 50'000, 7000}, RoundTrip{1, 700'000, 262'144}),
    round_trip_name);

TEST(ZippedSegment, EveryExecutorGivesTheSameSection) {
    Bytes const data = samples(100'000);
    boost::asio::thread_pool pool(2);
    Section expected = write_section(data, {.block_size = 3000});
    for (unsigned long const n : {2ul, 3ul, 8ul})
        for (auto const& threads :
             {Vexa::testing::inline_execution(n), Vexa::testing::deferred_execution(n),
              Vexa::testing::reversed_execution(n), Vexa::testing::pooled_execution(n, pool)}) {
            Section section =
                write_section(data, {.block_size = 3000, .threads = threads, .cuts = {5000, 50'001}});
            EXPECT_EQ(plain_uncompress(section.compressed(), data.size()), data);
            EXPECT_EQ(section.flush_positions.size(), expected.flush_positions.size());
            EXPECT_EQ(read_whole(section, threads), data);
            EXPECT_EQ(read_whole(expected, threads), data);
        }
    pool.join();
}

TEST(ZippedSegment, ZeroThreadsCountAsOne) {
    Bytes const data = samples(10'000);
    Section section = write_section(data, {.block_size = 1000, .threads = {0, nullptr}});
    EXPECT_EQ(plain_uncompress(section.compressed(), data.size()), data);
    EXPECT_EQ(read_whole(section, {0, nullptr}), data);
}

TEST(ZippedSegment, WithoutFlushBlocksNothingIsHandedOut) {
    Bytes const data = samples(10'000);
    Section section = write_section(data, {.threads = {4, nullptr}});
    EXPECT_EQ(read_whole(section, {4, nullptr}), data);
}

TEST(ZippedSegment, PiecesSmallerThanABlockStayInOneStream) {
    Bytes const data = samples(10'000);
    std::vector<std::size_t> cuts;
    for (std::size_t cut = 333; cut < data.size(); cut += 333) cuts.push_back(cut);
    Section section = write_section(
        data, {.block_size = 1000, .threads = Vexa::testing::reversed_execution(4), .cuts = cuts});
    EXPECT_EQ(section.flush_positions.size(), 10u);
    EXPECT_EQ(plain_uncompress(section.compressed(), data.size()), data);
    EXPECT_EQ(read_whole(section, Vexa::testing::inline_execution(1)), data);
    EXPECT_EQ(read_whole(section, Vexa::testing::inline_execution(4)), data);
}

TEST(ZippedSegment, ReadsInPiecesOfEverySizeGiveTheSameBytes) {
    Bytes const data = samples(10'500);
    Section section = write_section(data, {.block_size = 1000});
    for (unsigned long const threads : {1ul, 3ul})
        for (std::size_t const piece : {1u, 7u, 500u, 999u, 1000u, 1001u, 2500u, 10'499u}) {
            section.file.threading = Vexa::testing::reversed_execution(threads);
            ZippedSegment segment;
            section.open(segment, section.file);
            Bytes all;
            while (all.size() < data.size()) {
                Bytes const next = read(segment, std::min(piece, data.size() - all.size()));
                all.insert(all.end(), next.begin(), next.end());
                EXPECT_EQ(segment.tell(), all.size());
            }
            EXPECT_TRUE(all == data) << threads << " " << piece;
        }
}

TEST(ZippedSegment, RandomSeeksAndReadsGiveTheSameBytes) {
    Bytes const data = samples(30'000);
    std::mt19937 engine(3);
    for (unsigned long const block_size : {0ul, 1000ul, 50'000ul})
        for (unsigned long const threads : {1ul, 2ul, 5ul}) {
            Section section = write_section(data, {.block_size = block_size});
            section.file.threading = Vexa::testing::deferred_execution(threads);
            ZippedSegment segment;
            section.open(segment, section.file);
            for (int i = 0; i < 200; ++i) {
                std::size_t const from = engine() % data.size();
                std::size_t const n = engine() % std::min<std::size_t>(data.size() - from + 1, 5000);
                EXPECT_EQ(segment.seek(from), from);
                ASSERT_TRUE(read(segment, n) == part(data, from, n)) << from << " " << n;
                EXPECT_EQ(segment.tell(), from + n);
            }
        }
}

TEST(ZippedSegment, OnAChunkedSegmentItReadsBackAcrossTheGaps) {
    Bytes const data = samples(100'000);
    boost::asio::thread_pool pool(2);
    for (unsigned long const threads : {1ul, 2ul}) {
        MemoryDevice file;
        file.threading = Vexa::testing::pooled_execution(threads, pool);
        Vexa::bf::ChunkedSegment chunks;
        chunks.initialize(file, true, false);
        ZippedSegment segment;
        segment.initialize(chunks, 1);
        segment.set_flush_block_size(5000);
        for (std::size_t from = 0; from < data.size(); from += 12'500) {
            segment.write(data.data() + from, 12'500);
            file.write("gap", 3);
        }
        unsigned long const size = segment.write_end();
        Vexa::bf::ChunkedSegment reader;
        reader.initialize(file, 0ul, chunks.chunk_positions());
        EXPECT_EQ(reader.to_chunk_position(file.bytes.size()), size);
        ZippedSegment back;
        back.initialize(reader, 1, 0, size, data.size());
        back.set_flush_positions(segment.flush_positions(), 5000);
        EXPECT_EQ(read(back, data.size()), data);
        file.writable = false;
        reader.initialize(file, 0ul, chunks.chunk_positions());
        back.initialize(reader, 1, 0, size, data.size());
        back.set_flush_positions(segment.flush_positions(), 5000);
        back.seek(77'777);
        EXPECT_EQ(read(back, 10'000), part(data, 77'777, 10'000));
        back.seek(3);
        EXPECT_EQ(read(back, 10), part(data, 3, 10));
    }
    pool.join();
}

// States

TEST(ZippedSegment, OperationsInTheWrongModeThrow) {
    MemoryDevice file;
    ZippedSegment segment;
    char byte = 0;
    auto const expect_no_reading = [&] {
        VEXA_EXPECT_THROWS(segment.read(&byte, 1), std::runtime_error,
                           "Cannot read from zipped segment: Not in read mode.");
        VEXA_EXPECT_THROWS(segment.seek(0), std::runtime_error, "Cannot seek: Not in read mode.");
        VEXA_EXPECT_THROWS(segment.set_flush_positions({}, 1), std::runtime_error,
                           "Cannot set flush positions: Not in read mode.");
    };
    auto const expect_no_writing = [&] {
        VEXA_EXPECT_THROWS(segment.write(&byte, 1), std::runtime_error,
                           "Cannot write to zipped segment: Not in write mode.");
        VEXA_EXPECT_THROWS(segment.write_end(), std::runtime_error,
                           "Cannot write to zipped segment: Not in write mode.");
        VEXA_EXPECT_THROWS(segment.set_flush_block_size(1), std::runtime_error,
                           "Setting flush block size only possible in write mode.");
    };
    expect_no_reading();
    expect_no_writing();
    VEXA_EXPECT_THROWS(segment.set_file_boundary(1), std::runtime_error,
                       "Cannot set file boundary on uninitialized zipped segment.");
    VEXA_EXPECT_THROWS(segment.threading_support(), std::runtime_error, "Zipped segment is not initialized.");
    segment.initialize(file, 1);
    expect_no_reading();
    segment.initialize(file, 1, 0, 0, 0);
    expect_no_writing();
    segment.end();
    EXPECT_FALSE(segment.is_open_for_reading());
    expect_no_reading();
    expect_no_writing();
}

TEST(ZippedSegment, InitializeWithoutAccessThrowsAndEndsWhatWasOpen) {
    MemoryDevice file;
    ZippedSegment segment;
    segment.initialize(file, 1);
    EXPECT_TRUE(segment.is_open_for_writing());
    EXPECT_EQ(&segment.threading_support(), &file.threading);
    file.writable = false;
    VEXA_EXPECT_THROWS(segment.initialize(file, 1), std::runtime_error,
                       "Cannot initialize: No write access to file.");
    EXPECT_FALSE(segment.is_open_for_writing());
    file.readable = false;
    VEXA_EXPECT_THROWS(segment.initialize(file, 1, 0, 0, 0), std::runtime_error,
                       "Cannot initialize: No read access to file.");
}

TEST(ZippedSegment, FlushBlockSizeIsSetBeforeTheFirstByteOnly) {
    for (int const level : {0, 1}) {
        MemoryDevice file;
        ZippedSegment segment;
        segment.initialize(file, level);
        segment.set_flush_block_size(10);
        segment.set_flush_block_size(20);
        EXPECT_EQ(segment.flush_block_size(), 20u);
        segment.write("x", 1);
        VEXA_EXPECT_THROWS(segment.set_flush_block_size(10), std::runtime_error,
                           "Setting flush block size not possible after writing has started.");
    }
}

TEST(ZippedSegment, EndForgetsFlushPositionsAndBlockSize) {
    MemoryDevice file;
    ZippedSegment segment;
    segment.initialize(file, 1);
    segment.set_flush_block_size(2);
    segment.write("abcd", 4);
    EXPECT_EQ(segment.flush_positions().size(), 2u);
    segment.end();
    EXPECT_EQ(segment.flush_block_size(), 0u);
    EXPECT_THAT(segment.flush_positions(), IsEmpty());
}

TEST(ZippedSegment, WriteEndTwiceAddsNothing) {
    for (unsigned long const threads : {1ul, 2ul}) {
        MemoryDevice file;
        file.threading = Vexa::testing::inline_execution(threads);
        ZippedSegment segment;
        segment.initialize(file, 1);
        segment.set_flush_block_size(1000);
        Bytes const data = samples(2500);
        segment.write(data.data(), data.size());
        unsigned long const size = segment.write_end();
        EXPECT_EQ(segment.write_end(), size);
        EXPECT_EQ(file.bytes.size(), size);
        VEXA_EXPECT_THROWS(segment.write("x", 1), std::runtime_error,
                           "ZIP deflation failed: Z_STREAM_ERROR.");
    }
}

TEST(ZippedSegment, AnInvalidLevelFailsAtTheFirstWrite) {
    MemoryDevice file;
    ZippedSegment segment;
    segment.initialize(file, 12);
    VEXA_EXPECT_THROWS(segment.write("x", 1), std::runtime_error, "ZIP deflation failed: Z_STREAM_ERROR.");
}

TEST(ZippedSegment, FileBoundaryMustLieAheadOfTheWritePosition) {
    MemoryDevice file{Bytes(10)};
    file.seek(10);
    ZippedSegment segment;
    segment.initialize(file, 0);
    VEXA_EXPECT_THROWS(segment.set_file_boundary(10), std::runtime_error,
                       "Cannot set file boundary before current write position.");
    segment.set_file_boundary(11);
    segment.write("x", 1);
    VEXA_EXPECT_THROWS(segment.set_file_boundary(11), std::runtime_error,
                       "Cannot set file boundary before current write position.");
}

TEST(ZippedSegment, APlainWriteThatWouldPassTheBoundaryWritesNothing) {
    MemoryDevice file;
    ZippedSegment segment;
    segment.initialize(file, 0);
    segment.set_file_boundary(5);
    segment.write("abc", 3);
    VEXA_EXPECT_THROWS(segment.write("def", 3), std::runtime_error,
                       "Trying to write beyond file segment boundary.");
    EXPECT_EQ(file.bytes.size(), 3u);
    EXPECT_EQ(segment.tell(), 3u);
    segment.write("de", 2);
    EXPECT_EQ(file.bytes.size(), 5u);
    VEXA_EXPECT_THROWS(segment.write("f", 1), std::runtime_error,
                       "Trying to write beyond file segment boundary.");
}

TEST(ZippedSegment, ACompressedWriteStaysInsideTheBoundary) {
    for (unsigned long const threads : {1ul, 3ul}) {
        MemoryDevice file;
        file.threading = Vexa::testing::inline_execution(threads);
        ZippedSegment segment;
        segment.initialize(file, 1);
        segment.set_flush_block_size(1000);
        segment.set_file_boundary(3000);
        Bytes const data = samples(100'000);
        VEXA_EXPECT_THROWS(segment.write(data.data(), data.size()), std::runtime_error,
                           "Trying to write beyond file segment boundary.");
        EXPECT_LE(file.bytes.size(), 3000u);
        EXPECT_GT(file.bytes.size(), 2000u);
    }
}

TEST(ZippedSegment, AWriteOf4GiBThrowsWhenCompressedOnly) {
    struct Sink final : Vexa::bf::DiskFileAccess {
        bool is_open_for_reading() const override { return true; }
        bool is_open_for_writing() const override { return true; }
        unsigned long tell() const override { return 0; }
        unsigned long seek(unsigned long pos) override { return pos; }
        void read(void*, unsigned long) override {}
        void write(void const*, unsigned long n) override { written += n; }
        void flush_file_buffers() override {}
        ThreadingSupport const& threading_support() const override { return threads; }
        unsigned long written = 0;
        ThreadingSupport threads;
    } sink;
    char const byte = 0; // never looked at
    ZippedSegment segment;
    segment.initialize(sink, 1);
    VEXA_EXPECT_THROWS(segment.write(&byte, 1ul << 32), std::runtime_error,
                       "Stack compression cannot handle chunks larger than 4GB.");
    EXPECT_EQ(segment.tell(), 0u);
    segment.initialize(sink, 0);
    segment.write(&byte, 1ul << 32);
    EXPECT_EQ(sink.written, 1ul << 32);
    EXPECT_EQ(segment.tell(), 1ul << 32);
}

TEST(ZippedSegment, DataThatDoesNotShrinkFitsOneStreamOnly) {
    Bytes const data = noise(10'000);
    Section section = write_section(data, {.block_size = 1000});
    EXPECT_EQ(plain_uncompress(section.compressed(), data.size()), data);
    // Blocks longer than the data they hold are read by several streams too.
    EXPECT_EQ(read_whole(section, Vexa::testing::inline_execution(3)), data);

    boost::asio::thread_pool pool(2);
    for (auto const& threads :
         {Vexa::testing::inline_execution(2), Vexa::testing::pooled_execution(2, pool)}) {
        MemoryDevice file;
        file.threading = threads;
        ZippedSegment segment;
        segment.initialize(file, 1);
        segment.set_flush_block_size(1000);
        VEXA_EXPECT_THROWS(segment.write(data.data(), data.size()), std::runtime_error,
                           "ZIP buffer unexpectedly too small.");
    }
    pool.join();
}

TEST(ZippedSegment, AnEndThatDoesNotFitTheBlockSizeThrows) {
    MemoryDevice file;
    file.threading = Vexa::testing::inline_execution(2);
    ZippedSegment segment;
    segment.initialize(file, 1);
    segment.set_flush_block_size(3);
    VEXA_EXPECT_THROWS(segment.write_end(), std::runtime_error, "ZIP buffer unexpectedly too small.");
}

TEST(ZippedSegment, ABlockSizeBeyondAllDataTakesNoMemory) {
    Bytes const data = noise(9'000'000); // more output than the buffers hold at first
    Section section =
        write_section(data, {.block_size = 1ul << 60, .threads = Vexa::testing::inline_execution(3)});
    EXPECT_THAT(section.flush_positions, IsEmpty());
    EXPECT_TRUE(plain_uncompress(section.compressed(), data.size()) == data);
    EXPECT_TRUE(read_whole(section, Vexa::testing::inline_execution(3)) == data);
}

TEST(ZippedSegment, SeveralStreamsWithoutAnExecutorThrowAndTakeNothing) {
    Bytes const data = samples(3000);
    MemoryDevice file;
    file.threading.number_of_threads = 2;
    ZippedSegment segment;
    segment.initialize(file, 1);
    segment.set_flush_block_size(1000);
    VEXA_EXPECT_THROWS(segment.write(data.data(), data.size()), std::bad_function_call,
                       std::bad_function_call().what());
    EXPECT_EQ(segment.tell(), 0u);
    file.threading = Vexa::testing::inline_execution(2);
    segment.write(data.data(), data.size());
    segment.write_end();
    EXPECT_EQ(plain_uncompress(file.bytes, data.size()), data);

    Section section = write_section(data, {.block_size = 1000});
    VEXA_EXPECT_THROWS(read_whole(section, {2, nullptr}), std::bad_function_call,
                       std::bad_function_call().what());
}

// Seeking

TEST(ZippedSegment, SeekToTheSizeOrBehindItThrows) {
    Bytes const data = samples(3000);
    for (int const level : {0, 1}) {
        Section section = write_section(data, {.level = level, .block_size = 1000});
        ZippedSegment segment;
        section.open(segment, section.file);
        for (unsigned long const pos : {3000ul, 3001ul, all_ones - 1, all_ones})
            VEXA_EXPECT_THROWS(segment.seek(pos), std::runtime_error, "Invalid position in segment.");
        EXPECT_EQ(read(segment, 3000), data);
        VEXA_EXPECT_THROWS(segment.seek(3000), std::runtime_error, "Invalid position in segment.");
        EXPECT_EQ(segment.seek(0), 0u);
        EXPECT_EQ(read(segment, 3000), data);
    }
}

TEST(ZippedSegment, APlainSeekOfAnUnknownSizeCannotWrapAround) {
    MemoryDevice file{Bytes(100)};
    ZippedSegment segment;
    segment.initialize(file, 0, start, all_ones, all_ones);
    VEXA_EXPECT_THROWS(segment.seek(all_ones - 1), std::runtime_error, "Invalid position in segment.");
}

TEST(ZippedSegment, ARandomReadFetchesFromTheNearestFlushPointOnly) {
    Bytes const data = samples(200'000);
    Section section = write_section(data, {.block_size = 10'000});
    for (unsigned long const threads : {1ul, 2ul}) {
        section.file.threading = Vexa::testing::inline_execution(threads);
        CountingDevice counter(section.file);
        ZippedSegment segment;
        section.open(segment, counter);
        auto const& flush = section.flush_positions;
        segment.seek(120'000);
        read(segment, 20'000);
        EXPECT_EQ(counter.bytes_read, flush[13] - flush[11]);
        counter.reset();
        segment.seek(55'000); // backwards, into the middle of a block
        read(segment, 1000);
        EXPECT_EQ(counter.bytes_read, flush[5] - flush[4]);
        counter.reset();
        segment.seek(58'000); // forward in the same block
        read(segment, 2000);
        EXPECT_EQ(counter.bytes_read, 0u);
        segment.seek(60'000); // where we are
        read(segment, 10'000);
        EXPECT_EQ(counter.bytes_read, flush[6] - flush[5]);
        counter.reset();
        segment.seek(0);
        read(segment, 1);
        EXPECT_EQ(counter.bytes_read, flush[0]);
    }
}

TEST(ZippedSegment, WithoutFlushPointsASeekInflatesFromWhereItIs) {
    Bytes const data = samples(200'000);
    Section section = write_section(data, {});
    CountingDevice counter(section.file);
    ZippedSegment segment;
    section.open(segment, counter);
    segment.seek(150'000);
    EXPECT_EQ(read(segment, 100), part(data, 150'000, 100));
    EXPECT_EQ(counter.bytes_read, section.segment_size);
    segment.seek(160'000);
    EXPECT_EQ(read(segment, 100), part(data, 160'000, 100));
    EXPECT_EQ(counter.bytes_read, section.segment_size);
    segment.seek(100);
    EXPECT_EQ(read(segment, 100), part(data, 100, 100));
    EXPECT_EQ(counter.bytes_read, 2 * section.segment_size);
}

TEST(ZippedSegment, ReadBeyondTheSizeThrowsAndStays) {
    Bytes const data = samples(3000);
    for (int const level : {0, 1}) {
        Section section = write_section(data, {.level = level});
        ZippedSegment segment;
        section.open(segment, section.file);
        segment.seek(2999);
        Bytes out(10);
        for (unsigned long const n : {2ul, all_ones, all_ones - 2998})
            VEXA_EXPECT_THROWS(segment.read(out.data(), n), std::runtime_error,
                               "Trying to read beyond segment boundary.");
        EXPECT_EQ(read(segment, 1), part(data, 2999, 1));
        EXPECT_EQ(read(segment, 0), Bytes());
    }
}

TEST(ZippedSegment, APlainReadStaysInsideTheSection) {
    MemoryDevice file{Bytes(100)};
    ZippedSegment segment;
    segment.initialize(file, 0, start, 10, 1000);
    segment.seek(5);
    VEXA_EXPECT_THROWS(read(segment, 6), std::runtime_error, "Trying to read beyond segment boundary.");
    EXPECT_EQ(read(segment, 5).size(), 5u);
    segment.seek(500);
    VEXA_EXPECT_THROWS(read(segment, 1), std::runtime_error, "Trying to read beyond segment boundary.");
}

// Faults

namespace {

struct Fault {
    char const* name;
    ThreadingSupport (*threads)(boost::asio::thread_pool&, unsigned long at);
    char const* text;
};
void PrintTo(Fault const& fault, std::ostream* os) { *os << fault.name; }

Fault const faults[] = {
    {"InlineWorker",
     [](boost::asio::thread_pool&, unsigned long at) {
         return Vexa::testing::failing_execution(Vexa::testing::inline_execution(3), at);
     },
     "worker failure"},
    {"PooledWorker",
     [](boost::asio::thread_pool& pool, unsigned long at) {
         return Vexa::testing::failing_execution(Vexa::testing::pooled_execution(3, pool), at);
     },
     "worker failure"},
    {"ReversedWorker",
     [](boost::asio::thread_pool&, unsigned long at) {
         return Vexa::testing::failing_execution(Vexa::testing::reversed_execution(3), at);
     },
     "worker failure"},
    {"PooledExecute",
     [](boost::asio::thread_pool& pool, unsigned long at) {
         return Vexa::testing::throwing_execution(Vexa::testing::pooled_execution(3, pool), at);
     },
     "no thread"},
    {"DeferredExecute",
     [](boost::asio::thread_pool&, unsigned long at) {
         return Vexa::testing::throwing_execution(Vexa::testing::deferred_execution(3), at);
     },
     "no thread"},
};

class ZippedSegmentFault : public ::testing::TestWithParam<Fault> {};

} // namespace

TEST_P(ZippedSegmentFault, LeavesWriteWithItsException) {
    boost::asio::thread_pool pool(2);
    for (unsigned long at = 0; at < 10; ++at) {
        auto data = std::make_unique<Bytes>(samples(10'000));
        MemoryDevice file;
        file.threading = GetParam().threads(pool, at);
        auto segment = std::make_unique<ZippedSegment>();
        segment->initialize(file, 1);
        segment->set_flush_block_size(1000);
        VEXA_EXPECT_THROWS(segment->write(data->data(), data->size()), std::runtime_error, GetParam().text);
        // Whoever still worked would now touch freed memory.
        data.reset();
        segment.reset();
    }
    pool.join();
}

TEST_P(ZippedSegmentFault, LeavesReadWithItsExceptionAndTheNextReadStartsAfresh) {
    boost::asio::thread_pool pool(2);
    Bytes const data = samples(10'000);
    Section section = write_section(data, {.block_size = 1000});
    for (unsigned long at = 0; at < 10; ++at) {
        section.file.threading = GetParam().threads(pool, at);
        ZippedSegment segment;
        section.open(segment, section.file);
        auto out = std::make_unique<Bytes>(data.size());
        VEXA_EXPECT_THROWS(segment.read(out->data(), out->size()), std::runtime_error, GetParam().text);
        out.reset();
        EXPECT_EQ(segment.tell(), 0u);
        section.file.threading = Vexa::testing::inline_execution(3);
        EXPECT_EQ(read(segment, 2500), part(data, 0, 2500));
        EXPECT_EQ(read(segment, 7500), part(data, 2500, 7500));
    }
    pool.join();
}

INSTANTIATE_TEST_SUITE_P(All, ZippedSegmentFault, ::testing::ValuesIn(faults),
                         [](auto const& case_info) { return case_info.param.name; });

TEST(ZippedSegment, AnExecutorThatKeepsWhatItRefusedCannotRunItLater) {
    std::vector<Vexa::testing::Work> kept;
    ThreadingSupport const keeping{2, [&kept](Vexa::testing::Work work) -> std::future<void> {
                                       kept.push_back(std::move(work));
                                       throw std::runtime_error("no thread");
                                   }};
    Bytes const data = samples(5000);
    Section section = write_section(data, {.block_size = 1000});
    VEXA_EXPECT_THROWS(read_whole(section, keeping), std::runtime_error, "no thread");
    {
        MemoryDevice file;
        file.threading = keeping;
        ZippedSegment segment;
        segment.initialize(file, 1);
        segment.set_flush_block_size(1000);
        VEXA_EXPECT_THROWS(segment.write(data.data(), data.size()), std::runtime_error, "no thread");
    }
    EXPECT_EQ(kept.size(), 2u);
    for (auto& work : kept) work();
}

TEST(ZippedSegment, AnExecutorThatDoesNotRunWhatItTookIsNoticed) {
    std::vector<Vexa::testing::Work> kept;
    auto const ready = [] {
        std::promise<void> promise;
        promise.set_value();
        return promise.get_future();
    };
    Bytes const data = samples(5000);
    Section section = write_section(data, {.block_size = 1000});
    ThreadingSupport const keeping{2, [&](Vexa::testing::Work work) {
                                       kept.push_back(std::move(work));
                                       return ready();
                                   }};
    VEXA_EXPECT_THROWS(read_whole(section, keeping), std::runtime_error, "Work item was not executed.");
    ThreadingSupport const silent{2, [](Vexa::testing::Work) { return std::future<void>(); }};
    VEXA_EXPECT_THROWS(read_whole(section, silent), std::runtime_error, "Work item was not executed.");
    for (auto& work : kept) work();
}

TEST(ZippedSegment, AnExecutorThatSwallowsExceptionsHidesNone) {
    ThreadingSupport const swallowing{2, [](Vexa::testing::Work work) {
                                          std::promise<void> promise;
                                          try {
                                              work();
                                          } catch (...) {
                                          }
                                          promise.set_value();
                                          return promise.get_future();
                                      }};
    MemoryDevice file;
    file.threading = swallowing;
    ZippedSegment segment;
    segment.initialize(file, 1);
    segment.set_flush_block_size(1000);
    Bytes const data = noise(5000);
    VEXA_EXPECT_THROWS(segment.write(data.data(), data.size()), std::runtime_error,
                       "ZIP buffer unexpectedly too small.");
}

TEST(ZippedSegment, AnExecutorThatRunsEverythingTwiceDoesNoHarm) {
    ThreadingSupport const twice{3, [](Vexa::testing::Work work) {
                                     work();
                                     return std::async(std::launch::deferred, work);
                                 }};
    Bytes const data = samples(10'000);
    Section section = write_section(data, {.block_size = 1000, .threads = twice});
    EXPECT_EQ(plain_uncompress(section.compressed(), data.size()), data);
    EXPECT_EQ(read_whole(section, twice), data);
}

TEST(ZippedSegment, NoMoreItemsAreOutThanThereAreStreams) {
    Bytes const data = samples(50'000);
    for (unsigned long const n : {2ul, 3ul, 5ul}) {
        unsigned long out = 0;
        unsigned long most = 0;
        ThreadingSupport const counting{n, [&](Vexa::testing::Work work) {
                                            most = std::max(most, ++out);
                                            return std::async(std::launch::deferred,
                                                              [&out, work = std::move(work)] {
                                                                  work();
                                                                  --out;
                                                              });
                                        }};
        Section section = write_section(data, {.block_size = 1000, .threads = counting});
        EXPECT_EQ(most, n);
        most = 0;
        EXPECT_EQ(read_whole(section, counting), data);
        EXPECT_EQ(most, n);
        EXPECT_EQ(out, 0u);
    }
}

TEST(ZippedSegment, AFailureOfTheDeviceWhileWritingPassesThroughAtEveryCall) {
    Bytes const data = samples(10'000);
    boost::asio::thread_pool pool(2);
    for (unsigned long const threads : {1ul, 3ul})
        for (unsigned long calls = 0; calls < 10; ++calls) {
            MemoryDevice file;
            file.threading = Vexa::testing::pooled_execution(threads, pool);
            FailingDevice failing(file);
            failing.write_calls = calls;
            ZippedSegment segment;
            segment.initialize(failing, 1);
            segment.set_flush_block_size(1000);
            VEXA_EXPECT_THROWS(segment.write(data.data(), data.size()), std::runtime_error, "device failure");
            EXPECT_EQ(segment.flush_positions().size(), calls);
        }
    pool.join();
}

TEST(ZippedSegment, AfterAFailureOfTheDeviceTheNextReadStartsAfresh) {
    Bytes const data = samples(10'000);
    boost::asio::thread_pool pool(2);
    for (unsigned long const block_size : {0ul, 1000ul}) {
        Section section = write_section(data, {.block_size = block_size});
        for (unsigned long const threads : {1ul, 3ul}) {
            section.file.threading = Vexa::testing::pooled_execution(threads, pool);
            FailingDevice failing(section.file);
            ZippedSegment segment;
            section.open(segment, failing);
            if (block_size) {
                EXPECT_EQ(read(segment, 2500), part(data, 0, 2500));
            }
            failing.read_calls = threads == 1 ? 0 : 2;
            if (!block_size) failing.read_calls = 0;
            VEXA_EXPECT_THROWS(read(segment, 7500), std::runtime_error, "device failure");
            failing.read_calls = FailingDevice::unlimited;
            unsigned long const pos = segment.tell();
            EXPECT_EQ(pos, block_size ? 2500u : 0u);
            EXPECT_EQ(read(segment, 7500), part(data, pos, 7500));
        }
    }
    pool.join();
}

// Damage

namespace {

/// Read everything in pieces, sequentially and at random: right bytes or an exception, nothing else.
/// \return whether an exception came
bool read_all_of(Section& section, Bytes const& data, unsigned long threads, std::size_t piece) {
    section.file.threading = Vexa::testing::inline_execution(threads);
    try {
        ZippedSegment segment;
        section.open(segment, section.file);
        for (std::size_t from = 0; from < data.size(); from += piece)
            read(segment, std::min(piece, data.size() - from));
        for (std::size_t from = data.size(); from > piece; from -= piece) {
            segment.seek(from - piece);
            read(segment, piece);
        }
    } catch (std::runtime_error const&) {
        return true;
    }
    return false;
}

} // namespace

TEST(ZippedSegmentDamage, InTheDataNeverPassesUnnoticed) {
    Warnings warnings;
    Bytes const data = samples(20'000);
    Section const good = write_section(data, {.block_size = 1000});
    std::mt19937 engine(11);
    for (int i = 0; i < 300; ++i) {
        Section section = good;
        std::size_t const at = start + engine() % good.segment_size;
        section.file.bytes[at] = static_cast<unsigned char>(section.file.bytes[at] ^ (1u << engine() % 8));
        section.file.threading = {};
        ZippedSegment segment;
        section.open(segment, section.file);
        warnings.texts.clear();
        bool const noticed_or_harmless = [&] {
            try {
                return read(segment, data.size()) == data || !warnings.texts.empty();
            } catch (std::runtime_error const&) {
                return true;
            }
        }();
        EXPECT_TRUE(noticed_or_harmless) << at;
        for (unsigned long const threads : {1ul, 3ul})
            for (std::size_t const piece : {777u, 5000u}) read_all_of(section, data, threads, piece);
    }
}

TEST(ZippedSegmentDamage, OfTheChecksumIsFoundByAWholeRead) {
    Bytes const data = samples(20'000);
    Section section = write_section(data, {.block_size = 1000});
    section.file.bytes.back() ^= 1;
    VEXA_EXPECT_THROWS(read_whole(section, {}), std::runtime_error, "ZIP inflation failed: Z_DATA_ERROR.");
}

TEST(ZippedSegmentDamage, OfTheHeaderNamesTheCode) {
    Section section = write_section(samples(3000), {.block_size = 1000});
    section.file.bytes[start] = 0xff;
    for (unsigned long const threads : {1ul, 2ul})
        VEXA_EXPECT_THROWS(read_whole(section, Vexa::testing::inline_execution(threads)), std::runtime_error,
                           "ZIP inflation failed: Z_DATA_ERROR.");
}

TEST(ZippedSegmentDamage, ThatPutsTheEndOfTheStreamIntoTheMiddleIsAnInconsistency) {
    Bytes const data = samples(3000);
    Section section = write_section(part(data, 0, 1000), {});
    section.segment_size += 10;
    section.file.bytes.resize(section.file.bytes.size() + 10);
    section.uncompressed_size = 2000;
    VEXA_EXPECT_THROWS(read_whole(section, {}), std::runtime_error, "Inconsistency in segment.");
    section.uncompressed_size = 1000;
    VEXA_EXPECT_THROWS(read_whole(section, {}), std::runtime_error, "Inconsistency in segment.");
}

TEST(ZippedSegmentDamage, ATruncatedSectionThrowsWhereItsDataEnd) {
    Warnings warnings;
    Bytes const data = samples(20'000);
    for (unsigned long const block_size : {0ul, 1000ul}) {
        Section const good = write_section(data, {.block_size = block_size});
        for (unsigned long cut = 20; cut < good.segment_size; cut += 97)
            for (unsigned long const threads : {1ul, 3ul}) {
                Section section = good;
                section.segment_size -= cut;
                section.file.threading = Vexa::testing::inline_execution(threads);
                while (!section.flush_positions.empty() &&
                       section.flush_positions.back() > section.segment_size)
                    section.flush_positions.pop_back();
                EXPECT_THROW(read_whole(section, Vexa::testing::inline_execution(threads)),
                             std::runtime_error)
                    << cut << " " << threads;
            }
    }
    EXPECT_THAT(warnings.texts, IsEmpty());
}

TEST(ZippedSegmentDamage, AMissingTrailerIsAWarning) {
    Bytes const data = samples(20'000);
    Section section = write_section(data, {});
    section.segment_size -= 4;
    Warnings warnings;
    EXPECT_EQ(read_whole(section, {}), data);
    EXPECT_THAT(warnings.texts, ElementsAre("Inconsistency in segment."));
}

TEST(ZippedSegmentDamage, AMissingTrailerBehindFlushBlocksIsAWarning) {
    Bytes const data = samples(20'000);
    for (unsigned long const threads : {1ul, 2ul}) {
        Section section = write_section(data, {.block_size = 3000});
        section.segment_size -= threads == 1 ? 4 : 5;
        Warnings warnings;
        section.file.threading = Vexa::testing::deferred_execution(threads);
        EXPECT_EQ(read_whole(section, Vexa::testing::deferred_execution(threads)), data);
        EXPECT_LE(warnings.texts.size(), 1u);
    }
}

TEST(ZippedSegmentDamage, MoreDataThanPromisedAreLeftAloneWithAWarning) {
    Bytes const data = samples(20'000);
    for (unsigned long const block_size : {0ul, 1000ul})
        for (unsigned long const threads : {1ul, 3ul}) {
            Section section = write_section(data, {.block_size = block_size});
            section.uncompressed_size = 12'345;
            Warnings warnings;
            EXPECT_EQ(read_whole(section, Vexa::testing::inline_execution(threads)), part(data, 0, 12'345));
            if (threads == 1 || block_size == 0) {
                EXPECT_THAT(warnings.texts, ElementsAre("Inconsistency in segment."));
            }
        }
}

TEST(ZippedSegmentDamage, LessDataThanPromisedThrows) {
    Bytes const data = samples(20'000);
    for (unsigned long const block_size : {0ul, 1000ul, 1500ul})
        for (unsigned long const threads : {1ul, 3ul}) {
            Section section = write_section(data, {.block_size = block_size});
            section.uncompressed_size = 20'001;
            VEXA_EXPECT_THROWS(read_whole(section, Vexa::testing::inline_execution(threads)),
                               std::runtime_error, "Inconsistency in segment.");
            ZippedSegment segment;
            section.open(segment, section.file);
            EXPECT_EQ(read(segment, 20'000), data);
        }
}

TEST(ZippedSegmentDamage, FlushPositionsOutOfOrderOrOutsideAreRefused) {
    Section const good = write_section(samples(5000), {.block_size = 1000});
    std::vector<std::vector<unsigned long>> const lists{
        {0}, {10, 10}, {20, 10}, {10, good.segment_size + 1}, {all_ones}};
    for (auto const& list : lists) {
        Section section = good;
        ZippedSegment segment;
        segment.initialize(section.file, 1, start, section.segment_size, 5000);
        VEXA_EXPECT_THROWS(segment.set_flush_positions(list, 1000), std::runtime_error,
                           "Invalid flush positions.");
        EXPECT_FALSE(segment.is_open_for_reading());
    }
}

TEST(ZippedSegmentDamage, AWrongFlushPositionMakesAThreadedReadThrow) {
    Bytes const data = samples(20'000);
    Section const good = write_section(data, {.block_size = 1000});
    for (std::size_t i = 0; i + 1 < good.flush_positions.size(); ++i)
        for (long const shift : {-1l, 1l, -20l, 20l}) {
            Section section = good;
            section.flush_positions[i] += static_cast<unsigned long>(shift);
            if (section.flush_positions[i] > section.segment_size) continue;
            EXPECT_THROW(read_whole(section, Vexa::testing::inline_execution(3)), std::runtime_error)
                << i << " " << shift;
            EXPECT_EQ(read_whole(section, {}), data); // one stream reads on and does not need them
        }
}

TEST(ZippedSegmentDamage, AFlushPositionBehindTheMarkerNamesTheThreadedRead) {
    // A stored block of nothing behind block 0, which the position leaves inside of it.
    Bytes const data = samples(3000);
    Section section = write_section(data, {.block_size = 1000});
    section.flush_positions[0] -= 1; // the marker's last byte is missing
    EXPECT_THROW(read_whole(section, Vexa::testing::inline_execution(2)), std::runtime_error);
    section.flush_positions = {section.flush_positions[1], section.segment_size - 6};
    section.uncompressed_size = 2000;
    VEXA_EXPECT_THROWS(read_whole(section, Vexa::testing::inline_execution(2)), std::runtime_error,
                       "Error in multi-threaded decompression.");
}

TEST(ZippedSegmentDamage, FewerFlushPositionsThanBlocksAreReadTillTheEnd) {
    Bytes const data = samples(20'000);
    Section const good = write_section(data, {.block_size = 1000});
    for (std::size_t const count : {0u, 1u, 7u, 18u, 19u})
        for (unsigned long const threads : {1ul, 3ul}) {
            Section section = good;
            section.flush_positions.resize(count);
            EXPECT_EQ(read_whole(section, Vexa::testing::inline_execution(threads)), data) << count;
            ZippedSegment segment;
            section.open(segment, section.file);
            segment.seek(19'500);
            EXPECT_EQ(read(segment, 100), part(data, 19'500, 100));
        }
}

TEST(ZippedSegmentDamage, OfTheBlockSizeIsAnExceptionForSeveralStreams) {
    Bytes const data = samples(20'000);
    for (unsigned long const block_size : {1ul, 999ul, 1001ul, 1ul << 60, all_ones}) {
        Section section = write_section(data, {.block_size = 1000});
        section.block_size = block_size;
        if (block_size <= data.size()) {
            EXPECT_THROW(read_whole(section, Vexa::testing::inline_execution(3)), std::runtime_error);
        }
        EXPECT_EQ(read_whole(section, {}), data);
    }
}

TEST(ZippedSegmentDamage, SizesNearTheMaximumTakeNoMemoryAndDoNotWrap) {
    Bytes const data = samples(3000);
    for (unsigned long const size : {all_ones, all_ones - 1, all_ones - start})
        for (unsigned long const threads : {1ul, 2ul}) {
            Section section = write_section(data, {.block_size = 1000});
            section.segment_size = size;
            section.flush_positions = {1ul << 40, 1ul << 62};
            section.uncompressed_size = size;
            section.file.threading = Vexa::testing::inline_execution(threads);
            ZippedSegment segment;
            section.open(segment, section.file);
            VEXA_EXPECT_THROWS(read(segment, 3000), std::runtime_error, "end of memory");
        }
}

TEST(ZippedSegmentDamage, BlocksLongerThanABufferAreReadInParts) {
    // Stored deflate blocks of nothing blow the first flush block up beyond any buffer.
    Bytes const data = samples(2000);
    Section section = write_section(data, {.block_size = 1000});
    Bytes filler;
    for (int i = 0; i < 2'000'000; ++i) filler.insert(filler.end(), {0x00, 0x00, 0x00, 0xff, 0xff});
    auto& bytes = section.file.bytes;
    bytes.insert(bytes.begin() + static_cast<long>(start + section.flush_positions[0]), filler.begin(),
                 filler.end());
    for (auto& position : section.flush_positions) position += filler.size();
    section.segment_size += filler.size();
    EXPECT_EQ(plain_uncompress(section.compressed(), 2000), data);
    for (unsigned long const threads : {1ul, 2ul, 3ul})
        EXPECT_EQ(read_whole(section, Vexa::testing::inline_execution(threads)), data);
    // The same filler in front of the data.
    section = write_section(data, {.block_size = 1000});
    auto& again = section.file.bytes;
    again.insert(again.begin() + start + 2, filler.begin(), filler.end());
    for (auto& position : section.flush_positions) position += filler.size();
    section.segment_size += filler.size();
    for (unsigned long const threads : {1ul, 2ul, 3ul})
        EXPECT_EQ(read_whole(section, Vexa::testing::inline_execution(threads)), data);
}
