// The bytes of a stack's record, written and read.

#include <vexa/bf/StackImp.h>

#include <cmath>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/bf/FileImp.h>
#include <vexa/foundation/error.h>
#include <vexa/foundation/types.h>
#include <vexa/testing/bytes.h>
#include <vexa/testing/expect_throws.h>
#include <vexa/testing/file_builder.h>
#include <vexa/testing/temporary_folder.h>

namespace {

using namespace Vexa::bf;
using namespace Vexa::testing;
namespace types = Vexa::types;
using Mode = DiskFile::Mode;
using Bytes = std::vector<unsigned char>;
using Vexa::units::RuntimeValue;

class StackRecordTest : public ::testing::Test {
protected:
    std::shared_ptr<FileInterface> create() {
        auto const file = Vexa::create_file(true);
        file->open(path, Mode::create);
        return file;
    }
    std::shared_ptr<FileInterface> open() { return Vexa::open_file(path, Mode::read); }
    std::shared_ptr<FileInterface> open(std::vector<RawStack> const& stacks) {
        write_bytes(path, file_of(stacks));
        return open();
    }
    void expect_refused(std::vector<RawStack> const& stacks, std::string const& text) {
        VEXA_EXPECT_THROWS(open(stacks), std::runtime_error, text);
    }

    TemporaryFolder folder;
    std::filesystem::path const path = folder / "a.vbf";
};

constexpr std::size_t first_stack = 34;

std::string const unit_one = [] {
    std::string pairs;
    for (int i = 0; i < 9; ++i) pairs += std::string("\0\0\0\0\1\0\0\0", 8);
    return pairs + bytes_of(1.0);
}();

/// The fixed part of a footer with nothing in it.
std::string plain_footer() {
    std::string block = bytes_of(1528u) + zero_bytes(124);
    for (int i = 0; i < 16; ++i) block += unit_one;
    return block + zero_bytes(120);
}

// Literal bytes

TEST_F(StackRecordTest, HasTheseBytes) {
    auto const file = create();
    auto const stack = file->add_stack(types::uint16, {3, 2}, false);
    stack->set_name("name");
    stack->set_description("K\xC3\xB6rner");
    stack->set_lengths({1.5, 2.5});
    stack->set_offsets({0.25, -4.0});
    std::uint16_t const samples[] = {1, 2, 3, 4, 5, 0x0607};
    stack->write(types::uint16, samples, nullptr, 6);
    file->close();

    std::string header("VEXA_BF_STACK\n\xFF\xFF\7\0\0\0\2\0\0\0\3\0\0\0\2\0\0\0", 32);
    header += zero_bytes(368 - 32);
    put(header, 84, 1.5);
    put(header, 92, 2.5);
    put(header, 204, 0.25);
    put(header, 212, -4.0);
    put(header, 324, 4);                 // type
    put(header, 332, 1);                 // compression level
    put(header, 336, 4);                 // name
    put(header, 340, 7);                 // description
    put(header, 344, std::uint64_t{1});  // has data
    put(header, 352, std::uint64_t{12}); // data
    std::string footer = plain_footer();
    std::size_t const footer_position = first_stack + 368 + 4 + 7 + 12;
    put(footer, 1416, std::uint64_t{12}); // flush block size: the whole stack
    put(footer, 1424, std::uint64_t{4});  // tag list
    std::size_t const end = footer_position + 1528 + 4 + 4 + 4;
    put(footer, 1432, std::uint64_t{end});
    put(footer, 1444, std::uint64_t{end});
    put(footer, 1452, std::uint64_t{6}); // samples
    std::string const data("\1\0\2\0\3\0\4\0\5\0\7\6", 12);
    std::string const record = header + "nameK\xC3\xB6rner" + data + footer + zero_bytes(12);

    std::string const bytes = read_bytes(path);
    EXPECT_EQ(value_at<std::uint64_t>(bytes, 14), first_stack) << "linked";
    EXPECT_EQ(value_at<std::uint64_t>(bytes, 26), end) << "tag list of the file";
    EXPECT_EQ(bytes.substr(first_stack, record.size()), record);
    EXPECT_EQ(bytes.substr(end), zero_bytes(4));
}

TEST_F(StackRecordTest, HasTheseBytesBehindTheFixedFooter) {
    auto const file = create();
    auto const stack = file->add_stack(types::uint8, {2, 1}, false);
    stack->set_labels({"x", "\xC2\xB5"});
    stack->set_col_positions(0, {0.5, 7.0});
    stack->set_col_labels(1, {"only"});
    stack->set_xy_col_positions(1, {{1.0, 2.0}});
    stack->set_units(0, RuntimeValue("2 m/s"));
    stack->set_data_units(RuntimeValue("V"));
    Bytes const samples{1, 2};
    stack->write(types::uint8, samples.data(), nullptr, 2);
    file->close();

    std::string const bytes = read_bytes(path);
    std::size_t const footer = first_stack + 368 + 2;
    EXPECT_EQ(value_at<std::uint32_t>(bytes, footer + 4), 1u) << "column positions of axis 0";
    EXPECT_EQ(value_at<std::uint32_t>(bytes, footer + 8), 0u);
    EXPECT_EQ(value_at<std::uint32_t>(bytes, footer + 64), 0u);
    EXPECT_EQ(value_at<std::uint32_t>(bytes, footer + 68), 1u) << "column labels of axis 1";
    EXPECT_EQ(value_at<std::uint32_t>(bytes, footer + 1468), 0u);
    EXPECT_EQ(value_at<std::uint32_t>(bytes, footer + 1472), 1u) << "xy column positions of axis 1";
    EXPECT_EQ(value_at<std::int32_t>(bytes, footer + 208), 1) << "m^1";
    EXPECT_EQ(value_at<std::int32_t>(bytes, footer + 208 + 16), -1) << "s^-1";
    EXPECT_EQ(value_at<double>(bytes, footer + 208 + 72), 2.0);
    EXPECT_EQ(bytes.substr(footer + 288, 80), unit_one);
    EXPECT_EQ(value_at<std::int32_t>(bytes, footer + 128 + 16), -3) << "V has s^-3";
    std::string const tail = counted("x") + counted("\xC2\xB5") + bytes_of(0.5) + bytes_of(7.0) +
                             counted("only") + zero_bytes(4) + bytes_of(1.0) + bytes_of(2.0);
    EXPECT_EQ(bytes.substr(footer + 1528, tail.size()), tail);
    EXPECT_EQ(bytes.size(), footer + 1528 + tail.size() + 4);

    auto const read = open()->get_stack(0);
    EXPECT_EQ(read->labels(), (std::vector<std::string>{"x", "\xC2\xB5"}));
    EXPECT_EQ(read->col_positions(0), (std::vector<double>{0.5, 7.0}));
    EXPECT_FALSE(read->is_equidistant(0));
    EXPECT_EQ(read->col_position(0, 1), 7.0);
    EXPECT_TRUE(read->is_equidistant(1));
    EXPECT_EQ(read->col_labels(1), std::vector<std::string>{"only"});
    EXPECT_TRUE(read->col_labels(0).empty());
    EXPECT_EQ(read->xy_col_positions(1), (std::vector<std::pair<double, double>>{{1.0, 2.0}}));
    EXPECT_EQ(read->units(0), RuntimeValue("2 m/s"));
    EXPECT_EQ(read->data_units(), RuntimeValue("V"));
}

TEST_F(StackRecordTest, LinksStacksAtOnce) {
    ByteStream stream;
    auto const file = std::make_shared<FileImp>(false);
    file->attach(stream.get(), Mode::create);
    Bytes const samples{1, 2, 3};
    auto const first = file->add_stack(types::uint8, {3}, false);
    EXPECT_EQ(stream.bytes().size(), 34u) << "nothing of the stack before its first write";
    first->write(types::uint8, samples.data(), nullptr, 1);
    EXPECT_EQ(value_at<std::uint64_t>(stream.bytes(), 14), 34u);
    first->write(types::uint8, samples.data(), nullptr, 2);
    std::uint64_t const second = stream.bytes().size();
    file->add_stack(types::uint8, {3}, false)->write(types::uint8, samples.data(), nullptr, 1);
    EXPECT_EQ(value_at<std::uint64_t>(stream.bytes(), 34 + 360), second);
    EXPECT_EQ(value_at<std::uint64_t>(stream.bytes(), second + 352), 0u) << "data length, not yet known";
    EXPECT_THROW(file->detach(), std::runtime_error);
}

// The header

TEST_F(StackRecordTest, CutsSizesToThirtyTwoBits) {
    auto const file = create();
    file->add_stack(types::uint8, {0x1'0000'0005, 2}, true)->write_end(0);
    file->close();
    EXPECT_EQ(open()->get_stack(0)->shape(), (std::vector<std::size_t>{5, 2}));
}

TEST_F(StackRecordTest, ReadsALengthThatIsNoNumberAsOne) {
    double const nan = std::numeric_limits<double>::quiet_NaN();
    RawStack raw(types::uint8, {1, 1, 1}, "a");
    raw.header.lengths = {2.0, nan, 3.0, nan};
    raw.header.offsets = {nan, 1.0, -2.0, 4.0};
    auto const stack = open({raw})->get_stack(0);
    EXPECT_EQ(stack->lengths(), (std::vector<double>{2.0, 1.0, 3.0}));
    ASSERT_EQ(stack->offsets().size(), 3u);
    EXPECT_TRUE(std::isnan(stack->offset(0)));
    EXPECT_EQ(stack->offset(2), -2.0);
}

TEST_F(StackRecordTest, WithFifteenAxesKeepsThemAll) {
    std::vector<unsigned long> shape(15, 1);
    shape[14] = 3;
    Bytes const samples{1, 2, 3};
    auto const file = create();
    auto const stack = file->add_stack(types::uint8, shape, false);
    stack->set_labels(std::vector<std::string>(15, "axis"));
    stack->write(types::uint8, samples.data(), nullptr, 3);
    file->close();
    auto const read = open()->get_stack(0);
    EXPECT_EQ(read->shape(), shape);
    EXPECT_EQ(read->label(14), "axis");
}

TEST_F(StackRecordTest, HasNoPlaceForASixteenthAxis) {
    auto const file = create();
    VEXA_EXPECT_THROWS(file->add_stack(types::uint8, std::vector<unsigned long>(16, 1), false),
                       std::invalid_argument, "A stack in a file can have at most 15 axes.");
    EXPECT_EQ(file->get_num_stacks(), 0u);
    RawStack raw(types::uint8, std::vector<std::uint32_t>(15, 1), "a");
    raw.header.rank = 16;
    expect_refused({raw}, "Invalid stack rank 16.");
}

/// Deliberate: the size of the last axis is patched with 8 bytes over a field of 4.
TEST_F(StackRecordTest, OfVariableSizeAndFifteenAxesLosesTheLowHalfOfItsFirstLength) {
    std::vector<unsigned long> shape(15, 1);
    shape[14] = 0;
    Bytes const samples{1, 2, 3};
    auto const file = create();
    auto const stack = file->add_stack(types::uint8, shape, false);
    stack->set_length(0, 0.1);
    stack->set_length(14, 0.5);
    stack->write(types::uint8, samples.data(), nullptr, 3);
    stack->write_end(types::uint8);
    file->close();
    std::string const bytes = read_bytes(path);
    EXPECT_EQ(value_at<std::uint32_t>(bytes, first_stack + 24 + 14 * 4), 3u);
    EXPECT_EQ(value_at<std::uint32_t>(bytes, first_stack + 84), 0u) << "low half of 0.1";
    EXPECT_EQ(value_at<std::uint32_t>(bytes, first_stack + 88), 0x3FB99999u) << "high half of 0.1";
    EXPECT_EQ(value_at<double>(bytes, first_stack + 84 + 14 * 8), 1.5);
    EXPECT_EQ(open()->get_stack(0)->shape().back(), 3u);
}

TEST_F(StackRecordTest, OfVariableSizeGetsItsLastAxisInTheEnd) {
    Bytes const samples{1, 2, 3, 4, 5, 6};
    auto const file = create();
    auto const stack = file->add_stack(types::uint8, {2, 0}, false);
    stack->set_length(1, 0.5);
    stack->write(types::uint8, samples.data(), nullptr, 6);
    EXPECT_EQ(value_at<std::uint32_t>(read_bytes(path), first_stack + 28), 0u);
    stack->write_end(types::uint8);
    file->close();
    std::string const bytes = read_bytes(path);
    EXPECT_EQ(value_at<std::uint32_t>(bytes, first_stack + 24), 2u);
    EXPECT_EQ(value_at<std::uint64_t>(bytes, first_stack + 28), 3u);
    EXPECT_EQ(value_at<double>(bytes, first_stack + 92), 1.5);
}

TEST_F(StackRecordTest, WithoutSamplesReadsAsDataLess) {
    auto const file = create();
    file->add_stack(types::uint8, {0}, false)->write_end(types::uint8);
    file->add_stack(types::uint8, {2}, true)->write_end(types::uint8);
    file->close();
    std::string const bytes = read_bytes(path);
    EXPECT_EQ(value_at<std::uint64_t>(bytes, first_stack + 344), 1u);
    EXPECT_EQ(value_at<std::uint64_t>(bytes, first_stack + 352), 0u);
    auto const second = value_at<std::uint64_t>(bytes, first_stack + 360);
    EXPECT_EQ(value_at<std::uint64_t>(bytes, second + 344), 0u) << "has no data";

    auto const again = open();
    Bytes buffer{7, 7};
    unsigned long pos = 0;
    EXPECT_EQ(again->get_stack(0)->read(types::uint8, buffer.data(), nullptr, 2, pos), 0u);
    EXPECT_EQ(pos, 0u) << "a stack with data would be at its end";
    EXPECT_EQ(again->get_stack(1)->read(types::uint8, buffer.data(), nullptr, 2, pos), 2u);
    EXPECT_EQ(buffer, (Bytes{0, 0}));
}

TEST_F(StackRecordTest, NeedsAKnownCompressionToBeWritten) {
    auto const file = create();
    auto const stack = file->add_stack(types::uint8, {2}, false);
    Bytes const samples{1, 2};
    for (int type : {2, -1}) {
        stack->set_compression(type, 1);
        VEXA_EXPECT_THROWS(stack->write(types::uint8, samples.data(), nullptr, 2), std::runtime_error,
                           "Invalid compression type specified.");
        EXPECT_EQ(stack->io_status(), stack_status::uncommitted);
    }
    stack->set_compression(1, 1);
    stack->write(types::uint8, samples.data(), nullptr, 2);
    file->close();
    EXPECT_EQ(open()->get_num_stacks(), 1u);
}

TEST_F(StackRecordTest, OfAWriterCannotBeReadIn) {
    auto const file = std::dynamic_pointer_cast<FileImp>(open({RawStack(types::uint8, {2}, "ab")}));
    StackImp stack(types::uint8, {2}, false, file);
    file->seek(first_stack);
    VEXA_EXPECT_THROWS(stack.read_header(file.get()), std::runtime_error, "Cannot set data layout.");
    StackImp reader(file);
    file->seek(first_stack);
    EXPECT_EQ(reader.io_status(), stack_status::unread);
    EXPECT_EQ(reader.read_header(file.get()), 0u);
    EXPECT_EQ(reader.io_status(), stack_status::uncommitted);
    EXPECT_EQ(file->tell(), first_stack + 368);
    reader.read_footer(file.get());
    EXPECT_EQ(reader.samples_written(), 2u);
}

TEST_F(StackRecordTest, LocksTheDescriptionButNotTheTags) {
    auto const file = create();
    auto const stack = file->add_stack(types::uint8, {2}, false);
    Bytes const samples{1, 2};
    stack->write(types::uint8, samples.data(), nullptr, 1);
    VEXA_EXPECT_THROWS(stack->set_name("late"), std::runtime_error, "Cannot set values: Object locked.");
    VEXA_EXPECT_THROWS(stack->set_label(0, "late"), std::runtime_error, "Cannot set values: Object locked.");
    EXPECT_NO_THROW(stack->set_tag("late", VProp(7)));
    stack->write(types::uint8, samples.data(), nullptr, 1);
    file->close();
    EXPECT_NO_THROW(open()->get_stack(0)->set_name("a stack that was read can be renamed in memory"));
}

// The footer

TEST_F(StackRecordTest, OfFormatVersionZeroHasNoFooter) {
    RawStack raw(types::uint8, {4}, "");
    raw.header.stack_format_version = 0;
    raw.header.data_length = 4;
    raw.has_footer = false;
    raw.name = "old";
    std::string const bytes = file_of({raw});
    write_bytes(path, bytes.substr(0, bytes.size() - 4) + zero_bytes(4));
    auto const file = open();
    auto const stack = file->get_stack(0);
    EXPECT_EQ(stack->name(), "old");
    EXPECT_EQ(stack->samples_written(), 4u);
    EXPECT_EQ(file->seek_to_end_of_stack(0), first_stack + 368 + 3 + 4);
}

TEST_F(StackRecordTest, OfAShortFooterLeavesLaterFieldsAtTheirDefaults) {
    RawStack raw(types::uint8, {4}, "abcd");
    raw.footer.footer_size = 1000;
    raw.footer.samples_written = 2;
    raw.footer.axis_units[0].factor = 5.0;
    raw.tail = counted("label");
    auto const file = open({raw});
    auto const stack = file->get_stack(0);
    EXPECT_EQ(stack->samples_written(), 4u);
    EXPECT_EQ(stack->label(0), "label");
    EXPECT_EQ(stack->units(0), RuntimeValue(5.0));
    EXPECT_EQ(file->seek_to_end_of_stack(0), first_stack + 368 + 4 + 1000 + 9);
    raw.footer.footer_size = 4;
    EXPECT_EQ(open({raw})->get_stack(0)->units(0), RuntimeValue(1.0));
}

TEST_F(StackRecordTest, OfALongFooterSkipsWhatItDoesNotKnow) {
    RawStack raw(types::uint8, {4}, "abcd");
    raw.footer.footer_size = 2000;
    raw.footer.samples_written = 3;
    raw.beyond = std::string(472, '?');
    raw.tail = counted("label") + counted("");
    auto const stack = open({raw})->get_stack(0);
    EXPECT_EQ(stack->label(0), "label");
    EXPECT_EQ(stack->samples_written(), 3u);
}

TEST_F(StackRecordTest, OfAFooterWithoutItsSizeFieldIsRefused) {
    RawStack raw(types::uint8, {4}, "abcd");
    raw.footer.footer_size = 3;
    expect_refused({raw}, "Invalid footer size 3.");
}

TEST_F(StackRecordTest, ForALaterReaderIsRefused) {
    RawStack raw(types::uint8, {4}, "abcd");
    for (std::uint32_t version : {7u, 0xFFFFFFFFu}) {
        raw.footer.required_reader_version = version;
        EXPECT_EQ(open({raw})->get_num_stacks(), 1u) << version;
    }
    raw.footer.required_reader_version = 8;
    expect_refused({raw}, "Cannot read stack with file format reader version 7. Need >= 8.");
    raw.footer.required_reader_version = 0xFFFFFFFE;
    expect_refused({raw}, "Cannot read stack with file format reader version 7. Need >= 4294967294.");
}

TEST_F(StackRecordTest, HasNoColumnsForAnEmptyAxis) {
    RawStack raw(types::uint8, {0, 2}, "");
    raw.footer.has_col_positions = {1, 0};
    raw.footer.has_col_labels = {1, 1};
    raw.footer.has_xy_col_positions = {1, 0};
    raw.tail = counted("") + counted("y") + counted("one") + counted("two") + counted("");
    auto const stack = open({raw})->get_stack(0);
    EXPECT_TRUE(stack->col_positions(0).empty());
    EXPECT_EQ(stack->col_labels(1), (std::vector<std::string>{"one", "two"}));
    EXPECT_EQ(stack->label(1), "y");
}

TEST_F(StackRecordTest, SkipsObsoleteTextAndTakesPositionsAndRecordsBehindIt) {
    RawStack raw(types::uint8, {2}, "ab");
    raw.footer.obsolete_text_length = 5;
    raw.footer.flush_position_count = 1;
    raw.footer.flush_block_size = 2;
    raw.footer.chunk_record_count = 1;
    raw.footer.has_xy_col_positions[0] = 1;
    raw.tail = counted("l") + "trash" + bytes_of(std::uint64_t{2}) + counted("") +
               bytes_of(std::uint64_t{0}) + bytes_of(std::uint64_t{0}) + bytes_of(1.0) + bytes_of(2.0) +
               bytes_of(3.0) + bytes_of(4.0);
    auto const file = open({raw});
    auto const stack = file->get_stack(0);
    EXPECT_EQ(stack->xy_col_positions(0), (std::vector<std::pair<double, double>>{{1.0, 2.0}, {3.0, 4.0}}));
    EXPECT_EQ(file->seek_to_end_of_stack(0), first_stack + 368 + 2 + 1528 + raw.tail.size());
    Bytes samples(2);
    stack->read(types::uint8, samples.data(), nullptr);
    EXPECT_EQ(samples, (Bytes{'a', 'b'}));
}

TEST_F(StackRecordTest, WithoutFlushPositionsHasNoFlushBlocks) {
    RawStack raw(types::uint8, {2}, "ab");
    raw.footer.flush_block_size = 2;
    VEXA_EXPECT_THROWS(open({raw})->get_stack(0)->get_aligned_compressed_chunk_ranges({0, 2}),
                       std::runtime_error, "No flush blocks available");
}

TEST_F(StackRecordTest, WithoutATagListHasNone) {
    RawStack raw(types::uint8, {2}, "ab");
    raw.footer.tag_bytes = 0;
    raw.tail = counted("l");
    EXPECT_TRUE(open({raw})->get_stack(0)->tag_keys().empty());
}

TEST_F(StackRecordTest, TakesTheStoredEndOfTheStack) {
    RawStack raw(types::uint8, {2}, "ab");
    raw.footer.end_of_stack_position = 12345;
    EXPECT_EQ(open({raw})->seek_to_end_of_stack(0), 12345u);
}

TEST_F(StackRecordTest, RebuildsUnitsFromReducedFractions) {
    RawStack raw(types::uint8, {2}, "ab");
    raw.footer.axis_units[0].exponents[0] = {4, 2};
    raw.footer.axis_units[0].exponents[2] = {-1, 2};
    raw.footer.axis_units[0].exponents[3] = {0, 0};
    raw.footer.axis_units[0].exponents[4] = {std::numeric_limits<std::int32_t>::min(), -1};
    auto const stack = open({raw})->get_stack(0);
    auto const& exponents = stack->units(0).exponents;
    using Vexa::units::detail::Fraction;
    EXPECT_EQ(exponents[0], Fraction(2, 1));
    EXPECT_EQ(exponents[2], Fraction(1, -2)) << "the way a fraction reduces";
    EXPECT_EQ(exponents[3], Fraction(0, 1));
}

/// The unit that a label suggests is for who asks; the file gets what was set.
TEST_F(StackRecordTest, StoresUnitsThatWereSetNotThoseDerivedFromLabels) {
    auto const file = create();
    Bytes const samples{1, 2};
    auto stack = file->add_stack(types::uint8, {2}, false);
    stack->set_label(0, "X");
    stack->write(types::uint8, samples.data(), nullptr, 2);
    std::size_t const second = read_bytes(path).size();
    file->close();
    std::string const bytes = read_bytes(path);
    ASSERT_GT(bytes.size(), second);
    EXPECT_EQ(bytes.substr(first_stack + 368 + 2 + 208, 80), unit_one);
    EXPECT_EQ(open()->get_stack(0)->units(0), RuntimeValue("um")) << "and derived again by the reader";
}

TEST_F(StackRecordTest, StoresGeneratedColumnPositionsOnceTheyWereAskedFor) {
    auto const file = create();
    Bytes const samples{1, 2};
    auto stack = file->add_stack(types::uint8, {2}, false);
    EXPECT_EQ(stack->col_positions(0), (std::vector<double>{-1.0, 0.0}));
    stack->write(types::uint8, samples.data(), nullptr, 2);
    file->close();
    EXPECT_EQ(value_at<std::uint32_t>(read_bytes(path), first_stack + 368 + 2 + 4), 1u);
    EXPECT_EQ(open()->get_stack(0)->col_positions(0), (std::vector<double>{-1.0, 0.0}));
}

TEST_F(StackRecordTest, LeavesOutColumnPositionsOfASmallerAxis) {
    auto const file = create();
    Bytes const samples{1, 2, 3, 4};
    auto stack = file->add_stack(types::uint8, {2, 0}, false);
    stack->write(types::uint8, samples.data(), nullptr, 2);
    EXPECT_EQ(stack->col_positions(1).size(), 1u);
    stack->write(types::uint8, samples.data(), nullptr, 2);
    stack->write_end(types::uint8);
    file->close();
    auto const read = open()->get_stack(0);
    EXPECT_EQ(read->shape(), (std::vector<std::size_t>{2, 2}));
    EXPECT_TRUE(read->is_equidistant(1));
}

TEST_F(StackRecordTest, AsksForAReaderOfVersionSixWithTwoChunkRecords) {
    auto const file = create();
    file->default_write_mode = WriteModeFlags::chunk_wise;
    Bytes const samples{1, 2, 3};
    auto const a = file->add_stack(types::uint8, {3}, false);
    auto const b = file->add_stack(types::uint8, {3}, false);
    for (std::size_t i = 0; i < 3; ++i) {
        a->write(types::uint8, &samples[i], nullptr, 1);
        if (i < 2) b->write(types::uint8, &samples[i], nullptr, 1);
    }
    b->write(types::uint8, &samples[2], nullptr, 1);
    file->close();
    std::string const bytes = read_bytes(path);
    auto const footer_of = [&](std::size_t stack) {
        return stack + 368 + value_at<std::uint64_t>(bytes, stack + 352);
    };
    auto const second = value_at<std::uint64_t>(bytes, first_stack + 360);
    EXPECT_EQ(value_at<std::uint64_t>(bytes, footer_of(first_stack) + 1460), 2u);
    EXPECT_EQ(value_at<std::uint32_t>(bytes, footer_of(first_stack) + 1440), 6u);
    EXPECT_EQ(value_at<std::uint64_t>(bytes, footer_of(second) + 1460), 2u);
    EXPECT_EQ(value_at<std::uint32_t>(bytes, footer_of(second) + 1440), 6u);

    auto const other = folder / "b.vbf";
    auto const file_b = Vexa::open_file(other, Mode::create);
    auto const c = file_b->add_stack(types::uint8, {2}, WriteModeFlags::chunk_wise, false);
    auto const d = file_b->add_stack(types::uint8, {2}, WriteModeFlags::chunk_wise, false);
    c->write(types::uint8, samples.data(), nullptr, 1);
    d->write(types::uint8, samples.data(), nullptr, 1);
    c->write(types::uint8, samples.data(), nullptr, 1);
    d->write(types::uint8, samples.data(), nullptr, 1);
    file_b->close();
    std::string const bytes_b = read_bytes(other);
    auto const d_position = value_at<std::uint64_t>(bytes_b, first_stack + 360);
    auto const d_footer = d_position + 368 + value_at<std::uint64_t>(bytes_b, d_position + 352);
    EXPECT_EQ(value_at<std::uint64_t>(bytes_b, d_footer + 1460), 1u);
    EXPECT_EQ(value_at<std::uint32_t>(bytes_b, d_footer + 1440), 0u);
}

// The file behind the stack

TEST_F(StackRecordTest, OfAFileThatIsGoneCannotBeUsed) {
    std::string const gone = "Cannot access File_Stack, file has been closed.";
    auto file = open({RawStack(types::uint8, {2}, "ab")});
    auto const stack = file->get_stack(0);
    Bytes samples(2);
    unsigned long pos = 0;
    auto const expect_all_throw = [&](std::string const& read_text) {
        VEXA_EXPECT_THROWS(stack->read(types::uint8, samples.data(), nullptr), std::runtime_error, read_text);
        VEXA_EXPECT_THROWS(stack->read(types::uint8, samples.data(), nullptr, 2, pos), std::runtime_error,
                           read_text);
        VEXA_EXPECT_THROWS(stack->write(types::uint8, samples.data(), nullptr, 2), std::runtime_error,
                           read_text);
    };
    file->close();
    expect_all_throw("File not open.");
    file->open(path, Mode::read);
    expect_all_throw(gone);
    file->close();
    file.reset();
    expect_all_throw(gone);
    VEXA_EXPECT_THROWS(stack->write_end(types::uint8), std::runtime_error, gone);
    VEXA_EXPECT_THROWS(stack->truncate(), std::runtime_error, gone);
    VEXA_EXPECT_THROWS(stack->truncate_at(1), std::runtime_error, gone);
    VEXA_EXPECT_THROWS(stack->reserve(0), std::runtime_error, gone);
    VEXA_EXPECT_THROWS(stack->set_compression(0, 0), std::runtime_error, gone);
    VEXA_EXPECT_THROWS(stack->set_flush_block_size(0), std::runtime_error, gone);
    VEXA_EXPECT_THROWS(stack->get_aligned_compressed_chunk_ranges({0, 1}), std::runtime_error, gone);
    EXPECT_EQ(stack->shape(), (std::vector<std::size_t>{2})) << "the description stays";
    EXPECT_EQ(stack->samples_written(), 2u);
}

TEST_F(StackRecordTest, TakesTheDefaultsOfTheFile) {
    auto const file = create();
    file->default_compression_type = 1;
    file->default_compression_level = 7;
    file->default_write_mode = WriteModeFlags::no_padding;
    auto const stack = std::dynamic_pointer_cast<StackImp>(file->add_stack(types::uint8, {2}, false));
    int type = 0;
    int level = 0;
    stack->get_compression(type, level);
    EXPECT_EQ(type, 1);
    EXPECT_EQ(level, 7);
    EXPECT_EQ(stack->write_mode(), WriteMode(WriteModeFlags::no_padding));
    file->default_compression_level = 2;
    stack->apply_file_defaults(std::dynamic_pointer_cast<FileImp>(file));
    stack->get_compression(type, level);
    EXPECT_EQ(level, 2);
    auto const other =
        std::dynamic_pointer_cast<StackImp>(std::shared_ptr<StackInterface>(std::make_shared<StackImp>(
            types::uint8, std::vector<unsigned long>{2}, false, std::dynamic_pointer_cast<FileImp>(file))));
    EXPECT_EQ(other->io_status(), stack_status::uncommitted);
    stack->truncate();
}

TEST_F(StackRecordTest, CanGetAnotherShapeBeforeItIsWritten) {
    auto const file = create();
    auto const stack = std::dynamic_pointer_cast<StackImp>(file->add_stack(types::uint8, {2}, false));
    stack->set_label(0, "x");
    stack->set_shape({4, 5});
    EXPECT_EQ(stack->lengths(), (std::vector<double>{2.0, 1.0}));
    EXPECT_EQ(stack->labels(), (std::vector<std::string>{"x", ""}));
    EXPECT_EQ(stack->number_of_elements(), 20u);
    VEXA_EXPECT_THROWS(stack->set_shape(std::vector<unsigned long>(16, 1)), std::invalid_argument,
                       "A stack in a file can have at most 15 axes.");
    stack->set_variable_size(3, 0.5);
    EXPECT_EQ(stack->shape(), (std::vector<std::size_t>{4, 3}));
    EXPECT_EQ(stack->length(1), 1.5);
    stack->set_variable_size(5, 1.0);
    EXPECT_EQ(stack->number_of_elements(), 20u);
    stack->truncate();
}

} // namespace
