// Files that were cut, changed or made up: a clear error or the truth, and no more memory than they deserve.

#include <vexa/bf/FileImp.h>

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vexa/bf/StackImp.h>
#include <vexa/foundation/types.h>
#include <vexa/testing/bytes.h>
#include <vexa/testing/executors.h>
#include <vexa/testing/file_builder.h>
#include <vexa/testing/temporary_folder.h>

namespace {

std::atomic<std::size_t> memory_now{0};
std::atomic<std::size_t> memory_peak{0};

void* count_allocation(std::size_t size) {
    void* const block = std::malloc(size ? size : 1);
    if (!block) throw std::bad_alloc();
    std::size_t const now = memory_now += ::malloc_usable_size(block);
    for (std::size_t peak = memory_peak; peak < now && !memory_peak.compare_exchange_weak(peak, now);) {
    }
    return block;
}

void count_release(void* block) {
    if (block) memory_now -= ::malloc_usable_size(block);
    std::free(block);
}

} // namespace

void* operator new(std::size_t size) { return count_allocation(size); }
void* operator new[](std::size_t size) { return count_allocation(size); }
void operator delete(void* block) noexcept { count_release(block); }
void operator delete[](void* block) noexcept { count_release(block); }
void operator delete(void* block, std::size_t) noexcept { count_release(block); }
void operator delete[](void* block, std::size_t) noexcept { count_release(block); }

namespace {

using namespace Vexa::bf;
using namespace Vexa::testing;
namespace types = Vexa::types;
using Mode = DiskFile::Mode;

/// The most memory that an action holds beyond what was held before.
template <typename Action>
std::size_t peak_of(Action action) {
    std::size_t const before = memory_now;
    memory_peak = before;
    action();
    return memory_peak - before;
}

class FileDamage : public ::testing::Test {
protected:
    /// Open the bytes and read what can be read.
    /// \return whether all of it could
    bool read_all(std::string const& bytes, unsigned long threads = 1) {
        ByteStream stream(bytes);
        auto const file = std::make_shared<FileImp>(false);
        file->set_threading_support(inline_execution(threads));
        bool good = true;
        try {
            file->attach(stream.get(), Mode::read);
            for (std::size_t i = 0; i < file->get_num_stacks(); ++i)
                good = read_stack(*file->get_stack(i)) && good;
        } catch (std::exception const&) {
            good = false;
        }
        file->detach();
        return good;
    }

    /// Some pieces, in no good order.
    static bool read_stack(StackInterface const& stack) {
        std::vector<unsigned char> samples(16 * 1000);
        unsigned long const n = stack.number_of_elements();
        bool good = true;
        for (unsigned long at : {0ul, n / 2, n - std::min(n, 700ul), n / 3}) {
            try {
                unsigned long position = at;
                stack.read(stack.type(), samples.data(), nullptr, 1000, position);
            } catch (std::exception const&) {
                good = false;
            }
        }
        return good;
    }

