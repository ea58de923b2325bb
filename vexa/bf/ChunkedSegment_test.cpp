#include <vexa/bf/ChunkedSegment.h>

#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vexa/testing/expect_throws.h>
#include <vexa/testing/failing_device.h>
#include <vexa/testing/memory_device.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using Vexa::bf::ChunkedSegment;
using Vexa::testing::FailingDevice;
using Vexa::testing::MemoryDevice;

namespace {

constexpr unsigned long maximum = ~0ul;

MemoryDevice device_with(std::string const& text) { return MemoryDevice({text.begin(), text.end()}); }

std::string content(MemoryDevice const& device) { return {device.bytes.begin(), device.bytes.end()}; }

std::string read(ChunkedSegment& segment, unsigned long n) {
    std::string s(n, '?');
    segment.read(s.data(), n);
    return s;
}

/// "abc" at 2, "def" at 7, "ghij" at 12, as one section "abcdefghij" from 2 on.
constexpr char three_chunks[] = "..abc..def..ghij";
ChunkedSegment::Chunks const three_chunks_records{{3, 5}, {6, 10}};

} // namespace

TEST(ChunkedSegment, WritesWithoutAGapYieldNoRecords) {
    MemoryDevice file = device_with("..");
    file.seek(2);
    ChunkedSegment segment;
    segment.initialize(file, true, false);
    segment.write("abc", 3);
    segment.write("de", 2);
    EXPECT_EQ(content(file), "..abcde");
    EXPECT_EQ(segment.tell(), 7u);
    EXPECT_THAT(segment.chunk_positions(), IsEmpty());
    EXPECT_EQ(segment.to_chunk_position(7), 7u);
}

TEST(ChunkedSegment, AForeignWriteStartsANewChunk) {
    MemoryDevice file = device_with("..");
    file.seek(2);
    ChunkedSegment segment;
    segment.initialize(file, true, false);
    segment.write("abc", 3);
    file.write("__", 2);
    segment.write("def", 3);
    file.write("__", 2);
    segment.write("ghij", 4);
    EXPECT_EQ(content(file), "..abc__def__ghij");
    EXPECT_THAT(segment.chunk_positions(), ElementsAre(Pair(3, 5), Pair(6, 10)));
    EXPECT_EQ(segment.tell(), 12u);
}

TEST(ChunkedSegment, AGapAtTheVeryStartHasLogicalOffsetZero) {
    MemoryDevice file = device_with("..");
    file.seek(2);
    ChunkedSegment segment;
    segment.initialize(file, true, false);
    file.write("__", 2);
    segment.write("abc", 3);
    EXPECT_THAT(segment.chunk_positions(), ElementsAre(Pair(0, 2)));
    ChunkedSegment reader;
    reader.initialize(file, 2, segment.chunk_positions());
    EXPECT_EQ(read(reader, 3), "abc");
}

TEST(ChunkedSegment, AForeignWriteWithoutChunkWiseThrows) {
    MemoryDevice file;
    ChunkedSegment segment;
    segment.initialize(file, false, false);
    segment.write("abc", 3);
    file.write("__", 2);
    VEXA_EXPECT_THROWS(segment.write("def", 3), std::runtime_error,
                       "File pointer has moved but chunk-wise writing not allowed.");
    EXPECT_EQ(content(file), "abc__");
}

TEST(ChunkedSegment, AFileThatMovedBackwardsThrowsWhateverTheGap) {
    for (unsigned long const back : {2ul, 1ul, 0ul}) {
        MemoryDevice file;
        ChunkedSegment segment;
        segment.initialize(file, true, false);
        segment.write("abc", 3);
        file.seek(back);
        VEXA_EXPECT_THROWS(segment.write("def", 3), std::runtime_error, "File pointer moved backwards.");
        EXPECT_EQ(content(file), "abc");
    }
}

