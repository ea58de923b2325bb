// Whole files: whatever the bytes are, the library opens them or says why not, reads what it can in bounded
// time and memory, and throws nothing but exceptions. A file that the independent walker finds no fault with
// has to open, and what both read has to be the same.

#include <cstdint>

#include <vexa/testing/check_everything.h>
#include <vexa/testing/file_walker.h>

#include "fuzz.h"
#include "memory_file.h"

namespace {

using namespace Vexa::testing;

constexpr std::uint64_t most_bytes = 1 << 20;

/// Bytes that come out of a section, no more than the fuzzer has time for.
WalkedSection read_some(ByteSource const& source, WalkedStack const& stack) {
    std::uint64_t bytes = 0;
    return read_section(source, stack, [&](auto piece) { return (bytes += piece.size()) < most_bytes; });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size > 1 << 16) return 0;
    auto const source = bytes_in_memory({data, size});
    auto const walked = walk_file(*source);
    bool sound = walked.is_vbf && walked.closed && walked.faults.empty();
    for (auto const& stack : walked.stacks) sound = read_some(*source, stack).faults.empty() && sound;

    MemoryFile const file(data, size);
    CheckOptions options;
    options.most_bytes = most_bytes;
    auto const report = check_everything(file.path(), options);
    VEXA_FUZZ_CHECK(!sound || report.opened);
    VEXA_FUZZ_CHECK(!report.opened || report.stacks.size() == walked.stacks.size());
    return 0;
}
