// Files of the older array format through the interface of all files.

#include <vexa/bf/FileImp.h>

#include <array>
#include <filesystem>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vexa/arrays/StackImp.h>
#include <vexa/bf/StackImp.h>
#include <vexa/bf/dbl.h>
#include <vexa/foundation/error.h>
#include <vexa/foundation/types.h>
#include <vexa/testing/bytes.h>
#include <vexa/testing/expect_throws.h>
#include <vexa/testing/temporary_folder.h>

namespace {

using namespace Vexa::bf;
using namespace Vexa::testing;
namespace types = Vexa::types;
using Mode = DiskFile::Mode;
using Shape = std::vector<unsigned long>;
using ::testing::ElementsAre;

class DblFileTest : public ::testing::Test {
protected:
    /// Samples 0, 1, 2, ... as \p mode of vexa_dbl_write() has them.
    void put_file(std::array<int, 4> dims, int mode) const {
        std::array<float, 4> lengths{1.5f, 2.5f, 3.5f, 4.5f};
        std::size_t count = 1;
        for (int const size : dims) count *= static_cast<std::size_t>(size);
        std::vector<double> samples(count);
        std::iota(samples.begin(), samples.end(), 0.0);
        ASSERT_EQ(vexa_dbl_write(path.c_str(), dims.data(), lengths.data(), samples.data(), mode), 1);
    }

    Shape shape_of(std::array<int, 4> dims) const {
        std::filesystem::remove(path);
        put_file(dims, 0);
        return Vexa::open_file(path, Mode::read)->get_stack(0)->shape();
    }

    std::vector<double> samples_of(StackInterface const& stack) const {
        std::vector<double> samples(stack.number_of_elements(), -1);
        EXPECT_EQ(stack.read(types::double_, samples.data(), nullptr), samples.size());
        return samples;
    }

