// Several stacks in one file: adding, settling, finding and ending them.

#include <vexa/bf/FileImp.h>

#include <cstdint>
#include <memory>
#include <numeric>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/arrays/StackImp.h>
#include <vexa/bf/StackImp.h>
#include <vexa/foundation/error.h>
#include <vexa/foundation/types.h>
#include <vexa/testing/bytes.h>
#include <vexa/testing/expect_throws.h>
#include <vexa/testing/file_builder.h>
#include <vexa/testing/file_walker.h>
#include <vexa/testing/temporary_folder.h>

namespace {

using namespace Vexa::bf;
using namespace Vexa::testing;
namespace types = Vexa::types;
using Mode = DiskFile::Mode;
using Bytes = std::vector<unsigned char>;
using Stack = std::shared_ptr<StackInterface>;

WriteMode const chunk_wise = WriteModeFlags::chunk_wise;

class FileStacks : public ::testing::Test {
protected:
    static void write(Stack const& stack, Bytes const& samples) {
        stack->write(types::uint8, samples.data(), nullptr, samples.size());
    }
    static Bytes samples_of(FileInterface const& file, std::size_t index) {
        auto const stack = file.get_stack(index);
        Bytes samples(stack->number_of_elements());
        stack->read(types::uint8, samples.data(), nullptr);
        return samples;
    }
    void expect_file(std::vector<Bytes> const& stacks) {
        for (auto const& fault : walk_file(path).faults)
            ADD_FAILURE() << fault.text << " at " << fault.position;
        auto const again = Vexa::open_file(path, Mode::read);
        ASSERT_EQ(again->get_num_stacks(), stacks.size());
        for (std::size_t i = 0; i < stacks.size(); ++i) EXPECT_EQ(samples_of(*again, i), stacks[i]) << i;
    }

