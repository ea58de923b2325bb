// Compaction, beside plain copies of the bytes that it has to copy: by a loop that reads and writes, and inside of
// the system.

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <bench/bench.h>
#include <vexa/bf/FileImp.h>
#include <vexa/foundation/types.h>
#include <vexa/testing/temporary_folder.h>

namespace {

using namespace Vexa::bf;
namespace fs = std::filesystem;

constexpr std::size_t total_bytes = std::size_t{128} << 20;

/// A file whose stacks have unused room each, and samples of \p total_bytes together.
fs::path make_file(fs::path const& path, unsigned long stacks) {
    auto const file = Vexa::open_file(path, DiskFile::Mode::create);
    std::vector<unsigned char> samples(total_bytes / stacks);
    for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<unsigned char>(i * i >> 8);
    for (unsigned long i = 0; i < stacks; ++i) {
        auto const stack = file->add_stack(Vexa::types::uint8, {samples.size()}, false);
        stack->reserve(0);
        stack->write(Vexa::types::uint8, samples.data(), nullptr, samples.size());
    }
    file->close();
    return path;
}

void require(bool good) {
    if (!good) std::abort();
}

struct Files {
    Files(fs::path const& from, fs::path const& to)
        : in(::open(from.c_str(), O_RDONLY)), out(::open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644)) {
        require(in >= 0 && out >= 0);
    }
    Files(Files const&) = delete;
    Files& operator=(Files const&) = delete;
    ~Files() {
        ::close(in);
        ::close(out);
    }
    int in, out;
};

void copy_by_loop(fs::path const& from, fs::path const& to) {
    Files const files(from, to);
    std::vector<char> buffer(128 * 1024);
    while (auto const n = ::read(files.in, buffer.data(), buffer.size())) {
        require(n > 0 && ::write(files.out, buffer.data(), static_cast<std::size_t>(n)) == n);
    }
}

void copy_in_system(fs::path const& from, fs::path const& to) {
    Files const files(from, to);
    while (auto const n = ::copy_file_range(files.in, nullptr, files.out, nullptr, total_bytes, 0))
        require(n > 0);
}

} // namespace

int main(int argc, char** argv) {
    Vexa::bench::Table table(argc, argv);
    Vexa::testing::TemporaryFolder const folder;
    fs::path const copy = folder / "copy";
    auto const fresh = [copy] { fs::remove(copy); };
    // With 1000 stacks of 128 KiB the search for the records shows.
    for (unsigned long stacks : {1ul, 100ul, 1000ul}) {
        auto const name = std::to_string(stacks);
        auto const sparse = make_file(folder / (name + ".vbf"), stacks);
        auto const dense = folder / (name + "_dense.vbf");
        require(Vexa::copy_file_if_sparse(sparse, dense));
        auto const compact = [sparse, copy] { Vexa::copy_file_if_sparse(sparse, copy); };
        auto const what = "compact/128 MiB in " + name + (stacks == 1 ? " stack" : " stacks");
        table.compare({.name = what + ", beside a loop",
                       .target = 0.8,
                       .candidate = compact,
                       .baseline = [dense, copy] { copy_by_loop(dense, copy); },
                       .before = fresh});
        table.compare({.name = what + ", beside the system",
                       .target = 0.8,
                       .candidate = compact,
                       .baseline = [dense, copy] { copy_in_system(dense, copy); },
                       .before = fresh});
    }
    return table.run();
}
