// Writing samples, from the commit to the footer.

#include <vexa/bf/StackImp.h>

#include <complex>
#include <cstdint>
#include <memory>
#include <numeric>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/bf/FileImp.h>
#include <vexa/foundation/error.h>
#include <vexa/foundation/types.h>
#include <vexa/testing/bytes.h>
#include <vexa/testing/executors.h>
#include <vexa/testing/expect_throws.h>
#include <vexa/testing/file_walker.h>
#include <vexa/testing/temporary_folder.h>

namespace {

using namespace Vexa::bf;
using namespace Vexa::testing;
namespace types = Vexa::types;
using Mode = DiskFile::Mode;
using Bytes = std::vector<unsigned char>;
using Stack = std::shared_ptr<StackInterface>;

constexpr unsigned long all = StackInterface::all;
void* const zeros = StackInterface::zeros;

class StackWriting : public ::testing::Test {
protected:
    StackWriting() { file->open(path, Mode::create); }

    Stack add(std::vector<unsigned long> const& shape, int type = types::uint8, WriteMode mode = {},
              bool data_less = false) {
        return file->add_stack(type, shape, mode, data_less);
    }
    /// n samples 1, 2, 3, ...
    static Bytes ramp(std::size_t n) {
        Bytes samples(n);
        std::iota(samples.begin(), samples.end(), static_cast<unsigned char>(1));
        return samples;
    }
    static void write(Stack const& stack, Bytes const& samples) {
        stack->write(types::uint8, samples.data(), nullptr, samples.size());
    }
    /// All samples of a stack of the closed file.
    template <typename T = unsigned char>
    std::vector<T> read_back(std::size_t index, int type = types::uint8) {
        auto const again = Vexa::open_file(path, Mode::read);
        auto const stack = again->get_stack(index);
        std::vector<T> samples(stack->number_of_elements());
        stack->read(type, samples.data(), nullptr);
        return samples;
    }
    /// The file has no fault that a reader of the bytes could find, and its stacks hold these samples.
    void expect_closes_with(std::vector<Bytes> const& stacks) {
        ASSERT_NO_THROW(file->close());
        expect_holds(stacks);
    }
    void expect_holds(std::vector<Bytes> const& stacks) {
        auto const walked = walk_file(path);
        for (auto const& fault : walked.faults) ADD_FAILURE() << fault.text << " at " << fault.position;
        ASSERT_EQ(walked.stacks.size(), stacks.size());
        for (std::size_t i = 0; i < stacks.size(); ++i) EXPECT_EQ(read_back(i), stacks[i]) << "stack " << i;
    }