    TemporaryFolder folder;
};

/// A file with one of everything.
std::string rich_file() {
    TemporaryFolder folder;
    auto const path = folder / "rich.vbf";
    auto const file = Vexa::open_file(path, Mode::create);
    file->set_file_desc("all kinds of stacks");
    file->set_tag("tag", "of the file");
    std::vector<unsigned char> samples(3000);
    std::iota(samples.begin(), samples.end(), static_cast<unsigned char>(0));

    auto const plain = file->add_stack(types::uint16, {20, 30}, false);
    plain->set_name("plain");
    plain->set_labels({"x", "y"});
    plain->set_col_labels(1, std::vector<std::string>(30, "column"));
    plain->set_col_positions(0, std::vector<double>(20, 1.5));
    plain->set_xy_col_positions(1, std::vector<std::pair<double, double>>(30, {1.0, 2.0}));
    plain->set_units(0, Vexa::units::RuntimeValue("um"));
    plain->set_tag("json", JSON::Value("text"));
    plain->set_tag("xml", VProp(7));
    plain->write(types::uint8, samples.data(), nullptr, 600);

    auto const zipped = file->add_stack(types::uint8, {3000}, false);
    zipped->set_compression(1, 9);
    zipped->set_flush_block_size(500);
    zipped->write(types::uint8, samples.data(), nullptr, 3000);

    std::vector<std::shared_ptr<StackInterface>> chunked;
    for (int i = 0; i < 2; ++i) {
        chunked.push_back(file->add_stack(types::uint8, {100, 0}, WriteModeFlags::chunk_wise, false));
        chunked.back()->set_compression(i, 1);
        chunked.back()->write(types::uint8, samples.data(), nullptr, 50);
    }
    for (int round = 0; round < 3; ++round)
        for (auto const& stack : chunked) stack->write(types::uint8, samples.data(), nullptr, 50);
    for (auto const& stack : chunked) stack->write_end(types::uint8);
    file->add_stack(types::double_, {5, 5}, true)->write_end(0);
    file->close();
    return read_bytes(path);
}

TEST_F(FileDamage, IsNoneInTheFileToStartFrom) {
    EXPECT_TRUE(read_all(rich_file()));
    EXPECT_TRUE(read_all(rich_file(), 3));
}

TEST_F(FileDamage, ByACutIsAlwaysToldWhenOpening) {
    std::string const whole = rich_file();
    for (std::size_t n = 0; n < whole.size(); n += n < 100 || whole.size() - n < 100 ? 1 : 23) {
        ByteStream stream(whole.substr(0, n));
        auto const file = std::make_shared<FileImp>(false);
        EXPECT_THROW(file->attach(stream.get(), Mode::read), std::exception) << n << " bytes";
        file->detach();
    }
}

/// The tag list comes first here, so that a cut hits stacks.
TEST_F(FileDamage, ByACutThroughStacksIsAlwaysToldWhenOpening) {
    RawStack first(types::uint8, {4}, "abcd");
    first.name = "name";
    first.description = "description";
    first.footer.has_col_labels[0] = first.footer.has_col_positions[0] = 1;
    first.footer.has_xy_col_positions[0] = 1;
    first.footer.flush_position_count = 2;
    first.footer.chunk_record_count = 1;
    first.tail = counted("label") + std::string(32, 'p') + counted("a") + counted("b") + counted("c") +
                 counted("d") + std::string(16, 'f') + counted("k") + counted("1") + counted("") +
                 std::string(16, 'c') + std::string(64, 'x');
    std::string whole = file_of({first, first});
    whole.resize(whole.size() - 4);
    std::size_t const list = 18; // zero bytes in the header: an empty list
    put(whole, 26, std::uint64_t{list});
    auto const opens = [](std::string const& bytes) {
        ByteStream stream(bytes);
        auto const file = std::make_shared<FileImp>(false);
        bool good = true;
        try {
            file->attach(stream.get(), Mode::read);
        } catch (std::exception const&) {
            good = false;
        }
        file->detach();
        return good;
    };
    ASSERT_TRUE(opens(whole));
    for (std::size_t n = 0; n < whole.size(); ++n) EXPECT_FALSE(opens(whole.substr(0, n))) << n << " bytes";
}

TEST_F(FileDamage, OfSingleBytesNeverDoesWorseThanAnError) {
    std::string const whole = rich_file();
    unsigned const seed = 20240611;
    std::mt19937 random(seed);
    for (std::size_t i = 0; i < whole.size(); i += 1 + random() % 4) {
        std::string bytes = whole;
        switch (random() % 4) {
        case 0: bytes[i] = '\xFF'; break;
        case 1: bytes[i] = '\x00'; break;
        case 2: bytes[i] = static_cast<char>(bytes[i] ^ (1 << random() % 8)); break;
        default: bytes[i] = static_cast<char>(random());
        }
        SCOPED_TRACE("seed " + std::to_string(seed) + ", byte " + std::to_string(i));
        read_all(bytes, 1 + random() % 3);
    }
}

TEST_F(FileDamage, OfWholeFieldsNeverDoesWorseThanAnError) {
    std::string const whole = rich_file();
    unsigned const seed = 20240612;
    std::mt19937_64 random(seed);
    std::uint64_t const values[] = {0,
                                    1,
                                    0x7FFFFFFF,
                                    0xFFFFFFFF,
                                    0x100000000,
                                    0x7FFFFFFFFFFFFFFF,
                                    ~std::uint64_t{0},
                                    whole.size(),
                                    whole.size() - 8};
    for (int round = 0; round < 1500; ++round) {
        std::string bytes = whole;
        for (std::uint64_t n = 1 + random() % 3; n != 0; --n) {
            std::size_t const at = random() % (bytes.size() - 8);
            std::uint64_t const value = random() % 4 ? values[random() % 9] : random() % (2 * whole.size());
            if (random() % 2)
                put(bytes, at, value);
            else
                put(bytes, at, static_cast<std::uint32_t>(value));
        }
        SCOPED_TRACE("seed " + std::to_string(seed) + ", round " + std::to_string(round));
        read_all(bytes, 1 + random() % 3);
    }
}

// Memory

/// Memory that opening takes, for a file of these bytes that is refused or not.
std::size_t opening_peak(std::string const& bytes) {
    ByteStream stream(bytes);
    auto file = std::make_shared<FileImp>(false);
    std::size_t const peak = peak_of([&] {
        try {
            file->attach(stream.get(), Mode::read);
        } catch (std::exception const&) {
        }
    });
    file->detach();
    return peak;
}

constexpr std::size_t allowance = 100000;

struct Claim {
    char const* name;
    std::size_t offset; ///< in the file, of the field that claims too much
    std::size_t width;
    std::size_t flag = 0; ///< offset of a field that must be set for it
};

void PrintTo(Claim const& claim, std::ostream* os) { *os << claim.name; }

class FileClaims : public ::testing::TestWithParam<Claim> {};

TEST_P(FileClaims, TakeNoMemoryBeforeTheyAreChecked) {
    std::string bytes = file_of({RawStack(types::uint8, {4}, "abcd")});
    Claim const& claim = GetParam();
    if (claim.flag != 0) put(bytes, claim.flag, 1u);
    for (std::uint64_t value : {std::uint64_t{1} << 20, std::uint64_t{0x7FFFFFFF}, std::uint64_t{0xFFFFFFFF},
                                std::uint64_t{1} << 40, std::uint64_t{1} << 60, ~std::uint64_t{0}}) {
        if (claim.width == 4)
            put(bytes, claim.offset, static_cast<std::uint32_t>(value));
        else
            put(bytes, claim.offset, value);
        EXPECT_LT(opening_peak(bytes), allowance) << value;
    }
}

constexpr std::size_t stack_at = 34;
constexpr std::size_t footer_at = stack_at + 368 + 4;
constexpr std::size_t tail_at = footer_at + 1528;

INSTANTIATE_TEST_SUITE_P(
    Fields, FileClaims,
    ::testing::Values(Claim{"file description", 22, 4}, Claim{"name", stack_at + 336, 4},
                      Claim{"description", stack_at + 340, 4}, Claim{"data length", stack_at + 352, 8},
                      Claim{"column positions", stack_at + 24, 4, footer_at + 4},
                      Claim{"column labels", stack_at + 24, 4, footer_at + 64},
                      Claim{"xy column positions", stack_at + 24, 4, footer_at + 1468},
                      Claim{"footer size", footer_at, 4}, Claim{"obsolete text", footer_at + 124, 4},
                      Claim{"flush positions", footer_at + 1408, 8}, Claim{"tag bytes", footer_at + 1424, 8},
                      Claim{"chunk records", footer_at + 1460, 8}, Claim{"label", tail_at, 4},
                      Claim{"tag key", tail_at + 4, 4}, Claim{"file tag key", tail_at + 8, 4}));

TEST_F(FileDamage, OfOverlappingRecordsIsToldBeforeTheyAddUp) {
    // Each stack claims everything behind it as its name.
    std::size_t const n = 1000;
    std::string bytes = file_of({}).substr(0, 34);
    std::size_t const start = bytes.size();
    std::size_t const size = start + n * 368 + 1600;
    for (std::size_t i = 0; i < n; ++i) {
        StackHeader header;
        header.stack_format_version = 0;
        header.name_length = static_cast<std::uint32_t>(size - (start + (i + 1) * 368) - 8);
        header.next_stack_position = i + 1 < n ? start + (i + 1) * 368 : 0;
        bytes += bytes_of_block(header.encode());
    }
    bytes += zero_bytes(size - bytes.size());
    put(bytes, 14, std::uint64_t{start});
    put(bytes, 26, std::uint64_t{size - 4});
    EXPECT_LT(opening_peak(bytes), 4 * bytes.size());
    ByteStream stream(bytes);
    auto const file = std::make_shared<FileImp>(false);
    try {
        file->attach(stream.get(), Mode::read);
        ADD_FAILURE() << "opened";
    } catch (std::runtime_error const& e) {
        EXPECT_STREQ(e.what(), "Corrupt VBF file.");
    }
    file->detach();
}

TEST_F(FileDamage, IsNotWhatManySmallStacksAre) {
    RawStack raw(types::uint8, {1}, "a");
    raw.footer.footer_size = 4;
    std::string const bytes = file_of(std::vector<RawStack>(2000, raw));
    EXPECT_LT(opening_peak(bytes), 20 * bytes.size()) << bytes.size();
    std::string const usual = file_of(std::vector<RawStack>(500, RawStack(types::uint8, {1}, "a")));
    EXPECT_LT(opening_peak(usual), 5 * usual.size());
}

TEST_F(FileDamage, OfAnyKindTakesMemoryInProportion) {
    std::string const whole = rich_file();
    unsigned const seed = 20240613;
    std::mt19937_64 random(seed);
    for (int round = 0; round < 500; ++round) {
        std::string bytes = whole;
        for (std::uint64_t n = 1 + random() % 4; n != 0; --n)
            put(bytes, random() % (bytes.size() - 4), static_cast<std::uint32_t>(random() >> random() % 32));
        ASSERT_LT(opening_peak(bytes), 10 * whole.size() + allowance)
            << "seed " << seed << ", round " << round;
    }
}

} // namespace
