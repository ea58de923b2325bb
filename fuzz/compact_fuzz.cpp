// Compaction of whole files: whatever the bytes are, it ends with an exception, with nothing to do, or with a copy
// that is smaller and reads like the source. The source stays as it was.

#include <exception>
#include <string>

#include <vexa/testing/same_files.h>

#include "fuzz.h"
#include "memory_file.h"

namespace {

constexpr std::uint64_t most_bytes = 1 << 20;

bool opens(std::string const& path) {
    try {
        Vexa::open_file(path, Vexa::bf::DiskFile::Mode::read);
        return true;
    } catch (std::exception const&) {
        return false;
    }
}

bool compact(MemoryFile const& source, MemoryFile const& copy) {
    try {
        return Vexa::copy_file_if_sparse(source.path(), copy.path());
    } catch (std::exception const&) {
        // What is wrong with a file is found before anything is written.
        VEXA_FUZZ_CHECK(copy.size() == 0);
        return false;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size > 1 << 16) return 0;
    MemoryFile const source(data, size), copy(nullptr, 0);
    bool const compacted = compact(source, copy);
    VEXA_FUZZ_CHECK(source.bytes() == std::string(reinterpret_cast<char const*>(data), size));
    VEXA_FUZZ_CHECK(compacted ? copy.size() < size : copy.size() == 0);
    if (!compacted || !opens(source.path())) return 0;
    VEXA_FUZZ_CHECK(opens(copy.path()));
    VEXA_FUZZ_CHECK(Vexa::testing::first_difference(source.path(), copy.path(), most_bytes).empty());
    return 0;
}