    TemporaryFolder folder;
    std::filesystem::path const path = folder / "a.vbf";
    std::shared_ptr<FileImp> file = std::make_shared<FileImp>(true);
};

// The commit

TEST_F(StackWriting, OfAllSamplesInOneCallCompletesTheStack) {
    auto const stack = add({3, 2});
    EXPECT_EQ(stack->io_status(), stack_status::uncommitted);
    stack->write(types::uint8, ramp(6).data(), nullptr, all);
    EXPECT_EQ(stack->io_status(), stack_status::complete);
    EXPECT_EQ(stack->samples_written(), 6u);
    expect_closes_with({ramp(6)});
}

TEST_F(StackWriting, InPiecesCompletesTheStackWithTheLastSample) {
    auto const stack = add({3, 2});
    write(stack, {1, 2});
    EXPECT_EQ(stack->io_status(), stack_status::writing);
    EXPECT_EQ(stack->samples_written(), 2u);
    write(stack, {3, 4, 5});
    write(stack, {6});
    EXPECT_EQ(stack->io_status(), stack_status::complete);
    expect_closes_with({ramp(6)});
}

TEST_F(StackWriting, OfTooManySamplesFailsWithTheStackCommitted) {
    auto const stack = add({6});
    VEXA_EXPECT_THROWS(write(stack, ramp(10)), std::runtime_error,
                       "Trying to write more samples than the stack is long.");
    EXPECT_EQ(stack->io_status(), stack_status::writing);
    EXPECT_EQ(stack->samples_written(), 0u);
    EXPECT_EQ(file->tell(), 34u + 368) << "header on disk";
    VEXA_EXPECT_THROWS(write(stack, ramp(7)), std::runtime_error,
                       "Trying to write more samples than the stack is long.");
    write(stack, ramp(6));
    expect_closes_with({ramp(6)});
}

struct CommitFailure {
    char const* name;
    int type;
    bool imaginary;
    unsigned long n;
    char const* text;
};

void PrintTo(CommitFailure const& failure, std::ostream* os) { *os << failure.name; }

class StackCommitFailure : public StackWriting, public ::testing::WithParamInterface<CommitFailure> {};

/// The stack is wholly committed, and the file can be closed with padding.
TEST_P(StackCommitFailure, LeavesAFileThatCanBeClosed) {
    auto const before = add({2});
    write(before, {8, 9});
    auto const stack = add({3});
    Bytes const samples = ramp(64);
    VEXA_EXPECT_THROWS(stack->write(GetParam().type, samples.data(),
                                    GetParam().imaginary ? samples.data() : nullptr, GetParam().n),
                       std::runtime_error, GetParam().text);
    EXPECT_EQ(stack->io_status(), stack_status::writing);
    EXPECT_EQ(std::dynamic_pointer_cast<Vexa::bf::StackImp>(stack)->samples_written(), 0u);
    auto const position = 34u + 368 + 2 + 1528 + 8;
    EXPECT_EQ(value_at<std::uint64_t>(
                  [&] {
                      file->flush_file_buffers();
                      return read_bytes(path);
                  }(),
                  34 + 360),
              position)
        << "linked";
    file.reset();
    expect_holds({{8, 9}, {0, 0, 0}});
}

INSTANTIATE_TEST_SUITE_P(
    Checks, StackCommitFailure,
    ::testing::Values(CommitFailure{"too many", types::uint8, false, 4,
                                    "Trying to write more samples than the stack is long."},
                      CommitFailure{"none", types::uint8, false, 0, "Not enough samples written."},
                      CommitFailure{"imaginary part of a real stack", types::uint8, true, 3,
                                    "Imaginary block given but stack is not complex."},
                      CommitFailure{"imaginary part beside complex samples", types::cplx_single, true, 3,
                                    "Imaginary block given but buffer is already complex."},
                      CommitFailure{"no conversion", types::logical, false, 3,
                                    "Invalid on-the-fly conversion from 'logical' to 'uint8'."}));

TEST_F(StackWriting, OfNoBufferIsRefused) {
    auto const stack = add({3});
    VEXA_EXPECT_THROWS(stack->write(types::uint8, nullptr, nullptr, 3), std::runtime_error,
                       "No samples given.");
    stack->truncate();
    expect_closes_with({{0, 0, 0}});
}

TEST_F(StackWriting, ToACompleteStackIsRefused) {
    auto const stack = add({2});
    write(stack, {1, 2});
    VEXA_EXPECT_THROWS(write(stack, {3}), std::runtime_error,
                       "Stack is already complete. Invalid call to write().");
    VEXA_EXPECT_THROWS(stack->write_end(types::uint8), std::runtime_error,
                       "Stack is already complete. Invalid call to write().");
    VEXA_EXPECT_THROWS(stack->truncate(), std::runtime_error,
                       "Stack is already complete. Invalid call to write().");
    expect_closes_with({{1, 2}});
}

TEST_F(StackWriting, ToAStackThatWasOnlyMadeForReadingIsRefused) {
    StackImp stack(file);
    VEXA_EXPECT_THROWS(stack.write(types::uint8, ramp(1).data(), nullptr, 1), std::runtime_error,
                       "Stack not ready to be committed. Meta-information missing.");
}

TEST_F(StackWriting, ToADataLessStackIsRefusedAndItsEndIsNot) {
    auto const stack = add({4}, types::uint8, {}, true);
    VEXA_EXPECT_THROWS(write(stack, {1}), std::runtime_error, "Trying to write to empty stack.");
    VEXA_EXPECT_THROWS(stack->write(types::uint8, ramp(4).data(), nullptr, all), std::runtime_error,
                       "Trying to write to empty stack.");
    EXPECT_EQ(stack->io_status(), stack_status::uncommitted);
    stack->write_end(types::uint8);
    EXPECT_EQ(stack->io_status(), stack_status::complete);
    auto const truncated = add({4}, types::uint8, {}, true);
    truncated->truncate();
    expect_closes_with({{0, 0, 0, 0}, {0, 0, 0, 0}});
}

TEST_F(StackWriting, SettlesAnOpenType) {
    auto const first = add({2}, 0);
    std::uint16_t const samples[] = {1000, 2000};
    first->write(types::uint16, samples, nullptr, 1);
    EXPECT_EQ(first->type(), types::uint16);
    write(first, {7});
    auto const second = add({1}, 0);
    float const part = 1.5f;
    second->write(types::single, &part, &part, 1);
    EXPECT_EQ(second->type(), types::cplx_single);
    file->close();
    EXPECT_EQ(read_back<std::uint16_t>(0, types::uint16), (std::vector<std::uint16_t>{1000, 7}));
    EXPECT_EQ(read_back<std::complex<float>>(1, types::cplx_single),
              (std::vector<std::complex<float>>{{1.5f, 1.5f}}));
}

TEST_F(StackWriting, OfNothingGivesAnOpenTypeTheFirstOne) {
    auto const empty = add({0, 3}, 0);
    empty->write(0, nullptr, nullptr, 0);
    EXPECT_EQ(empty->type(), types::uint8);
    EXPECT_EQ(empty->io_status(), stack_status::complete);
    auto const truncated = add({2, 0}, 0);
    truncated->truncate();
    EXPECT_EQ(truncated->type(), types::uint8);
    expect_closes_with({{}, {}});
}

TEST_F(StackWriting, WithoutAnyTypeIsRefused) {
    auto const stack = add({3}, 0);
    VEXA_EXPECT_THROWS(stack->write(0, ramp(3).data(), nullptr, 3), std::runtime_error,
                       "Stack data type not set. Cannot commit stack to file.");
    VEXA_EXPECT_THROWS(stack->write_end(0), std::runtime_error,
                       "Stack data type not set. Cannot commit stack to file.");
    EXPECT_EQ(stack->io_status(), stack_status::uncommitted);
    write(stack, ramp(3));
    expect_closes_with({ramp(3)});
}

TEST_F(StackWriting, OfATypeWithoutElementSizeIsRefusedBeforeAnythingIsOnDisk) {
    for (int type : {types::char_, types::cell, 0x40000001}) {
        auto const stack = add({3}, type);
        VEXA_EXPECT_THROWS(write(stack, ramp(3)), std::runtime_error, "Unknown type of elements.");
        EXPECT_EQ(stack->io_status(), stack_status::uncommitted);
        file.reset();
        expect_holds({});
        file = std::make_shared<FileImp>(true);
        file->open(path, Mode::create);
    }
}

TEST_F(StackWriting, FixesSettings) {
    auto const stack = std::dynamic_pointer_cast<StackImp>(add({2}));
    stack->set_compression(1, 3);
    stack->set_flush_block_size(1);
    stack->set_write_mode(WriteModeFlags::no_flush);
    VEXA_EXPECT_THROWS(stack->set_variable_type(types::int8), std::runtime_error,
                       "The type is already set to '1'.");
    stack->set_type(types::int8);
    stack->write(types::uint8, ramp(1).data(), nullptr, 1);
    VEXA_EXPECT_THROWS(stack->set_compression(0, 0), std::runtime_error, "Cannot change compression mode.");
    VEXA_EXPECT_THROWS(stack->set_flush_block_size(0), std::runtime_error,
                       "Flush block size can only be set before starting to write.");
    VEXA_EXPECT_THROWS(stack->set_write_mode({}), std::runtime_error,
                       "Invalid attempt to change write flags.");
    VEXA_EXPECT_THROWS(stack->set_type(types::uint8), std::runtime_error,
                       "Cannot set values: Object locked.");
    stack->truncate();
    expect_closes_with({{1, 0}});
}

// The end

TEST_F(StackWriting, EndedTooEarlyIsRefused) {
    auto const stack = add({6});
    write(stack, ramp(5));
    VEXA_EXPECT_THROWS(stack->write_end(types::uint8), std::runtime_error, "Not enough samples written.");
    write(stack, {6});
    expect_closes_with({ramp(6)});
}

TEST_F(StackWriting, OfPlanesEndsOnlyBetweenThem) {
    auto const stack = add({4, 0});
    write(stack, ramp(6));
    EXPECT_EQ(stack->shape(), (std::vector<std::size_t>{4, 1})) << "an open plane does not count";
    VEXA_EXPECT_THROWS(stack->write_end(types::uint8), std::runtime_error, "Not on sample boundary.");
    stack->truncate();
    EXPECT_EQ(stack->shape(), (std::vector<std::size_t>{4, 2}));
    EXPECT_EQ(stack->samples_written(), 8u);
    expect_closes_with({{1, 2, 3, 4, 5, 6, 0, 0}});
}

TEST_F(StackWriting, OfPlanesGrowsWithEachOne) {
    auto const stack = add({2, 0});
    stack->set_length(1, 0.5);
    stack->set_units(1, Vexa::units::RuntimeValue("s"));
    for (unsigned char i = 0; i < 3; ++i) {
        write(stack, {i, i});
        EXPECT_EQ(stack->shape().back(), i + 1u);
        EXPECT_EQ(stack->length(1), 0.5 * (i + 1));
    }
    stack->write_end(types::uint8);
    EXPECT_EQ(stack->io_status(), stack_status::complete);
    expect_closes_with({{0, 0, 1, 1, 2, 2}});
}

TEST_F(StackWriting, OfPlanesWithoutSamplesIsEmpty) {
    auto const all_at_once = add({2, 0});
    all_at_once->write(types::uint8, ramp(2).data(), nullptr, all);
    EXPECT_EQ(all_at_once->io_status(), stack_status::complete) << "all samples of none";
    auto const line = add({0});
    write(line, {1, 2, 3});
    line->write_end(types::uint8);
    expect_closes_with({{}, {1, 2, 3}});
}

TEST_F(StackWriting, OfPlanesThatHoldNothingIsRefused) {
    auto const stack = add({0, 0});
    VEXA_EXPECT_THROWS(write(stack, {1}), std::runtime_error,
                       "Trying to write more samples than the stack is long.");
    VEXA_EXPECT_THROWS(stack->truncate_at(4), std::runtime_error,
                       "Custom varsize chunk size must be multiple of default chunk size");
    stack->truncate();
    expect_closes_with({{}});
}

TEST_F(StackWriting, OfAllSamplesHasNoMeaningOnceAStackOfPlanesHasBegun) {
    auto const stack = add({2, 0});
    write(stack, {1});
    VEXA_EXPECT_THROWS(stack->write(types::uint8, ramp(2).data(), nullptr, all), std::runtime_error,
                       "Trying to write more samples than the stack is long.");
    stack->truncate();
    expect_closes_with({{1, 0}});
}

TEST_F(StackWriting, TruncatedFillsWithZeros) {
    auto const untouched = add({3});
    untouched->truncate();
    auto const begun = add({3});
    write(begun, {1});
    begun->truncate();
    EXPECT_EQ(begun->samples_written(), 3u);
    auto const whole_planes = add({2, 0});
    write(whole_planes, {1, 2});
    whole_planes->truncate();
    EXPECT_EQ(whole_planes->samples_written(), 2u);
    expect_closes_with({{0, 0, 0}, {1, 0, 0}, {1, 2}});
}

TEST_F(StackWriting, TruncatedAtALargerStepFillsUpToIt) {
    auto const stack = add({2, 0});
    write(stack, {1, 2, 3});
    for (unsigned long k : {0ul, 1ul, 3ul})
        VEXA_EXPECT_THROWS(stack->truncate_at(k), std::runtime_error,
                           "Custom varsize chunk size must be multiple of default chunk size");
    stack->truncate_at(8);
    EXPECT_EQ(stack->shape(), (std::vector<std::size_t>{2, 4}));
    auto const full = add({2, 0});
    write(full, {1, 2, 3, 4});
    full->truncate_at(4);
    EXPECT_EQ(full->samples_written(), 4u);
    auto const fixed = add({3});
    write(fixed, {1});
    fixed->truncate_at(2);
    expect_closes_with({{1, 2, 3, 0, 0, 0, 0, 0}, {1, 2, 3, 4}, {1, 0, 0}});
}

TEST_F(StackWriting, TruncatedWithoutPaddingEndsShort) {
    auto const stack = add({6}, types::uint8, WriteModeFlags::no_padding);
    write(stack, {1, 2});
    stack->truncate();
    EXPECT_EQ(stack->samples_written(), 2u);
    EXPECT_EQ(stack->io_status(), stack_status::complete);
    auto const untouched = add({3}, types::uint8, WriteModeFlags::no_padding);
    untouched->truncate();
    EXPECT_EQ(untouched->samples_written(), 0u);
    auto const planes = add({4, 0}, types::uint8, WriteModeFlags::no_padding);
    write(planes, {1, 2, 3, 4, 5});
    planes->truncate();
    EXPECT_EQ(planes->shape(), (std::vector<std::size_t>{4, 2}));
    EXPECT_EQ(planes->samples_written(), 5u);
    expect_closes_with({{1, 2, 0, 0, 0, 0}, {0, 0, 0}, {1, 2, 3, 4, 5, 0, 0, 0}});
    EXPECT_EQ(Vexa::open_file(path, Mode::read)->get_stack(0)->samples_written(), 2u);
}

TEST_F(StackWriting, OfZerosThatDoNotEndTheStackPutsThemOnDisk) {
    auto const stack = add({6}, types::uint8, WriteModeFlags::no_padding);
    stack->write(types::double_, zeros, nullptr, 2);
    EXPECT_EQ(stack->samples_written(), 2u);
    write(stack, {3, 4});
    stack->write(types::uint8, zeros, nullptr, 2);
    EXPECT_EQ(stack->samples_written(), 4u);
    auto const complex_stack = add({2}, types::cplx_double);
    double const real[] = {1.0, 2.0};
    complex_stack->write(types::double_, real, zeros, 1);
    complex_stack->write(types::double_, zeros, &real[1], 1);
    file->close();
    EXPECT_EQ(read_back(0), (Bytes{0, 0, 3, 4, 0, 0}));
    EXPECT_EQ(read_back<std::complex<double>>(1, types::cplx_double),
              (std::vector<std::complex<double>>{{1.0, 0.0}, {0.0, 2.0}}));
}

// Conversion

TEST_F(StackWriting, ConvertsToTheTypeOfTheStack) {
    auto const stack = add({4});
    double const samples[] = {-1.0, 300.7, 44.0, 0.0};
    stack->write(types::double_, samples, nullptr, 4);
    expect_closes_with({{255, 44, 44, 0}});
}

TEST_F(StackWriting, JoinsRealAndImaginaryParts) {
    auto const stack = add({2}, types::cplx_single);
    std::int16_t const re[] = {1, -2};
    std::int16_t const im[] = {3, -4};
    stack->write(types::int16, re, im, 2);
    file->close();
    EXPECT_EQ(read_back<std::complex<float>>(0, types::cplx_single),
              (std::vector<std::complex<float>>{{1, 3}, {-2, -4}}));
}

TEST_F(StackWriting, NamesTheTypesOfAnImpossibleConversion) {
    auto const stack = add({2}, types::uint8);
    VEXA_EXPECT_THROWS(stack->write(types::cplx_double, ramp(32).data(), nullptr, 2), std::runtime_error,
                       "Invalid on-the-fly conversion from 'cplx_double' to 'uint8'.");
    VEXA_EXPECT_THROWS(stack->write(types::rgb_triple, ramp(6).data(), nullptr, 2), std::runtime_error,
                       "Invalid on-the-fly conversion from '1024' to 'uint8'.");
    VEXA_EXPECT_THROWS(stack->write(types::char_, zeros, nullptr, 2), std::runtime_error,
                       "Invalid on-the-fly conversion from 'char' to 'uint8'.");
    stack->truncate();
    auto const complex_stack = add({2}, types::cplx_single);
    VEXA_EXPECT_THROWS(complex_stack->write(types::logical, ramp(2).data(), ramp(2).data(), 2),
                       std::runtime_error,
                       "Invalid on-the-fly conversion from 'cplx_logical' to 'cplx_single'.");
    complex_stack->truncate();
    file->close();
}

TEST_F(StackWriting, MovesBlocksOfTheChunkSize) {
    std::vector<unsigned long> reports;
    file->set_progress_cb([&](unsigned long bytes) {
        reports.push_back(bytes);
        return true;
    });
    file->set_chunk_size(4);
    auto const stack = add({7}, types::uint16);
    std::vector<double> const samples{1, 2, 3, 4, 5, 6, 7};
    stack->write(types::double_, samples.data(), nullptr, 7);
    EXPECT_EQ(reports, (std::vector<unsigned long>{4, 4, 4, 2}));
    reports.clear();
    file->set_chunk_size(0);
    write(add({2}), {1, 2});
    add({2})->truncate();
    EXPECT_EQ(reports, (std::vector<unsigned long>{1, 1, 1, 1})) << "one sample at least";
    file->set_chunk_size(all);
    write(add({3}), {1, 2, 3});
    file->close();
    EXPECT_EQ(read_back(0), ramp(7));
    EXPECT_EQ(read_back(3), ramp(3));
}

TEST_F(StackWriting, CancelledStopsBehindABlockThatIsNotCounted) {
    for (int compression : {0, 1}) {
        int reports = 0;
        file->set_progress_cb([&](unsigned long) { return ++reports < 2; });
        file->set_chunk_size(2);
        auto const stack = add({6});
        stack->set_compression(compression, 1);
        VEXA_EXPECT_THROWS(write(stack, ramp(6)), std::runtime_error, "Cancelled by user.");
        EXPECT_EQ(stack->samples_written(), 2u);
        EXPECT_EQ(stack->io_status(), stack_status::writing);
        file->set_progress_cb({});
        stack->truncate();
        EXPECT_EQ(stack->samples_written(), 6u);
    }
    file->close();
    for (std::size_t i : {0u, 1u}) EXPECT_EQ(read_back(i), (Bytes{1, 2, 3, 4, 0, 0}));
}

TEST_F(StackWriting, CancelledAtOnceAndEndedWithoutPaddingStaysReadable) {
    for (int compression : {0, 1}) {
        file->set_progress_cb([](unsigned long) { return false; });
        auto const stack = add({4}, types::uint8, WriteModeFlags::no_padding);
        stack->set_compression(compression, 1);
        stack->set_flush_block_size(0);
        VEXA_EXPECT_THROWS(write(stack, ramp(4)), std::runtime_error, "Cancelled by user.");
        file->set_progress_cb({});
        stack->truncate();
    }
    file->close();
    EXPECT_EQ(read_back(0), ramp(4)) << "on disk, and padding behind it";
    EXPECT_EQ(read_back(1), Bytes(4)) << "was still in the buffers of zlib";
}

// Flush blocks

TEST_F(StackWriting, NotesAFlushPositionForEachFullBlock) {
    auto const stack = add({10});
    stack->set_compression(1, 1);
    stack->set_flush_block_size(4);
    write(stack, ramp(10));
    auto const exact = add({8});
    exact->set_compression(1, 1);
    exact->set_flush_block_size(4);
    write(exact, ramp(8));
    auto const plain = add({8});
    plain->set_flush_block_size(4);
    write(plain, ramp(8));
    file->close();
    auto const walked = walk_file(path);
    ASSERT_EQ(walked.stacks.size(), 3u);
    EXPECT_EQ(walked.stacks[0].flush_positions.size(), 2u);
    EXPECT_EQ(walked.stacks[0].footer.flush_block_size, 4u);
    EXPECT_EQ(walked.stacks[1].flush_positions.size(), 2u) << "also for an exact multiple";
    EXPECT_EQ(walked.stacks[2].flush_positions.size(), 0u);
    expect_holds({ramp(10), ramp(8), ramp(8)});
}

TEST_F(StackWriting, WithoutFlushBlocksNotesNoPositions) {
    auto const stack = add({10});
    stack->set_compression(1, 1);
    stack->set_flush_block_size(0);
    write(stack, ramp(10));
    auto const planes = add({10, 0});
    planes->set_compression(1, 1);
    write(planes, ramp(20));
    planes->write_end(types::uint8);
    file->close();
    for (auto const& walked : walk_file(path).stacks) {
        EXPECT_EQ(walked.flush_positions.size(), 0u);
        EXPECT_EQ(walked.footer.flush_block_size, 0u);
    }
    expect_holds({ramp(10), ramp(20)});
}

TEST_F(StackWriting, ChoosesBlocksThatFitTheShape) {
    auto const stack = add({512, 512, 3}, types::uint16);
    stack->set_compression(1, 1);
    stack->truncate();
    file->close();
    auto const walked = walk_file(path).stacks.at(0);
    EXPECT_EQ(walked.footer.flush_block_size, 262144u);
    EXPECT_EQ(walked.flush_positions.size(), 6u);
    EXPECT_TRUE(read_section(*open_bytes(path), walked).faults.empty());
}

TEST_F(StackWriting, AtUnusualLevelsIsReadable) {
    for (int level : {-1, 0, 1, 9, 10, 1000}) {
        auto const stack = add({100});
        stack->set_compression(1, level);
        write(stack, ramp(100));
    }
    expect_closes_with(std::vector<Bytes>(6, ramp(100)));
}

// Room

TEST_F(StackWriting, IntoReservedRoomLeavesTheStreamAlone) {
    auto const reserved = add({100}, types::single);
    reserved->reserve(0);
    unsigned long const start = 34 + 368;
    EXPECT_EQ(file->tell(), start + 400 + 2097152);
    EXPECT_EQ(reserved->io_status(), stack_status::reserved);
    auto const next = add({2});
    write(next, {1, 2});
    unsigned long const end = file->tell();
    std::vector<float> const samples(100, 1.5f);
    reserved->write(types::single, samples.data(), nullptr, 40);
    EXPECT_EQ(file->tell(), end);
    reserved->write(types::single, samples.data(), nullptr, 60);
    EXPECT_EQ(file->tell(), end);
    EXPECT_EQ(reserved->io_status(), stack_status::complete);
    file->close();
    EXPECT_EQ(read_back<float>(0, types::single), samples);
    EXPECT_EQ(read_back(1), (Bytes{1, 2}));
    auto const again = Vexa::open_file(path, Mode::read);
    EXPECT_EQ(again->seek_to_end_of_stack(0), start + 400 + 2097152);
    EXPECT_EQ(walk_file(path).stacks.at(1).position, start + 400 + 2097152);
}

TEST_F(StackWriting, CanReserveRoomInTheMiddle) {
    auto const stack = add({10});
    stack->set_compression(1, 1);
    write(stack, {1, 2, 3});
    stack->reserve(5);
    EXPECT_EQ(file->tell(), 34u + 368 + 5 + 2097152 + 7) << "all of it is still in the buffers of zlib";
    stack->reserve(6);
    EXPECT_EQ(file->tell(), 34u + 368 + 6 + 2097152 + 7);
    auto const next = add({1});
    write(next, {9});
    VEXA_EXPECT_THROWS(stack->reserve(7), std::runtime_error,
                       "Cannot reserve space: Other data stand in the way.");
    write(stack, {4, 5, 6, 7, 8, 9, 10});
    expect_closes_with({ramp(10), {9}});
}

TEST_F(StackWriting, ReservesNothingForAStackOfNothing) {
    auto const stack = add({0, 2});
    stack->reserve(100);
    EXPECT_EQ(stack->io_status(), stack_status::complete);
    EXPECT_EQ(file->tell(), 34u + 368 + 1528 + 12);
    expect_closes_with({{}});
}

TEST_F(StackWriting, RefusesRoomForTheseStacksInThisOrder) {
    auto const reason = [](Stack const& stack) {
        try {
            stack->reserve(0);
        } catch (std::runtime_error const& e) {
            return std::string(e.what());
        }
        return std::string("none");
    };
    WriteMode const chunk_wise = WriteModeFlags::chunk_wise;
    auto const uncommitted = [&](std::vector<unsigned long> const& shape, int type, WriteMode mode,
                                 bool data_less) {
        auto const stack = std::make_shared<StackImp>(type, shape, data_less, file);
        stack->set_write_mode(mode);
        return stack;
    };
    EXPECT_EQ(reason(std::make_shared<StackImp>(file)),
              "Cannot reserve space: Stack is in an invalid state.");
    EXPECT_EQ(reason(uncommitted({2, 0}, 0, chunk_wise, true)),
              "Cannot reserve space: The last dimension of the stack is variable sized.");
    EXPECT_EQ(reason(uncommitted({2}, 0, chunk_wise, true)),
              "Cannot reserve space: Stack was created as data less.");
    EXPECT_EQ(reason(uncommitted({2}, 0, chunk_wise, false)),
              "Cannot reserve space: The data type of the stack is not (yet) determined.");
    EXPECT_EQ(reason(uncommitted({2}, types::uint8, chunk_wise, false)),
              "Invalid attempt to reserve space: Stack is written chunk wise.");
    auto const stack = add({2});
    write(stack, {1, 2});
    EXPECT_EQ(reason(stack), "Cannot reserve space: Stack is already completely written to disk.");
}

TEST_F(StackWriting, RefusesMoreRoomThanAFileCanHave) {
    auto const stack = add({3});
    for (unsigned long extra : {all, all / 2, all / 4})
        VEXA_EXPECT_THROWS(stack->reserve(extra), std::runtime_error,
                           "The offset exceeds the maximum offset.");
    EXPECT_EQ(stack->io_status(), stack_status::uncommitted);
    VEXA_EXPECT_THROWS(stack->reserve(1ul << 61), std::runtime_error,
                       "The offset exceeds the maximum offset.");
    EXPECT_EQ(stack->io_status(), stack_status::writing);
    write(stack, ramp(3));
    expect_closes_with({ramp(3)});
}

TEST_F(StackWriting, OfMoreBytesThanCanBeCountedIsRefusedBeforeAnythingIsOnDisk) {
    auto const stack = add({1ul << 62}, types::cplx_double);
    VEXA_EXPECT_THROWS(stack->reserve(0), std::runtime_error, "The offset exceeds the maximum offset.");
    VEXA_EXPECT_THROWS(stack->write(types::double_, ramp(8).data(), nullptr, 1), std::runtime_error,
                       "Invalid stack size: Larger than the addressable memory.");
    EXPECT_EQ(stack->io_status(), stack_status::uncommitted);
    file.reset();
    expect_holds({});
}

/// Labels and tags need room too; without it, the next stack would be overwritten.
TEST_F(StackWriting, DoesNotPutAFooterBeyondReservedRoom) {
    auto const reserved = add({2});
    reserved->set_labels({std::string(2100000, 'x')});
    reserved->reserve(0);
    auto const next = add({2});
    write(next, {1, 2});
    file->flush_file_buffers();
    std::string const before = read_bytes(path).substr(34 + 368 + 2 + 2097152);
    VEXA_EXPECT_THROWS(write(reserved, {3, 4}), std::runtime_error,
                       "Trying to write beyond file segment boundary.");
    file->flush_file_buffers();
    EXPECT_EQ(read_bytes(path).substr(34 + 368 + 2 + 2097152), before);
}

// The stream between writes

TEST_F(StackWriting, ToAStreamThatWasMovedIsRefused) {
    auto const stack = add({4});
    write(stack, {1, 2});
    unsigned long const here = file->tell();
    file->seek(3);
    VEXA_EXPECT_THROWS(write(stack, {3}), std::runtime_error,
                       "File pointer at invalid position encountered.");
    EXPECT_EQ(file->tell(), 3u) << "not moved back";
    file->seek(here);
    write(stack, {3, 4});
    expect_closes_with({ramp(4)});
}

TEST_F(StackWriting, ChunkWiseGoesWhereTheStreamStands) {
    auto const stack = add({4}, types::uint8, WriteModeFlags::chunk_wise);
    write(stack, {1, 2});
    EXPECT_EQ(stack->io_status(), stack_status::chunk_wise_writing);
    file->DiskFile::write("foreign", 7);
    write(stack, {3, 4});
    expect_closes_with({ramp(4)});
    auto const walked = walk_file(path).stacks.at(0);
    EXPECT_EQ(walked.chunk_records, (std::vector<std::pair<std::uint64_t, std::uint64_t>>{{2, 9}}));
}

TEST_F(StackWriting, ChunkWiseWithoutASampleKeepsItsFooterFindable) {
    WriteMode const flags = WriteMode(WriteModeFlags::chunk_wise) | WriteModeFlags::no_padding;
    for (int compression : {0, 1}) {
        auto const fixed = add({3}, types::uint8, flags);
        fixed->set_compression(compression, 1);
        auto const other = add({2}, types::uint8, flags);
        write(other, {1});
        fixed->truncate();
        write(other, {2});
    }
    expect_closes_with({{0, 0, 0}, {1, 2}, {0, 0, 0}, {1, 2}});
}

TEST_F(StackWriting, ChunkWiseOfPlanesEndsBehindOtherData) {
    for (int compression : {0, 1}) {
        auto const planes = add({2, 0}, types::uint8, WriteModeFlags::chunk_wise);
        planes->set_compression(compression, 1);
        write(planes, {1, 2, 3, 4});
        auto const other = add({2}, types::uint8, WriteModeFlags::chunk_wise);
        write(other, {1});
        planes->write_end(types::uint8);
        write(other, {2});
    }
    expect_closes_with({{1, 2, 3, 4}, {1, 2}, {1, 2, 3, 4}, {1, 2}});
}

// Closing

TEST_F(StackWriting, IsPaddedByTheDestructorOfTheFile) {
    write(add({4}), {1, 2});
    file.reset();
    expect_holds({{1, 2, 0, 0}});
}

/// A stack that can't even get a header does not take the others with it.
TEST_F(StackWriting, IsLeftOutByTheDestructorWhereTheTypeIsStillOpen) {
    write(add({2}), {1, 2});
    add({4}, 0);
    file.reset();
    expect_holds({{1, 2}});
}

TEST_F(StackWriting, UnfinishedKeepsTheFileFromClosing) {
    auto const stack = add({4});
    VEXA_EXPECT_THROWS(file->close(), std::runtime_error, "Not enough samples written.");
    EXPECT_TRUE(file->is_open());
    VEXA_EXPECT_THROWS(file->flush(), std::runtime_error, "Not enough samples written.");
    EXPECT_EQ(file->get_num_stacks(), 1u);
    write(stack, ramp(4));
    expect_closes_with({ramp(4)});
}

// Threads

TEST_F(StackWriting, WithManyThreadsPutsDownOneValidSection) {
    boost::asio::thread_pool pool(4);
    std::vector<std::uint16_t> samples(100000);
    for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<std::uint16_t>(i / 7);
    file->set_threading_support(pooled_execution(4, pool));
    auto const stack = add({1000, 100}, types::uint16);
    stack->set_compression(1, 1);
    stack->set_flush_block_size(10000);
    for (std::size_t i = 0; i < samples.size(); i += 12500)
        stack->write(types::uint16, &samples[i], nullptr, 12500);
    std::vector<std::uint16_t> meanwhile(samples.size());
    stack->read(types::uint16, meanwhile.data(), nullptr);
    EXPECT_EQ(meanwhile, samples) << "from the file that is still being written";
    file->close();
    auto const walked = walk_file(path).stacks.at(0);
    EXPECT_TRUE(read_section(*open_bytes(path), walked).faults.empty());
    EXPECT_EQ(read_back<std::uint16_t>(0, types::uint16), samples);
}

} // namespace