    TemporaryFolder folder;
    std::filesystem::path const path = folder / "a.vbf";
    std::shared_ptr<FileInterface> file = Vexa::open_file(path, Mode::create);
};

// Settling

std::string const not_started =
    "Cannot add next stack: Could not start chunk wise writing on previous stack.";

struct Settling {
    char const* name;
    int status;
    WriteMode mode;
    bool next_is_chunk_wise;
    int settled;            ///< status afterwards
    std::string error = {}; ///< the text, if the next stack is refused
};

void PrintTo(Settling const& settling, std::ostream* os) { *os << settling.name; }

class FileStacksSettling : public FileStacks, public ::testing::WithParamInterface<Settling> {
protected:
    Stack add_in_status(int status, WriteMode mode) {
        auto const stack = file->add_stack(types::uint8, {0}, mode, false);
        switch (status) {
        case stack_status::complete: stack->write_end(types::uint8); break;
        case stack_status::writing:
        case stack_status::chunk_wise_writing: write(stack, {1, 2}); break;
        default: break;
        }
        return stack;
    }
};

TEST_P(FileStacksSettling, DependsOnItsStatusAndOnTheNextStack) {
    Settling const& settling = GetParam();
    Stack earlier;
    if (settling.status == stack_status::reserved) {
        earlier = file->add_stack(types::uint8, {2}, settling.mode, false);
        earlier->reserve(0);
    } else if (settling.status == stack_status::uncommitted) {
        earlier = file->add_stack(types::uint8, {2}, settling.mode, false);
    } else {
        earlier = add_in_status(settling.status, settling.mode);
    }
    ASSERT_EQ(earlier->io_status(), settling.status);
    auto const add = [&] {
        return file->add_stack(types::uint8, {1}, settling.next_is_chunk_wise ? chunk_wise : WriteMode{},
                               false);
    };
    if (settling.error.empty()) {
        EXPECT_NO_THROW(add());
        EXPECT_EQ(file->get_num_stacks(), 2u);
    } else {
        VEXA_EXPECT_THROWS(add(), VexaError, settling.error);
        EXPECT_EQ(file->get_num_stacks(), 1u);
    }
    EXPECT_EQ(earlier->io_status(), settling.settled);
    file.reset();
    EXPECT_NO_THROW(Vexa::open_file(path, Mode::read));
}

using namespace stack_status;

INSTANTIATE_TEST_SUITE_P(
    Table, FileStacksSettling,
    ::testing::Values(
        Settling{"complete, then chunk wise", complete, {}, true, complete},
        Settling{"complete, then ordinary", complete, {}, false, complete},
        Settling{"uncommitted, then chunk wise", uncommitted, {}, true, uncommitted, not_started},
        Settling{"uncommitted, then ordinary", uncommitted, {}, false, uncommitted, not_started},
        Settling{"uncommitted chunk wise, then chunk wise", uncommitted, chunk_wise, true,
                 chunk_wise_writing},
        Settling{"uncommitted chunk wise, then ordinary", uncommitted, chunk_wise, false, uncommitted,
                 not_started},
        Settling{"writing, then chunk wise", writing, {}, true, complete},
        Settling{"writing, then ordinary", writing, {}, false, complete},
        Settling{"reserved, then chunk wise", reserved, {}, true, reserved},
        Settling{"reserved, then ordinary", reserved, {}, false, reserved},
        Settling{"chunk wise writing, then chunk wise", chunk_wise_writing, chunk_wise, true,
                 chunk_wise_writing},
        Settling{"chunk wise writing, then ordinary", chunk_wise_writing, chunk_wise, false, complete}));

TEST_F(FileStacks, LetsChunkWiseStacksTakeSamplesInTurn) {
    auto const a = file->add_stack(types::uint8, {4}, chunk_wise, false);
    auto const b = file->add_stack(types::uint8, {4}, chunk_wise, false);
    EXPECT_EQ(a->io_status(), chunk_wise_writing) << "committed by a write of no samples";
    EXPECT_EQ(b->io_status(), uncommitted);
    for (unsigned char i = 0; i < 4; ++i) {
        write(a, {i});
        write(b, {static_cast<unsigned char>(10 + i)});
    }
    file->close();
    expect_file({{0, 1, 2, 3}, {10, 11, 12, 13}});
}

TEST_F(FileStacks, WithAnOpenTypeStopsALaterChunkWiseStack) {
    auto const a = file->add_stack(0, {4}, chunk_wise, false);
    std::string const text = "Cannot add next stack: Previous stack has undetermined data type.";
    VEXA_EXPECT_THROWS(file->add_stack(types::uint8, {4}, chunk_wise, false), VexaError, text);
    write(a, {1});
    auto const b = file->add_stack(types::uint8, {1}, chunk_wise, false);
    write(b, {2});
    write(a, {2, 3, 4});
    file->close();
    expect_file({{1, 2, 3, 4}, {2}});
}

/// Deliberate: the earlier stack is complete by then, so that the next try succeeds.
TEST_F(FileStacks, WithNoSamplesToWriteStopsALaterChunkWiseStackOnce) {
    auto const empty = file->add_stack(types::uint8, {0}, chunk_wise, false);
    VEXA_EXPECT_THROWS(file->add_stack(types::uint8, {1}, chunk_wise, false), VexaError, not_started);
    EXPECT_EQ(empty->io_status(), complete);
    write(file->add_stack(types::uint8, {1}, chunk_wise, false), {2});
    file->close();
    expect_file({{}, {2}});
}

TEST_F(FileStacks, EndsAnOrdinaryStackWithTheNextOneUnlessItLacksSamples) {
    auto const first = file->add_stack(types::uint8, {3}, false);
    write(first, {1, 2});
    VEXA_EXPECT_THROWS(file->add_stack(types::uint8, {1}, false), std::runtime_error,
                       "Not enough samples written.");
    EXPECT_EQ(file->get_num_stacks(), 1u);
    write(first, {3});
    write(file->add_stack(types::uint8, {1}, false), {4});
    file->close();
    expect_file({{1, 2, 3}, {4}});
}

TEST_F(FileStacks, FillsReservedOnesBesideOthers) {
    std::vector<Stack> reserved_stacks;
    for (int i = 0; i < 3; ++i) {
        reserved_stacks.push_back(file->add_stack(types::uint8, {4}, false));
        reserved_stacks.back()->set_compression(1, 1);
        reserved_stacks.back()->reserve(10);
    }
    auto const last = file->add_stack(types::uint8, {2}, false);
    for (unsigned char i = 0; i < 2; ++i) {
        write(last, {i});
        for (auto const& stack : reserved_stacks) write(stack, {i, 7});
    }
    file->close();
    expect_file({{0, 7, 1, 7}, {0, 7, 1, 7}, {0, 7, 1, 7}, {0, 1}});
}

// Adding

TEST_F(FileStacks, AreAddedToAWritableFileOnly) {
    std::string const text = "File not open for writing.";
    file->close();
    Vexa::arrays::StackImp const source(types::uint8, {1});
    auto const expect_refused = [&] {
        VEXA_EXPECT_THROWS(file->add_stack(types::uint8, {1}, false), std::runtime_error, text);
        VEXA_EXPECT_THROWS(file->add_stack(types::uint8, {1}, chunk_wise, false), std::runtime_error, text);
        VEXA_EXPECT_THROWS(file->add_stack(source, 0, false), std::runtime_error, text);
        VEXA_EXPECT_THROWS(file->add_stack(source, chunk_wise, 0, false), std::runtime_error, text);
        VEXA_EXPECT_THROWS(file->write_stack(&source, 0), std::runtime_error, text);
    };
    expect_refused();
    file->open(path, Mode::read);
    expect_refused();
    EXPECT_EQ(file->get_num_stacks(), 0u);
}

TEST_F(FileStacks, AreAddedInFourWays) {
    Vexa::arrays::StackImp source(types::uint16, {2, 3});
    source.set_name("source");
    source.set_label(1, "y");
    source.set_lengths({0.5, 0.25});
    auto const a = std::dynamic_pointer_cast<StackImp>(file->add_stack(types::int8, {2}, true));
    EXPECT_EQ(a->type(), types::int8);
    a->write_end(0);
    auto const b = std::dynamic_pointer_cast<StackImp>(
        file->add_stack(types::int8, {2}, WriteModeFlags::no_padding, false));
    EXPECT_EQ(b->write_mode(), WriteMode(WriteModeFlags::no_padding));
    b->truncate();
    auto const c = file->add_stack(source, 0, false);
    EXPECT_EQ(c->type(), types::uint16);
    EXPECT_EQ(c->shape(), source.shape());
    EXPECT_EQ(c->name(), "source");
    EXPECT_EQ(c->label(1), "y");
    EXPECT_EQ(c->lengths(), source.lengths());
    c->truncate();
    auto const d = std::dynamic_pointer_cast<StackImp>(
        file->add_stack(source, WriteModeFlags::no_flush, types::single, false));
    EXPECT_EQ(d->type(), types::single);
    EXPECT_EQ(d->write_mode(), WriteMode(WriteModeFlags::no_flush));
    d->truncate();
    EXPECT_EQ(file->get_num_stacks(), 4u);
    EXPECT_EQ(file->get_stack(3), d);
    file->close();
    EXPECT_EQ(file->get_num_stacks(), 0u);
}

TEST_F(FileStacks, RefuseAShapeThatCannotBeCounted) {
    VEXA_EXPECT_THROWS(file->add_stack(types::uint8, {1ul << 32, 1ul << 32, 0}, false), std::runtime_error,
                       "The product exceeds the maximum size.");
}

TEST_F(FileStacks, AreAddedBehindThoseOfAModifiedFile) {
    write(file->add_stack(types::uint8, {1}, false), {1});
    file->close();
    file->open(path, Mode::modify);
    EXPECT_EQ(samples_of(*file, 0), Bytes{1});
    auto const size = std::filesystem::file_size(path);
    auto const added = file->add_stack(types::uint8, {2}, false);
    write(added, {2, 3});
    EXPECT_EQ(samples_of(*file, 1), (Bytes{2, 3}));
    EXPECT_EQ(value_at<std::uint64_t>(read_bytes(path), 34 + 360), size);
    file->close();
    std::string bytes = read_bytes(path);
    put(bytes, 26, value_at<std::uint64_t>(bytes, 0)); // what closing would have had to do
    bytes.replace(0, 8, "VEXA_BF\n");
    write_bytes(path, bytes);
    expect_file({{1}, {2, 3}});
}

// Whole stacks

TEST_F(FileStacks, ComeFromMemoryAndGoThere) {
    Vexa::arrays::StackImp source(types::uint8, {2, 2});
    source.set_name("memory");
    auto* const data = static_cast<unsigned char*>(source.get_data_ptr());
    std::iota(data, data + 4, static_cast<unsigned char>(250));
    file->write_stack(&source, 0);
    file->write_stack(&source, types::double_);
    VEXA_EXPECT_THROWS(file->write_stack(nullptr, 0), std::invalid_argument, "No stack given.");
    file->close();
    file->open(path, Mode::read);
    EXPECT_EQ(file->get_stack(0)->type(), types::uint8);
    EXPECT_EQ(file->get_stack(1)->type(), types::double_);
    for (std::size_t i = 0; i < 2; ++i) {
        auto const stack = file->read_stack(i, types::int16);
        EXPECT_EQ(stack->name(), "memory");
        EXPECT_EQ(stack->type(), types::int16);
        auto const* const samples = static_cast<std::int16_t const*>(stack->get_data_ptr());
        EXPECT_EQ(std::vector<std::int16_t>(samples, samples + 4),
                  (std::vector<std::int16_t>{250, 251, 252, 253}));
    }
    EXPECT_EQ(file->read_stack(1, 0)->type(), types::double_);
    VEXA_EXPECT_THROWS(file->read_stack(2, 0), VexaError, "Invalid stack index '2'.");
}

TEST_F(FileStacks, HaveIndicesFromZeroOn) {
    VEXA_EXPECT_THROWS(file->get_stack(0), VexaError, "Invalid stack index '0'.");
    VEXA_EXPECT_THROWS(file->get_stack(static_cast<unsigned long>(-1)), VexaError,
                       "Invalid stack index '18446744073709551615'.");
}

TEST_F(FileStacks, HaveAnEndInAFileThatIsReadOnly) {
    std::string const text = "File must be open in read mode to allow seeking to end of file.";
    write(file->add_stack(types::uint8, {3}, false), {1, 2, 3});
    VEXA_EXPECT_THROWS(file->seek_to_end_of_stack(0), std::runtime_error, text);
    file->close();
    VEXA_EXPECT_THROWS(file->seek_to_end_of_stack(0), std::runtime_error, text);
    file->open(path, Mode::modify);
    VEXA_EXPECT_THROWS(file->seek_to_end_of_stack(0), std::runtime_error, text);
    file = Vexa::create_file(false);
    write_bytes(path, file_of({RawStack(types::uint8, {1}, "a"), RawStack(types::uint8, {2}, "bc")}));
    file->open(path, Mode::read);
    EXPECT_EQ(file->seek_to_end_of_stack(1), read_bytes(path).size() - 4);
    EXPECT_EQ(std::dynamic_pointer_cast<FileImp>(file)->tell(), read_bytes(path).size() - 4);
    VEXA_EXPECT_THROWS(file->seek_to_end_of_stack(2), std::runtime_error, "Invalid stack number.");
}

// Ending

TEST_F(FileStacks, AreEndedByFlush) {
    auto const planes = file->add_stack(types::uint8, {2, 0}, false);
    write(planes, {1, 2});
    file->flush();
    EXPECT_EQ(planes->io_status(), complete);
    file->close();
    expect_file({{1, 2}});
}

TEST_F(FileStacks, AreForgottenAtClose) {
    write(file->add_stack(types::uint8, {1}, false), {1});
    std::weak_ptr<StackInterface> const stack = file->get_stack(0);
    file->close();
    EXPECT_TRUE(stack.expired());
}

TEST_F(FileStacks, AreAllPaddedByTheDestructor) {
    auto const reserved_stack = file->add_stack(types::uint8, {3}, false);
    reserved_stack->reserve(0);
    auto const a = file->add_stack(types::uint8, {4}, chunk_wise, false);
    write(a, {1});
    auto const b = file->add_stack(types::uint8, {2, 0}, chunk_wise, false);
    write(b, {5, 6, 7});
    write(a, {2});
    file.reset();
    expect_file({{0, 0, 0}, {1, 2, 0, 0}, {5, 6, 7, 0}});
    EXPECT_THROW(write(a, {3}), std::runtime_error);
}

// The chain

TEST_F(FileStacks, AreFoundInTheOrderOfTheirLinks) {
    std::vector<RawStack> const raw{RawStack(types::uint8, {1}, "a"), RawStack(types::uint8, {1}, "b"),
                                    RawStack(types::uint8, {1}, "c")};
    std::string bytes = file_of(raw);
    std::uint64_t const size = raw[0].bytes(0).size();
    // c, a, b: links that point backwards are followed
    put(bytes, 14, 34 + 2 * size);
    put(bytes, 34 + 2 * size + 360, std::uint64_t{34});
    put(bytes, 34 + 360, 34 + size);
    put(bytes, 34 + size + 360, std::uint64_t{0});
    file.reset();
    write_bytes(path, bytes);
    auto const read = Vexa::open_file(path, Mode::read);
    ASSERT_EQ(read->get_num_stacks(), 3u);
    EXPECT_EQ(samples_of(*read, 0), Bytes{'c'});
    EXPECT_EQ(samples_of(*read, 1), Bytes{'a'});
    EXPECT_EQ(samples_of(*read, 2), Bytes{'b'});
    EXPECT_EQ(std::dynamic_pointer_cast<FileImp>(read)->tell(), 34u) << "behind the header";
}

TEST_F(FileStacks, InACircleAreRefused) {
    std::vector<RawStack> const raw{RawStack(types::uint8, {1}, "a"), RawStack(types::uint8, {1}, "b")};
    std::uint64_t const size = raw[0].bytes(0).size();
    file.reset();
    for (std::uint64_t target : {std::uint64_t{34}, 34 + size}) {
        std::string bytes = file_of(raw);
        put(bytes, 34 + size + 360, target);
        write_bytes(path, bytes);
        for (Mode mode : {Mode::read, Mode::modify})
            VEXA_EXPECT_THROWS(Vexa::open_file(path, mode), std::runtime_error,
                               "Invalid stack position specified in header.");
    }
}

TEST_F(FileStacks, OutsideOfTheFileAreRefused) {
    std::string bytes = file_of({RawStack(types::uint8, {1}, "a")});
    file.reset();
    for (std::uint64_t target : {bytes.size(), bytes.size() - 367, bytes.size() + 1000000}) {
        put(bytes, 14, target);
        write_bytes(path, bytes);
        EXPECT_THROW(Vexa::open_file(path, Mode::read), VexaError) << target;
    }
    put(bytes, 14, (std::uint64_t{1} << 63) - 1);
    write_bytes(path, bytes);
    VEXA_EXPECT_THROWS(Vexa::open_file(path, Mode::read), std::runtime_error,
                       "Invalid stack position specified in header.");
    put(bytes, 14, ~std::uint64_t{0});
    write_bytes(path, bytes);
    EXPECT_THROW(Vexa::open_file(path, Mode::read), std::exception);
    put(bytes, 14, std::uint64_t{33});
    write_bytes(path, bytes);
    VEXA_EXPECT_THROWS(Vexa::open_file(path, Mode::read), std::runtime_error,
                       "Stack header not in VBF format.");
}

TEST_F(FileStacks, ReadBeforeAFaultStayUntilTheNextOpening) {
    std::string bytes = file_of({RawStack(types::uint8, {1}, "a"), RawStack(types::uint8, {1}, "b")});
    std::uint64_t const second = value_at<std::uint64_t>(bytes, 34 + 360);
    file->close();
    std::string damaged = bytes;
    damaged[second] = 'v';
    write_bytes(path, damaged);
    VEXA_EXPECT_THROWS(file->open(path, Mode::read), std::runtime_error, "Stack header not in VBF format.");
    EXPECT_EQ(file->get_num_stacks(), 1u);
    write_bytes(path, bytes);
    file->open(path, Mode::read);
    EXPECT_EQ(file->get_num_stacks(), 2u);
}

} // namespace
