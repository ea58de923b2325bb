#include <vexa/bf/DiskFile.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <vexa/foundation/error.h>
#include <vexa/testing/expect_throws.h>
#include <vexa/testing/failing_stream.h>
#include <vexa/testing/temporary_folder.h>

using Vexa::bf::DiskFile;
using Mode = DiskFile::Mode;

namespace {

void put(std::filesystem::path const& path, std::string const& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

std::string content(std::filesystem::path const& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::string with_reason(std::string text, int number) { return text + std::strerror(number); }

class DiskFileTest : public ::testing::Test {
protected:
    Vexa::testing::TemporaryFolder folder;
    std::filesystem::path path = folder / "file.bin";
};

} // namespace

TEST_F(DiskFileTest, WriteStrPutsALittleEndianCountBeforeTheBytes) {
    DiskFile file(path, Mode::create);
    file.write_str("a\xc3\xa4", true);
    file.write_str("bc", false);
    file.close();
    EXPECT_EQ(content(path), std::string("\x03\0\0\0a\xc3\xa4"
                                         "bc",
                                         9));
}

TEST_F(DiskFileTest, WriteStrOfAnEmptyStringIsFourZeroBytesOrNothing) {
    DiskFile file(path, Mode::create);
    file.write_str("", true);
    EXPECT_EQ(file.tell(), 4u);
    file.write_str("", false);
    EXPECT_EQ(file.tell(), 4u);
    file.close();
    EXPECT_EQ(content(path), std::string(4, '\0'));
}

TEST_F(DiskFileTest, ReadStrReadsWhatWriteStrWrote) {
    DiskFile file(path, Mode::create);
    std::string const text("zero \0 inside", 13);
    file.write_str(text, true);
    file.write_str(text, false);
    file.seek(0);
    std::string read;
    file.read_str(read);
    EXPECT_EQ(read, text);
    file.read_str(read, 6);
    EXPECT_EQ(read, std::string("zero \0", 6));
    EXPECT_EQ(file.tell(), 4u + 13u + 6u);
}

TEST_F(DiskFileTest, ReadStrOfNoBytesEmptiesTheStringAndStays) {
    put(path, "abc");
    DiskFile file(path, Mode::read);
    file.seek(1);
    std::string s = "old";
    file.read_str(s, 0);
    EXPECT_EQ(s, "");
    EXPECT_EQ(file.tell(), 1u);
}

TEST_F(DiskFileTest, ReadStrOfACountOfZeroEmptiesTheString) {
    put(path, std::string("\0\0\0\0x", 5));
    DiskFile file(path, Mode::read);
    std::string s = "old";
    file.read_str(s);
    EXPECT_EQ(s, "");
    EXPECT_EQ(file.tell(), 4u);
}

TEST_F(DiskFileTest, ReadStrWithAFalseCountFailsWithThatCount) {
    put(path, std::string("\xff\xff\xff\xff", 4) + "abc");
    DiskFile file(path, Mode::read);
    std::string s;
    errno = 0;
    VEXA_EXPECT_THROWS(file.read_str(s), VexaError,
                       with_reason("Failed reading 4294967295 bytes from file: ", 0));
}

TEST_F(DiskFileTest, ReadStrOfALongStringReturnsAllOfIt) {
    std::string const text(3'000'001, 'x');
    DiskFile file(path, Mode::create);
    file.write_str(text, true);
    file.seek(0);
    std::string read;
    file.read_str(read);
    EXPECT_TRUE(read == text);
}

TEST_F(DiskFileTest, SeekToAllOnesGoesToTheEnd) {
    put(path, std::string(100, 'x'));
    DiskFile file(path, Mode::read);
    EXPECT_EQ(file.seek(static_cast<unsigned long>(-1)), 100u);
    EXPECT_EQ(file.tell(), 100u);
}

TEST_F(DiskFileTest, SeekWithTheTopBitThrows) {
    DiskFile file(path, Mode::create);
    for (unsigned long const pos : {static_cast<unsigned long>(-2), 1ul << 63})
        VEXA_EXPECT_THROWS(file.seek(pos), std::runtime_error, "The offset exceeds the maximum offset.");
}

TEST_F(DiskFileTest, SeekBehindTheEndIsAllowedAndWritingThereLeavesAHole) {
    DiskFile file(path, Mode::create);
    EXPECT_EQ(file.seek(5'000'000'000ul), 5'000'000'000ul);
    file.write("x", 1);
    file.flush_file_buffers();
    EXPECT_EQ(file.size(), 5'000'000'001ul);
    EXPECT_EQ(file.seek(4'999'999'999ul), 4'999'999'999ul);
    char bytes[2];
    file.read(bytes, 2);
    EXPECT_EQ(bytes[0], '\0');
    EXPECT_EQ(bytes[1], 'x');
}

TEST_F(DiskFileTest, ReadBehindTheEndNamesTheWantedCountAndTheErrnoOfBefore) {
    put(path, "123456789");
    DiskFile file(path, Mode::read);
    char bytes[10];
    errno = EDOM;
    VEXA_EXPECT_THROWS(file.read(bytes, 10), VexaError,
                       with_reason("Failed reading 10 bytes from file: ", EDOM));
}

TEST_F(DiskFileTest, WriteToAReadOnlyStreamReportsTheReason) {
    put(path, "abc");
    DiskFile file(path, Mode::read);
    VEXA_EXPECT_THROWS(file.write("xy", 2), VexaError,
                       with_reason("Failed writing 2 bytes to file: ", EBADF));
}

TEST_F(DiskFileTest, FlushToAFullDeviceReportsTheReason) {
    DiskFile file("/dev/full", Mode::modify);
    file.write("x", 1);
    VEXA_EXPECT_THROWS(file.flush_file_buffers(), VexaError,
                       with_reason("Failed flushing data to file: ", ENOSPC));
}

TEST_F(DiskFileTest, EveryOperationWithoutAStreamThrows) {
    DiskFile file;
    char byte = 0;
    char const* const text = "File not open.";
    VEXA_EXPECT_THROWS(file.tell(), std::runtime_error, text);
    VEXA_EXPECT_THROWS(file.seek(0), std::runtime_error, text);
    VEXA_EXPECT_THROWS(file.seek(static_cast<unsigned long>(-2)), std::runtime_error, text);
    VEXA_EXPECT_THROWS(file.read(&byte, 1), std::runtime_error, text);
    VEXA_EXPECT_THROWS(file.write(&byte, 1), std::runtime_error, text);
    VEXA_EXPECT_THROWS(file.read(&byte, 0), std::runtime_error, text);
    VEXA_EXPECT_THROWS(file.flush_file_buffers(), std::runtime_error, text);
    VEXA_EXPECT_THROWS(file.size(), std::runtime_error, text);
    EXPECT_EQ(file.detach(), nullptr);
    file.close();
}

TEST_F(DiskFileTest, ModesTellWhatIsOpen) {
    DiskFile file;
    EXPECT_EQ(file.mode(), Mode::closed);
    EXPECT_FALSE(file.is_open_for_reading());
    EXPECT_FALSE(file.is_open_for_writing());
    for (Mode const mode : {Mode::create, Mode::modify, Mode::read}) {
        file.open(path, mode);
        EXPECT_EQ(file.mode(), mode);
        EXPECT_TRUE(file.is_open_for_reading());
        EXPECT_EQ(file.is_open_for_writing(), mode != Mode::read);
        file.close();
        EXPECT_EQ(file.mode(), Mode::closed);
        EXPECT_FALSE(file.is_open_for_reading());
    }
}

TEST_F(DiskFileTest, CreateTruncatesAndModifyKeepsTheContent) {
    put(path, "abcdef");
    DiskFile(path, Mode::modify).write("X", 1);
    EXPECT_EQ(content(path), "Xbcdef");
    DiskFile(path, Mode::create).write("Y", 1);
    EXPECT_EQ(content(path), "Y");
}

TEST_F(DiskFileTest, OpenTwiceThrowsAndKeepsTheFirst) {
    DiskFile file(path, Mode::create);
    VEXA_EXPECT_THROWS(file.open(folder / "other", Mode::create), std::runtime_error,
                       "File already open or attached.");
    EXPECT_FALSE(std::filesystem::exists(folder / "other"));
    FILE* stream = nullptr;
    VEXA_EXPECT_THROWS(file.attach(stream, Mode::read), std::runtime_error, "File already open or attached.");
    file.write("x", 1);
}

TEST_F(DiskFileTest, OpenWithAnyOtherModeThrows) {
    DiskFile file;
    for (int const mode : {-1, 3, -2147483647})
        VEXA_EXPECT_THROWS(file.open(path, static_cast<Mode>(mode)), std::runtime_error,
                           "Invalid file mode.");
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(DiskFileTest, OpenOfAMissingFileReportsTheReason) {
    DiskFile file;
    VEXA_EXPECT_THROWS(file.open(path, Mode::read), VexaError, with_reason("Could not open file: ", ENOENT));
    EXPECT_EQ(file.mode(), Mode::closed);
}

TEST_F(DiskFileTest, OpenTakesTheNormalFormOfThePath) {
    DiskFile file(folder / "no_such_folder" / ".." / "file.bin", Mode::create);
    EXPECT_TRUE(std::filesystem::exists(path));
}

TEST_F(DiskFileTest, CloseOfAnAttachedStreamThrowsAndDetachGivesItBack) {
    put(path, "abc");
    FILE* stream = std::fopen(path.c_str(), "r");
    ASSERT_NE(stream, nullptr);
    DiskFile file;
    file.attach(stream, Mode::read);
    VEXA_EXPECT_THROWS(file.close(), std::runtime_error, "File not opened with open(), cannot close.");
    char byte = 0;
    file.read(&byte, 1);
    EXPECT_EQ(byte, 'a');
    EXPECT_EQ(file.detach(), stream);
    EXPECT_FALSE(file.is_open_for_reading());
    file.close();
    file.attach(stream, Mode::read);
    EXPECT_EQ(file.tell(), 1u);
    std::fclose(file.detach());
}

TEST_F(DiskFileTest, DetachTakesAwayAStreamThatOpenMade) {
    FILE* stream = nullptr;
    {
        DiskFile file(path, Mode::create);
        file.write("abc", 3);
        stream = file.detach();
    }
    ASSERT_NE(stream, nullptr);
    std::fputs("d", stream);
    std::fclose(stream);
    EXPECT_EQ(content(path), "abcd");
}

TEST_F(DiskFileTest, AnAttachedStreamSurvivesTheDestructor) {
    put(path, "abc");
    FILE* stream = std::fopen(path.c_str(), "r");
    {
        DiskFile opened_before(folder / "other", Mode::create);
        opened_before.close();
        opened_before.attach(stream, Mode::read);
    }
    EXPECT_EQ(std::fgetc(stream), 'a');
    std::fclose(stream);
}

TEST_F(DiskFileTest, TheModeOfAnAttachedStreamIsTakenAtItsWord) {
    put(path, "abc");
    FILE* stream = std::fopen(path.c_str(), "r");
    DiskFile file;
    file.attach(stream, Mode::modify);
    EXPECT_TRUE(file.is_open_for_writing());
    VEXA_EXPECT_THROWS(file.write("x", 1), VexaError, with_reason("Failed writing 1 bytes to file: ", EBADF));
    std::fclose(file.detach());
}

TEST_F(DiskFileTest, AttachOfANullStreamStaysClosed) {
    FILE* stream = nullptr;
    DiskFile file;
    file.attach(stream, Mode::modify);
    EXPECT_EQ(file.mode(), Mode::closed);
    VEXA_EXPECT_THROWS(file.tell(), std::runtime_error, "File not open.");
}

TEST_F(DiskFileTest, SizeLeavesOutWhatIsNotFlushed) {
    DiskFile file(path, Mode::create);
    file.write("abc", 3);
    EXPECT_EQ(file.size(), 0u);
    file.flush_file_buffers();
    EXPECT_EQ(file.size(), 3u);
}

TEST_F(DiskFileTest, SizeOnDiskIsBlockSizeTimesBlocks) {
    put(path, std::string(10'000, 'x'));
    struct stat status;
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(DiskFile::size_on_disk(path),
              static_cast<unsigned long>(status.st_blksize) * static_cast<unsigned long>(status.st_blocks));
    EXPECT_EQ(DiskFile::size_on_disk(folder / "missing"), 0u);
}

TEST_F(DiskFileTest, RemoveDeletesAndThrowsWithoutAFile) {
    put(path, "abc");
    DiskFile::remove(path);
    EXPECT_FALSE(std::filesystem::exists(path));
    VEXA_EXPECT_THROWS(DiskFile::remove(path), VexaError, with_reason("Could not remove file: ", ENOENT));
}

TEST_F(DiskFileTest, RemoveOfAFolderThatIsNotEmptyReportsTheReason) {
    put(path, "abc");
    VEXA_EXPECT_THROWS(DiskFile::remove(folder.path()), VexaError,
                       with_reason("Could not remove file: ", ENOTEMPTY));
}

TEST_F(DiskFileTest, ThreadingSupportIsOneThreadUntilReplaced) {
    DiskFile file;
    EXPECT_EQ(file.threading_support().number_of_threads, 1u);
    EXPECT_FALSE(file.threading_support().execute);
    file.set_threading_support({4, nullptr});
    EXPECT_EQ(file.threading_support().number_of_threads, 4u);
}

namespace {

/// Write \p count pieces of \p size bytes and flush.
/// \return the text of the failure, empty without one
std::string write_and_flush(DiskFile& file, int count, std::size_t size) {
    std::string const piece(size, 'x');
    try {
        for (int i = 0; i < count; ++i) file.write(piece.data(), piece.size());
        file.flush_file_buffers();
    } catch (VexaError const& error) {
        return error.what();
    }
    return {};
}

} // namespace

TEST(DiskFileOnAFullDisk, ReportsTheReasonWhereverTheSpaceEnds) {
    for (std::size_t const size : {100ul, 5000ul})
        for (unsigned long room = 0; room <= 10 * size; room += 777) {
            Vexa::testing::FailingStream stream;
            stream.write_bytes = room;
            DiskFile file;
            file.attach(stream.stream(), Mode::create);
            std::string const text = write_and_flush(file, 10, size);
#if defined(__SANITIZE_THREAD__)
            std::string const reason; // its wrappers of the stream functions lose errno
#else
            std::string const reason = std::strerror(ENOSPC);
#endif
            bool const as_write =
                text.rfind("Failed writing " + std::to_string(size) + " bytes to file: " + reason, 0) == 0;
            bool const as_flush = text.rfind("Failed flushing data to file: " + reason, 0) == 0;
            EXPECT_EQ(as_write || as_flush, room < 10 * size) << room << " " << text;
            EXPECT_LE(stream.bytes.size(), room);
            file.detach();
        }
}

TEST(DiskFileOnAFullDisk, ReportsAFailureOfEveryWriteOfTheSystem) {
    for (unsigned long calls = 0; calls < 3; ++calls) {
        Vexa::testing::FailingStream stream;
        stream.write_calls = calls;
        DiskFile file;
        file.attach(stream.stream(), Mode::create);
        EXPECT_NE(write_and_flush(file, 40, 1000), "") << calls;
        file.detach();
    }
}

TEST(DiskFileOnABrokenDisk, ReportsTheReasonOfAFailedRead) {
    Vexa::testing::FailingStream stream(std::vector<unsigned char>(10'000, 7));
    stream.error = EIO;
    stream.read_calls = 1;
    DiskFile file;
    file.attach(stream.stream(), Mode::read);
    std::string bytes(10'000, ' ');
    VEXA_EXPECT_THROWS(file.read(bytes.data(), bytes.size()), VexaError,
                       with_reason("Failed reading 10000 bytes from file: ", EIO));
    EXPECT_EQ(file.size(), 0u); // no descriptor behind it
    file.detach();
}
