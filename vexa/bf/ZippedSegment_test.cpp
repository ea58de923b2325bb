#include <vexa/bf/ZippedSegment.h>

#include <algorithm>
#include <functional>
#include <future>
#include <initializer_list>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <vexa/bf/ChunkedSegment.h>
#include <vexa/testing/counting_device.h>
#include <vexa/testing/executors.h>
#include <vexa/testing/expect_throws.h>
#include <vexa/testing/memory_device.h>
#include <vexa/testing/zipped_section.h>

using namespace Vexa::testing::zipped;
using ::testing::IsEmpty;
using Vexa::testing::CountingDevice;
using Vexa::testing::MemoryDevice;

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

TEST(ZippedSegment, FlushPositionsSetBetweenReadsTakeEffectAtOnce) {
    Bytes const data = samples(20'000);
    Section section = write_section(data, {.block_size = 1000});
    for (unsigned long const threads : {1ul, 3ul}) {
        section.file.threading = Vexa::testing::inline_execution(threads);
        ZippedSegment segment;
        segment.initialize(section.file, 1, start, section.segment_size, data.size());
        EXPECT_EQ(read(segment, 1500), part(data, 0, 1500));
        segment.set_flush_positions(section.flush_positions, 1000);
        EXPECT_EQ(read(segment, 3200), part(data, 1500, 3200));
        segment.set_flush_positions({section.flush_positions[4], section.flush_positions[9]}, 5000);
        EXPECT_EQ(read(segment, 10'000), part(data, 4700, 10'000));
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
