// Files that were cut, changed or made up: compaction says so before it touches its destination, or its copy
// reads like the source.

#include <vexa/bf/Compacter.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include <vexa/bf/FileImp.h>
#include <vexa/foundation/types.h>
#include <vexa/testing/bytes.h>
#include <vexa/testing/expect_throws.h>
#include <vexa/testing/roomy_file.h>
#include <vexa/testing/same_files.h>
#include <vexa/testing/temporary_folder.h>

namespace {

using namespace Vexa::bf;
using namespace Vexa::testing;
namespace types = Vexa::types;
namespace fs = std::filesystem;
using Vexa::copy_file_if_sparse;

constexpr std::uint64_t all_ones = static_cast<std::uint64_t>(-1);

// Where the stacks of three_stacks_with_room() and their footers stand.
constexpr std::size_t first = 34, second = 2040, third = 3997;
constexpr std::size_t first_footer = 404, second_footer = 2411, third_footer = 4366;

struct Wrong {
    char const* name;
    std::function<void(std::string&)> change;
    char const* text = "Corrupt VBF file.";
};

void PrintTo(Wrong const& wrong, std::ostream* out) { *out << wrong.name; }

template <typename T>
std::function<void(std::string&)> value(std::size_t position, T number) {
    return [=](std::string& bytes) { put(bytes, position, number); };
}

void link_backwards(std::string& bytes) {
    put<std::uint64_t>(bytes, first + 360, third);
    put<std::uint64_t>(bytes, third + 360, second);
    put<std::uint64_t>(bytes, second + 360, 0);
}

void make_rooms_overflow(std::string& bytes) {
    put(bytes, first_footer + 1432, all_ones);
    put(bytes, second_footer + 1432, all_ones);
}

Wrong const wrongs[] = {
    {"MagicOfAStack", value(second, 'x')},
    {"MarkerOfAStack", value(second + 14, 'x')},
    {"LinkToItself", value(second + 360, std::uint64_t{second})},
    {"LinkToTheFirst", value(third + 360, std::uint64_t{first})},
    {"LinkOutside", value(third + 360, std::uint64_t{1} << 40)},
    {"LinkToTheLastByte", value(third + 360, std::uint64_t{5921})},
    {"LinkOfAllOnes", value(third + 360, all_ones)},
    {"LinksThatGoBack", link_backwards},
    {"FirstLinkIntoTheHeader", value(14, std::uint64_t{20})},
    {"FirstLinkOutside", value(14, all_ones)},
    {"DescriptionThatReachesIntoAStack", value(22, std::uint32_t{1})},
    {"DescriptionLongerThanTheFile", value(22, std::uint32_t{0xFFFFFFFF})},
    {"NameLongerThanTheFile", value(second + 336, std::uint32_t{0xFFFFFFFF})},
    {"DataLengthThatWraps", value(second + 352, all_ones)},
    {"DataLengthOutside", value(second + 352, std::uint64_t{1} << 62)},
    {"RankAbove15", value(second + 20, std::uint32_t{16})},
    {"FooterSizeOf3", value(second_footer, std::uint32_t{3}), "Invalid footer size 3."},
    {"FooterSizeOf0", value(second_footer, std::uint32_t{0}), "Invalid footer size 0."},
    {"FooterThatEndsInThePositionOfItsStacksEnd", value(second_footer, std::uint32_t{1436})},
    {"FooterThatEndsInThePositionOfItsOwnEnd", value(second_footer, std::uint32_t{1451})},
    {"FooterLongerThanTheFile", value(second_footer, std::uint32_t{0xFFFFFFFF})},
    {"RoomOutside", value(second_footer + 1432, std::uint64_t{6000})},
    {"RoomOfAllOnes", value(second_footer + 1432, all_ones)},
    {"RoomsWhoseSumWraps", make_rooms_overflow},
    {"RoomThatHoldsTheNextStack", value(first_footer + 1432, std::uint64_t{2041})},
    {"RoomThatHoldsTheTags", value(third_footer + 1432, std::uint64_t{5903})},
    {"RoomFromWithinTheFooter", value(first_footer + 1444, std::uint64_t{1939})},
    {"RoomFromWithinTheHeader", value(first_footer + 1444, std::uint64_t{36})},
    {"LabelThatReachesIntoTheRoom", value(first_footer + 1528, std::uint32_t{1})},
    {"ColumnsThatReachIntoTheRoom", value(first_footer + 4, std::uint32_t{1})},
    {"ColumnLabelsThatReachIntoTheRoom", value(first_footer + 64, std::uint32_t{1})},
    {"ObsoleteTextThatReachesIntoTheRoom", value(first_footer + 124, std::uint32_t{1})},
    {"FlushPositionsThatReachIntoTheRoom", value(first_footer + 1408, std::uint64_t{1})},
    {"FlushPositionsThatWrap", value(first_footer + 1408, (std::uint64_t{1} << 61) + 1)},
    {"TagsThatReachIntoTheRoom", value(first_footer + 1532, std::uint32_t{1})},
    {"ChunkRecordsThatReachIntoTheRoom", value(first_footer + 1460, std::uint64_t{1})},
    {"ChunkRecordsThatWrap", value(first_footer + 1460, std::uint64_t{1} << 60)},
    {"PositionsInThePlaneThatReachIntoTheRoom", value(first_footer + 1468, std::uint32_t{1})},
    {"MetadataInTheHeader", value(26, std::uint64_t{1})},
    {"MetadataInARoom", value(26, std::uint64_t{1950})},
    {"MetadataBeforeTheLastStack", value(26, std::uint64_t{5901})},
    {"MetadataOutside", value(26, std::uint64_t{6000})},
    {"MetadataOfAllOnes", value(26, all_ones)},
};

class CompacterDamage : public ::testing::Test {
protected:
    TemporaryFolder folder;
    fs::path const source = folder / "source.vbf";
    fs::path const copy = folder / "copy.vbf";
};

class CompacterWrong : public CompacterDamage, public ::testing::WithParamInterface<Wrong> {};

TEST_P(CompacterWrong, IsRefusedBeforeTheDestinationIsOpened) {
    auto bytes = three_stacks_with_room();
    GetParam().change(bytes);
    write_bytes(source, bytes);
    write_bytes(copy, "precious");
    VEXA_EXPECT_THROWS(copy_file_if_sparse(source, copy), std::runtime_error, GetParam().text);
    EXPECT_EQ(read_bytes(copy), "precious");
}

INSTANTIATE_TEST_SUITE_P(Files, CompacterWrong, ::testing::ValuesIn(wrongs),
                         [](auto const& wrong) { return wrong.param.name; });

TEST_F(CompacterDamage, ShortenedFilesAreRefused) {
    write_bytes(source, three_stacks_with_room());
    for (std::size_t size = 5902; size-- > 0;) {
        fs::resize_file(source, size);
        EXPECT_THROW(copy_file_if_sparse(source, copy), std::exception) << size;
        ASSERT_FALSE(fs::exists(copy)) << size;
    }
}

TEST_F(CompacterDamage, LongLoopEnds) {
    std::vector<StackWithRoom> stacks(2000, {{types::uint8, {1}, "a"}, 1});
    auto bytes = roomy_file(stacks);
    std::size_t const record = 368 + 1 + 1528 + 8 + 1;
    put<std::uint64_t>(bytes, 34 + 1999 * record + 360, 34 + 1000 * record);
    write_bytes(source, bytes);
    VEXA_EXPECT_THROWS(copy_file_if_sparse(source, copy), std::runtime_error, "Corrupt VBF file.");
}

/// Records whose footers are the whole file, over and over.
TEST_F(CompacterDamage, RecordsThatShareTheirBytesAreRefused) {
    std::vector<StackWithRoom> stacks(200, {{types::uint8, {1}, "a"}, 0});
    stacks.front().second = 100;
    auto bytes = roomy_file(stacks);
    std::size_t const record = 368 + 1 + 1528 + 8;
    for (std::size_t at = 34 + record + 100; at + record < bytes.size(); at += record)
        put(bytes, at + 369 + 124, static_cast<std::uint32_t>(bytes.size() - at - record - 8));
    write_bytes(source, bytes);
    VEXA_EXPECT_THROWS(copy_file_if_sparse(source, copy), std::runtime_error, "Corrupt VBF file.");
    EXPECT_FALSE(fs::exists(copy));
}

/// Whatever is changed: the copy reads like the source, or there is none.
TEST_F(CompacterDamage, RandomChangesAreRefusedOrKept) {
    auto const good = three_stacks_with_room();
    std::mt19937_64 random(20);
    int copies = 0;
    for (int i = 0; i < 3000; ++i) {
        auto bytes = good;
        for (unsigned long n = 1 + random() % 3; n != 0; --n) {
            std::size_t const at = random() % bytes.size();
            bytes[at] = random() % 2 ? static_cast<char>(random()) : static_cast<char>(bytes[at] ^ 1);
        }
        fs::remove(source); // a file system may be slow to replace what a file holds
        fs::remove(copy);
        write_bytes(source, bytes);
        try {
            if (!copy_file_if_sparse(source, copy)) continue;
        } catch (std::exception const&) {
            continue;
        }
        try {
            EXPECT_EQ(first_difference(source, source, 1 << 16), "");
        } catch (std::exception const&) {
            continue; // does not open anyway
        }
        ++copies;
        ASSERT_EQ(first_difference(source, copy, 1 << 16), "") << "change " << i;
    }
    EXPECT_GT(copies, 1000);
}

} // namespace
