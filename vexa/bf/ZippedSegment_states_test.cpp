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
using ::testing::IsEmpty;
using Vexa::testing::MemoryDevice;

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
