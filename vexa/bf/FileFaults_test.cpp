// A device that fails: whatever does not reach the disk is told to the caller.

#include <vexa/bf/FileImp.h>

#include <cerrno>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/bf/StackImp.h>
#include <vexa/foundation/error.h>
#include <vexa/foundation/types.h>
#include <vexa/testing/bytes.h>
#include <vexa/testing/expect_throws.h>
#include <vexa/testing/failing_stream.h>
#include <vexa/testing/temporary_folder.h>

namespace {

using namespace Vexa::bf;
using namespace Vexa::testing;
namespace types = Vexa::types;
using Mode = DiskFile::Mode;
using Bytes = std::vector<unsigned char>;

constexpr unsigned long unlimited = FailingStream::unlimited;

/// A measurement with each kind of stack. Every step is passed to \p run, which calls it.
using Step = std::function<void()>;
void measure(FILE*& stream, std::function<void(Step const&)> const& run) {
    auto const file = std::make_shared<FileImp>(false);
    Bytes const samples(6000, 7);
    using Stack = std::shared_ptr<StackInterface>;
    Stack stack;
    Stack other;
    auto const write = [&](Stack const& to, std::size_t n) {
        if (to) to->write(types::uint8, samples.data(), nullptr, n);
    };
    run([&] {
        file->attach(stream, Mode::create);
        file->set_tag("tag", std::string(5000, 't'));
        file->set_file_desc("description");
    });
    run([&] { stack = file->add_stack(types::uint16, {3000}, WriteModeFlags::no_flush, false); });
    run([&] { write(stack, 1000); });
    run([&] { write(stack, 2000); });
    stack.reset();
    run([&] {
        stack = file->add_stack(types::uint8, {100, 0}, false);
        stack->set_compression(1, 1);
        stack->set_flush_block_size(500);
        stack->set_name(std::string(3000, 'n'));
    });
    run([&] { write(stack, 1200); });
    run([&] {
        if (stack) stack->write_end(types::uint8);
    });
    stack.reset();
    run([&] {
        stack = file->add_stack(types::uint8, {6000}, false);
        stack->set_tag("tag", JSON::Value(std::string(6000, 'j')));
        stack->reserve(10);
    });
    run([&] { other = file->add_stack(types::uint8, {4000}, WriteModeFlags::chunk_wise, false); });
    run([&] { write(other, 2000); });
    run([&] { write(stack, 6000); });
    run([&] { write(other, 2000); });
    run([&] { file->detach(); });
    run([&] {
        if (file->is_open()) file->DiskFile::detach();
    });
}

/// \return the texts of all failures
std::vector<std::string> failures_of(FILE*& stream) {
    std::vector<std::string> failures;
    measure(stream, [&](Step const& step) {
        try {
            step();
        } catch (std::exception const& e) {
            failures.push_back(e.what());
        }
    });
    return failures;
}

/// Deliberately small, so that each thing written needs calls of its own.
void set_small_buffer(FailingStream& stream, std::vector<char>& buffer) {
    buffer.resize(64);
    std::setvbuf(stream.stream(), buffer.data(), _IOFBF, buffer.size());
}

class FileFaults : public ::testing::TestWithParam<bool> {};

TEST_P(FileFaults, AtAnyWriteAreTold) {
    std::vector<char> buffer;
    FailingStream whole;
    if (GetParam()) set_small_buffer(whole, buffer);
    ASSERT_EQ(failures_of(whole.stream()), std::vector<std::string>{});
    std::fflush(whole.stream());

    for (bool once : {true, false}) {
        unsigned long k = 0;
        for (bool failed = true; failed; ++k) {
            std::vector<char> small;
            FailingStream stream;
            if (GetParam()) set_small_buffer(stream, small);
            stream.write_calls = k;
            stream.once = once;
            auto const failures = failures_of(stream.stream());
            failed = !failures.empty();
            if (!failed) {
                EXPECT_EQ(stream.bytes, whole.bytes) << "write " << k << " was lost in silence";
                continue;
            }
            EXPECT_TRUE(failures[0].ends_with(": No space left on device")) << failures[0];
            EXPECT_TRUE(failures[0].starts_with("Failed writing ") ||
                        failures[0].starts_with("Failed flushing "))
                << failures[0];
        }
        EXPECT_GT(k, 20u);
    }
}

TEST_P(FileFaults, AtAnyByteAreTold) {
    std::vector<char> buffer;
    FailingStream whole;
    if (GetParam()) set_small_buffer(whole, buffer);
    ASSERT_TRUE(failures_of(whole.stream()).empty());
    std::fflush(whole.stream());
    for (unsigned long n = 0; n < 60000; n += 1 + n / 50) {
        std::vector<char> small;
        FailingStream stream;
        if (GetParam()) set_small_buffer(stream, small);
        stream.write_bytes = n;
        auto const failures = failures_of(stream.stream());
        if (failures.empty()) {
            EXPECT_EQ(stream.bytes, whole.bytes) << n;
        } else {
            EXPECT_EQ(stream.write_bytes, 0u);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(BufferOfTheStream, FileFaults, ::testing::Values(false, true),
                         [](auto const& parameter) { return parameter.param ? "small" : "usual"; });

TEST(FileFault, InAStackLeavesTheCallerTheChoiceToCommitAgain) {
    FailingStream stream;
    auto const file = std::make_shared<FileImp>(false);
    file->attach(stream.stream(), Mode::create);
    file->flush();
    file->flush_file_buffers();
    auto const stack = file->add_stack(types::uint8, {2}, false);
    stack->set_description(std::string(100000, 'd'));
    stream.write_calls = 0;
    stream.once = true;
    Bytes const samples{1, 2};
    VEXA_EXPECT_THROWS(stack->write(types::uint8, samples.data(), nullptr, 2), VexaError,
                       "Failed writing 100000 bytes to file: No space left on device");
    EXPECT_EQ(stack->io_status(), stack_status::uncommitted);
    stack->write(types::uint8, samples.data(), nullptr, 2);
    file->detach();
    std::fflush(stream.stream());
    std::rewind(stream.stream());
    auto const again = std::make_shared<FileImp>(false);
    again->attach(stream.stream(), Mode::read);
    ASSERT_EQ(again->get_num_stacks(), 1u);
    Bytes read(2);
    again->get_stack(0)->read(types::uint8, read.data(), nullptr);
    EXPECT_EQ(read, samples);
    again->detach();
}

TEST(FileFault, InTheDestructorIsSwallowed) {
    for (unsigned long k = 0; k < 8; ++k) {
        FailingStream stream;
        {
            auto const file = std::make_shared<FileImp>(false);
            file->attach(stream.stream(), Mode::create);
            auto const stack = file->add_stack(types::uint8, {20000}, false);
            Bytes const samples(10000);
            stack->write(types::uint8, samples.data(), nullptr, 10000);
            stream.write_calls = k;
        }
        SUCCEED();
    }
}

TEST(FileFault, InReadingIsToldAndTheNextReadIsGood) {
    FailingStream stream;
    auto file = std::make_shared<FileImp>(false);
    file->attach(stream.stream(), Mode::create);
    Bytes samples(100000);
    for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<unsigned char>(i % 251);
    for (int compression : {0, 1}) {
        auto const stack = file->add_stack(types::uint8, {100000}, false);
        stack->set_compression(compression, 1);
        stack->set_flush_block_size(10000);
        stack->write(types::uint8, samples.data(), nullptr, samples.size());
    }
    file->detach();
    std::rewind(stream.stream());
    file = std::make_shared<FileImp>(false);
    file->attach(stream.stream(), Mode::read);
    stream.error = EIO;
    for (std::size_t i = 0; i < 2; ++i) {
        auto const stack = file->get_stack(i);
        Bytes read(samples.size());
        unsigned long pos = 0;
        stream.read_calls = 0;
        EXPECT_THROW(stack->read(types::uint8, read.data(), nullptr, 50000, pos), VexaError);
        EXPECT_EQ(pos, 0u);
        stream.read_calls = unlimited;
        stack->read(types::uint8, read.data(), nullptr, samples.size(), pos);
        EXPECT_EQ(read, samples);
    }
    file->detach();
}

TEST(FileFault, OnAFullDeviceIsToldByCloseAndByWrite) {
    auto const open = [] { return Vexa::open_file("/dev/full", Mode::create); };
    try {
        open();
    } catch (VexaError const&) {
        GTEST_SKIP() << "no /dev/full here";
    }
    auto file = open();
    VEXA_EXPECT_THROWS(file->close(), VexaError, "Failed flushing data to file: No space left on device");
    file = open();
    auto const stack = file->add_stack(types::uint8, {2}, false);
    Bytes const samples{1, 2};
    EXPECT_THROW(stack->write(types::uint8, samples.data(), nullptr, 2), VexaError);
    file = open();
    file->default_write_mode = WriteModeFlags::no_flush;
    FILE* stream = nullptr;
    EXPECT_THROW(
        {
            file->add_stack(types::uint8, {2}, false)->write(types::uint8, samples.data(), nullptr, 2);
            stream = file->detach();
        },
        VexaError);
    EXPECT_EQ(stream, nullptr);
    file.reset();
}

} // namespace