TEST(ChunkedSegment, TwoSectionsThatAlternateReadBackWhole) {
    MemoryDevice file;
    ChunkedSegment a;
    ChunkedSegment b;
    a.initialize(file, true, false);
    a.write("a0", 2);
    unsigned long const b_start = file.tell();
    b.initialize(file, true, false);
    std::string expected_a = "a0";
    std::string expected_b;
    for (int i = 1; i < 9; ++i) {
        std::string const text = std::string(static_cast<std::size_t>(i), static_cast<char>('0' + i));
        b.write(text.data(), text.size());
        a.write(text.data(), text.size());
        expected_a += text;
        expected_b += text;
    }
    EXPECT_EQ(a.chunk_positions().size(), 8u);
    ChunkedSegment reader;
    reader.initialize(file, 0, a.chunk_positions());
    EXPECT_EQ(read(reader, expected_a.size()), expected_a);
    reader.initialize(file, b_start, b.chunk_positions());
    EXPECT_EQ(read(reader, expected_b.size()), expected_b);
    EXPECT_EQ(reader.tell(), b_start + expected_b.size());
}

TEST(ChunkedSegment, EachWriteFlushesUnlessToldNotTo) {
    MemoryDevice file;
    ChunkedSegment segment;
    segment.initialize(file, false, false);
    segment.write("ab", 2);
    segment.write("c", 1);
    segment.write(nullptr, 0);
    EXPECT_EQ(file.flushes, 2u);
    segment.initialize(file, false, true);
    segment.write("d", 1);
    segment.flush_file_buffers();
    EXPECT_EQ(file.flushes, 2u);
}

TEST(ChunkedSegment, ANewChunkStaysRecordedWhenItsWriteFails) {
    MemoryDevice file;
    FailingDevice failing(file);
    ChunkedSegment segment;
    segment.initialize(failing, true, false);
    segment.write("abc", 3);
    file.write("__", 2);
    failing.write_calls = 0;
    VEXA_EXPECT_THROWS(segment.write("def", 3), std::runtime_error, "device failure");
    EXPECT_THAT(segment.chunk_positions(), ElementsAre(Pair(3, 5)));
    EXPECT_EQ(segment.tell(), 3u);
    failing.write_calls = FailingDevice::unlimited;
    segment.write("def", 3);
    EXPECT_THAT(segment.chunk_positions(), ElementsAre(Pair(3, 5)));
    ChunkedSegment reader;
    reader.initialize(file, 0, segment.chunk_positions());
    EXPECT_EQ(read(reader, 6), "abcdef");
}

TEST(ChunkedSegment, AFailedFlushIsReportedAndDoesNotCount) {
    MemoryDevice file;
    FailingDevice failing(file);
    failing.flush_calls = 0;
    ChunkedSegment segment;
    segment.initialize(failing, false, false);
    VEXA_EXPECT_THROWS(segment.write("abc", 3), std::runtime_error, "device failure");
    EXPECT_EQ(segment.tell(), 0u);
}

TEST(ChunkedSegment, ReadAcrossThreeChunksIsInLogicalOrder) {
    MemoryDevice file = device_with(three_chunks);
    ChunkedSegment segment;
    segment.initialize(file, 2, three_chunks_records);
    EXPECT_EQ(read(segment, 10), "abcdefghij");
    EXPECT_EQ(segment.tell(), 12u);
}

TEST(ChunkedSegment, ReadsOfEverySizeFromEveryPositionGiveTheSameBytes) {
    MemoryDevice file = device_with(three_chunks);
    std::string const expected = "abcdefghij";
    ChunkedSegment segment;
    file.writable = false;
    segment.initialize(file, 2, three_chunks_records);
    for (unsigned long from = 0; from < 10; ++from)
        for (unsigned long n = 0; n <= 10 - from; ++n) {
            EXPECT_EQ(segment.seek(2 + from), 2 + from);
            file.seek(1);
            EXPECT_EQ(read(segment, n), expected.substr(from, n)) << from << " " << n;
            EXPECT_EQ(segment.tell(), 2 + from + n);
            EXPECT_EQ(read(segment, 10 - from - n), expected.substr(from + n));
        }
}

