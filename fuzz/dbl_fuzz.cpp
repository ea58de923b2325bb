// Files of the older array format: every mode of reading gives 0 or the samples of the file, and keeps to its
// buffer; the library opens the file or says why not.

#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <vexa/bf/dbl.h>
#include <vexa/testing/check_everything.h>
#include <vexa/testing/temporary_folder.h>

#include "fuzz.h"
#include "memory_file.h"

namespace {

using Dims = std::array<int, 4>;

constexpr std::size_t header_size = 128;
constexpr std::uint64_t most_samples = 1 << 16; ///< of a buffer of ours
constexpr std::uint64_t most_bytes = 1 << 20;

std::uint64_t product(Dims const& dims) {
    std::uint64_t samples = 1;
    for (int const size : dims) samples *= static_cast<std::uint64_t>(size);
    return samples;
}

/// The samples that are there have to be those of the file where neither kind is converted.
void check_samples(void const* samples, std::uint64_t bytes, std::string const& file) {
    VEXA_FUZZ_CHECK(file.size() >= header_size);
    std::size_t const there = std::min<std::uint64_t>(bytes, file.size() - header_size);
    VEXA_FUZZ_CHECK(std::memcmp(samples, file.data() + header_size, there) == 0);
    auto const* const rest = static_cast<char const*>(samples);
    for (std::uint64_t at = there; at < std::min(bytes, most_bytes); ++at) VEXA_FUZZ_CHECK(rest[at] == 0);
}

void read_new_memory(std::string const& path, unsigned long mode, int stored, std::string const& file) {
    Dims dims{};
    std::array<float, 4> lengths{};
    unsigned long mode_and_result = mode;
    int const result = vexa_dbl_read(path.c_str(), dims.data(), lengths.data(), &mode_and_result);
    if (result == 0) return;
    std::unique_ptr<void, decltype(&std::free)> const memory(std::bit_cast<void*>(mode_and_result),
                                                             &std::free);
    if (result == stored) check_samples(memory.get(), product(dims) * (result == 2 ? 4 : 8), file);
}

/// A buffer of exactly the size that the mode needs: the sanitizer sees more.
void read_buffer(std::string const& path, unsigned long mode, int stored, Dims const& dims,
                 std::string const& file) {
    if (product(dims) > most_samples) return;
    bool const single = mode == 170 || (mode == 171 && stored == 2);
    std::vector<char> buffer(std::max<std::uint64_t>(product(dims) * (single ? 4 : 8), 1));
    std::array<float, 4> lengths{};
    unsigned long mode_and_result = mode;
    int const result = vexa_dbl_read(path.c_str(), buffer.data(), lengths.data(), &mode_and_result);
    VEXA_FUZZ_CHECK(result == (single ? 2 : 1));
    VEXA_FUZZ_CHECK(std::bit_cast<char*>(mode_and_result) == buffer.data());
    if (result == stored) check_samples(buffer.data(), product(dims) * (single ? 4 : 8), file);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size > 1 << 16) return 0;
    static Vexa::testing::TemporaryFolder const folder;
    MemoryFile const file(data, size);
    auto const path = file.path();
    auto const bytes = file.bytes();

    Dims dims{};
    unsigned long mode = 160;
    int const stored = vexa_dbl_read(path.c_str(), dims.data(), nullptr, &mode);
    VEXA_FUZZ_CHECK(stored == 0 ? size < header_size : size >= header_size);
    if (stored != 0)
        for (unsigned long in_buffer : {170ul, 171ul, 172ul})
            read_buffer(path, in_buffer, stored, dims, bytes);
    for (unsigned long in_memory : {174ul, 175ul, 176ul}) read_new_memory(path, in_memory, stored, bytes);

    auto const link = folder / "a.dbl";
    std::filesystem::remove(link);
    std::filesystem::create_symlink(path, link);
    Vexa::testing::CheckOptions options;
    options.most_bytes = most_bytes;
    auto const report = Vexa::testing::check_everything(link, options);
    VEXA_FUZZ_CHECK(stored != 0 || !report.opened);
    VEXA_FUZZ_CHECK(!report.opened || report.stacks.size() == 1);
    return 0;
}
