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

#include <vexa/testing/executors.h>
#include <vexa/testing/expect_throws.h>
#include <vexa/testing/memory_device.h>
#include <vexa/testing/zipped_section.h>

using namespace Vexa::testing::zipped;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Vexa::testing::MemoryDevice;

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
