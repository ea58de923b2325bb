#include <vexa/bf/records_internal.h>

#include <cstring>
#include <limits>
#include <ostream>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include <vexa/testing/expect_throws.h>

namespace {

using namespace Vexa::bf;

template <std::size_t N>
std::string text_of(std::array<std::byte, N> const& block) {
    return {reinterpret_cast<char const*>(block.data()), block.size()};
}

/// \p value in little-endian order.
template <typename T>
std::string bytes(T value) {
    return {reinterpret_cast<char const*>(&value), sizeof value};
}

std::string zeros(std::size_t n) { return std::string(n, '\0'); }

std::string literal_unit(std::string const& exponents, double factor) { return exponents + bytes(factor); }

std::string const no_unit = literal_unit(
    [] {
        std::string pairs;
        for (int i = 0; i < 9; ++i) pairs += bytes(std::int32_t{0}) + bytes(std::int32_t{1});
        return pairs;
    }(),
    1.0);

TEST(FileHeader, EncodesToTheseBytes) {
    FileHeader const header{.first_stack_position = 0x1122334455667788, .description_length = 5};
    std::string const expected("VEXA_BF\n\xFF\xFF\x02\0\0\0\x88\x77\x66\x55\x44\x33\x22\x11\x05\0\0\0", 26);
    EXPECT_EQ(text_of(header.encode()), expected);
    EXPECT_EQ(FileHeader::decode(header.encode()), header);
}

struct Damage {
    char const* name;
    std::size_t at;
};

void PrintTo(Damage const& damage, std::ostream* os) { *os << damage.name; }

class FileHeaderDamage : public ::testing::TestWithParam<Damage> {};

TEST_P(FileHeaderDamage, IsRefusedWithTheFixedText) {
    auto block = FileHeader{}.encode();
    block[GetParam().at] ^= std::byte{1};
    VEXA_EXPECT_THROWS(FileHeader::decode(block), std::runtime_error, "No VBF file header found.");
}

INSTANTIATE_TEST_SUITE_P(Magic, FileHeaderDamage,
                         ::testing::Values(Damage{"first byte", 0}, Damage{"newline", 7},
                                           Damage{"first byte of the marker", 8},
                                           Damage{"second byte of the marker", 9}));

TEST(FileHeader, TakesAnyVersion) {
    FileHeader header;
    header.format_version = 0xFFFFFFFF;
    EXPECT_EQ(FileHeader::decode(header.encode()).format_version, 0xFFFFFFFF);
}

StackHeader full_header() {
    StackHeader header;
    header.rank = 15;
    for (std::size_t i = 0; i < max_rank; ++i) {
        header.shape[i] = static_cast<std::uint32_t>(0x01000000 + i);
        header.lengths[i] = 1.5 * static_cast<double>(i + 1);
        header.offsets[i] = -0.25 * static_cast<double>(i + 1);
    }
    header.type = 0x40000080;
    header.compression_type = 1;
    header.compression_level = 9;
    header.name_length = 0xFFFFFFFE;
    header.description_length = 0x0A0B0C0D;
    header.has_data = 1;
    header.data_length = 0x1020304050607080;
    header.next_stack_position = 0x8070605040302010;
    return header;
}

TEST(StackHeader, EncodesToTheseBytes) {
    StackHeader const header = full_header();
    std::string expected("VEXA_BF_STACK\n\xFF\xFF\x07\0\0\0\x0F\0\0\0", 24);
    for (std::size_t i = 0; i < 15; ++i) expected += std::string{static_cast<char>(i), 0, 0, 1};
    for (int i = 1; i <= 15; ++i) expected += bytes(1.5 * i);
    for (int i = 1; i <= 15; ++i) expected += bytes(-0.25 * i);
    expected += std::string("\x80\0\0\x40\x01\0\0\0\x09\0\0\0", 12);
    expected += std::string("\xFE\xFF\xFF\xFF\x0D\x0C\x0B\x0A\x01\0\0\0\0\0\0\0", 16);
    expected += "\x80\x70\x60\x50\x40\x30\x20\x10\x10\x20\x30\x40\x50\x60\x70\x80";
    ASSERT_EQ(expected.size(), 368u);
    EXPECT_EQ(text_of(header.encode()), expected);
    EXPECT_EQ(StackHeader::decode(header.encode()), header);
}

TEST(StackHeader, IsZeroFilledWhereNothingIsSet) {
    std::string const expected =
        std::string("VEXA_BF_STACK\n\xFF\xFF\x07\0\0\0", 20) + zeros(StackHeaderLayout::size - 20);
    EXPECT_EQ(text_of(StackHeader{}.encode()), expected);
}

class StackHeaderDamage : public ::testing::TestWithParam<Damage> {};

TEST_P(StackHeaderDamage, IsRefusedWithTheFixedText) {
    auto block = StackHeader{}.encode();
    block[GetParam().at] ^= std::byte{0x80};
    VEXA_EXPECT_THROWS(StackHeader::decode(block), std::runtime_error, "Stack header not in VBF format.");
}

INSTANTIATE_TEST_SUITE_P(Magic, StackHeaderDamage,
                         ::testing::Values(Damage{"first byte", 0}, Damage{"newline", 13},
                                           Damage{"first byte of the marker", 14},
                                           Damage{"second byte of the marker", 15}));

TEST(StackHeader, CanHaveFifteenAxesAndNoMore) {
    StackHeader header;
    header.rank = 15;
    EXPECT_NO_THROW(header.check());
    header.rank = 16;
    VEXA_EXPECT_THROWS(header.check(), std::runtime_error, "Invalid stack rank 16.");
    header.rank = 0xFFFFFFFF;
    VEXA_EXPECT_THROWS(header.check(), std::runtime_error, "Invalid stack rank 4294967295.");
}

TEST(UnitRecord, OfNothingIsNineTimesZeroOverOneAndTheFactorOne) {
    std::string expected;
    for (int i = 0; i < 9; ++i) expected += std::string("\0\0\0\0\x01\0\0\0", 8);
    expected += std::string("\0\0\0\0\0\0\xF0\x3F", 8);
    EXPECT_EQ(text_of(UnitRecord{}.encode()), expected);
    EXPECT_EQ(no_unit, expected);
}

TEST(UnitRecord, KeepsFractionsAndFactorVerbatim) {
    UnitRecord unit;
    unit.exponents[0] = {1, -2};
    unit.exponents[8] = {std::numeric_limits<std::int32_t>::min(), 0};
    unit.factor = -0.0;
    std::string const block = text_of(unit.encode());
    EXPECT_EQ(block.substr(0, 8), std::string("\x01\0\0\0\xFE\xFF\xFF\xFF", 8));
    EXPECT_EQ(block.substr(64, 8), std::string("\0\0\0\x80\0\0\0\0", 8));
    EXPECT_EQ(block.substr(72, 8), std::string("\0\0\0\0\0\0\0\x80", 8));
    UnitRecord const back = UnitRecord::decode(unit.encode());
    EXPECT_EQ(back, unit);
    EXPECT_EQ(text_of(back.encode()), block);
}

StackFooter full_footer() {
    StackFooter footer;
    footer.footer_size = 1528;
    footer.has_col_positions[0] = 1;
    footer.has_col_labels[14] = 1;
    footer.obsolete_text_length = 3;
    footer.data_units.exponents[1] = {2, 1};
    footer.data_units.factor = 0.5;
    footer.axis_units[14].exponents[2] = {-1, 1};
    footer.axis_units[14].factor = 1e-6;
    footer.flush_position_count = 0x0101010101010101;
    footer.flush_block_size = 0x0202020202020202;
    footer.tag_bytes = 0x0303030303030303;
    footer.end_of_stack_position = 0x0404040404040404;
    footer.required_reader_version = 0x00000006;
    footer.footer_end_position = 0x0505050505050505;
    footer.samples_written = 0x0606060606060606;
    footer.chunk_record_count = 0x0707070707070707;
    footer.has_xy_col_positions[1] = 1;
    return footer;
}

TEST(StackFooter, EncodesToTheseBytes) {
    StackFooter const footer = full_footer();
    std::string const one = bytes(std::uint32_t{1});

    std::string expected = bytes(std::uint32_t{1528});
    expected += one + zeros(56);         // column positions
    expected += zeros(56) + one;         // column labels
    expected += bytes(std::uint32_t{3}); // obsolete text
    std::string data_unit = no_unit;
    data_unit.replace(8, 4, bytes(std::int32_t{2})).replace(72, 8, bytes(0.5));
    expected += data_unit;
    for (int i = 0; i < 14; ++i) expected += no_unit;
    std::string last_unit = no_unit;
    last_unit.replace(16, 4, bytes(std::int32_t{-1})).replace(72, 8, bytes(1e-6));
    expected += last_unit;
    expected += std::string(8, '\1') + std::string(8, '\2') + std::string(8, '\3') + std::string(8, '\4');
    expected += bytes(std::uint32_t{6});
    expected += std::string(8, '\5') + std::string(8, '\6') + std::string(8, '\7');
    expected += zeros(4) + one + zeros(52);
    ASSERT_EQ(expected.size(), 1528u);
    EXPECT_EQ(text_of(footer.encode()), expected);
    EXPECT_EQ(StackFooter::decode(footer.encode()), footer);
}

TEST(StackFooter, StartsOutWithoutAnythingButNeutralUnits) {
    std::string expected = zeros(128);
    for (int i = 0; i < 16; ++i) expected += no_unit;
    expected += zeros(120);
    EXPECT_EQ(text_of(StackFooter{}.encode()), expected);
}

TEST(StackFooter, AcceptsReadersUpToSevenAndAllOnes) {
    StackFooter footer;
    for (std::uint32_t version : {0u, 6u, 7u, 0xFFFFFFFFu}) {
        footer.required_reader_version = version;
        EXPECT_NO_THROW(footer.check_reader_version()) << version;
    }
    footer.required_reader_version = 8;
    VEXA_EXPECT_THROWS(footer.check_reader_version(), std::runtime_error,
                       "Cannot read stack with file format reader version 7. Need >= 8.");
    footer.required_reader_version = 0xFFFFFFFE;
    VEXA_EXPECT_THROWS(footer.check_reader_version(), std::runtime_error,
                       "Cannot read stack with file format reader version 7. Need >= 4294967294.");
}

TEST(StackFooter, MustBeAsLongAsItsOwnSizeField) {
    EXPECT_NO_THROW(StackFooter::check_size(4));
    EXPECT_NO_THROW(StackFooter::check_size(0xFFFFFFFF));
    VEXA_EXPECT_THROWS(StackFooter::check_size(3), std::runtime_error, "Invalid footer size 3.");
    VEXA_EXPECT_THROWS(StackFooter::check_size(0), std::runtime_error, "Invalid footer size 0.");
}

} // namespace