TEST(ChunkedSegment, AReadThatEndsAtAChunkMovesOnToIt) {
    MemoryDevice file = device_with(three_chunks);
    ChunkedSegment segment;
    segment.initialize(file, 2, three_chunks_records);
    EXPECT_EQ(read(segment, 3), "abc");
    EXPECT_EQ(segment.tell(), 5u);
    EXPECT_EQ(file.tell(), 7u);
}

TEST(ChunkedSegment, SeekToTheFirstByteOfALaterChunkLandsThere) {
    MemoryDevice file = device_with(three_chunks);
    ChunkedSegment segment;
    segment.initialize(file, 2, three_chunks_records);
    EXPECT_EQ(segment.seek(8), 8u);
    EXPECT_EQ(file.tell(), 12u);
    EXPECT_EQ(segment.seek(7), 7u);
    EXPECT_EQ(file.tell(), 9u);
    EXPECT_EQ(segment.seek(2), 2u);
    EXPECT_EQ(file.tell(), 2u);
}

TEST(ChunkedSegment, SeekOutsideThrows) {
    MemoryDevice file = device_with(three_chunks);
    ChunkedSegment segment;
    segment.initialize(file, 2, three_chunks_records);
    VEXA_EXPECT_THROWS(segment.seek(1), std::runtime_error, "Position out of range in chunked segment.");
    VEXA_EXPECT_THROWS(segment.seek(maximum - 1), std::runtime_error,
                       "Position out of range in chunked segment.");
    EXPECT_EQ(read(segment, 10), "abcdefghij");
}

TEST(ChunkedSegment, SeekOnAWritableFileForgetsLaterChunks) {
    MemoryDevice file = device_with(three_chunks);
    ChunkedSegment segment;
    segment.initialize(file, 2, three_chunks_records);
    segment.seek(6);
    EXPECT_THAT(segment.chunk_positions(), ElementsAre(Pair(3, 5)));
    file.writable = false;
    segment.initialize(file, 2, three_chunks_records);
    segment.seek(6);
    EXPECT_THAT(segment.chunk_positions(), ElementsAre(Pair(3, 5), Pair(6, 10)));
}

TEST(ChunkedSegment, SeekWhileWritingGoesBackOnly) {
    MemoryDevice file;
    ChunkedSegment segment;
    segment.initialize(file, true, false);
    segment.write("abc", 3);
    file.write("__", 2);
    segment.write("def", 3);
    VEXA_EXPECT_THROWS(segment.seek(7), std::runtime_error,
                       "Cannot seek beyond current position in write mode.");
    EXPECT_EQ(segment.seek(6), 6u);
    EXPECT_EQ(segment.seek(1), 1u);
    EXPECT_THAT(segment.chunk_positions(), IsEmpty());
    segment.write("XY", 2);
    EXPECT_EQ(content(file), "aXY__def");
    EXPECT_EQ(segment.tell(), 3u);
}

TEST(ChunkedSegment, FilePositionsMapToLogicalOnes) {
    MemoryDevice file = device_with(three_chunks);
    ChunkedSegment segment;
    VEXA_EXPECT_THROWS(segment.to_chunk_position(0), std::runtime_error, "File position not inside chunk.");
    segment.initialize(file, 2, three_chunks_records);
    VEXA_EXPECT_THROWS(segment.to_chunk_position(1), std::runtime_error, "File position not inside chunk.");
    EXPECT_EQ(segment.to_chunk_position(2), 2u);
    EXPECT_EQ(segment.to_chunk_position(4), 4u);
    EXPECT_EQ(segment.to_chunk_position(6), 6u); // in a gap, counted from the chunk before
    EXPECT_EQ(segment.to_chunk_position(7), 5u);
    EXPECT_EQ(segment.to_chunk_position(12), 8u);
    EXPECT_EQ(segment.to_chunk_position(16), 12u); // the end of the section
}