    TemporaryFolder folder;
    std::filesystem::path const path = folder / "a.dbl";
};

TEST_F(DblFileTest, IsAFileOfOneStack) {
    put_file({3, 2, 1, 1}, 0);
    auto const file = Vexa::open_file(path, Mode::read);
    EXPECT_TRUE(file->is_open());
    EXPECT_FALSE(file->is_attached());
    EXPECT_EQ(file->mode(), Mode::read);
    ASSERT_EQ(file->get_num_stacks(), 1u);
    auto const stack = file->get_stack(0);
    EXPECT_EQ(stack->type(), types::double_);
    EXPECT_THAT(stack->shape(), ElementsAre(3, 2));
    EXPECT_THAT(stack->lengths(), ElementsAre(1.5, 2.5));
    EXPECT_EQ(stack->io_status(), stack_status::complete);
    EXPECT_EQ(stack->samples_written(), 6u);
    EXPECT_THAT(samples_of(*stack), ElementsAre(0, 1, 2, 3, 4, 5));
    int compression = -1, level = -1;
    stack->get_compression(compression, level);
    EXPECT_EQ(compression, 0);
}

TEST_F(DblFileTest, HasTheseNumbersInItsRecord) {
    put_file({3, 2, 1, 1}, 1);
    auto const file = Vexa::open_file(path, Mode::read);
    auto const record = std::dynamic_pointer_cast<StackImp>(file->get_stack(0))->record();
    EXPECT_EQ(record.data_start_position, 128u);
    EXPECT_EQ(record.data_length, 24u);
    EXPECT_EQ(record.end_of_stack_position, 152u);
    EXPECT_THAT(record.chunk_records, ElementsAre(std::pair(128ul, 128ul)));
    EXPECT_EQ(file->seek_to_end_of_stack(0), 152u);
}

TEST_F(DblFileTest, FloatSamplesAreOfTypeSingle) {
    put_file({2, 2, 2, 2}, 1);
    auto const file = Vexa::open_file(path, Mode::read);
    EXPECT_EQ(file->get_stack(0)->type(), types::single);
    std::vector<float> samples(16);
    file->get_stack(0)->read(types::single, samples.data(), nullptr);
    EXPECT_EQ(samples[15], 15.0f);
    std::vector<unsigned char> bytes(2);
    unsigned long position = 7;
    file->get_stack(0)->read(types::uint8, bytes.data(), nullptr, 2, position);
    EXPECT_THAT(bytes, ElementsAre(7, 8));
    EXPECT_EQ(position, 9u);
    auto const copy = file->read_stack(0, types::int32);
    EXPECT_EQ(static_cast<int*>(copy->get_data_ptr())[9], 9);
}

TEST_F(DblFileTest, MoreSamplesThanTheOffsetOfTheChunkReadInOrder) {
    put_file({1000, 1, 1, 1}, 0);
    auto const file = Vexa::open_file(path, Mode::read);
    auto const samples = samples_of(*file->get_stack(0));
    for (std::size_t i = 0; i < samples.size(); ++i) ASSERT_EQ(samples[i], static_cast<double>(i));
}

TEST_F(DblFileTest, DimensionBelow2EndsTheShape) {
    EXPECT_EQ(shape_of({5, 1, 7, 1}), (Shape{5}));
    EXPECT_EQ(shape_of({1, 1, 1, 1}), Shape{});
    EXPECT_EQ(shape_of({1, 5, 5, 5}), Shape{});
    EXPECT_EQ(shape_of({0, 5, 5, 5}), Shape{});
    EXPECT_EQ(shape_of({5, 0, 7, 1}), (Shape{5}));
    EXPECT_EQ(shape_of({5, 7, 1, 3}), (Shape{5, 7}));
    EXPECT_EQ(shape_of({2, 3, 4, 0}), (Shape{2, 3, 4}));
    EXPECT_EQ(shape_of({2, 3, 4, 5}), (Shape{2, 3, 4, 5}));
}

TEST_F(DblFileTest, SamplesBeyondTheShapeAreNotSeen) {
    put_file({5, 1, 7, 1}, 0);
    auto const file = Vexa::open_file(path, Mode::read);
    auto const stack = file->get_stack(0);
    EXPECT_EQ(std::dynamic_pointer_cast<StackImp>(stack)->record().data_length, 40u);
    EXPECT_THAT(samples_of(*stack), ElementsAre(0, 1, 2, 3, 4));
}

TEST_F(DblFileTest, EmptyShapeHasNoSamples) {
    put_file({1, 1, 1, 1}, 0);
    auto const file = Vexa::open_file(path, Mode::read);
    EXPECT_EQ(file->get_stack(0)->number_of_elements(), 0u);
    EXPECT_TRUE(samples_of(*file->get_stack(0)).empty());
}

TEST_F(DblFileTest, EndingInCapitalsIsNotRecognised) {
    put_file({3, 2, 1, 1}, 0);
    for (char const* name : {"a.DBL", "a.Dbl", "a.dbl.x", "a_dbl", ".dbl"}) {
        std::filesystem::copy_file(path, folder / name);
        VEXA_EXPECT_THROWS(Vexa::open_file(folder / name, Mode::read), std::runtime_error,
                           "No VBF file header found.");
    }
    auto const file = std::make_shared<FileImp>(false);
    EXPECT_EQ(file->open_bf_dbl(folder / "a.DBL"), -1);
    EXPECT_FALSE(file->is_open());
    EXPECT_EQ(file->open_bf_dbl(path), 0);
    EXPECT_TRUE(file->is_open());
}

TEST_F(DblFileTest, ModesThatWriteTakeTheFileForVbf) {
    put_file({3, 2, 1, 1}, 0);
    VEXA_EXPECT_THROWS(Vexa::open_file(path, Mode::modify), std::runtime_error, "No VBF file header found.");
    Vexa::open_file(path, Mode::create)->close();
    EXPECT_EQ(read_bytes(path).substr(0, 8), "VEXA_BF\n");
}

TEST_F(DblFileTest, CannotBeWritten) {
    put_file({3, 2, 1, 1}, 0);
    auto const file = Vexa::open_file(path, Mode::read);
    VEXA_EXPECT_THROWS(file->add_stack(types::uint8, {1}, false), std::runtime_error,
                       "File not open for writing.");
    auto const stack = file->get_stack(0);
    VEXA_EXPECT_THROWS(stack->set_name("x"), std::runtime_error, "Cannot set values: Object locked.");
    VEXA_EXPECT_THROWS(stack->write(types::double_, nullptr, nullptr, 0), std::runtime_error,
                       "Stack is already complete. Invalid call to write().");
}

TEST_F(DblFileTest, HasNoTagsAndClosesAtTheStart) {
    put_file({3, 2, 1, 1}, 0);
    auto const file = std::make_shared<FileImp>(false);
    file->open(path, Mode::read);
    EXPECT_TRUE(file->tags().empty());
    EXPECT_EQ(file->format_version(), 2u);
    auto const stack = file->get_stack(0);
    samples_of(*stack);
    FILE* const stream = file->detach();
    EXPECT_EQ(std::ftell(stream), 0);
    std::fclose(stream);
    VEXA_EXPECT_THROWS(samples_of(*stack), std::runtime_error, "File not open.");
}

TEST_F(DblFileTest, LeavesNothingOfAnEarlierFile) {
    auto const file = std::make_shared<FileImp>(false);
    file->open(folder / "a.vbf", Mode::create);
    file->set_file_desc("text");
    file->set_tag("key", "value");
    file->add_stack(types::uint8, {1}, false)->write(types::uint8, "a", nullptr, 1);
    file->close();
    put_file({3, 2, 1, 1}, 0);
    file->open(path, Mode::read);
    std::string text;
    file->get_file_desc(text);
    EXPECT_EQ(text, "");
    EXPECT_TRUE(file->tags().empty());
    EXPECT_EQ(file->get_num_stacks(), 1u);
    file->close();
    file->open(folder / "a.vbf", Mode::read);
    EXPECT_EQ(file->get_stack(0)->type(), types::uint8);
    EXPECT_EQ(file->tag("key"), "value");
}

TEST_F(DblFileTest, OpenFileIsNotDisturbed) {
    put_file({3, 2, 1, 1}, 0);
    auto const file = Vexa::open_file(path, Mode::read);
    put_file({3, 2, 1, 1}, 0);
    VEXA_EXPECT_THROWS(file->open(path, Mode::read), std::runtime_error, "File already open or attached.");
    EXPECT_THAT(samples_of(*file->get_stack(0)), ElementsAre(0, 1, 2, 3, 4, 5));
}

TEST_F(DblFileTest, DefaultCompressionDoesNotCount) {
    put_file({3, 2, 1, 1}, 0);
    auto const file = Vexa::create_file(false);
    file->default_compression_type = 1;
    file->default_compression_level = 9;
    file->open(path, Mode::read);
    EXPECT_THAT(samples_of(*file->get_stack(0)), ElementsAre(0, 1, 2, 3, 4, 5));
}

TEST_F(DblFileTest, PathIsMadeNormal) {
    put_file({3, 2, 1, 1}, 0);
    EXPECT_NO_THROW(Vexa::open_file(folder / "none" / ".." / "a.dbl", Mode::read));
}

TEST_F(DblFileTest, WhatCannotBeReadIsNotOpen) {
    auto const file = Vexa::create_file(false);
    VEXA_EXPECT_THROWS(file->open(path, Mode::read), std::runtime_error, "Error reading .dbl file.");
    write_bytes(path, zero_bytes(127));
    VEXA_EXPECT_THROWS(file->open(path, Mode::read), std::runtime_error, "Error reading .dbl file.");
    write_bytes(path, std::string(8, '\xFF') + zero_bytes(120)); // 65535 four times
    VEXA_EXPECT_THROWS(file->open(path, Mode::read), std::runtime_error,
                       "Invalid stack size: Larger than the addressable memory.");
    EXPECT_FALSE(file->is_open());
    EXPECT_EQ(file->get_num_stacks(), 0u);
}

TEST_F(DblFileTest, SamplesThatAreNotThereCannotBeRead) {
    put_file({3, 2, 1, 1}, 0);
    std::filesystem::resize_file(path, 128 + 4 * 8 + 3);
    auto const file = Vexa::open_file(path, Mode::read);
    std::vector<double> samples(6);
    unsigned long position = 0;
    EXPECT_EQ(file->get_stack(0)->read(types::double_, samples.data(), nullptr, 4, position), 4u);
    EXPECT_EQ(samples[3], 3.0);
    EXPECT_THROW(file->get_stack(0)->read(types::double_, samples.data(), nullptr, 1, position), VexaError);
}

} // namespace