TEST(ChunkedSegment, InitializeWithoutAccessThrows) {
    MemoryDevice file;
    ChunkedSegment segment;
    file.writable = false;
    VEXA_EXPECT_THROWS(segment.initialize(file, false, false), std::runtime_error,
                       "Cannot initialize: No write access to file.");
    file.readable = false;
    VEXA_EXPECT_THROWS(segment.initialize(file, 0ul, {}), std::runtime_error,
                       "Cannot initialize: No read access to file.");
    EXPECT_FALSE(segment.is_open_for_reading());
    EXPECT_FALSE(segment.is_open_for_writing());
}

TEST(ChunkedSegment, OpenStatesAndThreadingFollowTheFile) {
    MemoryDevice file;
    file.threading.number_of_threads = 5;
    ChunkedSegment segment;
    segment.initialize(file, false, false);
    EXPECT_TRUE(segment.is_open_for_writing());
    EXPECT_FALSE(segment.is_open_for_reading());
    EXPECT_EQ(&segment.threading_support(), &file.threading);
    segment.initialize(file, 0ul, {});
    EXPECT_FALSE(segment.is_open_for_writing());
    EXPECT_TRUE(segment.is_open_for_reading());
}

TEST(ChunkedSegment, UseBeforeInitializeThrows) {
    ChunkedSegment segment;
    char byte = 0;
    char const* const text = "Chunked segment is not initialized.";
    VEXA_EXPECT_THROWS(segment.seek(0), std::runtime_error, text);
    VEXA_EXPECT_THROWS(segment.read(&byte, 1), std::runtime_error, text);
    VEXA_EXPECT_THROWS(segment.write(&byte, 1), std::runtime_error, text);
    VEXA_EXPECT_THROWS(segment.threading_support(), std::runtime_error, text);
    EXPECT_THAT(segment.chunk_positions(), IsEmpty());
}

TEST(ChunkedSegment, ReadPastTheFileFailsAsTheFileDoes) {
    MemoryDevice file = device_with(three_chunks);
    file.writable = false;
    ChunkedSegment segment;
    segment.initialize(file, 2, three_chunks_records);
    VEXA_EXPECT_THROWS(read(segment, 11), std::runtime_error, "end of memory");
    EXPECT_EQ(segment.seek(2), 2u);
    EXPECT_EQ(read(segment, 4), "abcd");
}

namespace {

struct BadRecords {
    char const* name;
    ChunkedSegment::Chunks records;
};
void PrintTo(BadRecords const& records, std::ostream* os) { *os << records.name; }

class ChunkedSegmentBadRecords : public ::testing::TestWithParam<BadRecords> {};

} // namespace

TEST_P(ChunkedSegmentBadRecords, AreRefusedAndChangeNothing) {
    MemoryDevice file = device_with(three_chunks);
    ChunkedSegment segment;
    VEXA_EXPECT_THROWS(segment.initialize(file, 2, GetParam().records), std::runtime_error,
                       "Invalid chunk records.");
    VEXA_EXPECT_THROWS(segment.get_aligned_compressed_chunk_ranges(GetParam().records, 2, 100, {0, 10}),
                       std::runtime_error, "Invalid chunk records.");
    EXPECT_FALSE(segment.is_open_for_reading());
    segment.initialize(file, 2, three_chunks_records);
    VEXA_EXPECT_THROWS(segment.initialize(file, 2, GetParam().records), std::runtime_error,
                       "Invalid chunk records.");
    EXPECT_EQ(read(segment, 10), "abcdefghij");
}

INSTANTIATE_TEST_SUITE_P(All, ChunkedSegmentBadRecords,
                         ::testing::Values(BadRecords{"LogicalValuesDescend", {{6, 10}, {3, 20}}},
                                           BadRecords{"FileValuesDescend", {{3, 10}, {6, 5}}},
                                           BadRecords{"FileValueBeforeTheFirstChunkEnds", {{6, 3}}},
                                           BadRecords{"ChunksOverlap", {{3, 5}, {6, 7}}},
                                           BadRecords{"LogicalValueWraps",
                                                      {{3, 5}, {maximum - 1, maximum - 2}}},
                                           BadRecords{"FileValueWraps", {{3, 5}, {6, maximum - 1}}}),
                         [](auto const& case_info) { return case_info.param.name; });

TEST(ChunkedSegmentRanges, WithoutRecordsAreOneRange) {
    ChunkedSegment segment;
    EXPECT_THAT(segment.get_aligned_compressed_chunk_ranges({}, 100, 50, {10, 30}),
                ElementsAre(Pair(110, 130)));
    EXPECT_THAT(segment.get_aligned_compressed_chunk_ranges({}, 100, 50, {10, 10}),
                ElementsAre(Pair(110, 110)));
}

TEST(ChunkedSegmentRanges, InsideOneChunkAreOneAndAcrossAGapTwo) {
    ChunkedSegment segment;
    auto const ranges = [&](unsigned long lo, unsigned long hi) {
        return segment.get_aligned_compressed_chunk_ranges(three_chunks_records, 2, 100, {lo, hi});
    };
    EXPECT_THAT(ranges(0, 3), ElementsAre(Pair(2, 5)));
    EXPECT_THAT(ranges(1, 2), ElementsAre(Pair(3, 4)));
    EXPECT_THAT(ranges(3, 6), ElementsAre(Pair(7, 10)));
    EXPECT_THAT(ranges(2, 5), ElementsAre(Pair(4, 5), Pair(7, 9)));
    EXPECT_THAT(ranges(0, 10), ElementsAre(Pair(2, 5), Pair(7, 10), Pair(12, 16)));
    EXPECT_THAT(ranges(7, 100), ElementsAre(Pair(13, 106)));
    EXPECT_THAT(ranges(4, 4), IsEmpty());
}

TEST(ChunkedSegmentRanges, OfAnInitializedSegmentComeFromItsOwnChunks) {
    MemoryDevice file = device_with(three_chunks);
    ChunkedSegment segment;
    segment.initialize(file, 2, three_chunks_records);
    EXPECT_THAT(segment.get_aligned_compressed_chunk_ranges({{1, 50}}, 2, 100, {2, 5}),
                ElementsAre(Pair(4, 5), Pair(7, 9)));
    segment.initialize(file, 2ul, {});
    EXPECT_THAT(segment.get_aligned_compressed_chunk_ranges(three_chunks_records, 2, 100, {2, 5}),
                ElementsAre(Pair(4, 7)));
}

TEST(ChunkedSegmentRanges, OfAnEmptyChunkAreLeftOut) {
    ChunkedSegment segment;
    EXPECT_THAT(segment.get_aligned_compressed_chunk_ranges({{0, 4}, {3, 20}, {3, 30}}, 2, 100, {1, 5}),
                ElementsAre(Pair(7, 9), Pair(32, 34)));
}

TEST(ChunkedSegmentRanges, BeyondTheSectionThrow) {
    ChunkedSegment segment;
    auto const ranges = [&](unsigned long lo, unsigned long hi) {
        return segment.get_aligned_compressed_chunk_ranges(three_chunks_records, 2, 100, {lo, hi});
    };
    VEXA_EXPECT_THROWS(ranges(0, 101), std::runtime_error, "Unexpectedly missing chunk");
    VEXA_EXPECT_THROWS(ranges(100, 101), std::runtime_error, "Unexpectedly missing chunk");
    VEXA_EXPECT_THROWS(ranges(5, 4), std::runtime_error, "Unexpectedly missing chunk");
    VEXA_EXPECT_THROWS(ranges(0, maximum), std::runtime_error, "Unexpectedly missing chunk");
    VEXA_EXPECT_THROWS(
        segment.get_aligned_compressed_chunk_ranges({{3, maximum - 10}}, 2, maximum, {0, maximum - 5}),
        std::runtime_error, "Unexpectedly missing chunk");
}
